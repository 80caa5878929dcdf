#include "host/effects/TempoEffect.h"

#include <rubberband/RubberBandStretcher.h>

#include <algorithm>
#include <cmath>
#include <locale>
#include <sstream>
#include <string>
#include <utility>

#include "contracts/Core/Exception.h"

namespace Tarsel::Host {

using namespace Proc;
using RubberBand::RubberBandStretcher;

namespace {

/// Samples that the engine gets at once, always as many: what it gives depends on it.
constexpr std::size_t CHUNK = 1024;
/// The largest block that is handed out, in samples, far above what usual blocks become; the rest waits for the next
/// call.
constexpr std::size_t LARGEST_BLOCK = std::size_t{1} << 24;
constexpr int MIN_RATE = 8000;
constexpr int MAX_RATE = 192000;
constexpr int MAX_CHANNELS = 8;

/// The finer engine: the faster one misses the pitch of a plain tone by more than 1 % at some tempos.
constexpr int ENGINE_OPTIONS = RubberBandStretcher::OptionProcessRealTime | RubberBandStretcher::OptionEngineFiner |
                               RubberBandStretcher::OptionThreadingNever | RubberBandStretcher::OptionChannelsTogether;

void RequireTempo(double tempo) {
    // Said this way round, so that a tempo that is no number fails, too.
    if (tempo >= TempoEffect::MIN_TEMPO && tempo <= TempoEffect::MAX_TEMPO) return;
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << "Tempo " << tempo << " is out of " << TempoEffect::MIN_TEMPO << " to " << TempoEffect::MAX_TEMPO;
    TARSEL_THROW(EffectException, text.str());
}

void RequireFormat(Conf::SampleInfo const& info) {
    auto const refuse = [](char const* what, int value, int low, int high) {
        TARSEL_THROW(EffectException, std::string(what) + " " + std::to_string(value) + " is out of " +
                                          std::to_string(low) + " to " + std::to_string(high));
    };
    if (info.GetSampleRate() < MIN_RATE || info.GetSampleRate() > MAX_RATE)
        refuse("Sample rate", info.GetSampleRate(), MIN_RATE, MAX_RATE);
    if (info.GetChannelCount() < 1 || info.GetChannelCount() > MAX_CHANNELS)
        refuse("Channel count", info.GetChannelCount(), 1, MAX_CHANNELS);
    if (!IsPlaneFormat(info.GetSampleFormat()))
        TARSEL_THROW(EffectException,
                     "The effect can't process samples of format " + std::to_string(info.GetSampleFormat()));
}

}  // namespace

TempoEffect::TempoEffect() = default;
TempoEffect::~TempoEffect() = default;

void TempoEffect::Initialize(Settings const& newSettings) {
    auto const& own = dynamic_cast<SettingsEffectTempo const&>(newSettings);
    RequireTempo(own.GetTempo());
    settings = own;
    ResetEffectState();
}

void TempoEffect::Initialize(Core::Property const& property) {
    Initialize(Property2SettingsEffectTempo(property));
}

Core::Property TempoEffect::GetSettings() {
    return Settings2Property(settings);
}

Core::Property TempoEffect::GetStatistic() {
    return Core::MakeStatistics("Tarsel::Host::TempoEffect::GetStatistic", 0, blocksGiven);
}

void TempoEffect::ResetEffectState() {
    engine.reset();
    samplesIn = 0;
    samplesOut = 0;
    held.clear();
    ready.clear();
    readyFrom = 0;
}

int TempoEffect::GetProcessingFrameType() {
    return IDataVideo::FRAME_ALLOC_ANY;
}

void TempoEffect::Process(iptr<IDataAudio>& item) {
    if (settings.GetTempo() == 1.0) {
        if (item) ++blocksGiven;
        return;
    }
    if (item)
        Feed(*item);
    else
        Drain();
    item = TakeBlock();
    if (item) ++blocksGiven;
}

void TempoEffect::Open(Conf::SampleInfo const& format) {
    RequireFormat(format);
    if (!ready.empty() && format != info)
        TARSEL_THROW(EffectException, "The format of the sound changes in the middle of a stream");
    info = format;
    engine = std::make_unique<RubberBandStretcher>(static_cast<std::size_t>(info.GetSampleRate()),
                                                   static_cast<std::size_t>(info.GetChannelCount()), ENGINE_OPTIONS,
                                                   1.0 / settings.GetTempo());
    engine->setMaxProcessSize(CHUNK);
    samplesIn = 0;
    samplesOut = 0;
    // The engine's windows reach to both sides: it is told of silence in front of the sound, and then what it gives for
    // that silence is dropped.
    delay = engine->getStartDelay();
    auto const channels = static_cast<std::size_t>(info.GetChannelCount());
    scratch.resize(channels);
    SamplePlanes const silence(channels, std::vector<float>(CHUNK));
    std::size_t const wanted = engine->getPreferredStartPad();
    std::size_t const chunks = (wanted + CHUNK - 1) / CHUNK;
    auto const surplus = static_cast<double>(chunks * CHUNK - wanted);
    delay += static_cast<std::size_t>(std::llround(surplus / settings.GetTempo()));
    for (std::size_t i = 0; i < chunks; ++i) Push(silence, 0);
    held.assign(channels, {});
}

void TempoEffect::Feed(IDataAudio& block) {
    if (!engine) {
        Open(block.GetSampleInfo());
    } else if (block.GetSampleInfo() != info) {
        TARSEL_THROW(EffectException, "The format of the sound changes in the middle of a stream");
    }
    ReadPlanes(block, scratch);
    samplesIn += block.GetSampleCount();
    for (std::size_t i = 0; i < held.size(); ++i) held[i].insert(held[i].end(), scratch[i].begin(), scratch[i].end());
    std::size_t first = 0;
    for (; held.front().size() - first >= CHUNK; first += CHUNK) Push(held, first);
    for (auto& plane : held) plane.erase(plane.begin(), plane.begin() + static_cast<std::ptrdiff_t>(first));
}

void TempoEffect::Drain() {
    if (!engine) return;
    for (auto& plane : held) plane.resize(CHUNK);
    Push(held, 0);
    for (auto& plane : held) plane.assign(CHUNK, 0.0F);
    // What the engine holds is worth its delay and a window; several times that is more than it can ever want.
    double const span = static_cast<double>(engine->getStartDelay()) * (1.0 + settings.GetTempo());
    auto const limit = static_cast<std::size_t>(4 * span) / CHUNK + 64;
    int64 const target = GetTarget();
    for (std::size_t i = 0; i < limit && samplesOut < target; ++i) Push(held, 0);
    auto const missing = static_cast<std::size_t>(target - samplesOut);
    ready.resize(held.size());
    for (auto& plane : ready) plane.resize(plane.size() + missing);
    samplesOut = target;
    engine.reset();
}

void TempoEffect::Push(SamplePlanes const& planes, std::size_t first) {
    std::vector<float const*> input;
    for (auto const& plane : planes) input.push_back(plane.data() + first);
    engine->process(input.data(), CHUNK, false);
    Collect();
}

void TempoEffect::Collect() {
    std::vector<float*> output(scratch.size());
    auto const take = [&](SamplePlanes& planes, std::size_t from, std::size_t count) {
        for (std::size_t i = 0; i < planes.size(); ++i) output[i] = planes[i].data() + from;
        return engine->retrieve(output.data(), count);
    };
    for (int available = engine->available(); available > 0 && delay > 0; available = engine->available()) {
        std::size_t const count = std::min({static_cast<std::size_t>(available), delay, CHUNK});
        for (auto& plane : scratch) plane.resize(CHUNK);
        std::size_t const taken = take(scratch, 0, count);
        if (taken == 0) return;
        delay -= taken;
    }
    int const available = engine->available();
    int64 const wanted = std::min<int64>(available, GetTarget() - samplesOut);
    if (delay > 0 || wanted <= 0) return;
    ready.resize(scratch.size());
    std::size_t const before = ready.front().size();
    for (auto& plane : ready) plane.resize(before + static_cast<std::size_t>(wanted));
    std::size_t const taken = take(ready, before, static_cast<std::size_t>(wanted));
    for (auto& plane : ready) plane.resize(before + taken);
    samplesOut += static_cast<int64>(taken);
}

iptr<IDataAudio> TempoEffect::TakeBlock() {
    std::size_t const waiting = ready.empty() ? 0 : ready.front().size() - readyFrom;
    if (waiting == 0) {
        ready.clear();
        readyFrom = 0;
        return nullptr;
    }
    std::size_t const count = std::min(waiting, LARGEST_BLOCK);
    iptr<IDataAudio> block = WritePlanes(ready, readyFrom, static_cast<int>(count), info);
    readyFrom += count;
    if (count == waiting) {
        ready.clear();
        readyFrom = 0;
    }
    return block;
}

int64 TempoEffect::GetTarget() const {
    return std::llround(static_cast<double>(samplesIn) / settings.GetTempo());
}

}  // namespace Tarsel::Host
