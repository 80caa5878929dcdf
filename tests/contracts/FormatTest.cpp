#include <gtest/gtest.h>

#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Conf/PixFmtDescription.h"
#include "contracts/Conf/SampleInfo.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/BlobFF.h"

namespace Tarsel::Conf {
namespace {

TEST(SampleInfo, NewOneIsUnset) {
    SampleInfo const info;
    EXPECT_EQ(info.GetSampleFormat(), SAMPLE_FORMAT_NONE);
    EXPECT_EQ(info.GetSampleRate(), -1);
    EXPECT_EQ(info.GetChannelLayout(), CHANNEL_LAYOUT_NONE);
    EXPECT_EQ(info.GetChannelCount(), 0);
    EXPECT_EQ(info.GetPlanesCount(), 0);
    EXPECT_EQ(info.GetSampleSizePerPlane(), 0);
}

TEST(SampleInfo, SizesOfInterleavedAndPlanarFormats) {
    SampleInfo info;
    info.Init(SAMPLE_FORMAT_S16, 48000, CHANNEL_LAYOUT_STEREO);
    EXPECT_EQ(info.GetPlanesCount(), 1);
    EXPECT_EQ(info.GetSampleSizePerPlane(), 4);
    info.Init(SAMPLE_FORMAT_S16P, 48000, CHANNEL_LAYOUT_STEREO);
    EXPECT_EQ(info.GetPlanesCount(), 2);
    EXPECT_EQ(info.GetSampleSizePerPlane(), 2);
    info.Init(SAMPLE_FORMAT_DBLP, 48000, 0xFFF);
    EXPECT_EQ(info.GetPlanesCount(), 12);
    EXPECT_EQ(info.GetSampleSizePerPlane(), 8);
}

TEST(SampleInfo, EqualityComparesTheThreeWords) {
    SampleInfo const info(SAMPLE_FORMAT_S16, 48000, CHANNEL_LAYOUT_STEREO);
    EXPECT_EQ(info, SampleInfo(SAMPLE_FORMAT_S16, 48000, CHANNEL_LAYOUT_STEREO));
    EXPECT_FALSE(info == SampleInfo(SAMPLE_FORMAT_S16P, 48000, CHANNEL_LAYOUT_STEREO));
    EXPECT_FALSE(info == SampleInfo(SAMPLE_FORMAT_S16, 44100, CHANNEL_LAYOUT_STEREO));
    EXPECT_FALSE(info == SampleInfo(SAMPLE_FORMAT_S16, 48000, CHANNEL_LAYOUT_MONO));
}

SampleInfo Merged(SampleInfo a, SampleInfo const& b) {
    a.MergeWith(b, MergeStrategy::Best);
    return a;
}

TEST(SampleInfo, MergeTakesTheOthersWordWhereItsOwnIsUnset) {
    SampleInfo const full(SAMPLE_FORMAT_FLT, 44100, CHANNEL_LAYOUT_STEREO);
    EXPECT_EQ(Merged(SampleInfo(), full), full);
    EXPECT_EQ(Merged(full, SampleInfo()), full);
    EXPECT_EQ(Merged(SampleInfo(SAMPLE_FORMAT_S16, 0, CHANNEL_LAYOUT_NONE), full),
              SampleInfo(SAMPLE_FORMAT_FLT, 44100, CHANNEL_LAYOUT_STEREO));
}

TEST(SampleInfo, MergeTakesTheBetterWordOfTwo) {
    SampleInfo const a(SAMPLE_FORMAT_S16, 44100, CHANNEL_LAYOUT_STEREO);
    SampleInfo const b(SAMPLE_FORMAT_FLTP, 22050, 0x3F);
    EXPECT_EQ(Merged(a, b), SampleInfo(SAMPLE_FORMAT_FLTP, 44100, 0x3F));
    EXPECT_EQ(Merged(b, a), SampleInfo(SAMPLE_FORMAT_FLTP, 44100, 0x3F));
}

TEST(SampleInfo, MergeKeepsTheFirstWordOnATie) {
    SampleInfo const interleaved(SAMPLE_FORMAT_S16, 48000, CHANNEL_LAYOUT_STEREO);
    SampleInfo const planar(SAMPLE_FORMAT_S16P, 48000, 0x30);
    EXPECT_EQ(Merged(interleaved, planar), interleaved);
    EXPECT_EQ(Merged(planar, interleaved), planar);
}

TEST(SampleInfo, HelpersKnowLayoutsAndFormats) {
    EXPECT_EQ(DefaultChannelLayout(1), CHANNEL_LAYOUT_MONO);
    EXPECT_EQ(DefaultChannelLayout(2), CHANNEL_LAYOUT_STEREO);
    EXPECT_EQ(ChannelCount(DefaultChannelLayout(6)), 6);
    EXPECT_EQ(DefaultChannelLayout(0), CHANNEL_LAYOUT_NONE);
    EXPECT_EQ(DefaultChannelLayout(-1), CHANNEL_LAYOUT_NONE);
    EXPECT_EQ(DefaultChannelLayout(63), CHANNEL_LAYOUT_NONE);
    EXPECT_EQ(PlanarFormat(SAMPLE_FORMAT_DBL), SAMPLE_FORMAT_DBLP);
    EXPECT_EQ(PlanarFormat(SAMPLE_FORMAT_U8P), SAMPLE_FORMAT_U8P);
    EXPECT_EQ(PlanarFormat(SAMPLE_FORMAT_NONE), SAMPLE_FORMAT_NONE);
    EXPECT_FALSE(IsPlanar(SAMPLE_FORMAT_S32));
    EXPECT_TRUE(IsPlanar(SAMPLE_FORMAT_S32P));
    EXPECT_EQ(BytesPerSample(SAMPLE_FORMAT_S64), 8);
    EXPECT_EQ(BytesPerSample(static_cast<SampleFormats>(77)), 0);
}

TEST(PixFmtDescription, KnowsFormatsAndRefusesOtherNumbers) {
    EXPECT_EQ(PixFmtDescription::Find(PIX_FMT_NONE), nullptr);
    EXPECT_EQ(PixFmtDescription::Find(static_cast<PixFmt>(100000)), nullptr);
    auto const* const yuv = PixFmtDescription::Find(PIX_FMT_YUV420P);
    ASSERT_NE(yuv, nullptr);
    EXPECT_EQ(yuv->GetName(), "yuv420p");
    EXPECT_EQ(yuv->GetFormat(), PIX_FMT_YUV420P);
    EXPECT_EQ(yuv->GetPlanesCount(), 3);
    EXPECT_EQ(yuv->GetChromaShiftX(), 1);
    EXPECT_EQ(yuv->GetChromaShiftY(), 1);
    EXPECT_EQ(yuv->GetFlags() & PixFmtDescription::FLAG_RGB, 0U);
}

TEST(PixFmtDescription, AlphaIsBitThreeOfTheFlags) {
    EXPECT_EQ(unsigned(PixFmtDescription::FLAG_ALPHA), 8U);
    for (PixFmt const format : {PIX_FMT_ARGB, PIX_FMT_RGBA, PIX_FMT_ABGR, PIX_FMT_BGRA, PIX_FMT_YUVA420P})
        EXPECT_TRUE(PixFmtDescription::Find(format)->HasAlpha()) << format;
    for (PixFmt const format : {PIX_FMT_YUV420P, PIX_FMT_RGB24, PIX_FMT_NV12})
        EXPECT_FALSE(PixFmtDescription::Find(format)->HasAlpha()) << format;
}

TEST(PixFmtDescription, SizesRoundOddPicturesUp) {
    auto const size = [](PixFmt format, int width, int height) {
        return PixFmtDescription::Find(format)->GetAllPlanesFullSize(width, height);
    };
    EXPECT_EQ(size(PIX_FMT_YUV420P, 16, 16), 384U);
    EXPECT_EQ(size(PIX_FMT_YUV420P, 5, 3), 5U * 3 + 2 * (3 * 2));
    EXPECT_EQ(size(PIX_FMT_NV12, 5, 3), 5U * 3 + 6 * 2);
    EXPECT_EQ(size(PIX_FMT_YUVA420P, 5, 3), 2 * 5U * 3 + 2 * (3 * 2));
    EXPECT_EQ(size(PIX_FMT_RGB24, 5, 3), 45U);
    EXPECT_EQ(size(PIX_FMT_RGBA, 5, 3), 60U);
    EXPECT_EQ(size(PIX_FMT_RGBA, 0, 3), 0U);
    EXPECT_EQ(size(PIX_FMT_RGBA, -5, 3), 0U);
    EXPECT_EQ(PixFmtDescription::Find(PIX_FMT_RGBA)->GetPlaneRowBytes(5, 1), 0);
    EXPECT_EQ(PixFmtDescription::Find(PIX_FMT_RGBA)->GetPlaneRows(5, -1), 0);
}

TEST(FormatCodec, NewOneHasNoCodecAndNoDuration) {
    auto const format = IFormatCodecVideo::Create();
    EXPECT_EQ(format->GetCodecID(), IFormatCodec::CODEC_ID_NONE);
    EXPECT_FALSE(format->ExistsCodecID());
    EXPECT_EQ(format->GetOriginalDuration(), NO_VALUE);
    EXPECT_EQ(format->GetExtradata(), nullptr);
    EXPECT_FALSE(format->ExistsImageFlag());
    EXPECT_FALSE(format->GetImageFlag());
    EXPECT_EQ(format->GetPixelFormat(), PIX_FMT_NONE);
    EXPECT_EQ(format->GetFrameRate(), Ratio(0, 1));
    format->SetCodecID("");
    EXPECT_FALSE(format->ExistsCodecID());
    format->SetCodecID(IFormatCodecVideo::CODEC_ID_H264);
    EXPECT_TRUE(format->ExistsCodecID());
}

TEST(FormatCodec, VideoCloneIsApartFromItsOriginal) {
    auto const format = IFormatCodecVideo::Create();
    format->SetCodecID("h264");
    format->SetOriginalDuration(5);
    format->InitByPixelAspect(1280, 720, 4, 3);
    format->SetPixelFormat(PIX_FMT_NV12);
    format->SetFrameRate(30000U, 1001U);
    format->SetImageFlag(true);
    format->SetCutAnywhere(true);
    format->SetProperty(Core::Property("p").SetChild("a", 1));
    format->SetMetadata(Core::Property("m").SetChild("b", 2));
    u8 const bytes[] = {1, 2};
    format->SetExtradata(Proc::BlobFF::Create(bytes, 2));
    iptr<IFormatCodecVideo> const clone = format->Clone();
    ASSERT_NE(clone, format);
    EXPECT_EQ(clone->GetRefCountImpl(), 1U);

    format->SetCodecID("hevc");
    format->SetOriginalDuration(6);
    format->SetFrameInfo({1, 1, 1, 1});
    format->SetPixelFormat(PIX_FMT_RGBA);
    format->SetFrameRate(Ratio(25, 1));
    format->SetImageFlag(false);
    format->SetCutAnywhere(false);
    format->SetProperty({});
    format->SetMetadata({});
    format->SetExtradata(nullptr);

    EXPECT_EQ(clone->GetCodecID(), "h264");
    EXPECT_EQ(clone->GetOriginalDuration(), 5);
    EXPECT_EQ(clone->GetFrameInfo(), (FrameInfo{1280, 720, 4, 3}));
    EXPECT_EQ(clone->GetWidth(), 1280);
    EXPECT_EQ(clone->GetHeight(), 720);
    EXPECT_EQ(clone->GetPixelFormat(), PIX_FMT_NV12);
    EXPECT_EQ(clone->GetFrameRate(), Ratio(30000, 1001));
    EXPECT_TRUE(clone->GetImageFlag());
    EXPECT_TRUE(clone->GetCutAnywhere());
    EXPECT_EQ(clone->GetProperty()["a"].GetInt64(), 1);
    EXPECT_EQ(clone->GetMetadata()["b"].GetInt64(), 2);
    ASSERT_NE(clone->GetExtradata(), nullptr);
    EXPECT_EQ(clone->GetExtradata()->GetSize(), 2U);
}

TEST(FormatCodec, AudioSettersChangeOneWordEach) {
    auto const format = IFormatCodecAudio::Create();
    format->SetSampleInfo({SAMPLE_FORMAT_S16, 44100, CHANNEL_LAYOUT_MONO});
    auto const clone = format->Clone();
    format->SetSampleRate(48000);
    EXPECT_EQ(format->GetSampleInfo(), SampleInfo(SAMPLE_FORMAT_S16, 48000, CHANNEL_LAYOUT_MONO));
    format->SetSampleFormat(SAMPLE_FORMAT_FLTP);
    EXPECT_EQ(format->GetSampleInfo(), SampleInfo(SAMPLE_FORMAT_FLTP, 48000, CHANNEL_LAYOUT_MONO));
    format->SetChannelLayout(CHANNEL_LAYOUT_STEREO);
    EXPECT_EQ(format->GetSampleInfo(), SampleInfo(SAMPLE_FORMAT_FLTP, 48000, CHANNEL_LAYOUT_STEREO));
    EXPECT_EQ(clone->GetSampleInfo(), SampleInfo(SAMPLE_FORMAT_S16, 44100, CHANNEL_LAYOUT_MONO));
}

TEST(FormatCodec, GenericCloneKeepsTheKind) {
    auto const subtitle = IFormatCodecSubtitle::Create();
    subtitle->SetSubtitleHeader("[Script Info]");
    iptr<IFormatCodec const> const generic = subtitle;
    iptr<IFormatCodec> const clone = generic->Clone();
    auto const* const typed = dynamic_cast<IFormatCodecSubtitle const*>(clone.get());
    ASSERT_NE(typed, nullptr);
    EXPECT_EQ(typed->GetSubtitleHeader(), "[Script Info]");
    iptr<IFormatCodec const> const audio = IFormatCodecAudio::Create();
    EXPECT_NE(dynamic_cast<IFormatCodecAudio*>(audio->Clone().get()), nullptr);
    iptr<IFormatCodec const> const video = IFormatCodecVideo::Create();
    EXPECT_NE(dynamic_cast<IFormatCodecVideo*>(video->Clone().get()), nullptr);
}

TEST(FormatCodec, BadAspectIsSquareAndBadRateIsRefused) {
    auto const format = IFormatCodecVideo::Create();
    format->InitByPixelAspect(10, 20, 0, 7);
    EXPECT_EQ(format->GetFrameInfo(), (FrameInfo{10, 20, 1, 1}));
    format->InitByPixelAspect(10, 20, 7, 0);
    EXPECT_EQ(format->GetFrameInfo(), (FrameInfo{10, 20, 1, 1}));
    format->InitByPixelAspect(10, 20, 0x80000000U, 7);
    EXPECT_EQ(format->GetFrameInfo(), (FrameInfo{10, 20, 1, 1}));
    for (auto const& bad : {FrameInfo{10, 20, 0, 7}, FrameInfo{10, 20, 7, 0}, FrameInfo{10, 20, 0, 0},
                            FrameInfo{10, 20, -4, 3}, FrameInfo{10, 20, 4, -3}}) {
        format->SetFrameInfo({1, 1, 4, 3});
        format->SetFrameInfo(bad);
        EXPECT_EQ(format->GetFrameInfo(), (FrameInfo{10, 20, 1, 1}));
    }
    format->SetFrameInfo({10, 20, 4, 2});
    EXPECT_EQ(format->GetFrameInfo(), (FrameInfo{10, 20, 4, 2})) << "not reduced";
    EXPECT_THROW(format->SetFrameRate(25U, 0U), Core::CoreException);
}

}  // namespace
}  // namespace Tarsel::Conf
