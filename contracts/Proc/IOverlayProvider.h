#pragma once

#include "contracts/Conf/FrameInfo.h"
#include "contracts/Core/Property.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Proc/CropInfo.h"
#include "contracts/Proc/IData.h"
#include "contracts/Proc/SettingsEffectImageBlender.h"

namespace Tarsel::Proc {

/// Makes the pictures that are laid over a stream at each time, of the subtitles that it was given. Without a lock of
/// its own: whoever feeds it and whoever asks it are one thread, or hold one lock.
class TARSEL_CONTRACTS_EXPORT IOverlayProvider : public virtual IRefCountable {
  public:
    ~IOverlayProvider() override;
    /// Forgets the picture that it keeps; the subtitles stay.
    virtual void Reset() = 0;
    virtual Core::Property GetStatistic() = 0;
    /// What is laid over a frame of `info` at `time` (microseconds), RGBA, and in `crop` where: the
    /// picture's upper left corner is at `crop`'s. Null for nothing, `crop` then means nothing. The same object as
    /// before where nothing has changed; it is not to be written to.
    virtual iptr<IDataVideo> GetOverlay(int64 time, Conf::FrameInfo const& info, CropInfo& crop) = 0;
    virtual void AddData(iptr<IDataSubtitle> const& subtitle) = 0;
    /// `Reset`, and forgets all subtitles.
    virtual void Clear() = 0;
    /// What the alpha of the pictures means.
    virtual BlendAlphaMode GetAlphaMode() const { return BlendAlphaMode::Straight; }
};

}  // namespace Tarsel::Proc
