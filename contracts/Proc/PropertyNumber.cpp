#include "contracts/Proc/PropertyNumber.h"

#include <string>

#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {

namespace {

[[noreturn]] void RefuseNumber(Core::Property const& property, char const* key) {
    TARSEL_THROW(FilterException,
                 std::string(key) + " of " + property.Name() + " is out of range: " + property[key].GetString());
}

}  // namespace

int64 GetNumber(Core::Property const& property, char const* key, int64 defaultValue, int64 low, int64 high) {
    if (!property.ChildExists(key)) return defaultValue;
    int64 const value = property[key].GetInt64();
    if (value < low || value > high) RefuseNumber(property, key);
    return value;
}

double GetFraction(Core::Property const& property, char const* key, double defaultValue, double low, double high) {
    if (!property.ChildExists(key)) return defaultValue;
    double const value = property[key].GetDouble();
    // Said this way round, so that what is no number fails, too.
    if (!(value >= low && value <= high)) RefuseNumber(property, key);
    return value;
}

}  // namespace Tarsel::Proc
