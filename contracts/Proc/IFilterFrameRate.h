#pragma once

#include "contracts/Core/Property.h"
#include "contracts/Core/Time.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

/// Gives a stream of pictures a regular frame rate.
class TARSEL_CONTRACTS_EXPORT IFilterFrameRate : public virtual IStreamVideo {
  public:
    static constexpr char CLASS_ID[] = "FilterFrameRate";

    ~IFilterFrameRate() override;
    /// Frames a second.
    virtual Ratio GetFrameRate() const = 0;

    /// The rate as a property that `Initialize` takes, named `CLASS_ID`, the rate as its value.
    /// `SettingsFilterFrameRate::MARK_USE_ORIGINAL_FRAMERATE` stands for the source's rate.
    static Core::Property MakeSettings(Ratio const& rate);
};

}  // namespace Tarsel::Proc
