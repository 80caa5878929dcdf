#pragma once

#include <string>

#include "contracts/Conf/SampleInfo.h"
#include "contracts/Core/Property.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// What the converter of sound converts to. Words that are unset stay as they come in.
class TARSEL_CONTRACTS_EXPORT SettingsResample : public Settings {
  public:
    static constexpr char CLASS_ID[] = "Resample";

    SettingsResample() = default;
    explicit SettingsResample(Conf::SampleInfo const& sampleInfo) : sampleInfo(sampleInfo) {}
    std::string const& GetClassId() const override;

    Conf::SampleInfo const& GetSampleInfo() const { return sampleInfo; }
    void SetSampleInfo(Conf::SampleInfo const& value) { sampleInfo = value; }

    bool operator==(SettingsResample const& other) const { return sampleInfo == other.sampleInfo; }

  private:
    Conf::SampleInfo sampleInfo{Conf::SAMPLE_FORMAT_NONE, -1, Conf::CHANNEL_LAYOUT_NONE};
};

/// A property named with the `CLASS_ID`; its children "SampleFormat", "SampleRate", "ChannelLayout" hold the words.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsResample const& settings);
/// The way back; what has no child keeps its default. A property of another name throws `FilterException` "Object
/// was initialized with incorrect class (" and the name.
TARSEL_CONTRACTS_EXPORT SettingsResample Property2SettingsResample(Core::Property const& property);

}  // namespace Tarsel::Proc
