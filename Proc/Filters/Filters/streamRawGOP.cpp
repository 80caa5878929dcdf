#include "Proc/Filters/Filters/streamRawGOP.h"

#include <glog/logging.h>

#include <algorithm>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Core/Property.h"
#include "contracts/Proc/IStreamVisitor.h"
#include "contracts/Proc/Time.h"

namespace Tarsel::Proc {

namespace {

int64 StartOf(PacketQueueWithGOP& queue) {
    if (queue.Count() == 0) TARSEL_THROW(FilterException, "Queue hasn't packets");
    return queue.GetGopStart();
}

}  // namespace

StreamRawGOP::StreamRawGOP(iptr<IStreamRaw> owner, PacketQueueWithGOP& queue)
    : owner(std::move(owner)), queue(queue), start(StartOf(queue)) {
    VLOG(4001) << "GOP start time: " << T2S(start);
    VLOG(4001) << "Start time: " << start << " End time: " << queue.GetNextGopStart();
}

void StreamRawGOP::Initialize(Core::Property const&) {
    TARSEL_THROW(FilterException, "Method not implemented");
}

Core::Property StreamRawGOP::GetSettings() {
    TARSEL_THROW(FilterException, "Method not implemented");
}

iptr<IDataPacket> StreamRawGOP::Read() {
    if (endOfStream || queue.Count() == 0) return nullptr;
    return queue.Pop();
}

void StreamRawGOP::RequestSeek(int64, iptr<IRefCountable> seekContext) {
    iptr<IDecoder> decoder(dynamic_cast<IDecoder*>(seekContext.get()));
    endOfStream = false;
    if (!decoder || std::find(decoders.begin(), decoders.end(), decoder) != decoders.end()) return;
    decoders.insert(decoders.begin(), std::move(decoder));
}

void StreamRawGOP::DoSeek() {
    // Taken out first: a decoder may seek again from within.
    auto const waiting = std::exchange(decoders, {});
    for (auto const& decoder : waiting)
        if (!decoder->FinishSeek()) VLOG(2) << "Decoder seek result = 0\n";
}

Core::Property StreamRawGOP::GetStatistic() {
    return Core::MakeStatistics("Tarsel::Proc::StreamRawGOP::GetStatistic", 0, 0);
}

void StreamRawGOP::Accept(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, "StreamRawGOP", Visitors::FRAME_TYPE_FILTER, nullptr);
}

}  // namespace Tarsel::Proc
