// The trace lines of stapi_zol_statquery, in order of their numbers. Three spell zolstatRc with a small s,
// and 2308 prints no buffer length: that is how they have always looked.
#ifndef STAPI_ZOL_STATQUERY_TRACE_H
#define STAPI_ZOL_STATQUERY_TRACE_H

#include "stapi_zol_diag.h"

// A table, one row a line.
// clang-format off

namespace zolstats {

inline constexpr TracePoint commsResourceGroupsIdsEntry{2300, TraceKind::Entry, "stapi_zol_statquery.commsResourceGroupsIds(socketDesc=%d, *buffer=%p, *bufferLen=%d)\n"};
inline constexpr TracePoint commsResourceGroupsIdsExit{2301, TraceKind::Exit, "stapi_zol_statquery.commsResourceGroupsIds(socketDesc=%d, *buffer=%p, *bufferLen=%d) zolstatRc=%d\n"};
inline constexpr TracePoint commsStatIdsByStatGroupIdEntry{2302, TraceKind::Entry, "stapi_zol_statquery.commsStatIdsByStatGroupId(socketDesc=%d, *buffer=%p, *bufferLen=%d, ids=%p)\n"};
inline constexpr TracePoint commsStatIdsByStatGroupIdExit{2303, TraceKind::Exit, "stapi_zol_statquery.commsStatIdsByStatGroupId(socketDesc=%d, *buffer=%p, *bufferLen=%d, ids=%p) zolStatRc=%d\n"};
inline constexpr TracePoint commsStatIdsEntry{2304, TraceKind::Entry, "stapi_zol_statquery.commsStatIds(socketDesc=%d, *buffer=%p, *bufferLen=%d)\n"};
inline constexpr TracePoint commsStatIdsExit{2305, TraceKind::Exit, "stapi_zol_statquery.commsStatIds(socketDesc=%d, *buffer=%p, *bufferLen=%d) zolstatRc=%d\n"};
inline constexpr TracePoint commsStatsByStatIdEntry{2306, TraceKind::Entry, "stapi_zol_statquery.commsStatsByStatId(socketDesc=%d, *buffer=%p, *bufferLen=%d, ids=%p)\n"};
inline constexpr TracePoint commsStatsByStatIdExit{2307, TraceKind::Exit, "stapi_zol_statquery.commsStatsByStatId(socketDesc=%d, *buffer=%p, *bufferLen=%d, ids=%p) zolStatRc=%d\n"};
inline constexpr TracePoint commsStatsByStatGroupIdEntry{2308, TraceKind::Entry, "stapi_zol_statquery.commsStatsByStatGroupId(socketDesc=%d, *buffer=%p, *bufferLen, ids=%p)\n"};
inline constexpr TracePoint commsStatsByStatGroupIdExit{2309, TraceKind::Exit, "stapi_zol_statquery.commsStatsByStatGroupId(socketDesc=%d, *buffer=%p, *bufferLen=%d, ids=%p) zolStatRc=%d\n"};
inline constexpr TracePoint commsStatsEntry{2310, TraceKind::Entry, "stapi_zol_statquery.commsStats(socketDesc=%d, *buffer=%p, *bufferLen=%d)\n"};
inline constexpr TracePoint commsStatsExit{2311, TraceKind::Exit, "stapi_zol_statquery.commsStats(socketDesc=%d, *buffer=%p, *bufferLen=%d) zolstatRc=%d\n"};
inline constexpr TracePoint commsResourceGroupsIdsData{2312, TraceKind::Data, "stapi_zol_statquery.commsResourceGroupsIds data=%p len=%d stopword=%8.8X\n"};
inline constexpr TracePoint commsStatIdsByStatGroupIdData{2313, TraceKind::Data, "stapi_zol_statquery.commsStatIdsByStatGroupId data=%p len=%d stopword=%8.8X\n"};
inline constexpr TracePoint commsStatIdsData{2314, TraceKind::Data, "stapi_zol_statquery.commsStatIds data=%p len=%d stopword=%8.8X\n"};
inline constexpr TracePoint commsStatsByStatIdData{2315, TraceKind::Data, "stapi_zol_statquery.commsStatsByStatId data=%p len=%d stopword=%8.8X\n"};
inline constexpr TracePoint commsStatsByStatGroupIdData{2316, TraceKind::Data, "stapi_zol_statquery.commsStatsByStatGroupId data=%p len=%d stopword=%8.8X\n"};
inline constexpr TracePoint commsStatsData{2317, TraceKind::Data, "stapi_zol_statquery.commsStats data=%p len=%d stopword=%8.8X\n"};

}  // namespace zolstats

#endif
