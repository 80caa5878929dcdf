#pragma once

#include "Proc/Filters/Filters/FilterFrameRate.h"

namespace Tarsel::Proc {

/// Makes a stream of nearly regular pictures readable as one of a constant rate: keeps all pictures, moves those that
/// share a slot with the one ahead of them, and closes the gaps between them.
///
/// Goes in: one stream of pictures. Comes out: the same pictures, one behind the other, with a delay of one; only the
/// times of those that are moved and the durations change. A picture without a time passes as it is. Seek: the source
/// goes to the begin of the slot; a picture that was moved for the sake of one ahead of the landing keeps its own time.
/// End: the last picture keeps its duration. Threads: as for `FilterFrameRate`.
class FilterFrameRateAdjust final : public FilterFrameRate {
  public:
    using FilterFrameRate::FilterFrameRate;
    ~FilterFrameRateAdjust() override { StopReaderThread(); }

    void ReleaseInternalData() override;

  protected:
    iptr<IDataVideo> ReadInternal() override;
    void RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) override;

  private:
    /// Hands the delayed picture out; null when there is none.
    iptr<IDataVideo> TakePrevious() TARSEL_REQUIRES(lock);
    /// Moves `current` into a slot of its own when it isn't behind the slot of `previous`.
    iptr<IDataVideo> Adjust(iptr<IDataVideo> current) TARSEL_REQUIRES(lock);

    /// The picture that waits for the one behind it, which decides its duration.
    iptr<IDataVideo> previous TARSEL_GUARDED_BY(lock);
};

}  // namespace Tarsel::Proc
