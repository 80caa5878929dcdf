#include "host/graph/GraphOutput.h"

#include <stdexcept>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Core/Property.h"
#include "host/graph/GraphErrors.h"
#include "host/media/AudioEncoder.h"
#include "host/media/CodecFactory.h"
#include "host/media/Containers.h"
#include "host/media/SubtitleEncoder.h"
#include "host/media/VideoEncoder.h"

extern "C" {
#include <libavcodec/codec_desc.h>
}

namespace Tarsel::Host {

namespace {

constexpr int64 LOWEST_BIT_RATE = 1000;
constexpr int64 HIGHEST_BIT_RATE = 2000000;

std::string const& CodecFor(StreamKind kind, ContainerCodecs const& codecs) {
    if (kind == StreamKind::Video) return codecs.video;
    return kind == StreamKind::Audio ? codecs.audio : codecs.subtitle;
}

bool IsLossless(std::string const& codec) {
    return codec.rfind("pcm_", 0) == 0 || codec == "flac" || codec == "alac";
}

void CheckCodec(EncodingChoice const& choice, StreamKind kind) {
    AVCodecDescriptor const* const known = avcodec_descriptor_get_by_name(choice.codec.c_str());
    AVMediaType const type = kind == StreamKind::Video   ? AVMEDIA_TYPE_VIDEO
                             : kind == StreamKind::Audio ? AVMEDIA_TYPE_AUDIO
                                                         : AVMEDIA_TYPE_SUBTITLE;
    if (!known || known->type != type)
        TARSEL_THROW(std::invalid_argument,
                     "there is no codec \"" + choice.codec + "\" for " + std::string(KindName(kind)));
    bool const encoded = kind == StreamKind::Video ? QualityScaleOf(choice.codec).has_value()
                                                   : avcodec_find_encoder(known->id) != nullptr;
    if (!encoded) TARSEL_THROW(std::invalid_argument, "there is no encoder for " + choice.codec);
}

void CheckQuality(EncodingChoice const& choice, StreamKind kind) {
    if (!choice.quality) return;
    if (kind == StreamKind::Audio)
        TARSEL_THROW(std::invalid_argument, choice.codec + " is told its bit rate, not a quality");
    if (kind != StreamKind::Video) TARSEL_THROW(std::invalid_argument, choice.codec + " has no scale of quality");
    if (std::string const refusal = WhyNoQuality(choice.codec, *choice.quality); !refusal.empty())
        TARSEL_THROW(std::invalid_argument, refusal);
}

void CheckBitRate(EncodingChoice const& choice, StreamKind kind) {
    if (choice.bitRate == 0) return;
    if (kind != StreamKind::Audio) TARSEL_THROW(std::invalid_argument, "only sound is told its bit rate");
    if (IsLossless(choice.codec)) TARSEL_THROW(std::invalid_argument, choice.codec + " has no bit rate to choose");
    if (choice.bitRate < LOWEST_BIT_RATE || choice.bitRate > HIGHEST_BIT_RATE)
        TARSEL_THROW(std::invalid_argument, "bit rate " + std::to_string(choice.bitRate) + " is out of the range " +
                                                std::to_string(LOWEST_BIT_RATE) + " to " +
                                                std::to_string(HIGHEST_BIT_RATE));
}

StreamKind KindOf(BuiltNode const& node) {
    switch (node.GetKind()) {
        case GraphKind::Video:
            return StreamKind::Video;
        case GraphKind::Audio:
            return StreamKind::Audio;
        case GraphKind::Subtitle:
            return StreamKind::Subtitle;
        case GraphKind::Packets:
            break;
    }
    return node.origin.info ? node.origin.info->kind : StreamKind::Unknown;
}

void EncodeVideo(OutputTrack& track, iptr<Proc::IStreamVideo> const& pictures, EncodingChoice const& choice,
                 std::string const& container) {
    // Their encoders take no picture that ends inside of a sample of colour.
    bool const wholeColour = choice.codec == Conf::IFormatCodecVideo::CODEC_ID_H264 ||
                             choice.codec == Conf::IFormatCodecVideo::CODEC_ID_H265;
    track.fitted = FittedVideo::Create(pictures, wholeColour);
    VideoEncoderOptions options;
    options.purpose = VideoEncoderOptions::Purpose::Encode;
    options.codecId = choice.codec;
    options.quality = choice.quality;
    // Drawn pictures are there to be looked at; those of a file keep what they have.
    options.forEveryPlayer = !track.node->origin.file;
    iptr<Proc::IStreamVideo> last = track.fitted;
    if (container == "avi") {
        // AVI's ticks are pictures: finer ones would be filled with empty packets. It tells one time of each picture,
        // so that a picture that waits for a later one would put all of them behind the sound.
        options.ticksOfRate = true;
        options.bFrames = 0;
        track.regular = RegularVideo::Create(track.fitted);
        last = track.regular;
    }
    track.packets = VideoEncoder::Create(last, Core::Property(), options, nullptr);
}

void EncodeAudio(OutputTrack& track, iptr<Proc::IStreamAudio> const& samples, EncodingChoice const& choice) {
    track.continuous = ContinuousAudio::Create(samples);
    AudioEncoderOptions options;
    options.codecId = choice.codec;
    options.bitRate = choice.bitRate;
    track.packets = AudioEncoder::Create(track.continuous, options);
}

void Reframe(OutputTrack& track, iptr<Proc::IStreamRaw> const& packets, std::string const& container) {
    GraphOrigin const& origin = track.node->origin;
    track.reframed = origin.file ? ReframedStream::Create(packets, *origin.file, *origin.info, container)
                                 : ReframedStream::Create(packets, container);
    track.packets = track.reframed;
}

void TakePackets(OutputTrack& track, iptr<Proc::IStreamRaw> const& packets, GraphOutput::Stream const& asked,
                 std::string const& container) {
    if (!asked.codec.empty() || asked.quality || asked.bitRate != 0)
        TARSEL_THROW(std::invalid_argument, "packets go out as they are: they take no codec, quality or bit rate");
    Reframe(track, packets, container);
}

void MakePackets(OutputTrack& track, GraphOutput::Stream const& asked, std::string const& container) {
    GraphStream const& stream = track.node->stream;
    if (track.node->GetKind() == GraphKind::Packets)
        return TakePackets(track, std::get<iptr<Proc::IStreamRaw>>(stream), asked, container);
    EncodingChoice const choice = ChooseEncoding(asked, track.kind, container);
    if (auto const* const pictures = std::get_if<iptr<Proc::IStreamVideo>>(&stream))
        EncodeVideo(track, *pictures, choice, container);
    else if (auto const* const samples = std::get_if<iptr<Proc::IStreamAudio>>(&stream))
        EncodeAudio(track, *samples, choice);
    else
        track.packets = SubtitleEncoder::Create(std::get<iptr<Proc::IStreamSubtitle>>(stream), choice.codec);
    Reframe(track, track.packets, container);
}

}  // namespace

std::string ContainerName(std::string const& path) {
    return FindContainer(path)->name;
}

EncodingChoice ChooseEncoding(GraphOutput::Stream const& asked, StreamKind kind, std::string const& container) {
    EncodingChoice choice{asked.codec, asked.quality, asked.bitRate};
    if (choice.codec.empty()) {
        try {
            choice.codec = CodecFor(kind, DefaultEncoders(container));
        } catch (Proc::CodecFactoryException const& failure) {
            TARSEL_THROW(std::invalid_argument, failure.what());
        }
    }
    if (choice.codec.empty())
        TARSEL_THROW(std::invalid_argument,
                     container + " is written with no " + std::string(KindName(kind)) + " unless a codec is named");
    CheckCodec(choice, kind);
    CheckQuality(choice, kind);
    CheckBitRate(choice, kind);
    return choice;
}

OutputTrack MakeOutputTrack(BuiltNode const& node, GraphOutput::Stream const& asked, MediaWriter const& writer) {
    OutputTrack track;
    track.node = &node;
    track.kind = KindOf(node);
    MakePackets(track, asked, writer.GetContainer());
    std::string const refusal = writer.CanCarry(*track.packets->GetFormatCodec(), track.kind);
    if (!refusal.empty()) TARSEL_THROW(std::invalid_argument, refusal);
    return track;
}

std::vector<OutputTrack> MakeOutputTracks(BuiltGraph const& graph, MediaWriter const& writer) {
    GraphOutput const& output = graph.GetDocument().output;
    std::vector<OutputTrack> tracks;
    for (std::size_t i = 0; i < output.streams.size(); ++i) {
        GraphOutput::Stream const& asked = output.streams[i];
        try {
            tracks.push_back(MakeOutputTrack(graph.GetNode(asked.input), asked, writer));
        } catch (GraphException const&) {
            throw;
        } catch (std::exception const& failure) {
            FailAtNode(asked.input, output.pointer + "/streams/" + std::to_string(i), failure.what());
        }
    }
    if (tracks.empty()) FailAtPlace(output.pointer, "no stream goes into the file");
    return tracks;
}

std::vector<std::string> WarningsOf(OutputTrack const& track, std::string const& name) {
    std::vector<std::string> warnings;
    if (track.fitted)
        for (std::string const& note : track.fitted->GetNotes())
            warnings.push_back(name + "pictures are fitted: " + note);
    if (track.regular && track.regular->GetDroppedCount() != 0)
        warnings.push_back(name + std::to_string(track.regular->GetDroppedCount()) +
                           " pictures are left out: their places in the container's regular times are taken");
    u64 const dropped = track.reframed ? track.reframed->GetDroppedCount() : 0;
    if (dropped != 0) warnings.push_back(name + std::to_string(dropped) + " packets with broken framing are left out");
    return warnings;
}

std::vector<std::string> WarningsOf(std::vector<OutputTrack> const& tracks) {
    std::vector<std::string> warnings;
    for (OutputTrack const& track : tracks)
        for (std::string& warning : WarningsOf(track, "node " + std::to_string(track.node->id) + ": "))
            warnings.push_back(std::move(warning));
    return warnings;
}

}  // namespace Tarsel::Host
