#pragma once

#include "contracts/Core/Time.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

/// Keeps several parallel streams of equal duration at one position. `AddStream` gives wrappers that read through and
/// refuse every seek of their own.
class TARSEL_CONTRACTS_EXPORT IFilterSeekController : public virtual IStreamController {
  public:
    static constexpr char CLASS_ID[] = "FilterSeekController";

    ~IFilterSeekController() override;
    /// Moves all streams to `position`, microseconds.
    virtual void Seek(int64 position) = 0;
};

}  // namespace Tarsel::Proc
