#include "host/effects/AudioMixEffect.h"

#include "host/effects/AudioSum.h"

namespace Tarsel::Host {

using namespace Proc;

iptr<IData> AudioMixEffect::ProcessData(std::vector<iptr<IData>> const& inputs) {
    std::vector<iptr<IDataAudio>> const blocks = BlocksOf(inputs);
    if (blocks.empty()) return nullptr;
    CountItem();
    if (blocks.size() == 1) return blocks.front();
    std::vector<SummedBlock> summed;
    for (iptr<IDataAudio> const& block : blocks) summed.push_back({block, {}});
    return SumBlocks(summed);
}

}  // namespace Tarsel::Host
