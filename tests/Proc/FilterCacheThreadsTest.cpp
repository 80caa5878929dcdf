// The thread of a cache, step by step. Gates in the source and behind log lines hold it where a test wants it: nothing
// here waits for time to pass.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <ctime>
#include <thread>

#include "tests/Proc/CacheSupport.h"
#include "tests/support/Matchers.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;

constexpr int PICTURES = 60;
constexpr int64 PICTURE = 40000;
/// Five pictures in front of the reader and three behind it.
constexpr int64 AHEAD = 5 * PICTURE;
constexpr int64 BEHIND = 3 * PICTURE;
/// The reader's first read takes what begins up to the edge of the window, and one that ends behind it.
constexpr int FILL = 6;

constexpr char SLEEPING[] = "BT Sleeping until asked for the data.";
constexpr char WOKEN[] = "BT Woke up!";
constexpr char LOCKING[] = "BT Locking the data buffer...";
constexpr char STOPPED[] = "We are asked to stop reading and wait.";
constexpr char EXIT[] = "BT We are asked to stop sleeping and exit.";
constexpr char ASKING[] = "Asking the BT for more data.";

class CacheThreads : public ::testing::Test {
  protected:
    CacheThreads() {
        gates.At(SLEEPING);
        Make(MakeVideos(PICTURES, PICTURE));
    }
    ~CacheThreads() override { stream = nullptr; }

    template <class Steps>
    void Make(Steps const& steps) {
        stream = nullptr;
        controller = MakeShared<FilterCacheController>();
        source = MakeShared<KeptVideo>(std::vector<KeptVideo::Step>(steps.begin(), steps.end()));
        reads = std::make_shared<Gate>();
        source->gate = reads;
        sleepsBefore = gates.At(SLEEPING).GetArrivals();
        endsBefore = gates.Ends().GetArrivals();
        stream = controller->AddStreamT<IStreamVideo>(source, AHEAD, BEHIND);
        AwaitSleep(1);
    }
    /// Until the thread lies down for the `count`-th time.
    void AwaitSleep(int count) { gates.At(SLEEPING).AwaitArrivals(sleepsBefore + count); }
    void AwaitEnd() { gates.Ends().AwaitArrivals(endsBefore + 1); }
    iptr<IDataVideo> Read(int picture) {
        auto item = stream->Read();
        EXPECT_THAT(item, IsVideo(picture * PICTURE, PICTURE));
        return item;
    }
    /// The read that fills the window, and the one that gives its item again and wakes the thread.
    void Begin() {
        auto const first = Read(0);
        EXPECT_EQ(reads->GetArrivals(), FILL);
        EXPECT_EQ(Read(0), first);
    }
    /// Everything from a picture on but the last one; what a refill gives is given twice.
    void ReadRest(int picture) {
        iptr<IDataVideo> last;
        while (auto item = stream->Read()) {
            if (item == last) continue;
            EXPECT_THAT(item, IsVideo(picture * PICTURE, PICTURE));
            ++picture;
            last = item;
        }
        EXPECT_EQ(picture, PICTURES - 1);
    }
    /// Where the `number`-th line that begins so stands among all lines.
    std::size_t LineOf(std::string const& text, int number) const {
        auto const all = lines.Get(google::GLOG_INFO);
        std::size_t line = 0;
        for (; line < all.size(); ++line)
            if (all[line].compare(0, text.size(), text) == 0 && --number == 0) break;
        EXPECT_LT(line, all.size()) << text;
        return line;
    }

    LogLines const lines{30};
    LogGates gates;
    std::shared_ptr<Gate> reads;
    iptr<FilterCacheController> controller;
    iptr<KeptVideo> source;
    iptr<IStreamVideo> stream;
    int sleepsBefore = 0;
    int endsBefore = 0;
};

// --- The turns -------------------------------------------------------------------------------------------------------

TEST_F(CacheThreads, ThreadSleepsUntilAnItemIsGivenOutOfTheWindow) {
    Read(0);
    EXPECT_EQ(lines.Count(WOKEN), 0U);
    EXPECT_EQ(reads->GetArrivals(), FILL);
    Read(0);
    AwaitSleep(2);
    EXPECT_EQ(lines.Count(WOKEN), 1U);
    EXPECT_EQ(reads->GetArrivals(), FILL + 1);
}

TEST_F(CacheThreads, EachItemGivenLetsTheThreadReadOneMoreSoThatTheReaderNeverReadsAgain) {
    Begin();
    AwaitSleep(2);
    std::size_t const own = lines.Count("Reading the data...");
    for (int i = 1; i < PICTURES - 1; ++i) {
        Read(i);
        AwaitSleep(2 + i);
        EXPECT_EQ(reads->GetArrivals(), FILL + 1 + i);
    }
    EXPECT_EQ(lines.Count("Reading the data..."), own);
    EXPECT_EQ(stream->Read(), nullptr);
}

TEST_F(CacheThreads, ThreadTrimsBehindTheReader) {
    Begin();
    AwaitSleep(2);
    for (int i = 1; i < 20; ++i) {
        Read(i);
        AwaitSleep(2 + i);
    }
    // The reader stands at the end of picture 19, three pictures back begins 17.
    auto const alive = source->GetAlive();
    EXPECT_EQ(alive.front(), 17U);
    EXPECT_EQ(alive.back(), static_cast<std::size_t>(reads->GetArrivals()) - 1);
}

TEST_F(CacheThreads, ThreadGoesOnSleepingAtTheEndOfTheSource) {
    Begin();
    int sleeps = 2;
    for (int i = 1; i < PICTURES - 1; ++i) {
        AwaitSleep(sleeps++);
        Read(i);
    }
    AwaitSleep(sleeps);
    EXPECT_TRUE(lines.Has("BT End of stream!"));
    EXPECT_EQ(gates.Ends().GetArrivals(), 0);
    stream = nullptr;
    EXPECT_EQ(gates.Ends().GetArrivals(), 1);
}

TEST_F(CacheThreads, ReaderThatComesDuringATurnWaitsForItsEndAndFindsTheWindowFull) {
    Begin();
    AwaitSleep(2);
    reads->Close();
    Read(1);
    reads->AwaitArrivals(FILL + 2);
    Gate& lock = gates.At("Locking the data buffer...");
    std::thread reader([&] { Read(2); });
    lock.AwaitArrivals(1);
    reads->Open();
    reader.join();
    // The fourth read got the buffer behind the cleaning of the thread's second turn.
    EXPECT_GT(LineOf("Proceeding.", 4), LineOf("BT Cleaning the buffer...", 2));
    AwaitSleep(4);
    EXPECT_EQ(lines.Count("Reading the data..."), 1U);
    EXPECT_EQ(reads->GetArrivals(), FILL + 3);
    ReadRest(3);
}

TEST_F(CacheThreads, CommandsThatComeDuringATurnAreOne) {
    Begin();
    AwaitSleep(2);
    gates.At(LOCKING).Close();
    Read(1);
    gates.At(LOCKING).AwaitArrivals(1);
    for (int i = 2; i < 4; ++i) Read(i);
    EXPECT_EQ(reads->GetArrivals(), FILL + 1);
    gates.At(LOCKING).Open();
    // The turn that was held, and one for the other two items, which finds the window full.
    AwaitSleep(4);
    EXPECT_EQ(reads->GetArrivals(), FILL + 4);
    EXPECT_EQ(lines.Count(WOKEN), 3U);
    ReadRest(4);
}

// --- The reset -------------------------------------------------------------------------------------------------------

TEST_F(CacheThreads, SeekOutOfTheWindowEndsASleepingThreadForGoodAndReadsStillGiveEverything) {
    Seek(*stream, 0);
    AwaitEnd();
    Begin();
    ReadRest(1);
    EXPECT_EQ(lines.Count(WOKEN), 0U);
    EXPECT_EQ(lines.Count(EXIT), 0U);
    Seek(*stream, 30 * PICTURE + 1);
    ReadRest(30);
    EXPECT_EQ(gates.Ends().GetArrivals(), 1);
}

TEST_F(CacheThreads, SeekOutOfTheWindowBehindSomeTurnsEndsTheThreadToo) {
    Begin();
    AwaitSleep(2);
    Read(1);
    AwaitSleep(3);
    Seek(*stream, 40 * PICTURE + 1);
    AwaitEnd();
    ReadRest(40);
    EXPECT_EQ(lines.Count(WOKEN), 2U);
}

TEST_F(CacheThreads, ReadAheadIsGoneOnceTheThreadHasEnded) {
    Seek(*stream, 0);
    AwaitEnd();
    Begin();
    for (int i = 1; i < FILL - 1; ++i) {
        Read(i);
        EXPECT_EQ(reads->GetArrivals(), FILL);
    }
    // The last item of the window isn't given before the reader has filled it again.
    Read(FILL - 1);
    EXPECT_EQ(reads->GetArrivals(), FILL - 1 + FILL);
    EXPECT_TRUE(lines.Has(ASKING));
}

TEST_F(CacheThreads, SeekInTheWindowLeavesTheThreadAlone) {
    Begin();
    AwaitSleep(2);
    source->log.Take();
    Seek(*stream, 2 * PICTURE + 1);
    EXPECT_TRUE(source->log.Take().empty());
    Read(2);
    AwaitSleep(3);
    EXPECT_EQ(lines.Count(WOKEN), 2U);
    EXPECT_EQ(gates.Ends().GetArrivals(), 0);
}

TEST_F(CacheThreads, SeekWhileTheThreadWaitsForTheBufferLetsItLiveAndHearTheNextCommand) {
    Gate& held = gates.HoldUntilInterrupted(LOCKING);
    Begin();
    held.AwaitArrivals(1);
    Seek(*stream, 20 * PICTURE + 1);
    AwaitSleep(2);
    EXPECT_EQ(lines.Count(STOPPED), 1U);
    EXPECT_EQ(gates.Ends().GetArrivals(), 0);
    EXPECT_EQ(reads->GetArrivals(), FILL);
    EXPECT_TRUE(source->GetAlive().empty());
    // It hears the next command and reads ahead again.
    Read(20);
    int const filled = reads->GetArrivals();
    Read(20);
    AwaitSleep(3);
    EXPECT_EQ(lines.Count(WOKEN), 2U);
    EXPECT_EQ(reads->GetArrivals(), filled + 1);
    ReadRest(21);
}

TEST_F(CacheThreads, SecondSeekEndsTheThreadThatTheFirstLetLive) {
    Gate& held = gates.HoldUntilInterrupted(LOCKING);
    Begin();
    held.AwaitArrivals(1);
    Seek(*stream, 20 * PICTURE + 1);
    AwaitSleep(2);
    Seek(*stream, 40 * PICTURE + 1);
    AwaitEnd();
    ReadRest(40);
    EXPECT_EQ(lines.Count(WOKEN), 1U);
}

TEST_F(CacheThreads, SeekTakesBackACommandThatTheThreadHasNotHeardAndEndsIt) {
    gates.At(SLEEPING).Close();
    Begin();
    AwaitSleep(2);
    Read(1);
    Seek(*stream, 30 * PICTURE + 1);
    gates.At(SLEEPING).Open();
    AwaitEnd();
    EXPECT_EQ(lines.Count(WOKEN), 1U);
    ReadRest(30);
}

TEST_F(CacheThreads, SeekRequestDuringATurnEndsTheTurn) {
    Begin();
    AwaitSleep(2);
    Read(1);
    AwaitSleep(3);
    reads->Close();
    Read(2);
    reads->AwaitArrivals(FILL + 3);
    stream->RequestSeek(40 * PICTURE + 1, nullptr);
    reads->Open();
    stream->DoSeek();
    AwaitEnd();
    // The read that was on its way, and no other one although the window isn't full.
    EXPECT_EQ(reads->GetArrivals(), FILL + 3);
    EXPECT_EQ(lines.Count(STOPPED), 0U);
    ReadRest(40);
}

TEST_F(CacheThreads, SeekRequestKeepsAWakingThreadFromReading) {
    gates.At(LOCKING).Close();
    Begin();
    gates.At(LOCKING).AwaitArrivals(1);
    stream->RequestSeek(3 * PICTURE + 1, nullptr);
    gates.At(LOCKING).Open();
    AwaitSleep(2);
    EXPECT_EQ(reads->GetArrivals(), FILL);
    stream->DoSeek();
    Read(3);
    AwaitSleep(3);
    ReadRest(4);
}

// --- The log ---------------------------------------------------------------------------------------------------------

/// Counts the flushes of the log's files, in whose place it stands.
class FlushCounter final : public google::base::Logger {
  public:
    explicit FlushCounter(std::atomic<int>& count) : count(count) {}
    void Write(bool, std::time_t, char const*, std::size_t) override {}
    void Flush() override { ++count; }
    google::uint32 LogSize() override { return 0; }

  private:
    std::atomic<int>& count;
};

TEST_F(CacheThreads, LogFilesAreFlushedAheadOfEachFillingOfReaderAndThread) {
    std::atomic<int> flushes{0};
    google::base::Logger* const files = google::base::GetLogger(google::GLOG_INFO);
    FlushCounter counter(flushes);
    google::base::SetLogger(google::GLOG_INFO, &counter);
    Read(0);
    EXPECT_EQ(flushes, 1);
    Read(0);
    AwaitSleep(2);
    EXPECT_EQ(flushes, 2);
    google::base::SetLogger(google::GLOG_INFO, files);
}

// --- The span --------------------------------------------------------------------------------------------------------

TEST_F(CacheThreads, ThreadGivesTheStepOfTheSpanBackOnceItHasReadSomething) {
    dynamic_cast<IFilterCache&>(*stream).IncreaseCacheSpan();
    Begin();
    AwaitSleep(2);
    EXPECT_EQ(dynamic_cast<IFilterCache&>(*stream).GetCacheSpan(), BEHIND);
}

TEST_F(CacheThreads, ThreadThatFindsNothingToReadKeepsTheStepOfTheSpan) {
    Make(MakeVideos(FILL, PICTURE));
    dynamic_cast<IFilterCache&>(*stream).IncreaseCacheSpan();
    Begin();
    AwaitSleep(2);
    EXPECT_EQ(reads->GetArrivals(), FILL + 1);
    EXPECT_EQ(dynamic_cast<IFilterCache&>(*stream).GetCacheSpan(), BEHIND + SECOND);
}

// --- Release ---------------------------------------------------------------------------------------------------------

TEST_F(CacheThreads, ReleaseWhileTheThreadSleepsEmptiesTheWindowAndLeavesTheThreadAlone) {
    Begin();
    AwaitSleep(2);
    stream->ReleaseInternalData();
    EXPECT_TRUE(source->GetAlive().empty());
    EXPECT_EQ(source->log.Take().back(), "ReleaseInternalData");
    EXPECT_EQ(gates.Ends().GetArrivals(), 0);
    EXPECT_EQ(lines.Count(WOKEN), 1U);
    Seek(*stream, 10 * PICTURE);
    ReadRest(10);
}

TEST_F(CacheThreads, ReleaseWhileTheThreadWaitsForTheBufferLetsItReadOnFromThere) {
    gates.At(LOCKING).Close();
    Begin();
    gates.At(LOCKING).AwaitArrivals(1);
    stream->ReleaseInternalData();
    EXPECT_TRUE(source->GetAlive().empty());
    gates.At(LOCKING).Open();
    AwaitSleep(2);
    // An empty buffer is always read.
    EXPECT_GT(reads->GetArrivals(), FILL);
    Seek(*stream, 30 * PICTURE + 1);
    ReadRest(30);
}

TEST_F(CacheThreads, ReleaseTakesBackACommandThatTheThreadHasNotHeard) {
    gates.At(SLEEPING).Close();
    Begin();
    AwaitSleep(2);
    Read(1);
    stream->ReleaseInternalData();
    gates.At(SLEEPING).Open();
    // The thread has every chance to take the command.
    for (int i = 0; i < 100; ++i) std::this_thread::yield();
    Seek(*stream, 30 * PICTURE + 1);
    AwaitEnd();
    EXPECT_EQ(lines.Count(WOKEN), 1U);
    ReadRest(30);
}

TEST_F(CacheThreads, ReleaseDuringATurnWaitsForItsEnd) {
    Begin();
    AwaitSleep(2);
    source->log.Take();
    reads->Close();
    Read(1);
    reads->AwaitArrivals(FILL + 2);
    std::thread host([&] { stream->ReleaseInternalData(); });
    reads->Open();
    host.join();
    EXPECT_THAT(source->log.Take(), ::testing::ElementsAre("Read", "ReleaseInternalData"));
    AwaitSleep(3);
    EXPECT_TRUE(source->GetAlive().empty());
    Seek(*stream, 0);
    ReadRest(0);
}

// --- Destruction -----------------------------------------------------------------------------------------------------

TEST_F(CacheThreads, DestructionWhileTheThreadSleepsEndsIt) {
    stream = nullptr;
    EXPECT_EQ(gates.Ends().GetArrivals(), 1);
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
}

TEST_F(CacheThreads, DestructionBehindTheThreadsEndDoesNotWait) {
    Seek(*stream, 0);
    AwaitEnd();
    stream = nullptr;
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
}

TEST_F(CacheThreads, DestructionBreaksAReadThatAnInterruptionEnds) {
    Begin();
    AwaitSleep(2);
    reads->Close();
    Read(1);
    reads->AwaitArrivals(FILL + 2);
    stream = nullptr;
    EXPECT_EQ(gates.Ends().GetArrivals(), 1);
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
    EXPECT_TRUE(source->GetAlive().empty());
    EXPECT_EQ(lines.Count(EXIT), 0U);
    EXPECT_TRUE(lines.Get(google::GLOG_ERROR).empty());
}

TEST_F(CacheThreads, DestructionWhileTheThreadWaitsForTheBufferEndsIt) {
    Gate& held = gates.HoldUntilInterrupted(LOCKING);
    Begin();
    held.AwaitArrivals(1);
    // The window lacks an item, so the thread comes to the point at which it takes the interruption, lies down, and
    // hears the command.
    stream = nullptr;
    EXPECT_EQ(gates.Ends().GetArrivals(), 1);
    EXPECT_EQ(lines.Count(STOPPED), 1U);
    EXPECT_EQ(lines.Count(EXIT), 1U);
    EXPECT_EQ(reads->GetArrivals(), FILL);
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
}

TEST_F(CacheThreads, DestructionDuringAReadThatNothingBreaksWaitsForItsEnd) {
    reads = std::make_shared<Gate>(false);
    source->gate = reads;
    Begin();
    AwaitSleep(2);
    reads->Close();
    Read(1);
    reads->AwaitArrivals(FILL + 2);
    std::thread host([&] { stream = nullptr; });
    reads->Open();
    host.join();
    EXPECT_EQ(gates.Ends().GetArrivals(), 1);
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
    EXPECT_TRUE(source->GetAlive().empty());
}

// --- Failures on the thread ------------------------------------------------------------------------------------------

class FailingCacheThread : public CacheThreads {};

TEST_F(FailingCacheThread, FailureIsLoggedAndNotHandedOverAndTheThreadGoesOn) {
    int failures = 0;
    for (NamedFailure const& failure : EveryFailure()) {
        SCOPED_TRACE(failure.name);
        auto const frames = MakeVideos(PICTURES, PICTURE);
        std::vector<KeptVideo::Step> steps(frames.begin(), frames.end());
        steps.insert(steps.begin() + FILL, failure.failure);
        Make(steps);
        Begin();
        AwaitSleep(2);
        auto const errors = lines.Get(google::GLOG_ERROR);
        ASSERT_EQ(errors.size(), static_cast<std::size_t>(++failures));
        EXPECT_THAT(errors.back(), ::testing::HasSubstr(TextOf(failure.failure)));
        // The next command makes good for what the failed turn didn't read.
        Read(1);
        AwaitSleep(3);
        EXPECT_EQ(reads->GetArrivals(), FILL + 1 + 2);
        ReadRest(2);
    }
}

}  // namespace
}  // namespace Tarsel::Proc
