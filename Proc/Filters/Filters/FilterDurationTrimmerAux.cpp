#include "Proc/Filters/Filters/FilterDurationTrimmerAux.h"

#include <glog/logging.h>

#include <algorithm>
#include <exception>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/Time.h"

namespace Tarsel::Proc {

template <class T>
int CorrectDataForDT(iptr<T>& data, int64 start, int64 duration) {
    if (!HasValue(start)) TARSEL_THROW(Exception, "There was no initial seek before reading! Check application logic!");
    if (duration <= 0 || duration > MAX_DURATION) TARSEL_THROW(Exception, "Duration is out of (0, MAX_DURATION]");
    int64 const time = data->GetTime();
    int64 const length = data->GetDuration();
    int64 const end = AddTime(time, length);
    if (!HasValue(end) || end <= start) return DT_DROP;
    if (time > duration) return DT_BEHIND;
    int64 const cutLeft = std::max<int64>(SubTime(start, time), 0);
    int64 const cutRight = std::max<int64>(SubTime(end, duration), 0);
    // Meant: an item of duration 0 behind the start counts as one behind the end.
    if (AddTime(cutLeft, cutRight) >= length) return DT_BEHIND;
    if (cutLeft == 0 && cutRight == 0) return DT_KEEP;
    data = MakeOwn(std::move(data));
    try {
        if (cutLeft > 0) data->CutBegin(cutLeft);
        if (cutRight > 0) data->CutEnd(cutRight);
    } catch (std::exception const& failure) {
        VLOG(21) << "Can't cut due to:" << failure.what();
        return DT_DROP;
    }
    return DT_KEEP;
}

template int CorrectDataForDT(iptr<IData>&, int64, int64);
template int CorrectDataForDT(iptr<IDataVideo>&, int64, int64);
template int CorrectDataForDT(iptr<IDataAudio>&, int64, int64);
template int CorrectDataForDT(iptr<IDataSubtitle>&, int64, int64);

namespace Details {

bool HasPlace(IData const& item) {
    if (HasValue(item.GetTime()) && HasValue(item.GetDuration())) return true;
    VLOG(21) << "Data from decoder has no pts or duration and will be skipped: time=" << T2S(item.GetTime())
             << ", duration=" << T2S(item.GetDuration());
    return false;
}

}  // namespace Details
}  // namespace Tarsel::Proc
