#include "contracts/Proc/SettingsColorSpaceConverter.h"

#include "contracts/Conf/PixFmtDescription.h"
#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {

namespace {

constexpr char FORMAT_NAME[] = "Format";

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
    return SettingsColorSpaceConverter(std::move(formats));
}

}  // namespace Tarsel::Proc
