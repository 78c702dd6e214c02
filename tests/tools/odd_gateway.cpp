// A Gateway for tests of programs: tells the statistics that a file holds, whatever bytes they are.
// Not the stand-in for users, which is zol-gateway-sim.
// The protocol is written down in docs/protocol.md.
#include <fstream>
#include <iostream>
#include <limits>
#include <sstream>

#include "server.h"

namespace {

// \\ is a backslash, \xNN a byte; all else stands for itself.
std::string unescaped(const std::string& text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && text.at(i + 1) == 'x') {
            bytes += static_cast<char>(std::stoi(text.substr(i + 2, 2), nullptr, 16));
            i += 3;
        } else {
            i += text[i] == '\\' ? 1 : 0;
            bytes += text.at(i);
        }
    }
    return bytes;
}

gateway::Group& groupOf(gateway::Snapshot& snapshot, const std::string& id) {
    if (snapshot.empty() || snapshot.back().id != id) {
        snapshot.push_back({id});
    }
    return snapshot.back();
}

// A line each: a group alone, or a group, an id and a value with tabs between. Read anew at each query.
gateway::Snapshot read(const std::string& name) {
    gateway::Snapshot snapshot;
    std::ifstream file(name);
    for (std::string line; std::getline(file, line);) {
        std::istringstream fields(line);
        std::string group;
        std::string id;
        std::string value;
        std::getline(fields, group, '\t');
        gateway::Group& known = groupOf(snapshot, unescaped(group));
        if (std::getline(fields, id, '\t')) {
            std::getline(fields, value, '\t');
            known.statistics.push_back({unescaped(id), unescaped(value)});
        }
    }
    return snapshot;
}

}  // namespace

// Runs until its standard input ends, and so never longer than who started it.
int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: odd_gateway FILE\n";
        return 2;
    }
    gateway::Options options;
    options.keepRequests = false;
    options.statistics = [name = std::string(argv[1])] { return read(name); };
    const gateway::Server server(std::move(options));
    std::cout << "odd_gateway: listening on 127.0.0.1:" << server.port() << std::endl;
    std::cin.ignore(std::numeric_limits<std::streamsize>::max());
}
