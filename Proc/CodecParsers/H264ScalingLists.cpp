#include "Proc/CodecParsers/H264ScalingLists.h"

#include <array>
#include <cstddef>

#include "Proc/CodecParsers/ExpGolomb.h"

namespace Tarsel::Proc::CodecParsers {

namespace {

using List4x4 = std::array<u32, 16>;
using List8x8 = std::array<u32, 64>;

// Tables 7-3 and 7-4, in coded order.
constexpr List4x4 Default_4x4_Intra = {6, 13, 13, 20, 20, 20, 28, 28, 28, 28, 32, 32, 32, 37, 37, 42};
constexpr List4x4 Default_4x4_Inter = {10, 14, 14, 20, 20, 20, 24, 24, 24, 24, 27, 27, 27, 30, 30, 34};
constexpr List8x8 Default_8x8_Intra = {6,  10, 10, 13, 11, 13, 16, 16, 16, 16, 18, 18, 18, 18, 18, 23,
                                       23, 23, 23, 23, 23, 25, 25, 25, 25, 25, 25, 25, 27, 27, 27, 27,
                                       27, 27, 27, 27, 29, 29, 29, 29, 29, 29, 29, 31, 31, 31, 31, 31,
                                       31, 33, 33, 33, 33, 33, 36, 36, 36, 36, 38, 38, 38, 40, 40, 42};
constexpr List8x8 Default_8x8_Inter = {9,  13, 13, 15, 13, 15, 17, 17, 17, 17, 19, 19, 19, 19, 19, 21,
                                       21, 21, 21, 21, 21, 22, 22, 22, 22, 22, 22, 22, 24, 24, 24, 24,
                                       24, 24, 24, 24, 25, 25, 25, 25, 25, 25, 25, 27, 27, 27, 27, 27,
                                       27, 28, 28, 28, 28, 28, 30, 30, 30, 30, 32, 32, 32, 33, 33, 35};

// scaling_list(), 7.3.2.1.1.1. Returns useDefaultScalingMatrixFlag.
template <std::size_t N>
bool ReadScalingList(Core::DataBitInput& in, std::array<u32, N>& list) {
    i32 last = 8;
    i32 next = 8;
    for (std::size_t j = 0; j < N; ++j) {
        if (next != 0) {
            i32 const delta = ReadSE(in);  // delta_scale se(v)
            // Meant: a delta out of range ends the list with the values so far, and isn't an error.
            if (delta < -128 || delta > 127) return false;
            next = (last + delta) & 255;
            if (next == 0 && j == 0) return true;
        }
        last = next == 0 ? last : next;
        list[j] = static_cast<u32>(last);
    }
    return false;
}

}  // namespace

void ReadScalingLists(Core::DataBitInput& in, H264SPS& sps) {
    auto& small = sps.ScalingList4x4;
    for (std::size_t i = 0; i < small.size(); ++i) {
        List4x4 const& standard = i < 3 ? Default_4x4_Intra : Default_4x4_Inter;
        if (in.ReadBits(1) != 0) {  // seq_scaling_list_present_flag u(1)
            if (ReadScalingList(in, small[i])) small[i] = standard;
        } else {
            small[i] = i == 0 || i == 3 ? standard : small[i - 1];
        }
    }
    auto& large = sps.ScalingList8x8;
    std::size_t const count = sps.chroma_format_idc == 3 ? 6 : 2;
    for (std::size_t i = 0; i < count; ++i) {
        List8x8 const& standard = i % 2 == 0 ? Default_8x8_Intra : Default_8x8_Inter;
        if (in.ReadBits(1) != 0) {
            if (ReadScalingList(in, large[i])) large[i] = standard;
        } else {
            large[i] = i < 2 ? standard : large[i - 2];
        }
    }
}

void FillFlatScalingLists(H264SPS& sps) {
    for (auto& list : sps.ScalingList4x4) list.fill(16);
    for (auto& list : sps.ScalingList8x8) list.fill(16);
}

}  // namespace Tarsel::Proc::CodecParsers
