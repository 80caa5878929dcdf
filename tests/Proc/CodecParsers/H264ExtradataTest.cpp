#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Proc/CodecParsers/H264CodecParser.h"
#include "contracts/Core/Exception.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/H264Builder.h"
#include "tests/support/Packets.h"

namespace Tarsel::Proc::CodecParsers {
namespace {

using namespace TestSupport;

Bytes const SPS0 = BuildSPS(MakeSPS(0));
Bytes const SPS1 = BuildSPS(MakeSPS(1));
Bytes const SPS2 = BuildSPS(MakeSPS(2));
Bytes const PPS0 = BuildPPS(MakePPS(0, 0));
Bytes const PPS1 = BuildPPS(MakePPS(1, 1));
Bytes const PPS2 = BuildPPS(MakePPS(2, 2));

Bytes Concat(Bytes a, Bytes const& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

TEST(H264ExtradataToAnnexB, EachUnitGetsAFourByteCode) {
    auto const result = H264_Extradata_Mp4toAnnexB(MakeBlob(JoinAvcC({SPS0, SPS1}, {PPS0})));
    EXPECT_EQ(GetBytes(result), JoinAnnexB({SPS0, SPS1, PPS0}));
}

TEST(H264ExtradataToAnnexB, WhatIsNotAvcCComesBackAsTheSameObject) {
    auto const annexB = MakeBlob(JoinAnnexB({SPS0, PPS0}));
    EXPECT_EQ(H264_Extradata_Mp4toAnnexB(annexB), annexB);
    EXPECT_EQ(H264_Extradata_Mp4toAnnexB(nullptr), nullptr);
    EXPECT_EQ(MessageOf<Exception>([] { H264_Extradata_Mp4toAnnexB(MakeBlob({})); }),
              "Not enougth data to determine h264 header type");
}

TEST(H264ExtradataToMp4, WritesTheRecordByteByByte) {
    Bytes const sps = {0x67, 0x64, 0x00, 0x1E, 0xAA};
    Bytes const pps = {0x68, 0xBB};
    auto const result = H264_Extradata_AnnexBtoMp4(MakeBlob(JoinAnnexB({sps, pps})));
    EXPECT_EQ(GetBytes(result),
              (Bytes{1, 0x64, 0x00, 0x1E, 0xFF, 0xE1, 0, 5, 0x67, 0x64, 0x00, 0x1E, 0xAA, 1, 0, 2, 0x68, 0xBB}));
}

TEST(H264ExtradataToMp4, OtherUnitsAreLeftOut) {
    auto const result = H264_Extradata_AnnexBtoMp4(MakeBlob(JoinAnnexB({{6, 1, 2}, PPS0, SPS0, {}, {9, 0xF0}})));
    auto const expected = H264_Extradata_AnnexBtoMp4(MakeBlob(JoinAnnexB({SPS0, PPS0})));
    EXPECT_EQ(GetBytes(result), GetBytes(expected));
}

TEST(H264ExtradataToMp4, AvcCComesBackAsTheSameObject) {
    auto const avcc = MakeBlob(JoinAvcC({SPS0}, {PPS0}, 2));
    EXPECT_EQ(H264_Extradata_AnnexBtoMp4(avcc), avcc);
}

TEST(H264ExtradataToMp4, BothKindsOfSetsAreNeeded) {
    for (auto const& units : {std::vector<Bytes>{SPS0}, std::vector<Bytes>{PPS0}, std::vector<Bytes>{{9, 0xF0}}})
        EXPECT_EQ(MessageOf<Exception>([&] { H264_Extradata_AnnexBtoMp4(MakeBlob(JoinAnnexB(units))); }),
                  "No sps or pps found!");
}

TEST(H264ExtradataToMp4, AnSpsOfThreeBytesIsTooShortForTheHeader) {
    EXPECT_EQ(MessageOf<Exception>([] {
                  H264_Extradata_AnnexBtoMp4(MakeBlob(JoinAnnexB({{0x67, 1, 2}, PPS0})));
              }),
              "At least 4 bytes requires from first sps to form the avcc header");
    EXPECT_NO_THROW(H264_Extradata_AnnexBtoMp4(MakeBlob(JoinAnnexB({{0x67, 1, 2, 3}, PPS0}))));
}

TEST(H264ExtradataToMp4, CountOfSpsIsNotMasked) {
    std::vector<Bytes> units(65, SPS0);
    units.push_back(PPS0);
    auto const result = H264_Extradata_AnnexBtoMp4(MakeBlob(JoinAnnexB(units)));
    EXPECT_EQ(result->GetData()[5], 0xE0 | 65);
}

TEST(H264ExtradataToMp4, AUnitThatA16BitLengthCannotHoldIsRefused) {
    Bytes sps(65536, 0x55);
    sps[0] = 0x67;
    EXPECT_EQ(MessageOf<Exception>([&] {
                  H264_Extradata_AnnexBtoMp4(MakeBlob(JoinAnnexB({sps, PPS0})));
              }),
              "Parameter set of 65536 bytes is too big for avcC header, 65535 at most");
}

TEST(H264ExtradataRoundTrip, BothWaysGiveTheSameSets) {
    Bytes const annexB = JoinAnnexB({SPS0, SPS1, PPS0, PPS1, PPS2});
    auto const avcc = H264_Extradata_AnnexBtoMp4(MakeBlob(annexB));
    EXPECT_EQ(GetBytes(H264_Extradata_Mp4toAnnexB(avcc)), annexB);
    EXPECT_EQ(GetAvccNALULengthSize(avcc->GetData(), avcc->GetSize()), 4);
}

// --- Merge of the first sets ---

TEST(MergeFirstSets, AnnexBPlusAnnexBIsPlainConcatenation) {
    Bytes const first = Concat({7, 7}, JoinAnnexB({SPS0, PPS0}));
    Bytes const second = JoinAnnexB({SPS1, PPS1});
    EXPECT_EQ(GetBytes(MergeH264Extradata(MakeBlob(first), MakeBlob(second))), Concat(first, second));
}

TEST(MergeFirstSets, AnnexBPlusAvcCGetsEachUnitOfTheSecond) {
    Bytes const first = JoinAnnexB({SPS0, PPS0});
    auto const merged = MergeH264Extradata(MakeBlob(first), MakeBlob(JoinAvcC({SPS1}, {PPS1, PPS2})));
    EXPECT_EQ(GetBytes(merged), JoinAnnexB({SPS0, PPS0, SPS1, PPS1, PPS2}));
}

TEST(MergeFirstSets, AvcCTakesOneSetOfEachKindFromEachSide) {
    Bytes expected = JoinAvcC({SPS0, SPS1}, {PPS0, PPS1}, 2);
    expected[5] = 0xE2;
    for (Bytes const& second : {JoinAnnexB({SPS1, PPS1}), JoinAvcC({SPS1}, {PPS1})}) {
        auto const merged = MergeH264Extradata(MakeBlob(JoinAvcC({SPS0, SPS2}, {PPS0, PPS2}, 2)), MakeBlob(second));
        EXPECT_EQ(GetBytes(merged), expected);
    }
}

TEST(MergeFirstSets, MissingSetsAndMissingBlobsAreRefused) {
    auto const avcc = MakeBlob(JoinAvcC({SPS0}, {PPS0}));
    EXPECT_EQ(MessageOf<Exception>([&] { MergeH264Extradata(avcc, MakeBlob(JoinAnnexB({SPS1}))); }),
              "Can't find nalu of type 8");
    EXPECT_EQ(MessageOf<Exception>([&] { MergeH264Extradata(MakeBlob({1, 2, 3}), avcc); }), "avcC header is too small");
    for (auto const& [first, second] : {std::pair{avcc, iptr<IBlob>()}, std::pair{iptr<IBlob>(), avcc}})
        EXPECT_EQ(MessageOf<Exception>([&, a = first, b = second] { MergeH264Extradata(a, b); }),
                  "Not enougth data to determine h264 header type");
}

TEST(FirstFreeParameterSetId, IsAlwaysOne) {
    for (Bytes const& extradata :
         {JoinAnnexB({SPS0, PPS0}), JoinAvcC({SPS1}, {PPS1}), JoinAnnexB({SPS0, SPS1, SPS2, PPS0, PPS1, {}}),
          JoinAnnexB({BuildSPS(MakeSPS(31)), BuildPPS(MakePPS(255))}), JoinAnnexB({{9, 0xF0}})})
        EXPECT_EQ(GetFirstFreeParameterSetId(MakeBlob(extradata)), 1U);
    EXPECT_EQ(GetFirstFreeParameterSetId(nullptr), 1U);
}

TEST(FirstFreeParameterSetId, TooShortASetThrows) {
    EXPECT_THROW(GetFirstFreeParameterSetId(MakeBlob(JoinAnnexB({{0x67, 1}}))), Exception);
}

// --- All sets ---

TEST(SingleSets, HoldForOneOfEachKindWithoutIdOne) {
    auto const holds = [](Bytes const& extradata) { return HasOnlyOneSpsAndPpsOtherThanId1(MakeBlob(extradata)); };
    EXPECT_TRUE(holds(JoinAvcC({SPS0}, {PPS0})));
    EXPECT_TRUE(holds(JoinAnnexB({SPS2, PPS2, {6, 1}})));
    EXPECT_FALSE(holds(JoinAvcC({SPS1}, {PPS0})));
    EXPECT_FALSE(holds(JoinAvcC({SPS0}, {PPS1})));
    EXPECT_FALSE(holds(JoinAvcC({SPS0, SPS2}, {PPS0})));
    EXPECT_FALSE(holds(JoinAvcC({SPS0}, {PPS0, PPS2})));
    EXPECT_FALSE(holds(JoinAvcC({SPS0}, {})));
    EXPECT_FALSE(HasOnlyOneSpsAndPpsOtherThanId1(nullptr));
}

TEST(FreeParameterSetId, IsTheLowestThatNeitherKindUses) {
    auto const find = [](Bytes const& extradata) { return FindFreeParameterSetId(MakeBlob(extradata)); };
    EXPECT_EQ(find(JoinAvcC({SPS0}, {PPS0})), 1U);
    EXPECT_EQ(find(JoinAvcC({SPS0, SPS1}, {PPS0, PPS1})), 2U);
    EXPECT_EQ(find(JoinAnnexB({SPS0, PPS0, PPS1})), 2U);
    EXPECT_EQ(find(JoinAnnexB({SPS1, PPS1})), 0U);
    EXPECT_EQ(find(JoinAnnexB({SPS0, BuildPPS(MakePPS(200, 0))})), 1U);
    EXPECT_EQ(find(JoinAnnexB({SPS0, BuildPPS(MakePPS(0, 1))})), 2U);  // SPS 1 comes in the packets
    EXPECT_EQ(FindFreeParameterSetId(nullptr), std::nullopt);
}

TEST(FreeParameterSetId, ThereIsNoneWhenAllThirtyTwoAreTaken) {
    std::vector<Bytes> units;
    for (u32 id = 0; id < 31; ++id) units.push_back(id % 2 == 0 ? BuildSPS(MakeSPS(id)) : BuildPPS(MakePPS(id, 0)));
    EXPECT_EQ(FindFreeParameterSetId(MakeBlob(JoinAnnexB(units))), 31U);
    units.push_back(BuildPPS(MakePPS(31, 0)));
    EXPECT_EQ(FindFreeParameterSetId(MakeBlob(JoinAnnexB(units))), std::nullopt);
}

TEST(MergeAllSets, AvcCKeepsEverySetLengthSizeAndTail) {
    Bytes const tail = {0xFD, 0xF8, 0xF8, 0x00};  // chroma format, bit depths, no SPS extension
    auto const merged = MergeAllH264ParameterSets(MakeBlob(JoinAvcC({SPS0, SPS1}, {PPS0, PPS1}, 2, tail)),
                                                  MakeBlob(JoinAnnexB({SPS2, PPS2, {6, 1, 2}})));
    EXPECT_EQ(GetBytes(merged), JoinAvcC({SPS0, SPS1, SPS2}, {PPS0, PPS1, PPS2}, 2, tail));
}

TEST(MergeAllSets, AvcCKeepsUnitsOfOtherTypesInItsLists) {
    Bytes const subset = {0x6F, 1, 2, 3};  // a subset SPS, type 15
    auto const merged = MergeAllH264ParameterSets(MakeBlob(JoinAvcC({SPS0, subset, {}}, {PPS0, {}})),
                                                  MakeBlob(JoinAnnexB({SPS1, PPS1})));
    EXPECT_EQ(GetBytes(merged), JoinAvcC({SPS0, subset, {}, SPS1}, {PPS0, {}, PPS1}));
}

TEST(MergeAllSets, AnnexBKeepsTheSourceAsItIs) {
    Bytes const source = JoinAnnexB({{9, 0xF0}, SPS0, PPS0, PPS1});
    auto const merged = MergeAllH264ParameterSets(MakeBlob(source), MakeBlob(JoinAnnexB({SPS2, PPS2})));
    EXPECT_EQ(GetBytes(merged), Concat(source, JoinAnnexB({SPS2, PPS2})));
}

TEST(MergeAllSets, AFileThatWasCutOnceCanBeCutAgain) {
    auto extradata = MakeBlob(JoinAvcC({SPS0}, {PPS0}));
    for (u32 round = 1; round < 31; ++round) {
        std::optional<u32> const id = FindFreeParameterSetId(extradata);
        ASSERT_EQ(id, round);
        extradata = MergeAllH264ParameterSets(
            extradata, MakeBlob(JoinAnnexB({BuildSPS(MakeSPS(*id)), BuildPPS(MakePPS(*id, *id))})));
        NaluRangeList units;
        FindAvccHeaderNalus(extradata->GetData(), extradata->GetSize(), units);
        ASSERT_EQ(units.size(), 2 * (round + 1));
    }
    EXPECT_EQ(MessageOf<Exception>([&] {
                  MergeAllH264ParameterSets(extradata,
                                            MakeBlob(JoinAnnexB({BuildSPS(MakeSPS(31)), BuildPPS(MakePPS(31, 31))})));
              }),
              "Can't merge extradata: 32 SPS, avcC header holds 31 at most");
}

TEST(MergeAllSets, EqualSetsAreNotDoubled) {
    auto const merged =
        MergeAllH264ParameterSets(MakeBlob(JoinAvcC({SPS0}, {PPS0})), MakeBlob(JoinAnnexB({SPS0, PPS0})));
    EXPECT_EQ(GetBytes(merged), JoinAvcC({SPS0}, {PPS0}));
}

TEST(MergeAllSets, DifferentSetsUnderOneIdAreRefused) {
    H264SPS other = MakeSPS(0);
    other.pic_width_in_mbs_minus1 = 9;
    auto const source = MakeBlob(JoinAvcC({SPS0}, {PPS0}));
    EXPECT_EQ(MessageOf<Exception>([&] {
                  MergeAllH264ParameterSets(source, MakeBlob(JoinAnnexB({BuildSPS(other), PPS1})));
              }),
              "Can't merge extradata: both sides have SPS 0 and they differ");
    EXPECT_EQ(MessageOf<Exception>([&] {
                  MergeAllH264ParameterSets(source, MakeBlob(JoinAnnexB({SPS1, BuildPPS(MakePPS(0, 1))})));
              }),
              "Can't merge extradata: both sides have PPS 0 and they differ");
}

TEST(MergeAllSets, MissingSidesAndSetsAreRefused) {
    auto const good = MakeBlob(JoinAvcC({SPS0}, {PPS0}));
    EXPECT_EQ(MessageOf<Exception>([&] { MergeAllH264ParameterSets(good, nullptr); }),
              "Not enougth data to determine h264 header type");
    EXPECT_EQ(MessageOf<Exception>([&] { MergeAllH264ParameterSets(nullptr, good); }),
              "Not enougth data to determine h264 header type");
    EXPECT_EQ(MessageOf<Exception>([&] { MergeAllH264ParameterSets(good, MakeBlob(JoinAnnexB({SPS1}))); }),
              "No sps or pps found!");
}

}  // namespace
}  // namespace Tarsel::Proc::CodecParsers
