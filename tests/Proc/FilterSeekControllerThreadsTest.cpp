// Seeks of linked streams from several threads. Every step is held by gates: nothing here waits for time to pass.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <thread>

#include "Proc/Filters/Filters/FilterSeekController.h"
#include "Proc/Filters/Filters/IStreamSeekController.h"
#include "tests/support/Matchers.h"
#include "tests/support/WatchedVideo.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// Three streams under one controller.
class SeekControllerThreads : public ::testing::Test {
  protected:
    SeekControllerThreads() {
        for (int i = 0; i < 3; ++i) {
            sources.push_back(MakeShared<WatchedVideo>(20));
            wrappers.push_back(controller->AddStream(iptr<IStreamVideo>(sources.back())));
            mutexes.push_back(Hold(wrappers.size() - 1)->mutex());
        }
    }
    ~SeekControllerThreads() override {
        for (auto const& source : sources) EXPECT_EQ(source->overlaps, 0);
    }
    /// Holds a stream as long as what it gives lives.
    IStreamSeekController::StreamLock Hold(std::size_t index) {
        return dynamic_cast<IStreamSeekController&>(*wrappers[index]).LockStream();
    }
    bool IsFree(std::size_t index) {
        if (!mutexes[index]->try_lock()) return false;
        mutexes[index]->unlock();
        return true;
    }
    /// The seek that `begin` lets in is held at the first source until `end`.
    struct HeldSeek {
        explicit HeldSeek(SeekControllerThreads& test) : test(test) {
            gate.Close();
            test.sources[0]->onRequestSeek = [this] { gate.Pass(); };
            // The last thing that a seek does.
            test.sources[2]->onDoSeek = [this] { done = true; };
            host = std::thread([this] { this->test.controller->Seek(400); });
            gate.AwaitArrivals(1);
        }
        void End() {
            gate.Open();
            host.join();
        }
        SeekControllerThreads& test;
        Gate gate{false};
        std::atomic<bool> done{false};
        std::thread host;
    };

    std::vector<iptr<WatchedVideo>> sources;
    iptr<FilterSeekController> const controller = MakeShared<FilterSeekController>();
    std::vector<iptr<IStreamVideo>> wrappers;
    std::vector<Core::Mutex*> mutexes;
};

// --- The steps of a seek ---------------------------------------------------------------------------------------------

TEST_F(SeekControllerThreads, SeekTakesTheStreamsInOrderAndTouchesNoSourceBeforeItHasThemAll) {
    for (std::size_t held = 1; held < 3; ++held) {
        SCOPED_TRACE("stream " + std::to_string(held));
        auto lock = Hold(held);
        std::thread host([&] { controller->Seek(static_cast<int64>(held) * 400); });
        for (std::size_t ahead = 0; ahead < held; ++ahead)
            while (IsFree(ahead)) std::this_thread::yield();
        // It waits for the holder, so it hasn't come to those behind.
        for (std::size_t behind = held + 1; behind < 3; ++behind) EXPECT_TRUE(IsFree(behind));
        for (auto const& source : sources) EXPECT_THAT(source->log.Take(), IsEmpty());
        lock.reset();
        host.join();
        for (auto const& source : sources) EXPECT_EQ(source->log.Take().size(), 2U);
        for (std::size_t i = 0; i < 3; ++i) EXPECT_TRUE(IsFree(i));
    }
}

TEST_F(SeekControllerThreads, AllStreamsAreHeldFromTheFirstResetToTheLastSource) {
    int held = 0;
    auto const look = [&] {
        // From another thread: the seeking one must not try what it holds.
        std::thread([&] {
            for (std::size_t i = 0; i < 3; ++i) held += IsFree(i) ? 0 : 1;
        }).join();
    };
    for (auto const& source : sources) source->onDuration = source->onRequestSeek = source->onDoSeek = look;
    controller->Seek(400);
    // Three sources, asked for their length by the reset, then for both phases.
    EXPECT_EQ(held, 3 * 3 * 3);
}

TEST_F(SeekControllerThreads, ResetAndRequestAlternateStreamByStreamThenAllMove) {
    std::vector<std::string> order;
    for (std::size_t i = 0; i < 3; ++i) {
        std::string const name = std::to_string(i);
        // The base asks for the length when it resets.
        sources[i]->onDuration = [&order, name] { order.push_back("reset " + name); };
        sources[i]->onRequestSeek = [&order, name] { order.push_back("request " + name); };
        sources[i]->onDoSeek = [&order, name] { order.push_back("move " + name); };
    }
    controller->Seek(400);
    EXPECT_THAT(order, ElementsAre("reset 0", "request 0", "reset 1", "request 1", "reset 2", "request 2", "move 0",
                                   "move 1", "move 2"));
}

TEST_F(SeekControllerThreads, HolderThatComesDuringASeekGetsTheStreamBehindIt) {
    HeldSeek seek(*this);
    std::thread holder([&] {
        auto const lock = Hold(2);
        EXPECT_TRUE(seek.done);
    });
    seek.End();
    holder.join();
}

TEST_F(SeekControllerThreads, StreamIsAddedBehindTheSeekUnderWay) {
    auto const late = MakeShared<WatchedVideo>(20);
    iptr<IStreamVideo> wrapper;
    HeldSeek seek(*this);
    std::thread adding([&] {
        wrapper = controller->AddStream(iptr<IStreamVideo>(late));
        EXPECT_TRUE(seek.done);
    });
    seek.End();
    adding.join();
    late->log.Take();
    controller->Seek(80);
    EXPECT_THAT(late->log.Take(), ElementsAre("RequestSeek(80)", "DoSeek"));
}

TEST_F(SeekControllerThreads, WrapperLeavesBehindTheSeekUnderWay) {
    HeldSeek seek(*this);
    std::thread leaving([&] {
        wrappers[1] = nullptr;
        EXPECT_TRUE(seek.done);
    });
    seek.End();
    leaving.join();
    EXPECT_EQ(sources[1]->log.Take().size(), 2U);
    EXPECT_EQ(sources[1]->GetRefCountImpl(), 1U);
    controller->Seek(80);
    EXPECT_THAT(sources[1]->log.Take(), IsEmpty());
    EXPECT_THAT(wrappers[2]->Read(), IsVideo(80, 40));
}

TEST_F(SeekControllerThreads, SecondSeekIsCarriedOutBehindTheFirst) {
    HeldSeek seek(*this);
    std::thread second([&] { controller->Seek(80); });
    seek.End();
    second.join();
    for (auto const& source : sources)
        EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(400)", "DoSeek", "RequestSeek(80)", "DoSeek"));
    for (auto const& wrapper : wrappers) EXPECT_THAT(wrapper->Read(), IsVideo(80, 40));
}

TEST_F(SeekControllerThreads, ThreadThatSeeksMayTakeTheControllersLockAgain) {
    std::string message;
    sources[1]->onRequestSeek = [&] {
        message = MessageOf<FilterException>([&] { controller->AddStream(iptr<IStreamVideo>(sources[0])); });
        controller->RemoveStream(sources[0].get());
    };
    controller->Seek(400);
    EXPECT_EQ(message, "This stream is already added into current IFilterSeekController object");
    EXPECT_THAT(wrappers[0]->Read(), IsVideo(400, 40));
}

TEST_F(SeekControllerThreads, ReadingDoesNotTakeTheStreamsLock) {
    controller->Seek(400);
    auto const lock = Hold(0);
    EXPECT_THAT(wrappers[0]->Read(), IsVideo(400, 40));
    EXPECT_EQ(wrappers[0]->GetPosition(), 440);
}

TEST_F(SeekControllerThreads, FailedSeekFreesAllStreamsForOtherThreads) {
    sources[1]->onDoSeek = [] { TARSEL_THROW(ProcException, "broken"); };
    EXPECT_EQ(MessageOf<ProcException>([&] { controller->Seek(400); }), "broken");
    for (std::size_t i = 0; i < 3; ++i) EXPECT_TRUE(IsFree(i));
    sources[1]->onDoSeek = nullptr;
    std::thread other([&] { controller->Seek(80); });
    other.join();
    for (auto const& wrapper : wrappers) EXPECT_THAT(wrapper->Read(), IsVideo(80, 40));
}

}  // namespace
}  // namespace Tarsel::Proc
