#include "Proc/CodecParsers/H264CodecParser.h"

#include <string>

#include "Proc/CodecParsers/H264_HEVC_Common.h"
#include "contracts/Core/Exception.h"

namespace Tarsel::Proc::CodecParsers {

bool IsAvcCHeader(u8 const* data, std::size_t size) {
    if (size == 0) TARSEL_THROW(Exception, "Not enougth data to determine h264 header type");
    return data[0] == 1;
}

int GetAvccNALULengthSize(u8 const* data, std::size_t size) {
    if (!IsAvcCHeader(data, size)) return 0;
    if (size < 5) TARSEL_THROW(Exception, "Not enougth data to determine h264 NALU length size");
    return (data[4] & 3) + 1;
}

namespace {

constexpr char AVCC_TOO_SMALL[] = "avcC header is too small";

// Appends `count` units, each after a 16-bit length, and returns the position behind them.
std::size_t FindCountedNalus(u8 const* data, std::size_t size, std::size_t position, unsigned count,
                             NaluRangeList& out) {
    for (unsigned i = 0; i < count; ++i) {
        if (size - position < 2) TARSEL_THROW(Exception, AVCC_TOO_SMALL);
        u32 const length = (u32{data[position]} << 8) | data[position + 1];
        position += 2;
        if (length > size - position) TARSEL_THROW(Exception, AVCC_TOO_SMALL);
        out.push_back({data + position, length});
        position += length;
    }
    return position;
}

}  // namespace

void FindAvccHeaderNalus(u8 const* data, std::size_t size, NaluRangeList& out) {
    if (size < 7) TARSEL_THROW(Exception, AVCC_TOO_SMALL);
    if (data[0] != 1) TARSEL_THROW(Exception, "Unknown avcC version");
    std::size_t position = FindCountedNalus(data, size, 6, data[5] & 31U, out);
    if (position == size) TARSEL_THROW(Exception, AVCC_TOO_SMALL);
    unsigned const ppsCount = data[position];
    FindCountedNalus(data, size, position + 1, ppsCount, out);
}

void FindExtradataNalus(u8 const* data, std::size_t size, NaluRangeList& out) {
    if (IsAvcCHeader(data, size))
        FindAvccHeaderNalus(data, size, out);
    else
        FindAnnexBNalus(data, size, out);
}

NaluRange GetFirstNaluOfType(u8 const* data, std::size_t size, u32 type) {
    NaluRangeList units;
    FindExtradataNalus(data, size, units);
    for (NaluRange const& unit : units)
        if (unit.size > 1 && GetH264NaluType(unit) == type) return unit;
    TARSEL_THROW(Exception, "Can't find nalu of type " + std::to_string(type));
}

NaluRangeList FilterNalusByType(NaluRangeList const& list, u32 type) {
    NaluRangeList result;
    for (NaluRange const& unit : list)
        if (unit.size != 0 && GetH264NaluType(unit) == type) result.push_back(unit);
    return result;
}

}  // namespace Tarsel::Proc::CodecParsers
