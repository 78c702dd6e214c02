#include "statistics.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <stdexcept>

namespace bench {

double quantile(std::vector<double> samples, double fraction) {
    if (samples.empty()) {
        throw std::invalid_argument("no samples");
    }
    const auto last = static_cast<double>(samples.size() - 1);
    const auto position = samples.begin() + std::lround(last * fraction);
    std::nth_element(samples.begin(), position, samples.end());
    return *position;
}

double median(std::vector<double> samples) {
    std::sort(samples.begin(), samples.end());
    if (samples.size() % 2 == 1) {
        return samples[samples.size() / 2];
    }
    if (samples.empty()) {
        throw std::invalid_argument("no samples");
    }
    return (samples[samples.size() / 2 - 1] + samples[samples.size() / 2]) / 2;
}

double medianRatio(const std::vector<double>& rounds, const std::vector<double>& baseRounds) {
    if (rounds.size() != baseRounds.size()) {
        throw std::invalid_argument("not as many rounds");
    }
    std::vector<double> ratios(rounds.size());
    std::transform(rounds.begin(), rounds.end(), baseRounds.begin(), ratios.begin(), std::divides<>());
    return median(std::move(ratios));
}

}  // namespace bench
