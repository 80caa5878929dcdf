#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Core/Time.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// The regular frame rate that a stream of pictures gets.
class TARSEL_CONTRACTS_EXPORT SettingsFilterFrameRate : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsFilterFrameRate";
    /// The implementation that lays a grid over the time line and fills each slot with the frame that covers it most.
    static constexpr char IMPL_DEFAULT[] = "Default";
    /// The implementation that keeps all frames and only moves the times of those that share a slot.
    static constexpr char IMPL_ADJUST[] = "Adjust";
    /// 0/1: stands for the rate of the source's format.
    static Ratio const MARK_USE_ORIGINAL_FRAMERATE;

    SettingsFilterFrameRate() = default;
    explicit SettingsFilterFrameRate(Ratio const& frameRate) : frameRate(frameRate) {}
    std::string const& GetClassId() const override;

    /// Frames a second, or `MARK_USE_ORIGINAL_FRAMERATE`, which it is unless set. The filter refuses a rate that isn't
    /// above 0.
    Ratio const& GetFrameRate() const { return frameRate; }
    void SetFrameRate(Ratio const& value) { frameRate = value; }

    bool operator==(SettingsFilterFrameRate const& other) const { return frameRate == other.frameRate; }

  private:
    Ratio frameRate{0, 1};
};

/// A property named with the `CLASS_ID`; its child "FrameRate" holds the rate as "N/D".
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsFilterFrameRate const& settings);
/// The way back; without the child the source's own rate. A property of another name throws `FilterException` "Object
/// was initialized with incorrect class (" and the name.
TARSEL_CONTRACTS_EXPORT SettingsFilterFrameRate Property2SettingsFilterFrameRate(Core::Property const& property);

}  // namespace Tarsel::Proc
