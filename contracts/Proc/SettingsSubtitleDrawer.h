#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// How subtitles are drawn. What isn't told is as the subtitles themselves say; bitmaps follow the alpha alone.
class TARSEL_CONTRACTS_EXPORT SettingsSubtitleDrawer : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsSubtitleDrawer";

    /// Stands for what the subtitles' own style says.
    static constexpr int AS_STYLED = -1;

    SettingsSubtitleDrawer() = default;
    std::string const& GetClassId() const override;

    /// Name of a font family that takes the place of every style's own; empty: as styled.
    std::string const& GetFontName() const { return fontName; }
    void SetFontName(std::string const& value) { fontName = value; }
    /// A folder with font files that are known beside the installed ones; empty: none.
    std::string const& GetFontsDir() const { return fontsDir; }
    void SetFontsDir(std::string const& value) { fontsDir = value; }
    /// Height of a line in pixels of the frame, 1 to 4096.
    int GetFontSize() const { return fontSize; }
    void SetFontSize(int value) { fontSize = value; }
    /// 0xRRGGBB, of the letters and of the line around them.
    int GetColor() const { return color; }
    void SetColor(int value) { color = value; }
    int GetOutlineColor() const { return outlineColor; }
    void SetOutlineColor(int value) { outlineColor = value; }
    /// Width of the line around the letters in pixels of the frame, 0 to 100.
    int GetOutline() const { return outline; }
    void SetOutline(int value) { outline = value; }
    /// Distance of the shadow in pixels of the frame, 0 to 100.
    int GetShadow() const { return shadow; }
    void SetShadow(int value) { shadow = value; }
    /// 1 bold, 0 not.
    int GetBold() const { return bold; }
    void SetBold(int value) { bold = value; }
    /// Where lines stand, as the keys of a numeric keypad: 2 is the middle of the lower edge, 8 that of the upper one.
    int GetAlignment() const { return alignment; }
    void SetAlignment(int value) { alignment = value; }
    /// Distance from the lower or upper edge in pixels of the frame, 0 to 8192.
    int GetMarginV() const { return marginV; }
    void SetMarginV(int value) { marginV = value; }
    /// Of everything that is drawn: 0 (not there) to 255 (as it is).
    int GetAlpha() const { return alpha; }
    void SetAlpha(int value) { alpha = value; }

    bool operator==(SettingsSubtitleDrawer const& other) const;

  private:
    std::string fontName;
    std::string fontsDir;
    int fontSize = AS_STYLED;
    int color = AS_STYLED;
    int outlineColor = AS_STYLED;
    int outline = AS_STYLED;
    int shadow = AS_STYLED;
    int bold = AS_STYLED;
    int alignment = AS_STYLED;
    int marginV = AS_STYLED;
    int alpha = 255;
};

/// A property named with the `CLASS_ID`; its children "FontName", "FontsDir", "FontSize", "Color", "OutlineColor",
/// "Outline", "Shadow", "Bold", "Alignment", "MarginV", "Alpha" hold the values.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsSubtitleDrawer const& settings);
/// The way back; what has no child keeps its default. A number out of its range throws `FilterException`, and so does a
/// property of another name: "Object was initialized with incorrect class (" and the name.
TARSEL_CONTRACTS_EXPORT SettingsSubtitleDrawer Property2SettingsSubtitleDrawer(Core::Property const& property);

}  // namespace Tarsel::Proc
