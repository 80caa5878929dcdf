#pragma once

#include <glog/logging.h>

#include <algorithm>
#include <atomic>
#include <boost/exception/diagnostic_information.hpp>
#include <chrono>
#include <deque>
#include <exception>
#include <memory>
#include <string>
#include <utility>

#include "Proc/StreamTemplates/StreamBaseImpl.h"
#include "contracts/Core/Exception.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Core/Property.h"
#include "contracts/Core/Thread.h"
#include "contracts/Core/Time.h"
#include "contracts/Proc/SettingsFilterReverse.h"

namespace Tarsel::Proc {

/// What the two reverse filters share: the thread that reads the source chunk by chunk from its end to its beginning,
/// the queue between it and the consumer, and passing everything through while reversing is switched off.
///
/// `Chunk` holds items in source order: `IsEmpty()`, `TakeLast()`, and the type `Entry` of what that gives, with
/// `GetBytes()`. Seek: stops the thread and drops what waits; `DoSeek` starts a new one at the mirrored position. End:
/// null, again and again. After `ReleaseInternalData` a read without a seek goes on from where reading stood.
///
/// Threads: one consumer; `SetEndOfStream`, `GetStatistic` and `GetFormatCodec` from any thread. While a thread lives
/// it alone drives the source. It ends at its next interruption point; one that is inside a source is also broken by
/// the source's `SetEndOfStream`, which the next `RequestSeek` takes back. Order of locks: `apiLock`, `sourceLock` (of
/// this filter, then of its sources), `queueLock`.
template <class T, class TEx, class Chunk>
class ReverseStream : public StreamImpl<T, TEx> {
  public:
    using Base = StreamImpl<T, TEx>;
    using typename Base::DataType;
    using FormatType = typename T::FormatType;
    using Base::Initialize;

    [[noreturn]] void Initialize(Core::Property const&) override {
        TARSEL_THROW(FilterException, "Method not implemented");
    }
    /// A change of direction drops what waits; a seek must follow it.
    void Initialize(Settings const& settings) override;
    [[noreturn]] Core::Property GetSettings() override { TARSEL_THROW(FilterException, "Method not implemented"); }
    iptr<DataType> Read() override;
    /// Backwards that of the time of making: a source may hold a lock of its own through the read that the thread is
    /// in, and a seek, which asks for the length, is what ends that read.
    int64 GetDuration() const override { return active ? sourceDuration : this->parentStream->GetDuration(); }
    bool FinishSeek() override { return active ? true : this->parentStream->FinishSeek(); }
    void SetEndOfStream() override;
    void ReleaseInternalData() override;
    Core::Property GetStatistic() override;
    /// Waits for a read of the source that is under way.
    iptr<FormatType const> GetFormatCodec() const override {
        Core::MutexLock const lock(sourceLock);
        return this->parentStream->GetFormatCodec();
    }

  protected:
    using Entry = typename Chunk::Entry;

    /// Throws `FilterException` "Incorrect duration in source stream" for a source whose duration is unknown or not
    /// above 0. `className` begins the log line, `statisticName` names the statistics.
    ReverseStream(iptr<T> source, char const* className, char const* statisticName);

    void AcceptInternal(IStreamVisitor& visitor) override {
        Visitors::Visit(visitor, className, Visitors::FRAME_TYPE_FILTER, nullptr);
    }
    iptr<DataType> ReadInternal() override;
    void RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) override;
    void DoSeekInternal() override;

    // For the filter, on the consumer's thread.

    /// Refuses settings that the filter can't work with.
    virtual void CheckSettings(SettingsFilterReverse const&) const {}
    /// Reading starts at `position` of the reversed time line.
    virtual void Restart(int64 position) = 0;
    /// Gives what comes out of a chunk its time.
    virtual iptr<DataType> Finish(Entry entry) = 0;
    /// The first statement of each derived destructor: the thread calls virtual operations.
    void StopThread();

    // For the filter, on the thread.

    /// Reads the source from `end` to its beginning. Returns when that is done or `CallSource` says so.
    virtual void ReadBackwards(int64 end) = 0;
    /// Runs `call` on the source with the source's lock held. False when the thread is to end.
    template <class Call>
    bool CallSource(Call&& call);
    bool SeekSource(int64 target) {
        return CallSource([&] { this->parentStream->RequestSeek(target, nullptr); }) &&
               CallSource([&] { this->parentStream->DoSeek(); });
    }
    bool ReadSource(iptr<DataType>& item) {
        return CallSource([&] { item = this->parentStream->Read(); });
    }
    /// Waits until the consumer has taken the finished chunk: never more than one waits. False when the thread is to
    /// end.
    bool AwaitEmptyQueue();
    /// Hands a finished chunk to the consumer. `bytes`: what of it isn't counted yet.
    void Push(Chunk chunk, int64 bytes);
    bool MustEnd() { return stopRequested || this->IsEndOfStream(); }
    /// Counts bytes that begin (or, below 0, cease) to be buffered.
    void CountBytes(int64 bytes) TARSEL_REQUIRES(queueLock) {
        buffered += bytes;
        maxBuffered = std::max(maxBuffered, buffered);
    }
    /// Waits for the consumer, and keeps the time of waiting out of the statistics.
    void WaitForConsumer(Core::MutexLock& lock) TARSEL_REQUIRES(queueLock);

    int64 const sourceDuration;
    std::atomic<bool> active{true};
    std::atomic<int64> maxBufferSize{SettingsFilterReverse::DEFAULT_MAX_BUFFER_SIZE};

    /// Guards what the thread and the consumer share. Never held while the source is called.
    mutable Core::Mutex queueLock;
    Core::ConditionVariable changed;
    std::deque<Chunk> queue TARSEL_GUARDED_BY(queueLock);
    /// The chunk that the consumer takes from.
    Chunk current TARSEL_GUARDED_BY(queueLock);

  private:
    using Clock = std::chrono::steady_clock;
    static int64 MicrosecondsSince(Clock::time_point start) {
        return std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start).count();
    }

    iptr<DataType> TakeItem();
    void StartThread();
    void ThreadMain(int64 end);

    char const* const className;
    char const* const statisticName;

    // State of the consumer, under `apiLock`.
    std::unique_ptr<Core::Thread> thread TARSEL_GUARDED_BY(this->apiLock);
    /// Where a thread starts in the reversed time line: the last seek's position, then the end of the last item read.
    int64 position TARSEL_GUARDED_BY(this->apiLock) = 0;
    bool used TARSEL_GUARDED_BY(this->apiLock) = false;

    /// Held through each call of the source, which a format or statistics can be asked of meanwhile.
    mutable Core::Mutex sourceLock;
    std::atomic<bool> stopRequested{false};
    std::atomic<bool> insideSource{false};

    std::exception_ptr failure TARSEL_GUARDED_BY(queueLock);
    bool threadEnded TARSEL_GUARDED_BY(queueLock) = false;
    int64 buffered TARSEL_GUARDED_BY(queueLock) = 0;
    int64 maxBuffered TARSEL_GUARDED_BY(queueLock) = 0;
    int64 threadTime TARSEL_GUARDED_BY(queueLock) = 0;
    unsigned itemsRead TARSEL_GUARDED_BY(queueLock) = 0;

    Clock::time_point workStart;  // of the thread alone
};

// --- Set-up ----------------------------------------------------------------------------------------------------------

template <class T, class TEx, class Chunk>
ReverseStream<T, TEx, Chunk>::ReverseStream(iptr<T> source, char const* className, char const* statisticName)
    : Base(std::move(source), false),
      sourceDuration(this->parentStream->GetDuration()),
      className(className),
      statisticName(statisticName) {
    if (!HasValue(sourceDuration) || sourceDuration <= 0)
        TARSEL_THROW(FilterException, "Incorrect duration in source stream");
}

template <class T, class TEx, class Chunk>
void ReverseStream<T, TEx, Chunk>::Initialize(Settings const& settings) {
    auto const& own = dynamic_cast<SettingsFilterReverse const&>(settings);
    CheckSettings(own);
    Core::RecursiveMutexLock const api(this->apiLock);
    if (active != own.IsReverse() && used) ReleaseInternalData();
    active = own.IsReverse();
    maxBufferSize = own.GetMaxBufferSize();
}

template <class T, class TEx, class Chunk>
Core::Property ReverseStream<T, TEx, Chunk>::GetStatistic() {
    Core::Property result;
    {
        Core::MutexLock const lock(sourceLock);
        result = this->parentStream->GetStatistic();
    }
    Core::MutexLock const lock(queueLock);
    Core::Property own = Core::MakeStatistics(statisticName, 0, itemsRead);
    own.SetChild("Max buffer size", maxBuffered).SetChild("Thread Time", threadTime);
    return result.Add(std::move(own));
}

// --- The consumer ----------------------------------------------------------------------------------------------------

template <class T, class TEx, class Chunk>
iptr<typename ReverseStream<T, TEx, Chunk>::DataType> ReverseStream<T, TEx, Chunk>::Read() {
    Core::RecursiveMutexLock const api(this->apiLock);
    iptr<DataType> item = Base::Read();
    if (item && active) position = AddTime(item->GetTime(), item->GetDuration());
    return item;
}

template <class T, class TEx, class Chunk>
iptr<typename ReverseStream<T, TEx, Chunk>::DataType> ReverseStream<T, TEx, Chunk>::ReadInternal() {
    Core::RecursiveMutexLock const api(this->apiLock);
    used = true;
    iptr<DataType> item = active ? TakeItem() : this->parentStream->Read();
    if (item) {
        Core::MutexLock const lock(queueLock);
        ++itemsRead;
    }
    return item;
}

template <class T, class TEx, class Chunk>
iptr<typename ReverseStream<T, TEx, Chunk>::DataType> ReverseStream<T, TEx, Chunk>::TakeItem() {
    if (this->IsEndOfStream()) return nullptr;
    {
        Core::RecursiveMutexLock const api(this->apiLock);
        if (!thread) StartThread();
    }
    Entry entry;
    {
        Core::MutexLock lock(queueLock);
        if (current.IsEmpty()) {
            // Ended by the thread (a chunk, its end) or by `SetEndOfStream`.
            while (queue.empty() && !threadEnded && !this->IsEndOfStream()) changed.Wait(lock);
            if (this->IsEndOfStream()) return nullptr;
            if (queue.empty()) {
                std::exception_ptr const reason = std::exchange(failure, nullptr);
                lock.unlock();
                if (!reason) return nullptr;
                SetEndOfStream();
                std::rethrow_exception(reason);
            }
            current = std::move(queue.front());
            queue.pop_front();
        }
        entry = current.TakeLast();
        CountBytes(-entry.GetBytes());
        changed.NotifyAll();
    }
    return Finish(std::move(entry));
}

template <class T, class TEx, class Chunk>
void ReverseStream<T, TEx, Chunk>::RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) {
    Core::RecursiveMutexLock const api(this->apiLock);
    used = true;
    if (!active) return this->parentStream->RequestSeek(target, seekContext);
    StopThread();
    position = std::clamp<int64>(target, 0, sourceDuration);
}

template <class T, class TEx, class Chunk>
void ReverseStream<T, TEx, Chunk>::DoSeekInternal() {
    Core::RecursiveMutexLock const api(this->apiLock);
    if (!active) return this->parentStream->DoSeek();
    if (!this->IsEndOfStream() && !thread) StartThread();
}

template <class T, class TEx, class Chunk>
void ReverseStream<T, TEx, Chunk>::SetEndOfStream() {
    Base::SetEndOfStream();
    // Under the lock, so that who is between its test and its wait doesn't miss it.
    Core::MutexLock const lock(queueLock);
    changed.NotifyAll();
}

template <class T, class TEx, class Chunk>
void ReverseStream<T, TEx, Chunk>::ReleaseInternalData() {
    Core::RecursiveMutexLock const api(this->apiLock);
    StopThread();
    Base::ReleaseInternalData();
}

template <class T, class TEx, class Chunk>
void ReverseStream<T, TEx, Chunk>::StartThread() {
    Core::RecursiveMutexLock const api(this->apiLock);
    Restart(position);
    int64 const end = sourceDuration - position;
    thread = std::make_unique<Core::Thread>([this, end] { ThreadMain(end); });
}

template <class T, class TEx, class Chunk>
void ReverseStream<T, TEx, Chunk>::StopThread() {
    Core::RecursiveMutexLock const api(this->apiLock);
    if (thread) {
        stopRequested = true;
        thread->Interrupt();
        // A thread that enters the source from now on sees the request first; one that sought it looks behind that. So
        // this can't be undone, and a source that isn't being read keeps its mark.
        if (insideSource) this->parentStream->SetEndOfStream();
        thread->Join();
        thread.reset();
        stopRequested = false;
    }
    Core::MutexLock const lock(queueLock);
    queue.clear();
    current = Chunk();
    failure = nullptr;
    threadEnded = false;
    buffered = 0;
}

// --- The thread ------------------------------------------------------------------------------------------------------

template <class T, class TEx, class Chunk>
void ReverseStream<T, TEx, Chunk>::ThreadMain(int64 end) {
    workStart = Clock::now();
    std::exception_ptr reason;
    try {
        ReadBackwards(end);
    } catch (boost::thread_interrupted const&) {
        // The quiet end: whoever interrupts waits for it.
    } catch (...) {
        // What a source says when it is broken off is no failure.
        if (!stopRequested) {
            LOG(ERROR) << className << " background reading thread exception:"
                       << boost::current_exception_diagnostic_information(true);
            reason = std::current_exception();
        }
    }
    Core::MutexLock const lock(queueLock);
    threadTime += MicrosecondsSince(workStart);
    failure = reason;
    threadEnded = true;
    changed.NotifyAll();
}

template <class T, class TEx, class Chunk>
template <class Call>
bool ReverseStream<T, TEx, Chunk>::CallSource(Call&& call) {
    struct Inside {
        explicit Inside(std::atomic<bool>& flag) : flag(flag) { flag = true; }
        ~Inside() { flag = false; }
        std::atomic<bool>& flag;
    };
    Core::InterruptionPoint();
    Core::MutexLock const lock(sourceLock);
    Inside const inside(insideSource);
    if (MustEnd()) return false;
    call();
    return !MustEnd();
}

template <class T, class TEx, class Chunk>
void ReverseStream<T, TEx, Chunk>::WaitForConsumer(Core::MutexLock& lock) {
    struct Resume {
        ~Resume() { workStart = Clock::now(); }
        Clock::time_point& workStart;
    };
    threadTime += MicrosecondsSince(workStart);
    Resume const resume{workStart};
    changed.Wait(lock);
}

template <class T, class TEx, class Chunk>
bool ReverseStream<T, TEx, Chunk>::AwaitEmptyQueue() {
    Core::MutexLock lock(queueLock);
    while (!queue.empty() && !MustEnd()) WaitForConsumer(lock);
    return !MustEnd();
}

template <class T, class TEx, class Chunk>
void ReverseStream<T, TEx, Chunk>::Push(Chunk chunk, int64 bytes) {
    Core::MutexLock const lock(queueLock);
    CountBytes(bytes);
    queue.push_back(std::move(chunk));
    changed.NotifyAll();
}

}  // namespace Tarsel::Proc
