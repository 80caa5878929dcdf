#pragma once

#include "contracts/Core/Time.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

/// Stretches the first item of each of its streams to one duration. It is set up by a property named `CLASS_ID` with
/// the children `REDEFINE_DURATION` and `REPEAT_MODE`, before streams are added.
class TARSEL_CONTRACTS_EXPORT IFilterRepeatController : public virtual IStreamController {
  public:
    static constexpr char CLASS_ID[] = "FilterRepeatController";
    /// Child: the duration of the streams, in microseconds.
    static constexpr char REDEFINE_DURATION[] = "RedefineDuration";
    /// Child: what is repeated. `REPEAT_MODE_LAST` is the only mode.
    static constexpr char REPEAT_MODE[] = "RepeatMode";
    static constexpr char REPEAT_MODE_LAST[] = "Last";

    ~IFilterRepeatController() override;
    /// Microseconds; 0 before `Initialize`.
    virtual int64 GetRedefineDuration() const = 0;
};

}  // namespace Tarsel::Proc
