#include "contracts/Proc/SettingsEffectCrop.h"

#include <sstream>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/PropertyNumber.h"

namespace Tarsel::Proc {

namespace {

constexpr char LEFT_KEY[] = "Left";
constexpr char RIGHT_KEY[] = "Right";
constexpr char TOP_KEY[] = "Top";
constexpr char BOTTOM_KEY[] = "Bottom";

}  // namespace

std::string const& SettingsEffectCrop::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

bool SettingsEffectCrop::IsEmpty() const {
    return (region.right != 0 && region.right <= region.left) || (region.bottom != 0 && region.bottom <= region.top);
}

Core::Property Settings2Property(SettingsEffectCrop const& settings) {
    CropInfo const& region = settings.GetRegion();
    return Core::Property(SettingsEffectCrop::CLASS_ID)
        .SetChild(LEFT_KEY, int64{region.left})
        .SetChild(RIGHT_KEY, int64{region.right})
        .SetChild(TOP_KEY, int64{region.top})
        .SetChild(BOTTOM_KEY, int64{region.bottom});
}

SettingsEffectCrop Property2SettingsEffectCrop(Core::Property const& property) {
    RequirePropertyOf(SettingsEffectCrop::CLASS_ID, property);
    auto const edge = [&](char const* key) { return static_cast<u32>(GetInt(property, key, 0, 0)); };
    SettingsEffectCrop const settings({edge(LEFT_KEY), edge(RIGHT_KEY), edge(TOP_KEY), edge(BOTTOM_KEY)});
    if (settings.IsEmpty()) {
        std::ostringstream text;
        text << "There is nothing in the part to keep (" << settings.GetRegion() << ")";
        TARSEL_THROW(FilterException, text.str());
    }
    return settings;
}

}  // namespace Tarsel::Proc
