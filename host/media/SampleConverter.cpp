#include "host/media/SampleConverter.h"

#include <string>
#include <utility>

#include "contracts/Core/Exception.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libswresample/swresample.h>
}

namespace Tarsel::Host {

Conf::ChannelLayout LayoutOf(AVChannelLayout const& layout) {
    if (layout.order == AV_CHANNEL_ORDER_NATIVE && layout.u.mask != 0) return layout.u.mask;
    return Conf::DefaultChannelLayout(layout.nb_channels);
}

Conf::SampleInfo SampleInfoOf(AVFrame const& frame) {
    return {static_cast<Conf::SampleFormats>(frame.format), frame.sample_rate, LayoutOf(frame.ch_layout)};
}

void SampleConverter::Open(AVFrame const& frame) {
    from = SampleInfoOf(frame);
    int const code = OpenSwr(context, frame.ch_layout, from, target);
    if (code < 0)
        TARSEL_THROW(Proc::ProcException, "Can't convert audio of " + std::to_string(frame.ch_layout.nb_channels) +
                                              " channels at " + std::to_string(frame.sample_rate) + " Hz to " +
                                              std::to_string(target.GetChannelCount()) + " channels at " +
                                              std::to_string(target.GetSampleRate()) + " Hz: " + ErrorText(code));
}

FramePtr SampleConverter::Run(AVFrame const* frame) {
    FramePtr result(av_frame_alloc());
    if (!result) TARSEL_THROW(Proc::ProcException, "Can't allocate a frame");
    int const expected = swr_get_out_samples(context.get(), frame ? frame->nb_samples : 0);
    if (expected <= 0) return nullptr;
    result->format = target.GetSampleFormat();
    result->sample_rate = target.GetSampleRate();
    result->nb_samples = expected;
    av_channel_layout_from_mask(&result->ch_layout, target.GetChannelLayout());
    int code = av_frame_get_buffer(result.get(), 0);
    if (code >= 0)
        code = swr_convert(context.get(), result->extended_data, expected,
                           frame ? const_cast<uint8_t const**>(frame->extended_data) : nullptr,
                           frame ? frame->nb_samples : 0);
    if (code < 0) TARSEL_THROW(Proc::ProcException, "Can't convert audio: " + ErrorText(code));
    result->nb_samples = code;
    if (frame) result->pts = frame->pts;
    return code > 0 ? std::move(result) : nullptr;
}

FramePtr SampleConverter::Convert(FramePtr frame) {
    if (!frame || (!context && SampleInfoOf(*frame) == target)) return frame;
    if (!context || SampleInfoOf(*frame) != from) Open(*frame);
    return Run(frame.get());
}

FramePtr SampleConverter::Drain() {
    return context && from.GetSampleRate() != target.GetSampleRate() ? Run(nullptr) : nullptr;
}

void SampleConverter::Reset() {
    context.reset();
}

}  // namespace Tarsel::Host
