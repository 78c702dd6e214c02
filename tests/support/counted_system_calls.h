// Tells which system calls a piece of code makes. It runs in a child process, since a process cannot trace itself;
// what the system answers without being entered, such as the time of day, does not count.
#ifndef ZOLSTATS_TESTS_COUNTED_SYSTEM_CALLS_H
#define ZOLSTATS_TESTS_COUNTED_SYSTEM_CALLS_H

#include <functional>
#include <vector>

namespace testing_support {

// The numbers (SYS_...) of the calls that action makes in the thread it runs in, in their order. A forked child
// first runs prepare, whose calls do not count, and leaves without running anything at exit. Throws
// std::runtime_error when the child cannot be traced, and when it ends before its action does, as an exception there
// makes it.
std::vector<long> systemCallsOf(const std::function<void()>& prepare, const std::function<void()>& action);

}  // namespace testing_support

#endif
