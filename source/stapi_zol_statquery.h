// The six queries of an open connection, and what a failed one means to the application.
// Encoding and parsing are done below; checking tokens and arguments above.
// The queries are written down in docs/protocol.md.
#ifndef STAPI_ZOL_STATQUERY_H
#define STAPI_ZOL_STATQUERY_H

extern "C" {

extern const char version4stapi_zol_statquery[];
extern const char copyright4stapi_zol_statquery[];

// Each asks the Gateway at the socket and leaves the answer in *buffer, a malloc() area of *bufferLen bytes
// that grows as needed. 0, NULL_PARAMETER when there is no buffer (nothing is sent then),
// ZOLSTATS_CONNECTION_LOST or ZOLSTATS_EXCHANGE_FAILED.
int commsStats(int socketDesc, unsigned char** buffer, int* bufferLen);
int commsStatIds(int socketDesc, unsigned char** buffer, int* bufferLen);
int commsResourceGroupsIds(int socketDesc, unsigned char** buffer, int* bufferLen);
// ids is the list of what is asked for, separated by ':'.
int commsStatsByStatGroupId(int socketDesc, unsigned char** buffer, int* bufferLen, const char* ids);
int commsStatsByStatId(int socketDesc, unsigned char** buffer, int* bufferLen, const char* ids);
int commsStatIdsByStatGroupId(int socketDesc, unsigned char** buffer, int* bufferLen, const char* ids);
}

#endif
