#pragma once

#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Proc/Filters/Filters/EffectFormat.h"
#include "Proc/StreamTemplates/StreamBaseImpl.h"
#include "contracts/Core/Exception.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Proc/IFilterApplyEffects.h"
#include "contracts/Proc/IStreamVisitor.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/MultiEffect.h"

namespace Tarsel::Proc {

/// What the chains over pictures and over sound have in common. `T` is the source's interface, `Filter` the one
/// offered, `Effect` the kind of effects.
template <class T, class Filter, class Effect>
class FilterApplyEffectsBase : public StreamImpl<T, T>, public virtual Filter {
  public:
    using DataType = typename T::DataType;
    using FormatType = typename T::FormatType;
    using Group = MultiEffect<Effect, DataType>;

    void Initialize(Core::Property const& property) override;
    void Initialize(Settings const& newSettings) override;
    Core::Property GetSettings() override;
    Core::Property GetStatistic() override;
    iptr<FormatType const> GetFormatCodec() const override;
    void ReleaseInternalData() override;

    void AddEffect(Settings const& settings) override;
    void AddEffect(Core::Property const& property, std::string const& implName) override;
    void AddEffect(iptr<Effect> const& effect) override;
    void ClearEffects() override { Replace({}); }

  protected:
    using Chain = std::vector<iptr<Effect>>;

    FilterApplyEffectsBase(iptr<T> source, iptr<IEffectFactory const> effectFactory, char const* className);

    /// Calls the effect with its input, which may be null. `lock` is held.
    virtual void Run(Effect& effect, iptr<DataType>& item) = 0;
    /// Beside the effects of the chain. `lock` is held.
    virtual void ResetHelpers() {}
    Chain GetChain() const;

    void AcceptInternal(IStreamVisitor& visitor) override;
    iptr<DataType> ReadInternal() override;
    void RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) override;
    void DoSeekInternal() override { this->parentStream->DoSeek(); }

    iptr<IEffectFactory const> const factory;

    /// Guards the chain, and is held through the effects of an item, so that a chain never changes under one. Not held
    /// while the source is called. Order: `apiLock`, then this one; whoever holds this one takes no `apiLock`.
    mutable Core::RecursiveMutex lock;

  private:
    Chain MakeChain(Settings const& settings) const;
    iptr<Effect> MakeFromProperty(Core::Property const& property, std::string const& implName) const;
    /// Makes all effects of the group before the first of them enters the chain.
    void AddMultiEffect(SettingsMultiEffect const& settings, std::string const& implName, TimeToProgress const& map);
    void Append(Chain const& more);
    /// Puts another chain in the place of this one. What the stream holds is released with it, unless a read is under
    /// way: then that read's item goes through the new chain.
    void Replace(Chain chain);
    void ResetEffects();

    std::string const className;
    Chain effects TARSEL_GUARDED_BY(lock);
    u32 framesRead TARSEL_GUARDED_BY(lock) = 0;
};

template <class T, class Filter, class Effect>
FilterApplyEffectsBase<T, Filter, Effect>::FilterApplyEffectsBase(iptr<T> source,
                                                                  iptr<IEffectFactory const> effectFactory,
                                                                  char const* className)
    : StreamImpl<T, T>(std::move(source), false), factory(std::move(effectFactory)), className(className) {
    if (!factory) TARSEL_THROW(std::invalid_argument, "effectFactory is NULL");
}

template <class T, class Filter, class Effect>
void FilterApplyEffectsBase<T, Filter, Effect>::Initialize(Core::Property const& property) {
    Chain chain;
    for (Core::Property const& element : Filter::FilterSettings2SettingsEffects(property))
        chain.push_back(MakeFromProperty(element, ImplNames::DEFAULT));
    Replace(std::move(chain));
}

template <class T, class Filter, class Effect>
void FilterApplyEffectsBase<T, Filter, Effect>::Initialize(Settings const& newSettings) {
    Replace(MakeChain(newSettings));
}

template <class T, class Filter, class Effect>
Core::Property FilterApplyEffectsBase<T, Filter, Effect>::GetSettings() {
    std::vector<Core::Property> properties;
    Core::RecursiveMutexLock const guard(lock);
    for (iptr<Effect> const& effect : effects) properties.push_back(effect->GetSettings());
    return Filter::SettingsEffects2FilterSettings(properties);
}

template <class T, class Filter, class Effect>
Core::Property FilterApplyEffectsBase<T, Filter, Effect>::GetStatistic() {
    Core::Property result = this->parentStream->GetStatistic();
    Core::RecursiveMutexLock const guard(lock);
    Core::Property node = Core::MakeStatistics("Tarsel::Proc::" + className + "::GetStatistic", 0, framesRead);
    for (iptr<Effect> const& effect : effects) node.Add(effect->GetStatistic());
    return result.Add(std::move(node));
}

template <class T, class Filter, class Effect>
iptr<typename T::FormatType const> FilterApplyEffectsBase<T, Filter, Effect>::GetFormatCodec() const {
    iptr<FormatType const> const source = this->parentStream->GetFormatCodec();
    Core::RecursiveMutexLock const guard(lock);
    return Details::AdaptedFormat<FormatType>(source, [chain = GetChain()](iptr<Conf::IFormatCodec>& format) {
        for (iptr<Effect> const& effect : chain) effect->AdaptFormatCodec(format);
    });
}

template <class T, class Filter, class Effect>
void FilterApplyEffectsBase<T, Filter, Effect>::ReleaseInternalData() {
    Core::RecursiveMutexLock const api(this->apiLock);
    ResetEffects();
    StreamImpl<T, T>::ReleaseInternalData();
}

template <class T, class Filter, class Effect>
void FilterApplyEffectsBase<T, Filter, Effect>::AddEffect(Settings const& settings) {
    Append(MakeChain(settings));
}

template <class T, class Filter, class Effect>
void FilterApplyEffectsBase<T, Filter, Effect>::AddEffect(Core::Property const& property, std::string const& implName) {
    Append({MakeFromProperty(property, implName)});
}

template <class T, class Filter, class Effect>
void FilterApplyEffectsBase<T, Filter, Effect>::AddEffect(iptr<Effect> const& effect) {
    if (!effect) TARSEL_THROW(std::invalid_argument, "effect is NULL");
    auto* const group = dynamic_cast<Group*>(effect.get());
    if (!group) return Append({effect});
    AddMultiEffect(group->GetEffectSettings(), group->GetImplName(), group->GetTimeToProgress());
}

template <class T, class Filter, class Effect>
void FilterApplyEffectsBase<T, Filter, Effect>::AddMultiEffect(SettingsMultiEffect const& settings,
                                                               std::string const& implName, TimeToProgress const& map) {
    Append(MakeEffects<Effect>(*factory, settings, implName, map));
}

template <class T, class Filter, class Effect>
auto FilterApplyEffectsBase<T, Filter, Effect>::MakeChain(Settings const& settings) const -> Chain {
    // A group has no interval of its own: its effects get one without a length, over which the progress is 1.
    if (settings.GetClassId() == SettingsMultiEffect::CLASS_ID)
        return MakeEffects<Effect>(*factory, dynamic_cast<SettingsMultiEffect const&>(settings), ImplNames::DEFAULT,
                                   TimeToProgress());
    iptr<Effect> effect = MakeEffect<Effect>(*factory, settings.GetClassId(), ImplNames::DEFAULT);
    effect->Initialize(settings);
    TimeToProgress wholeStream(TimeToProgress::Linear);
    wholeStream.end = this->parentStream->GetDuration();
    effect->SetTimeToProgress(wholeStream);
    return {std::move(effect)};
}

template <class T, class Filter, class Effect>
iptr<Effect> FilterApplyEffectsBase<T, Filter, Effect>::MakeFromProperty(Core::Property const& property,
                                                                         std::string const& implName) const {
    iptr<Effect> effect = MakeEffect<Effect>(*factory, property.Name(), implName);
    effect->Initialize(property);
    return effect;
}

template <class T, class Filter, class Effect>
void FilterApplyEffectsBase<T, Filter, Effect>::Append(Chain const& more) {
    Core::RecursiveMutexLock const guard(lock);
    effects.insert(effects.end(), more.begin(), more.end());
}

template <class T, class Filter, class Effect>
void FilterApplyEffectsBase<T, Filter, Effect>::Replace(Chain chain) {
    // No annotated lock: the analysis can't follow one that may not have been taken.
    std::unique_lock const api(this->apiLock, std::try_to_lock);
    if (api) ReleaseInternalData();
    // The old effects end behind the lock.
    Core::RecursiveMutexLock const guard(lock);
    effects.swap(chain);
}

template <class T, class Filter, class Effect>
void FilterApplyEffectsBase<T, Filter, Effect>::ResetEffects() {
    Core::RecursiveMutexLock const guard(lock);
    for (iptr<Effect> const& effect : effects) effect->ResetEffectState();
    ResetHelpers();
}

template <class T, class Filter, class Effect>
auto FilterApplyEffectsBase<T, Filter, Effect>::GetChain() const -> Chain {
    Core::RecursiveMutexLock const guard(lock);
    return effects;
}

template <class T, class Filter, class Effect>
void FilterApplyEffectsBase<T, Filter, Effect>::AcceptInternal(IStreamVisitor& visitor) {
    std::string names;
    {
        Core::RecursiveMutexLock const guard(lock);
        for (iptr<Effect> const& effect : effects) names += (names.empty() ? "" : ", ") + effect->GetSettings().Name();
    }
    Visitors::Visit(visitor, className + " (" + names + ")", Visitors::FRAME_TYPE_FILTER, nullptr);
}

template <class T, class Filter, class Effect>
iptr<typename T::DataType> FilterApplyEffectsBase<T, Filter, Effect>::ReadInternal() {
    iptr<DataType> item = this->parentStream->Read();
    if (!item) return nullptr;
    Core::RecursiveMutexLock const guard(lock);
    // A copy: an effect that changes the chain that it stands in changes it for the next item.
    Chain const chain = GetChain();
    // An effect that gives null doesn't end the pass: the next one gets the null.
    for (iptr<Effect> const& effect : chain) Run(*effect, item);
    if (item) ++framesRead;
    return item;
}

template <class T, class Filter, class Effect>
void FilterApplyEffectsBase<T, Filter, Effect>::RequestSeekInternal(int64 target,
                                                                    iptr<IRefCountable> const& seekContext) {
    ResetEffects();
    this->parentStream->RequestSeek(target, seekContext);
}

}  // namespace Tarsel::Proc
