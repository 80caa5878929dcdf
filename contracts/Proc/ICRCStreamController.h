#pragma once

#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

class GraphCRCData;

/// Puts a hash filter behind each stream that is added: items pass unchanged, and their digests and times go into one
/// record. A wrapper is told its node once, by `Initialize` with a property named `SOURCE_NODE_ID`.
class TARSEL_CONTRACTS_EXPORT ICRCStreamController : public virtual IStreamController {
  public:
    static constexpr char CLASS_ID[] = "CRCStreamController";
    /// Name of the property whose scalar is the node's id.
    static constexpr char SOURCE_NODE_ID[] = "SourceNodeId";

    ~ICRCStreamController() override;
    /// The record so far. To be read when none of the streams is read any more.
    virtual GraphCRCData const& GetGraphCRCData() const = 0;
};

}  // namespace Tarsel::Proc
