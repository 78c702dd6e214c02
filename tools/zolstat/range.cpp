// Ranges of monitoring plugins: how they are written, and what they say to a value.
// Not the place where values are read (command_check.cpp).
// The protocol that the statistics come by is written down in docs/protocol.md.
#include "range.h"

namespace tools::zolstat {

std::optional<Range> Range::parse(const std::string& text) {
    Range range;
    range.text_ = text;
    range.alertsInside_ = text.starts_with('@');
    const bool parsed = range.parseEnds(text.substr(range.alertsInside_ ? 1 : 0));
    return parsed ? std::optional(range) : std::nullopt;
}

bool Range::parseEnds(const std::string& ends) {
    const std::size_t colon = ends.find(':');
    const bool isOneNumber = colon == std::string::npos;
    const std::string start = isOneNumber ? "0" : ends.substr(0, colon);
    const std::string end = isOneNumber ? ends : ends.substr(colon + 1);
    const bool hasNoLowerEnd = start == "~";
    const bool hasNoUpperEnd = end.empty() && !isOneNumber;
    start_ = decimalOf(start);
    end_ = decimalOf(end);
    return (start_ || hasNoLowerEnd) && (end_ || hasNoUpperEnd) && !(start_ && end_ && *start_ > *end_);
}

bool Range::alerts(const Decimal& value) const {
    const bool isInside = (!start_ || value >= *start_) && (!end_ || value <= *end_);
    return isInside == alertsInside_;
}

}  // namespace tools::zolstat
