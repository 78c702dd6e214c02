// Plain text tables with aligned columns.
#ifndef ZOLSTATS_BENCH_TABLE_H
#define ZOLSTATS_BENCH_TABLE_H

#include <iosfwd>
#include <string>
#include <vector>

namespace bench {

// The first column is aligned to the left, the others to the right.
class Table {
  public:
    explicit Table(std::vector<std::string> titles) : rows_{std::move(titles)} {}

    void add(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }
    void print(std::ostream& out) const;

  private:
    std::vector<std::vector<std::string>> rows_;  // the titles first
};

// A number with as many decimals as it takes to tell three or four digits: 0.123, 1.23, 12.3, 123, 12345.
std::string number(double value);

// A heading above a table.
void printHeading(std::ostream& out, const std::string& text);

}  // namespace bench

#endif
