#include "host/digest/SequenceAligner.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <numeric>
#include <random>

#include "tests/support/Draw.h"

namespace Tarsel::Host {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using TestSupport::Draw;
using Names = std::vector<u32>;
using Pairs = std::vector<AlignedPair>;

Pairs Align(Names const& first, Names const& second, u32 names) {
    Pairs pairs;
    SequenceAligner(first, second, names)
        .Align({0, static_cast<u32>(first.size()), 0, static_cast<u32>(second.size())}, pairs);
    return pairs;
}

/// How much the two have in common, by the plain table.
std::size_t CommonLength(Names const& first, Names const& second) {
    std::vector<std::size_t> row(second.size() + 1);
    for (u32 const name : first) {
        std::size_t diagonal = 0;
        for (std::size_t j = 0; j < second.size(); ++j) {
            std::size_t const above = row[j + 1];
            row[j + 1] = name == second[j] ? diagonal + 1 : std::max(above, row[j]);
            diagonal = above;
        }
    }
    return row.back();
}

void ExpectPairsOfEqualNamesInOrder(Pairs const& pairs, Names const& first, Names const& second) {
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        ASSERT_LT(pairs[i].first, first.size());
        ASSERT_LT(pairs[i].second, second.size());
        ASSERT_EQ(first[pairs[i].first], second[pairs[i].second]);
        if (i == 0) continue;
        ASSERT_LT(pairs[i - 1].first, pairs[i].first);
        ASSERT_LT(pairs[i - 1].second, pairs[i].second);
    }
}

Names DrawNames(Draw& draw, std::size_t count, u32 names) {
    Names sequence(count);
    for (u32& name : sequence) name = draw.Below(names);
    return sequence;
}

TEST(SequenceAligner, NothingHasNothingInCommon) {
    EXPECT_THAT(Align({}, {}, 0), IsEmpty());
    EXPECT_THAT(Align({1, 2}, {}, 3), IsEmpty());
    EXPECT_THAT(Align({}, {1, 2}, 3), IsEmpty());
    EXPECT_THAT(Align({0, 1}, {2, 3}, 4), IsEmpty());
}

TEST(SequenceAligner, EqualOnesArePairedOneByOne) {
    EXPECT_THAT(Align({3, 1, 1}, {3, 1, 1}, 4), ElementsAre(AlignedPair{0, 0}, AlignedPair{1, 1}, AlignedPair{2, 2}));
}

TEST(SequenceAligner, AStretchLeavesTheRestAlone) {
    Names const first{9, 1, 2, 9};
    Names const second{9, 0, 2, 1, 2};
    Pairs pairs{{0, 0}};
    SequenceAligner(first, second, 10).Align({1, 3, 2, 5}, pairs);
    EXPECT_THAT(pairs, ElementsAre(AlignedPair{0, 0}, AlignedPair{1, 3}, AlignedPair{2, 4}));
}

TEST(SequenceAligner, SmallSequencesGiveAllThatIsCommon) {
    for (u32 seed = 1; seed <= 3000; ++seed) {
        Draw draw(seed);
        u32 const names = 1 + draw.Below(seed % 3 == 0 ? 40 : 5);
        Names const first = DrawNames(draw, draw.Below(31), names);
        Names const second = DrawNames(draw, draw.Below(31), names);
        Pairs const pairs = Align(first, second, names);
        ExpectPairsOfEqualNamesInOrder(pairs, first, second);
        ASSERT_EQ(CommonLength(first, second), pairs.size()) << "seed " << seed;
    }
}

TEST(SequenceAligner, SequencesWithoutRepeatsGiveAllThatIsCommon) {
    for (u32 seed = 1; seed <= 30; ++seed) {
        std::mt19937 random(seed);
        Names first(700);
        std::iota(first.begin(), first.end(), 0);
        Names second = first;
        std::shuffle(first.begin(), first.end(), random);
        std::shuffle(second.begin(), second.end(), random);
        first.resize(500);
        second.resize(seed * 20);
        Pairs const pairs = Align(first, second, 700);
        ExpectPairsOfEqualNamesInOrder(pairs, first, second);
        ASSERT_EQ(CommonLength(first, second), pairs.size()) << "seed " << seed;
    }
}

TEST(SequenceAligner, AFewDifferencesAmongManyRepeatsGiveAllThatIsCommon) {
    for (u32 seed = 1; seed <= 30; ++seed) {
        Draw draw(seed);
        Names const first = DrawNames(draw, 2000, 50);
        Names second = first;
        for (int i = 0; i < 20; ++i) {
            auto const place = second.begin() + draw.Below(static_cast<u32>(second.size()));
            if (draw.Flag())
                second.erase(place);
            else
                second.insert(place, draw.Below(50));
        }
        Pairs const pairs = Align(first, second, 50);
        ExpectPairsOfEqualNamesInOrder(pairs, first, second);
        ASSERT_EQ(CommonLength(first, second), pairs.size()) << "seed " << seed;
    }
}

TEST(SequenceAligner, ThousandsOfLostItemsAmongRepeatsLeaveAllOthersPaired) {
    struct Loss {
        std::size_t items;
        std::size_t every;
    };
    for (auto const& [items, every] : {Loss{30000, 100}, Loss{250000, 100}, Loss{30000, 10}}) {
        Draw draw(6);
        Names const first = DrawNames(draw, items, 100);
        Names second;
        for (std::size_t i = 0; i < items; ++i)
            if (i % every != every / 2) second.push_back(first[i]);
        Pairs const pairs = Align(first, second, 100);
        ExpectPairsOfEqualNamesInOrder(pairs, first, second);
        EXPECT_EQ(second.size(), pairs.size()) << items << ", every " << every;
    }
}

TEST(SequenceAligner, AStretchWithoutResemblanceAmongRepeatsCostsOnlyThatStretch) {
    Draw draw(7);
    Names const first = DrawNames(draw, 60000, 100);
    Names second = first;
    for (std::size_t i = 20000; i < 22000; ++i) second[i] = draw.Below(100);
    // Neither end may be common to both.
    second.front() = 100;
    second.back() = 101;
    Pairs const pairs = Align(first, second, 102);
    ExpectPairsOfEqualNamesInOrder(pairs, first, second);
    EXPECT_GT(pairs.size(), 57500U);
}

TEST(SequenceAligner, TooManyDifferencesAmongRepeatsStillGiveMostOfWhatIsCommon) {
    Draw draw(4);
    Names const first = DrawNames(draw, 6000, 200);
    Names const second = DrawNames(draw, 6000, 200);
    Pairs const pairs = Align(first, second, 200);
    ExpectPairsOfEqualNamesInOrder(pairs, first, second);
    EXPECT_GT(2 * pairs.size(), CommonLength(first, second));
}

TEST(SequenceAligner, LongSequencesOfFewNamesAreWalkedInBoundedSteps) {
    Draw draw(5);
    Names const first = DrawNames(draw, 200000, 2);
    Names const second = DrawNames(draw, 200000, 2);
    Pairs const pairs = Align(first, second, 2);
    ExpectPairsOfEqualNamesInOrder(pairs, first, second);
    EXPECT_GT(pairs.size(), 100000U);
}

TEST(LongestChain, IsTheLongestThatAscends) {
    EXPECT_THAT(LongestChain({}), IsEmpty());
    EXPECT_THAT(LongestChain({{0, 4}, {1, 0}, {2, 1}, {5, 3}, {6, 2}}), SizeIs(3));
    for (u32 seed = 1; seed <= 500; ++seed) {
        std::mt19937 random(seed);
        Names seconds(seed % 12);
        std::iota(seconds.begin(), seconds.end(), 0);
        Names const ascending = seconds;
        std::shuffle(seconds.begin(), seconds.end(), random);
        Pairs pairs;
        for (u32 const second : seconds) pairs.push_back({static_cast<u32>(pairs.size()) * 2, second});
        Pairs const chain = LongestChain(pairs);
        for (std::size_t i = 1; i < chain.size(); ++i) {
            ASSERT_LT(chain[i - 1].first, chain[i].first);
            ASSERT_LT(chain[i - 1].second, chain[i].second);
        }
        for (AlignedPair const& pair : chain) ASSERT_THAT(pairs, ::testing::Contains(pair));
        ASSERT_EQ(CommonLength(seconds, ascending), chain.size()) << "seed " << seed;
    }
}

}  // namespace
}  // namespace Tarsel::Host
