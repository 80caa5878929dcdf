// Blocks of any format, length and gain through the sample algorithms, and views that lie: too short, with gaps between
// the planes, without storage, of formats that don't exist, the result being one of the sources. What isn't refused
// must be what the plain formulas give, with each set of instructions.

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

#include "Proc/Algorithms/AudioAlg.h"
#include "Proc/Algorithms/AudioLoops.h"
#include "contracts/Core/Exception.h"
#include "fuzz/FuzzInput.h"
#include "tests/support/AudioReference.h"

using namespace Tarsel;
using namespace Tarsel::Proc;
namespace Reference = Tarsel::TestSupport::AudioReference;

namespace {

using Bytes = std::vector<u8>;

class Input {
  public:
    Input(u8 const* data, std::size_t size) : data(data), left(size) {}

    u8 Byte() {
        if (left == 0) return 0;
        --left;
        return *data++;
    }
    double Gain() {
        constexpr double GAINS[] = {0,
                                    1,
                                    0.3,
                                    0.5,
                                    1.5,
                                    4,
                                    128,
                                    -1,
                                    1e9,
                                    0.7,
                                    255 / 256.0,
                                    -255 / 256.0,
                                    std::numeric_limits<double>::infinity(),
                                    std::numeric_limits<double>::quiet_NaN()};
        u8 const kind = Byte();
        if (kind < std::size(GAINS)) return GAINS[kind];
        if (kind < 128) return (kind - 64) / 256.0 * (1 + Byte());
        u8 bytes[sizeof(double)];
        for (u8& byte : bytes) byte = Byte();
        return std::bit_cast<double>(bytes);
    }
    /// `size` bytes; what the input doesn't have is made from its last ones.
    Bytes Take(std::size_t size) {
        Bytes bytes(size);
        u8 last = 1;
        for (u8& byte : bytes) byte = left > 0 ? last = Byte() : last = static_cast<u8>(last * 5 + 3);
        return bytes;
    }

  private:
    u8 const* data;
    std::size_t left;
};

struct Block {
    Bytes storage;
    AudioBlockView view;
};

/// A view that stays inside its storage, however it lies about samples and channels.
Block MakeBlock(Input& input, int format, u8 shape, std::size_t values) {
    Block block;
    int const channels = 1 + shape % 3;
    int const known = format >= 0 && format < 10 ? format : 1;
    auto const code = static_cast<Conf::SampleFormats>(format);
    bool const planar = known >= 5;
    std::size_t const size = static_cast<unsigned>(Conf::BytesPerSample(static_cast<Conf::SampleFormats>(known)));
    std::size_t const inPlane = planar ? values : values * static_cast<unsigned>(channels);
    std::size_t const gap = shape & 64 ? input.Byte() % 9 : 0;
    std::size_t const planeBytes = inPlane * size + gap;
    block.storage = input.Take(planeBytes * static_cast<unsigned>(planar ? channels : 1));
    block.view.samples = static_cast<i32>(values);
    if (shape & 128) block.view.samples += static_cast<signed char>(input.Byte());
    block.view.info = {code, 48000, shape & 32 ? 0 : Conf::DefaultChannelLayout(channels)};
    block.view.planeBytes = static_cast<uint32>(planeBytes);
    block.view.data = (shape & 48) == 48 ? nullptr : block.storage.data();
    return block;
}

std::size_t ValuesOf(AudioBlockView const& view) {
    Conf::SampleFormats const format = view.info.GetSampleFormat();
    std::size_t const planes = Conf::IsPlanar(format) ? static_cast<unsigned>(view.info.GetChannelCount()) : 1;
    return view.planeBytes * planes / static_cast<unsigned>(Conf::BytesPerSample(format));
}

int WorkCode(AudioBlockView const& view) {
    return Conf::PlanarFormat(view.info.GetSampleFormat());
}

/// Runs `work` with each instruction set on the same storage; what it leaves there must begin with `wanted`.
template <class Wanted, class Work>
void Compare(Block& dest, Wanted wanted, Work work) {
    Bytes const before = dest.storage;
    for (auto const instructions : {AudioArithmetic::Instructions::Base, AudioArithmetic::BestInstructions()}) {
        std::copy(before.begin(), before.end(), dest.storage.begin());
        Bytes expected;
        bool refused = true;
        Fuzz::AllowFailures([&] {
            // Only what isn't refused has a result: the formulas trust their views. They read before the loops write.
            AudioBlockView probe = dest.view;
            Bytes scratch = dest.storage;
            if (probe.data) probe.data = scratch.data();
            work(AudioArithmetic::Instructions::Base, probe);
            expected = wanted();
            work(instructions, dest.view);
            refused = false;
        });
        if (refused) {
            if (dest.storage != before) std::abort();
            continue;
        }
        if (!std::equal(expected.begin(), expected.end(), dest.storage.begin())) std::abort();
        if (!std::equal(before.begin() + static_cast<std::ptrdiff_t>(expected.size()), before.end(),
                        dest.storage.begin() + static_cast<std::ptrdiff_t>(expected.size())))
            std::abort();
    }
}

bool Same(double a, double b) {
    return std::bit_cast<u64>(a) == std::bit_cast<u64>(b) || (std::isnan(a) && std::isnan(b));
}

void CheckLevel(AudioBlockView const& view) {
    for (auto const instructions : {AudioArithmetic::Instructions::Base, AudioArithmetic::BestInstructions()})
        Fuzz::AllowFailures([&] {
            auto const got = AudioArithmetic::EstimateLevelWith(instructions, view);
            bool const planar = Conf::IsPlanar(view.info.GetSampleFormat());
            auto const wanted = Reference::Level(WorkCode(view), view.data, view.planeBytes,
                                                 planar ? view.info.GetChannelCount() : 1, view.samples);
            if (!Same(got.first, wanted.first) || !Same(got.second, wanted.second)) std::abort();
        });
}

void CheckSamples(AudioBlockView const& view, uint32 index) {
    std::vector<double> out{0.25};
    bool refused = true;
    Fuzz::AllowFailures([&] {
        GetAudioSamples(view, index, out);
        refused = false;
    });
    std::size_t const channels = static_cast<unsigned>(view.info.GetChannelCount());
    if (out[0] != 0.25 || out.size() != 1 + (refused ? 0 : channels)) std::abort();
    if (refused) return;
    bool const planar = Conf::IsPlanar(view.info.GetSampleFormat());
    for (std::size_t channel = 0; channel < channels; ++channel) {
        u8 const* const plane = planar ? view.data + view.planeBytes * channel : view.data;
        if (!Same(out[1 + channel],
                  Reference::Normalised(WorkCode(view), plane, planar ? index : index * channels + channel)))
            std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(u8 const* data, std::size_t size) {
    Input input(data, std::min(size, std::size_t{4096}));
    int const format = input.Byte() % 14 - 1;
    std::size_t const values = input.Byte() * (input.Byte() % 8 == 0 ? 9U : 1U);
    u8 const count = input.Byte() % 6;
    u8 const aliased = input.Byte();
    std::vector<Block> blocks;
    std::vector<double> gains;
    for (u8 i = 0; i <= count; ++i) {
        u8 const shape = input.Byte();
        int const own = (shape & 12) == 12 ? (format + 5) % 10 : (shape & 31) == 31 ? input.Byte() % 14 - 1 : format;
        std::size_t const lost = (shape & 19) == 19 ? input.Byte() % 5 : 0;
        gains.push_back(input.Gain());
        blocks.push_back(MakeBlock(input, own, shape, values > lost ? values - lost : 0));
    }
    // The last one is the result, unless that is one of the sources.
    Block& dest = blocks[aliased & 1 ? aliased / 2 % blocks.size() : count];
    std::vector<MixSource> sources;
    for (u8 i = 0; i < count; ++i) {
        static_cast<AudioBlockView&>(sources.emplace_back()) = blocks[i].view;
        sources.back().gain = gains[i];
    }
    AudioBlockView const& first = blocks[0].view;

    if (count > 0)
        Compare(
            dest,
            [&] {
                std::vector<Reference::Source> plain;
                for (MixSource const& source : sources) plain.push_back({source.data, source.gain});
                return Reference::Mix(WorkCode(first), plain, ValuesOf(dest.view));
            },
            [&](auto instructions, AudioBlockView& view) {
                AudioArithmetic::MixAudioWith(instructions, view, sources);
            });
    Compare(
        dest, [&] { return Reference::Volumize(WorkCode(first), first.data, ValuesOf(dest.view), gains[count]); },
        [&](auto instructions, AudioBlockView& view) {
            AudioArithmetic::VolumizeAudioWith(instructions, view, first, gains[count]);
        });
    Compare(
        dest, [&] { return Reference::Clip(WorkCode(first), first.data, ValuesOf(dest.view)); },
        [&](auto instructions, AudioBlockView& view) { AudioArithmetic::ClipAudioWith(instructions, view, first); });
    CheckLevel(first);
    CheckSamples(first, aliased);
    return 0;
}
