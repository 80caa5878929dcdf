#include <gtest/gtest.h>

#include <functional>
#include <latch>
#include <random>
#include <thread>

#include "Proc/Filters/Filters/FilterCutController.h"
#include "contracts/Core/Exception.h"
#include "tests/support/CutSupport.h"

// Several readers at once: one thread per stream, jumps in between.

namespace Tarsel::CutTest {
namespace {

using Proc::FilterCutController;
using Proc::IStreamRaw;

/// Runs the bodies at the same time and waits for all.
void RunTogether(std::vector<std::function<void()>> const& bodies) {
    std::latch ready(std::ssize(bodies));
    std::vector<std::jthread> threads;
    for (auto const& body : bodies)
        threads.emplace_back([&ready, &body] {
            ready.arrive_and_wait();
            body();
        });
}

constexpr int COUNT = 900;  // 36 s of pictures
constexpr int64 DURATION = COUNT * FRAME;

iptr<Source<Proc::IStreamVideo>> MakeVideo() {
    std::vector<iptr<Proc::IDataVideo>> frames;
    for (int i = 0; i < COUNT; ++i) frames.push_back(MakeFrame(i * FRAME, FRAME, static_cast<u32>(i + 1)));
    return MakeShared<Source<Proc::IStreamVideo>>(frames, DURATION);
}
iptr<Source<Proc::IStreamAudio>> MakeAudio() {
    std::vector<iptr<Proc::IDataAudio>> blocks;
    for (int i = 0; i < COUNT; ++i) blocks.push_back(MakeBlock(i * FRAME, 40, i * 40));
    return MakeShared<Source<Proc::IStreamAudio>>(blocks, DURATION);
}

/// Ranges of five seconds and more on the group grid of 25 pictures, and a short one.
std::vector<std::pair<int64, int64>> DrawRanges(std::mt19937& random) {
    std::vector<std::pair<int64, int64>> ranges;
    std::uniform_int_distribution<int64> second(0, 30);
    for (int i = 0; i < 2; ++i) {
        int64 const start = second(random) * SECOND;
        ranges.emplace_back(start, start + 6 * SECOND);
    }
    int64 const start = second(random) * SECOND;
    ranges.emplace_back(start, start + SECOND);
    return ranges;
}

TEST(CutThreads, ThreeDecodedStreamsReadAtOnceLoseAndDoubleNothing) {
    for (unsigned seed = 0; seed < 12; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        auto const cuts = Cuts(DrawRanges(random));
        auto controller = MakeShared<FilterCutController>();
        controller->UpdateSettings(cuts);
        auto video = controller->AddStream(iptr<Proc::IStreamVideo>(MakeVideo()));
        auto first = controller->AddStream(iptr<Proc::IStreamAudio>(MakeAudio()));
        auto second = controller->AddStream(iptr<Proc::IStreamAudio>(MakeAudio()));
        for (int round = 0; round < 2; ++round) {
            SeekTo(*video, 0);
            SeekTo(*first, 0);
            SeekTo(*second, 0);
            std::vector<u32> ids;
            int64 lengths[2] = {};
            auto const listen = [](Proc::IStreamAudio& stream, int64& length) {
                while (auto block = stream.Read()) {
                    EXPECT_EQ(block->GetTime(), length);
                    length += block->GetDuration();
                }
            };
            RunTogether({[&] {
                             while (auto frame = video->Read()) ids.push_back(IdOf(*frame));
                         },
                         [&] { listen(*first, lengths[0]); }, [&] { listen(*second, lengths[1]); }});
            std::vector<u32> expected;
            for (int i = 0; i < COUNT; ++i)
                if (!cuts.IsPointDeleted(i * FRAME)) expected.push_back(static_cast<u32>(i + 1));
            ASSERT_EQ(ids, expected);
            ASSERT_EQ(lengths[0], cuts.Source2Result(DURATION));
            ASSERT_EQ(lengths[1], cuts.Source2Result(DURATION));
        }
    }
}

TEST(CutThreads, ThreeCompressedStreamsReadAtOnceLoseAndDoubleNothing) {
    for (unsigned seed = 0; seed < 12; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed + 1000);
        auto const cuts = Cuts(DrawRanges(random));
        auto controller = MakeShared<FilterCutController>();
        controller->UpdateSettings(cuts);
        controller->SetCodecFacory(MakeFactoryWithoutEncoders());
        auto const groups = std::vector<int>(COUNT / 25, 25);
        auto video =
            controller->AddStream(iptr<IStreamRaw>(MakeVideoSource(MakeGroups(groups, Order::Straight), DURATION)));
        auto first = controller->AddStream(iptr<IStreamRaw>(MakeSoundSource(MakeSound(COUNT, FRAME), DURATION)));
        auto decoded = controller->AddStream(iptr<Proc::IStreamAudio>(MakeAudio()));
        std::vector<u32> expected;
        for (int i = 0; i < COUNT; ++i)
            if (!cuts.IsPointDeleted(i * FRAME)) expected.push_back(static_cast<u32>(i + 1));
        for (int round = 0; round < 2; ++round) {
            SeekTo(*video, 0);
            SeekTo(*first, 0);
            SeekTo(*decoded, 0);
            std::vector<u32> pictures;
            std::vector<u32> sound;
            int64 length = 0;
            RunTogether({[&] {
                             while (auto packet = video->Read()) pictures.push_back(IdOf(*packet));
                         },
                         [&] {
                             while (auto packet = first->Read()) sound.push_back(IdOf(*packet));
                         },
                         [&] {
                             while (auto block = decoded->Read()) length += block->GetDuration();
                         }});
            ASSERT_EQ(pictures, expected);
            ASSERT_EQ(sound, expected);
            ASSERT_EQ(length, cuts.Source2Result(DURATION));
        }
    }
}

TEST(CutThreads, StreamsMayEndAndGoWhileOthersJump) {
    for (unsigned seed = 0; seed < 8; ++seed) {
        auto controller = MakeShared<FilterCutController>();
        controller->UpdateSettings(Cuts({{6 * SECOND, 12 * SECOND}, {20 * SECOND, 30 * SECOND}}));
        auto video = controller->AddStream(iptr<Proc::IStreamVideo>(MakeVideo()));
        auto stopped = controller->AddStream(iptr<Proc::IStreamAudio>(MakeAudio()));
        auto gone = controller->AddStream(iptr<Proc::IStreamAudio>(MakeAudio()));
        SeekTo(*video, 0);
        SeekTo(*stopped, 0);
        SeekTo(*gone, 0);
        std::size_t frames = 0;
        RunTogether({[&] {
                         while (video->Read()) ++frames;
                     },
                     [&] {
                         for (unsigned i = 0; i < 100 + 20 * seed; ++i) stopped->Read();
                         stopped->SetEndOfStream();
                         EXPECT_FALSE(stopped->Read());
                     },
                     [&] {
                         for (unsigned i = 0; i < 100 + 15 * seed; ++i) gone->Read();
                         gone = nullptr;
                     }});
        EXPECT_EQ(frames, static_cast<std::size_t>(COUNT - 150 - 250));
    }
}

TEST(CutThreads, SettingsAndStatisticsMayBeAskedForWhileReading) {
    auto controller = MakeShared<FilterCutController>();
    controller->UpdateSettings(Cuts({{6 * SECOND, 12 * SECOND}}));
    controller->SetCodecFacory(MakeFactory());
    auto video = controller->AddStream(iptr<Proc::IStreamVideo>(MakeVideo()));
    auto sound = controller->AddStream(iptr<IStreamRaw>(MakeSoundSource(MakeSound(COUNT, FRAME), DURATION)));
    SeekTo(*video, 0);
    SeekTo(*sound, 0);
    std::size_t frames = 0;
    std::size_t packets = 0;
    RunTogether({[&] {
                     while (video->Read()) ++frames;
                 },
                 [&] {
                     while (sound->Read()) ++packets;
                 },
                 [&] {
                     for (int i = 0; i < 2000; ++i) {
                         EXPECT_EQ(controller->GetCutSettings().GetOptIntervalsCount(), 3U);
                         EXPECT_EQ(video->GetDuration(), DURATION - 6 * SECOND);
                     }
                 }});
    EXPECT_EQ(frames, static_cast<std::size_t>(COUNT - 150));
    EXPECT_EQ(packets, static_cast<std::size_t>(COUNT - 150));
}

}  // namespace
}  // namespace Tarsel::CutTest
