#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <sstream>

#include "Proc/Filters/Filters/FilterCutController.h"
#include "tests/support/CutSupport.h"

// Random cut lists over scripted groups against a plain model of what must come out. A seed is printed on failure.

namespace Tarsel::CutTest {
namespace {

using Proc::FilterCutController;
using Proc::IStreamRaw;
using Ranges = std::vector<std::pair<int64, int64>>;
using Random = std::mt19937;

int Draw(Random& random, int low, int high) {
    return std::uniform_int_distribution<int>(low, high)(random);
}

std::vector<int> DrawGroups(Random& random) {
    static constexpr int kinds[] = {1, 2, 5, 12, 40, 160};
    std::vector<int> sizes;
    int const kind = Draw(random, 0, 6);
    for (int total = 0; total < 500;) {
        int const size = kind < 6 ? kinds[kind] : Draw(random, 1, 60);
        sizes.push_back(size);
        total += size;
    }
    if (Draw(random, 0, 3) == 0) sizes.back() = 1;
    return sizes;
}

/// Ranges shorter than a frame, inside groups, over several, longer and shorter than the jump, touching, overlapping,
/// at 0, to the end.
Ranges DrawRanges(Random& random, int64 duration, bool onGrid) {
    static constexpr int64 lengths[] = {1, 10000, FRAME, 5 * FRAME, 40 * FRAME, 125 * FRAME, 200 * FRAME};
    Ranges ranges;
    int const count = Draw(random, 1, 4);
    for (int i = 0; i < count; ++i) {
        int64 start = Draw(random, 0, static_cast<int>(duration));
        int64 end = start + lengths[Draw(random, 0, 6)] * Draw(random, 1, 2);
        if (!ranges.empty() && Draw(random, 0, 3) == 0) start = ranges.back().second;
        if (Draw(random, 0, 9) == 0) start = 0;
        if (Draw(random, 0, 9) == 0) end = NO_VALUE;
        if (onGrid) {
            start = (start + FRAME - 1) / FRAME * FRAME;
            if (HasValue(end)) end = (end + FRAME - 1) / FRAME * FRAME;
        }
        ranges.emplace_back(start, HasValue(end) ? std::max(start, end) : end);
    }
    return ranges;
}

std::string Describe(unsigned seed, std::vector<int> const& groups, Ranges const& ranges) {
    std::ostringstream text;
    text << "seed " << seed << ", groups";
    for (int const size : groups) text << " " << size;
    text << ", ranges";
    for (auto const& [start, end] : ranges) text << " [" << start << ", " << end << ")";
    return text.str();
}

struct Picture {
    u32 id;
    int64 time;
    int64 duration;
    bool copied;

    bool operator==(Picture const&) const = default;
    friend void PrintTo(Picture const& p, std::ostream* out) {
        *out << p.id << "@" << p.time << "+" << p.duration << (p.copied ? "c" : "r");
    }
};
bool ByTime(Picture const& a, Picture const& b) {
    return a.time < b.time;
}

std::vector<Picture> PicturesOf(std::vector<iptr<Proc::IDataPacket>> const& packets) {
    std::vector<Picture> pictures;
    for (auto const& packet : packets)
        pictures.push_back(
            {IdOf(*packet), packet->GetTime(), packet->GetDuration(), HasValue(packet->GetSourcePosition())});
    return pictures;
}

/// Every picture with a part outside the ranges, in its place; copied when no cut falls into its group.
std::vector<Picture> ModelRecode(std::vector<int> const& groups, Proc::SettingsFilterCutController const& cuts) {
    std::vector<Picture> result;
    int64 time = 0;
    u32 id = 1;
    for (int const size : groups) {
        int64 const end = time + size * FRAME;
        bool const copied = cuts.Source2Result(end) - cuts.Source2Result(time) == end - time;
        for (; time < end; time += FRAME, ++id) {
            int64 const from = cuts.Source2Result(time);
            int64 const to = cuts.Source2Result(time + FRAME);
            if (to > from) result.push_back({id, from, to - from, copied});
        }
    }
    return result;
}

void CheckDecodingTimes(std::vector<iptr<Proc::IDataPacket>> const& packets, bool onGrid) {
    for (std::size_t i = 0; i < packets.size(); ++i) {
        EXPECT_LE(packets[i]->GetDecodingTime(), packets[i]->GetTime()) << "packet " << i;
        if (i > 0 && onGrid) {
            EXPECT_GT(packets[i]->GetDecodingTime(), packets[i - 1]->GetDecodingTime()) << "packet " << i;
        }
    }
}

struct Rig {
    iptr<FilterCutController> controller = MakeShared<FilterCutController>();

    iptr<IStreamRaw> Add(iptr<PacketSource> const& source, iptr<FakeFactory> const& factory) {
        controller->SetCodecFacory(factory);
        return controller->AddStream(iptr<IStreamRaw>(source));
    }
};

int Total(std::vector<int> const& groups) {
    int total = 0;
    for (int const size : groups) total += size;
    return total;
}

class CutRandom : public testing::TestWithParam<unsigned> {};

TEST_P(CutRandom, RecodedStreamHasExactlyTheKeptPicturesEachInItsPlace) {
    for (unsigned seed = GetParam() * 50; seed < GetParam() * 50 + 50; ++seed) {
        Random random(seed);
        auto const groups = DrawGroups(random);
        bool const onGrid = seed % 2 == 0;
        // A stream that opens with single pictures tells no delay; reordering starts with groups that have some.
        Order const order = groups[0] > 3 && Draw(random, 0, 1) ? Order::Reordered : Order::Straight;
        int64 const duration = Total(groups) * FRAME;
        auto const ranges = DrawRanges(random, duration, onGrid);
        SCOPED_TRACE(Describe(seed, groups, ranges));
        auto const cuts = Cuts(ranges);
        Rig rig;
        rig.controller->UpdateSettings(cuts);
        auto stream = rig.Add(MakeVideoSource(MakeGroups(groups, order), duration), MakeFactory());
        SeekTo(*stream, 0);
        auto const packets = ReadAll(*stream);
        auto pictures = PicturesOf(packets);
        std::sort(pictures.begin(), pictures.end(), ByTime);
        auto expected = ModelRecode(groups, cuts);
        ASSERT_EQ(pictures, expected);
        CheckDecodingTimes(packets, onGrid);
        if (HasFailure()) return;

        // After any seek the rest equals straight reading.
        auto const straight = PicturesOf(packets);
        for (int i = 0; i < 4; ++i) {
            int64 const place = Draw(random, 0, static_cast<int>(duration));
            for (int skipped = Draw(random, 0, 5); skipped > 0; --skipped) stream->Read();
            SeekTo(*stream, place);
            auto const rest = PicturesOf(ReadAll(*stream));
            ASSERT_LE(rest.size(), straight.size());
            ASSERT_TRUE(std::equal(rest.begin(), rest.end(), straight.end() - std::ssize(rest))) << "seek " << place;
            // And it holds what lies at the place.
            auto const at =
                std::count_if(straight.begin(), straight.end(), [&](Picture const& p) { return p.time >= place; });
            auto const had = std::count_if(rest.begin(), rest.end(), [&](Picture const& p) { return p.time >= place; });
            ASSERT_EQ(had, at) << "seek " << place;
        }
    }
}

/// Ranges and every group that holds a boundary, and so on.
Proc::SettingsFilterCutController ModelAligned(std::vector<int> const& groups, Proc::SettingsFilterCutController cuts) {
    int64 time = 0;
    for (int const size : groups) {
        int64 const end = time + size * FRAME;
        int64 const kept = cuts.Source2Result(end) - cuts.Source2Result(time);
        if (kept != 0 && kept != end - time) cuts.AddInterval(time, end, NO_VALUE, false);
        time = end;
    }
    return cuts;
}

TEST_P(CutRandom, GroupStreamHasExactlyTheWholeGroupsAndSoundFollows) {
    for (unsigned seed = GetParam() * 50; seed < GetParam() * 50 + 50; ++seed) {
        Random random(seed + 100000);
        auto const groups = DrawGroups(random);
        Order const order = static_cast<Order>(Draw(random, 0, 2));
        int64 const duration = Total(groups) * FRAME;
        auto const ranges = DrawRanges(random, duration, false);
        SCOPED_TRACE(Describe(seed + 100000, groups, ranges));
        auto const cuts = ModelAligned(groups, Cuts(ranges));
        auto const source = MakeGroups(groups, order);
        auto const soundPackets = MakeSound(static_cast<int>(duration / 20000), 20000);

        Rig rig;
        rig.controller->UpdateSettings(Cuts(ranges));
        auto stream = rig.Add(MakeVideoSource(source, duration), MakeFactoryWithoutEncoders());
        auto sound = rig.Add(MakeSoundSource(soundPackets, duration), MakeFactory());
        SeekTo(*stream, 0);
        SeekTo(*sound, 0);
        ASSERT_EQ(rig.controller->GetCutSettings(), cuts);

        // Both streams are read in step, as a muxer does.
        std::vector<iptr<Proc::IDataPacket>> video;
        std::vector<iptr<Proc::IDataPacket>> audio;
        auto nextVideo = stream->Read();
        auto nextAudio = sound->Read();
        while (nextVideo || nextAudio) {
            if (nextVideo && (!nextAudio || nextVideo->GetDecodingTime() <= nextAudio->GetDecodingTime())) {
                video.push_back(nextVideo);
                nextVideo = stream->Read();
            } else {
                audio.push_back(nextAudio);
                nextAudio = sound->Read();
            }
        }
        // A packet of a kept group whose time is kept: leading pictures of a group whose predecessor is removed go.
        std::vector<Picture> expected;
        bool keyKept = false;
        for (auto const& packet : source) {
            if (packet->IsKeyFrame()) keyKept = !cuts.IsPointDeleted(packet->GetTime());
            if (keyKept && !cuts.IsPointDeleted(packet->GetTime()))
                expected.push_back({IdOf(*packet), cuts.Source2Result(packet->GetTime()), FRAME, true});
        }
        ASSERT_EQ(PicturesOf(video), expected);
        std::vector<Picture> expectedSound;
        for (auto const& packet : soundPackets)
            if (!cuts.IsPointDeleted(packet->GetTime()))
                expectedSound.push_back({IdOf(*packet), cuts.Source2Result(packet->GetTime()), 20000, true});
        ASSERT_EQ(PicturesOf(audio), expectedSound);
        ASSERT_EQ(rig.controller->GetCutSettings(), cuts);  // nothing changed while reading

        SeekTo(*stream, 0);
        SeekTo(*sound, 0);
        ASSERT_EQ(PicturesOf(ReadAll(*stream)), expected);
        ASSERT_EQ(PicturesOf(ReadAll(*sound)), expectedSound);
    }
}

TEST_P(CutRandom, DecodedStreamsAreFrameAndSampleExactAndMayBeReadInAnyOrder) {
    for (unsigned seed = GetParam() * 20; seed < GetParam() * 20 + 20; ++seed) {
        Random random(seed + 200000);
        int const count = Draw(random, 300, 500);
        int64 const duration = count * FRAME;
        auto const ranges = DrawRanges(random, duration, false);
        SCOPED_TRACE(Describe(seed + 200000, {count}, ranges));
        auto const cuts = Cuts(ranges);
        std::vector<iptr<Proc::IDataVideo>> frames;
        for (int i = 0; i < count; ++i) frames.push_back(MakeFrame(i * FRAME, FRAME, static_cast<u32>(i + 1)));
        std::vector<iptr<Proc::IDataAudio>> blocks;
        for (int i = 0; i < count; ++i) blocks.push_back(MakeBlock(i * FRAME, 40, i * 40));
        Rig rig;
        rig.controller->UpdateSettings(cuts);
        auto videoSource = MakeShared<Source<Proc::IStreamVideo>>(frames, duration);
        auto soundSource = MakeShared<Source<Proc::IStreamAudio>>(blocks, duration);
        videoSource->landEarlier = static_cast<std::size_t>(Draw(random, 0, 30));
        soundSource->landEarlier = static_cast<std::size_t>(Draw(random, 0, 30));
        auto video = rig.controller->AddStream(iptr<Proc::IStreamVideo>(videoSource));
        auto sound = rig.controller->AddStream(iptr<Proc::IStreamAudio>(soundSource));
        SeekTo(*video, 0);
        SeekTo(*sound, 0);
        int64 videoTime = 0;
        int64 soundTime = 0;
        std::vector<Picture> pictures;
        auto nextFrame = video->Read();
        auto nextBlock = sound->Read();
        while (nextFrame || nextBlock) {
            // One stream may run ahead of the other by anything.
            if (nextFrame && (!nextBlock || Draw(random, 0, 3) > 0)) {
                ASSERT_EQ(nextFrame->GetTime(), videoTime);
                videoTime += nextFrame->GetDuration();
                pictures.push_back({IdOf(*nextFrame), nextFrame->GetTime(), nextFrame->GetDuration(), false});
                nextFrame = video->Read();
            } else {
                // What rounds to no sample at all is left out: half a sample at the most.
                ASSERT_LE(std::abs(nextBlock->GetTime() - soundTime), 500);
                soundTime = nextBlock->GetTime() + nextBlock->GetDuration();
                nextBlock = sound->Read();
            }
        }
        std::vector<Picture> expected;
        for (int i = 0; i < count; ++i) {
            int64 const from = cuts.Source2Result(i * FRAME);
            int64 const to = cuts.Source2Result((i + 1) * FRAME);
            if (to > from) expected.push_back({static_cast<u32>(i + 1), from, to - from, false});
        }
        ASSERT_EQ(pictures, expected);
        ASSERT_EQ(videoTime, cuts.Source2Result(duration));
        ASSERT_LE(std::abs(soundTime - videoTime), 1000 * static_cast<int64>(ranges.size()));
    }
}

/// A decoded stream jumps and takes a compressed one along, whose groups the ranges cut anywhere.
TEST_P(CutRandom, RecodedStreamBesideADecodedOneSurvivesItsJumps) {
    for (unsigned seed = GetParam() * 40; seed < GetParam() * 40 + 40; ++seed) {
        Random random(seed + 300000);
        auto const groups = DrawGroups(random);
        int const count = Total(groups);
        int64 const duration = count * FRAME;
        auto const ranges = DrawRanges(random, duration, false);
        SCOPED_TRACE(Describe(seed + 300000, groups, ranges));
        auto const cuts = Cuts(ranges);
        std::vector<iptr<Proc::IDataAudio>> blocks;
        for (int i = 0; i < count; ++i) blocks.push_back(MakeBlock(i * FRAME, 40, i * 40));
        Rig rig;
        rig.controller->UpdateSettings(cuts);
        auto videoSource = MakeVideoSource(MakeGroups(groups, Order::Straight), duration);
        auto packetSource = MakeSoundSource(MakeSound(count, FRAME), duration);
        auto video = rig.Add(videoSource, MakeFactory());
        auto packetSound = rig.Add(packetSource, MakeFactory());
        auto sound = rig.controller->AddStream(
            iptr<Proc::IStreamAudio>(MakeShared<Source<Proc::IStreamAudio>>(blocks, duration)));
        // Seeks that land early must not give anything twice.
        videoSource->landEarlier = static_cast<std::size_t>(Draw(random, 0, 60));
        packetSource->landEarlier = static_cast<std::size_t>(Draw(random, 0, 60));
        SeekTo(*video, 0);
        SeekTo(*packetSound, 0);
        SeekTo(*sound, 0);
        std::vector<iptr<Proc::IDataPacket>> packets;
        std::vector<u32> soundIds;
        bool more[3] = {true, true, true};
        while (more[0] || more[1] || more[2]) {
            int const which = Draw(random, 0, 2);
            if (which == 0) {
                auto packet = video->Read();
                more[0] = packet != nullptr;
                if (packet) packets.push_back(packet);
            } else if (which == 1) {
                auto packet = packetSound->Read();
                more[1] = packet != nullptr;
                if (packet) soundIds.push_back(IdOf(*packet));
            } else {
                more[2] = sound->Read() != nullptr;
            }
        }
        auto pictures = PicturesOf(packets);
        ASSERT_TRUE(std::is_sorted(pictures.begin(), pictures.end(), ByTime));
        ASSERT_EQ(pictures, ModelRecode(groups, cuts));
        std::vector<u32> expected;
        for (int i = 0; i < count; ++i)
            if (!cuts.IsPointDeleted(i * FRAME)) expected.push_back(static_cast<u32>(i + 1));
        ASSERT_EQ(soundIds, expected);
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, CutRandom, testing::Range(0U, 4U));

}  // namespace
}  // namespace Tarsel::CutTest
