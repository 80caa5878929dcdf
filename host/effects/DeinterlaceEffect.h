#pragma once

#include "contracts/Core/Export.h"
#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/SettingsEffectDeinterlace.h"
#include "host/effects/PictureEffectBase.h"

namespace Tarsel::Host {

/// Keeps the field of an interlaced picture that comes first and makes the lines of the other one.
///
/// One in, one out, nothing held back: of the pictures around it at most the one before is looked at. `METHOD_SPATIAL`
/// makes a missing sample of the lines above and below, along the direction in which they are most alike.
/// `METHOD_ADAPTIVE` does so only where one of the samples around it has changed by more than 4 of 255 since the
/// picture before, and keeps the dropped field's own sample elsewhere; the first picture, and one behind a change of
/// size, format or order of the fields, has none before it. A picture that comes again, in the same memory, is
/// compared with the same one again. The result is marked progressive. Pictures that aren't marked interlaced pass as
/// the same objects. Null passes. One thread.
class TARSEL_HOST_EXPORT DeinterlaceEffect final
    : public PictureEffectBase<Proc::IOneInputEffectVideo, Proc::SettingsEffectDeinterlace,
                               Proc::Property2SettingsEffectDeinterlace> {
  public:
    DeinterlaceEffect() : PictureEffectBase("Tarsel::Host::DeinterlaceEffect::GetStatistic") {}
    ~DeinterlaceEffect() override;

    /// What comes out is written as progressive.
    void AdaptFormatCodec(iptr<Conf::IFormatCodec>& format) override;
    /// Forgets the picture before.
    void ResetEffectState() override;
    void Process(iptr<Proc::IDataVideo>& item) override;

  private:
    /// Makes the item the present one, and the one in front of it the one before.
    void Advance(iptr<Proc::IDataVideo> const& item);

    iptr<Proc::IDataVideo> present;
    iptr<Proc::IDataVideo> before;
};

}  // namespace Tarsel::Host
