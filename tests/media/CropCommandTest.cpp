// What a person types at `tarsel crop`, and what comes of it.
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "host/crop/CropJob.h"
#include "tests/media/CropFilms.h"
#include "tests/support/ContactSheet.h"
#include "tests/support/CropCorpus.h"
#include "tests/support/SoundMeasure.h"
#include "tests/support/Tarsel.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {
namespace {

using Json = nlohmann::json;
using Proc::CropInfo;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class CropCommand : public CropRun {};

// The answer.

TEST_F(CropCommand, PrintsExactlyThePromisedJson) {
    Json const answer = Crop(Film(), SOON);
    std::vector<std::string> keys;
    for (auto const& [key, value] : answer.items()) keys.push_back(key);
    EXPECT_THAT(keys, ElementsAre("bottom", "frameHeight", "frameWidth", "height", "hints", "known", "left", "right",
                                  "settled", "top", "whole", "width"));
    EXPECT_EQ(answer["known"], true);
    EXPECT_EQ(answer["whole"], false);
    EXPECT_EQ(answer["settled"], true);
    EXPECT_EQ(RegionOf(answer), CropInfo(0, 128, 14, 82)) << "two rows beyond the picture, as far as a cell is exact";
    EXPECT_EQ(answer["width"], 128);
    EXPECT_EQ(answer["height"], 68);
    EXPECT_EQ(answer["frameWidth"], 128);
    EXPECT_EQ(answer["frameHeight"], 96);
    EXPECT_EQ(answer["hints"], Json::array());
}

TEST_F(CropCommand, TellsALineThatCanBePasted) {
    auto const found = RunTarsel({"crop", Film(), "--interval", "0.2"});
    EXPECT_EQ(0, found.exitCode);
    EXPECT_EQ(Film() + ": a picture of 128x68 in a frame of 128x96\ncrop:left=0,right=128,top=14,bottom=82\n",
              found.output);
    EXPECT_EQ("", found.errors) << "no progress where there is no terminal";
    auto const pasted = RunTarsel({"effects", Film(), "-o", out, "--effect", "crop:left=0,right=128,top=14,bottom=82",
                                   "--video-codec", "h264", "--quality", "0"});
    EXPECT_EQ(0, pasted.exitCode) << pasted.errors;
    EXPECT_EQ(PicturesOf(out).at(0).pixels, Part(PicturesOf(Film()).at(0), {0, 128, 14, 82}));
}

TEST_F(CropCommand, WholeFrameIsToldApartFromNotKnown) {
    Json const whole = Crop(Barless(), SOON);
    EXPECT_EQ(whole["known"], true);
    EXPECT_EQ(whole["whole"], true);
    EXPECT_EQ(RegionOf(whole), CropInfo(0, 128, 0, 96));
    EXPECT_EQ(Barless() + ": no bars, the picture is the whole frame of 128x96\n",
              RunTarsel({"crop", Barless(), "--interval", "0.2"}).output);
    Json const unknown = Crop(Film());
    EXPECT_EQ(unknown["known"], false);
    EXPECT_EQ(unknown["whole"], false);
    EXPECT_EQ(RegionOf(unknown), CropInfo());
    EXPECT_EQ(unknown["width"], 0);
    EXPECT_EQ(unknown["height"], 0);
    EXPECT_EQ(unknown["frameWidth"], 128);
}

TEST_F(CropCommand, ShortFilmsAreToldWhatToTryAndThatWorks) {
    auto const unknown = RunTarsel({"crop", Film()});
    EXPECT_EQ(0, unknown.exitCode) << "no answer is an answer";
    EXPECT_EQ(
        Film() +
            ": not known where the picture is\nhint: it lasts 3 s, and 12 pictures 0.5 s apart are needed, as many as "
            "--count must agree behind the first two: try --interval 0.23\n",
        unknown.output);
    EXPECT_EQ(RegionOf(Crop(Film(), {"--interval", "0.23"})), CropInfo(0, 128, 14, 82));
    auto const few = RunTarsel({"crop", Film(), "--count", "40", "--interval", "0.01"});
    EXPECT_THAT(few.output, HasSubstr("hint: there are 30 pictures and 42 are needed"));
    EXPECT_THAT(few.output, HasSubstr("try a smaller --count"));
    std::string const two =
        MakeClip("crop-two-pictures.mkv", {"-i", Film(), "-map", "0:v", "-c", "copy", "-frames:v", "2"});
    EXPECT_EQ(
        Crop(two, {"--count", "1"})["hints"][0],
        "there are 2 pictures and 3 are needed, as many as --count must agree behind the first two: no --count is "
        "small enough for that");
    EXPECT_THAT(RunTarsel({"crop", two}).output, HasSubstr("no --count is small enough for that"));
    std::string const three =
        MakeClip("crop-three-pictures.mkv", {"-i", Film(), "-map", "0:v", "-c", "copy", "-frames:v", "3"});
    EXPECT_THAT(RunTarsel({"crop", three}).output, HasSubstr("try a smaller --count"));
}

TEST_F(CropCommand, DarkFilmsAreToldThatTheyNeedMore) {
    std::string const dark =
        MakeClip("crop-dark.mkv", {"-f", "lavfi", "-i",
                                   "life=s=128x64:r=10:ratio=0.3:seed=5:mold=9:life_color=#C0E080:death_color=#803020:"
                                   "mold_color=#204060,format=yuv420p,eq=contrast=0.1:brightness=-0.45,pad=128:96:0:16",
                                   "-c:v", "ffv1", "-t", "3"});
    EXPECT_THAT(
        RunTarsel({"crop", dark, "--interval", "0.2"}).output,
        HasSubstr("22 pictures 0.2 s apart are needed, ten more than usual, as all of them are dark: try --interval "
                  "0.13"));
}

TEST_F(CropCommand, WhatIsNotSettledByTheLongestTimeIsTheWholeFrameAndSaid) {
    Json const answer = Crop(Film(), {"--interval", "0.2", "--max", "1"});
    EXPECT_EQ(answer["known"], true);
    EXPECT_EQ(answer["whole"], true);
    EXPECT_EQ(answer["settled"], false);
    ASSERT_EQ(answer["hints"].size(), 1U);
    EXPECT_EQ(answer["hints"][0],
              "no region held for 10 pictures up to 00:01.000: the whole frame is what is told then; try a larger "
              "--precision or --max, or a larger --limit where there is noise in the bars");
}

TEST_F(CropCommand, AnotherStreamIsAskedForByItsNumber) {
    std::string const two =
        MakeClip("crop-two.mkv", {"-i", Barless(), "-i", Film(), "-map", "0:v", "-map", "1:v", "-c", "copy"});
    EXPECT_EQ(Crop(two, {"--interval", "0.2", "--stream", "0"})["whole"], true);
    EXPECT_EQ(RegionOf(Crop(two, {"--interval", "0.2", "--stream", "1"})), CropInfo(0, 128, 14, 82));
    auto const missing = RunTarsel({"crop", two, "--stream", "2"});
    EXPECT_EQ(1, missing.exitCode);
    EXPECT_EQ("tarsel: " + two + ": it has 2 video streams, there is no number 2\n", missing.errors);
    EXPECT_EQ("", missing.output);
}

TEST_F(CropCommand, FilesWithoutPicturesAreRefused) {
    std::string const sound = MakeClip("crop-sound.wav", {"-f", "lavfi", "-i", "sine=d=0.2"});
    auto const result = RunTarsel({"crop", sound});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_EQ("tarsel: " + sound + ": there is no video in it\n", result.errors);
    auto const nowhere = RunTarsel({"crop", folder / "nowhere.mp4"});
    EXPECT_EQ(1, nowhere.exitCode);
    EXPECT_THAT(nowhere.errors, HasSubstr("nowhere.mp4: "));
}

TEST_F(CropCommand, WrongArgumentsAreWrongUsage) {
    EXPECT_THAT(Refused({"crop"}).errors, HasSubstr("input is required"));
    EXPECT_THAT(Refused({"crop", Film(), "-o", out}).errors, HasSubstr("--output needs --apply"));
    EXPECT_THAT(Refused({"crop", Film(), "--apply"}).errors, HasSubstr("--apply needs --output"));
    EXPECT_THAT(Refused({"crop", Film(), "--quality", "3"}).errors, HasSubstr("--quality needs --apply"));
    EXPECT_THAT(Refused({"crop", Film(), "--print-graph"}).errors, HasSubstr("--print-graph needs --apply"));
    EXPECT_THAT(Refused({"crop", Film(), "--dry-run"}).errors, HasSubstr("--dry-run needs --apply"));
    EXPECT_THAT(Refused({"crop", Film(), "--interval", "0"}).errors,
                HasSubstr("--interval: \"0\" is not a time above 0 and up to thirty days"));
    EXPECT_THAT(Refused({"crop", Film(), "--max", "soon"}).errors, HasSubstr("--max: \"soon\" is not a time"));
    EXPECT_THAT(Refused({"crop", Film(), "--count", "0"}).errors,
                HasSubstr("--count: \"0\" is not a whole number from 1 to 100000"));
    EXPECT_THAT(Refused({"crop", Film(), "--limit", "4.5"}).errors,
                HasSubstr("--limit: \"4.5\" is not a whole number from 1 to 65535"));
    EXPECT_THAT(Refused({"crop", Film(), "--precision", "-1"}).errors,
                HasSubstr("--precision: \"-1\" is not a whole number from 0 to 16384"));
    EXPECT_THAT(Refused({"crop", Film(), "--stream", "x"}).errors, HasSubstr("--stream: \"x\""));
    EXPECT_THAT(Refused({"crop", Film(), "--apply", "-o", out, "--video-codec", "nonsense"}).errors,
                HasSubstr("nonsense"));
}

TEST_F(CropCommand, HelpTellsTheDefaultsAndAnExample) {
    auto const help = RunTarsel({"crop", "--help"});
    EXPECT_EQ(0, help.exitCode);
    using D = Proc::ICropDetector;
    EXPECT_THAT(help.output, HasSubstr("must agree (" + std::to_string(D::DEFAULT_SUCCESS_FRAME_COUNT) + ")"));
    EXPECT_THAT(help.output, HasSubstr("in sample values (" + std::to_string(D::DEFAULT_CALC_LIMIT) + ")"));
    EXPECT_THAT(help.output, HasSubstr("answers agree (" + std::to_string(D::DEFAULT_CROP_PRECISION) + ")"));
    EXPECT_THAT(help.output, HasSubstr("apart (0.5 s)"));
    EXPECT_THAT(help.output, HasSubstr("the answer (600 s)"));
    EXPECT_THAT(help.output, HasSubstr("tarsel crop film.mp4"));
}

// The brightest picture.

TEST_F(CropCommand, FrameIsTheBrightestPictureThatWasLookedAt) {
    std::string const film =
        MakeClip("crop-flash.mkv", {"-f", "lavfi", "-i",
                                    "life=s=128x64:r=10:ratio=0.3:seed=5:mold=9:life_color=#C0E080:death_color=#803020:"
                                    "mold_color=#204060,format=yuv420p,eq=brightness='if(between(t,0.55,0.65),0.5,0)':"
                                    "eval=frame,pad=128:96:0:16",
                                    "-c:v", "ffv1", "-t", "3"});
    auto const result = RunTarsel({"crop", film, "--interval", "0.2", "--frame", folder / "bright.png"});
    EXPECT_EQ(0, result.exitCode) << result.errors;
    auto const png = PicturesOf(folder / "bright.png");
    ASSERT_EQ(1U, png.size());
    EXPECT_EQ(128, png[0].width);
    EXPECT_EQ(96, png[0].height);
    auto const likeness = [&](char const* number) {
        std::string const wanted =
            MakeClip(std::string("crop-flash-") + number + ".png",
                     {"-i", film, "-vf", std::string("select='eq(n,") + number + ")',format=rgb24", "-frames:v", "1"});
        return Psnr(PicturesOf(wanted).at(0), png[0]);
    };
    EXPECT_GT(likeness("6"), 25);
    EXPECT_LT(likeness("5"), 20);
    EXPECT_LT(likeness("8"), 20);
}

TEST_F(CropCommand, WithoutAPictureThereIsNoFrameAndThatIsSaid) {
    // Packets that nothing can be decoded of.
    std::string const clip = MakeClip("crop-mute.mkv", {"-f", "lavfi", "-i", "testsrc2=s=64x48:r=10:d=1", "-c:v",
                                                        "mpeg4", "-bsf:v", "noise=amount=1"});
    auto const result = RunTarsel({"crop", clip, "--frame", folder / "bright.png"});
    EXPECT_THAT(result.output, HasSubstr("hint: no picture can be decoded\n"));
    EXPECT_EQ(1, result.exitCode);
    EXPECT_THAT(result.errors, HasSubstr(": there is no picture for "));
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST_F(CropCommand, FrameThatStandsThereIsKeptUnlessForced) {
    std::string const frame = MakeTextFile("crop-frame.png", "mine");
    auto const refused = RunTarsel({"crop", Film(), "--interval", "0.2", "--frame", frame});
    EXPECT_EQ(1, refused.exitCode);
    EXPECT_EQ("", refused.output) << "refused ahead of the work";
    EXPECT_EQ("mine", ReadWholeFile(frame));
}

// Cutting them off.

TEST_F(CropCommand, ApplyWritesTheRegionOfEachPictureAndKeepsTheRest) {
    auto const result = Apply(Film(), {"--interval", "0.2", "--video-codec", "h264", "--quality", "0"});
    ASSERT_EQ(0, result.exitCode) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("crop:left=0,right=128,top=14,bottom=82\n"));
    EXPECT_THAT(result.output, HasSubstr(out));
    auto const before = PicturesOf(Film()), after = PicturesOf(out);
    ASSERT_EQ(before.size(), after.size());
    for (std::size_t i = 0; i < after.size(); ++i) {
        EXPECT_EQ(128, after[i].width);
        EXPECT_EQ(68, after[i].height);
        EXPECT_EQ(before[i].time, after[i].time);
        ASSERT_EQ(Part(before[i], {0, 128, 14, 82}), after[i].pixels) << i;
    }
    auto const from = InspectFile(Film()), to = InspectFile(out);
    ASSERT_EQ(3U, to.streams.size());
    for (std::size_t stream : {1, 2}) {
        ASSERT_EQ(from.streams[stream].packets.size(), to.streams[stream].packets.size());
        EXPECT_EQ(from.streams[stream].packets.at(0).data, to.streams[stream].packets.at(0).data);
    }
    EXPECT_EQ("Bars", to.metadata.at("title"));
    EXPECT_THAT(folder.List(), ElementsAre("out.mkv"));
}

TEST_F(CropCommand, ApplyTellsItsReportAsJson) {
    auto const result = Apply(Film(), {"--interval", "0.2", "--json"});
    EXPECT_EQ(0, result.exitCode) << result.errors;
    Json const answer = ParseOutput(result);
    EXPECT_EQ(answer["known"], true);
    EXPECT_EQ(answer["copied"], false);
    EXPECT_EQ(answer["report"]["output"], out);
    EXPECT_EQ(RegionOf(answer["kept"]), CropInfo(0, 128, 14, 82));
    EXPECT_EQ(answer["kept"]["width"], 128);
    EXPECT_EQ(answer["kept"]["height"], 68);
    EXPECT_EQ(68, InspectFile(out).streams.at(0).height);
}

TEST_F(CropCommand, WithoutBarsApplyCopiesThePackets) {
    auto const result = Apply(Barless());
    ASSERT_EQ(0, result.exitCode) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("nothing to cut off: the packets were copied\n"));
    auto const from = InspectFile(Barless()), to = InspectFile(out);
    for (std::size_t stream : {0, 1}) {
        ASSERT_EQ(from.streams[stream].packets.size(), to.streams[stream].packets.size());
        for (std::size_t i = 0; i < to.streams[stream].packets.size(); ++i)
            ASSERT_EQ(from.streams[stream].packets[i].data, to.streams[stream].packets[i].data);
    }
    auto const again = ParseOutput(Apply(Barless(), {"--interval", "0.2", "--json", "--force"}));
    EXPECT_EQ(again["copied"], true);
    EXPECT_EQ(RegionOf(again["kept"]), CropInfo(0, 128, 0, 96));
    EXPECT_EQ(again["whole"], true);
}

TEST_F(CropCommand, NotKnownWritesNothing) {
    auto const result = Apply(Film(), {});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_THAT(result.output, HasSubstr(": not known where the picture is\nhint: "));
    EXPECT_EQ("tarsel: " + Film() + ": not known where the picture is: nothing is written\n", result.errors);
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST_F(CropCommand, DryRunWritesNothing) {
    for (std::string const& film : {Film(), Barless()}) {
        auto const result = Apply(film, {"--interval", "0.2", "--dry-run"});
        EXPECT_EQ(0, result.exitCode) << result.errors;
        EXPECT_THAT(folder.List(), IsEmpty());
    }
}

TEST_F(CropCommand, InputIsNeverItsOwnOutput) {
    std::string const copy = folder / "film.mkv";
    RunFFmpeg({"-i", Film(), "-map", "0", "-c", "copy", copy});
    std::string const before = ReadWholeFile(copy);
    auto const result = RunTarsel({"crop", copy, "--apply", "-o", copy, "--force", "--interval", "0.2"});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_EQ("", result.output) << "refused ahead of the work";
    EXPECT_EQ(before, ReadWholeFile(copy));
    auto const frame = RunTarsel({"crop", copy, "--frame", copy, "--force", "--interval", "0.2"});
    EXPECT_EQ(1, frame.exitCode);
    EXPECT_EQ(before, ReadWholeFile(copy));
}

TEST_F(CropCommand, FrameAndOutputAreTwoFiles) {
    std::filesystem::create_directory_symlink(folder / "", folder / "there");
    for (std::string const& frame : {out, folder / "./out.mkv", folder / "there/out.mkv"}) {
        auto const result = Apply(Film(), {"--interval", "0.2", "--force", "--frame", frame});
        EXPECT_EQ(2, result.exitCode) << frame;
        EXPECT_THAT(result.errors, HasSubstr("--frame: " + frame + " is the output itself"));
        EXPECT_THAT(folder.List(), ElementsAre("there"));
    }
    std::ofstream(out) << "kept";
    std::filesystem::create_hard_link(out, folder / "hard.png");
    auto const linked = Apply(Film(), {"--interval", "0.2", "--force", "--frame", folder / "hard.png"});
    EXPECT_EQ(2, linked.exitCode);
    EXPECT_EQ("kept", ReadWholeFile(out));
    EXPECT_EQ(0, Apply(Film(), {"--interval", "0.2", "--force", "--frame", folder / "frame.png"}).exitCode);
}

TEST_F(CropCommand, OutputThatStandsThereIsKeptUnlessForced) {
    ASSERT_EQ(0, Apply(Film()).exitCode);
    std::string const before = ReadWholeFile(out);
    EXPECT_EQ(1, Apply(Film()).exitCode);
    EXPECT_EQ(before, ReadWholeFile(out));
    EXPECT_EQ(0, Apply(Film(), {"--interval", "0.2", "--force"}).exitCode);
}

TEST_F(CropCommand, GraphThatIsPrintedRunsToTheSamePictures) {
    auto const printed =
        Apply(Film(), {"--interval", "0.2", "--video-codec", "h264", "--quality", "0", "--print-graph"});
    ASSERT_EQ(0, printed.exitCode) << printed.errors;
    EXPECT_THAT(folder.List(), IsEmpty());
    std::string const graph = MakeTextFile("crop-printed.json", printed.output);
    std::string const text = printed.output;
    auto const run = RunTarsel({"run", graph});
    ASSERT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ(Part(PicturesOf(Film()).at(7), {0, 128, 14, 82}), PicturesOf(out).at(7).pixels);
    auto const none = Apply(Barless(), {"--interval", "0.2", "--print-graph"});
    EXPECT_EQ(1, none.exitCode);
    EXPECT_THAT(none.errors, HasSubstr("there are no bars to cut off"));
}

TEST_F(CropCommand, OtherVideoStreamsGoAlongAsPackets) {
    std::string const two =
        MakeClip("crop-two.mkv", {"-i", Barless(), "-i", Film(), "-map", "0:v", "-map", "1:v", "-c", "copy"});
    ASSERT_EQ(0, Apply(two, {"--interval", "0.2", "--stream", "1"}).exitCode);
    auto const to = InspectFile(out);
    EXPECT_EQ(96, to.streams.at(0).height);
    EXPECT_EQ(68, to.streams.at(1).height);
    EXPECT_EQ(InspectFile(two).streams[0].packets.at(3).data, to.streams[0].packets.at(3).data);
}

TEST_F(CropCommand, AnamorphicPixelsKeepTheirShape) {
    std::string const wide =
        MakeClip("crop-wide.mkv", {"-i", Film(), "-map", "0:v", "-vf", "setsar=16/11", "-c:v", "ffv1", "-t", "3"});
    ASSERT_EQ(0, Apply(wide).exitCode);
    auto const probe = RunProgram(
        {"ffprobe", "-v", "error", "-show_entries", "stream=width,height,sample_aspect_ratio", "-of", "csv=p=0", out});
    EXPECT_EQ("128,68,16:11\n", probe.output);
}

TEST_F(CropCommand, RotatedFilesAreAnsweredInTheirCodedPixels) {
    std::string const plain =
        MakeClip("crop-turn-source.mp4", {"-i", Film(), "-map", "0:v", "-c:v", "libx264", "-crf", "5"});
    std::string const path = MakeClip("crop-turned.mp4", {"-i", plain, "-c", "copy", "-metadata:s:v:0", "rotate=90"});
    ASSERT_NE(0, InspectFile(path).streams.at(0).rotation);
    auto const result = RunTarsel({"crop", path, "--interval", "0.2"});
    EXPECT_THAT(result.output, HasSubstr("a picture of 128x68 in a frame of 128x96\n"));
    EXPECT_THAT(result.errors,
                HasSubstr("asks players to turn it: left, right, top and bottom are those of the pictures as "
                          "they are coded"));
}

TEST_F(CropCommand, InterlacedPicturesAreCutWhereTheirFieldsBegin) {
    std::string const tape = Tape();
    Json const answer = Crop(tape, SOON);
    EXPECT_EQ(RegionOf(answer), CropInfo(0, 128, 14, 82)) << "as it is found";
    auto const result = Apply(tape);
    ASSERT_EQ(0, result.exitCode) << result.errors;
    EXPECT_THAT(result.errors,
                HasSubstr("keeps rows 12 to 84 in place of 14 to 82, where fields of interlaced pictures can be cut"));
    EXPECT_EQ(72, InspectFile(out).streams.at(0).height);
}

TEST_F(CropCommand, JsonTellsWhatIsKeptOfInterlacedPictures) {
    Json const answer = ParseOutput(Apply(Tape(), {"--interval", "0.2", "--json"}));
    EXPECT_EQ(RegionOf(answer), CropInfo(0, 128, 14, 82)) << "as it is found";
    EXPECT_EQ(RegionOf(answer["kept"]), CropInfo(0, 128, 12, 84));
    EXPECT_EQ(answer["kept"]["height"], 72);
    EXPECT_THAT(answer["report"]["warnings"].dump(), HasSubstr("keeps rows 12 to 84 in place of 14 to 82"));
    EXPECT_EQ(72, InspectFile(out).streams.at(0).height);
}

TEST_F(CropCommand, InterlacedPicturesAreCutToAHeightThatTheirEncoderTakes) {
    std::string const tape =
        MakeClip("crop-tape.mp4", {"-f", "lavfi", "-i", "testsrc2=s=320x136:r=50,pad=320:180:0:26,interlace", "-flags",
                                   "+ildct+ilme", "-t", "3", "-c:v", "libx264", "-qp", "0", "-pix_fmt", "yuv420p"});
    auto const result = Apply(tape);
    ASSERT_EQ(0, result.exitCode) << result.errors;
    EXPECT_EQ(0, InspectFile(out).streams.at(0).height % 4);
}

// The corpus, as far as it is small.

/// The picture with a dashed frame about the region.
iptr<Proc::IDataVideo> Outlined(iptr<Proc::IDataVideo> const& picture, CropInfo const& region) {
    iptr<Proc::IDataVideo> result = picture->Clone(true);
    auto const luma = result->GetPlane(0);
    auto const dot = [&](u32 x, u32 y) {
        if (x < static_cast<u32>(luma.GetRowBytes()) && y < static_cast<u32>(luma.GetRows()))
            *luma.GetOffsetPtr(x, y) = (x + y) / 4 % 2 == 0 ? 235 : 16;
    };
    for (u32 x = region.left; x < region.right; ++x) {
        dot(x, region.top);
        dot(x, region.bottom - 1);
    }
    for (u32 y = region.top; y < region.bottom; ++y) {
        dot(region.left, y);
        dot(region.right - 1, y);
    }
    return result;
}

TEST(CropCorpusOfSmallClips, IsFoundWithinTheResolutionOfTheTable) {
    ContactSheet sheet("crop", 3);
    ContactSheet page("crop-found", 3);  // the picture of docs/crop.md
    int seen = 0;
    for (CropClip const& clip : CropCorpus()) {
        if (!clip.isSmall) continue;
        ++seen;
        std::string const path = clip.Make();
        Json const answer = Crop(path);
        CropInfo const found = RegionOf(answer);
        Host::CropRequest request;
        request.input = path;
        Host::CropReport const report = Host::DetectCrop(request, nullptr);
        EXPECT_EQ(report.region, found) << clip.name;
        ASSERT_TRUE(report.brightest) << clip.name;
        std::string const shown = !report.known                       ? ": not known, no line"
                                  : clip.aim == CropClip::Aim::Beyond ? ": the bars aren't found"
                                                                      : ": line on the edge";
        iptr<Proc::IDataVideo> const drawn = report.known ? Outlined(report.brightest, found) : report.brightest;
        sheet.Add(drawn, clip.name + shown);
        if (clip.name == "pillarbox-180" || clip.name == "windowbox-180" || clip.name == "uneven-180")
            page.Add(drawn, clip.name + ", as found");
        if (clip.aim == CropClip::Aim::NotKnown) {
            EXPECT_EQ(answer["known"], false) << clip.name;
        } else if (clip.aim == CropClip::Aim::Found) {
            EXPECT_TRUE(answer["settled"]) << clip.name;
            EXPECT_TRUE(clip.IsNear(found)) << clip.name << ": " << found << " for " << clip.picture;
        }
    }
    EXPECT_EQ(seen, 12);
}

TEST(CropCorpusOfSmallClips, PictureThatStandsStillHasNoBars) {
    Json const answer = Crop(FindCropClip("still").Make());
    EXPECT_EQ(answer["whole"], true) << "what doesn't move can't be told from bars";
}

}  // namespace
}  // namespace Tarsel::Test
