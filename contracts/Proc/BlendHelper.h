#pragma once

#include "contracts/Conf/MediaTypes.h"
#include "contracts/Proc/IEffectImageBlender.h"
#include "contracts/Proc/IFactories.h"

namespace Tarsel::Proc {

/// The blender for frames that live at a place, one of `IDataVideo::FrameAlloc`. A place that has none throws
/// `FilterEffectException` "Cannot find effect implementation for frame alloc type".
TARSEL_CONTRACTS_EXPORT iptr<IEffectImageBlender> MakeBlender(IEffectFactory const& factory, int frameAlloc);

/// Prepares a picture in processor memory for being drawn on others: brings it, with its alpha, to the form in which
/// it can be drawn on them, and keeps what it converted until the picture or what it is drawn on changes. The picture
/// is held for as long, so that another one at the same address isn't taken for it. One thread.
class TARSEL_CONTRACTS_EXPORT BlendHelper {
  public:
    /// Throws `std::invalid_argument` "effectFactory is NULL".
    explicit BlendHelper(iptr<IEffectFactory const> effectFactory);

    /// For frames in processor memory of this format, whose colours are not known: those that it commonly has. Throws
    /// what the blender's `Prepare` throws. Null stays null.
    iptr<IDataVideo> Prepare(PixFmt format, iptr<IDataVideo> const& picture);
    /// For frames that are like `dest`, in format and colours, and live where it lives: for one in GPU memory the
    /// picture is uploaded. A frame that lives elsewhere throws `FilterEffectException` "Cannot find effect
    /// implementation for frame alloc type".
    iptr<IDataVideo> Prepare(IDataVideo const& dest, iptr<IDataVideo> const& picture);

  private:
    /// What the frames that the picture is drawn on have in common.
    struct Target {
        int frameAlloc = IDataVideo::FRAME_ALLOC_ANY;
        PixFmt format = PIX_FMT_NONE;
        int matrix = 0;  // as the codec library counts them
        int range = 0;

        bool operator==(Target const&) const = default;
    };

    static Target TargetOf(IDataVideo const& dest);

    iptr<IEffectFactory const> effectFactory;
    iptr<IEffectImageBlender> blender;  // that of `target`, null until the first use

    // The last conversion, and what it was made of and for.
    iptr<IDataVideo> converted;
    iptr<IDataVideo> source;
    Target target;
};

}  // namespace Tarsel::Proc
