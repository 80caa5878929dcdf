#include "host/graph/SoundForms.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Proc/IFilterFactoryRegistrator.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SampleInfoProperty.h"
#include "contracts/Proc/SettingsAudioGenerator.h"
#include "contracts/Proc/SettingsFilterAudioVolume.h"
#include "contracts/Proc/SettingsFilterDurationTrimmer.h"
#include "host/graph/FormMaker.h"
#include "host/graph/GraphErrors.h"
#include "host/graph/KeptStreams.h"
#include "host/graph/SettingsCatalog.h"
#include "host/media/CodecFactory.h"
#include "host/media/Containers.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

constexpr int MAX_TONE_CHANNELS = 8;
// Gains that the words of 8 and of 16 bits no longer hold: from here on loud samples wrap instead of being cut off.
constexpr double WRAPPING_GAIN_8 = 128;
constexpr double WRAPPING_GAIN_16 = 256;
// Of a sum of 16-bit samples: all gains together.
constexpr double WRAPPING_SUM_16 = 65536;

Conf::SampleInfo InfoOf(StreamInfo const& info) {
    auto const* const format = dynamic_cast<Conf::IFormatCodecAudio const*>(info.format.get());
    return format ? format->GetSampleInfo() : Conf::SampleInfo();
}

/// Whether a stream holds something to read.
bool HasContent(MediaFile const& file, StreamInfo const& info) {
    return info.HasPackets() && file.GetIndex(info.index).GetCount() != 0;
}

/// Integers of 64 bits are unknown to the filters of sound.
Conf::SampleFormats KnownFormat(Conf::SampleFormats format) {
    if (format == Conf::SAMPLE_FORMAT_S64) return Conf::SAMPLE_FORMAT_DBL;
    return format == Conf::SAMPLE_FORMAT_S64P ? Conf::SAMPLE_FORMAT_DBLP : format;
}

/// The format for one gain or several: floats in place of integers that would wrap.
Conf::SampleFormats FormatFor(Conf::SampleFormats format, double largestGain, double sumOfGains) {
    Conf::SampleFormats const planar = Conf::PlanarFormat(format);
    bool const wraps =
        (planar == Conf::SAMPLE_FORMAT_U8P && largestGain >= WRAPPING_GAIN_8) ||
        (planar == Conf::SAMPLE_FORMAT_S16P && (largestGain >= WRAPPING_GAIN_16 || sumOfGains >= WRAPPING_SUM_16));
    if (!wraps) return format;
    return format == planar ? Conf::SAMPLE_FORMAT_FLTP : Conf::SAMPLE_FORMAT_FLT;
}

// Mixing.

/// The first audio stream; what else the file holds is told.
StreamInfo const& FirstSound(FormMaker& maker, MediaFile const& file, bool tell) {
    StreamInfo const* first = nullptr;
    for (StreamInfo const& info : file.GetStreams()) {
        if (info.derived) continue;
        if (!first && info.kind == StreamKind::Audio)
            first = &info;
        else if (tell)
            maker.WarnLeftOut(file, info, info.kind == StreamKind::Audio ? "the first audio stream is mixed" : "");
    }
    if (!first) FailAtPlace("", file.GetPath() + ": there is no audio in it");
    return *first;
}

/// What all streams are brought to.
Conf::SampleInfo CommonInfo(std::vector<Conf::SampleInfo> const& infos) {
    Conf::SampleInfo common;
    for (Conf::SampleInfo const& info : infos) common.MergeWith(info, Conf::MergeStrategy::Best);
    Conf::SampleFormats format = common.GetSampleFormat();
    // In 8 bits the sum of two silences is full scale.
    if (format == Conf::SAMPLE_FORMAT_U8) format = Conf::SAMPLE_FORMAT_S16;
    if (format == Conf::SAMPLE_FORMAT_U8P) format = Conf::SAMPLE_FORMAT_S16P;
    if (format == Conf::SAMPLE_FORMAT_NONE) format = Conf::SAMPLE_FORMAT_FLTP;
    Conf::ChannelLayout layout = common.GetChannelLayout();
    if (!IsNamedLayout(layout)) layout = Conf::DefaultChannelLayout(common.GetChannelCount());
    if (!IsNamedLayout(layout)) layout = Conf::CHANNEL_LAYOUT_STEREO;
    return {KnownFormat(format), common.GetSampleRate() > 0 ? common.GetSampleRate() : -1, layout};
}

/// The same, in numbers that hold the volumes.
Conf::SampleInfo CommonInfo(std::vector<Conf::SampleInfo> const& infos, std::vector<int> const& volumes) {
    double largest = 0;
    double sum = 0;
    for (int const volume : volumes) {
        double const gain = std::abs(volume) / 100.0;
        largest = std::max(largest, gain);
        sum += gain;
    }
    Conf::SampleInfo const common = CommonInfo(infos);
    return {FormatFor(common.GetSampleFormat(), largest, sum), common.GetSampleRate(), common.GetChannelLayout()};
}

Core::Property ResampleSettings(Conf::SampleInfo const& info) {
    Core::Property settings(FilterSlots::RESAMPLE.name);
    SetSampleInfo(settings, info);
    return settings;
}

Core::Property MixerSettings(std::vector<int> const& volumes) {
    Core::Property settings(FilterSlots::AUDIO_MIXER.name);
    for (int const volume : volumes) settings.Add(Core::Property(MIXER_STREAMS).SetChild(MIXER_VOLUME, volume));
    return settings;
}

void CheckVolumes(std::vector<std::string> const& inputs, std::vector<int> const& volumes) {
    if (inputs.empty()) FailAtPlace("", "there is nothing to mix");
    if (inputs.size() > MAX_GRAPH_INPUTS)
        FailAtPlace("", "more than " + std::to_string(MAX_GRAPH_INPUTS) + " files can't be mixed");
    if (!volumes.empty() && volumes.size() != inputs.size())
        FailAtPlace("", "there are " + std::to_string(volumes.size()) + " volumes for " +
                            std::to_string(inputs.size()) + " files");
    for (int const volume : volumes)
        if (volume < -MAX_MIXER_VOLUME || volume > MAX_MIXER_VOLUME)
            FailAtPlace("", "a volume must be from " + std::to_string(-MAX_MIXER_VOLUME) + " to " +
                                std::to_string(MAX_MIXER_VOLUME) + " percent, not " + std::to_string(volume));
}

// Changing the volume.

/// Brings the streams of a file into the graph.
class VolumeMaker {
  public:
    VolumeMaker(FormMaker& maker, MediaFile const& file, std::optional<double> factor, ShortFormOptions const& options)
        : maker(maker), file(file), factor(factor), streams(maker, file, options) {}

    void AddAll() {
        for (StreamInfo const* const info : streams.GetStreams()) {
            if (!streams.HasRoom(*info)) continue;
            if (info->kind == StreamKind::Audio)
                AddSound(*info);
            else
                streams.AddUnchanged(*info);
        }
    }
    bool HasSound() const { return streams.HasTaken(StreamKind::Audio); }

  private:
    void AddSound(StreamInfo const& info) {
        AVOutputFormat const* const container = maker.GetContainer();
        if (container && container->audio_codec == AV_CODEC_ID_NONE)
            return maker.WarnLeftOut(file, info, std::string(container->name) + " holds no audio");
        NodeId top = maker.AddSource(file.GetPath(), streams.Select(info));
        SettingsFilterAudioVolume const settings(factor.value_or(1), !factor);
        Conf::SampleFormats const own = InfoOf(info).GetSampleFormat();
        double const gain = std::abs(settings.GetVolume());
        Conf::SampleFormats format = KnownFormat(FormatFor(own, gain, gain));
        // The gain looks at the front part alone of blocks whose channels take turns.
        if (settings.IsAutoLevel()) format = Conf::PlanarFormat(format);
        if (settings.IsAutoLevel() && format == Conf::SAMPLE_FORMAT_NONE) format = Conf::SAMPLE_FORMAT_FLTP;
        if (settings.IsAutoLevel() || format != own)
            top = maker.AddFilter(FilterSlots::RESAMPLE.name, ImplNames::TARSEL,
                                  ResampleSettings({format, -1, Conf::CHANNEL_LAYOUT_NONE}), {top});
        streams.AddEncoded(info, maker.AddFilter(SettingsFilterAudioVolume::CLASS_ID, ImplNames::TARSEL,
                                                 Settings2Property(settings), {top}));
    }

    FormMaker& maker;
    MediaFile const& file;
    std::optional<double> const factor;
    KeptStreams streams;
};

/// What is the matter with a file of whose sound nothing has been taken.
std::string WhyNoSound(MediaFile const& file, AVOutputFormat const* container) {
    bool present = false;
    bool filled = false;
    for (StreamInfo const& info : file.GetStreams()) {
        if (info.derived || info.kind != StreamKind::Audio) continue;
        present = true;
        filled = filled || HasContent(file, info);
    }
    if (!present) return "there is no audio in it";
    if (!filled) return "its audio holds no packets";
    return "there is no audio in it that " + std::string(container->name) + " holds";
}

void RequireNumber(char const* what, double value, double lowest, double highest) {
    // No comparison holds for what is no number.
    if (!(value >= lowest && value <= highest))
        FailAtPlace("", std::string(what) + " must be from " + NumberText(lowest) + " to " + NumberText(highest) +
                            ", not " + NumberText(value));
}

void CheckTone(ToneRequest const& request) {
    RequireNumber("the rate", request.rate, 1, double(MAX_SAMPLE_RATE));
    RequireNumber("the frequency", request.frequency, 0, request.rate / 2.0);
    if (request.frequency == 0) FailAtPlace("", "the frequency must be above 0");
    RequireNumber("the amplitude", request.amplitude, 0, 1);
    RequireNumber("the number of channels", request.channels, 1, MAX_TONE_CHANNELS);
    SettingField const& field = FieldOf(SettingsAudioGenerator::CLASS_ID, "Duration");
    if (request.duration < field.minimum || request.duration > field.maximum)
        FailAtPlace("", "the duration must be from " + std::to_string(field.minimum) + " to " +
                            std::to_string(field.maximum) + " microseconds, not " + std::to_string(request.duration));
}

/// About a tenth of a second, and whole microseconds long, so that the times of many blocks and their samples agree.
int ToneBlockSamples(int rate) {
    int const step = rate / static_cast<int>(std::gcd(int64{rate}, SECOND));
    return std::max(rate / 10 / step, 1) * step;
}

/// Floats, unless 16 bits are what is written: then the samples are those of the generator to the last bit.
Conf::SampleFormats ToneFormat(ShortFormOptions const& options, AVOutputFormat const* container) {
    std::string codec = options.audioCodec;
    if (codec.empty() && container) codec = DefaultEncoders(container->name).audio;
    return codec == "pcm_s16le" ? Conf::SAMPLE_FORMAT_S16 : Conf::SAMPLE_FORMAT_FLT;
}

}  // namespace

ShortFormGraph MakeMixGraph(std::vector<std::string> const& inputs, std::vector<int> const& volumes,
                            ShortFormOptions const& options) {
    CheckVolumes(inputs, volumes);
    FormMaker maker(options);
    std::vector<NodeId> sources;
    std::vector<Conf::SampleInfo> infos;
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        bool const isNew = std::find(inputs.begin(), inputs.begin() + static_cast<std::ptrdiff_t>(i), inputs[i]) ==
                           inputs.begin() + static_cast<std::ptrdiff_t>(i);
        infos.push_back(InfoOf(FirstSound(maker, *maker.Open(inputs[i]), isNew)));
        sources.push_back(maker.AddSource(inputs[i], {StreamKind::Audio, 0}));
    }
    Core::Property const common = ResampleSettings(CommonInfo(infos, volumes));
    std::vector<NodeId> conformed;
    for (NodeId const source : sources)
        conformed.push_back(maker.AddFilter(FilterSlots::RESAMPLE.name, ImplNames::TARSEL, common, {source}));
    maker.AddSoundOutput(maker.AddFilter(FilterSlots::AUDIO_MIXER.name, ImplNames::TARSEL, MixerSettings(volumes),
                                         std::move(conformed)));
    return maker.Finish();
}

ShortFormGraph MakeVolumeGraph(std::string const& input, std::optional<double> factor,
                               ShortFormOptions const& options) {
    SettingField const& field = FieldOf(SettingsFilterAudioVolume::CLASS_ID, "Volume");
    if (factor) RequireNumber("the factor", *factor, field.lowest, field.highest);
    FormMaker maker(options);
    iptr<MediaFile> const opened = maker.Open(input);
    MediaFile const& file = *opened;
    VolumeMaker volume(maker, file, factor, options);
    volume.AddAll();
    if (!volume.HasSound()) FailAtPlace("", input + ": " + WhyNoSound(file, maker.GetContainer()));
    return maker.Finish();
}

ShortFormGraph MakeToneGraph(ToneRequest const& request, ShortFormOptions const& options) {
    CheckTone(request);
    FormMaker maker(options);
    SettingsAudioGenerator settings;
    settings.SetSampleInfo(
        {ToneFormat(options, maker.GetContainer()), request.rate, Conf::DefaultChannelLayout(request.channels)});
    settings.SetDuration(request.duration);
    settings.SetBlockSamples(ToneBlockSamples(request.rate));
    settings.SetTone(request.frequency, request.amplitude);
    maker.AddSoundOutput(
        maker.AddFilter(SettingsAudioGenerator::CLASS_ID, ImplNames::TARSEL, Settings2Property(settings), {}));
    return maker.Finish();
}

}  // namespace Tarsel::Host
