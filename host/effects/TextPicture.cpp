#include "host/effects/TextPicture.h"

#include <ass/ass.h>

#include <algorithm>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataVideoFF.h"
#include "host/text/AssObjects.h"

namespace Tarsel::Host {

namespace {

using Proc::EffectException;

constexpr int ROOM = 8192;

/// Whether the library goes on with a box in the place of a letter.
bool IsMissingLetter(std::string const& message) {
    auto const says = [&](char const* text) { return message.find(text) != std::string::npos; };
    // The word joiner is this file's own, and may have no shape.
    return says("failed to find any fallback") && !says("glyph 0x2060") && !says("glyph 0x0 ");
}

/// The text as a line of a script that means nothing but its letters.
std::string Escaped(std::string const& text) {
    std::string line;
    for (char const letter : text) {
        if (letter == '\n')
            line += "\\N";
        else if (letter == '{' || letter == '}')
            line += std::string("\\") + letter;
        else if (letter == '\\')
            line += "\\\xE2\x81\xA0";  // a word joiner, so that no letter behind it makes it an order
        else if (static_cast<unsigned char>(letter) >= 32)
            line += letter;
    }
    return line;
}

std::string Script(std::string const& text, int size) {
    std::string const room = std::to_string(ROOM), height = std::to_string(size);
    return "[Script Info]\nScriptType: v4.00+\nWrapStyle: 2\nPlayResX: " + room + "\nPlayResY: " + room +
           "\n[V4+ Styles]\nFormat: Name, Fontname, Fontsize, PrimaryColour, SecondaryColour, OutlineColour, "
           "BackColour, Bold, Italic, Underline, StrikeOut, ScaleX, ScaleY, Spacing, Angle, BorderStyle, Outline, "
           "Shadow, Alignment, MarginL, MarginR, MarginV, Encoding\nStyle: Default,sans-serif," +
           height +
           ",&H00FFFFFF,&H00FFFFFF,&H00000000,&H00000000,0,0,0,0,100,100,0,0,1,0,0,7,0,0,0,1\n[Events]\nFormat: "
           "Layer, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text\nDialogue: "
           "0,0:00:00.00,0:00:10.00,Default,,0,0,0,,{\\an7\\pos(" +
           height + "," + height + ")}" + Escaped(text) + "\n";
}

/// Joins the letters' pictures in one. Where they overlap, what one leaves uncovered the other covers by its share.
iptr<Proc::IDataVideo> Join(ASS_Image const* letters, int color) {
    int left = ROOM, top = ROOM, right = 0, bottom = 0;
    // The library's pictures are larger than what is drawn in them.
    for (ASS_Image const* letter = letters; letter; letter = letter->next)
        for (int y = 0; y < letter->h; ++y)
            for (int x = 0; x < letter->w; ++x) {
                if (letter->bitmap[std::ptrdiff_t{y} * letter->stride + x] == 0) continue;
                left = std::min(left, letter->dst_x + x);
                top = std::min(top, letter->dst_y + y);
                right = std::max(right, letter->dst_x + x + 1);
                bottom = std::max(bottom, letter->dst_y + y + 1);
            }
    if (left >= right || top >= bottom) return nullptr;
    auto picture = Proc::DataVideoFF::Create(PIX_FMT_RGBA, {right - left, bottom - top, 1, 1}, nullptr);
    auto const plane = picture->GetPlane(0);
    for (int y = 0; y < bottom - top; ++y)
        for (int x = 0; x < right - left; ++x) {
            u8* const pixel = plane.GetOffsetPtr(static_cast<unsigned>(x), static_cast<unsigned>(y));
            pixel[0] = static_cast<u8>(color >> 16);
            pixel[1] = static_cast<u8>(color >> 8);
            pixel[2] = static_cast<u8>(color);
            pixel[3] = 0;
        }
    for (ASS_Image const* letter = letters; letter; letter = letter->next)
        for (int y = 0; y < letter->h; ++y) {
            u8 const* const cover = letter->bitmap + std::ptrdiff_t{y} * letter->stride;
            for (int x = 0; x < letter->w; ++x) {
                if (cover[x] == 0) continue;
                u8& alpha = plane.GetOffsetPtr(static_cast<unsigned>(letter->dst_x - left + x),
                                               static_cast<unsigned>(letter->dst_y - top + y))[3];
                alpha = static_cast<u8>(alpha + ((255 - alpha) * cover[x] + 127) / 255);
            }
        }
    return picture;
}

bool IsBlank(std::string const& text) {
    return std::all_of(text.begin(), text.end(), [](char letter) { return static_cast<unsigned char>(letter) <= ' '; });
}

}  // namespace

iptr<Proc::IDataVideo> MakeTextPicture(std::string const& text, int size, int color) {
    if (IsBlank(text)) return nullptr;
    std::string complaint;
    AssListener const listener = [&](int, std::string const& message) {
        if (complaint.empty() && IsMissingLetter(message)) complaint = message;
    };
    AssLibrary const library = OpenAssLibrary(listener);
    AssRenderer const renderer = library ? OpenAssRenderer(*library) : nullptr;
    if (!renderer) TARSEL_THROW(EffectException, "The engine that draws text can't be opened");
    ass_set_frame_size(renderer.get(), ROOM, ROOM);
    OpenAssFonts(*renderer, "sans-serif");
    std::string script = Script(text, size);
    AssTrack const track(ass_read_memory(library.get(), script.data(), script.size(), nullptr));
    if (!track) TARSEL_THROW(EffectException, "The text can't be read: \"" + text + "\"");
    auto picture = Join(ass_render_frame(renderer.get(), track.get(), 1000, nullptr), color);
    if (!complaint.empty() || !picture)
        TARSEL_THROW(EffectException, "There is no font for the text \"" + text + "\"" +
                                          (complaint.empty() ? "" : " (" + complaint + ")") +
                                          "; install one that has its letters");
    return picture;
}

}  // namespace Tarsel::Host
