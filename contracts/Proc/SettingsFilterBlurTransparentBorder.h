#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// How far colours bleed into transparent pixels.
class TARSEL_CONTRACTS_EXPORT SettingsFilterBlurTransparentBorder : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsFilterBlurTransparentBorder";
    static constexpr int DEFAULT_MATRIX_SIZE = 8;

    SettingsFilterBlurTransparentBorder() = default;
    explicit SettingsFilterBlurTransparentBorder(int matrixSize) : matrixSize(matrixSize) {}
    std::string const& GetClassId() const override;

    /// Side of the square, in pixels, whose opaque pixels a transparent one takes its colour from. Up to 1 nothing
    /// changes.
    int GetMatrixSize() const { return matrixSize; }

    bool operator==(SettingsFilterBlurTransparentBorder const& other) const { return matrixSize == other.matrixSize; }

  private:
    int matrixSize = DEFAULT_MATRIX_SIZE;
};

/// A property named with the `CLASS_ID`; its child "MatrixSize" holds the value.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsFilterBlurTransparentBorder const& settings);
/// The way back; what has no child keeps its default. A property of another name throws `FilterException` "Object
/// was initialized with incorrect class (" and the name.
TARSEL_CONTRACTS_EXPORT SettingsFilterBlurTransparentBorder
Property2SettingsFilterBlurTransparentBorder(Core::Property const& property);

}  // namespace Tarsel::Proc
