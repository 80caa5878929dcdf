#pragma once

#include "contracts/Core/Export.h"
#include "contracts/Proc/IData.h"
#include "contracts/Proc/SettingsEffectImageBlender.h"
#include "host/effects/PictureParts.h"

namespace Tarsel::Host {

/// Whether the one can be drawn on the other as they are: both RGB, grey or YUV, of the same depth, the picture with
/// the subsampling of the other one or with none.
bool CanDraw(PixFmt dest, PixFmt picture);
/// Whether some of the picture would lie on the other one, and be seen.
bool IsSeen(Proc::IDataVideo const& dest, Proc::IDataVideo const& picture,
            Proc::SettingsEffectImageBlender const& placing);
/// Draws a picture on another one, which is writable. Both are in processor memory. Throws `EffectException`, which
/// names the formats, where `CanDraw` says no.
///
/// With the largest sample value M (255 for 8 bits), `a` the drawn picture's alpha (M without one), `g` that of the
/// settings, `p` and `d` the two samples and `b` the alpha of `dest` (M without one), all divisions down to whole
/// numbers:
///
///     e = (a * g + 127) / 255,   n = e * M,   m = b * (M - e),   s = n + m
///     straight:       result = (p * n + d * m + s / 2) / s,                            d where s is 0
///     premultiplied:  result = o + round(((p - o) * g * M * M / 255 + (d - o) * m) / s), held to 0 and M
///     alpha:          result = (s + M / 2) / M
///
/// `o` is the sample of black or of no colour. A subsampled chroma sample has the sums of n, m, p * n over the pixels
/// of `dest` that it stands for; those beside the drawn picture count with e = 0, and p is the sample that belongs to
/// the picture's pixel that lies there. So odd positions are exact.
void DrawPicture(Proc::IDataVideo& dest, Proc::IDataVideo const& picture,
                 Proc::SettingsEffectImageBlender const& placing);

/// A format of pictures that can be drawn on `dest`, with alpha or without; `PIX_FMT_NONE` where there is none.
TARSEL_HOST_EXPORT PixFmt DrawableFormat(PixFmt dest, bool withAlpha);

/// What a frame becomes before pictures with alpha are drawn on it: its working format, or the nearest one that has a
/// partner with alpha. For some, such as 4:1:1 and grey of 10 bits, the library knows none.
TARSEL_HOST_EXPORT PixFmt CanvasFormat(PixFmt format);

/// A picture that is to be drawn on others: converts it, with its alpha, to what can be drawn on a frame, and keeps
/// the conversion for frames of the same format and colours. One thread.
class TARSEL_HOST_EXPORT DrawablePicture {
  public:
    DrawablePicture() = default;
    explicit DrawablePicture(iptr<Proc::IDataVideo> picture) : picture(std::move(picture)) {}

    iptr<Proc::IDataVideo> const& Get() const { return picture; }
    /// Null where there is no picture. Throws `EffectException` where nothing can be drawn on frames like `dest`.
    iptr<Proc::IDataVideo> For(Proc::IDataVideo const& dest);
    /// The frame with the picture on it; the same object where nothing is seen. `x` and `y` are its upper left corner;
    /// below 0 they count from the right and the lower edge, -1 touching it.
    iptr<Proc::IDataVideo> DrawnOn(iptr<Proc::IDataVideo> dest, int x, int y, int alpha);

  private:
    iptr<Proc::IDataVideo> picture;
    // The last conversion, and what it was made for.
    iptr<Proc::IDataVideo> converted;
    PixFmt format = PIX_FMT_NONE;
    PictureColours colours;
};

}  // namespace Tarsel::Host
