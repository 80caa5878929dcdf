#include "host/media/AudioDecoder.h"

#include <glog/logging.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataAudioFF.h"
#include "contracts/Proc/Time.h"

namespace Tarsel::Host {

namespace {

/// Off the count by more than this, packets' times are believed.
constexpr int64 RESYNC_GAP = 100000;
constexpr int MAX_SILENT_BLOCK = 4096;

/// How far ahead of a seek position decoding starts, in microseconds.
int64 PrerollOf(AVCodecID id) {
    AVCodecDescriptor const* const description = avcodec_descriptor_get(id);
    bool const lossless = description && (description->props & AV_CODEC_PROP_LOSSLESS) != 0;
    // MP3's bit reservoir reaches back up to 511 bytes (ISO/IEC 11172-3, 2.4.3.4), nine packets of the lowest rate.
    if (id == AV_CODEC_ID_MP3) return 400000;
    if (id == AV_CODEC_ID_OPUS) return 240000;
    return lossless ? 0 : 150000;
}

iptr<Conf::IFormatCodecAudio> AudioFormatOf(iptr<Proc::IStreamRaw> const& source) {
    if (!source) TARSEL_THROW(std::invalid_argument, "source is NULL");
    iptr<Conf::IFormatCodec const> const format = source->GetFormatCodec();
    if (!format) TARSEL_THROW(Proc::CodecFactoryException, "Source format codec must be present");
    iptr<Conf::IFormatCodecAudio> own(dynamic_cast<Conf::IFormatCodecAudio*>(format->CloneBase().get()));
    if (own) return own;
    own = Conf::IFormatCodecAudio::Create();
    own->SetCodecID(format->GetCodecID());
    own->SetExtradata(format->GetExtradata());
    own->SetProperty(format->GetProperty());
    own->SetMetadata(format->GetMetadata());
    own->SetNativeParameters(format->GetNativeParameters());
    own->SetOriginalDuration(format->GetOriginalDuration());
    return own;
}

/// What the decoder gives: its own sample format; rate and layout as the container found them, which knows of
/// extensions that a decoder meets in the first packet only.
Conf::SampleInfo InfoOf(Conf::IFormatCodecAudio const& format, AVCodecContext const& context) {
    NativeParameters const* const native = FindNativeParameters(format);
    AVCodecParameters const* const parameters = native ? native->parameters.get() : nullptr;
    int rate = parameters && parameters->sample_rate > 0 ? parameters->sample_rate : context.sample_rate;
    if (rate <= 0) rate = format.GetSampleInfo().GetSampleRate();
    Conf::ChannelLayout layout =
        LayoutOf(parameters && parameters->ch_layout.nb_channels > 0 ? parameters->ch_layout : context.ch_layout);
    if (layout == Conf::CHANNEL_LAYOUT_NONE) layout = format.GetSampleInfo().GetChannelLayout();
    auto sampleFormat = static_cast<Conf::SampleFormats>(context.sample_fmt);
    if (sampleFormat == Conf::SAMPLE_FORMAT_NONE) sampleFormat = format.GetSampleInfo().GetSampleFormat();
    if (rate <= 0 || layout == Conf::CHANNEL_LAYOUT_NONE || sampleFormat == Conf::SAMPLE_FORMAT_NONE)
        TARSEL_THROW(Proc::CodecFactoryException, "The audio stream of codec '" + format.GetCodecID() +
                                                      "' tells no sample rate, channels or sample format");
    return {sampleFormat, rate, layout};
}

}  // namespace

iptr<AudioDecoder> AudioDecoder::Create(iptr<Proc::IStreamRaw> const& source, std::string const& implName,
                                        DecoderOptions const& options) {
    return iptr<AudioDecoder>(new AudioDecoder(source, AudioFormatOf(source), implName, options));
}

AudioDecoder::AudioDecoder(iptr<Proc::IStreamRaw> const& packets, iptr<Conf::IFormatCodecAudio> audioFormat,
                           std::string const& implName, DecoderOptions const& options)
    : CodecStream(packets),
      core(*audioFormat, AVMEDIA_TYPE_AUDIO, implName, options),
      info(InfoOf(*audioFormat, *core.Probe())),
      preroll(PrerollOf(core.GetCodecId())),
      converter(info) {
    audioFormat->SetSampleInfo(info);
    NativeParameters const* const native = FindNativeParameters(*audioFormat);
    if (native && native->parameters) {
        frameSize = std::max(native->parameters->frame_size, 0);
        preroll = std::max(preroll, TimeOf(native->parameters->seek_preroll));
        int64 const tick = av_rescale_q_rnd(1, native->timeBase, {1, info.GetSampleRate()}, AV_ROUND_UP);
        if (tick > 1) tickSamples = tick;
    }
    format = std::move(audioFormat);
}

std::string AudioDecoder::GetImplName() const {
    return core.GetName();
}

DecoderReport AudioDecoder::GetReport() const {
    return core.GetReport();
}

void AudioDecoder::Enter(Proc::IStreamVisitor& visitor) {
    Proc::Visitors::Visit(visitor, "AudioDecoder", FRAME_TYPE_DECODER, this);
}

int64 AudioDecoder::TimeOf(int64 sample) const {
    return Proc::SampleCount2Duration(sample, info.GetSampleRate());
}

int64 AudioDecoder::StartOf(AVFrame const& frame) const {
    int64 const time = HasValue(frame.pts) ? frame.pts : frame.best_effort_timestamp;
    return HasValue(time) ? Proc::Duration2SampleCount(time, info.GetSampleRate()) : NO_VALUE;
}

int64 AudioDecoder::Snapped(int64 start, int count) const {
    if (tickSamples == 0 || frameSize == 0 || !HasValue(gridEnd)) return start;
    int64 const off = (start + count - gridEnd) % frameSize;
    int64 const nearest = off > frameSize / 2 ? off - frameSize : off < -frameSize / 2 ? off + frameSize : off;
    return std::abs(nearest) <= tickSamples ? start - nearest : start;
}

/// Learns where packets end, from the first of the stream: times in coarse ticks can't tell.
void AudioDecoder::FindGrid(int64 target) {
    if (tickSamples == 0 || frameSize == 0 || HasValue(gridEnd) || SourcePosition(target) <= 0) return;
    source->RequestSeek(SourcePosition(0), nullptr);
    source->DoSeek();
    if (FramePtr const frame = converter.Convert(core.Receive(*source)); frame && HasValue(StartOf(*frame)))
        gridEnd = StartOf(*frame) + frame->nb_samples;
    core.Reopen(target);
    converter.Reset();
    source->RequestSeek(SourcePosition(target), nullptr);
    source->DoSeek();
}

/// Decides where a frame's samples belong: what to leave out of it, what silence to give first.
void AudioDecoder::Place(AVFrame const& frame) {
    int64 start = StartOf(frame);
    if (!placed) {
        if (!HasValue(start)) start = wanted;
        start = Snapped(start, frame.nb_samples);
        if (!HasValue(gridEnd) && wanted == 0) gridEnd = start + frame.nb_samples;
        placed = true;
        cursor = start;
    } else if (HasValue(start) && std::abs(TimeOf(start - cursor)) > RESYNC_GAP) {
        VLOG(21) << "Audio goes on at " << Proc::T2S(TimeOf(start)) << " instead of " << Proc::T2S(TimeOf(cursor));
        cursor = start;
    }
    int64 const overlap = given - cursor;
    skip = static_cast<int>(std::clamp<int64>(overlap, 0, frame.nb_samples));
    silence = std::max<int64>(-overlap, 0);
    cursor += frame.nb_samples;
}

bool AudioDecoder::Fetch() {
    while (!ended) {
        FramePtr frame = core.Receive(*source);
        ended = !frame;
        frame = frame ? converter.Convert(std::move(frame)) : converter.Drain();
        if (!frame || frame->nb_samples == 0) continue;
        Place(*frame);
        if (skip == frame->nb_samples) continue;
        waiting = std::move(frame);
        return true;
    }
    return false;
}

iptr<Proc::IDataAudio> AudioDecoder::Give(iptr<Proc::IDataAudio> block, int count) {
    int64 const time = TimeOf(given);
    given += count;
    block->SetTime(time);
    block->SetDuration(TimeOf(given) - time);
    return block;
}

iptr<Proc::IDataAudio> AudioDecoder::ReadNext() {
    if (!waiting && !Fetch()) return nullptr;
    if (silence > 0) {
        int const count = static_cast<int>(std::min<int64>(silence, MAX_SILENT_BLOCK));
        silence -= count;
        iptr<Proc::IDataAudio> const block = Proc::DataAudioFF::CreateBySampleCount(info, count);
        block->Silence();
        return Give(block, count);
    }
    iptr<Proc::IDataAudio> const block = Proc::DataAudioFF::TakeFrame(waiting.release(), NO_VALUE);
    if (skip > 0) block->CutSamplesBegin(skip);
    return Give(block, block->GetSampleCount());
}

void AudioDecoder::CloseCodec() {
    core.Close();
}

void AudioDecoder::Restart(int64 target) {
    core.Reopen(target);
    converter.Reset();
    waiting = nullptr;
    skip = 0;
    silence = 0;
    placed = false;
    ended = false;
    wanted = 0;
    if (HasValue(target) && target > 0) {
        FindGrid(target);
        // The last sample that doesn't begin behind the position, in the rounding that items' times have.
        wanted = av_rescale_rnd(target, info.GetSampleRate(), SECOND, AV_ROUND_DOWN);
        if (TimeOf(wanted + 1) <= target) ++wanted;
    }
    given = wanted;
    cursor = wanted;
}

}  // namespace Tarsel::Host
