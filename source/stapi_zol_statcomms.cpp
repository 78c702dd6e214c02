// Statistics calls: Admin requests for queries and for the protocol version, and the parsers of their call
// data. The parsers know no socket: bytes and a cursor in, items out. What a query is for is decided above.
// The requests and the call data of the replies are written down in docs/protocol.md.
#include "stapi_zol_statcomms.h"

#include <limits.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "stapi_zol_diag.h"
#include "stapi_zol_gwytok.h"
#include "stapi_zol_resultsetbuffer.h"
#include "stapi_zol_statcomms_trace.h"
#include "zolstats/zolstats.h"

const char version4stapi_zol_statcomms[] = ZOLSTATS_VERSION_TEXT;
const char copyright4stapi_zol_statcomms[] = ZOLSTATS_COPYRIGHT_TEXT;

namespace zolstats {
namespace {

constexpr char STATS_MBEAN_ACTION_GET_STATS[] = "GET_STATS";

constexpr uint32_t INVOKE_OVERHEAD =
    27;  // seven item lengths, two counts, the five bytes of the object stream
constexpr uint32_t ATTRIBUTE_OVERHEAD = 10;  // five item lengths

constexpr int PROTOCOL_VERSION_LENGTH_AT = 6;
constexpr int PROTOCOL_VERSION_AT = 8;

constexpr int BLOCK_DATA = 0x77;       // a block of data with a one-byte length
constexpr int BLOCK_DATA_LONG = 0x7A;  // a block of data with a four-byte length
constexpr int MARK_LENGTH = 5;         // what stands in front of a statistic's block
constexpr int CHUNK = 16;
constexpr int RESPONSES_COUNTED = 1;  // form byte of call data that tells how many responses it has

// With this reason a result of -4 means that the connection has gone. (A return code of -4 in a reply's
// header is its own reason, so that it does not come here.)
constexpr int GATEWAY_GONE_RC = -4;
constexpr int32_t GATEWAY_GONE = 0xF004;

// Stands for the length of call data that came without one.
constexpr int64_t UNKNOWN_LENGTH = INT_MAX;

// ---- Requests

uint32_t length(const char* text) {
    return static_cast<uint32_t>(strlen(text));
}

// A record that was initialised is used again for the call itself. The header fields that are not set here
// keep what the Gateway's reply put there; they are sent back to it.
void prepareCall(AdminRequest* admin, int32_t callType) {
    admin->header.requestType = REQUEST_CALL;
    admin->header.returnCode = 0;
    admin->header.name = ADMIN_REQUEST_NAME;
    admin->callType = callType;
    admin->authRc = 0;
    admin->callData = nullptr;
    admin->country = ADMIN_CLIENT_COUNTRY;
    admin->language = ADMIN_CLIENT_LANGUAGE;
    admin->blankString = "";
    admin->mbeanName = STATS_MBEAN_NAME;
}

void setCallLength(AdminRequest* admin, uint32_t callLength) {
    admin->callLength = callLength;
    admin->header.bodyLength = callLength + ADMIN_CALL_PREFIX_LENGTH;
}

// A call needs a payload; an initialising reply to it carries none.
int flowCall(int socketDesc, AdminRequest* admin, FlowReasons* reasons) {
    const int rc = flowAdminRequest(socketDesc, admin, reasons);
    return rc == 0 && admin->callData == nullptr ? ZOLSTATS_EXCHANGE_FAILED : rc;
}

int invoke(int socketDesc, const char* queryType, const char* queryString, AdminRequest* admin,
           FlowReasons* reasons) {
    prepareCall(admin, ADMIN_INVOKE);
    admin->actionName = queryType;
    admin->argument = queryString;
    admin->signature = STATS_MBEAN_SIG;
    setCallLength(admin, calculateCallLength(*admin));
    return flowCall(socketDesc, admin, reasons);
}

int getAttribute(int socketDesc, const char* attributeName, AdminRequest* admin, FlowReasons* reasons) {
    prepareCall(admin, ADMIN_GET_ATTRIBUTE);
    admin->attributeName = attributeName;
    setCallLength(admin, calculateGetAttrCallLength(*admin));
    return flowCall(socketDesc, admin, reasons);
}

int parsePayload(const AdminRequest& admin, const char* queryType, unsigned char** buffer, int* bufferLen) {
    const auto payloadLength = static_cast<int>(admin.header.bodyLength);
    traceData<statCommsStringPayload>({admin.callData, payloadLength, 0, 0});
    if (strcmp(queryType, STATS_MBEAN_ACTION_GET_STATS) == 0) {
        trace<statCommsStringStats>();
        return parseStatsData(admin.callData, payloadLength, buffer, bufferLen);
    }
    trace<statCommsStringIds>();
    return parseIdsData(admin.callData, payloadLength, buffer, bufferLen);
}

// ---- Protocol version

int reportMalformed(const char* function, int64_t offset, int64_t dataLength) {
    trace<malformedCallData>(function, static_cast<int>(offset), static_cast<int>(dataLength));
    return ZOLSTATS_EXCHANGE_FAILED;
}

// Make room for a version text of that size, NUL included; the token's buffer is null when there is no
// memory.
void growVersionText(GatewayToken* token, int size) {
    if (token->protocolVersion != nullptr && size > PROTOCOL_VERSION_SIZE) {
        free(token->protocolVersion);
        token->protocolVersion = static_cast<char*>(malloc(static_cast<size_t>(size)));
    }
    trace<statProtocolVerBuffer>(size, token->protocolVersion);
}

int storeProtocolVersion(GatewayToken* token, const unsigned char* payload, int payloadLength) {
    if (payloadLength < PROTOCOL_VERSION_AT) {
        return reportMalformed("statProtocolVer", PROTOCOL_VERSION_LENGTH_AT, payloadLength);
    }
    const auto versionLength = static_cast<int16_t>(loadShort(payload + PROTOCOL_VERSION_LENGTH_AT));
    if (versionLength < 0 || versionLength > payloadLength - PROTOCOL_VERSION_AT) {
        return reportMalformed("statProtocolVer", PROTOCOL_VERSION_LENGTH_AT, payloadLength);
    }
    growVersionText(token, versionLength + 1);
    if (token->protocolVersion == nullptr) {
        trace<statProtocolVerNoMemory>(versionLength + 1);
        return ZOLSTATS_NO_MEMORY;
    }
    memcpy(token->protocolVersion, payload + PROTOCOL_VERSION_AT, static_cast<size_t>(versionLength));
    token->protocolVersion[versionLength] = '\0';
    return 0;
}

// ---- Reading call data

// A position in call data. Skipping past the end is no fault, reading there is; after a fault nothing is there any
// more, and all reads give 0.
struct CallData {
    const unsigned char* bytes;
    int64_t length;
    int64_t at = 0;
    int64_t faultAt = NO_FAULT;  // offset of the first fault

    static constexpr int64_t NO_FAULT = -1;

    bool has(int64_t count) const { return count <= length - at; }

    void fail(int64_t offset) {
        if (faultAt == NO_FAULT) {
            faultAt = offset;
            length = -1;
        }
    }

    void skip(int64_t count) { at += count; }

    // The position of the next count bytes, which are passed; null if they are not all there.
    const unsigned char* take(int64_t count) {
        if (!has(count)) {
            fail(at);
            return nullptr;
        }
        const unsigned char* position = bytes + at;
        at += count;
        return position;
    }

    int readByte() {
        const unsigned char* position = take(1);
        return position != nullptr ? *position : 0;
    }

    int readWord() {
        const unsigned char* position = take(4);
        return position != nullptr ? static_cast<int>(loadWord(position)) : 0;
    }

    // A 16-bit length. The protocol knows none above 32767.
    int readLength() {
        const unsigned char* position = take(2);
        const int value = position != nullptr ? loadShort(position) : 0;
        if (value > INT16_MAX) {
            fail(at - 2);
            return 0;
        }
        return value;
    }

    // The byte at the position, which stays; 0 if there is none.
    int peekByte() const { return has(1) ? bytes[at] : 0; }
};

// ---- Writing the result set buffer

// The end of what was written to a buffer that grows. After a failed growth nothing more is written.
template <Tracing Sites>
struct SetWriter {
    unsigned char** buffer;
    int* capacity;
    unsigned char* cursor = nullptr;
    int64_t room = 0;  // bytes behind the cursor
    int rc = 0;

    int64_t written() const { return *capacity - room; }  // the terminator does not count

    bool makeRoom(int64_t count) {
        if (__builtin_expect(count > room, 0)) {
            grow(count);
        }
        return rc == 0;
    }

    void add(int value) {
        if (makeRoom(INTEGER_LENGTH)) {
            put(value);
        }
    }

    void add(const unsigned char* bytes, int count) {
        if (bytes != nullptr && makeRoom(count)) {
            put(bytes, count);
        }
    }

    // Start the set afresh. Its header has room in every buffer; until more follows, the buffer reads as
    // empty.
    void start(const char* eyecatcher, int elementCount) {
        cursor = *buffer;
        addTerminator(cursor);
        addPlatformChars(&cursor, eyecatcher, EYECATCHER_LENGTH);
        addInteger(&cursor, elementCount);
        room = int64_t{*capacity} - SET_HEADER_LENGTH;
    }

    // The terminator, and zeros where a dump's last line may still look.
    void finish() {
        if (!makeRoom(INTEGER_LENGTH)) {
            return;
        }
        addTerminator(cursor);
        const int64_t behind = std::min<int64_t>(RESULT_SET_SLACK, room - INTEGER_LENGTH);
        memset(cursor + INTEGER_LENGTH, 0, static_cast<size_t>(behind));
    }

  private:
    [[gnu::cold, gnu::noinline]] void grow(int64_t count) {
        while (rc == 0 && count > room) {
            const auto kept = static_cast<int>(written());
            rc = reallocResultsSetBuffer(buffer, capacity, &cursor, kept);
            room = int64_t{*capacity} - kept;
        }
    }

    void put(int value) {
        if constexpr (Sites == Tracing::On) {
            addInteger(&cursor, value);
        } else {
            memcpy(cursor, &value, INTEGER_LENGTH);
            cursor += INTEGER_LENGTH;
        }
        room -= INTEGER_LENGTH;
    }

    void put(const unsigned char* bytes, int count) {
        if constexpr (Sites == Tracing::On) {
            addChars(&cursor, bytes, count);
        } else {
            memcpy(cursor, bytes, static_cast<size_t>(count));
            cursor += count;
        }
        room -= count;
    }
};

template <Tracing Sites>
struct Parse {
    CallData in;
    SetWriter<Sites> out;

    bool going() const { return in.faultAt == CallData::NO_FAULT && out.rc == 0; }

    int copyInteger() {
        const int value = in.readWord();
        out.add(value);
        return value;
    }

    void copyBytes(int count) { out.add(in.take(count), count); }

    // A text with its 16-bit length.
    void copyText() {
        const int count = in.readLength();
        out.add(count);
        copyBytes(count);
    }
};

// ---- Ids: N times a length and an id, in one run; then an end byte

template <Tracing Sites>
void parseIds(Parse<Sites>& parse, int count) {
    for (int item = 0; item < count && parse.going(); ++item) {
        parse.copyText();
    }
    parse.in.skip(1);
}

// ---- Statistics: each an object of its own, read from its mark:
//     5 bytes not looked at, block marker, block length (1 or 4 bytes), id length, id, data length, data
// In a long block the data may go on in further blocks.

template <Tracing Sites>
int nextMarker(const CallData& in) {
    const int marker = in.peekByte();
    trace<Sites, statisticNextBlock>(marker);
    return marker;
}

// Append what follows in further blocks until remaining bytes have come. A block counts whole even if it
// holds more. The marker is not looked at again once a short block was met.
template <Tracing Sites>
void parseFurtherBlocks(Parse<Sites>& parse, int remaining) {
    int marker = nextMarker<Sites>(parse.in);
    while (marker == BLOCK_DATA_LONG && remaining > 0 && parse.going()) {
        parse.in.skip(3);
        const int count = parse.in.readLength();
        parse.copyBytes(count);
        remaining -= count;
        trace<Sites, statisticLongChunk>(count, remaining);
        marker = nextMarker<Sites>(parse.in);
    }
    while (marker == BLOCK_DATA && remaining > 0 && parse.going()) {
        parse.in.skip(1);
        const int count = parse.in.readByte();
        parse.copyBytes(count);
        remaining -= count;
        trace<Sites, statisticShortChunk>(count, remaining);
    }
    if (remaining > 0 && !parse.in.has(1)) {
        parse.in.fail(parse.in.at);
    }
}

template <Tracing Sites>
void parseLongBlockData(Parse<Sites>& parse, int dataLength, int inFirstBlock) {
    if (dataLength <= inFirstBlock) {
        parse.copyBytes(dataLength);
        trace<Sites, statisticInOneChunk>(dataLength);
        return;
    }
    parse.copyBytes(inFirstBlock);
    trace<Sites, statisticFirstChunk>(inFirstBlock, dataLength, dataLength - inFirstBlock);
    parseFurtherBlocks(parse, dataLength - inFirstBlock);
}

// From a statistic's mark to the next one. A marker other than the long one is taken for a short block.
template <Tracing Sites>
void parseStatistic(Parse<Sites>& parse) {
    CallData& in = parse.in;
    in.skip(MARK_LENGTH);
    const int marker = in.readByte();
    trace<Sites, statisticBlock>(marker);
    const bool isLong = marker == BLOCK_DATA_LONG;
    in.skip(isLong ? 2 : 1);
    const int64_t blockLengthAt = in.at;
    const int blockLength = isLong ? in.readLength() : 0;
    if (isLong) {
        trace<Sites, statisticChunkLength>(blockLength);
    }
    const int idLength = in.readLength();
    trace<Sites, statisticIdLength>(idLength);
    parse.out.add(idLength);
    parse.copyBytes(idLength);
    const int dataLength = in.readLength();
    parse.out.add(dataLength);
    if (isLong && blockLength < 4 + idLength) {
        in.fail(blockLengthAt);
    } else if (isLong) {
        parseLongBlockData(parse, dataLength, blockLength - 4 - idLength);
    } else {
        trace<Sites, statisticDataLength>(dataLength);
        parse.copyBytes(dataLength);
    }
    in.skip(2);
}

// A length and a text, in chunks rather than by a call: up to CHUNK bytes behind both texts are read and written, too.
unsigned char* copyCounted(unsigned char* to, const unsigned char* text, int32_t length) {
    memcpy(to, &length, INTEGER_LENGTH);
    to += INTEGER_LENGTH;
    for (int copied = 0; copied < length; copied += CHUNK) {
        memcpy(to + copied, text + copied, CHUNK);
    }
    return to + length;
}

// The usual statistics, each filling one short block: all up to one that does not, or that ends close to the end of the
// data or of the room. Each costs one look at what is left of both. Returns how many there were.
template <Tracing Sites>
int copyShortStatistics(Parse<Sites>& parse, int count) {
    const unsigned char* at = parse.in.bytes + parse.in.at;
    int64_t left = parse.in.length - parse.in.at;
    unsigned char* to = parse.out.cursor;
    int64_t room = parse.out.room;
    int copied = 0;
    for (; copied < count && left >= MARK_LENGTH + CHUNK && at[MARK_LENGTH] == BLOCK_DATA; ++copied) {
        const int block = at[MARK_LENGTH + 1];
        const int size = MARK_LENGTH + 2 + block + 2;
        const unsigned char* id = at + MARK_LENGTH + 4;
        const int idLength = loadShort(id - 2);
        const int dataLength = block - 4 - idLength;
        if (size + CHUNK > std::min(left, room) || dataLength < 0 || loadShort(id + idLength) != dataLength) {
            break;
        }
        to = copyCounted(to, id, idLength);
        to = copyCounted(to, id + idLength + 2, dataLength);
        at += size;
        left -= size;
        room -= block + 4;
    }
    parse.in.at = parse.in.length - left;
    parse.out.cursor = to;
    parse.out.room = room;
    return copied;
}

// The first mark is found over the class name of the first statistic, and looked for even when there is none.
// With nothing behind a response without items there is nothing to look for either.
template <Tracing Sites>
void parseStatistics(Parse<Sites>& parse, int count) {
    if (count <= 0 && !parse.in.has(4)) {
        return;
    }
    parse.in.skip(2);
    const int classNameLength = parse.in.readLength();
    parse.in.skip(classNameLength + 8);
    for (int item = 0; item < count && parse.going(); ++item) {
        if constexpr (Sites == Tracing::Off) {
            item += copyShortStatistics(parse, count - item - 1);
        }
        parseStatistic(parse);
    }
}

// ---- Call data

// Where the two parsers differ.
struct StatsParser {
    static constexpr const char* NAME = "parseStatsData";
    static constexpr const char* EYECATCHER = STATS_SET_EYECATCHER;
    static constexpr const TracePoint &ENTRY = parseStatsDataEntry, &RECEIVED = parseStatsDataReceived,
                                      &READING = parseStatsDataReading, &EXIT = parseStatsDataExit;

    static void code(int) {}
    template <Tracing Sites>
    static void rejected(Parse<Sites>& parse, int) {
        parse.in.skip(1);
    }
    template <Tracing Sites>
    static void items(Parse<Sites>& parse, int count) {
        parseStatistics(parse, count);
        trace<parseStatsDataRunningTotal>(static_cast<int>(parse.out.written()));
    }
    static void done(int written) { trace<parseStatsDataTotal>(written); }
};

struct IdsParser {
    static constexpr const char* NAME = "parseIdsData";
    static constexpr const char* EYECATCHER = IDS_SET_EYECATCHER;
    static constexpr const TracePoint &ENTRY = parseIdsDataEntry, &RECEIVED = parseIdsDataReceived,
                                      &READING = parseIdsDataReading, &EXIT = parseIdsDataExit;

    static void code(int queryRc) { trace<parseIdsDataCode>(queryRc, queryRc); }
    template <Tracing Sites>
    static void rejected(Parse<Sites>& parse, int index) {
        trace<parseIdsDataBadElement>(index);
        parse.in.skip(1);
    }
    template <Tracing Sites>
    static void items(Parse<Sites>& parse, int count) {
        parseIds(parse, count);
    }
    static void done(int) {}
};

int readResponseCount(CallData& in) {
    return in.readByte() == RESPONSES_COUNTED ? in.readWord() : 1;
}

// A response begins as a serialised object whose class and superclass are passed over:
//     6 bytes, class name, 13 bytes, superclass name, 13 bytes, block marker, block length (1 or 4 bytes)
// A marker other than the short one is taken for a long block.
void skipResponseHeader(CallData& in) {
    in.skip(6);
    for (int name = 0; name < 2; ++name) {
        const int nameLength = in.readLength();
        in.skip(nameLength + 13);
    }
    in.skip(in.readByte() == BLOCK_DATA ? 1 : 4);
}

// A response: header, query text, return code; then the item count and the items, or an end byte after a
// rejection.
template <class Parser, Tracing Sites>
void parseResponse(Parse<Sites>& parse, int index) {
    skipResponseHeader(parse.in);
    parse.copyText();
    const int queryRc = parse.copyInteger();
    Parser::code(queryRc);
    if (queryRc < 0) {
        Parser::rejected(parse, index);
        return;
    }
    const int count = parse.copyInteger();
    trace<Parser::READING>(count, index);
    Parser::items(parse, count);
}

// Complete the set; the answer to malformed call data is an empty one.
template <class Parser, Tracing Sites>
int finishParse(Parse<Sites>& parse, int64_t dataLength) {
    const bool malformed = parse.in.faultAt != CallData::NO_FAULT && parse.out.rc == 0;
    if (malformed) {
        parse.out.start(Parser::EYECATCHER, 0);
    }
    parse.out.finish();
    if (malformed) {
        reportMalformed(Parser::NAME, parse.in.faultAt, dataLength);
        return parse.out.rc != 0 ? parse.out.rc : ZOLSTATS_EXCHANGE_FAILED;
    }
    Parser::done(static_cast<int>(parse.out.written()));
    return parse.out.rc;
}

template <class Parser, Tracing Sites>
int parseResponses(const unsigned char* rawData, int64_t rawDataLen, unsigned char** resultSetBuffer,
                   int* resultSetBufferLen) {
    Parse<Sites> parse{{rawData, rawDataLen}, {resultSetBuffer, resultSetBufferLen}};
    const int responses = readResponseCount(parse.in);
    parse.out.start(Parser::EYECATCHER, responses);
    trace<Parser::RECEIVED>(responses);
    for (int index = 0; index < responses && parse.going(); ++index) {
        parseResponse<Parser>(parse, index);
    }
    return finishParse<Parser>(parse, rawDataLen);
}

template <class Parser>
int parseCallData(const unsigned char* rawData, int64_t rawDataLen, unsigned char** resultSetBuffer,
                  int* resultSetBufferLen) {
    trace<Parser::ENTRY>(rawData, *resultSetBuffer, *resultSetBufferLen);
    // What has no known length is not read ahead of.
    const bool isUsual = tracingNow() == Tracing::Off && rawDataLen != UNKNOWN_LENGTH;
    const auto parse = isUsual ? parseResponses<Parser, Tracing::Off> : parseResponses<Parser, Tracing::On>;
    const int rc = parse(rawData, rawDataLen, resultSetBuffer, resultSetBufferLen);
    trace<Parser::EXIT>(rawData, *resultSetBuffer, *resultSetBufferLen, rc);
    return rc;
}

// The buffer at twice its capacity, or null with the old one freed.
unsigned char* doubled(unsigned char* buffer, int capacity) {
    void* grown = nullptr;
    if (capacity > 0 && capacity <= INT_MAX / 2) {
        grown = realloc(buffer, 2 * static_cast<size_t>(capacity) + RESULT_SET_SLACK);
    }
    if (grown == nullptr) {
        free(buffer);
        return nullptr;
    }
    memset(static_cast<unsigned char*>(grown) + 2 * static_cast<size_t>(capacity), 0, RESULT_SET_SLACK);
    return static_cast<unsigned char*>(grown);
}

}  // namespace

int applicationRc(int rc, const FlowReasons& reasons) {
    if (rc == 0) {
        return ZOLSTATS_OK;
    }
    const bool gone = rc == FLOW_NOT_SENT || (rc == GATEWAY_GONE_RC && reasons.gwyRc == GATEWAY_GONE);
    return gone ? ZOLSTATS_CONNECTION_LOST : ZOLSTATS_EXCHANGE_FAILED;
}

int parseStatsData(const unsigned char* rawData, int rawDataLen, unsigned char** resultSetBuffer,
                   int* resultSetBufferLen) {
    return parseCallData<StatsParser>(rawData, rawDataLen, resultSetBuffer, resultSetBufferLen);
}

int parseIdsData(const unsigned char* rawData, int rawDataLen, unsigned char** resultSetBuffer,
                 int* resultSetBufferLen) {
    return parseCallData<IdsParser>(rawData, rawDataLen, resultSetBuffer, resultSetBufferLen);
}

}  // namespace zolstats

using namespace zolstats;

extern "C" {

int getInitAdminRequest(int socketDesc, AdminRequest* admin, FlowReasons* reasons) {
    trace<getInitAdminRequestEntry>(socketDesc, admin, reasons);
    admin->header = {GATE_EYECATCHER,
                     PROTOCOL_LEVEL,
                     REQUEST_CALL,
                     0,
                     0,
                     length(ADMIN_REQUEST_NAME),
                     ADMIN_REQUEST_NAME,
                     0,
                     ADMIN_INITIALISE_LENGTH};
    admin->callType = ADMIN_INITIALISE;
    admin->callData = nullptr;
    const int rc = flowAdminRequest(socketDesc, admin, reasons);
    free(admin->callData);  // a payload has no place here, but a Gateway may send one
    admin->callData = nullptr;
    trace<getInitAdminRequestExit>(socketDesc, admin, reasons, rc);
    return rc;
}

uint32_t calculateCallLength(AdminRequest admin) {
    trace<calculateCallLengthEntry>();
    const uint32_t size = length(admin.country) + length(admin.language) + length(admin.blankString) +
                          length(admin.mbeanName) + length(admin.actionName) + length(admin.argument) +
                          length(admin.signature) + INVOKE_OVERHEAD;
    trace<calculateCallLengthExit>(size);
    return size;
}

uint32_t calculateGetAttrCallLength(AdminRequest admin) {
    trace<calculateGetAttrCallLengthEntry>();
    const uint32_t size = length(admin.country) + length(admin.language) + length(admin.blankString) +
                          length(admin.mbeanName) + length(admin.attributeName) + ATTRIBUTE_OVERHEAD;
    trace<calculateGetAttrCallLengthExit>(size);
    return size;
}

int statCommsString(int socketDesc, const char* queryType, const char* queryString, unsigned char** buffer,
                    int* bufferLen, FlowReasons* reasons) {
    char type[QUERY_TYPE_SIZE] = "";
    strncpy(type, queryType, sizeof type - 1);
    trace<statCommsStringEntry>(socketDesc, type, queryString, *buffer, *bufferLen, reasons);
    AdminRequest admin{};
    int rc = getInitAdminRequest(socketDesc, &admin, reasons);
    if (rc == 0) {
        trace<statCommsStringInitialised>();
        rc = invoke(socketDesc, queryType, queryString, &admin, reasons);
    }
    if (rc == 0) {
        rc = parsePayload(admin, queryType, buffer, bufferLen);
    }
    if (admin.callData != nullptr) {
        trace<statCommsStringFree>(admin.callData);
        free(admin.callData);
    }
    trace<statCommsStringExit>(socketDesc, type, queryString, *buffer, *bufferLen, reasons, rc);
    return rc;
}

int statComms(int socketDesc, const char* queryType, unsigned char** buffer, int* bufferLen,
              FlowReasons* reasons) {
    trace<statCommsEntry>(socketDesc, queryType, *buffer, *bufferLen, reasons);
    const int rc = statCommsString(socketDesc, queryType, "", buffer, bufferLen, reasons);
    trace<statCommsExit>(socketDesc, queryType, *buffer, *bufferLen, reasons, rc);
    return rc;
}

int statProtocolVer(GatewayToken* gwTokPtr, FlowReasons* reasons) {
    trace<statProtocolVerEntry>(gwTokPtr);
    // Another thread that closes the connection meanwhile may look at the token's socket.
    const int socketDesc = __atomic_load_n(&gwTokPtr->socket, __ATOMIC_RELAXED);
    AdminRequest admin{};
    int rc = getInitAdminRequest(socketDesc, &admin, reasons);
    if (rc == 0) {
        trace<statProtocolVerInitialised>();
        rc = getAttribute(socketDesc, STATS_MBEAN_PROTOCOL_VERSION, &admin, reasons);
    }
    if (rc == 0) {
        trace<statProtocolVerGot>();
        rc = storeProtocolVersion(gwTokPtr, admin.callData, static_cast<int>(admin.header.bodyLength));
    }
    if (admin.callData != nullptr) {
        trace<statProtocolVerFree>(admin.callData);
        free(admin.callData);
    }
    trace<statProtocolVerExit>(gwTokPtr, rc);
    return rc;
}

int parseStatsData(const unsigned char* rawData, unsigned char** resultSetBuffer, int* resultSetBufferLen) {
    return parseCallData<StatsParser>(rawData, UNKNOWN_LENGTH, resultSetBuffer, resultSetBufferLen);
}

int parseIdsData(const unsigned char* rawData, unsigned char** resultSetBuffer, int* resultSetBufferLen) {
    return parseCallData<IdsParser>(rawData, UNKNOWN_LENGTH, resultSetBuffer, resultSetBufferLen);
}

int reallocResultsSetBuffer(unsigned char** resultSetBuffer, int* resultSetBufferLen, unsigned char** buffer,
                            int totaldatawritten) {
    trace<reallocEntry>(*resultSetBuffer, *resultSetBufferLen, *buffer, totaldatawritten);
    int rc = ZOLSTATS_NO_MEMORY;
    *resultSetBuffer = doubled(*resultSetBuffer, *resultSetBufferLen);
    if (*resultSetBuffer != nullptr) {
        *buffer = *resultSetBuffer + totaldatawritten;
        *resultSetBufferLen *= 2;
        rc = 0;
    }
    trace<reallocExit>(*resultSetBuffer, *resultSetBufferLen, *buffer, rc);
    return rc;
}
}
