#pragma once

#include "Proc/Filters/Filters/FilterMD5StreamBase.h"

namespace Tarsel::Proc {

/// Records the digests of the events of a subtitle stream: see `FilterMD5StreamBase`.
class FilterMD5StreamSubtitle final : public FilterMD5StreamBase<IStreamSubtitle> {
  public:
    /// A null source throws `std::invalid_argument` "source is NULL", a null collector "crcDataCollector is NULL"; the
    /// source is looked at first.
    FilterMD5StreamSubtitle(iptr<IStreamSubtitle> source, iptr<IGraphDataCRCCollector> collector);
    ~FilterMD5StreamSubtitle() override { StopReaderThread(); }
};

}  // namespace Tarsel::Proc
