#pragma once

#include <string>
#include <vector>

#include "contracts/Core/Property.h"
#include "host/media/MediaFile.h"

namespace Tarsel::Host {

/// The header records of a stream, field by field, as `DescribeHeaders` gives them: one child for each. They come from
/// the global header; where there is none, from the first key packet (sound: the first packet).
Core::Property ReadHeaders(MediaFile& file, StreamInfo const& info);

/// One JSON list of {"structure", "fields"}; decimal texts become numbers. A structure that can't be decoded has its
/// reason as the field "error".
std::string HeadersToJson(Core::Property const& headers);
/// For people: a line for each structure and field, indented by two blanks a level from `indent` on.
std::string HeadersToText(Core::Property const& headers, std::size_t indent);

}  // namespace Tarsel::Host
