#pragma once

#include <vector>

#include "contracts/Conf/SampleInfo.h"
#include "contracts/Proc/IData.h"
#include "contracts/Proc/Time.h"
#include "host/media/Swr.h"

namespace Tarsel::Host {

/// One run of sound without a gap, from one format to another, on libswresample.
///
/// Where the rate stays, every block is converted on its own and keeps its time and duration. Where it changes, samples
/// are held back, and what comes out is timed by its counted samples from the time of the first block; over the run
/// exactly as many samples come out as those that went in are worth, to the nearest. The library mirrors the sound at
/// the run's begin and end, so that nothing is shifted and nothing fades.
class ResampleRun {
  public:
    /// Throws `EffectException` where the library can't convert.
    ResampleRun(Conf::SampleInfo const& from, Conf::SampleInfo const& to);

    Conf::SampleInfo const& GetSource() const { return from; }
    /// Whether the block stands where the run has got to, by its time. One without a time always does.
    bool Continues(Proc::IDataAudio const& block) const;
    /// What comes out for a block of the source's format: blocks of a bounded size, or nothing.
    std::vector<iptr<Proc::IDataAudio>> Feed(Proc::IDataAudio& block);
    /// What is still held back, or null. The run is over then.
    iptr<Proc::IDataAudio> Finish();

  private:
    using Samples = std::vector<u8 const*>;

    bool ChangesRate() const { return from.GetSampleRate() != to.GetSampleRate(); }
    /// Sets the clocks by the block's time: at the run's begin, and where a time is known for the first time.
    void SetClocks(int64 time);
    /// Where the rate stays: the time of the block itself, or one counted from the last known.
    void KeepTime(Proc::IDataAudio const& block, Proc::IDataAudio& converted);
    /// Writes what the library has for these samples from `offset` on, and gives the count. No samples: the end.
    int Convert(Proc::IDataAudio& result, int offset, Samples input, int count);
    /// A block of what comes out for these samples, behind those of the head if it has just been filled; or null.
    iptr<Proc::IDataAudio> ConvertPiece(bool withHead, Samples const& input, int count);
    /// Fills the head from the block's begin, and gives how many samples it took.
    int FillHead(Proc::IDataAudio& block);
    /// Times the block by its samples.
    void Stamp(Proc::IDataAudio& block);

    Conf::SampleInfo const from;
    Conf::SampleInfo const to;
    SwrPtr context;
    int64 samplesIn = 0;
    int64 samplesOut = 0;
    Proc::AudioTime inputClock;
    Proc::AudioTime outputClock;
    /// Where the rate changes: the first samples of the run. The library gets them at once, as many as its filter
    /// wants: with fewer it gives nothing, and what its first samples become depends on how they are handed over.
    iptr<Proc::IDataAudio> head;
    int headCount = 0;
};

}  // namespace Tarsel::Host
