#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Proc/IData.h"

namespace Tarsel::Host {

/// Reads several streams in step: of the packets that come next in each, the one with the lowest decoding time comes
/// first, so that a writer can interleave them. One thread.
class TARSEL_HOST_EXPORT StepReader {
  public:
    /// Gives the next packet of a stream by the stream's number; null at its end, behind which it isn't called again.
    using Fetch = std::function<iptr<Proc::IDataPacket>(std::size_t)>;

    StepReader(std::size_t count, Fetch fetch) : fetch(std::move(fetch)), lanes(count) {}

    /// The next packet, and the number of its stream; null at the end of all.
    iptr<Proc::IDataPacket> Read(std::size_t& number);

  private:
    struct Lane {
        iptr<Proc::IDataPacket> next;
        bool ended = false;
    };

    Fetch const fetch;
    std::vector<Lane> lanes;
};

}  // namespace Tarsel::Host
