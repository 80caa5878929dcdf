#include "host/digest/FrameHashes.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <set>
#include <utility>
#include <variant>

#include "contracts/Core/Exception.h"
#include "host/digest/FrameHashText.h"
#include "host/digest/PacketStamps.h"
#include "host/graph/GraphErrors.h"
#include "host/media/DecoderContext.h"
#include "host/media/ForwardingStream.h"

extern "C" {
#include <libavcodec/codec_desc.h>
#include <libavutil/channel_layout.h>
#include <libavutil/imgutils.h>
}

namespace Tarsel::Host {

using namespace Proc;

namespace {

/// What is noted of an item.
struct Note {
    int64 time = NO_VALUE;
    int64 decodingTime = NO_VALUE;
    int64 duration = NO_VALUE;
    std::size_t size = 0;
    /// Where the record's digest is not that of the bytes as the format wants them.
    std::string hash;
    std::string sideData;
    /// A packet without payload isn't in the record.
    bool recorded = true;
};

/// A node: what it gives, and what came of it. Of whoever reads the node; asked when the run has ended.
class Lane : public RefCounted {
  public:
    explicit Lane(NodeId id) : id(id), parameters(avcodec_parameters_alloc()) {
        if (!parameters) TARSEL_THROW(Core::IOException, "out of memory");
    }

    NodeId const id;
    bool isTitles = false;
    ParametersPtr parameters;
    AVRational timeBase = MICROSECONDS;
    AVRational sampleAspect{0, 1};
    bool hasOwnAspect = false;
    /// Of packets of a media file: null for others.
    StreamStamps const* stamps = nullptr;
    /// What the file's clock says at time 0.
    int64 zero = 0;
    std::vector<Note> notes;
};

AVRational PictureTime(Ratio const& rate) {
    AVRational time = MICROSECONDS;
    if (rate.numerator() > 0)
        av_reduce(&time.num, &time.den, rate.denominator(), rate.numerator(), std::numeric_limits<int>::max());
    return time;
}

// How a node's stream is told of in the file's head.

void SetPicture(Lane& lane, Conf::FrameInfo const& info) {
    lane.parameters->width = info.width;
    lane.parameters->height = info.height;
    if (!lane.hasOwnAspect) lane.sampleAspect = {info.pixelAspectNum, info.pixelAspectDen};
}

void SetSound(Lane& lane, Conf::SampleInfo const& info) {
    AVCodecParameters& parameters = *lane.parameters;
    parameters.codec_type = AVMEDIA_TYPE_AUDIO;
    AVSampleFormat const packed = av_get_packed_sample_fmt(static_cast<AVSampleFormat>(info.GetSampleFormat()));
    parameters.codec_id = av_get_pcm_codec(packed, -1);
    parameters.sample_rate = info.GetSampleRate();
    av_channel_layout_uninit(&parameters.ch_layout);
    av_channel_layout_from_mask(&parameters.ch_layout, info.GetChannelLayout());
    if (info.GetSampleRate() > 0) lane.timeBase = {1, info.GetSampleRate()};
}

void Describe(Lane& lane, BuiltNode const& node, IStreamVideo const& stream) {
    auto const format = stream.GetFormatCodec();
    lane.parameters->codec_type = AVMEDIA_TYPE_VIDEO;
    lane.parameters->codec_id = AV_CODEC_ID_RAWVIDEO;
    // Of a file's own pictures its container tells the shape of the pixels. Where it is unknown it stays so in the
    // format; pictures themselves call it square.
    if (node.classId == "source" && node.origin.info) {
        lane.sampleAspect = node.origin.info->native->sampleAspect;
        lane.hasOwnAspect = true;
    }
    if (!format) return;
    lane.timeBase = PictureTime(format->GetFrameRate());
    SetPicture(lane, format->GetFrameInfo());
}

void Describe(Lane& lane, BuiltNode const&, IStreamAudio const& stream) {
    if (auto const format = stream.GetFormatCodec()) SetSound(lane, format->GetSampleInfo());
}

void Describe(Lane& lane, BuiltNode const&, IStreamSubtitle const&) {
    lane.isTitles = true;
}

void SetHeader(AVCodecParameters& parameters, IBlob const& header) {
    av_freep(&parameters.extradata);
    parameters.extradata_size = 0;
    auto* const copy = static_cast<u8*>(av_mallocz(header.GetSize() + AV_INPUT_BUFFER_PADDING_SIZE));
    if (!copy) TARSEL_THROW(Core::IOException, "out of memory");
    std::memcpy(copy, header.GetData(), header.GetSize());
    parameters.extradata = copy;
    parameters.extradata_size = static_cast<int>(header.GetSize());
}

AVMediaType FFmpegType(MediaType type) {
    switch (type) {
        case MEDIA_TYPE_VIDEO:
            return AVMEDIA_TYPE_VIDEO;
        case MEDIA_TYPE_AUDIO:
            return AVMEDIA_TYPE_AUDIO;
        case MEDIA_TYPE_SUBTITLE:
            return AVMEDIA_TYPE_SUBTITLE;
        default:
            return AVMEDIA_TYPE_DATA;
    }
}

void Describe(Lane& lane, BuiltNode const&, IStreamRaw const& stream) {
    auto const format = stream.GetFormatCodec();
    AVCodecParameters& parameters = *lane.parameters;
    parameters.codec_type = FFmpegType(stream.GetMediaType());
    if (!format) return;
    if (NativeParameters const* const native = FindNativeParameters(*format)) {
        if (avcodec_parameters_copy(&parameters, native->parameters.get()) < 0)
            TARSEL_THROW(Core::IOException, "out of memory");
        lane.timeBase = native->timeBase;
        lane.sampleAspect = native->sampleAspect;
    } else if (AVCodecDescriptor const* const codec = avcodec_descriptor_get_by_name(format->GetCodecID().c_str())) {
        parameters.codec_id = codec->id;
    }
    if (auto const header = format->GetExtradata()) SetHeader(parameters, *header);
}

// What is noted of an item.

Note NoteOf(Lane& lane, IDataVideo& frame) {
    if (lane.notes.empty()) SetPicture(lane, frame.GetFrameInfo());
    Note note;
    int const size = av_image_get_buffer_size(static_cast<AVPixelFormat>(frame.GetPixelFormat()), frame.GetWidth(),
                                              frame.GetHeight(), 1);
    note.size = static_cast<std::size_t>(std::max(size, 0));
    return note;
}

std::string HashInterleaved(IBlob const& planes, std::size_t channels, std::size_t sampleSize) {
    std::size_t const size = planes.GetSize();
    std::size_t const plane = size / channels;
    std::vector<u8> bytes(size);
    u8 const* const from = planes.GetData();
    u8* to = bytes.data();
    for (std::size_t at = 0; at + sampleSize <= plane; at += sampleSize)
        for (std::size_t channel = 0; channel < channels; ++channel, to += sampleSize)
            std::memcpy(to, from + channel * plane + at, sampleSize);
    return HashBytes(bytes.data(), bytes.size());
}

Note NoteOf(Lane& lane, IDataAudio& block) {
    if (lane.notes.empty()) SetSound(lane, block.GetSampleInfo());
    Note note;
    auto const samples = block.GetBlob();
    auto const channels = static_cast<std::size_t>(std::max(block.GetChannelCount(), 0));
    note.size = samples->GetSize();
    if (Conf::IsPlanar(block.GetSampleFormat()) && channels > 1)
        note.hash = HashInterleaved(*samples, channels,
                                    static_cast<std::size_t>(Conf::BytesPerSample(block.GetSampleFormat())));
    return note;
}

Note NoteOf(Lane& lane, IDataPacket& packet) {
    Note note;
    note.decodingTime = packet.GetDecodingTime();
    note.size = packet.GetSize();
    note.recorded = note.size != 0;
    if (!note.recorded) note.hash = HashBytes(nullptr, 0);
    if (!lane.stamps) note.sideData = SideDataText(*packet.GetAVPacket());
    return note;
}

Note NoteOf(Lane&, IDataSubtitle&) {
    return {};
}

/// Notes what comes through. Everything else passes untouched.
template <class T>
class NotedStream final : public ForwardingStream<T> {
  public:
    using typename ForwardingStream<T>::DataType;

    NotedStream(iptr<T> source, iptr<Lane> lane) : ForwardingStream<T>(std::move(source)), lane(std::move(lane)) {}

    iptr<DataType> Read() override {
        iptr<DataType> item = this->stream->Read();
        if (!item) return item;
        Note note = NoteOf(*lane, *item);
        note.time = item->GetTime();
        note.duration = item->GetDuration();
        if (!HasValue(note.decodingTime)) note.decodingTime = note.time;
        lane->notes.push_back(std::move(note));
        return item;
    }

  private:
    iptr<Lane> const lane;
};

GraphStream Noted(GraphStream stream, iptr<Lane> const& lane) {
    return std::visit(
        [&]<class T>(iptr<T>& typed) -> GraphStream {
            return iptr<T>(MakeShared<NotedStream<T>>(std::move(typed), lane));
        },
        stream);
}

FrameHashLine MakeLine(Lane const& lane, std::size_t number, std::string const& digest) {
    Note const& note = lane.notes[number];
    FrameHashLine line;
    line.pts = FromMicroseconds(AddTime(note.time, lane.zero), lane.timeBase);
    line.dts = FromMicroseconds(AddTime(note.decodingTime, lane.zero), lane.timeBase);
    line.duration = HasValue(note.duration) ? FromMicroseconds(note.duration, lane.timeBase) : 0;
    line.size = note.size;
    line.hash = note.hash.empty() ? digest : note.hash;
    line.sideData = note.sideData;
    if (!lane.stamps || number >= lane.stamps->packets.size()) return line;
    PacketStamp const& stamp = lane.stamps->packets[number];
    // In a damaged file the index may have passed packets over: then the stamps are those of others.
    if (stamp.size != note.size) return line;
    line.pts = stamp.pts;
    line.dts = stamp.dts;
    line.duration = stamp.duration;
    line.sideData = stamp.sideData;
    return line;
}

FrameHashStream MakeStream(Lane const& lane, GraphCRCData const& record) {
    FrameHashStream stream;
    stream.parameters.reset(avcodec_parameters_alloc());
    AVCodecParameters const& parameters = lane.stamps ? *lane.stamps->parameters : *lane.parameters;
    if (!stream.parameters || avcodec_parameters_copy(stream.parameters.get(), &parameters) < 0)
        TARSEL_THROW(Core::IOException, "out of memory");
    stream.timeBase = lane.timeBase;
    stream.sampleAspect = lane.stamps ? lane.stamps->sampleAspect : lane.sampleAspect;
    if (stream.sampleAspect.den == 0) stream.sampleAspect.den = 1;
    auto const found = record.GetFilterCRCInfoList().find(lane.id);
    static std::vector<PacketCRCInfo> const none;
    auto const& items = found == record.GetFilterCRCInfoList().end() ? none : found->second.GetPacketCRCInfoList();
    auto const count =
        std::count_if(lane.notes.begin(), lane.notes.end(), [](Note const& note) { return note.recorded; });
    if (items.size() != static_cast<std::size_t>(count))
        FailAtNode(lane.id, "",
                   "gave " + std::to_string(count) + " items, the record holds " + std::to_string(items.size()));
    stream.lines.reserve(lane.notes.size());
    auto item = items.begin();
    for (std::size_t i = 0; i < lane.notes.size(); ++i)
        stream.lines.push_back(MakeLine(lane, i, lane.notes[i].recorded ? (item++)->GetCRC() : ""));
    return stream;
}

}  // namespace

std::vector<NodeId> FindEnds(GraphDocument const& document) {
    std::vector<NodeId> ends;
    for (GraphOutput::Stream const& stream : document.output.streams) ends.push_back(stream.input);
    if (!ends.empty()) return ends;
    std::set<NodeId> read;
    for (GraphFilter const& filter : document.filters) read.insert(filter.inputs.begin(), filter.inputs.end());
    for (GraphController const& controller : document.controllers)
        for (GraphController::Stream const& stream : controller.streams) read.insert(stream.input);
    auto const add = [&](NodeId id) {
        if (read.count(id) == 0) ends.push_back(id);
    };
    for (GraphSource const& source : document.sources) add(source.id);
    for (GraphFilter const& filter : document.filters) add(filter.id);
    for (GraphController const& controller : document.controllers)
        for (GraphController::Stream const& stream : controller.streams) add(stream.id);
    return ends;
}

struct FrameHashes::State {
    explicit State(std::vector<NodeId> const& nodes) {
        std::set<NodeId> known;
        for (NodeId const id : nodes)
            if (known.insert(id).second) lanes.push_back(MakeShared<Lane>(id));
    }

    GraphStream Wrap(BuiltNode const& node, GraphStream stream) const {
        auto const found =
            std::find_if(lanes.begin(), lanes.end(), [&](iptr<Lane> const& lane) { return lane->id == node.id; });
        if (found == lanes.end()) return stream;
        Lane& lane = **found;
        std::visit([&](auto const& typed) { Describe(lane, node, *typed); }, stream);
        if (file) {
            lane.zero = file->GetZero();
            if (std::holds_alternative<iptr<IStreamRaw>>(stream))
                lane.stamps = &stamps.at(static_cast<std::size_t>(node.origin.info->index));
        }
        return lane.isTitles ? stream : Noted(std::move(stream), *found);
    }

    std::vector<iptr<Lane>> lanes;
    iptr<MediaFile> file;  // null for a graph
    std::vector<StreamStamps> stamps;
};

FrameHashes::FrameHashes(std::vector<NodeId> const& nodes) : state(std::make_shared<State>(nodes)) {}

FrameHashes::FrameHashes(std::vector<NodeId> const& nodes, iptr<MediaFile> const& file) : FrameHashes(nodes) {
    state->file = file;
    state->stamps = ReadStamps(*file);
}

FrameHashes::~FrameHashes() = default;

NodeWrap FrameHashes::GetWrap() const {
    return [held = state](BuiltNode const& node, GraphStream stream) { return held->Wrap(node, std::move(stream)); };
}

std::vector<std::string> FrameHashes::GetWarnings() const {
    std::vector<std::string> warnings;
    for (iptr<Lane> const& lane : state->lanes)
        if (lane->isTitles)
            warnings.push_back("node " + std::to_string(lane->id) +
                               ": decoded subtitles have no place among frame hashes: they are left out");
    return warnings;
}

std::string FrameHashes::ToText(GraphCRCData const& record) const {
    std::vector<FrameHashStream> streams;
    for (iptr<Lane> const& lane : state->lanes)
        if (!lane->isTitles) streams.push_back(MakeStream(*lane, record));
    if (streams.empty()) TARSEL_THROW(GraphException, "there is no stream that has frame hashes");
    return WriteFrameHashes(streams);
}

}  // namespace Tarsel::Host
