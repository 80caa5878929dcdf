#pragma once

#include <optional>
#include <string>

#include "contracts/Proc/Time.h"
#include "host/media/CodecStream.h"
#include "host/media/SampleConverter.h"

namespace Tarsel::Host {

/// Makes sound fit for an encoder that counts samples: what comes out is of one format, rate and layout, those of the
/// source's format, and without gaps. Blocks go in with whatever times they have; a block that stands more than 10 ms
/// behind the count gets silence in front, one that stands as far ahead of it is cut at its front, or dropped. Smaller
/// differences are the rounding of containers: the count goes on. The first block keeps its place, wherever that is,
/// unless the count is to begin where the stream was sought to.
/// Blocks that fit come out as the same objects. Seek: forwarded; the count starts anew. End: null.
class TARSEL_HOST_EXPORT ContinuousAudio : public CodecStream<Proc::IStreamAudio, Proc::IStreamAudio> {
  public:
    /// How far a block's time may lie off the count, in microseconds.
    static constexpr int64 TOLERANCE = 10000;

    /// Where the count begins.
    enum class Start {
        /// At the first block.
        AtFirstBlock,
        /// At the position sought, 0 without a seek: what the first block lacks is silence, what lies ahead of the
        /// position is cut off, to the sample. Streams that are read side by side stay aligned.
        AtSeek,
    };

    /// Throws `std::invalid_argument` for a null source.
    static iptr<ContinuousAudio> Create(iptr<Proc::IStreamAudio> const& source, Start start = Start::AtFirstBlock);

    void RequestSeek(int64 target, iptr<IRefCountable> seekContext) override;

    iptr<Conf::IFormatCodecAudio const> GetFormatCodec() const override { return source->GetFormatCodec(); }
    /// Microseconds of silence filled in, and of sound cut off, so far.
    int64 GetFilled() const { return filled; }
    int64 GetCut() const { return cut; }

  protected:
    std::string GetClassName() const override { return "Tarsel::Host::ContinuousAudio"; }
    void Enter(Proc::IStreamVisitor& visitor) override;
    iptr<Proc::IDataAudio> ReadNext() override;
    void Restart(int64 target) override;
    void AddStatistics(Core::Property& node) const override;

  private:
    ContinuousAudio(iptr<Proc::IStreamAudio> const& samples, Start start);
    /// Reads until a block waits; false at the end.
    bool Fetch();
    iptr<Proc::IDataAudio> MakeSilence(int64 gap);
    /// Brings the block to the target; null when its samples are held back for now.
    iptr<Proc::IDataAudio> Convert(iptr<Proc::IDataAudio> block);
    iptr<Proc::IDataAudio> Wrap(FramePtr frame);
    iptr<Proc::IDataAudio> Give(iptr<Proc::IDataAudio> block);

    /// How far the waiting block may lie off the count.
    int64 GetTolerance() const;

    Conf::SampleInfo const info;
    Start const start;

    // State of the consumer's thread.
    int64 asked = NO_VALUE;  // the seek that is under way, beyond the end as it may be
    int64 first = 0;         // where the count begins, of a start at the seek
    bool exact = false;      // no block has been given behind such a start
    SampleConverter converter;
    std::optional<Conf::SampleInfo> lastInfo;  // of the block that was converted last
    Proc::AudioTime count;                     // time of the next sample to give
    iptr<Proc::IDataAudio> waiting;            // read, not yet placed

    std::atomic<int64> filled{0};
    std::atomic<int64> cut{0};
};

}  // namespace Tarsel::Host
