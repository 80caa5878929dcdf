#pragma once

#include <initializer_list>
#include <utility>
#include <vector>

#include "contracts/Core/Types.h"

namespace Tarsel::Test {

/// An entry of a palette: Y, Cr and Cb of 16 to 235 or 240, and how opaque.
struct PgsColor {
    u8 index = 0;
    u8 y = 16;
    u8 cr = 128;
    u8 cb = 128;
    u8 alpha = 255;
};

/// A picture of indices, and where it stands on the screen.
struct PgsObject {
    u16 id = 0;
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    /// Row after row; empty for a picture that the epoch knows already.
    std::vector<u8> pixels;
};

/// Writes presentation graphics (PGS), for which there is no encoder: display sets of segments, as a file of them
/// (.sup) has them and as containers have them. Times are ticks of 1/90000 s.
class PgsBuilder {
  public:
    using Bytes = std::vector<u8>;
    /// A display set without the file's headers of its segments.
    struct Set {
        int64 ticks = 0;
        Bytes bytes;
    };

    PgsBuilder(int width, int height) : width(width), height(height) {}

    /// A display set that starts an epoch: palette, objects, and their places.
    PgsBuilder& Show(int64 ticks, std::vector<PgsObject> const& objects, std::vector<PgsColor> const& colors);
    /// A display set inside an epoch, of objects without pixels that it knows.
    PgsBuilder& Continue(int64 ticks, std::vector<PgsObject> const& objects);
    /// A display set of nothing.
    PgsBuilder& Clear(int64 ticks) { return Continue(ticks, {}); }

    Bytes const& GetFile() const { return file; }
    std::vector<Set> const& GetSets() const { return sets; }

  private:
    void Begin(int64 ticks, std::vector<PgsObject> const& objects, u8 state);
    void AddSegment(u8 type, Bytes const& body);

    int const width;
    int const height;
    int number = 0;
    Bytes file;
    std::vector<Set> sets;
};

}  // namespace Tarsel::Test
