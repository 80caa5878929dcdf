#include "Proc/Filters/Filters/FilterRegistrator.h"

#include "Proc/Filters/Filters/FilterCutController.h"
#include "Proc/Filters/Filters/FilterLosslessDetect.h"
#include "Proc/Filters/Filters/FilterReverseAudio.h"
#include "Proc/Filters/Filters/FilterReverseVideo.h"
#include "Proc/Filters/Filters/FilterStreamMetadataUpdater.h"
#include "contracts/Proc/FilterBitStream.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsFilterReverse.h"
#include "contracts/Proc/SettingsStreamMetadataUpdater.h"

namespace Tarsel::Proc {

namespace {

/// Filters with an interface of their own, in slot order, all under `ImplNames::TARSEL`.
void RegisterDedicated(IFilterFactoryRegistrator& registrator) {
    registrator.RegisterFilterCutController(ImplNames::TARSEL, FilterCutController::Create);
    registrator.RegisterFilterLosslessDetect(ImplNames::TARSEL, FilterLosslessDetect::Create);
}

/// Filters that take their settings as an object: audio, video, subtitle, raw.
void RegisterWithSettings(IFilterFactoryRegistrator& registrator) {
    registrator.RegisterFilterAudioEx(
        SettingsFilterReverse::CLASS_ID, ImplNames::TARSEL,
        [](iptr<IStreamAudio> const& source, iptr<IEffectFactory const> const& effects, Settings const& settings) {
            return MakeFilterReverseAudio(source, effects, settings);
        });
    registrator.RegisterFilterAudioEx(
        SettingsStreamMetadataUpdater::CLASS_ID, ImplNames::TARSEL,
        [](iptr<IStreamAudio> const& source, Settings const& settings) {
            return Details::MakeInitialized<IStreamAudioEx, FilterStreamMetadataUpdater<IStreamAudio>>(settings, source,
                                                                                                       settings);
        });

    registrator.RegisterFilterVideoEx(
        SettingsFilterReverse::CLASS_ID, ImplNames::TARSEL,
        [](iptr<IStreamVideo> const& source, Settings const& settings) {
            return Details::MakeInitialized<IStreamVideoEx, FilterReverse<IStreamVideo, IStreamVideoEx>>(settings,
                                                                                                         source);
        });
    registrator.RegisterFilterVideoEx(
        SettingsStreamMetadataUpdater::CLASS_ID, ImplNames::TARSEL,
        [](iptr<IStreamVideo> const& source, Settings const& settings) {
            return Details::MakeInitialized<IStreamVideoEx, FilterStreamMetadataUpdater<IStreamVideo>>(settings, source,
                                                                                                       settings);
        });

    registrator.RegisterFilterRawEx(SettingsFilterBitStream::CLASS_ID, ImplNames::TARSEL, FilterBitStream::Create);
}

}  // namespace

}  // namespace Tarsel::Proc

void FilterRegistrator(Tarsel::Proc::IFilterFactoryRegistrator& registrator) {
    Tarsel::Proc::RegisterDedicated(registrator);
    Tarsel::Proc::RegisterWithSettings(registrator);
}
