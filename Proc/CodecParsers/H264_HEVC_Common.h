#pragma once

#include <cstddef>
#include <string>

#include "Proc/CodecParsers/NaluRange.h"
#include "contracts/Core/IBlob.h"
#include "contracts/Core/Types.h"
#include "contracts/Proc/IData.h"

// Framing of NAL units, the same for all codecs that are made of them. Annex B puts a start code in front of each unit,
// MP4 a big-endian length of 1 to 4 bytes. Stateless; any thread. All reads stay inside the data that was given.
//
// Two functions write into the packet's own payload. They take sole use of the packet; a payload that a clone shares is
// copied first.

namespace Tarsel::Proc::CodecParsers {

/// Appends the units between start codes (ITU-T H.264, Annex B). Bytes ahead of the first start code are dropped. One
/// zero ahead of a later start code belongs to that code; all other trailing zeros stay in their unit. Two codes in a
/// row, and a code at the very end, give a unit of size 0.
void FindAnnexBNalus(u8 const* data, std::size_t size, NaluRangeList& out);

/// Appends the units of length-prefixed data (ISO/IEC 14496-15). Throws `std::logic_error`: "out of range" when a
/// length or a unit passes the end, "bad naluSize" for a length of 0 or a `lengthSize` that isn't 1 to 4.
void FindMP4Nalus(u8 const* data, std::size_t size, NaluRangeList& out, int lengthSize);

/// The raw byte sequence payload of a unit: each 03 of 00 00 03 is dropped when a byte of 0 to 3 follows. A 00 00 03 at
/// the very end, or ahead of a higher byte, stays.
Bytes RemoveEmulationPrevention(u8 const* data, std::size_t size);

/// A packet with length-prefixed units in place of Annex B ones; empty units are dropped. A size that `lengthSize`
/// bytes can't hold is cut to its low bytes. Null gives null. Throws `std::logic_error` "Invalid header size" unless
/// `lengthSize` is 1 to 4.
iptr<IDataPacket> AnnexBtoMp4(iptr<IDataPacket> packet, int lengthSize);

/// A packet with Annex B units in place of length-prefixed ones; a key packet gets `extradata` in front. Packets that
/// are no key are changed in place when `lengthSize` is 3 or 4, with no allocation, and come back as the same object.
/// Throws `std::logic_error`: "Invalid header size" unless `lengthSize` is 1 to 4, else as `FindMP4Nalus`.
iptr<IDataPacket> Mp4toAnnexB(iptr<IDataPacket> packet, int lengthSize, iptr<IBlob> extradata,
                              std::string const& codecId);

/// Overwrites each length field by a start code, in place; the same packet object is returned. Fields of 1 or 2 bytes
/// get as much of 00 00 01 as fits. Throws as `FindMP4Nalus`, before anything is written.
iptr<IDataPacket> ReplaceLengthsWithStartCodes(iptr<IDataPacket> packet, int lengthSize);

/// The copying form of `Mp4toAnnexB`: always a new packet, each unit after a start code of four bytes, and for a key
/// packet the Annex B form of `extradata` first, if there is any. `extradata` is read as HEVC unless `codecId` is that
/// of H.264, for every packet: broken extradata throws for packets that are no key too.
iptr<IDataPacket> InsertAnnexBHeader(iptr<IDataPacket> packet, int lengthSize, iptr<IBlob> extradata,
                                     std::string const& codecId);

}  // namespace Tarsel::Proc::CodecParsers
