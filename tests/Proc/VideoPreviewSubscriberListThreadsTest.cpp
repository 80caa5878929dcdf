// Producers, deliveries and hosts on threads of their own. Every step is held by gates: nothing here waits for time to
// pass.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "tests/Proc/PreviewSupport.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;

class PreviewThreads : public ::testing::Test {
  protected:
    /// A subscriber whose calls pass the gate.
    iptr<IVideoPreviewSubscriber> MakeSlow() {
        return MakeShared<Viewer>([this](auto const& frame) {
            ++inside;
            slowTimes.push_back(frame->GetTime());
            gate->Pass();
            --inside;
            ++returned;
        });
    }
    void Publish(int64 time) { list->OnVideoFrame(MakeVideo(time, 1)); }

    std::shared_ptr<Gate> const gate = std::make_shared<Gate>();
    std::atomic<int> inside{0};
    std::atomic<int> returned{0};
    std::vector<int64> slowTimes;  // its calls come one after the other
    std::shared_ptr<Core::ThreadPool> const pool = std::make_shared<Core::ThreadPool>(3);
    iptr<VideoPreviewSubscriberList> list = MakeList(pool);
};

TEST_F(PreviewThreads, SlowSubscriberHoldsAProducerOnlyUntilItReturns) {
    gate->Close();
    list->Subscribe(MakeSlow());
    Publish(1);
    gate->AwaitArrivals(1);
    int returnedBehindPublication = 0;
    std::thread producer([&] {
        Publish(2);
        returnedBehindPublication = returned;
    });
    // The second delivery is still held when the producer has gone on.
    gate->Allow(1);
    producer.join();
    EXPECT_EQ(returnedBehindPublication, 1);
    gate->AwaitArrivals(2);
    EXPECT_EQ(returned, 1);
    gate->Open();
    pool->Stop();
    EXPECT_THAT(slowTimes, ElementsAre(1, 2));
}

TEST_F(PreviewThreads, ProducerDoesNotWaitForTasksThatWait) {
    gate->Close();
    list->Subscribe(MakeSlow());
    // All threads of the pool are busy elsewhere.
    auto const busy = std::make_shared<Gate>();
    busy->Close();
    for (unsigned i = 0; i < pool->GetThreadCount(); ++i) pool->AddTask([busy] { busy->Pass(); });
    busy->AwaitArrivals(3);
    for (int64 time = 1; time <= 2000; ++time) Publish(time);
    EXPECT_EQ(gate->GetArrivals(), 0);
    busy->Open();
    gate->AwaitArrivals(1);
    gate->Open();
    pool->Stop();
    EXPECT_EQ(slowTimes.front(), 2000);
}

TEST_F(PreviewThreads, DeliveriesOfSeveralThreadsComeOneAfterTheOther) {
    gate->Close();
    list->Subscribe(MakeSlow());
    auto const started = std::make_shared<Gate>();
    // The second and the third task of the list run on the two other threads, and wait for the lock.
    Publish(1);
    gate->AwaitArrivals(1);
    std::thread producer([&] {
        Publish(2);
        Publish(3);
        started->Pass();
    });
    for (int step = 2; step <= 3; ++step) {
        gate->Allow(1);
        gate->AwaitArrivals(step);
        EXPECT_EQ(inside, 1);
    }
    gate->Open();
    started->AwaitArrivals(1);
    producer.join();
    pool->Stop();
    EXPECT_EQ(slowTimes.size(), 3U);
}

TEST_F(PreviewThreads, UnsubscribeFromTheHostWaitsForTheCallAndNoFrameComesBehindIt) {
    gate->Close();
    auto const slow = MakeSlow();
    list->Subscribe(slow);
    Publish(1);
    gate->AwaitArrivals(1);
    int insideBehindRemoval = -1;
    std::thread host([&] {
        list->Unsubscribe(slow);
        insideBehindRemoval = inside;
    });
    // The list has let go; the test, and the call in progress, still hold it.
    while (slow->GetRefCountImpl() > 2) std::this_thread::yield();
    gate->Open();
    host.join();
    EXPECT_EQ(insideBehindRemoval, 0);
    EXPECT_EQ(slow->GetRefCountImpl(), 1U);
    Publish(2);
    auto const seen = std::make_shared<Gate>();
    list->Subscribe(MakeShared<Viewer>([seen](auto const&) { seen->Pass(); }));
    Publish(3);
    seen->AwaitArrivals(1);
    EXPECT_THAT(slowTimes, ElementsAre(1));
    // What the test holds must outlive the tasks.
    pool->Stop();
}

TEST_F(PreviewThreads, HostMaySubscribeAndUnsubscribeOthersWhileASubscriberIsBeingCalled) {
    gate->Close();
    list->Subscribe(MakeSlow());
    Publish(1);
    gate->AwaitArrivals(1);
    auto const late =
        MakeShared<Viewer>([](auto const&) { ADD_FAILURE() << "called in a delivery that it came behind"; });
    list->Subscribe(late);
    EXPECT_EQ(late->GetRefCountImpl(), 2U);
    gate->Open();
    list->Unsubscribe(late);
    pool->Stop();
}

TEST_F(PreviewThreads, HostDropsTheListDuringADelivery) {
    gate->Close();
    int const alive = Viewer::GetAlive();
    list->Subscribe(MakeSlow());
    Publish(1);
    gate->AwaitArrivals(1);
    list = nullptr;
    EXPECT_EQ(Viewer::GetAlive(), alive + 1);
    gate->Open();
    while (Viewer::GetAlive() != alive) std::this_thread::yield();
    EXPECT_THAT(slowTimes, ElementsAre(1));
}

TEST(PreviewOwnership, LastTaskMayTakeListAndPoolAlong) {
    auto const gate = std::make_shared<Gate>();
    gate->Close();
    int const alive = Viewer::GetAlive();
    auto pool = std::make_shared<Core::ThreadPool>(2);
    std::weak_ptr<Core::ThreadPool> const watch = pool;
    auto list = MakeList(pool);
    list->Subscribe(MakeShared<Viewer>([gate](auto const&) { gate->Pass(); }));
    list->OnVideoFrame(MakeVideo(1, 1));
    gate->AwaitArrivals(1);
    pool = nullptr;
    list = nullptr;
    EXPECT_FALSE(watch.expired());
    gate->Open();
    while (!watch.expired() || Viewer::GetAlive() != alive) std::this_thread::yield();
}

TEST_F(PreviewThreads, SubscriberMayPublishFromItsCallWhileAProducerWaits) {
    auto const publishing = std::make_shared<Gate>();
    publishing->Close();
    std::atomic<int> calls{0};
    list->Subscribe(MakeShared<Viewer>([&, publishing](auto const&) {
        if (++calls > 1) return gate->Pass();
        publishing->Pass();
        Publish(10);
    }));
    Publish(1);
    publishing->AwaitArrivals(1);
    std::thread producer([&] { Publish(2); });
    publishing->Open();
    producer.join();
    gate->AwaitArrivals(2);
    pool->Stop();
}

}  // namespace
}  // namespace Tarsel::Proc
