#include "contracts/Proc/SettingsSubtitleDrawer.h"

#include "contracts/Proc/PropertyNumber.h"

namespace Tarsel::Proc {

namespace {

/// A number of the settings: where it stands in a property, and what it may be.
struct NumberField {
    char const* key;
    int (SettingsSubtitleDrawer::*get)() const;
    void (SettingsSubtitleDrawer::*set)(int);
    int low;
    int high;
};

using Own = SettingsSubtitleDrawer;

constexpr char FONT_NAME_KEY[] = "FontName";
constexpr char FONTS_DIR_KEY[] = "FontsDir";
constexpr NumberField NUMBERS[] = {
    {"FontSize", &Own::GetFontSize, &Own::SetFontSize, Own::AS_STYLED, 4096},
    {"Color", &Own::GetColor, &Own::SetColor, Own::AS_STYLED, 0xFFFFFF},
    {"OutlineColor", &Own::GetOutlineColor, &Own::SetOutlineColor, Own::AS_STYLED, 0xFFFFFF},
    {"Outline", &Own::GetOutline, &Own::SetOutline, Own::AS_STYLED, 100},
    {"Shadow", &Own::GetShadow, &Own::SetShadow, Own::AS_STYLED, 100},
    {"Bold", &Own::GetBold, &Own::SetBold, Own::AS_STYLED, 1},
    {"Alignment", &Own::GetAlignment, &Own::SetAlignment, Own::AS_STYLED, 9},
    {"MarginV", &Own::GetMarginV, &Own::SetMarginV, Own::AS_STYLED, 8192},
    {"Alpha", &Own::GetAlpha, &Own::SetAlpha, 0, 255},
};

}  // namespace

std::string const& SettingsSubtitleDrawer::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

bool SettingsSubtitleDrawer::operator==(SettingsSubtitleDrawer const& other) const {
    for (NumberField const& field : NUMBERS)
        if ((this->*field.get)() != (other.*field.get)()) return false;
    return fontName == other.fontName && fontsDir == other.fontsDir;
}

Core::Property Settings2Property(SettingsSubtitleDrawer const& settings) {
    Core::Property property(SettingsSubtitleDrawer::CLASS_ID);
    property.SetChild(FONT_NAME_KEY, settings.GetFontName()).SetChild(FONTS_DIR_KEY, settings.GetFontsDir());
    for (NumberField const& field : NUMBERS) property.SetChild(field.key, (settings.*field.get)());
    return property;
}

SettingsSubtitleDrawer Property2SettingsSubtitleDrawer(Core::Property const& property) {
    RequirePropertyOf(SettingsSubtitleDrawer::CLASS_ID, property);
    SettingsSubtitleDrawer settings;
    if (property.ChildExists(FONT_NAME_KEY)) settings.SetFontName(property[FONT_NAME_KEY].GetString());
    if (property.ChildExists(FONTS_DIR_KEY)) settings.SetFontsDir(property[FONTS_DIR_KEY].GetString());
    for (NumberField const& field : NUMBERS)
        (settings.*field.set)(GetInt(property, field.key, (settings.*field.get)(), field.low, field.high));
    return settings;
}

}  // namespace Tarsel::Proc
