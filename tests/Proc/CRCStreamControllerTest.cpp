#include "Proc/Filters/Filters/CRCStreamController.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "Proc/Filters/Filters/GraphDataCRCCollector.h"
#include "contracts/Proc/DataMD5.h"
#include "contracts/Proc/GraphCRCData.h"
#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"
#include "tests/support/OtherSettings.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

template <class T>
iptr<T> As(iptr<T> stream) {
    return stream;
}

std::vector<std::string> NamesOf(IStream& stream) {
    Visitors::InfoCollector names;
    stream.Accept(names);
    return names.names;
}

void SetNode(IStream& stream, int64 id) {
    stream.Initialize(Core::Property(ICRCStreamController::SOURCE_NODE_ID).SetValue(id));
}

iptr<IStreamVideo> Videos(std::initializer_list<ScriptedVideo::Step> steps) {
    return ScriptedVideo::Create(steps);
}

TEST(CRCStreamController, WrapsEachKindOfStreamInItsHashFilter) {
    auto const controller = CRCStreamController::Create();
    EXPECT_THAT(NamesOf(*controller->AddStream(As<IStreamSubtitle>(ScriptedSubtitle::Create({})))),
                ElementsAre("FilterMD5StreamSubtitle", "ScriptedStream"));
    EXPECT_THAT(NamesOf(*controller->AddStream(As<IStreamVideo>(ScriptedVideo::Create({})))),
                ElementsAre("FilterMD5StreamVideo", "ScriptedStream"));
    EXPECT_THAT(NamesOf(*controller->AddStream(As<IStreamAudio>(ScriptedAudio::Create({})))),
                ElementsAre("FilterMD5StreamAudio", "ScriptedStream"));
    EXPECT_THAT(NamesOf(*controller->AddStream(As<IStreamRaw>(ScriptedRaw::Create({})))),
                ElementsAre("FilterMD5StreamRaw", "ScriptedStream"));
}

TEST(CRCStreamController, MakesANewFilterForEachCall) {
    auto const controller = CRCStreamController::Create();
    auto const source = Videos({});
    EXPECT_NE(controller->AddStream(source), controller->AddStream(source));
}

TEST(CRCStreamController, RefusesANullStreamOfAnyKind) {
    auto const controller = CRCStreamController::Create();
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { controller->AddStream(iptr<IStreamSubtitle>()); }),
              "source is NULL");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { controller->AddStream(iptr<IStreamVideo>()); }), "source is NULL");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { controller->AddStream(iptr<IStreamAudio>()); }), "source is NULL");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { controller->AddStream(iptr<IStreamRaw>()); }), "source is NULL");
}

TEST(CRCStreamController, SettingsAndPropertiesWithANameAreNotImplemented) {
    auto const controller = CRCStreamController::Create();
    EXPECT_EQ(MessageOf<FilterException>([&] { controller->UpdateSettings(OtherSettings()); }), "Not implemented");
    for (char const* const name : {ICRCStreamController::CLASS_ID, ICRCStreamController::SOURCE_NODE_ID, "x"})
        EXPECT_EQ(MessageOf<FilterException>([&, id = name] { controller->Initialize(Core::Property(id)); }),
                  "Not implemented");
}

TEST(CRCStreamController, AnEmptyPropertyDoesNothing) {
    auto const controller = CRCStreamController::Create();
    controller->Initialize(Core::Property());
    EXPECT_EQ(controller->GetGraphCRCData(), GraphCRCData());
}

TEST(CRCStreamController, RecordsEachStreamUnderItsNode) {
    auto const controller = CRCStreamController::Create();
    auto const first = MakeVideo(0, 40, 1), second = MakeVideo(40, 40, 2);
    auto const block = MakeAudio(0, 100);
    auto const video = controller->AddStream(Videos({first, second}));
    auto const audio = controller->AddStream(As<IStreamAudio>(ScriptedAudio::Create({block})));
    SetNode(*video, 3);
    SetNode(*audio, -5);
    ReadAll(*video);
    ReadAll(*audio);
    GraphCRCData expected;
    expected.AddPacketCRCInfo(3, 0, CalculateVideoDataMD5(first));
    expected.AddPacketCRCInfo(3, 40, CalculateVideoDataMD5(second));
    expected.AddPacketCRCInfo(-5, 0, CalculateAudioDataMD5(block));
    EXPECT_EQ(controller->GetGraphCRCData(), expected);
}

TEST(CRCStreamController, WithoutInitializeAllItemsLandUnderNodeZero) {
    auto const controller = CRCStreamController::Create();
    auto const video = controller->AddStream(Videos({MakeVideo(0, 40, 1)}));
    auto const raw = controller->AddStream(As<IStreamRaw>(ScriptedRaw::Create({MakePacket(7, 7, 1, true)})));
    ReadAll(*video);
    ReadAll(*raw);
    GraphCRCData const& data = controller->GetGraphCRCData();
    EXPECT_EQ(data.GetFilterCount(), 1U);
    EXPECT_EQ(data.GetFilterCRCInfoList().at(0).GetPacketCRCInfoList().size(), 2U);
}

TEST(CRCStreamController, TwoFiltersOfOneNodeMergeInOrderOfArrival) {
    auto const controller = CRCStreamController::Create();
    auto const left = controller->AddStream(Videos({MakeVideo(0, 40, 1), MakeVideo(40, 40, 2)}));
    auto const right = controller->AddStream(Videos({MakeVideo(10, 40, 3), MakeVideo(50, 40, 4)}));
    for (auto const& stream : {left, right}) SetNode(*stream, 8);
    right->Read();
    left->Read();
    left->Read();
    right->Read();
    auto const& packets = controller->GetGraphCRCData().GetFilterCRCInfoList().at(8).GetPacketCRCInfoList();
    std::vector<int64> times;
    for (PacketCRCInfo const& packet : packets) {
        EXPECT_EQ(packet.GetPacketIndex(), times.size());
        times.push_back(packet.GetTimeStamp());
    }
    EXPECT_THAT(times, ElementsAre(10, 0, 40, 50));
}

TEST(CRCStreamController, AnEmptyStreamLeavesNoEntryOfItsNode) {
    auto const controller = CRCStreamController::Create();
    auto const empty = controller->AddStream(Videos({}));
    auto const emptyPackets =
        controller->AddStream(As<IStreamRaw>(ScriptedRaw::Create({MakePacket(0, 0, 1, true, {})})));
    SetNode(*empty, 1);
    SetNode(*emptyPackets, 2);
    ReadAll(*empty);
    ReadAll(*emptyPackets);
    EXPECT_THAT(controller->GetGraphCRCData().GetFilterCRCInfoList(), IsEmpty());
    EXPECT_EQ(controller->GetGraphCRCData().GetPacketCount(), 0U);
}

TEST(CRCStreamController, ATimeWithoutAValueIsRecordedAsItStands) {
    auto const controller = CRCStreamController::Create();
    controller->AddStream(Videos({MakeVideo(NO_VALUE, 40)}))->Read();
    auto const& packets = controller->GetGraphCRCData().GetFilterCRCInfoList().at(0).GetPacketCRCInfoList();
    EXPECT_EQ(packets.at(0).GetTimeStamp(), NO_VALUE);
}

TEST(CRCStreamController, FiltersOutliveTheirControllerAndHoldNoStreamBeyondTheirOwn) {
    int const before = ScriptedVideo::GetLiveCount();
    auto controller = CRCStreamController::Create();
    auto filter = controller->AddStream(Videos({MakeVideo(0, 40)}));
    controller->AddStream(Videos({}));
    EXPECT_EQ(ScriptedVideo::GetLiveCount(), before + 1) << "the controller keeps no stream";
    controller = nullptr;
    EXPECT_THAT(filter->Read(), IsVideo(0, 40));
    filter = nullptr;
    EXPECT_EQ(ScriptedVideo::GetLiveCount(), before);
}

TEST(GraphDataCRCCollector, TakesTheDigestAheadOfTheTimeUnlikeTheRecord) {
    auto const collector = MakeShared<GraphDataCRCCollector>();
    collector->AddPacketCRCInfo(4, "digest", 123);
    GraphCRCData expected;
    expected.AddPacketCRCInfo(4, 123, "digest");
    EXPECT_EQ(collector->GetGraphCRCData(), expected);
    EXPECT_EQ(&collector->GetGraphCRCData(), &collector->GetGraphCRCData());
}

}  // namespace
}  // namespace Tarsel::Proc
