#include "host/subtitles/WebVttText.h"

#include <algorithm>
#include <cstddef>

namespace Tarsel::Host {

namespace {

constexpr std::string_view ARROW = "-->";
constexpr std::size_t MAX_NOTES = 10;
/// Of a number in a time; what has more is none.
constexpr std::size_t MAX_DIGITS = 9;

/// Takes the next line, without its end, which is that of any system.
std::string_view TakeLine(std::string_view& text) {
    std::size_t const length = std::min(text.find_first_of("\r\n"), text.size());
    std::string_view const line = text.substr(0, length);
    text.remove_prefix(length);
    text.remove_prefix(text.substr(0, 2) == "\r\n" ? 2 : std::min<std::size_t>(1, text.size()));
    return line;
}

void SkipBlanks(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
}

bool TakeNumber(std::string_view& text) {
    std::size_t const length = std::min(text.find_first_not_of("0123456789"), text.size());
    text.remove_prefix(length);
    return length > 0 && length <= MAX_DIGITS;
}

/// "MM:SS.mmm", or with hours in front.
bool TakeTime(std::string_view& text) {
    SkipBlanks(text);
    for (int colons = 0; TakeNumber(text) && !text.empty(); ++colons) {
        char const sign = text.front();
        text.remove_prefix(1);
        if (sign == '.' && (colons == 1 || colons == 2)) return TakeNumber(text);
        if (sign != ':') break;
    }
    return false;
}

bool HasArrow(std::string_view line) {
    return line.find(ARROW) != std::string_view::npos;
}

bool IsTiming(std::string_view line) {
    if (!TakeTime(line)) return false;
    std::size_t const arrow = line.find(ARROW);
    if (arrow == std::string_view::npos) return false;
    line.remove_prefix(arrow + ARROW.size());
    return TakeTime(line);
}

/// Whether a block that begins with this line holds no cue and isn't meant to.
bool IsNoCue(std::string_view line) {
    for (std::string_view const name : {"STYLE", "REGION", "NOTE"})
        if (line.substr(0, name.size()) == name &&
            (line.size() == name.size() || line[name.size()] == ' ' || line[name.size()] == '\t'))
            return true;
    return false;
}

/// Lines one behind the other, of which the first two matter.
struct Block {
    std::size_t count = 0;
    std::string_view lines[2];
    std::string_view from[2];  // what begins with the line, to the block's end
    std::size_t place = 1;     // number of the first line
};

/// The block at the beginning of the text or behind empty lines; one without lines at the end.
Block TakeBlock(std::string_view& text, std::size_t& place) {
    Block block;
    char const* end = text.data();
    while (!text.empty()) {
        std::string_view const line = TakeLine(text);
        std::size_t const number = place++;
        if (line.empty() && block.count > 0) break;
        if (line.empty()) continue;
        if (block.count == 0) block.place = number;
        if (block.count < 2) block.lines[block.count] = line;
        ++block.count;
        end = line.data() + line.size();
    }
    for (std::size_t i = 0; i < 2 && i < block.count; ++i)
        block.from[i] = {block.lines[i].data(), static_cast<std::size_t>(end - block.lines[i].data())};
    return block;
}

}  // namespace

std::string KeepCues(std::string_view text, std::vector<std::string>& notes) {
    std::string result;
    result.reserve(text.size());
    std::size_t place = 1;
    std::size_t broken = 0;
    result.append(TakeBlock(text, place).from[0]) += "\n\n";
    for (Block block = TakeBlock(text, place); block.count > 0; block = TakeBlock(text, place)) {
        if (IsNoCue(block.lines[0])) continue;
        // A cue may have a name in front of its times.
        std::size_t const timing = !HasArrow(block.lines[0]) && block.count > 1 ? 1 : 0;
        if (IsTiming(block.lines[timing]))
            result.append(block.from[timing]) += "\n\n";
        else if (++broken <= MAX_NOTES)
            notes.push_back("line " + std::to_string(block.place + timing) +
                            " is no time of a cue: what stands there up to an empty line is left out");
    }
    if (broken > MAX_NOTES) notes.push_back(std::to_string(broken - MAX_NOTES) + " more such blocks are left out");
    return result;
}

}  // namespace Tarsel::Host
