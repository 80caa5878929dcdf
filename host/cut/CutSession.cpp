#include "host/cut/CutSession.h"

#include <algorithm>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsFilterCutController.h"
#include "host/cut/CutAccounting.h"
#include "host/cut/CutCodecs.h"
#include "host/cut/CutRanges.h"
#include "host/graph/FilterRegistry.h"
#include "host/media/AudioDecoder.h"
#include "host/media/AudioEncoder.h"
#include "host/media/VideoDecoder.h"
#include "host/media/VideoEncoder.h"

namespace Tarsel::Host {

namespace {

iptr<Proc::IFilterCutController> MakeController() {
    auto const registry = MakeFilterRegistry();
    auto const factory = registry->Find(Proc::FilterSlots::CUT_CONTROLLER, Proc::ImplNames::TARSEL);
    if (!factory) TARSEL_THROW(Proc::ProcException, "The filters library offers no cut controller");
    return factory(Proc::SettingsFilterCutController(), nullptr);
}

}  // namespace

CutSession::CutSession(CutRequest const& request, iptr<MediaFile> file)
    : request(request), file(std::move(file)), controller(MakeController()) {}

CutTrack CutSession::MakeTrack(StreamInfo const& info) const {
    CutTrack track;
    track.info = &info;
    track.index = &file->GetIndex(info.index);
    return track;
}

CutTrack& CutSession::AddDecodedStream(StreamInfo const& info, std::string const& codec) {
    CutTrack track = MakeTrack(info);
    DecoderOptions options;
    options.threading = DecoderOptions::Threading::Frames;
    if (info.kind == StreamKind::Video) {
        iptr<Proc::IStreamVideo> const pictures = controller->AddStream(
            iptr<Proc::IStreamVideo>(VideoDecoder::Create(file->OpenStream(info.index), "", options)));
        VideoEncoderOptions encoding;
        encoding.purpose = VideoEncoderOptions::Purpose::Encode;
        encoding.codecId = codec;
        track.stream = VideoEncoder::Create(pictures, Core::Property(), encoding, nullptr);
    } else {
        iptr<Proc::IStreamAudio> const sound = controller->AddStream(
            iptr<Proc::IStreamAudio>(AudioDecoder::Create(file->OpenStream(info.index), "", options)));
        AudioEncoderOptions encoding;
        encoding.codecId = codec;
        track.stream = AudioEncoder::Create(sound, encoding);
    }
    track.mode = CutMode::Reencode;
    track.reason = "everything is decoded, cut exactly and encoded to " + codec;
    tracks.push_back(std::move(track));
    return tracks.back();
}

CutTrack& CutSession::AddStream(StreamInfo const& info) {
    CutTrack track = MakeTrack(info);
    std::string refusal;
    controller->SetCodecFacory(ChooseCutCodecs(info, *track.index, refusal));
    track.stream = controller->AddStream(file->OpenStream(info.index));
    if (!track.stream)
        TARSEL_THROW(Proc::ProcException,
                     "stream #" + std::to_string(info.index) + " can't be cut: the controller has no use for it");
    DescribeMode(track, refusal);
    tracks.push_back(std::move(track));
    return tracks.back();
}

void CutSession::DescribeMode(CutTrack& track, std::string const& refusal) const {
    if (!track.IsVideo()) {
        track.mode = CutMode::Packet;
        track.reason = "whole packets are kept or dropped";
        return;
    }
    Core::Property const settings = track.stream->GetSettings();
    if (settings.ChildExists("CanRecode") && settings["CanRecode"].GetBool()) {
        track.mode = CutMode::Recode;
        track.reason =
            "the group of pictures that holds a boundary is encoded again with " + settings["EncoderName"].GetString();
        return;
    }
    track.mode = CutMode::Gop;
    track.reason =
        "cut at random access points: " +
        (!refusal.empty() ? refusal : "no encoder continues " + track.info->codec + " under the stream's own header");
}

std::vector<int64> CutSession::FindPictureTimes() const {
    for (CutTrack const& track : tracks)
        if (track.IsVideo()) return track.index->GetTimes();
    return {};
}

void CutSession::Start() {
    Intervals removed = ResolveRanges(request, file->GetDuration(), FindPictureTimes(), warnings);
    if (request.snap == CutRequest::Snap::Less) {
        auto const bound = std::find_if(tracks.begin(), tracks.end(),
                                        [](CutTrack const& track) { return track.mode == CutMode::Gop; });
        if (bound != tracks.end()) removed = SnapInward(removed, bound->index->GetRandomAccessTimes(), warnings);
    }
    Proc::SettingsFilterCutController settings;
    for (Interval const& interval : removed) settings.AddInterval(interval.begin, interval.end, NO_VALUE, false);
    controller->UpdateSettings(settings);

    // Sound may begin ahead of time 0 (priming): the earliest packet of all streams is the start.
    int64 start = 0;
    for (CutTrack const& track : tracks)
        if (track.mode != CutMode::Reencode && HasValue(track.index->GetStartTime()))
            start = std::min(start, track.index->GetStartTime());
    for (CutTrack& track : tracks) track.stream->RequestSeek(start, nullptr);
    for (CutTrack& track : tracks) track.stream->DoSeek();
    for (CutTrack& track : tracks) track.stream->FinishSeek();
    cuts = controller->GetCutSettings();
    WarnOfMovedEnds(settings);
    reader.emplace(tracks.size(), [this](std::size_t number) { return Fetch(tracks[number]); });
}

void CutSession::WarnOfMovedEnds(Proc::SettingsFilterCutController const& asked) {
    if (cuts == asked) return;
    std::string ranges;
    for (auto const& [begin, end] : GetRemoved(cuts, file->GetDuration()))
        ranges += (ranges.empty() ? "" : ", ") + ShortTime(begin) + " - " + ShortTime(end);
    warnings.push_back("removed ranges widened to whole groups of pictures: " + ranges);
}

void CutSession::Adjust(CutTrack const& track, iptr<Proc::IDataPacket> const& packet) const {
    // An event that lasts into a removed stretch is shown until the cut, not beyond it.
    if (track.info->kind != StreamKind::Subtitle || !HasValue(packet->GetSourcePosition())) return;
    int64 const end = AddTime(packet->GetSourcePosition(), packet->GetDuration());
    int64 const left = SubTime(cuts.Source2Result(end), packet->GetTime());
    if (HasValue(left) && left < packet->GetDuration()) packet->SetDuration(left);
}

iptr<Proc::IDataPacket> CutSession::Fetch(CutTrack& track) const {
    iptr<Proc::IDataPacket> packet = Proc::MakeOwn(track.stream->Read());
    if (!packet) return nullptr;
    bool const recoded = !HasValue(packet->GetSourcePosition());
    (recoded ? track.recoded : track.copied) += 1;
    Adjust(track, packet);
    return packet;
}

iptr<Proc::IDataPacket> CutSession::Read(CutTrack*& track) {
    std::size_t number = 0;
    iptr<Proc::IDataPacket> packet = reader->Read(number);
    track = packet ? &tracks[number] : nullptr;
    return packet;
}

CutReport CutSession::MakeReport() const {
    CutReport report;
    report.input = request.input;
    report.output = request.output;
    report.durationUs = file->GetDuration();
    auto const list = controller->GetCutSettings();
    report.removedUs = GetRemoved(list, report.durationUs);
    report.warnings = warnings;
    for (CutTrack const& track : tracks) {
        report.streams.push_back(AccountStream(track, list, report.durationUs));
        std::string const name = "stream #" + std::to_string(track.info->index) + ": ";
        if (int64 const lost = CountLostLeadingPictures(track, list); lost != 0)
            report.warnings.push_back(
                name + std::to_string(lost) +
                " pictures go that are shown ahead of a key picture whose group is removed or cut");
        if (int64 const seams = CountOpenSeams(track, list); seams != 0)
            report.warnings.push_back(name + std::to_string(seams) +
                                      " joints at open groups: a decoder may withhold up to 16 pictures at each, and "
                                      "pictures beside it that refer "
                                      "to the removed ones may differ");
    }
    return report;
}

}  // namespace Tarsel::Host
