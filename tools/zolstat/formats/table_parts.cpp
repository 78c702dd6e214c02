// What the two tables have in common.
// Not the place for rows.
// The protocol that the statistics come by is written down in docs/protocol.md.
#include "table_parts.h"

#include <fmt/format.h>

#include <cmath>

#include "columns.h"
#include "common/endpoint.h"

namespace tools::zolstat {
namespace {

const char* sequenceOf(Style style) {
    switch (style) {
        case Style::Plain:
            return "";
        case Style::Group:
            return "\x1b[1m";
        case Style::Restarted:
            return "\x1b[33m";
        case Style::Rejected:
            return "\x1b[31m";
    }
    return "";
}

// Three digits at least, and no fraction from 100 on; the very large and the very small with an exponent.
std::string fewDigits(long double rate) {
    constexpr long double largest = 1e15L;
    constexpr long double smallest = 1e-3L;
    const long double size = std::fabs(rate);
    if (size >= largest || size < smallest) {
        return fmt::format("{:+.3g}", rate);
    }
    const int decimals = size >= 100 ? 0 : size >= 10 ? 1 : 2;
    std::string text = fmt::format("{:+.{}f}", rate, size < 0.1L ? 4 : decimals);
    if (text.find('.') != std::string::npos) {
        text.erase(text.find_last_not_of('0') + 1);
        text.erase(text.find_last_not_of('.') + 1);
    }
    return text;
}

}  // namespace

std::string painted(std::string_view text, Style style, const Layout& layout) {
    if (!layout.colours || style == Style::Plain || text.empty()) {
        return std::string(text);
    }
    return fmt::format("{}{}\x1b[0m", sequenceOf(style), text);
}

std::string aligned(std::string_view text, Side side, std::size_t width) {
    const std::string blanks(width > text.size() ? width - text.size() : 0, ' ');
    return side == Side::Left ? std::string(text) + blanks : blanks + std::string(text);
}

std::string rateText(const Reading& reading) {
    if (!reading.change || reading.change->restarted || !std::isfinite(reading.change->perSecond)) {
        return changeText(reading);
    }
    const bool moves = reading.change->perSecond != 0;
    return (moves ? fewDigits(reading.change->perSecond) : "0") + "/s";
}

std::string headingOf(const Sample& sample, bool severalGateways, const Layout& layout) {
    if (!severalGateways && !layout.changes) {
        return "";
    }
    return fmt::format("=={}{}\n", severalGateways ? ' ' + nameOf(sample.gateway) : "",
                       layout.changes ? ' ' + timestamp(sample.time) : "");
}

}  // namespace tools::zolstat
