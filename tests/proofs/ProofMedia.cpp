#include "tests/proofs/ProofMedia.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <stdexcept>
#include <vector>

#include "contracts/Core/Types.h"
#include "tests/support/LibAv.h"
#include "tests/support/PgsBuilder.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {

namespace {

constexpr AVRational MICROSECONDS{1, 1000000};
constexpr int SAMPLE_RATE = 48000;
constexpr int BLOCK_SAMPLES = 4800;
constexpr int BLOCK_COUNT = 24;

void Check(int code, std::string const& what) {
    if (code < 0) throw std::runtime_error(what + ": error " + std::to_string(code));
}

struct FreeParameters {
    void operator()(AVCodecParameters* object) const { avcodec_parameters_free(&object); }
};
using Parameters = std::unique_ptr<AVCodecParameters, FreeParameters>;
struct FreeOutput {
    void operator()(AVFormatContext* object) const {
        avio_closep(&object->pb);
        avformat_free_context(object);
    }
};

/// A stream on its way into a file. Times of the packets in microseconds.
struct Track {
    Parameters parameters;
    std::vector<Av::Packet> packets;
};

Track TrackOf(AVCodecContext& encoder) {
    Track track{Parameters(avcodec_parameters_alloc()), {}};
    Check(avcodec_parameters_from_context(track.parameters.get(), &encoder), "parameters");
    return track;
}

/// Takes what the encoder has; null asks for the rest.
void Encode(AVCodecContext& encoder, AVFrame const* frame, Track& track) {
    Check(avcodec_send_frame(&encoder, frame), "encoding");
    for (;;) {
        Av::Packet packet(av_packet_alloc());
        int const code = avcodec_receive_packet(&encoder, packet.get());
        if (code == AVERROR(EAGAIN) || code == AVERROR_EOF) return;
        Check(code, "encoding");
        av_packet_rescale_ts(packet.get(), encoder.time_base, MICROSECONDS);
        track.packets.push_back(std::move(packet));
    }
}

Av::Codec MakeEncoder(std::string const& name) {
    AVCodec const* const codec = avcodec_find_encoder_by_name(name.c_str());
    if (!codec) throw std::runtime_error("there is no encoder " + name);
    Av::Codec encoder(avcodec_alloc_context3(codec));
    encoder->thread_count = 1;
    encoder->flags |= AV_CODEC_FLAG_BITEXACT;
    encoder->time_base = MICROSECONDS;
    return encoder;
}

/// Noise that is the same everywhere.
class Noise {
  public:
    explicit Noise(u32 seed) : state(seed * 2654435761U + 1) {}
    /// 0 to `limit` - 1.
    int Next(u32 limit) {
        state = state * 1664525U + 1013904223U;
        return static_cast<int>((state >> 16) % limit);
    }

  private:
    u32 state;
};

enum class Look { Plain, Interlaced, Barred, Clear };

struct Pictures {
    int width = 64;
    int height = 48;
    int count = 30;
    AVRational rate{25, 2};
    Look look = Look::Plain;
    u32 seed = 1;
    /// Microseconds that each picture, by its number, comes late.
    std::function<int64(int)> delay = {};

    int64 TimeOf(int number) const {
        return av_rescale_q(number, av_inv_q(rate), MICROSECONDS) + (delay ? delay(number) : 0);
    }
};

/// Luma: a gradient that drifts, a block that moves across it, and a little noise.
int LumaOf(Pictures const& pictures, int x, int y, int number, Noise& noise) {
    bool const secondField = pictures.look == Look::Interlaced && y % 2 == 1;
    int const step = 2 * number + (secondField ? 1 : 0);
    int const block = pictures.width / 4;
    int const left = static_cast<int>(pictures.seed) * 7 + step * pictures.width / 48;
    int const column = (x + 4 * pictures.width - left % pictures.width) % pictures.width;
    bool const inBlock = column < block && y >= pictures.height / 4 && y < pictures.height * 3 / 4;
    int const ground = 40 + (x * 96 / pictures.width + y * 64 / pictures.height + step) % 160;
    return (inBlock ? 235 - ground / 4 : ground) + noise.Next(8);
}

int ChromaOf(Pictures const& pictures, int plane, int x, int y, int number) {
    int const along = plane == 1 ? x * 2 * 128 / pictures.width : y * 2 * 128 / pictures.height;
    return 64 + (along + number * static_cast<int>(pictures.seed)) % 128;
}

bool IsBar(Pictures const& pictures, int x, int y) {
    return pictures.look == Look::Barred && (x < 8 || x >= pictures.width - 12 || y < 6 || y >= pictures.height - 4);
}

void Draw(Pictures const& pictures, int number, AVFrame& frame) {
    Noise noise(pictures.seed * 1000 + static_cast<u32>(number));
    for (int y = 0; y < pictures.height; ++y)
        for (int x = 0; x < pictures.width; ++x) {
            int const luma = IsBar(pictures, x, y) ? 16 : LumaOf(pictures, x, y, number, noise);
            frame.data[0][y * frame.linesize[0] + x] = static_cast<u8>(std::min(luma, 235));
        }
    for (int plane = 1; plane < 3; ++plane)
        for (int y = 0; y < pictures.height / 2; ++y)
            for (int x = 0; x < pictures.width / 2; ++x) {
                bool const bar = IsBar(pictures, 2 * x, 2 * y);
                frame.data[plane][y * frame.linesize[plane] + x] =
                    static_cast<u8>(bar ? 128 : ChromaOf(pictures, plane, x, y, number));
            }
    if (pictures.look != Look::Clear) return;
    for (int y = 0; y < pictures.height; ++y)
        for (int x = 0; x < pictures.width; ++x) {
            bool const seen = x >= 12 + number / 3 && x < pictures.width - 16 && y >= 10 && y < pictures.height - 8;
            frame.data[3][y * frame.linesize[3] + x] = static_cast<u8>(seen ? 255 : 0);
        }
}

Track EncodePictures(Pictures const& pictures) {
    Av::Codec const encoder = MakeEncoder("ffv1");
    encoder->width = pictures.width;
    encoder->height = pictures.height;
    encoder->framerate = pictures.rate;
    encoder->pix_fmt = pictures.look == Look::Clear ? AV_PIX_FMT_YUVA420P : AV_PIX_FMT_YUV420P;
    encoder->level = 3;
    encoder->gop_size = 1;
    bool const interlaced = pictures.look == Look::Interlaced;
    encoder->field_order = interlaced ? AV_FIELD_TT : AV_FIELD_PROGRESSIVE;
    if (interlaced) encoder->flags |= AV_CODEC_FLAG_INTERLACED_DCT;
    Check(avcodec_open2(encoder.get(), nullptr, nullptr), "FFV1");
    Track track = TrackOf(*encoder);
    for (int number = 0; number < pictures.count; ++number) {
        Av::Frame const frame(av_frame_alloc());
        frame->format = encoder->pix_fmt;
        frame->width = pictures.width;
        frame->height = pictures.height;
        frame->pts = pictures.TimeOf(number);
        frame->interlaced_frame = frame->top_field_first = interlaced;
        Check(av_frame_get_buffer(frame.get(), 0), "picture");
        Draw(pictures, number, *frame);
        Encode(*encoder, frame.get(), track);
    }
    Encode(*encoder, nullptr, track);
    for (int number = 0; number < pictures.count; ++number) {
        AVPacket& packet = *track.packets.at(static_cast<std::size_t>(number));
        packet.duration = pictures.TimeOf(number + 1) - packet.pts;
    }
    return track;
}

struct Sound {
    char const* codec = "pcm_s16le";
    int channels = 2;
    int samples = BLOCK_COUNT * BLOCK_SAMPLES;
    int peak = 9000;
    u32 seed = 1;
};

/// A triangle whose period grows with the channel, and noise of a sixteenth of its height.
int SampleOf(Sound const& sound, int number, int channel, Noise& noise) {
    if (sound.peak == 0) return 0;
    int const period = 96 + 32 * channel + 8 * static_cast<int>(sound.seed) + number / 9600 * 10;
    int const phase = number % period;
    int const rise = std::min(phase, period - phase);  // 0 up to half of the period and back
    int const grain = sound.peak / 16;
    return (4 * rise - period) * sound.peak / period + noise.Next(static_cast<u32>(2 * grain + 1)) - grain;
}

Track EncodeSound(Sound const& sound) {
    Av::Codec const encoder = MakeEncoder(sound.codec);
    encoder->sample_fmt = AV_SAMPLE_FMT_S16;
    encoder->sample_rate = SAMPLE_RATE;
    encoder->time_base = {1, SAMPLE_RATE};
    av_channel_layout_default(&encoder->ch_layout, sound.channels);
    Check(avcodec_open2(encoder.get(), nullptr, nullptr), sound.codec);
    Track track = TrackOf(*encoder);
    Noise noise(sound.seed);
    int const step = encoder->frame_size > 0 ? encoder->frame_size : BLOCK_SAMPLES;
    for (int begin = 0; begin < sound.samples; begin += step) {
        Av::Frame const frame(av_frame_alloc());
        frame->format = encoder->sample_fmt;
        frame->sample_rate = SAMPLE_RATE;
        frame->nb_samples = std::min(step, sound.samples - begin);
        frame->pts = begin;
        Check(av_channel_layout_copy(&frame->ch_layout, &encoder->ch_layout), "sound");
        Check(av_frame_get_buffer(frame.get(), 0), "sound");
        auto* samples = reinterpret_cast<std::int16_t*>(frame->data[0]);
        for (int i = 0; i < frame->nb_samples; ++i)
            for (int channel = 0; channel < sound.channels; ++channel)
                *samples++ = static_cast<std::int16_t>(SampleOf(sound, begin + i, channel, noise));
        Encode(*encoder, frame.get(), track);
    }
    Encode(*encoder, nullptr, track);
    // What an encoder knows only at its end (FLAC: the sum of all samples).
    Check(avcodec_parameters_from_context(track.parameters.get(), encoder.get()), "parameters");
    return track;
}

Track TitleTrack(AVCodecID codec) {
    Track track{Parameters(avcodec_parameters_alloc()), {}};
    track.parameters->codec_type = AVMEDIA_TYPE_SUBTITLE;
    track.parameters->codec_id = codec;
    return track;
}

void AddPacket(Track& track, int64 time, int64 duration, void const* data, std::size_t size) {
    Av::Packet packet(av_packet_alloc());
    Check(av_new_packet(packet.get(), static_cast<int>(size)), "packet");
    std::memcpy(packet->data, data, size);
    packet->pts = packet->dts = time;
    packet->duration = duration;
    packet->flags |= AV_PKT_FLAG_KEY;
    track.packets.push_back(std::move(packet));
}

Track MakeTexts() {
    struct Line {
        int64 time;
        int64 duration;
        std::string_view text;
    };
    static constexpr Line LINES[] = {
        {200000, 500000, "One"}, {900000, 700000, "<i>Two</i>\r\nand more"}, {2100000, 200000, "Three"}};
    Track track = TitleTrack(AV_CODEC_ID_SUBRIP);
    for (Line const& line : LINES) AddPacket(track, line.time, line.duration, line.text.data(), line.text.size());
    return track;
}

Track MakeBitmaps() {
    auto const object = [](u16 id, int x, int y, int width, int height) {
        PgsObject made{id, x, y, width, height, {}};
        for (int i = 0; i < width * height; ++i) made.pixels.push_back(static_cast<u8>(1 + (i / 5 + i / width) % 3));
        return made;
    };
    std::vector<PgsColor> const colors{{1, 180, 90, 160, 255}, {2, 60, 150, 90, 128}, {3, 220, 128, 128, 200}};
    PgsBuilder builder(320, 180);
    builder.Show(18000, {object(0, 40, 130, 90, 24)}, colors).Clear(72000);
    builder.Show(108000, {object(0, 20, 10, 33, 17), object(1, 200, 120, 64, 20)}, colors).Clear(171000);
    Track track = TitleTrack(AV_CODEC_ID_HDMV_PGS_SUBTITLE);
    for (PgsBuilder::Set const& set : builder.GetSets())
        AddPacket(track, av_rescale_q(set.ticks, {1, 90000}, MICROSECONDS), 0, set.bytes.data(), set.bytes.size());
    return track;
}

void WriteFile(std::string const& path, std::vector<Track> tracks) {
    AVFormatContext* raw = nullptr;
    Check(avformat_alloc_output_context2(&raw, nullptr, nullptr, path.c_str()), path);
    std::unique_ptr<AVFormatContext, FreeOutput> const context(raw);
    raw->flags |= AVFMT_FLAG_BITEXACT;
    std::vector<AVPacket*> packets;
    for (Track const& track : tracks) {
        AVStream* const stream = avformat_new_stream(raw, nullptr);
        if (!stream) throw std::runtime_error(path + ": no stream");
        Check(avcodec_parameters_copy(stream->codecpar, track.parameters.get()), path);
        for (Av::Packet const& packet : track.packets) {
            packet->stream_index = stream->index;
            packets.push_back(packet.get());
        }
    }
    // The order of the file doesn't hang on how a muxer interleaves.
    std::stable_sort(packets.begin(), packets.end(), [](auto const* a, auto const* b) { return a->dts < b->dts; });
    Check(avio_open(&raw->pb, path.c_str(), AVIO_FLAG_WRITE), path);
    Check(avformat_write_header(raw, nullptr), path);
    for (AVPacket* const packet : packets) {
        av_packet_rescale_ts(packet, MICROSECONDS, raw->streams[packet->stream_index]->time_base);
        Check(av_write_frame(raw, packet), path);
    }
    Check(av_write_trailer(raw), path);
}

Pictures Picture(Look look) {
    Pictures pictures;
    pictures.look = look;
    return pictures;
}

Pictures Wide() {
    Pictures pictures;
    pictures.width = 320;
    pictures.height = 180;
    return pictures;
}

/// Some share a place in the grid of the rate, and some places stay free.
Pictures Uneven() {
    Pictures pictures;
    pictures.delay = [](int number) -> int64 { return number % 5 == 2 ? 55000 : number % 7 == 3 ? -13000 : 0; };
    return pictures;
}

Pictures Second() {
    Pictures pictures;
    pictures.width = 48;
    pictures.height = 32;
    pictures.count = 24;
    pictures.rate = {15, 1};
    pictures.seed = 2;
    return pictures;
}

Pictures Plate() {
    Pictures pictures;
    pictures.width = 40;
    pictures.height = 24;
    pictures.count = 1;
    pictures.seed = 3;
    return pictures;
}

/// Three seconds and a little.
Pictures Long(Pictures pictures, u32 seed) {
    pictures.rate = {25, 2};
    pictures.count = 38;
    pictures.seed = seed;
    return pictures;
}

Sound LongSound(u32 seed) {
    Sound sound;
    sound.samples = 3 * SAMPLE_RATE;
    sound.seed = seed;
    return sound;
}

Sound Peak(int peak) {
    Sound sound;
    sound.peak = peak;
    return sound;
}

Sound SecondSound() {
    Sound sound;
    sound.codec = "flac";
    sound.channels = 1;
    sound.samples = SAMPLE_RATE * 8 / 5;
    sound.seed = 2;
    return sound;
}

template <class... Tracks>
std::vector<Track> Together(Tracks... tracks) {
    std::vector<Track> all;
    (all.push_back(std::move(tracks)), ...);
    return all;
}

/// Drawn without a font.
constexpr char SHAPES[] =
    "[Script Info]\nScriptType: v4.00+\nPlayResX: 320\nPlayResY: 180\n\n[V4+ Styles]\nFormat: Name, Fontname, "
    "Fontsize, PrimaryColour, SecondaryColour, OutlineColour, BackColour, Bold, Italic, Underline, StrikeOut, ScaleX, "
    "ScaleY, Spacing, Angle, BorderStyle, Outline, Shadow, Alignment, MarginL, MarginR, MarginV, Encoding\nStyle: "
    "Default,Sans,20,&H00FFFFFF,&H000000FF,&H00000000,&H80000000,0,0,0,0,100,100,0,0,1,2,0,7,0,0,0,1\n\n[Events]\n"
    "Format: Layer, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text\nDialogue: "
    "0,0:00:00.00,0:00:00.80,Default,,0,0,0,,{\\pos(40,30)\\p1}m 0 0 l 120 0 120 40 60 70 0 40\nDialogue: "
    "0,0:00:01.00,0:00:01.60,Default,,0,0,0,,{\\pos(150,90)\\p1}m 0 0 b 40 -40 80 40 120 0 l 60 60\n";

std::map<std::string, std::function<std::vector<Track>()>> const& Makers() {
    static std::map<std::string, std::function<std::vector<Track>()>> const makers{
        {"film.mkv", [] { return Together(EncodePictures(Pictures()), EncodeSound(Sound())); }},
        {"second.mkv", [] { return Together(EncodePictures(Second()), EncodeSound(SecondSound())); }},
        {"wide.mkv", [] { return Together(EncodePictures(Wide()), EncodeSound(Sound())); }},
        {"plate.mkv", [] { return Together(EncodePictures(Plate())); }},
        {"interlaced.mkv", [] { return Together(EncodePictures(Picture(Look::Interlaced)), EncodeSound(Sound())); }},
        {"bars.mkv", [] { return Together(EncodePictures(Picture(Look::Barred))); }},
        {"clear.mkv", [] { return Together(EncodePictures(Picture(Look::Clear))); }},
        {"uneven.mkv", [] { return Together(EncodePictures(Uneven()), EncodeSound(Sound())); }},
        {"quiet.mkv", [] { return Together(EncodePictures(Pictures()), EncodeSound(Peak(280))); }},
        {"still.mkv", [] { return Together(EncodePictures(Pictures()), EncodeSound(Peak(0))); }},
        {"texts.mkv", [] { return Together(EncodePictures(Pictures()), EncodeSound(Sound()), MakeTexts()); }},
        {"A.mkv", [] { return Together(EncodePictures(Long(Pictures(), 4)), EncodeSound(LongSound(4))); }},
        {"B.mkv", [] { return Together(EncodePictures(Long(Second(), 5)), EncodeSound(LongSound(5))); }},
        {"music.wav", [] { return Together(EncodeSound(LongSound(6))); }},
        {"bitmaps.mkv", [] { return Together(EncodePictures(Wide()), MakeBitmaps()); }},
    };
    return makers;
}

}  // namespace

std::string ProofMedia(std::string const& name) {
    static ScratchFolder const folder;
    static std::map<std::string, std::string> made;
    if (name.starts_with("packets-")) return std::string(TARSEL_RECORDS) + "/media/" + name;
    std::string& path = made[name];
    if (!path.empty()) return path;
    std::string const wanted = folder / name;
    if (name == "shapes.ass") {
        std::ofstream file(wanted, std::ios::binary);
        file << SHAPES;
        if (!file.flush()) throw std::runtime_error(wanted + ": can't be written");
    } else {
        auto const maker = Makers().find(name);
        if (maker == Makers().end()) throw std::runtime_error("there is no clip " + name);
        WriteFile(wanted, maker->second());
    }
    return path = wanted;
}

}  // namespace Tarsel::Test
