#include "contracts/Proc/MultiEffect.h"

#include <algorithm>

#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {

namespace Details {

iptr<IEffect> FindEffect(IEffectFactory const& factory, std::string const& classId, std::string const& implName) {
    try {
        return factory.CreateEffect(classId, implName);
    } catch (EffectException const&) {
        // The factory knows the effect: the failure is that of making it.
        std::vector<std::string> const names = factory.GetImplementations(classId);
        bool const known = implName == ImplNames::DEFAULT
                               ? !names.empty()
                               : std::find(names.begin(), names.end(), implName) != names.end();
        if (known) throw;
    }
    return nullptr;
}

void RefuseEffect(std::string const& classId) {
    TARSEL_THROW(FilterEffectException, "There is no any implementation for " + classId);
}

void RequireImplementations(IEffectFactory const& factory, SettingsMultiEffect const& settings, bool onOneSide) {
    std::size_t onGpu = 0;
    for (SettingsMultiEffect::Element const& element : settings.GetEffects()) {
        std::vector<std::string> const names = factory.GetImplementations(element->GetClassId());
        if (names.empty()) RefuseEffect(element->GetClassId());
        if (std::find(names.begin(), names.end(), ImplNames::OGL) != names.end()) ++onGpu;
    }
    if (onOneSide && onGpu != 0 && onGpu != settings.GetEffects().size())
        TARSEL_THROW(FilterEffectException, "Settings are not all of the same type for default impl settings");
}

}  // namespace Details

template <class Effect, class Data>
MultiEffect<Effect, Data>::MultiEffect(iptr<IEffectFactory const> effectFactory, SettingsMultiEffect settings,
                                       std::string implName, TimeToProgress map)
    : factory(std::move(effectFactory)),
      settings(std::move(settings)),
      implName(std::move(implName)),
      timeMap(std::move(map)) {
    if (!factory) TARSEL_THROW(std::invalid_argument, "effectFactory is NULL");
}

template <class Effect, class Data>
MultiEffect<Effect, Data>::~MultiEffect() = default;

template <class Effect, class Data>
void MultiEffect<Effect, Data>::Initialize(Settings const& newSettings) {
    settings = dynamic_cast<SettingsMultiEffect const&>(newSettings);
    effects.clear();
    made = false;
}

template <class Effect, class Data>
void MultiEffect<Effect, Data>::Initialize(Core::Property const&) {
    TARSEL_THROW(FilterException, "Method not implemented");
}

template <class Effect, class Data>
std::vector<iptr<Effect>> const& MultiEffect<Effect, Data>::GetEffects() {
    if (!made) {
        effects = MakeEffects<Effect>(*factory, settings, implName, timeMap);
        made = true;
    }
    return effects;
}

template <class Effect, class Data>
Core::Property MultiEffect<Effect, Data>::GetSettings() {
    Core::Property property(SettingsMultiEffect::CLASS_ID);
    for (iptr<Effect> const& effect : GetEffects()) property.Add(effect->GetSettings());
    return property;
}

template <class Effect, class Data>
Core::Property MultiEffect<Effect, Data>::GetStatistic() {
    Core::Property node = Core::MakeStatistics("Tarsel::Proc::MultiEffect::GetStatistic", 0, itemsGiven);
    // What has not been made has nothing to tell.
    for (iptr<Effect> const& effect : effects) node.Add(effect->GetStatistic());
    return node;
}

template <class Effect, class Data>
void MultiEffect<Effect, Data>::ResetEffectState() {
    for (iptr<Effect> const& effect : effects) effect->ResetEffectState();
}

template <class Effect, class Data>
int MultiEffect<Effect, Data>::GetProcessingFrameType() {
    int type = IDataVideo::FRAME_ALLOC_ANY;
    for (iptr<Effect> const& effect : GetEffects()) {
        int const own = effect->GetProcessingFrameType();
        if (own == IDataVideo::FRAME_ALLOC_ANY || own == type) continue;
        if (type != IDataVideo::FRAME_ALLOC_ANY)
            TARSEL_THROW(FilterEffectException, "Cannot find effect implementation for frame alloc type");
        type = own;
    }
    return type;
}

template <class Effect, class Data>
void MultiEffect<Effect, Data>::AdaptFormatCodec(iptr<Conf::IFormatCodec>& format) {
    for (iptr<Effect> const& effect : GetEffects()) effect->AdaptFormatCodec(format);
}

template <class Effect, class Data>
void MultiEffect<Effect, Data>::Process(iptr<Data>& item) {
    for (iptr<Effect> const& effect : GetEffects()) {
        // Editors move the ends of the group's interval under way.
        effect->SetTimeToProgress(timeMap);
        effect->Process(item);
    }
    if (item) ++itemsGiven;
}

template class MultiEffect<IOneInputEffectVideo, IDataVideo>;
template class MultiEffect<IOneInputEffectAudio, IDataAudio>;

}  // namespace Tarsel::Proc
