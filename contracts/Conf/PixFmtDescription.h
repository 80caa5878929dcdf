#pragma once

#include <cstddef>
#include <string>

#include "contracts/Conf/MediaTypes.h"
#include "contracts/Core/Export.h"

namespace Tarsel::Conf {

/// What is known of a pixel format. Descriptions live as long as the program.
class TARSEL_CONTRACTS_EXPORT PixFmtDescription {
  public:
    /// Bits of `flags`, this library's own word.
    enum Flags : unsigned {
        FLAG_RGB = 1U << 0,
        FLAG_PLANAR = 1U << 1,
        FLAG_PALETTE = 1U << 2,
        FLAG_ALPHA = 1U << 3,
        FLAG_HARDWARE = 1U << 4,
        FLAG_BIG_ENDIAN = 1U << 5,
    };

    /// Null for a number that is no pixel format.
    static PixFmtDescription const* Find(PixFmt format);
    /// By the codec library's name ("yuv420p"). Null for a name of none.
    static PixFmtDescription const* Find(std::string const& name);

    PixFmt GetFormat() const { return format; }
    std::string const& GetName() const { return name; }
    unsigned GetFlags() const { return flags; }
    bool HasAlpha() const { return (flags & FLAG_ALPHA) != 0; }
    /// Number of planes, 1 to 4; 0 for a hardware format.
    int GetPlanesCount() const { return planes; }
    /// Width and height divisors of the chroma planes, as powers of 2.
    int GetChromaShiftX() const { return chromaShiftX; }
    int GetChromaShiftY() const { return chromaShiftY; }

    /// Width in bytes of the rows of one plane of a picture `width` pixels wide, without padding. Negative sizes and
    /// planes that don't exist give 0.
    int GetPlaneRowBytes(int width, int plane) const;
    /// Number of rows of one plane of a picture `height` pixels high.
    int GetPlaneRows(int height, int plane) const;
    /// Bytes of all planes of a picture without padding; 0 for hardware formats and for sizes that are not above 0.
    std::size_t GetAllPlanesFullSize(int width, int height) const;

  private:
    friend class PixFmtTable;

    PixFmt format = PIX_FMT_NONE;
    std::string name;
    unsigned flags = 0;
    int planes = 0;
    int chromaShiftX = 0;
    int chromaShiftY = 0;
};

}  // namespace Tarsel::Conf
