#include "host/media/MediaWriter.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <utility>

#include "contracts/Core/Exception.h"
#include "host/media/Containers.h"
#include "host/media/PacketScan.h"

extern "C" {
#include <libavcodec/codec_desc.h>
#include <libavutil/dict.h>
#include <libavutil/opt.h>
}

namespace Tarsel::Host {

namespace {

/// Size of the pieces in which the file is written.
constexpr char WRITE_BLOCK[] = "262144";
/// How far a transport stream's clock runs ahead of its packets, in microseconds; the usual value.
constexpr int CLOCK_LEAD = 700000;

bool StartsWithAny(std::string_view key, std::initializer_list<std::string_view> prefixes) {
    return std::any_of(prefixes.begin(), prefixes.end(), [&](std::string_view p) { return key.starts_with(p); });
}

/// Facts of the file that was read, wrong for the one that is written.
bool DescribesSource(std::string_view key) {
    return StartsWithAny(key, {"major_brand", "minor_version", "compatible_brands", "encoder", "BPS", "DURATION",
                               "NUMBER_OF_FRAMES", "NUMBER_OF_BYTES", "_STATISTICS_"});
}

void FillDictionary(AVDictionary** out, Core::Property const& property) {
    for (Core::Property const& child : property.Children()) {
        if (!child.HasScalar() || DescribesSource(child.Name())) continue;
        av_dict_set(out, child.Name().c_str(), child.GetString().c_str(), 0);
    }
}

bool CarriesChapters(AVOutputFormat const& container) {
    std::string_view const name = container.name;
    return IsMov(container) || IsMatroska(container) || IsWebM(container) || name.starts_with("og") || name == "mp3" ||
           name == "asf";
}

void CopyExtradata(AVCodecParameters& parameters, IBlob const* blob) {
    av_freep(&parameters.extradata);
    parameters.extradata_size = 0;
    if (!blob || blob->GetSize() == 0) return;
    parameters.extradata = static_cast<u8*>(av_mallocz(blob->GetSize() + AV_INPUT_BUFFER_PADDING_SIZE));
    if (!parameters.extradata) TARSEL_THROW(Core::IOException, "Out of memory");
    std::memcpy(parameters.extradata, blob->GetData(), blob->GetSize());
    parameters.extradata_size = static_cast<int>(blob->GetSize());
}

AVCodecID CodecOf(Conf::IFormatCodec const& format) {
    AVCodecDescriptor const* const descriptor = avcodec_descriptor_get_by_name(format.GetCodecID().c_str());
    return descriptor ? descriptor->id : AV_CODEC_ID_NONE;
}

/// Keeps the source's tag where the container knows it for this codec, or has no tag of its own for it.
u32 ChooseTag(AVOutputFormat const& container, AVCodecParameters const& parameters) {
    u32 ownTag = 0;
    if (!container.codec_tag) return parameters.codec_tag;
    bool const known = av_codec_get_id(container.codec_tag, parameters.codec_tag) == parameters.codec_id;
    if (known || !av_codec_get_tag2(container.codec_tag, parameters.codec_id, &ownTag)) return parameters.codec_tag;
    return 0;
}

AVMediaType TypeOf(StreamKind kind) {
    switch (kind) {
        case StreamKind::Video:
        case StreamKind::AttachedPicture:
            return AVMEDIA_TYPE_VIDEO;
        case StreamKind::Audio:
            return AVMEDIA_TYPE_AUDIO;
        case StreamKind::Subtitle:
            return AVMEDIA_TYPE_SUBTITLE;
        case StreamKind::Attachment:
            return AVMEDIA_TYPE_ATTACHMENT;
        default:
            return AVMEDIA_TYPE_DATA;
    }
}

std::string NameOf(Conf::IFormatCodec const& format, StreamKind kind, StreamInfo const* source, std::size_t slot) {
    std::string const number = source ? std::to_string(source->index) : "#" + std::to_string(slot);
    return "stream " + number + " (" + std::string(KindName(kind)) + ", " + format.GetCodecID() + ")";
}

void FillFromFormat(AVStream& stream, Conf::IFormatCodec const& format) {
    AVCodecParameters& parameters = *stream.codecpar;
    if (auto const* const video = dynamic_cast<Conf::IFormatCodecVideo const*>(&format)) {
        parameters.width = video->GetWidth();
        parameters.height = video->GetHeight();
        parameters.format = video->GetPixelFormat();
        parameters.sample_aspect_ratio = {video->GetFrameInfo().pixelAspectNum, video->GetFrameInfo().pixelAspectDen};
        Ratio const rate = video->GetFrameRate();
        if (rate.numerator() > 0) {
            stream.avg_frame_rate = {static_cast<int>(rate.numerator()), static_cast<int>(rate.denominator())};
            stream.time_base = av_inv_q(stream.avg_frame_rate);
        }
    } else if (auto const* const audio = dynamic_cast<Conf::IFormatCodecAudio const*>(&format)) {
        Conf::SampleInfo const& info = audio->GetSampleInfo();
        parameters.format = info.GetSampleFormat();
        parameters.sample_rate = std::max(info.GetSampleRate(), 0);
        av_channel_layout_from_mask(&parameters.ch_layout, info.GetChannelLayout());
        if (parameters.sample_rate > 0) stream.time_base = {1, parameters.sample_rate};
    } else {
        stream.time_base = {1, 1000};
    }
}

/// Whether players turn or mirror the pictures.
bool IsTurned(AVStream const& stream) {
    static constexpr std::array<int32_t, 9> UPRIGHT{1 << 16, 0, 0, 0, 1 << 16, 0, 0, 0, 1 << 30};
    std::size_t size = 0;
    u8 const* const matrix = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
    return matrix && size >= sizeof UPRIGHT && std::memcmp(matrix, UPRIGHT.data(), sizeof UPRIGHT) != 0;
}

/// Ticks per second in which MP4 tells by how much a track begins later: whole samples, where there is sound.
int ChooseMovieScale(AVFormatContext const& output) {
    constexpr int FINE = 48000;
    for (unsigned i = 0; i < output.nb_streams; ++i) {
        AVCodecParameters const& parameters = *output.streams[i]->codecpar;
        int const rate = parameters.codec_type == AVMEDIA_TYPE_AUDIO ? parameters.sample_rate : 0;
        if (rate > 0 && rate <= 4 * FINE) return rate * ((FINE + rate - 1) / rate);
    }
    return FINE;
}

std::string FileNameFor(StreamInfo const& source) {
    Core::Property const& metadata = source.format->GetMetadata();
    if (metadata.ChildExists("filename")) return metadata["filename"].GetString();
    if (source.kind == StreamKind::AttachedPicture) return source.codec == "png" ? "cover.png" : "cover.jpg";
    return "attachment-" + std::to_string(source.index);
}

std::string MimeTypeFor(StreamInfo const& source) {
    Core::Property const& metadata = source.format->GetMetadata();
    if (metadata.ChildExists("mimetype")) return metadata["mimetype"].GetString();
    if (source.codec == "png" || source.codec == "bmp" || source.codec == "gif") return "image/" + source.codec;
    if (source.kind == StreamKind::AttachedPicture) return "image/jpeg";
    return "application/octet-stream";
}

}  // namespace

void MediaWriter::FreeOutput::operator()(AVFormatContext* output) const {
    if (output->pb) avio_closep(&output->pb);
    avformat_free_context(output);
}

iptr<MediaWriter> MediaWriter::Create(std::string const& path, Options const& options) {
    return iptr<MediaWriter>(new MediaWriter(path, options));
}

MediaWriter::MediaWriter(std::string const& path, Options const& options)
    : path(path),
      container(options.container.empty() ? FindContainer(path) : FindContainerNamed(options.container)),
      file(path, options.force, options.inputs),
      scratch(av_packet_alloc()) {
    AVFormatContext* raw = nullptr;
    // Writers look at the name's extension; the file that they write into is opened in `Begin`.
    int const code = avformat_alloc_output_context2(&raw, container, nullptr, path.c_str());
    context.reset(raw);
    Check(code, "can't be written");
    // Without it Matroska and Ogg take random numbers for their streams: the same work gives the same bytes.
    context->flags |= AVFMT_FLAG_BITEXACT;
    if (!scratch) Fail("out of memory");
}

MediaWriter::~MediaWriter() = default;

void MediaWriter::Fail(std::string const& what) const {
    TARSEL_THROW(Core::IOException, path + ": " + what);
}

void MediaWriter::Check(int code, char const* step) const {
    // The writer of the container may overlook what the file system told.
    int const ioError = context && context->pb ? context->pb->error : 0;
    if (ioError < 0) Fail(std::string(step) + ": " + ErrorText(ioError));
    if (code < 0) Fail(std::string(step) + ": " + ErrorText(code));
}

void MediaWriter::LeaveOut(std::string const& name, std::string const& reason) {
    warnings.push_back(path + ": " + name + " is left out: " + reason);
}

std::string MediaWriter::CanCarry(Conf::IFormatCodec const& format, StreamKind kind) const {
    return WhyNotCarried(*container, kind, CodecOf(format));
}

AVStream* MediaWriter::NewStream() {
    if (begun) Fail("no stream can be added once writing has begun");
    AVStream* const stream = avformat_new_stream(context.get(), nullptr);
    if (!stream) Fail("out of memory");
    return stream;
}

int MediaWriter::AddStream(Conf::IFormatCodec const& format, StreamKind kind, StreamInfo const* source) {
    std::string const name = NameOf(format, kind, source, slots.size());
    if (source && source->derived && CarriesChapters(*container)) return NO_SLOT;
    if (std::string const reason = CanCarry(format, kind); !reason.empty()) {
        LeaveOut(name, reason);
        return NO_SLOT;
    }
    Slot slot;
    slot.stream = NewStream();
    slot.name = name;
    FillParameters(*slot.stream, format, kind);
    if (!IsMov(*container) && IsTurned(*slot.stream))
        warnings.push_back(path + ": " + name + " loses its rotation: " + container->name + " can't carry it");
    auto const* const native = dynamic_cast<NativeParameters const*>(format.GetNativeParameters().get());
    // Only what comes from a coarser tick than samples has lost its exact times.
    AVRational const sample{1, std::max(slot.stream->codecpar->sample_rate, 1)};
    slot.snaps = kind == StreamKind::Audio && native && av_cmp_q(native->timeBase, sample) > 0;
    // Matroska counts what the decoder drops first into the times, which its reader takes off again. Its writer knows
    // that for Opus alone, and leaves the times to the caller.
    AVCodecParameters const& parameters = *slot.stream->codecpar;
    if ((IsMatroska(*container) || IsWebM(*container)) && parameters.codec_id == AV_CODEC_ID_OPUS)
        slot.delay = av_rescale_q(parameters.initial_padding, sample, MATROSKA_TICK);
    try {
        if (WantsAnnexB(*container)) slot.headers = InBandHeaders::Create(*slot.stream->codecpar);
    } catch (Core::IOException const& failure) {
        Fail(name + ": " + failure.what());
    }
    slots.push_back(std::move(slot));
    return static_cast<int>(slots.size()) - 1;
}

void MediaWriter::FillParameters(AVStream& stream, Conf::IFormatCodec const& format, StreamKind kind) {
    iptr<IRefCountable const> const attached = format.GetNativeParameters();
    if (auto const* const native = dynamic_cast<NativeParameters const*>(attached.get()))
        FillFromNative(stream, *native);
    else
        FillFromFormat(stream, format);
    AVCodecParameters& parameters = *stream.codecpar;
    parameters.codec_type = TypeOf(kind);
    parameters.codec_id = CodecOf(format);
    parameters.codec_tag = ChooseTag(*container, parameters);
    // The tag of pictures with lengths, which come with start codes now.
    iptr<IBlob> const header = format.GetExtradata();
    bool const lengths = header && FramingOf(parameters.codec_id, header->GetData(), header->GetSize()).lengthSize != 0;
    if (parameters.codec_id == AV_CODEC_ID_H264 && IsAvi(*container) && !lengths) parameters.codec_tag = 0;
    // A block size carried over from another AVI makes readers count bytes where packets differ in size.
    bool const framed = parameters.codec_id == AV_CODEC_ID_AAC || parameters.codec_id == AV_CODEC_ID_MP3 ||
                        parameters.codec_id == AV_CODEC_ID_AC3 || parameters.codec_id == AV_CODEC_ID_EAC3;
    if (framed && IsAvi(*container)) parameters.block_align = 0;
    CopyExtradata(parameters, header.get());
    FillDictionary(&stream.metadata, format.GetMetadata());
}

void MediaWriter::FillFromNative(AVStream& stream, NativeParameters const& native) {
    Check(avcodec_parameters_copy(stream.codecpar, native.parameters.get()), "out of memory");
    stream.time_base = native.timeBase;
    stream.avg_frame_rate = native.averageFrameRate;
    stream.r_frame_rate = native.realFrameRate;
    stream.disposition = native.disposition;
    if (native.sampleAspect.num > 0) {
        stream.sample_aspect_ratio = native.sampleAspect;
        stream.codecpar->sample_aspect_ratio = native.sampleAspect;
    }
    for (auto const& [type, bytes] : native.sideData) {
        u8* const copy = av_stream_new_side_data(&stream, type, bytes.size());
        if (!copy) Fail("out of memory");
        std::memcpy(copy, bytes.data(), bytes.size());
    }
}

bool MediaWriter::AddAttachment(StreamInfo const& source) {
    std::string const name = NameOf(*source.format, source.kind, &source, 0);
    std::string reason = CanCarry(*source.format, source.kind);
    if (reason.empty() && (!source.payload || source.payload->GetSize() == 0)) reason = "it is empty";
    if (!reason.empty()) {
        LeaveOut(name, reason);
        return false;
    }
    AVStream& stream = *NewStream();
    FillParameters(stream, *source.format, source.kind);
    if (!IsMatroska(*container)) {
        stream.disposition |= AV_DISPOSITION_ATTACHED_PIC;
        pictures.emplace_back(stream.index, source.payload);
        return true;
    }
    // Matroska keeps cover pictures as attachments, too.
    stream.codecpar->codec_type = AVMEDIA_TYPE_ATTACHMENT;
    stream.disposition = 0;
    CopyExtradata(*stream.codecpar, source.payload.get());
    av_dict_set(&stream.metadata, "filename", FileNameFor(source).c_str(), 0);
    av_dict_set(&stream.metadata, "mimetype", MimeTypeFor(source).c_str(), 0);
    return true;
}

void MediaWriter::SetMetadata(Core::Property const& metadata) {
    FillDictionary(&context->metadata, metadata);
}

void MediaWriter::SetChapters(std::vector<Chapter> const& chapters) {
    std::vector<Chapter const*> kept;
    for (Chapter const& chapter : chapters)
        if (chapter.end > chapter.begin) kept.push_back(&chapter);
    if (kept.empty()) return;
    if (!CarriesChapters(*container)) {
        warnings.push_back(path + ": " + std::to_string(kept.size()) + " chapters are left out: " + container->name +
                           " can't carry chapters");
        return;
    }
    if (context->nb_chapters != 0) Fail("chapters are set twice");
    context->chapters = static_cast<AVChapter**>(av_calloc(kept.size(), sizeof(AVChapter*)));
    if (!context->chapters) Fail("out of memory");
    for (Chapter const* chapter : kept) {
        auto* const entry = static_cast<AVChapter*>(av_mallocz(sizeof(AVChapter)));
        if (!entry) Fail("out of memory");
        entry->id = static_cast<int64>(context->nb_chapters) + 1;
        entry->time_base = MICROSECONDS;
        entry->start = chapter->begin;
        entry->end = chapter->end;
        FillDictionary(&entry->metadata, chapter->metadata);
        context->chapters[context->nb_chapters++] = entry;
    }
}

void MediaWriter::Begin() {
    if (begun) Fail("writing has begun already");
    if (slots.empty()) Fail("there is no stream to write");
    begun = true;
    context->max_delay = CLOCK_LEAD;
    // FLAC and TrueHD in MP4 are standards by now; the writer still asks whether one is sure.
    context->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
    AVDictionary* raw = nullptr;
    av_dict_set(&raw, "blocksize", WRITE_BLOCK, 0);
    std::string const url = "file:" + file.GetPartialPath();
    int code = avio_open2(&context->pb, url.c_str(), AVIO_FLAG_WRITE, nullptr, &raw);
    av_dict_free(&raw);
    Check(code, "can't be written");
    holding = IsAvi(*container) || IsMatroska(*container) || IsWebM(*container) || IsMov(*container);
    if (holding && !IsMov(*container)) context->avoid_negative_ts = AVFMT_AVOID_NEG_TS_DISABLED;
    if (!holding) WriteHeader();
}

void MediaWriter::WriteHeader() {
    // Containers tell chapters without a sign.
    for (unsigned i = 0; i < context->nb_chapters; ++i) {
        AVChapter& chapter = *context->chapters[i];
        chapter.start = std::max<int64>(chapter.start, 0);
        chapter.end = std::max<int64>(chapter.end, 0);
    }
    AVDictionary* raw = nullptr;
    std::string const extension = std::filesystem::path(path).extension().string();
    // Blu-ray and camera files have four bytes of clock in front of each packet; the writer looks at its own file name.
    bool const clocked = extension == ".m2ts" || extension == ".mts" || extension == ".M2TS" || extension == ".MTS";
    if (IsTransportStream(*container) && clocked) av_dict_set(&raw, "mpegts_m2ts_mode", "1", 0);
    // Several packets of sound in one unit would share one time, and lose theirs where the sound has a seam.
    if (IsTransportStream(*container)) av_dict_set(&raw, "pes_payload_size", "0", 0);
    // In milliseconds, the writer's own choice, each copy would bring a later start forward by up to one.
    if (IsMov(*container)) av_dict_set_int(&raw, "movie_timescale", ChooseMovieScale(*context), 0);
    int const code = avformat_write_header(context.get(), &raw);
    av_dict_free(&raw);
    Check(code, "its header can't be written");
    WritePictures();
}

void MediaWriter::WritePictures() {
    for (auto const& [number, bytes] : pictures) {
        av_packet_unref(scratch.get());
        Check(av_new_packet(scratch.get(), static_cast<int>(bytes->GetSize())), "out of memory");
        std::memcpy(scratch->data, bytes->GetData(), bytes->GetSize());
        scratch->stream_index = number;
        scratch->pts = scratch->dts = 0;
        scratch->flags = AV_PKT_FLAG_KEY;
        WriteRaw(*scratch);
    }
}

/// Milliseconds of the source are rounded samples: packets of constant length that follow each other within the
/// rounding touch again.
void MediaWriter::SnapToSamples(Slot& slot, AVPacket& raw) {
    AVCodecParameters& parameters = *slot.stream->codecpar;
    if (av_cmp_q(slot.stream->time_base, {1, parameters.sample_rate}) != 0) return;
    int64 const samples = av_get_audio_frame_duration2(&parameters, raw.size);
    int64 const allowed = parameters.sample_rate / 1000 + 1;
    bool const constant = samples > 0 && std::abs(SubTime(raw.duration, samples)) <= allowed;
    if (!constant || raw.pts != raw.dts) {
        slot.nextOnGrid = NO_VALUE;
        return;
    }
    if (HasValue(slot.nextOnGrid) && std::abs(SubTime(raw.pts, slot.nextOnGrid)) <= allowed)
        raw.pts = raw.dts = slot.nextOnGrid;
    raw.duration = samples;
    slot.nextOnGrid = AddTime(raw.pts, samples);
}

void MediaWriter::SetTimes(Slot& slot, AVPacket& raw, Proc::IDataPacket const& packet) {
    AVRational const timeBase = slot.stream->time_base;
    int64 const time = AddTime(packet.GetTime(), startShift);
    raw.pts = FromMicroseconds(time, timeBase);
    int64 const given = std::exchange(slot.firstDecodingTime, NO_VALUE);
    int64 const decoded = HasValue(given) ? given : packet.GetDecodingTime();
    raw.dts = FromMicroseconds(AddTime(decoded, startShift), timeBase);
    // Rounding end and begin keeps packets touching where rounding the length would leave a tick.
    int64 const end = FromMicroseconds(AddTime(time, packet.GetDuration()), timeBase);
    raw.duration = HasValue(end) && HasValue(raw.pts) ? std::max<int64>(SubTime(end, raw.pts), 0) : 0;
    raw.time_base = timeBase;
    raw.pos = -1;
    raw.stream_index = slot.stream->index;
    if (!HasValue(raw.pts)) raw.pts = raw.dts;
    if (!HasValue(raw.dts)) raw.dts = raw.pts;
    if (!HasValue(raw.dts)) Fail(slot.name + ": a packet has no time");
    raw.pts = AddTime(raw.pts, slot.delay);
    raw.dts = AddTime(raw.dts, slot.delay);
    if (slot.snaps) SnapToSamples(slot, raw);
    bool const mayRepeat = (container->flags & AVFMT_TS_NONSTRICT) != 0;
    int64 const least = HasValue(slot.lastDecodingTime) ? slot.lastDecodingTime + (mayRepeat ? 0 : 1) : raw.dts;
    if (raw.dts < least) {
        raw.dts = least;
        if (raw.pts < least) ++slot.movedTimes;
    }
    raw.pts = std::max(raw.pts, raw.dts);
    slot.lastDecodingTime = raw.dts;
}

void MediaWriter::Write(int slotNumber, Proc::IDataPacket& packet) {
    if (slotNumber == NO_SLOT) return;
    if (!begun) Fail("a packet came before the header");
    if (slotNumber < 0 || static_cast<std::size_t>(slotNumber) >= slots.size())
        Fail("there is no slot " + std::to_string(slotNumber));
    if (!holding) return WriteNow(slots[static_cast<std::size_t>(slotNumber)], packet);
    held.emplace_back(slotNumber, &packet);
    if (HoldsEnough()) ReleaseHeld();
}

void MediaWriter::WriteNow(Slot& slot, Proc::IDataPacket& packet) {
    av_packet_unref(scratch.get());
    Check(av_packet_ref(scratch.get(), packet.GetAVPacket()), "out of memory");
    if (slot.headers) slot.headers->Process(*scratch);
    SetTimes(slot, *scratch, packet);
    WriteRaw(*scratch);
}

void MediaWriter::WriteRaw(AVPacket& packet) {
    Check(av_interleaved_write_frame(context.get(), &packet), "can't be written");
}

void MediaWriter::Finish() {
    Close();
    Commit();
}

void MediaWriter::Close() {
    if (!begun) Fail("nothing was written");
    ReleaseHeld();
    Check(av_interleaved_write_frame(context.get(), nullptr), "can't be written");
    Check(av_write_trailer(context.get()), "can't be completed");
    avio_flush(context->pb);
    Check(0, "can't be completed");
    if (int const code = avio_closep(&context->pb); code < 0) Fail("can't be closed: " + ErrorText(code));
    context.reset();
    for (Slot const& slot : slots)
        if (slot.movedTimes != 0)
            warnings.push_back(path + ": " + slot.name + ": " + std::to_string(slot.movedTimes) +
                               " packets were moved to rise in time");
}

void MediaWriter::Commit() {
    file.Commit();
}

}  // namespace Tarsel::Host
