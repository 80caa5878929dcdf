// What a map of sound does with sources that end early, with formats, with effects and with its lock.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "contracts/Proc/IStreamVisitor.h"
#include "contracts/Proc/ImplNames.h"
#include "tests/Proc/SmartMapAudioSupport.h"
#include "tests/support/ConformingFactory.h"
#include "tests/support/LogLines.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr char MUST_LOCK[] = "You must lock stream before settings changing";
constexpr char MUST_SEEK[] = "seek required after adding, deleting or remapping source streams";
constexpr char NO_BLOCK[] = "Empty packets buffer";

// --- Slices ----------------------------------------------------------------------------------------------------------

TEST(SmartMapAudioRules, ASliceShorterThanASampleIsSkipped) {
    AudioMap map(44100);
    auto const source = MakeCounting(44100, 44100);
    source->duration = 100022;
    map.Add(source).Add(MakeShared<NotingSoundEffect>(), 100000, 100022);
    EXPECT_THAT(map.ReadFrom(0), ElementsAre("0+4410 #0"));
    EXPECT_EQ(map->GetPosition(), 100022);
}

TEST(SmartMapAudioRules, ASliceOfASampleComes) {
    AudioMap map(44100);
    auto const source = MakeCounting(44100, 44100);
    source->duration = 100023;
    map.Add(source).Add(MakeShared<NotingSoundEffect>(), 100000, 100023);
    EXPECT_THAT(map.ReadFrom(0), ElementsAre("0+4410 #0", "100000+1 #4410"));
}

TEST(SmartMapAudioRules, WithoutARateEverySliceIsSkipped) {
    for (int const rate : {0, -1}) {
        AudioMap map(rate);
        auto const source = MakeCounting(48000, 48000);
        map.Add(source);
        Seek(*map, 0);
        source->log.Take();
        EXPECT_EQ(map->Read(), nullptr);
        EXPECT_EQ(map->GetPosition(), 1000000);
        EXPECT_THAT(source->log.Take(), IsEmpty());
    }
}

TEST(SmartMapAudioRules, AMapOfAllTimeWithoutARateEndsAtOnce) {
    AudioMap map(0);
    auto const source = MakeCounting(48000, 10);
    source->duration = std::numeric_limits<int64>::max();
    map.Add(source);
    EXPECT_THAT(map.ReadFrom(0), IsEmpty());
}

TEST(SmartMapAudioRules, AnEmptyMapEndsAtOnce) {
    AudioMap map;
    EXPECT_EQ(map->Read(), nullptr);
    Seek(*map, 0);
    EXPECT_EQ(map->GetPosition(), -1);
    EXPECT_EQ(map->Read(), nullptr);
    EXPECT_EQ(map->GetPosition(), -1);
}

TEST(SmartMapAudioRules, ASourceIsReadFromItsBeginWhenTheTimelineEntersIt) {
    AudioMap map;
    auto const source = MakeCounting(48000, 9600);
    map.Add(MakeCounting(48000, 4800, 1000000)).Add(source, 100000);
    Seek(*map, 0);
    source->log.Take();
    map->Read();
    EXPECT_THAT(source->log.Take(), IsEmpty());
    map->Read();
    auto const calls = source->log.Take();
    ASSERT_GE(calls.size(), 3U);
    EXPECT_EQ(calls[0], "RequestSeek(0)");
    EXPECT_EQ(calls[1], "DoSeek");
    EXPECT_EQ(calls[2], "Read");
    map->Read();
    EXPECT_EQ(source->log.Take().back(), "ReleaseInternalData");
}

// --- Sources that end early ------------------------------------------------------------------------------------------

/// Sound that lasts longer than its samples do.
iptr<ScriptedAudio> MakeShort(int64 total, int base, int64 stated) {
    auto source = MakeCounting(48000, total, base);
    source->duration = stated;
    return source;
}

TEST(SmartMapAudioRules, ASourceThatEndsEarlyTakesItsSlicesWithIt) {
    AudioMap map;
    // The one that ends early is read before the other, and behind it.
    for (int const order : {-1, 1}) {
        AudioMap both;
        both.Add(MakeCounting(48000, 24000)).Add(MakeShort(4800, 1000000, 300000), 0, order);
        std::string const first = order < 0 ? "0+4800 #0" : "0+4800 #1000000";
        EXPECT_THAT(both.ReadFrom(0), ElementsAre(first, "300000+4800 #14400", "400000+4800 #19200"))
            << "the other source loses the slices, and isn't late by them";
    }
}

TEST(SmartMapAudioRules, AShortLastBlockComesBeforeTheSlicesAreLost) {
    AudioMap map;
    map.Add(MakeShort(6000, 0, 400000));
    EXPECT_THAT(map.ReadFrom(0), ElementsAre("0+4800 #0", "100000+1200 #4800"));
    EXPECT_EQ(map->GetPosition(), 400000);
}

TEST(SmartMapAudioRules, ASourceThatHasEndedIsReleasedAndReadAgainOnlyBehindASeek) {
    AudioMap map;
    auto const source = MakeShort(4800, 0, 1000000);
    map.Add(source).Add(MakeCounting(48000, 48000, 1000000), 0, -1);
    Seek(*map, 0);
    map->Read();
    source->log.Take();
    EXPECT_EQ(map->Read(), nullptr);
    EXPECT_THAT(source->log.Take(), ElementsAre("Read", "ReleaseInternalData"));
    EXPECT_THAT(map.ReadFrom(0), SizeIs(1));
}

TEST(SmartMapAudioRules, WhereAllHaveEndedTheMapGoesOnAtTheNextChange) {
    AudioMap map;
    map.Add(MakeShort(4800, 0, MAX_DURATION)).Add(MakeCounting(48000, 4800, 1000000), MAX_DURATION);
    EXPECT_THAT(map.ReadFrom(0), ElementsAre("0+4800 #0", "2592000000000+4800 #1000000"));
}

/// A source of sound without an end.
class EndlessSound final : public ScriptedFilter<IStreamAudio> {
  public:
    EndlessSound() : ScriptedFilter(MakeCounting(48000, 10)) {
        onRead = [this] {
            ++reads;
            return MakeAudio(0, samples, 48000, Conf::SAMPLE_FORMAT_S32, Conf::CHANNEL_LAYOUT_MONO);
        };
    }
    int64 GetDuration() const override { return std::numeric_limits<int64>::max(); }
    int samples = 4800;
    int reads = 0;
};

TEST(SmartMapAudioRules, LosingSlicesForEverIsAFailure) {
    AudioMap map;
    auto const endless = MakeShared<EndlessSound>();
    map.Add(endless).Add(MakeShort(0, 0, std::numeric_limits<int64>::max()));
    Seek(*map, 0);
    EXPECT_EQ(MessageOf<FilterException>([&] { map->Read(); }),
              "Mapped sources go on giving items that don't bring the map further");
    EXPECT_EQ(endless->reads, 500000);
}

TEST(SmartMapAudioRules, ASourceOfBlocksWithoutSamplesIsAFailure) {
    AudioMap map;
    auto const endless = MakeShared<EndlessSound>();
    endless->samples = 0;
    map.Add(endless);
    Seek(*map, 0);
    EXPECT_EQ(MessageOf<FilterException>([&] { map->Read(); }),
              "Audio source gave 100000 blocks in a row without samples");
}

// --- Formats ---------------------------------------------------------------------------------------------------------

TEST(SmartMapAudioRules, TheFormatIsTheOneThatIsSet) {
    iptr<ISmartMapAudio> const map = SmartMapAudio::Create(Host::MakeFilterFactory());
    auto const unset = map->GetFormatCodec();
    EXPECT_EQ(unset->GetCodecID(), "none");
    EXPECT_EQ(unset->GetSampleInfo(), Conf::SampleInfo());
    {
        MapLock const lock(*map);
        map->SetSampleInfo(Mono(22050));
    }
    EXPECT_EQ(map->GetFormatCodec()->GetSampleInfo(), Mono(22050));
    EXPECT_EQ(map->GetFormatCodec()->GetCodecID(), "none");
    EXPECT_EQ(unset->GetSampleInfo(), Conf::SampleInfo()) << "who holds the former one keeps it as it was";
}

TEST(SmartMapAudioRules, AFormatGoesToSourcesThatAreMappedAndToThoseThatWillBe) {
    ConformingPlan plan;
    AudioMap map(48000, MakeShared<ConformingFactory>(plan));
    map.Add(MakeCounting(48000, 10));
    EXPECT_THAT(plan.log.Take(),
                ElementsAre("resampler 0 SetSampleInfo(2/48000/4)", "formatter 0 ReleaseInternalData"));
    Seek(*map, 0);
    plan.log.Take();
    MapLock const lock(*map);
    map->SetSampleInfo(Mono(44100));
    EXPECT_THAT(plan.log.Take(), ElementsAre("resampler 0 SetSampleInfo(2/44100/4)"));
    EXPECT_NE(map->Read(), nullptr) << "no seek is needed";
}

TEST(SmartMapAudioRules, AFormatThatASourceRefusesIsNotTheMaps) {
    ConformingPlan plan;
    AudioMap map(48000, MakeShared<ConformingFactory>(plan));
    map.Add(MakeCounting(48000, 10)).Add(MakeCounting(48000, 10));
    plan.log.Take();
    bool refuses = true;
    plan.onFormat = [&](std::string const& name) {
        if (name == "resampler 1" && std::exchange(refuses, false)) TARSEL_THROW(ProcException, "no such format");
    };
    MapLock const lock(*map);
    EXPECT_EQ(MessageOf<ProcException>([&] { map->SetSampleInfo(Mono(44100)); }), "no such format");
    EXPECT_THAT(plan.log.Take(),
                ElementsAre("resampler 0 SetSampleInfo(2/44100/4)", "resampler 1 SetSampleInfo(2/44100/4)",
                            "resampler 0 SetSampleInfo(2/48000/4)", "resampler 1 SetSampleInfo(2/48000/4)"));
    EXPECT_EQ(map->GetFormatCodec()->GetSampleInfo(), Mono(48000));
}

// --- What a map refuses ----------------------------------------------------------------------------------------------

TEST(SmartMapAudioRules, NullAndUnknownLengthsAreRefused) {
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { SmartMapAudio::Create(nullptr); }), "factory is NULL");
    ConformingPlan plan;
    AudioMap map(48000, MakeShared<ConformingFactory>(plan));
    auto const source = MakeShort(10, 0, NO_VALUE);
    MapLock const lock(*map);
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { map->MapStream(nullptr); }), "source is NULL");
    EXPECT_EQ(MessageOf<FilterException>([&] { map->MapStream(source); }), "Incorrect duration in source stream");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { map->MapEffect(nullptr, 0, 1); }), "effect is NULL");
    EXPECT_EQ(MessageOf<FilterException>([&] { map->MapEffect(MakeShared<NotingSoundEffect>(), 1, 1); }),
              "Bad effect mapping, begin >= end");
    EXPECT_EQ(plan.resamplers, 0);
}

TEST(SmartMapAudioRules, AFactoryThatFailsLeavesTheMapAsItWas) {
    ConformingPlan plan;
    AudioMap map(48000, MakeShared<ConformingFactory>(plan));
    plan.onMake = [](std::string const& name) {
        if (name == "formatter 0") TARSEL_THROW(FilterException, "no cutter");
    };
    MapLock const lock(*map);
    EXPECT_EQ(MessageOf<FilterException>([&] { map->MapStream(MakeCounting(48000, 10)); }), "no cutter");
    EXPECT_EQ(map->GetDuration(), 0);
    EXPECT_EQ(map->Read(), nullptr) << "no seek is needed";
}

TEST(SmartMapAudioRules, EverythingBehindTheLockNeedsIt) {
    AudioMap map;
    map.Add(MakeCounting(48000, 4800), 3, 4).Add(MakeShared<NotingSoundEffect>(), 5, 7);
    std::vector<std::function<void()>> const calls{
        [&] { map->SetSampleInfo(Mono(8000)); },
        [&] { map->MapStream(MakeCounting(48000, 10)); },
        [&] { map->MapEffect(MakeShared<NotingSoundEffect>(), 0, 1); },
        [&] { map.streams[0]->GetBegin(); },
        [&] { map.streams[0]->SetBegin(0); },
        [&] { map.streams[0]->GetDuration(); },
        [&] { map.streams[0]->SetOrder(0); },
        [&] { map.streams[0]->GetOrder(); },
        [&] { map.effects[0]->GetBegin(); },
        [&] { map.effects[0]->GetEffect(); },
    };
    for (std::size_t i = 0; i < calls.size(); ++i) EXPECT_EQ(MessageOf<std::logic_error>(calls[i]), MUST_LOCK) << i;
    EXPECT_EQ(map->GetFormatCodec()->GetSampleInfo(), Mono(48000));
    MapLock const lock(*map);
    EXPECT_EQ(map.streams[0]->GetBegin(), 3);
    EXPECT_EQ(map.streams[0]->GetDuration(), 100000);
    EXPECT_EQ(map.streams[0]->GetOrder(), 4);
}

TEST(SmartMapAudioRules, AReadBehindAChangeNeedsASeek) {
    AudioMap map;
    map.Add(MakeCounting(48000, 4800));
    EXPECT_EQ(MessageOf<std::logic_error>([&] { map->Read(); }), MUST_SEEK);
    EXPECT_THAT(map.ReadFrom(0), SizeIs(1));
    LogLines const lines(0);
    map.streams.clear();
    EXPECT_THAT(lines.Get(google::GLOG_ERROR), ElementsAre(MUST_LOCK));
    EXPECT_EQ(MessageOf<std::logic_error>([&] { map->Read(); }), MUST_SEEK);
    EXPECT_EQ(map->GetDuration(), 0);
}

// --- Effects ---------------------------------------------------------------------------------------------------------

TEST(SmartMapAudioRules, TheFirstEffectHearsAllSourcesInStackingOrder) {
    AudioMap map;
    iptr<NotingSoundEffect> const first = MakeShared<NotingSoundEffect>("first");
    iptr<NotingSoundEffect> const second = MakeShared<NotingSoundEffect>("second");
    first->onProcess = [](auto const& inputs) { return inputs.front(); };
    map.Add(MakeCounting(48000, 4800), 0, 1).Add(MakeCounting(48000, 4800, 1000000));
    map.Add(first, 0, 100000).Add(second, 0, 100000);
    EXPECT_THAT(map.ReadFrom(0), ElementsAre("0+4800 #1000000"));
    EXPECT_THAT(first->Take(), ElementsAre("first: reset", "first: 0+4800 #1000000, 0+4800 #0", "first: reset"));
    EXPECT_THAT(second->Take(), ElementsAre("second: reset", "second: 0+4800 #1000000", "second: reset"));
}

TEST(SmartMapAudioRules, AnEffectForgetsItsStateOncePerTraversal) {
    AudioMap map;
    iptr<NotingSoundEffect> const effect = MakeShared<NotingSoundEffect>();
    map.Add(MakeCounting(48000, 48000)).Add(effect, 100000, 400000);
    map.ReadFrom(0);
    EXPECT_THAT(effect->Take(), ElementsAre("effect: reset", "effect: 100000+4800 #4800", "effect: 200000+4800 #9600",
                                            "effect: 300000+4800 #14400", "effect: reset"));
}

TEST(SmartMapAudioRules, AnEffectThatGivesNothingIsAFailure) {
    AudioMap map;
    iptr<NotingSoundEffect> const effect = MakeShared<NotingSoundEffect>();
    effect->onProcess = [](auto const&) { return iptr<IData>(); };
    map.Add(MakeCounting(48000, 4800)).Add(effect, 0, 100000);
    Seek(*map, 0);
    EXPECT_EQ(MessageOf<std::logic_error>([&] { map->Read(); }), NO_BLOCK);
    effect->onProcess = [](auto const&) { return iptr<IData>(MakeVideo(0, 40)); };
    Seek(*map, 0);
    EXPECT_EQ(MessageOf<std::logic_error>([&] { map->Read(); }), NO_BLOCK) << "a picture is no sound";
}

// --- As a stream -----------------------------------------------------------------------------------------------------

TEST(SmartMapAudioRules, ABlockThatOthersHoldIsntChanged) {
    ConformingPlan plan;
    AudioMap map(48000, MakeShared<ConformingFactory>(plan));
    auto const source = MakeShared<EndlessSound>();
    auto const held = MakeAudio(0, 4800, 48000, Conf::SAMPLE_FORMAT_S32, Conf::CHANNEL_LAYOUT_MONO);
    source->onRead = [&] { return held; };
    map.Add(source, 500);
    Seek(*map, 500);
    EXPECT_EQ(map->Read()->GetTime(), 500);
    EXPECT_EQ(held->GetTime(), 0);
}

TEST(SmartMapAudioRules, SeekEndAndReleaseWorkOnTheConvertedSources) {
    ConformingPlan plan;
    AudioMap map(48000, MakeShared<ConformingFactory>(plan));
    auto const source = MakeCounting(48000, 9600);
    map.Add(source, 100000);
    plan.log.Take();
    Seek(*map, 150000);
    EXPECT_THAT(plan.log.Take(),
                ElementsAre("formatter 0 RequestSeek(50000)", "formatter 0 DoSeek", "formatter 0 FinishSeek"));
    plan.formattersReady = false;
    EXPECT_FALSE(map->FinishSeek());
    plan.log.Take();
    map->SetEndOfStream();
    map->ReleaseInternalData();
    EXPECT_THAT(plan.log.Take(), ElementsAre("formatter 0 SetEndOfStream", "formatter 0 ReleaseInternalData"));
    EXPECT_TRUE(map->IsEndOfStream());
    EXPECT_EQ(map->Read(), nullptr);
    EXPECT_EQ(map->GetPosition(), 150000);
}

TEST(SmartMapAudioRules, StatisticsAndVisitorsSeeTheMapAndItsSources) {
    AudioMap map;
    map.Add(MakeCounting(48000, 4800)).Add(MakeShared<NotingSoundEffect>("gain"), 0, 100000);
    map.ReadFrom(0);
    Core::Property expected = Core::MakeStatistics("Tarsel::Proc::SmartMapAudio::GetStatistic", 0, 1);
    expected.Add(Core::GetRootItem().Add(Core::MakeStatistics("ScriptedStream", 0, 5)));
    expected.Add(Core::MakeStatistics("gain", 0, 0));
    EXPECT_EQ(map->GetStatistic(), expected);
    Visitors::InfoCollector names;
    map->Accept(names);
    EXPECT_THAT(names.names, ElementsAre("SmartMapAudio", "ScriptedStream"));
    Visitors::FrameTypeCollector types;
    map->Accept(types);
    EXPECT_THAT(types.frameTypes, ElementsAre(IDataVideo::FRAME_ALLOC_ANY, 5));
}

TEST(SmartMapAudioRules, AMapCanStandOnAnotherMap) {
    AudioMap inner;
    inner.Add(MakeCounting(48000, 24000)).Add(MakeCounting(48000, 4800, 1000000), 100000, 1);
    AudioMap outer;
    outer.Add(iptr<IStreamAudio>(inner.map), 50000).Add(MakeCounting(48000, 2400, 2000000));
    EXPECT_THAT(outer.ReadFrom(0), ElementsAre("0+2400 #2000000", "50000+4800 #0", "150000+4800 #1000000",
                                               "250000+4800 #9600", "350000+4800 #14400", "450000+4800 #19200"));
}

}  // namespace
}  // namespace Tarsel::Proc
