#include "host/text/AssLine.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <vector>

namespace Tarsel::Host {

namespace {

constexpr std::string_view PREFIX = "Dialogue:";
constexpr std::size_t SHORT_FIELDS = 5;
constexpr std::size_t LONG_FIELDS = 10;
/// Far more than a script shows, and nothing that overflows.
constexpr int64 MAX_HOURS = 1000000;
constexpr std::size_t EXACT_DIGITS = 6;

std::string_view Trimmed(std::string_view text) {
    auto const isBlank = [](char letter) { return letter == ' ' || letter == '\t'; };
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    return text;
}

/// `count` fields; the last one has all that is left. Fewer where there are no more.
std::vector<std::string_view> Split(std::string_view text, std::size_t count) {
    std::vector<std::string_view> fields;
    while (fields.size() + 1 < count) {
        std::size_t const comma = text.find(',');
        if (comma == std::string_view::npos) break;
        fields.push_back(text.substr(0, comma));
        text.remove_prefix(comma + 1);
    }
    fields.push_back(text);
    return fields;
}

bool ReadNumber(std::string_view text, int& value) {
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size();
}

bool ReadMargin(std::string_view text, int& value) {
    value = 0;
    return text.empty() || ReadNumber(text, value);
}

/// Up to `digits` decimal digits in front of `separator`, or at the end where that is 0.
bool ReadPart(std::string_view& text, std::size_t digits, char separator, int64& value) {
    std::size_t const length = separator ? text.find(separator) : text.size();
    if (length == std::string_view::npos || length == 0 || length > digits) return false;
    value = 0;
    for (char const digit : text.substr(0, length)) {
        if (digit < '0' || digit > '9') return false;
        value = value * 10 + (digit - '0');
    }
    text.remove_prefix(std::min(length + 1, text.size()));
    return true;
}

/// H:MM:SS.CC. The hundredths are a number, not digits behind a point: ".5" are 5 of them, and ".100" a second. Six
/// digits are microseconds.
bool ReadTime(std::string_view text, int64& microseconds) {
    int64 hours = 0, minutes = 0, seconds = 0, fraction = 0;
    if (!ReadPart(text, 7, ':', hours) || !ReadPart(text, 2, ':', minutes) || !ReadPart(text, 2, '.', seconds) ||
        hours > MAX_HOURS)
        return false;
    bool const isExact = text.size() == EXACT_DIGITS;
    if (!ReadPart(text, isExact ? EXACT_DIGITS : 3, 0, fraction)) return false;
    microseconds = ((hours * 60 + minutes) * 60 + seconds) * 1000000 + (isExact ? fraction : fraction * 10000);
    return true;
}

/// What is wrong with the times, an empty text where nothing is. What the engine's milliseconds make none lasts one of
/// them.
std::string ReadTimes(std::string_view begin, std::string_view end, AssLine& event) {
    int64 start = 0, stop = 0;
    if (!ReadTime(begin, start)) return "its start is no time";
    if (!ReadTime(end, stop)) return "its end is no time";
    if (stop <= start) return "it doesn't end behind its start";
    event.start = start / 1000;
    event.end = std::max(stop / 1000, event.start + 1);
    return "";
}

/// Length of the UTF-8 sequence that the text begins with, 0 where it is none.
std::size_t SequenceLength(std::string_view text) {
    auto const byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    unsigned char const first = byte(0);
    if (first < 0x80) return 1;
    std::size_t const length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < length) return 0;
    for (std::size_t i = 1; i < length; ++i)
        if ((byte(i) & 0xC0) != 0x80) return 0;
    // Longer than needed, a half of a pair, or beyond the last letter.
    bool const isBad = (first == 0xE0 && byte(1) < 0xA0) || (first == 0xED && byte(1) > 0x9F) ||
                       (first == 0xF0 && byte(1) < 0x90) || (first == 0xF4 && byte(1) > 0x8F);
    return isBad ? 0 : length;
}

bool IsUtf8(std::string_view text) {
    while (!text.empty()) {
        std::size_t const length = SequenceLength(text);
        if (length == 0) return false;
        text.remove_prefix(length);
    }
    return true;
}

bool IsBreak(char letter) {
    return letter == '\r' || letter == '\n' || letter == '\v' || letter == '\f';
}

/// The text without the line ends behind it, those inside as orders of the script.
std::string WithBreaks(std::string_view text) {
    while (!text.empty() && IsBreak(text.back())) text.remove_suffix(1);
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (!IsBreak(text[i])) {
            result += text[i];
            continue;
        }
        if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
        result += "\\N";
    }
    return result;
}

/// Whether ten fields are those of the long form. Blanks beside the numbers are those of a list in a text.
bool ReadLongForm(std::vector<std::string_view> const& fields, AssLine& event) {
    if (fields.size() < LONG_FIELDS || !ReadMargin(fields[5], event.marginLeft) ||
        !ReadMargin(fields[6], event.marginRight) || !ReadMargin(fields[7], event.marginVertical))
        return false;
    event.name = Trimmed(fields[4]);
    event.effect = Trimmed(fields[8]);
    event.text = WithBreaks(fields[9]);
    return true;
}

}  // namespace

std::string ParseAssLine(std::string_view line, AssLine& event) {
    event = {};
    if (line.substr(0, PREFIX.size()) != PREFIX) return "it doesn't begin with \"Dialogue:\"";
    if (line.find('\0') != std::string_view::npos) return "there is a byte 0 in it";
    if (!IsUtf8(line)) return "it isn't UTF-8";
    std::string_view const body = line.substr(PREFIX.size());
    auto const fields = Split(body, SHORT_FIELDS);
    if (fields.size() < SHORT_FIELDS)
        return "there are " + std::to_string(fields.size()) + " fields in it, not 5 or 10";
    // Old scripts say "Marked=0" in the place of a layer.
    if (!ReadNumber(Trimmed(fields[0]), event.layer)) event.layer = 0;
    if (std::string wrong = ReadTimes(Trimmed(fields[1]), Trimmed(fields[2]), event); !wrong.empty()) return wrong;
    event.style = Trimmed(fields[3]);
    if (ReadLongForm(Split(body, LONG_FIELDS), event)) return "";
    event.marginLeft = event.marginRight = event.marginVertical = 0;
    event.text = WithBreaks(fields[4]);
    return "";
}

}  // namespace Tarsel::Host
