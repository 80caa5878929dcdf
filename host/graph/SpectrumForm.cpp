#include "host/graph/SpectrumForm.h"

#include <algorithm>
#include <utility>

#include "contracts/Proc/IFilterFactoryRegistrator.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsFilterAudioFormatter.h"
#include "contracts/Proc/SettingsFilterResample.h"
#include "host/graph/GraphChecks.h"
#include "host/graph/GraphErrors.h"
#include "host/graph/SettingsCatalog.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

/// The settings as the catalog's class has them; what lies out of its bounds is refused.
Core::Property PictureSettings(SettingsAudioHistogram const& picture) {
    CatalogEntry const& entry = *FindInCatalog(FilterSlots::AUDIO_HISTOGRAM.name);
    Core::Property const wanted = Settings2Property(picture);
    Core::Property property(entry.settingsId);
    for (SettingField const& field : entry.fields) {
        int64 const value = wanted[field.key].GetInt64();
        bool const known = field.type == SettingType::Choice
                               ? std::any_of(field.choices.begin(), field.choices.end(),
                                             [&](auto const& choice) { return choice.value == std::to_string(value); })
                               : value >= field.minimum && value <= field.maximum;
        if (!known) FailAtPlace("", field.key + " can't be " + std::to_string(value));
        property.SetChild(field.key, wanted[field.key]);
    }
    return property;
}

void RequireSound(MediaFile const& file, int ordinal) {
    auto const& streams = file.GetStreams();
    auto const count = std::count_if(streams.begin(), streams.end(),
                                     [](StreamInfo const& info) { return info.kind == StreamKind::Audio; });
    if (count == 0) FailAtPlace("", file.GetPath() + ": there is no audio in it");
    if (ordinal < 0 || ordinal >= count)
        FailAtPlace("", file.GetPath() + ": there is no audio stream number " + std::to_string(ordinal) + ", only " +
                            std::to_string(count) + ", counted from 0");
}

}  // namespace

int64 SpectrumPeriod(SettingsAudioHistogram const& picture) {
    // Rounded up: rounded down, a sound of whole seconds would end with a picture of some microseconds.
    int64 const rate = picture.GetPicturesPerSecond();
    return (SECOND + rate - 1) / rate;
}

ShortFormGraph MakeSpectrumGraph(std::string const& input, SpectrumFormOptions const& spectrum,
                                 ShortFormOptions const& options) {
    Core::Property settings = PictureSettings(spectrum.picture);
    ShortFormGraph result;
    iptr<MediaFile> const file = MediaFile::Open(input);
    RequireSound(*file, spectrum.stream);
    result.files.push_back(file);

    GraphDocument& document = result.document;
    StreamSelector const sound{StreamKind::Audio, spectrum.stream};
    NodeId nextId = 1;
    auto const addSource = [&] {
        std::string const place = "/sources/" + std::to_string(document.sources.size());
        document.sources.push_back({nextId++, input, sound, false, place});
        return document.sources.back().id;
    };
    auto const addFilter = [&](char const* classId, Core::Property property, NodeId below) {
        std::string const place = "/filters/" + std::to_string(document.filters.size());
        document.filters.push_back({nextId++, classId, ImplNames::TARSEL, std::move(property), {below}, place});
        return document.filters.back().id;
    };
    NodeId const drawn = addSource();
    // A stream has one reader.
    NodeId const heard = spectrum.withAudio ? addSource() : 0;
    // One channel in front: of several the drawing leaves frames out, which doubles all frequencies of stereo.
    // Integers, because the converter takes the mean of the channels for them.
    Conf::SampleInfo const mono(Conf::SAMPLE_FORMAT_S32, -1, Conf::DefaultChannelLayout(1));
    NodeId const single =
        addFilter(SettingsFilterResample::CLASS_ID, Settings2Property(SettingsFilterResample(mono)), drawn);
    NodeId const blocks =
        addFilter(SettingsFilterAudioFormatter::CLASS_ID,
                  Settings2Property(SettingsFilterAudioFormatter(SpectrumPeriod(spectrum.picture))), single);
    NodeId const pictures = addFilter(FilterSlots::AUDIO_HISTOGRAM.name, std::move(settings), blocks);

    document.output.file = options.output;
    document.output.container = options.container;
    GraphOutput::Stream video;
    video.input = pictures;
    video.codec = options.videoCodec;
    video.quality = options.quality;
    document.output.streams.push_back(std::move(video));
    if (spectrum.withAudio) {
        GraphOutput::Stream audio;
        audio.input = heard;
        audio.codec = options.audioCodec;
        audio.bitRate = options.audioBitRate;
        document.output.streams.push_back(std::move(audio));
    }
    CheckGraph(document);
    return result;
}

}  // namespace Tarsel::Host
