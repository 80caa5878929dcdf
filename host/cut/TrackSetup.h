#pragma once

#include <string>
#include <vector>

#include "host/cut/CutTrack.h"
#include "host/media/MediaFile.h"
#include "host/media/MediaWriter.h"

namespace Tarsel::Host {

// What every job does that brings the streams of one file into another one.

/// A stream that goes into the result, and the codec to encode it to; empty where its packets are taken.
struct StreamChoice {
    StreamInfo const* info;
    std::string codec;
};

/// The streams of the file that go into the result, in the file's order. `output` may be empty, then no container keeps
/// a stream out. With `reencode` pictures and sound get the codecs that the container is written with. What is left out
/// is told in `warnings`. Throws `ProcException` when nothing is left.
std::vector<StreamChoice> ChooseStreams(MediaFile& file, std::string const& output, bool reencode,
                                        std::vector<std::string>& warnings);

/// Puts the change of framing that the container asks for behind what the track has been so far.
void ReframeTrack(CutTrack& track, MediaFile& file, std::string const& container);

/// Enters the tracks, and all that has no place in time, into the writer, and lets it begin.
void FillWriter(MediaWriter& writer, MediaFile& file, std::vector<CutTrack>& tracks,
                std::vector<Chapter> const& chapters);

/// A warning for each track that has lost packets with broken framing.
void WarnOfBrokenFraming(std::vector<CutTrack> const& tracks, std::vector<std::string>& warnings);

}  // namespace Tarsel::Host
