#include "Proc/Filters/Filters/FilterReverseAudio.h"

#include <algorithm>
#include <cstddef>
#include <deque>
#include <numeric>
#include <utility>

#include "Proc/Filters/Filters/FilterRegistrator.h"
#include "Proc/Filters/Filters/ReverseStream.h"
#include "contracts/Proc/Time.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace Tarsel::Proc {

namespace {

constexpr int64 CHUNK_LENGTH = 10 * SECOND;
/// Items in a row that don't get on in time, before the source is taken for one that never ends.
constexpr int MAX_STANDING_BLOCKS = 100000;
/// How far a block may lie behind the running time before it is a gap: containers round times to milliseconds.
constexpr int64 GAP = 2000;

int64 BytesOf(IDataAudio const& block) {
    Conf::SampleInfo const info = block.GetSampleInfo();
    return int64{info.GetSampleSizePerPlane()} * info.GetPlanesCount() * block.GetSampleCount();
}

/// Where a block ends in the source's time; its samples tell where it has no duration.
int64 EndOf(IDataAudio const& block, int64 time) {
    int64 const duration = block.GetDuration();
    return AddTime(time, HasValue(duration) && duration > 0
                             ? duration
                             : SampleCount2Duration(block.GetSampleCount(), block.GetSampleRate()));
}

struct AudioEntry {
    iptr<IDataAudio> block;
    // In the source's time.
    int64 start = NO_VALUE;
    int64 end = NO_VALUE;

    int64 GetBytes() const { return BytesOf(*block); }
};

/// Blocks whose samples are reversed, in source order.
struct ReverseBufferAudio {
    using Entry = AudioEntry;

    bool IsEmpty() const { return blocks.empty(); }
    Entry TakeLast() {
        Entry last = std::move(blocks.back());
        blocks.pop_back();
        return last;
    }

    std::deque<Entry> blocks;
    int64 bytes = 0;
    bool trimmed = false;  // blocks at its front were read and put aside
};

template <class Step>
void ReversePlane(u8* plane, int samples) {
    auto* const first = reinterpret_cast<Step*>(plane);
    std::reverse(first, first + samples);
}

/// Turns the order of the samples round; what belongs to one moment stays together.
void ReverseSamples(IDataAudio& block) {
    block.MakeWritable();
    AVFrame const* const frame = block.GetAVFrame();
    Conf::SampleInfo const info = block.GetSampleInfo();
    int const samples = block.GetSampleCount();
    int const step = info.GetSampleSizePerPlane();
    for (int i = 0; i < info.GetPlanesCount(); ++i) {
        u8* const plane = frame->extended_data[i];
        if (step == 1) {
            ReversePlane<u8>(plane, samples);
        } else if (step == 2) {
            ReversePlane<std::uint16_t>(plane, samples);
        } else if (step == 4) {
            ReversePlane<u32>(plane, samples);
        } else if (step == 8) {
            ReversePlane<u64>(plane, samples);
        } else {
            u8* low = plane;
            u8* high = plane + std::ptrdiff_t{step} * (samples - 1);
            for (; low < high; low += step, high -= step) std::swap_ranges(low, low + step, high);
        }
    }
}

class FilterReverseAudio final : public ReverseStream<IStreamAudio, IStreamAudioEx, ReverseBufferAudio> {
  public:
    explicit FilterReverseAudio(iptr<IStreamAudio> source)
        : ReverseStream(std::move(source), "FilterReverseAudio", "Tarsel::Proc::FilterReverseAudio::GetStatistic") {}
    ~FilterReverseAudio() override { StopThread(); }

  protected:
    void Restart(int64 position) override {
        runningTime.Reset(position);
        fresh = true;
    }
    iptr<IDataAudio> Finish(Entry entry) override;
    void ReadBackwards(int64 end) override;

  private:
    /// What a chunk is to hold, in the source's time.
    struct Span {
        int64 start;
        int64 end;
        bool searching;
    };

    int64 BorderStep() const;
    /// False when the thread is to end.
    bool ReadChunk(Span const& span, ReverseBufferAudio& chunk);
    static void Keep(iptr<IDataAudio> block, Span const& span, int64 start, int64 end, ReverseBufferAudio& chunk);

    // State of the consumer.
    AudioTime runningTime;
    bool fresh = true;
};

// --- The consumer ----------------------------------------------------------------------------------------------------

/// The first chunk ends at the sample of the seek position, where the thread has cut it: there is never a surplus to
/// be taken off here.
iptr<IDataAudio> FilterReverseAudio::Finish(Entry entry) {
    int const rate = entry.block->GetSampleRate();
    int64 const place = SubTime(sourceDuration, entry.end);
    int64 const tolerance = fresh ? SampleCount2Duration(1, rate) + 1 : GAP;
    if (SubTime(place, runningTime.GetTime()) > tolerance) runningTime.Reset(place);
    fresh = false;
    entry.block->SetTime(runningTime.GetTime());
    runningTime.AddSamples(rate, static_cast<uint64>(entry.block->GetSampleCount()));
    // Counted in samples like the times, so that each block ends where the next one begins.
    entry.block->SetDuration(SubTime(runningTime.GetTime(), entry.block->GetTime()));
    return std::move(entry.block);
}

// --- The thread ------------------------------------------------------------------------------------------------------

/// Chunks meet at times that are whole samples as well as whole microseconds: so both sides of a border cut at the same
/// sample, however the source divides its blocks.
int64 FilterReverseAudio::BorderStep() const {
    iptr<Conf::IFormatCodecAudio const> const format = GetFormatCodec();
    int const rate = format ? format->GetSampleInfo().GetSampleRate() : 0;
    return rate > 0 ? SECOND / std::gcd<int64>(SECOND, rate) : 1;
}

void FilterReverseAudio::ReadBackwards(int64 end) {
    int64 const border = BorderStep();
    int64 length = CHUNK_LENGTH;
    while (end > 0) {
        int64 start = std::max<int64>(0, end - length);
        start -= start % border;
        if (!SeekSource(start) || !AwaitEmptyQueue()) return;
        ReverseBufferAudio chunk;
        if (!ReadChunk({start, end, length > CHUNK_LENGTH}, chunk)) return;
        if (chunk.IsEmpty()) {
            // Sound that ends long before the stated duration is found in ever longer steps.
            if (start == 0) return;
            length = length > sourceDuration / 2 ? sourceDuration : 2 * length;
            continue;
        }
        length = CHUNK_LENGTH;
        AudioEntry const& first = chunk.blocks.front();
        // A source that landed late owes what lies before its landing.
        bool const late = first.start - start > SampleCount2Duration(1, first.block->GetSampleRate()) + 1;
        int64 const next = late || chunk.trimmed ? first.start : start;
        bool const last = start == 0 && !chunk.trimmed;
        int64 const bytes = chunk.bytes;
        Push(std::move(chunk), bytes);
        // No progress would be an endless loop.
        if (last || next >= end) return;
        end = next;
    }
}

bool FilterReverseAudio::ReadChunk(Span const& span, ReverseBufferAudio& chunk) {
    int64 reached = NO_VALUE;
    for (int standing = 0; standing < MAX_STANDING_BLOCKS;) {
        iptr<IDataAudio> block;
        if (!ReadSource(block)) return false;
        if (!block) return true;
        // A block without a time goes on where the one before it ended; without one before it nobody knows its place.
        int64 const start = HasValue(block->GetTime()) ? block->GetTime() : reached;
        int64 const end = HasValue(start) ? EndOf(*block, start) : NO_VALUE;
        if (!HasValue(end)) {
            VLOG(21) << "Sound without a time is skipped";
            ++standing;
            continue;
        }
        standing = HasValue(reached) && end <= reached ? standing + 1 : 0;
        reached = end;
        if (start >= span.end) return true;
        if (end > span.start) Keep(std::move(block), span, start, end, chunk);
        if (end >= span.end) return true;
    }
    TARSEL_THROW(FilterException, "Source makes no progress in time");
}

void FilterReverseAudio::Keep(iptr<IDataAudio> block, Span const& span, int64 start, int64 end,
                              ReverseBufferAudio& chunk) {
    int const rate = block->GetSampleRate();
    int64 const count = block->GetSampleCount();
    int64 const over = end > span.end ? Duration2SampleCount(end - span.end, rate) : 0;
    // Exactly as many are kept as the next chunk, which ends here, cuts off.
    int64 const early = start < span.start ? count - std::min(count, Duration2SampleCount(end - span.start, rate)) : 0;
    if (over + early >= count) return;

    block = MakeOwn(std::move(block));
    if (over > 0) block->CutSamplesEnd(static_cast<int>(over));
    if (early > 0) block->CutSamplesBegin(static_cast<int>(early));
    ReverseSamples(*block);
    AudioEntry entry{std::move(block), start + SampleCount2Duration(early, rate),
                     end - SampleCount2Duration(over, rate)};
    chunk.bytes += entry.GetBytes();
    chunk.blocks.push_back(std::move(entry));
    while (span.searching && chunk.blocks.size() > 1 &&
           chunk.blocks.back().end - chunk.blocks[1].start > CHUNK_LENGTH) {
        chunk.bytes -= chunk.blocks.front().GetBytes();
        chunk.blocks.pop_front();
        chunk.trimmed = true;
    }
}

}  // namespace

iptr<IStreamAudioEx> MakeFilterReverseAudio(iptr<IStreamAudio> const& source, iptr<IEffectFactory const> const&,
                                            Settings const& settings) {
    return Details::MakeInitialized<IStreamAudioEx, FilterReverseAudio>(settings, source);
}

}  // namespace Tarsel::Proc
