// The figures of the machine and of the Gateway itself.
// Not how they travel: see calldata_test.cpp.
// The ids and their meaning are told by gateway/statistics.cpp.
#include "statistics.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <thread>

namespace {

using gateway::Group;
using gateway::Snapshot;
using gateway::Statistic;

std::vector<Statistic> allOf(const Snapshot& snapshot) {
    std::vector<Statistic> all;
    for (const Group& group : snapshot) {
        all.insert(all.end(), group.statistics.begin(), group.statistics.end());
    }
    return all;
}

std::string valueOf(const std::vector<Statistic>& statistics, const std::string& id) {
    for (const Statistic& statistic : statistics) {
        if (statistic.id == id) {
            return statistic.data;
        }
    }
    ADD_FAILURE() << "no statistic " << id;
    return "";
}

std::string read(const std::string& id) {
    return valueOf(allOf(gateway::readMachine()), id);
}

// The word behind `key` in a file whose rows begin with keys.
std::string procWord(const std::string& path, const std::string& key) {
    std::ifstream file(path);
    for (std::string word; file >> word;) {
        if (word == key) {
            file >> word;
            return word;
        }
    }
    ADD_FAILURE() << path << " has no " << key;
    return "";
}

// A figure that only grows stands between two readings made around it.
template <class ReadDirectly>
void expectAgrees(const std::string& id, ReadDirectly readDirectly) {
    const double before = readDirectly();
    const double shown = std::stod(read(id));
    const double after = readDirectly();
    EXPECT_LE(before, shown) << id;
    EXPECT_LE(shown, after) << id;
}

TEST(MachineFigures, AreSixGroupsAndFiftyStatisticsAtLeast) {
    const Snapshot snapshot = gateway::readMachine();
    EXPECT_GE(snapshot.size(), 6U);
    EXPECT_GE(allOf(snapshot).size(), 50U);
}

TEST(MachineFigures, HaveIdsOfTheirOwnInUpperCase) {
    const std::regex form("[A-Z][A-Z0-9_]*");
    std::multiset<std::string> ids;
    gateway::Activity activity;
    Snapshot snapshot = gateway::readMachine();
    snapshot.insert(snapshot.end(),
                    {gateway::ownFigures(activity), gateway::bigGroup(3), gateway::emptyGroup()});
    for (const Group& group : snapshot) {
        ids.insert(group.id);
    }
    for (const Statistic& statistic : allOf(snapshot)) {
        ids.insert(statistic.id);
    }
    for (const std::string& id : ids) {
        EXPECT_EQ(ids.count(id), 1U) << id;
        EXPECT_TRUE(std::regex_match(id, form)) << id;
    }
}

TEST(MachineFigures, AreAllThereWhereEveryKernelHasThem) {
    for (const Group& group : gateway::readMachine()) {
        if (group.id != "DISK" && group.id != "NETWORK") {
            for (const Statistic& statistic : group.statistics) {
                EXPECT_NE(statistic.data, "") << statistic.id;
            }
        }
    }
}

TEST(MachineFigures, AreNumbersApartFromTheNames) {
    const std::regex number(R"([0-9]+(\.[0-9]+)?)");
    for (const Statistic& statistic : allOf(gateway::readMachine())) {
        if (statistic.id != "SYSTEM_HOST_NAME" && statistic.id != "SYSTEM_KERNEL_RELEASE" &&
            statistic.data != "") {
            EXPECT_TRUE(std::regex_match(statistic.data, number)) << statistic.id << ' ' << statistic.data;
        }
    }
}

TEST(MachineFigures, DifferBetweenReadings) {
    const std::string first = read("CPU_CONTEXT_SWITCHES");
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (read("CPU_CONTEXT_SWITCHES") == first && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
    }
    EXPECT_NE(read("CPU_CONTEXT_SWITCHES"), first);
}

TEST(MachineFigures, AgreeWithWhatStandsStill) {
    EXPECT_EQ(read("MEMORY_TOTAL_KB"), procWord("/proc/meminfo", "MemTotal:"));
    EXPECT_EQ(read("MEMORY_SWAP_TOTAL_KB"), procWord("/proc/meminfo", "SwapTotal:"));
    EXPECT_EQ(read("SYSTEM_BOOT_TIME"), procWord("/proc/stat", "btime"));
    EXPECT_EQ(read("CPU_COUNT"), std::to_string(::sysconf(_SC_NPROCESSORS_ONLN)));
    std::string name(256, '\0');
    ::gethostname(name.data(), name.size());
    EXPECT_EQ(read("SYSTEM_HOST_NAME"), name.c_str());
}

TEST(MachineFigures, AgreeWithCountersOfTheKernel) {
    const struct {
        const char* id;
        const char* path;
        const char* key;
    } counters[] = {{"CPU_CONTEXT_SWITCHES", "/proc/stat", "ctxt"},
                    {"CPU_INTERRUPTS", "/proc/stat", "intr"},
                    {"PROCESSES_STARTED", "/proc/stat", "processes"},
                    {"PAGING_IN_KB", "/proc/vmstat", "pgpgin"},
                    {"PAGING_FAULTS", "/proc/vmstat", "pgfault"},
                    {"PAGING_MAJOR_FAULTS", "/proc/vmstat", "pgmajfault"}};
    for (const auto& counter : counters) {
        expectAgrees(counter.id, [&] { return std::stod(procWord(counter.path, counter.key)); });
    }
}

TEST(MachineFigures, TellTheUptime) {
    expectAgrees("SYSTEM_UPTIME_SECONDS", [] {
        std::ifstream file("/proc/uptime");
        double seconds = 0;
        file >> seconds;
        return seconds;
    });
}

// Hundredths of a second, as the kernel's clock ticks 100 times a second; the column is counted behind "cpu".
TEST(MachineFigures, TellProcessorTimesInSeconds) {
    const std::pair<const char*, int> columns[] = {{"CPU_USER_SECONDS", 1}, {"CPU_SYSTEM_SECONDS", 3}};
    for (const auto& [id, column] : columns) {
        expectAgrees(id, [column = column] {
            std::ifstream file("/proc/stat");
            std::string name;
            file >> name;
            double ticks = 0;
            for (int index = 0; index < column; ++index) {
                file >> ticks;
            }
            return ticks / static_cast<double>(::sysconf(_SC_CLK_TCK));
        });
    }
}

// What the kernel itself takes for disks, apart from those that pass everything on to others.
std::vector<std::filesystem::path> wholeDisks() {
    const std::regex layered("(loop|ram|zram|dm-|md).*");
    std::vector<std::filesystem::path> disks;
    for (const auto& entry : std::filesystem::directory_iterator("/sys/block")) {
        if (!std::regex_match(entry.path().filename().string(), layered)) {
            disks.push_back(entry.path());
        }
    }
    return disks;
}

double allDisks(int column) {
    double total = 0;
    for (const auto& disk : wholeDisks()) {
        std::ifstream file(disk / "stat");
        double value = 0;
        for (int index = 0; index < column; ++index) {
            file >> value;
        }
        total += value;
    }
    return total;
}

TEST(MachineFigures, TakeWholeDisksTogether) {
    EXPECT_EQ(read("DISK_COUNT"), std::to_string(wholeDisks().size()));
    if (wholeDisks().empty()) {
        EXPECT_EQ(read("DISK_READS"), "");
    } else {
        expectAgrees("DISK_READS", [] { return allDisks(1); });
        expectAgrees("DISK_READ_BYTES", [] { return allDisks(3) * 512; });
        expectAgrees("DISK_WRITTEN_BYTES", [] { return allDisks(7) * 512; });
    }
}

double allInterfaces(const char* counter) {
    double total = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/sys/class/net")) {
        std::ifstream file(entry.path() / "statistics" / counter);
        double value = 0;
        file >> value;
        total += value;
    }
    return total;
}

TEST(MachineFigures, TakeAllNetworkInterfacesTogether) {
    expectAgrees("NETWORK_RECEIVED_BYTES", [] { return allInterfaces("rx_bytes"); });
    expectAgrees("NETWORK_SENT_BYTES", [] { return allInterfaces("tx_bytes"); });
    expectAgrees("NETWORK_SENT_PACKETS", [] { return allInterfaces("tx_packets"); });
}

// A machine with many kinds of disks, of which only sda, sdb, sdba, nvme0n1 and nvme0n10 are no part of another.
std::string readSample(const std::string& id) {
    return valueOf(allOf(gateway::readMachine(SAMPLE_PROC)), id);
}

TEST(SampleMachine, CountsNeitherPartitionsNorLayersOfDisks) {
    EXPECT_EQ(readSample("DISK_COUNT"), "5");
    EXPECT_EQ(readSample("DISK_READS"), "11111");
    EXPECT_EQ(readSample("DISK_READ_BYTES"), std::to_string(22222 * 512));
    EXPECT_EQ(readSample("DISK_BUSY_MILLISECONDS"), "33333");
}

TEST(SampleMachine, CountsInterfacesButNotTheHeadings) {
    EXPECT_EQ(readSample("NETWORK_INTERFACES"), "2");
    EXPECT_EQ(readSample("NETWORK_RECEIVED_BYTES"), "1001");
    EXPECT_EQ(readSample("NETWORK_SEND_DROPS"), "28");
}

TEST(SampleMachine, HasEmptyDataForWhatTheKernelDoesNotOffer) {
    EXPECT_EQ(readSample("LOAD_1_MINUTE"), "");
    EXPECT_EQ(readSample("CPU_USER_SECONDS"), "");
    EXPECT_EQ(readSample("MEMORY_TOTAL_KB"), "");
}

TEST(OwnFigures, TellWhatTheGatewayHasDone) {
    gateway::Activity activity;
    activity.start -= std::chrono::seconds(90);
    activity.connectionsOpen = 2;
    activity.connectionsTotal = 3;
    activity.bytesReceived = 4;
    activity.bytesSent = 5;
    activity.requestsTotal = 6;
    activity.count(gateway::Action::GetStats);
    activity.count(gateway::Action::Close);
    activity.count(gateway::Action::Close);

    const Group group = gateway::ownFigures(activity);
    const auto value = [&](const std::string& id) { return valueOf(group.statistics, "GATEWAY_" + id); };
    EXPECT_EQ(group.id, "GATEWAY");
    EXPECT_EQ(value("PROCESS_ID"), std::to_string(::getpid()));
    EXPECT_THAT(std::stoi(value("UPTIME_SECONDS")), testing::AllOf(testing::Ge(90), testing::Lt(100)));
    EXPECT_EQ(value("CONNECTIONS_OPEN"), "2");
    EXPECT_EQ(value("CONNECTIONS_TOTAL"), "3");
    EXPECT_EQ(value("BYTES_RECEIVED"), "4");
    EXPECT_EQ(value("BYTES_SENT"), "5");
    EXPECT_EQ(value("REQUESTS_TOTAL"), "6");
    EXPECT_EQ(value("REQUESTS_GET_STATS"), "1");
    EXPECT_EQ(value("REQUESTS_STAT_IDS"), "0");
    EXPECT_EQ(value("REQUESTS_CLOSE"), "2");
}

TEST(BigGroup, HasAsManyStatisticsAsAskedFor) {
    const Group group = gateway::bigGroup(12);
    EXPECT_EQ(group.id, "BIG");
    EXPECT_EQ(group.statistics.size(), 12U);
    EXPECT_EQ(valueOf(group.statistics, "BIG_12"), "12");
}

TEST(EmptyGroup, HasNone) {
    EXPECT_EQ(gateway::emptyGroup().id, "EMPTY");
    EXPECT_TRUE(gateway::emptyGroup().statistics.empty());
}

}  // namespace
