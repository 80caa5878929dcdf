#pragma once

#include <optional>
#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Core/Time.h"
#include "host/graph/GraphDocument.h"
#include "host/media/MediaFile.h"

namespace Tarsel::Host {

/// Where the result of a short form goes, and what of its inputs takes part.
struct ShortFormOptions {
    /// Empty: everything is read and nothing is written.
    std::string output;
    /// Short name of the container; empty: the output's ending names it.
    std::string container;
    /// FFmpeg's names; empty: what the container is written with.
    std::string videoCodec;
    std::string audioCodec;
    /// For the video streams.
    std::optional<int> quality;
    /// Bits a second of each audio stream; 0: the default of the codec.
    int64 audioBitRate = 0;
    bool noVideo = false;
    bool noAudio = false;
};

/// A graph behind a short command, and what its maker had to leave out.
struct ShortFormGraph {
    GraphDocument document;
    std::vector<std::string> warnings;
    /// The media files of its sources, open, for who runs the graph.
    std::vector<iptr<MediaFile>> files;
};

// Each maker opens its files and takes all their video streams (no cover pictures) and all their audio streams through
// the same filters, so that picture and sound stay together. Failures: `Core::IOException` for a file that can't be
// read; `GraphException` "PATH: ..." for one without a stream of use, or one that doesn't go with the others;
// `GraphException` for a value out of range. Subtitles are left out with a warning, but for `MakeTrimGraph`.
// Attachments and cover pictures have no place in a graph.

/// Makes the file exactly `duration` microseconds long: cut, or filled with its last picture and silence. Subtitles go
/// along when the container holds them.
TARSEL_HOST_EXPORT ShortFormGraph MakeTrimGraph(std::string const& input, int64 duration,
                                                ShortFormOptions const& options);
/// Plays the files one after another. Their streams are matched by kind and by place in the kind; each goes through a
/// trimmer of its file's length first, so that all streams of a file end at the same time.
TARSEL_HOST_EXPORT ShortFormGraph MakeJoinGraph(std::vector<std::string> const& inputs,
                                                ShortFormOptions const& options);
/// Plays the file backwards.
TARSEL_HOST_EXPORT ShortFormGraph MakeReverseGraph(std::string const& input, ShortFormOptions const& options);
/// Plays the file `factor` times as fast; the pitch of the sound stays.
TARSEL_HOST_EXPORT ShortFormGraph MakeSpeedGraph(std::string const& input, double factor,
                                                 ShortFormOptions const& options);
/// Repeats the file until `duration` microseconds are filled.
TARSEL_HOST_EXPORT ShortFormGraph MakeLoopGraph(std::string const& input, int64 duration,
                                                ShortFormOptions const& options);
/// Gives the pictures a regular frame rate, by a grid that they are laid on or, with `adjust`, by moving only the times
/// that don't fit: a rate below the file's own then makes the pictures last longer, which is told as a warning. Sound
/// passes through.
TARSEL_HOST_EXPORT ShortFormGraph MakeFrameRateGraph(std::string const& input, Ratio const& rate, bool adjust,
                                                     ShortFormOptions const& options);

}  // namespace Tarsel::Host
