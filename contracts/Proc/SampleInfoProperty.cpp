#include "contracts/Proc/SampleInfoProperty.h"

#include <algorithm>
#include <limits>

#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {

namespace {

constexpr char SAMPLE_FORMAT_KEY[] = "SampleFormat";
constexpr char SAMPLE_RATE_KEY[] = "SampleRate";
constexpr char CHANNEL_LAYOUT_KEY[] = "ChannelLayout";

/// The child's number, which must be one of an int.
int GetInt(Core::Property const& property, char const* key, int defaultValue) {
    if (!property.ChildExists(key)) return defaultValue;
    int64 const value = property[key].GetInt64();
    if (value < std::numeric_limits<int>::min() || value > std::numeric_limits<int>::max())
        TARSEL_THROW(FilterException,
                     std::string(key) + " of " + property.Name() + " is out of range: " + std::to_string(value));
    return static_cast<int>(value);
}

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
