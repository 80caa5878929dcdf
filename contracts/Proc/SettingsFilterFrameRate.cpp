#include "contracts/Proc/SettingsFilterFrameRate.h"

namespace Tarsel::Proc {

namespace {

constexpr char FRAME_RATE_KEY[] = "FrameRate";

}  // namespace

Ratio const SettingsFilterFrameRate::MARK_USE_ORIGINAL_FRAMERATE(0, 1);

std::string const& SettingsFilterFrameRate::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsFilterFrameRate const& settings) {
    return Core::Property(SettingsFilterFrameRate::CLASS_ID).SetChild(FRAME_RATE_KEY, settings.GetFrameRate());
}

SettingsFilterFrameRate Property2SettingsFilterFrameRate(Core::Property const& property) {
    RequirePropertyOf(SettingsFilterFrameRate::CLASS_ID, property);
    if (!property.ChildExists(FRAME_RATE_KEY)) return {};
    return SettingsFilterFrameRate(property[FRAME_RATE_KEY].GetRatio());
}

}  // namespace Tarsel::Proc
