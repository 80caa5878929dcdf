// How much memory and time the parsers take for hostile bytes. A program of its own, because it counts every
// allocation.

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <functional>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "Proc/CodecParsers/AACCodecParser.h"
#include "Proc/CodecParsers/H264CodecParser.h"
#include "Proc/CodecParsers/H264_HEVC_Common.h"
#include "Proc/CodecParsers/HEVCCodecParser.h"
#include "Proc/CodecParsers/MPEG2CodecParser.h"
#include "Proc/CodecParsers/MPEG4CodecParser.h"
#include "Proc/CodecParsers/NaluRange.h"
#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/HeaderDescription.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/BitWriter.h"
#include "tests/support/H264Builder.h"
#include "tests/support/Packets.h"
#include "tests/support/Sanitizer.h"

namespace Tarsel::Proc::CodecParsers {
namespace {

using TestSupport::Allocations;
using TestSupport::BitWriter;
using TestSupport::GetAllocations;
using TestSupport::MakeBlob;
using TestSupport::MakePacket;
using Video = Conf::IFormatCodecVideo;

// Failures cost their text and call stack, whatever the input's size; the first one from a place finds names too.
constexpr std::size_t FIXED_BYTES = 512 * 1024;

struct Cost {
    std::size_t bytes = 0;
    std::size_t count = 0;
    double seconds = 0;
    bool refused = false;
};

double ProcessorTime() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

template <class Call>
Cost Measure(Call call) {
    Allocations const before = GetAllocations();
    double const start = ProcessorTime();
    Cost cost;
    try {
        call();
    } catch (Exception const&) {
        cost.refused = true;
    } catch (std::logic_error const&) {
        cost.refused = true;
    }
    cost.seconds = ProcessorTime() - start;
    cost.bytes = GetAllocations().bytes - before.bytes;
    cost.count = GetAllocations().count - before.count;
    return cost;
}

// --- Counts that a few bytes state -----------------------------------------------------------------------------------

// An SPS of the Baseline profile up to its picture order count type.
void BeginSPS(BitWriter& out, u32 pictureOrderCountType) {
    out.Bits(0x67, 8).Bits(66, 8).Bits(0, 8).Bits(30, 8).UE(0).UE(0).UE(pictureOrderCountType);
}

void ExpectRefusedAtOnce(BitWriter& unit, void (*decode)(Bytes const&)) {
    for (int i = 0; i < 3; ++i) unit.Bits(~u64{0}, 64);
    Bytes const extradata = TestSupport::JoinAnnexB({TestSupport::AddEmulationPrevention(unit.GetBytes())});
    Cost const cost = Measure([&] { decode(extradata); });
    EXPECT_TRUE(cost.refused);
    EXPECT_LT(cost.bytes, FIXED_BYTES);
    EXPECT_LT(cost.seconds, 1);
}

void DecodeSPS(Bytes const& extradata) {
    DecodeH264SPS(extradata.data(), extradata.size());
}
void DecodePPS(Bytes const& extradata) {
    DecodeH264PPS(extradata.data(), extradata.size());
}

TEST(HostileCount, PictureOrderCycleOfFourThousandMillionEntries) {
    for (u32 const count : {0xFFFFFFFFU, 0xFFFFFFFEU, 0x10000U}) {
        BitWriter unit;
        BeginSPS(unit, 1);
        unit.Flag(false).SE(0).SE(0).UE(count);
        ExpectRefusedAtOnce(unit, DecodeSPS);
    }
}

TEST(HostileCount, BuffersOfTheReferenceDecoder) {
    for (u32 const count : {0xFFFFFFFFU, 0xFFFFFFFEU, 0x10000U}) {
        BitWriter unit;
        BeginSPS(unit, 2);
        unit.UE(1).Flag(false).UE(9).UE(9);
        unit.Flag(true).Flag(true).Flag(false).Flag(true);  // frames only, no cropping, a VUI
        unit.Bits(0, 5).Flag(true);                         // nothing but nal_hrd_parameters_present_flag
        unit.UE(count).Bits(0, 8);
        ExpectRefusedAtOnce(unit, DecodeSPS);
    }
}

TEST(HostileCount, SliceGroupsOfEachType) {
    for (u32 const type : {0U, 2U, 6U}) {
        for (u32 const count : {0xFFFFFFFFU, 0xFFFFFFFEU, 0x10000U}) {
            BitWriter unit;
            unit.Bits(0x68, 8).UE(0).UE(0).Bits(0, 2);
            if (type == 6)
                unit.UE(1).UE(type).UE(count);
            else
                unit.UE(count).UE(type);
            ExpectRefusedAtOnce(unit, DecodePPS);
        }
    }
}

// --- Every parser on every shape -------------------------------------------------------------------------------------

struct Shape {
    char const* name;
    std::function<Bytes(std::size_t)> make;
};

Bytes Repeat(Bytes const& pattern, std::size_t size, Bytes const& head = {}) {
    Bytes bytes = head;
    while (bytes.size() < size) bytes.push_back(pattern[(bytes.size() - head.size()) % pattern.size()]);
    return bytes;
}

Bytes WithBits(BitWriter& unit, std::size_t size, u8 filler) {
    Bytes bytes = {0, 0, 1};
    Bytes const head = unit.GetBytes();
    bytes.insert(bytes.end(), head.begin(), head.end());
    bytes.resize(std::max(size, bytes.size()), filler);
    return bytes;
}

std::vector<Shape> const& Shapes() {
    static std::vector<Shape> const shapes{
        {"zeros", [](std::size_t n) { return Bytes(n, 0); }},
        {"ones", [](std::size_t n) { return Bytes(n, 0xFF); }},
        {"start codes",
         [](std::size_t n) {
             return Repeat({0, 0, 1}, n);
         }},
        {"H.264 SPS of a byte",
         [](std::size_t n) {
             return Repeat({0, 0, 1, 0x67}, n);
         }},
        {"H.264 PPS of two bytes",
         [](std::size_t n) {
             return Repeat({0, 0, 1, 0x68, 0xFF}, n);
         }},
        {"H.264 SPS and PPS with ids",
         [](std::size_t n) {
             return Repeat({0, 0, 1, 0x67, 66, 0, 30, 0xE0, 0, 0, 1, 0x68, 0xE0}, n);
         }},
        {"H.264 PPS of ever another id",
         [](std::size_t n) {
             Bytes bytes = {0, 0, 1, 0x67, 66, 0, 30, 0xFF};
             for (u32 id = 0; bytes.size() < n; ++id) {
                 BitWriter unit;
                 unit.Bits(0x68, 8).UE(id).UE(0).TrailingBits();
                 Bytes const raw = TestSupport::AddEmulationPrevention(unit.GetBytes());
                 bytes.insert(bytes.end(), {0, 0, 1});
                 bytes.insert(bytes.end(), raw.begin(), raw.end());
             }
             return bytes;
         }},
        {"H.264 slices",
         [](std::size_t n) {
             return Repeat({0, 0, 1, 0x65, 0x88}, n);
         }},
        {"emulation prevention",
         [](std::size_t n) {
             return Repeat({0, 0, 3}, n, {0, 0, 1, 0x67});
         }},
        {"a cycle as long as the data",
         [](std::size_t n) {
             BitWriter unit;
             BeginSPS(unit, 1);
             unit.Flag(false).SE(0).SE(0).UE(static_cast<u32>(n * 7));
             return WithBits(unit, n, 0xFF);
         }},
        {"slice groups as long as the data",
         [](std::size_t n) {
             BitWriter unit;
             unit.Bits(0x68, 8).UE(0).UE(0).Bits(0, 2).UE(1).UE(6).UE(static_cast<u32>(n * 7));
             return WithBits(unit, n, 0x55);
         }},
        {"rectangles as long as the data",
         [](std::size_t n) {
             BitWriter unit;
             unit.Bits(0x68, 8).UE(0).UE(0).Bits(0, 2).UE(static_cast<u32>(n * 3)).UE(2);
             return WithBits(unit, n, 0xFF);
         }},
        {"avcC",
         [](std::size_t n) {
             return Repeat({0, 1, 0x67}, n, {1, 66, 0, 30, 0xFF, 0xFF});
         }},
        {"hvcC of empty units",
         [](std::size_t n) {
             Bytes bytes(n, 0);
             for (std::size_t i = 0; i < 26 && i < n; ++i) bytes[i] = i == 0 ? 1 : i == 22 || i >= 24 ? 0xFF : 0;
             return bytes;
         }},
        {"HEVC sets of two bytes",
         [](std::size_t n) {
             return Repeat({0, 0, 1, 0x42, 1}, n);
         }},
        {"units behind lengths of a byte",
         [](std::size_t n) {
             return Repeat({1, 0x65}, n);
         }},
        {"units behind lengths of four bytes",
         [](std::size_t n) {
             return Repeat({0, 0, 0, 1, 0x65}, n);
         }},
        {"MPEG-2 headers",
         [](std::size_t n) {
             return Repeat({0, 0, 1, 0xB3, 0, 0, 1, 0xB5, 0x10}, n);
         }},
        {"MPEG-4 layers",
         [](std::size_t n) {
             return Repeat({0, 0, 1, 0x20}, n, {0, 0, 1, 0xB0, 1, 0, 0, 1, 0xB5, 9});
         }},
        {"ADTS with an element",
         [](std::size_t n) {
             return Repeat({0xFF}, n, {0xFF, 0xF1, 0x50, 0x00, 0x20, 0x1F, 0xFC, 0xA0});
         }},
        {"noise",
         [](std::size_t n) {
             std::mt19937 random(7);
             Bytes bytes(n);
             for (u8& byte : bytes) byte = static_cast<u8>(random());
             return bytes;
         }},
    };
    return shapes;
}

struct Parser {
    char const* name;
    std::size_t bytesPerByte;
    std::function<void(Bytes const&)> run;
};

std::vector<Parser> const& Parsers() {
    // A range of 16 bytes for three bytes of input, twice as much while the list grows; an integer of 4 bytes for a
    // bit.
    constexpr std::size_t UNITS = 32;
    constexpr std::size_t FIELDS = 160;
    // A node of the report, its text and its name for a bit.
    constexpr std::size_t REPORT = 4096;
    static std::vector<Parser> const parsers{
        {"Annex B", UNITS,
         [](Bytes const& b) {
             NaluRangeList l;
             FindAnnexBNalus(b.data(), b.size(), l);
         }},
        {"lengths of 1", UNITS,
         [](Bytes const& b) {
             NaluRangeList l;
             FindMP4Nalus(b.data(), b.size(), l, 1);
         }},
        {"lengths of 4", UNITS,
         [](Bytes const& b) {
             NaluRangeList l;
             FindMP4Nalus(b.data(), b.size(), l, 4);
         }},
        {"avcC", UNITS,
         [](Bytes const& b) {
             NaluRangeList l;
             FindAvccHeaderNalus(b.data(), b.size(), l);
         }},
        {"hvcC", UNITS,
         [](Bytes const& b) {
             NaluRangeList l;
             FindHvccHeaderNalus(b.data(), b.size(), l);
         }},
        {"emulation prevention", UNITS, [](Bytes const& b) { RemoveEmulationPrevention(b.data(), b.size()); }},
        {"H.264 SPS", FIELDS, [](Bytes const& b) { DecodeH264SPS(b.data(), b.size()); }},
        {"H.264 PPS", FIELDS, [](Bytes const& b) { DecodeH264PPS(b.data(), b.size()); }},
        {"HEVC SPS", UNITS, [](Bytes const& b) { DecodeHEVCSPS(b.data(), b.size()); }},
        {"HEVC VPS", UNITS, [](Bytes const& b) { DecodeHEVCVPS(b.data(), b.size()); }},
        {"avcC to Annex B", UNITS, [](Bytes const& b) { H264_Extradata_Mp4toAnnexB(MakeBlob(b)); }},
        {"Annex B to avcC", UNITS * 3, [](Bytes const& b) { H264_Extradata_AnnexBtoMp4(MakeBlob(b)); }},
        {"hvcC to Annex B", UNITS, [](Bytes const& b) { HEVC_Extradata_hvcCtoAnnexB(MakeBlob(b)); }},
        {"Annex B to hvcC", UNITS * 3, [](Bytes const& b) { HEVC_Extradata_AnnexBtohvcC(MakeBlob(b)); }},
        {"one merge", UNITS * 4, [](Bytes const& b) { MergeH264Extradata(MakeBlob(b), MakeBlob(b)); }},
        {"full merge", FIELDS, [](Bytes const& b) { MergeAllH264ParameterSets(MakeBlob(b), MakeBlob(b)); }},
        {"free number", FIELDS, [](Bytes const& b) { FindFreeParameterSetId(MakeBlob(b)); }},
        {"slice", UNITS, [](Bytes const& b) { GetH264SliceInfo(MakePacket(b, true), false, 4); }},
        {"packet to lengths", UNITS, [](Bytes const& b) { AnnexBtoMp4(MakePacket(b, true), 4); }},
        {"packet to start codes", UNITS,
         [](Bytes const& b) {
             Mp4toAnnexB(MakePacket(b, true), 1, MakeBlob({0, 0, 1}), Video::CODEC_ID_H264);
         }},
        {"header in front", UNITS, [](Bytes const& b) { InsertH264Extradata(MakePacket(b, true), MakeBlob(b)); }},
        {"other sets", UNITS * 3,
         [](Bytes const& b) { ReplaceH264ParameterSets(MakePacket(b, true), b.data(), b.size()); }},
        {"MPEG-2", UNITS,
         [](Bytes const& b) {
             MPEG2Config c;
             DecodeMPEG2Config(b.data(), b.size(), c);
         }},
        {"MPEG-4", UNITS,
         [](Bytes const& b) {
             MPEG4Config c;
             DecodeMPEG4Config(b.data(), b.size(), c);
         }},
        {"ADTS", UNITS, [](Bytes const& b) { DataToADTSHeader(b.data(), b.size()); }},
        {"ASC", UNITS, [](Bytes const& b) { DataToAudioSpecificConfig(b.data(), b.size()); }},
        {"H.264 report", REPORT, [](Bytes const& b) { DescribeHeaders(Video::CODEC_ID_H264, b.data(), b.size()); }},
        {"HEVC report", REPORT, [](Bytes const& b) { DescribeHeaders(Video::CODEC_ID_H265, b.data(), b.size()); }},
        {"MPEG-2 report", REPORT,
         [](Bytes const& b) { DescribeHeaders(Video::CODEC_ID_MPEG2VIDEO, b.data(), b.size()); }},
        {"MPEG-4 report", REPORT, [](Bytes const& b) { DescribeHeaders(Video::CODEC_ID_MPEG4, b.data(), b.size()); }},
        {"AAC report", REPORT, [](Bytes const& b) { DescribeHeaders("aac", b.data(), b.size()); }},
    };
    return parsers;
}

TEST(HostileShapes, MemoryStaysBelowAConstantTimesTheInput) {
    for (Shape const& shape : Shapes()) {
        for (std::size_t const size : {std::size_t{64}, std::size_t{4096}, std::size_t{300000}}) {
            Bytes const bytes = shape.make(size);
            for (Parser const& parser : Parsers()) {
                Cost const cost = Measure([&] { parser.run(bytes); });
                EXPECT_LE(cost.bytes, parser.bytesPerByte * size + FIXED_BYTES)
                    << parser.name << " on " << size << " bytes of " << shape.name;
            }
        }
    }
}

// A step that is done for each unit, or byte, as often as there are units or bytes would take minutes for this much.
TEST(HostileShapes, TimeIsLinear) {
    constexpr std::size_t SIZE = (std::size_t{2} << 20) / Tarsel::Test::ThinnedBy(4);
    constexpr double SECONDS = 4;
    for (Shape const& shape : Shapes()) {
        Bytes const bytes = shape.make(SIZE);
        for (Parser const& parser : Parsers()) {
            Cost const cost = Measure([&] { parser.run(bytes); });
            EXPECT_LE(cost.seconds, SECONDS) << parser.name << " on " << shape.name;
        }
    }
}

// --- Conversions in place --------------------------------------------------------------------------------------------

TEST(ConversionInPlace, PacketsOfLengthsOfThreeAndFourBytesAllocateNothing) {
    auto const header = MakeBlob(TestSupport::JoinAvcC({TestSupport::BuildSPS(TestSupport::MakeSPS())},
                                                       {TestSupport::BuildPPS(TestSupport::MakePPS())}));
    std::string const codec = Video::CODEC_ID_H264;
    for (int const lengthSize : {3, 4}) {
        std::vector<TestSupport::NaluBytes> const units(50, TestSupport::BuildSlice(1, 5, 300));
        iptr<IDataPacket> packet = MakePacket(TestSupport::JoinMP4(units, lengthSize), false);
        iptr<IDataPacket> converted;
        Cost const cost = Measure([&] { converted = Mp4toAnnexB(packet, lengthSize, header, codec); });
        EXPECT_EQ(cost.count, 0U) << lengthSize;
        EXPECT_FALSE(cost.refused);
        EXPECT_EQ(converted, packet);
    }
}

TEST(ConversionInPlace, CopyingOnesAreCounted) {
    auto const header = MakeBlob({0, 0, 1, 0x67, 0, 0, 1, 0x68});
    iptr<IDataPacket> const packet = MakePacket(TestSupport::JoinMP4({TestSupport::BuildSlice(1, 5, 300)}, 4), true);
    Cost const cost = Measure([&] { Mp4toAnnexB(packet, 4, header, Video::CODEC_ID_H264); });
    EXPECT_GE(cost.count, 1U);
    if (TestSupport::COUNTS_LIBAVUTIL) {
        EXPECT_GE(cost.bytes, 300U) << "the payload's buffer is libavutil's";
    }
}

}  // namespace
}  // namespace Tarsel::Proc::CodecParsers
