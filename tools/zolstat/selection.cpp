// What of a Gateway's statistics is wanted.
// Not the place where answers are shown.
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include "selection.h"

#include <fmt/format.h>
#include <fnmatch.h>

#include <algorithm>

#include "common/text.h"

namespace tools::zolstat {
namespace {

bool contains(const std::vector<std::string>& list, const std::string& item) {
    return std::find(list.begin(), list.end(), item) != list.end();
}

bool isPattern(const std::string& name) {
    return name.find_first_of("*?[") != std::string::npos;
}

bool matches(const std::string& pattern, const std::string& name) {
    return fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
}

}  // namespace

void reject(Sample& sample, const std::string& what, int code) {
    sample.complaints.push_back(fmt::format("{} (Gateway code {})", what, code));
}

std::vector<std::string> askGroups(Session& session, Sample& sample) {
    Ids groups = session.groups();
    if (groups.rejected()) {
        reject(sample, "no list of groups", groups.code);
    }
    return std::move(groups.items);
}

Catalogue::Catalogue(Session& session, Sample& sample)
    : session_(session), groups_(askGroups(session, sample)) {}

const std::vector<std::string>& Catalogue::idsOf(const std::string& group) {
    const auto known = ids_.find(group);
    if (known != ids_.end()) {
        return known->second;
    }
    return ids_[group] = canBeAskedFor(group) ? session_.idsOfGroup(group).items : std::vector<std::string>{};
}

std::string Catalogue::groupOf(const std::string& id) {
    for (const std::string& group : groups_) {
        if (contains(idsOf(group), id)) {
            return group;
        }
    }
    return "";
}

Selection::Selection(Session& session, const Arguments& names, Sample& sample) {
    Catalogue catalogue(session, sample);
    for (const std::string& name : names.empty() ? catalogue.groups() : names) {
        if (contains(catalogue.groups(), name)) {
            wanted_.push_back({name});
        } else if (!isPattern(name)) {
            wanted_.push_back({catalogue.groupOf(name), name});
        } else if (!addPattern(catalogue, name)) {
            sample.complaints.push_back(fmt::format("nothing matches '{}'", printable(name)));
        }
    }
}

// A group that matches is wanted whole; of any other those statistics that match. These are read with their group and
// picked from it: one query, whatever their number.
bool Selection::addPattern(Catalogue& catalogue, const std::string& pattern) {
    bool found = false;
    for (const std::string& group : catalogue.groups()) {
        Wanted wanted{group};
        if (!matches(pattern, group)) {
            const auto& ids = catalogue.idsOf(group);
            std::copy_if(ids.begin(), ids.end(), std::back_inserter(wanted.only),
                         [&](const std::string& id) { return matches(pattern, id); });
        }
        if (matches(pattern, group) || !wanted.only.empty()) {
            wanted_.push_back(std::move(wanted));
            found = true;
        }
    }
    return found;
}

void Selection::read(Session& session, Sample& sample) const {
    for (std::size_t part = 0; part < parts(); ++part) {
        readPart(part, session, sample);
    }
}

void Selection::readPart(std::size_t part, Session& session, Sample& sample) const {
    const Wanted& wanted = wanted_[part];
    const std::string& name = wanted.id.empty() ? wanted.group : wanted.id;
    if (!canBeAskedFor(name)) {
        sample.complaints.push_back(fmt::format("no query can carry the name '{}'", printable(name)));
        sample.readings.push_back({wanted.group, wanted.id});
        return;
    }
    Statistics answer =
        wanted.id.empty() ? session.statisticsOfGroup(wanted.group) : session.statistic(wanted.id);
    if (answer.rejected()) {
        reject(sample, fmt::format("no group or statistic '{}'", printable(name)), answer.code);
        sample.readings.push_back({wanted.group, wanted.id, {}, answer.code});
    } else if (answer.items.empty()) {
        sample.readings.push_back({wanted.group, wanted.id});
    }
    for (Statistic& statistic : answer.items) {
        if (wanted.only.empty() || contains(wanted.only, statistic.id)) {
            sample.readings.push_back({wanted.group, std::move(statistic.id), std::move(statistic.value)});
        }
    }
}

}  // namespace tools::zolstat
