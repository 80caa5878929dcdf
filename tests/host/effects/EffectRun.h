// Effects as everybody gets them, and what they make of pictures.
#pragma once

#include <cmath>
#include <vector>

#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/ImplNames.h"
#include "host/graph/Factories.h"
#include "tests/host/effects/PictureSupport.h"

namespace Tarsel::Test {

/// The effect as everybody gets it: by its class identifier, as the default implementation.
inline iptr<Proc::IEffect> Make(Proc::Settings const& settings) {
    auto const effect = Host::MakeEffectFactory()->CreateEffect(settings.GetClassId(), Proc::ImplNames::DEFAULT);
    effect->Initialize(settings);
    return effect;
}

inline iptr<Proc::IDataVideo> After(Proc::IEffect& effect, std::vector<iptr<Proc::IDataVideo>> const& pictures) {
    std::vector<iptr<Proc::IData>> const inputs(pictures.begin(), pictures.end());
    iptr<Proc::IData> const result = effect.ProcessData(inputs);
    return iptr<Proc::IDataVideo>(dynamic_cast<Proc::IDataVideo*>(result.get()));
}

inline iptr<Proc::IDataVideo> After(Proc::Settings const& settings,
                                    std::vector<iptr<Proc::IDataVideo>> const& pictures) {
    return After(*Make(settings), pictures);
}

/// The pictures of these tests stand at 40 ms: here the interval has come so far.
inline void SetProgress(Proc::IEffect& effect, double progress) {
    Proc::TimeToProgress map;
    map.begin = 40000 - std::llround(progress * 1000000);
    map.end = map.begin + 1000000;
    effect.SetTimeToProgress(map);
}

}  // namespace Tarsel::Test
