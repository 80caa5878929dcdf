#pragma once

#include <string>

#include "contracts/Core/Export.h"
#include "contracts/Proc/IData.h"

namespace Tarsel::Proc {

// Digests of an item's payload as 32 lower-case hexadecimal digits (MD5, RFC 1321). Addresses, alignment and the
// padding of rows and planes don't take part.

/// The visible bytes of each row of each plane, planes in order. A frame in GPU memory throws `ProcException`.
TARSEL_CONTRACTS_EXPORT std::string CalculateVideoDataMD5(IDataVideo const& frame);
/// The samples of each plane, planes in order.
TARSEL_CONTRACTS_EXPORT std::string CalculateAudioDataMD5(IDataAudio& block);
/// The payload bytes.
TARSEL_CONTRACTS_EXPORT std::string CalculatePacketDataMD5(IDataPacket const& packet);
/// Time and duration, and of each rectangle its type, place, size, bitmap and palette, text and ASS line.
TARSEL_CONTRACTS_EXPORT std::string CalculateSubtitleDataMD5(IDataSubtitle& subtitle);

}  // namespace Tarsel::Proc
