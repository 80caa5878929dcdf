#include "Proc/Filters/Filters/FilterCutControllerStreamImpl.h"

#include <type_traits>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Core/Property.h"
#include "contracts/Proc/IStreamVisitor.h"

namespace Tarsel::Proc {

using Core::AutoLock;

namespace {

template <class T>
constexpr char const* StatisticName() {
    if constexpr (std::is_same_v<T, IStreamVideo>)
        return "Tarsel::Proc::FilterCutControllerStreamImpl<class Tarsel::Proc::IStreamVideo>::GetStatistic";
    else if constexpr (std::is_same_v<T, IStreamAudio>)
        return "Tarsel::Proc::FilterCutControllerStreamImpl<class Tarsel::Proc::IStreamAudio>::GetStatistic";
    else
        return "Tarsel::Proc::FilterCutControllerStreamImpl<class Tarsel::Proc::IStreamSubtitle>::GetStatistic";
}

}  // namespace

template <class T>
FilterCutControllerStreamImpl<T>::FilterCutControllerStreamImpl(iptr<T> source, iptr<FilterCutController> controller)
    : StreamImpl<T, T>(std::move(source), false), controller(std::move(controller)) {}

template <class T>
FilterCutControllerStreamImpl<T>::~FilterCutControllerStreamImpl() {
    this->StopReaderThread();
    controller->RemoveStream(this);
}

template <class T>
void FilterCutControllerStreamImpl<T>::Initialize(Core::Property const&) {
    TARSEL_THROW(FilterException, "Method not implemented");
}

template <class T>
Core::Property FilterCutControllerStreamImpl<T>::GetSettings() {
    TARSEL_THROW(FilterException, "Method not implemented");
}

template <class T>
int64 FilterCutControllerStreamImpl<T>::GetDuration() const {
    return controller->Source2Result(this->parentStream->GetDuration());
}

template <class T>
Core::Property FilterCutControllerStreamImpl<T>::GetStatistic() {
    Core::Property result = this->parentStream->GetStatistic();
    result.Add(Core::MakeStatistics(StatisticName<T>(), 0, itemsRead));
    return result;
}

template <class T>
void FilterCutControllerStreamImpl<T>::AcceptInternal(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, "FilterCutControllerStreamImpl", Visitors::FRAME_TYPE_FILTER, nullptr);
}

template <class T>
void FilterCutControllerStreamImpl<T>::ReleaseInternalData() {
    {
        AutoLock const lock(readLock);
        prefetched.clear();
    }
    StreamImpl<T, T>::ReleaseInternalData();
}

// --- Reading ---------------------------------------------------------------------------------------------------------

template <class T>
iptr<typename T::DataType> FilterCutControllerStreamImpl<T>::ReadInternal() {
    if (controller->CutsAreAbsent()) return this->parentStream->Read();
    while (!this->IsEndOfStream()) {
        iptr<DataType> item;
        int64 removedAt = NO_VALUE;
        Step step = Step::Deliver;
        {
            AutoLock const lock(readLock);
            step = ReadStep(item, removedAt);
        }
        if (step == Step::Deliver) return item;
        if (step == Step::WaitForJump)
            controller->AwaitJump();
        else
            controller->JumpOverInterval(removedAt);
    }
    return nullptr;
}

template <class T>
typename FilterCutControllerStreamImpl<T>::Step FilterCutControllerStreamImpl<T>::ReadStep(iptr<DataType>& item,
                                                                                           int64& removedAt) {
    if (jumping) return Step::WaitForJump;
    iptr<DataType> source;
    if (!prefetched.empty()) {
        source = std::move(prefetched.front());
        prefetched.pop_front();
    } else if (!pastEnd) {
        source = ReadSource();
    }
    if (!source) return Step::Deliver;
    item = controller->MapItem(source);
    if (item) {
        ++itemsRead;
        return Step::Deliver;
    }
    removedAt = source->GetTime();
    pastEnd = controller->IsCutPastEnd(removedAt);
    return pastEnd ? Step::Deliver : Step::Jump;
}

template <class T>
iptr<typename T::DataType> FilterCutControllerStreamImpl<T>::ReadSource() {
    while (iptr<DataType> item = this->parentStream->Read()) {
        int64 const time = item->GetTime();
        if (HasValue(time) && HasValue(repeatTime)) {
            if (time < repeatTime) continue;
            if (time == repeatTime && repeatCount > 0) {
                --repeatCount;
                continue;
            }
            repeatTime = NO_VALUE;
        }
        lastTimeCount = time == lastTime ? lastTimeCount + 1 : 1;
        lastTime = time;
        return item;
    }
    return nullptr;
}

// --- Seeking ---------------------------------------------------------------------------------------------------------

template <class T>
void FilterCutControllerStreamImpl<T>::ForgetPlace() {
    pastEnd = false;
    lastTime = repeatTime = NO_VALUE;
    lastTimeCount = repeatCount = 0;
}

template <class T>
void FilterCutControllerStreamImpl<T>::RequestSeekInternal(int64 position, iptr<IRefCountable> const& seekContext) {
    controller->PrepareCuts();
    controller->ForgetJumps();
    AutoLock const lock(readLock);
    ForgetPlace();
    this->parentStream->RequestSeek(controller->Result2Source(position), seekContext);
}

template <class T>
void FilterCutControllerStreamImpl<T>::DoSeekInternal() {
    AutoLock const lock(readLock);
    this->parentStream->DoSeek();
    prefetched.clear();
}

// --- Jumps -----------------------------------------------------------------------------------------------------------

template <class T>
bool FilterCutControllerStreamImpl<T>::BeginJump(int64 end) {
    AutoLock const lock(readLock);
    int64 const position = this->parentStream->GetPosition();
    if (HasValue(position) && position >= end) return false;
    jumping = true;
    return true;
}

template <class T>
void FilterCutControllerStreamImpl<T>::SourceMoved() {
    AutoLock const lock(readLock);
    repeatTime = lastTime;
    repeatCount = lastTimeCount;
}

template <class T>
void FilterCutControllerStreamImpl<T>::EndJump() {
    AutoLock const lock(readLock);
    jumping = false;
}

template <class T>
void FilterCutControllerStreamImpl<T>::StartSearch(int64 start, int64 end) {
    searchThread.Start([this, start, end] { Process(start, end); });
}

template <class T>
void FilterCutControllerStreamImpl<T>::Process(int64 start, int64) {
    while (!this->IsEndOfStream()) {
        AutoLock const lock(readLock);
        int64 const position = this->parentStream->GetPosition();
        if (HasValue(position) && position >= start) return;
        iptr<DataType> item = ReadSource();
        if (!item) return;
        int64 const time = item->GetTime();
        // All of it is kept, what lies ahead of the range too: the reader has not had it yet.
        prefetched.push_back(std::move(item));
        if (HasValue(time) && time >= start) return;
    }
}

template class FilterCutControllerStreamImpl<IStreamVideo>;
template class FilterCutControllerStreamImpl<IStreamAudio>;
template class FilterCutControllerStreamImpl<IStreamSubtitle>;

}  // namespace Tarsel::Proc
