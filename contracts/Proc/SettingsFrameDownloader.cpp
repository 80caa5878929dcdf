#include "contracts/Proc/SettingsFrameDownloader.h"

namespace Tarsel::Proc {

std::string const& SettingsFrameDownloader::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsFrameDownloader const&) {
    return Core::Property(SettingsFrameDownloader::CLASS_ID);
}

SettingsFrameDownloader Property2SettingsFrameDownloader(Core::Property const& property) {
    RequirePropertyOf(SettingsFrameDownloader::CLASS_ID, property);
    return {};
}

}  // namespace Tarsel::Proc
