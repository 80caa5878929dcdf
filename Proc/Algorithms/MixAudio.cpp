#include <algorithm>
#include <utility>
#include <vector>

#include "Proc/Algorithms/AudioAlg.h"
#include "Proc/Algorithms/AudioArithmetic.h"
#include "Proc/Algorithms/AudioLoops.h"
#include "Proc/Algorithms/AudioRun.h"
#include "Proc/Algorithms/AudioVectors.h"
#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {
namespace {

using namespace AudioArithmetic;

std::int16_t& FixedGainOf(MixSource& source, Work8) {
    return source.fixedGain.bits16;
}
template <class Factor>
i32& FixedGainOf(MixSource& source, Work16<Factor>) {
    return source.fixedGain.bits32;
}
template <class Factor>
int64& FixedGainOf(MixSource& source, Work32<Factor>) {
    return source.fixedGain.bits64;
}
template <class Real>
double& FixedGainOf(MixSource& source, WorkReal<Real>) {
    return source.fixedGain.real;
}

template <class Work>
struct Input {
    u8 const* data;
    typename Work::Gain gain;
};

/// One or two sources, scaled and added to sums that go on from an earlier pass, or begin here, into sums for the next
/// pass, or into the result.
template <class Work, bool FROM_SUMS, int SOURCES, bool TO_SUMS>
struct Pass {
    using Sample = typename Work::Sample;
    using Sum = typename Work::Sum;

    TARSEL_KERNEL static void Run(u8* dest, Sum* sums, Input<Work> first, Input<Work> second, std::size_t count) {
        TARSEL_VECTOR_LOOP
        for (std::size_t i = 0; i < count; ++i) {
            Sum sum = FROM_SUMS ? sums[i] : Sum(0);
            sum = Work::Add(sum, Work::Scale(Load<Sample>(first.data, i), first.gain));
            if constexpr (SOURCES == 2) sum = Work::Add(sum, Work::Scale(Load<Sample>(second.data, i), second.gain));
            if constexpr (TO_SUMS)
                sums[i] = sum;
            else
                Store<Sample>(dest, i, Work::Finish(sum));
        }
    }
};

/// Values whose sums are kept between passes: some KiB of the stack, which stay in the nearest cache.
constexpr std::size_t SUM_CHUNK = 1024;

/// Mixes `sources` two by two.
template <class Work>
class Mixer {
  public:
    Mixer(Instructions instructions, AudioBlockView& dest, std::vector<MixSource>& sources)
        : instructions(instructions), dest(dest.data), sources(sources) {}

    /// The values from `begin` to `end`.
    void Mix(std::size_t begin, std::size_t end) {
        if (begin == end) return;
        if (sources.size() == 1) return RunPass<false, 1, false>(0, begin, end - begin);
        if (sources.size() == 2) return RunPass<false, 2, false>(0, begin, end - begin);
        for (; begin < end; begin += SUM_CHUNK) MixChunk(begin, std::min(SUM_CHUNK, end - begin));
    }

  private:
    void MixChunk(std::size_t begin, std::size_t count) {
        std::size_t source = 0;
        RunPass<false, 2, true>(source, begin, count);
        for (source += 2; sources.size() - source > 2; source += 2) RunPass<true, 2, true>(source, begin, count);
        if (sources.size() - source == 2)
            RunPass<true, 2, false>(source, begin, count);
        else
            RunPass<true, 1, false>(source, begin, count);
    }

    template <bool FROM_SUMS, int SOURCES, bool TO_SUMS>
    void RunPass(std::size_t source, std::size_t begin, std::size_t count) {
        std::size_t const offset = begin * sizeof(typename Work::Sample);
        typename Work::Sum* const kept = sums;
        RunLoop<Pass<Work, FROM_SUMS, SOURCES, TO_SUMS>>(instructions, dest + offset, kept, InputAt(source, offset),
                                                         InputAt(source + SOURCES - 1, offset), count);
    }

    Input<Work> InputAt(std::size_t source, std::size_t offset) {
        return {sources[source].data + offset, FixedGainOf(sources[source], Work())};
    }

    Instructions const instructions;
    u8* const dest;
    std::vector<MixSource>& sources;
    alignas(64) typename Work::Sum sums[SUM_CHUNK];
};

/// Number of values, all of which every source holds. The sources know their fixed gains then.
template <class Work>
std::size_t Prepare(AudioBlockView const& dest, std::vector<MixSource>& sources) {
    std::size_t const count = CountValues(dest);
    Conf::SampleFormats const format = WorkFormat(sources.front());
    CheckRun(dest, format, count, "MixAudio", RESULT);
    int number = 0;
    for (MixSource const& source : sources) CheckRun(source, format, count, "MixAudio", number++);
    for (MixSource& source : sources) FixedGainOf(source, Work()) = Work::MakeGain(source.gain);
    return count;
}

template <class Work>
void Mix(Instructions instructions, AudioBlockView& dest, std::vector<MixSource>& sources) {
    std::size_t const count = Prepare<Work>(dest, sources);
    Mixer<Work>(instructions, dest, sources).Mix(0, count);
}

template <class Factor, class Work>
bool AllGainsFit(std::vector<MixSource>& sources, Work work) {
    return std::all_of(sources.begin(), sources.end(),
                       [work](MixSource& source) { return std::in_range<Factor>(FixedGainOf(source, work)); });
}

void MixShorts(Instructions instructions, AudioBlockView& dest, std::vector<MixSource>& sources) {
    using Narrow = Work16<std::int16_t>;
    using Wide = Work16<i32>;
    std::size_t const count = Prepare<Wide>(dest, sources);
    std::size_t done = 0;
    if (sources.size() == 2)
        done = MixQuietShorts(instructions, dest.data, {sources[0].data, sources[0].fixedGain.bits32},
                              {sources[1].data, sources[1].fixedGain.bits32}, count);
    if (AllGainsFit<std::int16_t>(sources, Wide()))
        Mixer<Narrow>(instructions, dest, sources).Mix(done, count);
    else
        Mixer<Wide>(instructions, dest, sources).Mix(done, count);
}

void MixInts(Instructions instructions, AudioBlockView& dest, std::vector<MixSource>& sources) {
    using Narrow = Work32<i32>;
    using Wide = Work32<int64>;
    std::size_t const count = Prepare<Wide>(dest, sources);
    if (AllGainsFit<i32>(sources, Wide()))
        Mixer<Narrow>(instructions, dest, sources).Mix(0, count);
    else
        Mixer<Wide>(instructions, dest, sources).Mix(0, count);
}

void MixFloats(Instructions instructions, AudioBlockView& dest, std::vector<MixSource>& sources) {
    using Work = WorkReal<float>;
    std::size_t const count = Prepare<Work>(dest, sources);
    std::size_t done = 0;
    if (sources.size() == 2)
        done = MixTwoFloats(instructions, dest.data, {sources[0].data, sources[0].gain},
                            {sources[1].data, sources[1].gain}, count);
    Mixer<Work>(instructions, dest, sources).Mix(done, count);
}

}  // namespace

void AudioArithmetic::MixAudioWith(Instructions instructions, AudioBlockView& dest, std::vector<MixSource>& sources) {
    if (sources.empty()) return;
    switch (WorkFormat(sources.front())) {
        case Conf::SAMPLE_FORMAT_U8P:
            return Mix<Work8>(instructions, dest, sources);
        case Conf::SAMPLE_FORMAT_S16P:
            return MixShorts(instructions, dest, sources);
        case Conf::SAMPLE_FORMAT_S32P:
            return MixInts(instructions, dest, sources);
        case Conf::SAMPLE_FORMAT_FLTP:
            return MixFloats(instructions, dest, sources);
        case Conf::SAMPLE_FORMAT_DBLP:
            return Mix<WorkReal<double>>(instructions, dest, sources);
        default:
            TARSEL_THROW(ProcException, "MixAudio doesn't support this sample format");
    }
}

void MixAudio(AudioBlockView& dest, std::vector<MixSource>& sources) {
    MixAudioWith(BestInstructions(), dest, sources);
}

}  // namespace Tarsel::Proc
