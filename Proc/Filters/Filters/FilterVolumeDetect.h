#pragma once

#include "contracts/Core/RefCount.h"
#include "contracts/Proc/IFilterVolumeDetect.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

/// Reads a stream of sound from its start and tells whether it is quiet. Not a stream: one call does all.
///
/// Goes in: the blocks up to the first that begins behind ten minutes. A block without a time counts as beginning where
/// the sound given in front of it ends, so that a stream without times ends there, too. Comes out: the largest peak of
/// the blocks. The statistics count the blocks of all calls. One thread; nothing is locked.
class FilterVolumeDetect final : public virtual IFilterVolumeDetect, public RefCounted {
  public:
    /// The factory of the registry.
    static iptr<IFilterVolumeDetect> Create();

    /// Throws `std::invalid_argument` "stream is NULL", and `FilterException` for a stream that gives 100000 blocks in
    /// a row without samples and without a duration. What the stream throws passes through, and what `EstimateLevel`
    /// throws for formats that it doesn't know. The level is then that of the blocks in front.
    void Detect(iptr<IStreamAudio> const& stream) override;
    Core::Property GetStatistic() override;
    double GetLevel() override { return level; }
    bool IsQuiet() override { return threshold > level; }

  private:
    double level = 0.0;
    double const threshold = 0.3;
    u32 blocksRead = 0;
    int64 const readTime = 0;  // not measured, as in the filters
};

}  // namespace Tarsel::Proc
