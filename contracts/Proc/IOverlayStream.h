#pragma once

#include "contracts/Core/Time.h"
#include "contracts/Proc/IOverlayProvider.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/SettingsSubtitleDrawer.h"

namespace Tarsel::Proc {

/// A stream of pictures with something laid over each of them: an engine of the host, which makes it over a source.
class TARSEL_CONTRACTS_EXPORT IOverlayStream : public virtual IStreamVideo {
  public:
    ~IOverlayStream() override;
    /// Who is asked for the overlay of each frame that is read from now on; null for nobody. The provider's picture is
    /// drawn with its upper left corner at the crop that it gives, in its own size; parts outside of the frame are not.
    virtual void SetOverlayProvider(iptr<IOverlayProvider> const& provider) = 0;
    virtual void SetOverlaySettings(SettingsSubtitleDrawer const& settings) = 0;
    /// The time of the frame that is to be read next: the position after a seek, the end of the last frame after a
    /// read; 0 before both. It always has a value.
    virtual int64 GetSeekPosition() = 0;
};

}  // namespace Tarsel::Proc
