#pragma once

#include <string>

#include "contracts/Core/Export.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Core/Types.h"

namespace Tarsel::Proc {

class GraphCRCData;

/// Takes the digests of all hash filters of a graph, from any thread.
class TARSEL_CONTRACTS_EXPORT IGraphDataCRCCollector : public virtual IRefCountable {
  public:
    ~IGraphDataCRCCollector() override;
    /// One item of a node; `timeStamp` in microseconds. Unlike in `GraphCRCData` the digest comes before the time.
    virtual void AddPacketCRCInfo(int64 graphNodeId, std::string const& crc, int64 timeStamp) = 0;
    /// The record so far. To be read when nobody adds any more.
    virtual GraphCRCData const& GetGraphCRCData() const = 0;
};

}  // namespace Tarsel::Proc
