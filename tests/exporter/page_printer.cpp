// Prints what the exporter answers to a browser, headers first: for tests that serve the pages without an exporter.
// Not the exporter: its Gateways are made up, and it asks nobody.
// The protocol that the statistics come by is written down in docs/protocol.md.
#include <iostream>

#include "pages.h"
#include "sample_scrapes.h"

namespace {

using namespace tools::exporter;

std::vector<Fleet::Member> sampleMembers() {
    return {memberOf(goodScrape()),
            memberOf(failedScrape(Reason::Connect, "the connection was refused: nothing listens there")),
            {{"gw3.example.org", 27400}, true, nullptr}};
}

http::Response answerTo(const std::string& path, const std::string& target) {
    if (path == "/") {
        return landingPage(sampleMembers(), secondsSince1970(SAMPLE_TIME + 5));
    }
    if (path == "/live") {
        return livePage(tools::parseEndpoint(target));
    }
    return pageFile(path).value_or(http::Response{.status = 404});
}

}  // namespace

// The arguments: a path, and the target of "/live".
int main(int argc, char** argv) {
    const http::Response response = answerTo(argc > 1 ? argv[1] : "/", argc > 2 ? argv[2] : "127.0.0.1");
    std::cout << "Status: " << response.status << "\nContent-Type: " << response.contentType << '\n';
    for (const auto& [name, value] : response.headers) {
        std::cout << name << ": " << value << '\n';
    }
    std::cout << '\n' << response.body;
}
