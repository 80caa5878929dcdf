#pragma once

#include <string>

#include "contracts/Core/Property.h"
#include "contracts/Core/Types.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// Whether a stream plays backwards, and how much memory that may take.
class TARSEL_CONTRACTS_EXPORT SettingsFilterReverse : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsFilterReverse";
    /// 512 MiB: some 390 frames of 1280x720 at 8 bits 4:2:0.
    static constexpr int64 DEFAULT_MAX_BUFFER_SIZE = int64{1} << 29;

    SettingsFilterReverse() = default;
    explicit SettingsFilterReverse(bool reverse) : reverse(reverse) {}
    std::string const& GetClassId() const override;

    /// False makes the filter hand everything through.
    bool IsReverse() const { return reverse; }
    void SetReverse(bool value) { reverse = value; }
    /// Limit of the frames that wait to be handed out, in bytes, for all reversed pictures of the process
    /// together.
    int64 GetMaxBufferSize() const { return maxBufferSize; }
    void SetMaxBufferSize(int64 value) { maxBufferSize = value; }

    bool operator==(SettingsFilterReverse const& other) const {
        return reverse == other.reverse && maxBufferSize == other.maxBufferSize;
    }

  private:
    bool reverse = true;
    int64 maxBufferSize = DEFAULT_MAX_BUFFER_SIZE;
};

/// A property named with the `CLASS_ID`; its children "Reverse", "MaxBufferSize" hold the values.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsFilterReverse const& settings);
/// The way back; what has no child keeps its default. A property of another name throws `FilterException` "Object
/// was initialized with incorrect class (" and the name.
TARSEL_CONTRACTS_EXPORT SettingsFilterReverse Property2SettingsFilterReverse(Core::Property const& property);

}  // namespace Tarsel::Proc
