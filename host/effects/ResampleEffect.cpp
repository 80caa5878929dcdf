#include "host/effects/ResampleEffect.h"

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "contracts/Core/Exception.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

/// The wanted format in one spelling of its unset words.
Conf::SampleInfo Wanted(Conf::SampleInfo const& info) {
    Conf::SampleFormats const format = info.GetSampleFormat();
    if (format != Conf::SAMPLE_FORMAT_NONE && Conf::BytesPerSample(format) == 0)
        TARSEL_THROW(EffectException, "There is no format " + std::to_string(format) + " of samples");
    return {format, info.GetSampleRate() > 0 ? info.GetSampleRate() : -1, info.GetChannelLayout()};
}

/// The wanted format, with the words of `source` where it has none of its own.
Conf::SampleInfo TargetOf(Conf::SampleInfo const& wanted, Conf::SampleInfo const& source) {
    bool const format = wanted.GetSampleFormat() != Conf::SAMPLE_FORMAT_NONE;
    bool const layout = wanted.GetChannelLayout() != Conf::CHANNEL_LAYOUT_NONE;
    return {format ? wanted.GetSampleFormat() : source.GetSampleFormat(),
            wanted.GetSampleRate() > 0 ? wanted.GetSampleRate() : source.GetSampleRate(),
            layout ? wanted.GetChannelLayout() : source.GetChannelLayout()};
}

/// The block in another format, whole: it is a run of its own.
std::vector<iptr<IDataAudio>> ConvertWhole(iptr<IDataAudio> const& block, Conf::SampleInfo const& target) {
    if (block->GetSampleInfo() == target) return {block};
    ResampleRun run(block->GetSampleInfo(), target);
    auto result = run.Feed(*block);
    if (auto rest = run.Finish()) result.push_back(std::move(rest));
    return result;
}

}  // namespace

ResampleEffect::ResampleEffect() = default;
ResampleEffect::~ResampleEffect() = default;

void ResampleEffect::Initialize(Settings const& newSettings) {
    auto const& own = dynamic_cast<SettingsResample const&>(newSettings);
    settings.SetSampleInfo(Wanted(own.GetSampleInfo()));
    ResetEffectState();
}

void ResampleEffect::Initialize(Core::Property const& property) {
    Initialize(Property2SettingsResample(property));
}

Core::Property ResampleEffect::GetSettings() {
    return Settings2Property(settings);
}

Core::Property ResampleEffect::GetStatistic() {
    return Core::MakeStatistics("Tarsel::Host::ResampleEffect::GetStatistic", 0, blocksGiven);
}

void ResampleEffect::ResetEffectState() {
    run.reset();
    waiting.clear();
}

int ResampleEffect::GetProcessingFrameType() {
    return IDataVideo::FRAME_ALLOC_ANY;
}

void ResampleEffect::SetSampleInfo(Conf::SampleInfo const& info) {
    Conf::SampleInfo const wanted = Wanted(info);
    if (wanted == settings.GetSampleInfo()) return;
    EndRun();
    std::deque<Waiting> converted;
    for (Waiting const& entry : waiting)
        for (auto& block : ConvertWhole(entry.block, TargetOf(wanted, entry.source)))
            converted.push_back({std::move(block), entry.source});
    waiting = std::move(converted);
    settings.SetSampleInfo(wanted);
}

void ResampleEffect::Process(iptr<IDataAudio>& block) {
    // The ordinary case of a stream that has the wanted format already: nothing is held that it could overtake.
    if (block && !run && waiting.empty() &&
        TargetOf(settings.GetSampleInfo(), block->GetSampleInfo()) == block->GetSampleInfo()) {
        ++blocksGiven;
        return;
    }
    if (block)
        Feed(block);
    else
        EndRun();
    block = nullptr;
    if (waiting.empty()) return;
    block = std::move(waiting.front().block);
    waiting.pop_front();
    ++blocksGiven;
}

void ResampleEffect::Feed(iptr<IDataAudio> const& block) {
    Conf::SampleInfo const source = block->GetSampleInfo();
    if (run && (run->GetSource() != source || !run->Continues(*block))) EndRun();
    Conf::SampleInfo const target = TargetOf(settings.GetSampleInfo(), source);
    if (source == target) {
        waiting.push_back({block, source});
        return;
    }
    if (!run) run = std::make_unique<ResampleRun>(source, target);
    for (auto& converted : run->Feed(*block)) waiting.push_back({std::move(converted), source});
}

void ResampleEffect::EndRun() {
    if (!run) return;
    if (auto rest = run->Finish()) waiting.push_back({std::move(rest), run->GetSource()});
    run.reset();
}

void ResampleEffect::AdaptFormatCodec(iptr<Conf::IFormatCodec>& format) {
    if (!format) TARSEL_THROW(std::invalid_argument, "format is NULL");
    auto* const audio = dynamic_cast<Conf::IFormatCodecAudio*>(format.get());
    if (!audio) TARSEL_THROW(EffectException, "The effect can't adapt a format of this kind");
    audio->SetSampleInfo(TargetOf(settings.GetSampleInfo(), audio->GetSampleInfo()));
}

}  // namespace Tarsel::Host
