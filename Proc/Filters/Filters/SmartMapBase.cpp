#include "Proc/Filters/Filters/SmartMapBase.h"

#include <glog/logging.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "Proc/Filters/Filters/SmartMapAudio.h"
#include "Proc/Filters/Filters/SmartMapVideo.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/IStreamVisitor.h"

namespace Tarsel::Proc {

namespace {

constexpr char MUST_LOCK[] = "You must lock stream before settings changing";

/// A source's length, which has to be known.
int64 LengthOf(IStream const& source) {
    int64 const length = source.GetDuration();
    if (length < 0) TARSEL_THROW(FilterException, "Incorrect duration in source stream");
    return length;
}

}  // namespace

template <class Traits>
SmartMapBase<Traits>::SmartMapBase() : format(FormatType::Create()) {
    format->SetCodecID(Conf::IFormatCodec::CODEC_ID_NONE);
}

// --- Lock ------------------------------------------------------------------------------------------------------------

template <class Traits>
void SmartMapBase<Traits>::Lock() {
    lock.Lock();
    ++lockCount;
    wasLocked = true;
}

template <class Traits>
bool SmartMapBase<Traits>::TryLock() {
    if (!lock.TryLock()) return false;
    ++lockCount;
    wasLocked = true;
    return true;
}

template <class Traits>
void SmartMapBase<Traits>::Unlock() {
    if (!lock.IsHeldByCaller() || lockCount == 0) return;
    --lockCount;
    wasLocked = true;
    lock.Unlock();
}

template <class Traits>
void SmartMapBase<Traits>::CheckLockedForSettings() const {
    if (lockCount == 0) TARSEL_THROW(std::logic_error, MUST_LOCK);
}

template <class Traits>
void SmartMapBase<Traits>::ReportUnlocked() const {
    if (lockCount == 0) LOG(ERROR) << MUST_LOCK;
}

// --- Handles ---------------------------------------------------------------------------------------------------------

template <class Traits>
SmartMapBase<Traits>::MappedStream::~MappedStream() {
    // A destructor can't throw. The lock is given up before the member goes, which may be the map's last owner.
    map->ReportUnlocked();
    map->RemoveStream(this);
}

template <class Traits>
int64 SmartMapBase<Traits>::MappedStream::GetBegin() {
    map->CheckLockedForSettings();
    Core::AutoLock const guard(map->lock);
    return map->GetStreamData(this).begin;
}

template <class Traits>
void SmartMapBase<Traits>::MappedStream::SetBegin(int64 begin) {
    map->CheckLockedForSettings();
    if (!HasValue(begin)) TARSEL_THROW(std::invalid_argument, "A mapped stream needs a begin");
    Core::AutoLock const guard(map->lock);
    StreamData& record = map->GetStreamData(this);
    int64 const length = LengthOf(*record.source);
    record.begin = begin;
    record.sourceDuration = length;
    record.end = AddTime(begin, length);
    record.DropItems();
    record.isSought = false;
    map->MarkChanged(DIRTY_ALL);
}

template <class Traits>
int64 SmartMapBase<Traits>::MappedStream::GetDuration() {
    map->CheckLockedForSettings();
    Core::AutoLock const guard(map->lock);
    return map->GetStreamData(this).sourceDuration;
}

template <class Traits>
void SmartMapBase<Traits>::MappedStream::SetOrder(int order) {
    map->CheckLockedForSettings();
    Core::AutoLock const guard(map->lock);
    map->GetStreamData(this).order = order;
}

template <class Traits>
int SmartMapBase<Traits>::MappedStream::GetOrder() {
    map->CheckLockedForSettings();
    Core::AutoLock const guard(map->lock);
    return map->GetStreamData(this).order;
}

template <class Traits>
SmartMapBase<Traits>::MappedEffect::~MappedEffect() {
    map->ReportUnlocked();
    map->RemoveEffect(this);
}

template <class Traits>
int64 SmartMapBase<Traits>::MappedEffect::GetBegin() {
    map->CheckLockedForSettings();
    Core::AutoLock const guard(map->lock);
    return map->effects.GetEffectData(this).GetTimeToProgress().begin;
}

template <class Traits>
void SmartMapBase<Traits>::MappedEffect::SetBegin(int64 begin) {
    map->CheckLockedForSettings();
    Core::AutoLock const guard(map->lock);
    map->effects.GetEffectData(this).GetTimeToProgress().begin = begin;
    map->MarkChanged(DIRTY_TIME_POINTS);
}

template <class Traits>
int64 SmartMapBase<Traits>::MappedEffect::GetDuration() {
    map->CheckLockedForSettings();
    Core::AutoLock const guard(map->lock);
    return map->effects.GetEffectData(this).GetTimeToProgress().GetDuration();
}

template <class Traits>
int64 SmartMapBase<Traits>::MappedEffect::GetEnd() {
    map->CheckLockedForSettings();
    Core::AutoLock const guard(map->lock);
    return map->effects.GetEffectData(this).GetTimeToProgress().end;
}

template <class Traits>
void SmartMapBase<Traits>::MappedEffect::SetEnd(int64 end) {
    map->CheckLockedForSettings();
    Core::AutoLock const guard(map->lock);
    map->effects.GetEffectData(this).GetTimeToProgress().end = end;
    map->MarkChanged(DIRTY_TIME_POINTS);
}

template <class Traits>
void SmartMapBase<Traits>::MappedEffect::GetEffect(iptr<Conf::IFormatCodec>& result) {
    map->CheckLockedForSettings();
    Core::AutoLock const guard(map->lock);
    map->effects.GetEffectData(this).AdaptFormatCodec(result);
}

template <class Traits>
iptr<IEffect> SmartMapBase<Traits>::MappedEffect::GetEffect() {
    map->CheckLockedForSettings();
    Core::AutoLock const guard(map->lock);
    return iptr<IEffect>(&map->effects.GetEffectData(this));
}

// --- The timeline ----------------------------------------------------------------------------------------------------

template <class Traits>
iptr<typename Traits::Mapped> SmartMapBase<Traits>::MapStream(iptr<StreamType> const& source) {
    CheckLockedForSettings();
    if (!source) TARSEL_THROW(std::invalid_argument, "source is NULL");
    if (source.get() == static_cast<StreamType*>(this))
        TARSEL_THROW(std::invalid_argument, "A map can't be mapped on itself");
    Core::AutoLock const guard(lock);
    int64 const length = LengthOf(*source);
    std::shared_ptr<StreamData> const record = MakeRecord(source);
    record->sourceDuration = length;
    record->end = length;
    record->Output().ReleaseInternalData();
    iptr<typename Traits::Mapped> handle = MakeHandle();
    record->mapped = handle.get();
    record->number = mappedStreams++;
    streams.push_back(record);
    {
        Core::MutexLock const targetsGuard(targetsLock);
        endTargets.emplace_back(&record->Output());
    }
    MarkChanged(DIRTY_ALL);
    return handle;
}

template <class Traits>
iptr<IMappedEffect> SmartMapBase<Traits>::MapEffect(iptr<IEffect> const& effect, int64 begin, int64 end) {
    CheckLockedForSettings();
    Core::AutoLock const guard(lock);
    iptr<IMappedEffect> handle = MakeShared<MappedEffect>(iptr<SmartMapBase>(this));
    effects.Add(handle.get(), effect, begin, end);
    MarkChanged(DIRTY_TIME_POINTS);
    return handle;
}

template <class Traits>
typename Traits::Record& SmartMapBase<Traits>::GetStreamData(ITimeMapped const* mapped) const {
    for (auto const& record : streams)
        if (record->mapped == mapped) return *record;
    TARSEL_THROW(std::logic_error, "required unmapped stream");
}

template <class Traits>
void SmartMapBase<Traits>::RemoveStream(ITimeMapped const* mapped) {
    // They go when the lock has gone: they may be the last owners of streams.
    std::shared_ptr<StreamData> removed;
    iptr<IStream> target;
    Core::AutoLock const guard(lock);
    for (auto record = streams.begin(); record != streams.end(); ++record) {
        if ((*record)->mapped != mapped) continue;
        removed = *record;
        streams.erase(record);
        break;
    }
    if (!removed) return;
    window.Reset();
    MarkChanged(DIRTY_ALL);
    Core::MutexLock const targetsGuard(targetsLock);
    auto const found = std::find(endTargets.begin(), endTargets.end(), &removed->Output());
    target = *found;
    endTargets.erase(found);
}

template <class Traits>
void SmartMapBase<Traits>::RemoveEffect(ITimeMapped const* mapped) {
    iptr<IEffect> removed;
    Core::AutoLock const guard(lock);
    removed = effects.Remove(mapped);
    if (removed) MarkChanged(DIRTY_TIME_POINTS);
}

template <class Traits>
void SmartMapBase<Traits>::MarkChanged(unsigned bits) {
    dirty |= bits;
    needSeek = true;
}

// --- What is derived from it -----------------------------------------------------------------------------------------

template <class Traits>
void SmartMapBase<Traits>::UpdateIfDirty(unsigned mask) const {
    if (dirty & mask & DIRTY_STREAM_ORDER) {
        // Equal begins keep the order in which they were mapped, wherever they have been moved from.
        std::sort(streams.begin(), streams.end(), [](auto const& a, auto const& b) {
            return a->begin != b->begin ? a->begin < b->begin : a->number < b->number;
        });
        window.Reset();
        dirty &= ~static_cast<unsigned>(DIRTY_STREAM_ORDER);
    }
    if (dirty & mask & DIRTY_DURATION) {
        UpdateDuration();
        dirty &= ~static_cast<unsigned>(DIRTY_DURATION);
    }
    if (dirty & mask & DIRTY_FORMAT) {
        UpdateFormat();
        dirty &= ~static_cast<unsigned>(DIRTY_FORMAT);
    }
    if (dirty & mask & DIRTY_TIME_POINTS) {
        UpdateTimePoints();
        dirty &= ~static_cast<unsigned>(DIRTY_TIME_POINTS);
    }
}

template <class Traits>
void SmartMapBase<Traits>::UpdateDuration() const {
    int64 latest = streams.empty() ? 0 : streams.front()->end;
    for (auto const& record : streams) latest = std::max(latest, record->end);
    duration = latest;
}

template <class Traits>
void SmartMapBase<Traits>::UpdateTimePoints() const {
    timePoints.clear();
    for (auto const& record : streams) {
        timePoints.insert(record->begin);
        timePoints.insert(record->end);
    }
    effects.AddTimePoints(timePoints);
    effects.Reindex();
}

template <class Traits>
int64 SmartMapBase<Traits>::GetDuration() const {
    Core::AutoLock const guard(lock);
    UpdateIfDirty(DIRTY_DURATION);
    return duration;
}

template <class Traits>
iptr<typename SmartMapBase<Traits>::FormatType const> SmartMapBase<Traits>::GetFormatCodec() const {
    Core::AutoLock const guard(lock);
    UpdateIfDirty(DIRTY_FORMAT | DIRTY_STREAM_ORDER);
    return format;
}

// --- Reading ---------------------------------------------------------------------------------------------------------

template <class Traits>
void SmartMapBase<Traits>::PrepareRead() {
    if (needSeek) TARSEL_THROW(std::logic_error, "seek required after adding, deleting or remapping source streams");
    UpdateIfDirty(DIRTY_ALL);
    // Who may write into time maps has a lock, or has had one.
    if (wasLocked) effects.LookAgain();
    wasLocked = lockCount > 0;
}

template <class Traits>
int64 SmartMapBase<Traits>::FindNextTimePoint() const {
    auto const next = timePoints.upper_bound(position);
    return next == timePoints.end() ? duration.load() : *next;
}

template <class Traits>
void SmartMapBase<Traits>::SeekSource(StreamData& record, int64 target) {
    record.isSought = false;
    record.Output().RequestSeek(target, nullptr);
    record.Output().DoSeek();
    record.isSought = true;
}

template <class Traits>
void SmartMapBase<Traits>::ReleaseSource(StreamData& record) {
    record.isSought = false;
    record.Output().ReleaseInternalData();
}

// --- Seek ------------------------------------------------------------------------------------------------------------

template <class Traits>
void SmartMapBase<Traits>::RequestSeek(int64 target, iptr<IRefCountable>) {
    Core::AutoLock const guard(lock);
    UpdateIfDirty(DIRTY_ALL);
    endOfStream = false;
    target = std::max<int64>(target, 0);
    if (target >= duration) target = duration - 1;
    SeekSources(target);
    effects.Reindex();
    effects.ResetState();
    position = target;
}

template <class Traits>
void SmartMapBase<Traits>::SeekSources(int64 target) {
    // A source that fails leaves none behind that stands at another position than the map.
    for (auto const& record : streams) {
        record->DropItems();
        record->isSought = false;
    }
    window.Reset();
    Records const all = streams;
    try {
        for (auto const& record : all) {
            if (record->Holds(target))
                SeekSource(*record, SubTime(target, record->begin));
            else
                ReleaseSource(*record);
        }
    } catch (...) {
        for (auto const& record : all) record->isSought = false;
        throw;
    }
}

template <class Traits>
void SmartMapBase<Traits>::DoSeek() {
    Core::AutoLock const guard(lock);
    needSeek = false;
}

template <class Traits>
bool SmartMapBase<Traits>::FinishSeek() {
    Core::AutoLock const guard(lock);
    Records const all = streams;
    bool done = true;
    // Each one is waited for.
    for (auto const& record : all) done = record->Output().FinishSeek() && done;
    return done;
}

template <class Traits>
void SmartMapBase<Traits>::SetEndOfStream() {
    // Ahead of the sources: a read that they break must find it set.
    endOfStream = true;
    std::vector<iptr<IStream>> targets;
    {
        Core::MutexLock const guard(targetsLock);
        targets = endTargets;
    }
    for (iptr<IStream> const& target : targets) target->SetEndOfStream();
}

template <class Traits>
void SmartMapBase<Traits>::ReleaseInternalData() {
    Core::AutoLock const guard(lock);
    Records const all = streams;
    for (auto const& record : all) {
        record->DropItems();
        ReleaseSource(*record);
    }
    effects.ResetState();
}

// --- All streams -----------------------------------------------------------------------------------------------------

template <class Traits>
void SmartMapBase<Traits>::Initialize(Core::Property const&) {
    TARSEL_THROW(FilterException, "Method not implemented");
}

template <class Traits>
Core::Property SmartMapBase<Traits>::GetSettings() {
    TARSEL_THROW(FilterException, "Method not implemented");
}

template <class Traits>
Core::Property SmartMapBase<Traits>::GetStatistic() {
    Core::AutoLock const guard(lock);
    Core::Property result = Core::MakeStatistics(Traits::STATISTIC_NAME, readTime, framesRead);
    Records const all = streams;
    for (auto const& record : all) result.Add(record->source->GetStatistic());
    for (iptr<IEffect> const& effect : effects.GetAll()) result.Add(effect->GetStatistic());
    return result;
}

template <class Traits>
void SmartMapBase<Traits>::Accept(IStreamVisitor& visitor) {
    Core::AutoLock const guard(lock);
    std::vector<iptr<IEffect>> const mapped = effects.GetAll();
    int const frameType = mapped.empty() ? Visitors::FRAME_TYPE_FILTER : mapped.front()->GetProcessingFrameType();
    Visitors::Visit(visitor, Traits::NAME, frameType, nullptr);
    Records const all = streams;
    for (auto const& record : all) record->source->Accept(visitor);
}

template class SmartMapBase<Details::SmartMapVideoTraits>;
template class SmartMapBase<Details::SmartMapAudioTraits>;

}  // namespace Tarsel::Proc
