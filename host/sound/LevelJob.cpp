#include "host/sound/LevelJob.h"

#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IFilterResample.h"
#include "contracts/Proc/IFilterVolumeDetect.h"
#include "contracts/Proc/ImplNames.h"
#include "host/graph/Factories.h"
#include "host/media/AudioDecoder.h"
#include "host/media/MediaFile.h"

namespace Tarsel::Host {

namespace {

using Json = nlohmann::ordered_json;

/// Tells how far whoever reads has come.
class ProgressTap final : public ForwardingStream<Proc::IStreamAudio> {
  public:
    ProgressTap(iptr<Proc::IStreamAudio> const& source, ProgressCallback const& progress)
        : ForwardingStream(source), progress(progress) {}

    iptr<Proc::IDataAudio> Read() override {
        iptr<Proc::IDataAudio> block = stream->Read();
        if (block && progress && HasValue(block->GetTime())) progress(block->GetTime(), stream->GetDuration());
        return block;
    }

  private:
    ProgressCallback const& progress;
};

StreamInfo const& FindStream(MediaFile const& file, int number) {
    int place = 0;
    for (StreamInfo const& info : file.GetStreams())
        if (info.kind == StreamKind::Audio && place++ == number) return info;
    std::string const what = place == 0   ? "there is no audio in it"
                             : place == 1 ? "it has 1 audio stream"
                                          : "it has " + std::to_string(place) + " audio streams";
    TARSEL_THROW(Core::IOException,
                 file.GetPath() + ": " + what + (place == 0 ? "" : ", there is no number " + std::to_string(number)));
}

/// The stream with each channel in a plane of its own, which changes no sample: of interleaved blocks the detector sees
/// the front part alone. Integers of 64 bits, which it doesn't know, become floats of as many.
iptr<Proc::IStreamAudio> Separated(iptr<Proc::IStreamAudio> const& source, FilterFactory const& factory) {
    Conf::SampleFormats format = Conf::PlanarFormat(source->GetFormatCodec()->GetSampleInfo().GetSampleFormat());
    if (format == Conf::SAMPLE_FORMAT_S64P) format = Conf::SAMPLE_FORMAT_DBLP;
    auto const resample = factory.CreateResample(source, Proc::ImplNames::DEFAULT);
    resample->SetSampleInfo({format, -1, Conf::CHANNEL_LAYOUT_NONE});
    return resample;
}

Json LevelJson(LevelMeter::Level const& level) {
    return {{"peak", level.peak}, {"rms", level.rms}};
}

/// "0.500000 (-6.02 dBFS)".
std::string LevelText(double level) {
    if (std::isnan(level)) return "not a number";
    char text[64];
    if (level > 0)
        std::snprintf(text, sizeof text, "%.6f (%.2f dBFS)", level, 20 * std::log10(level));
    else
        std::snprintf(text, sizeof text, "%.6f (-inf dBFS)", level);
    return text;
}

std::string LineText(std::string const& name, LevelMeter::Level const& level) {
    return name + ": peak " + LevelText(level.peak) + ", rms " + LevelText(level.rms) + "\n";
}

}  // namespace

std::string LevelReport::ToJson() const {
    Json document;
    document["channels"] = Json::array();
    for (LevelMeter::Level const& channel : channels) document["channels"].push_back(LevelJson(channel));
    document["peak"] = all.peak;
    document["rms"] = all.rms;
    document["quiet"] = quiet;
    return document.dump(2);
}

std::string LevelReport::ToText() const {
    std::string text;
    for (std::size_t i = 0; i < channels.size(); ++i) text += LineText("channel " + std::to_string(i), channels[i]);
    return text + LineText("all", all) + "quiet: " + (quiet ? "yes" : "no") + "\n";
}

LevelReport MeasureLevel(LevelRequest const& request, ProgressCallback const& progress) {
    iptr<MediaFile> const file = MediaFile::Open(request.input);
    StreamInfo const& info = FindStream(*file, request.stream);
    auto const factory = MakeFilterFactory();
    iptr<Proc::IStreamAudio> const decoder = AudioDecoder::Create(file->OpenStream(info.index), "", DecoderOptions());
    auto const tap = MakeShared<ProgressTap>(Separated(decoder, *factory), progress);
    auto const meter = LevelMeter::Create(tap);
    auto const detector = factory->Dedicated(Proc::FilterSlots::VOLUME_DETECT, Proc::ImplNames::DEFAULT)();
    LevelReport report;
    try {
        // The detector reads through the meter, so that all is read once.
        detector->Detect(meter);
        while (meter->Read()) continue;
    } catch (Exception const& failure) {
        TARSEL_THROW(Proc::ProcException, file->GetPath() + ": " + StreamName(info) + ": " + failure.what());
    }
    report.channels = meter->GetChannels();
    report.warnings = file->GetWarnings();
    if (report.channels.empty()) {
        report.channels.resize(static_cast<std::size_t>(decoder->GetFormatCodec()->GetSampleInfo().GetChannelCount()));
        report.warnings.push_back(file->GetPath() + ": " + StreamName(info) + " is empty");
    }
    report.all = meter->GetLevel();
    report.quiet = detector->IsQuiet();
    return report;
}

}  // namespace Tarsel::Host
