// The trace lines of stapi_zol_socketcomms, in order of their numbers.
#ifndef STAPI_ZOL_SOCKETCOMMS_TRACE_H
#define STAPI_ZOL_SOCKETCOMMS_TRACE_H

#include "stapi_zol_diag.h"

// A table, one row a line.
// clang-format off

namespace zolstats {

inline constexpr TracePoint flowAdminEntry{3200, TraceKind::Entry, "stapi_zol_socketcomms.flowAdminRequest(socketDesc=%d, *request=%p, *reasons=%p)\n"};
inline constexpr TracePoint flowAdminAllocated{3201, TraceKind::Debug, "stapi_zol_socketcomms.flowAdminRequest Called malloc for %d bytes. rc=%p\n"};
inline constexpr TracePoint flowAdminNoMemory{3202, TraceKind::Exception, "stapi_zol_socketcomms.flowAdminRequestFailed to allocate %d bytes.\n"};
inline constexpr TracePoint flowAdminPayload{3203, TraceKind::Debug, "stapi_zol_socketcomms.flowAdminRequest Called malloc for %d bytes. rc=%p\n"};
inline constexpr TracePoint flowAdminPayloadNoMemory{3204, TraceKind::Exception, "stapi_zol_socketcomms.flowAdminRequestFailed to allocate %d bytes.\n"};
inline constexpr TracePoint flowAdminException{3205, TraceKind::Exception, "stapi_zol_socketcomms.flowAdminRequest Exception occured during request execution\n"};
inline constexpr TracePoint flowAdminRefused{3206, TraceKind::Exception, "stapi_zol_socketcomms.flowAdminRequest Auth Request returned an error AuthRc=%d\n"};
inline constexpr TracePoint flowAdminFree{3207, TraceKind::Debug, "stapi_zol_socketcomms.flowAdminRequest Free request data %p\n"};
inline constexpr TracePoint flowAdminExit{3208, TraceKind::Exit, "stapi_zol_socketcomms.flowAdminRequest(socketDesc=%d, *request=%p, *reasons=%p) rc=%d\n"};

inline constexpr TracePoint flowAuthEntry{3209, TraceKind::Entry, "stapi_zol_socketcomms.flowAuthRequest(socketDesc=%d, *request=%p, *reasons=%p)\n"};
inline constexpr TracePoint flowAuthAllocated{3210, TraceKind::Debug, "stapi_zol_socketcomms.flowAuthRequest Called malloc for %d bytes. rc=%p\n"};
inline constexpr TracePoint flowAuthNoMemory{3211, TraceKind::Exception, "stapi_zol_socketcomms.flowAuthRequestFailed to allocate %d bytes.\n"};
inline constexpr TracePoint flowAuthRefused{3212, TraceKind::Exception, "stapi_zol_socketcomms.flowAuthRequestAuth_Init request failed rc=%d\n"};
inline constexpr TracePoint flowAuthFree{3213, TraceKind::Debug, "stapi_zol_socketcomms.flowAuthRequest Free request data %p\n"};
inline constexpr TracePoint flowAuthExit{3214, TraceKind::Exit, "stapi_zol_socketcomms.flowAuthRequest(socketDesc=%d, *request=%p, *reasons=%p) rc=%d\n"};

inline constexpr TracePoint flowHandshakeEntry{3215, TraceKind::Entry, "stapi_zol_socketcomms.flowHandshakeRequest(socketDesc=%d, *reasons=%p)\n"};
inline constexpr TracePoint flowHandshakeAllocated{3216, TraceKind::Debug, "stapi_zol_socketcomms.flowHandshakeRequest Called malloc for %d bytes. rc=%p\n"};
inline constexpr TracePoint flowHandshakeNoMemory{3217, TraceKind::Exception, "stapi_zol_socketcomms.flowHandshakeRequestFailed to allocate %d bytes.\n"};
inline constexpr TracePoint flowHandshakeFree{3218, TraceKind::Debug, "stapi_zol_socketcomms.flowHandshakeRequest Free handshake data %p\n"};
inline constexpr TracePoint flowHandshakeExit{3219, TraceKind::Exit, "stapi_zol_socketcomms.flowHandshakeRequest(socketDesc=%d, *reasons=%p) rc=%d\n"};

inline constexpr TracePoint flowCloseEntry{3220, TraceKind::Entry, "stapi_zol_socketcomms.flowCloseRequest(socketDesc=%d, *reasons=%p)\n"};
inline constexpr TracePoint flowCloseAllocated{3221, TraceKind::Debug, "stapi_zol_socketcomms.flowCloseRequest Called malloc for %d bytes. rc=%p\n"};
inline constexpr TracePoint flowCloseNoMemory{3222, TraceKind::Exception, "stapi_zol_socketcomms.flowCloseRequest Failed to allocate %d bytes.\n"};
inline constexpr TracePoint flowCloseFree{3223, TraceKind::Debug, "stapi_zol_socketcomms.flowCloseRequest Free close request data %p\n"};
inline constexpr TracePoint flowCloseExit{3224, TraceKind::Exit, "stapi_zol_socketcomms.flowCloseRequest(socketDesc=%d, *reasons=%p) rc=%d\n"};

inline constexpr TracePoint flowEntry{3225, TraceKind::Entry, "stapi_zol_socketcomms.flow(socketDesc=%d, datalen=%d, &data=%p, requestName=%s, header=%p, reasons=%p)\n"};
inline constexpr TracePoint flowRequestData{3226, TraceKind::Data, "stapi_zol_socketcomms.flow data=%p len=%d stopword=%8.8X\n"};
inline constexpr TracePoint flowNoData{3227, TraceKind::Exception, "stapi_zol_socketcomms.flow No data to flow!!\n"};
inline constexpr TracePoint flowNotWritten{3228, TraceKind::Exception, "stapi_zol_socketcomms.flow Unable to write data to socket rc=%d\n"};
inline constexpr TracePoint flowNotSent{3229, TraceKind::Exception, "stapi_zol_socketcomms.flow Unable to send data to Gateway: errno=%d\n"};
inline constexpr TracePoint flowHeaderAllocated{3230, TraceKind::Debug, "stapi_zol_socketcomms.flow Called malloc for %d bytes. rc=%p\n"};
inline constexpr TracePoint flowHeaderNoMemory{3231, TraceKind::Exception, "stapi_zol_socketcomms.flowFailed to allocate %d bytes.\n"};
inline constexpr TracePoint flowFreeHeader{3232, TraceKind::Debug, "stapi_zol_socketcomms.flow Free header data %p\n"};
inline constexpr TracePoint flowFreeRequest{3233, TraceKind::Debug, "stapi_zol_socketcomms.flow Free call data %p\n"};
inline constexpr TracePoint flowReallocate{3234, TraceKind::Debug, "stapi_zol_socketcomms.flow (re-)malloc call &data %p\n"};
inline constexpr TracePoint flowBodyAllocated{3235, TraceKind::Debug, "stapi_zol_socketcomms.flow Called malloc for %d bytes. rc=%p\n"};
inline constexpr TracePoint flowBodyNoMemory{3236, TraceKind::Exception, "stapi_zol_socketcomms.flow Failed to allocate %d bytes.\n"};
inline constexpr TracePoint flowNoBody{3237, TraceKind::Debug, "stapi_zol_socketcomms.flow Managed to read in whole response in one go. data=0x%p\n"};
inline constexpr TracePoint flowExit{3238, TraceKind::Exit, "stapi_zol_socketcomms.flow(socketDesc=%d, datalen=%d, data=%p, requestName=%s, header=%p, reasons=%p) rc=%d\n"};

inline constexpr TracePoint readFromSocketEntry{3239, TraceKind::Entry, "stapi_zol_socketcomms.readFromSocket(socketDesc=%d, dataSize=%d, dataBuf=%p)\n"};
inline constexpr TracePoint readFromSocketFirst{3240, TraceKind::Debug, "stapi_zol_socketcomms.readFromSocket recv(socketDesc=%d, dataSize=%d, dataBuf=%p) readData=%d)\n"};
inline constexpr TracePoint readFromSocketMore{3241, TraceKind::Debug, "stapi_zol_socketcomms.readFromSocket recv(socketDesc=%d, dataSize=%d, dataBuf=%p) readData=%d, totaldata=%d)\n"};
inline constexpr TracePoint readFromSocketCutOff{3242, TraceKind::Exception, "stapi_zol_socketcomms.readFromSocket read returned an error code: errno=%d\n"};
inline constexpr TracePoint readFromSocketData{3243, TraceKind::Data, "stapi_zol_socketcomms.readFromSocket data=%p len=%d stopword=%8.8X\n"};
inline constexpr TracePoint readFromSocketFailed{3244, TraceKind::Exception, "stapi_zol_socketcomms.readFromSocket read returned an error code: errno=%d\n"};
inline constexpr TracePoint readFromSocketExit{3245, TraceKind::Exit, "stapi_zol_socketcomms.readFromSocket(socketDesc=%d, dataSize=%d, dataBuf=%p) rc=%d\n"};

inline constexpr TracePoint populateHeaderEntry{3246, TraceKind::Entry, "stapi_zol_socketcomms.populateHeader(data=%p, req=%p)\n"};
inline constexpr TracePoint populateHeaderExit{3247, TraceKind::Exit, "stapi_zol_socketcomms.populateHeader(data=%p, req=%p)\n"};
inline constexpr TracePoint writeHeaderEntry{3248, TraceKind::Entry, "stapi_zol_socketcomms.writeHeader(req=%p, data=%p)\n"};
inline constexpr TracePoint writeHeaderExit{3249, TraceKind::Exit, "stapi_zol_socketcomms.writeHeader(req=%p, data=%p)\n"};

inline constexpr TracePoint flowDone{3250, TraceKind::Event, "stapi_zol_socketcomms.flow Successfully sent and received data with Gateway on socket %d\n"};
inline constexpr TracePoint flowBadEyecatcher{3251, TraceKind::Exception, "stapi_zol_socketcomms.flow Bad eyecatcher! Expected=0x%x, actual=0x%x\n"};
inline constexpr TracePoint flowBadNameLength{3251, TraceKind::Exception, "stapi_zol_socketcomms.flow Bad name length! Expected=%d, actual=%d\n"};

}  // namespace zolstats

#endif
