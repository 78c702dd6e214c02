// The library's return codes, and the table of what to do about them.
// Not the place where they come from: names, numbers and meanings are the header's.
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include "return_codes.h"

#include <zolstats/zolstats.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <vector>

namespace tools::zolstat {
namespace {

#define ZOLSTAT_RETURN_CODE(name, number, text) ReturnCode{number, #name, text},
constexpr std::array ALL_CODES{ZOLSTATS_RETURN_CODES(ZOLSTAT_RETURN_CODE)};
#undef ZOLSTAT_RETURN_CODE

struct Advice {
    std::vector<int> codes;
    const char* text;
};

const std::array ADVICE{
    Advice{{ZOLSTATS_OK}, "nothing; the call did what it was to do."},
    Advice{{ZOLSTATS_NULL_TOKEN, ZOLSTATS_BAD_TRACE_LEVEL, ZOLSTATS_NULL_VERSION_ADDRESS, ZOLSTATS_BAD_PORT,
            ZOLSTATS_NULL_TOKEN_ADDRESS, ZOLSTATS_NULL_OUTPUT, ZOLSTATS_NULL_RESULT_SET_ADDRESS,
            ZOLSTATS_NULL_ID_LIST, ZOLSTATS_NULL_RESULT_SET, ZOLSTATS_NULL_ID_DATA, ZOLSTATS_NULL_STAT_DATA,
            ZOLSTATS_NULL_HOST, ZOLSTATS_BAD_TIMEOUT},
           "an argument is wrong; nothing was done."},
    Advice{
        {ZOLSTATS_TOKEN_NOT_FOUND, ZOLSTATS_CONNECTION_LOST, ZOLSTATS_EXCHANGE_FAILED},
        "forget the token and open a new connection. After -102 and -122 the library has closed and freed the "
        "connection by itself, with one exception: getStatsByStatGroupId leaves it open, so close it. After -101 "
        "it had been closed before. When the time limit of setAPITimeout passes, a query gives -102; when another "
        "thread closes the connection meanwhile, -102 or -122. From an open call -102 and -122 say that what "
        "listens on that port does not answer as a Gateway does: look at the trace."},
    Advice{
        {ZOLSTATS_CONNECT_FAILED, ZOLSTATS_HOST_NOT_FOUND, ZOLSTATS_CONNECT_TIMED_OUT,
         ZOLSTATS_CONNECTION_REFUSED, ZOLSTATS_NETWORK_UNREACHABLE},
        "nothing is left open. -134, -135 and -136 are worth another try later; -132 is a matter of the name; for "
        "-118 look at the trace: either the Gateway refused, or what listens on that port is no Gateway."},
    Advice{
        {ZOLSTATS_WRONG_PROCESS, ZOLSTATS_WRONG_THREAD},
        "a connection and its result set belong to the thread that opened it. Walk a copy, or open a connection "
        "in this thread."},
    Advice{
        {ZOLSTATS_NOT_A_COPY, ZOLSTATS_NO_BUFFER, ZOLSTATS_WRONG_CONTENT, ZOLSTATS_NO_IDS},
        "the result set is not what the call needs. -110 from a query means that an earlier answer could not get "
        "memory; close the connection."},
    Advice{
        {ZOLSTATS_NO_MORE_ITEMS},
        "not an error. For each 0 before it look at queryElementRC: a negative one says that the Gateway rejected "
        "that part of the query."},
    Advice{
        {ZOLSTATS_NO_MEMORY},
        "an id list of more than 32765 bytes gives this code, too: ask for fewer at a time. Otherwise free some "
        "memory and try again."},
    Advice{
        {ZOLSTATS_LIST_LOCK_FAILED, ZOLSTATS_TRACE_LOCK_FAILED},
        "the library could not be initialised, for want of memory or of another resource of the system; the next "
        "call tries again."},
    Advice{{ZOLSTATS_LIST_LIMIT}, "256 connections were closed; call again for the others."},
    Advice{{ZOLSTATS_TRACE_FILE_FAILED},
           "the trace goes on where it went. The reason (errno) stands in it: look at the file's folder and "
           "permissions."},
};

bool concerns(const Advice& advice, int number) {
    return std::find(advice.codes.begin(), advice.codes.end(), number) != advice.codes.end();
}

}  // namespace

std::span<const ReturnCode> allReturnCodes() {
    return ALL_CODES;
}

const ReturnCode* findReturnCode(const std::string& text) {
    int number = 0;
    const char* end = text.data() + text.size();
    const auto [rest, problem] = std::from_chars(text.data(), end, number);
    const bool isNumber = problem == std::errc() && rest == end;
    const auto* found = std::find_if(ALL_CODES.begin(), ALL_CODES.end(), [&](const ReturnCode& code) {
        return isNumber ? code.number == number || -code.number == number : text == code.name;
    });
    return found != ALL_CODES.end() ? found : nullptr;
}

const char* adviceFor(const ReturnCode& code) {
    const auto* found = std::find_if(ADVICE.begin(), ADVICE.end(),
                                     [&](const Advice& advice) { return concerns(advice, code.number); });
    return found != ADVICE.end() ? found->text : "";
}

}  // namespace tools::zolstat
