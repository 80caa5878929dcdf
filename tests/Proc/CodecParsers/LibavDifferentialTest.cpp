// The parsers against headers that real encoders wrote.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "Proc/CodecParsers/H264CodecParser.h"
#include "Proc/CodecParsers/MPEG2CodecParser.h"
#include "Proc/CodecParsers/MPEG4CodecParser.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/opt.h>
}

namespace Tarsel::Proc::CodecParsers {
namespace {

struct FreeContext {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
using ContextPtr = std::unique_ptr<AVCodecContext, FreeContext>;

struct EncoderCase {
    char const* encoder;
    char const* profile;  // of libx264
    AVPixelFormat format;
    int width, height, bFrames;
    bool interlaced;
    char const* options;  // of libx264
};

ContextPtr Open(EncoderCase const& c) {
    AVCodec const* const codec = avcodec_find_encoder_by_name(c.encoder);
    if (!codec) return nullptr;
    ContextPtr context(avcodec_alloc_context3(codec));
    context->width = c.width;
    context->height = c.height;
    context->pix_fmt = c.format;
    context->time_base = {1, 25};
    context->framerate = {25, 1};
    context->thread_count = 1;
    context->bit_rate = 800000;
    context->max_b_frames = c.bFrames;
    context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    if (c.interlaced) context->flags |= AV_CODEC_FLAG_INTERLACED_DCT;
    if (*c.profile) av_opt_set(context->priv_data, "profile", c.profile, 0);
    if (*c.options) av_opt_set(context->priv_data, "x264opts", c.options, 0);
    if (avcodec_open2(context.get(), codec, nullptr) < 0) return nullptr;
    return context;
}

struct FreePacket {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct FreeFrame {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
using PacketPtr = std::unique_ptr<AVPacket, FreePacket>;
using FramePtr = std::unique_ptr<AVFrame, FreeFrame>;

// Encodes a few grey pictures.
std::vector<PacketPtr> Encode(AVCodecContext& encoder) {
    std::vector<PacketPtr> packets;
    for (int i = 0; i <= 12; ++i) {
        FramePtr frame(av_frame_alloc());
        frame->width = encoder.width;
        frame->height = encoder.height;
        frame->format = encoder.pix_fmt;
        frame->pts = i;
        if (av_frame_get_buffer(frame.get(), 0) < 0) return {};
        for (int plane = 0; plane < AV_NUM_DATA_POINTERS && frame->buf[plane]; ++plane)
            std::memset(frame->buf[plane]->data, 1, frame->buf[plane]->size);
        if (avcodec_send_frame(&encoder, i < 12 ? frame.get() : nullptr) < 0) return {};
        for (PacketPtr packet(av_packet_alloc()); avcodec_receive_packet(&encoder, packet.get()) >= 0;
             packet.reset(av_packet_alloc()))
            packets.push_back(PacketPtr(av_packet_clone(packet.get())));
    }
    return packets;
}

// A decoder that has seen the header and all packets.
ContextPtr Decode(AVCodecContext const& encoder, std::vector<PacketPtr> const& packets) {
    ContextPtr context(avcodec_alloc_context3(avcodec_find_decoder(encoder.codec_id)));
    context->extradata =
        static_cast<u8*>(av_mallocz(static_cast<std::size_t>(encoder.extradata_size) + AV_INPUT_BUFFER_PADDING_SIZE));
    std::copy(encoder.extradata, encoder.extradata + encoder.extradata_size, context->extradata);
    context->extradata_size = encoder.extradata_size;
    context->thread_count = 1;
    if (avcodec_open2(context.get(), context->codec, nullptr) < 0) return nullptr;
    FramePtr const frame(av_frame_alloc());
    for (PacketPtr const& packet : packets) {
        if (avcodec_send_packet(context.get(), packet.get()) < 0) return nullptr;
        while (avcodec_receive_frame(context.get(), frame.get()) >= 0) {
        }
    }
    return context;
}

TEST(LibavDifferential, H264HeadersOfX264) {
    EncoderCase const cases[] = {
        {"libx264", "baseline", AV_PIX_FMT_YUV420P, 320, 240, 0, false, ""},
        {"libx264", "main", AV_PIX_FMT_YUV420P, 642, 358, 2, false, "sps-id=5"},
        {"libx264", "high", AV_PIX_FMT_YUV420P, 1920, 1080, 3, false,
         "sps-id=31:ref=3:nal-hrd=vbr:vbv-maxrate=900:vbv-bufsize=900"},
        {"libx264", "high", AV_PIX_FMT_YUV420P, 720, 576, 3, true, "cqm=jvt"},
        {"libx264", "high10", AV_PIX_FMT_YUV420P10, 322, 242, 1, false, ""},
        {"libx264", "high422", AV_PIX_FMT_YUV422P, 322, 242, 1, true, ""},
        {"libx264", "high444", AV_PIX_FMT_YUV444P, 321, 241, 1, false,
         "cqm4=6,12,13,16,17,19,20,21,22,23,24,25,26,27,28,29"},
    };
    for (EncoderCase const& c : cases) {
        SCOPED_TRACE(testing::Message() << c.profile << " " << c.width << "x" << c.height << " " << c.options);
        ContextPtr const encoder = Open(c);
        ASSERT_NE(encoder, nullptr);
        std::size_t const size = static_cast<std::size_t>(encoder->extradata_size);
        H264SPS const sps = DecodeH264SPS(encoder->extradata, size);
        H264PPS const pps = DecodeH264PPS(encoder->extradata, size);
        EXPECT_EQ(sps.GetPictureSize(), (H264PictureSize{c.width, c.height}));
        EXPECT_EQ(sps.vui.time_scale, 50U);
        EXPECT_EQ(sps.vui.num_units_in_tick, 1U);
        EXPECT_EQ(sps.max_num_ref_frames, static_cast<u32>(sps.vui.max_dec_frame_buffering));
        EXPECT_EQ(sps.frame_mbs_only_flag, c.interlaced ? 0 : 1);
        std::string const options = c.options;
        u32 const id = options.starts_with("sps-id=") ? static_cast<u32>(std::stoi(options.substr(7))) : 0;
        EXPECT_EQ(sps.seq_parameter_set_id, id);
        EXPECT_EQ(pps.pic_parameter_set_id, id);
        EXPECT_EQ(pps.seq_parameter_set_id, id);
        EXPECT_EQ(pps.entropy_coding_mode_flag, std::string(c.profile) == "baseline" ? 0 : 1);
        ContextPtr const decoder = Decode(*encoder, Encode(*encoder));
        ASSERT_NE(decoder, nullptr);
        EXPECT_EQ(sps.GetPictureSize(), (H264PictureSize{decoder->width, decoder->height}));
        EXPECT_EQ(sps.profile_idc, decoder->profile & 0xFF);
        EXPECT_EQ(sps.level_idc, decoder->level);
        // The decoder's count; the encoder's own is an estimate that is too high for a single B picture.
        EXPECT_EQ(sps.GetMaxReorderFrames(), static_cast<u32>(decoder->has_b_frames));
    }
}

TEST(LibavDifferential, MPEG4HeaderOfLibavcodec) {
    ContextPtr const encoder = Open({"mpeg4", "", AV_PIX_FMT_YUV420P, 352, 288, 0, false, ""});
    ASSERT_NE(encoder, nullptr);
    MPEG4Config config;
    DecodeMPEG4Config(encoder->extradata, static_cast<std::size_t>(encoder->extradata_size), config);
    EXPECT_EQ(config.visual_object_type, 1);
    EXPECT_EQ(config.vol.video_object_layer_width, 352);
    EXPECT_EQ(config.vol.video_object_layer_height, 288);
    EXPECT_EQ(config.vol.vop_time_increment_resolution, 25);
    EXPECT_EQ(config.vol.video_object_layer_shape, 0);
    EXPECT_EQ(config.vol.complexity_estimation_disable, 1);
    EXPECT_EQ(config.vol.interlaced, 0);
    EXPECT_EQ(config.vol.obmc_disable, 1);
}

TEST(LibavDifferential, MPEG2HeaderOfLibavcodec) {
    ContextPtr const encoder = Open({"mpeg2video", "", AV_PIX_FMT_YUV420P, 720, 576, 0, false, ""});
    ASSERT_NE(encoder, nullptr);
    auto const packets = Encode(*encoder);  // the header stands in front of the first picture
    ASSERT_FALSE(packets.empty());
    MPEG2Config config;
    DecodeMPEG2Config(packets[0]->data, static_cast<std::size_t>(packets[0]->size), config);
    EXPECT_EQ(config.width, 720);
    EXPECT_EQ(config.height, 576);
    EXPECT_EQ(config.frame_rate_code, 3);
    EXPECT_EQ(config.sequence_extension.chroma_format, 1);
    EXPECT_EQ(config.sequence_extension.profile, 4);  // Main
}

}  // namespace
}  // namespace Tarsel::Proc::CodecParsers
