// Reversed streams that are sought, read, released, ended and destroyed in random order, while their threads are
// wherever they happen to be. Nothing here waits for time to pass.
#include <glog/logging.h>
#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <string>

#include "tests/Proc/ReverseSupport.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;

constexpr int PICTURES = 120;
constexpr int64 PICTURE = 40000;
constexpr std::size_t NEVER = static_cast<std::size_t>(-1);

class ReverseStress : public ::testing::Test {
  protected:
    ReverseStress() { FLAGS_minloglevel = google::GLOG_FATAL; }
    ~ReverseStress() override {
        FLAGS_minloglevel = google::GLOG_INFO;
        EXPECT_EQ(ReverseMemory::GetUsed(), 0);
    }

    int64 Number(int64 low, int64 high) { return std::uniform_int_distribution<int64>(low, high)(random); }
    bool OneIn(int64 count) { return Number(1, count) == 1; }

    std::mt19937 random{20240611};
};

/// One stream, and which picture it must give next.
struct Reversed {
    iptr<SeekingVideo> source;
    iptr<IStreamVideoEx> filter;
    /// Number of the next picture, -1 at the end; nothing is known without a seek.
    std::optional<int64> next;
    /// Where the next picture begins.
    int64 time = 0;
    bool mayFail = false;

    void Place(int64 position) {
        Seek(*filter, position);
        int64 const end = source->duration - std::clamp<int64>(position, 0, source->duration);
        next = std::min<int64>(PICTURES, (end + PICTURE - 1) / PICTURE) - 1;
        time = source->duration - std::min(end, PICTURES * PICTURE);
    }
    void ReadOne() {
        iptr<IDataVideo> frame;
        try {
            frame = filter->Read();
        } catch (FilterException const& failure) {
            ASSERT_TRUE(mayFail);
            next.reset();
            return;
        }
        if (!next) return;
        if (*next < 0) {
            ASSERT_EQ(frame, nullptr);
            return;
        }
        ASSERT_NE(frame, nullptr) << "picture " << *next << " is missing";
        ASSERT_EQ(int64{ShadeOf(*frame)}, *next);
        ASSERT_EQ(frame->GetTime(), time);
        time = source->duration - *next * PICTURE;
        ASSERT_EQ(frame->GetTime() + frame->GetDuration(), time);
        --*next;
    }
};

TEST_F(ReverseStress, RandomCallsGiveEveryPictureInItsPlaceAndAllMemoryBack) {
    for (int round = 0; round < 40; ++round) {
        std::vector<Reversed> streams;
        for (int i = 0; i < 2; ++i) {
            Reversed reversed;
            reversed.source = MakePictures(PICTURES, OneIn(2) ? Landing::Containing : Landing::Early, PICTURE);
            // The pictures may end before the stated duration does.
            if (OneIn(3)) reversed.source->duration += Number(1, 5 * SECOND);
            reversed.source->failure = Failure<FilterException>("broken");
            // Memory for one picture, for some, or for all; one word for the whole process.
            int64 const limits[] = {PICTURE_BYTES, 10 * PICTURE_BYTES, 1000 * PICTURE_BYTES};
            reversed.filter = ReverseOf(reversed.source, limits[Number(0, 2)]);
            streams.push_back(reversed);
        }
        for (int call = 0; call < 60; ++call) {
            SCOPED_TRACE("round " + std::to_string(round) + ", call " + std::to_string(call));
            Reversed& stream = streams[static_cast<std::size_t>(Number(0, 1))];
            switch (Number(0, 6)) {
                case 0:
                case 1:
                    stream.Place(Number(-SECOND, stream.source->duration + SECOND));
                    break;
                case 2:
                    stream.filter->ReleaseInternalData();
                    // One of the two alone, for the log's own use of the time zone isn't known to the thread sanitizer.
                    stream.mayFail = &stream == &streams.front() && OneIn(3);
                    stream.source->failAt = stream.mayFail ? static_cast<std::size_t>(Number(0, PICTURES - 1)) : NEVER;
                    stream.Place(Number(0, stream.source->duration));
                    break;
                case 3:
                    if (!OneIn(4)) break;
                    stream.filter->SetEndOfStream();
                    ASSERT_EQ(stream.filter->Read(), nullptr);
                    stream.next.reset();
                    break;
                default:
                    for (int64 reads = Number(1, 70); reads > 0; --reads) ASSERT_NO_FATAL_FAILURE(stream.ReadOne());
            }
        }
    }
}

TEST_F(ReverseStress, StreamsWhoseSourceBlocksAreSoughtReleasedAndDestroyedAtAnyTime) {
    for (int round = 0; round < 300; ++round) {
        auto const source = MakePictures(PICTURES);
        source->stuckAt = static_cast<std::size_t>(Number(0, PICTURES - 1));
        auto filter = ReverseOf(source, OneIn(2) ? PICTURE_BYTES : 1000 * PICTURE_BYTES);
        for (int64 calls = Number(1, 6); calls > 0; --calls) {
            switch (Number(0, 3)) {
                case 0:
                    filter->ReleaseInternalData();
                    break;
                case 1:
                    filter->SetEndOfStream();
                    break;
                default:
                    Seek(*filter, Number(0, source->duration));
            }
        }
        filter = nullptr;
        ASSERT_EQ(source->GetRefCountImpl(), 1U);
    }
}

TEST_F(ReverseStress, SoundIsTheSameUnderRandomCalls) {
    constexpr int RATE = 8000;
    int64 const total = 25 * RATE;
    auto const source = MakeSound(total, 977, RATE);
    auto const filter = ReverseOf(source);
    for (int round = 0; round < 60; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        int64 const sample = Number(0, total);
        Seek(*filter, SampleCount2Duration(sample, RATE));
        std::vector<iptr<IDataAudio>> blocks;
        for (int64 reads = Number(0, 250); reads > 0; --reads) {
            if (auto block = filter->Read()) blocks.push_back(block);
            if (OneIn(100)) filter->ReleaseInternalData();
        }
        int64 expected = total - 1 - sample;
        for (std::int32_t const value : SamplesIn(blocks)) ASSERT_EQ(value, expected--);
    }
}

}  // namespace
}  // namespace Tarsel::Proc
