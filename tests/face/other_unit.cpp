// The face in another translation unit; PLACE ends the names of the functions, which tell where that is.
// Nothing is tested here; see other_units.h.
// What the face promises stands in zolstats.hpp.
#include "zolstats/zolstats.hpp"  // first, and alone: it must bring all that it needs

#include "other_units.h"

#define JOIN_TOKENS(name, place) name##place
#define JOIN(name, place) JOIN_TOKENS(name, place)

namespace other_units {

[[gnu::visibility("default")]] const std::error_category& JOIN(category, PLACE)() {
    return zolstats::category();
}

[[gnu::visibility("default")]] void JOIN(fail, PLACE)() {
    zolstats::Connection::openLocal(0);
}

[[gnu::visibility("default")]] void JOIN(beStale, PLACE)() {
    throw zolstats::StaleResult();
}

[[gnu::visibility("default")]] std::size_t JOIN(count, PLACE)(const zolstats::Statistics& answer) {
    std::size_t count = 0;
    for (const zolstats::Statistic& item : answer) {
        count += item.rejected() ? 0U : 1U;
    }
    return count;
}

}  // namespace other_units
