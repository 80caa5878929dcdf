#pragma once

#include "contracts/Core/Types.h"

namespace Tarsel::Proc {

/// What the cache controller asks of its caches.
class IFilterCache {
  public:
    virtual ~IFilterCache() = default;
    /// What the cache keeps behind its reader, microseconds.
    virtual int64 GetCacheSpan() const = 0;
    /// Lengthens it by the controller's step, and gives that back. It holds at most one step: the second call in a row
    /// of one of them does nothing.
    virtual void IncreaseCacheSpan() = 0;
    virtual void DecreaseCacheSpan() = 0;
    /// Stops the cache's reading ahead and forgets all items. Waits for an item that is being read from the source.
    virtual void StopAndClear() = 0;
    /// Whether a seek was requested and hasn't been finished.
    virtual bool IsSeekRequested() const = 0;
    /// Whether the position of that seek was found among the items.
    virtual bool IsSeekInBuffer() const = 0;
    /// Where the reader stands, microseconds.
    virtual int64 GetLogicalPosition() const = 0;
    /// The seek is finished.
    virtual void ClearSeekFlags() = 0;
};

}  // namespace Tarsel::Proc
