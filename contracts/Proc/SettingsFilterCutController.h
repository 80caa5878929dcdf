#pragma once

#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Core/Property.h"
#include "contracts/Core/Time.h"
#include "contracts/Core/Types.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// Which time ranges of a source are removed, and the mapping between source time and the time of the result.
/// Microseconds throughout; ranges are half-open.
///
///     source   |--kept--|##removed##|----kept----|####|--kept--> largest int64
///     result   |--kept--|----kept----|--kept-->
///
/// The list is a partition of the whole time line from 0: kept and removed intervals in turn, the last one open to the
/// largest int64. Times below 0 are looked up as 0. Queries answer a time without a value by one without a value.
class TARSEL_CONTRACTS_EXPORT SettingsFilterCutController : public Settings {
  public:
    static std::string const CLASS_ID;

    /// One piece of the partition, `[start, end)`.
    struct Interval {
        int64 start = 0;
        int64 end = 0;
        bool isDeleted = false;

        bool operator==(Interval const&) const = default;
    };

    /// Nothing is removed.
    SettingsFilterCutController();
    /// The same, then `AddInterval` with these arguments.
    SettingsFilterCutController(int64 start, int64 end, int64 time, bool flag);

    std::string const& GetClassId() const override { return CLASS_ID; }

    /// Removes `[start, end)`. Ends in the wrong order are swapped, an empty range and what lies below 0 is ignored, an
    /// end without a value is the largest int64, a start without a value is 0. `time` and `flag` mean nothing here.
    void AddInterval(int64 start, int64 end, int64 time, bool flag);

    /// Number of intervals of the partition, at least 1.
    uint32 GetOptIntervalsCount() const { return static_cast<uint32>(intervals.size()); }
    /// Throws `ProcException` for an index that doesn't exist.
    Interval const& GetOptInterval(uint32 index) const;
    /// Index of the interval that holds `point`; -1 for no value.
    int GetIntervalIndex(int64 point) const;
    int64 GetIntervalEndTime(int64 point) const;
    /// False for no value.
    bool IsPointDeleted(int64 point) const;
    bool CutsAreAbsent() const { return intervals.size() == 1 && !intervals.front().isDeleted; }

    /// A cut point gives the end of its range, the first time that is kept.
    int64 Result2Source(int64 time) const;
    /// A time inside a removed range gives the place of the cut. Times below 0 map to 0 when 0 is removed, else to
    /// themselves.
    int64 Source2Result(int64 time) const;

    bool operator==(SettingsFilterCutController const& other) const { return intervals == other.intervals; }

  private:
    std::vector<Interval> intervals;
};

/// A node named `CLASS_ID` with one child "Interval" per removed range, each with "Start" and "End" in microseconds.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsFilterCutController const& settings);
/// Reads that form; the node's own name is the caller's to test. A child of another name, and a range without "Start"
/// or "End", throw `Core::CoreException`.
TARSEL_CONTRACTS_EXPORT SettingsFilterCutController Property2SettingsCutController(Core::Property const& property);

}  // namespace Tarsel::Proc
