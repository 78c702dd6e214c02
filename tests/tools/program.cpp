// Programs under test: spawning, waiting and catching what they write.
// Not a shell: arguments arrive as they stand, and nothing is looked up.
// The protocol that the programs speak is written down in docs/protocol.md.
#include "program.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

namespace program {
namespace {

int checked(int result, const char* what) {
    if (result == -1) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

// What a child's descriptors are to be, as posix_spawn wants to hear it.
class Actions {
  public:
    Actions() { posix_spawn_file_actions_init(&actions_); }
    ~Actions() { posix_spawn_file_actions_destroy(&actions_); }
    Actions(const Actions&) = delete;
    Actions& operator=(const Actions&) = delete;

    void redirect(int target, const Descriptor& source) {
        posix_spawn_file_actions_adddup2(&actions_, source.number(), target);
    }
    void close(int target) { posix_spawn_file_actions_addclose(&actions_, target); }
    const posix_spawn_file_actions_t* get() const { return &actions_; }

  private:
    posix_spawn_file_actions_t actions_;
};

pid_t spawn(const std::string& path, const std::vector<std::string>& arguments, const Actions& actions) {
    std::vector<char*> argv{const_cast<char*>(path.c_str())};
    for (const std::string& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    pid_t pid = -1;
    const int error = posix_spawn(&pid, path.c_str(), actions.get(), nullptr, argv.data(), environ);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), path);
    }
    return pid;
}

int exitCodeOf(int status) {
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

int waitForEnd(pid_t pid) {
    int status = 0;
    checked(waitpid(pid, &status, 0), "waitpid");
    return exitCodeOf(status);
}

// A file in memory: however much a program writes, it never waits for a reader.
Descriptor catcher() {
    return Descriptor(checked(memfd_create("output", MFD_CLOEXEC), "memfd_create"));
}

std::string contentOf(const Descriptor& file) {
    std::string content(
        static_cast<std::size_t>(checked(static_cast<int>(lseek(file.number(), 0, SEEK_END)), "lseek")),
        '\0');
    checked(static_cast<int>(pread(file.number(), content.data(), content.size(), 0)), "pread");
    return content;
}

struct Pipe {
    Descriptor reader;
    Descriptor writer;
};

Pipe makePipe() {
    std::array<int, 2> ends{};
    checked(pipe2(ends.data(), O_CLOEXEC), "pipe2");
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

Descriptor openOutput(Output output) {
    switch (output) {
        case Output::PipeWithoutReader:
            return makePipe().writer;
        case Output::FullDevice:
            return Descriptor(checked(open("/dev/full", O_WRONLY | O_CLOEXEC), "/dev/full"));
        default:
            return catcher();
    }
}

}  // namespace

void Descriptor::close() {
    if (number_ != -1) {
        ::close(std::exchange(number_, -1));
    }
}

Finished run(const std::string& path, const std::vector<std::string>& arguments, Output output) {
    const Descriptor out = openOutput(output);
    const Descriptor error = catcher();
    Actions actions;
    actions.redirect(STDOUT_FILENO, out);
    actions.redirect(STDERR_FILENO, error);
    if (output == Output::Closed) {
        actions.close(STDOUT_FILENO);
    }
    const int exitCode = waitForEnd(spawn(path, arguments, actions));
    return {exitCode, output == Output::Caught ? contentOf(out) : "", contentOf(error)};
}

Running::Running(const std::string& path, const std::vector<std::string>& arguments) {
    Pipe pipe = makePipe();
    Actions actions;
    actions.redirect(STDOUT_FILENO, pipe.writer);
    pid_ = spawn(path, arguments, actions);
    output_ = std::move(pipe.reader);
}

Running::~Running() {
    if (pid_ != -1 && !exitCode_) {
        ::kill(pid_, SIGTERM);
        waitpid(pid_, nullptr, 0);
    }
}

void Running::waitForOutput() const {
    pollfd output{output_.number(), POLLIN, 0};
    checked(poll(&output, 1, -1), "poll");
}

int Running::endBy(int signal) {
    const pid_t pid = std::exchange(pid_, -1);
    checked(::kill(pid, signal), "kill");
    return waitForEnd(pid);
}

std::string Running::readLine() {
    std::string line;
    char character = 0;
    while (read(output_.number(), &character, 1) == 1 && character != '\n') {
        line += character;
    }
    return line;
}

void Running::send(int signal) const {
    checked(::kill(pid_, signal), "kill");
}

bool Running::hasEnded() {
    int status = 0;
    if (!exitCode_ && checked(waitpid(pid_, &status, WNOHANG), "waitpid") == pid_) {
        exitCode_ = exitCodeOf(status);
    }
    return exitCode_.has_value();
}

Finished Running::finish() {
    Finished finished;
    for (std::array<char, 4096> part{};;) {
        const ssize_t length = read(output_.number(), part.data(), part.size());
        if (length <= 0) {
            break;
        }
        finished.output.append(part.data(), static_cast<std::size_t>(length));
    }
    exitCode_ = exitCode_ ? exitCode_ : waitForEnd(pid_);
    finished.exitCode = *exitCode_;
    return finished;
}

}  // namespace program
