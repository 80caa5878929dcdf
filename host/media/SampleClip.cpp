#include "host/media/SampleClip.h"

#include <algorithm>
#include <array>
#include <string>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataAudioFF.h"
#include "contracts/Proc/DataVideoFF.h"
#include "contracts/Proc/Time.h"
#include "host/media/AudioEncoder.h"
#include "host/media/MediaWriter.h"
#include "host/media/VideoEncoder.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace Tarsel::Host {

namespace {

constexpr int NUMBER_BITS = 16;
constexpr u8 BLACK = 16;
constexpr u8 WHITE = 235;
constexpr int BLOCKS_A_SECOND = 50;
constexpr int AMPLITUDE = 8000;
constexpr int GROUP_SECONDS = 2;
constexpr int B_FRAMES = 3;

void Check(SampleClipOptions const& options) {
    if (options.width < NUMBER_BITS * 4 || options.height < 32 || options.width % 2 != 0 || options.height % 2 != 0 ||
        options.frameRate <= 0 || options.seconds <= 0 || options.seconds > 3600 ||
        options.sampleRate < BLOCKS_A_SECOND)
        TARSEL_THROW(Proc::ProcException,
                     "Can't make a sample clip of " + std::to_string(options.width) + "x" +
                         std::to_string(options.height) + ", " + std::to_string(options.frameRate) + " fps, " +
                         std::to_string(options.seconds) + " s, " + std::to_string(options.sampleRate) + " Hz");
}

/// A value that swings between 0 and `limit`.
int Swing(int value, int limit) {
    int const place = value % (2 * limit);
    return place < limit ? place : 2 * limit - place;
}

struct Bar {
    int speed;  // pixels a picture
    int offset;
    u8 luma;
    u8 blue;
    u8 red;
};
constexpr std::array<Bar, 3> BARS{{{3, 20, 210, 16, 146}, {5, 260, 145, 54, 34}, {2, 480, 81, 90, 240}}};

bool IsInBar(Bar const& bar, int x, int width, int number) {
    int const barWidth = std::max(width / 16, 4);
    int const left = Swing(bar.offset + bar.speed * number, width - barWidth);
    return x >= left && x < left + barWidth;
}

/// The square of one digit of the number: edge and place, in pixels.
struct Blocks {
    int size;
    int top;
    explicit Blocks(int width) : size(width / (NUMBER_BITS + 2)), top(size / 2) {}
    int Left(int bit) const { return size + bit * size; }
};

u8 LumaAt(int x, int y, int number, SampleClipOptions const& options) {
    for (Bar const& bar : BARS)
        if (y > options.height / 3 && IsInBar(bar, x, options.width, number)) return bar.luma;
    return static_cast<u8>(40 + Swing(x * 160 / options.width + y * 80 / options.height + number, 160));
}

}  // namespace

iptr<GeneratedVideo> GeneratedVideo::Create(SampleClipOptions const& options) {
    Check(options);
    return iptr<GeneratedVideo>(new GeneratedVideo(options));
}

GeneratedVideo::GeneratedVideo(SampleClipOptions const& clip) : GeneratedStream(clip, clip.seconds * clip.frameRate) {
    iptr<Conf::IFormatCodecVideo> const own = Conf::IFormatCodecVideo::Create();
    own->InitByPixelAspect(static_cast<unsigned>(clip.width), static_cast<unsigned>(clip.height), 1, 1);
    own->SetPixelFormat(PIX_FMT_YUV420P);
    own->SetFrameRate(Ratio(clip.frameRate, 1));
    format = own;
}

int64 GeneratedVideo::TimeOf(int item) const {
    return AvRescale(item, SECOND, options.frameRate);
}

iptr<Proc::IDataVideo> GeneratedVideo::Make(int number) const {
    iptr<Proc::IDataVideo> const picture =
        Proc::DataVideoFF::Create(PIX_FMT_YUV420P, {options.width, options.height, 1, 1}, nullptr);
    auto const luma = picture->GetPlane(0);
    for (int y = 0; y < options.height; ++y)
        for (int x = 0; x < options.width; ++x)
            luma.GetData()[y * luma.GetStride() + x] = LumaAt(x, y, number, options);
    Blocks const blocks(options.width);
    for (int bit = 0; bit < NUMBER_BITS; ++bit) {
        u8 const value = (number >> (NUMBER_BITS - 1 - bit)) & 1 ? WHITE : BLACK;
        for (int y = blocks.top; y < blocks.top + blocks.size; ++y)
            std::fill_n(luma.GetOffsetPtr(static_cast<unsigned>(blocks.Left(bit)), static_cast<unsigned>(y)),
                        blocks.size, value);
    }
    for (unsigned plane = 1; plane <= 2; ++plane) {
        auto const chroma = picture->GetPlane(plane);
        for (int y = 0; y < chroma.GetRows(); ++y)
            for (int x = 0; x < chroma.GetRowBytes(); ++x) {
                int value = plane == 1 ? 112 + Swing(y * 32 / chroma.GetRows() + number / 4, 32)
                                       : 112 + Swing(x * 32 / chroma.GetRowBytes() + number / 4, 32);
                for (Bar const& bar : BARS)
                    if (2 * y > options.height / 3 && IsInBar(bar, 2 * x, options.width, number)) {
                        value = plane == 1 ? bar.blue : bar.red;
                        break;
                    }
                bool const inBlocks = 2 * y >= blocks.top && 2 * y < blocks.top + blocks.size &&
                                      2 * x >= blocks.Left(0) && 2 * x < blocks.Left(NUMBER_BITS);
                chroma.GetData()[y * chroma.GetStride() + x] = static_cast<u8>(inBlocks ? 128 : value);
            }
    }
    picture->SetTime(TimeOf(number));
    picture->SetDuration(TimeOf(number + 1) - TimeOf(number));
    return picture;
}

int GeneratedVideo::ReadNumber(Proc::IDataVideo const& picture) {
    Blocks const blocks(picture.GetWidth());
    auto const luma = picture.GetPlaneConst(0);
    int number = 0;
    for (int bit = 0; bit < NUMBER_BITS; ++bit) {
        u8 const value = *luma.GetOffsetPtr(static_cast<unsigned>(blocks.Left(bit) + blocks.size / 2),
                                            static_cast<unsigned>(blocks.top + blocks.size / 2));
        number = 2 * number + (value > 128 ? 1 : 0);
    }
    return number;
}

iptr<GeneratedAudio> GeneratedAudio::Create(SampleClipOptions const& options) {
    Check(options);
    return iptr<GeneratedAudio>(new GeneratedAudio(options));
}

GeneratedAudio::GeneratedAudio(SampleClipOptions const& clip) : GeneratedStream(clip, clip.seconds * BLOCKS_A_SECOND) {
    iptr<Conf::IFormatCodecAudio> const own = Conf::IFormatCodecAudio::Create();
    own->SetSampleInfo({Conf::SAMPLE_FORMAT_S16, clip.sampleRate, Conf::CHANNEL_LAYOUT_STEREO});
    format = own;
}

int64 GeneratedAudio::TimeOf(int item) const {
    return Proc::SampleCount2Duration(int64{item} * options.sampleRate / BLOCKS_A_SECOND, options.sampleRate);
}

iptr<Proc::IDataAudio> GeneratedAudio::Make(int item) const {
    // A scale in whole hertz: each second holds whole waves, so that the pitch changes without a click.
    static constexpr std::array<int, 8> PITCHES{262, 294, 330, 349, 392, 440, 494, 523};
    int64 const first = int64{item} * options.sampleRate / BLOCKS_A_SECOND;
    int64 const last = int64{item + 1} * options.sampleRate / BLOCKS_A_SECOND;
    iptr<Proc::IDataAudio> const block =
        Proc::DataAudioFF::CreateBySampleCount(format->GetSampleInfo(), static_cast<int>(last - first));
    auto* samples = reinterpret_cast<std::int16_t*>(block->GetAVFrame()->data[0]);
    int64 const half = options.sampleRate / 2;
    for (int64 sample = first; sample < last; ++sample) {
        auto const second = static_cast<std::size_t>(sample / options.sampleRate);
        int64 const phase = sample % options.sampleRate * PITCHES[second % PITCHES.size()] % options.sampleRate;
        // Two parabolas, which sound like a sine.
        int64 const place = std::min(phase % std::max<int64>(half, 1), half);
        int64 const height = 4 * place * (half - place) * AMPLITUDE / (half * half);
        auto const value = static_cast<std::int16_t>(phase < half ? height : -height);
        *samples++ = value;
        *samples++ = value;
    }
    block->SetTime(TimeOf(item));
    block->SetDuration(TimeOf(item + 1) - TimeOf(item));
    return block;
}

SampleClipStreams EncodeSampleClip(SampleClipOptions const& options) {
    VideoEncoderOptions video;
    video.purpose = VideoEncoderOptions::Purpose::Encode;
    video.codecId = Conf::IFormatCodecVideo::CODEC_ID_H264;
    video.groupSize = GROUP_SECONDS * options.frameRate;
    video.bFrames = B_FRAMES;
    video.fixedGroups = true;
    video.quality = 22;
    return {VideoEncoder::Create(GeneratedVideo::Create(options), Core::Property(), video,
                                 Core::ComputingResourceManager::TakeFakeResource()),
            AudioEncoder::Create(GeneratedAudio::Create(options), {"aac", 128000})};
}

void WriteSampleClip(std::string const& path, SampleClipOptions const& options, bool force) {
    SampleClipStreams const clip = EncodeSampleClip(options);
    MediaWriter::Options target;
    target.force = force;
    iptr<MediaWriter> const writer = MediaWriter::Create(path, target);
    int const video = writer->AddStream(*clip.video->GetFormatCodec(), StreamKind::Video, nullptr);
    int const audio = writer->AddStream(*clip.audio->GetFormatCodec(), StreamKind::Audio, nullptr);
    if (video == MediaWriter::NO_SLOT || audio == MediaWriter::NO_SLOT)
        TARSEL_THROW(Core::IOException, path + ": the container can't carry H.264 and AAC");
    writer->Begin();
    iptr<Proc::IDataPacket> picture = clip.video->Read();
    iptr<Proc::IDataPacket> sound = clip.audio->Read();
    while (picture || sound) {
        bool const pictureFirst = picture && (!sound || picture->GetDecodingTime() <= sound->GetDecodingTime());
        iptr<Proc::IDataPacket>& next = pictureFirst ? picture : sound;
        writer->Write(pictureFirst ? video : audio, *next);
        next = pictureFirst ? clip.video->Read() : clip.audio->Read();
    }
    writer->Finish();
}

}  // namespace Tarsel::Host
