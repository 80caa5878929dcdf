#include "Proc/Filters/Filters/FilterRegistrator.h"

#include "Proc/Filters/Filters/FilterCutController.h"
#include "Proc/Filters/Filters/FilterIntroLoopOutroVideo.h"
#include "Proc/Filters/Filters/FilterLoop.h"
#include "Proc/Filters/Filters/FilterLosslessDetect.h"
#include "Proc/Filters/Filters/FilterRepeatController.h"
#include "Proc/Filters/Filters/FilterStreamMetadataUpdater.h"
#include "Proc/Filters/Filters/TFilterRepeat.h"
#include "contracts/Proc/FilterBitStream.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsFilterIntroLoopOutro.h"
#include "contracts/Proc/SettingsFilterLoop.h"
#include "contracts/Proc/SettingsFilterRepeat.h"
#include "contracts/Proc/SettingsStreamMetadataUpdater.h"

namespace Tarsel::Proc {

namespace {

/// Filters with an interface of their own, in slot order, all under `ImplNames::TARSEL`.
void RegisterDedicated(IFilterFactoryRegistrator& registrator) {
    registrator.RegisterFilterCutController(ImplNames::TARSEL, FilterCutController::Create);
    registrator.RegisterFilterRepeatController(ImplNames::TARSEL, FilterRepeatController::Create);
    registrator.RegisterFilterRepeatVideo(ImplNames::TARSEL, FilterRepeatVideo::Create);
    registrator.RegisterFilterRepeatAudio(ImplNames::TARSEL, FilterRepeatAudio::Create);
    registrator.RegisterFilterLosslessDetect(ImplNames::TARSEL, FilterLosslessDetect::Create);
}

/// Filters that take their settings as an object: audio, video, subtitle, raw.
void RegisterWithSettings(IFilterFactoryRegistrator& registrator) {
    registrator.RegisterFilterAudioEx(SettingsFilterRepeat::CLASS_ID, ImplNames::TARSEL,
                                      FilterRepeatAudio::CreateInitialized);
    registrator.RegisterFilterAudioEx(
        SettingsStreamMetadataUpdater::CLASS_ID, ImplNames::TARSEL,
        [](iptr<IStreamAudio> const& source, Settings const& settings) {
            return Details::MakeInitialized<IStreamAudioEx, FilterStreamMetadataUpdater<IStreamAudio>>(settings, source,
                                                                                                       settings);
        });
    registrator.RegisterFilterAudioEx(SettingsFilterLoop::CLASS_ID, ImplNames::TARSEL,
                                      [](iptr<IStreamAudio> const& source, Settings const& settings) {
                                          return Details::MakeInitialized<IStreamAudioEx, FilterLoopAudio>(settings,
                                                                                                           source);
                                      });

    registrator.RegisterFilterVideoEx(SettingsFilterRepeat::CLASS_ID, ImplNames::TARSEL,
                                      FilterRepeatVideo::CreateInitialized);
    registrator.RegisterFilterVideoEx(SettingsFilterLoop::CLASS_ID, ImplNames::TARSEL,
                                      [](iptr<IStreamVideo> const& source, Settings const& settings) {
                                          return Details::MakeInitialized<IStreamVideoEx, FilterLoopVideo>(settings,
                                                                                                           source);
                                      });
    registrator.RegisterFilterVideoEx(
        SettingsFilterIntroLoopOutro::CLASS_ID, ImplNames::TARSEL,
        [](iptr<IStreamVideo> const& source, iptr<IFilterFactory const> const& filters, Settings const& settings) {
            return Details::MakeInitialized<IStreamVideoEx, FilterIntroLoopOutroVideo>(settings, source, filters);
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
