#include "contracts/Proc/SettingsFilterBlurTransparentBorder.h"

#include "contracts/Proc/PropertyNumber.h"

namespace Tarsel::Proc {

namespace {

constexpr char MATRIX_SIZE_KEY[] = "MatrixSize";

}  // namespace

std::string const& SettingsFilterBlurTransparentBorder::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

Core::Property Settings2Property(SettingsFilterBlurTransparentBorder const& settings) {
    return Core::Property(SettingsFilterBlurTransparentBorder::CLASS_ID)
        .SetChild(MATRIX_SIZE_KEY, settings.GetMatrixSize());
}

SettingsFilterBlurTransparentBorder Property2SettingsFilterBlurTransparentBorder(Core::Property const& property) {
    RequirePropertyOf(SettingsFilterBlurTransparentBorder::CLASS_ID, property);
    return SettingsFilterBlurTransparentBorder(
        GetInt(property, MATRIX_SIZE_KEY, SettingsFilterBlurTransparentBorder::DEFAULT_MATRIX_SIZE));
}

}  // namespace Tarsel::Proc
