#include <algorithm>
#include <functional>
#include <random>
#include <string>

#include "benchmarks/cache/Parts.h"
#include "benchmarks/timeline/BenchSource.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/IFilterCacheController.h"
#include "contracts/Proc/ImplNames.h"
#include "host/graph/Factories.h"

namespace Tarsel::Bench {

namespace {

using namespace Tarsel::Proc;

constexpr int64 ITEMS = 100000;
/// What a cache of pictures keeps around its reader.
constexpr int64 BEHIND = IFilterCacheController::DEFAULT_CACHE_SPAN_VIDEO;
constexpr int64 AHEAD = IFilterCacheController::DEFAULT_PREFETCH_SPAN_VIDEO;

void SeekTo(IStream& stream, int64 position) {
    stream.RequestSeek(position, nullptr);
    stream.DoSeek();
    stream.FinishSeek();
}

/// Pictures, so many in a window.
VideoSource Pictures(int64 window) {
    return MakePictures(ITEMS, Tarsel::Ratio(window * SECOND, BEHIND + AHEAD));
}

/// A cached stream; the controller lives with it.
iptr<IStreamVideo> Cached(VideoSource const& source) {
    static auto const factory = Host::MakeFilterFactory();
    return factory->Dedicated(FilterSlots::CACHE_CONTROLLER, ImplNames::TARSEL)()->AddStream(source);
}

/// Nanoseconds per item of reading to the end.
double TimeItems(IStreamVideo& stream) {
    double const start = Now();
    int64 items = 0;
    while (stream.Read()) ++items;
    if (items < ITEMS - 1) TARSEL_THROW(Exception, "the stream ended early");
    return (Now() - start) * 1e9 / static_cast<double>(items);
}

void MeasureReads(Rows& rows) {
    constexpr int64 WINDOW = 50;
    double bare = 1e18;
    double alone = 1e18;
    double ahead = 1e18;
    for (int round = 0; round < ROUNDS; ++round) {
        bare = std::min(bare, TimeItems(*Pictures(WINDOW)));
        auto const sought = Cached(Pictures(WINDOW));
        SeekTo(*sought, 0);
        alone = std::min(alone, TimeItems(*sought));
        ahead = std::min(ahead, TimeItems(*Cached(Pictures(WINDOW))));
    }
    rows.push_back({"bare read", bare, "ns", {}});
    rows.push_back({"read through a cache, behind a seek", alone, "ns", {{"bare read", alone / bare, 0}}});
    rows.push_back({"read through a cache, its thread at work", ahead, "ns", {{"bare read", ahead / bare, 0}}});
}

/// Nanoseconds of a call, on the average of some thousands.
double TimeCalls(int calls, std::function<void()> const& call) {
    double const start = Now();
    for (int i = 0; i < calls; ++i) call();
    return (Now() - start) * 1e9 / calls;
}

void MeasureSeeks(Rows& rows) {
    double smallest = 0;
    for (int64 const window : {25, 250, 2500}) {
        auto const source = Pictures(window);
        auto const stream = Cached(source);
        int64 const length = source->GetDuration() / ITEMS;
        std::mt19937 random(1);
        auto const between = [&](int64 low, int64 high) {
            return std::uniform_int_distribution<int64>(low, high)(random);
        };
        // The middle of an item within the window around the third second, without the window's edges.
        auto const inside = [&] {
            SeekTo(*stream, between((3 * SECOND - BEHIND) / length + 2, (3 * SECOND + AHEAD) / length - 2) * length +
                                length / 2);
        };
        auto const anywhere = [&](IStreamVideo& where) {
            SeekTo(where, between(0, ITEMS - 2) * length + length / 2);
            if (!where.Read()) TARSEL_THROW(Exception, "the seek found nothing");
        };
        double walk = 1e18;
        double outside = 1e18;
        double bare = 1e18;
        for (int round = 0; round < ROUNDS; ++round) {
            // From the beginning, which is outside of every window.
            SeekTo(*stream, 0);
            SeekTo(*stream, 3 * SECOND + 1);
            stream->Read();
            walk = std::min(walk, TimeCalls(5000, inside));
            outside = std::min(outside, TimeCalls(static_cast<int>(50000 / window), [&] { anywhere(*stream); }));
            auto const other = Pictures(window);
            bare = std::min(bare, TimeCalls(5000, [&] { anywhere(*other); }));
        }
        if (smallest == 0) smallest = walk;
        std::string const name = "window of " + std::to_string(window) + ", ";
        rows.push_back({name + "seek inside", walk, "ns", {{"window of 25", walk / smallest, 0}}});
        rows.push_back({name + "seek outside and read", outside, "ns", {{"of a bare source", outside / bare, 0}}});
    }
}

}  // namespace

void MeasureCaches(Rows& rows) {
    MeasureReads(rows);
    MeasureSeeks(rows);
}

}  // namespace Tarsel::Bench
