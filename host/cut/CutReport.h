#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Core/Types.h"

namespace Tarsel::Host {

/// How a cut falls in one stream.
enum class CutMode {
    Recode,    // at any picture; the group of pictures that holds a boundary is encoded again
    Gop,       // at random access points only
    Packet,    // whole packets (sound, subtitles)
    Reencode,  // everything is decoded and encoded again
};

/// "recode", "gop", "packet", "reencode".
TARSEL_HOST_EXPORT char const* CutModeName(CutMode mode);

/// What becomes of one stretch of source time in one stream.
struct CutStretch {
    enum class Kind { Kept, Recoded, Removed };
    Kind kind;
    int64 begin;  // source time, microseconds
    int64 end;
};

/// What was, or would be, done to one stream.
struct CutStreamReport {
    int index = 0;  // the stream's number in the source
    std::string kind;
    std::string codec;
    CutMode mode = CutMode::Packet;
    std::string reason;
    /// Copied and recoded packets are the packets of the output; dropped ones are source packets that are neither
    /// copied nor replaced by recoded ones.
    int64 packetsCopied = 0;
    int64 packetsRecoded = 0;
    int64 packetsDropped = 0;
    /// Copied, recoded and dropped groups are the groups (key packets) of the source; a recoded group is one that is
    /// cut in part.
    int64 groupsCopied = 0;
    int64 groupsRecoded = 0;
    int64 groupsDropped = 0;
    /// Stretches in order, without gaps, from 0 to the duration.
    std::vector<CutStretch> stretches;
};

/// The plan of a cut, or its result.
struct CutReport {
    std::string input;
    std::string output;
    int64 durationUs = 0;  // of the source
    /// As they really fell.
    std::vector<std::pair<int64, int64>> removedUs;
    std::vector<CutStreamReport> streams;
    std::vector<std::string> warnings;
    std::optional<bool> verified;
    double wallSeconds = 0;

    /// Length of what stays, in microseconds.
    TARSEL_HOST_EXPORT int64 GetResultDuration() const;
    /// One JSON document, without a line break at its end.
    TARSEL_HOST_EXPORT std::string ToJson() const;
    /// For people: one paragraph a stream, and bars of `width` columns that show the stretches to scale.
    TARSEL_HOST_EXPORT std::string ToText(int width) const;
    /// The stretches to scale as a picture (SVG 1.1).
    TARSEL_HOST_EXPORT std::string ToSvg() const;
};

}  // namespace Tarsel::Host
