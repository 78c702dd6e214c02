// The trace: its globals, the way a line site is written, and the dump of a storage area.
// Which lines there are is not told here: each module has its table, stapi_zol_<module>_trace.h.
// Levels, line format and dumps are written down in docs/tracing.md.
#ifndef STAPI_ZOL_DIAG_H
#define STAPI_ZOL_DIAG_H

#include <errno.h>
#include <pthread.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <type_traits>

#include "stapi_zol_lock.h"
#include "zolstats/zolstats.h"

#define ZOLSTATS_PRODUCT_VERSION "1.1.0.1"
#define ZOLSTATS_BUILD_LEVEL "zs11-20261121-1200"
#define ZOLSTATS_API_VERSION "1_1_0_1"
#define ZOLSTATS_VERSION_TEXT \
    "\nQuorvane Version " ZOLSTATS_PRODUCT_VERSION " Build Level " ZOLSTATS_BUILD_LEVEL
#define ZOLSTATS_COPYRIGHT_TEXT "\nCopyright (c) 2026 the zolstats developers. All rights reserved."

extern "C" {

extern const char version4stapi_zol_diag[];
extern const char copyright4stapi_zol_diag[];

extern int statAPITrace;          // the level, 0 to 5; read and written through the compiler's atomics
extern FILE* statAPITraceHandle;  // where lines go; null (standard error is taken) until initTrace()
extern char*
    statAPITraceFilename;  // TRACE_FILENAME_SIZE bytes; null until initTrace(), and if that had no memory
extern const char* defaultTraceFilename;
extern LockRecord traceLock;   // guards the destination and everything below
extern char traceFmtStr[292];  // the prefix of every line, then the template of the line being written
extern char timeStamp[24];     // of the line being written, as are the next two
extern unsigned tracePid;
extern unsigned traceTid;
extern unsigned iTid;     // a copy of traceTid that nothing reads
extern char dateBuf[10];  // of the banner line
extern int statAPIDump;   // never used

// Direct the trace to standard error and make its lock and name buffer: 0, ZOLSTATS_TRACE_LOCK_FAILED or
// ZOLSTATS_NO_MEMORY. A repeated call only resets the destination.
int initTrace(void);

// Local time as "dd/mm/yy HH:MM:SS:mmm" into the 24 bytes at dst, which is returned.
char* getTimestamp(char* dst);
// Local date as "dd/mm/yy" into the 10 bytes at dst, which is returned.
char* getTraceDate(char* dst);
// The process id, and the low 32 bits of the thread id; a null pointer is passed over.
void getPidTid(unsigned* pid, unsigned* tid);
// Non-zero when both are the same thread.
int compareTids(pthread_t a, pthread_t b);

// Dump an area to the trace, lineLength bytes a line, in hexadecimal and characters; returns the bytes shown.
// A length other than 0 is shown exactly; with length 0 the dump ends before the first position, aligned or
// not, whose 32-bit word in host order is stopWord. With neither there is nothing to show. The caller holds
// traceLock. flag has no effect.
int traceOutStorage(const void* address, int length, unsigned stopWord, int lineLength, int flag);
// One line of a dump, and its halves. remaining is the length still to be shown, 0 in stop-word mode. Each
// returns how many bytes the line shows: lineLength, or less on the last line. A stop word at the very start
// of a line counts as 0 bytes, but the hexadecimal half shows the whole line then.
int writeStorageLineDual(const void* address, int lineLength, int remaining, unsigned stopWord, int flag);
int writeStorageLineHex(const void* address, int lineLength, int remaining, unsigned stopWord);
int writeStorageLineChar(const void* address, int lineLength, int remaining, unsigned stopWord, int flag);
}

namespace zolstats {

inline constexpr size_t TRACE_FILENAME_SIZE = 1024;
inline constexpr size_t TRACE_PREFIX_LENGTH = 36;
inline constexpr size_t TRACE_TEXT_SIZE = sizeof(traceFmtStr) - TRACE_PREFIX_LENGTH;  // with its NUL
inline constexpr int DUMP_LINE_LENGTH = 16;

// The rule that frames a dump: 80 dashes.
#define ZOLSTATS_TRACE_RULE \
    "--------------------------------------------------------------------------------\n"

enum class TraceKind { Exception, Event, Entry, Exit, Debug, Data };

enum class TraceStyle {
    Usual,
    KeptTimestamp,  // carries the time of the line before it
    Unlocked,       // written without traceLock
};

// A line is written when the level is greater than its kind's threshold.
constexpr int traceThreshold(TraceKind kind) {
    switch (kind) {
        case TraceKind::Exception:
            return 0;
        case TraceKind::Event:
            return 1;
        case TraceKind::Entry:
        case TraceKind::Exit:
            return 2;
        default:
            return 3;
    }
}

// One row of a module's table: a line that some site writes.
struct TracePoint {
    int number;
    TraceKind kind;
    const char* text;  // printf template of the message, at most 255 characters, ending in a newline
    TraceStyle style;

    template <size_t Size>
    requires(Size <= TRACE_TEXT_SIZE) consteval TracePoint(int pointNumber, TraceKind pointKind,
                                                           const char (&message)[Size],
                                                           TraceStyle pointStyle = TraceStyle::Usual)
        : number(pointNumber), kind(pointKind), text(message), style(pointStyle) {}
};

// The address of memory that will have been freed when its line is written. (Made out of line: a compiler
// that sees where it comes from warns that it is used after the free.)
struct FreedAddress {
    const void* value;

    explicit FreedAddress(const void* address);
};

// Stands in a table for a line that is not written; it is no trace point.
inline constexpr TracePoint NO_LINE{0, TraceKind::Debug, ""};

template <class Value>
constexpr bool fitsConversion(char conversion) {
    switch (conversion) {
        case 's':
            return std::is_convertible_v<Value, const char*>;
        case 'p':
            return std::is_pointer_v<Value> || std::is_same_v<Value, FreedAddress>;
        case 'd':
        case 'u':
        case 'x':
        case 'X':
            return std::is_same_v<Value, int> || std::is_same_v<Value, unsigned>;
        default:
            return false;
    }
}

// The conversion character of the next conversion in text, which is moved behind it; 0 when there is none.
constexpr char nextConversion(const char*& text) {
    while (*text != '\0' && *text != '%') {
        ++text;
    }
    if (*text == '\0') {
        return '\0';
    }
    do {
        ++text;
    } while (*text == '.' || *text == '-' || (*text >= '0' && *text <= '9'));
    return *text++;
}

template <class... Values>
constexpr bool fitsTemplate(const char* text) {
    const bool eachFits = (fitsConversion<Values>(nextConversion(text)) && ... && true);
    return eachFits && nextConversion(text) == '\0';
}

inline int currentTraceLevel() {
    return __atomic_load_n(&statAPITrace, __ATOMIC_RELAXED);
}

inline bool traces([[maybe_unused]] TraceKind kind) {
#ifdef ZOLSTATS_NO_TRACE  // what the line sites cost is measured against a library without them
    return false;
#else
    return __builtin_expect(currentTraceLevel() > traceThreshold(kind), 0);
#endif
}

// Take the trace lock and make ready the format and the prefix's values; gives the stream to write to.
FILE* beginTraceLine(const TracePoint& point);
// Flush and release.
void endTraceLine(const TracePoint& point, FILE* stream);
const char* traceLevelWord(TraceKind kind);

template <class... Values>
[[gnu::cold, gnu::noinline]] void writeTraceLine(const TracePoint& point, Values... values) {
    const int keptErrno = errno;
    FILE* stream = beginTraceLine(point);
    fprintf(stream, traceFmtStr, timeStamp, tracePid, traceTid, point.number, traceLevelWord(point.kind),
            values...);
    endTraceLine(point, stream);
    errno = keptErrno;
}

// What a value is passed to printf as; fewer types make fewer copies of writeTraceLine().
inline const char* printable(const char* value) {
    return value;
}
inline const void* printable(const void* value) {
    return value;
}
inline const void* printable(FreedAddress address) {
    return address.value;
}
inline int printable(int value) {
    return value;
}
inline unsigned printable(unsigned value) {
    return value;
}

// A line site: trace<point>(values...) writes the point's line if the level lets it through.
template <const TracePoint& Point, class... Values>
inline void trace(Values... values) {
    static_assert(Point.kind != TraceKind::Data);
    static_assert(fitsTemplate<Values...>(Point.text), "the values do not fit the trace point's template");
    if (traces(Point.kind)) {
        writeTraceLine(Point, printable(values)...);
    }
}

// What runs once for each item is compiled twice, with and without its line sites, and a call chooses when it begins:
// a site that writes nothing still loads the level and branches, and an item passes twenty of them. Off is up to the
// level of exceptions, which are never left out.
enum class Tracing { Off, On };

inline Tracing tracingNow() {
    return traces(TraceKind::Event) ? Tracing::On : Tracing::Off;
}

// A line site of such a function.
template <Tracing Sites, const TracePoint& Point, class... Values>
inline void trace(Values... values) {
    static_assert(Point.kind != TraceKind::Exception);
    if constexpr (Sites == Tracing::On) {
        trace<Point>(values...);
    }
}

inline void* allocateZeroed(size_t size) {
    return calloc(1, size);
}

// Memory from allocate (malloc or the like), with the two lines that report it: the call, and its failure.
template <const TracePoint& Called, const TracePoint& Failed>
void* allocateTraced(int size, void* (*allocate)(size_t) = allocateZeroed) {
    void* memory = size < 0 ? nullptr : allocate(static_cast<size_t>(size));
    trace<Called>(size, memory);
    if (memory == nullptr) {
        trace<Failed>(size);
    }
    return memory;
}

// An area that a dump shows: length bytes, or with length 0 all up to a stop word, which is looked for in
// capacity bytes (0 or less: it is known to be there). An area without its stop word is shown up to its
// capacity, a null one not at all.
struct StorageArea {
    const void* address;
    int length;
    unsigned stopWord;
    int capacity;
};

FILE* traceStream();

// Dump the area to the trace; the caller holds traceLock. Returns the bytes shown.
int dumpStorageArea(const StorageArea& area);
[[gnu::cold, gnu::noinline]] void writeTraceData(const TracePoint& point, const StorageArea& area);

// A line site with a dump below it. Its template takes address, length and stop word.
template <const TracePoint& Point>
inline void traceData(const StorageArea& area) {
    static_assert(Point.kind == TraceKind::Data);
    static_assert(fitsTemplate<const void*, int, unsigned>(Point.text));
    if (traces(Point.kind)) {
        writeTraceData(Point, area);
    }
}

// The ids of process and thread once they are kept, else 0. Each item of a walk is checked against them, and would
// cost more than all the rest if the system had to be asked.
inline unsigned keptPid = 0;
[[gnu::tls_model("initial-exec")]] inline constinit thread_local pthread_t keptTid = 0;

// Keep the process id from now on; a forked child has to keep its own.
inline void keepPid() {
    __atomic_store_n(&keptPid, static_cast<unsigned>(getpid()), __ATOMIC_RELAXED);
}

// False also when the caller's ids are not kept: then checkOwner() tells.
inline bool isKnownOwner(unsigned owningPid, pthread_t owningTid) {
    return owningPid == __atomic_load_n(&keptPid, __ATOMIC_RELAXED) && pthread_equal(owningTid, keptTid) != 0;
}

// Is the caller the owner? 0, ZOLSTATS_WRONG_PROCESS or ZOLSTATS_WRONG_THREAD, with the line that tells so.
// Threads are compared whole; the line shows their low 32 bits.
template <const TracePoint& OtherProcess, const TracePoint& OtherThread>
int checkOwner(unsigned owningPid, pthread_t owningTid) {
    unsigned pid = 0;
    unsigned tid = 0;
    getPidTid(&pid, &tid);
    if (pid != owningPid) {
        trace<OtherProcess>(pid, owningPid);
        return ZOLSTATS_WRONG_PROCESS;
    }
    if (compareTids(pthread_self(), owningTid) == 0) {
        trace<OtherThread>(tid, static_cast<unsigned>(owningTid));
        return ZOLSTATS_WRONG_THREAD;
    }
    keptTid = pthread_self();
    return ZOLSTATS_OK;
}

// What a line prints for a text that may be null.
inline const char* textOrNull(const char* text) {
    return text != nullptr ? text : "NULL";
}

}  // namespace zolstats

#endif
