#include "Proc/Filters/Filters/OneFrameRepeater.h"

#include <algorithm>
#include <type_traits>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IStreamVisitor.h"

namespace Tarsel::Proc {

template <class T>
OneFrameRepeater<T>::OneFrameRepeater(iptr<T> source, iptr<FilterRepeatController> controller)
    : StreamImpl<T, T>(std::move(source), false), controller(std::move(controller)) {}

template <class T>
OneFrameRepeater<T>::~OneFrameRepeater() {
    this->StopReaderThread();
    controller->RemoveStream(this);
}

template <class T>
void OneFrameRepeater<T>::Initialize(Core::Property const&) {
    TARSEL_THROW(FilterException, "Method not implemented");
}

template <class T>
Core::Property OneFrameRepeater<T>::GetSettings() {
    TARSEL_THROW(FilterException, "Method not implemented");
}

template <class T>
Core::Property OneFrameRepeater<T>::GetStatistic() {
    constexpr char const* NAME =
        std::is_same_v<T, IStreamVideo>
            ? "Tarsel::Proc::OneFrameRepeater<class Tarsel::Proc::IStreamVideo>::GetStatistic"
        : std::is_same_v<T, IStreamAudio>
            ? "Tarsel::Proc::OneFrameRepeater<class Tarsel::Proc::IStreamAudio>::GetStatistic"
            : "Tarsel::Proc::OneFrameRepeater<class Tarsel::Proc::IStreamSubtitle>::GetStatistic";
    Core::Property result = this->parentStream->GetStatistic();
    return result.Add(Core::MakeStatistics(NAME, processingTime, readCount));
}

template <class T>
void OneFrameRepeater<T>::AcceptInternal(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, "OneFrameRepeater", Visitors::FRAME_TYPE_FILTER, nullptr);
}

template <class T>
iptr<typename OneFrameRepeater<T>::DataType> OneFrameRepeater<T>::ReadInternal() {
    if (position >= controller->GetRedefineDuration()) return nullptr;
    // Meant: a read that the source answers with null is counted too.
    ++readCount;
    if (!heldData) heldData = MakeOwn(this->parentStream->Read());
    if (!heldData) return nullptr;
    heldData->SetTime(position);
    // Meant: an item of no duration repeats at one time for ever.
    position = AddTime(position, std::max<int64>(heldData->GetDuration(), 0));
    return heldData->Clone(false);
}

template <class T>
void OneFrameRepeater<T>::RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) {
    position = HasValue(target) ? target : 0;
    seekReachesSource = target == 0;
    if (seekReachesSource) this->parentStream->RequestSeek(0, seekContext);
}

template <class T>
void OneFrameRepeater<T>::DoSeekInternal() {
    if (seekReachesSource) this->parentStream->DoSeek();
}

template class OneFrameRepeater<IStreamVideo>;
template class OneFrameRepeater<IStreamAudio>;
template class OneFrameRepeater<IStreamSubtitle>;

}  // namespace Tarsel::Proc
