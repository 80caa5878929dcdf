#pragma once

#include <atomic>
#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Proc/IStream.h"
#include "host/media/DecoderContext.h"

namespace Tarsel::Host {

/// What went through a decoder, and what it had to say.
struct DecoderReport {
    uint64 packets = 0;
    uint64 frames = 0;
    uint64 damagedPackets = 0;
    uint64 errors = 0;
    uint64 warnings = 0;
    std::string firstError;
};

/// A decoder and the loop that feeds it from a stream of packets. Times go in and come out in microseconds. The decoder
/// is open from the first packet that goes in until `Close`.
class DecoderCore {
  public:
    /// Finds the decoder for `format`, the one of that name when a name is given. Throws `CodecFactoryException`.
    DecoderCore(Conf::IFormatCodec const& format, AVMediaType type, std::string const& implName,
                DecoderOptions const& options);

    /// See `DecoderContext::Probe`.
    CodecContextPtr Probe() { return decoder.Probe(); }

    /// The next frame, or null when the source has ended and the decoder is empty, again and again. A damaged packet is
    /// skipped with a warning; a strict decoder throws `ProcException` with the decoder's text and the packet's time.
    FramePtr Receive(Proc::IStreamRaw& source);
    /// Makes ready for packets from another place, of which the consumer wants what lies behind `wanted` (no value:
    /// everything). Complaints about packets that end at or before it are passed over: they may refer to what stands
    /// in front of the place (see `LibavLogWatch::SetQuiet`).
    void Flush(int64 wanted);
    /// The same with a new decoder: some keep a trace of what they decoded before.
    void Reopen(int64 wanted);
    /// Gives the decoder back, with all that it holds; the next packet opens a new one. Counts stay.
    void Close() { Reopen(NO_VALUE); }
    bool IsOpen() const { return decoder.IsOpen(); }

    AVCodecID GetCodecId() const { return decoder.GetCodec().id; }
    std::string GetName() const { return decoder.GetCodec().name; }
    /// Packets given to the decoder since the last `Flush`, and frames that came out.
    uint64 GetPacketsOfRun() const { return packetsOfRun; }
    uint64 GetFramesOfRun() const { return framesOfRun; }
    /// From any thread.
    DecoderReport GetReport() const;
    void AddStatistics(Core::Property& node) const;

  private:
    /// Gives the decoder the next packet, or tells it that there is none. A frame that needs no decoding comes out.
    FramePtr Feed(Proc::IStreamRaw& source);
    FramePtr NoteFrame(FramePtr frame);
    void NoteDamage(int code);
    void CheckStrictness() const;
    void SetQuiet(bool value);

    DecoderOptions::Strictness const strictness;
    DecoderContext decoder;

    // State of the consumer's thread.
    int64 lastPacketTime = NO_VALUE;
    uint64 packetsOfRun = 0;
    uint64 framesOfRun = 0;
    int64 quietBefore = NO_VALUE;
    uint64 errorsBefore = 0;    // of earlier runs
    uint64 warningsBefore = 0;  // of earlier runs
    unsigned failuresInARow = 0;
    bool sent = false;  // something has gone into the decoder since it last asked for more
    bool draining = false;
    bool quiet = false;

    // Read by other threads.
    std::atomic<uint64> packets{0};
    std::atomic<uint64> frames{0};
    std::atomic<uint64> damagedPackets{0};
};

}  // namespace Tarsel::Host
