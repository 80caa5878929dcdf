#pragma once

#include "Proc/Filters/Filters/FilterMD5StreamBase.h"

namespace Tarsel::Proc {

/// Records the digests of the pictures of a stream: see `FilterMD5StreamBase`.
class FilterMD5StreamVideo final : public FilterMD5StreamBase<IStreamVideo> {
  public:
    /// A null source throws `std::invalid_argument` "source is NULL", a null collector "crcDataCollector is NULL"; the
    /// source is looked at first.
    FilterMD5StreamVideo(iptr<IStreamVideo> source, iptr<IGraphDataCRCCollector> collector);
    ~FilterMD5StreamVideo() override { StopReaderThread(); }
};

}  // namespace Tarsel::Proc
