#pragma once

#include <vector>

#include "contracts/Proc/IData.h"
#include "contracts/Proc/SettingsEffectAudioFade.h"
#include "contracts/Proc/TimeToProgress.h"

namespace Tarsel::Host {

/// The gain of a sound that comes, 0 at the progress 0 and 1 at 1. That of one that goes is this at what is left.
double RisingGain(double progress, Proc::SettingsEffectAudioFade::Curves curve);

/// How far an interval has come at each of the first `count` samples of the block, by the sample's own time.
std::vector<double> ProgressOfSamples(Proc::TimeToProgress const& map, Proc::IDataAudio const& block, int count);

/// One of the blocks that are summed.
struct SummedBlock {
    iptr<Proc::IDataAudio> block;
    /// Of each sample; empty: 1.
    std::vector<double> gains;
};

/// The blocks of an effect with several inputs, those left out that are null. Throws `std::invalid_argument` when there
/// are no inputs at all, `EffectException` for an input that isn't sound.
std::vector<iptr<Proc::IDataAudio>> BlocksOf(std::vector<iptr<Proc::IData>> const& inputs);

/// The sum of the blocks, all of which begin together: as long as the longest one, with the time and the duration of
/// the last one of that length. Integers are held to their range, floats to -1..1, where what is no number becomes 1;
/// 8 bits count from 128. The blocks stay as they are. Throws `EffectException` for blocks of different formats, and of
/// one that the effects don't know. At least one block.
iptr<Proc::IDataAudio> SumBlocks(std::vector<SummedBlock> const& blocks);

}  // namespace Tarsel::Host
