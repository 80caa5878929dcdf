#include "Proc/Filters/Filters/FilterReverseVideo.h"

#include <algorithm>
#include <utility>

#include "contracts/Conf/PixFmtDescription.h"

namespace Tarsel::Proc {

namespace {

/// Items in a row that don't get on in time, before the source is taken for one that never ends.
constexpr int MAX_STANDING_FRAMES = 100000;
/// A chunk's length in hundredths of a second: the short and the long one, and the step down.
constexpr int64 SHORT_SCALE = 100;
constexpr int64 LONG_SCALE = 200;
constexpr int64 SCALE_STEP = 20;

int64 PictureBytes(PixFmt format, int width, int height) {
    auto const* const description = Conf::PixFmtDescription::Find(format);
    auto const bytes = static_cast<int64>(description ? description->GetAllPlanesFullSize(width, height) : 0);
    // Pictures outside the processor's memory take about as much as four bytes a pixel.
    return bytes > 0 ? bytes : std::max<int64>(1, int64{4} * width * height);
}

/// The fuller the memory, the shorter the step back.
int64 LengthByFill(double fill, int64 scale) {
    if (fill >= 0.9) return 100000;
    if (fill >= 0.85) return 200000;
    if (fill >= 0.8) return 400000;
    if (fill >= 0.75) return 600000;
    if (fill >= 0.7) return 800000;
    return scale * (SECOND / 100);
}

int64 DivisorByFill(double fill) {
    if (fill >= 0.85) return 1;
    return fill >= 0.7 ? 2 : 3;
}

}  // namespace

// --- Set-up and the consumer -----------------------------------------------------------------------------------------

template <class T, class TEx>
FilterReverse<T, TEx>::FilterReverse(iptr<T> source)
    : Base(std::move(source), "FilterReverse",
           // The name that reports have always had, spelled out: no compiler writes it so.
           "Tarsel::Proc::FilterReverse<class Tarsel::Proc::IStreamVideo,class Tarsel::Proc::IStreamVideoEx>::"
           "GetStatistic") {}

template <class T, class TEx>
void FilterReverse<T, TEx>::CheckSettings(SettingsFilterReverse const& settings) const {
    if (settings.GetMaxBufferSize() <= 0) TARSEL_THROW(FilterException, "Wrong settings!");
}

template <class T, class TEx>
iptr<typename FilterReverse<T, TEx>::DataType> FilterReverse<T, TEx>::Finish(typename Base::Entry entry) {
    BufferData& data = *entry.data;
    iptr<DataType> frame = MakeOwn(std::move(data.frame));
    frame->SetTime(SubTime(this->sourceDuration, data.end));
    if (!HasValue(frame->GetDuration())) frame->SetDuration(SubTime(data.end, data.start));
    return frame;
}

// --- The thread ------------------------------------------------------------------------------------------------------

template <class T, class TEx>
void FilterReverse<T, TEx>::ReadBackwards(int64 end) {
    iptr<Conf::IFormatCodecVideo const> const format = this->GetFormatCodec();
    if (format) {
        frameRate = format->GetFrameRate();
        frameBytes = PictureBytes(format->GetPixelFormat(), format->GetWidth(), format->GetHeight());
    }
    int64 scale = SHORT_SCALE;
    int64 searched = 0;  // length of the last step that found nothing
    while (end > 0) {
        // Pictures that end long before the stated duration are found in ever longer steps.
        int64 const length = std::max(ChunkLength(scale), searched > this->sourceDuration / 2 ? end : 2 * searched);
        int64 const start = std::max<int64>(0, end - length);
        int64 landed = NO_VALUE;
        if (!Land(start, landed) || !this->AwaitEmptyQueue()) return;
        Filling filling{start, end, searched == 0 ? start : end, {}};
        bool const missed = HasValue(landed) && landed >= end;
        if (!missed && !Fill(filling)) return;
        if (LandedInsideAPicture(filling)) DropFirst(filling);

        bool const empty = filling.chunk.IsEmpty();
        // Compared without a division: 1.1 pictures read for nothing per picture wanted.
        if (empty || 10 * filling.forNothing < 11 * filling.wanted)
            scale = LONG_SCALE;
        else if (scale > SHORT_SCALE)
            scale -= SCALE_STEP;
        searched = empty ? length : 0;
        if (empty && start == 0) return;
        if (empty) continue;
        // The chunk begins where the source has really landed, early or late: all before it is still owed.
        int64 const next = filling.chunk.frames.front()->start;
        this->Push(std::move(filling.chunk), 0);
        // No progress would be an endless loop.
        if ((start == 0 && !filling.dropped) || next >= end) return;
        end = next;
    }
}

/// Whether the source has cut off what its first picture shows before the position, as a reversed source does: that
/// picture is then read again, whole, with the chunk in front.
template <class T, class TEx>
bool FilterReverse<T, TEx>::LandedInsideAPicture(Filling const& filling) const {
    auto const& frames = filling.chunk.frames;
    if (frames.empty() || filling.start == 0 || frames.front()->start != filling.start) return false;
    auto const lengthOf = [](BufferData const& data) { return SubTime(data.end, data.start); };
    int64 const usual = frames.size() > 1           ? lengthOf(*frames[1])
                        : frameRate.numerator() > 0 ? AvRescale(SECOND, frameRate.denominator(), frameRate.numerator())
                                                    : 0;
    return lengthOf(*frames.front()) < SubTime(usual, 1);
}

template <class T, class TEx>
void FilterReverse<T, TEx>::DropFirst(Filling& filling) {
    Core::MutexLock const lock(this->queueLock);
    DropFirstLocked(filling);
}

template <class T, class TEx>
void FilterReverse<T, TEx>::DropFirstLocked(Filling& filling) {
    this->CountBytes(-filling.chunk.frames.front()->bytes);
    filling.chunk.frames.pop_front();
    filling.dropped = true;
    --filling.wanted;
    ++filling.forNothing;
}

template <class T, class TEx>
int64 FilterReverse<T, TEx>::ChunkLength(int64 scale) {
    int64 const limit = this->maxBufferSize;
    ReverseMemory::SetLimit(limit);
    int64 const used = ReverseMemory::GetUsed();
    double const fill = static_cast<double>(used) / static_cast<double>(limit);
    int64 const byFill = LengthByFill(fill, scale);
    int64 const framesFree = std::max<int64>(1, (limit - used) / frameBytes);
    if (frameRate.numerator() <= 0) return byFill;
    int64 const byMemory = AvRescale(AvRescale(framesFree, SECOND * 8 / 10, DivisorByFill(fill)),
                                     frameRate.denominator(), frameRate.numerator());
    return HasValue(byMemory) ? std::max<int64>(1, std::min(byMemory, byFill)) : byFill;
}

template <class T, class TEx>
bool FilterReverse<T, TEx>::Land(int64 start, int64& landed) {
    return this->SeekSource(start) && this->CallSource([&] { landed = this->parentStream->GetPosition(); });
}

template <class T, class TEx>
bool FilterReverse<T, TEx>::Fill(Filling& filling) {
    auto& frames = filling.chunk.frames;
    int64 reached = NO_VALUE;  // end of the last picture, or its start where it has no duration
    auto const close = [&](int64 time) {
        if (!frames.empty() && !HasValue(frames.back()->end))
            frames.back()->end = std::max(frames.back()->start, std::min(time, filling.end));
    };
    for (int standing = 0; standing < MAX_STANDING_FRAMES;) {
        iptr<DataType> frame;
        if (!this->ReadSource(frame)) return false;
        if (!frame) {
            close(filling.end);
            return true;
        }
        int64 const start = HasValue(frame->GetTime()) ? frame->GetTime() : reached;
        if (!HasValue(start)) {
            VLOG(21) << "A picture without a time is skipped";
            ++standing;
            ++filling.forNothing;
            continue;
        }
        close(start);
        int64 const end = AddTime(start, frame->GetDuration());
        int64 const progress = HasValue(end) ? end : start;
        standing = HasValue(reached) && progress <= reached ? standing + 1 : 0;
        reached = progress;
        if (start >= filling.end) {
            ++filling.forNothing;
            return true;
        }
        if (!Keep(std::move(frame), start, end, filling)) return false;
        if (HasValue(end) && end >= filling.end) return true;
    }
    TARSEL_THROW(FilterException, "Source makes no progress in time");
}

template <class T, class TEx>
bool FilterReverse<T, TEx>::Keep(iptr<DataType> frame, int64 start, int64 end, Filling& filling) {
    auto& frames = filling.chunk.frames;
    if (HasValue(end) && end > filling.end) {
        frame = MakeOwn(std::move(frame));
        frame->CutEnd(end - filling.end);
        end = filling.end;
    }
    int64 const bytes = PictureBytes(frame->GetPixelFormat(), frame->GetWidth(), frame->GetHeight());
    frameBytes = std::max(frameBytes, bytes);
    Core::MutexLock lock(this->queueLock);
    for (ReverseMemory::SetLimit(this->maxBufferSize); ReverseMemory::IsFull();) {
        if (this->MustEnd()) return false;
        if (!this->current.IsEmpty() || !this->queue.empty()) {
            // The consumer still has pictures of this filter, and frees memory with each one that it takes.
            this->WaitForConsumer(lock);
        } else if (!frames.empty() && frames.front()->start < filling.droppable) {
            DropFirstLocked(filling);
        } else {
            // Nothing that this filter waits for could free memory: it goes above the limit, by this chunk at most.
            break;
        }
    }
    frames.push_back(MakeShared<BufferData>(std::move(frame), start, end, ReverseMemory::Share(bytes)));
    this->CountBytes(bytes);
    ++filling.wanted;
    return true;
}

template class FilterReverse<IStreamVideo, IStreamVideoEx>;

}  // namespace Tarsel::Proc
