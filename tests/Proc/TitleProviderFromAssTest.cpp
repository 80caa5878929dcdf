#include "Proc/Filters/Filters/TitleProviderFromAss.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "contracts/Core/Exception.h"
#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"
#include "tests/support/Titles.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class TitleProviderFromAssTest : public ::testing::Test {
  protected:
    ScriptedTextEngine& Engine() { return *factory->made.back().engine; }

    iptr<ScriptedOverlayFactory> const factory = MakeShared<ScriptedOverlayFactory>();
    iptr<TitleProviderFromAss> const provider =
        MakeShared<TitleProviderFromAss>(factory, "[Script Info]", SettingsSubtitleDrawer());
};

constexpr char LINE_A[] = "Dialogue: 0,0:00:01.00,0:00:01.00,Default,a";

TEST_F(TitleProviderFromAssTest, EngineIsMadeOfTheHeaderAndTheSettings) {
    SettingsSubtitleDrawer large;
    large.SetFontSize(80);
    MakeShared<TitleProviderFromAss>(factory, "a header", large);
    ASSERT_EQ(factory->made.size(), 2U);
    EXPECT_EQ(factory->made[0].header, "[Script Info]");
    EXPECT_EQ(factory->made[0].settings, SettingsSubtitleDrawer());
    EXPECT_EQ(factory->made[1].header, "a header");
    EXPECT_EQ(factory->made[1].settings, large);
}

TEST_F(TitleProviderFromAssTest, AMissingEngineIsRefused) {
    factory->givesNone = true;
    EXPECT_EQ(
        MessageOf<FilterException>([&] { MakeShared<TitleProviderFromAss>(factory, "", SettingsSubtitleDrawer()); }),
        "Text engine is NULL!");
}

TEST_F(TitleProviderFromAssTest, ScriptsComeAheadOfPlainTextInScriptRectangles) {
    provider->AddData(MakeTitle(SECOND, SECOND, {TextRect("a", "Dialogue: script", SUBTITLE_ASS)}));
    EXPECT_THAT(Engine().lines, ElementsAre("Dialogue: script", LINE_A));
}

TEST_F(TitleProviderFromAssTest, PlainTextComesAheadOfScriptsInAllOtherRectangles) {
    for (AVSubtitleType const type : {SUBTITLE_TEXT, SUBTITLE_BITMAP, SUBTITLE_NONE}) {
        provider->Clear();
        provider->AddData(MakeTitle(SECOND, SECOND, {TextRect("a", "Dialogue: script", type)}));
        EXPECT_THAT(Engine().lines, ElementsAre(LINE_A, "Dialogue: script")) << type;
    }
}

TEST_F(TitleProviderFromAssTest, WhatIsMissingOrEmptyIsNoLine) {
    provider->AddData(MakeTitle(SECOND, SECOND,
                                {TextRect(nullptr, "", SUBTITLE_ASS), TextRect(nullptr, nullptr),
                                 TextRect(nullptr, "Dialogue: b"), TextRect("a", "")}));
    EXPECT_THAT(Engine().lines, ElementsAre("Dialogue: b", LINE_A));
    provider->AddData(MakeTitle(SECOND, SECOND, {}));
    provider->AddData(nullptr);
    EXPECT_EQ(Engine().lines.size(), 2U);
}

TEST_F(TitleProviderFromAssTest, RectanglesCountInTheirOrder) {
    provider->AddData(MakeTitle(SECOND, SECOND, {TextRect("1"), TextRect(nullptr, "2", SUBTITLE_ASS), TextRect("3")}));
    EXPECT_THAT(Engine().lines, ElementsAre("Dialogue: 0,0:00:01.00,0:00:01.00,Default,1", "2",
                                            "Dialogue: 0,0:00:01.00,0:00:01.00,Default,3"));
}

TEST_F(TitleProviderFromAssTest, AMissingRectangleIsPassedOver) {
    AVSubtitle whole = MakeEvent({TextRect("a")});
    AVSubtitleRect* rects[] = {nullptr, whole.rects[0]};
    AVSubtitle event{};
    event.pts = AV_NOPTS_VALUE;
    event.num_rects = 2;
    event.rects = rects;
    provider->AddData(MakeShared<BorrowedSubtitle>(&event, SECOND, SECOND));
    EXPECT_THAT(Engine().lines, ElementsAre(LINE_A));
    avsubtitle_free(&whole);
}

TEST_F(TitleProviderFromAssTest, PicturesAreTheEnginesAndAreCounted) {
    auto const picture = MakeVideo(0, 0, 0, PIX_FMT_RGBA);
    Engine().onRender = [&](int64 time, Conf::FrameInfo const& info, CropInfo& crop) {
        EXPECT_EQ(info, (Conf::FrameInfo{320, 200, 16, 15}));
        crop = {1, 2, 3, 4};
        return time < 10 ? picture : nullptr;
    };
    CropInfo crop;
    EXPECT_EQ(provider->GetOverlay(5, {320, 200, 16, 15}, crop), picture);
    EXPECT_EQ(crop, CropInfo(1, 2, 3, 4));
    EXPECT_EQ(provider->GetOverlay(6, {320, 200, 16, 15}, crop), picture);
    EXPECT_EQ(provider->GetOverlay(10, {320, 200, 16, 15}, crop), nullptr);
    EXPECT_EQ(CountedIn(provider->GetStatistic(), "Tarsel::Proc::TitleProviderFromAss::GetStatistic"), 2);
}

TEST_F(TitleProviderFromAssTest, ClearTakesTheLinesAwayAndResetDoesNot) {
    provider->AddData(MakeTitle(SECOND, SECOND, {TextRect("a")}));
    provider->Reset();
    EXPECT_EQ(Engine().clears, 0);
    EXPECT_THAT(Engine().lines, ElementsAre(LINE_A));
    provider->Clear();
    EXPECT_EQ(Engine().clears, 1);
    EXPECT_THAT(Engine().lines, IsEmpty());
}

TEST_F(TitleProviderFromAssTest, NewSettingsMakeAnEngineThatKnowsAllLines) {
    provider->AddData(MakeTitle(SECOND, SECOND, {TextRect("old")}));
    provider->Clear();
    provider->AddData(MakeTitle(SECOND, SECOND, {TextRect("a", "Dialogue: b")}));
    SettingsSubtitleDrawer bold;
    bold.SetBold(1);
    provider->UpdateSettings(bold);
    ASSERT_EQ(factory->made.size(), 2U);
    EXPECT_EQ(factory->made[1].header, "[Script Info]");
    EXPECT_EQ(factory->made[1].settings, bold);
    EXPECT_THAT(Engine().lines, ElementsAre(LINE_A, "Dialogue: b"));
    EXPECT_EQ(factory->made[0].engine->GetRefCountImpl(), 1U);
    provider->AddData(MakeTitle(SECOND, SECOND, {TextRect("a")}));
    EXPECT_EQ(Engine().lines.size(), 3U);
}

TEST_F(TitleProviderFromAssTest, SettingsThatNoEngineTakesLeaveTheOldOne) {
    factory->onCreate = [] { TARSEL_THROW(ProcException, "no such font"); };
    EXPECT_EQ(MessageOf<ProcException>([&] { provider->UpdateSettings(SettingsSubtitleDrawer()); }), "no such font");
    provider->AddData(MakeTitle(SECOND, SECOND, {TextRect("a")}));
    EXPECT_THAT(Engine().lines, ElementsAre(LINE_A));
}

}  // namespace
}  // namespace Tarsel::Proc
