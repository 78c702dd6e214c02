// The recording, and which exchange is which.
// The layout of the single replies is reply_bytes.cpp's business.
// The messages are written down in docs/protocol.md.
#include "recording.h"

#include <utility>

#include "server.h"

namespace faults {

Recording recordSession() {
    Recording recording;
    gateway::Options options = smallGateway();
    options.script = [&](const gateway::Request& request, gateway::Reply usual) {
        recording.conversation.push_back({gateway::describe(request), usual.bytes});
        return usual;
    };
    const gateway::Server server(std::move(options));
    recording.outcome = runSession(server.port());
    return recording;
}

ReplyBytes bytesOf(const Recording& recording, std::size_t exchange) {
    const std::string& reply = recording.conversation.at(exchange).reply;
    if (exchange == 0 || exchange == CLOSING_EXCHANGE) {
        return handshakeOrCloseBytes(reply);
    }
    if (exchange < CONNECTING_EXCHANGES) {
        return authorisationBytes(reply);
    }
    if ((exchange - CONNECTING_EXCHANGES) % 2 == 0) {
        return initialisationBytes(reply);
    }
    return exchange < OPENING_EXCHANGES
               ? versionBytes(reply, recording.outcome.version)
               : queryBytes(reply, recording.outcome.answers.at((exchange - OPENING_EXCHANGES) / 2).items);
}

}  // namespace faults
