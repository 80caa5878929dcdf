#include "contracts/Conf/SampleInfo.h"

#include <bit>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/samplefmt.h>
}

namespace Tarsel::Conf {

namespace {

AVSampleFormat Native(SampleFormats format) {
    return static_cast<AVSampleFormat>(static_cast<int>(format));
}

bool IsSet(int sampleRate) {
    return sampleRate > 0;
}

}  // namespace

SampleInfo::SampleInfo(SampleFormats format, int sampleRate, ChannelLayout layout)
    : format(format), sampleRate(sampleRate), layout(layout) {}

void SampleInfo::Init(SampleFormats newFormat, int newSampleRate, ChannelLayout newLayout) {
    *this = SampleInfo(newFormat, newSampleRate, newLayout);
}

int SampleInfo::GetChannelCount() const {
    return ChannelCount(layout);
}

int SampleInfo::GetSampleSizePerPlane() const {
    return IsPlanar(format) ? BytesPerSample(format) : BytesPerSample(format) * GetChannelCount();
}

int SampleInfo::GetPlanesCount() const {
    if (BytesPerSample(format) == 0) return 0;
    return IsPlanar(format) ? GetChannelCount() : 1;
}

void SampleInfo::MergeWith(SampleInfo const& other, MergeStrategy) {
    if (format == SAMPLE_FORMAT_NONE ||
        (other.format != SAMPLE_FORMAT_NONE && PlanarFormat(other.format) > PlanarFormat(format)))
        format = other.format;
    if (!IsSet(sampleRate) || other.sampleRate > sampleRate) sampleRate = other.sampleRate;
    if (layout == CHANNEL_LAYOUT_NONE || other.GetChannelCount() > GetChannelCount()) layout = other.layout;
}

ChannelLayout DefaultChannelLayout(int channels) {
    AVChannelLayout layout{};
    av_channel_layout_default(&layout, channels);
    return layout.order == AV_CHANNEL_ORDER_NATIVE ? layout.u.mask : CHANNEL_LAYOUT_NONE;
}

int ChannelCount(ChannelLayout layout) {
    return std::popcount(layout);
}

SampleFormats PlanarFormat(SampleFormats format) {
    return static_cast<SampleFormats>(static_cast<int>(av_get_planar_sample_fmt(Native(format))));
}

bool IsPlanar(SampleFormats format) {
    return av_sample_fmt_is_planar(Native(format)) != 0;
}

int BytesPerSample(SampleFormats format) {
    return av_get_bytes_per_sample(Native(format));
}

}  // namespace Tarsel::Conf
