#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Core/Types.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// Limits of the lossless detection.
class TARSEL_CONTRACTS_EXPORT SettingsLosslessDetect : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsLosslessDetect";
    /// As many pictures as a decoder may hold back: in a longer run without presentation times not even the order of
    /// pictures is known.
    static constexpr u32 DEFAULT_MAX_BAD_PTS_IN_ROW = 16;

    SettingsLosslessDetect() = default;
    explicit SettingsLosslessDetect(u32 maxBadPtsInRow) : maxBadPtsInRow(maxBadPtsInRow) {}
    std::string const& GetClassId() const override;

    /// Packets in a row without a presentation time that are tolerated.
    u32 GetMaxBadPtsInRow() const { return maxBadPtsInRow; }
    void SetMaxBadPtsInRow(u32 value) { maxBadPtsInRow = value; }

    bool operator==(SettingsLosslessDetect const& other) const { return maxBadPtsInRow == other.maxBadPtsInRow; }

  private:
    u32 maxBadPtsInRow = DEFAULT_MAX_BAD_PTS_IN_ROW;
};

/// A property named with the `CLASS_ID`; its child "MaxBadPtsInRow" holds the limit.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsLosslessDetect const& settings);
/// The way back; without the child the default stands. A property of another name throws `FilterException` "Object was
/// initialized with incorrect class (" and the name; so does a number out of 32 bits, with its own text.
TARSEL_CONTRACTS_EXPORT SettingsLosslessDetect Property2SettingsLosslessDetect(Core::Property const& property);

}  // namespace Tarsel::Proc
