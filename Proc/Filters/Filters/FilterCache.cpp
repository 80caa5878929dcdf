#include "Proc/Filters/Filters/FilterCache.h"

#include <glog/logging.h>

#include <boost/exception/diagnostic_information.hpp>
#include <iterator>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/Time.h"

namespace Tarsel::Proc {

namespace {

constexpr int VERBOSITY = 30;

void FlushLog() {
    if (FLAGS_v >= VERBOSITY) google::FlushLogFiles(google::INFO);
}

/// False where one of them isn't known.
bool IsBefore(int64 a, int64 b) {
    return HasValue(a) && HasValue(b) && a < b;
}

template <class Item>
int64 EndOf(Item const& item) {
    return AddTime(item.GetTime(), item.GetDuration());
}

}  // namespace

// --- Set-up ----------------------------------------------------------------------------------------------------------

template <class T>
FilterCache<T>::FilterCache(iptr<T> source, iptr<FilterCacheController> const& controller, int64 prefetchSpan,
                            int64 cacheSpan)
    : SameKindStream<T>(std::move(source), false),
      prefetchSpan(prefetchSpan),
      controller(controller.get()),
      controllerOwner(controller),
      cacheSpan(cacheSpan),
      bufferPos(buffer.end()) {
    btThread = std::make_unique<Core::Thread>(UpdateBufferTask(*this));
}

template <class T>
FilterCache<T>::~FilterCache() {
    this->StopReaderThread();
    controller->RemoveStream(this);
    {
        Core::MutexLock const lock(btMutex);
        btCommand = EXIT;
    }
    btCondition.NotifyAll();
    btThread->Interrupt();
    btThread->Join();
}

template <class T>
void FilterCache<T>::Initialize(Core::Property const& property) {
    if (property.Name() != IFilterCacheController::STREAM_ID)
        TARSEL_THROW(std::logic_error, "incorrect cache stream name");
}

template <class T>
Core::Property FilterCache<T>::GetStatistic() {
    // The names that reports have always had, spelled out: no compiler writes them so.
    constexpr char const* NAME =
        std::is_same_v<T, IStreamVideo>   ? "Tarsel::Proc::FilterCache<class Tarsel::Proc::IStreamVideo>::GetStatistic"
        : std::is_same_v<T, IStreamAudio> ? "Tarsel::Proc::FilterCache<class Tarsel::Proc::IStreamAudio>::GetStatistic"
                                          : "Tarsel::Proc::FilterCache<class Tarsel::Proc::IStreamSubtitle>::"
                                            "GetStatistic";
    return this->parentStream->GetStatistic().Add(Core::MakeStatistics(NAME, statTime, itemsDelivered));
}

template <class T>
void FilterCache<T>::AcceptInternal(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, "FilterCache", Visitors::FRAME_TYPE_FILTER, nullptr);
}

template <class T>
void FilterCache<T>::IncreaseCacheSpan() {
    if (!cacheSpanIncreased.exchange(true)) ChangeCacheSpan(controller->GetCacheIncreaseSpan());
}

/// Meant: what goes is the step of now, also where another one came.
template <class T>
void FilterCache<T>::DecreaseCacheSpan() {
    if (cacheSpanIncreased.exchange(false)) ChangeCacheSpan(-controller->GetCacheIncreaseSpan());
}

template <class T>
void FilterCache<T>::ChangeCacheSpan(int64 difference) {
    int64 span = cacheSpan;
    while (!cacheSpan.compare_exchange_weak(span, AddTime(span, difference))) {
    }
}

template <class T>
void FilterCache<T>::SetLogicalPosition(int64 position) {
    logicalPosition = position;
    VLOG(VERBOSITY) << "The new logical position is " << T2S(position) << ".";
}

// --- The reader ------------------------------------------------------------------------------------------------------

template <class T>
iptr<typename FilterCache<T>::DataType> FilterCache<T>::ReadInternal() {
    VLOG(VERBOSITY) << "Locking the data buffer...";
    Core::MutexLock const bufferLock(bufferMutex);
    VLOG(VERBOSITY) << "Proceeding.";
    if (iptr<DataType> item = TakeNext()) return item;
    VLOG(VERBOSITY) << "The buffer is empty or has just exhausted.";
    Filling const filling = ReachesFarEnough() ? Filling::FILLED : Fill();
    if (filling == Filling::OVERRUN) {
        LOG(ERROR) << "Bad seek, buffer overrun!";
        TARSEL_THROW(std::logic_error, "buffer overrun");
    }
    Core::MutexLock const positionLock(positionMutex);
    // Meant: the last item of the source stays behind, and its repetition is not looked for.
    if (bufferPos == buffer.end() && filling == Filling::FILLED) {
        if (iptr<DataType> item = FindItem()) return item;
    }
    // As long as a filling ends with an item or with the source, no way leads here.
    if (buffer.empty() && filling == Filling::FILLED) {
        VLOG(10) << "Buffer overrun!";
        TARSEL_THROW(std::logic_error, "buffer overrun");
    }
    return nullptr;
}

template <class T>
iptr<typename FilterCache<T>::DataType> FilterCache<T>::TakeNext() {
    Core::MutexLock const positionLock(positionMutex);
    if (bufferPos == buffer.end()) return nullptr;
    VLOG(VERBOSITY) << "There is next data item.";
    iptr<DataType> item = *bufferPos++;
    if (bufferPos == buffer.end()) {
        // Meant: the last item waits until the buffer has been filled behind it.
        SetLogicalPosition(item->GetTime());
        return nullptr;
    }
    SetLogicalPosition(EndOf(*item));
    VLOG(VERBOSITY) << "Asking the BT for more data.";
    {
        Core::MutexLock const lock(btMutex);
        btCommand = READ;
    }
    btCondition.NotifyOne();
    ++itemsDelivered;
    return item;
}

template <class T>
bool FilterCache<T>::ReachesFarEnough() const {
    int64 const high = AddTime(logicalPosition, prefetchSpan);
    return !buffer.empty() && HasValue(high) && buffer.back()->GetTime() >= high;
}

template <class T>
typename FilterCache<T>::Bounds FilterCache<T>::GetBounds() const {
    int64 const position = logicalPosition;
    Bounds const bounds{SubTime(position, cacheSpan), AddTime(position, prefetchSpan)};
    if (HasValue(position))
        VLOG(VERBOSITY) << "The new buffer bounds are [" << T2S(bounds.low) << ", " << T2S(bounds.high) << "].";
    return bounds;
}

template <class T>
typename FilterCache<T>::Filling FilterCache<T>::Fill() {
    Bounds bounds = GetBounds();
    VLOG(VERBOSITY) << "Reading the data...";
    FlushLog();
    DropBehind(bounds.low);
    unsigned itemsRead = 0;
    bool appended = false;
    bool ended = false;
    for (;;) {
        iptr<DataType> item = this->parentStream->Read();
        if (!item) {
            VLOG(VERBOSITY) << "End of stream!";
            ended = true;
            break;
        }
        ++itemsRead;
        int64 const time = item->GetTime();
        if (!HasValue(logicalPosition)) {
            VLOG(VERBOSITY) << "We have just read the very first data item so the logical position should be set now "
                               "to that item.";
            SetLogicalPosition(time);
            bounds = GetBounds();
            DropBehind(bounds.low);
        }
        int64 const end = EndOf(*item);
        if (IsBefore(end, bounds.low)) {
            VLOG(VERBOSITY) << "This data item begins at " << T2S(time) << " and is " << T2S(item->GetDuration())
                            << " long so it is before the buffer; throwing it off!";
            continue;
        }
        if (IsBefore(bounds.high, time)) return Filling::OVERRUN;
        buffer.push_back(std::move(item));
        appended = true;
        if (IsBefore(bounds.high, end)) {
            VLOG(VERBOSITY) << "OK the buffer is filled.";
            break;
        }
    }
    VLOG(VERBOSITY) << itemsRead << " item(s) were pushed into the buffer.";
    return ended && !appended ? Filling::END : Filling::FILLED;
}

/// The thread that trims the window may have ended long ago, so the reader, who has come to the buffer's end, does it.
template <class T>
void FilterCache<T>::DropBehind(int64 low) {
    if (!HasValue(low)) return;
    auto kept = buffer.begin();
    for (auto item = buffer.begin(); item != buffer.end(); ++item) {
        // An item of unknown length goes by its start, and one of unknown time with the next one that goes.
        int64 const end = EndOf(**item);
        int64 const place = HasValue(end) ? end : (*item)->GetTime();
        if (!HasValue(place)) continue;
        if (place >= low) break;
        kept = std::next(item);
    }
    buffer.erase(buffer.begin(), kept);
}

template <class T>
iptr<typename FilterCache<T>::DataType> FilterCache<T>::FindItem() {
    VLOG(VERBOSITY) << "Looking for the data in the buffer.";
    int64 const position = logicalPosition;
    for (bufferPos = buffer.begin(); bufferPos != buffer.end(); ++bufferPos) {
        // Meant: the item stays the next one, so it comes twice.
        iptr<DataType> const& item = *bufferPos;
        int64 const end = EndOf(*item);
        if (!HasValue(item->GetTime()) || item->GetTime() > position || !IsBefore(position, end)) continue;
        SetLogicalPosition(end);
        ++itemsDelivered;
        return item;
    }
    return nullptr;
}

template <class T>
void FilterCache<T>::ReleaseInternalData() {
    Core::RecursiveMutexLock const api(this->apiLock);
    Core::MutexLock const bufferLock(bufferMutex);
    {
        Core::MutexLock const positionLock(positionMutex);
        {
            // A command that the thread hasn't heard yet would fill the buffer again.
            Core::MutexLock const lock(btMutex);
            btCommand = SLEEP;
        }
        buffer.clear();
        bufferPos = buffer.end();
    }
    SameKindStream<T>::ReleaseInternalData();
}

template <class T>
void FilterCache<T>::SetEndOfStream() {
    sourceEnded = true;
    SameKindStream<T>::SetEndOfStream();
}

// --- Seek ------------------------------------------------------------------------------------------------------------

template <class T>
void FilterCache<T>::RequestSeekInternal(int64 target, iptr<IRefCountable> const&) {
    seekForward = target > GetLogicalPosition();
    SetLogicalPosition(target);
    // What an earlier seek found that failed elsewhere says nothing about this one.
    seekFlags = SEEK_REQUESTED;
    controller->CheckLogicalPositions();
}

template <class T>
bool FilterCache<T>::IsOutside(int64 position) const {
    if (sourceEnded || buffer.empty()) return true;
    int64 const first = buffer.front()->GetTime();
    // A last item of unknown time lies in front of every position.
    return !HasValue(first) || position <= first || position >= buffer.back()->GetTime();
}

template <class T>
void FilterCache<T>::DoSeekInternal() {
    // The call that finds all caches asked does the seek.
    if (!controller->AllSeeksRequested()) return;
    Core::MutexLock bufferLock(bufferMutex);
    Core::MutexLock positionLock(positionMutex);
    int64 const position = logicalPosition;
    if (IsOutside(position)) {
        positionLock.unlock();
        bufferLock.unlock();
        controller->SeekAll(position, seekForward);
        return;
    }
    // Meant: strictly inside. A position at which an item begins belongs to none.
    for (bufferPos = buffer.begin(); bufferPos != buffer.end(); ++bufferPos) {
        int64 const time = (*bufferPos)->GetTime();
        if (!IsBefore(time, position) || !IsBefore(position, EndOf(**bufferPos))) continue;
        SetLogicalPosition(time);
        seekFlags |= SEEK_IN_BUFFER;
        controller->FinishSeekIfAllInBuffer();
        return;
    }
    TARSEL_THROW(std::logic_error, "buffer overrun");
}

template <class T>
void FilterCache<T>::StopAndClear() {
    Core::MutexLock const bufferLock(bufferMutex);
    Core::MutexLock const positionLock(positionMutex);
    {
        Core::MutexLock const lock(btMutex);
        btCommand = SLEEP;
    }
    btCondition.NotifyAll();
    // Meant: a sleeping thread ends by it for good; one on its way to the buffer takes it for a request to stop.
    btThread->Interrupt();
    buffer.clear();
    bufferPos = buffer.end();
    sourceEnded = false;
}

// --- The thread ------------------------------------------------------------------------------------------------------

template <class T>
void FilterCache<T>::UpdateBufferTask::operator()() const {
    while (SleepUntilAsked()) {
        try {
            Update();
        } catch (boost::thread_interrupted const&) {
            throw;
        } catch (...) {
            // The reader reads the same source and goes on behind the failure.
            LOG(ERROR) << boost::current_exception_diagnostic_information(true);
        }
    }
    VLOG(VERBOSITY) << "BT We are asked to stop sleeping and exit.";
}

template <class T>
bool FilterCache<T>::UpdateBufferTask::SleepUntilAsked() const {
    VLOG(VERBOSITY) << "BT Sleeping until asked for the data.";
    Core::MutexLock lock(cache->btMutex);
    while (cache->btCommand == SLEEP) cache->btCondition.Wait(lock);
    if (cache->btCommand == EXIT) return false;
    cache->btCommand = SLEEP;
    VLOG(VERBOSITY) << "BT Woke up!";
    return true;
}

template <class T>
void FilterCache<T>::UpdateBufferTask::Update() const {
    VLOG(VERBOSITY) << "BT Locking the data buffer...";
    Core::MutexLock const lock(cache->bufferMutex);
    VLOG(VERBOSITY) << "BT Proceeding.";
    VLOG(VERBOSITY) << "BT Reading the data...";
    FlushLog();
    unsigned const itemsPushed = FillWindow();
    if (itemsPushed > 0) cache->DecreaseCacheSpan();
    VLOG(VERBOSITY) << itemsPushed << " item(s) were pushed into the buffer.";
    TrimWindow();
}

/// An empty window is never full, and one that is there is while the reader has no position.
template <class T>
bool FilterCache<T>::UpdateBufferTask::IsWindowFull() const {
    if (cache->buffer.empty()) return false;
    int64 const ahead = SubTime(cache->buffer.back()->GetTime(), cache->prefetchSpan);
    return HasValue(ahead) && ahead >= cache->logicalPosition;
}

template <class T>
unsigned FilterCache<T>::UpdateBufferTask::FillWindow() const {
    for (unsigned itemsPushed = 0;; ++itemsPushed) {
        if (IsWindowFull()) return itemsPushed;
        try {
            Core::InterruptionPoint();
        } catch (boost::thread_interrupted const&) {
            VLOG(VERBOSITY) << "We are asked to stop reading and wait.";
            return itemsPushed;
        }
        // A seek asked for far ahead has moved the position already: everything up to there would be read and kept
        // while the seek waits for the buffer.
        if (cache->IsSeekRequested()) return itemsPushed;
        iptr<DataType> item = cache->parentStream->Read();
        if (!item) {
            VLOG(VERBOSITY) << "BT End of stream!";
            return itemsPushed;
        }
        Append(std::move(item));
    }
}

template <class T>
void FilterCache<T>::UpdateBufferTask::Append(iptr<DataType> item) const {
    cache->buffer.push_back(std::move(item));
    Core::MutexLock const lock(cache->positionMutex);
    if (cache->bufferPos != cache->buffer.end()) return;
    VLOG(VERBOSITY) << "BT Moving back the current position.";
    cache->bufferPos = std::prev(cache->buffer.end());
}

template <class T>
void FilterCache<T>::UpdateBufferTask::TrimWindow() const {
    Core::MutexLock const lock(cache->positionMutex);
    VLOG(VERBOSITY) << "BT Cleaning the buffer...";
    Buffer& items = cache->buffer;
    int64 const low = SubTime(cache->logicalPosition, cache->cacheSpan);
    unsigned itemsPopped = 0;
    // Without a position nothing goes, and an item without a time goes like an early one.
    for (; !items.empty() && items.front()->GetTime() < low; ++itemsPopped) {
        if (cache->bufferPos == items.begin()) {
            VLOG(VERBOSITY) << "BT OK this is the beginning.";
            break;
        }
        items.pop_front();
    }
    VLOG(VERBOSITY) << itemsPopped << " item(s) were popped from the buffer.";
}

template class FilterCache<IStreamVideo>;
template class FilterCache<IStreamAudio>;
template class FilterCache<IStreamSubtitle>;

}  // namespace Tarsel::Proc
