// Scrapes as metrics: names, labels, and what is left out and counted.
// Not the place where a Gateway is asked (worker.cpp) or where formats are written (common/exposition.cpp).
// Every metric is described in docs/prometheus.md.
#include "metrics.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <string_view>
#include <unordered_set>
#include <zolstats/zolstats.hpp>

#include "common/number.h"

namespace tools::exporter {
namespace {

// Why a statistic is not told. The set is closed: each is a series of its own, from the first scrape on.
enum class Skip {
    Text,       // it is no number, and nobody has asked for its text or there is none
    TooLarge,   // a number that Prometheus cannot hold, maybe by its scale
    NotACount,  // mapped to a counter, but negative or not finite
    Duplicate   // there is this series already
};
constexpr std::array SKIP_NAMES{"text", "too_large", "not_a_count", "duplicate"};

// Of an exposed number; what is too small for a double is 0.
double valueOf(std::string_view number) {
    number.remove_prefix(number.starts_with('+') ? 1 : 0);
    double value = 0;
    std::from_chars(number.data(), number.data() + number.size(), value);
    return value;
}

class ScrapeMetrics {
  public:
    ScrapeMetrics(Exposition& exposition, const Scrape& scrape, const Rendering& rendering)
        : exposition_(exposition), scrape_(scrape), rendering_(rendering) {}

    void add() {
        gauge("zol_up", "Whether the Gateway answered.", {}, scrape_.failure ? 0 : 1);
        addVersions();
        addPhases();
        gauge("zol_scrape_timeout_seconds", "How long the scrape might take.", {},
              rendering_.timeout.count());
        addFailures();
        addStatistics();
        addCounts();
    }

  private:
    Labels labelled(Labels labels) const {
        if (rendering_.labelsGateways) {
            labels.insert(labels.begin(), {"gateway", gateway_});
        }
        return labels;
    }

    void gauge(std::string_view name, std::string_view help, const Labels& labels, double value) {
        exposition_.add(exposition_.family(name, MetricType::Gauge, help), labelled(labels), value);
    }

    void addVersions() {
        if (!scrape_.protocolVersion.empty()) {
            gauge("zol_gateway_info", "Versions of the Gateway's protocol and of the library that speaks it.",
                  {{"protocol_version", scrape_.protocolVersion}, {"api_version", zolstats::apiVersion()}},
                  1);
        }
    }

    void addPhases() {
        const auto phase = [this](std::string_view name, std::chrono::duration<double> took) {
            gauge("zol_scrape_duration_seconds", "How long each phase of the scrape has taken.",
                  {{"phase", name}}, took.count());
        };
        phase("open", scrape_.took.open);
        phase("query", scrape_.took.query);
        phase("walk", scrape_.took.walk);
    }

    void addFailures() {
        for (std::size_t i = 0; i < REASON_NAMES.size(); ++i) {
            const auto reason = static_cast<Reason>(i);
            const bool isSo = (scrape_.failure && scrape_.failure->reason == reason) ||
                              (reason == Reason::Rejected && !scrape_.rejectedGroups.empty());
            gauge("zol_scrape_failure", "Whether the scrape, or a part of it, has failed for this reason.",
                  {{"reason", REASON_NAMES.at(i)}}, isSo ? 1 : 0);
        }
        gauge("zol_scrape_unreadable_groups", "Groups that the Gateway lists, but that no query can ask for.",
              {}, static_cast<double>(scrape_.unreadableGroups));
    }

    // The Gateway may name a statistic twice in a group; then the first one holds.
    void addStatistics() {
        std::vector<std::unordered_set<std::string_view>> told(scrape_.groups.size());
        for (const Reading& reading : scrape_.readings) {
            if (!told.at(reading.group).insert(reading.id).second) {
                count(Skip::Duplicate);
            } else if (const auto number = exposedNumber(reading.value)) {
                addNumber(reading, *number);
            } else {
                addText(reading);
            }
        }
    }

    void addNumber(const Reading& reading, std::string_view number) {
        const std::string& group = scrape_.groups[reading.group];
        if (const auto metric = rendering_.mapping.metricFor(group, reading.id)) {
            addMapped(*metric, number);
            return;
        }
        const auto family = exposition_.family("zol_stat", MetricType::Untyped, "The value of a statistic.");
        countUnless(exposition_.add(family, labelled({{"group", group}, {"id", reading.id}}), number));
    }

    void addMapped(const MappedMetric& metric, std::string_view number) {
        const double value = valueOf(number) * metric.scale;
        if (metric.type == MetricType::Counter && !(value >= 0 && std::isfinite(valueOf(number)))) {
            count(Skip::NotACount);
        } else if (std::isinf(value) && std::isfinite(valueOf(number))) {
            count(Skip::TooLarge);
        } else {
            const auto family = exposition_.family(metric.name, metric.type, metric.help);
            const Labels labels = labelled({metric.labels.begin(), metric.labels.end()});
            countUnless(metric.scale == 1 ? exposition_.add(family, labels, number)
                                          : exposition_.add(family, labels, value));
        }
    }

    void addText(const Reading& reading) {
        const bool isWanted = std::any_of(rendering_.info.begin(), rendering_.info.end(),
                                          [&](const Pattern& pattern) { return pattern.fits(reading.id); });
        if (!isWanted || reading.value.empty()) {
            count(decimalOf(reading.value) ? Skip::TooLarge : Skip::Text);
            return;
        }
        const auto family = exposition_.family("zol_stat_info", MetricType::Gauge,
                                               "The value of a statistic that is no number, as a label.");
        const std::string& group = scrape_.groups[reading.group];
        countUnless(exposition_.add(
            family, labelled({{"group", group}, {"id", reading.id}, {"value", reading.value}}), "1"));
    }

    void addCounts() {
        gauge("zol_scrape_statistics", "How many statistics were read.", {},
              static_cast<double>(scrape_.readings.size()));
        for (std::size_t i = 0; i < SKIP_NAMES.size(); ++i) {
            gauge("zol_scrape_skipped", "How many of the statistics read are not told, by reason.",
                  {{"reason", SKIP_NAMES.at(i)}}, static_cast<double>(skipped_.at(i)));
        }
    }

    void count(Skip reason) { ++skipped_.at(static_cast<std::size_t>(reason)); }
    void countUnless(bool isNew) {
        if (!isNew) {
            count(Skip::Duplicate);
        }
    }

    Exposition& exposition_;
    const Scrape& scrape_;
    const Rendering& rendering_;
    const std::string gateway_ = nameOf(scrape_.gateway);
    std::array<std::size_t, SKIP_NAMES.size()> skipped_{};
};

double secondsSinceEpoch(std::chrono::system_clock::time_point time) {
    return std::chrono::duration<double>(time.time_since_epoch()).count();
}

}  // namespace

void addScrape(Exposition& exposition, const Scrape& scrape, const Rendering& rendering) {
    ScrapeMetrics(exposition, scrape, rendering).add();
}

void addOwnFigures(Exposition& exposition, const OwnFigures& figures) {
    const auto add = [&](std::string_view name, MetricType type, std::string_view help, double value,
                         const Labels& labels = {}) {
        exposition.add(exposition.family(name, type, help), labels, value);
    };
    add("zolstats_exporter_build_info", MetricType::Gauge, "What this exporter is.", 1,
        {{"version", EXPORTER_VERSION}, {"api_version", zolstats::apiVersion()}, {"compiler", __VERSION__}});
    add("zolstats_exporter_scrapes_total", MetricType::Counter, "Scrapes of Gateways since the start.",
        static_cast<double>(figures.scrapes));
    add("zolstats_exporter_gateways", MetricType::Gauge, "Gateways that have a worker.",
        static_cast<double>(figures.gateways));
    add("zolstats_exporter_requests_in_flight", MetricType::Gauge, "HTTP requests that are being answered.",
        static_cast<double>(figures.requestsInFlight));
    add("zolstats_exporter_requests_refused_total", MetricType::Counter,
        "HTTP requests refused because too many were in flight.",
        static_cast<double>(figures.requestsRefused));
    add("zolstats_exporter_config_last_reload_successful", MetricType::Gauge,
        "Whether the last reading of the configuration worked.", figures.lastReloadWorked ? 1 : 0);
    add("zolstats_exporter_config_last_reload_success_timestamp_seconds", MetricType::Gauge,
        "When a configuration was last read and taken over.", secondsSinceEpoch(figures.lastGoodReload));
}

}  // namespace tools::exporter
