#include "canned_gateway.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "items.h"

namespace bench {
namespace {

constexpr int CONNECTIONS = 16;
constexpr std::size_t LONGEST_REQUEST = 4096;

// Any will do, as long as they are always the same.
constexpr std::uint32_t ADMIN_ID = 0x1234;
constexpr std::array<std::uint32_t, 3> AUTH_WORDS{0x11111111, 0x22222222, 0x33333333};

gateway::CallType callType(const gateway::Request& request) {
    return static_cast<gateway::CallType>(gateway::decodeCallType(request.body));
}

ssize_t receive(const gateway::Descriptor& connection, char* bytes, std::size_t size) {
    ssize_t count = 0;
    do {
        count = ::recv(connection.number(), bytes, size, 0);
    } while (count < 0 && errno == EINTR);
    return count;
}

bool sendAll(const gateway::Descriptor& connection, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::send(connection.number(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count < 0 && errno != EINTR) {
            return false;
        }
        bytes.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : 0);
    }
    return true;
}

}  // namespace

// ---- Replies

const CannedReplies::Reply* CannedReplies::find(std::string_view received) {
    const std::lock_guard lock(mutex_);
    if (const auto known = replies_.find(received); known != replies_.end()) {
        return &known->second;
    }
    gateway::RequestReader reader;
    reader.append(received);
    const auto request = reader.next();
    return request ? &replies_.emplace(received, make(*request)).first->second : nullptr;
}

CannedReplies::Reply CannedReplies::make(const gateway::Request& request) const {
    constexpr std::uint32_t CLOSE = 10;
    if (request.name == "Admin") {
        return {gateway::encodeReply(request, 0, call(request))};
    }
    if (request.name == "Auth") {
        const std::uint32_t step = gateway::decodeAuth(request.body).step;
        return {gateway::encodeReply(request, 0, gateway::authReplyBody(step, 0, AUTH_WORDS))};
    }
    return {gateway::encodeReply(request, 0, ""), request.type == CLOSE};
}

std::string CannedReplies::call(const gateway::Request& request) const {
    switch (callType(request)) {
        case gateway::CallType::Initialise:
            return gateway::initialiseReplyBody(0, ADMIN_ID);
        case gateway::CallType::GetAttribute:
            return gateway::adminReplyBody(1, 0, 0, gateway::encodeText("1_1"));
        case gateway::CallType::Invoke:
            return gateway::adminReplyBody(5, 0, 0, statistics(gateway::decodeAdmin(request.body).argument));
    }
    throw std::runtime_error("no such call");
}

std::string CannedReplies::statistics(const std::string& group) const {
    gateway::StatsResponse response{group};
    for (Item& item : makeItems(countOf(group))) {
        response.statistics.push_back({std::move(item.id), std::move(item.value)});
    }
    if (isWrong_ && !response.statistics.empty()) {
        response.statistics.back().data.back() ^= 1;
    }
    return gateway::encodeStats({response});
}

// ---- Connections

CannedGateway::CannedGateway(bool isWrong) : replies_(isWrong), listener_("127.0.0.1", 0) {
    for (int thread = 0; thread < CONNECTIONS; ++thread) {
        threads_.emplace_back([this](const std::stop_token& stop) { serveAll(stop); });
    }
}

CannedGateway::~CannedGateway() {
    for (std::jthread& thread : threads_) {
        thread.request_stop();
    }
    listener_.end();
}

void CannedGateway::serveAll(const std::stop_token& stop) {
    while (!stop.stop_requested()) {
        try {
            serve(listener_.accept());
        } catch (const std::system_error&) {
            return;  // it has been told to end
        } catch (const std::exception&) {
            continue;  // a request that is none: the connection has been closed
        }
    }
}

void CannedGateway::serve(const gateway::Descriptor& connection) {
    std::array<char, LONGEST_REQUEST> buffer{};
    std::size_t size = 0;
    while (size < buffer.size()) {
        const ssize_t count = receive(connection, buffer.data() + size, buffer.size() - size);
        if (count <= 0) {
            return;
        }
        size += static_cast<std::size_t>(count);
        if (const CannedReplies::Reply* reply = replies_.find({buffer.data(), size})) {
            if (!sendAll(connection, reply->bytes) || reply->isLast) {
                return;
            }
            size = 0;
        }
    }
}

}  // namespace bench
