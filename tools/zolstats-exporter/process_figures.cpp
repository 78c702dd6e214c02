// What the system tells of this process, under the names that every client library of Prometheus uses.
// Not what the exporter counts itself (metrics.cpp).
// Every metric is described in docs/prometheus.md.
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>

#include "metrics.h"

namespace tools::exporter {
namespace {

// Columns of /proc/self/stat, counted from the one behind the name of the program.
enum Column : std::size_t {
    USER_TICKS = 11,
    SYSTEM_TICKS = 12,
    THREADS = 17,
    START_TICKS = 19,
    VIRTUAL = 20,
    PAGES = 21
};

// The name of the program, in parentheses, may hold anything.
std::vector<std::string> columns() {
    std::ifstream file("/proc/self/stat");
    const std::string line{std::istreambuf_iterator<char>(file), {}};
    const std::size_t name = line.rfind(')');
    std::istringstream rest(name == std::string::npos ? "" : line.substr(name + 1));
    return {std::istream_iterator<std::string>(rest), {}};
}

std::optional<double> numberIn(const std::vector<std::string>& words, std::size_t index) {
    double number = 0;
    const bool isThere =
        index < words.size() &&
        std::from_chars(words[index].data(), words[index].data() + words[index].size(), number).ec ==
            std::errc();
    return isThere ? std::optional(number) : std::nullopt;
}

std::optional<double> operator*(std::optional<double> one, double factor) {
    return one ? std::optional(*one * factor) : std::nullopt;
}

std::optional<double> operator/(std::optional<double> one, double divisor) {
    return one ? std::optional(*one / divisor) : std::nullopt;
}

std::optional<double> operator+(std::optional<double> one, std::optional<double> other) {
    return one && other ? std::optional(*one + *other) : std::nullopt;
}

std::optional<double> bootTime() {
    std::ifstream file("/proc/stat");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("btime ")) {
            return numberIn({line.substr(6)}, 0);
        }
    }
    return std::nullopt;
}

// Less the descriptor that the folder itself is read through.
std::optional<double> openDescriptors() {
    std::error_code failure;
    const auto all = std::filesystem::directory_iterator("/proc/self/fd", failure);
    return failure ? std::nullopt
                   : std::optional(static_cast<double>(std::distance(begin(all), end(all)) - 1));
}

// What is not limited has no figure.
std::optional<double> limit(decltype(RLIMIT_NOFILE) resource) {
    rlimit limits{};
    const bool isLimited = getrlimit(resource, &limits) == 0 && limits.rlim_cur != RLIM_INFINITY;
    return isLimited ? std::optional(static_cast<double>(limits.rlim_cur)) : std::nullopt;
}

}  // namespace

void addProcessFigures(Exposition& exposition) {
    const auto add = [&](std::string_view name, MetricType type, std::string_view help,
                         std::optional<double> value) {
        if (value) {
            exposition.add(exposition.family(name, type, help), {}, *value);
        }
    };
    const std::vector<std::string> stat = columns();
    const auto ticksPerS = static_cast<double>(sysconf(_SC_CLK_TCK));
    const auto pageBytes = static_cast<double>(sysconf(_SC_PAGESIZE));
    add("process_cpu_seconds_total", MetricType::Counter, "Total user and system CPU time spent in seconds.",
        (numberIn(stat, USER_TICKS) + numberIn(stat, SYSTEM_TICKS)) / ticksPerS);
    add("process_open_fds", MetricType::Gauge, "Number of open file descriptors.", openDescriptors());
    add("process_max_fds", MetricType::Gauge, "Maximum number of open file descriptors.",
        limit(RLIMIT_NOFILE));
    add("process_virtual_memory_bytes", MetricType::Gauge, "Virtual memory size in bytes.",
        numberIn(stat, VIRTUAL));
    add("process_virtual_memory_max_bytes", MetricType::Gauge,
        "Maximum amount of virtual memory available in bytes.", limit(RLIMIT_AS));
    add("process_resident_memory_bytes", MetricType::Gauge, "Resident memory size in bytes.",
        numberIn(stat, PAGES) * pageBytes);
    add("process_start_time_seconds", MetricType::Gauge,
        "Start time of the process since unix epoch in seconds.",
        numberIn(stat, START_TICKS) / ticksPerS + bootTime());
    add("process_threads", MetricType::Gauge, "Number of OS threads in the process.",
        numberIn(stat, THREADS));
}

}  // namespace tools::exporter
