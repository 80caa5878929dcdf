// Read-ahead stages that are sought, read, released, ended and destroyed in random order, while their threads are
// wherever they happen to be. Nothing here waits for time to pass.
#include <glog/logging.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <random>
#include <string>
#include <thread>

#include "contracts/Proc/FilterCacheData.h"
#include "tests/support/WatchedVideo.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;

constexpr int FRAMES = 50;
constexpr int64 FRAME = WatchedVideo::FRAME;
constexpr int64 DURATION = FRAMES * FRAME;

class CacheDataStress : public ::testing::Test {
  protected:
    CacheDataStress() { FLAGS_minloglevel = google::GLOG_FATAL; }
    ~CacheDataStress() override { FLAGS_minloglevel = google::GLOG_INFO; }

    int64 Number(int64 low, int64 high) { return std::uniform_int_distribution<int64>(low, high)(random); }
    bool OneIn(int64 count) { return Number(1, count) == 1; }

    std::mt19937 random{20240803};
};

/// A stage, and which frame it must give next.
struct ReadAhead {
    iptr<WatchedVideo> source;
    iptr<IStreamVideo> stage;
    /// Time of the next frame, the duration at the end; nothing is known without a seek.
    std::optional<int64> next;
    /// Whether others may end the stream at any time: then every read may give null.
    bool mayEnd = false;
    /// Whether the source may fail: then every read may, and tells nothing from then on.
    bool mayFail = false;

    void Place(int64 position) {
        Seek(*stage, position);
        next = std::clamp<int64>(position / FRAME * FRAME, 0, DURATION);
    }
    void ReadOne() {
        iptr<IDataVideo> frame;
        try {
            frame = stage->Read();
        } catch (FilterException const&) {
            ASSERT_TRUE(mayFail);
            next.reset();
            return;
        }
        if (!frame) {
            ASSERT_TRUE(!next || mayEnd || *next == DURATION) << "the frame at " << *next << " is missing";
            next.reset();
            return;
        }
        if (!next) return;
        ASSERT_EQ(frame->GetTime(), *next);
        *next += FRAME;
        ASSERT_EQ(stage->GetPosition(), *next);
    }
    void Ask() {
        try {
            int64 const position = stage->GetPosition();
            if (next && *next != DURATION && HasValue(position)) {
                ASSERT_EQ(position, *next);
            }
        } catch (FilterException const&) {
            ASSERT_TRUE(mayFail);
            next.reset();
        }
    }
};

TEST_F(CacheDataStress, RandomCallsGiveEveryFrameInItsPlace) {
    for (int round = 0; round < 60; ++round) {
        ReadAhead reading;
        reading.source = MakeShared<WatchedVideo>(FRAMES);
        reading.mayFail = OneIn(3);
        if (reading.mayFail) {
            reading.source->onRead = [fails = Number(3, 40)](int number) {
                if (number % fails == fails - 1) TARSEL_THROW(FilterException, "broken");
            };
        }
        reading.stage = CreateFilterCacheData(reading.source);
        for (int call = 0; call < 60; ++call) {
            SCOPED_TRACE("round " + std::to_string(round) + ", call " + std::to_string(call));
            switch (Number(0, 7)) {
                case 0:
                case 1:
                    reading.Place(Number(0, DURATION + 200));
                    break;
                case 2:
                    reading.stage->ReleaseInternalData();
                    reading.Place(Number(0, DURATION));
                    break;
                case 3:
                    ASSERT_NO_FATAL_FAILURE(reading.Ask());
                    break;
                case 4:
                    reading.stage->RequestSeek(Number(0, DURATION), nullptr);
                    if (OneIn(2)) reading.stage->IsEndOfStream();
                    reading.Place(Number(0, DURATION));
                    break;
                default:
                    for (int64 reads = Number(1, 40); reads > 0; --reads) ASSERT_NO_FATAL_FAILURE(reading.ReadOne());
            }
        }
        reading.stage = nullptr;
        ASSERT_EQ(reading.source->overlaps, 0);
        ASSERT_EQ(reading.source->GetRefCountImpl(), 1U);
    }
}

TEST_F(CacheDataStress, EndsAndQuestionsFromOtherThreadsDisturbNoOrder) {
    for (int round = 0; round < 30; ++round) {
        ReadAhead reading;
        reading.source = MakeShared<WatchedVideo>(FRAMES);
        reading.stage = CreateFilterCacheData(reading.source);
        reading.mayEnd = true;
        std::atomic<bool> done{false};
        std::thread ending([&] {
            for (int i = 0; i < 40 && !done; ++i) {
                reading.stage->SetEndOfStream();
                std::this_thread::yield();
            }
        });
        std::thread asking([&] {
            while (!done) {
                EXPECT_EQ(reading.stage->GetFormatCodec(), reading.source->format);
                EXPECT_EQ(reading.stage->GetDuration(), DURATION);
                EXPECT_EQ(reading.stage->GetStatistic().Children().size(), 2U);
                Visitors::InfoCollector names;
                reading.stage->Accept(names);
                EXPECT_EQ(names.names.size(), 2U);
                reading.stage->IsEndOfStream();
                std::this_thread::yield();
            }
        });
        for (int call = 0; call < 30; ++call) {
            reading.Place(Number(0, DURATION));
            if (OneIn(2)) reading.Ask();
            for (int64 reads = Number(0, 30); reads > 0; --reads) reading.ReadOne();
            if (OneIn(3)) reading.stage->ReleaseInternalData();
        }
        done = true;
        ending.join();
        asking.join();
        reading.mayEnd = false;
        reading.Place(0);
        for (int i = 0; i <= FRAMES; ++i) ASSERT_NO_FATAL_FAILURE(reading.ReadOne());
        reading.stage = nullptr;
        ASSERT_EQ(reading.source->overlaps, 0);
    }
}

TEST_F(CacheDataStress, StagesOverABlockedSourceAreSoughtReleasedAndDestroyedAtAnyTime) {
    for (int round = 0; round < 300; ++round) {
        auto const source = MakeShared<WatchedVideo>(FRAMES);
        // Lets some reads through, and holds the others until they are interrupted.
        auto const gate = std::make_shared<Gate>();
        gate->Close();
        source->onRead = [gate](int) { gate->Pass(); };
        auto stage = CreateFilterCacheData(source);
        for (int64 calls = Number(1, 6); calls > 0; --calls) {
            gate->Allow(1);
            switch (Number(0, 3)) {
                case 0:
                    stage->ReleaseInternalData();
                    break;
                case 1:
                    Seek(*stage, Number(0, DURATION));
                    break;
                case 2:
                    stage->SetEndOfStream();
                    break;
                default:
                    stage->Read();
            }
        }
        // Half of them while the thread is held inside the source.
        if (OneIn(2)) gate->Open();
        stage = nullptr;
        ASSERT_EQ(source->overlaps, 0);
        ASSERT_EQ(source->GetRefCountImpl(), 1U);
    }
}

TEST_F(CacheDataStress, StagesOnStagesEndInAnyState) {
    for (int round = 0; round < 60; ++round) {
        auto const source = MakeShared<WatchedVideo>(FRAMES);
        iptr<IStreamVideo> stage = source;
        for (int64 i = Number(2, 4); i > 0; --i) stage = CreateFilterCacheData(stage);
        for (int64 seeks = Number(1, 4); seeks > 0; --seeks) {
            int64 const target = Number(0, FRAMES - 1) * FRAME;
            Seek(*stage, target);
            auto const frame = stage->Read();
            ASSERT_NE(frame, nullptr);
            ASSERT_EQ(frame->GetTime(), target);
            for (int64 reads = Number(0, 60); reads > 0; --reads) stage->Read();
        }
        stage = nullptr;
        ASSERT_EQ(source->overlaps, 0);
        ASSERT_EQ(source->GetRefCountImpl(), 1U);
    }
}

}  // namespace
}  // namespace Tarsel::Proc
