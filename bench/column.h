// The ways to fetch items that are compared. A column is a connected client.
#ifndef ZOLSTATS_BENCH_COLUMN_H
#define ZOLSTATS_BENCH_COLUMN_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "items.h"

namespace bench {

struct Ports {
    std::uint16_t gateway = 0;
    std::uint16_t redis = 0;
    std::uint16_t postgres = 0;
};

using Visitor = std::function<void(std::string_view id, std::string_view value)>;

// All but name() throw std::runtime_error, or one derived from it, when the server does not answer as it should.
class Column {
  public:
    Column() = default;
    virtual ~Column() = default;
    Column(const Column&) = delete;
    Column& operator=(const Column&) = delete;

    // Which items the queries from now on ask for: as many of them.
    virtual void choose(std::size_t count) = 0;

    // A query and a walk over what it has brought; this is what is timed. A column that does not look at items gives
    // the checksum of none.
    virtual Checksum run() = 0;

    // A query whose items are shown one by one, which a column that does not look at items can do as well.
    virtual void visit(const Visitor& visitor) = 0;
};

// A column that looks at its items: its Client has a forEach(each), which asks and calls each(id, value).
template <class Client>
class ItemColumn : public Column {
  public:
    Checksum run() final {
        Checksum checksum;
        client().forEach([&](std::string_view id, std::string_view value) { checksum.add(id, value); });
        return checksum;
    }
    void visit(const Visitor& visitor) final { client().forEach(visitor); }

  private:
    Client& client() { return static_cast<Client&>(*this); }
};

struct ColumnKind {
    std::string name;
    bool looksAtItems;
    std::unique_ptr<Column> (*connect)(const Ports&);
};

std::unique_ptr<Column> connectLimit(const Ports& ports);
std::unique_ptr<Column> connectIdeal(const Ports& ports);
std::unique_ptr<Column> connectSteps(const Ports& ports);
std::unique_ptr<Column> connectZolstats(const Ports& ports);
std::unique_ptr<Column> connectHiredis(const Ports& ports);
std::unique_ptr<Column> connectLibpq(const Ports& ports);

// All of them; the first four have the same server, which sends all four the same bytes.
const std::vector<ColumnKind>& columnKinds();
const ColumnKind& columnKind(const std::string& name);

// Give the servers that do not know items by themselves the items of that count.
void fillRedis(const Ports& ports, std::size_t count);
void fillPostgres(const Ports& ports, std::size_t count);

// Throws std::runtime_error when the column does not bring exactly the items that it was told to choose.
void checkItems(Column& column, const ColumnKind& kind, std::size_t count);
// The same for what a timed run gave.
void checkChecksum(const Checksum& checksum, const ColumnKind& kind, const Checksum& expected);

}  // namespace bench

#endif
