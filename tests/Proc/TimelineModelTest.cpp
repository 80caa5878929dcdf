// Random stacks of timeline filters over random sources, under random calls, beside plain models of them.
#include <glog/logging.h>
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "Proc/Filters/Filters/FilterDurationTrimmerVideo.h"
#include "Proc/Filters/Filters/FilterFrameRateAdjust.h"
#include "Proc/Filters/Filters/FilterLoop.h"
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
    Pair MakeTrimmer(Pair source) {
        int64 const duration = Number(1, 500000);
        Ratio const rate = source.stream->GetFormatCodec()->GetFrameRate();
        int64 const frame = std::max<int64>(1, AvRescale(SECOND, rate.denominator(), rate.numerator()));
        auto const stream = MakeShared<FilterDurationTrimmerVideo>(source.stream);
        stream->Initialize(SettingsFilterDurationTrimmer(duration));
        return {stream, std::make_shared<Model::Trimmer>(source.model, duration, frame),
                "trim " + std::to_string(duration) + " (" + source.name + ")"};
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

}  // namespace
}  // namespace Tarsel::Proc
