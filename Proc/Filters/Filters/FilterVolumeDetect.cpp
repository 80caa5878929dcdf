#include "Proc/Filters/Filters/FilterVolumeDetect.h"

#include <algorithm>
#include <stdexcept>

#include "Proc/Algorithms/AudioAlg.h"
#include "Proc/Filters/Filters/EmptyBlocks.h"
#include "contracts/Core/Exception.h"
#include "contracts/Core/Time.h"
#include "contracts/Proc/Time.h"

namespace Tarsel::Proc {

namespace {

/// Blocks that begin behind it aren't looked at.
constexpr int64 LONGEST_LOOK = 600 * SECOND;

/// Adds the block's samples to what was counted; where they tell nothing, its duration.
void CountBlock(IDataAudio const& block, AudioTime& counted) {
    int const rate = block.GetSampleRate();
    int const samples = block.GetSampleCount();
    if (rate > 0 && samples > 0)
        counted.AddSamples(rate, static_cast<uint64>(samples));
    else
        counted.Reset(AddTime(counted.GetTime(), std::max<int64>(block.GetDuration(), 0)));
}

}  // namespace

iptr<IFilterVolumeDetect> FilterVolumeDetect::Create() {
    return MakeShared<FilterVolumeDetect>();
}

void FilterVolumeDetect::Detect(iptr<IStreamAudio> const& stream) {
    if (!stream) TARSEL_THROW(std::invalid_argument, "stream is NULL");
    level = 0.0;
    stream->RequestSeek(0, nullptr);
    stream->DoSeek();
    AudioTime counted;
    counted.Reset(0);
    Details::EmptyBlocks emptyBlocks;
    while (iptr<IDataAudio> const block = stream->Read()) {
        int64 const time = HasValue(block->GetTime()) ? block->GetTime() : counted.GetTime();
        if (time > LONGEST_LOOK) return;
        ++blocksRead;
        level = std::max(level, EstimateLevel(AudioBlockView(block)).first);
        CountBlock(*block, counted);
        emptyBlocks.Count(block->GetSampleCount() <= 0 && block->GetDuration() <= 0);
    }
}

Core::Property FilterVolumeDetect::GetStatistic() {
    return Core::MakeStatistics("Tarsel::Proc::FilterVolumeDetect::GetStatistic", readTime, blocksRead);
}

}  // namespace Tarsel::Proc
