#pragma once

#include <cstddef>
#include <string>

#include "contracts/Core/Export.h"
#include "contracts/Proc/GraphCRCData.h"
#include "host/digest/RecordComparison.h"

namespace Tarsel::Host {

/// What is told of two records. Keeps them by reference.
class TARSEL_HOST_EXPORT ComparisonReport {
  public:
    /// Differences of a node that the text shows, unless more are asked for.
    static constexpr std::size_t FEW = 5;

    ComparisonReport(Proc::GraphCRCData const& first, Proc::GraphCRCData const& second);

    bool IsEqual() const { return comparison.IsEqual(); }
    /// One JSON document, without a line break at its end.
    std::string ToJson() const;
    /// For people: one line when the records are equal; else one for all of it, one for each node that differs, and one
    /// for each of its first `shown` differences. Tells in front where the records name other files.
    std::string ToText(std::size_t shown = FEW) const;

  private:
    std::string NodeText(NodeComparison const& node, std::size_t shown) const;

    Proc::GraphCRCData const& first;
    Proc::GraphCRCData const& second;
    RecordComparison const comparison;
};

}  // namespace Tarsel::Host
