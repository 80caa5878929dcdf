// The read and seek protocol of the stream base under random calls, against a model of it that is written a second
// time.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <random>
#include <stdexcept>

#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using Filter = ScriptedFilter<IStreamVideo>;

/// A step of the script: an item with its times, a failure, or a read that gives null.
struct ModelStep {
    enum Kind { ITEM, FAILURE, NOTHING } kind = ITEM;
    int64 time = NO_VALUE;
    int64 duration = NO_VALUE;
};

/// What a call gives: an item's time, null, or a failure.
struct Outcome {
    bool failed = false;
    std::optional<int64> time;

    bool operator==(Outcome const&) const = default;
    friend std::ostream& operator<<(std::ostream& out, Outcome const& outcome) {
        if (outcome.failed) return out << "failure";
        return outcome.time ? out << "item at " << *outcome.time : out << "null";
    }
};

/// The source and the stream base in the plainest words.
class Model {
  public:
    Model(std::vector<ModelStep> steps, int64 duration) : steps(std::move(steps)), duration(duration) {}

    Outcome Read() {
        Outcome outcome;
        if (ahead) {
            outcome.time = ahead->time;
            position = AddTime(ahead->time, ahead->duration);
            ahead.reset();
            return outcome;
        }
        auto const step = ReadSource();
        outcome.failed = step.kind == ModelStep::FAILURE;
        if (step.kind != ModelStep::ITEM) return outcome;
        outcome.time = step.time;
        position = AddTime(step.time, step.duration);
        return outcome;
    }
    /// The position as an item's time; a failure where reading ahead failed.
    Outcome GetPosition() {
        if (HasValue(position)) return {false, position};
        if (!ahead) {
            auto const step = ReadSource();
            if (step.kind == ModelStep::FAILURE) return {true, {}};
            if (step.kind == ModelStep::ITEM) ahead = step;
        }
        if (ahead) position = ahead->time;
        return {false, position};
    }
    void RequestSeek(int64 to) {
        ended = sourceEnded = false;
        target = HasValue(duration) && to > duration ? duration : to;
        position = NO_VALUE;
        ahead.reset();
    }
    void DoSeek() {
        auto const lands = [&](ModelStep const& step) {
            return step.kind == ModelStep::ITEM && AddTime(step.time, step.duration) > target;
        };
        next = static_cast<std::size_t>(std::find_if(steps.begin(), steps.end(), lands) - steps.begin());
    }
    void SetEndOfStream() { ended = sourceEnded = true; }
    bool IsEndOfStream() const { return ended; }
    void Release() { ahead.reset(); }

  private:
    ModelStep ReadSource() {
        if (sourceEnded || next >= steps.size()) return {ModelStep::NOTHING, NO_VALUE, NO_VALUE};
        return steps[next++];
    }

    std::vector<ModelStep> steps;
    int64 duration;
    std::size_t next = 0;
    int64 target = NO_VALUE;
    int64 position = NO_VALUE;
    std::optional<ModelStep> ahead;
    bool ended = false;
    bool sourceEnded = false;
};

template <class Call>
Outcome OutcomeOf(Call&& call) {
    try {
        return {false, call()};
    } catch (FilterException const&) {
        return {true, {}};
    }
}

std::vector<ModelStep> RandomScript(std::mt19937& random) {
    std::vector<ModelStep> steps;
    int64 time = static_cast<int64>(random() % 3) * 10;
    for (unsigned count = random() % 12; count != 0; --count) {
        unsigned const kind = random() % 10;
        if (kind == 0) {
            steps.push_back({ModelStep::FAILURE, NO_VALUE, NO_VALUE});
        } else if (kind == 1) {
            steps.push_back({ModelStep::NOTHING, NO_VALUE, NO_VALUE});
        } else {
            int64 const duration = static_cast<int64>(random() % 4) * 10;
            steps.push_back({ModelStep::ITEM, kind == 2 ? NO_VALUE : time, kind == 3 ? NO_VALUE : duration});
            time += duration;
        }
    }
    return steps;
}

std::vector<ScriptedVideo::Step> ToScript(std::vector<ModelStep> const& steps) {
    std::vector<ScriptedVideo::Step> script;
    for (ModelStep const& step : steps) {
        if (step.kind == ModelStep::ITEM)
            script.emplace_back(MakeVideo(step.time, step.duration));
        else if (step.kind == ModelStep::FAILURE)
            script.emplace_back(Failure<FilterException>("scripted"));
        else
            script.emplace_back(nullptr);
    }
    return script;
}

TEST(StreamImplModel, RandomCallsGiveWhatTheModelGives) {
    for (unsigned seed = 1; seed <= 400; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        auto const steps = RandomScript(random);
        int64 const duration = random() % 3 == 0 ? NO_VALUE : static_cast<int64>(random() % 200);
        auto const source = ScriptedVideo::Create(ToScript(steps));
        source->duration = duration;
        auto const filter = MakeShared<Filter>(source);
        Model model(steps, duration);
        for (int call = 0; call < 60; ++call) {
            SCOPED_TRACE("call " + std::to_string(call));
            switch (random() % 8) {
                case 0: {
                    int64 const target = static_cast<int64>(random() % 260) - 20;
                    filter->RequestSeek(target, nullptr);
                    model.RequestSeek(target);
                    if (random() % 4 == 0) break;  // a request that another one follows, or reading without it
                    filter->DoSeek();
                    model.DoSeek();
                    EXPECT_TRUE(filter->FinishSeek());
                    break;
                }
                case 1:
                    if (random() % 4 != 0) break;
                    filter->SetEndOfStream();
                    model.SetEndOfStream();
                    break;
                case 2:
                    if (random() % 4 != 0) break;
                    filter->ReleaseInternalData();
                    model.Release();
                    break;
                case 3:
                case 4:
                    EXPECT_EQ(OutcomeOf([&] { return std::optional<int64>(filter->GetPosition()); }),
                              model.GetPosition());
                    break;
                default:
                    EXPECT_EQ(OutcomeOf([&] {
                                  auto const item = filter->Read();
                                  return item ? std::optional<int64>(item->GetTime()) : std::nullopt;
                              }),
                              model.Read());
            }
            EXPECT_EQ(filter->IsEndOfStream(), model.IsEndOfStream());
            if (::testing::Test::HasFailure()) return;
        }
    }
}

TEST(StreamImplModel, RandomSeeksGiveWhatReadingStraightThroughGives) {
    auto const frames = MakeVideos(40, 40);
    for (unsigned seed = 1; seed <= 50; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        auto const source = ScriptedVideo::Create(frames);
        source->duration = 1600;
        auto const filter = MakeShared<Filter>(source);
        for (int i = 0; i < 20; ++i) {
            int64 const target = static_cast<int64>(random() % 1700);
            Seek(*filter, target);
            int64 expected = std::min<int64>(target, 1600) / 40 * 40;
            for (auto const& item : ReadAll(*filter)) {
                EXPECT_THAT(item, IsVideo(expected, 40));
                expected += 40;
            }
            EXPECT_EQ(expected, 1600);
        }
    }
}

}  // namespace
}  // namespace Tarsel::Proc
