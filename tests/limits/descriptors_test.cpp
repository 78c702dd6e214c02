// A process with very many descriptors, and one that has none left. That the library's own descriptors are
// few and closed on exec is tested in good_guest_test.cpp. What each call gives when it fails stands in
// zolstats.h.
#include <sys/resource.h>

#include <stdexcept>

#include "api/client.h"
#include "api/trace_file.h"
#include "forked_gateway.h"
#include "process_state.h"
#include "support/answering_gateway.h"

namespace {

using namespace limits;
using api::TemporaryFile;
using gateway::Descriptor;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::size_t MANY = 2000;  // a set for select() ends at 1024

rlimit descriptorLimit() {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    return limit;
}

void limitDescriptors(rlim_t count) {
    const rlimit limit{count, descriptorLimit().rlim_max};
    if (::setrlimit(RLIMIT_NOFILE, &limit) != 0) {
        throw std::system_error(errno, std::generic_category(),
                                "this system allows no " + std::to_string(count) + " descriptors");
    }
}

// Descriptors that lead nowhere, so that those of the library get high numbers. Programs are run with room
// for as few as 1024, which is raised meanwhile.
class ManyDescriptors {
  public:
    ManyDescriptors() {
        limitDescriptors(std::max<rlim_t>(limitBefore_.rlim_cur, MANY + 200));
        while (open_.size() < MANY) {
            open_.emplace_back(::open("/dev/null", O_RDONLY | O_CLOEXEC));
            if (open_.back().number() < 0) {
                throw std::system_error(errno, std::generic_category(), "/dev/null");
            }
        }
    }
    ~ManyDescriptors() { limitDescriptors(limitBefore_.rlim_cur); }
    ManyDescriptors(const ManyDescriptors&) = delete;
    ManyDescriptors& operator=(const ManyDescriptors&) = delete;

  private:
    rlimit limitBefore_ = descriptorLimit();
    std::vector<Descriptor> open_;
};

// While it lives, the process can open nothing: the limit is what is open, and the gaps are filled.
class NoDescriptors {
  public:
    NoDescriptors() {
        limitDescriptors(static_cast<rlim_t>(openDescriptors().rbegin()->first) + 1);
        for (int number = 0; number >= 0;) {
            number = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
            fillers_.emplace_back(number);
        }
    }
    ~NoDescriptors() { limitDescriptors(limitBefore_.rlim_cur); }
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;

  private:
    rlimit limitBefore_ = descriptorLimit();
    std::vector<Descriptor> fillers_;
};

// Of no class with virtual functions, nor is a test that uses it without a fixture: a sanitizer that looks at
// such an object opens descriptors itself.
class Client {
  public:
    ~Client() { closeAllGatewayConnections(); }

    int open(const char* host = "127.0.0.1") {
        return openRemoteGatewayConnection(host, gateway_.port(), &token_, &version_);
    }
    int openRefused() { return openGatewayConnection(notListening_.number(), &token_, &version_); }
    int close() { return closeGatewayConnection(&token_); }
    std::vector<api::Item> stats() { return statsAfter(getStats(token_, &set_)); }
    std::vector<api::Item> statsOfGroup(const char* id) {
        return statsAfter(getStatsByStatGroupId(token_, id, &set_));
    }
    std::vector<api::Item> statsOfIds(const char* ids) {
        return statsAfter(getStatsByStatId(token_, ids, &set_));
    }
    std::vector<api::Item> copiedStats() { return api::statsOf(api::copyOf(set_).get()); }
    std::vector<api::Item> ids() { return idsAfter(getStatIds(token_, &set_)); }
    std::vector<api::Item> groups() { return idsAfter(getResourceGroupIds(token_, &set_)); }
    std::vector<api::Item> idsOfGroup(const char* id) {
        return idsAfter(getStatIdsByStatGroupId(token_, id, &set_));
    }

  private:
    std::vector<api::Item> statsAfter(int rc) {
        EXPECT_EQ(rc, 0);
        return api::statsOf(set_);
    }
    std::vector<api::Item> idsAfter(int rc) {
        EXPECT_EQ(rc, 0);
        return api::idsOf(set_);
    }

    ForkedGateway gateway_;
    testing_support::LoopbackPort notListening_;
    void* token_ = nullptr;
    char* version_ = nullptr;
    ResultSetToken* set_ = nullptr;
};

// ---- Very many

// The descriptors are there before the library is called for the first time.
class WithManyDescriptors : public testing::Test {
  protected:
    WithManyDescriptors() { EXPECT_EQ(client_.open(), 0); }

    ManyDescriptors many_;
    Client client_;
};

TEST_F(WithManyDescriptors, AConnectionHasANumberBeyondThem) {
    const auto [number, target] = *openDescriptors().rbegin();
    EXPECT_GE(number, static_cast<int>(MANY));
    EXPECT_THAT(target, HasSubstr("socket:"));
}

TEST_F(WithManyDescriptors, AllSixQueriesWork) {
    EXPECT_THAT(client_.stats(), SizeIs(3));
    EXPECT_THAT(client_.ids(), SizeIs(3));
    EXPECT_THAT(client_.groups(), SizeIs(2));
    EXPECT_THAT(client_.idsOfGroup("G1"), SizeIs(2));
    EXPECT_THAT(client_.statsOfGroup("G2"), testing::ElementsAre(api::Item{"G2", 0, "T1", "33"}));
    EXPECT_THAT(client_.statsOfIds("S1:S2"), SizeIs(2));
}

TEST_F(WithManyDescriptors, CopiesAndTheTraceFileWork) {
    const TemporaryFile file;
    EXPECT_EQ(setAPITraceFile(file.name()), 0);
    EXPECT_EQ(setAPITraceLevel(ZOLSTATS_TRACE_ALL), 0);
    EXPECT_THAT(client_.stats(), SizeIs(3));
    EXPECT_EQ(setAPITraceLevel(ZOLSTATS_TRACE_OFF), 0);
    EXPECT_EQ(setAPITraceFile(nullptr), 0);
    EXPECT_THAT(client_.copiedStats(), SizeIs(3));
    EXPECT_THAT(file.text(), HasSubstr("API.getStats Getting all Stats"));
}

TEST_F(WithManyDescriptors, AConnectionIsClosedAndOpenedAgain) {
    const auto before = openDescriptors();
    for (int each = 0; each < 10; ++each) {
        EXPECT_EQ(client_.close(), 0);
        EXPECT_EQ(client_.open(), 0);
    }
    EXPECT_THAT(client_.stats(), SizeIs(3));
    EXPECT_THAT(openDescriptors(), SizeIs(before.size()));
}

TEST_F(WithManyDescriptors, AHostIsFoundByItsName) {
    EXPECT_EQ(client_.close(), 0);
    EXPECT_EQ(client_.open("localhost"), 0);
}

TEST_F(WithManyDescriptors, ARefusedConnectionIsTold) {
    EXPECT_EQ(client_.openRefused(), ZOLSTATS_CONNECTION_REFUSED);
}

// ---- None left

TEST(WithoutDescriptors, NothingOpensUntilThereAreSomeAgain) {
    Client client;
    {
        const NoDescriptors none;
        EXPECT_EQ(client.open(), ZOLSTATS_CONNECT_FAILED);
        EXPECT_EQ(client.open(), ZOLSTATS_CONNECT_FAILED);
    }
    EXPECT_EQ(client.open(), 0);
    EXPECT_EQ(client.stats().size(), 3U);
}

TEST(WithoutDescriptors, AHostIsNotFoundByItsNameUntilThereAreSomeAgain) {
    Client client;
    {
        const NoDescriptors none;
        EXPECT_EQ(client.open("localhost"), ZOLSTATS_HOST_NOT_FOUND);
    }
    EXPECT_EQ(client.open("localhost"), 0);
}

TEST(WithoutDescriptors, AnOpenConnectionGoesOn) {
    Client client;
    ASSERT_EQ(client.open(), 0);
    const NoDescriptors none;
    EXPECT_EQ(client.stats().size(), 3U);
    EXPECT_EQ(client.copiedStats().size(), 3U);
    EXPECT_EQ(client.close(), 0);
}

TEST(WithoutDescriptors, OneThatWasClosedMakesRoomForAnother) {
    Client client;
    ASSERT_EQ(client.open(), 0);
    const NoDescriptors none;
    EXPECT_EQ(client.close(), 0);
    EXPECT_EQ(client.open(), 0);
    EXPECT_EQ(client.stats().size(), 3U);
}

TEST(WithoutDescriptors, TheTraceStaysWhereItIs) {
    Client client;
    const TemporaryFile file;
    const TemporaryFile other;
    EXPECT_EQ(setAPITraceFile(file.name()), 0);
    EXPECT_EQ(setAPITraceLevel(ZOLSTATS_TRACE_CALLS), 0);
    {
        const NoDescriptors none;
        EXPECT_EQ(setAPITraceFile(other.name()), ZOLSTATS_TRACE_FILE_FAILED);
        EXPECT_EQ(client.open(), ZOLSTATS_CONNECT_FAILED);
    }
    EXPECT_EQ(setAPITraceLevel(ZOLSTATS_TRACE_OFF), 0);
    EXPECT_EQ(setAPITraceFile(nullptr), 0);
    EXPECT_THAT(file.text(), HasSubstr("errno=" + std::to_string(EMFILE)));
    EXPECT_THAT(file.text(), HasSubstr("Unable to create a socket"));
    EXPECT_THAT(other.text(), IsEmpty());
}

TEST(WithoutDescriptors, FailuresLeaveNoneBehind) {
    Client client;
    const auto before = openDescriptors();
    {
        const NoDescriptors none;
        for (int each = 0; each < 100; ++each) {
            EXPECT_EQ(client.open(), ZOLSTATS_CONNECT_FAILED);
            EXPECT_EQ(setAPITraceFile("trace"), ZOLSTATS_TRACE_FILE_FAILED);
        }
    }
    EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
