#include "Proc/Filters/Filters/SeekControllerStreamImpl.h"

#include <type_traits>
#include <utility>

namespace Tarsel::Proc {

namespace {

constexpr char SEEK_DISABLED[] = "Seek is disabled for this stream. You have to use FilterSeekController.";

}  // namespace

template <class T>
SeekControllerStreamImpl<T>::SeekControllerStreamImpl(iptr<T> source, iptr<FilterSeekController> controller)
    : SameKindStream<T>(std::move(source), false), controller(std::move(controller)) {}

template <class T>
SeekControllerStreamImpl<T>::~SeekControllerStreamImpl() {
    this->StopReaderThread();
    controller->RemoveStream(this);
}

template <class T>
Core::Property SeekControllerStreamImpl<T>::GetStatistic() {
    // The names that reports have always had, spelled out: no compiler writes them so.
    constexpr char const* NAME =
        std::is_same_v<T, IStreamVideo>
            ? "Tarsel::Proc::SeekControllerStreamImpl<class Tarsel::Proc::IStreamVideo>::GetStatistic"
        : std::is_same_v<T, IStreamAudio>
            ? "Tarsel::Proc::SeekControllerStreamImpl<class Tarsel::Proc::IStreamAudio>::GetStatistic"
            : "Tarsel::Proc::SeekControllerStreamImpl<class Tarsel::Proc::IStreamRaw>::GetStatistic";
    return this->parentStream->GetStatistic().Add(Core::MakeStatistics(NAME, statTime, itemsRead));
}

template <class T>
IStreamSeekController::StreamLock SeekControllerStreamImpl<T>::LockStream() {
    return std::make_shared<std::unique_lock<Core::Mutex>>(streamMutex);
}

template <class T>
void SeekControllerStreamImpl<T>::ResetForSeek() {
    struct Enabled {
        explicit Enabled(bool& flag) : disabled(flag) { disabled = false; }
        ~Enabled() { disabled = true; }
        bool& disabled;
    };
    Core::RecursiveMutexLock const api(this->apiLock);
    Enabled const enabled(seekDisabled);
    sourceRead = releasedBehindRead = false;
    returnPosition = NO_VALUE;
    // The base forgets its own state; the position means nothing here.
    this->RequestSeek(0, nullptr);
}

template <class T>
void SeekControllerStreamImpl<T>::ReturnAfterRelease(int64 position) {
    Core::RecursiveMutexLock const api(this->apiLock);
    if (!releasedBehindRead) return;
    ResetForSeek();
    returnPosition = position;
}

template <class T>
void SeekControllerStreamImpl<T>::ReleaseInternalData() {
    Core::RecursiveMutexLock const api(this->apiLock);
    // A source that was only sought goes on from there.
    releasedBehindRead = releasedBehindRead || sourceRead;
    SameKindStream<T>::ReleaseInternalData();
}

template <class T>
void SeekControllerStreamImpl<T>::AcceptInternal(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, "SeekControllerStreamImpl", Visitors::FRAME_TYPE_FILTER, nullptr);
}

template <class T>
iptr<typename SeekControllerStreamImpl<T>::DataType> SeekControllerStreamImpl<T>::ReadInternal() {
    if (HasValue(returnPosition)) {
        this->parentStream->RequestSeek(returnPosition, nullptr);
        this->parentStream->DoSeek();
        returnPosition = NO_VALUE;
    }
    sourceRead = true;
    iptr<DataType> item = this->parentStream->Read();
    if (item) ++itemsRead;
    return item;
}

template <class T>
void SeekControllerStreamImpl<T>::RequestSeekInternal(int64, iptr<IRefCountable> const&) {
    if (seekDisabled) TARSEL_THROW(FilterException, SEEK_DISABLED);
}

template <class T>
void SeekControllerStreamImpl<T>::DoSeekInternal() {
    TARSEL_THROW(FilterException, SEEK_DISABLED);
}

template class SeekControllerStreamImpl<IStreamVideo>;
template class SeekControllerStreamImpl<IStreamAudio>;
template class SeekControllerStreamImpl<IStreamRaw>;

}  // namespace Tarsel::Proc
