// Writes the first inputs of the fuzz targets: real messages, in the form that each target reads.
// Not the corpora themselves, which the fuzzer has made of these and of what it found since.
// The protocol is written down in docs/protocol.md.
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "fixtures.h"
#include "support/answering_gateway.h"
#include "support/hand_made_set.h"
#include "wire.h"

namespace {

using namespace testing_support;

using Seeds = std::vector<Bytes>;

Bytes byte(unsigned value) {
    return Bytes(1, static_cast<char>(value));
}

// ---- Parsers: an id at the limit of lengths and one beyond it; every fixture, with two capacities, the second
// time traced

Seeds parseSeeds() {
    Seeds seeds;
    for (const std::size_t length : {32767U, 32768U}) {
        seeds.push_back(byte(1) + gateway::encodeIds({{"", 0, {Bytes(length, 'A')}}}));
    }
    for (const unsigned options : {2U << 1, 6U << 1 | 16U}) {
        for (const fixtures::Fixture& fixture : fixtures::stats()) {
            seeds.push_back(byte(options) + fixtures::contentOf(fixture));
        }
        for (const fixtures::Fixture& fixture : fixtures::ids()) {
            seeds.push_back(byte(options | 1) + fixtures::contentOf(fixture));
        }
    }
    return seeds;
}

// ---- Exchanges: each entry with its reply, and some refusals

Bytes adminReply(const Bytes& body) {
    return message({.name = "Admin"}, body);
}

Seeds exchangeSeeds() {
    const Bytes payload = fixtures::contentOf(fixtures::stats().front());
    const Bytes invoked = adminReply(word(5) + word(0) + byte(0) + payload);
    return {
        byte(0) + byte(0) + handshakeReply(),
        byte(0) + byte(17) + authReply(),
        byte(0) + byte(2) + invoked,
        byte(0) + byte(3) + message({.name = ""}, "body"),
        byte(0) + byte(4) + message({.name = "A name of 24 characters."}, "body"),
        byte(1) + byte(0) + handshakeReply(),
        byte(1) + byte(16) + handshakeReply(-4),
        byte(1) + byte(0) + message({.name = "BASE1", .type = 5}, "body"),
        byte(1) + byte(0) + handshakeReply().substr(0, 20),
        byte(2) + byte(0) + closeReply(),
        byte(2) + byte(0) + message({.name = "BASE"}, "cut off").substr(0, 36),
        byte(3) + byte(0) + authReply() + authReply(),
        byte(3) + byte(16) + authReply(3),
        byte(3) + byte(0) + message({.name = "Auth"}, "") + authReply(),
        byte(4) + byte(0) + adminInitReply() + protocolReply(),
        byte(4) + byte(17) + adminInitReply() + invoked,
        byte(4) + byte(1) + invoked + invoked,
        byte(4) + byte(2) + adminInitReply() + adminReply(word(2) + word(0) + byte(0)),
        byte(4) + byte(1) + adminInitReply() + adminReply(word(5) + word(0) + byte(1)),
        byte(4) + byte(1) + adminInitReply() + adminReply(word(5) + word(7) + byte(0)),
        byte(4) + byte(1) + adminInitReply() + message({.name = "Admin", .second = -4}, ""),
        byte(4) + byte(0) + message({.name = "Adm"}, word(0) + word(0) + word(1)) + protocolReply(),
    };
}

// ---- Sessions: as usual, with each kind of reply, with protocol versions around the usual size of their
// buffer, and with each fixture as the answer of the first query

constexpr std::size_t REPLIES_BEFORE_FIRST_ANSWER = 6;

Bytes counted16(const Bytes& bytes) {
    return shortWord(static_cast<unsigned>(bytes.size())) + bytes;
}

Bytes usual(std::size_t count) {
    return Bytes(count, '\0');
}

void addAnswers(Seeds& seeds, const std::vector<fixtures::Fixture>& answers, unsigned firstQuery) {
    for (const fixtures::Fixture& fixture : answers) {
        const Bytes callData = fixtures::contentOf(fixture);
        if (callData.size() < 4096) {
            seeds.push_back(byte(firstQuery | 8) + usual(REPLIES_BEFORE_FIRST_ANSWER) + byte(5) +
                            counted16(callData));
        }
    }
}

Seeds sessionSeeds() {
    Seeds seeds;
    for (unsigned options = 0; options < 32; options += 5) {
        seeds.push_back(byte(options));
    }
    for (std::size_t reply = 0; reply < 8; ++reply) {
        seeds.push_back(byte(0) + usual(reply) + byte(1) + shortWord(19) + counted16(byte(9)));
        seeds.push_back(byte(8) + usual(reply) + byte(2));
        seeds.push_back(byte(1) + usual(reply) + byte(3) + counted16(handshakeReply()));
        seeds.push_back(byte(2) + usual(reply) + byte(4) + counted16(word(0) + word(0) + word(1)));
    }
    for (const std::size_t length : {63U, 64U}) {
        seeds.push_back(byte(0) + usual(4) + byte(5) + counted16(gateway::encodeText(Bytes(length, '1'))));
    }
    addAnswers(seeds, fixtures::stats(), 0);
    addAnswers(seeds, fixtures::ids(), 1);
    return seeds;
}

// ---- Result sets

Seeds resultSetSeeds() {
    const Bytes stats = answered("G1", 0, {statItem("S1", "11"), statItem("S2", Bytes(40, '2'))}) +
                        rejected("NOPE", -1) + answered("S1", 3, {statItem("S1", "")});
    const Bytes ids = answered("G1", 0, {idItem("S1"), idItem("S2")}) + rejected("NOPE", -1) +
                      answered("EMPTY", 0, {}) + answered("G2", 0, {idItem("T1")});
    // Up to the limit of an id query, one too long by a character, and a last one that fits.
    const Bytes longIds = answered(
        "", 0, {idItem(Bytes(31990, 'A')), idItem("B"), idItem(Bytes(7, 'C')), idItem(Bytes(6, 'D'))});
    return {
        byte(5) + integer(3) + stats,
        byte(29) + integer(3) + stats,
        byte(1) + integer(3) + stats,
        byte(6) + integer(4) + ids,
        byte(30) + integer(4) + ids,
        byte(2) + integer(4) + ids,
        byte(6) + integer(1) + longIds,
        byte(6),
        byte(6) + integer(0),
        byte(5) + integer(1) + counted("") + integer(0) + integer(-1),
        byte(0) + "ZOLDUMMY" + integer(0),
        byte(0),
    };
}

// ---- Requests: a session's, handing back what it was told, whole and in pieces

// The header flag asks for what must be handed back.
Bytes handingBack(Bytes request, std::size_t nameLength) {
    request[24 + nameLength] = 1;
    return request;
}

Bytes invocation(std::string_view action, std::string_view argument) {
    const Bytes call = item("US") + item("en") + item("") +
                       item("DefaultDomain:ProdId=com.velmor.zol,Activity=Control,type=Stats") +
                       item(action) + word(1) + hex("ACED0005 74") + item(argument) + word(1) +
                       item("java.lang.String");
    return message({.name = "Admin", .flag = 1},
                   word(5) + word(0) + word(static_cast<std::uint32_t>(call.size())) + call);
}

Seeds requestSeeds() {
    const Bytes open =
        HANDSHAKE_REQUEST + AUTH_INIT_REQUEST + handingBack(AUTH_ANSWER_REQUEST, 4) + ADMIN_INIT_REQUEST;
    const Bytes protocol = handingBack(PROTOCOL_REQUEST, 5);
    return {
        byte(0) + open + protocol + CLOSE_REQUEST,
        byte(7) + open + protocol + invocation("GET_STATS", "") + CLOSE_REQUEST,
        byte(0) + open + invocation("GET_STATS", "G1:NOPE:T1"),
        byte(0) + open + invocation("STAT_IDS", "") + invocation("STAT_IDS", "G1::EMPTY"),
        byte(1) + open + invocation("RESOURCE_GROUPS", "") + invocation("RESOURCE_GROUPS", "G2"),
        byte(0) + open + invocation("NO_ACTION", "") + PROTOCOL_REQUEST,
        byte(0) + PROTOCOL_REQUEST + CLOSE_REQUEST,
        byte(0) + AUTH_INIT_REQUEST + AUTH_ANSWER_REQUEST,
        byte(3) + message({.name = "Other", .type = 9}, "body") + "Gat",
    };
}

// ---- Files

void write(const std::filesystem::path& folder, const Seeds& seeds) {
    std::filesystem::create_directories(folder);
    for (std::size_t index = 0; index < seeds.size(); ++index) {
        std::ofstream file(folder / ("seed_" + std::to_string(index)), std::ios::binary);
        file.exceptions(std::ios::badbit | std::ios::failbit);
        file << seeds[index];
    }
}

void writeAll(const std::filesystem::path& folder) {
    write(folder / "parse", parseSeeds());
    write(folder / "exchange", exchangeSeeds());
    write(folder / "session", sessionSeeds());
    write(folder / "result_set", resultSetSeeds());
    write(folder / "gateway_request", requestSeeds());
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: fuzz_seeds FOLDER\n";
        return 2;
    }
    try {
        writeAll(argv[1]);
        return 0;
    } catch (const std::exception& problem) {
        std::cerr << problem.what() << '\n';
        return 1;
    }
}
