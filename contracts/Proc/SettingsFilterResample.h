#pragma once

#include <string>
#include <utility>

#include "contracts/Conf/SampleInfo.h"
#include "contracts/Core/Property.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/Settings.h"
#include "contracts/Proc/SettingsResample.h"

namespace Tarsel::Proc {

/// What a stream of sound is converted to, and by which engine.
class TARSEL_CONTRACTS_EXPORT SettingsFilterResample : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsFilterResample";

    SettingsFilterResample() = default;
    explicit SettingsFilterResample(Conf::SampleInfo const& sampleInfo) : resample(sampleInfo) {}
    std::string const& GetClassId() const override;

    /// Name of the engine's implementation.
    std::string const& GetImplementation() const { return implementation; }
    void SetImplementation(std::string value) { implementation = std::move(value); }
    /// Words that are unset stay as they come in.
    Conf::SampleInfo const& GetSampleInfo() const { return resample.GetSampleInfo(); }
    void SetSampleInfo(Conf::SampleInfo const& value) { resample.SetSampleInfo(value); }
    SettingsResample const& GetResample() const { return resample; }

    bool operator==(SettingsFilterResample const& other) const {
        return implementation == other.implementation && resample == other.resample;
    }

  private:
    std::string implementation = ImplNames::DEFAULT;
    SettingsResample resample;
};

/// A property named with the `CLASS_ID`; its children "SampleFormat", "SampleRate", "ChannelLayout" and
/// `Conf::IPreset::KEY_TYPE_ID` hold the values.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsFilterResample const& settings);
/// The way back; what has no child keeps its default. A property of another name throws `FilterException` "Object
/// was initialized with incorrect class (" and the name.
TARSEL_CONTRACTS_EXPORT SettingsFilterResample Property2SettingsFilterResample(Core::Property const& property);

}  // namespace Tarsel::Proc
