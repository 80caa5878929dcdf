#include "host/effects/SampleMixing.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace Tarsel::Host {

namespace {

/// The line in whole numbers: `(value * slope + offset) >> shift`, for bytes within 31 bits.
struct WholeLine {
    static constexpr int SHIFT = 17;
    /// Slopes are put together of two factors of 16 bits: one of value * 128, one of the value.
    static constexpr int UPPER = 128;

    int slope;
    int offset;

    static bool Fits(SampleLine const& line) {
        return std::abs(line.slope) < (1 << (21 - SHIFT)) && std::abs(line.offset) < (1 << (30 - SHIFT));
    }
    explicit WholeLine(SampleLine const& line)
        : slope(static_cast<int>(std::lround(std::ldexp(line.slope, SHIFT)))),
          offset(static_cast<int>(std::lround(std::ldexp(line.offset, SHIFT)))) {}

    u8 At(u8 value) const { return static_cast<u8>(std::clamp((value * slope + offset) >> SHIFT, 0, 255)); }
};

#ifdef __SSE2__

/// Sixteen bytes at a time; returns how many bytes that were.
std::size_t MapVectors(u8* bytes, std::size_t count, WholeLine const& line) {
    int const low = line.slope & (WholeLine::UPPER - 1);
    __m128i const zero = _mm_setzero_si128();
    __m128i const slope = _mm_set1_epi32(low * 65536 + ((line.slope - low) / WholeLine::UPPER & 65535));
    __m128i const offset = _mm_set1_epi32(line.offset);
    auto const map = [&](__m128i upper, __m128i values) {
        auto const four = [&](__m128i pairs) {
            return _mm_srai_epi32(_mm_add_epi32(_mm_madd_epi16(pairs, slope), offset), WholeLine::SHIFT);
        };
        return _mm_packs_epi32(four(_mm_unpacklo_epi16(upper, values)), four(_mm_unpackhi_epi16(upper, values)));
    };
    std::size_t at = 0;
    for (; at + 16 <= count; at += 16) {
        auto* const place = reinterpret_cast<__m128i*>(bytes + at);
        __m128i const all = _mm_loadu_si128(place);
        __m128i const first = _mm_unpacklo_epi8(all, zero), second = _mm_unpackhi_epi8(all, zero);
        _mm_storeu_si128(
            place, _mm_packus_epi16(map(_mm_slli_epi16(first, 7), first), map(_mm_slli_epi16(second, 7), second)));
    }
    return at;
}

#else

std::size_t MapVectors(u8*, std::size_t, WholeLine const&) {
    return 0;
}

#endif

}  // namespace

void MapBytes(u8* bytes, std::size_t count, SampleLine const& line) {
    WholeLine const whole(line);
    for (std::size_t i = MapVectors(bytes, count, whole); i < count; ++i) bytes[i] = whole.At(bytes[i]);
}

bool IsLine(std::vector<u16> const& table, SampleLine const& line) {
    if (!WholeLine::Fits(line)) return false;
    std::array<u8, 256> bytes{};
    std::iota(bytes.begin(), bytes.end(), u8{0});
    WholeLine const whole(line);
    bool const isSame = std::equal(bytes.begin(), bytes.end(), table.begin(), table.end(),
                                   [&](u8 value, u16 wanted) { return whole.At(value) == wanted; });
    MapBytes(bytes.data(), bytes.size(), line);
    return isSame && std::equal(bytes.begin(), bytes.end(), table.begin(), table.end());
}

}  // namespace Tarsel::Host
