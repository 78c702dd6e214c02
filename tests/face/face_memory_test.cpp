// The face without memory: whichever allocation fails, of the library or of the face, it is thrown, nothing stays open, and
// nothing leaks, which a sanitizer notices. How the library itself fares is tested in faults/. What each call promises
// stands in zolstats.hpp.
#include <cstdlib>
#include <new>

#include "face.h"
#include "trace/failing_calls.h"

// By way of the calls that can be told to fail.
void* operator new(std::size_t size) {
    if (void* memory = std::malloc(size)) {
        return memory;
    }
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace {

using namespace face;
using testing_support::FailingAllocation;

// Without memory for a reply it is the exchange, or the connecting, that has failed.
template <class Action>
bool lacksMemory(Action action) {
    try {
        return codeOf(action) != ZOLSTATS_OK;
    } catch (const std::bad_alloc&) {
        return true;
    }
}

// Let each allocation of an action fail in turn, and do something after each time; gives how often it threw.
template <class Action, class Afterwards>
int failEachAllocation(Action action, Afterwards afterwards) {
    int thrown = 0;
    for (int number = 1;; ++number) {
        bool happened = false;
        {
            const FailingAllocation failing(number);
            thrown += lacksMemory(action) ? 1 : 0;
            happened = FailingAllocation::hasHappened();
        }
        if (!happened) {
            return thrown;
        }
        afterwards();
    }
}

class WithoutMemory : public Connected {};

TEST_F(WithoutMemory, OpeningLeavesNothingOpen) {
    gateway::Options options;
    options.protocolVersion = std::string(100, 'v');  // long enough to be allocated
    ScriptedGateway other(options);
    const auto openOther = [&other] { const Connection none = Connection::openLocal(other.port()); };
    EXPECT_GT(failEachAllocation(openOther, [&other] { other.server().waitForConnections(0); }), 5);
    openOther();
}

TEST_F(WithoutMemory, CopyingThrowsAndLeavesTheAnswerAsItWas) {
    const Statistics answer = connection_.statistics();
    EXPECT_GT(failEachAllocation([&answer] { answer.copy(); },
                                 [&answer] { EXPECT_EQ(itemsOf(answer), ALL_STATISTICS); }),
              1)
        << "of the set, and of its content";
}

TEST_F(WithoutMemory, AQueryThrowsAndItsConnectionCanBeReplaced) {
    for (const Query& query : QUERIES) {
        EXPECT_GT(failEachAllocation([&] { query.ask(connection_); },
                                     [this] {
                                         connection_ = open();
                                         gateway_.server().waitForConnections(1);
                                         EXPECT_EQ(itemsOf(connection_.statistics()), ALL_STATISTICS);
                                     }),
                  0)
            << query.name;
    }
}

TEST_F(WithoutMemory, AnAnswerThatCannotGrowIsALoss) {
    gateway_.answerQueriesWith(gateway::encodeIds({{"Q", 0, std::vector(1000, std::string(100, 'i'))}}));
    EXPECT_GT(failEachAllocation([this] { connection_.groups(); },
                                 [this] {
                                     EXPECT_FALSE(connection_.isOpen());
                                     gateway_.server().waitForConnections(0);
                                     connection_ = open();
                                 }),
              2)
        << "the answer takes more than twice what the buffer has at first";
}

}  // namespace
