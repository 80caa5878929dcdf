#pragma once

#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Proc/IData.h"

namespace Tarsel::Host {

/// Reads several streams in step: of the items that come next in each, the one with the lowest time comes first, by the
/// time of decoding for packets, so that a writer can interleave them. One thread.
template <class Item>
class TARSEL_HOST_EXPORT BasicStepReader {
  public:
    /// Gives the next item of a stream by the stream's number; null at its end, behind which it isn't called again.
    using Fetch = std::function<iptr<Item>(std::size_t)>;

    BasicStepReader(std::size_t count, Fetch fetch) : fetch(std::move(fetch)), lanes(count) {}

    /// The next item, and the number of its stream; null at the end of all.
    iptr<Item> Read(std::size_t& number);

  private:
    struct Lane {
        iptr<Item> next;
        bool ended = false;
    };

    Fetch const fetch;
    std::vector<Lane> lanes;
};

extern template class BasicStepReader<Proc::IDataPacket>;
extern template class BasicStepReader<Proc::IData>;

using StepReader = BasicStepReader<Proc::IDataPacket>;

}  // namespace Tarsel::Host
