// The exit codes of zolstat, for scripts that call it.
// Not the library's return codes: those are explained in words on standard error.
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#ifndef ZOLSTAT_EXIT_CODE_H
#define ZOLSTAT_EXIT_CODE_H

namespace zolstat {

enum class ExitCode {
    Fine = 0,
    Rejected = 1,        // the Gateway said no to something that was asked for; the rest was shown
    Usage = 2,           // the command line was wrong, or names a trace file that cannot be written
    NoConnection = 3,    // no connection could be opened
    ConnectionLost = 4,  // the connection was lost, or a query on it failed
    OutputFailed = 5,    // standard output could not be written
};

}  // namespace zolstat

#endif
