// What the programs of a measurement tell the one that compares with the targets: a file with a name and a number on
// each line.
#ifndef ZOLSTATS_BENCH_RESULTS_H
#define ZOLSTATS_BENCH_RESULTS_H

#include <map>
#include <string>

namespace bench {

using Results = std::map<std::string, double>;

// Adds to the file; an empty name keeps nothing. Both throw std::runtime_error where the file cannot be used.
void appendResults(const std::string& file, const Results& results);
Results readResults(const std::string& file);

}  // namespace bench

#endif
