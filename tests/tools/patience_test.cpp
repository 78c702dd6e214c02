// The line that tells who is waited for, whatever the width of the terminal.
// Not a test of when it comes and goes (terminal_test.py).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include "patience.h"

#include <gmock/gmock.h>

namespace tools::zolstat {
namespace {

using namespace std::chrono_literals;

const std::vector<std::string> THREE{"gw1:1", "gw2:2", "gw3:3"};

TEST(WaitingLine, NamesAllWhereThereIsRoom) {
    EXPECT_EQ(waitingLine(THREE, 4s, 80), "zolstat: connecting to gw1:1, gw2:2, gw3:3 ... 4 s");
    EXPECT_EQ(waitingLine(THREE, 4s, 50), "zolstat: connecting to gw1:1, gw2:2, gw3:3 ... 4 s");
}

TEST(WaitingLine, CountsThoseWhoHaveNoRoom) {
    EXPECT_EQ(waitingLine(THREE, 4s, 49), "zolstat: connecting to gw1:1 and 2 others ... 4 s");
    EXPECT_EQ(waitingLine({"gw1:1", "gw2:2", "a-long-name:3"}, 4s, 57),
              "zolstat: connecting to gw1:1, gw2:2 and 1 other ... 4 s");
    EXPECT_EQ(waitingLine(THREE, 4s, 48), "zolstat: connecting to 3 Gateways ... 4 s");
}

TEST(WaitingLine, IsNeverLongerThanTheTerminalIsWide) {
    for (std::size_t width = 0; width < 60; ++width) {
        EXPECT_LE(waitingLine(THREE, 4s, width).size(), width);
        EXPECT_LE(waitingLine({"gateway.example.org:27400"}, 4s, width).size(), width);
    }
}

}  // namespace
}  // namespace tools::zolstat
