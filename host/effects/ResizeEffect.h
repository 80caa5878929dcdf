#pragma once

#include "contracts/Core/Export.h"
#include "contracts/Proc/IResize.h"
#include "host/effects/PictureEffectBase.h"

namespace Tarsel::Host {

/// Brings pictures to a size, on libswscale.
///
/// Goes in: pictures of any format in processor memory; of one with a crop the part that is to be shown. Comes out: the
/// picture in the size and with the pixel aspect of the settings, its time, duration, matrix, range and interlacing
/// kept. The fields of an interlaced picture are scaled each on its own. A picture that is as wanted already passes as
/// the same object. Formats that the library reads and doesn't write become the nearest that it does. Nothing is
/// carried over from picture to picture; null passes. One thread.
class TARSEL_HOST_EXPORT ResizeEffect final
    : public PictureEffectBase<Proc::IResize, Proc::SettingsResizer, Proc::Property2SettingsResizer> {
  public:
    ResizeEffect() : PictureEffectBase("Tarsel::Host::ResizeEffect::GetStatistic") {}
    ~ResizeEffect() override;

    void AdaptFormatCodec(iptr<Conf::IFormatCodec>& format) override;
    /// Throws `EffectException` for a picture that can't be scaled; it stays the caller's.
    void Process(iptr<Proc::IDataVideo>& item) override;

  protected:
    /// Throws `EffectException` for a size that no picture can have.
    void Check(Proc::SettingsResizer const& settings) const override;
};

}  // namespace Tarsel::Host
