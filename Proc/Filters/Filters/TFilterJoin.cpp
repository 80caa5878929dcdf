#include "Proc/Filters/Filters/TFilterJoin.h"

#include <algorithm>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IStreamVisitor.h"

namespace Tarsel::Proc {

template <class I>
void TFilterJoin<I>::AddStream(iptr<StreamType> const& stream, iptr<IFilterSeekController> const& controller) {
    if (!stream) TARSEL_THROW(std::invalid_argument, "source is NULL");
    // A length below 0 is none: starts never fall.
    int64 const reported = stream->GetDuration();
    int64 const length = HasValue(reported) ? std::max<int64>(reported, 0) : NO_VALUE;
    stream->ReleaseInternalData();
    clips.push_back({stream, controller, knownDuration, length, false});
    duration = AddTime(duration, length);
    if (HasValue(length)) knownDuration = AddTime(knownDuration, length);
    // Its owner may use it until the join is read.
    Touch(clips.size() - 1);
}

template <class I>
void TFilterJoin<I>::Initialize(Core::Property const& property) {
    if (property.Name() != I::CLASS_ID)
        TARSEL_THROW(FilterException, "Filter was initialized with incorrect class (" + property.Name() + ")!");
}

template <class I>
Core::Property TFilterJoin<I>::GetSettings() {
    return Core::Property(I::CLASS_ID);
}

// --- Seek ------------------------------------------------------------------------------------------------------------

template <class I>
std::size_t TFilterJoin<I>::FindClip(int64 target) const {
    // The clips that have a length follow one another without a hole, so that one at most holds the target: the last
    // one that begins at or before it.
    auto const behind = std::upper_bound(clips.begin(), clips.end(), target,
                                         [](int64 time, Clip const& clip) { return time < clip.start; });
    if (behind != clips.begin()) {
        Clip const& clip = *(behind - 1);
        if (HasValue(clip.duration) && SubTime(target, clip.start) < clip.duration)
            return static_cast<std::size_t>(behind - clips.begin() - 1);
    }
    return clips.size() - 1;
}

template <class I>
void TFilterJoin<I>::Touch(std::size_t index) {
    if (clips[index].touched) return;
    touchedClips.push_back(index);
    clips[index].touched = true;
}

template <class I>
void TFilterJoin<I>::ReleaseTouchedClips() {
    std::sort(touchedClips.begin(), touchedClips.end());
    // A failure leaves the list as it is, and the next seek begins again.
    for (std::size_t const index : touchedClips) clips[index].stream->ReleaseInternalData();
    std::erase_if(touchedClips, [this](std::size_t index) {
        clips[index].touched = clips[index].controller != nullptr;
        return !clips[index].touched;
    });
}

template <class I>
void TFilterJoin<I>::RequestSeek(int64 target, iptr<IRefCountable> seekContext) {
    if (clips.empty()) TARSEL_THROW(std::logic_error, "Join stream count cannot be less than one.");
    toldToEnd = false;
    std::size_t const index = FindClip(target);
    if (index != currentIndex) ReleaseTouchedClips();
    currentIndex = index;
    Touch(index);
    Clip const& clip = clips[index];
    int64 const local = SubTime(target, clip.start);
    if (!clip.controller) {
        clip.stream->RequestSeek(local, std::move(seekContext));
        return;
    }
    clip.controller->Seek(local);
    position = AddTime(clip.stream->GetPosition(), clip.start);
}

template <class I>
void TFilterJoin<I>::DoSeek() {
    if (!HasCurrentClip()) return;
    Clip const& clip = clips[currentIndex];
    if (clip.controller) return;
    clip.stream->DoSeek();
    position = AddTime(clip.stream->GetPosition(), clip.start);
}

template <class I>
bool TFilterJoin<I>::FinishSeek() {
    if (!HasCurrentClip()) return false;
    Clip const& clip = clips[currentIndex];
    return clip.controller ? true : clip.stream->FinishSeek();
}

// --- Reading ---------------------------------------------------------------------------------------------------------

template <class I>
iptr<typename TFilterJoin<I>::DataType> TFilterJoin<I>::Read() {
    while (HasCurrentClip()) {
        Clip const& clip = clips[currentIndex];
        if (iptr<DataType> item = clip.stream->Read()) {
            Place(item, clip.start);
            position = AddTime(item->GetTime(), item->GetDuration());
            return item;
        }
        // The next clip's start would take back that the stream was told to end.
        if (toldToEnd) return nullptr;
        clip.stream->ReleaseInternalData();
        // Behind the last clip the join stays, also when another one is added later, until it is sought.
        if (++currentIndex == clips.size()) currentIndex = BEHIND_END;
        if (HasCurrentClip()) BeginCurrentClip();
    }
    return nullptr;
}

template <class I>
void TFilterJoin<I>::BeginCurrentClip() {
    Touch(currentIndex);
    Clip const& clip = clips[currentIndex];
    if (clip.controller) {
        clip.controller->Seek(0);
        return;
    }
    clip.stream->RequestSeek(0, nullptr);
    clip.stream->DoSeek();
    clip.stream->FinishSeek();
}

template <class I>
void TFilterJoin<I>::Place(iptr<DataType>& item, int64 start) {
    bool moves = HasValue(item->GetTime());
    if constexpr (std::is_same_v<DataType, IDataPacket>) moves = moves || HasValue(item->GetDecodingTime());
    if (start == 0 || !moves) return;
    item = MakeOwn(std::move(item));
    item->SetTime(AddTime(item->GetTime(), start));
    if constexpr (std::is_same_v<DataType, IDataPacket>) item->SetDecodingTime(AddTime(item->GetDecodingTime(), start));
}

// --- All clips -------------------------------------------------------------------------------------------------------

template <class I>
iptr<typename TFilterJoin<I>::FormatType const> TFilterJoin<I>::GetFormatCodec() const {
    if (clips.empty()) TARSEL_THROW(std::logic_error, "@todo");
    return clips.front().stream->GetFormatCodec();
}

template <class I>
Core::Property TFilterJoin<I>::GetStatistic() {
    // The names that reports have always had, spelled out: no compiler writes them so.
    constexpr char const* NAME =
        std::is_same_v<StreamType, IStreamVideo>
            ? "Tarsel::Proc::TFilterJoin<class Tarsel::Proc::TIFilterJoin<class Tarsel::Proc::IStreamVideo> "
              ">::GetStatistic"
        : std::is_same_v<StreamType, IStreamAudio>
            ? "Tarsel::Proc::TFilterJoin<class Tarsel::Proc::TIFilterJoin<class Tarsel::Proc::IStreamAudio> "
              ">::GetStatistic"
            : "Tarsel::Proc::TFilterJoin<class Tarsel::Proc::TIFilterJoin<class Tarsel::Proc::IStreamRaw> "
              ">::GetStatistic";
    Core::Property result = Core::MakeStatistics(NAME, 0, 0);
    for (Clip const& clip : clips) result.Add(clip.stream->GetStatistic());
    return result;
}

template <class I>
void TFilterJoin<I>::SetEndOfStream() {
    toldToEnd = true;
    for (Clip const& clip : clips) clip.stream->SetEndOfStream();
}

template <class I>
bool TFilterJoin<I>::IsEndOfStream() {
    return std::all_of(clips.begin(), clips.end(), [](Clip const& clip) { return clip.stream->IsEndOfStream(); });
}

template <class I>
void TFilterJoin<I>::ReleaseInternalData() {
    for (Clip const& clip : clips) clip.stream->ReleaseInternalData();
}

template <class I>
void TFilterJoin<I>::Accept(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, "TFilterJoin", Visitors::FRAME_TYPE_FILTER, nullptr);
    for (Clip const& clip : clips) clip.stream->Accept(visitor);
}

template class TFilterJoin<TIFilterJoin<IStreamVideo>>;
template class TFilterJoin<TIFilterJoin<IStreamAudio>>;
template class TFilterJoin<TIFilterJoin<IStreamRaw>>;

iptr<TIFilterJoin<IStreamVideo>> FilterJoinVideo::Create() {
    return MakeShared<FilterJoinVideo>();
}

iptr<TIFilterJoin<IStreamAudio>> FilterJoinAudio::Create() {
    return MakeShared<FilterJoinAudio>();
}

iptr<TIFilterJoin<IStreamRaw>> FilterJoinRaw::Create() {
    return MakeShared<FilterJoinRaw>();
}

MediaType FilterJoinRaw::GetMediaType() const {
    return clips.empty() ? MEDIA_TYPE_NONE : clips.front().stream->GetMediaType();
}

}  // namespace Tarsel::Proc
