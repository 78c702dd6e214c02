// Where a Gateway listens: host and port, as given on the command line and as resolved.
// Not the place where connections of the library are opened (those of the tools).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#ifndef TOOLS_COMMON_ENDPOINT_H
#define TOOLS_COMMON_ENDPOINT_H

#include <chrono>
#include <stdexcept>
#include <string>
#include <vector>

namespace tools {

constexpr int DEFAULT_PORT = 27400;  // of a Gateway

struct Endpoint {
    std::string host = "127.0.0.1";
    int port = DEFAULT_PORT;

    bool operator==(const Endpoint&) const = default;
};

// A text that cannot be understood; what() says why in one line.
class BadEndpoint : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// HOST, HOST:PORT, [IPV6] or [IPV6]:PORT; without a port it is the default one. Throws BadEndpoint.
Endpoint parseEndpoint(const std::string& text, int defaultPort = DEFAULT_PORT);

// What a host can be: names, and addresses of both kinds with a zone, of letters, digits and "-._:%". The rest would
// only confuse those who read it.
bool isHost(const std::string& text);

// One of the above, or @FILE: a file with one endpoint a line, blank lines and lines after '#' left out.
std::vector<Endpoint> parseEndpoints(const std::string& text);

// HOST:PORT, and [HOST]:PORT where the host has colons of its own; fit for a terminal.
std::string nameOf(const Endpoint& endpoint);

// All addresses that the host's name stands for, in the resolver's order, as numeric texts. Empty if it stands for
// none.
std::vector<std::string> resolve(const std::string& host);

// Connects without a word and closes again: is there anybody? False if not within the limit, errno says why.
bool connectBarely(const std::string& numericHost, int port, std::chrono::milliseconds limit);

}  // namespace tools

#endif
