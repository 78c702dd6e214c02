// The trace lines of stapi_zol_gwycon, in order of their numbers.
#ifndef STAPI_ZOL_GWYCON_TRACE_H
#define STAPI_ZOL_GWYCON_TRACE_H

#include "stapi_zol_diag.h"

// A table, one row a line.
// clang-format off

namespace zolstats {

inline constexpr TracePoint connectEntry{3000, TraceKind::Entry, "stapi_zol_gwycon.connectToGateway(port=%d, ipAddr=%p, socketDescriptorPtr=%p)\n"};
inline constexpr TracePoint connectNoSocket{3001, TraceKind::Exception, "stapi_zol_gwycon.connectToGateway() Unable to create a socket: %s(%d)\n"};
inline constexpr TracePoint connectOptionsFailed{3002, TraceKind::Debug, "stapi_zol_gwycon.connectToGateway() Set socket to KeepAlive or NoDelay failed: %d\n"};
inline constexpr TracePoint connectCreatedSocket{3002, TraceKind::Debug, "stapi_zol_gwycon.connectToGateway() Created socket: %d\n"};
inline constexpr TracePoint connectConnected{3003, TraceKind::Debug, "stapi_zol_gwycon.connectToGateway() Connected to Gateway %s:%u\n"};
inline constexpr TracePoint connectHandshaken{3004, TraceKind::Debug, "stapi_zol_gwycon.connectToGateway() Flowed Handshake to the Gateway\n"};
inline constexpr TracePoint connectHandshakeFailed{3005, TraceKind::Exception, "stapi_zol_gwycon.connectToGateway() Handshake flows failed rc=%d errno=%s gwyRc=%d authRc=%d\n"};
inline constexpr TracePoint connectFailed{3006, TraceKind::Exception, "stapi_zol_gwycon.connectToGateway() Unable to connect to Gateway: %s(%d)\n"};
inline constexpr TracePoint connectExit{3007, TraceKind::Exit, "stapi_zol_gwycon.connectToGateway(port=%d, ipAddr=%p, socketDescriptorPtr=%p) connectRc=%d\n"};

inline constexpr TracePoint closeConnectionEntry{3008, TraceKind::Entry, "stapi_zol_gwycon.closeConnection(socketDescriptorPtr=%p)\n"};
inline constexpr TracePoint closeConnectionExit{3009, TraceKind::Exit, "stapi_zol_gwycon.closeConnection(socketDescriptorPtr=%p) closeConnectionRc=%d\n"};
inline constexpr TracePoint authorizeEntry{3010, TraceKind::Entry, "stapi_zol_gwycon.authorizeConnection(socketDescriptor=%d, reasons=%p)\n"};
inline constexpr TracePoint authorizeExit{3011, TraceKind::Exit, "stapi_zol_gwycon.authorizeConnection(socketDescriptor=%d, reasons=%p) rc=%d\n"};

inline constexpr TracePoint resolveFailed{3012, TraceKind::Exception, "stapi_zol_gwycon.getHostInfo() Unable to resolve host (%s:%s): %s(%d)\n"};
inline constexpr TracePoint connectCreatingSocket{3013, TraceKind::Debug, "stapi_zol_gwycon.connectToGateway Creating socket for family %d, type %d, protocol %d\n"};

inline constexpr TracePoint waitCalling{3014, TraceKind::Debug, "stapi_zol_gwycon.waitForConnection Calling select() on socketdescriptor %d\n"};
inline constexpr TracePoint waitConnectFailed{3015, TraceKind::Exception, "stapi_zol_gwycon.waitForConnection socket %d connect() failed error %d\n"};
inline constexpr TracePoint waitTimedOut{3016, TraceKind::Exception, "stapi_zol_gwycon.waitForConnection socket %d connect timed out\n"};
inline constexpr TracePoint waitFailed{3017, TraceKind::Exception, "stapi_zol_gwycon.waitForConnection select call failed with error %d\n"};

inline constexpr TracePoint connectWaiting{3018, TraceKind::Debug, "stapi_zol_gwycon.connectToGateway() Waiting for connect to complete\n"};
inline constexpr TracePoint connectNonBlockingFailed{3019, TraceKind::Debug, "stapi_zol_gwycon.connectToGateway() Set Non-Blocking IOCTL failed with Rc=%d, errno=%d\n"};
inline constexpr TracePoint connectBlockingFailed{3020, TraceKind::Debug, "stapi_zol_gwycon.connectToGateway() Set Blocking IOCTL failed with Rc=%d, errno=%d\n"};

}  // namespace zolstats

#endif
