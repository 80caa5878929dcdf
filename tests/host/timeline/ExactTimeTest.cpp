#include "host/timeline/ExactTime.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>

namespace Tarsel::Host {
namespace {

int64 Rounded(double count, double rate) {
    auto const time = ExactTime::OfUnits(count, rate);
    return time ? time->Round() : NO_VALUE;
}

TEST(ExactTime, RoundsToTheNearestMicrosecondAndHalvesAwayFromZero) {
    EXPECT_EQ(Rounded(1, 24), 41667);
    EXPECT_EQ(Rounded(-1, 24), -41667);
    EXPECT_EQ(Rounded(3, 48000), 63);
    EXPECT_EQ(Rounded(-3, 48000), -63);
    EXPECT_EQ(Rounded(0, 25), 0);
    EXPECT_EQ(Rounded(86400, 30), 2880000000);
}

TEST(ExactTime, SumsOfManyRatesDoNotDrift) {
    ExactTime sum;
    for (int i = 0; i < 1000; ++i) {
        sum = sum + *ExactTime::OfUnits(1, 30000 / 1001.0);
        sum = sum + *ExactTime::OfUnits(1, 44100);
        sum = sum + *ExactTime::OfUnits(1, 23.976);
        sum = sum + *ExactTime::OfUnits(1, 90000);
    }
    // 1001/30 + 10/441 + 1001/24 + 1/90 s.
    EXPECT_EQ(sum.Round(), 33366667 + 22676 + 41708333 + 11111);
    for (int i = 0; i < 1000; ++i) sum = sum - *ExactTime::OfUnits(1, 29.97) - *ExactTime::OfUnits(1, 44100);
    EXPECT_EQ(sum, *ExactTime::OfUnits(1000, 24000 / 1001.0) + *ExactTime::OfUnits(1000, 90000));
}

TEST(ExactTime, RatesThatAreShortenedAreTheOnesThatAreMeant) {
    for (double const rate : {23.976, 23.98, 23.976023976, 24000 / 1001.0})
        EXPECT_EQ(NearestRate(rate), Ratio(24000, 1001)) << rate;
    for (double const rate : {29.97, 29.97002997, 30000 / 1001.0})
        EXPECT_EQ(NearestRate(rate), Ratio(30000, 1001)) << rate;
    EXPECT_EQ(NearestRate(59.94), Ratio(60000, 1001));
    EXPECT_EQ(NearestRate(119.88), Ratio(120000, 1001));
    EXPECT_EQ(NearestRate(47.952), Ratio(48000, 1001));
    EXPECT_EQ(NearestRate(24), Ratio(24, 1));
    EXPECT_EQ(NearestRate(30), Ratio(30, 1));
    EXPECT_EQ(NearestRate(12.5), Ratio(25, 2));
    EXPECT_EQ(NearestRate(0.1), Ratio(1, 10));
}

TEST(ExactTime, NumbersAreTheSimplestFractions) {
    EXPECT_EQ(NearestRatio(0), Ratio(0, 1));
    EXPECT_EQ(NearestRatio(-1.5), Ratio(-3, 2));
    EXPECT_EQ(NearestRatio(1 / 3.0), Ratio(1, 3));
    EXPECT_EQ(NearestRatio(0.01), Ratio(1, 100));
    EXPECT_EQ(NearestRatio(9007199254740991.0), Ratio(9007199254740991, 1));
    Ratio const pi = NearestRatio(3.14159265358979);
    EXPECT_LE(pi.denominator(), 1000000);
    EXPECT_NEAR(static_cast<double>(pi.numerator()) / static_cast<double>(pi.denominator()), 3.14159265358979, 1e-11);
}

TEST(ExactTime, WhatIsNoTimeHasNoValue) {
    constexpr double INF = std::numeric_limits<double>::infinity();
    EXPECT_FALSE(ExactTime::OfUnits(1, 0));
    EXPECT_FALSE(ExactTime::OfUnits(1, -24));
    EXPECT_FALSE(ExactTime::OfUnits(1, std::nan("")));
    EXPECT_FALSE(ExactTime::OfUnits(std::nan(""), 24));
    EXPECT_FALSE(ExactTime::OfUnits(INF, 24));
    EXPECT_FALSE(ExactTime::OfUnits(1, INF));
    EXPECT_FALSE(ExactTime::OfUnits(1e300, 24));
    EXPECT_FALSE(ExactTime::OfUnits(1, 1e-300));
}

TEST(ExactTime, RatesWithoutACommonMeasureAreCountedInPicoseconds) {
    ExactTime sum;
    double expected = 0;
    // Large primes: no step of 2^-62 s fits all of them.
    for (double const rate : {999983.0, 999979.0, 999961.0, 999959.0, 999953.0}) {
        sum = sum + *ExactTime::OfUnits(1e9, rate);
        expected += 1e15 / rate;
    }
    EXPECT_EQ(sum.Round(), std::llround(expected));
}

TEST(ExactTime, ScalesByAFraction) {
    EXPECT_EQ((*ExactTime::OfUnits(1, 24) * Ratio(3, 2)).Round(), 62500);
    EXPECT_EQ((*ExactTime::OfUnits(1, 24) * Ratio(0, 1)).Sign(), 0);
    EXPECT_EQ((*ExactTime::OfUnits(-1, 24) * Ratio(1, 3)).Round(), -13889);
}

}  // namespace
}  // namespace Tarsel::Host
