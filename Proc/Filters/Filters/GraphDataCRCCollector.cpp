#include "Proc/Filters/Filters/GraphDataCRCCollector.h"

namespace Tarsel::Proc {

void GraphDataCRCCollector::AddPacketCRCInfo(int64 graphNodeId, std::string const& crc, int64 timeStamp) {
    Core::RecursiveMutexLock const lock(mutex);
    data.AddPacketCRCInfo(graphNodeId, timeStamp, crc);
}

// Meant: a lock could only guard the handing out of the reference, not what the caller reads through it.
GraphCRCData const& GraphDataCRCCollector::GetGraphCRCData() const TARSEL_NO_THREAD_SAFETY_ANALYSIS {
    return data;
}

}  // namespace Tarsel::Proc
