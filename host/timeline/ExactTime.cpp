#include "host/timeline/ExactTime.h"

#include <cmath>

namespace Tarsel::Host {

namespace {

__extension__ using Wide = __int128;

constexpr Wide MAX_DENOMINATOR = Wide{1} << 62;
constexpr Wide PICOSECONDS = 1000000000000;
constexpr double MAX_SECONDS = 4294967296.0;
constexpr double MAX_COUNT = 9007199254740992.0;
constexpr int64 MAX_RATIO_DENOMINATOR = 1000000;
/// Above it a numerator over the largest denominator would not fit.
constexpr double MAX_BROKEN = 1099511627776.0;

Wide Divisor(Wide a, Wide b) {
    if (a < 0) a = -a;
    while (b != 0) {
        Wide const rest = a % b;
        a = b;
        b = rest;
    }
    return a;
}

}  // namespace

Ratio NearestRatio(double number) {
    double const size = std::abs(number);
    if (size >= MAX_BROKEN) return {static_cast<int64>(std::round(number)), 1};
    // The convergents of the continued fraction.
    int64 lastNumerator = 1;
    int64 lastDenominator = 0;
    auto numerator = static_cast<int64>(size);
    int64 denominator = 1;
    double rest = size - std::floor(size);
    constexpr double PRECISION = 1e-15;
    while (std::abs(static_cast<double>(numerator) / static_cast<double>(denominator) - size) > size * PRECISION) {
        double const turned = 1 / rest;
        if (!(turned < static_cast<double>(MAX_RATIO_DENOMINATOR))) break;
        auto const whole = static_cast<int64>(turned);
        int64 const nextDenominator = whole * denominator + lastDenominator;
        if (nextDenominator > MAX_RATIO_DENOMINATOR) break;
        int64 const nextNumerator = whole * numerator + lastNumerator;
        lastNumerator = numerator;
        lastDenominator = denominator;
        numerator = nextNumerator;
        denominator = nextDenominator;
        rest = turned - std::floor(turned);
    }
    return {number < 0 ? -numerator : numerator, denominator};
}

Ratio NearestRate(double rate) {
    // 23.98 is off by 0.00017 of itself, 24 by 0.001.
    constexpr double TOLERANCE = 0.0002;
    for (int const nominal : {24, 30, 48, 60, 120}) {
        double const exact = nominal * 1000 / 1001.0;
        if (std::abs(rate - exact) < exact * TOLERANCE) return {nominal * 1000, 1001};
    }
    return NearestRatio(rate);
}

ExactTime ExactTime::Reduced(Wide numerator, Wide denominator) {
    ExactTime time;
    Wide const divisor = Divisor(numerator, denominator);
    numerator /= divisor;
    denominator /= divisor;
    if (denominator > MAX_DENOMINATOR) {
        Wide const whole = numerator / denominator;
        Wide const rest = numerator % denominator;
        // Of a denominator this large the lowest bits make no difference.
        numerator = whole * PICOSECONDS + rest / (denominator / PICOSECONDS);
        denominator = PICOSECONDS;
    }
    time.numerator = numerator;
    time.denominator = denominator;
    return time;
}

ExactTime ExactTime::OfMicroseconds(int64 time) {
    return Reduced(time, SECOND);
}

std::optional<ExactTime> ExactTime::OfUnits(double count, double rate) {
    constexpr double MAX_RATE = 1e9;
    // Also false for what is no number.
    if (!(rate > 0 && rate <= MAX_RATE && std::abs(count) < MAX_COUNT && std::abs(count / rate) < MAX_SECONDS))
        return {};
    Ratio const units = NearestRatio(count);
    Ratio const exact = NearestRate(rate);
    if (exact.numerator() == 0) return {};
    return Reduced(Wide{units.numerator()} * exact.denominator(), Wide{units.denominator()} * exact.numerator());
}

ExactTime ExactTime::OfFrames(int64 count, Ratio const& rate) {
    return Reduced(Wide{count} * rate.denominator(), rate.numerator());
}

int64 ExactTime::Round() const {
    Wide const twice = 2 * (numerator < 0 ? -numerator : numerator) * SECOND;
    auto const rounded = static_cast<int64>((twice + denominator) / (2 * denominator));
    return numerator < 0 ? -rounded : rounded;
}

ExactTime ExactTime::operator+(ExactTime const& other) const {
    Wide const divisor = Divisor(denominator, other.denominator);
    Wide const step = denominator / divisor;
    if (step > MAX_DENOMINATOR / other.denominator) {
        auto const inPicoseconds = [](ExactTime const& time) {
            return time.numerator / time.denominator * PICOSECONDS +
                   time.numerator % time.denominator * PICOSECONDS / time.denominator;
        };
        return Reduced(inPicoseconds(*this) + inPicoseconds(other), PICOSECONDS);
    }
    return Reduced(numerator * (other.denominator / divisor) + other.numerator * step, step * other.denominator);
}

ExactTime ExactTime::operator-(ExactTime const& other) const {
    ExactTime negative = other;
    negative.numerator = -negative.numerator;
    return *this + negative;
}

ExactTime ExactTime::operator*(Ratio const& factor) const {
    // Shortened crosswise first, so that the products stay small.
    Wide const first = Divisor(numerator, factor.denominator());
    Wide const second = Divisor(factor.numerator(), denominator);
    return Reduced(numerator / first * (factor.numerator() / second),
                   denominator / second * (factor.denominator() / first));
}

}  // namespace Tarsel::Host
