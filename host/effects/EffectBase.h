#pragma once

#include "contracts/Core/Property.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/Settings.h"
#include "contracts/Proc/TimeToProgress.h"

namespace Tarsel::Host {

/// What all effects of the host have in common: the settings of their class `S`, the interval they act over, and the
/// count of what they gave. `Interface` is the effect interface, `FromProperty` the conversion of the settings.
///
/// The property of an effect is that of its settings with the interval beside them, so that a chain that is written
/// down and read again acts when it did.
template <class Interface, class S, S (*FromProperty)(Core::Property const&)>
class EffectBase : public Interface, public RefCounted {
  public:
    using SettingsType = S;

    void Initialize(Proc::Settings const& newSettings) override {
        auto const& own = dynamic_cast<S const&>(newSettings);
        Check(own);
        settings = own;
        this->ResetEffectState();
    }
    void Initialize(Core::Property const& property) override {
        Initialize(FromProperty(property));
        timeMap = Proc::GetTimeMap(property, timeMap);
    }
    Core::Property GetSettings() override {
        Core::Property property = Settings2Property(settings);
        Proc::SetTimeMap(property, timeMap);
        return property;
    }
    Proc::Settings const& GetEffectSettings() override { return settings; }
    Core::Property GetStatistic() override { return Core::MakeStatistics(statisticName, 0, itemsGiven); }
    void ResetEffectState() override {}
    Proc::TimeToProgress& GetTimeToProgress() override { return timeMap; }
    void SetTimeToProgress(Proc::TimeToProgress const& map) override { timeMap = map; }

  protected:
    /// `statisticName` is a literal: "Tarsel::Host::CLASS::GetStatistic".
    explicit EffectBase(char const* statisticName) : statisticName(statisticName) {}

    /// Throws for settings that the effect can't work by; those that stand then stay.
    virtual void Check(S const&) const {}
    S const& GetOwnSettings() const { return settings; }
    /// How far the interval has come at the item's time, 0 to 1.
    double GetProgress(Proc::IData const& item) const { return timeMap.GetProgress(item.GetTime()); }
    void CountItem() { ++itemsGiven; }

  private:
    char const* statisticName;
    S settings;
    Proc::TimeToProgress timeMap;
    unsigned itemsGiven = 0;
};

}  // namespace Tarsel::Host
