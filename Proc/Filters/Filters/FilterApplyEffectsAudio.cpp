#include "Proc/Filters/Filters/FilterApplyEffectsAudio.h"

#include <utility>

namespace Tarsel::Proc {

iptr<IFilterApplyEffectsAudio> FilterApplyEffectsAudio::Create(iptr<IStreamAudio> const& source,
                                                               iptr<IEffectFactory const> const& effectFactory) {
    return iptr<IFilterApplyEffectsAudio>(new FilterApplyEffectsAudio(source, effectFactory));
}

FilterApplyEffectsAudio::FilterApplyEffectsAudio(iptr<IStreamAudio> source, iptr<IEffectFactory const> effectFactory)
    : FilterApplyEffectsBase(std::move(source), std::move(effectFactory), "FilterApplyEffectsAudio") {}

}  // namespace Tarsel::Proc
