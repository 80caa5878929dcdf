#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// The settings of several effects that belong together, in the order in which they are applied. There is no form of it
/// as a property: a chain that takes a group holds its effects one by one, and tells them as such.
class TARSEL_CONTRACTS_EXPORT SettingsMultiEffect : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsMultiEffect";
    using Element = std::shared_ptr<Settings const>;

    SettingsMultiEffect() = default;
    std::string const& GetClassId() const override;

    /// Never null. Copies of the group share them.
    std::vector<Element> const& GetEffects() const { return effects; }
    /// Appends a copy of settings of any class.
    template <class S>
    SettingsMultiEffect& Add(S const& settings) {
        return Add(Element(std::make_shared<S>(settings)));
    }
    /// Appends the object itself, which nobody changes any more. Null throws `std::invalid_argument`.
    SettingsMultiEffect& Add(Element settings) {
        if (!settings) TARSEL_THROW(std::invalid_argument, "settings is NULL");
        effects.push_back(std::move(settings));
        return *this;
    }

  private:
    std::vector<Element> effects;
};

}  // namespace Tarsel::Proc
