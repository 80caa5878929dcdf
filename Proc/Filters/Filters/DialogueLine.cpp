#include "Proc/Filters/Filters/DialogueLine.h"

#include <algorithm>
#include <string_view>

#include "contracts/Core/Time.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace Tarsel::Proc {

namespace {

constexpr std::string_view WHITE_SPACE = " \f\n\r\t\v";

std::string TwoDigits(int64 value) {
    return (value < 10 ? "0" : "") + std::to_string(value);
}

/// H:MM:SS.CC.
std::string TimeText(int64 milliseconds) {
    int64 const ms = std::max<int64>(milliseconds, 0);
    int64 const seconds = ms / 1000;
    // As meant: rounding up from 99 gives 100, which isn't carried. The engine knows such times.
    int64 const hundredths = (ms % 1000) / 10 + (ms % 10 > 5 ? 1 : 0);
    return std::to_string(seconds / 3600) + ":" + TwoDigits(seconds / 60 % 60) + ":" + TwoDigits(seconds % 60) + "." +
           TwoDigits(hundredths);
}

/// Whether `text` begins with `tag`, which is in lower case, in any case.
bool BeginsWith(std::string_view text, std::string_view tag) {
    auto const same = [](char a, char b) { return (a >= 'A' && a <= 'Z' ? a - 'A' + 'a' : a) == b; };
    return text.size() >= tag.size() && std::equal(tag.begin(), tag.end(), text.begin(),
                                                   [&](char wanted, char found) { return same(found, wanted); });
}

void AppendText(std::string& line, std::string_view text) {
    bool lastSpace = true;
    for (; !text.empty(); text.remove_prefix(1)) {
        char const letter = text.front();
        if (BeginsWith(text, "<br/>") || BeginsWith(text, "<br>")) {
            // As meant: the rest of the tag stays in the line as ordinary letters.
            line += "\\N";
            continue;
        }
        bool const space = WHITE_SPACE.find(letter) != std::string_view::npos;
        if (!space || !lastSpace) line += letter;
        lastSpace = space;
    }
}

}  // namespace

std::string MakeDialogueLine(AVSubtitle const& event, AVSubtitleRect const& rectangle, int64 time) {
    if (!rectangle.text) return {};
    int64 origin = HasValue(event.pts) ? event.pts : time;
    if (!HasValue(origin)) origin = 0;
    int64 const ms = origin / 1000;
    std::string line = "Dialogue: 0," + TimeText(ms + event.start_display_time) + "," +
                       TimeText(ms + event.end_display_time) + ",Default,";
    AppendText(line, rectangle.text);
    return line;
}

}  // namespace Tarsel::Proc
