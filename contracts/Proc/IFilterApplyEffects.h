#pragma once

#include <string>
#include <vector>

#include "contracts/Core/Property.h"
#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

/// Runs a chain of effects over the pictures of a stream. It is set up by a property named `CLASS_ID` whose nameless
/// children are the properties of the effects, in order; that replaces the whole chain.
class TARSEL_CONTRACTS_EXPORT IFilterApplyEffectsVideo : public virtual IStreamVideoEx {
  public:
    static constexpr char CLASS_ID[] = "FilterApplyEffectsVideo";

    ~IFilterApplyEffectsVideo() override;
    /// Appends the effect of the settings' class, which ranges over the whole stream. A `SettingsMultiEffect` appends
    /// each of its effects. Throws `EffectException` and `FilterException` "There is no any implementation for " and
    /// the class identifier.
    virtual void AddEffect(Settings const& settings) = 0;
    /// Appends the effect that the property is named after, under the name of an implementation. Its interval is the
    /// property's own.
    virtual void AddEffect(Core::Property const& property, std::string const& implName) = 0;
    /// Appends an effect as it is; one that is several is taken apart. Null throws `std::invalid_argument`.
    virtual void AddEffect(iptr<IOneInputEffectVideo> const& effect) = 0;
    /// The first effect whose settings are a `SettingsEffectStabilizer`; null when there is none.
    virtual iptr<IOneInputEffectVideo> FindStabilizer() = 0;
    /// Empties the chain. From another thread than the reader's it may be called while the reader waits on the source.
    virtual void ClearEffects() = 0;

    static Core::Property SettingsEffects2FilterSettings(std::vector<Core::Property> const& effects);
    /// A property of another name throws `FilterException` "Filter was initialized with incorrect class (" and the
    /// name.
    static std::vector<Core::Property> FilterSettings2SettingsEffects(Core::Property const& property);
};

/// The same for blocks of sound.
class TARSEL_CONTRACTS_EXPORT IFilterApplyEffectsAudio : public virtual IStreamAudioEx {
  public:
    static constexpr char CLASS_ID[] = "FilterApplyEffectsAudio";

    ~IFilterApplyEffectsAudio() override;
    virtual void AddEffect(Settings const& settings) = 0;
    virtual void AddEffect(Core::Property const& property, std::string const& implName) = 0;
    virtual void AddEffect(iptr<IOneInputEffectAudio> const& effect) = 0;
    virtual void ClearEffects() = 0;

    static Core::Property SettingsEffects2FilterSettings(std::vector<Core::Property> const& effects);
    static std::vector<Core::Property> FilterSettings2SettingsEffects(Core::Property const& property);
};

}  // namespace Tarsel::Proc
