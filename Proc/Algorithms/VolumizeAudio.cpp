#include <cstring>

#include "Proc/Algorithms/AudioAlg.h"
#include "Proc/Algorithms/AudioArithmetic.h"
#include "Proc/Algorithms/AudioRun.h"
#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {
namespace {

using namespace AudioArithmetic;

/// Number of values, all of which `source` holds.
std::size_t CheckPair(AudioBlockView const& dest, AudioBlockView const& source, char const* function) {
    std::size_t const count = CountValues(dest);
    Conf::SampleFormats const format = WorkFormat(source);
    CheckRun(dest, format, count, function, RESULT);
    CheckRun(source, format, count, function, 0);
    return count;
}

template <class Work>
void Volumize(AudioBlockView& dest, AudioBlockView const& source, double volume) {
    using Sample = typename Work::Sample;
    std::size_t const count = CheckPair(dest, source, "VolumizeAudio");
    auto const gain = Work::MakeGain(volume);
    for (std::size_t i = 0; i < count; ++i)
        Store<Sample>(dest.data, i, Work::Finish(Work::Scale(Load<Sample>(source.data, i), gain)));
}

template <class Real>
void Clip(AudioBlockView& dest, AudioBlockView const& source) {
    std::size_t const count = CheckPair(dest, source, "ClipAudio");
    for (std::size_t i = 0; i < count; ++i) Store<Real>(dest.data, i, Clamp(Load<Real>(source.data, i)));
}

}  // namespace

void VolumizeAudio(AudioBlockView& dest, AudioBlockView const& source, double volume) {
    switch (WorkFormat(source)) {
        case Conf::SAMPLE_FORMAT_U8P:
            return Volumize<Work8>(dest, source, volume);
        case Conf::SAMPLE_FORMAT_S16P:
            return Volumize<Work16>(dest, source, volume);
        case Conf::SAMPLE_FORMAT_S32P:
            return Volumize<Work32>(dest, source, volume);
        case Conf::SAMPLE_FORMAT_FLTP:
            return Volumize<WorkReal<float>>(dest, source, volume);
        case Conf::SAMPLE_FORMAT_DBLP:
            return Volumize<WorkReal<double>>(dest, source, volume);
        default:
            TARSEL_THROW(ProcException, "VolumizeAudio doesn't support this sample format");
    }
}

void ClipAudio(AudioBlockView& dest, AudioBlockView const& source) {
    switch (WorkFormat(source)) {
        case Conf::SAMPLE_FORMAT_U8P:
        case Conf::SAMPLE_FORMAT_S16P:
        case Conf::SAMPLE_FORMAT_S32P: {
            std::size_t const count = CheckPair(dest, source, "ClipAudio");
            std::size_t const size = static_cast<unsigned>(Conf::BytesPerSample(WorkFormat(source)));
            if (count > 0) std::memmove(dest.data, source.data, count * size);
            return;
        }
        case Conf::SAMPLE_FORMAT_FLTP:
            return Clip<float>(dest, source);
        case Conf::SAMPLE_FORMAT_DBLP:
            return Clip<double>(dest, source);
        default:
            TARSEL_THROW(ProcException, "ClipAudio doesn't support this sample format");
    }
}

}  // namespace Tarsel::Proc
