// What a person types at `tarsel render`, and what comes of it.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "tests/support/Tarsel.h"
#include "tests/support/TestMedia.h"
#include "tests/support/TimelineClips.h"

namespace Tarsel::Test {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class RenderCommand : public ::testing::Test {
  protected:
    std::string Write(std::string const& name, nlohmann::json const& document) const {
        std::ofstream(folder / name) << document.dump(2);
        return folder / name;
    }
    static nlohmann::json Clip(std::string const& file, std::string const& in, std::string const& duration) {
        return {{"type", "clip"}, {"name", "shot"}, {"file", file}, {"in", in}, {"duration", duration}};
    }
    /// By count: compilers differ in what they make of a lone object in braces.
    std::vector<nlohmann::json> LevelSound() const { return std::vector(1, Clip(LevelClip(500), "0s", "1s")); }
    /// A track of pictures and one of sound.
    static nlohmann::json Document(std::vector<nlohmann::json> const& pictures,
                                   std::vector<nlohmann::json> const& sound) {
        return {{"format", "tarsel timeline"},
                {"version", 1},
                {"tracks", {{{"kind", "video"}, {"items", pictures}}, {{"kind", "audio"}, {"items", sound}}}}};
    }
    nlohmann::json Plain() const {
        return Document({Clip(NumberedClip(), "400ms", "1s"), {{"type", "gap"}, {"duration", "200ms"}}}, LevelSound());
    }
    ProgramResult Render(std::string const& timeline, std::vector<std::string> more = {}) {
        std::vector<std::string> arguments{"render", timeline,        "-o",       folder / "out.mkv", "--quality",
                                           "0",      "--audio-codec", "pcm_s16le"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return RunTarsel(arguments);
    }

    ScratchFolder folder;
};

TEST_F(RenderCommand, RendersATimelineFileAndTellsWhatItDid) {
    auto const result = Render(Write("edit.json", Plain()), {"--json"});
    EXPECT_EQ(0, result.exitCode) << result.errors;
    auto const report = ParseOutput(result);
    EXPECT_EQ(folder / "out.mkv", report["output"]);
    EXPECT_EQ("matroska", report["container"]);
    EXPECT_EQ(1200000, report["duration_us"]);
    EXPECT_EQ(2, report["clips"]);
    EXPECT_EQ(2, report["files"]);
    EXPECT_EQ(nlohmann::json({{"frames", 30}, {"frame_rate", "25/1"}, {"width", 32}, {"height", 24}}), report["video"]);
    EXPECT_EQ(nlohmann::json({{"samples", 57600}, {"sample_rate", 48000}}), report["audio"]);
    EXPECT_EQ(2U, report["streams"].size());
    EXPECT_EQ("h264", report["streams"][0]["codec"]);
    EXPECT_EQ(1200000, report["streams"][0]["end_us"]);
    EXPECT_EQ(nlohmann::json::array(), report["warnings"]);
    EXPECT_EQ(Joined({Numbers(10, 35), Times(5, 16)}), LumasOf(folder / "out.mkv"));
    EXPECT_EQ(57600U, SoundOf(folder / "out.mkv", 1).samples.size());
}

TEST_F(RenderCommand, TellsPeopleInWords) {
    auto const result = Render(Write("edit.json", Plain()));
    EXPECT_EQ(folder / "out.mkv" +
                  ": matroska, 00:01.200, 2 clips of 2 files\n"
                  "pictures: 30 frames of 32x24 at 25/1\n"
                  "sound: 57600 samples at 48000 Hz\n"
                  "video h264: 30 packets\n"
                  "audio pcm_s16le: 57 packets\n",
              result.output);
    EXPECT_EQ("", result.errors);
}

TEST_F(RenderCommand, RendersOpenTimelineIO) {
    auto const range = [](int start, int duration) {
        auto const time = [](int value) {
            return nlohmann::json{{"OTIO_SCHEMA", "RationalTime.1"}, {"rate", 25.0}, {"value", double(value)}};
        };
        return nlohmann::json{
            {"OTIO_SCHEMA", "TimeRange.1"}, {"start_time", time(start)}, {"duration", time(duration)}};
    };
    auto const clip = [&](std::string const& file, int start, int duration, nlohmann::json effects) {
        return nlohmann::json{{"OTIO_SCHEMA", "Clip.1"},
                              {"name", "shot"},
                              {"source_range", range(start, duration)},
                              {"effects", std::move(effects)},
                              {"media_reference", {{"OTIO_SCHEMA", "ExternalReference.1"}, {"target_url", file}}}};
    };
    nlohmann::json const dissolve{{"OTIO_SCHEMA", "Transition.1"},
                                  {"transition_type", "SMPTE_Dissolve"},
                                  {"in_offset", {{"OTIO_SCHEMA", "RationalTime.1"}, {"rate", 25.0}, {"value", 2.0}}},
                                  {"out_offset", {{"OTIO_SCHEMA", "RationalTime.1"}, {"rate", 25.0}, {"value", 2.0}}}};
    nlohmann::json const backwards{{"OTIO_SCHEMA", "LinearTimeWarp.1"}, {"time_scalar", -1.0}};
    nlohmann::json const freeze{{"OTIO_SCHEMA", "FreezeFrame.1"}, {"time_scalar", 0.0}};
    nlohmann::json const document{{"OTIO_SCHEMA", "Timeline.1"},
                                  {"tracks",
                                   {{"OTIO_SCHEMA", "Stack.1"},
                                    {"children",
                                     {{{"OTIO_SCHEMA", "Track.1"},
                                       {"kind", "Video"},
                                       {"children",
                                        {clip(NumberedClip(), 10, 5, nlohmann::json::array()),
                                         {{"OTIO_SCHEMA", "Gap.1"}, {"source_range", range(0, 3)}},
                                         clip(NumberedClip(), 20, 4, nlohmann::json::array({backwards})),
                                         clip(NumberedClip(), 50, 3, nlohmann::json::array({freeze})),
                                         clip(PlainClip(100), 5, 5, nlohmann::json::array()),
                                         dissolve,
                                         clip(PlainClip(200), 5, 5, nlohmann::json::array())}}}}}}}};
    auto const result = Render(Write("edit.otio", document));
    EXPECT_EQ(0, result.exitCode) << result.errors;
    EXPECT_EQ("", result.errors);
    EXPECT_EQ(Joined({Numbers(10, 15),
                      Times(3, 16),
                      {39, 38, 37, 36},
                      Times(3, 66),
                      Times(3, 100),
                      {100, 125, 150, 175},
                      Times(3, 200)}),
              LumasOf(folder / "out.mkv"));
}

TEST_F(RenderCommand, StrictRunRefusesWhatCantBeCarriedBeforeAnythingIsWritten) {
    nlohmann::json const document{
        {"OTIO_SCHEMA", "Timeline.1"},
        {"tracks",
         {{"OTIO_SCHEMA", "Stack.1"},
          {"children",
           {{{"OTIO_SCHEMA", "Track.1"},
             {"kind", "Video"},
             {"children",
              {{{"OTIO_SCHEMA", "Clip.1"},
                {"name", "lost"},
                {"source_range",
                 {{"OTIO_SCHEMA", "TimeRange.1"},
                  {"start_time", {{"OTIO_SCHEMA", "RationalTime.1"}, {"rate", 25.0}, {"value", 0.0}}},
                  {"duration", {{"OTIO_SCHEMA", "RationalTime.1"}, {"rate", 25.0}, {"value", 10.0}}}}},
                {"media_reference", {{"OTIO_SCHEMA", "MissingReference.1"}}}}}}}}}}}};
    std::string const timeline = Write("edit.otio", document);
    auto const strict = Render(timeline, {"--strict", "--size", "32x24", "--rate", "25"});
    EXPECT_EQ(3, strict.exitCode);
    EXPECT_THAT(strict.errors, AllOf(HasSubstr("warning: " + timeline), HasSubstr("lost"),
                                     HasSubstr("nothing is rendered: --strict, and there are warnings")));
    EXPECT_THAT(folder.List(), ElementsAre("edit.otio"));
    auto const lenient = Render(timeline, {"--size", "32x24", "--rate", "25"});
    EXPECT_EQ(0, lenient.exitCode) << lenient.errors;
    EXPECT_THAT(lenient.errors, HasSubstr("lost"));
    EXPECT_EQ(Times(10, 16), LumasOf(folder / "out.mkv"));
    auto const refused = Render(timeline, {"--force"});
    EXPECT_EQ(1, refused.exitCode);
    EXPECT_THAT(refused.errors, AllOf(HasSubstr("clip \"lost\": its media is missing"),
                                      HasSubstr("there is no clip of pictures to take it from")));
}

TEST_F(RenderCommand, TurnThatAFileAsksForIsNamedWithItsClip) {
    std::string const timeline =
        Write("edit.json", Document(std::vector(1, Clip(TestMedia("h264-rotated.mp4"), "0s", "1s")), LevelSound()));
    EXPECT_EQ(3, Render(timeline, {"--strict"}).exitCode);
    EXPECT_THAT(folder.List(), ElementsAre("edit.json"));
    auto const lenient = Render(timeline, {"--dry-run"});
    EXPECT_EQ(0, lenient.exitCode) << lenient.errors;
    EXPECT_THAT(lenient.errors,
                HasSubstr("/tracks/0/items/0: clip \"shot\": its file asks players to turn the picture, which isn't "
                          "done here"));
}

TEST_F(RenderCommand, StrictRunRefusesMediaThatAreTooShort) {
    std::string const timeline =
        Write("edit.json", Document(std::vector(1, Clip(NumberedClip(), "3s", "2s")), LevelSound()));
    EXPECT_EQ(3, Render(timeline, {"--strict"}).exitCode);
    EXPECT_THAT(folder.List(), ElementsAre("edit.json"));
    auto const lenient = Render(timeline);
    EXPECT_EQ(0, lenient.exitCode);
    EXPECT_THAT(lenient.errors, HasSubstr("clip \"shot\": 1000000 us are missing behind its media"));
}

TEST_F(RenderCommand, SizeAndRateStandAboveTheTimelines) {
    auto const result = Render(Write("edit.json", Plain()), {"--size", "64x48", "--rate", "50", "--json"});
    EXPECT_EQ(0, result.exitCode) << result.errors;
    auto const report = ParseOutput(result);
    EXPECT_EQ(60, report["video"]["frames"]);
    EXPECT_EQ(64, report["video"]["width"]);
    std::vector<int> const lumas = LumasOf(folder / "out.mkv");
    ASSERT_EQ(60U, lumas.size());
    EXPECT_EQ(26, lumas[1]);
    EXPECT_EQ(27, lumas[2]);
}

TEST_F(RenderCommand, DryRunCountsEverythingAndWritesNothing) {
    auto const result = RunTarsel({"render", Write("edit.json", Plain()), "--dry-run", "--json"});
    EXPECT_EQ(0, result.exitCode) << result.errors;
    auto const report = ParseOutput(result);
    EXPECT_EQ(nullptr, report["output"]);
    EXPECT_EQ(30, report["streams"][0]["items"]);
    EXPECT_EQ(1200000, report["streams"][1]["end_us"]);
    EXPECT_THAT(folder.List(), ElementsAre("edit.json"));
}

TEST_F(RenderCommand, PlanIsPrintedAndNothingIsRendered) {
    auto const result = RunTarsel({"render", Write("edit.json", Plain()), "--print-plan"});
    EXPECT_EQ(0, result.exitCode) << result.errors;
    EXPECT_THAT(result.output, StartsWith("pictures: 30 frames at 25/1\n  order 0, frames 0 (0 us) to 25 (1000000 us)\n"
                                          "    clip \"shot\", "));
    EXPECT_THAT(result.output, HasSubstr("  black, frames 25 (1000000 us) to 30 (1200000 us)\n"));
    EXPECT_THAT(folder.List(), ElementsAre("edit.json"));
}

TEST_F(RenderCommand, SchemaIsPrinted) {
    auto const result = RunTarsel({"render", "--schema"});
    EXPECT_EQ(0, result.exitCode);
    EXPECT_EQ("object", nlohmann::json::parse(result.output)["type"]);
}

TEST_F(RenderCommand, MistakesOfUseAreToldBeforeAnythingIsOpened) {
    auto const refusal = [](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "render");
        auto const result = RunTarsel(arguments);
        EXPECT_EQ(2, result.exitCode) << CommandText(arguments);
        return result.errors;
    };
    EXPECT_THAT(refusal({}), HasSubstr("timeline: a timeline file is required"));
    EXPECT_THAT(refusal({"x.json"}), HasSubstr("-o: an output is required"));
    EXPECT_THAT(refusal({"x.json", "--schema"}), HasSubstr("--schema takes no timeline"));
    EXPECT_THAT(refusal({"x.json", "--print-plan", "--json"}), HasSubstr("--print-plan prints text, and no JSON"));
    EXPECT_THAT(refusal({"x.json", "-o", "y.mp4", "--size", "0x5"}), HasSubstr("\"0x5\" is not WxH"));
    EXPECT_THAT(refusal({"x.json", "-o", "y.mp4", "--size", "640"}), HasSubstr("\"640\" is not WxH"));
    EXPECT_THAT(refusal({"x.json", "-o", "y.mp4", "--rate", "25/0"}), HasSubstr("\"25/0\" is not N or N/D"));
    EXPECT_THAT(refusal({"x.json", "-o", "y.mp4", "--video-codec", "none"}), HasSubstr("--video-codec"));
    EXPECT_THAT(refusal({"x.json", "-o", "y.mp4", "--quality", "99"}), HasSubstr("--quality"));
    EXPECT_THAT(refusal({"x.json", "-o", "y.mp4", "--bitrate", "1"}), HasSubstr("--bitrate"));
}

TEST_F(RenderCommand, FailuresNameTheTimelineThePlaceAndTheClip) {
    std::string const timeline =
        Write("edit.json", Document({Clip(NumberedClip(), "0s", "1s"), Clip("none.mp4", "0s", "1s")}, LevelSound()));
    auto const result = Render(timeline);
    EXPECT_EQ(1, result.exitCode);
    EXPECT_THAT(result.errors, StartsWith("tarsel: " + timeline +
                                          ": /tracks/0/items/1: clip \"shot\": " + folder.GetPath() + "/none.mp4: "));
    EXPECT_THAT(folder.List(), ElementsAre("edit.json"));
}

TEST_F(RenderCommand, WhatStandsThereStaysUnlessForced) {
    std::ofstream(folder / "out.mkv") << "precious";
    std::string const timeline = Write("edit.json", Plain());
    EXPECT_EQ(1, Render(timeline).exitCode);
    EXPECT_EQ("precious", ReadWholeFile(folder / "out.mkv"));
    EXPECT_EQ(0, Render(timeline, {"--force"}).exitCode);
    EXPECT_EQ(30U, LumasOf(folder / "out.mkv").size());
}

TEST_F(RenderCommand, PlainContainersHoldTheTimelineToo) {
    for (std::string const name : {"out.mp4", "out.webm"}) {
        auto const result = RunTarsel({"render", Write("edit.json", Plain()), "-o", folder / name});
        EXPECT_EQ(0, result.exitCode) << result.errors;
        EXPECT_EQ(30U, LumasOf(folder / name).size()) << name;
    }
}

TEST_F(RenderCommand, ThousandClipsOfManyFilesNeedFewOpenFiles) {
    // A file of its own for every 16th clip; the names are what counts.
    std::string const pictures = NumberedClip();
    std::string const sound = LevelClip(500);
    std::vector<nlohmann::json> video;
    std::vector<nlohmann::json> audio;
    for (int i = 0; i < 64; ++i) {
        std::filesystem::create_hard_link(pictures, folder / ("v" + std::to_string(i) + ".mkv"));
        std::filesystem::create_hard_link(sound, folder / ("a" + std::to_string(i) + ".wav"));
    }
    for (int i = 0; i < 1000; ++i) {
        video.push_back(Clip("v" + std::to_string(i % 64) + ".mkv", std::to_string(i % 90) + "f", "2f"));
        audio.push_back(Clip("a" + std::to_string(i % 64) + ".wav", "0s", "2f"));
    }
    auto document = Document(video, audio);
    document["frameRate"] = 25;
    std::string const timeline = Write("edit.json", document);
    auto const result =
        RunProgram({"sh", "-c", "ulimit -n 48; exec \"$0\" render \"$1\" --dry-run --json", TarselPath(), timeline});
    EXPECT_EQ(0, result.exitCode) << result.errors;
    auto const report = ParseOutput(result);
    EXPECT_EQ(2000, report["video"]["frames"]);
    EXPECT_EQ(2000 * 1920, report["audio"]["samples"]);
    EXPECT_EQ(128, report["files"]);
}

}  // namespace
}  // namespace Tarsel::Test
