#pragma once

#include "contracts/Core/Export.h"
#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/SettingsColorSpaceConverter.h"
#include "host/effects/PictureEffectBase.h"

namespace Tarsel::Host {

/// Brings pictures to one of the pixel formats of its settings, on libswscale.
///
/// A picture of one of them passes as the same object, any other becomes the first of them, by the matrix and the range
/// that it names. Null passes; nothing is carried over. One thread.
class TARSEL_HOST_EXPORT ColorSpaceEffect final
    : public PictureEffectBase<Proc::IOneInputEffectVideo, Proc::SettingsColorSpaceConverter,
                               Proc::Property2SettingsColorSpaceConverter> {
  public:
    ColorSpaceEffect() : PictureEffectBase("Tarsel::Host::ColorSpaceEffect::GetStatistic") {}
    ~ColorSpaceEffect() override;

    /// A format that isn't known stays so.
    void AdaptFormatCodec(iptr<Conf::IFormatCodec>& format) override;
    void Process(iptr<Proc::IDataVideo>& item) override;

  protected:
    /// Throws `EffectException` where the first format is one that pictures can't be brought to.
    void Check(Proc::SettingsColorSpaceConverter const& settings) const override;

  private:
    bool Accepts(PixFmt format) const;
};

}  // namespace Tarsel::Host
