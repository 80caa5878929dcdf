#include "host/gpu/GpuEffects.h"

#include "contracts/Proc/ImplNames.h"
#include "host/gpu/OglBlender.h"
#include "host/gpu/OglMixing.h"
#include "host/gpu/OglResize.h"
#include "host/gpu/OglShading.h"
#include "host/gpu/TransferEffects.h"
#include "host/graph/Factories.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

template <class Effect>
void Enter(EffectFactory& factory) {
    factory.Register(Effect::SettingsType::CLASS_ID, ImplNames::OGL, [] { return iptr<IEffect>(new Effect()); });
}

}  // namespace

void RegisterGpuEffects(EffectFactory& factory) {
    Enter<DownloadEffect>(factory);
    Enter<OglColor>(factory);
    Enter<OglComposite>(factory);
    Enter<OglDissolve>(factory);
    Enter<OglFade>(factory);
    Enter<OglResize>(factory);
    Enter<UploadEffect>(factory);
    factory.RegisterBlender(IEffectImageBlender::CLASS_ID, ImplNames::OGL,
                            [] { return iptr<IEffectImageBlender>(new OglBlender()); });
}

}  // namespace Tarsel::Host
