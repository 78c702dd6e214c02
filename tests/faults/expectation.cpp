// Step by step through an outcome: opening, the six queries, closing.
// Which fault leads to which expectation is not known here.
// What the calls give after a failure is written down in docs/return-codes.md.
#include "expectation.h"

#include <gmock/gmock.h>

namespace faults {
namespace {

using Codes = std::vector<int>;

bool isOpening(std::size_t exchange) {
    return exchange < OPENING_EXCHANGES;
}

Codes codesOf(Fate fate, std::size_t exchange) {
    const bool connecting = exchange < CONNECTING_EXCHANGES;
    switch (fate) {
        case Fate::AsUsual:
        case Fate::Changed:
            return {ZOLSTATS_OK};
        case Fate::Fails:
            return {connecting ? ZOLSTATS_CONNECT_FAILED : ZOLSTATS_EXCHANGE_FAILED};
        case Fate::Lost:
            return connecting ? Codes{ZOLSTATS_CONNECT_FAILED}
                              : Codes{ZOLSTATS_EXCHANGE_FAILED, ZOLSTATS_CONNECTION_LOST};
        case Fate::Misread:
            return {ZOLSTATS_OK, ZOLSTATS_EXCHANGE_FAILED};
        case Fate::Misframed:
            break;
    }
    return isOpening(exchange) ? Codes{ZOLSTATS_OK, ZOLSTATS_CONNECT_FAILED, ZOLSTATS_EXCHANGE_FAILED,
                                       ZOLSTATS_CONNECTION_LOST}
                               : Codes{ZOLSTATS_OK, ZOLSTATS_EXCHANGE_FAILED, ZOLSTATS_CONNECTION_LOST};
}

void flip(std::string& text, const Expectation& expected) {
    text.at(expected.value.at) = static_cast<char>(text.at(expected.value.at) ^ expected.mask);
}

std::vector<Item> changed(std::vector<Item> items, const Expectation& expected) {
    for (std::size_t item = expected.value.firstItem; item <= expected.value.lastItem; ++item) {
        flip(items.at(item).*expected.value.text, expected);
    }
    return items;
}

class Judging {
  public:
    Judging(const Outcome& got, const Outcome& healthy, const Expectation& expected)
        : got_(got), healthy_(healthy), expected_(expected) {}

    void opening() const {
        const Fate fate = isOpening(expected_.exchange) ? expected_.fate : Fate::AsUsual;
        EXPECT_THAT(codesOf(fate, expected_.exchange), testing::Contains(got_.openRc));
        if (got_.openRc != 0 || fate == Fate::Misread || fate == Fate::Misframed) {
            return;
        }
        std::string version = healthy_.version;
        if (fate == Fate::Changed) {
            flip(version, expected_);
        }
        EXPECT_EQ(got_.version, version);
    }

    void query(std::size_t index) {
        const Answer& answer = got_.answers.at(index);
        if (!open_) {
            EXPECT_EQ(answer.rc, ZOLSTATS_TOKEN_NOT_FOUND);
            return;
        }
        const Fate fate = fateOf(index);
        EXPECT_THAT(codesOf(fate, OPENING_EXCHANGES), testing::Contains(answer.rc));
        if (answer.rc == 0) {
            items(answer, healthy_.answers.at(index), fate);
        }
        open_ = answer.rc == 0 || QUERIES.at(index).keepsConnection;
    }

    void closing() const { EXPECT_EQ(got_.closeRc, open_ ? ZOLSTATS_OK : ZOLSTATS_TOKEN_NOT_FOUND); }

  private:
    [[nodiscard]] Fate fateOf(std::size_t index) const {
        const std::size_t first = OPENING_EXCHANGES + 2 * index;
        if (expected_.exchange >= first + 2) {
            return Fate::AsUsual;
        }
        return expected_.exchange >= first ? expected_.fate : expected_.later;
    }

    void items(const Answer& answer, const Answer& healthy, Fate fate) const {
        if (fate != Fate::Misread) {
            EXPECT_EQ(answer.items,
                      fate == Fate::Changed ? changed(healthy.items, expected_) : healthy.items);
        }
    }

    const Outcome& got_;
    const Outcome& healthy_;
    const Expectation& expected_;
    bool open_ = true;
};

// ---- What a changed byte leads to

Expectation expectLength(const Flip& flip) {
    const auto told = static_cast<std::int32_t>(wordAt(flip.damaged, bodyLengthAt(flip.reply)));
    const auto right = static_cast<std::int32_t>(wordAt(flip.reply, bodyLengthAt(flip.reply)));
    if (told <= 0 && right == 0) {
        return {flip.exchange};
    }
    return told > right ? Expectation{flip.exchange, Fate::Fails, Fate::Lost}
                        : Expectation{flip.exchange, Fate::Misframed, Fate::Misframed};
}

// A name that is longer than the request's is refused.
Expectation expectNameLength(const Flip& flip) {
    return wordAt(flip.damaged, NAME_LENGTH_AT) > wordAt(flip.reply, NAME_LENGTH_AT)
               ? Expectation{flip.exchange, Fate::Fails, Fate::Misframed}
               : Expectation{flip.exchange, Fate::Misframed, Fate::Misframed};
}

Expectation expectCallType(const Flip& flip) {
    const bool noPayload = wordAt(flip.damaged, bodyLengthAt(flip.reply) + 4) == 0;
    return {flip.exchange, noPayload ? Fate::Fails : Fate::AsUsual};
}

}  // namespace

Expectation expectationOf(const Flip& flip) {
    switch (flip.byte.role) {
        case Role::Ignored:
            return {flip.exchange};
        case Role::Eyecatcher:
            return {flip.exchange, Fate::Fails, Fate::Misframed};
        case Role::Refusal:
            return {flip.exchange, Fate::Fails};
        case Role::NameLength:
            return expectNameLength(flip);
        case Role::BodyLength:
            return expectLength(flip);
        case Role::CallType:
            return expectCallType(flip);
        case Role::Structure:
            return {flip.exchange, Fate::Misread};
        case Role::Value:
            break;
    }
    return {flip.exchange, Fate::Changed, Fate::AsUsual, flip.byte.value, flip.mask};
}

void judge(const Outcome& got, const Outcome& healthy, const Expectation& expected) {
    Judging judging(got, healthy, expected);
    judging.opening();
    if (got.openRc != 0) {
        return;
    }
    for (std::size_t index = 0; index < QUERIES.size(); ++index) {
        judging.query(index);
    }
    judging.closing();
}

}  // namespace faults
