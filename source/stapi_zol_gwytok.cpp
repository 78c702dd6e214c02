// Gateway tokens: making and deleting them, and the process-wide list under its lock.
// Sockets and messages are left to lower modules; what the application is told is decided above.
// How the list and its lock are used is written down in CONTRIBUTING.md.
#include "stapi_zol_gwytok.h"

#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>

#include <algorithm>

#include "stapi_zol_diag.h"
#include "stapi_zol_gwycon.h"
#include "stapi_zol_gwytok_trace.h"
#include "stapi_zol_resultsetbuffer.h"
#include "stapi_zol_statcomms.h"
#include "zolstats/zolstats.h"

const char version4stapi_zol_gwytok[] = ZOLSTATS_VERSION_TEXT;
const char copyright4stapi_zol_gwytok[] = ZOLSTATS_COPYRIGHT_TEXT;

namespace zolstats {
namespace {

// The list. The tail counts only while there is a head: taking the only token out leaves it where it was.
// gtlLock is taken before traceLock, never while holding it.
LockRecord gtlLock = {};
GatewayToken* gtListHeadPtr = nullptr;
GatewayToken* gtListTailPtr = nullptr;

constexpr int NO_LIMIT = INT_MAX;

// ---- Searching

// The result of a search that ended at the entry-th token, counted from 1.
int reportSearch(const GatewayToken* target, const GatewayToken* current, int entry, int limit) {
    if (current == target) {
        trace<findTokenFound>(std::max(entry - 2, 0));
        return GTL_FOUND;
    }
    if (entry - 1 == limit) {
        trace<findTokenRunaway>(limit);
        return GTL_RUNAWAY;
    }
    trace<findTokenNotFound>(entry - 1, gtListHeadPtr, current);
    return GTL_NOT_FOUND;
}

int searchList(const GatewayToken* target, GatewayToken** parent, int limit) {
    GatewayToken* previous = nullptr;
    GatewayToken* current = gtListHeadPtr;
    int entry = 1;
    while (current != target && current->nextGwyTokPtr != nullptr && entry <= limit) {
        previous = current;
        current = current->nextGwyTokPtr;
        ++entry;
    }
    if (current == target && parent != nullptr) {
        *parent = previous;
    }
    return reportSearch(target, current, entry, limit);
}

// Look for a token and its predecessor in the list; the caller holds gtlLock. limit is how many steps the
// search takes from the head at most.
int findGatewayToken(const GatewayToken* target, GatewayToken** parent, int limit = GTL_RUNAWAY_LIMIT) {
    trace<findTokenEntry>(target, parent);
    int rc = GTL_FOUND;
    if (target == nullptr) {
        trace<findTokenNull>();
        rc = GTL_NULL_TARGET;
    } else if (gtListHeadPtr == nullptr) {
        trace<findTokenCorrupt>(gtListHeadPtr, gtListTailPtr);
        rc = GTL_CORRUPT;
    } else {
        rc = searchList(target, parent, limit);
    }
    trace<findTokenExit>(target, parent, rc);
    return rc;
}

bool isInList(const GatewayToken* target) {
    const GatewayToken* token = gtListHeadPtr;
    while (token != nullptr && token != target) {
        token = token->nextGwyTokPtr;
    }
    return token != nullptr;
}

// ---- Chaining

int appendToList(GatewayToken* token) {
    if (gtListHeadPtr != nullptr && gtListTailPtr == nullptr) {
        trace<chainTokenCorrupt>(gtListHeadPtr, gtListTailPtr);
        return ZOLSTATS_LIST_LIMIT;
    }
    if (gtListHeadPtr == nullptr) {
        gtListHeadPtr = token;
    } else {
        gtListTailPtr->nextGwyTokPtr = token;
    }
    gtListTailPtr = token;
    return ZOLSTATS_OK;
}

int chainGatewayToken(GatewayToken* token) {
    trace<chainTokenEntry>(token);
    int rc = ZOLSTATS_NULL_TOKEN_ADDRESS;
    if (token == nullptr) {
        trace<chainTokenNull>();
    } else {
        requestLock(&gtlLock);
        rc = appendToList(token);
        releaseLock(&gtlLock);
    }
    trace<chainTokenExit>(token, rc);
    return rc;
}

void unchain(const GatewayToken* token, GatewayToken* predecessor) {
    if (predecessor == nullptr) {
        gtListHeadPtr = token->nextGwyTokPtr;
        return;
    }
    predecessor->nextGwyTokPtr = token->nextGwyTokPtr;
    if (predecessor->nextGwyTokPtr == nullptr) {
        gtListTailPtr = predecessor;
    }
}

// ---- Deleting

void closeSocket(GatewayToken* token) {
    if (token->socket >= 0) {
        token->connStatus =
            closeConnection(&token->socket) == 0 ? CONNECTION_CLOSED : CONNECTION_CLOSE_FAILED;
    }
}

void freeParts(GatewayToken* token) {
    const int rc = deleteResultSet(&token->connRSToken);
    if (rc != 0) {
        trace<deleteTokenResultSetFailed>(rc);
    }
    if (token->resultSetBuf != nullptr) {
        trace<deleteTokenFreeBuffer>(token->resultSetBuf);
        free(token->resultSetBuf);
        token->resultSetBuf = nullptr;
    }
    if (token->protocolVersion != nullptr) {
        trace<deleteTokenFreeVersion>(token->protocolVersion);
        free(token->protocolVersion);
        token->protocolVersion = nullptr;
    }
}

// Close and free a token that is in the list no more. Whatever fails on the way, the token goes.
void destroyToken(void** gwTokPtr) {
    auto* token = static_cast<GatewayToken*>(*gwTokPtr);
    closeSocket(token);
    freeParts(token);
    trace<deleteTokenFree>(gwTokPtr, token);
    free(token);
    *gwTokPtr = nullptr;
    trace<deleteTokenFreed>(gwTokPtr, *gwTokPtr);
}

bool isUsedElsewhere(const GatewayToken& token) {
    return token.use == TOKEN_IN_USE && compareTids(token.owningTid, pthread_self()) == 0;
}

// Let the thread that uses the token wait for nothing more, and leave the token to it. If it has no socket yet
// it learns that none is wanted.
void abandonToken(void** gwTokPtr) {
    auto* token = static_cast<GatewayToken*>(*gwTokPtr);
    token->use = TOKEN_ABANDONED;
    int32_t socketDesc = __atomic_load_n(&token->socket, __ATOMIC_RELAXED);
    if (socketDesc != -1 || !__atomic_compare_exchange_n(&token->socket, &socketDesc, SOCKET_UNWANTED, false,
                                                         __ATOMIC_RELAXED, __ATOMIC_RELAXED)) {
        shutdown(socketDesc, SHUT_RDWR);
    }
    trace<deleteTokenInUse>(gwTokPtr, token);
    *gwTokPtr = nullptr;
}

// The caller holds gtlLock.
void removeToken(void** gwTokPtr, GatewayToken* predecessor) {
    auto* token = static_cast<GatewayToken*>(*gwTokPtr);
    unchain(token, predecessor);
    if (isUsedElsewhere(*token)) {
        abandonToken(gwTokPtr);
    } else {
        destroyToken(gwTokPtr);
    }
}

int findAndRemove(void** gwTokPtr, int limit) {
    GatewayToken* predecessor = nullptr;
    requestLock(&gtlLock);
    const int findRc = findGatewayToken(static_cast<GatewayToken*>(*gwTokPtr), &predecessor, limit);
    if (findRc == GTL_FOUND) {
        removeToken(gwTokPtr, predecessor);
    }
    releaseLock(&gtlLock);
    return findRc == GTL_FOUND ? ZOLSTATS_OK : ZOLSTATS_TOKEN_NOT_FOUND;
}

int deleteToken(void** gwTokPtr, int lockRequired, int searchLimit) {
    trace<deleteTokenEntry>(gwTokPtr, lockRequired);
    int rc = ZOLSTATS_OK;
    if (gwTokPtr == nullptr) {
        rc = ZOLSTATS_NULL_TOKEN_ADDRESS;
    } else if (*gwTokPtr == nullptr) {
        rc = ZOLSTATS_NULL_TOKEN;
    } else if (lockRequired == LOCK_AND_FIND) {
        rc = findAndRemove(gwTokPtr, searchLimit);
    } else {
        removeToken(gwTokPtr, nullptr);
    }
    trace<deleteTokenExit>(gwTokPtr, lockRequired, rc);
    return rc;
}

// Delete tokens from the head on until none is left or 256 are gone; returns how many. A time limit holds for
// each of them.
int deleteFromHead() {
    int deleted = 0;
    while (gtListHeadPtr != nullptr && deleted < GTL_RUNAWAY_LIMIT) {
        ++deleted;
        char text[TOKEN_TEXT_SIZE];
        formatGatewayToken(gtListHeadPtr, text);
        trace<deleteTokensToken>(gtListHeadPtr, deleted, text);
        void* token = gtListHeadPtr;
        restartTime();
        deleteGatewayToken(&token, 0);
    }
    return deleted;
}

// ---- Dumping; the caller holds gtlLock and traceLock

void dumpResultSetOf(const ResultSetToken& set, FILE* stream) {
    fprintf(stream, "Dump of ResultSet(%p) owner(%s) buffer(%p) cursor(%p)\n" ZOLSTATS_TRACE_RULE,
            static_cast<const void*>(&set), set.owner == OWNER_API ? "API" : "USR",
            static_cast<const void*>(set.head),
            static_cast<const void*>(__atomic_load_n(&set.next, __ATOMIC_RELAXED)));
    fflush(stream);
    dumpStorageArea({set.head, 0, RESULT_SET_TERMINATOR, set.resultSetBufferLen});
    fputs(ZOLSTATS_TRACE_RULE, stream);
    fflush(stream);
}

void dumpToken(const GatewayToken& token, int entry, FILE* stream) {
    char text[TOKEN_TEXT_SIZE];
    formatGatewayToken(&token, text);
    fprintf(stream, "Gateway Token List entry -%4.4d- : %s\n", entry, text);
    fflush(stream);
    if (token.use != TOKEN_IDLE) {
        fputs("The connection is in use, its ResultSet is not shown\n" ZOLSTATS_TRACE_RULE, stream);
    } else if (token.connRSToken != nullptr) {
        dumpResultSetOf(*token.connRSToken, stream);
    }
}

// Returns how many tokens were shown.
int dumpList(FILE* stream) {
    fputs("Gateway Token List dump\n" ZOLSTATS_TRACE_RULE, stream);
    int entries = 0;
    for (const GatewayToken* token = gtListHeadPtr; token != nullptr && entries < GTL_RUNAWAY_LIMIT;
         token = token->nextGwyTokPtr) {
        dumpToken(*token, ++entries, stream);
    }
    if (entries == 0) {
        fputs("The Gateway Token List is EMPTY\n" ZOLSTATS_TRACE_RULE, stream);
    }
    fprintf(stream, "Total number of Gateway Token List entries=%d\n" ZOLSTATS_TRACE_RULE, entries);
    fflush(stream);
    return entries;
}

// A walk that ended at the limit counts as runaway, even if it had just reached the end of the list.
int walkRc(int entries) {
    if (entries == 0) {
        return GTL_EMPTY;
    }
    return entries == GTL_RUNAWAY_LIMIT ? GTL_RUNAWAY : ZOLSTATS_OK;
}

// ---- Creating

// The parts that a token has from its birth: 0, or a code with the parts that were made left in the token.
int makeParts(GatewayToken* token) {
    const int rc = createResultSet(&token->connRSToken, RESULT_SET_EYECATCHER, OWNER_API);
    if (rc != 0) {
        trace<createGatewayTokenNoResultSet>(rc);
        return rc;
    }
    token->protocolVersion = static_cast<char*>(calloc(1, PROTOCOL_VERSION_SIZE));
    token->resultSetBuf = allocateResultSetBuffer(RESULT_SET_BUFFER_SIZE);
    trace<createGatewayTokenBuffer>(RESULT_SET_BUFFER_SIZE, token);
    if (token->resultSetBuf == nullptr) {
        trace<createGatewayTokenNoBuffer>(RESULT_SET_BUFFER_SIZE);
        return ZOLSTATS_NO_MEMORY;
    }
    token->resultSetBufLen = RESULT_SET_BUFFER_SIZE;
    addTerminator(token->resultSetBuf);
    token->connRSToken->head = token->resultSetBuf;
    token->connRSToken->resultSetBufferLen = token->resultSetBufLen;
    return ZOLSTATS_OK;
}

// Free a token that never came into the list.
void discard(GatewayToken* token) {
    if (token->connRSToken != nullptr) {
        deleteResultSet(&token->connRSToken);
    }
    free(token->resultSetBuf);
    free(token->protocolVersion);
    free(token);
}

// A complete token, in the list but not yet connected, in use by the caller.
int makeToken(int port, GatewayToken** made) {
    auto* token = static_cast<GatewayToken*>(
        allocateTraced<createGatewayTokenAllocated, createGatewayTokenNoMemory>(sizeof(GatewayToken)));
    if (token == nullptr) {
        return ZOLSTATS_NO_MEMORY;
    }
    memcpy(token->eyecatcher, GATEWAY_TOKEN_EYECATCHER, sizeof token->eyecatcher);
    token->socket = -1;
    token->connStatus = CONNECTION_CREATED;
    token->use = TOKEN_IN_USE;
    token->port = port;
    getPidTid(&token->owningPid, nullptr);
    token->owningTid = pthread_self();
    int rc = makeParts(token);
    if (rc == 0) {
        rc = chainGatewayToken(token);
    }
    if (rc != 0) {
        discard(token);
        return rc;
    }
    *made = token;
    return ZOLSTATS_OK;
}

int connectFailureForApplication(int connectRc) {
    switch (connectRc) {
        case CONNECT_REFUSED:
            return ZOLSTATS_CONNECTION_REFUSED;
        case CONNECT_TIMED_OUT:
            return ZOLSTATS_CONNECT_TIMED_OUT;
        case CONNECT_UNRESOLVED:
            return ZOLSTATS_HOST_NOT_FOUND;
        case CONNECT_UNREACHABLE:
            return ZOLSTATS_NETWORK_UNREACHABLE;
        default:
            return ZOLSTATS_CONNECT_FAILED;
    }
}

// A dump in another thread may look at status and socket meanwhile, so both change atomically.
void setStatus(GatewayToken* token, int32_t status) {
    __atomic_store_n(&token->connStatus, status, __ATOMIC_RELAXED);
}

int openStatsSocket(GatewayToken* token, const char* hostname) {
    const char* host = textOrNull(hostname);
    trace<openStatsSocketEntry>(token, host, token->port);
    int rc = connectToGateway(token->port, hostname, &token->socket);
    if (rc == 0) {
        setStatus(token, CONNECTION_OPEN);
        trace<openStatsSocketConnected>(host, token->port, __atomic_load_n(&token->socket, __ATOMIC_RELAXED));
    } else {
        setStatus(token, CONNECTION_FAILED);
        trace<openStatsSocketFailed>(host, token->port, rc);
        rc = connectFailureForApplication(rc);
    }
    trace<openStatsSocketExit>(token, host, token->port, rc);
    return rc;
}

int askProtocolVersion(GatewayToken* token) {
    FlowReasons reasons{};
    const int rc = statProtocolVer(token, &reasons);
    if (rc != 0) {
        trace<createGatewayTokenRemoving>(token, rc);
    }
    return applicationRc(rc, reasons);
}

int handOut(GatewayToken* token, void** gwTokPtr) {
    char text[TOKEN_TEXT_SIZE];
    requestLock(&gtlLock);  // the text shows the next token, which another thread may be chaining
    formatGatewayToken(token, text);
    releaseLock(&gtlLock);
    if (!endUse(token)) {
        return ZOLSTATS_CONNECTION_LOST;
    }
    trace<createGatewayTokenDone>(gwTokPtr, text);
    *gwTokPtr = token;
    return ZOLSTATS_OK;
}

// Remove the token of a connection that could not be opened. It is not found if another thread has closed it.
void rollBack(GatewayToken* token) {
    void* failed = token;
    if (deleteToken(&failed, LOCK_AND_FIND, NO_LIMIT) != 0) {
        endUse(token);
    }
}

int makeConnection(void** gwTokPtr, const char* hostname, int port) {
    GatewayToken* token = nullptr;
    int rc = makeToken(port, &token);
    if (rc != 0) {
        return rc;
    }
    rc = openStatsSocket(token, hostname);
    if (rc == 0) {
        rc = askProtocolVersion(token);
    }
    if (rc == 0) {
        return handOut(token, gwTokPtr);
    }
    rc = timeWasUp() ? ZOLSTATS_CONNECT_TIMED_OUT : rc;
    rollBack(token);
    return rc;
}

}  // namespace

int beginUse(void* gwTok) {
    auto* token = static_cast<GatewayToken*>(gwTok);
    requestLock(&gtlLock);
    // At the same address another thread may have opened a connection of its own since.
    const bool isFound = isInList(token) && compareTids(token->owningTid, pthread_self()) != 0;
    if (isFound) {
        token->use = TOKEN_IN_USE;
    }
    releaseLock(&gtlLock);
    return isFound ? ZOLSTATS_OK : ZOLSTATS_TOKEN_NOT_FOUND;
}

bool endUse(GatewayToken* token) {
    requestLock(&gtlLock);
    const bool isKept = token->use != TOKEN_ABANDONED;
    if (isKept) {
        token->use = TOKEN_IDLE;
    }
    releaseLock(&gtlLock);
    if (!isKept) {
        void* abandoned = token;
        destroyToken(&abandoned);
    }
    return isKept;
}

void renewListLock() {
    gtlLock = {};
    initializeLock(&gtlLock);
}

}  // namespace zolstats

using namespace zolstats;

extern "C" {

int initGTL(void) {
    trace<initGTLEntry>();
    const int lockRc = initializeLock(&gtlLock);
    const int rc = lockRc == 0 || lockRc == LOCK_WAS_INITIALIZED ? ZOLSTATS_OK : ZOLSTATS_TRACE_LOCK_FAILED;
    trace<initGTLExit>(lockRc, rc);
    return lockRc;
}

int createGatewayToken(void** gwTokPtr, const char* hostname, int port) {
    trace<createGatewayTokenEntry>(gwTokPtr, port);
    const int rc = makeConnection(gwTokPtr, hostname, port);
    trace<createGatewayTokenExit>(gwTokPtr, port, rc);
    return rc;
}

int verifyGatewayToken(void* gwTok) {
    trace<verifyTokenEntry>(gwTok);
    const auto* token = static_cast<const GatewayToken*>(gwTok);
    unsigned owningPid = 0;
    pthread_t owningTid{};
    requestLock(&gtlLock);
    const int findRc = findGatewayToken(token, nullptr);
    if (findRc == GTL_FOUND) {
        owningPid = token->owningPid;
        owningTid = token->owningTid;
    }
    releaseLock(&gtlLock);
    int rc = ZOLSTATS_TOKEN_NOT_FOUND;
    if (findRc == GTL_FOUND) {
        rc = checkOwner<verifyTokenPid, verifyTokenTid>(owningPid, owningTid);
    } else {
        trace<verifyTokenNotFound>(gwTok, findRc);
    }
    trace<verifyTokenExit>(gwTok, rc);
    return rc;
}

int deleteGatewayToken(void** gwTokPtr, int lockRequired) {
    return deleteToken(gwTokPtr, lockRequired, GTL_RUNAWAY_LIMIT);
}

int deleteGatewayTokens(void) {
    trace<deleteTokensEntry>();
    requestLock(&gtlLock);
    const int deleted = deleteFromHead();
    const int rc = walkRc(deleted);
    if (rc == GTL_EMPTY) {
        trace<deleteTokensEmpty>();
    } else if (rc == GTL_RUNAWAY) {
        trace<deleteTokensRunaway>(GTL_RUNAWAY_LIMIT);
    }
    releaseLock(&gtlLock);
    trace<deleteTokensExit>(deleted, rc);
    return rc;
}

int formatGatewayToken(const GatewayToken* token, char* dst) {
    if (dst == nullptr) {
        return NULL_PARAMETER;
    }
    if (token == nullptr) {
        strcpy(dst, "GatwayToken(NULL)");
        return ZOLSTATS_OK;
    }
    snprintf(
        dst, TOKEN_TEXT_SIZE,
        "GatwayToken(%p) eyecatcher(%8.8s) port(%d) connStatus(%d) socket(%d) connRSToken(%p) resultSetBuf(%p) "
        "owningPid(%8.8X) owningTid(%8.8X) nextGwyTokPtr(%p)",
        static_cast<const void*>(token), token->eyecatcher, token->port,
        __atomic_load_n(&token->connStatus, __ATOMIC_RELAXED),
        __atomic_load_n(&token->socket, __ATOMIC_RELAXED), static_cast<const void*>(token->connRSToken),
        static_cast<const void*>(__atomic_load_n(&token->resultSetBuf, __ATOMIC_RELAXED)), token->owningPid,
        static_cast<unsigned>(token->owningTid), static_cast<const void*>(token->nextGwyTokPtr));
    return ZOLSTATS_OK;
}

int dumpGatewayTokens(void) {
    trace<dumpTokensEntry>();
    requestLock(&gtlLock);
    requestLock(&traceLock);
    const int entries = dumpList(traceStream());
    releaseLock(&traceLock);
    releaseLock(&gtlLock);
    const int rc = walkRc(entries);
    if (rc == GTL_RUNAWAY) {
        trace<dumpTokensRunaway>(GTL_RUNAWAY_LIMIT);
    }
    trace<dumpTokensExit>(entries, rc);
    return rc;
}
}
