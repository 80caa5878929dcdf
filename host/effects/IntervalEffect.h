#pragma once

#include <vector>

#include "contracts/Core/RefCount.h"
#include "contracts/Proc/IEffect.h"

namespace Tarsel::Host {

/// Lets an effect on pictures in processor memory act within its interval, `[begin, end)`, alone. Other pictures pass;
/// those in a format that the effect would convert come out in the same one as within. For effects whose format is that
/// of the base of picture effects. Settings, interval and statistics are the effect's own.
class IntervalEffect final : public Proc::IOneInputEffectVideo, public RefCounted {
  public:
    explicit IntervalEffect(iptr<Proc::IOneInputEffectVideo> effect);
    ~IntervalEffect() override;

    void Initialize(Proc::Settings const& settings) override { effect->Initialize(settings); }
    void Initialize(Core::Property const& property) override { effect->Initialize(property); }
    Core::Property GetSettings() override { return effect->GetSettings(); }
    Proc::Settings const& GetEffectSettings() override { return effect->GetEffectSettings(); }
    Core::Property GetStatistic() override { return effect->GetStatistic(); }
    void ResetEffectState() override { effect->ResetEffectState(); }
    Proc::TimeToProgress& GetTimeToProgress() override { return effect->GetTimeToProgress(); }
    void SetTimeToProgress(Proc::TimeToProgress const& map) override { effect->SetTimeToProgress(map); }
    int GetProcessingFrameType() override { return effect->GetProcessingFrameType(); }
    void AdaptFormatCodec(iptr<Conf::IFormatCodec>& format) override { effect->AdaptFormatCodec(format); }
    void Process(iptr<Proc::IDataVideo>& item) override;

  private:
    iptr<Proc::IOneInputEffectVideo> const effect;
};

}  // namespace Tarsel::Host
