#include "host/media/AudioEncoder.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/BlobFF.h"
#include "contracts/Proc/DataPacketFF.h"
#include "contracts/Proc/Time.h"
#include "host/media/DecoderCore.h"

extern "C" {
#include <libavutil/audio_fifo.h>
#include <libavutil/channel_layout.h>
}

namespace Tarsel::Host {

namespace {

constexpr int64 BIT_RATE_PER_CHANNEL = 64000;
/// For codecs that take blocks of any size.
constexpr int FREE_FRAME_SIZE = 1024;

AVCodec const* FindEncoder(std::string const& codecId) {
    // The library's own Opus and Vorbis encoders are experiments.
    static std::array<std::pair<char const*, char const*>, 3> const PREFERRED{
        {{"mp3", "libmp3lame"}, {"opus", "libopus"}, {"vorbis", "libvorbis"}}};
    AVCodec const* codec = nullptr;
    for (auto const& [id, name] : PREFERRED)
        if (codecId == id) codec = avcodec_find_encoder_by_name(name);
    if (!codec) {
        AVCodecDescriptor const* const description = avcodec_descriptor_get_by_name(codecId.c_str());
        if (description && description->type == AVMEDIA_TYPE_AUDIO) codec = avcodec_find_encoder(description->id);
    }
    if (!codec) TARSEL_THROW(Proc::EncoderException, "There is no audio encoder for '" + codecId + "'");
    return codec;
}

Conf::SampleFormats ChooseFormat(AVCodec const& codec, Conf::SampleFormats wish) {
    if (!codec.sample_fmts) return wish;
    auto const packed = av_get_packed_sample_fmt(static_cast<AVSampleFormat>(int(wish)));
    AVSampleFormat best = codec.sample_fmts[0];
    for (AVSampleFormat const* known = codec.sample_fmts; *known != AV_SAMPLE_FMT_NONE; ++known) {
        if (int(*known) == int(wish)) return wish;
        if (av_get_packed_sample_fmt(*known) == packed) best = *known;
    }
    return static_cast<Conf::SampleFormats>(best);
}

int ChooseRate(AVCodec const& codec, int wish) {
    if (!codec.supported_samplerates) return wish;
    // The lowest one that loses nothing, else the highest.
    int best = 0;
    for (int const* known = codec.supported_samplerates; *known != 0; ++known) {
        bool const enough = *known >= wish;
        if (best == 0 || (enough && (best < wish || *known < best)) || (!enough && best<wish&& * known> best))
            best = *known;
    }
    return best;
}

Conf::ChannelLayout ChooseLayout(AVCodec const& codec, Conf::ChannelLayout wish) {
    if (!codec.ch_layouts) return wish;
    int const channels = Conf::ChannelCount(wish);
    Conf::ChannelLayout best = 0;
    for (AVChannelLayout const* known = codec.ch_layouts; known->nb_channels != 0; ++known) {
        Conf::ChannelLayout const layout = LayoutOf(*known);
        if (layout == wish) return wish;
        int const count = Conf::ChannelCount(layout);
        int const bestCount = Conf::ChannelCount(best);
        // As many channels as possible, but no more than there are.
        if (best == 0 || (count <= channels && (bestCount > channels || count > bestCount))) best = layout;
    }
    return best;
}

Conf::SampleInfo ChooseInfo(AVCodec const& codec, iptr<Conf::IFormatCodecAudio const> const& format) {
    if (!format) TARSEL_THROW(Proc::EncoderException, "Source format codec must be present");
    Conf::SampleInfo const& wish = format->GetSampleInfo();
    if (wish.GetSampleRate() <= 0 || wish.GetChannelLayout() == 0)
        TARSEL_THROW(Proc::EncoderException,
                     std::string("Encoder ") + codec.name + " needs a sample rate and a channel layout");
    return {ChooseFormat(codec, wish.GetSampleFormat()), ChooseRate(codec, wish.GetSampleRate()),
            ChooseLayout(codec, wish.GetChannelLayout())};
}

}  // namespace

iptr<AudioEncoder> AudioEncoder::Create(iptr<Proc::IStreamAudio> const& source, AudioEncoderOptions const& options) {
    return iptr<AudioEncoder>(new AudioEncoder(source, options));
}

AudioEncoder::AudioEncoder(iptr<Proc::IStreamAudio> const& samples, AudioEncoderOptions const& options)
    : CodecStream(samples),
      options(options),
      sourceFormat(source->GetFormatCodec()),
      codec(FindEncoder(options.codecId)),
      info(ChooseInfo(*codec, sourceFormat)),
      converter(info) {
    Open();
    format = MakeFormat();
    fifo = av_audio_fifo_alloc(context->sample_fmt, info.GetChannelCount(), FREE_FRAME_SIZE);
    if (!fifo) Fail("Can't allocate", AVERROR(ENOMEM));
}

AudioEncoder::~AudioEncoder() {
    av_audio_fifo_free(fifo);
}

void AudioEncoder::Fail(char const* what, int code) const {
    std::string const detail = watch.GetLastText();
    TARSEL_THROW(Proc::EncoderException, std::string(what) + " encoder " + codec->name + ": " + ErrorText(code) +
                                             (detail.empty() ? "" : " (" + detail + ")"));
}

void AudioEncoder::Open() {
    context.reset(avcodec_alloc_context3(codec));
    if (!context) Fail("Can't allocate", AVERROR(ENOMEM));
    watch.Attach(*context);
    context->sample_fmt = static_cast<AVSampleFormat>(int(info.GetSampleFormat()));
    context->sample_rate = info.GetSampleRate();
    context->time_base = {1, info.GetSampleRate()};
    context->thread_count = 1;
    context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER | AV_CODEC_FLAG_BITEXACT;
    context->bit_rate = options.bitRate > 0 ? options.bitRate : BIT_RATE_PER_CHANNEL * info.GetChannelCount();
    av_channel_layout_from_mask(&context->ch_layout, info.GetChannelLayout());
    if (int const code = avcodec_open2(context.get(), codec, nullptr); code < 0) Fail("Can't open", code);
}

iptr<Conf::IFormatCodecAudio const> AudioEncoder::MakeFormat() const {
    iptr<Conf::IFormatCodecAudio> const result = sourceFormat->Clone();
    result->SetCodecID(avcodec_get_name(codec->id));
    result->SetSampleInfo(info);
    iptr<NativeParameters> const native(new NativeParameters);
    if (NativeParameters const* const known = FindNativeParameters(*sourceFormat))
        native->disposition = known->disposition;
    native->timeBase = context->time_base;
    if (int const code = avcodec_parameters_from_context(native->parameters.get(), context.get()); code < 0)
        Fail("Can't describe", code);
    iptr<IBlob> extradata;
    if (context->extradata_size > 0)
        extradata = Proc::BlobFF::Create(context->extradata, static_cast<std::size_t>(context->extradata_size));
    result->SetExtradata(extradata);
    result->SetNativeParameters(native);
    return result;
}

void AudioEncoder::Enter(Proc::IStreamVisitor& visitor) {
    Proc::Visitors::Visit(visitor, "AudioEncoder", Proc::Visitors::FRAME_TYPE_FILTER, nullptr);
}

iptr<Proc::IDataPacket> AudioEncoder::ReadNext() {
    for (;;) {
        PacketPtr packet(av_packet_alloc());
        if (!packet) Fail("Can't allocate a packet of", AVERROR(ENOMEM));
        int const code = avcodec_receive_packet(context.get(), packet.get());
        if (code == 0) return Wrap(std::move(packet));
        if (code == AVERROR_EOF) return nullptr;
        if (code != AVERROR(EAGAIN)) Fail("Can't use", code);
        Feed();
    }
}

void AudioEncoder::Queue(FramePtr frame) {
    if (!frame || frame->nb_samples == 0) return;
    int const code = av_audio_fifo_write(fifo, reinterpret_cast<void**>(frame->extended_data), frame->nb_samples);
    if (code < 0) Fail("Can't queue samples for", code);
}

void AudioEncoder::Fill(int samples) {
    while (!sourceEnded && av_audio_fifo_size(fifo) < samples) {
        iptr<Proc::IDataAudio> const block = source->Read();
        if (!block) {
            sourceEnded = true;
            Queue(converter.Drain());
            return;
        }
        if (!HasValue(startTime)) startTime = HasValue(block->GetTime()) ? block->GetTime() : 0;
        Queue(converter.Convert(FramePtr(av_frame_clone(block->GetAVFrame()))));
    }
}

void AudioEncoder::Feed() {
    int const size = context->frame_size > 0 ? context->frame_size : FREE_FRAME_SIZE;
    if (!draining) Fill(size);
    int const count = std::min(size, av_audio_fifo_size(fifo));
    FramePtr frame;
    int code = 0;
    if (count > 0) {
        frame.reset(av_frame_alloc());
        if (!frame) Fail("Can't allocate a frame for", AVERROR(ENOMEM));
        frame->format = context->sample_fmt;
        frame->sample_rate = context->sample_rate;
        frame->nb_samples = count;
        av_channel_layout_copy(&frame->ch_layout, &context->ch_layout);
        code = av_frame_get_buffer(frame.get(), 0);
        if (code >= 0) code = av_audio_fifo_read(fifo, reinterpret_cast<void**>(frame->extended_data), count);
        if (code < 0) Fail("Can't make a frame for", code);
        frame->pts = samplesIn;
        samplesIn += count;
    }
    draining = !frame;
    code = avcodec_send_frame(context.get(), frame.get());
    if (code < 0 && !(draining && code == AVERROR_EOF)) Fail("Can't use", code);
}

iptr<Proc::IDataPacket> AudioEncoder::Wrap(PacketPtr packet) {
    int const rate = info.GetSampleRate();
    int64 const first = HasValue(packet->pts) ? packet->pts : samplesIn;
    int64 const offset = Proc::SampleCount2Duration(first, rate);
    int64 const end = Proc::SampleCount2Duration(first + std::max<int64>(packet->duration, 0), rate);
    int64 const time = AddTime(HasValue(startTime) ? startTime : 0, offset);
    packet->pts = time;
    packet->dts = time;
    packet->duration = end - offset;
    packet->flags |= AV_PKT_FLAG_KEY;
    iptr<Proc::IDataPacket> const item =
        Proc::DataPacketFF::Create(packet.release(), MEDIA_TYPE_AUDIO, time, time, end - offset);
    item->SetFormatCodec(format);
    return item;
}

void AudioEncoder::Restart(int64) {
    if (samplesIn > 0 || draining) Open();
    av_audio_fifo_reset(fifo);
    converter.Reset();
    startTime = NO_VALUE;
    samplesIn = 0;
    sourceEnded = false;
    draining = false;
}

}  // namespace Tarsel::Host
