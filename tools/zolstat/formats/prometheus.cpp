// Samples for Prometheus and what reads its text format, version 0.0.4.
// Not a server: whoever wants the text fetches it from standard output.
// The protocol that the statistics come by is written down in docs/protocol.md.
#include <algorithm>
#include <set>
#include <tuple>

#include "common/exposition.h"
#include "renderers.h"

namespace tools::zolstat {
namespace {

class Rendering {
  public:
    Rendering(Kind kind, Alphabet alphabet) : kind_(kind), exposition_(ExpositionFormat::Text, alphabet) {}

    void add(const Sample& sample) {
        const std::string gateway = nameOf(sample.gateway);
        exposition_.add(up_, {{"gateway", gateway}}, sample.failure ? "0" : "1");
        for (const Reading& reading : sample.readings) {
            if (!reading.rejected()) {
                addReading(gateway, reading);
            }
        }
    }
    std::string text() const { return exposition_.text(); }

  private:
    Exposition::Family gauge(const char* name, const char* help) {
        return exposition_.family(name, MetricType::Gauge, help);
    }

    void addReading(const std::string& gateway, const Reading& reading) {
        const Labels group{{"gateway", gateway}, {"group", reading.group}};
        const Labels id{group[0], group[1], {"id", reading.id}};
        if (kind_ == Kind::Statistics) {
            addValue(gateway, reading, id);
        } else if (kind_ == Kind::Groups) {
            exposition_.add(groups_, group, "1");
        } else {
            exposition_.add(ids_, id, "1");
        }
    }

    // What was asked for twice is told once, though it has become another text meanwhile.
    void addValue(const std::string& gateway, const Reading& reading, Labels labels) {
        if (!reading.value || !told_.emplace(gateway, reading.group, reading.id).second) {
            return;
        }
        if (const auto number = exposedNumber(*reading.value)) {
            exposition_.add(numbers_, labels, *number);
        } else {
            labels.emplace_back("value", *reading.value);
            exposition_.add(texts_, labels, "1");
        }
    }

    Kind kind_;
    std::set<std::tuple<std::string, std::string, std::string>> told_{};
    Exposition exposition_;
    Exposition::Family up_ = gauge("zol_up", "Whether the Gateway answered.");
    Exposition::Family groups_ = gauge("zol_group_info", "A group of statistics that the Gateway has.");
    Exposition::Family ids_ = gauge("zol_id_info", "A statistic that the Gateway has.");
    Exposition::Family numbers_ =
        exposition_.family("zol_stat", MetricType::Untyped, "The value of a statistic.");
    Exposition::Family texts_ =
        gauge("zol_stat_info", "The value of a statistic that is no number, as a label.");
};

}  // namespace

std::string renderPrometheus(const Samples& samples, Kind kind, const Layout& layout) {
    Rendering rendering(kind, layout.terminal ? Alphabet::Ascii : Alphabet::Utf8);
    std::for_each(samples.begin(), samples.end(), [&](const Sample& sample) { rendering.add(sample); });
    return rendering.text();
}

}  // namespace tools::zolstat
