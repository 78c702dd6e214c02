// Result sets: tokens and their owners, the writers of a buffer, and its dump.
// Nothing here knows the wire or checks the room in a buffer; stapi_zol_statcomms does both.
// The layout of a buffer stands in the header.
#include "stapi_zol_resultsetbuffer.h"

#include <stdlib.h>

#include <algorithm>

#include "stapi_zol_diag.h"
#include "stapi_zol_resultsetbuffer_trace.h"

const char version4stapi_zol_resultsetbuffer[] = ZOLSTATS_VERSION_TEXT;
const char copyright4stapi_zol_resultsetbuffer[] = ZOLSTATS_COPYRIGHT_TEXT;

namespace zolstats {

unsigned char* allocateResultSetBuffer(int capacity) {
    return static_cast<unsigned char*>(
        calloc(1, static_cast<size_t>(std::max(capacity, 0)) + RESULT_SET_SLACK));
}

namespace {

constexpr int TOKEN_SIZE = sizeof(ResultSetToken);

ResultSetToken* allocateToken() {
    return static_cast<ResultSetToken*>(
        allocateTraced<createResultSetToken, createResultSetTokenFailed>(TOKEN_SIZE));
}

// The area for getIdQuery(), zeroed. Its failure is reported with the token's size: that is what line 2131
// shows.
char* allocateIdQueryArea() {
    auto* area = static_cast<char*>(calloc(1, ID_QUERY_SIZE));
    trace<createResultSetArea>(static_cast<int>(ID_QUERY_SIZE), area);
    if (area == nullptr) {
        trace<createResultSetAreaFailed>(TOKEN_SIZE);
    }
    return area;
}

void markToken(ResultSetToken* token, const char* eyecatcher, unsigned owner) {
    memcpy(token->eyecatcher, eyecatcher, std::min(strlen(eyecatcher), sizeof token->eyecatcher));
    token->owner = owner;
    if (owner == OWNER_API) {
        getPidTid(&token->owningPid, nullptr);
        token->owningTid = pthread_self();
    }
}

int makeToken(ResultSetToken** newRsTokPtr, const char* eyecatcher, unsigned owner) {
    if (newRsTokPtr == nullptr || eyecatcher == nullptr) {
        return NULL_PARAMETER;
    }
    if (owner != OWNER_API && owner != OWNER_USER) {
        return BAD_OWNER;
    }
    ResultSetToken* token = allocateToken();
    if (token == nullptr) {
        *newRsTokPtr = nullptr;
        return ZOLSTATS_NO_MEMORY;
    }
    token->verifiedQueryString = allocateIdQueryArea();
    if (token->verifiedQueryString == nullptr) {
        free(token);
        return ZOLSTATS_NO_MEMORY;
    }
    markToken(token, eyecatcher, owner);
    *newRsTokPtr = token;
    return ZOLSTATS_OK;
}

int releaseToken(ResultSetToken** rsPtr) {
    if (rsPtr == nullptr) {
        return ZOLSTATS_NULL_RESULT_SET_ADDRESS;
    }
    ResultSetToken* token = *rsPtr;
    if (token == nullptr) {
        return ZOLSTATS_NULL_RESULT_SET;
    }
    if (char* area = token->verifiedQueryString; area != nullptr) {
        const FreedAddress freedArea(area);
        trace<deleteResultSetArea>(area);
        free(area);
        trace<deleteResultSetAreaFreed>(freedArea);
    }
    free(token->queryString);
    const FreedAddress freedToken(token);
    trace<deleteResultSetToken>(token);
    free(token);
    trace<deleteResultSetTokenFreed>(freedToken);
    *rsPtr = nullptr;
    return ZOLSTATS_OK;
}

template <const TracePoint& NullCursor>
int append(unsigned char** bufWPtr, const void* bytes, int count) {
    if (bufWPtr == nullptr || *bufWPtr == nullptr) {
        trace<NullCursor>(bufWPtr);
        return NULL_PARAMETER;
    }
    memcpy(*bufWPtr, bytes, static_cast<size_t>(count));
    *bufWPtr += count;
    return ZOLSTATS_OK;
}

template <const TracePoint& NullCursor, const TracePoint& Copied>
int appendText(unsigned char** bufWPtr, const void* textPtr, int charCount) {
    const int rc = append<NullCursor>(bufWPtr, textPtr, charCount);
    if (rc == ZOLSTATS_OK) {
        trace<Copied>(charCount, textPtr, *bufWPtr - charCount);
    }
    return rc;
}

// The length is read back as its first byte only: that is what line 2104 has always shown.
void writeIdString(unsigned char** bufWPtr, const char* idString) {
    unsigned char* start = *bufWPtr;
    const auto length = static_cast<uint32_t>(strlen(idString));
    trace<addIdStrStart>(start);
    trace<addIdStrLength>(length);
    memcpy(start, &length, sizeof length);
    trace<addIdStrWroteLength>(length, start, static_cast<unsigned>(start[0]));
    memcpy(start + sizeof length, idString, length + 1);
    trace<addIdStrWroteText>(length, start + sizeof length);
    *bufWPtr = start + sizeof length + length;
    trace<addIdStrEnd>(*bufWPtr);
}

int writeDump(const ResultSetToken& set) {
    requestLock(&traceLock);
    FILE* stream = traceStream();
    fprintf(stream, "Dump of ResultSet(%p) owner(%x) head(%p) next(%p)\n" ZOLSTATS_TRACE_RULE,
            static_cast<const void*>(&set), set.owner, static_cast<const void*>(set.head),
            static_cast<const void*>(set.next));
    const int shown = dumpStorageArea({set.head, 0, RESULT_SET_TERMINATOR, set.resultSetBufferLen});
    fputs(ZOLSTATS_TRACE_RULE, stream);
    fflush(stream);
    releaseLock(&traceLock);
    return shown;
}

}  // namespace
}  // namespace zolstats

using namespace zolstats;

extern "C" {

int createResultSet(ResultSetToken** newRsTokPtr, const char* eyecatcher, unsigned owner) {
    trace<createResultSetEntry>(newRsTokPtr, textOrNull(eyecatcher), owner);
    const int rc = makeToken(newRsTokPtr, eyecatcher, owner);
    trace<createResultSetExit>(newRsTokPtr, textOrNull(eyecatcher), owner, rc);
    return rc;
}

int deleteResultSet(ResultSetToken** rsPtr) {
    trace<deleteResultSetEntry>(rsPtr);
    const int rc = releaseToken(rsPtr);
    trace<deleteResultSetExit>(rsPtr, rc);
    return rc;
}

int verifyAPIResultSetTokenOwner(ResultSetToken* rsPtr) {
    trace<verifyOwnerEntry>(rsPtr);
    const int rc = checkOwner<verifyOwnerPid, verifyOwnerTid>(rsPtr->owningPid, rsPtr->owningTid);
    trace<verifyOwnerExit>(rsPtr, rc);
    return rc;
}

int addInteger(unsigned char** bufWPtr, int rsInt) {
    trace<addIntegerEntry>(bufWPtr, rsInt);
    const int rc = append<addIntegerNull>(bufWPtr, &rsInt, INTEGER_LENGTH);
    trace<addIntegerExit>(bufWPtr, rsInt, rc);
    return rc;
}

int addChars(unsigned char** bufWPtr, const void* textPtr, int charCount) {
    trace<addCharsEntry>(bufWPtr, textPtr, charCount);
    const int rc = appendText<addCharsNull, addCharsCopied>(bufWPtr, textPtr, charCount);
    trace<addCharsExit>(bufWPtr, textPtr, charCount, rc);
    return rc;
}

int addPlatformChars(unsigned char** bufWPtr, const void* textPtr, int charCount) {
    trace<addPlatformCharsEntry>(bufWPtr, textPtr, charCount);
    const int rc = appendText<addPlatformCharsNull, addPlatformCharsCopied>(bufWPtr, textPtr, charCount);
    trace<addPlatformCharsExit>(bufWPtr, textPtr, charCount, rc);
    return rc;
}

int addIdStr(unsigned char** bufWPtr, const char* idString) {
    trace<addIdStrEntry>(bufWPtr, idString);
    int rc = ZOLSTATS_OK;
    if (bufWPtr == nullptr || idString == nullptr) {
        trace<addIdStrNull>(bufWPtr, idString);
        rc = NULL_PARAMETER;
    } else {
        writeIdString(bufWPtr, idString);
    }
    trace<addIdStrExit>(bufWPtr, idString);
    return rc;
}

int addTerminator(unsigned char* writeCursor) {
    trace<addTerminatorEntry>(writeCursor);
    int rc = ZOLSTATS_OK;
    if (writeCursor == nullptr) {
        trace<addTerminatorNull>(writeCursor);
        rc = NULL_PARAMETER;
    } else {
        memcpy(writeCursor, &RESULT_SET_TERMINATOR, sizeof RESULT_SET_TERMINATOR);
    }
    trace<addTerminatorExit>(writeCursor, rc);
    return rc;
}

int checkTerminator(const unsigned char* dataCursor, int* isRSTermPtr) {
    trace<checkTerminatorEntry>(dataCursor, isRSTermPtr);
    int rc = ZOLSTATS_OK;
    if (dataCursor == nullptr || isRSTermPtr == nullptr) {
        trace<checkTerminatorNull>(dataCursor, isRSTermPtr);
        rc = NULL_PARAMETER;
    } else {
        *isRSTermPtr = static_cast<uint32_t>(loadInteger(dataCursor)) == RESULT_SET_TERMINATOR ? 1 : 0;
        trace<checkTerminatorResult>(*isRSTermPtr);
    }
    trace<checkTerminatorExit>(dataCursor, isRSTermPtr, rc);
    return rc;
}

int dumpResultSetInternal(ResultSetToken* rsPtr) {
    trace<dumpResultSetInternalEntry>(rsPtr);
    int rc = NULL_PARAMETER;
    int shown = 0;
    if (rsPtr != nullptr) {
        shown = writeDump(*rsPtr);
        rc = ZOLSTATS_OK;
    }
    trace<dumpResultSetInternalExit>(rsPtr, shown, rc);
    return rc;
}
}
