// What the tests of the text engine share.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

#include "contracts/Proc/ITextEngine.h"
#include "host/text/OverlayFactory.h"

namespace Tarsel::Test {

/// A picture with where it lies.
struct Drawing {
    iptr<Proc::IDataVideo> picture;
    Proc::CropInfo crop;
};

constexpr Conf::FrameInfo SMALL{320, 240, 1, 1};

inline Drawing DrawText(Proc::ITextEngine& engine, int64 milliseconds, Conf::FrameInfo const& info = SMALL) {
    Drawing drawing;
    drawing.picture = engine.RenderImage(milliseconds * 1000, info, drawing.crop);
    return drawing;
}

/// A pixel, 0xRRGGBBAA.
inline u32 PixelAt(Proc::IDataVideo const& picture, int x, int y) {
    u8 const* const pixel = picture.GetPlaneConst(0).GetOffsetPtr(static_cast<unsigned>(x), static_cast<unsigned>(y));
    return u32{pixel[0]} << 24 | u32{pixel[1]} << 16 | u32{pixel[2]} << 8 | pixel[3];
}

inline std::vector<u32> PixelsOf(Proc::IDataVideo const& picture) {
    std::vector<u32> pixels;
    for (int y = 0; y < picture.GetHeight(); ++y)
        for (int x = 0; x < picture.GetWidth(); ++x) pixels.push_back(PixelAt(picture, x, y));
    return pixels;
}

/// Where something is mostly covered, in the frame. Edges of shapes are smoothed sideways by the library, by a
/// hundredth of a pixel or less, which makes a drawing's box a pixel wider.
inline Proc::CropInfo SolidBox(Drawing const& drawing) {
    Proc::CropInfo box;
    if (!drawing.picture) return box;
    for (int y = 0; y < drawing.picture->GetHeight(); ++y)
        for (int x = 0; x < drawing.picture->GetWidth(); ++x) {
            if ((PixelAt(*drawing.picture, x, y) & 255) < 100) continue;
            u32 const column = drawing.crop.left + static_cast<u32>(x), row = drawing.crop.top + static_cast<u32>(y);
            box = box.IsEmpty() ? Proc::CropInfo(column, column + 1, row, row + 1)
                                : Proc::CropInfo(std::min(box.left, column), std::max(box.right, column + 1),
                                                 std::min(box.top, row), std::max(box.bottom, row + 1));
        }
    return box;
}

/// A pixel by its place in the frame.
inline u32 PixelOfFrame(Drawing const& drawing, u32 x, u32 y) {
    return PixelAt(*drawing.picture, static_cast<int>(x - drawing.crop.left), static_cast<int>(y - drawing.crop.top));
}

/// Whether two drawings are the same, bytes and place.
inline bool AreSame(Drawing const& a, Drawing const& b) {
    if (!a.picture || !b.picture) return !a.picture && !b.picture;
    return a.crop == b.crop && PixelsOf(*a.picture) == PixelsOf(*b.picture);
}

/// A script in front of its events: a stage, and styles behind the name of each: "Default,DejaVu Sans,20,...".
inline std::string ScriptHeader(int width, int height, std::vector<std::string> const& styles,
                                std::string const& more = "") {
    std::string text = "[Script Info]\nScriptType: v4.00+\nScaledBorderAndShadow: yes\n" + more;
    if (width > 0) text += "PlayResX: " + std::to_string(width) + "\n";
    if (height > 0) text += "PlayResY: " + std::to_string(height) + "\n";
    text +=
        "\n[V4+ Styles]\nFormat: Name, Fontname, Fontsize, PrimaryColour, SecondaryColour, OutlineColour, "
        "BackColour, Bold, Italic, Underline, StrikeOut, ScaleX, ScaleY, Spacing, Angle, BorderStyle, Outline, "
        "Shadow, Alignment, MarginL, MarginR, MarginV, Encoding\n";
    for (std::string const& style : styles) text += "Style: " + style + "\n";
    return text + "\n[Events]\nFormat: Layer, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text\n";
}

/// White letters of DejaVu Sans without a line around them, 20 high, at the middle of the lower edge.
constexpr char PLAIN[] =
    "Default,DejaVu Sans,20,&H00FFFFFF,&H00FFFFFF,&H00000000,&H00000000,0,0,0,0,100,100,0,0,1,0,0,2,10,10,10,1";

inline std::string PlainHeader(int width = 320, int height = 240) {
    return ScriptHeader(width, height, {PLAIN});
}

inline std::string Line(std::string const& start, std::string const& end, std::string const& text,
                        std::string const& style = "Default") {
    return "Dialogue: 0," + start + "," + end + "," + style + ",,0,0,0,," + text;
}

/// A line on screen from 1 s to 3 s.
inline std::string Line(std::string const& text) {
    return Line("0:00:01.00", "0:00:03.00", text);
}

/// A rectangle as a drawing of the script, which needs no font: `orders` stand in front.
inline std::string Rectangle(int x, int y, int width, int height, std::string const& orders = "") {
    std::string const w = std::to_string(width), h = std::to_string(height);
    return "{\\an7\\pos(" + std::to_string(x) + "," + std::to_string(y) + ")\\bord0\\shad0\\p1" + orders + "}m 0 0 l " +
           w + " 0 " + w + " " + h + " 0 " + h;
}

inline iptr<Proc::ITextEngine> MakeEngine(std::string const& header, std::vector<std::string> const& lines = {},
                                          Proc::SettingsSubtitleDrawer const& settings = {}) {
    auto engine = Host::MakeOverlayFactory()->CreateTextEngine(header, settings);
    for (std::string const& line : lines) engine->AddTextLine(line);
    return engine;
}

/// What a text of the plain style looks like.
inline Drawing DrawLine(std::string const& text, Proc::SettingsSubtitleDrawer const& settings = {},
                        std::string const& header = PlainHeader(), Conf::FrameInfo const& info = SMALL) {
    return DrawText(*MakeEngine(header, {Line(text)}, settings), 2000, info);
}

inline int64 Counted(Proc::ITextEngine& engine, std::string const& name) {
    return engine.GetStatistic()[name].GetInt64();
}

}  // namespace Tarsel::Test
