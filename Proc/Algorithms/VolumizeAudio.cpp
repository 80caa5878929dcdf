#include <cstring>
#include <utility>

#include "Proc/Algorithms/AudioAlg.h"
#include "Proc/Algorithms/AudioArithmetic.h"
#include "Proc/Algorithms/AudioLoops.h"
#include "Proc/Algorithms/AudioRun.h"
#include "Proc/Algorithms/AudioVectors.h"
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
struct VolumizeLoop {
    TARSEL_KERNEL static void Run(u8* dest, u8 const* source, typename Work::Gain gain, std::size_t count) {
        using Sample = typename Work::Sample;
        TARSEL_VECTOR_LOOP
        for (std::size_t i = 0; i < count; ++i)
            Store<Sample>(dest, i, Work::Finish(Work::Scale(Load<Sample>(source, i), gain)));
    }
};

template <class Work>
void Volumize(Instructions instructions, AudioBlockView& dest, AudioBlockView const& source, double volume) {
    std::size_t const count = CheckPair(dest, source, "VolumizeAudio");
    u8 const* const from = source.data;
    RunLoop<VolumizeLoop<Work>>(instructions, dest.data, from, Work::MakeGain(volume), count);
}

void VolumizeShorts(Instructions instructions, AudioBlockView& dest, AudioBlockView const& source, double volume) {
    std::size_t const count = CheckPair(dest, source, "VolumizeAudio");
    i32 const gain = Work16<i32>::MakeGain(volume);
    std::size_t const done = VolumizeQuietShorts(instructions, dest.data, {source.data, gain}, count);
    if (done == count) return;
    u8* const to = dest.data + done * sizeof(std::int16_t);
    u8 const* const from = source.data + done * sizeof(std::int16_t);
    if (std::in_range<std::int16_t>(gain))
        RunLoop<VolumizeLoop<Work16<std::int16_t>>>(instructions, to, from, gain, count - done);
    else
        RunLoop<VolumizeLoop<Work16<i32>>>(instructions, to, from, gain, count - done);
}

void VolumizeInts(Instructions instructions, AudioBlockView& dest, AudioBlockView const& source, double volume) {
    std::size_t const count = CheckPair(dest, source, "VolumizeAudio");
    int64 const gain = Work32<int64>::MakeGain(volume);
    u8 const* const from = source.data;
    if (std::in_range<i32>(gain))
        RunLoop<VolumizeLoop<Work32<i32>>>(instructions, dest.data, from, gain, count);
    else
        RunLoop<VolumizeLoop<Work32<int64>>>(instructions, dest.data, from, gain, count);
}

template <class Real>
struct ClipLoop {
    TARSEL_KERNEL static void Run(u8* dest, u8 const* source, std::size_t count) {
        TARSEL_VECTOR_LOOP
        for (std::size_t i = 0; i < count; ++i) Store<Real>(dest, i, Clamp(Load<Real>(source, i)));
    }
};

template <class Real>
void Clip(Instructions instructions, AudioBlockView& dest, AudioBlockView const& source) {
    std::size_t const count = CheckPair(dest, source, "ClipAudio");
    u8 const* const from = source.data;
    RunLoop<ClipLoop<Real>>(instructions, dest.data, from, count);
}

/// No integer is beyond its range.
void Copy(AudioBlockView& dest, AudioBlockView const& source) {
    std::size_t const count = CheckPair(dest, source, "ClipAudio");
    std::size_t const size = static_cast<unsigned>(Conf::BytesPerSample(WorkFormat(source)));
    if (count > 0) std::memmove(dest.data, source.data, count * size);
}

}  // namespace

void AudioArithmetic::VolumizeAudioWith(Instructions instructions, AudioBlockView& dest, AudioBlockView const& source,
                                        double volume) {
    switch (WorkFormat(source)) {
        case Conf::SAMPLE_FORMAT_U8P:
            return Volumize<Work8>(instructions, dest, source, volume);
        case Conf::SAMPLE_FORMAT_S16P:
            return VolumizeShorts(instructions, dest, source, volume);
        case Conf::SAMPLE_FORMAT_S32P:
            return VolumizeInts(instructions, dest, source, volume);
        case Conf::SAMPLE_FORMAT_FLTP:
            return Volumize<WorkReal<float>>(instructions, dest, source, volume);
        case Conf::SAMPLE_FORMAT_DBLP:
            return Volumize<WorkReal<double>>(instructions, dest, source, volume);
        default:
            TARSEL_THROW(ProcException, "VolumizeAudio doesn't support this sample format");
    }
}

void AudioArithmetic::ClipAudioWith(Instructions instructions, AudioBlockView& dest, AudioBlockView const& source) {
    switch (WorkFormat(source)) {
        case Conf::SAMPLE_FORMAT_U8P:
        case Conf::SAMPLE_FORMAT_S16P:
        case Conf::SAMPLE_FORMAT_S32P:
            return Copy(dest, source);
        case Conf::SAMPLE_FORMAT_FLTP:
            return Clip<float>(instructions, dest, source);
        case Conf::SAMPLE_FORMAT_DBLP:
            return Clip<double>(instructions, dest, source);
        default:
            TARSEL_THROW(ProcException, "ClipAudio doesn't support this sample format");
    }
}

void VolumizeAudio(AudioBlockView& dest, AudioBlockView const& source, double volume) {
    VolumizeAudioWith(BestInstructions(), dest, source, volume);
}

void ClipAudio(AudioBlockView& dest, AudioBlockView const& source) {
    ClipAudioWith(BestInstructions(), dest, source);
}

}  // namespace Tarsel::Proc
