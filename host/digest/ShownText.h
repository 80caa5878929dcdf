#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

namespace Tarsel::Host {

/// The beginning of a text out of a file, which may be anything, with marks in place of control characters.
inline std::string ShownText(std::string_view text, std::size_t limit = 64) {
    std::size_t length = std::min(text.size(), limit);
    // Not in the middle of a character.
    while (length < text.size() && length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) --length;
    std::string shown(text.substr(0, length));
    for (char& c : shown)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = '?';
    return length < text.size() ? shown + "..." : shown;
}

}  // namespace Tarsel::Host
