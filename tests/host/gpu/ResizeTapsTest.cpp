#include "host/gpu/ResizeTaps.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

namespace Tarsel::Host {
namespace {

using Proc::SettingsResizer;

constexpr SettingsResizer::Algorithms ALGORITHMS[] = {
    SettingsResizer::ALGORITHM_BILINEAR, SettingsResizer::ALGORITHM_BICUBIC, SettingsResizer::ALGORITHM_LANCZOS};

TEST(ResizeTapsOf, ALineThatStaysAreTheSamplesThemselves) {
    ResizeTaps const taps(7, 7, SettingsResizer::ALGORITHM_LANCZOS);
    EXPECT_EQ(taps.GetCount(), 1);
    for (int i = 0; i < 7; ++i) {
        EXPECT_EQ(taps.GetFirst(i), i);
        EXPECT_EQ(taps.GetWeights(i)[0], 1.0);
    }
}

TEST(ResizeTapsOf, ADoubledLineStandAQuarterToEachSide) {
    ResizeTaps const taps(10, 20, SettingsResizer::ALGORITHM_BILINEAR);
    ASSERT_EQ(taps.GetCount(), 2);
    // Sample 9 stands at 4.25 of the line, sample 10 at 4.75.
    EXPECT_EQ(taps.GetFirst(9), 4);
    EXPECT_DOUBLE_EQ(taps.GetWeights(9)[0], 0.75);
    EXPECT_EQ(taps.GetFirst(10), 4);
    EXPECT_DOUBLE_EQ(taps.GetWeights(10)[0], 0.25);
}

TEST(ResizeTapsOf, AHalvedLineReachTwiceAsFar) {
    ResizeTaps const taps(20, 10, SettingsResizer::ALGORITHM_BILINEAR);
    ASSERT_EQ(taps.GetCount(), 4);
    EXPECT_EQ(taps.GetFirst(5), 9);
    for (int tap = 0; tap < 4; ++tap) EXPECT_DOUBLE_EQ(taps.GetWeights(5)[tap], tap == 1 || tap == 2 ? 0.375 : 0.125);
}

TEST(ResizeTapsOf, AnySampleHaveTheSumOne) {
    for (auto const algorithm : ALGORITHMS)
        for (int const from : {1, 2, 3, 4, 5, 17, 100, 1000})
            for (int const to : {1, 2, 3, 50, 99, 101, 777}) {
                ResizeTaps const taps(from, to, algorithm);
                ASSERT_EQ(taps.GetSize(), to);
                for (int i = 0; i < to; ++i) {
                    double const* const weights = taps.GetWeights(i);
                    EXPECT_NEAR(std::accumulate(weights, weights + taps.GetCount(), 0.0), 1.0, 1e-9)
                        << from << " to " << to;
                }
            }
}

TEST(ResizeTapsOf, ALongLineAreNoMoreThanTheLine) {
    ResizeTaps const taps(16384, 1, SettingsResizer::ALGORITHM_LANCZOS);
    EXPECT_LE(taps.GetCount(), 16384);
    EXPECT_EQ(taps.GetTable().size(), 4 * static_cast<std::size_t>(taps.GetTableRows()));
    EXPECT_LE(4 * (taps.GetTableRows() - 2), taps.GetCount());
}

TEST(ResizeTapsOf, ATableAreTheFirstsAndThenTheWeightsInFours) {
    ResizeTaps const taps(30, 10, SettingsResizer::ALGORITHM_BILINEAR);
    std::vector<float> const table = taps.GetTable();
    ASSERT_EQ(taps.GetCount(), 5);
    ASSERT_EQ(taps.GetTableRows(), 3);
    ASSERT_EQ(table.size(), 4U * 10 * 3);
    auto const cell = [&](std::size_t row, std::size_t column, std::size_t part) {
        return table[4 * (10 * row + column) + part];
    };
    for (std::size_t i = 0; i < 10; ++i) {
        double const* const weights = taps.GetWeights(static_cast<int>(i));
        EXPECT_EQ(cell(0, i, 0), static_cast<float>(taps.GetFirst(static_cast<int>(i))));
        for (std::size_t tap = 0; tap < 8; ++tap)
            EXPECT_EQ(cell(1 + tap / 4, i, tap % 4), tap < 5 ? static_cast<float>(weights[tap]) : 0.0F) << tap;
    }
}

}  // namespace
}  // namespace Tarsel::Host
