#include "Proc/Filters/Filters/FilterMD5StreamRaw.h"

#include <string>
#include <utility>

#include "Proc/Filters/Filters/FilterMD5StreamBase.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataMD5.h"
#include "contracts/Proc/IStreamVisitor.h"

namespace Tarsel::Proc {

FilterMD5StreamRaw::FilterMD5StreamRaw(iptr<IStreamRaw> source, iptr<IGraphDataCRCCollector> collector)
    : source(Details::RequireHashArguments(std::move(source), collector)), collector(std::move(collector)) {}

IStreamRaw& FilterMD5StreamRaw::Source() const {
    if (!source) TARSEL_THROW(FilterException, "The source filter has not been set");
    return *source;
}

void FilterMD5StreamRaw::Initialize(Core::Property const& property) {
    sourceNodeId = Details::GetSourceNodeId(property);
}

iptr<IDataPacket> FilterMD5StreamRaw::Read() {
    iptr<IDataPacket> packet = Source().Read();
    if (!packet) return nullptr;
    std::string const crc = CalculatePacketDataMD5(packet);
    if (!crc.empty()) collector->AddPacketCRCInfo(sourceNodeId, crc, packet->GetTime());
    ++packetCount;
    return packet;
}

// Meant: the record isn't rolled back. Packets that are read again behind a seek are recorded again.
void FilterMD5StreamRaw::RequestSeek(int64 position, iptr<IRefCountable> seekContext) {
    Source().RequestSeek(position, std::move(seekContext));
}

Core::Property FilterMD5StreamRaw::GetStatistic() {
    return Source().GetStatistic().Add(
        Core::MakeStatistics("Tarsel::Proc::FilterMD5StreamRaw::GetStatistic", processingTime, packetCount.load()));
}

void FilterMD5StreamRaw::Accept(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, "FilterMD5StreamRaw", Visitors::FRAME_TYPE_FILTER, nullptr);
    Source().Accept(visitor);
}

}  // namespace Tarsel::Proc
