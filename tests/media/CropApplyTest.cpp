// What `tarsel crop --apply` writes of files that aren't plain: without bars, interlaced, damaged, for containers that
// don't hold everything.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <tuple>

#include "tests/media/CropFilms.h"

namespace Tarsel::Test {
namespace {

using Json = nlohmann::json;
using Proc::CropInfo;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class CropApply : public CropRun {
  protected:
    ProgramResult ApplyTo(std::string const& output, std::string const& input, std::vector<std::string> more = {}) {
        more.insert(more.begin(), {"crop", input, "--interval", "0.2", "--apply", "-o", output});
        return RunTarsel(more);
    }
};

std::size_t CountOf(std::string const& text, std::string const& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
    return count;
}

/// The first two thirds of the file.
std::string CutOff(std::string const& film, std::string const& path) {
    std::filesystem::copy_file(film, path);
    std::filesystem::resize_file(path, std::filesystem::file_size(path) * 2 / 3);
    return path;
}

constexpr char LIFE[] =
    ":r=10:ratio=0.3:seed=5:mold=9:life_color=#C0E080:death_color=#803020:mold_color=#204060,format=";

std::string Life(std::string const& size, std::string const& format) {
    return "life=s=" + size + LIFE + format;
}

/// The film without bars in a codec that most containers take.
std::string BarlessH264() {
    return MakeClip("crop-barless-h264.mkv",
                    {"-i", Barless(), "-c:v", "libx264", "-bf", "0", "-qp", "10", "-c:a", "copy"});
}

// Without bars.

TEST_F(CropApply, WithoutBarsPicturesThatTheContainerDoesNotTakeAreEncoded) {
    std::string const target = folder / "out.mp4";
    auto const dry = ApplyTo(target, Barless(), {"--dry-run"});
    EXPECT_EQ(0, dry.exitCode) << dry.errors;
    EXPECT_THAT(dry.output, Not(HasSubstr("copied")));
    EXPECT_THAT(folder.List(), IsEmpty());
    auto const result = ApplyTo(target, Barless(), {"--quality", "0"});
    ASSERT_EQ(0, result.exitCode) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("no bars, the picture is the whole frame of 128x96\n"));
    EXPECT_THAT(result.output, Not(HasSubstr("copied")));
    EXPECT_THAT(result.errors, HasSubstr("is encoded anew: mp4 can't carry ffv1"));
    auto const before = PicturesOf(Barless()), after = PicturesOf(target);
    ASSERT_EQ(before.size(), after.size());
    for (std::size_t i = 0; i < after.size(); ++i) ASSERT_EQ(before[i].pixels, after[i].pixels) << i;
    EXPECT_EQ(InspectFile(Barless()).streams.at(1).packets.at(3).data,
              InspectFile(target).streams.at(1).packets.at(3).data)
        << "sound goes along as it is";
    Json const answer = ParseOutput(ApplyTo(target, Barless(), {"--json", "--force"}));
    EXPECT_EQ(answer["whole"], true);
    EXPECT_EQ(answer["copied"], false);
    EXPECT_EQ(RegionOf(answer["kept"]), CropInfo(0, 128, 0, 96));
    EXPECT_EQ(answer["report"]["output"], target);
}

TEST_F(CropApply, WithoutBarsPicturesThatTheContainerTakesAreNotEncodedForItsSound) {
    std::string const target = folder / "out.ts";
    Json const answer = ParseOutput(ApplyTo(target, BarlessH264(), {"--json"}));
    EXPECT_EQ(answer["copied"], false);
    EXPECT_THAT(answer["report"]["warnings"].dump(), HasSubstr("is encoded anew: mpegts can't carry flac"));
    EXPECT_THAT(answer["report"]["warnings"].dump(), Not(HasSubstr("h264) is encoded anew")));
    auto const from = PicturesOf(BarlessH264()), to = PicturesOf(target);
    ASSERT_EQ(from.size(), to.size());
    for (std::size_t i = 0; i < to.size(); ++i) ASSERT_EQ(from[i].pixels, to[i].pixels) << i;
    EXPECT_EQ(2U, InspectFile(target).streams.size());
}

TEST_F(CropApply, WithoutBarsWhatNoEncoderCouldBringAlongDoesNotHinderTheCopy) {
    std::string const lines = MakeTextFile("crop-lines.srt", "1\n00:00:00,500 --> 00:00:01,500\nOne\n");
    std::string const film =
        MakeClip("crop-barless-lines.mkv", {"-i", BarlessH264(), "-i", lines, "-map", "0", "-map", "1", "-c", "copy"});
    std::string const target = folder / "out.mp4";
    auto const result = ApplyTo(target, film);
    ASSERT_EQ(0, result.exitCode) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("nothing to cut off: the packets were copied\n"));
    EXPECT_EQ("tarsel: warning: stream #2 (subtitle, subrip) is left out: mp4 can't carry subrip\n", result.errors);
    EXPECT_EQ(InspectFile(film).streams.at(0).packets.size(), InspectFile(target).streams.at(0).packets.size());
}

TEST_F(CropApply, GraphOfAFilmWithoutBarsIsPrintedWhereItIsNotCopied) {
    std::string const target = folder / "out.mp4";
    auto const printed = ApplyTo(target, Barless(), {"--print-graph"});
    ASSERT_EQ(0, printed.exitCode) << printed.errors;
    EXPECT_THAT(folder.List(), IsEmpty());
    std::ofstream(folder / "graph.json") << printed.output;
    auto const run = RunTarsel({"run", folder / "graph.json"});
    ASSERT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ(96, InspectFile(target).streams.at(0).height);
}

TEST_F(CropApply, OutputsThatHoldNoPicturesAreRefused) {
    for (std::string const& film : {Film(), Barless()}) {
        auto const result = ApplyTo(folder / "out.wav", film);
        EXPECT_EQ(1, result.exitCode) << film;
        EXPECT_EQ("tarsel: " + (folder / "out.wav") + ": wav is written with no video\n", result.errors);
        EXPECT_THAT(folder.List(), IsEmpty());
    }
}

TEST_F(CropApply, StreamThatFindsNoRoomInTheOutputIsRefused) {
    for (auto const& [name, first, second] : {std::tuple{"crop-two.mkv", Barless(), Film()},
                                              {"crop-two-without.mkv", Film(), Barless()},
                                              {"crop-two-h264.mkv", BarlessH264(), BarlessH264()}}) {
        std::string const two = MakeClip(name, {"-i", first, "-i", second, "-map", "0:v", "-map", "1:v", "-c", "copy"});
        auto const result = ApplyTo(folder / "out.flv", two, {"--stream", "1"});
        EXPECT_EQ(1, result.exitCode) << name;
        EXPECT_THAT(result.errors, HasSubstr(" has no room in the output\n")) << name;
        EXPECT_THAT(folder.List(), IsEmpty());
    }
}

TEST_F(CropApply, OddFramesWithoutBarsAreWholeAndCopied) {
    std::string const film =
        MakeClip("crop-odd.mkv", {"-f", "lavfi", "-i", Life("127x95", "yuv444p"), "-c:v", "ffv1", "-t", "3"});
    Json const answer = ParseOutput(Apply(film, {"--interval", "0.2", "--json"}));
    EXPECT_EQ(answer["whole"], true);
    EXPECT_EQ(RegionOf(answer), CropInfo(0, 127, 0, 95)) << "though the last row and column aren't looked at";
    EXPECT_EQ(RegionOf(answer["kept"]), CropInfo(0, 127, 0, 95));
    EXPECT_EQ(answer["copied"], true);
    EXPECT_EQ(InspectFile(film).streams.at(0).packets.at(5).data, InspectFile(out).streams.at(0).packets.at(5).data);
}

// Fields and chroma.

TEST_F(CropApply, LineOfInterlacedFilmsCanBePasted) {
    auto const found = RunTarsel({"crop", Tape(), "--interval", "0.2"});
    EXPECT_EQ(Tape() + ": a picture of 128x68 in a frame of 128x96\ncrop:left=0,right=128,top=12,bottom=84\n",
              found.output);
    std::string const line = found.output.substr(found.output.find("\ncrop:") + 1);
    auto const pasted = RunTarsel({"effects", Tape(), "-o", out, "--effect", line.substr(0, line.size() - 1)});
    ASSERT_EQ(0, pasted.exitCode) << pasted.errors;
    EXPECT_EQ(72, InspectFile(out).streams.at(0).height);
}

/// Three seconds of plain pictures and half a second of interlaced ones.
std::string TurnsInterlaced() {
    std::string const film = Life("128x64", "yuv420p") + ",pad=128:96:0:16";
    return MakeClip("crop-turns.mkv", {"-filter_complex",
                                       film + ",trim=end=3,setfield=prog[a];" + film +
                                           ",trim=end=0.5,setfield=tff[b];[a][b]concat=n=2:v=1[v]",
                                       "-map", "[v]", "-c:v", "ffv1", "-level", "3", "-r", "10"});
}

TEST_F(CropApply, FilmsThatTurnInterlacedLaterAreCutToo) {
    std::string const film = TurnsInterlaced();
    auto const pictures = PicturesOf(film);
    ASSERT_EQ(pictures.size(), 35U);
    ASSERT_FALSE(pictures.at(29).interlaced);
    ASSERT_TRUE(pictures.at(30).interlaced);
    ASSERT_EQ(RegionOf(Crop(film, SOON)), CropInfo(0, 128, 14, 82));
    auto const dry = Apply(film, {"--interval", "0.2", "--dry-run"});
    EXPECT_EQ(0, dry.exitCode) << dry.errors;
    auto const result = Apply(film, {"--interval", "0.2", "--json", "--video-codec", "h264", "--quality", "0"});
    ASSERT_EQ(0, result.exitCode) << result.errors;
    EXPECT_THAT(result.errors,
                HasSubstr("keeps rows 12 to 84 in place of 14 to 82, where fields of interlaced pictures can be cut"));
    EXPECT_EQ(RegionOf(ParseOutput(result)["kept"]), CropInfo(0, 128, 12, 84));
    auto const cut = PicturesOf(out);
    ASSERT_EQ(cut.size(), 35U);
    for (std::size_t i = 0; i < cut.size(); ++i) ASSERT_EQ(Part(pictures[i], {0, 128, 12, 84}), cut[i].pixels) << i;
    EXPECT_THAT(folder.List(), ElementsAre("out.mkv"));
}

TEST_F(CropApply, ColumnsThatShareChromaAreToldAsSuch) {
    std::string const film =
        MakeClip("crop-pillars-411.mkv",
                 {"-f", "lavfi", "-i", Life("88x96", "yuv411p") + ",pad=128:96:20:0", "-c:v", "ffv1", "-t", "3"});
    ASSERT_EQ(RegionOf(Crop(film, SOON)), CropInfo(18, 110, 0, 96));
    auto const result = Apply(film);
    ASSERT_EQ(0, result.exitCode) << result.errors;
    EXPECT_EQ("tarsel: warning: " + film +
                  ": stream #0 (video, ffv1) keeps columns 16 to 112 in place of 18 to 110, where samples of chroma "
                  "begin\n",
              result.errors);
    EXPECT_EQ(96, InspectFile(out).streams.at(0).width);
}

TEST_F(CropApply, RowsThatShareChromaAreToldAsSuch) {
    std::string const film =
        MakeClip("crop-letter-410.mkv",
                 {"-f", "lavfi", "-i", Life("128x64", "yuv410p") + ",pad=128:96:0:16", "-c:v", "ffv1", "-t", "3"});
    ASSERT_EQ(RegionOf(Crop(film, SOON)), CropInfo(0, 128, 14, 82));
    auto const result = Apply(film);
    ASSERT_EQ(0, result.exitCode) << result.errors;
    EXPECT_THAT(result.errors, HasSubstr("keeps rows 12 to 84 in place of 14 to 82, where samples of chroma begin\n"));
    EXPECT_THAT(result.errors, Not(HasSubstr("fields")));
    EXPECT_EQ(72, InspectFile(out).streams.at(0).height);
}

// What is told.

TEST_F(CropApply, WarningsOfTheFileAreToldOnce) {
    for (std::string const& film : {Film(), Barless()}) {
        std::string const damaged = CutOff(film, folder / "cut-off.mkv");
        auto const result = Apply(damaged, {"--interval", "0.1"});
        ASSERT_EQ(0, result.exitCode) << result.errors;
        EXPECT_EQ(CountOf(result.errors, "is cut off or damaged"), 1U) << result.errors;
        std::filesystem::remove(damaged);
        std::filesystem::remove(out);
    }
}

TEST_F(CropApply, EdgesThatDoNotComeToRestAreToldAsSuch) {
    // A curtain that rises all the time.
    std::string const film =
        MakeClip("crop-curtain.mkv", {"-filter_complex",
                                      "color=gray:s=128x96:r=10,format=yuv420p,noise=alls=100:allf=t:all_seed=5[a];"
                                      "color=black:s=128x46:r=10[b];[a][b]overlay=y='-14*t'[v]",
                                      "-map", "[v]", "-t", "3", "-c:v", "ffv1"});
    Json const answer = Crop(film, {"--interval", "0.1", "--precision", "0"});
    EXPECT_EQ(answer["known"], false);
    EXPECT_EQ(answer["hints"], Json::array({"the edges of what moves did not come to rest: try a larger --precision, a "
                                            "larger --limit where there is noise in the bars, or a longer part of the "
                                            "film"}));
}

TEST_F(CropApply, WarningsFailTheCommandWhereThatIsAskedFor) {
    EXPECT_EQ(3, Apply(Tape(), {"--interval", "0.2", "--strict"}).exitCode);
    EXPECT_THAT(folder.List(), ElementsAre("out.mkv")) << "it is written all the same";
    EXPECT_EQ(0, Apply(Film(), {"--interval", "0.2", "--strict", "--force"}).exitCode);
    std::string const damaged = CutOff(Film(), folder / "cut-off.mkv");
    EXPECT_EQ(3, RunTarsel({"crop", damaged, "--interval", "0.1", "--strict"}).exitCode) << "also without --apply";
    EXPECT_EQ(0, RunTarsel({"crop", damaged, "--interval", "0.1"}).exitCode);
}

TEST_F(CropApply, WhereItIsNotKnownThereIsNoGraphToPrint) {
    auto const result = Apply(Film(), {"--print-graph"});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_EQ("tarsel: " + Film() + ": not known where the picture is: there is no graph\n", result.errors);
    EXPECT_EQ("", result.output);
}

TEST_F(CropApply, ExampleGraphTellsTheSameRegion) {
    auto const run = RunTarsel({"run", TARSEL_EXAMPLES "/crop.json", "--set", "IN=" + Film(), "--stats", "--json"});
    ASSERT_EQ(0, run.exitCode) << run.errors;
    Json const tree = ParseOutput(run)["streams"][0]["statistics"];
    std::map<std::string, std::string> told;
    for (Json const& child : tree["children"].back()["children"])
        if (child.contains("value")) told[child["name"]] = child["value"];
    EXPECT_EQ("true", told.at("Known"));
    EXPECT_EQ("0", told.at("Left"));
    EXPECT_EQ("128", told.at("Right"));
    EXPECT_EQ("14", told.at("Top"));
    EXPECT_EQ("82", told.at("Bottom"));
}

}  // namespace
}  // namespace Tarsel::Test
