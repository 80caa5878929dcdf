#pragma once

#include <atomic>
#include <chrono>
#include <exception>
#include <memory>

#include "contracts/Core/Lockable.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Core/Property.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Core/Thread.h"
#include "contracts/Core/Time.h"
#include "contracts/Proc/FilterCacheData.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

/// Reads one picture ahead of its consumer on a thread of its own, and measures what that saved.
///
/// Goes in: decoded pictures. Comes out: the same objects. Seek: ends the thread, drops what was read ahead, and goes
/// on to the source as it is, unclamped. End: null, again and again.
///
/// Threads: one consumer; `SetEndOfStream`, `IsEndOfStream`, `GetFormatCodec`, `GetDuration`, `GetStatistic` and
/// `Accept` from any thread. The thread starts at the first read (or `GetPosition`). It ends at the source's end,
/// behind a failure (which the consumer gets once, behind the picture that was read before it), at an end from the
/// host, and by interruption at a seek, at release and at destruction, which wait for it: a source that is being read
/// must come to an end or to an interruption point.
///
/// Order of locks: `threadLock`, `stateLock`, `mailboxLock`. The thread takes `stateLock` for each read, so whoever
/// joins it holds `threadLock` alone. The source is called with `stateLock` held, never with `mailboxLock`.
class FilterCacheData final : public IStreamVideo, public RefCounted {
  public:
    /// Throws `std::invalid_argument` "parentStream is NULL." for a null source.
    explicit FilterCacheData(iptr<IStreamVideo> source);
    ~FilterCacheData() override;
    FilterCacheData(FilterCacheData const&) = delete;
    FilterCacheData& operator=(FilterCacheData const&) = delete;

    /// Throws `FilterException` "No impl".
    [[noreturn]] void Initialize(Core::Property const& property) override;
    /// Throws `FilterException` "No impl".
    [[noreturn]] Core::Property GetSettings() override;
    /// Waits for a read of the source that is under way, as `GetFormatCodec` and `GetStatistic` do.
    int64 GetDuration() const override;
    int64 GetPosition() override;
    iptr<IDataVideo> Read() override;
    void RequestSeek(int64 target, iptr<IRefCountable> seekContext) override;
    void DoSeek() override;
    bool FinishSeek() override;
    iptr<Conf::IFormatCodecVideo const> GetFormatCodec() const override;
    Core::Property GetStatistic() override;
    /// A picture that was read ahead is still given, one that is being read isn't.
    void SetEndOfStream() override;
    bool IsEndOfStream() override { return endOfStream; }
    void ReleaseInternalData() override;
    void Accept(IStreamVisitor& visitor) override;

    /// How many times as long a consumer would have taken without the thread: it took `elapsed`, of which it waited
    /// `wait` for a thread that worked for `work`, all in one unit. 1 where nothing has elapsed.
    static double GetAcceleration(double elapsed, double work, double wait);

  private:
    using Clock = std::chrono::steady_clock;

    // The consumer's side.

    void StartThread();
    /// Interrupts the thread and waits for its end. False where there was none.
    bool StopThread();
    /// Waits until a picture is there or nothing more will come, then rethrows a failure that has no picture in front
    /// of it.
    void AwaitFrame(Core::MutexLock& lock) TARSEL_REQUIRES(mailboxLock);
    /// Forgets all that belongs to the position up to now. No thread may be alive.
    void Forget();

    // The thread's side.

    void ThreadMain();
    /// False when the thread is to end.
    bool ReadAhead();
    bool ReadSource(iptr<IDataVideo>& frame);
    /// Waits until the consumer has taken the picture. False when the host has ended the stream meanwhile.
    bool AwaitSpace(Core::MutexLock& lock) TARSEL_REQUIRES(mailboxLock);
    void HandOver(std::exception_ptr reason);

    /// Held through each call of the source but `SetEndOfStream`, so that seek and read never overlap there.
    mutable Core::LockImpl stateLock;

    /// Guards what the thread and the consumer share.
    Core::Mutex mailboxLock;
    iptr<IDataVideo> ready TARSEL_GUARDED_BY(mailboxLock);
    std::exception_ptr failure TARSEL_GUARDED_BY(mailboxLock);
    bool threadEnded TARSEL_GUARDED_BY(mailboxLock) = false;
    /// The thread waits for an empty mailbox; the consumer for a picture, a failure, the end, or the thread's end.
    Core::ConditionVariable condition;
    /// End of the last picture given; the time of the next one where it was asked for behind a seek.
    std::atomic<int64> position{NO_VALUE};
    std::atomic<bool> endOfStream{false};

    // Wiring.
    iptr<IStreamVideo> const source TARSEL_PT_GUARDED_BY(stateLock);

    // Statistics. The consumer's time runs from its first read to its last.
    std::atomic<int64> workTime{0};  // of the thread inside the source, nanoseconds
    unsigned framesRead TARSEL_GUARDED_BY(mailboxLock) = 0;
    bool timed TARSEL_GUARDED_BY(mailboxLock) = false;  // by a first read
    Clock::time_point firstRead TARSEL_GUARDED_BY(mailboxLock);
    Clock::time_point lastRead TARSEL_GUARDED_BY(mailboxLock);
    Clock::duration waitTime TARSEL_GUARDED_BY(mailboxLock){0};

    std::atomic<bool> threadStarted{false};  // set under `threadLock`
    Core::Mutex threadLock;
    std::unique_ptr<Core::Thread> thread TARSEL_GUARDED_BY(threadLock);
};

}  // namespace Tarsel::Proc
