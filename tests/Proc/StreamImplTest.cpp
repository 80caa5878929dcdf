#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Filter = ScriptedFilter<IStreamVideo>;

struct Chain {
    explicit Chain(std::vector<ScriptedVideo::Step> const& steps) : source(ScriptedVideo::Create(steps)) {
        filter = MakeShared<Filter>(source);
    }
    iptr<ScriptedVideo> source;
    iptr<Filter> filter;
};

Chain FourFrames() {
    return Chain({MakeVideo(0, 40), MakeVideo(40, 40), MakeVideo(80, 40), MakeVideo(120, 40)});
}

TEST(StreamImpl, NullSourceIsRefused) {
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { Filter filter(nullptr); }), "parentStream is NULL.");
    try {
        Filter filter(nullptr);
        FAIL();
    } catch (std::invalid_argument const& failure) {
        EXPECT_NE(boost::get_error_info<TagCallStack>(failure), nullptr);
    }
}

TEST(StreamImpl, ConstructorTouchesNothingOfTheSource) {
    auto chain = FourFrames();
    EXPECT_THAT(chain.source->log.Take(), IsEmpty());
    EXPECT_FALSE(chain.filter->IsEndOfStream());
}

TEST(StreamImpl, DurationFormatAndStatisticsComeFromTheSource) {
    auto chain = FourFrames();
    EXPECT_EQ(chain.filter->GetDuration(), NO_VALUE);
    chain.source->duration = 160;
    EXPECT_EQ(chain.filter->GetDuration(), 160);
    EXPECT_EQ(chain.filter->GetFormatCodec(), chain.source->GetFormatCodec());
    Core::Property const statistic = chain.filter->GetStatistic();
    ASSERT_EQ(statistic.Children().size(), 2U);
    EXPECT_EQ(statistic.Children()[0].Name(), "ScriptedStream");
    EXPECT_EQ(statistic.Children()[1].Name(), "ScriptedFilter");
}

TEST(StreamImpl, ReadGivesTheFiltersItemsThenNullForEver) {
    auto chain = FourFrames();
    Seek(*chain.filter, 0);
    EXPECT_THAT(ReadAll(*chain.filter),
                ElementsAre(IsVideo(0, 40), IsVideo(40, 40), IsVideo(80, 40), IsVideo(120, 40)));
    for (int i = 0; i < 3; ++i) EXPECT_EQ(chain.filter->Read(), nullptr);
}

TEST(StreamImpl, EveryReadAtTheEndAsksTheSourceAgain) {
    Chain chain({nullptr});
    chain.filter->Read();
    chain.filter->Read();
    EXPECT_THAT(chain.source->log.Take(), ElementsAre("Read", "Read"));
    EXPECT_FALSE(chain.filter->IsEndOfStream());
}

TEST(StreamImpl, ReadThroughTheBasePointerIsTheSameRead) {
    auto chain = FourFrames();
    IStream& base = *chain.filter;
    Seek(base, 40);
    iptr<IData> const item = base.Read();
    EXPECT_EQ(item->GetTime(), 40);
    EXPECT_EQ(base.GetPosition(), 80);
    EXPECT_EQ(base.GetFormatCodecBase(), chain.source->GetFormatCodec());
}

TEST(StreamImpl, SeekPhasesReachTheSourceInOrderWithTheContext) {
    auto chain = FourFrames();
    chain.source->duration = 160;
    chain.filter->RequestSeek(100, chain.source);
    chain.filter->DoSeek();
    EXPECT_TRUE(chain.filter->FinishSeek());
    EXPECT_THAT(chain.filter->log->Take(), ElementsAre("RequestSeekInternal(100)", "DoSeekInternal"));
    EXPECT_THAT(chain.source->log.Take(), ElementsAre("RequestSeek(100, context)", "DoSeek"));
}

TEST(StreamImpl, SeekBeyondTheDurationIsClampedToIt) {
    auto chain = FourFrames();
    chain.source->duration = 160;
    chain.filter->RequestSeek(161, nullptr);
    chain.filter->RequestSeek(160, nullptr);
    chain.filter->RequestSeek(std::numeric_limits<int64>::max(), nullptr);
    EXPECT_THAT(chain.source->log.Take(), ElementsAre("RequestSeek(160)", "RequestSeek(160)", "RequestSeek(160)"));
}

TEST(StreamImpl, SeekWithAnUnknownDurationGoesOnAsItStands) {
    auto chain = FourFrames();
    chain.filter->RequestSeek(1000000, nullptr);
    EXPECT_THAT(chain.source->log.Take(), ElementsAre("RequestSeek(1000000)"));
}

TEST(StreamImpl, NegativeAndUnknownPositionsAreNotClamped) {
    auto chain = FourFrames();
    chain.source->duration = 160;
    chain.filter->RequestSeek(-5, nullptr);
    chain.filter->RequestSeek(NO_VALUE, nullptr);
    EXPECT_THAT(chain.source->log.Take(),
                ElementsAre("RequestSeek(-5)", "RequestSeek(" + std::to_string(NO_VALUE) + ")"));
}

TEST(StreamImpl, PositionAfterASeekIsTheTimeOfTheItemReadAhead) {
    auto chain = FourFrames();
    Seek(*chain.filter, 50);
    EXPECT_EQ(chain.filter->GetPosition(), 40);
    EXPECT_EQ(chain.filter->GetPosition(), 40);
    ASSERT_EQ(chain.source->delivered.size(), 1U);
    auto const item = chain.filter->Read();
    EXPECT_THAT(item, IsVideo(40, 40));
    EXPECT_EQ(item.get(), chain.source->delivered[0]);
    EXPECT_EQ(chain.source->delivered.size(), 1U);
}

TEST(StreamImpl, PositionAfterAReadIsTheEndOfTheItem) {
    auto chain = FourFrames();
    Seek(*chain.filter, 0);
    chain.filter->Read();
    EXPECT_EQ(chain.filter->GetPosition(), 40);
    EXPECT_EQ(chain.source->delivered.size(), 1U);
}

TEST(StreamImpl, PositionAtTheEndHasNoValueAfterASeekOnly) {
    auto chain = FourFrames();
    Seek(*chain.filter, 160);
    EXPECT_EQ(chain.filter->GetPosition(), NO_VALUE);
    EXPECT_EQ(chain.filter->GetPosition(), NO_VALUE);
    Seek(*chain.filter, 120);
    ReadAll(*chain.filter);
    EXPECT_EQ(chain.filter->GetPosition(), 160);
}

TEST(StreamImpl, PositionBehindAnItemWithoutATimeIsFoundByReadingAhead) {
    Chain chain({MakeVideo(NO_VALUE, 40), MakeVideo(7, 40)});
    chain.filter->Read();
    EXPECT_EQ(chain.filter->GetPosition(), 7);
    EXPECT_THAT(ReadAll(*chain.filter), ElementsAre(IsVideo(7, 40)));
}

TEST(StreamImpl, RequestSeekDropsTheItemReadAhead) {
    auto chain = FourFrames();
    Seek(*chain.filter, 40);
    EXPECT_EQ(chain.filter->GetPosition(), 40);
    Seek(*chain.filter, 120);
    EXPECT_THAT(ReadAll(*chain.filter), ElementsAre(IsVideo(120, 40)));
}

TEST(StreamImpl, RefusedSeekStillLosesTheItemReadAhead) {
    auto chain = FourFrames();
    Seek(*chain.filter, 0);
    EXPECT_EQ(chain.filter->GetPosition(), 0);
    chain.filter->SetEndOfStream();
    chain.filter->onRequestSeek = [](int64) { TARSEL_THROW(FilterException, "Seek is disabled"); };
    EXPECT_THROW(chain.filter->RequestSeek(0, nullptr), FilterException);
    EXPECT_FALSE(chain.filter->IsEndOfStream());
    chain.filter->onRead = [] { return MakeVideo(77, 1); };
    EXPECT_EQ(chain.filter->GetPosition(), 77);
}

TEST(StreamImpl, SetEndOfStreamMarksTheSourceTooAndASeekClearsIt) {
    auto chain = FourFrames();
    Seek(*chain.filter, 0);
    chain.filter->SetEndOfStream();
    EXPECT_TRUE(chain.filter->IsEndOfStream());
    EXPECT_TRUE(chain.source->IsEndOfStream());
    EXPECT_EQ(chain.filter->Read(), nullptr);
    Seek(*chain.filter, 0);
    EXPECT_FALSE(chain.filter->IsEndOfStream());
    EXPECT_EQ(ReadAll(*chain.filter).size(), 4U);
}

TEST(StreamImpl, IsEndOfStreamDoesNotAskTheSource) {
    auto chain = FourFrames();
    chain.source->SetEndOfStream();
    EXPECT_FALSE(chain.filter->IsEndOfStream());
}

TEST(StreamImpl, FailedReadPassesThroughKeepsThePositionAndTheStreamGoesOn) {
    Chain chain({MakeVideo(0, 40), Failure<EffectException>("no effect"), MakeVideo(80, 40)});
    Seek(*chain.filter, 0);
    chain.filter->Read();
    EXPECT_EQ(MessageOf<EffectException>([&] { chain.filter->Read(); }), "no effect");
    EXPECT_EQ(chain.filter->GetPosition(), 40);
    EXPECT_THAT(chain.filter->Read(), IsVideo(80, 40));
    Seek(*chain.filter, 0);
    EXPECT_THAT(chain.filter->Read(), IsVideo(0, 40));
}

TEST(StreamImpl, FailureWhileReadingAheadPassesThroughGetPosition) {
    Chain chain(
        {Failure<Exception>("There was no initial seek before reading! Check application logic!"), MakeVideo(5, 1)});
    EXPECT_THROW(chain.filter->GetPosition(), Exception);
    EXPECT_EQ(chain.filter->GetPosition(), 5);
}

TEST(StreamImpl, ReleaseDropsTheItemReadAheadAndReachesTheSource) {
    auto chain = FourFrames();
    Seek(*chain.filter, 0);
    chain.filter->GetPosition();
    chain.source->log.Take();
    chain.filter->ReleaseInternalData();
    EXPECT_THAT(chain.source->log.Take(), ElementsAre("ReleaseInternalData"));
    Seek(*chain.filter, 0);
    EXPECT_EQ(ReadAll(*chain.filter).size(), 4U);
}

TEST(StreamImpl, AcceptVisitsTheFilterBeforeItsSource) {
    auto chain = FourFrames();
    auto const last = MakeShared<Filter>(chain.filter);
    Visitors::InfoCollector names;
    last->Accept(names);
    EXPECT_THAT(names.names, ElementsAre("ScriptedFilter", "ScriptedFilter", "ScriptedStream"));
    Visitors::FrameTypeCollector types;
    last->Accept(types);
    EXPECT_THAT(types.frameTypes, ElementsAre(5, 5, 5));
    Visitors::DecoderCollector decoders;
    last->Accept(decoders);
    EXPECT_THAT(decoders.decoders, IsEmpty());
}

TEST(StreamImpl, FiltersOwnCodeMayReenterTheBaseWhileItReads) {
    auto chain = FourFrames();
    chain.filter->onRead = [&]() -> iptr<IDataVideo> {
        chain.filter->onRead = nullptr;
        Seek(*chain.filter, 80);
        return chain.filter->Read();
    };
    EXPECT_THAT(chain.filter->Read(), IsVideo(80, 40));
}

TEST(StreamImpl, DroppingTheLastFilterFreesTheChain) {
    int const sources = ScriptedVideo::GetLiveCount();
    int const filters = Filter::GetLiveCount();
    {
        auto chain = FourFrames();
        chain.filter->GetPosition();
        EXPECT_EQ(Filter::GetLiveCount(), filters + 1);
    }
    EXPECT_EQ(ScriptedVideo::GetLiveCount(), sources);
    EXPECT_EQ(Filter::GetLiveCount(), filters);
}

}  // namespace
}  // namespace Tarsel::Proc
