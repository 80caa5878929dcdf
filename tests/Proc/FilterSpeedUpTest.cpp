#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <stdexcept>
#include <typeinfo>

#include "Proc/Filters/Filters/FilterSpeedUpAudio.h"
#include "Proc/Filters/Filters/FilterSpeedUpVideo.h"
#include "Proc/Filters/Filters/SpeedMap.h"
#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/SettingsEffectTempo.h"
#include "tests/support/Builders.h"
#include "tests/support/IdleEffect.h"
#include "tests/support/Matchers.h"
#include "tests/support/OtherSettings.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Proc {

// The factory of effects names it; nothing here makes one.
class IEffectImageBlender : public virtual IRefCountable {};

namespace {

using namespace Test;
using Details::SpeedMap;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int64 LARGEST = std::numeric_limits<int64>::max();
constexpr double INFINITE_FACTOR = std::numeric_limits<double>::infinity();
constexpr double NO_FACTOR = std::numeric_limits<double>::quiet_NaN();

TEST(SpeedMap, RoundsToTheNearestMicrosecondAndHalvesGoUp) {
    EXPECT_EQ(SpeedMap(2).ToResult(40000), 20000);
    EXPECT_EQ(SpeedMap(2).ToResult(40001), 20001);
    EXPECT_EQ(SpeedMap(3).ToResult(100), 33);
    EXPECT_EQ(SpeedMap(1.5).ToResult(100), 67);
    EXPECT_EQ(SpeedMap(1.5).ToSource(67), 101);
    EXPECT_EQ(SpeedMap(0.5).ToSource(3), 2);
}

TEST(SpeedMap, TimesBelowZeroAreCutTowardsZero) {
    EXPECT_EQ(SpeedMap(1).ToResult(-10), -9);
    EXPECT_EQ(SpeedMap(2).ToResult(-40000), -19999);
    EXPECT_EQ(SpeedMap(2).ToSource(-1), -1);
}

TEST(SpeedMap, NoValueStaysNoneAndWhatDoesNotFitSaturates) {
    EXPECT_EQ(SpeedMap(2).ToResult(NO_VALUE), NO_VALUE);
    EXPECT_EQ(SpeedMap(2).ToSource(NO_VALUE), NO_VALUE);
    EXPECT_EQ(SpeedMap(0.5).ToResult(LARGEST), LARGEST);
    EXPECT_EQ(SpeedMap(1).ToResult(LARGEST), LARGEST);
    EXPECT_EQ(SpeedMap(1e300).ToSource(LARGEST), LARGEST);
    EXPECT_EQ(SpeedMap(1e-300).ToResult(-LARGEST), NO_VALUE + 1);
    EXPECT_EQ(SpeedMap(std::numeric_limits<double>::denorm_min()).ToResult(1), LARGEST);
    EXPECT_EQ(SpeedMap(1e300).ToResult(LARGEST), 0);
}

TEST(SpeedMap, RatesAreRoundedNotCut) {
    EXPECT_EQ(SpeedMap(1.001).ToResult(Ratio(30000, 1001)), Ratio(30, 1));
    EXPECT_EQ(SpeedMap(2).ToResult(Ratio(25, 1)), Ratio(50, 1));
    EXPECT_EQ(SpeedMap(0.5).ToResult(Ratio(25, 1)), Ratio(25, 2));
    EXPECT_EQ(SpeedMap(1.0 / 3).ToResult(Ratio(25, 1)), Ratio(8333, 1000));
    EXPECT_EQ(SpeedMap(1.5).ToResult(Ratio(0, 1)), Ratio(0, 1));
}

TEST(SpeedMap, RatesOfAnySizeDoNotOverflow) {
    auto const value = [](Ratio const& rate) {
        return static_cast<double>(rate.numerator()) / static_cast<double>(rate.denominator());
    };
    EXPECT_NEAR(value(SpeedMap(2).ToResult(Ratio(LARGEST, LARGEST - 1))), 2.0, 1e-9);
    EXPECT_NEAR(value(SpeedMap(1).ToResult(Ratio(25, LARGEST))) * 1e18, 25e18 / static_cast<double>(LARGEST), 0.1);
    EXPECT_GT(value(SpeedMap(std::numeric_limits<double>::max()).ToResult(Ratio(25, 1))), 1e18);
    EXPECT_EQ(SpeedMap(std::numeric_limits<double>::denorm_min()).ToResult(Ratio(25, 1)), Ratio(0, 1));
    EXPECT_LT(value(SpeedMap(1e300).ToResult(Ratio(-25, 1))), -1e18);
}

iptr<FilterSpeedUpVideo> MakeVideoFilter(iptr<IStreamVideo> const& source, double factor) {
    auto filter = MakeShared<FilterSpeedUpVideo>(source);
    filter->Initialize(SettingsFilterSpeedUp(factor));
    return filter;
}

TEST(FilterSpeedUpVideo, FactorOfTwoHalvesAllTimesAndDurations) {
    auto const source = ScriptedVideo::Create(
        {MakeVideo(0, 40000, 1), MakeVideo(40000, 40001, 2), MakeVideo(80001, 40000, 3), MakeVideo(120001, 39999, 4)});
    source->duration = 160000;
    auto const filter = MakeVideoFilter(source, 2);
    Seek(*filter, 0);
    auto const frames = ReadAll(*filter);
    EXPECT_THAT(frames,
                ElementsAre(IsVideo(0, 20000), IsVideo(20000, 20001), IsVideo(40001, 20000), IsVideo(60001, 19999)));
    EXPECT_EQ(*frames[2]->GetPlaneConst(0).GetOffsetPtr(0, 0), 3) << "the pictures stay as they are";
    EXPECT_EQ(filter->GetDuration(), 80000);
    EXPECT_EQ(filter->Read(), nullptr);
}

TEST(FilterSpeedUpVideo, FactorBelowOnePlaysSlower) {
    auto const source = ScriptedVideo::Create(MakeVideos(3, 33333));
    source->duration = 99999;
    auto const filter = MakeVideoFilter(source, 0.5);
    Seek(*filter, 0);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(0, 66666), IsVideo(66666, 66666), IsVideo(133332, 66666)));
    EXPECT_EQ(filter->GetDuration(), 199998);
}

TEST(FilterSpeedUpVideo, RunOfVeryShortFramesKeepsAMicrosecondEach) {
    std::vector<iptr<IDataVideo>> script;
    for (int i = 0; i < 6; ++i) script.push_back(MakeVideo(i, 1));
    script.push_back(MakeVideo(6, 4000));
    auto const filter = MakeVideoFilter(ScriptedVideo::Create(script), 10);
    Seek(*filter, 0);
    // Each starts at the mapped end of the one before it, so that some share their time.
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(0, 1), IsVideo(0, 1), IsVideo(0, 1), IsVideo(0, 1), IsVideo(0, 1),
                                              IsVideo(1, 1), IsVideo(1, 400)));
}

TEST(FilterSpeedUpVideo, TimesRunOnWithoutGapsWhateverTheSourceDoes) {
    auto const source =
        ScriptedVideo::Create({MakeVideo(1000, 100), MakeVideo(2000, 100), MakeVideo(1500, 100), MakeVideo(3000, 0),
                               MakeVideo(3000, NO_VALUE), MakeVideo(NO_VALUE, 200), MakeVideo(4000, 100)});
    auto const filter = MakeVideoFilter(source, 2);
    Seek(*filter, 0);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(500, 50), IsVideo(550, 500), IsVideo(1050, 1), IsVideo(800, 700),
                                              IsVideo(1500, 1), IsVideo(1500, 100), IsVideo(1600, 450)));
}

TEST(FilterSpeedUpVideo, FramesWithoutATimeAtTheBeginningHaveNone) {
    auto const filter = MakeVideoFilter(
        ScriptedVideo::Create({MakeVideo(NO_VALUE, 200), MakeVideo(NO_VALUE, NO_VALUE), MakeVideo(1000, 200)}), 2);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(NO_VALUE, 100), IsVideo(NO_VALUE, 1), IsVideo(500, 100)));
}

TEST(FilterSpeedUpVideo, FrameThatNothingChangesStaysTheSameObjectAndOneThatOthersHoldIsNotChanged) {
    auto const source = ScriptedVideo::Create(MakeVideos(2, 40000));
    auto const filter = MakeVideoFilter(source, 1);
    Seek(*filter, 0);
    auto const frames = ReadAll(*filter);
    EXPECT_THAT(source->delivered, ElementsAre(frames[0].get(), frames[1].get()));

    auto const held = MakeVideo(0, 40000);
    auto const shared = MakeShared<ScriptedFilter<IStreamVideo>>(ScriptedVideo::Create({}));
    shared->onRead = [&] { return held; };
    auto const other = MakeVideoFilter(shared, 2);
    auto const frame = other->Read();
    EXPECT_THAT(frame, IsVideo(0, 20000));
    EXPECT_THAT(held, IsVideo(0, 40000));
    EXPECT_NE(frame, held);
}

TEST(FilterSpeedUpVideo, SeekToTheEndLeavesTheSourceItsLastMicrosecond) {
    auto const source = ScriptedVideo::Create(MakeVideos(4, 40000));
    source->duration = 160000;
    auto const filter = MakeVideoFilter(source, 2);
    Seek(*filter, 80000);
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(159999)", "DoSeek"));
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(60000, 20000)));
    Seek(*filter, LARGEST);
    EXPECT_THAT(source->log.Take(), testing::Contains("RequestSeek(159999)"));
}

TEST(FilterSpeedUpVideo, SeekGoesToTheSourceTimeAndNeverBelowZero) {
    auto const source = ScriptedVideo::Create(MakeVideos(4, 40000));
    source->duration = 160000;
    auto const filter = MakeVideoFilter(source, 1.5);
    filter->RequestSeek(30001, source);
    filter->DoSeek();
    Seek(*filter, -7);
    Seek(*filter, NO_VALUE);
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(45002, context)", "DoSeek", "RequestSeek(0)", "DoSeek",
                                                "RequestSeek(0)", "DoSeek"));
    source->duration = 0;
    Seek(*filter, 10);
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(0)", "DoSeek"));
}

TEST(FilterSpeedUpVideo, UnknownDurationStaysUnknownAndDoesNotHoldSeeks) {
    auto const source = ScriptedVideo::Create(MakeVideos(4, 40000));
    auto const filter = MakeVideoFilter(source, 2);
    EXPECT_EQ(filter->GetDuration(), NO_VALUE);
    Seek(*filter, 30000);
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(60000)", "DoSeek"));
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(20000, 20000), IsVideo(40000, 20000), IsVideo(60000, 20000)));
    Seek(*filter, LARGEST);
    EXPECT_THAT(ReadAll(*filter), IsEmpty());
}

TEST(FilterSpeedUpVideo, ReadingAfterAnySeekIsWhatReadingStraightThroughGives) {
    for (double const factor : {0.3, 0.5, 1.0, 1.001, 1.7, 4.0}) {
        std::vector<iptr<IDataVideo>> script;
        std::mt19937 random(11);
        int64 time = 0;
        for (int i = 0; i < 60; ++i) {
            int64 const duration = 20000 + static_cast<int64>(random() % 30000);
            script.push_back(MakeVideo(time, duration, static_cast<u8>(i)));
            time += duration;
        }
        auto const source = ScriptedVideo::Create(script);
        source->duration = time;
        auto const filter = MakeVideoFilter(source, factor);
        Seek(*filter, 0);
        auto const straight = ReadAll(*filter);
        ASSERT_EQ(straight.size(), 60U);
        for (unsigned seed = 1; seed <= 50; ++seed) {
            std::mt19937_64 draw(seed);
            int64 const position = static_cast<int64>(draw() % static_cast<uint64>(filter->GetDuration() + 1));
            SCOPED_TRACE("factor " + std::to_string(factor) + ", seed " + std::to_string(seed) + ", position " +
                         std::to_string(position));
            Seek(*filter, position);
            auto const frames = ReadAll(*filter);
            ASSERT_FALSE(frames.empty());
            ASSERT_LE(frames.size(), straight.size());
            EXPECT_LE(frames[0]->GetTime(), position);
            auto expected = straight.end() - static_cast<std::ptrdiff_t>(frames.size());
            for (auto const& frame : frames) {
                ASSERT_THAT(frame, IsVideo((*expected)->GetTime(), (*expected)->GetDuration()));
                ASSERT_EQ(*frame->GetPlaneConst(0).GetOffsetPtr(0, 0),
                          *(*expected)->GetPlaneConst(0).GetOffsetPtr(0, 0));
                ++expected;
            }
        }
    }
}

TEST(FilterSpeedUpVideo, FormatHasTheRateOfTheResult) {
    auto const source = ScriptedVideo::Create({});
    source->format->SetCodecID("h264");
    source->format->SetFrameRate(Ratio(30000, 1001));
    auto const filter = MakeVideoFilter(source, 1.001);
    auto const format = filter->GetFormatCodec();
    EXPECT_EQ(format->GetFrameRate(), Ratio(30, 1));
    EXPECT_EQ(format->GetCodecID(), "h264");
    EXPECT_EQ(source->format->GetFrameRate(), Ratio(30000, 1001)) << "the source's own format stays";
    source->format = nullptr;
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->GetFormatCodec(); }), "Source format codec must be present");
}

TEST(FilterSpeedUpVideo, FactorThatIsNoneIsRefusedAndTheOldOneStays) {
    auto const source = ScriptedVideo::Create({});
    source->duration = 100;
    auto const filter = MakeVideoFilter(source, 2);
    for (double const factor : {0.0, -0.0, -1.0, INFINITE_FACTOR, -INFINITE_FACTOR, NO_FACTOR})
        EXPECT_EQ(MessageOf<FilterException>([&] { filter->Initialize(SettingsFilterSpeedUp(factor)); }),
                  "Wrong settings!");
    EXPECT_THROW(filter->Initialize(OtherSettings()), std::bad_cast);
    EXPECT_EQ(filter->GetDuration(), 50);
}

TEST(FilterSpeedUpVideo, ExtremeFactorsSaturate) {
    auto const source = ScriptedVideo::Create(MakeVideos(2, 40000));
    source->duration = 80000;
    auto const slow = MakeVideoFilter(source, 1e-300);
    EXPECT_EQ(slow->GetDuration(), LARGEST);
    Seek(*slow, 0);
    EXPECT_THAT(ReadAll(*slow), ElementsAre(IsVideo(0, LARGEST), IsVideo(LARGEST, 1)));
    auto const fast = MakeVideoFilter(source, 1e300);
    EXPECT_EQ(fast->GetDuration(), 0);
    Seek(*fast, 0);
    EXPECT_THAT(ReadAll(*fast), ElementsAre(IsVideo(0, 1), IsVideo(0, 1)));
}

TEST(FilterSpeedUpVideo, HasNoPropertyForm) {
    auto const filter = MakeVideoFilter(ScriptedVideo::Create({}), 2);
    IStream& base = *filter;
    EXPECT_EQ(MessageOf<FilterException>([&] { base.Initialize(Core::Property("x")); }), "Method not implemented");
    EXPECT_EQ(MessageOf<FilterException>([&] { base.GetSettings(); }), "Method not implemented");
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { FilterSpeedUpVideo refused(nullptr); }), "parentStream is NULL.");
}

TEST(FilterSpeedUpVideo, StatisticsCountFramesAndTheVisitorMeetsAPlainFilter) {
    auto const filter = MakeVideoFilter(ScriptedVideo::Create(MakeVideos(3, 40)), 2);
    ReadAll(*filter);
    filter->Read();
    EXPECT_EQ(filter->GetStatistic().Children().front().Name(), "ScriptedStream");
    EXPECT_EQ(filter->GetStatistic().Children().back(),
              Core::MakeStatistics("Tarsel::Proc::FilterSpeedUpVideo::GetStatistic", 0, 3));
    Visitors::InfoCollector names;
    Visitors::FrameTypeCollector types;
    filter->Accept(names);
    filter->Accept(types);
    EXPECT_THAT(names.names, ElementsAre("FilterSpeedUpVideo", "ScriptedStream"));
    EXPECT_EQ(types.frameTypes.front(), 5);
}

/// A tempo effect by the book: it gives a block for every second one that goes in, as many as it still holds at the
/// drain, and keeps a log.
class TempoByScript final : public IdleEffect<IOneInputEffectAudio> {
  public:
    std::vector<std::string> log;
    std::vector<iptr<IDataAudio>> drain;
    std::string failure;
    bool keepsEverySecond = true;

    using IdleEffect::Initialize;
    void Initialize(Settings const& newSettings) override {
        settings = dynamic_cast<SettingsEffectTempo const&>(newSettings);
        if (settings.GetTempo() > 100) TARSEL_THROW(EffectException, "too fast");
        log.push_back("Initialize(" + std::to_string(settings.GetTempo()) + ")");
        seen = 0;
    }
    Settings const& GetEffectSettings() override { return settings; }
    void Process(iptr<IDataAudio>& item) override {
        log.push_back(item ? "Process" : "Drain");
        if (!failure.empty()) TARSEL_THROW(EffectException, failure);
        if (item) {
            if (keepsEverySecond && ++seen % 2 == 1) item = nullptr;
        } else if (!drain.empty()) {
            item = drain.front();
            drain.erase(drain.begin());
        }
    }

  private:
    SettingsEffectTempo settings;
    int seen = 0;
};

/// A factory that gives one effect and remembers what it was asked for.
class OneEffectFactory final : public IEffectFactory, public RefCounted {
  public:
    explicit OneEffectFactory(iptr<IEffect> effect) : effect(std::move(effect)) {}
    iptr<IEffect> CreateEffect(std::string const& classId, std::string const& implName) const override {
        asked.push_back(classId + ", " + implName);
        return effect;
    }
    iptr<IEffectImageBlender> CreateBlender(std::string const&, std::string const&) const override { return nullptr; }
    std::vector<std::string> GetImplementations(std::string const&) const override { return {}; }

    mutable std::vector<std::string> asked;

  private:
    iptr<IEffect> const effect;
};

/// The audio filter over a script at 48000 Hz, with the effect above.
struct AudioRig {
    AudioRig(std::initializer_list<ScriptedAudio::Step> steps, double factor)
        : source(ScriptedAudio::Create(steps)), effect(MakeShared<TempoByScript>()) {
        source->format->SetSampleInfo({Conf::SAMPLE_FORMAT_S16, 48000, Conf::CHANNEL_LAYOUT_STEREO});
        filter = MakeShared<FilterSpeedUpAudio>(source, MakeShared<OneEffectFactory>(effect));
        filter->Initialize(SettingsFilterSpeedUp(factor));
    }

    iptr<ScriptedAudio> source;
    iptr<TempoByScript> effect;
    iptr<FilterSpeedUpAudio> filter;
};

TEST(FilterSpeedUpAudio, AsksTheFactoryForTheTempoEffectAndGivesItTheFactor) {
    auto const effect = MakeShared<TempoByScript>();
    auto const factory = MakeShared<OneEffectFactory>(effect);
    auto const source = ScriptedAudio::Create({});
    auto const filter = MakeShared<FilterSpeedUpAudio>(source, factory);
    EXPECT_THAT(factory->asked, ElementsAre("SettingsEffectTempo, Default"));
    EXPECT_THAT(effect->log, IsEmpty());
    filter->Initialize(SettingsFilterSpeedUp(1.5));
    EXPECT_THAT(effect->log, ElementsAre("Initialize(1.500000)"));
}

TEST(FilterSpeedUpAudio, TimesAreCountedInSamplesFromTheMappedTimeOfTheFirstBlockOn) {
    AudioRig rig({MakeAudio(3000, 480), MakeAudio(13000, 441), MakeAudio(999, 100), MakeAudio(7, 100)}, 2);
    Seek(*rig.filter, 0);
    // The second and the fourth block come out; what the source says of their times no longer counts.
    auto const blocks = ReadAll(*rig.filter);
    EXPECT_THAT(blocks, ElementsAre(IsAudio(1500, 441), IsAudio(10688, 100)));
    EXPECT_EQ(blocks[0]->GetDuration(), 9188);
    EXPECT_EQ(blocks[1]->GetDuration(), 2083);
    EXPECT_EQ(rig.filter->GetPosition(), 12771);
}

TEST(FilterSpeedUpAudio, EffectIsDrainedUntilItGivesNothing) {
    AudioRig rig({MakeAudio(0, 480)}, 2);
    rig.effect->drain = {MakeAudio(77, 240), MakeAudio(NO_VALUE, 48)};
    Seek(*rig.filter, 0);
    rig.effect->log.clear();
    EXPECT_THAT(ReadAll(*rig.filter), ElementsAre(IsAudio(0, 240), IsAudio(5000, 48)));
    EXPECT_THAT(rig.effect->log, ElementsAre("Process", "Drain", "Drain", "Drain"));
    EXPECT_EQ(rig.filter->Read(), nullptr);
    EXPECT_EQ(rig.filter->Read(), nullptr);
}

TEST(FilterSpeedUpAudio, DoesNotDriftOverManyBlocks) {
    std::vector<iptr<IDataAudio>> script;
    for (int i = 0; i < 3000; ++i) script.push_back(MakeAudio(i, 1024, 44100));
    auto const source = ScriptedAudio::Create(script);
    source->format->SetSampleInfo({Conf::SAMPLE_FORMAT_S16, 44100, Conf::CHANNEL_LAYOUT_STEREO});
    auto const effect = MakeShared<TempoByScript>();
    effect->keepsEverySecond = false;
    auto const filter = MakeShared<FilterSpeedUpAudio>(source, MakeShared<OneEffectFactory>(effect));
    filter->Initialize(SettingsFilterSpeedUp(2));
    Seek(*filter, 0);
    auto const blocks = ReadAll(*filter);
    ASSERT_EQ(blocks.size(), 3000U);
    for (int64 i = 0; i < 3000; ++i) {
        ASSERT_EQ(blocks[static_cast<std::size_t>(i)]->GetTime(), SampleCount2Duration(i * 1024, 44100));
        ASSERT_EQ(
            AddTime(blocks[static_cast<std::size_t>(i)]->GetTime(), blocks[static_cast<std::size_t>(i)]->GetDuration()),
            SampleCount2Duration((i + 1) * 1024, 44100));
    }
}

TEST(FilterSpeedUpAudio, BlockGetsTheRateOfTheSourcesFormat) {
    AudioRig rig({MakeAudio(0, 480)}, 2);
    rig.effect->drain = {MakeAudio(0, 480, 44100)};
    Seek(*rig.filter, 0);
    auto const block = rig.filter->Read();
    EXPECT_EQ(block->GetSampleRate(), 48000);
    EXPECT_EQ(block->GetDuration(), 10000);
}

TEST(FilterSpeedUpAudio, BlockThatTheEffectStillHoldsIsNotChanged) {
    AudioRig rig({}, 2);
    auto const held = MakeAudio(77, 480);
    rig.effect->drain = {held};
    Seek(*rig.filter, 0);
    auto const block = rig.filter->Read();
    EXPECT_THAT(held, IsAudio(77, 480));
    EXPECT_NE(block, held);
    EXPECT_THAT(block, IsAudio(NO_VALUE, 480)) << "no block of the source has told a time";
}

TEST(FilterSpeedUpAudio, BlockThatNothingChangesStaysTheSameObject) {
    AudioRig rig({MakeAudio(0, 480), MakeAudio(10000, 480)}, 1);
    rig.effect->keepsEverySecond = false;
    Seek(*rig.filter, 0);
    auto const blocks = ReadAll(*rig.filter);
    ASSERT_EQ(blocks.size(), 2U);
    EXPECT_THAT(rig.source->delivered, ElementsAre(blocks[0].get(), blocks[1].get()));
}

TEST(FilterSpeedUpAudio, SeekBeginsAnewWithEffectAndTime) {
    AudioRig rig({MakeAudio(0, 480), MakeAudio(10000, 480), MakeAudio(20000, 480), MakeAudio(30000, 480)}, 2);
    rig.source->duration = 40000;
    Seek(*rig.filter, 0);
    EXPECT_THAT(rig.filter->Read(), IsAudio(0, 480));
    rig.effect->log.clear();
    rig.source->log.Take();
    rig.filter->RequestSeek(12500, rig.source);
    rig.filter->DoSeek();
    EXPECT_THAT(rig.effect->log, ElementsAre("Initialize(2.000000)"));
    EXPECT_THAT(rig.source->log.Take(), ElementsAre("RequestSeek(25000, context)", "DoSeek"));
    // The block that holds 25 ms of the source begins at 20 ms of it.
    EXPECT_THAT(ReadAll(*rig.filter), ElementsAre(IsAudio(10000, 480)));
}

TEST(FilterSpeedUpAudio, SeeksAreHeldToTheSource) {
    AudioRig rig({MakeAudio(0, 480)}, 2);
    rig.source->duration = 10000;
    EXPECT_EQ(rig.filter->GetDuration(), 5000);
    Seek(*rig.filter, 5000);
    Seek(*rig.filter, -5);
    rig.source->duration = NO_VALUE;
    EXPECT_EQ(rig.filter->GetDuration(), NO_VALUE);
    Seek(*rig.filter, 50000);
    EXPECT_THAT(rig.source->log.Take(), ElementsAre("RequestSeek(9999)", "DoSeek", "RequestSeek(0)", "DoSeek",
                                                    "RequestSeek(100000)", "DoSeek"));
}

TEST(FilterSpeedUpAudio, EndThatIsSetFromOutsideEndsTheReading) {
    AudioRig rig({MakeAudio(0, 480), MakeAudio(10000, 480)}, 2);
    Seek(*rig.filter, 0);
    rig.filter->SetEndOfStream();
    rig.source->log.Take();
    EXPECT_EQ(rig.filter->Read(), nullptr);
    EXPECT_THAT(rig.source->log.Take(), IsEmpty()) << "neither the source nor the effect is asked";
    Seek(*rig.filter, 0);
    EXPECT_THAT(rig.filter->Read(), IsAudio(0, 480));
}

TEST(FilterSpeedUpAudio, FailuresPassThroughAndASeekMakesItWorkAgain) {
    AudioRig rig({MakeAudio(0, 480), MakeAudio(10000, 480)}, 2);
    Seek(*rig.filter, 0);
    rig.effect->failure = "broken";
    EXPECT_EQ(MessageOf<EffectException>([&] { rig.filter->Read(); }), "broken");
    rig.effect->failure.clear();
    Seek(*rig.filter, 0);
    EXPECT_THAT(ReadAll(*rig.filter), ElementsAre(IsAudio(0, 480)));
}

TEST(FilterSpeedUpAudio, FactorThatIsNoneIsRefusedAndTheOldOneStays) {
    AudioRig rig({}, 2);
    rig.source->duration = 100;
    rig.effect->log.clear();
    for (double const factor : {0.0, -0.0, -1.0, INFINITE_FACTOR, -INFINITE_FACTOR, NO_FACTOR})
        EXPECT_EQ(MessageOf<FilterException>([&] { rig.filter->Initialize(SettingsFilterSpeedUp(factor)); }),
                  "Wrong settings!");
    EXPECT_THROW(rig.filter->Initialize(OtherSettings()), std::bad_cast);
    EXPECT_THAT(rig.effect->log, IsEmpty());
    EXPECT_EQ(MessageOf<EffectException>([&] { rig.filter->Initialize(SettingsFilterSpeedUp(101)); }), "too fast");
    EXPECT_EQ(rig.filter->GetDuration(), 50);
}

TEST(FilterSpeedUpAudio, SourceWithoutAFormatIsRefused) {
    AudioRig rig({}, 2);
    rig.source->format = nullptr;
    EXPECT_EQ(MessageOf<FilterException>([&] { rig.filter->Initialize(SettingsFilterSpeedUp(2)); }),
              "Source format codec must be present");
    EXPECT_EQ(rig.filter->GetFormatCodec(), nullptr);
}

TEST(FilterSpeedUpAudio, WrongPartsAreRefused) {
    auto const source = ScriptedAudio::Create({});
    auto const factory = MakeShared<OneEffectFactory>(MakeShared<TempoByScript>());
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { FilterSpeedUpAudio refused(nullptr, factory); }),
              "parentStream is NULL.");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { FilterSpeedUpAudio refused(source, nullptr); }),
              "effectFactory is NULL");
    for (iptr<IEffect> const& effect : {iptr<IEffect>(), iptr<IEffect>(new IdleEffect<IOneInputEffectVideo>())})
        EXPECT_EQ(MessageOf<EffectException>([&] { FilterSpeedUpAudio(source, MakeShared<OneEffectFactory>(effect)); }),
                  "There is no any implementation for SettingsEffectTempo");
}

TEST(FilterSpeedUpAudio, HasNoPropertyFormAndKeepsTheFormat) {
    AudioRig rig({}, 2);
    IStream& base = *rig.filter;
    EXPECT_EQ(MessageOf<FilterException>([&] { base.Initialize(Core::Property("x")); }), "Method not implemented");
    EXPECT_EQ(MessageOf<FilterException>([&] { base.GetSettings(); }), "Method not implemented");
    EXPECT_EQ(rig.filter->GetFormatCodec(), rig.source->format);
}

TEST(FilterSpeedUpAudio, StatisticsCountBlocksAndTheVisitorMeetsAPlainFilter) {
    AudioRig rig({MakeAudio(0, 480), MakeAudio(0, 480), MakeAudio(0, 480)}, 2);
    ReadAll(*rig.filter);
    EXPECT_EQ(rig.filter->GetStatistic().Children().front().Name(), "ScriptedStream");
    EXPECT_EQ(rig.filter->GetStatistic().Children().back(),
              Core::MakeStatistics("Tarsel::Proc::FilterSpeedUpAudio::GetStatistic", 0, 1));
    Visitors::InfoCollector names;
    Visitors::FrameTypeCollector types;
    rig.filter->Accept(names);
    rig.filter->Accept(types);
    EXPECT_THAT(names.names, ElementsAre("FilterSpeedUpAudio", "ScriptedStream"));
    EXPECT_EQ(types.frameTypes.front(), 5);
}

}  // namespace
}  // namespace Tarsel::Proc
