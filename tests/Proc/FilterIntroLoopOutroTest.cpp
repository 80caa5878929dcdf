#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <stdexcept>
#include <tuple>
#include <typeinfo>

#include "Proc/Filters/Filters/FilterIntroLoopOutroVideo.h"
#include "contracts/Proc/SettingsFilterLoop.h"
#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// Time, duration and shade of a picture; all without a meaning for none.
using Shown = std::tuple<int64, int64, int>;

std::vector<Shown> Describe(std::vector<iptr<IDataVideo>> const& items) {
    std::vector<Shown> shown;
    for (auto const& item : items) {
        if (item)
            shown.emplace_back(item->GetTime(), item->GetDuration(), *item->GetPlaneConst(0).GetOffsetPtr(0, 0));
        else
            shown.emplace_back(NO_VALUE, NO_VALUE, -1);
    }
    return shown;
}

/// A source of pictures with shades 0, 1, 2... of `duration` each.
iptr<ScriptedVideo> MakeClip(int count = 10, int64 duration = 10) {
    auto source = ScriptedVideo::Create(MakeVideos(count, duration));
    source->duration = count * duration;
    return source;
}

SettingsFilterIntroLoopOutro Plan(int64 wanted, int64 intro, int64 outro, int64 minLoopCount = 0) {
    SettingsFilterIntroLoopOutro settings(wanted);
    settings.SetIntroLength(intro);
    settings.SetOutroLength(outro);
    settings.SetMinLoopCount(minLoopCount);
    return settings;
}

iptr<FilterIntroLoopOutroVideo> MakeFilter(iptr<IStreamVideo> const& source,
                                           SettingsFilterIntroLoopOutro const& settings) {
    auto filter = MakeShared<FilterIntroLoopOutroVideo>(source, nullptr);
    filter->Initialize(settings);
    return filter;
}

/// What comes out of a clip of ten pictures of 10 microseconds, sought to the start.
std::vector<Shown> Play(SettingsFilterIntroLoopOutro const& settings) {
    auto const filter = MakeFilter(MakeClip(), settings);
    EXPECT_EQ(filter->GetDuration(), settings.GetDuration());
    Seek(*filter, 0);
    return Describe(ReadAll(*filter));
}

TEST(FilterIntroLoopOutro, StartPlaysOnceTheMiddleRepeatsAndTheEndPlaysOnce) {
    // 20 of start, 30 of end, three times 50 of middle.
    auto const source = MakeClip();
    auto const filter = MakeFilter(source, Plan(200, 20, 30, 1));
    Seek(*filter, 0);
    EXPECT_THAT(
        Describe(ReadAll(*filter)),
        ElementsAre(Shown{0, 10, 0}, Shown{10, 10, 1}, Shown{20, 10, 2}, Shown{30, 10, 3}, Shown{40, 10, 4},
                    Shown{50, 10, 5}, Shown{60, 10, 6}, Shown{70, 10, 2}, Shown{80, 10, 3}, Shown{90, 10, 4},
                    Shown{100, 10, 5}, Shown{110, 10, 6}, Shown{120, 10, 2}, Shown{130, 10, 3}, Shown{140, 10, 4},
                    Shown{150, 10, 5}, Shown{160, 10, 6}, Shown{170, 10, 7}, Shown{180, 10, 8}, Shown{190, 10, 9}));
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->Read(), nullptr);
    auto const log = source->log.Take();
    std::vector<std::string> seeks;
    for (auto const& call : log)
        if (call.starts_with("RequestSeek")) seeks.push_back(call);
    EXPECT_THAT(seeks, ElementsAre("RequestSeek(0)", "RequestSeek(20)", "RequestSeek(20)", "RequestSeek(20)",
                                   "RequestSeek(70)"));
}

TEST(FilterIntroLoopOutro, OnlyTheMiddleIsScaledToTheWantedLength) {
    // 20 + 30 + 60 are wanted: one pass of 50 is nearest, and lasts 60.
    EXPECT_THAT(Play(Plan(110, 20, 30, 1)),
                ElementsAre(Shown{0, 10, 0}, Shown{10, 10, 1}, Shown{20, 12, 2}, Shown{32, 12, 3}, Shown{44, 12, 4},
                            Shown{56, 12, 5}, Shown{68, 12, 6}, Shown{80, 10, 7}, Shown{90, 10, 8}, Shown{100, 10, 9}));
    // 35 are left: the pass is shortened.
    EXPECT_THAT(Play(Plan(85, 20, 30, 1)),
                ElementsAre(Shown{0, 10, 0}, Shown{10, 10, 1}, Shown{20, 7, 2}, Shown{27, 7, 3}, Shown{34, 7, 4},
                            Shown{41, 7, 5}, Shown{48, 7, 6}, Shown{55, 10, 7}, Shown{65, 10, 8}, Shown{75, 10, 9}));
}

TEST(FilterIntroLoopOutro, WithoutAMinimumTheMiddlePlaysOnceHoweverLongItBecomes) {
    for (int64 const none : {int64(0), int64(-3)})
        EXPECT_THAT(Play(Plan(1050, 20, 30, none)),
                    ElementsAre(Shown{0, 10, 0}, Shown{10, 10, 1}, Shown{20, 200, 2}, Shown{220, 200, 3},
                                Shown{420, 200, 4}, Shown{620, 200, 5}, Shown{820, 200, 6}, Shown{1020, 10, 7},
                                Shown{1030, 10, 8}, Shown{1040, 10, 9}));
}

TEST(FilterIntroLoopOutro, MinimumWinsOverTheNearestCount) {
    // Four passes of 20 in 40: each at half its length.
    EXPECT_THAT(Play(Plan(120, 40, 40, 4)),
                ElementsAre(Shown{0, 10, 0}, Shown{10, 10, 1}, Shown{20, 10, 2}, Shown{30, 10, 3}, Shown{40, 5, 4},
                            Shown{45, 5, 5}, Shown{50, 5, 4}, Shown{55, 5, 5}, Shown{60, 5, 4}, Shown{65, 5, 5},
                            Shown{70, 5, 4}, Shown{75, 5, 5}, Shown{80, 10, 6}, Shown{90, 10, 7}, Shown{100, 10, 8},
                            Shown{110, 10, 9}));
}

TEST(FilterIntroLoopOutro, CountOfPassesIsRoundedAndAHalfGoesUp) {
    // A middle of 20 in a room of 29, 30, 49 and 50: one pass, two, two, three.
    auto const passes = [](int64 room) {
        int count = 0;
        for (auto const& [time, duration, shade] : Play(Plan(80 + room, 40, 40, 1))) count += shade == 4 ? 1 : 0;
        return count;
    };
    EXPECT_EQ(passes(9), 1);
    EXPECT_EQ(passes(29), 1);
    EXPECT_EQ(passes(30), 2);
    EXPECT_EQ(passes(49), 2);
    EXPECT_EQ(passes(50), 3);
}

TEST(FilterIntroLoopOutro, PassesShareARemainderSoThatTheWholeIsExact) {
    // Three passes of two pictures in 100.
    EXPECT_THAT(Play(Plan(180, 40, 40, 3)), ::testing::IsSupersetOf({Shown{40, 10, 4}, Shown{140, 10, 6}}));
    auto const shown = Play(Plan(181, 40, 40, 3));
    int64 end = 0;
    for (auto const& [time, duration, shade] : shown) {
        EXPECT_EQ(time, end);
        end = time + duration;
    }
    EXPECT_EQ(end, 181);
}

TEST(FilterIntroLoopOutro, StartAndEndOfNoLengthAreLeftOut) {
    EXPECT_THAT(Play(Plan(100, 0, 50)),
                ElementsAre(Shown{0, 10, 0}, Shown{10, 10, 1}, Shown{20, 10, 2}, Shown{30, 10, 3}, Shown{40, 10, 4},
                            Shown{50, 10, 5}, Shown{60, 10, 6}, Shown{70, 10, 7}, Shown{80, 10, 8}, Shown{90, 10, 9}));
    EXPECT_EQ(Play(Plan(20, 0, 0)).size(), 10U);
    EXPECT_EQ(Play(Plan(20, 0, 0)).back(), (Shown{18, 2, 9}));
    auto const loop = Play(Plan(250, 50, 0, 2));
    EXPECT_EQ(loop.size(), 25U);
    EXPECT_EQ(loop.back(), (Shown{240, 10, 9}));
}

TEST(FilterIntroLoopOutro, PicturesThatReachOverTheEndOfASectionAreCutOnBothSides) {
    // The start ends inside the picture of shade 2, the end begins inside that of shade 6.
    EXPECT_THAT(Play(Plan(100, 25, 35)),
                ElementsAre(Shown{0, 10, 0}, Shown{10, 10, 1}, Shown{20, 5, 2}, Shown{25, 5, 2}, Shown{30, 10, 3},
                            Shown{40, 10, 4}, Shown{50, 10, 5}, Shown{60, 5, 6}, Shown{65, 5, 6}, Shown{70, 10, 7},
                            Shown{80, 10, 8}, Shown{90, 10, 9}));
}

TEST(FilterIntroLoopOutro, WhereStartAndEndOverlapInTheClipTheEndWins) {
    EXPECT_THAT(Play(Plan(100, 50, 80)),
                ElementsAre(Shown{0, 10, 0}, Shown{10, 10, 1}, Shown{20, 10, 2}, Shown{30, 10, 3}, Shown{40, 10, 4},
                            Shown{50, 10, 5}, Shown{60, 10, 6}, Shown{70, 10, 7}, Shown{80, 10, 8}, Shown{90, 10, 9}));
    int64 const longest = std::numeric_limits<int64>::max();
    EXPECT_EQ(Play(Plan(100, longest, longest)).size(), 10U);
}

TEST(FilterIntroLoopOutro, WhereThereIsNoRoomForAMiddleTheStartLosesItsEndAndThenTheEndItsBeginning) {
    EXPECT_THAT(Play(Plan(50, 20, 30)),
                ElementsAre(Shown{0, 10, 0}, Shown{10, 10, 1}, Shown{20, 10, 7}, Shown{30, 10, 8}, Shown{40, 10, 9}));
    EXPECT_THAT(Play(Plan(35, 20, 30)),
                ElementsAre(Shown{0, 5, 0}, Shown{5, 10, 7}, Shown{15, 10, 8}, Shown{25, 10, 9}));
    EXPECT_THAT(Play(Plan(15, 20, 30)), ElementsAre(Shown{0, 5, 8}, Shown{5, 10, 9}));
}

TEST(FilterIntroLoopOutro, WithoutAMiddleInTheClipStartAndEndAreScaledTogether) {
    auto const shown = Play(Plan(200, 40, 60));
    EXPECT_EQ(shown.size(), 10U);
    EXPECT_EQ(shown.front(), (Shown{0, 20, 0}));
    EXPECT_EQ(shown.back(), (Shown{180, 20, 9}));
    EXPECT_EQ(Play(Plan(200, 0, 100)).back(), (Shown{180, 20, 9}));
    EXPECT_EQ(Play(Plan(200, 100, 0)).back(), (Shown{180, 20, 9}));
}

TEST(FilterIntroLoopOutro, WantedLengthOfZeroAndNoSettingsGiveNothing) {
    EXPECT_THAT(Play(Plan(0, 20, 30)), IsEmpty());
    auto const filter = MakeShared<FilterIntroLoopOutroVideo>(MakeClip(), nullptr);
    EXPECT_EQ(filter->GetDuration(), 0);
    Seek(*filter, 0);
    EXPECT_EQ(filter->Read(), nullptr);
}

TEST(FilterIntroLoopOutro, NegativeOrMissingLengthsAreRefusedAndThePlanStays) {
    auto const filter = MakeFilter(MakeClip(), Plan(20, 10, 10));
    for (int64 const bad : {int64(-1), NO_VALUE}) {
        for (auto const& plan : {Plan(bad, 10, 10), Plan(20, bad, 10), Plan(20, 10, bad)})
            EXPECT_EQ(MessageOf<FilterException>([&] { filter->Initialize(plan); }), "Wrong settings!");
    }
    EXPECT_EQ(filter->GetDuration(), 20);
    EXPECT_THAT(Describe(ReadAll(*filter)), ElementsAre(Shown{0, 10, 0}, Shown{10, 10, 9}));
}

TEST(FilterIntroLoopOutro, SourceOfUnknownDurationIsRefused) {
    auto const source = MakeClip();
    source->duration = NO_VALUE;
    auto const filter = MakeShared<FilterIntroLoopOutroVideo>(source, nullptr);
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Initialize(Plan(20, 10, 10)); }),
              "Incorrect duration in source stream");
}

TEST(FilterIntroLoopOutro, EmptySourceGivesNullAtTheFirstRead) {
    for (int64 const duration : {int64(0), int64(-10), int64(100)}) {
        auto const source = ScriptedVideo::Create({});
        source->duration = duration;
        auto const filter = MakeFilter(source, Plan(300, 20, 30, 1000));
        Seek(*filter, 0);
        EXPECT_EQ(filter->Read(), nullptr);
        EXPECT_EQ(filter->Read(), nullptr);
        EXPECT_LE(source->log.Take().size(), 20U);
    }
}

TEST(FilterIntroLoopOutro, SourceThatEndsAheadOfItsDurationKeepsItsLastPictureInEverySection) {
    auto const source = MakeClip(10, 10);
    source->duration = 120;
    // The end, from 110, lies behind the last picture: it has none.
    auto const filter = MakeFilter(source, Plan(240, 90, 10, 1));
    Seek(*filter, 95);
    EXPECT_THAT(Describe(ReadAll(*filter)),
                ElementsAre(Shown{90, 20, 9}, Shown{110, 20, 9}, Shown{130, 20, 9}, Shown{150, 20, 9},
                            Shown{170, 20, 9}, Shown{190, 20, 9}, Shown{210, 20, 9}));
    Seek(*filter, 100);
    EXPECT_THAT(Describe({filter->Read()}), ElementsAre(Shown{90, 20, 9}));
    EXPECT_THAT(Describe({filter->Read()}), ElementsAre(Shown{110, 20, 9}));
}

TEST(FilterIntroLoopOutro, PassesNeverGetShorterThanAMicrosecondAndPicturesOfNoTimeAreLeftOut) {
    auto const shown = Play(Plan(83, 40, 40, std::numeric_limits<int64>::max()));
    EXPECT_EQ(shown.size(), 11U);
    EXPECT_THAT(std::vector<Shown>(shown.begin() + 4, shown.begin() + 7),
                ElementsAre(Shown{40, 1, 5}, Shown{41, 1, 5}, Shown{42, 1, 5}));
}

TEST(FilterIntroLoopOutro, HugeWantedLengthTakesNoMemoryForItsPasses) {
    int64 const wanted = std::numeric_limits<int64>::max();
    auto const filter = MakeFilter(MakeClip(), Plan(wanted, 20, 30, 1));
    Seek(*filter, wanted - 15);
    EXPECT_THAT(Describe(ReadAll(*filter)), ElementsAre(Shown{wanted - 20, 10, 8}, Shown{wanted - 10, 10, 9}));
    Seek(*filter, wanted / 2);
    EXPECT_NE(filter->Read(), nullptr);
}

TEST(FilterIntroLoopOutro, PicturesWithoutATimeAreLeftOut) {
    auto const source =
        ScriptedVideo::Create({MakeVideo(0, 10, 1), MakeVideo(NO_VALUE, 10, 2), MakeVideo(10, NO_VALUE, 3)});
    source->duration = 20;
    auto const filter = MakeFilter(source, Plan(40, 0, 0));
    EXPECT_THAT(Describe(ReadAll(*filter)), ElementsAre(Shown{0, 20, 1}, Shown{20, 20, 3}));
}

TEST(FilterIntroLoopOutro, TimesOfTheSourceThatGoBackNeverMakePicturesOverlap) {
    auto const source =
        ScriptedVideo::Create({MakeVideo(0, 10, 1), MakeVideo(30, 10, 2), MakeVideo(20, 10, 3), MakeVideo(40, 10, 4)});
    source->duration = 50;
    EXPECT_THAT(Describe(ReadAll(*MakeFilter(source, Plan(50, 0, 0)))),
                ElementsAre(Shown{0, 30, 1}, Shown{30, 10, 3}, Shown{40, 10, 4}));
}

TEST(FilterIntroLoopOutro, HolesAreFilledByThePictureAheadOfThem) {
    auto const source =
        ScriptedVideo::Create({MakeVideo(5, 10, 1), MakeVideo(30, 10, 2), MakeVideo(60, 10, 3), MakeVideo(90, 5, 4)});
    source->duration = 100;
    auto const filter = MakeFilter(source, Plan(150, 50, 50));
    Seek(*filter, 0);
    std::vector<Shown> const all = Describe(ReadAll(*filter));
    EXPECT_THAT(all, ElementsAre(Shown{0, 45, 1}, Shown{45, 30, 2}, Shown{75, 60, 3}, Shown{135, 15, 4}));
    // Also behind a seek into a hole.
    Seek(*filter, 70);
    EXPECT_THAT(Describe(ReadAll(*filter)), ElementsAre(all[1], all[2], all[3]));
    Seek(*filter, 149);
    EXPECT_THAT(Describe(ReadAll(*filter)), ElementsAre(all[3]));
}

TEST(FilterIntroLoopOutro, SeekGivesThePictureThatCoversThePositionWhole) {
    auto const source = MakeClip();
    auto const filter = MakeFilter(source, Plan(200, 20, 30, 1));
    filter->RequestSeek(137, source);
    filter->DoSeek();
    EXPECT_TRUE(filter->FinishSeek());
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(37, context)", "DoSeek"));
    EXPECT_EQ(filter->GetPosition(), 130);
    EXPECT_THAT(Describe({filter->Read()}), ElementsAre(Shown{130, 10, 3}));
    EXPECT_EQ(filter->GetPosition(), 140);
}

TEST(FilterIntroLoopOutro, SeekToTheEndAndBehindItReadsNothingAndOneAheadOfTheStartGoesToIt) {
    auto const filter = MakeFilter(MakeClip(), Plan(200, 20, 30, 1));
    for (int64 const position : {int64(200), int64(500)}) {
        Seek(*filter, position);
        EXPECT_EQ(filter->Read(), nullptr);
        EXPECT_EQ(filter->GetPosition(), NO_VALUE);
    }
    for (int64 const position : {int64(-1), NO_VALUE}) {
        Seek(*filter, position);
        EXPECT_EQ(ReadAll(*filter).size(), 20U);
    }
}

/// The rule told once more, over clips without holes.
std::vector<Shown> Expect(std::vector<iptr<IDataVideo>> const& clip, int64 total,
                          SettingsFilterIntroLoopOutro const& plan) {
    std::vector<Shown> shown;
    auto const pass = [&](int64 from, int64 to, int64 begin, int64 end) {
        for (auto const& item : clip) {
            auto const map = [&](int64 time) {
                return begin + (std::clamp(time, from, to) - from) * (end - begin) / (to - from);
            };
            int64 const first = map(item->GetTime());
            int64 const last = map(item->GetTime() + item->GetDuration());
            if (last > first) shown.emplace_back(first, last - first, *item->GetPlaneConst(0).GetOffsetPtr(0, 0));
        }
    };
    int64 const outro = std::min(plan.GetOutroLength(), total);
    int64 const intro = std::min(plan.GetIntroLength(), total - outro);
    int64 const room = plan.GetDuration() - intro - outro;
    int64 const middle = total - intro - outro;
    if (intro > 0) pass(0, intro, 0, intro);
    int64 const loops =
        plan.GetMinLoopCount() > 0 ? std::max(plan.GetMinLoopCount(), int64(double(room) / double(middle) + 0.5)) : 1;
    for (int64 i = 0; i < loops; ++i)
        pass(intro, intro + middle, intro + room * i / loops, intro + room * (i + 1) / loops);
    if (outro > 0) pass(total - outro, total, plan.GetDuration() - outro, plan.GetDuration());
    return shown;
}

TEST(FilterIntroLoopOutro, AnySeekReadsOnAsReadingStraightThrough) {
    for (unsigned seed = 1; seed <= 200; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        auto const pick = [&](int64 from, int64 to) { return std::uniform_int_distribution<int64>(from, to)(random); };
        std::vector<iptr<IDataVideo>> clip;
        int64 end = 0;
        for (int64 count = pick(2, 20); count > 0; --count) {
            clip.push_back(MakeVideo(end, pick(1, 50), static_cast<u8>(count)));
            end += clip.back()->GetDuration();
        }
        auto const source = ScriptedVideo::Create(clip);
        source->duration = end;
        int64 const intro = pick(0, end - 1);
        int64 const outro = pick(0, end - 1 - intro);
        auto const plan = Plan(intro + outro + pick(10, 500), intro, outro, pick(0, 5));
        auto const filter = MakeFilter(source, plan);
        Seek(*filter, 0);
        auto const all = Describe(ReadAll(*filter));
        ASSERT_EQ(all, Expect(clip, end, plan));
        ASSERT_EQ(std::get<0>(all.back()) + std::get<1>(all.back()), plan.GetDuration());
        for (int i = 0; i < 30; ++i) {
            int64 const position = pick(0, plan.GetDuration() - 1);
            SCOPED_TRACE("position " + std::to_string(position));
            Seek(*filter, position);
            auto first = all.begin();
            while (std::get<0>(*first) + std::get<1>(*first) <= position) ++first;
            ASSERT_EQ(Describe(ReadAll(*filter)), std::vector<Shown>(first, all.end()));
            // Not every seek follows an end.
            Seek(*filter, pick(0, plan.GetDuration()));
            for (int64 reads = pick(0, 3); reads > 0; --reads) filter->Read();
        }
    }
}

TEST(FilterIntroLoopOutro, SeekPropertyHoldsOverASourceThatEndsSecondsAheadOfItsDuration) {
    std::mt19937 random(7);
    auto const source = MakeClip(20, SECOND / 2);
    source->duration = 60 * SECOND;
    auto const filter = MakeFilter(source, Plan(100 * SECOND, 3 * SECOND, SECOND, 1));
    Seek(*filter, 0);
    auto const all = Describe(ReadAll(*filter));
    for (int i = 0; i < 50; ++i) {
        int64 const position = std::uniform_int_distribution<int64>(0, 98 * SECOND)(random);
        SCOPED_TRACE("position " + std::to_string(position));
        Seek(*filter, position);
        auto first = all.begin();
        while (std::get<0>(*first) + std::get<1>(*first) <= position) ++first;
        ASSERT_EQ(Describe(ReadAll(*filter)), std::vector<Shown>(first, all.end()));
    }
}

TEST(FilterIntroLoopOutro, NewSettingsChangeThePlanAndReadingGoesOnAtItsTime) {
    auto const filter = MakeFilter(MakeClip(), Plan(200, 20, 30, 1));
    Seek(*filter, 0);
    for (int i = 0; i < 3; ++i) filter->Read();
    filter->Initialize(Plan(100, 20, 30));
    EXPECT_EQ(filter->GetDuration(), 100);
    auto const rest = Describe(ReadAll(*filter));
    EXPECT_EQ(rest.size(), 7U);
    EXPECT_EQ(rest.front(), (Shown{30, 10, 3}));
    EXPECT_EQ(rest.back(), (Shown{90, 10, 9}));
    filter->Initialize(Plan(40, 20, 20));
    EXPECT_EQ(filter->Read(), nullptr);
    Seek(*filter, 0);
    EXPECT_EQ(ReadAll(*filter).size(), 4U);
}

TEST(FilterIntroLoopOutro, ReadingWithoutASeekBeginsAtTheStart) {
    EXPECT_EQ(ReadAll(*MakeFilter(MakeClip(), Plan(100, 20, 30))).size(), 10U);
}

TEST(FilterIntroLoopOutro, StreamThatWasToldToEndIsNotStartedAgain) {
    auto const source = MakeClip();
    auto const filter = MakeFilter(source, Plan(200, 20, 30, 1));
    Seek(*filter, 30);
    filter->Read();
    source->log.Take();
    filter->SetEndOfStream();
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_THAT(source->log.Take(), ElementsAre("SetEndOfStream", "Read"));
    Seek(*filter, 0);
    EXPECT_EQ(ReadAll(*filter).size(), 20U);
}

TEST(FilterIntroLoopOutro, ReleaseGivesUpThePictureThatWasReadAheadAndReachesTheSourceOnce) {
    auto const source = MakeClip();
    auto const filter = MakeFilter(source, Plan(200, 20, 30, 1));
    Seek(*filter, 0);
    filter->Read();
    source->log.Take();
    filter->ReleaseInternalData();
    EXPECT_THAT(source->log.Take(), ElementsAre("ReleaseInternalData"));
    Seek(*filter, 195);
    EXPECT_THAT(Describe(ReadAll(*filter)), ElementsAre(Shown{190, 10, 9}));
}

TEST(FilterIntroLoopOutro, UnchangedPicturesPassAsTheSameObjectsAndThoseOfOthersAreNotChanged) {
    auto const source = MakeClip();
    auto const filter = MakeFilter(source, Plan(100, 20, 30));
    auto const items = ReadAll(*filter);
    EXPECT_EQ(items[0].get(), source->delivered[0]);
    std::vector<iptr<IDataVideo>> const held = {MakeVideo(0, 10), MakeVideo(10, 10)};
    std::size_t next = 0;
    auto const inner = MakeShared<ScriptedFilter<IStreamVideo>>(MakeClip(2));
    inner->onRead = [&] { return next < held.size() ? held[next++] : iptr<IDataVideo>(); };
    auto const scaled = MakeFilter(inner, Plan(40, 0, 0));
    EXPECT_THAT(ReadAll(*scaled), ElementsAre(IsVideo(0, 20), IsVideo(20, 20)));
    EXPECT_THAT(held, ElementsAre(IsVideo(0, 10), IsVideo(10, 10)));
}

TEST(FilterIntroLoopOutro, FailureOfTheSourceComesThroughAndTheStreamCanBeSoughtAgain) {
    auto const source =
        ScriptedVideo::Create({MakeVideo(0, 10, 1), Failure<ProcException>("broken"), MakeVideo(10, 10, 2)});
    source->duration = 20;
    auto const filter = MakeFilter(source, Plan(20, 0, 0));
    Seek(*filter, 0);
    EXPECT_EQ(MessageOf<ProcException>([&] { ReadAll(*filter); }), "broken");
    Seek(*filter, 10);
    EXPECT_THAT(Describe(ReadAll(*filter)), ElementsAre(Shown{10, 10, 2}));
}

TEST(FilterIntroLoopOutro, SettingsOfAnotherClassAndPropertyFormsAreRefused) {
    auto const filter = MakeFilter(MakeClip(), Plan(100, 20, 30));
    EXPECT_THROW(filter->Initialize(SettingsFilterLoop(1)), std::bad_cast);
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Initialize(Core::Property("x")); }), "Method not implemented");
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->GetSettings(); }), "Method not implemented");
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { FilterIntroLoopOutroVideo none(nullptr, nullptr); }),
              "parentStream is NULL.");
}

TEST(FilterIntroLoopOutro, StatisticsComeBehindTheSourcesAndCountPictures) {
    auto const source = MakeClip();
    auto const filter = MakeFilter(source, Plan(200, 20, 30, 1));
    EXPECT_EQ(filter->GetFormatCodec(), source->format);
    ReadAll(*filter);
    auto const nodes = filter->GetStatistic().Children();
    ASSERT_EQ(nodes.size(), 2U);
    EXPECT_EQ(nodes[0].Name(), "ScriptedStream");
    EXPECT_EQ(nodes[1], Core::MakeStatistics("Tarsel::Proc::FilterIntroLoopOutroVideo::GetStatistic", 0, 20));
}

TEST(FilterIntroLoopOutro, VisitorMeetsOnePlainFilter) {
    Visitors::InfoCollector names;
    Visitors::FrameTypeCollector types;
    auto const filter = MakeFilter(MakeClip(), Plan(200, 20, 30, 1));
    filter->Accept(names);
    filter->Accept(types);
    EXPECT_THAT(names.names, ElementsAre("FilterIntroLoopOutroVideo", "ScriptedStream"));
    EXPECT_THAT(types.frameTypes, ElementsAre(5, 5));
}

TEST(FilterIntroLoopOutro, SourceIsFreedWithTheFilter) {
    int const before = ScriptedVideo::GetLiveCount();
    {
        auto const filter = MakeFilter(MakeClip(), Plan(200, 20, 30, 1));
        filter->Read();
        EXPECT_EQ(ScriptedVideo::GetLiveCount(), before + 1);
    }
    EXPECT_EQ(ScriptedVideo::GetLiveCount(), before);
}

}  // namespace
}  // namespace Tarsel::Proc
