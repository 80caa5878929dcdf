#pragma once

#include <charconv>
#include <string>
#include <system_error>

#include "contracts/Core/Time.h"
#include "host/graph/ShortForms.h"

namespace Tarsel::Tool {

/// Ends the reading of the arguments: the program prints `what` and answers that it was used wrongly.
[[noreturn]] void RefuseUsage(std::string const& what);

/// A number and nothing else in the text; false leaves `value` open. Numbers too large for `value` are none.
template <class Number>
bool ReadNumber(std::string const& text, Number& value) {
    char const* const end = text.data() + text.size();
    auto const result = std::from_chars(text.data(), end, value);
    return result.ec == std::errc() && result.ptr == end;
}

/// For `CLI::Validator`: an option given without a value (a script's variable that isn't set) is not one left out.
std::string CheckGiven(std::string const& value);

/// Whether two names lead to one file, which needn't be there yet.
bool AreOneTarget(std::string const& first, std::string const& second);

/// A frame rate from its text. Throws as `RefuseUsage` for one that isn't N or N/D or makes no sense.
Ratio ReadRate(std::string const& text);

/// Refuses codecs and a quality that the output can't be encoded with. They don't depend on the media, so a mistake
/// shows before any is opened.
void CheckEncoding(Host::ShortFormOptions const& form);

}  // namespace Tarsel::Tool
