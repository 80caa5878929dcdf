#include "host/graph/GraphJob.h"

#include <algorithm>
#include <chrono>
#include <set>
#include <stdexcept>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IFilterFactoryRegistrator.h"
#include "host/cut/PacketPump.h"
#include "host/graph/GraphBuilder.h"
#include "host/graph/GraphDrawing.h"
#include "host/graph/GraphErrors.h"
#include "host/graph/GraphOutput.h"
#include "host/media/DecoderErrors.h"
#include "host/media/MediaWriter.h"
#include "host/media/SeekTogether.h"
#include "host/media/StepReader.h"
#include "host/titles/TitleNode.h"

namespace Tarsel::Host {

namespace {

using Clock = std::chrono::steady_clock;

/// A stream that is read to its end: an output's packets, or in a dry run what the node itself gives.
struct Lane {
    BuiltNode const* node = nullptr;
    iptr<Proc::IStream> stream;
    std::string pointer;
    int slot = MediaWriter::NO_SLOT;
    int64 items = 0;
    int64 begin = NO_VALUE;
    int64 end = NO_VALUE;
    // What a seek found: an item that is still to be read, or the end.
    iptr<Proc::IData> waiting;
    bool ended = false;

    void Note(Proc::IData const& item) {
        ++items;
        int64 const time = item.GetTime();
        int64 const last = AddTime(time, item.GetDuration());
        if (HasValue(time) && (!HasValue(begin) || time < begin)) begin = time;
        end = std::max(end, HasValue(last) ? last : time);
    }
};

bool IsCut(BuiltNode const& node) {
    return node.controller && node.controller->classId == Proc::FilterSlots::CUT_CONTROLLER.name;
}

bool IsCutPackets(BuiltNode const& node) {
    return IsCut(node) && node.GetKind() == GraphKind::Packets && node.origin.info;
}

/// Packets may begin ahead of time 0 (priming), and a cut counts from the place that it is told. Everybody else takes
/// 0 for the start.
int64 FindStart(std::vector<Lane> const& lanes) {
    int64 start = 0;
    for (Lane const& lane : lanes)
        if (IsCutPackets(*lane.node)) {
            GraphOrigin const& origin = lane.node->origin;
            int64 const first = origin.file->GetIndex(origin.info->index).GetStartTime();
            if (HasValue(first)) start = std::min(start, first);
        }
    return start;
}

/// Brings all streams to `position`, those of cut controllers to `cutPosition`. A seek controller does it for its own.
void SeekLanes(BuiltGraph const& graph, std::vector<Lane> const& lanes, int64 position, int64 cutPosition) {
    std::set<Proc::IFilterSeekController*> seekers;
    std::vector<SeekTarget> targets;
    for (Lane const& lane : lanes) {
        if (!lane.node->seeker)
            targets.push_back({lane.stream.get(), IsCut(*lane.node) ? cutPosition : position});
        else if (seekers.insert(lane.node->seeker.get()).second)
            lane.node->seeker->Seek(position);
    }
    SeekTogether(targets, graph.GetCacheControllers(), position);
}

/// Names the stream in what an encoder has to say; the nodes below name themselves.
template <class Call>
auto AtOutput(Lane const& lane, Call call) {
    try {
        return call();
    } catch (GraphException const&) {
        throw;
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const& failure) {
        FailAtNode(lane.node->id, lane.pointer, failure.what());
    }
}

/// Packets that are cut may begin ahead of 0.
void SeekToStart(BuiltGraph const& graph, std::vector<Lane> const& lanes) {
    if (!lanes.empty()) AtOutput(lanes.front(), [&] { SeekLanes(graph, lanes, 0, FindStart(lanes)); });
}

using Sink = std::function<void(Lane const&, iptr<Proc::IData>)>;

/// Goes to each place in turn and reads an item of each stream there. Those of the last place wait in the lanes.
std::vector<GraphReport::Seek> GoThrough(std::vector<int64> const& places, BuiltGraph const& graph,
                                         std::vector<Lane>& lanes) {
    std::vector<GraphReport::Seek> seeks;
    if (lanes.empty()) return seeks;
    for (int64 const place : places) {
        AtOutput(lanes.front(), [&] { SeekLanes(graph, lanes, place, place); });
        GraphReport::Seek seek;
        seek.requestedUs = place;
        for (Lane& lane : lanes) {
            lane.waiting = AtOutput(lane, [&] { return lane.stream->Read(); });
            lane.ended = !lane.waiting;
            seek.realUs.push_back(lane.waiting ? lane.waiting->GetTime() : NO_VALUE);
        }
        seeks.push_back(std::move(seek));
    }
    return seeks;
}

void ReadInStep(std::vector<Lane>& lanes, ProgressCallback const& progress, Sink const& sink) {
    int64 total = 0;
    for (Lane const& lane : lanes) total = std::max(total, lane.stream->GetDuration());
    BasicStepReader<Proc::IData> reader(lanes.size(), [&](std::size_t number) -> iptr<Proc::IData> {
        Lane& lane = lanes[number];
        if (lane.ended) return nullptr;
        if (lane.waiting) return std::exchange(lane.waiting, nullptr);
        return AtOutput(lane, [&] { return lane.stream->Read(); });
    });
    std::size_t number = 0;
    while (iptr<Proc::IData> item = reader.Read(number)) {
        Lane& lane = lanes[number];
        lane.Note(*item);
        if (progress && HasValue(item->GetTime())) progress(item->GetTime(), total);
        sink(lane, std::move(item));
    }
}

/// A cache goes to the position that is asked for or to its stream's end, and all of a controller must go to one place.
void WarnOfCaches(GraphReport& report, BuiltGraph const& graph) {
    for (GraphController const& controller : graph.GetDocument().controllers) {
        if (controller.classId != Proc::FilterSlots::CACHE_CONTROLLER.name) continue;
        std::set<int64> durations;
        for (auto const& stream : controller.streams)
            durations.insert(graph.GetNode(stream.id).GetStream().GetDuration());
        if (durations.size() > 1)
            report.warnings.push_back("node " + std::to_string(controller.id) +
                                      ": its streams differ in length: a seek past the end of one of them fails");
    }
}

std::vector<Chapter> CutChapters(std::vector<Chapter> const& chapters, int64 until) {
    std::vector<Chapter> kept;
    for (Chapter const& chapter : chapters)
        if (chapter.begin < until) kept.push_back({chapter.begin, std::min(chapter.end, until), chapter.metadata});
    return kept;
}

/// What has no place in time, of the first file.
void Describe(MediaWriter& writer, BuiltGraph const& graph, GraphRunOptions const& options) {
    if (graph.GetSources().GetFiles().empty()) return;
    MediaFile const& file = *graph.GetSources().GetFiles().front();
    writer.SetMetadata(file.GetMetadata());
    if (options.chaptersUntil) writer.SetChapters(CutChapters(file.GetChapters(), *options.chaptersUntil));
    if (!options.attachments) return;
    for (StreamInfo const& info : file.GetStreams())
        if (info.kind == StreamKind::Attachment || info.kind == StreamKind::AttachedPicture) writer.AddAttachment(info);
}

/// Why a drawer made no image of these subtitles.
std::string WhyNothing(TitleCounts const& counts, BuiltNode const& titles) {
    if (counts.subtitlesRead != 0)
        return "no subtitle of " + std::to_string(counts.subtitlesRead) + " is seen in the time of the pictures";
    // Those that end in front of 0 aren't even given.
    GraphOrigin const& origin = titles.origin;
    bool const holdsAny = origin.info && origin.file->GetIndex(origin.info->index).GetCount() != 0;
    return holdsAny ? "all subtitles lie outside of the time of the pictures" : "there are no subtitles";
}

/// Tells what drawers of subtitles did, and warns of those that did nothing.
void AddTitles(GraphReport& report, BuiltGraph const& graph) {
    for (BuiltNode const& node : graph.GetNodes()) {
        if (node.classId != Proc::FilterSlots::SUBTITLE_DRAWER.name) continue;
        TitleCounts const counts = CountTitles(node.GetStream().GetStatistic());
        report.titles.push_back({node.id, counts.subtitlesRead, counts.imagesMade});
        if (counts.imagesMade == 0)
            report.warnings.push_back("node " + std::to_string(node.id) +
                                      ": nothing was drawn: " + WhyNothing(counts, graph.GetNode(node.inputs.at(1))));
    }
}

void FillReport(GraphReport& report, BuiltGraph const& graph, std::vector<Lane> const& lanes) {
    for (std::string& warning : graph.GetWarnings()) report.warnings.push_back(std::move(warning));
    AddTitles(report, graph);
    for (BuiltNode const& node : graph.GetNodes()) {
        GraphReport::Node entry;
        entry.id = node.id;
        entry.classId = node.classId;
        entry.kind = KindName(node.GetKind());
        entry.items = static_cast<int64>(node.record->items);
        entry.durationUs = node.GetStream().GetDuration();
        entry.inclusiveUs = node.record->inclusive / 1000;
        entry.exclusiveUs = node.record->exclusive / 1000;
        report.nodes.push_back(std::move(entry));
    }
    for (Lane const& lane : lanes) {
        GraphReport::Stream entry;
        entry.input = lane.node->id;
        entry.kind = KindName(lane.node->GetKind());
        entry.items = lane.items;
        entry.beginUs = lane.begin;
        entry.endUs = lane.end;
        entry.statistics = lane.stream->GetStatistic();
        bool const packets = dynamic_cast<Proc::IStreamRaw const*>(lane.stream.get()) != nullptr;
        auto const format = packets ? lane.stream->GetFormatCodecBase() : nullptr;
        if (format) entry.codec = format->GetCodecID();
        if (lane.items == 0)
            report.warnings.push_back("node " + std::to_string(lane.node->id) + ": its stream is empty");
        if (std::string const errors = DescribeDecoderErrors(entry.statistics); !errors.empty())
            report.warnings.push_back("node " + std::to_string(lane.node->id) + ": " + errors);
        report.streams.push_back(std::move(entry));
    }
}

void ReadOnly(GraphReport& report, BuiltGraph const& graph, GraphRunOptions const& options,
              ProgressCallback const& progress) {
    std::vector<Lane> lanes;
    for (NodeId const id : graph.GetOutputs()) {
        BuiltNode const& node = graph.GetNode(id);
        Lane lane;
        lane.node = &node;
        lane.stream = iptr<Proc::IStream>(&node.GetStream());
        lane.pointer = node.pointer;
        lanes.push_back(std::move(lane));
    }
    report.seeks = GoThrough(options.seeks, graph, lanes);
    if (options.seeks.empty() || options.fromStart) {
        for (Lane& lane : lanes) {
            lane.waiting = nullptr;
            lane.ended = false;
        }
        SeekToStart(graph, lanes);
    }
    ReadInStep(lanes, progress, [](Lane const&, iptr<Proc::IData> const&) {});
    FillReport(report, graph, lanes);
}

void Write(GraphReport& report, BuiltGraph const& graph, GraphRunOptions const& options,
           ProgressCallback const& progress) {
    GraphOutput const& output = graph.GetDocument().output;
    MediaWriter::Options writing{options.force, {}, output.container};
    for (auto const& file : graph.GetSources().GetFiles()) writing.inputs.push_back(file->GetPath());
    iptr<MediaWriter> const writer = MediaWriter::Create(output.file, writing);
    std::vector<OutputTrack> const tracks = MakeOutputTracks(graph, *writer);
    std::vector<Lane> lanes;
    for (OutputTrack const& track : tracks) {
        Lane lane;
        lane.node = track.node;
        lane.stream = track.packets;
        lane.pointer = output.pointer + "/streams/" + std::to_string(lanes.size());
        lane.slot = writer->AddStream(*track.packets->GetFormatCodec(), track.kind, track.node->origin.info);
        lanes.push_back(std::move(lane));
    }
    Describe(*writer, graph, options);
    writer->Begin();
    SeekToStart(graph, lanes);
    PacketPump pump([&](int slot, Proc::IDataPacket& packet) { writer->Write(slot, packet); });
    ReadInStep(lanes, progress, [&](Lane const& lane, iptr<Proc::IData> const& item) {
        pump.Push(lane.slot, iptr<Proc::IDataPacket>(&dynamic_cast<Proc::IDataPacket&>(*item)));
    });
    pump.Finish();
    bool const empty = std::all_of(lanes.begin(), lanes.end(), [](Lane const& lane) { return lane.items == 0; });
    if (empty) FailAtPlace(output.pointer, "nothing came out of the graph");
    writer->Finish();
    report.output = output.file;
    report.container = writer->GetContainer();
    FillReport(report, graph, lanes);
    for (std::string& warning : WarningsOf(tracks)) report.warnings.push_back(std::move(warning));
    report.warnings.insert(report.warnings.end(), writer->GetWarnings().begin(), writer->GetWarnings().end());
}

/// Puts the graph's name in front of what is wrong with it.
template <class Call>
auto UnderName(GraphRunOptions const& options, Call call) {
    try {
        return call();
    } catch (GraphException const& failure) {
        if (options.name.empty()) throw;
        TARSEL_THROW(GraphException, options.name + ": " + failure.what());
    }
}

}  // namespace

GraphReport RunGraph(GraphDocument const& document, GraphRunOptions const& options, ProgressCallback const& progress) {
    return UnderName(options, [&] {
        bool const dry = options.dryRun || document.output.IsDry();
        if (!dry && !options.seeks.empty()) TARSEL_THROW(std::invalid_argument, "Only a dry run seeks");
        auto const start = Clock::now();
        auto const graph = BuildGraph(document, options.building);
        GraphReport report;
        for (auto const& file : graph->GetSources().GetFiles())
            report.warnings.insert(report.warnings.end(), file->GetWarnings().begin(), file->GetWarnings().end());
        WarnOfCaches(report, *graph);
        if (dry)
            ReadOnly(report, *graph, options, progress);
        else
            Write(report, *graph, options, progress);
        report.wallSeconds = std::chrono::duration<double>(Clock::now() - start).count();
        return report;
    });
}

std::string DrawGraph(GraphDocument const& document, GraphRunOptions const& options) {
    return UnderName(options, [&] { return DrawGraph(*BuildGraph(document, options.building)); });
}

}  // namespace Tarsel::Host
