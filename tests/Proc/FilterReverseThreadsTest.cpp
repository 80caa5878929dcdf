// The threads of the reverse filters. Every step is held by gates: nothing here waits for time to pass.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <thread>

#include "Proc/Filters/Filters/FilterLoop.h"
#include "Proc/Filters/Filters/TFilterJoin.h"
#include "tests/Proc/ReverseSupport.h"
#include "tests/support/LogLines.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;

constexpr int RATE = 8000;

iptr<SeekingAudio> MakeSource(iptr<SeekingAudio> const&) {
    return MakeSound(40 * RATE, RATE);
}
iptr<SeekingVideo> MakeSource(iptr<SeekingVideo> const&) {
    return MakePictures(1000);
}

/// What holds for both kinds: 40 seconds of source.
template <class Source>
class ReverseThreads : public ::testing::Test {
  protected:
    ~ReverseThreads() override {
        filter = nullptr;
        EXPECT_EQ(ReverseMemory::GetUsed(), 0);
    }
    void Make() { filter = ReverseOf(source); }

    std::shared_ptr<Gate> const reads = std::make_shared<Gate>();
    iptr<Source> const source = MakeSource(iptr<Source>());
    decltype(ReverseOf(iptr<Source>())) filter;
};
using Sources = ::testing::Types<SeekingAudio, SeekingVideo>;
TYPED_TEST_SUITE(ReverseThreads, Sources);

TYPED_TEST(ReverseThreads, DestructionBreaksAReadThatOnlyAnInterruptionEnds) {
    this->reads->Close();
    this->source->readGate = this->reads;
    this->Make();
    Seek(*this->filter, 0);
    this->reads->AwaitArrivals(1);
    this->filter = nullptr;
    EXPECT_EQ(this->source->GetRefCountImpl(), 1U);
}

TEST(ReverseThreadsOverFilters, SeekBreaksAReadOfASourceThatHoldsALockOfItsOwnThroughIt) {
    auto const source = MakePictures(1000);
    source->stuckAt = 980;
    auto const loop = MakeShared<FilterLoopVideo>(source);
    loop->Initialize(SettingsFilterLoop(source->duration));
    auto const filter = ReverseOf(iptr<IStreamVideo>(loop));
    Seek(*filter, 0);
    source->stuck->AwaitArrivals(1);
    source->stuckAt = static_cast<std::size_t>(-1);
    Seek(*filter, source->duration - 80000);
    EXPECT_EQ(ReadAll(*filter).size(), 2U);
}

TEST(ReverseThreadsOverFilters, SeekBreaksAReadOfAJoinEveryClipOfWhichBlocks) {
    auto const first = MakePictures(100), second = MakePictures(100);
    first->stuckAt = 90;
    second->stuckAt = 0;
    auto const join = FilterJoinVideo::Create();
    join->AddStream(first, nullptr);
    join->AddStream(second, nullptr);
    auto const filter = ReverseOf(iptr<IStreamVideo>(join));
    // The first chunk ends inside the first clip.
    Seek(*filter, second->duration + 80000);
    first->stuck->AwaitArrivals(1);
    first->stuckAt = static_cast<std::size_t>(-1);
    Seek(*filter, second->duration + first->duration - 80000);
    EXPECT_EQ(ReadAll(*filter).size(), 2U);
}

TYPED_TEST(ReverseThreads, DestructionBreaksAReadThatOnlySetEndOfStreamEnds) {
    this->source->stuckAt = std::is_same_v<TypeParam, SeekingVideo> ? 980 : 35;
    this->Make();
    Seek(*this->filter, 0);
    this->source->stuck->AwaitArrivals(1);
    this->filter = nullptr;
    EXPECT_EQ(this->source->GetRefCountImpl(), 1U);
}

TYPED_TEST(ReverseThreads, SeekBreaksAReadThatOnlySetEndOfStreamEndsAndReadsFromTheNewPlace) {
    this->source->stuckAt = std::is_same_v<TypeParam, SeekingVideo> ? 980 : 35;
    this->Make();
    Seek(*this->filter, 0);
    this->source->stuck->AwaitArrivals(1);
    Seek(*this->filter, 20 * SECOND);
    EXPECT_EQ(this->filter->GetPosition(), 20 * SECOND);
    EXPECT_NE(this->filter->Read(), nullptr);
}

TYPED_TEST(ReverseThreads, ReleaseBreaksAReadThatOnlySetEndOfStreamEnds) {
    this->source->stuckAt = std::is_same_v<TypeParam, SeekingVideo> ? 980 : 35;
    this->Make();
    Seek(*this->filter, 0);
    this->source->stuck->AwaitArrivals(1);
    this->filter->ReleaseInternalData();
    EXPECT_EQ(this->source->log.Take().back(), "ReleaseInternalData");
    Seek(*this->filter, 20 * SECOND);
    EXPECT_NE(this->filter->Read(), nullptr);
}

TYPED_TEST(ReverseThreads, StopDuringTheSourcesSeekIsNotUndoneByIt) {
    // The source takes its mark back inside `RequestSeek`, behind the stop's `SetEndOfStream`, and its read would then
    // wait for a mark that nobody sets again.
    auto const request = std::make_shared<Gate>(false);
    request->Close();
    this->source->requestGate = request;
    this->source->stuckAt = std::is_same_v<TypeParam, SeekingVideo> ? 975 : 30;
    this->Make();
    Seek(*this->filter, 0);
    request->AwaitArrivals(1);
    std::thread host([&] { this->filter = nullptr; });
    while (this->source->ends == 0) std::this_thread::yield();
    request->Open();
    host.join();
    EXPECT_EQ(this->source->reads, 0);
}

TYPED_TEST(ReverseThreads, OnlyOneFinishedChunkWaits) {
    auto const seeks = std::make_shared<Gate>();
    this->source->seekGate = seeks;
    this->source->readGate = this->reads;
    this->Make();
    Seek(*this->filter, 0);
    seeks->AwaitArrivals(2);
    int const first = this->reads->GetArrivals();
    // The second chunk has been sought and isn't read before the first one is taken.
    EXPECT_EQ(this->reads->GetArrivals(), first);
    EXPECT_NE(this->filter->Read(), nullptr);
    seeks->AwaitArrivals(3);
    int const second = this->reads->GetArrivals();
    EXPECT_GT(second, first);
    // Taking items of the first chunk lets no third one be read.
    EXPECT_NE(this->filter->Read(), nullptr);
    EXPECT_EQ(this->reads->GetArrivals(), second);
    this->filter = nullptr;
    EXPECT_EQ(this->reads->GetArrivals(), second);
}

TYPED_TEST(ReverseThreads, EndFromTheHostWakesAConsumerThatWaits) {
    this->source->stuckAt = std::is_same_v<TypeParam, SeekingVideo> ? 980 : 35;
    this->Make();
    Seek(*this->filter, 0);
    this->source->stuck->AwaitArrivals(1);
    typename TypeParam::Item item;
    std::thread consumer([&] { item = this->filter->Read(); });
    this->filter->SetEndOfStream();
    consumer.join();
    EXPECT_EQ(item, nullptr);
    EXPECT_EQ(this->filter->Read(), nullptr);
    this->source->stuckAt = static_cast<std::size_t>(-1);
    Seek(*this->filter, 0);
    EXPECT_NE(this->filter->Read(), nullptr);
}

TYPED_TEST(ReverseThreads, FormatAndStatisticsCanBeAskedForDuringReading) {
    this->Make();
    Seek(*this->filter, 0);
    std::atomic<bool> done{false};
    std::thread other([&] {
        while (!done) {
            EXPECT_EQ(this->filter->GetFormatCodec(), this->source->format);
            EXPECT_EQ(this->filter->GetStatistic().Children().size(), 2U);
            EXPECT_EQ(this->filter->GetDuration(), 40 * SECOND);
        }
    });
    ReadAll(*this->filter);
    done = true;
    other.join();
}

TYPED_TEST(ReverseThreads, FailureOfABrokenOffReadIsNeitherLoggedNorHandedOver) {
    class Complaining : public TypeParam {
      public:
        Complaining() : TypeParam({}) { this->duration = SECOND; }
        typename TypeParam::Item Read() override {
            gate->Pass();
            TARSEL_THROW(FilterException, "broken off");
        }
        std::shared_ptr<Gate> gate = std::make_shared<Gate>(false);
    };
    LogLines const lines(0);
    auto const complaining = MakeShared<Complaining>();
    complaining->gate->Close();
    auto own = ReverseOf(complaining);
    Seek(*own, 0);
    complaining->gate->AwaitArrivals(1);
    std::thread host([&] { own = nullptr; });
    while (complaining->ends == 0) std::this_thread::yield();
    complaining->gate->Open();
    host.join();
    EXPECT_TRUE(lines.Get(google::GLOG_ERROR).empty());
}

TYPED_TEST(ReverseThreads, RandomSeeksReadsReleasesAndEndsFromTheHostNeverHang) {
    for (unsigned seed = 1; seed <= 10; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        this->Make();
        std::atomic<bool> done{false};
        std::thread host([&] {
            for (int i = 0; i < 30 && !done; ++i) {
                this->filter->SetEndOfStream();
                std::this_thread::yield();
            }
        });
        for (int round = 0; round < 20; ++round) {
            int64 const target = static_cast<int64>(random() % 41000000);
            Seek(*this->filter, target);
            if (random() % 2) this->filter->GetPosition();
            int64 at = std::min(target, 40 * SECOND);
            for (unsigned count = random() % 60; count != 0; --count) {
                auto const item = this->filter->Read();
                if (!item) break;
                EXPECT_EQ(item->GetTime(), at);
                at += item->GetDuration();
            }
            if (random() % 3 == 0) this->filter->ReleaseInternalData();
        }
        done = true;
        host.join();
        Seek(*this->filter, 0);
        EXPECT_NE(this->filter->Read(), nullptr);
        this->filter = nullptr;
    }
}

// --- Memory ----------------------------------------------------------------------------------------------------------

/// A source that always lands on its first picture, with memory for 30 of its 100: the first chunk keeps the last 30,
/// and behind the first one taken the second chunk's second picture finds no room.
class MemoryWait : public ::testing::Test {
  protected:
    MemoryWait() {
        source->readGate = std::make_shared<Gate>();
        Seek(*filter, 0);
        EXPECT_THAT(filter->Read(), IsVideo(0, 40000));
        source->readGate->AwaitArrivals(100 + 2);
    }
    ~MemoryWait() override {
        filter = nullptr;
        EXPECT_EQ(ReverseMemory::GetUsed(), 0);
    }

    iptr<SeekingVideo> const source = MakePictures(100, Landing::Start);
    iptr<IStreamVideoEx> filter = ReverseOf(source, 30 * PICTURE_BYTES);
};

TEST_F(MemoryWait, ThreadGoesOnWithEachPictureThatIsTaken) {
    EXPECT_EQ(ReverseMemory::GetUsed(), 30 * PICTURE_BYTES);
    EXPECT_THAT(filter->Read(), IsVideo(40000, 40000));
    source->readGate->AwaitArrivals(100 + 3);
    for (int i = 2; i < 100; ++i) ASSERT_THAT(filter->Read(), IsVideo(i * 40000, 40000));
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->GetStatistic().Children()[1]["Max buffer size"].GetInt64(), 30 * PICTURE_BYTES);
}

TEST_F(MemoryWait, EndsAtDestruction) {
    filter = nullptr;
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
}

TEST_F(MemoryWait, EndsAtASeek) {
    Seek(*filter, 0);
    EXPECT_THAT(filter->Read(), IsVideo(0, 40000));
}

TEST_F(MemoryWait, EndsAtARelease) {
    filter->ReleaseInternalData();
    EXPECT_EQ(ReverseMemory::GetUsed(), 0);
}

TEST_F(MemoryWait, EndsAtAnEndFromTheHost) {
    filter->SetEndOfStream();
    EXPECT_EQ(filter->Read(), nullptr);
    // The thread needs no further word: were it still to wait, the end of the test would hang.
}

TEST(ReverseMemoryThreads, TwoFiltersReadByTwoThreadsShareALimitThatFitsNeither) {
    constexpr int64 LIMIT = 10 * PICTURE_BYTES;
    auto const read = [](iptr<IStreamVideo> const& filter) {
        Seek(*filter, 0);
        EXPECT_EQ(ReadAll(*filter).size(), 300U);
    };
    iptr<IStreamVideo> first = ReverseOf(MakePictures(300), LIMIT);
    iptr<IStreamVideo> second = ReverseOf(ReverseOf(MakePictures(300), LIMIT), LIMIT);
    std::thread other([&] { read(first); });
    read(second);
    other.join();
    first = nullptr;
    second = nullptr;
    EXPECT_EQ(ReverseMemory::GetUsed(), 0);
}

TEST(ReverseMemoryThreads, ReverseOfReverseIsDestroyedWhileBothThreadsAreAtWork) {
    for (int i = 0; i < 20; ++i) {
        auto filter = ReverseOf(ReverseOf(MakePictures(500)));
        Seek(*filter, i * SECOND / 3);
        if (i % 2) filter->Read();
        filter = nullptr;
        EXPECT_EQ(ReverseMemory::GetUsed(), 0);
    }
}

}  // namespace
}  // namespace Tarsel::Proc
