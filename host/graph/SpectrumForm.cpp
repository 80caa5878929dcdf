#include "host/graph/SpectrumForm.h"

#include <algorithm>
#include <utility>

#include "contracts/Proc/IFilterFactoryRegistrator.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsFilterAudioFormatter.h"
#include "contracts/Proc/SettingsFilterResample.h"
#include "host/graph/FormMaker.h"
#include "host/graph/GraphErrors.h"

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
    FormMaker maker(options);
    RequireSound(*maker.Open(input), spectrum.stream);
    StreamSelector const sound{StreamKind::Audio, spectrum.stream};
    NodeId const drawn = maker.AddSource(input, sound);
    // A stream has one reader.
    NodeId const heard = spectrum.withAudio ? maker.AddSource(input, sound) : 0;
    // One channel in front: of several the drawing leaves frames out, which doubles all frequencies of stereo.
    // Integers, because the converter takes the mean of the channels for them.
    Conf::SampleInfo const mono(Conf::SAMPLE_FORMAT_S32, -1, Conf::DefaultChannelLayout(1));
    NodeId const single = maker.AddFilter(SettingsFilterResample::CLASS_ID, ImplNames::TARSEL,
                                          Settings2Property(SettingsFilterResample(mono)), {drawn});
    NodeId const blocks =
        maker.AddFilter(SettingsFilterAudioFormatter::CLASS_ID, ImplNames::TARSEL,
                        Settings2Property(SettingsFilterAudioFormatter(SpectrumPeriod(spectrum.picture))), {single});
    GraphOutput::Stream video;
    video.input = maker.AddFilter(FilterSlots::AUDIO_HISTOGRAM.name, ImplNames::TARSEL, std::move(settings), {blocks});
    video.codec = options.videoCodec;
    video.quality = options.quality;
    maker.AddOutput(std::move(video));
    if (spectrum.withAudio) maker.AddSoundOutput(heard);
    return maker.Finish();
}

}  // namespace Tarsel::Host
