#include "host/graph/FilterRegistry.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/FilterRegistrator.h"
#include "contracts/Proc/ImplNames.h"
#include "host/text/OverlayStream.h"

namespace Tarsel::Host {

using namespace Proc;

FilterRegistry::~FilterRegistry() = default;

void FilterRegistry::RegisterFilterColorSpace(std::string const& implName, FilterColorSpaceFactory factory) {
    Enter(FilterSlots::COLOR_SPACE, implName, factory);
}
void FilterRegistry::RegisterFilterResize(std::string const& implName, FilterResizeFactory factory) {
    Enter(FilterSlots::RESIZE, implName, factory);
}
void FilterRegistry::RegisterFilterFrameRate(std::string const& implName, FilterFrameRateFactory factory) {
    Enter(FilterSlots::FRAME_RATE, implName, factory);
}
void FilterRegistry::RegisterFilterResample(std::string const& implName, FilterResampleFactory factory) {
    Enter(FilterSlots::RESAMPLE, implName, factory);
}
void FilterRegistry::RegisterFilterAudioHistogram(std::string const& implName, FilterAudioHistogramFactory factory) {
    Enter(FilterSlots::AUDIO_HISTOGRAM, implName, factory);
}
void FilterRegistry::RegisterFilterAudioMixer(std::string const& implName, FilterAudioMixerFactory factory) {
    Enter(FilterSlots::AUDIO_MIXER, implName, factory);
}
void FilterRegistry::RegisterFilterAudioFormatter(std::string const& implName, FilterAudioFormatterFactory factory) {
    Enter(FilterSlots::AUDIO_FORMATTER, implName, factory);
}
void FilterRegistry::RegisterFilterCutController(std::string const& implName, FilterCutControllerFactory factory) {
    Enter(FilterSlots::CUT_CONTROLLER, implName, factory);
}
void FilterRegistry::RegisterFilterRepeatController(std::string const& implName,
                                                    FilterRepeatControllerFactory factory) {
    Enter(FilterSlots::REPEAT_CONTROLLER, implName, factory);
}
void FilterRegistry::RegisterFilterSubtitleDrawer(std::string const& implName, FilterSubtitleDrawerFactory factory) {
    Enter(FilterSlots::SUBTITLE_DRAWER, implName, factory);
}
void FilterRegistry::RegisterOverlayStream(std::string const& implName, OverlayStreamFactory factory) {
    Enter(FilterSlots::OVERLAY_STREAM, implName, factory);
}
void FilterRegistry::RegisterFilterApplyEffectsVideo(std::string const& implName,
                                                     FilterApplyEffectsVideoFactory factory) {
    Enter(FilterSlots::APPLY_EFFECTS_VIDEO, implName, factory);
}
void FilterRegistry::RegisterFilterApplyEffectsAudio(std::string const& implName,
                                                     FilterApplyEffectsAudioFactory factory) {
    Enter(FilterSlots::APPLY_EFFECTS_AUDIO, implName, factory);
}
void FilterRegistry::RegisterCRCStreamController(std::string const& implName, CRCStreamControllerFactory factory) {
    Enter(FilterSlots::CRC_STREAM_CONTROLLER, implName, factory);
}
void FilterRegistry::RegisterFilterCacheController(std::string const& implName, FilterCacheControllerFactory factory) {
    Enter(FilterSlots::CACHE_CONTROLLER, implName, factory);
}
void FilterRegistry::RegisterCropDetector(std::string const& implName, CropDetectorFactory factory) {
    Enter(FilterSlots::CROP_DETECTOR, implName, factory);
}
void FilterRegistry::RegisterFilterSeekController(std::string const& implName, FilterSeekControllerFactory factory) {
    Enter(FilterSlots::SEEK_CONTROLLER, implName, factory);
}
void FilterRegistry::RegisterFilterJoinVideo(std::string const& implName, FilterJoinVideoFactory factory) {
    Enter(FilterSlots::JOIN_VIDEO, implName, factory);
}
void FilterRegistry::RegisterFilterJoinAudio(std::string const& implName, FilterJoinAudioFactory factory) {
    Enter(FilterSlots::JOIN_AUDIO, implName, factory);
}
void FilterRegistry::RegisterFilterJoinRaw(std::string const& implName, FilterJoinRawFactory factory) {
    Enter(FilterSlots::JOIN_RAW, implName, factory);
}
void FilterRegistry::RegisterSmartMapVideo(std::string const& implName, SmartMapVideoFactory factory) {
    Enter(FilterSlots::SMART_MAP_VIDEO, implName, factory);
}
void FilterRegistry::RegisterSmartMapAudio(std::string const& implName, SmartMapAudioFactory factory) {
    Enter(FilterSlots::SMART_MAP_AUDIO, implName, factory);
}
void FilterRegistry::RegisterFilterRepeatVideo(std::string const& implName, FilterRepeatVideoFactory factory) {
    Enter(FilterSlots::REPEAT_VIDEO, implName, factory);
}
void FilterRegistry::RegisterFilterRepeatAudio(std::string const& implName, FilterRepeatAudioFactory factory) {
    Enter(FilterSlots::REPEAT_AUDIO, implName, factory);
}
void FilterRegistry::RegisterFilterVolumeDetect(std::string const& implName, FilterVolumeDetectFactory factory) {
    Enter(FilterSlots::VOLUME_DETECT, implName, factory);
}
void FilterRegistry::RegisterFilterSceneDetect(std::string const& implName, FilterSceneDetectFactory factory) {
    Enter(FilterSlots::SCENE_DETECT, implName, factory);
}
void FilterRegistry::RegisterFilterLosslessDetect(std::string const& implName, FilterLosslessDetectFactory factory) {
    Enter(FilterSlots::LOSSLESS_DETECT, implName, factory);
}

void FilterRegistry::RegisterEx(FilterKind kind, char form, std::string const& classId, std::string const& implName,
                                ExFactory factory) {
    Enter({kind, form, classId, implName, std::move(factory)});
}

void FilterRegistry::Enter(Row row) {
    if (auto* const present = const_cast<Row*>(FindExactly(row.kind, row.classId, row.implName)))
        *present = std::move(row);
    else
        rows.push_back(std::move(row));
}

FilterRegistry::Row const* FilterRegistry::FindExactly(FilterKind kind, std::string const& classId,
                                                       std::string const& implName) const {
    auto const found = std::find_if(rows.begin(), rows.end(), [&](Row const& row) {
        return row.kind == kind && row.classId == classId && row.implName == implName;
    });
    return found == rows.end() ? nullptr : &*found;
}

FilterRegistry::Row const* FilterRegistry::Find(FilterKind kind, std::string const& classId,
                                                std::string const& implName) const {
    if (Row const* const row = FindExactly(kind, classId, implName)) return row;
    if (implName != ImplNames::DEFAULT) return nullptr;
    if (Row const* const row = FindExactly(kind, classId, ImplNames::TARSEL)) return row;
    auto const first = std::find_if(rows.begin(), rows.end(),
                                    [&](Row const& row) { return row.kind == kind && row.classId == classId; });
    return first == rows.end() ? nullptr : &*first;
}

std::vector<std::string> FilterRegistry::GetImplementations(FilterKind kind, std::string const& classId) const {
    std::vector<std::string> names;
    for (Row const& row : rows)
        if (row.kind == kind && row.classId == classId) names.push_back(row.implName);
    return names;
}

char const* KindName(FilterKind kind) {
    switch (kind) {
        case FilterKind::Dedicated:
            return "dedicated";
        case FilterKind::Audio:
            return "audio";
        case FilterKind::Video:
            return "video";
        case FilterKind::Subtitle:
            return "subtitle";
        case FilterKind::Raw:
            return "raw";
    }
    TARSEL_THROW(std::invalid_argument, "No such kind of filter: " + std::to_string(static_cast<int>(kind)));
}

iptr<FilterRegistry const> MakeFilterRegistry() {
    auto registry = MakeShared<FilterRegistry>();
    FilterRegistrator(*registry);
    registry->RegisterOverlayStream(ImplNames::TARSEL, &OverlayStream::Create);
    return registry;
}

}  // namespace Tarsel::Host
