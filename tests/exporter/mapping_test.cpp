// Which metrics a mapping file makes of statistics, and which mistakes in it are told, and how.
// Not a test of how the metrics are written (exposition_test.cpp).
// The file is described in docs/prometheus.md.
#include "mapping.h"

#include <gtest/gtest.h>

#include "support/scratch_folder.h"

namespace {

using namespace std::string_literals;
using tools::MetricType;
using tools::exporter::BadMapping;
using tools::exporter::MappedMetric;
using tools::exporter::Mapping;

class MappingFile : public testing::Test {
  protected:
    Mapping read(const std::string& content) { return Mapping::read(folder_.write("map.yml", content)); }
    // A rule for all ids that begin with A_, with more keys.
    Mapping rule(const std::string& keys) { return read("metrics:\n  - id: A_(.*)\n    " + keys); }

    std::string problemOf(const std::string& content) {
        try {
            read(content);
        } catch (const BadMapping& problem) {
            return std::string(problem.what()).substr((folder_.path() / "map.yml:").string().size());
        }
        return "none";
    }
    // Of a rule whose third line it is.
    std::string problemOfRule(const std::string& key) {
        return problemOf("metrics:\n  - id: A_(.*)\n    " + key);
    }

    static std::string nameFor(const Mapping& mapping, const std::string& id,
                               const std::string& group = "G") {
        const auto metric = mapping.metricFor(group, id);
        return metric ? metric->name : "none";
    }

    const testing_support::ScratchFolder folder_;
};

TEST_F(MappingFile, MakesMetricsOfAllThatARuleTells) {
    const auto metric = read(R"(
metrics:
  - id: (\w+)_(\w+)_MS
    group: CPU.*
    name: cpu_\1_seconds_total
    help: 'How long. C:\1'
    type: counter
    scale: 0.001
    labels: {z: '\2 of \1', a: '\\1', whole: \0}
)")
                            .metricFor("CPU1", "user_USED_MS");
    ASSERT_TRUE(metric);
    EXPECT_EQ(metric->name, "cpu_user_seconds_total");
    EXPECT_EQ(metric->help, "How long. C:\\1") << "the help is one for all, and stands as it is";
    EXPECT_EQ(metric->type, MetricType::Counter);
    EXPECT_EQ(metric->scale, 0.001);
    EXPECT_EQ(metric->labels, (std::vector{std::pair{"z"s, "USED of user"s}, std::pair{"a"s, "\\1"s},
                                           std::pair{"whole"s, "user_USED_MS"s}}));
}

TEST_F(MappingFile, MakesPlainMetricsWithoutMoreKeys) {
    const auto metric = rule("name: a").metricFor("G", "A_1");
    ASSERT_TRUE(metric);
    EXPECT_EQ(metric->type, MetricType::Untyped);
    EXPECT_EQ(metric->scale, 1);
    EXPECT_TRUE(metric->labels.empty());
    EXPECT_FALSE(metric->help.empty());
}

TEST_F(MappingFile, FitsWholeIdsAndGroupsOnly) {
    const Mapping mapping = rule("name: a\n    group: CPU");
    EXPECT_EQ(nameFor(mapping, "A_1", "CPU"), "a");
    EXPECT_EQ(nameFor(mapping, "BA_1", "CPU"), "none");
    EXPECT_EQ(nameFor(mapping, "A_1", "CPU2"), "none");
    EXPECT_EQ(nameFor(read("metrics: [{id: A, name: a}]"), "AB"), "none");
}

TEST_F(MappingFile, LetsTheFirstRuleThatFitsDecide) {
    const Mapping mapping =
        read("metrics: [{id: AB, name: first}, {id: A., name: second}, {id: .*, name: third}]");
    EXPECT_EQ(nameFor(mapping, "AB"), "first");
    EXPECT_EQ(nameFor(mapping, "AC"), "second");
    EXPECT_EQ(nameFor(mapping, "B"), "third");
}

TEST_F(MappingFile, PassesOverARuleThatWouldMakeAnInvalidName) {
    const Mapping mapping =
        read("metrics: [{id: A_(.*), name: '\\1'}, {id: A_(.*), name: 'x_\\1'}, {id: .*, name: rest}]");
    EXPECT_EQ(nameFor(mapping, "A_good"), "good");
    EXPECT_EQ(nameFor(mapping, "A_1"), "x_1");
    for (const auto& id : {"A_up"s, "A___x"s, "A_zol_stat"s, "A_process_x"s, "A_zol_scrape_x"s}) {
        EXPECT_EQ(nameFor(mapping, id), "x_" + id.substr(2));
    }
    for (const auto& id : {"A_a-b"s, "A_ "s, "A_\n"s, "A_x_total"s, "A_a:b"s, "A_\xc3\xa9"s, "A_a\0"s}) {
        EXPECT_EQ(nameFor(mapping, id), "rest") << id;
    }
}

TEST_F(MappingFile, FitsNothingThatIsNotUtf8WithADot) {
    EXPECT_EQ(nameFor(rule("name: a"), "A_\xff"), "none");
}

TEST_F(MappingFile, IsNotSlowedDownByLongIds) {
    const Mapping mapping = read("metrics: [{id: (a*)*(a|b|ab)*c, name: x, labels: {l: \\1}}]");
    EXPECT_EQ(nameFor(mapping, std::string(32767, 'a')), "none");
    EXPECT_EQ(nameFor(mapping, std::string(32766, 'a') + 'c'), "x");
}

TEST_F(MappingFile, HasNoRulesUnlessItIsRead) {
    EXPECT_EQ(nameFor(Mapping(), "A"), "none");
    EXPECT_EQ(nameFor(read("metrics: []"), "A"), "none");
}

TEST_F(MappingFile, IsToldWhichNamesCannotBe) {
    for (const char* const name :
         {"''", "1a", "a-b", "a:b", "\xc3\xa9", "up", "__a", "zol_up", "zol_stat", "zol_stat_info",
          "zol_scrape_failure", "zol_gateway_info", "process_x", "zolstats_exporter_x", "a_total", "_total",
          "a \\1", "scrape_duration_seconds"}) {
        EXPECT_TRUE(problemOfRule("name: "s + name).starts_with("3: the metric '")) << name;
    }
    for (const char* const name : {"a", "_total", "a_total_x", "zol_up", "\\1_totals"}) {
        EXPECT_TRUE(problemOfRule("{type: counter}\n    name: "s + name).starts_with("3: ")) << name;
    }
    EXPECT_EQ(problemOfRule("name: zol_memory_bytes"), "none");
    EXPECT_EQ(problemOfRule("name: \\1_total\n    type: counter"), "none");
}

TEST_F(MappingFile, IsToldWhichLabelsCannotBe) {
    for (const char* const name : {"gateway", "__name__", "1a", "a-b", "''", "a:b"}) {
        EXPECT_TRUE(problemOfRule("name: a\n    labels: {"s + name + ": x}").starts_with("4: the label '"))
            << name;
    }
    EXPECT_EQ(problemOfRule("name: a\n    labels: {group: x, id: y}"), "none");
    EXPECT_EQ(problemOfRule("name: a\n    labels: {x: 1, x: 2}"), "4: the key 'x' comes twice");
}

TEST_F(MappingFile, IsToldTheLineOfEachMistake) {
    EXPECT_EQ(problemOf("metrics:\n  - name: a\n"), "2: the key 'id' is missing");
    EXPECT_EQ(problemOf("metrics:\n  - id: a\n"), "2: the key 'name' is missing");
    EXPECT_EQ(problemOf("rules: []\n"), "1: unknown key 'rules'; known here: metrics");
    EXPECT_EQ(problemOfRule("name: a\n    unit: x"),
              "4: unknown key 'unit'; known here: id, group, name, help, type, scale, labels");
    EXPECT_EQ(problemOf("metrics:\n  - id: A(\n    name: a"), "2: no regular expression: missing ): A(");
    EXPECT_EQ(problemOf("metrics:\n  - id: A\n    group: '['\n    name: a"),
              "3: no regular expression: missing ]: [");
    EXPECT_EQ(problemOfRule("name: a\n    type: summary"),
              "4: the type 'summary' is none of counter, gauge and untyped");
    EXPECT_EQ(problemOfRule("name: a\n    scale: 0"), "4: a scale is greater than 0");
    EXPECT_EQ(problemOfRule("name: a\n    scale: -1"), "4: a scale is greater than 0");
    EXPECT_EQ(problemOfRule("name: a\n    scale: ten"), "4: 'ten' is no number");
    EXPECT_EQ(problemOfRule("name: a\n    help: \"a\\nb\""), "4: the help is not one line of visible text");
    EXPECT_EQ(problemOfRule("name: a\n    help: ''"), "4: the help is not one line of visible text");
    EXPECT_EQ(problemOf("metrics:\n  - {id: A, name: a}\n  - {id: B, name: a, type: gauge}"),
              "3: 'a' has another type in an earlier rule");
}

TEST_F(MappingFile, IsToldOfGroupsThatAreNotThere) {
    EXPECT_TRUE(problemOfRule("name: a_\\2").starts_with("3: "));
    EXPECT_TRUE(problemOfRule("name: a\n    labels: {x: \\2}").starts_with("4: "));
    EXPECT_TRUE(problemOfRule("name: a\n    labels: {x: \\}").starts_with("4: "));
}

TEST_F(MappingFile, IsToldWhenItCannotBeRead) {
    EXPECT_THROW(Mapping::read("/no/such/file"), BadMapping);
}

}  // namespace
