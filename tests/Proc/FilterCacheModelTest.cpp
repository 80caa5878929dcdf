// Caches whose threads have ended, under random scripts and calls, against a model of them that is written a second
// time: the same items, failures, calls of the sources, and the same items in memory.
#include <gtest/gtest.h>

#include <map>
#include <random>

#include "tests/Proc/CacheModel.h"
#include "tests/Proc/CacheSupport.h"
#include "tests/support/Sanitizer.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;

constexpr char END[] = "null";

/// How often each failure and each end of the stream came: none of them may be missing in the random calls.
std::map<std::string, int> seen;

template <class Call>
std::string OutcomeOf(Call&& call) {
    std::string outcome;
    try {
        outcome = call();
        if (outcome == END) ++seen[outcome];
        return outcome;
    } catch (std::logic_error const& failure) {
        outcome = std::string("logic_error: ") + failure.what();
    } catch (FilterException const& failure) {
        outcome = std::string("FilterException: ") + failure.what();
    }
    ++seen[outcome];
    return outcome;
}
template <class Call>
std::string OutcomeOfVoid(Call&& call) {
    return OutcomeOf([&] {
        call();
        return std::string("done");
    });
}

/// One cache, and its model.
struct Pair {
    iptr<KeptVideo> source;
    iptr<IStreamVideo> stream;
    IFilterCache* cache = nullptr;
    std::unique_ptr<ModelSource> modelSource;
    std::unique_ptr<ModelCache> model;

    void Check() const {
        EXPECT_EQ(source->log.Take(), std::exchange(modelSource->calls, {}));
        EXPECT_EQ(source->GetAlive(), model->GetAlive());
        EXPECT_EQ(cache->IsSeekRequested(), model->requested);
        EXPECT_EQ(cache->IsSeekInBuffer(), model->found);
        EXPECT_EQ(cache->GetLogicalPosition(), model->position);
        EXPECT_EQ(cache->GetCacheSpan(), model->span);
    }
    void Read() {
        auto const outcome = OutcomeOf([&] {
            auto const item = stream->Read();
            return item ? std::to_string(source->GetSerial(item.get())) : END;
        });
        EXPECT_EQ(outcome, OutcomeOf([&] {
                      auto const item = model->Read();
                      return item ? std::to_string(item->serial) : END;
                  }));
    }
    void AskPosition() {
        EXPECT_EQ(OutcomeOf([&] { return std::to_string(stream->GetPosition()); }),
                  OutcomeOf([&] { return std::to_string(model->GetPosition()); }));
    }
    void RequestSeek(int64 position) {
        EXPECT_EQ(OutcomeOfVoid([&] { stream->RequestSeek(position, nullptr); }),
                  OutcomeOfVoid([&] { model->RequestSeek(position); }));
    }
    void DoSeek() {
        EXPECT_EQ(OutcomeOfVoid([&] { stream->DoSeek(); }), OutcomeOfVoid([&] { model->DoSeek(); }));
    }
};

/// How a script's items lie.
enum class Items { EVEN, CONTIGUOUS, ANY };

class CacheModel : public ::testing::TestWithParam<Items> {
  protected:
    CacheModel() { FLAGS_minloglevel = google::GLOG_FATAL; }
    ~CacheModel() override {
        pairs.clear();
        FLAGS_minloglevel = google::GLOG_INFO;
    }
    int64 Number(int64 low, int64 high) { return std::uniform_int_distribution<int64>(low, high)(random); }
    bool OneIn(int64 count) { return Number(1, count) == 1; }

    std::vector<CacheStep> MakeScript() {
        std::vector<CacheStep> steps;
        int64 time = GetParam() == Items::ANY && OneIn(4) ? Number(-50, 50) : 0;
        for (int64 count = Number(0, 30); count > 0; --count) {
            int64 length = GetParam() == Items::EVEN ? 20 : Number(1, 40);
            if (GetParam() == Items::ANY) {
                if (OneIn(40)) steps.push_back({CacheStep::FAILURE});
                if (OneIn(60)) steps.push_back({CacheStep::NOTHING});
                if (OneIn(10)) length = 0;
                if (OneIn(10)) time += Number(-60, 60);
                if (OneIn(200)) time += 500;
                if (OneIn(60)) length = NO_VALUE;
            }
            steps.push_back({CacheStep::ITEM, GetParam() == Items::ANY && OneIn(60) ? NO_VALUE : time, length});
            if (HasValue(length)) time += length;
        }
        return steps;
    }
    static std::vector<KeptVideo::Step> ToScript(std::vector<CacheStep> const& steps) {
        std::vector<KeptVideo::Step> script;
        for (CacheStep const& step : steps) {
            if (step.kind == CacheStep::ITEM)
                script.emplace_back(MakeVideo(step.time, step.duration));
            else if (step.kind == CacheStep::FAILURE)
                script.emplace_back(Failure<FilterException>("scripted"));
            else
                script.emplace_back(nullptr);
        }
        return script;
    }

    /// New caches, all sought to 0; that ends their threads, and the return waits for it.
    void Make(int count) {
        pairs.clear();
        model = {};
        controller = MakeShared<FilterCacheController>();
        WithEndedThreads(count, [&] {
            for (int i = 0; i < count; ++i) Add(MakeScript(), Number(1, 150), Number(0, 150));
            for (Pair& pair : pairs) pair.RequestSeek(0);
            for (Pair& pair : pairs) pair.DoSeek();
        });
    }
    void Add(std::vector<CacheStep> const& steps, int64 ahead, int64 behind) {
        Pair pair;
        pair.source = MakeShared<KeptVideo>(ToScript(steps));
        // One length for all, or none.
        pair.source->duration = duration;
        pair.stream = controller->AddStreamT<IStreamVideo>(pair.source, ahead, behind);
        pair.cache = dynamic_cast<IFilterCache*>(pair.stream.get());
        pair.modelSource = std::make_unique<ModelSource>();
        pair.modelSource->steps = steps;
        pair.modelSource->duration = duration;
        pair.model = std::make_unique<ModelCache>(model, *pair.modelSource, ahead, behind);
        pairs.push_back(std::move(pair));
    }
    /// Anywhere, or where an item of the first stream begins or ends.
    int64 MakePosition() {
        auto const& steps = pairs.front().modelSource->steps;
        if (steps.empty() || OneIn(3)) return Number(-50, 700);
        CacheStep const& step = steps[static_cast<std::size_t>(Number(0, static_cast<int64>(steps.size()) - 1))];
        int64 const edge = OneIn(2) ? step.time : AddTime(step.time, step.duration);
        return AddTime(HasValue(edge) ? edge : 0, Number(-1, 1));
    }
    /// As hosts do it, with a random order of the phases' calls and what helps behind a failure.
    void SeekAll(int64 position) {
        if (OneIn(4)) std::reverse(pairs.begin(), pairs.end());
        for (Pair& pair : pairs) pair.RequestSeek(position);
        if (OneIn(2))
            for (Pair& pair : pairs) pair.RequestSeek(position);
        for (Pair& pair : pairs) pair.DoSeek();
        if (pairs.front().cache->IsSeekRequested() && !OneIn(4)) SeekCaches(position);
    }
    void SeekCaches(int64 position) {
        controller->SeekCaches(position);
        model.SeekCaches(position);
    }
    void CallSomething() {
        Pair& pair = pairs[static_cast<std::size_t>(Number(0, static_cast<int64>(pairs.size()) - 1))];
        switch (Number(0, 19)) {
            case 0:
            case 1:
            case 2:
                return SeekAll(MakePosition());
            case 3:
                if (OneIn(2)) pair.RequestSeek(MakePosition());
                if (OneIn(2)) pair.DoSeek();
                return;
            case 4: {
                int64 const length = Number(0, 100);
                controller->SetCacheIncreaseSpan(length);
                model.increase = length;
                return;
            }
            case 5:
                if (!OneIn(4)) return;
                pair.stream->SetEndOfStream();
                return pair.model->SetEndOfStream();
            case 6:
                if (!OneIn(4)) return;
                pair.stream->ReleaseInternalData();
                return pair.model->Release();
            case 7:
                return pair.AskPosition();
            case 8:
                if (!OneIn(4)) return;
                return SeekCaches(MakePosition());
            default:
                for (int64 reads = Number(1, 8); reads > 0; --reads) pair.Read();
        }
    }
    void Run(unsigned seed, int count) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        random.seed(seed);
        duration = OneIn(3) ? NO_VALUE : Number(1, 600);
        Make(count);
        for (int call = 0; call < 60 && !HasFailure(); ++call) {
            SCOPED_TRACE("call " + std::to_string(call));
            CallSomething();
            for (Pair const& pair : pairs) pair.Check();
        }
        for (Pair const& pair : pairs) {
            auto const statistic = pair.stream->GetStatistic().Children().back();
            EXPECT_EQ(statistic["Count"].GetInt64(), pair.model->delivered);
        }
    }

    std::mt19937 random;
    int64 duration = NO_VALUE;
    iptr<FilterCacheController> controller;
    ModelController model;
    std::vector<Pair> pairs;
};

/// Runs all scripts, or under the address sanitizer a fifth of them.
constexpr int SHARE = Tarsel::Test::ThinnedBy(5);

TEST_P(CacheModel, OneCacheGivesWhatTheModelGives) {
    for (unsigned seed = 1; seed <= 1000 / SHARE && !HasFailure(); ++seed) Run(seed, 1);
}

TEST_P(CacheModel, SeveralCachesGiveWhatTheirModelsGive) {
    seen.clear();
    for (unsigned seed = 1; seed <= 700 / SHARE && !HasFailure(); ++seed) Run(seed, seed % 2 == 0 ? 2 : 3);
    EXPECT_GT(seen[END], 1000 / SHARE);
    EXPECT_GT(seen["logic_error: buffer overrun"], 100 / SHARE);
    EXPECT_GT(seen["logic_error: all registered caches must be positioned to the same position"], 100 / SHARE);
    EXPECT_GT(seen["FilterException: scripted"], GetParam() == Items::ANY ? 100 / SHARE : -1);
}

INSTANTIATE_TEST_SUITE_P(Scripts, CacheModel, ::testing::Values(Items::EVEN, Items::CONTIGUOUS, Items::ANY));

}  // namespace
}  // namespace Tarsel::Proc
