#pragma once

#include <array>
#include <complex>
#include <cstddef>
#include <vector>

#include "contracts/Core/Types.h"
#include "contracts/Proc/IData.h"

namespace Tarsel::Proc {

/// Bins of the spectrum of one picture: the power of two from `values` on, where no more of them count than the picture
/// lasts microseconds.
std::size_t SpectrumSize(std::size_t values, int picturesPerSecond);

/// How the bins are summed up.
struct BarSettings {
    int sampleRate = 0;
    uint32 barCount = 0;
    /// A scale of `SettingsAudioHistogram`.
    int scale = 0;
    /// No bar is higher.
    uint32 limit = 0;
};

/// The heights of the bars, each the mean of as many bins as the next, up to 15804 Hz altogether. What no bin tells is
/// empty: bars when there are more of them than bins, all of them for a rate that isn't above 0, and bins beyond those
/// of the spectrum. Bins that are no number count as nothing.
std::vector<double> MeasureBars(std::vector<std::complex<double>> const& spectrum, BarSettings const& settings);

/// Paints bars of equal widths over the whole of a picture of format RGB24: in segments four rows high, with a column
/// of the background on either side of each bar. Without bars, or with more of them than columns, all is background.
void DrawBars(IDataVideo& picture, std::vector<double> const& bars, std::array<u8, 3> const& background);

}  // namespace Tarsel::Proc
