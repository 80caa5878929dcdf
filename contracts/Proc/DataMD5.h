#pragma once

#include <string>

#include "contracts/Core/Export.h"
#include "contracts/Proc/IData.h"

namespace Tarsel::Proc {

// Digests of what an item shows, as 32 lower-case hexadecimal digits (MD5, RFC 1321). Addresses, alignment and the
// padding of rows and planes don't take part. A null item throws `std::invalid_argument` that names it ("frame is
// NULL").

/// The visible bytes of each row of each plane, planes in order, then the palette where there is one: the same bytes as
/// FFmpeg's raw video. Times, crop and aspect don't take part. A frame outside processor memory is downloaded; one that
/// doesn't offer that throws `ProcException`.
TARSEL_CONTRACTS_EXPORT std::string CalculateVideoDataMD5(iptr<IDataVideo> const& frame);
/// The samples of each plane, planes in order. Times don't take part.
TARSEL_CONTRACTS_EXPORT std::string CalculateAudioDataMD5(iptr<IDataAudio> const& block);
/// The payload bytes; an empty text for a packet without any. Times and flags don't take part.
TARSEL_CONTRACTS_EXPORT std::string CalculatePacketDataMD5(iptr<IDataPacket> const& packet);
/// Time and duration, and of each rectangle its type, place, size, flags, bitmap and palette, text and ASS line. The
/// event's display times as FFmpeg has them don't take part: they aren't kept up to date.
TARSEL_CONTRACTS_EXPORT std::string CalculateSubtitleDataMD5(iptr<IDataSubtitle> const& subtitle);

}  // namespace Tarsel::Proc
