#include "Proc/CodecParsers/ExpGolomb.h"

#include <gtest/gtest.h>

#include <limits>

#include "contracts/Core/Exception.h"
#include "tests/support/BitWriter.h"
#include "tests/support/ExpectThrow.h"

namespace Tarsel::Proc::CodecParsers {
namespace {

using TestSupport::BitWriter;
using TestSupport::MessageOf;

u32 ReadBackUE(std::vector<u8> const& bytes) {
    Core::DataBitInput in(Core::DataInputMemory::Create(bytes.data(), bytes.size()));
    return ReadUE(in);
}

i32 ReadBackSE(std::vector<u8> const& bytes) {
    Core::DataBitInput in(Core::DataInputMemory::Create(bytes.data(), bytes.size()));
    return ReadSE(in);
}

TEST(ExpGolomb, UnsignedValuesReadBack) {
    for (u32 const value : {0U, 1U, 2U, 3U, 7U, 254U, 255U, 256U, 65534U, 65535U, 0x7FFFFFFEU, 0x7FFFFFFFU, 0x80000000U,
                            0xFFFFFFFDU, 0xFFFFFFFEU})
        EXPECT_EQ(ReadBackUE(BitWriter().UE(value).GetBytes()), value);
}

TEST(ExpGolomb, ThirtyTwoZerosHaveNoStopBitAndTheNextThirtyTwoBitsAreTheValue) {
    EXPECT_EQ(ReadBackUE(BitWriter().Bits(0, 32).Bits(0x00000005, 32).GetBytes()), 5U);
    EXPECT_EQ(ReadBackUE(BitWriter().Bits(0, 32).Bits(0x80000001, 32).GetBytes()), 0x80000001U);
    EXPECT_EQ(ReadBackUE(BitWriter().Bits(0, 32).Bits(0, 32).GetBytes()), 0U);
}

TEST(ExpGolomb, ThirtyTwoZerosConsumeSixtyFourBits) {
    auto const bytes = BitWriter().Bits(0, 32).Bits(9, 32).Bits(0xA5, 8).GetBytes();
    Core::DataBitInput in(Core::DataInputMemory::Create(bytes.data(), bytes.size()));
    ReadUE(in);
    EXPECT_EQ(in.ReadBits(8), 0xA5U);
}

TEST(ExpGolomb, SignedValuesAlternateFromZeroUpwards) {
    EXPECT_EQ(ReadBackSE(BitWriter().UE(0).GetBytes()), 0);
    EXPECT_EQ(ReadBackSE(BitWriter().UE(1).GetBytes()), 1);
    EXPECT_EQ(ReadBackSE(BitWriter().UE(2).GetBytes()), -1);
    EXPECT_EQ(ReadBackSE(BitWriter().UE(3).GetBytes()), 2);
    EXPECT_EQ(ReadBackSE(BitWriter().UE(4).GetBytes()), -2);
    for (i32 const value :
         {5, -5, 127, -128, 65536, -65536, std::numeric_limits<i32>::max(), -std::numeric_limits<i32>::max()})
        EXPECT_EQ(ReadBackSE(BitWriter().SE(value).GetBytes()), value);
}

TEST(ExpGolomb, LargestSignedCodeIsTheSmallestInteger) {
    EXPECT_EQ(ReadBackSE(BitWriter().UE(0xFFFFFFFE).GetBytes()), -std::numeric_limits<i32>::max());
    EXPECT_EQ(ReadBackSE(BitWriter().UE(0xFFFFFFFF).GetBytes()), std::numeric_limits<i32>::min());
}

TEST(ExpGolomb, EndOfDataThrowsWhereverItFalls) {
    EXPECT_NE(MessageOf<Exception>([] { ReadBackUE({}); }), "(nothing was thrown)");
    EXPECT_NE(MessageOf<Exception>([] { ReadBackUE({0, 0, 0}); }), "(nothing was thrown)");  // in the zeros
    EXPECT_NE(MessageOf<Exception>([] { ReadBackUE({0, 0x80}); }), "(nothing was thrown)");  // in the value
    EXPECT_NE(MessageOf<Exception>([] { ReadBackUE({0, 0, 0, 0, 0xFF, 0xFF, 0xFF}); }), "(nothing was thrown)");
}

TEST(ExpGolomb, ACountAboveTheBitsLeftIsRefusedWithFieldAndNumbers) {
    u8 const bytes[2] = {};
    Core::DataBitInput in(Core::DataInputMemory::Create(bytes, 2));
    EXPECT_NO_THROW(RequireEntries(in, 16, 1, "count"));
    EXPECT_NO_THROW(RequireEntries(in, 5, 3, "count"));
    EXPECT_EQ(MessageOf<Exception>([&] { RequireEntries(in, 6, 3, "count"); }),
              "count asks for 6 entries at bit 0, but only 16 bits are left");
    EXPECT_EQ(MessageOf<Exception>([&] { RequireEntries(in, u64{1} << 32, 1, "count"); }),
              "count asks for 4294967296 entries at bit 0, but only 16 bits are left");
}

}  // namespace
}  // namespace Tarsel::Proc::CodecParsers
