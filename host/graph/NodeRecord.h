#pragma once

#include <atomic>
#include <exception>
#include <string>

#include "contracts/Core/Export.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Core/Time.h"
#include "host/graph/GraphDocument.h"

namespace Tarsel::Host {

/// Items without progress in time after which a node is taken for endless.
inline constexpr int64 DEFAULT_STALL_LIMIT = 1000000;

/// What one node of a graph has done. Filled by its `NodeMeter`; any thread may read the counters.
class TARSEL_HOST_EXPORT NodeRecord : public RefCounted {
  public:
    NodeRecord(NodeId id, JsonPointer pointer) : id(id), pointer(std::move(pointer)) {}
    ~NodeRecord() override;

    NodeId const id;
    JsonPointer const pointer;

    /// Reads that gave an item, and reads that gave null.
    std::atomic<uint64> items{0};
    std::atomic<uint64> nulls{0};
    /// Nanoseconds inside the node's calls, with and without what its inputs took on the same thread. What a node
    /// waits for another thread, as for a cache's, is its own.
    std::atomic<int64> inclusive{0};
    std::atomic<int64> exclusive{0};

    /// Rethrows the failure in flight as `GraphException` that names the node and keeps the text. One that names a
    /// node already, a lack of memory and an interruption pass as they are. Call it inside a handler.
    [[noreturn]] void Rethrow() const;
    /// The failure of a node that gives items for ever.
    [[noreturn]] void FailStalled(int64 limit) const;
};

/// The time from construction to destruction, given to a record. Timers of one thread nest: what runs inside an inner
/// one isn't the outer one's own.
class TARSEL_HOST_EXPORT NodeTimer {
  public:
    explicit NodeTimer(NodeRecord& record);
    ~NodeTimer();
    NodeTimer(NodeTimer const&) = delete;
    NodeTimer& operator=(NodeTimer const&) = delete;

  private:
    NodeRecord& record;
    NodeTimer* const outer;
    int64 const start;
    int64 inside = 0;  // of the timers that ran inside this one
};

/// Tells progress in time from standing still.
class TARSEL_HOST_EXPORT StallGuard {
  public:
    explicit StallGuard(int64 limit) : limit(limit) {}

    /// A seek: times may begin anywhere.
    void Restart() {
        furthest = NO_VALUE;
        ended = false;
    }
    /// Each item. True once the limit is reached.
    bool Note(int64 time, int64 end);
    /// Null. One counts behind each seek, for whoever seeks an empty node for ever; a filter that fills up may ask its
    /// ended source as often as it likes. True once the limit is reached.
    bool NoteEnd();
    int64 GetLimit() const { return limit; }

  private:
    int64 const limit;
    int64 furthest = NO_VALUE;
    int64 standing = 0;  // items since the last progress; a seek alone is none
    bool ended = false;
};

}  // namespace Tarsel::Host
