#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "Proc/Algorithms/SpectrumBars.h"
#include "Proc/Filters/Filters/FilterAudioHistogram.h"
#include "contracts/Core/Exception.h"
#include "tests/Proc/HistogramReference.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;

iptr<IDataVideo> MakePicture(int width, int height) {
    return MakeVideo(0, 40000, 0x5A, PIX_FMT_RGB24, width, height);
}

/// How many pixels of the picture aren't background, in a row counted from the bottom, 1 the lowest.
int LitInRow(IDataVideo const& picture, int above, std::array<u8, 3> const& background = {0, 0, 0}) {
    int lit = 0;
    auto const plane = picture.GetPlaneConst(0);
    for (int x = 0; x < picture.GetWidth(); ++x) {
        u8 const* const pixel =
            plane.GetOffsetPtr(static_cast<unsigned>(x), static_cast<unsigned>(picture.GetHeight() - above));
        if (!std::equal(background.begin(), background.end(), pixel)) ++lit;
    }
    return lit;
}

TEST(DrawBars, DrawsEveryPixelAsItsOwnConditionsSay) {
    std::mt19937 random(11);
    std::set<int> barWidths;
    for (int round = 0; round < 400; ++round) {
        int const width = 1 + static_cast<int>(random() % 130);
        int const height = 1 + static_cast<int>(random() % 90);
        std::vector<double> bars(random() % 40);
        for (double& bar : bars) bar = static_cast<double>(random() % 1000) / 1000 * (height + 10) - 8;
        std::array<u8, 3> const background{static_cast<u8>(random()), static_cast<u8>(random()),
                                           static_cast<u8>(random())};
        auto const picture = MakePicture(width, height);
        DrawBars(*picture, bars, background);
        ASSERT_EQ(BytesOf(*picture), Reference::Picture(bars, width, height, background))
            << width << "x" << height << ", " << bars.size() << " bars, round " << round;
        if (!bars.empty()) barWidths.insert(width / static_cast<int>(bars.size()));
    }
    EXPECT_THAT(barWidths, ::testing::IsSupersetOf({0, 1, 2, 3, 4, 5})) << "the rounds don't cover all widths";
}

TEST(DrawBars, WritesNothingBeyondTheRows) {
    // Rows with room behind them, as a picture cut out of a larger one has.
    constexpr int WIDTH = 10;
    constexpr int STRIDE = 48;
    constexpr int HEIGHT = 6;
    AVFrame* const frame = av_frame_alloc();
    frame->format = AV_PIX_FMT_RGB24;
    frame->width = WIDTH;
    frame->height = HEIGHT;
    frame->buf[0] = av_buffer_alloc(STRIDE * HEIGHT);
    frame->data[0] = frame->buf[0]->data;
    frame->linesize[0] = STRIDE;
    std::fill_n(frame->data[0], STRIDE * HEIGHT, u8{0x5A});
    auto const picture = DataVideoFF::Wrap(frame, 0, 1);
    DrawBars(*picture, {3, 0}, {1, 2, 3});
    EXPECT_EQ(BytesOf(*picture), Reference::Picture({3, 0}, WIDTH, HEIGHT, {1, 2, 3}));
    for (int y = 0; y < HEIGHT; ++y)
        for (int x = WIDTH * 3; x < STRIDE; ++x) ASSERT_EQ(frame->data[0][y * STRIDE + x], 0x5A) << x << ", " << y;
}

TEST(DrawBars, BarsNarrowerThanThreeColumnsAreBlank) {
    auto const picture = MakePicture(20, 20);
    for (std::size_t count : {7U, 10U, 20U}) {
        DrawBars(*picture, std::vector<double>(count, 20.0), {0, 0, 0});
        EXPECT_EQ(LitInRow(*picture, 1), 0) << count;
    }
    DrawBars(*picture, std::vector<double>(6, 20.0), {0, 0, 0});
    EXPECT_EQ(LitInRow(*picture, 1), 6);
}

TEST(DrawBars, MoreBarsThanColumnsAndNoBarsAreAllBackground) {
    for (std::size_t count : {0U, 11U, 1000U}) {
        auto const picture = MakePicture(10, 4);
        DrawBars(*picture, std::vector<double>(count, 4.0), {9, 8, 7});
        EXPECT_EQ(BytesOf(*picture), Reference::Picture({}, 10, 4, {9, 8, 7})) << count;
    }
}

TEST(DrawBars, BarsStandInSegmentsOfThreeRowsAndAGap) {
    auto const picture = MakePicture(9, 40);
    DrawBars(*picture, {13.0}, {0, 0, 0});
    for (int above = 1; above <= 40; ++above)
        EXPECT_EQ(LitInRow(*picture, above), above <= 17 && above % 4 != 0 ? 7 : 0) << above;
}

/// Settings, sound and what is told of them when a round fails.
struct Round {
    SettingsAudioHistogram settings;
    Conf::SampleInfo info;
    double loudness = 1;
    std::vector<int> blocks;
    std::string text;
};

Round MakeRound(std::mt19937& random, int number) {
    auto const pick = [&](std::initializer_list<int> values) {
        return *(values.begin() + static_cast<std::ptrdiff_t>(random() % values.size()));
    };
    Round round;
    int const width = 1 + static_cast<int>(random() % 200);
    int const height = 1 + static_cast<int>(random() % 150);
    int const bars = pick({0, 1, 2, 3, 5, 7, 16, 32, 33, 64, 100, width, width + 1});
    round.settings.SetWidth(static_cast<uint32>(width));
    round.settings.SetHeight(static_cast<uint32>(height));
    round.settings.SetPicturesPerSecond(pick({25, 30, 60, 100, 999}));
    round.settings.SetScale(static_cast<int>(random() % 2));
    round.settings.SetBarCount(static_cast<uint32>(bars));
    round.settings.SetBackgroundColour({static_cast<u8>(random()), static_cast<u8>(random()), 3});
    auto const format = static_cast<Conf::SampleFormats>(number % 10);
    int const channels = 1 + number / 10 % 6;
    int const rate = pick({4000, 8000, 16000, 22050, 48000});
    round.info.Init(format, rate, Conf::DefaultChannelLayout(channels));
    round.loudness = static_cast<double>(1 + random() % 100) / 100;
    // Quiet enough for the linear scale not to reach the top everywhere.
    if (round.settings.GetScale() == SettingsAudioHistogram::SCALE_LINEAR) round.loudness /= 5;
    int const period = rate / round.settings.GetPicturesPerSecond();
    while (round.blocks.size() < 6) round.blocks.push_back(1 + static_cast<int>(random() % (period + 1)));
    round.text = std::to_string(width) + "x" + std::to_string(height) + ", " + std::to_string(bars) + " bars, scale " +
                 std::to_string(round.settings.GetScale()) + ", format " + std::to_string(format) + ", " +
                 std::to_string(channels) + " channels at " + std::to_string(rate) + ", round " +
                 std::to_string(number);
    return round;
}

TEST(FilterAudioHistogram, DrawsRandomSoundOfAllFormatsAsTheFormulasSay) {
    std::mt19937 random(5);
    int partlyLit = 0;
    for (int number = 0; number < 180; ++number) {
        Round const round = MakeRound(random, number);
        std::vector<iptr<IDataAudio>> script;
        int64 time = 0;
        for (int const samples : round.blocks) {
            auto const block = DataAudioFF::CreateBySampleCount(round.info, samples);
            FillAudio(*block,
                      [&](int, int) { return (static_cast<double>(random() % 20001) / 10000 - 1) * round.loudness; });
            block->SetTime(time);
            time += block->GetDuration();
            script.push_back(block);
        }
        auto const source = ScriptedAudio::Create(script);
        source->format->SetSampleInfo(round.info);
        iptr<FilterAudioHistogram> const filter(new FilterAudioHistogram(source));
        filter->Initialize(round.settings);

        int64 const period = 1000000 / round.settings.GetPicturesPerSecond();
        std::size_t next = 0;
        while (next < script.size()) {
            int64 const begin = script[next]->GetTime();
            int64 length = 0;
            std::vector<long double> signal;
            for (; next < script.size() && length < period; ++next) {
                length += script[next]->GetDuration();
                Reference::AddSignal(*script[next], signal);
            }
            auto const picture = filter->Read();
            ASSERT_NE(picture, nullptr) << round.text;
            ASSERT_EQ(picture->GetTime(), begin) << round.text;
            ASSERT_EQ(picture->GetDuration(), length) << round.text;
            auto const bars = Reference::Bars(signal, round.settings, round.info.GetSampleRate());
            ASSERT_EQ(BytesOf(*picture), Reference::Picture(bars, picture->GetWidth(), picture->GetHeight(),
                                                            round.settings.GetBackgroundColour()))
                << round.text;
            int const rows = picture->GetHeight() * 7 / 8;
            if (std::any_of(bars.begin(), bars.end(), [&](double bar) { return bar > 1 && bar < rows; })) ++partlyLit;
        }
        ASSERT_EQ(filter->Read(), nullptr) << round.text;
    }
    EXPECT_GT(partlyLit, 100) << "too few pictures tell their bars apart";
}

}  // namespace
}  // namespace Tarsel::Proc
