#pragma once

#include "Proc/Filters/Filters/FilterMD5StreamBase.h"

namespace Tarsel::Proc {

/// Records the digests of the blocks of sound of a stream: see `FilterMD5StreamBase`.
class FilterMD5StreamAudio final : public FilterMD5StreamBase<IStreamAudio> {
  public:
    /// A null source throws `std::invalid_argument` "source is NULL", a null collector "crcDataCollector is NULL"; the
    /// source is looked at first.
    FilterMD5StreamAudio(iptr<IStreamAudio> source, iptr<IGraphDataCRCCollector> collector);
    ~FilterMD5StreamAudio() override { StopReaderThread(); }
};

}  // namespace Tarsel::Proc
