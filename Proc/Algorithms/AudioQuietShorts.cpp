#include "Proc/Algorithms/AudioQuietShorts.h"

#include <utility>

#if defined(TARSEL_HAS_AVX2_LOOPS)
#include <immintrin.h>
#endif

namespace Tarsel::Proc::AudioArithmetic {

#if defined(TARSEL_HAS_AVX2_LOOPS)

namespace {

constexpr i32 UNITY = 256;
constexpr std::size_t VECTOR = 16;
constexpr std::size_t SIZE = 2;

TARSEL_AVX2 __m256i LoadVector(u8 const* data) {
    return _mm256_loadu_si256(reinterpret_cast<__m256i const*>(data));
}

TARSEL_AVX2 void StoreVector(u8* data, __m256i vector) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(data), vector);
}

/// Anything for `UNITY`, which has a way of its own.
TARSEL_AVX2 __m256i Factor(i32 gain) {
    return _mm256_set1_epi16(static_cast<short>(static_cast<u16>(static_cast<u32>(gain) << 7)));
}

template <bool IS_UNITY>
TARSEL_AVX2 inline __m256i Scale(__m256i samples, __m256i factor) {
    return IS_UNITY ? samples : _mm256_mulhrs_epi16(samples, factor);
}

template <bool A_IS_UNITY, bool B_IS_UNITY>
TARSEL_AVX2 std::size_t MixPairs(u8* dest, QuietShorts a, QuietShorts b, std::size_t count) {
    __m256i const factorA = Factor(a.gain);
    __m256i const factorB = Factor(b.gain);
    std::size_t const end = count / VECTOR * VECTOR * SIZE;
    for (std::size_t at = 0; at < end; at += VECTOR * SIZE)
        StoreVector(dest + at, _mm256_adds_epi16(Scale<A_IS_UNITY>(LoadVector(a.data + at), factorA),
                                                 Scale<B_IS_UNITY>(LoadVector(b.data + at), factorB)));
    return end / SIZE;
}

TARSEL_AVX2 std::size_t ScaleAll(u8* dest, QuietShorts source, std::size_t count) {
    __m256i const factor = Factor(source.gain);
    std::size_t const end = count / VECTOR * VECTOR * SIZE;
    for (std::size_t at = 0; at < end; at += VECTOR * SIZE)
        StoreVector(dest + at, Scale<false>(LoadVector(source.data + at), factor));
    return end / SIZE;
}

}  // namespace

std::size_t MixQuietShorts(Instructions instructions, u8* dest, QuietShorts a, QuietShorts b, std::size_t count) {
    if (instructions != Instructions::Avx2 || !a.IsQuiet() || !b.IsQuiet()) return 0;
    if (b.gain == UNITY) std::swap(a, b);
    if (b.gain == UNITY) return MixPairs<true, true>(dest, a, b, count);
    return a.gain == UNITY ? MixPairs<true, false>(dest, a, b, count) : MixPairs<false, false>(dest, a, b, count);
}

std::size_t VolumizeQuietShorts(Instructions instructions, u8* dest, QuietShorts source, std::size_t count) {
    if (instructions != Instructions::Avx2 || !source.IsQuiet() || source.gain == UNITY) return 0;
    return ScaleAll(dest, source, count);
}

#else

std::size_t MixQuietShorts(Instructions, u8*, QuietShorts, QuietShorts, std::size_t) {
    return 0;
}

std::size_t VolumizeQuietShorts(Instructions, u8*, QuietShorts, std::size_t) {
    return 0;
}

#endif

}  // namespace Tarsel::Proc::AudioArithmetic
