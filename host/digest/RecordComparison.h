#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Core/Time.h"
#include "contracts/Proc/GraphCRCData.h"
#include "host/graph/GraphDocument.h"

namespace Tarsel::Host {

/// What is different about one item of a node.
struct ItemDifference {
    enum class Kind { Missing, Extra, Moved };

    Kind kind = Kind::Missing;
    /// Place in the first record's list, not set for an extra item; in the second one's, not set for a missing one.
    std::optional<u32> first;
    std::optional<u32> second;
    /// Microseconds: of the first record's item, for an extra one of the second's. Of a moved one, where it went.
    int64 timeUs = NO_VALUE;
    int64 movedToUs = NO_VALUE;
    /// Of a missing item: the next difference is the extra one that stands in its place, with another digest. Of an
    /// extra item: the one before is the missing one.
    bool isChange = false;

    bool operator==(ItemDifference const&) const = default;
};

/// A node of two records. One that a record doesn't have is in it without items.
struct NodeComparison {
    NodeId id = 0;
    std::size_t firstItems = 0;
    std::size_t secondItems = 0;
    std::size_t missing = 0;
    std::size_t extra = 0;
    std::size_t moved = 0;
    /// In the order in which the items stand. What is left over on both sides at one place is paired by its times, in
    /// order: an item whose digest changed is a missing and an extra one next to each other. The rest goes by its times
    /// between those, a missing item ahead of an extra one.
    std::vector<ItemDifference> differences;

    bool IsEqual() const { return differences.empty(); }
};

/// Two records, node by node, ascending by id. Names of files and the count of items don't take part.
struct RecordComparison {
    std::vector<NodeComparison> nodes;

    TARSEL_HOST_EXPORT bool IsEqual() const;
};

/// Aligns the items of each node as a text comparison aligns lines, see `AlignItems`: items of one digest on both sides
/// are the same ones, "moved" where their times differ. What is left of the first record is missing, of the second
/// extra. Time: items times the logarithm of their number.
TARSEL_HOST_EXPORT RecordComparison CompareRecords(Proc::GraphCRCData const& first, Proc::GraphCRCData const& second);

}  // namespace Tarsel::Host
