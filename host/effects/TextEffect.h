#pragma once

#include "contracts/Core/Export.h"
#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/SettingsEffectText.h"
#include "host/effects/PictureDrawing.h"
#include "host/effects/PictureEffectBase.h"

namespace Tarsel::Host {

/// Draws a text on every picture, as `DrawPicture` tells. It is set once, when the settings come. Null passes; nothing
/// is carried over. One thread.
class TARSEL_HOST_EXPORT TextEffect final
    : public PictureEffectBase<Proc::IOneInputEffectVideo, Proc::SettingsEffectText,
                               Proc::Property2SettingsEffectText> {
  public:
    TextEffect() : PictureEffectBase("Tarsel::Host::TextEffect::GetStatistic") {}
    ~TextEffect() override;

    using PictureEffectBase::Initialize;
    /// Throws `EffectException` where there is no font for the text; the old settings stay then.
    void Initialize(Proc::Settings const& newSettings) override;
    void Process(iptr<Proc::IDataVideo>& item) override;

  protected:
    /// Throws `EffectException` for a size out of 1 to 4096.
    void Check(Proc::SettingsEffectText const& settings) const override;

  protected:
    PixFmt FormatFor(PixFmt format) const override { return CanvasFormat(format); }

  private:
    DrawablePicture letters;
};

}  // namespace Tarsel::Host
