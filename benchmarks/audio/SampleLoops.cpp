#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "Proc/Algorithms/AudioAlg.h"
#include "benchmarks/audio/Parts.h"

namespace Tarsel::Bench {
namespace {

using namespace Tarsel::Proc;
using Bytes = std::vector<u8>;

constexpr std::size_t SOURCES = 8;
constexpr double MIX_GOAL = 0.5;

struct Format {
    char const* name;
    Conf::SampleFormats code;
    bool hasMixGoal;
};
constexpr Format FORMATS[] = {{"s16", Conf::SAMPLE_FORMAT_S16P, true},
                              {"s32", Conf::SAMPLE_FORMAT_S32P, false},
                              {"flt", Conf::SAMPLE_FORMAT_FLTP, true},
                              {"dbl", Conf::SAMPLE_FORMAT_DBLP, false}};

struct Size {
    char const* name;
    std::size_t bytes;
};
constexpr Size SIZES[] = {{"64 KiB", std::size_t{64} << 10}, {"64 MB", 64000000}};

/// Seconds of one call, the best of those made so far.
struct Loop {
    std::string name;
    double goal = 0;
    std::function<void()> call;
    double best = std::numeric_limits<double>::max();
};

/// Noise of three quarters of full scale at most.
template <class Sample>
void Fill(Bytes& bytes, u32 seed, double scale) {
    for (std::size_t i = 0; i + sizeof(Sample) <= bytes.size(); i += sizeof(Sample)) {
        seed = seed * 1664525 + 1013904223;
        auto const sample = static_cast<Sample>((static_cast<double>(seed) / 2147483648.0 - 1.0) * 0.75 * scale);
        std::memcpy(bytes.data() + i, &sample, sizeof(Sample));
    }
}

void FillAs(Conf::SampleFormats code, Bytes& bytes, u32 seed) {
    if (code == Conf::SAMPLE_FORMAT_S16P) Fill<std::int16_t>(bytes, seed, 32768);
    if (code == Conf::SAMPLE_FORMAT_S32P) Fill<i32>(bytes, seed, 2147483648.0);
    if (code == Conf::SAMPLE_FORMAT_FLTP) Fill<float>(bytes, seed, 1);
    if (code == Conf::SAMPLE_FORMAT_DBLP) Fill<double>(bytes, seed, 1);
}

AudioBlockView ViewOf(Conf::SampleFormats code, Bytes& bytes) {
    AudioBlockView view;
    view.info = {code, 48000, Conf::DefaultChannelLayout(1)};
    view.planeBytes = static_cast<uint32>(bytes.size());
    view.samples = static_cast<i32>(view.planeBytes) / view.info.GetSampleSizePerPlane();
    view.data = bytes.data();
    return view;
}

/// All loops in turns, each as often in a row as fills some milliseconds.
void RunAll(std::vector<Loop>& loops, std::size_t bytes) {
    int const calls = static_cast<int>(std::max<std::size_t>(1, (std::size_t{64} << 20) / bytes));
    for (int round = 0; round < ROUNDS; ++round)
        for (Loop& loop : loops) {
            double const start = Now();
            for (int i = 0; i < calls; ++i) loop.call();
            loop.best = std::min(loop.best, (Now() - start) / calls);
        }
}

class Bench {
  public:
    explicit Bench(Size const& size) : size(size), result(size.bytes), sources(SOURCES, Bytes(size.bytes)) {}

    void Run(Format const& format, Rows& rows) {
        for (u32 i = 0; i < SOURCES; ++i) FillAs(format.code, sources[i], i);
        dest = ViewOf(format.code, result);
        source = ViewOf(format.code, sources[0]);
        std::vector<Loop> loops;
        Add(loops, "memcpy", 0, [this] { std::memcpy(result.data(), sources[0].data(), size.bytes); });
        double const goal = format.hasMixGoal ? MIX_GOAL : 0;
        AddMix(loops, "MixAudio of 2", goal, format, {0.7, 0.4});
        AddMix(loops, "MixAudio of 2, gains of 1", goal, format, {1, 1});
        AddMix(loops, "MixAudio of 2, gains above 1", goal, format, {1.3, 1.7});
        AddMix(loops, "MixAudio of 8", 0, format, std::vector<double>(SOURCES, 0.3));
        Add(loops, "VolumizeAudio", 0, [this] { VolumizeAudio(dest, source, 0.7); });
        Add(loops, "VolumizeAudio, volume above 1", 0, [this] { VolumizeAudio(dest, source, 1.3); });
        Add(loops, "ClipAudio", 0, [this] { ClipAudio(dest, source); });
        Add(loops, "EstimateLevel", 0, [this] { level += EstimateLevel(source).second; });
        RunAll(loops, size.bytes);
        for (Loop const& loop : loops) {
            std::string const name = loop.name + ", " + format.name + ", " + size.name;
            Row row{name, static_cast<double>(size.bytes) / loop.best / 1e9, "GB/s", {}};
            if (&loop != loops.data()) row.ratios.push_back({"memcpy", loops[0].best / loop.best, loop.goal});
            rows.push_back(row);
        }
        if (!(level > 0)) std::abort();
    }

  private:
    static void Add(std::vector<Loop>& loops, std::string name, double goal, std::function<void()> call) {
        loops.push_back({std::move(name), goal, std::move(call)});
    }
    void AddMix(std::vector<Loop>& loops, std::string name, double goal, Format const& format,
                std::vector<double> const& gains) {
        std::vector<MixSource> list(gains.size());
        for (std::size_t i = 0; i < list.size(); ++i) {
            static_cast<AudioBlockView&>(list[i]) = ViewOf(format.code, sources[i]);
            list[i].gain = gains[i];
        }
        Add(loops, std::move(name), goal, [this, list]() mutable { MixAudio(dest, list); });
    }

    Size size;
    Bytes result;
    std::vector<Bytes> sources;
    AudioBlockView dest;
    AudioBlockView source;
    double level = 0;
};

}  // namespace

void MeasureSampleLoops(Rows& rows) {
    for (Size const& size : SIZES) {
        Bench bench(size);
        for (Format const& format : FORMATS) bench.Run(format, rows);
    }
}

}  // namespace Tarsel::Bench
