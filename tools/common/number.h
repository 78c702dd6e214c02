// Values of statistics as numbers: what counts as one, what it is worth, and which of two is greater.
// Not the place where numbers are shown (formats/).
// The protocol that the statistics come by is written down in docs/protocol.md.
#ifndef TOOLS_COMMON_NUMBER_H
#define TOOLS_COMMON_NUMBER_H

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tools {

// A number is a sign or none, digits, a fraction or none ('.' and digits), an exponent or none, and nothing
// around them, whatever the locale.

// Nothing for a text that is no number, and for a number that is too large for the type.
std::optional<long double> numberOf(std::string_view text);

// A number with all its digits, to be compared exactly. Exponents beyond 10^17 either way count as 10^17.
struct Decimal {
    int sign = 0;                // -1, 0 or 1
    std::int64_t magnitude = 0;  // the power of ten above the first digit: 3 for 100 to 999
    std::string digits{};        // without zeros at either end
};
std::optional<Decimal> decimalOf(std::string_view text);
std::strong_ordering operator<=>(const Decimal& one, const Decimal& other);
bool operator==(const Decimal& one, const Decimal& other);
// Without a '+' and without an exponent; nothing if that had more digits than a double can have.
std::optional<std::string> plainText(const Decimal& number);

// Whether JSON takes it for a number too: that has no '+' in front and no leading zeros.
bool isJsonNumber(std::string_view text);

}  // namespace tools

#endif
