#pragma once

#include <string>

#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Core/Property.h"
#include "host/media/FFmpeg.h"
#include "host/media/LibavLog.h"

namespace Tarsel::Host {

/// What an encoder is asked for beside the properties of its codec.
struct VideoEncoderOptions {
    enum class Purpose {
        /// One group of pictures that stands between copied ones: no B pictures, one key picture, every picture a
        /// packet, a quality at which the seam isn't seen, the same bytes on every run.
        Recode,
        /// A whole stream.
        Encode,
    };

    Purpose purpose = Purpose::Recode;
    /// Name of the codec to encode to; empty: that of the source's format.
    std::string codecId;
    // The rest is for `Encode` only.
    /// Pictures from one key picture to the next.
    int groupSize = 250;
    /// B pictures between two others, where the codec has them.
    int bFrames = 2;
    /// No key pictures but those: a change of scene makes none.
    bool fixedGroups = false;
    /// H.264's constant quantiser, 1 to 51 (8 bits): 18 can't be told from the source.
    int quantiser = 18;
};

/// The quantiser above which no recoded H.264 picture is coded. The stream's own initial quantiser says little of its
/// quality: rate-controlled streams carry 26 whatever they look like.
inline constexpr int MAX_RECODE_QUANTISER = 18;

/// Names of the library's encoder for a codec and picture size; null when there is none.
AVCodec const* FindVideoEncoder(std::string const& codecId, int width, int height);

/// Opens an encoder for pictures as `format` describes them. Throws `EncoderException` with the encoder's name and the
/// library's text.
CodecContextPtr OpenVideoEncoder(Conf::IFormatCodecVideo const& format, Core::Property const& properties,
                                 VideoEncoderOptions const& options, LibavLogWatch& watch);

}  // namespace Tarsel::Host
