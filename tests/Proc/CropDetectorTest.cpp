#include "Proc/Filters/Filters/CropDetector.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "tests/Proc/CropDetectorSupport.h"
#include "tests/support/ContactSheet.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class CropDetectorTest : public CropDetecting {};

// --- Which frames are looked at --------------------------------------------------------------------------------------

TEST_F(CropDetectorTest, EmptyStreamGivesNoAnswer) {
    EXPECT_EQ(Detect({}), CROP_UNKNOWN);
    EXPECT_EQ(detector->GetBrightestFrame(), nullptr);
    EXPECT_EQ(FramesAnalysed(), 0);
}

TEST_F(CropDetectorTest, OneFrameGivesNoAnswer) {
    EXPECT_EQ(Detect(StillFrames(1, 100)), CROP_UNKNOWN);
    EXPECT_EQ(FramesAnalysed(), 1);
}

TEST_F(CropDetectorTest, StreamIsSoughtToItsStartAndTheSeekIsWaitedFor) {
    LookAtAll(1);
    Detect(StillFrames(5, 100));
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(0)", "DoSeek", "FinishSeek", "Read", "Read"));
}

TEST_F(CropDetectorTest, FramesAreLookedAtFromEachSkipIntervalOn) {
    // Due at 0, 100, 200...: the frames at 0, 120, 200, 320 ms are the first behind.
    detector->Initialize(CropOptions(1000 * SECOND, 100000, 100, 4, 8));
    std::vector<int64> crops;
    for (int64 const count : {1, 2, 3, 4, 5, 6, 8, 9}) {
        std::vector<int64> times;
        for (int64 i = 0; i < count; ++i) times.push_back(i * 40000);
        auto const before = FramesAnalysed();
        EXPECT_EQ(Detect(FramesAt(times)), CROP_UNKNOWN);
        crops.push_back(FramesAnalysed() - before);
    }
    EXPECT_THAT(crops, ElementsAre(1, 1, 1, 2, 2, 3, 3, 4));
}

TEST_F(CropDetectorTest, FramesBehindAGapAreLookedAtUntilTheIntervalsHaveCaughtUp) {
    // Due at 0, 100, 200, 300... One frame takes one interval, however late it is.
    detector->Initialize(CropOptions(1000 * SECOND, 100000, 100, 4, 8));
    EXPECT_EQ(Detect(FramesAt({0, 350000, 390000, 395000, 396000, 430000, 470000})), CROP_UNKNOWN);
    EXPECT_EQ(FramesAnalysed(), 5) << "0, 350, 390, 395 and 430 ms; 396 isn't due before 400, 470 before 500";
}

TEST_F(CropDetectorTest, FramesInFrontOfTimeZeroAndWithoutATimeAreNotLookedAt) {
    std::vector<int64> const times{-80000, -1, NO_VALUE, 0, NO_VALUE, 40000, NO_VALUE};
    for (int64 const skip : {int64{0}, int64{-1}, NO_VALUE}) {
        detector->Initialize(CropOptions(1000 * SECOND, skip, 100, 4, 8));
        auto const before = FramesAnalysed();
        EXPECT_EQ(DetectIn(MakeEndless([&](int64 i) {
                      return i < 7 ? MakeVideo(times[static_cast<std::size_t>(i)], 40000, 100) : nullptr;
                  })),
                  CROP_UNKNOWN);
        EXPECT_EQ(FramesAnalysed() - before, 2) << "skip interval " << skip;
    }
}

TEST_F(CropDetectorTest, SkipIntervalsOfZeroAndBelowLookAtEveryFrame) {
    for (int64 const skip : {int64{0}, int64{-1}, int64{-1000000}, NO_VALUE + 1, NO_VALUE}) {
        detector->Initialize(CropOptions(1000 * SECOND, skip, 100, 4, 8));
        auto const before = FramesAnalysed();
        Detect(StillFrames(7, 100));
        EXPECT_EQ(FramesAnalysed() - before, 7) << skip;
    }
}

TEST_F(CropDetectorTest, LargestSkipIntervalLooksAtOneFrame) {
    detector->Initialize(CropOptions(1000 * SECOND, std::numeric_limits<int64>::max(), 1, 4, 8));
    EXPECT_EQ(Detect(StillFrames(7, 100)), CROP_UNKNOWN);
    EXPECT_EQ(FramesAnalysed(), 1);
}

TEST_F(CropDetectorTest, FrameBehindTheMaxIntervalGivesItsWholeThoughNothingWasLookedAt) {
    detector->Initialize(CropOptions(39999, 0, 1, 4, 8));
    auto steps = FramesAt({40000});
    steps[0].item = MakeVideo(40000, 40000, 100, PIX_FMT_RGB24, 17, 15);
    EXPECT_EQ(Detect(steps), CropInfo(0, 17, 0, 15)) << "its own size, odd as it is";
    EXPECT_EQ(FramesAnalysed(), 0);
    EXPECT_THAT(effects.log->Take(), IsEmpty());
    EXPECT_EQ(detector->GetBrightestFrame(), nullptr);
}

TEST_F(CropDetectorTest, FrameAtTheMaxIntervalIsStillLookedAt) {
    detector->Initialize(CropOptions(40000, 0, 100, 4, 8));
    EXPECT_EQ(Detect(StillFrames(4, 100)), CropInfo(0, 16, 0, 16));
    EXPECT_EQ(FramesAnalysed(), 2);
    EXPECT_EQ(FramesRead(), 3U);
}

TEST_F(CropDetectorTest, FramesBehindTheMaxIntervalThatAreNotDueDoNotEndTheRun) {
    detector->Initialize(CropOptions(50000, 100000, 100, 4, 8));
    EXPECT_EQ(Detect(FramesAt({0, 60000, 80000})), CROP_UNKNOWN);
    EXPECT_EQ(Detect(FramesAt({0, 60000, 80000, 100000})), CropInfo(0, 16, 0, 16));
}

TEST_F(CropDetectorTest, MaxIntervalBelowZeroGivesTheWholeOfTheFirstFrame) {
    for (int64 const interval : {int64{-1}, NO_VALUE}) {
        detector->Initialize(CropOptions(interval, 0, 1, 4, 8));
        EXPECT_EQ(Detect(StillFrames(4, 100)), CropInfo(0, 16, 0, 16));
        EXPECT_EQ(FramesRead(), 1U);
        EXPECT_EQ(FramesAnalysed(), 0);
    }
}

// --- When a crop is settled ------------------------------------------------------------------------------------------

TEST_F(CropDetectorTest, MotionlessPictureIsWholeAfterAsManyComparedFramesAsAreToAgree) {
    for (std::size_t const successes : {1U, 2U, 10U}) {
        LookAtAll(static_cast<int64>(successes));
        EXPECT_EQ(Detect(StillFrames(30, 100)), CropInfo(0, 16, 0, 16));
        EXPECT_EQ(FramesRead(), successes + 1) << "the first has none to be compared with";
        EXPECT_EQ(Detect(StillFrames(static_cast<int>(successes), 100)), CROP_UNKNOWN) << "the stream ends one short";
    }
}

TEST_F(CropDetectorTest, SuccessFrameCountOfZeroIsReachedByTheFirstThatAgrees) {
    LookAtAll(0);
    EXPECT_EQ(Detect(StillFrames(30, 100)), CropInfo(0, 16, 0, 16));
    EXPECT_EQ(FramesRead(), 2U);
    // A region that differs from the whole and from the crop in front of it agrees with nothing.
    EXPECT_EQ(Detect(MovingFrames(draw, 30, {60, 240, 40, 200}, 320, 240)), CropInfo(58, 242, 38, 202));
    EXPECT_EQ(FramesRead(), 3U);
}

/// The brightest frame with the border of a region drawn into it.
iptr<IDataVideo> Outlined(iptr<IDataVideo> const& frame, CropInfo const& region) {
    auto const picture = frame->Clone(true);
    auto const luma = picture->GetPlane(0);
    for (u32 y = region.top; y < region.bottom; ++y)
        for (u32 x = region.left; x < region.right; ++x)
            if (x == region.left || x + 1 == region.right || y == region.top || y + 1 == region.bottom)
                *luma.GetOffsetPtr(x, y) = 255;
    return picture;
}

TEST_F(CropDetectorTest, LetterboxPillarboxAndBothAreFoundExactly) {
    struct Case {
        char const* name;
        CropInfo drawn, found;
    };
    ContactSheet sheet("crop-regions", 3);
    LookAtAll(4);
    // The first line that moves is the third of those whose mean decides.
    for (auto const& [name, drawn, found] : {Case{"no bars", {0, 320, 0, 240}, {0, 320, 0, 240}},
                                             {"letterbox", {0, 320, 30, 210}, {0, 320, 28, 212}},
                                             {"pillarbox", {40, 280, 0, 240}, {38, 282, 0, 240}},
                                             {"both", {40, 280, 30, 210}, {38, 282, 28, 212}},
                                             {"left and below", {40, 320, 0, 210}, {38, 320, 0, 212}}}) {
        EXPECT_EQ(Detect(MovingFrames(draw, 30, drawn, 320, 240)), found) << name;
        sheet.Add(Outlined(detector->GetBrightestFrame(), found), std::string(name) + ": a white line two pixels out");
    }
}

TEST_F(CropDetectorTest, BarsAreFoundInEachFormatAtSizesBeyondTheTable) {
    LookAtAll(4);
    for (PixFmt const format : {PIX_FMT_NV12, PIX_FMT_YUV420P, PIX_FMT_YUVA420P}) {
        EXPECT_EQ(Detect(MovingFrames(draw, 10, {240, 1680, 144, 936}, 1920, 1080, format)),
                  CropInfo(228, 1692, 134, 946))
            << format;
        EXPECT_EQ(Detect(MovingFrames(draw, 10, {20, 44, 12, 40}, 64, 48, format)), CropInfo(18, 46, 10, 42)) << format;
    }
}

TEST_F(CropDetectorTest, BarsBeyondTheMiddleOfAPictureAreNotFound) {
    LookAtAll(4);
    EXPECT_EQ(Detect(MovingFrames(draw, 30, {0, 320, 120, 240}, 320, 240)), CropInfo(0, 320, 0, 240));
    EXPECT_EQ(Detect(MovingFrames(draw, 30, {0, 320, 118, 240}, 320, 240)), CropInfo(0, 320, 116, 240));
}

TEST_F(CropDetectorTest, BarsNeedNotBeBlack) {
    LookAtAll(4);
    auto steps = MovingFrames(draw, 30, {40, 280, 30, 210}, 320, 240);
    for (auto const& step : steps)
        for (unsigned y = 0; y < 240; ++y)
            for (unsigned x = 0; x < 320; ++x)
                if (y < 30 || y >= 210 || x < 40 || x >= 280) *step.item->GetPlane(0).GetOffsetPtr(x, y) = 3 * x % 251;
    EXPECT_EQ(Detect(steps), CropInfo(38, 282, 28, 212));
}

TEST_F(CropDetectorTest, NoiseInABarEndsTheBarThere) {
    LookAtAll(4);
    auto steps = MovingFrames(draw, 30, {0, 320, 60, 240}, 320, 240);
    for (auto const& step : steps)
        for (unsigned x = 0; x < 320; ++x) *step.item->GetPlane(0).GetOffsetPtr(x, 20) = draw.Bits(8);
    EXPECT_EQ(Detect(steps), CropInfo(0, 320, 18, 240));
}

TEST_F(CropDetectorTest, CropThatKeepsChangingIsNotSettled) {
    // What has moved reaches up ten rows further in each frame.
    std::vector<ScriptedVideo::Step> steps{MakeVideo(0, 40000, 200, PIX_FMT_YUV420P, 320, 240)};
    for (int i = 1; i < 10; ++i) {
        auto const frame = dynamic_cast<DataVideoFF&>(*steps.back().item).Clone(true);
        frame->SetTime(i * 40000);
        auto const noise = DrawInside(draw, CropInfo::WholeOf(320, 240), 320, 240, 0);
        for (unsigned y = 100U - 10U * static_cast<unsigned>(i); y < 105U - 10U * static_cast<unsigned>(i); ++y)
            std::memcpy(frame->GetPlane(0).GetOffsetPtr(0, y), noise->GetPlane(0).GetOffsetPtr(0, y), 320);
        steps.emplace_back(frame);
    }
    LookAtAll(2);
    EXPECT_EQ(Detect(steps), CROP_UNKNOWN);
    EXPECT_EQ(FramesAnalysed(), 10);
    LookAtAll(2, 20);
    EXPECT_NE(Detect(steps), CROP_UNKNOWN) << "a wider precision takes them for one";
}

TEST_F(CropDetectorTest, PrecisionDecidesWhatIsTakenForTheWholeFrame) {
    auto const steps = MovingFrames(draw, 30, {0, 320, 10, 240}, 320, 240);
    LookAtAll(4, 8);
    EXPECT_EQ(Detect(steps), CropInfo(0, 320, 0, 240)) << "8 rows are within 8";
    LookAtAll(4, 7);
    EXPECT_EQ(Detect(steps), CropInfo(0, 320, 8, 240));
}

TEST_F(CropDetectorTest, CalcLimitDecidesWhatIsMotion) {
    // Changes of up to 3 around a mean.
    auto const steps = [&] {
        std::vector<ScriptedVideo::Step> result;
        for (int i = 0; i < 30; ++i)
            result.emplace_back(DrawInside(draw, {0, 320, 60, 180}, 320, 240, i * 40000, PIX_FMT_YUV420P, 4));
        return result;
    }();
    LookAtAll(4, 0, 1);
    EXPECT_EQ(Detect(steps), CropInfo(0, 320, 58, 182));
    LookAtAll(4, 0, 50);
    EXPECT_EQ(Detect(steps), CropInfo(0, 320, 0, 240)) << "nothing moves so much";
    LookAtAll(4, 0, 0);
    EXPECT_EQ(Detect(steps), CropInfo(0, 320, 0, 240)) << "everything moves by nothing";
    LookAtAll(4, 0, 4294967295);
    EXPECT_EQ(Detect(steps), CropInfo(0, 320, 0, 240));
}

TEST_F(CropDetectorTest, LargestPrecisionTakesAnythingForTheWholeFrame) {
    LookAtAll(2, 4294967295);
    EXPECT_EQ(Detect(MovingFrames(draw, 30, {40, 280, 30, 210}, 320, 240)), CropInfo(0, 320, 0, 240));
}

// --- Dark and brightening streams ------------------------------------------------------------------------------------

TEST_F(CropDetectorTest, DarkStreamHasTenSettledAnswersThrownAway) {
    struct Case {
        u8 shade;
        int64 successes;
        std::size_t read;
    };
    for (auto const& [shade, successes, read] : {Case{30, 1, 2}, {29, 1, 12}, {0, 1, 12}, {30, 3, 4}, {29, 3, 14}}) {
        LookAtAll(successes);
        EXPECT_EQ(Detect(StillFrames(30, shade)), CropInfo(0, 16, 0, 16));
        EXPECT_EQ(FramesRead(), read) << "shade " << int{shade};
        EXPECT_EQ(Detect(StillFrames(static_cast<int>(read) - 1, shade)), CROP_UNKNOWN);
    }
}

TEST_F(CropDetectorTest, AnswerWaitsWhileEachFrameIsTheBrightestSoFar) {
    LookAtAll(1);
    std::vector<ScriptedVideo::Step> steps;
    for (u8 i = 0; i < 20; ++i)
        steps.emplace_back(MakeVideo(i * 40000, 40000, static_cast<u8>(100 + std::min<u8>(i, 7))));
    EXPECT_EQ(Detect(steps), CropInfo(0, 16, 0, 16));
    EXPECT_EQ(FramesRead(), 9U) << "the frame behind the last that is brighter";
    EXPECT_EQ(PlainCrop::Brightness(*detector->GetBrightestFrame()), 107);
}

TEST_F(CropDetectorTest, BrighterFramesTakeNoneOfADarkStreamsTenAnswers) {
    LookAtAll(1);
    std::vector<ScriptedVideo::Step> steps;
    for (u8 i = 0; i < 30; ++i) steps.emplace_back(MakeVideo(i * 40000, 40000, std::min<u8>(i, 7)));
    EXPECT_EQ(Detect(steps), CropInfo(0, 16, 0, 16));
    EXPECT_EQ(FramesRead(), 8U + 11U);
}

TEST_F(CropDetectorTest, DarkStreamThatBrightensAnswersAtTheNextFrame) {
    LookAtAll(1);
    auto steps = StillFrames(5, 10);
    AppendFrames(steps, StillFrames(10, 30));
    EXPECT_EQ(Detect(steps), CropInfo(0, 16, 0, 16));
    EXPECT_EQ(FramesRead(), 7U) << "four thrown away, one that is brighter, one that answers";
}

TEST_F(CropDetectorTest, AnswersThatAreThrownAwayLeaveTheFrameToCompareWithAsItWas) {
    // Dark, and still from the third frame on. Compared with the second all the time it keeps moving.
    auto steps = MovingFrames(draw, 3, {0, 320, 60, 180}, 320, 240);
    for (std::size_t i = 0; i < 3; ++i)
        steps[i].item = DrawInside(draw, {0, 320, 60, i == 0 ? 60U : 180U}, 320, 240, 0, PIX_FMT_YUV420P, 5);
    for (int i = 0; i < 20; ++i) AppendFrames(steps, {steps[2]});
    LookAtAll(1);
    EXPECT_EQ(Detect(steps), CropInfo(0, 320, 58, 182));
    EXPECT_EQ(FramesRead(), 13U) << "ten thrown away from the third on";
}

// --- Changes of format -----------------------------------------------------------------------------------------------

TEST_F(CropDetectorTest, ChangeOfFormatInMidRunBeginsAnew) {
    struct Case {
        PixFmt format;
        int width, height;
    };
    LookAtAll(3);
    for (auto const& [format, width, height] : {Case{PIX_FMT_YUV420P, 18, 16},
                                                {PIX_FMT_YUV420P, 16, 14},
                                                {PIX_FMT_NV12, 16, 16},
                                                {PIX_FMT_YUVA420P, 16, 16}}) {
        auto steps = StillFrames(3, 100);
        AppendFrames(steps, StillFrames(20, 50, format, width, height));
        EXPECT_EQ(Detect(steps), CropInfo::WholeOf(width, height));
        EXPECT_EQ(FramesRead(), 3U + 4U) << "two that agreed don't count";
        EXPECT_EQ(PlainCrop::Brightness(*detector->GetBrightestFrame()), 50) << "of those behind the change";
    }
}

TEST_F(CropDetectorTest, FrameThatBringsTheChangeCountsAsTheFirst) {
    // The first pair behind the change is weighed by 1: by more its motion would be below the limit.
    auto steps = StillFrames(3, 100);
    std::vector<ScriptedVideo::Step> const moving{DrawInside(draw, {}, 320, 240, 0),
                                                  DrawInside(draw, {0, 320, 60, 180}, 320, 240, 0)};
    PlainCrop plain(320, 240, 70);
    plain.Calculate(*moving[1].item, *moving[0].item, 1);
    ASSERT_LT(plain.RowDeviation(100, 2), 60);
    ASSERT_GT(plain.RowDeviation(100, 1), 80);
    AppendFrames(steps, moving);
    LookAtAll(5, 0, 70);
    LogLines const lines(30);
    EXPECT_EQ(Detect(steps), CROP_UNKNOWN);
    EXPECT_THAT(CropsIn(lines),
                ElementsAre("left: 0, right: 16, top: 0, bottom: 16", "left: 0, right: 16, top: 0, bottom: 16",
                            "left: 0, right: 320, top: 60, bottom: 180"));
}

TEST_F(CropDetectorTest, AnswersThrownAwayOfADarkStreamAreCountedAcrossAChangeOfFormat) {
    LookAtAll(1);
    auto steps = StillFrames(6, 10);
    AppendFrames(steps, StillFrames(20, 10, PIX_FMT_YUV420P, 18, 16));
    EXPECT_EQ(Detect(steps), CropInfo(0, 18, 0, 16));
    EXPECT_EQ(FramesRead(), 6U + 1U + 5U + 1U) << "five thrown away ahead of the change, five behind it";
}

TEST_F(CropDetectorTest, StreamsOfChangingFormatsEndAsOthersDo) {
    LookAtAll(1);
    std::vector<ScriptedVideo::Step> steps;
    for (int i = 0; i < 20; ++i)
        steps.emplace_back(MakeVideo(i * 40000, 40000, 100, PIX_FMT_YUV420P, 16, 16 + i % 2 * 2));
    EXPECT_EQ(Detect(steps), CROP_UNKNOWN);
    EXPECT_EQ(FramesAnalysed(), 20);
}

}  // namespace
}  // namespace Tarsel::Proc
