// What programs know about asking a Gateway by the library: codes in words, and which names a query can carry.
// Not the place where a Gateway is asked (those of the tools).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include "asking.h"

#include <fmt/format.h>

#include <string_view>
#include <zolstats/zolstats.hpp>

namespace tools {

std::string explain(int code) {
    return fmt::format("{} ({})", zolstats::category().message(code), code);
}

bool canBeAskedFor(const std::string& name) {
    using namespace std::string_view_literals;
    return !name.empty() && name.size() <= ZOLSTATS_MAX_ID_LIST &&
           name.find_first_of(":\0"sv) == std::string::npos;
}

}  // namespace tools
