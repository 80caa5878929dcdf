#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <set>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/Color.h"
#include "contracts/Proc/DataMD5.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsColorSpaceConverter.h"
#include "host/graph/Factories.h"
#include "tests/host/gpu/GpuSupport.h"
#include "tests/support/Builders.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/OtherSettings.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;
using TestSupport::MessageOf;

class Transfer : public GpuTest {};

TEST_F(Transfer, RgbaComesBackBitByBit) {
    std::vector<std::pair<int, int>> const sizes{{1, 1},   {2, 1},    {1, 3},    {7, 5},
                                                 {64, 48}, {333, 77}, {2000, 3}, {3, 1999}};
    for (auto const& [width, height] : sizes) {
        auto const picture = Noise(width, height, static_cast<unsigned>(width));
        auto const back = Download(Upload(picture));
        EXPECT_EQ(back->GetFrameAlloc(), IDataVideo::FRAME_ALLOC_CPU);
        EXPECT_EQ(back->GetPixelFormat(), PIX_FMT_RGBA);
        EXPECT_EQ(BytesOf(*back), BytesOf(*picture)) << width << "x" << height;
    }
}

TEST_F(Transfer, TheFrameInGpuMemoryKeepsAllButThePixelFormat) {
    auto picture = DataVideoFF::Create(PIX_FMT_YUV420P, {34, 18, 4, 3}, nullptr);
    picture->Fill(Color::Black(Color::Opaque));
    AVFrame& frame = InnerFrame(*picture);
    frame.interlaced_frame = 1;
    frame.crop_left = 1;
    frame.crop_top = 2;
    frame.crop_right = 3;
    frame.crop_bottom = 4;
    picture->SetTime(123);
    picture->SetDuration(456);
    auto const expectSame = [](IDataVideo const& found) {
        EXPECT_EQ(found.GetFrameInfo(), (Conf::FrameInfo{34, 18, 4, 3}));
        EXPECT_EQ(found.GetWidth(), 34);
        EXPECT_EQ(found.GetHeight(), 18);
        EXPECT_EQ(found.GetPixelFormat(), PIX_FMT_RGBA);
        EXPECT_NE(found.GetInterlace(), 0);
        EXPECT_EQ(found.GetCrop(), (CropInfo{1, 31, 2, 14}));
        EXPECT_EQ(found.GetTime(), 123);
        EXPECT_EQ(found.GetDuration(), 456);
    };
    auto const uploaded = Upload(picture);
    EXPECT_EQ(uploaded->GetFrameAlloc(), IDataVideo::FRAME_ALLOC_GPU);
    EXPECT_TRUE(IsOGLFrame(uploaded));
    EXPECT_EQ(GetPlanesCount(*uploaded), 0);
    expectSame(*uploaded);
    expectSame(*uploaded->Clone(false));
    expectSame(*uploaded->Clone(true));
    expectSame(*Download(uploaded));
}

/// The picture in another format, converted in processor memory.
iptr<IDataVideo> Converted(iptr<IDataVideo> picture, PixFmt format) {
    auto const effect = MakeEffectFactory()->CreateEffect(SettingsColorSpaceConverter::CLASS_ID, ImplNames::TARSEL);
    effect->Initialize(SettingsColorSpaceConverter(std::vector<PixFmt>{format}));
    return iptr<IDataVideo>(dynamic_cast<IDataVideo*>(effect->ProcessData({picture}).get()));
}

TEST_F(Transfer, OtherPixelFormatsAreConvertedAsInProcessorMemory) {
    for (PixFmt const format : {PIX_FMT_YUV420P, PIX_FMT_NV12, PIX_FMT_BGRA, PIX_FMT_RGB24}) {
        auto const noise = Noise(62, 34, 5);
        auto const made = Converted(noise, format);
        auto const wanted = Converted(made, PIX_FMT_RGBA);
        EXPECT_EQ(BytesOf(*Download(Upload(made))), BytesOf(*wanted)) << format;
    }
}

TEST_F(Transfer, AMatrixThatTheFrameNamesIsUsed) {
    auto const paint = [](AVColorSpace matrix) {
        auto picture = MakeVideo(0, 1, 90);
        InnerFrame(*picture).colorspace = matrix;
        return BytesOf(*Download(Upload(picture)));
    };
    EXPECT_NE(paint(AVCOL_SPC_BT709), paint(AVCOL_SPC_SMPTE170M));
    EXPECT_EQ(paint(AVCOL_SPC_UNSPECIFIED), paint(AVCOL_SPC_SMPTE170M));
}

/// A frame of RGBA over memory whose rows are `stride` bytes apart.
iptr<IDataVideo> OverMemory(u8* first, int stride, int width, int height) {
    AVFrame* const frame = av_frame_alloc();
    frame->width = width;
    frame->height = height;
    frame->format = AV_PIX_FMT_RGBA;
    frame->data[0] = first;
    frame->linesize[0] = stride;
    return DataVideoFF::Wrap(frame, 0, 1);
}

TEST_F(Transfer, PaddedBottomUpAndOddRowsComeBackBitByBit) {
    constexpr int WIDTH = 9;
    constexpr int HEIGHT = 6;
    std::vector<u8> memory(1000);
    for (std::size_t i = 0; i < memory.size(); ++i) memory[i] = static_cast<u8>(i * 37 + i / 256);
    for (int const stride : {48, 41, -36, -43}) {
        auto const picture = OverMemory(stride > 0 ? memory.data() : memory.data() + 500, stride, WIDTH, HEIGHT);
        EXPECT_EQ(BytesOf(*Download(Upload(picture))), BytesOf(*picture)) << stride;
    }
}

TEST_F(Transfer, FramesThatAreThereAlreadyPass) {
    auto const picture = Noise(4, 4, 1);
    EXPECT_EQ(Download(picture), picture);
    auto const uploaded = Upload(picture);
    GpuCounters const before = device->GetCounters();
    EXPECT_EQ(Upload(uploaded), uploaded);
    EXPECT_EQ(device->GetCounters().uploads, before.uploads);
    EXPECT_EQ(Upload(nullptr), nullptr);
    EXPECT_EQ(Download(nullptr), nullptr);
}

TEST_F(Transfer, EachMoveIsCountedOnce) {
    GpuCounters const before = device->GetCounters();
    Download(Upload(Noise(4, 4, 1)));
    GpuCounters const after = device->GetCounters();
    EXPECT_EQ(after.uploads - before.uploads, 1);
    EXPECT_EQ(after.downloads - before.downloads, 1);
    EXPECT_EQ(after.copies, before.copies);
    EXPECT_EQ(after.draws, before.draws);
}

TEST_F(Transfer, EffectsCountWhatTheyGive) {
    auto effect = MakeShared<DownloadEffect>();
    auto picture = Upload(Noise(4, 4, 1));
    effect->Process(picture);
    effect->Process(picture);
    EXPECT_EQ(effect->GetStatistic(), Core::MakeStatistics("Tarsel::Host::DownloadEffect::GetStatistic", 0, 2));
}

TEST_F(Transfer, TheUploadersStatisticsTellOfTheDevice) {
    auto effect = MakeShared<UploadEffect>();
    Core::Property expected = Core::MakeStatistics("Tarsel::Host::UploadEffect::GetStatistic", 0, 0);
    EXPECT_EQ(effect->GetStatistic(), expected);
    auto picture = Noise(4, 4, 1);
    effect->Process(picture);
    expected = Core::MakeStatistics("Tarsel::Host::UploadEffect::GetStatistic", 0, 1);
    GpuCounters const counters = device->GetCounters();
    EXPECT_GT(counters.uploads, 0);
    expected.SetChild("Renderer", device->GetRenderer())
        .SetChild("Uploads", counters.uploads)
        .SetChild("Downloads", counters.downloads)
        .SetChild("Copies", counters.copies);
    EXPECT_EQ(effect->GetStatistic(), expected);
}

TEST_F(Transfer, APictureThatIsTooLargeIsRefused) {
    int const size = device->GetLargestSize() + 1;
    EXPECT_EQ(MessageOf<EffectException>([&] { Upload(MakeVideo(0, 1, 0, PIX_FMT_RGBA, size, 1)); }),
              "A picture of " + std::to_string(size) + "x1 can't be in GPU memory, which takes 1x1 to " +
                  std::to_string(size - 1) + "x" + std::to_string(size - 1));
    EXPECT_EQ(MessageOf<EffectException>([&] { Upload(MakeVideo(0, 1, 0, PIX_FMT_RGBA, 1, size)); }),
              "A picture of 1x" + std::to_string(size) + " can't be in GPU memory, which takes 1x1 to " +
                  std::to_string(size - 1) + "x" + std::to_string(size - 1));
}

TEST_F(Transfer, TheLargestPictureComesBackBitByBit) {
    auto const picture = Noise(device->GetLargestSize(), 2, 3);
    EXPECT_EQ(BytesOf(*Download(Upload(picture))), BytesOf(*picture));
}

TEST_F(Transfer, FormatsBecomeRgba) {
    for (char const* const id : {SettingsFrameUploader::CLASS_ID, SettingsFrameDownloader::CLASS_ID}) {
        auto const effect = MakeEffectFactory()->CreateEffect(id, ImplNames::OGL);
        ASSERT_TRUE(effect) << id;
        auto const video = Conf::IFormatCodecVideo::Create();
        video->SetPixelFormat(PIX_FMT_YUV420P);
        video->SetFrameInfo({20, 10, 4, 3});
        iptr<Conf::IFormatCodec> format = video;
        effect->AdaptFormatCodec(format);
        EXPECT_EQ(video->GetPixelFormat(), PIX_FMT_RGBA);
        EXPECT_EQ(video->GetFrameInfo(), (Conf::FrameInfo{20, 10, 4, 3}));
        iptr<Conf::IFormatCodec> none;
        EXPECT_EQ(MessageOf<std::invalid_argument>([&] { effect->AdaptFormatCodec(none); }), "Format codec is NULL");
    }
}

TEST_F(Transfer, TheTwoMoversTakeFramesFromAnywhere) {
    EXPECT_EQ(UploadEffect().GetProcessingFrameType(), IDataVideo::FRAME_ALLOC_ANY);
    EXPECT_EQ(DownloadEffect().GetProcessingFrameType(), IDataVideo::FRAME_ALLOC_ANY);
}

TEST_F(Transfer, SettingsGoThroughAProperty) {
    auto effect = MakeShared<UploadEffect>();
    effect->Initialize(Settings2Property(SettingsFrameUploader()));
    EXPECT_EQ(effect->GetSettings(), Settings2Property(SettingsFrameUploader()));
    EXPECT_EQ(MessageOf<FilterException>([&] { effect->Initialize(Core::Property("Other")); }),
              "Object was initialized with incorrect class (Other)!");
    EXPECT_THROW(effect->Initialize(SettingsFrameDownloader()), std::bad_cast);
}

TEST_F(Transfer, TheDigestOfAFrameInGpuMemoryIsThatOfItsDownload) {
    for (auto const& picture : {Noise(33, 17, 3), Gradient(64, 48), MakeVideo(40, 40, 90)}) {
        auto const uploaded = Upload(picture);
        ASSERT_EQ(uploaded->GetFrameAlloc(), IDataVideo::FRAME_ALLOC_GPU);
        std::string const digest = CalculateVideoDataMD5(uploaded);
        EXPECT_EQ(digest, CalculateVideoDataMD5(Download(uploaded)));
        EXPECT_EQ(uploaded->GetFrameAlloc(), IDataVideo::FRAME_ALLOC_GPU) << "the frame stays where it is";
        EXPECT_EQ(CalculateVideoDataMD5(uploaded->Clone(true)), digest);
        if (picture->GetPixelFormat() == PIX_FMT_RGBA) {
            EXPECT_EQ(digest, CalculateVideoDataMD5(picture));
        }
    }
    EXPECT_NE(CalculateVideoDataMD5(Upload(Noise(33, 17, 3))), CalculateVideoDataMD5(Upload(Noise(33, 17, 4))));
}

}  // namespace
}  // namespace Tarsel::Host
