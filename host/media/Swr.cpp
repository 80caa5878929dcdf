#include "host/media/Swr.h"

extern "C" {
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

namespace Tarsel::Host {

namespace {

AVSampleFormat Native(Conf::SampleFormats format) {
    return static_cast<AVSampleFormat>(int(format));
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
    if (code >= 0) code = swr_init(made);
    if (code >= 0) return 0;
    context.reset();
    return code;
}

}  // namespace Tarsel::Host
