// Random stacks of timeline filters over random sources, under random calls, beside plain models of them.
#include <glog/logging.h>
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "Proc/Filters/Filters/FilterDurationTrimmerAudio.h"
#include "Proc/Filters/Filters/FilterDurationTrimmerVideo.h"
#include "Proc/Filters/Filters/FilterFrameRateAdjust.h"
#include "Proc/Filters/Filters/FilterLoop.h"
#include "Proc/Filters/Filters/FilterSeekController.h"
#include "Proc/Filters/Filters/FilterSpeedUpVideo.h"
#include "Proc/Filters/Filters/TFilterJoin.h"
#include "tests/Proc/ReverseSupport.h"
#include "tests/Proc/TimelineModel.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;

/// A stream and the model of it.
struct Pair {
    iptr<IStreamVideo> stream;
    Model::StreamPtr model;
    std::string name;
};

class Builder {
  public:
    explicit Builder(unsigned seed) : random(seed) {}

    int64 Number(int64 low, int64 high) { return std::uniform_int_distribution<int64>(low, high)(random); }
    bool OneIn(int64 count) { return Number(1, count) == 1; }

    /// `depth` filters above each source.
    Pair MakeStack(int depth) {
        if (depth <= 0) return MakeSource(false, OneIn(3));
        if (OneIn(7)) return MakeJoin(depth);
        if (OneIn(7)) return MakeReverse();
        return MakeFilter(MakeStack(depth - 1));
    }
    Pair MakeTrimmer(Pair source) { return MakeTrimmer(std::move(source), Number(1, 500000)); }
    Pair MakeTrimmer(Pair source, int64 duration) {
        Ratio const rate = source.stream->GetFormatCodec()->GetFrameRate();
        int64 const frame = std::max<int64>(1, AvRescale(SECOND, rate.denominator(), rate.numerator()));
        auto const stream = MakeShared<FilterDurationTrimmerVideo>(source.stream);
        stream->Initialize(SettingsFilterDurationTrimmer(duration));
        return {stream, std::make_shared<Model::Trimmer>(source.model, duration, frame),
                "trim " + std::to_string(duration) + " (" + source.name + ")"};
    }
    /// Something short above a tidy source, trimmed to a duration.
    Pair MakeClip(int64 duration) {
        Pair const source = MakeSource(true, OneIn(2));
        return MakeTrimmer(OneIn(3) ? source : MakeFilter(source), duration);
    }
    /// `tidy`: positive lengths, no overlap, nothing without a time; not so: anything.
    Pair MakeSource(bool tidy, bool gapless, bool unknown = false) {
        std::vector<Model::Picture> items;
        std::string name = "source";
        int64 time = tidy || OneIn(2) ? 0 : Number(-50000, 90000);
        for (int64 i = OneIn(12) ? 0 : Number(1, 12); i > 0; --i) {
            int64 duration = OneIn(3) ? 40000 : Number(10000, 60000);
            if (!tidy && OneIn(10)) duration = Number(0, 1);
            Model::Picture item{time, duration, static_cast<int>(items.size())};
            if (unknown && OneIn(6)) item.time = NO_VALUE;
            if (unknown && OneIn(6)) item.duration = NO_VALUE;
            items.push_back(item);
            name += " " + std::to_string(item.time) + "+" + std::to_string(item.duration);
            time += duration;
            if (!gapless && OneIn(4)) time += Number(tidy ? 0 : std::max<int64>(-20000, -duration), 70000);
        }
        // One that lasts, so that a loop over nothing else stays short.
        if (!tidy && !items.empty()) items.front().duration = std::max<int64>(items.front().duration, 10000);
        int64 duration = std::max<int64>(time, tidy ? 1 : 0);
        if (!tidy && OneIn(6)) duration = NO_VALUE;
        if (HasValue(duration) && OneIn(5)) duration = Number(tidy ? 1 : 0, 2 * duration + 1);
        auto const early = OneIn(4) ? std::size_t{3} : std::size_t{0};
        std::vector<iptr<IDataVideo>> frames;
        for (auto const& item : items)
            frames.push_back(MakeVideo(item.time, item.duration, static_cast<u8>(item.shade)));
        auto const stream = MakeShared<SeekingVideo>(frames, early > 0 ? Landing::Early : Landing::Containing);
        stream->duration = duration;
        stream->format->SetFrameRate(OneIn(2) ? Ratio(25, 1) : Ratio(30000, 1001));
        return {stream, std::make_shared<Model::Source>(items, duration, early),
                name + ", " + std::to_string(duration) + (early > 0 ? ", early" : "")};
    }

  private:
    Pair MakeReverse() {
        Pair const source = MakeSource(true, OneIn(2));
        return {ReverseOf(source.stream), std::make_shared<Model::Reverse>(source.model),
                "reverse (" + source.name + ")"};
    }
    Pair MakeJoin(int depth) {
        auto const join = FilterJoinVideo::Create();
        std::vector<Model::StreamPtr> models;
        std::string name = "join (";
        for (int64 i = Number(1, 3); i > 0; --i) {
            Pair const clip = MakeStack(depth - 1);
            join->AddStream(clip.stream, nullptr);
            models.push_back(clip.model);
            name += "(" + clip.name + ")";
        }
        return {join, std::make_shared<Model::Join>(models), name + ")"};
    }
    Pair MakeFilter(Pair source) {
        switch (Number(0, 4)) {
            case 0:
                return MakeTrimmer(source);
            case 1: {
                int64 const duration = Number(0, 400000);
                auto const stream = MakeShared<FilterLoopVideo>(source.stream);
                stream->Initialize(SettingsFilterLoop(duration));
                return {stream, std::make_shared<Model::Loop>(source.model, duration),
                        "loop " + std::to_string(duration) + " (" + source.name + ")"};
            }
            case 2: {
                double const factor = std::vector<double>{0.5, 2, 1.5, 0.333, 7.3}.at(Number(0, 4));
                auto const stream = MakeShared<FilterSpeedUpVideo>(source.stream);
                stream->Initialize(SettingsFilterSpeedUp(factor));
                return {stream, std::make_shared<Model::Speed>(source.model, factor),
                        "speed " + std::to_string(factor) + " (" + source.name + ")"};
            }
            default: {
                Ratio const rate(Number(1, 120) * (OneIn(2) ? 1000 : 1), OneIn(2) ? 1001 : 1);
                bool const adjusts = OneIn(2);
                SettingsFilterFrameRate const settings(rate.numerator() < 5 ? Ratio(25, 1) : rate);
                int64 const n = settings.GetFrameRate().numerator();
                int64 const d = settings.GetFrameRate().denominator();
                std::string const name = std::to_string(n) + "/" + std::to_string(d) + " (" + source.name + ")";
                if (adjusts)
                    return {MakeShared<FilterFrameRateAdjust>(source.stream, settings),
                            std::make_shared<Model::Adjust>(source.model, n, d), "adjust " + name};
                return {MakeShared<FilterFrameRate>(source.stream, settings),
                        std::make_shared<Model::FrameRate>(source.model, n, d), "rate " + name};
            }
        }
    }

    std::mt19937 random;
};

Model::Maybe Describe(iptr<IDataVideo> const& frame) {
    if (!frame) return std::nullopt;
    return Model::Picture{frame->GetTime(), frame->GetDuration(), ShadeOf(*frame)};
}

std::string Text(Model::Maybe const& item) {
    if (!item) return "null";
    return std::to_string(item->time) + "+" + std::to_string(item->duration) + " #" + std::to_string(item->shade);
}

/// Warnings of times that go back are of no interest where that is meant.
class TimelineModel : public ::testing::Test {
  protected:
    TimelineModel() { FLAGS_minloglevel = google::GLOG_ERROR; }
    ~TimelineModel() override { FLAGS_minloglevel = google::GLOG_INFO; }
};

/// Random calls on both, compared answer by answer.
void Drive(Builder& random, Pair const& pair) {
    std::string calls;
    for (int phase = 0; phase < 8; ++phase) {
        int64 const duration = pair.stream->GetDuration();
        ASSERT_EQ(duration, pair.model->GetDuration());
        int64 target = random.Number(-60000, 700000);
        if (phase == 0 || random.OneIn(5)) target = 0;
        if (HasValue(duration) && random.OneIn(5)) target = duration;
        if (random.OneIn(4)) pair.stream->ReleaseInternalData();
        if (random.OneIn(6)) pair.stream->RequestSeek(random.Number(0, 500000), nullptr);
        Seek(*pair.stream, target);
        pair.model->Seek(target);
        calls += "\nseek " + std::to_string(target);
        bool const whole = phase == 0 || random.OneIn(4);
        for (int64 reads = whole ? 400 : random.Number(0, 12); reads > 0; --reads) {
            if (random.OneIn(6)) {
                ASSERT_EQ(pair.stream->GetPosition(), pair.model->GetPosition()) << calls << " position";
                calls += " position";
            }
            Model::Maybe const given = Describe(pair.stream->Read());
            Model::Maybe const expected = pair.model->Read();
            ASSERT_EQ(Text(given), Text(expected)) << calls;
            calls += " " + Text(given);
            // A few reads behind the end.
            if (!given && reads > 3) reads = 3;
        }
    }
}

TEST_F(TimelineModel, SingleFiltersGiveWhatTheirModelsGive) {
    for (unsigned seed = 1; seed <= 400; ++seed) {
        Builder random(seed);
        Pair const pair = random.MakeStack(1);
        SCOPED_TRACE("seed " + std::to_string(seed) + ": " + pair.name);
        ASSERT_NO_FATAL_FAILURE(Drive(random, pair));
    }
}

TEST_F(TimelineModel, StacksOfFiltersGiveWhatTheirModelsGive) {
    for (unsigned seed = 1; seed <= 600; ++seed) {
        Builder random(seed);
        Pair const pair = random.MakeStack(seed % 3 == 0 ? 3 : 2);
        SCOPED_TRACE("seed " + std::to_string(seed) + ": " + pair.name);
        ASSERT_NO_FATAL_FAILURE(Drive(random, pair));
    }
}

TEST_F(TimelineModel, TrimmersOverItemsWithoutTimesOrDurationsGiveWhatTheirModelsGive) {
    for (unsigned seed = 1; seed <= 200; ++seed) {
        Builder random(seed);
        Pair const pair = random.MakeTrimmer(random.MakeSource(false, random.OneIn(2), true));
        SCOPED_TRACE("seed " + std::to_string(seed) + ": " + pair.name);
        ASSERT_NO_FATAL_FAILURE(Drive(random, pair));
    }
}

/// Two joins whose clips are linked in pairs, each clip of a pair with something else below.
struct LinkedJoins {
    explicit LinkedJoins(Builder& random) {
        std::vector<Model::StreamPtr> models[2];
        for (int64 clips = random.Number(1, 3); clips > 0; --clips) {
            auto const controller = FilterSeekController::Create();
            int64 const duration = random.Number(50000, 300000);
            for (std::size_t i = 0; i < 2; ++i) {
                Pair const clip = random.MakeClip(duration);
                clip.model->Seek(0);
                Model::Maybe const first = clip.model->Read();
                beginAtZero = beginAtZero && first && first->time == 0;
                joins[i]->AddStream(controller->AddStream(clip.stream), controller);
                models[i].push_back(clip.model);
                name += "(" + clip.name + ") ";
            }
        }
        for (std::size_t i = 0; i < 2; ++i) expected[i] = std::make_shared<Model::Join>(models[i]);
    }

    iptr<TIFilterJoin<IStreamVideo>> joins[2] = {FilterJoinVideo::Create(), FilterJoinVideo::Create()};
    Model::StreamPtr expected[2];
    std::string name;
    bool beginAtZero = true;
};

TEST_F(TimelineModel, LinkedJoinsGiveWhatEachWouldGiveAlone) {
    int checked = 0;
    for (unsigned seed = 1; seed <= 600; ++seed) {
        Builder random(seed);
        LinkedJoins const linked(random);
        // Streams that begin later are started again for both: meant so.
        if (!linked.beginAtZero) continue;
        ++checked;
        std::string calls;
        SCOPED_TRACE("seed " + std::to_string(seed) + ": " + linked.name);
        for (int64 phase = 0; phase < 8; ++phase) {
            // A place where no seek has gone before, for one that is repeated may do nothing.
            int64 const target = random.Number(0, linked.joins[0]->GetDuration() / 100) * 100 + phase;
            calls += "\nseek " + std::to_string(target);
            for (std::size_t i = 0; i < 2; ++i) {
                Seek(*linked.joins[i], target);
                linked.expected[i]->Seek(target);
            }
            for (int64 reads = random.Number(0, 40); reads > 0; --reads) {
                auto const i = static_cast<std::size_t>(random.OneIn(phase % 2 == 0 ? 2 : 8) ? 1 : 0);
                std::string const given = Text(Describe(linked.joins[i]->Read()));
                calls += " " + std::to_string(i) + ": " + given;
                ASSERT_EQ(given, Text(linked.expected[i]->Read())) << calls;
            }
        }
    }
    EXPECT_GT(checked, 100);
}

/// A block of sound: where it lies and what it holds.
struct Sound {
    int64 time;
    int64 duration;
    std::vector<std::int32_t> samples;
};

/// What a trimmer makes of the blocks that it reads behind a seek, step by step.
std::vector<Sound> TrimSound(std::vector<Sound> const& blocks, int64 start, int64 duration, int rate) {
    std::vector<Sound> result;
    int64 counted = 0;
    auto const place = [&] { return start + SampleCount2Duration(counted, rate); };
    auto const give = [&](Sound const& block) {
        counted += static_cast<int64>(block.samples.size());
        result.push_back(block);
    };
    auto next = blocks.begin();
    while (duration > 0) {
        bool behind = next == blocks.end();
        if (!behind) {
            Sound block = *next++;
            int64 const end = block.time + block.duration;
            int64 const left = std::max<int64>(place() - block.time, 0);
            int64 const right = std::max<int64>(end - duration, 0);
            if (end <= place()) continue;
            behind = block.time > duration || left + right >= block.duration;
            if (!behind) {
                auto const size = static_cast<int64>(block.samples.size());
                auto const front = std::min(size, Duration2SampleCount(left, rate));
                block.samples.erase(block.samples.begin(), block.samples.begin() + front);
                auto const rear = std::min(size - front, Duration2SampleCount(right, rate));
                block.samples.resize(static_cast<std::size_t>(size - front - rear));
                block.time += left;
                block.duration -= left + right;
                give(block);
                continue;
            }
        }
        int64 count = duration > place() ? Duration2SampleCount(duration - place(), rate) : 0;
        if (count >= rate / 5) count = rate / 10;
        if (count == 0) break;
        give({place(), SampleCount2Duration(count, rate), std::vector<std::int32_t>(static_cast<std::size_t>(count))});
    }
    return result;
}

TEST_F(TimelineModel, TrimmedSoundIsWhatItsModelGives) {
    for (unsigned seed = 1; seed <= 300; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Builder random(seed);
        int const rate = std::vector<int>{8000, 44100, 11025, 50}.at(static_cast<std::size_t>(random.Number(0, 3)));
        std::vector<iptr<IDataAudio>> blocks;
        std::vector<Sound> sounds;
        int64 time = random.OneIn(3) ? random.Number(-30000, 90000) : 0;
        for (int64 i = random.Number(0, 8); i > 0; --i) {
            int const count = static_cast<int>(random.OneIn(6) ? random.Number(1, 3) : random.Number(1, rate / 10));
            auto const block = MakeCounted(1000 * i, count, rate);
            block->SetTime(time);
            blocks.push_back(block);
            sounds.push_back({time, block->GetDuration(), SamplesIn({block})});
            // Times that are rounded, holes, and blocks that overlap.
            time += block->GetDuration() + (random.OneIn(3) ? random.Number(-3000, 60000) : 0);
            if (random.OneIn(2)) time = time / 1000 * 1000;
        }
        auto const source = MakeShared<SeekingAudio>(blocks);
        source->format->SetSampleInfo({Conf::SAMPLE_FORMAT_S32, rate, Conf::CHANNEL_LAYOUT_MONO});
        auto const filter = MakeShared<FilterDurationTrimmerAudio>(source);
        int64 const duration = random.Number(1, 900000);
        filter->Initialize(SettingsFilterDurationTrimmer(duration));
        for (int seek = 0; seek < 5; ++seek) {
            int64 const target = std::min(seek == 0 ? 0 : random.Number(0, 1000000), duration);
            Seek(*filter, target);
            auto const landing = std::find_if(sounds.begin(), sounds.end(),
                                              [&](Sound const& sound) { return sound.time + sound.duration > target; });
            auto const expected = TrimSound({landing, sounds.end()}, target, duration, rate);
            auto const given = ReadAll(*filter);
            ASSERT_EQ(given.size(), expected.size()) << "seek " << target << " of " << duration;
            for (std::size_t i = 0; i < given.size(); ++i) {
                ASSERT_EQ(given[i]->GetTime(), expected[i].time);
                ASSERT_EQ(given[i]->GetDuration(), expected[i].duration);
                ASSERT_EQ(SamplesIn({given[i]}), expected[i].samples);
            }
        }
    }
}

}  // namespace
}  // namespace Tarsel::Proc
