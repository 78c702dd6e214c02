// Connections on the level of sockets: resolve, connect with a limit, handshake and authorise, close.
// The token that an application holds is stapi_zol_gwytok's business.
// Handshake and authorisation are written down in docs/protocol.md.
#ifndef STAPI_ZOL_GWYCON_H
#define STAPI_ZOL_GWYCON_H

#include <limits.h>

#include "stapi_zol_socketcomms.h"

namespace zolstats {

inline constexpr int CONNECT_LIMIT_SECONDS = 60;

// A request goes out in one send(), which this send buffer takes whole: the largest, with an id list of 32765
// bytes, is just over half of it.
inline constexpr int SOCKET_SEND_BUFFER_SIZE = 65536;

// Where the descriptor of a new socket is to be stored: the connection was closed before it had one.
inline constexpr int SOCKET_UNWANTED = INT_MIN;

inline constexpr int CONNECT_FAILED = -100;
inline constexpr int CONNECT_UNRESOLVED = -101;
inline constexpr int CONNECT_NO_SOCKET = -102;
inline constexpr int CONNECT_TIMED_OUT = -103;
inline constexpr int CONNECT_REFUSED = -104;
inline constexpr int CONNECT_UNREACHABLE = -105;

}  // namespace zolstats

extern "C" {

extern const char version4stapi_zol_gwycon[];
extern const char copyright4stapi_zol_gwycon[];

// Arguments of the switch between waiting and not waiting on a socket.
extern unsigned sockOptOn;
extern unsigned sockOptOff;

// Connect to the first address of the host (null: the loopback address), handshake and authorise. 0,
// CONNECT_... or the result of the authorisation. The socket is stored as soon as it exists and never closed
// here: the caller does that, whatever the result. Where SOCKET_UNWANTED stood nothing is connected.
int connectToGateway(int port, const char* host, int* socketDescriptorPtr);
// Wait for a connect under way: 0, CONNECT_TIMED_OUT (also when the call's time is up), or CONNECT_FAILED with
// the reason in *errorOut.
int waitForConnection(int* socketDescriptorPtr, int* errorOut);
// Run both steps of the authorisation; the result of the one that failed, or 0.
int authorizeConnection(int socketDesc, FlowReasons* reasons);
// Send the close request, whatever becomes of it, and close the socket: the result of close(). The descriptor
// stays in *socketDescriptorPtr.
int closeConnection(int* socketDescriptorPtr);
}

#endif
