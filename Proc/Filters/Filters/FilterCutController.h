#pragma once

#include <atomic>
#include <type_traits>
#include <utility>
#include <vector>

#include "Proc/Filters/Filters/CutItemMap.h"
#include "Proc/Filters/Filters/IStreamCutInterval.h"
#include "contracts/Core/Lockable.h"
#include "contracts/Proc/IFilterCutController.h"

namespace Tarsel::Proc {

/// Removes time ranges from the parallel streams of one file and keeps them aligned.
///
/// Goes in: streams of equal duration, by `AddStream`; comes out: for each a stream in the time of the result. Decoded
/// streams are cut to the sample, compressed ones as `FilterCutControllerStreamRawImpl` tells. The first seek after new
/// settings moves cuts to group boundaries where a stream needs it, for all streams, and moves all sources: after new
/// settings seek every stream. A removed range of five seconds and more is left by a seek of all streams together.
/// Threads: each stream has one reader; readers of different streams may run at the same time.
///
/// Order of locks: `streamsLock`, then a stream's read lock (several of them only one after the other), then
/// `settingsLock`. No reader holds its read lock while it waits for `streamsLock`.
class FilterCutController final : public IFilterCutController, public RefCounted {
  public:
    /// Ranges shorter than this are read through: a seek costs more. Microseconds.
    static constexpr int64 MIN_JUMP = 5000000;

    /// An empty list.
    FilterCutController() = default;
    /// The factory's way in. Settings of another class throw `FilterException` "Wrong settings!".
    static iptr<IFilterCutController> Create(Settings const& settings, iptr<ICodecFactory const> const& codecFactory);

    /// Settings of another class throw `std::invalid_argument` "wrong settings".
    void UpdateSettings(Settings const& settings) override;
    /// A property of another name throws `std::invalid_argument` "incorrect controller name".
    void Initialize(Core::Property const& property) override;
    iptr<IStreamSubtitle> AddStream(iptr<IStreamSubtitle> const& stream) override;
    iptr<IStreamVideo> AddStream(iptr<IStreamVideo> const& stream) override;
    iptr<IStreamAudio> AddStream(iptr<IStreamAudio> const& stream) override;
    iptr<IStreamRaw> AddStream(iptr<IStreamRaw> const& stream) override;
    void SetCodecFacory(iptr<ICodecFactory const> const& factory) override;
    SettingsFilterCutController GetCutSettings() const override;

    /// Cut positions that fell on a group's start, in the order in which they were met.
    std::vector<int64> GetGopStarts() const;

    // For the streams. Time queries; each takes `settingsLock` for itself alone.
    bool CutsAreAbsent() const;
    bool IsPointDeleted(int64 point) const;
    int64 GetIntervalEndTime(int64 point) const;
    int64 Result2Source(int64 time) const;
    int64 Source2Result(int64 time) const;
    /// Whether the removed range that holds `time` reaches to the end of the streams. False for a kept time, and when
    /// their duration isn't known.
    bool IsCutPastEnd(int64 time) const;

    /// The item as the result has it, or null when it is removed: a clone for decoded items and packets alike. One
    /// without a time comes back as it is.
    template <class Data>
    iptr<Data> Map(iptr<Data> const& item) const;
    /// Decoded items: cut to what is kept.
    template <class Data>
    iptr<Data> MapItem(iptr<Data> const& item) const;
    /// Packets: kept or removed by their presentation time (without one, by their decoding time).
    iptr<IDataPacket> MapPacket(iptr<IDataPacket> const& packet) const;

    // For the streams. Changes of the list and of places.
    /// Removes `[start, end)` as new settings.
    void RemoveRange(int64 start, int64 end);
    void PrepareCuts();
    /// Lets ranges that were jumped over be jumped over again: a stream is sought.
    void ForgetJumps();
    /// All streams leave the removed range at `position` together, when it is long enough. A range is jumped over once
    /// until the next seek: a second jump would rewind streams that have read on. Call it without the stream's read
    /// lock, which the search needs.
    void JumpOverInterval(int64 position);
    /// Waits until no jump is under way.
    void AwaitJump();
    /// Brings a cut's end to a point where all streams can begin: seeks every source to `position`; where the first
    /// stream that needs a group's start lands decides. False when there is none such.
    bool MoveCutToGop(int64 position, bool seekNow);
    /// Called first in a stream's destructor.
    void RemoveStream(IStreamCutInterval const* stream);

  private:
    using Entry = std::pair<iptr<IStream>, IStreamCutInterval*>;

    template <class Wrapper, class T>
    iptr<T> AddStreamTemplate(iptr<T> const& stream);
    template <class T>
    void CheckNewStream(iptr<T> const& stream) const TARSEL_REQUIRES(streamsLock);
    void Register(iptr<IStream> source, IStreamCutInterval* stream) TARSEL_REQUIRES(streamsLock);

    void SeekSources(std::vector<Entry> const& moving, int64 position) TARSEL_REQUIRES(streamsLock);
    bool MoveToGop(std::vector<Entry> const& moving, int64 position, bool seekNow) TARSEL_REQUIRES(streamsLock);
    void Search(std::vector<Entry> const& moving, int64 start, int64 end) TARSEL_REQUIRES(streamsLock);
    bool NeedsGopStart(std::vector<Entry> const& moving) const TARSEL_REQUIRES(streamsLock);
    void AlignCuts(std::vector<IStreamCutInterval*> const& gopStreams) TARSEL_REQUIRES(streamsLock);
    bool AlignBoundary(std::vector<IStreamCutInterval*> const& gopStreams, int64 boundary, std::vector<int64>& aligned,
                       std::vector<int64>& gopStartBoundaries) TARSEL_REQUIRES(streamsLock);
    std::vector<int64> GetCutBoundaries() const;
    int64 GetCommonDuration() const;
    void AddInterval(int64 start, int64 end);

    /// Guards entries, seeks and interval search. Held while sources are sought and read by search threads, which take
    /// the read locks that come next in the order.
    mutable Core::LockImpl streamsLock;
    std::vector<Entry> entries TARSEL_GUARDED_BY(streamsLock);  // streams not owned: they remove themselves
    std::vector<int64> gopStarts TARSEL_GUARDED_BY(streamsLock);
    iptr<ICodecFactory const> codecFactory TARSEL_GUARDED_BY(streamsLock);

    /// Guards the cut list for one query or change at a time. Innermost.
    mutable Core::LockImpl settingsLock;
    SettingsFilterCutController settings TARSEL_GUARDED_BY(settingsLock);
    std::vector<int64> jumpedEnds TARSEL_GUARDED_BY(settingsLock);  // ends of the ranges jumped over
    iptr<IStream> firstSource TARSEL_GUARDED_BY(settingsLock);      // tells the common duration

    std::atomic<bool> cutsPrepared{false};
};

template <class Data>
iptr<Data> FilterCutController::MapItem(iptr<Data> const& item) const {
    CutItemMap const map = [&] {
        Core::AutoLock const lock(settingsLock);
        return CutItemMap(settings, item->GetTime(), item->GetDuration());
    }();
    if (map.IsRemoved()) return nullptr;
    if (!map.HasTime()) return item;
    iptr<Data> mapped = item->Clone(false);
    map.Apply(*mapped);
    if constexpr (std::is_same_v<Data, IDataAudio>) {
        // What is left may round to no sample at all.
        if (mapped->GetSampleCount() == 0 && item->GetSampleCount() > 0) return nullptr;
    }
    return mapped;
}

template <class Data>
iptr<Data> FilterCutController::Map(iptr<Data> const& item) const {
    if constexpr (std::is_same_v<Data, IDataPacket>)
        return MapPacket(item);
    else
        return MapItem(item);
}

}  // namespace Tarsel::Proc
