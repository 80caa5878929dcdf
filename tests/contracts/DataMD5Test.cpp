#include "contracts/Proc/DataMD5.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <functional>
#include <random>
#include <stdexcept>

#include "contracts/Core/Exception.h"
#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"
#include "tests/support/PlacedPicture.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/md5.h>
#include <libavutil/pixdesc.h>
}

namespace Tarsel::Proc {
namespace {

using namespace Test;

std::string MD5Of(u8 const* data, std::size_t size) {
    std::array<u8, 16> sum{};
    av_md5_sum(sum.data(), data, size);
    std::string text;
    for (u8 const byte : sum) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}
std::string MD5Of(std::vector<u8> const& bytes) {
    return MD5Of(bytes.data(), bytes.size());
}

// --- Pictures --------------------------------------------------------------------------------------------------------

/// A frame of noise, the padding of its rows too.
AVFrame* NoiseFrame(AVPixelFormat format, int width, int height, int align, unsigned seed) {
    AVFrame* const frame = av_frame_alloc();
    frame->format = format;
    frame->width = width;
    frame->height = height;
    if (av_frame_get_buffer(frame, align) < 0) TARSEL_THROW(std::runtime_error, "no memory for a frame");
    std::mt19937 random(seed);
    for (AVBufferRef* const buffer : frame->buf)
        for (std::size_t i = 0; buffer && i < buffer->size; ++i) buffer->data[i] = static_cast<u8>(random());
    return frame;
}

/// The digest of the frame as FFmpeg packs it into raw video.
std::string DigestOfRawVideo(AVFrame const& frame) {
    auto const format = static_cast<AVPixelFormat>(frame.format);
    int const size = av_image_get_buffer_size(format, frame.width, frame.height, 1);
    std::vector<u8> bytes(static_cast<std::size_t>(size));
    int const written =
        av_image_copy_to_buffer(bytes.data(), size, frame.data, frame.linesize, format, frame.width, frame.height, 1);
    if (written != size) TARSEL_THROW(std::runtime_error, "can't pack a frame");
    return MD5Of(bytes);
}

TEST(VideoDigest, IsThatOfRawVideoInEveryPixelFormatAndSize) {
    int formats = 0;
    for (AVPixFmtDescriptor const* format = nullptr; (format = av_pix_fmt_desc_next(format));) {
        if (format->flags & AV_PIX_FMT_FLAG_HWACCEL) continue;
        ++formats;
        AVPixelFormat const id = av_pix_fmt_desc_get_id(format);
        for (auto const& [width, height] :
             std::vector<std::pair<int, int>>{{1, 1}, {2, 2}, {7, 5}, {16, 16}, {33, 9}, {64, 3}}) {
            AVFrame* const frame = NoiseFrame(id, width, height, 64, static_cast<unsigned>(formats));
            std::string const expected = DigestOfRawVideo(*frame);
            EXPECT_EQ(CalculateVideoDataMD5(DataVideoFF::Wrap(frame, 0, 1)), expected)
                << format->name << " " << width << "x" << height;
        }
    }
    EXPECT_GT(formats, 150);
}

TEST(VideoDigest, IsTheSameWithAndWithoutPaddingAndForAnyAlignment) {
    for (AVPixelFormat const format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_NV12, AV_PIX_FMT_RGB24, AV_PIX_FMT_PAL8,
                                       AV_PIX_FMT_MONOWHITE, AV_PIX_FMT_YUV422P10LE, AV_PIX_FMT_GBRAPF32LE}) {
        AVFrame* const native = NoiseFrame(format, 35, 11, 128, 7);
        std::string const name = av_get_pix_fmt_name(format);
        auto const packed = DataVideoFF::Create(static_cast<PixFmt>(static_cast<int>(format)), {35, 11, 1, 1}, nullptr);
        auto const& inner = *static_cast<DataVideoFF&>(*packed).GetAVFrame();
        av_image_copy(const_cast<u8**>(inner.data), const_cast<int*>(inner.linesize),
                      const_cast<u8 const**>(native->data), native->linesize, format, 35, 11);
        auto const padded = DataVideoFF::Wrap(native, 0, 1);
        EXPECT_GT(padded->GetPlaneConst(0).GetStride(), padded->GetPlaneConst(0).GetRowBytes()) << name;
        EXPECT_EQ(packed->GetPlaneConst(0).GetStride(), packed->GetPlaneConst(0).GetRowBytes()) << name;
        EXPECT_EQ(CalculateVideoDataMD5(padded), CalculateVideoDataMD5(packed)) << name;
        EXPECT_EQ(CalculateVideoDataMD5(padded->Clone(false)), CalculateVideoDataMD5(packed)) << name;
        EXPECT_EQ(CalculateVideoDataMD5(padded->Clone(true)), CalculateVideoDataMD5(packed)) << name;
    }
}

TEST(VideoDigest, ABottomUpPictureIsReadFromItsTop) {
    AVFrame* const upwards = NoiseFrame(AV_PIX_FMT_GRAY8, 5, 3, 16, 3);
    for (int row = 0; row < 3; ++row) std::memset(upwards->data[0] + row * upwards->linesize[0], 'c' - row, 5);
    upwards->data[0] += 2 * upwards->linesize[0];
    upwards->linesize[0] = -upwards->linesize[0];
    std::string const text = "aaaaabbbbbccccc";
    EXPECT_EQ(CalculateVideoDataMD5(DataVideoFF::Wrap(upwards, 0, 1)),
              MD5Of(reinterpret_cast<u8 const*>(text.data()), text.size()));
}

TEST(VideoDigest, EveryBytePlaneAndPaletteColourTakesPart) {
    for (AVPixelFormat const format : {AV_PIX_FMT_YUVA420P, AV_PIX_FMT_PAL8}) {
        AVFrame* const native = NoiseFrame(format, 6, 6, 32, 5);
        auto const frame = DataVideoFF::Wrap(native, 0, 1);
        std::string const whole = CalculateVideoDataMD5(frame);
        for (u8* const plane : native->data) {
            if (!plane) continue;
            plane[0] ^= 1;
            EXPECT_NE(CalculateVideoDataMD5(frame), whole);
            plane[0] ^= 1;
        }
        EXPECT_EQ(CalculateVideoDataMD5(frame), whole);
    }
}

TEST(VideoDigest, TimesShapeAndCropDoNotTakePart) {
    AVFrame* const native = NoiseFrame(AV_PIX_FMT_YUV420P, 16, 16, 32, 5);
    auto const frame = DataVideoFF::Wrap(native, 0, 1);
    std::string const digest = CalculateVideoDataMD5(frame);
    native->crop_left = 4;
    native->crop_bottom = 2;
    native->interlaced_frame = 1;
    native->pts = 77;
    native->sample_aspect_ratio = {4, 3};
    frame->SetTime(NO_VALUE);
    frame->SetDuration(5);
    EXPECT_EQ(CalculateVideoDataMD5(frame), digest);
}

/// A picture elsewhere, whose pixels come when they are asked for.
class DistantPicture final : public IDataVideo, public IDownloadable, public RefCounted {
  public:
    explicit DistantPicture(iptr<IDataVideo> picture) : picture(std::move(picture)) {}
    iptr<IDataVideo> Download() const override { return picture; }

    int64 GetDuration() const override { return NO_VALUE; }
    void SetDuration(int64) override {}
    int64 GetTime() const override { return NO_VALUE; }
    void SetTime(int64) override {}
    void CutBegin(int64) override {}
    void Cut(int64, int64) override {}
    void CutEnd(int64) override {}
    int GetFrameAlloc() const override { return FRAME_ALLOC_GPU; }
    Conf::FrameInfo const& GetFrameInfo() const override { return info; }
    int GetWidth() const override { return info.width; }
    int GetHeight() const override { return info.height; }
    PixFmt GetPixelFormat() const override { return PIX_FMT_RGBA; }
    int GetInterlace() const override { return 0; }
    Details::PlaneTemplate<0> GetPlane(unsigned) override { return {}; }
    Details::PlaneTemplate<1> GetPlaneConst(unsigned) const override { return {}; }
    iptr<IDataVideo> MakeWritable() override { return nullptr; }
    iptr<IDataVideo> Clone(bool) const override { return nullptr; }
    CropInfo GetCrop() const override { return {}; }

  private:
    iptr<IDataVideo> const picture;
    Conf::FrameInfo info{16, 16, 1, 1};
};

TEST(VideoDigest, AFrameOutsideProcessorMemoryIsDownloaded) {
    auto const picture = MakeVideo(0, 1, 77, PIX_FMT_RGBA);
    EXPECT_EQ(CalculateVideoDataMD5(MakeShared<DistantPicture>(picture)), CalculateVideoDataMD5(picture));
}

TEST(VideoDigest, AFrameThatCanNotBeReachedIsRefused) {
    char const* const refusal = "A frame outside processor memory has no digest of its own";
    auto const refused = [](iptr<IDataVideo> const& frame) {
        return MessageOf<ProcException>([&] { CalculateVideoDataMD5(frame); });
    };
    EXPECT_EQ(refused(PlacedPicture::Create(IDataVideo::FRAME_ALLOC_GPU, 0)), refusal);
    EXPECT_EQ(refused(MakeShared<DistantPicture>(nullptr)), refusal);
    EXPECT_EQ(refused(MakeShared<DistantPicture>(PlacedPicture::Create(IDataVideo::FRAME_ALLOC_GPU, 0))), refusal);
    EXPECT_EQ(refused(PlacedPicture::Create(IDataVideo::FRAME_ALLOC_CPU, 0, 40, PIX_FMT_NONE)),
              "A frame of pixel format -1 has no digest");
}

// --- Sound -----------------------------------------------------------------------------------------------------------

TEST(AudioDigest, IsThatOfTheSamplesPlaneByPlaneWithoutPadding) {
    for (int const number : {AV_SAMPLE_FMT_U8, AV_SAMPLE_FMT_S16, AV_SAMPLE_FMT_FLT, AV_SAMPLE_FMT_DBL,
                             AV_SAMPLE_FMT_U8P, AV_SAMPLE_FMT_S16P, AV_SAMPLE_FMT_FLTP, AV_SAMPLE_FMT_S64P}) {
        auto const format = static_cast<AVSampleFormat>(number);
        AVFrame* const native = av_frame_alloc();
        native->format = format;
        native->sample_rate = 48000;
        native->nb_samples = 37;
        av_channel_layout_default(&native->ch_layout, 6);
        ASSERT_GE(av_frame_get_buffer(native, 0), 0);
        std::vector<u8> expected;
        int const planes = av_sample_fmt_is_planar(format) ? 6 : 1;
        int const bytes = 37 * av_get_bytes_per_sample(format) * (6 / planes);
        std::mt19937 random(11);
        for (int plane = 0; plane < planes; ++plane) {
            u8* const samples = native->extended_data[plane];
            for (int i = 0; i < native->linesize[0]; ++i) samples[i] = static_cast<u8>(random());
            expected.insert(expected.end(), samples, samples + bytes);
        }
        EXPECT_GT(native->linesize[0], bytes) << "no padding in " << av_get_sample_fmt_name(format);
        auto const copied = DataAudioFF::CreateFromFrame(native, 0);
        auto const taken = DataAudioFF::TakeFrame(native, 99);
        EXPECT_EQ(CalculateAudioDataMD5(copied), MD5Of(expected)) << av_get_sample_fmt_name(format);
        EXPECT_EQ(CalculateAudioDataMD5(taken), MD5Of(expected)) << av_get_sample_fmt_name(format);
    }
}

TEST(AudioDigest, ACutBlockHasTheDigestOfWhatIsLeft) {
    auto const block = MakeAudio(0, 4, 48000, Conf::SAMPLE_FORMAT_S16P);
    std::vector<u8> bytes;
    for (int plane = 0; plane < 2; ++plane)
        for (int i = 0; i < 4; ++i)
            SamplesOf<std::int16_t>(*block, plane)[i] = static_cast<std::int16_t>(10 * plane + i);
    for (u8 const low : {1, 2, 11, 12}) {
        bytes.push_back(low);
        bytes.push_back(0);
    }
    block->CutSamplesBegin(1);
    block->CutSamplesEnd(1);
    EXPECT_EQ(CalculateAudioDataMD5(block), MD5Of(bytes));
}

TEST(AudioDigest, OfNoSamplesIsThatOfNothing) {
    EXPECT_EQ(CalculateAudioDataMD5(MakeAudio(0, 0)), "d41d8cd98f00b204e9800998ecf8427e");
}

// --- Packets ---------------------------------------------------------------------------------------------------------

TEST(PacketDigest, IsThatOfThePayloadAlone) {
    EXPECT_EQ(CalculatePacketDataMD5(MakePacket(0, 0, 1, true, {'a', 'b', 'c'})), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(CalculatePacketDataMD5(MakePacket(9, 8, 7, false, {'a', 'b', 'c'}, MEDIA_TYPE_AUDIO)),
              "900150983cd24fb0d6963f7d28e17f72");
}

TEST(PacketDigest, OfNoPayloadIsAnEmptyText) {
    EXPECT_EQ(CalculatePacketDataMD5(MakePacket(0, 0, 1, true, {})), "");
}

// --- Subtitles -------------------------------------------------------------------------------------------------------

/// A bitmap of 3 x 2 pixels in lines of `stride` bytes, changed before it becomes an event.
std::string DigestOfBitmap(int stride, std::function<void(AVSubtitle&, AVSubtitleRect&)> const& change = {}) {
    AVSubtitle event{};
    event.num_rects = 1;
    event.rects = static_cast<AVSubtitleRect**>(av_calloc(1, sizeof(AVSubtitleRect*)));
    auto* const rect = event.rects[0] = static_cast<AVSubtitleRect*>(av_mallocz(sizeof(AVSubtitleRect)));
    rect->type = SUBTITLE_BITMAP;
    rect->w = 3;
    rect->h = 2;
    rect->nb_colors = 2;
    rect->linesize[0] = stride;
    std::size_t const size = static_cast<std::size_t>(stride) * 2;
    rect->data[0] = static_cast<u8*>(av_malloc(size));
    std::memset(rect->data[0], stride, size);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 3; ++x) rect->data[0][y * stride + x] = static_cast<u8>(x & 1);
    rect->data[1] = static_cast<u8*>(av_mallocz(AVPALETTE_SIZE));
    // Behind the colours in use: whatever stood in memory.
    std::memset(rect->data[1] + 8, stride, AVPALETTE_SIZE - 8);
    if (change) change(event, *rect);
    return CalculateSubtitleDataMD5(DataSubtitleFF::Create(&event, 0, 1));
}

TEST(SubtitleDigest, IsTheSameWithAndWithoutPaddedLines) {
    EXPECT_EQ(DigestOfBitmap(3), DigestOfBitmap(16));
    EXPECT_EQ(DigestOfBitmap(3).size(), 32U);
}

TEST(SubtitleDigest, EverythingThatShowsTakesPart) {
    std::string const digest = DigestOfBitmap(3);
    std::vector<std::function<void(AVSubtitle&, AVSubtitleRect&)>> const changes{
        [](AVSubtitle&, AVSubtitleRect& rect) { rect.x = 1; },
        [](AVSubtitle&, AVSubtitleRect& rect) { rect.y = 1; },
        [](AVSubtitle&, AVSubtitleRect& rect) { rect.w = 2; },
        [](AVSubtitle&, AVSubtitleRect& rect) { rect.h = 1; },
        [](AVSubtitle&, AVSubtitleRect& rect) { rect.flags = AV_SUBTITLE_FLAG_FORCED; },
        [](AVSubtitle&, AVSubtitleRect& rect) { rect.nb_colors = 1; },
        [](AVSubtitle&, AVSubtitleRect& rect) { rect.data[0][5] ^= 1; },
        [](AVSubtitle&, AVSubtitleRect& rect) { rect.data[1][7] ^= 1; },
        [](AVSubtitle&, AVSubtitleRect& rect) { rect.text = av_strdup("a"); },
        [](AVSubtitle&, AVSubtitleRect& rect) { rect.ass = av_strdup("a"); },
        [](AVSubtitle& event, AVSubtitleRect&) { avsubtitle_free(&event); }};
    std::vector<std::string> digests{digest};
    for (auto const& change : changes) digests.push_back(DigestOfBitmap(3, change));
    for (std::size_t i = 0; i < digests.size(); ++i)
        for (std::size_t j = 0; j < i; ++j) EXPECT_NE(digests[i], digests[j]) << i << " and " << j;
}

TEST(SubtitleDigest, TheEventsOwnTimesDoNotTakePart) {
    EXPECT_EQ(DigestOfBitmap(3,
                             [](AVSubtitle& event, AVSubtitleRect&) {
                                 event.start_display_time = 7;
                                 event.end_display_time = 9;
                                 event.pts = 77;
                             }),
              DigestOfBitmap(3));
}

TEST(SubtitleDigest, TimesAndTextsTakePartAndNeighboursStayApart) {
    auto const of = [](char const* text, char const* ass) {
        AVSubtitle event{};
        event.num_rects = 1;
        event.rects = static_cast<AVSubtitleRect**>(av_calloc(1, sizeof(AVSubtitleRect*)));
        event.rects[0] = static_cast<AVSubtitleRect*>(av_mallocz(sizeof(AVSubtitleRect)));
        event.rects[0]->type = SUBTITLE_ASS;
        event.rects[0]->text = text ? av_strdup(text) : nullptr;
        event.rects[0]->ass = ass ? av_strdup(ass) : nullptr;
        return CalculateSubtitleDataMD5(DataSubtitleFF::Create(&event, 0, 1));
    };
    std::vector<std::string> const digests{of("ab", ""), of("a", "b"), of("", "ab"), of(nullptr, "ab"),
                                           of("ab", nullptr)};
    for (std::size_t i = 0; i < digests.size(); ++i)
        for (std::size_t j = 0; j < i; ++j) EXPECT_NE(digests[i], digests[j]) << i << " and " << j;
    EXPECT_EQ(of("a", "b"), of("a", "b"));
    std::string const digest = CalculateSubtitleDataMD5(MakeSubtitle(1, 2, "a"));
    EXPECT_NE(digest, CalculateSubtitleDataMD5(MakeSubtitle(2, 2, "a")));
    EXPECT_NE(digest, CalculateSubtitleDataMD5(MakeSubtitle(1, 3, "a")));
    EXPECT_EQ(digest, CalculateSubtitleDataMD5(MakeSubtitle(1, 2, "a")->Clone(true)));
}

TEST(SubtitleDigest, SizesAndCountsThatAreNoneAreNotRead) {
    auto const with = [](int width, int height, int colours) {
        return DigestOfBitmap(3, [=](AVSubtitle&, AVSubtitleRect& rect) {
            rect.w = width;
            rect.h = height;
            rect.nb_colors = colours;
        });
    };
    EXPECT_EQ(with(-1, 2, 2).size(), 32U);
    EXPECT_EQ(with(3, -2, 2).size(), 32U);
    EXPECT_EQ(with(3, 2, -5).size(), 32U);
    EXPECT_EQ(with(3, 2, 100000).size(), 32U);
}

// --- No item ---------------------------------------------------------------------------------------------------------

TEST(Digests, ANullItemIsRefusedByItsName) {
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { CalculateVideoDataMD5(nullptr); }), "frame is NULL");
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { CalculateAudioDataMD5(nullptr); }), "block is NULL");
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { CalculatePacketDataMD5(nullptr); }), "packet is NULL");
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { CalculateSubtitleDataMD5(nullptr); }), "subtitle is NULL");
}

}  // namespace
}  // namespace Tarsel::Proc
