#include "Proc/Filters/Filters/FilterSpeedUpVideo.h"

#include <algorithm>
#include <utility>

#include "Proc/Filters/Filters/SpeedMap.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/IStreamVisitor.h"

namespace Tarsel::Proc {

FilterSpeedUpVideo::FilterSpeedUpVideo(iptr<IStreamVideo> source) : StreamImpl(std::move(source), false) {}

void FilterSpeedUpVideo::Initialize(Core::Property const&) {
    TARSEL_THROW(FilterException, "Method not implemented");
}

void FilterSpeedUpVideo::Initialize(Settings const& newSettings) {
    auto const& own = dynamic_cast<SettingsFilterSpeedUp const&>(newSettings);
    Details::RequireSpeed(own.GetSpeedUp());
    Core::RecursiveMutexLock const guard(lock);
    settings = own;
}

Core::Property FilterSpeedUpVideo::GetSettings() {
    TARSEL_THROW(FilterException, "Method not implemented");
}

Core::Property FilterSpeedUpVideo::GetStatistic() {
    Core::Property result = parentStream->GetStatistic();
    Core::RecursiveMutexLock const guard(lock);
    return result.Add(
        Core::MakeStatistics("Tarsel::Proc::FilterSpeedUpVideo::GetStatistic", processingTime, framesRead));
}

iptr<Conf::IFormatCodecVideo const> FilterSpeedUpVideo::GetFormatCodec() const {
    iptr<Conf::IFormatCodecVideo const> const format = parentStream->GetFormatCodec();
    if (!format) TARSEL_THROW(FilterException, "Source format codec must be present");
    iptr<Conf::IFormatCodecVideo> const clone = format->Clone();
    Core::RecursiveMutexLock const guard(lock);
    clone->SetFrameRate(Details::SpeedMap(settings.GetSpeedUp()).ToResult(format->GetFrameRate()));
    return clone;
}

int64 FilterSpeedUpVideo::GetDuration() const {
    int64 const duration = parentStream->GetDuration();
    Core::RecursiveMutexLock const guard(lock);
    return Details::SpeedMap(settings.GetSpeedUp()).ToResult(duration);
}

void FilterSpeedUpVideo::AcceptInternal(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, "FilterSpeedUpVideo", Visitors::FRAME_TYPE_FILTER, nullptr);
}

iptr<IDataVideo> FilterSpeedUpVideo::ReadInternal() {
    iptr<IDataVideo> frame = parentStream->Read();
    if (!frame) return nullptr;
    int64 const time = frame->GetTime();
    int64 const duration = frame->GetDuration();
    Core::RecursiveMutexLock const guard(lock);
    Details::SpeedMap const map(settings.GetSpeedUp());
    if (!HasValue(lastEnd)) lastEnd = map.ToResult(time);
    int64 const length = HasValue(duration) ? duration : 0;
    int64 const newEnd = HasValue(time) ? map.ToResult(AddTime(time, length)) : AddTime(lastEnd, map.ToResult(length));
    int64 newDuration = HasValue(newEnd) ? SubTime(newEnd, lastEnd) : map.ToResult(length);
    // A length of 0 is none, and a start that lies behind the end of its own picture gives a negative one.
    if (newDuration < 2) newDuration = 1;
    if (time != lastEnd || duration != newDuration) {
        frame = MakeOwn(std::move(frame));
        frame->SetTime(lastEnd);
        frame->SetDuration(newDuration);
    }
    ++framesRead;
    lastEnd = newEnd;
    return frame;
}

void FilterSpeedUpVideo::RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) {
    int64 const duration = parentStream->GetDuration();
    int64 sourceTarget = 0;
    {
        Core::RecursiveMutexLock const guard(lock);
        lastEnd = NO_VALUE;
        sourceTarget = Details::SpeedMap(settings.GetSpeedUp()).ToSource(target);
    }
    // The source's last microsecond, so that it still has something to give.
    if (HasValue(duration)) sourceTarget = std::min(sourceTarget, SubTime(duration, 1));
    parentStream->RequestSeek(std::max<int64>(sourceTarget, 0), seekContext);
}

}  // namespace Tarsel::Proc
