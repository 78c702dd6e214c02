// Results of commands that are no statistics, as JSON documents.
// Not the formats of statistics (formats/).
// The protocol that the statistics come by is written down in docs/protocol.md.
#ifndef ZOLSTAT_JSON_DOCUMENT_H
#define ZOLSTAT_JSON_DOCUMENT_H

#include <nlohmann/json.hpp>
#include <string>

#include "layout.h"

namespace tools::zolstat {

// Whether JSON is wanted. Throws UsageError where the command line asks for neither that nor a table.
bool wantsJson(const Layout& layout, const char* command);

// The beginning that all documents have in common.
nlohmann::ordered_json beginDocument(const char* kind);

// As it is to be written, whatever bytes its texts hold.
std::string textOf(const nlohmann::ordered_json& document);

}  // namespace tools::zolstat

#endif
