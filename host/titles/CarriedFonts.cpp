#include "host/titles/CarriedFonts.h"

#include <glog/logging.h>

#include <algorithm>

#include "contracts/Core/Types.h"

namespace Tarsel::Host {

namespace {

constexpr std::size_t LINE = 80;

/// A name that is one line.
std::string LineOf(std::string name) {
    std::replace_if(
        name.begin(), name.end(), [](char letter) { return static_cast<unsigned char>(letter) < ' '; }, '_');
    return name.empty() ? "font" : name;
}

void AppendEncoded(std::string& text, u8 const* bytes, std::size_t size) {
    std::size_t column = 0;
    auto const put = [&](unsigned bits) {
        if (column == LINE) {
            text += '\n';
            column = 0;
        }
        text += static_cast<char>('!' + (bits & 63));
        ++column;
    };
    for (std::size_t at = 0; at < size; at += 3) {
        std::size_t const count = std::min<std::size_t>(3, size - at);
        unsigned group = 0;
        for (std::size_t i = 0; i < 3; ++i) group = group << 8 | (i < count ? bytes[at + i] : 0U);
        for (std::size_t i = 0; i <= count; ++i) put(group >> (18 - 6 * i));
    }
    text += '\n';
}

}  // namespace

std::string WithFonts(std::string header, std::vector<FontFile> const& fonts, std::size_t limit) {
    if (std::all_of(header.begin(), header.end(), [](char letter) { return static_cast<u8>(letter) <= ' '; }))
        return header;
    std::string section;
    std::size_t total = 0;
    for (FontFile const& font : fonts) {
        std::size_t const size = font.bytes ? font.bytes->GetSize() : 0;
        if (size == 0) continue;
        if (size > limit - total) {
            LOG(WARNING) << "Font file " << LineOf(font.name) << " is left out: the file carries more than " << limit
                         << " bytes of fonts";
            continue;
        }
        total += size;
        section += "fontname: " + LineOf(font.name) + "\n";
        AppendEncoded(section, font.bytes->GetData(), size);
    }
    if (section.empty()) return header;
    section.insert(0, "[Fonts]\n");
    std::size_t const events = header.find("[Events]");
    if (events == std::string::npos) return header + "\n" + section;
    return header.insert(events, section + "\n");
}

}  // namespace Tarsel::Host
