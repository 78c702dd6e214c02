// Ranges of monitoring plugins: when a value is a reason to warn.
// Not the place where values are read (command_check.cpp).
// The protocol that the statistics come by is written down in docs/protocol.md.
#ifndef ZOLSTAT_RANGE_H
#define ZOLSTAT_RANGE_H

#include <optional>
#include <string>

#include "common/number.h"

namespace tools::zolstat {

// START:END, both ends included, tells where values are well. "10" is 0:10, "10:" has no upper end and "~:10" no lower
// one; "@10:20" tells where values are not well.
class Range {
  public:
    // Nothing if it is none, or if it starts behind its end.
    static std::optional<Range> parse(const std::string& text);

    bool alerts(const Decimal& value) const;
    const std::string& text() const { return text_; }

  private:
    bool parseEnds(const std::string& ends);

    std::string text_;
    std::optional<Decimal> start_;  // absent: without lower end
    std::optional<Decimal> end_;    // absent: without upper end
    bool alertsInside_ = false;
};

}  // namespace tools::zolstat

#endif
