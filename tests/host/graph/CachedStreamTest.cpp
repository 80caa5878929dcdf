#include "host/graph/CachedStream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>

#include "host/graph/Factories.h"
#include "host/graph/GraphErrors.h"
#include "tests/support/Builders.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using TestSupport::MessageOf;

/// Notes where the caches are sent.
class SentCaches final : public IFilterCacheController, public RefCounted {
  public:
    std::vector<int64> sent;

    void SetCacheIncreaseSpan(int64) override {}
    void SeekCaches(int64 position) override { sent.push_back(position); }
    void UpdateSettings(Settings const&) override {}
    void Initialize(Core::Property const&) override {}
    iptr<IStreamSubtitle> AddStream(iptr<IStreamSubtitle> const&) override { return nullptr; }
    iptr<IStreamVideo> AddStream(iptr<IStreamVideo> const&) override { return nullptr; }
    iptr<IStreamAudio> AddStream(iptr<IStreamAudio> const&) override { return nullptr; }
    iptr<IStreamRaw> AddStream(iptr<IStreamRaw> const&) override { return nullptr; }
    void Lock() override {}
    bool TryLock() override { return true; }
    void Unlock() override {}
};

/// A source that hands out these very objects, and whose `DoSeek` may fail.
class Handout final : public ScriptedFilter<IStreamVideo> {
  public:
    Handout() : ScriptedFilter(ScriptedVideo::Create({})) {
        onRead = [this]() -> iptr<IDataVideo> {
            if (items.empty()) return nullptr;
            auto item = items.front();
            items.pop_front();
            return item;
        };
    }
    ~Handout() override { StopReaderThread(); }

    std::deque<iptr<IDataVideo>> items;
    std::exception_ptr failure;
    int64 duration = NO_VALUE;

    int64 GetDuration() const override { return duration; }

  protected:
    void DoSeekInternal() override {
        log->Add("DoSeekInternal");
        if (failure) std::rethrow_exception(failure);
    }
};

struct Behind {
    iptr<Handout> cache = MakeShared<Handout>();
    iptr<SentCaches> controller = MakeShared<SentCaches>();
    iptr<CachedStream<IStreamVideo>> stream = MakeShared<CachedStream<IStreamVideo>>(cache, controller);
};

TEST(CachedStream, LeavesOutTheSecondOfTwoReadsOfOneObject) {
    Behind graph;
    auto const first = MakeVideo(0, 40000);
    auto const second = MakeVideo(40000, 40000);
    graph.cache->items = {first, first, second};
    EXPECT_EQ(first, graph.stream->Read());
    EXPECT_EQ(second, graph.stream->Read());
    EXPECT_EQ(nullptr, graph.stream->Read());
}

TEST(CachedStream, ItemsOfOneTimeThatAreTwoObjectsBothCome) {
    Behind graph;
    graph.cache->items = {MakeVideo(0, 40000), MakeVideo(0, 40000)};
    EXPECT_EQ(2U, ReadAll(*graph.stream).size());
}

TEST(CachedStream, BehindASeekTheSameObjectComesAgain) {
    Behind graph;
    auto const item = MakeVideo(0, 40000);
    graph.cache->items = {item, item};
    EXPECT_EQ(item, graph.stream->Read());
    Seek(*graph.stream, 0);
    EXPECT_EQ(item, graph.stream->Read());
}

TEST(CachedStream, AnObjectThatComesForEverDoesNotHoldUpItsReader) {
    Behind graph;
    auto const item = MakeVideo(0, 40000);
    graph.cache->onRead = [&] { return item; };
    for (int i = 0; i < 10; ++i) EXPECT_EQ(item, graph.stream->Read());
}

TEST(CachedStream, APositionThatTheWindowCantAnswerIsReadFromTheSourcesAgain) {
    Behind graph;
    graph.cache->failure = Failure<std::logic_error>("buffer overrun");
    Seek(*graph.stream, 40000);
    EXPECT_THAT(graph.controller->sent, ElementsAre(40000));
}

TEST(CachedStream, APositionBehindTheEndIsReadFromTheSourcesAtTheEnd) {
    Behind graph;
    graph.cache->duration = 50000;
    graph.cache->failure = Failure<std::logic_error>("buffer overrun");
    Seek(*graph.stream, 400000);
    EXPECT_THAT(graph.controller->sent, ElementsAre(50000));
}

TEST(CachedStream, OtherFailuresOfASeekPass) {
    Behind graph;
    graph.cache->failure = Failure<std::logic_error>("out of order");
    EXPECT_EQ("out of order", MessageOf<std::logic_error>([&] { Seek(*graph.stream, 0); }));
    graph.cache->failure = Failure<GraphException>("node 1: /sources/0: buffer overrun");
    EXPECT_EQ("node 1: /sources/0: buffer overrun", MessageOf<GraphException>([&] { Seek(*graph.stream, 0); }));
    EXPECT_THAT(graph.controller->sent, IsEmpty());
}

TEST(CachedStream, EverythingElsePassesUntouched) {
    auto const source = ScriptedVideo::Create({MakeVideo(0, 40000)});
    source->duration = 40000;
    auto const stream = MakeShared<CachedStream<IStreamVideo>>(source, MakeShared<SentCaches>());
    Seek(*stream, 5);
    stream->ReleaseInternalData();
    stream->SetEndOfStream();
    EXPECT_THAT(source->log.Take(),
                ElementsAre("RequestSeek(5)", "DoSeek", "FinishSeek", "ReleaseInternalData", "SetEndOfStream"));
    EXPECT_TRUE(stream->IsEndOfStream());
    EXPECT_EQ(40000, stream->GetDuration());
    EXPECT_EQ(source->format, stream->GetFormatCodec());
    EXPECT_EQ("ScriptedStream", stream->GetSettings().Name());
    EXPECT_EQ(source->GetStatistic(), stream->GetStatistic());
    Visitors::InfoCollector names;
    stream->Accept(names);
    EXPECT_THAT(names.names, ElementsAre("ScriptedStream"));
}

}  // namespace
}  // namespace Tarsel::Host
