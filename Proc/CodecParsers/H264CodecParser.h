#pragma once

#include <cstddef>
#include <optional>

#include "Proc/CodecParsers/H264Records.h"
#include "Proc/CodecParsers/NaluRange.h"
#include "contracts/Core/IBlob.h"
#include "contracts/Core/Types.h"
#include "contracts/Proc/IData.h"

// Reads and rewrites H.264 headers and packets without decoding pictures. "Extradata" is a stream's global header:
// parameter sets in Annex B form, or an AVCDecoderConfigurationRecord ("avcC", ISO/IEC 14496-15, 5.2.4.1), whose first
// byte is 1. Stateless; any thread. Whatever the bytes are, a call returns or throws `Tarsel::Exception`; messages are
// named below where a caller may want to tell them apart.

namespace Tarsel::Proc::CodecParsers {

/// nal_unit_type, table 7-1.
enum H264NaluType : u32 {
    H264_NALU_SLICE = 1,
    H264_NALU_SLICE_PART_A = 2,
    H264_NALU_IDR = 5,
    H264_NALU_SPS = 7,
    H264_NALU_PPS = 8,
};

/// The type of a unit that isn't empty.
inline u32 GetH264NaluType(NaluRange const& unit) {
    return unit.data[0] & 31U;
}

// --- Framing ---------------------------------------------------------------------------------------------------------

/// Whether extradata is avcC. Throws "Not enougth data to determine h264 header type" for size 0.
bool IsAvcCHeader(u8 const* data, std::size_t size);
/// Bytes of a length field, 1 to 4; 0 when the extradata isn't avcC. Throws "Not enougth data to determine h264 NALU
/// length size" for avcC of fewer than 5 bytes.
int GetAvccNALULengthSize(u8 const* data, std::size_t size);
/// Appends the parameter sets of avcC: SPS first, then PPS. Throws "avcC header is too small" also when a unit passes
/// the end, and "Unknown avcC version".
void FindAvccHeaderNalus(u8 const* data, std::size_t size, NaluRangeList& out);
/// Appends the units of extradata in either form.
void FindExtradataNalus(u8 const* data, std::size_t size, NaluRangeList& out);
/// The first unit of the type in extradata of either form that has more than its header byte. None: throws "Can't find
/// nalu of type " with the number.
NaluRange GetFirstNaluOfType(u8 const* data, std::size_t size, u32 type);
/// The units of a type, in their order; empty units have none.
NaluRangeList FilterNalusByType(NaluRangeList const& list, u32 type);

// --- Extradata -------------------------------------------------------------------------------------------------------

/// avcC to Annex B. Anything else, null too, comes back as the same object.
iptr<IBlob> H264_Extradata_Mp4toAnnexB(iptr<IBlob> extradata);
/// Annex B to avcC with 4-byte lengths; avcC comes back as the same object. Throws "No sps or pps found!" and "At least
/// 4 bytes requires from first sps to form the avcc header".
iptr<IBlob> H264_Extradata_AnnexBtoMp4(iptr<IBlob> extradata);

/// `first` with the sets of `second`, in the form of `first`. avcC keeps one SPS and one PPS of each side, so this is
/// for extradata with no more: see `HasOnlyOneSpsAndPpsOtherThanId1`.
iptr<IBlob> MergeH264Extradata(iptr<IBlob> first, iptr<IBlob> second);
/// 1, always: the number that a merge by `MergeH264Extradata` gives to the sets of the second stream. It is free as
/// long as `HasOnlyOneSpsAndPpsOtherThanId1` holds.
u32 GetFirstFreeParameterSetId(iptr<IBlob> extradata);

/// Whether the extradata holds exactly one SPS and one PPS and neither has the id 1.
bool HasOnlyOneSpsAndPpsOtherThanId1(iptr<IBlob> extradata);
/// All sets of `source` and those of `encoder` that it lacks, in the form of `source`; the tail of avcC (chroma format,
/// bit depths, SPS extensions) stays. Throws when the two sides hold different sets under one id, when `encoder` lacks
/// SPS or PPS, and when avcC can't count the sets (31 SPS, 255 PPS).
iptr<IBlob> MergeAllH264ParameterSets(iptr<IBlob> source, iptr<IBlob> encoder);
/// The lowest of the numbers 0 to 31 that is free both as SPS id and as PPS id; none when all are taken or there is no
/// extradata to tell.
std::optional<u32> FindFreeParameterSetId(iptr<IBlob> extradata);

// --- Packets ---------------------------------------------------------------------------------------------------------

/// A key packet in Annex B form without parameter sets gets `extradata` in front. All else comes back unchanged: no or
/// empty extradata, avcC extradata, no packet, no key.
iptr<IDataPacket> InsertH264Extradata(iptr<IDataPacket> packet, iptr<IBlob> extradata);
/// A key packet in Annex B form gets the parameter sets of the extradata (either form) in place of its own. Other
/// packets come back unchanged.
iptr<IDataPacket> ReplaceH264ParameterSets(iptr<IDataPacket> packet, u8 const* extradataData,
                                           std::size_t extradataSize);
/// Type of the packet's first coded slice; nal_unit_type 0 and slice_type -1 when it has none. `lengthSize` is used for
/// length-prefixed packets alone. Throws `std::logic_error` as `FindMP4Nalus`.
H264SliceInfo GetH264SliceInfo(iptr<IDataPacket> packet, bool lengthPrefixed, int lengthSize);

// --- Decoding --------------------------------------------------------------------------------------------------------

/// Decodes the first SPS of extradata in either form.
H264SPS DecodeH264SPS(u8 const* extradataData, std::size_t extradataSize);
/// Decodes the first PPS of extradata in either form.
H264PPS DecodeH264PPS(u8 const* extradataData, std::size_t extradataSize);
/// Decodes the unit as an SPS, whatever type it has.
H264SPS DecodeH264SPSUnit(NaluRange const& unit);
/// Decodes the unit as a PPS, whatever type it has.
H264PPS DecodeH264PPSUnit(NaluRange const& unit);
/// Whether the SPS of a profile has the fields from chroma_format_idc to the scaling lists.
bool HasH264ChromaFields(u8 profile);

}  // namespace Tarsel::Proc::CodecParsers
