#include "contracts/Core/ThreadPool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <thread>
#include <vector>

#include "contracts/Core/Exception.h"
#include "tests/support/Drain.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/LogLines.h"

namespace Tarsel::Core {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using TestSupport::MessageOf;

constexpr auto BY_HAND = ThreadPool::StartMode::BY_HAND;

/// Calls a function when the last copy of a task that holds it goes.
class AtDestruction {
  public:
    explicit AtDestruction(std::function<void()> call) : call(std::move(call)) {}
    AtDestruction(AtDestruction const&) = delete;
    AtDestruction& operator=(AtDestruction const&) = delete;
    ~AtDestruction() { call(); }

  private:
    std::function<void()> call;
};

TEST(ThreadPool, OneThreadRunsTasksInTheOrderOfTheirAddition) {
    ThreadPool pool(1);
    std::vector<int> order;
    for (int i = 0; i < 5; ++i) pool.AddTask([&order, i] { order.push_back(i); });
    Drain(pool);
    EXPECT_THAT(order, ElementsAre(0, 1, 2, 3, 4));
}

TEST(ThreadPool, AsManyTasksRunAtOnceAsThereAreThreads) {
    Gate gate;
    gate.Close();
    ThreadPool pool(3);
    EXPECT_EQ(pool.GetThreadCount(), 3U);
    for (int i = 0; i < 4; ++i) pool.AddTask([&gate] { gate.Pass(); });
    gate.AwaitArrivals(3);
    gate.Allow(1);
    gate.AwaitArrivals(4);
    gate.Open();
}

TEST(ThreadPool, TasksWaitForAStartByHand) {
    std::vector<int> order;
    ThreadPool pool(1, BY_HAND);
    for (int i = 0; i < 3; ++i) pool.AddTask([&order, i] { order.push_back(i); });
    order.push_back(-1);
    pool.Start();
    pool.Start();
    Drain(pool);
    EXPECT_THAT(order, ElementsAre(-1, 0, 1, 2));
}

TEST(ThreadPool, PoolThatNeverStartedIsDestroyedWithItsTasks) {
    bool ran = false;
    {
        ThreadPool pool(2, BY_HAND);
        pool.AddTask([&ran] { ran = true; });
    }
    EXPECT_FALSE(ran);
}

TEST(ThreadPool, NoThreadsAndNoTaskAreRefused) {
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { ThreadPool(0U); }), "thread pool has no threads");
    ThreadPool pool(1);
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { pool.AddTask(nullptr); }), "task is empty");
}

TEST(ThreadPool, TaskThatThrowsIsLoggedAndThePoolGoesOn) {
    LogLines const lines(0);
    ThreadPool pool(1);
    std::vector<std::function<void()>> const failures{
        [] { TARSEL_THROW(IOException, "first"); },
        [] { TARSEL_THROW(Exception, "second"); },
        [] { TARSEL_THROW(std::logic_error, "third"); },
        [] { TARSEL_THROW(Proc::FilterException, "fourth"); },
        [] { throw std::bad_alloc(); },
        [] { throw 6; },
        [] { throw boost::thread_interrupted(); },
    };
    for (auto const& failure : failures) pool.AddTask(failure);
    bool ran = false;
    pool.AddTask([&ran] { ran = true; });
    Drain(pool);
    EXPECT_TRUE(ran);
    auto const errors = lines.Get(google::GLOG_ERROR);
    ASSERT_EQ(errors.size(), failures.size());
    for (auto const& error : errors) EXPECT_THAT(error, HasSubstr("Task of a thread pool has failed: "));
    EXPECT_THAT(errors[0], HasSubstr("first"));
    EXPECT_THAT(errors[0], HasSubstr("IOException"));
    EXPECT_THAT(errors[2], HasSubstr("third"));
    EXPECT_THAT(errors[4], HasSubstr("bad_alloc"));
}

TEST(ThreadPool, TaskMayAddTasks) {
    auto const gate = std::make_shared<Gate>();
    ThreadPool pool(1);
    std::function<void(int)> const descend = [&](int left) {
        if (left == 0) return gate->Pass();
        pool.AddTask([&descend, left] { descend(left - 1); });
    };
    pool.AddTask([&descend] { descend(10); });
    gate->AwaitArrivals(1);
}

TEST(ThreadPool, DestructionDropsWhatHasNotBegunAndWaitsForWhatRuns) {
    Gate gate;
    gate.Close();
    bool finished = false;
    bool ran = false;
    {
        ThreadPool pool(1);
        pool.AddTask([&] {
            gate.Pass();
            finished = true;
        });
        gate.AwaitArrivals(1);
        // The running task is let on only by the drop of the waiting one.
        auto const token = std::make_shared<AtDestruction>([&gate] { gate.Open(); });
        pool.AddTask([&ran, token] { ran = true; });
        pool.AddTask([token] {});
    }
    EXPECT_TRUE(finished);
    EXPECT_FALSE(ran);
}

TEST(ThreadPool, TaskAddedBehindTheStopIsDroppedAtOnce) {
    ThreadPool pool(1);
    Drain(pool);
    pool.Stop();
    pool.Stop();
    bool dropped = false;
    bool ran = false;
    pool.AddTask([&ran, token = std::make_shared<AtDestruction>([&dropped] { dropped = true; })] { ran = true; });
    EXPECT_TRUE(dropped);
    EXPECT_FALSE(ran);
    pool.Start();
}

TEST(ThreadPool, DestructionOfATaskMayAddAnother) {
    auto const gate = std::make_shared<Gate>();
    ThreadPool pool(1);
    auto const add = [&pool, gate] { pool.AddTask([gate] { gate->Pass(); }); };
    pool.AddTask([token = std::make_shared<AtDestruction>(add)] {});
    gate->AwaitArrivals(1);
}

TEST(ThreadPool, TaskMayDropTheLastReferenceToThePool) {
    for (unsigned const threads : {1U, 3U}) {
        auto const gate = std::make_shared<Gate>();
        gate->Close();
        auto pool = std::make_shared<ThreadPool>(threads);
        std::weak_ptr<ThreadPool> const watch = pool;
        auto const begun = std::make_shared<Gate>();
        pool->AddTask([gate, begun, pool]() mutable {
            begun->Pass();
            gate->Pass();
            pool = nullptr;
        });
        begun->AwaitArrivals(1);
        if (threads == 1) pool->AddTask([] { ADD_FAILURE() << "ran in a pool that is gone"; });
        pool = nullptr;
        EXPECT_FALSE(watch.expired());
        gate->Open();
        while (!watch.expired()) std::this_thread::yield();
    }
}

TEST(ThreadPool, TaskMayStopThePool) {
    ThreadPool pool(2);
    auto const stopped = std::make_shared<Gate>();
    pool.AddTask([&pool, stopped] {
        pool.Stop();
        stopped->Pass();
    });
    stopped->AwaitArrivals(1);
    pool.AddTask([] { ADD_FAILURE() << "ran behind the stop"; });
}

TEST(ThreadPool, TasksOfManyThreadsAllRun) {
    constexpr int ADDERS = 4;
    constexpr int TASKS = 500;
    std::atomic<int> ran{0};
    {
        ThreadPool pool(4);
        std::vector<std::thread> adders;
        Gate last;
        for (int i = 0; i < ADDERS; ++i)
            adders.emplace_back([&] {
                for (int task = 0; task < TASKS; ++task)
                    pool.AddTask([&] {
                        pool.AddTask([&] {
                            if (++ran == ADDERS * TASKS) last.Pass();
                        });
                    });
            });
        for (auto& adder : adders) adder.join();
        last.AwaitArrivals(1);
        pool.Stop();
    }
    EXPECT_EQ(ran, ADDERS * TASKS);
}

TEST(ThreadPool, PoolsAreDestroyedWhileTheirTasksRunAddAndWait) {
    for (unsigned round = 0; round < 100; ++round) {
        std::atomic<unsigned> alive{0};
        {
            ThreadPool pool(1 + round % 4);
            for (unsigned i = 0; i < round % 17; ++i) {
                ++alive;
                auto const token = std::make_shared<AtDestruction>([&alive] { --alive; });
                pool.AddTask([&pool, token] { pool.AddTask([token] {}); });
            }
        }
        ASSERT_EQ(alive, 0U);
    }
}

TEST(GlobalThreadPool, IsOneWithTwoToEightThreads) {
    auto const pool = GetGlobalThreadPool();
    EXPECT_EQ(pool, GetGlobalThreadPool());
    EXPECT_GE(pool->GetThreadCount(), 2U);
    EXPECT_LE(pool->GetThreadCount(), 8U);
    auto const gate = std::make_shared<Gate>();
    pool->AddTask([gate] { gate->Pass(); });
    gate->AwaitArrivals(1);
}

/// The end of a process is tried in one of its own.
class ProcessEnd : public ::testing::Test {
  protected:
    ProcessEnd() { ::testing::FLAGS_gtest_death_test_style = "threadsafe"; }
};
using ProcessEndDeathTest = ProcessEnd;

/// Uses the pool from its destructor, which runs behind the pool's stop.
struct LateUser {
    ~LateUser() {
        GetGlobalThreadPool()->AddTask([] { std::abort(); });
    }
};

TEST_F(ProcessEndDeathTest, WaitsForTasksThatRunAndDropsTheOthers) {
    auto const end = [] {
        static LateUser const late;
        auto const pool = GetGlobalThreadPool();
        static Gate& gate = *new Gate;
        for (unsigned i = 0; i < pool->GetThreadCount(); ++i) pool->AddTask([] { gate.Pass(); });
        pool->AddTask([] {
            gate.Pass();
            TARSEL_THROW(IOException, "at the end");
        });
        gate.AwaitArrivals(1);
        for (int i = 0; i < 100; ++i) pool->AddTask([pool] { pool->AddTask([] {}); });
        std::exit(0);
    };
    EXPECT_EXIT(end(), ::testing::ExitedWithCode(0), "");
}

TEST_F(ProcessEndDeathTest, TaskMayEndTheProcess) {
    auto const end = [] {
        static Gate& gate = *new Gate;
        gate.Close();
        GetGlobalThreadPool()->AddTask([] { std::exit(0); });
        gate.Pass();
    };
    EXPECT_EXIT(end(), ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace Tarsel::Core
