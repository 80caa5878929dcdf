#pragma once

#include <cstddef>
#include <string>

#include "Proc/CodecParsers/NaluRange.h"
#include "contracts/Core/IBlob.h"
#include "contracts/Core/Types.h"

// How the parsers put new extradata together: bytes are collected in a string and copied into a blob at the end.

namespace Tarsel::Proc::CodecParsers {

/// A blob with a copy of the bytes. Throws `Tarsel::Exception` "Can't create BlobFF".
iptr<IBlob> MakeExtradata(std::string const& bytes);

/// `data` may be null when `size` is 0.
void Append(std::string& out, u8 const* data, std::size_t size);
/// Appends the lowest byte of `value`.
void AppendByte(std::string& out, std::size_t value);
void AppendAfterStartCode(std::string& out, NaluRange const& unit);

}  // namespace Tarsel::Proc::CodecParsers
