// Blocks of samples made by hand, and samples that bring out what is special about each format.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "Proc/Algorithms/AudioAlg.h"
#include "Proc/Algorithms/AudioLoops.h"
#include "tests/support/AudioReference.h"

namespace Tarsel::TestSupport {

using SampleBytes = std::vector<u8>;

inline constexpr double INF = std::numeric_limits<double>::infinity();
inline constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

/// Below, at and above what each fixed point holds; every step of 1/256 around 0 and 1, and what no one would ask for.
inline std::vector<double> Gains() {
    std::vector<double> gains{0,   0.3,  0.5, 1,    1.5,   4,      128,    -1,      -0.001, 1e9,        -1e9,
                              INF, -INF, 2,   -0.5, 127.5, -127.9, -128.0, 8388608, 1e18,   1.0 / 3e16, NOT_A_NUMBER};
    for (int step = -4; step <= 4; ++step) {
        gains.push_back(step / 256.0);
        gains.push_back(1 + step / 256.0);
        gains.push_back(-1 + step / 256.0);
    }
    return gains;
}

inline int PlanarCode(int format) {
    return format < 5 ? format + 5 : format;
}
inline std::size_t SampleSize(int format) {
    constexpr std::size_t SIZES[] = {1, 2, 4, 4, 8};
    return SIZES[format % 5];
}

/// Equal byte by byte; tells the first sample that isn't.
inline testing::AssertionResult SameSamples(SampleBytes const& got, SampleBytes const& wanted, std::size_t size) {
    if (got == wanted) return testing::AssertionSuccess();
    if (got.size() != wanted.size())
        return testing::AssertionFailure() << got.size() << " bytes in place of " << wanted.size();
    std::size_t i = 0;
    while (got[i] == wanted[i]) ++i;
    std::size_t const sample = i / size;
    std::string text;
    for (auto const* const bytes : {&got, &wanted}) {
        for (std::size_t k = size; k-- > 0;) text += testing::PrintToString(int{(*bytes)[sample * size + k]}) + " ";
        if (bytes == &got) text += "in place of ";
    }
    return testing::AssertionFailure() << "value " << sample << " of " << got.size() / size << ": bytes " << text;
}

/// Samples with storage of their own and the view of it.
struct AudioBlock {
    AudioBlock(int format, int channels, int samples) {
        std::size_t const inPlane = static_cast<unsigned>(samples) * SampleSize(format);
        std::size_t const all = inPlane * static_cast<unsigned>(channels);
        bytes.resize(all);
        view.samples = samples;
        view.info = {static_cast<Conf::SampleFormats>(format), 48000, Conf::DefaultChannelLayout(channels)};
        view.planeBytes = static_cast<uint32>(format < 5 ? all : inPlane);
        view.data = bytes.data();
    }
    template <class Sample>
    AudioBlock(int format, int channels, std::vector<Sample> const& values)
        : AudioBlock(format, channels, static_cast<int>(values.size()) / channels) {
        if (!values.empty()) std::memcpy(bytes.data(), values.data(), bytes.size());
    }
    AudioBlock(AudioBlock const&) = delete;
    AudioBlock& operator=(AudioBlock const&) = delete;

    std::size_t Count() const { return bytes.size() / SampleSize(view.info.GetSampleFormat()); }
    template <class Sample>
    std::vector<Sample> Values() const {
        std::vector<Sample> values(bytes.size() / sizeof(Sample));
        if (!bytes.empty()) std::memcpy(values.data(), bytes.data(), bytes.size());
        return values;
    }

    SampleBytes bytes;
    Proc::AudioBlockView view;
};

/// What of the loops' instruction sets this machine has.
inline std::vector<Proc::AudioArithmetic::Instructions> InstructionsHere() {
    using Proc::AudioArithmetic::Instructions;
    std::vector<Instructions> all{Instructions::Base};
    if (Proc::AudioArithmetic::BestInstructions() != Instructions::Base)
        all.push_back(Proc::AudioArithmetic::BestInstructions());
    return all;
}

/// Whether `work(instructions)` leaves `wanted` in `dest`, with each instruction set from the same beginning.
template <class Work>
testing::AssertionResult GivesOnEach(AudioBlock& dest, SampleBytes const& wanted, Work work) {
    SampleBytes const before = dest.bytes;
    for (auto const instructions : InstructionsHere()) {
        std::copy(before.begin(), before.end(), dest.bytes.begin());
        work(instructions);
        auto const same = SameSamples(dest.bytes, wanted, SampleSize(dest.view.info.GetSampleFormat()));
        if (!same) return same;
    }
    return testing::AssertionSuccess();
}

/// The block's samples in `MixAudio`'s list.
inline Proc::MixSource SourceOf(AudioBlock& block, double gain) {
    Proc::MixSource source;
    static_cast<Proc::AudioBlockView&>(source) = block.view;
    source.gain = gain;
    return source;
}

template <class Real>
Real SpecialReal(std::mt19937_64& random) {
    using Limits = std::numeric_limits<Real>;
    Real const specials[] = {Real(0),
                             -Real(0),
                             1,
                             -1,
                             Real(1.5),
                             Real(-1.5),
                             Limits::infinity(),
                             -Limits::infinity(),
                             Limits::quiet_NaN(),
                             -Limits::quiet_NaN(),
                             Limits::denorm_min(),
                             -Limits::denorm_min(),
                             Limits::min(),
                             -Limits::min(),
                             Limits::max(),
                             Limits::lowest(),
                             std::nextafter(Real(1), Real(0)),
                             std::nextafter(Real(1), Real(2)),
                             std::nextafter(Real(-1), Real(0)),
                             std::nextafter(Real(-1), Real(-2)),
                             Limits::epsilon(),
                             Real(0.5),
                             Real(-0.5),
                             Limits::min() * 3};
    return specials[random() % std::size(specials)];
}

inline i32 SpecialInt(std::mt19937_64& random) {
    u32 const power = u32{1} << (random() % 32);
    return static_cast<i32>(power + static_cast<u32>(random() % 3) - 1);
}

/// A third of the values are special ones, the others anything.
inline void FillSamples(AudioBlock& block, std::mt19937_64& random) {
    int const code = PlanarCode(block.view.info.GetSampleFormat());
    SampleBytes filled;
    for (std::size_t i = 0; i < block.Count(); ++i) {
        bool const special = random() % 3 == 0;
        u64 const bits = random();
        double const any = static_cast<double>(static_cast<int64>(bits)) / 9.0e18;
        if (code == 5) AudioReference::Put(filled, static_cast<u8>(bits));
        if (code == 6) AudioReference::Put(filled, static_cast<std::int16_t>(bits));
        if (code == 7) AudioReference::Put(filled, special ? SpecialInt(random) : static_cast<i32>(bits));
        if (code == 8) AudioReference::Put(filled, special ? SpecialReal<float>(random) : static_cast<float>(any));
        if (code == 9) AudioReference::Put(filled, special ? SpecialReal<double>(random) : any);
    }
    block.bytes.assign(filled.begin(), filled.end());
    block.view.data = block.bytes.data();
}

}  // namespace Tarsel::TestSupport
