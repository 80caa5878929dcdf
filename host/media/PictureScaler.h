#pragma once

#include "contracts/Proc/IData.h"
#include "host/media/FFmpeg.h"

namespace Tarsel::Host {

enum class ScaleAlgorithm : int { Bilinear, Bicubic, Lanczos };

/// What a picture is to become. What it doesn't say of its colours follows from the picture: YUV keeps matrix and
/// range, where the format itself doesn't say otherwise (the JPEG formats and grey are full range, and what comes from
/// them is limited); what was RGB becomes YUV of BT.601 in limited range.
struct PictureTarget {
    int width;
    int height;
    AVPixelFormat format;
    ScaleAlgorithm algorithm = ScaleAlgorithm::Bicubic;
    AVColorSpace matrix = AVCOL_SPC_UNSPECIFIED;
    AVColorRange range = AVCOL_RANGE_UNSPECIFIED;
};

/// A frame of its own over the picture's memory, or over a copy of it where the picture isn't of the library's kind.
/// Throws `ProcException` for a picture in GPU memory.
FramePtr FrameOf(Proc::IDataVideo const& picture);

/// A frame with memory of its own, with the padding that the library's loops like. Throws `ProcException` where there
/// is none.
FramePtr AllocateFrame(int width, int height, AVPixelFormat format);

/// Scales and converts with accurate rounding, on libswscale and on as many threads as a large picture is worth. The
/// result doesn't depend on their number. The two fields of an interlaced picture are scaled each on its own where
/// rows would mix. Properties of the frame other than colours are copied. Any thread; the library's contexts are kept
/// between calls for all callers together, the few that were used last. Throws `ProcException`.
FramePtr ScaleFrame(AVFrame const& from, PictureTarget const& target);

/// Whether the library makes pictures of the format.
bool CanScaleTo(AVPixelFormat format);

/// Whether samples are red, green and blue, palettes included. False for a number of no format.
bool IsRgbFormat(AVPixelFormat format);

}  // namespace Tarsel::Host
