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
#include "host/cut/TrackSetup.h"
#include "host/media/MediaWriter.h"

namespace Tarsel::Host {

namespace {

using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
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
                     std::vector<StreamChoice> const& streams, ProgressCallback const& progress) {
    CutSession session(request, iptr<MediaFile>(&file));
    for (StreamChoice const& choice : streams) {
        if (choice.codec.empty())
            session.AddStream(*choice.info);
        else
            session.AddDecodedStream(*choice.info, choice.codec);
    }
    if (writer)
        for (CutTrack& track : session.GetTracks()) ReframeTrack(track, file, writer->GetContainer());
    session.Start();
    if (writer) FillWriter(*writer, file, session.GetTracks(), MapChapters(file.GetChapters(), session.GetCuts()));
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
    WarnOfBrokenFraming(session.GetTracks(), report.warnings);
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
    auto const streams = ChooseStreams(*file, request.output, request.reencode, warnings);
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
