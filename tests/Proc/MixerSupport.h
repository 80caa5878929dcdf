#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "Proc/Filters/Filters/FilterAudioMixer.h"
#include "tests/support/ConformingFactory.h"
#include "tests/support/ScriptedStream.h"
#include "tests/support/SoundBlocks.h"

namespace Tarsel::Test {

inline Conf::SampleInfo const MONO_S16{Conf::SAMPLE_FORMAT_S16, 48000, Conf::CHANNEL_LAYOUT_MONO};
inline Conf::SampleInfo const STEREO_S16{Conf::SAMPLE_FORMAT_S16, 48000, Conf::CHANNEL_LAYOUT_STEREO};
inline Conf::SampleInfo const STEREO_FLTP{Conf::SAMPLE_FORMAT_FLTP, 48000, Conf::CHANNEL_LAYOUT_STEREO};

/// A mixer over the plain filters of `ConformingFactory`.
struct TestMixer {
    std::unique_ptr<ConformingPlan> const plan = std::make_unique<ConformingPlan>();
    iptr<Proc::IFilterFactory const> const factory = MakeShared<ConformingFactory>(*plan);
    iptr<Proc::IFilterAudioMixer> const mixer = Proc::FilterAudioMixer::Create(factory);

    Proc::IFilterAudioMixer* operator->() const { return mixer.get(); }
    Proc::IFilterAudioMixer& operator*() const { return *mixer; }
    std::vector<std::string> Calls() const { return plan->log.Take(); }
};

/// A stream of these blocks; its format is that of `info`.
inline iptr<ScriptedAudio> MakeStream(Conf::SampleInfo const& info, std::vector<ScriptedAudio::Step> const& steps) {
    auto stream = ScriptedAudio::Create(steps);
    stream->format->SetSampleInfo(info);
    return stream;
}

/// A stream of a format alone.
inline iptr<ScriptedAudio> MakeStream(Conf::SampleInfo const& info) {
    return MakeStream(info, {});
}

/// A stream of one block that holds `level` everywhere.
inline iptr<ScriptedAudio> MakeLevel(double level, int count = 4, Conf::SampleInfo const& info = MONO_S16) {
    return MakeStream(info, {MakeLevelSound(info, 0, count, level)});
}

/// Blocks of these counts end to end from `time`, whose samples are `value(channel, index)`, the index running on.
inline std::vector<ScriptedAudio::Step> MakeRun(Conf::SampleInfo const& info, std::vector<int> const& counts,
                                                std::function<double(int, int64)> const& value, int64 time = 0) {
    std::vector<ScriptedAudio::Step> steps;
    int64 done = 0;
    for (int const count : counts) {
        int64 const start = Proc::SampleCount2Duration(done, info.GetSampleRate());
        auto const block =
            MakeSound(info, AddTime(time, start), count, [&](int channel, int i) { return value(channel, done + i); });
        done += count;
        block->SetDuration(SubTime(Proc::SampleCount2Duration(done, info.GetSampleRate()), start));
        steps.emplace_back(block);
    }
    return steps;
}

/// A stream of blocks of these counts, `value(channel, index)` in each sample.
inline iptr<ScriptedAudio> MakeRunStream(Conf::SampleInfo const& info, std::vector<int> const& counts,
                                         std::function<double(int, int64)> const& value, int64 time = 0) {
    return MakeStream(info, MakeRun(info, counts, value, time));
}

/// Counts of samples of blocks.
inline std::vector<int> CountsOf(std::vector<iptr<Proc::IDataAudio>> const& blocks) {
    std::vector<int> counts;
    for (auto const& block : blocks) counts.push_back(block->GetSampleCount());
    return counts;
}

/// Times of blocks.
inline std::vector<int64> TimesOf(std::vector<iptr<Proc::IDataAudio>> const& blocks) {
    std::vector<int64> times;
    for (auto const& block : blocks) times.push_back(block->GetTime());
    return times;
}

}  // namespace Tarsel::Test
