#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "Proc/Algorithms/AudioAlg.h"
#include "Proc/Algorithms/AudioArithmetic.h"
#include "Proc/Algorithms/AudioLoops.h"
#include "Proc/Algorithms/AudioRun.h"
#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {
namespace {

using namespace AudioArithmetic;

// 1 at full scale. The lowest integers come out slightly below -1: full scale is the highest.

TARSEL_KERNEL double Normalise(u8 sample) {
    return (sample - 128) * 0.0078125;
}
TARSEL_KERNEL double Normalise(std::int16_t sample) {
    return sample / 32767.0;
}
TARSEL_KERNEL double Normalise(i32 sample) {
    return sample / 2147483647.0;
}
TARSEL_KERNEL double Normalise(float sample) {
    return sample;
}
TARSEL_KERNEL double Normalise(double sample) {
    return sample;
}

/// Throws unless each plane has `bytes` bytes.
void CheckPlanes(AudioBlockView const& block, std::size_t bytes, char const* function) {
    if (bytes > block.planeBytes)
        TARSEL_THROW(ProcException, std::string(function) + ": a plane has " + std::to_string(block.planeBytes) +
                                        " bytes of the " + std::to_string(bytes) + " wanted");
    if (bytes > 0 && !block.data) TARSEL_THROW(ProcException, std::string(function) + ": the block has no storage");
}

/// Values that are normalised together before they are added one by one.
constexpr std::size_t LEVEL_CHUNK = 256;

template <class Sample>
struct LevelLoop {
    /// `sum` and `peak` go on. Squares are added in the order of the samples, so that the sum's rounding doesn't depend
    /// on the processor.
    TARSEL_KERNEL static void Run(u8 const* data, std::size_t count, double* peak, double* sum) {
        double values[LEVEL_CHUNK];
        double squares = *sum;
        double highest = *peak;
        for (std::size_t begin = 0; begin < count; begin += LEVEL_CHUNK) {
            std::size_t const here = count - begin < LEVEL_CHUNK ? count - begin : LEVEL_CHUNK;
            double highs[LANES] = {};
            TARSEL_VECTOR_LOOP
            for (std::size_t i = 0; i < here; ++i) values[i] = Normalise(Load<Sample>(data, begin + i));
            std::size_t i = 0;
            for (; i + LANES <= here; i += LANES)
                for (std::size_t lane = 0; lane < LANES; ++lane)
                    highs[lane] = values[i + lane] > highs[lane] ? values[i + lane] : highs[lane];
            for (; i < here; ++i) highs[0] = values[i] > highs[0] ? values[i] : highs[0];
            for (double const high : highs) highest = high > highest ? high : highest;
            for (i = 0; i < here; ++i) squares += values[i] * values[i];
        }
        *sum = squares;
        *peak = highest;
    }

  private:
    static constexpr std::size_t LANES = 8;
};

template <class Sample>
std::pair<double, double> Estimate(Instructions instructions, AudioBlockView const& block) {
    bool const planar = Conf::IsPlanar(block.info.GetSampleFormat());
    std::size_t const planes = planar ? static_cast<unsigned>(block.info.GetChannelCount()) : 1;
    std::size_t const samples = block.samples > 0 ? static_cast<unsigned>(block.samples) : 0;
    double peak = 0.0;
    double sum = 0.0;
    if (planes == 0 || samples == 0) return {peak, 0.0};
    CheckPlanes(block, samples * sizeof(Sample), "EstimateLevel");
    for (std::size_t plane = 0; plane < planes; ++plane) {
        u8 const* const data = block.data + std::size_t{block.planeBytes} * plane;
        RunLoop<LevelLoop<Sample>>(instructions, data, samples, &peak, &sum);
    }
    return {peak, std::sqrt(sum / static_cast<double>(samples * planes))};
}

template <class Sample>
void Append(AudioBlockView const& block, uint32 index, std::vector<double>& out) {
    if (block.samples <= 0 || index >= static_cast<uint32>(block.samples))
        TARSEL_THROW(ProcException, "GetAudioSamples: there is no sample " + std::to_string(index) + " in a block of " +
                                        std::to_string(block.samples));
    bool const planar = Conf::IsPlanar(block.info.GetSampleFormat());
    std::size_t const channels = static_cast<unsigned>(block.info.GetChannelCount());
    if (channels == 0) return;
    std::size_t const inPlane = planar ? 1 : channels;
    CheckPlanes(block, (std::size_t{index} + 1) * inPlane * sizeof(Sample), "GetAudioSamples");
    for (std::size_t channel = 0; channel < channels; ++channel) {
        u8 const* const data = planar ? block.data + std::size_t{block.planeBytes} * channel : block.data;
        out.push_back(Normalise(Load<Sample>(data, planar ? index : std::size_t{index} * channels + channel)));
    }
}

}  // namespace

std::pair<double, double> AudioArithmetic::EstimateLevelWith(Instructions instructions, AudioBlockView const& block) {
    switch (WorkFormat(block)) {
        case Conf::SAMPLE_FORMAT_U8P:
            return Estimate<u8>(instructions, block);
        case Conf::SAMPLE_FORMAT_S16P:
            return Estimate<std::int16_t>(instructions, block);
        case Conf::SAMPLE_FORMAT_S32P:
            return Estimate<i32>(instructions, block);
        case Conf::SAMPLE_FORMAT_FLTP:
            return Estimate<float>(instructions, block);
        case Conf::SAMPLE_FORMAT_DBLP:
            return Estimate<double>(instructions, block);
        default:
            TARSEL_THROW(ProcException, "EstimateLevel doesn't support this sample format");
    }
}

std::pair<double, double> EstimateLevel(AudioBlockView const& block) {
    return EstimateLevelWith(BestInstructions(), block);
}

void GetAudioSamples(AudioBlockView const& block, uint32 index, std::vector<double>& out) {
    switch (WorkFormat(block)) {
        case Conf::SAMPLE_FORMAT_U8P:
            return Append<u8>(block, index, out);
        case Conf::SAMPLE_FORMAT_S16P:
            return Append<std::int16_t>(block, index, out);
        case Conf::SAMPLE_FORMAT_S32P:
            return Append<i32>(block, index, out);
        case Conf::SAMPLE_FORMAT_FLTP:
            return Append<float>(block, index, out);
        case Conf::SAMPLE_FORMAT_DBLP:
            return Append<double>(block, index, out);
        default:
            TARSEL_THROW(ProcException, "GetAudioSamples doesn't support this sample format");
    }
}

}  // namespace Tarsel::Proc
