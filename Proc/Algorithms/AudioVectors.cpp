#include "Proc/Algorithms/AudioVectors.h"

#include <cstring>
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
    std::size_t const end = count / (2 * VECTOR) * (2 * VECTOR) * SIZE;
    for (std::size_t at = 0; at < end; at += 2 * VECTOR * SIZE) {
        std::size_t const next = at + VECTOR * SIZE;
        __m256i const low = _mm256_adds_epi16(Scale<A_IS_UNITY>(LoadVector(a.data + at), factorA),
                                              Scale<B_IS_UNITY>(LoadVector(b.data + at), factorB));
        __m256i const high = _mm256_adds_epi16(Scale<A_IS_UNITY>(LoadVector(a.data + next), factorA),
                                               Scale<B_IS_UNITY>(LoadVector(b.data + next), factorB));
        StoreVector(dest + at, low);
        StoreVector(dest + next, high);
    }
    return end / SIZE;
}

TARSEL_AVX2 std::size_t ScaleAll(u8* dest, QuietShorts source, std::size_t count) {
    __m256i const factor = Factor(source.gain);
    std::size_t const end = count / VECTOR * VECTOR * SIZE;
    for (std::size_t at = 0; at < end; at += VECTOR * SIZE)
        StoreVector(dest + at, Scale<false>(LoadVector(source.data + at), factor));
    return end / SIZE;
}

TARSEL_AVX2 __m256 LoadFloats(u8 const* data) {
    __m256 samples;
    std::memcpy(&samples, data, sizeof(samples));
    return samples;
}

TARSEL_AVX2 void StoreFloats(u8* data, __m256 samples) {
    std::memcpy(data, &samples, sizeof(samples));
}

/// Four values, scaled, in double.
TARSEL_AVX2 __m256d Product(u8 const* data, __m256d gain) {
    __m128 samples;
    std::memcpy(&samples, data, sizeof(samples));
    return _mm256_mul_pd(_mm256_cvtps_pd(samples), gain);
}

/// The sum begins at 0, which matters to the sign of a zero alone: it may as well end there.
TARSEL_AVX2 __m128 Sum(__m256d a, __m256d b) {
    return _mm256_cvtpd_ps(_mm256_add_pd(_mm256_add_pd(a, b), _mm256_setzero_pd()));
}

/// Of these two instructions the second operand is the result when the first is no number.
TARSEL_AVX2 __m256 ClampVector(__m256 samples) {
    return _mm256_max_ps(_mm256_min_ps(samples, _mm256_set1_ps(1)), _mm256_set1_ps(-1));
}

TARSEL_AVX2 std::size_t MixFloatVectors(u8* dest, ScaledFloats a, ScaledFloats b, std::size_t count) {
    constexpr std::size_t HALF = 4 * sizeof(float);
    __m256d const gainA = _mm256_set1_pd(a.gain);
    __m256d const gainB = _mm256_set1_pd(b.gain);
    std::size_t const end = count / 8 * 2 * HALF;
    for (std::size_t at = 0; at < end; at += 2 * HALF) {
        __m128 const low = Sum(Product(a.data + at, gainA), Product(b.data + at, gainB));
        __m128 const high = Sum(Product(a.data + at + HALF, gainA), Product(b.data + at + HALF, gainB));
        StoreFloats(dest + at, ClampVector(_mm256_set_m128(high, low)));
    }
    return end / sizeof(float);
}

/// Two gains of 1. A double is so much wider that a sum of two floats, rounded to it first and to float then, is the
/// same as rounded to float at once.
TARSEL_AVX2 std::size_t AddFloatVectors(u8* dest, u8 const* a, u8 const* b, std::size_t count) {
    constexpr std::size_t BYTES = 8 * sizeof(float);
    std::size_t const end = count / 16 * 2 * BYTES;
    for (std::size_t at = 0; at < end; at += 2 * BYTES) {
        __m256 const low = _mm256_add_ps(LoadFloats(a + at), LoadFloats(b + at));
        __m256 const high = _mm256_add_ps(LoadFloats(a + at + BYTES), LoadFloats(b + at + BYTES));
        StoreFloats(dest + at, ClampVector(_mm256_add_ps(low, _mm256_setzero_ps())));
        StoreFloats(dest + at + BYTES, ClampVector(_mm256_add_ps(high, _mm256_setzero_ps())));
    }
    return end / sizeof(float);
}

}  // namespace

std::size_t MixTwoFloats(Instructions instructions, u8* dest, ScaledFloats a, ScaledFloats b, std::size_t count) {
    if (instructions != Instructions::Avx2) return 0;
    if (a.gain == 1.0 && b.gain == 1.0) return AddFloatVectors(dest, a.data, b.data, count);
    return MixFloatVectors(dest, a, b, count);
}

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

std::size_t MixTwoFloats(Instructions, u8*, ScaledFloats, ScaledFloats, std::size_t) {
    return 0;
}

#endif

}  // namespace Tarsel::Proc::AudioArithmetic
