#include "host/media/SubtitleLines.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "contracts/Core/Time.h"

namespace Tarsel::Host {

namespace {

constexpr char DIALOGUE[] = "Dialogue:";

bool IsDialogue(std::string const& line) {
    return line.rfind(DIALOGUE, 0) == 0;
}

/// `fraction` parts of a second, told in `digits` digits.
std::string ScriptTime(long long parts, long long fraction, int digits) {
    long long const seconds = parts / fraction;
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%lld:%02lld:%02lld.%0*lld", seconds / 3600, seconds / 60 % 60,
                  seconds % 60, digits, parts % fraction);
    return text.data();
}

std::string InHundredths(int64 time) {
    return ScriptTime(AddTime(std::max<int64>(time, 0), 5000) / 10000, 100, 2);
}

std::string InMicroseconds(int64 time) {
    return ScriptTime(std::max<int64>(time, 0), 1000000, 6);
}

/// ",Style,Name,MarginL,MarginR,MarginV,Effect,Text" without the blanks that scripts may have around the margins: by
/// them the engine tells a list of numbers in a text.
std::string WithBareMargins(std::string const& fields) {
    std::array<std::size_t, 6> commas{};
    for (std::size_t i = 1; i < commas.size(); ++i) {
        commas[i] = fields.find(',', commas[i - 1] + 1);
        if (commas[i] == std::string::npos) return fields;
    }
    std::string result = fields.substr(0, commas[2]);
    for (std::size_t i = 2; i + 1 < commas.size(); ++i) {
        result += ',';
        for (char const letter : fields.substr(commas[i] + 1, commas[i + 1] - commas[i] - 1))
            if (letter != ' ' && letter != '\t') result += letter;
    }
    return result + fields.substr(commas.back());
}

std::string MakeLine(std::string const& event, std::string const& begin, std::string const& end) {
    if (IsDialogue(event)) return event;
    std::size_t const first = event.find(',');
    std::size_t const second = first == std::string::npos ? first : event.find(',', first + 1);
    if (second == std::string::npos) return event;
    return std::string(DIALOGUE) + " " + event.substr(first + 1, second - first - 1) + "," + begin + "," + end +
           WithBareMargins(event.substr(second));
}

}  // namespace

std::string MakeDialogueLine(std::string const& event, int64 begin, int64 end) {
    return MakeLine(event, InHundredths(begin), InHundredths(end));
}

std::string MakeExactDialogueLine(std::string const& event, int64 begin, int64 end) {
    return MakeLine(event, InMicroseconds(begin), InMicroseconds(end));
}

std::string MakeEventText(std::string const& line, int readOrder) {
    if (!IsDialogue(line)) return line;
    std::size_t const layer = line.find_first_not_of(' ', sizeof DIALOGUE - 1);
    if (layer == std::string::npos) return line;
    std::size_t const layerEnd = line.find(',', layer);
    std::size_t rest = layerEnd;
    for (int i = 0; i < 2 && rest != std::string::npos; ++i) rest = line.find(',', rest + 1);
    if (rest == std::string::npos) return line;
    return std::to_string(readOrder) + "," + line.substr(layer, layerEnd - layer) + line.substr(rest);
}

}  // namespace Tarsel::Host
