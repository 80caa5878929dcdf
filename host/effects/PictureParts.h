#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Proc/IData.h"
#include "host/media/FFmpeg.h"
#include "host/media/PictureScaler.h"

namespace Tarsel::Host {

/// libavutil's number of a pixel format, which is ours.
inline AVPixelFormat Native(PixFmt format) {
    return static_cast<AVPixelFormat>(static_cast<int>(format));
}

/// One component of a picture: where its samples lie. Samples are bytes, or 16-bit words with the value's lowest bit at
/// `shift`.
struct PictureComponent {
    int plane = 0;
    int offset = 0;  // bytes
    int step = 0;    // bytes from one sample to the next
    int depth = 8;
    int shift = 0;
    int width = 0;  // samples
    int height = 0;
    bool isChroma = false;
    bool isAlpha = false;

    int GetMax() const { return (1 << depth) - 1; }
    int GetSampleBytes() const { return depth > 8 ? 2 : 1; }
};

/// The components of a picture, in the pixel format's order: Y, Cb, Cr or R, G, B, and alpha as the last.
struct PictureLayout {
    std::array<PictureComponent, 4> components;
    int count = 0;
    bool isRgb = false;
    bool hasAlpha = false;
    int chromaShiftX = 0;
    int chromaShiftY = 0;

    int GetColourCount() const { return hasAlpha ? count - 1 : count; }
    PictureComponent const* GetAlpha() const {
        return hasAlpha ? &components[static_cast<std::size_t>(count - 1)] : nullptr;
    }
    PictureComponent const* begin() const { return components.data(); }
    PictureComponent const* end() const { return components.data() + count; }
};

/// Whether loops over samples can work on the format: 8 to 16 bits a sample, each in bytes of its own, in the order of
/// this machine. Palettes, packed bits and floats aren't among them.
bool HasLayout(PixFmt format);
/// Throws `EffectException`, which names the format, for one that `HasLayout` refuses.
PictureLayout LayoutOf(PixFmt format, int width, int height);
/// The format itself where loops can work on it, else the nearest one that they can; none for formats that can't be
/// converted.
PixFmt WorkingFormat(PixFmt format);
TARSEL_HOST_EXPORT std::string FormatName(PixFmt format);

/// Row `y` of a component.
template <class Sample>
Sample* RowOf(Proc::IDataVideo& picture, PictureComponent const& part, int y) {
    auto const plane = picture.GetPlane(static_cast<unsigned>(part.plane));
    return reinterpret_cast<Sample*>(plane.GetData() + y * plane.GetStride() + part.offset);
}
template <class Sample>
Sample const* RowOfConst(Proc::IDataVideo const& picture, PictureComponent const& part, int y) {
    auto const plane = picture.GetPlaneConst(static_cast<unsigned>(part.plane));
    return reinterpret_cast<Sample const*>(plane.GetData() + y * plane.GetStride() + part.offset);
}

/// What a picture says of its colours, and what those mean that say nothing: BT.601, full range for RGB, grey and the
/// JPEG formats, limited for others.
struct PictureColours {
    AVColorSpace matrix = AVCOL_SPC_UNSPECIFIED;
    bool isFull = false;
    double red = 0.299;  // weights of luma
    double blue = 0.114;
};
PictureColours ColoursOf(Proc::IDataVideo const& picture);
/// The sample values of a colour, 0xRRGGBB, in the picture's components. That of alpha is the largest.
std::array<int, 4> SamplesOf(int rgb, PictureLayout const& layout, PictureColours const& colours);

/// The effects' refusal of frames that don't live in processor memory: `EffectException` that names the effect.
void RequireProcessorMemory(Proc::IDataVideo const& picture, char const* effect);
/// The inputs that are there, as pictures. Throws `std::invalid_argument` where there are no inputs at all, and
/// `EffectException` for one that is no picture.
std::vector<iptr<Proc::IDataVideo>> PicturesOf(std::vector<iptr<Proc::IData>> const& inputs);
/// The frame as a picture with the times of another.
iptr<Proc::IDataVideo> WrapLike(FramePtr frame, Proc::IDataVideo const& timed);
/// The picture in another size or format, with its times; the same object where it has both. Throws `EffectException`.
iptr<Proc::IDataVideo> Conformed(iptr<Proc::IDataVideo> const& picture, PictureTarget const& target);
/// The target that has size, format and colours of a picture.
PictureTarget TargetLike(Proc::IDataVideo const& picture);

}  // namespace Tarsel::Host
