// Counts how often a thread asks for memory, by malloc() and its kin, which operator new calls, too. A program that
// links counted_allocations.cpp has them replaced, also for its shared libraries. How much is asked for is not counted.
// What is promised about walks stands in zolstats.hpp.
#ifndef ZOLSTATS_TESTS_COUNTED_ALLOCATIONS_H
#define ZOLSTATS_TESTS_COUNTED_ALLOCATIONS_H

namespace testing_support {

void startCounting();  // for this thread only
int stopCounting();    // gives how many allocations this thread made

// How many allocations this thread makes in an action.
template <class Action>
int allocationsOf(Action action) {
    startCounting();
    action();
    return stopCounting();
}

}  // namespace testing_support

#endif
