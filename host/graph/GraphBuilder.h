#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Proc/IFilterCacheController.h"
#include "contracts/Proc/IFilterSeekController.h"
#include "contracts/Proc/IStream.h"
#include "host/graph/GraphDocument.h"
#include "host/graph/GraphSources.h"
#include "host/graph/GraphWarnings.h"
#include "host/graph/NodeRecord.h"
#include "host/graph/SettingsCatalog.h"

namespace Tarsel::Host {

/// A stream of a node, by its kind: in the order of `GraphKind`.
using GraphStream = std::variant<iptr<Proc::IStreamVideo>, iptr<Proc::IStreamAudio>, iptr<Proc::IStreamSubtitle>,
                                 iptr<Proc::IStreamRaw>>;

/// A stream of a graph that has been built: a source, a filter, or what a controller gives in place of a stream.
struct TARSEL_HOST_EXPORT BuiltNode {
    NodeId id = 0;
    /// What it is, for people: the class, or "source".
    std::string classId;
    JsonPointer pointer;
    GraphStream stream;
    iptr<NodeRecord> record;
    std::vector<NodeId> inputs;
    /// The controller that it belongs to; null for none.
    GraphController const* controller = nullptr;
    /// The controller that does its seeking; null for none.
    iptr<Proc::IFilterSeekController> seeker;
    /// The source at the bottom of its chain of first inputs; empty where a filter without inputs, or one that gives
    /// another kind of stream than it takes, stands between.
    GraphOrigin origin;

    GraphKind GetKind() const { return static_cast<GraphKind>(stream.index()); }
    Proc::IStream& GetStream() const;
};

/// Gives what is to stand in a node's place: the stream itself, or something of the same kind around it. Of the node
/// only id, class, pointer, inputs, controller and origin are known by then. What it throws is the node's failure.
using NodeWrap = std::function<GraphStream(BuiltNode const& node, GraphStream stream)>;

/// How a graph is made.
struct GraphBuildOptions {
    /// Items without progress in time after which a node fails.
    int64 stallLimit = DEFAULT_STALL_LIMIT;
    /// Files of the document that are open already: reading through each of them a second time can be spared.
    std::vector<iptr<MediaFile>> opened = {};
    /// Asked for each node; empty: nodes stay as they are. What it gives is counted and timed as the node.
    NodeWrap wrap = {};
    /// Threads of each decoder; 0: as many as suit the graph.
    int decoderThreads = 0;
};

/// A graph of live streams. Destroying it frees them.
class TARSEL_HOST_EXPORT BuiltGraph {
  public:
    explicit BuiltGraph(GraphDocument document) : document(std::move(document)) {}
    BuiltGraph(BuiltGraph const&) = delete;
    BuiltGraph& operator=(BuiltGraph const&) = delete;

    GraphDocument const& GetDocument() const { return document; }
    /// Each behind its inputs.
    std::vector<BuiltNode> const& GetNodes() const { return nodes; }
    BuiltNode const& GetNode(NodeId id) const { return nodes[places.at(id)]; }
    /// The streams that are read: those of the document's output, and without such a list all that nobody else reads.
    std::vector<NodeId> GetOutputs() const;
    GraphSources const& GetSources() const { return sources; }
    /// What `SeekTogether` is told beside the streams of the output. By the controllers' ids.
    std::vector<iptr<Proc::IFilterCacheController>> GetCacheControllers() const;
    /// What its nodes have warned of so far.
    std::vector<std::string> GetWarnings() const { return warnings->Get(); }

  private:
    friend class GraphBuilder;

    GraphDocument const document;
    GraphSources sources;
    iptr<GraphWarnings> const warnings = MakeShared<GraphWarnings>();
    std::map<NodeId, iptr<Proc::IStreamController>> controllers;
    std::vector<BuiltNode> nodes;
    std::map<NodeId, std::size_t> places;
};

/// Opens the media and makes the streams of a document. Nothing is read but what opening needs, and nothing sought, but
/// for what a video mixer draws: it is sought to 0, and its first picture read.
/// What is wrong throws `GraphException` that names the node and its place in the document.
TARSEL_HOST_EXPORT std::unique_ptr<BuiltGraph> BuildGraph(GraphDocument const& document,
                                                          GraphBuildOptions const& options = {});

}  // namespace Tarsel::Host
