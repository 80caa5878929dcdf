#include "host/media/Swr.h"

#include <cstddef>
#include <vector>

extern "C" {
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

namespace Tarsel::Host {

namespace {

AVSampleFormat Native(Conf::SampleFormats format) {
    return static_cast<AVSampleFormat>(int(format));
}

/// Whether a lone channel goes to a left and a right speaker, with none between them.
bool SplitsOneChannel(AVChannelLayout const& in, Conf::SampleInfo const& to) {
    constexpr Conf::ChannelLayout SIDES = AV_CH_FRONT_LEFT | AV_CH_FRONT_RIGHT;
    Conf::ChannelLayout const out = to.GetChannelLayout();
    return in.nb_channels == 1 && (out & SIDES) == SIDES && (out & AV_CH_FRONT_CENTER) == 0;
}

/// Gives the lone channel to both speakers as it is. The library would take 3 dB off, and a voice in one channel would
/// come out quieter beside music in two.
int KeepLevel(SwrContext* context, Conf::SampleInfo const& to) {
    std::vector<double> matrix(static_cast<std::size_t>(to.GetChannelCount()), 0.0);
    // Left and right are the two lowest bits of a layout, so they come first.
    matrix[0] = matrix[1] = 1;
    return swr_set_matrix(context, matrix.data(), 1);
}

}  // namespace

void FreeSwr::operator()(SwrContext* context) const {
    swr_free(&context);
}

int OpenSwr(SwrPtr& context, AVChannelLayout const& layout, Conf::SampleInfo const& from, Conf::SampleInfo const& to,
            AVSampleFormat internal) {
    context.reset();
    AVChannelLayout in = layout;  // borrowed: the call copies it
    AVChannelLayout out{};
    if (int const code = av_channel_layout_from_mask(&out, to.GetChannelLayout()); code < 0) return code;
    SwrContext* made = nullptr;
    int code = swr_alloc_set_opts2(&made, &out, Native(to.GetSampleFormat()), to.GetSampleRate(), &in,
                                   Native(from.GetSampleFormat()), from.GetSampleRate(), 0, nullptr);
    context.reset(made);
    if (code >= 0 && internal != AV_SAMPLE_FMT_NONE)
        code = av_opt_set_sample_fmt(made, "internal_sample_fmt", internal, 0);
    if (code >= 0 && SplitsOneChannel(layout, to)) code = KeepLevel(made, to);
    if (code >= 0) code = swr_init(made);
    if (code >= 0) return 0;
    context.reset();
    return code;
}

}  // namespace Tarsel::Host
