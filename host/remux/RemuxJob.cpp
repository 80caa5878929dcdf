#include "host/remux/RemuxJob.h"

#include <chrono>
#include <utility>

#include "contracts/Core/Exception.h"
#include "host/cut/CutVerifier.h"
#include "host/cut/PacketPump.h"
#include "host/cut/TrackSetup.h"
#include "host/media/MediaWriter.h"
#include "host/media/StepReader.h"

namespace Tarsel::Host {

namespace {

using Clock = std::chrono::steady_clock;

std::vector<CutTrack> OpenTracks(MediaFile& file, std::vector<StreamChoice> const& choices,
                                 std::string const& container) {
    std::vector<CutTrack> tracks;
    for (StreamChoice const& choice : choices) {
        CutTrack track;
        track.info = choice.info;
        track.index = &file.GetIndex(choice.info->index);
        track.stream = file.OpenStream(choice.info->index);
        ReframeTrack(track, file, container);
        // The start of the file is the start of each stream, of sound ahead of time 0 as well.
        track.stream->RequestSeek(0, nullptr);
        track.stream->DoSeek();
        track.stream->FinishSeek();
        tracks.push_back(std::move(track));
    }
    return tracks;
}

RemuxReport::Stream Describe(CutTrack const& track, MediaWriter const& writer) {
    RemuxReport::Stream stream;
    stream.index = track.info->index;
    stream.kind = KindName(track.info->kind);
    stream.codec = track.info->codec;
    stream.packets = track.copied;
    stream.dropped = static_cast<int64>(track.reframed->GetDroppedCount());
    stream.framingIn = FramingName(*track.info->format);
    stream.framingOut = FramingName(*track.stream->GetFormatCodec());
    // The writer puts the headers in front of the frames.
    bool const wantsAdts = ChooseFraming(writer.GetContainer(), stream.codec) == Proc::SettingsFilterBitStream::ADTS;
    if (wantsAdts) stream.framingOut = "adts";
    return stream;
}

/// Fails when not one packet has gone out: a result of empty streams is no result.
void RequirePackets(std::vector<CutTrack> const& tracks, std::string const& input) {
    for (CutTrack const& track : tracks)
        if (track.copied != 0) return;
    std::vector<std::string> reasons;
    WarnOfBrokenFraming(tracks, reasons);
    std::string what = input + ": nothing can go into the result";
    for (std::string const& reason : reasons) what += "; " + reason;
    TARSEL_THROW(Proc::ProcException, what);
}

void CopyPackets(std::vector<CutTrack>& tracks, MediaWriter& writer, CutVerifier* verifier, int64 total,
                 ProgressCallback const& progress) {
    StepReader reader(tracks.size(), [&](std::size_t number) { return tracks[number].stream->Read(); });
    PacketPump pump([&](int slot, Proc::IDataPacket& packet) { writer.Write(slot, packet); });
    std::size_t number = 0;
    while (iptr<Proc::IDataPacket> packet = reader.Read(number)) {
        CutTrack& track = tracks[number];
        if (progress) progress(packet->GetTime(), total);
        if (track.slot == MediaWriter::NO_SLOT) continue;
        ++track.copied;
        if (verifier) verifier->Note(track, *packet);
        pump.Push(track.slot, std::move(packet));
    }
    pump.Finish();
}

}  // namespace

RemuxReport RunRemux(RemuxRequest const& request, ProgressCallback const& progress) {
    auto const start = Clock::now();
    iptr<MediaFile> const file = MediaFile::Open(request.input);
    iptr<MediaWriter> const writer = MediaWriter::Create(request.output, {request.force, {request.input}});
    RemuxReport report;
    report.input = request.input;
    report.output = request.output;
    report.container = writer->GetContainer();
    std::vector<std::string> warnings;
    auto const choices = ChooseStreams(*file, request.output, false, warnings);
    std::vector<CutTrack> tracks = OpenTracks(*file, choices, report.container);
    FillWriter(*writer, *file, tracks, file->GetChapters());
    CutVerifier verifier;
    CopyPackets(tracks, *writer, request.verify ? &verifier : nullptr, file->GetDuration(), progress);
    RequirePackets(tracks, request.input);
    writer->Close();
    if (request.verify) {
        verifier.Check(writer->GetPartialPath(), tracks, progress);
        report.verified = true;
    }
    writer->Commit();
    for (CutTrack const& track : tracks)
        if (track.slot != MediaWriter::NO_SLOT) report.streams.push_back(Describe(track, *writer));
    report.warnings = file->GetWarnings();
    report.warnings.insert(report.warnings.end(), warnings.begin(), warnings.end());
    WarnOfBrokenFraming(tracks, report.warnings);
    report.warnings.insert(report.warnings.end(), writer->GetWarnings().begin(), writer->GetWarnings().end());
    report.wallSeconds = std::chrono::duration<double>(Clock::now() - start).count();
    return report;
}

}  // namespace Tarsel::Host
