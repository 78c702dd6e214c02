// Every byte of every reply of a session is the last one before the end of the stream or a reset, or is another
// one; every reply comes slowly, with bytes too many or too few. The application is told what happened, nothing
// is left behind, and the next connection works. What is lost or read out of bounds on the way is noticed by the
// sanitizers. The replies are written down in docs/protocol.md, the codes in docs/return-codes.md.
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <iostream>

#include "expectation.h"
#include "recording.h"
#include "replaying_peer.h"
#include "session.h"
#include "support/bytes.h"

// Filling the shadow of 2 GiB that nobody touches takes seconds: a sanitizer's allocator gives none, and the
// library is told that there is no memory.
extern "C" const char* __asan_default_options() {
    return "allocator_may_return_null=1:max_allocation_size_mb=1024";
}

namespace {

using namespace faults;
using gateway::Ending;
using testing::AllOf;
using testing::ElementsAre;
using testing::Ge;
using testing::HasSubstr;
using testing::Le;

// ---- A case that hangs is ended, with its name

constexpr unsigned CASE_LIMIT_SECONDS = 5;

char runningCase[200] = "";  // for a signal handler

extern "C" void tellHangAndEnd(int) {
    constexpr std::string_view TITLE = "\nHangs: ";
    (void)!::write(STDERR_FILENO, TITLE.data(), TITLE.size());
    (void)!::write(STDERR_FILENO, runningCase, std::strlen(runningCase));
    ::_exit(1);
}

class Watchdog {
  public:
    explicit Watchdog(const std::string& name) {
        runningCase[name.copy(runningCase, sizeof runningCase - 1)] = '\0';
        std::signal(SIGALRM, tellHangAndEnd);
        ::alarm(CASE_LIMIT_SECONDS);
    }
    ~Watchdog() { ::alarm(0); }
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;
};

// ---- The cases

class Faults : public testing::Test {
  protected:
    void TearDown() override {
        if (cases_ > 0) {
            std::cout << cases_ << " cases\n";
        }
    }

    [[nodiscard]] const std::string& reply(std::size_t exchange) const {
        return healthy_.conversation.at(exchange).reply;
    }

    // Nothing that goes wrong while closing reaches the application.
    static Expectation from(std::size_t exchange, Fate fate, Fate later) {
        return exchange < CLOSING_EXCHANGE ? Expectation{exchange, fate, later} : Expectation{};
    }

    // The healthy conversation with another reply in one place.
    [[nodiscard]] Plan with(std::size_t exchange, const std::string& bytes,
                            Ending ending = Ending::KeepOpen) const {
        Plan plan{healthy_.conversation};
        plan.conversation.at(exchange).reply = bytes;
        plan.conversation.at(exchange).ending = ending;
        return plan;
    }
    [[nodiscard]] Plan impatientlyWith(std::size_t exchange, const std::string& bytes) const {
        Plan plan = with(exchange, bytes);
        plan.impatientFrom = exchange;
        return plan;
    }

    void tryFault(const std::string& name, std::size_t exchange, std::size_t at, const Plan& plan,
                  const Expectation& expected) {
        const std::string whole = name + " at byte " + std::to_string(at) + " of reply " +
                                  std::to_string(exchange) + " (" + healthy_.conversation[exchange].asked +
                                  ")\n";
        SCOPED_TRACE(whole);
        const Watchdog watchdog(whole);
        judge(sessionWith(plan), healthy_.outcome, expected);
        EXPECT_EQ(openDescriptors(), descriptors_);
        connectAnew();
        ++cases_;
        ASSERT_FALSE(HasFailure());
    }

    // One fault for each reply.
    template <class Fault>
    void damageEachReply(Fault fault) {
        for (std::size_t exchange = 0; exchange < EXCHANGES; ++exchange) {
            ASSERT_NO_FATAL_FAILURE(fault(exchange));
        }
    }

    const Recording healthy_ = recordSession();

  private:
    Outcome sessionWith(const Plan& plan) {
        peer_.prepare(plan);
        Outcome outcome = runSession(peer_.port());
        EXPECT_EQ(peer_.waitForTheEnd(), "");
        return outcome;
    }

    // A new connection to a Gateway in good health works.
    void connectAnew() {
        peer_.prepare({healthy_.conversation});
        void* token = nullptr;
        char* version = nullptr;
        ResultSetToken* set = nullptr;
        ASSERT_EQ(openGatewayConnection(peer_.port(), &token, &version), 0);
        ASSERT_EQ(getResourceGroupIds(token, &set), 0);
        EXPECT_EQ(closeGatewayConnection(&token), 0);
        EXPECT_EQ(peer_.waitForTheEnd(), "");
    }

    ReplayingPeer peer_;
    const std::ptrdiff_t descriptors_ = openDescriptors();
    int cases_ = 0;
};

// ---- Every byte

// Two halves, for two processors.
enum class Part { TheLongestReply, TheOtherReplies };

void PrintTo(Part part, std::ostream* out) {
    *out << (part == Part::TheLongestReply ? "TheLongestReply" : "TheOtherReplies");
}

constexpr std::size_t LONGEST = OPENING_EXCHANGES + 1;  // the reply to the first query

class EveryByte : public Faults, public testing::WithParamInterface<Part> {
  protected:
    // The byte is the first that no longer comes.
    void cutEverywhere(const std::string& name, Ending ending) {
        for (const std::size_t exchange : exchanges()) {
            const Expectation expected = from(exchange, Fate::Fails, Fate::Lost);
            for (std::size_t at = 0; at < reply(exchange).size(); ++at) {
                ASSERT_NO_FATAL_FAILURE(tryFault(
                    name, exchange, at, with(exchange, reply(exchange).substr(0, at), ending), expected));
            }
        }
    }

    void flipEverywhere(const std::string& name, unsigned char mask) {
        for (const std::size_t exchange : exchanges()) {
            const ReplyBytes bytes = bytesOf(healthy_, exchange);
            for (std::size_t at = 0; at < bytes.size(); ++at) {
                ASSERT_NO_FATAL_FAILURE(flip(name, exchange, at, bytes[at], mask));
            }
        }
    }

  private:
    // The longest reply has about as many bytes as all the others.
    [[nodiscard]] std::vector<std::size_t> exchanges() const {
        std::vector<std::size_t> chosen;
        for (std::size_t exchange = 0; exchange < EXCHANGES; ++exchange) {
            if ((exchange == LONGEST) == (GetParam() == Part::TheLongestReply)) {
                chosen.push_back(exchange);
            }
        }
        return chosen;
    }

    void flip(const std::string& name, std::size_t exchange, std::size_t at, const ReplyByte& byte,
              unsigned char mask) {
        std::string damaged = reply(exchange);
        damaged[at] = static_cast<char>(damaged[at] ^ mask);
        const Expectation expected = exchange < CLOSING_EXCHANGE
                                         ? expectationOf(Flip{exchange, byte, reply(exchange), damaged, mask})
                                         : Expectation{};
        const bool isLength = byte.role == Role::NameLength || byte.role == Role::BodyLength;
        const bool mayWait = isLength && (exchange == CLOSING_EXCHANGE || expected.fate != Fate::AsUsual);
        tryFault(name, exchange, at, mayWait ? impatientlyWith(exchange, damaged) : with(exchange, damaged),
                 expected);
    }
};

INSTANTIATE_TEST_SUITE_P(Of, EveryByte, testing::Values(Part::TheLongestReply, Part::TheOtherReplies),
                         testing::PrintToStringParamName());

TEST_P(EveryByte, MayBeTheFirstThatIsMissingAtTheEndOfTheStream) {
    cutEverywhere("closed", Ending::Close);
}
TEST_P(EveryByte, MayBeTheFirstThatIsMissingAfterAReset) {
    cutEverywhere("reset", Ending::Reset);
}
TEST_P(EveryByte, MayHaveItsLowestBitFlipped) {
    flipEverywhere("^01", 0x01);
}
TEST_P(EveryByte, MayHaveItsHighestBitFlipped) {
    flipEverywhere("^80", 0x80);
}
TEST_P(EveryByte, MayHaveAllItsBitsFlipped) {
    flipEverywhere("^FF", 0xFF);
}

// ---- Every reply

class EveryReply : public Faults {};

TEST_F(EveryReply, MayComeInSingleBytes) {
    damageEachReply([this](std::size_t exchange) {
        Plan plan = with(exchange, reply(exchange));
        plan.conversation.at(exchange).byteByByte = true;
        tryFault("slow", exchange, 0, plan, {});
    });
}

// The next exchange finds them instead of its reply.
TEST_F(EveryReply, MayHaveBytesTooMany) {
    damageEachReply([this](std::size_t exchange) {
        const std::string bytes = reply(exchange) + "???";
        tryFault("too many", exchange, reply(exchange).size(), with(exchange, bytes),
                 from(std::min(exchange + 1, CLOSING_EXCHANGE), Fate::Fails, Fate::Misframed));
    });
}

TEST_F(EveryReply, MayBeTheLastBeforeTheEndOfTheStream) {
    damageEachReply([this](std::size_t exchange) {
        tryFault("last", exchange, reply(exchange).size(), with(exchange, reply(exchange), Ending::Close),
                 from(std::min(exchange + 1, CLOSING_EXCHANGE), Fate::Lost, Fate::Lost));
    });
}

TEST_F(EveryReply, MayBeTheLastBeforeAReset) {
    damageEachReply([this](std::size_t exchange) {
        tryFault("last", exchange, reply(exchange).size(), with(exchange, reply(exchange), Ending::Reset),
                 from(std::min(exchange + 1, CLOSING_EXCHANGE), Fate::Lost, Fate::Lost));
    });
}

TEST_F(EveryReply, MayAnnounceTheLongestBodyThereIs) {
    damageEachReply([this](std::size_t exchange) {
        const std::size_t at = bodyLengthAt(reply(exchange));
        std::string bytes = reply(exchange);
        bytes.replace(at, 4, testing_support::word(INT32_MAX));
        tryFault("2 GiB", exchange, at, impatientlyWith(exchange, bytes),
                 from(exchange, Fate::Fails, Fate::Lost));
    });
}

// ---- The session that is damaged

class HealthySession : public Faults {
  protected:
    [[nodiscard]] const std::vector<Item>& items(std::size_t query) const {
        return healthy_.outcome.answers.at(query).items;
    }
    // The same item as the answer to an element of a query.
    static Item of(const std::string& element, Item item) {
        item.query = element;
        return item;
    }
    // The reply to the query itself.
    [[nodiscard]] const std::string& queryReply(std::size_t query) const {
        return reply(OPENING_EXCHANGES + 2 * query + 1);
    }
};

TEST_F(HealthySession, ReadsEveryKindOfItem) {
    const Item busy{"", 0, "busy-time", "12.75 percent"};
    const Item idle{"", 0, "idle-time", "87.25 percent"};
    EXPECT_EQ(healthy_.outcome.version, PROTOCOL_VERSION);
    EXPECT_THAT(items(0), ElementsAre(busy, idle, Item{"", 0, LONG_ID, LONG_DATA}));
    EXPECT_THAT(items(1),
                ElementsAre(Item{"", 0, "busy-time"}, Item{"", 0, "idle-time"}, Item{"", 0, LONG_ID}));
    EXPECT_THAT(items(2), ElementsAre(Item{"", 0, "processor"}, Item{"", 0, "network"}));
    EXPECT_THAT(items(3), ElementsAre(Item{"nowhere", -1}, of("processor", busy), of("processor", idle)));
    EXPECT_THAT(items(4), ElementsAre(of("busy-time", busy), Item{UNKNOWN_ID, -1}));
    EXPECT_THAT(items(5), ElementsAre(Item{"nowhere", -1}, Item{"processor", 0, "busy-time"},
                                      Item{"processor", 0, "idle-time"}));
    EXPECT_EQ(healthy_.outcome.closeRc, 0);
}

TEST_F(HealthySession, HasEveryKindOfBlockInAFewBytes) {
    const std::string longBlock = testing_support::hex("7A 0000");
    const std::string fullBlock = longBlock + testing_support::hex("0400");
    const std::size_t first = queryReply(0).find(fullBlock);
    const std::size_t second = queryReply(0).find(fullBlock, first + 1024);
    ASSERT_NE(second, std::string::npos);
    EXPECT_EQ(queryReply(0).at(second + 5 + 1024), '\x77') << "a short block behind two full ones";
    EXPECT_THAT(queryReply(1), HasSubstr(longBlock)) << "a list of ids";
    EXPECT_THAT(queryReply(4), HasSubstr(longBlock)) << "the head of a response";
    EXPECT_EQ(healthy_.conversation.size(), EXCHANGES);
    std::size_t bytes = 0;
    for (const Exchange& exchange : healthy_.conversation) {
        bytes += exchange.reply.size();
    }
    EXPECT_THAT(bytes, AllOf(Ge(4000U), Le(8000U)));
}

}  // namespace
