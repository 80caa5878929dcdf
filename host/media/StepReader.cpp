#include "host/media/StepReader.h"

#include <utility>

#include "contracts/Core/Time.h"

namespace Tarsel::Host {

iptr<Proc::IDataPacket> StepReader::Read(std::size_t& number) {
    Lane* first = nullptr;
    int64 lowest = 0;
    for (std::size_t i = 0; i < lanes.size(); ++i) {
        Lane& lane = lanes[i];
        if (!lane.next && !lane.ended) {
            lane.next = fetch(i);
            lane.ended = !lane.next;
        }
        if (!lane.next) continue;
        int64 const decoding = lane.next->GetDecodingTime();
        int64 const time = HasValue(decoding) ? decoding : lane.next->GetTime();
        if (first && time >= lowest) continue;
        first = &lane;
        number = i;
        lowest = time;
    }
    return first ? std::exchange(first->next, nullptr) : nullptr;
}

}  // namespace Tarsel::Host
