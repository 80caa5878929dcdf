#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataPacketFF.h"
#include "contracts/Proc/Time.h"
#include "host/media/AudioDecoder.h"
#include "host/media/AudioEncoder.h"
#include "host/media/SampleClip.h"
#include "tests/host/media/codecs/PacketList.h"

namespace Tarsel::Tests {
namespace {

using namespace Tarsel::Host;
using testing::HasSubstr;

constexpr int RATE = 48000;

iptr<AudioDecoder> Decode(iptr<Proc::IStreamRaw> const& packets) {
    return AudioDecoder::Create(packets, "", {});
}

/// First channel as numbers from -1 to 1. Checks on the way that blocks are contiguous and start at `start`.
std::vector<double> Samples(iptr<Proc::IStreamAudio> const& stream, int64 start, std::size_t limit = SIZE_MAX) {
    std::vector<double> samples;
    int64 expected = start;
    while (samples.size() < limit) {
        auto const block = stream->Read();
        if (!block) break;
        EXPECT_EQ(block->GetTime(), expected);
        EXPECT_GT(block->GetDuration(), 0);
        expected = block->GetTime() + block->GetDuration();
        AVFrame const* const frame = block->GetAVFrame();
        int const step = Conf::IsPlanar(block->GetSampleFormat()) ? 1 : block->GetChannelCount();
        for (int i = 0; i < block->GetSampleCount(); ++i) {
            u8 const* const data = frame->extended_data[0];
            switch (Conf::BytesPerSample(block->GetSampleFormat())) {
                case 2:
                    samples.push_back(reinterpret_cast<std::int16_t const*>(data)[i * step] / 32768.0);
                    break;
                default:
                    if (Conf::PlanarFormat(block->GetSampleFormat()) == Conf::SAMPLE_FORMAT_FLTP)
                        samples.push_back(double(reinterpret_cast<float const*>(data)[i * step]));
                    else
                        samples.push_back(reinterpret_cast<std::int32_t const*>(data)[i * step] / 2147483648.0);
            }
        }
    }
    return samples;
}

struct Clip {
    char const* name;
    char const* file;
    char const* arguments;
    double tolerance;  // 0: bit for bit
};
constexpr Clip CLIPS[] = {
    {"AacMp4", "tone-aac.mp4", "-c:a aac -aac_pns 0", 0}, {"AacMkv", "tone-aac.mkv", "-c:a aac -aac_pns 0", 0},
    {"AacTs", "tone-aac.ts", "-c:a aac -aac_pns 0", 0},   {"Mp3", "tone.mp3", "-c:a libmp3lame", 0},
    {"Mp3Mkv", "tone-mp3.mkv", "-c:a libmp3lame", 0},     {"VorbisOgg", "tone.ogg", "-c:a libvorbis", 0},
    {"OpusOgg", "tone.opus", "-c:a libopus", 0.002},      {"Flac", "tone.flac", "-c:a flac", 0},
    {"PcmWav", "tone.wav", "-c:a pcm_s16le", 0},
};

std::string PathOf(Clip const& clip) {
    // A chirp: no two places sound the same.
    return MakeClip(clip.file,
                    std::string("-f lavfi -i 'aevalsrc=0.4*sin(2*PI*(200*t+150*t*t)):s=48000:d=4' ") + clip.arguments);
}

class AudioSeeks : public testing::TestWithParam<Clip> {};

TEST_P(AudioSeeks, SamplesAfterASeekAreThoseOfDecodingStraightThrough) {
    auto const decoder = Decode(LoadPackets(PathOf(GetParam()), MEDIA_TYPE_AUDIO));
    SeekTo(*decoder, 0);
    std::vector<double> const straight = Samples(decoder, 0);
    ASSERT_GE(straight.size(), std::size_t(4 * RATE));
    EXPECT_LE(straight.size(), std::size_t(4 * RATE + 3000));
    unsigned const seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (int i = 0; i < 25; ++i) {
        int64 const position = std::uniform_int_distribution<int64>(0, 3900000)(random);
        SCOPED_TRACE("position " + std::to_string(position));
        // One decoder keeps what it has learned, a fresh one has learned nothing.
        auto const used = i % 2 == 0 ? decoder : Decode(LoadPackets(PathOf(GetParam()), MEDIA_TYPE_AUDIO));
        SeekTo(*used, position);
        int64 const start = used->GetPosition();
        EXPECT_LE(start, position);
        EXPECT_LE(position - start, 21);
        auto const first = std::size_t(Proc::Duration2SampleCount(start, RATE));
        std::vector<double> const some = Samples(used, start, 5000);
        ASSERT_GE(some.size(), 4000U);
        for (std::size_t n = 0; n < std::min<std::size_t>(some.size(), straight.size() - first); ++n)
            ASSERT_NEAR(some[n], straight[first + n], GetParam().tolerance) << "sample " << n;
        EXPECT_EQ(used->GetReport().errors, 0U) << used->GetReport().firstError;
    }
}

INSTANTIATE_TEST_SUITE_P(Clips, AudioSeeks, testing::ValuesIn(CLIPS),
                         [](auto const& test) { return std::string(test.param.name); });

struct PlainClip {
    char const* codec;
    Conf::SampleFormats format;
};
constexpr PlainClip PLAIN_CLIPS[] = {
    {"pcm_u8", Conf::SAMPLE_FORMAT_U8},     {"pcm_s16le", Conf::SAMPLE_FORMAT_S16},
    {"pcm_s32le", Conf::SAMPLE_FORMAT_S32}, {"pcm_s64le", Conf::SAMPLE_FORMAT_S64},
    {"pcm_f32le", Conf::SAMPLE_FORMAT_FLT}, {"pcm_f64le", Conf::SAMPLE_FORMAT_DBL},
};

iptr<PacketList> LoadPlain(PlainClip const& clip) {
    return LoadPackets(
        MakeClip(std::string("plain-") + clip.codec + ".wav",
                 std::string("-f lavfi -i 'aevalsrc=0.4*sin(2*PI*(200*t+150*t*t))|0.3*cos(999*t):s=48000:"
                             "d=1' -c:a ") +
                     clip.codec),
        MEDIA_TYPE_AUDIO);
}

std::string BytesOf(Proc::IDataAudio& block) {
    auto const blob = block.GetBlob();
    return {reinterpret_cast<char const*>(blob->GetData()), blob->GetSize()};
}

class PlainSamples : public testing::TestWithParam<PlainClip> {};

TEST_P(PlainSamples, ComeOutAsThePacketsHoldThem) {
    auto const packets = LoadPlain(GetParam());
    auto const decoder = Decode(packets);
    SeekTo(*decoder, 0);
    auto const blocks = ReadAll<Proc::IStreamAudio>(decoder);
    ASSERT_EQ(blocks.size(), packets->packets.size());
    int64 time = 0;
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        AVPacket const& packet = *packets->packets[i]->GetAVPacket();
        std::string const bytes(reinterpret_cast<char const*>(packet.data), static_cast<std::size_t>(packet.size));
        ASSERT_EQ(BytesOf(*blocks[i]), bytes) << "packet " << i;
        EXPECT_EQ(blocks[i]->GetSampleFormat(), GetParam().format);
        EXPECT_EQ(blocks[i]->GetTime(), time);
        time += blocks[i]->GetDuration();
        // The packets keep memory of their own: whoever writes to a block doesn't write to them.
        blocks[i]->Silence();
        EXPECT_EQ(bytes, std::string(reinterpret_cast<char const*>(packet.data), bytes.size()));
    }
    EXPECT_EQ(time, SECOND);
    DecoderReport const report = decoder->GetReport();
    EXPECT_EQ(report.packets, packets->packets.size());
    EXPECT_EQ(report.frames, packets->packets.size());
    EXPECT_TRUE(decoder->IsOpen());
}

TEST_P(PlainSamples, PacketThatStandsOddlyInMemoryGivesTheSame) {
    auto packets = LoadPlain(GetParam());
    auto const straight = ReadAll<Proc::IStreamAudio>(Decode(LoadPlain(GetParam())));
    for (auto& packet : packets->packets) {
        AVPacket& raw = *packet->GetAVPacket();
        ASSERT_EQ(av_grow_packet(&raw, 1), 0);
        std::memmove(raw.data + 1, raw.data, static_cast<std::size_t>(--raw.size));
        ++raw.data;
    }
    auto const odd = ReadAll<Proc::IStreamAudio>(Decode(packets));
    ASSERT_EQ(odd.size(), straight.size());
    for (std::size_t i = 0; i < odd.size(); ++i) {
        ASSERT_EQ(BytesOf(*odd[i]), BytesOf(*straight[i])) << "block " << i;
        EXPECT_EQ(odd[i]->GetTime(), straight[i]->GetTime());
    }
}

INSTANTIATE_TEST_SUITE_P(Codecs, PlainSamples, testing::ValuesIn(PLAIN_CLIPS),
                         [](auto const& test) { return std::string(test.param.codec); });

TEST(AudioDecoder, RestOfASampleAtAPlainPacketsEndIsDropped) {
    auto packets = LoadPlain(PLAIN_CLIPS[4]);
    AVPacket& last = *packets->packets.back()->GetAVPacket();
    int const whole = last.size / 8 - 1;
    last.size -= 5;
    auto const blocks = ReadAll<Proc::IStreamAudio>(Decode(packets));
    ASSERT_EQ(blocks.size(), packets->packets.size());
    EXPECT_EQ(blocks.back()->GetSampleCount(), whole);
}

TEST(AudioDecoder, PlainPacketWithLessThanASampleIsSkippedAsDamaged) {
    auto packets = LoadPlain(PLAIN_CLIPS[4]);
    packets->packets[3]->GetAVPacket()->size = 5;
    auto const decoder = Decode(packets);
    auto const blocks = ReadAll<Proc::IStreamAudio>(decoder);
    EXPECT_EQ(blocks.size(), packets->packets.size() - 1);
    EXPECT_EQ(decoder->GetReport().damagedPackets, 1U);
}

/// Sound whose packets are moved by `shift` from packet `from` on.
iptr<PacketList> Shifted(std::size_t from, int64 shift) {
    auto packets = LoadPackets(PathOf(CLIPS[0]), MEDIA_TYPE_AUDIO);
    for (std::size_t i = from; i < packets->packets.size(); ++i) {
        auto const& packet = packets->packets[i];
        packet->SetTime(packet->GetTime() + shift);
        packet->SetDecodingTime(packet->GetTime());
    }
    return iptr<PacketList>(new PacketList(packets->GetFormatCodec(), MEDIA_TYPE_AUDIO, packets->packets));
}

bool IsSilent(std::vector<double> const& samples, std::size_t begin, std::size_t end) {
    for (std::size_t i = begin; i < end; ++i)
        if (samples[i] != 0) return false;
    return true;
}

TEST(AudioDecoder, PrimingIsCutOffAndTheFirstSampleIsAtZero) {
    auto const packets = LoadPackets(PathOf(CLIPS[0]), MEDIA_TYPE_AUDIO);
    auto const moved = Shifted(0, -packets->packets[1]->GetTime());
    ASSERT_LT(moved->packets[0]->GetTime(), 0) << "a priming packet";
    std::vector<double> const samples = Samples(Decode(moved), 0);
    EXPECT_GE(samples.size(), std::size_t(4 * RATE));
    // The codec is not exact, but no other place fits better.
    auto const distance = [&](int lag) {
        double sum = 0;
        for (int i = RATE; i < 2 * RATE; ++i) {
            double const t = double(i) / RATE;
            sum += std::abs(samples[std::size_t(i + lag)] - 0.4 * std::sin(2 * M_PI * (200 * t + 150 * t * t)));
        }
        return sum;
    };
    EXPECT_LT(distance(0), distance(-1));
    EXPECT_LT(distance(0), distance(1));
}

TEST(AudioDecoder, LateStartIsPaddedWithSilence) {
    std::vector<double> const plain = Samples(Decode(Shifted(0, 0)), 0);
    std::vector<double> const late = Samples(Decode(Shifted(0, SECOND)), 0);
    ASSERT_EQ(late.size(), plain.size() + RATE);
    EXPECT_TRUE(IsSilent(late, 0, RATE));
    EXPECT_EQ(std::vector<double>(late.begin() + RATE, late.end()), plain);
}

TEST(AudioDecoder, GapOver100MillisecondsIsFilledAndASmallerOneIsNot) {
    std::vector<double> const plain = Samples(Decode(Shifted(0, 0)), 0);
    EXPECT_EQ(Samples(Decode(Shifted(100, 99000)), 0).size(), plain.size());
    std::vector<double> const gap = Samples(Decode(Shifted(100, 500000)), 0);
    EXPECT_NEAR(double(gap.size()), double(plain.size() + RATE / 2), 1);
}

TEST(AudioDecoder, OverlapOver100MillisecondsIsCutOff) {
    std::vector<double> const plain = Samples(Decode(Shifted(0, 0)), 0);
    std::vector<double> const overlap = Samples(Decode(Shifted(100, -500000)), 0);
    EXPECT_NEAR(double(overlap.size()), double(plain.size() - RATE / 2), 1);
}

TEST(AudioDecoder, GoesOnAfterReleaseAtTheEndOfTheLastBlock) {
    auto const packets = LoadPackets(PathOf(CLIPS[8]), MEDIA_TYPE_AUDIO);
    auto const decoder = Decode(packets);
    SeekTo(*decoder, SECOND);
    auto const block = decoder->Read();
    decoder->ReleaseInternalData();
    EXPECT_EQ(decoder->Read()->GetTime(), block->GetTime() + block->GetDuration());
}

TEST(AudioDecoder, HoldsACodecFromTheFirstPacketUntilItIsReleased) {
    std::vector<double> const straight = Samples(Decode(LoadPackets(PathOf(CLIPS[0]), MEDIA_TYPE_AUDIO)), 0);
    auto const decoder = Decode(LoadPackets(PathOf(CLIPS[0]), MEDIA_TYPE_AUDIO));
    EXPECT_FALSE(decoder->IsOpen());
    SeekTo(*decoder, 0);
    EXPECT_FALSE(decoder->IsOpen());
    ASSERT_TRUE(decoder->Read());
    EXPECT_TRUE(decoder->IsOpen());
    uint64 const packets = decoder->GetReport().packets;
    EXPECT_GE(packets, 1U);
    decoder->ReleaseInternalData();
    EXPECT_FALSE(decoder->IsOpen());
    EXPECT_EQ(decoder->GetReport().packets, packets);
    EXPECT_FALSE(decoder->GetImplName().empty());
    SeekTo(*decoder, 0);
    EXPECT_EQ(Samples(decoder, 0), straight);
    EXPECT_TRUE(decoder->IsOpen());
}

TEST(AudioDecoder, DecoderThatDoesNotOpenIsRefusedWhenItIsMade) {
    auto const headless = Conf::IFormatCodecAudio::Create();
    headless->SetCodecID("vorbis");
    iptr<PacketList> const nothing(new PacketList(headless, MEDIA_TYPE_AUDIO, {}));
    try {
        Decode(nothing);
        FAIL() << "no error was thrown";
    } catch (Proc::CodecFactoryException const& error) {
        EXPECT_STREQ(error.what(), "Can't open decoder vorbis: Invalid data found when processing input");
    }
}

TEST(AudioDecoder, DamagedPacketIsSkippedAndCounted) {
    auto packets = LoadPackets(PathOf(CLIPS[0]), MEDIA_TYPE_AUDIO);
    auto damaged = packets->packets[50]->Clone(true);
    std::memset(damaged->GetAVPacket()->data, 0xFF, std::size_t(damaged->GetAVPacket()->size));
    packets->packets[50] = damaged;
    auto const decoder = Decode(packets);
    Samples(decoder, 0);
    EXPECT_EQ(decoder->GetReport().damagedPackets, 1U);
}

TEST(AudioDecoder, RefusesUnknownNamesAndFormatsWithoutChannels) {
    auto const packets = LoadPackets(PathOf(CLIPS[0]), MEDIA_TYPE_AUDIO);
    EXPECT_THROW(AudioDecoder::Create(packets, "no-such-decoder", {}), Proc::CodecFactoryException);
    EXPECT_THROW(AudioDecoder::Create(nullptr, "", {}), std::invalid_argument);
    auto const bare = Conf::IFormatCodecAudio::Create();
    bare->SetCodecID("pcm_s16le");
    iptr<PacketList> const nothing(new PacketList(bare, MEDIA_TYPE_AUDIO, {}));
    EXPECT_THROW(AudioDecoder::Create(nothing, "", {}), Proc::CodecFactoryException);
}

struct Encoder {
    char const* codec;
    int sampleRate;
    double tolerance;
};

class AudioEncoders : public testing::TestWithParam<Encoder> {};

TEST_P(AudioEncoders, WhatIsDecodedAgainLiesWhereItLay) {
    SampleClipOptions clip;
    clip.seconds = 2;
    clip.sampleRate = GetParam().sampleRate;
    std::vector<double> const original = Samples(GeneratedAudio::Create(clip), 0);
    auto const encoder = AudioEncoder::Create(GeneratedAudio::Create(clip), {GetParam().codec, 128000});
    EXPECT_EQ(encoder->GetFormatCodec()->GetCodecID(), GetParam().codec);
    auto const native = dynamic_cast<NativeParameters const*>(encoder->GetFormatCodec()->GetNativeParameters().get());
    ASSERT_TRUE(native);
    auto const packets = Collect(encoder);
    ASSERT_FALSE(packets->packets.empty());
    int const rate = native->parameters->sample_rate;
    int64 const priming = Proc::SampleCount2Duration(native->parameters->initial_padding, rate);
    // Vorbis tells of its priming with the first packet only.
    int64 end = priming > 0 ? -priming : packets->packets[0]->GetTime();
    EXPECT_LE(end, 0);
    for (auto const& packet : packets->packets) {
        EXPECT_NEAR(double(packet->GetTime()), double(end), 1.5);
        EXPECT_TRUE(packet->IsKeyFrame());
        end = packet->GetTime() + packet->GetDuration();
    }
    EXPECT_GE(end, 2 * SECOND);
    std::vector<double> const decoded = Samples(Decode(packets), 0);
    ASSERT_GE(decoded.size(), std::size_t(2 * rate));
    if (rate != clip.sampleRate) return;
    double error = 0;
    for (std::size_t i = 4000; i < original.size() - 4000; ++i) error += std::abs(decoded[i] - original[i]);
    EXPECT_LE(error / double(original.size() - 8000), GetParam().tolerance);
}

INSTANTIATE_TEST_SUITE_P(Codecs, AudioEncoders,
                         testing::Values(Encoder{"aac", 48000, 0.01}, Encoder{"mp3", 48000, 0.01},
                                         Encoder{"opus", 48000, 0.01}, Encoder{"opus", 44100, 0},
                                         Encoder{"vorbis", 48000, 0.01}, Encoder{"flac", 44100, 0},
                                         Encoder{"pcm_s16le", 48000, 0}, Encoder{"pcm_f32le", 48000, 1e-4},
                                         Encoder{"ac3", 48000, 0.01}, Encoder{"mp2", 48000, 0.01}),
                         [](auto const& test) {
                             return std::string(test.param.codec) + "_" + std::to_string(test.param.sampleRate);
                         });

TEST(AudioEncoder, StartsAtTheTimeOfTheFirstBlockAndAnewAfterASeek) {
    SampleClipOptions clip;
    clip.seconds = 3;
    auto const encoder = AudioEncoder::Create(GeneratedAudio::Create(clip), {"flac", 0});
    ASSERT_TRUE(encoder->Read());
    SeekTo(*encoder, SECOND);
    EXPECT_EQ(encoder->Read()->GetTime(), SECOND);
}

TEST(AudioEncoder, RefusalsNameTheCodec) {
    SampleClipOptions clip;
    auto const source = GeneratedAudio::Create(clip);
    EXPECT_THROW(AudioEncoder::Create(source, {"nonsense", 0}), Proc::EncoderException);
    EXPECT_THROW(AudioEncoder::Create(source, {"h264", 0}), Proc::EncoderException);
    try {
        AudioEncoder::Create(source, {"mp3", 12345678});
    } catch (Proc::EncoderException const& error) {
        EXPECT_THAT(error.what(), HasSubstr("libmp3lame"));
    }
}

}  // namespace
}  // namespace Tarsel::Tests
