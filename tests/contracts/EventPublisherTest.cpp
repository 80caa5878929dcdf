#include "contracts/Core/EventPublisher.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "contracts/Core/TimerSimple.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/Gate.h"

namespace Tarsel::Core {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using TestSupport::MessageOf;

class IListener : public virtual IRefCountable {
  public:
    virtual void OnNumber(int number) = 0;
};

class Publisher final : public EventHandlerList<IListener, SyncExecutePolicy>, public RefCounted {
  public:
    void Tell(int number) {
        Fire([number](IListener& listener) { listener.OnNumber(number); });
    }
};

class Listener final : public IListener, public RefCounted {
  public:
    explicit Listener(std::function<void(int)> call) : call(std::move(call)) {}
    void OnNumber(int number) override { call(number); }

  private:
    std::function<void(int)> const call;
};

class EventPublisherTest : public ::testing::Test {
  protected:
    /// A listener that writes down its name and the number, and goes on with `more`.
    iptr<IListener> Make(std::string const& name, std::function<void()> const& more = nullptr) {
        return MakeShared<Listener>([this, name, more](int number) {
            told.push_back(name + std::to_string(number));
            if (more) more();
        });
    }

    iptr<Publisher> const publisher = MakeShared<Publisher>();
    std::vector<std::string> told;
};

TEST_F(EventPublisherTest, SubscribersAreCalledInTheOrderOfSubscription) {
    auto const a = Make("a"), b = Make("b"), c = Make("c");
    publisher->Subscribe(b);
    publisher->Subscribe(a);
    publisher->Subscribe(c);
    publisher->Tell(1);
    EXPECT_TRUE(publisher->Unsubscribe(b));
    publisher->Subscribe(b);
    publisher->Tell(2);
    EXPECT_THAT(told, ElementsAre("b1", "a1", "c1", "a2", "c2", "b2"));
}

TEST_F(EventPublisherTest, CallsAreMadeOnTheThreadThatFires) {
    std::thread::id called;
    publisher->Subscribe(Make("a", [&] { called = std::this_thread::get_id(); }));
    publisher->Tell(1);
    EXPECT_EQ(called, std::this_thread::get_id());
}

TEST_F(EventPublisherTest, NullTwiceAndThePublisherItselfAreRefused) {
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { publisher->Subscribe(nullptr); }), "subscriber is NULL");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { publisher->Unsubscribe(nullptr); }), "subscriber is NULL");
    auto const a = Make("a");
    publisher->Subscribe(a);
    EXPECT_EQ(MessageOf<std::logic_error>([&] { publisher->Subscribe(a); }), "subscriber is subscribed already");
    publisher->Tell(1);
    EXPECT_THAT(told, ElementsAre("a1"));

    class Both final : public IListener, public EventHandlerList<IListener, SyncExecutePolicy>, public RefCounted {
      public:
        void OnNumber(int) override {}
    };
    auto const both = MakeShared<Both>();
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { both->Subscribe(both); }),
              "publisher can't be its own subscriber");
}

TEST_F(EventPublisherTest, UnsubscribeTellsWhetherTheSubscriberWasThere) {
    auto const a = Make("a");
    EXPECT_FALSE(publisher->Unsubscribe(a));
    publisher->Subscribe(a);
    EXPECT_TRUE(publisher->Unsubscribe(a));
    EXPECT_FALSE(publisher->Unsubscribe(a));
    EXPECT_EQ(a->GetRefCountImpl(), 1U);
}

TEST_F(EventPublisherTest, SubscribersAreHeldUntilThePublisherGoes) {
    auto const a = Make("a");
    auto own = MakeShared<Publisher>();
    own->Subscribe(a);
    EXPECT_EQ(a->GetRefCountImpl(), 2U);
    own = nullptr;
    EXPECT_EQ(a->GetRefCountImpl(), 1U);
}

TEST_F(EventPublisherTest, SubscriberMayUnsubscribeItselfFromInsideItsCall) {
    iptr<IListener> self;
    self = Make("self", [&] { EXPECT_TRUE(publisher->Unsubscribe(self)); });
    publisher->Subscribe(self);
    publisher->Subscribe(Make("b"));
    publisher->Tell(1);
    publisher->Tell(2);
    EXPECT_THAT(told, ElementsAre("self1", "b1", "b2"));
    EXPECT_EQ(self->GetRefCountImpl(), 1U);
}

TEST_F(EventPublisherTest, SubscriberThatOnlyThePublisherHeldLivesUntilItsCallReturns) {
    IListener* self = nullptr;
    auto a = Make("a", [&] {
        publisher->Unsubscribe(self);
        told.emplace_back("alive");
    });
    self = a.get();
    publisher->Subscribe(a);
    a = nullptr;
    publisher->Tell(1);
    publisher->Tell(2);
    EXPECT_THAT(told, ElementsAre("a1", "alive"));
}

TEST_F(EventPublisherTest, SubscriberRemovedByAnotherDuringADeliveryIsNotCalledInIt) {
    iptr<IListener> const later = Make("later"), earlier = Make("earlier");
    publisher->Subscribe(earlier);
    publisher->Subscribe(Make("remover", [&] {
        publisher->Unsubscribe(later);
        publisher->Unsubscribe(earlier);
    }));
    publisher->Subscribe(later);
    publisher->Subscribe(Make("last"));
    publisher->Tell(1);
    publisher->Tell(2);
    EXPECT_THAT(told, ElementsAre("earlier1", "remover1", "last1", "remover2", "last2"));
}

TEST_F(EventPublisherTest, SubscriberThatComesDuringADeliveryTakesPartFromTheNextOneOn) {
    iptr<IListener> const late = Make("late");
    bool subscribed = false;
    publisher->Subscribe(Make("a", [&] {
        if (!std::exchange(subscribed, true)) publisher->Subscribe(late);
    }));
    publisher->Tell(1);
    publisher->Tell(2);
    EXPECT_THAT(told, ElementsAre("a1", "a2", "late2"));
}

TEST_F(EventPublisherTest, SubscriberThatTakesThePlaceOfTheLastOneDuringADeliveryIsNotCalledInIt) {
    iptr<IListener> const last = Make("last"), successor = Make("successor");
    publisher->Subscribe(Make("changer", [&] {
        if (publisher->Unsubscribe(last)) publisher->Subscribe(successor);
    }));
    publisher->Subscribe(last);
    publisher->Tell(1);
    publisher->Tell(2);
    EXPECT_THAT(told, ElementsAre("changer1", "changer2", "successor2"));
}

TEST_F(EventPublisherTest, SubscriberThatLeavesAndComesBackDuringADeliveryIsNotCalledInItAgain) {
    iptr<IListener> self;
    self = Make("self", [&] {
        publisher->Unsubscribe(self);
        publisher->Subscribe(self);
    });
    publisher->Subscribe(self);
    publisher->Tell(1);
    publisher->Tell(2);
    EXPECT_THAT(told, ElementsAre("self1", "self2"));
    publisher->Unsubscribe(self);
}

TEST_F(EventPublisherTest, SubscriberMayFireFromInsideItsCall) {
    int depth = 0;
    publisher->Subscribe(Make("a", [&] {
        if (depth++ == 0) publisher->Tell(2);
    }));
    publisher->Subscribe(Make("b"));
    publisher->Tell(1);
    EXPECT_THAT(told, ElementsAre("a1", "a2", "b2", "b1"));
}

TEST_F(EventPublisherTest, FailureOfACallEndsTheDeliveryAndLeavesNoLockBehind) {
    bool fails = true;
    publisher->Subscribe(Make("a", [&] {
        if (fails) TARSEL_THROW(std::logic_error, "a fails");
    }));
    auto const b = Make("b");
    publisher->Subscribe(b);
    EXPECT_EQ(MessageOf<std::logic_error>([&] { publisher->Tell(1); }), "a fails");
    fails = false;
    std::thread other([&] {
        publisher->Tell(2);
        publisher->Unsubscribe(b);
    });
    other.join();
    EXPECT_THAT(told, ElementsAre("a1", "a2", "b2"));
}

TEST_F(EventPublisherTest, UnsubscribeFromAnotherThreadWaitsForTheCallInProgress) {
    auto const gate = std::make_shared<Gate>();
    gate->Close();
    std::atomic<bool> left{false};
    auto const slow = Make("slow", [&] {
        gate->Pass();
        left = true;
    });
    publisher->Subscribe(slow);
    std::thread firing([&] { publisher->Tell(1); });
    gate->AwaitArrivals(1);
    bool leftFirst = false;
    std::thread removing([&] {
        publisher->Unsubscribe(slow);
        leftFirst = left;
    });
    // One reference here, one of the call: the removal itself is done.
    while (slow->GetRefCountImpl() > 2) std::this_thread::yield();
    gate->Open();
    removing.join();
    firing.join();
    EXPECT_TRUE(leftFirst);
    EXPECT_EQ(slow->GetRefCountImpl(), 1U);
}

TEST_F(EventPublisherTest, SubscribeDoesNotWaitForACallInProgress) {
    auto const gate = std::make_shared<Gate>();
    gate->Close();
    publisher->Subscribe(Make("slow", [&] { gate->Pass(); }));
    std::thread firing([&] { publisher->Tell(1); });
    gate->AwaitArrivals(1);
    auto const late = MakeShared<Listener>([](int) { ADD_FAILURE() << "called in a delivery that it came behind"; });
    publisher->Subscribe(late);
    gate->Open();
    firing.join();
}

TEST_F(EventPublisherTest, NobodyIsCalledBehindUnsubscribeWhileOthersFire) {
    std::atomic<bool> done{false};
    std::vector<std::thread> firing;
    for (int i = 0; i < 2; ++i)
        firing.emplace_back([&] {
            while (!done) publisher->Tell(1);
        });
    std::mt19937 random(7);
    for (int round = 0; round < 300; ++round) {
        std::atomic<bool> gone{false};
        std::atomic<int> late{0};
        std::vector<iptr<IListener>> listeners;
        for (unsigned i = 0; i <= random() % 3; ++i) {
            listeners.push_back(MakeShared<Listener>([&](int) {
                if (gone) ++late;
            }));
            publisher->Subscribe(listeners.back());
        }
        for (unsigned i = random() % 5; i != 0; --i) std::this_thread::yield();
        for (auto const& listener : listeners) {
            publisher->Unsubscribe(listener);
            ASSERT_EQ(listener->GetRefCountImpl(), 1U);
        }
        gone = true;
        std::this_thread::yield();
        ASSERT_EQ(late, 0);
    }
    done = true;
    for (auto& thread : firing) thread.join();
}

TEST(GiveWay, PatientThreadWaitsForThoseWhoAreInAHurryWhenItComes) {
    GiveWay way;
    way.Await();
    Gate coming;
    std::atomic<int> had{0};
    int hadBehindWait = 0;
    auto first = std::make_unique<GiveWay::Hurry>(way);
    auto second = std::make_unique<GiveWay::Hurry>(way);
    std::thread patient([&] {
        coming.Pass();
        way.Await();
        hadBehindWait = had;
    });
    coming.AwaitArrivals(1);
    for (int i = 0; i < 100; ++i) std::this_thread::yield();
    had = 1;
    first = nullptr;
    for (int i = 0; i < 100; ++i) std::this_thread::yield();
    had = 2;
    second = nullptr;
    patient.join();
    EXPECT_EQ(hadBehindWait, 2);
}

TEST(TimerSimple, CountsFromConstructionAndFromReset) {
    TimerSimple timer;
    while (timer.GetElapsed() < 2) std::this_thread::yield();
    int64 const first = timer.GetElapsed();
    EXPECT_GE(timer.GetElapsed(), first);
    TimerSimple const older = timer;
    timer.Reset();
    int64 const restarted = timer.GetElapsed();
    EXPECT_GE(restarted, 0);
    EXPECT_GE(older.GetElapsed(), restarted + 2);
}

}  // namespace
}  // namespace Tarsel::Core
