#include "host/media/ContinuousAudio.h"

#include <algorithm>
#include <utility>

#include "contracts/Proc/DataAudioFF.h"

namespace Tarsel::Host {

namespace {

/// Silence comes in blocks of that length at most, in microseconds.
constexpr int64 SILENT_BLOCK = 100000;

}  // namespace

iptr<ContinuousAudio> ContinuousAudio::Create(iptr<Proc::IStreamAudio> const& source, Start start) {
    return iptr<ContinuousAudio>(new ContinuousAudio(source, start));
}

ContinuousAudio::ContinuousAudio(iptr<Proc::IStreamAudio> const& samples, Start start)
    : CodecStream(samples), info(source->GetFormatCodec()->GetSampleInfo()), start(start), converter(info) {}

void ContinuousAudio::Enter(Proc::IStreamVisitor& visitor) {
    Proc::Visitors::Visit(visitor, "ContinuousAudio", Proc::Visitors::FRAME_TYPE_FILTER, nullptr);
}

void ContinuousAudio::AddStatistics(Core::Property& node) const {
    node.SetChild("Filled", int64{filled});
    node.SetChild("Cut", int64{cut});
}

bool ContinuousAudio::Fetch() {
    while (!waiting) {
        waiting = source->Read();
        if (!waiting) return false;
        if (waiting->GetSampleCount() <= 0) waiting = nullptr;
    }
    return true;
}

iptr<Proc::IDataAudio> ContinuousAudio::Wrap(FramePtr frame) {
    if (!frame || frame->nb_samples == 0) return nullptr;
    return Proc::DataAudioFF::TakeFrame(frame.release(), NO_VALUE);
}

iptr<Proc::IDataAudio> ContinuousAudio::Convert(iptr<Proc::IDataAudio> block) {
    lastInfo = block->GetSampleInfo();
    if (*lastInfo == info) return block;
    return Wrap(converter.Convert(FramePtr(av_frame_clone(block->GetAVFrame()))));
}

iptr<Proc::IDataAudio> ContinuousAudio::MakeSilence(int64 gap) {
    int const rate = info.GetSampleRate();
    int64 const samples = std::max<int64>(Proc::Duration2SampleCount(std::min(gap, SILENT_BLOCK), rate), 1);
    iptr<Proc::IDataAudio> block = Proc::DataAudioFF::CreateBySampleCount(info, static_cast<int>(samples));
    block->Silence();
    filled += block->GetDuration();
    return block;
}

iptr<Proc::IDataAudio> ContinuousAudio::Give(iptr<Proc::IDataAudio> block) {
    int64 const begin = count.GetTime();
    count.AddSamples(info.GetSampleRate(), static_cast<uint64>(block->GetSampleCount()));
    int64 const duration = SubTime(count.GetTime(), begin);
    if (block->GetTime() == begin && block->GetDuration() == duration) return block;
    // The times of a container are rounded; a block that others hold stays as it is.
    block = Proc::MakeOwn(std::move(block));
    block->SetTime(begin);
    block->SetDuration(duration);
    return block;
}

iptr<Proc::IDataAudio> ContinuousAudio::ReadNext() {
    while (Fetch()) {
        // Another rate: what the converter still holds of the old one goes first.
        bool const changed = lastInfo && waiting->GetSampleInfo() != *lastInfo;
        if (changed && count.isInit()) {
            iptr<Proc::IDataAudio> rest = Wrap(converter.Drain());
            converter.Reset();
            lastInfo.reset();
            if (rest) return Give(std::move(rest));
        }
        if (!count.isInit()) {
            exact = start == Start::AtSeek;
            if (exact)
                count.Reset(first);
            else
                count.Reset(HasValue(waiting->GetTime()) ? waiting->GetTime() : 0);
        }
        int64 const off = HasValue(waiting->GetTime()) ? SubTime(waiting->GetTime(), count.GetTime()) : 0;
        int64 const tolerance = GetTolerance();
        if (off > tolerance) return Give(MakeSilence(off));
        iptr<Proc::IDataAudio> block = std::exchange(waiting, nullptr);
        if (off < -tolerance) {
            int64 const overlap = Proc::Duration2SampleCount(-off, block->GetSampleRate());
            int64 const samples = std::min<int64>(overlap, block->GetSampleCount());
            cut += Proc::SampleCount2Duration(samples, block->GetSampleRate());
            if (samples == block->GetSampleCount()) continue;
            block = Proc::MakeOwn(std::move(block));
            block->CutSamplesBegin(static_cast<int>(samples));
        }
        exact = false;
        if (iptr<Proc::IDataAudio> converted = Convert(std::move(block))) return Give(std::move(converted));
    }
    iptr<Proc::IDataAudio> rest = count.isInit() ? Wrap(converter.Drain()) : nullptr;
    return rest ? Give(std::move(rest)) : nullptr;
}

int64 ContinuousAudio::GetTolerance() const {
    return exact ? std::min(SECOND / std::max(info.GetSampleRate(), 1), TOLERANCE) : TOLERANCE;
}

void ContinuousAudio::RequestSeek(int64 target, iptr<IRefCountable> seekContext) {
    asked = target;
    CodecStream::RequestSeek(target, std::move(seekContext));
}

void ContinuousAudio::Restart(int64 target) {
    // A seek past the end goes to the end, whose samples aren't those of the position.
    if (HasValue(target)) first = std::max<int64>(HasValue(asked) ? asked : target, 0);
    if (HasValue(target)) asked = NO_VALUE;
    converter.Reset();
    lastInfo.reset();
    count.Reset(NO_VALUE);
    waiting = nullptr;
}

}  // namespace Tarsel::Host
