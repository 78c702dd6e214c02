// What an action needs besides time: memory, and which system calls it makes.
#ifndef ZOLSTATS_BENCH_RESOURCES_H
#define ZOLSTATS_BENCH_RESOURCES_H

#include <functional>
#include <string>
#include <vector>

namespace bench {

// Both fork a child, which runs first prepare, then action, and throw std::runtime_error when it fails.
// How far the action drives the resident memory up, in bytes, even if it gives it back. The kernel counts that in lots: it
// may be some dozens of pages out.
long peakGrowthOf(const std::function<void()>& prepare, const std::function<void()>& action);
// How much more resident memory there is after the action.
long lastingGrowthOf(const std::function<void()>& prepare, const std::function<void()>& action);

// System calls by name, each with how often it was made, as "recvfrom 2, sendto 1".
std::string describeSystemCalls(const std::vector<long>& calls);

}  // namespace bench

#endif
