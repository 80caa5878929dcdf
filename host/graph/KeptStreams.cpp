#include "host/graph/KeptStreams.h"

#include <algorithm>
#include <utility>

#include "host/media/CodecFactory.h"
#include "host/media/Containers.h"
#include "host/media/NativeParameters.h"

namespace Tarsel::Host {

KeptStreams::KeptStreams(FormMaker& maker, MediaFile const& file, ShortFormOptions const& options)
    : maker(maker), file(file), options(options), container(maker.GetContainer()) {}

std::vector<StreamInfo const*> KeptStreams::GetStreams() const {
    std::vector<StreamInfo const*> streams;
    for (StreamInfo const& info : file.GetStreams())
        if (!info.derived && info.kind != StreamKind::Attachment && info.kind != StreamKind::AttachedPicture)
            streams.push_back(&info);
    return streams;
}

bool KeptStreams::HasRoom(StreamInfo const& info) {
    std::string why;
    if (!info.HasPackets())
        why = "";
    else if (file.GetIndex(info.index).GetCount() == 0)
        why = "it holds no packets";
    else if (container && HasTaken(info.kind) && HoldsOneOfAKind(*container))
        why = std::string(container->name) + " holds one stream of a kind";
    else
        return true;
    maker.WarnLeftOut(file, info, why);
    return false;
}

bool KeptStreams::Encodes(StreamKind kind) const {
    if (!container) return kind == StreamKind::Video || kind == StreamKind::Audio;
    ContainerCodecs const codecs = DefaultEncoders(container->name);
    if (kind == StreamKind::Video) return !codecs.video.empty();
    return kind == StreamKind::Audio && !codecs.audio.empty();
}

StreamSelector KeptStreams::Select(StreamInfo const& info) const {
    bool const named = info.kind != StreamKind::Data && info.kind != StreamKind::Unknown;
    if (!named) return {{}, info.index};
    auto const& streams = file.GetStreams();
    auto const ordinal = std::count_if(streams.begin(), streams.end(), [&](StreamInfo const& other) {
        return other.kind == info.kind && other.index < info.index;
    });
    return {info.kind, static_cast<int>(ordinal)};
}

void KeptStreams::AddEncoded(StreamInfo const& info, NodeId top) {
    taken.push_back(info.kind);
    if (info.kind == StreamKind::Audio) return maker.AddSoundOutput(top);
    GraphOutput::Stream stream;
    stream.input = top;
    stream.codec = options.videoCodec;
    stream.quality = options.quality;
    maker.AddOutput(std::move(stream));
}

std::string KeptStreams::WhyNoPackets(StreamInfo const& info) const {
    if (!container) return {};
    AVCodecParameters const& parameters = *info.native->parameters;
    // One time a picture: those that wait for a later one would come behind the sound.
    if (info.kind == StreamKind::Video && IsAvi(*container) && parameters.video_delay > 0)
        return "avi can't tell the times of pictures that are shown out of order";
    return WhyNotCarried(*container, info.kind, parameters.codec_id);
}

void KeptStreams::AddUnchanged(StreamInfo const& info) {
    std::string const why = WhyNoPackets(info);
    if (!why.empty() && !Encodes(info.kind)) return maker.WarnLeftOut(file, info, why);
    if (!why.empty()) {
        maker.Warn(file.GetPath() + ": " + StreamName(info) + " is encoded anew: " + why);
        return AddEncoded(info, maker.AddSource(file.GetPath(), Select(info)));
    }
    taken.push_back(info.kind);
    GraphOutput::Stream stream;
    stream.input = maker.AddSource(file.GetPath(), Select(info), true);
    maker.AddOutput(std::move(stream));
}

bool KeptStreams::HasTaken(StreamKind kind) const {
    return std::find(taken.begin(), taken.end(), kind) != taken.end();
}

}  // namespace Tarsel::Host
