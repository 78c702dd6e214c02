// What of a Gateway's statistics is wanted: names and patterns of the user, resolved against what the Gateway has.
// Not the place where answers are shown.
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#ifndef ZOLSTAT_SELECTION_H
#define ZOLSTAT_SELECTION_H

#include <map>
#include <string>
#include <vector>

#include "options.h"
#include "sample.h"
#include "session.h"

namespace tools::zolstat {

// The groups of a Gateway and the ids of each, asked for when they are needed first.
class Catalogue {
  public:
    // A rejected list of groups is a complaint of the sample.
    Catalogue(Session& session, Sample& sample);

    const std::vector<std::string>& groups() const { return groups_; }
    const std::vector<std::string>& idsOf(const std::string& group);
    // Empty if no group has it.
    std::string groupOf(const std::string& id);

  private:
    Session& session_;
    std::vector<std::string> groups_;
    std::map<std::string, std::vector<std::string>> ids_;
};

// Resolved once for a connection, and then read as often as wanted.
class Selection {
  public:
    // Names are groups or ids, and may be patterns with *, ? and [...]; without any everything is wanted. A pattern
    // that matches nothing is a complaint of the sample.
    Selection(Session& session, const Arguments& names, Sample& sample);

    // Appends to the readings of the sample, and to its complaints where the Gateway says no.
    void read(Session& session, Sample& sample) const;

    // The same in parts, one query each, for who wants to know when each was answered.
    std::size_t parts() const { return wanted_.size(); }
    void readPart(std::size_t part, Session& session, Sample& sample) const;

  private:
    // A whole group, some statistics of a group, or a statistic of its own.
    struct Wanted {
        std::string group;
        std::string id{};                 // if not empty: to be asked for by its id
        std::vector<std::string> only{};  // if not empty: these of the group
    };

    bool addPattern(Catalogue& catalogue, const std::string& pattern);

    std::vector<Wanted> wanted_;
};

// The groups that the Gateway has; a rejection is a complaint of the sample.
std::vector<std::string> askGroups(Session& session, Sample& sample);

// Notes that the Gateway said no to `what`, a text such as "no group 'X'".
void reject(Sample& sample, const std::string& what, int code);

}  // namespace tools::zolstat

#endif
