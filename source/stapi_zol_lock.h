// A mutex that knows whether it has been initialised, so that a static one can be made ready lazily.
// It is not a general lock: no try, no recursion, no owner.
// How the library uses its two locks is written down in docs/tracing.md and CONTRIBUTING.md.
#ifndef STAPI_ZOL_LOCK_H
#define STAPI_ZOL_LOCK_H

#include <pthread.h>
#include <stdint.h>

// A zero-filled record is a lock that was not initialised yet.
struct LockRecord {
    pthread_mutex_t mutex;  // valid while state says so
    uint32_t state;         // LOCK_INITIALIZED, LOCK_DESTROYED, or anything else: never initialised
};

namespace zolstats {

inline constexpr uint32_t LOCK_INITIALIZED = 0xFFEEDDCC;
inline constexpr uint32_t LOCK_DESTROYED = 0xCCDDEEFF;

inline constexpr int LOCK_WAS_INITIALIZED = 1;
inline constexpr int LOCK_NOT_INITIALIZED = -1;
inline constexpr int LOCK_INIT_FAILED = -2;
inline constexpr int LOCK_FAILED = -4;  // a failed destroy gives it as well
inline constexpr int UNLOCK_FAILED = -5;

}  // namespace zolstats

extern "C" {

extern const char version4stapi_zol_lock[];
extern const char copyright4stapi_zol_lock[];

// Make the lock usable: 0, LOCK_WAS_INITIALIZED (it is left as it was, held or not), or LOCK_INIT_FAILED.
// Two threads must not initialise the same record at once.
int initializeLock(LockRecord* lock);
// Wait for the lock: 0, LOCK_NOT_INITIALIZED or LOCK_FAILED.
int requestLock(LockRecord* lock);
// Give the lock back: 0, LOCK_NOT_INITIALIZED or UNLOCK_FAILED.
int releaseLock(LockRecord* lock);
// End the lock's life: 0, LOCK_NOT_INITIALIZED or LOCK_FAILED.
int destroyLock(LockRecord* lock);
// The raw state word, not a truth value.
int isLockInitialized(LockRecord* lock);
}

#endif
