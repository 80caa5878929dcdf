// The background reading of the stream base. Every step is held by gates: nothing here waits for time to pass.
#include <glog/logging.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <new>
#include <random>
#include <stdexcept>
#include <thread>

#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

using Filter = ScriptedFilter<IStreamVideo>;

/// Passes a gate when the thread that made it ends, behind everything that the thread did.
class ExitNotice {
  public:
    explicit ExitNotice(std::shared_ptr<Gate> gate) : gate(std::move(gate)) {}
    ~ExitNotice() { gate->Pass(); }

  private:
    std::shared_ptr<Gate> gate;
};

class BackgroundReading : public ::testing::Test {
  protected:
    void Make(std::vector<ScriptedVideo::Step> const& steps) {
        source = ScriptedVideo::Create(steps);
        source->gate = gate;
        source->endGate = ended;
        filter = MakeShared<Filter>(source, true);
    }
    void MakeFrames(int count) {
        auto const frames = MakeVideos(count, 40);
        Make({frames.begin(), frames.end()});
    }

    std::shared_ptr<Gate> const gate = std::make_shared<Gate>();   // every read of the source
    std::shared_ptr<Gate> const ended = std::make_shared<Gate>();  // every SetEndOfStream of the source
    iptr<ScriptedVideo> source;
    iptr<Filter> filter;
};

TEST_F(BackgroundReading, GivesEveryItemInOrderThenNullForEver) {
    MakeFrames(50);
    auto const items = ReadAll(*filter);
    ASSERT_EQ(items.size(), 50U);
    for (int i = 0; i < 50; ++i) EXPECT_THAT(items[static_cast<std::size_t>(i)], IsVideo(i * 40, 40));
    for (int i = 0; i < 3; ++i) EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_TRUE(filter->IsEndOfStream());
    EXPECT_EQ(filter->GetPosition(), 2000);
}

TEST_F(BackgroundReading, ThreadStartsAtTheFirstReadOnly) {
    MakeFrames(3);
    std::thread::id reader;
    filter->onRead = [&] {
        reader = std::this_thread::get_id();
        return source->Read();
    };
    EXPECT_EQ(filter->GetPosition(), 0);
    EXPECT_EQ(reader, std::this_thread::get_id());
    auto const first = filter->Read();
    EXPECT_THAT(first, IsVideo(0, 40));
    EXPECT_EQ(ReadAll(*filter).size(), 2U);
    filter->ReleaseInternalData();  // joins the reader, so that its identifier can be read
    EXPECT_NE(reader, std::this_thread::get_id());
}

TEST_F(BackgroundReading, NeverMoreThanOneItemWaitsAndOneIsInHand) {
    MakeFrames(10);
    filter->Read();
    gate->AwaitArrivals(3);
    EXPECT_EQ(gate->GetArrivals(), 3);
    filter->Read();
    gate->AwaitArrivals(4);
    EXPECT_EQ(gate->GetArrivals(), 4);
}

TEST_F(BackgroundReading, PositionIsTakenFromTheMailboxWhileTheThreadLives) {
    Make({MakeVideo(NO_VALUE, 40), MakeVideo(7, 40), MakeVideo(47, 40)});
    std::atomic<bool> onConsumer{false};
    auto const consumer = std::this_thread::get_id();
    filter->onRead = [&] {
        if (std::this_thread::get_id() == consumer) onConsumer = true;
        return source->Read();
    };
    EXPECT_THAT(filter->Read(), IsVideo(NO_VALUE, 40));
    EXPECT_EQ(filter->GetPosition(), 7);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(7, 40), IsVideo(47, 40)));
    EXPECT_FALSE(onConsumer);
}

TEST_F(BackgroundReading, PositionAtTheEndHasNoValue) {
    Make({MakeVideo(NO_VALUE, 40)});
    filter->Read();
    EXPECT_EQ(filter->GetPosition(), NO_VALUE);
    EXPECT_EQ(filter->GetPosition(), NO_VALUE);
}

TEST_F(BackgroundReading, PositionRethrowsAFailureOfTheThread) {
    Make({MakeVideo(NO_VALUE, 40), Failure<FilterException>("broken")});
    filter->Read();
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->GetPosition(); }), "broken");
    EXPECT_EQ(filter->Read(), nullptr);
}

TEST_F(BackgroundReading, SeekStopsTheThreadAndANewOneReadsFromThere) {
    MakeFrames(10);
    filter->Read();
    Seek(*filter, 320);
    EXPECT_FALSE(filter->IsEndOfStream());
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(320, 40), IsVideo(360, 40)));
    Seek(*filter, 360);
    EXPECT_FALSE(filter->IsEndOfStream());
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(360, 40)));
}

TEST_F(BackgroundReading, ReleaseStopsTheThreadAndASeekStartsAgain) {
    MakeFrames(10);
    filter->Read();
    filter->ReleaseInternalData();
    int const arrivals = gate->GetArrivals();
    EXPECT_EQ(gate->GetArrivals(), arrivals);
    Seek(*filter, 360);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(360, 40)));
}

template <class E>
class FailureClass : public BackgroundReading {};
using FailureClasses = ::testing::Types<Exception, FilterException, AlgorithmException, EffectException,
                                        EncoderException, Core::IOException, std::logic_error, std::invalid_argument>;
TYPED_TEST_SUITE(FailureClass, FailureClasses);

TYPED_TEST(FailureClass, ReachesTheConsumerOnceWithItsClassThenNullUntilASeek) {
    this->Make({MakeVideo(0, 40), Failure<TypeParam>("broken"), MakeVideo(80, 40)});
    EXPECT_THAT(this->filter->Read(), IsVideo(0, 40));
    EXPECT_EQ(MessageOf<TypeParam>([&] { this->filter->Read(); }), "broken");
    EXPECT_EQ(this->filter->Read(), nullptr);
    EXPECT_EQ(this->filter->Read(), nullptr);
    EXPECT_TRUE(this->filter->IsEndOfStream());
    EXPECT_EQ(this->filter->GetPosition(), 40);
    Seek(*this->filter, 80);
    EXPECT_THAT(ReadAll(*this->filter), ElementsAre(IsVideo(80, 40)));
}

TEST_F(BackgroundReading, FailureKeepsDescriptionAndTheStackOfItsThread) {
    std::exception_ptr const failure = Failure<FilterException>("broken");
    Make({failure});
    try {
        filter->Read();
        FAIL();
    } catch (FilterException const& caught) {
        EXPECT_EQ(*boost::get_error_info<TagDescription>(caught), "broken");
        EXPECT_FALSE(boost::get_error_info<TagCallStack>(caught)->empty());
    }
}

TEST_F(BackgroundReading, RunningOutOfMemoryReachesTheConsumerAsBadAlloc) {
    Make({MakeVideo(0, 40), std::make_exception_ptr(std::bad_alloc())});
    filter->Read();
    EXPECT_THROW(filter->Read(), std::bad_alloc);
    EXPECT_EQ(filter->Read(), nullptr);
}

TEST_F(BackgroundReading, FailureThatIsNoExceptionClassIsHandedOverToo) {
    Make({std::make_exception_ptr(42)});
    EXPECT_THROW(filter->Read(), int);
    EXPECT_EQ(filter->Read(), nullptr);
}

TEST_F(BackgroundReading, FailureComesBehindTheItemThatStillWaits) {
    Make({MakeVideo(0, 40), MakeVideo(40, 40), Failure<FilterException>("broken")});
    EXPECT_THAT(filter->Read(), IsVideo(0, 40));
    ended->AwaitArrivals(1);  // the failure is stored, the second item is in the mailbox
    EXPECT_TRUE(filter->IsEndOfStream());
    EXPECT_THAT(filter->Read(), IsVideo(40, 40));
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Read(); }), "broken");
    EXPECT_EQ(filter->Read(), nullptr);
}

TEST_F(BackgroundReading, SeekForgetsAFailureThatNobodyHasSeen) {
    Make({MakeVideo(0, 40), MakeVideo(40, 40), Failure<FilterException>("broken")});
    filter->Read();
    ended->AwaitArrivals(1);
    Seek(*filter, 40);
    EXPECT_THAT(filter->Read(), IsVideo(40, 40));
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Read(); }), "broken");
}

TEST_F(BackgroundReading, FailureIsLoggedWithItsDetails) {
    class Sink : public google::LogSink {
      public:
        using google::LogSink::send;
        void send(google::LogSeverity severity, char const*, char const*, int, google::LogMessageTime const&,
                  char const* message, std::size_t length) override {
            if (severity == google::GLOG_ERROR) log.Add(std::string(message, length));
        }
        CallLog log;
    } sink;
    google::AddLogSink(&sink);
    Make({Failure<FilterException>("broken")});
    EXPECT_THROW(filter->Read(), FilterException);
    filter = nullptr;
    google::RemoveLogSink(&sink);
    auto const lines = sink.log.Take();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_THAT(lines[0], StartsWith("Background reading thread:"));
    EXPECT_THAT(lines[0], HasSubstr("broken"));
    EXPECT_THAT(lines[0], HasSubstr("FilterException"));
}

TEST_F(BackgroundReading, EndFromTheHostWakesAConsumerThatWaitsForAThreadInsideARead) {
    MakeFrames(3);
    gate->Close();
    iptr<IDataVideo> item = MakeVideo(1, 1);
    std::thread consumer([&] { item = filter->Read(); });
    gate->AwaitArrivals(1);
    filter->SetEndOfStream();
    consumer.join();
    EXPECT_EQ(item, nullptr);
    gate->Open();
    EXPECT_EQ(filter->Read(), nullptr);
    Seek(*filter, 0);
    EXPECT_EQ(ReadAll(*filter).size(), 3U);
}

TEST_F(BackgroundReading, EndFromTheHostAheadOfTheFirstReadGivesNull) {
    MakeFrames(3);
    filter->SetEndOfStream();
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->GetPosition(), NO_VALUE);
    Seek(*filter, 80);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(80, 40)));
}

TEST_F(BackgroundReading, ItemThatIsReadDuringAnEndFromTheHostIsNotGivenBehindTheEnd) {
    MakeFrames(3);
    gate->Close();
    auto const gone = std::make_shared<Gate>();
    filter->onRead = [&]() -> iptr<IDataVideo> {
        thread_local ExitNotice const notice(gone);
        gate->Pass();
        return MakeVideo(0, 40);
    };
    iptr<IDataVideo> item = MakeVideo(1, 1);
    std::thread consumer([&] { item = filter->Read(); });
    gate->AwaitArrivals(1);
    filter->SetEndOfStream();
    consumer.join();
    EXPECT_EQ(item, nullptr);
    gate->Open();
    gone->AwaitArrivals(1);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(filter->Read(), nullptr);
}

TEST_F(BackgroundReading, EndFromTheHostWakesAConsumerThatAsksForThePosition) {
    Make({MakeVideo(NO_VALUE, 40), MakeVideo(40, 40)});
    gate->Close();
    gate->Allow(1);
    filter->Read();
    int64 position = 1;
    gate->AwaitArrivals(2);
    std::thread consumer([&] { position = filter->GetPosition(); });
    filter->SetEndOfStream();
    consumer.join();
    EXPECT_EQ(position, NO_VALUE);
    gate->Open();
}

TEST_F(BackgroundReading, EndFromTheHostWhileTheThreadWaitsForSpaceGivesTheWaitingItemThenNull) {
    MakeFrames(10);
    EXPECT_THAT(filter->Read(), IsVideo(0, 40));
    gate->AwaitArrivals(3);  // the second item is in the mailbox, the third is being read
    filter->SetEndOfStream();
    EXPECT_THAT(filter->Read(), IsVideo(40, 40));
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->Read(), nullptr);
}

TEST_F(BackgroundReading, DestructionWaitsForAReadThatIsUnderWay) {
    source = ScriptedVideo::Create({MakeVideo(0, 40)});
    filter = MakeShared<Filter>(source, true);
    Gate stubborn(false);
    stubborn.Close();
    std::atomic<bool> left{false};
    std::atomic<int> reads{0};
    CallLog* const member = filter->log.get();
    filter->onRead = [&]() -> iptr<IDataVideo> {
        if (reads++ == 0) return MakeVideo(0, 40);
        stubborn.Pass();
        member->Add("left");  // a member of the derived class: gone, were the destructor not waiting
        left = true;
        return MakeVideo(40, 40);
    };
    filter->Read();
    stubborn.AwaitArrivals(1);
    bool leftBeforeTheEnd = false;
    std::thread host([&] {
        filter = nullptr;
        leftBeforeTheEnd = left;
    });
    stubborn.Open();
    host.join();
    EXPECT_TRUE(leftBeforeTheEnd);
}

TEST_F(BackgroundReading, DestructionBreaksAReadThatCanBeInterrupted) {
    MakeFrames(3);
    gate->Close();
    gate->Allow(1);
    filter->Read();
    gate->AwaitArrivals(2);
    int const filters = Filter::GetLiveCount();
    filter = nullptr;
    EXPECT_EQ(Filter::GetLiveCount(), filters - 1);
}

TEST_F(BackgroundReading, DestructionWakesAThreadThatWaitsForSpace) {
    MakeFrames(10);
    filter->Read();
    gate->AwaitArrivals(3);
    filter = nullptr;
    EXPECT_EQ(gate->GetArrivals(), 3);
}

TEST_F(BackgroundReading, SeekDuringAReadBreaksItAndReadsFromTheNewPlace) {
    MakeFrames(5);
    gate->Close();
    gate->Allow(1);
    filter->Read();
    gate->AwaitArrivals(2);
    filter->RequestSeek(160, nullptr);
    filter->DoSeek();
    gate->Open();
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(160, 40)));
}

TEST_F(BackgroundReading, InterruptionOutOfAReadEndsTheThreadQuietly) {
    Make({MakeVideo(0, 40), std::make_exception_ptr(boost::thread_interrupted()), MakeVideo(80, 40)});
    EXPECT_THAT(filter->Read(), IsVideo(0, 40));
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_FALSE(filter->IsEndOfStream());
    Seek(*filter, 80);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(80, 40)));
}

TEST_F(BackgroundReading, SettingsAndStatisticsCanBeAskedForDuringARead) {
    MakeFrames(3);
    gate->Close();
    gate->Allow(1);
    filter->Read();
    gate->AwaitArrivals(2);
    EXPECT_EQ(filter->GetDuration(), NO_VALUE);
    EXPECT_NE(filter->GetFormatCodec(), nullptr);
    EXPECT_FALSE(filter->IsEndOfStream());
    gate->Open();
}

TEST_F(BackgroundReading, RandomSeeksReadsAndEndsFromTheHostGiveAscendingRunsFromTheSeekPosition) {
    for (unsigned seed = 1; seed <= 40; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        auto const frames = MakeVideos(30, 40);
        source = ScriptedVideo::Create(frames);
        source->duration = 1200;
        filter = MakeShared<Filter>(source, true);
        std::atomic<bool> stop{false};
        std::thread host([&] {
            // Ends from outside at any moment; the consumer seeks again.
            for (int i = 0; i < 50 && !stop; ++i) {
                filter->SetEndOfStream();
                std::this_thread::yield();
            }
        });
        for (int round = 0; round < 20; ++round) {
            int64 const target = static_cast<int64>(random() % 1300);
            Seek(*filter, target);
            int64 expected = std::min<int64>(target, 1200) / 40 * 40;
            if (random() % 2) {
                int64 const position = filter->GetPosition();
                if (HasValue(position)) {
                    EXPECT_EQ(position, expected);
                }
            }
            for (unsigned reads = random() % 35; reads != 0; --reads) {
                auto const item = filter->Read();
                if (!item) break;
                EXPECT_THAT(item, IsVideo(expected, 40));
                expected += 40;
            }
        }
        stop = true;
        host.join();
        Seek(*filter, 0);
        EXPECT_EQ(ReadAll(*filter).size(), 30U);
        filter = nullptr;
    }
}

}  // namespace
}  // namespace Tarsel::Proc
