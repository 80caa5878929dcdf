#pragma once

#include <limits>

#include "contracts/Core/Export.h"
#include "contracts/Core/Property.h"
#include "contracts/Core/Types.h"

namespace Tarsel::Proc {

/// The child's number, or `defaultValue` where there is no such child. One beyond `[low, high]` throws
/// `FilterException` "KEY of NAME is out of range: " and the number.
TARSEL_CONTRACTS_EXPORT int64 GetNumber(Core::Property const& property, char const* key, int64 defaultValue, int64 low,
                                        int64 high);
/// The same for numbers with a fraction; what is no number is out of range.
TARSEL_CONTRACTS_EXPORT double GetFraction(Core::Property const& property, char const* key, double defaultValue,
                                           double low, double high);

/// A number of the width of an `int`.
inline int GetInt(Core::Property const& property, char const* key, int defaultValue,
                  int low = std::numeric_limits<int>::min(), int high = std::numeric_limits<int>::max()) {
    return static_cast<int>(GetNumber(property, key, defaultValue, low, high));
}

}  // namespace Tarsel::Proc
