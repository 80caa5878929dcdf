#include "Proc/Filters/Filters/FilterAudioVolume.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "Proc/Algorithms/AudioAlg.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataAudioFF.h"
#include "contracts/Proc/IStreamVisitor.h"

namespace Tarsel::Proc {

namespace {

/// A factor that lies nearer to 1 leaves the block as it is.
constexpr double SAME_BAND = 0.001;
/// A peak that reaches this keeps the automatic gain from rising.
constexpr double LOUD_PEAK = 0.95;
/// How much the automatic gain rises in a second of sound.
constexpr double RISE_PER_SECOND = 0.7;
constexpr double LARGEST_AUTO_GAIN = 4.0;

iptr<IDataAudio> MakeScaled(iptr<IDataAudio> const& block, double factor) {
    iptr<IDataAudio> scaled = DataAudioFF::CreateBySampleCount(block->GetSampleInfo(), block->GetSampleCount());
    scaled->SetTime(block->GetTime());
    scaled->SetDuration(block->GetDuration());
    AudioBlockView dest(scaled);
    VolumizeAudio(dest, AudioBlockView(block), factor);
    return scaled;
}

}  // namespace

FilterAudioVolume::FilterAudioVolume(iptr<IStreamAudio> source) : StreamImpl(std::move(source), false) {}

void FilterAudioVolume::Initialize(Core::Property const& property) {
    UpdateSettings(property);
}

void FilterAudioVolume::Initialize(Settings const& newSettings) {
    Apply(dynamic_cast<SettingsFilterAudioVolume const&>(newSettings));
}

void FilterAudioVolume::UpdateSettings(Core::Property const& property) {
    Apply(Property2Settings(property));
}

void FilterAudioVolume::Apply(SettingsFilterAudioVolume const& newSettings) {
    if (!std::isfinite(newSettings.GetVolume())) TARSEL_THROW(FilterException, "Wrong settings!");
    Core::MutexLock const lock(settingsMutex);
    autoGain = 1.0;
    settings = newSettings;
}

Core::Property FilterAudioVolume::GetSettings() {
    Core::MutexLock const lock(settingsMutex);
    return Settings2Property(settings);
}

Core::Property FilterAudioVolume::GetStatistic() {
    Core::Property result = parentStream->GetStatistic();
    Core::MutexLock const lock(settingsMutex);
    return result.Add(
        Core::MakeStatistics("Tarsel::Proc::FilterAudioVolume::GetStatistic", processingTime, blocksRead));
}

void FilterAudioVolume::AcceptInternal(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, "FilterAudioVolume", Visitors::FRAME_TYPE_FILTER, nullptr);
}

iptr<IDataAudio> FilterAudioVolume::ReadInternal() {
    if (IsEndOfStream()) return nullptr;
    iptr<IDataAudio> block = parentStream->Read();
    if (!block) return nullptr;
    double const factor = NextFactor(block);
    if (std::abs(factor - 1.0) >= SAME_BAND) block = MakeScaled(block, factor);
    Core::MutexLock const lock(settingsMutex);
    ++blocksRead;
    return block;
}

double FilterAudioVolume::NextFactor(iptr<IDataAudio> const& block) {
    // One hold of the lock for reading and writing the gain: new settings come before this block or behind it.
    Core::MutexLock const lock(settingsMutex);
    if (!settings.IsAutoLevel()) return settings.GetVolume();
    FollowPeak(EstimateLevel(AudioBlockView(block)).first, block->GetDuration());
    return settings.GetVolume() * autoGain;
}

void FilterAudioVolume::FollowPeak(double peak, int64 duration) {
    double const maxGain = 1.0 / peak;  // infinite for a silent block
    if (autoGain > maxGain) {
        autoGain = maxGain;
    } else if (autoGain * peak < LOUD_PEAK) {
        // A block without a duration, or with one below 0, raises nothing.
        auto const length = static_cast<double>(std::max<int64>(duration, 0));
        autoGain = autoGain + length * RISE_PER_SECOND / 1000000.0;
    }
    autoGain = std::min(autoGain, LARGEST_AUTO_GAIN);
}

void FilterAudioVolume::RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) {
    {
        Core::MutexLock const lock(settingsMutex);
        autoGain = 1.0;
    }
    parentStream->RequestSeek(target, seekContext);
}

}  // namespace Tarsel::Proc
