#pragma once

#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Proc/SettingsResizer.h"

namespace Tarsel::Host {

/// Which samples of a line make the samples of another one, and how much each counts.
///
/// The places of the samples and the weights are those of libswscale, so that pictures come out as in processor memory:
/// lines are as long as one another, so that their ends meet, and steps are counted in 1/65536 of a sample. A line that
/// becomes shorter has as much more taps, whose kernel is as much wider. Bicubic weights have no blur and a sharpness
/// of 0.6; those of Lanczos have 3 lobes.
class TARSEL_HOST_EXPORT ResizeTaps {
  public:
    ResizeTaps(int from, int to, Proc::SettingsResizer::Algorithms algorithm);

    /// Number of samples that are made.
    int GetSize() const { return size; }
    /// Taps of each of them.
    int GetCount() const { return count; }
    /// The place of the first tap of a sample. Taps beyond the ends of the line are its first or last sample.
    int GetFirst(int sample) const { return firsts[static_cast<std::size_t>(sample)]; }
    /// The weights of a sample's taps, whose sum is 1.
    double const* GetWeights(int sample) const { return weights.data() + static_cast<std::ptrdiff_t>(sample) * count; }

    /// A table for shaders, four floats a cell: `GetSize()` cells wide, a row that begins with the first taps, and a
    /// row for each four weights, filled up with zeros.
    std::vector<float> GetTable() const;
    int GetTableRows() const { return 1 + (count + 3) / 4; }

  private:
    /// Drops taps that count for next to nothing.
    void Trim();
    void Normalise();

    int size;
    int count;
    std::vector<int> firsts;
    std::vector<double> weights;
};

}  // namespace Tarsel::Host
