#pragma once

#include "contracts/Core/Export.h"
#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/SettingsEffectStamp.h"
#include "host/effects/PictureDrawing.h"
#include "host/effects/PictureEffectBase.h"

namespace Tarsel::Host {

/// Draws a picture file on every picture, by its alpha, as `DrawPicture` tells.
///
/// The first picture of the file is decoded once, when the settings come. Null passes; nothing is carried over. One
/// thread.
class TARSEL_HOST_EXPORT StampEffect final
    : public PictureEffectBase<Proc::IOneInputEffectVideo, Proc::SettingsEffectStamp,
                               Proc::Property2SettingsEffectStamp> {
  public:
    StampEffect() : PictureEffectBase("Tarsel::Host::StampEffect::GetStatistic") {}
    ~StampEffect() override;

    using PictureEffectBase::Initialize;
    /// Throws `EffectException` where no file is named, and "PATH: what is wrong" where it can't be read as a picture;
    /// the old settings stay then.
    void Initialize(Proc::Settings const& newSettings) override;
    void Process(iptr<Proc::IDataVideo>& item) override;

  protected:
    PixFmt FormatFor(PixFmt format) const override { return CanvasFormat(format); }

  private:
    DrawablePicture stamp;
};

}  // namespace Tarsel::Host
