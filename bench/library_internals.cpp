#include "library_internals.h"

#include <cstdlib>
#include <stdexcept>

#include "stapi_zol_resultsetbuffer.h"
#include "stapi_zol_statcomms.h"

namespace bench {

ParsedSet::ParsedSet() {
    constexpr int FIRST_CAPACITY = 4096;
    if (createResultSet(&set_, zolstats::RESULT_SET_EYECATCHER, zolstats::OWNER_API) != 0) {
        throw std::runtime_error("no result set");
    }
    set_->head = zolstats::allocateResultSetBuffer(FIRST_CAPACITY);
    set_->resultSetBufferLen = FIRST_CAPACITY;
}

ParsedSet::~ParsedSet() {
    std::free(set_->head);
    deleteResultSet(&set_);
}

void ParsedSet::parse(std::string_view callData) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(callData.data());
    const auto length = static_cast<int>(callData.size());
    if (zolstats::parseStatsData(bytes, length, &set_->head, &set_->resultSetBufferLen) != 0) {
        throw std::runtime_error("the library cannot parse the call data");
    }
}

}  // namespace bench
