#include "contracts/Proc/SettingsFilterVideoMixer.h"

#include <limits>

#include "contracts/Proc/PropertyNumber.h"

namespace Tarsel::Proc {

namespace {

constexpr char MIN_OVERLAP_KEY[] = "MinOverlap";

}  // namespace

std::string const& SettingsFilterVideoMixer::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsFilterVideoMixer const& settings) {
    return Core::Property(SettingsFilterVideoMixer::CLASS_ID).SetChild(MIN_OVERLAP_KEY, settings.GetMinOverlap());
}

SettingsFilterVideoMixer Property2SettingsFilterVideoMixer(Core::Property const& property) {
    RequirePropertyOf(SettingsFilterVideoMixer::CLASS_ID, property);
    using Limits = std::numeric_limits<int64>;
    return SettingsFilterVideoMixer(GetNumber(property, MIN_OVERLAP_KEY, SettingsFilterVideoMixer::DEFAULT_MIN_OVERLAP,
                                              Limits::min(), Limits::max()));
}

}  // namespace Tarsel::Proc
