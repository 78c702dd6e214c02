// Result sets as fuzz targets look at them: all their items, copied out, so that a pointer to anything but
// memory of the set is noticed. Ends the run where a test of the usual kind would record a failure.
// The layout of a buffer is told in stapi_zol_resultsetbuffer.h.
#ifndef ZOLSTATS_TESTS_FUZZ_SETS_H
#define ZOLSTATS_TESTS_FUZZ_SETS_H

#include <cstddef>
#include <string>
#include <vector>

#include "input.h"
#include "zolstats/zolstats.h"

namespace fuzz {

// An item of a set, or an element that was rejected (then without id and data).
struct Item {
    std::string query{};
    int code = 0;
    std::string id{};
    std::string data{};  // of a statistic

    friend bool operator==(const Item&, const Item&) = default;
};
using Items = std::vector<Item>;

inline std::string text(const unsigned char* bytes, int length) {
    require(length >= 0, "no text has a negative length");
    return {bytes, bytes + length};
}

inline void addRest(Item& item, const StatData& stat) {
    item.id = text(stat.statId, stat.statIdLen);
    item.data = text(stat.statData, stat.statDataLen);
}
inline void addRest(Item& item, const IdData& id) {
    item.id = text(id.id, id.idLen);
}

template <class Record>
Item itemOf(const Record& record) {
    Item item{text(record.queryElementPtr, record.queryElementLen), record.queryElementRC};
    if (record.queryElementRC >= 0) {
        addRest(item, record);
    }
    return item;
}

// Everything that a walk gives. Each step passes four bytes at least: a walk of more than `limit` steps would
// never end.
template <class Record>
Items walk(ResultSetToken* set, std::size_t limit, int (*first)(ResultSetToken*, Record*),
           int (*next)(ResultSetToken*, Record*)) {
    Items items;
    Record record{};
    int rc = first(set, &record);
    for (; rc == 0; rc = next(set, &record)) {
        items.push_back(itemOf(record));
        require(items.size() <= limit, "a walk ends");
    }
    require(rc == ZOLSTATS_NO_MORE_ITEMS, "a walk ends with -113");
    require(next(set, &record) == ZOLSTATS_NO_MORE_ITEMS, "a walk that has ended stays at its end");
    return items;
}
inline Items itemsOf(ResultSetToken* set, bool stats, std::size_t limit) {
    return stats ? walk(set, limit, getFirstStat, getNextStat) : walk(set, limit, getFirstId, getNextId);
}
// The same with next calls alone, which start a set that was not started.
inline Items itemsWithoutFirst(ResultSetToken* set, bool stats, std::size_t limit) {
    return stats ? walk(set, limit, getNextStat, getNextStat) : walk(set, limit, getNextId, getNextId);
}

}  // namespace fuzz

#endif
