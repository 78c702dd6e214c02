// The trace lines of stapi_zol_gwytok, in order of their numbers.
#ifndef STAPI_ZOL_GWYTOK_TRACE_H
#define STAPI_ZOL_GWYTOK_TRACE_H

#include "stapi_zol_diag.h"

// A table, one row a line.
// clang-format off

namespace zolstats {

inline constexpr TracePoint createGatewayTokenEntry{2000, TraceKind::Entry, "stapi_zol_gwytok.createGatewayToken(&gwTokPtr=%p,port=%d)\n"};
inline constexpr TracePoint createGatewayTokenExit{2001, TraceKind::Exit, "stapi_zol_gwytok.createGatewayToken(&gwTokPtr=%p,port=%d) rc=%d\n"};

inline constexpr TracePoint openStatsSocketEntry{2002, TraceKind::Entry, "stapi_zol_gwytok.openStatsSocket(gwTokPtr=%p) Attempting to connect to %s:%d\n"};
inline constexpr TracePoint openStatsSocketConnected{2003, TraceKind::Event, "stapi_zol_gwytok.openStatsSocket() Connected to Gateway %s:%u - socketDescriptor(%d)\n"};
inline constexpr TracePoint openStatsSocketFailed{2004, TraceKind::Exception, "stapi_zol_gwytok.openStatsSocket() Failed to connect to Gateway %s:%u, connect rc = %d\n"};
inline constexpr TracePoint openStatsSocketExit{2005, TraceKind::Exit, "stapi_zol_gwytok.openStatsSocket(gwTokPtr=%p, hostname=%s, port=%d) rc=%d\n"};

inline constexpr TracePoint verifyTokenEntry{2006, TraceKind::Entry, "stapi_zol_gwytok.verifyGatewayToken(&gwTokPtr=%p)\n"};
inline constexpr TracePoint verifyTokenNotFound{2007, TraceKind::Exception, "stapi_zol_gwytok.verifyGatewayToken(&gwTokPtr=%p) Gateway token not found - findRc=%d\n"};
inline constexpr TracePoint verifyTokenExit{2008, TraceKind::Exit, "stapi_zol_gwytok.verifyGatewayToken(&gwTokPtr=%p) rc=%d\n"};

inline constexpr TracePoint deleteTokenEntry{2009, TraceKind::Entry, "stapi_zol_gwytok.deleteGatewayToken(&gwTokPtr=%p, lockRequired=%d)\n"};
inline constexpr TracePoint deleteTokenFree{2010, TraceKind::Debug, "stapi_zol_gwytok.deleteGatewayToken(&gwTokPtr=%p) Free gateway token(%p) \n"};
inline constexpr TracePoint deleteTokenFreed{2011, TraceKind::Debug, "stapi_zol_gwytok.deleteGatewayToken(&gwTokPtr=%p) Freed gateway token(%p) \n"};
inline constexpr TracePoint deleteTokenExit{2012, TraceKind::Exit, "stapi_zol_gwytok.deleteGatewayToken(&gwTokPtr=%p, lockRequired=%d) rc=%d\n"};

inline constexpr TracePoint deleteTokensEntry{2013, TraceKind::Entry, "stapi_zol_gwytok.deleteGatewayTokens()\n"};
inline constexpr TracePoint deleteTokensRunaway{2014, TraceKind::Exception, "stapi_zol_gwytok.deleteGatewayTokens() GTL iteration has hit RUNAWAY limit %d.....\n"};
inline constexpr TracePoint deleteTokensExit{2015, TraceKind::Exit, "stapi_zol_gwytok.deleteGatewayTokens() Entries deleted=%d rc=%d\n"};

inline constexpr TracePoint dumpTokensEntry{2016, TraceKind::Entry, "stapi_zol_gwytok.dumpGatewayTokens()\n"};
inline constexpr TracePoint dumpTokensRunaway{2017, TraceKind::Exception, "stapi_zol_gwytok.dumpGatewayTokens() Gateway Token List iteration has hit RUNAWAY limit %d.....\n"};
inline constexpr TracePoint dumpTokensExit{2018, TraceKind::Exit, "stapi_zol_gwytok.dumpGatewayTokens() List length=%d rc=%d\n"};

inline constexpr TracePoint chainTokenEntry{2019, TraceKind::Entry, "stapi_zol_gwytok.chainGatewayToken(&gwTokPtr=%p)\n"};
inline constexpr TracePoint chainTokenCorrupt{2020, TraceKind::Exception, "stapi_zol_gwytok.chainGatewayToken() GTL state is corrupt - head(%p) tail (%p)\n"};
inline constexpr TracePoint chainTokenNull{2021, TraceKind::Exception, "stapi_zol_gwytok.chainGatewayToken() Chain request was for a null token\n"};
inline constexpr TracePoint chainTokenExit{2022, TraceKind::Exit, "stapi_zol_gwytok.chainGatewayToken(&gwTokPtr=%p) rc=%d\n"};

inline constexpr TracePoint findTokenEntry{2023, TraceKind::Entry, "stapi_zol_gwytok.findGatewayToken(target=%p,&parent=%p)\n"};
inline constexpr TracePoint findTokenRunaway{2024, TraceKind::Exception, "stapi_zol_gwytok.findGatewayToken() GTL iteration has hit RUNAWAY limit %d.....\n"};
inline constexpr TracePoint findTokenNotFound{2025, TraceKind::Debug, "stapi_zol_gwytok.findGatewayToken() Target token not found. GTL entries(%d) head(%p) last(%p)\n"};
inline constexpr TracePoint findTokenFound{2026, TraceKind::Debug, "stapi_zol_gwytok.findGatewayToken() Target token found at GTL Entry(%d)\n"};
inline constexpr TracePoint findTokenCorrupt{2027, TraceKind::Exception, "stapi_zol_gwytok.findGatewayToken() GTL state is corrupt - head(%p) tail (%p)\n"};
inline constexpr TracePoint findTokenNull{2028, TraceKind::Exception, "stapi_zol_gwytok.findGatewayToken() Target was a null token\n"};
inline constexpr TracePoint findTokenExit{2029, TraceKind::Exit, "stapi_zol_gwytok.findGatewayToken(target=%p,&parent=%p) rc=%d\n"};

inline constexpr TracePoint initGTLEntry{2030, TraceKind::Entry, "stapi_zol_gwytok.initGTL()\n"};
inline constexpr TracePoint initGTLExit{2031, TraceKind::Exit, "stapi_zol_gwytok.initGTL() initLockRc=%d, rc=%d\n"};

inline constexpr TracePoint verifyTokenPid{2032, TraceKind::Exception, "stapi_zol_gwytok.verifyGatewayToken PID mismatch: currentPid=%d, owningPid=%d\n"};
inline constexpr TracePoint verifyTokenTid{2033, TraceKind::Exception, "stapi_zol_gwytok.verifyGatewayToken TID mismatch: currentTid=%d, owningTid=%d\n"};
inline constexpr TracePoint createGatewayTokenDone{2033, TraceKind::Event, "stapi_zol_gwytok.createGatewayToken(&gwTokPtr=%p) %s\n"};
inline constexpr TracePoint deleteTokensToken{2034, TraceKind::Event, "stapi_zol_gwytok.deleteGatewayTokens(indexToken=%p) GTL entry %4.4d: %s\n"};
inline constexpr TracePoint deleteTokensEmpty{2035, TraceKind::Event, "stapi_zol_gwytok.deleteGatewayTokens() GTL is EMPTY\n"};
inline constexpr TracePoint createGatewayTokenNoResultSet{2036, TraceKind::Exception, "stapi_zol_gwytok.createGatewayToken Creation of resultset failed rc=%d\n"};
inline constexpr TracePoint deleteTokenResultSetFailed{2037, TraceKind::Exception, "stapi_zol_gwytok.deleteGatewayToken Unable to delete ResultSet. rc=%d\n"};
inline constexpr TracePoint createGatewayTokenAllocated{2038, TraceKind::Debug, "stapi_zol_gwytok.createGatewayToken Called malloc for %d bytes. rc=%p\n"};
inline constexpr TracePoint createGatewayTokenNoMemory{2039, TraceKind::Exception, "stapi_zol_gwytok.createGatewayToken Failed to allocate %d bytes\n"};
inline constexpr TracePoint createGatewayTokenBuffer{2040, TraceKind::Debug, "stapi_zol_gwytok.createGatewayToken Called malloc for %d bytes. rc=%p\n"};
inline constexpr TracePoint createGatewayTokenNoBuffer{2041, TraceKind::Exception, "stapi_zol_gwytok.createGatewayToken Failed to allocate %d bytes.\n"};
inline constexpr TracePoint createGatewayTokenRemoving{2042, TraceKind::Event, "stapi_zol_gwytok.createGatewayToken Removing GatewayToken %p due to comms failure %d\n"};
inline constexpr TracePoint deleteTokenFreeBuffer{2043, TraceKind::Debug, "stapi_zol_gwytok.deleteGatewayToken About to free resultSetBuffer (%p)\n"};
inline constexpr TracePoint deleteTokenFreeVersion{2044, TraceKind::Debug, "stapi_zol_gwytok.deleteGatewayToken About to free protocolVersion String (%p)\n"};
inline constexpr TracePoint deleteTokenInUse{2045, TraceKind::Event, "stapi_zol_gwytok.deleteGatewayToken(&gwTokPtr=%p) Gateway token(%p) is in use by its owner, who frees it. The socket is shut down\n"};

}  // namespace zolstats

#endif
