#include "contracts/Proc/SettingsFrameUploader.h"

namespace Tarsel::Proc {

std::string const& SettingsFrameUploader::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsFrameUploader const&) {
    return Core::Property(SettingsFrameUploader::CLASS_ID);
}

SettingsFrameUploader Property2SettingsFrameUploader(Core::Property const& property) {
    RequirePropertyOf(SettingsFrameUploader::CLASS_ID, property);
    return {};
}

}  // namespace Tarsel::Proc
