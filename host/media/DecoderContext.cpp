#include "host/media/DecoderContext.h"

#include <algorithm>
#include <cstring>
#include <thread>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/ImplNames.h"

extern "C" {
#include <libavutil/avstring.h>
}

namespace Tarsel::Host {

namespace {

constexpr int MAX_SLICE_THREADS = 4;
constexpr int MAX_FRAME_THREADS = 8;

bool IsDefaultName(std::string const& name) {
    return name.empty() || name == Proc::ImplNames::FFMPEG || name == Proc::ImplNames::TARSEL ||
           name == Proc::ImplNames::DEFAULT;
}

/// Whether the container tells of alpha beside the pictures. Its key is in lower case, and after a copy by other
/// programs often in upper case.
bool HasAlphaBeside(Core::Property const& metadata) {
    return std::any_of(metadata.Children().begin(), metadata.Children().end(), [](Core::Property const& tag) {
        return av_strcasecmp(tag.Name().c_str(), "alpha_mode") == 0 && tag.GetString() == "1";
    });
}

/// The decoder that gives alpha, too, for pictures that have some beside them in their packets: the library's first
/// choice leaves it out. Null for others, and where the library was built without it.
AVCodec const* FindAlphaDecoder(AVCodecID id, Conf::IFormatCodec const& format) {
    if (id != AV_CODEC_ID_VP8 && id != AV_CODEC_ID_VP9) return nullptr;
    if (!HasAlphaBeside(format.GetMetadata())) return nullptr;
    return avcodec_find_decoder_by_name(id == AV_CODEC_ID_VP8 ? "libvpx" : "libvpx-vp9");
}

AVCodec const* FindDecoder(AVCodecID id, Conf::IFormatCodec const& format, std::string const& implName) {
    AVCodec const* codec = nullptr;
    if (IsDefaultName(implName)) {
        codec = FindAlphaDecoder(id, format);
        if (!codec) codec = avcodec_find_decoder(id);
    } else {
        codec = avcodec_find_decoder_by_name(implName.c_str());
        if (codec && codec->id != id) codec = nullptr;
    }
    if (!codec)
        TARSEL_THROW(Proc::CodecFactoryException, "There is no decoder" +
                                                      (IsDefaultName(implName) ? "" : " '" + implName + "'") + " for " +
                                                      format.GetCodecID());
    return codec;
}

int ThreadCount(DecoderOptions const& options) {
    if (options.threadCount > 0) return options.threadCount;
    int const processors = std::max(static_cast<int>(std::thread::hardware_concurrency()), 1);
    if (options.threading == DecoderOptions::Threading::Slices) return std::min(processors, MAX_SLICE_THREADS);
    // One picture more under way than can be worked on: whoever reads works on its own pictures meanwhile.
    return processors == 1 ? 1 : std::min(processors + 1, MAX_FRAME_THREADS);
}

/// Parameters to open a codec with: the container's, with the format's codec and header bytes put over them. Throws
/// `CodecFactoryException` for a codec that the library doesn't know.
ParametersPtr MakeParameters(Conf::IFormatCodec const& format, AVMediaType type) {
    ParametersPtr parameters(avcodec_parameters_alloc());
    if (!parameters) TARSEL_THROW(Proc::CodecFactoryException, "Can't allocate codec parameters");
    if (NativeParameters const* const native = FindNativeParameters(format); native && native->parameters) {
        if (int const code = avcodec_parameters_copy(parameters.get(), native->parameters.get()); code < 0)
            TARSEL_THROW(Proc::CodecFactoryException, "Can't copy codec parameters: " + ErrorText(code));
    }
    AVCodecDescriptor const* const named = avcodec_descriptor_get_by_name(format.GetCodecID().c_str());
    if (named && parameters->codec_id == AV_CODEC_ID_NONE) parameters->codec_id = named->id;
    if (parameters->codec_id == AV_CODEC_ID_NONE)
        TARSEL_THROW(Proc::CodecFactoryException, "Unknown codec '" + format.GetCodecID() + "'");
    parameters->codec_type = type;
    if (iptr<IBlob> const extradata = format.GetExtradata(); extradata && extradata->GetSize() > 0) {
        av_freep(&parameters->extradata);
        parameters->extradata_size = 0;
        parameters->extradata = static_cast<uint8_t*>(av_mallocz(extradata->GetSize() + AV_INPUT_BUFFER_PADDING_SIZE));
        if (!parameters->extradata) TARSEL_THROW(Proc::CodecFactoryException, "Can't allocate codec parameters");
        std::memcpy(parameters->extradata, extradata->GetData(), extradata->GetSize());
        parameters->extradata_size = static_cast<int>(extradata->GetSize());
    }
    return parameters;
}

/// In frame threads the decoders of Theora's family keep pictures from in front of a seek, and show them behind it.
bool AreFrameThreadsExact(AVCodecID codec) {
    return codec != AV_CODEC_ID_THEORA && codec != AV_CODEC_ID_VP3 && codec != AV_CODEC_ID_VP4;
}

}  // namespace

NativeParameters const* FindNativeParameters(Conf::IFormatCodec const& format) {
    return dynamic_cast<NativeParameters const*>(format.GetNativeParameters().get());
}

DecoderContext::DecoderContext(Conf::IFormatCodec const& format, AVMediaType type, std::string const& implName,
                               DecoderOptions const& options)
    : options(options),
      parameters(MakeParameters(format, type)),
      codec(FindDecoder(parameters->codec_id, format, implName)) {}

CodecContextPtr DecoderContext::Make(int threadCount) {
    std::string const name = codec->name;
    CodecContextPtr made(avcodec_alloc_context3(codec));
    if (!made) TARSEL_THROW(Proc::CodecFactoryException, "Can't allocate decoder " + name);
    int code = avcodec_parameters_to_context(made.get(), parameters.get());
    if (code >= 0) {
        watch.Attach(*made);
        made->pkt_timebase = MICROSECONDS;
        made->thread_count = threadCount;
        bool const frames = options.threading == DecoderOptions::Threading::Frames && AreFrameThreadsExact(codec->id);
        made->thread_type = frames ? FF_THREAD_FRAME | FF_THREAD_SLICE : FF_THREAD_SLICE;
        code = avcodec_open2(made.get(), codec, nullptr);
    }
    if (code < 0) TARSEL_THROW(Proc::CodecFactoryException, "Can't open decoder " + name + ": " + ErrorText(code));
    return made;
}

CodecContextPtr DecoderContext::Probe() {
    CodecContextPtr made = Make(1);
    probed = true;
    return made;
}

AVCodecContext& DecoderContext::Open() {
    if (!context) {
        struct Hush {
            LibavLogWatch& watch;
            ~Hush() { watch.SetQuiet(false); }
        } const hush{watch};
        // What the header makes it complain of has been heard when it was probed.
        watch.SetQuiet(probed);
        context = Make(ThreadCount(options));
    }
    return *context;
}

}  // namespace Tarsel::Host
