// How ids of statistics become metrics: the mapping file read, checked, and applied.
// Not the place where the metrics are written (metrics.cpp).
// The file is described in docs/prometheus.md.
#include "mapping.h"

#include <fmt/format.h>
#include <re2/re2.h>

#include <algorithm>
#include <array>
#include <unordered_map>

#include "common/escape.h"
#include "common/text.h"
#include "yaml.h"

namespace tools::exporter {
namespace {

constexpr std::string_view UNTOLD_HELP = "The value of a statistic.";
constexpr std::string_view TOTAL = "_total";

struct TypeName {
    std::string_view name;
    MetricType type;
};
constexpr std::array TYPES{TypeName{"counter", MetricType::Counter}, TypeName{"gauge", MetricType::Gauge},
                           TypeName{"untyped", MetricType::Untyped}};

// What the exporter or Prometheus itself adds to each scrape.
constexpr std::array<std::string_view, 4> TAKEN{"up", "zol_stat", "zol_stat_info", "zol_up"};
constexpr std::array<std::string_view, 6> TAKEN_BEGINNINGS{
    "__", "process_", "scrape_", "zol_gateway_info", "zol_scrape_", "zolstats_exporter_"};

bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

// Colons, which Prometheus allows in names of metrics, are for what its own rules record.
bool isName(std::string_view name) {
    return !name.empty() && isLetter(name.front()) && std::all_of(name.begin(), name.end(), [](char c) {
        return isLetter(c) || (c >= '0' && c <= '9');
    });
}

bool isTaken(std::string_view name) {
    return std::find(TAKEN.begin(), TAKEN.end(), name) != TAKEN.end() ||
           std::any_of(TAKEN_BEGINNINGS.begin(), TAKEN_BEGINNINGS.end(),
                       [&](std::string_view one) { return name.starts_with(one); });
}

// Groups of the id's expression that a text asks for: \0 is the whole id.
constexpr std::size_t MOST_GROUPS = 10;
using Found = std::array<re2::StringPiece, MOST_GROUPS>;

std::string filledIn(const RE2& expression, const std::string& text, const Found& found) {
    std::string result;
    expression.Rewrite(&result, text, found.data(), static_cast<int>(found.size()));
    return result;
}

std::unique_ptr<const RE2> expressionOf(const Yaml& yaml) {
    RE2::Options options;
    options.set_log_errors(false);
    options.set_dot_nl(true);
    auto expression = std::make_unique<const RE2>(yaml.text(), options);
    if (!expression->ok()) {
        throw yaml.error(fmt::format("no regular expression: {}", printable(expression->error())));
    }
    return expression;
}

// A text that groups of the expression are put into.
std::string textOf(const Yaml& yaml, const RE2& expression) {
    std::string problem;
    if (!expression.CheckRewriteString(yaml.text(), &problem)) {
        throw yaml.error(printable(problem));
    }
    return yaml.text();
}

MetricType typeOf(const Yaml* yaml) {
    if (yaml == nullptr) {
        return MetricType::Untyped;
    }
    const auto* const type = std::find_if(TYPES.begin(), TYPES.end(),
                                          [&](const TypeName& one) { return one.name == yaml->text(); });
    if (type == TYPES.end()) {
        throw yaml->error(
            fmt::format("the type '{}' is none of counter, gauge and untyped", printable(yaml->text())));
    }
    return type->type;
}

double scaleOf(const Yaml* yaml) {
    const double scale = yaml == nullptr ? 1 : yaml->number();
    if (scale <= 0) {
        throw yaml->error("a scale is greater than 0");
    }
    return scale;
}

std::string helpOf(const Yaml* yaml) {
    if (yaml == nullptr) {
        return std::string(UNTOLD_HELP);
    }
    std::string text = yaml->text();
    std::erase(text, '\\');  // the one visible character that escaped() changes
    if (text.empty() || escaped(text, Alphabet::Utf8) != text) {
        throw yaml->error("the help is not one line of visible text");
    }
    return yaml->text();
}

// Held against the name once more when groups are put into it.
std::string nameOf(const Yaml& yaml, const RE2& expression, MetricType type) {
    Found letters;
    letters.fill("x");
    const std::string text = textOf(yaml, expression);
    if (const std::string name = filledIn(expression, text, letters); !isUsableName(name, type)) {
        throw yaml.error(fmt::format("the metric '{}' cannot be named so: {}", printable(text),
                                     type == MetricType::Counter
                                         ? "a counter ends in _total, has letters, digits and "
                                           "'_', and begins like none of the exporter's own"
                                         : "letters, digits and '_', no _total at the end, and "
                                           "not the beginning of one of the exporter's own"));
    }
    return text;
}

std::vector<std::pair<std::string, std::string>> labelsOf(const Yaml* yaml, const RE2& expression) {
    std::vector<std::pair<std::string, std::string>> labels;
    for (std::size_t i = 0; yaml != nullptr && i < yaml->keys().size(); ++i) {
        const Yaml& name = yaml->keys()[i];
        if (!isUsableLabel(name.text())) {
            throw name.error(
                fmt::format("the label '{}' cannot be named so: letters, digits and '_', but neither "
                            "gateway nor __ at the beginning",
                            printable(name.text())));
        }
        labels.emplace_back(name.text(), textOf(yaml->values()[i], expression));
    }
    return labels;
}

}  // namespace

bool isUsableName(std::string_view metric, MetricType type) {
    const bool isTotal = metric.ends_with(TOTAL) && metric != TOTAL;
    return isName(metric) && !isTaken(metric) && isTotal == (type == MetricType::Counter) && metric != TOTAL;
}

bool isUsableLabel(std::string_view name) {
    return isName(name) && !name.starts_with("__") && name != "gateway";
}

// What it makes has the groups of the expression still as \1.
struct Mapping::Rule {
    std::unique_ptr<const RE2> id;
    std::unique_ptr<const RE2> group{};  // null: any
    MappedMetric metric{};
    bool hasGroups = false;

    explicit Rule(const Yaml& yaml);
    std::optional<MappedMetric> metricFor(std::string_view groupName, std::string_view idName) const;
    void fillIn(MappedMetric& filled, const Found& found) const;
};

Mapping::Rule::Rule(const Yaml& yaml) : id(expressionOf(yaml.require("id"))) {
    if (const Yaml* const expression = yaml.find("group")) {
        group = expressionOf(*expression);
    }
    metric.type = typeOf(yaml.find("type"));
    metric.name = nameOf(yaml.require("name"), *id, metric.type);
    metric.help = helpOf(yaml.find("help"));
    metric.scale = scaleOf(yaml.find("scale"));
    metric.labels = labelsOf(yaml.find("labels"), *id);
    const auto refers = [](const std::string& text) { return text.find('\\') != std::string::npos; };
    hasGroups = refers(metric.name) || std::any_of(metric.labels.begin(), metric.labels.end(),
                                                   [&](const auto& label) { return refers(label.second); });
}

// Without groups to be found a match is several times faster.
std::optional<MappedMetric> Mapping::Rule::metricFor(std::string_view groupName,
                                                     std::string_view idName) const {
    Found found;
    const int wanted =
        hasGroups ? std::min(id->NumberOfCapturingGroups() + 1, static_cast<int>(found.size())) : 0;
    if ((group && !RE2::FullMatch(groupName, *group)) ||
        !id->Match(idName, 0, idName.size(), RE2::ANCHOR_BOTH, found.data(), wanted)) {
        return std::nullopt;
    }
    MappedMetric filled = metric;
    if (hasGroups) {
        fillIn(filled, found);
    }
    return isUsableName(filled.name, filled.type) ? std::optional(std::move(filled)) : std::nullopt;
}

void Mapping::Rule::fillIn(MappedMetric& filled, const Found& found) const {
    filled.name = filledIn(*id, filled.name, found);
    for (auto& [name, value] : filled.labels) {
        value = filledIn(*id, value, found);
    }
}

Mapping Mapping::read(const std::string& file) try {
    const Yaml yaml = Yaml::read(file);
    yaml.allowKeys({"metrics"});
    Mapping mapping;
    std::unordered_map<std::string, MetricType> types;
    for (const Yaml& one : yaml.require("metrics").list()) {
        one.allowKeys({"id", "group", "name", "help", "type", "scale", "labels"});
        const auto rule = std::make_shared<const Rule>(one);
        if (types.try_emplace(rule->metric.name, rule->metric.type).first->second != rule->metric.type) {
            throw one.error(fmt::format("'{}' has another type in an earlier rule", rule->metric.name));
        }
        mapping.rules_.push_back(rule);
    }
    return mapping;
} catch (const BadYaml& problem) {
    throw BadMapping(problem.what());
}

std::optional<MappedMetric> Mapping::metricFor(std::string_view group, std::string_view id) const {
    for (const auto& rule : rules_) {
        if (auto metric = rule->metricFor(group, id)) {
            return metric;
        }
    }
    return std::nullopt;
}

}  // namespace tools::exporter
