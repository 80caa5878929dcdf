#include "host/preview/PngPreview.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <array>
#include <atomic>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <limits>
#include <new>
#include <random>
#include <thread>

#include "contracts/Core/ThreadPool.h"
#include "tests/host/preview/PngFile.h"
#include "tests/support/Builders.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/Gate.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Host {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using TestSupport::MessageOf;

namespace fs = std::filesystem;

/// A picture of bytes drawn at random.
iptr<Proc::IDataVideo> MakeNoise(PixFmt format, int width, int height, unsigned seed = 1) {
    std::mt19937 random(seed);
    auto frame = MakeVideo(0, 1, 0, format, width, height);
    for (int i = 0; i < Proc::GetPlanesCount(*frame); ++i) {
        auto const plane = frame->GetPlane(static_cast<unsigned>(i));
        for (int row = 0; row < plane.GetRows(); ++row)
            for (int at = 0; at < plane.GetRowBytes(); ++at)
                plane.GetOffsetPtr(0, static_cast<unsigned>(row))[at] = static_cast<u8>(random());
    }
    return frame;
}

/// A picture of some class other than the usual one, whose planes are looked at behind a gate.
class OddFrame : public Proc::IDataVideo, public RefCounted {
  public:
    int64 GetDuration() const override { return inner->GetDuration(); }
    void SetDuration(int64 value) override { inner->SetDuration(value); }
    int64 GetTime() const override { return inner->GetTime(); }
    void SetTime(int64 value) override { inner->SetTime(value); }
    void CutBegin(int64 value) override { inner->CutBegin(value); }
    void Cut(int64 begin, int64 end) override { inner->Cut(begin, end); }
    void CutEnd(int64 value) override { inner->CutEnd(value); }
    int GetFrameAlloc() const override { return alloc; }
    Conf::FrameInfo const& GetFrameInfo() const override { return inner->GetFrameInfo(); }
    int GetWidth() const override { return inner->GetWidth(); }
    int GetHeight() const override { return inner->GetHeight(); }
    PixFmt GetPixelFormat() const override { return inner->GetPixelFormat(); }
    int GetInterlace() const override { return 0; }
    Proc::Details::PlaneTemplate<0> GetPlane(unsigned index) override { return inner->GetPlane(index); }
    Proc::Details::PlaneTemplate<1> GetPlaneConst(unsigned index) const override {
        looked();
        return inner->GetPlaneConst(index);
    }
    iptr<Proc::IDataVideo> MakeWritable() override { return Clone(true); }
    iptr<Proc::IDataVideo> Clone(bool copy) const override { return inner->Clone(copy); }
    Proc::CropInfo GetCrop() const override { return inner->GetCrop(); }

    iptr<Proc::IDataVideo> inner = MakeNoise(PIX_FMT_RGB24, 8, 8);
    int alloc = FRAME_ALLOC_CPU;
    std::function<void()> looked = [] {};
};

class PngPreviewTest : public ::testing::Test {
  protected:
    iptr<PngPreview> Make(double rate = 1, bool force = false) {
        return MakeShared<PngPreview>(folder, rate, force, [this] { return now.load(); });
    }
    std::string Path(std::string const& name) const { return folder + "/" + name; }
    static void AwaitWritten(PngPreview const& preview, std::size_t count) {
        while (preview.GetWritten().size() < count && !preview.GetFailure()) std::this_thread::yield();
    }
    std::vector<std::string> List() const {
        std::vector<std::string> names;
        for (auto const& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }
    void Touch(std::string const& name) const { std::ofstream(Path(name)) << "mine"; }

    ScratchFolder const scratch;
    std::string const folder = scratch / "previews";
    std::atomic<int64> now{0};
};

TEST_F(PngPreviewTest, RgbPicturesOfAllSizesKeepEveryPixel) {
    for (auto const& [width, height] : {std::pair(16, 16), std::pair(17, 13), std::pair(1, 1), std::pair(321, 7)}) {
        SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
        auto const preview = Make(1, true);
        auto const frame = MakeNoise(PIX_FMT_RGB24, width, height);
        preview->OnVideoFrame(frame);
        preview->Finish();
        ASSERT_EQ(preview->GetWritten().size(), 1U);
        PngFile const file(preview->GetWritten()[0]);
        EXPECT_EQ(file.width, width);
        EXPECT_EQ(file.height, height);
        EXPECT_EQ(file.channels, 3);
        EXPECT_EQ(file.pixels, PixelsOf(*frame));
    }
}

TEST_F(PngPreviewTest, PicturesWithAlphaKeepIt) {
    auto const preview = Make();
    auto const frame = MakeNoise(PIX_FMT_RGBA, 19, 11);
    preview->OnVideoFrame(frame);
    preview->Finish();
    PngFile const file(Path("preview-000001.png"));
    EXPECT_EQ(file.channels, 4);
    EXPECT_EQ(file.pixels, PixelsOf(*frame));
}

TEST_F(PngPreviewTest, YuvPicturesBecomeRgbOfTheSameColour) {
    // Limited range: 81, 90, 240 is pure red, 145, 54, 34 pure green.
    struct Colour {
        std::array<u8, 3> yuv;
        std::array<int, 3> rgb;
    };
    for (Colour const& colour : {Colour{{81, 90, 240}, {255, 0, 0}}, Colour{{145, 54, 34}, {0, 255, 0}},
                                 Colour{{16, 128, 128}, {0, 0, 0}}, Colour{{235, 128, 128}, {255, 255, 255}}}) {
        for (auto const& [width, height] : {std::pair(32, 24), std::pair(17, 13)}) {
            auto const preview = Make(1, true);
            auto const frame = MakeVideo(0, 1, 0, PIX_FMT_YUV420P, width, height);
            for (unsigned i = 0; i < 3; ++i) {
                auto const plane = frame->GetPlane(i);
                for (int row = 0; row < plane.GetRows(); ++row)
                    std::memset(plane.GetOffsetPtr(0, static_cast<unsigned>(row)), colour.yuv[i],
                                static_cast<std::size_t>(plane.GetRowBytes()));
            }
            preview->OnVideoFrame(frame);
            preview->Finish();
            PngFile const file(preview->GetWritten().at(0));
            ASSERT_EQ(file.channels, 3);
            ASSERT_EQ(file.pixels.size(), static_cast<std::size_t>(width * height * 3));
            for (std::size_t at = 0; at < file.pixels.size(); ++at)
                ASSERT_NEAR(file.pixels[at], colour.rgb[at % 3], 3) << "byte " << at;
        }
    }
}

TEST_F(PngPreviewTest, MatrixAndRangeThatAPictureNamesCount) {
    struct Colour {
        AVColorSpace matrix;
        AVColorRange range;
        std::array<u8, 3> yuv;
    };
    // Each is pure red.
    for (Colour const& colour : {Colour{AVCOL_SPC_BT709, AVCOL_RANGE_MPEG, {63, 102, 240}},
                                 Colour{AVCOL_SPC_SMPTE170M, AVCOL_RANGE_MPEG, {81, 90, 240}},
                                 Colour{AVCOL_SPC_UNSPECIFIED, AVCOL_RANGE_JPEG, {76, 85, 255}}}) {
        auto const preview = Make(1, true);
        auto const plain = MakeVideo(0, 1, 0, PIX_FMT_YUV420P, 16, 16);
        AVFrame* const named = av_frame_clone(dynamic_cast<Proc::DataVideoFF&>(*plain).GetAVFrame());
        named->colorspace = colour.matrix;
        named->color_range = colour.range;
        auto const frame = Proc::DataVideoFF::Wrap(named, 0, 1);
        for (unsigned i = 0; i < 3; ++i) {
            auto const plane = frame->GetPlane(i);
            for (int row = 0; row < plane.GetRows(); ++row)
                std::memset(plane.GetOffsetPtr(0, static_cast<unsigned>(row)), colour.yuv[i],
                            static_cast<std::size_t>(plane.GetRowBytes()));
        }
        preview->OnVideoFrame(frame);
        preview->Finish();
        PngFile const file(preview->GetWritten().at(0));
        ASSERT_EQ(file.pixels.size(), 16U * 16 * 3);
        for (std::size_t at = 0; at < file.pixels.size(); ++at)
            ASSERT_NEAR(file.pixels[at], at % 3 == 0 ? 255 : 0, 4) << "matrix " << colour.matrix << ", byte " << at;
    }
}

TEST_F(PngPreviewTest, YuvPictureWithAlphaBecomesRgba) {
    auto const preview = Make();
    auto const frame = MakeVideo(0, 1, 128, PIX_FMT_YUVA420P, 9, 5);
    auto const alpha = frame->GetPlane(3);
    for (int row = 0; row < alpha.GetRows(); ++row)
        std::memset(alpha.GetOffsetPtr(0, static_cast<unsigned>(row)), 77, 9);
    preview->OnVideoFrame(frame);
    preview->Finish();
    PngFile const file(Path("preview-000001.png"));
    ASSERT_EQ(file.channels, 4);
    for (std::size_t at = 3; at < file.pixels.size(); at += 4) ASSERT_EQ(file.pixels[at], 77);
}

TEST_F(PngPreviewTest, PicturesOfOtherClassesAndOfChangingSizesAreWrittenToo) {
    auto const preview = Make();
    auto const odd = MakeShared<OddFrame>();
    std::vector<iptr<Proc::IDataVideo>> const frames{MakeNoise(PIX_FMT_RGB24, 30, 20), odd,
                                                     MakeNoise(PIX_FMT_RGBA, 8, 8), MakeNoise(PIX_FMT_RGB24, 8, 8)};
    for (auto const& frame : frames) {
        now += SECOND;
        auto const before = preview->GetWritten().size();
        preview->OnVideoFrame(frame);
        AwaitWritten(*preview, before + 1);
    }
    preview->Finish();
    EXPECT_THAT(List(),
                ElementsAre("preview-000001.png", "preview-000002.png", "preview-000003.png", "preview-000004.png"));
    EXPECT_EQ(PngFile(Path("preview-000002.png")).pixels, PixelsOf(*odd->inner));
    EXPECT_EQ(PngFile(Path("preview-000003.png")).pixels, PixelsOf(*frames[2]));
    EXPECT_EQ(PngFile(Path("preview-000004.png")).pixels, PixelsOf(*frames[3]));
}

TEST_F(PngPreviewTest, PixelAspectStandsInTheFile) {
    auto const preview = Make();
    preview->OnVideoFrame(Proc::DataVideoFF::Create(PIX_FMT_RGB24, {8, 8, 16, 11}, nullptr));
    preview->Finish();
    PngFile const file(Path("preview-000001.png"));
    EXPECT_EQ(file.aspectNum * 11, file.aspectDen * 16);
}

// --- The rate --------------------------------------------------------------------------------------------------------

TEST_F(PngPreviewTest, NotMorePicturesAreTakenThanTheRateAllows) {
    auto const preview = Make(2.5);  // one in 400 ms
    std::vector<int64> taken;
    for (now = 0; now <= 2000000; now += 50000) {
        auto const before = preview->GetWritten().size();
        auto const frame = MakeNoise(PIX_FMT_RGB24, 4, 4);
        preview->OnVideoFrame(frame);
        if (frame->GetRefCountImpl() == 1) continue;
        taken.push_back(now);
        AwaitWritten(*preview, before + 1);
    }
    preview->Finish();
    EXPECT_THAT(taken, ElementsAre(0, 400000, 800000, 1200000, 1600000, 2000000));
    EXPECT_EQ(preview->GetWritten().size(), 6U);
}

TEST_F(PngPreviewTest, RateThatDividesNoMicrosecondsIsKeptInTheMean) {
    // A third of a second is 333333 1/3 us: a frame one microsecond short of it comes too early.
    auto const preview = Make(3);
    preview->OnVideoFrame(MakeNoise(PIX_FMT_RGB24, 4, 4));
    AwaitWritten(*preview, 1);
    now = 333333;
    auto const early = MakeNoise(PIX_FMT_RGB24, 4, 4);
    preview->OnVideoFrame(early);
    EXPECT_EQ(early->GetRefCountImpl(), 1U);
    now = 333334;
    preview->OnVideoFrame(early);
    preview->Finish();
    EXPECT_EQ(preview->GetWritten().size(), 2U);
}

TEST_F(PngPreviewTest, SameFrameComingAgainIsNotWrittenTwice) {
    auto const preview = Make();
    auto const frame = MakeNoise(PIX_FMT_RGB24, 4, 4);
    for (now = 0; now < 5 * SECOND; now += SECOND) preview->OnVideoFrame(frame);
    preview->Finish();
    EXPECT_EQ(preview->GetWritten().size(), 1U);
    EXPECT_EQ(frame->GetRefCountImpl(), 1U);
}

TEST_F(PngPreviewTest, HugeAndTinyRatesAreKept) {
    auto const fast = Make(std::numeric_limits<double>::max());
    fast->OnVideoFrame(MakeNoise(PIX_FMT_RGB24, 4, 4));
    AwaitWritten(*fast, 1);
    ++now;
    fast->OnVideoFrame(MakeNoise(PIX_FMT_RGB24, 4, 4));
    fast->Finish();
    EXPECT_EQ(fast->GetWritten().size(), 2U);
    auto const slow = Make(std::numeric_limits<double>::denorm_min(), true);
    slow->OnVideoFrame(MakeNoise(PIX_FMT_RGB24, 4, 4));
    AwaitWritten(*slow, 1);
    now = std::numeric_limits<int64>::max();
    slow->OnVideoFrame(MakeNoise(PIX_FMT_RGB24, 4, 4));
    slow->Finish();
    EXPECT_EQ(slow->GetWritten().size(), 1U);
}

TEST_F(PngPreviewTest, RatesThatAreNoNumbersAboveZeroAreRefused) {
    for (double const rate : {0.0, -1.0, std::nan(""), HUGE_VAL, -HUGE_VAL}) {
        EXPECT_EQ(MessageOf<std::invalid_argument>([&] { Make(rate); }),
                  "pictures per second must be a number above 0");
    }
    EXPECT_FALSE(fs::exists(folder));
}

TEST_F(PngPreviewTest, NullIsNoFrame) {
    auto const preview = Make();
    preview->OnVideoFrame(nullptr);
    preview->Finish();
    EXPECT_THAT(List(), IsEmpty());
}

// --- The thread ------------------------------------------------------------------------------------------------------

TEST_F(PngPreviewTest, ProducerGoesOnWhileAPictureIsWrittenAndTheNewestIsWrittenNext) {
    auto const preview = Make(1000);
    Gate gate;
    gate.Close();
    auto const held = MakeShared<OddFrame>();
    held->looked = [&gate] { gate.Pass(); };
    preview->OnVideoFrame(held);
    gate.AwaitArrivals(1);
    std::vector<iptr<Proc::IDataVideo>> frames;
    for (unsigned i = 0; i < 5; ++i) {
        now += SECOND;
        frames.push_back(MakeNoise(PIX_FMT_RGB24, 4, 4, i));
        preview->OnVideoFrame(frames.back());
    }
    EXPECT_THAT(preview->GetWritten(), IsEmpty());
    for (unsigned i = 0; i < 4; ++i) EXPECT_EQ(frames[i]->GetRefCountImpl(), 1U);
    // No copy was made of the one that waits.
    EXPECT_GT(frames[4]->GetRefCountImpl(), 1U);
    gate.Open();
    preview->Finish();
    EXPECT_THAT(List(), ElementsAre("preview-000001.png", "preview-000002.png"));
    EXPECT_EQ(PngFile(Path("preview-000002.png")).pixels, PixelsOf(*frames[4]));
    EXPECT_EQ(frames[4]->GetRefCountImpl(), 1U);
}

TEST_F(PngPreviewTest, DestructionDropsWhatWaitsAndWaitsForThePictureInWork) {
    auto preview = Make(1000);
    Gate gate;
    gate.Close();
    auto const held = MakeShared<OddFrame>();
    held->looked = [&gate] { gate.Pass(); };
    preview->OnVideoFrame(held);
    gate.AwaitArrivals(1);
    now = SECOND;
    auto const next = MakeNoise(PIX_FMT_RGB24, 4, 4);
    preview->OnVideoFrame(next);
    std::thread owner([&] { preview = nullptr; });
    while (next->GetRefCountImpl() > 1) std::this_thread::yield();
    gate.Open();
    owner.join();
    EXPECT_EQ(held->GetRefCountImpl(), 1U);
    EXPECT_THAT(List(), ElementsAre("preview-000001.png"));
}

TEST_F(PngPreviewTest, NothingIsTakenBehindFinish) {
    auto const preview = Make();
    preview->Finish();
    preview->OnVideoFrame(MakeNoise(PIX_FMT_RGB24, 4, 4));
    preview->Finish();
    EXPECT_THAT(List(), IsEmpty());
}

TEST_F(PngPreviewTest, FramesReachTheFolderThroughAListOfSubscribers) {
    auto const list = Proc::CreateVideoPreviewSubscriberList();
    auto const publisher = boost::dynamic_pointer_cast<Core::EventPublisher<Proc::IVideoPreviewSubscriber>>(list);
    ASSERT_NE(publisher, nullptr);
    auto const preview = Make();
    publisher->Subscribe(preview);
    auto const frame = MakeNoise(PIX_FMT_RGB24, 40, 30);
    list->OnVideoFrame(frame);
    AwaitWritten(*preview, 1);
    publisher->Unsubscribe(preview);
    preview->Finish();
    EXPECT_EQ(PngFile(Path("preview-000001.png")).pixels, PixelsOf(*frame));
}

TEST_F(PngPreviewTest, ManyProducersAndAnOwnerThatEndsAtAnyTime) {
    for (unsigned round = 0; round < 30; ++round) {
        auto preview = Make(1e9, true);
        std::vector<std::thread> producers;
        for (unsigned i = 0; i < 3; ++i)
            producers.emplace_back([this, preview, i] {
                for (unsigned frame = 0; frame < 20; ++frame) {
                    ++now;
                    preview->OnVideoFrame(MakeNoise(PIX_FMT_RGB24, 4, 4, i));
                }
            });
        if (round % 3 == 0) preview->Finish();
        if (round % 3 == 1) preview->Discard();
        for (auto& producer : producers) producer.join();
        auto const written = preview->GetWritten();
        ASSERT_EQ(preview->GetFailure(), nullptr);
        preview = nullptr;
        for (auto const& path : written) ASSERT_EQ(PngFile(path).width, 4);
    }
}

// --- The folder, and failures ----------------------------------------------------------------------------------------

TEST_F(PngPreviewTest, FolderIsMadeButNotThoseAboveIt) {
    Make();
    EXPECT_TRUE(fs::is_directory(folder));
    EXPECT_THAT(MessageOf<Core::IOException>([&] { PngPreview(scratch / "a/b", 1); }),
                StartsWith(scratch / "a/b: can't be made: "));
    EXPECT_FALSE(fs::exists(scratch / "a"));
    EXPECT_EQ(MessageOf<Core::IOException>([] { PngPreview("", 1); }), "(preview): the name of the folder is empty");
}

TEST_F(PngPreviewTest, FileInPlaceOfTheFolderIsRefused) {
    std::ofstream(folder) << "mine";
    EXPECT_THAT(MessageOf<Core::IOException>([&] { Make(); }), StartsWith(folder + ": "));
    EXPECT_TRUE(fs::is_regular_file(folder));
}

TEST_F(PngPreviewTest, FolderWithPreviewsIsRefusedUnlessForced) {
    fs::create_directory(folder);
    Touch("other.png");
    Touch("preview-000003.png");
    EXPECT_EQ(MessageOf<Core::IOException>([&] { Make(); }),
              folder + ": has previews already, such as preview-000003.png");
    auto const preview = Make(1, true);
    preview->OnVideoFrame(MakeNoise(PIX_FMT_RGB24, 4, 4));
    preview->Finish();
    // Nothing that stood there is touched: the numbers go on.
    EXPECT_THAT(List(), ElementsAre("other.png", "preview-000003.png", "preview-000004.png"));
    EXPECT_EQ(fs::file_size(Path("preview-000003.png")), 4U);
    preview->Discard();
    EXPECT_THAT(List(), ElementsAre("other.png", "preview-000003.png"));
}

TEST_F(PngPreviewTest, NamesWithoutANumberOfThisRunsKindDontMoveTheNumbers) {
    fs::create_directory(folder);
    for (char const* name : {"preview-.png", "preview-x.png", "preview-99999999999999999999999.png", "preview-7"})
        Touch(name);
    auto const preview = Make(1, true);
    preview->OnVideoFrame(MakeNoise(PIX_FMT_RGB24, 4, 4));
    preview->Finish();
    EXPECT_THAT(preview->GetWritten(), ElementsAre(Path("preview-000001.png")));
}

TEST_F(PngPreviewTest, NumbersOfMoreThanSixDigitsGoOn) {
    fs::create_directory(folder);
    Touch("preview-999999.png");
    auto const preview = Make(1, true);
    preview->OnVideoFrame(MakeNoise(PIX_FMT_RGB24, 4, 4));
    preview->Finish();
    EXPECT_THAT(preview->GetWritten(), ElementsAre(Path("preview-1000000.png")));
}

TEST_F(PngPreviewTest, FileThatComesUpDuringTheRunIsKeptAndFailsIt) {
    auto const preview = Make();
    Touch("preview-000001.png");
    preview->OnVideoFrame(MakeNoise(PIX_FMT_RGB24, 4, 4));
    EXPECT_EQ(MessageOf<Core::IOException>([&] { preview->Finish(); }),
              Path("preview-000001.png") + ": exists already");
    preview->Discard();
    EXPECT_THAT(List(), ElementsAre("preview-000001.png"));
    EXPECT_EQ(fs::file_size(Path("preview-000001.png")), 4U);
}

TEST_F(PngPreviewTest, FolderThatGoesAwayIsAFailureThatIsToldAtEveryFinish) {
    auto const preview = Make();
    fs::remove(folder);
    preview->OnVideoFrame(MakeNoise(PIX_FMT_RGB24, 4, 4));
    std::string const message = Path("preview-000001.png") + ": the folder " + folder + " doesn't exist";
    for (int i = 0; i < 2; ++i) EXPECT_EQ(MessageOf<Core::IOException>([&] { preview->Finish(); }), message);
    EXPECT_NE(preview->GetFailure(), nullptr);
    preview->Discard();
}

TEST_F(PngPreviewTest, FailureStopsTheTakingOfFrames) {
    auto const preview = Make();
    fs::remove(folder);
    preview->OnVideoFrame(MakeNoise(PIX_FMT_RGB24, 4, 4));
    while (!preview->GetFailure()) std::this_thread::yield();
    fs::create_directory(folder);
    now = SECOND;
    auto const frame = MakeNoise(PIX_FMT_RGB24, 4, 4);
    preview->OnVideoFrame(frame);
    EXPECT_EQ(frame->GetRefCountImpl(), 1U);
    EXPECT_THROW(preview->Finish(), Core::IOException);
    EXPECT_THAT(List(), IsEmpty());
}

/// Files of this process may grow to `bytes` only, as if the disk were full.
class FullDisk {
  public:
    explicit FullDisk(rlim_t bytes) : handler(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &before);
        rlimit const limit{bytes, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FullDisk() {
        setrlimit(RLIMIT_FSIZE, &before);
        std::signal(SIGXFSZ, handler);
    }
    FullDisk(FullDisk const&) = delete;
    FullDisk& operator=(FullDisk const&) = delete;

  private:
    void (*const handler)(int);
    rlimit before{};
};

TEST_F(PngPreviewTest, FullDiskIsAFailureThatNamesTheFileAndLeavesNoPart) {
    auto const preview = Make();
    preview->OnVideoFrame(MakeNoise(PIX_FMT_RGB24, 4, 4));
    AwaitWritten(*preview, 1);
    std::string message;
    {
        FullDisk const full(4096);
        now = SECOND;
        preview->OnVideoFrame(MakeNoise(PIX_FMT_RGB24, 100, 100));
        message = MessageOf<Core::IOException>([&] { preview->Finish(); });
    }
    EXPECT_THAT(message, StartsWith(Path("preview-000002.png") + ": can't be written: "));
    EXPECT_THAT(List(), ElementsAre("preview-000001.png"));
    preview->Discard();
    EXPECT_FALSE(fs::exists(folder));
}

TEST_F(PngPreviewTest, PictureInGpuMemoryIsAFailureAndIsNotTaken) {
    auto const preview = Make();
    auto const frame = MakeShared<OddFrame>();
    frame->alloc = Proc::IDataVideo::FRAME_ALLOC_GPU;
    preview->OnVideoFrame(frame);
    EXPECT_EQ(frame->GetRefCountImpl(), 1U);
    EXPECT_EQ(MessageOf<Core::IOException>([&] { preview->Finish(); }),
              Path("preview-000001.png") + ": can't be written: the picture is in GPU memory");
}

TEST_F(PngPreviewTest, EveryFailureOfAPictureIsToldAsOneOfItsFile) {
    std::vector<std::pair<std::function<void()>, std::string>> const failures{
        {[] { TARSEL_THROW(Proc::ProcException, "no plane"); }, "no plane"},
        {[] { TARSEL_THROW(Exception, "broken"); }, "broken"},
        {[] { TARSEL_THROW(std::logic_error, "misused"); }, "misused"},
        {[] { throw std::bad_alloc(); }, "std::bad_alloc"},
    };
    for (auto const& [failure, text] : failures) {
        auto const preview = Make();
        auto const frame = MakeShared<OddFrame>();
        frame->looked = failure;
        preview->OnVideoFrame(frame);
        EXPECT_EQ(MessageOf<Core::IOException>([&] { preview->Finish(); }),
                  Path("preview-000001.png") + ": can't be written: " + text);
        EXPECT_THAT(List(), IsEmpty());
    }
}

TEST_F(PngPreviewTest, DiscardRemovesTheFilesOfTheRunAndTheFolderThatItMade) {
    auto const preview = Make();
    preview->OnVideoFrame(MakeNoise(PIX_FMT_RGB24, 4, 4));
    AwaitWritten(*preview, 1);
    preview->Discard();
    EXPECT_FALSE(fs::exists(folder));
    EXPECT_THAT(preview->GetWritten(), IsEmpty());
    preview->Discard();
    preview->Finish();
}

TEST_F(PngPreviewTest, DiscardKeepsAFolderThatStoodThereAndWhatOthersPutIn) {
    fs::create_directory(folder);
    Make()->Discard();
    EXPECT_TRUE(fs::exists(folder));
    fs::remove(folder);
    auto const preview = Make();
    Touch("other.txt");
    preview->OnVideoFrame(MakeNoise(PIX_FMT_RGB24, 4, 4));
    AwaitWritten(*preview, 1);
    preview->Discard();
    EXPECT_THAT(List(), ElementsAre("other.txt"));
}

TEST_F(PngPreviewTest, MachinesClockIsTakenWithoutAnother) {
    auto const preview = MakeShared<PngPreview>(folder, 1e-9);
    preview->OnVideoFrame(MakeNoise(PIX_FMT_RGB24, 4, 4, 1));
    preview->OnVideoFrame(MakeNoise(PIX_FMT_RGB24, 4, 4, 2));
    preview->Finish();
    EXPECT_EQ(preview->GetWritten().size(), 1U);
}

}  // namespace
}  // namespace Tarsel::Host
