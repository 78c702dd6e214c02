// Metrics of statistics that come from standard input, for the test that gives them to the parsers of others.
// Not the exporter: no Gateway is asked.
// Both formats are described by the Prometheus and OpenMetrics projects.
#include <iostream>
#include <sstream>

#include "metrics.h"

namespace {

using namespace tools;
using namespace tools::exporter;

std::string bytesOf(const std::string& hexadecimal) {
    std::string bytes;
    for (std::size_t i = 1; i < hexadecimal.size(); i += 2) {  // behind a mark, so that none is empty
        bytes += static_cast<char>(std::stoi(hexadecimal.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

// A line each: group, id and value, in hexadecimal digits behind an 'x'. Lines of a group stand together.
Scrape readScrape(std::istream& input) {
    Scrape scrape;
    scrape.protocolVersion = "1_0";
    for (std::string line; std::getline(input, line);) {
        std::istringstream fields(line);
        std::string group;
        std::string id;
        std::string value;
        fields >> group >> id >> value;
        if (scrape.groups.empty() || scrape.groups.back() != bytesOf(group)) {
            scrape.groups.push_back(bytesOf(group));
        }
        scrape.readings.push_back({scrape.groups.size() - 1, bytesOf(id), bytesOf(value)});
    }
    return scrape;
}

}  // namespace

// text|openmetrics GATEWAY,... [MAPPING]: as on /metrics, with the texts of all ids.
int main(int argc, char** argv) {
    if (argc < 3) {
        std::cerr << "usage: exposition_of text|openmetrics GATEWAY,... [MAPPING]\n";
        return 2;
    }
    const Mapping mapping = argc > 3 ? Mapping::read(argv[3]) : Mapping();
    const std::vector<Pattern> info{Pattern("*")};
    Scrape scrape = readScrape(std::cin);
    Exposition exposition(argv[1] == std::string("text") ? ExpositionFormat::Text
                                                         : ExpositionFormat::OpenMetrics);
    std::istringstream gateways(argv[2]);
    for (std::string name; std::getline(gateways, name, ',');) {
        scrape.gateway = parseEndpoint(name);
        addScrape(exposition, scrape, {true, std::chrono::seconds(9), mapping, info});
    }
    addOwnFigures(exposition, {});
    addProcessFigures(exposition);
    std::cout << exposition.text();
}
