// The pictures of rendered timelines, each by the luma that says where it comes from.
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>

#include "contracts/Proc/SettingsEffectColor.h"
#include "contracts/Proc/SettingsEffectFade.h"
#include "host/graph/GraphErrors.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/TimelineClips.h"

namespace Tarsel::Test {
namespace {

using namespace Host;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using TestSupport::MessageOf;

constexpr int64 MS = 1000;
constexpr int BLACK = 16;

class RenderedPictures : public ::testing::Test {
  protected:
    std::vector<int> Render(Timeline timeline) {
        report = RenderTo(folder / "out.mkv", std::move(timeline));
        return LumasOf(folder / "out.mkv");
    }

    ScratchFolder folder;
    RenderReport report;
};

TEST_F(RenderedPictures, ClipIsItsRangeFrameByFrame) {
    EXPECT_EQ(Numbers(10, 35), Render(PicturesOf({ClipOf(NumberedClip(), 0, SECOND, 400 * MS)}, SECOND)));
    EXPECT_THAT(report.warnings, IsEmpty());
    EXPECT_EQ(25, report.frames);
    EXPECT_EQ(0, report.samples);
    ASSERT_EQ(1U, report.streams.size());
    EXPECT_EQ(25, report.streams[0].items);
    EXPECT_EQ(0, report.streams[0].beginUs);
    EXPECT_EQ(SECOND, report.streams[0].endUs);
}

TEST_F(RenderedPictures, GapsAtTheBeginInTheMiddleAndAtTheEndAreBlack) {
    auto const timeline = PicturesOf(
        {ClipOf(NumberedClip(), 200 * MS, 400 * MS, 400 * MS), ClipOf(NumberedClip(), 600 * MS, 800 * MS, SECOND)},
        SECOND);
    EXPECT_EQ(Joined({Times(5, BLACK), Numbers(10, 15), Times(5, BLACK), Numbers(25, 30), Times(5, BLACK)}),
              Render(timeline));
}

TEST_F(RenderedPictures, TrackOfNothingIsBlackAsLongAsTheTimeline) {
    Timeline timeline = PicturesOf({}, 440 * MS);
    timeline.frameRate = Ratio(25, 1);
    timeline.frame = Conf::FrameInfo{32, 24, 1, 1};
    EXPECT_EQ(Times(11, BLACK), Render(timeline));
}

TEST_F(RenderedPictures, UpperTrackCoversTheLowerOneAndLetsItThroughItsGaps) {
    auto const timeline = TimelineOf({TrackOf(TrackKind::Video, {ClipOf(NumberedClip(), 0, SECOND)}),
                                      TrackOf(TrackKind::Video, {ClipOf(PlainClip(200), 200 * MS, 400 * MS),
                                                                 ClipOf(PlainClip(220), 800 * MS, SECOND)})},
                                     SECOND);
    EXPECT_EQ(Joined({Numbers(0, 5), Times(5, 200), Numbers(10, 20), Times(5, 220)}), Render(timeline));
}

TEST_F(RenderedPictures, FramesAreCountedFromTheTimelinesStartOnAnyRate) {
    // 30000/1001: edges and lengths never agree in whole microseconds.
    std::vector<TimelineClip> clips;
    for (int i = 0; i < 7; ++i) clips.push_back(ClipOf(PlainClip(40 + 20 * i), i * 300300, (i + 1) * 300300));
    Timeline timeline = PicturesOf(clips, 7 * 300300);
    timeline.frameRate = Ratio(30000, 1001);
    std::vector<int> expected;
    for (int i = 0; i < 7; ++i) expected = Joined({expected, Times(9, 40 + 20 * i)});
    EXPECT_EQ(expected, Render(timeline));
    EXPECT_EQ(63, report.frames);
}

TEST_F(RenderedPictures, TwiceTheSpeedTakesEverySecondPicture) {
    auto const timeline = PicturesOf({ClipOf(NumberedClip(), 0, 400 * MS, 400 * MS, 2)}, 400 * MS);
    EXPECT_THAT(Render(timeline), ElementsAre(26, 28, 30, 32, 34, 36, 38, 40, 42, 44));
}

TEST_F(RenderedPictures, HalfTheSpeedShowsEachPictureTwice) {
    auto const timeline = PicturesOf({ClipOf(NumberedClip(), 0, 400 * MS, 400 * MS, 0.5)}, 400 * MS);
    EXPECT_THAT(Render(timeline), ElementsAre(26, 26, 27, 27, 28, 28, 29, 29, 30, 30));
}

TEST_F(RenderedPictures, DenserPicturesAreTakenInEvenSteps) {
    for (std::string const container : {"mp4", "mkv"}) {
        auto const dense =
            MakeClip("numbered60." + container,
                     {"-f", "lavfi", "-i", "nullsrc=s=32x24:r=60:d=1,format=yuv420p,geq=lum=16+N:cb=128:cr=128", "-c:v",
                      "libx264", "-qp", "0"});
        Timeline timeline = PicturesOf({ClipOf(dense, 0, SECOND)}, SECOND);
        timeline.frameRate = Ratio(30, 1);
        std::vector<int> everySecond;
        for (int i = 0; i < 30; ++i) everySecond.push_back(16 + 2 * i);
        EXPECT_EQ(everySecond, Render(timeline)) << container;
        timeline = PicturesOf({ClipOf(dense, 0, SECOND, 500 * MS)}, SECOND);
        EXPECT_EQ(75, Render(timeline).back()) << "the last one is held";
    }
}

TEST_F(RenderedPictures, WhatAFastClipsEdgeMovesByIsNoMissingMedia) {
    // 190 ms are 5 frames, for which the 3.8 s that are left would have to be 4.
    for (double const speed : {20.0, -20.0}) {
        Render(PicturesOf({ClipOf(NumberedClip(), 0, 190 * MS, speed > 0 ? 200 * MS : 0, speed)}, 190 * MS));
        EXPECT_THAT(report.warnings, IsEmpty()) << speed;
    }
}

TEST_F(RenderedPictures, BackwardsPlaysTheRangeFromItsEnd) {
    auto const timeline = PicturesOf({ClipOf(NumberedClip(), 0, 400 * MS, 400 * MS, -1)}, 400 * MS);
    EXPECT_THAT(Render(timeline), ElementsAre(35, 34, 33, 32, 31, 30, 29, 28, 27, 26));
}

TEST_F(RenderedPictures, TwiceTheSpeedBackwards) {
    auto const timeline = PicturesOf({ClipOf(NumberedClip(), 0, 200 * MS, 400 * MS, -2)}, 200 * MS);
    EXPECT_THAT(Render(timeline), ElementsAre(35, 33, 31, 29, 27));
}

TEST_F(RenderedPictures, FreezeFrameHoldsThePictureAtItsPlace) {
    auto const timeline =
        PicturesOf({ClipOf(NumberedClip(), 0, 200 * MS), ClipOf(NumberedClip(), 200 * MS, 600 * MS, SECOND, 0),
                    ClipOf(NumberedClip(), 600 * MS, 800 * MS, 200 * MS)},
                   800 * MS);
    EXPECT_EQ(Joined({Numbers(0, 5), Times(10, 41), Numbers(5, 10)}), Render(timeline));
    EXPECT_THAT(report.warnings, IsEmpty());
}

TEST_F(RenderedPictures, ShortSourceHoldsItsLastPictureWithAWarningThatNamesTheClip) {
    auto const timeline = PicturesOf({ClipOf(NumberedClip(), 0, SECOND, 3600 * MS)}, SECOND);
    EXPECT_EQ(Joined({Numbers(90, 100), Times(15, 115)}), Render(timeline));
    EXPECT_THAT(report.warnings,
                ElementsAre("/tracks/0/items/0: clip \"c0\": 600000 us are missing behind its media: the last picture "
                            "is held"));
}

TEST_F(RenderedPictures, RangeBehindTheMediaIsRefused) {
    auto const timeline = PicturesOf({ClipOf(NumberedClip(), 0, SECOND, 4 * SECOND)}, SECOND);
    EXPECT_THAT(MessageOf<GraphException>([&] { BuiltTimeline const built(timeline); }),
                AllOf(HasSubstr("/tracks/0/items/0: clip \"c0\": its range begins at 4000000 us"),
                      HasSubstr("ends at 4000000 us")));
}

TEST_F(RenderedPictures, StillPictureIsHeldAsLongAsItsClip) {
    auto const still = MakeClip("still.png", {"-f", "lavfi", "-i", "color=c=white:s=32x24", "-frames:v", "1"});
    Timeline timeline = PicturesOf({ClipOf(still, 0, 400 * MS), ClipOf(NumberedClip(), 400 * MS, 600 * MS)}, 600 * MS);
    timeline.frameRate = Ratio(25, 1);
    EXPECT_EQ(Joined({Times(10, 235), Numbers(0, 5)}), Render(timeline));
    EXPECT_THAT(report.warnings, IsEmpty());
}

TEST_F(RenderedPictures, OtherRatesAndSizesAreBroughtToTheTimelines) {
    auto const wide = MakeClip(
        "wide200.mkv",
        {"-f", "lavfi", "-i", "nullsrc=s=64x16:r=50:d=1,format=yuv420p,geq=lum=200:cb=128:cr=128", "-c:v", "ffv1"});
    auto const timeline = PicturesOf({ClipOf(NumberedClip(), 0, 200 * MS), ClipOf(wide, 200 * MS, 400 * MS)}, 400 * MS);
    EXPECT_EQ(Joined({Numbers(0, 5), Times(5, BLACK)}), Render(timeline)) << "black lies above a wider picture";
    Messages messages;
    auto const pictures = DecodePictures(folder / "out.mkv", 0, messages);
    EXPECT_EQ(32, pictures.back().width);
    EXPECT_EQ(200, pictures.back().pixels[12 * 32 + 16]);
}

// --- Dissolves -------------------------------------------------------------------------------------------------------

TEST_F(RenderedPictures, DissolveMixesBothClipsPictureByPicture) {
    auto const timeline =
        PicturesOf({ClipOf(PlainClip(100), 0, 400 * MS), ClipOf(PlainClip(200), 400 * MS, 800 * MS, 400 * MS)},
                   800 * MS, {{"", 0, 200 * MS, 200 * MS, "/t"}});
    EXPECT_EQ(Joined({Times(5, 100), {100, 110, 120, 130, 140, 150, 160, 170, 180, 190}, Times(5, 200)}),
              Render(timeline));
    EXPECT_THAT(report.warnings, IsEmpty());
}

TEST_F(RenderedPictures, DissolveShowsWhatLiesBeyondTheRanges) {
    // On the left 10.. of the numbered clip goes on behind its range; the plain one is at hand ahead of its own.
    auto const timeline =
        PicturesOf({ClipOf(NumberedClip(), 0, 400 * MS), ClipOf(PlainClip(16), 400 * MS, 800 * MS, 400 * MS)}, 800 * MS,
                   {{"", 0, 0, 200 * MS, "/t"}});
    std::vector<int> const lumas = Render(timeline);
    ASSERT_EQ(20U, lumas.size());
    // (16 + n) over 16, n going on from 10, its part falling by fifths.
    EXPECT_EQ(Joined({Numbers(0, 10), {26, 25, 23, 21, 19}, Times(5, 16)}), lumas);
}

TEST_F(RenderedPictures, MissingHandlesAreHeldPicturesWithAWarning) {
    auto const timeline =
        PicturesOf({ClipOf(NumberedClip(), 0, 400 * MS, 3600 * MS), ClipOf(NumberedClip(), 400 * MS, 800 * MS)},
                   800 * MS, {{"", 0, 200 * MS, 200 * MS, "/t"}});
    std::vector<int> const lumas = Render(timeline);
    ASSERT_EQ(20U, lumas.size());
    EXPECT_EQ(16 + 95, lumas[5]) << "nothing of the right clip yet";
    EXPECT_EQ(66, lumas[10]) << "half of the last picture and half of the first one: 65.5";
    EXPECT_EQ(16 + 5, lumas[15]);
    EXPECT_THAT(report.warnings,
                ElementsAre(HasSubstr("200000 us are missing behind its media: the last picture is held"),
                            HasSubstr("200000 us are missing ahead of its media: the first picture is held")));
}

TEST_F(RenderedPictures, ThreeClipsDissolveOneIntoTheNext) {
    auto const timeline =
        PicturesOf({ClipOf(PlainClip(100), 0, 400 * MS), ClipOf(PlainClip(200), 400 * MS, 800 * MS, 400 * MS),
                    ClipOf(PlainClip(40), 800 * MS, 1200 * MS, 400 * MS)},
                   1200 * MS, {{"", 0, 80 * MS, 80 * MS, "/t"}, {"", 1, 80 * MS, 80 * MS, "/u"}});
    EXPECT_EQ(Joined({Times(8, 100), {100, 125, 150, 175}, Times(6, 200), {200, 160, 120, 80}, Times(8, 40)}),
              Render(timeline));
}

// --- What is seen through --------------------------------------------------------------------------------------------

TEST_F(RenderedPictures, HalfOpaqueClipLetsTheLowerTrackThrough) {
    TimelineClip half = ClipOf(PlainClip(200), 200 * MS, 400 * MS);
    half.opacity = 0.5;
    auto const timeline = TimelineOf(
        {TrackOf(TrackKind::Video, {ClipOf(PlainClip(100), 0, 600 * MS)}), TrackOf(TrackKind::Video, {half})},
        600 * MS);
    EXPECT_EQ(Joined({Times(5, 100), Times(5, 150), Times(5, 100)}), Render(timeline));
}

TEST_F(RenderedPictures, HalfOpaqueClipAloneIsSeenOverBlack) {
    TimelineClip half = ClipOf(PlainClip(200), 0, 200 * MS);
    half.opacity = 0.5;
    EXPECT_EQ(Times(5, 108), Render(PicturesOf({half}, 200 * MS)));
    Messages messages;
    EXPECT_EQ(int(PIX_FMT_YUV420P), DecodePictures(folder / "out.mkv", 0, messages).front().pixelFormat)
        << "what comes out has no alpha";
}

TEST_F(RenderedPictures, TransparentPlacesOfAPictureShowTheLowerTrack) {
    auto const logo = MakeClip(
        "logo.png", {"-f", "lavfi", "-i", "color=c=white:s=32x24,format=rgba,geq=r=255:g=255:b=255:a='255*gt(X,15)'",
                     "-frames:v", "1"});
    auto const timeline = TimelineOf({TrackOf(TrackKind::Video, {ClipOf(PlainClip(100), 0, 200 * MS)}),
                                      TrackOf(TrackKind::Video, {ClipOf(logo, 0, 200 * MS)})},
                                     200 * MS);
    EXPECT_EQ(Times(5, 100), Render(timeline));
    Messages messages;
    auto const pictures = DecodePictures(folder / "out.mkv", 0, messages);
    EXPECT_EQ(235, pictures.back().pixels[12 * 32 + 28]);
}

// --- Effects of clips ------------------------------------------------------------------------------------------------

TimelineEffect EffectOf(Core::Property settings, int64 begin, int64 end) {
    TimelineEffect effect;
    effect.name = "effect";
    effect.settings = std::move(settings);
    effect.begin = begin;
    effect.end = end;
    effect.pointer = "/e";
    return effect;
}

TEST_F(RenderedPictures, EffectActsOnItsFramesAndOnNoOthers) {
    TimelineClip clip = ClipOf(PlainClip(100), 0, 600 * MS);
    clip.effects = {EffectOf(Settings2Property(Proc::SettingsEffectFade()), 200 * MS, 400 * MS)};
    std::vector<int> const lumas = Render(PicturesOf({clip}, 600 * MS));
    // From black over five frames: 16 + 84 x n / 5.
    EXPECT_EQ(Joined({Times(5, 100), {16, 33, 50, 66, 83}, Times(5, 100)}), lumas);
}

TEST_F(RenderedPictures, EffectsOfAClipInADissolveTouchThatClipAlone) {
    TimelineClip right = ClipOf(PlainClip(200), 400 * MS, 800 * MS, 400 * MS);
    Proc::SettingsEffectColor black;
    black.SetBrightness(-1);
    right.effects = {EffectOf(Settings2Property(black), 400 * MS, 800 * MS)};
    auto const timeline =
        PicturesOf({ClipOf(PlainClip(96), 0, 400 * MS), right}, 800 * MS, {{"", 0, 80 * MS, 80 * MS, "/t"}});
    std::vector<int> const lumas = Render(timeline);
    ASSERT_EQ(20U, lumas.size());
    int const dark = lumas.back();
    EXPECT_LE(dark, BLACK);
    int const step = (96 - dark) / 4;
    EXPECT_EQ(Joined({Times(8, 96), {96, 96 - step, 96 - 2 * step, 96 - 3 * step}, Times(8, dark)}), lumas);
}

TEST_F(RenderedPictures, EffectThatIsntThereIsRefusedBeforeAnythingIsRendered) {
    TimelineClip clip = ClipOf(PlainClip(100), 0, 600 * MS);
    clip.effects = {EffectOf(Core::Property("SettingsEffectNone"), 0, 600 * MS)};
    EXPECT_EQ("/e: effect effect: There is no any implementation for SettingsEffectNone",
              MessageOf<GraphException>([&] { BuiltTimeline const built(PicturesOf({clip}, 600 * MS)); }));
}

// --- What is refused -------------------------------------------------------------------------------------------------

TEST_F(RenderedPictures, FileThatIsntThereIsRefusedByItsClip) {
    EXPECT_THAT(MessageOf<GraphException>(
                    [&] { BuiltTimeline const built(PicturesOf({ClipOf(folder / "none.mp4", 0, SECOND)}, SECOND)); }),
                HasSubstr("/tracks/0/items/0: clip \"c0\": " + folder.GetPath() + "/none.mp4: "));
}

TEST_F(RenderedPictures, ClipWithoutAStreamOfItsTracksKindIsRefused) {
    auto const sound = SoundTimelineOf({ClipOf(NumberedClip(), 0, SECOND)}, SECOND);
    EXPECT_EQ("/tracks/0/items/0: clip \"c0\": " + NumberedClip() + ": there is no audio stream",
              MessageOf<GraphException>([&] { BuiltTimeline const built(sound); }));
    TimelineClip clip = ClipOf(NumberedClip(), 0, SECOND);
    clip.stream = StreamSelector{{}, 0};
    EXPECT_EQ("/tracks/0/items/0: clip \"c0\": " + NumberedClip() +
                  ": stream #0 (video, ffv1) doesn't go on a track of audio",
              MessageOf<GraphException>([&] { BuiltTimeline const built(SoundTimelineOf({clip}, SECOND)); }));
}

TEST_F(RenderedPictures, TimelineThatSaysNothingOfItsPicturesIsRefused) {
    EXPECT_EQ("the timeline has no tracks",
              MessageOf<GraphException>([&] { BuiltTimeline const built(TimelineOf({}, SECOND)); }));
    EXPECT_EQ("the timeline says no frame rate, and there is no clip of pictures to take it from",
              MessageOf<GraphException>([&] { BuiltTimeline const built(PicturesOf({}, SECOND)); }));
    Timeline timeline = PicturesOf({}, SECOND);
    timeline.frameRate = Ratio(25, 1);
    EXPECT_EQ("the timeline says no size, and there is no clip of pictures to take it from",
              MessageOf<GraphException>([&] { BuiltTimeline const built(timeline); }));
}

TEST_F(RenderedPictures, MediaThatGoWhileRenderingLeaveNothingBehind) {
    std::filesystem::copy_file(NumberedClip(), folder / "gone.mkv");
    BuiltTimeline built(
        PicturesOf({ClipOf(NumberedClip(), 0, 400 * MS), ClipOf(folder / "gone.mkv", 400 * MS, 800 * MS)}, 800 * MS));
    std::filesystem::remove(folder / "gone.mkv");
    RenderOptions options;
    options.output = folder / "out.mkv";
    EXPECT_THAT(MessageOf<GraphException>([&] { RenderTimeline(built, options, {}); }),
                HasSubstr("/tracks/0/items/400: clip \"c400\": " + folder.GetPath() + "/gone.mkv"));
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST_F(RenderedPictures, OutputMustNotBeAFileOfAClip) {
    std::filesystem::copy_file(NumberedClip(), folder / "in.mkv");
    EXPECT_THROW(RenderTo(folder / "in.mkv", PicturesOf({ClipOf(folder / "in.mkv", 0, SECOND)}, SECOND)),
                 Core::IOException);
    EXPECT_EQ(100U, LumasOf(folder / "in.mkv").size());
}

}  // namespace
}  // namespace Tarsel::Test
