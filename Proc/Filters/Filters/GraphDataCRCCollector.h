#pragma once

#include "contracts/Core/Mutex.h"
#include "contracts/Proc/GraphCRCData.h"
#include "contracts/Proc/IGraphDataCRCCollector.h"

namespace Tarsel::Proc {

/// One record for all hash filters of a controller.
///
/// Threads: `AddPacketCRCInfo` from any, and items of one thread keep their order. `GetGraphCRCData` doesn't lock: it
/// is for when nobody adds any more.
class GraphDataCRCCollector final : public IGraphDataCRCCollector, public RefCounted {
  public:
    void AddPacketCRCInfo(int64 graphNodeId, std::string const& crc, int64 timeStamp) override;
    GraphCRCData const& GetGraphCRCData() const override;

  private:
    GraphCRCData data TARSEL_GUARDED_BY(mutex);
    /// Taken last of all locks, and held over nothing but the entry itself.
    Core::RecursiveMutex mutex;
};

}  // namespace Tarsel::Proc
