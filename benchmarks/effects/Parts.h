// The parts of the program. What is set side by side is measured in turns, and the medians of the rounds count: compare
// figures within one run only.
#pragma once

#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "benchmarks/bitstream/BenchReport.h"
#include "contracts/Proc/IData.h"
#include "contracts/Proc/IEffect.h"
#include "host/graph/Factories.h"

namespace Tarsel::Bench {

using Rows = std::vector<Row>;

/// Seconds by the wall.
inline double Now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}
/// Seconds that this thread has run: others on the machine count less than by the clock. For work on one thread.
inline double ThreadTime() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// Calls that are measured in turns.
class Turns {
  public:
    explicit Turns(double (*clock)() = Now) : clock(clock) {}

    /// `items`: what one call gets through. Returns the number by which `Get` knows it.
    std::size_t Add(std::function<void()> call, double items = 1) {
        entries.push_back({std::move(call), items, {}});
        return entries.size() - 1;
    }
    /// A round of its own comes first, which doesn't count.
    void Run(int rounds) {
        for (int round = 0; round <= rounds; ++round)
            for (Entry& entry : entries) {
                double const start = clock();
                entry.call();
                if (round > 0) entry.times.push_back((clock() - start) / entry.items);
            }
        for (Entry& entry : entries) std::sort(entry.times.begin(), entry.times.end());
    }
    /// Seconds for one item, the median of the rounds.
    double Get(std::size_t number) const {
        auto const& times = entries.at(number).times;
        return times.at(times.size() / 2);
    }

  private:
    struct Entry {
        std::function<void()> call;
        double items;
        std::vector<double> times;
    };

    double (*clock)();
    std::vector<Entry> entries;
};

inline iptr<Host::FilterFactory const> const& Factory() {
    static auto const factory = Host::MakeFilterFactory();
    return factory;
}
inline iptr<Host::EffectFactory const> const& Effects() {
    static auto const factory = Host::MakeEffectFactory();
    return factory;
}

/// An effect with its settings, as chains hold them.
template <class Settings>
iptr<Proc::IOneInputEffectVideo> MakePictureEffect(Settings const& settings, std::string const& implName) {
    iptr<Proc::IEffect> const effect = Effects()->CreateEffect(Settings::CLASS_ID, implName);
    effect->Initialize(settings);
    return iptr<Proc::IOneInputEffectVideo>(dynamic_cast<Proc::IOneInputEffectVideo*>(effect.get()));
}

/// A picture of gentle slopes with noise on them, opaque where the format has alpha.
iptr<Proc::IDataVideo> MakePicture(PixFmt format, int width, int height);

/// What a slice of a timeline costs with few and with many sources and effects on it, beside a bare read.
void MeasureSmartMaps(Rows& rows);
/// Border blur beside the plain formula, which it has to equal, and beside memcpy.
void MeasureBorderBlur(Rows& rows);
/// Transfers and effects in GPU memory beside those in processor memory.
void MeasureGpuFrames(Rows& rows);

/// Reads `count` pictures through an effect, or through a chain of five, and measures nothing: a peer that is a program
/// is set beside a program. The stamp is a picture file. False for what isn't known.
bool RunPictures(std::string const& what, int64 count, std::string const& stamp);

}  // namespace Tarsel::Bench
