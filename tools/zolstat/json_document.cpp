// Results of commands that are no statistics, as JSON documents.
// Not the formats of statistics (formats/).
// The protocol that the statistics come by is written down in docs/protocol.md.
#include "json_document.h"

#include <fmt/format.h>

#include "command.h"

namespace tools::zolstat {
namespace {

constexpr int FORMAT_VERSION = 1;

}  // namespace

bool wantsJson(const Layout& layout, const char* command) {
    requireFormat(layout, {Format::Table, Format::Json},
                  fmt::format("'{}' has the formats table and json only", command));
    return layout.format == Format::Json;
}

nlohmann::ordered_json beginDocument(const char* kind) {
    return {{"format_version", FORMAT_VERSION}, {"kind", kind}};
}

std::string textOf(const nlohmann::ordered_json& document) {
    constexpr int indent = 2;
    constexpr auto notUtf8 = nlohmann::ordered_json::error_handler_t::replace;
    return document.dump(indent, ' ', false, notUtf8) + '\n';
}

}  // namespace tools::zolstat
