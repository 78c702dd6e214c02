// Result sets: the token, the owner check, and the writers that fill a result set buffer.
// Parsing replies into a buffer is stapi_zol_statcomms' business, reading one back stapi_zol_impl's.
// The layout of a buffer is written down below and in docs/tracing.md, which explains its dump.
//
// A buffer is packed, without padding or alignment; integers are 32 bits in host order:
//     "ZOLSTSET" or "ZOLIDSET" (8), element count (4), elements, RESULT_SET_TERMINATOR (4)
//     element:   query length (4), query, return code (4), and if that is not negative: item count (4), items
//     statistic: id length (4), id, data length (4), data
//     id:        id length (4), id
#ifndef STAPI_ZOL_RESULTSETBUFFER_H
#define STAPI_ZOL_RESULTSETBUFFER_H

#include <pthread.h>
#include <stdint.h>
#include <string.h>

#include "zolstats/zolstats.h"

struct ResultSetToken {
    char eyecatcher[8];         // RESULT_SET_EYECATCHER or COPY_EYECATCHER, not terminated
    uint32_t owner;             // OWNER_API or OWNER_USER
    uint32_t reserved;          // 0; copied with the set
    char* queryString;          // owned; the id list of the last by-id query, null before one
    char* verifiedQueryString;  // owned; ID_QUERY_SIZE bytes for getIdQuery()
    unsigned char*
        head;  // the buffer; a copy owns it, otherwise the gateway token does; null when it is lost
    int32_t resultSetBufferLen;  // capacity of the buffer in bytes; 0 or less: not stated
    unsigned char* next;         // where the next read starts
    int32_t queryCount;          // elements in the buffer, known once iteration has started
    int32_t queryIndex;          // the element being read, counted from 1; 0: not started
    int32_t elementResultCount;  // items of the current element
    int32_t
        elementResultIndex;  // 0: next stands at an element; else one more than the items read of this one
    uint32_t owningPid;      // the creator, for OWNER_API only
    pthread_t owningTid;     // the same
    unsigned char* queryElementPtr;  // query text of the current element, inside the buffer
    int32_t queryElementLen;         // its length in bytes
    int32_t queryElementRC;          // its return code
};

namespace zolstats {

inline constexpr uint32_t OWNER_API = 0x8888;
inline constexpr uint32_t OWNER_USER = 0x9999;
inline constexpr char RESULT_SET_EYECATCHER[] = "ZOLRSROB";
inline constexpr char COPY_EYECATCHER[] = "ZOLRSUSR";

inline constexpr char STATS_SET_EYECATCHER[] = "ZOLSTSET";
inline constexpr char IDS_SET_EYECATCHER[] = "ZOLIDSET";
inline constexpr int EYECATCHER_LENGTH = 8;
inline constexpr int SET_HEADER_LENGTH = 12;
inline constexpr uint32_t RESULT_SET_TERMINATOR = 0x0E0F0E0F;
inline constexpr int INTEGER_LENGTH = 4;
inline constexpr size_t ID_QUERY_SIZE = 32000;

// A dump reads whole lines and so up to 15 bytes past a terminator: every buffer has this much more than its
// capacity.
inline constexpr size_t RESULT_SET_SLACK = 16;

inline constexpr int NULL_PARAMETER = -103;
inline constexpr int BAD_OWNER = -116;

// The integer at a position of a buffer, which need not be aligned.
inline int32_t loadInteger(const unsigned char* position) {
    int32_t value;
    memcpy(&value, position, sizeof value);
    return value;
}

// A zeroed buffer of that capacity, with its slack; null when there is no memory. Freed with free().
unsigned char* allocateResultSetBuffer(int capacity);

}  // namespace zolstats

extern "C" {

extern const char version4stapi_zol_resultsetbuffer[];
extern const char copyright4stapi_zol_resultsetbuffer[];

// Make a token without a buffer: 0, NULL_PARAMETER, BAD_OWNER or ZOLSTATS_NO_MEMORY. An OWNER_API token
// belongs to the calling thread.
int createResultSet(ResultSetToken** newRsTokPtr, const char* eyecatcher, unsigned owner);
// Free the token and its texts, not its buffer, and clear the caller's pointer: 0,
// ZOLSTATS_NULL_RESULT_SET_ADDRESS or ZOLSTATS_NULL_RESULT_SET.
int deleteResultSet(ResultSetToken** rsPtr);
// Is the caller the creator of an OWNER_API token? 0, ZOLSTATS_WRONG_PROCESS or ZOLSTATS_WRONG_THREAD.
int verifyAPIResultSetTokenOwner(ResultSetToken* rsPtr);

// The writers append at the cursor and advance it; the caller has made sure of the room. 0, or NULL_PARAMETER
// when the cursor is null.
int addInteger(unsigned char** bufWPtr, int rsInt);
int addChars(unsigned char** bufWPtr, const void* textPtr, int charCount);
int addPlatformChars(unsigned char** bufWPtr, const void* textPtr, int charCount);
// Length, text, and a NUL that the cursor does not pass, so that the next write overwrites it.
int addIdStr(unsigned char** bufWPtr, const char* idString);
// Store the terminator; the cursor does not move.
int addTerminator(unsigned char* writeCursor);
// *isRSTermPtr becomes 1 when a terminator stands at dataCursor, else 0.
int checkTerminator(const unsigned char* dataCursor, int* isRSTermPtr);

// Write the set's token and buffer to the trace, whatever the level: 0, or NULL_PARAMETER.
int dumpResultSetInternal(ResultSetToken* rsPtr);
}

#endif
