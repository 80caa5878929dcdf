#pragma once

#include <cstddef>

#include "contracts/Core/BitIO.h"
#include "contracts/Core/IBlob.h"
#include "contracts/Core/Types.h"
#include "contracts/Proc/IData.h"

// The two ways in which an AAC stream describes itself: the AudioSpecificConfig (ASC, ISO/IEC 14496-3), a stream's
// extradata, and the ADTS header (ISO/IEC 13818-7) in front of each frame. The extradata of an ADTS-framed stream is
// one ADTS header with its program config element (PCE), if it has one. Stateless; any thread. Whatever the bytes are,
// a call returns or throws `Tarsel::Exception`, a read past the end too.

namespace Tarsel::Proc::CodecParsers {

struct AudioSpecificConfig {
    u32 sampleRate = 0;           // Hz
    u8 audioObjectType = 0;       // as stored; 2 is AAC LC
    u8 samplingIndex = 0;         // 0 to 15
    u8 channelConfiguration = 0;  // 0 to 7; 0: the PCE tells the layout
    iptr<IBlob> pce;              // null when there is none
};

struct ADTSHeader {
    u32 sampleRate = 0;           // Hz
    u8 audioObjectType = 0;       // the 2-bit profile + 1
    u8 samplingIndex = 0;         // 0 to 14
    u8 protectionAbsent = 0;      // 1: no CRC
    u8 channelConfiguration = 0;  // 0 to 7; 0: the PCE tells the layout
    iptr<IBlob> pce;              // null when there is none
};

// --- Sample rates ----------------------------------------------------------------------------------------------------

/// Hz; 0 for the indices without a rate, 13 to 15. From 16 on throws "Invalid sample rate index".
u32 SamplingIndexToSampleRate(u8 index);
/// The first index of the rate, 13 for a rate of 0. None: throws "Invalid sample rate value".
u32 SampleRateToSamplingIndex(u32 rate);

// --- Detection -------------------------------------------------------------------------------------------------------

/// Whether the data begins with the sync word of ADTS.
bool IsADTSHeader(u8 const* data, std::size_t size);
/// Whether the data begins with the element id of a PCE.
bool IsPCE(u8 const* data, std::size_t size);
/// Bytes of the ADTS header in front of a frame: 7, 9 with a CRC, and those of a PCE that follows; 0 without a sync
/// word. May be more than `size` when that is below 9.
u32 GetADTSHeaderSize(u8 const* data, std::size_t size);

// --- Records ---------------------------------------------------------------------------------------------------------

/// Throws "Invalid channel configuration" from 8 on, and as `ExtractPCEFromASCExtradata` when the layout is in a PCE.
AudioSpecificConfig DataToAudioSpecificConfig(u8 const* data, std::size_t size);
/// Writes no escape form: object types up to 30 and rates with an index only. Throws "PCE data not found".
iptr<IBlob> AudioSpecificConfigToData(AudioSpecificConfig const& config);
/// Throws "Invalid data - no sync word found", "Invalid frequency index", "Frame length is smaller than ADTS header
/// size!" and "Multiple RDBs per frame with CRC".
ADTSHeader DataToADTSHeader(u8 const* data, std::size_t size);
/// A header with frame length 0 and no CRC, for `SetADTSFrameLength`. Throws "PCE data not found".
iptr<IBlob> ADTSHeaderToData(ADTSHeader const& header);

/// Throws "Given MPEG-4 AOT is not allowed in ADTS" above object type 3, "Illegal sample rate index for ADTS" for 15,
/// "PCE data not found".
ADTSHeader ASCtoADTS(AudioSpecificConfig const& config);
/// Throws "PCE data not found" and, from 16 on, "Illegal sample rate index for ASC".
AudioSpecificConfig ADTStoASC(ADTSHeader const& header);

// --- Extradata -------------------------------------------------------------------------------------------------------

/// An ADTS header to an ASC; null for anything else, null too.
iptr<IBlob> ADTSExtradataToASC(iptr<IBlob> extradata);
/// An ASC to an ADTS header.
iptr<IBlob> ASCExtradataToADTS(iptr<IBlob> extradata);
/// A copy of the ADTS header, PCE included, in front of a packet's payload; null without a sync word. Throws "The
/// packet is smaller than its ADTS header".
iptr<IBlob> ExtractADTSHeader(AVPacket const& packet);
/// The PCE of an ASC, `bitPosition` being where its fixed part ends. Throws "Invalid PCE data" when the data goes on
/// behind the fixed part.
iptr<IBlob> ExtractPCEFromASCExtradata(u8 const* data, std::size_t size, u64 bitPosition);
/// A PCE behind its element id, packed anew: its comment begins on a byte boundary of the result, wherever it began.
iptr<IBlob> ReadPCE(Core::DataBitInput& in);

// --- Packets ---------------------------------------------------------------------------------------------------------

/// A copy of an ADTS header with the frame length, which counts the header in. Throws "Given ADTS header is not valid.
/// Frame length cannot be set." and, from 0x2000 on, "Packet data is too large for ADTS format!".
iptr<IBlob> SetADTSFrameLength(iptr<IBlob> header, u16 length);
/// A new packet without the ADTS header of `packet`; with the whole payload when it has none. Null for null. Throws
/// "The packet is smaller than header to remove".
iptr<IDataPacket> RemoveADTSHeader(iptr<IDataPacket> packet);
/// A new packet with an ADTS header in front: the first 7 bytes of `header`, or all of it. Null for null. Throws as
/// `SetADTSFrameLength`; a length of 0x10000 and more wraps around before it is looked at.
iptr<IDataPacket> InsertADTSHeader(iptr<IDataPacket> packet, iptr<IBlob> header, bool wholeHeader);

}  // namespace Tarsel::Proc::CodecParsers
