// What a fuzz target is given, taken apart from the front, and how a target tells that something is wrong.
// Knows none of the targets' formats; each is told at the head of its file.
// The protocol is written down in docs/protocol.md.
#ifndef ZOLSTATS_TESTS_FUZZ_INPUT_H
#define ZOLSTATS_TESTS_FUZZ_INPUT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

// What libFuzzer calls, and the replay program.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

// The bytes of one run. Where they end, integers read as 0 and texts are short, so that every input is valid.
class Input {
  public:
    Input(const std::uint8_t* data, std::size_t size) : rest_(reinterpret_cast<const char*>(data), size) {}

    std::string_view bytes(std::size_t count) {
        const std::string_view taken = rest_.substr(0, count);
        rest_.remove_prefix(taken.size());
        return taken;
    }
    std::string_view rest() { return bytes(rest_.size()); }
    std::uint8_t byte() {
        const std::string_view taken = bytes(1);
        return taken.empty() ? std::uint8_t{0} : static_cast<std::uint8_t>(taken.front());
    }
    std::size_t half() {
        const std::size_t high = byte();
        return high << 8 | byte();
    }
    [[nodiscard]] bool empty() const { return rest_.empty(); }

  private:
    std::string_view rest_;
};

// What must hold whatever the input. Where it does not the process ends, and the fuzzer keeps the input.
inline void require(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "Does not hold: %s\n", what);
        std::abort();
    }
}

}  // namespace fuzz

#endif
