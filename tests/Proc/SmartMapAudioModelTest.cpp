// Random maps of sound against a plain model, and the count of samples over long timelines.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/Proc/SmartMapAudioSupport.h"
#include "tests/support/Draw.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using TestSupport::Draw;

/// A source of `MakeCounting` behind a converter that does nothing and a cutter, and its record.
struct ModelSound {
    int64 total = 0;
    int base = 0;
    int64 begin = 0;
    int64 duration = 0;
    int order = 0;

    int64 clock = 0;
    int64 index = 0;
    bool isSought = false;
    bool isDry = false;
    std::vector<std::string> log;

    int64 End() const { return begin + duration; }
    bool Holds(int64 position) const { return begin <= position && position < End(); }
    void SeekTo(int64 target, int rate) {
        log.push_back("RequestSeek(" + std::to_string(target) + ")");
        log.push_back("DoSeek");
        isSought = true;
        // It lands on the block that holds the position.
        for (index = 0; index < total; index += 1000)
            if (SampleCount2Duration(std::min(index + 1000, total), rate) > target) break;
        index = std::min(index, total);
        clock = SampleCount2Duration(index, rate);
    }
    void Release() {
        log.push_back("ReleaseInternalData");
        isSought = false;
    }
};

struct ModelSoundEffect {
    std::string name;
    int64 begin = 0;
    int64 end = 0;
};

class SoundModel {
  public:
    explicit SoundModel(int rate) : rate(rate) {}

    std::vector<ModelSound> sources;
    std::vector<ModelSoundEffect> effects;
    std::vector<std::string> effectLog;
    int64 position = 0;

    int64 GetDuration() const {
        int64 latest = sources.empty() ? 0 : sources.front().End();
        for (ModelSound const& source : sources) latest = std::max(latest, source.End());
        return latest;
    }
    void SeekTo(int64 target) {
        target = std::max<int64>(target, 0);
        if (target >= GetDuration()) target = GetDuration() - 1;
        for (ModelSound& source : sources) {
            source.isDry = false;
            if (source.Holds(target))
                source.SeekTo(target - source.begin, rate);
            else
                source.Release();
        }
        entered.clear();
        for (ModelSoundEffect const& effect : effects) effectLog.push_back(effect.name + ": reset");
        position = target;
    }
    std::string Read() {
        double const sampleTime = 1000000.0 / rate;
        while (!sources.empty() && position < GetDuration()) {
            int64 slice = NextTimePoint() - position;
            if (slice >= 200000) slice = 100000;
            if (static_cast<double>(slice) < sampleTime) {
                Advance(slice);
                continue;
            }
            bool isLost = false;
            std::vector<std::string> blocks;
            auto const all = Sounding();
            if (all.empty()) return "null";
            for (ModelSound* const source : all) {
                auto const block = ReadBlock(*source, slice, sampleTime);
                isLost = isLost || !block;
                if (!block) continue;
                if (source->End() <= position + slice) source->Release();
                blocks.push_back(*block);
            }
            if (isLost) {
                Advance(slice);
                continue;
            }
            std::string const result = blocks.back();
            ApplyEffects(blocks);
            Advance(slice);
            return result;
        }
        return "null";
    }

  private:
    std::vector<ModelSound*> Sounding() {
        std::vector<ModelSound*> sorted;
        for (ModelSound& source : sources)
            if (source.Holds(position)) sorted.push_back(&source);
        std::stable_sort(sorted.begin(), sorted.end(), [](auto* a, auto* b) { return a->begin < b->begin; });
        std::stable_sort(sorted.begin(), sorted.end(), [](auto* a, auto* b) { return a->order < b->order; });
        return sorted;
    }
    int64 NextTimePoint() const {
        int64 next = GetDuration();
        auto const meet = [&](int64 point) {
            if (point > position) next = std::min(next, point);
        };
        for (ModelSound const& source : sources) {
            meet(source.begin);
            meet(source.End());
        }
        for (ModelSoundEffect const& effect : effects) {
            meet(effect.begin);
            meet(effect.end);
        }
        return next;
    }
    std::optional<std::string> ReadBlock(ModelSound& source, int64 slice, double sampleTime) {
        int64 const into = position - source.begin;
        if (static_cast<double>(into) < sampleTime) {
            source.isDry = false;
            source.SeekTo(0, rate);
        } else if (!source.isDry && !source.isSought) {
            source.SeekTo(into, rate);
        }
        if (source.isDry) return std::nullopt;
        if (source.index == source.total) {
            source.isDry = true;
            source.Release();
            return std::nullopt;
        }
        source.clock += slice;
        int64 const wanted = AvRescale(source.clock, rate, SECOND) - source.index;
        int64 const count = std::min(std::max<int64>(wanted, 1), source.total - source.index);
        std::string const block =
            std::to_string(position) + "+" + std::to_string(count) + " #" + std::to_string(source.base + source.index);
        source.index += count;
        return block;
    }
    void ApplyEffects(std::vector<std::string> blocks) {
        for (std::size_t i = 0; i < effects.size(); ++i) {
            if (effects[i].begin > position || position >= effects[i].end) continue;
            entered.insert(i);
            std::string text = effects[i].name + ":";
            for (std::string const& block : blocks) text += (text.back() == ':' ? " " : ", ") + block;
            effectLog.push_back(text);
            blocks = {blocks.back()};
        }
    }
    void Advance(int64 step) {
        position += step;
        std::set<std::size_t> const before = entered;
        for (std::size_t const i : before) {
            if (position < effects[i].end) continue;
            effectLog.push_back(effects[i].name + ": reset");
            entered.erase(i);
        }
    }

    int const rate;
    std::set<std::size_t> entered;
};

/// A random map and its model.
class SoundPair {
  public:
    SoundPair(Draw& draw, int rate) : map(rate), model(rate), draw(draw), rate(rate) {}

    void AddSource() {
        ModelSound source;
        source.total = 1 + draw.Below(static_cast<u32>(rate));
        source.base = 10000000 * static_cast<int>(scripts.size() + 1);
        source.begin = draw.Below(2000000);
        source.order = static_cast<int>(draw.Below(4)) - 1;
        scripts.push_back(MakeCounting(rate, source.total, source.base));
        source.duration = scripts.back()->duration;
        if (draw.Below(4) == 0) source.duration = draw.Below(1500000);
        scripts.back()->duration = source.duration;
        source.log.push_back("ReleaseInternalData");
        map.Add(scripts.back(), source.begin, source.order);
        model.sources.push_back(std::move(source));
    }
    void AddEffect() {
        std::string const name = "effect " + std::to_string(effects.size());
        int64 const begin = draw.Below(2500000);
        int64 const end = begin + 1 + draw.Below(draw.Flag() ? 40 : 700000);
        effects.push_back(MakeShared<NotingSoundEffect>(name));
        effects.back()->calls = &effectLog;
        map.Add(effects.back(), begin, end);
        model.effects.push_back({name, begin, end});
    }
    void MoveSource() {
        std::size_t const i = draw.Below(static_cast<u32>(scripts.size()));
        model.sources[i].begin = draw.Below(2000000);
        model.sources[i].isSought = false;
        MapLock const lock(*map);
        map.streams[i]->SetBegin(model.sources[i].begin);
    }
    void SeekTo(int64 target) {
        Seek(*map, target);
        model.SeekTo(target);
    }
    bool Read() {
        std::string const got = ReadText(*map);
        EXPECT_EQ(got, model.Read());
        return got != "null";
    }
    void ExpectEqualCalls() {
        auto const sorted = [](std::vector<std::string> calls) {
            std::sort(calls.begin(), calls.end());
            return calls;
        };
        EXPECT_EQ(sorted(std::exchange(effectLog, {})), sorted(std::exchange(model.effectLog, {})));
        for (std::size_t i = 0; i < scripts.size(); ++i) {
            auto calls = scripts[i]->log.Take();
            std::erase(calls, "FinishSeek");
            std::erase(calls, "Read");
            EXPECT_EQ(calls, std::exchange(model.sources[i].log, {})) << "source " << i;
        }
    }

    AudioMap map;
    SoundModel model;
    std::vector<iptr<ScriptedAudio>> scripts;

  private:
    Draw& draw;
    int const rate;
    std::vector<iptr<NotingSoundEffect>> effects;
    std::vector<std::string> effectLog;
};

TEST(SmartMapAudioModel, AnyMapDeliversWhatAPlainWalkOverAllRecordsDelivers) {
    for (u32 seed = 1; seed <= 200 && !HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Draw draw(seed);
        SoundPair pair(draw, draw.Flag() ? 44100 : 8000);
        for (u32 count = 1 + draw.Below(draw.Below(8) == 0 ? 20 : 5); count > 0; --count) pair.AddSource();
        for (u32 count = draw.Below(6); count > 0; --count) pair.AddEffect();
        for (int round = 0; round < 4; ++round) {
            u32 const duration = static_cast<u32>(pair.model.GetDuration());
            pair.SeekTo(draw.Flag() ? pair.model.sources.front().begin : draw.Below(duration + 20));
            for (int reads = 0; reads < 40 && pair.Read();) ++reads;
            pair.ExpectEqualCalls();
            if (draw.Below(3) == 0) pair.MoveSource();
            if (draw.Below(3) == 0) pair.AddEffect();
        }
    }
}

// --- Counts of samples -----------------------------------------------------------------------------------------------

/// All samples of a map, each block where its time says, to the sample.
std::vector<int> ReadSamples(AudioMap& map, int rate) {
    std::vector<int> samples;
    for (auto const& block : ReadAll(*map)) {
        double const at = static_cast<double>(block->GetTime()) * rate / 1000000;
        EXPECT_LT(std::abs(at - static_cast<double>(samples.size())), 1) << "at " << block->GetTime();
        for (int i = 0; i < block->GetSampleCount(); ++i) samples.push_back(static_cast<int>(SampleAt(*block, 0, i)));
    }
    return samples;
}

/// The numbers from 0 on.
std::vector<int> Counting(int64 count) {
    std::vector<int> numbers(static_cast<std::size_t>(count));
    for (std::size_t i = 0; i < numbers.size(); ++i) numbers[i] = static_cast<int>(i);
    return numbers;
}

/// Sources end to end whose edges lie on whole samples, as near as microseconds come to them. Each source has 50
/// samples more than its place.
int64 LaySources(AudioMap& map, Draw& draw, int rate, int count) {
    int64 edge = 0;
    for (int i = 0; i < count; ++i) {
        int64 const next = edge + 1001 + 2 * draw.Below(4000);
        int64 const begin = SampleCount2Duration(edge, rate);
        auto const source = MakeCounting(rate, next - edge + 50, static_cast<int>(edge));
        source->duration = SampleCount2Duration(next, rate) - begin;
        map.Add(source, begin);
        edge = next;
    }
    return edge;
}

TEST(SmartMapAudioModel, AThousandSourcesOfOddLengthsGiveEachSampleOnce) {
    for (int const rate : {44100, 48000, 11025, 192000}) {
        SCOPED_TRACE(rate);
        Draw draw(static_cast<u32>(rate));
        AudioMap map(rate);
        int64 const total = LaySources(map, draw, rate, 1000);
        Seek(*map, 0);
        std::vector<int> const samples = ReadSamples(map, rate);
        ASSERT_EQ(static_cast<int64>(samples.size()), total);
        EXPECT_TRUE(samples == Counting(total)) << "a sample is doubled or lost";
        EXPECT_EQ(map->GetPosition(), SampleCount2Duration(total, rate));
    }
}

TEST(SmartMapAudioModel, EffectsThatCutTheTimelineAnywhereCostNoSample) {
    constexpr int RATE = 44100;
    Draw draw(7);
    AudioMap map(RATE);
    int64 const total = LaySources(map, draw, RATE, 100);
    u32 const duration = static_cast<u32>(map->GetDuration());
    for (int i = 0; i < 200; ++i) {
        int64 const begin = draw.Below(duration);
        map.Add(MakeShared<NotingSoundEffect>(), begin, begin + 1000 + draw.Below(100000));
    }
    Seek(*map, 0);
    // Two cuts may stand within one sample of each other; then that one is skipped, and comes late.
    std::vector<int> const samples = ReadSamples(map, RATE);
    EXPECT_GE(static_cast<int64>(samples.size()), total - 5);
    EXPECT_LE(static_cast<int64>(samples.size()), total);
}

TEST(SmartMapAudioModel, OverOneSourceCutAnywhereTheCountIsThatOfItsLength) {
    for (u32 seed = 1; seed <= 50; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Draw draw(seed);
        int const rate = 8000 + static_cast<int>(draw.Below(90000));
        int64 const length = 300000 + draw.Below(1700000);
        AudioMap map(rate);
        auto const source = MakeCounting(rate, Duration2SampleCount(length, rate) + 100);
        source->duration = length;
        map.Add(source);
        // Cuts are further apart than a sample.
        for (int64 cut = 1000 + draw.Below(40000); cut < length - 1000; cut += 1000 + draw.Below(90000))
            map.Add(MakeShared<NotingSoundEffect>(), cut, length);
        Seek(*map, 0);
        std::vector<int> const samples = ReadSamples(map, rate);
        EXPECT_EQ(static_cast<int64>(samples.size()), Duration2SampleCount(length, rate));
        EXPECT_TRUE(samples == Counting(static_cast<int64>(samples.size())));
    }
}

TEST(SmartMapAudioModel, BlocksTileTheTimeline) {
    for (u32 seed = 1; seed <= 30; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Draw draw(seed);
        AudioMap map(48000);
        LaySources(map, draw, 48000, 20);
        Seek(*map, draw.Below(static_cast<u32>(map->GetDuration())));
        int64 expected = map->GetPosition();
        for (auto const& block : ReadAll(*map)) {
            EXPECT_EQ(block->GetTime(), expected);
            expected = AddTime(block->GetTime(), block->GetDuration());
        }
        EXPECT_EQ(expected, map->GetDuration());
    }
}

TEST(SmartMapAudioModel, ReadingAfterASeekToABlocksBeginGoesOnAsReadingStraightThroughDoes) {
    constexpr int RATE = 48000;
    AudioMap map(RATE);
    // Blocks of 1000 samples, so that a seek to a multiple of 125 ms lands there.
    map.Add(MakeCounting(RATE, 96000)).Add(MakeCounting(RATE, 48000, 1000000), 500000, 1);
    std::vector<std::string> const straight = map.ReadFrom(0);
    EXPECT_THAT(straight, testing::SizeIs(20));
    for (int64 const target : {int64{500000}, int64{1000000}, int64{1500000}}) {
        std::vector<std::string> const behind = map.ReadFrom(target);
        std::vector<std::string> const rest(straight.begin() + target / 100000, straight.end());
        EXPECT_EQ(behind, rest) << target;
    }
}

}  // namespace
}  // namespace Tarsel::Proc
