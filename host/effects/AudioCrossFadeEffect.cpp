#include "host/effects/AudioCrossFadeEffect.h"

#include <algorithm>

#include "host/effects/AudioSum.h"

namespace Tarsel::Host {

using namespace Proc;

iptr<IData> AudioCrossFadeEffect::ProcessData(std::vector<iptr<IData>> const& inputs) {
    std::vector<iptr<IDataAudio>> const blocks = BlocksOf(inputs);
    if (blocks.empty()) return nullptr;
    CountItem();
    if (blocks.size() == 1) return blocks.front();
    SummedBlock going{blocks[blocks.size() - 2], {}};
    SummedBlock coming{blocks.back(), {}};
    int const count = std::max(going.block->GetSampleCount(), coming.block->GetSampleCount());
    coming.gains = ProgressOfSamples(GetTimeToProgress(), *coming.block, count);
    going.gains = coming.gains;
    SettingsEffectAudioFade::Curves const curve = GetOwnSettings().GetCurve();
    for (double& gain : coming.gains) gain = RisingGain(gain, curve);
    for (double& gain : going.gains) gain = RisingGain(1 - gain, curve);
    return SumBlocks({going, coming});
}

}  // namespace Tarsel::Host
