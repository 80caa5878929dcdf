#include "Proc/Filters/Filters/FilterMD5StreamBase.h"

#include <stdexcept>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/ICRCStreamController.h"
#include "contracts/Proc/IStreamVisitor.h"

namespace Tarsel::Proc {

int64 Details::GetSourceNodeId(Core::Property const& property) {
    if (property.Name() != ICRCStreamController::SOURCE_NODE_ID)
        TARSEL_THROW(FilterException, "Source node Id in graph is not specified");
    return property.GetInt64();
}

template <class T>
iptr<T> Details::RequireHashArguments(iptr<T> source, iptr<IGraphDataCRCCollector> const& collector) {
    if (!source) TARSEL_THROW(std::invalid_argument, "source is NULL");
    if (!collector) TARSEL_THROW(std::invalid_argument, "crcDataCollector is NULL");
    return source;
}

template <class T>
FilterMD5StreamBase<T>::FilterMD5StreamBase(iptr<T> source, iptr<IGraphDataCRCCollector> collector, Digest digest,
                                            char const* name, char const* statisticName)
    // Looked at ahead of the base, which has a text of its own for a null source.
    : StreamImpl<T, T>(Details::RequireHashArguments(std::move(source), collector), false),
      digest(digest),
      name(name),
      statisticName(statisticName),
      collector(std::move(collector)) {}

template <class T>
Core::Property FilterMD5StreamBase<T>::GetStatistic() {
    return this->parentStream->GetStatistic().Add(
        Core::MakeStatistics(statisticName, processingTime, packetCount.load()));
}

template <class T>
void FilterMD5StreamBase<T>::AcceptInternal(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, name, Visitors::FRAME_TYPE_FILTER, nullptr);
}

template <class T>
iptr<typename FilterMD5StreamBase<T>::DataType> FilterMD5StreamBase<T>::ReadInternal() {
    iptr<DataType> item = this->parentStream->Read();
    if (!item) return nullptr;
    collector->AddPacketCRCInfo(sourceNodeId, digest(item), item->GetTime());
    ++packetCount;
    return item;
}

// Meant: the record isn't rolled back. Items that are read again behind a seek are recorded again.
template <class T>
void FilterMD5StreamBase<T>::RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) {
    this->parentStream->RequestSeek(target, seekContext);
}

template iptr<IStreamRaw> Details::RequireHashArguments(iptr<IStreamRaw>, iptr<IGraphDataCRCCollector> const&);
template class FilterMD5StreamBase<IStreamVideo>;
template class FilterMD5StreamBase<IStreamAudio>;
template class FilterMD5StreamBase<IStreamSubtitle>;

}  // namespace Tarsel::Proc
