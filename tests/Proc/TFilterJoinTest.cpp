#include "Proc/Filters/Filters/TFilterJoin.h"

#include <gmock/gmock.h>

#include <limits>
#include <random>
#include <stdexcept>
#include <utility>

#include "tests/support/Builders.h"
#include "tests/support/Joining.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedStream.h"
#include "tests/support/Uncuttable.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// A join of video clips without controllers.
iptr<FilterJoinVideo> MakeJoin(std::vector<iptr<IStreamVideo>> const& clips) {
    auto join = MakeShared<FilterJoinVideo>();
    for (auto const& clip : clips) join->AddStream(clip, nullptr);
    return join;
}

std::vector<int> Shades(std::vector<iptr<IDataVideo>> const& frames) {
    std::vector<int> shades;
    for (auto const& frame : frames) shades.push_back(ShadeOf(*frame));
    return shades;
}

template <class Stream>
std::size_t Releases(Stream& clip) {
    auto const calls = clip.log.Take();
    return static_cast<std::size_t>(std::count(calls.begin(), calls.end(), "ReleaseInternalData"));
}

// --- Reading ---------------------------------------------------------------------------------------------------------

TEST(TFilterJoin, ClipsPlayEndToEndAndThePositionRunsOnWithoutAStep) {
    auto const join = MakeJoin({MakeClip(2), MakeClip(1, 2), MakeClip(2, 3)});
    Seek(*join, 0);
    std::vector<iptr<IDataVideo>> frames;
    for (int64 i = 0; i < 5; ++i) {
        frames.push_back(join->Read());
        EXPECT_THAT(frames.back(), IsVideo(i * 40000, 40000));
        EXPECT_EQ(join->GetPosition(), (i + 1) * 40000);
    }
    EXPECT_THAT(Shades(frames), ElementsAre(0, 1, 2, 3, 4));
    EXPECT_EQ(join->Read(), nullptr);
    EXPECT_EQ(join->Read(), nullptr);
    EXPECT_EQ(join->GetPosition(), 200000);
}

TEST(TFilterJoin, FinishedClipIsReleasedBeforeTheNextOneIsStarted) {
    // Both write into one log: the order across them counts.
    auto const first = MakeClip(1), second = MakeClip(1);
    std::vector<std::string> order;
    auto const joined = MakeShared<ScriptedFilter<IStreamVideo>>(second);
    joined->onRequestSeek = [&](int64) {
        auto const calls = first->log.Take();
        order.insert(order.end(), calls.begin(), calls.end());
        order.push_back("second is sought");
    };
    auto const join = MakeJoin({first, joined});
    Seek(*join, 0);
    first->log.Take();
    second->log.Take();
    EXPECT_EQ(ReadAll(*join).size(), 2U);
    EXPECT_THAT(order, ElementsAre("Read", "Read", "ReleaseInternalData", "second is sought"));
    EXPECT_THAT(second->log.Take(), ElementsAre("RequestSeek(0)", "DoSeek", "Read", "Read", "ReleaseInternalData"));
}

TEST(TFilterJoin, NextClipIsSoughtInThreePhases) {
    auto const second = MakeClip(1);
    auto const join = MakeJoin({MakeClip(1), second});
    Seek(*join, 0);
    second->log.Take();
    join->Read();
    join->Read();
    EXPECT_THAT(second->log.Take(), ElementsAre("RequestSeek(0)", "DoSeek", "FinishSeek", "Read"));
}

TEST(TFilterJoin, ClipsOfDurationZeroArePassedByReading) {
    auto const empty = ScriptedVideo::Create({});
    empty->duration = 0;
    auto const generous = ScriptedVideo::Create({MakeVideo(0, 40000, 9)});
    generous->duration = 0;
    auto const join = MakeJoin({empty, MakeClip(1, 1), empty, generous, MakeClip(1, 2)});
    Seek(*join, 40000);
    EXPECT_EQ(join->GetDuration(), 80000);
    Seek(*join, 0);
    auto const frames = ReadAll(*join);
    // What a clip of no length gives after all plays beside the next one.
    EXPECT_THAT(frames, ElementsAre(IsVideo(0, 40000), IsVideo(40000, 40000), IsVideo(40000, 40000)));
    EXPECT_THAT(Shades(frames), ElementsAre(1, 9, 2));
}

TEST(TFilterJoin, ClipThatGivesMoreOrLessThanItsLengthOverlapsOrLeavesAHole) {
    auto const longer = MakeClip(3), shorter = MakeClip(1);
    longer->duration = 80000;
    shorter->duration = 100000;
    auto const join = MakeJoin({longer, shorter, MakeClip(1)});
    Seek(*join, 0);
    EXPECT_THAT(ReadAll(*join), ElementsAre(IsVideo(0, 40000), IsVideo(40000, 40000), IsVideo(80000, 40000),
                                            IsVideo(80000, 40000), IsVideo(180000, 40000)));
}

TEST(TFilterJoin, ItemsWithoutATimeStayWithoutOneAndTakeThePositionAway) {
    auto const first = ScriptedVideo::Create({MakeVideo(0, 40000)});
    first->duration = 40000;
    auto const second = ScriptedVideo::Create({MakeVideo(0, NO_VALUE), MakeVideo(NO_VALUE, 40000), MakeVideo(7, 1)});
    auto const join = MakeJoin({first, second});
    Seek(*join, 0);
    EXPECT_THAT(join->Read(), IsVideo(0, 40000));
    // The seek inside the second clip passes over what has no end.
    EXPECT_THAT(join->Read(), IsVideo(40007, 1));
    auto const third = ScriptedVideo::Create({MakeVideo(5, 5), MakeVideo(NO_VALUE, 40000), MakeVideo(20, NO_VALUE)});
    auto const again = MakeJoin({first, third});
    Seek(*again, 0);
    EXPECT_THAT(ReadAll(*again),
                ElementsAre(IsVideo(0, 40000), IsVideo(40005, 5), IsVideo(NO_VALUE, 40000), IsVideo(40020, NO_VALUE)));
    EXPECT_EQ(again->GetPosition(), NO_VALUE);
}

TEST(TFilterJoin, ItemsThatOthersHoldAreNotWrittenIntoAndThoseOfTheFirstClipStayTheSameObjects) {
    auto const clip = MakeClip(1);
    std::vector<iptr<IDataVideo>> held;
    auto const cache = MakeShared<ScriptedFilter<IStreamVideo>>(clip);
    cache->onRead = [&] {
        auto item = clip->Read();
        if (item) held.push_back(item);
        return item;
    };
    auto const join = MakeJoin({cache, cache});
    Seek(*join, 0);
    auto const frames = ReadAll(*join);
    EXPECT_THAT(frames, ElementsAre(IsVideo(0, 40000), IsVideo(40000, 40000)));
    EXPECT_EQ(frames[0], held[0]);
    for (auto const& item : held) EXPECT_THAT(item, IsVideo(0, 40000));
}

TEST(TFilterJoin, FailureOfAClipPassesAndASeekMakesTheJoinReadableAgain) {
    auto const failing = MakeShared<ScriptedFilter<IStreamVideo>>(MakeClip(1));
    bool fail = true;
    failing->onRead = [&]() -> iptr<IDataVideo> {
        if (fail) TARSEL_THROW(ProcException, "broken");
        return MakeVideo(0, 40000);
    };
    auto const join = MakeJoin({MakeClip(1), failing});
    Seek(*join, 0);
    join->Read();
    EXPECT_EQ(MessageOf<ProcException>([&] { join->Read(); }), "broken");
    fail = false;
    Seek(*join, 50000);
    EXPECT_THAT(join->Read(), IsVideo(40000, 40000));
}

// --- Seeks -----------------------------------------------------------------------------------------------------------

TEST(TFilterJoin, SeekAtTheSeamLandsAtTheStartOfTheSecondClip) {
    auto const first = MakeClip(2), second = MakeClip(2, 2);
    auto const join = MakeJoin({WithPosition(first), WithPosition(second)});
    first->log.Take();
    Seek(*join, 80000);
    EXPECT_EQ(join->GetPosition(), 80000);
    EXPECT_THAT(join->Read(), IsVideo(80000, 40000));
    Seek(*join, 79999);
    EXPECT_EQ(join->GetPosition(), 40000);
    EXPECT_THAT(Shades(ReadAll(*join)), ElementsAre(1, 2, 3));
}

TEST(TFilterJoin, SeekAtOrBehindTheEndGoesToTheLastClipWhichClampsIt) {
    auto const last = MakeClip(2);
    auto const join = MakeJoin({MakeClip(2), WithPosition(last)});
    for (int64 const position : {int64{160000}, int64{500000}, std::numeric_limits<int64>::max()}) {
        last->log.Take();
        join->RequestSeek(position, nullptr);
        // The clip is a filter over its source and clamps what it is given.
        EXPECT_THAT(last->log.Take().back(), "RequestSeek(80000)") << position;
        join->DoSeek();
        EXPECT_EQ(join->GetPosition(), NO_VALUE);
        EXPECT_EQ(join->Read(), nullptr);
    }
}

TEST(TFilterJoin, NegativeSeekGoesToTheLastClip) {
    auto const first = MakeClip(2), last = MakeClip(2);
    auto const join = MakeJoin({first, last});
    last->log.Take();
    Seek(*join, -1);
    EXPECT_THAT(last->log.Take(), ElementsAre("ReleaseInternalData", "RequestSeek(-80001)", "DoSeek", "FinishSeek"));
}

TEST(TFilterJoin, SeekContextGoesToTheClipAndADefaultOneToTheNext) {
    auto const first = MakeClip(1), second = MakeClip(1);
    auto const join = MakeJoin({first, second});
    first->log.Take();
    join->RequestSeek(7, first);
    join->DoSeek();
    EXPECT_TRUE(join->FinishSeek());
    EXPECT_THAT(first->log.Take(), ElementsAre("RequestSeek(7, context)", "DoSeek", "FinishSeek"));
}

TEST(TFilterJoin, FinishSeekIsFalseBehindTheLastClip) {
    auto const join = MakeJoin({MakeClip(1)});
    Seek(*join, 0);
    EXPECT_TRUE(join->FinishSeek());
    ReadAll(*join);
    EXPECT_FALSE(join->FinishSeek());
    join->DoSeek();
    EXPECT_EQ(join->Read(), nullptr);
    Seek(*join, 0);
    EXPECT_TRUE(join->FinishSeek());
    EXPECT_EQ(ReadAll(*join).size(), 1U);
}

TEST(TFilterJoin, JoinThatHasEndedStaysSoWhenAClipIsAddedUntilItIsSought) {
    auto const join = MakeJoin({MakeClip(1)});
    Seek(*join, 0);
    ReadAll(*join);
    join->AddStream(MakeClip(1, 5), nullptr);
    EXPECT_EQ(join->Read(), nullptr);
    EXPECT_EQ(join->GetDuration(), 80000);
    Seek(*join, 40000);
    EXPECT_THAT(Shades(ReadAll(*join)), ElementsAre(5));
}

TEST(TFilterJoin, SearchFindsTheFirstClipThatHoldsThePosition) {
    for (unsigned seed = 1; seed <= 300; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        auto const any = [&](int64 from, int64 to) { return std::uniform_int_distribution<int64>(from, to)(random); };
        std::vector<iptr<ScriptedVideo>> clips;
        std::vector<iptr<IStreamVideo>> streams;
        std::vector<int64> starts;
        int64 total = 0;
        for (int64 i = 0, count = any(1, 12); i < count; ++i) {
            clips.push_back(ScriptedVideo::Create({}));
            clips.back()->duration = any(0, 3) == 0 ? 0 : any(0, 9) == 0 ? NO_VALUE : any(1, 20);
            streams.push_back(clips.back());
            starts.push_back(total);
            if (HasValue(clips.back()->duration)) total += clips.back()->duration;
        }
        auto const join = MakeJoin(streams);
        for (int64 position = -2; position <= total + 2; ++position) {
            std::size_t expected = clips.size() - 1;
            for (std::size_t i = clips.size(); i-- > 0;)
                if (HasValue(clips[i]->duration) && starts[i] <= position && position < starts[i] + clips[i]->duration)
                    expected = i;
            for (auto const& clip : clips) clip->log.Take();
            join->RequestSeek(position, nullptr);
            for (std::size_t i = 0; i < clips.size(); ++i) {
                auto const calls = clips[i]->log.Take();
                bool const sought = !calls.empty() && calls.back().rfind("RequestSeek", 0) == 0;
                EXPECT_EQ(sought, i == expected) << "clip " << i << " at " << position;
                if (sought) {
                    EXPECT_EQ(calls.back(), "RequestSeek(" + std::to_string(position - starts[i]) + ")");
                }
            }
        }
    }
}

TEST(TFilterJoin, ReadingAfterAnySeekIsReadingStraightThrough) {
    for (unsigned seed = 1; seed <= 100; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        auto const any = [&](int from, int to) { return std::uniform_int_distribution<int>(from, to)(random); };
        std::vector<iptr<IStreamVideo>> clips;
        int shade = 0;
        for (int i = any(1, 8); i > 0; --i) {
            int const count = any(i == 1 ? 1 : 0, 5);
            clips.push_back(WithPosition(MakeClip(count, static_cast<u8>(shade))));
            shade += count;
        }
        auto const join = MakeJoin(clips);
        Seek(*join, 0);
        auto const straight = ReadAll(*join);
        ASSERT_EQ(straight.size(), static_cast<std::size_t>(shade));
        for (int seeks = 0; seeks < 6; ++seeks) {
            int64 const position = any(0, shade * 40000 - 1);
            Seek(*join, position);
            EXPECT_EQ(join->GetPosition(), position / 40000 * 40000);
            auto const after = ReadAll(*join);
            auto const first = static_cast<std::size_t>(position / 40000);
            ASSERT_EQ(after.size(), straight.size() - first) << position;
            for (std::size_t i = 0; i < after.size(); ++i) {
                EXPECT_THAT(after[i], IsVideo(straight[first + i]->GetTime(), 40000));
                EXPECT_EQ(ShadeOf(*after[i]), ShadeOf(*straight[first + i]));
            }
            Seek(*join, any(0, shade * 40000));
            for (int reads = any(0, 3); reads > 0; --reads) join->Read();
        }
    }
}

// --- What a seek releases --------------------------------------------------------------------------------------------

TEST(TFilterJoin, FirstSeekThatChangesTheClipReleasesAllClips) {
    auto const first = MakeClip(1), second = MakeClip(1), third = MakeClip(1);
    auto const join = MakeJoin({first, second, third});
    for (auto const& clip : {first, second, third}) EXPECT_EQ(Releases(*clip), 1U) << "by being added";
    Seek(*join, 0);
    for (auto const& clip : {first, second, third}) EXPECT_EQ(Releases(*clip), 0U) << "the clip stays the same";
    Seek(*join, 40000);
    for (auto const& clip : {first, second, third}) EXPECT_EQ(Releases(*clip), 1U);
}

TEST(TFilterJoin, SeekThatChangesTheClipReleasesTheClipsThatWereTouchedSinceTheLastRelease) {
    std::vector<iptr<ScriptedVideo>> clips;
    std::vector<iptr<IStreamVideo>> streams;
    for (int i = 0; i < 6; ++i) {
        clips.push_back(MakeClip(1));
        streams.push_back(clips.back());
    }
    auto const join = MakeJoin(streams);
    auto const released = [&] {
        std::vector<std::size_t> counts;
        for (auto const& clip : clips) counts.push_back(Releases(*clip));
        return counts;
    };
    Seek(*join, 200000);
    released();
    Seek(*join, 80000);
    EXPECT_THAT(released(), ElementsAre(0, 0, 0, 0, 0, 1)) << "only the one that was left may hold anything";
    // Reading over two seams releases the finished clips; the next seek does so again, and the one that is left.
    for (int i = 0; i < 3; ++i) join->Read();
    EXPECT_THAT(released(), ElementsAre(0, 0, 1, 1, 0, 0));
    Seek(*join, 0);
    EXPECT_THAT(released(), ElementsAre(0, 0, 1, 1, 1, 0));
    Seek(*join, 10);
    EXPECT_THAT(released(), ElementsAre(0, 0, 0, 0, 0, 0));
    // Whoever releases the join releases all.
    join->ReleaseInternalData();
    EXPECT_THAT(released(), ElementsAre(1, 1, 1, 1, 1, 1));
    // A clip that is added may be used by its owner until the next seek.
    clips.push_back(MakeClip(1));
    join->AddStream(clips.back(), nullptr);
    released();
    Seek(*join, 40000);
    EXPECT_THAT(released(), ElementsAre(1, 0, 0, 0, 0, 0, 1));
}

TEST(TFilterJoin, NoClipHoldsAnythingThatReleasingAllOfThemWouldGiveUp) {
    for (unsigned seed = 1; seed <= 200; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        auto const any = [&](int from, int to) { return std::uniform_int_distribution<int>(from, to)(random); };
        int const count = any(1, 7);
        std::vector<iptr<ScriptedVideo>> clips;
        std::vector<iptr<IStreamVideo>> streams;
        for (int i = 0; i < count; ++i) {
            clips.push_back(MakeClip(any(1, 3)));
            streams.push_back(clips.back());
        }
        auto const join = MakeJoin(streams);
        std::vector<bool> holds(clips.size(), true);
        int64 current = 0;
        for (int step = 0; step < 40; ++step) {
            bool const seek = any(0, 2) == 0;
            bool ended = false;
            if (seek)
                Seek(*join, any(0, static_cast<int>(join->GetDuration()) - 1));
            else
                ended = join->Read() == nullptr;
            int64 const before = std::exchange(current, ended ? -1 : current);
            for (std::size_t i = 0; i < clips.size(); ++i) {
                for (auto const& call : clips[i]->log.Take()) {
                    holds[i] = call != "ReleaseInternalData";
                    if (holds[i] && !ended) current = static_cast<int64>(i);
                }
            }
            if (!seek || current == before) continue;
            for (std::size_t i = 0; i < clips.size(); ++i)
                EXPECT_EQ(holds[i], static_cast<int64>(i) == current) << "clip " << i << ", step " << step;
        }
    }
}

TEST(TFilterJoin, ClipsUnderAControllerAreAlwaysReleasedForALinkedJoinMayHaveMovedThem) {
    std::vector<iptr<ScriptedVideo>> clips;
    auto const join = MakeShared<FilterJoinVideo>();
    for (int i = 0; i < 3; ++i) {
        clips.push_back(MakeClip(1));
        join->AddStream(clips.back(), MakeShared<ScriptedController>(clips.back()));
    }
    clips.push_back(MakeClip(1));
    join->AddStream(clips.back(), nullptr);
    for (int64 const position : {int64{40000}, int64{80000}, int64{0}}) {
        for (auto const& clip : clips) clip->log.Take();
        Seek(*join, position);
        for (int i = 0; i < 3; ++i) EXPECT_EQ(Releases(*clips[static_cast<std::size_t>(i)]), 1U) << i;
        EXPECT_EQ(Releases(*clips[3]), position == 40000 ? 1U : 0U);
    }
}

TEST(TFilterJoin, ReleaseThatFailsIsTriedAgainByTheNextSeek) {
    class Stubborn : public ScriptedFilter<IStreamVideo> {
      public:
        using ScriptedFilter::ScriptedFilter;
        void ReleaseInternalData() override {
            if (fail) TARSEL_THROW(ProcException, "held");
            ScriptedFilter::ReleaseInternalData();
        }
        bool fail = false;
    };
    auto const source = MakeClip(1), second = MakeClip(1, 1);
    auto const stubborn = MakeShared<Stubborn>(source);
    auto const join = MakeJoin({stubborn, second});
    Seek(*join, 0);
    stubborn->fail = true;
    EXPECT_EQ(MessageOf<ProcException>([&] { join->RequestSeek(40000, nullptr); }), "held");
    EXPECT_THAT(join->Read(), IsVideo(0, 40000));
    stubborn->fail = false;
    Releases(*source);
    Seek(*join, 40000);
    EXPECT_EQ(Releases(*source), 1U);
    EXPECT_THAT(Shades(ReadAll(*join)), ElementsAre(1));
}

// --- Controllers -----------------------------------------------------------------------------------------------------

TEST(TFilterJoin, ControllerSeeksInPlaceOfTheClip) {
    auto const source = MakeClip(2), plain = MakeClip(1);
    auto const clip = WithPosition(source);
    auto const controller = MakeShared<ScriptedController>(clip);
    auto const join = MakeShared<FilterJoinVideo>();
    join->AddStream(plain, nullptr);
    join->AddStream(clip, controller);
    join->RequestSeek(90000, nullptr);
    // The work is done by the first phase, the position known.
    EXPECT_THAT(controller->seeks, ElementsAre(50000));
    EXPECT_EQ(join->GetPosition(), 80000);
    source->log.Take();
    join->DoSeek();
    EXPECT_TRUE(join->FinishSeek());
    EXPECT_THAT(source->log.Take(), IsEmpty());
    EXPECT_THAT(join->Read(), IsVideo(80000, 40000));
    // And where reading comes to it.
    Seek(*join, 0);
    EXPECT_EQ(ReadAll(*join).size(), 3U);
    EXPECT_THAT(controller->seeks, ElementsAre(50000, 0));
}

// --- All clips -------------------------------------------------------------------------------------------------------

TEST(TFilterJoin, DurationIsTheSumAndUnknownIfOneIs) {
    auto const join = MakeShared<FilterJoinVideo>();
    EXPECT_EQ(join->GetDuration(), 0);
    join->AddStream(MakeClip(1), nullptr);
    EXPECT_EQ(join->GetDuration(), 40000);
    auto const unknown = MakeClip(2);
    unknown->duration = NO_VALUE;
    join->AddStream(unknown, nullptr);
    EXPECT_EQ(join->GetDuration(), NO_VALUE);
    join->AddStream(MakeClip(1), nullptr);
    EXPECT_EQ(join->GetDuration(), NO_VALUE);
    // It counts 0 for the clips behind it, and no seek finds it.
    Seek(*join, 0);
    EXPECT_THAT(ReadAll(*join),
                ElementsAre(IsVideo(0, 40000), IsVideo(40000, 40000), IsVideo(80000, 40000), IsVideo(40000, 40000)));
    Seek(*join, 40000);
    EXPECT_EQ(ReadAll(*join).size(), 1U);
}

TEST(TFilterJoin, DurationsAreThoseOfTheTimeOfAdding) {
    auto const first = MakeClip(2);
    auto const join = MakeJoin({first, MakeClip(1)});
    first->duration = 999;
    EXPECT_EQ(join->GetDuration(), 120000);
    Seek(*join, 0);
    EXPECT_THAT(ReadAll(*join).back(), IsVideo(80000, 40000));
}

TEST(TFilterJoin, LengthsThatMakeNoSenseDoNotBreakTheSearch) {
    auto const negative = MakeClip(1, 1), huge = MakeClip(1, 2);
    negative->duration = -100000;
    huge->duration = std::numeric_limits<int64>::max();
    auto const join = MakeJoin({MakeClip(1), negative, huge, huge});
    EXPECT_EQ(join->GetDuration(), std::numeric_limits<int64>::max());
    Seek(*join, 40000);
    EXPECT_THAT(join->Read(), IsVideo(40000, 40000));
    Seek(*join, 0);
    EXPECT_THAT(join->Read(), IsVideo(0, 40000));
    EXPECT_THAT(join->Read(), IsVideo(40000, 40000));
}

TEST(TFilterJoin, EmptyJoinRefusesASeekAndAFormatAndReadsAsNull) {
    auto const join = MakeShared<FilterJoinVideo>();
    EXPECT_EQ(MessageOf<std::logic_error>([&] { join->RequestSeek(0, nullptr); }),
              "Join stream count cannot be less than one.");
    EXPECT_EQ(MessageOf<std::logic_error>([&] { join->GetFormatCodec(); }), "@todo");
    EXPECT_EQ(join->Read(), nullptr);
    EXPECT_EQ(join->GetPosition(), NO_VALUE);
    EXPECT_TRUE(join->IsEndOfStream());
    EXPECT_FALSE(join->FinishSeek());
    join->DoSeek();
    join->SetEndOfStream();
    join->ReleaseInternalData();
    EXPECT_EQ(join->GetStatistic(), Core::MakeStatistics(join->GetStatistic().Name(), 0, 0));
}

TEST(TFilterJoin, NullClipIsRefused) {
    auto const join = MakeShared<FilterJoinVideo>();
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { join->AddStream(nullptr, nullptr); }), "source is NULL");
    EXPECT_EQ(join->Read(), nullptr);
}

TEST(TFilterJoin, PropertyNamesItsKindAndOthersAreRefused) {
    auto const video = MakeShared<FilterJoinVideo>();
    video->Initialize(Core::Property("FilterJoinVideo"));
    EXPECT_EQ(video->GetSettings(), Core::Property("FilterJoinVideo"));
    EXPECT_EQ(MessageOf<FilterException>([&] { video->Initialize(Core::Property("FilterJoinAudio")); }),
              "Filter was initialized with incorrect class (FilterJoinAudio)!");
    EXPECT_EQ(MakeShared<FilterJoinAudio>()->GetSettings(), Core::Property("FilterJoinAudio"));
    EXPECT_EQ(MakeShared<FilterJoinRaw>()->GetSettings(), Core::Property("FilterJoinRaw"));
    MakeShared<FilterJoinRaw>()->Initialize(Core::Property("FilterJoinRaw"));
}

TEST(TFilterJoin, EndOfStreamIsThatOfAllClips) {
    auto const first = MakeClip(1), second = MakeClip(1);
    auto const join = MakeJoin({first, second});
    first->SetEndOfStream();
    EXPECT_FALSE(join->IsEndOfStream());
    join->SetEndOfStream();
    EXPECT_TRUE(join->IsEndOfStream());
    EXPECT_TRUE(second->IsEndOfStream());
}

TEST(TFilterJoin, FormatIsTheFirstClipsAndAddingReleasesAClip) {
    auto const first = MakeClip(1), second = MakeClip(1);
    auto const join = MakeJoin({first, second});
    EXPECT_EQ(join->GetFormatCodec(), first->format);
    EXPECT_THAT(first->log.Take(), ElementsAre("ReleaseInternalData"));
}

TEST(TFilterJoin, StatisticsHoldTheClipsAndTheVisitorGoesOn) {
    auto const join = MakeJoin({MakeClip(1), WithPosition(MakeClip(1))});
    auto const statistic = join->GetStatistic();
    EXPECT_EQ(statistic.Name(),
              "Tarsel::Proc::TFilterJoin<class Tarsel::Proc::TIFilterJoin<class Tarsel::Proc::IStreamVideo> "
              ">::GetStatistic");
    auto expected = Core::MakeStatistics(statistic.Name(), 0, 0);
    expected.Add(MakeClip(1)->GetStatistic()).Add(WithPosition(MakeClip(1))->GetStatistic());
    EXPECT_EQ(statistic, expected);
    EXPECT_EQ(MakeShared<FilterJoinAudio>()->GetStatistic().Name(),
              "Tarsel::Proc::TFilterJoin<class Tarsel::Proc::TIFilterJoin<class Tarsel::Proc::IStreamAudio> "
              ">::GetStatistic");
    EXPECT_EQ(MakeShared<FilterJoinRaw>()->GetStatistic().Name(),
              "Tarsel::Proc::TFilterJoin<class Tarsel::Proc::TIFilterJoin<class Tarsel::Proc::IStreamRaw> "
              ">::GetStatistic");
    Visitors::InfoCollector names;
    Visitors::FrameTypeCollector types;
    join->Accept(names);
    join->Accept(types);
    EXPECT_THAT(names.names, ElementsAre("TFilterJoin", "ScriptedStream", "ScriptedFilter", "ScriptedStream"));
    EXPECT_THAT(types.frameTypes, ElementsAre(5, 5, 5, 5));
}

// --- The other kinds -------------------------------------------------------------------------------------------------

TEST(FilterJoinAudio, BlocksOfTheSecondClipComeLater) {
    auto const first = ScriptedAudio::Create({MakeAudio(0, 441, 44100)});
    auto const second = ScriptedAudio::Create({MakeAudio(0, 441, 44100), MakeAudio(10000, 441, 44100)});
    first->duration = 10000;
    auto const join = FilterJoinAudio::Create();
    join->AddStream(first, nullptr);
    join->AddStream(second, nullptr);
    Seek(*join, 0);
    EXPECT_THAT(ReadAll(*join), ElementsAre(IsAudio(0, 441), IsAudio(10000, 441), IsAudio(20000, 441)));
}

TEST(FilterJoinRaw, DecodingTimesMoveTooAndTheSourcePositionStays) {
    auto const first = ScriptedRaw::Create({MakePacket(0, -40, 40, true)});
    auto const second = ScriptedRaw::Create({MakePacket(0, -40, 40, true), MakePacket(80, 0, 40, false),
                                             MakePacket(40, NO_VALUE, 40, false), MakePacket(NO_VALUE, 80, 40, false)});
    first->duration = 1000;
    second->format->SetCodecID("hevc");
    auto const join = FilterJoinRaw::Create();
    EXPECT_EQ(join->GetMediaType(), 0);
    join->AddStream(first, nullptr);
    join->AddStream(second, nullptr);
    first->mediaType = MEDIA_TYPE_AUDIO;
    EXPECT_EQ(join->GetMediaType(), MEDIA_TYPE_AUDIO);
    Seek(*join, 0);
    auto const packets = ReadAll(*join);
    EXPECT_THAT(packets,
                ElementsAre(IsPacket(0, -40, 40, true), IsPacket(1000, 960, 40, true), IsPacket(1080, 1000, 40, false),
                            IsPacket(1040, NO_VALUE, 40, false), IsPacket(NO_VALUE, 1080, 40, false)));
    EXPECT_EQ(packets[2]->GetSourcePosition(), 80);
    EXPECT_EQ(join->GetFormatCodec(), first->format);
}

}  // namespace
}  // namespace Tarsel::Proc
