#include "host/gpu/GpuEffects.h"

#include "contracts/Proc/ImplNames.h"
#include "host/gpu/OglBlender.h"
#include "host/gpu/OglResize.h"
#include "host/gpu/TransferEffects.h"
#include "host/graph/Factories.h"

namespace Tarsel::Host {

using namespace Proc;

void RegisterGpuEffects(EffectFactory& factory) {
    factory.Register(SettingsFrameUploader::CLASS_ID, ImplNames::OGL, [] { return iptr<IEffect>(new UploadEffect()); });
    factory.Register(SettingsFrameDownloader::CLASS_ID, ImplNames::OGL,
                     [] { return iptr<IEffect>(new DownloadEffect()); });
    factory.Register(IResize::CLASS_ID, ImplNames::OGL, [] { return iptr<IEffect>(new OglResize()); });
    factory.RegisterBlender(SettingsEffectImageBlender::CLASS_ID, ImplNames::OGL,
                            [] { return iptr<IEffectImageBlender>(new OglBlender()); });
}

}  // namespace Tarsel::Host
