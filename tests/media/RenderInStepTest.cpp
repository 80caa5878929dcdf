// Picture and sound of long timelines: where a flash is seen and where its beep is heard.
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "tests/support/TimelineClips.h"

namespace Tarsel::Test {
namespace {

using namespace Host;
using ::testing::IsEmpty;

constexpr int64 FRAME = 40000;

/// A second that begins with a white picture and, in the same moment, with a beep of 40 ms.
std::string FlashClip(std::string const& rate, int sampleRate) {
    std::string const name = "flash-" + rate.substr(0, rate.find('/')) + "-" + std::to_string(sampleRate) + ".mkv";
    return MakeClip(
        name,
        {"-f", "lavfi", "-i",
         "nullsrc=s=32x24:r=" + rate + ":d=1,format=yuv420p,geq=lum='if(eq(N,0),235,16)':cb=128:cr=128", "-f", "lavfi",
         "-i", "aevalsrc='if(lt(t,0.04),0.9*cos(2*PI*1000*t),0)':s=" + std::to_string(sampleRate) + ":d=1", "-c:v",
         "ffv1", "-c:a", "pcm_s16le"});
}

/// Clips of odd lengths, one behind the other, each with its own sound.
Timeline FlashTimeline(int count, unsigned seed) {
    std::vector<std::string> const files{FlashClip("25", 44100), FlashClip("30000/1001", 48000), FlashClip("25", 48000),
                                         FlashClip("30000/1001", 44100)};
    std::mt19937 random(seed);
    std::vector<TimelineClip> clips;
    int64 time = 0;
    for (int i = 0; i < count; ++i) {
        int64 const length = 140001 + static_cast<int64>(random() % 240000);
        clips.push_back(ClipOf(files[static_cast<std::size_t>(i) % files.size()], time, time + length));
        time += length;
    }
    Timeline timeline = TimelineOf({TrackOf(TrackKind::Video, clips), TrackOf(TrackKind::Audio, clips)}, time);
    timeline.sound.Init(Conf::SAMPLE_FORMAT_NONE, 48000, Conf::CHANNEL_LAYOUT_NONE);
    return timeline;
}

/// Times at which something begins behind at least 60 ms of nothing.
template <class Values, class IsThere>
std::vector<int64> BeginsOf(Values const& values, double ticksASecond, IsThere isThere) {
    std::vector<int64> begins;
    double last = -1;
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (!isThere(values[i])) continue;
        double const time = double(i) / ticksASecond;
        if (begins.empty() || time - last > 0.06) begins.push_back(std::llround(time * 1e6));
        last = time;
    }
    return begins;
}

TEST(RenderInStep, ThousandClipsOfOddLengthsStayWithinAFrame) {
    ScratchFolder const folder;
    Timeline const timeline = FlashTimeline(1000, 20);
    RenderReport const report = RenderTo(folder / "out.mkv", timeline);
    EXPECT_THAT(report.warnings, IsEmpty());
    EXPECT_EQ(1000 * 2, report.clips);
    EXPECT_EQ(4, report.files);

    std::vector<int> const lumas = LumasOf(folder / "out.mkv");
    DecodedSound const sound = SoundOf(folder / "out.mkv", 1);
    ASSERT_EQ(1, sound.channels);
    EXPECT_EQ(AvRescale(timeline.duration, 25, SECOND), static_cast<int64>(lumas.size()));
    EXPECT_EQ(AvRescale(timeline.duration, 48000, SECOND), static_cast<int64>(sound.samples.size()));

    auto const flashes = BeginsOf(lumas, 25, [](int luma) { return luma > 128; });
    auto const beeps = BeginsOf(sound.samples, 48000, [](float sample) { return std::abs(sample) > 0.4F; });
    ASSERT_EQ(1000U, flashes.size());
    ASSERT_EQ(1000U, beeps.size());
    int64 worst = 0;
    int64 farthest = 0;
    for (std::size_t i = 0; i < 1000; ++i) {
        worst = std::max(worst, std::abs(flashes[i] - beeps[i]));
        farthest = std::max(farthest, std::abs(flashes[i] - timeline.tracks[0].clips[i].begin));
    }
    EXPECT_LE(worst, FRAME) << "the requirement";
    EXPECT_LE(worst, 100) << "what the grids promise: a few samples, for the resampler's edges";
    EXPECT_LE(farthest, FRAME / 2) << "from where the timeline has them";
    RecordProperty("WorstDifferenceUs", std::to_string(worst));
}

TEST(RenderInStep, OddRateOfFramesKeepsStepToo) {
    ScratchFolder const folder;
    Timeline timeline = FlashTimeline(120, 21);
    timeline.frameRate = Ratio(24000, 1001);
    RenderTo(folder / "out.mkv", timeline);
    std::vector<int> const lumas = LumasOf(folder / "out.mkv");
    DecodedSound const sound = SoundOf(folder / "out.mkv", 1);
    EXPECT_EQ(AvRescale(timeline.duration, 24000, 1001 * SECOND), static_cast<int64>(lumas.size()));
    EXPECT_EQ(AvRescale(timeline.duration, 48000, SECOND), static_cast<int64>(sound.samples.size()));
    auto const flashes = BeginsOf(lumas, 24000 / 1001.0, [](int luma) { return luma > 128; });
    auto const beeps = BeginsOf(sound.samples, 48000, [](float sample) { return std::abs(sample) > 0.4F; });
    ASSERT_EQ(120U, flashes.size());
    ASSERT_EQ(120U, beeps.size());
    for (std::size_t i = 0; i < 120; ++i) EXPECT_LE(std::abs(flashes[i] - beeps[i]), 100) << "clip " << i;
}

}  // namespace
}  // namespace Tarsel::Test
