#include "host/cut/RangeText.h"

#include <array>
#include <cstdio>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "contracts/Core/Exception.h"

namespace Tarsel::Host {

namespace {

constexpr int64 MAX_TIME = MAX_DURATION;

bool AllDigits(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

/// A run of digits, no value when it isn't one or is above `limit`.
std::optional<int64> ParseDigits(std::string_view text, int64 limit) {
    if (!AllDigits(text)) return std::nullopt;
    int64 value = 0;
    for (char const digit : text) {
        value = value * 10 + (digit - '0');
        if (value > limit) return std::nullopt;
    }
    return value;
}

/// A decimal number times `unit`, rounded to the nearest. `unit` is a power of ten up to a million.
std::optional<int64> ParseDecimal(std::string_view text, int64 unit) {
    auto const point = text.find('.');
    auto const whole = ParseDigits(text.substr(0, point), MAX_TIME / unit);
    if (!whole) return std::nullopt;
    int64 value = *whole * unit;
    if (point == std::string_view::npos) return value;
    std::string_view const fraction = text.substr(point + 1);
    if (!AllDigits(fraction)) return std::nullopt;
    int64 place = unit;
    for (char const digit : fraction) {
        if (place == 1) {
            // The first digit beyond the unit decides the rounding.
            value += digit >= '5' ? 1 : 0;
            break;
        }
        place /= 10;
        value += (digit - '0') * place;
    }
    return value;
}

bool TakeSuffix(std::string_view& text, std::string_view suffix) {
    if (!text.ends_with(suffix)) return false;
    text.remove_suffix(suffix.size());
    return true;
}

std::optional<int64> ParseClock(std::string_view text) {
    std::vector<std::string_view> parts;
    for (;;) {
        auto const colon = text.find(':');
        parts.push_back(text.substr(0, colon));
        if (colon == std::string_view::npos) break;
        text.remove_prefix(colon + 1);
    }
    if (parts.size() > 3) return std::nullopt;
    auto const seconds = ParseDecimal(parts.back(), SECOND);
    if (!seconds || (parts.size() > 1 && *seconds >= 60 * SECOND)) return std::nullopt;
    int64 total = *seconds;
    int64 scale = 60 * SECOND;
    for (std::size_t i = parts.size() - 1; i-- > 0; scale *= 60) {
        auto const part = ParseDigits(parts[i], MAX_TIME / scale);
        bool const leading = i == 0;
        if (!part || (!leading && *part >= 60)) return std::nullopt;
        total += *part * scale;
    }
    return total;
}

std::optional<int64> ParseSide(std::string const& range, std::string const& side, char const* name) {
    auto const time = ParseTime(side);
    if (!time) TARSEL_THROW(std::invalid_argument, "\"" + range + "\": \"" + side + "\" is not a time (" + name + ")");
    return time;
}

}  // namespace

std::optional<int64> ParseTime(std::string const& text) {
    std::string_view rest = text;
    std::optional<int64> time;
    if (TakeSuffix(rest, "us"))
        time = ParseDecimal(rest, 1);
    else if (TakeSuffix(rest, "ms"))
        time = ParseDecimal(rest, 1000);
    else if (TakeSuffix(rest, "s"))
        time = ParseDecimal(rest, SECOND);
    else
        time = ParseClock(rest);
    if (time && *time > MAX_TIME) return std::nullopt;
    return time;
}

TimeRange ParseRange(std::string const& text) {
    auto const dash = text.find('-');
    if (dash == std::string::npos) TARSEL_THROW(std::invalid_argument, "\"" + text + "\" is not a range A-B");
    std::string const left = text.substr(0, dash);
    std::string const right = text.substr(dash + 1);
    TimeRange range;
    range.text = text;
    if (!left.empty() && left != "start") range.begin = ParseSide(text, left, "start of the range");
    if (!right.empty() && right != "end") range.end = ParseSide(text, right, "end of the range");
    if (range.end && *range.end <= range.begin.value_or(0))
        TARSEL_THROW(std::invalid_argument, "\"" + text + "\": the end of the range is not after its start");
    return range;
}

std::string ShortTime(int64 time) {
    if (!HasValue(time)) return "?";
    int64 const milliseconds = ((time < 0 ? -time : time) + 500) / 1000;
    std::array<char, 64> text{};
    auto const sign = time < 0 ? "-" : "";
    auto const hours = static_cast<long long>(milliseconds / 3600000);
    auto const minutes = static_cast<long long>(milliseconds / 60000 % 60);
    auto const seconds = static_cast<long long>(milliseconds / 1000 % 60);
    auto const rest = static_cast<long long>(milliseconds % 1000);
    if (hours > 0)
        std::snprintf(text.data(), text.size(), "%s%lld:%02lld:%02lld.%03lld", sign, hours, minutes, seconds, rest);
    else
        std::snprintf(text.data(), text.size(), "%s%02lld:%02lld.%03lld", sign, minutes, seconds, rest);
    return text.data();
}

}  // namespace Tarsel::Host
