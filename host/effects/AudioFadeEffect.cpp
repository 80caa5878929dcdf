#include "host/effects/AudioFadeEffect.h"

#include <algorithm>
#include <cmath>
#include <type_traits>

#include "host/effects/AudioSum.h"
#include "host/effects/SampleTypes.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

template <class Sample>
Sample Scaled(Sample value, double gain) {
    if constexpr (std::is_floating_point_v<Sample>) {
        // No number, and none below zero either, is heard at no gain.
        return gain == 0 ? Sample{0} : static_cast<Sample>(static_cast<double>(value) * gain);
    } else {
        // The gain is 1 at most: nothing leaves the range.
        constexpr double MIDDLE = std::is_unsigned_v<Sample> ? 128.0 : 0.0;
        return static_cast<Sample>(std::nearbyint((static_cast<double>(value) - MIDDLE) * gain) + MIDDLE);
    }
}

}  // namespace

void AudioFadeEffect::Process(iptr<IDataAudio>& item) {
    if (!item) return;
    std::vector<double> gains = ProgressOfSamples(GetTimeToProgress(), *item, item->GetSampleCount());
    bool const falls = GetOwnSettings().GetDirection() == SettingsEffectAudioFade::DIRECTION_OUT;
    for (double& gain : gains) gain = RisingGain(falls ? 1 - gain : gain, GetOwnSettings().GetCurve());
    CountItem();
    if (std::all_of(gains.begin(), gains.end(), [](double gain) { return gain == 1; })) return;
    WithSampleType(item->GetSampleFormat(), [&]<class Sample>(Sample*) {
        item = MakeOwn(std::move(item));
        item->MakeWritable();
        std::size_t const step = SampleStep(*item);
        for (std::size_t channel = 0; channel < static_cast<std::size_t>(item->GetChannelCount()); ++channel) {
            Sample* const samples =
                ChannelOf<Sample>(item->GetAVFrame(), channel, Conf::IsPlanar(item->GetSampleFormat()));
            for (std::size_t i = 0; i < gains.size(); ++i) samples[i * step] = Scaled(samples[i * step], gains[i]);
        }
    });
}

}  // namespace Tarsel::Host
