#include "host/gpu/ResizeTaps.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "contracts/Core/Types.h"

namespace Tarsel::Host {

using Proc::SettingsResizer;

namespace {

constexpr int64 ONE = 65536;  // a sample's step
/// Outer taps that together have less of the largest weight are left out.
constexpr double NEXT_TO_NOTHING = 0.002;

double Sinc(double x) {
    double const angle = x * std::numbers::pi;
    return angle == 0.0 ? 1.0 : std::sin(angle) / angle;
}

/// The weight at a distance, in samples of the shorter line. 1 at 0.
double Weigh(SettingsResizer::Algorithms algorithm, double distance) {
    double const x = distance;
    switch (algorithm) {
        case SettingsResizer::ALGORITHM_BILINEAR:
            return std::max(0.0, 1.0 - x);
        case SettingsResizer::ALGORITHM_BICUBIC:
            if (x < 1) return 1.4 * x * x * x - 2.4 * x * x + 1;
            if (x < 2) return -0.6 * x * x * x + 3 * x * x - 4.8 * x + 2.4;
            return 0;
        case SettingsResizer::ALGORITHM_LANCZOS:
            return x > 3 ? 0 : Sinc(x) * Sinc(x / 3);
    }
    return 0;
}

/// How far the kernel reaches from end to end.
int WidthOf(SettingsResizer::Algorithms algorithm) {
    if (algorithm == SettingsResizer::ALGORITHM_BILINEAR) return 2;
    return algorithm == SettingsResizer::ALGORITHM_LANCZOS ? 6 : 4;
}

}  // namespace

ResizeTaps::ResizeTaps(int from, int to, SettingsResizer::Algorithms algorithm) : size(to), count(1) {
    int64 const step = (from * ONE + to / 2) / to;
    firsts.resize(static_cast<std::size_t>(to));
    if (std::abs(step - ONE) < 10) {
        for (int i = 0; i < to; ++i) firsts[static_cast<std::size_t>(i)] = i;
        weights.assign(static_cast<std::size_t>(to), 1.0);
        return;
    }
    int64 const width = WidthOf(algorithm);
    int64 const wanted = step <= ONE ? 1 + width : 1 + (width * from + to - 1) / to;
    // Very short lines have fewer.
    count = static_cast<int>(std::max<int64>(1, std::min<int64>(wanted, from - 2)));
    weights.resize(static_cast<std::size_t>(to) * static_cast<std::size_t>(count));
    double const narrowing = step > ONE ? static_cast<double>(to) / from : 1.0;
    for (int i = 0; i < to; ++i) {
        int64 const centre = step - ONE + 2 * i * step;  // in half steps
        int64 const first = (centre - (count - 2) * ONE) / (2 * ONE);
        firsts[static_cast<std::size_t>(i)] = static_cast<int>(first);
        for (int tap = 0; tap < count; ++tap) {
            auto const distance = static_cast<double>(std::abs((first + tap) * 2 * ONE - centre)) / (2 * ONE);
            weights[static_cast<std::size_t>(i) * static_cast<std::size_t>(count) + static_cast<std::size_t>(tap)] =
                Weigh(algorithm, distance * narrowing);
        }
    }
    Trim();
    Normalise();
}

void ResizeTaps::Trim() {
    int longest = 0;
    for (int i = size - 1; i >= 0; --i) {
        auto const sample = static_cast<std::size_t>(i);
        double* const own = weights.data() + static_cast<std::ptrdiff_t>(i) * count;
        double sum = 0;
        for (int tap = 0; tap < count; ++tap) {
            sum += std::abs(own[0]);
            bool const meetsNext = i < size - 1 && firsts[sample] >= firsts[sample + 1];
            if (sum > NEXT_TO_NOTHING || meetsNext) break;
            std::rotate(own, own + 1, own + count);
            own[count - 1] = 0;
            ++firsts[sample];
        }
        sum = 0;
        int used = count;
        while (used > 1 && (sum += std::abs(own[used - 1])) <= NEXT_TO_NOTHING) --used;
        longest = std::max(longest, used);
    }
    for (std::size_t i = 0; i < static_cast<std::size_t>(size); ++i)
        std::copy_n(weights.begin() + static_cast<std::ptrdiff_t>(i) * count, longest,
                    weights.begin() + static_cast<std::ptrdiff_t>(i) * longest);
    count = longest;
    weights.resize(static_cast<std::size_t>(size) * static_cast<std::size_t>(count));
}

void ResizeTaps::Normalise() {
    for (int i = 0; i < size; ++i) {
        double* const own = weights.data() + static_cast<std::ptrdiff_t>(i) * count;
        double sum = 0;
        for (int tap = 0; tap < count; ++tap) sum += own[tap];
        for (int tap = 0; tap < count; ++tap) own[tap] /= sum;
    }
}

std::vector<float> ResizeTaps::GetTable() const {
    auto const width = static_cast<std::size_t>(size);
    std::vector<float> table(4 * width * static_cast<std::size_t>(GetTableRows()));
    for (std::size_t i = 0; i < width; ++i) {
        table[4 * i] = static_cast<float>(firsts[i]);
        for (std::size_t tap = 0; tap < static_cast<std::size_t>(count); ++tap)
            table[4 * (width * (1 + tap / 4) + i) + tap % 4] =
                static_cast<float>(weights[i * static_cast<std::size_t>(count) + tap]);
    }
    return table;
}

}  // namespace Tarsel::Host
