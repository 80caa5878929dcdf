#include <gtest/gtest.h>

#include <limits>

#include "Proc/Filters/Filters/CutItemMap.h"
#include "contracts/Core/Exception.h"
#include "tests/support/CutSupport.h"

// The cut list, its mapping of times, and what it makes of one item.

namespace Tarsel::CutTest {
namespace {

using Proc::CutItemMap;
using Settings = Proc::SettingsFilterCutController;
constexpr int64 LAST = std::numeric_limits<int64>::max();

TEST(CutSettings, EmptyListIsOneKeptInterval) {
    Settings const settings;
    EXPECT_TRUE(settings.CutsAreAbsent());
    ASSERT_EQ(settings.GetOptIntervalsCount(), 1U);
    EXPECT_EQ(settings.GetOptInterval(0), (Settings::Interval{0, LAST, false}));
}

TEST(CutSettings, IntervalsAreAPartitionOfTheTimeLine) {
    Settings const middle = Cuts({{1 * SECOND, 5 * SECOND}});
    ASSERT_EQ(middle.GetOptIntervalsCount(), 3U);
    EXPECT_EQ(middle.GetOptInterval(0), (Settings::Interval{0, 1 * SECOND, false}));
    EXPECT_EQ(middle.GetOptInterval(1), (Settings::Interval{1 * SECOND, 5 * SECOND, true}));
    EXPECT_EQ(middle.GetOptInterval(2), (Settings::Interval{5 * SECOND, LAST, false}));
    Settings const front(0, 1500000, NO_VALUE, false);
    ASSERT_EQ(front.GetOptIntervalsCount(), 2U);
    EXPECT_EQ(front.GetOptInterval(0), (Settings::Interval{0, 1500000, true}));
    EXPECT_EQ(front.GetOptInterval(1), (Settings::Interval{1500000, LAST, false}));
    EXPECT_EQ(MessageOf<Proc::ProcException>([&] { front.GetOptInterval(2); }), "There is no interval 2, there are 2");
}

TEST(CutSettings, RangesAreSortedMergedSwappedAndClamped) {
    EXPECT_EQ(Cuts({{50, 60}, {10, 20}, {20, 30}, {55, 70}}), Cuts({{10, 30}, {50, 70}}));
    EXPECT_EQ(Cuts({{10, 20}, {30, 40}, {15, 35}}), Cuts({{10, 40}}));
    EXPECT_EQ(Cuts({{20, 10}}), Cuts({{10, 20}}));
    EXPECT_EQ(Cuts({{7, 7}, {-20, -10}}), Settings());
    EXPECT_EQ(Cuts({{-20, 10}}), Cuts({{0, 10}}));
    EXPECT_EQ(Cuts({{5, NO_VALUE}}), Cuts({{5, LAST}}));
    EXPECT_EQ(Cuts({{NO_VALUE, 5}}), Cuts({{0, 5}}));
    EXPECT_EQ(Cuts({{5, LAST}}).GetOptIntervalsCount(), 2U);
    EXPECT_EQ(Cuts({{0, LAST}}).GetOptIntervalsCount(), 1U);
    EXPECT_FALSE(Cuts({{0, LAST}}).CutsAreAbsent());
}

TEST(CutSettings, AddIntervalRemovesWhateverItsFlagSays) {
    EXPECT_EQ(Settings(10, 20, 7, true), Settings(10, 20, NO_VALUE, false));
}

TEST(CutSettings, CutPointMapsToTheFirstKeptTimeAndRemovedTimesToTheCut) {
    Settings const settings = Cuts({{10, 20}, {30, 50}});
    EXPECT_EQ(settings.Result2Source(9), 9);
    EXPECT_EQ(settings.Result2Source(10), 20);
    EXPECT_EQ(settings.Result2Source(20), 50);
    EXPECT_EQ(settings.Source2Result(15), 10);
    EXPECT_EQ(settings.Source2Result(30), 20);
    EXPECT_EQ(settings.Source2Result(50), 20);
    EXPECT_EQ(Cuts({{10, LAST}}).Result2Source(10), LAST);
    EXPECT_EQ(Cuts({{10, LAST}}).Source2Result(LAST), 10);
}

TEST(CutSettings, NoValueInIsNoValueOut) {
    Settings const settings = Cuts({{0, 20}});
    EXPECT_EQ(settings.Result2Source(NO_VALUE), NO_VALUE);
    EXPECT_EQ(settings.Source2Result(NO_VALUE), NO_VALUE);
    EXPECT_EQ(settings.GetIntervalEndTime(NO_VALUE), NO_VALUE);
    EXPECT_EQ(settings.GetIntervalIndex(NO_VALUE), -1);
    EXPECT_FALSE(settings.IsPointDeleted(NO_VALUE));
}

TEST(CutSettings, TimesBelowZeroFollowTheFirstInterval) {
    EXPECT_TRUE(Cuts({{0, 20}}).IsPointDeleted(-21333));
    EXPECT_EQ(Cuts({{0, 20}}).Source2Result(-21333), 0);
    EXPECT_EQ(Cuts({{0, 20}}).Result2Source(-5), 20);
    EXPECT_FALSE(Cuts({{5, 20}}).IsPointDeleted(-21333));
    EXPECT_EQ(Cuts({{5, 20}}).Source2Result(-21333), -21333);
    EXPECT_EQ(Cuts({{5, 20}}).Result2Source(-21333), -21333);
}

/// Every list of up to two ranges over a short time line, against counting microseconds one by one.
TEST(CutSettings, AllQueriesAgreeWithCountingOverAllShortLists) {
    constexpr int LINE = 9;
    for (int a = 0; a < LINE; ++a)
        for (int b = a + 1; b <= LINE; ++b)
            for (int c = 0; c < LINE; ++c)
                for (int d = c; d <= LINE; ++d) {
                    Settings const settings = Cuts({{a, b}, {c, d}});
                    auto const removed = [&](int64 t) { return (a <= t && t < b) || (c <= t && t < d); };
                    int64 kept = 0;
                    for (int64 t = 0; t <= LINE + 2; ++t) {
                        ASSERT_EQ(settings.IsPointDeleted(t), removed(t)) << a << b << c << d << " at " << t;
                        ASSERT_EQ(settings.Source2Result(t), kept);
                        auto const& interval =
                            settings.GetOptInterval(static_cast<uint32>(settings.GetIntervalIndex(t)));
                        ASSERT_TRUE(interval.start <= t && t < interval.end);
                        ASSERT_EQ(settings.GetIntervalEndTime(t), interval.end);
                        if (!removed(t)) {
                            ASSERT_EQ(settings.Result2Source(kept), t);
                            ++kept;
                        }
                    }
                }
}

TEST(CutSettings, PropertyFormIsARoundTrip) {
    for (Settings const& settings : {Settings(), Cuts({{0, 10}}), Cuts({{5, 7}, {100, LAST}})}) {
        Core::Property const property = Proc::Settings2Property(settings);
        EXPECT_EQ(property.Name(), Settings::CLASS_ID);
        EXPECT_EQ(Proc::Property2SettingsCutController(property), settings);
    }
    EXPECT_EQ(Settings().GetClassId(), Settings::CLASS_ID);
}

TEST(CutSettings, WrongPropertiesAreRefusedByName) {
    Core::Property unknown(Settings::CLASS_ID);
    unknown.Add(Core::Property("Range"));
    EXPECT_EQ(MessageOf<Core::CoreException>([&] { Proc::Property2SettingsCutController(unknown); }),
              "A cut list has no child \"Range\"");
    Core::Property open(Settings::CLASS_ID);
    open.Add(Core::Property("Interval").SetChild("Start", int64{1}));
    EXPECT_EQ(MessageOf<Core::CoreException>([&] { Proc::Property2SettingsCutController(open); }),
              "Property \"Interval\" has no child \"End\"");
}

// --- One item --------------------------------------------------------------------------------------------------------

/// All items of up to 7 samples at all places, under all lists of up to two ranges: the samples that are left are those
/// whose time is kept, in order, and the time is that of the first of them.
TEST(CutItemMap, KeepsExactlyTheKeptSamplesUnderAllBoundaryCombinations) {
    constexpr int LINE = 8;
    for (int a = 0; a < LINE; ++a)
        for (int b = a + 1; b <= LINE; ++b)
            for (int c = 0; c < LINE; ++c)
                for (int d = c; d <= LINE; ++d)
                    for (int start = -2; start < LINE; ++start)
                        for (int length = 1; length <= 7; ++length) {
                            Settings const settings = Cuts({{a, b}, {c, d}});
                            // One sample a microsecond.
                            CutItemMap const map(settings, start, length);
                            std::vector<int> expected;
                            for (int t = start; t < start + length; ++t)
                                if (!settings.IsPointDeleted(t)) expected.push_back(t);
                            ASSERT_EQ(map.IsRemoved(), expected.empty())
                                << a << "," << b << " " << c << "," << d << " item " << start << "+" << length;
                            if (expected.empty()) continue;
                            auto block = MakeBlock(start, length, start, 1000000);
                            map.Apply(*block);
                            ASSERT_EQ(block->GetTime(), settings.Source2Result(start));
                            ASSERT_EQ(block->GetDuration(), static_cast<int64>(expected.size()));
                            ASSERT_EQ(block->GetSampleCount(), static_cast<int>(expected.size()));
                            auto const* const data = reinterpret_cast<std::int16_t const*>(block->GetBlob()->GetData());
                            for (std::size_t i = 0; i < expected.size(); ++i) ASSERT_EQ(data[i], expected[i]);
                        }
}

TEST(CutItemMap, ItemOfNoOrUnknownLengthIsAPoint) {
    Settings const settings = Cuts({{10, 20}});
    for (int64 const length : {int64{0}, NO_VALUE}) {
        EXPECT_TRUE(CutItemMap(settings, 10, length).IsRemoved());
        CutItemMap const kept(settings, 25, length);
        ASSERT_FALSE(kept.IsRemoved());
        auto frame = MakeFrame(25, length, 1);
        kept.Apply(*frame);
        EXPECT_EQ(frame->GetTime(), 15);
        EXPECT_EQ(frame->GetDuration(), length);
    }
    CutItemMap const timeless(settings, NO_VALUE, 5);
    EXPECT_FALSE(timeless.IsRemoved());
    EXPECT_FALSE(timeless.HasTime());
}

}  // namespace
}  // namespace Tarsel::CutTest
