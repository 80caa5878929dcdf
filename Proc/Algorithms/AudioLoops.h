#pragma once

#include <cstddef>
#include <type_traits>

#include "Proc/Algorithms/AudioAlg.h"
#include "Proc/Algorithms/AudioArithmetic.h"
#include "Proc/Algorithms/AudioRun.h"

// The loops over samples, written once and built for the instruction sets there are. None fuses a multiplication with
// an addition: results are equal to the last bit on all of them.

// A result may be one of the sources, never a part of it: what is read at an index isn't written at another.
#if defined(__clang__)
// Builds for the sanitizers don't vectorise, and needn't be told of it.
#pragma clang diagnostic ignored "-Wpass-failed"
#define TARSEL_VECTOR_LOOP _Pragma("clang loop vectorize(assume_safety)")
#else
#define TARSEL_VECTOR_LOOP _Pragma("GCC ivdep")
#endif

#if defined(__x86_64__)
#define TARSEL_HAS_AVX2_LOOPS 1
#define TARSEL_AVX2 __attribute__((target("avx2")))
#endif

namespace Tarsel::Proc::AudioArithmetic {

/// What the processor offers, as far as there are loops for it.
enum class Instructions {
    Base,
    Avx2,
};

inline Instructions BestInstructions() {
#if defined(TARSEL_HAS_AVX2_LOOPS)
    static bool const hasAvx2 = __builtin_cpu_supports("avx2");
    if (hasAvx2) return Instructions::Avx2;
#endif
    return Instructions::Base;
}

#if defined(TARSEL_HAS_AVX2_LOOPS)
template <class Loop, class... Args>
TARSEL_AVX2 void RunAvx2(Args... args) {
    Loop::Run(args...);
}
#endif

/// Calls the copy of `Loop::Run`, which is always inlined, that was built for `instructions`.
template <class Loop, class... Args>
void RunLoop([[maybe_unused]] Instructions instructions, Args... args) {
#if defined(TARSEL_HAS_AVX2_LOOPS)
    if (instructions == Instructions::Avx2) return RunAvx2<Loop>(args...);
#endif
    Loop::Run(args...);
}

// The functions of AudioAlg, with the instructions of the caller's choice. A test reaches both ways by them.

void MixAudioWith(Instructions instructions, AudioBlockView& dest, std::vector<MixSource>& sources);
void VolumizeAudioWith(Instructions instructions, AudioBlockView& dest, AudioBlockView const& source, double volume);
void ClipAudioWith(Instructions instructions, AudioBlockView& dest, AudioBlockView const& source);
std::pair<double, double> EstimateLevelWith(Instructions instructions, AudioBlockView const& block);

}  // namespace Tarsel::Proc::AudioArithmetic
