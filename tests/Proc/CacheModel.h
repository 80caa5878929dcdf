#pragma once

#include <algorithm>
#include <list>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "contracts/Core/Exception.h"
#include "contracts/Core/Time.h"

namespace Tarsel::Test {

/// An item as the models know it: its times, and the how-manieth its source gave.
struct ModelItem {
    int64 time = NO_VALUE;
    int64 duration = NO_VALUE;
    std::size_t serial = 0;

    int64 GetEnd() const { return AddTime(time, duration); }
};

/// What a read of the source gives.
struct CacheStep {
    enum Kind { ITEM, FAILURE, NOTHING } kind = ITEM;
    int64 time = NO_VALUE;
    int64 duration = NO_VALUE;
};

/// A source of a script, and the calls that it got.
struct ModelSource {
    std::vector<CacheStep> steps;
    int64 duration = NO_VALUE;
    std::size_t next = 0;
    std::size_t given = 0;
    int64 target = NO_VALUE;
    bool ended = false;
    std::vector<std::string> calls;

    std::optional<ModelItem> Read() {
        calls.emplace_back("Read");
        if (ended || next >= steps.size()) return {};
        CacheStep const& step = steps[next++];
        if (step.kind == CacheStep::FAILURE) TARSEL_THROW(Proc::FilterException, "scripted");
        if (step.kind == CacheStep::NOTHING) return {};
        return ModelItem{step.time, step.duration, given++};
    }
    void RequestSeek(int64 position) {
        calls.push_back("RequestSeek(" + std::to_string(position) + ")");
        ended = false;
        target = position;
    }
    void DoSeek() {
        calls.emplace_back("DoSeek");
        next = static_cast<std::size_t>(std::find_if(steps.begin(), steps.end(),
                                                     [&](CacheStep const& step) {
                                                         return step.kind == CacheStep::ITEM &&
                                                                AddTime(step.time, step.duration) > target;
                                                     }) -
                                        steps.begin());
    }
};

class ModelCache;

/// The caches that seek as one, in the plainest words.
struct ModelController {
    std::vector<ModelCache*> caches;
    int64 increase = SECOND;

    bool AllRequested() const;
    void CheckPositions() const;
    void FinishIfAllFound();
    void SeekAll(int64 position, bool forward);
    void SeekCaches(int64 position);
};

/// A cache whose thread has ended: what it reads, keeps, gives and forgets.
class ModelCache {
  public:
    ModelCache(ModelController& controller, ModelSource& source, int64 ahead, int64 behind)
        : source(source), span(behind), controller(controller), prefetch(ahead) {
        controller.caches.push_back(this);
    }
    ~ModelCache() { std::erase(controller.caches, this); }

    ModelSource& source;
    int64 span;
    int64 position = NO_VALUE;
    bool requested = false;
    bool found = false;
    bool toldToEnd = false;  // only a seek of the source takes it back
    unsigned delivered = 0;

    std::optional<ModelItem> Read() {
        std::optional<ModelItem> item = std::exchange(ahead, {});
        if (!item) item = ReadInternal();
        if (item) streamPosition = item->GetEnd();
        return item;
    }
    int64 GetPosition() {
        if (HasValue(streamPosition)) return streamPosition;
        if (!ahead) ahead = ReadInternal();
        if (ahead) streamPosition = ahead->time;
        return streamPosition;
    }
    void RequestSeek(int64 to) {
        if (HasValue(source.duration) && to > source.duration) to = source.duration;
        streamPosition = NO_VALUE;
        ahead.reset();
        forward = to > position;
        position = to;
        requested = true;
        found = false;
        controller.CheckPositions();
    }
    void DoSeek() {
        if (!controller.AllRequested()) return;
        if (IsOutside()) return controller.SeekAll(position, forward);
        for (next = buffer.begin(); next != buffer.end(); ++next)
            if (next->time < position && position < next->GetEnd()) break;
        if (next == buffer.end()) TARSEL_THROW(std::logic_error, "buffer overrun");
        position = next->time;
        found = true;
        controller.FinishIfAllFound();
    }
    void SetEndOfStream() {
        source.calls.emplace_back("SetEndOfStream");
        source.ended = toldToEnd = true;
    }
    void Release() {
        ahead.reset();
        Clear();
        source.calls.emplace_back("ReleaseInternalData");
    }
    void Clear() {
        buffer.clear();
        next = buffer.end();
        toldToEnd = false;
    }
    void Increase() {
        if (!std::exchange(increased, true)) span = AddTime(span, controller.increase);
    }
    void Decrease() {
        if (std::exchange(increased, false)) span = SubTime(span, controller.increase);
    }
    void ClearFlags() { requested = found = false; }
    /// The serials of all items that are in memory, in order.
    std::vector<std::size_t> GetAlive() const {
        std::vector<std::size_t> serials;
        for (ModelItem const& item : buffer) serials.push_back(item.serial);
        // What was read ahead may have left the window since.
        if (ahead) serials.push_back(ahead->serial);
        std::sort(serials.begin(), serials.end());
        serials.erase(std::unique(serials.begin(), serials.end()), serials.end());
        return serials;
    }

  private:
    /// A first item without a time is no beginning.
    bool IsOutside() const {
        return toldToEnd || buffer.empty() || !HasValue(buffer.front().time) || position <= buffer.front().time ||
               position >= buffer.back().time;
    }
    /// An item of unknown length is kept for as long as its start is, one of unknown time as long as those behind it.
    void DropBehind() {
        auto gone = buffer.begin();
        for (auto item = buffer.begin(); item != buffer.end(); ++item) {
            int64 const place = HasValue(item->GetEnd()) ? item->GetEnd() : item->time;
            if (HasValue(place) && place >= SubTime(position, span)) break;
            if (HasValue(place)) gone = std::next(item);
        }
        buffer.erase(buffer.begin(), gone);
    }
    std::optional<ModelItem> ReadInternal() {
        if (next != buffer.end()) {
            ModelItem const item = *next++;
            if (next != buffer.end()) {
                position = item.GetEnd();
                ++delivered;
                return item;
            }
            position = item.time;
        }
        bool ended = false;
        bool appended = false;
        bool const reachesFar =
            HasValue(position) && !buffer.empty() && buffer.back().time >= AddTime(position, prefetch);
        if (!reachesFar) Fill(ended, appended);
        if (!ended || appended) {
            for (auto item = buffer.begin(); item != buffer.end(); ++item) {
                if (item->time > position || position >= item->GetEnd()) continue;
                next = item;
                position = item->GetEnd();
                ++delivered;
                return *item;
            }
            next = buffer.end();
        }
        if (buffer.empty() && !ended) TARSEL_THROW(std::logic_error, "buffer overrun");
        return {};
    }
    void Fill(bool& ended, bool& appended) {
        DropBehind();
        for (;;) {
            auto const item = source.Read();
            if (!item) {
                ended = true;
                return;
            }
            if (!HasValue(position)) {
                position = item->time;
                DropBehind();
            }
            if (HasValue(item->GetEnd()) && item->GetEnd() < SubTime(position, span)) continue;
            int64 const high = AddTime(position, prefetch);
            if (item->time > high) TARSEL_THROW(std::logic_error, "buffer overrun");
            buffer.push_back(*item);
            appended = true;
            if (item->GetEnd() > high) return;
        }
    }

    ModelController& controller;
    int64 const prefetch;
    std::list<ModelItem> buffer;
    std::list<ModelItem>::iterator next = buffer.end();
    bool increased = false;
    bool forward = true;
    // What the stream base keeps.
    int64 streamPosition = NO_VALUE;
    std::optional<ModelItem> ahead;
};

inline bool ModelController::AllRequested() const {
    return std::all_of(caches.begin(), caches.end(), [](ModelCache const* cache) { return cache->requested; });
}
inline void ModelController::CheckPositions() const {
    ModelCache const* first = nullptr;
    for (ModelCache const* cache : caches) {
        if (!cache->requested) continue;
        if (!first) first = cache;
        if (cache->position != first->position)
            TARSEL_THROW(std::logic_error, "all registered caches must be positioned to the same position");
    }
}
inline void ModelController::FinishIfAllFound() {
    bool const all = std::all_of(caches.begin(), caches.end(), [](auto* cache) { return cache->found; });
    if (!AllRequested() || !all) return;
    for (ModelCache* cache : caches) cache->ClearFlags();
}
inline void ModelController::SeekAll(int64 position, bool forward) {
    for (ModelCache* cache : caches) forward ? cache->Decrease() : cache->Increase();
    SeekCaches(position);
}
inline void ModelController::SeekCaches(int64 position) {
    if (caches.empty()) return;
    int64 span = caches.front()->span;
    for (ModelCache const* cache : caches) span = std::min(span, cache->span);
    int64 const target = std::max<int64>(0, SubTime(position, span));
    for (ModelCache* cache : caches) cache->Clear();
    for (ModelCache* cache : caches) cache->source.RequestSeek(target);
    for (ModelCache* cache : caches) cache->source.DoSeek();
    for (ModelCache* cache : caches) cache->ClearFlags();
}

}  // namespace Tarsel::Test
