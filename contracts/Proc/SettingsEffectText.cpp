#include "contracts/Proc/SettingsEffectText.h"

#include "contracts/Proc/PropertyNumber.h"
#include "contracts/Proc/SettingsKeys.h"

namespace Tarsel::Proc {

namespace {

constexpr char TEXT_KEY[] = "Text";
constexpr char SIZE_KEY[] = "Size";

}  // namespace

std::string const& SettingsEffectText::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsEffectText const& settings) {
    return Core::Property(SettingsEffectText::CLASS_ID)
        .SetChild(TEXT_KEY, settings.GetText())
        .SetChild(X_KEY, settings.GetX())
        .SetChild(Y_KEY, settings.GetY())
        .SetChild(SIZE_KEY, settings.GetSize())
        .SetChild(COLOR_KEY, settings.GetColor())
        .SetChild(ALPHA_KEY, settings.GetAlpha());
}

SettingsEffectText Property2SettingsEffectText(Core::Property const& property) {
    RequirePropertyOf(SettingsEffectText::CLASS_ID, property);
    SettingsEffectText settings;
    if (property.ChildExists(TEXT_KEY)) settings.SetText(property[TEXT_KEY].GetString());
    settings.SetX(GetInt(property, X_KEY, settings.GetX()));
    settings.SetY(GetInt(property, Y_KEY, settings.GetY()));
    settings.SetSize(GetInt(property, SIZE_KEY, settings.GetSize(), 1, 4096));
    settings.SetColor(GetInt(property, COLOR_KEY, settings.GetColor(), 0, 0xFFFFFF));
    settings.SetAlpha(GetInt(property, ALPHA_KEY, settings.GetAlpha(), 0, 255));
    return settings;
}

}  // namespace Tarsel::Proc
