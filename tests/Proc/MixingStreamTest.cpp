// Which frame of a drawn stream belongs to which frame of the main stream.
#include <algorithm>
#include <limits>

#include "Proc/Filters/Filters/MixingImageData.h"
#include "tests/Proc/VideoMixerSupport.h"
#include "tests/support/Draw.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int64 LATEST = std::numeric_limits<int64>::max();
constexpr int64 ABSENT = NO_VALUE;

MixingStreamData Make(iptr<ScriptedVideo> const& source, bool loop = false, int64 startTime = 0) {
    MixingStreamData data(source, 0, 0, startTime, Always(255), loop, MakeShared<BlenderFactory>());
    EXPECT_THAT(source->log.Take(), ElementsAre("Read")) << "the first frame, at once";
    return data;
}

/// Nobody has told the reader to end.
bool Never() {
    return false;
}

/// The time of the picture that is drawn on `[begin, end)`, or `ABSENT`.
int64 ShownOn(MixingStreamData& data, int64 begin, int64 end, int64 minOverlap = 10) {
    MixingImageData const* const picture = data.SetNewData(begin, end, minOverlap, Never);
    return picture ? picture->GetImage()->GetTime() : ABSENT;
}

iptr<ScriptedVideo> Clip(int count, int64 frame, int64 duration) {
    auto source = ScriptedVideo::Create(MakeVideos(count, frame));
    source->duration = duration;
    return source;
}

int CountOf(std::vector<std::string> const& log, std::string const& call) {
    return static_cast<int>(std::count(log.begin(), log.end(), call));
}

// --- The table -------------------------------------------------------------------------------------------------------

enum class Decided { Use, Keep, Next };
struct Row {
    char const* name;
    int64 time;
    int64 duration;
    Decided decided;
};

class MixingStreamTable : public ::testing::TestWithParam<Row> {};

TEST_P(MixingStreamTable, DecidesOverAFrameOnTheMainFrameFrom100To140WithAnOverlapOf10) {
    Row const& row = GetParam();
    // Behind the frame stands one that is surely drawn.
    for (int64 const start : {0, 70}) {
        SCOPED_TRACE(start);
        int64 const time = HasValue(row.time) ? row.time - start : row.time;
        auto const source = ScriptedVideo::Create({MakeVideo(time, row.duration), MakeVideo(100 - start, 41)});
        auto data = Make(source, false, start);
        int64 const shown = ShownOn(data, 100, 140);
        switch (row.decided) {
            case Decided::Use:
                EXPECT_EQ(shown, time);
                EXPECT_THAT(source->log.Take(), IsEmpty());
                EXPECT_EQ(ShownOn(data, 100, 140), time) << "it serves the next main frame, too";
                break;
            case Decided::Keep:
                EXPECT_EQ(shown, ABSENT);
                EXPECT_THAT(source->log.Take(), IsEmpty());
                EXPECT_EQ(ShownOn(data, row.time, row.time + row.duration), time) << "it is kept for its own time";
                break;
            case Decided::Next:
                EXPECT_EQ(shown, 100 - start);
                EXPECT_THAT(source->log.Take(), ElementsAre("Read"));
                break;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, MixingStreamTable,
    ::testing::Values(
        Row{"LongPast", 0, 50, Decided::Next}, Row{"EndsWhereTheMainFrameBegins", 60, 40, Decided::Next},
        Row{"EmptyAtTheBegin", 100, 0, Decided::Next}, Row{"CoversFromTheBeginToOnePast", 100, 41, Decided::Use},
        Row{"Covers", 50, 150, Decided::Use}, Row{"EndsInsideByTheOverlap", 60, 50, Decided::Use},
        Row{"EndsInsideByOneLess", 60, 49, Decided::Next}, Row{"IsTheMainFrame", 100, 40, Decided::Use},
        Row{"EndsWithIt", 0, 140, Decided::Use}, Row{"BeginsWithItAndIsTooShort", 100, 9, Decided::Next},
        Row{"BeginsWithItAndIsLongEnough", 100, 10, Decided::Use}, Row{"InsideForOne", 101, 1, Decided::Use},
        Row{"InsideUpToTheEnd", 139, 1, Decided::Use}, Row{"EmptyInside", 120, 0, Decided::Use},
        Row{"BeginsInsideByTheOverlap", 130, 11, Decided::Use}, Row{"BeginsInsideByOneLess", 131, 10, Decided::Keep},
        Row{"BeginsInsideByOneLessAndIsLong", 131, 500, Decided::Keep},
        Row{"BeginsWhereItEnds", 140, 40, Decided::Keep}, Row{"FarAhead", 500, 40, Decided::Keep},
        Row{"WithoutATime", NO_VALUE, 40, Decided::Next}, Row{"WithoutADuration", 100, NO_VALUE, Decided::Next}),
    [](auto const& row) { return std::string(row.param.name); });

TEST(MixingStream, DefaultOverlapIsTenMilliseconds) {
    for (auto const& [end, shown] : std::vector<std::pair<int64, int64>>{{9999, 9999}, {10000, 0}}) {
        auto const source = ScriptedVideo::Create({MakeVideo(0, end), MakeVideo(end, 100000)});
        auto data = Make(source);
        EXPECT_EQ(ShownOn(data, 0, 40000, SettingsFilterVideoMixer::DEFAULT_MIN_OVERLAP), shown);
    }
}

TEST(MixingStream, OverlapBelowZeroTakesFramesThatAreYetToCome) {
    for (auto const& [time, shown] : std::vector<std::pair<int64, int64>>{{145, 145}, {146, ABSENT}}) {
        auto data = Make(ScriptedVideo::Create({MakeVideo(time, 40)}));
        EXPECT_EQ(ShownOn(data, 100, 140, -5), shown);
    }
    auto data = Make(ScriptedVideo::Create({MakeVideo(LATEST - 50, 40)}));
    EXPECT_EQ(ShownOn(data, 100, 140, NO_VALUE), LATEST - 50) << "as a number it is the lowest of all";
}

TEST(MixingStream, LongFrameServesManyMainFramesWithoutBeingReadAgain) {
    auto const source = ScriptedVideo::Create({MakeVideo(0, 200), MakeVideo(200, 40)});
    auto data = Make(source);
    for (int64 begin = 0; begin < 200; begin += 40) EXPECT_EQ(ShownOn(data, begin, begin + 40), 0);
    EXPECT_THAT(source->log.Take(), IsEmpty());
    EXPECT_EQ(ShownOn(data, 200, 240), 200);
    EXPECT_EQ(ShownOn(data, 240, 280), ABSENT);
    EXPECT_EQ(ShownOn(data, 280, 320), ABSENT);
    EXPECT_THAT(source->log.Take(), ElementsAre("Read", "Read")) << "behind the end nothing is asked for any more";
}

TEST(MixingStream, StreamOfAHigherRateGivesTheFirstFrameThatLiesInsideOrOverlaps) {
    auto data = Make(Clip(20, 20, 400));
    std::vector<int64> shown;
    for (int64 begin = 0; begin < 200; begin += 50) shown.push_back(ShownOn(data, begin, begin + 50));
    EXPECT_THAT(shown, ElementsAre(0, 40, 100, 140));
}

TEST(MixingStream, StartThatHasNoValueMeansNeverAndReadsNothing) {
    auto const source = Clip(5, 40, 200);
    auto data = Make(source, true, NO_VALUE);
    EXPECT_EQ(ShownOn(data, 0, 40), ABSENT);
    EXPECT_THAT(source->log.Take(), IsEmpty());
}

TEST(MixingStream, ExtremeTimesDoNotOverflow) {
    for (int64 const start : {LATEST, NO_VALUE + 1, int64{0}})
        for (int64 const time : {LATEST, NO_VALUE + 1, int64{0}})
            for (int64 const duration : {LATEST, int64{40}})
                for (bool const loop : {false, true}) {
                    auto const source = ScriptedVideo::Create({MakeVideo(time, 40)});
                    source->duration = duration;
                    auto data = Make(source, loop, start);
                    for (int64 const begin : {NO_VALUE + 1, int64{0}, LATEST - 40}) ShownOn(data, begin, begin + 40);
                    EXPECT_LE(CountOf(source->log.Take(), "Read"), 50);
                }
}

// --- Loops -----------------------------------------------------------------------------------------------------------

TEST(MixingStreamLoop, WrapsToItsFrameAtZeroAndItsTimesGoOnByItsLength) {
    auto const source = Clip(3, 40, 120);
    auto data = Make(source, true, 80);
    std::vector<int64> shown;
    for (int64 begin = 0; begin < 600; begin += 40) shown.push_back(ShownOn(data, begin, begin + 40));
    EXPECT_THAT(shown, ElementsAre(ABSENT, ABSENT, 0, 40, 80, 0, 40, 80, 0, 40, 80, 0, 40, 80, 0));
    auto const log = source->log.Take();
    EXPECT_EQ(CountOf(log, "RequestSeek(0)"), 4);
    EXPECT_EQ(CountOf(log, "Read"), 16) << "each frame, and the end of each pass";
}

TEST(MixingStreamLoop, EndsOfPassesAreSoughtWithoutAContextAndReadAgain) {
    auto const source = Clip(1, 40, 40);
    auto data = Make(source, true);
    EXPECT_EQ(ShownOn(data, 0, 40), 0);
    EXPECT_THAT(source->log.Take(), IsEmpty());
    EXPECT_EQ(ShownOn(data, 40, 80), 0);
    EXPECT_THAT(source->log.Take(), ElementsAre("Read", "RequestSeek(0)", "DoSeek", "Read"));
}

TEST(MixingStreamLoop, LengthCountsNotTheEndOfTheLastFrame) {
    // 80 ms of pictures in a stream of 100 ms: nothing is there for the rest.
    auto data = Make(Clip(2, 40, 100), true);
    std::vector<int64> shown;
    for (int64 begin = 0; begin < 300; begin += 20) shown.push_back(ShownOn(data, begin, begin + 20));
    EXPECT_THAT(shown, ElementsAre(0, 0, 40, 40, ABSENT, 0, 0, 40, 40, ABSENT, 0, 0, 40, 40, ABSENT));
}

TEST(MixingStreamLoop, PassesShorterThanAMainFrameAreGoneThroughWithinOneCall) {
    auto const source = Clip(1, 7, 7);
    auto data = Make(source, true);
    for (int64 begin = 0; begin < 4000; begin += 40) ASSERT_EQ(ShownOn(data, begin, begin + 40), 0) << begin;
}

TEST(MixingStreamLoop, GapOfManyPassesIsJumpedOverAndNotReadThrough) {
    auto const source = Clip(5, 40, 200);
    auto data = Make(source, true);
    EXPECT_EQ(ShownOn(data, 0, 40), 0);
    source->log.Take();
    int64 const far = 200 * int64{1000000} + 80;
    EXPECT_EQ(ShownOn(data, far, far + 40), 80);
    EXPECT_LE(CountOf(source->log.Take(), "Read"), 15) << "what was left, one pass to measure, and the pass wanted";
    EXPECT_EQ(ShownOn(data, far + 40, far + 80), 120);
}

TEST(MixingStreamLoop, SecondPassWithoutAFrameIsTheEnd) {
    auto const source = ScriptedVideo::Create({MakeVideo(-80, 40)});
    source->duration = 40;
    auto data = Make(source, true);
    EXPECT_EQ(ShownOn(data, 0, 40), ABSENT);
    EXPECT_THAT(source->log.Take(), ElementsAre("Read", "RequestSeek(0)", "DoSeek", "Read"));
    EXPECT_EQ(ShownOn(data, 40, 80), ABSENT);
    EXPECT_THAT(source->log.Take(), IsEmpty());
}

TEST(MixingStreamLoop, FramesWithoutTimesEndACallBehindOneWholePass) {
    auto const source = ScriptedVideo::Create({MakeVideo(0, NO_VALUE), MakeVideo(NO_VALUE, 5), MakeVideo(9, NO_VALUE)});
    source->duration = 40;
    auto data = Make(source, true);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(ShownOn(data, 0, 40), ABSENT);
        EXPECT_LE(CountOf(source->log.Take(), "Read"), 8);
    }
}

TEST(MixingStreamLoop, StreamWhoseFramesReachFarBeyondItsLengthIsReadABoundedNumberOfTimes) {
    auto const source = Clip(1000, 40, 1);
    auto data = Make(source, true);
    for (int64 const begin : {int64{0}, int64{39960}, int64{80000}, int64{1} << 40}) {
        ShownOn(data, begin, begin + 40, LATEST);
        EXPECT_LE(CountOf(source->log.Take(), "Read"), 5 * 1001) << begin;
    }
}

TEST(MixingStreamLoop, CountOfPassesSaturatesAndThenTheStreamHasEnded) {
    auto const source = Clip(1, 1, 1);
    auto data = Make(source, true);
    int64 const last = std::numeric_limits<i32>::max();
    EXPECT_EQ(ShownOn(data, last, last + 1, 1), 0);
    EXPECT_EQ(ShownOn(data, last + 1, last + 2, 1), ABSENT);
    source->log.Take();
    EXPECT_EQ(ShownOn(data, last + 2, last + 3, 1), ABSENT);
    EXPECT_THAT(source->log.Take(), IsEmpty());
    data.RequestSeek(0, nullptr);
    data.DoSeek();
    EXPECT_EQ(ShownOn(data, 0, 1, 1), 0);
}

TEST(MixingStream, FailedReadLeavesTheFrameInHand) {
    auto data = Make(ScriptedVideo::Create({MakeVideo(0, 40), Failure<FilterException>("broken"), MakeVideo(40, 40)}));
    EXPECT_EQ(MessageOf<FilterException>([&] { data.SetNewData(40, 80, 10, Never); }), "broken");
    EXPECT_EQ(ShownOn(data, 0, 40), 0);
    EXPECT_EQ(ShownOn(data, 40, 80), 40);
}

TEST(MixingStreamLoop, FailureBehindAWrapLeavesTheStreamAbsentUntilASeek) {
    auto const source = Clip(1, 40, 40);
    iptr<ScriptedFilter<IStreamVideo>> const stream(new ScriptedFilter<IStreamVideo>(source));
    MixingStreamData data(stream, 0, 0, 0, Always(255), true, MakeShared<BlenderFactory>());
    stream->onRead = [&, count = 0]() mutable -> iptr<IDataVideo> {
        if (++count == 2) TARSEL_THROW(FilterException, "broken");
        return source->Read();
    };
    EXPECT_EQ(MessageOf<FilterException>([&] { data.SetNewData(40, 80, 10, Never); }), "broken");
    EXPECT_EQ(ShownOn(data, 40, 80), ABSENT);
    data.RequestSeek(40, nullptr);
    data.DoSeek();
    EXPECT_EQ(ShownOn(data, 40, 80), 0);
}

TEST(MixingStreamLoop, SeekIntoTheGapBehindItsLastPictureLeavesItAbsentUntilTheNextSeek) {
    auto const source = Clip(2, 40, 100);
    auto data = Make(source, true);
    data.RequestSeek(90, nullptr);
    data.DoSeek();
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(90)", "DoSeek", "Read"));
    for (int64 begin = 80; begin < 400; begin += 20) EXPECT_EQ(ShownOn(data, begin, begin + 20), ABSENT) << begin;
    EXPECT_THAT(source->log.Take(), IsEmpty()) << "the passes to come aren't asked for either";
    data.RequestSeek(100, nullptr);
    data.DoSeek();
    EXPECT_EQ(ShownOn(data, 100, 120), 0);
}

// --- The rule by the book --------------------------------------------------------------------------------------------

/// The rule as one would write it down without a thought of how long it takes.
class PlainRule {
  public:
    PlainRule(std::vector<iptr<IDataVideo>> frames, int64 duration, int64 start, bool loop)
        : frames(std::move(frames)), duration(duration), start(start), loop(loop) {}

    int64 ShownOn(int64 begin, int64 end, int64 minOverlap) {
        for (; !over; Advance()) {
            int64 const fb = start + loops * duration + frames[next]->GetTime();
            int64 const fe = fb + frames[next]->GetDuration();
            int64 const overlap = std::min(fe, end) - std::max(fb, begin);
            if (fe <= begin) continue;
            bool const isUsed = fb <= begin ? fe > end || overlap >= minOverlap : fe <= end || overlap >= minOverlap;
            if (isUsed) return frames[next]->GetTime();
            if (fb > begin) return ABSENT;
        }
        return ABSENT;
    }

  private:
    void Advance() {
        if (++next < frames.size()) return;
        if (!loop) {
            over = true;
            return;
        }
        next = 0;
        ++loops;
    }

    std::vector<iptr<IDataVideo>> const frames;
    int64 const duration;
    int64 const start;
    bool const loop;
    std::size_t next = 0;
    int64 loops = 0;
    bool over = false;
};

TEST(MixingStreamModel, GivesWhatThePlainRuleGivesForAnyStreamWithinItsLength) {
    for (u32 seed = 1; seed <= 400; ++seed) {
        SCOPED_TRACE(seed);
        TestSupport::Draw draw(seed);
        std::vector<iptr<IDataVideo>> frames;
        int64 end = draw.Below(3) == 0 ? draw.Below(50) : 0;
        for (u32 i = draw.Below(8) + 1; i > 0; --i) {
            int64 const length = draw.Below(60) + 1;
            frames.push_back(MakeVideo(end, length));
            end += length + (draw.Below(3) == 0 ? draw.Below(80) : 0);
        }
        auto const source = ScriptedVideo::Create(frames);
        source->duration = end + (draw.Flag() ? draw.Below(100) : 0);
        bool const loop = draw.Below(4) != 0;
        int64 const start = static_cast<int64>(draw.Below(300)) - 100;
        auto const minOverlap = static_cast<int64>(draw.Below(30));
        MixingStreamData data = Make(source, loop, start);
        PlainRule rule(frames, source->duration, start, loop);
        int64 begin = 0;
        for (int i = 0; i < 100; ++i) {
            int64 const length = draw.Below(50) + 1;
            ASSERT_EQ(ShownOn(data, begin, begin + length, minOverlap), rule.ShownOn(begin, begin + length, minOverlap))
                << "frame " << i << " at " << begin << " for " << length;
            begin += length + (draw.Below(8) == 0 ? draw.Below(3000) : 0);
        }
    }
}

}  // namespace
}  // namespace Tarsel::Proc
