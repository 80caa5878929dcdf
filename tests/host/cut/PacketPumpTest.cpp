#include "host/cut/PacketPump.h"

#include <gtest/gtest.h>

#include <latch>
#include <new>
#include <stdexcept>
#include <vector>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataPacketFF.h"

extern "C" {
#include <libavcodec/packet.h>
}

namespace Tarsel::Host {
namespace {

iptr<Proc::IDataPacket> MakePacket(int64 time, int size = 8) {
    AVPacket* const packet = av_packet_alloc();
    av_new_packet(packet, size);
    return Proc::DataPacketFF::Create(packet, MEDIA_TYPE_VIDEO, time, time, 1);
}

TEST(PacketPump, GivesEveryPacketInOrder) {
    std::vector<int64> times;
    PacketPump pump([&](int slot, Proc::IDataPacket& packet) { times.push_back(slot * 10000 + packet.GetTime()); });
    std::vector<int64> expected;
    for (int i = 0; i < 3000; ++i) {
        pump.Push(i % 3, MakePacket(i));
        expected.push_back(i % 3 * 10000 + i);
    }
    pump.Finish();
    EXPECT_EQ(times, expected);
}

TEST(PacketPump, NothingPushedIsFinishedAtOnce) {
    PacketPump pump([](int, Proc::IDataPacket&) { FAIL(); });
    pump.Finish();
    EXPECT_EQ(Proc::DataPacketFF::GetLiveCount(), 0);
}

TEST(PacketPump, HoldsFewPacketsWhileTheSinkIsBusy) {
    std::latch open(1);
    std::latch entered(1);
    bool first = true;
    PacketPump pump([&](int, Proc::IDataPacket&) {
        if (!first) return;
        first = false;
        entered.count_down();
        open.wait();
    });
    pump.Push(0, MakePacket(0));
    entered.wait();
    // The sink holds one, the rest waits; one more would wait for room.
    for (std::size_t i = 0; i < PacketPump::MAX_PACKETS; ++i) pump.Push(0, MakePacket(1));
    EXPECT_EQ(Proc::DataPacketFF::GetLiveCount(), int64(PacketPump::MAX_PACKETS) + 1);
    open.count_down();
    pump.Push(0, MakePacket(2));
    pump.Finish();
    EXPECT_EQ(Proc::DataPacketFF::GetLiveCount(), 0);
}

TEST(PacketPump, AFailureKeepsItsClassAndComesOnce) {
    PacketPump pump([](int, Proc::IDataPacket& packet) {
        if (packet.GetTime() == 5) TARSEL_THROW(Core::IOException, "full");
    });
    bool caught = false;
    try {
        for (int i = 0; i < 10000; ++i) pump.Push(0, MakePacket(i));
    } catch (Core::IOException const& failure) {
        EXPECT_STREQ(failure.what(), "full");
        caught = true;
    }
    EXPECT_TRUE(caught);
    EXPECT_NO_THROW(pump.Finish());
}

TEST(PacketPump, AFailureOfTheLastPacketComesOutOfFinish) {
    PacketPump pump([](int, Proc::IDataPacket&) { throw std::bad_alloc(); });
    pump.Push(0, MakePacket(0));
    EXPECT_THROW(pump.Finish(), std::bad_alloc);
}

TEST(PacketPump, DestructionDropsWhatWaits) {
    std::latch entered(1);
    int given = 0;
    {
        PacketPump pump([&](int, Proc::IDataPacket&) {
            if (++given == 1) entered.count_down();
        });
        pump.Push(0, MakePacket(0));
        entered.wait();
        for (int i = 0; i < 100; ++i) pump.Push(0, MakePacket(i));
    }
    EXPECT_LE(given, 101);
    EXPECT_EQ(Proc::DataPacketFF::GetLiveCount(), 0);
}

}  // namespace
}  // namespace Tarsel::Host
