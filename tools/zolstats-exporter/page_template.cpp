// Pages with holes: the holes found and filled, the escapes of HTML and of URLs.
// Knows nothing of what the pages are about.
// Nothing here comes from the protocol of the Gateways.
#include "page_template.h"

#include <fmt/format.h>

#include <iterator>
#include <stdexcept>

namespace tools::exporter {
namespace {

constexpr std::string_view LETTERS_AND_DIGITS =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
constexpr std::string_view UNRESERVED_MARKS = "-._~";

std::string_view escapeOf(char character) {
    switch (character) {
        case '&':
            return "&amp;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        case '"':
            return "&quot;";
        case '\'':
            return "&#39;";
        default:
            return {};
    }
}

const std::string& fillingOf(std::string_view name, const Fillings& fillings) {
    const auto found = fillings.find(name);
    if (found == fillings.end()) {
        throw std::logic_error(fmt::format("a page has the hole '{}', which nothing fills", name));
    }
    return found->second;
}

// The text up to `end`, which is taken off `rest` together with it.
std::string_view takeUntil(std::string_view& rest, std::string_view end) {
    const std::size_t place = rest.find(end);
    if (place == std::string_view::npos) {
        throw std::logic_error(fmt::format("a page has a hole without '{}'", end));
    }
    const std::string_view taken = rest.substr(0, place);
    rest.remove_prefix(place + end.size());
    return taken;
}

// `rest` begins behind the first two braces of a hole.
std::string takeHole(std::string_view& rest, const Fillings& fillings) {
    if (rest.starts_with('{')) {
        rest.remove_prefix(1);
        return fillingOf(takeUntil(rest, "}}}"), fillings);
    }
    return asHtml(fillingOf(takeUntil(rest, "}}"), fillings));
}

}  // namespace

std::string filled(std::string_view page, const Fillings& fillings) {
    constexpr std::string_view hole = "{{";
    std::string text;
    for (std::size_t start = page.find(hole); start != std::string_view::npos; start = page.find(hole)) {
        text += page.substr(0, start);
        page.remove_prefix(start + hole.size());
        text += takeHole(page, fillings);
    }
    return text += page;
}

std::string asHtml(std::string_view text) {
    std::string html;
    html.reserve(text.size());
    for (const char character : text) {
        const std::string_view escape = escapeOf(character);
        html += escape.empty() ? std::string_view(&character, 1) : escape;
    }
    return html;
}

std::string asUrlArgument(std::string_view text) {
    std::string argument;
    for (const char character : text) {
        if (LETTERS_AND_DIGITS.find(character) != std::string_view::npos ||
            UNRESERVED_MARKS.find(character) != std::string_view::npos) {
            argument += character;
        } else {
            fmt::format_to(std::back_inserter(argument), "%{:02X}", static_cast<unsigned char>(character));
        }
    }
    return argument;
}

}  // namespace tools::exporter
