#pragma once

#include "contracts/Proc/SettingsResizer.h"
#include "host/gpu/DataVideoOGL.h"

namespace Tarsel::Host {

/// Brings parts of pictures in GPU memory to a size: lines first, then columns, with 16 bits in between; `ResizeTaps`
/// has the places and weights. The fields of an interlaced picture are scaled each on its own. Keeps the taps of the
/// last sizes. One thread.
class GpuScaler {
  public:
    using Algorithm = Proc::SettingsResizer::Algorithms;

    /// Draws the part of a picture over a part of `target`, which is another one. Throws `EffectException`.
    void Scale(DataVideoOGL const& picture, GpuArea const& from, GpuTexture const& target, GpuArea const& to,
               Algorithm algorithm);

  private:
    /// The taps from one length to another, as a shader finds them.
    struct Taps {
        int from = 0;
        int to = 0;
        Algorithm algorithm = Proc::SettingsResizer::ALGORITHM_BICUBIC;
        int count = 0;
        GpuTexturePtr table;
    };

    /// All rows of a picture, or those of a field.
    struct Rows {
        int step;
        int field;

        int CountIn(int height) const { return (height + step - 1 - field) / step; }
    };

    /// Makes `taps` those from the one length to the other; what they are already stays.
    static void Prepare(Taps& taps, GpuDevice& device, int from, int to, Algorithm algorithm);
    GpuTexturePtr ScaleLines(DataVideoOGL const& picture, GpuArea const& from, int width, Algorithm algorithm);
    void ScaleColumns(GpuTexture const& lines, GpuTexture const& target, GpuArea const& to, Rows const& rows,
                      Algorithm algorithm);

    Taps across;
    Taps down;  // of the upper field, where there are two
    Taps downLower;
};

}  // namespace Tarsel::Host
