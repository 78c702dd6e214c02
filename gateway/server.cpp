// The server's threads and connections.
// Not what is answered: see answers.cpp.
// The protocol is written down in docs/protocol.md.
#include "server.h"

#include <sys/socket.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <list>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "listener.h"

namespace gateway {
namespace {

constexpr auto WAIT_LIMIT = std::chrono::seconds(10);
// Without free descriptors or threads, accepting is tried again when a connection has ended, or after this
// time, as other processes use them too.
constexpr auto ACCEPT_RETRY = std::chrono::milliseconds(100);
constexpr std::size_t CHUNK_BYTES = 16 * 1024;

// One client. Its thread reads and writes; others only end it, with the server's mutex held.
struct Connection {
    explicit Connection(Descriptor accepted) : socket(std::move(accepted)), peer(peerName(socket)) {}

    Descriptor socket;
    std::string peer;
    std::thread thread;
    std::atomic<bool> dropped{false};
    std::atomic<bool> sending{false};
};

// A connection closed like this sends a reset in place of the end of its stream.
void closeWithReset(const Descriptor& socket) {
    const linger atOnce{1, 0};
    ::setsockopt(socket.number(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
}

ssize_t receive(const Descriptor& socket, std::string& chunk) {
    for (;;) {
        const ssize_t count = ::recv(socket.number(), chunk.data(), chunk.size(), 0);
        if (count >= 0 || errno != EINTR) {
            return count;
        }
    }
}

bool sendAll(const Descriptor& socket, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::send(socket.number(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count < 0 && errno != EINTR) {
            return false;
        }
        bytes.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : 0);
    }
    return true;
}

std::function<Snapshot()> sourceFor(const Options& options, const Activity& activity) {
    const auto basis = options.statistics ? options.statistics : [&activity] {
        Snapshot snapshot = readMachine();
        snapshot.push_back(ownFigures(activity));
        return snapshot;
    };
    return [basis, big = options.big, empty = options.emptyGroup] {
        Snapshot snapshot = basis();
        if (big > 0) {
            snapshot.push_back(bigGroup(big));
        }
        if (empty) {
            snapshot.push_back(emptyGroup());
        }
        return snapshot;
    };
}

}  // namespace

class Server::Implementation {
  public:
    explicit Implementation(Options options)
        : options_(std::move(options)), listener_(options_.host, options_.port) {
        knowledge_.statistics = sourceFor(options_, knowledge_.activity);
        knowledge_.protocolVersion = options_.protocolVersion;
        acceptor_ = std::thread([this] { acceptAll(); });
    }
    ~Implementation();

    [[nodiscard]] std::uint16_t port() const { return listener_.port(); }
    [[nodiscard]] std::vector<Request> requests() const;
    [[nodiscard]] std::size_t openConnections() const;
    void waitForRequests(std::size_t count) const;
    void waitForConnections(std::size_t count) const;
    void dropConnections();

  private:
    using Lock = std::unique_lock<std::mutex>;
    using Connections = std::list<Connection>;

    template <class Condition>
    void waitUntil(Condition condition, const std::string& what) const;

    void acceptAll();
    bool isStopping() const;
    void waitForResources();
    void start(Descriptor accepted);
    void joinFinished();

    void run(Connections::iterator connection);
    Ending serve(Connection& connection);
    Ending talk(Connection& connection);
    Ending answer(Connection& connection, Conversation& conversation, const Request& request);
    Reply decideReply(Conversation& conversation, const Request& request) const;
    void finish(Connections::iterator connection, Ending ending);

    void record(const Request& request);
    void waitBeforeReply(const Connection& connection);
    bool send(Connection& connection, const std::string& bytes);
    void log(const Connection& connection, const std::string& line);

    const Options options_;
    Knowledge knowledge_;
    Listener listener_;

    mutable std::mutex mutex_;  // guards what follows, and the life of the connections' sockets
    mutable std::condition_variable changed_;
    bool stopping_ = false;
    std::vector<Request> requests_;
    std::size_t requestCount_ = 0;
    Connections connections_;
    std::vector<std::thread> finished_;  // threads that have nothing left to do but to be joined

    std::mutex logMutex_;
    std::thread acceptor_;
};

Server::Implementation::~Implementation() {
    {
        const Lock lock(mutex_);
        stopping_ = true;
        listener_.end();
    }
    changed_.notify_all();
    acceptor_.join();
    Lock lock(mutex_);
    for (const Connection& connection : connections_) {
        ::shutdown(connection.socket.number(), SHUT_RDWR);
    }
    changed_.wait(lock, [this] { return connections_.empty(); });
    lock.unlock();
    joinFinished();
}

std::vector<Request> Server::Implementation::requests() const {
    const Lock lock(mutex_);
    return requests_;
}

std::size_t Server::Implementation::openConnections() const {
    const Lock lock(mutex_);
    return connections_.size();
}

template <class Condition>
void Server::Implementation::waitUntil(Condition condition, const std::string& what) const {
    Lock lock(mutex_);
    if (!changed_.wait_for(lock, WAIT_LIMIT, condition)) {
        throw std::runtime_error("waited in vain for " + what);
    }
}

void Server::Implementation::waitForRequests(std::size_t count) const {
    waitUntil([&] { return requestCount_ >= count; }, std::to_string(count) + " requests");
}

void Server::Implementation::waitForConnections(std::size_t count) const {
    waitUntil([&] { return connections_.size() == count; }, std::to_string(count) + " connections");
}

// A thread that waits for its client is woken by the end of its reading side, which sends nothing: the reset
// is the first that the client gets. A thread that sends is woken by the end of both sides. `dropped` is set
// before `sending` is read here, and the other way round in send(), so that at least one of the two notices
// the other.
void Server::Implementation::dropConnections() {
    const Lock lock(mutex_);
    for (Connection& connection : connections_) {
        connection.dropped = true;
        ::shutdown(connection.socket.number(), connection.sending ? SHUT_RDWR : SHUT_RD);
    }
    changed_.notify_all();
}

// ---- Accepting

void Server::Implementation::acceptAll() {
    while (!isStopping()) {
        joinFinished();
        try {
            start(listener_.accept());
        } catch (const std::system_error&) {
            waitForResources();
        }
    }
}

bool Server::Implementation::isStopping() const {
    const Lock lock(mutex_);
    return stopping_;
}

void Server::Implementation::waitForResources() {
    Lock lock(mutex_);
    changed_.wait_for(lock, ACCEPT_RETRY, [this] { return stopping_ || !finished_.empty(); });
}

void Server::Implementation::start(Descriptor accepted) {
    const Lock lock(mutex_);
    const auto connection = connections_.emplace(connections_.end(), std::move(accepted));
    try {
        connection->thread = std::thread([this, connection] { run(connection); });
    } catch (...) {
        connections_.erase(connection);
        throw;
    }
    ++knowledge_.activity.connectionsTotal;
    ++knowledge_.activity.connectionsOpen;
    changed_.notify_all();
}

void Server::Implementation::joinFinished() {
    std::vector<std::thread> finished;
    {
        const Lock lock(mutex_);
        finished.swap(finished_);
    }
    for (std::thread& thread : finished) {
        thread.join();
    }
}

// ---- One connection

void Server::Implementation::run(Connections::iterator connection) {
    finish(connection, serve(*connection));
}

// Whatever goes wrong with a connection costs that connection alone.
Ending Server::Implementation::serve(Connection& connection) {
    try {
        return talk(connection);
    } catch (const std::exception& problem) {
        log(connection, std::string("connection ended: ") + problem.what());
        return Ending::Close;
    }
}

Ending Server::Implementation::talk(Connection& connection) {
    RequestReader reader;
    Conversation conversation(knowledge_);
    std::string chunk(CHUNK_BYTES, '\0');
    for (;;) {
        const ssize_t count = receive(connection.socket, chunk);
        if (count <= 0) {
            return Ending::Close;
        }
        knowledge_.activity.bytesReceived += static_cast<std::uint64_t>(count);
        reader.append(std::string_view(chunk).substr(0, static_cast<std::size_t>(count)));
        while (const auto request = reader.next()) {
            const Ending ending = answer(connection, conversation, *request);
            if (ending != Ending::KeepOpen) {
                return ending;
            }
        }
    }
}

Ending Server::Implementation::answer(Connection& connection, Conversation& conversation,
                                      const Request& request) {
    record(request);
    const Reply reply = decideReply(conversation, request);
    log(connection, describe(request) + ": " + std::to_string(reply.bytes.size()) + " bytes in reply");
    waitBeforeReply(connection);
    return send(connection, reply.bytes) ? reply.ending : Ending::Close;
}

Reply Server::Implementation::decideReply(Conversation& conversation, const Request& request) const {
    Reply usual = conversation.answer(request);
    return options_.script ? options_.script(request, std::move(usual)) : usual;
}

void Server::Implementation::finish(Connections::iterator connection, Ending ending) {
    const Lock lock(mutex_);
    if (ending == Ending::Reset || connection->dropped) {
        closeWithReset(connection->socket);
    }
    finished_.push_back(std::move(connection->thread));
    connections_.erase(connection);
    --knowledge_.activity.connectionsOpen;
    changed_.notify_all();
}

void Server::Implementation::record(const Request& request) {
    const Lock lock(mutex_);
    ++requestCount_;
    if (options_.keepRequests) {
        requests_.push_back(request);
    }
    changed_.notify_all();
}

void Server::Implementation::waitBeforeReply(const Connection& connection) {
    if (options_.delayMs > 0) {
        Lock lock(mutex_);
        changed_.wait_for(lock, std::chrono::milliseconds(options_.delayMs),
                          [&] { return stopping_ || connection.dropped; });
    }
}

bool Server::Implementation::send(Connection& connection, const std::string& bytes) {
    connection.sending = true;
    const bool sent = !connection.dropped && sendAll(connection.socket, bytes);
    connection.sending = false;
    knowledge_.activity.bytesSent += sent ? bytes.size() : 0;
    return sent;
}

void Server::Implementation::log(const Connection& connection, const std::string& line) {
    if (options_.log) {
        const std::lock_guard lock(logMutex_);
        options_.log(connection.peer + ": " + line);
    }
}

// ---- The face

Server::Server(Options options) : implementation_(std::make_unique<Implementation>(std::move(options))) {}
Server::~Server() = default;

std::uint16_t Server::port() const {
    return implementation_->port();
}
std::vector<Request> Server::requests() const {
    return implementation_->requests();
}
void Server::waitForRequests(std::size_t count) const {
    implementation_->waitForRequests(count);
}
std::size_t Server::openConnections() const {
    return implementation_->openConnections();
}
void Server::waitForConnections(std::size_t count) const {
    implementation_->waitForConnections(count);
}
void Server::dropConnections() {
    implementation_->dropConnections();
}

}  // namespace gateway
