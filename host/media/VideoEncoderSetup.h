#pragma once

#include <optional>
#include <string>

#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Core/Export.h"
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
    /// Constant quality on the codec's own scale, see `QualityScaleOf`. Not set: the scale's standard.
    std::optional<int> quality;
    /// Pictures that must be converted for the codec get 8 bits and a quarter of the colour (4:2:0), as every player
    /// shows them, instead of what keeps most of them.
    bool forEveryPlayer = false;
    /// Whether the stream's ticks are pictures of its rate, instead of the source's.
    bool ticksOfRate = false;
};

/// The numbers by which an encoder's constant quality is told.
struct QualityScale {
    int best = 0;
    int worst = 0;
    /// What an encoder takes that is told nothing.
    int standard = 0;
};

/// The scale of a codec's quality in a whole stream; none for a codec that isn't encoded. The quantiser of H.264 (8
/// bits: 18 can't be told from the source) and HEVC, the quality levels of VP8 and VP9, the quantiser of the MPEG and
/// H.263 families. Of Theora the quality, where more is better.
TARSEL_HOST_EXPORT std::optional<QualityScale> QualityScaleOf(std::string const& codecId);
/// Why the codec can't have this quality, for the person who asked; empty when it can.
TARSEL_HOST_EXPORT std::string WhyNoQuality(std::string const& codecId, int quality);

/// The quantiser above which no recoded H.264 picture is coded. The stream's own initial quantiser says little of its
/// quality: rate-controlled streams carry 26 whatever they look like.
inline constexpr int MAX_RECODE_QUANTISER = 18;

/// The library's encoder for a codec and picture size; null when there is none.
AVCodec const* FindVideoEncoder(std::string const& codecId, int width, int height);
/// The same for groups between copied ones: without encoders that can't continue a stream (HEVC's lets nobody choose
/// the identifiers of its parameter sets).
AVCodec const* FindRecodeEncoder(std::string const& codecId, int width, int height);

/// Opens an encoder for pictures as `format` describes them. Throws `EncoderException` with the encoder's name and the
/// library's text.
CodecContextPtr OpenVideoEncoder(Conf::IFormatCodecVideo const& format, Core::Property const& properties,
                                 VideoEncoderOptions const& options, LibavLogWatch& watch);

}  // namespace Tarsel::Host
