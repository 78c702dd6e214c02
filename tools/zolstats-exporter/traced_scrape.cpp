// One scrape with its trace: a child process that writes it, and a parent that reads it.
// Not a part of usual scrapes (worker.cpp).
// The lines of a trace are described in docs/tracing.md.
#include "traced_scrape.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>
#include <zolstats/zolstats.hpp>

#include "common/text.h"
#include "common/trace_lines.h"
#include "fleet.h"

namespace tools::exporter {
namespace {

using std::chrono::milliseconds;

// The first argument of the child, which no user gives.
constexpr const char* MARK = "--traced-scrape";
constexpr int FIXED_ARGUMENTS = 4;  // the program's name, the mark, the Gateway, the limit

constexpr std::size_t MOST_BYTES = 4 << 20;
// For the child's start and end, on top of what the scrape takes.
constexpr milliseconds GRACE{500};

// ---- The child

std::string summaryOf(const Scrape& scrape) {
    const std::string outcome = scrape.failure ? scrape.failure->text : "up";
    return fmt::format("{}: {}\n{} statistics of {} groups; open {:.6f} s, query {:.6f} s, walk {:.6f} s\n",
                       nameOf(scrape.gateway), printable(outcome), scrape.readings.size(),
                       scrape.groups.size(), scrape.took.open.count(), scrape.took.query.count(),
                       scrape.took.walk.count());
}

// ---- The parent

void check(int error, const char* what) {
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), what);
    }
}

class Descriptor {
  public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() { close(number_); }
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&&) = delete;
    int number() const { return number_; }

  private:
    int number_;
};

struct Pipe {
    Descriptor output;
    Descriptor input;
};

Pipe makePipe() {
    int ends[2];
    check(pipe2(ends, O_CLOEXEC) == 0 ? 0 : errno, "pipe");
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

// What a child starts with: both outputs into the pipe, nothing else open, no signal blocked.
class Setting {
  public:
    explicit Setting(int output) {
        check(posix_spawn_file_actions_init(&actions_), "posix_spawn");
        check(posix_spawnattr_init(&attributes_), "posix_spawn");
        posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions_, output, STDERR_FILENO);
        posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);
        sigset_t none;
        sigemptyset(&none);
        posix_spawnattr_setsigmask(&attributes_, &none);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK);
    }
    ~Setting() {
        posix_spawn_file_actions_destroy(&actions_);
        posix_spawnattr_destroy(&attributes_);
    }
    Setting(const Setting&) = delete;
    Setting& operator=(const Setting&) = delete;

    pid_t start(std::vector<std::string> words) const {
        std::vector<char*> arguments;
        std::transform(words.begin(), words.end(), std::back_inserter(arguments),
                       [](std::string& word) { return word.data(); });
        arguments.push_back(nullptr);
        pid_t child = 0;
        check(posix_spawn(&child, "/proc/self/exe", &actions_, &attributes_, arguments.data(), environ),
              "the program could not be started anew");
        return child;
    }

  private:
    posix_spawn_file_actions_t actions_{};
    posix_spawnattr_t attributes_{};
};

// Ended and waited for with this object at the latest.
class Child {
  public:
    explicit Child(pid_t pid) : pid_(pid) {}
    ~Child() {
        kill(pid_, SIGKILL);
        while (waitpid(pid_, nullptr, 0) == -1 && errno == EINTR) {
        }
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

  private:
    pid_t pid_;
};

struct Output {
    std::string text{};
    const char* remark = "";  // why it is not all
};

bool isReadableBy(Clock::time_point deadline, int descriptor) {
    const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now()).count();
    pollfd waiting{descriptor, POLLIN, 0};
    return left > 0 && poll(&waiting, 1, static_cast<int>(left)) == 1;
}

Output readAll(int descriptor, Clock::time_point deadline) {
    Output output;
    char buffer[65536];
    while (output.text.size() < MOST_BYTES) {
        if (!isReadableBy(deadline, descriptor)) {
            output.remark = "(the time is over: what follows was not waited for)\n";
            return output;
        }
        const ssize_t count = read(descriptor, buffer, sizeof buffer);
        if (count <= 0) {
            return output;
        }
        output.text.append(buffer, static_cast<std::size_t>(count));
    }
    output.remark = "(cut here: the trace is longer than 4 MiB)\n";
    return output;
}

std::vector<std::string> commandFor(const Endpoint& gateway, const Selection& selection, milliseconds limit) {
    std::vector<std::string> words{"zolstats-exporter", MARK, nameOf(gateway), std::to_string(limit.count())};
    words.insert(words.end(), selection.begin(), selection.end());
    return words;
}

Output outputOfChild(const std::vector<std::string>& command, Clock::time_point deadline) {
    Pipe pipe = makePipe();
    const Child child(Setting(pipe.input.number()).start(command));
    { const Descriptor oursIsNotNeeded = std::move(pipe.input); }
    return readAll(pipe.output.number(), deadline);
}

}  // namespace

std::string tracedScrape(const Endpoint& gateway, const Selection& selection, milliseconds limit) {
    const Output output = outputOfChild(commandFor(gateway, selection, limit), Clock::now() + limit + GRACE);
    std::istringstream trace(output.text);
    std::string shown;
    readTrace(trace, [&](const TraceLine& line) { shown.append(line.text).append("\n"); });
    return shown + output.remark;
}

std::optional<int> runTracedScrape(int argumentCount, char** arguments) {
    if (argumentCount < FIXED_ARGUMENTS || std::string_view(arguments[1]) != MARK) {
        return std::nullopt;
    }
    zolstats::setTraceLevel(zolstats::TraceLevel::all);
    const Endpoint gateway = parseEndpoint(arguments[2]);
    const Selection selection(arguments + FIXED_ARGUMENTS, arguments + argumentCount);
    const Clock::time_point begin = Clock::now();
    const Clock::time_point deadline = begin + milliseconds(std::atoi(arguments[3]));
    Worker worker(gateway, {});
    const std::string summary =
        summaryOf(*resultBy(deadline, worker.scrape(selection, deadline), gateway, begin));
    std::fwrite(summary.data(), 1, summary.size(), stdout);
    return EXIT_SUCCESS;
}

}  // namespace tools::exporter
