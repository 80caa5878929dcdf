#pragma once

#include "contracts/Core/Export.h"
#include "contracts/Proc/IEffectImageBlender.h"
#include "host/effects/EffectBase.h"

namespace Tarsel::Host {

/// Draws one picture on another, in processor memory; `DrawPicture` has the formula.
///
/// Takes RGB in every order of bytes, grey and YUV of every subsampling, 8 to 16 bits; both pictures of one kind, the
/// drawn one with alpha or without. What isn't seen leaves `dest` the same object. Nothing is carried over. One thread.
class TARSEL_HOST_EXPORT ImageBlender final
    : public EffectBase<Proc::IEffectImageBlender, Proc::SettingsEffectImageBlender,
                        Proc::Property2SettingsEffectImageBlender> {
  public:
    ImageBlender() : EffectBase("Tarsel::Host::ImageBlender::GetStatistic") {}
    ~ImageBlender() override;

    int GetProcessingFrameType() override { return Proc::IDataVideo::FRAME_ALLOC_CPU; }
    /// The format stays as it is.
    void AdaptFormatCodec(iptr<Conf::IFormatCodec>&) override {}
    void Process(iptr<Proc::IDataVideo>& dest, iptr<Proc::IDataVideo> const& picture) override;
    iptr<Proc::IDataVideo> Prepare(Proc::IDataVideo const& dest, iptr<Proc::IDataVideo> const& picture) override;
};

}  // namespace Tarsel::Host
