#pragma once

#include "contracts/Core/Lockable.h"
#include "contracts/Core/Time.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

/// Ties the caches of one source's streams together: they keep one position and seek as one. `AddStream` gives a cached
/// stream for a video, audio or subtitle stream, and null for a compressed one.
///
/// A seek goes phase by phase over all cached streams: `RequestSeek` on each, then `DoSeek` on each. Register all
/// streams before the first is read, and seek from one thread. A failed seek leaves the caches asked: `SeekCaches` with
/// the same position puts that right.
class TARSEL_CONTRACTS_EXPORT IFilterCacheController : public virtual IStreamController, public virtual ILockable {
  public:
    /// What a cache keeps ahead of its reader, microseconds.
    static constexpr int64 DEFAULT_PREFETCH_SPAN_AUDIO = SECOND;
    static constexpr int64 DEFAULT_PREFETCH_SPAN_VIDEO = SECOND;
    static constexpr int64 DEFAULT_PREFETCH_SPAN_SUBTITLE = MAX_DURATION;
    /// What it keeps behind its reader, microseconds.
    static constexpr int64 DEFAULT_CACHE_SPAN_AUDIO = SECOND;
    static constexpr int64 DEFAULT_CACHE_SPAN_VIDEO = SECOND;
    static constexpr int64 DEFAULT_CACHE_SPAN_SUBTITLE = MAX_DURATION;
    /// By which a seek backwards out of the window lengthens what is kept behind, microseconds.
    static constexpr int64 DEFAULT_CACHE_INCREASE_SPAN = SECOND;
    /// Name of the property that a cache takes and gives.
    static constexpr char STREAM_ID[] = "FilterCacheStream";
    static constexpr char CLASS_ID[] = "FilterCacheController";

    ~IFilterCacheController() override;
    /// `length` in microseconds, 0 or more; a negative one throws `std::invalid_argument` "length is negative". Each
    /// increase and decrease from then on takes it.
    virtual void SetCacheIncreaseSpan(int64 length) = 0;
    /// Empties all caches and moves their sources to where the windows of the caches begin that stand at `position`,
    /// microseconds. Only behind `RequestSeek` with that position on all cached streams.
    virtual void SeekCaches(int64 position) = 0;
};

}  // namespace Tarsel::Proc
