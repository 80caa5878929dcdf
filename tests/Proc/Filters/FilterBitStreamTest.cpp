#include "Proc/Filters/Filters/FilterBitStream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <typeinfo>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IStreamVisitor.h"
#include "tests/support/BitStreams.h"
#include "tests/support/LogLines.h"
#include "tests/support/Matchers.h"
#include "tests/support/OtherSettings.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using TestSupport::BuildSlice;
using TestSupport::GetBytes;
using TestSupport::JoinAnnexB;
using TestSupport::JoinMP4;
using TestSupport::MakeBlob;

iptr<IStreamRawEx> MakeFilter(iptr<IStreamRaw> const& source, SettingsFilterBitStream::StreamFormat needed) {
    return FilterBitStream::Create(source, SettingsFilterBitStream(needed));
}

iptr<IBlob> AvcC() {
    return MakeBlob(H264AvcC());
}

/// A length-prefixed H.264 stream of `count` packets, each fifth a key.
std::vector<ScriptedRaw::Step> LengthPrefixed(int count) {
    std::vector<ScriptedRaw::Step> steps;
    for (int i = 0; i < count; ++i)
        steps.emplace_back(NumberedPacket(i, i % 5 == 0, JoinMP4({BuildSlice(i % 5 == 0 ? 5 : 1, 2, 4 + i)}, 4)));
    return steps;
}

// --- Making ----------------------------------------------------------------------------------------------------------

TEST(FilterBitStream, NullSourceIsRefused) {
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { MakeFilter(nullptr, ANY); }), "parentStream is NULL.");
}

TEST(FilterBitStream, SourceWithoutAFormatIsRefused) {
    auto const source = ScriptedRaw::Create({});
    source->format = nullptr;
    EXPECT_EQ(MessageOf<FilterException>([&] { MakeFilter(source, ANY); }), "Source format codec must be present");
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
}

TEST(FilterBitStream, SettingsOfAnotherClassAreRefusedAndTheFilterReleased) {
    auto const source = MakeRaw(H264, AvcC());
    EXPECT_THROW(FilterBitStream::Create(source, OtherSettings()), std::bad_cast);
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
}

TEST(FilterBitStream, PropertyFormAndSettingsAreDeprecated) {
    auto const filter = MakeFilter(MakeRaw(H264, AvcC()), ANNEX_B);
    IStream& base = *filter;
    EXPECT_EQ(MessageOf<std::logic_error>([&] { base.Initialize(Core::Property("x")); }), "Deprecated method");
    EXPECT_EQ(MessageOf<std::logic_error>([&] { base.GetSettings(); }), "Deprecated method");
}

TEST(FilterBitStream, CodecIsThatOfTheConstruction) {
    auto const source = MakeRaw(H264, AvcC());
    auto const filter = MakeShared<FilterBitStreamImpl>(source);
    source->format->SetCodecID("vp9");
    filter->UpdateSettings(SettingsFilterBitStream(ANNEX_B));
    EXPECT_EQ(filter->GetMode(), H264_MP4_TO_ANNEXB);
}

TEST(FilterBitStream, SourceThatNamesNoCodecPassesThrough) {
    auto const source = ScriptedRaw::Create({MakePacket(0, 0, 40, true, {1, 2, 3})});
    source->format->SetExtradata(AvcC());
    auto const filter = MakeShared<FilterBitStreamImpl>(source);
    filter->UpdateSettings(SettingsFilterBitStream(ANNEX_B));
    EXPECT_EQ(filter->GetMode(), PASS_THROUGH);
    EXPECT_THAT(GetBytes(filter->Read()), ElementsAre(1, 2, 3));
}

TEST(FilterBitStream, UninitializedFilterPassesPacketsAndHeaderThrough) {
    auto const header = AvcC();
    auto const filter = MakeShared<FilterBitStreamImpl>(MakeRaw(H264, header, LengthPrefixed(1)));
    EXPECT_EQ(filter->GetFormatCodec()->GetExtradata(), header);
    EXPECT_EQ(GetBytes(filter->Read()), JoinMP4({BuildSlice(5, 2, 4)}, 4));
}

TEST(FilterBitStream, SecondSettingsBeginWithTheSourcesHeader) {
    auto const source = MakeRaw(H264, AvcC(), LengthPrefixed(2));
    auto const filter = MakeShared<FilterBitStreamImpl>(source);
    filter->UpdateSettings(SettingsFilterBitStream(ANNEX_B));
    EXPECT_EQ(GetBytes(filter->GetFormatCodec()->GetExtradata()), H264AnnexBHeader());
    filter->UpdateSettings(SettingsFilterBitStream(MP4));
    EXPECT_EQ(filter->GetMode(), PASS_THROUGH);
    EXPECT_EQ(filter->GetFormatCodec()->GetExtradata(), source->format->GetExtradata());
    filter->Initialize(SettingsFilterBitStream(ANNEX_B));
    EXPECT_EQ(filter->GetMode(), H264_MP4_TO_ANNEXB);
    EXPECT_EQ(GetBytes(filter->GetFormatCodec()->GetExtradata()), H264AnnexBHeader());
}

TEST(FilterBitStream, SettingsThatFailLeaveTheFilterAsItWas) {
    auto const source = MakeRaw(H264, AvcC(), LengthPrefixed(1));
    auto const filter = MakeShared<FilterBitStreamImpl>(source);
    filter->UpdateSettings(SettingsFilterBitStream(ANNEX_B));
    source->format->SetExtradata(MakeBlob({}));
    EXPECT_THROW(filter->UpdateSettings(SettingsFilterBitStream(MP4)), Exception);
    EXPECT_THROW(filter->UpdateSettings(OtherSettings()), std::bad_cast);
    EXPECT_EQ(filter->GetMode(), H264_MP4_TO_ANNEXB);
    EXPECT_EQ(GetBytes(filter->GetFormatCodec()->GetExtradata()), H264AnnexBHeader());
    auto expected = H264AnnexBHeader();
    auto const slice = JoinAnnexB({BuildSlice(5, 2, 4)});
    expected.insert(expected.end(), slice.begin(), slice.end());
    EXPECT_EQ(GetBytes(filter->Read()), expected);
}

// --- Reading ---------------------------------------------------------------------------------------------------------

TEST(FilterBitStream, EmptySourceGivesNullAtOnceAndTheCountStays0) {
    auto const filter = MakeFilter(MakeRaw(H264, AvcC()), ANNEX_B);
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->GetStatistic().Children().back(),
              Core::MakeStatistics("Tarsel::Proc::FilterBitStream::GetStatistic", 0, 0));
}

TEST(FilterBitStream, AnyLeavesEveryStreamAsItIsWithoutALogLine) {
    struct Stream {
        char const* codecId;
        iptr<IBlob> extradata;
    };
    LogLines const log(0);
    for (auto const& stream : {Stream{H264, AvcC()}, Stream{H264, MakeBlob(H264AnnexBHeader())}, Stream{H264, nullptr},
                               Stream{H264, MakeBlob({})}, Stream{HEVC, MakeBlob(HEVCHvcC())},
                               Stream{HEVC, MakeBlob({})}, Stream{AAC, nullptr}, Stream{AAC, MakeBlob(AscHeader())},
                               Stream{AAC_LATM, nullptr}, Stream{"vp9", nullptr}}) {
        auto const source = MakeRaw(stream.codecId, stream.extradata,
                                    {NumberedPacket(0, true, {0, 0, 1, 9}), NumberedPacket(1, false, {7})});
        auto const filter = MakeFilter(source, ANY);
        auto const packets = ReadAll(*filter);
        EXPECT_THAT(packets, ElementsAre(IsPacket(0, 0, 40000, true), IsPacket(40000, 40000, 40000, false)));
        EXPECT_THAT(source->delivered, ElementsAre(packets[0].get(), packets[1].get())) << stream.codecId;
        EXPECT_THAT(GetBytes(packets[0]), ElementsAre(0, 0, 1, 9));
        EXPECT_EQ(filter->GetFormatCodec()->GetExtradata(), stream.extradata) << stream.codecId;
    }
    EXPECT_THAT(log.Get(google::GLOG_WARNING), IsEmpty());
}

/// Gives the same object at each read, as a cache does.
class HoldingStream : public ScriptedRaw {
  public:
    explicit HoldingStream(iptr<IDataPacket> packet) : ScriptedRaw({}), packet(std::move(packet)) {}
    iptr<IDataPacket> Read() override { return packet; }

    iptr<IDataPacket> const packet;
};

/// A length-prefixed H.264 stream that gives `packet` again and again.
iptr<HoldingStream> MakeHolding(iptr<IDataPacket> const& packet) {
    auto source = MakeShared<HoldingStream>(packet);
    source->format->SetCodecID(H264);
    source->format->SetExtradata(AvcC());
    return source;
}

/// A key packet of a class of its own, which doesn't keep its key flag in the FFmpeg packet, and whose payload may be
/// impossible to have.
class ForeignPacket : public IDataPacket, public RefCounted {
  public:
    ForeignPacket(PacketBytes const& payload, bool readable)
        : inner(NumberedPacket(0, false, payload)), readable(readable) {}
    int64 GetDuration() const override { return inner->GetDuration(); }
    void SetDuration(int64 value) override { inner->SetDuration(value); }
    int64 GetTime() const override { return inner->GetTime(); }
    void SetTime(int64 value) override { inner->SetTime(value); }
    void CutBegin(int64 value) override { inner->CutBegin(value); }
    void Cut(int64 begin, int64 end) override { inner->Cut(begin, end); }
    void CutEnd(int64 value) override { inner->CutEnd(value); }
    int64 GetDecodingTime() const override { return inner->GetDecodingTime(); }
    void SetDecodingTime(int64 value) override { inner->SetDecodingTime(value); }
    int64 GetSourcePosition() const override { return inner->GetSourcePosition(); }
    void SetSourcePosition(int64 value) override { inner->SetSourcePosition(value); }
    bool IsKeyFrame() const override { return true; }
    std::size_t GetSize() const override { return inner->GetSize(); }
    AVPacket* GetAVPacket() override { return inner->GetAVPacket(); }
    iptr<IBlob> GetBlob() const override {
        if (!readable) TARSEL_THROW(Exception, "Can't create BlobFF");
        return inner->GetBlob();
    }
    MediaType GetMediaType() const override { return inner->GetMediaType(); }
    iptr<Conf::IFormatCodec const> GetFormatCodec() const override { return nullptr; }
    void SetFormatCodec(iptr<Conf::IFormatCodec const> const&) override {}
    iptr<IDataPacket> Clone(bool) const override { return MakeShared<ForeignPacket>(GetBytes(inner), readable); }

  private:
    iptr<IDataPacket> const inner;
    bool const readable;
};

TEST(FilterBitStream, BadPacketIsNullInMidStreamAndTheStreamGoesOn) {
    auto steps = LengthPrefixed(6);
    PacketBytes const broken = {0, 0, 0, 9, 0x41};
    steps[2] = NumberedPacket(2, false, broken);
    steps[5] = NumberedPacket(5, true, broken);
    auto const filter = MakeFilter(MakeRaw(H264, AvcC(), steps), ANNEX_B);
    LogLines const log(0);
    std::vector<bool> given;
    for (int i = 0; i < 6; ++i) given.push_back(filter->Read() != nullptr);
    EXPECT_THAT(given, ElementsAre(true, true, false, true, true, false));
    EXPECT_FALSE(filter->IsEndOfStream());
    EXPECT_THAT(log.Get(google::GLOG_WARNING), ElementsAre("Dropping bad packet.", "Dropping bad packet."));
    EXPECT_EQ(filter->GetStatistic().Children().back(),
              Core::MakeStatistics("Tarsel::Proc::FilterBitStream::GetStatistic", 0, 4));
}

TEST(FilterBitStream, BothKindsOfFailureDropAPacket) {
    LogLines const log(0);
    // A length past the end is a logic error.
    auto const lengths = MakeFilter(MakeRaw(H264, AvcC(), {NumberedPacket(0, false, {0, 0, 0, 9, 1})}), ANNEX_B);
    EXPECT_EQ(lengths->Read(), nullptr);
    EXPECT_EQ(log.Count("Dropping bad packet."), 1U);
    // A payload that can't be had is one of the library's own.
    auto const unreadable =
        MakeFilter(MakeHolding(MakeShared<ForeignPacket>(PacketBytes{0, 0, 0, 1, 0x65}, false)), ANNEX_B);
    EXPECT_EQ(unreadable->Read(), nullptr);
    EXPECT_EQ(log.Count("Dropping bad packet."), 2U);
}

TEST(FilterBitStream, FailureOfTheSourcePassesThrough) {
    auto const filter =
        MakeFilter(MakeRaw(H264, AvcC(), {Failure<FilterException>("broken"), LengthPrefixed(1)[0]}), ANNEX_B);
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Read(); }), "broken");
    EXPECT_NE(filter->Read(), nullptr);
    EXPECT_EQ(filter->Read(), nullptr);
}

TEST(FilterBitStream, KeyFlagTimesAndPositionStay) {
    for (auto const needed : {ANNEX_B, MP4}) {
        auto const lengths = needed == ANNEX_B;
        auto const payload = lengths ? JoinMP4({BuildSlice(5, 2)}, 4) : JoinAnnexB({BuildSlice(5, 2)});
        auto const source = MakeRaw(H264, lengths ? AvcC() : MakeBlob(H264AnnexBHeader()),
                                    {MakePacket(80, 40, 20, true, payload), MakePacket(100, 60, 20, false, payload)});
        auto const packets = ReadAll(*MakeFilter(source, needed));
        ASSERT_THAT(packets, ElementsAre(IsPacket(80, 40, 20, true), IsPacket(100, 60, 20, false)));
        EXPECT_EQ(packets[0]->GetAVPacket()->flags & 1, 1);
        EXPECT_EQ(packets[0]->GetSourcePosition(), 80);
    }
}

TEST(FilterBitStream, KeyPacketThatLostItsFlagInTheConversionGetsItBack) {
    auto const packet = MakeShared<ForeignPacket>(JoinMP4({BuildSlice(5, 2)}, 4), true);
    auto const converted = MakeFilter(MakeHolding(packet), ANNEX_B)->Read();
    ASSERT_NE(converted, nullptr);
    EXPECT_TRUE(converted->IsKeyFrame());
    EXPECT_EQ(packet->GetAVPacket()->flags & 1, 0);
}

TEST(FilterBitStream, PacketThatOthersHoldIsNotChanged) {
    auto const payload = JoinMP4({BuildSlice(1, 0)}, 4);
    auto const source = MakeHolding(NumberedPacket(0, false, payload));
    auto const filter = MakeFilter(source, ANNEX_B);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(GetBytes(filter->Read()), JoinAnnexB({BuildSlice(1, 0)}));
    EXPECT_EQ(GetBytes(source->packet), payload);
}

TEST(FilterBitStream, PacketThatNobodyElseHoldsIsConvertedInPlace) {
    auto const source = MakeRaw(H264, AvcC(), {NumberedPacket(0, false, JoinMP4({BuildSlice(1, 0)}, 4))});
    auto const packet = MakeFilter(source, ANNEX_B)->Read();
    EXPECT_THAT(source->delivered, ElementsAre(packet.get()));
    EXPECT_EQ(GetBytes(packet), JoinAnnexB({BuildSlice(1, 0)}));
}

// --- Seeking ---------------------------------------------------------------------------------------------------------

TEST(FilterBitStream, SeekAndReleaseGoToTheSource) {
    auto const source = MakeRaw(H264, AvcC());
    source->duration = 40;
    auto const filter = MakeFilter(source, ANNEX_B);
    filter->RequestSeek(100, source);
    filter->DoSeek();
    EXPECT_TRUE(filter->FinishSeek());
    filter->SetEndOfStream();
    EXPECT_TRUE(filter->IsEndOfStream());
    filter->ReleaseInternalData();
    EXPECT_EQ(filter->GetDuration(), 40);
    EXPECT_EQ(filter->GetMediaType(), MEDIA_TYPE_VIDEO);
    EXPECT_THAT(source->log.Take(),
                ElementsAre("RequestSeek(40, context)", "DoSeek", "SetEndOfStream", "ReleaseInternalData"));
}

TEST(FilterBitStream, PositionBehindASeekIsThatOfTheNextPacket) {
    auto const filter = MakeFilter(MakeRaw(H264, AvcC(), LengthPrefixed(10)), ANNEX_B);
    Seek(*filter, 200000);
    EXPECT_EQ(filter->GetPosition(), 200000);
    EXPECT_EQ(filter->Read()->GetTime(), 200000);
    EXPECT_EQ(filter->GetPosition(), 240000);
}

TEST(FilterBitStream, ReadingBehindAnySeekGivesWhatStraightReadingGives) {
    constexpr int COUNT = 40;
    struct Row {
        std::vector<ScriptedRaw::Step> steps;
        iptr<IBlob> extradata;
        SettingsFilterBitStream::StreamFormat needed;
    };
    std::vector<ScriptedRaw::Step> annexB;
    for (int i = 0; i < COUNT; ++i)
        annexB.emplace_back(NumberedPacket(i, i % 7 == 0, JoinAnnexB({BuildSlice(i % 7 == 0 ? 5 : 1, 2, 4 + i)})));
    for (Row const& row : {Row{LengthPrefixed(COUNT), AvcC(), ANNEX_B}, Row{annexB, MakeBlob(H264AnnexBHeader()), MP4},
                           Row{annexB, MakeBlob(H264AnnexBHeader()), ANNEX_B}}) {
        std::vector<PacketBytes> straight;
        for (auto const& packet : ReadAll(*MakeFilter(MakeRaw(H264, row.extradata, row.steps), row.needed)))
            straight.push_back(GetBytes(packet));
        ASSERT_EQ(straight.size(), std::size_t{COUNT});
        auto const filter = MakeFilter(MakeRaw(H264, row.extradata, row.steps), row.needed);
        std::mt19937 random(3);
        for (int round = 0; round < 100; ++round) {
            int const first = static_cast<int>(random() % COUNT);
            Seek(*filter, int64{40000} * first);
            if (random() % 2 != 0) {
                EXPECT_EQ(filter->GetPosition(), int64{40000} * first);
            }
            int const last = std::min<int>(COUNT, first + 1 + static_cast<int>(random() % 9));
            for (int i = first; i < last; ++i)
                ASSERT_EQ(GetBytes(filter->Read()), straight[static_cast<std::size_t>(i)]) << "packet " << i;
        }
    }
}

// --- Format ----------------------------------------------------------------------------------------------------------

TEST(FilterBitStream, EveryFormatIsACloneOfTheSourcesWithTheNewHeader) {
    auto const source = MakeRaw(H264, AvcC());
    source->format->SetMetadata(Core::Property("Tags").SetChild("title", "kept"));
    auto const filter = MakeFilter(source, ANNEX_B);
    auto const first = filter->GetFormatCodec();
    auto const second = filter->GetFormatCodec();
    EXPECT_NE(first, second);
    EXPECT_NE(dynamic_cast<Conf::IFormatCodecVideo const*>(first.get()), nullptr);
    EXPECT_EQ(first->GetCodecID(), H264);
    EXPECT_EQ(first->GetMetadata()["title"].GetString(), "kept");
    EXPECT_EQ(GetBytes(first->GetExtradata()), H264AnnexBHeader());
    EXPECT_EQ(GetBytes(source->format->GetExtradata()), H264AvcC());
}

TEST(FilterBitStream, SharedFormatOfASoundSourceIsNotChanged) {
    auto const source = MakeRaw(AAC, MakeBlob(AdtsHeader()));
    auto const filter = MakeFilter(source, RAW_AAC);
    auto const format = filter->GetFormatCodec();
    EXPECT_NE(dynamic_cast<Conf::IFormatCodecAudio const*>(format.get()), nullptr);
    EXPECT_EQ(GetBytes(format->GetExtradata()), AscHeader());
    EXPECT_EQ(GetBytes(source->format->GetExtradata()), AdtsHeader());
    EXPECT_EQ(filter->GetMediaType(), MEDIA_TYPE_AUDIO);
}

TEST(FilterBitStream, AdtsHeaderIsNeverShownAsHeaderOfSound) {
    for (auto const needed : {ANY, ADTS, MP4, ANNEX_B}) {
        auto const source = MakeRaw(AAC, MakeBlob(AdtsHeader()));
        EXPECT_EQ(MakeFilter(source, needed)->GetFormatCodec()->GetExtradata(), nullptr);
        EXPECT_EQ(GetBytes(source->format->GetExtradata()), AdtsHeader());
    }
}

TEST(FilterBitStream, HeaderOfOtherSoundIsShownAsItIs) {
    auto const header = MakeBlob({1, 2, 3});
    EXPECT_EQ(MakeFilter(MakeRaw(AAC, MakeBlob(AscHeader())), ADTS)->GetFormatCodec()->GetExtradata()->GetSize(), 2U);
    EXPECT_EQ(MakeFilter(MakeRaw("flac", header), RAW_AAC)->GetFormatCodec()->GetExtradata(), header);
}

// --- Reports ---------------------------------------------------------------------------------------------------------

TEST(FilterBitStream, StatisticsComeBehindTheSourcesAndCountPackets) {
    auto const filter = MakeFilter(MakeRaw(H264, AvcC(), LengthPrefixed(3)), ANNEX_B);
    ReadAll(*filter);
    filter->Read();
    Core::Property const statistic = filter->GetStatistic();
    ASSERT_EQ(statistic.Children().size(), 2U);
    EXPECT_EQ(statistic.Children()[0].Name(), "ScriptedStream");
    EXPECT_EQ(statistic.Children()[1], Core::MakeStatistics("Tarsel::Proc::FilterBitStream::GetStatistic", 0, 3));
}

TEST(FilterBitStream, VisitorMeetsItAsAPlainFilter) {
    auto const filter = MakeFilter(MakeRaw(H264, AvcC()), ANNEX_B);
    Visitors::InfoCollector names;
    Visitors::FrameTypeCollector types;
    filter->Accept(names);
    filter->Accept(types);
    EXPECT_THAT(names.names, ElementsAre("FilterBitStream", "ScriptedStream"));
    EXPECT_THAT(types.frameTypes, ElementsAre(5, 5));
    class Stranger : public IStreamVisitor {
        int GetType() const override { return 99; }
    } stranger;
    EXPECT_EQ(MessageOf<std::logic_error>([&] { filter->Accept(stranger); }), "Unknown visitor type");
}

}  // namespace
}  // namespace Tarsel::Proc
