#include "contracts/Proc/CropInfo.h"

#include <gtest/gtest.h>

#include <limits>
#include <sstream>

namespace Tarsel::Proc {
namespace {

constexpr u32 LARGEST = std::numeric_limits<u32>::max();

CropInfo Even(CropInfo crop) {
    crop.ToEven();
    return crop;
}

TEST(CropInfo, NewOneIsEmptyAtTheOrigin) {
    CropInfo const crop;
    EXPECT_EQ(crop, CropInfo(0, 0, 0, 0));
    EXPECT_TRUE(crop.IsEmpty());
}

TEST(CropInfo, EdgesAreCoordinatesRightAndBottomOnePast) {
    CropInfo const crop(10, 30, 5, 6);
    EXPECT_EQ(crop.GetWidth(), 20U);
    EXPECT_EQ(crop.GetHeight(), 1U);
    EXPECT_FALSE(crop.IsEmpty());
    EXPECT_EQ(CropInfo(0, LARGEST, 0, LARGEST).GetWidth(), LARGEST);
}

TEST(CropInfo, EdgesInTheWrongOrderEncloseNothing) {
    EXPECT_EQ(CropInfo(5, 4, 0, 9).GetWidth(), 0U);
    EXPECT_EQ(CropInfo(0, 9, LARGEST, 0).GetHeight(), 0U);
    EXPECT_TRUE(CropInfo(5, 4, 0, 9).IsEmpty());
    EXPECT_TRUE(CropInfo(0, 9, 3, 3).IsEmpty());
}

TEST(CropInfo, WholeOfAPictureReachesItsEdges) {
    EXPECT_EQ(CropInfo::WholeOf(720, 576), CropInfo(0, 720, 0, 576));
    EXPECT_EQ(CropInfo::WholeOf(-1, 0), CropInfo());
    EXPECT_EQ(CropInfo::WholeOf(std::numeric_limits<int>::min(), std::numeric_limits<int>::max()),
              CropInfo(0, 0, 0, 2147483647));
}

TEST(CropInfo, DifferenceIsTheLargestDistanceOfFourEdgesInEitherDirection) {
    CropInfo const crop(10, 100, 20, 200);
    EXPECT_EQ(crop.Diff(crop), 0U);
    EXPECT_EQ(crop.Diff({7, 100, 20, 200}), 3U);
    EXPECT_EQ(crop.Diff({10, 104, 21, 200}), 4U);
    EXPECT_EQ(crop.Diff({10, 100, 15, 199}), 5U);
    EXPECT_EQ(crop.Diff({11, 101, 21, 194}), 6U);
    EXPECT_EQ(CropInfo(7, 100, 20, 200).Diff(crop), 3U);
}

TEST(CropInfo, DifferenceOfTheFarthestEdgesDoesNotWrap) {
    CropInfo const far(LARGEST, 0, 0, 0);
    EXPECT_EQ(far.Diff({}), LARGEST);
    EXPECT_EQ(CropInfo().Diff(far), LARGEST);
    EXPECT_EQ(CropInfo(0, 0, 0, 0x80000001U).Diff({}), 0x80000001U);
}

TEST(CropInfo, EvenRectangleCoversTheOddOne) {
    EXPECT_EQ(Even({1, 9, 3, 7}), CropInfo(0, 10, 2, 8));
    EXPECT_EQ(Even({2, 10, 4, 8}), CropInfo(2, 10, 4, 8));
    EXPECT_EQ(Even({}), CropInfo());
    EXPECT_EQ(Even({1, 1, 1, 1}), CropInfo(0, 2, 0, 2));
}

TEST(CropInfo, LargestCoordinateStaysWhereNoEvenOneIsAbove) {
    EXPECT_EQ(Even({LARGEST, LARGEST, LARGEST, LARGEST}), CropInfo(LARGEST - 1, LARGEST, LARGEST - 1, LARGEST));
    EXPECT_EQ(Even({0, LARGEST - 2, 0, LARGEST - 1}), CropInfo(0, LARGEST - 1, 0, LARGEST - 1));
}

TEST(CropInfo, PrintsItsEdgesByName) {
    std::ostringstream text;
    text << CropInfo(1, 2, 3, LARGEST);
    EXPECT_EQ(text.str(), "left: 1, right: 2, top: 3, bottom: 4294967295");
}

}  // namespace
}  // namespace Tarsel::Proc
