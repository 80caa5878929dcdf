// Graphs with a drawer of subtitles: what they refuse, what they tell, and how they look.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <nlohmann/json.hpp>
#include <numeric>
#include <random>

#include "contracts/Proc/SettingsSubtitleDrawer.h"
#include "host/graph/GraphChecks.h"
#include "host/graph/GraphErrors.h"
#include "host/graph/GraphJob.h"
#include "host/graph/GraphReader.h"
#include "host/graph/GraphWriter.h"
#include "tests/host/titles/TitleFilms.h"
#include "tests/support/ContactSheet.h"
#include "tests/support/ExpectThrow.h"

namespace Tarsel::Test {
namespace {

using namespace Host;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using TestSupport::MessageOf;

/// Sources 1 of video, 2 of sound, 3 and 4 of subtitles.
std::string Text(std::string const& drawer, std::string const& source = {}) {
    return R"({"sources": [{"id": 1, "file": "a", "stream": "video"}, {"id": 2, "file": "a", "stream": "audio"},
                           {"id": 3, "file": "a", "stream": "subtitle"},
                           {"id": 4, "file": "b.srt", "stream": "subtitle"})" +
           (source.empty() ? "" : ", " + source) + R"(], "filters": [{"id": 9, "class": "FilterSubtitleDrawer", )" +
           drawer + R"(}], "output": "null"})";
}

std::string ErrorOf(std::string const& text) {
    return MessageOf<GraphException>([&] { ParseGraph(text); });
}

TEST(TitleGraphs, TheDrawerTakesPicturesFirstAndSubtitlesSecondAndGivesPictures) {
    auto const types = CheckGraph(ParseGraph(Text(R"("inputs": [1, 4])")));
    EXPECT_EQ(GraphKind::Video, types.at(9).kind);
    EXPECT_EQ(Host::StreamKind::Video, types.at(9).media);
    EXPECT_EQ(
        "node 9: /filters/0/inputs/1: FilterSubtitleDrawer works on subtitle behind its first input, and node 5 "
        "gives video",
        ErrorOf(Text(R"("inputs": [1, 5])", R"({"id": 5, "file": "c", "stream": "video"})")));
    EXPECT_EQ(
        "node 9: /filters/0/inputs/0: FilterSubtitleDrawer works on video as its first input, and node 3 gives "
        "subtitle",
        ErrorOf(Text(R"("inputs": [3, 4])")));
    EXPECT_EQ(
        "node 9: /filters/0/inputs/1: FilterSubtitleDrawer works on subtitle behind its first input, and node 2 "
        "gives audio",
        ErrorOf(Text(R"("inputs": [1, 2])")));
    EXPECT_EQ("node 9: /filters/0/inputs: FilterSubtitleDrawer takes 2 inputs, not 1",
              ErrorOf(Text(R"("inputs": [1])")));
    EXPECT_EQ("node 9: /filters/0/inputs: FilterSubtitleDrawer takes 2 inputs, not 3",
              ErrorOf(Text(R"("inputs": [1, 3, 4])")));
}

TEST(TitleGraphs, SettingsAreTheDrawersAndStayAsStyledWhereNothingIsSaid) {
    GraphDocument const plain = ParseGraph(Text(R"("inputs": [1, 3])"));
    EXPECT_EQ(Settings2Property(Proc::SettingsSubtitleDrawer()), plain.filters[0].settings);
    GraphDocument const told =
        ParseGraph(Text(R"("inputs": [1, 3], "settings": {"FontName": "DejaVu Sans", "FontSize": 30, "Color": "#FFFF00",
                "OutlineColor": "0x000080", "Outline": 2, "Shadow": 0, "Bold": "On", "Alignment": 8, "MarginV": "Any",
                "Alpha": 200})"));
    Proc::SettingsSubtitleDrawer settings;
    settings.SetFontName("DejaVu Sans");
    settings.SetFontSize(30);
    settings.SetColor(0xFFFF00);
    settings.SetOutlineColor(0x000080);
    settings.SetOutline(2);
    settings.SetShadow(0);
    settings.SetBold(1);
    settings.SetAlignment(8);
    settings.SetAlpha(200);
    EXPECT_EQ(Settings2Property(settings), told.filters[0].settings);
    EXPECT_EQ(told, ParseGraph(WriteGraph(told)));
    EXPECT_THAT(WriteGraph(plain), ::testing::Not(HasSubstr("FontName")));
    auto const wrong = [](std::string const& field) {
        return ErrorOf(Text(R"("inputs": [1, 3], "settings": {)" + field + "}"));
    };
    EXPECT_THAT(wrong(R"("FontSize": 0)"), HasSubstr("/settings/FontSize: must be an integer from 1 to 4096"));
    EXPECT_THAT(wrong(R"("Color": "yellow")"), HasSubstr("/settings/Color: must be a colour \"#RRGGBB\""));
    EXPECT_THAT(wrong(R"("Bold": "Yes")"), HasSubstr("must be one of \"Any\", \"Off\", \"On\""));
    EXPECT_THAT(wrong(R"("Alignment": 10)"), HasSubstr("from 1 to 9"));
    EXPECT_THAT(wrong(R"("Alpha": 256)"), HasSubstr("from 0 to 255"));
}

TEST(TitleGraphs, OnlySubtitlesHaveACharsetAndADelay) {
    auto const with = [](std::string const& stream, std::string const& more) {
        return Text(R"("inputs": [1, 3])", R"({"id": 5, "file": "c", "stream": ")" + stream + R"(", )" + more + "}");
    };
    GraphDocument const document = ParseGraph(with("subtitle", R"("charset": "CP1252", "delay": -250000)"));
    EXPECT_EQ("CP1252", document.sources[4].charset);
    EXPECT_EQ(-250000, document.sources[4].delay);
    EXPECT_EQ(document, ParseGraph(WriteGraph(document)));
    EXPECT_EQ("node 5: /sources/4/delay: node 5 gives audio: a delay is one of subtitles",
              ErrorOf(with("audio", R"("delay": 5)")));
    EXPECT_EQ("node 5: /sources/4/charset: node 5 gives video: a charset is one of subtitles",
              ErrorOf(with("video", R"("charset": "CP1252")")));
    EXPECT_EQ("node 5: /sources/4/charset: node 5 gives packets: a charset is one of subtitles",
              ErrorOf(with("subtitle", R"("packets": true, "charset": "CP1252")")));
    EXPECT_THAT(ErrorOf(with("subtitle", R"("charset": "")")), HasSubstr("the name of the encoding is empty"));
    EXPECT_THAT(ErrorOf(with("subtitle", R"("delay": 2592000000001)")), HasSubstr("must be an integer from"));
}

GraphReport Play(GraphMaker const& graph) {
    return RunGraph(graph.document, {}, nullptr);
}

TEST(TitleGraphs, TheReportTellsWhatWasDrawn) {
    GraphReport const report = Play(Titled(TextTitles()));
    ASSERT_EQ(1U, report.titles.size());
    EXPECT_EQ(9, report.titles[0].node);
    EXPECT_EQ(5, report.titles[0].subtitlesRead);
    EXPECT_THAT(report.warnings, IsEmpty());
    auto const json = nlohmann::json::parse(report.ToJson(false));
    EXPECT_EQ(5, json.at("titles").at(0).at("subtitles_read"));
    EXPECT_GT(json.at("titles").at(0).at("images_made"), 100);
    EXPECT_THAT(report.ToText(false), HasSubstr("node 9 drew: 5 subtitles, "));
}

TEST(TitleGraphs, ABitmapIsComposedOncePerTitleHoweverLongItIsSeen) {
    // The second replaces the first where they overlap, so that there are five.
    EXPECT_EQ(5, Play(Titled(BitmapTitles())).titles.at(0).imagesMade);
}

TEST(TitleGraphs, EmptyFilesAndTitlesBeyondTheEndDrawNothingWithAWarning) {
    std::string const empty = MakeTextFile("titles-empty.vtt", "WEBVTT\n\n");
    GraphReport const none = Play(Titled(empty));
    EXPECT_EQ(250, none.streams.at(0).items);
    EXPECT_THAT(none.warnings, ElementsAre("node 9: nothing was drawn: there are no subtitles"));
    std::string const late = MakeTextFile("titles-late.srt", SrtOf({{20000, 21000}}, "Too late"));
    GraphReport const beyond = Play(Titled(late));
    EXPECT_EQ(250, beyond.streams.at(0).items);
    EXPECT_THAT(beyond.warnings,
                ElementsAre("node 9: nothing was drawn: no subtitle of 1 is seen in the time of the pictures"));
}

/// Title after title at odd milliseconds, now and then with nothing between two of them.
std::vector<std::pair<int64, int64>> RandomTimes(unsigned seed) {
    std::mt19937 random(seed);
    std::vector<std::pair<int64, int64>> times;
    // As long as it takes to be seen on one picture.
    times.emplace_back(1998, 2002);
    for (int64 time = 2100; times.size() < 16;) {
        int64 const begin = time + random() % 3 * (random() % 90);
        time = begin + 1 + random() % 160;
        times.emplace_back(begin, time);
    }
    return times;
}

TEST(TitleGraphs, ATitleIsSeenOnThePicturesFromItsBeginningToItsEndToTheMillisecond) {
    for (std::string const rate : {"24", "25", "30000/1001", "60"}) {
        std::string const name = "titles-rate-" + rate.substr(0, 2) + ".mkv";
        std::string const film =
            MakeClip(name, {"-f", "lavfi", "-i", "color=gray:s=160x90:r=" + rate + ":d=5,format=gray", "-c:v", "ffv1"});
        for (unsigned seed = 1; seed <= 3; ++seed) {
            SCOPED_TRACE(rate + " a second, seed " + std::to_string(seed));
            auto const times = RandomTimes(seed);
            auto const all = Player(Titled(MakeTextFile("titles-odd.srt", SrtOf(times, "Title")), {}, film)).ReadAll();
            ASSERT_GT(all.size(), 100U);
            for (Shown const& shown : all) {
                bool const isSeen = std::any_of(times.begin(), times.end(), [&](auto const& title) {
                    return shown.time >= title.first * 1000 && shown.time < title.second * 1000;
                });
                EXPECT_EQ(isSeen, shown.pixels != all.front().pixels) << "at " << shown.time;
            }
            // At 29.97 no picture is that early.
            auto const brief = std::find_if(all.begin(), all.end(), [](Shown const& shown) {
                return shown.time >= 1998000 && shown.time < 2002000;
            });
            ASSERT_EQ(rate != "30000/1001", brief != all.end());
        }
    }
}

TEST(TitleGraphs, AFileInAnotherEncodingIsNamedAndDrawnOnceItsEncodingIsTold) {
    std::string const latin = MakeTextFile("titles-latin.srt", SrtOf({{500, 9000}},
                                                                     "Gr\xFC\xDF"
                                                                     "e"));
    auto graph = Titled(latin);
    EXPECT_THAT(MessageOf<GraphException>([&] { BuildGraph(graph.document); }),
                AllOf(HasSubstr("node 2: /sources/1/file: " + latin), HasSubstr("UTF-8")));
    graph.document.sources.back().charset = "CP1252";
    auto const drawn = Player(graph).ReadAll();
    auto plain = Titled(MakeTextFile("titles-utf8.srt", SrtOf({{500, 9000}},
                                                              "Gr\xC3\xBC\xC3\x9F"
                                                              "e")));
    EXPECT_EQ(Player(plain).ReadAll(), drawn);
    graph.document.sources.back().charset = "Klingon";
    EXPECT_THAT(MessageOf<GraphException>([&] { BuildGraph(graph.document); }),
                HasSubstr("the encoding 'Klingon' isn't known"));
}

/// A script with one style, up to the text of its only line.
std::string PlainScript(std::string const& encoding) {
    return "[Script Info]\nScriptType: v4.00+\nPlayResX: 320\nPlayResY: 180\n\n[V4+ Styles]\nFormat: Name, Fontname, "
           "Fontsize, PrimaryColour, SecondaryColour, OutlineColour, BackColour, Bold, Italic, Underline, StrikeOut, "
           "ScaleX, ScaleY, Spacing, Angle, BorderStyle, Outline, Shadow, Alignment, MarginL, MarginR, MarginV, "
           "Encoding\nStyle: Default,DejaVu "
           "Sans,24,&H00FFFFFF,&H0,&H00000000,&H0,0,0,0,0,100,100,0,0,1,2,0,2,10,10,10," +
           encoding +
           "\n\n[Events]\nFormat: Layer, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text\n"
           "Dialogue: 0,0:00:00.00,0:00:09.00,Default,,0,0,0,,";
}

/// Where the highest of the letters, 60 high, stand on a picture of `Film()`: 0 at the left end of all, 1 at the right.
double HighestLetterAt(std::string const& titles) {
    constexpr int WIDTH = 320, HEIGHT = 180;
    auto const at = [](Player&& player) {
        player.Seek(SECOND);
        return player.Read().pixels;
    };
    std::string const bare = at(Player(Titled(MakeTextFile("titles-empty.vtt", "WEBVTT\n\n"))));
    std::string const drawn = at(Player(Titled(titles, {{"FontSize", "60"}})));
    std::vector<int> all, highest;
    for (std::size_t i = 0; i < WIDTH * HEIGHT && i < drawn.size(); ++i) {
        if (drawn.at(i) == bare.at(i)) continue;
        int const row = static_cast<int>(i) / WIDTH, column = static_cast<int>(i) % WIDTH;
        if (all.empty()) highest.push_back(row);
        all.push_back(column);
        if (row < highest.front() + 3) highest.push_back(column);
    }
    if (all.empty()) return -1;
    auto const [left, right] = std::minmax_element(all.begin(), all.end());
    double const sum = std::accumulate(highest.begin() + 1, highest.end(), 0.0);
    return (sum / double(highest.size() - 1) - *left) / (*right - *left);
}

TEST(TitleGraphs, ARightToLeftTitleOfAPlainFileBeginsAtTheRight) {
    // Behind the low Hebrew letters stands a high Latin one.
    std::string const hebrew = "\u05D9\u05D9\u05D9 l", latin = "aaa l";
    auto const srt = [](std::string const& text) {
        return MakeTextFile("titles-direction.srt",
                            "1\n" + SrtTime(0) + " --> " + SrtTime(9000) + "\n" + text + "\n\n");
    };
    double const right = HighestLetterAt(srt(latin));
    EXPECT_GT(right, 0.8);
    double const left = HighestLetterAt(srt(hebrew));
    EXPECT_GE(left, 0);
    EXPECT_LT(left, 0.2);
    // A script says itself from where its lines run.
    std::string const script = MakeTextFile("titles-direction.ass", PlainScript("1") + hebrew + "\n");
    EXPECT_GT(HighestLetterAt(script), 0.8);
    std::string const turned = MakeTextFile("titles-direction.ass", PlainScript("-1") + hebrew + "\n");
    EXPECT_LT(HighestLetterAt(turned), 0.2);
}

TEST(TitleGraphs, AMissingFontIsWarnedOfOnceAndDrawnInAnother) {
    GraphReport const report = Play(Titled(TextTitles(), {{"FontName", "No Such Font"}}));
    ASSERT_EQ(1U, report.warnings.size());
    EXPECT_THAT(report.warnings[0], HasSubstr("Font \"No Such Font\" isn't installed"));
    EXPECT_GT(report.titles.at(0).imagesMade, 100);
}

TEST(TitleGraphs, TenThousandTitlesAreReadOnceEach) {
    std::vector<std::pair<int64, int64>> times;
    for (int64 i = 0; i < 10000; ++i) times.emplace_back(i, i + 10);
    GraphReport const report = Play(Titled(MakeTextFile("titles-many.srt", SrtOf(times, "M"))));
    // All but those behind the last picture, one of which is fetched ahead.
    EXPECT_GE(report.titles.at(0).subtitlesRead, 9900);
    EXPECT_LE(report.titles.at(0).subtitlesRead, 10000);
    EXPECT_EQ(250, report.titles.at(0).imagesMade);
}

TEST(TitleGraphs, PicturesOfTheGraphicsProcessorAreDrawnOnAsWell) {
    auto const player = [](std::string const& implementation) {
        GraphMaker graph;
        graph.Source(1, Film(), Host::StreamKind::Video).Source(2, TextTitles(), Host::StreamKind::Subtitle);
        graph.Filter(3, "SettingsResizer", {1},
                     {{"Implementation", implementation}, {"Width", "320"}, {"Height", "180"}});
        graph.Filter(9, DRAWER, {3, 2});
        return Player(graph);
    };
    auto onGpu = player("OGL");
    auto const bare = Player(Titled(MakeTextFile("titles-empty.vtt", "WEBVTT\n\n"))).ReadAll();
    onGpu.Seek(SECOND);
    auto const picture = onGpu.ReadPicture();
    ASSERT_TRUE(picture);
    EXPECT_FALSE(Proc::IsOGLFrame(picture));
    EXPECT_EQ(SECOND, picture->GetTime());
    EXPECT_NE(bare[25].pixels, PixelsOf(*picture));
}

// What people can look at.

iptr<Proc::IDataVideo> At(GraphMaker const& graph, int64 time) {
    Player player(graph);
    player.Seek(time);
    return player.ReadPicture();
}

TEST(TitleGraphs, HowTitlesLook) {
    ContactSheet sheet("titles-in-graphs", 3);
    auto const add = [&](GraphMaker const& graph, int64 time, std::string const& caption) {
        auto const picture = At(graph, time);
        ASSERT_TRUE(picture) << caption;
        sheet.Add(picture, caption);
    };
    add(Titled(TextTitles()), SECOND, "SRT, one title, below");
    add(Titled(TextTitles()), 1800000, "SRT, two titles: the later above");
    add(Titled(BitmapTitles()), SECOND, "PGS: a white square");
    add(Titled(BitmapTitles()), 3 * SECOND, "PGS: a red square, farther right");
    add(Titled(TextTitles(), {{"FontSize", "40"}, {"Color", "16776960"}, {"OutlineColor", "128"}, {"Alignment", "8"}}),
        SECOND, "large, yellow on dark blue, above");
    add(Titled(TextTitles(), {{"Alpha", "128"}, {"Bold", "1"}, {"MarginV", "60"}}), SECOND,
        "bold, half seen, 60 above the edge");
    add(Titled(TextTitles(), {{"FontName", "No Such Font"}}), SECOND, "a font that is missing: sans-serif");
    add(Titled(MakeTextFile("titles-bidi.srt", SrtOf({{0, 9000}}, "\xD7\xA9\xD7\x9C\xD7\x95\xD7\x9D (abc) 123"))),
        SECOND, "Hebrew: its letters from right to left");
    std::string const script = MakeTextFile(
        "titles-styled.ass",
        "[Script Info]\nScriptType: v4.00+\nPlayResX: 320\nPlayResY: 180\n\n[V4+ Styles]\nFormat: Name, Fontname, "
        "Fontsize, PrimaryColour, SecondaryColour, OutlineColour, BackColour, Bold, Italic, Underline, StrikeOut, "
        "ScaleX, ScaleY, Spacing, Angle, BorderStyle, Outline, Shadow, Alignment, MarginL, MarginR, MarginV, "
        "Encoding\nStyle: Default,DejaVu Sans,24,&H0000FFFF,&H0,&H00000000,&H0,0,0,0,0,100,100,0,0,1,2,0,5,10,10,10,1\n"
        "\n[Events]\nFormat: Layer, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text\nDialogue: "
        "0,0:00:00.00,0:00:09.00,Default,,0,0,0,,{\\frz20}Turned, yellow\n");
    add(Titled(script), SECOND, "ASS: yellow, in the middle, turned");
}

}  // namespace
}  // namespace Tarsel::Test
