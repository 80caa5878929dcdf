#include "host/effects/AudioFormatter.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/CopySamples.h"
#include "contracts/Proc/DataAudioFF.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

constexpr int64 EVERYTHING = std::numeric_limits<int64>::max();

/// The nearest sample to a time; no value where there is none.
int64 SampleAt(int64 time, int rate) {
    return AvRescale(time, rate, SECOND);
}

/// The most samples that one block can hold.
int64 LargestBlock(Conf::SampleInfo const& info) {
    return std::numeric_limits<int>::max() / info.GetSampleSizePerPlane();
}

}  // namespace

AudioFormatter::~AudioFormatter() = default;

void AudioFormatter::Initialize(Core::Property const& property) {
    if (property.Name() != CLASS_ID)
        TARSEL_THROW(AlgorithmException, "Object was initialized with incorrect class (" + property.Name() + ")!");
}

void AudioFormatter::Reset(int64 time) {
    runs.clear();
    taken = 0;
    isTimed = HasValue(time);
    clock.Reset(isTimed ? time : 0);
    rate = 0;
}

void AudioFormatter::Push(iptr<IDataAudio> const& block) {
    if (!block) TARSEL_THROW(std::invalid_argument, "block is NULL");
    Conf::SampleInfo const info = block->GetSampleInfo();
    if (info.GetSampleRate() <= 0 || info.GetPlanesCount() <= 0)
        TARSEL_THROW(AlgorithmException, "Can't cut a block of samples without a format");
    if (!isTimed && HasValue(block->GetTime())) {
        // What is held in front of it ends where it begins.
        int64 start = block->GetTime();
        for (Run const& run : runs) start = SubTime(start, SampleCount2Duration(run.held, run.info.GetSampleRate()));
        isTimed = true;
        clock.Reset(start);
        rate = 0;
    }
    if (block->GetSampleCount() <= 0) return;
    if (runs.empty() || runs.back().info != info) runs.push_back({info, {}, 0});
    runs.back().blocks.push_back(block);
    runs.back().held += block->GetSampleCount();
}

AudioFormatter::Piece AudioFormatter::Measure(int64 duration) const {
    if (duration <= 0) return {EVERYTHING, NO_VALUE};
    // Steps of less than a sample would fall behind the samples: the clock goes by those instead.
    if (duration < SECOND && duration * rate < SECOND) return {1, NO_VALUE};
    int64 const end = AddTime(clock.GetTime(), duration);
    int64 const rough = SampleAt(duration, rate);
    if (!HasValue(rough)) return {EVERYTHING, NO_VALUE};
    int64 const exact = SubTime(SampleAt(end, rate), sampleIndex);
    // Where the clock has run into the end of all times there is no grid any more.
    if (!HasValue(exact) || exact < rough - 1 || exact > rough + 1) return {rough, NO_VALUE};
    return {std::max<int64>(exact, 1), end};
}

iptr<IDataAudio> AudioFormatter::Pop(int64 duration, bool flush) {
    if (runs.empty()) return nullptr;
    Conf::SampleInfo const info = runs.front().info;
    if (rate != info.GetSampleRate()) {
        rate = info.GetSampleRate();
        sampleIndex = SampleAt(clock.GetTime(), rate);
    }
    Piece const piece = Measure(duration);
    int64 const held = runs.front().held;
    int64 const count = std::min({piece.count, held, LargestBlock(info)});
    // Short only at an end: of everything, of a format, of what a block can hold.
    bool const isWhole = count == piece.count || duration <= 0 || count < held;
    if (!isWhole && !flush && runs.size() == 1) return nullptr;
    return Stamp(Take(static_cast<int>(count)), count == piece.count ? piece.end : NO_VALUE);
}

iptr<IDataAudio> AudioFormatter::Take(int count) {
    Run& run = runs.front();
    iptr<IDataAudio> result;
    if (taken == 0 && run.blocks.front()->GetSampleCount() == count) {
        result = std::move(run.blocks.front());
        run.blocks.pop_front();
    } else {
        result = DataAudioFF::CreateBySampleCount(run.info, count);
        TakeInto(*result, count);
    }
    run.held -= count;
    if (run.held == 0) runs.pop_front();
    return result;
}

void AudioFormatter::TakeInto(IDataAudio& result, int count) {
    auto& blocks = runs.front().blocks;
    for (int done = 0; done < count;) {
        IDataAudio& first = *blocks.front();
        int const now = std::min(count - done, first.GetSampleCount() - taken);
        CopySamples(result, done, first, taken, now);
        done += now;
        taken += now;
        if (taken < first.GetSampleCount()) continue;
        blocks.pop_front();
        taken = 0;
    }
}

iptr<IDataAudio> AudioFormatter::Stamp(iptr<IDataAudio> block, int64 end) {
    int64 const begin = clock.GetTime();
    int const count = block->GetSampleCount();
    if (HasValue(end))
        clock.Reset(end);
    else
        clock.AddSamples(rate, static_cast<uint64>(count));
    sampleIndex = AddTime(sampleIndex, count);
    int64 const time = isTimed ? begin : NO_VALUE;
    int64 const duration = SubTime(clock.GetTime(), begin);
    if (block->GetTime() == time && block->GetDuration() == duration) return block;
    block = MakeOwn(std::move(block));
    block->SetTime(time);
    block->SetDuration(duration);
    return block;
}

}  // namespace Tarsel::Host
