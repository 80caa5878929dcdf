#include "host/media/MediaFile.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <string_view>
#include <utility>

#include "contracts/Conf/CodecIds.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/BlobFF.h"
#include "host/media/DemuxStream.h"
#include "host/media/IndexBuilder.h"
#include "host/media/PacketScan.h"

extern "C" {
#include <libavcodec/codec_desc.h>
#include <libavutil/avstring.h>
#include <libavutil/channel_layout.h>
#include <libavutil/dict.h>
}

namespace Tarsel::Host {

namespace {

[[noreturn]] void FailOn(std::string const& path, std::string const& what) {
    TARSEL_THROW(Core::IOException, path + ": " + what);
}

Core::Property ToProperty(AVDictionary const* dictionary) {
    Core::Property property("Metadata");
    AVDictionaryEntry const* entry = nullptr;
    while ((entry = av_dict_get(dictionary, "", entry, AV_DICT_IGNORE_SUFFIX)))
        property.SetChild(entry->key, entry->value);
    return property;
}

constexpr std::string_view VOBSUB = "vobsub";
/// Bytes of a file that tell what it is.
constexpr std::size_t HEAD = 4096;

/// Whether the head of the file is plain text: printable bytes and white space only.
bool IsText(std::string_view head) {
    return std::all_of(head.begin(), head.end(), [](char c) {
        auto const byte = static_cast<u8>(c);
        return (byte >= 0x20 && byte != 0x7F) || byte == '\n' || byte == '\r' || byte == '\t' || byte == '\f';
    });
}

/// Whether a container is one of text files that hold subtitles.
bool IsSubtitleText(std::string_view name) {
    static constexpr std::array<std::string_view, 17> NAMES{
        "srt",        "ass",      "webvtt", "microdvd", "subviewer", "sami", "mpl2",    "jacosub", "lrc",
        "subviewer1", "realtext", "stl",    "aqtitle",  "mpsub",     "pjs",  "vplayer", "scc"};
    return std::find(NAMES.begin(), NAMES.end(), name) != NAMES.end();
}

/// Refuses what can't be a media file before libavformat guesses at it; gives the head of the file.
std::string CheckFile(std::string const& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        int const code = errno;
        FailOn(path, code == ENOENT ? "there is no such file" : std::strerror(code));
    }
    if (S_ISDIR(status.st_mode)) FailOn(path, "is a folder, not a media file");
    if (!S_ISREG(status.st_mode)) FailOn(path, "is not a regular file");
    if (status.st_size == 0) FailOn(path, "the file is empty");
    std::ifstream file(path, std::ios::binary);
    if (!file) FailOn(path, std::string("can't be read: ") + std::strerror(errno));
    std::string head(HEAD, '\0');
    file.read(head.data(), static_cast<std::streamsize>(head.size()));
    head.resize(static_cast<std::size_t>(file.gcount()));
    if (head.empty()) FailOn(path, "can't be read");
    return head;
}

std::string_view GuessFormat(std::string const& path, std::string const& head) {
    std::string padded = head + std::string(AVPROBE_PADDING_SIZE, '\0');
    AVProbeData data{};
    data.filename = path.c_str();
    data.buf = reinterpret_cast<u8*>(padded.data());
    data.buf_size = static_cast<int>(head.size());
    AVInputFormat const* const guess = av_probe_input_format(&data, 1);
    return guess ? guess->name : "";
}

/// Refuses, by its head, a text, and a list of other files, which libavformat would follow: nothing but the file itself
/// is ever opened.
void CheckHead(std::string const& path, std::string const& head) {
    std::string_view const name = GuessFormat(path, head);
    // The text of VobSub leads to its pictures, in the file beside it.
    if (IsText(head) && !IsSubtitleText(name) && name != VOBSUB) FailOn(path, "is a text file, not a media file");
    for (std::string_view const list : {"hls", "concat", "dash", "imf", "webm_dash_manifest", "sdp", "rtsp"})
        if (name == list) FailOn(path, "is a list of other files, not a media file");
}

/// Whether packets come out right without the long look into the streams.
bool HeaderSuffices(AVFormatContext const& context) {
    std::string_view const name = context.iformat->name;
    return (context.ctx_flags & AVFMTCTX_NOHEADER) == 0 &&
           (name.starts_with("mov,mp4") || name.starts_with("matroska"));
}

StreamKind KindOf(AVStream const& stream) {
    switch (stream.codecpar->codec_type) {
        case AVMEDIA_TYPE_VIDEO:
            if (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) return StreamKind::AttachedPicture;
            return StreamKind::Video;
        case AVMEDIA_TYPE_AUDIO:
            return StreamKind::Audio;
        case AVMEDIA_TYPE_SUBTITLE:
            return StreamKind::Subtitle;
        case AVMEDIA_TYPE_DATA:
            return StreamKind::Data;
        case AVMEDIA_TYPE_ATTACHMENT:
            return StreamKind::Attachment;
        default:
            return StreamKind::Unknown;
    }
}

Ratio FrameRateOf(AVFormatContext& context, AVStream& stream) {
    for (AVRational const rate :
         {av_guess_frame_rate(&context, &stream, nullptr), stream.avg_frame_rate, stream.r_frame_rate})
        if (rate.num > 0 && rate.den > 0) return {rate.num, rate.den};
    return {25, 1};
}

iptr<Conf::IFormatCodec> MakeVideoFormat(AVFormatContext& context, AVStream& stream) {
    AVCodecParameters const& parameters = *stream.codecpar;
    AVRational const aspect = av_guess_sample_aspect_ratio(&context, &stream, nullptr);
    iptr<Conf::IFormatCodecVideo> format = Conf::IFormatCodecVideo::Create();
    bool const square = aspect.num <= 0 || aspect.den <= 0;
    format->InitByPixelAspect(
        static_cast<unsigned>(std::max(parameters.width, 0)), static_cast<unsigned>(std::max(parameters.height, 0)),
        square ? 1 : static_cast<unsigned>(aspect.num), square ? 1 : static_cast<unsigned>(aspect.den));
    format->SetPixelFormat(static_cast<PixFmt>(parameters.format));
    format->SetFrameRate(FrameRateOf(context, stream));
    bool const still = (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0 ||
                       std::string_view(context.iformat->name).ends_with("_pipe") ||
                       std::string_view(context.iformat->name) == "image2";
    if (still) format->SetImageFlag(true);
    return format;
}

iptr<Conf::IFormatCodec> MakeAudioFormat(AVStream const& stream) {
    AVCodecParameters const& parameters = *stream.codecpar;
    iptr<Conf::IFormatCodecAudio> format = Conf::IFormatCodecAudio::Create();
    AVChannelLayout const& channels = parameters.ch_layout;
    Conf::ChannelLayout const layout =
        channels.order == AV_CHANNEL_ORDER_NATIVE ? channels.u.mask : Conf::DefaultChannelLayout(channels.nb_channels);
    format->SetSampleInfo({static_cast<Conf::SampleFormats>(parameters.format), parameters.sample_rate, layout});
    return format;
}

iptr<Conf::IFormatCodec> MakeFormat(AVFormatContext& context, AVStream& stream) {
    if (stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO) return MakeVideoFormat(context, stream);
    if (stream.codecpar->codec_type == AVMEDIA_TYPE_AUDIO) return MakeAudioFormat(stream);
    iptr<Conf::IFormatCodecSubtitle> format = Conf::IFormatCodecSubtitle::Create();
    if (stream.codecpar->codec_type == AVMEDIA_TYPE_SUBTITLE && stream.codecpar->extradata_size > 0 &&
        (stream.codecpar->codec_id == AV_CODEC_ID_ASS || stream.codecpar->codec_id == AV_CODEC_ID_SSA))
        format->SetSubtitleHeader({reinterpret_cast<char const*>(stream.codecpar->extradata),
                                   static_cast<std::size_t>(stream.codecpar->extradata_size)});
    return format;
}

iptr<NativeParameters> MakeNative(AVFormatContext& context, AVStream& stream) {
    auto native = MakeShared<NativeParameters>();
    if (!native->parameters || avcodec_parameters_copy(native->parameters.get(), stream.codecpar) < 0)
        TARSEL_THROW(Core::IOException, "Out of memory");
    native->timeBase = stream.time_base;
    native->averageFrameRate = stream.avg_frame_rate;
    native->realFrameRate = stream.r_frame_rate;
    native->sampleAspect = av_guess_sample_aspect_ratio(&context, &stream, nullptr);
    native->disposition = stream.disposition;
    for (int i = 0; i < stream.nb_side_data; ++i) {
        AVPacketSideData const& data = stream.side_data[i];
        native->sideData.emplace_back(data.type, std::string(reinterpret_cast<char const*>(data.data), data.size));
    }
    return native;
}

/// Matroska keeps the three headers of Theora in Xiph lacing (RFC 9559 clause 10.3.3: number of packets less one, sizes
/// of all but the last as runs of 255 and a rest, then the packets); Ogg's reader gives each behind two bytes of size.
/// Brought to the latter, so that equal headers are equal bytes. What isn't such a lacing stays as it is.
void UnlaceHeaders(AVCodecParameters& parameters) {
    auto const total = static_cast<std::size_t>(std::max(parameters.extradata_size, 0));
    u8 const* const bytes = parameters.extradata;
    if (total == 0 || bytes[0] != 2) return;
    std::array<std::size_t, 3> sizes{};
    std::size_t at = 1;
    for (std::size_t i = 0; i < 2; ++i) {
        while (at < total && bytes[at] == 255) sizes[i] += bytes[at++];
        if (at >= total) return;
        sizes[i] += bytes[at++];
    }
    if (sizes[0] > total - at || sizes[1] > total - at - sizes[0]) return;
    sizes[2] = total - at - sizes[0] - sizes[1];
    std::string plain;
    for (std::size_t const size : sizes) {
        if (size == 0 || size > 0xFFFF) return;
        plain += static_cast<char>(size >> 8);
        plain += static_cast<char>(size & 0xFF);
        plain.append(reinterpret_cast<char const*>(bytes + at), size);
        at += size;
    }
    auto* const copy = static_cast<u8*>(av_mallocz(plain.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    if (!copy) TARSEL_THROW(Core::IOException, "Out of memory");
    std::memcpy(copy, plain.data(), plain.size());
    av_freep(&parameters.extradata);
    parameters.extradata = copy;
    parameters.extradata_size = static_cast<int>(plain.size());
}

std::string TagOf(StreamInfo const& info, std::string const& name) {
    Core::Property const& tags = info.format->GetMetadata();
    return tags.ChildExists(name) ? tags[name].GetString() : "";
}

/// Muxers name the type of a font in many ways, old ones only by the file's name.
bool IsFont(StreamInfo const& info) {
    if (info.kind != StreamKind::Attachment) return false;
    std::string const type = TagOf(info, "mimetype");
    if (info.codec == "ttf" || info.codec == "otf" || type.find("font") != std::string::npos ||
        type.find("opentype") != std::string::npos)
        return true;
    std::string const name = TagOf(info, "filename");
    std::size_t const dot = name.rfind('.');
    if (dot == std::string::npos) return false;
    return av_match_name(name.c_str() + dot + 1, "ttf,otf,ttc,otc") != 0;
}

std::string ContainerName(AVFormatContext const& context) {
    std::string_view const names = context.iformat->name;
    if (names.starts_with("mov,mp4")) {
        AVDictionaryEntry const* const brand = av_dict_get(context.metadata, "major_brand", nullptr, 0);
        return !brand || std::string_view(brand->value).starts_with("qt") ? "mov" : "mp4";
    }
    return std::string(names.substr(0, names.find(',')));
}

}  // namespace

std::string_view KindName(StreamKind kind) {
    static constexpr std::array<std::string_view, 7> NAMES{
        "video", "audio", "subtitle", "data", "attachment", "attached picture", "unknown"};
    return NAMES.at(static_cast<std::size_t>(kind));
}

std::string StreamName(StreamInfo const& info) {
    return "stream #" + std::to_string(info.index) + " (" + std::string(KindName(info.kind)) + ", " + info.codec + ")";
}

std::string ProbeSubtitleText(std::string const& path, std::string const& head) {
    std::string_view const name = GuessFormat(path, head);
    return IsSubtitleText(name) ? std::string(name) : "";
}

InputPtr OpenInput(std::string const& path, bool quick, SharedBytes const& bytes) {
    std::string const head = CheckFile(path);
    CheckHead(path, bytes ? bytes->substr(0, HEAD) : head);
    InputPtr fresh(avformat_alloc_context());
    if (!fresh) FailOn(path, "out of memory");
    if (bytes) ReadFromMemory(*fresh, bytes);
    AVIOContext* const own = fresh->pb;
    AVFormatContext* raw = fresh.release();
    AVDictionary* options = nullptr;
    // A media file may name others; nothing but the file itself is opened here.
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    // Nor is "%d" in the name of a picture a number that counts through its neighbours.
    av_dict_set(&options, "pattern_type", "none", 0);
    int const code = avformat_open_input(&raw, ("file:" + path).c_str(), nullptr, &options);
    av_dict_free(&options);
    if (code < 0) {
        FreeMemoryInput(own);
        if (code == AVERROR(ENOENT) && GuessFormat(path, head) == VOBSUB)
            FailOn(path, "the file of its pictures, of the same name with .sub, is missing");
        FailOn(path, code == AVERROR_INVALIDDATA ? "is not a media file, or is damaged at its beginning"
                                                 : "can't be opened: " + ErrorText(code));
    }
    InputPtr context(raw);
    if (quick && HeaderSuffices(*context)) return context;
    if (int const found = avformat_find_stream_info(context.get(), nullptr); found < 0)
        FailOn(path, "its streams can't be read: " + ErrorText(found));
    if (context->nb_streams == 0) FailOn(path, "holds no streams");
    return context;
}

iptr<MediaFile> MediaFile::Open(std::string const& path) {
    return Open(path, nullptr);
}

iptr<MediaFile> MediaFile::Open(std::string const& path, SharedBytes bytes, std::vector<std::string> warnings) {
    iptr<MediaFile> file(new MediaFile(path, std::move(bytes)));
    file->warnings = std::move(warnings);
    file->Probe();
    return file;
}

MediaFile::MediaFile(std::string const& path, SharedBytes bytes) : path(path), bytes(std::move(bytes)) {}
MediaFile::~MediaFile() = default;

void MediaFile::Fail(std::string const& what) const {
    FailOn(path, what);
}

void MediaFile::Probe() {
    context = OpenInput(path, false, bytes);
    container = ContainerName(*context);
    metadata = ToProperty(context->metadata);
    ListStreams();
    bool const any = std::any_of(streams.begin(), streams.end(), [](StreamInfo const& info) {
        return info.HasPackets() || info.kind == StreamKind::AttachedPicture;
    });
    if (!any) Fail("holds no streams");
}

void MediaFile::ListStreams() {
    auto const fonts = std::make_shared<std::vector<FontFile>>();
    for (unsigned i = 0; i < context->nb_streams; ++i) streams.push_back(DescribeStream(static_cast<int>(i), fonts));
    for (StreamInfo const& info : streams)
        if (info.payload && IsFont(info)) fonts->push_back({TagOf(info, "filename"), info.payload});
}

StreamInfo MediaFile::DescribeStream(int index, std::shared_ptr<std::vector<FontFile> const> const& fonts) const {
    AVStream& stream = *context->streams[index];
    if (stream.codecpar->codec_id == AV_CODEC_ID_THEORA) UnlaceHeaders(*stream.codecpar);
    AVCodecParameters const& parameters = *stream.codecpar;
    StreamInfo info;
    info.index = index;
    info.kind = KindOf(stream);
    info.mediaType = ToMediaType(parameters.codec_type);
    AVCodecDescriptor const* const descriptor = avcodec_descriptor_get(parameters.codec_id);
    info.codec = descriptor ? descriptor->name : Conf::IFormatCodec::CODEC_ID_NONE;
    if (char const* const profile = avcodec_profile_name(parameters.codec_id, parameters.profile))
        info.profile = profile;
    auto const extraSize = static_cast<std::size_t>(std::max(parameters.extradata_size, 0));
    if (parameters.codec_id == AV_CODEC_ID_H264 || parameters.codec_id == AV_CODEC_ID_HEVC) {
        bool const lengths = FramingOf(parameters.codec_id, parameters.extradata, extraSize).lengthSize != 0;
        info.framing = lengths ? "length" : "annexb";
    }
    info.format = MakeFormat(*context, stream);
    info.format->SetCodecID(info.codec);
    info.format->SetMetadata(ToProperty(stream.metadata));
    info.format->SetOriginalDuration(ToMicroseconds(stream.duration, stream.time_base));
    if (info.kind == StreamKind::Attachment)
        info.payload = Proc::BlobFF::Create(parameters.extradata, extraSize);
    else if (extraSize != 0)
        info.format->SetExtradata(Proc::BlobFF::Create(parameters.extradata, extraSize));
    if (info.kind == StreamKind::AttachedPicture && stream.attached_pic.size > 0)
        info.payload =
            Proc::BlobFF::Create(stream.attached_pic.data, static_cast<std::size_t>(stream.attached_pic.size));
    bool const mov = std::string_view(context->iformat->name).starts_with("mov,mp4");
    info.derived = mov && info.kind == StreamKind::Data &&
                   (parameters.codec_tag == MKTAG('t', 'm', 'c', 'd') ||
                    (parameters.codec_id == AV_CODEC_ID_BIN_DATA && context->nb_chapters != 0));
    iptr<NativeParameters> const native = MakeNative(*context, stream);
    if (info.kind == StreamKind::Subtitle) native->fonts = fonts;
    info.native = native;
    info.format->SetNativeParameters(native);
    return info;
}

void MediaFile::EnsureIndexed() const {
    if (indexed.load(std::memory_order_acquire)) return;
    Core::MutexLock const lock(indexLock);
    if (indexed.load(std::memory_order_relaxed)) return;
    // Logically constant: the answers were in the file all the time.
    const_cast<MediaFile*>(this)->BuildIndex();
}

void MediaFile::BuildIndex() {
    if (!context) context = OpenInput(path, false, bytes);
    // A pass that fails leaves a reader in the middle of the file.
    InputPtr const reader = std::move(context);
    KeepPlacesShort(*reader);
    IndexBuilder builder(*this, *reader);
    builder.Run();
    indices = builder.TakeIndices();
    for (std::string& warning : builder.TakeWarnings()) warnings.push_back(std::move(warning));
    zeroTick = builder.GetZeroTick();
    zeroBase = builder.GetZeroBase();
    duration = builder.GetDuration();
    for (unsigned i = 0; i < reader->nb_chapters; ++i) {
        AVChapter const& chapter = *reader->chapters[i];
        chapters.push_back({ToFileTime(chapter.start, chapter.time_base), ToFileTime(chapter.end, chapter.time_base),
                            ToProperty(chapter.metadata)});
    }
    CompleteFormats();
    indexed.store(true, std::memory_order_release);
}

void MediaFile::CompleteFormats() {
    for (StreamInfo& info : streams) {
        StreamIndex const& index = indices[static_cast<std::size_t>(info.index)];
        int64 rate = info.native->parameters->bit_rate;
        int64 const length = index.GetCount() != 0 ? SubTime(index.GetEndTime(), index.GetStartTime()) : 0;
        if (rate <= 0 && length > 0) rate = AvRescale(index.GetSize(), int64{8} * SECOND, length);
        if (rate <= 0) continue;
        Core::Property property = info.format->GetProperty();
        property.SetChild(Conf::TAG_BITRATE, rate);
        info.format->SetProperty(property);
    }
}

int64 MediaFile::ToFileTime(int64 time, AVRational timeBase) const {
    if (!HasValue(time)) return NO_VALUE;
    // On the same tick the difference is exact, and only it is rounded.
    if (av_cmp_q(timeBase, zeroBase) == 0) return ToMicroseconds(SubTime(time, zeroTick), timeBase);
    return SubTime(ToMicroseconds(time, timeBase), ToMicroseconds(zeroTick, zeroBase));
}

int64 MediaFile::GetDuration() const {
    EnsureIndexed();
    return duration;
}

int64 MediaFile::GetZero() const {
    EnsureIndexed();
    return ToMicroseconds(zeroTick, zeroBase);
}

std::vector<Chapter> const& MediaFile::GetChapters() const {
    EnsureIndexed();
    return chapters;
}

std::vector<std::string> const& MediaFile::GetWarnings() const {
    EnsureIndexed();
    return warnings;
}

StreamIndex const& MediaFile::GetIndex(int stream) const {
    if (stream < 0 || static_cast<std::size_t>(stream) >= streams.size())
        Fail("there is no stream " + std::to_string(stream));
    EnsureIndexed();
    return indices[static_cast<std::size_t>(stream)];
}

iptr<Proc::IStreamRaw> MediaFile::OpenStream(int stream) {
    GetIndex(stream);
    StreamInfo const& info = streams[static_cast<std::size_t>(stream)];
    if (!info.HasPackets())
        Fail("stream " + std::to_string(stream) + " (" + std::string(KindName(info.kind)) + ") has no packets");
    return iptr<Proc::IStreamRaw>(new DemuxStream(iptr<MediaFile>(this), info));
}

}  // namespace Tarsel::Host
