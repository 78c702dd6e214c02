// What the two tables have in common: headings, colours, rates for the eye, alignment.
// Not the place for rows.
// The protocol that the statistics come by is written down in docs/protocol.md.
#ifndef ZOLSTAT_FORMATS_TABLE_PARTS_H
#define ZOLSTAT_FORMATS_TABLE_PARTS_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "layout.h"
#include "sample.h"

namespace tools::zolstat {

constexpr std::size_t GAP = 2;
// A longer text runs out to the right rather than pushing all others off the screen.
constexpr std::size_t WIDEST_VALUE = 40;
constexpr std::size_t WIDEST_NAME = 80;

enum class Style { Plain, Group, Restarted, Rejected };

// Always in the style where the layout has colours; it adds nothing to the width.
std::string painted(std::string_view text, Style style, const Layout& layout);

enum class Side { Left, Right };

// The text with blanks on the other side, up to `width`; longer texts stay whole.
std::string aligned(std::string_view text, Side side, std::size_t width);

// "+12.5/s", "-3/s", "0/s", "restart", or empty: a few digits, since it is for the eye.
std::string rateText(const Reading& reading);

// The line above what one Gateway told: which one it is, where there are several, and when, where one reading
// follows another. Otherwise nothing.
std::string headingOf(const Sample& sample, bool severalGateways, const Layout& layout);

}  // namespace tools::zolstat

#endif
