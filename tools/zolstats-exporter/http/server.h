// An HTTP server on one port, made of libmicrohttpd: requests in, answers out, everything bounded.
// Not the place where it is decided what is answered.
// Nothing here comes from the protocol of the Gateways.
#ifndef EXPORTER_HTTP_SERVER_H
#define EXPORTER_HTTP_SERVER_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "common/endpoint.h"

namespace tools::exporter::http {

// Names compare without regard to case.
struct Fields {
    std::vector<std::pair<std::string, std::string>> all{};
    std::optional<std::string> first(std::string_view name) const;
};

struct Request {
    std::string method;  // GET or POST; a HEAD comes as a GET, whose body the server then leaves out
    std::string path;
    Fields headers{};
    // Decoded, in their order; a name may come several times.
    std::vector<std::pair<std::string, std::string>> arguments{};

    std::optional<std::string> argument(std::string_view name) const;  // the first one
    std::vector<std::string> allOf(std::string_view name) const;
};

struct Response {
    int status = 200;
    std::string contentType = "text/plain; charset=utf-8";
    std::string body{};
    std::vector<std::pair<std::string, std::string>> headers{};
};

struct Limits {
    // At once. When there are more, the one goes that has let us wait longest for a request, so that nobody keeps others
    // out by doing nothing. Never more than a third of the descriptors that the process may open.
    std::size_t connections = 1024;
    // To send a whole request, and to read a whole answer or to begin with the next request.
    std::chrono::milliseconds request{10000};
    std::chrono::milliseconds silence{75000};
    std::size_t header = 16384;  // bytes of request line and headers; half of them for the request line
};

// Who may come in, and under which keys: the ecosystem's web configuration file (web_configuration.h).
class WebConfiguration;

// Answers a request; called by a thread of the connection, which may wait. What it throws becomes status 500 and a line on
// standard error. Requests that cannot be understood, and other methods, never come here; nor does any body.
using Handler = std::function<Response(const Request&)>;

// Listens from its construction, which throws std::runtime_error where that is impossible, to its destruction, which
// waits for the requests under way. Answers are compressed for those who accept gzip.
class Server {
  public:
    Server(const Endpoint& listen, Handler handler, Limits limits = {},
           std::shared_ptr<const WebConfiguration> web = nullptr);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    int port() const;

    // From the next request, and the next connection, on. Throws std::runtime_error if only one of the two configurations
    // has TLS: whether there is any holds from the start.
    void replace(std::shared_ptr<const WebConfiguration> web);

  private:
    class Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace tools::exporter::http

#endif
