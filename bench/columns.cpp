#include <algorithm>
#include <stdexcept>

#include "column.h"

namespace bench {
namespace {

[[noreturn]] void fail(const ColumnKind& kind, std::size_t expected, std::size_t found) {
    const std::string wanted = std::to_string(expected) + " items";
    throw std::runtime_error("check failed: " + kind.name + " was to bring " + wanted + " and brought " +
                             (found == expected ? "others" : std::to_string(found)));
}

}  // namespace

const std::vector<ColumnKind>& columnKinds() {
    static const std::vector<ColumnKind> kinds{
        {"limit", false, connectLimit},    {"ideal", true, connectIdeal},
        {"steps", true, connectSteps},     {"zolstats", true, connectZolstats},
        {"hiredis", true, connectHiredis}, {"libpq", true, connectLibpq}};
    return kinds;
}

const ColumnKind& columnKind(const std::string& name) {
    const auto& kinds = columnKinds();
    return *std::find_if(kinds.begin(), kinds.end(),
                         [&](const ColumnKind& kind) { return kind.name == name; });
}

void checkItems(Column& column, const ColumnKind& kind, std::size_t count) {
    Digest digest;
    column.visit([&](std::string_view id, std::string_view value) { digest.add(id, value); });
    if (digest != sumOf<Digest>(makeItems(count))) {
        fail(kind, count, digest.items);
    }
}

void checkChecksum(const Checksum& checksum, const ColumnKind& kind, const Checksum& expected) {
    if (kind.looksAtItems && checksum != expected) {
        fail(kind, expected.items, checksum.items);
    }
}

}  // namespace bench
