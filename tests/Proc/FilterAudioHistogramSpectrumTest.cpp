#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

#include "Proc/Algorithms/FourierTransform.h"
#include "Proc/Algorithms/MonoSignal.h"
#include "Proc/Algorithms/SpectrumBars.h"
#include "contracts/Core/Exception.h"
#include "tests/Proc/HistogramReference.h"
#include "tests/support/Matchers.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::size_t ALL = std::numeric_limits<std::size_t>::max();
constexpr double NO_NUMBER = std::numeric_limits<double>::quiet_NaN();
constexpr double INFINITE = std::numeric_limits<double>::infinity();

std::vector<double> RandomSignal(std::size_t count, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> level(-1, 1);
    std::vector<double> signal(count);
    for (double& value : signal) value = level(random);
    return signal;
}

TEST(FourierTransform, GivesTheSumsOfTheDefinitionAtEverySize) {
    FourierTransform fourier;
    for (std::size_t size = 1; size <= 1024; size *= 2) {
        auto const signal = RandomSignal(size, static_cast<unsigned>(size));
        Reference::Bins const expected({signal.begin(), signal.end()}, size);
        auto const& spectrum = fourier.Transform(signal, size);
        ASSERT_EQ(spectrum.size(), size);
        for (std::size_t bin = 0; bin < size; ++bin) {
            std::complex<long double> const off = std::complex<long double>(spectrum[bin]) - expected[bin];
            EXPECT_LT(std::abs(off), 1e-13L * static_cast<long double>(size)) << size << " bins, number " << bin;
        }
    }
}

TEST(FourierTransform, ShortSignalIsFilledUpWithZerosAndALongOneIsCut) {
    FourierTransform fourier;
    auto const signal = RandomSignal(64, 3);
    std::vector<double> filled(signal.begin(), signal.begin() + 40);
    auto const shorter = fourier.Transform(filled, 64);
    filled.resize(64, 0.0);
    EXPECT_EQ(shorter, fourier.Transform(filled, 64));
    auto const cut = fourier.Transform(signal, 32);
    EXPECT_EQ(cut, fourier.Transform({signal.begin(), signal.begin() + 32}, 32));
    EXPECT_THAT(fourier.Transform({}, 4), Each(std::complex<double>(0)));
}

TEST(FourierTransform, SizesTakeTurns) {
    FourierTransform fourier;
    auto const signal = RandomSignal(128, 4);
    auto const first = fourier.Transform(signal, 128);
    fourier.Transform(signal, 8);
    EXPECT_EQ(fourier.Transform(signal, 128), first);
}

TEST(FourierTransform, LongestPictureHasItsToneInOneBin) {
    constexpr std::size_t SIZE = std::size_t{1} << 20;
    constexpr std::size_t TONE = 123457;
    std::vector<double> signal(SIZE);
    for (std::size_t i = 0; i < SIZE; ++i)
        signal[i] = std::cos(2 * std::numbers::pi * static_cast<double>(i * TONE % SIZE) / SIZE);
    FourierTransform fourier;
    auto const& spectrum = fourier.Transform(signal, SIZE);
    double loudest = 0;
    for (std::size_t bin = 0; bin < SIZE / 2; ++bin)
        if (bin != TONE) loudest = std::max(loudest, std::abs(spectrum[bin]));
    EXPECT_NEAR(spectrum[TONE].real(), SIZE / 2, 1e-6);
    EXPECT_NEAR(spectrum[TONE].imag(), 0, 1e-6);
    EXPECT_LT(loudest, 1e-6);
}

TEST(FourierTransform, RefusesASizeThatIsNoPowerOfTwo) {
    FourierTransform fourier;
    for (std::size_t size : {0U, 3U, 6U, 1000U})
        EXPECT_EQ(MessageOf<std::invalid_argument>([&] {
                      fourier.Transform({1, 2, 3}, size);
                  }),
                  "A spectrum can't have " + std::to_string(size) + " bins");
}

TEST(SpectrumSize, IsThePowerOfTwoFromTheCountOn) {
    EXPECT_EQ(SpectrumSize(1, 25), 1U);
    EXPECT_EQ(SpectrumSize(2, 25), 2U);
    EXPECT_EQ(SpectrumSize(3, 25), 4U);
    EXPECT_EQ(SpectrumSize(1920, 25), 2048U);
    EXPECT_EQ(SpectrumSize(2048, 25), 2048U);
    EXPECT_EQ(SpectrumSize(2049, 25), 4096U);
}

TEST(SpectrumSize, CountsNoMoreValuesThanThePictureLastsMicroseconds) {
    EXPECT_EQ(SpectrumSize(1000000, 25), 65536U) << "40000 count";
    EXPECT_EQ(SpectrumSize(ALL, 1), 1048576U);
    EXPECT_EQ(SpectrumSize(1000, 1000000), 1U);
    EXPECT_EQ(SpectrumSize(1000, 999999), 2U) << "a little more than 1 counts";
}

iptr<IDataAudio> MakeBlock(Conf::SampleFormats format, int channels, int samples) {
    return MakeAudio(0, samples, 48000, format, Conf::DefaultChannelLayout(channels));
}

TEST(MonoSignal, IsTheMeanOfTheChannelsInEveryFormat) {
    for (int format = 0; format < 10; ++format) {
        for (int channels = 1; channels <= 8; ++channels) {
            auto const block = MakeBlock(static_cast<Conf::SampleFormats>(format), channels, 25);
            FillAudio(*block, [&](int channel, int frame) { return (frame * 7 - channel * 13) / 300.0; });
            std::vector<long double> expected;
            Reference::AddSignal(*block, expected);
            std::vector<double> values{5};
            AppendMono(block, ALL, values);
            ASSERT_EQ(values.size(), 1 + expected.size()) << format << ", " << channels;
            EXPECT_EQ(values[0], 5) << "what stands there stays";
            for (std::size_t i = 0; i < expected.size(); ++i)
                EXPECT_NEAR(values[i + 1], static_cast<double>(expected[i]), 1e-15) << format << ", " << channels;
        }
    }
}

TEST(MonoSignal, OfSixChannelsEverySixthFrameAloneIsTaken) {
    for (auto const format : {Conf::SAMPLE_FORMAT_FLT, Conf::SAMPLE_FORMAT_FLTP}) {
        auto const block = MakeBlock(format, 6, 13);
        FillAudio(*block, [](int, int frame) { return frame % 6 == 0 ? frame / 24.0 : 1.0; });
        std::vector<double> values;
        AppendMono(block, ALL, values);
        EXPECT_THAT(values, ElementsAre(0, 0.25, 0.5));
    }
}

TEST(MonoSignal, BytesCountFrom127SoThatTheirSilenceIsNotZero) {
    for (auto const format : {Conf::SAMPLE_FORMAT_U8, Conf::SAMPLE_FORMAT_U8P}) {
        auto const block = MakeBlock(format, 2, 2);
        std::vector<double> values;
        AppendMono(block, ALL, values);
        EXPECT_THAT(values, ElementsAre(1 / 127.0));
    }
}

TEST(MonoSignal, StopsAtTheLimit) {
    auto const block = MakeBlock(Conf::SAMPLE_FORMAT_S16, 1, 100);
    std::vector<double> values(10);
    AppendMono(block, 15, values);
    EXPECT_EQ(values.size(), 15U);
    AppendMono(block, 15, values);
    EXPECT_EQ(values.size(), 15U);
}

TEST(MonoSignal, BlockWithoutSamplesAddsNothing) {
    std::vector<double> values;
    AppendMono(MakeBlock(Conf::SAMPLE_FORMAT_DBLP, 2, 0), ALL, values);
    EXPECT_THAT(values, IsEmpty());
}

TEST(MonoSignal, RefusesOtherFormats) {
    for (auto const format : {Conf::SAMPLE_FORMAT_S64, Conf::SAMPLE_FORMAT_S64P}) {
        std::vector<double> values;
        EXPECT_EQ(MessageOf<FilterException>([&] { AppendMono(MakeBlock(format, 2, 10), ALL, values); }),
                  "Sample format of audio source is not supported!");
    }
}

TEST(MonoSignal, RefusesPlanesThatDoNotLieBackToBack) {
    auto const block = MakeBlock(Conf::SAMPLE_FORMAT_S16P, 2, 100);
    block->GetAVFrame()->extended_data[1] -= 2;
    std::vector<double> values;
    EXPECT_THROW(AppendMono(block, ALL, values), ProcException);
}

/// A block of another class than the usual one, which tells of no channels.
class NoChannels : public IDataAudio, public RefCounted {
  public:
    int64 GetDuration() const override { return 0; }
    void SetDuration(int64) override {}
    int64 GetTime() const override { return 0; }
    void SetTime(int64) override {}
    void CutBegin(int64) override {}
    void Cut(int64, int64) override {}
    void CutEnd(int64) override {}
    int GetChannelCount() const override { return 0; }
    int GetSampleRate() const override { return 48000; }
    int GetSampleCount() const override { return 100; }
    Conf::SampleFormats GetSampleFormat() const override { return Conf::SAMPLE_FORMAT_S16; }
    Conf::SampleInfo GetSampleInfo() const override { return {Conf::SAMPLE_FORMAT_S16, 48000, 0}; }
    AVFrame* GetAVFrame() override { return nullptr; }
    void Silence() override {}
    void SetSampleRate(int) override {}
    iptr<IBlob> GetBlob() override { return nullptr; }
    void CutSamplesBegin(int) override {}
    void CutSamplesEnd(int) override {}
    iptr<IDataAudio> Clone(bool) const override { return nullptr; }
    void MakeWritable() override {}
};

TEST(MonoSignal, RefusesABlockWithoutChannels) {
    std::vector<double> values;
    EXPECT_EQ(MessageOf<FilterException>([&] { AppendMono(MakeShared<NoChannels>(), ALL, values); }),
              "Audio source gives a block without channels");
}

using Spectrum = FourierTransform::Spectrum;

BarSettings Linear(uint32 barCount, int sampleRate = 15804, uint32 limit = 1000) {
    return {sampleRate, barCount, SettingsAudioHistogram::SCALE_LINEAR, limit};
}

BarSettings Logarithmic(uint32 barCount, int sampleRate = 15804, uint32 limit = 1000) {
    return {sampleRate, barCount, SettingsAudioHistogram::SCALE_LOGARITHMIC, limit};
}

TEST(SpectrumBars, BarIsTheMeanOfWholeQuartersOfItsBins) {
    // At this rate all bins are drawn.
    EXPECT_THAT(MeasureBars({{3, 4}, {0, -1.3}, {0.24, 0}, {0.5, 0}}, Linear(2)), ElementsAre((20 + 5) / 2.0, 1));
    EXPECT_THAT(MeasureBars({{1, 0}, {2, 0}, {3, 0}, {4, 0}}, Linear(1)), ElementsAre(10));
}

TEST(SpectrumBars, BinsLeftOverByTheBarsAreNotDrawn) {
    EXPECT_THAT(MeasureBars({{1, 0}, {1, 0}, {1, 0}, {100, 0}}, Linear(3)), ElementsAre(4, 4, 4));
}

TEST(SpectrumBars, NothingAbove15804HertzIsDrawn) {
    Spectrum spectrum(64, 1.0);
    for (std::size_t bin = 21; bin < 64; ++bin) spectrum[bin] = 100;
    // 64 / 48000 * 15804 is 21.07.
    EXPECT_THAT(MeasureBars(spectrum, Linear(1, 48000)), ElementsAre(4));
    EXPECT_THAT(MeasureBars(spectrum, Linear(21, 48000)), Each(4));
}

TEST(SpectrumBars, BinsThatASlowSourceDoesNotHaveAreEmpty) {
    // 4 bins of 7902 Hz altogether, where 8 are wanted.
    EXPECT_THAT(MeasureBars({{1, 0}, {1, 0}, {1, 0}, {1, 0}}, Linear(2, 7902)), ElementsAre(4, 0));
    EXPECT_THAT(MeasureBars({{1, 0}, {1, 0}, {1, 0}, {1, 0}}, Linear(1, 7902)), ElementsAre(2));
    EXPECT_THAT(MeasureBars(Spectrum(4, 1e9), Linear(4, 1)), ElementsAre(1000, 0, 0, 0));
}

TEST(SpectrumBars, MoreBarsThanBinsAreEmpty) {
    EXPECT_THAT(MeasureBars(Spectrum(4, 1.0), Linear(4)), Each(4));
    auto const bars = MeasureBars(Spectrum(4, 1.0), Linear(5));
    EXPECT_EQ(bars.size(), 5U);
    EXPECT_THAT(bars, Each(0));
}

TEST(SpectrumBars, NoBarsAndNoRateGiveNothing) {
    EXPECT_THAT(MeasureBars(Spectrum(4, 1.0), Linear(0)), IsEmpty());
    EXPECT_THAT(MeasureBars(Spectrum(4, 1.0), Linear(2, 0)), ElementsAre(0, 0));
    EXPECT_THAT(MeasureBars(Spectrum(4, 1.0), Linear(2, -1)), ElementsAre(0, 0));
}

TEST(SpectrumBars, LogarithmOfZeroAddsNothing) {
    double const e = std::numbers::e;
    EXPECT_THAT(MeasureBars({{e, 0}, {0, 0}}, Logarithmic(1, 15804, 70)), ElementsAre(2 * 70 * 10.0 / 70.0 / 2));
    EXPECT_THAT(MeasureBars({{0, 0}, {0, 0}}, Logarithmic(2)), ElementsAre(0, 0));
}

TEST(SpectrumBars, SumBelowZeroIsNotDividedByItsBins) {
    double const quiet = 1 / std::numbers::e;
    auto const bars = MeasureBars({{quiet, 0}, {quiet, 0}}, Logarithmic(1, 15804, 70));
    ASSERT_EQ(bars.size(), 1U);
    EXPECT_NEAR(bars[0], -40, 1e-9);
}

TEST(SpectrumBars, NoBarIsHigherThanTheLimit) {
    EXPECT_THAT(MeasureBars({{1e6, 0}, {62.5, 0}, {62.25, 0}}, Linear(3, 15804, 250)), ElementsAre(250, 250, 249));
    EXPECT_THAT(MeasureBars({{1e300, 0}, {1e-300, 0}}, Logarithmic(1, 15804, 7)), ElementsAre(7));
}

TEST(SpectrumBars, BinsThatAreNoNumberCountAsNothing) {
    for (auto const& settings : {Linear(1), Logarithmic(1)}) {
        EXPECT_THAT(MeasureBars({{NO_NUMBER, 0}, {NO_NUMBER, NO_NUMBER}}, settings), ElementsAre(0));
        EXPECT_THAT(MeasureBars({{INFINITE, 0}, {0, 0}}, settings), ElementsAre(1000));
        EXPECT_THAT(MeasureBars({{INFINITE, NO_NUMBER}, {0, 0}}, settings), ElementsAre(0));
    }
}

}  // namespace
}  // namespace Tarsel::Proc
