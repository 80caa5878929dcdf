#pragma once

#include <cstddef>
#include <deque>

#include "contracts/Conf/SampleInfo.h"
#include "contracts/Proc/IFactories.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

/// Hands out the blocks of one stream in counts of samples that somebody else sets.
///
/// Goes in: the blocks of a stream, read as they are needed. Comes out: blocks of just so many samples; what is left of
/// a block is kept for the next one, and nothing is lost. A block that is asked for as it came is handed on as the same
/// object, others are put together from copies. End: the last block is filled up with silence. One thread.
///
/// A call that fails, because the stream or a converter does, leaves what is held as it was: the same call can be made
/// again.
class MixerInput {
  public:
    /// The factory makes the converters for blocks that come in another format.
    MixerInput(iptr<IStreamAudio> stream, iptr<IFilterFactory const> factory);

    /// Forgets what is held, and that the stream has ended.
    void Reset();
    /// Sees to it that a block is held: the head, of which samples may have been taken already. It may have no samples.
    /// False when there is none and the stream has ended.
    bool Load();

    // What is left of the head. To be asked while there is one.

    int HeadCount() const { return held.front().Count(); }
    int64 HeadTime() const { return held.front().Time(); }
    int64 HeadDuration() const { return held.front().Duration(); }
    Conf::SampleInfo HeadInfo() const { return held.front().block->GetSampleInfo(); }

    /// Drops the samples in front of `start`. A head that lies more than a second in front of it stays as it is, unless
    /// the stream ends within that second.
    void DropUntil(int64 start);
    /// Sees to it that `count` samples of this format are held, or all that the stream still has. Blocks of another
    /// format are converted.
    void Prepare(int count, Conf::SampleInfo const& info);
    /// Takes `count` samples, behind `Prepare` with the same values.
    iptr<IDataAudio> Take(int count, Conf::SampleInfo const& info);

  private:
    /// A block, `offset` samples of which have been taken.
    struct Held {
        explicit Held(iptr<IDataAudio> const& block) : block(block), base(block->GetTime()) {}

        int Count() const { return block->GetSampleCount() - offset; }
        int64 Time() const;
        int64 Duration() const;

        iptr<IDataAudio> block;
        int offset = 0;
        int64 base;  // time of the block's first sample
    };

    /// Reads up to the next block that has samples, or to the next one at all. False at the end.
    bool ReadOn(bool keepEmpty);
    /// Reads until so many samples are held, of whatever formats.
    void Hold(int64 count);
    /// Drops samples, at most those that are held.
    void Drop(int64 count);
    /// Puts the converted blocks, if any, in the place of a block.
    void ConvertAt(std::size_t index, Conf::SampleInfo const& info);
    std::deque<Held> Convert(Held const& foreign, Conf::SampleInfo const& info) const;

    // Wiring.
    iptr<IStreamAudio> stream;
    iptr<IFilterFactory const> factory;

    // State of the reader.
    std::deque<Held> held;
    int64 heldCount = 0;  // samples in all of them
    bool ended = false;   // the stream has given null
};

}  // namespace Tarsel::Proc
