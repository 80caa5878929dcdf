#pragma once

#include "contracts/Core/Time.h"
#include "contracts/Proc/IData.h"

namespace Tarsel::Proc {

/// What `CorrectDataForDT` says about an item.
enum DurationTrimmerVerdict : int {
    DT_KEEP = 0,    ///< it goes out, cut where it stood out of the span
    DT_BEHIND = 1,  ///< it lies behind the end
    DT_DROP = 2,    ///< it lies in front of the start, or can't be cut
};

/// Fits one item into the span from `start` to `duration`, both microseconds of the stream's own time. An item that is
/// cut and has other owners is replaced by a clone first; one that passes unchanged stays the same object. An item
/// without a time is dropped.
///
/// Throws `Tarsel::Exception` "There was no initial seek before reading! Check application logic!" when `start` has no
/// value, "Duration is out of (0, MAX_DURATION]" for such a duration. A failure of the cut itself is logged and drops
/// the item.
template <class T>
int CorrectDataForDT(iptr<T>& data, int64 start, int64 duration);

extern template int CorrectDataForDT(iptr<IData>&, int64, int64);
extern template int CorrectDataForDT(iptr<IDataVideo>&, int64, int64);
extern template int CorrectDataForDT(iptr<IDataAudio>&, int64, int64);
extern template int CorrectDataForDT(iptr<IDataSubtitle>&, int64, int64);

namespace Details {

/// Whether a trimmer can place the item; one that it can't is logged.
bool HasPlace(IData const& item);

}  // namespace Details
}  // namespace Tarsel::Proc
