// Streams of one controller that are read at once. Every order that matters is held by gates: nothing waits for time to
// pass.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <thread>
#include <vector>

#include "Proc/Filters/Filters/CRCStreamController.h"
#include "Proc/Filters/Filters/GraphDataCRCCollector.h"
#include "contracts/Proc/GraphCRCData.h"
#include "tests/support/Builders.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;

constexpr int ITEMS = 300;

/// A source whose own statistics don't look at its script, which another thread plays.
template <class T>
class Asked final : public ScriptedStream<T> {
  public:
    using ScriptedStream<T>::ScriptedStream;
    Core::Property GetStatistic() override {
        return Core::GetRootItem().Add(Core::MakeStatistics("ScriptedStream", 0, 0));
    }
};

template <class T, class Make>
iptr<ScriptedStream<T>> Source(std::shared_ptr<Gate> const& gate, Make make) {
    std::vector<typename ScriptedStream<T>::Step> steps;
    for (int i = 0; i < ITEMS; ++i) steps.push_back(make(i));
    auto const source = ScriptedStream<T>::Create(steps);
    source->gate = gate;
    return source;
}

void SetNode(IStream& stream, int64 id) {
    stream.Initialize(Core::Property(ICRCStreamController::SOURCE_NODE_ID).SetValue(id));
}

/// Items that a hash filter tells of in its statistics.
int64 CountOf(IStream& filter) {
    Core::Property const own = filter.GetStatistic().Children().back();
    EXPECT_EQ(own.Name().rfind("Tarsel::Proc::FilterMD5Stream", 0), 0U) << own.Name();
    return own["Count"].GetInt64();
}

/// Runs all on threads of their own, which are let go together once each stands in its first read.
class Runs {
  public:
    explicit Runs(std::shared_ptr<Gate> gate) : gate(std::move(gate)) { this->gate->Close(); }

    template <class T>
    void Add(iptr<T> stream) {
        threads.emplace_back([stream = std::move(stream)] { ReadAll(*stream); });
    }
    void Run(std::function<void()> const& beside = {}) {
        gate->AwaitArrivals(static_cast<int>(threads.size()));
        gate->Open();
        if (beside) beside();
        for (std::thread& thread : threads) thread.join();
    }

  private:
    std::shared_ptr<Gate> const gate;
    std::vector<std::thread> threads;
};

/// Whether a node has all its items once, in the order of its stream: item `i` stands at time `i`.
void ExpectWholeAndInOrder(GraphCRCData const& data, int64 node) {
    auto const& packets = data.GetFilterCRCInfoList().at(node).GetPacketCRCInfoList();
    ASSERT_EQ(packets.size(), static_cast<std::size_t>(ITEMS)) << "node " << node;
    for (int i = 0; i < ITEMS; ++i) {
        auto const& packet = packets[static_cast<std::size_t>(i)];
        ASSERT_EQ(packet.GetTimeStamp(), i) << "node " << node;
        ASSERT_EQ(packet.GetPacketIndex(), static_cast<unsigned>(i)) << "node " << node;
    }
}

iptr<IStreamRaw> Packets(std::shared_ptr<Gate> const& gate) {
    return Source<IStreamRaw>(gate, [](int i) { return MakePacket(i, i, 1, true, {static_cast<u8>(i)}); });
}

TEST(CRCStreamControllerThreads, TwoStreamsReadAtOnceLoseNothingAndKeepTheirOrder) {
    auto const gate = std::make_shared<Gate>(false);
    auto const controller = CRCStreamController::Create();
    Runs runs(gate);
    for (int64 const node : {1, 2}) {
        auto const filter = controller->AddStream(Packets(gate));
        SetNode(*filter, node);
        runs.Add(filter);
    }
    runs.Run();
    GraphCRCData const& data = controller->GetGraphCRCData();
    EXPECT_EQ(data.GetPacketCount(), 2U * ITEMS);
    for (int64 const node : {1, 2}) ExpectWholeAndInOrder(data, node);
}

TEST(CRCStreamControllerThreads, AStreamOfEachKindReadAtOnceLosesNothing) {
    auto const gate = std::make_shared<Gate>(false);
    auto const controller = CRCStreamController::Create();
    Runs runs(gate);
    auto const add = [&](auto source, int64 node) {
        auto const filter = controller->AddStream(source);
        SetNode(*filter, node);
        runs.Add(filter);
        return filter;
    };
    using V = iptr<IStreamVideo>;
    using A = iptr<IStreamAudio>;
    using S = iptr<IStreamSubtitle>;
    auto const video = add(V(Source<IStreamVideo>(gate, [](int i) { return MakeVideo(i, 1, static_cast<u8>(i)); })), 1);
    auto const audio = add(A(Source<IStreamAudio>(gate, [](int i) { return MakeAudio(i, 8); })), 2);
    auto const titles = add(S(Source<IStreamSubtitle>(gate, [](int i) { return MakeSubtitle(i, 1); })), 3);
    auto const packets = add(Packets(gate), 4);
    std::vector<IStream*> const streams{video.get(), audio.get(), titles.get(), packets.get()};
    // Reports may be asked for at any time. A count never falls.
    runs.Run([&] {
        std::vector<int64> counts(streams.size(), 0);
        for (int i = 0; i < 50; ++i)
            for (std::size_t k = 0; k < streams.size(); ++k) {
                EXPECT_EQ(streams[k]->GetSettings().Name(), "ScriptedStream");
                int64 const count = CountOf(*streams[k]);
                EXPECT_GE(count, counts[k]);
                EXPECT_LE(count, ITEMS);
                counts[k] = count;
            }
    });
    for (IStream* const stream : streams) EXPECT_EQ(CountOf(*stream), ITEMS);
    GraphCRCData const& data = controller->GetGraphCRCData();
    EXPECT_EQ(data.GetPacketCount(), 4U * ITEMS);
    EXPECT_EQ(data.GetFilterCount(), 4U);
    for (int64 const node : {1, 2, 3, 4}) ExpectWholeAndInOrder(data, node);
}

TEST(CRCStreamControllerThreads, StreamsOfOneNodeReadAtOnceLoseNothing) {
    auto const gate = std::make_shared<Gate>(false);
    auto const controller = CRCStreamController::Create();
    Runs runs(gate);
    for (int i = 0; i < 4; ++i) {
        auto const filter = controller->AddStream(Packets(gate));
        SetNode(*filter, 9);
        runs.Add(filter);
    }
    runs.Run();
    auto const& packets = controller->GetGraphCRCData().GetFilterCRCInfoList().at(9).GetPacketCRCInfoList();
    ASSERT_EQ(packets.size(), 4U * ITEMS);
    std::vector<int> seen(ITEMS);
    for (std::size_t i = 0; i < packets.size(); ++i) {
        ASSERT_EQ(packets[i].GetPacketIndex(), i);
        ++seen.at(static_cast<std::size_t>(packets[i].GetTimeStamp()));
    }
    EXPECT_EQ(seen, std::vector<int>(ITEMS, 4));
}

TEST(CRCStreamControllerThreads, StreamsOfOneNodeMergeInTheOrderInWhichTheirItemsCome) {
    struct Side {
        std::shared_ptr<Gate> const gate = std::make_shared<Gate>(false);
        Gate done{false};
        iptr<IStreamRaw> filter;
        std::thread thread;
        int reads = 0;

        void Next() {
            gate->Allow(1);
            done.AwaitArrivals(++reads);
        }
    };
    auto const controller = CRCStreamController::Create();
    Side left, right;
    int64 first = 0;
    for (Side* const side : {&left, &right}) {
        side->gate->Close();
        auto const source = ScriptedRaw::Create({MakePacket(first, 0, 1, true), MakePacket(first + 1, 0, 1, true)});
        source->gate = side->gate;
        side->filter = controller->AddStream(iptr<IStreamRaw>(source));
        side->thread = std::thread([side] {
            for (int i = 0; i < 2; ++i) {
                side->filter->Read();
                side->done.Pass();
            }
        });
        first += 10;
    }
    right.Next();
    left.Next();
    left.Next();
    right.Next();
    for (Side* const side : {&left, &right}) side->thread.join();
    std::vector<int64> times;
    for (auto const& packet : controller->GetGraphCRCData().GetFilterCRCInfoList().at(0).GetPacketCRCInfoList())
        times.push_back(packet.GetTimeStamp());
    EXPECT_THAT(times, ElementsAre(10, 0, 1, 11));
}

TEST(CRCStreamControllerThreads, TheNodeCanBeToldWhileAStreamIsRead) {
    auto const gate = std::make_shared<Gate>(false);
    auto const controller = CRCStreamController::Create();
    auto const filter = controller->AddStream(Packets(gate));
    Runs runs(gate);
    runs.Add(filter);
    runs.Run([&] {
        for (int64 node = 0; node < 20; ++node) SetNode(*filter, node % 2);
    });
    EXPECT_EQ(controller->GetGraphCRCData().GetPacketCount(), static_cast<unsigned>(ITEMS));
}

TEST(CRCStreamControllerThreads, TheCollectorTakesEntriesFromAnyThread) {
    auto const collector = MakeShared<GraphDataCRCCollector>();
    std::vector<std::thread> threads;
    for (int64 node = 0; node < 4; ++node)
        threads.emplace_back([&, node] {
            for (int i = 0; i < ITEMS; ++i) collector->AddPacketCRCInfo(node, std::to_string(i), i);
        });
    for (std::thread& thread : threads) thread.join();
    for (int64 node = 0; node < 4; ++node) ExpectWholeAndInOrder(collector->GetGraphCRCData(), node);
}

}  // namespace
}  // namespace Tarsel::Proc
