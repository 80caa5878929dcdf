// Sources that fail at each of their calls in turn, with each class of failure.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <utility>

#include "tests/Proc/CacheSupport.h"
#include "tests/support/Matchers.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;

constexpr int PICTURES = 14;
constexpr int64 PICTURE = 40000;
constexpr int64 AHEAD = 3 * PICTURE;
constexpr int64 BEHIND = 2 * PICTURE;
/// What the first read takes.
constexpr int FILL = 4;

/// A source whose calls fail once when told to.
class FailingVideo : public KeptVideo {
  public:
    using KeptVideo::KeptVideo;

    std::exception_ptr onRequest, onSeek;
    /// In place of the read with this number, which gives its item when it is asked again.
    std::exception_ptr onRead;
    std::size_t failing = 0;

    Item Read() override {
        if (reads++ != failing || !onRead) return KeptVideo::Read();
        gate->Pass();
        std::rethrow_exception(onRead);
    }
    void RequestSeek(int64 position, iptr<IRefCountable> context) override {
        KeptVideo::RequestSeek(position, context);
        if (auto const failure = std::exchange(onRequest, nullptr)) std::rethrow_exception(failure);
    }
    void DoSeek() override {
        if (auto const failure = std::exchange(onSeek, nullptr)) std::rethrow_exception(failure);
        KeptVideo::DoSeek();
    }

  private:
    std::size_t reads = 0;
};

std::vector<KeptVideo::Step> MakeSteps(int count) {
    auto const frames = MakeVideos(count, PICTURE);
    return {frames.begin(), frames.end()};
}

class CacheFaults : public ::testing::Test {
  protected:
    CacheFaults() { FLAGS_minloglevel = google::GLOG_FATAL; }
    ~CacheFaults() override {
        stream = nullptr;
        FLAGS_minloglevel = google::GLOG_INFO;
    }
    void Make(std::size_t failing, std::exception_ptr const& failure) {
        Make(MakeSteps(PICTURES));
        source->failing = failing;
        source->onRead = failure;
    }
    /// The same, sought to 0, which ends the thread: all reads are the reader's own.
    void MakeWithoutThread(std::size_t failing, std::exception_ptr const& failure) {
        stream = nullptr;
        WithEndedThreads(1, [&] {
            Make(failing, failure);
            Seek(*stream, 0);
        });
    }
    void Make(std::vector<KeptVideo::Step> const& steps) {
        stream = nullptr;
        controller = MakeShared<FilterCacheController>();
        source = MakeShared<FailingVideo>(steps);
        source->gate = std::make_shared<Gate>();
        source->duration = PICTURES * PICTURE;
        stream = controller->AddStreamT<IStreamVideo>(source, AHEAD, BEHIND);
    }
    /// Pictures from `next` on up to the end or a failure, which is given; what a refill gives is given twice.
    std::exception_ptr ReadOn(int& next) {
        return RaisedBy([&] {
            iptr<IDataVideo> last;
            while (auto item = stream->Read()) {
                if (item == last) continue;
                EXPECT_THAT(item, IsVideo(next * PICTURE, PICTURE));
                ++next;
                last = item;
            }
        });
    }
    /// A seek to the middle of a picture, and everything from there on but the last one.
    void ExpectSeekWorks(int picture) {
        SeekCached(*controller, {stream.get()}, picture * PICTURE + 1);
        int next = picture;
        EXPECT_EQ(ReadOn(next), nullptr);
        EXPECT_EQ(next, PICTURES - 1);
    }

    iptr<FilterCacheController> controller;
    iptr<FailingVideo> source;
    iptr<IStreamVideo> stream;
};

TEST_F(CacheFaults, FailureOfAnyReadReachesTheReaderItselfAndNothingIsLost) {
    for (NamedFailure const& failure : EveryFailure()) {
        for (std::size_t failing = 0; failing <= PICTURES; ++failing) {
            SCOPED_TRACE(failure.name + " at read " + std::to_string(failing));
            MakeWithoutThread(failing, failure.failure);
            int next = 0;
            ASSERT_EQ(ReadOn(next), failure.failure);
            // What had been appended stays in memory, what had been given is behind the reader.
            auto const alive = source->GetAlive();
            ASSERT_EQ(alive.empty(), failing == 0);
            EXPECT_EQ(failing == 0 ? 0 : alive.back() + 1, failing);
            EXPECT_EQ(source->gate->GetArrivals(), static_cast<int>(failing) + 1);
            // A further read goes on where the source does. Meant: one that adds nothing at the end looks for nothing,
            // neither for what the failed one added.
            ASSERT_EQ(ReadOn(next), nullptr);
            ASSERT_EQ(next, failing == PICTURES ? PICTURES - 2 : PICTURES - 1);
            ExpectSeekWorks(5);
        }
    }
}

TEST_F(CacheFaults, SeekBehindTheReadersFailureWorks) {
    for (NamedFailure const& failure : EveryFailure()) {
        for (std::size_t failing = 0; failing <= PICTURES; ++failing) {
            SCOPED_TRACE(failure.name + " at read " + std::to_string(failing));
            MakeWithoutThread(failing, failure.failure);
            int next = 0;
            ASSERT_EQ(ReadOn(next), failure.failure);
            ExpectSeekWorks(static_cast<int>(failing) % (PICTURES - 1));
        }
    }
}

TEST_F(CacheFaults, FailureOfAnyReadOfTheThreadIsNotHandedOverAndNothingIsLost) {
    for (NamedFailure const& failure : EveryFailure()) {
        for (std::size_t failing = FILL; failing <= PICTURES; ++failing) {
            SCOPED_TRACE(failure.name + " at read " + std::to_string(failing));
            Make(failing, failure.failure);
            // Without a seek the thread lives. For each picture that leaves the window it reads one, and one more
            // behind its failure.
            ASSERT_THAT(stream->Read(), IsVideo(0, PICTURE));
            for (int next = 0; next < PICTURES - 1; ++next) {
                ASSERT_THAT(stream->Read(), IsVideo(next * PICTURE, PICTURE));
                int const turns = next + 1;
                bool const behind = failing < PICTURES && turns > static_cast<int>(failing) - FILL + 1;
                source->gate->AwaitArrivals(FILL + turns + (behind ? 1 : 0));
            }
            ASSERT_EQ(stream->Read(), nullptr);
            ExpectSeekWorks(5);
        }
    }
}

TEST_F(CacheFaults, ReaderMeetsTheFailureOfABrokenSourceItself) {
    for (NamedFailure const& failure : EveryFailure()) {
        SCOPED_TRACE(failure.name);
        auto steps = MakeSteps(FILL);
        for (int i = 0; i < 100; ++i) steps.emplace_back(failure.failure);
        Make(steps);
        int next = 0;
        // However often the thread has met it: the last picture of the window can't be given.
        for (int i = 0; i < 3; ++i) ASSERT_EQ(ReadOn(next), failure.failure);
        EXPECT_EQ(next, FILL - 1);
    }
}

TEST_F(CacheFaults, FailureInAPositionsReadAheadReachesWhoAsks) {
    for (NamedFailure const& failure : EveryFailure()) {
        SCOPED_TRACE(failure.name);
        MakeWithoutThread(2, failure.failure);
        EXPECT_EQ(RaisedBy([&] { stream->GetPosition(); }), failure.failure);
        EXPECT_EQ(stream->GetPosition(), 0);
        ExpectSeekWorks(3);
    }
}

// --- Failures inside a seek of several caches ------------------------------------------------------------------------

class CacheSeekFaults : public CacheFaults {
  protected:
    static constexpr std::size_t COUNT = 3;

    void MakeAll() {
        streams = {};
        controller = MakeShared<FilterCacheController>();
        for (std::size_t i = 0; i < COUNT; ++i) {
            sources[i] = MakeShared<FailingVideo>(MakeSteps(PICTURES));
            sources[i]->duration = PICTURES * PICTURE;
            streams[i] = controller->AddStreamT<IStreamVideo>(sources[i], AHEAD, BEHIND);
        }
        SeekAll(0);
        for (auto const& each : streams) each->Read();
    }
    std::vector<IStream*> Pointers() const {
        std::vector<IStream*> pointers;
        for (auto const& each : streams) pointers.push_back(each.get());
        return pointers;
    }
    void SeekAll(int64 position) { SeekCached(*controller, Pointers(), position); }
    void ExpectEmptyAndAsked() const {
        for (std::size_t i = 0; i < COUNT; ++i) {
            EXPECT_TRUE(sources[i]->GetAlive().empty());
            EXPECT_TRUE(dynamic_cast<IFilterCache&>(*streams[i]).IsSeekRequested());
        }
    }
    void ExpectAllRead(int picture) {
        for (auto const& each : streams) {
            EXPECT_FALSE(dynamic_cast<IFilterCache&>(*each).IsSeekRequested());
            stream = each;
            int next = picture;
            EXPECT_EQ(ReadOn(next), nullptr);
            EXPECT_EQ(next, PICTURES - 1);
        }
        stream = nullptr;
    }
    /// A source's phase fails within the seek of all; the failure reaches who seeks.
    void FailSeek(std::size_t which, bool request, std::exception_ptr const& failure) {
        MakeAll();
        (request ? sources[which]->onRequest : sources[which]->onSeek) = failure;
        for (auto const& each : streams) each->RequestSeek(9 * PICTURE + 1, nullptr);
        EXPECT_EQ(RaisedBy([&] { streams[0]->DoSeek(); }), failure);
        ExpectEmptyAndAsked();
    }
    template <class Recover>
    void ForEachFailure(Recover const& recover) {
        for (NamedFailure const& failure : EveryFailure()) {
            for (std::size_t which = 0; which < COUNT; ++which) {
                for (bool const request : {true, false}) {
                    SCOPED_TRACE(failure.name + " in " + (request ? "RequestSeek" : "DoSeek") + " of source " +
                                 std::to_string(which));
                    FailSeek(which, request, failure.failure);
                    recover();
                }
            }
        }
    }

    std::array<iptr<FailingVideo>, COUNT> sources;
    std::array<iptr<IStreamVideo>, COUNT> streams;
};

TEST_F(CacheSeekFaults, SeekOfTheControllerToTheSamePositionHelps) {
    ForEachFailure([&] {
        controller->SeekCaches(9 * PICTURE + 1);
        ExpectAllRead(9);
    });
}

TEST_F(CacheSeekFaults, SeekOfAllToTheSamePositionHelps) {
    ForEachFailure([&] {
        SeekAll(9 * PICTURE + 1);
        ExpectAllRead(9);
    });
}

TEST_F(CacheSeekFaults, SeekOfAllToAnotherPositionHelpsThoughTheFirstRequestsAreRefused) {
    ForEachFailure([&] {
        EXPECT_EQ(MessageOf<std::logic_error>([&] { streams[0]->RequestSeek(4 * PICTURE + 1, nullptr); }),
                  "all registered caches must be positioned to the same position");
        SeekAll(4 * PICTURE + 1);
        ExpectAllRead(4);
    });
}

TEST_F(CacheSeekFaults, DestructionBehindAFailedSeekIsClean) {
    ForEachFailure([&] {
        streams = {};
        for (auto const& each : sources) EXPECT_EQ(each->GetRefCountImpl(), 1U);
    });
}

}  // namespace
}  // namespace Tarsel::Proc
