// PostgreSQL keeps the items in a table; a prepared SELECT brings them all in one round trip.
#include <libpq-fe.h>

#include <stdexcept>

#include "column.h"

namespace bench {
namespace {

struct Free {
    void operator()(PGconn* connection) const { PQfinish(connection); }
    void operator()(PGresult* result) const { PQclear(result); }
};
using Connection = std::unique_ptr<PGconn, Free>;
using Result = std::unique_ptr<PGresult, Free>;

Connection connectTo(std::uint16_t port) {
    const std::string where =
        "host=127.0.0.1 user=postgres dbname=postgres sslmode=disable gssencmode=disable port=";
    Connection connection(PQconnectdb((where + std::to_string(port)).c_str()));
    if (PQstatus(connection.get()) != CONNECTION_OK) {
        throw std::runtime_error(std::string("PostgreSQL: ") + PQerrorMessage(connection.get()));
    }
    return connection;
}

Result checked(PGconn* connection, PGresult* result, ExecStatusType expected) {
    Result owned(result);
    if (PQresultStatus(owned.get()) != expected) {
        throw std::runtime_error(std::string("PostgreSQL: ") + PQerrorMessage(connection));
    }
    return owned;
}

void execute(PGconn* connection, const std::string& command) {
    checked(connection, PQexec(connection, command.c_str()), PGRES_COMMAND_OK);
}

class Libpq : public ItemColumn<Libpq> {
  public:
    explicit Libpq(const Ports& ports) : connection_(connectTo(ports.postgres)) {}

    void choose(std::size_t count) override {
        statement_ = nameOf(count);
        execute(connection_.get(), "DEALLOCATE ALL");
        const std::string select = "SELECT id, value FROM " + statement_;
        checked(connection_.get(),
                PQprepare(connection_.get(), statement_.c_str(), select.c_str(), 0, nullptr),
                PGRES_COMMAND_OK);
    }

    template <class Each>
    void forEach(Each each) {
        const Result rows =
            checked(connection_.get(),
                    PQexecPrepared(connection_.get(), statement_.c_str(), 0, nullptr, nullptr, nullptr, 0),
                    PGRES_TUPLES_OK);
        const auto text = [&rows](int row, int field) {
            return std::string_view(PQgetvalue(rows.get(), row, field),
                                    static_cast<std::size_t>(PQgetlength(rows.get(), row, field)));
        };
        const int count = PQntuples(rows.get());
        for (int row = 0; row < count; ++row) {
            each(text(row, 0), text(row, 1));
        }
    }

  private:
    Connection connection_;
    std::string statement_;
};

std::string copyLines(const std::vector<Item>& items) {
    std::string lines;
    for (const Item& item : items) {
        lines.append(item.id).append("\t").append(item.value).append("\n");
    }
    return lines;
}

}  // namespace

std::unique_ptr<Column> connectLibpq(const Ports& ports) {
    return std::make_unique<Libpq>(ports);
}

void fillPostgres(const Ports& ports, std::size_t count) {
    const Connection connection = connectTo(ports.postgres);
    const std::string table = nameOf(count);
    const std::string lines = copyLines(makeItems(count));
    execute(connection.get(), "SET client_min_messages = warning");
    execute(connection.get(), "DROP TABLE IF EXISTS " + table);
    execute(connection.get(), "CREATE TABLE " + table + " (id text, value text)");
    checked(connection.get(), PQexec(connection.get(), ("COPY " + table + " FROM STDIN").c_str()),
            PGRES_COPY_IN);
    PQputCopyData(connection.get(), lines.data(), static_cast<int>(lines.size()));
    PQputCopyEnd(connection.get(), nullptr);
    checked(connection.get(), PQgetResult(connection.get()), PGRES_COMMAND_OK);
    while (const Result rest{PQgetResult(connection.get())}) {
    }
    execute(connection.get(), "VACUUM ANALYZE " + table);
}

}  // namespace bench
