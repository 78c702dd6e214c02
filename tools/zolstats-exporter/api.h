// What the exporter knows as JSON, for its own pages and for whoever else likes to read it.
// Not the metrics (metrics.h), and not the place where Gateways are asked.
// The protocol that the statistics come by is written down in docs/protocol.md.
#ifndef EXPORTER_API_H
#define EXPORTER_API_H

#include <chrono>
#include <string>
#include <vector>

#include "fleet.h"
#include "http/server.h"
#include "scrape.h"

namespace tools::exporter {

// {"version", "time", "gateways": [{"name", "configured", "state": "up"|"down"|"unasked", "last": null or what
// statisticsDocument() has, with the numbers of "groups" and "statistics" instead of these}]}
http::Response gatewaysDocument(const std::vector<Fleet::Member>& members,
                                std::chrono::system_clock::time_point now);

// {"gateway", "time", "failure": null or {"reason", "text"}, "rejected_groups", "protocol_version", "took": {"open",
// "query", "walk"}, "groups", "statistics": [{"group", "id", "value"}]}. Times are in seconds, since 1970 where they
// tell a moment. Ids and values are escaped as in common/escape.h; a value stays a text, so that no digit of a number
// is lost.
http::Response statisticsDocument(const Scrape& scrape);

// {"error"}: for people, one line.
http::Response problemDocument(int status, const std::string& text);

}  // namespace tools::exporter

#endif
