// Programs under test: started by their path, with their outputs caught.
// Not a shell: arguments arrive as they stand here, and nothing is looked up.
// The protocol that the programs speak is written down in docs/protocol.md.
#ifndef ZOLSTATS_TESTS_PROGRAM_H
#define ZOLSTATS_TESTS_PROGRAM_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace program {

// A file descriptor that closes itself.
class Descriptor {
  public:
    Descriptor() = default;
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() { close(); }
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }

    int number() const { return number_; }
    void close();

  private:
    int number_ = -1;
};

struct Finished {
    int exitCode = -1;  // 128 and the signal's number if a signal ended it
    std::string output;
    std::string error;
};

// What standard output leads to, where it is not to be caught.
enum class Output { Caught, PipeWithoutReader, FullDevice, Closed };

// Runs the program to its end.
Finished run(const std::string& path, const std::vector<std::string>& arguments,
             Output output = Output::Caught);

// A program that runs until this object ends it with SIGTERM.
class Running {
  public:
    Running(const std::string& path, const std::vector<std::string>& arguments);
    ~Running();
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    void waitForOutput() const;  // leaves it unread
    int endBy(int signal);       // its exit code, as above

    std::string readLine();  // of its standard output, without the line's end; empty when it has ended

    void send(int signal) const;
    bool hasEnded();
    Finished
    finish();  // waits for its end; the output is what was not read before, standard error is not caught

  private:
    Descriptor output_;
    pid_t pid_ = -1;
    std::optional<int> exitCode_{};
};

}  // namespace program

#endif
