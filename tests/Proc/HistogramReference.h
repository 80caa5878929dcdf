#pragma once

#include <cmath>
#include <complex>
#include <cstdint>
#include <numbers>
#include <random>
#include <vector>

#include "contracts/Proc/IData.h"
#include "contracts/Proc/SettingsAudioHistogram.h"
#include "tests/support/Builders.h"

namespace Tarsel::Test {

/// The histogram again, as plainly as it can be said: every sample by its channel and frame, every bin by its sum,
/// every pixel by its own conditions.
namespace Reference {

template <class Sample>
long double Number(Proc::IDataAudio& block, int channel, int frame) {
    bool const planar = Conf::IsPlanar(block.GetSampleFormat());
    Sample const* const samples = SamplesOf<Sample>(block, planar ? channel : 0);
    return static_cast<long double>(planar ? samples[frame] : samples[frame * block.GetChannelCount() + channel]);
}

inline long double Level(Proc::IDataAudio& block, int channel, int frame) {
    switch (block.GetSampleFormat() % 5) {
        case 0:
            return (Number<u8>(block, channel, frame) - 127.0L) / 127.0L;
        case 1:
            return Number<std::int16_t>(block, channel, frame) / 32767.0L;
        case 2:
            return Number<i32>(block, channel, frame) / 2147483647.0L;
        case 3:
            return Number<float>(block, channel, frame);
        default:
            return Number<double>(block, channel, frame);
    }
}

/// The signal that a block adds to.
inline void AddSignal(Proc::IDataAudio& block, std::vector<long double>& signal) {
    int const channels = block.GetChannelCount();
    for (int frame = 0; frame < block.GetSampleCount(); frame += channels) {
        long double sum = 0;
        for (int channel = 0; channel < channels; ++channel) sum += Level(block, channel, frame);
        signal.push_back(sum / channels);
    }
}

/// Sums bin after bin.
class Bins {
  public:
    Bins(std::vector<long double> signal, std::size_t size) : signal(std::move(signal)), size(size) {
        this->signal.resize(size, 0);
        for (std::size_t i = 0; i < size; ++i)
            roots.push_back(
                std::polar(1.0L, -2 * std::numbers::pi_v<long double> * static_cast<long double>(i) / size));
    }
    std::complex<long double> operator[](std::size_t bin) const {
        std::complex<long double> sum = 0;
        for (std::size_t i = 0; i < size; ++i) sum += signal[i] * roots[bin * i % size];
        return sum;
    }

  private:
    std::vector<long double> signal;
    std::size_t const size;
    std::vector<std::complex<long double>> roots;
};

/// Points of the transform of so many values.
inline std::size_t Points(std::size_t values, int picturesPerSecond) {
    double const n = std::min(static_cast<double>(values), 1000000.0 / picturesPerSecond);
    return static_cast<std::size_t>(std::pow(2.0, std::ceil(std::log2(n))));
}

/// The heights of the bars; none where they have no room.
inline std::vector<double> Bars(std::vector<long double> const& signal, Proc::SettingsAudioHistogram const& settings,
                                int sampleRate) {
    std::size_t const points = Points(signal.size(), settings.GetPicturesPerSecond());
    Bins const spectrum(signal, points);
    std::vector<double> bars;
    double const limit = (settings.GetHeight() * 7) >> 3;
    if (settings.GetBarCount() > settings.GetWidth()) return bars;
    for (std::size_t bar = 0; bar < settings.GetBarCount(); ++bar) {
        double const bins = std::floor(static_cast<double>(points) / sampleRate * 15804.0);
        auto const binsPerBar = static_cast<std::size_t>(bins) / settings.GetBarCount();
        double sum = 0;
        for (std::size_t i = 0; i < binsPerBar; ++i) {
            if (bar * binsPerBar + i >= points) continue;
            std::complex<long double> const bin = spectrum[bar * binsPerBar + i];
            long double const power = bin.real() * bin.real() + bin.imag() * bin.imag();
            if (settings.GetScale() == Proc::SettingsAudioHistogram::SCALE_LINEAR)
                sum += static_cast<double>(static_cast<long long>(std::sqrt(power) * 4.0L));
            else if (power != 0)
                sum += static_cast<double>(std::log(power) * static_cast<long double>(limit) * 10.0L / 70.0L);
        }
        if (binsPerBar > 0 && sum >= 0) sum /= static_cast<double>(binsPerBar);
        bars.push_back(std::min(sum, limit));
    }
    return bars;
}

/// All bytes of the picture, row by row from the top.
inline std::vector<u8> Picture(std::vector<double> const& bars, int width, int height,
                               Proc::SettingsAudioHistogram::Colour const& background) {
    std::vector<u8> bytes;
    int const count = static_cast<int>(bars.size());
    int const barWidth = count > 0 ? width / count : 0;
    int const margin = (width - count * barWidth) / 2;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            int const u = height - y;
            bool empty = barWidth == 0 || x < margin || x >= margin + count * barWidth;
            if (!empty) {
                int const bar = (x - margin) / barWidth;
                int const first = margin + bar * barWidth;
                empty = bars[static_cast<std::size_t>(bar)] + 4.0 < u || x == first || x == first + barWidth - 1 ||
                        u % 4 == 0;
            }
            if (empty)
                bytes.insert(bytes.end(), background.begin(), background.end());
            else
                bytes.insert(bytes.end(), {static_cast<u8>(u * 190 / height + 65),
                                           static_cast<u8>((x - margin) * 200 / width), u8{80}});
        }
    }
    return bytes;
}

}  // namespace Reference

/// The bytes of a picture without padding.
inline std::vector<u8> BytesOf(Proc::IDataVideo const& picture) {
    std::vector<u8> bytes;
    auto const plane = picture.GetPlaneConst(0);
    for (int y = 0; y < plane.GetRows(); ++y) {
        u8 const* const row = plane.GetOffsetPtr(0, static_cast<unsigned>(y));
        bytes.insert(bytes.end(), row, row + plane.GetRowBytes());
    }
    return bytes;
}

/// Writes `level(channel, frame)`, from -1 to 1, into all samples of a block.
template <class Level>
void FillAudio(Proc::IDataAudio& block, Level level) {
    bool const planar = Conf::IsPlanar(block.GetSampleFormat());
    int const channels = block.GetChannelCount();
    auto const write = [&](auto type, auto convert) {
        using Sample = decltype(type);
        for (int channel = 0; channel < channels; ++channel)
            for (int frame = 0; frame < block.GetSampleCount(); ++frame) {
                auto const value = static_cast<Sample>(convert(static_cast<double>(level(channel, frame))));
                if (planar)
                    SamplesOf<Sample>(block, channel)[frame] = value;
                else
                    SamplesOf<Sample>(block)[frame * channels + channel] = value;
            }
    };
    switch (block.GetSampleFormat() % 5) {
        case 0:
            write(u8{}, [](double v) { return std::lround(v * 127) + 128; });
            break;
        case 1:
            write(std::int16_t{}, [](double v) { return std::lround(v * 32767); });
            break;
        case 2:
            write(i32{}, [](double v) { return std::llround(v * 2147483647.0); });
            break;
        case 3:
            write(float{}, [](double v) { return v; });
            break;
        default:
            write(double{}, [](double v) { return v; });
            break;
    }
}

}  // namespace Tarsel::Test
