// Messages on a socket: framing, the exchange, and the handshake, close, authorisation and Admin requests.
// Opening sockets, choosing requests and reading payloads are the business of other modules.
// The wire format is written down in docs/protocol.md.
#include "stapi_zol_socketcomms.h"

#include <errno.h>
#include <poll.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <time.h>

#include <algorithm>
#include <initializer_list>

#include "stapi_zol_diag.h"
#include "stapi_zol_socketcomms_trace.h"
#include "zolstats/zolstats.h"

const char version4stapi_zol_socketcomms[] = ZOLSTATS_VERSION_TEXT;
const char copyright4stapi_zol_socketcomms[] = ZOLSTATS_COPYRIGHT_TEXT;

namespace zolstats {
namespace {

// ---- Time

constexpr int64_t NANOSECONDS_PER_MS = 1'000'000;
constexpr int MS_PER_SECOND = 1000;
constexpr suseconds_t US_PER_MS = 1000;

// The clock of a thread's calls. It lies in the memory that a thread has from its start: elsewhere its first use
// would allocate, and end the process if there is no memory left.
struct CallClock {
    int limitMs;       // of every call; 0: none
    const char* call;  // the timed call under way, or null
    TimedCall::Report report;
    int64_t deadlineNs;  // of that call
    bool wasUp;          // its time is up, and that has been reported
};
[[gnu::tls_model("initial-exec")]] constinit thread_local CallClock callClock{};

bool isTimed() {
    return callClock.call != nullptr;
}

int64_t nowNs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * MS_PER_SECOND * NANOSECONDS_PER_MS + now.tv_nsec;
}

// Rounded up, so that waiting this long is long enough; 0 when the time is up.
int timeLeftMs() {
    const int64_t left = callClock.deadlineNs - nowNs();
    return left <= 0 ? 0 : static_cast<int>((left + NANOSECONDS_PER_MS - 1) / NANOSECONDS_PER_MS);
}

// Is the time of the timed call under way up? If so the socket is of no more use: an answer that comes later
// would be taken for that to the next request.
bool timeIsUp(int socketDesc) {
    if (timeLeftMs() > 0) {
        return false;
    }
    if (!callClock.wasUp) {
        callClock.wasUp = true;
        callClock.report(callClock.call, callClock.limitMs);
    }
    shutdown(socketDesc, SHUT_RDWR);
    return true;
}

// Offsets in a header; the flag byte and the body length follow the name.
//     0 eyecatcher   4 version   8 request type   12 first status word   16 second status word   20 name
//     length N 24 name        24+N flag   25+N body length 29+N body
constexpr int VERSION_AT = 4;
constexpr int TYPE_AT = 8;
constexpr int FIRST_STATUS_AT = 12;
constexpr int SECOND_STATUS_AT = 16;
constexpr int NAME_LENGTH_AT = 20;
constexpr int NAME_AT = 24;

constexpr unsigned char HANDSHAKE_BODY[] = {0, 2, 'e', 'n', 0, 2, 'G', 'B', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};

// The serialised argument of an invocation begins as a Java object stream: magic, version 5, a string.
constexpr unsigned char OBJ_ARRAY_HEADER[] = {0xAC, 0xED, 0x00, 0x05, 0x74};

int messageLength(const RequestHeader& header) {
    return static_cast<int>(header.nameLength + HEADER_FIXED_LENGTH + header.bodyLength);
}

// ---- Reading

// Wait until there is something to read, be it the end of the stream. False when the time is up, or when that
// is not possible.
bool waitForInput(int socketDesc) {
    pollfd wait{socketDesc, POLLIN, 0};
    int ready = 0;
    do {
        ready = pollInTime(wait, -1);
    } while (ready == -1 && errno == EINTR);
    return ready == 1 && (wait.revents & POLLNVAL) == 0;
}

// recv(), repeated while a signal interrupts it; without a time limit it waits itself. Neither an interruption
// nor a wait leaves a trace in errno, which tells the caller of readFromSocket() about a stream that ends too
// early.
ssize_t receive(int socketDesc, void* buffer, int size) {
    const int keptErrno = errno;
    ssize_t received = 0;
    do {
        if (isTimed() && !waitForInput(socketDesc)) {
            errno = timeWasUp() ? ETIMEDOUT : errno;
            return -1;
        }
        errno = keptErrno;
        received = recv(socketDesc, buffer, static_cast<size_t>(size), 0);
    } while (received == -1 && errno == EINTR);
    return received;
}

// Read on until dataSize bytes are there; totalData counts them all. 0 or errno.
int receiveRest(int socketDesc, int dataSize, unsigned char* dataBuf, int& totalData) {
    while (totalData < dataSize) {
        const auto received =
            static_cast<int>(receive(socketDesc, dataBuf + totalData, dataSize - totalData));
        totalData += received > 0 ? received : 0;
        trace<readFromSocketMore>(socketDesc, dataSize, dataBuf, received, totalData);
        if (received <= 0) {
            const int rc = errno;
            trace<readFromSocketCutOff>(rc);
            return rc;
        }
    }
    return 0;
}

int receiveAll(int socketDesc, int dataSize, unsigned char* dataBuf) {
    int totalData = static_cast<int>(receive(socketDesc, dataBuf, dataSize));
    trace<readFromSocketFirst>(socketDesc, dataSize, dataBuf, totalData);
    if (totalData == 0) {
        return -1;
    }
    if (totalData < 0) {
        const int rc = errno;
        trace<readFromSocketFailed>(rc);
        return rc;
    }
    const int rc = receiveRest(socketDesc, dataSize, dataBuf, totalData);
    traceData<readFromSocketData>({dataBuf, totalData, 0, 0});
    return rc;
}

// ---- The exchange

// How long a send() may wait for room; 0 is without limit.
void limitSending(int socketDesc, int milliseconds) {
    const timeval limit{milliseconds / MS_PER_SECOND, milliseconds % MS_PER_SECOND * US_PER_MS};
    setsockopt(socketDesc, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

ssize_t sendOnce(int socketDesc, const unsigned char* data, size_t size) {
    return send(socketDesc, data, size, MSG_NOSIGNAL);
}

ssize_t sendInTime(int socketDesc, const unsigned char* data, size_t size) {
    if (timeIsUp(socketDesc)) {
        errno = ETIMEDOUT;
        return -1;
    }
    limitSending(socketDesc, std::max(timeLeftMs(), 1));
    const ssize_t sent = sendOnce(socketDesc, data, size);
    const int error = errno;
    limitSending(socketDesc, 0);
    if (sent == -1) {
        timeIsUp(socketDesc);
    }
    errno = error;
    return sent;
}

// One send() of the whole request. A peer that has gone gives an error here, never a signal.
int sendRequest(int socketDesc, const unsigned char* data, int datalen, FlowReasons* reasons) {
    const auto sendNow = isTimed() ? sendInTime : sendOnce;
    ssize_t sent = 0;
    do {
        sent = sendNow(socketDesc, data, static_cast<size_t>(datalen));
    } while (sent == -1 && errno == EINTR);
    if (sent > 0) {
        return 0;
    }
    trace<flowNotWritten>(static_cast<int>(sent));
    reasons->errnoValue = errno;
    trace<flowNotSent>(reasons->errnoValue);
    return FLOW_NOT_SENT;
}

// Read exactly size bytes of a reply; a reply that is cut off is always an error. One that takes too long
// counts as none at all.
int receiveReply(int socketDesc, int size, unsigned char* buffer, FlowReasons* reasons) {
    errno = ECONNRESET;
    const int rc = readFromSocket(socketDesc, size, buffer);
    if (rc == 0) {
        return 0;
    }
    reasons->errnoValue = rc;
    return timeWasUp() ? FLOW_NOT_SENT : ZOLSTATS_EXCHANGE_FAILED;
}

// The header is read with the length of the request's name. A longer name of the reply's own would put flag
// and body length beyond what was read.
int checkHeader(const unsigned char* data, uint32_t nameLength) {
    const uint32_t eyecatcher = loadWord(data);
    if (eyecatcher != GATE_EYECATCHER) {
        trace<flowBadEyecatcher>(GATE_EYECATCHER, eyecatcher);
        return ZOLSTATS_EXCHANGE_FAILED;
    }
    const uint32_t replyNameLength = loadWord(data + NAME_LENGTH_AT);
    if (replyNameLength > nameLength) {
        trace<flowBadNameLength>(nameLength, replyNameLength);
        return ZOLSTATS_EXCHANGE_FAILED;
    }
    return 0;
}

int receiveHeader(int socketDesc, const char* requestName, RequestHeader* header, FlowReasons* reasons) {
    const auto nameLength = static_cast<uint32_t>(strlen(requestName));
    const int size = static_cast<int>(nameLength) + HEADER_FIXED_LENGTH;
    auto* data = static_cast<unsigned char*>(allocateTraced<flowHeaderAllocated, flowHeaderNoMemory>(size));
    if (data == nullptr) {
        return ZOLSTATS_NO_MEMORY;
    }
    int rc = receiveReply(socketDesc, size, data, reasons);
    if (rc == 0) {
        rc = checkHeader(data, nameLength);
    }
    if (rc == 0) {
        populateHeader(data, header);
        trace<flowFreeHeader>(data);
    }
    free(data);
    return rc;
}

// Replace the request in *data by the reply's body, if it has one.
int receiveBody(int socketDesc, int bodyLength, unsigned char** data, FlowReasons* reasons) {
    if (bodyLength <= 0) {
        trace<flowNoBody>(*data);
        return 0;
    }
    trace<flowFreeRequest>(*data);
    free(*data);
    *data = nullptr;
    trace<flowReallocate>(data);
    *data =
        static_cast<unsigned char*>(allocateTraced<flowBodyAllocated, flowBodyNoMemory>(bodyLength, malloc));
    if (*data == nullptr) {
        return ZOLSTATS_NO_MEMORY;
    }
    return receiveReply(socketDesc, bodyLength, *data, reasons);
}

int exchange(int socketDesc, int datalen, unsigned char** data, const char* requestName,
             RequestHeader* header, FlowReasons* reasons) {
    int rc = sendRequest(socketDesc, *data, datalen, reasons);
    if (rc == 0) {
        rc = waitForInput(socketDesc) ? 0 : FLOW_NOT_SENT;
    }
    if (rc == 0) {
        rc = receiveHeader(socketDesc, requestName, header, reasons);
    }
    if (rc == 0) {
        rc = receiveBody(socketDesc, static_cast<int>(header->bodyLength), data, reasons);
    }
    if (rc == ZOLSTATS_NO_MEMORY) {
        // What was not read would be taken for the answer to a later request.
        shutdown(socketDesc, SHUT_RDWR);
    }
    if (rc == 0 && header->returnCode != 0) {
        reasons->gwyRc = header->returnCode;
        rc = header->returnCode;
    }
    return rc;
}

// What an exchange has left in the message buffer: the reply's body or, if it had none, still the request.
// Bytes that it does not carry read as zero.
struct Answer {
    const unsigned char* bytes;
    int length;

    Answer(const unsigned char* message, int requestLength, const RequestHeader& reply)
        : bytes(message),
          length(static_cast<int>(reply.bodyLength) > 0 ? static_cast<int>(reply.bodyLength)
                                                        : requestLength) {}

    uint8_t byte(int offset) const { return offset < length ? bytes[offset] : uint8_t{0}; }

    uint32_t word(int index) const {
        uint32_t value = 0;
        for (int offset = 4 * index; offset < 4 * index + 4; ++offset) {
            value = value << 8 | byte(offset);
        }
        return value;
    }
};

// ---- Handshake and close

// A request whose every byte is fixed and whose reply is not looked at.
struct FixedRequest {
    uint32_t type;
    int32_t auxWord;
    const unsigned char* body;
    uint32_t bodyLength;
    const TracePoint &entry, &allocated, &noMemory, &freeing, &exit;
};

constexpr FixedRequest HANDSHAKE{
    .type = REQUEST_HANDSHAKE,
    .auxWord = 0,
    .body = HANDSHAKE_BODY,
    .bodyLength = sizeof HANDSHAKE_BODY,
    .entry = flowHandshakeEntry,
    .allocated = flowHandshakeAllocated,
    .noMemory = flowHandshakeNoMemory,
    .freeing = flowHandshakeFree,
    .exit = flowHandshakeExit,
};
constexpr FixedRequest CLOSE{
    .type = REQUEST_CLOSE,
    .auxWord = -1,
    .body = nullptr,
    .bodyLength = 0,
    .entry = flowCloseEntry,
    .allocated = flowCloseAllocated,
    .noMemory = flowCloseNoMemory,
    .freeing = flowCloseFree,
    .exit = flowCloseExit,
};

RequestHeader fixedHeader(const FixedRequest& request) {
    RequestHeader header{};
    header.eyecatcher = GATE_EYECATCHER;
    header.version = PROTOCOL_LEVEL;
    header.requestType = request.type;
    header.auxWord = request.auxWord;
    header.nameLength = sizeof HANDSHAKE_REQUEST_NAME - 1;
    header.name = HANDSHAKE_REQUEST_NAME;
    header.bodyLength = request.bodyLength;
    return header;
}

template <const FixedRequest& Request>
int flowFixedRequest(int socketDesc, FlowReasons* reasons) {
    trace<Request.entry>(socketDesc, reasons);
    RequestHeader header = fixedHeader(Request);
    const int length = messageLength(header);
    int rc = ZOLSTATS_NO_MEMORY;
    auto* message = static_cast<unsigned char*>(allocateTraced<Request.allocated, Request.noMemory>(length));
    if (message != nullptr) {
        writeHeader(&header, message);
        if constexpr (Request.bodyLength > 0) {
            memcpy(message + length - Request.bodyLength, Request.body, Request.bodyLength);
        }
        rc = flow(socketDesc, length, &message, header.name, &header, reasons);
        trace<Request.freeing>(message);
        free(message);
    }
    trace<Request.exit>(socketDesc, reasons, rc);
    return rc;
}

// ---- Authorisation: step 0 sends its number alone; step 1 adds the four words

void encodeAuthRequest(const AuthRequest& request, unsigned char* message) {
    writeHeader(&request.header, message);
    unsigned char* body = message + request.header.nameLength + HEADER_FIXED_LENGTH;
    storeWord(body, request.authStep);
    if (request.authStep == 1) {
        for (const uint32_t word : request.authData) {
            body += 4;
            storeWord(body, word);
        }
    }
}

// Words: 0 step, 1 return code, 2 to 4 data. The return code counts only when the step is 0.
int decodeAuthReply(const Answer& answer, AuthRequest* request, FlowReasons* reasons) {
    request->authStep = answer.word(0);
    request->authRc = static_cast<int32_t>(answer.word(1));
    if (request->authStep != 0) {
        request->authResult[0] = answer.word(2);
        request->authResult[1] = answer.word(3);
        return 0;
    }
    if (request->authRc != 0) {
        trace<flowAuthRefused>(request->authRc);
        reasons->authRc = request->authRc;
        return AUTH_REFUSED;
    }
    for (int word = 0; word < 3; ++word) {
        request->authData[word] = answer.word(2 + word);
    }
    return 0;
}

// ---- Admin calls
//     initialise:     call type 0
//     get attribute:  call type 1, admin id, call length, 4 common items, attribute
//     invoke:         call type 5, admin id, call length, 4 common items, action,
//                     1, OBJ_ARRAY_HEADER, argument, 1, signature
// An item is a 16-bit length and that many characters.

unsigned char* putWord(unsigned char* at, uint32_t value) {
    storeWord(at, value);
    return at + 4;
}

unsigned char* putItem(unsigned char* at, const char* text) {
    const size_t length = strlen(text);
    storeShort(at, static_cast<uint16_t>(length));
    memcpy(at + 2, text, length);
    return at + 2 + length;
}

unsigned char* putInvocation(unsigned char* at, const AdminRequest& request) {
    at = putItem(at, request.actionName);
    at = putWord(at, 1);
    memcpy(at, OBJ_ARRAY_HEADER, sizeof OBJ_ARRAY_HEADER);
    at = putItem(at + sizeof OBJ_ARRAY_HEADER, request.argument);
    at = putWord(at, 1);
    return putItem(at, request.signature);
}

void encodeAdminRequest(const AdminRequest& request, unsigned char* message) {
    writeHeader(&request.header, message);
    unsigned char* at = message + request.header.nameLength + HEADER_FIXED_LENGTH;
    at = putWord(at, static_cast<uint32_t>(request.callType));
    if (request.callType <= ADMIN_INITIALISE) {
        return;
    }
    at = putWord(at, request.adminId);
    at = putWord(at, request.callLength);
    for (const char* item : {request.country, request.language, request.blankString, request.mbeanName}) {
        at = putItem(at, item);
    }
    if (request.callType == ADMIN_INVOKE) {
        putInvocation(at, request);
    } else if (request.callType == ADMIN_GET_ATTRIBUTE) {
        putItem(at, request.attributeName);
    }
}

// Keep the payload of a reply, what follows its prefix. A reply shorter than that asks for memory of a negative
// size; a body length that is negative itself must not wrap around to a large one.
int takePayload(const Answer& answer, AdminRequest* request) {
    const auto bodyLength = static_cast<int>(request->header.bodyLength);
    const int size = std::max(bodyLength, 0) - ADMIN_REPLY_PREFIX_LENGTH;
    request->callData = static_cast<unsigned char*>(size < 0 ? nullptr : malloc(static_cast<size_t>(size)));
    trace<flowAdminPayload>(size, request->callData);
    if (request->callData == nullptr) {
        trace<flowAdminPayloadNoMemory>(bodyLength);
        return ZOLSTATS_NO_MEMORY;
    }
    memcpy(request->callData, answer.bytes + ADMIN_REPLY_PREFIX_LENGTH, static_cast<size_t>(size));
    request->header.bodyLength = static_cast<uint32_t>(size);
    return 0;
}

int decodeAdminReply(const Answer& answer, AdminRequest* request, FlowReasons* reasons) {
    request->callType = static_cast<int32_t>(answer.word(0));
    request->authRc = static_cast<int32_t>(answer.word(1));
    if (request->authRc != 0) {
        trace<flowAdminRefused>(request->authRc);
        reasons->adminRc = request->authRc;
        return ADMIN_REFUSED;
    }
    if (request->callType == ADMIN_INITIALISE) {
        request->adminId = answer.word(2);
        return 0;
    }
    request->exceptionFlag = answer.byte(8);
    if (request->exceptionFlag != 0) {
        trace<flowAdminException>();
        return ADMIN_REFUSED;
    }
    return takePayload(answer, request);
}

// ---- What authorisation and Admin requests have in common: encode, exchange, decode

template <class Request>
struct Exchange {
    void (*encode)(const Request&, unsigned char* message);
    int (*decode)(const Answer&, Request*, FlowReasons*);
    const TracePoint &entry, &allocated, &noMemory, &freeing, &exit;
};

constexpr Exchange<AuthRequest> AUTH{
    .encode = encodeAuthRequest,
    .decode = decodeAuthReply,
    .entry = flowAuthEntry,
    .allocated = flowAuthAllocated,
    .noMemory = flowAuthNoMemory,
    .freeing = flowAuthFree,
    .exit = flowAuthExit,
};
constexpr Exchange<AdminRequest> ADMIN{
    .encode = encodeAdminRequest,
    .decode = decodeAdminReply,
    .entry = flowAdminEntry,
    .allocated = flowAdminAllocated,
    .noMemory = flowAdminNoMemory,
    .freeing = flowAdminFree,
    .exit = flowAdminExit,
};

template <const auto& Call, class Request>
int flowRequest(int socketDesc, Request* request, FlowReasons* reasons) {
    trace<Call.entry>(socketDesc, request, reasons);
    const int length = messageLength(request->header);
    int rc = ZOLSTATS_NO_MEMORY;
    auto* message = static_cast<unsigned char*>(allocateTraced<Call.allocated, Call.noMemory>(length));
    if (message != nullptr) {
        Call.encode(*request, message);
        rc = flow(socketDesc, length, &message, request->header.name, &request->header, reasons);
        if (rc == 0) {
            rc = Call.decode(Answer(message, length, request->header), request, reasons);
        }
        trace<Call.freeing>(message);
        free(message);
    }
    trace<Call.exit>(socketDesc, request, reasons, rc);
    return rc;
}

}  // namespace

void setTimeLimit(int milliseconds) {
    callClock.limitMs = milliseconds;
}

int timeLimit() {
    return callClock.limitMs;
}

TimedCall::TimedCall(const char* call, Report report)
    : isOutermost_(callClock.limitMs > 0 && callClock.call == nullptr) {
    if (isOutermost_) {
        callClock.call = call;
        callClock.report = report;
        restartTime();
    }
}

TimedCall::~TimedCall() {
    if (isOutermost_) {
        callClock.call = nullptr;
        callClock.wasUp = false;
    }
}

void restartTime() {
    if (isTimed()) {
        callClock.deadlineNs = nowNs() + callClock.limitMs * NANOSECONDS_PER_MS;
        callClock.wasUp = false;
    }
}

bool timeWasUp() {
    return callClock.wasUp;
}

int pollInTime(pollfd& wait, int atMostMs) {
    if (!isTimed()) {
        return poll(&wait, 1, atMostMs);
    }
    if (timeIsUp(wait.fd)) {
        return 0;
    }
    const int leftMs = timeLeftMs();
    const int ready = poll(&wait, 1, atMostMs < 0 ? leftMs : std::min(leftMs, atMostMs));
    if (ready == 0) {
        timeIsUp(wait.fd);
    }
    return ready;
}

}  // namespace zolstats

using namespace zolstats;

extern "C" {

void writeHeader(const RequestHeader* req, unsigned char* data) {
    trace<writeHeaderEntry>(req, data);
    storeWord(data, req->eyecatcher);
    storeWord(data + VERSION_AT, req->version);
    storeWord(data + TYPE_AT, req->requestType);
    storeWord(data + FIRST_STATUS_AT, static_cast<uint32_t>(req->returnCode));
    storeWord(data + SECOND_STATUS_AT, static_cast<uint32_t>(req->auxWord));
    storeWord(data + NAME_LENGTH_AT, req->nameLength);
    memcpy(data + NAME_AT, req->name, req->nameLength);
    data[NAME_AT + req->nameLength] = req->headerFlag;
    storeWord(data + NAME_AT + req->nameLength + 1, req->bodyLength);
    trace<writeHeaderExit>(req, data);
}

void populateHeader(const unsigned char* data, RequestHeader* req) {
    trace<populateHeaderEntry>(data, req);
    req->eyecatcher = loadWord(data);
    req->version = loadWord(data + VERSION_AT);
    req->requestType = loadWord(data + TYPE_AT);
    req->auxWord = static_cast<int32_t>(loadWord(data + FIRST_STATUS_AT));
    req->returnCode = static_cast<int32_t>(loadWord(data + SECOND_STATUS_AT));
    req->nameLength = loadWord(data + NAME_LENGTH_AT);
    req->headerFlag = data[NAME_AT + req->nameLength];
    req->bodyLength = loadWord(data + NAME_AT + req->nameLength + 1);
    trace<populateHeaderExit>(data, req);
}

int readFromSocket(int socketDesc, int dataSize, void* dataBuf) {
    trace<readFromSocketEntry>(socketDesc, dataSize, dataBuf);
    const int rc = receiveAll(socketDesc, dataSize, static_cast<unsigned char*>(dataBuf));
    trace<readFromSocketExit>(socketDesc, dataSize, dataBuf, rc);
    return rc;
}

int flow(int socketDesc, int datalen, unsigned char** data, const char* requestName, RequestHeader* header,
         FlowReasons* reasons) {
    char name[REQUEST_NAME_SIZE] = "";
    strncpy(name, requestName, sizeof name - 1);
    trace<flowEntry>(socketDesc, datalen, data, name, header, reasons);
    if (datalen < 1 || data == nullptr) {
        trace<flowNoData>();
        return FLOW_NOT_SENT;
    }
    traceData<flowRequestData>({*data, datalen, 0, 0});
    const int rc = exchange(socketDesc, datalen, data, requestName, header, reasons);
    if (rc == 0) {
        trace<flowDone>(socketDesc);
    }
    trace<flowExit>(socketDesc, datalen, *data, name, header, reasons, rc);
    return rc;
}

int flowHandshakeRequest(int socketDesc, FlowReasons* reasons) {
    return flowFixedRequest<HANDSHAKE>(socketDesc, reasons);
}

int flowCloseRequest(int socketDesc, FlowReasons* reasons) {
    return flowFixedRequest<CLOSE>(socketDesc, reasons);
}

int flowAuthRequest(int socketDesc, AuthRequest* request, FlowReasons* reasons) {
    return flowRequest<AUTH>(socketDesc, request, reasons);
}

int flowAdminRequest(int socketDesc, AdminRequest* request, FlowReasons* reasons) {
    return flowRequest<ADMIN>(socketDesc, request, reasons);
}
}
