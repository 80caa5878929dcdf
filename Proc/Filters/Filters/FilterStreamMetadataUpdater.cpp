#include "Proc/Filters/Filters/FilterStreamMetadataUpdater.h"

#include <type_traits>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IStreamVisitor.h"

namespace Tarsel::Proc {

template <class T, class TEx>
FilterStreamMetadataUpdater<T, TEx>::FilterStreamMetadataUpdater(iptr<T> source, Settings const& settings)
    : StreamImpl<T, TEx>(std::move(source), false),
      settings(dynamic_cast<SettingsStreamMetadataUpdater const&>(settings)) {}

template <class T, class TEx>
void FilterStreamMetadataUpdater<T, TEx>::Initialize(Core::Property const&) {
    TARSEL_THROW(FilterException, "Method not implemented");
}

template <class T, class TEx>
void FilterStreamMetadataUpdater<T, TEx>::Initialize(Settings const& newSettings) {
    auto const& own = dynamic_cast<SettingsStreamMetadataUpdater const&>(newSettings);
    Core::MutexLock const lock(settingsLock);
    settings = own;
}

template <class T, class TEx>
Core::Property FilterStreamMetadataUpdater<T, TEx>::GetStatistic() {
    // The names that reports have always had, spelled out: no compiler writes them so.
    constexpr char const* NAME = std::is_same_v<T, IStreamAudio>
                                     ? "Tarsel::Proc::FilterStreamMetadataUpdater<class Tarsel::Proc::IStreamAudio,"
                                       "class Tarsel::Proc::IStreamAudioEx>::GetStatistic"
                                     : "Tarsel::Proc::FilterStreamMetadataUpdater<class Tarsel::Proc::IStreamVideo,"
                                       "class Tarsel::Proc::IStreamVideoEx>::GetStatistic";
    Core::Property result = this->parentStream->GetStatistic();
    Core::MutexLock const lock(settingsLock);
    return result.Add(Core::MakeStatistics(NAME, processingTime, itemsRead));
}

template <class T, class TEx>
iptr<typename T::FormatType const> FilterStreamMetadataUpdater<T, TEx>::GetFormatCodec() const {
    iptr<FormatType const> const format = this->parentStream->GetFormatCodec();
    if (!format) TARSEL_THROW(FilterException, "Source format codec must be present");
    iptr<FormatType> const clone = format->Clone();
    Core::MutexLock const lock(settingsLock);
    clone->SetMetadata(settings.GetProperty());
    return clone;
}

template <class T, class TEx>
void FilterStreamMetadataUpdater<T, TEx>::AcceptInternal(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, "FilterStreamMetadataUpdater", Visitors::FRAME_TYPE_FILTER, nullptr);
}

template <class T, class TEx>
iptr<typename FilterStreamMetadataUpdater<T, TEx>::DataType> FilterStreamMetadataUpdater<T, TEx>::ReadInternal() {
    iptr<DataType> item = this->parentStream->Read();
    if (item) {
        Core::MutexLock const lock(settingsLock);
        ++itemsRead;
    }
    return item;
}

template <class T, class TEx>
void FilterStreamMetadataUpdater<T, TEx>::RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) {
    this->parentStream->RequestSeek(target, seekContext);
}

template class FilterStreamMetadataUpdater<IStreamAudio, IStreamAudioEx>;
template class FilterStreamMetadataUpdater<IStreamVideo, IStreamVideoEx>;

}  // namespace Tarsel::Proc
