#include "host/cut/CutJob.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <utility>

#include "contracts/Core/Exception.h"
#include "host/cut/CutAccounting.h"
#include "host/cut/CutSession.h"
#include "host/cut/CutVerifier.h"
#include "host/cut/PacketPump.h"
#include "host/media/CodecFactory.h"
#include "host/media/Containers.h"
#include "host/media/MediaWriter.h"

namespace Tarsel::Host {

namespace {

using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

/// A stream that goes into the result, and the codec to encode it to; empty where its packets are cut.
struct Choice {
    StreamInfo const* info;
    std::string codec;
};

/// What a stream is encoded to when everything is decoded.
std::string ChooseCodec(StreamInfo const& info, ContainerCodecs const& codecs) {
    if (info.kind == StreamKind::Video) return codecs.video;
    return info.kind == StreamKind::Audio ? codecs.audio : std::string();
}

AVCodecID CodecOf(Choice const& choice) {
    AVCodecDescriptor const* const target =
        choice.codec.empty() ? nullptr : avcodec_descriptor_get_by_name(choice.codec.c_str());
    return target ? target->id : choice.info->native->parameters->codec_id;
}

/// The streams of the file that go into the result, in the file's order. What is left out is told in `warnings`.
std::vector<Choice> ChooseStreams(CutRequest const& request, MediaFile& file, std::vector<std::string>& warnings) {
    AVOutputFormat const* const container = request.output.empty() ? nullptr : FindContainer(request.output);
    ContainerCodecs codecs;
    if (request.reencode) codecs = DefaultEncoders(container ? container->name : file.GetContainer());
    std::vector<Choice> chosen;
    for (StreamInfo const& info : file.GetStreams()) {
        if (!info.HasPackets() || info.derived) continue;
        std::string const name =
            "stream #" + std::to_string(info.index) + " (" + std::string(KindName(info.kind)) + ", " + info.codec + ")";
        Choice const choice{&info, request.reencode ? ChooseCodec(info, codecs) : std::string()};
        std::string reason = container ? WhyNotCarried(*container, info.kind, CodecOf(choice)) : std::string();
        if (reason.empty() && file.GetIndex(info.index).GetCount() == 0) reason = "it holds no packets";
        if (reason.empty())
            chosen.push_back(choice);
        else
            warnings.push_back(name + " is left out: " + reason);
    }
    if (chosen.empty()) {
        std::string what = file.GetPath() + ": no stream can go into the result";
        for (std::string const& warning : warnings) what += "; " + warning;
        TARSEL_THROW(Proc::ProcException, what);
    }
    return chosen;
}

/// Chapters in the time of the result; those that are wholly removed are left out.
std::vector<Chapter> MapChapters(std::vector<Chapter> const& chapters, Proc::SettingsFilterCutController const& cuts) {
    std::vector<Chapter> mapped;
    for (Chapter const& chapter : chapters) {
        int64 const begin = cuts.Source2Result(chapter.begin);
        int64 const end = cuts.Source2Result(chapter.end);
        if (begin < end) mapped.push_back({begin, end, chapter.metadata});
    }
    return mapped;
}

/// Enters the session's streams, and all that has no place in time, into the writer.
void FillWriter(MediaWriter& writer, MediaFile& file, CutSession& session) {
    for (CutTrack& track : session.GetTracks())
        track.slot = writer.AddStream(*track.stream->GetFormatCodec(), track.info->kind, track.info);
    for (StreamInfo const& info : file.GetStreams())
        if (info.kind == StreamKind::Attachment || info.kind == StreamKind::AttachedPicture) writer.AddAttachment(info);
    writer.SetMetadata(file.GetMetadata());
    writer.SetChapters(MapChapters(file.GetChapters(), session.GetCuts()));
    writer.Begin();
}

/// A packet that an encoder should have replaced came through as it was: its group was cut at packet level, and what is
/// left of it doesn't decode.
void CheckRecoded(CutSession const& session, std::vector<CutTrack> const& tracks) {
    auto const cuts = session.GetCuts();
    for (CutTrack const& track : tracks) {
        if (track.mode != CutMode::Recode) continue;
        int64 whole = 0;
        for (CutGroup const& group : FindGroups(*track.index))
            if (GetFate(group, cuts) == GroupFate::Copied)
                whole += static_cast<int64>(group.recordEnd - group.firstRecord);
        if (track.copied > whole)
            TARSEL_THROW(Proc::ProcException,
                         "stream #" + std::to_string(track.info->index) +
                             ": a group of pictures could not be encoded again; see the log (-v 31)");
    }
}

CutReport CutStreams(CutRequest const& request, MediaFile& file, MediaWriter* writer,
                     std::vector<Choice> const& streams, ProgressCallback const& progress) {
    CutSession session(request, iptr<MediaFile>(&file));
    for (Choice const& choice : streams) {
        if (choice.codec.empty())
            session.AddStream(*choice.info);
        else
            session.AddDecodedStream(*choice.info, choice.codec);
    }
    session.Start();
    if (writer) FillWriter(*writer, file, session);
    CutVerifier verifier;
    std::optional<PacketPump> pump;
    if (writer) pump.emplace([writer](int slot, Proc::IDataPacket& packet) { writer->Write(slot, packet); });
    int64 const total = file.GetDuration();
    int64 written = 0;
    CutTrack* track = nullptr;
    for (auto packet = session.Read(track); packet; packet = session.Read(track), ++written) {
        bool const inSourceTime = HasValue(packet->GetSourcePosition());
        if (progress) progress(inSourceTime ? packet->GetSourcePosition() : packet->GetTime(), total);
        if (!writer || track->slot == MediaWriter::NO_SLOT) continue;
        if (request.verify) verifier.Note(*track, *packet);
        pump->Push(track->slot, std::move(packet));
    }
    if (pump) pump->Finish();
    CheckRecoded(session, session.GetTracks());
    if (written == 0) TARSEL_THROW(Proc::ProcException, request.input + ": nothing would be left after the cut");
    CutReport report = session.MakeReport();
    if (!writer) return report;
    writer->Close();
    if (request.verify) {
        verifier.Check(writer->GetPartialPath(), session.GetTracks(), progress);
        report.verified = true;
    }
    return report;
}

CutReport Execute(CutRequest const& request, bool write, ProgressCallback const& progress) {
    auto const start = Clock::now();
    iptr<MediaFile> const file = MediaFile::Open(request.input);
    iptr<MediaWriter> writer;
    if (write) writer = MediaWriter::Create(request.output, {request.force, {request.input}});
    std::vector<std::string> warnings;
    auto const streams = ChooseStreams(request, *file, warnings);
    CutReport report = CutStreams(request, *file, writer.get(), streams, progress);
    if (writer) writer->Commit();
    std::vector<std::string> const& read = file->GetWarnings();
    report.warnings.insert(report.warnings.begin(), warnings.begin(), warnings.end());
    report.warnings.insert(report.warnings.begin(), read.begin(), read.end());
    if (writer)
        report.warnings.insert(report.warnings.end(), writer->GetWarnings().begin(), writer->GetWarnings().end());
    report.wallSeconds = SecondsSince(start);
    return report;
}

}  // namespace

CutReport PlanCut(CutRequest const& request, ProgressCallback const& progress) {
    return Execute(request, false, progress);
}

CutReport RunCut(CutRequest const& request, ProgressCallback const& progress) {
    return Execute(request, true, progress);
}

}  // namespace Tarsel::Host
