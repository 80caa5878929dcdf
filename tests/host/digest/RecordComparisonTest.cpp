#include "host/digest/RecordComparison.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <limits>

#include "tests/support/Draw.h"
#include "tests/support/RecordedItems.h"

namespace Tarsel::Host {
namespace {

using namespace Tarsel::Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using Kind = ItemDifference::Kind;

constexpr int64 LATEST = std::numeric_limits<int64>::max();

NodeComparison Compare(RecordedItems const& first, RecordedItems const& second) {
    auto const comparison = CompareRecords(MakeRecord({{1, first}}), MakeRecord({{1, second}}));
    return comparison.nodes.empty() ? NodeComparison{} : comparison.nodes.at(0);
}

/// "-3" for item 3 that is missing, "+4" for the second's item 4 that is extra, "5>6" for 5 that moved and is 6 there;
/// "-3=+4" where the one is there in place of the other.
std::string Changes(RecordedItems const& first, RecordedItems const& second) {
    std::string text;
    for (ItemDifference const& difference : Compare(first, second).differences) {
        text += difference.kind == Kind::Extra && difference.isChange ? "=" : text.empty() ? "" : " ";
        if (difference.kind == Kind::Missing) text += "-" + std::to_string(*difference.first);
        if (difference.kind == Kind::Extra) text += "+" + std::to_string(*difference.second);
        if (difference.kind == Kind::Moved)
            text += std::to_string(*difference.first) + ">" + std::to_string(*difference.second);
    }
    return text;
}

/// Without the pairs.
std::string Differences(RecordedItems const& first, RecordedItems const& second) {
    std::string text = Changes(first, second);
    std::replace(text.begin(), text.end(), '=', ' ');
    return text;
}

// Plain cases.

TEST(RecordComparison, RecordsWithoutANodeAreEqual) {
    auto const comparison = CompareRecords({}, {});
    EXPECT_TRUE(comparison.IsEqual());
    EXPECT_THAT(comparison.nodes, IsEmpty());
}

TEST(RecordComparison, ARecordIsEqualToItself) {
    auto const record = MakeRecord({{-1, Scene("abc")}, {7, Scene("SSSS")}});
    auto const comparison = CompareRecords(record, record);
    EXPECT_TRUE(comparison.IsEqual());
    ASSERT_THAT(comparison.nodes, SizeIs(2));
    EXPECT_EQ(-1, comparison.nodes[0].id);
    EXPECT_EQ(3U, comparison.nodes[0].firstItems);
    EXPECT_EQ(3U, comparison.nodes[0].secondItems);
    EXPECT_EQ(7, comparison.nodes[1].id);
    EXPECT_THAT(comparison.nodes[1].differences, IsEmpty());
}

TEST(RecordComparison, NamesOfFilesAreNoDifference) {
    auto first = MakeRecord({{1, Scene("abc")}});
    auto const second = first;
    first.SetSourceGraphFileName("graph.json");
    first.SetSourceMediaFileName("film.mp4");
    EXPECT_TRUE(CompareRecords(first, second).IsEqual());
}

TEST(RecordComparison, ALostItemIsMissingAndNothingElseIs) {
    EXPECT_EQ("-2", Differences(Scene("abcdef"), Without(Scene("abcdef"), 2)));
    EXPECT_EQ("-0", Differences(Scene("abcdef"), Without(Scene("abcdef"), 0)));
    EXPECT_EQ("-5", Differences(Scene("abcdef"), Without(Scene("abcdef"), 5)));
}

TEST(RecordComparison, AnInsertedItemIsExtraAndNothingElseIs) {
    EXPECT_EQ("+3", Differences(Scene("abcdef"), With(Scene("abcdef"), 3, {"x", 25})));
    EXPECT_EQ("+0", Differences(Scene("abcdef"), With(Scene("abcdef"), 0, {"x", -5})));
    EXPECT_EQ("+6", Differences(Scene("abcdef"), With(Scene("abcdef"), 6, {"x", 60})));
}

TEST(RecordComparison, AnItemWithAnotherDigestIsMissingAndExtraSideBySide) {
    EXPECT_EQ("-2 +2", Differences(Scene("abcdef"), Scene("abxdef")));
    EXPECT_EQ("-0 +0 -1 +1 -2 +2", Differences(Scene("abc"), Scene("xyz")));
    NodeComparison const node = Compare(Scene("abcdef"), Scene("abxdef"));
    EXPECT_EQ(1U, node.missing);
    EXPECT_EQ(1U, node.extra);
    EXPECT_EQ(0U, node.moved);
    EXPECT_THAT(node.differences, ElementsAre(ItemDifference{Kind::Missing, 2, {}, 20, NO_VALUE, true},
                                              ItemDifference{Kind::Extra, {}, 2, 20, NO_VALUE, true}));
}

TEST(RecordComparison, AnItemAtAnotherTimeHasMoved) {
    auto second = Scene("abcdef");
    second[2].second = 21;
    EXPECT_EQ("2>2", Differences(Scene("abcdef"), second));
    NodeComparison const node = Compare(Scene("abcdef"), second);
    EXPECT_EQ(0U, node.missing);
    EXPECT_EQ(0U, node.extra);
    EXPECT_EQ(1U, node.moved);
    EXPECT_THAT(node.differences, ElementsAre(ItemDifference{Kind::Moved, 2, 2, 20, 21}));
}

TEST(RecordComparison, AnInsertedItemThatDelaysTheOthersIsExtraAndTheyHaveMoved) {
    EXPECT_EQ("+2 2>3 3>4 4>5 5>6", Differences(Scene("abcdef"), Scene("abxcdef")));
    EXPECT_EQ("-2 3>2 4>3 5>4", Differences(Scene("abcdef"), Scene("abdef")));
}

TEST(RecordComparison, WhatIsLeftOverAtOnePlaceGoesByItsTimes) {
    RecordedItems const first{{"a", 0}, {"b", 10}, {"c", 30}, {"z", 50}};
    RecordedItems const second{{"a", 0}, {"x", 5}, {"y", 20}, {"v", 30}, {"z", 50}};
    EXPECT_EQ("+1 -1 +2 -2 +3", Differences(first, second));
}

// Items of one place that stand for each other.

TEST(ChangedItems, TimesThatGoBackBelongToEachOtherInTheirOrder) {
    RecordedItems const first{{"a", 0}, {"b", 80}, {"c", 40}, {"d", 20}, {"e", 160}};
    RecordedItems const second{{"a", 0}, {"x", 80}, {"y", 40}, {"z", 20}, {"e", 160}};
    EXPECT_EQ("-1=+1 -2=+2 -3=+3", Changes(first, second));
}

TEST(ChangedItems, WithoutTimesAsManyBelongToEachOtherInTheirOrder) {
    RecordedItems const first = Scene("abcdef", NO_VALUE, 0);
    EXPECT_EQ("-2=+2 -3=+3 -4=+4", Changes(first, Scene("abxyzf", NO_VALUE, 0)));
}

TEST(ChangedItems, WithoutTimesMoreOrFewerBelongToNoneOfTheOthers) {
    RecordedItems const first = Scene("abcdef", NO_VALUE, 0);
    EXPECT_EQ("-2 -3 -4 +2 +3", Changes(first, Scene("abxyf", NO_VALUE, 0)));
}

TEST(ChangedItems, OneWithoutATimeAmongOthersIsNoReasonToMissThem) {
    RecordedItems const first{{"a", 0}, {"b", 10}, {"c", NO_VALUE}, {"d", 30}, {"e", 40}};
    RecordedItems const second{{"a", 0}, {"x", 10}, {"z", 30}, {"e", 40}};
    EXPECT_EQ("-1=+1 -2 -3=+2", Changes(first, second));
}

TEST(ChangedItems, EqualTimesBelongToEachOtherInTheirOrder) {
    RecordedItems const first{{"a", 0}, {"b", 10}, {"c", 10}, {"d", 10}, {"e", 20}};
    RecordedItems const second{{"a", 0}, {"x", 10}, {"y", 10}, {"z", 10}, {"e", 20}};
    EXPECT_EQ("-1=+1 -2=+2 -3=+3", Changes(first, second));
}

TEST(ChangedItems, TheSameItemInAnotherOrderIsNoChange) {
    EXPECT_EQ("-0 +1", Changes({{"X", 0}, {"Y", 0}}, {{"Y", 0}, {"X", 0}}));
}

TEST(ChangedItems, ALostItemAndANewOneAtOtherPlacesAreNoChange) {
    RecordedItems first;
    for (int i = 0; i < 100; ++i) first.emplace_back(std::to_string(i), NO_VALUE);
    EXPECT_EQ("-0 +99", Changes(first, With(Without(first, 0), 99, {"new", NO_VALUE})));
}

TEST(ChangedItems, AmongLostAndNewOnesThoseOfOneTimeFindEachOther) {
    RecordedItems const first{{"a", 0}, {"b", 80}, {"c", 40}, {"d", 20}, {"e", 160}};
    RecordedItems const second{{"a", 0}, {"x", 80}, {"z", 20}, {"e", 160}};
    EXPECT_EQ("-1=+1 -2 -3=+2", Changes(first, second));
    EXPECT_EQ("-1=+1 +2 -2=+3", Changes(second, first));
    EXPECT_EQ("-0 -1=+0 -2=+1 +2", Changes(Scene("abc"), Scene("xyz", 10)));
}

TEST(RecordComparison, ItemsOfANodeThatTheOtherRecordDoesNotHaveAreAllMissingOrExtra) {
    auto const comparison = CompareRecords(MakeRecord({{1, Scene("ab")}, {2, Scene("cd")}}),
                                           MakeRecord({{2, Scene("cd")}, {3, Scene("efg")}}));
    EXPECT_FALSE(comparison.IsEqual());
    ASSERT_THAT(comparison.nodes, SizeIs(3));
    EXPECT_EQ(1, comparison.nodes[0].id);
    EXPECT_EQ(2U, comparison.nodes[0].missing);
    EXPECT_EQ(0U, comparison.nodes[0].extra);
    EXPECT_EQ(0U, comparison.nodes[0].secondItems);
    EXPECT_TRUE(comparison.nodes[1].IsEqual());
    EXPECT_EQ(3, comparison.nodes[2].id);
    EXPECT_EQ(0U, comparison.nodes[2].missing);
    EXPECT_EQ(3U, comparison.nodes[2].extra);
    EXPECT_EQ(3U, comparison.nodes[2].secondItems);
}

TEST(RecordComparison, ItemsWithoutATimeAreComparedLikeOthers) {
    RecordedItems const timeless{{"a", NO_VALUE}, {"b", NO_VALUE}, {"b", NO_VALUE}, {"c", NO_VALUE}};
    EXPECT_EQ("", Differences(timeless, timeless));
    EXPECT_EQ("-2", Differences(timeless, Without(timeless, 1))) << "the later of two that can't be told apart";
    EXPECT_EQ("0>0 1>1 2>2 3>3", Differences(timeless, Scene("abbc")));
    EXPECT_EQ("0>0 1>1 2>2 3>3", Differences(Scene("abbc"), timeless));
}

TEST(RecordComparison, AHundredthOfManyItemsWithRepeatedDigestsIsMissingAndNothingElseIs) {
    TestSupport::Draw draw(3);
    RecordedItems first;
    RecordedItems second;
    for (int i = 0; i < 30000; ++i) {
        first.emplace_back(std::to_string(draw.Below(100)), NO_VALUE);
        if (i % 100 != 50) second.push_back(first.back());
    }
    NodeComparison const node = Compare(first, second);
    EXPECT_EQ(300U, node.missing);
    EXPECT_EQ(0U, node.extra);
    EXPECT_EQ(0U, node.moved);
}

TEST(RecordComparison, TimesAtTheEndsOfAllTimeAreTimes) {
    RecordedItems const first{{"a", NO_VALUE + 1}, {"b", LATEST}, {"c", 0}};
    RecordedItems const second{{"a", LATEST}, {"b", NO_VALUE + 1}, {"c", NO_VALUE}};
    EXPECT_EQ("0>0 1>1 2>2", Differences(first, second));
    EXPECT_EQ("-1", Differences(first, Without(first, 1)));
}

// Scenes in which nothing moves: many items have one digest.

TEST(StillScene, TheItemThatIsLostIsNamedByItsTime) {
    auto const scene = Scene("aSSSSSSSSb");
    for (std::size_t lost = 1; lost < 9; ++lost)
        EXPECT_EQ("-" + std::to_string(lost), Differences(scene, Without(scene, lost)));
}

TEST(StillScene, TheItemThatIsInsertedIsNamedByItsTime) {
    auto const scene = Scene("aSSSSSSSSb");
    for (std::size_t place = 1; place < 10; ++place)
        EXPECT_EQ("+" + std::to_string(place),
                  Differences(scene, With(scene, place, {"S", static_cast<int64>(place) * 10 - 5})));
}

TEST(StillScene, OneLostAndOneInsertedAtOtherTimesLeaveTheRestInPlace) {
    auto const scene = Scene("SSSSSSSSSSSS");
    EXPECT_EQ("-3 +8", Differences(scene, With(Without(scene, 3), 8, {"S", 85})));
    EXPECT_EQ("+4 -9", Differences(scene, With(Without(scene, 9), 4, {"S", 35})));
}

TEST(StillScene, ALostItemWithOneMoreAtTheEndIsThatAndNoMove) {
    auto const scene = Scene("SSSSSSSS");
    EXPECT_EQ("-3 +7", Differences(scene, Without(Scene("SSSSSSSSS"), 3)));
}

TEST(StillScene, AnInsertedItemWithinThatDelaysTheRestIsOneExtra) {
    EXPECT_EQ("+4 4>5 5>6", Differences(Scene("aSSSbc"), Scene("aSSSSbc")));
}

TEST(StillScene, ALostItemWithinThatBringsTheRestForwardIsOneMissing) {
    EXPECT_EQ("-4 5>4 6>5", Differences(Scene("aSSSSbc"), Scene("aSSSbc")));
}

TEST(StillScene, AnItemInsertedAheadMovesTheSceneAndItsNeighboursAreNotMistakenForIt) {
    // But for the first of them, items of the scene have the time that another one had.
    EXPECT_EQ("+1 1>2 2>3 3>4 4>5 5>6 6>7 7>8", Differences(Scene("abSSSScd"), Scene("axbSSSScd")));
    EXPECT_EQ("-1 2>1 3>2 4>3 5>4 6>5 7>6 8>7", Differences(Scene("axbSSSScd"), Scene("abSSSScd")));
}

TEST(StillScene, ASceneAtTheEndThatMovedIsNotMistakenEither) {
    EXPECT_EQ("+1 1>2 2>3 3>4 4>5 5>6", Differences(Scene("abSSSS"), Scene("axbSSSS")));
}

TEST(StillScene, ASceneAtTheBeginningThatMovedIsNotMistakenEither) {
    EXPECT_EQ("0>0 1>1 2>2 3>3 4>4", Differences(Scene("SSSab"), Scene("SSSab", 10)));
}

TEST(StillScene, TheItemThatIsLostWhereTimesHaveMovedIsStillNamed) {
    // "x" delays all by one place; behind that the third "S" is lost, and what follows keeps its time.
    auto const second = Without(Scene("axbSSSScd"), 5);
    EXPECT_EQ("+1 1>2 2>3 3>4 -4 5>5 6>6 7>7", Differences(Scene("abSSSScd"), second));
    // And the other way round.
    EXPECT_EQ("-1 2>1 3>2 4>3 +4 5>5 6>6 7>7", Differences(second, Scene("abSSSScd")));
}

TEST(StillScene, TwoScenesWithOneLostItemEach) {
    auto const scenes = Scene("aSSSSbTTTTc");
    EXPECT_EQ("-2 -7", Differences(scenes, Without(Without(scenes, 7), 2)));
}

TEST(StillScene, SilenceThatStartsLaterHasMoved) {
    EXPECT_EQ("0>0 1>1 2>2 3>3 4>4 5>5 6>6 7>7", Differences(Scene("SSSSSSSS"), Scene("SSSSSSSS", 40)));
}

TEST(StillScene, TwiceAsManyItemsOfHalfTheLengthKeepThoseAtEqualTimes) {
    EXPECT_EQ("+1 +3 +5 +7", Differences(Scene("SSSS"), Scene("SSSSSSSS", 0, 5)));
    EXPECT_EQ("-1 -3 -5 -7", Differences(Scene("SSSSSSSS", 0, 5), Scene("SSSS")));
}

TEST(StillScene, TimesThatWereRoundedHaveMovedOneByOne) {
    auto second = Scene("aSSSb");
    for (std::size_t i = 0; i < second.size(); ++i) second[i].second += i % 2 == 0 ? 1 : -1;
    EXPECT_EQ("0>0 1>1 2>2 3>3 4>4", Differences(Scene("aSSSb"), second));
}

// Records with seeks in them: times go back, and what is read again stands in the record twice.

TEST(RecordComparison, ReadingsBehindSeeksKeepTheirPlaces) {
    auto const run = Scene("f", 50) + Scene("abcdef") + Scene("cdef", 20) + Scene("abcdef");
    EXPECT_EQ("", Differences(run, run));
    for (std::size_t lost = 0; lost < run.size(); ++lost)
        EXPECT_EQ("-" + std::to_string(lost), Differences(run, Without(run, lost))) << lost;
}

TEST(RecordComparison, LossesInSeveralReadingsAreEachNamed) {
    auto const run = Scene("abcdefgh") + Scene("abcdefgh") + Scene("abcdefgh");
    EXPECT_EQ("-2 -13 -20", Differences(run, Without(Without(Without(run, 20), 13), 2)));
    EXPECT_EQ("-1 -2 +6", Differences(run, With(Without(Without(run, 2), 1), 6, {"x", 5})));
}

TEST(RecordComparison, AReadingMoreIsExtraAsAWhole) {
    auto const once = Scene("abcd");
    EXPECT_EQ("+4 +5 +6 +7", Differences(once, once + once));
    EXPECT_EQ("-4 -5 -6 -7", Differences(once + once, once));
}

TEST(RecordComparison, SilenceThatIsReadTwiceKeepsItsPlaces) {
    auto const run = Scene("SSSSSS") + Scene("SSSSSS");
    for (std::size_t lost = 0; lost < run.size(); ++lost)
        EXPECT_EQ("-" + std::to_string(lost), Differences(run, Without(run, lost))) << lost;
}

TEST(RecordComparison, ItemsThatChangedPlacesAreAMoveAndAReplacement) {
    EXPECT_EQ("-1 2>1 +2", Differences(Scene("abcd"), Scene("acbd")));
}

}  // namespace
}  // namespace Tarsel::Host
