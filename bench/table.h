// Plain text tables with aligned columns.
#ifndef ZOLSTATS_BENCH_TABLE_H
#define ZOLSTATS_BENCH_TABLE_H

#include <iosfwd>
#include <string>
#include <vector>

namespace bench {

class Table {
  public:
    explicit Table(std::vector<std::string> titles);

    // A row with too few cells ends in empty ones.
    void add(std::vector<std::string> cells);
    // Columns of numbers are aligned to the right, the others to the left. An empty line ends the table.
    void print(std::ostream& out) const;

  private:
    std::vector<std::vector<std::string>> rows_;  // the titles first
};

// A number with as many decimals as it takes to tell three digits: 0.123, 1.23, 12.3, 123, 12345; a whole one has none.
std::string number(double value);

}  // namespace bench

#endif
