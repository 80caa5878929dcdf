// What the drawer's titles say of their times and looks, and how far back they begin behind a seek.
#include "host/titles/RetimedTitles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "contracts/Core/Exception.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/Titles.h"

namespace Tarsel::Test {
namespace {

using Host::RetimedTitles;
using Proc::DataSubtitleFF;
using Proc::IDataSubtitle;
using Proc::IStreamSubtitle;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using TestSupport::MessageOf;

constexpr int64 MILLISECOND = 1000;
constexpr char LINE[] = "Dialogue: 0,0:00:01.00,0:00:02.00,Default,,0,0,0,,words";

/// An item over an event that says 1 s to 2 s.
iptr<IDataSubtitle> Said(std::vector<TitleRect> const& rects, int64 time, int64 duration, int64 pts = SECOND) {
    AVSubtitle event = MakeEvent(rects);
    event.pts = pts;
    event.end_display_time = 1000;
    return DataSubtitleFF::Create(&event, time, duration);
}

std::vector<TitleRect> Words() {
    return {TextRect("plain", LINE, SUBTITLE_ASS)};
}

/// What becomes of an item.
iptr<IDataSubtitle> Retimed(iptr<IDataSubtitle> const& item) {
    return RetimedTitles::Create(MakeShared<SubtitleScript>(SubtitleScript::Items{item}))->Read();
}

std::string LineOf(IDataSubtitle& item) {
    return item.GetAVSubtitle()->rects[0]->ass;
}

TEST(RetimedTitles, TextsSayTheTimesOfTheirItems) {
    auto const item = Said({TextRect("plain", LINE, SUBTITLE_ASS), TextRect("only plain")}, 3 * SECOND, 2500000);
    auto const made = Retimed(item);
    ASSERT_NE(made, item);
    EXPECT_EQ(made->GetTime(), 3 * SECOND);
    EXPECT_EQ(made->GetDuration(), 2500000);
    AVSubtitle const& event = *made->GetAVSubtitle();
    EXPECT_EQ(event.pts, 3 * SECOND);
    EXPECT_EQ(event.start_display_time, 0U);
    EXPECT_EQ(event.end_display_time, 2500U);
    ASSERT_EQ(event.num_rects, 2U);
    EXPECT_EQ(event.rects[0]->type, SUBTITLE_ASS);
    EXPECT_STREQ(event.rects[0]->text, "plain");
    EXPECT_STREQ(event.rects[0]->ass, "Dialogue: 0,0:00:03.000000,0:00:05.500000,Default,,0,0,0,,words");
    EXPECT_EQ(event.rects[1]->type, SUBTITLE_TEXT);
    EXPECT_STREQ(event.rects[1]->text, "only plain");
    EXPECT_EQ(event.rects[1]->ass, nullptr);
    EXPECT_EQ(LineOf(*item), LINE) << "the source's own";
    EXPECT_EQ(item->GetAVSubtitle()->pts, SECOND);
}

TEST(RetimedTitles, TextsThatSayTheirTimesPassAsTheSameObjects) {
    auto const item = Said(Words(), SECOND, SECOND);
    EXPECT_EQ(Retimed(item), item);
}

TEST(RetimedTitles, EachEndIsSaidToTheMicrosecond) {
    auto const lineFor = [](int64 time, int64 duration, int64 pts) {
        return LineOf(*Retimed(Said(Words(), time, duration, pts)));
    };
    // Less than a millisecond beside what is said, and one.
    EXPECT_EQ(lineFor(SECOND, SECOND + 999, SECOND), "Dialogue: 0,0:00:01.000000,0:00:02.000999,Default,,0,0,0,,words");
    EXPECT_EQ(lineFor(SECOND, SECOND - 10 * MILLISECOND, SECOND),
              "Dialogue: 0,0:00:01.000000,0:00:01.990000,Default,,0,0,0,,words");
    EXPECT_EQ(lineFor(SECOND + 10 * MILLISECOND, SECOND, SECOND + 10 * MILLISECOND - 1),
              "Dialogue: 0,0:00:01.010000,0:00:02.010000,Default,,0,0,0,,words");
    // Agreed on, and nothing that hundredths can say.
    EXPECT_EQ(lineFor(SECOND + 4 * MILLISECOND, SECOND, SECOND + 4 * MILLISECOND),
              "Dialogue: 0,0:00:01.004000,0:00:02.004000,Default,,0,0,0,,words");
}

TEST(RetimedTitles, BitmapsAndWhatHasNoPlaceInTimeStayAsTheyCome) {
    TitleRect const block = Block(0, 0, 2, 2, {255, 255, 255, 255});
    TitleRect const words = Words().front();
    std::vector<iptr<IDataSubtitle>> const items{Said({block}, 3 * SECOND, SECOND),
                                                 Said({words, block}, 3 * SECOND, SECOND),
                                                 Said({block, words}, 3 * SECOND, SECOND),
                                                 Said({}, 3 * SECOND, SECOND),
                                                 Said({words}, 3 * SECOND, SECOND, AV_NOPTS_VALUE),
                                                 Said({words}, NO_VALUE, SECOND),
                                                 Said({words}, 3 * SECOND, NO_VALUE),
                                                 MakeShared<BorrowedSubtitle>(nullptr, 3 * SECOND, SECOND)};
    for (std::size_t i = 0; i < items.size(); ++i) EXPECT_EQ(Retimed(items[i]), items[i]) << i;
}

// --- Headers ---------------------------------------------------------------------------------------------------------

std::string HeaderFor(std::string const& codec, std::string const& header) {
    auto const source = MakeShared<SubtitleScript>();
    source->format->SetCodecID(codec);
    source->format->SetSubtitleHeader(header);
    auto const drawn = RetimedTitles::Create(source)->GetFormatCodec();
    EXPECT_EQ(source->format->GetSubtitleHeader(), header) << "the source's own";
    EXPECT_EQ(drawn.get() == source->format.get(), drawn->GetSubtitleHeader() == header);
    return drawn->GetSubtitleHeader();
}

TEST(RetimedTitles, TextsWithoutStylesGetThePlainFontAndBeginWhereTheirLettersDo) {
    std::string const begin = "[V4+ Styles]\r\nStyle: Default,", rest = "16,&Hffffff,0,2,10,10,10,";
    for (std::string const end : {"\r\n\r\n[Events]\r\n", "\n[Events]\n", ""})
        EXPECT_EQ(HeaderFor("subrip", begin + "Arial," + rest + "0" + end), begin + "sans-serif," + rest + "-1" + end);
    for (std::string const other : {"", "words", "Style: Other,Arial,16,0\n"})
        EXPECT_EQ(HeaderFor("subrip", other), other);
    // Lines that end too soon.
    EXPECT_EQ(HeaderFor("subrip", "Style: Default,Arial\nA,0"), "Style: Default,sans-serif\nA,0");
}

TEST(RetimedTitles, TheStylesOfScriptsStay) {
    std::string const header = "[V4+ Styles]\nStyle: Default,Arial,16,&Hffffff,0,2,10,10,10,0\n";
    for (char const* codec : {"ass", "ssa"}) EXPECT_EQ(HeaderFor(codec, header), header);
}

// --- Seeks -----------------------------------------------------------------------------------------------------------

iptr<IDataSubtitle> Text(int64 begin, int64 end) {
    AVSubtitle event = MakeEvent({TextRect("a")});
    event.pts = begin;
    event.end_display_time = static_cast<u32>((end - begin) / MILLISECOND);
    return DataSubtitleFF::Create(&event, begin, end - begin);
}

/// Hands a stream through and tells where it is sought.
class WatchedTitles final : public Host::ForwardingStream<IStreamSubtitle> {
  public:
    explicit WatchedTitles(iptr<IStreamSubtitle> const& source) : ForwardingStream(source) {}

    std::vector<int64> places;
    /// Runs ahead of each seek.
    std::function<void(int64)> onSeek;
    /// Whether items lose what lies in front of the place.
    bool cuts = false;

    void RequestSeek(int64 position, iptr<IRefCountable> context) override {
        if (onSeek) onSeek(position);
        places.push_back(position);
        stream->RequestSeek(position, std::move(context));
    }
    iptr<IDataSubtitle> Read() override {
        auto const item = stream->Read();
        if (!cuts || !item || item->GetTime() >= places.back()) return item;
        return Text(places.back(), item->GetTime() + item->GetDuration());
    }
};

/// A stream that gives what ends behind a place, and what is read of it.
class RetimedTitlesSeek : public ::testing::Test {
  protected:
    void Make(std::vector<ScriptedSubtitle::Step> const& steps) {
        source = MakeShared<WatchedTitles>(ScriptedSubtitle::Create(steps));
        titles = RetimedTitles::Create(source);
    }
    void SeekTo(int64 place) {
        titles->RequestSeek(place, nullptr);
        titles->DoSeek();
        titles->FinishSeek();
    }
    /// The times of all that come.
    std::vector<int64> Times() {
        std::vector<int64> times;
        while (auto const item = titles->Read()) times.push_back(item->GetTime());
        return times;
    }
    /// The places that the source was asked for.
    std::vector<int64> Places() { return std::exchange(source->places, {}); }

    iptr<WatchedTitles> source;
    iptr<IStreamSubtitle> titles;
};

TEST_F(RetimedTitlesSeek, GoBackToWhereNoTextReachesAcross) {
    Make({Text(0, 100000), Text(100000, 300000), Text(250000, 500000), Text(480000, 700000), Text(900000, 950000)});
    SeekTo(600000);
    EXPECT_THAT(Times(), ElementsAre(100000, 250000, 480000, 900000));
    // The first one ends where the next begins: they were never seen together.
    EXPECT_THAT(Places(), ElementsAre(600000, 480000, 250000, 100000));
    SeekTo(800000);
    EXPECT_THAT(Times(), ElementsAre(900000));
    EXPECT_THAT(Places(), ElementsAre(800000));
}

TEST_F(RetimedTitlesSeek, TextsThatShareAMillisecondMeet) {
    Make({Text(10000, 20400), Text(20400, 40000)});
    SeekTo(30000);
    EXPECT_THAT(Times(), ElementsAre(10000, 20400));
    EXPECT_THAT(Places(), ElementsAre(30000, 20000, 10000));
}

TEST_F(RetimedTitlesSeek, ATextThatBeginsAtThePlaceHasNothingInFrontOfIt) {
    Make({Text(0, 100000), Text(200000, 400000)});
    SeekTo(200000);
    EXPECT_THAT(Times(), ElementsAre(200000));
    // It might have been cut there.
    EXPECT_THAT(Places(), ElementsAre(200000, 199000));
}

TEST_F(RetimedTitlesSeek, TheStartAndEmptyStreamsNeedNoSecondSeek) {
    Make({Text(-50000, 100000), Text(60000, 200000)});
    for (int64 const place : {int64{0}, int64{-10}}) {
        SeekTo(place);
        EXPECT_THAT(Times(), ElementsAre(-50000, 60000));
        EXPECT_EQ(Places().size(), 1U);
    }
    // Nothing lies in front of the start.
    SeekTo(150000);
    EXPECT_THAT(Times(), ElementsAre(-50000, 60000));
    EXPECT_THAT(Places(), ElementsAre(150000, 60000, 0));
    Make({});
    SeekTo(150000);
    EXPECT_THAT(Times(), IsEmpty());
    EXPECT_EQ(Places().size(), 1U);
}

TEST_F(RetimedTitlesSeek, BitmapsComeAsTheyAre) {
    Make({MakeTitle(0, 300000, {Block(0, 0, 2, 2, {255, 255, 255, 255})}), Text(200000, 400000)});
    SeekTo(250000);
    EXPECT_THAT(Times(), ElementsAre(0, 200000));
    EXPECT_EQ(Places().size(), 1U);
}

TEST_F(RetimedTitlesSeek, ThePositionIsThatOfTheFirstTextAndNothingIsLostByAsking) {
    Make({Text(0, 300000), Text(200000, 400000)});
    SeekTo(350000);
    EXPECT_EQ(titles->GetPosition(), 0);
    EXPECT_EQ(titles->GetPosition(), 0);
    EXPECT_THAT(Times(), ElementsAre(0, 200000));
    EXPECT_EQ(Places().size(), 3U);
}

TEST_F(RetimedTitlesSeek, NewSeeksAndReleasesForgetWhatIsHeld) {
    Make({Text(0, 300000), Text(200000, 400000), Text(500000, 600000)});
    SeekTo(350000);
    titles->GetPosition();
    SeekTo(450000);
    EXPECT_THAT(Times(), ElementsAre(500000));
    SeekTo(350000);
    titles->GetPosition();
    SeekTo(0);
    EXPECT_THAT(Times(), ElementsAre(0, 200000, 500000));
    SeekTo(350000);
    titles->GetPosition();
    titles->ReleaseInternalData();
    SeekTo(0);
    EXPECT_THAT(Times(), ElementsAre(0, 200000, 500000));
}

TEST_F(RetimedTitlesSeek, TheWayBackIsBounded) {
    std::vector<ScriptedSubtitle::Step> chain;
    for (int64 i = 0; i < 1200; ++i) chain.emplace_back(Text(i * 10000, (i + 2) * 10000 - 1000));
    Make(chain);
    SeekTo(11905000);
    EXPECT_EQ(titles->Read()->GetTime(), 1890000);
    EXPECT_EQ(Places().size(), 1U + RetimedTitles::MAX_STEPS_BACK);
}

TEST_F(RetimedTitlesSeek, AnEndThatIsSetOnTheWayStays) {
    Make({Text(0, 300000), Text(200000, 400000), Text(380000, 500000)});
    source->onSeek = [&](int64 place) {
        if (place == 200000) titles->SetEndOfStream();
    };
    SeekTo(450000);
    EXPECT_EQ(titles->Read(), nullptr);
    EXPECT_TRUE(titles->IsEndOfStream());
    EXPECT_THAT(Places(), ElementsAre(450000, 380000, 200000));
    source->onSeek = nullptr;
    SeekTo(450000);
    EXPECT_THAT(Times(), ElementsAre(0, 200000, 380000)) << "a new seek takes the end away";
}

TEST_F(RetimedTitlesSeek, AFailureOnTheWayPassesAndReadingGoesOn) {
    Make({Text(0, 300000), Text(200000, 400000), Text(500000, 600000)});
    source->onSeek = [](int64 place) {
        if (place == 200000) TARSEL_THROW(Proc::ProcException, "no such place");
    };
    SeekTo(350000);
    EXPECT_EQ(MessageOf<Proc::ProcException>([&] { titles->Read(); }), "no such place");
    EXPECT_THAT(Times(), ElementsAre(500000));
    source->onSeek = nullptr;
    SeekTo(350000);
    EXPECT_THAT(Times(), ElementsAre(0, 200000, 500000));
}

TEST_F(RetimedTitlesSeek, ASourceThatCutsItsItemsIsGoneBackInByStrides) {
    Make({Text(1 * SECOND, 2 * SECOND), Text(40 * SECOND, 80 * SECOND), Text(70 * SECOND, 99 * SECOND)});
    source->cuts = true;
    SeekTo(90 * SECOND);
    EXPECT_THAT(Times(), ElementsAre(40 * SECOND, 70 * SECOND));
    int64 const near = 90 * SECOND - MILLISECOND;
    EXPECT_THAT(Places(), ElementsAre(90 * SECOND, near, near - 5 * SECOND, near - 15 * SECOND, near - 35 * SECOND,
                                      near - 75 * SECOND));
}

}  // namespace
}  // namespace Tarsel::Test
