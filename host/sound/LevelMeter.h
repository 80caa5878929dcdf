#pragma once

#include <vector>

#include "contracts/Core/Export.h"
#include "host/media/ForwardingStream.h"

namespace Tarsel::Host {

/// Hands sound through and measures each channel of every block that passes, on the scale of the library's own levels:
/// 1 is full scale, bytes are counted from 128 in 128ths, integers of 16 bits in 32767ths, of 32 bits in 2147483647ths,
/// floats as they are. A seek starts the measurement anew. Blocks come out as the same objects. One consumer, who also
/// asks for the levels.
class TARSEL_HOST_EXPORT LevelMeter final : public ForwardingStream<Proc::IStreamAudio> {
  public:
    struct Level {
        /// The largest value of the positive half-wave: 0 where all values lie below.
        double peak = 0;
        double rms = 0;

        bool operator==(Level const&) const = default;
    };

    /// Throws `std::invalid_argument` for a null source.
    static iptr<LevelMeter> Create(iptr<Proc::IStreamAudio> const& source);

    void DoSeek() override;
    /// A block of 64-bit integers throws `Proc::ProcException`.
    iptr<Proc::IDataAudio> Read() override;

    /// Of each channel; none before the first block.
    std::vector<Level> GetChannels() const;
    /// The largest peak, and the RMS of all channels' samples together.
    Level GetLevel() const;

  private:
    struct Channel {
        double peak = 0;
        double sum = 0;  // of the squares
        uint64 count = 0;
    };

    explicit LevelMeter(iptr<Proc::IStreamAudio> const& source);
    void Measure(Proc::IDataAudio& block);
    template <class Sample, class Value>
    void Add(Proc::IDataAudio& block, Value value);

    std::vector<Channel> channels;
};

}  // namespace Tarsel::Host
