// How ids of statistics become metrics with proper names: rules read from a mapping file.
// Not the place where the metrics are written (metrics.h).
// The file is described in docs/prometheus.md.
#ifndef EXPORTER_MAPPING_H
#define EXPORTER_MAPPING_H

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "common/exposition.h"

namespace tools::exporter {

struct MappedMetric {
    std::string name;
    std::string help;
    MetricType type = MetricType::Untyped;
    double scale = 1;
    std::vector<std::pair<std::string, std::string>> labels{};
};

// Cannot be read, or is not understood; what() tells the file, and the line where there is one.
class BadMapping : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Names that Prometheus takes, and that are free: neither its own ("up", "__name__") nor the exporter's. A
// counter's name ends in "_total", and no other's does.
bool isUsableName(std::string_view metric, MetricType type);
bool isUsableLabel(std::string_view name);

// Not changed once it is read, and used by any number of threads.
class Mapping {
  public:
    // Throws BadMapping.
    static Mapping read(const std::string& file);

    // What the first rule that fits makes of a statistic; nothing if none fits. Takes time in proportion to
    // the length of the id, whatever a Gateway sends.
    std::optional<MappedMetric> metricFor(std::string_view group, std::string_view id) const;

  private:
    struct Rule;
    std::vector<std::shared_ptr<const Rule>> rules_{};
};

}  // namespace tools::exporter

#endif
