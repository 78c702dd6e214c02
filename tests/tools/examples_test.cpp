// The example programs do what they show, against a Gateway with known statistics.
// Not a test of the library's corners: the examples are what a newcomer copies.
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include <gtest/gtest.h>

#include "program.h"
#include "server.h"

namespace {

class Examples : public testing::Test {
  protected:
    program::Finished run(const char* example) const {
        return program::run(example, {std::to_string(server_->port())});
    }

    void serve(gateway::Options options = {}) {
        options.statistics = [] {
            return gateway::Snapshot{{"CPU", {{"CPU_USER", "1.5"}, {"CPU_IDLE", "98.25"}}},
                                     {"DISK", {{"READS", "7"}}}};
        };
        server_ = std::make_unique<gateway::Server>(std::move(options));
    }

    void serveNoStatistics() {
        gateway::Options options;
        options.script = [](const gateway::Request& request, gateway::Reply usual) {
            const bool query = request.body.find("GET_STATS") != std::string::npos ||
                               request.body.find("STAT_IDS") != std::string::npos;
            return query ? gateway::Reply{"", gateway::Ending::Close} : usual;
        };
        serve(std::move(options));
    }

  private:
    std::unique_ptr<gateway::Server> server_;
};

// The same in C and in C++.
class ReadStatistics : public Examples, public testing::WithParamInterface<const char*> {};
INSTANTIATE_TEST_SUITE_P(In, ReadStatistics, testing::Values(READ_STATISTICS, READ_STATISTICS_CPP),
                         [](const auto& instance) {
                             return std::string(instance.param == std::string_view(READ_STATISTICS) ? "C"
                                                                                                    : "Cpp");
                         });

TEST_P(ReadStatistics, PrintsEveryStatistic) {
    serve();
    const program::Finished finished = run(GetParam());
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(finished.output, "CPU_USER = 1.5\nCPU_IDLE = 98.25\nREADS = 7\n");
    EXPECT_EQ(finished.error, "");
}

TEST_F(Examples, ReadStatisticsTellsTheCodeOfAFailure) {
    serveNoStatistics();
    const program::Finished finished = run(READ_STATISTICS);
    EXPECT_EQ(finished.exitCode, 1);
    EXPECT_EQ(finished.output, "");
    EXPECT_EQ(finished.error, "reading the statistics failed with code -122\n");
}

TEST_F(Examples, ReadStatisticsInCppTellsWhatFailed) {
    serveNoStatistics();
    const program::Finished finished = run(READ_STATISTICS_CPP);
    EXPECT_EQ(finished.exitCode, 1);
    EXPECT_EQ(finished.output, "");
    EXPECT_EQ(finished.error,
              "getStats: the exchange with the Gateway failed (bad reply, or it reported an error)\n");
}

TEST_F(Examples, CopyAcrossThreadsPrintsEveryId) {
    serve();
    const program::Finished finished = run(COPY_ACROSS_THREADS);
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(finished.output, "CPU_USER\nCPU_IDLE\nREADS\n");
    EXPECT_EQ(finished.error, "");
}

TEST_F(Examples, CopyAcrossThreadsTellsWhatFailed) {
    serveNoStatistics();
    const program::Finished finished = run(COPY_ACROSS_THREADS);
    EXPECT_EQ(finished.exitCode, 1);
    EXPECT_EQ(finished.output, "");
    EXPECT_EQ(finished.error, "getStatIds failed with code -122\n");
}

}  // namespace
