#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Core/Types.h"
#include "contracts/Proc/IFilterAudioFormatter.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// How long the blocks are that a stream of sound is cut into.
class TARSEL_CONTRACTS_EXPORT SettingsFilterAudioFormatter : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsFilterAudioFormatter";

    SettingsFilterAudioFormatter() = default;
    explicit SettingsFilterAudioFormatter(int64 packetDuration) : packetDuration(packetDuration) {}
    std::string const& GetClassId() const override;

    /// Microseconds; 0 or less: as the blocks come.
    int64 GetPacketDuration() const { return packetDuration; }
    void SetPacketDuration(int64 value) { packetDuration = value; }

    bool operator==(SettingsFilterAudioFormatter const& other) const { return packetDuration == other.packetDuration; }

  private:
    int64 packetDuration = IFilterAudioFormatter::DEFAULT_PACKET_DURATION;
};

/// A property named with the `CLASS_ID`; its child "PacketDuration" holds the value.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsFilterAudioFormatter const& settings);
/// The way back; what has no child keeps its default. A property of another name throws `FilterException` "Object
/// was initialized with incorrect class (" and the name.
TARSEL_CONTRACTS_EXPORT SettingsFilterAudioFormatter
Property2SettingsFilterAudioFormatter(Core::Property const& property);

}  // namespace Tarsel::Proc
