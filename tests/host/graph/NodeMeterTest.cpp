#include "host/graph/NodeMeter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>
#include <thread>

#include "host/graph/GraphErrors.h"
#include "tests/support/Builders.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;
using ::testing::ElementsAre;
using TestSupport::MessageOf;

using VideoMeter = NodeMeter<IStreamVideo>;

struct Metered {
    iptr<ScriptedVideo> source;
    iptr<NodeRecord> record = MakeShared<NodeRecord>(7, "/filters/2");
    iptr<VideoMeter> meter;

    explicit Metered(std::vector<ScriptedVideo::Step> const& steps, int64 limit = DEFAULT_STALL_LIMIT)
        : source(ScriptedVideo::Create(steps)), meter(MakeShared<VideoMeter>(source, record, limit)) {}
};

std::vector<ScriptedVideo::Step> Still(int count, int64 time = 0, int64 duration = 0) {
    std::vector<ScriptedVideo::Step> steps;
    for (int i = 0; i < count; ++i) steps.emplace_back(MakeVideo(time, duration));
    return steps;
}

TEST(NodeMeter, CountsItemsAndNulls) {
    Metered graph({MakeVideo(0, 40000), MakeVideo(40000, 40000)});
    EXPECT_EQ(2U, ReadAll(*graph.meter).size());
    graph.meter->Read();
    EXPECT_EQ(2U, graph.record->items);
    EXPECT_EQ(2U, graph.record->nulls);
}

TEST(NodeMeter, AnItemStaysTheSameObject) {
    Metered graph({MakeVideo(0, 40000)});
    iptr<IDataVideo> const picture = graph.meter->Read();
    EXPECT_THAT(graph.source->delivered, ElementsAre(picture.get()));
    EXPECT_EQ(1, picture->GetRefCountImpl());
}

TEST(NodeMeter, EverythingElsePassesUntouched) {
    Metered graph({MakeVideo(0, 40000)});
    graph.source->duration = 40000;
    Seek(*graph.meter, 5);
    graph.meter->ReleaseInternalData();
    graph.meter->SetEndOfStream();
    EXPECT_THAT(graph.source->log.Take(),
                ElementsAre("RequestSeek(5)", "DoSeek", "FinishSeek", "ReleaseInternalData", "SetEndOfStream"));
    EXPECT_TRUE(graph.meter->IsEndOfStream());
    EXPECT_EQ(40000, graph.meter->GetDuration());
    EXPECT_EQ(graph.source->format, graph.meter->GetFormatCodec());
    EXPECT_EQ("ScriptedStream", graph.meter->GetSettings().Name());
    EXPECT_EQ(graph.source->GetStatistic(), graph.meter->GetStatistic());
    Visitors::InfoCollector names;
    graph.meter->Accept(names);
    EXPECT_THAT(names.names, ElementsAre("ScriptedStream"));
}

TEST(NodeMeter, PacketsSayWhatTheyCarry) {
    auto const source = ScriptedRaw::Create({});
    source->mediaType = MEDIA_TYPE_AUDIO;
    auto const meter = MakeShared<NodeMeter<IStreamRaw>>(source, MakeShared<NodeRecord>(1, ""), 0);
    EXPECT_EQ(MEDIA_TYPE_AUDIO, meter->GetMediaType());
}

TEST(NodeMeter, AFailureNamesTheNodeAndItsPlaceAndKeepsTheText) {
    Metered graph({Failure<FilterException>("Wrong fps!")});
    EXPECT_EQ("node 7: /filters/2: Wrong fps!", MessageOf<GraphException>([&] { graph.meter->Read(); }));
}

TEST(NodeMeter, AFailureThatNamesANodeAlreadyStaysAsItIs) {
    Metered inner({Failure<std::runtime_error>("broken")});
    auto const outer = MakeShared<VideoMeter>(inner.meter, MakeShared<NodeRecord>(8, "/filters/3"), 0);
    EXPECT_EQ("node 7: /filters/2: broken", MessageOf<GraphException>([&] { outer->Read(); }));
}

TEST(NodeMeter, LackOfMemoryStaysLackOfMemory) {
    // The one failure that no throw site of this system raises.
    Metered graph({std::make_exception_ptr(std::bad_alloc())});
    EXPECT_THROW(graph.meter->Read(), std::bad_alloc);
}

TEST(NodeGuard, ItemsWithoutProgressInTimeEndTheNode) {
    // The first one is progress, from nothing.
    Metered graph(Still(20), 10);
    for (int i = 0; i < 10; ++i) graph.meter->Read();
    EXPECT_EQ("node 7: /filters/2: it gave 10 items without progress in time",
              MessageOf<GraphException>([&] { graph.meter->Read(); }));
}

TEST(NodeGuard, ItemsWithoutTimesAreNoProgress) {
    Metered graph(Still(20, NO_VALUE, NO_VALUE), 10);
    for (int i = 0; i < 9; ++i) graph.meter->Read();
    EXPECT_THROW(graph.meter->Read(), GraphException);
}

TEST(NodeGuard, ProgressOfAMicrosecondStartsTheCountAnew) {
    std::vector<ScriptedVideo::Step> steps;
    for (int64 time = 0; time < 5; ++time)
        for (auto const& step : Still(9, time)) steps.push_back(step);
    Metered graph(steps, 10);
    EXPECT_EQ(45U, ReadAll(*graph.meter).size());
}

TEST(NodeGuard, TimesThatGoBackAreNoProgress) {
    std::vector<ScriptedVideo::Step> steps{MakeVideo(1000, 10)};
    for (auto const& step : Still(10, 0, 10)) steps.push_back(step);
    Metered graph(steps, 10);
    for (int i = 0; i < 10; ++i) graph.meter->Read();
    EXPECT_THROW(graph.meter->Read(), GraphException);
}

TEST(NodeGuard, ASeekMayGoBack) {
    Metered graph({MakeVideo(0, 10), MakeVideo(10, 10)}, 2);
    for (int i = 0; i < 20; ++i) {
        Seek(*graph.meter, 0);
        EXPECT_THAT(ReadAll(*graph.meter), ElementsAre(IsVideo(0, 10), IsVideo(10, 10)));
    }
}

TEST(NodeGuard, WhoeverSeeksAnEmptyNodeForEverIsEnded) {
    Metered graph({}, 10);
    for (int i = 0; i < 9; ++i) {
        Seek(*graph.meter, 0);
        EXPECT_EQ(nullptr, graph.meter->Read());
    }
    Seek(*graph.meter, 0);
    EXPECT_THROW(graph.meter->Read(), GraphException);
}

TEST(NodeGuard, WhoeverFillsUpMayAskAnEndedNodeForEver) {
    Metered graph({MakeVideo(0, 10)}, 10);
    EXPECT_EQ(1U, ReadAll(*graph.meter).size());
    for (int i = 0; i < 100; ++i) EXPECT_EQ(nullptr, graph.meter->Read());
}

TEST(NodeGuard, ALimitOfZeroIsNoGuard) {
    Metered graph(Still(20), 0);
    EXPECT_EQ(20U, ReadAll(*graph.meter).size());
}

TEST(NodeTimer, TimeOfInputsIsNotTheNodesOwn) {
    NodeRecord inner(1, "");
    NodeRecord outer(2, "");
    {
        NodeTimer const running(outer);
        for (int i = 0; i < 3; ++i) NodeTimer const input(inner);
    }
    EXPECT_EQ(inner.inclusive, inner.exclusive);
    EXPECT_EQ(outer.inclusive, outer.exclusive + inner.inclusive);
}

TEST(NodeTimer, WorkOfAnotherThreadIsNotInside) {
    NodeRecord inner(1, "");
    NodeRecord outer(2, "");
    {
        NodeTimer const running(outer);
        std::thread([&] { NodeTimer const input(inner); }).join();
    }
    EXPECT_EQ(outer.inclusive, outer.exclusive);
    EXPECT_GE(outer.inclusive, inner.inclusive);
}

}  // namespace
}  // namespace Tarsel::Host
