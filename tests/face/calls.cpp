// The calls as the linker puts them in place of the real ones.
// Nothing is decided here; see calls.h.
// What each call promises stands in zolstats.h.
#include "face/calls.h"

#include <utility>

#include "zolstats/zolstats.h"

extern "C" {

int __real_closeGatewayConnection(void** gwTokPtr);
int __real_getStats(void* gwTok, ResultSetToken** resultSet);

int __wrap_closeGatewayConnection(void** gwTokPtr);
int __wrap_getStats(void* gwTok, ResultSetToken** resultSet);

int __wrap_closeGatewayConnection(void** gwTokPtr) {
    ++face::closeCalls;
    return __real_closeGatewayConnection(gwTokPtr);
}

int __wrap_getStats(void* gwTok, ResultSetToken** resultSet) {
    const int rc = __real_getStats(gwTok, resultSet);
    if (const auto action = std::exchange(face::afterTheAnswer, nullptr)) {
        action();
    }
    return rc;
}
}
