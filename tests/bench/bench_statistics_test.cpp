// The numbers of a report are made of these.
#include "statistics.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "results.h"

namespace {

using namespace bench;

TEST(BenchStatistics, TheMedianIsTheMiddleOne) {
    EXPECT_EQ(median({5, 1, 3}), 3);
    EXPECT_EQ(median({7}), 7);
}

TEST(BenchStatistics, TheMedianOfAnEvenNumberLiesBetweenTheTwoMiddleOnes) {
    EXPECT_EQ(median({4, 1, 100, 2}), 3);
}

TEST(BenchStatistics, AQuantileIsTheNearestSample) {
    std::vector<double> samples;
    for (int sample = 100; sample >= 0; --sample) {
        samples.push_back(sample);
    }
    EXPECT_EQ(quantile(samples, 0.99), 99);
    EXPECT_EQ(quantile(samples, 0), 0);
    EXPECT_EQ(quantile(samples, 1), 100);
    EXPECT_EQ(quantile({8}, 0.99), 8);
}

TEST(BenchStatistics, WithoutSamplesThereIsNoAnswer) {
    EXPECT_THROW(median({}), std::invalid_argument);
    EXPECT_THROW(quantile({}, 0.5), std::invalid_argument);
}

TEST(BenchStatistics, ARatioIsTakenInsideEachRound) {
    // Everything took ten times as long in the second round, which says nothing about the two.
    EXPECT_EQ(medianRatio({2, 20, 3}, {1, 10, 1}), 2);
}

TEST(BenchStatistics, RoundsThatDoNotBelongTogetherHaveNoRatio) {
    EXPECT_THROW(medianRatio({1, 2}, {1}), std::invalid_argument);
    EXPECT_THROW(medianRatio({}, {}), std::invalid_argument);
}

TEST(BenchResults, AreReadAsTheyWereAdded) {
    const std::string file = RESULTS_FOLDER "/results";
    std::remove(file.c_str());
    appendResults(file, {{"one.10.a/b", 1.25}, {"one.10.b/a", 0.8}});
    appendResults(file, {{"two", 8}});
    EXPECT_EQ(readResults(file), (Results{{"one.10.a/b", 1.25}, {"one.10.b/a", 0.8}, {"two", 8}}));
}

TEST(BenchResults, AreNotKeptWithoutAFile) {
    EXPECT_NO_THROW(appendResults("", {{"one", 1}}));
    EXPECT_THROW(appendResults(RESULTS_FOLDER "/no/such/folder", {{"one", 1}}), std::runtime_error);
    EXPECT_THROW(readResults(RESULTS_FOLDER "/no/such/file"), std::runtime_error);
}

}  // namespace
