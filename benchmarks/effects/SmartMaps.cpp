#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "benchmarks/effects/Parts.h"
#include "benchmarks/timeline/BenchSource.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/ISmartMap.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsEffectAudioMix.h"
#include "contracts/Proc/SettingsEffectColor.h"
#include "contracts/Proc/SettingsEffectComposite.h"

namespace Tarsel::Bench {
namespace {

using namespace Tarsel::Proc;

/// What is delivered with many sources may cost this much more than with few, in shares of the speed: noise, and
/// memory that the cache doesn't hold.
constexpr double STEADY_GOAL = 0.8;
constexpr int64 LENGTH = SECOND;  // of each source: 100 pictures, or ten blocks of the map

struct VideoKind {
    using Map = ISmartMapVideo;
    using Handle = IMappedStreamVideo;
    static constexpr char NAME[] = "video map";
    static constexpr int64 ITEM = 10000;
    static constexpr int64 LIMIT = 100000;  // items in one measurement
    static iptr<Map> Make() { return Factory()->Dedicated(FilterSlots::SMART_MAP_VIDEO, ImplNames::DEFAULT)(); }
    static VideoSource MakeSource(int64 length) { return MakePictures(length / 10000, Tarsel::Ratio(100, 1)); }
    static void Prepare(Map&) {}
    /// Settings that change nothing: the picture passes.
    static iptr<IEffect> MakeIdleEffect() { return MakePictureEffect(SettingsEffectColor(), ImplNames::TARSEL); }
    /// What makes one of several.
    static iptr<IEffect> MakeMixing() { return nullptr; }
};

struct AudioKind {
    using Map = ISmartMapAudio;
    using Handle = IMappedStreamAudio;
    static constexpr char NAME[] = "audio map";
    static constexpr int64 ITEM = 100000;
    static constexpr int64 LIMIT = 5000;
    static iptr<Map> Make() {
        return Factory()->Dedicated(FilterSlots::SMART_MAP_AUDIO, ImplNames::DEFAULT)(Factory());
    }
    static AudioSource MakeSource(int64 length) { return MakeBlocks(length / 10000); }
    static void Prepare(Map& map) { map.SetSampleInfo({Conf::SAMPLE_FORMAT_S16, 48000, Conf::CHANNEL_LAYOUT_STEREO}); }
    /// A sum of one.
    static iptr<IEffect> MakeIdleEffect() { return MakeMixing(); }
    static iptr<IEffect> MakeMixing() {
        iptr<IEffect> const effect = Effects()->CreateEffect(SettingsEffectAudioMix::CLASS_ID, ImplNames::TARSEL);
        effect->Initialize(SettingsEffectAudioMix());
        return effect;
    }
};

void SeekTo(IStream& stream, int64 position) {
    stream.RequestSeek(position, nullptr);
    stream.DoSeek();
    stream.FinishSeek();
}

/// A timeline of `count` sources end to end, `layers` of them one over the other.
template <class Kind>
class Timeline {
  public:
    Timeline(int count, int layers, bool withEffects) : map(Kind::Make()) {
        map->Lock();
        Kind::Prepare(*map);
        for (int i = 0; i < count; ++i) {
            int64 const begin = i / layers * LENGTH;
            streams.push_back(map->MapStream(Kind::MakeSource(LENGTH)));
            streams.back()->SetBegin(begin);
            streams.back()->SetOrder(i % layers);
            if (withEffects) effects.push_back(map->MapEffect(Kind::MakeIdleEffect(), begin, begin + LENGTH));
        }
        map->Unlock();
        SeekTo(*map, 0);
    }
    ~Timeline() {
        map->Lock();
        effects.clear();
        streams.clear();
        map->Unlock();
    }
    Timeline(Timeline const&) = delete;
    Timeline& operator=(Timeline const&) = delete;

    /// Nanoseconds for an item. From the middle on, so that sleeping sources lie on both sides.
    double TimeItems() {
        int64 const begin = map->GetDuration() / LENGTH / 2 * LENGTH;
        int64 items = 0;
        double time = 0;
        while (items < Kind::LIMIT) {
            SeekTo(*map, begin);
            // What a seek leaves to the first read is no part of an item's cost.
            if (!map->Read()) TARSEL_THROW(ProcException, "The map ends too early");
            double const start = ThreadTime();
            while (items < Kind::LIMIT && map->Read()) ++items;
            time += ThreadTime() - start;
        }
        return time * 1e9 / static_cast<double>(items);
    }
    /// The same for a seek anywhere and the read behind it.
    double TimeSeeks() {
        std::mt19937 random(1);
        auto const places = static_cast<unsigned>(map->GetDuration() / Kind::ITEM);
        int const seeks = std::max(10, 20000 / static_cast<int>(streams.size()));
        double const start = ThreadTime();
        for (int i = 0; i < seeks; ++i) {
            SeekTo(*map, static_cast<int64>(random() % places) * Kind::ITEM);
            if (!map->Read()) TARSEL_THROW(ProcException, "The map ends too early");
        }
        return (ThreadTime() - start) * 1e9 / seeks;
    }
    /// The same for moving a source, where it stands already, the seek that it takes, and the read behind it.
    double TimeEdits() {
        std::mt19937 random(1);
        int const edits = std::max(10, 20000 / static_cast<int>(streams.size()));
        double const start = ThreadTime();
        for (int i = 0; i < edits; ++i) {
            auto const& stream = streams[random() % streams.size()];
            map->Lock();
            int64 const begin = stream->GetBegin();
            stream->SetBegin(begin);
            map->Unlock();
            SeekTo(*map, begin);
            if (!map->Read()) TARSEL_THROW(ProcException, "The map ends too early");
        }
        return (ThreadTime() - start) * 1e9 / edits;
    }

  private:
    iptr<typename Kind::Map> const map;
    std::vector<iptr<typename Kind::Handle>> streams;
    std::vector<iptr<IMappedEffect>> effects;
};

/// Nanoseconds for as much of a source as one item of the map takes, without a map.
template <class Kind>
double TimeBareReads() {
    auto const source = Kind::MakeSource(Kind::LIMIT * Kind::ITEM);
    int64 items = 0;
    double const start = ThreadTime();
    SeekTo(*source, 0);
    while (source->Read()) ++items;
    return (ThreadTime() - start) * 1e9 / static_cast<double>(Kind::LIMIT);
}

double Median(std::vector<double> times) {
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

template <class Kind>
double MedianOf(double (*measure)()) {
    std::vector<double> times;
    for (int round = 0; round < 5; ++round) times.push_back(measure());
    return Median(times);
}

/// One arrangement with more and more sources; all sizes in turns.
template <class Kind>
void MeasureArrangement(Rows& rows, std::vector<int> const& counts, int layers, bool withEffects, double bare) {
    struct Times {
        std::vector<double> item, seek, edit;
    };
    std::map<int, Times> times;
    constexpr int ROUNDS = 5;
    std::vector<std::unique_ptr<Timeline<Kind>>> timelines;
    std::map<int, double> built;
    for (int const count : counts) {
        double const start = ThreadTime();
        timelines.push_back(std::make_unique<Timeline<Kind>>(count, layers, withEffects));
        built[count] = (ThreadTime() - start) * 1e9 / count;
    }
    for (int round = 0; round < ROUNDS; ++round)
        for (std::size_t i = 0; i < counts.size(); ++i) {
            Times& own = times[counts[i]];
            own.item.push_back(timelines[i]->TimeItems());
            own.seek.push_back(timelines[i]->TimeSeeks());
            own.edit.push_back(timelines[i]->TimeEdits());
        }
    Times const& first = times[counts[0]];
    std::string const base = "with " + std::to_string(counts[0]);
    for (std::size_t i = 0; i < counts.size(); ++i) {
        int const count = counts[i];
        Times const& own = times[count];
        std::string const name = std::string(Kind::NAME) + " of " + std::to_string(count) +
                                 (layers > 1 ? ", " + std::to_string(layers) + " layers" : "") +
                                 (withEffects ? ", effects" : "");
        double const item = Median(own.item);
        Row row{name + ": item", item, "ns", {{"bare read", item / bare, 0}}};
        if (i > 0) row.ratios.push_back({"the speed " + base, Median(first.item) / item, STEADY_GOAL});
        rows.push_back(row);
        rows.push_back({name + ": seek, read", Median(own.seek) / 1000, "us", {}});
        rows.push_back({name + ": move, seek, read", Median(own.edit) / 1000, "us", {}});
        double const start = ThreadTime();
        timelines[i].reset();
        double const removed = (ThreadTime() - start) * 1e9 / count;
        rows.push_back({name + ": adding one", built[count] / 1000, "us", {}});
        rows.push_back({name + ": removing one", removed / 1000, "us", {}});
    }
}

template <class Kind>
void MeasureKind(Rows& rows, std::vector<int> const& counts, std::vector<int> const& layered) {
    double const bare = MedianOf<Kind>(TimeBareReads<Kind>);
    rows.push_back({std::string(Kind::NAME) + ": bare read of as much", bare, "ns", {}});
    MeasureArrangement<Kind>(rows, counts, 1, false, bare);
    MeasureArrangement<Kind>(rows, counts, 1, true, bare);
    MeasureArrangement<Kind>(rows, layered, 4, false, bare);
    MeasureArrangement<Kind>(rows, layered, 4, true, bare);
}

}  // namespace

void MeasureSmartMaps(Rows& rows) {
    MeasureKind<VideoKind>(rows, {1, 10, 100, 1000, 10000}, {4, 40, 400, 4000});
    MeasureKind<AudioKind>(rows, {1, 10, 100, 1000, 10000}, {4, 40, 400, 4000});
}

}  // namespace Tarsel::Bench
