#pragma once

#include "contracts/Core/Export.h"
#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/SettingsEffectCrop.h"
#include "host/effects/PictureEffectBase.h"

namespace Tarsel::Host {

/// Gives a part of each picture.
///
/// The part is a view of the picture's own memory: nothing is copied. Chroma samples that stand for several pixels
/// can't be divided, so edges that would move outwards to the next place where there is a whole one (to even
/// coordinates in 4:2:0), as far as the picture reaches. The whole picture is the same object. Times, pixel aspect,
/// colours and interlacing stay. Null passes; nothing is carried over. One thread.
class TARSEL_HOST_EXPORT CropEffect final
    : public PictureEffectBase<Proc::IOneInputEffectVideo, Proc::SettingsEffectCrop,
                               Proc::Property2SettingsEffectCrop> {
  public:
    CropEffect() : PictureEffectBase("Tarsel::Host::CropEffect::GetStatistic") {}
    ~CropEffect() override;

    /// Sets the size of the part. Throws as `CropRegionIn`.
    void AdaptFormatCodec(iptr<Conf::IFormatCodec>& format) override;
    /// Throws `EffectException` as `CropRegionIn`, and for an interlaced picture at another row than `RowStepOfFields`
    /// allows; the picture stays the caller's.
    void Process(iptr<Proc::IDataVideo>& item) override;

  protected:
    /// Throws `EffectException` for edges that leave nothing between them.
    void Check(Proc::SettingsEffectCrop const& settings) const override;
    /// Formats whose pixels have no addresses become the nearest that loops can work on.
    PixFmt FormatFor(PixFmt format) const override;
};

}  // namespace Tarsel::Host
