// What the bit stream filter chooses to do, and what each choice does to the global header and to packets.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "Proc/CodecParsers/AACCodecParser.h"
#include "Proc/CodecParsers/H264CodecParser.h"
#include "Proc/CodecParsers/HEVCCodecParser.h"
#include "Proc/Filters/Filters/FilterBitStream.h"
#include "contracts/Core/Exception.h"
#include "tests/support/BitStreams.h"
#include "tests/support/LogLines.h"
#include "tests/support/Matchers.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using TestSupport::BuildHEVCUnit;
using TestSupport::BuildSlice;
using TestSupport::GetBytes;
using TestSupport::JoinAnnexB;
using TestSupport::JoinAvcC;
using TestSupport::JoinHvcC;
using TestSupport::JoinMP4;
using TestSupport::MakeBlob;

using Needed = SettingsFilterBitStream::StreamFormat;

constexpr char NO_AAC_HEADER[] =
    "AAC has no extradata, can't setup FilterBitStream correctly, output can be undecodable";

PacketBytes Join(PacketBytes first, PacketBytes const& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

/// The packets that come out, as bytes; an empty list of bytes for a read that gave null in mid-stream.
std::vector<PacketBytes> Convert(iptr<IStreamRawEx> const& filter, std::size_t count) {
    std::vector<PacketBytes> out;
    for (std::size_t i = 0; i < count; ++i) {
        auto const packet = filter->Read();
        out.push_back(packet ? GetBytes(packet) : PacketBytes());
    }
    EXPECT_EQ(filter->Read(), nullptr);
    return out;
}

iptr<IStreamRawEx> MakeFilter(char const* codecId, iptr<IBlob> const& extradata, Needed needed,
                              std::vector<ScriptedRaw::Step> const& steps = {}) {
    return FilterBitStream::Create(MakeRaw(codecId, extradata, steps), SettingsFilterBitStream(needed));
}

PacketBytes HeaderOf(iptr<IStreamRawEx> const& filter) {
    auto const header = filter->GetFormatCodec()->GetExtradata();
    return header ? GetBytes(header) : PacketBytes();
}

// --- Choice ----------------------------------------------------------------------------------------------------------

struct ChoiceRow {
    char const* codecId;
    char const* what;
    iptr<IBlob> extradata;
    int modes[5];  // for ANNEX_B, MP4, RAW_AAC, ADTS, ANY
};

std::vector<ChoiceRow> AllChoices() {
    return {
        {H264, "Annex B", MakeBlob(H264AnnexBHeader()), {6, 0, 8, 8, 8}},
        {H264, "avcC", MakeBlob(H264AvcC()), {1, 8, 8, 8, 8}},
        {H264, "none", nullptr, {6, 0, 8, 8, 8}},
        {HEVC, "Annex B", MakeBlob(HEVCAnnexBHeader()), {7, 2, 8, 8, 8}},
        {HEVC, "hvcC", MakeBlob(HEVCHvcC()), {3, 8, 8, 8, 8}},
        {HEVC, "none", nullptr, {7, 2, 8, 8, 8}},
        {AAC, "ADTS", MakeBlob(AdtsHeader()), {8, 8, 4, 8, 8}},
        {AAC, "ASC", MakeBlob(AscHeader()), {8, 8, 8, 8, 8}},
        {AAC, "empty", MakeBlob({}), {8, 8, 8, 8, 8}},
        {AAC, "none", nullptr, {8, 8, 8, 8, 8}},
        {AAC_LATM, "ADTS", MakeBlob(AdtsHeader()), {8, 8, 4, 8, 8}},
        {AAC_LATM, "ASC", MakeBlob(AscHeader()), {8, 8, 8, 8, 8}},
        {AAC_LATM, "none", nullptr, {8, 8, 8, 8, 8}},
        {"vp9", "avcC", MakeBlob(H264AvcC()), {8, 8, 8, 8, 8}},
        {"mp3", "ADTS", MakeBlob(AdtsHeader()), {8, 8, 8, 8, 8}},
        {"mpeg4", "none", nullptr, {8, 8, 8, 8, 8}},
        {"none", "Annex B", MakeBlob(H264AnnexBHeader()), {8, 8, 8, 8, 8}},
    };
}

TEST(BitStreamMode, IsChosenByCodecHeaderAndWishedFraming) {
    for (auto const& row : AllChoices())
        for (Needed const needed : {ANNEX_B, MP4, RAW_AAC, ADTS, ANY})
            EXPECT_EQ(ChooseBitStreamMode(row.codecId, needed, row.extradata.get()), row.modes[needed])
                << row.codecId << ", header " << row.what << ", wanted " << needed;
}

TEST(BitStreamMode, HeadersOfAdtsAreNeverPutOn) {
    for (auto const& row : AllChoices())
        for (Needed const needed : {ANNEX_B, MP4, RAW_AAC, ADTS, ANY})
            EXPECT_NE(ChooseBitStreamMode(row.codecId, needed, row.extradata.get()), AAC_RAW_TO_ADTS);
    auto const filter =
        MakeFilter(AAC, MakeBlob(AscHeader()), ADTS, {NumberedPacket(0, true, {1, 2}, MEDIA_TYPE_AUDIO)});
    EXPECT_THAT(Convert(filter, 1), ElementsAre(PacketBytes{1, 2}));
    EXPECT_EQ(HeaderOf(filter), AscHeader());
}

TEST(BitStreamMode, AacWithoutAHeaderIsLoggedUnlessNothingIsWanted) {
    for (auto const* const codecId : {AAC, AAC_LATM}) {
        for (Needed const needed : {ANNEX_B, MP4, RAW_AAC, ADTS}) {
            LogLines const log(0);
            ChooseBitStreamMode(codecId, needed, nullptr);
            EXPECT_THAT(log.Get(google::GLOG_WARNING), ElementsAre(NO_AAC_HEADER));
        }
        LogLines const log(0);
        ChooseBitStreamMode(codecId, ANY, nullptr);
        ChooseBitStreamMode(codecId, RAW_AAC, MakeBlob({}).get());
        EXPECT_THAT(log.Get(google::GLOG_WARNING), IsEmpty());
    }
}

TEST(BitStreamMode, EmptyHeaderOfNalStreamsIsRefusedWithItsText) {
    auto const empty = MakeBlob({});
    for (Needed const needed : {ANNEX_B, MP4, RAW_AAC, ADTS}) {
        EXPECT_EQ(MessageOf<Exception>([&] { MakeFilter(H264, empty, needed); }),
                  "Not enougth data to determine h264 header type");
        EXPECT_EQ(MessageOf<Exception>([&] { MakeFilter(HEVC, empty, needed); }),
                  "Not enougth data to determine HEVC header type");
    }
    EXPECT_NO_THROW(MakeFilter(H264, empty, ANY));
}

TEST(BitStreamMode, MissingHeaderOfNalStreamsCountsAsAnnexB) {
    // In Annex B the packets may carry all that is needed; lengths can't be had without a header.
    for (auto const* const codecId : {H264, HEVC}) {
        auto const filter = MakeFilter(codecId, nullptr, ANNEX_B, {NumberedPacket(0, true, {0, 0, 1, 9, 9})});
        EXPECT_THAT(Convert(filter, 1), ElementsAre(PacketBytes{0, 0, 1, 9, 9}));
        EXPECT_EQ(filter->GetFormatCodec()->GetExtradata(), nullptr);
    }
    EXPECT_EQ(MessageOf<Exception>([] { MakeFilter(H264, nullptr, MP4); }),
              "Not enougth data to determine h264 header type");
    EXPECT_EQ(MessageOf<Exception>([] { MakeFilter(HEVC, nullptr, MP4); }),
              "Not enougth data to determine HEVC header type");
}

TEST(BitStreamMode, HeaderThatCannotBeConvertedIsRefusedWithItsText) {
    EXPECT_EQ(MessageOf<Exception>([] { MakeFilter(H264, MakeBlob(JoinAnnexB({H264Sets()[0]})), MP4); }),
              "No sps or pps found!");
    EXPECT_EQ(MessageOf<Exception>([] {
                  MakeFilter(H264, MakeBlob({1, 2, 3}), ANNEX_B);
              }),
              "Not enougth data to determine h264 NALU length size");
    EXPECT_EQ(MessageOf<Exception>([] {
                  MakeFilter(H264, MakeBlob({1, 2, 3, 4, 0xFF}), ANNEX_B);
              }),
              "avcC header is too small");
    EXPECT_EQ(MessageOf<Exception>([] { MakeFilter(HEVC, MakeBlob(JoinAnnexB({HEVCSets()[1]})), MP4); }),
              "Can't find nalu of type 32");
    EXPECT_EQ(MessageOf<Exception>([] {
                  MakeFilter(HEVC, MakeBlob({1, 2, 3}), ANNEX_B);
              }),
              "Not enougth data to determine HEVC NALU length size");
    auto adts = AdtsHeader();
    adts[2] = 0x7C;
    EXPECT_EQ(MessageOf<Exception>([&] { MakeFilter(AAC, MakeBlob(adts), RAW_AAC); }), "Invalid frequency index");
}

// --- H.264 -----------------------------------------------------------------------------------------------------------

TEST(BitStreamModeH264, AnnexBToMp4GivesAvcCAndFourByteLengths) {
    auto const key = NumberedPacket(0, true, JoinAnnexB({H264Sets()[0], H264Sets()[1], BuildSlice(5, 2)}));
    auto const filter = MakeFilter(H264, MakeBlob(H264AnnexBHeader()), MP4,
                                   {key, NumberedPacket(1, false, JoinAnnexB({BuildSlice(1, 0)}))});
    EXPECT_EQ(HeaderOf(filter), GetBytes(CodecParsers::H264_Extradata_AnnexBtoMp4(MakeBlob(H264AnnexBHeader()))));
    EXPECT_THAT(Convert(filter, 2), ElementsAre(JoinMP4({H264Sets()[0], H264Sets()[1], BuildSlice(5, 2)}, 4),
                                                JoinMP4({BuildSlice(1, 0)}, 4)));
}

TEST(BitStreamModeH264, Mp4ToAnnexBPutsTheHeaderInFrontOfKeyPackets) {
    for (int const lengthSize : {1, 2, 3, 4}) {
        auto const filter =
            MakeFilter(H264, MakeBlob(H264AvcC(lengthSize)), ANNEX_B,
                       {NumberedPacket(0, true, JoinMP4({BuildSlice(5, 2)}, lengthSize)),
                        NumberedPacket(1, false, JoinMP4({BuildSlice(1, 0), BuildSlice(1, 1)}, lengthSize)),
                        NumberedPacket(2, true, JoinMP4({BuildSlice(5, 2)}, lengthSize))});
        EXPECT_EQ(HeaderOf(filter), H264AnnexBHeader());
        auto const out = Convert(filter, 3);
        auto const key = Join(H264AnnexBHeader(), JoinAnnexB({BuildSlice(5, 2)}));
        EXPECT_EQ(out[0], key);
        EXPECT_EQ(out[2], key);
        // With three bytes a length field has room for the short start code only.
        if (lengthSize == 3)
            EXPECT_EQ(out[1], Join(Join({0, 0, 1}, BuildSlice(1, 0)), Join({0, 0, 1}, BuildSlice(1, 1))));
        else
            EXPECT_EQ(out[1], JoinAnnexB({BuildSlice(1, 0), BuildSlice(1, 1)})) << lengthSize;
    }
}

TEST(BitStreamModeH264, RecordWithoutParameterSetsGivesNoHeader) {
    // Streams that carry their parameter sets in the packets.
    auto const payload = {H264Sets()[0], H264Sets()[1], BuildSlice(5, 2)};
    auto const filter =
        MakeFilter(H264, MakeBlob(JoinAvcC({}, {})), ANNEX_B, {NumberedPacket(0, true, JoinMP4(payload, 4))});
    EXPECT_EQ(filter->GetFormatCodec()->GetExtradata(), nullptr);
    EXPECT_THAT(Convert(filter, 1), ElementsAre(JoinAnnexB(payload)));
}

TEST(BitStreamModeH264, AvcCWantedAsMp4LeavesPacketsUntouched) {
    auto const header = MakeBlob(H264AvcC(2));
    // Not even looked at: a broken packet passes too.
    auto const filter =
        MakeFilter(H264, header, MP4, {NumberedPacket(0, true, {1, 2, 3}), NumberedPacket(1, false, {})});
    EXPECT_THAT(Convert(filter, 2), ElementsAre(PacketBytes{1, 2, 3}, PacketBytes{}));
    EXPECT_EQ(filter->GetFormatCodec()->GetExtradata(), header);
}

TEST(BitStreamModeH264, AnnexBHeaderGoesInFrontOfEveryKeyPacketWithoutParameterSets) {
    auto const slice = JoinAnnexB({BuildSlice(5, 2)});
    auto const withSets = JoinAnnexB({H264Sets()[0], BuildSlice(5, 2)});
    auto const filter = MakeFilter(H264, MakeBlob(H264AnnexBHeader()), ANNEX_B,
                                   {NumberedPacket(0, true, slice), NumberedPacket(1, false, slice),
                                    NumberedPacket(2, true, withSets), NumberedPacket(3, true, slice)});
    EXPECT_EQ(HeaderOf(filter), H264AnnexBHeader());
    auto const inserted = Join(H264AnnexBHeader(), slice);
    EXPECT_THAT(Convert(filter, 4), ElementsAre(inserted, slice, withSets, inserted));
}

TEST(BitStreamModeH264, PacketsThereAndBackAreTheSame) {
    auto const payload = JoinAnnexB({BuildSlice(1, 0), BuildSlice(1, 1, 300)});
    auto const source = MakeRaw(H264, MakeBlob(H264AnnexBHeader()), {NumberedPacket(0, false, payload)});
    auto const there = FilterBitStream::Create(source, SettingsFilterBitStream(MP4));
    auto const back = FilterBitStream::Create(there, SettingsFilterBitStream(ANNEX_B));
    EXPECT_EQ(HeaderOf(back), H264AnnexBHeader());
    EXPECT_THAT(Convert(back, 1), ElementsAre(payload));
}

// --- HEVC ------------------------------------------------------------------------------------------------------------

TEST(BitStreamModeHEVC, AnnexBToMp4GivesHvcCAndFourByteLengths) {
    auto const filter = MakeFilter(HEVC, MakeBlob(HEVCAnnexBHeader()), MP4,
                                   {NumberedPacket(0, true, JoinAnnexB({BuildHEVCUnit(35), BuildHEVCUnit(19)})),
                                    NumberedPacket(1, false, JoinAnnexB({BuildHEVCUnit(1)}))});
    auto const header = HeaderOf(filter);
    EXPECT_EQ(header, GetBytes(CodecParsers::HEVC_Extradata_AnnexBtohvcC(MakeBlob(HEVCAnnexBHeader()))));
    EXPECT_EQ(CodecParsers::GetHvccNALULengthSize(header.data(), header.size()), 4);
    EXPECT_THAT(Convert(filter, 2),
                ElementsAre(JoinMP4({BuildHEVCUnit(35), BuildHEVCUnit(19)}, 4), JoinMP4({BuildHEVCUnit(1)}, 4)));
}

TEST(BitStreamModeHEVC, Mp4ToAnnexBPutsTheHeaderInFrontOfKeyPackets) {
    for (int const lengthSize : {1, 2, 4}) {
        auto const filter = MakeFilter(HEVC, MakeBlob(HEVCHvcC(lengthSize)), ANNEX_B,
                                       {NumberedPacket(0, true, JoinMP4({BuildHEVCUnit(19)}, lengthSize)),
                                        NumberedPacket(1, false, JoinMP4({BuildHEVCUnit(1)}, lengthSize))});
        EXPECT_EQ(HeaderOf(filter), HEVCAnnexBHeader());
        EXPECT_THAT(Convert(filter, 2), ElementsAre(Join(HEVCAnnexBHeader(), JoinAnnexB({BuildHEVCUnit(19)})),
                                                    JoinAnnexB({BuildHEVCUnit(1)})));
    }
}

TEST(BitStreamModeHEVC, RecordWithoutParameterSetsGivesNoHeader) {
    auto const header = JoinHvcC(TestSupport::MakeHEVCVPS(), TestSupport::MakeHEVCSPS(), {});
    auto const filter =
        MakeFilter(HEVC, MakeBlob(header), ANNEX_B, {NumberedPacket(0, true, JoinMP4({BuildHEVCUnit(19)}, 4))});
    EXPECT_EQ(filter->GetFormatCodec()->GetExtradata(), nullptr);
    EXPECT_THAT(Convert(filter, 1), ElementsAre(JoinAnnexB({BuildHEVCUnit(19)})));
}

TEST(BitStreamModeHEVC, BrokenPacketIsDropped) {
    LogLines const log(0);
    auto const filter = MakeFilter(HEVC, MakeBlob(HEVCHvcC()), ANNEX_B,
                                   {NumberedPacket(0, true, {0, 0, 0, 9, 1}), NumberedPacket(1, false, {0, 0, 0, 0}),
                                    NumberedPacket(2, false, JoinMP4({BuildHEVCUnit(1)}, 4))});
    EXPECT_THAT(Convert(filter, 3), ElementsAre(PacketBytes{}, PacketBytes{}, JoinAnnexB({BuildHEVCUnit(1)})));
    EXPECT_THAT(log.Get(google::GLOG_WARNING), ElementsAre("Dropping bad packet.", "Dropping bad packet."));
}

TEST(BitStreamModeHEVC, HvcCWantedAsMp4LeavesPacketsUntouched) {
    auto const header = MakeBlob(HEVCHvcC());
    auto const filter = MakeFilter(HEVC, header, MP4, {NumberedPacket(0, true, {1, 2, 3})});
    EXPECT_THAT(Convert(filter, 1), ElementsAre(PacketBytes{1, 2, 3}));
    EXPECT_EQ(filter->GetFormatCodec()->GetExtradata(), header);
}

TEST(BitStreamModeHEVC, AnnexBHeaderGoesInFrontOfEveryKeyPacketWithoutParameterSets) {
    auto const slice = JoinAnnexB({BuildHEVCUnit(19)});
    auto const withSets = JoinAnnexB({HEVCSets()[0], BuildHEVCUnit(19)});
    auto const filter = MakeFilter(
        HEVC, MakeBlob(HEVCAnnexBHeader()), ANNEX_B,
        {NumberedPacket(0, true, slice), NumberedPacket(1, false, slice), NumberedPacket(2, true, withSets)});
    EXPECT_EQ(HeaderOf(filter), HEVCAnnexBHeader());
    EXPECT_THAT(Convert(filter, 3), ElementsAre(Join(HEVCAnnexBHeader(), slice), slice, withSets));
}

// --- AAC -------------------------------------------------------------------------------------------------------------

TEST(BitStreamModeAAC, AdtsToRawTakesTheHeaderOffEachFrame) {
    for (auto const* const codecId : {AAC, AAC_LATM}) {
        auto const filter = MakeFilter(codecId, MakeBlob(AdtsHeader()), RAW_AAC,
                                       {NumberedPacket(0, true, AdtsFrame({1, 2, 3}), MEDIA_TYPE_AUDIO),
                                        NumberedPacket(1, true, AdtsFrame({4}), MEDIA_TYPE_AUDIO),
                                        NumberedPacket(2, true, {5, 6}, MEDIA_TYPE_AUDIO)});
        EXPECT_EQ(HeaderOf(filter), AscHeader());
        auto const first = filter->Read();
        EXPECT_THAT(first, IsPacket(0, 0, 40000, true));
        EXPECT_THAT(GetBytes(first), ElementsAre(1, 2, 3));
        EXPECT_THAT(Convert(filter, 2), ElementsAre(PacketBytes{4}, PacketBytes{5, 6}));
    }
}

TEST(BitStreamModeAAC, FrameThatIsShorterThanItsHeaderFailsTheReadAndTheNextIsGiven) {
    LogLines const log(0);
    auto const filter = MakeFilter(AAC, MakeBlob(AdtsHeader()), RAW_AAC,
                                   {NumberedPacket(0, true, AdtsFrame({}), MEDIA_TYPE_AUDIO),
                                    NumberedPacket(1, true, AdtsFrame({7}), MEDIA_TYPE_AUDIO)});
    EXPECT_EQ(MessageOf<Exception>([&] { filter->Read(); }), "The packet is smaller than header to remove");
    EXPECT_THAT(GetBytes(filter->Read()), ElementsAre(7));
    EXPECT_THAT(log.Get(google::GLOG_WARNING), IsEmpty());
}

TEST(BitStreamModeAAC, AscWantedAsRawIsLeftAsItIs) {
    auto const header = MakeBlob(AscHeader());
    auto const filter = MakeFilter(AAC, header, RAW_AAC, {NumberedPacket(0, true, {1, 2}, MEDIA_TYPE_AUDIO)});
    EXPECT_THAT(Convert(filter, 1), ElementsAre(PacketBytes{1, 2}));
    EXPECT_EQ(filter->GetFormatCodec()->GetExtradata(), header);
}

TEST(BitStreamModeAAC, StreamWithoutAHeaderIsLeftAsItIs) {
    auto const filter = MakeFilter(AAC, nullptr, RAW_AAC, {NumberedPacket(0, true, AdtsFrame({1}), MEDIA_TYPE_AUDIO)});
    EXPECT_THAT(Convert(filter, 1), ElementsAre(AdtsFrame({1})));
    EXPECT_EQ(filter->GetFormatCodec()->GetExtradata(), nullptr);
}

}  // namespace
}  // namespace Tarsel::Proc
