// The server, as libmicrohttpd's callbacks: a thread for each connection, so that a handler may simply wait.
// Not the place where it is decided what is answered, nor who is slow (slow_requests.h).
// Nothing here comes from the protocol of the Gateways.
#include "server.h"

#include <gnutls/abstract.h>
#include <microhttpd.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>

#include "answers.h"
#include "listening.h"
#include "slow_requests.h"
#include "web_configuration.h"

namespace tools::exporter::http {
namespace {

constexpr std::size_t STACK_SIZE = 512 * 1024;
constexpr std::chrono::milliseconds FAREWELL{1000};

// One request and its answer, from the request line on.
struct Exchange {
    std::string target;
    bool isBegun = false;
};

using Web = std::shared_ptr<const WebConfiguration>;

// What a connection began with, and uses to its end.
struct Session {
    Web web;
};

MHD_Result addField(void* fields, MHD_ValueKind, const char* name, std::size_t nameSize, const char* value,
                    std::size_t valueSize) {
    static_cast<Fields*>(fields)->all.emplace_back(
        std::string(name, nameSize), value == nullptr ? std::string() : std::string(value, valueSize));
    return MHD_YES;
}

RawRequest requestOf(MHD_Connection* connection, const char* method, const char* version,
                     const Exchange& exchange) {
    RawRequest raw{method, exchange.target, version};
    MHD_get_connection_values_n(connection, MHD_HEADER_KIND, addField, &raw.headers);
    raw.headerSize =
        MHD_get_connection_info(connection, MHD_CONNECTION_INFO_REQUEST_HEADER_SIZE)->header_size;
    return raw;
}

int socketOf(MHD_Connection* connection) {
    return MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
}

// Called only if there was no other certificate, which there always is: each session gets its own.
int noCertificate(gnutls_session_t, const gnutls_datum_t*, int, const gnutls_pk_algorithm_t*, int,
                  gnutls_pcert_st**, unsigned*, gnutls_privkey_t*) {
    return -1;
}

// False if the connection cannot have what it needs.
bool equip(MHD_Connection* connection, const Tls* tls) {
    if (tls == nullptr) {
        return true;
    }
    const auto* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_GNUTLS_SESSION);
    return info != nullptr && tls->equip(static_cast<gnutls_session_t>(info->tls_session));
}

// libmicrohttpd would take them apart too, into memory that does not suffice for many, and close the connection without a
// word. It goes on with the text in its own buffer, where what follows the question mark then has ended.
void hideArguments(const char* target) {
    if (const char* query = std::strchr(target, '?')) {
        const_cast<char*>(query)[1] = '\0';
    }
}

struct DestroyResponse {
    void operator()(MHD_Response* response) const { MHD_destroy_response(response); }
};
using ResponseOwner = std::unique_ptr<MHD_Response, DestroyResponse>;

void freeBody(void* body) {
    std::unique_ptr<std::string> owner(static_cast<std::string*>(body));
}

// The body is not copied: libmicrohttpd lets go of it when it is sent.
ResponseOwner bodyOf(Response& response) {
    auto body = std::make_unique<std::string>(std::move(response.body));
    ResponseOwner owner(MHD_create_response_from_buffer_with_free_callback_cls(body->size(), body->data(),
                                                                               freeBody, body.get()));
    if (owner != nullptr) {
        static_cast<void>(body.release());
    }
    return owner;
}

// Null if there is no memory for it.
ResponseOwner responseOf(Response& response) {
    auto owner = bodyOf(response);
    if (owner != nullptr) {
        MHD_add_response_header(owner.get(), "Content-Type", response.contentType.c_str());
        for (const auto& [name, value] : response.headers) {
            MHD_add_response_header(owner.get(), name.c_str(), value.c_str());
        }
    }
    return owner;
}

struct StopDaemon {
    void operator()(MHD_Daemon* daemon) const { MHD_stop_daemon(daemon); }
};
using Daemon = std::unique_ptr<MHD_Daemon, StopDaemon>;

// A third: each request may take a second one for the Gateway that it asks, and others are kept for Gateways between
// requests.
std::size_t withinDescriptors(std::size_t connections) {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    return std::clamp<std::size_t>(connections, 1, std::max<std::size_t>(limit.rlim_cur / 3, 1));
}

}  // namespace

class Server::Implementation {
  public:
    Implementation(const Endpoint& listen, Handler handler, Limits limits, Web web);
    ~Implementation();
    Implementation(const Implementation&) = delete;
    Implementation& operator=(const Implementation&) = delete;

    int port() const { return listening_.port(); }
    void replace(Web web);

  private:
    static void* onRequestLine(void* self, const char* target, MHD_Connection* connection);
    static MHD_Result onRequest(void* self, MHD_Connection* connection, const char* target,
                                const char* method, const char* version, const char* body,
                                std::size_t* bodySize, void** exchange);
    static void onEnd(void* self, MHD_Connection* connection, void** exchange,
                      MHD_RequestTerminationCode how);
    static void onConnection(void* self, MHD_Connection* connection, void** session,
                             MHD_ConnectionNotificationCode what);

    Daemon start();
    void letIn();
    Web web() const;
    bool begin(MHD_Connection* connection, void** session);
    MHD_Result read(MHD_Connection* connection, const RawRequest& raw);
    MHD_Result answer(MHD_Connection* connection, const RawRequest& raw);
    MHD_Result send(MHD_Connection* connection, Response response);

    const Handler handler_;
    const Limits limits_;
    const std::size_t connections_;
    mutable std::mutex webMutex_{};
    Web web_;
    SlowRequests slow_;
    Listening listening_;
    const Daemon daemon_;
    std::thread door_;
};

Server::Implementation::Implementation(const Endpoint& listen, Handler handler, Limits limits, Web web)
    : handler_(std::move(handler)),
      limits_(limits),
      connections_(withinDescriptors(limits.connections)),
      web_(web != nullptr ? std::move(web) : std::make_shared<const WebConfiguration>()),
      slow_({limits.request, limits.silence, connections_, FAREWELL}),
      listening_(listen),
      daemon_(start()),
      door_([this] { letIn(); }) {}

// Nobody new comes while the others get their answers. The daemon has none left when it ends: it does not look after
// those whom it has only just been given.
Server::Implementation::~Implementation() {
    listening_.end();
    slow_.sayFarewell();
    door_.join();
    slow_.waitForLast();
}

Daemon Server::Implementation::start() {
    const unsigned tls = web_->tls() == nullptr ? 0 : MHD_USE_TLS;
    Daemon daemon(MHD_start_daemon(
        MHD_USE_POLL_INTERNAL_THREAD | MHD_USE_THREAD_PER_CONNECTION | MHD_USE_ITC |
            MHD_USE_NO_LISTEN_SOCKET | tls,
        0, nullptr, nullptr, onRequest, this,
        // We do not bring more than may be; it would turn them away rather than let them wait.
        MHD_OPTION_CONNECTION_LIMIT, static_cast<unsigned>(connections_ + 8),
        // It reads a request into half of this, and needs the other half for the answer's headers.
        MHD_OPTION_CONNECTION_MEMORY_LIMIT, 2 * limits_.header + 4096, MHD_OPTION_THREAD_STACK_SIZE,
        STACK_SIZE, MHD_OPTION_STRICT_FOR_CLIENT, 0, MHD_OPTION_URI_LOG_CALLBACK, onRequestLine, this,
        MHD_OPTION_NOTIFY_COMPLETED, onEnd, this, MHD_OPTION_NOTIFY_CONNECTION, onConnection, this,
        tls != 0 ? MHD_OPTION_HTTPS_CERT_CALLBACK : MHD_OPTION_END, noCertificate, MHD_OPTION_END));
    if (daemon == nullptr) {
        throw std::runtime_error("Cannot start the HTTP server.");
    }
    return daemon;
}

// One by one, each when there is room for it; the others wait in the socket's queue.
void Server::Implementation::letIn() {
    while (const auto guest = listening_.accept()) {
        slow_.makeRoom();
        slow_.enter(guest->socket, Stage::Request);
        const auto* address = reinterpret_cast<const sockaddr*>(&guest->address);
        if (MHD_add_connection(daemon_.get(), guest->socket, address, guest->addressSize) != MHD_YES) {
            slow_.left(guest->socket);
        }
    }
}

// The target as it was sent: what libmicrohttpd makes of it afterwards has lost its escapes.
void* Server::Implementation::onRequestLine(void* self, const char* target, MHD_Connection* connection) {
    try {
        static_cast<Implementation*>(self)->slow_.enter(socketOf(connection), Stage::Request);
        auto exchange = std::make_unique<Exchange>(Exchange{target});
        hideArguments(target);
        return exchange.release();
    } catch (const std::exception&) {
        return nullptr;
    }
}

// Called when the headers are there, for each piece of a body, and when the request is whole.
MHD_Result Server::Implementation::onRequest(void* self, MHD_Connection* connection, const char*,
                                             const char* method, const char* version, const char*,
                                             std::size_t* bodySize, void** exchange) {
    auto* const mine = static_cast<Exchange*>(*exchange);
    if (mine == nullptr) {
        return MHD_NO;
    }
    if (*bodySize > 0) {
        *bodySize = 0;
        return MHD_YES;
    }
    try {
        auto* const server = static_cast<Implementation*>(self);
        const auto raw = requestOf(connection, method, version, *mine);
        return std::exchange(mine->isBegun, true) ? server->answer(connection, raw)
                                                  : server->read(connection, raw);
    } catch (const std::exception&) {
        return MHD_NO;
    }
}

void Server::Implementation::onEnd(void* self, MHD_Connection* connection, void** exchange,
                                   MHD_RequestTerminationCode) {
    const std::unique_ptr<Exchange> owner(static_cast<Exchange*>(*exchange));
    *exchange = nullptr;
    static_cast<Implementation*>(self)->slow_.enter(socketOf(connection), Stage::Idle);
}

void Server::Implementation::onConnection(void* self, MHD_Connection* connection, void** session,
                                          MHD_ConnectionNotificationCode what) {
    auto* const server = static_cast<Implementation*>(self);
    const int socket = socketOf(connection);
    if (what == MHD_CONNECTION_NOTIFY_CLOSED) {
        server->slow_.left(socket);
        const std::unique_ptr<Session> owner(static_cast<Session*>(*session));
        *session = nullptr;
    } else if (!server->begin(connection, session)) {
        shutdown(socket, SHUT_RDWR);
    }
}

bool Server::Implementation::begin(MHD_Connection* connection, void** session) {
    try {
        auto owner = std::make_unique<Session>(Session{web()});
        const auto* tls = owner->web->tls();
        *session = owner.release();
        return equip(connection, tls);
    } catch (const std::exception&) {
        return false;
    }
}

Web Server::Implementation::web() const {
    std::lock_guard lock(webMutex_);
    return web_;
}

void Server::Implementation::replace(Web web) {
    if (web == nullptr) {
        web = std::make_shared<const WebConfiguration>();
    }
    std::lock_guard lock(webMutex_);
    if ((web->tls() == nullptr) != (web_->tls() == nullptr)) {
        throw std::runtime_error("TLS can be switched on or off by a restart only.");
    }
    web_.swap(web);
}

// Is the rest of the request, a body if there is one, to come?
MHD_Result Server::Implementation::read(MHD_Connection* connection, const RawRequest& raw) {
    auto refused = refusal(raw, limits_);
    return refused ? send(connection, std::move(*refused)) : MHD_YES;
}

MHD_Result Server::Implementation::answer(MHD_Connection* connection, const RawRequest& raw) {
    slow_.enter(socketOf(connection), Stage::Answering);
    return send(connection, answerTo(raw, handler_, *web()));
}

MHD_Result Server::Implementation::send(MHD_Connection* connection, Response response) {
    addHeaders(response, web()->headers());
    slow_.enter(socketOf(connection), Stage::Sending);
    const auto owner = responseOf(response);
    return owner == nullptr
               ? MHD_NO
               : MHD_queue_response(connection, static_cast<unsigned>(response.status), owner.get());
}

Server::Server(const Endpoint& listen, Handler handler, Limits limits,
               std::shared_ptr<const WebConfiguration> web)
    : implementation_(std::make_unique<Implementation>(listen, std::move(handler), limits, std::move(web))) {}

Server::~Server() = default;

int Server::port() const {
    return implementation_->port();
}

void Server::replace(std::shared_ptr<const WebConfiguration> web) {
    implementation_->replace(std::move(web));
}

}  // namespace tools::exporter::http
