#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <stdexcept>
#include <utility>

#include "Proc/Filters/Filters/CropDetector.h"
#include "contracts/Core/Exception.h"
#include "tests/Proc/CropDetectorSupport.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/PlacedPicture.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using TestSupport::MessageOf;

class CropDetectorFramesTest : public CropDetecting {};

/// A picture of a class that the detector doesn't know, bottom-up.
class ForeignPicture final : public IDataVideo, public RefCounted {
  public:
    ForeignPicture(iptr<IDataVideo> picture) : picture(std::move(picture)) {}  // NOLINT: scripts are lists of items

    int64 GetDuration() const override { return picture->GetDuration(); }
    void SetDuration(int64 value) override { picture->SetDuration(value); }
    int64 GetTime() const override { return picture->GetTime(); }
    void SetTime(int64 value) override { picture->SetTime(value); }
    void CutBegin(int64 duration) override { picture->CutBegin(duration); }
    void Cut(int64 begin, int64 end) override { picture->Cut(begin, end); }
    void CutEnd(int64 duration) override { picture->CutEnd(duration); }
    int GetFrameAlloc() const override { return FRAME_ALLOC_CPU; }
    Conf::FrameInfo const& GetFrameInfo() const override { return picture->GetFrameInfo(); }
    int GetWidth() const override { return picture->GetWidth(); }
    int GetHeight() const override { return picture->GetHeight(); }
    PixFmt GetPixelFormat() const override { return picture->GetPixelFormat(); }
    int GetInterlace() const override { return 0; }
    Details::PlaneTemplate<0> GetPlane(unsigned index) override { return picture->GetPlane(index); }
    Details::PlaneTemplate<1> GetPlaneConst(unsigned index) const override {
        ++planesRead;
        auto const plane = picture->GetPlaneConst(index);
        return {plane.GetOffsetPtr(0, static_cast<unsigned>(plane.GetRows() - 1)), -plane.GetStride(),
                plane.GetRowBytes(), plane.GetRows(), plane.GetPixelBytes()};
    }
    iptr<IDataVideo> MakeWritable() override { return Clone(true); }
    iptr<IDataVideo> Clone(bool copyPayload) const override {
        return MakeShared<ForeignPicture>(picture->Clone(copyPayload));
    }
    CropInfo GetCrop() const override { return picture->GetCrop(); }

    /// Of all pictures of this class.
    inline static int planesRead = 0;

  private:
    iptr<IDataVideo> picture;
};

// --- Sizes -----------------------------------------------------------------------------------------------------------

TEST_F(CropDetectorFramesTest, FramesOfOddSizesAreCroppedToEvenOnesFirst) {
    LookAtAll(2);
    EXPECT_EQ(Detect(StillFrames(9, 100, PIX_FMT_YUV420P, 17, 15)), CropInfo(0, 16, 0, 14));
    EXPECT_EQ(Detect(StillFrames(9, 100, PIX_FMT_NV12, 2, 3)), CropInfo(0, 2, 0, 2));
}

TEST_F(CropDetectorFramesTest, CroppingToEvenSizeCopiesNoPicture) {
    LookAtAll(2);
    auto const picture = MakeVideo(0, 40000, 100, PIX_FMT_YUV420P, 17, 15);
    EXPECT_EQ(Detect({picture}), CROP_UNKNOWN);
    auto const kept = detector->GetBrightestFrame();
    EXPECT_EQ(kept->GetWidth(), 16);
    EXPECT_EQ(kept->GetHeight(), 14);
    EXPECT_EQ(kept->GetTime(), 0);
    EXPECT_EQ(kept->GetDuration(), 40000);
    for (unsigned plane = 0; plane < 3; ++plane) {
        EXPECT_EQ(kept->GetPlaneConst(plane).GetData(), picture->GetPlaneConst(plane).GetData());
        EXPECT_EQ(kept->GetPlaneConst(plane).GetStride(), picture->GetPlaneConst(plane).GetStride());
    }
    EXPECT_EQ(picture->GetWidth(), 17) << "the source's own stays as it is";
}

TEST_F(CropDetectorFramesTest, FrameOfEvenSizeStaysTheSameObject) {
    LookAtAll(2);
    Detect(StillFrames(1, 100));
    EXPECT_EQ(detector->GetBrightestFrame().get(), source->delivered[0]);
}

TEST_F(CropDetectorFramesTest, SidesOfOnePixelStayAndHaveTheirFullExtent) {
    for (PixFmt const format : {PIX_FMT_NV12, PIX_FMT_YUV420P, PIX_FMT_YUVA420P}) {
        for (auto const& [width, height] : {std::pair{1, 1}, {1, 480}, {640, 1}, {1, 3}, {3, 1}}) {
            CropInfo const expected = CropInfo::WholeOf(std::max(width & ~1, 1), std::max(height & ~1, 1));
            for (int64 const precision : {0, 8}) {
                LookAtAll(2, precision);
                EXPECT_EQ(Detect(StillFrames(9, 100, format, width, height)), expected) << width << "x" << height;
                EXPECT_EQ(FramesRead(), 3U);
            }
        }
    }
}

TEST_F(CropDetectorFramesTest, FrameOfAnotherClassAndOddSizeIsCopied) {
    auto const picture = DrawInside(draw, {0, 16, 0, 14}, 17, 15, 40000);
    detector->Initialize(CropOptions(1000 * SECOND, 0, 2, 4, 8));
    DetectPictures({iptr<IDataVideo>(new ForeignPicture(picture))});
    auto const kept = detector->GetBrightestFrame();
    EXPECT_EQ(kept->GetWidth(), 16);
    EXPECT_EQ(kept->GetHeight(), 14);
    EXPECT_EQ(kept->GetTime(), 40000);
    EXPECT_EQ(kept->GetDuration(), 40000);
    for (unsigned plane = 0; plane < 3; ++plane) {
        auto const from = picture->GetPlaneConst(plane), to = kept->GetPlaneConst(plane);
        EXPECT_EQ(to.GetRowBytes(), plane == 0 ? 16 : 8);
        EXPECT_EQ(to.GetRows(), plane == 0 ? 14 : 7);
        for (int y = 0; y < to.GetRows(); ++y)
            EXPECT_EQ(std::memcmp(to.GetData() + to.GetStride() * y,
                                  from.GetData() + from.GetStride() * (from.GetRows() - 1 - y),
                                  static_cast<std::size_t>(to.GetRowBytes())),
                      0)
                << "plane " << plane << " row " << y;
    }
}

TEST_F(CropDetectorFramesTest, FrameIsReadOnceThoughItIsComparedTwice) {
    LookAtAll(100);
    for (int const count : {2, 3, 10}) {
        std::vector<iptr<IDataVideo>> pictures;
        for (int i = 0; i < count; ++i) pictures.emplace_back(new ForeignPicture(MakeVideo(i * 40000, 40000, 100)));
        ForeignPicture::planesRead = 0;
        DetectPictures(pictures);
        EXPECT_EQ(ForeignPicture::planesRead, 4 * count) << "luma for the brightness, then each plane";
    }
}

// --- The brightest frame ---------------------------------------------------------------------------------------------

TEST_F(CropDetectorFramesTest, BrightestFrameIsTheFirstOfThoseThatAreEquallyBright) {
    LookAtAll(100);
    auto steps = StillFrames(2, 50);
    AppendFrames(steps, StillFrames(2, 90));
    AppendFrames(steps, StillFrames(3, 60));
    AppendFrames(steps, StillFrames(2, 90));
    EXPECT_EQ(Detect(steps), CROP_UNKNOWN);
    EXPECT_EQ(detector->GetBrightestFrame()->GetTime(), 80000);
}

TEST_F(CropDetectorFramesTest, BrightestFrameIsBlackWhereAllAre) {
    LookAtAll(100);
    Detect(StillFrames(3, 0));
    ASSERT_NE(detector->GetBrightestFrame(), nullptr);
    EXPECT_EQ(detector->GetBrightestFrame()->GetTime(), 0);
}

TEST_F(CropDetectorFramesTest, BrightestFrameIsThatOfTheLastRun) {
    EXPECT_EQ(detector->GetBrightestFrame(), nullptr);
    LookAtAll(1);
    Detect(StillFrames(5, 100));
    EXPECT_NE(detector->GetBrightestFrame(), nullptr);
    Detect({});
    EXPECT_EQ(detector->GetBrightestFrame(), nullptr);
}

// --- Conversion ------------------------------------------------------------------------------------------------------

TEST_F(CropDetectorFramesTest, ConverterIsToldTheThreeFormatsInTheirOrder) {
    std::optional<SettingsColorSpaceConverter> told;
    struct Noting : IdleEffect<IOneInputEffectVideo> {
        using IEffect::Initialize;
        explicit Noting(std::optional<SettingsColorSpaceConverter>& told) : told(told) {}
        void Initialize(Settings const& settings) override {
            told = dynamic_cast<SettingsColorSpaceConverter const&>(settings);
        }
        std::optional<SettingsColorSpaceConverter>& told;
    };
    effects.factory->onCreate = [&](std::string const& classId, std::string const& implName) {
        EXPECT_EQ(classId, SettingsColorspaceConverter::CLASS_ID);
        EXPECT_EQ(implName, ImplNames::DEFAULT);
        return MakeShared<Noting>(told);
    };
    CropDetector::Create(effects.factory);
    ASSERT_TRUE(told);
    EXPECT_THAT(told->GetFormats(), ElementsAre(23, 0, 33));
    EXPECT_TRUE(told->GetPassAccepted());
}

TEST_F(CropDetectorFramesTest, FramesThatAreLookedAtAreConvertedAndNoOthers) {
    detector->Initialize(CropOptions(1000 * SECOND, 80000, 100, 4, 8));
    std::vector<int> sizes;
    effects.made[0]->onProcess = [&](iptr<IDataVideo> frame) {
        sizes.insert(sizes.end(), {frame->GetWidth(), frame->GetHeight()});
        return MakeVideo(frame->GetTime(), 40000, 77, PIX_FMT_NV12, frame->GetWidth(), frame->GetHeight());
    };
    EXPECT_EQ(Detect(StillFrames(4, 100, PIX_FMT_RGB24, 17, 15)), CROP_UNKNOWN);
    EXPECT_THAT(effects.log->Take(), ElementsAre(CROP_CONVERTER + std::string(": Process 0"),
                                                 CROP_CONVERTER + std::string(": Process 80000")));
    EXPECT_THAT(sizes, ElementsAre(16, 14, 16, 14)) << "of even size before";
    EXPECT_EQ(detector->GetBrightestFrame()->GetPixelFormat(), PIX_FMT_NV12);
}

TEST_F(CropDetectorFramesTest, FramesInGpuMemoryAreBroughtToProcessorMemoryFirst) {
    effects.Know(SettingsFrameDownloader::CLASS_ID, {ImplNames::OGL}, [](auto& effect) {
        effect.onProcess = [](iptr<IDataVideo> const& frame) { return MakeVideo(frame->GetTime(), 40, 100); };
    });
    detector->Initialize(CropOptions(1000 * SECOND, 0, 1, 4, 8));
    EXPECT_EQ(DetectPictures({PlacedPicture::Create(IDataVideo::FRAME_ALLOC_GPU, 0),
                              PlacedPicture::Create(IDataVideo::FRAME_ALLOC_GPU, 40)}),
              CropInfo(0, 16, 0, 16));
    std::string const downloader = "SettingsFrameDownloader/OGL", converter = CROP_CONVERTER;
    EXPECT_THAT(effects.log->Take(), ElementsAre(downloader + ": Process 0", converter + ": Process 0",
                                                 downloader + ": Process 40", converter + ": Process 40"));
}

TEST_F(CropDetectorFramesTest, FramesInGpuMemoryAreCroppedToEvenSizesBehindTheDownload) {
    std::vector<int> sizes;
    effects.Know(SettingsFrameDownloader::CLASS_ID, {ImplNames::OGL}, [&](auto& effect) {
        effect.onProcess = [&](iptr<IDataVideo> const& frame) {
            sizes.insert(sizes.end(), {frame->GetWidth(), frame->GetHeight()});
            return MakeVideo(frame->GetTime(), 40, 100, PIX_FMT_YUV420P, frame->GetWidth(), frame->GetHeight());
        };
    });
    effects.made[0]->onProcess = [&](iptr<IDataVideo> frame) {
        sizes.insert(sizes.end(), {frame->GetWidth(), frame->GetHeight()});
        return frame;
    };
    // Planes of such a frame can't be reached: it is cropped once it is in processor memory.
    Conf::FrameInfo const odd{17, 15, 1, 1};
    DetectPictures({PlacedPicture::Create(IDataVideo::FRAME_ALLOC_GPU, 0, 40, PIX_FMT_RGBA, 0, odd)});
    EXPECT_THAT(sizes, ElementsAre(17, 15, 16, 14));
    ASSERT_NE(detector->GetBrightestFrame(), nullptr);
    EXPECT_EQ(detector->GetBrightestFrame()->GetWidth(), 16);
}

TEST_F(CropDetectorFramesTest, FrameInGpuMemoryWithoutADownloaderIsRefused) {
    effects.Know(SettingsFrameDownloader::CLASS_ID, {});
    EXPECT_EQ(
        MessageOf<EffectException>([&] { DetectPictures({PlacedPicture::Create(IDataVideo::FRAME_ALLOC_GPU, 0)}); }),
        "There is no any implementation for SettingsFrameDownloader");
}

TEST_F(CropDetectorFramesTest, FormatThatStaysForeignBehindTheConverterIsRefusedByName) {
    EXPECT_EQ(MessageOf<FilterException>([&] { Detect(StillFrames(2, 100, PIX_FMT_RGBA)); }),
              "Cannot create crop detector for rgba");
    EXPECT_EQ(FramesRead(), 1U);
    EXPECT_EQ(detector->GetBrightestFrame(), nullptr) << "nothing is measured of a frame that is refused";
}

TEST_F(CropDetectorFramesTest, FramesThatTheEnginesKeepAreMissed) {
    effects.made[0]->onProcess = [](auto) { return nullptr; };
    EXPECT_EQ(MessageOf<FilterException>([&] { Detect(StillFrames(2, 100)); }),
              "Frame to find the crop of got lost in the colour-space converter");
    effects.Know(SettingsFrameDownloader::CLASS_ID, {ImplNames::OGL},
                 [](auto& effect) { effect.onProcess = [](auto) { return nullptr; }; });
    EXPECT_EQ(
        MessageOf<FilterException>([&] { DetectPictures({PlacedPicture::Create(IDataVideo::FRAME_ALLOC_GPU, 0)}); }),
        "Frame to find the crop of got lost on its way to processor memory");
}

// --- Options and statistics ------------------------------------------------------------------------------------------

TEST_F(CropDetectorFramesTest, PropertyOfAnotherNameIsRefused) {
    for (char const* const name : {"", "cropdetector", "ICropDetector"})
        EXPECT_EQ(MessageOf<AlgorithmException>([&] { detector->Initialize(Core::Property(name)); }),
                  "CropDetector was initialized with incorrect class!");
}

TEST_F(CropDetectorFramesTest, DefaultsAreThoseOfTheContract) {
    // Frames each 100 ms: one in five is looked at, eleven until the answer.
    std::vector<int64> times;
    for (int64 i = 0; i < 100; ++i) times.push_back(i * 100000);
    EXPECT_EQ(Detect(FramesAt(times)), CropInfo(0, 16, 0, 16));
    EXPECT_EQ(FramesAnalysed(), 11);
    EXPECT_EQ(FramesRead(), 51U);
    EXPECT_EQ(Detect(FramesAt({600000001})), CropInfo(0, 16, 0, 16));
    EXPECT_EQ(Detect(FramesAt({600000000})), CROP_UNKNOWN);
}

TEST_F(CropDetectorFramesTest, KeysThatAreAbsentLeaveTheirValuesAsTheyWere) {
    LookAtAll(2);
    detector->Initialize(Core::Property(ICropDetector::CLASS_ID).SetChild(ICropDetector::SUCCESS_FRAME_COUNT, 3));
    EXPECT_EQ(Detect(StillFrames(9, 100)), CropInfo(0, 16, 0, 16));
    EXPECT_EQ(FramesRead(), 4U) << "each frame is still due";
    detector->Initialize(Core::Property(ICropDetector::CLASS_ID));
    Detect(StillFrames(9, 100));
    EXPECT_EQ(FramesRead(), 4U);
}

TEST_F(CropDetectorFramesTest, CountsThatThirtyTwoBitsDoNotHoldAreRefusedAndChangeNothing) {
    LookAtAll(2);
    for (char const* const key :
         {ICropDetector::SUCCESS_FRAME_COUNT, ICropDetector::CALC_LIMIT, ICropDetector::CROP_PRECISION}) {
        for (int64 const value : {int64{-1}, int64{4294967296}, NO_VALUE}) {
            auto options = CropOptions(-1, 1000 * SECOND, 9, 9, 9);
            options.SetChild(key, value);
            EXPECT_EQ(MessageOf<AlgorithmException>([&] { detector->Initialize(options); }),
                      std::string(key) + " of CropDetector is out of range: " + std::to_string(value));
        }
    }
    EXPECT_EQ(Detect(StillFrames(9, 100)), CropInfo(0, 16, 0, 16));
    EXPECT_EQ(FramesRead(), 3U);
}

TEST_F(CropDetectorFramesTest, OptionThatIsNoWholeNumberIsRefusedAsAnyPropertyDoes) {
    EXPECT_THROW(
        detector->Initialize(Core::Property(ICropDetector::CLASS_ID).SetChild(ICropDetector::CALC_LIMIT, "four")),
        Core::CoreException);
}

TEST_F(CropDetectorFramesTest, StatisticsCountTheFramesOfAllRuns) {
    EXPECT_EQ(detector->GetStatistic(), Core::MakeStatistics("Tarsel::Proc::CropDetector::GetStatistic", 0, 0));
    LookAtAll(1);
    Detect(StillFrames(5, 100));
    Detect(StillFrames(5, 100));
    auto const statistic = detector->GetStatistic();
    EXPECT_EQ(statistic.Name(), "Tarsel::Proc::CropDetector::GetStatistic");
    EXPECT_EQ(statistic["Count"].GetInt64(), 4);
    EXPECT_GE(statistic["Time"].GetInt64(), 0);
}

TEST_F(CropDetectorFramesTest, FrameThatTheConverterFailsOnIsCounted) {
    effects.made[0]->onProcess = [](auto) -> iptr<IDataVideo> { TARSEL_THROW(EffectException, "no way to convert"); };
    EXPECT_EQ(MessageOf<EffectException>([&] { Detect(StillFrames(2, 100)); }), "no way to convert");
    EXPECT_EQ(FramesAnalysed(), 1);
}

// --- One object, many runs -------------------------------------------------------------------------------------------

TEST_F(CropDetectorFramesTest, RunsOfOneObjectGiveTheSameAnswer) {
    LookAtAll(4);
    auto const steps = MovingFrames(draw, 30, {40, 280, 30, 210}, 320, 240);
    for (int run = 0; run < 3; ++run) {
        EXPECT_EQ(Detect(steps), CropInfo(38, 282, 28, 212));
        EXPECT_EQ(Detect(StillFrames(30, 100, PIX_FMT_NV12)), CropInfo(0, 16, 0, 16));
    }
}

TEST_F(CropDetectorFramesTest, CropOfTheRunBeforeIsRememberedSoThatTheSameOneIsSettledAFrameEarlier) {
    LookAtAll(3);
    auto const steps = MovingFrames(draw, 30, {40, 280, 30, 210}, 320, 240);
    EXPECT_EQ(Detect(steps), CropInfo(38, 282, 28, 212));
    EXPECT_EQ(FramesRead(), 5U) << "the first pair agrees with nothing";
    EXPECT_EQ(Detect(steps), CropInfo(38, 282, 28, 212));
    EXPECT_EQ(FramesRead(), 4U);
}

// --- Failures --------------------------------------------------------------------------------------------------------

TEST_F(CropDetectorFramesTest, NullFactoryAndNullStreamAreRefused) {
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { CropDetector::Create(nullptr); }), "effectFactory is NULL");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { DetectIn(nullptr); }), "stream is NULL");
}

TEST_F(CropDetectorFramesTest, FactoryWithoutAConverterIsRefused) {
    effects.Know(SettingsColorSpaceConverter::CLASS_ID, {});
    EXPECT_EQ(MessageOf<FilterException>([&] { CropDetector::Create(effects.factory); }),
              "There is no any implementation for SettingsColorSpaceConverter");
}

TEST_F(CropDetectorFramesTest, FailureOfAReadPassesThroughAndTheNextRunBeginsAnew) {
    LookAtAll(3);
    auto steps = StillFrames(3, 100);
    steps.emplace_back(std::make_exception_ptr(std::runtime_error("the disc is gone")));
    EXPECT_EQ(MessageOf<std::runtime_error>([&] { Detect(steps); }), "the disc is gone");
    EXPECT_EQ(Detect(StillFrames(9, 100)), CropInfo(0, 16, 0, 16));
    EXPECT_EQ(FramesRead(), 4U);
}

TEST_F(CropDetectorFramesTest, FailureOfASeekPassesThrough) {
    auto const filter = MakeShared<ScriptedFilter<IStreamVideo>>(ScriptedVideo::Create(StillFrames(9, 100)));
    filter->onRequestSeek = [](int64) { TARSEL_THROW(std::runtime_error, "no way back"); };
    EXPECT_EQ(MessageOf<std::runtime_error>([&] { DetectIn(filter); }), "no way back");
    filter->onRequestSeek = nullptr;
    LookAtAll(3);
    EXPECT_EQ(DetectIn(filter), CropInfo(0, 16, 0, 16));
}

/// A source of which one step of a seek fails.
class FailsToSeek final : public ScriptedVideo {
  public:
    FailsToSeek(bool early, std::vector<Step> const& steps) : ScriptedVideo(steps), early(early) {}
    void DoSeek() override {
        if (early && fails) TARSEL_THROW(std::runtime_error, "no way there");
        ScriptedVideo::DoSeek();
    }
    bool FinishSeek() override {
        if (!early && fails) TARSEL_THROW(std::runtime_error, "never arrived");
        return ScriptedVideo::FinishSeek();
    }

    bool fails = true;

  private:
    bool const early;
};

TEST_F(CropDetectorFramesTest, FailuresOfTheLaterStepsOfASeekPassThrough) {
    LookAtAll(3);
    for (bool const early : {true, false}) {
        auto const stream = MakeShared<FailsToSeek>(early, StillFrames(9, 100));
        EXPECT_EQ(MessageOf<std::runtime_error>([&] { DetectIn(stream); }), early ? "no way there" : "never arrived");
        EXPECT_TRUE(stream->delivered.empty());
        stream->fails = false;
        EXPECT_EQ(DetectIn(stream), CropInfo(0, 16, 0, 16));
    }
}

// --- Streams without an end ------------------------------------------------------------------------------------------

constexpr char FRUITLESS[] = "Video stream goes on giving frames that don't bring crop detection further";

TEST_F(CropDetectorFramesTest, EndlessStreamEndsAtTheMaxInterval) {
    auto const noise = DrawInside(draw, CropInfo::WholeOf(16, 16), 16, 16, 0), black = MakeVideo(0, 40, 0);
    detector->Initialize(CropOptions(20 * SECOND, 0, 4294967295, 4, 0));
    int64 last = 0;
    EXPECT_EQ(DetectIn(MakeEndless([&](int64 i) {
                  auto frame = (i % 2 ? noise : black)->Clone(false);
                  frame->SetTime(last = i * 40000);
                  return frame;
              })),
              CropInfo(0, 16, 0, 16));
    EXPECT_EQ(last, 20040000);
    EXPECT_EQ(FramesAnalysed(), 501);
}

TEST_F(CropDetectorFramesTest, EndlessStreamOfOneTimeOrWithoutTimesFails) {
    for (int64 const time : {NO_VALUE, int64{-5}, int64{0}}) {
        int64 reads = 0;
        auto const frame = MakeVideo(time, 40, 100, PIX_FMT_YUV420P, 2, 2);
        detector->Initialize(CropOptions(20 * SECOND, 0, 4294967295, 4, 0));
        auto const text = MessageOf<FilterException>([&] {
            DetectIn(MakeEndless([&](int64) {
                ++reads;
                return frame;
            }));
        });
        EXPECT_EQ(text, FRUITLESS);
        EXPECT_EQ(reads, time == 0 ? 10001 : time == NO_VALUE ? 100000 : 100001) << "looking at them weighs more";
    }
}

TEST_F(CropDetectorFramesTest, TimesThatGoToAndFroEndTheRun) {
    auto const frame = MakeVideo(0, 40, 100, PIX_FMT_YUV420P, 2, 2);
    detector->Initialize(CropOptions(20 * SECOND, 1000 * SECOND, 10, 4, 0));
    EXPECT_EQ(MessageOf<FilterException>([&] {
                  DetectIn(MakeEndless([&](int64 i) {
                      frame->SetTime(i % 3);
                      return frame;
                  }));
              }),
              FRUITLESS);
}

TEST_F(CropDetectorFramesTest, EndlessStreamOfWhichNoFrameIsDueFails) {
    auto const frame = MakeVideo(0, 40, 100, PIX_FMT_YUV420P, 2, 2);
    detector->Initialize(CropOptions(20 * SECOND, std::numeric_limits<int64>::max(), 10, 4, 0));
    int64 reads = 0;
    EXPECT_EQ(MessageOf<FilterException>([&] {
                  DetectIn(MakeEndless([&](int64 i) {
                      frame->SetTime(i * 40000);
                      ++reads;
                      return frame;
                  }));
              }),
              FRUITLESS);
    EXPECT_EQ(reads, 501 + 1000000) << "those up to the max interval don't count";
}

}  // namespace
}  // namespace Tarsel::Proc
