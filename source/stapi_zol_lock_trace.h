// The trace lines of stapi_zol_lock, in order of their numbers. They are written without the trace lock,
// which may be the very lock that failed.
#ifndef STAPI_ZOL_LOCK_TRACE_H
#define STAPI_ZOL_LOCK_TRACE_H

#include "stapi_zol_diag.h"

// A table, one row a line.
// clang-format off

namespace zolstats {

inline constexpr TracePoint initializeLockFailed{3101, TraceKind::Exception, "stapi_zol_lock.initializeLock(lockPtr=%p) Lock initialization failed errno=%d\n", TraceStyle::Unlocked};
inline constexpr TracePoint requestLockUninitialized{3104, TraceKind::Exception, "stapi_zol_lock.requestLock(lockPtr=%p) Lock not initialized\n", TraceStyle::Unlocked};
inline constexpr TracePoint requestLockFailed{3105, TraceKind::Exception, "stapi_zol_lock.requestLock(lockPtr=%p) Lock request failed errno=%d\n", TraceStyle::Unlocked};
inline constexpr TracePoint releaseLockUninitialized{3108, TraceKind::Exception, "stapi_zol_lock.releaseLock(lockPtr=%p) Lock not initialized\n", TraceStyle::Unlocked};
inline constexpr TracePoint releaseLockFailed{3109, TraceKind::Exception, "stapi_zol_lock.releaseLock(lockPtr=%p) Lock release failed errno=%d\n", TraceStyle::Unlocked};
inline constexpr TracePoint destroyLockUninitialized{3112, TraceKind::Exception, "stapi_zol_lock.destroyLock(lockPtr=%p) Lock not initialized\n", TraceStyle::Unlocked};
inline constexpr TracePoint destroyLockFailed{3113, TraceKind::Exception, "stapi_zol_lock.destroyLock(lockPtr=%p) Lock destroy failed errno=%d\n", TraceStyle::Unlocked};

}  // namespace zolstats

#endif
