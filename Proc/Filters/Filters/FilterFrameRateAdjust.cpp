#include "Proc/Filters/Filters/FilterFrameRateAdjust.h"

#include <glog/logging.h>

#include <boost/math/special_functions/round.hpp>
#include <utility>

#include "Proc/Filters/Filters/TimeCast.h"

namespace Tarsel::Proc {

void FilterFrameRateAdjust::ReleaseInternalData() {
    {
        Core::RecursiveMutexLock const api(apiLock);
        Core::RecursiveMutexLock const guard(lock);
        previous = nullptr;
    }
    FilterFrameRate::ReleaseInternalData();
}

iptr<IDataVideo> FilterFrameRateAdjust::TakePrevious() {
    if (previous) ++framesGiven;
    return std::exchange(previous, nullptr);
}

iptr<IDataVideo> FilterFrameRateAdjust::ReadInternal() {
    Core::RecursiveMutexLock const guard(lock);
    iptr<IDataVideo> current = parentStream->Read();
    if (current && !previous) {
        previous = std::move(current);
        current = parentStream->Read();
    }
    if (!current) return TakePrevious();
    current = Adjust(std::move(current));
    int64 const gap = SubTime(current->GetTime(), previous->GetTime());
    int64 const duration = previous->GetDuration();
    if (HasValue(gap) && gap != duration) {
        previous = MakeOwn(std::move(previous));
        previous->SetDuration(gap);
        VLOG(31) << "Adjusted duration from " << duration << " to " << gap << " offset " << SubTime(gap, duration);
    }
    iptr<IDataVideo> result = TakePrevious();
    previous = std::move(current);
    return result;
}

iptr<IDataVideo> FilterFrameRateAdjust::Adjust(iptr<IDataVideo> current) {
    int64 const time = current->GetTime();
    if (!HasValue(time) || !HasValue(previous->GetTime())) return current;
    double const rate = frameRate.denominator() > 0
                            ? static_cast<double>(frameRate.numerator()) / static_cast<double>(frameRate.denominator())
                            : 0.0;
    auto const frameNumber = [rate](int64 at) {
        return boost::math::llround(static_cast<double>(at) * rate / static_cast<double>(SECOND));
    };
    auto const before = frameNumber(previous->GetTime());
    auto const here = frameNumber(time);
    if (here > before) return current;
    if (here < before) LOG(WARNING) << "Previous frame number > next frame number";
    // Just behind the border, inside what rounds to the next number, so that the time is moved as little as possible.
    double const place = (static_cast<double>(before) + 1) - 0.49;
    int64 const moved = Details::ToTime(place / rate * static_cast<double>(SECOND));
    current = MakeOwn(std::move(current));
    current->SetTime(moved);
    VLOG(31) << "Adjusted timestamp from " << time << " to " << moved << " offset " << SubTime(moved, time);
    return current;
}

void FilterFrameRateAdjust::RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) {
    Core::RecursiveMutexLock const guard(lock);
    previous = nullptr;
    FilterFrameRate::RequestSeekInternal(target, seekContext);
}

}  // namespace Tarsel::Proc
