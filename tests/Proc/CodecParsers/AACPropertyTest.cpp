#include <gtest/gtest.h>

#include <random>

#include "Proc/CodecParsers/AACCodecParser.h"
#include "Proc/CodecParsers/NaluRange.h"
#include "contracts/Core/Exception.h"
#include "tests/support/AACBuilder.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/Packets.h"

namespace Tarsel::Proc::CodecParsers {
namespace {

using namespace TestSupport;

constexpr int DRAWS = 5000;

// Draws field values of a few bits each.
class Draw {
  public:
    explicit Draw(u32 seed) : random(seed) {}
    u32 Below(u32 limit) { return static_cast<u32>(random() % limit); }
    u8 Bits(unsigned count) { return static_cast<u8>(Below(1U << count)); }
    Bytes Elements(u32 limit, unsigned count) {
        Bytes elements(Below(limit));
        for (u8& element : elements) element = Bits(count);
        return elements;
    }
    std::optional<u8> Maybe(unsigned count) {
        if (Below(2) == 0) return std::nullopt;
        return Bits(count);
    }

  private:
    std::mt19937_64 random;
};

PCEFields DrawPCE(Draw& draw) {
    PCEFields fields;
    fields.tag = draw.Bits(4);
    fields.objectType = draw.Bits(2);
    fields.samplingIndex = draw.Bits(4);
    fields.front = draw.Elements(16, 5);
    fields.side = draw.Elements(16, 5);
    fields.back = draw.Elements(16, 5);
    fields.coupling = draw.Elements(16, 5);
    fields.lfe = draw.Elements(4, 4);
    fields.associated = draw.Elements(8, 4);
    fields.monoMixdown = draw.Maybe(4);
    fields.stereoMixdown = draw.Maybe(4);
    fields.matrixMixdown = draw.Maybe(3);
    fields.comment = draw.Elements(draw.Below(8) == 0 ? 256 : 12, 8);
    return fields;
}

ADTSFields DrawADTS(Draw& draw) {
    ADTSFields fields;
    fields.id = draw.Below(2);
    fields.layer = draw.Below(4);
    fields.protectionAbsent = draw.Below(2);
    fields.profile = draw.Below(4);
    fields.samplingIndex = draw.Below(15);
    fields.privateBit = draw.Below(2);
    fields.channelConfiguration = draw.Below(8);
    fields.flags = draw.Below(16);
    fields.frameLength = 7 + draw.Below(0x2000 - 7);
    fields.fullness = draw.Below(0x800);
    fields.blockCount = fields.protectionAbsent ? draw.Below(4) : 0;
    return fields;
}

void ExpectFields(ADTSHeader const& header, ADTSFields const& fields) {
    EXPECT_EQ(header.audioObjectType, fields.profile + 1);
    EXPECT_EQ(header.samplingIndex, fields.samplingIndex);
    EXPECT_EQ(header.sampleRate, SamplingIndexToSampleRate(static_cast<u8>(fields.samplingIndex)));
    EXPECT_EQ(header.protectionAbsent, fields.protectionAbsent);
    EXPECT_EQ(header.channelConfiguration, fields.channelConfiguration);
}

TEST(AACProperty, ConfigFieldsComeBackAsTheyWereWritten) {
    Draw draw(1);
    for (int i = 0; i < DRAWS; ++i) {
        ASCFields fields;
        fields.objectType = draw.Below(96);
        if (fields.objectType == 31) continue;  // the escape itself
        fields.samplingIndex = draw.Below(16);
        fields.explicitRate = draw.Below(1 << 24);
        fields.channelConfiguration = 1 + draw.Below(7);
        fields.extensionIndex = draw.Below(16);
        fields.extensionRate = draw.Below(1 << 24);
        fields.coreType = draw.Below(31);
        Bytes data = BuildASC(fields);
        data.resize(data.size() + 8);  // room for what some types have behind the fixed part
        AudioSpecificConfig const config = DataToAudioSpecificConfig(data.data(), data.size());
        bool const extended = fields.objectType == 5 || fields.objectType == 29;
        ASSERT_EQ(config.audioObjectType, extended ? fields.coreType : fields.objectType) << i;
        ASSERT_EQ(config.samplingIndex, fields.samplingIndex) << i;
        ASSERT_EQ(config.channelConfiguration, fields.channelConfiguration) << i;
        u32 const rate = fields.samplingIndex == 15 ? fields.explicitRate & 0xFF
                                                    : SamplingIndexToSampleRate(static_cast<u8>(fields.samplingIndex));
        ASSERT_EQ(config.sampleRate, rate) << i;
        ASSERT_EQ(config.pce, nullptr) << i;
    }
}

TEST(AACProperty, WrittenConfigsReadTheSame) {
    Draw draw(2);
    for (int i = 0; i < DRAWS; ++i) {
        AudioSpecificConfig config;
        config.audioObjectType = static_cast<u8>(draw.Below(31));
        if (config.audioObjectType == 5 || config.audioObjectType == 29) config.audioObjectType = 2;
        config.samplingIndex = static_cast<u8>(draw.Below(15));
        config.channelConfiguration = static_cast<u8>(1 + draw.Below(7));
        auto const data = AudioSpecificConfigToData(config);
        AudioSpecificConfig const back = DataToAudioSpecificConfig(data->GetData(), data->GetSize());
        ASSERT_EQ(back.audioObjectType, config.audioObjectType) << i;
        ASSERT_EQ(back.samplingIndex, config.samplingIndex) << i;
        ASSERT_EQ(back.channelConfiguration, config.channelConfiguration) << i;
    }
}

TEST(AACProperty, ProgramConfigsAreRepackedFromAnyBitPosition) {
    Draw draw(3);
    for (int i = 0; i < DRAWS; ++i) {
        PCEFields const fields = DrawPCE(draw);
        unsigned const lead = draw.Below(8);
        BitWriter out;
        out.Bits(draw.Bits(8), lead);
        WritePCE(out, fields, false);
        u64 const end = out.GetBitCount();
        Bytes const data = out.Bits(draw.Bits(8), 8).GetBytes();
        Core::DataBitInput in(Core::DataInputMemory::Create(data.data(), data.size()));
        in.SkipBits(lead);
        ASSERT_EQ(GetBytes(ReadPCE(in)), BuildPCE(fields)) << i;
        ASSERT_EQ(in.GetBitPosition(), end) << i;
    }
}

TEST(AACProperty, HeaderFieldsComeBackAsTheyWereWritten) {
    Draw draw(4);
    for (int i = 0; i < DRAWS; ++i) {
        ADTSFields const fields = DrawADTS(draw);
        PCEFields const pce = DrawPCE(draw);
        Bytes const data = BuildADTSWithPCE(fields, pce);
        ADTSHeader const header = DataToADTSHeader(data.data(), data.size());
        ExpectFields(header, fields);
        ASSERT_EQ(header.pce == nullptr, fields.channelConfiguration != 0) << i;
        if (header.pce) {
            ASSERT_EQ(GetBytes(header.pce), BuildPCE(pce)) << i;
        }
        if (fields.protectionAbsent) {
            ASSERT_EQ(GetADTSHeaderSize(data.data(), data.size()), data.size()) << i;
        }
    }
}

TEST(AACProperty, WrittenHeadersReadTheSameAndAreMeasuredByTheBitsRead) {
    Draw draw(5);
    for (int i = 0; i < DRAWS; ++i) {
        PCEFields fields = DrawPCE(draw);
        fields.comment.clear();
        ADTSHeader header;
        header.audioObjectType = static_cast<u8>(1 + draw.Below(4));
        header.samplingIndex = static_cast<u8>(draw.Below(15));
        header.protectionAbsent = 1;
        header.pce = MakeBlob(BuildPCE(fields));
        auto const data = SetADTSFrameLength(ADTSHeaderToData(header), 7);
        ADTSHeader const back = DataToADTSHeader(data->GetData(), data->GetSize());
        ASSERT_EQ(back.audioObjectType, header.audioObjectType) << i;
        ASSERT_EQ(back.samplingIndex, header.samplingIndex) << i;
        BitWriter unaligned;
        WritePCE(unaligned, fields, false);
        u64 const bits = 3 + unaligned.GetBitCount();
        // Zeros up to the byte boundary stand where the length of the comment is read.
        ASSERT_EQ(GetBytes(back.pce), GetBytes(header.pce)) << i;
        ASSERT_EQ(GetADTSHeaderSize(data->GetData(), data->GetSize()), 7 + (bits + 7) / 8) << i;
    }
}

TEST(AACProperty, ConfigsSurviveTheWayThroughAHeader) {
    Draw draw(6);
    for (int i = 0; i < DRAWS; ++i) {
        ASCFields const fields = {.objectType = 1 + draw.Below(3),
                                  .samplingIndex = draw.Below(15),
                                  .channelConfiguration = 1 + draw.Below(7)};
        Bytes const asc = BuildASC(fields);
        auto const header =
            SetADTSFrameLength(ASCExtradataToADTS(MakeBlob(asc)), static_cast<u16>(7 + draw.Below(999)));
        ASSERT_EQ(GetBytes(ADTSExtradataToASC(header)), asc) << i;
    }
}

TEST(AACProperty, FramesSurviveAHeaderPutOnAndTakenOff) {
    Draw draw(7);
    for (int i = 0; i < DRAWS; ++i) {
        Bytes frame = draw.Elements(200, 8);
        frame.insert(frame.begin(), draw.Bits(5));  // a single channel, not a program config
        auto const header = MakeBlob(BuildADTS(DrawADTS(draw)));
        auto const framed = InsertADTSHeader(MakePacket(frame, true), header, draw.Below(2) != 0);
        if ((header->GetData()[1] & 1U) == 0) {
            // The CRC that the header announces isn't there, so two bytes of the frame go.
            if (frame.size() <= 2 || (frame[2] >> 5) == 5) continue;
            frame.erase(frame.begin(), frame.begin() + 2);
        }
        ASSERT_EQ(GetBytes(RemoveADTSHeader(framed)), frame) << i;
    }
}

TEST(AACProperty, RandomBytesAreReadOrRefused) {
    Draw draw(8);
    int read = 0;
    for (int i = 0; i < DRAWS; ++i) {
        Bytes data = draw.Elements(40, 8);
        if (data.size() > 1 && draw.Below(2) != 0) data[0] = 0xFF, data[1] |= 0xF0;
        try {
            u32 const size = GetADTSHeaderSize(data.data(), data.size());
            ASSERT_TRUE(size <= 9 || size <= data.size()) << i;
            ++read;
        } catch (Exception const&) {
            // A program config that is cut off.
            ASSERT_TRUE(IsADTSHeader(data.data(), data.size())) << i;
        }
    }
    EXPECT_GT(read, DRAWS / 2);
}

}  // namespace
}  // namespace Tarsel::Proc::CodecParsers
