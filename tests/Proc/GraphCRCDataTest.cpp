#include "contracts/Proc/GraphCRCData.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <type_traits>

#include "contracts/Core/Time.h"

namespace Tarsel::Proc {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<int64> IdsOf(GraphCRCData const& data) {
    std::vector<int64> ids;
    for (auto const& [id, filter] : data.GetFilterCRCInfoList()) ids.push_back(id);
    return ids;
}

TEST(PacketCRCInfo, GivesBackWhatItWasMadeOf) {
    PacketCRCInfo const packet(7, -40000, "digest");
    EXPECT_EQ(packet.GetPacketIndex(), 7U);
    EXPECT_EQ(packet.GetTimeStamp(), -40000);
    EXPECT_EQ(packet.GetCRC(), "digest");
    EXPECT_NE(packet, PacketCRCInfo(8, -40000, "digest"));
    EXPECT_NE(packet, PacketCRCInfo(7, 40000, "digest"));
    EXPECT_NE(packet, PacketCRCInfo(7, -40000, "Digest"));
}

TEST(FilterCRCInfo, NumbersItsPacketsInOrderOfArrival) {
    FilterCRCInfo filter(-3);
    EXPECT_EQ(filter.GetGraphNodeId(), -3);
    EXPECT_THAT(filter.GetPacketCRCInfoList(), IsEmpty());
    filter.AddPacketCRCInfo(40000, "b");
    filter.AddPacketCRCInfo(0, "a");
    EXPECT_THAT(filter.GetPacketCRCInfoList(), ElementsAre(PacketCRCInfo(0, 40000, "b"), PacketCRCInfo(1, 0, "a")));
}

TEST(GraphCRCData, BeginsEmpty) {
    GraphCRCData const data;
    EXPECT_EQ(data.GetPacketCount(), 0U);
    EXPECT_EQ(data.GetFilterCount(), 0U);
    EXPECT_TRUE(data.GetSourceGraphFileName().empty());
    EXPECT_TRUE(data.GetSourceMediaFileName().empty());
    EXPECT_THAT(data.GetFilterCRCInfoList(), IsEmpty());
}

TEST(GraphCRCData, TakesTheTimeAheadOfTheDigest) {
    GraphCRCData data;
    data.AddPacketCRCInfo(5, 123, "digest");
    EXPECT_THAT(data.GetFilterCRCInfoList().at(5).GetPacketCRCInfoList(), ElementsAre(PacketCRCInfo(0, 123, "digest")));
}

TEST(GraphCRCData, TwoNodesKeepSeparatePacketNumbering) {
    GraphCRCData data;
    data.AddPacketCRCInfo(2, 0, "a");
    data.AddPacketCRCInfo(1, 10, "b");
    data.AddPacketCRCInfo(2, 20, "c");
    data.AddPacketCRCInfo(1, 30, "d");
    EXPECT_EQ(data.GetPacketCount(), 4U);
    EXPECT_EQ(data.GetFilterCount(), 2U);
    EXPECT_THAT(data.GetFilterCRCInfoList().at(2).GetPacketCRCInfoList(),
                ElementsAre(PacketCRCInfo(0, 0, "a"), PacketCRCInfo(1, 20, "c")));
    EXPECT_THAT(data.GetFilterCRCInfoList().at(1).GetPacketCRCInfoList(),
                ElementsAre(PacketCRCInfo(0, 10, "b"), PacketCRCInfo(1, 30, "d")));
}

TEST(GraphCRCData, NodesStandInAscendingOrderOfTheirIds) {
    GraphCRCData data;
    for (int64 const id :
         {int64{7}, int64{-1}, std::numeric_limits<int64>::max(), std::numeric_limits<int64>::min(), int64{0}})
        data.AddPacketCRCInfo(id, 0, "x");
    EXPECT_THAT(IdsOf(data),
                ElementsAre(std::numeric_limits<int64>::min(), -1, 0, 7, std::numeric_limits<int64>::max()));
    EXPECT_EQ(data.GetFilterCRCInfoList().at(-1).GetGraphNodeId(), -1);
}

TEST(GraphCRCData, ClearForgetsEverything) {
    GraphCRCData data;
    data.AddPacketCRCInfo(1, 0, "a");
    data.SetSourceGraphFileName(ioPath("graph.json"));
    data.SetSourceMediaFileName(ioPath("media.mkv"));
    EXPECT_EQ(data.GetSourceGraphFileName().utf8string(), "graph.json");
    EXPECT_EQ(data.GetSourceMediaFileName().utf8string(), "media.mkv");
    data.Clear();
    EXPECT_EQ(data, GraphCRCData());
}

TEST(GraphCRCData, CopiesAreDeepAndMovesAreAllowed) {
    static_assert(std::is_copy_constructible_v<GraphCRCData> && std::is_copy_assignable_v<GraphCRCData>);
    static_assert(std::is_move_constructible_v<FilterCRCInfo> && std::is_move_assignable_v<FilterCRCInfo>);
    static_assert(std::is_copy_constructible_v<PacketCRCInfo> && std::is_move_assignable_v<PacketCRCInfo>);
    GraphCRCData data;
    data.AddPacketCRCInfo(1, 0, "a");
    GraphCRCData copy = data;
    copy.AddPacketCRCInfo(1, 40, "b");
    copy.SetSourceMediaFileName(ioPath("other"));
    EXPECT_EQ(data.GetPacketCount(), 1U);
    EXPECT_EQ(data.GetFilterCRCInfoList().at(1).GetPacketCRCInfoList().size(), 1U);
    EXPECT_TRUE(data.GetSourceMediaFileName().empty());
    GraphCRCData const before = copy;
    GraphCRCData const moved = std::move(copy);
    EXPECT_EQ(moved, before);
    EXPECT_NE(moved, data);
}

TEST(IoPath, IsAssignedFromUtf8AndCleared) {
    ioPath path;
    EXPECT_TRUE(path.empty());
    path = std::string("K\xC3\xA4se/\xE6\x98\xA0\xE7\x94\xBB.mkv");
    EXPECT_EQ(path.utf8string(), "K\xC3\xA4se/\xE6\x98\xA0\xE7\x94\xBB.mkv");
    path.clear();
    EXPECT_EQ(path, ioPath());
}

}  // namespace
}  // namespace Tarsel::Proc
