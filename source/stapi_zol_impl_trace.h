// The trace lines of stapi_zol_impl, in order of their numbers. Four of the walk's lines name no site, and
// two calls' entries lack their closing parenthesis: that is how they have always looked.
#ifndef STAPI_ZOL_IMPL_TRACE_H
#define STAPI_ZOL_IMPL_TRACE_H

#include "stapi_zol_diag.h"

// A table, one row a line.
// clang-format off

namespace zolstats {

inline constexpr TracePoint openLocalEntry{1000, TraceKind::Entry, "API.openGatewayConnection(port=%d, &gwTokPtr=0x%p, &protoColVersion=0x%p\n"};
inline constexpr TracePoint openRemoteVersion{1001, TraceKind::Event, "API.openRemoteGatewayConnection(&protoColVersion=0x%p) created String for proto@0x%p\n"};
inline constexpr TracePoint openRemoteNoVersion{1002, TraceKind::Exception, "API.openRemoteGatewayConnection(gwTokPtr=0x%p) New gateway token has NULL protocolVersion pointer\n"};
inline constexpr TracePoint openLocalExit{1003, TraceKind::Exit, "API.openGatewayConnection(port=%d) rc=%d\n"};
inline constexpr TracePoint openRemoteExit{1003, TraceKind::Exit, "API.openRemoteGatewayConnection(port=%d) rc=%d\n"};
inline constexpr TracePoint closeEntry{1004, TraceKind::Entry, "API.closeGatewayConnection(&gwTokPtr=%p)\n"};
inline constexpr TracePoint closeNullAddress{1005, TraceKind::Exception, "API.closeGatewayConnection(&gwTokPtr=%p) Null gateway token Pointer\n"};
inline constexpr TracePoint closeNullToken{1005, TraceKind::Exception, "API.closeGatewayConnection(gwTokPtr=%p) Null gateway token\n"};
inline constexpr TracePoint closeExit{1006, TraceKind::Exit, "API.closeGatewayConnection(&gwTokPtrPtr=%p) rc=%d\n"};
inline constexpr TracePoint closeAllEntry{1007, TraceKind::Entry, "API.closeAllGatewayConnections()\n"};
inline constexpr TracePoint closeAllExit{1008, TraceKind::Exit, "API.closeAllGatewayConnections() gwyTokRc=%d, rc=%d\n"};
inline constexpr TracePoint getResourceGroupIdsEntry{1009, TraceKind::Entry, "API.getResourceGroupIds(gwTok=%p resGrpIdRSPtr=%p)\n"};
inline constexpr TracePoint getResourceGroupIdsSet{1010, TraceKind::Debug, "API.getResourceGroupIds() result set pointer (%p)\n"};
inline constexpr TracePoint getResourceGroupIdsBuffer{1011, TraceKind::Debug, "API.getResourceGroupIds() result set buffer (%p)\n"};
inline constexpr TracePoint getResourceGroupIdsNoBuffer{1012, TraceKind::Exception, "API.getResourceGroupIds(gwTok=%p) resultSetBuf is NULL. Connection may have gone.\n"};
inline constexpr TracePoint getResourceGroupIdsDrop{1013, TraceKind::Event, "API.getResourceGroupIds Removing GatewayToken %p due to comms failure %d\n"};
inline constexpr TracePoint getResourceGroupIdsExit{1014, TraceKind::Exit, "API.getResourceGroupIds() rc=%d\n"};
inline constexpr TracePoint getStatIdsByStatGroupIdEntry{1015, TraceKind::Entry, "API.getStatIdsByStatGroupId(gwTok=%p,providerIdsPtr=%p,statIdRsPtr=%p)\n"};
inline constexpr TracePoint getStatIdsByStatGroupIdSet{1016, TraceKind::Debug, "API.getStatIdsByStatGroupId() result set pointer (%p)\n"};
inline constexpr TracePoint getStatIdsByStatGroupIdNoBuffer{1017, TraceKind::Exception, "API.getStatIdsByStatGroupId(gwTok=%p) resultSetBuf is NULL. Connection may have gone.\n"};
inline constexpr TracePoint getStatIdsByStatGroupIdDrop{1018, TraceKind::Event, "API.getStatIdsByStatGroupId Removing GatewayToken %p due to comms failure %d\n"};
inline constexpr TracePoint getStatIdsByStatGroupIdExit{1019, TraceKind::Exit, "API.getStatIdsByStatGroupId(gwTok=%p,query=%s,rs=%p) rc=%d\n"};
inline constexpr TracePoint getStatIdsEntry{1020, TraceKind::Entry, "API.getStatIds(gwTok=%p,rs=%p)\n"};
inline constexpr TracePoint getStatIdsSet{1021, TraceKind::Debug, "API.getStatIds() result set pointer (%p)\n"};
inline constexpr TracePoint getStatIdsNoBuffer{1022, TraceKind::Exception, "API.getStatIds(gwTok=%p) resultSetBuf is NULL. Connection may have gone.\n"};
inline constexpr TracePoint getStatIdsDrop{1023, TraceKind::Event, "API.getStatIds Removing GatewayToken %p due to comms failure %d\n"};
inline constexpr TracePoint getStatIdsExit{1024, TraceKind::Exit, "API.getStatIds(gwTok=%p,rs=%p) rc=%d\n"};
inline constexpr TracePoint getStatsEntry{1025, TraceKind::Entry, "API.getStats(gwTok=%p,statRSPtr=%p)\n"};
inline constexpr TracePoint getStatsSet{1026, TraceKind::Debug, "API.getStats() result set pointer (%p)\n"};
inline constexpr TracePoint getStatsNoBuffer{1027, TraceKind::Exception, "API.getStats(gwTok=%p) resultSetBuf is NULL. Connection may have gone.\n"};
inline constexpr TracePoint getStatsDrop{1028, TraceKind::Event, "API.getStats Removing GatewayToken %p due to comms failure %d\n"};
inline constexpr TracePoint getStatsExit{1029, TraceKind::Exit, "API.getStats(gwTok=%p,rs=%p) rc=%d\n"};
inline constexpr TracePoint getStatsByStatIdEntry{1030, TraceKind::Entry, "API.getStatsByStatId(gwTok=%p,statIdsPtr=%p,statRSPtr=%p)\n"};
inline constexpr TracePoint getStatsByStatIdSet{1031, TraceKind::Debug, "API.getStatsByStatId() result set pointer (%p)\n"};
inline constexpr TracePoint getStatsByStatIdNoBuffer{1032, TraceKind::Exception, "API.getStatsByStatId(gwTok=%p) resultSetBuf is NULL. Connection may have gone.\n"};
inline constexpr TracePoint getStatsByStatIdDrop{1033, TraceKind::Event, "API.getStatsByStatId Removing GatewayToken %p due to comms failure %d\n"};
inline constexpr TracePoint getStatsByStatIdExit{1034, TraceKind::Exit, "API.getStatsByStatId(gwTok=%p,statIdsPtr=%p,statRSPtr=%p) rc=%d\n"};
inline constexpr TracePoint getStatsByStatGroupIdEntry{1035, TraceKind::Entry, "API.getStatsByStatGroupId(gwTok=%p,providerIdPtr=%p,statRSPtr=%p)\n"};
inline constexpr TracePoint getStatsByStatGroupIdSet{1036, TraceKind::Debug, "API.getStatsByStatGroupId() result set pointer (%p)\n"};
inline constexpr TracePoint getStatsByStatGroupIdNoBuffer{1037, TraceKind::Exception, "API.getStatsByStatGroupId(gwTok=%p) resultSetBuf is NULL. Connection may have gone.\n"};
inline constexpr TracePoint getStatsByStatGroupIdDrop{1038, TraceKind::Event, "API.getStatsByStatGroupId Removing GatewayToken %p due to comms failure %d\n"};
inline constexpr TracePoint getStatsByStatGroupIdExit{1039, TraceKind::Exit, "API.getStatsByStatGroupId(gwTok=%p,providerIdPtr=%p,statRSPtr=%p) rc=%d\n"};
inline constexpr TracePoint getIdQueryEntry{1040, TraceKind::Entry, "API.getIdQuery(rsPtr=%p,idQueryStringPtr=%p)\n"};
inline constexpr TracePoint getIdQueryContent{1041, TraceKind::Exception, "API.getIdQuery Resultset does not contain recognised content\n"};
inline constexpr TracePoint getIdQueryExit{1042, TraceKind::Exit, "API.getIdQuery(rsPtr=%p) goodIdCount=%d rc=%d\n"};
inline constexpr TracePoint firstIdEntry{1043, TraceKind::Entry, "stapi_zol_impl.getFirstIdInternal(rsPtr=%p,idDataPtr=%p)\n"};
inline constexpr TracePoint firstIdHeader{1045, TraceKind::Debug, "stapi_zol_impl.getFirstIdInternal Processing query header %d of %d. Resultset=%p, Datacursor=%p, queryElementLen=%d, queryElementPtr=%p, queryElementRC=%d\n"};
inline constexpr TracePoint firstIdRejected{1046, TraceKind::Event, "stapi_zol_impl.getFirstIdInternal(rsPtr=%p,idDataPtr=%p) Found negative queryElementRC(%d)\n"};
inline constexpr TracePoint firstIdItem{1047, TraceKind::Debug, "stapi_zol_impl.getFirstIdInternal queryIndex=%d, idLen=%d\n"};
inline constexpr TracePoint firstIdSubsetEnd{1048, TraceKind::Debug, "End of subset queryIndex=%d. Resultset=%p\n"};
inline constexpr TracePoint firstIdExit{1049, TraceKind::Exit, "stapi_zol_impl.getFirstIdInternal() endOfResults=%d zolStatRc=%d\n"};
inline constexpr TracePoint nextIdEntry{1050, TraceKind::Entry, "stapi_zol_impl.getNextIdInternal(rsPtr=%p,idDataPtr=%p)\n"};
inline constexpr TracePoint nextIdNotStarted{1052, TraceKind::Debug, "stapi_zol_impl.getNextIdInternal No getFirstId() called on Resultset=%p. Datacursor=%p\n"};
inline constexpr TracePoint nextIdHeader{1053, TraceKind::Debug, "stapi_zol_impl.getNextIdInternal Processing query header %d of %d. Resultset=%p, Datacursor=%p, queryElementLen=%d, queryElementPtr=%p, queryElementRC=%d\n"};
inline constexpr TracePoint nextIdRejected{1054, TraceKind::Event, "stapi_zol_impl.getNextIdInternal(rsPtr=%p,idDataPtr=%p) Found negative queryElementRC(%d)\n"};
inline constexpr TracePoint nextIdItem{1055, TraceKind::Debug, "Processing queryIndex=%d, elementResultIndex=%d. Resultset=%p, dataCursor=%p, idLen=%d\n"};
inline constexpr TracePoint nextIdSubsetEnd{1056, TraceKind::Debug, "End of subset queryIndex=%d. Resultset=%p\n"};
inline constexpr TracePoint nextIdExit{1057, TraceKind::Exit, "stapi_zol_impl.getNextIdInternal() rc=%d\n"};
inline constexpr TracePoint firstStatEntry{1058, TraceKind::Entry, "stapi_zol_impl.getFirstStatInternal(rsPtr=%p,statDataPtr=%p)\n"};
inline constexpr TracePoint firstStatHeader{1060, TraceKind::Debug, "stapi_zol_impl.getFirstStatInternal Processing query header %d of %d. Resultset=%p, Datacursor=%p, queryElementLen=%d, queryElementPtr=%p, queryElementRC=%d\n"};
inline constexpr TracePoint firstStatCaching{1061, TraceKind::Debug, "stapi_zol_impl.getFirstStatInternal Caching new query element details. Resultset=%p, Datacursor=%p, queryElementLen=%d, queryElementPtr=%p, queryElementRC=%d\n"};
inline constexpr TracePoint firstStatSubsetEnd{1062, TraceKind::Debug, "End of subset queryIndex=%d. Resultset=%p\n"};
inline constexpr TracePoint firstStatExit{1063, TraceKind::Exit, "stapi_zol_impl.getFirstStatInternal() last=%d rc=%d\n"};
inline constexpr TracePoint nextStatEntry{1064, TraceKind::Entry, "stapi_zol_impl.getNextStatInternal(rsPtr=%p,statDataPtr=%p)\n"};
inline constexpr TracePoint nextStatNotStarted{1066, TraceKind::Debug, "stapi_zol_impl.getNextStatInternal No getFirstStat() called on Resultset=%p. Datacursor=%p\n"};
inline constexpr TracePoint nextStatHeader{1067, TraceKind::Debug, "stapi_zol_impl.getNextStatInternal Processing query header %d of %d. Resultset=%p, Datacursor=%p, queryElementLen=%d, queryElementPtr=%p, queryElementRC=%d\n"};
inline constexpr TracePoint nextStatRejected{1068, TraceKind::Event, "stapi_zol_impl.getNextStatInternal(rsPtr=%p,statDataPtr=%p) Found negative queryElementRC(%d)\n"};
inline constexpr TracePoint nextStatItem{1069, TraceKind::Debug, "Processing queryIndex=%d, elementResultIndex=%d. Resultset=%p, dataCursor=%p, statIdLen=%d\n"};
inline constexpr TracePoint nextStatSubsetEnd{1070, TraceKind::Debug, "End of subset queryIndex=%d. Resultset=%p\n"};
inline constexpr TracePoint nextStatExit{1071, TraceKind::Exit, "stapi_zol_impl.getNextStatInternal() rc=%d\n"};
inline constexpr TracePoint copyEntry{1072, TraceKind::Entry, "API.copyResultSet(srcRsPtr=%p,&tarRsPtr=%p)\n"};
inline constexpr TracePoint copyNoBuffer{1073, TraceKind::Exception, "API.copyResultSet(srcRs=%p) resultSetBuf is NULL - no data to copy\n"};
inline constexpr TracePoint copyContent{1074, TraceKind::Exception, "API.copyResultSet Resultset does not contain recognised content\n"};
inline constexpr TracePoint copyToken{1075, TraceKind::Event, "API.copyResultSet(srcRs=%p,&tarRsPtr=%p) Created result set token(%p)\n"};
inline constexpr TracePoint copyAllocated{1076, TraceKind::Debug, "API.copyResultSet Called malloc for %d bytes. rc=%p\n"};
inline constexpr TracePoint copyNoMemory{1077, TraceKind::Exception, "API.copyResultSet() Malloc failed for %d bytes\n"};
inline constexpr TracePoint copyNoToken{1078, TraceKind::Exception, "API.copyResultSet() Invalid source resultset zolStatRc=d\n"};
inline constexpr TracePoint copyExit{1079, TraceKind::Exit, "API.copyResultSet(srcRs=%p,tarRsPtr=%p) rc=%d\n"};
inline constexpr TracePoint freeEntry{1080, TraceKind::Entry, "API.freeResultSet(&rsPtr=%p)\n"};
inline constexpr TracePoint freeNullAddress{1081, TraceKind::Exception, "API.freeResultSet(&rsPtr=%p) Supplied result set pointer is NULL\n"};
inline constexpr TracePoint freeNullToken{1082, TraceKind::Exception, "API.freeResultSet(&rsPtr=%p) Supplied result set token is NULL\n"};
inline constexpr TracePoint freeNotACopy{1083, TraceKind::Exception, "API.freeResultSet(rsPtr=%p) Cannot free result sets with owner=%d\n"};
inline constexpr TracePoint freeBuffer{1085, TraceKind::Debug, "API.freeResultSet() free result set buffer storage (%p)\n"};
inline constexpr TracePoint freeNoBuffer{1086, TraceKind::Exception, "API.freeResultSet(rsPtr=%p) Result set buffer pointer was already null\n"};
inline constexpr TracePoint freeExit{1087, TraceKind::Exit, "API.freeResultSet(&rsPtr=%p) rc=%d\n"};
inline constexpr TracePoint getVersionEntry{1088, TraceKind::Entry, "API.getStatsAPIVersion(&apiVersPtr=%p)\n"};
inline constexpr TracePoint getVersionNull{1089, TraceKind::Exception, "API.getStatsAPIVersion() Supplied pointer is NULL\n"};
inline constexpr TracePoint getVersionExit{1090, TraceKind::Exit, "API.getStatsAPIVersion(apiVersPtr=%p), rc=%d\n"};
inline constexpr TracePoint getTraceLevelEntry{1091, TraceKind::Entry, "API.getAPITraceLevel(traceStatePtr=%p)\n"};
inline constexpr TracePoint getTraceLevelNull{1092, TraceKind::Exception, "API.getAPITraceLevel() Supplied pointer is NULL\n"};
inline constexpr TracePoint getTraceLevelExit{1093, TraceKind::Exit, "API.getAPITraceLevel(traceStatePtr=%p) rc=%d\n"};
inline constexpr TracePoint setTraceLevelEntry{1094, TraceKind::Entry, "API.setAPITraceLevel(traceState=%d) current trace level=%d\n"};
inline constexpr TracePoint setTraceLevelInvalid{1095, TraceKind::Exception, "API.setAPITraceLevel() Supplied trace state value %d was invalid\n"};
inline constexpr TracePoint setTraceLevelExit{1096, TraceKind::Exit, "API.setAPITraceLevel(traceState=%d) new trace level=%d rc=%d\n"};
inline constexpr TracePoint setTraceFileEntry{1097, TraceKind::Entry, "API.setAPITraceFile(traceFile=%p) current trace destination=%s\n"};
inline constexpr TracePoint setTraceFileSwitched{1098, TraceKind::Debug, "API.setAPITraceFile() Trace file switched to new destination. Filename=%s\n"};
inline constexpr TracePoint setTraceFileUnchanged{1099, TraceKind::Debug, "API.setAPITraceFile() Trace file destination is unchanged. Filename=%s\n"};
inline constexpr TracePoint setTraceFileFailed{1100, TraceKind::Exception, "API.setAPITraceFile(%s) file append failed with errno=%d. Trace file destination is unchanged. Filename=%s\n"};
inline constexpr TracePoint setTraceFileExit{1101, TraceKind::Exit, "API.setAPITraceFile(traceFile=%p) new trace destination=%s rc=%d\n"};
inline constexpr TracePoint dumpResultSetEntry{1102, TraceKind::Entry, "API.dumpResultSet(rsPtr=%p)\n"};
inline constexpr TracePoint dumpResultSetNoBuffer{1103, TraceKind::Exception, "API.dumpResultSet(rsPtr=%p) resultSetBuf is NULL - no data to dump\n"};
inline constexpr TracePoint dumpResultSetContent{1104, TraceKind::Exception, "API.dumpResultSet Resultset does not contain recognised content\n"};
inline constexpr TracePoint dumpResultSetExit{1105, TraceKind::Exit, "API.dumpResultSet(rsPtr=%p) rc=%d\n"};
inline constexpr TracePoint dumpStateEntry{1106, TraceKind::Entry, "API.dumpState()\n", TraceStyle::KeptTimestamp};
inline constexpr TracePoint dumpStateExit{1107, TraceKind::Exit, "API.dumpState()\n"};
inline constexpr TracePoint dupAsciiEntry{1108, TraceKind::Entry, "stapi_zol_impl.dup2ASCIIString(dataPtr=%p, &outputPtr=%p) \n"};
inline constexpr TracePoint dupAsciiAllocated{1109, TraceKind::Debug, "stapi_zol_impl.dup2ASCIIString() called malloc for %d bytes. rc=%p\n"};
inline constexpr TracePoint dupAsciiCopying{1112, TraceKind::Debug, "stapi_zol_impl.dup2ASCIIString() using memcpy() on writePtr(%p) bytes(%d)\n"};
inline constexpr TracePoint dupAsciiNoMemory{1113, TraceKind::Exception, "stapi_zol_impl.dup2ASCIIString() malloc failed for %d bytes\n"};
inline constexpr TracePoint dupAsciiInvalid{1114, TraceKind::Exception, "stapi_zol_impl.dup2ASCIIString() supplied input data pointer was NULL or overlength\n"};
inline constexpr TracePoint dupAsciiExit{1115, TraceKind::Exit, "stapi_zol_impl.dup2ASCIIString() readByteCount=%d rc=%d\n"};
inline constexpr TracePoint dupNativeEntry{1116, TraceKind::Entry, "stapi_zol_impl.dup2NativeString(source dataPtr=%p, &outputPtr=%p) \n"};
inline constexpr TracePoint dupNativeAllocated{1117, TraceKind::Debug, "stapi_zol_impl.dup2NativeString() called strdup for %d bytes. rc=0x%p\n"};
inline constexpr TracePoint dupNativeCopying{1120, TraceKind::Debug, "stapi_zol_impl.dup2NativeString() about to memcpy for %d bytes. \n"};
inline constexpr TracePoint dupNativeNoMemory{1121, TraceKind::Exception, "stapi_zol_impl.dup2NativeString() malloc failed for %d bytes\n"};
inline constexpr TracePoint dupNativeInvalid{1122, TraceKind::Exception, "stapi_zol_impl.dup2NativeString() supplied input data pointer was NULL or overlength\n"};
inline constexpr TracePoint dupNativeExit{1123, TraceKind::Exit, "stapi_zol_impl.dup2NativeString() readByteCount=%d rc=%d\n"};
inline constexpr TracePoint initListFailed{1124, TraceKind::Exception, "stapi_zol_impl.stapiInit() Initialization of zolstats API Gateway Token List has failed. rc=%d\n"};
inline constexpr TracePoint getResourceGroupIdsQuery{1128, TraceKind::Event, "API.getResourceGroupIds Getting Resource Group Ids\n"};
inline constexpr TracePoint getStatIdsByStatGroupIdQuery{1129, TraceKind::Event, "API.getStatIdsByStatGroupId Getting Stat Ids for Stat Group Ids %s\n"};
inline constexpr TracePoint getStatsQuery{1130, TraceKind::Event, "API.getStats Getting all Stats from the Gateway Daemon\n"};
inline constexpr TracePoint getStatIdsQuery{1130, TraceKind::Event, "API.getStatIds Getting Stat Ids from the Gateway\n"};
inline constexpr TracePoint getStatsByStatIdQuery{1131, TraceKind::Event, "API.getStatsByStatId Getting Stats for Stat Ids %s\n"};
inline constexpr TracePoint getStatsByStatGroupIdQuery{1132, TraceKind::Event, "API.getStatsByStatGroupId Getting Stats for Stat Group Ids %s\n"};
inline constexpr TracePoint closeDone{1133, TraceKind::Event, "API.closeGatewayConnection Closed Gateway connection for token %p\n"};
inline constexpr TracePoint closeAllDone{1134, TraceKind::Event, "API.closeAllGatewayConnections Closed all Gateway connections\n"};
inline constexpr TracePoint copyDone{1135, TraceKind::Event, "API.copyResultSet Copied resultsetbuffer from %p to %p\n"};
inline constexpr TracePoint freeDone{1136, TraceKind::Event, "API.freeResultSetFreed result set %p\n"};
inline constexpr TracePoint firstIdDone{1137, TraceKind::Event, "stapi_zol_impl.getFirstIdInternal Successfully retrieved first Id from resultset %p\n"};
inline constexpr TracePoint nextIdDone{1138, TraceKind::Event, "stapi_zol_impl.getNextIdInternal Successfully retrieved the next Id from resultset %p\n"};
inline constexpr TracePoint firstStatDone{1139, TraceKind::Event, "stapi_zol_impl.getFirstStatInternal Successfully retrieved first stat from resultset %p\n"};
inline constexpr TracePoint nextStatDone{1140, TraceKind::Event, "stapi_zol_impl.getNextStatInternal Successfully retrieved the next stat from resultset %p\n"};
inline constexpr TracePoint getIdQueryDone{1141, TraceKind::Event, "API.getIdQuery Created query string %s from results in result set token %p\n"};
inline constexpr TracePoint openRemoteEntry{1142, TraceKind::Entry, "API.openRemoteGatewayConnection(hostname=%s, port=%d, &gwTokPtr=0x%p, &protoColVersion=0x%p\n"};
inline constexpr TracePoint setTimeoutEntry{1143, TraceKind::Entry, "API.setAPITimeout(milliseconds=%d)\n"};
inline constexpr TracePoint setTimeoutInvalid{1144, TraceKind::Exception, "API.setAPITimeout() Supplied time limit %d was invalid\n"};
inline constexpr TracePoint setTimeoutExit{1145, TraceKind::Exit, "API.setAPITimeout(milliseconds=%d) rc=%d\n"};
inline constexpr TracePoint getTimeoutEntry{1146, TraceKind::Entry, "API.getAPITimeout(milliseconds=%p)\n"};
inline constexpr TracePoint getTimeoutNull{1147, TraceKind::Exception, "API.getAPITimeout() Supplied pointer is NULL\n"};
inline constexpr TracePoint getTimeoutExit{1148, TraceKind::Exit, "API.getAPITimeout(milliseconds=%p) rc=%d\n"};
inline constexpr TracePoint timeLimitPassed{1149, TraceKind::Exception, "API.%s() time limit of %d ms has passed\n"};
inline constexpr TracePoint firstIdCallEntry{1150, TraceKind::Entry, "API.getFirstId(rsPtr=%p,idDataPtr=%p)\n"};
inline constexpr TracePoint firstIdCallContent{1151, TraceKind::Exception, "API.getFirstId Resultset does not contain id data\n"};
inline constexpr TracePoint firstIdCallExit{1152, TraceKind::Exit, "API.getFirstId() zolStatRc=%d\n"};
inline constexpr TracePoint nextIdCallEntry{1153, TraceKind::Entry, "API.getNextId(rsPtr=%p,idDataPtr=%p)\n"};
inline constexpr TracePoint nextIdCallContent{1154, TraceKind::Exception, "API.getNextId Resultset does not contain id data\n"};
inline constexpr TracePoint nextIdCallExit{1155, TraceKind::Exit, "API.getNextId() rc=%d\n"};
inline constexpr TracePoint firstStatCallEntry{1156, TraceKind::Entry, "API.getFirstStat(rsPtr=%p,statDataPtr=%p)\n"};
inline constexpr TracePoint firstStatCallContent{1157, TraceKind::Exception, "API.getFirstStat Resultset does not contain statistics\n"};
inline constexpr TracePoint firstStatCallExit{1158, TraceKind::Exit, "API.getFirstStat() rc=%d\n"};
inline constexpr TracePoint nextStatCallEntry{1159, TraceKind::Entry, "API.getNextStat(rsPtr=%p,statDataPtr=%p)\n"};
inline constexpr TracePoint nextStatCallContent{1160, TraceKind::Exception, "API.getNextStat Resultset does not contain statistics\n"};
inline constexpr TracePoint nextStatCallExit{1161, TraceKind::Exit, "API.getNextStat() rc=%d\n"};

}  // namespace zolstats

#endif
