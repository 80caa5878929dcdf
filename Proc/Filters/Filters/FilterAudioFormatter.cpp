#include "Proc/Filters/Filters/FilterAudioFormatter.h"

#include <stdexcept>
#include <string>
#include <utility>

#include "Proc/Filters/Filters/EmptyBlocks.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/IStreamVisitor.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsFilterAudioFormatter.h"

namespace Tarsel::Proc {

iptr<IFilterAudioFormatter> FilterAudioFormatter::Create(iptr<IStreamAudio> const& source,
                                                         iptr<IAlgorithmFactory const> const& algorithmFactory) {
    return iptr<IFilterAudioFormatter>(new FilterAudioFormatter(source, algorithmFactory));
}

FilterAudioFormatter::FilterAudioFormatter(iptr<IStreamAudio> source,
                                           iptr<IAlgorithmFactory const> const& algorithmFactory)
    : StreamImpl(std::move(source), false) {
    if (!algorithmFactory) TARSEL_THROW(std::invalid_argument, "algorithmFactory is NULL");
    formatter = algorithmFactory->CreateAudioFormatter(IAudioFormatter::CLASS_ID, ImplNames::DEFAULT);
    if (!formatter)
        TARSEL_THROW(AlgorithmException,
                     std::string("There is no any implementation for ") + IAudioFormatter::CLASS_ID);
}

void FilterAudioFormatter::Initialize(Core::Property const& property) {
    if (property.Name() != IFilterAudioFormatter::CLASS_ID)
        TARSEL_THROW(FilterException, "Filter was initialized with incorrect class (" + property.Name() + ")!");
    Core::RecursiveMutexLock const guard(lock);
    Core::Property const& own = property[IAudioFormatter::CLASS_ID];
    int64 const duration = property[IFilterAudioFormatter::PACKET_DURATION].GetInt64();
    formatter->Initialize(own);
    formatterSettings = own;
    SetPacketDuration(duration);
}

void FilterAudioFormatter::Initialize(Settings const& newSettings) {
    SetPacketDuration(dynamic_cast<SettingsFilterAudioFormatter const&>(newSettings).GetPacketDuration());
}

Core::Property FilterAudioFormatter::GetSettings() {
    Core::RecursiveMutexLock const guard(lock);
    return Core::Property(IFilterAudioFormatter::CLASS_ID)
        .SetChild(IAudioFormatter::CLASS_ID, formatterSettings)
        .SetChild(IFilterAudioFormatter::PACKET_DURATION, packetDuration);
}

void FilterAudioFormatter::SetPacketDuration(int64 duration) {
    Core::RecursiveMutexLock const guard(lock);
    packetDuration = duration;
}

Core::Property FilterAudioFormatter::GetStatistic() {
    Core::Property result = parentStream->GetStatistic();
    Core::RecursiveMutexLock const guard(lock);
    return result.Add(Core::MakeStatistics("Tarsel::Proc::FilterAudioFormatter::GetStatistic", 0, blocksRead));
}

iptr<Conf::IFormatCodecAudio const> FilterAudioFormatter::GetFormatCodec() const {
    iptr<Conf::IFormatCodecAudio const> const source = parentStream->GetFormatCodec();
    if (!source) TARSEL_THROW(FilterException, "Source format codec must be present");
    iptr<Conf::IFormatCodec> format = source->Clone();
    Core::RecursiveMutexLock const guard(lock);
    formatter->AdaptFormatCodec(format);
    return iptr<Conf::IFormatCodecAudio const>(dynamic_cast<Conf::IFormatCodecAudio const*>(format.get()));
}

void FilterAudioFormatter::ReleaseInternalData() {
    {
        Core::RecursiveMutexLock const api(apiLock);
        Core::RecursiveMutexLock const guard(lock);
        // From 0 on is meant, not from where the source stands: only a seek lets the source's times count again.
        formatter->Reset(0);
    }
    StreamImpl::ReleaseInternalData();
}

void FilterAudioFormatter::AcceptInternal(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, "FilterAudioFormatter", Visitors::FRAME_TYPE_FILTER, nullptr);
}

iptr<IDataAudio> FilterAudioFormatter::ReadInternal() {
    Core::RecursiveMutexLock const guard(lock);
    Details::EmptyBlocks emptyBlocks;
    while (!IsEndOfStream()) {
        iptr<IDataAudio> block = formatter->Pop(packetDuration, false);
        bool ended = false;
        if (!block) {
            iptr<IDataAudio> const input = parentStream->Read();
            ended = !input;
            if (ended) {
                block = formatter->Pop(packetDuration, true);
            } else {
                formatter->Push(input);
                emptyBlocks.Count(input->GetSampleCount() <= 0);
            }
        }
        if (block) ++blocksRead;
        if (block || ended) return block;
    }
    return nullptr;
}

void FilterAudioFormatter::RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) {
    Core::RecursiveMutexLock const guard(lock);
    formatter->Reset(NO_VALUE);
    parentStream->RequestSeek(target, seekContext);
}

}  // namespace Tarsel::Proc
