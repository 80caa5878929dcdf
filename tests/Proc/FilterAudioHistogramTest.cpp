#include "Proc/Filters/Filters/FilterAudioHistogram.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <typeinfo>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IStreamVisitor.h"
#include "contracts/Proc/Time.h"
#include "tests/Proc/HistogramReference.h"
#include "tests/support/EmptyBlocksStream.h"
#include "tests/support/Matchers.h"
#include "tests/support/OtherSettings.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int64 LARGEST = std::numeric_limits<int64>::max();
constexpr int RATE = 48000;
constexpr int WIDTH = 320;
constexpr int HEIGHT = 160;
constexpr int BARS = 32;

SettingsAudioHistogram MakeSettings(int picturesPerSecond = 25) {
    SettingsAudioHistogram settings;
    settings.SetWidth(WIDTH);
    settings.SetHeight(HEIGHT);
    settings.SetBarCount(BARS);
    settings.SetPicturesPerSecond(picturesPerSecond);
    return settings;
}

iptr<FilterAudioHistogram> MakeFilter(iptr<ScriptedAudio> const& source,
                                      SettingsAudioHistogram const& settings = MakeSettings(), int rate = RATE) {
    source->format->SetSampleInfo({Conf::SAMPLE_FORMAT_S16, rate, Conf::CHANNEL_LAYOUT_STEREO});
    auto filter = MakeShared<FilterAudioHistogram>(source);
    filter->Initialize(settings);
    return filter;
}

/// A tone from sample `from` of its stream on.
iptr<IDataAudio> MakeTone(int64 time, int samples, double frequency, int channels = 1,
                          Conf::SampleFormats format = Conf::SAMPLE_FORMAT_FLT, int from = 0, double loudness = 1) {
    auto const block = MakeAudio(time, samples, RATE, format, Conf::DefaultChannelLayout(channels));
    FillAudio(*block, [&](int, int frame) {
        return loudness * std::sin(2 * std::numbers::pi * frequency * (from + frame) / RATE);
    });
    return block;
}

/// The row over the bottom up to which a bar reaches, 1 the lowest; 0 for none.
int TopOf(IDataVideo const& picture, int bar) {
    auto const plane = picture.GetPlaneConst(0);
    int const barWidth = picture.GetWidth() / BARS;
    for (int above = picture.GetHeight(); above > 0; --above) {
        u8 const* const pixel = plane.GetOffsetPtr(static_cast<unsigned>(bar * barWidth + barWidth / 2),
                                                   static_cast<unsigned>(picture.GetHeight() - above));
        if (pixel[2] == 80) return above;
    }
    return 0;
}

/// The bars that are more than the lowest segment.
std::vector<int> LitBars(IDataVideo const& picture) {
    std::vector<int> lit;
    for (int bar = 0; bar < BARS; ++bar)
        if (TopOf(picture, bar) > 3) lit.push_back(bar);
    return lit;
}

/// The one bar that is higher than all others; -1 for none.
int HighestBar(IDataVideo const& picture) {
    int highest = -1;
    int top = 0;
    for (int bar = 0; bar < BARS; ++bar) {
        int const own = TopOf(picture, bar);
        if (own >= top) highest = own > top ? bar : -1;
        top = std::max(top, own);
    }
    return highest;
}

TEST(FilterAudioHistogram, RefusesNoSourceAndASourceWithoutFormat) {
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { FilterAudioHistogram::Create(nullptr); }), "parentStream is NULL.");
    auto const source = ScriptedAudio::Create({});
    source->format = nullptr;
    EXPECT_EQ(MessageOf<FilterException>([&] { FilterAudioHistogram::Create(source); }),
              "Source format codec must be present");
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
}

TEST(FilterAudioHistogram, DescribesItsPictures) {
    auto const filter = FilterAudioHistogram::Create(ScriptedAudio::Create({}));
    auto const format = filter->GetFormatCodec();
    EXPECT_EQ(format->GetFrameInfo(), (Conf::FrameInfo{640, 360, 1, 1}));
    EXPECT_EQ(format->GetPixelFormat(), PIX_FMT_RGB24);
    EXPECT_EQ(format->GetFrameRate(), Ratio(25, 1));
    EXPECT_NE(filter->GetFormatCodec(), format) << "each call gives an object of its own";
    dynamic_cast<IStreamVideoEx&>(*filter).Initialize(MakeSettings(10));
    EXPECT_EQ(filter->GetFormatCodec()->GetFrameInfo(), (Conf::FrameInfo{WIDTH, HEIGHT, 1, 1}));
    EXPECT_EQ(filter->GetFormatCodec()->GetFrameRate(), Ratio(10, 1));
}

TEST(FilterAudioHistogram, IsSetUpByAPropertyOfItsOwnName) {
    auto const filter = MakeFilter(ScriptedAudio::Create({}));
    Core::Property property(IFilterAudioHistogram::CLASS_ID);
    property.SetChild("Width", 100).SetChild("Scale", 1).SetChild("BackgroundColour", 0x102030);
    filter->Initialize(property);
    SettingsAudioHistogram expected;
    expected.SetWidth(100);
    expected.SetScale(1);
    expected.SetBackgroundColour({0x10, 0x20, 0x30});
    Core::Property const inEffect = filter->GetSettings();
    EXPECT_EQ(inEffect.Name(), IFilterAudioHistogram::CLASS_ID);
    EXPECT_EQ(inEffect["Width"].GetInt64(), 100);
    EXPECT_EQ(inEffect["Height"].GetInt64(), 360);
    EXPECT_EQ(inEffect["BackgroundColour"].GetInt64(), 0x102030);
    EXPECT_EQ(inEffect.Children(), Settings2Property(expected).Children());
    auto const other = MakeFilter(ScriptedAudio::Create({}));
    other->Initialize(inEffect);
    EXPECT_EQ(other->GetSettings(), inEffect);
}

TEST(FilterAudioHistogram, RefusesAPropertyOfAnotherNameAndNumbersOutOfRange) {
    auto const filter = MakeFilter(ScriptedAudio::Create({}));
    Core::Property const before = filter->GetSettings();
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Initialize(Settings2Property(MakeSettings())); }),
              "Filter was initialized with incorrect class (SettingsAudioHistogram)!");
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Initialize(Core::Property()); }),
              "Filter was initialized with incorrect class ()!");
    auto const with = [](char const* key, int value) {
        return Core::Property(IFilterAudioHistogram::CLASS_ID).SetChild(key, value);
    };
    EXPECT_THROW(filter->Initialize(with("Scale", 2)), FilterException);
    EXPECT_THROW(filter->Initialize(with("BarCount", -1)), FilterException);
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Initialize(with("Width", 0)); }), "Wrong settings!");
    EXPECT_EQ(filter->GetSettings(), before);
}

TEST(FilterAudioHistogram, RefusesSettingsThatNothingCanBeDrawnBy) {
    auto const filter = MakeFilter(ScriptedAudio::Create({}));
    Core::Property const before = filter->GetSettings();
    using Change = void (*)(SettingsAudioHistogram&);
    for (Change const change : std::initializer_list<Change>{
             [](auto& s) { s.SetWidth(0); }, [](auto& s) { s.SetWidth(16385); }, [](auto& s) { s.SetHeight(0); },
             [](auto& s) { s.SetHeight(16385); }, [](auto& s) { s.SetHeight(std::numeric_limits<uint32>::max()); },
             [](auto& s) { s.SetPicturesPerSecond(0); }, [](auto& s) { s.SetPicturesPerSecond(-25); },
             [](auto& s) { s.SetPicturesPerSecond(1000001); }, [](auto& s) { s.SetScale(2); },
             [](auto& s) { s.SetScale(-1); }}) {
        SettingsAudioHistogram settings;
        change(settings);
        EXPECT_EQ(MessageOf<FilterException>([&] { filter->Initialize(settings); }), "Wrong settings!");
    }
    EXPECT_THROW(filter->Initialize(OtherSettings()), std::bad_cast);
    EXPECT_EQ(filter->GetSettings(), before);
}

TEST(FilterAudioHistogram, TakesTheLargestSettings) {
    auto const filter = MakeFilter(ScriptedAudio::Create({}));
    SettingsAudioHistogram settings;
    settings.SetWidth(16384);
    settings.SetHeight(1);
    settings.SetPicturesPerSecond(1000000);
    settings.SetBarCount(std::numeric_limits<uint32>::max());
    filter->Initialize(settings);
    EXPECT_EQ(filter->GetFormatCodec()->GetWidth(), 16384);
}

TEST(FilterAudioHistogram, PictureStandsForWholeBlocksFromTheTimeOfTheFirst) {
    std::vector<iptr<IDataAudio>> script;
    for (int i = 0; i < 5; ++i) script.push_back(MakeAudio(1000 + i * 25000, 1200));
    auto const filter = MakeFilter(ScriptedAudio::Create(script));
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(1000, 50000), IsVideo(51000, 50000), IsVideo(101000, 25000)));
    EXPECT_EQ(filter->Read(), nullptr);
}

TEST(FilterAudioHistogram, BlocksThatLastExactlyAPictureMakeOneEach) {
    std::vector<iptr<IDataAudio>> script;
    for (int i = 0; i < 3; ++i) script.push_back(MakeAudio(i * 40000, 1920));
    auto const filter = MakeFilter(ScriptedAudio::Create(script));
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(0, 40000), IsVideo(40000, 40000), IsVideo(80000, 40000)));
}

TEST(FilterAudioHistogram, PictureLastsWholeMicroseconds) {
    // 1000000 / 3 is 333333.3: a block of 333333 is enough.
    std::vector<iptr<IDataAudio>> script;
    for (int i = 0; i < 2; ++i) {
        script.push_back(MakeAudio(i * 333333, 1000));
        script.back()->SetDuration(333333);
    }
    auto const filter = MakeFilter(ScriptedAudio::Create(script), MakeSettings(3));
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(0, 333333), IsVideo(333333, 333333)));
}

TEST(FilterAudioHistogram, LongBlockMakesOnePicture) {
    auto const filter = MakeFilter(ScriptedAudio::Create({MakeAudio(0, RATE * 10), MakeAudio(10000000, 480)}));
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(0, 10000000), IsVideo(10000000, 10000)));
}

TEST(FilterAudioHistogram, BlocksWithoutAUsableDurationAreCountedByTheirSamples) {
    for (int64 const duration : {int64{0}, NO_VALUE, int64{-40000}, NO_VALUE + 1}) {
        std::vector<iptr<IDataAudio>> script;
        for (int i = 0; i < 4; ++i) {
            script.push_back(MakeAudio(i * 20000, 960));
            script.back()->SetDuration(duration);
        }
        auto const filter = MakeFilter(ScriptedAudio::Create(script));
        EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(0, 40000), IsVideo(40000, 40000))) << duration;
    }
}

TEST(FilterAudioHistogram, BlocksShorterThanAMicrosecondCountOneEach) {
    // At a rate of 4 MHz a sample rounds to no microsecond at all.
    std::vector<iptr<IDataAudio>> script;
    for (int i = 0; i < 4; ++i) script.push_back(MakeAudio(i, 1, 4000000));
    auto const filter = MakeFilter(ScriptedAudio::Create(script), MakeSettings(500000));
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(0, 2), IsVideo(2, 2)));
}

TEST(FilterAudioHistogram, HugeDurationsDoNotOverflow) {
    auto const first = MakeAudio(LARGEST - 5, 10);
    auto const second = MakeAudio(LARGEST, 10);
    second->SetDuration(LARGEST);
    auto const filter = MakeFilter(ScriptedAudio::Create({first, second}));
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(LARGEST - 5, LARGEST)));
}

TEST(FilterAudioHistogram, BlockWithoutATimeGivesAPictureWithoutOne) {
    auto const filter = MakeFilter(ScriptedAudio::Create({MakeAudio(NO_VALUE, 1920), MakeAudio(40000, 1920)}));
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(NO_VALUE, 40000), IsVideo(40000, 40000)));
}

TEST(FilterAudioHistogram, BlocksThatNeitherLastNorHoldSamplesArePassedOver) {
    std::vector<iptr<IDataAudio>> script{MakeAudio(0, 960)};
    for (int i = 0; i < 1000; ++i) script.push_back(MakeAudio(20000, 0));
    script.push_back(MakeAudio(20000, 960));
    script.push_back(MakeAudio(40000, 0));
    auto const filter = MakeFilter(ScriptedAudio::Create(script));
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(0, 40000)));
}

TEST(FilterAudioHistogram, TimeWithoutSamplesEndsThePictures) {
    auto const gap = MakeAudio(0, 0);
    gap->SetDuration(40000);
    auto const filter = MakeFilter(ScriptedAudio::Create({gap, MakeAudio(40000, 1920)}));
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_THAT(filter->Read(), IsVideo(40000, 40000)) << "a further read goes on";
}

TEST(FilterAudioHistogram, SourceThatGivesEmptyBlocksForEverIsAFailure) {
    auto const source = MakeShared<EmptyBlocksStream>();
    auto const filter = MakeFilter(source);
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Read(); }), EMPTY_BLOCKS_TEXT);
    EXPECT_EQ(source->reads, 100000);
}

TEST(FilterAudioHistogram, EndThatIsSetMeanwhileEndsTheSearchForSamples) {
    auto const source = MakeShared<EmptyBlocksStream>();
    auto const filter = MakeFilter(source);
    source->watched = filter.get();
    source->endAt = 10;
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(source->reads, 10);
}

TEST(FilterAudioHistogram, SilenceHasEmptyBars) {
    for (int format = 1; format < 10; ++format) {
        if (format == Conf::SAMPLE_FORMAT_U8P) continue;
        auto const block = MakeAudio(0, 1920, RATE, static_cast<Conf::SampleFormats>(format));
        for (int const scale : {SettingsAudioHistogram::SCALE_LINEAR, SettingsAudioHistogram::SCALE_LOGARITHMIC}) {
            auto settings = MakeSettings();
            settings.SetScale(scale);
            auto const picture = MakeFilter(ScriptedAudio::Create({block}), settings)->Read();
            EXPECT_EQ(BytesOf(*picture), Reference::Picture(std::vector<double>(BARS, 0.0), WIDTH, HEIGHT, {0, 0, 0}));
            EXPECT_THAT(LitBars(*picture), IsEmpty()) << format;
            EXPECT_EQ(TopOf(*picture, 5), 3) << "the lowest segment stands under empty bars, too";
        }
    }
}

TEST(FilterAudioHistogram, SilenceIn8BitsLightsTheFirstBar) {
    for (auto const format : {Conf::SAMPLE_FORMAT_U8, Conf::SAMPLE_FORMAT_U8P}) {
        auto const block = MakeAudio(0, 16384, RATE, format, Conf::CHANNEL_LAYOUT_MONO);
        auto const picture = MakeFilter(ScriptedAudio::Create({block}))->Read();
        // Every value is 1 / 127, so that the first bin is 16384 / 127 and all others are 0; 168 bins make a bar.
        EXPECT_EQ(TopOf(*picture, 0), 7) << "516 / 168, and 4";
        EXPECT_EQ(TopOf(*picture, 1), 3);
    }
}

TEST(FilterAudioHistogram, ToneLightsItsBar) {
    // 2048 points: 674 bins, 21 a bar.
    for (double const frequency : {300.0, 1000.0, 5000.0, 12345.0, 15000.0}) {
        auto const picture =
            MakeFilter(ScriptedAudio::Create({MakeTone(0, 1920, frequency, 1, Conf::SAMPLE_FORMAT_FLT, 0, 0.2)}))
                ->Read();
        int const bar = static_cast<int>(frequency * 2048 / RATE) / 21;
        EXPECT_GT(TopOf(*picture, bar), 10) << frequency;
        EXPECT_EQ(HighestBar(*picture), bar) << frequency;
    }
}

TEST(FilterAudioHistogram, ToneOfTwoChannelsStandsAtTwiceItsFrequency) {
    for (auto const format : {Conf::SAMPLE_FORMAT_S16, Conf::SAMPLE_FORMAT_S16P}) {
        auto const picture = MakeFilter(ScriptedAudio::Create({MakeTone(0, 1920, 1000, 2, format, 0, 0.2)}))->Read();
        // 960 values in 1024 points, 10 bins a bar: 1000 * 2 * 1024 / 48000 is bin 42.
        EXPECT_EQ(HighestBar(*picture), 4) << format;
    }
}

TEST(FilterAudioHistogram, BarIsCappedAtSevenEighthsOfTheHeight) {
    auto settings = MakeSettings();
    settings.SetHeight(164);
    auto const block = MakeTone(0, 1920, 1000, 1, Conf::SAMPLE_FORMAT_FLT, 0, 1000);
    auto const picture = MakeFilter(ScriptedAudio::Create({block}), settings)->Read();
    // 164 * 7 / 8 is 143; a bar is drawn to four rows above its value.
    EXPECT_EQ(TopOf(*picture, 2), 147);
    int highest = 0;
    for (int bar = 0; bar < BARS; ++bar) highest = std::max(highest, TopOf(*picture, bar));
    EXPECT_EQ(highest, 147);
}

TEST(FilterAudioHistogram, SamplesThatAreNoNumbersGiveEmptyBars) {
    for (double const value : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        for (int scale = 0; scale < 2; ++scale) {
            auto const block = MakeTone(0, 1920, 1000, 1, Conf::SAMPLE_FORMAT_DBL);
            SamplesOf<double>(*block)[77] = value;
            auto settings = MakeSettings();
            settings.SetScale(scale);
            auto const picture = MakeFilter(ScriptedAudio::Create({block}), settings)->Read();
            ASSERT_NE(picture, nullptr);
            EXPECT_THAT(LitBars(*picture), IsEmpty()) << value;
        }
    }
}

TEST(FilterAudioHistogram, SettingsWithoutRoomForBarsGiveBackground) {
    for (uint32 const bars : {uint32{0}, uint32{WIDTH + 1}, std::numeric_limits<uint32>::max(), uint32{WIDTH / 2}}) {
        auto settings = MakeSettings();
        settings.SetBarCount(bars);
        settings.SetBackgroundColour({7, 8, 9});
        auto const picture = MakeFilter(ScriptedAudio::Create({MakeTone(0, 1920, 1000)}), settings)->Read();
        ASSERT_NE(picture, nullptr);
        EXPECT_EQ(BytesOf(*picture), Reference::Picture({}, WIDTH, HEIGHT, {7, 8, 9})) << bars;
    }
}

TEST(FilterAudioHistogram, MoreBarsThanBinsAreEmptyBars) {
    // 4 samples: 4 points, of which one bin is drawn.
    auto const block = MakeTone(0, 4, 12000);
    auto const picture = MakeFilter(ScriptedAudio::Create({block}))->Read();
    EXPECT_EQ(BytesOf(*picture), Reference::Picture(std::vector<double>(BARS, 0.0), WIDTH, HEIGHT, {0, 0, 0}));
}

TEST(FilterAudioHistogram, ShortestPicturesLookAtOneValue) {
    auto settings = MakeSettings(1000000);
    settings.SetBarCount(1);
    auto const filter =
        MakeFilter(ScriptedAudio::Create({MakeTone(0, 480, 1000), MakeTone(10000, 480, 1000)}), settings);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(0, 10000), IsVideo(10000, 10000)));
}

TEST(FilterAudioHistogram, RefusesFormatsThatItCannotRead) {
    for (auto const format : {Conf::SAMPLE_FORMAT_S64, Conf::SAMPLE_FORMAT_S64P}) {
        auto const filter = MakeFilter(ScriptedAudio::Create({MakeAudio(0, 960), MakeAudio(20000, 960, RATE, format)}));
        EXPECT_EQ(MessageOf<FilterException>([&] { filter->Read(); }),
                  "Sample format of audio source is not supported!");
    }
}

TEST(FilterAudioHistogram, RefusesPlanesThatDoNotLieBackToBack) {
    auto const block = MakeAudio(0, 1920, RATE, Conf::SAMPLE_FORMAT_S16P);
    block->GetAVFrame()->extended_data[1] += 16;
    auto const filter = MakeFilter(ScriptedAudio::Create({block}));
    EXPECT_THROW(filter->Read(), ProcException);
}

TEST(FilterAudioHistogram, FormatThatChangesOnTheWayIsReadBlockByBlock) {
    // The rate of the stream's own format goes on to lay out the bars.
    std::vector<iptr<IDataAudio>> const script{
        MakeTone(0, 480, 700, 1, Conf::SAMPLE_FORMAT_S16), MakeTone(10000, 480, 700, 6, Conf::SAMPLE_FORMAT_FLTP),
        MakeAudio(20000, 160, 16000, Conf::SAMPLE_FORMAT_U8P), MakeTone(30000, 480, 700, 2, Conf::SAMPLE_FORMAT_DBL)};
    std::vector<long double> signal;
    for (auto const& block : script) Reference::AddSignal(*block, signal);
    auto const filter = MakeFilter(ScriptedAudio::Create(script));
    auto const picture = filter->Read();
    ASSERT_THAT(picture, IsVideo(0, 40000));
    EXPECT_EQ(BytesOf(*picture),
              Reference::Picture(Reference::Bars(signal, MakeSettings(), RATE), WIDTH, HEIGHT, {0, 0, 0}));
}

TEST(FilterAudioHistogram, SourceWithoutARateIsDrawnAtItsBlocks) {
    auto const script = {MakeTone(0, 1920, 5000)};
    auto const unknown = MakeFilter(ScriptedAudio::Create(script), MakeSettings(), -1)->Read();
    auto const known = MakeFilter(ScriptedAudio::Create(script))->Read();
    EXPECT_THAT(LitBars(*unknown), ::testing::Not(IsEmpty()));
    EXPECT_EQ(BytesOf(*unknown), BytesOf(*known));
}

TEST(FilterAudioHistogram, WithoutAnyRateEachBlockIsAPictureOfEmptyBars) {
    std::vector<iptr<IDataAudio>> script{MakeTone(0, 100, 5000), MakeTone(10, 100, 5000)};
    for (auto const& block : script) {
        block->SetSampleRate(0);
        block->SetDuration(NO_VALUE);
    }
    auto const pictures = ReadAll(*MakeFilter(ScriptedAudio::Create(script), MakeSettings(), 0));
    ASSERT_THAT(pictures, ElementsAre(IsVideo(0, 40000), IsVideo(10, 40000)));
    EXPECT_THAT(LitBars(*pictures[0]), IsEmpty());
}

TEST(FilterAudioHistogram, BlocksWithoutARateAreCountedAtTheStreams) {
    std::vector<iptr<IDataAudio>> script{MakeAudio(0, 960), MakeAudio(20000, 960)};
    for (auto const& block : script) {
        block->SetSampleRate(0);
        block->SetDuration(NO_VALUE);
    }
    EXPECT_THAT(ReadAll(*MakeFilter(ScriptedAudio::Create(script))), ElementsAre(IsVideo(0, 40000)));
}

std::vector<iptr<IDataAudio>> MakeMelody() {
    std::vector<iptr<IDataAudio>> script;
    for (int i = 0; i < 40; ++i) script.push_back(MakeTone(i * 30000, 1440, 200 + 300 * i, 2));
    return script;
}

TEST(FilterAudioHistogram, SeekIsForwardedWithItsContext) {
    auto const source = ScriptedAudio::Create(MakeMelody());
    source->duration = 1200000;
    auto const filter = MakeFilter(source);
    filter->RequestSeek(500000, filter);
    filter->DoSeek();
    EXPECT_TRUE(filter->FinishSeek());
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(500000, context)", "DoSeek"));
    Seek(*filter, 5000000);
    EXPECT_EQ(source->log.Take().front(), "RequestSeek(1200000)") << "held at the duration";
}

TEST(FilterAudioHistogram, SeekGivesWhatAStreamFromThatBlockOnGives) {
    auto const melody = MakeMelody();
    auto const source = ScriptedAudio::Create(melody);
    source->duration = 1200000;
    auto const filter = MakeFilter(source);
    std::mt19937 random(8);
    for (int round = 0; round < 30; ++round) {
        auto const block = random() % melody.size();
        // In between, so that something is there to be forgotten.
        for (unsigned reads = random() % 3; reads > 0; --reads) filter->Read();
        Seek(*filter, static_cast<int64>(block) * 30000 + static_cast<int64>(random() % 30000));
        std::vector<iptr<IDataAudio>> const rest(melody.begin() + static_cast<std::ptrdiff_t>(block), melody.end());
        auto const expected = ReadAll(*MakeFilter(ScriptedAudio::Create(rest)));
        auto const pictures = ReadAll(*filter);
        ASSERT_EQ(pictures.size(), expected.size()) << block;
        for (std::size_t i = 0; i < pictures.size(); ++i) {
            ASSERT_THAT(pictures[i], IsVideo(expected[i]->GetTime(), expected[i]->GetDuration()));
            ASSERT_EQ(BytesOf(*pictures[i]), BytesOf(*expected[i])) << block << ", picture " << i;
        }
    }
}

TEST(FilterAudioHistogram, TellsTheDurationOfItsSourceAndThePlaceItHasReached) {
    auto const source = ScriptedAudio::Create(MakeMelody());
    source->duration = 1200000;
    auto const filter = MakeFilter(source);
    EXPECT_EQ(filter->GetDuration(), 1200000);
    Seek(*filter, 60000);
    EXPECT_EQ(filter->GetPosition(), 60000);
    EXPECT_THAT(filter->Read(), IsVideo(60000, 60000)) << "the picture read ahead";
    EXPECT_EQ(filter->GetPosition(), 120000);
}

TEST(FilterAudioHistogram, FailureOfTheSourcePassesAndReadingGoesOn) {
    auto const source = ScriptedAudio::Create(
        {MakeAudio(0, 960), Failure<ProcException>("no more"), MakeAudio(20000, 1920), MakeAudio(60000, 960)});
    auto const filter = MakeFilter(source);
    EXPECT_EQ(MessageOf<ProcException>([&] { filter->Read(); }), "no more");
    EXPECT_THAT(filter->Read(), IsVideo(20000, 40000)) << "what was collected ahead of the failure is gone";
}

TEST(FilterAudioHistogram, NewSettingsHoldFromTheNextPictureOn) {
    auto const filter = MakeFilter(ScriptedAudio::Create({MakeAudio(0, 1920), MakeAudio(40000, 1920)}));
    EXPECT_EQ(filter->Read()->GetWidth(), WIDTH);
    filter->Initialize(SettingsAudioHistogram());
    EXPECT_EQ(filter->Read()->GetWidth(), 640);
}

TEST(FilterAudioHistogram, CountsItsPicturesAndIsVisitedAheadOfItsSource) {
    auto const filter = MakeFilter(ScriptedAudio::Create({MakeAudio(0, 1920), MakeAudio(40000, 1920)}));
    ReadAll(*filter);
    Core::Property const statistic = filter->GetStatistic().Children().back();
    EXPECT_EQ(statistic, Core::MakeStatistics("Tarsel::Proc::FilterAudioHistogram::GetStatistic", 0, 2));
    Visitors::InfoCollector names;
    filter->Accept(names);
    EXPECT_THAT(names.names, ElementsAre("FilterAudioHistogram", "ScriptedStream"));
}

}  // namespace
}  // namespace Tarsel::Proc
