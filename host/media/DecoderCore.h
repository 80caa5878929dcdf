#pragma once

#include <atomic>
#include <string>

#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Core/Property.h"
#include "contracts/Proc/IStream.h"
#include "host/media/FFmpeg.h"
#include "host/media/LibavLog.h"
#include "host/media/NativeParameters.h"

namespace Tarsel::Host {

/// How decoders work. The output is the same whatever is chosen here.
struct DecoderOptions {
    /// Frame threads work on several pictures at once, which pays in a long run only: a decoder over a single group of
    /// pictures takes slices.
    enum class Threading { Slices, Frames };
    /// What makes a decoder throw instead of going on.
    enum class Strictness { Lenient, Errors, Warnings };

    Threading threading = Threading::Slices;
    /// 0: as many as the machine has, at most 4.
    int threadCount = 0;
    Strictness strictness = Strictness::Lenient;
};

/// What went through a decoder, and what it had to say.
struct DecoderReport {
    uint64 packets = 0;
    uint64 frames = 0;
    uint64 damagedPackets = 0;
    uint64 errors = 0;
    uint64 warnings = 0;
    std::string firstError;
};

/// The stream's own description, or null when there is none: what the demuxer attached to the format.
NativeParameters const* FindNativeParameters(Conf::IFormatCodec const& format);

/// Parameters to open a codec with: the container's, with the format's codec and header bytes put over them. Throws
/// `CodecFactoryException` for a codec that the library doesn't know.
ParametersPtr MakeParameters(Conf::IFormatCodec const& format, AVMediaType type);

/// A codec context and the loop that feeds it from a stream of packets. Times go in and come out in microseconds.
class DecoderCore {
  public:
    /// Opens the decoder for `format`, the one of that name when a name is given. Throws `CodecFactoryException`.
    DecoderCore(Conf::IFormatCodec const& format, AVMediaType type, std::string const& implName,
                DecoderOptions const& options);

    /// The next frame, or null when the source has ended and the decoder is empty, again and again. A damaged packet is
    /// skipped with a warning; a strict decoder throws `ProcException` with the decoder's text and the packet's time.
    FramePtr Receive(Proc::IStreamRaw& source);
    /// Makes ready for packets from another place, of which the consumer wants what lies behind `wanted` (no value:
    /// everything). Complaints about packets that end at or before it are passed over: they may refer to what stands
    /// in front of the place (see `LibavLogWatch::SetQuiet`).
    void Flush(int64 wanted);
    /// The same with a new decoder: some keep a trace of what they decoded before.
    void Reopen(int64 wanted);

    AVCodecContext const& GetContext() const { return *context; }
    std::string GetName() const { return codec->name; }
    /// Packets given to the decoder since the last `Flush`, and frames that came out.
    uint64 GetPacketsOfRun() const { return packetsOfRun; }
    uint64 GetFramesOfRun() const { return framesOfRun; }
    /// From any thread.
    DecoderReport GetReport() const;
    void AddStatistics(Core::Property& node) const;

  private:
    void Open();
    void Feed(Proc::IStreamRaw& source);
    void NoteDamage(int code);
    void CheckStrictness() const;
    void SetQuiet(bool value);

    // Settings, constant after construction.
    DecoderOptions const options;
    ParametersPtr const parameters;
    AVCodec const* const codec;

    LibavLogWatch watch;  // outlives the context
    CodecContextPtr context;

    // State of the consumer's thread.
    int64 lastPacketTime = NO_VALUE;
    uint64 packetsOfRun = 0;
    uint64 framesOfRun = 0;
    int64 quietBefore = NO_VALUE;
    uint64 errorsBefore = 0;    // of earlier runs
    uint64 warningsBefore = 0;  // of earlier runs
    unsigned failuresInARow = 0;
    bool draining = false;
    bool quiet = false;

    // Read by other threads.
    std::atomic<uint64> packets{0};
    std::atomic<uint64> frames{0};
    std::atomic<uint64> damagedPackets{0};
};

}  // namespace Tarsel::Host
