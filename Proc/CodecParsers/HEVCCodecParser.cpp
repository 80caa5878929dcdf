#include "Proc/CodecParsers/HEVCCodecParser.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "Proc/CodecParsers/H264_HEVC_Common.h"
#include "Proc/CodecParsers/HEVCUnits.h"
#include "contracts/Core/Exception.h"

namespace Tarsel::Proc::CodecParsers {

namespace {

constexpr std::size_t HVCC_HEAD = 23;  // bytes ahead of the arrays

bool BeginsWith(u8 const* data, u8 const* codeBegin, u8 const* codeEnd) {
    return std::equal(codeBegin, codeEnd, data);
}

// Throws `message` when the next `count` bytes pass the end.
void RequireBytes(std::size_t size, std::size_t position, std::size_t count, char const* message) {
    if (count > size - position) TARSEL_THROW(Exception, message);
}

u32 ReadBigEndian16(u8 const* data) {
    return (u32{data[0]} << 8) | data[1];
}

}  // namespace

u32 GetKnownHEVCNaluType(NaluRange const& unit) {
    constexpr std::size_t NAL_HEADER = 2;
    if (!unit.data || unit.size < NAL_HEADER) return HEVC_NALU_INVALID;
    u32 const type = GetHEVCNaluType(unit);
    bool const reserved = (type >= 10 && type <= 15) || (type >= 22 && type <= 31) || type >= 41;
    return reserved ? u32{HEVC_NALU_INVALID} : type;
}

bool IsAnnexB(u8 const* data, std::size_t size) {
    if (size < 4) TARSEL_THROW(Exception, "Not enougth data to determine h264 format type");
    return BeginsWith(data, std::begin(StartCode4), std::end(StartCode4)) ||
           BeginsWith(data, std::begin(StartCode3), std::end(StartCode3));
}

bool IsZeroPrefixedVersion(u8 const* data, std::size_t size) {
    if (IsAnnexB(data, size) || data[0] == 1) return false;
    u8 const* const end = data + size;
    u8 const* const first = std::find_if(data, end, [](u8 byte) { return byte != 0; });
    return first == end || *first == 1;
}

bool IsHvcCHeader(u8 const* data, std::size_t size) {
    if (size == 0) TARSEL_THROW(Exception, "Not enougth data to determine HEVC header type");
    return data[0] == 1 || IsZeroPrefixedVersion(data, size);
}

bool RepairHvcCHeader(u8* data, std::size_t size) {
    if (!data) return false;
    if (!IsZeroPrefixedVersion(data, size)) return true;
    // Meant: two bytes move and no more; the fields behind them are where they belong.
    data[0] = data[1];
    data[1] = data[2];
    return true;
}

int GetHvccNALULengthSize(u8 const* data, std::size_t size) {
    if (!IsHvcCHeader(data, size)) return 0;
    if (size < HVCC_HEAD) TARSEL_THROW(Exception, "Not enougth data to determine HEVC NALU length size");
    return (data[21] & 3) + 1;
}

void FindHvccHeaderNalus(u8 const* data, std::size_t size, NaluRangeList& out) {
    // The two texts tell a broken array from a broken unit; callers and logs know them so, slip included.
    constexpr char BAD_ARRAY[] = "hvcC header has wring structure";
    constexpr char BAD_UNIT[] = "hvcC header has wrong structure";
    if (size < HVCC_HEAD) TARSEL_THROW(Exception, "hvcC header is too small");
    if (data[0] != 1) TARSEL_THROW(Exception, "Unknown hvcC version");
    std::size_t position = HVCC_HEAD;
    for (unsigned array = 0; array < data[HVCC_HEAD - 1]; ++array) {
        RequireBytes(size, position, 3, BAD_ARRAY);
        u32 const count = ReadBigEndian16(data + position + 1);
        position += 3;
        for (u32 unit = 0; unit < count; ++unit) {
            RequireBytes(size, position, 2, BAD_UNIT);
            u32 const length = ReadBigEndian16(data + position);
            position += 2;
            RequireBytes(size, position, length, BAD_UNIT);
            out.push_back({data + position, length});
            position += length;
        }
    }
}

NaluRange GetFirstHEVCNaluOfType(u8 const* data, std::size_t size, u32 type) {
    if (IsHvcCHeader(data, size)) TARSEL_THROW(Exception, "Finding HEVC NALUs in hvcC is not implemented yet");
    NaluRangeList units;
    FindAnnexBNalus(data, size, units);
    for (NaluRange const& unit : units)
        if (GetKnownHEVCNaluType(unit) == type) return unit;
    TARSEL_THROW(Exception, "Can't find nalu of type " + std::to_string(type));
}

}  // namespace Tarsel::Proc::CodecParsers
