// The exit codes of zolstat, for scripts that call it: one for each class of failure.
// Not the library's return codes: those are explained in words on standard error.
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#ifndef ZOLSTAT_EXIT_CODE_H
#define ZOLSTAT_EXIT_CODE_H

namespace tools::zolstat {

// In order of weight: of several failures the greatest code is told. `check` has codes of its own.
enum class ExitCode {
    Fine = 0,
    Rejected = 1,      // the Gateway said no to something that was asked for; the rest was shown
    Usage = 2,         // the command line or the configuration is wrong, or names a file that cannot be used
    NoConnection = 3,  // no connection could be opened
    ConnectionLost = 4,  // the connection was lost, or a query on it failed
    OutputFailed = 5,    // standard output could not be written
    NoGateway = 6,       // what answers on that port is no Gateway, or refused the connection
};

}  // namespace tools::zolstat

#endif
