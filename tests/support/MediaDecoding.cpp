// Decoding for the media inspector: pictures, sound, and what the library complains of meanwhile.
#include <algorithm>
#include <cmath>
#include <mutex>
#include <regex>
#include <stdexcept>

#include "contracts/Core/Exception.h"
#include "contracts/Core/Time.h"
#include "tests/support/LibAv.h"
#include "tests/support/MediaInspector.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/log.h>
#include <libavutil/pixdesc.h>
}

namespace Tarsel::Test {
namespace {

std::mutex logMutex;
Messages* logTarget = nullptr;

void KeepMessage(void* object, int level, char const* format, va_list arguments) {
    if (level > AV_LOG_WARNING) return;
    std::lock_guard const guard(logMutex);
    if (logTarget == nullptr) return;
    char line[1024] = {};
    int prefix = 1;
    av_log_format_line2(object, level, format, arguments, line, sizeof line, &prefix);
    static std::regex const address(" @ 0x[0-9a-f]+");
    std::string text = std::regex_replace(std::string(line), address, "");
    while (!text.empty() && text.back() == '\n') text.pop_back();
    if (!text.empty()) logTarget->push_back(text);
}

/// Collects what the library says, until the end of the scope.
class LogCapture {
  public:
    explicit LogCapture(Messages& messages) {
        std::lock_guard const guard(logMutex);
        logTarget = &messages;
        av_log_set_callback(&KeepMessage);
    }
    ~LogCapture() {
        std::lock_guard const guard(logMutex);
        logTarget = nullptr;
    }
    LogCapture(LogCapture const&) = delete;
    LogCapture& operator=(LogCapture const&) = delete;
};

std::string ErrorText(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return text;
}

/// One stream of a file with an open decoder.
struct Decoding {
    Decoding(std::string const& path, int index, Messages& messages) : log(messages), messages(messages) {
        AVFormatContext* context = nullptr;
        int code = avformat_open_input(&context, path.c_str(), nullptr, nullptr);
        if (code < 0) TARSEL_THROW(std::runtime_error, "can't open " + path + ": " + ErrorText(code));
        input.reset(context);
        avformat_find_stream_info(context, nullptr);
        stream = context->streams[index];
        AVCodec const* decoder = avcodec_find_decoder(stream->codecpar->codec_id);
        if (decoder == nullptr) TARSEL_THROW(std::runtime_error, "no decoder for a stream of " + path);
        codec.reset(avcodec_alloc_context3(decoder));
        avcodec_parameters_to_context(codec.get(), stream->codecpar);
        codec->pkt_timebase = stream->time_base;
        codec->thread_count = 1;
        code = avcodec_open2(codec.get(), decoder, nullptr);
        if (code < 0) TARSEL_THROW(std::runtime_error, "can't open the decoder for " + path + ": " + ErrorText(code));
    }

    /// Calls `take` with each frame, in the decoder's order.
    template <class Take>
    void Run(Take const& take) {
        int count = 0;
        while (av_read_frame(input.get(), packet.get()) >= 0) {
            if (packet->stream_index == stream->index) {
                codec->reordered_opaque = count++;
                Send(packet.get(), take);
            }
            av_packet_unref(packet.get());
        }
        Send(nullptr, take);
    }

    LogCapture log;
    Messages& messages;
    Av::Input input;
    Av::Codec codec;
    AVStream* stream = nullptr;
    Av::Packet packet{av_packet_alloc()};
    Av::Frame frame{av_frame_alloc()};

  private:
    template <class Take>
    void Send(AVPacket const* data, Take const& take) {
        int code = avcodec_send_packet(codec.get(), data);
        if (code < 0 && code != AVERROR_EOF) messages.push_back("sending a packet failed: " + ErrorText(code));
        while ((code = avcodec_receive_frame(codec.get(), frame.get())) >= 0) {
            take(*frame);
            av_frame_unref(frame.get());
        }
        if (code != AVERROR(EAGAIN) && code != AVERROR_EOF) messages.push_back("decoding failed: " + ErrorText(code));
    }
};

DecodedPicture ToPicture(AVFrame const& frame, AVRational base) {
    DecodedPicture picture;
    int64 const ticks = frame.best_effort_timestamp;
    picture.time = ticks == AV_NOPTS_VALUE ? NO_VALUE : av_rescale_q(ticks, base, AVRational{1, 1000000});
    picture.packet = static_cast<int>(frame.reordered_opaque);
    picture.width = frame.width;
    picture.height = frame.height;
    picture.pixelFormat = frame.format;
    picture.interlaced = frame.interlaced_frame != 0;
    picture.intra = frame.key_frame != 0 || frame.pict_type == AV_PICTURE_TYPE_I;
    picture.damaged = frame.decode_error_flags != 0 || (frame.flags & AV_FRAME_FLAG_CORRUPT) != 0;
    auto const format = static_cast<AVPixelFormat>(frame.format);
    int const size = av_image_get_buffer_size(format, frame.width, frame.height, 1);
    picture.pixels.resize(static_cast<std::size_t>(std::max(size, 0)));
    av_image_copy_to_buffer(picture.pixels.data(), size, frame.data, frame.linesize, format, frame.width, frame.height,
                            1);
    return picture;
}

float SampleAt(AVFrame const& frame, int channel, int index) {
    auto const format = static_cast<AVSampleFormat>(frame.format);
    int const channels = frame.ch_layout.nb_channels;
    bool const planar = av_sample_fmt_is_planar(format) != 0;
    u8 const* plane = planar ? frame.extended_data[channel] : frame.extended_data[0];
    int const place = planar ? index : index * channels + channel;
    switch (av_get_packed_sample_fmt(format)) {
        case AV_SAMPLE_FMT_U8:
            return static_cast<float>(plane[place] - 128) / 128.0F;
        case AV_SAMPLE_FMT_S16:
            return static_cast<float>(reinterpret_cast<int16_t const*>(plane)[place]) / 32768.0F;
        case AV_SAMPLE_FMT_S32:
            return static_cast<float>(reinterpret_cast<int32_t const*>(plane)[place] / 2147483648.0);
        case AV_SAMPLE_FMT_FLT:
            return reinterpret_cast<float const*>(plane)[place];
        case AV_SAMPLE_FMT_DBL:
            return static_cast<float>(reinterpret_cast<double const*>(plane)[place]);
        default:
            TARSEL_THROW(std::runtime_error, "a sample format that the inspector doesn't know");
    }
}

}  // namespace

std::vector<DecodedPicture> DecodePictures(std::string const& path, int stream, Messages& messages) {
    Decoding decoding(path, stream, messages);
    std::vector<DecodedPicture> pictures;
    decoding.Run([&](AVFrame const& frame) { pictures.push_back(ToPicture(frame, decoding.stream->time_base)); });
    return pictures;
}

DecodedSound DecodeSound(std::string const& path, int stream, Messages& messages) {
    Decoding decoding(path, stream, messages);
    DecodedSound sound;
    decoding.Run([&](AVFrame const& frame) {
        if (sound.samples.empty() && frame.best_effort_timestamp != AV_NOPTS_VALUE)
            sound.start = av_rescale_q(frame.best_effort_timestamp, decoding.stream->time_base, AVRational{1, 1000000});
        sound.sampleRate = frame.sample_rate;
        sound.channels = frame.ch_layout.nb_channels;
        for (int i = 0; i < frame.nb_samples; i++)
            for (int channel = 0; channel < sound.channels; channel++)
                sound.samples.push_back(SampleAt(frame, channel, i));
    });
    return sound;
}

double Psnr(DecodedPicture const& a, DecodedPicture const& b) {
    if (a.width != b.width || a.height != b.height || a.pixelFormat != b.pixelFormat ||
        a.pixels.size() != b.pixels.size())
        return 0;
    auto const* descriptor = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(a.pixelFormat));
    int const depth = descriptor != nullptr ? descriptor->comp[0].depth : 8;
    double sum = 0;
    std::size_t count = 0;
    std::size_t const step = depth > 8 ? 2 : 1;
    for (std::size_t i = 0; i + step <= a.pixels.size(); i += step, count++) {
        int const x = step == 1 ? a.pixels[i] : a.pixels[i] | a.pixels[i + 1] << 8;
        int const y = step == 1 ? b.pixels[i] : b.pixels[i] | b.pixels[i + 1] << 8;
        sum += static_cast<double>(x - y) * (x - y);
    }
    if (sum == 0) return 200;
    double const peak = (1 << depth) - 1;
    return 10 * std::log10(peak * peak / (sum / static_cast<double>(count)));
}

}  // namespace Tarsel::Test
