// Values of statistics as numbers: texts taken apart.
// Not the place where numbers are shown (formats/).
// The protocol that the statistics come by is written down in docs/protocol.md.
#include "number.h"

#include <algorithm>
#include <charconv>
#include <system_error>
#include <tuple>

namespace tools {
namespace {

constexpr std::string_view DIGITS = "0123456789";
constexpr std::int64_t LONGEST_PLAIN = 308;  // digits, before or behind the point

// A number's text, without its signs.
struct Parts {
    bool negative = false;
    std::string_view whole{};
    std::string_view fraction{};
    bool exponentNegative = false;
    std::string_view exponent{};
};

bool take(std::string_view& rest, std::string_view oneOf) {
    const bool found = !rest.empty() && oneOf.find(rest.front()) != std::string_view::npos;
    rest.remove_prefix(found ? 1 : 0);
    return found;
}

bool takeSign(std::string_view& rest) {
    const bool negative = rest.starts_with('-');
    take(rest, "+-");
    return negative;
}

std::string_view takeDigits(std::string_view& rest) {
    const std::string_view digits = rest.substr(0, rest.find_first_not_of(DIGITS));
    rest.remove_prefix(digits.size());
    return digits;
}

std::optional<Parts> split(std::string_view text) {
    Parts parts;
    parts.negative = takeSign(text);
    parts.whole = takeDigits(text);
    bool complete = !parts.whole.empty();
    if (take(text, ".")) {
        parts.fraction = takeDigits(text);
        complete = complete && !parts.fraction.empty();
    }
    if (take(text, "eE")) {
        parts.exponentNegative = takeSign(text);
        parts.exponent = takeDigits(text);
        complete = complete && !parts.exponent.empty();
    }
    return complete && text.empty() ? std::optional(parts) : std::nullopt;
}

std::string withoutOuterZeros(std::string digits) {
    digits.erase(digits.find_last_not_of('0') + 1);
    digits.erase(0, digits.find_first_not_of('0'));
    return digits;
}

std::int64_t exponentOf(const Parts& parts) {
    constexpr std::int64_t limit = 100'000'000'000'000'000;
    std::int64_t exponent = 0;
    for (const char digit : parts.exponent) {
        exponent = std::min(limit, exponent * 10 + (digit - '0'));
    }
    return parts.exponentNegative ? -exponent : exponent;
}

Decimal decimalOf(const Parts& parts) {
    const std::string all = std::string(parts.whole) + std::string(parts.fraction);
    Decimal decimal;
    decimal.digits = withoutOuterZeros(all);
    if (!decimal.digits.empty()) {
        const auto leadingZeros = static_cast<std::int64_t>(all.find_first_not_of('0'));
        decimal.sign = parts.negative ? -1 : 1;
        decimal.magnitude = exponentOf(parts) + static_cast<std::int64_t>(parts.whole.size()) - leadingZeros;
    }
    return decimal;
}

}  // namespace

std::optional<long double> numberOf(std::string_view text) {
    const auto parts = split(text);
    if (!parts) {
        return std::nullopt;
    }
    text.remove_prefix(text.starts_with('+') ? 1 : 0);  // which from_chars does not take
    long double number = 0;
    if (std::from_chars(text.data(), text.data() + text.size(), number).ec == std::errc()) {
        return number;
    }
    // Out of the type's range, at one end or the other.
    return decimalOf(*parts).magnitude < 0 ? std::optional(0.0L) : std::nullopt;
}

std::optional<Decimal> decimalOf(std::string_view text) {
    const auto parts = split(text);
    return parts ? std::optional(decimalOf(*parts)) : std::nullopt;
}

std::strong_ordering operator<=>(const Decimal& one, const Decimal& other) {
    if (one.sign != other.sign) {
        return one.sign <=> other.sign;
    }
    const auto& [small, large] = one.sign < 0 ? std::tie(other, one) : std::tie(one, other);
    if (small.magnitude != large.magnitude) {
        return small.magnitude <=> large.magnitude;
    }
    return small.digits <=> large.digits;
}

bool operator==(const Decimal& one, const Decimal& other) {
    return (one <=> other) == std::strong_ordering::equal;
}

std::optional<std::string> plainText(const Decimal& number) {
    const auto length = static_cast<std::int64_t>(number.digits.size());
    if (number.magnitude > LONGEST_PLAIN || length - number.magnitude > LONGEST_PLAIN) {
        return std::nullopt;
    }
    std::string text(static_cast<std::size_t>(std::max<std::int64_t>(0, 1 - number.magnitude)), '0');
    text += number.digits;
    text.append(static_cast<std::size_t>(std::max<std::int64_t>(0, number.magnitude - length)), '0');
    const auto whole = static_cast<std::size_t>(std::max<std::int64_t>(1, number.magnitude));
    if (text.size() > whole) {
        text.insert(whole, 1, '.');
    }
    return (number.sign < 0 ? "-" : "") + text;
}

bool isJsonNumber(std::string_view text) {
    const auto parts = split(text);
    return parts && !text.starts_with('+') && (parts->whole.size() == 1 || !parts->whole.starts_with('0'));
}

}  // namespace tools
