/*
 * zolstats: read the statistics of a running Gateway over TCP, from C or C++.
 * This is the whole interface for applications; it is not the place where the wire format is told.
 * The protocol between the library and the Gateway is written down in docs/protocol.md.
 *
 * CONVENTIONS, valid for every call below
 *
 * Results.      Every call returns a signed code: ZOLSTATS_OK (0) or a negative ZOLSTATS_... constant. Outputs are
 *               passed back through pointer arguments and, unless a call says otherwise, are left alone on failure.
 *               ZOLSTATS_TRACE_LOCK_FAILED, ZOLSTATS_LIST_LOCK_FAILED and ZOLSTATS_NO_MEMORY can come from any call:
 *               the library initialises itself in the first call made, and tries again in the next if that failed.
 * Connections.  An open connection is an opaque pointer, the gateway token. The library owns what it points to; the
 *               application only stores the pointer and gives it back. A token that was closed or dropped is
 *               recognised (ZOLSTATS_TOKEN_NOT_FOUND), never read through.
 * Result sets.  A query answers with a result set that belongs to the connection. The next query on that connection,
 *               and closing it, overwrite or free it and everything that was read from it. copyResultSet() makes a set
 *               of the application's own, which lives until freeResultSet().
 * Texts.        Texts given to the library are NUL-terminated and are copied where they are kept. Texts handed out stay
 *               the library's; each call says for how long they are valid. Ids and values inside a result set are
 *               bytes with a length, NOT terminated.
 * Lengths.      In bytes. Never negative in a record that a call has filled.
 * Threads.      A connection and its result set may be used only by the thread (and the process) that opened it;
 *               closing is allowed to any thread of that process. A call of the owner that is under way then fails
 *               (ZOLSTATS_CONNECTION_LOST, ZOLSTATS_EXCHANGE_FAILED, or ZOLSTATS_CONNECT_FAILED from an open call) and
 *               frees the connection when it ends; only a walk of the connection's result set must not be under way,
 *               since that reads what closing frees. A copy may be walked by any thread, by one at a time. All other
 *               calls may be made from any thread. The library starts no threads, changes no signal disposition, never
 *               writes to standard output and never ends the process.
 * Processes.    After fork() the child cannot use the parent's connections (ZOLSTATS_WRONG_PROCESS); it opens its own.
 *               It must not close them: that would close them for the parent.
 * Waiting.      Connecting waits at most 60 seconds; afterwards a call waits for the Gateway's answer without limit,
 *               unless the application sets one: setAPITimeout().
 * How many.     Up to ZOLSTATS_MAX_CONNECTIONS connections in one process. Tokens beyond that number open but are not
 *               found again (ZOLSTATS_TOKEN_NOT_FOUND).
 */
#ifndef ZOLSTATS_ZOLSTATS_H
#define ZOLSTATS_ZOLSTATS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The most connections that one process can use at a time. */
#define ZOLSTATS_MAX_CONNECTIONS 257

/* The longest id list, in bytes without its NUL, that a query by ids takes; a longer one gives ZOLSTATS_NO_MEMORY. */
#define ZOLSTATS_MAX_ID_LIST 32765

/* The longest limit, in milliseconds, that setAPITimeout() takes: one day. */
#define ZOLSTATS_MAX_TIMEOUT 86400000

/* Trace levels for setAPITraceLevel(); each includes the ones before it. 5 is accepted and traces what 4 does. */
#define ZOLSTATS_TRACE_OFF 0
#define ZOLSTATS_TRACE_EXCEPTIONS 1
#define ZOLSTATS_TRACE_EVENTS 2
#define ZOLSTATS_TRACE_CALLS 3
#define ZOLSTATS_TRACE_DATA 4
#define ZOLSTATS_TRACE_ALL 5

/*
 * Every return code that reaches an application: name, number, and what happened in words. The constants below, the
 * tools' explanations and the table in docs/return-codes.md all come from this list.
 */
/* clang-format off */
#define ZOLSTATS_RETURN_CODES(CODE)                                                                             \
    CODE(ZOLSTATS_OK, 0, "success")                                                                             \
    CODE(ZOLSTATS_LIST_LOCK_FAILED, -2, "the lock of the connection list could not be initialised")             \
    CODE(ZOLSTATS_NULL_TOKEN, -100, "the gateway token is null")                                                \
    CODE(ZOLSTATS_TOKEN_NOT_FOUND, -101, "the gateway token is not an open connection (closed, dropped or never valid)") \
    CODE(ZOLSTATS_CONNECTION_LOST, -102, "the connection to the Gateway is lost")                               \
    CODE(ZOLSTATS_BAD_TRACE_LEVEL, -104, "the trace level is outside 0 to 5")                                   \
    CODE(ZOLSTATS_NULL_VERSION_ADDRESS, -105, "the address for the protocol version is null")                   \
    CODE(ZOLSTATS_NOT_A_COPY, -106, "the result set belongs to a connection and cannot be freed by the caller") \
    CODE(ZOLSTATS_BAD_PORT, -107, "the port is outside 1 to 65535")                                             \
    CODE(ZOLSTATS_NULL_TOKEN_ADDRESS, -108, "the address of the gateway token pointer is null")                 \
    CODE(ZOLSTATS_NULL_OUTPUT, -109, "a required output pointer is null")                                       \
    CODE(ZOLSTATS_NO_BUFFER, -110, "the connection or result set has no buffer (the connection may have gone)") \
    CODE(ZOLSTATS_NO_MEMORY, -111, "memory could not be allocated")                                             \
    CODE(ZOLSTATS_NO_MORE_ITEMS, -113, "there are no more items in the result set")                             \
    CODE(ZOLSTATS_LIST_LIMIT, -115, "closing stopped at the limit of the connection list; call again")          \
    CODE(ZOLSTATS_CONNECT_FAILED, -118, "connecting failed, or the Gateway refused the connection")             \
    CODE(ZOLSTATS_WRONG_CONTENT, -119, "the result set does not hold what was asked for")                       \
    CODE(ZOLSTATS_TRACE_LOCK_FAILED, -121, "the lock of the trace could not be initialised")                    \
    CODE(ZOLSTATS_EXCHANGE_FAILED, -122, "the exchange with the Gateway failed (bad reply, or it reported an error)") \
    CODE(ZOLSTATS_WRONG_PROCESS, -123, "the connection or result set belongs to another process")               \
    CODE(ZOLSTATS_WRONG_THREAD, -124, "the connection or result set belongs to another thread")                 \
    CODE(ZOLSTATS_NULL_RESULT_SET_ADDRESS, -125, "the address of the result set pointer is null")               \
    CODE(ZOLSTATS_NULL_ID_LIST, -126, "the id list is null")                                                    \
    CODE(ZOLSTATS_NULL_RESULT_SET, -127, "the result set is null")                                              \
    CODE(ZOLSTATS_NULL_ID_DATA, -128, "the record for an identifier is null")                                   \
    CODE(ZOLSTATS_NULL_STAT_DATA, -129, "the record for a statistic is null")                                   \
    CODE(ZOLSTATS_TRACE_FILE_FAILED, -130, "the trace file could not be opened for appending")                  \
    CODE(ZOLSTATS_NO_IDS, -131, "no identifier could be collected from the result set")                         \
    CODE(ZOLSTATS_HOST_NOT_FOUND, -132, "the host name could not be resolved")                                  \
    CODE(ZOLSTATS_NULL_HOST, -133, "the host name is null")                                                     \
    CODE(ZOLSTATS_CONNECT_TIMED_OUT, -134, "connecting took longer than 60 seconds, or opening than the time limit") \
    CODE(ZOLSTATS_CONNECTION_REFUSED, -135, "the connection was refused: nothing listens on that port")         \
    CODE(ZOLSTATS_NETWORK_UNREACHABLE, -136, "the network of the host cannot be reached")                       \
    CODE(ZOLSTATS_BAD_TIMEOUT, -137, "the time limit is outside 0 to 86400000 milliseconds")
/* clang-format on */

#define ZOLSTATS_DEFINE_CODE(name, number, text) name = (number),
enum { ZOLSTATS_RETURN_CODES(ZOLSTATS_DEFINE_CODE) };
#undef ZOLSTATS_DEFINE_CODE

/* A result set; only ever handled by pointer. */
typedef struct ResultSetToken ResultSetToken;

/*
 * One statistic, filled by getFirstStat() and getNextStat(). The caller owns the record; its pointers lead into the
 * result set and are valid as long as that is: until the next query on its connection, until the connection is closed,
 * or until the copy is freed.
 */
typedef struct StatData {
    char eyecatcher[8];                   /* "ZOLSTSET", not terminated */
    const unsigned char* queryElementPtr; /* the query that this item answers, as the Gateway put it */
    int32_t queryElementLen;              /* its length in bytes */
    int32_t queryElementRC;               /* negative: rejected, the fields below are stale */
    int32_t statIdLen;                    /* length of the statistic's id in bytes */
    const unsigned char* statId;          /* the id, not terminated */
    int32_t statDataLen;                  /* length of the statistic's value in bytes */
    const unsigned char* statData;        /* the value, a text as the Gateway sent it, not terminated */
} StatData;

/* One identifier, filled by getFirstId() and getNextId(); ownership and lifetime as for StatData. */
typedef struct IdData {
    char eyecatcher[8];                   /* "ZOLIDSET", not terminated */
    const unsigned char* queryElementPtr; /* the query that this item answers, as the Gateway put it */
    int32_t queryElementLen;              /* its length in bytes */
    int32_t queryElementRC;               /* negative: rejected, the fields below are stale */
    int32_t idLen;                        /* length of the id in bytes */
    const unsigned char* id;              /* the id, not terminated */
} IdData;

/* ---- Trace and versions ------------------------------------------------------------------------------------- */

/*
 * Tell the trace level now in force.
 *   traceLevel  out: 0 to 5 (ZOLSTATS_TRACE_...)
 * Returns ZOLSTATS_OK, or ZOLSTATS_NULL_OUTPUT if traceLevel is null.
 */
int getAPITraceLevel(int* traceLevel);

/*
 * Choose how much the library traces, for the whole process. Tracing is off until this is called. The first line of a
 * trace names the library's versions; see docs/tracing.md for the format of the others.
 *   traceLevel  0 to 5 (ZOLSTATS_TRACE_...)
 * Returns ZOLSTATS_OK, or ZOLSTATS_BAD_TRACE_LEVEL for any other value; the level then stays as it was.
 */
int setAPITraceLevel(int traceLevel);

/*
 * Choose where the trace goes, for the whole process: standard error until this is called. A file is appended to, stays
 * open until the next switch, and is not passed on to programs that the process executes.
 *   fileName  the file's name, of any length that the system accepts (texts show its first 1023 bytes); null returns
 *             to standard error
 * Returns ZOLSTATS_OK, or ZOLSTATS_TRACE_FILE_FAILED if the file cannot be opened for appending; the trace then goes on
 * where it went. The reason (errno) stands in the trace.
 */
int setAPITraceFile(const char* fileName);

/*
 * Tell the version of this interface, "1_1_0_1".
 *   version  out: the text, valid as long as the process; the caller neither changes nor frees it
 * Returns ZOLSTATS_OK, or ZOLSTATS_NULL_OUTPUT if version is null.
 */
int getStatsAPIVersion(char** version);

/*
 * Write the library's state to the trace, whatever the trace level: version, level, destination, every open connection
 * and the content of its result set, unless a query is just rewriting that. Meant for a support case; takes part in
 * nothing else.
 * Returns ZOLSTATS_OK.
 */
int dumpState(void);

/* ---- Waiting ------------------------------------------------------------------------------------------------ */

/*
 * Limit how long each call that talks to a Gateway may take, for the calls of this thread. The limit covers a call as a
 * whole, from its start to its end, however the Gateway behaves: connecting and everything else that opening does, a
 * query with the loss of its connection, closing. closeAllGatewayConnections() may take as long for each connection.
 * (Resolving a host name cannot be cut short, but its time counts.) When the time is up an open call gives
 * ZOLSTATS_CONNECT_TIMED_OUT, a query ZOLSTATS_CONNECTION_LOST; the connection is of no more use then, and a query
 * closes it as after any other loss: after getStatsByStatGroupId() that is left to the caller. Closing closes.
 *   milliseconds  0 to ZOLSTATS_MAX_TIMEOUT; 0, as at first, is without limit
 * Returns ZOLSTATS_OK, or ZOLSTATS_BAD_TIMEOUT for any other value; the limit then stays as it was.
 */
int setAPITimeout(int milliseconds);

/*
 * Tell the limit that holds for this thread's calls.
 *   milliseconds  out: 0 is without limit
 * Returns ZOLSTATS_OK, or ZOLSTATS_NULL_OUTPUT if milliseconds is null.
 */
int getAPITimeout(int* milliseconds);

/* ---- Connections -------------------------------------------------------------------------------------------- */

/*
 * Open a connection to the Gateway on this machine (127.0.0.1). The calling thread becomes its owner.
 *   port             the Gateway's statistics port, 1 to 65535
 *   gwTokPtr         out: the connection
 *   protocolVersion  out: the version text of the statistics protocol that the Gateway reported, or null if it reported
 *                    none; valid while the connection is open; the caller does not free it
 * Returns ZOLSTATS_OK or
 *   ZOLSTATS_BAD_PORT, ZOLSTATS_NULL_TOKEN_ADDRESS, ZOLSTATS_NULL_VERSION_ADDRESS   correct the call
 *   ZOLSTATS_CONNECTION_REFUSED, ZOLSTATS_NETWORK_UNREACHABLE, ZOLSTATS_CONNECT_TIMED_OUT   try again later
 *   ZOLSTATS_CONNECT_FAILED    another failure to connect, or the Gateway refused the connection: see the trace
 *   ZOLSTATS_CONNECTION_LOST, ZOLSTATS_EXCHANGE_FAILED   the Gateway was reached but did not tell its version properly:
 *                              is this port really a Gateway's statistics port?
 *   ZOLSTATS_NO_MEMORY
 * After a failure nothing is left open.
 */
int openGatewayConnection(int port, void** gwTokPtr, char** protocolVersion);

/*
 * Open a connection to the Gateway on a named host. Only the first address that the name resolves to is tried, and
 * resolving it takes as long as the system's resolver does.
 *   hostname  a host name or a numeric address
 *   others    as for openGatewayConnection()
 * Returns what openGatewayConnection() does, or ZOLSTATS_NULL_HOST, or ZOLSTATS_HOST_NOT_FOUND.
 */
int openRemoteGatewayConnection(const char* hostname, int port, void** gwTokPtr, char** protocolVersion);

/*
 * Close a connection: take leave of the Gateway and free everything that belongs to the connection, its result set and
 * its protocol version text included. Any thread of the process may close; the other calls wait meanwhile.
 *   gwTokPtr  in: the connection; out: null when it was closed
 * Returns ZOLSTATS_OK (the connection is closed even if the Gateway did not answer) or
 *   ZOLSTATS_NULL_TOKEN_ADDRESS, ZOLSTATS_NULL_TOKEN   correct the call
 *   ZOLSTATS_TOKEN_NOT_FOUND                           it was closed or dropped before
 */
int closeGatewayConnection(void** gwTokPtr);

/*
 * Close every connection of the process. The pointers that the application still holds are recognised as closed.
 * Returns ZOLSTATS_OK (also when none was open), or ZOLSTATS_LIST_LIMIT if 256 were closed and others may be left:
 * call again.
 */
int closeAllGatewayConnections(void);

/* ---- Queries ------------------------------------------------------------------------------------------------ */

/*
 * Six queries. Each asks the Gateway, waits for the answer and hands out the connection's result set, positioned before
 * its first item. The answer has one element (a query text with its return code and its items) for a query without ids,
 * one for each id otherwise; an element that the Gateway rejects has a negative code and no items.
 *   gwTok      the connection, used by the thread that opened it
 *   ids        (by-id queries) the ids that are asked for, separated by ':', at most ZOLSTATS_MAX_ID_LIST bytes;
 *              getIdQuery() makes such a text. It is copied. An empty text is sent as it is.
 *   resultSet  out: the result set, owned by the connection and overwritten by its next query; not to be freed
 * Return ZOLSTATS_OK or
 *   ZOLSTATS_NULL_TOKEN, ZOLSTATS_NULL_ID_LIST, ZOLSTATS_NULL_RESULT_SET_ADDRESS   correct the call
 *   ZOLSTATS_TOKEN_NOT_FOUND   the connection was closed or dropped: open a new one
 *   ZOLSTATS_WRONG_PROCESS, ZOLSTATS_WRONG_THREAD   use the connection where it was opened, or open one here
 *   ZOLSTATS_CONNECTION_LOST, ZOLSTATS_EXCHANGE_FAILED   the query failed and the connection is gone: it is closed and
 *                              freed, so open a new one. (Not so for getStatsByStatGroupId(): it leaves the connection
 *                              to its caller, who closes it.)
 *   ZOLSTATS_NO_BUFFER         an earlier query could not get memory for its answer: close the connection
 *   ZOLSTATS_NO_MEMORY         the id list could not be copied (or is too long); nothing was sent
 */
/* All statistics of all groups. */
int getStats(void* gwTok, ResultSetToken** resultSet);
/* The ids of all statistics. */
int getStatIds(void* gwTok, ResultSetToken** resultSet);
/* The ids of all resource groups. */
int getResourceGroupIds(void* gwTok, ResultSetToken** resultSet);
/* The statistics of the named groups. A failure does not close the connection. */
int getStatsByStatGroupId(void* gwTok, const char* ids, ResultSetToken** resultSet);
/* The named statistics. */
int getStatsByStatId(void* gwTok, const char* ids, ResultSetToken** resultSet);
/* The ids of the statistics of the named groups. */
int getStatIdsByStatGroupId(void* gwTok, const char* ids, ResultSetToken** resultSet);

/* ---- Walking a result set ----------------------------------------------------------------------------------- */

/*
 * Read a result set of statistics item by item: the first call (re)starts at the beginning, each next call goes on; a
 * next call on a set that was not started yet reads the first item. For an element that the Gateway rejected one call
 * reports its negative queryElementRC and leaves the item's fields as they were.
 *   resultSet  from getStats(), getStatsByStatGroupId() or getStatsByStatId(), or a copy of such a set
 *   statData   out: the item; see StatData for how long its pointers live
 * Return ZOLSTATS_OK or
 *   ZOLSTATS_NO_MORE_ITEMS     the end was reached, or the set is damaged beyond this point
 *   ZOLSTATS_WRONG_CONTENT     the set holds ids: read it with getFirstId()
 *   ZOLSTATS_NO_BUFFER         the set has no content (a copy that could not get memory)
 *   ZOLSTATS_WRONG_PROCESS, ZOLSTATS_WRONG_THREAD   walk a copy instead
 *   ZOLSTATS_NULL_RESULT_SET, ZOLSTATS_NULL_STAT_DATA   correct the call
 */
int getFirstStat(ResultSetToken* resultSet, StatData* statData);
int getNextStat(ResultSetToken* resultSet, StatData* statData);

/*
 * The same for a result set of identifiers, from getStatIds(), getResourceGroupIds() or getStatIdsByStatGroupId().
 *   idData  out: the identifier; see IdData
 * Return what getFirstStat() does, with ZOLSTATS_NULL_ID_DATA for a null record.
 */
int getFirstId(ResultSetToken* resultSet, IdData* idData);
int getNextId(ResultSetToken* resultSet, IdData* idData);

/* ---- Result sets as a whole --------------------------------------------------------------------------------- */

/*
 * Copy a result set into one that belongs to the application, lives until freeResultSet(), and may be used by any
 * thread. Reading it starts at its beginning, whatever the position of the source.
 *   source  a result set from a query, or a copy
 *   target  out: the copy. Set it to null before: after ZOLSTATS_NO_MEMORY it is then null, or a copy without content
 *           that is to be freed like any other.
 * Returns ZOLSTATS_OK or
 *   ZOLSTATS_NULL_RESULT_SET, ZOLSTATS_NULL_RESULT_SET_ADDRESS   correct the call
 *   ZOLSTATS_NO_BUFFER, ZOLSTATS_WRONG_CONTENT   there is nothing to copy
 *   ZOLSTATS_WRONG_PROCESS, ZOLSTATS_WRONG_THREAD   copy in the thread that owns the connection
 *   ZOLSTATS_NO_MEMORY
 */
int copyResultSet(ResultSetToken* source, ResultSetToken** target);

/*
 * Free a copy made by copyResultSet(), and everything that was read from it.
 *   resultSet  in: the copy; out: null
 * Returns ZOLSTATS_OK or
 *   ZOLSTATS_NULL_RESULT_SET_ADDRESS, ZOLSTATS_NULL_RESULT_SET   correct the call (a freed copy's variable is null)
 *   ZOLSTATS_NOT_A_COPY   the set belongs to a connection and is freed with it
 */
int freeResultSet(ResultSetToken** resultSet);

/*
 * Write the content of a result set to the trace, in hexadecimal and characters, whatever the trace level.
 * Returns ZOLSTATS_OK, ZOLSTATS_NULL_RESULT_SET, ZOLSTATS_NO_BUFFER, ZOLSTATS_WRONG_CONTENT, ZOLSTATS_WRONG_PROCESS or
 * ZOLSTATS_WRONG_THREAD.
 */
int dumpResultSet(ResultSetToken* resultSet);

/*
 * Make an id list for the by-id queries from the ids in a result set, separated by ':'. Ids that would make it longer
 * than 31999 bytes are left out, as are those of elements whose code is not 0. Moves the read position of the set.
 *   idQuery  out: the text, owned by the result set, valid until the next getIdQuery() on it or until it is freed; on a
 *            connection's own set it outlives the query it is used for
 * Returns ZOLSTATS_OK or
 *   ZOLSTATS_NO_IDS   no id could be collected
 *   ZOLSTATS_NULL_RESULT_SET, ZOLSTATS_NULL_OUTPUT   correct the call
 *   ZOLSTATS_NO_BUFFER, ZOLSTATS_WRONG_CONTENT, ZOLSTATS_WRONG_PROCESS, ZOLSTATS_WRONG_THREAD, ZOLSTATS_NO_MEMORY
 */
int getIdQuery(ResultSetToken* resultSet, char** idQuery);

#ifdef __cplusplus
}
#endif

#endif
