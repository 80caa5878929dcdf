#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <boost/exception/get_error_info.hpp>

#include <cstring>
#include <random>
#include <stdexcept>

#include "Proc/CodecParsers/H264CodecParser.h"
#include "Proc/CodecParsers/H264_HEVC_Common.h"
#include "Proc/CodecParsers/StartCode.h"
#include "contracts/Core/Exception.h"
#include "tests/support/BitWriter.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/H264Builder.h"

namespace Tarsel::Proc::CodecParsers {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::MessageOf;

std::vector<Bytes> Copy(NaluRangeList const& units) {
    std::vector<Bytes> result;
    for (NaluRange const& unit : units) result.emplace_back(unit.data, unit.data + unit.size);
    return result;
}

std::vector<Bytes> AnnexB(Bytes const& data) {
    NaluRangeList units;
    FindAnnexBNalus(data.data(), data.size(), units);
    return Copy(units);
}

std::vector<Bytes> MP4(Bytes const& data, int lengthSize) {
    NaluRangeList units;
    FindMP4Nalus(data.data(), data.size(), units, lengthSize);
    return Copy(units);
}

std::vector<Bytes> AvcC(Bytes const& data) {
    NaluRangeList units;
    FindAvccHeaderNalus(data.data(), data.size(), units);
    return Copy(units);
}

// --- Annex B ---

TEST(AnnexB, ThreeAndFourByteCodesSeparateUnits) {
    EXPECT_THAT(AnnexB({0, 0, 0, 1, 0x67, 1, 0, 0, 1, 0x68, 2, 0, 0, 0, 1, 0x65, 3}),
                ElementsAre(Bytes{0x67, 1}, Bytes{0x68, 2}, Bytes{0x65, 3}));
}

TEST(AnnexB, JunkAheadOfTheFirstCodeIsLost) {
    EXPECT_THAT(AnnexB({9, 8, 7, 0, 0, 1, 0x67, 1}), ElementsAre(Bytes{0x67, 1}));
}

TEST(AnnexB, DataWithoutACodeHasNoUnits) {
    EXPECT_THAT(AnnexB({}), IsEmpty());
    EXPECT_THAT(AnnexB({0}), IsEmpty());
    EXPECT_THAT(AnnexB({0, 0}), IsEmpty());
    EXPECT_THAT(AnnexB({1, 2, 3, 4, 5, 0, 0}), IsEmpty());
}

TEST(AnnexB, TwoCodesInARowGiveAnEmptyUnit) {
    EXPECT_THAT(AnnexB({0, 0, 1, 0, 0, 1, 0x67}), ElementsAre(Bytes{}, Bytes{0x67}));
    EXPECT_THAT(AnnexB({0, 0, 1, 0, 0, 0, 1, 0x67}), ElementsAre(Bytes{}, Bytes{0x67}));
}

TEST(AnnexB, ACodeAtTheVeryEndGivesAnEmptyUnit) {
    EXPECT_THAT(AnnexB({0, 0, 1}), ElementsAre(Bytes{}));
    EXPECT_THAT(AnnexB({0, 0, 1, 0x67, 0, 0, 1}), ElementsAre(Bytes{0x67}, Bytes{}));
}

TEST(AnnexB, OnlyOneZeroAheadOfACodeIsTakenFromTheUnit) {
    EXPECT_THAT(AnnexB({0, 0, 1, 0x67, 0, 0, 0, 0, 0, 1, 0x68}), ElementsAre(Bytes{0x67, 0, 0}, Bytes{0x68}));
}

TEST(AnnexB, ZerosAtTheVeryEndStayInTheUnit) {
    EXPECT_THAT(AnnexB({0, 0, 1, 0x67, 5, 0, 0, 0}), ElementsAre(Bytes{0x67, 5, 0, 0, 0}));
}

TEST(AnnexB, RangesPointIntoTheScannedBufferAndAreAppended) {
    Bytes const data = {0, 0, 1, 0x67, 5};
    NaluRangeList units(1);
    FindAnnexBNalus(data.data(), data.size(), units);
    ASSERT_EQ(units.size(), 2U);
    EXPECT_EQ(units[1].data, data.data() + 3);
}

// --- The scanning kernel ---

u8 const* PlainFind(u8 const* begin, u8 const* end, u8 third) {
    for (; end - begin >= 3; ++begin)
        if (begin[0] == 0 && begin[1] == 0 && begin[2] == third) return begin;
    return end;
}

TEST(StartCode, KernelsAgreeWithThePlainLoopOnDenseRandomData) {
    for (u32 seed = 1; seed <= 300; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        std::mt19937 random(seed);
        Bytes data(random() % 400);
        // Few values: zero pairs, false ends and codes come at every offset to the vector's border.
        for (u8& byte : data) byte = static_cast<u8>(random() % 10 < 6 ? 0 : random() % 5);
        u8 const third = random() % 2 == 0 ? 1 : 3;
        for (std::size_t begin = 0; begin <= data.size(); ++begin) {
            u8 const* const from = data.data() + begin;
            u8 const* const end = data.data() + data.size();
            u8 const* const expected = PlainFind(from, end, third);
            ASSERT_EQ(FindZeroZero(from, end, third), expected) << "from " << begin;
            ASSERT_EQ(Details::FindZeroZeroScalar(from, end, third), expected) << "from " << begin;
        }
    }
}

TEST(StartCode, AloneCodeIsFoundAtEveryOffset) {
    for (std::size_t size = 3; size < 200; ++size) {
        for (std::size_t at = 0; at + 3 <= size; ++at) {
            Bytes data(size, 0xFF);
            data[at] = data[at + 1] = 0;
            data[at + 2] = 1;
            ASSERT_EQ(FindZeroZero(data.data(), data.data() + size, 1), data.data() + at) << size << " " << at;
        }
    }
}

TEST(StartCode, ACodeThatEndsBehindTheRangeIsNotFound) {
    Bytes const data = {5, 0, 0, 1};
    EXPECT_EQ(FindZeroZero(data.data(), data.data() + 3, 1), data.data() + 3);
}

TEST(StartCode, CodeValueIsLookedForInARangeOfValues) {
    Bytes const data = {0, 0, 1, 0xB0, 0, 0, 1, 0x2F, 0, 0, 1};
    u8 const* const end = data.data() + data.size();
    EXPECT_EQ(FindStartCodeOf(data.data(), end, 0x20, 0x2F), data.data() + 4);
    EXPECT_EQ(FindStartCodeOf(data.data(), end, 0xB0, 0xB0), data.data());
    EXPECT_EQ(FindStartCodeOf(data.data(), end, 0xB3, 0xB3), end);
}

// --- MP4 ---

TEST(MP4Nalus, LengthsOfEachWidthAreBigEndian) {
    EXPECT_THAT(MP4({2, 0x65, 9, 1, 0x61}, 1), ElementsAre(Bytes{0x65, 9}, Bytes{0x61}));
    EXPECT_THAT(MP4({0, 2, 0x65, 9}, 2), ElementsAre(Bytes{0x65, 9}));
    EXPECT_THAT(MP4({0, 0, 2, 0x65, 9}, 3), ElementsAre(Bytes{0x65, 9}));
    EXPECT_THAT(MP4({0, 0, 0, 2, 0x65, 9}, 4), ElementsAre(Bytes{0x65, 9}));
    Bytes big(2 + 0x0102, 7);
    big[0] = 1;
    big[1] = 2;
    ASSERT_EQ(MP4(big, 2).size(), 1U);
    EXPECT_EQ(MP4(big, 2)[0].size(), 0x0102U);
}

TEST(MP4Nalus, EmptyInputGivesAnEmptyListForAnyLengthSize) {
    for (int lengthSize = -1; lengthSize <= 5; ++lengthSize) EXPECT_THAT(MP4({}, lengthSize), IsEmpty());
}

TEST(MP4Nalus, ALengthOfZeroIsAnError) {
    EXPECT_EQ(MessageOf<std::logic_error>([] { MP4({0, 0, 0, 0}, 4); }), "bad naluSize");
    EXPECT_EQ(MessageOf<std::logic_error>([] { MP4({0, 0, 0, 1, 0x65, 0, 0, 0, 0}, 4); }), "bad naluSize");
}

TEST(MP4Nalus, ALengthSizeThatIsNoneIsAnError) {
    for (int const lengthSize : {0, -1, -4, 5, 8})
        EXPECT_EQ(MessageOf<std::logic_error>([&] { MP4(Bytes(32, 1), lengthSize); }), "bad naluSize") << lengthSize;
}

TEST(MP4Nalus, AFieldOrAUnitThatPassesTheEndIsOutOfRange) {
    EXPECT_EQ(MessageOf<std::logic_error>([] { MP4({0, 0, 0}, 4); }), "out of range");
    EXPECT_EQ(MessageOf<std::logic_error>([] { MP4({0, 0, 0, 2, 0x65}, 4); }), "out of range");
    EXPECT_EQ(MessageOf<std::logic_error>([] { MP4({0xFF, 0xFF, 0xFF, 0xFF, 0x65}, 4); }), "out of range");
    EXPECT_EQ(MessageOf<std::logic_error>([] { MP4({0, 0, 0, 1, 0x65, 0}, 4); }), "out of range");
}

TEST(MP4Nalus, FailureCarriesWhereItWasThrown) {
    try {
        MP4({0, 0, 0}, 4);
        FAIL() << "nothing was thrown";
    } catch (boost::exception const& failure) {
        EXPECT_NE(boost::get_error_info<boost::throw_file>(failure), nullptr);
        EXPECT_NE(boost::get_error_info<boost::throw_line>(failure), nullptr);
        EXPECT_NE(boost::get_error_info<boost::throw_function>(failure), nullptr);
        EXPECT_EQ(dynamic_cast<Tarsel::Exception const*>(&failure), nullptr);
    }
}

// --- avcC ---

TEST(AvcC, FirstByteOneTellsIt) {
    u8 const avcc[] = {1};
    u8 const annexB[] = {0};
    EXPECT_TRUE(IsAvcCHeader(avcc, 1));
    EXPECT_FALSE(IsAvcCHeader(annexB, 1));
    EXPECT_EQ(MessageOf<Exception>([] { IsAvcCHeader(nullptr, 0); }), "Not enougth data to determine h264 header type");
}

TEST(AvcC, LengthSizeIsInTheFifthByte) {
    u8 avcc[] = {1, 100, 0, 30, 0xFC};
    for (u8 i = 0; i < 4; ++i) {
        avcc[4] = static_cast<u8>(0xFC | i);
        EXPECT_EQ(GetAvccNALULengthSize(avcc, 5), i + 1);
    }
    u8 const annexB[] = {0};
    EXPECT_EQ(GetAvccNALULengthSize(annexB, 1), 0);
    EXPECT_EQ(MessageOf<Exception>([&] { GetAvccNALULengthSize(avcc, 4); }),
              "Not enougth data to determine h264 NALU length size");
    EXPECT_EQ(MessageOf<Exception>([&] { GetAvccNALULengthSize(avcc, 0); }),
              "Not enougth data to determine h264 header type");
}

TEST(AvcC, UnitsAreSpsFirstThenPps) {
    EXPECT_THAT(AvcC(TestSupport::JoinAvcC({{0x67, 1}, {0x67, 2, 3}}, {{0x68, 4}})),
                ElementsAre(Bytes{0x67, 1}, Bytes{0x67, 2, 3}, Bytes{0x68, 4}));
    EXPECT_THAT(AvcC({1, 0, 0, 0, 0, 0, 0}), IsEmpty());
}

TEST(AvcC, FewerThanSevenBytesAreTooSmall) {
    EXPECT_EQ(MessageOf<Exception>([] { AvcC({1, 0, 0, 0, 0, 0}); }), "avcC header is too small");
    EXPECT_EQ(MessageOf<Exception>([] { AvcC({}); }), "avcC header is too small");
}

TEST(AvcC, AnotherVersionIsRefused) {
    EXPECT_EQ(MessageOf<Exception>([] { AvcC({2, 0, 0, 0, 0, 0, 0}); }), "Unknown avcC version");
}

TEST(AvcC, AUnitThatPassesTheEndMakesTheHeaderTooSmall) {
    Bytes const whole = TestSupport::JoinAvcC({{0x67, 1, 2, 3}}, {{0x68, 4, 5}});
    for (std::size_t size = 0; size < whole.size(); ++size) {
        Bytes const prefix(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(MessageOf<Exception>([&] { AvcC(prefix); }), "avcC header is too small") << size;
    }
    EXPECT_EQ(AvcC(whole).size(), 2U);
}

TEST(AvcC, ACountAboveTheUnitsThereIsTooSmall) {
    Bytes header = TestSupport::JoinAvcC({{0x67, 1, 2, 3}}, {{0x68, 4, 5}});
    header[5] = 0xFF;
    EXPECT_EQ(MessageOf<Exception>([&] { AvcC(header); }), "avcC header is too small");
}

// --- Units by type ---

TEST(FirstNaluOfType, IsFoundInBothFramings) {
    Bytes const annexB = TestSupport::JoinAnnexB({{0x09, 0xF0}, {0x67, 1}, {0x67, 2}, {0x68, 3}});
    EXPECT_EQ(GetFirstNaluOfType(annexB.data(), annexB.size(), 7).data[1], 1);
    Bytes const avcc = TestSupport::JoinAvcC({{0x67, 1}, {0x67, 2}}, {{0x68, 3}});
    EXPECT_EQ(GetFirstNaluOfType(avcc.data(), avcc.size(), 8).data[1], 3);
}

TEST(FirstNaluOfType, AUnitOfTheHeaderByteAloneIsNotFound) {
    Bytes const data = TestSupport::JoinAnnexB({{0x67}, {0x67, 2}});
    EXPECT_EQ(GetFirstNaluOfType(data.data(), data.size(), 7).data[1], 2);
    Bytes const alone = TestSupport::JoinAnnexB({{0x67}});
    EXPECT_EQ(MessageOf<Exception>([&] { GetFirstNaluOfType(alone.data(), alone.size(), 7); }),
              "Can't find nalu of type 7");
}

TEST(FirstNaluOfType, MissingTypeIsNamedInDecimal) {
    Bytes const junk = {9, 9, 9, 9};
    EXPECT_EQ(MessageOf<Exception>([&] { GetFirstNaluOfType(junk.data(), junk.size(), 13); }),
              "Can't find nalu of type 13");
}

TEST(FilterNalusByType, KeepsTheOrderAndSkipsEmptyUnits) {
    Bytes const data = TestSupport::JoinAnnexB({{0x67, 1}, {}, {0x68, 2}, {0x27, 3}});
    NaluRangeList units;
    FindAnnexBNalus(data.data(), data.size(), units);
    EXPECT_THAT(Copy(FilterNalusByType(units, 7)), ElementsAre(Bytes{0x67, 1}, Bytes{0x27, 3}));
}

// --- Emulation prevention ---

Bytes Remove(Bytes const& data) {
    return RemoveEmulationPrevention(data.data(), data.size());
}

TEST(EmulationPrevention, ZeroZeroThreeIsDroppedAheadOfBytesUpToThree) {
    EXPECT_EQ(Remove({0x67, 0, 0, 3, 0, 9}), (Bytes{0x67, 0, 0, 0, 9}));
    EXPECT_EQ(Remove({0x67, 0, 0, 3, 1, 9}), (Bytes{0x67, 0, 0, 1, 9}));
    EXPECT_EQ(Remove({0x67, 0, 0, 3, 3, 9}), (Bytes{0x67, 0, 0, 3, 9}));
}

TEST(EmulationPrevention, ThreeStaysAheadOfAByteAboveThree) {
    EXPECT_EQ(Remove({0, 0, 3, 4, 9}), (Bytes{0, 0, 3, 4, 9}));
    EXPECT_EQ(Remove({0, 0, 3, 0xFF}), (Bytes{0, 0, 3, 0xFF}));
}

TEST(EmulationPrevention, ThreeStaysAtTheVeryEnd) {
    EXPECT_EQ(Remove({0x67, 0, 0, 3}), (Bytes{0x67, 0, 0, 3}));
}

TEST(EmulationPrevention, RunsOfSequencesAreEachUndone) {
    EXPECT_EQ(Remove({0, 0, 3, 0, 0, 3, 0, 0, 3, 1}), (Bytes{0, 0, 0, 0, 0, 0, 1}));
    EXPECT_EQ(Remove({0, 0, 3, 4, 0, 0, 3, 2}), (Bytes{0, 0, 3, 4, 0, 0, 2}));
    EXPECT_EQ(Remove({}), Bytes{});
    EXPECT_EQ(Remove({0, 0}), (Bytes{0, 0}));
}

TEST(EmulationPrevention, UndoesWhatTheWriterPutIn) {
    for (u32 seed = 1; seed <= 500; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        std::mt19937 random(seed);
        Bytes raw(1 + random() % 200);
        for (u8& byte : raw) byte = static_cast<u8>(random() % 3 != 0 ? 0 : random() % 6);
        raw.push_back(0x80);  // a unit never ends in zeros
        Bytes const coded = TestSupport::AddEmulationPrevention(raw);
        ASSERT_EQ(PlainFind(coded.data(), coded.data() + coded.size(), 1), coded.data() + coded.size());
        ASSERT_EQ(Remove(coded), raw);
    }
}

}  // namespace
}  // namespace Tarsel::Proc::CodecParsers
