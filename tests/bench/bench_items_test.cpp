// The items and the sums that show whether all columns have seen the same ones.
#include "items.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <set>

namespace {

using namespace bench;

TEST(BenchItems, HaveTheUsualLengthsAndTheirOwnIds) {
    std::set<std::string> ids;
    for (const Item& item : makeItems(1000)) {
        EXPECT_EQ(item.id.size(), ID_LENGTH);
        EXPECT_EQ(item.value.size(), VALUE_LENGTH);
        ids.insert(item.id);
    }
    EXPECT_EQ(ids.size(), 1000U);
}

TEST(BenchItems, AreAlwaysTheSame) {
    EXPECT_EQ(sumOf<Digest>(makeItems(100)), sumOf<Digest>(makeItems(100)));
    EXPECT_NE(sumOf<Digest>(makeItems(100)), sumOf<Digest>(makeItems(101)));
}

TEST(BenchItems, ANameTellsHowManyThereAre) {
    EXPECT_EQ(countOf(nameOf(100000)), 100000U);
    EXPECT_EQ(countOf("elsewhere"), 0U);
    EXPECT_EQ(countOf("items_x"), 0U);
}

TEST(BenchItems, AWordSumReadsEveryByte) {
    for (std::size_t length = 0; length < 30; ++length) {
        std::string text(length, 'a');
        const std::uint64_t sum = wordSum(text);
        for (char& character : text) {
            character = 'b';
            EXPECT_NE(wordSum(text), sum);
            character = 'a';
        }
    }
}

template <class Sum>
class Sums : public testing::Test {
  protected:
    std::vector<Item> items_ = makeItems(10);
    const Sum sum_ = sumOf<Sum>(items_);
};
using BothSums = testing::Types<Checksum, Digest>;
TYPED_TEST_SUITE(Sums, BothSums, );

TYPED_TEST(Sums, DoNotDependOnTheOrder) {
    std::reverse(this->items_.begin(), this->items_.end());
    EXPECT_EQ(sumOf<TypeParam>(this->items_), this->sum_);
}

TYPED_TEST(Sums, NoticeAWrongByte) {
    this->items_[7].value[3] ^= 1;
    EXPECT_NE(sumOf<TypeParam>(this->items_), this->sum_);
}

TYPED_TEST(Sums, NoticeAMissingItem) {
    this->items_.pop_back();
    EXPECT_NE(sumOf<TypeParam>(this->items_), this->sum_);
}

TYPED_TEST(Sums, NoticeWhenIdAndValueAreExchanged) {
    std::swap(this->items_[2].id, this->items_[2].value);
    EXPECT_NE(sumOf<TypeParam>(this->items_), this->sum_);
}

TEST(BenchDigest, NoticesAValueBehindAnotherId) {
    std::vector<Item> items = makeItems(10);
    const auto sum = sumOf<Digest>(items);
    std::swap(items[2].value, items[3].value);
    EXPECT_NE(sumOf<Digest>(items), sum);
}

}  // namespace
