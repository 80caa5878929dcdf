#include "Proc/Filters/Filters/FilterDurationTrimmerSubtitle.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <typeinfo>

#include "contracts/Proc/SettingsFilterLoop.h"
#include "tests/support/Builders.h"
#include "tests/support/LogLines.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

iptr<FilterDurationTrimmerSubtitle> MakeTrimmer(iptr<IStreamSubtitle> const& source, int64 duration) {
    auto filter = MakeShared<FilterDurationTrimmerSubtitle>(source);
    filter->Initialize(SettingsFilterDurationTrimmer(duration));
    return filter;
}

std::vector<iptr<IDataSubtitle>> ReadFrom(IStreamSubtitle& stream, int64 position) {
    Seek(stream, position);
    return ReadAll(stream);
}

TEST(FilterDurationTrimmerSubtitle, EventsAreCutAtBothEndsAndNothingIsFilledIn) {
    auto const source =
        ScriptedSubtitle::Create({MakeSubtitle(0, 100), MakeSubtitle(150, 100), MakeSubtitle(400, 200)});
    EXPECT_THAT(ReadFrom(*MakeTrimmer(source, 450), 0),
                ElementsAre(IsSubtitle(0, 100), IsSubtitle(150, 100), IsSubtitle(400, 50)));
    EXPECT_THAT(ReadFrom(*MakeTrimmer(source, 450), 60),
                ElementsAre(IsSubtitle(60, 40), IsSubtitle(150, 100), IsSubtitle(400, 50)));
    EXPECT_THAT(ReadFrom(*MakeTrimmer(source, 5000), 300), ElementsAre(IsSubtitle(400, 200)));
}

TEST(FilterDurationTrimmerSubtitle, EventsBehindTheEndAreReadUntilTheSourceEnds) {
    auto const source = ScriptedSubtitle::Create({MakeSubtitle(0, 100), MakeSubtitle(500, 10), MakeSubtitle(90, 30),
                                                  MakeSubtitle(600, 10), nullptr, MakeSubtitle(95, 1)});
    auto const filter = MakeTrimmer(source, 100);
    EXPECT_THAT(ReadFrom(*filter, 0), ElementsAre(IsSubtitle(0, 100), IsSubtitle(90, 10)));
    // The end stays: the source isn't asked again.
    source->log.Take();
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_THAT(source->log.Take(), IsEmpty());
    EXPECT_EQ(ReadFrom(*filter, 0).size(), 2U);
}

TEST(FilterDurationTrimmerSubtitle, ItemsWithoutATimeOrDurationAreLeftOutAndLogged) {
    LogLines const log(21);
    auto const source = ScriptedSubtitle::Create(
        {MakeSubtitle(5, 5), MakeSubtitle(NO_VALUE, 10), MakeSubtitle(10, NO_VALUE), MakeSubtitle(20, 10)});
    EXPECT_THAT(ReadFrom(*MakeTrimmer(source, 100), 0), ElementsAre(IsSubtitle(5, 5), IsSubtitle(20, 10)));
    EXPECT_EQ(log.Count("Data from decoder has no pts or duration and will be skipped: "), 2U);
}

TEST(FilterDurationTrimmerSubtitle, EmptySourceGivesNull) {
    EXPECT_THAT(ReadFrom(*MakeTrimmer(ScriptedSubtitle::Create({}), 100), 0), IsEmpty());
}

TEST(FilterDurationTrimmerSubtitle, EventsThatOthersHoldAreNotWrittenInto) {
    auto const source = ScriptedSubtitle::Create({MakeSubtitle(0, 100), MakeSubtitle(150, 100)});
    auto const cache = MakeShared<ScriptedFilter<IStreamSubtitle>>(source);
    std::vector<iptr<IDataSubtitle>> held;
    cache->onRead = [&] {
        auto item = source->Read();
        if (item) held.push_back(item);
        return item;
    };
    auto const events = ReadFrom(*MakeTrimmer(cache, 200), 0);
    EXPECT_THAT(events, ElementsAre(IsSubtitle(0, 100), IsSubtitle(150, 50)));
    EXPECT_THAT(held, ElementsAre(IsSubtitle(0, 100), IsSubtitle(150, 100)));
    EXPECT_EQ(events[0], held[0]);
}

TEST(FilterDurationTrimmerSubtitle, FailuresAreThoseOfAllTrimmers) {
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { FilterDurationTrimmerSubtitle filter(nullptr); }),
              "parentStream is NULL.");
    auto const source = ScriptedSubtitle::Create({MakeSubtitle(0, 100)});
    auto const filter = MakeTrimmer(source, 0);
    EXPECT_EQ(MessageOf<Exception>([&] { filter->Read(); }),
              "There was no initial seek before reading! Check application logic!");
    Seek(*filter, 0);
    EXPECT_EQ(MessageOf<Exception>([&] { filter->Read(); }), "Duration is out of (0, MAX_DURATION]");
    EXPECT_THROW(filter->Initialize(SettingsFilterLoop()), std::bad_cast);
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->GetSettings(); }), "Method not implemented");
    LogLines const log(21);
    source->log.Take();
    filter->Initialize(Core::Property("Anything"));
    EXPECT_THAT(source->log.Take(), ElementsAre("Initialize(Anything)"));
    EXPECT_TRUE(log.Has("Deprecated method FilterDurationTrimmerSubtitle::Initialize is used"));
}

TEST(FilterDurationTrimmerSubtitle, ReadingAfterASeekIsReadingStraightThroughWithTheFirstEventsCut) {
    for (unsigned seed = 1; seed <= 200; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        auto const any = [&](int64 from, int64 to) { return std::uniform_int_distribution<int64>(from, to)(random); };
        std::vector<iptr<IDataSubtitle>> events;
        int64 end = 0;
        for (int64 i = 0, count = any(0, 12); i < count; ++i) {
            int64 const begin = end + any(0, 50);
            end = begin + any(1, 60);
            events.push_back(MakeSubtitle(begin, end - begin));
        }
        auto const filter = MakeTrimmer(ScriptedSubtitle::Create(events), any(1, end + 40));
        auto const straight = ReadFrom(*filter, 0);
        for (int seeks = 0; seeks < 5; ++seeks) {
            int64 const position = any(0, filter->GetDuration());
            auto const after = ReadFrom(*filter, position);
            std::size_t next = 0;
            for (auto const& event : straight) {
                if (event->GetTime() + event->GetDuration() <= position) continue;
                ASSERT_LT(next, after.size());
                int64 const cut = std::max<int64>(position - event->GetTime(), 0);
                EXPECT_THAT(after[next++], IsSubtitle(event->GetTime() + cut, event->GetDuration() - cut));
            }
            EXPECT_EQ(next, after.size());
        }
    }
}

TEST(FilterDurationTrimmerSubtitle, LengthFormatStatisticsAndVisitor) {
    auto const source = ScriptedSubtitle::Create({MakeSubtitle(0, 100), MakeSubtitle(500, 100)});
    auto const filter = MakeTrimmer(source, 200);
    EXPECT_EQ(filter->GetDuration(), 200);
    EXPECT_EQ(filter->GetFormatCodec(), source->format);
    ReadFrom(*filter, 0);
    EXPECT_EQ(filter->GetStatistic().Children().back(),
              Core::MakeStatistics("Tarsel::Proc::FilterDurationTrimmerSubtitle::GetStatistic", 0, 1));
    Visitors::InfoCollector names;
    Visitors::FrameTypeCollector types;
    filter->Accept(names);
    filter->Accept(types);
    EXPECT_THAT(names.names, ElementsAre("FilterDurationTrimmerSubtitle", "ScriptedStream"));
    EXPECT_THAT(types.frameTypes, ElementsAre(5, 5));
}

}  // namespace
}  // namespace Tarsel::Proc
