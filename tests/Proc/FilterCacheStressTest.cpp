// Caches under one controller, each read by a thread of its own, that are sought, released, ended, watched and
// destroyed in random order, while their own threads are wherever they happen to be. Nothing here waits for time to
// pass.
#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <random>
#include <string>
#include <thread>

#include "tests/Proc/CacheSupport.h"
#include "tests/Proc/ReverseSupport.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;

constexpr int64 DURATION = 6 * SECOND;
constexpr int RATE = 8000;

/// A source that counts its seeks, and the calls that came while a read was on its way.
template <class T>
class CountedStream : public SeekingStream<T> {
  public:
    using SeekingStream<T>::SeekingStream;
    using typename SeekingStream<T>::Item;

    std::atomic<int> seeks{0};
    std::atomic<int> meetings{0};
    /// One read in this many fails, where it isn't 0.
    std::atomic<unsigned> failsOneIn{0};

    Item Read() override {
        Inside const inside(*this);
        unsigned const oneIn = failsOneIn;
        if (oneIn != 0 && ++number % oneIn == 0) TARSEL_THROW(FilterException, "broken");
        return SeekingStream<T>::Read();
    }
    void RequestSeek(int64 position, iptr<IRefCountable> context) override {
        Inside const inside(*this);
        ++seeks;
        SeekingStream<T>::RequestSeek(position, context);
    }
    void DoSeek() override {
        Inside const inside(*this);
        SeekingStream<T>::DoSeek();
    }
    void ReleaseInternalData() override { Inside const inside(*this); }

  private:
    struct Inside {
        explicit Inside(CountedStream& stream) : stream(stream) {
            if (stream.busy.exchange(true)) ++stream.meetings;
        }
        ~Inside() { stream.busy = false; }
        CountedStream& stream;
    };

    std::atomic<bool> busy{false};
    unsigned number = 0;
};

/// One cached stream, and what it must give next.
class Track {
  public:
    virtual ~Track() = default;

    virtual IStream& GetStream() const = 0;
    virtual int GetSeeks() const = 0;
    virtual int GetMeetings() const = 0;
    virtual void SetFailing(unsigned oneIn) = 0;
    /// Destroys the cache and looks whether it has let go of everything.
    virtual void Destroy() = 0;
    virtual void ReadOne() = 0;

    /// All have been sought.
    void Place(int64 position) {
        if (GetSeeks() != seeksBefore) mayEnd = false;
        seeksBefore = GetSeeks();
        next = std::clamp<int64>(position, 0, DURATION) / length;
        last = nullptr;
    }
    /// Behind a release or a failure nothing is known without a seek.
    void Forget() { next.reset(); }
    /// The source has been ended, which only a seek that reaches it takes back.
    void End() { mayEnd = true; }

  protected:
    explicit Track(int64 length) : length(length) {}

    /// An item at `time` whose content is that of the item with this number.
    void Check(void const* object, int64 time, int64 number) {
        ASSERT_EQ(time, number * length);
        if (!next) return;
        if (object == last) {
            ASSERT_FALSE(std::exchange(repeated, true)) << "an item came a third time";
            return;
        }
        ASSERT_EQ(number, *next);
        last = object;
        repeated = false;
        ++*next;
    }
    bool IsPlaced() const { return next.has_value(); }
    void CheckEnd() const {
        if (!next || mayEnd) return;
        ASSERT_GE(*next, DURATION / length - 1) << "more than the last item stayed behind";
    }

    bool mayFail = false;

  private:
    int64 const length;
    std::optional<int64> next;
    void const* last = nullptr;
    bool repeated = false;
    bool mayEnd = false;
    int seeksBefore = 0;
};

template <class T>
class TrackOf final : public Track {
  public:
    TrackOf(FilterCacheController& controller, iptr<CountedStream<T>> counted, int64 length, int samples)
        : Track(length), samples(samples), source(std::move(counted)) {
        source->duration = DURATION;
        stream = controller.AddStreamT<T>(source, 300000, 200000);
    }

    IStream& GetStream() const override { return *stream; }
    int GetSeeks() const override { return source->seeks; }
    int GetMeetings() const override { return source->meetings; }
    void SetFailing(unsigned oneIn) override {
        source->failsOneIn = oneIn;
        mayFail = oneIn != 0;
    }
    void Destroy() override {
        stream = nullptr;
        ASSERT_EQ(source->GetRefCountImpl(), 1U);
    }
    void ReadOne() override {
        typename T::DataType* item = nullptr;
        try {
            held = stream->Read();
            item = held.get();
        } catch (FilterException const& failure) {
            ASSERT_TRUE(mayFail);
            return Forget();
        } catch (std::logic_error const& failure) {
            // The source has gone on where no seek put it.
            ASSERT_FALSE(IsPlaced());
            ASSERT_STREQ(failure.what(), "buffer overrun");
            return;
        }
        if (!item) return CheckEnd();
        if constexpr (std::is_same_v<T, IStreamVideo>)
            Check(item, item->GetTime(), ShadeOf(*item));
        else
            Check(item, item->GetTime(), SamplesOf<std::int32_t>(*item)[0] / samples);
    }

  private:
    int const samples;
    iptr<CountedStream<T>> const source;
    iptr<T> stream;
    /// What was read last, so that no other item gets its address.
    iptr<typename T::DataType> held;
};

class CacheStress : public ::testing::TestWithParam<unsigned> {
  protected:
    CacheStress() : random(GetParam()) {
        FLAGS_minloglevel = google::GLOG_FATAL;
        Fill();
    }
    ~CacheStress() override {
        tracks.clear();
        FLAGS_minloglevel = google::GLOG_INFO;
    }
    int64 Number(int64 low, int64 high) { return std::uniform_int_distribution<int64>(low, high)(random); }
    bool OneIn(int64 count) { return Number(1, count) == 1; }

    /// Two or three new caches under a new controller.
    void Fill() {
        tracks.clear();
        controller = MakeShared<FilterCacheController>();
        AddPictures(40000);
        tracks.push_back(std::make_unique<TrackOf<IStreamAudio>>(
            *controller, MakeShared<CountedStream<IStreamAudio>>(MakeBlocks(DURATION * RATE / SECOND, 400, RATE)),
            50000, 400));
        if (OneIn(2)) AddPictures(30000);
    }
    void AddPictures(int64 length) {
        auto source = MakeShared<CountedStream<IStreamVideo>>(MakeVideos(static_cast<int>(DURATION / length), length));
        tracks.push_back(std::make_unique<TrackOf<IStreamVideo>>(*controller, source, length, 1));
    }
    int64 MakePosition() {
        switch (Number(0, 5)) {
            case 0:
                return Number(0, DURATION + SECOND);
            case 1:
                return Number(0, DURATION / 10000) * 10000;
            default:
                return near = std::clamp<int64>(near + Number(-400000, 500000), 0, DURATION);
        }
    }
    void SeekTo(int64 position) {
        std::vector<IStream*> streams;
        for (auto const& track : tracks) streams.push_back(&track->GetStream());
        std::shuffle(streams.begin(), streams.end(), random);
        SeekCached(*controller, streams, position);
        for (auto const& track : tracks) track->Place(position);
    }
    /// Each stream is read by a thread of its own, while another one asks what may be asked at any time.
    void ReadAll(bool ending) {
        std::atomic<bool> done{false};
        if (ending)
            for (auto const& track : tracks) track->End();
        std::thread watcher([&] {
            do {
                for (auto const& track : tracks) {
                    EXPECT_EQ(track->GetStream().GetDuration(), DURATION);
                    EXPECT_EQ(track->GetStream().GetStatistic().Children().size(), 2U);
                    if (ending) track->GetStream().SetEndOfStream();
                    track->GetStream().IsEndOfStream();
                }
                std::this_thread::yield();
            } while (!done);
        });
        std::vector<std::thread> readers;
        for (auto const& track : tracks) {
            readers.emplace_back([&, reads = Number(0, 40)] {
                for (int64 i = 0; i < reads && !HasFatalFailure(); ++i) track->ReadOne();
            });
        }
        for (std::thread& reader : readers) reader.join();
        done = true;
        watcher.join();
    }
    /// Reads that one thread makes in turn.
    void ReadInTurn() {
        for (int64 reads = Number(1, 60); reads > 0 && !HasFatalFailure(); --reads) PickTrack().ReadOne();
    }
    Track& PickTrack() { return *tracks[static_cast<std::size_t>(Number(0, static_cast<int64>(tracks.size()) - 1))]; }

    void Step() {
        switch (Number(0, 11)) {
            case 0:
                // Whoever reads on without a seek gets whatever the source gives.
                PickTrack().GetStream().ReleaseInternalData();
                for (auto const& track : tracks) track->Forget();
                if (OneIn(2)) ReadInTurn();
                return SeekTo(MakePosition());
            case 1:
                return controller->SetCacheIncreaseSpan(Number(0, 300000));
            case 2: {
                // A request that is not carried out before the others' come.
                int64 const position = MakePosition();
                Track& track = PickTrack();
                track.GetStream().RequestSeek(position, nullptr);
                track.GetStream().DoSeek();
                return SeekTo(OneIn(2) ? position : MakePosition());
            }
            case 3: {
                if (!OneIn(6) || tracks.size() == 1) return;
                auto const dying = tracks.begin() + Number(0, static_cast<int64>(tracks.size()) - 1);
                ASSERT_NO_FATAL_FAILURE((*dying)->Destroy());
                EXPECT_EQ((*dying)->GetMeetings(), 0);
                tracks.erase(dying);
                return;
            }
            case 4:
            case 5:
            case 6:
                return SeekTo(MakePosition());
            case 7:
            case 8:
                return ReadInTurn();
            default:
                return ReadAll(OneIn(8));
        }
    }

    std::mt19937 random;
    int64 near = 0;
    iptr<FilterCacheController> controller;
    std::vector<std::unique_ptr<Track>> tracks;
};

TEST_P(CacheStress, RandomCallsGiveEveryItemInItsPlace) {
    for (int round = 0; round < 12 && !HasFailure(); ++round) {
        Fill();
        // With a first seek, which ends the threads, or without one.
        if (OneIn(2)) {
            SeekTo(MakePosition());
        } else {
            for (auto const& track : tracks) track->Place(0);
        }
        for (int step = 0; step < 40 && !HasFailure(); ++step) {
            SCOPED_TRACE("round " + std::to_string(round) + ", step " + std::to_string(step));
            Step();
            for (auto const& track : tracks) EXPECT_EQ(track->GetMeetings(), 0);
        }
    }
}

TEST_P(CacheStress, FailuresOfTheSourcesAreMetByReadersOnlyAndASeekHelps) {
    for (int round = 0; round < 30 && !HasFailure(); ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        Fill();
        for (auto const& track : tracks) track->SetFailing(static_cast<unsigned>(Number(0, 12)));
        if (OneIn(2)) {
            SeekTo(MakePosition());
        } else {
            for (auto const& track : tracks) track->Place(0);
        }
        for (int step = 0; step < 6; ++step) {
            ReadAll(false);
            SeekTo(MakePosition());
        }
        for (auto const& track : tracks) track->SetFailing(0);
        SeekTo(MakePosition());
        ReadAll(false);
    }
}

TEST_P(CacheStress, CachesAreDestroyedWhereverTheirThreadsAre) {
    for (int round = 0; round < 60 && !HasFailure(); ++round) {
        Fill();
        while (!tracks.empty()) {
            if (OneIn(2)) SeekTo(MakePosition());
            for (int64 reads = Number(0, 12); reads > 0; --reads) PickTrack().ReadOne();
            auto const dying = tracks.begin() + Number(0, static_cast<int64>(tracks.size()) - 1);
            ASSERT_NO_FATAL_FAILURE((*dying)->Destroy());
            tracks.erase(dying);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, CacheStress, ::testing::Values(1U, 2U, 3U, 4U));

}  // namespace
}  // namespace Tarsel::Proc
