#include "tests/host/subtitles/PictureMedia.h"

#include <cstring>
#include <fstream>
#include <stdexcept>

#include "host/media/FFmpeg.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {

namespace {

constexpr AVRational MILLISECONDS{1, 1000};

void Check(int code, std::string const& what) {
    if (code < 0) throw std::runtime_error(what + ": error " + std::to_string(code));
}

struct FreeOutput {
    void operator()(AVFormatContext* context) const {
        avio_closep(&context->pb);
        avformat_free_context(context);
    }
};

/// A file of one subtitle stream.
class TitleFile {
  public:
    TitleFile(std::string const& path, AVCodecParameters const& parameters) {
        AVFormatContext* raw = nullptr;
        Check(avformat_alloc_output_context2(&raw, nullptr, nullptr, path.c_str()), path);
        context.reset(raw);
        stream = avformat_new_stream(raw, nullptr);
        Check(avcodec_parameters_copy(stream->codecpar, &parameters), path);
        stream->time_base = MILLISECONDS;
        Check(avio_open(&raw->pb, path.c_str(), AVIO_FLAG_WRITE), path);
        Check(avformat_write_header(raw, nullptr), path);
    }

    void Write(std::vector<u8> const& bytes, int64 ticks, int64 duration, AVRational timeBase) {
        Host::PacketPtr const packet(av_packet_alloc());
        Check(av_new_packet(packet.get(), static_cast<int>(bytes.size())), "packet");
        std::memcpy(packet->data, bytes.data(), bytes.size());
        packet->pts = packet->dts = av_rescale_q(ticks, timeBase, stream->time_base);
        packet->duration = av_rescale_q(duration, timeBase, stream->time_base);
        packet->flags |= AV_PKT_FLAG_KEY;
        Check(av_interleaved_write_frame(context.get(), packet.get()), "writing");
    }

    void Finish() { Check(av_write_trailer(context.get()), "writing the end"); }

  private:
    std::unique_ptr<AVFormatContext, FreeOutput> context;
    AVStream* stream = nullptr;
};

/// A picture as an encoder takes it; the palette's words are A, R, G, B.
class Title {
  public:
    explicit Title(TitleEvent const& event) : rectangles(event.pictures.size()), palettes(event.pictures.size()) {
        for (std::size_t i = 0; i < event.pictures.size(); ++i) {
            TitlePicture const& picture = event.pictures[i];
            AVSubtitleRect& rectangle = rectangles[i];
            palettes[i].resize(256);
            for (std::size_t color = 0; color < picture.palette.size(); ++color)
                palettes[i][color] = picture.palette[color] >> 8 | picture.palette[color] << 24;
            rectangle.type = SUBTITLE_BITMAP;
            rectangle.x = picture.x;
            rectangle.y = picture.y;
            rectangle.w = picture.width;
            rectangle.h = picture.height;
            rectangle.nb_colors = static_cast<int>(picture.palette.size());
            rectangle.data[0] = const_cast<u8*>(picture.pixels.data());
            rectangle.data[1] = reinterpret_cast<u8*>(palettes[i].data());
            rectangle.linesize[0] = picture.width;
            pointers.push_back(&rectangle);
        }
        subtitle.num_rects = static_cast<unsigned>(pointers.size());
        subtitle.rects = pointers.data();
        subtitle.pts = event.time * 1000;
        subtitle.end_display_time = static_cast<u32>(event.duration);
    }

    AVSubtitle subtitle{};

  private:
    std::vector<AVSubtitleRect> rectangles;
    std::vector<std::vector<u32>> palettes;
    std::vector<AVSubtitleRect*> pointers;
};

}  // namespace

void WriteCodedTitles(std::string const& path, std::string const& encoder, int width, int height,
                      std::vector<TitleEvent> const& events) {
    AVCodec const* const codec = avcodec_find_encoder_by_name(encoder.c_str());
    if (!codec) throw std::runtime_error("there is no encoder " + encoder);
    Host::CodecContextPtr const context(avcodec_alloc_context3(codec));
    context->width = width;
    context->height = height;
    context->time_base = MILLISECONDS;
    Check(avcodec_open2(context.get(), codec, nullptr), encoder);
    Host::ParametersPtr const parameters(avcodec_parameters_alloc());
    Check(avcodec_parameters_from_context(parameters.get(), context.get()), encoder);
    TitleFile file(path, *parameters);
    for (TitleEvent const& event : events) {
        Title title(event);
        std::vector<u8> buffer(1 << 20);
        int const size =
            avcodec_encode_subtitle(context.get(), buffer.data(), static_cast<int>(buffer.size()), &title.subtitle);
        Check(size, encoder);
        buffer.resize(static_cast<std::size_t>(size));
        file.Write(buffer, event.time, event.duration, MILLISECONDS);
    }
    file.Finish();
}

void WritePackets(std::string const& path, std::string const& codec, std::vector<PgsBuilder::Set> const& packets) {
    AVCodecDescriptor const* const descriptor = avcodec_descriptor_get_by_name(codec.c_str());
    if (!descriptor) throw std::runtime_error("there is no codec " + codec);
    Host::ParametersPtr const parameters(avcodec_parameters_alloc());
    parameters->codec_type = AVMEDIA_TYPE_SUBTITLE;
    parameters->codec_id = descriptor->id;
    TitleFile file(path, *parameters);
    for (PgsBuilder::Set const& set : packets) file.Write(set.bytes, set.ticks, 0, {1, 90000});
    file.Finish();
}

void WriteDisplaySets(std::string const& path, std::vector<PgsBuilder::Set> const& sets) {
    WritePackets(path, "hdmv_pgs_subtitle", sets);
}

void AddVideo(std::string const& titles, int seconds, std::string const& path) {
    RunFFmpeg({"-f", "lavfi", "-i", "color=black:s=64x48:r=5:d=" + std::to_string(seconds), "-copyts", "-i", titles,
               "-map", "0:v", "-map", "1:s", "-c:v", "mpeg2video", "-bf", "0", "-c:s", "copy", path});
}

void WriteBytes(std::string const& path, std::vector<u8> const& bytes) {
    WriteText(path, {reinterpret_cast<char const*>(bytes.data()), bytes.size()});
}

void WriteText(std::string const& path, std::string const& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    if (!file) throw std::runtime_error(path + ": can't be written");
}

}  // namespace Tarsel::Test
