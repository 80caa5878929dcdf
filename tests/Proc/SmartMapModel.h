// A map of pictures as plain as can be: every read walks over all records. What it delivers, and what it asks of its
// sources and effects, is what the map has to.
#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>
#include <numeric>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "contracts/Core/Time.h"

namespace Tarsel::Test {

struct ModelFrame {
    int64 time;
    int64 duration;
    int shade;

    int64 End() const { return time + duration; }
};

/// A source that plays a script, as `ScriptedStream` does, and its record.
struct ModelSource {
    std::vector<ModelFrame> script;
    int64 begin = 0;
    int64 duration = 0;
    int order = 0;

    std::size_t next = 0;
    bool isSought = false;
    std::optional<ModelFrame> frame;  // on the map's timeline, `time` and `duration` as it was read
    int64 frameBegin = 0;
    std::optional<int> lastShade;
    std::vector<std::string> log;

    int64 End() const { return begin + duration; }
    bool Holds(int64 position) const { return begin <= position && position < End(); }
    bool Covers(int64 position) const { return frame && frameBegin <= position && position < frame->End(); }

    void SeekTo(int64 target) {
        log.push_back("RequestSeek(" + std::to_string(target) + ")");
        log.push_back("DoSeek");
        isSought = true;
        for (next = 0; next < script.size() && script[next].End() <= target;) ++next;
    }
    void Release() {
        log.push_back("ReleaseInternalData");
        isSought = false;
    }
    std::optional<ModelFrame> Read() {
        log.push_back("Read");
        return next < script.size() ? std::optional(script[next++]) : std::nullopt;
    }
};

struct ModelEffect {
    std::string name;
    int64 begin = 0;
    int64 end = 0;
};

class SmartMapModel {
  public:
    std::vector<ModelSource> sources;  // in mapping order
    std::vector<ModelEffect> effects;  // in mapping order
    std::vector<std::string> effectLog;
    int64 position = 0;

    int64 GetDuration() const {
        int64 latest = sources.empty() ? 0 : sources.front().End();
        for (ModelSource const& source : sources) latest = std::max(latest, source.End());
        return latest;
    }

    void SeekTo(int64 target) {
        target = std::max<int64>(target, 0);
        if (target >= GetDuration()) target = GetDuration() - 1;
        for (ModelSource* const source : ByBegin()) {
            source->frame.reset();
            source->lastShade.reset();
            if (source->Holds(target))
                source->SeekTo(target - source->begin);
            else
                source->Release();
        }
        entered.clear();
        for (ModelEffect const& effect : effects) effectLog.push_back(effect.name + ": reset");
        position = target;
    }

    /// "40+20 #3", "null", or the failure's text.
    std::string Read() {
        int64 const start = position;
        for (;;) {
            for (ModelSource* const source : ByBegin()) Fill(*source);
            std::vector<ModelSource*> active;
            for (ModelSource* const source : ByBegin())
                if (source->frame) active.push_back(source);
            std::stable_sort(active.begin(), active.end(), [](auto* a, auto* b) { return a->order < b->order; });
            if (position == GetDuration() || active.empty()) return "null";
            int64 end = NextTimePoint();
            int64 shortest = std::numeric_limits<int64>::max();
            for (ModelSource const* const source : active) {
                end = std::min(end, source->frame->End());
                shortest = std::min(shortest, source->frame->duration);
            }
            if (end - start < shortest / 2) {
                Advance(active, end);
                continue;
            }
            std::optional<int> const shade = Show(active, end);
            if (!shade) return "Empty packets buffer";
            Advance(active, end);
            return std::to_string(start) + "+" + std::to_string(end - start) + " #" + std::to_string(*shade);
        }
    }

  private:
    std::vector<ModelSource*> ByBegin() {
        std::vector<ModelSource*> sorted;
        for (ModelSource& source : sources) sorted.push_back(&source);
        std::stable_sort(sorted.begin(), sorted.end(), [](auto* a, auto* b) { return a->begin < b->begin; });
        return sorted;
    }

    int64 NextTimePoint() const {
        int64 next = GetDuration();
        auto const meet = [&](int64 point) {
            if (point > position) next = std::min(next, point);
        };
        for (ModelSource const& source : sources) {
            meet(source.begin);
            meet(source.End());
        }
        for (ModelEffect const& effect : effects) {
            meet(effect.begin);
            meet(effect.end);
        }
        return next;
    }

    void Fill(ModelSource& source) {
        if (source.Covers(position) || !source.Holds(position)) return;
        if (source.begin == position || !source.isSought) source.SeekTo(position - source.begin);
        for (;;) {
            std::optional<ModelFrame> frame = source.Read();
            if (!frame) break;
            frame->time += source.begin;
            source.lastShade = frame->shade;
            source.frame.reset();
            if (frame->End() <= position) continue;
            source.frame = frame;
            source.frameBegin = frame->time;
            return;
        }
        if (!source.lastShade) {
            position = source.End();
            return;
        }
        source.frame = ModelFrame{position, source.End() - position, *source.lastShade};
        source.frameBegin = position;
        source.lastShade.reset();
    }

    std::optional<int> Show(std::vector<ModelSource*> const& active, int64 end) {
        std::string inputs;
        std::optional<int> shade;
        std::string const span = std::to_string(position) + "+" + std::to_string(end - position) + " #";
        for (ModelSource const* const source : active) {
            if (!source->Covers(position)) continue;
            shade = source->frame->shade;
            inputs += (inputs.empty() ? " " : ", ") + span + std::to_string(*shade);
        }
        if (!shade) return shade;
        for (std::size_t i = 0; i < effects.size(); ++i) {
            if (effects[i].begin > position || position >= effects[i].end) continue;
            entered.insert(i);
            effectLog.push_back(effects[i].name + ":" + inputs);
            inputs = " " + span + std::to_string(*shade);
        }
        return shade;
    }

    void Advance(std::vector<ModelSource*> const& active, int64 target) {
        int64 const step = target - position;
        position = target;
        for (ModelSource* const source : active) {
            source->frameBegin += step;
            if (!source->Covers(target)) source->frame.reset();
            if (source->End() != target) continue;
            source->Release();
            source->lastShade.reset();
        }
        std::set<std::size_t> const before = entered;
        for (std::size_t const i : before) {
            if (target < effects[i].end) continue;
            effectLog.push_back(effects[i].name + ": reset");
            entered.erase(i);
        }
    }

    std::set<std::size_t> entered;
};

}  // namespace Tarsel::Test
