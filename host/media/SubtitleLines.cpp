#include "host/media/SubtitleLines.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace Tarsel::Host {

namespace {

constexpr char DIALOGUE[] = "Dialogue:";

bool IsDialogue(std::string const& line) {
    return line.rfind(DIALOGUE, 0) == 0;
}

std::string ScriptTime(int64 time) {
    long long const hundredths = (std::max<int64>(time, 0) + 5000) / 10000;
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "%lld:%02lld:%02lld.%02lld", hundredths / 360000, hundredths / 6000 % 60,
                  hundredths / 100 % 60, hundredths % 100);
    return text.data();
}

}  // namespace

std::string MakeDialogueLine(std::string const& event, int64 begin, int64 end) {
    if (IsDialogue(event)) return event;
    std::size_t const first = event.find(',');
    std::size_t const second = first == std::string::npos ? first : event.find(',', first + 1);
    if (second == std::string::npos) return event;
    return std::string(DIALOGUE) + " " + event.substr(first + 1, second - first - 1) + "," + ScriptTime(begin) + "," +
           ScriptTime(end) + event.substr(second);
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
