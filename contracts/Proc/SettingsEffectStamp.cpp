#include "contracts/Proc/SettingsEffectStamp.h"

#include "contracts/Proc/PropertyNumber.h"
#include "contracts/Proc/SettingsKeys.h"

namespace Tarsel::Proc {

namespace {

constexpr char FILE_KEY[] = "File";

}  // namespace

std::string const& SettingsEffectStamp::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsEffectStamp const& settings) {
    return Core::Property(SettingsEffectStamp::CLASS_ID)
        .SetChild(FILE_KEY, settings.GetFile())
        .SetChild(X_KEY, settings.GetX())
        .SetChild(Y_KEY, settings.GetY())
        .SetChild(ALPHA_KEY, settings.GetAlpha());
}

SettingsEffectStamp Property2SettingsEffectStamp(Core::Property const& property) {
    RequirePropertyOf(SettingsEffectStamp::CLASS_ID, property);
    SettingsEffectStamp settings;
    if (property.ChildExists(FILE_KEY)) settings.SetFile(property[FILE_KEY].GetString());
    settings.SetX(GetInt(property, X_KEY, settings.GetX()));
    settings.SetY(GetInt(property, Y_KEY, settings.GetY()));
    settings.SetAlpha(GetInt(property, ALPHA_KEY, settings.GetAlpha(), 0, 255));
    return settings;
}

}  // namespace Tarsel::Proc
