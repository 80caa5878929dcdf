#include "Proc/Filters/Filters/CropDetectorImpl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <stdexcept>

#include "contracts/Core/Exception.h"
#include "tests/Proc/CropSupport.h"
#include "tests/support/LogLines.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using Details::FindEdges;
using Details::LineDeviations;
using ::testing::Each;
using ::testing::ElementsAre;

constexpr PixFmt FORMATS[] = {PIX_FMT_NV12, PIX_FMT_YUV420P, PIX_FMT_YUVA420P};

template <class E, class Call>
std::string TextOf(Call call) {
    try {
        call();
    } catch (E const& failure) {
        return failure.what();
    }
    return "(nothing was thrown)";
}

/// The edges in a table of given row deviations: with a width of 1 only rows are searched.
CropInfo EdgesOfRows(std::vector<u32> const& rows, u32 limit) {
    LineDeviations lines(nullptr, 0, 0, 1);
    lines.rows = rows;
    lines.columns = {99};
    return FindEdges(lines, limit);
}

std::vector<u32> Top(std::vector<u32> first, std::size_t count) {
    first.resize(count, 0);
    return first;
}

// --- The table -------------------------------------------------------------------------------------------------------

TEST(CropTable, NeverExceedsThreeHundredAndTwentyByTwoHundredAndForty) {
    struct Case {
        int width, height;
        u32 tableWidth, tableHeight;
    };
    for (auto const& [width, height, tableWidth, tableHeight] :
         {Case{1, 1, 1, 1}, {16, 300, 16, 240}, {320, 240, 320, 240}, {322, 2, 320, 2}, {3840, 2160, 320, 240}}) {
        auto const frame = MakeVideo(0, 40, 0, PIX_FMT_NV12, width, height);
        auto const detector = CropDetectorImpl::Create(PIX_FMT_NV12, frame, 4);
        EXPECT_EQ(detector->GetTableWidth(), tableWidth);
        EXPECT_EQ(detector->GetTableHeight(), tableHeight);
        EXPECT_EQ(detector->GetTable().size(), std::size_t{tableWidth} * tableHeight);
        EXPECT_THAT(detector->GetTable(), Each(0)) << "nothing has been added";
    }
}

TEST(CropTable, SumsDeviationsAndRegionsAreThoseOfThePlainFormulas) {
    TestSupport::Draw draw(8);
    for (PixFmt const format : FORMATS) {
        for (auto const& [width, height] : {std::pair{2, 2},
                                            {1, 30},
                                            {30, 1},
                                            {18, 14},
                                            {46, 322},
                                            {320, 240},
                                            {322, 242},
                                            {640, 480},
                                            {1000, 562},
                                            {1920, 90}}) {
            CropInfo const region(static_cast<u32>(width) / 6 & ~1U, static_cast<u32>(width),
                                  static_cast<u32>(height) / 5 & ~1U, static_cast<u32>(height) * 3 / 4 & ~1U);
            auto previous = DrawInside(draw, region, width, height, 0, format);
            auto const detector = CropDetectorImpl::Create(format, previous, 20);
            PlainCrop plain(width, height, 20);
            for (u32 n = 1; n <= 5; ++n) {
                auto const frame = DrawInside(draw, region, width, height, n, format);
                EXPECT_EQ(detector->Calculate(*frame, *previous, n), plain.Calculate(*frame, *previous, n));
                ASSERT_EQ(detector->GetTable(), plain.table) << width << "x" << height << " format " << format;
                LineDeviations const lines(detector->GetTable().data(), detector->GetTableWidth(),
                                           detector->GetTableHeight(), n);
                for (int r = 0; r < plain.height; ++r)
                    ASSERT_EQ(lines.rows[static_cast<std::size_t>(r)], plain.RowDeviation(r, n)) << "row " << r;
                for (int c = 0; c < plain.width; ++c)
                    ASSERT_EQ(lines.columns[static_cast<std::size_t>(c)], plain.ColumnDeviation(c, n))
                        << "column " << c;
                previous = frame;
            }
        }
    }
}

TEST(CropTable, SumsWrapAroundAtSixteenBits) {
    auto const black = MakeVideo(0, 40, 0), white = MakeVideo(0, 40, 255);
    auto const detector = CropDetectorImpl::Create(PIX_FMT_YUV420P, black, 4);
    for (u32 n = 1; n <= 85; ++n) detector->Calculate(*white, *black, n);
    EXPECT_THAT(detector->GetTable(), Each(85 * 765)) << "the most that fits";
    detector->Calculate(*black, *white, 86);
    EXPECT_THAT(detector->GetTable(), Each(86 * 765 - 65536)) << "differences have no sign";
    PlainCrop plain(16, 16, 4);
    for (u32 n = 1; n <= 86; ++n) plain.Calculate(*white, *black, n);
    EXPECT_EQ(detector->GetTable(), plain.table);
}

TEST(CropTable, ChromaOfBothKindsIsAddedToTheTableOfLuma) {
    for (PixFmt const format : FORMATS) {
        auto const previous = MakeVideo(0, 40, 0, format, 4, 4);
        auto const frame = MakeVideo(0, 40, 0, format, 4, 4);
        frame->GetPlane(0).GetOffsetPtr(3, 0)[0] = 1;
        if (format == PIX_FMT_NV12) {
            frame->GetPlane(1).GetOffsetPtr(1, 0)[0] = 10;
            frame->GetPlane(1).GetOffsetPtr(0, 1)[1] = 100;
        } else {
            frame->GetPlane(1).GetOffsetPtr(1, 0)[0] = 10;
            frame->GetPlane(2).GetOffsetPtr(0, 1)[0] = 100;
        }
        auto const detector = CropDetectorImpl::Create(format, frame, 4);
        detector->Calculate(*frame, *previous, 1);
        EXPECT_THAT(detector->GetTable(), ElementsAre(0, 0, 10, 11, 0, 0, 10, 10, 100, 100, 0, 0, 100, 100, 0, 0))
            << format;
    }
}

TEST(CropTable, AlphaIsNotLookedAt) {
    auto const previous = MakeVideo(0, 40, 7, PIX_FMT_YUVA420P), frame = MakeVideo(0, 40, 7, PIX_FMT_YUVA420P);
    std::memset(frame->GetPlane(3).GetData(), 200, 16 * 16);
    auto const detector = CropDetectorImpl::Create(PIX_FMT_YUVA420P, frame, 4);
    detector->Calculate(*frame, *previous, 1);
    EXPECT_THAT(detector->GetTable(), Each(0));
}

TEST(CropTable, PicturesOfOnePixelHaveTheirOneChromaSampleCounted) {
    for (PixFmt const format : FORMATS) {
        auto const previous = MakeVideo(0, 40, 0, format, 1, 1), frame = MakeVideo(0, 40, 50, format, 1, 1);
        auto const detector = CropDetectorImpl::Create(format, frame, 4);
        EXPECT_EQ(detector->Calculate(*frame, *previous, 1), CropInfo(0, 1, 0, 1));
        EXPECT_THAT(detector->GetTable(), ElementsAre(150)) << format;
    }
}

TEST(CropTable, BottomUpPlanesAreReadAsThePictureStands) {
    TestSupport::Draw draw(3);
    auto const upright = DrawInside(draw, {0, 16, 0, 8}, 16, 16, 0);
    auto const still = MakeVideo(0, 40, 16);
    AVFrame* turned = av_frame_clone(dynamic_cast<DataVideoFF const&>(*upright).GetAVFrame());
    for (int p = 0; p < 3; ++p) {
        turned->data[p] += turned->linesize[p] * (p == 0 ? 15 : 7);
        turned->linesize[p] = -turned->linesize[p];
    }
    auto const bottomUp = DataVideoFF::Wrap(turned, 0, 40);
    auto const detector = CropDetectorImpl::Create(PIX_FMT_YUV420P, bottomUp, 4);
    detector->Calculate(*bottomUp, *still, 1);
    PlainCrop plain(16, 16, 4);
    plain.Calculate(*bottomUp, *still, 1);
    EXPECT_EQ(detector->GetTable(), plain.table);
}

TEST(CropTable, FramesOfAnotherSizeAreRefused) {
    auto const frame = MakeVideo(0, 40), larger = MakeVideo(0, 40, 0, PIX_FMT_YUV420P, 16, 18);
    auto const detector = CropDetectorImpl::Create(PIX_FMT_YUV420P, frame, 4);
    char const* const text = "frame has another size than the crop detector";
    EXPECT_EQ(TextOf<std::invalid_argument>([&] { detector->Calculate(*larger, *frame, 1); }), text);
    EXPECT_EQ(TextOf<std::invalid_argument>([&] { detector->Calculate(*frame, *larger, 1); }), text);
}

TEST(CropTable, OtherFormatsAreRefusedByName) {
    auto const frame = MakeVideo(0, 40);
    auto const refusal = [&](int format) {
        return TextOf<FilterException>([&] { CropDetectorImpl::Create(static_cast<PixFmt>(format), frame, 4); });
    };
    EXPECT_EQ(refusal(PIX_FMT_RGB24), "Cannot create crop detector for rgb24");
    EXPECT_EQ(refusal(PIX_FMT_BGRA), "Cannot create crop detector for bgra");
    EXPECT_EQ(refusal(4), "Cannot create crop detector for yuv422p");
    EXPECT_EQ(refusal(24), "Cannot create crop detector for nv21");
    EXPECT_EQ(refusal(-1), "Cannot create crop detector for -1") << "it has no name";
}

// --- Deviations ------------------------------------------------------------------------------------------------------

TEST(LineDeviations, AreWholeNumbersOfWholeQuotients) {
    // Row: 9, 10, 29 over 10 are 0, 1, 2: 5 / 3 - 1 = 0. Over 1: (81 + 100 + 841) / 3 - 16 x 16 = 84, its root 9.165.
    std::array<u16, 3> const line{9, 10, 29};
    EXPECT_THAT(LineDeviations(line.data(), 3, 1, 10).rows, ElementsAre(0));
    EXPECT_THAT(LineDeviations(line.data(), 3, 1, 1).rows, ElementsAre(9));
    EXPECT_THAT(LineDeviations(line.data(), 1, 3, 1).columns, ElementsAre(9));
    EXPECT_THAT(LineDeviations(line.data(), 1, 3, 1).rows, ElementsAre(0, 0, 0)) << "one element doesn't deviate";
}

TEST(LineDeviations, DividerOfZeroCountsAsOne) {
    std::array<u16, 2> const line{0, 20};
    EXPECT_THAT(LineDeviations(line.data(), 2, 1, 0).rows, ElementsAre(10));
}

TEST(LineDeviations, NothingIsLeftOverADividerBeyondTheLargestElement) {
    std::array<u16, 2> const line{0, 65535};
    EXPECT_THAT(LineDeviations(line.data(), 2, 1, 1).rows, ElementsAre(32767)) << "32767.99";
    EXPECT_THAT(LineDeviations(line.data(), 2, 1, 65535).rows, ElementsAre(0)) << "(0 + 1) / 2 - 0";
    for (u32 const divider : {65536U, 1000000U, 4294967295U})
        EXPECT_THAT(LineDeviations(line.data(), 2, 1, divider).rows, ElementsAre(0));
}

TEST(LineDeviations, QuotientsOfEveryElementAndDividerAreCutExactly) {
    // Each element four times beside four times 0: the deviation is half the quotient, but for what is cut.
    std::vector<u16> table;
    for (u32 v = 0; v < 65536; ++v) table.insert(table.end(), {0, static_cast<u16>(v)});
    for (u32 divider : {1U, 2U, 3U, 7U, 10U, 85U, 255U, 641U, 4096U, 9973U, 32767U, 32768U, 65521U, 65535U}) {
        LineDeviations const lines(table.data(), 2, 65536, divider);
        for (u32 v = 0; v < 65536; ++v) {
            uint64 const quotient = v / divider;
            uint64 const mean = quotient / 2;
            auto const expected =
                static_cast<u32>(std::sqrt(static_cast<double>(quotient * quotient / 2 - mean * mean)));
            ASSERT_EQ(lines.rows[v], expected) << v << " / " << divider;
        }
    }
}

// --- Edges -----------------------------------------------------------------------------------------------------------

TEST(CropEdges, MeanOfThreeLinesDecidesAndTheCropGoesBackToTheFirstOfThem) {
    //                         0  1  2  3  4
    EXPECT_EQ(EdgesOfRows(Top({0, 0, 0, 0, 12, 0, 0}, 20), 4).top, 2U) << "12 / 3 at line 4";
    EXPECT_EQ(EdgesOfRows(Top({0, 0, 0, 0, 11, 0, 0}, 20), 4).top, 0U) << "11 / 3 is 3 at lines 4 to 6";
    EXPECT_EQ(EdgesOfRows(Top({0, 0, 0, 0, 11, 1, 0}, 20), 4).top, 3U) << "12 / 3 at line 5";
    EXPECT_EQ(EdgesOfRows(Top({0, 0, 0, 4, 4, 4, 0}, 20), 4).top, 3U);
    EXPECT_EQ(EdgesOfRows(Top({0, 0, 0, 4, 4, 3, 0}, 20), 4).top, 0U);
}

TEST(CropEdges, FirstTwoLinesAloneAreNoEdge) {
    EXPECT_EQ(EdgesOfRows(Top({99, 99, 0}, 20), 66).top, 0U) << "found at line 2, the first that has two in front";
    EXPECT_EQ(EdgesOfRows(Top({99, 99, 0, 0}, 4), 1).top, 0U) << "two lines in the half";
    EXPECT_EQ(EdgesOfRows(Top({0, 99, 0, 0, 50}, 20), 33).top, 0U);
    EXPECT_EQ(EdgesOfRows(Top({0, 98, 0, 0, 50, 50}, 20), 33).top, 3U) << "98 / 3 is 32";
}

TEST(CropEdges, OnlyTheFirstHalfIsSearchedFromEachBorder) {
    std::vector<u32> rows(20, 0);
    rows[9] = 99;
    EXPECT_EQ(EdgesOfRows(rows, 4), CropInfo(0, 1, 7, 20)) << "the last line of the upper half";
    rows[9] = 0;
    rows[10] = 99;
    EXPECT_EQ(EdgesOfRows(rows, 4), CropInfo(0, 1, 0, 13)) << "the last line of the lower half: 20 - 9 + 2";
    std::vector<u32> odd(21, 0);
    odd[10] = 99;
    EXPECT_EQ(EdgesOfRows(odd, 4), CropInfo(0, 1, 0, 21)) << "the middle of an odd count is in neither";
}

TEST(CropEdges, BottomIsTwoLinesBehindTheFirstFromBelow) {
    std::vector<u32> rows(20, 0);
    rows[15] = 12;
    EXPECT_EQ(EdgesOfRows(rows, 4).bottom, 18U) << "i = 4: 20 - 4 + 2";
    rows[15] = 11;
    EXPECT_EQ(EdgesOfRows(rows, 4).bottom, 20U);
    rows[17] = 12;
    EXPECT_EQ(EdgesOfRows(rows, 4).bottom, 20U) << "i = 2: 20 - 2 + 2";
}

TEST(CropEdges, ColumnsAreSearchedAsRowsAre) {
    LineDeviations lines(nullptr, 0, 0, 1);
    lines.rows = {99};
    lines.columns = std::vector<u32>(20, 0);
    lines.columns[5] = 12;
    lines.columns[13] = 12;
    EXPECT_EQ(FindEdges(lines, 4), CropInfo(3, 16, 0, 1)) << "i = 6 from the right: 20 - 6 + 2";
}

TEST(CropEdges, LimitOfZeroGivesTheWholeTable) {
    EXPECT_EQ(EdgesOfRows(std::vector<u32>(20, 0), 0), CropInfo(0, 1, 0, 20));
}

TEST(CropEdges, TablesWithoutTwoHalvesAreWhole) {
    EXPECT_EQ(EdgesOfRows({99}, 0), CropInfo(0, 1, 0, 1));
    EXPECT_EQ(EdgesOfRows({99, 99}, 0), CropInfo(0, 1, 0, 2));
    EXPECT_EQ(EdgesOfRows({99, 99, 99, 99, 99}, 0), CropInfo(0, 1, 0, 5)) << "two lines in a half are too few";
}

// --- The region in the frame -----------------------------------------------------------------------------------------

/// The region of the change between a black picture and one that is drawn inside `region`.
CropInfo Found(CropInfo const& region, int width, int height) {
    TestSupport::Draw draw(11);
    auto const frame = DrawInside(draw, region, width, height, 0);
    auto const black = DrawInside(draw, {}, width, height, 0);
    return CropDetectorImpl::Create(PIX_FMT_YUV420P, frame, 4)->Calculate(*frame, *black, 1);
}

TEST(CropScale, EdgesBecomeEvenCoordinatesOfTheFrame) {
    // The first line that moves is found as the third of its three.
    EXPECT_EQ(Found({0, 320, 30, 210}, 320, 240), CropInfo(0, 320, 28, 212));
    EXPECT_EQ(Found({40, 280, 0, 240}, 320, 240), CropInfo(38, 282, 0, 240));
    EXPECT_EQ(Found({40, 280, 30, 210}, 320, 240), CropInfo(38, 282, 28, 212));
    // Table lines of 4.5 rows: the first that reads row 140 and behind is 32, the last in front of row 940 is 208.
    EXPECT_EQ(Found({0, 1920, 140, 940}, 1920, 1080),
              CropInfo(0, 1920, 30 * 1080 / 240 & ~1, (211 * 1080 / 240 + 1) & ~1));
    EXPECT_EQ(Found({240, 1680, 0, 1080}, 1920, 1080), CropInfo(38 * 6, 282 * 6, 0, 1080));
}

TEST(CropScale, StepsAreWrittenToTheLogAtVerbosityThirty) {
    LogLines const lines(30);
    Found({80, 560, 30, 210}, 640, 240);
    EXPECT_THAT(lines.Get(google::INFO), ElementsAre("crop: left: 38, right: 282, top: 28, bottom: 212", "disp: 4",
                                                     "frame crop found: left: 76, right: 564, top: 28, bottom: 212"));
}

TEST(CropScale, NothingIsLoggedBelow) {
    LogLines const lines(29);
    Found({80, 560, 30, 210}, 640, 240);
    EXPECT_EQ(lines.Count("crop: ") + lines.Count("disp: ") + lines.Count("frame crop found: "), 0U);
}

// --- Brightness ------------------------------------------------------------------------------------------------------

TEST(Brightness, IsTheMeanOfTheGridCutToAWholeNumber) {
    auto const frame = MakeVideo(0, 40, 100, PIX_FMT_YUV420P, 320, 240);
    EXPECT_EQ(Details::GetBrightness(*frame), 100);
    *frame->GetPlane(0).GetOffsetPtr(17, 5) = 99;
    EXPECT_EQ(Details::GetBrightness(*frame), 99);
    std::memset(frame->GetPlane(1).GetData(), 255, 160 * 120);
    EXPECT_EQ(Details::GetBrightness(*frame), 99) << "of luma alone";
}

TEST(Brightness, SamplesOfTheGridAloneCount) {
    auto const frame = MakeVideo(0, 40, 0, PIX_FMT_NV12, 640, 480);
    auto const luma = frame->GetPlane(0);
    for (unsigned y = 0; y < 480; ++y)
        for (unsigned x = 0; x < 640; ++x)
            if (x % 2 || y % 2) *luma.GetOffsetPtr(x, y) = 255;
    EXPECT_EQ(Details::GetBrightness(*frame), 0);
}

TEST(Brightness, IsThatOfThePlainFormulaAtAnySize) {
    TestSupport::Draw draw(21);
    for (auto const& [width, height] :
         {std::pair{1, 1}, {2, 480}, {640, 1}, {18, 14}, {319, 239}, {322, 242}, {1000, 700}}) {
        auto const frame = DrawInside(draw, CropInfo::WholeOf(width & ~1, height & ~1), width, height, 0);
        EXPECT_EQ(Details::GetBrightness(*frame), PlainCrop::Brightness(*frame)) << width << "x" << height;
    }
}

}  // namespace
}  // namespace Tarsel::Proc
