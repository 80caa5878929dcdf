#pragma once

#include <cstddef>
#include <string>

#include "contracts/Core/Export.h"
#include "contracts/Core/Property.h"
#include "contracts/Core/Types.h"

namespace Tarsel::Proc::CodecParsers {

/// The header records of a stream, field by field, for reports.
///
/// `data` is the stream's global header, or a packet that carries its headers in band (Annex B, ADTS, MPEG start
/// codes). The result is named "headers"; each child without a key is one structure in the order of the data, named as
/// its standard names it ("avcC", "hvcC", "SPS", "PPS", "VPS", "AudioSpecificConfig", "ADTS", "PCE", "VOL",
/// "sequence_header"...). A structure's keyed children are its fields under the standard's names, numbers as decimal
/// texts; an array is a child with one child without a key per entry; a structure inside is a child with children. What
/// can't be decoded has the child "error" with the reason, and no fields. Codecs without a parser here, and empty data,
/// give no structures. At most 256 structures are told, and 256 entries of an array; a child "left_out" of the result
/// or of the array then tells how many are missing. Never throws for what the bytes hold.
TARSEL_FILTERS_EXPORT Core::Property DescribeHeaders(std::string const& codecId, u8 const* data, std::size_t size);

}  // namespace Tarsel::Proc::CodecParsers
