#include "host/timeline/TimelinePlan.h"

#include <gmock/gmock.h>

#include <cstdlib>

#include "host/graph/GraphErrors.h"
#include "tests/support/Draw.h"
#include "tests/support/ExpectThrow.h"

namespace Tarsel::Host {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

using TestSupport::MessageOf;

constexpr int64 MS = 1000;
Ratio const FILM(25, 1);
Ratio const NTSC(30000, 1001);

TimelineClip Clip(int64 begin, int64 end, std::string const& name = "a", int64 sourceBegin = 0) {
    TimelineClip clip;
    clip.name = name;
    clip.file = "/media/" + name + ".mp4";
    clip.begin = begin;
    clip.end = end;
    clip.sourceBegin = sourceBegin;
    clip.sourceDuration = end - begin;
    clip.pointer = "/clips/" + name;
    return clip;
}

TimelineTrack Track(TrackKind kind, std::vector<TimelineClip> clips, std::vector<TimelineTransition> transitions = {}) {
    TimelineTrack track;
    track.kind = kind;
    track.clips = std::move(clips);
    track.transitions = std::move(transitions);
    return track;
}

Timeline Make(std::vector<TimelineTrack> tracks, int64 duration) {
    Timeline timeline;
    timeline.tracks = std::move(tracks);
    timeline.duration = duration;
    return timeline;
}

TimelinePlan Plan(Timeline const& timeline, Ratio const& rate = FILM, int samples = 48000) {
    return PlanTimeline(timeline, {rate, samples}, [](TimelineClip const&) { return false; });
}

PlannedSpan SpanOf(KindPlan const& plan, std::size_t piece) {
    return plan.pieces.at(piece).span;
}

TEST(TimelinePlan, EdgesOfPicturesGoToTheNearestFrameAndHalvesGoUp) {
    Timeline const timeline =
        Make({Track(TrackKind::Video, {Clip(19 * MS, 61 * MS), Clip(100 * MS, 139 * MS)})}, 200 * MS);
    TimelinePlan const plan = Plan(timeline);
    EXPECT_EQ(5, plan.video->length);
    EXPECT_EQ((PlannedSpan{0, 2}), SpanOf(*plan.video, 0));
    // 100 ms is a half: frame 3; 139 ms is nearest to it, too.
    EXPECT_THAT(plan.video->pieces, SizeIs(1));
    EXPECT_THAT(plan.video->gaps, ElementsAre(PlannedSpan{2, 5}));
    EXPECT_THAT(plan.warnings, ElementsAre(TimelineWarning{"clip \"a\": too short for a frame: left out", "/clips/a"}));
}

TEST(TimelinePlan, GapsOfPicturesAreBlackWhereNoOpaqueClipStands) {
    TimelineClip half = Clip(200 * MS, 400 * MS, "half");
    half.opacity = 0.5;
    Timeline const timeline = Make({Track(TrackKind::Video, {Clip(80 * MS, 120 * MS)}),
                                    Track(TrackKind::Video, {half, Clip(400 * MS, 480 * MS, "b")})},
                                   600 * MS);
    TimelinePlan const plan = Plan(timeline);
    EXPECT_THAT(plan.video->gaps, ElementsAre(PlannedSpan{0, 2}, PlannedSpan{3, 10}, PlannedSpan{12, 15}));
    EXPECT_THAT(plan.video->joints, ElementsAre(PlannedSpan{5, 10})) << "only where something is seen through";
    EXPECT_EQ(0, plan.video->pieces[0].order);
    EXPECT_EQ(1, plan.video->pieces[1].order);
    EXPECT_TRUE(plan.video->pieces[1].translucent);
    EXPECT_FALSE(plan.video->pieces[2].translucent);
}

TEST(TimelinePlan, OverlapsOfSoundAreMixedAndWhatIsLeftIsSilent) {
    Timeline const timeline = Make(
        {Track(TrackKind::Audio, {Clip(100 * MS, 300 * MS)}), Track(TrackKind::Audio, {Clip(200 * MS, 400 * MS, "b")})},
        500 * MS);
    TimelinePlan const plan = PlanTimeline(timeline, {{}, 48000}, [](TimelineClip const&) { return false; });
    EXPECT_FALSE(plan.video);
    EXPECT_EQ(24000, plan.audio->length);
    EXPECT_THAT(plan.audio->gaps, ElementsAre(PlannedSpan{0, 4800}, PlannedSpan{19200, 24000}));
    EXPECT_THAT(plan.audio->joints, ElementsAre(PlannedSpan{9600, 14400}));
}

TEST(TimelinePlan, SoundThatBeginsWithAPictureGoesAlongWithItsFrame) {
    // The picture moves from 30 ms to 40 ms; so does the sound of the same edge, and no other.
    Timeline const timeline =
        Make({Track(TrackKind::Video, {Clip(30 * MS, 200 * MS)}),
              Track(TrackKind::Audio, {Clip(30 * MS, 110 * MS, "b"), Clip(110 * MS, 200 * MS, "c")})},
             200 * MS);
    TimelinePlan const plan = Plan(timeline);
    EXPECT_EQ((PlannedSpan{1, 5}), SpanOf(*plan.video, 0));
    EXPECT_EQ((PlannedSpan{1920, 5280}), SpanOf(*plan.audio, 0));
    EXPECT_EQ((PlannedSpan{5280, 9600}), SpanOf(*plan.audio, 1));
}

TEST(TimelinePlan, SoundThatMovedNeverOverlapsWhatFollowsOnItsTrack) {
    Timeline const timeline = Make({Track(TrackKind::Video, {Clip(0, 21 * MS), Clip(21 * MS, 400 * MS, "v")}),
                                    Track(TrackKind::Audio, {Clip(0, 21 * MS, "b"), Clip(25 * MS, 400 * MS, "c")})},
                                   400 * MS);
    TimelinePlan const plan = Plan(timeline);
    EXPECT_EQ((PlannedSpan{0, 1920}), SpanOf(*plan.audio, 0)) << "goes to the frame at 40 ms";
    EXPECT_EQ((PlannedSpan{1920, 19200}), SpanOf(*plan.audio, 1)) << "would begin at 25 ms";
    EXPECT_THAT(plan.audio->joints, IsEmpty());
}

TEST(TimelinePlan, LengthsAreTheTimelinesToTheFrameAndTheSample) {
    for (int64 const duration : {int64{10010}, int64{123456789}, 3600 * SECOND + 1, int64{100100}}) {
        Timeline const timeline = Make(
            {Track(TrackKind::Video, {Clip(0, duration)}), Track(TrackKind::Audio, {Clip(0, duration)})}, duration);
        TimelinePlan const plan = Plan(timeline, Ratio(60000, 1001), 44100);
        EXPECT_EQ(AvRescale(duration, 60000, 1001 * SECOND), plan.video->length) << duration;
        EXPECT_EQ(AvRescale(duration, 44100, SECOND), plan.audio->length) << duration;
        EXPECT_EQ(plan.audio->length, SpanOf(*plan.audio, 0).last) << "the end of the timeline is no frame's";
        EXPECT_EQ(plan.video->length, SpanOf(*plan.video, 0).last);
    }
}

TEST(TimelinePlan, TouchingClipsTouchOnEveryGrid) {
    TestSupport::Draw draw(20);
    for (Ratio const& rate : {FILM, NTSC, Ratio(24000, 1001), Ratio(120, 1)}) {
        std::vector<TimelineClip> clips;
        int64 time = 0;
        for (int i = 0; i < 300; ++i) {
            int64 const length = 50 * MS + draw.Below(400 * MS);
            clips.push_back(Clip(time, time + length));
            time += length;
        }
        Timeline const timeline = Make({Track(TrackKind::Video, clips), Track(TrackKind::Audio, clips)}, time);
        TimelinePlan const plan = Plan(timeline, rate, 44100);
        for (KindPlan const* kind : {&*plan.video, &*plan.audio}) {
            ASSERT_THAT(kind->pieces, SizeIs(300));
            EXPECT_THAT(kind->gaps, IsEmpty());
            EXPECT_THAT(kind->joints, IsEmpty());
            int64 reached = 0;
            for (PlannedPiece const& piece : kind->pieces) {
                EXPECT_EQ(reached, piece.span.first);
                reached = piece.span.last;
            }
            EXPECT_EQ(kind->length, reached);
        }
        for (std::size_t i = 0; i + 1 < 300; ++i) {
            int64 const picture = plan.video->grid.TimeOf(SpanOf(*plan.video, i).last);
            int64 const sound = plan.audio->grid.TimeOf(SpanOf(*plan.audio, i).last);
            EXPECT_LE(std::abs(picture - sound), 12) << "half a sample at 44100 Hz, at clip " << i;
        }
    }
}

TEST(TimelinePlan, DissolveTakesBothClipsBeyondTheirRanges) {
    TimelineTransition transition;
    transition.left = 0;
    transition.before = 80 * MS;
    transition.after = 120 * MS;
    Timeline const timeline =
        Make({Track(TrackKind::Video, {Clip(0, 400 * MS, "a", 1000 * MS), Clip(400 * MS, 800 * MS, "b", 2000 * MS)},
                    {transition})},
             800 * MS);
    TimelinePlan const plan = Plan(timeline);
    ASSERT_THAT(plan.video->pieces, SizeIs(1));
    PlannedPiece const& piece = plan.video->pieces[0];
    EXPECT_EQ((PlannedSpan{0, 20}), piece.span);
    EXPECT_THAT(piece.dissolves, ElementsAre(PlannedSpan{8, 13}));
    EXPECT_EQ((PlannedSpan{0, 13}), piece.clips[0].span);
    EXPECT_EQ((PlannedSpan{8, 20}), piece.clips[1].span);
    EXPECT_EQ(1000 * MS, piece.clips[0].sourceBegin);
    EXPECT_EQ(520 * MS, piece.clips[0].sourceDuration);
    EXPECT_EQ(1920 * MS, piece.clips[1].sourceBegin);
    EXPECT_EQ(480 * MS, piece.clips[1].sourceDuration);
}

TEST(TimelinePlan, BackwardsClipTakesWhatADissolveNeedsFromTheOtherSide) {
    TimelineTransition transition;
    transition.before = 80 * MS;
    transition.after = 40 * MS;
    TimelineClip back = Clip(400 * MS, 800 * MS, "b", 2000 * MS);
    back.speed = -2;
    back.sourceDuration = 800 * MS;
    Timeline const timeline = Make({Track(TrackKind::Video, {Clip(0, 400 * MS), back}, {transition})}, 800 * MS);
    PlannedClip const clip = Plan(timeline).video->pieces[0].clips[1];
    EXPECT_EQ((PlannedSpan{8, 20}), clip.span);
    EXPECT_EQ(2000 * MS, clip.sourceBegin);
    EXPECT_EQ(960 * MS, clip.sourceDuration) << "it begins 160 ms later in the source";
}

TEST(TimelinePlan, DissolvesOfSoundGoAlongWithThoseOfPictures) {
    TimelineTransition transition;
    transition.before = 90 * MS;
    transition.after = 90 * MS;
    std::vector<TimelineClip> const clips{Clip(0, 400 * MS), Clip(400 * MS, 800 * MS, "b")};
    Timeline const timeline =
        Make({Track(TrackKind::Video, clips, {transition}), Track(TrackKind::Audio, clips, {transition})}, 800 * MS);
    TimelinePlan const plan = Plan(timeline);
    EXPECT_THAT(plan.video->pieces[0].dissolves, ElementsAre(PlannedSpan{8, 12}));
    EXPECT_THAT(plan.audio->pieces[0].dissolves, ElementsAre(PlannedSpan{8 * 1920, 12 * 1920}));
    EXPECT_THAT(plan.audio->joints, IsEmpty()) << "clips of a dissolve are joined by it";
}

TEST(TimelinePlan, DissolveOfLessThanAFrameIsACut) {
    TimelineTransition transition;
    transition.before = 10 * MS;
    transition.after = 10 * MS;
    Timeline const timeline =
        Make({Track(TrackKind::Video, {Clip(0, 400 * MS), Clip(400 * MS, 800 * MS)}, {transition})}, 800 * MS);
    TimelinePlan const plan = Plan(timeline);
    ASSERT_THAT(plan.video->pieces, SizeIs(2));
    EXPECT_EQ((PlannedSpan{10, 20}), SpanOf(*plan.video, 1));
}

TEST(TimelinePlan, DissolvesWithoutRoomAreRefused) {
    auto const refusal = [](std::vector<TimelineClip> const& clips, std::vector<TimelineTransition> transitions) {
        for (auto& transition : transitions) transition.pointer = "/t";
        Timeline const timeline = Make({Track(TrackKind::Video, clips, transitions)}, SECOND);
        return MessageOf<GraphException>([&] { Plan(timeline); });
    };
    std::vector<TimelineClip> const pair{Clip(0, 400 * MS), Clip(400 * MS, 800 * MS)};
    std::vector<TimelineClip> const apart{Clip(0, 300 * MS), Clip(400 * MS, 800 * MS)};
    std::vector<TimelineClip> const three{Clip(0, 400 * MS), Clip(400 * MS, 500 * MS), Clip(500 * MS, 900 * MS)};
    EXPECT_EQ("/t: transition \"x\": there is no clip behind it", refusal(pair, {{"x", 1, 0, 0, {}}}));
    EXPECT_EQ("/t: transition: the clips beside it don't touch", refusal(apart, {{"", 0, 40 * MS, 0, {}}}));
    EXPECT_EQ("/t: transition: it begins ahead of the clip before it", refusal(pair, {{"", 0, 401 * MS, 0, {}}}));
    EXPECT_EQ("/t: transition: it ends behind the clip after it", refusal(pair, {{"", 0, 0, 401 * MS, {}}}));
    EXPECT_EQ("/t: transition \"y\": it begins inside of the transition in front of it",
              refusal(three, {{"", 0, 0, 60 * MS, {}}, {"y", 1, 60 * MS, 0, {}}}));
}

TEST(TimelinePlan, TimelineWithoutAFrameIsRefused) {
    Timeline const timeline = Make({Track(TrackKind::Video, {})}, 19 * MS);
    EXPECT_EQ("the timeline is shorter than half a frame", MessageOf<GraphException>([&] { Plan(timeline); }));
    EXPECT_EQ("the timeline is shorter than half a sample", MessageOf<GraphException>([&] {
                  PlanTimeline(Make({}, 10), {{}, 48000}, [](TimelineClip const&) { return false; });
              }));
}

TEST(TimelinePlan, EmptyTracksAreOneGap) {
    TimelinePlan const plan = Plan(Make({Track(TrackKind::Video, {}), Track(TrackKind::Audio, {})}, SECOND));
    EXPECT_THAT(plan.video->gaps, ElementsAre(PlannedSpan{0, 25}));
    EXPECT_THAT(plan.audio->gaps, ElementsAre(PlannedSpan{0, 48000}));
}

TEST(TimelinePlan, EffectsGoToFramesAndThoseOfTheWholeClipIntoItsDissolves) {
    TimelineTransition transition;
    transition.before = 80 * MS;
    TimelineClip right = Clip(400 * MS, 800 * MS, "b");
    auto const effect = [](int64 begin, int64 end) {
        TimelineEffect made;
        made.name = "color";
        made.begin = begin;
        made.end = end;
        made.pointer = "/e";
        return made;
    };
    right.effects = {effect(400 * MS, 800 * MS), effect(450 * MS, 610 * MS), effect(450 * MS, 455 * MS)};
    Timeline const timeline = Make({Track(TrackKind::Video, {Clip(0, 400 * MS), right}, {transition})}, 800 * MS);
    TimelinePlan const plan = Plan(timeline);
    auto const& effects = plan.video->pieces[0].clips[1].effects;
    ASSERT_THAT(effects, SizeIs(2));
    EXPECT_EQ((PlannedSpan{8, 20}), effects[0].span);
    EXPECT_EQ((PlannedSpan{11, 15}), effects[1].span);
    EXPECT_THAT(plan.warnings,
                ElementsAre(TimelineWarning{"clip \"b\": effect color acts on no frame: left out", "/e"}));
}

TEST(TimelinePlan, PlanTellsWhatLiesWhere) {
    TimelineClip half = Clip(0, 80 * MS);
    half.opacity = 0.5;
    Timeline const timeline =
        Make({Track(TrackKind::Video, {half}), Track(TrackKind::Audio, {Clip(0, 40 * MS, "b")})}, 120 * MS);
    EXPECT_EQ(
        "pictures: 3 frames at 25/1\n"
        "  order 0, frames 0 (0 us) to 2 (80000 us), seen through\n"
        "    clip \"a\", frames 0 (0 us) to 2 (80000 us), /media/a.mp4 from 0 us for 80000 us\n"
        "  black, frames 0 (0 us) to 3 (120000 us)\n"
        "  composite, frames 0 (0 us) to 2 (80000 us)\n"
        "sound: 5760 samples at 48000/1\n"
        "  order 0, samples 0 (0 us) to 1920 (40000 us)\n"
        "    clip \"b\", samples 0 (0 us) to 1920 (40000 us), /media/b.mp4 from 0 us for 40000 us\n"
        "  silence, samples 1920 (40000 us) to 5760 (120000 us)\n",
        PlanText(Plan(timeline)));
}

TEST(TimelinePlan, ClipWithoutANameGoesByItsFile) {
    TimelineClip clip = Clip(0, 1);
    EXPECT_EQ("clip \"a\"", ClipName(clip));
    clip.name.clear();
    EXPECT_EQ("clip \"a.mp4\"", ClipName(clip));
}

}  // namespace
}  // namespace Tarsel::Host
