// Pages with holes, and what goes into them, escaped so that no text becomes markup.
// Knows nothing of what the pages are about.
// Nothing here comes from the protocol of the Gateways.
#ifndef EXPORTER_PAGE_TEMPLATE_H
#define EXPORTER_PAGE_TEMPLATE_H

#include <map>
#include <string>
#include <string_view>

namespace tools::exporter {

// By the names of the holes.
using Fillings = std::map<std::string, std::string, std::less<>>;

// {{name}} is replaced by the text of that name, {{{name}}} by the markup of that name. Throws std::logic_error for a
// name that has no filling, and for a hole without an end.
std::string filled(std::string_view page, const Fillings& fillings);

// Fit for a text and for a quoted attribute of HTML.
std::string asHtml(std::string_view text);

// Fit for the value of an argument in a URL.
std::string asUrlArgument(std::string_view text);

}  // namespace tools::exporter

#endif
