#include "Proc/Filters/Filters/TFilterRepeat.h"

#include <limits>
#include <type_traits>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IStreamVisitor.h"
#include "contracts/Proc/SettingsFilterRepeat.h"

namespace Tarsel::Proc {

template <class U, class T>
iptr<TIFilterRepeat<U, T>> TFilterRepeat<TIFilterRepeat<U, T>>::Create(iptr<T> const& source) {
    return MakeShared<TFilterRepeat>(source);
}

template <class U, class T>
iptr<U> TFilterRepeat<TIFilterRepeat<U, T>>::CreateInitialized(iptr<T> const& source, Settings const& settings) {
    iptr<Interface> filter = Create(source);
    filter->Initialize(settings);
    return filter;
}

template <class U, class T>
void TFilterRepeat<TIFilterRepeat<U, T>>::Initialize(Core::Property const& property) {
    if (property.Name() != Interface::CLASS_ID)
        TARSEL_THROW(FilterException, "Filter was initialized with incorrect class (" + property.Name() + ")!");
}

template <class U, class T>
void TFilterRepeat<TIFilterRepeat<U, T>>::Initialize(Settings const& newSettings) {
    // The class is all that is looked at.
    static_cast<void>(dynamic_cast<SettingsFilterRepeat const&>(newSettings));
}

template <class U, class T>
Core::Property TFilterRepeat<TIFilterRepeat<U, T>>::GetStatistic() {
    constexpr char const* NAME =
        std::is_same_v<T, IStreamAudio>
            ? "Tarsel::Proc::TFilterRepeat<class Tarsel::Proc::TIFilterRepeat<class Tarsel::Proc::IStreamAudioEx,"
              "class Tarsel::Proc::IStreamAudio> >::GetStatistic"
            : "Tarsel::Proc::TFilterRepeat<class Tarsel::Proc::TIFilterRepeat<class Tarsel::Proc::IStreamVideoEx,"
              "class Tarsel::Proc::IStreamVideo> >::GetStatistic";
    Core::Property result = this->parentStream->GetStatistic();
    return result.Add(Core::MakeStatistics(NAME, processingTime, itemsDelivered));
}

template <class U, class T>
void TFilterRepeat<TIFilterRepeat<U, T>>::AcceptInternal(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, "TFilterRepeat", Visitors::FRAME_TYPE_FILTER, nullptr);
}

template <class U, class T>
void TFilterRepeat<TIFilterRepeat<U, T>>::ResetRepeat() {
    Core::RecursiveMutexLock const api(this->apiLock);
    heldData = nullptr;
    readStep = &TFilterRepeat::ReadFirst;
    repeatCount = -1;
}

template <class U, class T>
void TFilterRepeat<TIFilterRepeat<U, T>>::SetRepeatCount(int64 count) {
    Core::RecursiveMutexLock const api(this->apiLock);
    repeatCount = count;
}

template <class U, class T>
void TFilterRepeat<TIFilterRepeat<U, T>>::RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) {
    this->parentStream->RequestSeek(target, seekContext);
}

template <class U, class T>
iptr<typename TFilterRepeat<TIFilterRepeat<U, T>>::DataType> TFilterRepeat<TIFilterRepeat<U, T>>::ReadFirst() {
    iptr<DataType> item = this->parentStream->Read();
    if (!item) return nullptr;
    heldData = item;
    readStep = &TFilterRepeat::ReadRepeat;
    ++itemsDelivered;
    CountDown();
    return item;
}

template <class U, class T>
iptr<typename TFilterRepeat<TIFilterRepeat<U, T>>::DataType> TFilterRepeat<TIFilterRepeat<U, T>>::ReadRepeat() {
    // Meant: reads behind the last item, which give null, are counted too.
    ++itemsDelivered;
    iptr<DataType> item = heldData;
    CountDown();
    return item;
}

template <class U, class T>
void TFilterRepeat<TIFilterRepeat<U, T>>::CountDown() {
    if (repeatCount > std::numeric_limits<int64>::min()) --repeatCount;
    // Meant: tested for exactly 0, so that a count of 0, and one below, never ends.
    if (repeatCount == 0) heldData = nullptr;
}

template class TFilterRepeat<TIFilterRepeat<IStreamVideoEx, IStreamVideo>>;
template class TFilterRepeat<TIFilterRepeat<IStreamAudioEx, IStreamAudio>>;

}  // namespace Tarsel::Proc
