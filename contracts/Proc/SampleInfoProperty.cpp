#include "contracts/Proc/SampleInfoProperty.h"

#include "contracts/Proc/PropertyNumber.h"

namespace Tarsel::Proc {

namespace {

constexpr char SAMPLE_FORMAT_KEY[] = "SampleFormat";
constexpr char SAMPLE_RATE_KEY[] = "SampleRate";
constexpr char CHANNEL_LAYOUT_KEY[] = "ChannelLayout";

}  // namespace

void SetSampleInfo(Core::Property& property, Conf::SampleInfo const& info) {
    property.SetChild(SAMPLE_FORMAT_KEY, static_cast<int>(info.GetSampleFormat()))
        .SetChild(SAMPLE_RATE_KEY, info.GetSampleRate())
        .SetChild(CHANNEL_LAYOUT_KEY, static_cast<int64>(info.GetChannelLayout()));
}

Conf::SampleInfo GetSampleInfo(Core::Property const& property, Conf::SampleInfo const& defaults) {
    Conf::ChannelLayout layout = defaults.GetChannelLayout();
    if (property.ChildExists(CHANNEL_LAYOUT_KEY))
        layout = static_cast<Conf::ChannelLayout>(property[CHANNEL_LAYOUT_KEY].GetInt64());
    return {static_cast<Conf::SampleFormats>(GetInt(property, SAMPLE_FORMAT_KEY, defaults.GetSampleFormat())),
            GetInt(property, SAMPLE_RATE_KEY, defaults.GetSampleRate()), layout};
}

}  // namespace Tarsel::Proc
