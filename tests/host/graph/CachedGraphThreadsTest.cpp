// Graphs whose sources are read by the threads of caches beside the runner's own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>

#include "host/graph/CachedStream.h"
#include "host/graph/Factories.h"
#include "host/graph/GraphJob.h"
#include "host/graph/NodeMeter.h"
#include "tests/support/Builders.h"
#include "tests/support/GraphClips.h"
#include "tests/support/ScriptedStream.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;

constexpr int64 PICTURE = 40000;
constexpr int COUNT = 400;

template <class T>
struct Node {
    iptr<NodeRecord> record;
    iptr<T> stream;
};

template <class T>
Node<T> Meter(iptr<T> const& stream, NodeId id) {
    Node<T> node;
    node.record = MakeShared<NodeRecord>(id, "/" + std::to_string(id));
    node.stream = MakeShared<NodeMeter<T>>(stream, node.record, DEFAULT_STALL_LIMIT);
    return node;
}

/// A source with its meter, a cache with its own.
struct CachedVideo {
    Node<IStreamVideo> source;
    Node<IStreamVideo> cache;

    CachedVideo(iptr<IFilterCacheController> const& controller, NodeId id) {
        std::vector<ScriptedVideo::Step> steps;
        for (int i = 0; i < COUNT; ++i) steps.emplace_back(MakeVideo(i * PICTURE, PICTURE));
        source = Meter<IStreamVideo>(ScriptedVideo::Create(steps), id);
        auto const cached = controller->AddStream(source.stream);
        cache = Meter<IStreamVideo>(MakeShared<CachedStream<IStreamVideo>>(cached, controller), id + 10);
    }
};

iptr<IFilterCacheController> MakeCaches() {
    return MakeFilterFactory()->Dedicated(FilterSlots::CACHE_CONTROLLER, "Default")();
}

TEST(CachedGraphThreads, RecordsCountWhatTheThreadAndTheReaderRead) {
    auto const controller = MakeCaches();
    CachedVideo graph(controller, 1);
    std::atomic<bool> done{false};
    std::thread watcher([&] {
        int64 last = 0;
        while (!done) {
            int64 const inclusive = graph.source.record->inclusive;
            EXPECT_GE(inclusive, last);
            last = inclusive;
            std::this_thread::yield();
        }
    });
    // No seek comes first: the thread stays alive and reads beside the reader.
    int64 time = 0;
    while (auto const item = graph.cache.stream->Read()) {
        EXPECT_EQ(time, item->GetTime());
        time += PICTURE;
    }
    done = true;
    watcher.join();
    EXPECT_EQ(uint64{COUNT - 1}, graph.cache.record->items);
    EXPECT_EQ(uint64{COUNT}, graph.source.record->items);
}

TEST(CachedGraphThreads, SeeksTellTheThreadsSourcesApartFromTheReaders) {
    auto const controller = MakeCaches();
    CachedVideo first(controller, 1);
    CachedVideo second(controller, 2);
    std::mt19937 random(7);
    for (int round = 0; round < 200; ++round) {
        // Never the last pictures, of which one stays behind.
        int64 const position = int64(random() % ((COUNT - 20) * PICTURE));
        for (CachedVideo* const graph : {&first, &second}) graph->cache.stream->RequestSeek(position, nullptr);
        for (CachedVideo* const graph : {&first, &second}) graph->cache.stream->DoSeek();
        for (CachedVideo* const graph : {&first, &second}) graph->cache.stream->FinishSeek();
        int64 time = position - position % PICTURE;
        for (int i = int(random() % 10); i >= 0; --i, time += PICTURE)
            for (CachedVideo* const graph : {&first, &second}) {
                auto const item = graph->cache.stream->Read();
                ASSERT_NE(nullptr, item);
                EXPECT_EQ(time, item->GetTime());
            }
    }
}

TEST(CachedGraphThreads, ARunOverAFileSeeksThroughCachesAndReadAheadStages) {
    ScratchFolder const folder;
    std::string const clip = folder / "clip.mp4";
    WriteSampleClip(clip, SmallClip(2), true);
    GraphMaker graph;
    graph.Source(1, clip, StreamKind::Video).Source(2, clip, StreamKind::Audio).Source(3, clip, StreamKind::Video);
    graph.Filter(4, "FilterCacheData", {3});
    char const* const caches = "FilterCacheController";
    graph.Controller(10, caches, {{11, 1}, {12, 2}}, GraphMaker::Settings(caches, {}));
    graph.Controller(20, caches, {{21, 4}}, GraphMaker::Settings(caches, {}));
    graph.Filter(22, "FilterCacheData", {21});
    GraphRunOptions options;
    std::mt19937 random(3);
    for (int i = 0; i < 12; ++i) options.seeks.push_back(int64(random() % 48) * PICTURE);
    options.seeks.push_back(0);
    auto const report = RunGraph(graph.document, options, nullptr);
    for (GraphReport::Seek const& seek : report.seeks) {
        EXPECT_EQ(seek.requestedUs, seek.realUs.at(0));
        EXPECT_EQ(seek.requestedUs, seek.realUs.at(2));
    }
    ASSERT_EQ(3U, report.streams.size());
    EXPECT_EQ(49, report.streams[0].items);
    EXPECT_EQ(49, report.streams[2].items);
}

}  // namespace
}  // namespace Tarsel::Host
