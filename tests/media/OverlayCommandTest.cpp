// What a person types at `tarsel overlay`, and what it answers.
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "contracts/Core/Time.h"
#include "tests/media/OverlaySupport.h"
#include "tests/support/SoundMeasure.h"

namespace Tarsel::Test {
namespace {

using Json = nlohmann::json;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

std::string Logo() {
    return Flat("logo.png", ROSE, "32x16", {"-frames:v", "1"});
}

/// Two seconds of moving pictures with sound, a subtitle and a title.
std::string Film() {
    std::string const lines = MakeTextFile("overlay-lines.srt", "1\n00:00:00,500 --> 00:00:01,500\nOne\n");
    return MakeClip("overlay-film.mkv", {"-f",   "lavfi", "-i",        "testsrc2=s=128x96:r=25:d=2,format=yuv420p",
                                         "-f",   "lavfi", "-i",        "sine=f=440:r=48000:d=2",
                                         "-i",   lines,   "-map",      "0",
                                         "-map", "1",     "-map",      "2",
                                         "-c:v", "ffv1",  "-c:a",      "flac",
                                         "-c:s", "srt",   "-metadata", "title=A film"});
}

std::vector<Bytes> PayloadsOf(std::string const& path, int stream) {
    std::vector<Bytes> payloads;
    auto const file = InspectFile(path);
    for (auto const& packet : file.streams.at(static_cast<std::size_t>(stream)).packets)
        payloads.push_back(packet.data);
    return payloads;
}

/// As the container tells it, on a line of its own.
std::string PixelAspectOf(std::string const& path) {
    return RunProgram({"ffprobe", "-v", "error", "-show_entries", "stream=sample_aspect_ratio", "-of", "csv=p=0", path})
        .output;
}

TEST_F(Overlay, MistakesExitWithTwoAndNameTheText) {
    std::string const out = folder / "out.mkv";
    auto const refuses = [&](std::vector<std::string> const& more, std::string const& named) {
        std::vector<std::string> arguments{"overlay", Film(), "-o", out};
        arguments.insert(arguments.end(), more.begin(), more.end());
        auto const result = RunTarsel(arguments);
        EXPECT_EQ(2, result.exitCode) << CommandText(arguments);
        EXPECT_THAT(result.errors, HasSubstr(named)) << CommandText(arguments);
    };
    refuses({}, "--with is required");
    refuses({"--with", "logo.png"}, "--with: \"logo.png\": there is no \"@X,Y\" behind the file");
    refuses({"--with", Logo() + "@0,0", "--with", "b.png@1"}, "--with: \"b.png@1\": behind \"@\" must stand X,Y");
    refuses({"--with", "b.png@1,2,alpha=2"}, "--with: \"b.png@1,2,alpha=2\": alpha: \"2\" is not a number from 0 to 1");
    refuses({"--with", "a.png@0,0", "--video-codec", "aac"}, "--video-codec");
    auto const result = RunTarsel({"overlay", Film(), "--with", "a.png@0,0"});
    EXPECT_EQ(2, result.exitCode);
    EXPECT_THAT(result.errors, HasSubstr("--output is required"));
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST_F(Overlay, WhatOnlyTheFilesShowExitsWithOneAndNamesTheText) {
    std::string const sound = SoundClip("overlay-sound.wav", "sine=d=1");
    std::string const text = MakeTextFile("overlay-no-picture.png", "no picture");
    std::string const out = folder / "out.mkv";
    for (auto const& [main, with, named] : std::vector<std::array<std::string, 3>>{
             {Film(), "/nowhere.png@0,0", "\"/nowhere.png@0,0\": /nowhere.png: "},
             {Film(), sound + "@0,0", '"' + sound + "@0,0\": " + sound + ": there is no picture in it"},
             {Film(), text + "@0,0", '"' + text + "@0,0\": " + text},
             {sound, Logo() + "@0,0", sound + ": there is no video in it\n"},
             {"/nowhere.mp4", Logo() + "@0,0", "/nowhere.mp4"}}) {
        auto const result = RunTarsel({"overlay", main, "--with", with, "-o", out});
        EXPECT_EQ(1, result.exitCode) << with;
        EXPECT_THAT(result.errors, HasSubstr(named)) << with;
    }
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST_F(Overlay, FileWhosePictureCantBeDecodedIsNamed) {
    std::string const broken = folder / "broken.png";
    std::ofstream(broken, std::ios::binary) << ReadWholeFile(Logo()).substr(0, 60);
    auto const result = RunTarsel({"overlay", Film(), "--with", broken + "@0,0", "-o", folder / "out.mkv"});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_THAT(result.errors, HasSubstr(broken));
    EXPECT_THAT(result.errors, HasSubstr("gives no picture to draw"));
    EXPECT_THAT(folder.List(), ElementsAre("broken.png"));
}

TEST_F(Overlay, OutputMayBeNeitherTheMainNorADrawnFile) {
    std::string const main = folder / "main.mkv";
    std::string const drawn = folder / "drawn.mkv";
    for (auto const& [from, to] : {std::pair{Film(), main}, {Counter(), drawn}})
        RunFFmpeg({"-i", from, "-c", "copy", to});
    for (std::string const& out : {main, drawn}) {
        std::string const before = ReadWholeFile(out);
        auto const result = RunTarsel({"overlay", main, "--with", drawn + "@0,0", "-o", out, "--force"});
        EXPECT_EQ(1, result.exitCode) << out;
        EXPECT_THAT(result.errors, HasSubstr(out));
        EXPECT_EQ(before, ReadWholeFile(out));
    }
    EXPECT_THAT(folder.List(), ElementsAre("drawn.mkv", "main.mkv"));
}

TEST_F(Overlay, FileThatStandsThereIsReplacedWithForceAlone) {
    std::string const out = folder / "out.mkv";
    RunFFmpeg({"-i", Counter(), "-c", "copy", out});
    std::string const before = ReadWholeFile(out);
    auto const result = RunTarsel({"overlay", Film(), "--with", Logo() + "@0,0", "-o", out});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_EQ(before, ReadWholeFile(out));
}

TEST_F(Overlay, OddPlacesAreToldAndDrawnAtTheEvenOnesBelow) {
    std::string const with = Logo() + "@21,-3";
    Make(Film(), {with});
    EXPECT_THAT(errors, HasSubstr("warning: \"" + with + "\": it is drawn at 20,-4: only even places can be drawn at"));
    Make(Film(), {Logo() + "@20,-4"});
    EXPECT_THAT(errors, Not(HasSubstr("warning")));
    auto const strict = RunTarsel({"overlay", Film(), "--with", with, "-o", folder / "s.mkv", "--strict"});
    EXPECT_EQ(3, strict.exitCode);
    Json const report = ParseOutput(RunTarsel({"overlay", Film(), "--with", with, "-o", folder / "j.mkv", "--json"}));
    EXPECT_THAT(report.at("warnings").dump(), HasSubstr("only even places"));
}

TEST_F(Overlay, WhatMeansNothingIsTold) {
    Make(Film(), {Logo() + "@0,0,loop"});
    EXPECT_THAT(errors, HasSubstr("a still picture stays to the end: it doesn't loop"));
    Make(Film(), {Logo() + "@128,0"});
    EXPECT_THAT(errors, HasSubstr("it lies outside of the picture, which is 128x96"));
    Make(Film(), {Logo() + "@-32,0"});
    EXPECT_THAT(errors, HasSubstr("it lies outside of the picture"));
    Make(Film(), {Logo() + "@-30,94"});
    EXPECT_THAT(errors, Not(HasSubstr("outside")));
    for (std::string const start : {"2", "1:00"}) {
        Make(Film(), {Logo() + "@0,0,start=" + start});
        EXPECT_THAT(errors, HasSubstr("it starts where MAIN has no pictures any more: they end at 00:02.000"));
    }
    Make(Film(), {Logo() + "@0,0,start=1.96"});
    EXPECT_THAT(errors, Not(HasSubstr("warning")));
}

std::string Photograph() {
    return MakeClip("overlay-photograph.jpg", {"-i", Film(), "-frames:v", "1"});
}

/// A photograph whose EXIF data (TIFF 6.0, tag 0x0112) asks for a turn to the right.
std::string TurnedPhotograph(std::string const& path) {
    std::string const exif("Exif\0\0MM\0*\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0\x06\0\0\0\0\0\0", 32);
    std::string const head = std::string("\xFF\xE1\0", 3) + static_cast<char>(exif.size() + 2) + exif;
    std::ofstream(path, std::ios::binary) << ReadWholeFile(Photograph()).insert(2, head);
    return path;
}

TEST_F(Overlay, PhotographThatAsksToBeTurnedIsTold) {
    std::string const with = TurnedPhotograph(folder / "turned.jpg") + "@20,20";
    Make(Film(), {with});
    EXPECT_THAT(errors, HasSubstr('"' + with + "\": its file asks players to turn the picture"));
    Make(Film(), {Photograph() + "@20,20"});
    EXPECT_THAT(errors, Not(HasSubstr("warning")));
}

TEST_F(Overlay, TurnsThatFilesAskForAreTold) {
    std::string const plain =
        MakeClip("overlay-turn-source.mp4", {"-i", Film(), "-map", "0:v", "-c:v", "libx264", "-crf", "5"});
    std::string const turned =
        MakeClip("overlay-turned.mp4", {"-i", plain, "-c", "copy", "-metadata:s:v:0", "rotate=90"});
    ASSERT_NE(0, InspectFile(turned).streams.at(0).rotation);
    std::string const with = turned + "@20,20";
    Make(Film(), {with});
    EXPECT_THAT(
        errors,
        HasSubstr('"' + with + "\": its file asks players to turn the picture: it is drawn as it lies in the file\n"));
    Make(turned, {Logo() + "@20,20"}, {"--quality", "0"}, "main.mp4");
    EXPECT_THAT(errors, HasSubstr("stream #0 (video, h264): its file asks players to turn the picture: what is drawn "
                                  "turns with it\n"));
    Make(plain, {plain + "@20,20"}, {"--quality", "0"}, "plain.mp4");
    EXPECT_THAT(errors, Not(HasSubstr("warning")));
}

TEST_F(Overlay, StartsCountFromTheFirstPictureOfTheMainFilm) {
    std::string const late = MakeClip("overlay-late.mkv", {"-f", "lavfi", "-i", "sine=d=3", "-itsoffset", "0.8", "-i",
                                                           Ground(), "-map", "1", "-map", "0", "-c", "copy"});
    auto const seen = LumasAt(Make(late, {Counter("25", 50) + "@20,20,start=1"}), 24, 24);
    ASSERT_EQ(50U, seen.size());
    EXPECT_EQ(25, std::count(seen.begin(), seen.begin() + 25, GROUND));
    EXPECT_EQ(20, seen[25]);
    EXPECT_THAT(errors, Not(HasSubstr("warning")));
    Make(late, {Counter() + "@20,20,start=2"});
    EXPECT_THAT(errors, HasSubstr("it starts where MAIN has no pictures any more: they end at 00:02.000"));
}

TEST_F(Overlay, AllVideoStreamsOfTheMainFilmAreDrawnOnAndEachWarningIsToldOnce) {
    std::string const main =
        MakeClip("overlay-two-videos.mkv", {"-i", Ground(), "-i", Film(), "-map", "0:v", "-map", "1:v", "-c", "copy"});
    std::string const with = Logo() + "@21,20,loop";
    std::string const path = Make(main, {with});
    for (char const* const warning : {"it is drawn at 20,20: only even places can be drawn at",
                                      "a still picture stays to the end: it doesn't loop"}) {
        std::size_t const first = errors.find(warning);
        ASSERT_NE(std::string::npos, first) << warning;
        EXPECT_EQ(std::string::npos, errors.find(warning, first + 1)) << errors;
    }
    std::vector<std::vector<DecodedPicture>> streams;
    for (int const stream : {0, 1}) {
        Messages messages;
        streams.push_back(DecodePictures(path, stream, messages));
        EXPECT_THAT(messages, IsEmpty());
        ASSERT_EQ(50U, streams.back().size());
    }
    EXPECT_EQ(GROUND, LumaAt(streams[0][7], 60, 60)) << "the first one";
    auto const film = PicturesOf(Film());
    auto const alone = PicturesOf(Make(Film(), {Logo() + "@20,20"}, {"--quality", "0"}, "alone.mkv"));
    for (std::size_t i = 0; i < 50; ++i) {
        EXPECT_NE(GROUND, LumaAt(streams[0][i], 24, 24)) << i;
        EXPECT_NE(film.at(i).pixels, streams[1][i].pixels) << i;
        EXPECT_EQ(alone.at(i).pixels, streams[1][i].pixels) << i;
    }
}

TEST_F(Overlay, MainFilmInGpuMemoryHasTheAspectOfItsContainer) {
    // The pictures say that their pixels are square; the container knows better.
    std::string const square = MakeClip("overlay-square.mp4", {"-i", Ground("25", "1"), "-vf", "setsar=1", "-c:v",
                                                               "libx264", "-crf", "5", "-pix_fmt", "yuv420p"});
    std::string const wide = MakeClip("overlay-wide.mp4", {"-i", square, "-c", "copy", "-aspect", "8:3"});
    ASSERT_EQ("2:1\n", PixelAspectOf(wide));
    std::string const graph = MakeTextFile("overlay-gpu.json", R"({
        "sources": [{"id": 1, "file": "${IN}", "stream": "video"}, {"id": 2, "file": "${IN2}", "stream": "video"}],
        "filters": [
          {"id": 3, "class": "FilterApplyEffectsVideo", "inputs": [1], "settings": {"Effects": [{"effect": "upload"}]}},
          {"id": 4, "class": "SettingsFilterVideoMixer", "inputs": [3, 2],
           "settings": {"Overlays": [{"X": 20, "Y": 20, "FirstFrame": true}]}}],
        "output": {"file": "${OUT}", "streams": [{"input": 4, "codec": "h264", "quality": 0}]}})");
    std::string const out = folder / "out.mkv";
    auto const result =
        RunTarsel({"run", graph, "--set", "IN=" + wide, "--set", "IN2=" + Logo(), "--set", "OUT=" + out});
    ASSERT_EQ(0, result.exitCode) << result.errors;
    auto const pictures = PicturesOf(out);
    ASSERT_EQ(25U, pictures.size());
    // Half as many pixels across, since each is twice as wide.
    for (auto const& [x, drawn] : {std::pair{18, false}, {22, true}, {34, true}, {38, false}})
        EXPECT_EQ(drawn, LumaAt(pictures[9], x, 28) < GROUND - 20) << x;
    EXPECT_EQ("2:1\n", PixelAspectOf(out));
}

TEST_F(Overlay, SoundSubtitlesAndTitleGoAlongAndLengthStays) {
    std::string const path = Make(Film(), {Logo() + "@20,20"});
    auto const own = InspectFile(path);
    auto const film = InspectFile(Film());
    ASSERT_EQ(3U, own.streams.size());
    EXPECT_EQ("h264", own.streams[0].codec);
    EXPECT_EQ(PayloadsOf(Film(), 1), PayloadsOf(path, 1));
    EXPECT_EQ(PayloadsOf(Film(), 2), PayloadsOf(path, 2));
    EXPECT_EQ(film.duration, own.duration);
    EXPECT_EQ("A film", own.metadata.at("title"));
    EXPECT_EQ(TimesOf(PicturesOf(Film())), TimesOf(PicturesOf(path)));
}

TEST_F(Overlay, NamesWithAtSignsAndCommasAreUsable) {
    std::string const logo = folder / "me@home, small.png";
    RunFFmpeg({"-i", Logo(), logo});
    std::string const path = Make(Film(), {logo + "@20,20"});
    EXPECT_EQ(PicturesOf(Make(Film(), {Logo() + "@20,20"}, {"--quality", "0"}, "plain.mkv")).at(7).pixels,
              PicturesOf(path).at(7).pixels);
}

TEST_F(Overlay, NamesThatLookLikePatternsMeanTheFileItself) {
    std::string const plain = Make(Film(), {Logo() + "@20,20"}, {"--quality", "0"}, "plain.mkv");
    std::string const other = Flat("logo-other.png", {10, 200, 10, 255}, "32x16", {"-frames:v", "1"});
    for (std::string const name : {"1.png", "2.png"}) std::filesystem::copy_file(other, folder / name);
    for (std::string const name : {"%d.png", "%03d-logo.png", "100%.png", "logo*.png", "a?[1].png"}) {
        std::filesystem::copy_file(Logo(), folder / name);
        std::string const path = Make(Film(), {folder / name + "@20,20"});
        EXPECT_THAT(errors, Not(HasSubstr("warning"))) << name;
        EXPECT_EQ(PicturesOf(plain).at(7).pixels, PicturesOf(path).at(7).pixels) << name;
    }
}

TEST_F(Overlay, PrintedGraphPlaysToTheSamePictures) {
    std::vector<std::string> const with{Counter() + "@20,20,loop,start=0.4", Logo() + "@60,20,blink=0.4/0.2,alpha=0.5",
                                        Counter() + "@0,60,size=40x,start=0.2"};
    std::string const path = Make(Film(), with);
    Make(Film(), with, {"--quality", "0", "--print-graph"}, "printed.mkv");
    std::string const graph = MakeTextFile("overlay-printed.json", output);
    std::string const played = folder / "printed.mkv";
    auto const result = RunTarsel({"run", graph});
    EXPECT_EQ(0, result.exitCode) << result.errors;
    auto const own = PicturesOf(path);
    auto const theirs = PicturesOf(played);
    ASSERT_EQ(own.size(), theirs.size());
    for (std::size_t i = 0; i < own.size(); ++i) EXPECT_EQ(own[i].pixels, theirs[i].pixels) << i;
    Json const mixer = Json::parse(output).at("filters").back();
    EXPECT_EQ("SettingsFilterVideoMixer", mixer.at("class"));
    Json const entries = mixer.at("settings").at("Overlays");
    ASSERT_EQ(3U, entries.size());
    EXPECT_EQ("Blink", entries[1].at("Transparency"));
    EXPECT_EQ(128, entries[1].at("Alpha"));
    EXPECT_EQ(400000, entries[1].at("ShowDuration"));
    EXPECT_EQ(200000, entries[1].at("HideDuration"));
    EXPECT_EQ(true, entries[1].at("FirstFrame"));
    EXPECT_EQ(false, entries[0].at("FirstFrame"));
    EXPECT_EQ(true, entries[0].at("Loop"));
}

TEST_F(Overlay, ExampleGraphsPlay) {
    for (std::string const name : {"overlay.json", "picture-in-picture.json"}) {
        std::string const out = folder / name + ".mkv";
        auto const result = RunTarsel({"run", std::string(TARSEL_EXAMPLES) + "/" + name, "--set", "IN=" + Film(),
                                       "--set", "IN2=" + Counter("25", 20), "--set", "OUT=" + out});
        EXPECT_EQ(0, result.exitCode) << result.errors;
        EXPECT_EQ(50U, PicturesOf(out).size()) << name;
    }
}

TEST_F(Overlay, StatisticsTellOfTheMixerAndOfWhatItDraws) {
    Make(Film(), {Counter() + "@0,0"}, {"--json", "--stats"});
    Json const report = Json::parse(output);
    EXPECT_THAT(report.dump(), HasSubstr("Tarsel::Proc::FilterVideoMixer::GetStatistic"));
    EXPECT_THAT(report.dump(), HasSubstr("Main stream color space"));
    Json const& nodes = report.at("nodes");
    auto const mixer = std::find_if(nodes.begin(), nodes.end(),
                                    [](Json const& node) { return node.at("class") == "SettingsFilterVideoMixer"; });
    ASSERT_NE(nodes.end(), mixer);
    EXPECT_EQ(50, mixer->at("items"));
}

TEST_F(Overlay, DrawingShowsTheMixerBetweenItsInputs) {
    auto const result = RunTarsel({"run", std::string(TARSEL_EXAMPLES) + "/overlay.json", "--set", "IN=" + Film(),
                                   "--set", "IN2=" + Logo(), "--set", "OUT=x.mkv", "--graph", "dot"});
    EXPECT_EQ(0, result.exitCode) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("n1 -> n11"));
    EXPECT_THAT(result.output, HasSubstr("n3 -> n11"));
}

TEST_F(Overlay, HelpTellsTheOptionsWithExamples) {
    auto const help = RunTarsel({"overlay", "--help"}).output;
    for (char const* const part : {"  tarsel overlay film.mp4 --with logo.png@20,20,alpha=0.6 -o branded.mp4",
                                   "start=T", "blink=SHOW/HIDE", "size=WxH"})
        EXPECT_THAT(help, HasSubstr(part));
    EXPECT_THAT(RunTarsel({"--help"}).output, HasSubstr("overlay"));
}

TEST_F(Overlay, DryRunWritesNothing) {
    auto const result =
        RunTarsel({"overlay", Film(), "--with", Logo() + "@0,0", "-o", folder / "out.mkv", "--dry-run", "--json"});
    EXPECT_EQ(0, result.exitCode) << result.errors;
    EXPECT_THAT(folder.List(), IsEmpty());
}

}  // namespace
}  // namespace Tarsel::Test
