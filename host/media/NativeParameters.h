#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "contracts/Conf/FrameInfo.h"
#include "contracts/Core/Export.h"
#include "contracts/Core/IBlob.h"
#include "contracts/Core/RefCount.h"
#include "host/media/FFmpeg.h"

namespace Tarsel::Host {

/// A font file that a container carries along: its name there and its bytes.
struct FontFile {
    std::string name;
    iptr<IBlob> bytes;
};

/// What the container says of a stream beyond the format's own fields: the attachment of
/// `IFormatCodec::GetNativeParameters`. Decoders open from it, the muxer carries it over (aspect, colour, field order,
/// rotation, HDR side data, disposition). The header bytes of the format win over the ones here.
class TARSEL_HOST_EXPORT NativeParameters : public RefCounted {
  public:
    NativeParameters() : parameters(avcodec_parameters_alloc()) {}

    ParametersPtr parameters;
    /// The container's tick.
    AVRational timeBase{1, 1000000};
    /// As the demuxer guesses them; 0/1 when unknown.
    AVRational averageFrameRate{0, 1};
    AVRational realFrameRate{0, 1};
    AVRational sampleAspect{0, 1};

    /// Whether pixels of the frame have the shape that the container told, 1/1 where it told none. A filter may have
    /// given them another one since.
    bool IsAspectOf(Conf::FrameInfo const& frame) const {
        AVRational const told = sampleAspect.num > 0 && sampleAspect.den > 0 ? sampleAspect : AVRational{1, 1};
        return av_cmp_q({frame.pixelAspectNum, frame.pixelAspectDen}, told) == 0;
    }

    /// FFmpeg's disposition bits (default, forced, attached picture...).
    int disposition = 0;
    /// Stream side data by FFmpeg's type number (display matrix, mastering display, content light level...).
    std::vector<std::pair<AVPacketSideDataType, std::string>> sideData;
    /// Of subtitles: the fonts of the same file, which its texts may name. Null where there is no file.
    std::shared_ptr<std::vector<FontFile> const> fonts;
};

/// Whether the container asks players to turn the pictures.
TARSEL_HOST_EXPORT bool IsRotated(NativeParameters const& native);
/// Whether the picture itself does, as photographs often do.
TARSEL_HOST_EXPORT bool IsRotated(AVFrame const& picture);

}  // namespace Tarsel::Host
