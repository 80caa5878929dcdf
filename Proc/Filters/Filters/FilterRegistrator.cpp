#include "Proc/Filters/Filters/FilterRegistrator.h"

#include "Proc/Filters/Filters/CRCStreamController.h"
#include "Proc/Filters/Filters/CropDetector.h"
#include "Proc/Filters/Filters/FilterApplyEffectsAudio.h"
#include "Proc/Filters/Filters/FilterApplyEffectsVideo.h"
#include "Proc/Filters/Filters/FilterAudioFormatter.h"
#include "Proc/Filters/Filters/FilterAudioGenerator.h"
#include "Proc/Filters/Filters/FilterAudioHistogram.h"
#include "Proc/Filters/Filters/FilterAudioMixer.h"
#include "Proc/Filters/Filters/FilterAudioVolume.h"
#include "Proc/Filters/Filters/FilterBlurTransparentBorder.h"
#include "Proc/Filters/Filters/FilterCacheController.h"
#include "Proc/Filters/Filters/FilterCutController.h"
#include "Proc/Filters/Filters/FilterDeinterlace.h"
#include "Proc/Filters/Filters/FilterDurationTrimmerAudio.h"
#include "Proc/Filters/Filters/FilterDurationTrimmerSubtitle.h"
#include "Proc/Filters/Filters/FilterDurationTrimmerVideo.h"
#include "Proc/Filters/Filters/FilterFrameRate.h"
#include "Proc/Filters/Filters/FilterFrameRateAdjust.h"
#include "Proc/Filters/Filters/FilterIntroLoopOutroVideo.h"
#include "Proc/Filters/Filters/FilterLoop.h"
#include "Proc/Filters/Filters/FilterLosslessDetect.h"
#include "Proc/Filters/Filters/FilterRepeatController.h"
#include "Proc/Filters/Filters/FilterResample.h"
#include "Proc/Filters/Filters/FilterResize.h"
#include "Proc/Filters/Filters/FilterReverseAudio.h"
#include "Proc/Filters/Filters/FilterReverseVideo.h"
#include "Proc/Filters/Filters/FilterSeekController.h"
#include "Proc/Filters/Filters/FilterSpeedUpAudio.h"
#include "Proc/Filters/Filters/FilterSpeedUpVideo.h"
#include "Proc/Filters/Filters/FilterStreamMetadataUpdater.h"
#include "Proc/Filters/Filters/FilterSubtitleDrawer.h"
#include "Proc/Filters/Filters/FilterVideoMixer.h"
#include "Proc/Filters/Filters/FilterVolumeDetect.h"
#include "Proc/Filters/Filters/SmartMapAudio.h"
#include "Proc/Filters/Filters/SmartMapVideo.h"
#include "Proc/Filters/Filters/TFilterJoin.h"
#include "Proc/Filters/Filters/TFilterRepeat.h"
#include "contracts/Proc/FilterBitStream.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsAudioGenerator.h"
#include "contracts/Proc/SettingsDeinterlace.h"
#include "contracts/Proc/SettingsFilterAudioFormatter.h"
#include "contracts/Proc/SettingsFilterAudioVolume.h"
#include "contracts/Proc/SettingsFilterBlurTransparentBorder.h"
#include "contracts/Proc/SettingsFilterDurationTrimmer.h"
#include "contracts/Proc/SettingsFilterFrameRate.h"
#include "contracts/Proc/SettingsFilterIntroLoopOutro.h"
#include "contracts/Proc/SettingsFilterLoop.h"
#include "contracts/Proc/SettingsFilterRepeat.h"
#include "contracts/Proc/SettingsFilterResample.h"
#include "contracts/Proc/SettingsFilterReverse.h"
#include "contracts/Proc/SettingsFilterSpeedUp.h"
#include "contracts/Proc/SettingsFilterVideoMixer.h"
#include "contracts/Proc/SettingsResizer.h"
#include "contracts/Proc/SettingsStreamMetadataUpdater.h"

namespace Tarsel::Proc {

namespace {

using Audio = iptr<IStreamAudio>;
using Video = iptr<IStreamVideo>;
using Subtitle = iptr<IStreamSubtitle>;
using Effects = iptr<IEffectFactory const>;
using Algorithms = iptr<IAlgorithmFactory const>;
using Filters = iptr<IFilterFactory const>;

// Factories of filters with settings, over a source alone or with one of the host's factories beside it.

template <class Filter>
iptr<IStreamAudioEx> MakeAudio(Audio const& source, Settings const& settings) {
    return Details::MakeInitialized<IStreamAudioEx, Filter>(settings, source);
}
template <class Filter>
iptr<IStreamAudioEx> MakeAudioWithEffects(Audio const& source, Effects const& effects, Settings const& settings) {
    return Details::MakeInitialized<IStreamAudioEx, Filter>(settings, source, effects);
}
/// In the form of those with effects, for a filter that has no use for them.
template <class Filter>
iptr<IStreamAudioEx> MakeAudioBesideEffects(Audio const& source, Effects const&, Settings const& settings) {
    return MakeAudio<Filter>(source, settings);
}
template <class Filter>
iptr<IStreamAudioEx> MakeAudioWithAlgorithms(Audio const& source, Algorithms const& algorithms,
                                             Settings const& settings) {
    return Details::MakeInitialized<IStreamAudioEx, Filter>(settings, source, algorithms);
}
template <class Filter>
iptr<IStreamVideoEx> MakeVideo(Video const& source, Settings const& settings) {
    return Details::MakeInitialized<IStreamVideoEx, Filter>(settings, source);
}
template <class Filter>
iptr<IStreamVideoEx> MakeVideoWithEffects(Video const& source, Effects const& effects, Settings const& settings) {
    return Details::MakeInitialized<IStreamVideoEx, Filter>(settings, source, effects);
}
template <class Filter>
iptr<IStreamVideoEx> MakeVideoWithFilters(Video const& source, Filters const& filters, Settings const& settings) {
    return Details::MakeInitialized<IStreamVideoEx, Filter>(settings, source, filters);
}
template <class Filter>
iptr<IStreamSubtitleEx> MakeSubtitle(Subtitle const& source, Settings const& settings) {
    return Details::MakeInitialized<IStreamSubtitleEx, Filter>(settings, source);
}

// The same for filters whose constructors want the settings, too.

template <class Filter>
iptr<IStreamAudioEx> MakeSetUpAudio(Audio const& source, Settings const& settings) {
    return Details::MakeInitialized<IStreamAudioEx, Filter>(settings, source, settings);
}
template <class Filter>
iptr<IStreamVideoEx> MakeSetUpVideo(Video const& source, Settings const& settings) {
    return Details::MakeInitialized<IStreamVideoEx, Filter>(settings, source, settings);
}
template <class Filter>
iptr<IStreamVideoEx> MakeSetUpVideoWithEffects(Video const& source, Effects const& effects, Settings const& settings) {
    return Details::MakeInitialized<IStreamVideoEx, Filter>(settings, source, effects, settings);
}

/// Filters with an interface of their own, in slot order, all under `ImplNames::TARSEL`.
void RegisterDedicated(IFilterFactoryRegistrator& registrator) {
    registrator.RegisterFilterResize(ImplNames::TARSEL, FilterResize::Create);
    registrator.RegisterFilterFrameRate(ImplNames::TARSEL, FilterFrameRate::Create);
    registrator.RegisterFilterResample(ImplNames::TARSEL, FilterResample::Create);
    registrator.RegisterFilterAudioHistogram(ImplNames::TARSEL, FilterAudioHistogram::Create);
    registrator.RegisterFilterAudioMixer(ImplNames::TARSEL, FilterAudioMixer::Create);
    registrator.RegisterFilterAudioFormatter(ImplNames::TARSEL, FilterAudioFormatter::Create);
    registrator.RegisterFilterCutController(ImplNames::TARSEL, FilterCutController::Create);
    registrator.RegisterFilterRepeatController(ImplNames::TARSEL, FilterRepeatController::Create);
    registrator.RegisterFilterSubtitleDrawer(ImplNames::TARSEL, FilterSubtitleDrawer::Create);
    registrator.RegisterFilterApplyEffectsVideo(ImplNames::TARSEL, FilterApplyEffectsVideo::Create);
    registrator.RegisterFilterApplyEffectsAudio(ImplNames::TARSEL, FilterApplyEffectsAudio::Create);
    registrator.RegisterCRCStreamController(ImplNames::TARSEL, CRCStreamController::Create);
    registrator.RegisterFilterCacheController(ImplNames::TARSEL, FilterCacheController::Create);
    registrator.RegisterCropDetector(ImplNames::TARSEL, CropDetector::Create);
    registrator.RegisterFilterSeekController(ImplNames::TARSEL, FilterSeekController::Create);
    registrator.RegisterFilterJoinVideo(ImplNames::TARSEL, FilterJoinVideo::Create);
    registrator.RegisterFilterJoinAudio(ImplNames::TARSEL, FilterJoinAudio::Create);
    registrator.RegisterFilterJoinRaw(ImplNames::TARSEL, FilterJoinRaw::Create);
    registrator.RegisterSmartMapVideo(ImplNames::TARSEL, SmartMapVideo::Create);
    registrator.RegisterSmartMapAudio(ImplNames::TARSEL, SmartMapAudio::Create);
    registrator.RegisterFilterRepeatVideo(ImplNames::TARSEL, FilterRepeatVideo::Create);
    registrator.RegisterFilterRepeatAudio(ImplNames::TARSEL, FilterRepeatAudio::Create);
    registrator.RegisterFilterVolumeDetect(ImplNames::TARSEL, FilterVolumeDetect::Create);
    registrator.RegisterFilterLosslessDetect(ImplNames::TARSEL, FilterLosslessDetect::Create);
}

/// Filters that take their settings as an object: audio, video, subtitle, raw.
void RegisterWithSettings(IFilterFactoryRegistrator& registrator) {
    registrator.RegisterFilterAudioEx(SettingsAudioGenerator::CLASS_ID, ImplNames::TARSEL,
                                      FilterAudioGenerator::Create);
    registrator.RegisterFilterAudioEx(SettingsFilterSpeedUp::CLASS_ID, ImplNames::TARSEL,
                                      MakeAudioWithEffects<FilterSpeedUpAudio>);
    registrator.RegisterFilterAudioEx(SettingsFilterDurationTrimmer::CLASS_ID, ImplNames::TARSEL,
                                      MakeAudio<FilterDurationTrimmerAudio>);
    registrator.RegisterFilterAudioEx(SettingsFilterReverse::CLASS_ID, ImplNames::TARSEL, MakeFilterReverseAudio);
    registrator.RegisterFilterAudioEx(SettingsFilterAudioVolume::CLASS_ID, ImplNames::TARSEL,
                                      MakeAudioBesideEffects<FilterAudioVolume>);
    registrator.RegisterFilterAudioEx(SettingsFilterResample::CLASS_ID, ImplNames::TARSEL,
                                      MakeAudioWithEffects<FilterResample>);
    registrator.RegisterFilterAudioEx(SettingsFilterAudioFormatter::CLASS_ID, ImplNames::TARSEL,
                                      MakeAudioWithAlgorithms<FilterAudioFormatter>);
    registrator.RegisterFilterAudioEx(SettingsFilterRepeat::CLASS_ID, ImplNames::TARSEL,
                                      FilterRepeatAudio::CreateInitialized);
    registrator.RegisterFilterAudioEx(SettingsStreamMetadataUpdater::CLASS_ID, ImplNames::TARSEL,
                                      MakeSetUpAudio<FilterStreamMetadataUpdater<IStreamAudio>>);
    registrator.RegisterFilterAudioEx(SettingsFilterLoop::CLASS_ID, ImplNames::TARSEL, MakeAudio<FilterLoopAudio>);

    registrator.RegisterFilterVideoEx(SettingsDeinterlace::CLASS_ID, ImplNames::TARSEL,
                                      MakeSetUpVideoWithEffects<FilterDeinterlace>);
    registrator.RegisterFilterVideoEx(SettingsFilterSpeedUp::CLASS_ID, ImplNames::TARSEL,
                                      MakeVideo<FilterSpeedUpVideo>);
    registrator.RegisterFilterVideoEx(SettingsFilterFrameRate::CLASS_ID, SettingsFilterFrameRate::IMPL_DEFAULT,
                                      MakeSetUpVideo<FilterFrameRate>);
    registrator.RegisterFilterVideoEx(SettingsFilterFrameRate::CLASS_ID, SettingsFilterFrameRate::IMPL_ADJUST,
                                      MakeSetUpVideo<FilterFrameRateAdjust>);
    registrator.RegisterFilterVideoEx(SettingsFilterDurationTrimmer::CLASS_ID, ImplNames::TARSEL,
                                      MakeVideo<FilterDurationTrimmerVideo>);
    registrator.RegisterFilterVideoEx(SettingsFilterReverse::CLASS_ID, ImplNames::TARSEL,
                                      MakeVideo<FilterReverse<IStreamVideo, IStreamVideoEx>>);
    registrator.RegisterFilterVideoEx(SettingsResizer::CLASS_ID, ImplNames::TARSEL,
                                      MakeSetUpVideoWithEffects<FilterResize>);
    registrator.RegisterFilterVideoEx(SettingsFilterRepeat::CLASS_ID, ImplNames::TARSEL,
                                      FilterRepeatVideo::CreateInitialized);
    registrator.RegisterFilterVideoEx(SettingsFilterLoop::CLASS_ID, ImplNames::TARSEL, MakeVideo<FilterLoopVideo>);
    registrator.RegisterFilterVideoEx(SettingsFilterIntroLoopOutro::CLASS_ID, ImplNames::TARSEL,
                                      MakeVideoWithFilters<FilterIntroLoopOutroVideo>);
    registrator.RegisterFilterVideoEx(SettingsFilterBlurTransparentBorder::CLASS_ID, ImplNames::TARSEL,
                                      MakeVideoWithEffects<FilterBlurTransparentBorder>);
    registrator.RegisterFilterVideoEx(SettingsFilterVideoMixer::CLASS_ID, ImplNames::TARSEL,
                                      MakeVideoWithEffects<FilterVideoMixer>);
    registrator.RegisterFilterVideoEx(SettingsStreamMetadataUpdater::CLASS_ID, ImplNames::TARSEL,
                                      MakeSetUpVideo<FilterStreamMetadataUpdater<IStreamVideo>>);

    registrator.RegisterFilterSubtitleEx(SettingsFilterDurationTrimmer::CLASS_ID, ImplNames::TARSEL,
                                         MakeSubtitle<FilterDurationTrimmerSubtitle>);

    registrator.RegisterFilterRawEx(SettingsFilterBitStream::CLASS_ID, ImplNames::TARSEL, FilterBitStream::Create);
}

}  // namespace

}  // namespace Tarsel::Proc

void FilterRegistrator(Tarsel::Proc::IFilterFactoryRegistrator& registrator) {
    Tarsel::Proc::RegisterDedicated(registrator);
    Tarsel::Proc::RegisterWithSettings(registrator);
}
