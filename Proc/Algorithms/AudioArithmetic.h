#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

#include "contracts/Core/Types.h"

// One sample of each format through a gain: what the loops of AudioAlg are made of. All are inlined by force, so that a
// loop built for another instruction set gets its own copy.

#define TARSEL_KERNEL [[gnu::always_inline]] inline

namespace Tarsel::Proc::AudioArithmetic {

/// The gain in 256ths, rounded half up above zero and toward zero below; held to what `Word` can tell, 0 for NaN.
template <class Word>
Word FixedGain(double gain) {
    constexpr double END = -static_cast<double>(std::numeric_limits<Word>::min());
    double const scaled = gain * 256.0 + 0.5;
    if (std::isnan(scaled)) return 0;
    if (scaled >= END) return std::numeric_limits<Word>::max();
    if (scaled <= -END) return std::numeric_limits<Word>::min();
    return static_cast<Word>(scaled);
}

/// A NaN becomes 1.
template <class Real>
TARSEL_KERNEL Real Clamp(Real value) {
    Real const low = value < Real(1) ? value : Real(1);
    return low > Real(-1) ? low : Real(-1);
}

// Sums wrap where the sum's word ends, as do products: they are computed without a sign. What is shifted or compared is
// read with its sign again.

/// Unsigned 8 bits, silent at 128.
struct Work8 {
    using Sample = u8;
    using Gain = std::int16_t;
    using Sum = u16;

    static Gain MakeGain(double gain) { return static_cast<Gain>(static_cast<u16>(FixedGain<i32>(gain))); }
    /// The offset comes with each source and stays in the sum: meant, however loud two silent sources are.
    TARSEL_KERNEL static Sum Scale(Sample sample, Gain gain) {
        return static_cast<Sum>(128 + (((sample - 128) * gain + 128) >> 8));
    }
    TARSEL_KERNEL static Sum Add(Sum a, Sum b) { return static_cast<Sum>(a + b); }
    TARSEL_KERNEL static Sample Finish(Sum sum) {
        i32 const value = static_cast<std::int16_t>(sum);
        return static_cast<Sample>(value < 0 ? 0 : value > 255 ? 255 : value);
    }
};

/// `Factor` is what the gain is multiplied as: a narrower one than `Gain`, where it fits, takes fewer instructions.
template <class Factor>
struct Work16 {
    using Sample = std::int16_t;
    using Gain = i32;
    using Sum = u32;

    static Gain MakeGain(double gain) { return FixedGain<i32>(gain); }
    TARSEL_KERNEL static Sum Scale(Sample sample, Gain gain) {
        u32 const product = static_cast<u32>(i32{sample}) * static_cast<u32>(i32{static_cast<Factor>(gain)});
        return static_cast<Sum>(static_cast<i32>(product + 128) >> 8);
    }
    TARSEL_KERNEL static Sum Add(Sum a, Sum b) { return a + b; }
    TARSEL_KERNEL static Sample Finish(Sum sum) {
        i32 const value = static_cast<i32>(sum);
        return static_cast<Sample>(value < -32768 ? -32768 : value > 32767 ? 32767 : value);
    }
};

template <class Factor>
struct Work32 {
    using Sample = i32;
    using Gain = int64;
    using Sum = u64;

    static Gain MakeGain(double gain) { return FixedGain<int64>(gain); }
    TARSEL_KERNEL static Sum Scale(Sample sample, Gain gain) {
        u64 const product = static_cast<u64>(int64{sample}) * static_cast<u64>(int64{static_cast<Factor>(gain)});
        // An arithmetic shift of a word that was moved to where it has no sign: there are no vectors of the other kind.
        constexpr u64 MOVED = u64{1} << 63;
        return ((product + (MOVED + 128)) >> 8) - (MOVED >> 8);
    }
    TARSEL_KERNEL static Sum Add(Sum a, Sum b) { return a + b; }
    TARSEL_KERNEL static Sample Finish(Sum sum) {
        // In halves, which are of the sample's width: the sum fits when the high one repeats the low one's sign.
        i32 const low = static_cast<i32>(static_cast<u32>(sum));
        i32 const high = static_cast<i32>(static_cast<u32>(sum >> 32));
        i32 const limit = (high >> 31) ^ std::numeric_limits<i32>::max();
        return high == low >> 31 ? low : limit;
    }
};

template <class Real>
struct WorkReal {
    using Sample = Real;
    using Gain = double;
    using Sum = double;

    static Gain MakeGain(double gain) { return gain; }
    TARSEL_KERNEL static Sum Scale(Sample sample, Gain gain) { return double{sample} * gain; }
    TARSEL_KERNEL static Sum Add(Sum a, Sum b) { return a + b; }
    TARSEL_KERNEL static Sample Finish(Sum sum) { return Clamp(static_cast<Real>(sum)); }
};

}  // namespace Tarsel::Proc::AudioArithmetic
