#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>
#include <stdexcept>
#include <string>

#include "tests/Proc/PreviewSupport.h"
#include "tests/support/ExpectThrow.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using TestSupport::MessageOf;

/// A pool of one thread that the test starts when it has published: what is delivered is exactly known.
class PreviewList : public ::testing::Test {
  protected:
    void Publish(int64 time) { list->OnVideoFrame(MakeVideo(time, 1)); }
    /// Lets all tasks run, and those that their subscribers have posted.
    void Deliver() {
        pool->Start();
        Drain(*pool);
        Drain(*pool);
    }

    std::vector<int64> times;
    std::shared_ptr<Core::ThreadPool> const pool =
        std::make_shared<Core::ThreadPool>(1, Core::ThreadPool::StartMode::BY_HAND);
    iptr<VideoPreviewSubscriberList> list = MakeList(pool);
};

TEST_F(PreviewList, WithNoSubscriberFramesVanishWithNoEffect) {
    auto const first = MakeVideo(1, 1), second = MakeVideo(2, 1);
    list->OnVideoFrame(first);
    list->OnVideoFrame(second);
    Deliver();
    EXPECT_EQ(first->GetRefCountImpl(), 1U);
    EXPECT_EQ(second->GetRefCountImpl(), 2U);
    // Who comes later doesn't get what was published before, without a new publication.
    list->Subscribe(MakeViewer(times));
    Drain(*pool);
    EXPECT_THAT(times, IsEmpty());
}

TEST_F(PreviewList, ThreeFramesPublishedBeforeThePoolStartsAreThreeDeliveriesOfTheThird) {
    list->Subscribe(MakeViewer(times));
    for (int64 const time : {1, 2, 3}) Publish(time);
    Deliver();
    EXPECT_THAT(times, ElementsAre(3, 3, 3));
}

TEST_F(PreviewList, SubscriberRemovedDuringDeliveryGetsNoLaterFrame) {
    iptr<Viewer> viewer;
    viewer = MakeShared<Viewer>([&](iptr<IDataVideo> const& frame) {
        times.push_back(frame->GetTime());
        list->Unsubscribe(viewer);
    });
    list->Subscribe(viewer);
    Publish(1);
    Publish(2);
    Deliver();
    Publish(3);
    Deliver();
    EXPECT_THAT(times, ElementsAre(2));
}

TEST_F(PreviewList, SubscribersGetOneObjectInTheOrderOfSubscription) {
    std::vector<std::pair<int, IDataVideo const*>> got;
    for (int i = 0; i < 3; ++i)
        list->Subscribe(MakeShared<Viewer>([&got, i](auto const& frame) { got.emplace_back(i, frame.get()); }));
    auto const frame = MakeVideo(1, 1);
    list->OnVideoFrame(frame);
    Deliver();
    EXPECT_THAT(got, ElementsAre(std::pair(0, frame.get()), std::pair(1, frame.get()), std::pair(2, frame.get())));
}

TEST_F(PreviewList, FrameInBetweenIsReleasedByThePublicationOfTheNext) {
    auto const first = MakeVideo(1, 1);
    list->OnVideoFrame(first);
    EXPECT_EQ(first->GetRefCountImpl(), 2U);
    Publish(2);
    EXPECT_EQ(first->GetRefCountImpl(), 1U);
}

TEST_F(PreviewList, NewestFrameStaysHeldBehindItsDelivery) {
    list->Subscribe(MakeViewer(times));
    auto const frame = MakeVideo(1, 1);
    list->OnVideoFrame(frame);
    Deliver();
    EXPECT_THAT(times, ElementsAre(1));
    EXPECT_EQ(frame->GetRefCountImpl(), 2U);
    list = nullptr;
    EXPECT_EQ(frame->GetRefCountImpl(), 1U);
}

TEST_F(PreviewList, NullLetsGoOfTheNewestFrameAndIsNotDelivered) {
    list->Subscribe(MakeViewer(times));
    auto const frame = MakeVideo(1, 1);
    list->OnVideoFrame(frame);
    list->OnVideoFrame(nullptr);
    EXPECT_EQ(frame->GetRefCountImpl(), 1U);
    Deliver();
    EXPECT_THAT(times, IsEmpty());
    Publish(2);
    Deliver();
    EXPECT_THAT(times, ElementsAre(2));
}

TEST_F(PreviewList, AtMost256TasksWaitAndTheyDeliverTheNewestFrame) {
    list->Subscribe(MakeViewer(times));
    for (int64 time = 1; time <= 1000; ++time) Publish(time);
    // One reference here, one of each waiting task.
    EXPECT_EQ(list->GetRefCountImpl(), 1U + VideoPreviewSubscriberList::MAX_PENDING_TASKS);
    Deliver();
    EXPECT_THAT(times, SizeIs(256));
    EXPECT_THAT(times, Each(1000));
    times.clear();
    Publish(1001);
    Deliver();
    EXPECT_THAT(times, ElementsAre(1001));
}

TEST_F(PreviewList, TaskThatDeliversMakesRoomForOneBelowTheCap) {
    bool filled = false;
    list->Subscribe(MakeShared<Viewer>([&](iptr<IDataVideo> const& frame) {
        times.push_back(frame->GetTime());
        if (filled) return;
        filled = true;
        // The 255 that still wait, and this one.
        Publish(1001);
        EXPECT_EQ(list->GetRefCountImpl(), 2U + VideoPreviewSubscriberList::MAX_PENDING_TASKS);
        Publish(1002);
        EXPECT_EQ(list->GetRefCountImpl(), 2U + VideoPreviewSubscriberList::MAX_PENDING_TASKS);
    }));
    for (int64 time = 1; time <= 300; ++time) Publish(time);
    Deliver();
    EXPECT_THAT(times, SizeIs(257));
    EXPECT_EQ(times.front(), 300);
    EXPECT_EQ(times.back(), 1002);
}

TEST_F(PreviewList, ListThatTheHostDropsLivesUntilItsTasksHaveDelivered) {
    auto const viewer = MakeViewer(times);
    list->Subscribe(viewer);
    Publish(1);
    Publish(2);
    list = nullptr;
    EXPECT_EQ(viewer->GetRefCountImpl(), 2U);
    Deliver();
    EXPECT_THAT(times, ElementsAre(2, 2));
    EXPECT_EQ(viewer->GetRefCountImpl(), 1U);
}

TEST_F(PreviewList, TasksThatThePoolDropsLetGoOfTheList) {
    auto const viewer = MakeViewer(times);
    list->Subscribe(viewer);
    Publish(1);
    pool->Stop();
    EXPECT_EQ(list->GetRefCountImpl(), 1U);
    // A stopped pool delivers nothing more.
    for (int64 time = 2; time < 600; ++time) Publish(time);
    EXPECT_EQ(list->GetRefCountImpl(), 1U);
    EXPECT_THAT(times, IsEmpty());
}

// --- Subscribers that call back --------------------------------------------------------------------------------------

TEST_F(PreviewList, SubscriberMayPublishFromInsideItsCall) {
    bool published = false;
    list->Subscribe(MakeShared<Viewer>([&](auto const& frame) {
        times.push_back(frame->GetTime());
        if (!std::exchange(published, true)) Publish(10);
    }));
    std::vector<int64> others;
    list->Subscribe(MakeViewer(others));
    Publish(1);
    Deliver();
    // The rest of this delivery has the frame that it began with, the new one comes with a task of its own.
    EXPECT_THAT(times, ElementsAre(1, 10));
    EXPECT_THAT(others, ElementsAre(1, 10));
}

TEST_F(PreviewList, SubscriberMaySubscribeAnotherFromInsideItsCall) {
    bool subscribed = false;
    list->Subscribe(MakeShared<Viewer>([&](auto const&) {
        if (!std::exchange(subscribed, true)) list->Subscribe(MakeViewer(times));
    }));
    Publish(1);
    Deliver();
    EXPECT_THAT(times, IsEmpty());
    Publish(2);
    Deliver();
    EXPECT_THAT(times, ElementsAre(2));
}

TEST_F(PreviewList, SubscriberMayUnsubscribeAnotherFromInsideItsCall) {
    auto const victim = MakeViewer(times);
    list->Subscribe(MakeShared<Viewer>([&](auto const&) { list->Unsubscribe(victim); }));
    list->Subscribe(victim);
    Publish(1);
    Deliver();
    EXPECT_THAT(times, IsEmpty());
    EXPECT_EQ(victim->GetRefCountImpl(), 1U);
}

TEST_F(PreviewList, SubscriberMayDropTheLastReferenceOfTheHostFromInsideItsCall) {
    list->Subscribe(MakeShared<Viewer>([&](auto const& frame) {
        times.push_back(frame->GetTime());
        list = nullptr;
    }));
    int const alive = Viewer::GetAlive();
    Publish(1);
    Deliver();
    EXPECT_THAT(times, ElementsAre(1));
    EXPECT_EQ(Viewer::GetAlive(), alive - 1);
}

TEST_F(PreviewList, ListMaySubscribeToAnother) {
    auto const inner = MakeList(pool);
    inner->Subscribe(MakeViewer(times));
    list->Subscribe(inner);
    Publish(1);
    Deliver();
    EXPECT_THAT(times, ElementsAre(1));
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { list->Subscribe(list); }),
              "publisher can't be its own subscriber");
}

// --- The door --------------------------------------------------------------------------------------------------------

TEST(PreviewDoor, ListNeedsAPool) {
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { MakeList(nullptr); }), "threadPool is NULL");
}

TEST(PreviewDoor, HostSubscribesThroughThePublisherAndIsCalledOnThePoolOfTheProcess) {
    auto const list = CreateVideoPreviewSubscriberList();
    auto const publisher = boost::dynamic_pointer_cast<Core::EventPublisher<IVideoPreviewSubscriber>>(list);
    ASSERT_NE(publisher, nullptr);
    auto const called = std::make_shared<Gate>();
    std::atomic<int64> time{0};
    auto const caller = std::this_thread::get_id();
    auto const viewer = MakeShared<Viewer>([&time, caller, called](auto const& frame) {
        time = frame->GetTime();
        EXPECT_NE(std::this_thread::get_id(), caller);
        called->Pass();
    });
    publisher->Subscribe(viewer);
    list->OnVideoFrame(MakeVideo(5, 1));
    called->AwaitArrivals(1);
    EXPECT_EQ(time, 5);
    EXPECT_TRUE(publisher->Unsubscribe(viewer));
    EXPECT_EQ(viewer->GetRefCountImpl(), 1U);
}

}  // namespace
}  // namespace Tarsel::Proc
