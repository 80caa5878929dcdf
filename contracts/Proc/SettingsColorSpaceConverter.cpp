#include "contracts/Proc/SettingsColorSpaceConverter.h"

#include "contracts/Conf/PixFmtDescription.h"
#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {

namespace {

constexpr char FORMAT_NAME[] = "Format";
constexpr char PASS_ACCEPTED_KEY[] = "PassAccepted";

}  // namespace

std::string const& SettingsColorSpaceConverter::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsColorSpaceConverter const& settings) {
    Core::Property property(SettingsColorSpaceConverter::CLASS_ID);
    for (PixFmt const format : settings.GetFormats()) {
        auto const* const description = Conf::PixFmtDescription::Find(format);
        if (!description) TARSEL_THROW(FilterException, "There is no pixel format " + std::to_string(format));
        property.Add(Core::Property(FORMAT_NAME).SetValue(description->GetName()));
    }
    if (!settings.GetPassAccepted()) property.SetChild(PASS_ACCEPTED_KEY, 0);
    return property;
}

SettingsColorSpaceConverter Property2SettingsColorSpaceConverter(Core::Property const& property) {
    RequirePropertyOf(SettingsColorSpaceConverter::CLASS_ID, property);
    std::vector<PixFmt> formats;
    for (Core::Property const& child : property.Children()) {
        // Keyed children are none of the list: an effect's interval stands beside it.
        if (child.IsKeyed()) continue;
        auto const* const description = Conf::PixFmtDescription::Find(child.GetString());
        if (!description) TARSEL_THROW(FilterException, "There is no pixel format \"" + child.GetString() + "\"");
        formats.push_back(description->GetFormat());
    }
    bool const passAccepted = !property.ChildExists(PASS_ACCEPTED_KEY) || property[PASS_ACCEPTED_KEY].GetBool();
    return SettingsColorSpaceConverter(std::move(formats), passAccepted);
}

}  // namespace Tarsel::Proc
