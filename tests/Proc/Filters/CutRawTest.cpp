#include <gtest/gtest.h>

#include "Proc/Filters/Filters/FilterCutController.h"
#include "contracts/Core/Exception.h"
#include "tests/support/CutSupport.h"

// Compressed streams that are cut at groups and packets, and the preparation of cuts.

namespace Tarsel::CutTest {
namespace {

using Proc::FilterCutController;
using Proc::IStreamRaw;

struct Rig {
    iptr<FilterCutController> controller = MakeShared<FilterCutController>();

    explicit Rig(std::vector<std::pair<int64, int64>> const& ranges) { controller->UpdateSettings(Cuts(ranges)); }
    iptr<IStreamRaw> Add(iptr<PacketSource> const& source, iptr<FakeFactory> const& factory) {
        controller->SetCodecFacory(factory);
        return controller->AddStream(iptr<IStreamRaw>(source));
    }
};

std::vector<u32> Ids(std::vector<iptr<Proc::IDataPacket>> const& packets) {
    std::vector<u32> ids;
    for (auto const& packet : packets) ids.push_back(IdOf(*packet));
    return ids;
}
std::vector<u32> Range(u32 first, u32 last) {
    std::vector<u32> ids;
    for (u32 id = first; id <= last; ++id) ids.push_back(id);
    return ids;
}
std::vector<u32> Join(std::vector<u32> a, std::vector<u32> const& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
std::vector<int64> Times(std::vector<iptr<Proc::IDataPacket>> const& packets) {
    std::vector<int64> times;
    for (auto const& packet : packets) times.push_back(packet->GetTime());
    return times;
}

TEST(CutRaw, EmptyListPassesPacketsThrough) {
    Rig rig({});
    auto source = MakeVideoSource(MakeGroups({3, 3}, Order::Open), 6 * FRAME);
    auto stream = rig.Add(source, MakeFactoryWithoutEncoders());
    SeekTo(*stream, 0);
    auto const packets = ReadAll(*stream);
    EXPECT_EQ(packets.size(), 6U);
    EXPECT_EQ(stream->GetDuration(), 6 * FRAME);
    EXPECT_EQ(stream->GetMediaType(), MEDIA_TYPE_VIDEO);
    // Once at construction, once for the host: nothing is sought for the preparation of no cuts.
    EXPECT_EQ(source->seeks, (std::vector<int64>{0, 0}));
}

TEST(CutRaw, WholeGroupsAreCopiedWithShiftedTimesAndKeepTheirSourcePosition) {
    Rig rig({{4 * FRAME, 8 * FRAME}});
    auto stream = rig.Add(MakeVideoSource(MakeGroups({4, 4, 4}, Order::Reordered), 12 * FRAME), MakeFactory());
    SeekTo(*stream, 0);
    auto const packets = ReadAll(*stream);
    EXPECT_EQ(Ids(packets), (std::vector<u32>{1, 3, 2, 4, 9, 11, 10, 12}));
    EXPECT_EQ(packets[4]->GetTime(), 4 * FRAME);
    EXPECT_EQ(packets[4]->GetDecodingTime(), 3 * FRAME);
    EXPECT_EQ(packets[4]->GetSourcePosition(), 8 * FRAME);
    EXPECT_EQ(stream->GetDuration(), 12 * FRAME);  // the source's
    auto const statistic = stream->GetStatistic().Children()[0];
    EXPECT_EQ(statistic.Name(), "Tarsel::Proc::FilterCutControllerStreamRawImpl::GetStatistic");
    EXPECT_EQ(statistic["Count"].GetInt64(), 8);
    EXPECT_EQ(statistic["Recode time"].GetInt64(), 0);
    EXPECT_EQ(statistic["Recoded pakets"].GetInt64(), 0);
}

TEST(CutRaw, TellsVisitorsAndHowItIsCut) {
    Rig rig({});
    auto stream = rig.Add(MakeSoundSource(MakeSound(1, 10), 10), MakeFactory());
    Proc::Visitors::InfoCollector names;
    stream->Accept(names);
    EXPECT_EQ(names.names, (std::vector<std::string>{"FilterCutControllerStreamRawImpl", "Source"}));
    EXPECT_EQ(MessageOf<Proc::FilterException>([&] { stream->Initialize(Core::Property("X")); }),
              "Method not implemented");
    EXPECT_FALSE(stream->GetSettings()["CanRecode"].GetBool());
    EXPECT_FALSE(stream->GetSettings().ChildExists("EncoderName"));
    auto video = rig.Add(MakeVideoSource(MakeGroups({2, 2, 2}, Order::Straight), 10), MakeFactory());
    EXPECT_TRUE(video->GetSettings()["CanRecode"].GetBool());
    EXPECT_EQ(video->GetSettings()["EncoderName"].GetString(), "FFmpeg");
}

TEST(CutRaw, LogsWhatItDoesToEachGroup) {
    LogLines const log(4001);
    Rig rig({{2 * FRAME, 4 * FRAME}});
    auto stream = rig.Add(MakeVideoSource(MakeGroups({2, 2, 2}, Order::Straight), 6 * FRAME), MakeFactory());
    SeekTo(*stream, 0);
    ReadAll(*stream);
    EXPECT_TRUE(log.Has("GOP: 0 + 80000 = 80000"));
    EXPECT_TRUE(log.Has("Time shift: 0, 0, 40000 --> 0, 0, 40000 (key)"));
    EXPECT_TRUE(log.Has("Time shift: 200000, 200000, 40000 --> 120000, 120000, 40000"));
}

// --- Groups that go --------------------------------------------------------------------------------------------------

/// The key packet that ends a removed group opens the next one: it must not go with it.
TEST(CutRaw, OneWhollyRemovedGroupLeavesTheNextOneWhole) {
    for (bool const recoding : {true, false}) {
        Rig rig({{4 * FRAME, 8 * FRAME}});
        auto stream = rig.Add(MakeVideoSource(MakeGroups({4, 4, 4}, Order::Straight), 12 * FRAME),
                              recoding ? MakeFactory() : MakeFactoryWithoutEncoders());
        SeekTo(*stream, 0);
        auto const packets = ReadAll(*stream);
        EXPECT_EQ(Ids(packets), Join(Range(1, 4), Range(9, 12)));
        ASSERT_EQ(packets.size(), 8U);
        EXPECT_TRUE(packets[4]->IsKeyFrame());
    }
}

TEST(CutRaw, OneRemovedSoundPacketLeavesTheNextOne) {
    Rig rig({{20000, 40000}});
    auto stream = rig.Add(MakeSoundSource(MakeSound(5, 20000), 100000), MakeFactory());
    SeekTo(*stream, 0);
    EXPECT_EQ(Ids(ReadAll(*stream)), (std::vector<u32>{1, 3, 4, 5}));
}

/// At the end nothing tells where the next group starts: the last group reaches to the end of its last packet.
TEST(CutRaw, LastPacketOfEveryStreamIsKept) {
    Rig rig({{20000, 40000}});
    auto sound = rig.Add(MakeSoundSource(MakeSound(5, 20000), 100000), MakeFactory());
    auto single = rig.Add(MakeVideoSource(MakeGroups({1, 1, 1}, Order::Straight), 100000), MakeFactory());
    auto packets = MakeGroups({2, 1}, Order::Straight);
    packets.back()->SetDuration(NO_VALUE);
    auto open = rig.Add(MakeVideoSource(packets, 100000), MakeFactoryWithoutEncoders());
    for (auto const& stream : {sound, single, open}) SeekTo(*stream, 0);
    EXPECT_EQ(Ids(ReadAll(*sound)).back(), 5U);
    EXPECT_EQ(Ids(ReadAll(*single)).back(), 3U);
    EXPECT_EQ(Ids(ReadAll(*open)).back(), 3U);
}

TEST(CutRaw, OpenTailOfTheLastGroupIsKept) {
    // Key, then two leading pictures: the last packet lies ahead of the group's start.
    Rig rig({{FRAME, 2 * FRAME}});
    auto packets = MakeGroups({2, 2, 2}, Order::Straight);
    packets.push_back(MakeSourcePacket(8 * FRAME, 6 * FRAME, FRAME, true, 9));
    packets.push_back(MakeSourcePacket(6 * FRAME, 7 * FRAME, FRAME, false, 7));
    packets.push_back(MakeSourcePacket(7 * FRAME, 8 * FRAME, FRAME, false, 8));
    auto stream = rig.Add(MakeVideoSource(packets, 9 * FRAME), MakeFactoryWithoutEncoders());
    SeekTo(*stream, 0);
    EXPECT_EQ(Ids(ReadAll(*stream)), (std::vector<u32>{3, 4, 5, 6, 9, 7, 8}));
}

TEST(CutRaw, CutInTheLastGroupsTailIsSeen) {
    Rig rig({{3 * FRAME, 4 * FRAME}});
    auto stream = rig.Add(MakeVideoSource(MakeGroups({4}, Order::Straight), 4 * FRAME), MakeFactoryWithoutEncoders());
    SeekTo(*stream, 0);
    EXPECT_TRUE(ReadAll(*stream).empty());  // the whole group goes: it can't be kept in part
}

/// A group that goes whole while it is read: its leading pictures lie ahead of its start, in kept time.
TEST(CutRaw, GroupThatGoesWholeTakesItsLeadingPicturesAlong) {
    Rig rig({{0, 4 * FRAME}});
    auto stream =
        rig.Add(MakeVideoSource(MakeGroups({4, 4, 4}, Order::Open), 12 * FRAME), MakeFactoryWithoutEncoders());
    SeekTo(*stream, 0);
    rig.controller->RemoveRange(9 * FRAME, 10 * FRAME);  // behind the preparation's back
    EXPECT_EQ(Ids(ReadAll(*stream)), (std::vector<u32>{5, 7, 6}));
    EXPECT_EQ(rig.controller->GetCutSettings(), Cuts({{0, 4 * FRAME}, {8 * FRAME, 12 * FRAME}}));
}

/// Beyond a limit the rest of a group comes without a key. The stream's own limit is far above the queue's.
TEST(CutRaw, GroupAboveFiftyMegabytesStaysWhole) {
    std::vector<iptr<Proc::IDataPacket>> packets;
    for (int i = 0; i < 8; ++i) {
        AVPacket* const packet = av_packet_alloc();
        ASSERT_GE(av_new_packet(packet, 10000000), 0);
        packet->flags = i % 7 == 0 ? AV_PKT_FLAG_KEY : 0;
        packets.push_back(Proc::DataPacketFF::Create(packet, MEDIA_TYPE_VIDEO, i * FRAME, i * FRAME, FRAME));
        packets.back()->SetSourcePosition(i * FRAME);
    }
    Rig rig({{6 * FRAME + 1, 6 * FRAME + 2}});
    auto stream = rig.Add(MakeVideoSource(packets, 8 * FRAME), MakeFactoryWithoutEncoders());
    SeekTo(*stream, 0);
    EXPECT_EQ(ReadAll(*stream).size(), 1U);
    EXPECT_EQ(rig.controller->GetCutSettings(), Cuts({{0, 7 * FRAME}}));
}

TEST(CutRaw, LeadingPicturesOfAKeptGroupGoWithTheirRemovedPredecessor) {
    Rig rig({{4 * FRAME, 8 * FRAME}});
    auto stream =
        rig.Add(MakeVideoSource(MakeGroups({4, 4, 4}, Order::Open), 12 * FRAME), MakeFactoryWithoutEncoders());
    SeekTo(*stream, 0);
    auto const packets = ReadAll(*stream);
    EXPECT_EQ(Ids(packets), (std::vector<u32>{1, 3, 2, 9, 11, 10, 12}));
    EXPECT_EQ(packets[3]->GetTime(), 4 * FRAME);
}

TEST(CutRaw, SoundIsCutAtPackets) {
    Rig rig({{30000, 50000}});
    auto stream = rig.Add(MakeSoundSource(MakeSound(5, 20000), 100000), MakeFactory());
    SeekTo(*stream, 0);
    LogLines const log(31);
    auto const packets = ReadAll(*stream);
    // Packet 3, at 40000, starts in the range; packet 2, at 20000, only ends in it.
    EXPECT_EQ(Ids(packets), (std::vector<u32>{1, 2, 4, 5}));
    EXPECT_EQ(Times(packets), (std::vector<int64>{0, 20000, 40000, 60000}));
    EXPECT_TRUE(log.Has("Re-coded packets (Audio, Raw)"));
    EXPECT_EQ(packets[1]->GetSourcePosition(), 20000);
}

TEST(CutRaw, PrimingSoundBelowZeroFollowsTheStart) {
    auto const read = [](std::vector<std::pair<int64, int64>> const& ranges) {
        Rig rig(ranges);
        auto stream = rig.Add(MakeSoundSource(MakeSound(5, 20000, -20000), 80000), MakeFactory());
        SeekTo(*stream, 0);
        stream->RequestSeek(-20000, nullptr);
        stream->DoSeek();
        return Times(ReadAll(*stream));
    };
    EXPECT_EQ(read({{20000, 40000}}), (std::vector<int64>{-20000, 0, 20000, 40000}));
    EXPECT_EQ(read({{0, 20000}}), (std::vector<int64>{0, 20000, 40000}));
}

TEST(CutRaw, KeptPacketsOfEqualPositionsAllStay) {
    Rig rig({{60000, 80000}});
    auto packets = MakeSound(4, 20000);
    packets.insert(packets.begin() + 2, MakeSourcePacket(20000, 20000, 20000, true, 99, MEDIA_TYPE_AUDIO));
    auto stream = rig.Add(MakeSoundSource(packets, 80000), MakeFactory());
    SeekTo(*stream, 0);
    EXPECT_EQ(Ids(ReadAll(*stream)), (std::vector<u32>{1, 2, 99, 3}));
}

TEST(CutRaw, PacketsWithoutPositionsAreMappedOneByOne) {
    Rig rig({{20000, 40000}});
    auto packets = MakeSound(4, 20000);
    for (auto const& packet : packets) packet->SetSourcePosition(NO_VALUE);
    packets[3]->SetTime(NO_VALUE);
    packets[3]->SetDecodingTime(NO_VALUE);
    auto stream = rig.Add(MakeSoundSource(packets, 80000), MakeFactory());
    SeekTo(*stream, 0);
    EXPECT_EQ(Times(ReadAll(*stream)), (std::vector<int64>{0, 20000, NO_VALUE}));
}

TEST(CutRaw, PacketsTakeTheirDecodingTimeWhereTheyHaveNoOther) {
    Rig rig({{20000, 40000}});
    auto packets = MakeSound(4, 20000);
    for (auto const& packet : packets) packet->SetTime(NO_VALUE);
    auto stream = rig.Add(MakeSoundSource(packets, 80000), MakeFactory());
    SeekTo(*stream, 0);
    auto const kept = ReadAll(*stream);
    ASSERT_EQ(kept.size(), 3U);
    EXPECT_EQ(kept[1]->GetTime(), NO_VALUE);
    EXPECT_EQ(kept[1]->GetDecodingTime(), 20000);
}

TEST(CutRaw, RangeToTheEndEndsTheStream) {
    Rig rig({{4 * FRAME, NO_VALUE}});
    auto source = MakeVideoSource(MakeGroups(std::vector<int>(50, 4), Order::Straight), 200 * FRAME);
    auto stream = rig.Add(source, MakeFactory());
    SeekTo(*stream, 0);
    unsigned const before = source->reads;
    EXPECT_EQ(Ids(ReadAll(*stream)), Range(1, 4));
    EXPECT_LT(source->reads - before, 12U);
    EXPECT_FALSE(stream->Read());
}

TEST(CutRaw, MPEG4AndMPEG2CopiesStartWithTheStreamsHeader) {
    std::vector<u8> const header{0, 0, 1, 0xB0, 1, 0, 0, 1, 0xB3, 2};
    for (char const* codec : {"mpeg4", "mpeg2video", "vp8"}) {
        Rig rig({{2 * FRAME, 4 * FRAME}});
        auto source = MakeVideoSource(MakeGroups({2, 2, 2}, Order::Straight), 6 * FRAME, codec);
        source->format->SetExtradata(MakeBlob(header));
        auto stream = rig.Add(source, MakeFactoryWithoutEncoders());
        SeekTo(*stream, 0);
        auto const packets = ReadAll(*stream);
        bool const hasHeader = std::string(codec) != "vp8";
        ASSERT_EQ(Ids(packets), (std::vector<u32>{1, 2, 5, 6}));
        EXPECT_EQ(packets[0]->GetSize(), hasHeader ? 20U : 10U) << codec;
        EXPECT_EQ(packets[1]->GetSize(), 10U);
        EXPECT_EQ(packets[2]->GetSize(), hasHeader ? 20U : 10U);
        // Still the source's packet, by its position.
        EXPECT_EQ(packets[2]->GetSourcePosition(), 4 * FRAME);
    }
}

// --- Seeks -----------------------------------------------------------------------------------------------------------

TEST(CutRaw, SeekBackAfterAJumpGivesTheOldPlaceAgain) {
    Rig rig({{2 * SECOND, 10 * SECOND}});
    auto source = MakeVideoSource(MakeGroups(std::vector<int>(12, 25), Order::Straight), 12 * SECOND);
    auto stream = rig.Add(source, MakeFactoryWithoutEncoders());
    SeekTo(*stream, 0);
    unsigned const before = source->reads;
    auto const straight = Ids(ReadAll(*stream));
    EXPECT_EQ(straight, Join(Range(1, 50), Range(251, 300)));
    EXPECT_LT(source->reads - before, 160U);  // the range was jumped over
    SeekTo(*stream, SECOND);
    EXPECT_EQ(Ids(ReadAll(*stream)), Join(Range(26, 50), Range(251, 300)));
    // In the middle of a group: no packet of the old place comes first.
    SeekTo(*stream, 0);
    stream->Read();
    SeekTo(*stream, 2 * SECOND);
    EXPECT_EQ(Ids(ReadAll(*stream)), Range(251, 300));
}

TEST(CutRaw, ReleaseForgetsThePlace) {
    Rig rig({{4 * FRAME, 8 * FRAME}});
    auto stream = rig.Add(MakeVideoSource(MakeGroups({4, 4, 4}, Order::Straight), 12 * FRAME), MakeFactory());
    SeekTo(*stream, 0);
    stream->Read();
    stream->ReleaseInternalData();
    SeekTo(*stream, 0);
    EXPECT_EQ(Ids(ReadAll(*stream)), Join(Range(1, 4), Range(9, 12)));
}

TEST(CutRaw, EndOfStreamFromOutsideEndsIt) {
    Rig rig({{4 * FRAME, 8 * FRAME}});
    auto stream = rig.Add(MakeVideoSource(MakeGroups({4, 4, 4}, Order::Straight), 12 * FRAME), MakeFactory());
    SeekTo(*stream, 0);
    stream->Read();
    stream->SetEndOfStream();
    EXPECT_FALSE(stream->Read());
}

// --- Preparation -----------------------------------------------------------------------------------------------------

TEST(CutPreparation, CutsOfGroupStreamsMoveToGroupsForAllStreams) {
    LogLines const log(4001);
    Rig rig({{6 * FRAME, 9 * FRAME}});
    auto video = MakeVideoSource(MakeGroups({4, 4, 4, 4}, Order::Straight), 16 * FRAME);
    auto stream = rig.Add(video, MakeFactoryWithoutEncoders());
    auto sound = rig.Add(MakeSoundSource(MakeSound(16, FRAME), 16 * FRAME), MakeFactory());
    SeekTo(*stream, 0);
    SeekTo(*sound, 0);
    EXPECT_EQ(rig.controller->GetCutSettings(), Cuts({{4 * FRAME, 12 * FRAME}}));
    EXPECT_EQ(rig.controller->GetGopStarts(), std::vector<int64>{12 * FRAME});
    EXPECT_TRUE(log.Has("FilterCutController - set cut position to start of GOP: 480000"));
    EXPECT_EQ(Ids(ReadAll(*stream)), Join(Range(1, 4), Range(13, 16)));
    EXPECT_EQ(Ids(ReadAll(*sound)), Join(Range(1, 4), Range(13, 16)));
    // Nothing was changed while reading.
    EXPECT_EQ(rig.controller->GetCutSettings(), Cuts({{4 * FRAME, 12 * FRAME}}));
}

TEST(CutPreparation, CutThatStandsOnAGroupChangesNothingAndIsRecordedOnce) {
    Rig rig({{4 * FRAME, 8 * FRAME}});
    auto stream =
        rig.Add(MakeVideoSource(MakeGroups({4, 4, 4}, Order::Straight), 12 * FRAME), MakeFactoryWithoutEncoders());
    SeekTo(*stream, 0);
    rig.controller->UpdateSettings(Cuts({{4 * FRAME, 8 * FRAME}}));
    SeekTo(*stream, 0);
    EXPECT_EQ(rig.controller->GetCutSettings(), Cuts({{4 * FRAME, 8 * FRAME}}));
    EXPECT_EQ(rig.controller->GetGopStarts(), std::vector<int64>{8 * FRAME});
}

TEST(CutPreparation, TwoStreamsOfDifferentGroupsMeetWhereBothCan) {
    Rig rig({{8 * FRAME, 9 * FRAME}});
    auto a = rig.Add(MakeVideoSource(MakeGroups({4, 4, 4, 4, 8}, Order::Straight), 24 * FRAME),
                     MakeFactoryWithoutEncoders());
    auto b =
        rig.Add(MakeVideoSource(MakeGroups({6, 6, 12}, Order::Straight), 24 * FRAME), MakeFactoryWithoutEncoders());
    SeekTo(*a, 0);
    SeekTo(*b, 0);
    // [8, 12) for the first; [6, 12) for the second takes [4, 8) of the first with it; that takes [0, 6).
    EXPECT_EQ(rig.controller->GetCutSettings(), Cuts({{0, 12 * FRAME}}));
    EXPECT_EQ(Ids(ReadAll(*a)), Range(13, 24));
    EXPECT_EQ(Ids(ReadAll(*b)), Range(13, 24));
}

TEST(CutPreparation, RangeBehindTheLastPictureTakesNoGroup) {
    Rig rig({{9 * FRAME, 10 * FRAME}});
    auto stream =
        rig.Add(MakeVideoSource(MakeGroups({4, 4}, Order::Straight), 10 * FRAME), MakeFactoryWithoutEncoders());
    SeekTo(*stream, 0);
    EXPECT_EQ(Ids(ReadAll(*stream)), Range(1, 8));
}

TEST(CutPreparation, NothingIsSoughtWithoutAGroupStream) {
    Rig rig({{6 * FRAME, 9 * FRAME}});
    auto source = MakeVideoSource(MakeGroups({4, 4, 4}, Order::Straight), 12 * FRAME);
    auto stream = rig.Add(source, MakeFactory());
    auto sound = MakeSoundSource(MakeSound(12, FRAME), 12 * FRAME);
    auto soundStream = rig.Add(sound, MakeFactory());
    SeekTo(*stream, 0);
    SeekTo(*soundStream, 0);
    EXPECT_EQ(source->seeks, (std::vector<int64>{0, 0}));
    EXPECT_EQ(sound->seeks, std::vector<int64>{0});
    EXPECT_EQ(rig.controller->GetCutSettings(), Cuts({{6 * FRAME, 9 * FRAME}}));
}

TEST(CutPreparation, GroupAtZeroLeavesTheListAlone) {
    Rig rig({});
    auto stream = rig.Add(MakeVideoSource(MakeGroups({4}, Order::Straight), 4 * FRAME), MakeFactoryWithoutEncoders());
    EXPECT_TRUE(rig.controller->MoveCutToGop(2 * FRAME, false));
    EXPECT_TRUE(rig.controller->GetCutSettings().CutsAreAbsent());
    EXPECT_TRUE(rig.controller->GetGopStarts().empty());
}

TEST(CutPreparation, MovedCutRemovesFromTheGroupsStartAndSeeksThere) {
    Rig rig({});
    auto source = MakeVideoSource(MakeGroups({4, 4}, Order::Straight), 8 * FRAME);
    auto stream = rig.Add(source, MakeFactoryWithoutEncoders());
    EXPECT_TRUE(rig.controller->MoveCutToGop(6 * FRAME, true));
    EXPECT_EQ(rig.controller->GetCutSettings(), Cuts({{4 * FRAME, 6 * FRAME}}));
    EXPECT_EQ(source->seeks, (std::vector<int64>{0, 6 * FRAME, 4 * FRAME}));
    Rig none({});
    auto sound = none.Add(MakeSoundSource(MakeSound(4, FRAME), 4 * FRAME), MakeFactory());
    EXPECT_FALSE(none.controller->MoveCutToGop(FRAME, true));
}

TEST(CutRaw, MemoryIsOneGroupHoweverLongTheStreamIs) {
    Rig rig({{25 * FRAME, 50 * FRAME}});
    auto source = MakeVideoSource(MakeGroups(std::vector<int>(40, 25), Order::Straight), 1000 * FRAME);
    auto stream = rig.Add(source, MakeFactory());
    SeekTo(*stream, 0);
    int64 const before = Proc::DataPacketFF::GetLiveCount();
    int64 most = 0;
    while (stream->Read()) most = std::max(most, Proc::DataPacketFF::GetLiveCount() - before);
    // A group, the key that opens the next one, and the packet under way.
    EXPECT_LE(most, 25 + 3);
}

}  // namespace
}  // namespace Tarsel::CutTest
