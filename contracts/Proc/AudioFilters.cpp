#include "contracts/Conf/IPreset.h"
#include "contracts/Proc/IAudioFormatter.h"
#include "contracts/Proc/IFilterAudioFormatter.h"
#include "contracts/Proc/IFilterAudioHistogram.h"
#include "contracts/Proc/IFilterAudioMixer.h"
#include "contracts/Proc/IFilterAudioVolume.h"
#include "contracts/Proc/IFilterResample.h"
#include "contracts/Proc/IFilterVolumeDetect.h"
#include "contracts/Proc/IResample.h"

namespace Tarsel::Proc {

IAudioFormatter::~IAudioFormatter() = default;
IFilterAudioFormatter::~IFilterAudioFormatter() = default;
IFilterAudioHistogram::~IFilterAudioHistogram() = default;
IFilterAudioMixer::~IFilterAudioMixer() = default;
IFilterAudioVolume::~IFilterAudioVolume() = default;
IFilterResample::~IFilterResample() = default;
IFilterVolumeDetect::~IFilterVolumeDetect() = default;
IResample::~IResample() = default;

Core::Property IFilterResample::Settings2Property(SettingsFilterResample const& settings) {
    Core::Property const engine = Proc::Settings2Property(settings.GetResample())
                                      .SetChild(Conf::IPreset::KEY_TYPE_ID, settings.GetImplementation());
    return Core::Property(CLASS_ID).SetChild(IResample::CLASS_ID, engine);
}

}  // namespace Tarsel::Proc
