// The thread of the read-ahead stage. Every step is held by gates: nothing here waits for time to pass.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/thread/thread_only.hpp>
#include <optional>
#include <thread>

#include "contracts/Proc/FilterCacheData.h"
#include "tests/support/LogLines.h"
#include "tests/support/Matchers.h"
#include "tests/support/WatchedVideo.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

/// Keeps a read of the source going, whatever interrupts it, until somebody has tried to.
void StayUntilInterrupted() {
    while (!boost::this_thread::interruption_requested()) std::this_thread::yield();
}

/// Passes a gate when the thread that made it ends, behind everything that the thread did.
class ExitNotice {
  public:
    explicit ExitNotice(std::shared_ptr<Gate> gate) : gate(std::move(gate)) {}
    ~ExitNotice() { gate->Pass(); }

  private:
    std::shared_ptr<Gate> const gate;
};

class CacheDataThreads : public ::testing::Test {
  protected:
    ~CacheDataThreads() override {
        gate->Open();
        stage = nullptr;
        EXPECT_EQ(source->overlaps, 0);
        EXPECT_EQ(source->GetRefCountImpl(), 1U);
    }
    /// Every read of the source passes the gate.
    void Hold() {
        gate->Close();
        source->onRead = [this](int) { gate->Pass(); };
    }

    std::shared_ptr<Gate> const gate = std::make_shared<Gate>();
    iptr<WatchedVideo> const source = MakeShared<WatchedVideo>(20);
    iptr<IStreamVideo> stage = CreateFilterCacheData(source);
};

// --- The way of a picture --------------------------------------------------------------------------------------------

TEST_F(CacheDataThreads, SourceIsReadOnAThreadOfItsOwnThatTheFirstReadStarts) {
    std::thread::id reader;
    source->onRead = [&](int) { reader = std::this_thread::get_id(); };
    Seek(*stage, 0);
    EXPECT_EQ(source->reads, 0);
    stage->Read();
    stage->ReleaseInternalData();  // joins the thread, so that its identifier can be read
    EXPECT_NE(reader, std::thread::id());
    EXPECT_NE(reader, std::this_thread::get_id());
}

TEST_F(CacheDataThreads, PositionStartsTheThreadToo) {
    std::thread::id reader;
    source->onRead = [&](int) { reader = std::this_thread::get_id(); };
    Seek(*stage, 0);
    EXPECT_EQ(stage->GetPosition(), 0);
    stage->ReleaseInternalData();
    EXPECT_NE(reader, std::thread::id());
    EXPECT_NE(reader, std::this_thread::get_id());
}

TEST_F(CacheDataThreads, OneFrameWaitsWhileTheNextOneIsRead) {
    Hold();
    gate->Allow(2);
    EXPECT_THAT(stage->Read(), IsVideo(0, 40));
    // The second one is in the mailbox, the third one in the source, although nobody asks.
    gate->AwaitArrivals(3);
    EXPECT_THAT(stage->Read(), IsVideo(40, 40));
}

TEST_F(CacheDataThreads, SourceIsNeverReadFurtherThanOneFrameAndTheOneInHand) {
    std::atomic<int> asked{0}, tooFar{0};
    source->onRead = [&](int number) {
        if (number > asked + 1) ++tooFar;
    };
    for (int i = 0; i < 20; ++i) {
        // The thread gets as far as it can ahead of each read.
        if (i > 0) {
            while (source->reads < std::min(20, i + 2)) std::this_thread::yield();
            stage->GetFormatCodec();  // behind that read
        }
        ++asked;
        EXPECT_THAT(stage->Read(), IsVideo(i * 40, 40));
    }
    stage = nullptr;
    EXPECT_EQ(tooFar, 0);
}

TEST_F(CacheDataThreads, ConsumerWaitsForAFrameThatIsBeingRead) {
    Hold();
    iptr<IDataVideo> frame;
    std::thread consumer([&] { frame = stage->Read(); });
    gate->AwaitArrivals(1);
    gate->Allow(1);
    consumer.join();
    EXPECT_THAT(frame, IsVideo(0, 40));
}

TEST_F(CacheDataThreads, FormatDurationStatisticsAndVisitorsWaitForTheReadUnderWay) {
    Hold();
    gate->Allow(1);
    stage->Read();
    gate->AwaitArrivals(2);
    std::thread format([&] { EXPECT_EQ(stage->GetFormatCodec(), source->format); });
    std::thread duration([&] { EXPECT_EQ(stage->GetDuration(), 800); });
    std::thread statistic([&] { EXPECT_EQ(stage->GetStatistic().Children().size(), 2U); });
    std::thread visitor([&] {
        Visitors::InfoCollector names;
        stage->Accept(names);
        EXPECT_EQ(names.names.size(), 2U);
    });
    gate->Open();
    format.join();
    duration.join();
    statistic.join();
    visitor.join();
    // None of them met the read at the source: looked at when the test ends.
}

TEST_F(CacheDataThreads, InterruptedConsumerLeavesAStageThatReadsOn) {
    Hold();
    bool interrupted = false;
    Core::Thread consumer([&] {
        try {
            stage->Read();
        } catch (boost::thread_interrupted const&) {
            interrupted = true;
        }
    });
    gate->AwaitArrivals(1);
    consumer.Interrupt();
    consumer.Join();
    EXPECT_TRUE(interrupted);
    gate->Open();
    EXPECT_EQ(ReadAll(*stage).size(), 20U);
}

// --- Seek, release and destruction, step by step ---------------------------------------------------------------------

TEST_F(CacheDataThreads, SeekWaitsForTheReadUnderWayAndDropsItsFrame) {
    bool left = false, leftAheadOfTheSeek = false;
    Gate arrived;
    source->onRead = [&](int number) {
        if (number != 1) return;
        arrived.Pass();
        StayUntilInterrupted();
        left = true;
    };
    source->onRequestSeek = [&] { leftAheadOfTheSeek = left; };
    EXPECT_THAT(stage->Read(), IsVideo(0, 40));
    arrived.AwaitArrivals(1);
    stage->RequestSeek(400, nullptr);
    EXPECT_TRUE(leftAheadOfTheSeek);
    EXPECT_EQ(source->reads, 2);
    stage->DoSeek();
    EXPECT_EQ(source->reads, 2);
    EXPECT_EQ(stage->GetPosition(), 400);
    EXPECT_EQ(ReadAll(*stage).size(), 10U);
}

TEST_F(CacheDataThreads, SeekBreaksAReadThatCanBeInterrupted) {
    Hold();
    gate->Allow(1);
    stage->Read();
    gate->AwaitArrivals(2);
    stage->RequestSeek(400, nullptr);
    stage->DoSeek();
    gate->Open();
    EXPECT_THAT(stage->Read(), IsVideo(400, 40));
}

TEST_F(CacheDataThreads, SeekEndsAThreadThatWaitsForTheConsumerAndDropsBothFrames) {
    Hold();
    gate->Allow(3);
    stage->Read();
    gate->AwaitArrivals(3);
    stage->GetFormatCodec();  // the third frame has been read: it finds the mailbox full
    EXPECT_EQ(source->reads, 3);
    stage->RequestSeek(400, nullptr);
    stage->DoSeek();
    gate->Open();
    EXPECT_THAT(stage->Read(), IsVideo(400, 40));
    EXPECT_THAT(stage->Read(), IsVideo(440, 40));
}

TEST_F(CacheDataThreads, SeekBehindTheEndTakesTheEndBackAheadOfTheSourcesSeek) {
    std::optional<bool> ended;
    source->onRequestSeek = [&] { ended = stage->IsEndOfStream(); };
    ReadAll(*stage);
    EXPECT_TRUE(stage->IsEndOfStream());
    stage->RequestSeek(760, nullptr);
    EXPECT_EQ(ended, false);
    stage->DoSeek();
    EXPECT_THAT(ReadAll(*stage), ElementsAre(IsVideo(760, 40)));
}

TEST_F(CacheDataThreads, NoThreadLivesFromTheRequestToTheNextRead) {
    stage->Read();
    stage->RequestSeek(400, nullptr);
    int const reads = source->reads;
    stage->DoSeek();
    stage->FinishSeek();
    stage->GetDuration();
    EXPECT_EQ(source->reads, reads);
    stage->RequestSeek(80, nullptr);
    stage->DoSeek();
    EXPECT_EQ(source->reads, reads);
    EXPECT_THAT(stage->Read(), IsVideo(80, 40));
}

TEST_F(CacheDataThreads, SecondPhaseEndsAThreadThatWasStartedBetweenThePhases) {
    bool left = false, leftAheadOfTheSeek = true;
    Gate arrived;
    stage->RequestSeek(400, nullptr);
    source->onRead = [&](int number) {
        if (number != 1) return;
        arrived.Pass();
        StayUntilInterrupted();
        left = true;
    };
    source->onDoSeek = [&] { leftAheadOfTheSeek = left; };
    stage->Read();
    arrived.AwaitArrivals(1);
    stage->DoSeek();
    EXPECT_TRUE(leftAheadOfTheSeek);
    EXPECT_THAT(stage->Read(), IsVideo(400, 40));
}

TEST_F(CacheDataThreads, ReleaseWaitsForTheReadUnderWayAndDropsItsFrame) {
    bool left = false, leftAheadOfTheRelease = false;
    Gate arrived;
    source->onRead = [&](int number) {
        if (number != 1) return;
        arrived.Pass();
        StayUntilInterrupted();
        left = true;
    };
    source->onRelease = [&] { leftAheadOfTheRelease = left; };
    stage->Read();
    arrived.AwaitArrivals(1);
    stage->ReleaseInternalData();
    EXPECT_TRUE(leftAheadOfTheRelease);
    EXPECT_EQ(source->reads, 2);
    Seek(*stage, 400);
    EXPECT_THAT(stage->Read(), IsVideo(400, 40));
}

TEST_F(CacheDataThreads, ReleaseEndsAThreadThatWaitsForTheConsumer) {
    Hold();
    gate->Allow(3);
    stage->Read();
    gate->AwaitArrivals(3);
    stage->GetFormatCodec();
    stage->ReleaseInternalData();
    EXPECT_EQ(source->reads, 3);
    EXPECT_EQ(source->log.Take().back(), "ReleaseInternalData");
}

TEST_F(CacheDataThreads, DestructionWaitsForTheReadUnderWay) {
    std::atomic<bool> left{false};
    Gate arrived;
    source->onRead = [&](int number) {
        if (number != 1) return;
        arrived.Pass();
        StayUntilInterrupted();
        left = true;
    };
    stage->Read();
    arrived.AwaitArrivals(1);
    stage = nullptr;
    EXPECT_TRUE(left);
    EXPECT_EQ(source->reads, 2);
}

TEST_F(CacheDataThreads, DestructionBreaksAReadThatCanBeInterrupted) {
    Hold();
    gate->Allow(1);
    stage->Read();
    gate->AwaitArrivals(2);
    stage = nullptr;
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
}

TEST_F(CacheDataThreads, DestructionEndsAThreadThatWaitsForTheConsumer) {
    Hold();
    gate->Allow(3);
    stage->Read();
    gate->AwaitArrivals(3);
    stage->GetFormatCodec();
    stage = nullptr;
    EXPECT_EQ(source->reads, 3);
}

TEST_F(CacheDataThreads, DestructionBehindTheEndAndWithoutAnyReadEndsToo) {
    ReadAll(*stage);
    stage = CreateFilterCacheData(source);
    stage = nullptr;
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
}

// --- An end from the host --------------------------------------------------------------------------------------------

TEST_F(CacheDataThreads, EndFromTheHostReachesASourceThatIsBeingReadAndWakesTheConsumer) {
    Hold();
    iptr<IDataVideo> frame = MakeVideo(1, 1);
    std::thread consumer([&] { frame = stage->Read(); });
    gate->AwaitArrivals(1);
    stage->SetEndOfStream();
    consumer.join();
    EXPECT_EQ(frame, nullptr);
    EXPECT_TRUE(source->IsEndOfStream());
    EXPECT_TRUE(stage->IsEndOfStream());
}

TEST_F(CacheDataThreads, EndFromTheHostWakesAConsumerThatAsksForThePosition) {
    Hold();
    int64 position = 1;
    std::thread consumer([&] { position = stage->GetPosition(); });
    gate->AwaitArrivals(1);
    stage->SetEndOfStream();
    consumer.join();
    EXPECT_EQ(position, NO_VALUE);
}

TEST_F(CacheDataThreads, FrameThatWaitsIsStillGivenBehindAnEndFromTheHostAndNoOther) {
    gate->Close();
    source->onGive = [this](int) { gate->Pass(); };
    gate->Allow(2);
    EXPECT_THAT(stage->Read(), IsVideo(0, 40));
    gate->AwaitArrivals(3);  // the second frame is in the mailbox, the third one in the source's hand
    stage->SetEndOfStream();
    gate->Open();
    stage->GetFormatCodec();  // behind the read
    EXPECT_THAT(stage->Read(), IsVideo(40, 40));
    for (int i = 0; i < 3; ++i) EXPECT_EQ(stage->Read(), nullptr);
    EXPECT_EQ(source->reads, 3);
}

TEST_F(CacheDataThreads, EndFromTheHostEndsAThreadThatWaitsForTheConsumer) {
    auto const gone = std::make_shared<Gate>();
    source->onRead = [this, gone](int) {
        thread_local ExitNotice const notice(gone);
        gate->Pass();
    };
    stage->Read();
    gate->AwaitArrivals(3);
    stage->GetFormatCodec();
    stage->SetEndOfStream();
    gone->AwaitArrivals(1);
    EXPECT_THAT(stage->Read(), IsVideo(40, 40));
    EXPECT_EQ(stage->Read(), nullptr);
    EXPECT_EQ(source->reads, 3);
}

TEST_F(CacheDataThreads, FrameThatIsReadDuringAnEndFromTheHostIsNotGivenBehindTheEnd) {
    gate->Close();
    auto const gone = std::make_shared<Gate>();
    source->onGive = [this, gone](int) {
        thread_local ExitNotice const notice(gone);
        gate->Pass();
    };
    iptr<IDataVideo> frame = MakeVideo(1, 1);
    std::thread consumer([&] { frame = stage->Read(); });
    gate->AwaitArrivals(1);
    stage->SetEndOfStream();
    consumer.join();
    EXPECT_EQ(frame, nullptr);
    gate->Open();
    gone->AwaitArrivals(1);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(stage->Read(), nullptr);
    Seek(*stage, 760);
    EXPECT_THAT(ReadAll(*stage), ElementsAre(IsVideo(760, 40)));
}

// --- Failures --------------------------------------------------------------------------------------------------------

TEST_F(CacheDataThreads, FailureComesBehindTheFrameThatWaitsAndTheEndIsNotMarkedBefore) {
    source->onRead = [](int number) {
        if (number == 2) TARSEL_THROW(FilterException, "broken");
    };
    LogLines const lines(0);
    EXPECT_THAT(stage->Read(), IsVideo(0, 40));
    while (!lines.Has("Background reading thread:")) std::this_thread::yield();
    EXPECT_FALSE(stage->IsEndOfStream());
    EXPECT_THAT(stage->Read(), IsVideo(40, 40));
    EXPECT_EQ(MessageOf<FilterException>([&] { stage->Read(); }), "broken");
    EXPECT_TRUE(stage->IsEndOfStream());
    EXPECT_EQ(stage->Read(), nullptr);
    EXPECT_EQ(stage->GetPosition(), 80);
}

TEST_F(CacheDataThreads, FailureIsLoggedOnceWithItsDetails) {
    source->onRead = [](int) { TARSEL_THROW(FilterException, "broken"); };
    LogLines const lines(0);
    EXPECT_EQ(MessageOf<FilterException>([&] { stage->Read(); }), "broken");
    stage = nullptr;
    EXPECT_THAT(lines.Get(google::GLOG_ERROR), ElementsAre(AllOf(StartsWith("Background reading thread:"),
                                                                 HasSubstr("broken"), HasSubstr("FilterException"))));
}

TEST_F(CacheDataThreads, FailureKeepsDescriptionAndTheStackOfItsThread) {
    source->onRead = [](int) { TARSEL_THROW(FilterException, "broken"); };
    try {
        stage->Read();
        FAIL();
    } catch (FilterException const& caught) {
        EXPECT_EQ(*boost::get_error_info<TagDescription>(caught), "broken");
        EXPECT_FALSE(boost::get_error_info<TagCallStack>(caught)->empty());
    }
}

TEST_F(CacheDataThreads, SeekForgetsAFailureThatWaitsBehindAFrame) {
    source->onRead = [](int number) {
        if (number == 2) TARSEL_THROW(FilterException, "broken");
    };
    LogLines const lines(0);
    stage->Read();
    while (!lines.Has("Background reading thread:")) std::this_thread::yield();
    Seek(*stage, 400);
    EXPECT_EQ(ReadAll(*stage).size(), 10U);
}

TEST_F(CacheDataThreads, SeekForgetsAFailureThatIsReady) {
    source->onRead = [](int number) {
        if (number == 1) TARSEL_THROW(FilterException, "broken");
    };
    stage->Read();
    while (!stage->IsEndOfStream()) std::this_thread::yield();  // the failure is in the mailbox's place
    Seek(*stage, 400);
    EXPECT_FALSE(stage->IsEndOfStream());
    EXPECT_EQ(ReadAll(*stage).size(), 10U);
}

TEST_F(CacheDataThreads, FailureDuringAnEndFromTheHostStillReachesTheConsumer) {
    Gate stubborn(false);
    stubborn.Close();
    source->onRead = [&](int) {
        stubborn.Pass();
        TARSEL_THROW(FilterException, "broken");
    };
    LogLines const lines(0);
    std::thread consumer([&] { EXPECT_EQ(stage->Read(), nullptr); });
    stubborn.AwaitArrivals(1);
    stage->SetEndOfStream();
    consumer.join();
    stubborn.Open();
    // Behind the log's line nothing holds the thread but the mailbox.
    while (MessageOf<FilterException>([&] { stage->Read(); }) != "broken") std::this_thread::yield();
    EXPECT_EQ(stage->Read(), nullptr);
    EXPECT_TRUE(lines.Has("Background reading thread:"));
}

TEST_F(CacheDataThreads, FailureDuringAnEndFromTheHostComesBehindTheFrameThatWaits) {
    gate->Close();
    gate->Allow(2);
    auto const gone = std::make_shared<Gate>();
    source->onRead = [this, gone](int number) {
        thread_local ExitNotice const notice(gone);
        gate->Pass();
        if (number == 2) TARSEL_THROW(FilterException, "broken");
    };
    EXPECT_THAT(stage->Read(), IsVideo(0, 40));
    gate->AwaitArrivals(3);
    stage->SetEndOfStream();
    gate->Open();
    gone->AwaitArrivals(1);  // the failure is stored, and the frame hasn't been taken
    EXPECT_THAT(stage->Read(), IsVideo(40, 40));
    EXPECT_EQ(MessageOf<FilterException>([&] { stage->Read(); }), "broken");
    EXPECT_EQ(stage->Read(), nullptr);
}

TEST_F(CacheDataThreads, InterruptionOutOfAReadEndsTheThreadQuietly) {
    source->onRead = [](int number) {
        if (number == 1) std::rethrow_exception(std::make_exception_ptr(boost::thread_interrupted()));
    };
    LogLines const lines(0);
    EXPECT_THAT(stage->Read(), IsVideo(0, 40));
    EXPECT_EQ(stage->Read(), nullptr);
    EXPECT_EQ(stage->Read(), nullptr);
    EXPECT_FALSE(stage->IsEndOfStream());
    EXPECT_TRUE(lines.Get(google::GLOG_ERROR).empty());
    Seek(*stage, 760);
    EXPECT_THAT(ReadAll(*stage), ElementsAre(IsVideo(760, 40)));
}

TEST_F(CacheDataThreads, TwoStagesInARowOverlapAndEndTogether) {
    auto const second = CreateFilterCacheData(stage);
    EXPECT_EQ(ReadAll(*second).size(), 20U);
    for (int64 const target : {400, 0, 760}) {
        Seek(*second, target);
        EXPECT_THAT(second->Read(), IsVideo(target, 40));
    }
}

}  // namespace
}  // namespace Tarsel::Proc
