// Graphs of all kinds of chains below and above caches: each gives where it stands what the same graph without its
// caches gives, or a failure that is told.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "host/graph/GraphErrors.h"
#include "host/graph/GraphJob.h"
#include "tests/support/GraphClips.h"
#include "tests/support/Sanitizer.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Host {
namespace {

namespace Support = Tarsel::Test;

using Tarsel::Test::GraphMaker;
using Tarsel::Test::ScratchFolder;

constexpr char CACHES[] = "FilterCacheController";
constexpr char SEEKER[] = "FilterSeekController";
constexpr int64 LENGTH = 3 * SECOND;
constexpr int64 PICTURE = 40000;

std::string const& Clip() {
    static ScratchFolder const folder;
    static std::string const path = [] {
        WriteSampleClip(folder / "clip.mp4", Support::SmallClip(3), true);
        return folder / "clip.mp4";
    }();
    return path;
}

struct Twins {
    GraphMaker cached;
    GraphMaker plain;
    /// What they are, for people.
    std::string text;
};

/// Makes a graph and its twin without caches, the streams of both in one order.
class RandomGraph {
  public:
    explicit RandomGraph(unsigned seed) : random(seed) {}

    Twins Make() {
        std::vector<Chain> chains;
        for (int i = 0, count = Draw(1, 4); i < count; ++i) chains.push_back(MakeChain());
        bool const seeker = Draw(0, 2) == 0;
        std::vector<std::size_t> starts{0};
        for (std::size_t i = 1; i < chains.size(); ++i)
            if (Draw(0, 1) == 0) starts.push_back(i);
        starts.push_back(chains.size());
        for (std::size_t i = 0; i + 1 < starts.size(); ++i) Cache(chains, starts[i], starts[i + 1]);
        if (seeker) Hold(chains);
        std::vector<NodeId> cachedOutputs;
        std::vector<NodeId> plainOutputs;
        for (Chain const& chain : chains) {
            cachedOutputs.push_back(chain.cached);
            plainOutputs.push_back(chain.plain);
        }
        twins.cached.Into({}, cachedOutputs);
        twins.plain.Into({}, plainOutputs);
        return std::move(twins);
    }

    /// Not the ends: the last item stays in a cache, and a filter above may show it first.
    std::vector<int64> Places() {
        std::vector<int64> places;
        for (int i = 0; i < 8; ++i)
            places.push_back(Draw(0, 1) == 0 ? Draw(2, 72) * PICTURE : Draw(2 * PICTURE, LENGTH - 2 * PICTURE));
        return places;
    }

  private:
    struct Chain {
        NodeId cached = 0;
        NodeId plain = 0;
        bool video = false;
    };

    int Draw(int64 low, int64 high) { return static_cast<int>(low + int64(random() % std::uint64_t(high - low + 1))); }

    void Above(Chain& chain, std::string const& filter,
               std::vector<std::pair<std::string, std::string>> const& values) {
        twins.text += " " + filter;
        NodeId const id = ++last;
        twins.cached.Filter(id, filter, {chain.cached}, values);
        twins.plain.Filter(id, filter, {chain.plain}, values);
        chain.cached = chain.plain = id;
    }

    /// Filters whose result is as long as the clip. Trimmed sound isn't free of gaps behind every seek, and a gap ends
    /// a cached stream.
    void AddFilter(Chain& chain) {
        std::string const length = std::to_string(LENGTH);
        switch (chain.video ? Draw(0, 5) : Draw(0, 1)) {
            case 0:
                return Above(chain, "SettingsFilterReverse", {});
            case 1:
                return Above(chain, "SettingsStreamMetadataUpdater", {});
            case 2:
                return Above(chain, "SettingsFilterDurationTrimmer", {{"Duration", length}});
            case 3:
                Above(chain, "SettingsFilterDurationTrimmer", {{"Duration", "1300000"}});
                return Above(chain, "SettingsFilterLoop", {{"Duration", length}});
            case 4:
                return Above(chain, "SettingsFilterFrameRate", {});
            default:
                return Above(chain, "FilterCacheData", {});
        }
    }

    Chain MakeChain() {
        Chain chain;
        chain.video = Draw(0, 2) > 0;
        chain.cached = chain.plain = ++last;
        for (GraphMaker* const graph : {&twins.cached, &twins.plain})
            graph->Source(chain.plain, Clip(), chain.video ? StreamKind::Video : StreamKind::Audio);
        twins.text += chain.video ? "\nvideo" : "\naudio";
        for (int i = 0, count = Draw(0, 2); i < count; ++i) AddFilter(chain);
        return chain;
    }

    void Cache(std::vector<Chain>& chains, std::size_t begin, std::size_t end) {
        if (Draw(0, 4) == 0) return;
        NodeId const id = ++last;
        std::vector<GraphController::Stream> streams;
        for (std::size_t i = begin; i < end; ++i) {
            streams.push_back({++last, chains[i].cached});
            chains[i].cached = last;
        }
        twins.text += "\ncached: " + std::to_string(begin) + " to " + std::to_string(end);
        twins.cached.Controller(id, CACHES, streams,
                                GraphMaker::Settings(CACHES, {{"CacheIncreaseSpan", std::to_string(Draw(0, SECOND))}}));
        if (end - begin == 1 && Draw(0, 1) == 0) AddFilter(chains[begin]);
    }

    void Hold(std::vector<Chain>& chains) {
        twins.text += "\nheld";
        NodeId const id = ++last;
        std::vector<GraphController::Stream> cached;
        std::vector<GraphController::Stream> plain;
        for (Chain& chain : chains) {
            cached.push_back({++last, chain.cached});
            plain.push_back({last, chain.plain});
            chain.cached = chain.plain = last;
        }
        twins.cached.Controller(id, SEEKER, cached, Core::Property(SEEKER));
        twins.plain.Controller(id, SEEKER, plain, Core::Property(SEEKER));
    }

    std::mt19937 random;
    Twins twins;
    NodeId last = 0;
};

/// What stands there is the same item: cut at the position by some filters, whole in a cache.
void ExpectSameItem(int64 plain, int64 cached, std::string const& where) {
    ASSERT_EQ(HasValue(plain), HasValue(cached)) << where;
    if (!HasValue(plain)) return;
    EXPECT_LE(cached, plain) << where;
    EXPECT_GT(cached + PICTURE, plain) << where;
}

TEST(RandomCachedGraphs, StandWhereTheyStandWithoutCaches) {
    constexpr unsigned GRAPHS = 40 / Support::ThinnedBy(2);
    for (unsigned seed = 1; seed <= GRAPHS; ++seed) {
        RandomGraph random(seed);
        Twins const twins = random.Make();
        SCOPED_TRACE("seed " + std::to_string(seed) + twins.text);
        GraphRunOptions options;
        options.seeks = random.Places();
        options.building.stallLimit = 20000;
        GraphReport plain;
        GraphReport cached;
        ASSERT_NO_THROW(plain = RunGraph(twins.plain.document, options, nullptr));
        ASSERT_NO_THROW(cached = RunGraph(twins.cached.document, options, nullptr));
        ASSERT_EQ(plain.seeks.size(), cached.seeks.size());
        for (std::size_t i = 0; i < plain.seeks.size(); ++i)
            for (std::size_t k = 0; k < plain.streams.size(); ++k)
                ExpectSameItem(plain.seeks[i].realUs[k], cached.seeks[i].realUs[k],
                               "stream " + std::to_string(k) + " at " + std::to_string(plain.seeks[i].requestedUs));
    }
}

}  // namespace
}  // namespace Tarsel::Host
