#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Proc/CodecParsers/HEVCCodecParser.h"
#include "contracts/Core/Exception.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/HEVCBuilder.h"

namespace Tarsel::Proc::CodecParsers {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace TestSupport;

constexpr char TOO_SHORT_FOR_FORMAT[] = "Not enougth data to determine h264 format type";
constexpr char TOO_SHORT_FOR_HEADER[] = "Not enougth data to determine HEVC header type";

Bytes const VPS = BuildHEVCVPS(MakeHEVCVPS());
Bytes const SPS = BuildHEVCSPS(MakeHEVCSPS());
Bytes const PPS = BuildHEVCUnit(34);

Bytes MakeHvcC(std::vector<HvccArray> const& arrays, int lengthSize = 4) {
    return JoinHvcC(MakeHEVCVPS(), MakeHEVCSPS(), arrays, lengthSize);
}

std::vector<Bytes> HvcC(Bytes const& data) {
    NaluRangeList units;
    FindHvccHeaderNalus(data.data(), data.size(), units);
    std::vector<Bytes> result;
    for (NaluRange const& unit : units) result.emplace_back(unit.data, unit.data + unit.size);
    return result;
}

std::string HvcCFailure(Bytes const& data) {
    return MessageOf<Exception>([&] { HvcC(data); });
}

Bytes First(Bytes const& data, u32 type) {
    NaluRange const unit = GetFirstHEVCNaluOfType(data.data(), data.size(), type);
    return Bytes(unit.data, unit.data + unit.size);
}

// --- Which form ---

TEST(HEVCForms, AnnexBBeginsWithAStartCode) {
    auto const isAnnexB = [](Bytes const& data) { return IsAnnexB(data.data(), data.size()); };
    EXPECT_TRUE(isAnnexB({0, 0, 0, 1}));
    EXPECT_TRUE(isAnnexB({0, 0, 1, 0}));
    EXPECT_TRUE(isAnnexB({0, 0, 1, 0x40, 1}));
    EXPECT_FALSE(isAnnexB({0, 0, 0, 0, 1}));
    EXPECT_FALSE(isAnnexB({0, 0, 0, 2}));
    EXPECT_FALSE(isAnnexB({0, 0, 2, 1}));
    EXPECT_FALSE(isAnnexB({0, 1, 0, 1}));
    EXPECT_FALSE(isAnnexB({1, 0, 0, 1}));
}

TEST(HEVCForms, ZerosAheadOfAOneAreAZeroPrefix) {
    auto const isZeroPrefixed = [](Bytes const& data) { return IsZeroPrefixedVersion(data.data(), data.size()); };
    EXPECT_TRUE(isZeroPrefixed({0, 1, 0x60, 0}));
    EXPECT_TRUE(isZeroPrefixed({0, 1, 0xFF, 0xFF}));
    EXPECT_TRUE(isZeroPrefixed({0, 0, 0, 0, 1}));
    EXPECT_TRUE(isZeroPrefixed({0, 0, 0, 0, 0, 0, 1, 9}));
}

TEST(HEVCForms, ZerosAloneAreAZeroPrefix) {
    for (std::size_t size = 4; size < 40; ++size) EXPECT_TRUE(IsZeroPrefixedVersion(Bytes(size).data(), size)) << size;
}

TEST(HEVCForms, StartCodesAndAVersionInPlaceAreNoZeroPrefix) {
    for (Bytes const& data : {Bytes{0, 0, 0, 1}, Bytes{0, 0, 1, 0x40}, Bytes{1, 0, 0, 1}, Bytes{1, 1, 1, 1}})
        EXPECT_FALSE(IsZeroPrefixedVersion(data.data(), data.size()));
}

TEST(HEVCForms, NonzeroBytesAheadOfTheFirstOneMakeItNoHvcC) {
    for (Bytes const& data : {Bytes{0, 2, 1, 0}, Bytes{2, 1, 0, 0}, Bytes{0, 0, 0, 3, 1}, Bytes{0xFF, 0, 0, 1}}) {
        EXPECT_FALSE(IsZeroPrefixedVersion(data.data(), data.size()));
        EXPECT_FALSE(IsHvcCHeader(data.data(), data.size()));
    }
}

TEST(HEVCForms, HvcCBeginsWithAOneOrAZeroPrefix) {
    auto const isHvcC = [](Bytes const& data) { return IsHvcCHeader(data.data(), data.size()); };
    EXPECT_TRUE(isHvcC({1}));
    EXPECT_TRUE(isHvcC({1, 2, 3, 4}));
    EXPECT_TRUE(isHvcC({0, 1, 2, 3}));
    EXPECT_TRUE(isHvcC({0, 0, 0, 0}));
    EXPECT_FALSE(isHvcC({0, 0, 0, 1}));
    EXPECT_FALSE(isHvcC({0, 0, 1, 0x40}));
    EXPECT_FALSE(isHvcC({2, 0, 0, 0}));
}

TEST(HEVCForms, TooFewBytesHaveNoForm) {
    EXPECT_EQ(MessageOf<Exception>([] { IsHvcCHeader(nullptr, 0); }), TOO_SHORT_FOR_HEADER);
    EXPECT_EQ(MessageOf<Exception>([] { IsAnnexB(nullptr, 0); }), TOO_SHORT_FOR_FORMAT);
    EXPECT_EQ(MessageOf<Exception>([] { IsZeroPrefixedVersion(nullptr, 0); }), TOO_SHORT_FOR_FORMAT);
    for (std::size_t size = 1; size < 4; ++size) {
        Bytes const data(size);
        EXPECT_EQ(MessageOf<Exception>([&] { IsAnnexB(data.data(), size); }), TOO_SHORT_FOR_FORMAT) << size;
        EXPECT_EQ(MessageOf<Exception>([&] { IsZeroPrefixedVersion(data.data(), size); }), TOO_SHORT_FOR_FORMAT);
        EXPECT_EQ(MessageOf<Exception>([&] { IsHvcCHeader(data.data(), size); }), TOO_SHORT_FOR_FORMAT) << size;
    }
}

TEST(HEVCRepair, MovesTwoBytesAndNoMore) {
    Bytes data = {0, 1, 0x60, 0x33, 0x44};
    EXPECT_TRUE(RepairHvcCHeader(data.data(), data.size()));
    EXPECT_THAT(data, ElementsAre(1, 0x60, 0x60, 0x33, 0x44));
}

TEST(HEVCRepair, LongerPrefixesKeepTheirZeroInFront) {
    Bytes data = {0, 0, 0, 0, 1};
    EXPECT_TRUE(RepairHvcCHeader(data.data(), data.size()));
    EXPECT_THAT(data, ElementsAre(0, 0, 0, 0, 1));
}

TEST(HEVCRepair, OtherDataIsLeftAlone) {
    for (Bytes const& data : {Bytes{1, 2, 3, 4}, Bytes{0, 0, 0, 1}, Bytes{0, 2, 1, 0}}) {
        Bytes copy = data;
        EXPECT_TRUE(RepairHvcCHeader(copy.data(), copy.size()));
        EXPECT_EQ(copy, data);
    }
}

TEST(HEVCRepair, NoDataCannotBeRepaired) {
    EXPECT_FALSE(RepairHvcCHeader(nullptr, 0));
    EXPECT_FALSE(RepairHvcCHeader(nullptr, 23));
    for (std::size_t size = 0; size < 4; ++size) {
        Bytes data(4);
        EXPECT_EQ(MessageOf<Exception>([&] { RepairHvcCHeader(data.data(), size); }), TOO_SHORT_FOR_FORMAT) << size;
    }
}

TEST(HEVCLengthSize, IsReadFromHvcCAlone) {
    for (int lengthSize = 1; lengthSize <= 4; ++lengthSize) {
        Bytes data = MakeHvcC({}, lengthSize);
        EXPECT_EQ(GetHvccNALULengthSize(data.data(), data.size()), lengthSize);
        data[0] = 0;
        data[1] = 1;  // read where it stands: the repair doesn't reach it
        EXPECT_EQ(GetHvccNALULengthSize(data.data(), data.size()), lengthSize);
    }
    Bytes const annexB = JoinAnnexB({VPS, SPS, PPS});
    EXPECT_EQ(GetHvccNALULengthSize(annexB.data(), annexB.size()), 0);
}

TEST(HEVCLengthSize, TooShortAHeaderIsRefused) {
    Bytes const data = MakeHvcC({});
    ASSERT_EQ(data.size(), 23U);
    for (std::size_t size = 1; size < 23; ++size)
        EXPECT_EQ(MessageOf<Exception>([&] { GetHvccNALULengthSize(data.data(), size); }),
                  "Not enougth data to determine HEVC NALU length size");
    EXPECT_EQ(MessageOf<Exception>([] { GetHvccNALULengthSize(nullptr, 0); }), TOO_SHORT_FOR_HEADER);
}

// --- Units of hvcC ---

TEST(HvccUnits, ComeInTheirOrderWhateverTheTypeOfTheArray) {
    EXPECT_THAT(HvcC(MakeHvcC({{0xA0 | 0, {PPS, VPS}}, {0, {}}, {0xFF, {SPS, {}}}})),
                ElementsAre(PPS, VPS, SPS, Bytes{}));
}

TEST(HvccUnits, ZeroArraysGiveAnEmptyList) {
    EXPECT_THAT(HvcC(MakeHvcC({})), IsEmpty());
    Bytes data = MakeHvcC({});
    data.push_back(0x77);  // what stands behind the arrays isn't looked at
    EXPECT_THAT(HvcC(data), IsEmpty());
}

TEST(HvccUnits, AreAppendedAsViewsOfTheScannedBuffer) {
    Bytes const data = MakeHvcC({{32, {VPS}}});
    NaluRangeList units(1);
    FindHvccHeaderNalus(data.data(), data.size(), units);
    ASSERT_EQ(units.size(), 2U);
    EXPECT_EQ(units[1].data, data.data() + 28);
}

TEST(HvccUnits, LargestCountAndLargestUnitAreListed) {
    EXPECT_EQ(HvcC(MakeHvcC({{39, std::vector<Bytes>(65535)}})).size(), 65535U);
    Bytes const large = BuildHEVCUnit(34, Bytes(65533, 0x77));
    EXPECT_THAT(HvcC(MakeHvcC({{34, {large}}})), ElementsAre(large));
}

TEST(HvccUnits, AHeadThatIsCutOffIsTooSmall) {
    Bytes const data = MakeHvcC({{32, {VPS}}});
    for (std::size_t size = 0; size < 23; ++size)
        EXPECT_EQ(HvcCFailure(Bytes(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(size))),
                  "hvcC header is too small");
}

TEST(HvccUnits, AnotherVersionIsUnknown) {
    for (u8 const version : {0, 2, 0xFF}) {
        Bytes data = MakeHvcC({{32, {VPS}}});
        data[0] = version;
        EXPECT_EQ(HvcCFailure(data), "Unknown hvcC version");
    }
}

TEST(HvccUnits, AZeroPrefixHasToBeRepairedFirst) {
    Bytes data = MakeHvcC({{32, {VPS}}});
    data[0] = 0;
    data[1] = 1;
    EXPECT_EQ(HvcCFailure(data), "Unknown hvcC version");
    ASSERT_TRUE(RepairHvcCHeader(data.data(), data.size()));
    EXPECT_THAT(HvcC(data), ElementsAre(VPS));
}

TEST(HvccUnits, AnArrayThatPassesTheEndIsWringAndAUnitWrong) {
    // The head, an array's 3 bytes, then two units of 2 + 2 bytes, an array of none.
    Bytes const data = MakeHvcC({{32, {{0x40, 1}, {0x40, 2}}}, {33, {}}});
    ASSERT_EQ(data.size(), 37U);
    for (std::size_t size = 23; size < data.size(); ++size) {
        bool const inUnits = size >= 26 && size < 34;
        EXPECT_EQ(HvcCFailure(Bytes(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(size))),
                  inUnits ? "hvcC header has wrong structure" : "hvcC header has wring structure")
            << size;
    }
    EXPECT_EQ(HvcC(data).size(), 2U);
}

TEST(HvccUnits, CountsBeyondTheDataAreRefused) {
    Bytes tooManyArrays = MakeHvcC({{32, {VPS}}});
    tooManyArrays[22] = 255;
    EXPECT_EQ(HvcCFailure(tooManyArrays), "hvcC header has wring structure");
    Bytes tooManyUnits = MakeHvcC({{32, {VPS}}});
    tooManyUnits[24] = 0xFF;
    EXPECT_EQ(HvcCFailure(tooManyUnits), "hvcC header has wrong structure");
    Bytes tooLong = MakeHvcC({{32, {VPS}}});
    tooLong[26] = 0xFF;
    EXPECT_EQ(HvcCFailure(tooLong), "hvcC header has wrong structure");
}

// --- The first unit of a type ---

TEST(FirstHEVCUnit, IsTheFirstOfSeveral) {
    Bytes const data = JoinAnnexB({VPS, SPS, BuildHEVCUnit(34, {1}), BuildHEVCUnit(34, {2})});
    EXPECT_EQ(First(data, HEVC_NALU_VPS), VPS);
    EXPECT_EQ(First(data, HEVC_NALU_SPS), SPS);
    EXPECT_EQ(First(data, HEVC_NALU_PPS), BuildHEVCUnit(34, {1}));
}

TEST(FirstHEVCUnit, MayBeItsHeaderAlone) {
    EXPECT_EQ(First(JoinAnnexB({{0x44}, {}, {0x44, 1}}), HEVC_NALU_PPS), (Bytes{0x44, 1}));
}

TEST(FirstHEVCUnit, ReservedAndUnspecifiedTypesAreNotFound) {
    for (u32 type = 0; type < 64; ++type) {
        Bytes const data = JoinAnnexB({BuildHEVCUnit(type)});
        bool const known = type < 10 || (type >= 16 && type < 22) || (type >= 32 && type < 41);
        if (known)
            EXPECT_EQ(First(data, type), BuildHEVCUnit(type)) << type;
        else
            EXPECT_EQ(MessageOf<Exception>([&] { First(data, type); }),
                      "Can't find nalu of type " + std::to_string(type));
    }
}

TEST(FirstHEVCUnit, UnitsThatAreSetAsideCountAsType64) {
    EXPECT_EQ(First(JoinAnnexB({VPS, BuildHEVCUnit(41)}), HEVC_NALU_INVALID), BuildHEVCUnit(41));
    EXPECT_EQ(First(JoinAnnexB({VPS, {0x40}}), HEVC_NALU_INVALID), (Bytes{0x40}));
    EXPECT_EQ(First(JoinAnnexB({VPS, {}}), HEVC_NALU_INVALID), Bytes());
    EXPECT_EQ(MessageOf<Exception>([] { First(JoinAnnexB({VPS}), HEVC_NALU_INVALID); }), "Can't find nalu of type 64");
}

TEST(FirstHEVCUnit, IsNotFoundInDataWithoutIt) {
    EXPECT_EQ(MessageOf<Exception>([] { First(JoinAnnexB({SPS, PPS}), HEVC_NALU_VPS); }), "Can't find nalu of type 32");
    EXPECT_EQ(MessageOf<Exception>([] { First({9, 8, 7, 6, 5}, HEVC_NALU_VPS); }), "Can't find nalu of type 32");
    EXPECT_EQ(MessageOf<Exception>([] { First({9, 8}, HEVC_NALU_VPS); }), TOO_SHORT_FOR_FORMAT);
    EXPECT_EQ(MessageOf<Exception>([] { GetFirstHEVCNaluOfType(nullptr, 0, HEVC_NALU_VPS); }), TOO_SHORT_FOR_HEADER);
}

TEST(FirstHEVCUnit, IsNotLookedForInHvcC) {
    for (Bytes const& data : {MakeHvcC({{32, {VPS}}}), Bytes{0, 1, 0x60, 0}, Bytes(8)})
        EXPECT_EQ(MessageOf<Exception>([&] { First(data, HEVC_NALU_VPS); }),
                  "Finding HEVC NALUs in hvcC is not implemented yet");
}

TEST(HEVCUnitType, IsReadFromSixBitsOfTheFirstByte) {
    for (u32 type = 0; type < 64; ++type) {
        for (u32 const others : {0U, 0x81U}) {
            Bytes const unit = {static_cast<u8>((type << 1) | others), 1};
            EXPECT_EQ(GetHEVCNaluType({unit.data(), 2}), type);
        }
    }
}

}  // namespace
}  // namespace Tarsel::Proc::CodecParsers
