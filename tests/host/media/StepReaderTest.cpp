#include "host/media/StepReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>

#include "contracts/Proc/DataPacketFF.h"
#include "host/media/FFmpeg.h"

namespace Tarsel::Host {
namespace {

using testing::ElementsAre;
using Times = std::deque<std::pair<int64, int64>>;

/// The streams' numbers in the order in which their packets come.
std::vector<std::size_t> Order(std::vector<Times> lanes) {
    std::vector<std::size_t> order;
    StepReader reader(lanes.size(), [&](std::size_t number) -> iptr<Proc::IDataPacket> {
        if (lanes[number].empty()) return nullptr;
        auto const [time, decodingTime] = lanes[number].front();
        lanes[number].pop_front();
        return Proc::DataPacketFF::Create(av_packet_alloc(), MEDIA_TYPE_VIDEO, time, decodingTime, 1);
    });
    std::size_t number = 0;
    while (reader.Read(number)) order.push_back(number);
    EXPECT_EQ(reader.Read(number), nullptr);
    return order;
}

TEST(StepReader, TheLowestDecodingTimeComesFirst) {
    EXPECT_THAT(Order({{{5, 0}, {9, 4}}, {{1, 1}, {2, 2}, {6, 6}}}), ElementsAre(0, 1, 1, 0, 1));
}

TEST(StepReader, WithoutDecodingTimeThePresentationTimeCounts) {
    EXPECT_THAT(Order({{{3, NO_VALUE}}, {{1, NO_VALUE}, {4, NO_VALUE}}}), ElementsAre(1, 0, 1));
}

TEST(StepReader, AtEqualTimesTheFirstStreamComesFirst) {
    EXPECT_THAT(Order({{{1, 1}}, {{1, 1}}}), ElementsAre(0, 1));
}

TEST(StepReader, StreamsMayBeEmpty) {
    EXPECT_THAT(Order({{}, {{1, 1}}, {}}), ElementsAre(1));
    EXPECT_THAT(Order({}), ElementsAre());
}

}  // namespace
}  // namespace Tarsel::Host
