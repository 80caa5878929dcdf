#pragma once

#include <optional>
#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Core/Time.h"
#include "host/cut/CutRequest.h"
#include "host/timeline/TimelineBuilder.h"

namespace Tarsel::Host {

struct RenderOptions {
    /// Empty: everything is read and nothing is written.
    std::string output;
    /// FFmpeg's names; empty: what the container is written with.
    std::string videoCodec;
    std::string audioCodec;
    std::optional<int> quality;
    /// Bits a second; 0: the default of the codec.
    int64 audioBitRate = 0;
    /// Replace a file that stands at the output's place.
    bool force = false;
};

/// What a rendering did.
struct RenderReport {
    struct Stream {
        /// "video" or "audio".
        std::string kind;
        /// FFmpeg's name; empty in a dry run.
        std::string codec;
        /// Packets, or the items of a dry run.
        int64 items = 0;
        /// Where it begins, and where its last item ends; no value when it is empty.
        int64 beginUs = NO_VALUE;
        int64 endUs = NO_VALUE;
    };

    /// Empty in a dry run, as is the container.
    std::string output;
    std::string container;
    int64 durationUs = 0;
    /// Of the timeline; 0 for a kind that it hasn't.
    int64 frames = 0;
    int64 samples = 0;
    Ratio frameRate{0, 1};
    Conf::FrameInfo frame;
    int sampleRate = 0;
    int64 clips = 0;
    int64 files = 0;
    std::vector<Stream> streams;
    std::vector<std::string> warnings;
    double wallSeconds = 0;

    /// One JSON document, without a line break at its end.
    TARSEL_HOST_EXPORT std::string ToJson() const;
    /// For people.
    TARSEL_HOST_EXPORT std::string ToText() const;
};

/// Renders a timeline into a file, pictures and sound in step. The file appears at its place only when all of it is
/// written, and every frame and sample has been counted. Throws `GraphException` for what is wrong with a clip,
/// `Core::IOException` for what is wrong with the output, `VerificationMismatch` for a count that isn't the timeline's;
/// then no output is left, and what stood at its place is untouched. `progress` is told the time reached. The timeline
/// is rendered once.
TARSEL_HOST_EXPORT RenderReport RenderTimeline(BuiltTimeline& timeline, RenderOptions const& options,
                                               ProgressCallback const& progress);

}  // namespace Tarsel::Host
