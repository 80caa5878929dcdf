#include "host/effects/PictureEffects.h"

#include "contracts/Proc/IEffectImageBlender.h"
#include "contracts/Proc/ImplNames.h"
#include "host/effects/ColorEffect.h"
#include "host/effects/ColorSpaceEffect.h"
#include "host/effects/CompositeEffect.h"
#include "host/effects/CropEffect.h"
#include "host/effects/DeinterlaceEffect.h"
#include "host/effects/DissolveEffect.h"
#include "host/effects/FadeEffect.h"
#include "host/effects/ImageBlender.h"
#include "host/effects/LineSmootherEffect.h"
#include "host/effects/ResizeEffect.h"
#include "host/effects/StampEffect.h"
#include "host/effects/TextEffect.h"
#include "host/graph/Factories.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

template <class Effect>
void Enter(EffectFactory& factory) {
    factory.Register(Effect::SettingsType::CLASS_ID, ImplNames::TARSEL, [] { return iptr<IEffect>(new Effect()); });
}

}  // namespace

void RegisterPictureEffects(EffectFactory& factory) {
    Enter<ColorEffect>(factory);
    Enter<ColorSpaceEffect>(factory);
    Enter<CompositeEffect>(factory);
    Enter<CropEffect>(factory);
    Enter<DeinterlaceEffect>(factory);
    Enter<DissolveEffect>(factory);
    Enter<FadeEffect>(factory);
    Enter<LineSmootherEffect>(factory);
    Enter<ResizeEffect>(factory);
    Enter<StampEffect>(factory);
    Enter<TextEffect>(factory);
    factory.RegisterBlender(IEffectImageBlender::CLASS_ID, ImplNames::TARSEL,
                            [] { return iptr<IEffectImageBlender>(new ImageBlender()); });
}

}  // namespace Tarsel::Host
