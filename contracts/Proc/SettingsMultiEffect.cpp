#include "contracts/Proc/SettingsMultiEffect.h"

namespace Tarsel::Proc {

std::string const& SettingsMultiEffect::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

}  // namespace Tarsel::Proc
