#pragma once

#include <memory>
#include <mutex>

#include "contracts/Core/Mutex.h"
#include "contracts/Core/Types.h"

namespace Tarsel::Proc {

/// What the seek controller asks of its wrappers.
class IStreamSeekController {
  public:
    using StreamLock = std::shared_ptr<std::unique_lock<Core::Mutex>>;

    virtual ~IStreamSeekController() = default;
    /// Holds the stream as long as the lock lives.
    virtual StreamLock LockStream() = 0;
    /// Forgets what was read ahead and where reading stood: the source is about to be moved.
    virtual void ResetForSeek() = 0;
    /// A seek to where the streams stand has been asked for: one that was read and then released comes back there with
    /// its next read. Others stay as they are.
    virtual void ReturnAfterRelease(int64 position) = 0;
};

}  // namespace Tarsel::Proc
