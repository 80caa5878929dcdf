#pragma once

#include <atomic>
#include <memory>
#include <set>
#include <vector>

#include "Proc/Filters/Filters/SmartMapEffects.h"
#include "Proc/Filters/Filters/TimelineWindow.h"
#include "contracts/Core/Lockable.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Proc/ISmartMap.h"

namespace Tarsel::Proc {

namespace Details {

/// What a smart map notes of any source.
struct MappedSource {
    ITimeMapped const* mapped = nullptr;  // not owned: the handle removes its record
    unsigned number = 0;                  // in mapping order
    int64 begin = 0;
    int64 sourceDuration = 0;
    int64 end = 0;
    int order = 0;
    /// It stands where a read of it gives what belongs to the position: it has been sought since it was mapped, moved
    /// or released.
    bool isSought = false;

    bool Holds(int64 position) const { return begin <= position && position < end; }
};

}  // namespace Details

/// What both smart maps are: sources and effects on a timeline, their handles, the lock, what is derived from the
/// timeline and when, and the seek. What a read gives is the maps' own matter.
///
/// `Traits`: `Interface`, `Stream`, `Mapped` (the handle's interface), `Record` (a `MappedSource` with `source`,
/// `Output()`, which is what is sought and read, `IsHeld()` and `DropItems()`), `NAME` and `STATISTIC_NAME`.
///
/// Threads: any. All operations but `GetPosition`, `IsEndOfStream` and `SetEndOfStream` wait for the lock, which a read
/// holds: what ends that wait is the end of the read, and of other threads' `Lock`. `SetEndOfStream` takes no lock that
/// a read holds, and so breaks a read that waits for a source.
template <class Traits>
class SmartMapBase : public virtual Traits::Interface, public RefCounted {
  public:
    using StreamType = typename Traits::Stream;
    using FormatType = typename StreamType::FormatType;
    using StreamData = typename Traits::Record;

    /// A source's handle. The last reference to it goes inside of a `Lock`; without one an ERROR is logged, and the
    /// source leaves the map all the same.
    class MappedStream : public virtual Traits::Mapped, public RefCounted {
      public:
        explicit MappedStream(iptr<SmartMapBase> map) : map(std::move(map)) {}
        ~MappedStream() override;

        int64 GetBegin() override;
        void SetBegin(int64 begin) override;
        int64 GetDuration() override;
        void SetOrder(int order) override;
        int GetOrder() override;

      protected:
        iptr<SmartMapBase> const map;
    };

    /// An effect's handle; the same holds.
    class MappedEffect final : public virtual IMappedEffect, public RefCounted {
      public:
        explicit MappedEffect(iptr<SmartMapBase> map) : map(std::move(map)) {}
        ~MappedEffect() override;

        int64 GetBegin() override;
        void SetBegin(int64 begin) override;
        int64 GetDuration() override;
        int64 GetEnd() override;
        void SetEnd(int64 end) override;
        void GetEffect(iptr<Conf::IFormatCodec>& format) override;
        iptr<IEffect> GetEffect() override;

      private:
        iptr<SmartMapBase> const map;
    };

    iptr<typename Traits::Mapped> MapStream(iptr<StreamType> const& source) override;
    iptr<IMappedEffect> MapEffect(iptr<IEffect> const& effect, int64 begin, int64 end) override;

    // A host takes and gives up the lock in calls of its own, which no analysis can follow.

    void Lock() override TARSEL_NO_THREAD_SAFETY_ANALYSIS;
    bool TryLock() override TARSEL_NO_THREAD_SAFETY_ANALYSIS;
    /// Ignored where the calling thread has no `Lock` open.
    void Unlock() override TARSEL_NO_THREAD_SAFETY_ANALYSIS;

    void Initialize(Core::Property const& property) override;
    Core::Property GetSettings() override;
    int64 GetDuration() const override;
    int64 GetPosition() override { return position; }
    /// The whole seek, sources included; `DoSeek` only allows reading again.
    void RequestSeek(int64 target, iptr<IRefCountable> seekContext) override;
    void DoSeek() override;
    bool FinishSeek() override;
    iptr<FormatType const> GetFormatCodec() const override;
    Core::Property GetStatistic() override;
    void SetEndOfStream() override;
    bool IsEndOfStream() override { return endOfStream; }
    void ReleaseInternalData() override;
    void Accept(IStreamVisitor& visitor) override;

  protected:
    using Records = typename TimelineWindow<StreamData>::Records;

    enum Dirty : unsigned {
        DIRTY_TIME_POINTS = 1,
        DIRTY_STREAM_ORDER = 2,
        DIRTY_FORMAT = 4,
        DIRTY_DURATION = 8,
        DIRTY_ALL = 15
    };

    SmartMapBase();

    /// Throws `std::logic_error` where nobody has a `Lock` open.
    void CheckLockedForSettings() const;

    // --- What a map adds. The lock is held.

    virtual iptr<typename Traits::Mapped> MakeHandle() = 0;
    virtual std::shared_ptr<StreamData> MakeRecord(iptr<StreamType> const& source) TARSEL_REQUIRES(lock) = 0;
    /// The map's own format, made anew; callers hold the former one.
    virtual void UpdateFormat() const TARSEL_REQUIRES(lock) = 0;

    // --- For reading.

    /// What a read begins with: refuses to run ahead of a seek, and brings all that is derived up to date.
    void PrepareRead() TARSEL_REQUIRES(lock);
    /// The first time point behind the position, which lies in front of the duration.
    int64 FindNextTimePoint() const TARSEL_REQUIRES(lock);
    /// Seeks a record's source to where the position stands in it.
    void SeekSource(StreamData& record, int64 target) TARSEL_REQUIRES(lock);
    void ReleaseSource(StreamData& record) TARSEL_REQUIRES(lock);
    void UpdateIfDirty(unsigned mask) const TARSEL_REQUIRES(lock);

    /// The order of locks: this one, then `targetsLock`, and those of sources and effects, which are called with this
    /// one held: a slice belongs to one state of the timeline.
    mutable Core::LockImpl lock;

    // --- The timeline, guarded by the lock.

    mutable unsigned dirty TARSEL_GUARDED_BY(lock) = DIRTY_ALL;
    bool needSeek TARSEL_GUARDED_BY(lock) = false;
    mutable Records streams TARSEL_GUARDED_BY(lock);
    mutable SmartMapEffects effects TARSEL_GUARDED_BY(lock);
    /// The sources around the position, so that sleeping ones cost nothing.
    mutable TimelineWindow<StreamData> window TARSEL_GUARDED_BY(lock);
    mutable std::set<int64> timePoints TARSEL_GUARDED_BY(lock);
    mutable iptr<FormatType> format TARSEL_GUARDED_BY(lock);

    // --- State of the reader; what others look at is atomic.

    std::atomic<bool> endOfStream{false};
    std::atomic<int64> position{0};
    mutable std::atomic<int64> duration{0};
    int64 readTime TARSEL_GUARDED_BY(lock) = 0;  // for the statistics, which have a field of it; nothing adds to it
    unsigned framesRead TARSEL_GUARDED_BY(lock) = 0;

  private:
    StreamData& GetStreamData(ITimeMapped const* mapped) const TARSEL_REQUIRES(lock);
    void RemoveStream(ITimeMapped const* mapped);
    void RemoveEffect(ITimeMapped const* mapped);
    void ReportUnlocked() const;
    void MarkChanged(unsigned bits) TARSEL_REQUIRES(lock);
    void UpdateDuration() const TARSEL_REQUIRES(lock);
    void UpdateTimePoints() const TARSEL_REQUIRES(lock);
    void SeekSources(int64 target) TARSEL_REQUIRES(lock);

    std::atomic<unsigned> lockCount{0};
    unsigned mappedStreams TARSEL_GUARDED_BY(lock) = 0;  // since the map was made
    /// A host has had a lock since the last read: it may have written into an effect's time map.
    bool wasLocked TARSEL_GUARDED_BY(lock) = false;

    /// What `SetEndOfStream` goes to, so that it needn't wait for the lock.
    Core::Mutex targetsLock;
    std::vector<iptr<IStream>> endTargets TARSEL_GUARDED_BY(targetsLock);
};

}  // namespace Tarsel::Proc
