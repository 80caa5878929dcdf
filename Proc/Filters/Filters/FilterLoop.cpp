#include "Proc/Filters/Filters/FilterLoop.h"

#include <algorithm>
#include <type_traits>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IStreamVisitor.h"

namespace Tarsel::Proc {

namespace {

/// Where an output time lies in a source that is repeated. A source of no length has only its start; of one whose
/// length isn't known nothing is known of the repeats either.
int64 PlaceInSource(int64 target, int64 sourceDuration) {
    if (!HasValue(sourceDuration)) return target;
    if (sourceDuration <= 0) return 0;
    int64 const place = target % sourceDuration;
    return place < 0 ? place + sourceDuration : place;
}

}  // namespace

template <class T, class TEx>
void FilterLoop<T, TEx>::Initialize(Core::Property const&) {
    TARSEL_THROW(FilterException, "Method not implemented");
}

template <class T, class TEx>
void FilterLoop<T, TEx>::Initialize(Settings const& newSettings) {
    auto const& own = dynamic_cast<SettingsFilterLoop const&>(newSettings);
    Core::RecursiveMutexLock const lock(mutex);
    settings = own;
}

template <class T, class TEx>
Core::Property FilterLoop<T, TEx>::GetSettings() {
    TARSEL_THROW(FilterException, "Method not implemented");
}

template <class T, class TEx>
int64 FilterLoop<T, TEx>::GetDuration() const {
    Core::RecursiveMutexLock const lock(mutex);
    return settings.GetDuration();
}

template <class T, class TEx>
Core::Property FilterLoop<T, TEx>::GetStatistic() {
    constexpr char const* NAME = std::is_same_v<T, IStreamAudio> ? "Tarsel::Proc::FilterLoopAudio::GetStatistic"
                                                                 : "Tarsel::Proc::FilterLoopVideo::GetStatistic";
    Core::Property result = this->parentStream->GetStatistic();
    Core::RecursiveMutexLock const lock(mutex);
    return result.Add(Core::MakeStatistics(NAME, processingTime, itemsRead));
}

template <class T, class TEx>
void FilterLoop<T, TEx>::AcceptInternal(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, std::is_same_v<T, IStreamAudio> ? "FilterLoopAudio" : "FilterLoopVideo",
                    Visitors::FRAME_TYPE_FILTER, nullptr);
}

template <class T, class TEx>
void FilterLoop<T, TEx>::BeginPass(bool whole) {
    passIsWhole = whole;
    passGaveItems = false;
    passAdvanced = false;
}

template <class T, class TEx>
iptr<typename FilterLoop<T, TEx>::DataType> FilterLoop<T, TEx>::ReadRepeated() {
    iptr<DataType> item = this->parentStream->Read();
    // A stream that was told to end isn't started again.
    if (item || this->IsEndOfStream()) return item;
    // Items without a duration would be repeated for ever.
    if (passIsWhole && passGaveItems && !passAdvanced) return nullptr;
    this->parentStream->RequestSeek(0, nullptr);
    this->parentStream->DoSeek();
    BeginPass(true);
    return this->parentStream->Read();
}

template <class T, class TEx>
iptr<typename FilterLoop<T, TEx>::DataType> FilterLoop<T, TEx>::ReadInternal() {
    Core::RecursiveMutexLock const lock(mutex);
    if (position >= GetDuration()) return nullptr;
    iptr<DataType> item = ReadRepeated();
    if (!item) return nullptr;
    // Meant: an item that reaches beyond the end isn't cut, it keeps all its samples and is only told shorter.
    int64 const length = std::clamp<int64>(item->GetDuration(), 0, SubTime(GetDuration(), position));
    if (item->GetTime() != position || item->GetDuration() != length) {
        item = MakeOwn(std::move(item));
        item->SetTime(position);
        item->SetDuration(length);
    }
    position = AddTime(position, length);
    passGaveItems = true;
    passAdvanced = passAdvanced || length > 0;
    ++itemsRead;
    return item;
}

template <class T, class TEx>
void FilterLoop<T, TEx>::RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) {
    Core::RecursiveMutexLock const lock(mutex);
    position = HasValue(target) ? target : 0;
    if (!HasValue(sourceDuration)) sourceDuration = this->parentStream->GetDuration();
    int64 const place = PlaceInSource(position, sourceDuration);
    BeginPass(place <= 0);
    this->parentStream->RequestSeek(place, seekContext);
}

template <class T, class TEx>
void FilterLoop<T, TEx>::DoSeekInternal() {
    Core::RecursiveMutexLock const lock(mutex);
    this->parentStream->DoSeek();
}

template class FilterLoop<IStreamVideo, IStreamVideoEx>;
template class FilterLoop<IStreamAudio, IStreamAudioEx>;

}  // namespace Tarsel::Proc
