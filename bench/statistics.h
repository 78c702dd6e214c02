// Medians and the like. Knows nothing of what was measured.
#ifndef ZOLSTATS_BENCH_STATISTICS_H
#define ZOLSTATS_BENCH_STATISTICS_H

#include <vector>

namespace bench {

// The value below which the fraction of the samples lies, 0 to 1; between two samples the nearer one. Throws
// std::invalid_argument without samples.
double quantile(std::vector<double> samples, double fraction);

// With an even number of samples, the middle between the two middle ones.
double median(std::vector<double> samples);

// How many times as large the first is as the second, round by round; the median of that. What disturbs a round as a
// whole disturbs both, and does not count. Throws std::invalid_argument when the rounds are not as many.
double medianRatio(const std::vector<double>& rounds, const std::vector<double>& baseRounds);

}  // namespace bench

#endif
