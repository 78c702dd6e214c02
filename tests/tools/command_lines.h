// Command lines as parameters of tests, each with a name that tells what is wrong with it.
// Not the place where they are run (program.h).
// Nothing here comes from the protocol.
#ifndef ZOLSTATS_TESTS_COMMAND_LINES_H
#define ZOLSTATS_TESTS_COMMAND_LINES_H

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

struct Line {
    const char* name;
    std::vector<std::string> arguments;
};

inline void PrintTo(const Line& line, std::ostream* out) {
    *out << line.name;
}

inline std::string nameOf(const testing::TestParamInfo<Line>& line) {
    return line.param.name;
}

#endif
