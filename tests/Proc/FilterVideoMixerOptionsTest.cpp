// The way to the mixer by properties: its options one by one, and pictures that blink.
#include "Proc/Filters/Filters/TransparencyBlinkFunctor.h"

#include <limits>

#include "tests/Proc/VideoMixerSupport.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

using Keys = IFilterVideoMixer;
constexpr int64 TOO_LARGE = int64{1} << 31;

iptr<ScriptedVideo> Logo() {
    return ScriptedVideo::Create({MakeVideo(0, 1000000)});
}

/// What each of `count` reads draws with, -1 for nothing.
std::vector<int> Alphas(FilterVideoMixer& mixer, CallLog& log, int count) {
    std::vector<int> alphas;
    for (int i = 0; i < count; ++i) {
        mixer.Read();
        auto const drawn = log.Take();
        std::size_t const at = drawn.empty() ? 0 : drawn[0].find("with ");
        alphas.push_back(drawn.empty() ? -1 : std::stoi(drawn[0].substr(at + 5)));
    }
    return alphas;
}

TEST_F(VideoMixerTest, EveryRequiredOptionIsNamedWhereItIsMissing) {
    Core::Property const blink = Options(0, 0, 0, Keys::TRANSPARENCY_TYPE_BLINK)
                                     .SetChild(IBlend::BLENDING_ALPHA, 128)
                                     .SetChild(Keys::BLINK_SHOW_DURATION, int64(5));
    mixer->CombineStream(Logo(), blink);
    for (char const* key : {Keys::START_TIME, IBlend::BLENDING_POSITION_X, IBlend::BLENDING_POSITION_Y,
                            Keys::TRANSPARENCY_TYPE, IBlend::BLENDING_ALPHA, Keys::BLINK_SHOW_DURATION}) {
        Core::Property options(blink.Name());
        for (Core::Property const& child : blink.Children())
            if (child.Name() != key) options.SetChild(child.Name(), child);
        auto const logo = Logo();
        EXPECT_THAT(MessageOf<Core::CoreException>([&] { mixer->CombineStream(logo, options); }), HasSubstr(key));
        EXPECT_THAT(logo->log.Take(), IsEmpty()) << "nothing is read for options that can't be taken";
    }
    EXPECT_THAT(MessageOf<Core::CoreException>([&] { mixer->CombineStream(Logo()); }), HasSubstr(Keys::START_TIME));
}

TEST_F(VideoMixerTest, OptionsAreReadInTheirOrder) {
    // Each step mends the first that was missed.
    Core::Property options("Options");
    auto const missed = [&] {
        std::string const text = MessageOf<Core::CoreException>([&] { mixer->CombineStream(Logo(), options); });
        std::string found;
        for (char const* key : {Keys::USE_FIRST_FRAME_AS_WATERMARK, Keys::START_TIME, IBlend::BLENDING_POSITION_X,
                                IBlend::BLENDING_POSITION_Y, Keys::LOOP_STREAM, IBlend::BLENDING_ALPHA,
                                Keys::BLINK_SHOW_DURATION, Keys::BLINK_HIDE_DURATION, Keys::BLINK_DO_FADE})
            if (text.find(key) != std::string::npos) found = key;
        if (found.empty() && text.find(Keys::TRANSPARENCY_TYPE) != std::string::npos) found = Keys::TRANSPARENCY_TYPE;
        return found.empty() ? text : found;
    };
    for (char const* key : {Keys::USE_FIRST_FRAME_AS_WATERMARK, Keys::LOOP_STREAM, Keys::BLINK_DO_FADE})
        options.SetChild(key, "perhaps");
    options.SetChild(Keys::BLINK_HIDE_DURATION, "long");
    std::vector<std::pair<char const*, std::string>> const order{{Keys::USE_FIRST_FRAME_AS_WATERMARK, "0"},
                                                                 {Keys::START_TIME, "0"},
                                                                 {IBlend::BLENDING_POSITION_X, "0"},
                                                                 {IBlend::BLENDING_POSITION_Y, "0"},
                                                                 {Keys::TRANSPARENCY_TYPE, "Blink"},
                                                                 {Keys::LOOP_STREAM, "0"},
                                                                 {IBlend::BLENDING_ALPHA, "9"},
                                                                 {Keys::BLINK_SHOW_DURATION, "1"},
                                                                 {Keys::BLINK_HIDE_DURATION, "1"},
                                                                 {Keys::BLINK_DO_FADE, "1"}};
    for (auto const& [key, value] : order) {
        EXPECT_EQ(missed(), key);
        options.SetChild(key, value);
    }
    EXPECT_EQ(missed(), "[nothing was thrown]");
}

TEST_F(VideoMixerTest, UnknownTransparencyTypeIsRefusedBehindAllOtherOptions) {
    auto const refusal = [&](Core::Property const& options) {
        return MessageOf<FilterException>([&] { mixer->CombineStream(Logo(), options); });
    };
    for (char const* type : {"", "overlay", "Other"})
        EXPECT_EQ(refusal(Options(0, 0, 0, type)), "Unknown transparency type!");
    EXPECT_THAT(MessageOf<Core::CoreException>([&] {
                    mixer->CombineStream(Logo(), Options(0, 0, 0, "Other").SetChild(Keys::LOOP_STREAM, "perhaps"));
                }),
                HasSubstr(Keys::LOOP_STREAM));
}

TEST_F(VideoMixerTest, NumbersBeyondTheirWidthAreRefusedWithKeyAndValue) {
    auto const refusal = [&](Core::Property const& options) {
        return MessageOf<FilterException>([&] { mixer->CombineStream(Logo(), options); });
    };
    EXPECT_EQ(refusal(Options(0, TOO_LARGE, 0)), "BlendingPositionX of Options is out of range: 2147483648");
    EXPECT_EQ(refusal(Options(0, 0, -TOO_LARGE - 1)), "BlendingPositionY of Options is out of range: -2147483649");
    EXPECT_EQ(
        refusal(Options(0, 0, 0, Keys::TRANSPARENCY_TYPE_FIXED_ALPHA).SetChild(IBlend::BLENDING_ALPHA, TOO_LARGE)),
        "BlendingAlpha of Options is out of range: 2147483648");
    mixer->CombineStream(Logo(), Options(0, TOO_LARGE - 1, -TOO_LARGE));
    EXPECT_THAT(Drawn(), ElementsAre("Tarsel: 0 at 2147483646,-2147483648 with 255 on 0"));
}

TEST_F(VideoMixerTest, OverlayIsDrawnAsItIsAndFixedAlphaAsTold) {
    mixer->CombineStream(Logo(), Options(0, 0, 0, Keys::TRANSPARENCY_TYPE_OVERLAY));
    EXPECT_THAT(Alphas(*mixer, *factory->log, 3), ElementsAre(255, 255, 255));
    Over(main);
    Seek(*main, 0);
    mixer->CombineStream(
        Logo(), Options(0, 0, 0, Keys::TRANSPARENCY_TYPE_FIXED_ALPHA).SetChild(IBlend::BLENDING_ALPHA, int64(77)));
    EXPECT_THAT(Alphas(*mixer, *factory->log, 3), ElementsAre(77, 77, 77));
}

TEST_F(VideoMixerTest, BlinkingPictureHasItsAlphaOrNoneAlsoWhereItIsToldToFade) {
    Over(ScriptedVideo::Create(MakeVideos(12, 40000)));
    Core::Property const options = Options(0, 0, 0, Keys::TRANSPARENCY_TYPE_BLINK)
                                       .SetChild(IBlend::BLENDING_ALPHA, 128)
                                       .SetChild(Keys::BLINK_SHOW_DURATION, int64(79999))
                                       .SetChild(Keys::BLINK_HIDE_DURATION, int64(40000))
                                       .SetChild(Keys::BLINK_DO_FADE, 1);
    mixer->CombineStream(Logo(), options);
    EXPECT_THAT(Alphas(*mixer, *factory->log, 12), ElementsAre(128, 128, 0, 0, 128, 128, 0, 0, 128, 128, 0, 0));
}

TEST_F(VideoMixerTest, BlinkKeepsAStateForEachPicture) {
    Over(ScriptedVideo::Create(MakeVideos(4, 40000)));
    auto const blink = [](int64 show) {
        return Options(0, 0, 0, Keys::TRANSPARENCY_TYPE_BLINK)
            .SetChild(IBlend::BLENDING_ALPHA, 200)
            .SetChild(Keys::BLINK_SHOW_DURATION, show);
    };
    mixer->CombineStream(Logo(), blink(30000));
    mixer->CombineStream(Logo(), blink(70000));
    std::vector<std::string> drawn;
    for (int i = 0; i < 4; ++i)
        for (std::string const& line : Drawn()) drawn.push_back(line.substr(line.find("with ") + 5));
    EXPECT_THAT(drawn, ElementsAre("200 on 0", "200 on 0", "0 on 40000", "200 on 40000", "200 on 80000", "0 on 80000",
                                   "0 on 120000", "0 on 120000"));
}

TEST_F(VideoMixerTest, BlinkThatStartsLaterThanItsShowTimeBeginsHidden) {
    Over(ScriptedVideo::Create(MakeVideos(6, 40000)));
    mixer->CombineStream(Logo(), Options(80000, 0, 0, Keys::TRANSPARENCY_TYPE_BLINK)
                                     .SetChild(Keys::USE_FIRST_FRAME_AS_WATERMARK, 1)
                                     .SetChild(IBlend::BLENDING_ALPHA, 255)
                                     .SetChild(Keys::BLINK_SHOW_DURATION, int64(70000)));
    EXPECT_THAT(Alphas(*mixer, *factory->log, 6), ElementsAre(-1, -1, 0, 0, 255, 255));
}

// --- The functor -----------------------------------------------------------------------------------------------------

TEST(TransparencyBlink, ChangesOverOnTheFirstFramePastThePeriodNotAtItsEnd) {
    TransparencyBlinkFunctor blink(9, 100, 50, false);
    EXPECT_EQ(blink(0), 9);
    EXPECT_EQ(blink(100), 9);
    EXPECT_EQ(blink(101), 0);
    EXPECT_EQ(blink(151), 0);
    EXPECT_EQ(blink(152), 9);
    EXPECT_EQ(blink(252), 9);
    EXPECT_EQ(blink(253), 0);
}

TEST(TransparencyBlink, TwoSecondsWithoutAHideTimeAreOnAndOffForEqualTimesALittleOverTwoSeconds) {
    // 25 frames a second: frame 50 stands at exactly 2 s, so that each period takes 51 frames.
    TransparencyBlinkFunctor blink(128, 2 * SECOND, 2 * SECOND, false);
    for (int frame = 0; frame < 51 * 8; ++frame)
        ASSERT_EQ(blink(frame * int64{40000}), frame / 51 % 2 == 0 ? 128 : 0) << frame;
}

TEST(TransparencyBlink, BehindASeekBackwardsTheStateHoldsUntilTheFramesHaveComePast) {
    TransparencyBlinkFunctor blink(9, 100, 100, false);
    EXPECT_EQ(blink(1000), 0);
    for (int64 const time : {0, 100, 500, 1000, 1100}) EXPECT_EQ(blink(time), 0) << time;
    EXPECT_EQ(blink(1101), 9);
}

TEST(TransparencyBlink, PeriodsBelowZeroChangeOverAtEveryFrameAndExtremeTimesDoNotOverflow) {
    TransparencyBlinkFunctor blink(9, -1, -1, false);
    EXPECT_EQ(blink(0), 0);
    EXPECT_EQ(blink(0), 9);
    TransparencyBlinkFunctor extreme(9, 100, 100, false);
    EXPECT_EQ(extreme(NO_VALUE), 9);
    EXPECT_EQ(extreme(NO_VALUE + 1), 9);
    EXPECT_EQ(extreme(std::numeric_limits<int64>::max()), 0);
    EXPECT_EQ(extreme(NO_VALUE + 1), 0);
    TransparencyBlinkFunctor endless(9, std::numeric_limits<int64>::max(), 0, false);
    EXPECT_EQ(endless(std::numeric_limits<int64>::max()), 9);
}

TEST(TransparencyBlink, CopyHasAStateOfItsOwn) {
    TransparencyBlinkFunctor blink(9, 100, 100, false);
    TransparencyBlinkFunctor copy = blink;
    EXPECT_EQ(blink(101), 0);
    EXPECT_EQ(copy(100), 9);
}

}  // namespace
}  // namespace Tarsel::Proc
