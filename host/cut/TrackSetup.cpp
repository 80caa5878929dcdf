#include "host/cut/TrackSetup.h"

#include <algorithm>
#include <utility>

#include "contracts/Core/Exception.h"
#include "host/media/CodecFactory.h"
#include "host/media/Containers.h"

namespace Tarsel::Host {

namespace {

/// What a stream is encoded to when everything is decoded.
std::string ChooseCodec(StreamInfo const& info, ContainerCodecs const& codecs) {
    if (info.kind == StreamKind::Video) return codecs.video;
    return info.kind == StreamKind::Audio ? codecs.audio : std::string();
}

AVCodecID CodecOf(StreamChoice const& choice) {
    AVCodecDescriptor const* const target =
        choice.codec.empty() ? nullptr : avcodec_descriptor_get_by_name(choice.codec.c_str());
    return target ? target->id : choice.info->native->parameters->codec_id;
}

}  // namespace

std::vector<StreamChoice> ChooseStreams(MediaFile& file, std::string const& output, bool reencode,
                                        std::vector<std::string>& warnings) {
    AVOutputFormat const* const container = output.empty() ? nullptr : FindContainer(output);
    ContainerCodecs codecs;
    if (reencode) codecs = DefaultEncoders(container ? container->name : file.GetContainer());
    std::vector<StreamChoice> chosen;
    for (StreamInfo const& info : file.GetStreams()) {
        if (!info.HasPackets() || info.derived) continue;
        StreamChoice const choice{&info, reencode ? ChooseCodec(info, codecs) : std::string()};
        std::string reason = container ? WhyNotCarried(*container, info.kind, CodecOf(choice)) : std::string();
        if (reason.empty() && file.GetIndex(info.index).GetCount() == 0) reason = "it holds no packets";
        bool const second = std::any_of(chosen.begin(), chosen.end(),
                                        [&](StreamChoice const& other) { return other.info->kind == info.kind; });
        if (reason.empty() && second && container && HoldsOneOfAKind(*container))
            reason = std::string(container->name) + " can't carry a second stream of its kind";
        if (reason.empty())
            chosen.push_back(choice);
        else
            warnings.push_back(StreamName(info) + " is left out: " + reason);
    }
    if (chosen.empty()) {
        std::string what = file.GetPath() + ": no stream can go into the result";
        for (std::string const& warning : warnings) what += "; " + warning;
        TARSEL_THROW(Proc::ProcException, what);
    }
    return chosen;
}

void ReframeTrack(CutTrack& track, MediaFile& file, std::string const& container) {
    track.reframed = ReframedStream::Create(std::move(track.stream), file, *track.info, container);
    track.stream = track.reframed;
}

void FillWriter(MediaWriter& writer, MediaFile& file, std::vector<CutTrack>& tracks,
                std::vector<Chapter> const& chapters) {
    for (CutTrack& track : tracks)
        track.slot = writer.AddStream(*track.stream->GetFormatCodec(), track.info->kind, track.info);
    for (StreamInfo const& info : file.GetStreams())
        if (info.kind == StreamKind::Attachment || info.kind == StreamKind::AttachedPicture) writer.AddAttachment(info);
    writer.SetMetadata(file.GetMetadata());
    writer.SetChapters(chapters);
    writer.Begin();
}

void WarnOfBrokenFraming(std::vector<CutTrack> const& tracks, std::vector<std::string>& warnings) {
    for (CutTrack const& track : tracks) {
        u64 const count = track.reframed ? track.reframed->GetDroppedCount() : 0;
        if (count != 0)
            warnings.push_back("stream #" + std::to_string(track.info->index) + ": " + std::to_string(count) +
                               " packets with broken framing are left out");
    }
}

}  // namespace Tarsel::Host
