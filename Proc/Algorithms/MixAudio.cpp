#include <algorithm>
#include <vector>

#include "Proc/Algorithms/AudioAlg.h"
#include "Proc/Algorithms/AudioArithmetic.h"
#include "Proc/Algorithms/AudioLoops.h"
#include "Proc/Algorithms/AudioRun.h"
#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {
namespace {

using namespace AudioArithmetic;

std::int16_t& FixedGainOf(MixSource& source, Work8) {
    return source.fixedGain.bits16;
}
i32& FixedGainOf(MixSource& source, Work16) {
    return source.fixedGain.bits32;
}
int64& FixedGainOf(MixSource& source, Work32) {
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
constexpr std::size_t CHUNK = 1024;

/// Mixes `sources` two by two.
template <class Work>
class Mixer {
  public:
    Mixer(Instructions instructions, AudioBlockView& dest, std::vector<MixSource>& sources)
        : instructions(instructions), dest(dest.data), sources(sources) {}

    void Mix(std::size_t count) {
        if (sources.size() == 1) return RunPass<false, 1, false>(0, 0, count);
        if (sources.size() == 2) return RunPass<false, 2, false>(0, 0, count);
        for (std::size_t begin = 0; begin < count; begin += CHUNK) MixChunk(begin, std::min(CHUNK, count - begin));
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
    alignas(64) typename Work::Sum sums[CHUNK];
};

template <class Work>
void Mix(Instructions instructions, AudioBlockView& dest, std::vector<MixSource>& sources) {
    std::size_t const count = CountValues(dest);
    Conf::SampleFormats const format = WorkFormat(sources.front());
    CheckRun(dest, format, count, "MixAudio", RESULT);
    int number = 0;
    for (MixSource const& source : sources) CheckRun(source, format, count, "MixAudio", number++);
    for (MixSource& source : sources) FixedGainOf(source, Work()) = Work::MakeGain(source.gain);
    if (count > 0) Mixer<Work>(instructions, dest, sources).Mix(count);
}

}  // namespace

void AudioArithmetic::MixAudioWith(Instructions instructions, AudioBlockView& dest, std::vector<MixSource>& sources) {
    if (sources.empty()) return;
    switch (WorkFormat(sources.front())) {
        case Conf::SAMPLE_FORMAT_U8P:
            return Mix<Work8>(instructions, dest, sources);
        case Conf::SAMPLE_FORMAT_S16P:
            return Mix<Work16>(instructions, dest, sources);
        case Conf::SAMPLE_FORMAT_S32P:
            return Mix<Work32>(instructions, dest, sources);
        case Conf::SAMPLE_FORMAT_FLTP:
            return Mix<WorkReal<float>>(instructions, dest, sources);
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
