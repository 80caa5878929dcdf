#pragma once

#include <string>

#include "contracts/Conf/IFormatCodec.h"
#include "host/media/FFmpeg.h"
#include "host/media/LibavLog.h"
#include "host/media/NativeParameters.h"

namespace Tarsel::Host {

/// The frame-type code of a decoder.
inline constexpr int FRAME_TYPE_DECODER = 0;

/// How decoders work. The output is the same whatever is chosen here.
struct DecoderOptions {
    /// Frame threads work on several pictures at once, which pays in a long run only: a decoder over a single group of
    /// pictures takes slices.
    enum class Threading { Slices, Frames };
    /// What makes a decoder throw instead of going on.
    enum class Strictness { Lenient, Errors, Warnings };

    Threading threading = Threading::Slices;
    /// 0: as many slices as the machine has processors, at most 4; one frame more than processors, at most 8.
    int threadCount = 0;
    Strictness strictness = Strictness::Lenient;
};

/// The stream's own description, or null when there is none: what the demuxer attached to the format.
NativeParameters const* FindNativeParameters(Conf::IFormatCodec const& format);

/// A decoder of libavcodec that is open only while it works, so that a graph may have thousands of them. One thread;
/// the watch's counts and the codec from any.
class DecoderContext {
  public:
    /// Finds the decoder for `format`, the one of that name when a name is given, and opens nothing. Throws
    /// `CodecFactoryException`.
    DecoderContext(Conf::IFormatCodec const& format, AVMediaType type, std::string const& implName,
                   DecoderOptions const& options);

    /// A context that is opened for a look at what the decoder gives, and whether it opens at all. It has no worker
    /// threads, which is what makes opening dear. Throws `CodecFactoryException`.
    CodecContextPtr Probe();
    /// Opens the decoder unless it is open. Throws like `Probe`.
    AVCodecContext& Open();
    void Close() { context.reset(); }
    bool IsOpen() const { return context != nullptr; }
    /// Null when the decoder is closed.
    AVCodecContext* Get() const { return context.get(); }

    AVCodec const& GetCodec() const { return *codec; }
    LibavLogWatch& GetWatch() { return watch; }
    LibavLogWatch const& GetWatch() const { return watch; }

  private:
    CodecContextPtr Make(int threadCount);

    // Constant after construction.
    DecoderOptions const options;
    ParametersPtr const parameters;
    AVCodec const* const codec;

    LibavLogWatch watch;  // outlives the context
    CodecContextPtr context;
    bool probed = false;
};

}  // namespace Tarsel::Host
