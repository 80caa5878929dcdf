#include "Proc/Filters/Filters/FilterFrameRate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <stdexcept>
#include <typeinfo>

#include "Proc/Filters/Filters/FrameGrid.h"
#include "tests/support/Builders.h"
#include "tests/support/LogLines.h"
#include "tests/support/Matchers.h"
#include "tests/support/OtherSettings.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using Details::FrameGrid;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int64 LARGEST = std::numeric_limits<int64>::max();

iptr<FilterFrameRate> MakeFilter(iptr<IStreamVideo> const& source, Ratio const& rate) {
    return MakeShared<FilterFrameRate>(source, SettingsFilterFrameRate(rate));
}

/// A source of these pictures that knows its duration.
iptr<ScriptedVideo> MakeSource(std::vector<iptr<IDataVideo>> const& frames, int64 duration) {
    auto source = ScriptedVideo::Create(frames);
    source->duration = duration;
    return source;
}

/// Which picture it is: the shade that its maker gave it.
int ShadeOf(IDataVideo const& frame) {
    return *frame.GetPlaneConst(0).GetOffsetPtr(0, 0);
}

std::vector<int> ShadesOf(std::vector<iptr<IDataVideo>> const& frames) {
    std::vector<int> shades;
    for (auto const& frame : frames) shades.push_back(ShadeOf(*frame));
    return shades;
}

/// `count` pictures at a regular rate, each ending where the next one begins, numbered by their shade.
std::vector<iptr<IDataVideo>> MakeRegular(int count, Ratio const& rate) {
    auto const at = [&](int64 index) { return AvRescale(index, rate.denominator() * SECOND, rate.numerator()); };
    std::vector<iptr<IDataVideo>> frames;
    for (int i = 0; i < count; ++i) frames.push_back(MakeVideo(at(i), at(i + 1) - at(i), static_cast<u8>(i)));
    return frames;
}

TEST(FrameGrid, SlotsBeginAtTheNearestMicrosecond) {
    FrameGrid const grid(Ratio(30000, 1001));
    EXPECT_EQ(grid.BeginOf(0), 0);
    EXPECT_EQ(grid.BeginOf(1), 33367);
    EXPECT_EQ(grid.BeginOf(2), 66733);
    EXPECT_EQ(grid.BeginOf(30), 1001000);
    EXPECT_EQ(FrameGrid(Ratio(2000000, 1)).BeginOf(1), 1) << "a half goes up";
    EXPECT_EQ(grid.SlotAt(33366), 0U);
    EXPECT_EQ(grid.SlotAt(33367), 1U);
    EXPECT_EQ(grid.SlotAt(66733), 1U) << "the exact begin lies behind the rounded one";
    EXPECT_EQ(grid.SlotAt(-1), 0U);
    EXPECT_EQ(grid.SlotAt(NO_VALUE), 0U);
}

TEST(FrameGrid, TermsOfAnySizeDoNotOverflow) {
    EXPECT_EQ(FrameGrid(Ratio(LARGEST, LARGEST - 1)).BeginOf(1), SECOND);
    EXPECT_EQ(FrameGrid(Ratio(LARGEST, LARGEST - 1)).SlotAt(SECOND * 5), 5U);
    EXPECT_EQ(FrameGrid(Ratio(1, LARGEST)).BeginOf(1), LARGEST);
    EXPECT_EQ(FrameGrid(Ratio(1, LARGEST)).BeginOf(std::numeric_limits<uint64>::max()), LARGEST);
    EXPECT_EQ(FrameGrid(Ratio(1, LARGEST)).SlotAt(LARGEST), 0U);
    EXPECT_EQ(FrameGrid(Ratio(LARGEST, 1)).SlotAt(LARGEST), static_cast<uint64>(LARGEST));
    EXPECT_EQ(FrameGrid(Ratio(LARGEST, 1)).BeginOf(static_cast<uint64>(LARGEST)), SECOND);
    EXPECT_EQ(FrameGrid(Ratio(1, 1)).BeginOf(static_cast<uint64>(LARGEST)), LARGEST);
}

/// What a conversion must give, found by looking at every picture for every slot.
struct Shown {
    int64 time;
    int64 duration;
    int shade;

    bool operator==(Shown const&) const = default;
};

std::ostream& operator<<(std::ostream& out, Shown const& shown) {
    return out << "picture " << shown.shade << " at " << shown.time << " for " << shown.duration;
}

std::vector<Shown> Model(std::vector<iptr<IDataVideo>> const& source, int64 total, int64 numerator, int64 denominator,
                         int64 position) {
    std::vector<Shown> result;
    auto const gridLine = [&](int64 slot) { return (2 * slot * denominator * SECOND + numerator) / (2 * numerator); };
    for (int64 slot = 0; gridLine(slot) < total; ++slot) {
        if (gridLine(slot + 1) <= position) continue;
        int64 const begin = std::max(gridLine(slot), position);
        int64 const end = std::min(gridLine(slot + 1), total);
        int64 longest = 0;
        int shade = -1;
        for (auto const& frame : source) {
            int64 const first = std::max(frame->GetTime(), begin);
            int64 const last = std::min(frame->GetTime() + frame->GetDuration(), end);
            if (last - first <= longest) continue;
            longest = last - first;
            shade = ShadeOf(*frame);
        }
        result.push_back({begin, end - begin, shade});
    }
    return result;
}

std::vector<Shown> ShownBy(IStreamVideo& stream) {
    std::vector<Shown> result;
    for (auto const& frame : ReadAll(stream))
        result.push_back({frame->GetTime(), frame->GetDuration(), ShadeOf(*frame)});
    return result;
}

struct Conversion {
    Ratio from;
    Ratio to;
};

std::ostream& operator<<(std::ostream& out, Conversion const& conversion) {
    return out << conversion.from << " to " << conversion.to;
}

class FilterFrameRateConversion : public testing::TestWithParam<Conversion> {};

TEST_P(FilterFrameRateConversion, GivesWhatTheModelGives) {
    auto const frames = MakeRegular(200, GetParam().from);
    int64 const total = frames.back()->GetTime() + frames.back()->GetDuration();
    auto const filter = MakeFilter(MakeSource(frames, total), GetParam().to);
    Seek(*filter, 0);
    auto const shown = ShownBy(*filter);
    EXPECT_EQ(shown, Model(frames, total, GetParam().to.numerator(), GetParam().to.denominator(), 0));
    EXPECT_EQ(shown.back().time + shown.back().duration, total);
    EXPECT_EQ(filter->Read(), nullptr);
}

TEST_P(FilterFrameRateConversion, ReadingAfterAnySeekOntoTheGridIsWhatReadingStraightThroughGives) {
    auto const frames = MakeRegular(200, GetParam().from);
    int64 const total = frames.back()->GetTime() + frames.back()->GetDuration();
    auto const filter = MakeFilter(MakeSource(frames, total), GetParam().to);
    Seek(*filter, 0);
    auto const straight = ShownBy(*filter);
    for (unsigned seed = 1; seed <= 60; ++seed) {
        std::mt19937 random(seed);
        auto const slot = static_cast<std::ptrdiff_t>(random() % straight.size());
        SCOPED_TRACE("seed " + std::to_string(seed) + ", slot " + std::to_string(slot));
        Seek(*filter, straight[static_cast<std::size_t>(slot)].time);
        ASSERT_EQ(ShownBy(*filter), std::vector<Shown>(straight.begin() + slot, straight.end()));
    }
}

TEST_P(FilterFrameRateConversion, BehindASeekOffTheGridOnlyTheFirstSlotIsShorter) {
    auto const frames = MakeRegular(200, GetParam().from);
    int64 const total = frames.back()->GetTime() + frames.back()->GetDuration();
    auto const filter = MakeFilter(MakeSource(frames, total), GetParam().to);
    for (unsigned seed = 1; seed <= 60; ++seed) {
        std::mt19937_64 random(seed);
        auto const position = static_cast<int64>(random() % static_cast<uint64>(total));
        SCOPED_TRACE("seed " + std::to_string(seed) + ", position " + std::to_string(position));
        Seek(*filter, position);
        ASSERT_EQ(ShownBy(*filter),
                  Model(frames, total, GetParam().to.numerator(), GetParam().to.denominator(), position));
    }
}

INSTANTIATE_TEST_SUITE_P(Rates, FilterFrameRateConversion,
                         testing::Values(Conversion{{30, 1}, {25, 1}}, Conversion{{25, 1}, {60, 1}},
                                         Conversion{{24000, 1001}, {25, 1}}, Conversion{{25, 1}, {25, 1}},
                                         Conversion{{30000, 1001}, {30000, 1001}}, Conversion{{60, 1}, {7, 3}},
                                         Conversion{{10, 1}, {60000, 1001}}));

TEST(FilterFrameRate, SameRateGivesEveryPictureOnce) {
    auto const filter = MakeFilter(MakeSource(MakeVideos(4, 40000), 160000), {25, 1});
    Seek(*filter, 0);
    auto const frames = ReadAll(*filter);
    EXPECT_THAT(frames,
                ElementsAre(IsVideo(0, 40000), IsVideo(40000, 40000), IsVideo(80000, 40000), IsVideo(120000, 40000)));
    EXPECT_THAT(ShadesOf(frames), ElementsAre(0, 1, 2, 3));
}

TEST(FilterFrameRate, SeekOntoAGridLineDoesNotReadTheSlotInFrontOfIt) {
    // The second line of 29.97 Hz is rounded down, below the exact begin of its slot.
    auto const source = MakeSource(MakeRegular(5, {30000, 1001}), 166833);
    auto const filter = MakeFilter(source, {30000, 1001});
    Seek(*filter, 66733);
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(66733)", "DoSeek"));
    auto const frames = ReadAll(*filter);
    EXPECT_THAT(frames, ElementsAre(IsVideo(66733, 33367), IsVideo(100100, 33367), IsVideo(133467, 33366)));
    EXPECT_THAT(ShadesOf(frames), ElementsAre(2, 3, 4));
}

TEST(FilterFrameRate, FirstFrameAfterASeekBeginsAtThePositionAndIsShorter) {
    auto const source = MakeSource(MakeVideos(4, 40000), 160000);
    auto const filter = MakeFilter(source, {25, 1});
    filter->RequestSeek(50000, source);
    filter->DoSeek();
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(40000, context)", "DoSeek"));
    EXPECT_EQ(filter->GetPosition(), 50000);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(50000, 30000), IsVideo(80000, 40000), IsVideo(120000, 40000)));
}

TEST(FilterFrameRate, SeekJustBeforeAGridLineGivesAFrameOfAMicrosecond) {
    auto const filter = MakeFilter(MakeSource(MakeVideos(3, 40000), 120000), {25, 1});
    Seek(*filter, 79999);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(79999, 1), IsVideo(80000, 40000)));
}

TEST(FilterFrameRate, SeekOntoAnEndThatLiesOffTheGridGivesOneFrameWithoutALength) {
    // A source that gives its last picture even at its very end.
    auto const source = MakeSource({MakeVideo(0, 40000, 1), MakeVideo(40000, 40000, 2)}, 70000);
    auto const filter = MakeFilter(source, {25, 1});
    Seek(*filter, 70000);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(70000, 0)));
    Seek(*filter, LARGEST);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(70000, 0))) << "the position is held to the duration";
}

TEST(FilterFrameRate, PositionsBelowZeroAreTheBeginning) {
    auto const source = MakeSource(MakeVideos(2, 40000), 80000);
    auto const filter = MakeFilter(source, {25, 1});
    for (int64 const position : {int64{-1}, -LARGEST, NO_VALUE}) {
        Seek(*filter, position);
        EXPECT_THAT(source->log.Take(), testing::Contains("RequestSeek(0)"));
        EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(0, 40000), IsVideo(40000, 40000)));
    }
}

TEST(FilterFrameRate, PictureThatCoversASlotWhollyIsChosenAndStaysForTheNextOne) {
    auto const source = MakeSource({MakeVideo(0, 100000, 1), MakeVideo(100000, 20000, 2)}, 120000);
    auto const filter = MakeFilter(source, {25, 1});
    Seek(*filter, 0);
    source->log.Take();
    auto const first = filter->Read();
    auto const second = filter->Read();
    EXPECT_THAT(source->log.Take(), ElementsAre("Read"));
    EXPECT_THAT(first, IsVideo(0, 40000));
    EXPECT_THAT(second, IsVideo(40000, 40000));
    EXPECT_NE(first, second);
    EXPECT_EQ(ShadeOf(*second), 1);
    auto const rest = ReadAll(*filter);
    EXPECT_THAT(rest, ElementsAre(IsVideo(80000, 40000)));
    EXPECT_THAT(ShadesOf(rest), ElementsAre(1)) << "a tie keeps the earlier picture";
}

TEST(FilterFrameRate, TieInOverlapKeepsTheEarlierPicture) {
    auto const filter =
        MakeFilter(MakeSource({MakeVideo(0, 20000, 1), MakeVideo(20000, 20000, 2), MakeVideo(40000, 13333, 3),
                               MakeVideo(53333, 13334, 4), MakeVideo(66667, 13333, 5)},
                              80000),
                   {25, 1});
    Seek(*filter, 0);
    EXPECT_THAT(ShadesOf(ReadAll(*filter)), ElementsAre(1, 4));
}

TEST(FilterFrameRate, PictureOutsideOfItsSlotLosesAgainstANearerOne) {
    // Reading lands early: what overlaps less than nothing is remembered, too, and loses.
    auto const filter = MakeFilter(
        MakeSource({MakeVideo(0, 10000, 1), MakeVideo(10000, 10000, 2), MakeVideo(100000, 20000, 3)}, 120000), {25, 1});
    Seek(*filter, 0);
    auto const frames = ReadAll(*filter);
    EXPECT_THAT(frames, ElementsAre(IsVideo(0, 40000), IsVideo(40000, 40000), IsVideo(80000, 40000)));
    EXPECT_THAT(ShadesOf(frames), ElementsAre(1, 3, 3));
}

TEST(FilterFrameRate, LastSlotIsCutAtTheSourcesDuration) {
    auto const filter = MakeFilter(MakeSource(MakeVideos(3, 40000), 110000), {25, 1});
    Seek(*filter, 0);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(0, 40000), IsVideo(40000, 40000), IsVideo(80000, 30000)));
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->GetDuration(), 110000);
}

TEST(FilterFrameRate, LastPictureStandsUntilTheSourcesDuration) {
    auto const filter = MakeFilter(MakeSource(MakeVideos(2, 40000), 190000), {25, 1});
    Seek(*filter, 0);
    auto const frames = ReadAll(*filter);
    EXPECT_THAT(frames, ElementsAre(IsVideo(0, 40000), IsVideo(40000, 40000), IsVideo(80000, 40000),
                                    IsVideo(120000, 40000), IsVideo(160000, 30000)));
    EXPECT_THAT(ShadesOf(frames), ElementsAre(0, 1, 1, 1, 1));
    // There the source has nothing to give any more, so that a seek into it gives nothing either.
    Seek(*filter, 120000);
    EXPECT_THAT(ReadAll(*filter), IsEmpty());
}

TEST(FilterFrameRate, EmptySourceGivesNothing) {
    for (int64 const duration : {int64{0}, int64{100000}, NO_VALUE}) {
        auto const filter = MakeFilter(MakeSource({}, duration), {25, 1});
        Seek(*filter, 0);
        EXPECT_EQ(filter->Read(), nullptr);
        EXPECT_EQ(filter->Read(), nullptr);
        EXPECT_EQ(filter->GetPosition(), NO_VALUE);
    }
}

TEST(FilterFrameRate, SourceOfUnknownDurationEndsWithTheSlotOfItsLastPicture) {
    auto const whole = MakeFilter(ScriptedVideo::Create(MakeVideos(2, 40000)), {25, 1});
    Seek(*whole, 0);
    EXPECT_EQ(whole->GetDuration(), NO_VALUE);
    EXPECT_THAT(ReadAll(*whole), ElementsAre(IsVideo(0, 40000), IsVideo(40000, 40000)));
    EXPECT_EQ(whole->Read(), nullptr);

    auto const broken = MakeFilter(ScriptedVideo::Create(MakeVideos(2, 30000)), {25, 1});
    Seek(*broken, 0);
    EXPECT_THAT(ReadAll(*broken), ElementsAre(IsVideo(0, 40000), IsVideo(40000, 40000)));

    auto const still = MakeFilter(ScriptedVideo::Create({MakeVideo(0, NO_VALUE)}), {25, 1});
    EXPECT_THAT(ReadAll(*still), ElementsAre(IsVideo(0, 40000)));
}

TEST(FilterFrameRate, PicturesWithoutATimeAreNeverChosenOverOthers) {
    auto const filter = MakeFilter(MakeSource({MakeVideo(NO_VALUE, 40000, 1), MakeVideo(0, NO_VALUE, 2),
                                               MakeVideo(10000, 30000, 3), MakeVideo(NO_VALUE, NO_VALUE, 4)},
                                              80000),
                                   {25, 1});
    // No seek: the script would begin behind them.
    auto const frames = ReadAll(*filter);
    EXPECT_THAT(frames, ElementsAre(IsVideo(0, 40000), IsVideo(40000, 40000)));
    EXPECT_THAT(ShadesOf(frames), ElementsAre(3, 3));
    auto const timeless =
        MakeFilter(MakeSource({MakeVideo(NO_VALUE, 40000), MakeVideo(NO_VALUE, 40000)}, 80000), {25, 1});
    EXPECT_THAT(ReadAll(*timeless), ElementsAre(IsVideo(0, 40000), IsVideo(40000, 40000)));
}

TEST(FilterFrameRate, EndThatIsSetFromOutsideStopsTheSearchForAPicture) {
    auto const endless = MakeShared<ScriptedFilter<IStreamVideo>>(MakeSource({}, 80000));
    auto const filter = MakeFilter(endless, {25, 1});
    int reads = 0;
    endless->onRead = [&] {
        if (++reads == 5) filter->SetEndOfStream();
        return MakeVideo(0, 0);
    };
    Seek(*filter, 0);
    EXPECT_THAT(filter->Read(), IsVideo(0, 40000));
    EXPECT_EQ(reads, 5);
}

TEST(FilterFrameRate, SlotsWithoutALengthOfRatesAboveAMegahertzEndAtTheDuration) {
    auto const filter = MakeFilter(MakeSource({MakeVideo(0, 2)}, 2), {2000000, 1});
    Seek(*filter, 0);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(0, 1), IsVideo(1, 0), IsVideo(1, 1)));
}

TEST(FilterFrameRate, RatesOfAnySizeWork) {
    auto const slow = MakeFilter(MakeSource(MakeVideos(2, 40000), 80000), {1, LARGEST});
    Seek(*slow, 0);
    EXPECT_THAT(ReadAll(*slow), ElementsAre(IsVideo(0, 80000)));
    auto const odd = MakeFilter(MakeSource(MakeVideos(2, SECOND), 2 * SECOND), {LARGEST, LARGEST - 1});
    Seek(*odd, 0);
    EXPECT_THAT(ReadAll(*odd), ElementsAre(IsVideo(0, SECOND), IsVideo(SECOND, SECOND)));
    Seek(*odd, SECOND);
    EXPECT_THAT(ReadAll(*odd), ElementsAre(IsVideo(SECOND, SECOND)));
}

TEST(FilterFrameRate, SlotsBeyondThirtyTwoBitsDoNotComeRound) {
    int64 const position = 5000 * SECOND;
    auto const filter = MakeFilter(MakeSource({MakeVideo(0, position + 3)}, position + 3), {SECOND, 1});
    Seek(*filter, position);
    EXPECT_THAT(ReadAll(*filter),
                ElementsAre(IsVideo(position, 1), IsVideo(position + 1, 1), IsVideo(position + 2, 1)));
}

TEST(FilterFrameRate, PicturesOfTheSourceAreNotChanged) {
    auto const held = MakeVideo(0, 90000);
    auto const source = MakeShared<ScriptedFilter<IStreamVideo>>(MakeSource({}, 80000));
    source->onRead = [&] { return held; };
    auto const filter = MakeFilter(source, {25, 1});
    Seek(*filter, 10000);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(10000, 30000), IsVideo(40000, 40000)));
    EXPECT_THAT(held, IsVideo(0, 90000));
}

TEST(FilterFrameRate, FailureOfTheSourcePassesThroughAndASeekMakesItWorkAgain) {
    auto const source = ScriptedVideo::Create(
        {MakeVideo(0, 40000), MakeVideo(40000, 10000), Failure<FilterException>("broken"), MakeVideo(50000, 30000)});
    source->duration = 80000;
    auto const filter = MakeFilter(source, {25, 1});
    Seek(*filter, 0);
    EXPECT_THAT(filter->Read(), IsVideo(0, 40000));
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Read(); }), "broken");
    EXPECT_THAT(filter->Read(), IsVideo(40000, 40000));
    Seek(*filter, 0);
    EXPECT_THAT(filter->Read(), IsVideo(0, 40000));
}

TEST(FilterFrameRate, ReleaseDropsThePictureThatWaitsAndGoesOnToTheSource) {
    auto const source = MakeSource(MakeVideos(3, 100000), 300000);
    auto const filter = MakeFilter(source, {25, 1});
    Seek(*filter, 0);
    filter->Read();
    source->log.Take();
    filter->ReleaseInternalData();
    EXPECT_THAT(source->log.Take(), ElementsAre("ReleaseInternalData"));
    EXPECT_EQ(ShadeOf(*filter->Read()), 1) << "the waiting picture was the first one";
    EXPECT_THAT(source->log.Take(), ElementsAre("Read"));
}

TEST(FilterFrameRate, LogTellsEachFrameAndTheEnd) {
    auto const filter = MakeFilter(ScriptedVideo::Create({MakeVideo(0, 40000)}), {25, 1});
    Seek(*filter, 0);
    LogLines const lines(4000);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(0, 40000)));
    EXPECT_THAT(lines.Get(google::INFO), ElementsAre("ReFrame: time=0, duration=40000", "ReFrame: NULL (eof?)"));
    LogLines const quiet(3999);
    Seek(*filter, 0);
    ReadAll(*filter);
    EXPECT_THAT(quiet.Get(google::INFO), IsEmpty());
}

TEST(FilterFrameRate, MarkStandsForTheRateOfTheSourcesFormat) {
    auto const source = MakeSource(MakeVideos(4, 20000), 80000);
    source->format->SetFrameRate(Ratio(25, 1));
    for (auto const& filter : {MakeFilter(source, SettingsFilterFrameRate::MARK_USE_ORIGINAL_FRAMERATE),
                               MakeShared<FilterFrameRate>(source)}) {
        EXPECT_EQ(filter->GetFrameRate(), Ratio(25, 1));
        Seek(*filter, 0);
        EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(0, 40000), IsVideo(40000, 40000)));
    }
    auto const filter = MakeFilter(source, {50, 1});
    filter->Initialize(IFilterFrameRate::MakeSettings(SettingsFilterFrameRate::MARK_USE_ORIGINAL_FRAMERATE));
    EXPECT_EQ(filter->GetFrameRate(), Ratio(25, 1));
}

TEST(FilterFrameRate, DedicatedFormHasTheRateOfTheSource) {
    auto const source = MakeSource(MakeVideos(2, 40000), 80000);
    source->format->SetFrameRate(Ratio(25, 1));
    iptr<IFilterFrameRate> const filter = FilterFrameRate::Create(source);
    EXPECT_EQ(filter->GetFrameRate(), Ratio(25, 1));
    EXPECT_EQ(filter->GetRefCountImpl(), 1U);
    filter->Initialize(IFilterFrameRate::MakeSettings(Ratio(50, 1)));
    Seek(*filter, 40000);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(40000, 20000), IsVideo(60000, 20000)));
}

TEST(FilterFrameRate, RateThatIsNotAboveZeroIsRefusedAndTheOldOneStays) {
    auto const source = MakeSource({}, 80000);
    for (Ratio const& unknown : {Ratio(0, 1), Ratio(-25, 1)}) {
        source->format->SetFrameRate(unknown);
        EXPECT_EQ(MessageOf<FilterException>([&] { FilterFrameRate refused(source); }), "Wrong fps!");
        auto const filter = MakeFilter(source, {25, 1});
        EXPECT_EQ(MessageOf<FilterException>([&] { filter->Initialize(SettingsFilterFrameRate()); }), "Wrong fps!");
        EXPECT_EQ(MessageOf<FilterException>([&] {
                      filter->Initialize(SettingsFilterFrameRate({-1, 25}));
                  }),
                  "Wrong fps!");
        EXPECT_EQ(MessageOf<FilterException>([&] {
                      filter->Initialize(IFilterFrameRate::MakeSettings({-1, 25}));
                  }),
                  "Wrong fps!");
        EXPECT_EQ(filter->GetFrameRate(), Ratio(25, 1));
    }
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
}

TEST(FilterFrameRate, SettingsGoInAsObjectAndAsProperty) {
    auto const filter = MakeFilter(MakeSource({}, 80000), {25, 1});
    filter->Initialize(SettingsFilterFrameRate({30, 1}));
    EXPECT_EQ(filter->GetFrameRate(), Ratio(30, 1));
    filter->Initialize(IFilterFrameRate::MakeSettings(Ratio(24000, 1001)));
    EXPECT_EQ(filter->GetSettings(), IFilterFrameRate::MakeSettings(Ratio(24000, 1001)));
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Initialize(Core::Property("Other")); }),
              "Filter was initialized with incorrect class (Other)!");
    EXPECT_THROW(filter->Initialize(OtherSettings()), std::bad_cast);
    EXPECT_THROW(FilterFrameRate(MakeSource({}, 80000), OtherSettings()), std::bad_cast);
    EXPECT_EQ(filter->GetFrameRate(), Ratio(24000, 1001));
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { FilterFrameRate refused(nullptr); }), "parentStream is NULL.");
}

TEST(FilterFrameRate, FormatIsACloneWithTheRate) {
    auto const source = MakeSource({}, 80000);
    source->format->SetCodecID("h264");
    source->format->SetFrameRate(Ratio(50, 1));
    auto const filter = MakeFilter(source, {25, 1});
    EXPECT_EQ(filter->GetFormatCodec()->GetFrameRate(), Ratio(25, 1));
    EXPECT_EQ(filter->GetFormatCodec()->GetCodecID(), "h264");
    EXPECT_EQ(source->format->GetFrameRate(), Ratio(50, 1));
    source->format = nullptr;
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->GetFormatCodec(); }), "Input codec format is null");
    EXPECT_EQ(MessageOf<FilterException>([&] { FilterFrameRate refused(source); }), "Input codec format is null");
}

TEST(FilterFrameRate, StatisticsCountFramesAndTheVisitorMeetsAPlainFilter) {
    auto const filter = MakeFilter(MakeSource(MakeVideos(3, 40000), 120000), {50, 1});
    Seek(*filter, 0);
    ReadAll(*filter);
    filter->Read();
    EXPECT_EQ(filter->GetStatistic().Children().front().Name(), "ScriptedStream");
    EXPECT_EQ(filter->GetStatistic().Children().back(),
              Core::MakeStatistics("Tarsel::Proc::FilterFrameRate::GetStatistic", 0, 6));
    Visitors::InfoCollector names;
    Visitors::FrameTypeCollector types;
    filter->Accept(names);
    filter->Accept(types);
    EXPECT_THAT(names.names, ElementsAre("FilterFrameRate", "ScriptedStream"));
    EXPECT_EQ(types.frameTypes.front(), 5);
}

}  // namespace
}  // namespace Tarsel::Proc
