// Statistics calls: an Admin request built and exchanged, and its payload rewritten into a result set buffer.
// The socket and the framing below it are stapi_zol_socketcomms' business; tokens and the public calls lie
// above. The requests and the call data of the replies are written down in docs/protocol.md.
#ifndef STAPI_ZOL_STATCOMMS_H
#define STAPI_ZOL_STATCOMMS_H

#include "stapi_zol_socketcomms.h"

struct GatewayToken;

namespace zolstats {

inline constexpr char STATS_MBEAN_NAME[] = "DefaultDomain:ProdId=com.velmor.zol,Activity=Control,type=Stats";
inline constexpr char STATS_MBEAN_PROTOCOL_VERSION[] = "protocol";
inline constexpr char STATS_MBEAN_SIG[] = "java.lang.String";
inline constexpr char ADMIN_CLIENT_COUNTRY[] = "US";
inline constexpr char ADMIN_CLIENT_LANGUAGE[] = "en";
inline constexpr int QUERY_TYPE_SIZE = 25;  // of an action's name in the trace, with its NUL

inline constexpr int PROTOCOL_VERSION_SIZE = 64;  // the usual buffer for it, with its NUL

// The result of a call as the application is told it: 0, ZOLSTATS_CONNECTION_LOST when the peer has gone, or
// ZOLSTATS_EXCHANGE_FAILED for anything else.
int applicationRc(int rc, const FlowReasons& reasons);

// The parsers below, held to the length of the call data. Data that runs past its end, or holds a length of
// 32768 or more, gives ZOLSTATS_EXCHANGE_FAILED and an empty set.
int parseStatsData(const unsigned char* rawData, int rawDataLen, unsigned char** resultSetBuffer,
                   int* resultSetBufferLen);
int parseIdsData(const unsigned char* rawData, int rawDataLen, unsigned char** resultSetBuffer,
                 int* resultSetBufferLen);

}  // namespace zolstats

extern "C" {

extern const char version4stapi_zol_statcomms[];
extern const char copyright4stapi_zol_statcomms[];

// Start a fresh record and have the Gateway fill in its admin id. Results of flowAdminRequest().
int getInitAdminRequest(int socketDesc, AdminRequest* admin, FlowReasons* reasons);
// The callLength of an invocation and of an attribute request, from the strings of the record.
uint32_t calculateCallLength(AdminRequest admin);
uint32_t calculateGetAttrCallLength(AdminRequest admin);

// Ask a query and parse its answer into *buffer, a malloc() area of *bufferLen bytes that grows as needed.
// "GET_STATS" is answered with statistics, every other query type with ids. Results of flowAdminRequest() and
// of the parsers.
int statCommsString(int socketDesc, const char* queryType, const char* queryString, unsigned char** buffer,
                    int* bufferLen, FlowReasons* reasons);
// The same with an empty query string.
int statComms(int socketDesc, const char* queryType, unsigned char** buffer, int* bufferLen,
              FlowReasons* reasons);
// Ask for the protocol version and store it in the token's text, which grows when it is too short.
int statProtocolVer(GatewayToken* gwTokPtr, FlowReasons* reasons);

// Rewrite a reply's call data into the buffer: 0, or ZOLSTATS_NO_MEMORY with the buffer freed and null. These
// forms have no length to hold the data against and trust it.
int parseStatsData(const unsigned char* rawData, unsigned char** resultSetBuffer, int* resultSetBufferLen);
int parseIdsData(const unsigned char* rawData, unsigned char** resultSetBuffer, int* resultSetBufferLen);
// Double the buffer and move the write cursor with it, totaldatawritten bytes in: 0, or ZOLSTATS_NO_MEMORY
// with the buffer freed and null.
int reallocResultsSetBuffer(unsigned char** resultSetBuffer, int* resultSetBufferLen, unsigned char** buffer,
                            int totaldatawritten);
}

#endif
