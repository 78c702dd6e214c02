// Where a Gateway listens: texts read into hosts and ports, names resolved, a bare connect.
// Not the place where connections of the library are opened (session.cpp).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include "endpoint.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string_view>

#include "text.h"

namespace tools {
namespace {

constexpr int HIGHEST_PORT = 65535;

int parsePort(const std::string& text, const std::string& whole) {
    int port = 0;
    const char* end = text.data() + text.size();
    const auto [rest, problem] = std::from_chars(text.data(), end, port);
    if (problem != std::errc() || rest != end || port < 1 || port > HIGHEST_PORT) {
        throw BadEndpoint(fmt::format("'{}': the port is not a number from 1 to 65535", printable(whole)));
    }
    return port;
}

// What follows the closing bracket, or the host, is nothing or ':' and a port.
int parseRest(const std::string& rest, const std::string& whole, int defaultPort) {
    if (rest.empty()) {
        return defaultPort;
    }
    if (rest.front() != ':') {
        throw BadEndpoint(fmt::format("'{}': a ':' is expected after the ']'", printable(whole)));
    }
    return parsePort(rest.substr(1), whole);
}

Endpoint parseBracketed(const std::string& text, int defaultPort) {
    const std::size_t close = text.find(']');
    if (close == std::string::npos || close == 1) {
        throw BadEndpoint(fmt::format("'{}': no address between '[' and ']'", printable(text)));
    }
    return {text.substr(1, close - 1), parseRest(text.substr(close + 1), text, defaultPort)};
}

// A name of more than one ':' is an IPv6 address: its port, if any, needs brackets around the address.
Endpoint parsePlain(const std::string& text, int defaultPort) {
    const std::size_t colon = text.find(':');
    if (text.find('/') != std::string::npos || text.starts_with('@')) {
        throw BadEndpoint(fmt::format("'{}': HOST:PORT is expected", printable(text)));
    }
    if (colon != text.rfind(':')) {
        throw BadEndpoint(
            fmt::format("'{}': an IPv6 address stands in brackets: [::1]:{}", printable(text), defaultPort));
    }
    const std::string host = text.substr(0, colon);
    if (host.empty()) {
        throw BadEndpoint(fmt::format("'{}': the host is missing", printable(text)));
    }
    return {host, colon == std::string::npos ? defaultPort : parsePort(text.substr(colon + 1), text)};
}

std::string trimmed(const std::string& line) {
    const std::string text = line.substr(0, line.find('#'));
    const std::size_t first = text.find_first_not_of(" \t\r");
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t\r") + 1 - first);
}

Endpoint parseLine(const std::string& text, const std::string& file, int number) {
    try {
        return parseEndpoint(text);
    } catch (const BadEndpoint& problem) {
        throw BadEndpoint(fmt::format("{}, line {}: {}", printable(file), number, problem.what()));
    }
}

std::vector<Endpoint> parseFile(const std::string& name) {
    std::ifstream file(name);
    std::error_code failure;
    if (!file || std::filesystem::is_directory(name, failure)) {
        throw BadEndpoint(fmt::format("'@{}': the file cannot be read", printable(name)));
    }
    std::vector<Endpoint> endpoints;
    int number = 0;
    for (std::string line; std::getline(file, line);) {
        ++number;
        if (const std::string text = trimmed(line); !text.empty()) {
            endpoints.push_back(parseLine(text, name, number));
        }
    }
    if (endpoints.empty()) {
        throw BadEndpoint(fmt::format("'@{}': the file names no Gateway", printable(name)));
    }
    return endpoints;
}

struct FreeAddresses {
    void operator()(addrinfo* list) const { freeaddrinfo(list); }
};
using Addresses = std::unique_ptr<addrinfo, FreeAddresses>;

Addresses lookUp(const std::string& host, const char* port, int flags) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = flags;
    addrinfo* list = nullptr;
    return Addresses(getaddrinfo(host.c_str(), port, &hints, &list) == 0 ? list : nullptr);
}

std::string numericName(const addrinfo& address) {
    char name[NI_MAXHOST] = "";
    const int rc =
        getnameinfo(address.ai_addr, address.ai_addrlen, name, sizeof name, nullptr, 0, NI_NUMERICHOST);
    return rc == 0 ? name : "";
}

class Socket {
  public:
    explicit Socket(int family)
        : descriptor_(socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {}
    ~Socket() { close(descriptor_); }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    bool connectTo(const addrinfo& address, int limitMs) const {
        if (connect(descriptor_, address.ai_addr, address.ai_addrlen) == 0) {
            return true;
        }
        return errno == EINPROGRESS && isWritableWithin(limitMs) && hasNoError();
    }

  private:
    bool isWritableWithin(int limitMs) const {
        pollfd waiting{descriptor_, POLLOUT, 0};
        const int ready = poll(&waiting, 1, limitMs);
        errno = ready == 0 ? ETIMEDOUT : errno;
        return ready == 1;
    }
    bool hasNoError() const {
        socklen_t length = sizeof errno;
        int error = 0;
        getsockopt(descriptor_, SOL_SOCKET, SO_ERROR, &error, &length);
        errno = error;
        return error == 0;
    }

    int descriptor_;
};

}  // namespace

Endpoint parseEndpoint(const std::string& text, int defaultPort) {
    return text.starts_with('[') ? parseBracketed(text, defaultPort) : parsePlain(text, defaultPort);
}

bool isHost(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
               std::string_view("-._:%").find(c) != std::string_view::npos;
    });
}

std::vector<Endpoint> parseEndpoints(const std::string& text) {
    return text.starts_with('@') ? parseFile(text.substr(1)) : std::vector{parseEndpoint(text)};
}

std::string nameOf(const Endpoint& endpoint) {
    const bool hasColons = endpoint.host.find(':') != std::string::npos;
    return fmt::format("{}:{}", printable(hasColons ? '[' + endpoint.host + ']' : endpoint.host),
                       endpoint.port);
}

std::vector<std::string> resolve(const std::string& host) {
    const Addresses list = lookUp(host, nullptr, AI_ADDRCONFIG);
    std::vector<std::string> names;
    for (const addrinfo* address = list.get(); address != nullptr; address = address->ai_next) {
        std::string name = numericName(*address);
        if (!name.empty() && std::find(names.begin(), names.end(), name) == names.end()) {
            names.push_back(std::move(name));
        }
    }
    return names;
}

bool connectBarely(const std::string& numericHost, int port, std::chrono::milliseconds limit) {
    const Addresses address =
        lookUp(numericHost, std::to_string(port).c_str(), AI_NUMERICHOST | AI_NUMERICSERV);
    if (address == nullptr) {
        errno = EINVAL;
        return false;
    }
    return Socket(address->ai_family)
        .connectTo(*address, limit.count() > 0 ? static_cast<int>(limit.count()) : -1);
}

}  // namespace tools
