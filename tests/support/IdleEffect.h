#pragma once

#include <type_traits>

#include "contracts/Proc/IEffect.h"
#include "tests/support/OtherSettings.h"

namespace Tarsel::Test {

/// An effect that hands everything through and remembers nothing but its time map: tests override what they are about.
/// `Base` is `IOneInputEffectVideo` or `IOneInputEffectAudio`.
template <class Base>
class IdleEffect : public Base, public RefCounted {
  public:
    using Item =
        std::conditional_t<std::is_base_of_v<Proc::IOneInputEffectVideo, Base>, Proc::IDataVideo, Proc::IDataAudio>;

    void Initialize(Proc::Settings const&) override {}
    void Initialize(Core::Property const&) override {}
    Core::Property GetSettings() override { return {}; }
    Proc::Settings const& GetEffectSettings() override { return settings; }
    Core::Property GetStatistic() override { return {}; }
    void ResetEffectState() override {}
    Proc::TimeToProgress& GetTimeToProgress() override { return map; }
    void SetTimeToProgress(Proc::TimeToProgress const& value) override { map = value; }
    int GetProcessingFrameType() override { return Proc::IDataVideo::FRAME_ALLOC_ANY; }
    void AdaptFormatCodec(iptr<Conf::IFormatCodec>&) override {}
    void Process(iptr<Item>&) override {}

  protected:
    Proc::TimeToProgress map;

  private:
    OtherSettings settings;
};

}  // namespace Tarsel::Test
