// What all programs of the comparison are told on their command lines.
#ifndef ZOLSTATS_BENCH_OPTIONS_H
#define ZOLSTATS_BENCH_OPTIONS_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "column.h"

namespace bench {

struct Options {
    Ports ports;
    std::vector<std::size_t> sizes;  // how many items queries bring
    double seconds = 1;              // for each thing that is measured
    std::string results;             // a file for the table of targets
    std::string label;               // stands in front of the names in it
    std::string scratch = ".";       // a folder
};

// The main function of a program: reads its options, does the work, and turns exceptions into a line and exit code 1.
int runProgram(int argc, char** argv, const std::string& description,
               const std::function<void(const Options&)>& work);

}  // namespace bench

#endif
