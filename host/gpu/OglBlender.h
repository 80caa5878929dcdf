#pragma once

#include "contracts/Proc/IEffectImageBlender.h"
#include "host/gpu/OglEffect.h"
#include "host/gpu/TransferEffects.h"

namespace Tarsel::Host {

/// Draws one picture on another in GPU memory, in whole numbers by the formula of `DrawPicture`: the same bytes as in
/// processor memory.
///
/// Both are frames in GPU memory. Costs as much as the part that is drawn, and a copy of `dest` where others hold it.
/// What isn't seen leaves `dest` the same object. One thread.
class TARSEL_HOST_EXPORT OglBlender final
    : public OglEffect<Proc::IEffectImageBlender, Proc::SettingsEffectImageBlender,
                       Proc::Property2SettingsEffectImageBlender> {
  public:
    OglBlender();
    ~OglBlender() override;

    void Process(iptr<Proc::IDataVideo>& dest, iptr<Proc::IDataVideo> const& picture) override;
    /// Uploads the picture.
    iptr<Proc::IDataVideo> Prepare(Proc::IDataVideo const& dest, iptr<Proc::IDataVideo> const& picture) override;

  private:
    UploadEffect uploader;
};

/// Draws the picture on `dest`, which is writable, with its upper left corner at `x`, `y`.
void DrawOnGpu(DataVideoOGL& dest, DataVideoOGL const& picture, Proc::SettingsEffectImageBlender const& placing);

}  // namespace Tarsel::Host
