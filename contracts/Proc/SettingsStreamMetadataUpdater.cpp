#include "contracts/Proc/SettingsStreamMetadataUpdater.h"

#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {

std::string const& SettingsStreamMetadataUpdater::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsStreamMetadataUpdater const& settings) {
    return Core::Property(SettingsStreamMetadataUpdater::CLASS_ID).Add(settings.GetProperty());
}

SettingsStreamMetadataUpdater Property2SettingsStreamMetadataUpdater(Core::Property const& property) {
    RequirePropertyOf(SettingsStreamMetadataUpdater::CLASS_ID, property);
    auto const& children = property.Children();
    return children.empty() ? SettingsStreamMetadataUpdater() : SettingsStreamMetadataUpdater(children.front());
}

}  // namespace Tarsel::Proc
