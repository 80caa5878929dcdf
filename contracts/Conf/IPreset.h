#pragma once

namespace Tarsel::Conf {

/// What a property says about the object that is to be made from it.
struct IPreset {
    /// Child: the name of the implementation.
    static constexpr char KEY_TYPE_ID[] = "TypeId";
};

}  // namespace Tarsel::Conf
