#include "contracts/Proc/SettingsLosslessDetect.h"

#include <limits>

#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {

namespace {

constexpr char LIMIT_KEY[] = "MaxBadPtsInRow";

}  // namespace

std::string const& SettingsLosslessDetect::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsLosslessDetect const& settings) {
    return Core::Property(SettingsLosslessDetect::CLASS_ID).SetChild(LIMIT_KEY, int64{settings.GetMaxBadPtsInRow()});
}

SettingsLosslessDetect Property2SettingsLosslessDetect(Core::Property const& property) {
    RequirePropertyOf(SettingsLosslessDetect::CLASS_ID, property);
    if (!property.ChildExists(LIMIT_KEY)) return {};
    int64 const limit = property[LIMIT_KEY].GetInt64();
    if (limit < 0 || limit > int64{std::numeric_limits<u32>::max()})
        TARSEL_THROW(FilterException, "MaxBadPtsInRow " + std::to_string(limit) + " is out of 0 to 4294967295");
    return SettingsLosslessDetect(static_cast<u32>(limit));
}

}  // namespace Tarsel::Proc
