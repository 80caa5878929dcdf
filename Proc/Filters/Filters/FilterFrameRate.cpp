#include "Proc/Filters/Filters/FilterFrameRate.h"

#include <glog/logging.h>

#include <algorithm>
#include <utility>

#include "Proc/Filters/Filters/FrameGrid.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/IStreamVisitor.h"

namespace Tarsel::Proc {

namespace {

/// End of a picture; one without a duration has none, one without a time has no end.
int64 PictureEnd(IDataVideo const& frame) {
    int64 const duration = frame.GetDuration();
    return AddTime(frame.GetTime(), HasValue(duration) ? duration : 0);
}

}  // namespace

iptr<IFilterFrameRate> FilterFrameRate::Create(iptr<IStreamVideo> const& source) {
    return iptr<IFilterFrameRate>(new FilterFrameRate(source));
}

FilterFrameRate::FilterFrameRate(iptr<IStreamVideo> source)
    : FilterFrameRate(std::move(source), SettingsFilterFrameRate()) {}

FilterFrameRate::FilterFrameRate(iptr<IStreamVideo> source, Settings const& settings)
    : StreamImpl(std::move(source), false) {
    SetFrameRate(dynamic_cast<SettingsFilterFrameRate const&>(settings).GetFrameRate());
}

void FilterFrameRate::Initialize(Core::Property const& property) {
    if (property.Name() != IFilterFrameRate::CLASS_ID)
        TARSEL_THROW(FilterException, "Filter was initialized with incorrect class (" + property.Name() + ")!");
    SetFrameRate(property.GetRatio());
}

void FilterFrameRate::Initialize(Settings const& newSettings) {
    SetFrameRate(dynamic_cast<SettingsFilterFrameRate const&>(newSettings).GetFrameRate());
}

void FilterFrameRate::SetFrameRate(Ratio const& rate) {
    Ratio resolved = rate;
    if (rate == SettingsFilterFrameRate::MARK_USE_ORIGINAL_FRAMERATE) {
        iptr<Conf::IFormatCodecVideo const> const format = parentStream->GetFormatCodec();
        if (!format) TARSEL_THROW(FilterException, "Input codec format is null");
        resolved = format->GetFrameRate();
    }
    if (resolved.numerator() <= 0) TARSEL_THROW(FilterException, "Wrong fps!");
    Core::RecursiveMutexLock const guard(lock);
    frameRate = resolved;
}

Core::Property FilterFrameRate::GetStatistic() {
    Core::Property result = parentStream->GetStatistic();
    Core::RecursiveMutexLock const guard(lock);
    return result.Add(Core::MakeStatistics("Tarsel::Proc::FilterFrameRate::GetStatistic", processingTime, framesGiven));
}

iptr<Conf::IFormatCodecVideo const> FilterFrameRate::GetFormatCodec() const {
    iptr<Conf::IFormatCodecVideo const> const format = parentStream->GetFormatCodec();
    if (!format) TARSEL_THROW(FilterException, "Input codec format is null");
    iptr<Conf::IFormatCodecVideo> const clone = format->Clone();
    clone->SetFrameRate(GetFrameRate());
    return clone;
}

Ratio FilterFrameRate::GetFrameRate() const {
    Core::RecursiveMutexLock const guard(lock);
    return frameRate;
}

void FilterFrameRate::ReleaseInternalData() {
    {
        Core::RecursiveMutexLock const api(apiLock);
        Core::RecursiveMutexLock const guard(lock);
        pending = nullptr;
    }
    StreamImpl::ReleaseInternalData();
}

void FilterFrameRate::AcceptInternal(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, "FilterFrameRate", Visitors::FRAME_TYPE_FILTER, nullptr);
}

iptr<IDataVideo> FilterFrameRate::ReadInternal() {
    Core::RecursiveMutexLock const guard(lock);
    int64 const total = parentStream->GetDuration();
    bool const open = !HasValue(total);
    if (!open && HasValue(lastEnd) && lastEnd >= total) {
        pending = nullptr;
        return nullptr;
    }
    if (!pending) pending = parentStream->Read();
    if (!pending) return nullptr;

    Details::FrameGrid const grid(frameRate);
    int64 const begin = std::max(grid.BeginOf(frameIndex), seekPosition);
    int64 const slotEnd = grid.BeginOf(frameIndex + 1);
    int64 const end = open ? slotEnd : std::min(slotEnd, total);
    iptr<IDataVideo> result = FindBest(begin, end, open);
    if (result) {
        // A clone, because the same picture may go out again with other times.
        result = result->Clone(false);
        result->SetTime(begin);
        result->SetDuration(SubTime(end, begin));
        ++framesGiven;
        VLOG(4000) << "ReFrame: time=" << begin << ", duration=" << result->GetDuration();
    } else {
        VLOG(4000) << "ReFrame: NULL (eof?)\n";
    }
    ++frameIndex;
    lastEnd = end;
    return result;
}

iptr<IDataVideo> FilterFrameRate::FindBest(int64 begin, int64 end, bool open) {
    iptr<IDataVideo> best;
    int64 bestOverlap = 0;
    for (;;) {
        int64 const pendingEnd = PictureEnd(*pending);
        int64 const overlap = SubTime(std::min(pendingEnd, end), std::max(pending->GetTime(), begin));
        if (!best || overlap > bestOverlap) {
            best = pending;
            bestOverlap = overlap;
        }
        if (pendingEnd >= end) break;
        iptr<IDataVideo> next = parentStream->Read();
        if (!next) {
            // The last picture stands until the source's duration, so it stays. Without a duration nothing else would
            // end the stream: there is no slot behind the one that the last picture reaches into.
            if (!open) break;
            pending = nullptr;
            if (bestOverlap <= 0 && HasValue(lastEnd)) best = nullptr;
            break;
        }
        pending = std::move(next);
        if (IsEndOfStream()) break;
    }
    return best;
}

void FilterFrameRate::RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) {
    Core::RecursiveMutexLock const guard(lock);
    Details::FrameGrid const grid(frameRate);
    frameIndex = grid.SlotAt(target);
    // Slots begin at whole microseconds: a position on such a begin belongs to the slot, though its exact begin may lie
    // a fraction behind it.
    if (grid.BeginOf(frameIndex + 1) == target) ++frameIndex;
    seekPosition = target;
    lastEnd = NO_VALUE;
    pending = nullptr;
    parentStream->RequestSeek(grid.BeginOf(frameIndex), seekContext);
}

}  // namespace Tarsel::Proc
