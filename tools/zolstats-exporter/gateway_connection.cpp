// A connection to one Gateway that is kept from scrape to scrape, every call of which ends by a deadline.
// Not the place where it is decided when to open it and what to ask (scraper.cpp).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include "gateway_connection.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <memory>
#include <utility>
#include <vector>

#include "common/asking.h"

namespace tools::exporter {
namespace {

using namespace std::chrono_literals;

// Closing takes leave and waits for the answer, of which nothing depends; meanwhile the library lets no other
// connection of the process begin or end a query. So a Gateway that hangs must not be waited for.
constexpr auto TIME_TO_TAKE_LEAVE = 50ms;

// Some codes say that opening failed, but not whether anybody was there: then a bare connect tells.
constexpr std::array LEAVE_OPEN_WHO_ANSWERED{ZOLSTATS_CONNECT_FAILED, ZOLSTATS_CONNECTION_LOST,
                                             ZOLSTATS_EXCHANGE_FAILED};
constexpr auto LONGEST_GLANCE = 1000ms;

struct ReasonOfCode {
    int code;
    Reason reason;
};
constexpr std::array REASONS_OF_OPENING{
    ReasonOfCode{ZOLSTATS_HOST_NOT_FOUND, Reason::Resolve},
    ReasonOfCode{ZOLSTATS_CONNECTION_REFUSED, Reason::Connect},
    ReasonOfCode{ZOLSTATS_NETWORK_UNREACHABLE, Reason::Connect},
    ReasonOfCode{ZOLSTATS_CONNECT_TIMED_OUT, Reason::Timeout},
};
// A reply that is none comes as a failed exchange, and so does a connection that ends within one.
constexpr std::array REASONS_OF_QUERIES{
    ReasonOfCode{ZOLSTATS_CONNECTION_LOST, Reason::Lost},
    ReasonOfCode{ZOLSTATS_EXCHANGE_FAILED, Reason::Lost},
};

// What is in no table is a matter between the exporter and the library.
template <typename Table>
Reason reasonOf(int code, const Table& table) {
    const auto row =
        std::find_if(table.begin(), table.end(), [=](const ReasonOfCode& one) { return one.code == code; });
    return row == table.end() ? Reason::Internal : row->reason;
}

// How far opening came; of several addresses the one that came furthest is told.
int progressOf(const Failure& failure) {
    constexpr std::array ascending{Reason::Internal, Reason::Resolve, Reason::Connect, Reason::Timeout,
                                   Reason::NotAGateway};
    return static_cast<int>(std::find(ascending.begin(), ascending.end(), failure.reason) -
                            ascending.begin());
}

bool comesLessFar(const Failure& one, const Failure& other) {
    return progressOf(one) < progressOf(other);
}

// In milliseconds at least one, as zero would be without limit.
std::chrono::milliseconds timeTo(Clock::time_point end) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
    return std::clamp(left, 1ms, std::chrono::milliseconds(ZOLSTATS_MAX_TIMEOUT));
}

void limitNextCall(Clock::time_point end) {
    if (Clock::now() >= end) {
        throw ScrapeFailed({Reason::Timeout, "no time was left to ask the Gateway"});
    }
    zolstats::setTimeout(timeTo(end));
}

// Each of those that are left has as much of the time.
Clock::time_point endOfShare(Clock::time_point end, std::size_t sharers) {
    const auto now = Clock::now();
    return now + (end - now) / static_cast<Clock::rep>(sharers);
}

Failure queryFailure(int code, Clock::time_point end) {
    const Reason reason = reasonOf(code, REASONS_OF_QUERIES);
    if (reason == Reason::Lost && Clock::now() >= end) {
        return {Reason::Timeout, fmt::format("the Gateway did not answer in time ({})", code)};
    }
    return {reason, explain(code)};
}

// For the thread that calls, which may have a limit of its own.
class LimitMeanwhile {
  public:
    explicit LimitMeanwhile(std::chrono::milliseconds limit) : usual_(zolstats::timeout()) {
        zolstats::setTimeout(limit);
    }
    ~LimitMeanwhile() { setAPITimeout(static_cast<int>(usual_.count())); }
    LimitMeanwhile(const LimitMeanwhile&) = delete;
    LimitMeanwhile& operator=(const LimitMeanwhile&) = delete;

  private:
    std::chrono::milliseconds usual_;
};

std::atomic<int> slotsTaken{0};

}  // namespace

GatewayConnection::Slot::Slot() {
    if (++slotsTaken > ZOLSTATS_MAX_CONNECTIONS) {
        --slotsTaken;
        throw ScrapeFailed({Reason::Internal, fmt::format("all {} connections of the process are taken",
                                                          ZOLSTATS_MAX_CONNECTIONS)});
    }
}

GatewayConnection::Slot::~Slot() {
    --slotsTaken;
}

// A query under way, which another thread may end: only then, as it would take from a walk what that reads.
class GatewayConnection::Asking {
  public:
    explicit Asking(GatewayConnection& connection) : connection_(connection) {
        const std::lock_guard lock(connection_.mutex_);
        connection_.throwIfCancelled();
        connection_.isAsking_ = true;
    }
    ~Asking() {
        const std::lock_guard lock(connection_.mutex_);
        connection_.isAsking_ = false;
    }
    Asking(const Asking&) = delete;
    Asking& operator=(const Asking&) = delete;

  private:
    GatewayConnection& connection_;
};

void GatewayConnection::throwIfCancelled() const {
    if (isCancelled_) {
        throw ScrapeFailed({Reason::Internal, "the exporter asks this Gateway no more"});
    }
}

void GatewayConnection::open(const Deadline& deadline) {
    std::vector<Failure> failures;
    const std::vector<std::string> addresses = resolve(gateway_.host);
    const auto end = endOfCall(deadline);
    for (std::size_t i = 0; i < addresses.size(); ++i) {
        try {
            return openAddress(addresses[i], endOfShare(end, addresses.size() - i));
        } catch (const ScrapeFailed& failed) {
            failures.push_back(failed.failure());
        }
    }
    if (failures.empty()) {
        throw ScrapeFailed({Reason::Resolve, "the host's name stands for no address"});
    }
    throw ScrapeFailed(*std::max_element(failures.begin(), failures.end(), comesLessFar));
}

void GatewayConnection::openAddress(const std::string& address, Clock::time_point end) {
    throwIfCancelled();
    auto slot = std::make_unique<Slot>();
    try {
        limitNextCall(end);
        auto connection = zolstats::Connection::openRemote(address, gateway_.port);
        const std::lock_guard lock(mutex_);
        kept_.emplace(Kept{std::move(slot), std::move(connection)});
    } catch (const zolstats::Error& error) {
        throw ScrapeFailed(openFailure(error.code().value(), address, end));
    }
}

Failure GatewayConnection::openFailure(int code, const std::string& address, Clock::time_point end) const {
    const bool isTooLate = Clock::now() >= end;
    if (code == ZOLSTATS_CONNECT_TIMED_OUT || isTooLate) {
        return {Reason::Timeout, fmt::format("no answer as of a Gateway came in time ({})", code)};
    }
    if (std::find(LEAVE_OPEN_WHO_ANSWERED.begin(), LEAVE_OPEN_WHO_ANSWERED.end(), code) ==
        LEAVE_OPEN_WHO_ANSWERED.end()) {
        return {reasonOf(code, REASONS_OF_OPENING), explain(code)};
    }
    if (connectBarely(address, gateway_.port,
                      std::min<std::chrono::milliseconds>(timeTo(end), LONGEST_GLANCE))) {
        return {
            Reason::NotAGateway,
            fmt::format("something listens there, but it does not answer as a Gateway does, or refuses ({})",
                        code)};
    }
    // Without a socket of its own it cannot tell anything of the other side.
    return errno == EBADF ? Failure{Reason::Internal, "the exporter has no file descriptor left"}
                          : Failure{Reason::Connect, explain(code)};
}

// In the hands of the caller first, so that taking leave keeps nobody from cancelling.
void GatewayConnection::close() {
    std::unique_lock lock(mutex_);
    const std::optional<Kept> kept = std::exchange(kept_, std::nullopt);
    lock.unlock();
    if (kept) {
        zolstats::setTimeout(TIME_TO_TAKE_LEAVE);
    }
}

void GatewayConnection::cancel() {
    const std::lock_guard lock(mutex_);
    isCancelled_ = true;
    if (isAsking_) {
        const LimitMeanwhile limit(TIME_TO_TAKE_LEAVE);
        kept_->connection.close();
    }
}

std::string GatewayConnection::protocolVersion() const {
    return kept_ ? std::string(kept_->connection.protocolVersion()) : "";
}

template <typename Query>
auto GatewayConnection::ask(const Deadline& deadline, Query query) {
    const auto end = endOfCall(deadline);
    limitNextCall(end);
    try {
        const Asking asking(*this);
        return query(kept_->connection);
    } catch (const zolstats::Error& error) {
        throw ScrapeFailed(queryFailure(error.code().value(), end));
    }
}

zolstats::Identifiers GatewayConnection::groups(const Deadline& deadline) {
    return ask(deadline, [](zolstats::Connection& connection) { return connection.groups(); });
}

zolstats::Statistics GatewayConnection::statisticsOfGroup(const std::string& group,
                                                          const Deadline& deadline) {
    return ask(deadline,
               [&](zolstats::Connection& connection) { return connection.statisticsOfGroups(group); });
}

}  // namespace tools::exporter
