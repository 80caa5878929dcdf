// Producers, hosts and subscribers that publish, subscribe, unsubscribe and drop lists in random order. Nothing here
// waits for time to pass.
#include <glog/logging.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <thread>

#include "contracts/Core/Exception.h"
#include "tests/Proc/PreviewSupport.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;

class PreviewStress : public ::testing::Test {
  protected:
    PreviewStress() { FLAGS_minloglevel = google::GLOG_FATAL; }
    ~PreviewStress() override { FLAGS_minloglevel = google::GLOG_INFO; }
};

/// What a round's subscribers are checked by.
struct Watch {
    std::atomic<int> inside{0};
    std::atomic<int> overlaps{0};
    std::atomic<int> late{0};
    std::atomic<int> calls{0};
};

/// A subscriber that does something random in each call: nothing, a publication, a failure, leaving.
struct Guest {
    iptr<Viewer> viewer;
    std::shared_ptr<std::atomic<bool>> const gone = std::make_shared<std::atomic<bool>>(false);

    Guest(VideoPreviewSubscriberList* list, std::shared_ptr<Watch> const& watch, unsigned seed) {
        auto const random = std::make_shared<std::mt19937>(seed);
        auto const self = std::make_shared<Viewer*>(nullptr);
        viewer = MakeShared<Viewer>([list, watch, random, self, gone = gone](iptr<IDataVideo> const& frame) {
            if (watch->inside++ != 0) ++watch->overlaps;
            if (*gone) ++watch->late;
            ++watch->calls;
            EXPECT_NE(frame, nullptr);
            unsigned const choice = (*random)() % 16;
            if (choice == 0) list->OnVideoFrame(frame->Clone(false));
            if (choice == 1) list->Unsubscribe(*self);
            --watch->inside;
            if (choice == 2) TARSEL_THROW(FilterException, "stress");
        });
        *self = viewer.get();
    }
};

void Produce(VideoPreviewSubscriberList& list, unsigned seed) {
    std::mt19937 random(seed);
    for (unsigned frames = 20 + random() % 100; frames != 0; --frames) {
        list.OnVideoFrame(random() % 32 == 0 ? nullptr : MakeVideo(static_cast<int64>(random()), 1));
        if (random() % 4 == 0) std::this_thread::yield();
    }
}

/// Subscribes and unsubscribes until it has had enough; nobody may be called behind its removal.
void Host(VideoPreviewSubscriberList& list, std::shared_ptr<Watch> const& watch, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<Guest> guests;
    for (int step = 0; step < 60; ++step) {
        if (guests.size() < 5 && random() % 2) {
            guests.emplace_back(&list, watch, static_cast<unsigned>(random()));
            list.Subscribe(guests.back().viewer);
        } else if (!guests.empty()) {
            list.Unsubscribe(guests.back().viewer);
            *guests.back().gone = true;
            guests.pop_back();
        }
        if (random() % 3 == 0) std::this_thread::yield();
    }
    // Those that are left go with the list.
}

TEST_F(PreviewStress, RandomCallsOfAllThreadsKeepTheOrderOfThingsAndLeaveNothingBehind) {
    int const alive = Viewer::GetAlive();
    int calls = 0;
    for (unsigned round = 0; round < 60; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        auto const watch = std::make_shared<Watch>();
        auto const pool = std::make_shared<Core::ThreadPool>(1 + round % 4);
        auto list = MakeList(pool);
        std::vector<std::thread> threads;
        for (unsigned i = 0; i < 1 + round % 3; ++i) {
            threads.emplace_back([list, i, round] { Produce(*list, 100 * round + i); });
            threads.emplace_back([list, watch, i, round] { Host(*list, watch, 7000 + 100 * round + i); });
        }
        list = nullptr;
        for (auto& thread : threads) thread.join();
        threads.clear();
        // Tasks may still run or wait: they are let be, or dropped.
        if (round % 2) pool->Stop();
        while (Viewer::GetAlive() != alive) std::this_thread::yield();
        ASSERT_EQ(watch->overlaps, 0);
        ASSERT_EQ(watch->late, 0);
        calls += watch->calls;
    }
    EXPECT_GT(calls, 0);
}

TEST_F(PreviewStress, ListsComeAndGoUnderTheirTasks) {
    int const alive = Viewer::GetAlive();
    std::mt19937 random(11);
    std::atomic<int> calls{0};
    auto const pool = std::make_shared<Core::ThreadPool>(3);
    for (int round = 0; round < 500; ++round) {
        auto list = MakeList(pool);
        for (unsigned i = random() % 3; i != 0; --i)
            list->Subscribe(MakeShared<Viewer>([&calls](auto const&) { ++calls; }));
        for (unsigned i = random() % 4; i != 0; --i) list->OnVideoFrame(MakeVideo(round, 1));
    }
    while (Viewer::GetAlive() != alive) std::this_thread::yield();
    EXPECT_GT(calls, 0);
}

}  // namespace
}  // namespace Tarsel::Proc
