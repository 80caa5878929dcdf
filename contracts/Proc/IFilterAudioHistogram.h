#pragma once

#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

/// Draws the spectrum of a stream of sound as a stream of pictures. It is set up by a `SettingsAudioHistogram`, or by
/// a property that is named `CLASS_ID` and has the children of those settings.
class TARSEL_CONTRACTS_EXPORT IFilterAudioHistogram : public virtual IStreamVideo {
  public:
    static constexpr char CLASS_ID[] = "FilterAudioHistogram";

    ~IFilterAudioHistogram() override;
};

}  // namespace Tarsel::Proc
