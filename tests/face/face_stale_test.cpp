// Views and walks of answers that are gone: each use of one is caught instead of reading what was overwritten or freed,
// whichever way the answer went. Copies, which do not go, are tested in face_copy_test.cpp. What each call promises
// stands in zolstats.hpp.
#include <optional>

#include "face.h"

namespace {

using namespace face;
using testing::SizeIs;

class Stale : public Connected {
  protected:
    Stale() { zolstats::setTraceFile("/dev/null"); }  // where dump() writes
    ~Stale() override { setAPITraceFile(nullptr); }
    Stale(const Stale&) = delete;
    Stale& operator=(const Stale&) = delete;

    // Two connections, so that one may be given up for the other.
    std::optional<Connection> taken_;
    Connection other_ = open();
    Statistics view_ = connection_.statistics();
    decltype(view_.begin()) walk_ = view_.begin();
};

struct Way {
    const char* name;
    void (*go)(ScriptedGateway&, Connection& of, Connection& other, std::optional<Connection>& taken);

    friend void PrintTo(const Way& way, std::ostream* out) { *out << way.name; }
};

const Way WAYS[] = {
    {"NextQuery", [](auto&, Connection& of, auto&, auto&) { of.groups(); }},
    {"NextQueryOfTheSameKind", [](auto&, Connection& of, auto&, auto&) { of.statistics(); }},
    {"QueryThatWasNotSent",
     [](auto&, Connection& of, auto&, auto&) {
         EXPECT_EQ(codeOf([&] { of.statisticsById(std::string(ZOLSTATS_MAX_ID_LIST + 1, 'x')); }),
                   ZOLSTATS_NO_MEMORY);
     }},
    {"FailedQuery",
     [](ScriptedGateway& gateway, Connection& of, auto&, auto&) {
         gateway.refuseQueries(7);
         EXPECT_EQ(codeOf([&] { of.groups(); }), ZOLSTATS_EXCHANGE_FAILED);
     }},
    {"FailedQueryByGroups",
     [](ScriptedGateway& gateway, Connection& of, auto&, auto&) {
         gateway.refuseQueries(7);
         EXPECT_EQ(codeOf([&] { of.statisticsOfGroups("G1"); }), ZOLSTATS_EXCHANGE_FAILED);
     }},
    {"Loss",
     [](ScriptedGateway& gateway, Connection& of, auto&, auto&) {
         gateway.server().dropConnections();
         gateway.server().waitForConnections(0);
         EXPECT_EQ(codeOf([&] { of.statistics(); }), ZOLSTATS_CONNECTION_LOST);
     }},
    {"Close", [](auto&, Connection& of, auto&, auto&) { of.close(); }},
    {"CloseInAnotherThread",
     [](auto&, Connection& of, auto&, auto&) { std::thread([&] { of.close(); }).join(); }},
    {"Destruction", [](auto&, Connection& of, auto&, auto&) { const Connection gone = std::move(of); }},
    {"MoveToAnother", [](auto&, Connection& of, auto&, auto& taken) { taken.emplace(std::move(of)); }},
    {"AssignmentToAnother", [](auto&, Connection& of, Connection& other, auto&) { other = std::move(of); }},
    {"AssignmentOfAnother", [](auto&, Connection& of, Connection& other, auto&) { of = std::move(other); }},
};

struct Use {
    const char* name;
    void (*use)(const Statistics& view, decltype(std::declval<Statistics>().begin())& walk);
};

const Use USES[] = {
    {"begin", [](auto& view, auto&) { view.begin(); }},
    {"++", [](auto&, auto& walk) { ++walk; }},
    {"postfix ++", [](auto&, auto& walk) { walk++; }},
    {"*", [](auto&, auto& walk) { *walk; }},
    {"->", [](auto&, auto& walk) { static_cast<void>(walk->code); }},
    {"copy", [](auto& view, auto&) { view.copy(); }},
    {"idQuery", [](auto& view, auto&) { view.idQuery(); }},
    {"dump", [](auto& view, auto&) { view.dump(); }},
    {"token", [](auto& view, auto&) { view.token(); }},
};

class StaleBy : public Stale, public testing::WithParamInterface<Way> {
  protected:
    void makeStale() { GetParam().go(gateway_, connection_, other_, taken_); }
};
INSTANTIATE_TEST_SUITE_P(Any, StaleBy, testing::ValuesIn(WAYS),
                         [](const auto& instance) { return instance.param.name; });

TEST_P(StaleBy, IsCaughtAtEachUse) {
    for (const Use& each : USES) {
        EXPECT_FALSE(throwsStale([&] { each.use(view_, walk_); })) << each.name << " before";
        walk_ = view_.begin();
    }
    makeStale();
    for (const Use& each : USES) {
        EXPECT_TRUE(throwsStale([&] { each.use(view_, walk_); })) << each.name;
    }
}

TEST_P(StaleBy, IsCaughtInCopiesOfTheViewAndAtTheEndOfAWalk) {
    const Statistics same = view_;
    while (walk_ != view_.end()) {
        ++walk_;
    }
    makeStale();
    EXPECT_TRUE(throwsStale([&] { same.begin(); }));
    EXPECT_TRUE(throwsStale([&] { ++walk_; }));
}

TEST_P(StaleBy, StaysStale) {
    makeStale();
    gateway_.answerAsUsual();
    for (int times = 0; times < 3; ++times) {
        connection_ = open();
        connection_.statistics();
        EXPECT_TRUE(throwsStale([&] { view_.begin(); }));
    }
}

TEST_F(Stale, AreViewsThatWereMovedFrom) {
    const Statistics moved = std::move(view_);
    for (const Use& each : USES) {
        if (std::string(each.name).find_first_of("+*>") == std::string::npos) {
            EXPECT_TRUE(throwsStale([&] { each.use(view_, walk_); })) << each.name;
        }
    }
    EXPECT_EQ(itemsOf(moved), ALL_STATISTICS);
}

TEST_F(Stale, AreWalksThatWereMovedFrom) {
    const auto moved = std::move(walk_);
    EXPECT_TRUE(throwsStale([&] { *walk_; }));
    EXPECT_TRUE(throwsStale([&] { ++walk_; }));
    EXPECT_EQ(moved->id, "S1");
}

TEST_F(Stale, CanBeAssignedAFreshAnswer) {
    view_ = connection_.statistics();
    EXPECT_EQ(itemsOf(view_), ALL_STATISTICS);
    Statistics& same = view_;
    view_ = std::move(same);
    EXPECT_EQ(itemsOf(view_), ALL_STATISTICS);
}

TEST_F(Stale, IsAMistakeOfTheProgram) {
    connection_.close();
    EXPECT_THROW(view_.begin(), std::logic_error);
    try {
        view_.begin();
    } catch (const StaleResult& stale) {
        EXPECT_THAT(stale.what(), testing::HasSubstr("copy()"));
    }
}

// ---- What does not end an answer

TEST_F(Stale, AreNotAnswersWhileAnotherConnectionIsAsked) {
    other_.statistics();
    other_.close();
    EXPECT_EQ(itemsOf(view_), ALL_STATISTICS);
}

TEST_F(Stale, AreNotAnswersAfterAQueryOfTheWrongThread) {
    EXPECT_EQ(inAnotherThread([this] { return codeOf([this] { connection_.groups(); }); }),
              ZOLSTATS_WRONG_THREAD);
    EXPECT_EQ(walk_->id, "S1");
    EXPECT_EQ(itemsOf(view_), ALL_STATISTICS);
}

TEST_F(Stale, AreNotAnswersAfterAQueryWithATextThatIsNone) {
    EXPECT_THROW(connection_.statisticsById(std::string(1, '\0')), std::invalid_argument);
    EXPECT_EQ(itemsOf(view_), ALL_STATISTICS);
}

TEST_F(Stale, AreNotAnswersThatWereCopiedOrListed) {
    view_.copy();
    view_.idQuery();
    view_.dump();
    EXPECT_EQ(itemsOf(view_), ALL_STATISTICS);
}

TEST_F(Stale, AreNotAnswersOfAConnectionThatIsAssignedToItself) {
    Connection& same = connection_;
    connection_ = std::move(same);
    EXPECT_EQ(itemsOf(view_), ALL_STATISTICS);
}

}  // namespace
