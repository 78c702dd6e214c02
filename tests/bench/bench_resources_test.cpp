// How memory is measured, and how system calls are told.
#include "resources.h"

#include <gmock/gmock.h>
#include <sys/syscall.h>

#include <stdexcept>
#include <vector>

namespace {

using namespace bench;

constexpr std::size_t SIZE = std::size_t{8} << 20;

void nothing() {}

class UsedMemory {
  public:
    void take() { bytes_ = std::vector<char>(SIZE, 'x'); }
    void give() { bytes_ = std::vector<char>(); }

  private:
    std::vector<char> bytes_;
};

TEST(BenchResources, APeakCountsWhatIsGivenBack) {
    UsedMemory memory;
    const long growth = peakGrowthOf(nothing, [&] {
        memory.take();
        memory.give();
    });
    EXPECT_GE(growth, static_cast<long>(SIZE - SIZE / 10));
    EXPECT_LT(growth, static_cast<long>(2 * SIZE));
}

TEST(BenchResources, OnlyWhatIsKeptIsLasting) {
    UsedMemory memory;
    const auto takeAndGive = [&] {
        memory.take();
        memory.give();
    };
    EXPECT_LT(lastingGrowthOf(nothing, takeAndGive), static_cast<long>(SIZE / 2));
    EXPECT_GE(lastingGrowthOf(nothing, [&] { memory.take(); }), static_cast<long>(SIZE));
}

TEST(BenchResources, WhatPreparesTheActionDoesNotCount) {
    UsedMemory memory;
    EXPECT_LT(peakGrowthOf([&] { memory.take(); }, nothing), static_cast<long>(SIZE / 2));
}

TEST(BenchResources, AnActionThatFailsIsToldOf) {
    const auto fail = [] { throw std::runtime_error("it fails"); };
    EXPECT_THROW(peakGrowthOf(nothing, fail), std::runtime_error);
    EXPECT_THROW(lastingGrowthOf(fail, nothing), std::runtime_error);
}

TEST(BenchResources, SystemCallsAreCountedByName) {
    EXPECT_EQ(describeSystemCalls({SYS_sendto, SYS_recvfrom, SYS_sendto, 9999}),
              "call 9999 1, recvfrom 1, sendto 2");
    EXPECT_EQ(describeSystemCalls({}), "none");
}

}  // namespace
