#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "Proc/Algorithms/AudioAlg.h"
#include "Proc/Algorithms/AudioRun.h"
#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {
namespace {

using namespace AudioArithmetic;

// 1 at full scale. The lowest integers come out slightly below -1: full scale is the highest.

double Normalise(u8 sample) {
    return (sample - 128) * 0.0078125;
}
double Normalise(std::int16_t sample) {
    return sample / 32767.0;
}
double Normalise(i32 sample) {
    return sample / 2147483647.0;
}
double Normalise(float sample) {
    return sample;
}
double Normalise(double sample) {
    return sample;
}

/// Throws unless each plane has `bytes` bytes.
void CheckPlanes(AudioBlockView const& block, std::size_t bytes, char const* function) {
    if (bytes > block.planeBytes)
        TARSEL_THROW(ProcException, std::string(function) + ": a plane has " + std::to_string(block.planeBytes) +
                                        " bytes of the " + std::to_string(bytes) + " wanted");
    if (bytes > 0 && !block.data) TARSEL_THROW(ProcException, std::string(function) + ": the block has no storage");
}

template <class Sample>
std::pair<double, double> Estimate(AudioBlockView const& block) {
    bool const planar = Conf::IsPlanar(block.info.GetSampleFormat());
    std::size_t const planes = planar ? static_cast<unsigned>(block.info.GetChannelCount()) : 1;
    std::size_t const samples = block.samples > 0 ? static_cast<unsigned>(block.samples) : 0;
    double peak = 0.0;
    double sum = 0.0;
    if (planes == 0 || samples == 0) return {peak, 0.0};
    CheckPlanes(block, samples * sizeof(Sample), "EstimateLevel");
    for (std::size_t plane = 0; plane < planes; ++plane) {
        u8 const* const data = block.data + std::size_t{block.planeBytes} * plane;
        for (std::size_t i = 0; i < samples; ++i) {
            double const value = Normalise(Load<Sample>(data, i));
            if (value > peak) peak = value;
            sum += value * value;
        }
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

std::pair<double, double> EstimateLevel(AudioBlockView const& block) {
    switch (WorkFormat(block)) {
        case Conf::SAMPLE_FORMAT_U8P:
            return Estimate<u8>(block);
        case Conf::SAMPLE_FORMAT_S16P:
            return Estimate<std::int16_t>(block);
        case Conf::SAMPLE_FORMAT_S32P:
            return Estimate<i32>(block);
        case Conf::SAMPLE_FORMAT_FLTP:
            return Estimate<float>(block);
        case Conf::SAMPLE_FORMAT_DBLP:
            return Estimate<double>(block);
        default:
            TARSEL_THROW(ProcException, "EstimateLevel doesn't support this sample format");
    }
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
