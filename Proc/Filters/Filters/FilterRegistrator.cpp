#include "Proc/Filters/Filters/FilterRegistrator.h"

#include "Proc/Filters/Filters/FilterCutController.h"
#include "Proc/Filters/Filters/FilterDurationTrimmerAudio.h"
#include "Proc/Filters/Filters/FilterDurationTrimmerSubtitle.h"
#include "Proc/Filters/Filters/FilterDurationTrimmerVideo.h"
#include "Proc/Filters/Filters/FilterLosslessDetect.h"
#include "Proc/Filters/Filters/FilterSeekController.h"
#include "Proc/Filters/Filters/FilterStreamMetadataUpdater.h"
#include "Proc/Filters/Filters/TFilterJoin.h"
#include "contracts/Proc/FilterBitStream.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsStreamMetadataUpdater.h"

namespace Tarsel::Proc {

namespace {

/// Filters with an interface of their own, in slot order, all under `ImplNames::TARSEL`.
void RegisterDedicated(IFilterFactoryRegistrator& registrator) {
    registrator.RegisterFilterCutController(ImplNames::TARSEL, FilterCutController::Create);
    registrator.RegisterFilterSeekController(ImplNames::TARSEL, FilterSeekController::Create);
    registrator.RegisterFilterJoinVideo(ImplNames::TARSEL, FilterJoinVideo::Create);
    registrator.RegisterFilterJoinAudio(ImplNames::TARSEL, FilterJoinAudio::Create);
    registrator.RegisterFilterJoinRaw(ImplNames::TARSEL, FilterJoinRaw::Create);
    registrator.RegisterFilterLosslessDetect(ImplNames::TARSEL, FilterLosslessDetect::Create);
}

/// Filters that take their settings as an object: audio, video, subtitle, raw.
void RegisterWithSettings(IFilterFactoryRegistrator& registrator) {
    registrator.RegisterFilterAudioEx(SettingsFilterDurationTrimmer::CLASS_ID, ImplNames::TARSEL,
                                      [](iptr<IStreamAudio> const& source, Settings const& settings) {
                                          return Details::MakeInitialized<IStreamAudioEx, FilterDurationTrimmerAudio>(
                                              settings, source);
                                      });
    registrator.RegisterFilterAudioEx(
        SettingsStreamMetadataUpdater::CLASS_ID, ImplNames::TARSEL,
        [](iptr<IStreamAudio> const& source, Settings const& settings) {
            return Details::MakeInitialized<IStreamAudioEx, FilterStreamMetadataUpdater<IStreamAudio>>(settings, source,
                                                                                                       settings);
        });

    registrator.RegisterFilterVideoEx(SettingsFilterDurationTrimmer::CLASS_ID, ImplNames::TARSEL,
                                      [](iptr<IStreamVideo> const& source, Settings const& settings) {
                                          return Details::MakeInitialized<IStreamVideoEx, FilterDurationTrimmerVideo>(
                                              settings, source);
                                      });
    registrator.RegisterFilterVideoEx(
        SettingsStreamMetadataUpdater::CLASS_ID, ImplNames::TARSEL,
        [](iptr<IStreamVideo> const& source, Settings const& settings) {
            return Details::MakeInitialized<IStreamVideoEx, FilterStreamMetadataUpdater<IStreamVideo>>(settings, source,
                                                                                                       settings);
        });

    registrator.RegisterFilterSubtitleEx(
        SettingsFilterDurationTrimmer::CLASS_ID, ImplNames::TARSEL,
        [](iptr<IStreamSubtitle> const& source, Settings const& settings) {
            return Details::MakeInitialized<IStreamSubtitleEx, FilterDurationTrimmerSubtitle>(settings, source);
        });

    registrator.RegisterFilterRawEx(SettingsFilterBitStream::CLASS_ID, ImplNames::TARSEL, FilterBitStream::Create);
}

}  // namespace

}  // namespace Tarsel::Proc

void FilterRegistrator(Tarsel::Proc::IFilterFactoryRegistrator& registrator) {
    Tarsel::Proc::RegisterDedicated(registrator);
    Tarsel::Proc::RegisterWithSettings(registrator);
}
