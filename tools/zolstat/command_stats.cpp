// zolstat stats: the values of statistics, as a table.
// Not the place for the table's layout (table.h).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "commands.h"
#include "table.h"
#include "text.h"

namespace zolstat {
namespace {

bool contains(const std::vector<std::string>& list, const std::string& item) {
    return std::find(list.begin(), list.end(), item) != list.end();
}

// Groups and statistics share one space of names; only the list of groups tells which is which.
class Reader {
  public:
    Reader(Session& session, Console& console)
        : session_(session), console_(console), groups_(askGroups(session, console)) {}

    const std::vector<std::string>& groups() const { return groups_; }

    void read(const std::string& id) {
        const bool isGroup = contains(groups_, id);
        Statistics statistics = isGroup ? session_.statisticsOfGroup(id) : session_.statistic(id);
        if (statistics.rejected()) {
            console_.reject(fmt::format("no group or statistic '{}'", printable(id)), statistics.code);
        } else {
            sections_.push_back({isGroup ? id : "", std::move(statistics.items)});
        }
    }

    std::vector<Section> sections() && { return std::move(sections_); }

  private:
    Session& session_;
    Console& console_;
    std::vector<std::string> groups_;
    std::vector<Section> sections_;
};

// A query for everything at once would be one round trip, but its answer does not tell the groups.
void showStatistics(Session& session, Console& console, const Arguments& wanted) {
    Reader reader(session, console);
    for (const std::string& id : wanted.empty() ? reader.groups() : wanted) {
        reader.read(id);
    }
    console.print(renderTable(std::move(reader).sections()));
}

}  // namespace

const Command statsCommand{"stats", "Show the values of statistics", "GROUP-or-ID",
                           "Groups and statistics to show (default: all groups)", showStatistics};

}  // namespace zolstat
