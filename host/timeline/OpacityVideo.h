#pragma once

#include "contracts/Conf/MediaTypes.h"
#include "contracts/Core/Export.h"
#include "host/media/ForwardingStream.h"

namespace Tarsel::Host {

/// Makes pictures seen through: their alpha becomes the part `opacity` of it. Goes in: pictures of a format with alpha.
/// Comes out: the same with alpha of their own. Seek, end and threads: the source's.
class TARSEL_HOST_EXPORT OpacityVideo final : public ForwardingStream<Proc::IStreamVideo> {
  public:
    /// `opacity`: 0 to 1.
    static iptr<Proc::IStreamVideo> Create(iptr<Proc::IStreamVideo> source, double opacity);

    /// Throws `ProcException` for a picture without alpha.
    iptr<Proc::IDataVideo> Read() override;

  private:
    OpacityVideo(iptr<Proc::IStreamVideo> source, double opacity);

    double const opacity;
};

/// Whether pictures of the format can hold transparent places.
TARSEL_HOST_EXPORT bool HasAlpha(PixFmt format);
/// The format of the same colours with alpha; none where there is no such format.
TARSEL_HOST_EXPORT PixFmt WithAlpha(PixFmt format);
/// The format that pictures of a timeline are brought to when its first ones have this: the same without alpha and at
/// limited range, 8-bit 4:2:0 for what effects can't work on.
TARSEL_HOST_EXPORT PixFmt TimelinePixelFormat(PixFmt format);

}  // namespace Tarsel::Host
