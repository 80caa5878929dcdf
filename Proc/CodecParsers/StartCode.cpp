#include "Proc/CodecParsers/StartCode.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace Tarsel::Proc::CodecParsers {

u8 const* Details::FindZeroZeroScalar(u8 const* begin, u8 const* end, u8 third) {
    u8 const* position = begin;
    while (end - position >= 3) {
        if (position[2] == 0) {
            ++position;
        } else if (position[2] == third && position[1] == 0 && position[0] == 0) {
            return position;
        } else {
            // A byte that isn't 0 can only end the pattern: none starts here or at the next two places.
            position += 3;
        }
    }
    return end;
}

#if defined(__SSE2__)

namespace {

__m128i Load(u8 const* data) {
    return _mm_loadu_si128(reinterpret_cast<__m128i const*>(data));
}

// Bytes of 0xFF where 00 00 starts.
__m128i ZeroPairs(u8 const* data) {
    __m128i const zero = _mm_setzero_si128();
    return _mm_and_si128(_mm_cmpeq_epi8(Load(data), zero), _mm_cmpeq_epi8(Load(data + 1), zero));
}

constexpr int VECTOR = 16;
constexpr int BLOCK = 4 * VECTOR;

}  // namespace

u8 const* FindZeroZero(u8 const* begin, u8 const* end, u8 third) {
    __m128i const last = _mm_set1_epi8(static_cast<char>(third));
    u8 const* position = begin;
    // The pattern's last byte may lie two bytes behind the block.
    for (; end - position >= BLOCK + 2; position += BLOCK) {
        __m128i pairs[4];
        for (int i = 0; i < 4; ++i) pairs[i] = ZeroPairs(position + i * VECTOR);
        __m128i const any = _mm_or_si128(_mm_or_si128(pairs[0], pairs[1]), _mm_or_si128(pairs[2], pairs[3]));
        if (_mm_movemask_epi8(any) == 0) continue;
        for (int i = 0; i < 4; ++i) {
            __m128i const third16 = _mm_cmpeq_epi8(Load(position + i * VECTOR + 2), last);
            int const found = _mm_movemask_epi8(_mm_and_si128(pairs[i], third16));
            if (found != 0) return position + i * VECTOR + __builtin_ctz(static_cast<unsigned>(found));
        }
    }
    return Details::FindZeroZeroScalar(position, end, third);
}

#else

u8 const* FindZeroZero(u8 const* begin, u8 const* end, u8 third) {
    return Details::FindZeroZeroScalar(begin, end, third);
}

#endif

u8 const* FindStartCodeOf(u8 const* begin, u8 const* end, u8 lowest, u8 highest) {
    for (u8 const* code = FindZeroZero(begin, end, 1); end - code >= 4; code = FindZeroZero(code + 3, end, 1)) {
        if (code[3] >= lowest && code[3] <= highest) return code;
    }
    return end;
}

}  // namespace Tarsel::Proc::CodecParsers
