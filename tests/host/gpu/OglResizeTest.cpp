#include "host/gpu/OglResize.h"

#include <gtest/gtest.h>

#include "contracts/Core/Exception.h"
#include "tests/host/gpu/TwoSides.h"
#include "tests/support/ExpectThrow.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;
using TestSupport::MessageOf;

/// What both sides may differ by at most.
constexpr int TOLERANCE = 2;

SettingsResizer To(int width, int height, SettingsResizer::Algorithms algorithm = SettingsResizer::ALGORITHM_BICUBIC,
                   SettingsResizer::CustomModes mode = SettingsResizer::MODE_STRETCH, int aspectNum = 1,
                   int aspectDen = 1) {
    SettingsResizer settings;
    settings.SetCustomMode(mode, {width, height, aspectNum, aspectDen});
    settings.SetAlgorithm(algorithm);
    return settings;
}

constexpr SettingsResizer::Algorithms ALGORITHMS[] = {
    SettingsResizer::ALGORITHM_BILINEAR, SettingsResizer::ALGORITHM_BICUBIC, SettingsResizer::ALGORITHM_LANCZOS};

struct Scale {
    int width, height, toWidth, toHeight;
};

class OglResizing : public GpuTest {
  protected:
    static void ExpectAgreement(std::vector<Scale> const& scales) {
        for (Scale const& scale : scales)
            for (auto const algorithm : ALGORITHMS)
                for (auto const& picture : AllKinds(scale.width, scale.height))
                    EXPECT_LE(CompareSides(To(scale.toWidth, scale.toHeight, algorithm), {picture}), TOLERANCE)
                        << scale.width << "x" << scale.height << " to " << scale.toWidth << "x" << scale.toHeight
                        << " by " << algorithm;
    }
};

TEST_F(OglResizing, EnlargesAsTheProcessorDoes) {
    ExpectAgreement({{64, 48, 128, 96}, {64, 48, 97, 71}, {33, 17, 100, 99}, {50, 40, 51, 41}, {333, 77, 1000, 133}});
}

TEST_F(OglResizing, ReducesAsTheProcessorDoes) {
    ExpectAgreement({{200, 150, 199, 149}, {200, 150, 150, 100}, {201, 151, 102, 77}, {333, 77, 170, 33}});
}

TEST_F(OglResizing, ReducesToHalfAndLessAsTheProcessorDoes) {
    ExpectAgreement({{200, 150, 100, 75},
                     {200, 150, 67, 41},
                     {201, 151, 40, 33},
                     {61, 9, 30, 4},
                     {560, 280, 20, 10},
                     {2000, 6, 500, 3}});
}

TEST_F(OglResizing, ScalesOneDirectionAsTheProcessorDoes) {
    ExpectAgreement({{60, 50, 60, 25}, {60, 50, 60, 90}, {60, 50, 40, 50}, {60, 50, 99, 50}, {60, 50, 20, 90}});
}

TEST_F(OglResizing, ScalesTheSmallestPicturesAsTheProcessorDoes) {
    ExpectAgreement({{1, 1, 7, 7},
                     {1, 1, 1, 9},
                     {2, 2, 8, 8},
                     {3, 3, 8, 8},
                     {4, 4, 9, 3},
                     {8, 8, 1, 1},
                     {1, 6, 5, 2},
                     {5, 5, 9, 9}});
}

TEST_F(OglResizing, FitsPicturesAsTheProcessorDoes) {
    for (auto const mode : {SettingsResizer::MODE_LETTERBOX, SettingsResizer::MODE_CROP})
        for (auto const algorithm : ALGORITHMS)
            for (auto const& picture : AllKinds(60, 40)) {
                EXPECT_LE(CompareSides(To(100, 40, algorithm, mode), {picture}), TOLERANCE);
                EXPECT_LE(CompareSides(To(40, 100, algorithm, mode), {picture}), TOLERANCE);
                EXPECT_LE(CompareSides(To(90, 60, algorithm, mode), {picture}), TOLERANCE);
                EXPECT_LE(CompareSides(To(80, 40, algorithm, mode, 4, 3), {picture}), TOLERANCE);
                EXPECT_LE(CompareSides(To(81, 41, algorithm, mode, 3, 4), {picture}), TOLERANCE);
                EXPECT_LE(CompareSides(To(80, 40, algorithm, mode, 0, 0), {picture}), TOLERANCE);
            }
}

TEST_F(OglResizing, FramesWithoutScalingBitByBit) {
    EXPECT_EQ(CompareSides(To(60, 90, SettingsResizer::ALGORITHM_BICUBIC, SettingsResizer::MODE_LETTERBOX),
                           {Noise(60, 40, 1)}),
              0);
    EXPECT_EQ(
        CompareSides(To(30, 40, SettingsResizer::ALGORITHM_BICUBIC, SettingsResizer::MODE_CROP), {Noise(60, 40, 1)}),
        0);
}

TEST_F(OglResizing, ShowsThePartThatTheCropLeaves) {
    for (auto const mode : {SettingsResizer::MODE_LETTERBOX, SettingsResizer::MODE_CROP, SettingsResizer::MODE_STRETCH})
        for (auto const& picture : AllKinds(60, 40)) {
            AVFrame& frame = InnerFrame(*picture);
            frame.crop_left = 5;
            frame.crop_right = 7;
            frame.crop_top = 3;
            frame.crop_bottom = 4;
            EXPECT_LE(CompareSides(To(90, 30, SettingsResizer::ALGORITHM_BICUBIC, mode), {picture}), TOLERANCE);
            EXPECT_LE(CompareSides(To(60, 40, SettingsResizer::ALGORITHM_BICUBIC, mode), {picture}), TOLERANCE);
        }
}

TEST_F(OglResizing, ACropThatLeavesNothingIsRefused) {
    auto const frame = DataVideoOGL::Create(device, {{10, 8, 1, 1}, 0, {5, 5, 0, 8}});
    EXPECT_EQ(MessageOf<EffectException>([&] { MakeSide(To(4, 4), ImplNames::OGL)->ProcessData({frame}); }),
              "A picture's crop is larger than the picture");
}

TEST_F(OglResizing, ScalesEachFieldOnItsOwn) {
    for (Scale const& scale :
         std::vector<Scale>{{40, 30, 60, 50}, {40, 31, 20, 17}, {40, 30, 60, 30}, {40, 1, 60, 9}, {40, 3, 50, 2}})
        for (auto const algorithm : ALGORITHMS)
            for (auto const mode :
                 {SettingsResizer::MODE_STRETCH, SettingsResizer::MODE_LETTERBOX, SettingsResizer::MODE_CROP})
                for (auto const& picture : AllKinds(scale.width, scale.height)) {
                    InnerFrame(*picture).interlaced_frame = 1;
                    EXPECT_LE(CompareSides(To(scale.toWidth, scale.toHeight, algorithm, mode), {picture}), TOLERANCE)
                        << scale.width << "x" << scale.height << " to " << scale.toWidth << "x" << scale.toHeight;
                }
}

TEST_F(OglResizing, APictureThatIsAsWantedPasses) {
    auto const frame = Upload(Noise(20, 10, 1));
    GpuCounters const before = device->GetCounters();
    EXPECT_EQ(MakeSide(To(20, 10), ImplNames::OGL)->ProcessData({frame}), frame);
    SettingsResizer keep;
    keep.SetCustomMode(SettingsResizer::MODE_KEEP, {5, 5, 1, 1});
    EXPECT_EQ(MakeSide(keep, ImplNames::OGL)->ProcessData({frame}), frame);
    EXPECT_EQ(device->GetCounters().draws, before.draws);
}

TEST_F(OglResizing, AnotherPixelAspectMakesANewFrameOfTheSamePixels) {
    auto const picture = Noise(20, 10, 1);
    auto const settings = To(20, 10, SettingsResizer::ALGORITHM_BICUBIC, SettingsResizer::MODE_STRETCH, 4, 3);
    auto const result = OnGpu(*MakeSide(settings, ImplNames::OGL), {picture});
    EXPECT_EQ(result->GetFrameInfo(), (Conf::FrameInfo{20, 10, 4, 3}));
    EXPECT_EQ(BytesOf(*result), BytesOf(*picture));
}

TEST_F(OglResizing, SettingsThatChangeInTheMiddleHold) {
    auto const effect = MakeSide(To(30, 20), ImplNames::OGL);
    auto const picture = Natural(60, 40);
    for (auto const& settings :
         {To(30, 20), To(90, 20), To(90, 70), To(90, 70, SettingsResizer::ALGORITHM_BILINEAR), To(30, 20)}) {
        effect->Initialize(settings);
        auto const wanted = OnProcessor(*MakeSide(settings, ImplNames::TARSEL), {picture});
        EXPECT_LE(LargestDifference(*OnGpu(*effect, {picture}), *wanted), TOLERANCE);
    }
}

TEST_F(OglResizing, SizesOfPicturesThatChangeInTheMiddleHold) {
    auto const effect = MakeSide(To(30, 20), ImplNames::OGL);
    for (auto const& picture : {Natural(60, 40), Natural(58, 40), Natural(58, 45), Natural(10, 10), Natural(60, 40)}) {
        auto const wanted = OnProcessor(*MakeSide(To(30, 20), ImplNames::TARSEL), {picture});
        EXPECT_LE(LargestDifference(*OnGpu(*effect, {picture}), *wanted), TOLERANCE);
    }
}

TEST_F(OglResizing, SizesThatNoPictureHasAreRefused) {
    auto const effect = MakeSide(To(30, 20), ImplNames::OGL);
    EXPECT_EQ(MessageOf<EffectException>([&] { effect->Initialize(To(0, 20)); }), "Pictures can't be resized to 0x20");
    EXPECT_EQ(MessageOf<EffectException>([&] { effect->Initialize(To(20, -1)); }),
              "Pictures can't be resized to 20x-1");
    int const size = device->GetLargestSize() + 1;
    effect->Initialize(To(size, 1));
    EXPECT_EQ(MessageOf<EffectException>([&] { effect->ProcessData({Upload(Noise(4, 4, 1))}); }),
              "A picture of " + std::to_string(size) + "x1 can't be in GPU memory, which takes 1x1 to " +
                  std::to_string(size - 1) + "x" + std::to_string(size - 1));
    effect->Initialize(To(8, 8));
    EXPECT_EQ(OnGpu(*effect, {Noise(4, 4, 1)})->GetWidth(), 8);
}

TEST_F(OglResizing, FormatsGetTheSize) {
    auto const video = Conf::IFormatCodecVideo::Create();
    video->SetFrameInfo({20, 10, 4, 3});
    video->SetPixelFormat(PIX_FMT_YUV420P);
    iptr<Conf::IFormatCodec> format = video;
    MakeSide(To(33, 22, SettingsResizer::ALGORITHM_BICUBIC, SettingsResizer::MODE_CROP, 0, 5), ImplNames::OGL)
        ->AdaptFormatCodec(format);
    EXPECT_EQ(video->GetFrameInfo(), (Conf::FrameInfo{33, 22, 1, 1}));
    EXPECT_EQ(video->GetPixelFormat(), PIX_FMT_RGBA);
}

}  // namespace
}  // namespace Tarsel::Host
