#pragma once

#include <cstddef>

#include "Proc/CodecParsers/HEVCRecords.h"
#include "Proc/CodecParsers/NaluRange.h"
#include "contracts/Core/IBlob.h"
#include "contracts/Core/Types.h"
#include "contracts/Proc/IData.h"

// Reads and rewrites HEVC headers and packets without decoding pictures. "Extradata" is a stream's global header:
// parameter sets in Annex B form, or an HEVCDecoderConfigurationRecord ("hvcC", ISO/IEC 14496-15, 8.3.3.1), whose first
// byte is 1. Some writers leave zeros ahead of that 1; such a record is taken for hvcC and repaired where it is
// converted. Stateless; any thread. Whatever the bytes are, a call returns or throws `Tarsel::Exception`; messages are
// named below where a caller may want to tell them apart.

namespace Tarsel::Proc::CodecParsers {

/// nal_unit_type, table 7-1.
enum HEVCNaluType : u32 {
    HEVC_NALU_TRAIL_N = 0,
    HEVC_NALU_TRAIL_R = 1,
    HEVC_NALU_RADL_N = 6,
    HEVC_NALU_RADL_R = 7,
    HEVC_NALU_RASL_N = 8,
    HEVC_NALU_RASL_R = 9,
    HEVC_NALU_BLA_W_LP = 16,
    HEVC_NALU_BLA_W_RADL = 17,
    HEVC_NALU_BLA_N_LP = 18,
    HEVC_NALU_IDR_W_RADL = 19,
    HEVC_NALU_IDR_N_LP = 20,
    HEVC_NALU_CRA_NUT = 21,
    HEVC_NALU_VPS = 32,
    HEVC_NALU_SPS = 33,
    HEVC_NALU_PPS = 34,
    HEVC_NALU_AUD = 35,
    HEVC_NALU_PREFIX_SEI = 39,
    HEVC_NALU_SUFFIX_SEI = 40,
    HEVC_NALU_INVALID = 64,  // no unit has it: see `GetFirstHEVCNaluOfType`
};

/// The type of a unit that isn't empty.
inline u32 GetHEVCNaluType(NaluRange const& unit) {
    return (unit.data[0] >> 1) & 63U;
}

// --- Framing ---------------------------------------------------------------------------------------------------------

/// Whether the data begins with a start code. Throws "Not enougth data to determine h264 format type" for fewer than 4
/// bytes.
bool IsAnnexB(u8 const* data, std::size_t size);
/// Whether the data is zeros alone, or zeros and then a 1, but neither a start code nor hvcC as it should be. Throws as
/// `IsAnnexB`.
bool IsZeroPrefixedVersion(u8 const* data, std::size_t size);
/// Whether extradata is hvcC, zero-prefixed or not. Throws "Not enougth data to determine HEVC header type" for size 0,
/// and as `IsAnnexB` when the first byte isn't 1.
bool IsHvcCHeader(u8 const* data, std::size_t size);
/// Moves the version of zero-prefixed hvcC to the front, in place: bytes 1 and 2 go over bytes 0 and 1, all else stays.
/// Other data is left alone. False when there is no data to repair; throws as `IsAnnexB`.
bool RepairHvcCHeader(u8* data, std::size_t size);
/// Bytes of a length field, 1 to 4; 0 when the extradata isn't hvcC. Throws "Not enougth data to determine HEVC NALU
/// length size" for hvcC of fewer than 23 bytes.
int GetHvccNALULengthSize(u8 const* data, std::size_t size);
/// Appends the units of hvcC in their order. Zero-prefixed data has to be repaired first. Throws "hvcC header is too
/// small", "Unknown hvcC version", "hvcC header has wring structure" when an array passes the end, and "hvcC header has
/// wrong structure" when a unit does.
void FindHvccHeaderNalus(u8 const* data, std::size_t size, NaluRangeList& out);
/// The first unit of the type in Annex B extradata. A unit without a whole NAL header or of a reserved or unspecified
/// type (10 to 15, 22 to 31, 41 and above) counts as `HEVC_NALU_INVALID`. Throws "Finding HEVC NALUs in hvcC is not
/// implemented yet" and "Can't find nalu of type " with the number.
NaluRange GetFirstHEVCNaluOfType(u8 const* data, std::size_t size, u32 type);

// --- Extradata -------------------------------------------------------------------------------------------------------

/// Annex B to hvcC with 4-byte lengths, out of the parameter sets and SEI units; profile, tier and level are those of
/// the first SPS. Throws as `GetFirstHEVCNaluOfType` when VPS or SPS are missing and when the extradata is hvcC
/// already, as `IsHvcCHeader` for null, and when a unit or a count doesn't fit its 16 bits.
iptr<IBlob> HEVC_Extradata_AnnexBtohvcC(iptr<IBlob> extradata);
/// hvcC to Annex B. Anything else, null too, comes back as the same object. Empty extradata throws as `IsHvcCHeader`.
iptr<IBlob> HEVC_Extradata_hvcCtoAnnexB(iptr<IBlob> extradata);

// --- Packets ---------------------------------------------------------------------------------------------------------

/// A key packet in Annex B form without parameter sets gets `extradata` in front. All else comes back unchanged: no
/// extradata, no packet, no key. Throws "Trying to insert hvcC extradata into annexB packet".
iptr<IDataPacket> InsertHEVCExtradata(iptr<IDataPacket> packet, iptr<IBlob> extradata);

// --- Decoding --------------------------------------------------------------------------------------------------------

/// Decodes the first SPS of Annex B extradata. Throws as `GetFirstHEVCNaluOfType`.
HEVCSPS DecodeHEVCSPS(u8 const* extradataData, std::size_t extradataSize);
/// Decodes the first VPS of Annex B extradata. Throws as `GetFirstHEVCNaluOfType`.
HEVCVPS DecodeHEVCVPS(u8 const* extradataData, std::size_t extradataSize);

}  // namespace Tarsel::Proc::CodecParsers
