#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "contracts/Proc/IStream.h"
#include "host/graph/GraphBuilder.h"
#include "host/media/ContinuousAudio.h"
#include "host/media/FittedVideo.h"
#include "host/media/MediaWriter.h"
#include "host/media/ReframedStream.h"
#include "host/media/RegularVideo.h"

namespace Tarsel::Host {

/// One stream on its way from a graph into a file.
struct OutputTrack {
    BuiltNode const* node = nullptr;
    StreamKind kind = StreamKind::Unknown;
    /// Packets as the container takes them.
    iptr<Proc::IStreamRaw> packets;
    /// What stands in front of an encoder, or behind packets that aren't encoded; null where it doesn't.
    iptr<FittedVideo> fitted;
    iptr<RegularVideo> regular;
    iptr<ContinuousAudio> continuous;
    iptr<ReframedStream> reframed;
    int slot = MediaWriter::NO_SLOT;
};

/// Codec and quality of a stream of an output, with everything settled that the document leaves open.
struct EncodingChoice {
    std::string codec;
    std::optional<int> quality;
    int64 bitRate = 0;
};

/// libavformat's name of the container that the ending of a path names. Throws as `MediaWriter::Create` does.
TARSEL_HOST_EXPORT std::string ContainerName(std::string const& path);

/// What a stream is encoded to: as it is told, and otherwise by the container, a libavformat or extension name. Throws
/// `std::invalid_argument` with a text for the person who asked: no codec of that kind, a quality or a bit rate that
/// the codec can't have.
TARSEL_HOST_EXPORT EncodingChoice ChooseEncoding(GraphOutput::Stream const& asked, StreamKind kind,
                                                 std::string const& container);

/// A node's stream on its way into the writer's file. `GraphException` and whatever else is thrown stay without a name
/// in front: the caller knows the place.
OutputTrack MakeOutputTrack(BuiltNode const& node, GraphOutput::Stream const& asked, MediaWriter const& writer);

/// The tracks of the graph's output: an encoder behind each stream that is decoded, the container's framing behind
/// packets. Throws `GraphException`.
std::vector<OutputTrack> MakeOutputTracks(BuiltGraph const& graph, MediaWriter const& writer);

/// What had to be done to the streams so that they fit, for people.
std::vector<std::string> WarningsOf(std::vector<OutputTrack> const& tracks);
/// The same of one stream, `name` in front.
std::vector<std::string> WarningsOf(OutputTrack const& track, std::string const& name);

}  // namespace Tarsel::Host
