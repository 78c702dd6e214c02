// What a watch has to show, made from readings and their history.
// Not what of it is visible (view_model.cpp) or how it is drawn (screen.cpp).
// The protocol that the statistics come by is written down in docs/protocol.md.
#include "content.h"

#include <fmt/format.h>

#include <array>
#include <cmath>
#include <map>
#include <set>
#include <utility>

namespace tools::zolstat::watch {
namespace {

// Puts readings into groups, which stand in the order of their first reading.
class Grouping {
  public:
    Grouping(const History& history, Moment now) : history_(history), now_(now) {}

    void add(const Reading& reading) {
        GroupContent& group = groupOf(reading);
        if (reading.id.empty()) {
            group.code = reading.code;
        } else if (known_.emplace(reading.group, reading.id).second) {
            group.statistics.push_back({reading.id, reading.value.value_or(""), reading.code, reading.change,
                                        history_.trendOf(reading, now_)});
        }
    }
    std::vector<GroupContent> groups() && { return std::move(groups_); }

  private:
    GroupContent& groupOf(const Reading& reading) {
        const auto [known, isNew] = indices_.emplace(reading.group, groups_.size());
        if (isNew) {
            groups_.push_back({reading.group});
        }
        return groups_[known->second];
    }

    const History& history_;
    Moment now_;
    std::vector<GroupContent> groups_;
    std::map<std::string, std::size_t> indices_;
    std::set<std::pair<std::string, std::string>> known_;
};

struct Unit {
    long double size;
    const char* letter;
};
constexpr std::array UNITS{Unit{1e18L, "E"}, Unit{1e15L, "P"}, Unit{1e12L, "T"}, Unit{1e9L, "G"},
                           Unit{1e6L, "M"}};
constexpr long double BEYOND_UNITS = 1e22L;

// Four digits or so: as much as an eye takes in within a second.
std::string rounded(long double number) {
    const long double height = std::fabs(number);
    if (height < 1) {
        return fmt::format("{:+.3g}", number);
    }
    return fmt::format("{:+.{}f}", number, height < 10 ? 2 : height < 1000 ? 1 : 0);
}

}  // namespace

std::vector<GroupContent> groupsOf(const std::vector<Reading>& readings, const History& history, Moment now) {
    Grouping grouping(history, now);
    for (const Reading& reading : readings) {
        grouping.add(reading);
    }
    return std::move(grouping).groups();
}

std::string textOf(const std::optional<Change>& change) {
    if (!change) {
        return "";
    }
    if (change->restarted) {
        return "restart";
    }
    const long double height = std::fabs(change->perSecond);
    if (height == 0) {
        return "0";
    }
    if (height >= BEYOND_UNITS) {
        return fmt::format("{:+.3g}", change->perSecond);
    }
    for (const Unit& unit : UNITS) {
        if (height >= unit.size) {
            return rounded(change->perSecond / unit.size) + unit.letter;
        }
    }
    return rounded(change->perSecond);
}

}  // namespace tools::zolstat::watch
