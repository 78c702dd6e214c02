// The six queries: which action each invokes, and how a failure is told to the application.
// Encoding and parsing are done in stapi_zol_statcomms; checking tokens and arguments in stapi_zol_impl.
// The queries are written down in docs/protocol.md.
#include "stapi_zol_statquery.h"

#include "stapi_zol_diag.h"
#include "stapi_zol_resultsetbuffer.h"
#include "stapi_zol_statcomms.h"
#include "stapi_zol_statquery_trace.h"
#include "zolstats/zolstats.h"

const char version4stapi_zol_statquery[] = ZOLSTATS_VERSION_TEXT;
const char copyright4stapi_zol_statquery[] = ZOLSTATS_COPYRIGHT_TEXT;

namespace zolstats {
namespace {

constexpr char STATS_MBEAN_ACTION_GET_STATS[] = "GET_STATS";
constexpr char STATS_MBEAN_ACTION_STAT_IDS[] = "STAT_IDS";
constexpr char STATS_MBEAN_ACTION_RESOURCE_GROUPS[] = "RESOURCE_GROUPS";

// Where the six differ.
struct Query {
    const char* action;
    const TracePoint &entry, &exit, &data;
    bool entryShowsLength = true;
};

constexpr Query STATS{STATS_MBEAN_ACTION_GET_STATS, commsStatsEntry, commsStatsExit, commsStatsData};
constexpr Query STAT_IDS{STATS_MBEAN_ACTION_STAT_IDS, commsStatIdsEntry, commsStatIdsExit, commsStatIdsData};
constexpr Query RESOURCE_GROUPS{STATS_MBEAN_ACTION_RESOURCE_GROUPS, commsResourceGroupsIdsEntry,
                                commsResourceGroupsIdsExit, commsResourceGroupsIdsData};
constexpr Query STATS_BY_GROUP{STATS_MBEAN_ACTION_GET_STATS, commsStatsByStatGroupIdEntry,
                               commsStatsByStatGroupIdExit, commsStatsByStatGroupIdData, false};
constexpr Query STATS_BY_ID{STATS_MBEAN_ACTION_GET_STATS, commsStatsByStatIdEntry, commsStatsByStatIdExit,
                            commsStatsByStatIdData};
constexpr Query STAT_IDS_BY_GROUP{STATS_MBEAN_ACTION_STAT_IDS, commsStatIdsByStatGroupIdEntry,
                                  commsStatIdsByStatGroupIdExit, commsStatIdsByStatGroupIdData};

// Ask for everything when ids is null. The answer is dumped also when there was no buffer for it.
template <const Query& What>
int ask(int socketDesc, unsigned char** buffer, int* bufferLen, const char* ids) {
    int rc = NULL_PARAMETER;
    if (*buffer != nullptr) {
        FlowReasons reasons{};
        rc = ids == nullptr ? statComms(socketDesc, What.action, buffer, bufferLen, &reasons)
                            : statCommsString(socketDesc, What.action, ids, buffer, bufferLen, &reasons);
        rc = applicationRc(rc, reasons);
    }
    if (rc == ZOLSTATS_OK || rc == NULL_PARAMETER) {
        traceData<What.data>({*buffer, 0, RESULT_SET_TERMINATOR, *bufferLen});
    }
    return rc;
}

template <const Query& What>
int queryAll(int socketDesc, unsigned char** buffer, int* bufferLen) {
    trace<What.entry>(socketDesc, *buffer, *bufferLen);
    const int rc = ask<What>(socketDesc, buffer, bufferLen, nullptr);
    trace<What.exit>(socketDesc, *buffer, *bufferLen, rc);
    return rc;
}

template <const Query& What>
int queryByIds(int socketDesc, unsigned char** buffer, int* bufferLen, const char* ids) {
    if constexpr (What.entryShowsLength) {
        trace<What.entry>(socketDesc, *buffer, *bufferLen, ids);
    } else {
        trace<What.entry>(socketDesc, *buffer, ids);
    }
    const int rc = ask<What>(socketDesc, buffer, bufferLen, ids);
    trace<What.exit>(socketDesc, *buffer, *bufferLen, ids, rc);
    return rc;
}

}  // namespace
}  // namespace zolstats

using namespace zolstats;

extern "C" {

int commsStats(int socketDesc, unsigned char** buffer, int* bufferLen) {
    return queryAll<STATS>(socketDesc, buffer, bufferLen);
}

int commsStatIds(int socketDesc, unsigned char** buffer, int* bufferLen) {
    return queryAll<STAT_IDS>(socketDesc, buffer, bufferLen);
}

int commsResourceGroupsIds(int socketDesc, unsigned char** buffer, int* bufferLen) {
    return queryAll<RESOURCE_GROUPS>(socketDesc, buffer, bufferLen);
}

int commsStatsByStatGroupId(int socketDesc, unsigned char** buffer, int* bufferLen, const char* ids) {
    return queryByIds<STATS_BY_GROUP>(socketDesc, buffer, bufferLen, ids);
}

int commsStatsByStatId(int socketDesc, unsigned char** buffer, int* bufferLen, const char* ids) {
    return queryByIds<STATS_BY_ID>(socketDesc, buffer, bufferLen, ids);
}

int commsStatIdsByStatGroupId(int socketDesc, unsigned char** buffer, int* bufferLen, const char* ids) {
    return queryByIds<STAT_IDS_BY_GROUP>(socketDesc, buffer, bufferLen, ids);
}
}
