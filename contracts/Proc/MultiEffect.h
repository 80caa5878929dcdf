#pragma once

#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/IFactories.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsMultiEffect.h"

namespace Tarsel::Proc {

/// An effect of the kind `Effect` from a factory. Throws `FilterEffectException` "There is no any implementation for "
/// and the class identifier where there is none, or none of that kind. Failures of the effect's own birth pass through.
template <class Effect>
iptr<Effect> MakeEffect(IEffectFactory const& factory, std::string const& classId, std::string const& implName);

/// The effects of a group in order, set up and with `map` as their interval. Throws as `MakeEffect`; under
/// `ImplNames::DEFAULT` also `FilterEffectException` "Settings are not all of the same type for default impl settings"
/// for pictures of which some effects, but not all, have an implementation on the GPU.
template <class Effect>
std::vector<iptr<Effect>> MakeEffects(IEffectFactory const& factory, SettingsMultiEffect const& settings,
                                      std::string const& implName, TimeToProgress const& map);

/// Several effects as one: `Data` goes through them in order. `FilterApplyEffectsVideo` and `FilterApplyEffectsAudio`
/// take it apart; anywhere else it works as it is. Its effects are made at the first need of them, with the failures of
/// `MakeEffects`. Seeks and the interval reach each of them. One user at a time.
template <class Effect, class Data>
class TARSEL_CONTRACTS_EXPORT MultiEffect final : public Effect, public RefCounted {
  public:
    /// Throws `std::invalid_argument` "effectFactory is NULL".
    MultiEffect(iptr<IEffectFactory const> effectFactory, SettingsMultiEffect settings, std::string implName,
                TimeToProgress map);
    ~MultiEffect() override;

    /// Takes a `SettingsMultiEffect`; its effects are made anew.
    void Initialize(Settings const& newSettings) override;
    /// Throws `FilterException` "Method not implemented": a group has no form as a property.
    void Initialize(Core::Property const& property) override;
    /// For the reader only: a property named after the group, with those of its effects as nameless children.
    Core::Property GetSettings() override;
    SettingsMultiEffect const& GetEffectSettings() override { return settings; }
    std::string const& GetImplName() const { return implName; }
    /// A node of its own, with those of the effects inside.
    Core::Property GetStatistic() override;
    void ResetEffectState() override;
    TimeToProgress& GetTimeToProgress() override { return timeMap; }
    void SetTimeToProgress(TimeToProgress const& map) override { timeMap = map; }
    /// Where its effects work; they all work on one side. Throws `FilterEffectException` "Cannot find effect
    /// implementation for frame alloc type" when they don't.
    int GetProcessingFrameType() override;
    void AdaptFormatCodec(iptr<Conf::IFormatCodec>& format) override;
    void Process(iptr<Data>& item) override;

  private:
    std::vector<iptr<Effect>> const& GetEffects();

    iptr<IEffectFactory const> const factory;
    SettingsMultiEffect settings;
    std::string const implName;
    TimeToProgress timeMap;
    unsigned itemsGiven = 0;

    // Made at the first need.
    bool made = false;
    std::vector<iptr<Effect>> effects;
};

using MultiEffectVideo = MultiEffect<IOneInputEffectVideo, IDataVideo>;
using MultiEffectAudio = MultiEffect<IOneInputEffectAudio, IDataAudio>;

extern template class MultiEffect<IOneInputEffectVideo, IDataVideo>;
extern template class MultiEffect<IOneInputEffectAudio, IDataAudio>;

namespace Details {

/// The effect as the factory makes it, or null where it has none.
TARSEL_CONTRACTS_EXPORT iptr<IEffect> FindEffect(IEffectFactory const& factory, std::string const& classId,
                                                 std::string const& implName);
/// Throws `FilterEffectException` "There is no any implementation for " and the class identifier.
[[noreturn]] TARSEL_CONTRACTS_EXPORT void RefuseEffect(std::string const& classId);
/// The checks of a group under `ImplNames::DEFAULT`.
TARSEL_CONTRACTS_EXPORT void RequireImplementations(IEffectFactory const& factory, SettingsMultiEffect const& settings,
                                                    bool onOneSide);

}  // namespace Details

template <class Effect>
iptr<Effect> MakeEffect(IEffectFactory const& factory, std::string const& classId, std::string const& implName) {
    iptr<IEffect> const made = Details::FindEffect(factory, classId, implName);
    iptr<Effect> effect(dynamic_cast<Effect*>(made.get()));
    if (!effect) Details::RefuseEffect(classId);
    return effect;
}

template <class Effect>
std::vector<iptr<Effect>> MakeEffects(IEffectFactory const& factory, SettingsMultiEffect const& settings,
                                      std::string const& implName, TimeToProgress const& map) {
    if (implName == ImplNames::DEFAULT)
        Details::RequireImplementations(factory, settings, std::is_base_of_v<IOneInputEffectVideo, Effect>);
    std::vector<iptr<Effect>> effects;
    for (SettingsMultiEffect::Element const& element : settings.GetEffects()) {
        iptr<Effect> effect = MakeEffect<Effect>(factory, element->GetClassId(), implName);
        effect->Initialize(*element);
        effect->SetTimeToProgress(map);
        effects.push_back(std::move(effect));
    }
    return effects;
}

}  // namespace Tarsel::Proc
