#include <vector>

#include "Proc/Algorithms/AudioAlg.h"
#include "Proc/Algorithms/AudioArithmetic.h"
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
void Mix(AudioBlockView& dest, std::vector<MixSource>& sources) {
    using Sample = typename Work::Sample;
    std::size_t const count = CountValues(dest);
    Conf::SampleFormats const format = WorkFormat(sources.front());
    CheckRun(dest, format, count, "MixAudio", RESULT);
    int number = 0;
    for (MixSource const& source : sources) CheckRun(source, format, count, "MixAudio", number++);
    for (MixSource& source : sources) FixedGainOf(source, Work()) = Work::MakeGain(source.gain);
    for (std::size_t i = 0; i < count; ++i) {
        typename Work::Sum sum = 0;
        for (MixSource& source : sources)
            sum = Work::Add(sum, Work::Scale(Load<Sample>(source.data, i), FixedGainOf(source, Work())));
        Store<Sample>(dest.data, i, Work::Finish(sum));
    }
}

}  // namespace

void MixAudio(AudioBlockView& dest, std::vector<MixSource>& sources) {
    if (sources.empty()) return;
    switch (WorkFormat(sources.front())) {
        case Conf::SAMPLE_FORMAT_U8P:
            return Mix<Work8>(dest, sources);
        case Conf::SAMPLE_FORMAT_S16P:
            return Mix<Work16>(dest, sources);
        case Conf::SAMPLE_FORMAT_S32P:
            return Mix<Work32>(dest, sources);
        case Conf::SAMPLE_FORMAT_FLTP:
            return Mix<WorkReal<float>>(dest, sources);
        case Conf::SAMPLE_FORMAT_DBLP:
            return Mix<WorkReal<double>>(dest, sources);
        default:
            TARSEL_THROW(ProcException, "MixAudio doesn't support this sample format");
    }
}

}  // namespace Tarsel::Proc
