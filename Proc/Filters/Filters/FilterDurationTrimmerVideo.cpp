#include "Proc/Filters/Filters/FilterDurationTrimmerVideo.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace Tarsel::Proc {

namespace {

int64 NominalFrameDuration(IStreamVideo const& source) {
    auto const format = source.GetFormatCodec();
    if (!format) TARSEL_THROW(FilterException, "Source format codec must be present");
    Ratio const rate = format->GetFrameRate();
    if (rate.numerator() <= 0 || rate.denominator() <= 0) TARSEL_THROW(FilterException, "Wrong fps!");
    int64 const duration = AvRescale(SECOND, rate.denominator(), rate.numerator());
    if (!HasValue(duration)) return MAX_DURATION;
    return std::max<int64>(duration, 1);
}

}  // namespace

FilterDurationTrimmerVideo::FilterDurationTrimmerVideo(iptr<IStreamVideo> source)
    : FilterDurationTrimmerBase(std::move(source), "FilterDurationTrimmerVideo"),
      frameDuration(NominalFrameDuration(*parentStream)) {}

void FilterDurationTrimmerVideo::ReleaseInternalData() {
    {
        Core::RecursiveMutexLock const api(apiLock);
        heldFrame = nullptr;
    }
    FilterDurationTrimmerBase::ReleaseInternalData();
}

void FilterDurationTrimmerVideo::RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) {
    endReached = false;
    heldFrame = nullptr;
    seekPosition = target;
    parentStream->RequestSeek(target, seekContext);
}

iptr<IDataVideo> FilterDurationTrimmerVideo::ReadInternal() {
    if (!HasValue(seekPosition))
        TARSEL_THROW(Exception, "There was no initial seek before reading! Check application logic!");
    SettingsFilterDurationTrimmer const settings = CopySettings();
    while (!endReached) {
        iptr<IDataVideo> frame = NextFrame(settings.GetUseOriginalDuration());
        int const verdict = frame ? CorrectDataForDT(frame, seekPosition, settings.GetDuration()) : DT_BEHIND;
        if (verdict == DT_KEEP) {
            CountItem();
            return frame;
        }
        // A picture at the end of all numbers would repeat there, in front of the seek position, for ever.
        bool const stands = frame && frame->GetTime() == std::numeric_limits<int64>::max();
        if (verdict == DT_BEHIND || stands) {
            endReached = true;
            heldFrame = nullptr;
        }
    }
    return nullptr;
}

iptr<IDataVideo> FilterDurationTrimmerVideo::NextFrame(bool useOriginalDuration) {
    iptr<IDataVideo> next = ReadPlaced();
    if (!heldFrame) {
        if (!next) {
            next = MakeOwn(FindLastFrame(useOriginalDuration));
            if (!next) return nullptr;
            next->SetDuration(frameDuration);
            next->SetTime(seekPosition);
        }
        heldFrame = std::move(next);
        next = ReadPlaced();
    }
    if (!next) next = RepeatHeldFrame();
    return std::exchange(heldFrame, next);
}

iptr<IDataVideo> FilterDurationTrimmerVideo::RepeatHeldFrame() {
    // A frame of no length would repeat at one and the same time for ever.
    if (heldFrame->GetDuration() < frameDuration / 2 || heldFrame->GetDuration() <= 0) {
        heldFrame = MakeOwn(std::move(heldFrame));
        heldFrame->SetDuration(frameDuration);
    }
    int64 const length = heldFrame->GetDuration();
    int64 time = AddTime(heldFrame->GetTime(), length);
    // Repeats that end in front of the seek position would be dropped one by one: pass over them at once.
    if (int64 const missing = SubTime(seekPosition, time); missing > 0) time += missing / length * length;
    iptr<IDataVideo> repeat = heldFrame->Clone(false);
    repeat->SetTime(time);
    return repeat;
}

iptr<IDataVideo> FilterDurationTrimmerVideo::FindLastFrame(bool useOriginalDuration) {
    int64 length = parentStream->GetDuration();
    auto const format = parentStream->GetFormatCodec();
    int64 const original = format ? format->GetOriginalDuration() : NO_VALUE;
    if (useOriginalDuration && HasValue(original)) length = original;
    if (!HasValue(length)) {
        VLOG(21) << "Can't determine duration";
        return nullptr;
    }
    for (int64 const step : {2, 20, 200, 2000, 20000}) {
        // The seek would start a source again that was told to end.
        if (IsEndOfStream()) return nullptr;
        bool const reachesStart = length < 0 || frameDuration > length / step;
        int64 const position = reachesStart ? 0 : length - frameDuration * step;
        VLOG(31) << "Trying to get last frame. Seek to " << position;
        if (iptr<IDataVideo> frame = ReadToEnd(position)) {
            VLOG(31) << "Last frame has been bound at " << frame->GetTime();
            return frame;
        }
        if (position == 0) break;
    }
    VLOG(21) << "Can't get last frame";
    return nullptr;
}

iptr<IDataVideo> FilterDurationTrimmerVideo::ReadToEnd(int64 position) {
    parentStream->RequestSeek(position, nullptr);
    parentStream->DoSeek();
    iptr<IDataVideo> last;
    while (iptr<IDataVideo> frame = parentStream->Read()) last = std::move(frame);
    return last;
}

}  // namespace Tarsel::Proc
