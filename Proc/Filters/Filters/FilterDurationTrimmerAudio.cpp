#include "Proc/Filters/Filters/FilterDurationTrimmerAudio.h"

#include <utility>

#include "contracts/Proc/DataAudioFF.h"

namespace Tarsel::Proc {

FilterDurationTrimmerAudio::FilterDurationTrimmerAudio(iptr<IStreamAudio> source)
    : FilterDurationTrimmerBase(std::move(source), "FilterDurationTrimmerAudio") {
    // A source that never gives a block is filled with silence of its own kind.
    if (auto const format = parentStream->GetFormatCodec()) sampleInfo = format->GetSampleInfo();
}

void FilterDurationTrimmerAudio::RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) {
    endReached = false;
    audioTime.Reset(target);
    parentStream->RequestSeek(target, seekContext);
}

iptr<IDataAudio> FilterDurationTrimmerAudio::ReadInternal() {
    if (!audioTime.isInit())
        TARSEL_THROW(Exception, "There was no initial seek before reading! Check application logic!");
    if (endReached) return nullptr;
    int64 const duration = GetDuration();
    iptr<IDataAudio> block = NextBlock(duration);
    if (!block && duration > audioTime.GetTime()) block = MakeSilence(duration);
    if (!block) {
        endReached = true;
        return nullptr;
    }
    CountItem();
    audioTime.AddSamples(block->GetSampleRate(), static_cast<uint64>(block->GetSampleCount()));
    return block;
}

iptr<IDataAudio> FilterDurationTrimmerAudio::NextBlock(int64 duration) {
    while (iptr<IDataAudio> block = ReadPlaced()) {
        sampleInfo = block->GetSampleInfo();
        int const verdict = CorrectDataForDT(block, audioTime.GetTime(), duration);
        if (verdict == DT_KEEP) return block;
        if (verdict == DT_BEHIND) break;
    }
    return nullptr;
}

iptr<IDataAudio> FilterDurationTrimmerAudio::MakeSilence(int64 duration) const {
    int const rate = sampleInfo.GetSampleRate();
    int64 count = Duration2SampleCount(SubTime(duration, audioTime.GetTime()), rate);
    if (count >= rate / 5) count = rate / 10;
    if (count <= 0) return nullptr;
    iptr<IDataAudio> block = DataAudioFF::CreateBySampleCount(sampleInfo, static_cast<int>(count));
    block->SetTime(audioTime.GetTime());
    block->Silence();
    return block;
}

}  // namespace Tarsel::Proc
