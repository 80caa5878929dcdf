#pragma once

#include <atomic>
#include <list>
#include <memory>

#include "Proc/Filters/Filters/FilterCacheController.h"
#include "Proc/Filters/Filters/IFilterCache.h"
#include "Proc/StreamTemplates/SameKindStream.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Core/Thread.h"

namespace Tarsel::Proc {

/// Keeps the items around the reader's position: `cacheSpan` behind it and `prefetchSpan` ahead of it, microseconds.
///
/// Goes in: one stream of contiguous items, made by a controller. Comes out: the same objects; one comes twice after
/// each filling by the reader itself, and the last of the source stays in the buffer. A thread fills the window ahead
/// and trims it behind; the first seek that finds it asleep ends it, and the reader then does both. Seek: two phases
/// over all caches of the controller. Inside the windows no source is touched; outside one of them all caches are
/// emptied and all sources are moved. A position that is exactly where an item inside the window begins fails with
/// `std::logic_error` "buffer overrun", and so does a gap wider than `prefetchSpan`. End: the source's. A failure of
/// the source on the thread is logged only: the reader meets what follows it.
///
/// Threads: one consumer, which also drives the seeks. Order of locks: `apiLock`, `bufferMutex`, `positionMutex`,
/// `btMutex`, then the controller's. `bufferMutex` is meant to be held while the source is read: no two threads read it
/// at once, and a reader who comes meanwhile finds the window full. The others are never held while it is called.
template <class T>
class FilterCache final : public IFilterCache, public SameKindStream<T> {
  public:
    using typename StreamImpl<T, T>::DataType;
    using FormatType = typename T::FormatType;

    FilterCache(iptr<T> source, iptr<FilterCacheController> const& controller, int64 prefetchSpan, int64 cacheSpan);
    /// Waits for the thread: for an item that it is reading, unless the source's wait can be interrupted.
    ~FilterCache() override;

    /// Takes a property named `IFilterCacheController::STREAM_ID`; another name throws `std::logic_error` "incorrect
    /// cache stream name".
    void Initialize(Core::Property const& property) override;
    Core::Property GetSettings() override { return Core::Property(IFilterCacheController::STREAM_ID); }
    Core::Property GetStatistic() override;
    iptr<FormatType const> GetFormatCodec() const override { return this->parentStream->GetFormatCodec(); }
    /// Empties the buffer, too: the thread doesn't fill it until the next read. Waits for an item that is being read.
    void ReleaseInternalData() override;
    /// The next seek goes to the source, inside of the window too: nothing else takes the mark back there.
    void SetEndOfStream() override;

    int64 GetCacheSpan() const override { return cacheSpan; }
    void IncreaseCacheSpan() override;
    void DecreaseCacheSpan() override;
    void StopAndClear() override;
    bool IsSeekRequested() const override { return (seekFlags & SEEK_REQUESTED) != 0; }
    bool IsSeekInBuffer() const override { return (seekFlags & SEEK_IN_BUFFER) != 0; }
    int64 GetLogicalPosition() const override { return logicalPosition; }
    void ClearSeekFlags() override { seekFlags = 0; }

  protected:
    void AcceptInternal(IStreamVisitor& visitor) override;
    iptr<DataType> ReadInternal() override;
    /// The context isn't used.
    void RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) override;
    void DoSeekInternal() override;

  private:
    using Buffer = std::list<iptr<DataType>>;

    /// What the thread runs.
    class UpdateBufferTask {
      public:
        explicit UpdateBufferTask(FilterCache& cache) : cache(&cache) {}
        void operator()() const;

      private:
        /// False when the thread is to end. Waits until the reader or the destructor asks, or an interruption.
        bool SleepUntilAsked() const;
        void Update() const;
        bool IsWindowFull() const TARSEL_REQUIRES(cache->bufferMutex);
        /// Gives the number of items read.
        unsigned FillWindow() const TARSEL_REQUIRES(cache->bufferMutex);
        void Append(iptr<DataType> item) const TARSEL_REQUIRES(cache->bufferMutex);
        void TrimWindow() const TARSEL_REQUIRES(cache->bufferMutex);

        FilterCache* const cache;
    };

    /// Bits of one word, so that one store clears both.
    enum SeekFlag : unsigned {
        SEEK_REQUESTED = 1,  // and not yet finished
        SEEK_IN_BUFFER = 2,  // its position was found here
    };
    /// The times of a window; without values as long as there is no position.
    struct Bounds {
        int64 low;
        int64 high;
    };
    enum class Filling { FILLED, END, OVERRUN };

    void SetLogicalPosition(int64 position);
    /// The next item of the buffer, or null when none is left but the last.
    iptr<DataType> TakeNext() TARSEL_REQUIRES(bufferMutex);
    bool ReachesFarEnough() const TARSEL_REQUIRES(bufferMutex);
    Bounds GetBounds() const;
    /// Reads until the window is full or the source ends. `END`: it ended and gave nothing for the buffer.
    Filling Fill() TARSEL_REQUIRES(bufferMutex);
    /// Drops what the reader has left behind for good.
    void DropBehind(int64 low) TARSEL_REQUIRES(bufferMutex);
    /// The item at the reader's position; none is null.
    iptr<DataType> FindItem() TARSEL_REQUIRES(bufferMutex, positionMutex);
    bool IsOutside(int64 position) const TARSEL_REQUIRES(bufferMutex);
    void ChangeCacheSpan(int64 difference);

    // Settings and wiring, constant after construction.
    int64 const prefetchSpan;
    FilterCacheController* const controller;
    iptr<FilterCacheController> const controllerOwner;  // keeps it alive

    std::atomic<int64> cacheSpan;
    std::atomic<bool> cacheSpanIncreased{false};

    Core::Mutex bufferMutex;
    Buffer buffer TARSEL_GUARDED_BY(bufferMutex);  // in the source's order
    Core::Mutex positionMutex;
    /// The next item to hand out; the end: nothing is left to hand out.
    typename Buffer::iterator bufferPos TARSEL_GUARDED_BY(positionMutex);
    std::atomic<int64> logicalPosition{NO_VALUE};

    std::atomic<unsigned> seekFlags{0};    // of `SeekFlag`
    std::atomic<bool> sourceEnded{false};  // by `SetEndOfStream`, and not sought since
    std::atomic<bool> seekForward{true};   // the last seek asked for went forward

    int64 const statTime = 0;
    std::atomic<unsigned> itemsDelivered{0};

    enum Command : i32 { SLEEP, READ, EXIT };

    Core::Mutex btMutex;
    Core::ConditionVariable btCondition;
    Command btCommand TARSEL_GUARDED_BY(btMutex) = SLEEP;
    std::unique_ptr<Core::Thread> btThread;
};

extern template class FilterCache<IStreamVideo>;
extern template class FilterCache<IStreamAudio>;
extern template class FilterCache<IStreamSubtitle>;

}  // namespace Tarsel::Proc
