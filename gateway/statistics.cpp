// Live figures: those of the machine, out of /proc, and the Gateway's own.
// Not a monitor: nothing is kept between two readings, and no rate is computed.
// How they travel is written down in docs/protocol.md.
#include "statistics.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <map>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

namespace gateway {
namespace {

using Row = std::vector<std::string>;
using Rows = std::vector<Row>;

enum class Unit {
    Text,     // the word as it stands
    Sum,      // whole numbers, added up over the rows
    Ticks,    // ticks of the scheduler's clock, shown in seconds
    Sectors,  // shown in bytes
    RowCount  // how many rows there are
};

// Where a figure stands. Rows are told apart by their first word; a figure without one is taken over all
// rows.
struct Figure {
    const char* id;
    const char* file;
    const char* row;
    std::size_t column;
    Unit unit;
};

constexpr const char* EVERY_ROW = nullptr;
constexpr std::uint64_t SECTOR_BYTES = 512;  // whatever the disk's own sectors are

constexpr Figure CPU[] = {
    {"CPU_COUNT", "cpuinfo", "processor", 0, Unit::RowCount},
    {"CPU_USER_SECONDS", "stat", "cpu", 1, Unit::Ticks},
    {"CPU_NICE_SECONDS", "stat", "cpu", 2, Unit::Ticks},
    {"CPU_SYSTEM_SECONDS", "stat", "cpu", 3, Unit::Ticks},
    {"CPU_IDLE_SECONDS", "stat", "cpu", 4, Unit::Ticks},
    {"CPU_IOWAIT_SECONDS", "stat", "cpu", 5, Unit::Ticks},
    {"CPU_IRQ_SECONDS", "stat", "cpu", 6, Unit::Ticks},
    {"CPU_SOFTIRQ_SECONDS", "stat", "cpu", 7, Unit::Ticks},
    {"CPU_STEAL_SECONDS", "stat", "cpu", 8, Unit::Ticks},
    {"CPU_INTERRUPTS", "stat", "intr", 1, Unit::Sum},
    {"CPU_CONTEXT_SWITCHES", "stat", "ctxt", 1, Unit::Sum},
};
constexpr Figure MEMORY[] = {
    {"MEMORY_TOTAL_KB", "meminfo", "MemTotal", 1, Unit::Sum},
    {"MEMORY_FREE_KB", "meminfo", "MemFree", 1, Unit::Sum},
    {"MEMORY_AVAILABLE_KB", "meminfo", "MemAvailable", 1, Unit::Sum},
    {"MEMORY_BUFFERS_KB", "meminfo", "Buffers", 1, Unit::Sum},
    {"MEMORY_CACHED_KB", "meminfo", "Cached", 1, Unit::Sum},
    {"MEMORY_ACTIVE_KB", "meminfo", "Active", 1, Unit::Sum},
    {"MEMORY_INACTIVE_KB", "meminfo", "Inactive", 1, Unit::Sum},
    {"MEMORY_DIRTY_KB", "meminfo", "Dirty", 1, Unit::Sum},
    {"MEMORY_SHARED_KB", "meminfo", "Shmem", 1, Unit::Sum},
    {"MEMORY_SLAB_KB", "meminfo", "Slab", 1, Unit::Sum},
    {"MEMORY_SWAP_TOTAL_KB", "meminfo", "SwapTotal", 1, Unit::Sum},
    {"MEMORY_SWAP_FREE_KB", "meminfo", "SwapFree", 1, Unit::Sum},
};
constexpr Figure LOAD[] = {
    {"LOAD_1_MINUTE", "loadavg", EVERY_ROW, 0, Unit::Text},
    {"LOAD_5_MINUTES", "loadavg", EVERY_ROW, 1, Unit::Text},
    {"LOAD_15_MINUTES", "loadavg", EVERY_ROW, 2, Unit::Text},
};
constexpr Figure PROCESSES[] = {
    {"PROCESSES_STARTED", "stat", "processes", 1, Unit::Sum},
    {"PROCESSES_RUNNING", "stat", "procs_running", 1, Unit::Sum},
    {"PROCESSES_BLOCKED", "stat", "procs_blocked", 1, Unit::Sum},
    {"PROCESSES_THREADS", "loadavg", EVERY_ROW, 4, Unit::Sum},
    {"PROCESSES_LAST_ID", "loadavg", EVERY_ROW, 5, Unit::Sum},
};
constexpr Figure PAGING[] = {
    {"PAGING_IN_KB", "vmstat", "pgpgin", 1, Unit::Sum},
    {"PAGING_OUT_KB", "vmstat", "pgpgout", 1, Unit::Sum},
    {"PAGING_SWAPPED_IN_PAGES", "vmstat", "pswpin", 1, Unit::Sum},
    {"PAGING_SWAPPED_OUT_PAGES", "vmstat", "pswpout", 1, Unit::Sum},
    {"PAGING_FAULTS", "vmstat", "pgfault", 1, Unit::Sum},
    {"PAGING_MAJOR_FAULTS", "vmstat", "pgmajfault", 1, Unit::Sum},
};
constexpr Figure DISK[] = {
    {"DISK_COUNT", "diskstats", EVERY_ROW, 0, Unit::RowCount},
    {"DISK_READS", "diskstats", EVERY_ROW, 3, Unit::Sum},
    {"DISK_READ_BYTES", "diskstats", EVERY_ROW, 5, Unit::Sectors},
    {"DISK_READ_MILLISECONDS", "diskstats", EVERY_ROW, 6, Unit::Sum},
    {"DISK_WRITES", "diskstats", EVERY_ROW, 7, Unit::Sum},
    {"DISK_WRITTEN_BYTES", "diskstats", EVERY_ROW, 9, Unit::Sectors},
    {"DISK_WRITE_MILLISECONDS", "diskstats", EVERY_ROW, 10, Unit::Sum},
    {"DISK_IN_PROGRESS", "diskstats", EVERY_ROW, 11, Unit::Sum},
    {"DISK_BUSY_MILLISECONDS", "diskstats", EVERY_ROW, 12, Unit::Sum},
};
constexpr Figure NETWORK[] = {
    {"NETWORK_INTERFACES", "net/dev", EVERY_ROW, 0, Unit::RowCount},
    {"NETWORK_RECEIVED_BYTES", "net/dev", EVERY_ROW, 1, Unit::Sum},
    {"NETWORK_RECEIVED_PACKETS", "net/dev", EVERY_ROW, 2, Unit::Sum},
    {"NETWORK_RECEIVE_ERRORS", "net/dev", EVERY_ROW, 3, Unit::Sum},
    {"NETWORK_RECEIVE_DROPS", "net/dev", EVERY_ROW, 4, Unit::Sum},
    {"NETWORK_SENT_BYTES", "net/dev", EVERY_ROW, 9, Unit::Sum},
    {"NETWORK_SENT_PACKETS", "net/dev", EVERY_ROW, 10, Unit::Sum},
    {"NETWORK_SEND_ERRORS", "net/dev", EVERY_ROW, 11, Unit::Sum},
    {"NETWORK_SEND_DROPS", "net/dev", EVERY_ROW, 12, Unit::Sum},
    {"NETWORK_TCP_SOCKETS", "net/sockstat", "TCP", 2, Unit::Sum},
};
constexpr Figure SYSTEM[] = {
    {"SYSTEM_HOST_NAME", "sys/kernel/hostname", EVERY_ROW, 0, Unit::Text},
    {"SYSTEM_KERNEL_RELEASE", "sys/kernel/osrelease", EVERY_ROW, 0, Unit::Text},
    {"SYSTEM_UPTIME_SECONDS", "uptime", EVERY_ROW, 0, Unit::Text},
    {"SYSTEM_BOOT_TIME", "stat", "btime", 1, Unit::Sum},
    {"SYSTEM_OPEN_FILES", "sys/fs/file-nr", EVERY_ROW, 0, Unit::Sum},
};

struct FigureGroup {
    const char* id;
    std::span<const Figure> figures;
};
constexpr FigureGroup MACHINE[] = {
    {"CPU", CPU},       {"MEMORY", MEMORY}, {"LOAD", LOAD},       {"PROCESSES", PROCESSES},
    {"PAGING", PAGING}, {"DISK", DISK},     {"NETWORK", NETWORK}, {"SYSTEM", SYSTEM},
};

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

// sda1 belongs to sda, nvme0n1p1 to nvme0n1; sdaa and nvme0n10 are disks of their own.
bool isPartition(std::string_view name, std::string_view disk) {
    if (name.size() <= disk.size() || !name.starts_with(disk)) {
        return false;
    }
    const char next = name[disk.size()];
    return isDigit(disk.back()) ? next == 'p' : isDigit(next);
}

// Loop, mapped and combined devices pass their transfers on to disks.
bool isLayered(std::string_view name) {
    constexpr std::string_view LAYERED[] = {"loop", "ram", "zram", "dm-", "md"};
    return std::any_of(std::begin(LAYERED), std::end(LAYERED),
                       [&](std::string_view prefix) { return name.starts_with(prefix); });
}

// Leaves what would count a transfer twice out. Partitions come right behind their disk.
void keepWholeDisks(Rows& rows) {
    constexpr std::size_t NAME = 2;
    Rows kept;
    for (Row& row : rows) {
        const bool partition = !kept.empty() && isPartition(row.at(NAME), kept.back()[NAME]);
        if (!partition && !isLayered(row.at(NAME))) {
            kept.push_back(std::move(row));
        }
    }
    rows = std::move(kept);
}

void dropHeadings(Rows& rows) {
    std::erase_if(rows, [](const Row& row) {
        return std::any_of(row.begin(), row.end(),
                           [](const std::string& word) { return word.find('|') != std::string::npos; });
    });
}

void keepAll(Rows& /*rows*/) {}

struct FileFormat {
    std::string_view name;
    std::string_view separators;
    void (*select)(Rows&);
};
constexpr FileFormat SPECIAL_FORMATS[] = {
    {"diskstats", " ", keepWholeDisks}, {"loadavg", " /", keepAll},      {"meminfo", " :", keepAll},
    {"net/dev", " :", dropHeadings},    {"net/sockstat", " :", keepAll},
};
constexpr FileFormat USUAL_FORMAT{"", " \t", keepAll};

const FileFormat& formatOf(std::string_view name) {
    const auto* found = std::find_if(std::begin(SPECIAL_FORMATS), std::end(SPECIAL_FORMATS),
                                     [&](const FileFormat& format) { return format.name == name; });
    return found != std::end(SPECIAL_FORMATS) ? *found : USUAL_FORMAT;
}

Row split(std::string_view line, std::string_view separators) {
    Row words;
    for (;;) {
        line.remove_prefix(std::min(line.find_first_not_of(separators), line.size()));
        if (line.empty()) {
            return words;
        }
        const std::size_t length = std::min(line.find_first_of(separators), line.size());
        words.emplace_back(line.substr(0, length));
        line.remove_prefix(length);
    }
}

Rows readFile(const std::string& folder, const std::string& name) {
    const FileFormat& format = formatOf(name);
    std::ifstream file(folder + '/' + name);
    Rows rows;
    for (std::string line; std::getline(file, line);) {
        if (Row row = split(line, format.separators); !row.empty()) {
            rows.push_back(std::move(row));
        }
    }
    format.select(rows);
    return rows;
}

std::optional<std::uint64_t> number(const std::string& word) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    return error == std::errc() ? std::optional(value) : std::nullopt;
}

std::optional<std::uint64_t> sum(const Rows& rows, std::size_t column) {
    std::optional<std::uint64_t> total;
    for (const Row& row : rows) {
        if (const auto value = column < row.size() ? number(row[column]) : std::nullopt) {
            total = total.value_or(0) + *value;
        }
    }
    return total;
}

std::string seconds(std::uint64_t ticks) {
    static const auto perSecond = static_cast<std::uint64_t>(::sysconf(_SC_CLK_TCK));
    const std::string hundredths = std::to_string(ticks % perSecond * 100 / perSecond);
    return std::to_string(ticks / perSecond) + "." + std::string(2 - hundredths.size(), '0') + hundredths;
}

std::string textOf(const Rows& rows, std::size_t column) {
    return !rows.empty() && column < rows.front().size() ? rows.front()[column] : "";
}

std::string numberOf(const Rows& rows, const Figure& figure) {
    const std::optional<std::uint64_t> total = sum(rows, figure.column);
    if (!total) {
        return "";
    }
    switch (figure.unit) {
        case Unit::Ticks:
            return seconds(*total);
        case Unit::Sectors:
            return std::to_string(*total * SECTOR_BYTES);
        default:
            return std::to_string(*total);
    }
}

// The files of one reading, each of them read once.
class Proc {
  public:
    explicit Proc(std::string folder) : folder_(std::move(folder)) {}

    std::string show(const Figure& figure) {
        const Rows rows = rowsOf(figure);
        switch (figure.unit) {
            case Unit::Text:
                return textOf(rows, figure.column);
            case Unit::RowCount:
                return std::to_string(rows.size());
            default:
                return numberOf(rows, figure);
        }
    }

  private:
    Rows rowsOf(const Figure& figure) {
        const Rows& all = file(figure.file);
        if (figure.row == EVERY_ROW) {
            return all;
        }
        Rows rows;
        std::copy_if(all.begin(), all.end(), std::back_inserter(rows),
                     [&](const Row& row) { return row.front() == figure.row; });
        return rows;
    }

    const Rows& file(const std::string& name) {
        const auto found = files_.find(name);
        return found != files_.end() ? found->second
                                     : files_.emplace(name, readFile(folder_, name)).first->second;
    }

    std::string folder_;
    std::map<std::string, Rows> files_;
};

std::uint64_t secondsSince(std::chrono::steady_clock::time_point start) {
    const auto passed = std::chrono::steady_clock::now() - start;
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::seconds>(passed).count());
}

constexpr const char* REQUEST_FIGURES[] = {
    "GATEWAY_REQUESTS_HANDSHAKE",       "GATEWAY_REQUESTS_AUTHORISE", "GATEWAY_REQUESTS_INITIALISE",
    "GATEWAY_REQUESTS_GET_ATTRIBUTE",   "GATEWAY_REQUESTS_GET_STATS", "GATEWAY_REQUESTS_STAT_IDS",
    "GATEWAY_REQUESTS_RESOURCE_GROUPS", "GATEWAY_REQUESTS_CLOSE",
};
static_assert(std::size(REQUEST_FIGURES) == static_cast<std::size_t>(Action::Count));

}  // namespace

Snapshot readMachine(const std::string& procFolder) {
    Proc proc(procFolder);
    Snapshot snapshot;
    for (const FigureGroup& group : MACHINE) {
        Group& target = snapshot.emplace_back(Group{group.id, {}});
        for (const Figure& figure : group.figures) {
            target.statistics.push_back({figure.id, proc.show(figure)});
        }
    }
    return snapshot;
}

Group ownFigures(const Activity& activity) {
    Group group{"GATEWAY", {}};
    const auto add = [&](const char* id, std::uint64_t value) {
        group.statistics.push_back({id, std::to_string(value)});
    };
    add("GATEWAY_PROCESS_ID", static_cast<std::uint64_t>(::getpid()));
    add("GATEWAY_UPTIME_SECONDS", secondsSince(activity.start));
    add("GATEWAY_CONNECTIONS_OPEN", activity.connectionsOpen);
    add("GATEWAY_CONNECTIONS_TOTAL", activity.connectionsTotal);
    add("GATEWAY_BYTES_RECEIVED", activity.bytesReceived);
    add("GATEWAY_BYTES_SENT", activity.bytesSent);
    add("GATEWAY_REQUESTS_TOTAL", activity.requestsTotal);
    for (std::size_t index = 0; index < activity.requests.size(); ++index) {
        add(REQUEST_FIGURES[index], activity.requests[index]);
    }
    return group;
}

Group bigGroup(int count) {
    Group group{"BIG", {}};
    for (int index = 1; index <= count; ++index) {
        group.statistics.push_back({"BIG_" + std::to_string(index), std::to_string(index)});
    }
    return group;
}

Group emptyGroup() {
    return {"EMPTY", {}};
}

}  // namespace gateway
