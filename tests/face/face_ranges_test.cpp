// Answers as ranges: what the concepts say of them, and algorithms and views of the standard library at work on them.
// What the items are is tested in face_query_test.cpp. What each call promises stands in zolstats.hpp.
#include <algorithm>
#include <numeric>
#include <ranges>

#include "face.h"

namespace {

using namespace face;
using testing::ElementsAre;

template <class Range, class Item>
concept WalksOnce =
    std::ranges::input_range<Range> && std::ranges::input_range<const Range> &&
    !std::ranges::forward_range<Range> &&
    !std::ranges::common_range<Range> && std::same_as<std::ranges::range_value_t<Range>, Item> &&
    std::same_as<std::ranges::range_reference_t<Range>, const Item&> &&
    std::copyable<std::ranges::iterator_t<Range>>;

static_assert(WalksOnce<Statistics, Statistic> && WalksOnce<Identifiers, Identifier>);
static_assert(WalksOnce<StatisticSet, Statistic> && WalksOnce<IdentifierSet, Identifier>);
static_assert(std::ranges::view<Statistics> && std::ranges::view<Identifiers>);
static_assert(!std::ranges::view<StatisticSet> && !std::ranges::view<IdentifierSet>);
static_assert(std::ranges::borrowed_range<Statistics> && std::ranges::borrowed_range<Identifiers>);
static_assert(!std::ranges::borrowed_range<StatisticSet>);
static_assert(std::ranges::viewable_range<StatisticSet> && std::ranges::viewable_range<StatisticSet&>);
static_assert(std::copyable<Statistics> && std::movable<StatisticSet> && !std::copyable<StatisticSet>);
static_assert(std::is_trivially_copyable_v<Statistic> && std::is_trivially_copyable_v<Identifier>);

class Ranges : public Connected {};

template <class Answer>
void expectAlgorithmsToWork(const Answer& answer) {
    EXPECT_EQ(std::ranges::distance(answer), 3);
    EXPECT_EQ(std::ranges::count(answer, "22", &Statistic::value), 1);
    EXPECT_EQ(std::ranges::find(answer, "T1", &Statistic::id)->value, "33");
    EXPECT_EQ(std::ranges::find(answer, "NONE", &Statistic::id), answer.end());
    EXPECT_TRUE(std::ranges::none_of(answer, &Statistic::rejected));
    std::vector<std::string> ids;
    std::ranges::transform(answer, std::back_inserter(ids),
                           [](const auto& item) { return std::string(item.id); });
    EXPECT_THAT(ids, ElementsAre("S1", "S2", "T1"));
}

TEST_F(Ranges, OfConnectionsWorkWithAlgorithms) {
    expectAlgorithmsToWork(connection_.statistics());
}

TEST_F(Ranges, OfCopiesWorkWithAlgorithms) {
    expectAlgorithmsToWork(connection_.statistics().copy());
}

TEST_F(Ranges, OfConnectionsLendTheirIteratorsToAlgorithmsOnTemporaries) {
    EXPECT_EQ(std::ranges::find(connection_.statistics(), "S2", &Statistic::id)->value, "22");
}

TEST_F(Ranges, KeepTheirTextsWhileTheResultLives) {
    const Statistics answer = connection_.statistics();
    std::vector<Statistic> items;
    std::ranges::copy(answer, std::back_inserter(items));
    std::ranges::reverse(items);
    ASSERT_EQ(items.size(), 3U);
    EXPECT_EQ(items[0].value, "33");
    EXPECT_EQ(items[2].value, "11");
}

// Up to version 15 clang cannot compile the adaptors of this standard library, whatever they are put on.
#if !defined(__clang_major__) || __clang_major__ >= 16

int numberOf(const Statistic& statistic) {
    return std::stoi(std::string(statistic.value));
}

template <class Answer>
std::vector<int> largeNumbersOf(Answer&& answer) {
    std::vector<int> numbers;
    std::ranges::copy(std::forward<Answer>(answer) | std::views::transform(numberOf) |
                          std::views::filter([](int number) { return number > 11; }),
                      std::back_inserter(numbers));
    return numbers;
}

TEST_F(Ranges, OfConnectionsWorkWithViews) {
    const Statistics answer = connection_.statistics();
    EXPECT_THAT(largeNumbersOf(answer), ElementsAre(22, 33));
    EXPECT_THAT(largeNumbersOf(connection_.statistics()), ElementsAre(22, 33));
}

TEST_F(Ranges, OfCopiesWorkWithViews) {
    const StatisticSet copy = connection_.statistics().copy();
    EXPECT_THAT(largeNumbersOf(copy), ElementsAre(22, 33));
    EXPECT_THAT(largeNumbersOf(connection_.statistics().copy()), ElementsAre(22, 33));
}

TEST_F(Ranges, CanBeProjectedOntoMembers) {
    std::vector<std::string> words;
    for (const std::string_view id : connection_.statistics() | std::views::transform(&Statistic::id)) {
        words.emplace_back(id);
    }
    for (const std::string_view group :
         connection_.groups().copy() | std::views::transform(&Identifier::id)) {
        words.emplace_back(group);
    }
    EXPECT_THAT(words, ElementsAre("S1", "S2", "T1", "G1", "G2"));
}

TEST_F(Ranges, CanBeTakenInPart) {
    std::vector<std::string> ids;
    for (const Identifier& id : connection_.statisticIds() | std::views::drop(1) | std::views::take(1)) {
        ids.emplace_back(id.id);
    }
    EXPECT_THAT(ids, ElementsAre("S2"));
}

TEST_F(Ranges, WorkWithAlgorithmsThatWantTwoIteratorsOfAKind) {
    auto numbers = connection_.statistics() | std::views::transform(numberOf) | std::views::common;
    EXPECT_EQ(std::accumulate(numbers.begin(), numbers.end(), 0), 66);
}

TEST_F(Ranges, AreCaughtInViewsWhenTheyAreStale) {
    auto numbers = connection_.statistics() | std::views::transform(numberOf);
    connection_.groups();
    EXPECT_TRUE(throwsStale([&] { numbers.begin(); }));
}

#endif

}  // namespace
