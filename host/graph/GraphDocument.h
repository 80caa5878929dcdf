#pragma once

#include <optional>
#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Core/Property.h"
#include "contracts/Core/Types.h"
#include "host/media/MediaFile.h"

namespace Tarsel::Host {

/// Names a node within one graph. Every stream of a graph is a node: sources, filters, and what a controller gives in
/// place of the streams that it holds; a controller has an id of its own beside them. Unique in the whole document.
using NodeId = int64;

/// Where a node stands in the document that it was read from (a JSON pointer, RFC 6901: "/filters/0"). Graphs that were
/// made in memory have the same pointers: those of the document that would be written for them.
using JsonPointer = std::string;

/// Which stream of a file: the `ordinal`-th (from 0) of a kind, or without a kind the one of that index.
struct StreamSelector {
    std::optional<StreamKind> kind;
    int ordinal = 0;

    bool operator==(StreamSelector const&) const = default;
};

/// A stream of a media file.
struct GraphSource {
    NodeId id = 0;
    std::string file;
    StreamSelector stream;
    /// Whether packets come out as they lie in the file, instead of pictures, samples and subtitles.
    bool packets = false;
    JsonPointer pointer;
    /// Of decoded subtitles: the encoding of a file of texts, empty for UTF-8 or what the file tells by its first
    /// bytes.
    std::string charset = {};
    /// Of decoded subtitles: microseconds that they come later than the file says, below 0 earlier.
    int64 delay = 0;

    bool operator==(GraphSource const&) const = default;
};

/// A filter by class identifier and implementation name, exactly as they are registered.
struct GraphFilter {
    NodeId id = 0;
    std::string classId;
    std::string implName;
    /// Named with the class identifier of the settings.
    Core::Property settings;
    std::vector<NodeId> inputs;
    JsonPointer pointer;

    bool operator==(GraphFilter const&) const = default;
};

/// An object beside the chain that gives a stream in place of each one that it holds.
struct GraphController {
    struct Stream {
        /// The stream that it gives.
        NodeId id = 0;
        /// The one that it takes.
        NodeId input = 0;

        bool operator==(Stream const&) const = default;
    };
    NodeId id = 0;
    std::string classId;
    std::string implName;
    Core::Property settings;
    std::vector<Stream> streams;
    JsonPointer pointer;

    bool operator==(GraphController const&) const = default;
};

/// What becomes of the streams at the end of a graph.
struct GraphOutput {
    struct Stream {
        NodeId input = 0;
        /// Codec to encode to (FFmpeg's name); empty: what the container is written with, or as it comes for packets.
        std::string codec;
        /// The codec's own scale, lower is better; see `EncoderSettings`. Not set: the default of the codec.
        std::optional<int> quality;
        /// Bits a second of sound; 0: the default of the codec.
        int64 bitRate = 0;

        bool operator==(Stream const&) const = default;
    };
    /// Empty: everything is read and nothing is written.
    std::string file;
    /// Short name of the container ("mp4"); empty: the file's ending names it.
    std::string container;
    std::vector<Stream> streams;
    JsonPointer pointer = "/output";

    bool IsDry() const { return file.empty(); }
    bool operator==(GraphOutput const&) const = default;
};

/// A graph as it is written down: what there is to build. The nodes of each list stand in the order of the document.
struct GraphDocument {
    /// What the graph is for, in its writer's words.
    std::string description;
    std::vector<GraphSource> sources;
    std::vector<GraphFilter> filters;
    std::vector<GraphController> controllers;
    GraphOutput output;

    bool operator==(GraphDocument const&) const = default;
};

}  // namespace Tarsel::Host
