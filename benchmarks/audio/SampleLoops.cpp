#include <time.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "Proc/Algorithms/AudioAlg.h"
#include "benchmarks/audio/Parts.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataAudioFF.h"

namespace Tarsel::Bench {
namespace {

using namespace Tarsel::Proc;

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
void Fill(AudioBlockView const& view, u32 seed, double scale) {
    for (std::size_t i = 0; i + sizeof(Sample) <= view.planeBytes; i += sizeof(Sample)) {
        seed = seed * 1664525 + 1013904223;
        auto const sample = static_cast<Sample>((static_cast<double>(seed) / 2147483648.0 - 1.0) * 0.75 * scale);
        std::memcpy(view.data + i, &sample, sizeof(Sample));
    }
}

iptr<IDataAudio> MakeBlock(Conf::SampleFormats code, std::size_t bytes, u32 seed) {
    Conf::SampleInfo const info(code, 48000, Conf::DefaultChannelLayout(1));
    auto const block = DataAudioFF::CreateBySampleCount(info, static_cast<int>(bytes) / info.GetSampleSizePerPlane());
    AudioBlockView const view(block);
    if (code == Conf::SAMPLE_FORMAT_S16P) Fill<std::int16_t>(view, seed, 32768);
    if (code == Conf::SAMPLE_FORMAT_S32P) Fill<i32>(view, seed, 2147483648.0);
    if (code == Conf::SAMPLE_FORMAT_FLTP) Fill<float>(view, seed, 1);
    if (code == Conf::SAMPLE_FORMAT_DBLP) Fill<double>(view, seed, 1);
    return block;
}

/// Seconds that this thread has run: others on the machine count less than by the clock.
double ThreadTime() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// All loops in turns, each as often in a row as makes a millisecond or so.
void RunAll(std::vector<Loop>& loops, std::size_t bytes) {
    int const calls = static_cast<int>(std::max<std::size_t>(1, (std::size_t{16} << 20) / bytes));
    int const rounds = calls > 1 ? 5 * ROUNDS : ROUNDS;
    for (int round = 0; round < rounds; ++round)
        for (Loop& loop : loops) {
            double const start = ThreadTime();
            for (int i = 0; i < calls; ++i) loop.call();
            loop.best = std::min(loop.best, (ThreadTime() - start) / calls);
        }
}

/// The loops of one format, on blocks as filters have them.
class Bench {
  public:
    Bench(Format const& format, Size const& size) : format(format), size(size) {
        for (u32 i = 0; i < SOURCES; ++i) sources.push_back(MakeBlock(format.code, size.bytes, i));
        result = MakeBlock(format.code, size.bytes, SOURCES);
        dest = AudioBlockView(result);
        source = AudioBlockView(sources[0]);
    }

    void Run(Rows& rows) {
        double const goal = format.hasMixGoal ? MIX_GOAL : 0;
        Add("memcpy", 0, [this] { std::memcpy(dest.data, source.data, size.bytes); });
        AddMix("MixAudio of 2", goal, {0.7, 0.4});
        AddMix("MixAudio of 2, gains of 1", goal, {1, 1});
        AddMix("MixAudio of 2, gains above 1", goal, {1.3, 1.7});
        AddMix("MixAudio of 8", 0, std::vector<double>(SOURCES, 0.3));
        Add("VolumizeAudio", 0, [this] { VolumizeAudio(dest, source, 0.7); });
        Add("VolumizeAudio, volume above 1", 0, [this] { VolumizeAudio(dest, source, 1.3); });
        Add("ClipAudio", 0, [this] { ClipAudio(dest, source); });
        Add("EstimateLevel", 0, [this] { level += EstimateLevel(source).second; });
        RunAll(loops, size.bytes);
        if (!(level > 0)) TARSEL_THROW(ProcException, "The noise has no level");
        for (Loop const& loop : loops) {
            std::string const name = loop.name + ", " + format.name + ", " + size.name;
            Row row{name, static_cast<double>(size.bytes) / loop.best / 1e9, "GB/s", {}};
            if (&loop != loops.data()) row.ratios.push_back({"memcpy", loops[0].best / loop.best, loop.goal});
            rows.push_back(row);
        }
    }

  private:
    void Add(std::string name, double goal, std::function<void()> call) {
        loops.push_back({std::move(name), goal, std::move(call)});
    }
    void AddMix(std::string name, double goal, std::vector<double> const& gains) {
        std::vector<MixSource> list;
        for (std::size_t i = 0; i < gains.size(); ++i) list.emplace_back(sources[i], gains[i]);
        Add(std::move(name), goal, [this, list]() mutable { MixAudio(dest, list); });
    }

    Format format;
    Size size;
    std::vector<iptr<IDataAudio>> sources;
    iptr<IDataAudio> result;
    AudioBlockView dest;
    AudioBlockView source;
    std::vector<Loop> loops;
    double level = 0;
};

}  // namespace

void MeasureSampleLoops(Rows& rows) {
    for (Size const& size : SIZES)
        for (Format const& format : FORMATS) Bench(format, size).Run(rows);
}

}  // namespace Tarsel::Bench
