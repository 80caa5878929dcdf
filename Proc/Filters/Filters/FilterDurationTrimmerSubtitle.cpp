#include "Proc/Filters/Filters/FilterDurationTrimmerSubtitle.h"

#include <utility>

namespace Tarsel::Proc {

FilterDurationTrimmerSubtitle::FilterDurationTrimmerSubtitle(iptr<IStreamSubtitle> source)
    : FilterDurationTrimmerBase(std::move(source), "FilterDurationTrimmerSubtitle") {}

void FilterDurationTrimmerSubtitle::RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) {
    endReached = false;
    seekPosition = target;
    parentStream->RequestSeek(target, seekContext);
}

iptr<IDataSubtitle> FilterDurationTrimmerSubtitle::ReadInternal() {
    if (!HasValue(seekPosition))
        TARSEL_THROW(Exception, "There was no initial seek before reading! Check application logic!");
    if (endReached) return nullptr;
    int64 const duration = GetDuration();
    while (iptr<IDataSubtitle> event = ReadPlaced()) {
        if (CorrectDataForDT(event, seekPosition, duration) != DT_KEEP) continue;
        CountItem();
        return event;
    }
    endReached = true;
    return nullptr;
}

}  // namespace Tarsel::Proc
