#include "host/media/StepReader.h"

#include "contracts/Core/Time.h"

namespace Tarsel::Host {

namespace {

int64 OrderOf(Proc::IData const& item) {
    auto const* const packet = dynamic_cast<Proc::IDataPacket const*>(&item);
    int64 const decoding = packet ? packet->GetDecodingTime() : NO_VALUE;
    return HasValue(decoding) ? decoding : item.GetTime();
}

}  // namespace

template <class Item>
iptr<Item> BasicStepReader<Item>::Read(std::size_t& number) {
    Lane* first = nullptr;
    int64 lowest = 0;
    for (std::size_t i = 0; i < lanes.size(); ++i) {
        Lane& lane = lanes[i];
        if (!lane.next && !lane.ended) {
            lane.next = fetch(i);
            lane.ended = !lane.next;
        }
        if (!lane.next) continue;
        int64 const time = OrderOf(*lane.next);
        if (first && time >= lowest) continue;
        first = &lane;
        number = i;
        lowest = time;
    }
    return first ? std::exchange(first->next, nullptr) : nullptr;
}

template class BasicStepReader<Proc::IDataPacket>;
template class BasicStepReader<Proc::IData>;

}  // namespace Tarsel::Host
