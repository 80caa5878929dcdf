// What a person types at `tarsel subtitle`, and what comes of it.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <optional>

#include "contracts/Core/Time.h"
#include "contracts/Proc/DataVideoFF.h"
#include "tests/host/subtitles/PictureMedia.h"
#include "tests/support/ContactSheet.h"
#include "tests/support/Tarsel.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {
namespace {

using Json = nlohmann::json;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr char TWO_TITLES[] =
    "1\n00:00:00,500 --> 00:00:01,500\nFirst title\n\n2\n00:00:02,000 --> 00:00:02,800\nSecond title\n\n";

std::string Titles() {
    return MakeTextFile("subtitle-titles.srt", TWO_TITLES);
}

std::string Styled() {
    return MakeTextFile(
        "subtitle-styled.ass",
        "[Script Info]\nScriptType: v4.00+\nPlayResX: 320\nPlayResY: 180\n\n[V4+ Styles]\nFormat: Name, Fontname, "
        "Fontsize, PrimaryColour, SecondaryColour, OutlineColour, BackColour, Bold, Italic, Underline, StrikeOut, "
        "ScaleX, ScaleY, Spacing, Angle, BorderStyle, Outline, Shadow, Alignment, MarginL, MarginR, MarginV, Encoding\n"
        "Style: Default,DejaVu Sans,22,&H00FFFFFF,&H0,&H00000000,&H0,0,0,0,0,100,100,0,0,1,2,0,2,10,10,12,1\n\n"
        "[Events]\nFormat: Layer, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text\n"
        "Dialogue: 0,0:00:00.50,0:00:01.50,Default,,0,0,0,,A styled title\n"
        "Dialogue: 0,0:00:02.00,0:00:02.80,Default,,0,0,0,,{\\an8}On top\n");
}

std::string const GREY = "color=gray:s=320x180:r=25:d=3,format=yuv420p";

/// Three seconds of grey with sound and two streams of titles, the second of them one title.
std::string Film() {
    std::string const other =
        MakeTextFile("subtitle-other.srt", "1\n00:00:01,000 --> 00:00:02,000\nThe other stream\n");
    return MakeClip("subtitle-film.mkv", {"-f",   "lavfi",  "-i",   GREY,  "-f",   "lavfi", "-i",   "sine=d=3:r=48000",
                                          "-i",   Titles(), "-i",   other, "-map", "0",     "-map", "1",
                                          "-map", "2",      "-map", "3",   "-c:v", "ffv1",  "-c:a", "pcm_s16le",
                                          "-c:s", "srt"});
}

std::string Bare() {
    return MakeClip("subtitle-bare.mkv", {"-f", "lavfi", "-i", GREY, "-c:v", "ffv1"});
}

/// White squares where PGS says so, in front of a film of its size.
std::string PgsFilm() {
    static ScratchFolder const folder;
    static std::string const path = [] {
        PgsBuilder pgs(320, 180);
        std::vector<PgsColor> const colors{{1, 235, 128, 128, 255}};
        pgs.Show(45000, {{0, 120, 130, 80, 30, std::vector<u8>(80 * 30, 1)}}, colors).Clear(135000);
        pgs.Show(180000, {{1, 20, 10, 40, 20, std::vector<u8>(40 * 20, 1)}}, colors).Clear(252000);
        WriteBytes(folder / "titles.sup", pgs.GetFile());
        RunFFmpeg({"-f", "lavfi", "-i", GREY, "-i", folder / "titles.sup", "-map", "0", "-map", "1", "-c:v", "ffv1",
                   "-c:s", "copy", "-copyts", folder / "film.mkv"});
        return folder / "film.mkv";
    }();
    return path;
}

/// A square of one colour as libavcodec's encoders of DVD and DVB titles write it.
std::string CodedFilm(std::string const& encoder, std::string const& ending) {
    static ScratchFolder const folder;
    std::string const titles = folder / (encoder + ending);
    std::string const path = folder / (encoder + "-film" + ending);
    TitlePicture square{120, 130, 80, 30, std::vector<u8>(80 * 30, 1), {0x00000000, 0xFFFFFFFF, 0, 0}};
    WriteCodedTitles(titles, encoder, 320, 180, {{500, 1000, {square}}, {2000, 800, {square}}});
    RunFFmpeg({"-f", "lavfi", "-i", GREY, "-i", titles, "-map", "0", "-map", "1", "-c:v", "mpeg2video", "-q:v", "2",
               "-c:s", "copy", "-copyts", path});
    return path;
}

std::vector<DecodedPicture> PicturesOf(std::string const& path) {
    Messages messages;
    auto pictures = DecodePictures(path, 0, messages);
    EXPECT_THAT(messages, IsEmpty()) << path;
    return pictures;
}

/// Where luma isn't the film's grey.
struct Area {
    int left = 1 << 20, top = 1 << 20, right = 0, bottom = 0;
    int count = 0;
    bool IsEmpty() const { return count == 0; }
};

Area DrawnIn(DecodedPicture const& picture, int grey = 126, int tolerance = 24) {
    Area area;
    for (int y = 0; y < picture.height; ++y)
        for (int x = 0; x < picture.width; ++x) {
            int const luma = picture.pixels.at(static_cast<std::size_t>(y * picture.width + x));
            if (std::abs(luma - grey) <= tolerance) continue;
            area.left = std::min(area.left, x);
            area.right = std::max(area.right, x + 1);
            area.top = std::min(area.top, y);
            area.bottom = std::max(area.bottom, y + 1);
            ++area.count;
        }
    return area;
}

/// The picture for a sheet; 8 bits in 4:2:0.
iptr<Proc::IDataVideo> ToSheet(DecodedPicture const& decoded) {
    auto const picture = Proc::DataVideoFF::Create(PIX_FMT_YUV420P, {decoded.width, decoded.height, 1, 1}, nullptr);
    u8 const* from = decoded.pixels.data();
    for (unsigned i = 0; i < 3; ++i) {
        auto const plane = picture->GetPlane(i);
        for (int row = 0; row < plane.GetRows(); ++row, from += plane.GetRowBytes())
            std::copy_n(from, plane.GetRowBytes(), plane.GetOffsetPtr(0, static_cast<unsigned>(row)));
    }
    return picture;
}

class Subtitle : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { sheet = std::make_unique<ContactSheet>("subtitle-command", 3); }
    static void TearDownTestSuite() { sheet.reset(); }
    static ContactSheet& Sheet() { return *sheet; }
    std::string Make(std::vector<std::string> arguments, std::string const& name = "out.mkv") {
        std::string const path = folder / name;
        arguments.insert(arguments.begin(), "subtitle");
        arguments.insert(arguments.end(), {"-o", path, "--force", "--quality", "0", "--json"});
        auto const result = RunTarsel(arguments);
        EXPECT_EQ(0, result.exitCode) << CommandText(arguments) << ": " << result.errors;
        errors = result.errors;
        if (result.exitCode == 0) report = ParseOutput(result);
        return path;
    }
    void ExpectMistake(std::vector<std::string> arguments, std::string const& named) {
        arguments.insert(arguments.begin(), {"subtitle", Film(), "-o", folder / "out.mkv"});
        auto const result = RunTarsel(arguments);
        EXPECT_EQ(2, result.exitCode) << CommandText(arguments);
        EXPECT_THAT(result.errors, HasSubstr(named)) << CommandText(arguments);
    }
    void ExpectFailure(std::vector<std::string> arguments, std::string const& named) {
        arguments.insert(arguments.begin(), "subtitle");
        auto const result = RunTarsel(arguments);
        EXPECT_EQ(1, result.exitCode) << CommandText(arguments);
        EXPECT_THAT(result.errors, HasSubstr(named)) << CommandText(arguments);
    }
    /// Whether titles are seen within the ranges, in milliseconds, and nowhere else.
    static void ExpectSeen(std::vector<DecodedPicture> const& pictures,
                           std::vector<std::pair<int, int>> const& ranges) {
        for (DecodedPicture const& picture : pictures) {
            bool const wanted = std::any_of(ranges.begin(), ranges.end(), [&](auto const& range) {
                return picture.time >= range.first * 1000 && picture.time < range.second * 1000;
            });
            EXPECT_EQ(wanted, !DrawnIn(picture).IsEmpty()) << picture.time;
        }
    }

    static inline std::unique_ptr<ContactSheet> sheet;
    ScratchFolder const folder;
    std::string errors;
    Json report;
};

TEST_F(Subtitle, MistakesExitWithTwoAndNameTheOption) {
    ExpectMistake({"--stream", "-1"}, "--stream");
    ExpectMistake({"--stream", "first"}, "--stream: \"first\" is not the number of a subtitle stream, counted from 0");
    ExpectMistake({"--delay", "soon"}, "--delay: \"soon\" is not a time (1.5, -0.25, 500ms)");
    ExpectMistake({"--delay", "--force"}, "--delay");
    ExpectMistake({"--font-size", "0"}, "--font-size: \"0\" is not a whole number from 1 to 4096");
    ExpectMistake({"--color", "red"}, "--color: \"red\" is not RRGGBB");
    ExpectMistake({"--outline-color", "12345"}, "--outline-color: \"12345\" is not RRGGBB");
    ExpectMistake({"--outline", "101"}, "--outline: \"101\" is not a whole number from 0 to 100");
    ExpectMistake({"--shadow", "x"}, "--shadow");
    ExpectMistake({"--position", "10"}, "--position: \"10\" is not a whole number from 1 to 9");
    ExpectMistake({"--margin", "8193"}, "--margin");
    ExpectMistake({"--alpha", "1.5"}, "--alpha: \"1.5\" is not a number from 0 to 1");
    ExpectMistake({"--alpha", "nan"}, "--alpha");
    ExpectMistake({"--font", ""}, "--font");
    ExpectMistake({"--video-codec", "aac"}, "--video-codec");
    EXPECT_EQ(2, RunTarsel({"subtitle", Film()}).exitCode);
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST_F(Subtitle, WhatOnlyTheMediaShowsExitsWithOneAndLeavesNothing) {
    std::string const out = folder / "out.mkv";
    ExpectFailure({Bare(), "-o", out}, Bare() + ": there is no subtitle stream in it, only stream #0 (video, ffv1)");
    ExpectFailure({Film(), "--stream", "2", "-o", out}, ": there is no subtitle stream number 2 in it, only stream #0");
    ExpectFailure({Film(), "--subs", Titles(), "--stream", "1", "-o", out}, Titles() + ": there is no subtitle stream");
    ExpectFailure({Film(), "--subs", folder / "none.srt", "-o", out}, "none.srt");
    ExpectFailure({Titles(), "-o", out}, Titles() + ": there is no video in it");
    ExpectFailure({Film(), "-o", folder / "out.wav"}, "there is no video in it that wav is written with");
    ExpectFailure({Film(), "--fonts-dir", folder / "nowhere", "-o", out},
                  "tarsel: " + (folder / "nowhere") + ": there is no such folder of fonts");
    ExpectFailure({Film(), "--fonts-dir", Titles(), "-o", out}, ".srt: there is no such folder of fonts");
    std::string const latin = MakeTextFile("subtitle-latin.srt",
                                           "1\n00:00:00,500 --> 00:00:01,500\nGr\xFC\xDF"
                                           "e\n");
    ExpectFailure({Film(), "--subs", latin, "-o", out}, latin);
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST_F(Subtitle, OutputsThatAreInputsAreRefused) {
    std::string const titles = folder / "own.srt";
    std::ofstream(titles) << TWO_TITLES;
    ExpectFailure({Bare(), "--subs", titles, "-o", titles, "--force"}, titles);
    EXPECT_EQ(TWO_TITLES, ReadWholeFile(titles));
}

TEST_F(Subtitle, TheFirstStreamIsDrawnAndTheOthersGoAlong) {
    std::string const out = Make({Film()});
    EXPECT_THAT(errors, IsEmpty());
    auto const own = PicturesOf(out);
    auto const bare = PicturesOf(Bare());
    ASSERT_EQ(bare.size(), own.size());
    for (std::size_t i = 0; i < own.size(); ++i) EXPECT_EQ(bare[i].time, own[i].time);
    ExpectSeen(own, {{500, 1500}, {2000, 2800}});
    Sheet().Add(ToSheet(own.at(25)), "SRT: First title, below");
    auto const file = InspectFile(out);
    ASSERT_EQ(3U, file.streams.size());
    EXPECT_EQ(StreamKind::Audio, file.streams[1].kind);
    EXPECT_EQ(InspectFile(Film()).streams[1].packets.size(), file.streams[1].packets.size());
    ASSERT_EQ(StreamKind::Subtitle, file.streams[2].kind);
    EXPECT_EQ(1U, file.streams[2].packets.size()) << "the stream of one title";
    EXPECT_EQ(2, report.at("titles").at(0).at("subtitles_read"));
    // 25 pictures and 20.
    EXPECT_EQ(45, report.at("titles").at(0).at("images_made"));
    EXPECT_THAT(report.at("warnings"), IsEmpty());
}

TEST_F(Subtitle, AnotherStreamOrFileIsDrawnWhereItIsAskedFor) {
    ExpectSeen(PicturesOf(Make({Film(), "--stream", "1"})), {{1000, 2000}});
    EXPECT_EQ(3U, InspectFile(folder / "out.mkv").streams.size());
    ExpectSeen(PicturesOf(Make({Bare(), "--subs", Film(), "--stream", "1"})), {{1000, 2000}});
    // Of another file, so that the film keeps all of its own.
    Make({Film(), "--subs", Titles()});
    EXPECT_EQ(4U, InspectFile(folder / "out.mkv").streams.size());
    std::string const vtt =
        MakeTextFile("subtitle-titles.vtt", "WEBVTT\n\n00:00.500 --> 00:01.500\nFirst\n\n00:02.000 --> 00:02.800\nB\n");
    ExpectSeen(PicturesOf(Make({Bare(), "--subs", vtt})), {{500, 1500}, {2000, 2800}});
}

TEST_F(Subtitle, ADelayMovesThem) {
    ExpectSeen(PicturesOf(Make({Bare(), "--subs", Titles(), "--delay", "-0.3"})), {{200, 1200}, {1700, 2500}});
    ExpectSeen(PicturesOf(Make({Bare(), "--subs", Titles(), "--delay", "480ms"})), {{980, 1980}, {2480, 3000}});
    ExpectSeen(PicturesOf(Make({PgsFilm(), "--delay", "+0.2"})), {{700, 1700}, {2200, 3000}});
}

TEST_F(Subtitle, BitmapsStandWhereTheySay) {
    auto const pgs = PicturesOf(Make({PgsFilm()}));
    ExpectSeen(pgs, {{500, 1500}, {2000, 2800}});
    for (auto const& pictures :
         {pgs, PicturesOf(Make({CodedFilm("dvdsub", ".mkv")})), PicturesOf(Make({CodedFilm("dvbsub", ".ts")}))}) {
        ASSERT_GT(pictures.size(), 30U);
        auto const at = std::find_if(pictures.begin(), pictures.end(),
                                     [](DecodedPicture const& picture) { return !DrawnIn(picture).IsEmpty(); });
        ASSERT_NE(at, pictures.end());
        Area const area = DrawnIn(*at);
        EXPECT_NEAR(120, area.left, 1);
        EXPECT_NEAR(130, area.top, 1);
        EXPECT_NEAR(200, area.right, 1);
        EXPECT_NEAR(160, area.bottom, 1);
        EXPECT_NEAR(80 * 30, area.count, 80);
        Sheet().Add(ToSheet(*at), "bitmap: a white square, the same in three");
    }
}

TEST_F(Subtitle, LooksAsItIsTold) {
    auto const drawn = [&](std::vector<std::string> more) {
        more.insert(more.begin(), {Bare(), "--subs", Titles()});
        auto const pictures = PicturesOf(Make(more));
        Sheet().Add(ToSheet(pictures.at(25)), more.at(more.size() - 2) + " " + more.back());
        return pictures.at(25);
    };
    Area const plain = DrawnIn(drawn({"--margin", "10"}));
    Area const large = DrawnIn(drawn({"--font-size", "40"}));
    EXPECT_GT(large.bottom - large.top, 3 * (plain.bottom - plain.top) / 2);
    Area const above = DrawnIn(drawn({"--position", "8"}));
    EXPECT_LT(above.bottom, 60);
    EXPECT_GT(plain.top, 120);
    EXPECT_GT(DrawnIn(drawn({"--outline", "6"})).count, plain.count * 3 / 2);
    EXPECT_LT(DrawnIn(drawn({"--margin", "60"})).bottom, 125);
    EXPECT_TRUE(DrawnIn(drawn({"--alpha", "0"})).IsEmpty());
    auto const red = drawn({"--color", "FF0000"});
    // The chroma of red: the third plane.
    std::size_t const chroma = static_cast<std::size_t>(320 * 180 + 160 * 90);
    EXPECT_GT(*std::max_element(red.pixels.begin() + static_cast<std::ptrdiff_t>(chroma), red.pixels.end()), 180);
}

TEST_F(Subtitle, AMissingFontIsToldOnce) {
    Make({Bare(), "--subs", Titles(), "--font", "No Such Font"});
    ASSERT_EQ(1U, report.at("warnings").size());
    EXPECT_THAT(report.at("warnings").at(0).get<std::string>(), HasSubstr("Font \"No Such Font\" isn't installed"));
    std::size_t const first = errors.find("No Such Font");
    ASSERT_NE(std::string::npos, first);
    EXPECT_EQ(std::string::npos, errors.find("No Such Font", first + 1));
}

TEST_F(Subtitle, FontsThatTheFileCarriesAreKnown) {
    std::string const font = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
    std::string const film =
        MakeClip("subtitle-fonts.mkv", {"-i", Bare(), "-i", Styled(), "-map", "0", "-map", "1", "-c", "copy", "-attach",
                                        font, "-metadata:s:t", "mimetype=application/x-truetype-font"});
    auto const installed = PicturesOf(Make({Bare(), "--subs", Styled()}));
    std::ofstream(folder / "fonts.conf") << "<?xml version=\"1.0\"?><fontconfig></fontconfig>\n";
    setenv("FONTCONFIG_FILE", (folder / "fonts.conf").c_str(), 1);
    ExpectSeen(PicturesOf(Make({Bare(), "--subs", Styled()})), {});
    EXPECT_THAT(errors, HasSubstr("No font is installed"));
    auto const carried = PicturesOf(Make({film}));
    EXPECT_THAT(report.at("warnings"), IsEmpty());
    unsetenv("FONTCONFIG_FILE");
    ExpectSeen(carried, {{500, 1500}, {2000, 2800}});
    ASSERT_EQ(installed.size(), carried.size());
    for (std::size_t i = 0; i < carried.size(); ++i) EXPECT_EQ(installed[i].pixels, carried[i].pixels) << i;
    EXPECT_NE(nullptr, InspectFile(folder / "out.mkv").First(StreamKind::Attachment)) << "it goes along";
}

TEST_F(Subtitle, AFileWithoutTitlesIsDoneWithAWarning) {
    std::string const empty = MakeTextFile("subtitle-empty.vtt", "WEBVTT\n\n");
    auto const pictures = PicturesOf(Make({Bare(), "--subs", empty}));
    EXPECT_EQ(75U, pictures.size());
    EXPECT_THAT(errors, HasSubstr("nothing was drawn: there are no subtitles"));
    EXPECT_EQ(0, report.at("titles").at(0).at("subtitles_read"));
}

TEST_F(Subtitle, TitlesThatADelayMovesOutOfTheFilmAreToldFromNone) {
    ExpectSeen(PicturesOf(Make({Bare(), "--subs", Titles(), "--delay", "-60"})), {});
    EXPECT_THAT(errors, HasSubstr("nothing was drawn: all subtitles lie outside of the time of the pictures"));
    ExpectSeen(PicturesOf(Make({PgsFilm(), "--delay", "-60"})), {});
    EXPECT_THAT(errors, HasSubstr("nothing was drawn: all subtitles lie outside of the time of the pictures"));
}

TEST_F(Subtitle, BitmapsForPicturesOfAnotherSizeAreWarnedOf) {
    PgsBuilder pgs(1920, 1080);
    pgs.Show(45000, {{0, 900, 950, 80, 30, std::vector<u8>(80 * 30, 1)}}, {{1, 235, 128, 128, 255}}).Clear(135000);
    WriteBytes(folder / "large.sup", pgs.GetFile());
    ExpectSeen(PicturesOf(Make({Bare(), "--subs", folder / "large.sup"})), {});
    ASSERT_FALSE(report.at("warnings").empty());
    EXPECT_EQ(
        "node 3: the bitmaps of the subtitles are made for pictures of 1920x1080 and are drawn in their places and "
        "sizes on those of 320x180: what lies outside isn't seen",
        report.at("warnings").at(0));
    EXPECT_THAT(errors, HasSubstr("1920x1080"));
    for (std::string const& film : {PgsFilm(), CodedFilm("dvdsub", ".mkv"), CodedFilm("dvbsub", ".ts")}) {
        Make({film});
        EXPECT_THAT(report.at("warnings"), IsEmpty()) << film;
    }
}

TEST_F(Subtitle, LooksOfLettersAreNoneOfBitmaps) {
    Make({PgsFilm(), "--font-size", "40", "--bold", "--alpha", "0.5"});
    ASSERT_EQ(1U, report.at("warnings").size());
    EXPECT_EQ("node 3: the subtitles are bitmaps, to which these settings mean nothing: FontSize, Bold",
              report.at("warnings").at(0));
    Make({PgsFilm(), "--alpha", "0.5"});
    EXPECT_THAT(report.at("warnings"), IsEmpty());
}

TEST_F(Subtitle, PrintsItsGraph) {
    auto const result = RunTarsel({"subtitle", Film(), "--subs", Titles(), "--delay", "-0.25", "--charset", "UTF-8",
                                   "--color", "#ffff00", "-o", folder / "out.mp4", "--print-graph"});
    ASSERT_EQ(0, result.exitCode) << result.errors;
    Json const graph = Json::parse(result.output);
    Json const& drawer = graph.at("filters").at(0);
    EXPECT_EQ("FilterSubtitleDrawer", drawer.at("class"));
    EXPECT_EQ(16776960, drawer.at("settings").at("Color"));
    EXPECT_EQ("Any", drawer.at("settings").at("FontSize"));
    EXPECT_EQ(-250000, graph.at("sources").at(1).at("delay"));
    EXPECT_EQ("UTF-8", graph.at("sources").at(1).at("charset"));
    EXPECT_THAT(folder.List(), IsEmpty());
    EXPECT_THAT(RunTarsel({"subtitle", "--help"}).output, HasSubstr("  tarsel subtitle film.mkv -o film.mp4"));
    EXPECT_THAT(RunTarsel({"--help"}).output, HasSubstr("subtitle "));
}

// Films of other forms.

TEST_F(Subtitle, FilmsOfOtherFormsKeepThem) {
    struct Form {
        std::string name;
        std::vector<std::string> arguments;
        int width;
        int height;
    };
    for (Form const& form : std::vector<Form>{
             {"subtitle-deep.mkv", {"-f", "lavfi", "-i", GREY, "-pix_fmt", "yuv420p10le", "-c:v", "ffv1"}, 320, 180},
             {"subtitle-odd.mkv",
              {"-f", "lavfi", "-i", "color=gray:s=321x181:r=25:d=3,format=yuv444p", "-c:v", "ffv1"},
              321,
              181},
             {"subtitle-wide.mkv",
              {"-f", "lavfi", "-i", "color=gray:s=240x192:r=25:d=3,format=yuv420p,setsar=64/45", "-c:v", "ffv1"},
              240,
              192},
             {"subtitle-fields.mkv",
              {"-f", "lavfi", "-i", GREY, "-vf", "setfield=tff", "-c:v", "mpeg2video", "-q:v", "2", "-flags",
               "+ilme+ildct", "-top", "1"},
              320,
              180}}) {
        std::string const film = MakeClip(form.name, form.arguments);
        auto const pictures = PicturesOf(Make({film, "--subs", Titles(), "--video-codec", "h264"}));
        auto const source = PicturesOf(film);
        ASSERT_EQ(source.size(), pictures.size()) << form.name;
        EXPECT_EQ(form.width, pictures[25].width) << form.name;
        EXPECT_EQ(form.height, pictures[25].height) << form.name;
        EXPECT_EQ(source[25].pixelFormat, pictures[25].pixelFormat) << form.name;
        EXPECT_GT(Psnr(source[0], pictures[0]), 45) << form.name << ": nothing is drawn yet";
        EXPECT_LT(Psnr(source[25], pictures[25]), 42) << form.name << ": some letters are";
    }
}

TEST_F(Subtitle, PicturesThatAreToBeTurnedAreWarnedOf) {
    std::string const plain = MakeClip("subtitle-upright.mp4", {"-f", "lavfi", "-i", GREY, "-c:v", "libx264"});
    std::string const film =
        MakeClip("subtitle-turned.mp4", {"-i", plain, "-c", "copy", "-metadata:s:v:0", "rotate=90"});
    ASSERT_NE(0, InspectFile(film).streams.at(0).rotation);
    Make({film, "--subs", Titles()}, "out.mp4");
    EXPECT_THAT(errors, HasSubstr("its file asks players to turn the picture: what is drawn turns with it"));
}

// Beside ffmpeg.

TEST_F(Subtitle, TextsCoverWhatFFmpegsCover) {
    for (std::string const& titles : {Titles(), Styled()}) {
        auto const own = PicturesOf(Make({Bare(), "--subs", titles}));
        auto const theirs = PicturesOf(MakeClip("subtitle-theirs-" + std::to_string(titles.size()) + ".mkv",
                                                {"-i", Bare(), "-vf", "subtitles=" + titles, "-c:v", "ffv1"}));
        ASSERT_EQ(theirs.size(), own.size());
        for (std::size_t const number : {0U, 12U, 13U, 25U, 37U, 38U, 50U, 60U, 69U, 70U}) {
            Area const mine = DrawnIn(own[number]);
            Area const other = DrawnIn(theirs[number]);
            ASSERT_EQ(other.IsEmpty(), mine.IsEmpty()) << titles << " " << number;
            if (mine.IsEmpty()) continue;
            EXPECT_NEAR(other.left, mine.left, 3) << titles << " " << number;
            EXPECT_NEAR(other.top, mine.top, 3) << titles << " " << number;
            EXPECT_NEAR(other.right, mine.right, 3) << titles << " " << number;
            EXPECT_NEAR(other.bottom, mine.bottom, 3) << titles << " " << number;
            EXPECT_NEAR(other.count, mine.count, other.count / 10) << titles << " " << number;
        }
        Sheet().Add(ToSheet(own.at(25)), "drawn here");
        Sheet().Add(ToSheet(theirs.at(25)), "by ffmpeg: the same");
    }
}

TEST_F(Subtitle, BitmapsCoverWhatFFmpegsCover) {
    auto const own = PicturesOf(Make({PgsFilm()}));
    RunFFmpeg({"-i", PgsFilm(), "-filter_complex", "[0:v][0:s]overlay", "-frames:v", "75", "-c:v", "ffv1",
               folder / "theirs.mkv"});
    auto const theirs = PicturesOf(folder / "theirs.mkv");
    ASSERT_EQ(theirs.size(), own.size());
    for (std::size_t const number : {5U, 20U, 30U, 55U, 65U}) {
        Area const mine = DrawnIn(own[number]);
        Area const other = DrawnIn(theirs[number]);
        ASSERT_EQ(other.IsEmpty(), mine.IsEmpty()) << number;
        if (mine.IsEmpty()) continue;
        EXPECT_NEAR(other.left, mine.left, 2) << number;
        EXPECT_NEAR(other.top, mine.top, 2) << number;
        EXPECT_NEAR(other.right, mine.right, 2) << number;
        EXPECT_NEAR(other.bottom, mine.bottom, 2) << number;
    }
}

}  // namespace
}  // namespace Tarsel::Test
