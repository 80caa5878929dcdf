#include "host/graph/EffectNodes.h"

#include <algorithm>
#include <iterator>

#include "contracts/Core/Exception.h"
#include "contracts/Core/Time.h"
#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/IFilterFactoryRegistrator.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsDeinterlace.h"
#include "contracts/Proc/SettingsFilterBlurTransparentBorder.h"
#include "contracts/Proc/SettingsFilterVideoMixer.h"
#include "contracts/Proc/SettingsFrameDownloader.h"
#include "contracts/Proc/SettingsFrameUploader.h"
#include "contracts/Proc/SettingsResizer.h"
#include "host/effects/IntervalEffect.h"
#include "host/graph/EffectCatalog.h"

namespace Tarsel::Host {

using namespace Proc;
namespace Slots = FilterSlots;

namespace {

bool IsResize(std::string const& classId) {
    return classId == SettingsResizer::CLASS_ID || classId == Slots::RESIZE.name;
}

/// The effect's property with its whole interval.
Core::Property Complete(Core::Property const& effect, int64 duration) {
    EffectEntry const* const entry = FindEffect(effect.Name());
    if (!entry) TARSEL_THROW(FilterException, "there is no effect " + effect.Name());
    if (entry->changesFormat) return effect;
    Core::Property complete = WithInterval(effect, duration > 0 ? duration : NO_VALUE);
    if (entry->followsTime && !HasEnd(complete))
        TARSEL_THROW(FilterException,
                     "the stream has no known length: the effect \"" + entry->name + "\" needs its \"end\"");
    return complete;
}

/// Whether the effect is one for the interval that has been told of it.
bool IsLimited(Core::Property const& effect) {
    EffectEntry const* const entry = FindEffect(effect.Name());
    return entry && !entry->followsTime && !entry->changesFormat && HasInterval(effect);
}

/// Where pictures are behind an effect.
bool IsOnGpuBehind(std::string const& classId, std::string const& implName, bool isOnGpu,
                   IEffectFactory const& effects) {
    if (classId == SettingsFrameUploader::CLASS_ID) return true;
    if (classId == SettingsFrameDownloader::CLASS_ID) return false;
    int const type = effects.CreateEffect(classId, implName)->GetProcessingFrameType();
    return type == IDataVideo::FRAME_ALLOC_ANY ? isOnGpu : type == IDataVideo::FRAME_ALLOC_GPU;
}

}  // namespace

void FillChain(IFilterApplyEffectsVideo& chain, Core::Property const& settings, int64 duration,
               IEffectFactory const& effects) {
    for (Core::Property const& effect : IFilterApplyEffectsVideo::FilterSettings2SettingsEffects(settings)) {
        Core::Property const complete = Complete(effect, duration);
        std::string const implName = GetEffectImplementation(effect);
        if (!IsLimited(effect)) {
            chain.AddEffect(complete, implName);
            continue;
        }
        iptr<IEffect> const made = effects.CreateEffect(complete.Name(), implName);
        iptr<IOneInputEffectVideo> const inner(dynamic_cast<IOneInputEffectVideo*>(made.get()));
        if (!inner) TARSEL_THROW(FilterException, complete.Name() + " is no effect on the pictures of one stream");
        inner->Initialize(complete);
        chain.AddEffect(iptr<IOneInputEffectVideo>(new IntervalEffect(inner)));
    }
}

void FillChain(IFilterApplyEffectsAudio& chain, Core::Property const& settings, int64 duration, IEffectFactory const&) {
    for (Core::Property const& effect : IFilterApplyEffectsAudio::FilterSettings2SettingsEffects(settings))
        chain.AddEffect(Complete(effect, duration), GetEffectImplementation(effect));
}

bool TakesGpuFrames(std::string const& classId) {
    return IsResize(classId) || classId == Slots::APPLY_EFFECTS_VIDEO.name ||
           classId == SettingsDeinterlace::CLASS_ID || classId == SettingsFilterBlurTransparentBorder::CLASS_ID ||
           classId == SettingsFilterVideoMixer::CLASS_ID;
}

bool GivesGpuFrames(std::string const& classId, Core::Property const& settings, bool fromGpu,
                    IEffectFactory const& effects) {
    if (IsResize(classId))
        return IsOnGpuBehind(SettingsResizer::CLASS_ID, GetEffectImplementation(settings), fromGpu, effects);
    if (classId != Slots::APPLY_EFFECTS_VIDEO.name)
        // These hand through what they have nothing to do with.
        return fromGpu && TakesGpuFrames(classId);
    bool isOnGpu = fromGpu;
    for (Core::Property const& effect : IFilterApplyEffectsVideo::FilterSettings2SettingsEffects(settings))
        isOnGpu = IsOnGpuBehind(effect.Name(), GetEffectImplementation(effect), isOnGpu, effects);
    return isOnGpu;
}

}  // namespace Tarsel::Host
