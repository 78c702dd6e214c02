// The public calls: initialisation, trace control, connections, queries, walking and managing result sets.
// Talking to the Gateway and keeping tokens is left to lower modules.
// What each call promises stands in zolstats.h; the layout of a result set buffer in
// stapi_zol_resultsetbuffer.h.
#include "stapi_zol_impl.h"

#include <errno.h>
#include <limits.h>
#include <pthread.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "stapi_zol_diag.h"
#include "stapi_zol_gwytok.h"
#include "stapi_zol_impl_trace.h"
#include "stapi_zol_resultsetbuffer.h"
#include "stapi_zol_socketcomms.h"
#include "stapi_zol_statquery.h"

const char version4stapi_zol_impl[] = ZOLSTATS_VERSION_TEXT;
const char copyright4stapi_zol_impl[] = ZOLSTATS_COPYRIGHT_TEXT;

namespace zolstats {
namespace {

constexpr char LOCAL_HOST[] = "127.0.0.1";
constexpr int MAX_PORT = 65535;
constexpr unsigned MAX_TRACE_LEVEL = ZOLSTATS_TRACE_ALL;

// An id that would bring the text of getIdQuery() to this many characters or more, its separator not counted,
// is left out.
constexpr int ID_QUERY_LIMIT = 31999;

// ---- State

pthread_mutex_t initMutex = PTHREAD_MUTEX_INITIALIZER;  // lets one thread at a time initialise the library
int stapiState = 0;                                     // 1 once the library is initialised
char stapiVersion[32000] = "";                          // handed out to applications
int traceHeaderWrite = 0;  // 1 once the destination has its banner; guarded by traceLock

void setTraceLevel(int level) {
    __atomic_store_n(&statAPITrace, level, __ATOMIC_RELAXED);
}

bool isInitialised() {
    return __builtin_expect(__atomic_load_n(&stapiState, __ATOMIC_ACQUIRE) != 0, 1);
}

// A child process has an id of its own, and may have been forked while another thread of its parent held a lock, which
// nobody would ever release.
void renewAfterFork() {
    keepPid();
    initMutex = PTHREAD_MUTEX_INITIALIZER;
    traceLock = {};
    initializeLock(&traceLock);
    renewListLock();
}

// While it goes on, failures are traced at the exception level; after one the level stays there.
int initialise() {
    setTraceLevel(ZOLSTATS_TRACE_EXCEPTIONS);
    int rc = initTrace();
    if (rc != 0) {
        fprintf(stderr, "stapi_zol_impl.stapiInit() Initialization of zolstats API trace has failed. rc=%d\n",
                rc);
        return rc;
    }
    rc = initGTL();
    if (rc != 0) {
        trace<initListFailed>(rc);
        return rc;
    }
    // Without memory for that a child may wait, but nobody else; the process id is asked for each time then.
    if (pthread_atfork(nullptr, nullptr, renewAfterFork) == 0) {
        keepPid();
    }
    setTraceLevel(ZOLSTATS_TRACE_OFF);
    strcpy(stapiVersion, ZOLSTATS_API_VERSION);
    __atomic_store_n(&stapiState, 1, __ATOMIC_RELEASE);
    return ZOLSTATS_OK;
}

// ---- Trace control

// The destination's name; null if there was no memory for it.
const char* traceFileName() {
    return textOrNull(statAPITraceFilename);
}

// The line that begins a trace; the caller holds traceLock.
void writeBanner() {
    fprintf(statAPITraceHandle, "*** %s Velmor Quorvane ZOLSTATS DLL trace V%s API V%s Build Level %s ***\n",
            getTraceDate(dateBuf), ZOLSTATS_PRODUCT_VERSION, ZOLSTATS_API_VERSION, ZOLSTATS_BUILD_LEVEL);
}

// Leave the current destination for another, which has no banner yet; the caller holds traceLock.
void changeDestination(FILE* stream, const char* name) {
    if (statAPITraceHandle != nullptr && statAPITraceHandle != stderr) {
        fclose(statAPITraceHandle);
    }
    statAPITraceHandle = stream;
    traceHeaderWrite = 0;
    if (statAPITraceFilename != nullptr) {
        strncpy(statAPITraceFilename, name, TRACE_FILENAME_SIZE - 1);
        statAPITraceFilename[TRACE_FILENAME_SIZE - 1] = '\0';
    }
}

enum class Switch { Done, NotNeeded, Failed };

Switch switchDestination(const char* traceFile) {
    if (traceFile == nullptr) {
        if (statAPITraceHandle == nullptr || statAPITraceHandle == stderr) {
            return Switch::NotNeeded;
        }
        changeDestination(stderr, defaultTraceFilename);
        return Switch::Done;
    }
    FILE* stream = fopen(traceFile, "ae");
    if (stream == nullptr) {
        return Switch::Failed;
    }
    changeDestination(stream, traceFile);
    return Switch::Done;
}

// Switch under the trace lock; errorOut tells why it failed.
Switch switchTrace(const char* traceFile, int& errorOut) {
    requestLock(&traceLock);
    const Switch outcome = switchDestination(traceFile);
    errorOut = errno;
    if (currentTraceLevel() > ZOLSTATS_TRACE_OFF && traceHeaderWrite == 0) {
        writeBanner();
        traceHeaderWrite = 1;
    }
    releaseLock(&traceLock);
    return outcome;
}

int applyTraceFile(const char* traceFile) {
    int error = 0;
    switch (switchTrace(traceFile, error)) {
        case Switch::Failed:
            trace<setTraceFileFailed>(traceFile, error, traceFileName());
            return ZOLSTATS_TRACE_FILE_FAILED;
        case Switch::Done:
            trace<setTraceFileSwitched>(traceFileName());
            break;
        case Switch::NotNeeded:
            trace<setTraceFileUnchanged>(traceFileName());
            break;
    }
    return ZOLSTATS_OK;
}

// The banner that comes with the level is not remembered: switching off and on writes it again until a file
// is set.
int applyTraceLevel(int level) {
    if (static_cast<unsigned>(level) > MAX_TRACE_LEVEL) {
        trace<setTraceLevelInvalid>(level);
        return ZOLSTATS_BAD_TRACE_LEVEL;
    }
    requestLock(&traceLock);
    if (traceHeaderWrite == 0 && currentTraceLevel() == ZOLSTATS_TRACE_OFF && level > ZOLSTATS_TRACE_OFF) {
        writeBanner();
    }
    setTraceLevel(level);
    releaseLock(&traceLock);
    return ZOLSTATS_OK;
}

// Store a result for the application, unless it gave no place for it.
template <const TracePoint& NullOutput, class Value>
int handOut(Value* output, Value value) {
    if (output == nullptr) {
        trace<NullOutput>();
        return ZOLSTATS_NULL_OUTPUT;
    }
    *output = value;
    return ZOLSTATS_OK;
}

void writeState() {
    requestLock(&traceLock);
    FILE* stream = traceStream();
    fprintf(stream, "zolstats state dump: API Version=%s Trace Level=%d statAPITraceFile=%s\n",
            ZOLSTATS_API_VERSION, currentTraceLevel(), traceFileName());
    fflush(stream);
    releaseLock(&traceLock);
}

// ---- The time that a call may take

void reportTimeLimit(const char* call, int limitMs) {
    trace<timeLimitPassed>(call, limitMs);
}

// Stands at the head of each call that may wait for a Gateway.
struct LimitedCall : TimedCall {
    explicit LimitedCall(const char* name) : TimedCall(name, reportTimeLimit) {}
};

int applyTimeout(int milliseconds) {
    if (milliseconds < 0 || milliseconds > ZOLSTATS_MAX_TIMEOUT) {
        trace<setTimeoutInvalid>(milliseconds);
        return ZOLSTATS_BAD_TIMEOUT;
    }
    setTimeLimit(milliseconds);
    return ZOLSTATS_OK;
}

// ---- Text copies: of an id list for the library, and of the protocol version for the application

struct TextCopy {
    bool replaces;  // free the text that is there
    bool tellsAddress;
    const TracePoint &entry, &allocated, &copying, &noMemory, &invalid, &exit;
};

constexpr TextCopy TO_ASCII{
    .replaces = true,
    .tellsAddress = true,
    .entry = dupAsciiEntry,
    .allocated = dupAsciiAllocated,
    .copying = dupAsciiCopying,
    .noMemory = dupAsciiNoMemory,
    .invalid = dupAsciiInvalid,
    .exit = dupAsciiExit,
};
constexpr TextCopy TO_NATIVE{
    .replaces = false,
    .tellsAddress = false,
    .entry = dupNativeEntry,
    .allocated = dupNativeAllocated,
    .copying = dupNativeCopying,
    .noMemory = dupNativeNoMemory,
    .invalid = dupNativeInvalid,
    .exit = dupNativeExit,
};

template <const TextCopy& Copy>
int copyText(const char* source, int size, char** outputPtr) {
    if (source == nullptr || outputPtr == nullptr || size >= TEXT_SIZE_LIMIT) {
        trace<Copy.invalid>();
        return TEXT_INVALID;
    }
    if (Copy.replaces) {
        free(*outputPtr);
    }
    *outputPtr = static_cast<char*>(malloc(static_cast<size_t>(size)));
    trace<Copy.allocated>(size, *outputPtr);
    if (*outputPtr == nullptr) {
        trace<Copy.noMemory>(size);
        return TEXT_NO_MEMORY;
    }
    if constexpr (Copy.tellsAddress) {
        trace<Copy.copying>(*outputPtr, size);
    } else {
        trace<Copy.copying>(size);
    }
    memcpy(*outputPtr, source, static_cast<size_t>(size));
    return ZOLSTATS_OK;
}

template <const TextCopy& Copy>
int duplicate(const char* source, char** outputPtr) {
    trace<Copy.entry>(source, outputPtr);
    const int size =
        source != nullptr ? static_cast<int>(std::min<size_t>(strlen(source), INT_MAX - 1)) + 1 : 0;
    const int rc = copyText<Copy>(source, size, outputPtr);
    trace<Copy.exit>(size, rc);
    return rc;
}

// ---- Connections

int checkOpenArguments(const char* hostname, int port, void** gwTokPtr, char** protocolVersion) {
    if (port < 1 || port > MAX_PORT) {
        return ZOLSTATS_BAD_PORT;
    }
    if (gwTokPtr == nullptr) {
        return ZOLSTATS_NULL_TOKEN_ADDRESS;
    }
    if (protocolVersion == nullptr) {
        return ZOLSTATS_NULL_VERSION_ADDRESS;
    }
    return hostname != nullptr ? ZOLSTATS_OK : ZOLSTATS_NULL_HOST;
}

// Give the application the version text of a new connection. From then on both share one text, the token's.
int handOutVersion(void** gwTokPtr, char** protocolVersion) {
    auto* token = static_cast<GatewayToken*>(*gwTokPtr);
    if (token->protocolVersion == nullptr) {
        trace<openRemoteNoVersion>(token);
        *protocolVersion = nullptr;
        return ZOLSTATS_OK;
    }
    if (duplicate<TO_NATIVE>(token->protocolVersion, protocolVersion) != 0) {
        deleteGatewayToken(gwTokPtr, LOCK_AND_FIND);
        return ZOLSTATS_NO_MEMORY;
    }
    free(token->protocolVersion);
    token->protocolVersion = *protocolVersion;
    trace<openRemoteVersion>(protocolVersion, *protocolVersion);
    return ZOLSTATS_OK;
}

// Another thread that closes all connections may close this one before the application has it.
int handOutVersionInUse(void** gwTokPtr, char** protocolVersion) {
    bool isOpen = beginUse(*gwTokPtr) == ZOLSTATS_OK;
    const int rc = isOpen ? handOutVersion(gwTokPtr, protocolVersion) : ZOLSTATS_OK;
    if (isOpen && *gwTokPtr != nullptr) {
        isOpen = endUse(static_cast<GatewayToken*>(*gwTokPtr));
    }
    if (isOpen) {
        return rc;
    }
    *gwTokPtr = nullptr;
    *protocolVersion = nullptr;
    return ZOLSTATS_CONNECTION_LOST;
}

int openConnection(const char* hostname, int port, void** gwTokPtr, char** protocolVersion) {
    int rc = checkOpenArguments(hostname, port, gwTokPtr, protocolVersion);
    if (rc == 0) {
        rc = createGatewayToken(gwTokPtr, hostname, port);
    }
    if (rc == 0) {
        rc = handOutVersionInUse(gwTokPtr, protocolVersion);
    }
    return rc;
}

// The arguments are checked even when the library could not be initialised.
int closeConnectionOf(void** gwTokPtr, int initRc) {
    if (gwTokPtr == nullptr) {
        trace<closeNullAddress>(gwTokPtr);
        return ZOLSTATS_NULL_TOKEN_ADDRESS;
    }
    if (*gwTokPtr == nullptr) {
        trace<closeNullToken>(*gwTokPtr);
        return ZOLSTATS_NULL_TOKEN;
    }
    if (initRc != 0) {
        return initRc;
    }
    const int rc = deleteGatewayToken(gwTokPtr, LOCK_AND_FIND);
    trace<closeDone>(gwTokPtr);
    return rc;
}

// ---- Queries

using AskForAll = int (*)(int socketDesc, unsigned char** buffer, int* bufferLen);
using AskByIds = int (*)(int socketDesc, unsigned char** buffer, int* bufferLen, const char* ids);

// Where the six differ.
struct Query {
    bool takesIds = false;  // asks by ids, otherwise for all
    AskForAll askForAll = nullptr;
    AskByIds askByIds = nullptr;
    bool marksOwner = true;         // sets the result set's owner anew
    bool dropsAfterCheck = true;    // drops the connection when the check of the token says that it is lost
    bool dropsAfterRequest = true;  // drops it when the request failed
    const TracePoint &asking, &set, &noBuffer, &drop;
    const TracePoint& buffer = NO_LINE;  // a second line about the result set
};

constexpr Query STATS{
    .askForAll = commsStats,
    .asking = getStatsQuery,
    .set = getStatsSet,
    .noBuffer = getStatsNoBuffer,
    .drop = getStatsDrop,
};
constexpr Query STAT_IDS{
    .askForAll = commsStatIds,
    .asking = getStatIdsQuery,
    .set = getStatIdsSet,
    .noBuffer = getStatIdsNoBuffer,
    .drop = getStatIdsDrop,
};
constexpr Query RESOURCE_GROUPS{
    .askForAll = commsResourceGroupsIds,
    .marksOwner = false,
    .dropsAfterCheck = false,
    .asking = getResourceGroupIdsQuery,
    .set = getResourceGroupIdsSet,
    .noBuffer = getResourceGroupIdsNoBuffer,
    .drop = getResourceGroupIdsDrop,
    .buffer = getResourceGroupIdsBuffer,
};
constexpr Query STATS_BY_GROUP{
    .takesIds = true,
    .askByIds = commsStatsByStatGroupId,
    .dropsAfterRequest = false,
    .asking = getStatsByStatGroupIdQuery,
    .set = getStatsByStatGroupIdSet,
    .noBuffer = getStatsByStatGroupIdNoBuffer,
    .drop = getStatsByStatGroupIdDrop,
};
constexpr Query STATS_BY_ID{
    .takesIds = true,
    .askByIds = commsStatsByStatId,
    .asking = getStatsByStatIdQuery,
    .set = getStatsByStatIdSet,
    .noBuffer = getStatsByStatIdNoBuffer,
    .drop = getStatsByStatIdDrop,
};
constexpr Query STAT_IDS_BY_GROUP{
    .takesIds = true,
    .askByIds = commsStatIdsByStatGroupId,
    .asking = getStatIdsByStatGroupIdQuery,
    .set = getStatIdsByStatGroupIdSet,
    .noBuffer = getStatIdsByStatGroupIdNoBuffer,
    .drop = getStatIdsByStatGroupIdDrop,
};

// The answer may need another buffer, which the token has only afterwards: another thread's dump shows where it
// is.
template <const Query& What>
int ask(GatewayToken* token, const char* ids) {
    unsigned char* buffer = token->resultSetBuf;
    int rc = 0;
    if constexpr (What.takesIds) {
        trace<What.asking>(ids);
        rc = What.askByIds(token->socket, &buffer, &token->resultSetBufLen, ids);
    } else {
        trace<What.asking>();
        rc = What.askForAll(token->socket, &buffer, &token->resultSetBufLen);
    }
    __atomic_store_n(&token->resultSetBuf, buffer, __ATOMIC_RELAXED);
    return rc;
}

// Point the connection's result set at the buffer as it now stands, before its first item.
void rewindToBuffer(ResultSetToken* set, const GatewayToken& token) {
    set->head = token.resultSetBuf;
    set->next = token.resultSetBuf;
    set->resultSetBufferLen = token.resultSetBufLen;
    set->queryIndex = 0;
}

template <const Query& What>
int request(GatewayToken* token, const char* ids) {
    ResultSetToken* set = token->connRSToken;
    if (token->resultSetBuf == nullptr) {
        trace<What.noBuffer>(token);
        return ZOLSTATS_NO_BUFFER;
    }
    if (ids != nullptr && dup2ASCIIString(ids, &set->queryString) != 0) {
        return ZOLSTATS_NO_MEMORY;
    }
    const int rc = ask<What>(token, ids);
    rewindToBuffer(set, *token);
    if (What.marksOwner) {
        set->owner = OWNER_API;
    }
    trace<What.set>(set);
    if constexpr (What.buffer.number != 0) {
        trace<What.buffer>(set->head);
    }
    return rc;
}

bool isCommsFailure(int rc) {
    return rc == ZOLSTATS_CONNECTION_LOST || rc == ZOLSTATS_EXCHANGE_FAILED;
}

// Close the connection, and clear the pointer, if it is taken as lost.
template <const Query& What>
void dropIfLost(void** gwTok, bool drops, int rc) {
    if (drops && isCommsFailure(rc)) {
        trace<What.drop>(*gwTok, rc);
        deleteGatewayToken(gwTok, LOCK_AND_FIND);
    }
}

// A query that has its connection in use. Its answer is lost when another thread has closed that meanwhile.
template <const Query& What>
int queryInUse(void* gwTok, const char* ids, ResultSetToken** resultSet) {
    auto* token = static_cast<GatewayToken*>(gwTok);
    ResultSetToken* set = token->connRSToken;
    int rc = request<What>(token, ids);
    dropIfLost<What>(&gwTok, What.dropsAfterRequest, rc);
    if (gwTok != nullptr && !endUse(token) && rc == 0) {
        rc = ZOLSTATS_CONNECTION_LOST;
    }
    if (rc == 0) {
        *resultSet = set;
    }
    return rc;
}

template <const Query& What>
int query(void* gwTok, const char* ids, ResultSetToken** resultSet) {
    if (gwTok == nullptr) {
        return ZOLSTATS_NULL_TOKEN;
    }
    if (What.takesIds && ids == nullptr) {
        return ZOLSTATS_NULL_ID_LIST;
    }
    if (resultSet == nullptr) {
        return ZOLSTATS_NULL_RESULT_SET_ADDRESS;
    }
    int rc = verifyGatewayToken(gwTok);
    dropIfLost<What>(&gwTok, What.dropsAfterCheck, rc);
    if (rc == 0) {
        rc = beginUse(gwTok);
    }
    return rc != 0 ? rc : queryInUse<What>(gwTok, ids, resultSet);
}

// ---- Walking: a reader that never leaves the buffer's capacity

struct SetReader {
    unsigned char* at;
    int64_t
        left;  // bytes from here to the end of the capacity; if that is not stated, as many as can be counted

    SetReader(const ResultSetToken& set, unsigned char* position)
        : at(position),
          left(set.resultSetBufferLen > 0 ? set.resultSetBufferLen - (position - set.head) : INT32_MAX) {}

    // One comparison: a negative count becomes one that is always too large.
    bool skip(int32_t count) {
        if (static_cast<uint32_t>(count) > left) {
            return false;
        }
        at += count;
        left -= count;
        return true;
    }

    bool readInteger(int32_t& value) {
        if (!skip(INTEGER_LENGTH)) {
            return false;
        }
        value = loadInteger(at - INTEGER_LENGTH);
        return true;
    }

    // A length and that many bytes.
    template <class Byte>
    bool readText(Byte*& text, int32_t& length) {
        if (!readInteger(length)) {
            return false;
        }
        text = at;
        return skip(length);
    }

    template <Tracing Sites>
    bool isAtEnd() const {
        if (left < INTEGER_LENGTH) {
            return true;
        }
        if constexpr (Sites == Tracing::Off) {
            return static_cast<uint32_t>(loadInteger(at)) == RESULT_SET_TERMINATOR;
        }
        int terminator = 1;
        checkTerminator(at, &terminator);
        return terminator != 0;
    }
};

bool readItem(SetReader& reader, StatData& item) {
    StatData read{};
    if (!reader.readText(read.statId, read.statIdLen) || !reader.readText(read.statData, read.statDataLen)) {
        return false;
    }
    item.statIdLen = read.statIdLen;
    item.statId = read.statId;
    item.statDataLen = read.statDataLen;
    item.statData = read.statData;
    return true;
}

bool readItem(SetReader& reader, IdData& item) {
    IdData read{};
    if (!reader.readText(read.id, read.idLen)) {
        return false;
    }
    item.idLen = read.idLen;
    item.id = read.id;
    return true;
}

int32_t idLength(const StatData& item) {
    return item.statIdLen;
}

int32_t idLength(const IdData& item) {
    return item.idLen;
}

// Where the four workers differ.
struct Walk {
    bool rewinds;
    const TracePoint &entry, &header, &subsetEnd, &done, &exit;
    const TracePoint &notStarted = NO_LINE, &caching = NO_LINE, &rejected = NO_LINE;
    const TracePoint &itemLength = NO_LINE, &itemPosition = NO_LINE;
};

constexpr Walk FIRST_STAT{
    .rewinds = true,
    .entry = firstStatEntry,
    .header = firstStatHeader,
    .subsetEnd = firstStatSubsetEnd,
    .done = firstStatDone,
    .exit = firstStatExit,
    .caching = firstStatCaching,
};
constexpr Walk NEXT_STAT{
    .rewinds = false,
    .entry = nextStatEntry,
    .header = nextStatHeader,
    .subsetEnd = nextStatSubsetEnd,
    .done = nextStatDone,
    .exit = nextStatExit,
    .notStarted = nextStatNotStarted,
    .rejected = nextStatRejected,
    .itemPosition = nextStatItem,
};
constexpr Walk FIRST_ID{
    .rewinds = true,
    .entry = firstIdEntry,
    .header = firstIdHeader,
    .subsetEnd = firstIdSubsetEnd,
    .done = firstIdDone,
    .exit = firstIdExit,
    .rejected = firstIdRejected,
    .itemLength = firstIdItem,
};
constexpr Walk NEXT_ID{
    .rewinds = false,
    .entry = nextIdEntry,
    .header = nextIdHeader,
    .subsetEnd = nextIdSubsetEnd,
    .done = nextIdDone,
    .exit = nextIdExit,
    .notStarted = nextIdNotStarted,
    .rejected = nextIdRejected,
    .itemPosition = nextIdItem,
};

// Only this of a set's fields is shown by another thread's dump.
void moveTo(ResultSetToken* set, unsigned char* position) {
    __atomic_store_n(&set->next, position, __ATOMIC_RELAXED);
}

// Stand before the first element. A set that ends where its element count should be has none.
template <Tracing Sites, const Walk& How, class Record>
[[gnu::noinline]] void start(ResultSetToken* set, Record* record) {
    memcpy(record->eyecatcher, set->head, EYECATCHER_LENGTH);
    SetReader reader(*set, set->head + EYECATCHER_LENGTH);
    const bool isEmpty = reader.isAtEnd<Sites>();
    set->queryCount = isEmpty ? 0 : loadInteger(reader.at);
    set->queryIndex = 1;
    set->elementResultIndex = 0;
    moveTo(set, isEmpty ? reader.at : set->head + SET_HEADER_LENGTH);
    if constexpr (How.notStarted.number != 0) {
        trace<Sites, How.notStarted>(set, set->next);
    }
}

// Read an element's query and code, and remember them for its further items.
template <Tracing Sites, const Walk& How>
bool readHeader(ResultSetToken* set, SetReader& reader) {
    const unsigned char* start = reader.at;
    if (!reader.readText(set->queryElementPtr, set->queryElementLen) ||
        !reader.readInteger(set->queryElementRC)) {
        return false;
    }
    trace<Sites, How.header>(set->queryIndex, set->queryCount, set, start, set->queryElementLen,
                             set->queryElementPtr, set->queryElementRC);
    if constexpr (How.caching.number != 0) {
        trace<Sites, How.caching>(set, start, set->queryElementLen, set->queryElementPtr,
                                  set->queryElementRC);
    }
    return true;
}

template <class Record>
void fillQuery(const ResultSetToken& set, Record* record) {
    record->queryElementPtr = set.queryElementPtr;
    record->queryElementLen = set.queryElementLen;
    record->queryElementRC = set.queryElementRC;
}

template <Tracing Sites, const Walk& How, class Record>
int finishRejected(ResultSetToken* set, Record* record, const SetReader& reader) {
    if constexpr (How.rejected.number != 0) {
        trace<Sites, How.rejected>(set, record, set->queryElementRC);
    }
    ++set->queryIndex;
    moveTo(set, reader.at);
    return ZOLSTATS_OK;
}

// Read an item and stand before the next. An element has one item at least, whatever it counts.
template <Tracing Sites, const Walk& How, class Record>
int takeItem(ResultSetToken* set, Record* record, SetReader& reader, int32_t itemIndex) {
    if (!readItem(reader, *record)) {
        return ZOLSTATS_NO_MORE_ITEMS;
    }
    if constexpr (How.itemLength.number != 0) {
        trace<Sites, How.itemLength>(set->queryIndex, idLength(*record));
    }
    if constexpr (How.itemPosition.number != 0) {
        trace<Sites, How.itemPosition>(set->queryIndex, itemIndex, set, reader.at, idLength(*record));
    }
    set->elementResultIndex = itemIndex + 1;
    if (set->elementResultIndex > set->elementResultCount) {
        set->elementResultIndex = 0;
        ++set->queryIndex;
        trace<Sites, How.subsetEnd>(set->queryIndex, set);
    }
    moveTo(set, reader.at);
    trace<Sites, How.done>(set);
    return ZOLSTATS_OK;
}

// The first item of an element, or an element that the Gateway rejected.
template <Tracing Sites, const Walk& How, class Record>
[[gnu::noinline]] int beginElement(ResultSetToken* set, Record* record) {
    SetReader reader(*set, set->next);
    if (reader.isAtEnd<Sites>() || !readHeader<Sites, How>(set, reader)) {
        return ZOLSTATS_NO_MORE_ITEMS;
    }
    fillQuery(*set, record);
    if (set->queryElementRC < 0) {
        return finishRejected<Sites, How>(set, record, reader);
    }
    if (!reader.readInteger(set->elementResultCount)) {
        return ZOLSTATS_NO_MORE_ITEMS;
    }
    return takeItem<Sites, How>(set, record, reader, 1);
}

// A further item of the element.
template <Tracing Sites, const Walk& How, class Record>
int continueElement(ResultSetToken* set, Record* record) {
    SetReader reader(*set, set->next);
    if (reader.isAtEnd<Sites>()) {
        return ZOLSTATS_NO_MORE_ITEMS;
    }
    fillQuery(*set, record);
    return takeItem<Sites, How>(set, record, reader, set->elementResultIndex);
}

// The token moves on only when the step succeeds, so that a walk that met the end, or would leave the buffer, stays
// there until it is started again.
template <Tracing Sites, const Walk& How, class Record>
int step(ResultSetToken* set, Record* record) {
    if (How.rewinds || set->queryIndex == 0) {
        start<Sites, How>(set, record);
    }
    return set->elementResultIndex == 0 ? beginElement<Sites, How>(set, record)
                                        : continueElement<Sites, How>(set, record);
}

// One step of a walk.
template <Tracing Sites, const Walk& How, class Record>
int walk(ResultSetToken* set, Record* record) {
    trace<Sites, How.entry>(set, record);
    const int rc = step<Sites, How>(set, record);
    if constexpr (How.rewinds) {
        trace<Sites, How.exit>(rc == ZOLSTATS_NO_MORE_ITEMS ? 1 : 0, rc);
    } else {
        trace<Sites, How.exit>(rc);
    }
    return rc;
}

bool holds(const ResultSetToken& set, const char* eyecatcher) {
    const bool hasRoom = set.resultSetBufferLen <= 0 || set.resultSetBufferLen >= EYECATCHER_LENGTH;
    return hasRoom && memcmp(set.head, eyecatcher, EYECATCHER_LENGTH) == 0;
}

template <Tracing Sites>
int checkSetOwner(ResultSetToken* set) {
    if (Sites == Tracing::Off && __builtin_expect(isKnownOwner(set->owningPid, set->owningTid), 1)) {
        return ZOLSTATS_OK;
    }
    return set->owner == OWNER_API ? verifyAPIResultSetTokenOwner(set) : ZOLSTATS_OK;
}

// What the public calls of the walk add to a worker.
struct WalkCall {
    const Walk& walk;
    const char* content;
    int nullRecordRc;
    const TracePoint &entry, &wrongContent, &exit;
};

constexpr WalkCall GET_FIRST_STAT{
    .walk = FIRST_STAT,
    .content = STATS_SET_EYECATCHER,
    .nullRecordRc = ZOLSTATS_NULL_STAT_DATA,
    .entry = firstStatCallEntry,
    .wrongContent = firstStatCallContent,
    .exit = firstStatCallExit,
};
constexpr WalkCall GET_NEXT_STAT{
    .walk = NEXT_STAT,
    .content = STATS_SET_EYECATCHER,
    .nullRecordRc = ZOLSTATS_NULL_STAT_DATA,
    .entry = nextStatCallEntry,
    .wrongContent = nextStatCallContent,
    .exit = nextStatCallExit,
};
constexpr WalkCall GET_FIRST_ID{
    .walk = FIRST_ID,
    .content = IDS_SET_EYECATCHER,
    .nullRecordRc = ZOLSTATS_NULL_ID_DATA,
    .entry = firstIdCallEntry,
    .wrongContent = firstIdCallContent,
    .exit = firstIdCallExit,
};
constexpr WalkCall GET_NEXT_ID{
    .walk = NEXT_ID,
    .content = IDS_SET_EYECATCHER,
    .nullRecordRc = ZOLSTATS_NULL_ID_DATA,
    .entry = nextIdCallEntry,
    .wrongContent = nextIdCallContent,
    .exit = nextIdCallExit,
};

template <Tracing Sites, const WalkCall& Call, class Record>
int checkWalk(ResultSetToken* set, const Record* record) {
    if (set == nullptr) {
        return ZOLSTATS_NULL_RESULT_SET;
    }
    if (record == nullptr) {
        return Call.nullRecordRc;
    }
    if (set->head == nullptr) {
        return ZOLSTATS_NO_BUFFER;
    }
    if (!holds(*set, Call.content)) {
        trace<Call.wrongContent>();
        return ZOLSTATS_WRONG_CONTENT;
    }
    return checkSetOwner<Sites>(set);
}

template <Tracing Sites, const WalkCall& Call, class Record>
int checkAndWalk(ResultSetToken* set, Record* record) {
    const int rc = checkWalk<Sites, Call>(set, record);
    return rc != 0 ? rc : walk<Sites, Call.walk>(set, record);
}

template <const WalkCall& Call, class Record>
[[gnu::noinline]] int initialiseAndWalk(ResultSetToken* set, Record* record) {
    int rc = stapiInit();
    trace<Call.entry>(set, record);
    if (rc == 0) {
        rc = checkAndWalk<Tracing::On, Call>(set, record);
    }
    trace<Call.exit>(rc);
    return rc;
}

template <const WalkCall& Call, class Record>
[[gnu::flatten]] int callWalk(ResultSetToken* set, Record* record) {
    return isInitialised() && tracingNow() == Tracing::Off ? checkAndWalk<Tracing::Off, Call>(set, record)
                                                           : initialiseAndWalk<Call>(set, record);
}

// ---- Result sets as a whole

// Has the set a buffer of a known kind, and does it belong to the caller? NoBuffer is null where no line
// tells of it.
template <const TracePoint& NoBuffer, const TracePoint& WrongContent>
int checkSource(ResultSetToken* set) {
    if (set->head == nullptr) {
        if constexpr (NoBuffer.number != 0) {
            trace<NoBuffer>(set);
        }
        return ZOLSTATS_NO_BUFFER;
    }
    if (!holds(*set, IDS_SET_EYECATCHER) && !holds(*set, STATS_SET_EYECATCHER)) {
        trace<WrongContent>();
        return ZOLSTATS_WRONG_CONTENT;
    }
    return checkSetOwner<Tracing::On>(set);
}

int checkCopy(ResultSetToken* source, ResultSetToken** target) {
    if (source == nullptr) {
        return ZOLSTATS_NULL_RESULT_SET;
    }
    if (target == nullptr) {
        return ZOLSTATS_NULL_RESULT_SET_ADDRESS;
    }
    return checkSource<copyNoBuffer, copyContent>(source);
}

int copyBuffer(const ResultSetToken& source, ResultSetToken* copy) {
    copy->head = allocateResultSetBuffer(source.resultSetBufferLen);
    trace<copyAllocated>(source.resultSetBufferLen, copy->head);
    if (copy->head == nullptr) {
        trace<copyNoMemory>(source.resultSetBufferLen);
        return ZOLSTATS_NO_MEMORY;
    }
    copy->next = copy->head;
    copy->resultSetBufferLen = source.resultSetBufferLen;
    copy->reserved = source.reserved;
    if (source.resultSetBufferLen > 0) {
        memcpy(copy->head, source.head, static_cast<size_t>(source.resultSetBufferLen));
    }
    trace<copyDone>(source.head, copy->head);
    return ZOLSTATS_OK;
}

int makeCopy(ResultSetToken* source, ResultSetToken** target) {
    int rc = checkCopy(source, target);
    if (rc != 0) {
        return rc;
    }
    rc = createResultSet(target, COPY_EYECATCHER, OWNER_USER);
    if (rc != 0) {
        trace<copyNoToken>();
        return rc;
    }
    trace<copyToken>(source, target, *target);
    return copyBuffer(*source, *target);
}

int checkFree(ResultSetToken** set) {
    if (set == nullptr) {
        trace<freeNullAddress>(set);
        return ZOLSTATS_NULL_RESULT_SET_ADDRESS;
    }
    if (*set == nullptr) {
        trace<freeNullToken>(set);
        return ZOLSTATS_NULL_RESULT_SET;
    }
    if ((*set)->owner != OWNER_USER) {
        trace<freeNotACopy>(*set, (*set)->owner);
        return ZOLSTATS_NOT_A_COPY;
    }
    return ZOLSTATS_OK;
}

void freeCopy(ResultSetToken** set) {
    ResultSetToken* token = *set;
    if (token->head == nullptr) {
        trace<freeNoBuffer>(token);
    } else {
        trace<freeBuffer>(token->head);
        free(token->head);
        token->head = nullptr;
    }
    const FreedAddress freed(token);
    deleteResultSet(set);
    trace<freeDone>(freed);
}

int dumpSet(ResultSetToken* set) {
    if (set == nullptr) {
        return ZOLSTATS_NULL_RESULT_SET;
    }
    const int rc = checkSource<dumpResultSetNoBuffer, dumpResultSetContent>(set);
    if (rc == 0) {
        dumpResultSetInternal(set);
    }
    return rc;
}

// ---- Id queries: id ":" id ":" id

struct IdQuery {
    char* text;   // ID_QUERY_SIZE bytes, zeroed
    int length;   // characters so far
    int idCount;  // ids taken
};

// Ids that do not fit are passed over; a shorter one may still come.
void addId(IdQuery& query, const unsigned char* id, int32_t length) {
    if (query.length + length >= ID_QUERY_LIMIT) {
        return;
    }
    if (query.idCount > 0) {
        query.text[query.length++] = ':';
    }
    memcpy(query.text + query.length, id, static_cast<size_t>(length));
    query.length += length;
    ++query.idCount;
}

const unsigned char* idOf(const StatData& item) {
    return item.statId;
}

const unsigned char* idOf(const IdData& item) {
    return item.id;
}

template <class Record>
void collectIds(ResultSetToken* set, int (*first)(ResultSetToken*, Record*),
                int (*next)(ResultSetToken*, Record*), IdQuery& query) {
    Record item{};
    for (int rc = first(set, &item); rc == 0; rc = next(set, &item)) {
        if (item.queryElementRC == 0) {
            addId(query, idOf(item), idLength(item));
        }
    }
}

int checkIdQuery(ResultSetToken* set, char** output) {
    if (set == nullptr) {
        return ZOLSTATS_NULL_RESULT_SET;
    }
    if (output == nullptr) {
        return ZOLSTATS_NULL_OUTPUT;
    }
    return checkSource<NO_LINE, getIdQueryContent>(set);
}

int makeIdQuery(ResultSetToken* set, char** output, IdQuery& query) {
    const int rc = checkIdQuery(set, output);
    if (rc != 0) {
        return rc;
    }
    if (holds(*set, STATS_SET_EYECATCHER)) {
        collectIds(set, getFirstStatInternal, getNextStatInternal, query);
    } else {
        collectIds(set, getFirstIdInternal, getNextIdInternal, query);
    }
    if (query.length == 0) {
        return ZOLSTATS_NO_IDS;
    }
    memcpy(set->verifiedQueryString, query.text, ID_QUERY_SIZE);
    *output = set->verifiedQueryString;
    trace<getIdQueryDone>(*output, set);
    return ZOLSTATS_OK;
}

}  // namespace
}  // namespace zolstats

using namespace zolstats;

extern "C" {

int stapiInit(void) {
    if (isInitialised()) {
        return ZOLSTATS_OK;
    }
    pthread_mutex_lock(&initMutex);
    const int rc = stapiState != 0 ? ZOLSTATS_OK : initialise();
    pthread_mutex_unlock(&initMutex);
    return rc;
}

int dup2ASCIIString(const char* str, char** outputPtr) {
    return duplicate<TO_ASCII>(str, outputPtr);
}

// ---- Trace and versions

int getAPITraceLevel(int* traceLevel) {
    int rc = stapiInit();
    trace<getTraceLevelEntry>(traceLevel);
    if (rc == 0) {
        rc = handOut<getTraceLevelNull>(traceLevel, currentTraceLevel());
    }
    trace<getTraceLevelExit>(traceLevel, rc);
    return rc;
}

int setAPITraceLevel(int traceLevel) {
    int rc = stapiInit();
    trace<setTraceLevelEntry>(traceLevel, currentTraceLevel());
    if (rc == 0) {
        rc = applyTraceLevel(traceLevel);
    }
    trace<setTraceLevelExit>(traceLevel, currentTraceLevel(), rc);
    return rc;
}

int setAPITraceFile(const char* fileName) {
    int rc = stapiInit();
    trace<setTraceFileEntry>(fileName, traceFileName());
    if (rc == 0) {
        rc = applyTraceFile(fileName);
    }
    trace<setTraceFileExit>(fileName, traceFileName(), rc);
    return rc;
}

int getStatsAPIVersion(char** version) {
    int rc = stapiInit();
    trace<getVersionEntry>(version);
    if (rc == 0) {
        rc = handOut<getVersionNull>(version, stapiVersion);
    }
    trace<getVersionExit>(version, rc);
    return rc;
}

int setAPITimeout(int milliseconds) {
    int rc = stapiInit();
    trace<setTimeoutEntry>(milliseconds);
    if (rc == 0) {
        rc = applyTimeout(milliseconds);
    }
    trace<setTimeoutExit>(milliseconds, rc);
    return rc;
}

int getAPITimeout(int* milliseconds) {
    int rc = stapiInit();
    trace<getTimeoutEntry>(milliseconds);
    if (rc == 0) {
        rc = handOut<getTimeoutNull>(milliseconds, timeLimit());
    }
    trace<getTimeoutExit>(milliseconds, rc);
    return rc;
}

int dumpState(void) {
    const int rc = stapiInit();
    trace<dumpStateEntry>();
    if (rc == 0) {
        writeState();
        dumpGatewayTokens();
    }
    trace<dumpStateExit>();
    return rc;
}

// ---- Connections

int openGatewayConnection(int port, void** gwTokPtr, char** protocolVersion) {
    const LimitedCall limited(__func__);
    stapiInit();  // for the entry line only; the call below tells of a failure
    trace<openLocalEntry>(port, gwTokPtr, protocolVersion);
    const int rc = openRemoteGatewayConnection(LOCAL_HOST, port, gwTokPtr, protocolVersion);
    trace<openLocalExit>(port, rc);
    return rc;
}

int openRemoteGatewayConnection(const char* hostname, int port, void** gwTokPtr, char** protocolVersion) {
    const LimitedCall limited(__func__);
    int rc = stapiInit();
    trace<openRemoteEntry>(textOrNull(hostname), port, gwTokPtr, protocolVersion);
    if (rc == 0) {
        rc = openConnection(hostname, port, gwTokPtr, protocolVersion);
    }
    trace<openRemoteExit>(port, rc);
    return rc;
}

int closeGatewayConnection(void** gwTokPtr) {
    const LimitedCall limited(__func__);
    int rc = stapiInit();
    trace<closeEntry>(gwTokPtr);
    rc = closeConnectionOf(gwTokPtr, rc);
    trace<closeExit>(gwTokPtr, rc);
    return rc;
}

int closeAllGatewayConnections(void) {
    const LimitedCall limited(__func__);
    int rc = stapiInit();
    int listRc = 0;
    trace<closeAllEntry>();
    if (rc == 0) {
        listRc = deleteGatewayTokens();
        rc = listRc == GTL_RUNAWAY ? ZOLSTATS_LIST_LIMIT : ZOLSTATS_OK;
        trace<closeAllDone>();
    }
    trace<closeAllExit>(listRc, rc);
    return rc;
}

// ---- Queries

int getStats(void* gwTok, ResultSetToken** resultSet) {
    const LimitedCall limited(__func__);
    int rc = stapiInit();
    trace<getStatsEntry>(gwTok, resultSet);
    if (rc == 0) {
        rc = query<STATS>(gwTok, nullptr, resultSet);
    }
    trace<getStatsExit>(gwTok, resultSet, rc);
    return rc;
}

int getStatIds(void* gwTok, ResultSetToken** resultSet) {
    const LimitedCall limited(__func__);
    int rc = stapiInit();
    trace<getStatIdsEntry>(gwTok, resultSet);
    if (rc == 0) {
        rc = query<STAT_IDS>(gwTok, nullptr, resultSet);
    }
    trace<getStatIdsExit>(gwTok, resultSet, rc);
    return rc;
}

int getResourceGroupIds(void* gwTok, ResultSetToken** resultSet) {
    const LimitedCall limited(__func__);
    int rc = stapiInit();
    trace<getResourceGroupIdsEntry>(gwTok, resultSet);
    if (rc == 0) {
        rc = query<RESOURCE_GROUPS>(gwTok, nullptr, resultSet);
    }
    trace<getResourceGroupIdsExit>(rc);
    return rc;
}

int getStatsByStatGroupId(void* gwTok, const char* ids, ResultSetToken** resultSet) {
    const LimitedCall limited(__func__);
    int rc = stapiInit();
    trace<getStatsByStatGroupIdEntry>(gwTok, ids, resultSet);
    if (rc == 0) {
        rc = query<STATS_BY_GROUP>(gwTok, ids, resultSet);
    }
    trace<getStatsByStatGroupIdExit>(gwTok, ids, resultSet, rc);
    return rc;
}

int getStatsByStatId(void* gwTok, const char* ids, ResultSetToken** resultSet) {
    const LimitedCall limited(__func__);
    int rc = stapiInit();
    trace<getStatsByStatIdEntry>(gwTok, ids, resultSet);
    if (rc == 0) {
        rc = query<STATS_BY_ID>(gwTok, ids, resultSet);
    }
    trace<getStatsByStatIdExit>(gwTok, ids, resultSet, rc);
    return rc;
}

int getStatIdsByStatGroupId(void* gwTok, const char* ids, ResultSetToken** resultSet) {
    const LimitedCall limited(__func__);
    int rc = stapiInit();
    trace<getStatIdsByStatGroupIdEntry>(gwTok, ids, resultSet);
    if (rc == 0) {
        rc = query<STAT_IDS_BY_GROUP>(gwTok, ids, resultSet);
    }
    trace<getStatIdsByStatGroupIdExit>(gwTok, textOrNull(ids), resultSet, rc);
    return rc;
}

// ---- Walking

int getFirstStat(ResultSetToken* resultSet, StatData* statData) {
    return callWalk<GET_FIRST_STAT>(resultSet, statData);
}

int getNextStat(ResultSetToken* resultSet, StatData* statData) {
    return callWalk<GET_NEXT_STAT>(resultSet, statData);
}

int getFirstId(ResultSetToken* resultSet, IdData* idData) {
    return callWalk<GET_FIRST_ID>(resultSet, idData);
}

int getNextId(ResultSetToken* resultSet, IdData* idData) {
    return callWalk<GET_NEXT_ID>(resultSet, idData);
}

int getFirstStatInternal(ResultSetToken* rsPtr, StatData* statDataPtr) {
    return walk<Tracing::On, FIRST_STAT>(rsPtr, statDataPtr);
}

int getNextStatInternal(ResultSetToken* rsPtr, StatData* statDataPtr) {
    return walk<Tracing::On, NEXT_STAT>(rsPtr, statDataPtr);
}

int getFirstIdInternal(ResultSetToken* rsPtr, IdData* idDataPtr) {
    return walk<Tracing::On, FIRST_ID>(rsPtr, idDataPtr);
}

int getNextIdInternal(ResultSetToken* rsPtr, IdData* idDataPtr) {
    return walk<Tracing::On, NEXT_ID>(rsPtr, idDataPtr);
}

// ---- Result sets as a whole

int copyResultSet(ResultSetToken* source, ResultSetToken** target) {
    int rc = stapiInit();
    trace<copyEntry>(source, target);
    if (rc == 0) {
        rc = makeCopy(source, target);
    }
    trace<copyExit>(source, target, rc);
    return rc;
}

int freeResultSet(ResultSetToken** resultSet) {
    int rc = stapiInit();
    trace<freeEntry>(resultSet);
    if (rc == 0) {
        rc = checkFree(resultSet);
    }
    if (rc == 0) {
        freeCopy(resultSet);
    }
    trace<freeExit>(resultSet, rc);
    return rc;
}

int dumpResultSet(ResultSetToken* resultSet) {
    int rc = stapiInit();
    trace<dumpResultSetEntry>(resultSet);
    if (rc == 0) {
        rc = dumpSet(resultSet);
    }
    trace<dumpResultSetExit>(resultSet, rc);
    return rc;
}

int getIdQuery(ResultSetToken* resultSet, char** idQuery) {
    int rc = stapiInit();
    trace<getIdQueryEntry>(resultSet, idQuery);
    IdQuery query{static_cast<char*>(calloc(1, ID_QUERY_SIZE)), 0, 0};
    if (query.text == nullptr) {
        rc = ZOLSTATS_NO_MEMORY;
    }
    if (rc == 0) {
        rc = makeIdQuery(resultSet, idQuery, query);
    }
    free(query.text);
    trace<getIdQueryExit>(resultSet, query.idCount, rc);
    return rc;
}
}
