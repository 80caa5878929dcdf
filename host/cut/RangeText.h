#pragma once

#include <optional>
#include <string>

#include "contracts/Core/Export.h"
#include "contracts/Core/Time.h"

namespace Tarsel::Host {

/// A stretch of time as a person wrote it, microseconds, half open. A side without a value is the start or the end of
/// the file.
struct TimeRange {
    std::optional<int64> begin;
    std::optional<int64> end;
    /// As it was written, for messages.
    std::string text;
};

/// "[[HH:]MM:]SS[.fraction]", or a number with "s", "ms" or "us", in microseconds. Fractions are rounded to the nearest
/// microsecond. Minutes and seconds behind a colon are below 60. No sign, no spaces. No value when `text` is no time,
/// or one above thirty days.
TARSEL_HOST_EXPORT std::optional<int64> ParseTime(std::string const& text);

/// "A-B": each side a time, empty, "start" (left) or "end" (right). Throws `std::invalid_argument` that quotes the text
/// and says what is wrong: no "-", a side that is not a time, an end that is not after its start.
TARSEL_HOST_EXPORT TimeRange ParseRange(std::string const& text);

/// Microseconds as "[HH:]MM:SS.mmm", rounded to milliseconds, for people.
TARSEL_HOST_EXPORT std::string ShortTime(int64 time);

}  // namespace Tarsel::Host
