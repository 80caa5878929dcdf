#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataMD5.h"
#include "contracts/Proc/Time.h"
#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"

extern "C" {
#include <libavcodec/defs.h>
#include <libavutil/channel_layout.h>
}

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;

constexpr Conf::ChannelLayout TWELVE_CHANNELS = 0xFFF;

/// A block whose samples count up from 0 in each plane, plane number times 1000 added.
iptr<IDataAudio> Counting(int samples, int rate = 1000, Conf::SampleFormats format = Conf::SAMPLE_FORMAT_S16P,
                          Conf::ChannelLayout layout = Conf::CHANNEL_LAYOUT_STEREO) {
    auto block = MakeAudio(0, samples, rate, format, layout);
    int const planes = block->GetSampleInfo().GetPlanesCount();
    int const perPlane = samples * block->GetSampleInfo().GetSampleSizePerPlane() / 2;
    for (int plane = 0; plane < planes; ++plane) {
        auto* const data = SamplesOf<int16_t>(*block, plane);
        for (int i = 0; i < perPlane; ++i) data[i] = static_cast<int16_t>(plane * 1000 + i);
    }
    return block;
}

std::vector<int> Plane(IDataAudio& block, int plane) {
    auto const* const data = SamplesOf<int16_t>(block, plane);
    return {data, data + block.GetSampleCount()};
}

/// Whether planes stand back to back in one allocation with an exact line size.
void ExpectPacked(IDataAudio& block) {
    AVFrame const& frame = *block.GetAVFrame();
    int const planeBytes = block.GetSampleCount() * block.GetSampleInfo().GetSampleSizePerPlane();
    EXPECT_EQ(frame.linesize[0], planeBytes);
    for (int i = 0; i < block.GetSampleInfo().GetPlanesCount(); ++i) {
        EXPECT_EQ(frame.extended_data[i], frame.extended_data[0] + static_cast<std::ptrdiff_t>(i) * planeBytes);
        if (i < AV_NUM_DATA_POINTERS) {
            EXPECT_EQ(frame.data[i], frame.extended_data[i]);
        }
    }
    EXPECT_EQ(frame.buf[1], nullptr);
    auto const blob = block.GetBlob();
    EXPECT_EQ(blob->GetData(), frame.extended_data[0]);
    EXPECT_EQ(blob->GetSize(),
              static_cast<std::size_t>(planeBytes) * static_cast<std::size_t>(block.GetSampleInfo().GetPlanesCount()));
}

TEST(AudioData, NewBlockHasItsShapeAndADurationByItsSamples) {
    auto const block =
        DataAudioFF::CreateBySampleCount({Conf::SAMPLE_FORMAT_FLTP, 44100, Conf::CHANNEL_LAYOUT_STEREO}, 1024);
    EXPECT_THAT(block, IsAudio(NO_VALUE, 1024));
    EXPECT_EQ(block->GetDuration(), SampleCount2Duration(1024, 44100));
    EXPECT_EQ(block->GetDuration(), 23220);
    EXPECT_EQ(block->GetChannelCount(), 2);
    EXPECT_EQ(block->GetSampleRate(), 44100);
    EXPECT_EQ(block->GetSampleFormat(), Conf::SAMPLE_FORMAT_FLTP);
    EXPECT_EQ(block->GetSampleInfo(), Conf::SampleInfo(Conf::SAMPLE_FORMAT_FLTP, 44100, Conf::CHANNEL_LAYOUT_STEREO));
    ExpectPacked(*block);
}

TEST(AudioData, PlanesArePackedWhateverTheirNumber) {
    ExpectPacked(*MakeAudio(0, 333, 48000, Conf::SAMPLE_FORMAT_U8, Conf::CHANNEL_LAYOUT_MONO));
    ExpectPacked(*MakeAudio(0, 333, 48000, Conf::SAMPLE_FORMAT_S16P, Conf::CHANNEL_LAYOUT_STEREO));
    ExpectPacked(*MakeAudio(0, 333, 48000, Conf::SAMPLE_FORMAT_DBLP, TWELVE_CHANNELS));
    ExpectPacked(*MakeAudio(0, 0, 48000, Conf::SAMPLE_FORMAT_DBLP, TWELVE_CHANNELS));
    auto const clone = MakeAudio(0, 333, 48000, Conf::SAMPLE_FORMAT_S32P, TWELVE_CHANNELS)->Clone(true);
    ExpectPacked(*clone);
}

TEST(AudioData, BadShapesAreRefused) {
    auto const make = [](Conf::SampleInfo const& info, int samples) {
        return [=] { DataAudioFF::CreateBySampleCount(info, samples); };
    };
    Conf::SampleInfo const good(Conf::SAMPLE_FORMAT_S16, 48000, Conf::CHANNEL_LAYOUT_STEREO);
    EXPECT_EQ(MessageOf<ProcException>(make({}, 1)),
              "Can't make an audio block: format -1, rate -1, channels 0, samples 1");
    EXPECT_THROW(make({Conf::SAMPLE_FORMAT_NONE, 48000, Conf::CHANNEL_LAYOUT_STEREO}, 1)(), ProcException);
    EXPECT_THROW(make({Conf::SAMPLE_FORMAT_S16P, 0, Conf::CHANNEL_LAYOUT_STEREO}, 1)(), ProcException);
    EXPECT_THROW(make({Conf::SAMPLE_FORMAT_S16P, 48000, Conf::CHANNEL_LAYOUT_NONE}, 1)(), ProcException);
    EXPECT_THROW(make({Conf::SAMPLE_FORMAT_S16, 48000, Conf::CHANNEL_LAYOUT_NONE}, 1)(), ProcException);
    EXPECT_THROW(make(good, -1)(), ProcException);
    EXPECT_THROW(make(good, 2000000000)(), ProcException);
}

TEST(AudioData, SilenceIsTheMiddleOfEachFormat) {
    auto const bytes = MakeAudio(0, 3, 48000, Conf::SAMPLE_FORMAT_U8, Conf::CHANNEL_LAYOUT_MONO);
    EXPECT_EQ(*SamplesOf<u8>(*bytes), 0x80);
    auto const floats = MakeAudio(0, 3, 48000, Conf::SAMPLE_FORMAT_FLTP, TWELVE_CHANNELS);
    for (int plane = 0; plane < 12; ++plane)
        for (int i = 0; i < 3; ++i) EXPECT_EQ(SamplesOf<float>(*floats, plane)[i], 0.0F);
}

TEST(AudioData, CutSamplesDropsAtBothEndsAndStaysPacked) {
    auto const block = Counting(10);
    block->SetTime(5000);
    block->CutSamplesBegin(2);
    EXPECT_THAT(block, IsAudio(7000, 8));
    EXPECT_EQ(block->GetDuration(), 8000);
    block->CutSamplesEnd(3);
    EXPECT_THAT(block, IsAudio(7000, 5));
    EXPECT_EQ(block->GetDuration(), 5000);
    EXPECT_THAT(Plane(*block, 0), ElementsAre(2, 3, 4, 5, 6));
    EXPECT_THAT(Plane(*block, 1), ElementsAre(1002, 1003, 1004, 1005, 1006));
    ExpectPacked(*block);
    block->CutSamplesBegin(0);
    block->CutSamplesEnd(5);
    EXPECT_THAT(block, IsAudio(7000, 0));
}

TEST(AudioData, ImpossibleSampleCutsThrowAndChangeNothing) {
    auto const block = Counting(10);
    EXPECT_EQ(MessageOf<ProcException>([&] { block->CutSamplesBegin(11); }),
              "Can't cut 11 samples out of a block of 10");
    EXPECT_THROW(block->CutSamplesEnd(-1), ProcException);
    EXPECT_THROW(block->CutSamplesEnd(11), ProcException);
    EXPECT_THAT(block, IsAudio(0, 10));
}

TEST(AudioData, CutsByTimeDropWholeSamplesToTheNearest) {
    auto const block = Counting(10);
    block->CutBegin(1499);
    EXPECT_THAT(block, IsAudio(1499, 9));
    EXPECT_EQ(block->GetDuration(), 8501);
    block->CutEnd(1500);
    EXPECT_THAT(block, IsAudio(1499, 7));
    EXPECT_EQ(block->GetDuration(), 7001);
    EXPECT_THAT(Plane(*block, 1), ElementsAre(1001, 1002, 1003, 1004, 1005, 1006, 1007));
    ExpectPacked(*block);
}

TEST(AudioData, LessThanHalfASampleCutsNothingAndDoesNotThrow) {
    auto const block = Counting(10);
    block->CutBegin(1);
    block->CutEnd(1);
    block->Cut(5, 6);
    EXPECT_THAT(block, IsAudio(1, 10));
    EXPECT_EQ(block->GetDuration(), 9997);
}

TEST(AudioData, CutRemovesTheMiddleAndKeepsTheTime) {
    auto const block = Counting(6, 1000, Conf::SAMPLE_FORMAT_S16P, TWELVE_CHANNELS);
    block->SetTime(100);
    block->Cut(2000, 4000);
    EXPECT_THAT(block, IsAudio(100, 4));
    EXPECT_EQ(block->GetDuration(), 4000);
    for (int plane = 0; plane < 12; ++plane)
        EXPECT_THAT(Plane(*block, plane),
                    ElementsAre(plane * 1000, plane * 1000 + 1, plane * 1000 + 4, plane * 1000 + 5));
    ExpectPacked(*block);
}

TEST(AudioData, InterleavedCutsTakeAllChannelsOfASample) {
    auto const block = Counting(4, 1000, Conf::SAMPLE_FORMAT_S16);
    block->CutBegin(1000);
    block->CutEnd(1000);
    auto const* const data = SamplesOf<int16_t>(*block);
    EXPECT_THAT(std::vector<int>(data, data + 4), ElementsAre(2, 3, 4, 5));
}

TEST(AudioData, ImpossibleTimeCutsThrow) {
    auto const block = Counting(10);
    EXPECT_THROW(block->CutBegin(10001), ProcException);
    EXPECT_THROW(block->CutEnd(-1), ProcException);
    EXPECT_THROW(block->Cut(2, 1), ProcException);
    EXPECT_THROW(block->Cut(NO_VALUE, 1), ProcException);
    EXPECT_THAT(block, IsAudio(0, 10));
    block->CutBegin(10000);
    EXPECT_THAT(block, IsAudio(10000, 0));
}

TEST(AudioData, CutsOfACloneLeaveTheOriginalAlone) {
    auto const block = Counting(6);
    auto const clone = block->Clone(false);
    EXPECT_EQ(clone->GetAVFrame()->extended_data[1], block->GetAVFrame()->extended_data[1]);
    clone->CutBegin(2000);
    EXPECT_THAT(block, IsAudio(0, 6));
    EXPECT_THAT(Plane(*block, 0), ElementsAre(0, 1, 2, 3, 4, 5));
    EXPECT_THAT(Plane(*clone, 0), ElementsAre(2, 3, 4, 5));
}

TEST(AudioData, WritingToSharedSamplesCopiesFirst) {
    auto const block = Counting(2, 1000, Conf::SAMPLE_FORMAT_S16P, TWELVE_CHANNELS);
    auto const clone = block->Clone(false);
    clone->MakeWritable();
    SamplesOf<int16_t>(*clone, 11)[1] = 5;
    EXPECT_EQ(SamplesOf<int16_t>(*block, 11)[1], 11001);
    ExpectPacked(*clone);
    auto const silenced = block->Clone(false);
    silenced->Silence();
    EXPECT_EQ(SamplesOf<int16_t>(*block, 11)[1], 11001);
    EXPECT_EQ(SamplesOf<int16_t>(*silenced, 11)[1], 0);
    u8 const* const own = block->GetAVFrame()->extended_data[0];
    block->MakeWritable();
    EXPECT_EQ(block->GetAVFrame()->extended_data[0], own);
}

TEST(AudioData, CopyingCloneHasMemoryOfItsOwn) {
    auto const block = Counting(2);
    block->SetTime(9);
    block->SetDuration(77);
    auto const copy = block->Clone(true);
    EXPECT_THAT(copy, IsAudio(9, 2));
    EXPECT_EQ(copy->GetDuration(), 77);
    SamplesOf<int16_t>(*copy)[0] = 5;
    EXPECT_EQ(SamplesOf<int16_t>(*block)[0], 0);
}

TEST(AudioData, SampleRateIsSetOnBlockAndFrame) {
    auto const block = Counting(2);
    block->SetSampleRate(44100);
    EXPECT_EQ(block->GetSampleRate(), 44100);
    EXPECT_EQ(block->GetSampleInfo().GetSampleRate(), 44100);
    EXPECT_EQ(block->GetAVFrame()->sample_rate, 44100);
}

/// A decoder's frame: one buffer per plane and padded lines.
AVFrame* DecoderFrame(int channels, int samples) {
    AVFrame* const frame = av_frame_alloc();
    frame->format = Conf::SAMPLE_FORMAT_S16P;
    frame->sample_rate = 48000;
    frame->nb_samples = samples;
    frame->ch_layout.order = AV_CHANNEL_ORDER_UNSPEC;
    frame->ch_layout.nb_channels = channels;
    EXPECT_GE(av_frame_get_buffer(frame, 64), 0);
    for (int plane = 0; plane < channels; ++plane)
        for (int i = 0; i < samples; ++i)
            reinterpret_cast<int16_t*>(frame->extended_data[plane])[i] = static_cast<int16_t>(plane * 1000 + i);
    return frame;
}

TEST(AudioData, PaddedDecoderFrameIsRepackedAndStaysTheCallers) {
    AVFrame* frame = DecoderFrame(2, 441);
    EXPECT_GT(frame->linesize[0], 882);
    auto const block = DataAudioFF::CreateFromFrame(frame, 12345);
    av_frame_free(&frame);
    EXPECT_THAT(block, IsAudio(12345, 441));
    EXPECT_EQ(block->GetDuration(), SampleCount2Duration(441, 48000));
    EXPECT_EQ(block->GetSampleInfo().GetChannelLayout(), Conf::CHANNEL_LAYOUT_STEREO);
    ExpectPacked(*block);
    EXPECT_EQ(SamplesOf<int16_t>(*block, 1)[440], 1440);
}

TEST(AudioData, DecoderFrameOfEightChannelsTakesTheDefaultLayout) {
    AVFrame* frame = DecoderFrame(8, 10);
    auto const block = DataAudioFF::CreateFromFrame(frame, 0);
    av_frame_free(&frame);
    EXPECT_EQ(block->GetSampleInfo().GetChannelLayout(), Conf::DefaultChannelLayout(8));
    EXPECT_EQ(SamplesOf<int16_t>(*block, 7)[9], 7009);
}

/// Interleaved stereo of 16 bits over one allocation with `spare` bytes behind the samples, which count up from 0.
AVFrame* InterleavedFrame(int samples, std::size_t spare) {
    AVFrame* const frame = av_frame_alloc();
    frame->format = AV_SAMPLE_FMT_S16;
    frame->sample_rate = 48000;
    frame->nb_samples = samples;
    frame->pts = 777;
    av_channel_layout_default(&frame->ch_layout, 2);
    frame->buf[0] = av_buffer_alloc(static_cast<std::size_t>(samples) * 4 + spare);
    frame->data[0] = frame->buf[0]->data;
    std::fill_n(frame->buf[0]->data, frame->buf[0]->size, u8{0xFF});
    for (int i = 0; i < 2 * samples; ++i) reinterpret_cast<int16_t*>(frame->data[0])[i] = static_cast<int16_t>(i);
    EXPECT_NE(av_frame_new_side_data(frame, AV_FRAME_DATA_SKIP_SAMPLES, 10), nullptr);
    return frame;
}

TEST(AudioData, TakenFrameOfOnePlaneKeepsItsMemoryAndLeavesTheRestBehind) {
    AVFrame* const frame = InterleavedFrame(441, AV_INPUT_BUFFER_PADDING_SIZE);
    u8 const* const data = frame->data[0];
    auto const block = DataAudioFF::TakeFrame(frame, 12345);
    EXPECT_EQ(SamplesOf<u8>(*block), data);
    EXPECT_THAT(block, IsAudio(12345, 441));
    EXPECT_EQ(block->GetDuration(), SampleCount2Duration(441, 48000));
    EXPECT_EQ(block->GetSampleInfo(), Conf::SampleInfo(Conf::SAMPLE_FORMAT_S16, 48000, Conf::CHANNEL_LAYOUT_STEREO));
    ExpectPacked(*block);
    EXPECT_EQ(SamplesOf<int16_t>(*block)[881], 881);
    for (int i = 0; i < AV_INPUT_BUFFER_PADDING_SIZE; ++i) ASSERT_EQ(SamplesOf<u8>(*block)[441 * 4 + i], 0) << i;
    EXPECT_EQ(block->GetAVFrame()->nb_side_data, 0);
    EXPECT_EQ(block->GetAVFrame()->pts, AV_NOPTS_VALUE);
}

TEST(AudioData, TakenFrameThatOthersHoldIsCopied) {
    AVFrame* const frame = InterleavedFrame(441, AV_INPUT_BUFFER_PADDING_SIZE);
    AVBufferRef* other = av_buffer_ref(frame->buf[0]);
    auto const block = DataAudioFF::TakeFrame(frame, 0);
    EXPECT_NE(SamplesOf<u8>(*block), other->data);
    EXPECT_EQ(SamplesOf<int16_t>(*block)[881], 881);
    EXPECT_EQ(other->data[441 * 4], 0xFF);
    av_buffer_unref(&other);
    ExpectPacked(*block);
}

TEST(AudioData, TakenFrameWithoutSpareBytesIsCopied) {
    AVFrame* const frame = InterleavedFrame(441, AV_INPUT_BUFFER_PADDING_SIZE - 1);
    AVBufferRef* const buffer = frame->buf[0];
    auto const block = DataAudioFF::TakeFrame(frame, 0);
    EXPECT_NE(block->GetAVFrame()->buf[0], buffer);
    EXPECT_EQ(SamplesOf<int16_t>(*block)[881], 881);
    ExpectPacked(*block);
}

TEST(AudioData, TakenFrameOfSeveralPlanesIsRepacked) {
    auto const block = DataAudioFF::TakeFrame(DecoderFrame(2, 441), 5);
    EXPECT_THAT(block, IsAudio(5, 441));
    EXPECT_EQ(SamplesOf<int16_t>(*block, 1)[440], 1440);
    ExpectPacked(*block);
}

TEST(AudioData, TakenFramesThatAreNoAudioAreRefused) {
    EXPECT_EQ(MessageOf<ProcException>([] { DataAudioFF::TakeFrame(nullptr, 0); }), "Not a frame of audio samples");
    EXPECT_EQ(MessageOf<ProcException>([] { DataAudioFF::TakeFrame(av_frame_alloc(), 0); }),
              "Not a frame of audio samples");
}

TEST(AudioData, FramesThatAreNoAudioAreRefused) {
    EXPECT_EQ(MessageOf<ProcException>([] { DataAudioFF::CreateFromFrame(nullptr, 0); }),
              "Not a frame of audio samples");
    AVFrame* frame = av_frame_alloc();
    EXPECT_THROW(DataAudioFF::CreateFromFrame(frame, 0), ProcException);
    av_frame_free(&frame);
    frame = DecoderFrame(11, 4);
    EXPECT_EQ(MessageOf<ProcException>([&] { DataAudioFF::CreateFromFrame(frame, 0); }),
              "No channel layout for 11 channels");
    av_frame_free(&frame);
}

TEST(AudioData, DigestIsOverTheSamplesAlone) {
    AVFrame* frame = DecoderFrame(2, 441);
    auto const wrapped = DataAudioFF::CreateFromFrame(frame, 5);
    av_frame_free(&frame);
    auto const made = Counting(441, 48000);
    EXPECT_EQ(CalculateAudioDataMD5(wrapped), CalculateAudioDataMD5(made));
    SamplesOf<int16_t>(*made, 1)[440] ^= 1;
    EXPECT_NE(CalculateAudioDataMD5(wrapped), CalculateAudioDataMD5(made));
    EXPECT_EQ(CalculateAudioDataMD5(MakeAudio(0, 0)), "d41d8cd98f00b204e9800998ecf8427e");
}

}  // namespace
}  // namespace Tarsel::Proc
