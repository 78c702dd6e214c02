// Gateway tokens: the record of one open connection, and the process-wide list of them.
// Talking to the Gateway is left to lower modules; what an application may do with a token is checked above.
// How the list and its lock are used is written down in CONTRIBUTING.md.
#ifndef STAPI_ZOL_GWYTOK_H
#define STAPI_ZOL_GWYTOK_H

#include <pthread.h>
#include <stddef.h>
#include <stdint.h>

struct ResultSetToken;

// One open connection. Its address is the application's handle, trusted only while it is found in the list.
struct GatewayToken {
    char eyecatcher[8];           // "ZOLGWTOK", not terminated
    int32_t port;                 // of the Gateway
    int32_t connStatus;           // CONNECTION_...
    int32_t socket;               // -1 until there is one
    ResultSetToken* connRSToken;  // owned; its buffer is resultSetBuf
    unsigned char* resultSetBuf;  // owned; null when it could not grow
    int32_t resultSetBufLen;      // its capacity in bytes
    uint32_t owningPid;           // the process and the thread that opened the connection
    pthread_t owningTid;
    char* protocolVersion;  // owned; the Gateway's text; null if it could not be kept
    GatewayToken* nextGwyTokPtr;
    int32_t use;  // TOKEN_...; changes under the list's lock
};

namespace zolstats {

inline constexpr char GATEWAY_TOKEN_EYECATCHER[] = "ZOLGWTOK";
inline constexpr int RESULT_SET_BUFFER_SIZE =
    32768;  // of a new connection; it doubles when a reply needs more

inline constexpr int32_t CONNECTION_CREATED = 0;
inline constexpr int32_t CONNECTION_OPEN = 1;
inline constexpr int32_t CONNECTION_FAILED = 2;
inline constexpr int32_t CONNECTION_CLOSE_FAILED = 3;
inline constexpr int32_t CONNECTION_CLOSED = 4;

// While a call of its owner uses a connection, no other thread frees its token or looks into its result set.
inline constexpr int32_t TOKEN_IDLE = 0;
inline constexpr int32_t TOKEN_IN_USE = 1;     // by its owner: a query, or the opening itself
inline constexpr int32_t TOKEN_ABANDONED = 2;  // closed by another thread; the call that uses it frees it

// The list is walked no further than this, lest a damaged one be walked for ever: a search finds the first
// 257 tokens, a dump or a deletion of all handles 256.
inline constexpr int GTL_RUNAWAY_LIMIT = 256;

inline constexpr int GTL_CORRUPT = 1001;  // no head; so also an empty list
inline constexpr int GTL_NULL_TARGET = 1002;
inline constexpr int GTL_NOT_FOUND = 1003;
inline constexpr int GTL_FOUND = 1004;
inline constexpr int GTL_RUNAWAY = 1005;
inline constexpr int GTL_EMPTY = 1006;

inline constexpr int LOCK_AND_FIND = 1;  // lockRequired of a deletion that looks the token up

inline constexpr size_t TOKEN_TEXT_SIZE = 512;  // what formatGatewayToken() may fill

// Begin to use a connection that verifyGatewayToken() has let through: 0, or ZOLSTATS_TOKEN_NOT_FOUND if it was
// closed since.
int beginUse(void* gwTok);
// End that use. False when another thread has closed the connection meanwhile: then the token is freed here.
bool endUse(GatewayToken* token);

// In a child process after fork(): make the list's lock anew, which a thread of the parent may have held.
void renewListLock();

}  // namespace zolstats

extern "C" {

extern const char version4stapi_zol_gwytok[];
extern const char copyright4stapi_zol_gwytok[];

// Make the list's lock usable; the result of initializeLock().
int initGTL(void);

// Open a connection from allocation to protocol version and put its token in the list and into *gwTokPtr. On
// failure nothing is left behind and *gwTokPtr is untouched: ZOLSTATS_NO_MEMORY, ZOLSTATS_HOST_NOT_FOUND,
// ZOLSTATS_CONNECT_TIMED_OUT, ZOLSTATS_CONNECTION_REFUSED, ZOLSTATS_NETWORK_UNREACHABLE,
// ZOLSTATS_CONNECT_FAILED, ZOLSTATS_CONNECTION_LOST, ZOLSTATS_EXCHANGE_FAILED, or a code of the chaining.
int createGatewayToken(void** gwTokPtr, const char* hostname, int port);

// Is the token in the list, and the caller its owner? 0, ZOLSTATS_TOKEN_NOT_FOUND, ZOLSTATS_WRONG_PROCESS or
// ZOLSTATS_WRONG_THREAD.
int verifyGatewayToken(void* gwTok);

// Close the connection, free the token and clear the caller's pointer. With lockRequired 1 the token is
// looked up in the list; otherwise the caller holds the list's lock and the token is its head. A connection that
// another thread is using is shut down and taken out of the list; that thread frees it. 0,
// ZOLSTATS_NULL_TOKEN_ADDRESS, ZOLSTATS_NULL_TOKEN or ZOLSTATS_TOKEN_NOT_FOUND.
int deleteGatewayToken(void** gwTokPtr, int lockRequired);
// Delete the first 256 tokens: 0, GTL_RUNAWAY when there were 256 or more, GTL_EMPTY.
int deleteGatewayTokens(void);

// Describe a token, or a null one, in the TOKEN_TEXT_SIZE bytes at dst: 0, or NULL_PARAMETER.
int formatGatewayToken(const GatewayToken* token, char* dst);
// Write the list and its result sets to the trace, whatever the level: 0, GTL_RUNAWAY or GTL_EMPTY.
int dumpGatewayTokens(void);
}

#endif
