#include "host/digest/ComparisonReport.h"

#include <gmock/gmock.h>

#include <limits>

#include "contracts/Core/Time.h"
#include "tests/support/RecordedItems.h"

namespace Tarsel::Host {
namespace {

using namespace Tarsel::Test;
using ::testing::HasSubstr;

/// A second between the items.
RecordedItems Seconds(std::string const& letters) {
    return Scene(letters, 0, SECOND);
}

std::string Text(RecordedItems const& first, RecordedItems const& second, std::size_t shown = ComparisonReport::FEW) {
    auto const one = MakeRecord({{3, first}});
    auto const other = MakeRecord({{3, second}});
    return ComparisonReport(one, other).ToText(shown);
}

TEST(ComparisonReport, JsonHasExactlyThePromisedKeysInTheirOrder) {
    auto const first = MakeRecord({{-1, Seconds("abc")}, {2, Seconds("abcdef")}, {5, Seconds("a")}});
    auto const second = MakeRecord({{-1, Seconds("abc")}, {2, Seconds("axbdef")}, {7, {{"b", NO_VALUE}}}});
    EXPECT_EQ(R"({
  "equal": false,
  "nodes": [
    {
      "id": -1,
      "equal": true,
      "missing": 0,
      "extra": 0,
      "moved": 0,
      "first_difference": null
    },
    {
      "id": 2,
      "equal": false,
      "missing": 1,
      "extra": 1,
      "moved": 1,
      "first_difference": {
        "index": 1,
        "time_us": 1000000
      }
    },
    {
      "id": 5,
      "equal": false,
      "missing": 1,
      "extra": 0,
      "moved": 0,
      "first_difference": {
        "index": 0,
        "time_us": 0
      }
    },
    {
      "id": 7,
      "equal": false,
      "missing": 0,
      "extra": 1,
      "moved": 0,
      "first_difference": {
        "index": 0,
        "time_us": null
      }
    }
  ]
})",
              ComparisonReport(first, second).ToJson());
}

TEST(ComparisonReport, JsonOfEqualRecordsSaysSo) {
    Proc::GraphCRCData const empty;
    EXPECT_EQ("{\n  \"equal\": true,\n  \"nodes\": []\n}", ComparisonReport(empty, empty).ToJson());
}

TEST(ComparisonReport, TheFirstDifferenceOfAnExtraItemIsItsPlaceInTheSecondRecord) {
    // Behind two moved ahead of it the places differ; here the extra one is the first difference.
    auto const first = MakeRecord({{1, Seconds("abcd")}});
    auto const second = MakeRecord({{1, Seconds("abc") + RecordedItems{{"x", 2500000}} + Scene("d", 3 * SECOND)}});
    EXPECT_THAT(ComparisonReport(first, second).ToJson(), HasSubstr("\"index\": 3,\n        \"time_us\": 2500000"));
    EXPECT_THAT(ComparisonReport(second, first).ToJson(), HasSubstr("\"index\": 3,\n        \"time_us\": 2500000"));
}

TEST(ComparisonReport, EqualRecordsAreOneLine) {
    auto const record = MakeRecord({{1, Seconds("abc")}, {2, Seconds("ab")}});
    EXPECT_EQ("equal: 2 nodes, 5 items\n", ComparisonReport(record, record).ToText());
    EXPECT_EQ("equal: 0 nodes, 0 items\n", ComparisonReport({}, {}).ToText());
}

TEST(ComparisonReport, EachNodeThatDiffersIsALineWithItsFirstDifferences) {
    auto const first = MakeRecord({{1, Seconds("abc")}, {3, Seconds("abcdef")}});
    auto const second = MakeRecord({{1, Seconds("abc")}, {3, Seconds("abxcdef")}});
    EXPECT_EQ(
        "different: 1 of 2 nodes\n"
        "node 3: 6 and 7 items: 1 extra, 4 moved; first difference at item 2 of the second (2.000000 s)\n"
        "  extra: item 2 of the second (2.000000 s, x)\n"
        "  moved: item 2 (2.000000 s, c) to 3.000000 s, item 3 of the second\n"
        "  moved: item 3 (3.000000 s, d) to 4.000000 s, item 4 of the second\n"
        "  moved: item 4 (4.000000 s, e) to 5.000000 s, item 5 of the second\n"
        "  moved: item 5 (5.000000 s, f) to 6.000000 s, item 6 of the second\n",
        ComparisonReport(first, second).ToText());
}

TEST(ComparisonReport, AnItemWithAnotherDigestIsOneLine) {
    EXPECT_EQ(
        "different: 1 of 1 node\n"
        "node 3: 4 and 3 items: 2 missing, 1 extra; first difference at item 1 (1.000000 s)\n"
        "  changed: item 1 (1.000000 s, b) to x, item 1 of the second\n"
        "  missing: item 3 (3.000000 s, d)\n",
        Text(Seconds("abcd"), Seconds("axc")));
}

TEST(ComparisonReport, AnItemThatIsFoundElsewhereHasNotChangedIntoItself) {
    EXPECT_EQ(
        "different: 1 of 1 node\n"
        "node 3: 2 and 2 items: 1 missing, 1 extra; first difference at item 0 (0.000000 s)\n"
        "  missing: item 0 (0.000000 s, X)\n"
        "  extra: item 1 of the second (0.000000 s, X)\n",
        Text({{"X", 0}, {"Y", 0}}, {{"Y", 0}, {"X", 0}}));
}

TEST(ComparisonReport, ItemsWithoutTimesThatChangedAreToldOneByOne) {
    EXPECT_EQ(
        "different: 1 of 1 node\n"
        "node 3: 6 and 6 items: 3 missing, 3 extra; first difference at item 2 (no time)\n"
        "  changed: item 2 (no time, c) to x, item 2 of the second\n"
        "  changed: item 3 (no time, d) to y, item 3 of the second\n"
        "  changed: item 4 (no time, e) to z, item 4 of the second\n",
        Text(Scene("abcdef", NO_VALUE, 0), Scene("abxyzf", NO_VALUE, 0)));
}

TEST(ComparisonReport, WhatIsNotShownIsCountedInLines) {
    EXPECT_THAT(Text(Seconds("abcdefgh"), Seconds("stuvwxyz")), HasSubstr("\n  and 3 more differences (--all shows"));
    EXPECT_THAT(Text(Seconds("abcdef"), Seconds("uvwxyz")), HasSubstr("\n  and 1 more difference (--all shows them)"));
    EXPECT_THAT(Text(Seconds("abcde"), Seconds("vwxyz")), ::testing::Not(HasSubstr("more")));
}

TEST(ComparisonReport, FewDifferencesOfEachNodeAreShownUnlessMoreAreAskedFor) {
    auto const first = Seconds("abcdefgh");
    auto const second = Scene("abcdefgh", 500, SECOND);
    EXPECT_THAT(Text(first, second), HasSubstr("moved: item 4 (4.000000 s, e) to 4.000500 s, item 4 of the second\n"
                                               "  and 3 more differences (--all shows them)\n"));
    EXPECT_THAT(Text(first, second, 1), HasSubstr("moved: item 0 (0.000000 s, a) to 0.000500 s, item 0 of the second\n"
                                                  "  and 7 more differences (--all shows them)\n"));
    std::string const all = Text(first, second, std::numeric_limits<std::size_t>::max());
    EXPECT_THAT(all, HasSubstr("moved: item 7 (7.000000 s, h) to 7.000500 s, item 7 of the second\n"));
    EXPECT_THAT(all, ::testing::Not(HasSubstr("more")));
}

TEST(ComparisonReport, TimesAreToldToTheMicrosecond) {
    constexpr int64 LATEST = std::numeric_limits<int64>::max();
    EXPECT_THAT(Text({{"a", NO_VALUE}}, {{"a", LATEST}}), HasSubstr("(no time, a) to 9223372036854.775807 s"));
    EXPECT_THAT(Text({{"a", NO_VALUE + 1}}, {{"a", -1}}), HasSubstr("(-9223372036854.775807 s, a) to -0.000001 s"));
}

TEST(ComparisonReport, NamesThatDifferAreToldAndAreNoDifference) {
    auto first = MakeRecord({{1, Seconds("ab")}});
    auto second = first;
    first.SetSourceGraphFileName("trim.json");
    second.SetSourceGraphFileName("trim-cached.json");
    second.SetSourceMediaFileName("film.mp4");
    EXPECT_EQ(
        "other graph: trim.json, then trim-cached.json\n"
        "other media: (not told), then film.mp4\n"
        "equal: 1 node, 2 items\n",
        ComparisonReport(first, second).ToText());
    EXPECT_TRUE(ComparisonReport(first, second).IsEqual());
}

TEST(ComparisonReport, DigestsAndNamesOfAnyKindStayOnTheirLine) {
    std::string const text = Text({{"a\nb\x1b", 0}}, {{std::string(63, 'x') + "ü and more", 0}});
    EXPECT_THAT(text, HasSubstr("changed: item 0 (0.000000 s, a?b?) to " + std::string(63, 'x') + "..., item 0"));
    auto first = MakeRecord({});
    first.SetSourceGraphFileName("a\nb");
    EXPECT_THAT(ComparisonReport(first, {}).ToText(), HasSubstr("other graph: a?b, then (not told)\n"));
}

}  // namespace
}  // namespace Tarsel::Host
