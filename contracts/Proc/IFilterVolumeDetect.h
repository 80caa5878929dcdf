#pragma once

#include "contracts/Core/Property.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

/// Reads a stream of sound and tells whether it is quiet. Not a stream itself. One thread.
class TARSEL_CONTRACTS_EXPORT IFilterVolumeDetect : public virtual IRefCountable {
  public:
    ~IFilterVolumeDetect() override;
    /// Seeks the stream to 0 and reads it, ten minutes at most. The stream is left where that ended.
    virtual void Detect(iptr<IStreamAudio> const& stream) = 0;
    virtual Core::Property GetStatistic() = 0;
    /// The largest value of the positive half-wave in the blocks of the last `Detect`, 1 at full scale; 0 before it.
    virtual double GetLevel() = 0;
    /// Whether that level lies below 0.3.
    virtual bool IsQuiet() = 0;
};

}  // namespace Tarsel::Proc
