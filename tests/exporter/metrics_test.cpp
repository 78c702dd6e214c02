// Which metrics a scrape becomes, and those of the exporter itself.
// Not a test of the parsers that read them (expositions_test.py).
// Every metric is described in docs/prometheus.md.
#include "metrics.h"

#include <gmock/gmock.h>

#include <ctime>
#include <fstream>
#include <future>
#include <sstream>
#include <thread>

#include "support/scratch_folder.h"

namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using tools::Exposition;
using tools::ExpositionFormat;
using namespace tools::exporter;

std::vector<std::string> linesOf(const Exposition& exposition) {
    std::istringstream stream(exposition.text());
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        if (!line.starts_with("#")) {
            lines.push_back(line);
        }
    }
    return lines;
}

class Metrics : public testing::Test {
  protected:
    void tell(const std::string& id, const std::string& value) { scrape_.readings.push_back({0, id, value}); }
    void map(const std::string& rules) {
        mapping_ = Mapping::read(folder_.write("map.yml", "metrics: [" + rules + "]\n"));
    }
    std::vector<std::string> lines(bool labelsGateways = false) {
        Exposition exposition(ExpositionFormat::Text);
        addScrape(exposition, scrape_, {labelsGateways, 8.5s, mapping_, info_});
        return linesOf(exposition);
    }
    // Of the statistics only.
    std::vector<std::string> statistics() {
        std::vector<std::string> found = lines();
        std::erase_if(found, [](const std::string& line) {
            return line.starts_with("zol_up") || line.starts_with("zol_scrape_") ||
                   line.starts_with("zol_gateway_");
        });
        return found;
    }
    int skipped(const std::string& reason) {
        for (const std::string& line : lines()) {
            if (const auto start = "zol_scrape_skipped{reason=\"" + reason + "\"} ";
                line.starts_with(start)) {
                return std::stoi(line.substr(start.size()));
            }
        }
        return -1;
    }

    Scrape scrape_{.gateway = {"db1", 4000}, .groups = {"CPU", "MEMORY"}};
    Mapping mapping_{};
    std::vector<Pattern> info_{};
    const testing_support::ScratchFolder folder_;
};
using Lines = std::vector<std::string>;

TEST_F(Metrics, AreAlwaysThereThoughNothingWasRead) {
    scrape_.failure = Failure{Reason::Connect, "refused"};
    scrape_.took = {0.25s, 0s, 0s};
    EXPECT_EQ(
        lines(),
        (Lines{"zol_up 0", "zol_scrape_duration_seconds{phase=\"open\"} 0.25",
               "zol_scrape_duration_seconds{phase=\"query\"} 0",
               "zol_scrape_duration_seconds{phase=\"walk\"} 0", "zol_scrape_timeout_seconds 8.5",
               "zol_scrape_failure{reason=\"resolve\"} 0", "zol_scrape_failure{reason=\"connect\"} 1",
               "zol_scrape_failure{reason=\"timeout\"} 0", "zol_scrape_failure{reason=\"not_a_gateway\"} 0",
               "zol_scrape_failure{reason=\"lost\"} 0", "zol_scrape_failure{reason=\"rejected\"} 0",
               "zol_scrape_failure{reason=\"internal\"} 0", "zol_scrape_unreadable_groups 0",
               "zol_scrape_statistics 0", "zol_scrape_skipped{reason=\"text\"} 0",
               "zol_scrape_skipped{reason=\"too_large\"} 0", "zol_scrape_skipped{reason=\"not_a_count\"} 0",
               "zol_scrape_skipped{reason=\"duplicate\"} 0"}));
}

TEST_F(Metrics, TellVersionsOnceTheyAreKnown) {
    EXPECT_THAT(lines(), Not(Contains(HasSubstr("zol_gateway_info"))));
    scrape_.protocolVersion = "1_0";
    EXPECT_THAT(lines(), Contains("zol_gateway_info{protocol_version=\"1_0\",api_version=\"1_1_0_1\"} 1"));
}

TEST_F(Metrics, NameTheGatewayInEachSeriesWhereThereAreSeveral) {
    tell("A", "1");
    tell("B", "2");
    scrape_.protocolVersion = "1_0";
    map("{id: B, name: b, labels: {x: y}}");
    for (const std::string& line : lines(true)) {
        EXPECT_THAT(line, HasSubstr("{gateway=\"db1:4000\""));
    }
    EXPECT_THAT(lines(true), Contains("b{gateway=\"db1:4000\",x=\"y\"} 2"));
}

TEST_F(Metrics, OfSeveralGatewaysStandTogether) {
    Exposition exposition(ExpositionFormat::Text);
    tell("A", "1");
    addScrape(exposition, scrape_, {true, 9s, mapping_, info_});
    scrape_.gateway.host = "db2";
    addScrape(exposition, scrape_, {true, 9s, mapping_, info_});
    EXPECT_THAT(exposition.text(), HasSubstr("zol_stat{gateway=\"db1:4000\",group=\"CPU\",id=\"A\"} 1\n"
                                             "zol_stat{gateway=\"db2:4000\",group=\"CPU\",id=\"A\"} 1\n"));
}

TEST_F(Metrics, HaveNumbersWithTheirDigits) {
    tell("A", "98765432109876543210.1250");
    tell("B", "+5");
    scrape_.readings.push_back({1, "A", "Infinity"});
    EXPECT_EQ(statistics(),
              (Lines{"zol_stat{group=\"CPU\",id=\"A\"} 98765432109876543210.1250",
                     "zol_stat{group=\"CPU\",id=\"B\"} +5", "zol_stat{group=\"MEMORY\",id=\"A\"} +Inf"}));
    EXPECT_THAT(lines(), Contains("zol_up 1"));
    EXPECT_THAT(lines(), Contains("zol_scrape_statistics 3"));
}

TEST_F(Metrics, HaveTextsOnlyOfIdsThatAreAskedFor) {
    tell("VERSION_A", "1.2.3");
    tell("VERSION_B", "1e999");
    tell("STATE", "busy");
    tell("HEX", "0x10");
    tell("HUGE", "1e999");
    info_ = {Pattern("X"), Pattern("VERSION_*")};
    EXPECT_EQ(statistics(), (Lines{"zol_stat_info{group=\"CPU\",id=\"VERSION_A\",value=\"1.2.3\"} 1",
                                   "zol_stat_info{group=\"CPU\",id=\"VERSION_B\",value=\"1e999\"} 1"}));
    EXPECT_EQ(skipped("text"), 2);
    EXPECT_EQ(skipped("too_large"), 1);
}

TEST_F(Metrics, HaveNoSeriesOfAnEmptyText) {
    tell("STATE", "");
    info_ = {Pattern("*")};
    EXPECT_EQ(statistics(), Lines{});
    EXPECT_EQ(skipped("text"), 1);
}

TEST_F(Metrics, TellAStatisticOnceThoughTheGatewayNamesItTwice) {
    info_ = {Pattern("*")};
    tell("A", "1");
    tell("A", "2");
    tell("A", "text");
    scrape_.readings.push_back({1, "A", "3"});
    EXPECT_EQ(statistics(),
              (Lines{"zol_stat{group=\"CPU\",id=\"A\"} 1", "zol_stat{group=\"MEMORY\",id=\"A\"} 3"}));
    EXPECT_EQ(skipped("duplicate"), 2);
}

TEST_F(Metrics, TellTheFirstOfTwoThatAreMappedOntoOneSeries) {
    map("{id: (.).*, name: x, labels: {first: \\1}}");
    tell("AB", "1");
    tell("AC", "2");
    tell("B", "3");
    EXPECT_EQ(statistics(), (Lines{"x{first=\"A\"} 1", "x{first=\"B\"} 3"}));
    EXPECT_EQ(skipped("duplicate"), 1);
}

TEST_F(Metrics, AreScaledAsDoublesAndElseLeftAsTheyAre) {
    map("{id: K.*, name: x_bytes, scale: 1024, labels: {id: \\0}}, {id: S, name: y, scale: 1}, "
        "{id: M, name: z, scale: 0.001}");
    tell("K1", "+3");
    tell("K2", "NaN");
    tell("K3", "-Inf");
    tell("K4", "1e-999");
    tell("K5", "1.7e308");
    tell("K6", "busy");
    tell("S", "10000000000000000000001");
    tell("M", "7");
    EXPECT_EQ(statistics(),
              (Lines{"x_bytes{id=\"K1\"} 3072", "x_bytes{id=\"K2\"} NaN", "x_bytes{id=\"K3\"} -Inf",
                     "x_bytes{id=\"K4\"} 0", "y 10000000000000000000001", "z 0.007"}));
    EXPECT_EQ(skipped("too_large"), 1);
    EXPECT_EQ(skipped("text"), 1);
}

TEST_F(Metrics, HaveNoCounterThatCountsNothing) {
    map("{id: .*, name: x_total, type: counter, labels: {id: \\0}}");
    tell("A", "-1");
    tell("B", "NaN");
    tell("C", "inf");
    tell("D", "-0");
    tell("E", "5");
    EXPECT_EQ(statistics(), (Lines{"x_total{id=\"D\"} -0", "x_total{id=\"E\"} 5"}));
    EXPECT_EQ(skipped("not_a_count"), 3);
}

TEST_F(Metrics, CallAGatewayUpThoughItHasRejectedAGroup) {
    scrape_.rejectedGroups = {"NO_SUCH"};
    EXPECT_THAT(lines(), Contains("zol_up 1"));
    EXPECT_THAT(lines(), Contains("zol_scrape_failure{reason=\"rejected\"} 1"));
}

TEST_F(Metrics, CountListedGroupsThatCannotBeReadAndDoNotCallThemAFailure) {
    scrape_.unreadableGroups = 2;
    EXPECT_THAT(lines(), Contains("zol_scrape_unreadable_groups 2"));
    EXPECT_THAT(lines(), Contains("zol_scrape_failure{reason=\"rejected\"} 0"));
}

TEST(OwnFigures, TellOfTheExporter) {
    Exposition exposition(ExpositionFormat::Text);
    addOwnFigures(exposition, {.scrapes = 5,
                               .gateways = 2,
                               .requestsInFlight = 1,
                               .requestsRefused = 3,
                               .lastReloadWorked = false,
                               .lastGoodReload = std::chrono::system_clock::time_point(1700000123s)});
    const Lines lines = linesOf(exposition);
    EXPECT_THAT(lines.front(),
                testing::MatchesRegex(
                    "zolstats_exporter_build_info.version=\"[0-9.]+\",api_version=\"1_1_0_1\",.*. 1"));
    EXPECT_EQ((Lines{lines.begin() + 1, lines.end()}),
              (Lines{"zolstats_exporter_scrapes_total 5", "zolstats_exporter_gateways 2",
                     "zolstats_exporter_requests_in_flight 1", "zolstats_exporter_requests_refused_total 3",
                     "zolstats_exporter_config_last_reload_successful 0",
                     "zolstats_exporter_config_last_reload_success_timestamp_seconds 1700000123"}));
}

double processFigure(const std::string& name) {
    Exposition exposition(ExpositionFormat::Text);
    addProcessFigures(exposition);
    for (const std::string& line : linesOf(exposition)) {
        if (line.starts_with(name + ' ')) {
            return std::stod(line.substr(name.size() + 1));
        }
    }
    ADD_FAILURE() << name << " is missing";
    return 0;
}

TEST(ProcessFigures, CountOpenDescriptors) {
    const double before = processFigure("process_open_fds");
    const std::ifstream one("/dev/null");
    EXPECT_EQ(processFigure("process_open_fds"), before + 1);
    EXPECT_GE(processFigure("process_max_fds"), before);
}

TEST(ProcessFigures, CountThreads) {
    const double before = processFigure("process_threads");
    std::promise<void> end;
    std::thread other([&] { end.get_future().wait(); });
    EXPECT_EQ(processFigure("process_threads"), before + 1);
    end.set_value();
    other.join();
}

TEST(ProcessFigures, CountTimeOfTheProcessor) {
    const double beforeS = processFigure("process_cpu_seconds_total");
    const std::clock_t start = std::clock();
    while (std::clock() - start < CLOCKS_PER_SEC / 20) {
    }
    const double usedS = processFigure("process_cpu_seconds_total") - beforeS;
    EXPECT_GE(usedS, 0.03) << "the system counts hundredths";
    EXPECT_LT(usedS, 10);
}

TEST(ProcessFigures, TellWhenItBegan) {
    const double nowS = static_cast<double>(std::time(nullptr));
    EXPECT_LE(processFigure("process_start_time_seconds"), nowS + 2);
    EXPECT_GE(processFigure("process_start_time_seconds"), nowS - 120);
}

TEST(ProcessFigures, GrowWithItsMemory) {
    const double before = processFigure("process_resident_memory_bytes");
    const std::size_t more = 64 << 20;
    const std::vector<char> block(more, 'x');
    EXPECT_GT(processFigure("process_resident_memory_bytes"), before + static_cast<double>(more) / 2);
    EXPECT_GT(processFigure("process_virtual_memory_bytes"), static_cast<double>(block.size()));
}

}  // namespace
