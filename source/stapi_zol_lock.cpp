// The lock record: a POSIX mutex with a word that says whether it may be used.
// Nothing here decides what is locked; that is the business of the modules that own a lock.
// How the library uses its two locks is written down in docs/tracing.md and CONTRIBUTING.md.
#include "stapi_zol_lock.h"

#include <errno.h>

#include "stapi_zol_diag.h"
#include "stapi_zol_lock_trace.h"

const char version4stapi_zol_lock[] = ZOLSTATS_VERSION_TEXT;
const char copyright4stapi_zol_lock[] = ZOLSTATS_COPYRIGHT_TEXT;

namespace zolstats {
namespace {

// The trace shows errno as the pthread call leaves it, which is not the call's own result.
template <const TracePoint& NotInitialized, const TracePoint& Failed>
int applyToMutex(LockRecord* lock, int (*operation)(pthread_mutex_t*), int failure) {
    if (lock->state != LOCK_INITIALIZED) {
        trace<NotInitialized>(lock);
        return LOCK_NOT_INITIALIZED;
    }
    if (operation(&lock->mutex) != 0) {
        trace<Failed>(lock, errno);
        return failure;
    }
    return 0;
}

}  // namespace
}  // namespace zolstats

using namespace zolstats;

extern "C" {

int initializeLock(LockRecord* lock) {
    if (lock->state == LOCK_INITIALIZED) {
        return LOCK_WAS_INITIALIZED;
    }
    if (pthread_mutex_init(&lock->mutex, nullptr) != 0) {
        trace<initializeLockFailed>(lock, errno);
        return LOCK_INIT_FAILED;
    }
    lock->state = LOCK_INITIALIZED;
    return 0;
}

int requestLock(LockRecord* lock) {
    return applyToMutex<requestLockUninitialized, requestLockFailed>(lock, pthread_mutex_lock, LOCK_FAILED);
}

int releaseLock(LockRecord* lock) {
    return applyToMutex<releaseLockUninitialized, releaseLockFailed>(lock, pthread_mutex_unlock,
                                                                     UNLOCK_FAILED);
}

int destroyLock(LockRecord* lock) {
    const int rc =
        applyToMutex<destroyLockUninitialized, destroyLockFailed>(lock, pthread_mutex_destroy, LOCK_FAILED);
    if (rc == 0) {
        lock->state = LOCK_DESTROYED;
    }
    return rc;
}

int isLockInitialized(LockRecord* lock) {
    return static_cast<int>(lock->state);
}
}
