#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "host/graph/GraphErrors.h"
#include "host/timeline/TimelineReader.h"
#include "host/timeline/TimelineWriter.h"
#include "tests/support/ExpectThrow.h"

namespace Tarsel::Host {
namespace {

using TestSupport::MessageOf;

Timeline Read(std::string const& text, std::string const& folder = {}) {
    ReadTimelineResult const result = ReadTimelineText(text, TimelineForm::Own, folder);
    EXPECT_TRUE(result.warnings.empty());
    return result.timeline;
}

/// A timeline of these keys beside the two that each one has.
std::string WithKeys(std::string const& keys) {
    return R"({"format": "tarsel timeline", "version": 1, )" + keys + "}";
}

/// One track of pictures, its items given.
std::string WithItems(std::string const& items, std::string const& kind = "video") {
    return WithKeys(R"("frameRate": "30000/1001", "tracks": [{"kind": ")" + kind + R"(", "items": [)" + items + "]}]");
}

std::string Clip(std::string const& keys) {
    return R"({"type": "clip", "file": "a.mp4", )" + keys + "}";
}

TimelineClip OnlyClip(std::string const& keys, std::string const& kind = "video") {
    auto const timeline = Read(WithItems(Clip(keys), kind));
    EXPECT_EQ(timeline.tracks.size(), 1U);
    EXPECT_EQ(timeline.tracks[0].clips.size(), 1U);
    return timeline.tracks[0].clips[0];
}

constexpr char ALL_OF_IT[] = R"({
    "$schema": "timeline.schema.json", "format": "tarsel timeline", "version": 1, "name": "all of it",
    "frameRate": "50/2", "size": {"width": 640, "height": 360, "pixelAspect": "4/3"},
    "sound": {"SampleFormat": "s16", "SampleRate": 44100, "ChannelLayout": "mono"},
    "tracks": [
      {"kind": "video", "name": "below", "items": [
        {"type": "gap", "duration": "5f"},
        {"type": "clip", "name": "one", "file": "a.mp4", "stream": "video:1", "in": "1:00", "out": "1:02",
         "opacity": 0.25, "effects": [
           {"name": "fade", "settings": {"direction": "out", "color": "#FF0000"}, "begin": 500000, "end": "1500ms"},
           {"name": "stamp", "implementation": "Tarsel", "settings": {"file": "$${logo}.png", "x": -1}},
           {"name": "color"}]},
        {"type": "transition", "name": "over", "kind": "dissolve", "before": "10f", "after": 200000},
        {"type": "clip", "file": "/b/c.mp4", "stream": 3, "in": 7, "duration": "2s", "speed": -1.5},
        {"type": "clip", "file": "d.mp4", "in": "3s", "duration": 1, "freeze": true}]},
      {"kind": "audio", "items": [
        {"type": "clip", "file": "m.wav", "duration": "1s", "volume": -50, "speed": 0.5},
        {"type": "gap", "duration": "9s"}]}]})";

TEST(OwnTimeline, ReadsATimelineWithAllThatItMayHold) {
    Timeline const timeline = Read(ALL_OF_IT, "/media");
    EXPECT_EQ(timeline.name, "all of it");
    EXPECT_EQ(timeline.frameRate, Ratio(25, 1));
    EXPECT_EQ(timeline.frame, (Conf::FrameInfo{640, 360, 4, 3}));
    EXPECT_EQ(timeline.sound, Conf::SampleInfo(Conf::SAMPLE_FORMAT_S16, 44100, Conf::CHANNEL_LAYOUT_MONO));
    EXPECT_EQ(timeline.duration, 10000000);
    ASSERT_EQ(timeline.tracks.size(), 2U);
    TimelineTrack const& below = timeline.tracks[0];
    EXPECT_EQ(below.name, "below");
    EXPECT_EQ(below.kind, TrackKind::Video);
    EXPECT_EQ(below.pointer, "/tracks/0");
    Core::Property fade("SettingsEffectFade");
    fade.SetChild("Direction", 1).SetChild("Color", 0xFF0000);
    Core::Property stamp("SettingsEffectStamp");
    stamp.SetChild("File", "/media/$${logo}.png").SetChild("X", -1).SetChild("Y", 0).SetChild("Alpha", 255);
    stamp.SetChild("Implementation", "Tarsel");
    Core::Property color("SettingsEffectColor");
    color.SetChild("Brightness", 0).SetChild("Contrast", 1).SetChild("Saturation", 1);
    TimelineClip const one{"one",
                           "/media/a.mp4",
                           StreamSelector{StreamKind::Video, 1},
                           200000,
                           2200000,
                           60000000,
                           2000000,
                           1,
                           0.25,
                           100,
                           {{"fade", fade, 700000, 1700000, "/tracks/0/items/1/effects/0"},
                            {"stamp", stamp, 200000, 2200000, "/tracks/0/items/1/effects/1"},
                            {"color", color, 200000, 2200000, "/tracks/0/items/1/effects/2"}},
                           "/tracks/0/items/1"};
    TimelineClip const two{"",  "/b/c.mp4", StreamSelector{{}, 3}, 2200000, 4200000, 7, 3000000, -1.5, 1,
                           100, {},         "/tracks/0/items/3"};
    TimelineClip const still{"", "/media/d.mp4", {}, 4200000, 4200001, 3000000, 0, 0, 1, 100, {}, "/tracks/0/items/4"};
    EXPECT_EQ(below.clips, (std::vector{one, two, still}));
    EXPECT_EQ(below.transitions, (std::vector{TimelineTransition{"over", 0, 400000, 200000, "/tracks/0/items/2"}}));
    TimelineTrack const& sound = timeline.tracks[1];
    EXPECT_EQ(sound.kind, TrackKind::Audio);
    EXPECT_EQ(sound.clips, (std::vector{TimelineClip{
                               "", "/media/m.wav", {}, 0, 1000000, 0, 500000, 0.5, 1, -50, {}, "/tracks/1/items/0"}}));
}

TEST(OwnTimeline, WhatIsLeftOutIsAsTheFirstClipsHaveIt) {
    Timeline const timeline =
        Read(WithKeys(R"("tracks": [{"kind": "video", "items": [)" + Clip(R"("out": "1s")") + "]}]"));
    EXPECT_FALSE(timeline.frameRate);
    EXPECT_FALSE(timeline.frame);
    EXPECT_EQ(timeline.sound, Conf::SampleInfo());
    EXPECT_FALSE(timeline.tracks[0].clips[0].stream);
}

TEST(OwnTimeline, TimesAreMicrosecondsOrTextsThatNameTheirUnit) {
    struct Case {
        char const* time;
        int64 expected;
    };
    for (Case const& sample :
         {Case{"1", 1}, Case{"2e6", 2000000}, Case{"\"7us\"", 7}, Case{"\"1.5ms\"", 1500}, Case{"\"2s\"", 2000000},
          Case{"\"1:10.5\"", 70500000}, Case{"\"1:00:00\"", 3600000000}, Case{"\"1f\"", 33367}, Case{"\"2f\"", 66733},
          Case{"\"3f\"", 100100}, Case{"2592000000000", 2592000000000}})
        EXPECT_EQ(OnlyClip("\"duration\": " + std::string(sample.time)).end, sample.expected) << sample.time;
}

TEST(OwnTimeline, AThousandClipsOfOneFrameEndWhereAThousandFramesDo) {
    std::string items;
    for (int i = 0; i < 1000; ++i) items += (i == 0 ? "" : ",") + Clip(R"("duration": "1f")");
    Timeline const timeline = Read(WithItems(items));
    auto const& clips = timeline.tracks[0].clips;
    ASSERT_EQ(clips.size(), 1000U);
    for (int i = 0; i < 1000; ++i) {
        // i * 1001 / 30000 s, rounded.
        EXPECT_EQ(clips[i].begin, (int64{i} * 200200 + 3) / 6) << i;
        EXPECT_EQ(clips[i].end, (int64{i + 1} * 200200 + 3) / 6) << i;
    }
    EXPECT_EQ(timeline.duration, 33366667);
}

TEST(OwnTimeline, OfASpeedTheRangeOrTheLengthOnTheTimelineTellsTheOther) {
    EXPECT_EQ(OnlyClip(R"("in": "1s", "out": "4s", "speed": 3)").end, 1000000);
    EXPECT_EQ(OnlyClip(R"("in": "1s", "out": "4s", "speed": 3)").sourceDuration, 3000000);
    EXPECT_EQ(OnlyClip(R"("in": "1s", "out": "4s", "speed": -0.5)").end, 6000000);
    EXPECT_EQ(OnlyClip(R"("out": "1s", "speed": 3)").end, 333333);
    EXPECT_EQ(OnlyClip(R"("duration": "1s", "speed": 0.7)").sourceDuration, 700000);
    EXPECT_EQ(OnlyClip(R"("duration": "1s", "freeze": false)").speed, 1);
}

TEST(OwnTimeline, RelativePathsStandBehindTheFolder) {
    auto const fileIn = [](std::string const& file, std::string const& folder) {
        std::string const item = R"({"type": "clip", "file": ")" + file + R"(", "duration": "1s"})";
        return Read(WithItems(item), folder).tracks[0].clips[0].file;
    };
    EXPECT_EQ(fileIn("a.mp4", "/x/y"), "/x/y/a.mp4");
    EXPECT_EQ(fileIn("../a.mp4", "x/"), "x/../a.mp4");
    EXPECT_EQ(fileIn("/a.mp4", "x"), "/a.mp4");
    EXPECT_EQ(fileIn("a.mp4", ""), "a.mp4");
    // A path is no URL here, and nothing is filled in.
    EXPECT_EQ(fileIn("a%20b${x}.mp4", ""), "a%20b${x}.mp4");
}

TEST(OwnTimeline, WhatItWritesReadsBackAsAnEqualTimeline) {
    Timeline const timeline = Read(ALL_OF_IT, "/media");
    std::string const text = WriteTimeline(timeline);
    EXPECT_EQ(Read(text), timeline);
    EXPECT_EQ(WriteTimeline(Read(text)), text);
}

TEST(OwnTimeline, AGapAtTheEndOfTheLongestTrackIsWritten) {
    Timeline const timeline = Read(WithItems(Clip(R"("duration": "1s")") + R"(, {"type": "gap", "duration": "1f"})"));
    EXPECT_EQ(timeline.duration, 1033367);
    EXPECT_EQ(Read(WriteTimeline(timeline)), timeline);
}

TEST(OwnTimeline, WhatTheFormHasNoWordsForIsNotWritten) {
    auto const error = [](auto const& change) {
        Timeline timeline = Read(WithItems(Clip(R"("duration": "1s")")));
        change(timeline);
        return MessageOf<GraphException>([&] { WriteTimeline(timeline); });
    };
    EXPECT_EQ(error([](Timeline& timeline) { timeline.name = "\xFF"; }),
              "a text of the timeline is not UTF-8, which JSON has to be");
    EXPECT_EQ(error([](Timeline& timeline) { timeline.tracks.clear(); }), "/tracks: nothing lies on the timeline");
    EXPECT_EQ(error([](Timeline& timeline) { timeline.tracks[0].clips[0].speed = 1000; }),
              "/tracks/0/items/0/speed: must be a number from -100 to 100, not 1000");
    EXPECT_EQ(error([](Timeline& timeline) {
                  timeline.tracks[0].clips[0].effects.push_back({"haze", {}, 0, 5, ""});
              }),
              "there is no effect \"haze\"");
    EXPECT_EQ(error([](Timeline& timeline) { timeline.sound.Init(Conf::SAMPLE_FORMAT_S64, 48000, 3); }),
              "/sound/SampleFormat: must be one of \"Any\", \"u8\", \"s16\", \"s32\", \"flt\", \"dbl\", \"u8p\", "
              "\"s16p\", \"s32p\", \"fltp\", \"dblp\", not \"10\"");
}

struct BadText {
    std::string text;
    char const* message;
};

void ExpectRefused(std::vector<BadText> const& samples) {
    for (BadText const& sample : samples)
        EXPECT_EQ(MessageOf<GraphException>([&] { ReadTimelineText(sample.text, TimelineForm::Own); }), sample.message)
            << sample.text;
}

TEST(OwnTimeline, RefusesABadHead) {
    std::string const tracks = R"("tracks": [{"kind": "video", "items": [)" + Clip(R"("duration": 1)") + "]}]";
    ExpectRefused({
        {"",
         "line 1, column 1: syntax error while parsing value - unexpected end of input; expected '[', '{', or a "
         "literal"},
        {"[]", "must be an object, not a list"},
        {"{}", "the key \"format\" is missing"},
        {R"({"format": "graph"})", "/format: must be \"tarsel timeline\", not \"graph\""},
        {R"({"format": "tarsel timeline", )" + tracks + "}", "the key \"version\" is missing"},
        {R"({"format": "tarsel timeline", "version": 2, )" + tracks + "}",
         "/version: must be an integer from 1 to 1, not 2"},
        {WithKeys(R"("track": [])"), "/track: there is no key \"track\" here; did you mean \"tracks\"?"},
        {WithKeys(R"("name": "")"), "the key \"tracks\" is missing"},
        {WithKeys(R"("name": 1, )" + tracks), "/name: must be a text, not 1"},
        {WithKeys(R"("frameRate": "0/1", )" + tracks),
         "/frameRate: must be a rate \"N/D\" above 0 and up to 100000 frames/s, not \"0/1\""},
        {WithKeys(R"("frameRate": 29.97, )" + tracks),
         "/frameRate: must be a rate \"N/D\" above 0 and up to 100000 frames/s, not 29.97"},
        {WithKeys(R"("frameRate": 100001, )" + tracks),
         "/frameRate: must be a rate \"N/D\" above 0 and up to 100000 frames/s, not 100001"},
        {WithKeys(R"("size": {"width": 640}, )" + tracks), "/size: the key \"height\" is missing"},
        {WithKeys(R"("size": {"width": 0, "height": 1}, )" + tracks),
         "/size/width: must be an integer from 1 to 16384 (pixels), not 0"},
        {WithKeys(R"("size": {"width": 1, "height": 1, "pixelAspect": "1/0"}, )" + tracks),
         "/size/pixelAspect: must be a ratio \"N/D\" above 0, not \"1/0\""},
        {WithKeys(R"("sound": {"SampleRate": 0}, )" + tracks),
         "/sound/SampleRate: must be an integer from 1 to 768000 (Hz), not 0"},
        {WithKeys(R"("sound": {"Rate": 0}, )" + tracks), "/sound/Rate: there is no key \"Rate\" here"},
        {WithKeys(R"("tracks": {})"), "/tracks: must be a list, not an object"},
        {WithKeys(R"("tracks": [])"), "/tracks: nothing lies on the timeline"},
        {WithKeys(R"("tracks": [{"kind": "video", "items": []}])"), "/tracks: nothing lies on the timeline"},
        {WithKeys(R"("tracks": [{"items": []}])"), "/tracks/0: the key \"kind\" is missing"},
        {WithKeys(R"("tracks": [{"kind": "text", "items": []}])"),
         "/tracks/0/kind: must be \"video\" or \"audio\", not \"text\""},
        {WithKeys(R"("tracks": [{"kind": "video"}])"), "/tracks/0: the key \"items\" is missing"},
    });
}

TEST(OwnTimeline, RefusesABadClip) {
    std::string const wrongTime =
        "must be a time up to 30 days: an integer (us), or a text like \"1:10.5\", \"2s\", \"500ms\" or \"50f\" "
        "(frames), not ";
    std::string const in = "/tracks/0/items/0/in: " + wrongTime;
    std::string const number = in + "\"5\"", fraction = in + "1.5", negative = in + "-1", large = in + "2592000000001",
                      signedFrames = in + "\"-1f\"", manyFrames = in + "\"999999999999999999f\"";
    auto const clip = [](std::string const& keys) { return WithItems(Clip(keys)); };
    ExpectRefused({
        {WithItems("1"), "/tracks/0/items/0: must be an object, not 1"},
        {WithItems("{}"), "/tracks/0/items/0: the key \"type\" is missing"},
        {WithItems(R"({"type": "still"})"),
         "/tracks/0/items/0/type: must be \"clip\", \"gap\" or \"transition\", not \"still\""},
        {WithItems(R"({"type": "clip", "duration": 1})"), "/tracks/0/items/0: the key \"file\" is missing"},
        {WithItems(R"({"type": "clip", "file": "", "duration": 1})"),
         "/tracks/0/items/0/file: the name of the file is empty"},
        {WithItems(R"({"type": "clip", "file": "a\u0000b", "duration": 1})"),
         "/tracks/0/items/0/file: the name of the file has a byte 0 in it"},
        {clip(R"("name": "x")"), "/tracks/0/items/0: the key \"duration\" is missing"},
        {clip(R"("volume": 1, "duration": 1)"), "/tracks/0/items/0/volume: there is no key \"volume\" here"},
        {WithItems(Clip(R"("freeze": true, "duration": 1)"), "audio"),
         "/tracks/0/items/0/freeze: there is no key \"freeze\" here"},
        {WithItems(Clip(R"("opacity": 1, "duration": 1)"), "audio"),
         "/tracks/0/items/0/opacity: there is no key \"opacity\" here"},
        {clip(R"("stream": "audio", "duration": 1)"),
         "/tracks/0/items/0/stream: a track of video has no place for a stream of audio"},
        {clip(R"("stream": -1, "duration": 1)"),
         "/tracks/0/items/0/stream: must be \"video\", \"audio\" or \"subtitle\", each also with \":N\" for the N-th "
         "from 0, or the index of a stream, not -1"},
        {clip(R"("in": "5", "duration": 1)"), number.c_str()},
        {clip(R"("in": 1.5, "duration": 1)"), fraction.c_str()},
        {clip(R"("in": -1, "duration": 1)"), negative.c_str()},
        {clip(R"("in": 2592000000001, "duration": 1)"), large.c_str()},
        {clip(R"("in": "-1f", "duration": 1)"), signedFrames.c_str()},
        {clip(R"("in": "999999999999999999f", "duration": 1)"), manyFrames.c_str()},
        {WithKeys(R"("tracks": [{"kind": "video", "items": [)" + Clip(R"("duration": "5f")") + "]}]"),
         "/tracks/0/items/0/duration: \"5f\" counts frames, and the timeline states no frameRate"},
        {clip(R"("out": 1, "duration": 1)"), "/tracks/0/items/0/duration: \"out\" tells already how long the clip is"},
        {clip(R"("in": 5, "out": 5)"),
         "/tracks/0/items/0/out: the end of the clip, 5 us, is not behind its begin, 5 us"},
        {clip(R"("out": 1, "speed": 0)"),
         "/tracks/0/items/0/speed: must be a number from 0.01 to 100, or below 0 to play backwards, not 0"},
        {clip(R"("out": 1, "speed": 101)"), "/tracks/0/items/0/speed: must be a number from -100 to 100, not 101"},
        {clip(R"("out": 1, "speed": "nan")"),
         "/tracks/0/items/0/speed: must be a number from -100 to 100, not \"nan\""},
        {clip(R"("out": 1, "speed": 100)"), "/tracks/0/items/0: it lasts less than a microsecond"},
        {clip(R"("duration": 0)"), "/tracks/0/items/0: it lasts less than a microsecond"},
        {clip(R"("freeze": 1, "duration": 1)"), "/tracks/0/items/0/freeze: must be true or false, not 1"},
        {clip(R"("freeze": true, "speed": 1, "duration": 1)"),
         "/tracks/0/items/0/speed: a clip that is frozen has no speed"},
        {clip(R"("freeze": true, "out": 1)"),
         "/tracks/0/items/0/out: a clip that is frozen shows the picture at \"in\" for its \"duration\""},
        {clip(R"("opacity": 1.1, "duration": 1)"), "/tracks/0/items/0/opacity: must be a number from 0 to 1, not 1.1"},
        {WithItems(Clip(R"("volume": 1000001, "duration": 1)"), "audio"),
         "/tracks/0/items/0/volume: must be an integer from -1000000 to 1000000 (percent), not 1000001"},
        {WithItems(Clip(R"("duration": 2592000000000)") + "," + Clip(R"("duration": 1)")),
         "/tracks/0/items/1: the track is longer than 30 days here"},
    });
}

TEST(OwnTimeline, RefusesABadEffect) {
    auto const effect = [](std::string const& keys) {
        return WithItems(Clip(R"("duration": 1000, "effects": [{)" + keys + "}]"));
    };
    ExpectRefused({
        {WithItems(Clip(R"("duration": 1, "effects": {})")),
         "/tracks/0/items/0/effects: must be a list, not an object"},
        {effect(R"("settings": {})"), "/tracks/0/items/0/effects/0: the key \"name\" is missing"},
        {effect(R"("name": "")"), "/tracks/0/items/0/effects/0/name: there is no effect \"\""},
        {effect(R"("name": "fad")"),
         "/tracks/0/items/0/effects/0/name: there is no effect \"fad\"; did you mean \"fade\"?"},
        {effect(R"("name": "dissolve")"),
         "/tracks/0/items/0/effects/0/name: the effect \"dissolve\" needs several streams: it can't stand on one clip"},
        {effect(R"("name": "audio-fade")"),
         "/tracks/0/items/0/effects/0/name: the effect \"audio-fade\" can't stand on a track of video"},
        {effect(R"("name": "fade", "implementation": "None")"),
         "/tracks/0/items/0/effects/0/implementation: the effect \"fade\" has no implementation \"None\""},
        {effect(R"("name": "stamp")"), "/tracks/0/items/0/effects/0: the setting \"file\" is missing"},
        {effect(R"("name": "color", "settings": {"contrast": 5})"),
         "/tracks/0/items/0/effects/0/settings/contrast: must be a number from 0 to 4, not 5"},
        {effect(R"("name": "color", "settings": {"contrst": 1})"),
         "/tracks/0/items/0/effects/0/settings/contrst: there is no key \"contrst\" here; did you mean \"contrast\"?"},
        {effect(R"("name": "fade", "settings": [])"),
         "/tracks/0/items/0/effects/0/settings: must be an object, not a list"},
        {effect(R"("name": "fade", "end": 1001)"),
         "/tracks/0/items/0/effects/0/end: the effect ends at 1001 us, out of the clip, which lasts 1000 us"},
        {effect(R"("name": "fade", "begin": 1000)"),
         "/tracks/0/items/0/effects/0/begin: the effect ends at 1000 us, not behind its begin at 1000 us"},
        {effect(R"("name": "fade", "end": 0)"),
         "/tracks/0/items/0/effects/0/end: the effect ends at 0 us, not behind its begin at 0 us"},
        {effect(R"("name": "fade", "start": 0)"), "/tracks/0/items/0/effects/0/start: there is no key \"start\" here"},
    });
}

TEST(OwnTimeline, RefusesATransitionWithoutClipsOrRoom) {
    std::string const clip = Clip(R"("duration": 1000)");
    auto const transition = [](std::string const& keys) { return R"({"type": "transition", )" + keys + "}"; };
    std::string const good = transition(R"("before": 10, "after": 10)");
    std::string const gap = R"({"type": "gap", "duration": 5})";
    ExpectRefused({
        {WithItems(good), "/tracks/0/items/0: a transition needs a clip ahead of it"},
        {WithItems(gap + "," + good + "," + clip), "/tracks/0/items/1: a transition needs a clip ahead of it"},
        {WithItems(clip + "," + good), "/tracks/0/items/1: a transition needs a clip behind it"},
        {WithItems(clip + "," + good + "," + gap), "/tracks/0/items/2: a transition needs a clip behind it, not a gap"},
        {WithItems(clip + "," + good + "," + good), "/tracks/0/items/2: a transition needs a clip ahead of it"},
        {WithItems(clip + "," + transition(R"("kind": "wipe", "after": 1)") + "," + clip),
         "/tracks/0/items/1/kind: must be \"dissolve\", not \"wipe\""},
        {WithItems(clip + "," + transition(R"("before": 0)") + "," + clip),
         "/tracks/0/items/1: the transition lasts no time: it needs \"before\" or \"after\""},
        {WithItems(clip + "," + transition(R"("before": 1001)") + "," + clip),
         "/tracks/0/items/1: the transition begins 1001 us ahead of the cut, out of the clip there, which lasts 1000 "
         "us"},
        {WithItems(clip + "," + transition(R"("after": 1001)") + "," + clip),
         "/tracks/0/items/1: the transition ends 1001 us behind the cut, out of the clip there, which lasts 1000 us"},
        {WithItems(clip + "," + transition(R"("after": 600)") + "," + clip + "," + transition(R"("before": 500)") +
                   "," + clip),
         "/tracks/0/items/3: the transition begins at 1500 us, ahead of the end of the one before, 1600 us"},
        {WithItems(gap + "," + R"({"type": "gap"})"), "/tracks/0/items/1: the key \"duration\" is missing"},
    });
}

TEST(OwnTimeline, TransitionsMayMeetWithinAClip) {
    std::string const clip = Clip(R"("duration": 1000)");
    std::string const transition = R"({"type": "transition", "before": 500, "after": 500})";
    auto const timeline = Read(WithItems(clip + "," + transition + "," + clip + "," + transition + "," + clip));
    ASSERT_EQ(timeline.tracks[0].transitions.size(), 2U);
    EXPECT_EQ(timeline.tracks[0].transitions[1].left, 1U);
}

TEST(OwnTimeline, ItsSizeIsBounded) {
    std::string const large(33554433, ' ');
    std::string deep;
    for (int i = 0; i < 100; ++i) deep += "[";
    std::string many = "{\"format\": [0";
    for (int i = 0; i < 2000000; ++i) many += ",0";
    std::string clips = Clip(R"("duration": 1)");
    for (int i = 0; i < 100000; ++i) clips += "," + Clip(R"("duration": 1)");
    std::string tracks = R"({"kind": "video", "items": []})";
    for (int i = 0; i < 999; ++i) tracks += R"(,{"kind": "video", "items": []})";
    ExpectRefused({
        {large, "the timeline is larger than 33554432 bytes"},
        {many + "]}", "the timeline has more than 2000000 values"},
        {WithItems(clips), "/tracks/0/items/100000: a timeline has 100000 clips at most"},
        {WithKeys("\"tracks\": [" + tracks + R"(,{"kind": "video", "items": []}])"),
         "/tracks: a timeline has 1000 tracks at most"},
    });
    std::string const error =
        MessageOf<GraphException>([&] { ReadTimelineText(WithKeys("\"tracks\": " + deep), TimelineForm::Own); });
    EXPECT_NE(error.find("values stand more than 64 deep in one another"), std::string::npos) << error;
}

}  // namespace
}  // namespace Tarsel::Host
