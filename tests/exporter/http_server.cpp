// A server for Python tests: it tells its port on the first line, and does what it is told on standard input.
// Not a test. A handler for everything that a server must cope with.
// Nothing here comes from the protocol of the Gateways.
#include <fmt/format.h>

#include <condition_variable>
#include <future>
#include <iostream>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>

#include "http/server.h"
#include "http/web_configuration.h"

namespace {

using namespace tools::exporter::http;

// Handlers that wait until a test lets them go.
class Gate {
  public:
    void wait() {
        std::unique_lock lock(mutex_);
        ++waiting_;
        changed_.notify_all();
        changed_.wait(lock, [this] { return isOpen_; });
    }
    void waitForGuest() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return waiting_ > 0; });
    }
    void open() {
        std::lock_guard lock(mutex_);
        isOpen_ = true;
        changed_.notify_all();
    }

  private:
    std::mutex mutex_{};
    std::condition_variable changed_{};
    int waiting_ = 0;
    bool isOpen_ = false;
};

Response echo(const Request& request) {
    Response response{.body = fmt::format("{} {}\n", request.method, request.path)};
    for (const auto& [name, value] : request.arguments) {
        response.body += fmt::format("{}={}\n", name, value);
    }
    response.headers.emplace_back("X-Echo", request.headers.first("X-ASKED").value_or("nothing"));
    return response;
}

Response answer(const Request& request, Gate& gate) {
    if (request.path == "/throw") {
        throw std::runtime_error("thrown\x1b[31m");
    }
    if (request.path == "/gate") {
        gate.wait();
    } else if (request.path == "/gate/guest") {
        gate.waitForGuest();
    } else if (request.path == "/policy") {
        return {.headers = {{"content-security-policy", "default-src 'none'"}}};
    } else if (request.path == "/big") {
        return {.body = std::string(std::stoul(request.argument("bytes").value_or("0")), 'x')};
    }
    return echo(request);
}

Limits limitsFrom(char** arguments) {
    return {.connections = std::stoul(arguments[0]),
            .request = std::chrono::milliseconds(std::stol(arguments[1])),
            .silence = std::chrono::milliseconds(std::stol(arguments[2]))};
}

std::string reload(Server& server, const std::string& webFile) {
    try {
        server.replace(WebConfiguration::read(webFile));
        return "reloaded";
    } catch (const std::exception& e) {
        return e.what();
    }
}

// What the test says: "open" lets the handlers go, "reload" reads the web configuration again, "end" ends the server, and
// something may be said meanwhile.
void follow(std::optional<Server>& server, Gate& gate, const std::string& webFile) {
    std::future<void> end;
    for (std::string line; std::getline(std::cin, line);) {
        if (line == "open") {
            gate.open();
        } else if (line == "reload") {
            std::cout << reload(*server, webFile) << std::endl;
        } else if (line == "end") {
            end = std::async(std::launch::async, [&server] { server.reset(); });
        }
    }
}

void serve(const Limits& limits, const std::string& webFile) {
    Gate gate;
    const auto web = webFile.empty() ? nullptr : WebConfiguration::read(webFile);
    std::optional<Server> server;
    server.emplace(
        tools::Endpoint{"127.0.0.1", 0}, [&gate](const Request& request) { return answer(request, gate); },
        limits, web);
    std::cout << server->port() << std::endl;
    follow(server, gate, webFile);
}

}  // namespace

// Arguments: connections, the limits for a request and for silence in milliseconds, a web configuration file or "".
int main(int count, char** arguments) {
    if (count < 5) {
        return 2;
    }
    try {
        serve(limitsFrom(arguments + 1), arguments[4]);
    } catch (const std::exception& e) {
        std::cerr << e.what() << std::endl;
        return 1;
    }
}
