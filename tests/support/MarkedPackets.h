#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "contracts/Proc/IData.h"
#include "tests/support/Packets.h"

extern "C" {
#include <libavcodec/packet.h>
}

namespace Tarsel::TestSupport {

/// A packet whose properties all differ from what a new packet has.
inline iptr<Proc::IDataPacket> MakeMarked(std::vector<u8> const& payload, bool key) {
    auto packet = MakePacket(payload, key, 1234, 1200, 40);
    packet->SetSourcePosition(777);
    packet->GetAVPacket()->pos = 4711;
    return packet;
}

inline void ExpectSameProperties(iptr<Proc::IDataPacket> const& actual, iptr<Proc::IDataPacket> const& expected) {
    EXPECT_EQ(actual->GetTime(), expected->GetTime());
    EXPECT_EQ(actual->GetDecodingTime(), expected->GetDecodingTime());
    EXPECT_EQ(actual->GetDuration(), expected->GetDuration());
    EXPECT_EQ(actual->GetSourcePosition(), expected->GetSourcePosition());
    EXPECT_EQ(actual->IsKeyFrame(), expected->IsKeyFrame());
    EXPECT_EQ(actual->GetMediaType(), MEDIA_TYPE_VIDEO);
    EXPECT_EQ(actual->GetAVPacket()->pos, expected->GetAVPacket()->pos);
}

}  // namespace Tarsel::TestSupport
