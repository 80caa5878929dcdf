#pragma once

#include <atomic>
#include <vector>

#include "Proc/Filters/Filters/IFilterCache.h"
#include "contracts/Core/Lockable.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Proc/IFilterCacheController.h"

namespace Tarsel::Proc {

/// Ties the caches of one source's streams together: they keep one position and seek as one.
///
/// Goes in: streams, by `AddStream`; comes out: for each a `FilterCache` that keeps the controller alive and isn't
/// owned by it. Compressed streams are not cached: their cache is null. A seek that one of the caches can't answer from
/// its items empties all of them and moves all sources to one place; it fails with `std::logic_error` where one of the
/// caches lies under another of them. A source whose cache has died stays registered, and isn't sought any more.
/// Threads: streams may be added and caches may die on any thread; seeks come from one thread, while nobody adds or
/// ends caches. Order of locks: the host's lock (`Lock`) first, the caches' locks, then `entriesLock`, under which
/// nothing is called but the caches' atomic getters and setters.
class FilterCacheController final : public IFilterCacheController, public RefCounted {
  public:
    static iptr<IFilterCacheController> Create();

    /// Throws `FilterException` "Not implemented".
    [[noreturn]] void UpdateSettings(Settings const& settings) override;
    /// Does nothing with a property named `CLASS_ID`; another name throws `std::logic_error` "incorrect controller
    /// name".
    void Initialize(Core::Property const& property) override;
    // A null stream throws `std::invalid_argument` "parentStream is NULL."; one that was added before throws
    // `FilterException` "this stream is already registered". They wait for a thread that holds `Lock`.
    iptr<IStreamSubtitle> AddStream(iptr<IStreamSubtitle> const& stream) override;
    iptr<IStreamVideo> AddStream(iptr<IStreamVideo> const& stream) override;
    iptr<IStreamAudio> AddStream(iptr<IStreamAudio> const& stream) override;
    /// Null.
    iptr<IStreamRaw> AddStream(iptr<IStreamRaw> const& stream) override;
    /// `AddStream` with a window of one's own, microseconds; for video, audio and subtitles. `prefetchSpan` above 0:
    /// with none the reader gets the same item for ever.
    template <class T>
    iptr<T> AddStreamT(iptr<T> const& stream, int64 prefetchSpan, int64 cacheSpan);
    void SetCacheIncreaseSpan(int64 length) override;
    void SeekCaches(int64 position) override;

    // The lock that a host holds to keep streams from being added and removed for a while. Taking it waits for the
    // holder's `Unlock`.
    void Lock() override TARSEL_NO_THREAD_SAFETY_ANALYSIS { hostLock.Lock(); }
    bool TryLock() override TARSEL_NO_THREAD_SAFETY_ANALYSIS { return hostLock.TryLock(); }
    void Unlock() override TARSEL_NO_THREAD_SAFETY_ANALYSIS { hostLock.Unlock(); }

    // For the caches.

    int64 GetCacheIncreaseSpan() const { return cacheIncreaseSpan; }
    /// Called by a cache's destructor with its own stream; waits for a thread that holds `Lock`.
    void RemoveStream(IStream const* key);
    bool AllSeeksRequested() const;
    /// Throws `std::logic_error` where two caches were asked for different positions.
    void CheckLogicalPositions() const;
    /// Ends the seek once every cache has found its position among its items.
    void FinishSeekIfAllInBuffer();
    /// A cache has to leave its window, forward or backward. None of the calling thread's caches may be locked.
    void SeekAll(int64 position, bool forward);

  private:
    struct Entry {
        IStream* source;        // kept by its cache; behind the cache's end a mere address
        IStream const* stream;  // the cache as a stream; null behind its end
        IFilterCache* cache;    // the same object
    };

    void WaitForHost();
    /// The entries whose caches live.
    std::vector<Entry> GetLiving() const;

    std::atomic<int64> cacheIncreaseSpan{DEFAULT_CACHE_INCREASE_SPAN};
    std::atomic<bool> seeking{false};  // inside `SeekCaches`
    Core::LockImpl hostLock;
    mutable Core::Mutex entriesLock;
    std::vector<Entry> entries TARSEL_GUARDED_BY(entriesLock);
};

}  // namespace Tarsel::Proc
