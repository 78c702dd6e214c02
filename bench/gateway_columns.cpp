// The columns without any client: what the network and the kernel take, and what one pass over the bytes adds.
#include <string>

#include "bare_connection.h"
#include "column.h"
#include "one_pass.h"
#include "requests.h"

namespace bench {
namespace {

using Exchange = decltype(&BareConnection::exchange);

// The two exchanges of a query. Its requests are made beforehand; the Gateway hands out the same admin id again.
class BareQuery {
  public:
    BareQuery(const Ports& ports, Exchange exchange) : connection_(ports.gateway), exchange_(exchange) {}

    void choose(std::size_t count) { query_ = statisticsRequest(connection_.adminId(), nameOf(count)); }

    // The call data that answers.
    std::string_view ask() {
        (connection_.*exchange_)(initialise_, ADMIN_HEADER_LENGTH);
        return (connection_.*exchange_)(query_, ADMIN_HEADER_LENGTH).substr(CALL_DATA_AT);
    }

  private:
    BareConnection connection_;
    Exchange exchange_;
    std::string initialise_ = initialiseRequest();
    std::string query_;
};

class Limit : public Column {
  public:
    explicit Limit(const Ports& ports) : query_(ports, &BareConnection::exchange) {}

    void choose(std::size_t count) override { query_.choose(count); }
    Checksum run() override {
        query_.ask();
        return {};
    }
    void visit(const Visitor& visitor) override {
        PackedItems items;
        items.parse(query_.ask());
        items.walk(visitor);
    }

  private:
    BareQuery query_;
};

class Ideal : public ItemColumn<Ideal> {
  public:
    Ideal(const Ports& ports, Exchange exchange) : query_(ports, exchange) {}

    void choose(std::size_t count) override { query_.choose(count); }

    template <class Each>
    void forEach(Each each) {
        items_.parse(query_.ask());
        items_.walk(each);
    }

  private:
    BareQuery query_;
    PackedItems items_;
};

}  // namespace

std::unique_ptr<Column> connectLimit(const Ports& ports) {
    return std::make_unique<Limit>(ports);
}

std::unique_ptr<Column> connectIdeal(const Ports& ports) {
    return std::make_unique<Ideal>(ports, &BareConnection::exchange);
}

std::unique_ptr<Column> connectSteps(const Ports& ports) {
    return std::make_unique<Ideal>(ports, &BareConnection::exchangeInSteps);
}

}  // namespace bench
