/// @file
/// The C++ face of zolstats: connections that close themselves, answers as ranges, failures as exceptions.
/// Header-only, on top of zolstats.h, which tells what each call does; nothing here is part of the library's binary
/// interface. The protocol between the library and the Gateway is written down in docs/protocol.md.
///
///     auto gateway = zolstats::Connection::openRemote("gw.example.org", 27400);
///     for (const zolstats::Statistic& statistic : gateway.statistics()) {
///         std::cout << statistic.id << " = " << statistic.value << '\n';
///     }
///
/// Failures.  Whatever the library reports as a negative code is thrown as Error, whose code() belongs to category().
///            A result that is no longer there is caught and thrown as StaleResult instead of being read.
/// Threads.   As in zolstats.h: a connection and its views are used by the thread that opened it, close() is allowed to
///            any thread, a ResultSet may be handed to another thread.
/// Cost.      A walk makes the calls of the C interface, each behind one comparison; it allocates nothing.
/// Mixing.    token() leads back to the calls of zolstats.h. closeAllGatewayConnections() is not for a process that has
///            Connection objects: they would not learn of it, and an address that is free again is soon another
///            connection's.
#ifndef ZOLSTATS_ZOLSTATS_HPP
#define ZOLSTATS_ZOLSTATS_HPP

#include <unistd.h>
#include <zolstats/zolstats.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <ranges>
#include <ratio>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

// Also where a shared library hides its symbols by default there is one category in a process.
#pragma GCC visibility push(default)

/// The C++ face of the library; see zolstats.hpp.
namespace zolstats {

// ---- Failures

/// @cond internal
namespace detail {

class Category final : public std::error_category {
  public:
    const char* name() const noexcept override { return "zolstats"; }

    std::string message(int code) const override {
        switch (code) {
#define ZOLSTATS_EXPLAIN_CODE(name, number, text) \
    case number:                                  \
        return text;
            ZOLSTATS_RETURN_CODES(ZOLSTATS_EXPLAIN_CODE)
#undef ZOLSTATS_EXPLAIN_CODE
            default:
                return "the library failed in an unknown way";
        }
    }

    std::error_condition default_error_condition(int code) const noexcept override {
        switch (code) {
            case ZOLSTATS_NO_MEMORY:
                return std::errc::not_enough_memory;
            case ZOLSTATS_CONNECTION_REFUSED:
                return std::errc::connection_refused;
            case ZOLSTATS_CONNECT_TIMED_OUT:
                return std::errc::timed_out;
            case ZOLSTATS_NETWORK_UNREACHABLE:
                return std::errc::network_unreachable;
            default:
                return {code, *this};
        }
    }
};

}  // namespace detail
/// @endcond

/// The category of the library's return codes: its messages explain every one of them, and where the standard library
/// has a condition for one (std::errc::connection_refused, for example) the two compare equal. It is one object in the
/// whole process, also where a shared library hides its symbols.
/// @return an object that lives as long as the process
inline const std::error_category& category() noexcept {
    static const detail::Category instance;
    return instance;
}

/// A call of the library failed. code().value() is its return code (ZOLSTATS_...), what() names the call and explains
/// the code in words.
class Error : public std::system_error {
  public:
    /// @param code  a return code of the library, not ZOLSTATS_OK
    /// @param call  the name of the call that gave it
    Error(int code, const char* call) : std::system_error(code, category(), call) {}
};

/// A view was used after the next query on its connection, or after that was closed, dropped or moved. A mistake of the
/// program, not of the Gateway: keep a copy() where an answer has to outlive its connection's next query.
class StaleResult : public std::logic_error {
  public:
    StaleResult() : std::logic_error("zolstats: the result was overwritten or freed; keep a copy() of it") {}
};

/// @cond internal
namespace detail {

inline void check(int code, const char* call) {
    if (code != ZOLSTATS_OK) {
        throw Error(code, call);
    }
}

// A text with a NUL inside would reach the library cut short.
inline const char* terminated(const std::string& text) {
    if (text.find('\0') != std::string::npos) {
        throw std::invalid_argument("zolstats: a text holds a NUL character");
    }
    return text.c_str();
}

inline std::string_view textOf(const unsigned char* bytes, std::int32_t length) noexcept {
    return {reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length)};
}

}  // namespace detail
/// @endcond

// ---- The process: versions, trace, time limit

/// The version of the library's interface, "1_1_0_1".
/// @return a text that lives as long as the process
inline std::string_view apiVersion() {
    char* version = nullptr;
    detail::check(getStatsAPIVersion(&version), "getStatsAPIVersion");
    return version;
}

/// How much the library traces; each level includes those before it.
enum class TraceLevel {
    off = ZOLSTATS_TRACE_OFF,                ///< nothing, as at first
    exceptions = ZOLSTATS_TRACE_EXCEPTIONS,  ///< what went wrong
    events = ZOLSTATS_TRACE_EVENTS,          ///< and what was done
    calls = ZOLSTATS_TRACE_CALLS,            ///< and each call with its arguments and code
    data = ZOLSTATS_TRACE_DATA,              ///< and what travels
    all = ZOLSTATS_TRACE_ALL                 ///< the same as data
};

/// Choose how much is traced, for the whole process.
/// @param level  holds for all threads at once
inline void setTraceLevel(TraceLevel level) {
    detail::check(setAPITraceLevel(static_cast<int>(level)), "setAPITraceLevel");
}

/// The trace level now in force.
/// @return the level that was set last, here or by setAPITraceLevel()
inline TraceLevel traceLevel() {
    int level = 0;
    detail::check(getAPITraceLevel(&level), "getAPITraceLevel");
    return static_cast<TraceLevel>(level);
}

/// Append the trace to a file, for the whole process.
/// @param fileName  the file's name
/// @throws Error    ZOLSTATS_TRACE_FILE_FAILED; the trace then goes on where it went
inline void setTraceFile(const std::string& fileName) {
    detail::check(setAPITraceFile(detail::terminated(fileName)), "setAPITraceFile");
}

/// Let the trace go to standard error again, as at first.
inline void traceToStandardError() {
    detail::check(setAPITraceFile(nullptr), "setAPITraceFile");
}

/// Write the library's state to the trace, whatever the level.
inline void writeState() {
    detail::check(dumpState(), "dumpState");
}

/// Limit how long each call of this thread may take; see setAPITimeout() in zolstats.h.
/// @param limit   in any unit, rounded up to milliseconds; zero, as at first, is without limit; at most
///                ZOLSTATS_MAX_TIMEOUT milliseconds
/// @throws Error  ZOLSTATS_BAD_TIMEOUT for any other value; the limit then stays as it was
template <typename Count, typename Unit>
void setTimeout(std::chrono::duration<Count, Unit> limit) {
    // In floating point, since hours::max() has no count in milliseconds.
    const double count = std::chrono::duration<double, std::milli>(limit).count();
    const bool isInRange = count >= 0 && count <= ZOLSTATS_MAX_TIMEOUT;
    detail::check(setAPITimeout(isInRange ? static_cast<int>(std::ceil(count)) : -1), "setAPITimeout");
}

/// The limit for the calls of this thread.
/// @return zero if there is none
inline std::chrono::milliseconds timeout() {
    int milliseconds = 0;
    detail::check(getAPITimeout(&milliseconds), "getAPITimeout");
    return std::chrono::milliseconds(milliseconds);
}

// ---- Items of an answer

/// One statistic. The texts lie in the result that it was read from and live as long as that.
struct Statistic {
    std::string_view query;  ///< the part of the query that this answers: a group, an id, or empty
    int code = 0;            ///< the Gateway's code for that part: negative if it was rejected
    std::string_view id;     ///< empty if rejected
    std::string_view value;  ///< the text (any bytes) that the Gateway sent; empty if rejected

    /// Whether the Gateway said no to this part of the query.
    /// @return true if it did; there is then no id and no value
    bool rejected() const noexcept { return code < 0; }
};

/// One identifier, of a statistic or of a group; see Statistic.
struct Identifier {
    std::string_view query;  ///< the part of the query that this answers: a group, or empty
    int code = 0;            ///< the Gateway's code for that part: negative if it was rejected
    std::string_view id;     ///< empty if rejected

    /// Whether the Gateway said no to this part of the query.
    /// @return true if it did; there is then no id
    bool rejected() const noexcept { return code < 0; }
};

template <typename Item>
class ResultSet;

/// What the classes share; not for applications.
/// @cond internal
namespace detail {

// How the C interface reads one kind of item.
template <typename Item>
struct Reading;

template <>
struct Reading<Statistic> {
    using Record = StatData;
    static constexpr auto first = getFirstStat;
    static constexpr auto next = getNextStat;
    static constexpr const char* firstName = "getFirstStat";
    static constexpr const char* nextName = "getNextStat";

    static Statistic itemOf(const Record& record) noexcept {
        Statistic item{textOf(record.queryElementPtr, record.queryElementLen), record.queryElementRC, {}, {}};
        if (!item.rejected()) {  // otherwise the fields below are those of an earlier item
            item.id = textOf(record.statId, record.statIdLen);
            item.value = textOf(record.statData, record.statDataLen);
        }
        return item;
    }
};

template <>
struct Reading<Identifier> {
    using Record = IdData;
    static constexpr auto first = getFirstId;
    static constexpr auto next = getNextId;
    static constexpr const char* firstName = "getFirstId";
    static constexpr const char* nextName = "getNextId";

    static Identifier itemOf(const Record& record) noexcept {
        Identifier item{textOf(record.queryElementPtr, record.queryElementLen), record.queryElementRC, {}};
        if (!item.rejected()) {
            item.id = textOf(record.id, record.idLen);
        }
        return item;
    }
};

// Walks the items of a Place, which says by token() where they are, or throws because they are gone. The position
// belongs to the result: two iterators of one result share it.
template <typename Item, typename Place>
class Iterator {
  public:
    using iterator_concept = std::input_iterator_tag;
    using value_type = Item;
    using difference_type = std::ptrdiff_t;

    explicit Iterator(Place place) : place_(std::move(place)) {
        step(Reading<Item>::first, Reading<Item>::firstName);
    }

    // A reference, so that views may project onto a member of the item, which must not be a temporary then.
    const Item& operator*() const {
        place_.token();
        return item_;
    }
    const Item* operator->() const {
        place_.token();
        return &item_;
    }
    Iterator& operator++() {
        step(Reading<Item>::next, Reading<Item>::nextName);
        return *this;
    }
    void operator++(int) { ++*this; }

    friend bool operator==(const Iterator& iterator, std::default_sentinel_t) { return iterator.atEnd_; }

  private:
    using Record = typename Reading<Item>::Record;

    void step(int (*read)(ResultSetToken*, Record*), const char* name) {
        const int code = read(place_.token(), &record_);
        atEnd_ = code == ZOLSTATS_NO_MORE_ITEMS;
        if (!atEnd_) {
            check(code, name);
        }
        item_ = atEnd_ ? Item{} : Reading<Item>::itemOf(record_);
    }

    Place place_;
    Record record_{};
    Item item_;
    bool atEnd_ = false;
};

}  // namespace detail
/// @endcond

/// What a ResultView and a ResultSet can both do; Set says by place() where the items lie.
template <typename Item, typename Place, typename Set>
class Walkable {
  public:
    /// Read from the start; the position is shared by all walks of one result. What * gives lies in the iterator and
    /// changes with ++; a copy of it is good as long as the result.
    /// @return an input iterator over items, at the first one
    detail::Iterator<Item, Place> begin() const { return detail::Iterator<Item, Place>(set().place()); }
    /// The end of any walk.
    /// @return the standard library's mark for it
    std::default_sentinel_t end() const noexcept { return {}; }

    /// Copy the result into one that lives by itself, also in other threads.
    /// @return the copy, which is read from its start
    ResultSet<Item> copy() const {
        ResultSetToken* target = nullptr;
        const int code = copyResultSet(set().token(), &target);
        ResultSet<Item> copied(target);  // even a failed copy may have left something to free
        detail::check(code, "copyResultSet");
        return copied;
    }

    /// The ids of the result as a list for the queries by ids, separated by ':'. Ends any walk that is under way.
    /// @return the list, at most 31999 bytes: further ids are left out
    /// @throws Error  ZOLSTATS_NO_IDS if there is none
    std::string idQuery() const {
        char* ids = nullptr;
        detail::check(getIdQuery(set().token(), &ids), "getIdQuery");
        return ids;
    }

    /// Write the content to the trace, whatever the trace level.
    void dump() const { detail::check(dumpResultSet(set().token()), "dumpResultSet"); }

  private:
    const Set& set() const { return static_cast<const Set&>(*this); }
};

/// @cond internal
namespace detail {

// What a connection and its views share. The generation counts the answers; it moves on when one is overwritten or
// freed, maybe by another thread that closes the connection.
struct Session {
    std::atomic<void*> token{nullptr};
    std::atomic<std::uint64_t> generation{0};
    pid_t owner = getpid();
    std::string protocolVersion{};
};

// A result that lies in its connection, as long as that is in the generation of the result.
class InConnection {
  public:
    InConnection(std::shared_ptr<const Session> session, std::uint64_t generation, ResultSetToken* token)
        : session_(std::move(session)), generation_(generation), token_(token) {}

    ResultSetToken* token() const {
        if (session_ == nullptr || session_->generation.load(std::memory_order_relaxed) != generation_) {
            throw StaleResult();
        }
        return token_;
    }

  private:
    std::shared_ptr<const Session> session_;
    std::uint64_t generation_;
    ResultSetToken* token_;
};

// A result that is a copy; it lives as long as its ResultSet.
class InCopy {
  public:
    explicit InCopy(ResultSetToken* token) noexcept : token_(token) {}
    ResultSetToken* token() const noexcept { return token_; }

  private:
    ResultSetToken* token_;
};

}  // namespace detail
/// @endcond

// ---- Answers

/// The answer to a query, as a range of Statistic or Identifier, and a view in the sense of std::ranges. It lies in its
/// connection, until the next query on that: whatever is done with the view, or an iterator of it, afterwards throws
/// StaleResult.
template <typename Item>
class ResultView : public Walkable<Item, detail::InConnection, ResultView<Item>> {
  public:
    /// The library's handle of the result, for calls of zolstats.h.
    /// @return owned by the connection
    /// @throws StaleResult  if the result is gone
    ResultSetToken* token() const { return place_.token(); }

  private:
    friend class Connection;
    friend class Walkable<Item, detail::InConnection, ResultView<Item>>;
    explicit ResultView(detail::InConnection place) noexcept : place_(std::move(place)) {}
    const detail::InConnection& place() const noexcept { return place_; }

    detail::InConnection place_;
};

/// A copy of an answer, which lives by itself and is freed with this object. Any thread may walk it, one at a time.
template <typename Item>
class ResultSet : public Walkable<Item, detail::InCopy, ResultSet<Item>> {
  public:
    /// Take over a copy made by copyResultSet().
    /// @param copy  freed with this object; null is none
    explicit ResultSet(ResultSetToken* copy) noexcept : token_(copy) {}

    /// The library's handle of the copy, for calls of zolstats.h.
    /// @return owned by this object; null after a move
    ResultSetToken* token() const noexcept { return token_.get(); }

  private:
    friend class Walkable<Item, detail::InCopy, ResultSet<Item>>;
    detail::InCopy place() const noexcept { return detail::InCopy(token()); }

    struct Free {
        void operator()(ResultSetToken* copy) const noexcept { freeResultSet(&copy); }
    };
    std::unique_ptr<ResultSetToken, Free> token_;
};

using Statistics = ResultView<Statistic>;     ///< An answer with statistics, lying in its connection.
using Identifiers = ResultView<Identifier>;   ///< An answer with identifiers, lying in its connection.
using StatisticSet = ResultSet<Statistic>;    ///< A copy of an answer with statistics.
using IdentifierSet = ResultSet<Identifier>;  ///< A copy of an answer with identifiers.

// ---- Connections

/// An open connection to a Gateway, closed with this object. Move-only; moving it ends its views. In a forked child the
/// object leaves the parent's connection alone, and using it throws Error (ZOLSTATS_WRONG_PROCESS).
class Connection {
  public:
    /// Connect to the Gateway on this machine.
    /// @param port    its statistics port, 1 to 65535
    /// @return        the connection, to be used by the calling thread
    /// @throws Error  with the codes of openGatewayConnection() in zolstats.h
    static Connection openLocal(int port) {
        return opened("openGatewayConnection", [=](void** token, char** version) {
            return openGatewayConnection(port, token, version);
        });
    }

    /// Connect to the Gateway on a named host.
    /// @param host    a host name, of which the first address is tried, or a numeric address
    /// @param port    its statistics port, 1 to 65535
    /// @return        the connection, to be used by the calling thread
    /// @throws Error  with the codes of openRemoteGatewayConnection() in zolstats.h
    static Connection openRemote(const std::string& host, int port) {
        const char* name = detail::terminated(host);
        return opened("openRemoteGatewayConnection", [=](void** token, char** version) {
            return openRemoteGatewayConnection(name, port, token, version);
        });
    }

    /// Take over a connection.
    /// @param other  closed from then on; its views are stale
    Connection(Connection&& other) noexcept : session_(std::move(other.session_)) { endViews(); }
    /// Take over a connection, and close the one held so far.
    /// @param other  closed from then on; its views are stale
    /// @return       this object
    Connection& operator=(Connection&& other) noexcept {
        if (this != &other) {
            leave();
            session_ = std::move(other.session_);
            endViews();
        }
        return *this;
    }
    /// Closes, if the connection is open and this is not a forked child.
    ~Connection() { leave(); }

    /// Whether there is a connection. A Gateway that has gone shows in the next query only; a forked child is told what
    /// holds for its parent.
    /// @return false once it was closed, lost in a query, or moved from
    bool isOpen() const noexcept { return token() != nullptr; }

    /// The version of the statistics protocol that the Gateway told when the connection was opened.
    /// @return a text that lives as long as this object, and until that is moved from or assigned to; empty if the
    ///         Gateway told none
    std::string_view protocolVersion() const noexcept {
        return session_ == nullptr ? std::string_view() : session_->protocolVersion;
    }

    /// Take leave of the Gateway. Any thread of the process may close; a query under way in the owning thread then
    /// fails. Closing again does nothing.
    /// @throws Error  ZOLSTATS_WRONG_PROCESS in a forked child
    void close() {
        if (isOpen() && !isOurs()) {
            throw Error(ZOLSTATS_WRONG_PROCESS, "closeGatewayConnection");
        }
        leave();
    }

    /// @name Queries
    /// Each ends the views of the query before it. Ids are separated by ':' (Walkable::idQuery() makes such a list), at
    /// most ZOLSTATS_MAX_ID_LIST bytes.
    /// They throw Error with the codes of the queries in zolstats.h, ZOLSTATS_TOKEN_NOT_FOUND if the connection is not
    /// open; after ZOLSTATS_CONNECTION_LOST and ZOLSTATS_EXCHANGE_FAILED it is closed.
    /// @{

    /// All statistics of all groups.
    /// @return a view, valid until the next query
    Statistics statistics() { return ask<Statistic>("getStats", getStats); }

    /// The ids of all statistics.
    /// @return a view, valid until the next query
    Identifiers statisticIds() { return ask<Identifier>("getStatIds", getStatIds); }

    /// The ids of all groups.
    /// @return a view, valid until the next query
    Identifiers groups() { return ask<Identifier>("getResourceGroupIds", getResourceGroupIds); }

    /// The statistics of the named groups. Ask for several at once only where each has statistics: the protocol cannot
    /// tell what follows a group without any.
    /// @param groups  ids of groups, separated by ':'
    /// @return        a view, valid until the next query
    Statistics statisticsOfGroups(const std::string& groups) {
        return ask<Statistic, AfterFailure::LeftOpen>("getStatsByStatGroupId", getStatsByStatGroupId,
                                                      detail::terminated(groups));
    }

    /// The named statistics.
    /// @param ids  ids of statistics, separated by ':'
    /// @return     a view, valid until the next query
    Statistics statisticsById(const std::string& ids) {
        return ask<Statistic>("getStatsByStatId", getStatsByStatId, detail::terminated(ids));
    }

    /// The ids of the statistics of the named groups.
    /// @param groups  ids of groups, separated by ':'
    /// @return        a view, valid until the next query
    Identifiers idsOfGroups(const std::string& groups) {
        return ask<Identifier>("getStatIdsByStatGroupId", getStatIdsByStatGroupId,
                               detail::terminated(groups));
    }
    /// @}

  private:
    explicit Connection(std::shared_ptr<detail::Session> session) noexcept : session_(std::move(session)) {}

    template <typename Open>
    static Connection opened(const char* call, Open open) {
        Connection connection(std::make_shared<detail::Session>());
        void* token = nullptr;
        char* version = nullptr;
        detail::check(open(&token, &version), call);
        connection.session_->token = token;
        if (version != nullptr) {
            connection.session_->protocolVersion = version;
        }
        return connection;
    }

    // Most queries close and free what failed. Its address may belong to another connection by now, so it must not be
    // closed again; one query leaves that to its caller.
    enum class AfterFailure { Closed, LeftOpen };

    template <typename Item, AfterFailure afterFailure = AfterFailure::Closed, typename Query,
              typename... Ids>
    ResultView<Item> ask(const char* call, Query query, Ids... ids) {
        ResultSetToken* set = nullptr;
        void* const asked = token();
        const int code = asked != nullptr ? query(asked, ids..., &set) : ZOLSTATS_TOKEN_NOT_FOUND;
        if (code == ZOLSTATS_WRONG_PROCESS || code == ZOLSTATS_WRONG_THREAD) {  // those did nothing
            throw Error(code, call);
        }
        const std::uint64_t generation = endViews();
        settle(code, afterFailure);
        detail::check(code, call);
        if (!isOpen()) {  // a thread that closes only from here on ends this generation, too
            throw Error(ZOLSTATS_CONNECTION_LOST, call);
        }
        return ResultView<Item>({session_, generation, set});
    }

    void settle(int code, AfterFailure afterFailure) noexcept {
        const bool isLoss = code == ZOLSTATS_CONNECTION_LOST || code == ZOLSTATS_EXCHANGE_FAILED;
        if (isLoss && afterFailure == AfterFailure::LeftOpen) {
            leave();
        } else if (isLoss || code == ZOLSTATS_TOKEN_NOT_FOUND) {
            forget();
        }
    }

    void* token() const noexcept { return session_ == nullptr ? nullptr : session_->token.load(); }
    bool isOurs() const noexcept { return session_->owner == getpid(); }

    std::uint64_t endViews() noexcept { return session_ == nullptr ? 0 : ++session_->generation; }

    void forget() noexcept {
        if (session_ != nullptr) {
            session_->token = nullptr;
        }
    }

    // The token goes before the generation: ask() relies on that order.
    void leave() noexcept {
        if (session_ == nullptr) {
            return;
        }
        void* token = session_->token.exchange(nullptr);
        endViews();
        if (token != nullptr && isOurs()) {
            closeGatewayConnection(&token);
        }
    }

    std::shared_ptr<detail::Session> session_;
};

}  // namespace zolstats

#pragma GCC visibility pop

/// @cond internal
template <typename Item>
inline constexpr bool std::ranges::enable_view<zolstats::ResultView<Item>> = true;
template <typename Item>
inline constexpr bool std::ranges::enable_borrowed_range<zolstats::ResultView<Item>> = true;
/// @endcond

#endif
