#include "Proc/Filters/Filters/FilterApplyEffectsVideo.h"

#include <utility>

#include "contracts/Proc/SettingsEffectStabilizer.h"

namespace Tarsel::Proc {

iptr<IFilterApplyEffectsVideo> FilterApplyEffectsVideo::Create(iptr<IStreamVideo> const& source,
                                                               iptr<IEffectFactory const> const& effectFactory) {
    return iptr<IFilterApplyEffectsVideo>(new FilterApplyEffectsVideo(source, effectFactory));
}

FilterApplyEffectsVideo::FilterApplyEffectsVideo(iptr<IStreamVideo> source, iptr<IEffectFactory const> effectFactory)
    : FilterApplyEffectsBase(std::move(source), std::move(effectFactory), "FilterApplyEffectsVideo"), frames(factory) {}

iptr<IOneInputEffectVideo> FilterApplyEffectsVideo::FindStabilizer() {
    Core::RecursiveMutexLock const guard(lock);
    for (iptr<IOneInputEffectVideo> const& effect : GetChain())
        if (effect->GetSettings().Name() == SettingsEffectStabilizer::CLASS_ID) return effect;
    return nullptr;
}

void FilterApplyEffectsVideo::Run(IOneInputEffectVideo& effect, iptr<IDataVideo>& frame) {
    frames.ReconcileFrameAlloc(frame, effect.GetProcessingFrameType());
    effect.Process(frame);
}

}  // namespace Tarsel::Proc
