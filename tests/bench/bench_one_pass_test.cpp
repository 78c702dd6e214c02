// The parser of the ideal column reads what the stand-in Gateway's encoder writes, and nothing beyond it.
#include "one_pass.h"

#include <gmock/gmock.h>

#include "items.h"
#include "wire.h"

namespace {

using namespace bench;

std::string encoded(const std::vector<Item>& items) {
    gateway::StatsResponse response{nameOf(items.size())};
    for (const Item& item : items) {
        response.statistics.push_back({item.id, item.value});
    }
    return gateway::encodeStats({response});
}

// Call data with what the parser may read behind it.
class CallData {
  public:
    explicit CallData(std::string bytes) : bytes_(std::move(bytes)), length_(bytes_.size()) {
        bytes_.append(PackedItems::READ_AHEAD, '\0');
    }
    [[nodiscard]] std::string_view firstBytes(std::size_t length) const { return {bytes_.data(), length}; }
    [[nodiscard]] std::string_view all() const { return firstBytes(length_); }

  private:
    std::string bytes_;
    std::size_t length_;
};

std::vector<Item> walked(const PackedItems& packed) {
    std::vector<Item> items;
    packed.walk([&](std::string_view id, std::string_view value) {
        items.push_back({std::string(id), std::string(value)});
    });
    return items;
}

TEST(BenchOnePass, ReadsWhatTheGatewayWrites) {
    for (const std::size_t count : {1U, 2U, 10U, 1000U}) {
        const std::vector<Item> items = makeItems(count);
        const CallData callData(encoded(items));
        PackedItems packed;
        packed.parse(callData.all());
        EXPECT_EQ(sumOf<Digest>(walked(packed)), sumOf<Digest>(items)) << count;
    }
}

TEST(BenchOnePass, ReadsIdsAndValuesOfAllShortLengths) {
    for (std::size_t length = 0; length < 100; ++length) {
        const std::vector<Item> items{{std::string(length, 'i'), std::string(100 - length, 'v')}, {"id", ""}};
        const CallData callData(encoded(items));
        PackedItems packed;
        packed.parse(callData.all());
        EXPECT_EQ(sumOf<Digest>(walked(packed)), sumOf<Digest>(items)) << length;
    }
}

TEST(BenchOnePass, ReadsOneAnswerAfterTheOther) {
    PackedItems packed;
    for (const std::size_t count : {100U, 10U, 1000U}) {
        const CallData callData(encoded(makeItems(count)));
        packed.parse(callData.all());
        EXPECT_EQ(walked(packed).size(), count);
    }
}

TEST(BenchOnePass, RefusesWhatEndsEarly) {
    const CallData callData(encoded(makeItems(3)));
    constexpr std::size_t END_MARK = 1;  // of the response; nobody looks at it
    for (std::size_t length = 0; length < callData.all().size() - END_MARK; ++length) {
        PackedItems packed;
        EXPECT_THROW(packed.parse(callData.firstBytes(length)), std::runtime_error) << length;
    }
}

TEST(BenchOnePass, RefusesLongValues) {
    const CallData callData(encoded({{"id", std::string(300, 'v')}}));
    PackedItems packed;
    EXPECT_THROW(packed.parse(callData.all()), std::runtime_error);
}

}  // namespace
