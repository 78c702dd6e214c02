// Connections on the level of sockets, from name resolution to authorisation, and their end.
// Exchanging messages is stapi_zol_socketcomms' business, keeping tokens stapi_zol_gwytok's.
// Handshake and authorisation are written down in docs/protocol.md.
#include "stapi_zol_gwycon.h"

#include <errno.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <stdio.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include "stapi_zol_diag.h"
#include "stapi_zol_gwycon_trace.h"

const char version4stapi_zol_gwycon[] = ZOLSTATS_VERSION_TEXT;
const char copyright4stapi_zol_gwycon[] = ZOLSTATS_COPYRIGHT_TEXT;

unsigned sockOptOn = 1;
unsigned sockOptOff = 0;

namespace zolstats {
namespace {

constexpr int MILLISECONDS = 1000;

// The system's words for an error number.
struct ErrorText {
    char buffer[128];
    const char* text;

    explicit ErrorText(int error) : buffer{}, text(strerror_r(error, buffer, sizeof buffer)) {}
};

// Resolve the host and port for a stream: 0, or CONNECT_UNRESOLVED with a null list.
int getHostInfo(int port, const char* host, addrinfo** list) {
    char service[16] = "";
    snprintf(service, sizeof service, "%d", port);
    addrinfo hints{};
    hints.ai_flags = AI_ALL | AI_ADDRCONFIG;
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    *list = nullptr;
    const int rc = getaddrinfo(host, service, &hints, list);
    if (rc != 0) {
        trace<resolveFailed>(textOrNull(host), service, gai_strerror(rc), rc);
        *list = nullptr;
        return CONNECT_UNRESOLVED;
    }
    return 0;
}

bool setIntOption(int socketDesc, int level, int option, int value) {
    return setsockopt(socketDesc, level, option, &value, sizeof value) == 0;
}

// Switch waiting on a socket off (sockOptOn) or on again; the result of ioctl().
int setNonBlocking(int socketDesc, unsigned* onOrOff) {
    return ioctl(socketDesc, FIONBIO, onOrOff);
}

// A send buffer that cannot be had is no reason to fail: the usual one is mostly large enough as well.
int prepareSocket(int socketDesc) {
    if (!setIntOption(socketDesc, SOL_SOCKET, SO_KEEPALIVE, 1) ||
        !setIntOption(socketDesc, IPPROTO_TCP, TCP_NODELAY, 1)) {
        trace<connectOptionsFailed>(socketDesc);
        return CONNECT_NO_SOCKET;
    }
    trace<connectCreatedSocket>(socketDesc);
    setIntOption(socketDesc, SOL_SOCKET, SO_SNDBUF, SOCKET_SEND_BUFFER_SIZE);
    const int rc = setNonBlocking(socketDesc, &sockOptOn);
    if (rc < 0) {
        trace<connectNonBlockingFailed>(rc, errno);
        return CONNECT_NO_SOCKET;
    }
    return 0;
}

int createSocket(const addrinfo& address, int* socketDescriptorPtr, int& socketDesc) {
    trace<connectCreatingSocket>(address.ai_family, address.ai_socktype, address.ai_protocol);
    socketDesc = socket(address.ai_family, address.ai_socktype | SOCK_CLOEXEC, address.ai_protocol);
    int error = errno;
    // It may stand where other threads look, and one of them may have closed the connection meanwhile.
    if (__atomic_exchange_n(socketDescriptorPtr, socketDesc, __ATOMIC_RELAXED) == SOCKET_UNWANTED) {
        error = ECANCELED;
    } else if (socketDesc >= 0) {
        return prepareSocket(socketDesc);
    }
    trace<connectNoSocket>(ErrorText(error).text, error);
    return CONNECT_NO_SOCKET;
}

// What a wait for a connect that was interrupted has left. An interruption in the first second leaves only
// one more.
int remainingSeconds(time_t start) {
    const int elapsed = static_cast<int>(difftime(time(nullptr), start));
    return elapsed < 1 || elapsed >= CONNECT_LIMIT_SECONDS ? 1 : CONNECT_LIMIT_SECONDS - elapsed;
}

// poll() until the connect has ended or its time is over. It would pass over a negative descriptor, and tells
// of one that is not open in the events only: both fail here.
int pollConnect(int socketDesc, pollfd& wait) {
    if (socketDesc < 0) {
        errno = EBADF;
        return -1;
    }
    const time_t start = time(nullptr);
    int seconds = CONNECT_LIMIT_SECONDS;
    int ready = 0;
    do {
        wait = {socketDesc, POLLOUT | POLLPRI, 0};
        trace<waitCalling>(socketDesc);
        ready = pollInTime(wait, seconds * MILLISECONDS);
        seconds = remainingSeconds(start);
    } while (ready == -1 && errno == EINTR);
    if ((wait.revents & POLLNVAL) != 0) {
        errno = EBADF;
        return -1;
    }
    return ready;
}

int connectFailureRc(int error) {
    switch (error) {
        case ENETUNREACH:
            return CONNECT_UNREACHABLE;
        case ECONNREFUSED:
            return CONNECT_REFUSED;
        default:
            return CONNECT_FAILED;
    }
}

// Connect, and go back to waiting on the socket. 0, CONNECT_TIMED_OUT, or another value with the reason in
// error.
int establish(int socketDesc, const addrinfo& address, int port, const char* host, int& error) {
    int rc = connect(socketDesc, address.ai_addr, address.ai_addrlen);
    error = errno;
    if (rc == -1 && error == EINPROGRESS) {
        trace<connectWaiting>();
        rc = waitForConnection(&socketDesc, &error);
    }
    if (rc != 0) {
        return rc;
    }
    trace<connectConnected>(textOrNull(host), port);
    rc = setNonBlocking(socketDesc, &sockOptOff);
    error = errno;
    if (rc < 0) {
        trace<connectBlockingFailed>(rc, error);
    }
    return rc < 0 ? rc : 0;
}

int connectSocket(int socketDesc, const addrinfo& address, int port, const char* host) {
    int error = 0;
    const int rc = establish(socketDesc, address, port, host, error);
    if (rc == 0) {
        return 0;
    }
    trace<connectFailed>(ErrorText(error).text, error);
    return rc == CONNECT_TIMED_OUT ? rc : connectFailureRc(error);
}

int introduce(int socketDesc) {
    FlowReasons reasons{};
    const int rc = flowHandshakeRequest(socketDesc, &reasons);
    if (rc != 0) {
        trace<connectHandshakeFailed>(rc, ErrorText(reasons.errnoValue).text, reasons.gwyRc, reasons.authRc);
        return CONNECT_FAILED;
    }
    trace<connectHandshaken>();
    return authorizeConnection(socketDesc, &reasons);
}

AuthRequest firstAuthRequest() {
    AuthRequest request{};
    request.header.eyecatcher = GATE_EYECATCHER;
    request.header.version = PROTOCOL_LEVEL;
    request.header.requestType = REQUEST_CALL;
    request.header.name = AUTH_REQUEST_NAME;
    request.header.nameLength = sizeof AUTH_REQUEST_NAME - 1;
    request.header.bodyLength = AUTH_INIT_LENGTH;
    return request;
}

// The second step hands back the words of the first reply, and a fourth that is still 0; the header fields not
// set here keep that reply's values.
void makeSecondAuthRequest(AuthRequest& request) {
    request.header.requestType = REQUEST_CALL;
    request.header.returnCode = 0;
    request.header.name = AUTH_REQUEST_NAME;
    request.header.bodyLength = AUTH_ANSWER_LENGTH;
    request.authStep = 1;
}

}  // namespace
}  // namespace zolstats

using namespace zolstats;

extern "C" {

int connectToGateway(int port, const char* host, int* socketDescriptorPtr) {
    trace<connectEntry>(port, host, socketDescriptorPtr);
    addrinfo* addresses = nullptr;
    int socketDesc = -1;
    int rc = getHostInfo(port, host, &addresses);
    if (rc == 0) {
        rc = createSocket(*addresses, socketDescriptorPtr, socketDesc);
    }
    if (rc == 0) {
        rc = connectSocket(socketDesc, *addresses, port, host);
    }
    if (rc == 0) {
        rc = introduce(socketDesc);
    }
    if (addresses != nullptr) {
        freeaddrinfo(addresses);
    }
    trace<connectExit>(port, host, socketDescriptorPtr, rc);
    return rc;
}

int waitForConnection(int* socketDescriptorPtr, int* errorOut) {
    const int socketDesc = *socketDescriptorPtr;
    pollfd wait{};
    const int ready = pollConnect(socketDesc, wait);
    if (ready < 0) {
        *errorOut = errno;
        trace<waitFailed>(*errorOut);
        return CONNECT_FAILED;
    }
    if (ready == 0) {
        trace<waitTimedOut>(socketDesc);
        return CONNECT_TIMED_OUT;
    }
    if ((wait.revents & ~POLLPRI) == 0) {
        return 0;
    }
    int pending = 0;
    socklen_t size = sizeof pending;
    getsockopt(socketDesc, SOL_SOCKET, SO_ERROR, &pending, &size);
    if (pending != 0) {
        trace<waitConnectFailed>(socketDesc, pending);
        *errorOut = pending;
        return CONNECT_FAILED;
    }
    return 0;
}

int authorizeConnection(int socketDesc, FlowReasons* reasons) {
    trace<authorizeEntry>(socketDesc, reasons);
    AuthRequest request = firstAuthRequest();
    int rc = flowAuthRequest(socketDesc, &request, reasons);
    if (rc == 0) {
        makeSecondAuthRequest(request);
        rc = flowAuthRequest(socketDesc, &request, reasons);
    }
    trace<authorizeExit>(socketDesc, reasons, rc);
    return rc;
}

int closeConnection(int* socketDescriptorPtr) {
    trace<closeConnectionEntry>(socketDescriptorPtr);
    FlowReasons reasons{};
    flowCloseRequest(*socketDescriptorPtr, &reasons);
    const int rc = close(*socketDescriptorPtr);
    trace<closeConnectionExit>(socketDescriptorPtr, rc);
    return rc;
}
}
