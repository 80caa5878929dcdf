#include "Proc/Filters/Filters/FilterSpeedUpAudio.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

#include "Proc/Filters/Filters/SpeedMap.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/IStreamVisitor.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsEffectTempo.h"

namespace Tarsel::Proc {

FilterSpeedUpAudio::FilterSpeedUpAudio(iptr<IStreamAudio> source, iptr<IEffectFactory const> const& effectFactory)
    : StreamImpl(std::move(source), false) {
    if (!effectFactory) TARSEL_THROW(std::invalid_argument, "effectFactory is NULL");
    iptr<IEffect> const made = effectFactory->CreateEffect(SettingsEffectTempo::CLASS_ID, ImplNames::DEFAULT);
    effect = dynamic_cast<IOneInputEffectAudio*>(made.get());
    if (!effect)
        TARSEL_THROW(EffectException,
                     std::string("There is no any implementation for ") + SettingsEffectTempo::CLASS_ID);
}

void FilterSpeedUpAudio::Initialize(Core::Property const&) {
    TARSEL_THROW(FilterException, "Method not implemented");
}

void FilterSpeedUpAudio::Initialize(Settings const& newSettings) {
    auto const& own = dynamic_cast<SettingsFilterSpeedUp const&>(newSettings);
    Details::RequireSpeed(own.GetSpeedUp());
    Core::RecursiveMutexLock const guard(lock);
    Apply(own);
}

void FilterSpeedUpAudio::Apply(SettingsFilterSpeedUp const& newSettings) {
    iptr<Conf::IFormatCodecAudio const> const format = parentStream->GetFormatCodec();
    if (!format) TARSEL_THROW(FilterException, "Source format codec must be present");
    effect->Initialize(SettingsEffectTempo(newSettings.GetSpeedUp()));
    settings = newSettings;
    sampleInfo = format->GetSampleInfo();
    audioTime.Reset(NO_VALUE);
}

Core::Property FilterSpeedUpAudio::GetSettings() {
    TARSEL_THROW(FilterException, "Method not implemented");
}

Core::Property FilterSpeedUpAudio::GetStatistic() {
    Core::Property result = parentStream->GetStatistic();
    Core::RecursiveMutexLock const guard(lock);
    return result.Add(
        Core::MakeStatistics("Tarsel::Proc::FilterSpeedUpAudio::GetStatistic", processingTime, blocksGiven));
}

int64 FilterSpeedUpAudio::GetDuration() const {
    int64 const duration = parentStream->GetDuration();
    Core::RecursiveMutexLock const guard(lock);
    return Details::SpeedMap(settings.GetSpeedUp()).ToResult(duration);
}

void FilterSpeedUpAudio::AcceptInternal(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, "FilterSpeedUpAudio", Visitors::FRAME_TYPE_FILTER, nullptr);
}

iptr<IDataAudio> FilterSpeedUpAudio::ReadInternal() {
    Core::RecursiveMutexLock const guard(lock);
    while (!IsEndOfStream()) {
        iptr<IDataAudio> block = parentStream->Read();
        bool const ended = !block;
        if (block && !audioTime.isInit())
            audioTime.Reset(Details::SpeedMap(settings.GetSpeedUp()).ToResult(block->GetTime()));
        effect->Process(block);
        if (block) return Stamp(std::move(block));
        if (ended) return nullptr;
    }
    return nullptr;
}

iptr<IDataAudio> FilterSpeedUpAudio::Stamp(iptr<IDataAudio> block) {
    ++blocksGiven;
    int const rate = sampleInfo.GetSampleRate();
    int64 const start = audioTime.GetTime();
    audioTime.AddSamples(rate, static_cast<uint64>(block->GetSampleCount()));
    int64 const duration = SubTime(audioTime.GetTime(), start);
    bool const same = block->GetSampleRate() == rate && block->GetTime() == start && block->GetDuration() == duration;
    if (same) return block;
    block = MakeOwn(std::move(block));
    block->SetSampleRate(rate);
    block->SetDuration(duration);
    block->SetTime(start);
    return block;
}

void FilterSpeedUpAudio::RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) {
    Core::RecursiveMutexLock const guard(lock);
    Apply(settings);
    int64 sourceTarget = Details::SpeedMap(settings.GetSpeedUp()).ToSource(target);
    int64 const duration = parentStream->GetDuration();
    // The source's last microsecond, so that it still has something to give.
    if (HasValue(duration)) sourceTarget = std::min(sourceTarget, SubTime(duration, 1));
    parentStream->RequestSeek(std::max<int64>(sourceTarget, 0), seekContext);
}

}  // namespace Tarsel::Proc
