// The trace lines of stapi_zol_resultsetbuffer, in order of their numbers.
#ifndef STAPI_ZOL_RESULTSETBUFFER_TRACE_H
#define STAPI_ZOL_RESULTSETBUFFER_TRACE_H

#include "stapi_zol_diag.h"

// A table, one row a line.
// clang-format off

namespace zolstats {

inline constexpr TracePoint addIdStrEntry{2100, TraceKind::Entry, "stapi_zol_resultsetbuffer.addIdStr(&bufWPtr=%p,idString=%p)\n"};
inline constexpr TracePoint addIdStrNull{2101, TraceKind::Exception, "stapi_zol_resultsetbuffer.addIdStr(&bufWPtr=%p,idString=%p) function received a null parameter\n"};
inline constexpr TracePoint addIdStrStart{2102, TraceKind::Debug, "stapi_zol_resultsetbuffer.addIdStr Writing at address %p\n"};
inline constexpr TracePoint addIdStrLength{2103, TraceKind::Debug, "stapi_zol_resultsetbuffer.addIdStr Length of id string=%u\n"};
inline constexpr TracePoint addIdStrWroteLength{2104, TraceKind::Debug, "stapi_zol_resultsetbuffer.addIdStr Wrote length value %u to address %p, which reads back as %u\n"};
inline constexpr TracePoint addIdStrWroteText{2105, TraceKind::Debug, "stapi_zol_resultsetbuffer.addIdStr Wrote %u bytes to address %p\n"};
inline constexpr TracePoint addIdStrEnd{2106, TraceKind::Debug, "stapi_zol_resultsetbuffer.addIdStr Write cursor is now %p\n"};
inline constexpr TracePoint addIdStrExit{2107, TraceKind::Exit, "stapi_zol_resultsetbuffer.addIdStr(&bufWPtr=%p,idString=%p)\n"};

inline constexpr TracePoint addIntegerEntry{2108, TraceKind::Entry, "stapi_zol_resultsetbuffer.addInteger(&bufWPtr=%p,rsInt=%d)\n"};
inline constexpr TracePoint addIntegerNull{2109, TraceKind::Exception, "stapi_zol_resultsetbuffer.addInteger(&bufWPtr=%p) function received a null parameter\n"};
inline constexpr TracePoint addIntegerExit{2110, TraceKind::Exit, "stapi_zol_resultsetbuffer.addInteger(&bufWPtr=%p,rsInt=%d) zolStatRc=%u\n"};

inline constexpr TracePoint addCharsEntry{2111, TraceKind::Entry, "stapi_zol_resultsetbuffer.addChars(&bufWPtr=%p,textPtr=%p,charCount=%d)\n"};
inline constexpr TracePoint addCharsNull{2112, TraceKind::Exception, "stapi_zol_resultsetbuffer.addChars(&bufWPtr=%p) function received a null parameter\n"};
inline constexpr TracePoint addCharsCopied{2114, TraceKind::Debug, "stapi_zol_resultsetbuffer.addChars Copied %d bytes from %p to %p\n"};
inline constexpr TracePoint addCharsExit{2115, TraceKind::Exit, "stapi_zol_resultsetbuffer.addChars(&bufWPtr=%p,textPtr=%p,charCount=%d) zolStatRc=%u\n"};

inline constexpr TracePoint addPlatformCharsEntry{2116, TraceKind::Entry, "stapi_zol_resultsetbuffer.addPlatformChars(&bufWPtr=%p,textPtr=%p,charCount=%d)\n"};
inline constexpr TracePoint addPlatformCharsNull{2117, TraceKind::Exception, "stapi_zol_resultsetbuffer.addPlatformChars(&bufWPtr=%p) function received a null parameter\n"};
inline constexpr TracePoint addPlatformCharsCopied{2118, TraceKind::Debug, "stapi_zol_resultsetbuffer.addPlatformChars Copied %d bytes from %p to %p\n"};
inline constexpr TracePoint addPlatformCharsExit{2119, TraceKind::Exit, "stapi_zol_resultsetbuffer.addPlatformChars(&bufWPtr=%p,textPtr=%p,charCount=%d) zolStatRc=%u\n"};

inline constexpr TracePoint addTerminatorEntry{2120, TraceKind::Entry, "stapi_zol_resultsetbuffer.addTerminator(writeCursor=%p)\n"};
inline constexpr TracePoint addTerminatorNull{2121, TraceKind::Exception, "stapi_zol_resultsetbuffer.addTerminator(writeCursor=%p) function received a null parameter\n"};
inline constexpr TracePoint addTerminatorExit{2122, TraceKind::Exit, "stapi_zol_resultsetbuffer.addTerminator(writeCursor=%p) zolStatRc=%d\n"};

inline constexpr TracePoint checkTerminatorEntry{2123, TraceKind::Entry, "stapi_zol_resultsetbuffer.checkTerminator(dataCursor=%p, isRSTermPtr=%p)\n"};
inline constexpr TracePoint checkTerminatorNull{2124, TraceKind::Exception, "stapi_zol_resultsetbuffer.checkTerminator(dataCursor=%p, isRSTermPtr=%p) function received a null parameter\n"};
inline constexpr TracePoint checkTerminatorResult{2125, TraceKind::Debug, "stapi_zol_resultsetbuffer.checkTerminator isRSTerm=%d\n"};
inline constexpr TracePoint checkTerminatorExit{2126, TraceKind::Exit, "stapi_zol_resultsetbuffer.checkTerminator(dataCursor=%p, isRSTermPtr=%p) rc=%d\n"};

inline constexpr TracePoint createResultSetEntry{2127, TraceKind::Entry, "stapi_zol_resultsetbuffer.createResultSet(&newRsTokPtr=%p,eyecatcher=%s,owner=%x)\n"};
inline constexpr TracePoint createResultSetToken{2128, TraceKind::Debug, "stapi_zol_resultsetbuffer.createResultSet Called malloc for %d bytes. rc=%p\n"};
inline constexpr TracePoint createResultSetTokenFailed{2129, TraceKind::Exception, "stapi_zol_resultsetbuffer.createResultSet Failed to allocate %d bytes\n"};
inline constexpr TracePoint createResultSetArea{2130, TraceKind::Debug, "stapi_zol_resultsetbuffer.createResultSet Called malloc for %d bytes. rc=%p\n"};
inline constexpr TracePoint createResultSetAreaFailed{2131, TraceKind::Exception, "stapi_zol_resultsetbuffer.createResultSet Failed to allocate %d bytes\n"};
inline constexpr TracePoint createResultSetExit{2132, TraceKind::Exit, "stapi_zol_resultsetbuffer.createResultSet(&newRsTokPtr=%p,eyecatcher=%s,owner=%x) rc=%d\n"};

inline constexpr TracePoint deleteResultSetEntry{2133, TraceKind::Entry, "stapi_zol_resultsetbuffer.deleteResultSet(&rsPtr=%p)\n"};
inline constexpr TracePoint deleteResultSetArea{2134, TraceKind::Debug, "stapi_zol_resultsetbuffer.deleteResultSet Free result set verifiedQueryString(%p)\n"};
inline constexpr TracePoint deleteResultSetAreaFreed{2135, TraceKind::Debug, "stapi_zol_resultsetbuffer.deleteResultSet Freed result set token(%p)\n"};
inline constexpr TracePoint deleteResultSetToken{2136, TraceKind::Debug, "stapi_zol_resultsetbuffer.deleteResultSet Free result set token(%p)\n"};
inline constexpr TracePoint deleteResultSetTokenFreed{2137, TraceKind::Debug, "stapi_zol_resultsetbuffer.deleteResultSet Freed result set token(%p)\n"};
inline constexpr TracePoint deleteResultSetExit{2138, TraceKind::Exit, "stapi_zol_resultsetbuffer.deleteResultSet(&rsPtr=%p) rc=%d\n"};

inline constexpr TracePoint dumpResultSetInternalEntry{2139, TraceKind::Entry, "stapi_zol_resultsetbuffer.dumpResultSetInternal(rsPtr=%p)\n"};
inline constexpr TracePoint dumpResultSetInternalExit{2140, TraceKind::Exit, "stapi_zol_resultsetbuffer.dumpResultSetInternal(rsPtr=%p) bytes dumped=%d rc=%d\n"};

inline constexpr TracePoint verifyOwnerEntry{2141, TraceKind::Entry, "stapi_zol_resultsetbuffer.verifyAPIResultSetToken(rsPtr=%p)\n"};
inline constexpr TracePoint verifyOwnerPid{2142, TraceKind::Exception, "stapi_zol_resultsetbuffer.verifyAPIResultSetToken PID mismatch: currentPid=%x, owningPid=%x\n"};
inline constexpr TracePoint verifyOwnerTid{2143, TraceKind::Exception, "stapi_zol_resultsetbuffer.verifyAPIResultSetToken TID mismatch: currentTid=%x, owningTid=%x\n"};
inline constexpr TracePoint verifyOwnerExit{2144, TraceKind::Exit, "stapi_zol_resultsetbuffer.verifyAPIResultSetToken(rsPtr=%p) rc=%d\n"};

}  // namespace zolstats

#endif
