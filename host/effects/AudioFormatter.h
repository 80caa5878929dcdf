#pragma once

#include <deque>

#include "contracts/Conf/SampleInfo.h"
#include "contracts/Core/Export.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Proc/IAudioFormatter.h"
#include "contracts/Proc/Time.h"

namespace Tarsel::Host {

/// Cuts a run of blocks into blocks of another length.
///
/// Goes in: blocks of any sizes and formats; only the time of the first one counts, gaps behind it are closed. Comes
/// out: blocks on the grid of a clock that goes on by the durations asked for. The grid is laid over the time line
/// itself, not over the first block: a block from `t` on has the samples between the nearest ones to its two ends, so
/// that 11025 Hz in steps of 100 ms give 1103 and 1102 in turn, and the same ones wherever reading begins on the grid.
/// A block that is given short, or by its samples alone, moves the clock by its samples. Pushed blocks are kept, not
/// copied: one that is asked for whole comes out as the same object, and samples are copied once at most. One thread.
class TARSEL_HOST_EXPORT AudioFormatter final : public Proc::IAudioFormatter, public RefCounted {
  public:
    AudioFormatter() { clock.Reset(0); }
    ~AudioFormatter() override;

    /// There is nothing to set. What is held stays.
    void Initialize(Core::Property const& property) override;
    /// The format stays as it is.
    void AdaptFormatCodec(iptr<Conf::IFormatCodec>&) override {}
    /// Throws `AlgorithmException` for a block that has no rate, channels or format.
    void Push(iptr<Proc::IDataAudio> const& block) override;
    iptr<Proc::IDataAudio> Pop(int64 duration, bool flush) override;
    void Reset(int64 time) override;

  private:
    /// Blocks of one format in a row.
    struct Run {
        Conf::SampleInfo info;
        std::deque<iptr<Proc::IDataAudio>> blocks;
        int64 held = 0;  // samples
    };
    /// What a call asks for: so many samples, and where the clock stands behind them; no value: wherever they end.
    struct Piece {
        int64 count;
        int64 end;
    };

    Piece Measure(int64 duration) const;
    /// The first samples of the first run, without their time.
    iptr<Proc::IDataAudio> Take(int count);
    /// Copies samples out of the first run.
    void TakeInto(Proc::IDataAudio& result, int count);
    /// Times the block and moves the clock behind it.
    iptr<Proc::IDataAudio> Stamp(iptr<Proc::IDataAudio> block, int64 end);

    std::deque<Run> runs;  // none of them is empty
    int taken = 0;         // samples of the very first block that are gone already

    // The clock. Without a time it counts from 0, and blocks get no times.
    bool isTimed = false;
    Proc::AudioTime clock;
    /// The sample that stands at the clock's time: on the grid, or where the samples given have come to.
    int64 sampleIndex = 0;
    int rate = 0;  // of `sampleIndex`
};

}  // namespace Tarsel::Host
