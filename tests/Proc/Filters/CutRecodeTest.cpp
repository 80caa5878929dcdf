#include <gtest/gtest.h>

#include "Proc/Filters/Filters/DataSkipperStream_win.h"
#include "Proc/Filters/Filters/FilterCutController.h"
#include "contracts/Core/Exception.h"
#include "tests/support/CutSupport.h"
#include "tests/support/H264Builder.h"

// Groups that a cut falls into, encoded again.

namespace Tarsel::CutTest {
namespace {

using namespace TestSupport;
using Creation = EncoderScript::Creation;
using Proc::FilterCutController;
using Proc::IStreamRaw;

struct Rig {
    iptr<FilterCutController> controller = MakeShared<FilterCutController>();
    iptr<FakeFactory> factory;
    iptr<PacketSource> source;
    iptr<IStreamRaw> stream;

    Rig(std::vector<std::pair<int64, int64>> const& ranges, iptr<PacketSource> packets,
        EncoderScript const& script = {})
        : factory(MakeFactory(script)), source(std::move(packets)) {
        controller->UpdateSettings(Cuts(ranges));
        controller->SetCodecFacory(factory);
        stream = controller->AddStream(iptr<IStreamRaw>(source));
        SeekTo(*stream, 0);
    }
    std::vector<iptr<Proc::IDataPacket>> Read() { return ReadAll(*stream); }
};

iptr<PacketSource> Video(std::vector<int> const& groups, Order order = Order::Straight, char const* codec = "vp8") {
    int total = 0;
    for (int const size : groups) total += size;
    return MakeVideoSource(MakeGroups(groups, order), total * FRAME, codec);
}
std::vector<u32> Ids(std::vector<iptr<Proc::IDataPacket>> const& packets) {
    std::vector<u32> ids;
    for (auto const& packet : packets) ids.push_back(IdOf(*packet));
    return ids;
}

TEST(CutRecode, OnlyTheGroupsWithABoundaryAreEncodedAgain) {
    LogLines const log(4001);
    Rig rig({{6 * FRAME, 9 * FRAME}}, Video({4, 4, 4, 4}));
    auto const packets = rig.Read();
    EXPECT_EQ(Ids(packets), (std::vector<u32>{1, 2, 3, 4, 5, 6, 10, 11, 12, 13, 14, 15, 16}));
    for (std::size_t i = 0; i < packets.size(); ++i) {
        EXPECT_EQ(packets[i]->GetTime(), static_cast<int64>(i) * FRAME);
        EXPECT_EQ(packets[i]->GetDecodingTime(), static_cast<int64>(i) * FRAME);
        EXPECT_EQ(packets[i]->GetDuration(), FRAME);
        bool const recoded = i >= 4 && i < 9;
        EXPECT_EQ(HasValue(packets[i]->GetSourcePosition()), !recoded) << i;
        EXPECT_EQ(packets[i]->IsKeyFrame(), i == 0 || i == 4 || i == 6 || i == 9);
    }
    EXPECT_EQ(rig.stream->GetStatistic().Children()[0]["Recoded pakets"].GetInt64(), 5);
    EXPECT_EQ(rig.factory->created.size(), 3U);  // the trial and the two groups
    EXPECT_TRUE(rig.factory->hadResource[1]);
    EXPECT_TRUE(log.Has("Re-coded packets (Video) with FFmpeg"));
    EXPECT_TRUE(log.Has("GOP: start=160000, dur=160000 --> 160000"));
    EXPECT_TRUE(log.Has("New packet: (0): PTS=160000, DTS=160000, duration=40000 (key)"));
    EXPECT_TRUE(log.Has("--------"));
    EXPECT_TRUE(log.Has("PTS=160000, Dur=40000 --> PTS=160000, Dur=40000"));
    EXPECT_TRUE(log.Has(" --> NULL"));
    EXPECT_TRUE(log.Has("PTS=280000 --> NULL"));
}

TEST(CutRecode, CutOnAGroupsStartNeedsNoEncoder) {
    Rig rig({{4 * FRAME, 8 * FRAME}}, Video({4, 4, 4}));
    EXPECT_EQ(Ids(rig.Read()), (std::vector<u32>{1, 2, 3, 4, 9, 10, 11, 12}));
    EXPECT_EQ(rig.factory->created.size(), 1U);
}

TEST(CutRecode, CutInsideOneGroupJoinsBothSidesInOneGroup) {
    Rig rig({{5 * FRAME, 7 * FRAME}}, Video({4, 4, 4}));
    auto const packets = rig.Read();
    EXPECT_EQ(Ids(packets), (std::vector<u32>{1, 2, 3, 4, 5, 8, 9, 10, 11, 12}));
    EXPECT_FALSE(packets[5]->IsKeyFrame());
}

TEST(CutRecode, OneKeptFrameIsStillRecodedAndItsPacketTakesItsTime) {
    Rig rig({{5 * FRAME, 8 * FRAME}}, Video({4, 4, 4}));
    auto const packets = rig.Read();
    EXPECT_EQ(Ids(packets), (std::vector<u32>{1, 2, 3, 4, 5, 9, 10, 11, 12}));
    EXPECT_EQ(packets[4]->GetTime(), 4 * FRAME);
    EXPECT_EQ(packets[4]->GetSourcePosition(), NO_VALUE);
}

TEST(CutRecode, PartlyRemovedPictureKeepsTheRestOfItsTime) {
    Rig rig({{5 * FRAME + 10000, 7 * FRAME + 30000}}, Video({4, 4, 4}));
    auto const packets = rig.Read();
    EXPECT_EQ(Ids(packets), (std::vector<u32>{1, 2, 3, 4, 5, 6, 8, 9, 10, 11, 12}));
    EXPECT_EQ(packets[5]->GetDuration(), 10000);
    EXPECT_EQ(packets[6]->GetTime(), 5 * FRAME + 10000);
    EXPECT_EQ(packets[6]->GetDuration(), 10000);
    EXPECT_EQ(packets[7]->GetTime(), 5 * FRAME + 20000);
}

TEST(CutRecode, DecodingTimesJoinTheUntouchedGroups) {
    // The source reorders, with one frame of delay; the encoder doesn't.
    Rig rig({{6 * FRAME, 9 * FRAME}}, Video({4, 4, 4, 4}, Order::Reordered));
    auto const packets = rig.Read();
    ASSERT_EQ(packets.size(), 13U);
    for (std::size_t i = 1; i < packets.size(); ++i) {
        EXPECT_GT(packets[i]->GetDecodingTime(), packets[i - 1]->GetDecodingTime()) << i;
        EXPECT_LE(packets[i]->GetDecodingTime(), packets[i]->GetTime()) << i;
    }
    EXPECT_EQ(packets[4]->GetDecodingTime(), packets[4]->GetTime() - FRAME);
}

TEST(CutRecode, ReorderedEncoderPacketsTakeTheFramesTimesInDisplayOrder) {
    EncoderScript script;
    script.reorders = true;
    Rig rig({{7 * FRAME, 8 * FRAME}}, Video({4, 4, 4}, Order::Reordered), script);
    auto const packets = rig.Read();
    // Decoding order 5, 7, 6: the packets' own pictures stay with their times.
    EXPECT_EQ(Ids(packets), (std::vector<u32>{1, 3, 2, 4, 5, 7, 6, 9, 11, 10, 12}));
    EXPECT_EQ(packets[4]->GetTime(), 4 * FRAME);
    EXPECT_EQ(packets[5]->GetTime(), 6 * FRAME);
    EXPECT_EQ(packets[6]->GetTime(), 5 * FRAME);
    for (std::size_t i = 5; i < packets.size(); ++i)
        EXPECT_GT(packets[i]->GetDecodingTime(), packets[i - 1]->GetDecodingTime()) << i;
}

TEST(CutRecode, FormulaOfTheDecodingTime) {
    // streamDtsShift 40000 (source), localShift 40000 (encoder), delta by the frame removed ahead.
    EncoderScript script;
    script.reorders = true;
    Rig rig({{4 * FRAME, 5 * FRAME}}, Video({4, 4, 4}, Order::Reordered), script);
    auto const packets = rig.Read();
    // First packet of the recoded group: encoded 200000/160000 in source order, its frame's time is 160000.
    EXPECT_EQ(packets[4]->GetTime(), 4 * FRAME);
    EXPECT_EQ(packets[4]->GetDecodingTime(), 4 * FRAME - FRAME);
}

TEST(CutRecode, MPEG1And2WithOpenGroupsCanBeRecoded) {
    for (char const* codec : {"mpeg1video", "mpeg2video"}) {
        LogLines const log(0);
        Rig rig({{6 * FRAME, 9 * FRAME}}, Video({4, 4, 4, 4}, Order::Open, codec));
        auto const packets = rig.Read();
        // The leading picture 4 of the group at 4 is ahead of the decoder's place: lost, and the log says so.
        EXPECT_EQ(Ids(packets), (std::vector<u32>{1, 3, 2, 5, 6, 10, 11, 13, 12, 15, 14, 16})) << codec;
        EXPECT_TRUE(log.Has("Group of pictures at 160000: "));
    }
}

TEST(CutRecode, RepeatedPicturesAreMergedIntoTheFirst) {
    LogLines const log(4001);
    auto packets = MakeGroups({1, 4, 1}, Order::Straight);
    auto const same = [&](std::size_t index, u32 id) {
        auto const& old = packets[index];
        packets[index] = MakeSourcePacket(old->GetTime(), old->GetDecodingTime(), FRAME, old->IsKeyFrame(), id);
    };
    same(2, 2);
    same(3, 2);
    Rig rig({{4 * FRAME, 5 * FRAME}}, MakeVideoSource(packets, 6 * FRAME));
    auto const result = rig.Read();
    EXPECT_EQ(Ids(result), (std::vector<u32>{1, 2, 6}));
    EXPECT_EQ(result[1]->GetDuration(), 3 * FRAME);
    EXPECT_TRUE(log.Has("Got the same picture, added dur(40000) to pts (40000)"));
}

// --- Failures --------------------------------------------------------------------------------------------------------

TEST(CutRecode, WrongPacketCountReachesTheReaderAndTheStreamCanBeSoughtAgain) {
    for (int const extra : {-1, 1}) {
        EncoderScript script;
        script.extraPackets = extra;
        Rig rig({{6 * FRAME, 9 * FRAME}}, Video({4, 4, 4, 4}), script);
        for (int i = 0; i < 4; ++i) ASSERT_TRUE(rig.stream->Read());
        try {
            rig.stream->Read();
            FAIL();
        } catch (Proc::FilterException const& failure) {
            EXPECT_STREQ(failure.what(), "Count of original and encoded packts are not equal!");
            EXPECT_STREQ(*boost::get_error_info<boost::throw_function>(failure), "RecodeGOP");
        }
        rig.factory->encoders[0].second.extraPackets = 0;
        SeekTo(*rig.stream, 0);
        EXPECT_EQ(rig.Read().size(), 13U);
    }
}

TEST(CutRecode, FailureWhileEncodingLeavesNothingOfTheGroupBehind) {
    EncoderScript script;
    script.failsInRead = true;
    Rig rig({{6 * FRAME, 7 * FRAME}}, Video({4, 4, 4}), script);
    for (int i = 0; i < 4; ++i) ASSERT_TRUE(rig.stream->Read());
    EXPECT_EQ(MessageOf<Proc::ProcException>([&] { rig.stream->Read(); }), "encoder broke");
    // Reading on gives the next group whole.
    EXPECT_EQ(Ids(rig.Read()), (std::vector<u32>{9, 10, 11, 12}));
}

TEST(CutRecode, EncoderThatFailsAtCreationCutsThisGroupAtPackets) {
    for (Creation const failure : {Creation::EncoderFailure, Creation::Null}) {
        LogLines const log(31);
        EncoderScript script;
        script.creationWhenRecoding = failure;
        Rig rig({{6 * FRAME, 7 * FRAME}}, Video({4, 4, 4}), script);
        auto const packets = rig.Read();
        EXPECT_EQ(Ids(packets), (std::vector<u32>{1, 2, 3, 4, 5, 6, 8, 9, 10, 11, 12}));
        EXPECT_EQ(packets[6]->GetSourcePosition(), 7 * FRAME);
        EXPECT_EQ(packets[6]->GetTime(), 6 * FRAME);
        EXPECT_TRUE(log.Has("Re-coded packets (Video, Raw)"));
        EXPECT_EQ(log.Has("Re-coding packets (Video) with FFmpeg was failed: "), failure == Creation::EncoderFailure);
    }
}

TEST(CutRecode, PacketsThatCannotBeDecodedAreWarnedOf) {
    LogLines const log(0);
    EncoderScript script;
    script.creationWhenRecoding = Creation::EncoderFailure;
    Rig rig({{4 * FRAME, 6 * FRAME}}, Video({4, 4, 4}), script);
    EXPECT_EQ(Ids(rig.Read()), (std::vector<u32>{1, 2, 3, 4, 7, 8, 9, 10, 11, 12}));
    EXPECT_TRUE(log.Has("Group of pictures at 160000 loses its beginning"));
}

// --- Framing ---------------------------------------------------------------------------------------------------------

iptr<PacketSource> H264(int lengthSize) {
    auto source = Video({4, 4, 4}, Order::Straight, "h264");
    source->format->SetExtradata(MakeBlob(lengthSize > 0
                                              ? JoinAvcC({BuildSPS(MakeSPS())}, {BuildPPS(MakePPS())}, lengthSize)
                                              : JoinAnnexB({BuildSPS(MakeSPS()), BuildPPS(MakePPS())})));
    return source;
}
EncoderScript H264Encoder(std::size_t unitBytes = 0) {
    EncoderScript script;
    script.extradata = MakeBlob(JoinAnnexB({BuildSPS(MakeSPS(1)), BuildPPS(MakePPS(1, 1))}));
    script.unitBytes = unitBytes;
    return script;
}
std::vector<u8> BytesOf(Proc::IDataPacket const& packet) {
    auto const blob = packet.GetBlob();
    return {blob->GetData(), blob->GetData() + blob->GetSize()};
}

TEST(CutRecode, EncodedPacketsTakeTheStreamsFraming) {
    for (int const lengthSize : {0, 1, 2, 3, 4}) {
        Rig rig({{6 * FRAME, 7 * FRAME}}, H264(lengthSize), H264Encoder());
        auto const packets = rig.Read();
        ASSERT_EQ(packets.size(), 11U);
        // A unit of six bytes behind its length, or as the encoder wrote it.
        std::vector<u8> expected(static_cast<std::size_t>(lengthSize), 0);
        if (lengthSize > 0)
            expected.back() = 6;
        else
            expected = {0, 0, 0, 1};
        expected.insert(expected.end(), {0x65, 0, 0, 0, 5, 0x80});
        EXPECT_EQ(BytesOf(*packets[4]), expected) << lengthSize;
        EXPECT_EQ(packets[4]->GetSourcePosition(), NO_VALUE);
        // Copied packets are the source's bytes.
        EXPECT_EQ(BytesOf(*packets[0]), (std::vector<u8>{0, 0, 0, 1, 0x65, 0, 0, 0, 1, 0x80}));
    }
}

TEST(CutRecode, PacketsOfTheFallbackKeepTheirFraming) {
    EncoderScript script = H264Encoder();
    script.creationWhenRecoding = Creation::EncoderFailure;
    Rig rig({{6 * FRAME, 7 * FRAME}}, H264(4), script);
    auto const packets = rig.Read();
    ASSERT_EQ(packets.size(), 11U);
    EXPECT_EQ(BytesOf(*packets[4]), (std::vector<u8>{0, 0, 0, 1, 0x65, 0, 0, 0, 5, 0x80}));
}

TEST(CutRecode, UnitThatAShortLengthFieldCannotTellIsRefused) {
    Rig one({{6 * FRAME, 7 * FRAME}}, H264(1), H264Encoder(256));
    EXPECT_EQ(MessageOf<Proc::FilterException>([&] { one.Read(); }),
              "Encoded NAL unit of 256 bytes doesn't fit the stream's length fields of 1 bytes");
    Rig fits({{6 * FRAME, 7 * FRAME}}, H264(1), H264Encoder(255));
    EXPECT_EQ(fits.Read().size(), 11U);
    Rig two({{6 * FRAME, 7 * FRAME}}, H264(2), H264Encoder(65536));
    EXPECT_EQ(MessageOf<Proc::FilterException>([&] { two.Read(); }),
              "Encoded NAL unit of 65536 bytes doesn't fit the stream's length fields of 2 bytes");
}

TEST(CutRecode, EncodedKeysOfMPEG4StartWithTheEncodersHeader) {
    EncoderScript script;
    script.extradata = MakeBlob({0, 0, 1, 0xB0, 7, 7});
    auto source = Video({4, 4, 4}, Order::Straight, "mpeg2video");
    source->format->SetExtradata(MakeBlob({0, 0, 1, 0xB3, 1}));
    script.extradata = MakeBlob({0, 0, 1, 0xB3, 2, 2});
    Rig rig({{6 * FRAME, 7 * FRAME}}, source, script);
    auto const packets = rig.Read();
    EXPECT_EQ(BytesOf(*packets[0]).size(), 15U);
    auto const recoded = BytesOf(*packets[4]);
    ASSERT_EQ(recoded.size(), 16U);
    EXPECT_EQ(recoded[4], 2);
    EXPECT_EQ(packets[5]->GetSize(), 10U);
    EXPECT_EQ(packets[4]->GetSourcePosition(), NO_VALUE);
}

// --- The skipper -----------------------------------------------------------------------------------------------------

TEST(DataSkipper, FirstFrameIsNeverARepeatWhateverItsHash) {
    auto controller = MakeShared<FilterCutController>();
    // A picture that hashes to 0 exists among few; here the absence of a value is what counts.
    std::vector<iptr<Proc::IDataVideo>> frames{MakeFrame(0, 10, 0), MakeFrame(10, 10, 0), MakeFrame(20, 10, 5)};
    auto source = MakeShared<Source<Proc::IStreamVideo>>(frames, 30);
    auto skipper = MakeShared<Proc::DataSkipperStreamImpl<Proc::IStreamVideo>>(source, controller);
    SeekTo(*skipper, 0);
    EXPECT_EQ(ReadAll(*skipper).size(), 2U);
    EXPECT_EQ(skipper->GetFrames().frameDurations, (std::map<int64, int64>{{0, 20}, {20, 10}}));
    EXPECT_EQ(skipper->GetFrames().firstTime, 0);
    Proc::Visitors::InfoCollector names;
    skipper->Accept(names);
    EXPECT_EQ(names.names.front(), "DataSkipperStreamImpl");
}

TEST(DataSkipper, LeavesARemovedRestUnread) {
    auto controller = MakeShared<FilterCutController>();
    controller->UpdateSettings(Cuts({{20, 50}}));
    std::vector<iptr<Proc::IDataVideo>> frames;
    for (int i = 0; i < 5; ++i) frames.push_back(MakeFrame(i * 10, 10, u8(i)));
    auto source = MakeShared<Source<Proc::IStreamVideo>>(frames, 50);
    auto skipper = MakeShared<Proc::DataSkipperStreamImpl<Proc::IStreamVideo>>(source, controller);
    skipper->EndAt(20);
    SeekTo(*skipper, 0);
    EXPECT_EQ(ReadAll(*skipper).size(), 2U);
    EXPECT_EQ(skipper->GetFrames().framesRead, 3U);
    EXPECT_TRUE(skipper->GetFrames().endReached);
}

TEST(DataSkipper, HashLooksAtVisibleBytesOnly) {
    // 17 pixels a row: a decoder's frame has padding behind them.
    auto packed = Proc::DataVideoFF::Create(PIX_FMT_RGB24, {17, 4, 1, 1}, nullptr);
    AVFrame* const padded = av_frame_alloc();
    padded->width = 17;
    padded->height = 4;
    padded->format = 2;
    ASSERT_GE(av_frame_get_buffer(padded, 64), 0);
    for (int row = 0; row < 4; ++row) {
        std::memset(padded->data[0] + row * padded->linesize[0], 0xEE, static_cast<std::size_t>(padded->linesize[0]));
        for (int i = 0; i < 51; ++i) {
            padded->data[0][row * padded->linesize[0] + i] = u8(row * 51 + i);
            packed->GetPlane(0).GetData()[row * packed->GetPlane(0).GetStride() + i] = u8(row * 51 + i);
        }
    }
    auto const wrapped = Proc::DataVideoFF::Wrap(padded, 0, 1);
    EXPECT_EQ(Proc::HashPicture(*wrapped), Proc::HashPicture(*packed));
    u32 expected = 0x811C9DC5U;
    for (int i = 0; i < 204; ++i) expected = (expected ^ u8(i)) * 0x01000193U;
    EXPECT_EQ(Proc::HashPicture(*packed), expected);
}

TEST(DataSkipper, SoundAndPacketsPassAsTheyAreMapped) {
    auto controller = MakeShared<FilterCutController>();
    controller->UpdateSettings(Cuts({{100000, 150000}}));
    std::vector<iptr<Proc::IDataAudio>> blocks;
    for (int i = 0; i < 3; ++i) blocks.push_back(MakeBlock(i * 100000, 100, i * 100));
    auto sound = MakeShared<Proc::DataSkipperStreamImpl<Proc::IStreamAudio>>(
        MakeShared<Source<Proc::IStreamAudio>>(blocks, 300000), controller);
    SeekTo(*sound, 0);
    auto const kept = ReadAll(*sound);
    ASSERT_EQ(kept.size(), 3U);
    EXPECT_EQ(kept[1]->GetSampleCount(), 50);
    auto packets =
        MakeShared<Proc::DataSkipperStreamImpl<IStreamRaw>>(MakeSoundSource(MakeSound(3, 100000), 300000), controller);
    SeekTo(*packets, 0);
    EXPECT_EQ(ReadAll(*packets).size(), 2U);
    EXPECT_EQ(packets->GetMediaType(), MEDIA_TYPE_AUDIO);
}

}  // namespace
}  // namespace Tarsel::CutTest
