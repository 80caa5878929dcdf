#include "host/media/VideoEncoderSetup.h"

#include <glog/logging.h>

#include <algorithm>
#include <array>
#include <memory>
#include <sstream>
#include <utility>

#include "contracts/Conf/CodecIds.h"
#include "contracts/Core/Exception.h"
#include "host/media/DecoderCore.h"
#include "host/media/PictureScaler.h"

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

namespace Tarsel::Host {

namespace {

using Video = Conf::IFormatCodecVideo;

/// Largest numerator and denominator of a time base that every encoder takes (MPEG-4: 16 bits, ISO/IEC 14496-2 6.3.3).
constexpr int MAX_TIME_BASE = 65535;
/// The library's own encoders allow no longer distance of key pictures.
constexpr int MAX_MPEG_GROUP = 600;
constexpr int UNLIMITED_GROUP = 100000;
/// Encoder threads are a fixed number: the result must not depend on the machine.
constexpr int H264_THREADS = 2;

/// The codec context in the making, with the private options that opening takes.
struct Setup {
    Conf::IFormatCodecVideo const& format;
    Core::Property const& properties;
    VideoEncoderOptions const& options;
    std::string codecId;
    AVCodec const* codec = nullptr;
    CodecContextPtr context;
    std::unique_ptr<AVDictionary, FreeDictionary> privateOptions;

    bool IsRecoding() const { return options.purpose == VideoEncoderOptions::Purpose::Recode; }
    /// `recode` for a group between copied ones, else what was asked for or the standard of the codec's scale.
    int QualityOr(int recode) const {
        if (IsRecoding()) return recode;
        return options.quality ? *options.quality : QualityScaleOf(codecId).value_or(QualityScale()).standard;
    }
    void Set(char const* key, std::string const& value) {
        AVDictionary* dictionary = privateOptions.release();
        av_dict_set(&dictionary, key, value.c_str(), 0);
        privateOptions.reset(dictionary);
    }
    /// A constant quantiser of the encoders that count it in lambda.
    void SetQuantiserScale(int quantiser) {
        context->flags |= AV_CODEC_FLAG_QSCALE;
        context->global_quality = FF_QP2LAMBDA * quantiser;
    }
};

bool IsListed(AVCodec const& codec, AVPixelFormat format) {
    if (!codec.pix_fmts) return true;
    for (AVPixelFormat const* known = codec.pix_fmts; *known != AV_PIX_FMT_NONE; ++known)
        if (*known == format) return true;
    return false;
}

void ChoosePixelFormat(Setup& setup, AVCodecParameters const* native) {
    auto format = static_cast<AVPixelFormat>(static_cast<int>(setup.format.GetPixelFormat()));
    if (format == AV_PIX_FMT_NONE && native) format = static_cast<AVPixelFormat>(native->format);
    if (format == AV_PIX_FMT_NONE) format = AV_PIX_FMT_YUV420P;
    if (!IsListed(*setup.codec, format)) {
        char const* const name = av_get_pix_fmt_name(format);
        if (setup.IsRecoding())
            TARSEL_THROW(Proc::EncoderException, std::string("Encoder ") + setup.codec->name +
                                                     " can't keep the pixel format " + (name ? name : "?"));
        bool const shownEverywhere = setup.options.forEveryPlayer && IsListed(*setup.codec, AV_PIX_FMT_YUV420P);
        // Pictures that were YUV in the file become what they were: RGB in between, as on the GPU, is no reason to
        // write 4:4:4, which many players don't show.
        auto const before = native ? static_cast<AVPixelFormat>(native->format) : AV_PIX_FMT_NONE;
        bool const wasYuv = IsRgbFormat(format) && before != AV_PIX_FMT_NONE && !IsRgbFormat(before);
        if (shownEverywhere)
            format = AV_PIX_FMT_YUV420P;
        else if (wasYuv && IsListed(*setup.codec, before))
            format = before;
        else
            format = avcodec_find_best_pix_fmt_of_list(setup.codec->pix_fmts, format, 0, nullptr);
    }
    setup.context->pix_fmt = format;
}

bool IsInterlaced(AVFieldOrder order) {
    return order == AV_FIELD_TT || order == AV_FIELD_BB || order == AV_FIELD_TB || order == AV_FIELD_BT;
}

/// RGB that becomes YUV loses its matrix with it: the pictures are converted to the one that is named here.
void SettleMatrix(AVCodecContext& context) {
    if (context.colorspace != AVCOL_SPC_RGB || IsRgbFormat(context.pix_fmt)) return;
    context.colorspace = AVCOL_SPC_SMPTE170M;
    context.color_range = AVCOL_RANGE_MPEG;
}

void CopyDescription(Setup& setup, AVCodecParameters const* native) {
    AVCodecContext& context = *setup.context;
    Conf::FrameInfo const& info = setup.format.GetFrameInfo();
    context.width = info.width;
    context.height = info.height;
    context.sample_aspect_ratio = {info.pixelAspectNum, info.pixelAspectDen};
    if (!native) return;
    // An unknown aspect stays unknown: writing 1/1 would change the header. One that the container alone told goes into
    // the stream, since the next container may have no place for it.
    bool const isSquare = info.pixelAspectNum == info.pixelAspectDen;
    if (native->sample_aspect_ratio.num == 0 && (setup.IsRecoding() || isSquare)) context.sample_aspect_ratio = {0, 1};
    context.color_range = native->color_range;
    context.color_primaries = native->color_primaries;
    context.color_trc = native->color_trc;
    context.colorspace = native->color_space;
    context.chroma_sample_location = native->chroma_location;
    context.field_order = native->field_order;
}

void SetRate(Setup& setup) {
    Ratio rate = setup.format.GetFrameRate();
    if (setup.properties.ChildExists(Conf::TAG_FPS)) {
        Ratio const asked = setup.properties[Conf::TAG_FPS].GetRatio();
        if (asked.numerator() > 0) rate = asked;
    }
    if (rate.numerator() <= 0)
        TARSEL_THROW(Proc::EncoderException,
                     std::string("Encoder ") + setup.codec->name + " needs a frame rate above 0");
    AVRational frameRate{0, 1};
    av_reduce(&frameRate.num, &frameRate.den, rate.numerator(), rate.denominator(), MAX_TIME_BASE);
    if (frameRate.num <= 0) frameRate = {1, MAX_TIME_BASE};
    setup.context->framerate = frameRate;
    setup.context->time_base = av_inv_q(frameRate);
}

/// The options text "name;value". What the text asks for as quantiser is lowered to what a seam bears.
std::string CapQuantiser(std::string const& text) {
    std::istringstream input(text);
    std::string result;
    bool hasQuantiser = false;
    for (std::string part; std::getline(input, part, ':');) {
        if (part.rfind("qp=", 0) == 0) {
            hasQuantiser = true;
            int const asked = std::atoi(part.c_str() + 3);
            // 0 would be lossless, which ordinary profiles can't hold.
            part = "qp=" + std::to_string(std::clamp(asked, 1, MAX_RECODE_QUANTISER));
        }
        if (!part.empty()) result += (result.empty() ? "" : ":") + part;
    }
    if (!hasQuantiser) result += (result.empty() ? "qp=" : ":qp=") + std::to_string(MAX_RECODE_QUANTISER);
    return result;
}

/// Whether a profile of H.264 (clause A.2) can hold pictures of this kind.
bool H264ProfileHolds(std::string const& profile, AVPixelFormat format, bool interlaced) {
    AVPixFmtDescriptor const* const description = av_pix_fmt_desc_get(format);
    if (!description) return false;
    int const depth = description->comp[0].depth;
    bool const gray = description->nb_components == 1;
    bool const is420 = description->log2_chroma_w == 1 && description->log2_chroma_h == 1;
    bool const is422 = description->log2_chroma_w == 1 && description->log2_chroma_h == 0;
    if (profile == Conf::TAG_X264_PROFILE_BASELINE) return is420 && depth == 8 && !interlaced;
    if (profile == Conf::TAG_X264_PROFILE_MAIN) return is420 && depth == 8;
    if (profile == Conf::TAG_X264_PROFILE_HIGH) return (is420 || gray) && depth == 8;
    if (profile == Conf::TAG_X264_PROFILE_HIGH10) return (is420 || gray) && depth <= 10;
    if (profile == Conf::TAG_X264_PROFILE_HIGH422) return (is420 || is422 || gray) && depth <= 10;
    // The encoder has no extended profile.
    return profile == Conf::TAG_X264_PROFILE_HIGH444;
}

void ApplySpecialOptions(Setup& setup, Core::Property const& codecOptions) {
    std::string const text = codecOptions[Conf::TAG_FF_SPECIAL_OPTS].GetString();
    std::size_t const border = text.find(';');
    if (border == std::string::npos)
        TARSEL_THROW(Proc::EncoderException,
                     std::string("Encoder ") + setup.codec->name + ": special options '" + text + "' have no ';'");
    std::string const name = text.substr(0, border);
    std::string value = text.substr(border + 1);
    if (name == "x264opts" && setup.IsRecoding()) value = CapQuantiser(value);
    setup.Set(name.c_str(), value);
}

void SetUpH264(Setup& setup, Core::Property const& codecOptions, AVCodecParameters const* native) {
    AVCodecContext& context = *setup.context;
    bool const interlaced = (context.flags & AV_CODEC_FLAG_INTERLACED_DCT) != 0;
    context.thread_count = H264_THREADS;
    if (setup.IsRecoding()) {
        // At a constant quantiser a slower preset saves bytes of one group, and nothing else.
        setup.Set("preset", "superfast");
        setup.Set("sc_threshold", "0");
        context.thread_type = FF_THREAD_FRAME;
        // A reader of a container without decoding times derives them from the depth of reordering that the first
        // header names, so that ours names the source's. No B picture comes of it, as each picture's type is told.
        int const reordering = native ? native->video_delay : 0;
        context.max_b_frames = std::min(reordering, 2);
        setup.Set("b-pyramid", reordering > 1 ? "normal" : "none");
        if (!codecOptions.ChildExists(Conf::TAG_FF_SPECIAL_OPTS))
            setup.Set("x264opts", "qp=" + std::to_string(MAX_RECODE_QUANTISER));
    } else {
        setup.Set("preset", "veryfast");
        if (setup.options.fixedGroups) setup.Set("sc_threshold", "0");
        setup.Set("qp", std::to_string(setup.QualityOr(0)));
    }
    if (codecOptions.ChildExists(Conf::TAG_PROFILE)) {
        std::string const profile = codecOptions[Conf::TAG_PROFILE].GetString();
        if (H264ProfileHolds(profile, context.pix_fmt, interlaced))
            setup.Set("profile", profile);
        else
            VLOG(21) << "Profile '" << profile << "' can't hold the pictures and is ignored";
    }
    if (codecOptions.ChildExists(Conf::TAG_H264_ENTROPY_MODE))
        setup.Set("coder", codecOptions[Conf::TAG_H264_ENTROPY_MODE].GetString() == Conf::TAG_H264_ENTROPY_CAVLC
                               ? "cavlc"
                               : "cabac");
}

/// Profile and level numbers as the headers have them (ISO/IEC 13818-2, 8.2 and 8.3).
void SetMpeg2Profile(Setup& setup, std::string const& profile) {
    struct Row {
        char const* name;
        int number;
        bool holds422;
    };
    static constexpr std::array<Row, 6> ROWS{
        {{Conf::TAG_MPEG2_PROFILE_422, FF_PROFILE_MPEG2_422, true},
         {Conf::TAG_MPEG2_PROFILE_HIGH, FF_PROFILE_MPEG2_HIGH, true},
         {Conf::TAG_MPEG2_PROFILE_SS, FF_PROFILE_MPEG2_SS, false},
         {Conf::TAG_MPEG2_PROFILE_SNR_SCALABLE, FF_PROFILE_MPEG2_SNR_SCALABLE, false},
         {Conf::TAG_MPEG2_PROFILE_MAIN, FF_PROFILE_MPEG2_MAIN, false},
         {Conf::TAG_MPEG2_PROFILE_SIMPLE, FF_PROFILE_MPEG2_SIMPLE, false}}};
    AVCodecContext& context = *setup.context;
    bool const is422 = context.pix_fmt == AV_PIX_FMT_YUV422P;
    for (Row const& row : ROWS) {
        if (profile != row.name) continue;
        // The scalable profiles need layers that nobody codes here; 4:2:0 in a wider profile is the encoder's choice.
        if (row.holds422 != is422 || row.number == FF_PROFILE_MPEG2_SS || row.number == FF_PROFILE_MPEG2_SNR_SCALABLE)
            return;
        bool const high = context.width > 1440 || context.height > 1152;
        bool const main = context.width <= 720 && context.height <= 608;
        context.profile = row.number;
        context.level = is422 ? (main ? 5 : 2) : (main ? 8 : high ? 4 : 6);
        return;
    }
}

/// What the library's own encoders share: a constant quantiser, and no key picture but those asked for.
void SetUpMpegFamily(Setup& setup, int quantiser) {
    AVCodecContext& context = *setup.context;
    context.gop_size = std::min(context.gop_size, MAX_MPEG_GROUP);
    context.qmin = 1;
    setup.SetQuantiserScale(quantiser);
    setup.Set("sc_threshold", "1000000000");
}

void SetUpMpeg12(Setup& setup, Core::Property const& codecOptions) {
    AVCodecContext& context = *setup.context;
    context.flags |= AV_CODEC_FLAG_CLOSED_GOP;
    SetUpMpegFamily(setup, setup.QualityOr(1));
    if (setup.codecId != Video::CODEC_ID_MPEG2VIDEO) return;
    context.intra_dc_precision = 2;  // 10 bits
    setup.Set("seq_disp_ext", "auto");
    if (codecOptions.ChildExists(Conf::TAG_PROFILE))
        SetMpeg2Profile(setup, codecOptions[Conf::TAG_PROFILE].GetString());
}

void SetUpMpeg4(Setup& setup, Core::Property const& codecOptions, AVCodecParameters const* native) {
    AVCodecContext& context = *setup.context;
    SetUpMpegFamily(setup, setup.QualityOr(1));
    // A header that says "low delay" would make a decoder drop the picture that it still holds from the group in front.
    // Room for B pictures keeps the flag off; the encoder gives none as long as each picture's type is told.
    if (setup.IsRecoding() && native && native->video_delay > 0) context.max_b_frames = 1;
    if (!codecOptions.ChildExists(Conf::TAG_PROFILE)) return;
    std::string const profile = codecOptions[Conf::TAG_PROFILE].GetString();
    // The two profiles that the encoder's tools belong to.
    if (profile == Conf::TAG_MPEG4_PROFILE_SIMPLE)
        context.profile = FF_PROFILE_MPEG4_SIMPLE;
    else if (profile == Conf::TAG_MPEG4_PROFILE_ADVANCED_SIMPLE)
        context.profile = FF_PROFILE_MPEG4_ADVANCED_SIMPLE;
    else
        return;
    if (codecOptions.ChildExists(Conf::TAG_PROFILE_LEVEL)) {
        int64 const level = codecOptions[Conf::TAG_PROFILE_LEVEL].GetInt64();
        if (level >= 0 && level <= 15) context.level = static_cast<int>(level);
    }
}

void SetUpVpx(Setup& setup) {
    AVCodecContext& context = *setup.context;
    bool const vp9 = setup.codecId == Video::CODEC_ID_VP9;
    // One packet a picture: no picture that is never shown.
    setup.Set("auto-alt-ref", "0");
    setup.Set("lag-in-frames", "0");
    setup.Set("deadline", "realtime");
    // Below 0 VP8 keeps to the speed; above, it chooses one by the clock, and no two runs are the same.
    setup.Set("cpu-used", vp9 ? "7" : "-5");
    if (setup.IsRecoding()) {
        context.qmin = 2;
        context.qmax = 6;
        setup.Set("crf", "4");
    } else {
        int const quality = setup.QualityOr(0);
        context.qmin = std::min(4, quality);
        context.qmax = std::max(40, quality);
        setup.Set("crf", std::to_string(quality));
    }
    // VP8 takes its constant quality as a floor under a rate: one that is never reached. VP9 has no rate at 0.
    context.bit_rate = vp9 ? 0 : int64{context.width} * context.height * 100;
    context.thread_count = 1;
}

/// Whole streams only.
void SetUpHevc(Setup& setup) {
    setup.Set("preset", "superfast");
    setup.context->thread_count = H264_THREADS;
    // One pool, one line of frames: the same bytes on every machine.
    setup.Set("x265-params", "log-level=error:info=0:pools=2:frame-threads=1:qp=" + std::to_string(setup.QualityOr(0)));
}

void SetUpCodec(Setup& setup, Core::Property const& codecOptions, AVCodecParameters const* native) {
    std::string const& id = setup.codecId;
    AVCodecContext& context = *setup.context;
    if (id == Video::CODEC_ID_H264) {
        SetUpH264(setup, codecOptions, native);
    } else if (id == Video::CODEC_ID_H265) {
        SetUpHevc(setup);
    } else if (id == Video::CODEC_ID_MPEG1VIDEO || id == Video::CODEC_ID_MPEG2VIDEO) {
        SetUpMpeg12(setup, codecOptions);
    } else if (id == Video::CODEC_ID_MPEG4) {
        SetUpMpeg4(setup, codecOptions, native);
    } else if (id == Video::CODEC_ID_VP8 || id == Video::CODEC_ID_VP9) {
        SetUpVpx(setup);
    } else if (id == Video::CODEC_ID_THEORA) {
        setup.SetQuantiserScale(setup.QualityOr(10));
        // The distance field of its times is made for the longest group (Theora, 6.2); no group may outgrow it.
        context.gop_size = std::min(context.gop_size, 1 << 15);
    } else {
        // H.263 has coefficients of 8 bits: a finer quantiser clips those of sharp edges, and the picture gets worse.
        SetUpMpegFamily(setup, setup.QualityOr(id == Video::CODEC_ID_WMV2 ? 2 : 3));
    }
    if (codecOptions.ChildExists(Conf::TAG_FF_SPECIAL_OPTS)) ApplySpecialOptions(setup, codecOptions);
}

[[noreturn]] void Refuse(AVCodec const& codec, int code, LibavLogWatch const& watch) {
    std::string const detail = watch.GetLastText();
    TARSEL_THROW(Proc::EncoderException, std::string("Can't open encoder ") + codec.name + ": " + ErrorText(code) +
                                             (detail.empty() ? "" : " (" + detail + ")"));
}

void OpenContext(Setup& setup, LibavLogWatch& watch) {
    AVDictionary* dictionary = setup.privateOptions.release();
    int const code = avcodec_open2(setup.context.get(), setup.codec, &dictionary);
    setup.privateOptions.reset(dictionary);
    if (code < 0) Refuse(*setup.codec, code, watch);
    if (AVDictionaryEntry const* const left = av_dict_get(dictionary, "", nullptr, AV_DICT_IGNORE_SUFFIX))
        TARSEL_THROW(Proc::EncoderException, std::string("Can't open encoder ") + setup.codec->name +
                                                 ": it knows no option '" + left->key + "'");
}

}  // namespace

std::optional<QualityScale> QualityScaleOf(std::string const& codecId) {
    if (codecId == Video::CODEC_ID_H264 || codecId == Video::CODEC_ID_H265) return QualityScale{0, 51, 18};
    if (codecId == Video::CODEC_ID_VP8) return QualityScale{4, 63, 16};
    if (codecId == Video::CODEC_ID_VP9) return QualityScale{0, 63, 16};
    if (codecId == Video::CODEC_ID_THEORA) return QualityScale{10, 0, 8};
    return FindVideoEncoder(codecId, 0, 0) ? std::optional(QualityScale{1, 31, 3}) : std::nullopt;
}

std::string WhyNoQuality(std::string const& codecId, int quality) {
    auto const scale = QualityScaleOf(codecId);
    if (!scale) return codecId + " has no scale of quality";
    if (quality >= std::min(scale->best, scale->worst) && quality <= std::max(scale->best, scale->worst)) return {};
    return "quality " + std::to_string(quality) + " is out of the range of " + codecId + ": " +
           std::to_string(scale->best) + " (best) to " + std::to_string(scale->worst);
}

AVCodec const* FindRecodeEncoder(std::string const& codecId, int width, int height) {
    return codecId == Video::CODEC_ID_H265 ? nullptr : FindVideoEncoder(codecId, width, height);
}

AVCodec const* FindVideoEncoder(std::string const& codecId, int width, int height) {
    static std::array<std::pair<char const*, char const*>, 10> const NAMES{{{Video::CODEC_ID_H264, "libx264"},
                                                                            {Video::CODEC_ID_H265, "libx265"},
                                                                            {Video::CODEC_ID_MPEG1VIDEO, "mpeg1video"},
                                                                            {Video::CODEC_ID_MPEG2VIDEO, "mpeg2video"},
                                                                            {Video::CODEC_ID_MPEG4, "mpeg4"},
                                                                            {Video::CODEC_ID_H263, "h263"},
                                                                            {Video::CODEC_ID_WMV2, "wmv2"},
                                                                            {Video::CODEC_ID_VP8, "libvpx"},
                                                                            {Video::CODEC_ID_VP9, "libvpx-vp9"},
                                                                            {Video::CODEC_ID_THEORA, "libtheora"}}};
    // The five picture sizes of H.263 (table 5/H.263); others need the extended picture type.
    static constexpr std::array<std::pair<int, int>, 5> H263_SIZES{
        {{128, 96}, {176, 144}, {352, 288}, {704, 576}, {1408, 1152}}};
    for (auto const& [id, name] : NAMES) {
        if (codecId != id) continue;
        bool const extended =
            codecId == Video::CODEC_ID_H263 && width > 0 &&
            std::find(H263_SIZES.begin(), H263_SIZES.end(), std::pair(width, height)) == H263_SIZES.end();
        return avcodec_find_encoder_by_name(extended ? "h263p" : name);
    }
    return nullptr;
}

CodecContextPtr OpenVideoEncoder(Conf::IFormatCodecVideo const& format, Core::Property const& properties,
                                 VideoEncoderOptions const& options, LibavLogWatch& watch) {
    std::string const codecId = options.codecId.empty() ? format.GetCodecID() : options.codecId;
    Setup setup{format, properties, options, codecId, nullptr, nullptr, nullptr};
    auto const find = setup.IsRecoding() ? FindRecodeEncoder : FindVideoEncoder;
    setup.codec = find(codecId, format.GetWidth(), format.GetHeight());
    if (!setup.codec) TARSEL_THROW(Proc::EncoderException, "There is no encoder for " + codecId);
    if (std::string const refusal = options.quality ? WhyNoQuality(codecId, *options.quality) : ""; !refusal.empty())
        TARSEL_THROW(Proc::EncoderException, refusal);
    setup.context.reset(avcodec_alloc_context3(setup.codec));
    if (!setup.context)
        TARSEL_THROW(Proc::EncoderException, std::string("Can't allocate encoder ") + setup.codec->name);
    NativeParameters const* const description = FindNativeParameters(format);
    AVCodecParameters const* const native = description ? description->parameters.get() : nullptr;
    AVCodecContext& context = *setup.context;
    watch.Attach(context);
    CopyDescription(setup, native);
    ChoosePixelFormat(setup, native);
    SettleMatrix(context);
    SetRate(setup);
    context.flags |= AV_CODEC_FLAG_GLOBAL_HEADER | AV_CODEC_FLAG_BITEXACT;
    context.thread_count = 1;
    bool const noBPictures = codecId == Video::CODEC_ID_H263 || codecId == Video::CODEC_ID_WMV2;
    context.max_b_frames = setup.IsRecoding() || noBPictures ? 0 : options.bFrames;
    context.gop_size = setup.IsRecoding() ? UNLIMITED_GROUP : options.groupSize;
    // Beside a constant quantiser the rate is only told in headers.
    if (properties.ChildExists(Conf::TAG_BITRATE) && codecId != Video::CODEC_ID_H264)
        context.bit_rate = std::max<int64>(properties[Conf::TAG_BITRATE].GetInt64(), 0);
    if (IsInterlaced(context.field_order) && (codecId == Video::CODEC_ID_H264 || codecId == Video::CODEC_ID_MPEG2VIDEO))
        context.flags |= AV_CODEC_FLAG_INTERLACED_DCT | AV_CODEC_FLAG_INTERLACED_ME;
    Core::Property const none;
    SetUpCodec(
        setup,
        properties.ChildExists(Conf::TAG_CODEC_OPTIONS_ENCODE) ? properties[Conf::TAG_CODEC_OPTIONS_ENCODE] : none,
        native);
    OpenContext(setup, watch);
    return std::move(setup.context);
}

}  // namespace Tarsel::Host
