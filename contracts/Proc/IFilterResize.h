#pragma once

#include "contracts/Proc/IStream.h"
#include "contracts/Proc/SettingsResizer.h"

namespace Tarsel::Proc {

/// Brings the pictures of a stream to one size, by an effect of the host. It is set up by a property named `CLASS_ID`
/// with the children of a `SettingsResizer`.
class TARSEL_CONTRACTS_EXPORT IFilterResize : public virtual IStreamVideo {
  public:
    static constexpr char CLASS_ID[] = "FilterResize";

    ~IFilterResize() override;
    /// Takes a `SettingsResizer` for the pictures that are still to come; another class throws `std::bad_cast`. Throws
    /// `EffectException` when there is no such implementation; the old settings stay.
    virtual void UpdateSettings(Settings const& settings) = 0;

    static Core::Property Settings2Property(SettingsResizer const& settings);
    /// What has no child keeps its default. A property of another name throws `FilterException` "Filter was
    /// initialized with incorrect class (" and the name.
    static SettingsResizer Property2Settings(Core::Property const& property);
};

}  // namespace Tarsel::Proc
