#pragma once

#include <optional>

#include "contracts/Core/Lockable.h"
#include "contracts/Core/Time.h"

namespace Tarsel::Proc {

/// Where one group of pictures lies in source time, `[start, next)` in microseconds.
struct GopSpan {
    int64 start = NO_VALUE;
    int64 next = NO_VALUE;
};

/// A stream's side of the contract with `FilterCutController`. All operations belong to the controller, which calls
/// them with its `streamsLock` held; `Process` runs on the stream's search thread.
class IStreamCutInterval {
  public:
    /// Brings the stream to `start` or past it, keeping what it reads. Then a compressed stream expects to be sought to
    /// `end`.
    virtual void Process(int64 start, int64 end) = 0;
    /// Starts the thread that runs `Process`.
    virtual void StartSearch(int64 start, int64 end) = 0;
    /// Waits for the thread's end, destroys it, and rethrows what ended it.
    virtual void JoinSearch() = 0;
    virtual bool IsRawStream() const = 0;
    /// Whether a cut of this stream can fall only on the start of a group of pictures.
    virtual bool IsGOPCutOnly() const = 0;

    /// False, and nothing changes, for a stream that stands at `end` or past it: moving it would give its items twice.
    /// Otherwise its reader waits from now on until `EndJump`.
    virtual bool BeginJump(int64 end) = 0;
    /// The controller has sought the source in the middle of reading; what was read already must not come again.
    virtual void SourceMoved() = 0;
    virtual void EndJump() = 0;
    /// The group that holds `position`, or else the first one behind it; none past the last packet, and for streams
    /// without groups. Moves the source: the stream must be sought afterwards.
    virtual std::optional<GopSpan> FindGop(int64 position) = 0;
    /// The lock under which the stream uses its source.
    virtual Core::LockImpl& GetReadLock() = 0;

  protected:
    ~IStreamCutInterval() = default;
};

}  // namespace Tarsel::Proc
