#include "contracts/Core/BitIO.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "contracts/Core/Exception.h"
#include "tests/support/Matchers.h"

namespace Tarsel::Core {
namespace {

using Test::MessageOf;

DataBitInput Input(std::vector<u8> const& bytes) {
    return DataBitInput(DataInputMemory::Create(bytes.data(), bytes.size()));
}

TEST(BitInput, ReadsMostSignificantBitFirst) {
    std::vector<u8> const bytes{0xA5, 0x0F};
    auto input = Input(bytes);
    EXPECT_EQ(input.ReadBits(1), 1U);
    EXPECT_EQ(input.ReadBits(3), 2U);
    EXPECT_EQ(input.ReadBits(8), 0x50U);
    EXPECT_EQ(input.GetBitPosition(), 12U);
    EXPECT_EQ(input.BitsLeft(), 4U);
    EXPECT_EQ(input.ReadBits(0), 0U);
    EXPECT_EQ(input.ReadBits(4), 15U);
    EXPECT_EQ(input.BitsLeft(), 0U);
}

TEST(BitInput, Reads64BitsAtOnceAlsoUnaligned) {
    std::vector<u8> const bytes{0xFF, 0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF};
    auto aligned = Input(bytes);
    aligned.SkipBits(8);
    EXPECT_EQ(aligned.ReadBits(64), 0x0123456789ABCDEFU);
    auto shifted = Input(bytes);
    shifted.SkipBits(4);
    EXPECT_EQ(shifted.ReadBits(64), 0xF0123456789ABCDEU);
}

TEST(BitInput, ReadPastTheEndThrowsAndReadsNothing) {
    std::vector<u8> const bytes{0xAB};
    auto input = Input(bytes);
    input.ReadBits(3);
    EXPECT_EQ(MessageOf<Exception>([&] { input.ReadBits(6); }),
              "Read past the end of data: 6 bits wanted at bit 3, 5 left");
    EXPECT_EQ(input.ReadBits(5), 0x0BU);
    EXPECT_THROW(input.ReadBits(1), Exception);
    EXPECT_EQ(input.ReadBits(0), 0U);
    EXPECT_THROW(Input({}).ReadBits(1), Exception);
    EXPECT_THROW(input.ReadBits(65), Exception);
}

TEST(BitInput, SkipToNextByteDoesNothingOnABoundary) {
    std::vector<u8> const bytes{1, 2, 3};
    auto input = Input(bytes);
    input.SkipBitsToNextByte();
    EXPECT_EQ(input.ReadBits(8), 1U);
    input.SkipBitsToNextByte();
    EXPECT_EQ(input.ReadBits(1), 0U);
    input.SkipBitsToNextByte();
    EXPECT_EQ(input.ReadBits(8), 3U);
    input.SkipBitsToNextByte();
    EXPECT_EQ(input.BitsLeft(), 0U);
}

TEST(BitInput, SkipPastTheEndThrowsAndSkipsNothing) {
    std::vector<u8> const bytes(20, 0x5A);
    auto input = Input(bytes);
    EXPECT_THROW(input.SkipBits(161), Exception);
    EXPECT_THROW(input.SkipBits(std::numeric_limits<u64>::max()), Exception);
    EXPECT_EQ(input.GetBitPosition(), 0U);
    input.SkipBits(152);
    EXPECT_EQ(input.ReadBits(8), 0x5AU);
}

TEST(BitOutput, FlushPadsWithZeroBitsAndOnlyOnce) {
    std::string text;
    DataBitOutput output(DataOutputString::Create(&text));
    output.WriteBits(5, 3);
    EXPECT_EQ(text, "");
    output.Flush();
    output.Flush();
    EXPECT_EQ(text, std::string("\xA0", 1));
}

TEST(BitOutput, DestructionWritesTheBegunByte) {
    std::string text;
    { DataBitOutput(DataOutputString::Create(&text)).WriteBits(1, 1); }
    EXPECT_EQ(text, std::string("\x80", 1));
}

TEST(BitOutput, RefusesMoreThan64Bits) {
    std::string text;
    DataBitOutput output(DataOutputString::Create(&text));
    EXPECT_THROW(output.WriteBits(0, 65), Exception);
}

TEST(BitOutput, WritesWholeBytesOnAndOffAByteBoundary) {
    std::vector<u8> const bytes{0x12, 0xFF, 0x00, 0x34};
    for (unsigned const offset : {0U, 3U, 7U, 8U}) {
        std::string text;
        {
            DataBitOutput output(DataOutputString::Create(&text));
            output.WriteBits(0x55, offset);
            output.WriteData(bytes.data(), bytes.size());
            output.WriteData(nullptr, 0);
        }
        DataBitInput input(DataInputMemory::Create(reinterpret_cast<u8 const*>(text.data()), text.size()));
        input.SkipBits(offset);
        for (u8 const byte : bytes) EXPECT_EQ(input.ReadBits(8), byte) << "behind " << offset << " bits";
        EXPECT_LT(input.BitsLeft(), 8U);
    }
}

TEST(BitIO, NullEndsAreRefused) {
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { DataBitInput input(nullptr); }), "input is NULL");
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { DataBitOutput output(nullptr); }), "output is NULL");
}

TEST(BitIO, WhatWasWrittenIsReadBack) {
    std::mt19937_64 random(20260101);
    std::vector<std::pair<u64, unsigned>> fields;
    std::string text;
    {
        DataBitOutput output(DataOutputString::Create(&text));
        for (int i = 0; i < 2000; ++i) {
            auto const width = static_cast<unsigned>(random() % 65);
            u64 const value = width == 0 ? 0 : random() >> (64 - width);
            fields.emplace_back(value, width);
            output.WriteBits(value, width);
        }
    }
    DataBitInput input(DataInputMemory::Create(reinterpret_cast<u8 const*>(text.data()), text.size()));
    for (auto const& [value, width] : fields) EXPECT_EQ(input.ReadBits(width), value) << width << " bits";
    EXPECT_LT(input.BitsLeft(), 8U);
}

TEST(DataInputMemory, ReadsUpToTheEnd) {
    std::vector<u8> const bytes{1, 2, 3};
    auto const input = DataInputMemory::Create(bytes.data(), bytes.size());
    std::vector<u8> out(5);
    EXPECT_EQ(input->Read(out.data(), 2), 2U);
    EXPECT_EQ(input->GetRest(), 1U);
    EXPECT_EQ(input->Read(out.data(), 5), 1U);
    EXPECT_EQ(out[0], 3);
    EXPECT_EQ(input->Read(out.data(), 5), 0U);
}

}  // namespace
}  // namespace Tarsel::Core
