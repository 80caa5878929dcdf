#include "host/graph/GraphChecks.h"

#include <algorithm>
#include <functional>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IFilterFactoryRegistrator.h"
#include "contracts/Proc/SettingsFilterReverse.h"
#include "host/graph/GraphErrors.h"
#include "host/graph/GraphJson.h"
#include "host/media/Containers.h"

extern "C" {
#include <libavcodec/codec_desc.h>
}

namespace Tarsel::Host {

namespace {

/// How many ids of a circle a message names.
constexpr std::size_t NAMED_IDS = 20;

/// A source, a filter or a whole controller.
struct Vertex {
    struct Input {
        NodeId id = 0;
        JsonPointer pointer;
        /// The vertex that gives it.
        std::size_t source = 0;
    };
    NodeId id = 0;
    JsonPointer pointer;
    CatalogEntry const* entry = nullptr;  // null for a source
    std::vector<Input> inputs;
    /// What it gives, in step with the inputs of a controller; one stream for others.
    std::vector<std::pair<NodeId, JsonPointer>> streams;
};

bool IsSeekController(Vertex const& vertex) {
    return vertex.entry && vertex.entry->classId == Proc::FilterSlots::SEEK_CONTROLLER.name;
}

bool IsCacheController(Vertex const& vertex) {
    return vertex.entry && vertex.entry->classId == Proc::FilterSlots::CACHE_CONTROLLER.name;
}

/// Whether a thread of its own reads its inputs.
bool ReadsAhead(Vertex const& vertex) {
    return IsCacheController(vertex) ||
           (vertex.entry && (vertex.entry->classId == FILTER_CACHE_DATA ||
                             vertex.entry->classId == Proc::SettingsFilterReverse::CLASS_ID));
}

bool IsJoin(Vertex const& vertex) {
    return vertex.entry && (vertex.entry->classId == Proc::FilterSlots::JOIN_VIDEO.name ||
                            vertex.entry->classId == Proc::FilterSlots::JOIN_AUDIO.name ||
                            vertex.entry->classId == Proc::FilterSlots::JOIN_RAW.name);
}

CatalogEntry const& Entry(NodeId id, JsonPointer const& pointer, std::string const& classId) {
    CatalogEntry const* const entry = FindInCatalog(classId);
    if (!entry) FailAtNode(id, pointer + "/class", "there is no class " + Quoted(classId));
    return *entry;
}

std::string NodeName(NodeId id) {
    return "node " + std::to_string(id);
}

/// The kinds that an input may be of.
std::string WorkedOn(CatalogEntry const& entry, std::size_t input) {
    std::string const behind = entry.furtherKind && input == 0 ? " as its first input" : "";
    if (entry.IsOfFurtherKind(input)) return std::string(KindName(*entry.furtherKind)) + " behind its first input";
    std::string list;
    for (GraphKind const kind : entry.kinds) list += (list.empty() ? "" : " or ") + std::string(KindName(kind));
    return list + behind;
}

std::optional<GraphKind> KindOf(StreamKind kind) {
    switch (kind) {
        case StreamKind::Video:
            return GraphKind::Video;
        case StreamKind::Audio:
            return GraphKind::Audio;
        case StreamKind::Subtitle:
            return GraphKind::Subtitle;
        default:
            return {};
    }
}

std::optional<StreamKind> MediaOf(GraphKind kind) {
    for (StreamKind const media : {StreamKind::Video, StreamKind::Audio, StreamKind::Subtitle})
        if (KindOf(media) == kind) return media;
    return {};
}

class Checker {
  public:
    explicit Checker(GraphDocument const& document) : document(document) {}

    GraphStreamTypes Run();

  private:
    void ListVertices();
    void Enter(NodeId id, JsonPointer const& pointer, std::size_t vertex);
    void ResolveInputs();
    void ResolveInput(NodeId input, JsonPointer const& pointer, NodeId reader, bool isOutput, std::size_t& source);
    void OrderVertices();
    [[noreturn]] void FailInCircle(std::vector<std::size_t> const& waiting) const;
    void FindTypes();
    void CheckSources() const;
    void CheckInputs(Vertex const& vertex) const;
    void CheckSeeks(Vertex const& vertex, Vertex::Input const& input) const;
    void FindThreads();
    void CheckThreads(Vertex const& vertex) const;
    void CheckSettings() const;
    void CheckInputList(GraphFilter const& filter, InputList const& list) const;
    void CheckReaders() const;
    void CheckOutput() const;
    void CheckOutputStream(std::size_t index, AVOutputFormat const* container) const;
    void CheckCodec(std::size_t index, AVOutputFormat const* container) const;
    AVOutputFormat const* FindOutputContainer() const;

    GraphDocument const& document;
    std::vector<Vertex> vertices;
    /// Where an id stands; a controller's own id is known too.
    std::unordered_map<NodeId, JsonPointer> places;
    /// Which vertex gives the stream of an id.
    std::unordered_map<NodeId, std::size_t> givers;
    /// The place of the one input that reads a stream.
    std::unordered_map<NodeId, JsonPointer> readers;
    /// Which vertex that is; the output is none.
    std::unordered_map<NodeId, std::size_t> readerVertices;
    /// Vertices, each behind those that it reads.
    std::vector<std::size_t> order;
    GraphStreamTypes types;
    /// The node whose own thread may read a stream; streams that only the runner's thread reads aren't in it.
    std::unordered_map<NodeId, NodeId> threads;
};

GraphStreamTypes Checker::Run() {
    ListVertices();
    ResolveInputs();
    OrderVertices();
    FindTypes();
    FindThreads();
    CheckSources();
    for (Vertex const& vertex : vertices) {
        CheckInputs(vertex);
        CheckThreads(vertex);
    }
    CheckSettings();
    CheckReaders();
    CheckOutput();
    return std::move(types);
}

void Checker::Enter(NodeId id, JsonPointer const& pointer, std::size_t vertex) {
    auto const [place, isNew] = places.emplace(id, pointer);
    if (!isNew) FailAtNode(id, pointer + "/id", NodeName(id) + " stands already at " + place->second);
    if (vertex < vertices.size()) givers.emplace(id, vertex);
}

void Checker::ListVertices() {
    constexpr std::size_t GIVES_NOTHING = JsonTree::NONE;
    for (GraphSource const& source : document.sources) {
        vertices.push_back({source.id, source.pointer, nullptr, {}, {{source.id, source.pointer}}});
        Enter(source.id, source.pointer, vertices.size() - 1);
    }
    for (GraphFilter const& filter : document.filters) {
        Vertex vertex{filter.id, filter.pointer, &Entry(filter.id, filter.pointer, filter.classId), {}, {}};
        for (std::size_t i = 0; i < filter.inputs.size(); ++i)
            vertex.inputs.push_back({filter.inputs[i], filter.pointer + "/inputs/" + std::to_string(i), 0});
        vertex.streams.emplace_back(filter.id, filter.pointer);
        vertices.push_back(std::move(vertex));
        Enter(filter.id, filter.pointer, vertices.size() - 1);
    }
    for (GraphController const& controller : document.controllers) {
        Vertex vertex{
            controller.id, controller.pointer, &Entry(controller.id, controller.pointer, controller.classId), {}, {}};
        for (std::size_t i = 0; i < controller.streams.size(); ++i) {
            std::string const pointer = controller.pointer + "/streams/" + std::to_string(i);
            vertex.inputs.push_back({controller.streams[i].input, pointer + "/input", 0});
            vertex.streams.emplace_back(controller.streams[i].id, pointer);
        }
        vertices.push_back(std::move(vertex));
        Enter(controller.id, controller.pointer, GIVES_NOTHING);
        for (auto const& [id, pointer] : vertices.back().streams) Enter(id, pointer, vertices.size() - 1);
    }
}

void Checker::ResolveInput(NodeId input, JsonPointer const& pointer, NodeId reader, bool isOutput,
                           std::size_t& source) {
    auto const fail = [&](std::string const& what) {
        if (isOutput) FailAtPlace(pointer, what);
        FailAtNode(reader, pointer, what);
    };
    auto const giver = givers.find(input);
    if (giver == givers.end())
        fail(places.contains(input) ? NodeName(input) + " is a controller: its streams have ids of their own"
                                    : "there is no " + NodeName(input));
    auto const [taken, isFirst] = readers.emplace(input, pointer);
    if (!isFirst) fail(NodeName(input) + " is read already at " + taken->second);
    source = giver->second;
}

void Checker::ResolveInputs() {
    for (std::size_t i = 0; i < vertices.size(); ++i)
        for (Vertex::Input& input : vertices[i].inputs) {
            ResolveInput(input.id, input.pointer, vertices[i].id, false, input.source);
            readerVertices.emplace(input.id, i);
        }
    std::size_t unused = 0;
    for (std::size_t i = 0; i < document.output.streams.size(); ++i)
        ResolveInput(document.output.streams[i].input,
                     document.output.pointer + "/streams/" + std::to_string(i) + "/input", 0, true, unused);
}

void Checker::OrderVertices() {
    std::vector<std::size_t> waiting(vertices.size());
    std::vector<std::vector<std::size_t>> followers(vertices.size());
    for (std::size_t i = 0; i < vertices.size(); ++i) {
        waiting[i] = vertices[i].inputs.size();
        for (Vertex::Input const& input : vertices[i].inputs) followers[input.source].push_back(i);
        if (waiting[i] == 0) order.push_back(i);
    }
    for (std::size_t next = 0; next < order.size(); ++next)
        for (std::size_t const follower : followers[order[next]])
            if (--waiting[follower] == 0) order.push_back(follower);
    if (order.size() < vertices.size()) FailInCircle(waiting);
}

void Checker::FailInCircle(std::vector<std::size_t> const& waiting) const {
    // Whoever waits reads someone who waits: going up from one of them ends in a circle.
    auto const up = [&](std::size_t vertex) {
        auto const& inputs = vertices[vertex].inputs;
        return std::find_if(inputs.begin(), inputs.end(),
                            [&](Vertex::Input const& input) { return waiting[input.source] != 0; });
    };
    auto const first = std::find_if(waiting.begin(), waiting.end(), [](std::size_t count) { return count != 0; });
    auto at = static_cast<std::size_t>(first - waiting.begin());
    for (std::set<std::size_t> seen; seen.insert(at).second;) at = up(at)->source;
    std::set<std::size_t> circle;
    while (circle.insert(at).second) at = up(at)->source;

    std::string ids;
    std::size_t named = 0;
    for (std::size_t const vertex : circle) {
        if (++named > NAMED_IDS) break;
        ids += (ids.empty() ? "" : ", ") + std::to_string(vertices[vertex].id);
    }
    if (named > NAMED_IDS) ids += " ...";
    Vertex const& told = vertices[*circle.begin()];
    FailAtNode(told.id, up(*circle.begin())->pointer, "the nodes " + ids + " read one another in a circle");
}

void Checker::FindTypes() {
    for (GraphSource const& source : document.sources) {
        GraphStreamType type;
        type.media = source.stream.kind;
        if (source.packets)
            type.kind = GraphKind::Packets;
        else if (source.stream.kind)
            type.kind = KindOf(*source.stream.kind);
        types[source.id] = type;
    }
    for (std::size_t const index : order) {
        Vertex const& vertex = vertices[index];
        if (!vertex.entry) continue;
        if (vertex.entry->isController) {
            for (std::size_t i = 0; i < vertex.streams.size(); ++i)
                types[vertex.streams[i].first] = types[vertex.inputs[i].id];
            continue;
        }
        GraphStreamType type;
        if (vertex.entry->gives || vertex.inputs.empty()) {
            type.kind = vertex.entry->gives.value_or(vertex.entry->kinds.front());
            type.media = MediaOf(*type.kind);
            types[vertex.id] = type;
            continue;
        }
        // The inputs are of one type; any of them may be the one that is known.
        if (vertex.entry->kinds.size() == 1) type.kind = vertex.entry->kinds.front();
        for (std::size_t i = 0; i < vertex.inputs.size(); ++i) {
            if (vertex.entry->IsOfFurtherKind(i)) break;
            GraphStreamType const& given = types[vertex.inputs[i].id];
            if (!type.kind) type.kind = given.kind;
            if (!type.media) type.media = given.media;
        }
        types[vertex.id] = type;
    }
}

/// What only subtitles can be told. A stream that is chosen by its index shows its kind when its file is opened.
void Checker::CheckSources() const {
    for (GraphSource const& source : document.sources) {
        auto const& kind = types.at(source.id).kind;
        if (!kind || *kind == GraphKind::Subtitle) continue;
        std::string const given = NodeName(source.id) + " gives " + std::string(KindName(*kind));
        if (!source.charset.empty())
            FailAtNode(source.id, source.pointer + "/charset", given + ": a charset is one of subtitles");
        if (source.delay != 0)
            FailAtNode(source.id, source.pointer + "/delay", given + ": a delay is one of subtitles");
    }
}

void Checker::CheckInputs(Vertex const& vertex) const {
    if (!vertex.entry) return;
    GraphStreamType const* known = nullptr;
    NodeId knownId = 0;
    for (std::size_t i = 0; i < vertex.inputs.size(); ++i) {
        Vertex::Input const& input = vertex.inputs[i];
        CheckSeeks(vertex, input);
        GraphStreamType const& type = types.at(input.id);
        if (!type.kind) continue;
        if (!vertex.entry->WorksOn(*type.kind, i))
            FailAtNode(vertex.id, input.pointer,
                       vertex.entry->classId + " works on " + WorkedOn(*vertex.entry, i) + ", and " +
                           NodeName(input.id) + " gives " + std::string(KindName(*type.kind)));
        if (vertex.entry->isController || vertex.entry->IsOfFurtherKind(i)) continue;
        if (known && known->media && type.media && *known->media != *type.media)
            FailAtNode(vertex.id, input.pointer,
                       NodeName(input.id) + " is " + std::string(KindName(*type.media)) + " and " + NodeName(knownId) +
                           " is " + std::string(KindName(*known->media)) + ": all inputs must be of one kind");
        if (!known && type.media) {
            known = &type;
            knownId = input.id;
        }
    }
}

/// Streams that seek as one may only be read by who asks all of them first and moves them then.
void Checker::CheckSeeks(Vertex const& vertex, Vertex::Input const& input) const {
    Vertex const& source = vertices[input.source];
    if (IsSeekController(source) && !IsJoin(vertex))
        FailAtNode(vertex.id, input.pointer,
                   NodeName(input.id) + " is held by a FilterSeekController: only a join or the output reads it");
    if (!IsCacheController(source) || source.streams.size() == 1) return;
    auto const other = std::find_if(source.streams.begin(), source.streams.end(), [&](auto const& stream) {
        auto const reader = readerVertices.find(stream.first);
        return stream.first != input.id &&
               (reader == readerVertices.end() || &vertices[reader->second] != &vertex || !IsSeekController(vertex));
    });
    if (other == source.streams.end()) return;
    std::string const both = NodeName(input.id) + " shares its FilterCacheController with " + NodeName(other->first);
    FailAtNode(vertex.id, input.pointer,
               IsSeekController(vertex)
                   ? both + ": a FilterSeekController that holds one of them must hold all"
                   : both +
                         ", and they seek as one: only the output or a FilterSeekController that holds them all "
                         "reads them; put the filter below, or give the stream a FilterCacheController of its own");
}

/// From the output down.
void Checker::FindThreads() {
    auto const pass = [&](NodeId given, NodeId taken) {
        if (auto const thread = threads.find(given); thread != threads.end()) threads[taken] = thread->second;
    };
    for (auto index = order.rbegin(); index != order.rend(); ++index) {
        Vertex const& vertex = vertices[*index];
        bool const isController = vertex.entry && vertex.entry->isController;
        for (std::size_t i = 0; i < vertex.inputs.size(); ++i) {
            NodeId const given = isController ? vertex.streams[i].first : vertex.id;
            if (ReadsAhead(vertex))
                threads[vertex.inputs[i].id] = given;
            else
                pass(given, vertex.inputs[i].id);
        }
    }
}

/// A seek of linked streams moves them all, so nobody may be reading another one meanwhile.
void Checker::CheckThreads(Vertex const& vertex) const {
    if (!IsSeekController(vertex)) return;
    auto const threadOf = [&](std::size_t number) {
        auto const thread = threads.find(vertex.streams[number].first);
        return thread == threads.end() ? std::optional<NodeId>() : thread->second;
    };
    for (std::size_t i = 1; i < vertex.streams.size(); ++i) {
        auto const first = threadOf(0);
        auto const thread = threadOf(i);
        if (thread == first) continue;
        FailAtNode(vertex.id, vertex.streams[i].second,
                   NodeName(vertex.streams[0].first) + " and " + NodeName(vertex.streams[i].first) +
                       " are moved together, but " + NodeName(thread ? *thread : *first) +
                       " reads one of them ahead on a thread of its own: put it below the FilterSeekController");
    }
}

void Checker::CheckSettings() const {
    for (GraphFilter const& filter : document.filters) {
        CatalogEntry const& entry = *FindInCatalog(filter.classId);
        if (entry.inputList) CheckInputList(filter, *entry.inputList);
        auto const finding = entry.check ? entry.check(filter.settings) : std::nullopt;
        if (finding) FailAtNode(filter.id, filter.pointer + "/settings" + finding->place, finding->what);
    }
}

void Checker::CheckInputList(GraphFilter const& filter, InputList const& list) const {
    auto const& children = filter.settings.Children();
    auto const entries = static_cast<std::size_t>(std::count_if(
        children.begin(), children.end(), [&](Core::Property const& child) { return child.Name() == list.key; }));
    std::size_t const inputs = filter.inputs.size() - std::min(list.firstInput, filter.inputs.size());
    std::string const place = filter.pointer + "/settings/" + list.key;
    std::string const count = (inputs == 0 ? "no" : std::to_string(inputs)) + (inputs == 1 ? " input" : " inputs") +
                              (list.firstInput == 0 ? "" : " behind the first");
    if (entries > inputs)
        FailAtNode(filter.id, place + "/" + std::to_string(inputs),
                   "the mixer has " + std::string(list.firstInput == 0 ? "only " : "") + count);
    if (list.isComplete && entries < inputs)
        FailAtNode(
            filter.id, filter.pointer + "/settings",
            Quoted(list.key) + " holds " + (entries == 0 ? "no entry" : std::to_string(entries)) + " for " + count);
}

void Checker::CheckReaders() const {
    // A plain dry run takes whatever is left over.
    if (document.output.IsDry() && document.output.streams.empty()) return;
    for (Vertex const& vertex : vertices)
        for (auto const& [id, pointer] : vertex.streams)
            if (!readers.contains(id)) FailAtNode(id, pointer, "nobody reads this stream");
}

AVOutputFormat const* Checker::FindOutputContainer() const {
    GraphOutput const& output = document.output;
    try {
        if (!output.container.empty()) return FindContainerNamed(output.container);
        if (!output.IsDry()) return FindContainer(output.file);
    } catch (Core::IOException const& failure) {
        FailAtPlace(output.pointer + (output.container.empty() ? "/file" : "/container"), failure.what());
    }
    return nullptr;
}

void Checker::CheckOutput() const {
    AVOutputFormat const* const container = FindOutputContainer();
    for (std::size_t i = 0; i < document.output.streams.size(); ++i) CheckOutputStream(i, container);
}

void Checker::CheckOutputStream(std::size_t index, AVOutputFormat const* container) const {
    GraphOutput::Stream const& stream = document.output.streams[index];
    std::string const pointer = document.output.pointer + "/streams/" + std::to_string(index);
    GraphStreamType const& type = types.at(stream.input);
    std::string const given = type.kind ? NodeName(stream.input) + " gives " + std::string(KindName(*type.kind)) : "";
    bool const packets = type.kind == GraphKind::Packets;
    if (!stream.codec.empty()) {
        if (packets) FailAtPlace(pointer + "/codec", given + ", which go into the file as they come");
        CheckCodec(index, container);
    }
    if (stream.quality && type.kind && *type.kind != GraphKind::Video)
        FailAtPlace(pointer + "/quality", given + ": the quality is one of video");
    if (stream.bitRate != 0 && type.kind && *type.kind != GraphKind::Audio)
        FailAtPlace(pointer + "/bitRate", given + ": the bit rate is one of audio");
}

void Checker::CheckCodec(std::size_t index, AVOutputFormat const* container) const {
    GraphOutput::Stream const& stream = document.output.streams[index];
    std::string const pointer = document.output.pointer + "/streams/" + std::to_string(index) + "/codec";
    AVCodecDescriptor const* const codec = avcodec_descriptor_get_by_name(stream.codec.c_str());
    if (!codec) {
        std::vector<std::string> names;
        for (AVCodecDescriptor const* known = nullptr; (known = avcodec_descriptor_next(known));)
            names.emplace_back(known->name);
        FailAtPlace(pointer, "there is no codec " + Quoted(stream.codec) + Suggest(stream.codec, names));
    }
    auto const& type = types.at(stream.input);
    std::optional<GraphKind> coded;
    StreamKind kind = StreamKind::Unknown;
    if (codec->type == AVMEDIA_TYPE_VIDEO) kind = StreamKind::Video;
    if (codec->type == AVMEDIA_TYPE_AUDIO) kind = StreamKind::Audio;
    if (codec->type == AVMEDIA_TYPE_SUBTITLE) kind = StreamKind::Subtitle;
    coded = KindOf(kind);
    if (type.kind && coded != type.kind)
        FailAtPlace(pointer, stream.codec + " is no codec of " + std::string(KindName(*type.kind)) + ", which " +
                                 NodeName(stream.input) + " gives");
    std::string const why = container ? WhyNotCarried(*container, kind, codec->id) : "";
    if (!why.empty()) FailAtPlace(pointer, why);
}

}  // namespace

GraphStreamTypes CheckGraph(GraphDocument const& document) {
    return Checker(document).Run();
}

}  // namespace Tarsel::Host
