#include "host/digest/RecordJob.h"

#include <algorithm>
#include <set>
#include <utility>
#include <variant>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/ICRCStreamController.h"
#include "contracts/Proc/IFilterFactoryRegistrator.h"
#include "contracts/Proc/ImplNames.h"
#include "host/graph/Factories.h"
#include "host/graph/GraphErrors.h"
#include "host/graph/GraphJob.h"
#include "host/media/AudioDecoder.h"
#include "host/media/DecoderErrors.h"
#include "host/media/ForwardingStream.h"
#include "host/media/VideoDecoder.h"
#include "host/subtitles/SubtitleSource.h"
#include "host/subtitles/TextEncoding.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

std::set<NodeId> StreamsOf(GraphDocument const& document) {
    std::set<NodeId> streams;
    for (GraphSource const& source : document.sources) streams.insert(source.id);
    for (GraphFilter const& filter : document.filters) streams.insert(filter.id);
    for (GraphController const& controller : document.controllers)
        for (GraphController::Stream const& stream : controller.streams) streams.insert(stream.id);
    return streams;
}

/// A record is a JSON file: names in another encoding would make it one that can't be read.
void CheckName(std::string const& path) {
    std::string ignored;
    if (TextEncoding("").Convert(path, ignored))
        TARSEL_THROW(Core::IOException, path + ": its name isn't UTF-8, and a record can't hold another");
}

/// Stands behind the digests of a stream that is sought behind their back, by its controller: what a hash filter knows
/// of its place is stale by then, and an item that it read ahead to tell the position would come a second time. Place
/// and end are the stream's own; all else passes through the digests.
template <class T>
class SoughtBelow final : public ForwardingStream<T> {
  public:
    SoughtBelow(iptr<T> digested, iptr<T> sought)
        : ForwardingStream<T>(std::move(digested)), sought(std::move(sought)) {}

    int64 GetPosition() override { return sought->GetPosition(); }
    bool IsEndOfStream() override { return sought->IsEndOfStream(); }

  private:
    iptr<T> const sought;
};

/// The stream with a digest of each item behind it.
GraphStream Digested(ICRCStreamController& controller, BuiltNode const& node, GraphStream const& stream) {
    return std::visit(
        [&]<class T>(iptr<T> const& typed) -> GraphStream {
            iptr<T> digested = controller.AddStream(typed);
            Core::Property property(ICRCStreamController::SOURCE_NODE_ID);
            digested->Initialize(property.SetValue(node.id));
            if (node.seeker) return iptr<T>(MakeShared<SoughtBelow<T>>(std::move(digested), typed));
            return digested;
        },
        stream);
}

/// What decoders make of damaged packets hangs on what their threads have done by then.
void WarnOfThreads(GraphReport& report, int threads) {
    bool const isDamaged = std::any_of(
        report.streams.begin(), report.streams.end(),
        [](GraphReport::Stream const& stream) { return !DescribeDecoderErrors(stream.statistics).empty(); });
    if (isDamaged && threads != 1)
        report.warnings.push_back("damaged packets may come out otherwise in another run, unless --threads is 1");
}

/// Why a stream gives nothing but packets; empty when it can be decoded.
std::string WhyNotDecoded(iptr<MediaFile> const& file, StreamInfo const& info) {
    try {
        if (info.kind == StreamKind::Video)
            VideoDecoder::Create(file->OpenStream(info.index), "", {});
        else if (info.kind == StreamKind::Audio)
            AudioDecoder::Create(file->OpenStream(info.index), "", {});
        else
            OpenSubtitles({file->GetPath(), info.index});
        return {};
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const& failure) {
        return failure.what();
    }
}

bool IsDecoded(StreamKind kind) {
    return kind == StreamKind::Video || kind == StreamKind::Audio || kind == StreamKind::Subtitle;
}

void AddSource(GraphDocument& document, NodeId id, MediaFile const& file, StreamInfo const& info, bool packets) {
    GraphSource source;
    source.id = id;
    source.file = file.GetPath();
    source.stream.ordinal = info.index;
    source.packets = packets;
    source.pointer = "/sources/" + std::to_string(document.sources.size());
    document.sources.push_back(std::move(source));
}

}  // namespace

void CheckNodes(GraphDocument const& document, std::vector<NodeId> const& nodes) {
    std::set<NodeId> const streams = StreamsOf(document);
    for (NodeId const id : nodes) {
        if (streams.count(id) != 0) continue;
        bool const steers = std::any_of(document.controllers.begin(), document.controllers.end(),
                                        [&](GraphController const& controller) { return controller.id == id; });
        FailAtNode(id, "", steers ? "is a controller: ask for the streams that it gives" : "isn't in the graph");
    }
}

RunRecord RecordGraph(GraphDocument const& document, RecordOptions const& options, ProgressCallback const& progress) {
    try {
        CheckNodes(document, options.nodes);
    } catch (GraphException const& failure) {
        if (options.name.empty()) throw;
        TARSEL_THROW(GraphException, options.name + ": " + failure.what());
    }
    std::string const media = document.sources.empty() ? "" : document.sources.front().file;
    CheckName(options.name);
    CheckName(media);
    auto const controller = MakeFilterFactory()->Dedicated(FilterSlots::CRC_STREAM_CONTROLLER, ImplNames::DEFAULT)();
    std::set<NodeId> const nodes =
        options.nodes.empty() ? StreamsOf(document) : std::set<NodeId>(options.nodes.begin(), options.nodes.end());
    GraphRunOptions running;
    running.name = options.name;
    running.dryRun = true;
    running.building = options.building;
    running.building.wrap = [&](BuiltNode const& node, GraphStream stream) {
        if (options.building.wrap) stream = options.building.wrap(node, std::move(stream));
        return nodes.count(node.id) != 0 ? Digested(*controller, node, stream) : stream;
    };
    running.seeks = options.seeks;
    running.fromStart = true;
    RunRecord record;
    record.report = RunGraph(document, running, progress);
    WarnOfThreads(record.report, options.building.decoderThreads);
    record.data = controller->GetGraphCRCData();
    record.data.SetSourceGraphFileName(options.name);
    record.data.SetSourceMediaFileName(media);
    return record;
}

GraphDocument MakeMediaGraph(std::string const& path, bool decoded, std::vector<std::string>& warnings) {
    return MakeMediaGraph(MediaFile::Open(path), decoded, warnings);
}

GraphDocument MakeMediaGraph(iptr<MediaFile> const& file, bool decoded, std::vector<std::string>& warnings) {
    GraphDocument document;
    auto const leaveOut = [&](StreamInfo const& info, std::string const& why) {
        warnings.push_back(file->GetPath() + ": " + StreamName(info) + " " + why);
    };
    for (StreamInfo const& info : file->GetStreams()) {
        if (!info.HasPackets()) continue;
        if (file->GetIndex(info.index).GetCount() == 0) {
            leaveOut(info, "holds no packets: it is left out");
            continue;
        }
        AddSource(document, info.index, *file, info, true);
    }
    if (document.sources.empty()) TARSEL_THROW(Core::IOException, file->GetPath() + ": holds no packets");
    if (!decoded) return document;
    if (document.sources.back().id >= DECODED_NODES)
        TARSEL_THROW(Core::IOException,
                     file->GetPath() + ": holds more streams than have numbers in a record with frames");
    std::vector<GraphSource> const packets = document.sources;
    for (GraphSource const& source : packets) {
        StreamInfo const& info = file->GetStreams().at(static_cast<std::size_t>(source.id));
        if (!IsDecoded(info.kind)) continue;
        std::string const why = WhyNotDecoded(file, info);
        if (why.empty())
            AddSource(document, DECODED_NODES + source.id, *file, info, false);
        else
            leaveOut(info, "can't be decoded, only its packets are recorded: " + why);
    }
    return document;
}

}  // namespace Tarsel::Host
