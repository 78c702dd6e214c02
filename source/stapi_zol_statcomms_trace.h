// The trace lines of stapi_zol_statcomms, in order of their numbers.
#ifndef STAPI_ZOL_STATCOMMS_TRACE_H
#define STAPI_ZOL_STATCOMMS_TRACE_H

#include "stapi_zol_diag.h"

// A table, one row a line.
// clang-format off

namespace zolstats {

inline constexpr TracePoint statProtocolVerEntry{2200, TraceKind::Entry, "stapi_zol_statcomms.statProtocolVer(gwTokPtr=%p)\n"};
inline constexpr TracePoint statProtocolVerInitialised{2201, TraceKind::Debug, "stapi_zol_statcomms.statProtocolVer Successfully init'd admin request\n"};
inline constexpr TracePoint statProtocolVerGot{2202, TraceKind::Debug, "stapi_zol_statcomms.statProtocolVer Successfully got the protocol version from the Gateway\n"};
inline constexpr TracePoint statProtocolVerBuffer{2203, TraceKind::Debug, "stapi_zol_statcomms.statProtocolVer Called malloc for %d bytes. rc=%p\n"};
inline constexpr TracePoint statProtocolVerNoMemory{2204, TraceKind::Exception, "stapi_zol_statcomms.statProtocolVerFailed to allocate %d bytes.\n"};
inline constexpr TracePoint statProtocolVerExit{2205, TraceKind::Exit, "stapi_zol_statcomms.statProtocolVer(gwTokPtr=%p) rc=%d\n"};

inline constexpr TracePoint statCommsEntry{2206, TraceKind::Entry, "stapi_zol_statcomms.statComms(socketDesc=%d, queryType=%s, buffer=%p, bufferLen=%d, reasons=%p)\n"};
inline constexpr TracePoint statCommsExit{2207, TraceKind::Exit, "stapi_zol_statcomms.statComms(socketDesc=%d, queryType=%s, buffer=%p, bufferLen=%d, reasons=%p) rc=%d\n"};

inline constexpr TracePoint statCommsStringEntry{2208, TraceKind::Entry, "stapi_zol_statcomms.statCommsString(socketDesc=%d, queryType=%s, queryString=%p, *buffer=%p, *bufferLen=%d, reasons=%p)\n"};
inline constexpr TracePoint statCommsStringInitialised{2209, TraceKind::Debug, "stapi_zol_statcomms.statCommsString Successfully init'd the Admin Request\n"};
inline constexpr TracePoint statCommsStringStats{2210, TraceKind::Debug, "stapi_zol_statcomms.statCommsString Successfully called the Gateway for Stats\n"};
inline constexpr TracePoint statCommsStringIds{2211, TraceKind::Debug, "stapi_zol_statcomms.statCommsString Successfully called the Gateway for IDs\n"};
inline constexpr TracePoint statCommsStringFree{2212, TraceKind::Debug, "stapi_zol_statcomms.statCommsString Free request callData %p\n"};
inline constexpr TracePoint statCommsStringExit{2213, TraceKind::Exit, "stapi_zol_statcomms.statCommsString(socketDesc=%d, queryType=%s, queryString=%p, *buffer=%p, *bufferLen=%d, reasons=%p) rc=%d\n"};

inline constexpr TracePoint getInitAdminRequestEntry{2214, TraceKind::Entry, "stapi_zol_statcomms.getInitAdminRequest(socketDesc=%d, admin=%p, reasons=%p)\n"};
inline constexpr TracePoint getInitAdminRequestExit{2215, TraceKind::Exit, "stapi_zol_statcomms.getInitAdminRequest(socketDesc=%d, admin=%p, reasons=%p) rc=%d\n"};
inline constexpr TracePoint calculateCallLengthEntry{2216, TraceKind::Entry, "stapi_zol_statcomms.calculateCallLength\n", TraceStyle::KeptTimestamp};
inline constexpr TracePoint calculateCallLengthExit{2217, TraceKind::Exit, "stapi_zol_statcomms.calculateCallLengthsize=%d\n"};
inline constexpr TracePoint calculateGetAttrCallLengthEntry{2218, TraceKind::Entry, "stapi_zol_statcomms.calculateGetAttrCallLength\n", TraceStyle::KeptTimestamp};
inline constexpr TracePoint calculateGetAttrCallLengthExit{2219, TraceKind::Exit, "stapi_zol_statcomms.calculateGetAttrCallLengthsize=%d\n"};

inline constexpr TracePoint parseStatsDataEntry{2220, TraceKind::Entry, "stapi_zol_statcomms.parseStatsData(rawData=%p, *resultSetBuffer=%p, *resultSetBufferLen=%d)\n"};
inline constexpr TracePoint parseStatsDataReceived{2221, TraceKind::Debug, "stapi_zol_statcomms.parseStatsData received %d responses from the Gateway\n"};
inline constexpr TracePoint parseStatsDataReading{2222, TraceKind::Debug, "stapi_zol_statcomms.parseStatsData reading %d stats for result %d\n"};
inline constexpr TracePoint parseStatsDataExit{2223, TraceKind::Exit, "stapi_zol_statcomms.parseStatsData(rawData=%p, *resultSetBuffer=%p, *resultSetBufferLen=%d) rc=%d\n"};

inline constexpr TracePoint parseIdsDataEntry{2224, TraceKind::Entry, "stapi_zol_statcomms.parseIdsData(rawData=%p, *resultSetBuffer=%p, *resultSetBufferLen=%d)\n"};
inline constexpr TracePoint parseIdsDataReceived{2225, TraceKind::Debug, "stapi_zol_statcomms.parseIdsData received %d responses from the Gateway\n"};
inline constexpr TracePoint parseIdsDataCode{2226, TraceKind::Debug, "stapi_zol_statcomms.parseIdsData Query rc=%d or (hex=%8.8X)\n"};
inline constexpr TracePoint parseIdsDataReading{2227, TraceKind::Debug, "stapi_zol_statcomms.parseIdsData reading %d IDs for result %d\n"};
inline constexpr TracePoint parseIdsDataBadElement{2228, TraceKind::Debug, "stapi_zol_statcomms.parseIdsData Bad query id element(%d), move on to next one\n"};
inline constexpr TracePoint parseIdsDataExit{2229, TraceKind::Exit, "stapi_zol_statcomms.parseIdsData(rawData=%p, *resultSetBuffer=%p, *resultSetBufferLen=%d) rc=%d\n"};

inline constexpr TracePoint statCommsStringPayload{2230, TraceKind::Data, "stapi_zol_statcomms.statCommsString data=%p len=%d stopword=%8.8X\n"};

inline constexpr TracePoint statisticBlock{2231, TraceKind::Debug, "stapi_zol_statcomms.parseStatsData block type=%2.8X \n"};
inline constexpr TracePoint statisticChunkLength{2232, TraceKind::Debug, "stapi_zol_statcomms.parseStatsData chunklength=%d \n"};
inline constexpr TracePoint statisticIdLength{2233, TraceKind::Debug, "stapi_zol_statcomms.parseStatsData statistic ID length=%d \n"};
inline constexpr TracePoint statisticFirstChunk{2234, TraceKind::Debug, "stapi_zol_statcomms.parseStatsData written %d of %d bytes. Remaining data = %d bytes \n"};
inline constexpr TracePoint statisticLongChunk{2235, TraceKind::Debug, "stapi_zol_statcomms.parseStatsData written %d bytes. Remaining data = %d bytes \n"};
inline constexpr TracePoint statisticNextBlock{2236, TraceKind::Debug, "stapi_zol_statcomms.parseStatsData block type=%2.8X \n"};
inline constexpr TracePoint statisticShortChunk{2237, TraceKind::Debug, "stapi_zol_statcomms.parseStatsData written %d bytes. Remaining data = %d bytes \n"};
inline constexpr TracePoint statisticInOneChunk{2238, TraceKind::Debug, "stapi_zol_statcomms.parseStatsData written %d bytes.  \n"};
inline constexpr TracePoint statisticDataLength{2239, TraceKind::Debug, "stapi_zol_statcomms.parseStatsData statistic data length=%d \n"};
inline constexpr TracePoint parseStatsDataRunningTotal{2240, TraceKind::Debug, "stapi_zol_statcomms.parseStatsData running total of parsed data = %d bytes \n"};
inline constexpr TracePoint parseStatsDataTotal{2241, TraceKind::Debug, "stapi_zol_statcomms.parseStatsData parsed data total = %d bytes \n"};

inline constexpr TracePoint statProtocolVerFree{2242, TraceKind::Debug, "stapi_zol_statcomms.statProtocolVer Free request callData %p\n"};
inline constexpr TracePoint malformedCallData{2243, TraceKind::Exception, "stapi_zol_statcomms.%s malformed call data at offset %d of %d\n"};

inline constexpr TracePoint reallocEntry{2244, TraceKind::Entry, "stapi_zol_statcomms.reallocResultsSetBuffer(*resultSetBuffer=%p, *resultSetBufferLen=%d, *buffer=%p, totaldatawritten=%d)\n"};
inline constexpr TracePoint reallocExit{2245, TraceKind::Exit, "stapi_zol_statcomms.reallocResultsSetBuffer(*resultSetBuffer=%p, *resultSetBufferLen=%d, *buffer=%p) rc=%d)\n"};

}  // namespace zolstats

#endif
