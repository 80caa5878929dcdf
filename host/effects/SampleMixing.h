#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

#include "host/effects/PictureParts.h"

namespace Tarsel::Host {

// Weights of two samples in one: whole numbers, MIX_WHOLE being one of them alone.

inline constexpr u32 MIX_WHOLE = 1U << 15;

/// The weight of a share, which is held to 0 and 1.
inline u32 MixWeight(double share) {
    return static_cast<u32>(std::lround(std::clamp(share, 0.0, 1.0) * MIX_WHOLE));
}
/// `other` has the weight. Samples have 16 bits at most.
inline u32 Mixed(u32 one, u32 other, u32 weight) {
    return (one * (MIX_WHOLE - weight) + other * weight + MIX_WHOLE / 2) >> 15;
}

/// What a map of samples is before rounding and limits: `value * slope + offset`, where half a unit that rounds is part
/// of the offset.
struct SampleLine {
    double slope;
    double offset;
};

/// Replaces bytes by the line, cut to whole numbers and held to 0 and 255.
void MapBytes(u8* bytes, std::size_t count, SampleLine const& line);
/// Whether the line gives these values for all bytes.
bool IsLine(std::vector<u16> const& table, SampleLine const& line);

/// Puts `map(value)` in the place of every sample of a component of a writable picture. `map` gives values within the
/// component's range. It is asked once for each value that there can be, where pictures have more samples than that.
///
/// Where the map is the line, bytes without gaps are computed from the line, several at a time, in place of being
/// looked up. The bytes are the same: a line that differs from the map for any value isn't used.
template <class Map>
void MapSamples(Proc::IDataVideo& picture, PictureComponent const& part, Map const& map, SampleLine const& line) {
    std::size_t const values = static_cast<std::size_t>(part.GetMax()) + 1;
    std::size_t const samples = static_cast<std::size_t>(part.width) * static_cast<std::size_t>(part.height);
    std::vector<u16> table;
    if (values <= samples) {
        table.resize(values);
        for (std::size_t value = 0; value < values; ++value)
            table[value] = static_cast<u16>(map(static_cast<u32>(value)));
    }
    auto const mapped = [&](u32 value) -> u32 { return table.empty() ? map(value) : table[value]; };
    auto const plane = picture.GetPlane(static_cast<unsigned>(part.plane));
    u32 const max = static_cast<u32>(part.GetMax());
    bool const isLine = part.depth == 8 && part.step == 1 && !table.empty() && IsLine(table, line);
    for (int y = 0; y < part.height; ++y) {
        u8* const row = plane.GetData() + y * plane.GetStride() + part.offset;
        if (isLine) {
            MapBytes(row, static_cast<std::size_t>(part.width), line);
            continue;
        }
        if (part.GetSampleBytes() == 1) {
            for (std::ptrdiff_t x = 0; x < part.width; ++x)
                row[x * part.step] = static_cast<u8>(mapped(row[x * part.step]));
            continue;
        }
        u16* const words = reinterpret_cast<u16*>(row);
        std::ptrdiff_t const step = part.step / 2;
        for (std::ptrdiff_t x = 0; x < part.width; ++x)
            // What stands beside the sample's bits is none of it.
            words[x * step] = static_cast<u16>(
                mapped(std::min<u32>(static_cast<u32>(words[x * step] >> part.shift), max)) << part.shift);
    }
}

}  // namespace Tarsel::Host
