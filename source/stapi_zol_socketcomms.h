// Messages: the header that frames each one, the exchange of a request for its reply, and the four kinds of
// request. What is asked for and what an answer means is not decided here; stapi_zol_statcomms does that. The
// wire format is written down in docs/protocol.md.
#ifndef STAPI_ZOL_SOCKETCOMMS_H
#define STAPI_ZOL_SOCKETCOMMS_H

#include <stdint.h>

struct pollfd;

// The header of a request or a reply. auxWord and returnCode change places on the way: a request carries
// returnCode at offset 12 and auxWord at 16, a reply auxWord at 12 and the Gateway's return code at 16.
struct RequestHeader {
    uint32_t eyecatcher;   // GATE_EYECATCHER
    uint32_t version;      // PROTOCOL_LEVEL in a fresh request, the Gateway's own after its first reply
    uint32_t requestType;  // REQUEST_...
    int32_t auxWord;
    int32_t returnCode;  // 0 in a request; the Gateway's return code after a reply
    uint32_t nameLength;
    const char* name;     // a constant, not owned; a reply's name is not kept
    uint8_t headerFlag;   // 0
    uint32_t bodyLength;  // of the request before the exchange, of the reply after it
};

// Why an exchange failed. Each word is meaningful only after the result that says so.
struct FlowReasons {
    int32_t
        errnoValue;   // after FLOW_NOT_SENT: errno of the send, or ETIMEDOUT; after EXCHANGE_FAILED: result
                      // of readFromSocket()
    int32_t gwyRc;    // the Gateway's return code, when it is the result
    int32_t authRc;   // after AUTH_REFUSED
    int32_t adminRc;  // after ADMIN_REFUSED by the Gateway's authorisation
};

// One step of the authorisation, request and reply.
struct AuthRequest {
    RequestHeader header;
    uint32_t authStep;       // 0 asks for the words, 1 hands them back; then the reply's first word
    int32_t authRc;          // the reply's second word
    uint32_t authData[4];    // the Gateway's words; the last is 0
    uint32_t authResult[2];  // from a reply whose first word is not 0
};

// One call of the Gateway's administration, request and reply. Strings are not owned.
struct AdminRequest {
    RequestHeader header;
    int32_t callType;     // ADMIN_...; then the reply's first word
    int32_t authRc;       // the reply's second word
    uint32_t adminId;     // from the initialising call, sent with the later ones
    uint32_t callLength;  // body bytes behind this word
    const char *country, *language, *blankString, *mbeanName;  // of all calls but the initialising one
    const char* attributeName;                                 // of ADMIN_GET_ATTRIBUTE
    const char *actionName, *argument, *signature;             // of ADMIN_INVOKE
    uint8_t exceptionFlag;  // the reply's, not 0 when the call failed in the Gateway
    unsigned char*
        callData;  // the reply's payload, header.bodyLength bytes, owned by the caller; null when none came
};

namespace zolstats {

inline constexpr uint32_t GATE_EYECATCHER = 0x47617465;  // "Gate"
inline constexpr uint32_t PROTOCOL_LEVEL = 0x00700000;
inline constexpr int HEADER_FIXED_LENGTH = 29;  // a header without its name

inline constexpr uint32_t REQUEST_CALL = 1;  // authorisation and administration
inline constexpr uint32_t REQUEST_HANDSHAKE = 5;
inline constexpr uint32_t REQUEST_CLOSE = 10;

inline constexpr char HANDSHAKE_REQUEST_NAME[] = "BASE";
inline constexpr char AUTH_REQUEST_NAME[] = "Auth";
inline constexpr char ADMIN_REQUEST_NAME[] = "Admin";
inline constexpr int REQUEST_NAME_SIZE = 25;  // of a name in the trace, with its NUL

inline constexpr uint32_t AUTH_INIT_LENGTH = 4;
inline constexpr uint32_t AUTH_ANSWER_LENGTH = 20;

inline constexpr int32_t ADMIN_INITIALISE = 0;
inline constexpr int32_t ADMIN_GET_ATTRIBUTE = 1;
inline constexpr int32_t ADMIN_INVOKE = 5;
inline constexpr uint32_t ADMIN_INITIALISE_LENGTH = 4;
inline constexpr uint32_t ADMIN_CALL_PREFIX_LENGTH = 12;  // call type, admin id, call length
inline constexpr int ADMIN_REPLY_PREFIX_LENGTH = 9;       // call type, authorisation code, exception flag

inline constexpr int FLOW_NOT_SENT = -1;
inline constexpr int AUTH_REFUSED = -2;
inline constexpr int ADMIN_REFUSED = -3;

// ---- The time that a call may take
//
// The application may limit every public call that its thread makes. A call's clock starts with the call and is
// never extended by what a peer sends. When its time is up, the socket that it waits for is shut down.

// The limit of the calling thread, in milliseconds; 0 is none.
void setTimeLimit(int milliseconds);
int timeLimit();

// Stands at the head of a public call; where one public call makes another, the outer one counts.
class TimedCall {
  public:
    // Tells, once a call, that its time is up.
    using Report = void (*)(const char* call, int limitMs);

    TimedCall(const char* call, Report report);
    ~TimedCall();
    TimedCall(const TimedCall&) = delete;
    TimedCall& operator=(const TimedCall&) = delete;

  private:
    const bool isOutermost_;
};

// Give the call its whole time again, for its work on another connection.
void restartTime();
// Has the call under way been told that its time is up?
bool timeWasUp();

// poll() on one socket for atMostMs (negative: without limit), but not longer than the call under way may take.
// The result of poll(); 0 also when the time is up.
int pollInTime(pollfd& wait, int atMostMs);

// ---- Big-endian integers at any position

inline uint32_t loadWord(const unsigned char* at) {
    return uint32_t{at[0]} << 24 | uint32_t{at[1]} << 16 | uint32_t{at[2]} << 8 | at[3];
}
inline uint16_t loadShort(const unsigned char* at) {
    return static_cast<uint16_t>(at[0] << 8 | at[1]);
}
inline void storeWord(unsigned char* at, uint32_t value) {
    at[0] = static_cast<unsigned char>(value >> 24);
    at[1] = static_cast<unsigned char>(value >> 16);
    at[2] = static_cast<unsigned char>(value >> 8);
    at[3] = static_cast<unsigned char>(value);
}
inline void storeShort(unsigned char* at, uint16_t value) {
    at[0] = static_cast<unsigned char>(value >> 8);
    at[1] = static_cast<unsigned char>(value);
}

}  // namespace zolstats

extern "C" {

extern const char version4stapi_zol_socketcomms[];
extern const char copyright4stapi_zol_socketcomms[];

// Lay a header out at data, which has room for its name and HEADER_FIXED_LENGTH bytes.
void writeHeader(const RequestHeader* req, unsigned char* data);
// Read a reply's header. Its name is skipped, req->name stays; the reply's own name length says where flag
// and body length stand, so it must not be longer than what was read.
void populateHeader(const unsigned char* data, RequestHeader* req);

// Fill dataBuf with exactly dataSize bytes: 0, -1 when the stream ends before the first byte, or errno
// (ETIMEDOUT when the call's time is up). When it ends later, the result is errno as the caller had set it.
int readFromSocket(int socketDesc, int dataSize, void* dataBuf);

// Send the datalen bytes at *data and read the reply. header is filled from it; *data, memory from malloc(),
// is replaced by the reply's body when it has one, and stays the caller's to free. Returns 0, FLOW_NOT_SENT
// (also when the call's time is up), ZOLSTATS_NO_MEMORY, ZOLSTATS_EXCHANGE_FAILED, or the Gateway's return code.
int flow(int socketDesc, int datalen, unsigned char** data, const char* requestName, RequestHeader* header,
         FlowReasons* reasons);

// 0, ZOLSTATS_NO_MEMORY or a result of flow().
int flowHandshakeRequest(int socketDesc, FlowReasons* reasons);
int flowCloseRequest(int socketDesc, FlowReasons* reasons);
// One authorisation step: also AUTH_REFUSED.
int flowAuthRequest(int socketDesc, AuthRequest* request, FlowReasons* reasons);
// One Admin call: also ADMIN_REFUSED. On 0 callData holds the payload, unless the reply was an initialising
// one.
int flowAdminRequest(int socketDesc, AdminRequest* request, FlowReasons* reasons);
}

#endif
