#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/graph/GraphErrors.h"
#include "host/timeline/TimelineReader.h"
#include "tests/support/ExpectThrow.h"

namespace Tarsel::Host {
namespace {

using Json = nlohmann::json;
using TestSupport::MessageOf;
using List = std::vector<Json>;

Json Time(double value, double rate = 25) {
    return {{"OTIO_SCHEMA", "RationalTime.1"}, {"value", value}, {"rate", rate}};
}

Json Range(double start, double duration, double rate = 25) {
    return {{"OTIO_SCHEMA", "TimeRange.1"}, {"start_time", Time(start, rate)}, {"duration", Time(duration, rate)}};
}

Json External(std::string const& url, Json const& available = nullptr) {
    return {{"OTIO_SCHEMA", "ExternalReference.1"}, {"target_url", url}, {"available_range", available}};
}

Json ClipOf(std::string const& name, Json const& range, Json const& reference, List const& effects = {}) {
    return {{"OTIO_SCHEMA", "Clip.2"},
            {"name", name},
            {"source_range", range},
            {"media_references", {{"DEFAULT_MEDIA", reference}}},
            {"active_media_reference_key", "DEFAULT_MEDIA"},
            {"effects", effects}};
}

Json Clip(std::string const& name, double start, double duration, List const& effects = {}) {
    return ClipOf(name, Range(start, duration), External(name + ".mp4"), effects);
}

Json Gap(double duration) {
    return {{"OTIO_SCHEMA", "Gap.1"}, {"source_range", Range(0, duration)}};
}

Json Dissolve(double before, double after) {
    return {{"OTIO_SCHEMA", "Transition.1"},
            {"name", "t"},
            {"transition_type", "SMPTE_Dissolve"},
            {"in_offset", Time(before)},
            {"out_offset", Time(after)}};
}

Json Warp(double scalar) {
    return {{"OTIO_SCHEMA", "LinearTimeWarp.1"}, {"effect_name", "LinearTimeWarp"}, {"time_scalar", scalar}};
}

Json Freeze() {
    return {{"OTIO_SCHEMA", "FreezeFrame.1"}, {"effect_name", "FreezeFrame"}, {"time_scalar", 0}};
}

Json Track(List const& children, char const* kind = "Video", Json const& range = nullptr) {
    return {{"OTIO_SCHEMA", "Track.1"}, {"name", "V"}, {"kind", kind}, {"source_range", range}, {"children", children}};
}

Json Stack(List const& children, Json const& range = nullptr) {
    return {{"OTIO_SCHEMA", "Stack.1"}, {"name", "S"}, {"source_range", range}, {"children", children}};
}

Json TimelineOf(List const& tracks) {
    return {
        {"OTIO_SCHEMA", "Timeline.1"}, {"name", "T"}, {"global_start_time", Time(90000)}, {"tracks", Stack(tracks)}};
}

ReadTimelineResult ReadAll(Json const& document) {
    return ReadTimelineText(document.dump(), TimelineForm::OpenTimelineIO, "/m");
}

/// The only track of a timeline that has nothing to warn of.
TimelineTrack ReadTrack(List const& children) {
    ReadTimelineResult const result = ReadAll(TimelineOf({Track(children)}));
    EXPECT_TRUE(result.warnings.empty()) << result.warnings.front().text;
    EXPECT_EQ(result.timeline.tracks.size(), 1U);
    return result.timeline.tracks.at(0);
}

/// What a clip is to be at its place; the rest is as in all clips.
TimelineClip Placed(std::string const& name, int64 begin, int64 end, int64 sourceBegin, int64 sourceDuration,
                    double speed, JsonPointer const& pointer) {
    TimelineClip clip;
    clip.name = name;
    clip.file = "/m/" + name + ".mp4";
    clip.begin = begin;
    clip.end = end;
    clip.sourceBegin = sourceBegin;
    clip.sourceDuration = sourceDuration;
    clip.speed = speed;
    clip.pointer = pointer;
    return clip;
}

std::string Child(int index) {
    return "/tracks/children/0/children/" + std::to_string(index);
}

/// A file as the public documentation of the format describes one, with what it allows to be left out or to stand there
/// beside what is needed.
constexpr char BY_HAND[] = R"({
  "OTIO_SCHEMA": "Timeline.1",
  "metadata": {"any": {"thing": [1, null, {"OTIO_SCHEMA": "Unknown.7"}]}},
  "name": "by hand",
  "global_start_time": {"OTIO_SCHEMA": "RationalTime.1", "rate": 24, "value": 86400},
  "tracks": {
    "OTIO_SCHEMA": "Stack.1", "metadata": {}, "name": "tracks", "source_range": null, "effects": [], "markers": [],
    "children": [
      {"OTIO_SCHEMA": "Track.1", "metadata": {}, "name": "V1", "kind": "Video", "source_range": null, "effects": [],
       "markers": [], "enabled": true, "color": null,
       "children": [
         {"OTIO_SCHEMA": "Clip.1", "name": "old", "metadata": {}, "effects": [],
          "markers": [{"OTIO_SCHEMA": "Marker.2", "name": "here", "color": "RED", "metadata": {},
                       "marked_range": {"OTIO_SCHEMA": "TimeRange.1",
                         "start_time": {"OTIO_SCHEMA": "RationalTime.1", "rate": 24, "value": 10},
                         "duration": {"OTIO_SCHEMA": "RationalTime.1", "rate": 24, "value": 1}}}],
          "source_range": {"OTIO_SCHEMA": "TimeRange.1",
            "start_time": {"OTIO_SCHEMA": "RationalTime.1", "rate": 24, "value": 86412},
            "duration": {"OTIO_SCHEMA": "RationalTime.1", "rate": 24, "value": 24}},
          "media_reference": {"OTIO_SCHEMA": "ExternalReference.1", "name": null, "metadata": {},
            "target_url": "file:///media/one%20two.mov",
            "available_range": {"OTIO_SCHEMA": "TimeRange.1",
              "start_time": {"OTIO_SCHEMA": "RationalTime.1", "rate": 24, "value": 86400},
              "duration": {"OTIO_SCHEMA": "RationalTime.1", "rate": 24, "value": 240}}}},
         {"OTIO_SCHEMA": "Transition.1", "name": "mix", "metadata": {}, "transition_type": "SMPTE_Dissolve",
          "parameters": {},
          "in_offset": {"OTIO_SCHEMA": "RationalTime.1", "rate": 24, "value": 6},
          "out_offset": {"OTIO_SCHEMA": "RationalTime.1", "rate": 24, "value": 12}},
         {"OTIO_SCHEMA": "Clip.2", "name": "new", "metadata": {}, "effects": [], "markers": [], "enabled": true,
          "source_range": null, "active_media_reference_key": "high",
          "media_references": {
            "low": {"OTIO_SCHEMA": "MissingReference.1", "name": "", "metadata": {}, "available_range": null},
            "high": {"OTIO_SCHEMA": "ExternalReference.1", "name": "", "metadata": {}, "target_url": "two.mov",
              "available_range": {"OTIO_SCHEMA": "TimeRange.1",
                "start_time": {"OTIO_SCHEMA": "RationalTime.1", "rate": 25, "value": 0},
                "duration": {"OTIO_SCHEMA": "RationalTime.1", "rate": 25, "value": 50}}}}},
         {"OTIO_SCHEMA": "Gap.1", "name": "", "metadata": {}, "effects": [], "markers": [],
          "source_range": {"OTIO_SCHEMA": "TimeRange.1",
            "start_time": {"OTIO_SCHEMA": "RationalTime.1", "rate": 24, "value": 0},
            "duration": {"OTIO_SCHEMA": "RationalTime.1", "rate": 24, "value": 48}}}]},
      {"OTIO_SCHEMA": "Track.1", "name": "A1", "kind": "Audio",
       "children": [
         {"OTIO_SCHEMA": "Clip.2", "name": "sound",
          "source_range": {"OTIO_SCHEMA": "TimeRange.1",
            "start_time": {"OTIO_SCHEMA": "RationalTime.1", "rate": 48000, "value": 24000},
            "duration": {"OTIO_SCHEMA": "RationalTime.1", "rate": 24, "value": 36}},
          "media_references": {"DEFAULT_MEDIA": {"OTIO_SCHEMA": "ExternalReference.1", "target_url": "/s.wav"}}}]}]}})";

TEST(OtioReader, ReadsAFileAsTheFormatIsDocumented) {
    ReadTimelineResult const result = ReadTimelineText(BY_HAND, TimelineForm::OpenTimelineIO, "/m");
    EXPECT_TRUE(result.warnings.empty());
    Timeline expected;
    expected.name = "by hand";
    expected.duration = 5000000;
    TimelineClip old = Placed("old", 0, 1000000, 500000, 1000000, 1, Child(0));
    old.file = "/media/one two.mov";
    TimelineClip fresh = Placed("new", 1000000, 3000000, 0, 2000000, 1, Child(2));
    fresh.file = "/m/two.mov";
    expected.tracks.push_back(
        {"V1", TrackKind::Video, {old, fresh}, {{"mix", 0, 250000, 500000, Child(1)}}, "/tracks/children/0"});
    TimelineClip sound = Placed("sound", 0, 1500000, 500000, 1500000, 1, "/tracks/children/1/children/0");
    sound.file = "/s.wav";
    expected.tracks.push_back({"A1", TrackKind::Audio, {sound}, {}, "/tracks/children/1"});
    EXPECT_EQ(result.timeline, expected);
}

TEST(OtioReader, AThousandClipsOfOneFrameEndWhereAThousandFramesDo) {
    for (double const rate : {30000 / 1001.0, 29.97}) {
        List clips;
        for (int i = 0; i < 1000; ++i) clips.push_back(ClipOf("c", Range(i, 1, rate), External("c.mp4")));
        TimelineTrack const track = ReadTrack(clips);
        ASSERT_EQ(track.clips.size(), 1000U);
        for (int i = 0; i < 1000; ++i) {
            EXPECT_EQ(track.clips[i].begin, (int64{i} * 200200 + 3) / 6) << i;
            EXPECT_EQ(track.clips[i].end, (int64{i + 1} * 200200 + 3) / 6) << i;
            EXPECT_EQ(track.clips[i].sourceBegin, track.clips[i].begin) << i;
        }
    }
}

TEST(OtioReader, LengthsAtDifferentRatesAddUpExactly) {
    List clips;
    for (int i = 0; i < 300; ++i) {
        clips.push_back(ClipOf("a", Range(0, 1, 24), External("a.mp4")));
        clips.push_back(ClipOf("b", Range(0, 1, 30), External("b.mp4")));
        clips.push_back(ClipOf("c", Range(0, 1, 44100), External("c.mp4")));
    }
    EXPECT_EQ(ReadTrack(clips).clips.back().end, 12500000 + 10000000 + 6803);
}

TEST(OtioReader, ARangeCountsFromTheTimecodeOfItsMedia) {
    auto const clip = ClipOf("a", Range(86410, 10, 24), External("a.mp4", Range(86400, 100, 24)));
    EXPECT_EQ(ReadTrack({clip}).clips[0], Placed("a", 0, 416667, 416667, 416667, 1, Child(0)));
    // Nothing tells where the media begin.
    EXPECT_EQ(ReadTrack({Clip("a", 50, 25)}).clips[0].sourceBegin, 2000000);
    // Without a range of its own the clip plays all of its media.
    auto const whole = ClipOf("a", nullptr, External("a.mp4", Range(86400, 48, 24)));
    EXPECT_EQ(ReadTrack({whole}).clips[0], Placed("a", 0, 2000000, 0, 2000000, 1, Child(0)));
}

TEST(OtioReader, WarpsMultiplyAndKeepTheLengthOnTheTrack) {
    EXPECT_EQ(ReadTrack({Clip("a", 25, 50, {Warp(2)})}).clips[0],
              Placed("a", 0, 2000000, 1000000, 4000000, 2, Child(0)));
    EXPECT_EQ(ReadTrack({Clip("a", 25, 50, {Warp(3), Warp(-0.5)})}).clips[0],
              Placed("a", 0, 2000000, 1000000, 3000000, -1.5, Child(0)));
    EXPECT_EQ(ReadTrack({Clip("a", 25, 50, {Freeze()})}).clips[0], Placed("a", 0, 2000000, 1000000, 0, 0, Child(0)));
    EXPECT_EQ(ReadTrack({Clip("a", 25, 50, {Warp(0)})}).clips[0].speed, 0);
    Json disabled = Warp(2);
    disabled["enabled"] = false;
    EXPECT_EQ(ReadTrack({Clip("a", 25, 50, {disabled})}).clips[0].speed, 1);
}

TEST(OtioReader, WhatIsDisabledLeavesAGap) {
    Json clip = Clip("a", 0, 25);
    clip["enabled"] = false;
    auto const track = ReadTrack({clip, Clip("b", 0, 25)});
    ASSERT_EQ(track.clips.size(), 1U);
    EXPECT_EQ(track.clips[0].begin, 1000000);
    Json whole = Track({Clip("a", 0, 50)});
    whole["enabled"] = false;
    auto const result = ReadAll(TimelineOf({whole, Track({Clip("b", 0, 25)})}));
    EXPECT_TRUE(result.timeline.tracks[0].clips.empty());
    EXPECT_EQ(result.timeline.duration, 2000000);
    EXPECT_TRUE(result.warnings.empty());
}

TEST(OtioReader, ATracksRangeTrimsWhatLiesOnIt) {
    List const clips{Clip("a", 0, 25), Dissolve(5, 5), Clip("b", 100, 25, {Warp(-2)}), Gap(5), Clip("c", 0, 25)};
    auto const trimmed = [&](Json const& range) {
        auto const result = ReadAll(TimelineOf({Track(clips, "Video", range)}));
        EXPECT_TRUE(result.warnings.empty()) << result.warnings.front().text;
        return result.timeline;
    };
    Timeline const timeline = trimmed(Range(10, 30));
    EXPECT_EQ(timeline.duration, 1200000);
    auto const& track = timeline.tracks[0];
    // Played backwards, the front of "b" is the end of its range, and its back the begin.
    EXPECT_EQ(track.clips, (std::vector{Placed("a", 0, 600000, 400000, 600000, 1, Child(0)),
                                        Placed("b", 600000, 1200000, 4800000, 1200000, -2, Child(2))}));
    EXPECT_EQ(track.transitions, (std::vector{TimelineTransition{"t", 0, 200000, 200000, Child(1)}}));
    // Beyond both ends there are gaps.
    Timeline const longer = trimmed(Range(-10, 200));
    EXPECT_EQ(longer.duration, 8000000);
    EXPECT_EQ(longer.tracks[0].clips[0].begin, 400000);
    EXPECT_EQ(longer.tracks[0].clips.size(), 3U);
    auto const cut = ReadAll(TimelineOf({Track(clips, "Video", Range(22, 30))}));
    ASSERT_EQ(cut.warnings.size(), 1U);
    EXPECT_EQ(
        cut.warnings[0],
        (TimelineWarning{"transition \"t\": it is cut by the range of track \"V\", a cut stands there", Child(1)}));
}

TEST(OtioReader, TheRangeOfTheStackTrimsAllTracks) {
    Json timeline = TimelineOf({Track({Clip("a", 0, 25)}), Track({Clip("b", 0, 50)}, "Audio")});
    timeline["tracks"]["source_range"] = Range(20, 10);
    auto const result = ReadAll(timeline);
    EXPECT_EQ(result.timeline.duration, 400000);
    EXPECT_EQ(result.timeline.tracks[0].clips[0].end, 200000);
    EXPECT_EQ(result.timeline.tracks[1].clips[0].end, 400000);
    EXPECT_EQ(result.timeline.tracks[1].clips[0].sourceBegin, 800000);
}

TEST(OtioReader, ACompositionOfOneLayerIsFlattened) {
    List const inner{Clip("b", 0, 25), Dissolve(2, 3), Clip("c", 0, 25)};
    std::vector<TimelineClip> const expected{Placed("a", 0, 400000, 0, 400000, 1, Child(0)),
                                             Placed("b", 400000, 1200000, 200000, 800000, 1, ""),
                                             Placed("c", 1200000, 2000000, 0, 800000, 1, "")};
    for (Json const& nested :
         {Stack({Track(inner)}, Range(5, 40)), Stack({Track({Gap(90)}), Track(inner)}, Range(5, 40)),
          Track(inner, "Video", Range(5, 40)), Stack({Stack({Track(inner)})}, Range(5, 40))}) {
        TimelineTrack track = ReadTrack({Clip("a", 0, 10), nested, Clip("d", 0, 10)});
        ASSERT_EQ(track.clips.size(), 4U);
        EXPECT_EQ(track.clips[3].begin, 2000000);
        track.clips.pop_back();
        for (std::size_t i : {1, 2}) track.clips[i].pointer.clear();
        EXPECT_EQ(track.clips, expected);
        ASSERT_EQ(track.transitions.size(), 1U);
        EXPECT_EQ(track.transitions[0].left, 1U);
        EXPECT_EQ(track.transitions[0].before, 80000);
    }
    // A clip that lies in a stack without a track.
    EXPECT_EQ(ReadTrack({Stack({Clip("b", 0, 25)})}).clips.size(), 1U);
}

TEST(OtioReader, TheFirstTimelineOfACollectionIsRead) {
    Json second = TimelineOf({Track({Clip("b", 0, 25)})});
    second["name"] = "second";
    auto const result = ReadAll({{"OTIO_SCHEMA", "SerializableCollection.1"},
                                 {"children", {Clip("x", 0, 1), TimelineOf({Track({Clip("a", 0, 25)})}), second}}});
    EXPECT_EQ(result.timeline.tracks[0].clips[0].name, "a");
    ASSERT_EQ(result.warnings.size(), 1U);
    EXPECT_EQ(result.warnings[0],
              (TimelineWarning{"timeline \"second\": only the first timeline of a collection is read", "/children/2"}));
}

TEST(OtioReader, AStackOrATrackAloneIsATimeline) {
    EXPECT_EQ(ReadAll(Track({Clip("a", 0, 25)}, "Audio")).timeline.tracks[0].kind, TrackKind::Audio);
    EXPECT_EQ(ReadAll(Stack({Track({Clip("a", 0, 25)}), Clip("b", 0, 50)})).timeline.duration, 2000000);
}

TEST(OtioReader, SchemasGoByTheirOldNamesToo) {
    Json track = Track({Gap(5), Clip("a", 0, 25)});
    track["OTIO_SCHEMA"] = "Sequence.1";
    track["children"][0]["OTIO_SCHEMA"] = "Filler.1";
    EXPECT_EQ(ReadAll(TimelineOf({track})).timeline.tracks[0].clips[0].begin, 200000);
}

struct Warned {
    List children;
    char const* text;
    /// Of the track, where the warning isn't of the track's own.
    int child;
};

void ExpectWarnings(std::vector<Warned> const& samples) {
    for (Warned const& sample : samples) {
        auto const result = ReadAll(TimelineOf({Track(sample.children)}));
        ASSERT_EQ(result.warnings.size(), 1U) << sample.text;
        EXPECT_EQ(result.warnings[0], (TimelineWarning{sample.text, Child(sample.child)}));
    }
}

Json Reference(char const* schema, Json keys = Json::object()) {
    keys["OTIO_SCHEMA"] = schema;
    return keys;
}

TEST(OtioReader, MediaThatCantBePlayedLeaveAGapAndAWarning) {
    Json const end = Clip("end", 0, 25);
    auto const with = [&](Json const& reference) { return List{ClipOf("a", Range(0, 25), reference), end}; };
    ExpectWarnings({
        {with(nullptr), "clip \"a\": it has no media; a gap stands there", 0},
        {with(Reference("MissingReference.1")), "clip \"a\": its media is missing; a gap stands there", 0},
        {with(Reference("GeneratorReference.1", {{"generator_kind", "SMPTEBars"}})),
         "clip \"a\": its pictures are made by a generator, \"SMPTEBars\"; a gap stands there", 0},
        {with(Reference("ImageSequenceReference.1", {{"target_url_base", "file:///x"}})),
         "clip \"a\": its pictures are a sequence of files; a gap stands there", 0},
        {with(Reference("Cloud.1")), "clip \"a\": media by the schema \"Cloud\" are not known; a gap stands there", 0},
        {with(External("")), "clip \"a\": it names no file; a gap stands there", 0},
        {with(External("file:///D:/a.mp4")),
         "clip \"a\": its file \"D:/a.mp4\" is on a drive of another system; a gap stands there", 0},
        {with(External("http://x/a.mp4")), "clip \"a\": its media \"http://x/a.mp4\" is no file; a gap stands there",
         0},
    });
    auto const result = ReadAll(TimelineOf({Track(with(nullptr))}));
    ASSERT_EQ(result.timeline.tracks[0].clips.size(), 1U);
    EXPECT_EQ(result.timeline.tracks[0].clips[0].begin, 1000000);
    Json nameless = ClipOf("", Range(0, 25), nullptr);
    ExpectWarnings({{{nameless, end}, "clip without a name: it has no media; a gap stands there", 0}});
    Json other = Clip("a", 0, 25);
    other["active_media_reference_key"] = "proxy";
    ExpectWarnings({{{other, end}, "clip \"a\": it has no media; a gap stands there", 0}});
}

TEST(OtioReader, EffectsThatAreNotKnownAreLeftOutWithAWarning) {
    // By count: compilers differ in what they make of a lone object in braces.
    List const blur(1, Json{{"OTIO_SCHEMA", "Effect.1"}, {"effect_name", "Blur"}});
    ExpectWarnings({
        {{Clip("a", 0, 25, blur)}, "clip \"a\": its effect \"Blur\" is not known and is left out", 0},
        {{Clip("a", 0, 25, {Reference("TimeEffect.1")})},
         "clip \"a\": its effect \"TimeEffect\" is not known and is left out",
         0},
        {{Clip("e", 0, 25), Clip("a", 0, 25, {Warp(101)})},
         "clip \"a\": its speed is out of 0.01 to 100; a gap stands there",
         1},
        {{Clip("e", 0, 25), Clip("a", 0, 25, {Warp(-0.001)})},
         "clip \"a\": its speed is out of 0.01 to 100; a gap stands there",
         1},
    });
    Json track = Track({Clip("a", 0, 25)});
    track["effects"] = blur;
    auto const result = ReadAll(TimelineOf({track}));
    ASSERT_EQ(result.warnings.size(), 1U);
    EXPECT_EQ(result.warnings[0].text, "track \"V\": its effect \"Blur\" can't be carried and is left out");
    EXPECT_EQ(result.timeline.tracks[0].clips.size(), 1U);
}

TEST(OtioReader, SoundIsNotFrozen) {
    auto const result = ReadAll(TimelineOf({Track({Clip("a", 0, 25, {Freeze()})}, "Audio")}));
    ASSERT_EQ(result.warnings.size(), 1U);
    EXPECT_EQ(result.warnings[0].text, "clip \"a\": sound can't be frozen; a gap stands there");
    EXPECT_TRUE(result.timeline.tracks[0].clips.empty());
}

TEST(OtioReader, WhatLiesAheadOfTheMediaIsAGap) {
    auto const read = [](Json const& clip, char const* text) {
        auto const result = ReadAll(TimelineOf({Track({clip})}));
        EXPECT_EQ(result.warnings, (std::vector{TimelineWarning{text, Child(0)}}));
        EXPECT_EQ(result.timeline.duration, 2000000);
        return result.timeline.tracks[0].clips;
    };
    char const* const second =
        "clip \"a\": its range begins 1000000 us ahead of its media; a gap stands there for as long";
    Json const media = External("a.mp4", Range(100, 100));
    EXPECT_EQ(read(ClipOf("a", Range(75, 50), media), second),
              (std::vector{Placed("a", 1000000, 2000000, 0, 1000000, 1, Child(0))}));
    EXPECT_EQ(read(ClipOf("a", Range(75, 50), media, {Warp(2)}), second),
              (std::vector{Placed("a", 500000, 2000000, 0, 3000000, 2, Child(0))}));
    EXPECT_EQ(read(ClipOf("a", Range(75, 50), media, {Warp(-1)}), second),
              (std::vector{Placed("a", 0, 1000000, 0, 1000000, -1, Child(0))}));
    EXPECT_TRUE(read(ClipOf("a", Range(75, 50), media, {Freeze()}), second).empty());
    EXPECT_TRUE(read(ClipOf("a", Range(0, 50), media),
                     "clip \"a\": its range begins 4000000 us ahead of its media; a gap stands there for as long")
                    .empty());
}

TEST(OtioReader, TransitionsThatCantBeCarriedAreCuts) {
    Json const a = Clip("a", 0, 25);
    Json const b = Clip("b", 0, 25);
    Json wipe = Dissolve(5, 5);
    wipe["transition_type"] = "Custom_Transition";
    char const* const noClipAhead = "transition \"t\": it does not stand behind a clip; it is left out";
    char const* const noClipBehind = "transition \"t\": it does not stand ahead of a clip; it is left out";
    char const* const noRoom =
        "transition \"t\": it is longer than the clips beside it have room for; a cut stands there";
    ExpectWarnings({
        {{a, wipe, b}, "transition \"t\": its kind \"Custom_Transition\" is not known; a cut stands there", 1},
        {{Dissolve(5, 5), a}, noClipAhead, 0},
        {{Gap(5), Dissolve(5, 5), a}, noClipAhead, 1},
        {{a, Dissolve(5, 5)}, noClipBehind, 1},
        {{a, Dissolve(5, 5), Gap(5), b}, noClipBehind, 1},
        {{a, Dissolve(5, 5), Stack({Track({b})})}, noClipBehind, 1},
        {{Stack({Track({b})}), Dissolve(5, 5), a}, noClipAhead, 1},
        {{a, Dissolve(5, 5), Dissolve(5, 5), b}, noClipAhead, 2},
        {{a, Dissolve(26, 5), b}, noRoom, 1},
        {{a, Dissolve(5, 26), b}, noRoom, 1},
        {{a, Dissolve(5, 15), b, Dissolve(11, 5), a}, noRoom, 3},
    });
    EXPECT_EQ(ReadTrack({a, Dissolve(5, 15), b, Dissolve(10, 5), a}).transitions.size(), 2U);
    EXPECT_TRUE(ReadTrack({a, Dissolve(0, 0), b}).transitions.empty());
}

TEST(OtioReader, LayersThatLieOnOneAnotherInACompositionAreAGap) {
    Json const end = Clip("end", 0, 25);
    ExpectWarnings({
        {{Stack({Track({Clip("a", 0, 25)}), Track({Clip("b", 0, 50)})}), end},
         "stack \"S\": 2 layers of clips lie in it, only one can be carried; a gap stands there",
         0},
        {{Reference("Fancy.1", {{"name", "f"}, {"source_range", Range(0, 50)}}), end},
         "fancy \"f\": the schema \"Fancy\" is not known; a gap stands there",
         0},
    });
    auto const result =
        ReadAll(TimelineOf({Track({Stack({Track({Clip("a", 0, 25)}), Track({Clip("s", 0, 75)}, "Audio")}), end})}));
    ASSERT_EQ(result.warnings.size(), 1U);
    EXPECT_EQ(result.warnings[0].text, "track \"V\": a track in a track of another kind is left out");
    ASSERT_EQ(result.timeline.tracks[0].clips.size(), 2U);
    EXPECT_EQ(result.timeline.tracks[0].clips[1].begin, 3000000);
}

TEST(OtioReader, ATrackOfAnotherKindIsLeftOut) {
    auto const result = ReadAll(TimelineOf({Track({Clip("a", 0, 25)}), Track({Clip("b", 0, 50)}, "Text")}));
    EXPECT_EQ(result.timeline.tracks.size(), 1U);
    ASSERT_EQ(result.warnings.size(), 1U);
    EXPECT_EQ(result.warnings[0],
              (TimelineWarning{"track \"V\": a track of the kind \"Text\" can't be played", "/tracks/children/1"}));
}

struct Refused {
    Json document;
    std::string message;
};

TEST(OtioReader, RefusesWhatCantBeUnderstood) {
    auto const clip = [](char const* pointer, Json const& value) {
        Json document = TimelineOf({Track({Clip("a", 0, 25)})});
        document["tracks"]["children"][0]["children"][0][Json::json_pointer(pointer)] = value;
        return document;
    };
    auto const timeline = [](char const* pointer, Json const& value) {
        Json document = TimelineOf({Track({Clip("a", 0, 25)})});
        document[Json::json_pointer(pointer)] = value;
        return document;
    };
    std::string const at = Child(0);
    for (Refused const& sample : std::vector<Refused>{
             {Json::array(), "must be an object, not a list"},
             {Json::object(), "the key \"OTIO_SCHEMA\" is missing"},
             {Clip("a", 0, 1), "must be a Timeline, not a \"Clip\""},
             {{{"OTIO_SCHEMA", "SerializableCollection.1"}}, "there is no Timeline in the collection"},
             {timeline("/OTIO_SCHEMA", "Timeline"),
              "/OTIO_SCHEMA: must be the name of a schema and its version, not \"Timeline\""},
             {timeline("/OTIO_SCHEMA", "Timeline.0"),
              "/OTIO_SCHEMA: must be the name of a schema and its version, not \"Timeline.0\""},
             {timeline("/OTIO_SCHEMA", 1), "/OTIO_SCHEMA: must be the name of a schema and its version, not 1"},
             {timeline("/OTIO_SCHEMA", "Timeline.2"),
              "version 2 of the schema \"Timeline\" is not known, the latest that is: 1"},
             {timeline("/tracks", nullptr), "the key \"tracks\" is missing"},
             {timeline("/tracks", Track({})), "/tracks: must be a Stack, not a \"Track\""},
             {timeline("/tracks/OTIO_SCHEMA", "Stack.2"),
              "/tracks: version 2 of the schema \"Stack\" is not known, the latest that is: 1"},
             {timeline("/tracks/children", 1), "/tracks/children: must be a list, not 1"},
             {timeline("/tracks/children", Json::array()), "nothing lies on the timeline"},
             {timeline("/tracks/children/0/OTIO_SCHEMA", "Track.2"),
              "/tracks/children/0: version 2 of the schema \"Track\" is not known, the latest that is: 1"},
             {timeline("/tracks/children/0/kind", 1), "/tracks/children/0/kind: must be a text, not 1"},
             {clip("/OTIO_SCHEMA", "Clip.3"),
              at + ": version 3 of the schema \"Clip\" is not known, the latest that is: 2"},
             {clip("/source_range", nullptr), at + ": the clip has no source_range, and its media no available_range: "
                                                   "there is no telling how long it is"},
             {clip("/source_range/OTIO_SCHEMA", "RationalTime.1"),
              at + "/source_range: must be a TimeRange, not a \"RationalTime\""},
             {clip("/source_range/start_time", nullptr), at + "/source_range: the key \"start_time\" is missing"},
             {clip("/source_range/duration/OTIO_SCHEMA", "TimeRange.1"),
              at + "/source_range/duration: must be a RationalTime, not a \"TimeRange\""},
             {clip("/source_range/duration/OTIO_SCHEMA", "RationalTime.2"),
              at + "/source_range/duration: version 2 of the schema \"RationalTime\" is not known, the latest that is: "
                   "1"},
             {clip("/source_range/duration/value", "1"),
              at + "/source_range/duration/value: must be a number, not \"1\""},
             {clip("/source_range/duration/value", -1), at + "/source_range: the range lasts less than no time"},
             {clip("/source_range/duration/value", 1e300),
              at + "/source_range/duration: 1e+300 at a rate of 25 is out of the range of 30 days"},
             {clip("/source_range/duration/rate", 0),
              at + "/source_range/duration/rate: a rate must be above 0, not 0"},
             {clip("/enabled", 1), at + "/enabled: must be true or false, not 1"},
             {clip("/effects", {{{"OTIO_SCHEMA", "LinearTimeWarp.1"}}}),
              at + "/effects/0: the key \"time_scalar\" is missing"},
             {clip("/effects", {1}), at + "/effects/0: must be an object, not 1"},
             {TimelineOf({Track({Clip("a", 0, 25), Dissolve(-1, 0), Clip("b", 0, 25)})}),
              Child(1) + ": an offset of a transition is below 0"},
             {TimelineOf({Track({Clip("a", 0, 64000000), Clip("b", 0, 64000000)})}),
              Child(1) + ": the track is longer than 30 days here"},
             {TimelineOf({Track({ClipOf("a", Range(60000000, 25), External("a.mp4", Range(-60000000, 25)))})}),
              at + ": the range of the clip begins more than 30 days behind the begin of its media"},
         }) {
        EXPECT_EQ(MessageOf<GraphException>([&] { ReadAll(sample.document); }), sample.message);
    }
    Json unknown = Reference("Fancy.1");
    EXPECT_EQ(MessageOf<GraphException>([&] { ReadAll(TimelineOf({Track({unknown})})); }),
              at + ": the schema \"Fancy\" is not known: there is no telling how long it is");
}

TEST(OtioReader, NumbersThatJsonDoesNotHaveAreRefused) {
    std::string const text = R"({"OTIO_SCHEMA": "Track.1", "more": NaN})";
    EXPECT_NE(MessageOf<GraphException>([&] {
                  ReadTimelineText(text, TimelineForm::OpenTimelineIO);
              }).find("line 1, column 36"),
              std::string::npos);
}

}  // namespace
}  // namespace Tarsel::Host
