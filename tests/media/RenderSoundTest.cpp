// The sound of rendered timelines: levels and places, to the sample.
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>

#include "contracts/Proc/SettingsEffectAudioFade.h"
#include "tests/support/TimelineClips.h"

namespace Tarsel::Test {
namespace {

using namespace Host;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr int64 MS = 1000;
constexpr int HALF = 16384;
constexpr int QUARTER = 8192;

/// A stretch of samples of one level.
struct Stretch {
    int samples;
    int level;

    bool operator==(Stretch const&) const = default;
};

std::ostream& operator<<(std::ostream& out, Stretch const& stretch) {
    return out << stretch.samples << " of " << stretch.level;
}

std::vector<Stretch> StretchesOf(std::vector<int> const& values) {
    std::vector<Stretch> stretches;
    for (int const value : values) {
        if (stretches.empty() || stretches.back().level != value) stretches.push_back({0, value});
        ++stretches.back().samples;
    }
    return stretches;
}

class RenderedSound : public ::testing::Test {
  protected:
    std::vector<int> Samples(Timeline timeline) {
        report = RenderTo(folder / "out.mkv", std::move(timeline));
        return Integers(SoundOf(folder / "out.mkv"));
    }
    std::vector<Stretch> Render(Timeline timeline) { return StretchesOf(Samples(std::move(timeline))); }

    ScratchFolder folder;
    RenderReport report;
};

TEST_F(RenderedSound, ClipsAndGapsAreExactToTheSample) {
    auto const timeline = SoundTimelineOf(
        {ClipOf(LevelClip(500), 100 * MS, 400 * MS, 300 * MS), ClipOf(LevelClip(250), 533 * MS, 777 * MS)}, 1001 * MS);
    EXPECT_THAT(Render(timeline), ElementsAre(Stretch{4800, 0}, Stretch{14400, HALF}, Stretch{6384, 0},
                                              Stretch{11712, QUARTER}, Stretch{10752, 0}));
    EXPECT_EQ(48048, report.samples);
    EXPECT_EQ(48000, report.sampleRate);
    EXPECT_EQ(0, report.frames);
    EXPECT_THAT(report.warnings, IsEmpty());
}

TEST_F(RenderedSound, TrackOfNothingIsSilentAsLongAsTheTimeline) {
    EXPECT_THAT(Render(SoundTimelineOf({}, 250 * MS)), ElementsAre(Stretch{2 * 12000, 0})) << "stereo of 48000 Hz";
}

TEST_F(RenderedSound, TracksAreAddedWhereTheyOverlap) {
    auto const timeline = TimelineOf({TrackOf(TrackKind::Audio, {ClipOf(LevelClip(500), 0, 300 * MS)}),
                                      TrackOf(TrackKind::Audio, {ClipOf(LevelClip(250), 100 * MS, 500 * MS)})},
                                     500 * MS);
    EXPECT_THAT(Render(timeline),
                ElementsAre(Stretch{4800, HALF}, Stretch{9600, HALF + QUARTER}, Stretch{9600, QUARTER}));
}

TEST_F(RenderedSound, VolumeOfAClipIsAFactor) {
    TimelineClip quiet = ClipOf(LevelClip(500), 0, 100 * MS);
    quiet.volume = 50;
    TimelineClip mute = ClipOf(LevelClip(500), 100 * MS, 200 * MS);
    mute.volume = 0;
    EXPECT_THAT(Render(SoundTimelineOf({quiet, mute}, 200 * MS)),
                ElementsAre(Stretch{4800, QUARTER}, Stretch{4800, 0}));
}

TEST_F(RenderedSound, ShortSourceIsSilentWithAWarningThatNamesTheClip) {
    auto const timeline = SoundTimelineOf({ClipOf(LevelClip(500), 0, SECOND, 1500 * MS)}, SECOND);
    EXPECT_THAT(Render(timeline), ElementsAre(Stretch{24000, HALF}, Stretch{24000, 0}));
    EXPECT_THAT(report.warnings, ElementsAre("/tracks/0/items/0: clip \"c0\": 500000 us are missing behind its media: "
                                             "silence stands there"));
}

TEST_F(RenderedSound, FreezeFrameIsSilent) {
    auto const timeline = SoundTimelineOf(
        {ClipOf(LevelClip(500), 0, 100 * MS), ClipOf(LevelClip(500), 100 * MS, 300 * MS, 0, 0)}, 300 * MS);
    EXPECT_THAT(Render(timeline), ElementsAre(Stretch{4800, HALF}, Stretch{9600, 0}));
}

TEST_F(RenderedSound, BackwardsPlaysTheSamplesFromTheEndOfTheRange) {
    auto const steps =
        MakeClip("steps.wav", {"-f", "lavfi", "-i", "aevalsrc='floor(t*10)/20':s=48000:d=2", "-c:a", "pcm_s16le"});
    auto const timeline = SoundTimelineOf({ClipOf(steps, 0, 300 * MS, 200 * MS, -1)}, 300 * MS);
    EXPECT_THAT(Render(timeline), ElementsAre(Stretch{4800, 6554}, Stretch{4800, 4915}, Stretch{4800, 3277}));
}

TEST_F(RenderedSound, SpeedKeepsThePitchAndTheLength) {
    auto const tone = MakeClip(
        "tone500.wav", {"-f", "lavfi", "-i", "aevalsrc='0.5*sin(2*PI*500*t)':s=48000:d=4", "-c:a", "pcm_s16le"});
    for (double const speed : {2.0, 0.5}) {
        auto const values = Samples(SoundTimelineOf({ClipOf(tone, 0, SECOND, 0, speed)}, SECOND));
        ASSERT_EQ(48000U, values.size()) << speed;
        std::vector<double> middle(values.begin() + 12000, values.begin() + 36000);
        double const at500 = AmplitudeAt(middle, 500, 48000);
        EXPECT_GT(at500, 0.35 * 32768) << speed;
        EXPECT_LT(AmplitudeAt(middle, 500 * speed, 48000), at500 / 10) << speed;
    }
}

TEST_F(RenderedSound, SpeedsBeyondWhatTheEngineStretchesAtOnceKeepThePitchAndTheLength) {
    auto const tone = MakeClip(
        "tone500.wav", {"-f", "lavfi", "-i", "aevalsrc='0.5*sin(2*PI*500*t)':s=48000:d=4", "-c:a", "pcm_s16le"});
    for (double const speed : {25.0, 0.04}) {
        int64 const length = speed > 1 ? 160 * MS : 960 * MS;
        auto const values = Samples(SoundTimelineOf({ClipOf(tone, 0, length, 0, speed)}, length));
        ASSERT_EQ(speed > 1 ? 7680U : 46080U, values.size()) << speed;
        auto const half = static_cast<std::ptrdiff_t>(values.size() / 2);
        std::vector<double> const middle(values.begin() + half - 960, values.begin() + half + 960);
        EXPECT_GT(AmplitudeAt(middle, 500, 48000), 0.2 * 32768) << speed;
    }
}

TEST_F(RenderedSound, CrossFadeIsOfEqualPower) {
    auto const timeline =
        SoundTimelineOf({ClipOf(LevelClip(500), 0, 400 * MS), ClipOf(LevelClip(250), 400 * MS, 800 * MS, 400 * MS)},
                        800 * MS, {{"", 0, 200 * MS, 200 * MS, "/t"}});
    auto const values = Samples(timeline);
    ASSERT_EQ(38400U, values.size());
    EXPECT_EQ(HALF, values[9599]);
    EXPECT_EQ(QUARTER, values[28800]);
    for (int i = 0; i < 19200; i += 1200) {
        double const angle = M_PI / 2 * i / 19200;
        EXPECT_NEAR(HALF * std::cos(angle) + QUARTER * std::sin(angle), values[static_cast<std::size_t>(9600 + i)], 4)
            << i;
    }
    EXPECT_THAT(report.warnings, IsEmpty());
}

TEST_F(RenderedSound, MissingHandlesAreSilentWithAWarning) {
    auto const timeline =
        SoundTimelineOf({ClipOf(LevelClip(500), 0, 400 * MS, 1600 * MS), ClipOf(LevelClip(250), 400 * MS, 800 * MS)},
                        800 * MS, {{"", 0, 200 * MS, 200 * MS, "/t"}});
    auto const values = Samples(timeline);
    ASSERT_EQ(38400U, values.size());
    EXPECT_NEAR(HALF * std::cos(M_PI / 8), values[9600 + 4800], 4) << "nothing of the right clip";
    EXPECT_NEAR(QUARTER * std::sin(3 * M_PI / 8), values[9600 + 14400], 4) << "nothing of the left clip";
    EXPECT_THAT(report.warnings, ElementsAre(HasSubstr("behind its media: silence stands there"),
                                             HasSubstr("ahead of its media: silence stands there")));
}

TEST_F(RenderedSound, EffectOfAClipActsOnItsSamples) {
    TimelineClip clip = ClipOf(LevelClip(500), 100 * MS, 700 * MS);
    Proc::SettingsEffectAudioFade const fade(Proc::SettingsEffectAudioFade::DIRECTION_IN,
                                             Proc::SettingsEffectAudioFade::CURVE_LINEAR);
    TimelineEffect effect;
    effect.name = "audio-fade";
    effect.settings = Settings2Property(fade);
    effect.begin = 300 * MS;
    effect.end = 500 * MS;
    clip.effects = {effect};
    auto const values = Samples(SoundTimelineOf({clip}, 700 * MS));
    ASSERT_EQ(33600U, values.size());
    EXPECT_EQ(HALF, values[14399]);
    EXPECT_NEAR(0, values[14400], 2);
    EXPECT_NEAR(HALF / 2, values[19200], 2);
    EXPECT_EQ(HALF, values[24000]);
}

TEST_F(RenderedSound, OtherRatesAndLayoutsAreBroughtToTheTimelines) {
    auto const stereo =
        MakeClip("stereo44.wav", {"-f", "lavfi", "-i", "aevalsrc=0.25|0.25:s=44100:d=2", "-c:a", "pcm_s16le"});
    auto const timeline =
        SoundTimelineOf({ClipOf(LevelClip(500), 0, 100 * MS), ClipOf(stereo, 100 * MS, 300 * MS)}, 300 * MS);
    auto const values = Samples(timeline);
    ASSERT_EQ(14400U, values.size());
    EXPECT_EQ(HALF, values[4799]);
    EXPECT_NEAR(QUARTER, values[9600], 2);
    EXPECT_NEAR(QUARTER, values[14000], 2);
}

TEST_F(RenderedSound, FormatThatTheTimelineSaysHolds) {
    Timeline timeline = SoundTimelineOf({ClipOf(LevelClip(500), 0, SECOND)}, SECOND);
    // A tenth of a second holds no whole number of samples.
    timeline.sound.Init(Conf::SAMPLE_FORMAT_NONE, 11025, Conf::CHANNEL_LAYOUT_STEREO);
    RenderTo(folder / "out.mkv", timeline);
    DecodedSound const sound = SoundOf(folder / "out.mkv");
    EXPECT_EQ(11025, sound.sampleRate);
    EXPECT_EQ(2, sound.channels);
    EXPECT_EQ(2U * 11025, sound.samples.size());
    EXPECT_NEAR(0.5, sound.samples[11025], 0.001);
}

}  // namespace
}  // namespace Tarsel::Test
