#include "Proc/Filters/Filters/SearchForStreamSettings.h"

#include <glog/logging.h>

namespace Tarsel::Proc {

StreamSettings SearchForStreamSettings(IStreamRaw& stream) {
    constexpr unsigned keysToStudy = 3;
    StreamSettings result;
    unsigned keys = 0;
    int64 lastKeyTime = NO_VALUE;
    while (keys < keysToStudy) {
        iptr<IDataPacket> const packet = stream.Read();
        if (!packet) break;
        int64 const time = packet->GetTime();
        VLOG(4001) << "Search for stream settings: pts: " << time << ", dts: " << packet->GetDecodingTime()
                   << ", dur: " << packet->GetDuration() << (packet->IsKeyFrame() ? " (key)" : "");
        if (!HasValue(time)) {
            result.invalidPts = true;
            break;
        }
        if (keys > 0 && time < lastKeyTime) result.openGop = true;
        if (!packet->IsKeyFrame()) continue;
        lastKeyTime = time;
        if (keys > 0 && result.shift == 0 && HasValue(packet->GetDecodingTime()))
            result.shift = SubTime(time, packet->GetDecodingTime());
        ++keys;
    }
    return result;
}

}  // namespace Tarsel::Proc
