#include "Proc/Filters/Filters/FilterLoop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <stdexcept>
#include <typeinfo>

#include "contracts/Proc/SettingsFilterRepeat.h"
#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// Pictures of 10, 20 and 30 microseconds in shades 1, 2 and 3.
iptr<ScriptedVideo> MakeClip() {
    auto source = ScriptedVideo::Create({MakeVideo(0, 10, 1), MakeVideo(10, 20, 2), MakeVideo(30, 30, 3)});
    source->duration = 60;
    return source;
}

template <class Source>
auto MakeLoop(iptr<Source> const& source, int64 duration) {
    using Loop = std::conditional_t<std::is_same_v<Source, ScriptedAudio>, FilterLoopAudio, FilterLoopVideo>;
    auto const filter = MakeShared<Loop>(source);
    filter->Initialize(SettingsFilterLoop(duration));
    return filter;
}

int Shade(IDataVideo const& picture) {
    return *picture.GetPlaneConst(0).GetOffsetPtr(0, 0);
}

template <class Items>
std::vector<int> Shades(Items const& items) {
    std::vector<int> shades;
    for (auto const& item : items) shades.push_back(Shade(*item));
    return shades;
}

TEST(FilterLoop, ShorterSourceRepeatsFromItsStartAndTheOutputTimeRunsOn) {
    auto const source = MakeClip();
    auto const filter = MakeLoop(source, 150);
    Seek(*filter, 0);
    auto const items = ReadAll(*filter);
    EXPECT_THAT(items, ElementsAre(IsVideo(0, 10), IsVideo(10, 20), IsVideo(30, 30), IsVideo(60, 10), IsVideo(70, 20),
                                   IsVideo(90, 30), IsVideo(120, 10), IsVideo(130, 20)));
    EXPECT_THAT(Shades(items), ElementsAre(1, 2, 3, 1, 2, 3, 1, 2));
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_THAT(source->log.Take(),
                ElementsAre("RequestSeek(0)", "DoSeek", "Read", "Read", "Read", "Read", "RequestSeek(0)", "DoSeek",
                            "Read", "Read", "Read", "Read", "RequestSeek(0)", "DoSeek", "Read", "Read"));
}

TEST(FilterLoop, LongerSourceIsReadNoFurtherThanTheDuration) {
    auto const source = MakeClip();
    auto const filter = MakeLoop(source, 30);
    Seek(*filter, 0);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(0, 10), IsVideo(10, 20)));
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(0)", "DoSeek", "Read", "Read"));
}

TEST(FilterLoop, LastPictureBehindTheEndIsShortenedAndItsSuccessorIsNotRead) {
    auto const filter = MakeLoop(MakeClip(), 95);
    Seek(*filter, 0);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(0, 10), IsVideo(10, 20), IsVideo(30, 30), IsVideo(60, 10),
                                              IsVideo(70, 20), IsVideo(90, 5)));
}

TEST(FilterLoop, LastAudioBlockKeepsAllItsSamplesWhileItsDurationIsCut) {
    auto const source = ScriptedAudio::Create({MakeAudio(0, 480), MakeAudio(10000, 480)});
    source->duration = 20000;
    auto const filter = MakeLoop(source, 35000);
    Seek(*filter, 0);
    auto const items = ReadAll(*filter);
    EXPECT_THAT(items, ElementsAre(IsAudio(0, 480), IsAudio(10000, 480), IsAudio(20000, 480), IsAudio(30000, 480)));
    EXPECT_EQ(items[2]->GetDuration(), 10000);
    EXPECT_EQ(items[3]->GetDuration(), 5000);
}

TEST(FilterLoop, TimesOfTheSourceAreIgnored) {
    auto const filter =
        MakeLoop(ScriptedVideo::Create({MakeVideo(500, 10), MakeVideo(NO_VALUE, 10), MakeVideo(3, 10)}), 25);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(0, 10), IsVideo(10, 10), IsVideo(20, 5)));
}

TEST(FilterLoop, EmptySourceGivesNullAtTheFirstReadAndIsAskedTwice) {
    auto const source = ScriptedVideo::Create({});
    source->duration = 0;
    auto const filter = MakeLoop(source, 1000);
    Seek(*filter, 0);
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(0)", "DoSeek", "Read", "RequestSeek(0)", "DoSeek", "Read",
                                                "Read", "RequestSeek(0)", "DoSeek", "Read"));
}

TEST(FilterLoop, SeekBehindTheDurationStandsThereAndReadsNothing) {
    auto const source = MakeClip();
    auto const filter = MakeLoop(source, 150);
    Seek(*filter, 150 + 20);
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->GetPosition(), NO_VALUE);
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(30)", "DoSeek"));
}

TEST(FilterLoop, SeekIntoTheThirdRepeatGoesToTheRightPlaceOfTheSource) {
    auto const source = MakeClip();
    auto const filter = MakeLoop(source, 200);
    Seek(*filter, 130);
    EXPECT_EQ(filter->GetPosition(), 130);
    auto const items = ReadAll(*filter);
    EXPECT_THAT(items, ElementsAre(IsVideo(130, 20), IsVideo(150, 30), IsVideo(180, 10), IsVideo(190, 10)));
    EXPECT_THAT(Shades(items), ElementsAre(2, 3, 1, 2));
    EXPECT_EQ(source->log.Take().front(), "RequestSeek(10)");
}

TEST(FilterLoop, SeekContextReachesTheSourceWithTheFirstSeekAlone) {
    auto const source = MakeClip();
    auto const filter = MakeLoop(source, 200);
    filter->RequestSeek(90, source);
    filter->DoSeek();
    EXPECT_TRUE(filter->FinishSeek());
    filter->Read();
    filter->Read();
    EXPECT_THAT(source->log.Take(),
                ElementsAre("RequestSeek(30, context)", "DoSeek", "Read", "Read", "RequestSeek(0)", "DoSeek", "Read"));
}

TEST(FilterLoop, ItemThatASeekLandsInsidePlaysShiftedFromThePosition) {
    auto const filter = MakeLoop(MakeClip(), 200);
    Seek(*filter, 75);
    auto const items = ReadAll(*filter);
    EXPECT_THAT(items, ElementsAre(IsVideo(75, 20), IsVideo(95, 30), IsVideo(125, 10), IsVideo(135, 20),
                                   IsVideo(155, 30), IsVideo(185, 10), IsVideo(195, 5)));
    EXPECT_THAT(Shades(items), ElementsAre(2, 3, 1, 2, 3, 1, 2));
}

TEST(FilterLoop, SourceDurationIsAskedForOnce) {
    auto const source = MakeClip();
    auto const filter = MakeLoop(source, 1000);
    Seek(*filter, 70);
    source->duration = 50;
    Seek(*filter, 70);
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(10)", "DoSeek", "RequestSeek(10)", "DoSeek"));
}

TEST(FilterLoop, SourceOfNoLengthIsSoughtToItsStartAndOneOfUnknownLengthToThePosition) {
    for (auto const& [duration, place] : {std::pair<int64, int64>{0, 0}, {-5, 0}, {NO_VALUE, 70}}) {
        auto const source = ScriptedVideo::Create({MakeVideo(0, 10)});
        source->duration = duration;
        auto const filter = MakeLoop(source, 100);
        Seek(*filter, 70);
        EXPECT_EQ(source->log.Take().front(), "RequestSeek(" + std::to_string(place) + ")");
        EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(70, 10), IsVideo(80, 10), IsVideo(90, 10)));
    }
}

TEST(FilterLoop, PositionAheadOfTheStartCountsBackFromTheSourcesEnd) {
    auto const source = MakeClip();
    auto const filter = MakeLoop(source, 60);
    Seek(*filter, -30);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(-30, 30), IsVideo(0, 10), IsVideo(10, 20), IsVideo(30, 30)));
    EXPECT_EQ(source->log.Take().front(), "RequestSeek(30)");
    Seek(*filter, NO_VALUE);
    EXPECT_EQ(filter->GetPosition(), 0);
}

TEST(FilterLoop, SeekToTheStartOfAnItemReadsOnAsReadingStraightThrough) {
    for (unsigned seed = 1; seed <= 200; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        auto const pick = [&](int from, int to) { return std::uniform_int_distribution(from, to)(random); };
        std::vector<iptr<IDataVideo>> clip;
        int64 end = 0;
        for (int count = pick(1, 9); count > 0; --count) {
            clip.push_back(MakeVideo(end, pick(1, 50), static_cast<u8>(count)));
            end += clip.back()->GetDuration();
        }
        auto const source = ScriptedVideo::Create(clip);
        source->duration = end;
        auto const filter = MakeLoop(source, pick(1, 1000));
        Seek(*filter, 0);
        auto const all = ReadAll(*filter);
        for (int i = 0; i < 20; ++i) {
            auto const first = static_cast<std::size_t>(pick(0, static_cast<int>(all.size()) - 1));
            Seek(*filter, all[first]->GetTime());
            auto const rest = ReadAll(*filter);
            ASSERT_EQ(rest.size(), all.size() - first);
            for (std::size_t k = 0; k < rest.size(); ++k) {
                ASSERT_THAT(rest[k], IsVideo(all[first + k]->GetTime(), all[first + k]->GetDuration()));
                ASSERT_EQ(Shade(*rest[k]), Shade(*all[first + k]));
            }
        }
    }
}

TEST(FilterLoop, WholePassWithoutProgressEndsTheStream) {
    auto const source = ScriptedVideo::Create({MakeVideo(5, 0), MakeVideo(6, NO_VALUE), MakeVideo(20, -7)});
    source->duration = 60;
    auto const filter = MakeLoop(source, 100);
    Seek(*filter, 0);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(0, 0), IsVideo(0, 0), IsVideo(0, 0)));
    EXPECT_EQ(filter->Read(), nullptr);
    // From the middle, the pass that stands is the second one.
    Seek(*filter, 30);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(30, 0), IsVideo(30, 0), IsVideo(30, 0)));
    EXPECT_EQ(filter->Read(), nullptr);
}

TEST(FilterLoop, ItemsWithoutALengthPassWhereOthersAdvance) {
    auto const filter =
        MakeLoop(ScriptedVideo::Create({MakeVideo(5, 0), MakeVideo(6, NO_VALUE), MakeVideo(7, 40)}), 80);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(0, 0), IsVideo(0, 0), IsVideo(0, 40), IsVideo(40, 0),
                                              IsVideo(40, 0), IsVideo(40, 40)));
}

TEST(FilterLoop, StreamThatWasToldToEndIsNotStartedAgain) {
    auto const source = MakeClip();
    auto const filter = MakeLoop(source, 1000);
    Seek(*filter, 0);
    filter->Read();
    filter->SetEndOfStream();
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_TRUE(filter->IsEndOfStream());
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(0)", "DoSeek", "Read", "SetEndOfStream", "Read"));
    Seek(*filter, 0);
    EXPECT_NE(filter->Read(), nullptr);
}

TEST(FilterLoop, UnchangedItemsPassAsTheSameObjectsAndOthersAreChangedInPlaceOfNobodyElse) {
    auto const source = MakeClip();
    auto const filter = MakeLoop(source, 70);
    auto items = ReadAll(*filter);
    ASSERT_EQ(items.size(), 4U);
    for (std::size_t i = 0; i < items.size(); ++i) EXPECT_EQ(items[i].get(), source->delivered[i]);

    iptr<IDataVideo> const held = MakeVideo(7, 10, 9);
    auto const inner = MakeShared<ScriptedFilter<IStreamVideo>>(ScriptedVideo::Create({}));
    inner->onRead = [&] { return held; };
    auto const loop = MakeShared<FilterLoopVideo>(inner);
    loop->Initialize(SettingsFilterLoop(15));
    auto const first = loop->Read();
    EXPECT_THAT(first, IsVideo(0, 10));
    EXPECT_EQ(Shade(*first), 9);
    EXPECT_THAT(loop->Read(), IsVideo(10, 5));
    EXPECT_THAT(held, IsVideo(7, 10));
}

TEST(FilterLoop, SettingsTakeEffectBetweenTwoItems) {
    auto const filter = MakeLoop(MakeClip(), 60);
    EXPECT_EQ(filter->GetDuration(), 60);
    Seek(*filter, 0);
    filter->Read();
    filter->Initialize(SettingsFilterLoop(25));
    EXPECT_EQ(filter->GetDuration(), 25);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(10, 15)));
    filter->Initialize(SettingsFilterLoop(40));
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(25, 15)));
}

TEST(FilterLoop, DurationThatIsNotPositiveAndNoSettingsGiveNothing) {
    for (int64 const duration : {int64(0), int64(-1), NO_VALUE}) {
        auto const filter = MakeLoop(MakeClip(), duration);
        Seek(*filter, 0);
        EXPECT_THAT(ReadAll(*filter), IsEmpty()) << duration;
    }
    auto const filter = MakeShared<FilterLoopVideo>(MakeClip());
    EXPECT_EQ(filter->GetDuration(), 0);
    Seek(*filter, 0);
    EXPECT_EQ(filter->Read(), nullptr);
}

TEST(FilterLoop, FailureOfTheSourceComesThroughAndTheStreamCanBeSoughtAgain) {
    auto const source =
        ScriptedVideo::Create({MakeVideo(0, 10), Failure<FilterException>("broken"), MakeVideo(10, 10)});
    source->duration = 20;
    auto const filter = MakeLoop(source, 25);
    Seek(*filter, 0);
    EXPECT_THAT(filter->Read(), IsVideo(0, 10));
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Read(); }), "broken");
    EXPECT_THAT(filter->Read(), IsVideo(10, 10));
    Seek(*filter, 10);
    EXPECT_THAT(filter->Read(), IsVideo(10, 10));
}

TEST(FilterLoop, SettingsOfAnotherClassAreRefusedAndChangeNothing) {
    auto const filter = MakeLoop(MakeClip(), 60);
    EXPECT_THROW(filter->Initialize(SettingsFilterRepeat()), std::bad_cast);
    EXPECT_EQ(filter->GetDuration(), 60);
}

TEST(FilterLoop, PropertyFormsAreNotImplemented) {
    auto const video = MakeLoop(MakeClip(), 60);
    auto const audio = MakeLoop(ScriptedAudio::Create({}), 60);
    for (IStream* const filter : {static_cast<IStream*>(video.get()), static_cast<IStream*>(audio.get())}) {
        EXPECT_EQ(MessageOf<FilterException>([&] { filter->Initialize(Core::Property("x")); }),
                  "Method not implemented");
        EXPECT_EQ(MessageOf<FilterException>([&] { filter->GetSettings(); }), "Method not implemented");
    }
}

TEST(FilterLoop, NullSourceIsRefused) {
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { FilterLoopVideo filter(nullptr); }), "parentStream is NULL.");
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { FilterLoopAudio filter(nullptr); }), "parentStream is NULL.");
}

TEST(FilterLoop, FormatIsTheSourcesAndReleaseReachesIt) {
    auto const source = MakeClip();
    auto const filter = MakeLoop(source, 60);
    EXPECT_EQ(filter->GetFormatCodec(), source->format);
    filter->ReleaseInternalData();
    EXPECT_THAT(source->log.Take(), ElementsAre("ReleaseInternalData"));
}

TEST(FilterLoop, StatisticsComeBehindTheSourcesAndCountItems) {
    auto const video = MakeLoop(MakeClip(), 80);
    ReadAll(*video);
    auto const nodes = video->GetStatistic().Children();
    ASSERT_EQ(nodes.size(), 2U);
    EXPECT_EQ(nodes[0].Name(), "ScriptedStream");
    EXPECT_EQ(nodes[1], Core::MakeStatistics("Tarsel::Proc::FilterLoopVideo::GetStatistic", 0, 5));
    EXPECT_EQ(MakeLoop(ScriptedAudio::Create({}), 1)->GetStatistic().Children().back(),
              Core::MakeStatistics("Tarsel::Proc::FilterLoopAudio::GetStatistic", 0, 0));
}

TEST(FilterLoop, VisitorMeetsPlainFilters) {
    Visitors::InfoCollector names;
    Visitors::FrameTypeCollector types;
    auto const video = MakeLoop(MakeClip(), 60);
    video->Accept(names);
    video->Accept(types);
    MakeLoop(ScriptedAudio::Create({}), 60)->Accept(names);
    EXPECT_THAT(names.names, ElementsAre("FilterLoopVideo", "ScriptedStream", "FilterLoopAudio", "ScriptedStream"));
    EXPECT_THAT(types.frameTypes, ElementsAre(5, 5));
}

}  // namespace
}  // namespace Tarsel::Proc
