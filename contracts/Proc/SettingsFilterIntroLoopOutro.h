#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Core/Types.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// How a clip of three sections is fitted to a length: its start plays once, its middle repeats, its end plays
/// once.
class TARSEL_CONTRACTS_EXPORT SettingsFilterIntroLoopOutro : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsFilterIntroLoopOutro";

    SettingsFilterIntroLoopOutro() = default;
    explicit SettingsFilterIntroLoopOutro(int64 duration) : duration(duration) {}
    std::string const& GetClassId() const override;

    /// The wanted length of the whole in microseconds.
    int64 GetDuration() const { return duration; }
    void SetDuration(int64 value) { duration = value; }
    /// Length of the start in microseconds.
    int64 GetIntroLength() const { return introLength; }
    void SetIntroLength(int64 value) { introLength = value; }
    /// Length of the end in microseconds.
    int64 GetOutroLength() const { return outroLength; }
    void SetOutroLength(int64 value) { outroLength = value; }
    /// How often the middle plays at least; 0 for no minimum: then it plays once.
    int64 GetMinLoopCount() const { return minLoopCount; }
    void SetMinLoopCount(int64 value) { minLoopCount = value; }

    bool operator==(SettingsFilterIntroLoopOutro const& other) const {
        return duration == other.duration && introLength == other.introLength && outroLength == other.outroLength &&
               minLoopCount == other.minLoopCount;
    }

  private:
    int64 duration = 0;
    int64 introLength = 0;
    int64 outroLength = 0;
    int64 minLoopCount = 0;
};

/// A property named with the `CLASS_ID`; its children "Duration", "IntroLength", "OutroLength", "MinLoopCount" hold the
/// values.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsFilterIntroLoopOutro const& settings);
/// The way back; what has no child keeps its default. A property of another name throws `FilterException` "Object
/// was initialized with incorrect class (" and the name.
TARSEL_CONTRACTS_EXPORT SettingsFilterIntroLoopOutro
Property2SettingsFilterIntroLoopOutro(Core::Property const& property);

}  // namespace Tarsel::Proc
