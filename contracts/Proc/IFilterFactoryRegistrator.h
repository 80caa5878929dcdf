#pragma once

#include <functional>
#include <string>
#include <utility>
#include <variant>

#include "contracts/Core/Export.h"
#include "contracts/Core/RefCount.h"

namespace Tarsel::Proc {

class IAlgorithmFactory;
class ICodecFactory;
class ICRCStreamController;
class ICropDetector;
class IEffectFactory;
class IFilterApplyEffectsAudio;
class IFilterApplyEffectsVideo;
class IFilterAudioFormatter;
class IFilterAudioHistogram;
class IFilterAudioMixer;
class IFilterCacheController;
class IFilterCutController;
class IFilterFactory;
class IFilterFrameRate;
class IFilterLosslessDetect;
class IFilterRepeatController;
class IFilterResample;
class IFilterResize;
class IFilterSeekController;
class IFilterSubtitleDrawer;
class IFilterVolumeDetect;
class IOverlayFactory;
class IOverlayStream;
class ISmartMapAudio;
class ISmartMapVideo;
class IStreamAudio;
class IStreamAudioEx;
class IStreamRaw;
class IStreamRawEx;
class IStreamSubtitle;
class IStreamSubtitleEx;
class IStreamVideo;
class IStreamVideoEx;
class Settings;
template <class T>
class TIFilterJoin;
template <class U, class T>
class TIFilterRepeat;

// Factories of the filters with an interface of their own: they make the filter, without settings unless told.

using FilterColorSpaceFactory = iptr<IStreamVideo> (*)(iptr<IStreamVideo> const&);
using FilterResizeFactory = iptr<IFilterResize> (*)(iptr<IStreamVideo> const&, iptr<IEffectFactory const> const&);
using FilterFrameRateFactory = iptr<IFilterFrameRate> (*)(iptr<IStreamVideo> const&);
using FilterResampleFactory = iptr<IFilterResample> (*)(iptr<IStreamAudio> const&, iptr<IEffectFactory const> const&);
using FilterAudioHistogramFactory = iptr<IFilterAudioHistogram> (*)(iptr<IStreamAudio> const&);
using FilterAudioMixerFactory = iptr<IFilterAudioMixer> (*)(iptr<IFilterFactory const> const&);
using FilterAudioFormatterFactory = iptr<IFilterAudioFormatter> (*)(iptr<IStreamAudio> const&,
                                                                    iptr<IAlgorithmFactory const> const&);
using FilterCutControllerFactory = iptr<IFilterCutController> (*)(Settings const&, iptr<ICodecFactory const> const&);
using FilterRepeatControllerFactory = iptr<IFilterRepeatController> (*)();
using FilterSubtitleDrawerFactory = iptr<IFilterSubtitleDrawer> (*)(iptr<IFilterFactory const> const&,
                                                                    iptr<IStreamVideo> const&,
                                                                    iptr<IEffectFactory const> const&,
                                                                    iptr<IOverlayFactory const> const&);
using OverlayStreamFactory = iptr<IOverlayStream> (*)(iptr<IStreamVideo> const&);
using FilterApplyEffectsVideoFactory = iptr<IFilterApplyEffectsVideo> (*)(iptr<IStreamVideo> const&,
                                                                          iptr<IEffectFactory const> const&);
using FilterApplyEffectsAudioFactory = iptr<IFilterApplyEffectsAudio> (*)(iptr<IStreamAudio> const&,
                                                                          iptr<IEffectFactory const> const&);
using CRCStreamControllerFactory = iptr<ICRCStreamController> (*)();
using FilterCacheControllerFactory = iptr<IFilterCacheController> (*)();
using CropDetectorFactory = iptr<ICropDetector> (*)(iptr<IEffectFactory const> const&);
using FilterSeekControllerFactory = iptr<IFilterSeekController> (*)();
using FilterJoinVideoFactory = iptr<TIFilterJoin<IStreamVideo>> (*)();
using FilterJoinAudioFactory = iptr<TIFilterJoin<IStreamAudio>> (*)();
using FilterJoinRawFactory = iptr<TIFilterJoin<IStreamRaw>> (*)();
using SmartMapVideoFactory = iptr<ISmartMapVideo> (*)();
using SmartMapAudioFactory = iptr<ISmartMapAudio> (*)(iptr<IFilterFactory const> const&);
using FilterRepeatVideoFactory = iptr<TIFilterRepeat<IStreamVideoEx, IStreamVideo>> (*)(iptr<IStreamVideo> const&);
using FilterRepeatAudioFactory = iptr<TIFilterRepeat<IStreamAudioEx, IStreamAudio>> (*)(iptr<IStreamAudio> const&);
using FilterVolumeDetectFactory = iptr<IFilterVolumeDetect> (*)();
using FilterSceneDetectFactory = iptr<IStreamVideo> (*)(iptr<IStreamVideo> const&);
using FilterLosslessDetectFactory = iptr<IFilterLosslessDetect> (*)(iptr<IStreamRaw> const&, Settings const&);

/// Any of the functions above, its type put aside. `FilterSlot` brings it back.
using FilterFunction = void (*)();

/// The name of a dedicated filter together with the type of its factory, so that a lookup by name can't be cast
/// wrongly.
template <class Function>
struct FilterSlot {
    using Factory = Function;
    char const* name;
};

/// The dedicated filters in the order of their registration slots.
namespace FilterSlots {

inline constexpr FilterSlot<FilterColorSpaceFactory> COLOR_SPACE{"FilterColorSpace"};
inline constexpr FilterSlot<FilterResizeFactory> RESIZE{"FilterResize"};
inline constexpr FilterSlot<FilterFrameRateFactory> FRAME_RATE{"FilterFrameRate"};
inline constexpr FilterSlot<FilterResampleFactory> RESAMPLE{"FilterResample"};
inline constexpr FilterSlot<FilterAudioHistogramFactory> AUDIO_HISTOGRAM{"FilterAudioHistogram"};
inline constexpr FilterSlot<FilterAudioMixerFactory> AUDIO_MIXER{"FilterAudioMixer"};
inline constexpr FilterSlot<FilterAudioFormatterFactory> AUDIO_FORMATTER{"FilterAudioFormatter"};
inline constexpr FilterSlot<FilterCutControllerFactory> CUT_CONTROLLER{"FilterCutController"};
inline constexpr FilterSlot<FilterRepeatControllerFactory> REPEAT_CONTROLLER{"FilterRepeatController"};
inline constexpr FilterSlot<FilterSubtitleDrawerFactory> SUBTITLE_DRAWER{"FilterSubtitleDrawer"};
inline constexpr FilterSlot<OverlayStreamFactory> OVERLAY_STREAM{"OverlayStream"};
inline constexpr FilterSlot<FilterApplyEffectsVideoFactory> APPLY_EFFECTS_VIDEO{"FilterApplyEffectsVideo"};
inline constexpr FilterSlot<FilterApplyEffectsAudioFactory> APPLY_EFFECTS_AUDIO{"FilterApplyEffectsAudio"};
inline constexpr FilterSlot<CRCStreamControllerFactory> CRC_STREAM_CONTROLLER{"CRCStreamController"};
inline constexpr FilterSlot<FilterCacheControllerFactory> CACHE_CONTROLLER{"FilterCacheController"};
inline constexpr FilterSlot<CropDetectorFactory> CROP_DETECTOR{"CropDetector"};
inline constexpr FilterSlot<FilterSeekControllerFactory> SEEK_CONTROLLER{"FilterSeekController"};
inline constexpr FilterSlot<FilterJoinVideoFactory> JOIN_VIDEO{"FilterJoinVideo"};
inline constexpr FilterSlot<FilterJoinAudioFactory> JOIN_AUDIO{"FilterJoinAudio"};
inline constexpr FilterSlot<FilterJoinRawFactory> JOIN_RAW{"FilterJoinRaw"};
inline constexpr FilterSlot<SmartMapVideoFactory> SMART_MAP_VIDEO{"SmartMapVideo"};
inline constexpr FilterSlot<SmartMapAudioFactory> SMART_MAP_AUDIO{"SmartMapAudio"};
inline constexpr FilterSlot<FilterRepeatVideoFactory> REPEAT_VIDEO{"FilterRepeatVideo"};
inline constexpr FilterSlot<FilterRepeatAudioFactory> REPEAT_AUDIO{"FilterRepeatAudio"};
inline constexpr FilterSlot<FilterVolumeDetectFactory> VOLUME_DETECT{"FilterVolumeDetect"};
inline constexpr FilterSlot<FilterSceneDetectFactory> SCENE_DETECT{"FilterSceneDetect"};
inline constexpr FilterSlot<FilterLosslessDetectFactory> LOSSLESS_DETECT{"FilterLosslessDetect"};

}  // namespace FilterSlots

// Factories of the filters that take their settings as an object. They make the filter and give it the settings.

using AudioExFactoryA = std::function<iptr<IStreamAudioEx>(Settings const&)>;
using AudioExFactoryB = std::function<iptr<IStreamAudioEx>(iptr<IStreamAudio> const&, Settings const&)>;
using AudioExFactoryC =
    std::function<iptr<IStreamAudioEx>(iptr<IStreamAudio> const&, iptr<IEffectFactory const> const&, Settings const&)>;
using AudioExFactoryD = std::function<iptr<IStreamAudioEx>(iptr<IStreamAudio> const&,
                                                           iptr<IAlgorithmFactory const> const&, Settings const&)>;
using VideoExFactoryA = std::function<iptr<IStreamVideoEx>(iptr<IStreamVideo> const&, Settings const&)>;
using VideoExFactoryB =
    std::function<iptr<IStreamVideoEx>(iptr<IStreamVideo> const&, iptr<IEffectFactory const> const&, Settings const&)>;
using VideoExFactoryC =
    std::function<iptr<IStreamVideoEx>(iptr<IStreamVideo> const&, iptr<IFilterFactory const> const&, Settings const&)>;
using SubtitleExFactory = std::function<iptr<IStreamSubtitleEx>(iptr<IStreamSubtitle> const&, Settings const&)>;
using RawExFactory = std::function<iptr<IStreamRawEx>(iptr<IStreamRaw> const&, Settings const&)>;

/// Any of them.
using ExFactory = std::variant<AudioExFactoryA, AudioExFactoryB, AudioExFactoryC, AudioExFactoryD, VideoExFactoryA,
                               VideoExFactoryB, VideoExFactoryC, SubtitleExFactory, RawExFactory>;

/// What a registered filter works on.
enum class FilterKind { Dedicated, Audio, Video, Subtitle, Raw };

/// Where a library of filters enters what it can make. The host owns the registry behind it; a library's
/// `FilterRegistrator` calls it once. Registration must not run beside a lookup. What a second registration of the same
/// row means is the registry's affair.
class TARSEL_CONTRACTS_EXPORT IFilterFactoryRegistrator {
  public:
    virtual ~IFilterFactoryRegistrator();

    // The dedicated filters, one slot each. `implName` is one of `ImplNames`.

    /// For hosts that bring a colour-space conversion of their own; no filter here.
    virtual void RegisterFilterColorSpace(std::string const& implName, FilterColorSpaceFactory factory) = 0;
    virtual void RegisterFilterResize(std::string const& implName, FilterResizeFactory factory) = 0;
    virtual void RegisterFilterFrameRate(std::string const& implName, FilterFrameRateFactory factory) = 0;
    virtual void RegisterFilterResample(std::string const& implName, FilterResampleFactory factory) = 0;
    virtual void RegisterFilterAudioHistogram(std::string const& implName, FilterAudioHistogramFactory factory) = 0;
    virtual void RegisterFilterAudioMixer(std::string const& implName, FilterAudioMixerFactory factory) = 0;
    virtual void RegisterFilterAudioFormatter(std::string const& implName, FilterAudioFormatterFactory factory) = 0;
    virtual void RegisterFilterCutController(std::string const& implName, FilterCutControllerFactory factory) = 0;
    virtual void RegisterFilterRepeatController(std::string const& implName, FilterRepeatControllerFactory factory) = 0;
    virtual void RegisterFilterSubtitleDrawer(std::string const& implName, FilterSubtitleDrawerFactory factory) = 0;
    /// For the host's own overlay stream, which the subtitle drawer is built around; no filter here.
    virtual void RegisterOverlayStream(std::string const& implName, OverlayStreamFactory factory) = 0;
    virtual void RegisterFilterApplyEffectsVideo(std::string const& implName,
                                                 FilterApplyEffectsVideoFactory factory) = 0;
    virtual void RegisterFilterApplyEffectsAudio(std::string const& implName,
                                                 FilterApplyEffectsAudioFactory factory) = 0;
    virtual void RegisterCRCStreamController(std::string const& implName, CRCStreamControllerFactory factory) = 0;
    virtual void RegisterFilterCacheController(std::string const& implName, FilterCacheControllerFactory factory) = 0;
    virtual void RegisterCropDetector(std::string const& implName, CropDetectorFactory factory) = 0;
    virtual void RegisterFilterSeekController(std::string const& implName, FilterSeekControllerFactory factory) = 0;
    virtual void RegisterFilterJoinVideo(std::string const& implName, FilterJoinVideoFactory factory) = 0;
    virtual void RegisterFilterJoinAudio(std::string const& implName, FilterJoinAudioFactory factory) = 0;
    virtual void RegisterFilterJoinRaw(std::string const& implName, FilterJoinRawFactory factory) = 0;
    virtual void RegisterSmartMapVideo(std::string const& implName, SmartMapVideoFactory factory) = 0;
    virtual void RegisterSmartMapAudio(std::string const& implName, SmartMapAudioFactory factory) = 0;
    virtual void RegisterFilterRepeatVideo(std::string const& implName, FilterRepeatVideoFactory factory) = 0;
    virtual void RegisterFilterRepeatAudio(std::string const& implName, FilterRepeatAudioFactory factory) = 0;
    virtual void RegisterFilterVolumeDetect(std::string const& implName, FilterVolumeDetectFactory factory) = 0;
    /// For hosts that bring a detector of scene changes; no filter here.
    virtual void RegisterFilterSceneDetect(std::string const& implName, FilterSceneDetectFactory factory) = 0;
    virtual void RegisterFilterLosslessDetect(std::string const& implName, FilterLosslessDetectFactory factory) = 0;

    // The filters that take their settings as an object. The forms differ in what a factory needs beside its source.

    void RegisterFilterAudioEx(std::string const& classId, std::string const& implName, AudioExFactoryA factory) {
        RegisterEx(FilterKind::Audio, 'a', classId, implName, std::move(factory));
    }
    void RegisterFilterAudioEx(std::string const& classId, std::string const& implName, AudioExFactoryB factory) {
        RegisterEx(FilterKind::Audio, 'b', classId, implName, std::move(factory));
    }
    void RegisterFilterAudioEx(std::string const& classId, std::string const& implName, AudioExFactoryC factory) {
        RegisterEx(FilterKind::Audio, 'c', classId, implName, std::move(factory));
    }
    void RegisterFilterAudioEx(std::string const& classId, std::string const& implName, AudioExFactoryD factory) {
        RegisterEx(FilterKind::Audio, 'd', classId, implName, std::move(factory));
    }
    void RegisterFilterVideoEx(std::string const& classId, std::string const& implName, VideoExFactoryA factory) {
        RegisterEx(FilterKind::Video, 'a', classId, implName, std::move(factory));
    }
    void RegisterFilterVideoEx(std::string const& classId, std::string const& implName, VideoExFactoryB factory) {
        RegisterEx(FilterKind::Video, 'b', classId, implName, std::move(factory));
    }
    void RegisterFilterVideoEx(std::string const& classId, std::string const& implName, VideoExFactoryC factory) {
        RegisterEx(FilterKind::Video, 'c', classId, implName, std::move(factory));
    }
    void RegisterFilterSubtitleEx(std::string const& classId, std::string const& implName, SubtitleExFactory factory) {
        RegisterEx(FilterKind::Subtitle, 'a', classId, implName, std::move(factory));
    }
    void RegisterFilterRawEx(std::string const& classId, std::string const& implName, RawExFactory factory) {
        RegisterEx(FilterKind::Raw, 'a', classId, implName, std::move(factory));
    }

  protected:
    /// All of the second group come here. `kind` and `form` say which of the types `factory` holds.
    virtual void RegisterEx(FilterKind kind, char form, std::string const& classId, std::string const& implName,
                            ExFactory factory) = 0;
};

}  // namespace Tarsel::Proc
