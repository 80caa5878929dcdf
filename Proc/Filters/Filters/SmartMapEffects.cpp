#include "Proc/Filters/Filters/SmartMapEffects.h"

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <utility>

#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {

namespace {

/// An interval with an unknown end holds nothing.
bool Holds(TimeToProgress const& map, int64 position) {
    return HasValue(map.begin) && map.begin <= position && position < map.end;
}

}  // namespace

bool SmartMapEffects::EffectData::IsIndexRight() const {
    TimeToProgress const& map = effect->GetTimeToProgress();
    return map.begin == begin && map.end == end;
}

void SmartMapEffects::Add(ITimeMapped const* mapped, iptr<IEffect> const& effect, int64 begin, int64 end) {
    if (!effect) TARSEL_THROW(std::invalid_argument, "effect is NULL");
    if (!HasValue(begin) || begin >= end) TARSEL_THROW(FilterException, "Bad effect mapping, begin >= end");
    if (!effects.empty() && effects.front()->effect->GetProcessingFrameType() != effect->GetProcessingFrameType())
        TARSEL_THROW(FilterException, "Trying to map effects with not equal processing frame types");
    effects.push_back(std::make_shared<EffectData>(EffectData{mapped, effect, 0, begin, end}));
    effect->GetTimeToProgress().begin = begin;
    effect->GetTimeToProgress().end = end;
}

IEffect& SmartMapEffects::GetEffectData(ITimeMapped const* mapped) const {
    for (auto const& record : effects)
        if (record->mapped == mapped) return *record->effect;
    TARSEL_THROW(std::logic_error, "required unmapped effect");
}

iptr<IEffect> SmartMapEffects::Remove(ITimeMapped const* mapped) {
    auto const found =
        std::find_if(effects.begin(), effects.end(), [&](auto const& record) { return record->mapped == mapped; });
    if (found == effects.end()) return nullptr;
    iptr<IEffect> const effect = (*found)->effect;
    effects.erase(found);
    // Whoever takes many away pays for one new index.
    isIndexed = false;
    // One effect may stand on the timeline twice.
    if (!IsMapped(effect)) activeEffects.erase(effect);
    return effect;
}

bool SmartMapEffects::IsMapped(iptr<IEffect> const& effect) const {
    return std::any_of(effects.begin(), effects.end(), [&](auto const& record) { return record->effect == effect; });
}

std::vector<iptr<IEffect>> SmartMapEffects::GetAll() const {
    std::vector<iptr<IEffect>> all;
    for (auto const& record : effects) all.push_back(record->effect);
    return all;
}

void SmartMapEffects::AddTimePoints(std::set<int64>& timePoints) const {
    for (auto const& record : effects) {
        TimeToProgress const& map = record->effect->GetTimeToProgress();
        timePoints.insert(map.begin);
        timePoints.insert(map.end);
    }
}

// --- Where to look ---------------------------------------------------------------------------------------------------

void SmartMapEffects::Reindex() {
    std::size_t number = 0;
    for (auto const& record : effects) {
        TimeToProgress const& map = record->effect->GetTimeToProgress();
        record->number = number++;
        record->begin = map.begin;
        record->end = map.end;
    }
    byBegin = effects;
    std::sort(byBegin.begin(), byBegin.end(), [](auto const& a, auto const& b) { return a->begin < b->begin; });
    window.Reset();
    isIndexed = true;
}

void SmartMapEffects::LookAgain() {
    if (!std::all_of(effects.begin(), effects.end(), [](auto const& record) { return record->IsIndexRight(); }))
        Reindex();
}

std::vector<iptr<IEffect>> SmartMapEffects::FindActing(int64 position) {
    if (!isIndexed) Reindex();
    window.MoveTo(byBegin, position);
    Records const& found = window.Current();
    if (!std::all_of(found.begin(), found.end(), [](auto const& record) { return record->IsIndexRight(); })) {
        Reindex();
        window.MoveTo(byBegin, position);
    }
    Records acting = window.Current();
    std::sort(acting.begin(), acting.end(), [](auto const& a, auto const& b) { return a->number < b->number; });
    std::vector<iptr<IEffect>> result;
    for (auto const& record : acting) result.push_back(record->effect);
    return result;
}

// --- Reading ---------------------------------------------------------------------------------------------------------

void SmartMapEffects::Process(std::vector<iptr<IData>>& items, int64 position) {
    for (iptr<IEffect> const& effect : FindActing(position)) {
        // An effect in front may have written into this one's time map.
        if (!Holds(effect->GetTimeToProgress(), position)) continue;
        if (items.empty()) return;
        activeEffects.insert(effect);
        iptr<IData> result = effect->ProcessData(items);
        items.clear();
        if (result) items.push_back(std::move(result));
    }
}

void SmartMapEffects::Leave(int64 position) {
    std::vector<iptr<IEffect>> left;
    for (iptr<IEffect> const& effect : activeEffects)
        if (position >= effect->GetTimeToProgress().end) left.push_back(effect);
    for (iptr<IEffect> const& effect : left) {
        activeEffects.erase(effect);
        effect->ResetEffectState();
    }
}

void SmartMapEffects::ResetState() {
    activeEffects.clear();
    for (iptr<IEffect> const& effect : GetAll()) effect->ResetEffectState();
}

}  // namespace Tarsel::Proc
