// A PNG file read by FFmpeg's libraries alone.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IData.h"
#include "tests/support/LibAv.h"

namespace Tarsel::Test {

struct PngFile {
    int width = 0;
    int height = 0;
    int channels = 0;
    int aspectNum = 0;
    int aspectDen = 0;
    /// Rows of pixels, without padding.
    std::vector<u8> pixels;

    /// Throws `std::runtime_error` for what is no whole PNG of 8-bit RGB or RGBA.
    explicit PngFile(std::string const& path) {
        AVFormatContext* opened = nullptr;
        Require(avformat_open_input(&opened, path.c_str(), nullptr, nullptr) >= 0, path);
        Av::Input const input(opened);
        Av::Packet const packet(av_packet_alloc());
        Require(av_read_frame(input.get(), packet.get()) >= 0, path);
        Av::Codec const codec(avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_PNG)));
        codec->thread_count = 1;
        codec->err_recognition = AV_EF_CRCCHECK | AV_EF_EXPLODE;
        Require(avcodec_open2(codec.get(), nullptr, nullptr) >= 0, path);
        Require(input->streams[0]->codecpar->codec_id == AV_CODEC_ID_PNG, path);
        Av::Frame const frame(av_frame_alloc());
        Require(
            avcodec_send_packet(codec.get(), packet.get()) >= 0 && avcodec_receive_frame(codec.get(), frame.get()) >= 0,
            path);
        Require(frame->format == AV_PIX_FMT_RGB24 || frame->format == AV_PIX_FMT_RGBA, path);
        width = frame->width;
        height = frame->height;
        channels = frame->format == AV_PIX_FMT_RGB24 ? 3 : 4;
        aspectNum = frame->sample_aspect_ratio.num;
        aspectDen = frame->sample_aspect_ratio.den;
        for (int row = 0; row < height; ++row) {
            u8 const* const line = frame->data[0] + std::ptrdiff_t{row} * frame->linesize[0];
            pixels.insert(pixels.end(), line, line + std::ptrdiff_t{width} * channels);
        }
    }

  private:
    static void Require(bool holds, std::string const& path) {
        if (!holds) TARSEL_THROW(std::runtime_error, path + " is no PNG file");
    }
};

/// The bytes of a picture of one plane, without padding.
inline std::vector<u8> PixelsOf(Proc::IDataVideo const& picture) {
    std::vector<u8> pixels;
    auto const plane = picture.GetPlaneConst(0);
    for (int row = 0; row < plane.GetRows(); ++row) {
        u8 const* const line = plane.GetOffsetPtr(0, static_cast<unsigned>(row));
        pixels.insert(pixels.end(), line, line + plane.GetRowBytes());
    }
    return pixels;
}

}  // namespace Tarsel::Test
