#include "host/timeline/RenderJob.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <new>
#include <utility>

#include "contracts/Core/Exception.h"
#include "host/cut/PacketPump.h"
#include "host/graph/GraphBuilder.h"
#include "host/graph/GraphErrors.h"
#include "host/graph/GraphOutput.h"
#include "host/media/MediaWriter.h"
#include "host/media/SeekTogether.h"
#include "host/media/StepReader.h"

namespace Tarsel::Host {

namespace {

using Clock = std::chrono::steady_clock;

/// A stream that is read to its end, and what came of it.
struct Lane {
    iptr<Proc::IStream> stream;
    int slot = MediaWriter::NO_SLOT;
    RenderReport::Stream report;

    void Note(Proc::IData const& item) {
        ++report.items;
        int64 const time = item.GetTime();
        int64 const last = AddTime(time, item.GetDuration());
        if (HasValue(time) && (!HasValue(report.beginUs) || time < report.beginUs)) report.beginUs = time;
        report.endUs = std::max(report.endUs, HasValue(last) ? last : time);
    }
};

using Sink = std::function<void(Lane const&, iptr<Proc::IData>)>;

void ReadInStep(std::vector<Lane>& lanes, int64 total, ProgressCallback const& progress, Sink const& sink) {
    std::vector<SeekTarget> targets;
    for (Lane const& lane : lanes) targets.push_back({lane.stream.get(), 0});
    SeekTogether(targets);
    BasicStepReader<Proc::IData> reader(lanes.size(), [&](std::size_t number) { return lanes[number].stream->Read(); });
    std::size_t number = 0;
    while (iptr<Proc::IData> item = reader.Read(number)) {
        lanes[number].Note(*item);
        if (progress && HasValue(item->GetTime())) progress(item->GetTime(), total);
        sink(lanes[number], std::move(item));
    }
}

/// The two streams of a timeline as the nodes that an output is made of.
std::vector<BuiltNode> MakeNodes(BuiltTimeline const& timeline) {
    std::vector<BuiltNode> nodes;
    auto const add = [&](GraphStream stream, TrackKind kind) {
        BuiltNode node;
        node.classId = "timeline";
        node.stream = std::move(stream);
        // The encoder may keep what the media of the first clip have.
        if (ClipMedia const* const first = timeline.GetFirstMedia(kind)) node.origin = {first->file, first->info};
        nodes.push_back(std::move(node));
    };
    if (timeline.GetVideo()) add(timeline.GetVideo(), TrackKind::Video);
    if (timeline.GetAudio()) add(timeline.GetAudio(), TrackKind::Audio);
    return nodes;
}

OutputTrack MakeTrack(BuiltNode const& node, RenderOptions const& options, MediaWriter const& writer) {
    GraphOutput::Stream asked;
    bool const isVideo = node.GetKind() == GraphKind::Video;
    asked.codec = isVideo ? options.videoCodec : options.audioCodec;
    if (isVideo)
        asked.quality = options.quality;
    else
        asked.bitRate = options.audioBitRate;
    try {
        return MakeOutputTrack(node, asked, writer);
    } catch (GraphException const&) {
        throw;
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const& failure) {
        FailAtPlace("", std::string(isVideo ? "pictures: " : "sound: ") + failure.what());
    }
}

void Write(RenderReport& report, BuiltTimeline const& timeline, RenderOptions const& options,
           ProgressCallback const& progress) {
    MediaWriter::Options writing{options.force, {}, {}};
    for (auto const& file : timeline.GetFiles()) writing.inputs.push_back(file->GetPath());
    iptr<MediaWriter> const writer = MediaWriter::Create(options.output, writing);
    std::vector<BuiltNode> const nodes = MakeNodes(timeline);
    std::vector<OutputTrack> tracks;
    std::vector<Lane> lanes;
    for (BuiltNode const& node : nodes) {
        OutputTrack track = MakeTrack(node, options, *writer);
        Lane lane;
        lane.stream = track.packets;
        lane.slot = writer->AddStream(*track.packets->GetFormatCodec(), track.kind, nullptr);
        lane.report.kind = KindName(track.kind);
        lane.report.codec = track.packets->GetFormatCodec()->GetCodecID();
        lanes.push_back(std::move(lane));
        tracks.push_back(std::move(track));
    }
    writer->Begin();
    PacketPump pump([&](int slot, Proc::IDataPacket& packet) { writer->Write(slot, packet); });
    ReadInStep(lanes, report.durationUs, progress, [&](Lane const& lane, iptr<Proc::IData> item) {
        pump.Push(lane.slot, iptr<Proc::IDataPacket>(&dynamic_cast<Proc::IDataPacket&>(*item)));
    });
    pump.Finish();
    timeline.CheckCounts();
    writer->Finish();
    report.output = options.output;
    report.container = writer->GetContainer();
    for (Lane& lane : lanes) report.streams.push_back(std::move(lane.report));
    for (OutputTrack const& track : tracks)
        for (std::string& warning : WarningsOf(track, track.kind == StreamKind::Video ? "pictures: " : "sound: "))
            report.warnings.push_back(std::move(warning));
    report.warnings.insert(report.warnings.end(), writer->GetWarnings().begin(), writer->GetWarnings().end());
}

void ReadOnly(RenderReport& report, BuiltTimeline const& timeline, ProgressCallback const& progress) {
    std::vector<Lane> lanes;
    auto const add = [&](iptr<Proc::IStream> const& stream, char const* kind) {
        if (!stream) return;
        Lane lane;
        lane.stream = stream;
        lane.report.kind = kind;
        lanes.push_back(std::move(lane));
    };
    add(timeline.GetVideo(), "video");
    add(timeline.GetAudio(), "audio");
    ReadInStep(lanes, report.durationUs, progress, [](Lane const&, iptr<Proc::IData> const&) {});
    timeline.CheckCounts();
    for (Lane& lane : lanes) report.streams.push_back(std::move(lane.report));
}

}  // namespace

RenderReport RenderTimeline(BuiltTimeline& timeline, RenderOptions const& options, ProgressCallback const& progress) {
    auto const start = Clock::now();
    RenderReport report;
    TimelinePlan const& plan = timeline.GetPlan();
    report.durationUs = timeline.GetTimeline().duration;
    report.warnings = timeline.GetWarnings();
    report.files = static_cast<int64>(timeline.GetFiles().size());
    for (TimelineTrack const& track : timeline.GetTimeline().tracks)
        report.clips += static_cast<int64>(track.clips.size());
    if (plan.video) {
        report.frames = plan.video->length;
        report.frameRate = plan.video->grid.GetRate();
        report.frame = timeline.GetFormat().frame;
    }
    if (plan.audio) {
        report.samples = timeline.GetSampleCount();
        report.sampleRate = timeline.GetFormat().sound.GetSampleRate();
    }
    if (options.output.empty())
        ReadOnly(report, timeline, progress);
    else
        Write(report, timeline, options, progress);
    report.wallSeconds = std::chrono::duration<double>(Clock::now() - start).count();
    return report;
}

}  // namespace Tarsel::Host
