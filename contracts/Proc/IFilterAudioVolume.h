#pragma once

#include "contracts/Proc/IStream.h"
#include "contracts/Proc/SettingsFilterAudioVolume.h"

namespace Tarsel::Proc {

/// Makes a stream of sound louder or quieter. It is set up by a property named `CLASS_ID` with the children "Volume"
/// and "AutoLevel".
class TARSEL_CONTRACTS_EXPORT IFilterAudioVolume : public virtual IStreamAudio {
  public:
    static constexpr char CLASS_ID[] = "FilterAudioVolume";

    ~IFilterAudioVolume() override;
    /// Takes new settings, from any thread, for the blocks that are still to come; the automatic gain starts anew.
    /// Throws as `Property2Settings` does.
    virtual void UpdateSettings(Core::Property const& property) = 0;

    static Core::Property Settings2Property(SettingsFilterAudioVolume const& settings);
    /// What has no child keeps its default. A property of another name throws `FilterException` "Filter was
    /// initialized with incorrect class (" and the name.
    static SettingsFilterAudioVolume Property2Settings(Core::Property const& property);
};

}  // namespace Tarsel::Proc
