// What a session may come to when one reply is damaged, and whether it has come to that.
// How replies are damaged is every_byte_test.cpp's business.
// What the calls give after a failure is written down in docs/return-codes.md.
#ifndef ZOLSTATS_TESTS_EXPECTATION_H
#define ZOLSTATS_TESTS_EXPECTATION_H

#include <cstddef>
#include <string>
#include <tuple>
#include <vector>

#include "reply_bytes.h"
#include "session.h"

namespace faults {

enum class Fate {
    AsUsual,
    Changed,   // succeeds, with one byte of one value changed
    Fails,     // as an exchange that failed
    Lost,      // as one that failed or that could no longer be sent
    Misread,   // fails, or succeeds with whatever items
    Misframed  // what follows belongs to something else: fails or is lost, but may succeed
};

struct Expectation {
    std::size_t exchange = CLOSING_EXCHANGE;  // the first that the fault can be seen in
    Fate fate = Fate::AsUsual;
    Fate later = Fate::AsUsual;  // of what follows, where the connection stays open
    Value value{};               // with Fate::Changed
    unsigned char mask = 0;
};

// A reply in which one byte was changed by exclusive or.
struct Flip {
    std::size_t exchange;
    const ReplyByte& byte;
    const std::string& reply;
    const std::string& damaged;
    unsigned char mask;
};
Expectation expectationOf(const Flip& flip);

// Hold an outcome to it, given what a healthy session comes to.
void judge(const Outcome& got, const Outcome& healthy, const Expectation& expected);

}  // namespace faults

#endif
