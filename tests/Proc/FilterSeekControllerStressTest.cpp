// Linked streams that are sought, added and destroyed by several threads in random order, while nobody reads.
#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>

#include "Proc/Filters/Filters/FilterSeekController.h"
#include "Proc/Filters/Filters/IStreamSeekController.h"
#include "tests/support/WatchedVideo.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;

constexpr int FRAMES = 20;
constexpr int64 FRAME = WatchedVideo::FRAME;

int64 Number(std::mt19937& random, int64 low, int64 high) {
    return std::uniform_int_distribution<int64>(low, high)(random);
}

TEST(SeekControllerStress, ThreadsThatSeekAddHoldAndDestroyLeaveAllStreamsTogether) {
    constexpr unsigned THREADS = 4;
    for (unsigned round = 1; round <= 10; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        auto const controller = MakeShared<FilterSeekController>();
        std::vector<iptr<WatchedVideo>> sources(THREADS);
        std::vector<iptr<IStreamVideo>> wrappers(THREADS);
        auto const work = [&](unsigned index) {
            std::mt19937 random(round * 100 + index);
            auto& source = sources[index];
            auto& wrapper = wrappers[index];
            for (int call = 0; call < 100; ++call) {
                switch (Number(random, 0, 5)) {
                    case 0:
                        // Each thread's own: the last one goes while others may be seeking it.
                        wrapper = nullptr;
                        if (source) {
                            EXPECT_EQ(source->GetRefCountImpl(), 1U);
                        }
                        source = MakeShared<WatchedVideo>(FRAMES);
                        wrapper = controller->AddStream(iptr<IStreamVideo>(source));
                        break;
                    case 1:
                        if (wrapper) {
                            auto const lock = dynamic_cast<IStreamSeekController&>(*wrapper).LockStream();
                            EXPECT_TRUE(lock->owns_lock());
                        }
                        break;
                    default:
                        // Few positions, so that seeks to where the streams stand are among them.
                        controller->Seek(Number(random, 0, 3) * FRAME);
                }
            }
            if (!wrapper) {
                source = MakeShared<WatchedVideo>(FRAMES);
                wrapper = controller->AddStream(iptr<IStreamVideo>(source));
            }
        };
        std::vector<std::thread> threads;
        for (unsigned i = 0; i < THREADS; ++i) threads.emplace_back(work, i);
        for (auto& thread : threads) thread.join();
        EXPECT_EQ(controller->GetRefCountImpl(), 1U + THREADS);
        controller->Seek(10 * FRAME);
        for (unsigned i = 0; i < THREADS; ++i) {
            EXPECT_EQ(wrappers[i]->GetPosition(), 10 * FRAME);
            EXPECT_EQ(ReadAll(*wrappers[i]).size(), 10U);
            EXPECT_EQ(sources[i]->overlaps, 0);
        }
        wrappers.clear();
        for (auto const& source : sources) EXPECT_EQ(source->GetRefCountImpl(), 1U);
        EXPECT_EQ(controller->GetRefCountImpl(), 1U);
    }
}

TEST(SeekControllerStress, ReadersThatTakeTurnsWithSeekingThreadsGetTheFramesOfTheLastSeek) {
    constexpr unsigned THREADS = 3;
    auto const controller = MakeShared<FilterSeekController>();
    std::vector<iptr<WatchedVideo>> sources;
    std::vector<iptr<IStreamVideo>> wrappers;
    for (unsigned i = 0; i < THREADS; ++i) {
        sources.push_back(MakeShared<WatchedVideo>(FRAMES));
        wrappers.push_back(controller->AddStream(iptr<IStreamVideo>(sources.back())));
    }
    std::mt19937 random(20240803);
    for (int round = 0; round < 50; ++round) {
        // All seek; the last one to come decides where the streams stand, and all stand at the same place.
        std::vector<std::thread> threads;
        for (unsigned i = 0; i < THREADS; ++i)
            threads.emplace_back([&, target = Number(random, 0, FRAMES - 1) * FRAME] { controller->Seek(target); });
        for (auto& thread : threads) thread.join();
        threads.clear();
        int64 const position = wrappers[0]->GetPosition();
        // Then each is read by a thread of its own.
        for (unsigned i = 0; i < THREADS; ++i)
            threads.emplace_back([&, i, reads = Number(random, 0, FRAMES)] {
                int64 expected = position;
                for (int64 count = reads; count > 0; --count) {
                    auto const frame = wrappers[i]->Read();
                    if (!frame) {
                        EXPECT_EQ(expected, FRAMES * FRAME);
                        break;
                    }
                    EXPECT_EQ(frame->GetTime(), expected);
                    expected += FRAME;
                }
            });
        for (auto& thread : threads) thread.join();
        for (auto const& source : sources) ASSERT_EQ(source->overlaps, 0);
        // Where a stream still stands at the last position, a seek there would leave the others: go elsewhere first.
        controller->Seek(FRAMES * FRAME);
    }
}

}  // namespace
}  // namespace Tarsel::Proc
