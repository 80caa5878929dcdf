#include "Proc/Algorithms/SpectrumBars.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "contracts/Proc/SettingsAudioHistogram.h"

namespace Tarsel::Proc {

namespace {

/// Hertz; nothing above is drawn.
constexpr double HIGHEST_FREQUENCY = 15804.0;
constexpr uint32 SEGMENT_ROWS = 4;
constexpr std::size_t PIXEL_BYTES = 3;

double HeightOf(std::complex<double> const& bin, BarSettings const& settings) {
    double const power = bin.real() * bin.real() + bin.imag() * bin.imag();
    // No comparison holds for what is no number.
    if (!(power > 0)) return 0;
    if (settings.scale == SettingsAudioHistogram::SCALE_LINEAR) return std::trunc(std::sqrt(power) * 4.0);
    return std::log(power) * settings.limit * 10.0 / 70.0;
}

/// A column of the picture: nothing of a bar, or part of the one with the index.
struct Column {
    static constexpr std::size_t NO_BAR = static_cast<std::size_t>(-1);
    std::size_t bar = NO_BAR;
    u8 green = 0;
};

std::vector<Column> LayOut(uint32 width, std::size_t barCount) {
    std::vector<Column> columns(width);
    if (barCount == 0 || barCount > width) return columns;
    auto const count = static_cast<uint32>(barCount);
    uint32 const barWidth = width / count;
    uint32 const margin = (width - count * barWidth) >> 1;
    for (uint32 x = margin; x < width; ++x) {
        uint32 const bar = (x - margin) / barWidth;
        uint32 const column = (x - margin) % barWidth;
        if (bar >= count || column == 0 || column == barWidth - 1) continue;
        columns[x] = {bar, static_cast<u8>((x - margin) * 200 / width)};
    }
    return columns;
}

}  // namespace

std::size_t SpectrumSize(std::size_t values, int picturesPerSecond) {
    double const count = std::min(static_cast<double>(values), 1000000.0 / picturesPerSecond);
    std::size_t size = 1;
    while (static_cast<double>(size) < count) size *= 2;
    return size;
}

std::vector<double> MeasureBars(std::vector<std::complex<double>> const& spectrum, BarSettings const& settings) {
    std::vector<double> bars(settings.barCount, 0.0);
    if (settings.sampleRate <= 0 || bars.empty()) return bars;
    auto const size = static_cast<double>(spectrum.size());
    auto const bins = static_cast<std::size_t>(std::floor(size / settings.sampleRate * HIGHEST_FREQUENCY));
    std::size_t const binsPerBar = bins / bars.size();
    if (binsPerBar == 0) return bars;
    for (std::size_t bar = 0; bar < bars.size(); ++bar) {
        std::size_t const begin = bar * binsPerBar;
        std::size_t const end = std::min(begin + binsPerBar, spectrum.size());
        double sum = 0;
        for (std::size_t bin = begin; bin < end; ++bin) sum += HeightOf(spectrum[bin], settings);
        // Meant so: a sum below 0, which only the logarithm gives, stays as it is.
        if (sum >= 0) sum /= static_cast<double>(binsPerBar);
        bars[bar] = std::min<double>(sum, settings.limit);
    }
    return bars;
}

void DrawBars(IDataVideo& picture, std::vector<double> const& bars, std::array<u8, 3> const& background) {
    auto const width = static_cast<uint32>(picture.GetWidth());
    auto const height = static_cast<uint32>(picture.GetHeight());
    std::vector<Column> const columns = LayOut(width, bars.size());
    auto const plane = picture.GetPlane(0);
    for (uint32 y = 0; y < height; ++y) {
        uint32 const above = height - y;  // of the row over the bottom of the picture
        auto const red = static_cast<u8>(above * 190 / height + 65);
        u8* pixel = plane.GetOffsetPtr(0, y);
        for (uint32 x = 0; x < width; ++x, pixel += PIXEL_BYTES) {
            Column const& column = columns[x];
            bool const lit =
                column.bar != Column::NO_BAR && above % SEGMENT_ROWS != 0 && !(bars[column.bar] + 4.0 < above);
            std::array<u8, PIXEL_BYTES> const colour =
                lit ? std::array<u8, PIXEL_BYTES>{red, column.green, 80} : background;
            std::memcpy(pixel, colour.data(), PIXEL_BYTES);
        }
    }
}

}  // namespace Tarsel::Proc
