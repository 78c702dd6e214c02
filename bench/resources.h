// What an action needs besides time: memory, and which system calls it makes.
#ifndef ZOLSTATS_BENCH_RESOURCES_H
#define ZOLSTATS_BENCH_RESOURCES_H

#include <functional>
#include <string>
#include <vector>

namespace bench {

// The resident memory of this process, in bytes.
long residentBytes();

// How far an action drives the resident memory up, in bytes, even if it gives it back. A forked child runs first
// prepare, then action. Throws std::runtime_error when the child fails.
long peakGrowthOf(const std::function<void()>& prepare, const std::function<void()>& action);

// System calls by name, each with how often it was made, as "recvfrom 2, sendto 1".
std::string describeSystemCalls(const std::vector<long>& calls);

}  // namespace bench

#endif
