// Titles that stay at the times of their file, whatever is done in front of them or behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "contracts/Proc/SettingsFilterCutController.h"
#include "tests/host/titles/TitleFilms.h"

namespace Tarsel::Test {
namespace {

constexpr auto VIDEO = Host::StreamKind::Video;
constexpr auto SUBTITLE = Host::StreamKind::Subtitle;

std::vector<Shown> const& Bare() {
    static std::vector<Shown> const pictures = [] {
        GraphMaker graph;
        graph.Source(1, Film(), VIDEO).Filter(9, TRIMMER, {1}, {{"Duration", "10000000"}});
        return Player(graph).ReadAll();
    }();
    return pictures;
}

class TitlesStay : public ::testing::TestWithParam<bool> {
  protected:
    static std::string Titles() { return GetParam() ? TextTitles() : BitmapTitles(); }
    /// The drawn film, played through.
    static std::vector<Shown> const& Plain() {
        static std::vector<Shown> const texts = Player(Titled(TextTitles())).ReadAll();
        static std::vector<Shown> const bitmaps = Player(Titled(BitmapTitles())).ReadAll();
        return GetParam() ? texts : bitmaps;
    }
    /// The first seconds of film and titles, drawn as node 9.
    static GraphMaker Trimmed(int64 duration) {
        GraphMaker graph;
        graph.Source(1, Film(), VIDEO).Source(2, Titles(), SUBTITLE);
        graph.Filter(3, TRIMMER, {1}, {{"Duration", std::to_string(duration)}});
        graph.Filter(4, TRIMMER, {2}, {{"Duration", std::to_string(duration)}});
        graph.Filter(9, DRAWER, {3, 4});
        return graph;
    }
    /// Whether it is one of the film's pictures at about that time.
    static void ExpectNear(Shown const& shown, int64 time, std::string const& what) {
        auto const found = std::find_if(Plain().begin(), Plain().end(),
                                        [&](Shown const& picture) { return picture.pixels == shown.pixels; });
        ASSERT_NE(found, Plain().end()) << what << " at " << shown.time;
        EXPECT_LE(std::abs(found->time - time), PICTURE) << what << " at " << shown.time;
    }
};

TEST_P(TitlesStay, AreSeenFromTheirBeginningToTheirEndAndNowhereElse) {
    ASSERT_EQ(250U, Plain().size());
    ASSERT_EQ(250U, Bare().size());
    for (std::size_t i = 0; i < Plain().size(); ++i) {
        ASSERT_EQ(Bare()[i].time, Plain()[i].time);
        EXPECT_EQ(IsTitleTime(Plain()[i].time), Bare()[i].pixels != Plain()[i].pixels) << Plain()[i].time;
    }
}

TEST_P(TitlesStay, PicturesBehindSeeksAreThoseOfPlayingThrough) {
    Player player(Titled(Titles()));
    std::mt19937 random(11);
    for (int i = 0; i < 40; ++i) {
        auto const place = static_cast<std::size_t>(random() % 250);
        player.Seek(static_cast<int64>(place) * PICTURE + static_cast<int64>(random() % 3) * 7000);
        for (std::size_t next = place; next < std::min<std::size_t>(place + 4, 250); ++next) {
            Shown const shown = player.Read();
            ASSERT_EQ(Plain()[next], shown)
                << "seek " << i << " to picture " << place << ": " << Difference(Plain()[next], shown);
        }
    }
}

TEST_P(TitlesStay, TrimmedAlikeInFrontOfTheDrawer) {
    auto const trimmed = Player(Trimmed(3 * SECOND)).ReadAll();
    ASSERT_EQ(75U, trimmed.size());
    for (std::size_t i = 0; i < trimmed.size(); ++i) ASSERT_EQ(Plain()[i], trimmed[i]) << i;
    Player player(Trimmed(3 * SECOND));
    for (std::size_t const place : {70U, 10U, 45U, 0U, 74U}) {
        player.Seek(static_cast<int64>(place) * PICTURE);
        ASSERT_EQ(Plain()[place], player.Read()) << place;
    }
}

TEST_P(TitlesStay, LoopedBehindTheDrawer) {
    auto graph = Trimmed(3 * SECOND);
    graph.Filter(10, "SettingsFilterLoop", {9}, {{"Duration", "8000000"}});
    auto const looped = Player(graph).ReadAll();
    ASSERT_EQ(200U, looped.size());
    for (std::size_t i = 0; i < looped.size(); ++i)
        ASSERT_TRUE(Plain()[i % 75].pixels == looped[i].pixels) << i << ": " << Difference(Plain()[i % 75], looped[i]);
    Player player(graph);
    for (std::size_t const place : {100U, 5U, 199U, 74U, 75U}) {
        player.Seek(static_cast<int64>(place) * PICTURE);
        ASSERT_EQ(looped[place], player.Read()) << place;
    }
}

TEST_P(TitlesStay, ReversedBehindTheDrawer) {
    auto graph = Trimmed(4 * SECOND);
    graph.Filter(10, "SettingsFilterReverse", {9});
    auto const reversed = Player(graph).ReadAll();
    ASSERT_EQ(100U, reversed.size());
    for (std::size_t i = 0; i < 100; ++i)
        ASSERT_TRUE(Plain()[99 - i].pixels == reversed[i].pixels)
            << i << ": " << Difference(Plain()[99 - i], reversed[i]);
}

TEST_P(TitlesStay, FasterAndSlowerBehindTheDrawer) {
    for (auto const& [factor, text] : {std::pair{2.0, "2"}, {0.5, "0.5"}}) {
        auto graph = Titled(Titles());
        graph.Filter(10, "SettingsFilterSpeedUp", {9}, {{"SpeedUp", text}});
        auto const played = Player(graph).ReadAll();
        ASSERT_GE(played.size(), 100U);
        for (Shown const& shown : played)
            ExpectNear(shown, static_cast<int64>(double(shown.time) * factor), std::string("speed ") + text);
    }
}

TEST_P(TitlesStay, AtAnotherRateBehindTheDrawer) {
    for (char const* const rate : {"10/1", "30/1"}) {
        auto graph = Titled(Titles());
        graph.Filter(10, "SettingsFilterFrameRate", {9}, {{"FrameRate", rate}});
        auto const played = Player(graph).ReadAll();
        ASSERT_GE(played.size(), 99U);
        for (Shown const& shown : played) ExpectNear(shown, shown.time, std::string("rate ") + rate);
    }
}

INSTANTIATE_TEST_SUITE_P(OfBothKinds, TitlesStay, ::testing::Bool(),
                         [](auto const& tested) { return tested.param ? "Texts" : "Bitmaps"; });

TEST(TitleTimes, ACutOfPicturesAndTitlesTogetherMovesTheTextsWithTheirPictures) {
    std::string const titles =
        MakeTextFile("titles-cut.srt", SrtOf({{200, 900}, {1500, 4000}, {5000, 6200}}, "Title number"));
    auto const plain = Player(Titled(titles)).ReadAll();
    Core::Property settings(Proc::SettingsFilterCutController::CLASS_ID);
    settings.Add(Core::Property("Interval").SetChild("Start", int64{2000000}).SetChild("End", int64{3000000}));
    GraphMaker graph;
    graph.Source(1, Film(), VIDEO).Source(2, titles, SUBTITLE);
    // A cut controller takes streams of one length.
    graph.Filter(5, TRIMMER, {1}, {{"Duration", "10000000"}});
    graph.Filter(6, TRIMMER, {2}, {{"Duration", "10000000"}});
    graph.Controller(20, "FilterCutController", {{3, 5}, {4, 6}}, settings);
    graph.Filter(9, DRAWER, {3, 4});
    auto const cut = Player(graph).ReadAll();
    ASSERT_EQ(225U, cut.size());
    for (std::size_t i = 0; i < cut.size(); ++i)
        ASSERT_TRUE(plain[i < 50 ? i : i + 25].pixels == cut[i].pixels)
            << "picture " << i << ": " << Difference(plain[i < 50 ? i : i + 25], cut[i]);
}

TEST(TitleTimes, ADelayMovesTitlesToBothSides) {
    for (int64 const delay : {int64{1500000}, int64{-450000}}) {
        for (std::string const& titles : {TextTitles(), BitmapTitles()}) {
            auto graph = Titled(titles);
            graph.document.sources.back().delay = delay;
            auto const drawn = Player(graph).ReadAll();
            ASSERT_EQ(250U, drawn.size());
            for (std::size_t i = 0; i < drawn.size(); ++i)
                EXPECT_EQ(IsTitleTime(drawn[i].time - delay), Bare()[i].pixels != drawn[i].pixels)
                    << titles << " by " << delay << " at " << drawn[i].time;
            Player player(graph);
            for (std::size_t const place : {60U, 20U, 200U, 249U}) {
                player.Seek(static_cast<int64>(place) * PICTURE);
                EXPECT_EQ(drawn[place], player.Read()) << titles << " by " << delay << " sought to " << place;
            }
        }
    }
}

TEST(TitleTimes, ALongTitleOfAFileIsFoundHoweverFarInASeekGoes) {
    // The drawer looks 5 seconds ahead of a seek's target; what its source gives there reaches into that place.
    std::string const titles = MakeTextFile("titles-long.srt", SrtOf({{1000, 9900}}, "Long title"));
    Player player(Titled(titles));
    auto const straight = player.ReadAll();
    for (std::size_t const place : {100U, 175U, 240U}) {
        player.Seek(static_cast<int64>(place) * PICTURE);
        EXPECT_EQ(straight[place], player.Read()) << place;
        EXPECT_NE(Bare()[place].pixels, straight[place].pixels) << place;
    }
}

/// Each meets the next, so that where the last one stands depends on the first.
std::vector<std::pair<int64, int64>> const& ChainTimes() {
    static std::vector<std::pair<int64, int64>> const times{{0, 1000}, {800, 3000}, {2800, 5000}, {4800, 7000}};
    return times;
}

/// Sought to, picture by picture while the last title of the chain is alone, all is as when played through.
void ExpectChainStays(GraphMaker const& graph) {
    Player player(graph);
    auto const straight = player.ReadAll();
    ASSERT_EQ(250U, straight.size());
    for (std::size_t place = 130; place < 175; ++place) {
        player.Seek(static_cast<int64>(place) * PICTURE);
        ASSERT_EQ(straight[place], player.Read()) << place << " of " << graph.document.filters.size() << " filters";
    }
}

TEST(TitleTimes, OverlappingTitlesKeepTheirRowsHoweverASeekCameThere) {
    std::string const titles = MakeTextFile("titles-chain.srt", SrtOf(ChainTimes(), "Title number"));
    ExpectChainStays(Titled(titles));
    // Alone it would stand in the lower row.
    std::string const last = SrtOf({ChainTimes().back()}, "Title number 4");
    auto const alone = Player(Titled(MakeTextFile("titles-chain-end.srt", last))).ReadAll();
    EXPECT_NE(alone[160].pixels, Player(Titled(titles)).ReadAll()[160].pixels);
}

TEST(TitleTimes, OverlappingTitlesThatATrimmerCutsAtTheSoughtPlaceKeepTheirRows) {
    GraphMaker graph;
    graph.Source(1, Film(), VIDEO);
    graph.Source(2, MakeTextFile("titles-chain.srt", SrtOf(ChainTimes(), "Title number")), SUBTITLE);
    graph.Filter(4, TRIMMER, {2}, {{"Duration", "10000000"}});
    graph.Filter(9, DRAWER, {1, 4});
    ExpectChainStays(graph);
}

TEST(TitleTimes, OverlappingTitlesBehindACutKeepTheirRows) {
    Core::Property settings(Proc::SettingsFilterCutController::CLASS_ID);
    settings.Add(Core::Property("Interval").SetChild("Start", int64{7200000}).SetChild("End", int64{8200000}));
    std::string const titles = MakeTextFile(
        "titles-chain-cut.srt",
        SrtOf({{0, 1000}, {800, 3000}, {2800, 5000}, {4800, 7000}, {7000, 9000}, {8400, 9900}}, "Title number"));
    GraphMaker graph;
    graph.Source(1, Film(), VIDEO).Source(2, titles, SUBTITLE);
    graph.Filter(5, TRIMMER, {1}, {{"Duration", "10000000"}});
    graph.Filter(6, TRIMMER, {2}, {{"Duration", "10000000"}});
    graph.Controller(20, "FilterCutController", {{3, 5}, {4, 6}}, settings);
    graph.Filter(9, DRAWER, {3, 4});
    Player player(graph);
    auto const straight = player.ReadAll();
    ASSERT_EQ(225U, straight.size());
    for (std::size_t const place : {224U, 140U, 160U, 200U, 10U, 174U, 185U, 130U, 170U, 179U, 180U}) {
        player.Seek(static_cast<int64>(place) * PICTURE);
        for (std::size_t next = place; next < std::min<std::size_t>(place + 12, 225); ++next)
            ASSERT_EQ(straight[next], player.Read()) << next << " sought to " << place;
    }
}

TEST(TitleTimes, PicturesOfVaryingLengthGetTheTitlesOfTheirTimes) {
    std::string const film =
        MakeClip("titles-varying.mkv", {"-f", "lavfi", "-i", "testsrc2=s=320x180:r=25:d=10,format=yuv420p", "-vf",
                                        "select='lt(mod(n,10),3)+eq(mod(n,10),7)'", "-vsync", "vfr", "-c:v", "ffv1"});
    auto const drawn = Player(Titled(TextTitles(), {}, film)).ReadAll();
    ASSERT_EQ(100U, drawn.size());
    for (Shown const& shown : drawn) {
        auto const bare = std::find_if(Bare().begin(), Bare().end(),
                                       [&](Shown const& picture) { return picture.time == shown.time; });
        ASSERT_NE(bare, Bare().end()) << shown.time;
        EXPECT_EQ(IsTitleTime(shown.time), bare->pixels != shown.pixels) << shown.time;
    }
}

}  // namespace
}  // namespace Tarsel::Test
