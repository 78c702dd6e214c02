// The trace facility: initialisation, the frame of a line, the storage dump.
// It writes no lines of its own and does not decide what is traced; level and destination are set by
// stapi_zol_impl. Levels, line format and dumps are written down in docs/tracing.md.
#include "stapi_zol_diag.h"

#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <algorithm>

const char version4stapi_zol_diag[] = ZOLSTATS_VERSION_TEXT;
const char copyright4stapi_zol_diag[] = ZOLSTATS_COPYRIGHT_TEXT;

int statAPITrace = 0;
FILE* statAPITraceHandle = nullptr;
char* statAPITraceFilename = nullptr;
const char* defaultTraceFilename = "stderr";
LockRecord traceLock = {};
char traceFmtStr[292] = "%s [0x%8.8X,0x%8.8X] [%4.4d] %-6.6s ";
char timeStamp[24] = "";
unsigned tracePid = 0;
unsigned traceTid = 0;
unsigned iTid = 0;
char dateBuf[10] = "";
int statAPIDump = 0;

namespace zolstats {
namespace {

// Local time now, formatted; returns the milliseconds that strftime() cannot print.
int formatNow(char* dst, size_t size, const char* format) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    dst[strftime(dst, size, format, &local)] = '\0';
    return static_cast<int>(now.tv_nsec / 1000000);
}

bool startsWithWord(const unsigned char* position, unsigned word) {
    return memcmp(position, &word, sizeof word) == 0;
}

// How many bytes of a dump's line come before the end of the data.
int bytesOnLine(const unsigned char* line, int lineLength, int remaining, unsigned stopWord) {
    if (remaining != 0) {
        return std::min(remaining, lineLength);
    }
    int shown = 0;
    while (shown < lineLength && !startsWithWord(line + shown, stopWord)) {
        ++shown;
    }
    return shown;
}

// The gap behind the position-th byte of a line's hexadecimal half.
const char* gapBehind(int position, int lineLength) {
    if (position % lineLength == 0 || position % 4 != 0) {
        return "";
    }
    return position % 16 == 0 ? "  " : " ";
}

bool isPrintableAscii(unsigned char byte) {
    return byte >= 0x20 && byte <= 0x7E;
}

bool holdsStopWord(const StorageArea& area) {
    const auto* bytes = static_cast<const unsigned char*>(area.address);
    for (int at = 0; at <= area.capacity - static_cast<int>(sizeof area.stopWord); ++at) {
        if (startsWithWord(bytes + at, area.stopWord)) {
            return true;
        }
    }
    return false;
}

}  // namespace

FILE* traceStream() {
    return statAPITraceHandle != nullptr ? statAPITraceHandle : stderr;
}

FreedAddress::FreedAddress(const void* address) : value(address) {}

FILE* beginTraceLine(const TracePoint& point) {
    if (point.style != TraceStyle::Unlocked) {
        requestLock(&traceLock);
    }
    memcpy(traceFmtStr + TRACE_PREFIX_LENGTH, point.text, strlen(point.text) + 1);
    if (point.style != TraceStyle::KeptTimestamp) {
        getTimestamp(timeStamp);
    }
    getPidTid(&tracePid, &traceTid);
    iTid = traceTid;
    return traceStream();
}

void endTraceLine(const TracePoint& point, FILE* stream) {
    fflush(stream);
    if (point.style != TraceStyle::Unlocked) {
        releaseLock(&traceLock);
    }
}

const char* traceLevelWord(TraceKind kind) {
    static constexpr const char* WORDS[] = {"*EXC*", "EVENT", "ENTRY", "EXIT", "DEBUG", "DATA"};
    return WORDS[static_cast<int>(kind)];
}

int dumpStorageArea(const StorageArea& area) {
    if (area.address == nullptr) {
        return 0;
    }
    const bool unterminated = area.length == 0 && area.capacity > 0 && !holdsStopWord(area);
    const int length = unterminated ? area.capacity : area.length;
    return traceOutStorage(area.address, length, area.stopWord, DUMP_LINE_LENGTH, length != 0 ? 1 : 0);
}

void writeTraceData(const TracePoint& point, const StorageArea& area) {
    const int keptErrno = errno;
    FILE* stream = beginTraceLine(point);
    fprintf(stream, traceFmtStr, timeStamp, tracePid, traceTid, point.number, traceLevelWord(point.kind),
            area.address, area.length, area.stopWord);
    dumpStorageArea(area);
    endTraceLine(point, stream);
    errno = keptErrno;
}

}  // namespace zolstats

using namespace zolstats;

extern "C" {

int initTrace(void) {
    statAPITraceHandle = stderr;
    const int lockRc = initializeLock(&traceLock);
    if (lockRc == LOCK_WAS_INITIALIZED) {
        return ZOLSTATS_OK;
    }
    if (lockRc != 0) {
        return ZOLSTATS_TRACE_LOCK_FAILED;
    }
    statAPITraceFilename = static_cast<char*>(malloc(TRACE_FILENAME_SIZE));
    if (statAPITraceFilename == nullptr) {
        return ZOLSTATS_NO_MEMORY;
    }
    strcpy(statAPITraceFilename, defaultTraceFilename);
    return ZOLSTATS_OK;
}

char* getTimestamp(char* dst) {
    char text[24];
    const int milliseconds = formatNow(text, sizeof text, "%d/%m/%y %H:%M:%S:");
    snprintf(dst, sizeof timeStamp, "%.18s%.3d", text, milliseconds);
    return dst;
}

char* getTraceDate(char* dst) {
    formatNow(dst, sizeof dateBuf, "%d/%m/%y");
    return dst;
}

void getPidTid(unsigned* pid, unsigned* tid) {
    if (pid != nullptr) {
        const unsigned kept = __atomic_load_n(&keptPid, __ATOMIC_RELAXED);
        *pid = kept != 0 ? kept : static_cast<unsigned>(getpid());
    }
    if (tid != nullptr) {
        *tid = static_cast<unsigned>(pthread_self());
    }
}

int compareTids(pthread_t a, pthread_t b) {
    return pthread_equal(a, b);
}

int traceOutStorage(const void* address, int length, unsigned stopWord, int lineLength, int flag) {
    if (length == 0 && stopWord == 0) {
        return 0;
    }
    const auto* line = static_cast<const unsigned char*>(address);
    int total = 0;
    bool more = true;
    while (more) {
        const int remaining = length == 0 ? 0 : length - total;
        const int shown = writeStorageLineDual(line, lineLength, remaining, stopWord, flag);
        line += shown;
        total += shown;
        more = length == 0 ? shown == lineLength : total < length;
    }
    fflush(traceStream());
    return total;
}

int writeStorageLineDual(const void* address, int lineLength, int remaining, unsigned stopWord, int flag) {
    FILE* stream = traceStream();
    fprintf(stream, "0x%8.8X: ", static_cast<unsigned>(reinterpret_cast<uintptr_t>(address)));
    writeStorageLineHex(address, lineLength, remaining, stopWord);
    fputs(" : ", stream);
    const int shown = writeStorageLineChar(address, lineLength, remaining, stopWord, flag);
    fputc('\n', stream);
    return shown;
}

int writeStorageLineHex(const void* address, int lineLength, int remaining, unsigned stopWord) {
    FILE* stream = traceStream();
    const auto* line = static_cast<const unsigned char*>(address);
    const int shown = bytesOnLine(line, lineLength, remaining, stopWord);
    const int visible = shown == 0 ? lineLength : shown;
    for (int position = 1; position <= lineLength; ++position) {
        if (position <= visible) {
            fprintf(stream, "%2.2X", static_cast<unsigned>(line[position - 1]));
        } else {
            fputs("  ", stream);
        }
        fputs(gapBehind(position, lineLength), stream);
        fflush(stream);
    }
    return shown;
}

int writeStorageLineChar(const void* address, int lineLength, int remaining, unsigned stopWord,
                         int /*flag*/) {
    FILE* stream = traceStream();
    const auto* line = static_cast<const unsigned char*>(address);
    const int shown = bytesOnLine(line, lineLength, remaining, stopWord);
    for (int position = 1; position <= shown; ++position) {
        const unsigned char byte = line[position - 1];
        fputc(isPrintableAscii(byte) ? byte : '.', stream);
        if (position % 16 == 0) {
            fputc(' ', stream);
        }
    }
    return shown;
}
}
