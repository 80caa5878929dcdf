#include "Proc/Filters/Filters/FilterCacheController.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include "Proc/Filters/Filters/FilterCache.h"
#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {

iptr<IFilterCacheController> FilterCacheController::Create() {
    return MakeShared<FilterCacheController>();
}

void FilterCacheController::UpdateSettings(Settings const&) {
    TARSEL_THROW(FilterException, "Not implemented");
}

void FilterCacheController::Initialize(Core::Property const& property) {
    if (property.Name() != CLASS_ID) TARSEL_THROW(std::logic_error, "incorrect controller name");
}

void FilterCacheController::SetCacheIncreaseSpan(int64 length) {
    if (length < 0) TARSEL_THROW(std::invalid_argument, "length is negative");
    WaitForHost();
    cacheIncreaseSpan = length;
}

/// Meant: the lock isn't kept for the work that follows, waiting for its holder is all.
void FilterCacheController::WaitForHost() {
    Core::AutoLock const wait(hostLock);
}

// --- Streams ---------------------------------------------------------------------------------------------------------

template <class T>
iptr<T> FilterCacheController::AddStreamT(iptr<T> const& stream, int64 prefetchSpan, int64 cacheSpan) {
    WaitForHost();
    IStream* const source = stream.get();
    Core::MutexLock const lock(entriesLock);
    if (std::any_of(entries.begin(), entries.end(), [source](Entry const& entry) { return entry.source == source; }))
        TARSEL_THROW(FilterException, "this stream is already registered");
    // Nothing may fail behind the making of the cache: its end would come back here for the lock.
    entries.reserve(entries.size() + 1);
    auto const cache = MakeShared<FilterCache<T>>(stream, iptr<FilterCacheController>(this), prefetchSpan, cacheSpan);
    entries.push_back({source, cache.get(), cache.get()});
    return cache;
}

template iptr<IStreamVideo> FilterCacheController::AddStreamT(iptr<IStreamVideo> const&, int64, int64);
template iptr<IStreamAudio> FilterCacheController::AddStreamT(iptr<IStreamAudio> const&, int64, int64);
template iptr<IStreamSubtitle> FilterCacheController::AddStreamT(iptr<IStreamSubtitle> const&, int64, int64);

iptr<IStreamSubtitle> FilterCacheController::AddStream(iptr<IStreamSubtitle> const& stream) {
    return AddStreamT(stream, DEFAULT_PREFETCH_SPAN_SUBTITLE, DEFAULT_CACHE_SPAN_SUBTITLE);
}

iptr<IStreamVideo> FilterCacheController::AddStream(iptr<IStreamVideo> const& stream) {
    return AddStreamT(stream, DEFAULT_PREFETCH_SPAN_VIDEO, DEFAULT_CACHE_SPAN_VIDEO);
}

iptr<IStreamAudio> FilterCacheController::AddStream(iptr<IStreamAudio> const& stream) {
    return AddStreamT(stream, DEFAULT_PREFETCH_SPAN_AUDIO, DEFAULT_CACHE_SPAN_AUDIO);
}

iptr<IStreamRaw> FilterCacheController::AddStream(iptr<IStreamRaw> const&) {
    return nullptr;
}

void FilterCacheController::RemoveStream(IStream const* key) {
    WaitForHost();
    Core::MutexLock const lock(entriesLock);
    auto const bySource =
        std::find_if(entries.begin(), entries.end(), [key](Entry const& entry) { return entry.source == key; });
    if (bySource != entries.end()) entries.erase(bySource);
    auto const byCache =
        std::find_if(entries.begin(), entries.end(), [key](Entry const& entry) { return entry.stream == key; });
    if (byCache == entries.end()) return;
    // A source that dies with its cache is forgotten: another stream may come to live at its address. Meant: any other
    // source stays registered.
    if (byCache->source->GetRefCountImpl() == 1)
        entries.erase(byCache);
    else
        *byCache = {byCache->source, nullptr, nullptr};
}

std::vector<FilterCacheController::Entry> FilterCacheController::GetLiving() const {
    std::vector<Entry> living;
    Core::MutexLock const lock(entriesLock);
    std::copy_if(entries.begin(), entries.end(), std::back_inserter(living),
                 [](Entry const& entry) { return entry.cache != nullptr; });
    return living;
}

// --- Seek ------------------------------------------------------------------------------------------------------------

bool FilterCacheController::AllSeeksRequested() const {
    Core::MutexLock const lock(entriesLock);
    return std::all_of(entries.begin(), entries.end(),
                       [](Entry const& entry) { return !entry.cache || entry.cache->IsSeekRequested(); });
}

void FilterCacheController::CheckLogicalPositions() const {
    Core::MutexLock const lock(entriesLock);
    IFilterCache const* first = nullptr;
    for (Entry const& entry : entries) {
        if (!entry.cache || !entry.cache->IsSeekRequested()) continue;
        if (!first) first = entry.cache;
        if (entry.cache->GetLogicalPosition() != first->GetLogicalPosition())
            TARSEL_THROW(std::logic_error, "all registered caches must be positioned to the same position");
    }
}

void FilterCacheController::FinishSeekIfAllInBuffer() {
    if (!AllSeeksRequested()) return;
    std::vector<Entry> const living = GetLiving();
    if (!std::all_of(living.begin(), living.end(), [](Entry const& entry) { return entry.cache->IsSeekInBuffer(); }))
        return;
    for (Entry const& entry : living) entry.cache->ClearSeekFlags();
}

void FilterCacheController::SeekAll(int64 position, bool forward) {
    // Who stepped back out of the window is likely to step back again.
    for (Entry const& entry : GetLiving()) {
        if (forward)
            entry.cache->DecreaseCacheSpan();
        else
            entry.cache->IncreaseCacheSpan();
    }
    SeekCaches(position);
}

void FilterCacheController::SeekCaches(int64 position) {
    std::vector<Entry> const living = GetLiving();
    if (living.empty()) return;
    // The seek of a cache that is also a source of another one would come back here without end.
    if (seeking.exchange(true)) TARSEL_THROW(std::logic_error, "a cache is a source of another one of its controller");
    struct Sought {
        ~Sought() { seeking = false; }
        std::atomic<bool>& seeking;
    } const sought{seeking};
    int64 minSpan = living.front().cache->GetCacheSpan();
    for (Entry const& entry : living) minSpan = std::min(minSpan, entry.cache->GetCacheSpan());
    int64 const target = std::max<int64>(0, SubTime(position, minSpan));
    for (Entry const& entry : living) entry.cache->StopAndClear();
    for (Entry const& entry : living) entry.source->RequestSeek(target, nullptr);
    for (Entry const& entry : living) entry.source->DoSeek();
    for (Entry const& entry : living) entry.cache->ClearSeekFlags();
}

}  // namespace Tarsel::Proc
