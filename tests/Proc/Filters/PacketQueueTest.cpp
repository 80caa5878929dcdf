#include <gtest/gtest.h>

#include "Proc/Filters/Filters/PacketQueueWithGOP.h"
#include "Proc/Filters/Filters/streamRawGOP.h"
#include "contracts/Core/Exception.h"
#include "tests/support/CutSupport.h"

namespace Tarsel::CutTest {
namespace {

using Proc::PacketQueue;
using Proc::PacketQueueWithGOP;
using Proc::StreamRawGOP;

std::vector<u32> Ids(PacketQueue& queue) {
    std::vector<u32> ids;
    while (queue.Count() > 0) ids.push_back(IdOf(*queue.Pop()));
    return ids;
}

iptr<Proc::IDataPacket> WithoutPosition(iptr<Proc::IDataPacket> packet) {
    packet->SetSourcePosition(NO_VALUE);
    return packet;
}

TEST(PacketQueue, CountsPacketsKeysAndBytes) {
    PacketQueue queue;
    EXPECT_EQ(queue.GetStartPosition(), NO_VALUE);
    queue.Push(WithoutPosition(MakeSourcePacket(0, 0, 1, true, 1)));
    queue.Push(MakeSourcePacket(40, 40, 1, false, 2));
    EXPECT_EQ(queue.Count(), 2U);
    EXPECT_EQ(queue.KeyCount(), 1U);
    EXPECT_EQ(queue.GetTotalBytes(), 20);
    EXPECT_EQ(queue.GetStartPosition(), 40);
    EXPECT_EQ(IdOf(*queue.Pop()), 1U);
    EXPECT_EQ(queue.KeyCount(), 0U);
    EXPECT_EQ(queue.GetTotalBytes(), 10);
    queue.Clear();
    EXPECT_EQ(queue.Count(), 0U);
    EXPECT_EQ(queue.GetTotalBytes(), 0);
    EXPECT_EQ(MessageOf<std::logic_error>([&] { queue.Pop(); }), "Packet queue is empty");
}

TEST(PacketQueue, IsFullOnlyAboveALimit) {
    PacketQueue queue;
    queue.SetLimits(2, 1000);
    for (u32 i = 0; i < 2; ++i) queue.Push(MakeSourcePacket(i, i, 1, false, i));
    EXPECT_FALSE(queue.IsFull());
    queue.Push(MakeSourcePacket(2, 2, 1, false, 2));
    EXPECT_TRUE(queue.IsFull());
    queue.SetLimits(100, 30);
    EXPECT_FALSE(queue.IsFull());
    queue.SetLimits(100, 29);
    EXPECT_TRUE(queue.IsFull());
}

TEST(PacketQueueWithGOP, ReadsGroupByGroupAndThenSaysNo) {
    auto source = MakeVideoSource(MakeGroups({3, 1, 2}, Order::Straight), 6 * FRAME);
    PacketQueueWithGOP queue;
    ASSERT_TRUE(queue.ReadGOP(source));
    EXPECT_EQ(queue.GetGopStart(), 0);
    EXPECT_EQ(queue.GetNextGopStart(), 3 * FRAME);
    EXPECT_EQ(Ids(queue), (std::vector<u32>{1, 2, 3}));
    ASSERT_TRUE(queue.ReadGOP(source));
    EXPECT_EQ(Ids(queue), (std::vector<u32>{4}));
    // At the source's end it answers true once more for what was read.
    ASSERT_TRUE(queue.ReadGOP(source));
    EXPECT_FALSE(queue.HasNextGop());
    EXPECT_EQ(queue.GetNextGopStart(), 5 * FRAME);
    EXPECT_EQ(Ids(queue), (std::vector<u32>{5, 6}));
    EXPECT_FALSE(queue.ReadGOP(source));
    EXPECT_FALSE(queue.ReadGOP(source));
}

TEST(PacketQueueWithGOP, FirstKeyIntoAnEmptyQueueNeverEndsAGroup) {
    auto source = MakeVideoSource({MakeSourcePacket(0, 0, 1, true, 1)}, 1);
    PacketQueueWithGOP queue;
    queue.SetPosition(1000);
    ASSERT_TRUE(queue.ReadGOP(source));
    EXPECT_EQ(queue.Count(), 1U);
}

TEST(PacketQueueWithGOP, PacketWithoutAPositionNeverEndsAGroup) {
    auto source =
        MakeVideoSource({MakeSourcePacket(0, 0, 1, true, 1), WithoutPosition(MakeSourcePacket(1, 1, 1, true, 2)),
                         MakeSourcePacket(2, 2, 1, true, 3)},
                        3);
    PacketQueueWithGOP queue;
    ASSERT_TRUE(queue.ReadGOP(source));
    EXPECT_EQ(Ids(queue), (std::vector<u32>{1, 2}));
    EXPECT_EQ(queue.GetNextGopStart(), 2);
}

TEST(PacketQueueWithGOP, GroupsThatEndAheadOfTheWantedPlaceAreReadOver) {
    LogLines const log(4001);
    auto source = MakeVideoSource(MakeGroups({2, 2, 2, 2}, Order::Straight), 8 * FRAME);
    PacketQueueWithGOP queue;
    queue.SetPosition(4 * FRAME);
    ASSERT_TRUE(queue.ReadGOP(source));
    // The key at the wanted place ends the group ahead of it.
    EXPECT_EQ(queue.GetGopStart(), 2 * FRAME);
    EXPECT_EQ(queue.GetNextGopStart(), 4 * FRAME);
    EXPECT_TRUE(log.Has("GOP reset"));
    EXPECT_TRUE(log.Has("----------------Read GOP----------------"));
    EXPECT_TRUE(log.Has("pos=80000  Key"));
    EXPECT_TRUE(log.Has("pos=40000"));
    EXPECT_TRUE(log.Has("Next GOP start=160000"));
    EXPECT_TRUE(log.Has("-------2 packets-------"));
}

TEST(PacketQueueWithGOP, HeldPacketSurvivesResetButNotSetPosition) {
    auto source = MakeVideoSource(MakeGroups({2, 2}, Order::Straight), 4 * FRAME);
    PacketQueueWithGOP queue;
    ASSERT_TRUE(queue.ReadGOP(source));
    queue.Reset();
    EXPECT_TRUE(queue.HasNextGop());
    // The held packet is moved in first.
    EXPECT_EQ(queue.GetGopStart(), 2 * FRAME);
    ASSERT_TRUE(queue.ReadGOP(source));
    EXPECT_EQ(Ids(queue), (std::vector<u32>{3, 4}));

    SeekTo(*source, 0);
    ASSERT_TRUE(queue.ReadGOP(source));
    queue.SetPosition(NO_VALUE);
    EXPECT_FALSE(queue.HasNextGop());
    EXPECT_EQ(queue.GetNextGopStart(), NO_VALUE);
    EXPECT_EQ(queue.GetGopStart(), NO_VALUE);
}

TEST(PacketQueueWithGOP, GroupEndsAtALimitAndGoesOnWithoutAKey) {
    auto source = MakeVideoSource(MakeGroups({5, 1}, Order::Straight), 6 * FRAME);
    PacketQueueWithGOP queue;
    queue.SetLimits(2, 50000000);
    ASSERT_TRUE(queue.ReadGOP(source));
    EXPECT_EQ(Ids(queue), (std::vector<u32>{1, 2, 3}));
    EXPECT_FALSE(queue.HasNextGop());
    ASSERT_TRUE(queue.ReadGOP(source));
    EXPECT_EQ(queue.KeyCount(), 0U);
    EXPECT_EQ(Ids(queue), (std::vector<u32>{4, 5}));
}

// --- One group as a stream -------------------------------------------------------------------------------------------

class WaitingDecoder final : public Proc::IDecoder, public RefCounted {
  public:
    explicit WaitingDecoder(bool ready) : ready(ready) {}
    int finished = 0;
    std::string GetImplName() const override { return "waiting"; }
    void Initialize(Core::Property const&) override {}
    Core::Property GetSettings() override { return {}; }
    int64 GetDuration() const override { return NO_VALUE; }
    int64 GetPosition() override { return NO_VALUE; }
    iptr<Proc::IData> ReadBase() override { return nullptr; }
    void RequestSeek(int64, iptr<IRefCountable>) override {}
    void DoSeek() override {}
    bool FinishSeek() override {
        ++finished;
        return ready;
    }
    iptr<Conf::IFormatCodec const> GetFormatCodecBase() const override { return nullptr; }
    Core::Property GetStatistic() override { return {}; }
    void SetEndOfStream() override {}
    bool IsEndOfStream() override { return false; }
    void ReleaseInternalData() override {}
    void Accept(Proc::IStreamVisitor&) override {}

  private:
    bool const ready;
};

TEST(StreamRawGOP, GivesTheQueueInOrderAndThenNull) {
    LogLines const log(4001);
    auto source = MakeVideoSource(MakeGroups({3, 2}, Order::Reordered), 5 * FRAME, "h264");
    PacketQueueWithGOP queue;
    ASSERT_TRUE(queue.ReadGOP(source));
    auto gop = MakeShared<StreamRawGOP>(source, queue);
    EXPECT_EQ(gop->GetPosition(), 0);
    EXPECT_EQ(gop->GetDuration(), 5 * FRAME);
    EXPECT_EQ(gop->GetMediaType(), MEDIA_TYPE_VIDEO);
    EXPECT_EQ(gop->GetFormatCodec(), source->GetFormatCodec());
    SeekTo(*gop, 12345);  // a group can only start at its beginning
    EXPECT_EQ(ReadAll(static_cast<Proc::IStreamRaw&>(*gop)).size(), 3U);
    EXPECT_FALSE(static_cast<Proc::IStreamRaw&>(*gop).Read());
    EXPECT_TRUE(log.Has("GOP start time: "));
    EXPECT_TRUE(log.Has("Start time: 0 End time: 120000"));
    EXPECT_EQ(gop->GetStatistic(), Core::MakeStatistics("Tarsel::Proc::StreamRawGOP::GetStatistic", 0, 0));
    Proc::Visitors::InfoCollector names;
    Proc::Visitors::FrameTypeCollector types;
    gop->Accept(names);
    gop->Accept(types);
    EXPECT_EQ(names.names, std::vector<std::string>{"StreamRawGOP"});
    EXPECT_EQ(types.frameTypes, std::vector<int>{5});
}

TEST(StreamRawGOP, EmptyQueueIsRefused) {
    auto source = MakeVideoSource({}, 0);
    PacketQueueWithGOP queue;
    EXPECT_EQ(MessageOf<Proc::FilterException>([&] { StreamRawGOP const gop(source, queue); }), "Queue hasn't packets");
}

TEST(StreamRawGOP, SeekIsFinishedOnEachWaitingDecoderOnce) {
    LogLines const log(2);
    auto source = MakeVideoSource(MakeGroups({1}, Order::Straight), FRAME);
    PacketQueueWithGOP queue;
    ASSERT_TRUE(queue.ReadGOP(source));
    auto gop = MakeShared<StreamRawGOP>(source, queue);
    auto const ready = MakeShared<WaitingDecoder>(true);
    auto const late = MakeShared<WaitingDecoder>(false);
    gop->RequestSeek(0, ready);
    gop->RequestSeek(0, late);
    gop->RequestSeek(0, ready);
    gop->RequestSeek(0, nullptr);
    gop->DoSeek();
    EXPECT_EQ(ready->finished, 1);
    EXPECT_EQ(late->finished, 1);
    EXPECT_EQ(log.Count("Decoder seek result = 0"), 1U);
    gop->DoSeek();
    EXPECT_EQ(ready->finished, 1);
    EXPECT_EQ(ready->GetRefCountImpl(), 1U);
}

}  // namespace
}  // namespace Tarsel::CutTest
