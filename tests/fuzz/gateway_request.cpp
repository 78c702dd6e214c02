// Fuzz target: the stand-in Gateway's reader of requests, and its answers, on whatever a client sends.
// Not its sockets and threads: server.cpp only carries bytes to and fro.
// The protocol is written down in docs/protocol.md.
//
// Input: one byte with the size of the pieces in which the stream arrives (0: in one piece), then the stream.
// A client cannot know the words and the id that it must hand back: a request whose header flag is not 0 gets
// the last ones put in its place.
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "answers.h"
#include "input.h"

namespace {

using fuzz::require;
using gateway::Request;

constexpr std::size_t FIXED_LENGTH = 29;  // a header without its name

gateway::Snapshot knownStatistics() {
    return {{"G1", {{"S1", "11"}, {"S2", std::string(1500, '2')}}}, {"G2", {{"T1", ""}}}, {"EMPTY", {}}};
}

std::uint32_t wordAt(std::string_view bytes, std::size_t offset) {
    std::uint32_t value = 0;
    for (const char byte : bytes.substr(offset, 4)) {
        value = value << 8 | static_cast<std::uint8_t>(byte);
    }
    return value;
}

// ---- Reading

struct Reading {
    std::vector<Request> requests{};
    bool badFraming = false;
};

// Is the stream good so far?
bool readOn(gateway::RequestReader& reader, std::string_view piece, Reading& reading) {
    reader.append(piece);
    try {
        while (auto request = reader.next()) {
            reading.requests.push_back(std::move(*request));
        }
    } catch (const gateway::BadFraming&) {
        reading.badFraming = true;
    }
    return !reading.badFraming;
}

Reading read(std::string_view stream, std::size_t pieceSize) {
    gateway::RequestReader reader;
    Reading reading;
    while (!stream.empty() && readOn(reader, stream.substr(0, pieceSize), reading)) {
        stream.remove_prefix(std::min(pieceSize, stream.size()));
    }
    return reading;
}

// What must be read, from a reading of the stream that is written apart from the Gateway's: the lengths of the
// requests.
struct Expected {
    std::vector<std::size_t> lengths{};
    bool badFraming = false;
};

constexpr std::size_t INCOMPLETE = 0;

// The length of the request that the stream begins with, or INCOMPLETE.
std::size_t requestLength(std::string_view stream, bool& badFraming) {
    constexpr std::string_view EYECATCHER = "Gate";
    badFraming = !EYECATCHER.starts_with(stream.substr(0, EYECATCHER.size()));
    if (badFraming || stream.size() < 24) {
        return INCOMPLETE;
    }
    const std::size_t headerLength = FIXED_LENGTH + wordAt(stream, 20);
    badFraming = headerLength > FIXED_LENGTH + gateway::MAX_NAME_LENGTH;
    if (badFraming || stream.size() < headerLength) {
        return INCOMPLETE;
    }
    const std::size_t bodyLength = wordAt(stream, headerLength - 4);
    badFraming = bodyLength > gateway::MAX_BODY_LENGTH;
    return badFraming || stream.size() - headerLength < bodyLength ? INCOMPLETE : headerLength + bodyLength;
}

Expected expect(std::string_view stream) {
    Expected expected;
    while (const std::size_t length = requestLength(stream, expected.badFraming)) {
        expected.lengths.push_back(length);
        stream.remove_prefix(length);
    }
    return expected;
}

void checkReading(const Reading& reading, std::string_view stream) {
    const Expected expected = expect(stream);
    require(reading.badFraming == expected.badFraming, "bad framing is noticed, and nothing else is");
    require(reading.requests.size() == expected.lengths.size(), "every whole request is read");
    for (std::size_t index = 0; index < expected.lengths.size(); ++index) {
        require(reading.requests[index].bytes == stream.substr(0, expected.lengths[index]),
                "requests are what came, one after another");
        stream.remove_prefix(expected.lengths[index]);
    }
}

void checkPieces(const Reading& reading, const Reading& whole) {
    require(reading.badFraming == whole.badFraming, "pieces make no difference");
    require(reading.requests.size() == whole.requests.size(), "pieces make no difference");
    for (std::size_t index = 0; index < whole.requests.size(); ++index) {
        require(reading.requests[index].bytes == whole.requests[index].bytes, "pieces make no difference");
    }
}

// ---- Answering

// A client that hands back what it was told.
class Client {
  public:
    void handBack(Request& request) const {
        if (request.flag != 0) {
            replaceAt(request.body, 4, request.name == "Auth" ? words_ : adminId_);
        }
    }
    void learnFrom(const Request& request, const std::string& reply) {
        const std::string body = reply.substr(FIXED_LENGTH + request.name.size());
        if (request.name == "Auth" && body.size() >= 20) {
            words_ = body.substr(8, 12);
        } else if (request.name == "Admin" && body.size() == 12) {
            adminId_ = body.substr(8, 4);
        }
    }

  private:
    static void replaceAt(std::string& body, std::size_t offset, const std::string& with) {
        if (body.size() >= offset + with.size()) {
            body.replace(offset, with.size(), with);
        }
    }

    std::string words_;
    std::string adminId_;
};

void checkReply(const Request& request, const std::string& reply) {
    const std::size_t nameLength = request.name.size();
    require(reply.size() >= FIXED_LENGTH + nameLength && reply.starts_with("Gate"), "a reply has a header");
    require(wordAt(reply, 20) == nameLength && reply.substr(24, nameLength) == request.name,
            "a reply has the name of its request");
    require(reply.size() == FIXED_LENGTH + nameLength + wordAt(reply, 25 + nameLength),
            "a reply has the length that it tells");
}

void checkDescription(const Request& request) {
    for (const char character : gateway::describe(request)) {
        require(character >= ' ' && character <= '~', "a line of the log is printable");
    }
}

void answerAll(std::vector<Request>& requests) {
    gateway::Knowledge knowledge{knownStatistics, "1_1", {}};
    gateway::Conversation conversation(knowledge);
    Client client;
    for (Request& request : requests) {
        client.handBack(request);
        checkDescription(request);
        const gateway::Reply reply = conversation.answer(request);
        checkReply(request, reply.bytes);
        client.learnFrom(request, reply.bytes);
        if (reply.ending != gateway::Ending::KeepOpen) {
            return;
        }
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::size_t pieceSize = input.byte();
    const std::string_view stream = input.rest();

    Reading whole = read(stream, stream.size());
    checkReading(whole, stream);
    if (pieceSize > 0) {
        checkPieces(read(stream, pieceSize), whole);
    }
    answerAll(whole.requests);
    return 0;
}
