#include "Proc/Filters/Filters/FilterResample.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <numbers>
#include <random>
#include <stdexcept>
#include <typeinfo>
#include <vector>

#include "contracts/Conf/IPreset.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/Time.h"
#include "host/graph/Factories.h"
#include "tests/support/Builders.h"
#include "tests/support/EmptyBlocksStream.h"
#include "tests/support/IdleEffect.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedEngines.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Blocks = std::vector<iptr<IDataAudio>>;

constexpr char const* NO_ENGINE = "There is no any implementation for Resample";
Conf::SampleInfo const MONO_96{Conf::SAMPLE_FORMAT_FLTP, 96000, Conf::CHANNEL_LAYOUT_MONO};

/// A filter over scripted blocks whose converters note their calls beside the source's own log.
struct Scripted {
    explicit Scripted(iptr<ScriptedAudio> stream) : source(std::move(stream)) {
        factory->onCreate = [this](std::string const& classId, std::string const& implName) {
            log->Add("CreateEffect " + classId + " " + implName);
            iptr<ScriptedResample> const engine(new ScriptedResample(log));
            engine->implementation = implName;
            engine->onInitialize = onInitialize;
            engines.push_back(engine);
            return engine;
        };
    }
    iptr<FilterResample> Make() {
        auto filter = MakeShared<FilterResample>(source, factory);
        log->Take();
        return filter;
    }

    std::shared_ptr<CallLog> log = std::make_shared<CallLog>();
    iptr<ScriptedAudio> source;
    iptr<ScriptedEffectFactory> factory = MakeShared<ScriptedEffectFactory>();
    std::function<void()> onInitialize;
    std::vector<iptr<ScriptedResample>> engines;
};

TEST(FilterResample, MakesTheDefaultConverterAtOnce) {
    Scripted scripted(ScriptedAudio::Create({}));
    MakeShared<FilterResample>(scripted.source, scripted.factory);
    EXPECT_THAT(scripted.log->Take(), ElementsAre("CreateEffect Resample Default"));
    auto const filter = FilterResample::Create(scripted.source, scripted.factory);
    EXPECT_NE(dynamic_cast<IStreamAudioEx*>(filter.get()), nullptr);
}

TEST(FilterResample, ReadsAndConvertsUntilSomethingComesOut) {
    Scripted scripted(ScriptedAudio::Create({MakeAudio(0, 1), MakeAudio(1, 2), MakeAudio(2, 3), MakeAudio(3, 4)}));
    auto const filter = scripted.Make();
    auto const made = MakeAudio(77, 9);
    int calls = 0;
    scripted.engines[0]->onProcess = [&](iptr<IDataAudio> block) -> iptr<IDataAudio> {
        scripted.source->log.Add("Process");
        ++calls;
        if (calls == 3) return made;
        if (calls == 5) return MakeAudio(88, 2);
        return calls == 6 ? block : nullptr;
    };
    EXPECT_EQ(filter->Read(), made) << "what the converter gives is the result, as it is";
    EXPECT_THAT(scripted.source->log.Take(), ElementsAre("Read", "Process", "Read", "Process", "Read", "Process"));
    EXPECT_THAT(scripted.log->Take(), ElementsAre("Process(block)", "Process(block)", "Process(block)"));
    EXPECT_THAT(filter->Read(), IsAudio(88, 2)) << "the rest, with a null input";
    EXPECT_THAT(scripted.log->Take(), ElementsAre("Process(block)", "Process(null)"));
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_THAT(scripted.log->Take(), ElementsAre("Process(null)"));
    EXPECT_EQ(filter->GetStatistic().Children().back(),
              Core::MakeStatistics("Tarsel::Proc::FilterResample::GetStatistic", 0, 2));
}

TEST(FilterResample, BehindTheEndReadsKeepGivingNull) {
    Scripted scripted(ScriptedAudio::Create({MakeAudio(0, 1)}));
    auto const filter = scripted.Make();
    EXPECT_THAT(filter->Read(), IsAudio(0, 1));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(filter->Read(), nullptr);
        EXPECT_THAT(scripted.log->Take(), testing::Contains("Process(null)"));
    }
    EXPECT_EQ(filter->GetStatistic().Children().back(),
              Core::MakeStatistics("Tarsel::Proc::FilterResample::GetStatistic", 0, 1));
}

TEST(FilterResample, EndFromTheHostGivesNullWithoutAskingTheSource) {
    Scripted scripted(ScriptedAudio::Create({MakeAudio(0, 1), MakeAudio(1, 1)}));
    auto const filter = scripted.Make();
    filter->SetEndOfStream();
    scripted.source->log.Take();
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_THAT(scripted.source->log.Take(), IsEmpty());
    EXPECT_THAT(scripted.log->Take(), IsEmpty());
}

TEST(FilterResample, EndFromTheHostWhileTheConverterFillsUpGivesNull) {
    Scripted scripted(ScriptedAudio::Create({MakeAudio(0, 1), MakeAudio(1, 1)}));
    auto const filter = scripted.Make();
    scripted.engines[0]->onProcess = [&](iptr<IDataAudio> const&) {
        filter->SetEndOfStream();
        return iptr<IDataAudio>();
    };
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_THAT(scripted.log->Take(), ElementsAre("Process(block)"));
}

TEST(FilterResample, SeekResetsTheConverterAndGoesToTheSource) {
    Scripted scripted(ScriptedAudio::Create({MakeAudio(0, 480), MakeAudio(10000, 480)}));
    scripted.source->duration = 20000;
    auto const filter = scripted.Make();
    filter->RequestSeek(12000, scripted.source);
    EXPECT_THAT(scripted.log->Take(), ElementsAre("ResetEffectState"));
    EXPECT_THAT(scripted.source->log.Take(), ElementsAre("RequestSeek(12000, context)"));
    filter->DoSeek();
    EXPECT_THAT(scripted.source->log.Take(), ElementsAre("DoSeek"));
    EXPECT_THAT(filter->Read(), IsAudio(10000, 480));
    EXPECT_EQ(filter->GetDuration(), 20000);
}

TEST(FilterResample, ReleaseResetsTheConverterAndReleasesTheSource) {
    Scripted scripted(ScriptedAudio::Create({}));
    auto const filter = scripted.Make();
    filter->ReleaseInternalData();
    EXPECT_THAT(scripted.log->Take(), ElementsAre("ResetEffectState"));
    EXPECT_THAT(scripted.source->log.Take(), ElementsAre("ReleaseInternalData"));
}

TEST(FilterResample, WantedFormatGoesToTheConverter) {
    Scripted scripted(ScriptedAudio::Create({}));
    auto const filter = scripted.Make();
    filter->SetSampleInfo(MONO_96);
    EXPECT_THAT(scripted.log->Take(), ElementsAre("SetSampleInfo(8, 96000, 4)"));
    auto const format = Conf::IFormatCodecAudio::Create();
    format->SetSampleInfo(MONO_96);
    filter->SetFormatCodec(format);
    EXPECT_THAT(scripted.log->Take(), ElementsAre("SetSampleInfo(8, 96000, 4)"));
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { filter->SetFormatCodec(nullptr); }), "format is NULL");
}

TEST(FilterResample, FormatIsTheSourcesAdaptedByTheConverter) {
    Scripted scripted(ScriptedAudio::Create({}));
    scripted.source->format->SetCodecID("pcm");
    scripted.source->format->SetSampleRate(44100);
    auto const filter = scripted.Make();
    auto const format = filter->GetFormatCodec();
    EXPECT_THAT(scripted.log->Take(), ElementsAre("AdaptFormatCodec"));
    EXPECT_EQ(format->GetSampleInfo().GetSampleRate(), 12345);
    EXPECT_EQ(format->GetCodecID(), "pcm");
    EXPECT_EQ(scripted.source->format->GetSampleInfo().GetSampleRate(), 44100) << "the source's own format stays";
    scripted.source->format = nullptr;
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->GetFormatCodec(); }), "Source format codec must be present");
}

TEST(FilterResample, PropertyMakesAConverterOfTheNamedImplementationAndInitializesIt) {
    Scripted scripted(ScriptedAudio::Create({}));
    auto const filter = scripted.Make();
    SettingsFilterResample settings(MONO_96);
    settings.SetImplementation("Own");
    Core::Property const property = IFilterResample::Settings2Property(settings);
    filter->Initialize(property);
    EXPECT_THAT(scripted.log->Take(), ElementsAre("CreateEffect Resample Own", "Initialize property Resample"));
    EXPECT_EQ(filter->GetSettings(), property);
    filter->Read();
    EXPECT_THAT(scripted.log->Take(), ElementsAre("Process(null)"));
    EXPECT_EQ(scripted.engines[0]->GetRefCountImpl(), 1U) << "the old converter is let go";
}

TEST(FilterResample, SettingsMakeAConverterOfTheNamedImplementationAndInitializeIt) {
    Scripted scripted(ScriptedAudio::Create({}));
    auto const filter = scripted.Make();
    SettingsFilterResample settings(MONO_96);
    settings.SetImplementation("Own");
    filter->Initialize(settings);
    EXPECT_THAT(scripted.log->Take(), ElementsAre("CreateEffect Resample Own", "Initialize settings Resample"));
    EXPECT_EQ(filter->GetSettings(), IFilterResample::Settings2Property(settings));
    EXPECT_THROW(filter->Initialize(OtherSettings()), std::bad_cast);
    EXPECT_EQ(filter->GetSettings(), IFilterResample::Settings2Property(settings));
    EXPECT_THAT(scripted.log->Take(), IsEmpty());
}

TEST(FilterResample, PropertyOfAnotherClassIsRefusedByItsName) {
    Scripted scripted(ScriptedAudio::Create({}));
    auto const filter = scripted.Make();
    for (char const* name : {"FilterAudioFormatter", "SettingsFilterResample", ""})
        EXPECT_EQ(MessageOf<FilterException>([&] { filter->Initialize(Core::Property(name)); }),
                  std::string("Filter was initialized with incorrect class (") + name + ")!");
    EXPECT_THAT(scripted.log->Take(), IsEmpty());
}

TEST(FilterResample, FailedInitializationLeavesTheOldConverter) {
    Scripted scripted(ScriptedAudio::Create({}));
    auto const filter = scripted.Make();
    auto const before = filter->GetSettings();
    scripted.onInitialize = [] { TARSEL_THROW(EffectException, "no such format"); };
    Core::Property const property = IFilterResample::Settings2Property(SettingsFilterResample(MONO_96));
    EXPECT_EQ(MessageOf<EffectException>([&] { filter->Initialize(property); }), "no such format");
    EXPECT_EQ(MessageOf<EffectException>([&] { filter->Initialize(SettingsFilterResample(MONO_96)); }),
              "no such format");
    EXPECT_THROW(filter->Initialize(Core::Property(IFilterResample::CLASS_ID)), Core::CoreException);
    EXPECT_THROW(filter->Initialize(Core::Property(IFilterResample::CLASS_ID)
                                        .SetChild(IResample::CLASS_ID, Core::Property(IResample::CLASS_ID))),
                 Core::CoreException);
    EXPECT_EQ(filter->GetSettings(), before);
    scripted.log->Take();
    filter->Read();
    EXPECT_EQ(scripted.engines[0]->GetRefCountImpl(), 2U);
}

TEST(FilterResample, NullPartsAndEnginesOfAnotherKindAreRefused) {
    auto const source = ScriptedAudio::Create({});
    auto const factory = MakeShared<ScriptedEffectFactory>();
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { FilterResample::Create(source, nullptr); }),
              "effectFactory is NULL");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { FilterResample::Create(nullptr, factory); }),
              "parentStream is NULL.");
    factory->onCreate = [](std::string const&, std::string const&) {
        return iptr<IEffect>(new IdleEffect<IOneInputEffectAudio>());
    };
    EXPECT_EQ(MessageOf<EffectException>([&] { FilterResample::Create(source, factory); }), NO_ENGINE);
    factory->onCreate = [](std::string const&, std::string const&) { return iptr<IEffect>(); };
    EXPECT_EQ(MessageOf<EffectException>([&] { FilterResample::Create(source, factory); }), NO_ENGINE);
    factory->onCreate = [](std::string const&, std::string const&) -> iptr<IEffect> {
        TARSEL_THROW(EffectException, "the factory's own");
    };
    EXPECT_EQ(MessageOf<EffectException>([&] { FilterResample::Create(source, factory); }), "the factory's own");
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
}

TEST(FilterResample, FailuresOfSourceAndConverterPassThroughAndReadingGoesOn) {
    Scripted scripted(ScriptedAudio::Create({Failure<FilterException>("broken"), MakeAudio(0, 1), MakeAudio(1, 1)}));
    auto const filter = scripted.Make();
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Read(); }), "broken");
    bool fail = true;
    scripted.engines[0]->onProcess = [&](iptr<IDataAudio> block) {
        if (std::exchange(fail, false)) TARSEL_THROW(EffectException, "no");
        return block;
    };
    EXPECT_EQ(MessageOf<EffectException>([&] { filter->Read(); }), "no");
    EXPECT_THAT(filter->Read(), IsAudio(1, 1));
}

TEST(FilterResample, NamesItselfToVisitors) {
    Scripted scripted(ScriptedAudio::Create({}));
    auto const filter = scripted.Make();
    Visitors::InfoCollector names;
    filter->Accept(names);
    EXPECT_THAT(names.names, ElementsAre("FilterResample", "ScriptedStream"));
}

// --- With the host's converter ---------------------------------------------------------------------------------------

constexpr int RATE = 44100;
constexpr int BLOCK = 1024;
constexpr int BLOCKS = 100;

/// A tone of 440 Hz.
iptr<ScriptedAudio> MakeTone(Conf::SampleFormats format = Conf::SAMPLE_FORMAT_FLT) {
    std::vector<iptr<IDataAudio>> script;
    for (int i = 0; i < BLOCKS; ++i) {
        auto const time = SampleCount2Duration(int64{i} * BLOCK, RATE);
        auto block = MakeAudio(time, BLOCK, RATE, format, Conf::CHANNEL_LAYOUT_MONO);
        block->SetDuration(SampleCount2Duration(int64{i + 1} * BLOCK, RATE) - time);
        for (int k = 0; k < BLOCK; ++k) {
            double const value = 0.5 * std::sin(2 * std::numbers::pi * 440 * (i * BLOCK + k) / RATE);
            if (format == Conf::SAMPLE_FORMAT_FLT)
                SamplesOf<float>(*block)[k] = static_cast<float>(value);
            else
                SamplesOf<std::int16_t>(*block)[k] = static_cast<std::int16_t>(std::lrint(value * 32767));
        }
        script.push_back(block);
    }
    auto source = ScriptedAudio::Create(script);
    source->format->SetSampleInfo({format, RATE, Conf::CHANNEL_LAYOUT_MONO});
    source->duration = SampleCount2Duration(int64{BLOCKS} * BLOCK, RATE);
    return source;
}

iptr<IStreamAudioEx> MakeFilter(iptr<ScriptedAudio> const& source, Conf::SampleInfo const& target) {
    return Host::MakeFilterFactory()->CreateAudio(SettingsFilterResample::CLASS_ID, ImplNames::DEFAULT, source,
                                                  SettingsFilterResample(target));
}

std::vector<float> FloatsOf(Blocks const& blocks) {
    std::vector<float> samples;
    for (auto const& block : blocks)
        samples.insert(samples.end(), SamplesOf<float>(*block), SamplesOf<float>(*block) + block->GetSampleCount());
    return samples;
}

TEST(FilterResample, DedicatedFormConvertsByTheHostsConverter) {
    auto const source = MakeTone();
    auto const filter = Host::MakeFilterFactory()->CreateResample(iptr<IStreamAudio>(source), ImplNames::DEFAULT);
    Seek(*filter, 0);
    auto const block = filter->Read();
    EXPECT_EQ(block.get(), source->delivered.back()) << "without settings blocks pass as the same objects";
    filter->SetSampleInfo({Conf::SAMPLE_FORMAT_S16, 48000, Conf::CHANNEL_LAYOUT_STEREO});
    EXPECT_EQ(filter->GetFormatCodec()->GetSampleInfo(),
              Conf::SampleInfo(Conf::SAMPLE_FORMAT_S16, 48000, Conf::CHANNEL_LAYOUT_STEREO));
    EXPECT_EQ(filter->Read()->GetSampleInfo(), filter->GetFormatCodec()->GetSampleInfo());
}

TEST(FilterResample, WholeStreamHasAsManySamplesAsItIsWorthAndCountedTimes) {
    auto const filter = MakeFilter(MakeTone(), {Conf::SAMPLE_FORMAT_NONE, 48000, 0});
    Seek(*filter, 0);
    auto const blocks = ReadAll(*filter);
    EXPECT_EQ(filter->Read(), nullptr);
    int64 count = 0;
    for (auto const& block : blocks) {
        ASSERT_EQ(block->GetTime(), SampleCount2Duration(count, 48000));
        count += block->GetSampleCount();
    }
    EXPECT_EQ(count, std::llround(double{BLOCKS} * BLOCK / RATE * 48000));
    EXPECT_NEAR(static_cast<double>(filter->GetPosition()), static_cast<double>(filter->GetDuration()), 21);
}

TEST(FilterResample, BehindAnySeekConversionAtTheSameRateGivesWhatReadingStraightThroughGives) {
    auto const filter = MakeFilter(MakeTone(Conf::SAMPLE_FORMAT_S16), {Conf::SAMPLE_FORMAT_FLT, -1, 0});
    Seek(*filter, 0);
    auto const straight = ReadAll(*filter);
    ASSERT_EQ(straight.size(), std::size_t{BLOCKS});
    for (unsigned seed = 1; seed <= 50; ++seed) {
        std::mt19937 random(seed);
        int64 const position = static_cast<int64>(random() % static_cast<unsigned>(filter->GetDuration()));
        Seek(*filter, position);
        auto const blocks = ReadAll(*filter);
        ASSERT_FALSE(blocks.empty());
        auto expected = straight.end() - static_cast<std::ptrdiff_t>(blocks.size());
        EXPECT_LE((*expected)->GetTime(), position);
        for (auto const& block : blocks) {
            ASSERT_THAT(block, IsAudio((*expected)->GetTime(), (*expected)->GetSampleCount()));
            ASSERT_EQ(block->GetDuration(), (*expected)->GetDuration());
            ASSERT_EQ(FloatsOf({block}), FloatsOf({*expected}));
            ++expected;
        }
    }
}

TEST(FilterResample, BehindAnySeekConvertedRatesHaveCountedTimesAndNearlyTheSameSamples) {
    for (int const rate : {48000, 22050}) {
        auto const source = MakeTone();
        auto const filter = MakeFilter(source, {Conf::SAMPLE_FORMAT_NONE, rate, 0});
        for (unsigned seed = 1; seed <= 20; ++seed) {
            std::mt19937 random(seed);
            int const landing = static_cast<int>(random() % (BLOCKS - 3));
            int64 const time = SampleCount2Duration(int64{landing} * BLOCK, RATE);
            Seek(*filter, time + 1 + static_cast<int64>(random() % 20000));
            auto const blocks = ReadAll(*filter);
            SCOPED_TRACE("seed " + std::to_string(seed) + ", block " + std::to_string(landing));
            int64 count = 0;
            for (auto const& block : blocks) {
                ASSERT_EQ(block->GetTime(), time + SampleCount2Duration(count, rate));
                count += block->GetSampleCount();
                ASSERT_EQ(block->GetTime() + block->GetDuration(), time + SampleCount2Duration(count, rate));
            }
            ASSERT_EQ(count, std::llround(double(BLOCKS - landing) * BLOCK / RATE * rate));
            auto const samples = FloatsOf(blocks);
            double const start = double(landing) * BLOCK / RATE;
            for (std::size_t i = 0; i < samples.size(); ++i) {
                double const at = start + static_cast<double>(i) / rate;
                bool const isEdge = i < 50 || i + 50 > samples.size();
                ASSERT_NEAR(samples[i], 0.5 * std::sin(2 * std::numbers::pi * 440 * at), isEdge ? 0.04 : 0.001) << i;
            }
        }
    }
}

TEST(FilterResample, NothingOfWhatStoodInFrontOfASeekComesOutBehindIt) {
    auto const filter = MakeFilter(MakeTone(), {Conf::SAMPLE_FORMAT_NONE, 48000, 0});
    Seek(*filter, 0);
    filter->Read();
    Seek(*filter, 1500000);
    auto const first = filter->Read();
    EXPECT_EQ(first->GetTime(), SampleCount2Duration(int64{1500000} * RATE / SECOND / BLOCK * BLOCK, RATE));
}

TEST(FilterResample, SourceThatGivesEmptyBlocksForEverIsAFailureAndCanBeSoughtAgain) {
    auto const source = MakeShared<EmptyBlocksStream>();
    auto const filter = MakeFilter(source, MONO_96);
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Read(); }), EMPTY_BLOCKS_TEXT);
    EXPECT_EQ(source->reads, 100000);
    Seek(*filter, 0);
    source->watched = filter.get();
    source->endAt = 100010;
    EXPECT_EQ(filter->Read(), nullptr) << "an end that is set meanwhile ends the search for samples";
}

TEST(FilterResample, SettingsOfAnotherClassAreABadCastAndTheHalfBuiltFilterIsReleased) {
    auto const source = MakeTone();
    EXPECT_THROW(Host::MakeFilterFactory()->CreateAudio(SettingsFilterResample::CLASS_ID, ImplNames::TARSEL, source,
                                                        OtherSettings()),
                 std::bad_cast);
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
    SettingsFilterResample settings;
    settings.SetImplementation(ImplNames::OGL);
    EXPECT_EQ(MessageOf<EffectException>([&] {
                  Host::MakeFilterFactory()->CreateAudio(SettingsFilterResample::CLASS_ID, ImplNames::TARSEL, source,
                                                         settings);
              }),
              NO_ENGINE);
}

}  // namespace
}  // namespace Tarsel::Proc
