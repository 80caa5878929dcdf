// What the sample algorithms compute, written down formula by formula, one value at a time and with no thought of
// speed: products and sums are exact first, and wrapped where the algorithm's word ends.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>
#include <stdexcept>
#include <utility>
#include <vector>

#include "contracts/Core/Types.h"

namespace Tarsel::TestSupport::AudioReference {

using Wide = __int128;

struct Source {
    u8 const* data = nullptr;
    double gain = 1;
};

/// The lowest `bits` bits, read as a signed number.
inline int64 LowBits(Wide value, int bits) {
    Wide const period = Wide{1} << bits;
    Wide rest = value % period;
    if (rest < 0) rest += period;
    return static_cast<int64>(rest >= period / 2 ? rest - period : rest);
}

/// The quotient rounded down.
inline Wide DivideBy256(Wide value) {
    return value >= 0 ? value / 256 : -((-value + 255) / 256);
}

/// gain * 256 + 0.5 without its fraction, held to `bits` bits; 0 for NaN.
inline int64 BoundedGain(double gain, int bits) {
    double const scaled = gain * 256.0 + 0.5;
    double const end = std::ldexp(1.0, bits - 1);
    if (std::isnan(scaled)) return 0;
    if (scaled >= end) return bits == 64 ? std::numeric_limits<int64>::max() : (int64{1} << (bits - 1)) - 1;
    if (scaled < -end) return bits == 64 ? std::numeric_limits<int64>::min() : -(int64{1} << (bits - 1));
    return static_cast<int64>(std::trunc(scaled));
}

template <class Sample>
Sample At(u8 const* data, std::size_t index) {
    Sample sample;
    std::memcpy(&sample, data + index * sizeof(Sample), sizeof(Sample));
    return sample;
}

template <class Sample>
void Put(std::vector<u8>& out, Sample sample) {
    u8 bytes[sizeof(Sample)];
    std::memcpy(bytes, &sample, sizeof(Sample));
    out.insert(out.end(), bytes, bytes + sizeof(Sample));
}

template <class Real>
Real Clamped(Real value) {
    value = value <= Real(1.0) ? value : Real(1.0);
    return value > Real(-1.0) ? value : Real(-1.0);
}

inline u8 Saturated8(Wide sum) {
    int64 const value = LowBits(sum, 16);
    if (value < 0) return 0;
    return value > 255 ? 255 : static_cast<u8>(value);
}
inline std::int16_t Saturated16(int64 sum) {
    if (sum < -32768 || sum > 32767) return static_cast<std::int16_t>(sum < 0 ? -32768 : 32767);
    return static_cast<std::int16_t>(sum);
}
inline i32 Saturated32(int64 sum) {
    if (sum < -2147483648LL || sum > 2147483647LL) return static_cast<i32>(sum < 0 ? -2147483648LL : 2147483647LL);
    return static_cast<i32>(sum);
}

/// One source's part of the sum, with all wraps of a word of `bits` bits.
inline int64 Scaled(int64 sample, int64 fixed, int bits) {
    Wide const product = LowBits(Wide{sample} * fixed, bits);
    return static_cast<int64>(DivideBy256(LowBits(product + 128, bits)));
}

inline int64 Fixed8(double gain) {
    return LowBits(BoundedGain(gain, 32), 16);
}

inline u8 Mixed8(std::span<Source const> sources, std::size_t index) {
    Wide sum = 0;
    for (Source const& source : sources) sum += 128 + Scaled(At<u8>(source.data, index) - 128, Fixed8(source.gain), 32);
    return Saturated8(sum);
}
inline std::int16_t Mixed16(std::span<Source const> sources, std::size_t index) {
    int64 sum = 0;
    for (Source const& source : sources)
        sum = LowBits(sum + Scaled(At<std::int16_t>(source.data, index), BoundedGain(source.gain, 32), 32), 32);
    return Saturated16(sum);
}
inline i32 Mixed32(std::span<Source const> sources, std::size_t index) {
    int64 sum = 0;
    for (Source const& source : sources)
        sum = LowBits(Wide{sum} + Scaled(At<i32>(source.data, index), BoundedGain(source.gain, 64), 64), 64);
    return Saturated32(sum);
}
template <class Real>
Real MixedReal(std::span<Source const> sources, std::size_t index) {
    double sum = 0;
    for (Source const& source : sources) {
        double const part = double{At<Real>(source.data, index)} * source.gain;
        sum = sum + part;
    }
    return Clamped(static_cast<Real>(sum));
}

/// `count` mixed values of the work format `planarCode`.
inline std::vector<u8> Mix(int planarCode, std::span<Source const> sources, std::size_t count) {
    std::vector<u8> out;
    out.reserve(count * 8);
    for (std::size_t i = 0; i < count; ++i) switch (planarCode) {
            case 5:
                Put(out, Mixed8(sources, i));
                break;
            case 6:
                Put(out, Mixed16(sources, i));
                break;
            case 7:
                Put(out, Mixed32(sources, i));
                break;
            case 8:
                Put(out, MixedReal<float>(sources, i));
                break;
            case 9:
                Put(out, MixedReal<double>(sources, i));
                break;
            default:
                throw std::invalid_argument("no such planar code");
        }
    return out;
}

inline std::vector<u8> Volumize(int planarCode, u8 const* data, std::size_t count, double volume) {
    std::vector<u8> out;
    out.reserve(count * 8);
    for (std::size_t i = 0; i < count; ++i) switch (planarCode) {
            case 5:
                Put(out, Saturated8(Scaled(At<u8>(data, i) - 128, Fixed8(volume), 32) + 128));
                break;
            case 6:
                Put(out, Saturated16(Scaled(At<std::int16_t>(data, i), BoundedGain(volume, 32), 32)));
                break;
            case 7:
                Put(out, Saturated32(Scaled(At<i32>(data, i), BoundedGain(volume, 64), 64)));
                break;
            case 8:
                Put(out, Clamped(static_cast<float>(double{At<float>(data, i)} * volume)));
                break;
            case 9:
                Put(out, Clamped(At<double>(data, i) * volume));
                break;
            default:
                throw std::invalid_argument("no such planar code");
        }
    return out;
}

inline std::vector<u8> Clip(int planarCode, u8 const* data, std::size_t count) {
    constexpr std::size_t SIZES[] = {1, 2, 4};
    if (planarCode < 8) return {data, data + count * SIZES[planarCode - 5]};
    std::vector<u8> out;
    for (std::size_t i = 0; i < count; ++i) {
        if (planarCode == 8)
            Put(out, Clamped(At<float>(data, i)));
        else
            Put(out, Clamped(At<double>(data, i)));
    }
    return out;
}

/// Value `index` of a plane, 1 at full scale.
inline double Normalised(int planarCode, u8 const* plane, std::size_t index) {
    switch (planarCode) {
        case 5:
            return (At<u8>(plane, index) - 128) * 0.0078125;
        case 6:
            return At<std::int16_t>(plane, index) / 32767.0;
        case 7:
            return At<i32>(plane, index) / 2147483647.0;
        case 8:
            return double{At<float>(plane, index)};
        case 9:
            return At<double>(plane, index);
        default:
            throw std::invalid_argument("no such planar code");
    }
}

/// Peak and RMS of `planes` planes of `samples` values that lie `planeBytes` apart.
inline std::pair<double, double> Level(int planarCode, u8 const* data, std::size_t planeBytes, int planes,
                                       int samples) {
    double peak = 0.0;
    double sum = 0.0;
    for (int plane = 0; plane < planes; ++plane)
        for (int i = 0; i < samples; ++i) {
            double const value = Normalised(planarCode, data + planeBytes * static_cast<std::size_t>(plane),
                                            static_cast<std::size_t>(i));
            if (value > peak) peak = value;
            double const square = value * value;
            sum = sum + square;
        }
    int64 const count = int64{samples} * planes;
    return {peak, count < 1 ? 0.0 : std::sqrt(sum / static_cast<double>(count))};
}

}  // namespace Tarsel::TestSupport::AudioReference
