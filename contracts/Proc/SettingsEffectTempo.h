#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Core/Types.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// How much faster the tempo effect plays sound. The pitch stays.
class TARSEL_CONTRACTS_EXPORT SettingsEffectTempo : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsEffectTempo";

    SettingsEffectTempo() = default;
    explicit SettingsEffectTempo(double tempo) : tempo(tempo) {}
    std::string const& GetClassId() const override;

    /// The factor: above 1 plays faster.
    double GetTempo() const { return tempo; }
    void SetTempo(double value) { tempo = value; }

    bool operator==(SettingsEffectTempo const& other) const { return tempo == other.tempo; }

  private:
    double tempo = 1.0;
};

/// A property named with the `CLASS_ID`; its child "Tempo" holds the values.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsEffectTempo const& settings);
/// The way back; what has no child keeps its default. A property of another name throws `FilterException` "Object
/// was initialized with incorrect class (" and the name.
TARSEL_CONTRACTS_EXPORT SettingsEffectTempo Property2SettingsEffectTempo(Core::Property const& property);

}  // namespace Tarsel::Proc
