#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

#include "Proc/Filters/Filters/FilterAudioMixer.h"
#include "contracts/Conf/IPreset.h"
#include "contracts/Proc/IStreamVisitor.h"
#include "tests/Proc/MixerSupport.h"
#include "tests/support/Matchers.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(FilterAudioMixer, InitializeTakesItsOwnClassAndDoesNothing) {
    TestMixer const mixer;
    mixer->AddStream(MakeLevel(7), 100);
    mixer.Calls();
    mixer->Initialize(Core::Property(IFilterAudioMixer::CLASS_ID));
    EXPECT_THAT(mixer.Calls(), IsEmpty());
    EXPECT_EQ(SampleAt(*mixer->Read(), 0, 0), 7);
}

TEST(FilterAudioMixer, InitializeRefusesAnotherClass) {
    TestMixer const mixer;
    EXPECT_EQ(MessageOf<FilterException>([&] { mixer->Initialize(Core::Property("FilterResize")); }),
              "Object was initialized with incorrect class (FilterResize)!");
    EXPECT_EQ(MessageOf<FilterException>([&] { mixer->Initialize(Core::Property()); }),
              "Object was initialized with incorrect class ()!");
}

TEST(FilterAudioMixer, ItsSettingsAreAnEmptyType) {
    TestMixer const mixer;
    EXPECT_EQ(mixer->GetSettings(),
              Core::Property(IFilterAudioMixer::CLASS_ID).SetChild(Conf::IPreset::KEY_TYPE_ID, ""));
    mixer->Initialize(mixer->GetSettings());
}

TEST(FilterAudioMixer, TheDurationIsTheLargestThatIsKnown) {
    TestMixer const mixer;
    iptr<ScriptedAudio> const streams[] = {MakeStream(MONO_S16), MakeStream(MONO_S16), MakeStream(MONO_S16)};
    for (auto const& stream : streams) mixer->AddStream(stream, 100);
    EXPECT_EQ(mixer->GetDuration(), NO_VALUE);
    streams[1]->duration = -5;
    EXPECT_EQ(mixer->GetDuration(), -5);
    streams[0]->duration = 3000;
    streams[1]->duration = 7000;
    EXPECT_EQ(mixer->GetDuration(), 7000);
    streams[2]->duration = 0;
    EXPECT_EQ(mixer->GetDuration(), 7000);
}

TEST(FilterAudioMixer, EachPhaseOfASeekGoesToEveryStreamWithItsContext) {
    TestMixer const mixer;
    mixer->AddStream(MakeLevel(1), 100);
    mixer->AddStream(MakeLevel(2), 100);
    mixer.Calls();
    mixer->RequestSeek(40, MakeLevel(1));
    EXPECT_THAT(mixer.Calls(),
                ElementsAre("formatter 0 RequestSeek(40, context)", "formatter 1 RequestSeek(40, context)"));
    EXPECT_EQ(mixer->GetPosition(), 40);
    mixer->RequestSeek(50, nullptr);
    EXPECT_THAT(mixer.Calls(), ElementsAre("formatter 0 RequestSeek(50)", "formatter 1 RequestSeek(50)"));
    mixer->DoSeek();
    EXPECT_THAT(mixer.Calls(), ElementsAre("formatter 0 DoSeek", "formatter 1 DoSeek"));
    EXPECT_TRUE(mixer->FinishSeek());
    EXPECT_THAT(mixer.Calls(), ElementsAre("formatter 0 FinishSeek", "formatter 1 FinishSeek"));
    EXPECT_EQ(mixer->GetPosition(), 50);
}

TEST(FilterAudioMixer, ASeekIsFinishedWhenAllStreamsSaySo) {
    TestMixer const mixer;
    mixer->AddStream(MakeLevel(1), 100);
    mixer->AddStream(MakeLevel(2), 100);
    mixer.plan->formattersReady = false;
    mixer.Calls();
    EXPECT_FALSE(mixer->FinishSeek());
    EXPECT_THAT(mixer.Calls(), ElementsAre("formatter 0 FinishSeek", "formatter 1 FinishSeek"));
}

TEST(FilterAudioMixer, ASeekMakesFinishedStreamsTakePartAgain) {
    TestMixer const mixer;
    mixer->AddStream(MakeLevel(1), 100);
    mixer->AddStream(MakeRunStream(MONO_S16, {4, 4}, [](int, int64) { return 20.0; }), 100);
    for (int pass = 0; pass < 3; ++pass) {
        Seek(*mixer, 0);
        EXPECT_THAT(ChannelOf(ReadAll(*mixer)), ElementsAre(21, 21, 21, 21, 20, 20, 20, 20));
        EXPECT_EQ(mixer->Read(), nullptr);
    }
}

TEST(FilterAudioMixer, StatisticsHoldOneNodePerStream) {
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(MONO_S16, {4, 4}, [](int, int64) { return 1.0; }), 100);
    mixer->AddStream(MakeLevel(2), 100);
    Seek(*mixer, 0);
    EXPECT_EQ(ReadAll(*mixer).size(), 2U);
    EXPECT_EQ(mixer->Read(), nullptr);
    auto const streamNode = [](unsigned blocks, char const* resampler, char const* formatter) {
        return Core::GetRootItem()
            .Add(Core::MakeStatistics("ScriptedStream", 0, blocks))
            .Add(Core::MakeStatistics(resampler, 0, 0))
            .Add(Core::MakeStatistics(formatter, 0, 0));
    };
    EXPECT_EQ(mixer->GetStatistic(), Core::MakeStatistics("Tarsel::Proc::FilterAudioMixer::GetStatistic", 0, 2)
                                         .Add(streamNode(2, "resampler 0", "formatter 0"))
                                         .Add(streamNode(1, "resampler 1", "formatter 1")));
}

TEST(FilterAudioMixer, AnEndGoesToEveryStreamAndOneThatHasItMakesItTheMixers) {
    TestMixer const mixer;
    auto const first = MakeLevel(1), second = MakeLevel(2);
    mixer->AddStream(first, 100);
    mixer->AddStream(second, 100);
    mixer.Calls();
    EXPECT_FALSE(mixer->IsEndOfStream());
    second->SetEndOfStream();
    EXPECT_TRUE(mixer->IsEndOfStream());
    mixer->SetEndOfStream();
    EXPECT_THAT(mixer.Calls(), ElementsAre("formatter 0 SetEndOfStream", "formatter 1 SetEndOfStream"));
    EXPECT_TRUE(first->IsEndOfStream());
    EXPECT_EQ(mixer->Read(), nullptr);
}

TEST(FilterAudioMixer, WhatWaitsOfTheBlocksIsStillGivenBehindAnEnd) {
    TestMixer const mixer;
    mixer->AddStream(MakeRunStream(MONO_S16, {2, 2}, [](int, int64) { return 1.0; }), 100);
    mixer->AddStream(MakeRunStream(MONO_S16, {3, 3}, [](int, int64) { return 20.0; }), 100);
    EXPECT_THAT(ChannelOf(*mixer->Read()), ElementsAre(21, 21));
    mixer->SetEndOfStream();
    EXPECT_THAT(ChannelOf(*mixer->Read()), ElementsAre(20));
    EXPECT_EQ(mixer->Read(), nullptr);
}

TEST(FilterAudioMixer, AnEndAndReportsMayComeFromAnotherThreadWhileAReadIsUnderWay) {
    TestMixer const mixer;
    auto const first = MakeRunStream(MONO_S16, {2, 2}, [](int, int64) { return 1.0; });
    auto const second = MakeRunStream(MONO_S16, {1, 1, 1, 1}, [](int, int64) { return 20.0; });
    mixer->AddStream(first, 100);
    mixer->AddStream(second, 100);
    Seek(*mixer, 0);
    EXPECT_NE(mixer->Read(), nullptr);
    second->gate = std::make_shared<Gate>();
    second->gate->Close();
    iptr<IDataAudio> last;
    Core::Thread reader([&] { last = mixer->Read(); });
    second->gate->AwaitArrivals(1);
    EXPECT_EQ(mixer->GetStatistic().Children().size(), 4U);
    EXPECT_EQ(mixer->GetDuration(), NO_VALUE);
    EXPECT_EQ(mixer->GetFormatCodec()->GetSampleInfo(), MONO_S16);
    EXPECT_FALSE(mixer->IsEndOfStream());
    mixer->SetEndOfStream();
    EXPECT_TRUE(mixer->IsEndOfStream());
    second->gate->Open();
    reader.Join();
    // The block that had been read is given, with silence for what has been broken off.
    EXPECT_THAT(ChannelOf(*last), ElementsAre(1, 1));
    EXPECT_EQ(mixer->Read(), nullptr);
}

TEST(FilterAudioMixer, InternalDataIsReleasedByEveryStream) {
    TestMixer const mixer;
    mixer->AddStream(MakeLevel(1), 100);
    mixer->AddStream(MakeLevel(2), 100);
    mixer.Calls();
    mixer->ReleaseInternalData();
    EXPECT_THAT(mixer.Calls(), ElementsAre("formatter 0 ReleaseInternalData", "formatter 1 ReleaseInternalData"));
}

TEST(FilterAudioMixer, AVisitorSeesTheMixerThenEachStream) {
    TestMixer const mixer;
    mixer->AddStream(MakeLevel(1), 100);
    mixer->AddStream(MakeLevel(2), 100);
    Visitors::InfoCollector names;
    mixer->Accept(names);
    EXPECT_THAT(names.names, ElementsAre("FilterAudioMixer", "formatter 0", "resampler 0", "ScriptedStream",
                                         "formatter 1", "resampler 1", "ScriptedStream"));
    Visitors::FrameTypeCollector types;
    mixer->Accept(types);
    EXPECT_THAT(types.frameTypes, ElementsAre(5, 5, 5, 5, 5, 5, 5));
}

TEST(FilterAudioMixer, AVisitorOfAnUnknownKindIsRefused) {
    class Unknown : public IStreamVisitor {
        int GetType() const override { return 99; }
    } visitor;
    EXPECT_EQ(MessageOf<std::logic_error>([&] { TestMixer()->Accept(visitor); }), "Unknown visitor type");
}

TEST(FilterAudioMixer, LetsGoOfAllItsStreams) {
    auto const stream = MakeLevel(1);
    {
        TestMixer const mixer;
        mixer->AddStream(stream, 100);
        EXPECT_NE(mixer->Read(), nullptr);
    }
    EXPECT_EQ(stream->GetRefCountImpl(), 1U);
}

}  // namespace
}  // namespace Tarsel::Proc
