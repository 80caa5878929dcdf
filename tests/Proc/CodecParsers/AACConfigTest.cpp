#include <gtest/gtest.h>

#include <array>

#include "Proc/CodecParsers/AACCodecParser.h"
#include "Proc/CodecParsers/NaluRange.h"
#include "contracts/Core/Exception.h"
#include "tests/support/AACBuilder.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/Packets.h"

namespace Tarsel::Proc::CodecParsers {
namespace {

using namespace TestSupport;

AudioSpecificConfig Decode(Bytes const& data) {
    return DataToAudioSpecificConfig(data.data(), data.size());
}

std::string DecodeFailure(Bytes const& data) {
    return MessageOf<Exception>([&] { Decode(data); });
}

iptr<IBlob> RepackPCE(Bytes const& data) {
    Core::DataBitInput in(Core::DataInputMemory::Create(data.data(), data.size()));
    return ReadPCE(in);
}

TEST(AACSampleRates, EachIndexHasTheRateOfTheStandard) {
    constexpr std::array<u32, 16> RATES = {96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050,
                                           16000, 12000, 11025, 8000,  7350,  0,     0,     0};
    for (u8 index = 0; index < 16; ++index) EXPECT_EQ(SamplingIndexToSampleRate(index), RATES[index]);
    for (u8 index = 0; index < 13; ++index) EXPECT_EQ(SampleRateToSamplingIndex(RATES[index]), index);
}

TEST(AACSampleRates, ARateOfZeroIsTheFirstIndexWithoutARate) {
    EXPECT_EQ(SampleRateToSamplingIndex(0), 13U);
}

TEST(AACSampleRates, AnIndexOutsideTheTableIsRefused) {
    for (u8 const index : {16, 17, 255})
        EXPECT_EQ(MessageOf<Exception>([&] { SamplingIndexToSampleRate(index); }), "Invalid sample rate index");
}

TEST(AACSampleRates, ARateOutsideTheTableIsRefused) {
    for (u32 const rate : {1U, 44101U, 96001U, 0xFFFFFFFFU})
        EXPECT_EQ(MessageOf<Exception>([&] { SampleRateToSamplingIndex(rate); }), "Invalid sample rate value");
}

TEST(AACConfig, ALowComplexityStereoConfigIsRead) {
    AudioSpecificConfig const config = Decode({0x12, 0x10});
    EXPECT_EQ(config.audioObjectType, 2);
    EXPECT_EQ(config.samplingIndex, 4);
    EXPECT_EQ(config.sampleRate, 44100U);
    EXPECT_EQ(config.channelConfiguration, 2);
    EXPECT_EQ(config.pce, nullptr);
}

TEST(AACConfig, BytesBehindTheFixedPartDoNotMatterWithAChannelConfiguration) {
    AudioSpecificConfig const config = Decode({0x12, 0x10, 0x56, 0xE5, 0x00});
    EXPECT_EQ(config.audioObjectType, 2);
    EXPECT_EQ(config.channelConfiguration, 2);
}

TEST(AACConfig, ObjectTypesFrom32OnAreReadThroughTheEscape) {
    for (u32 const type : {32U, 42U, 95U}) {
        AudioSpecificConfig const config = Decode(BuildASC({.objectType = type}));
        EXPECT_EQ(config.audioObjectType, type);
        EXPECT_EQ(config.channelConfiguration, 2);
    }
}

TEST(AACConfig, AnExplicitRateKeepsItsLowestEightBitsOnly) {
    AudioSpecificConfig const config = Decode(BuildASC({.samplingIndex = 15, .explicitRate = 0x00AC44}));
    EXPECT_EQ(config.samplingIndex, 15);
    EXPECT_EQ(config.sampleRate, 68U);
    EXPECT_EQ(config.channelConfiguration, 2);
}

TEST(AACConfig, AnExplicitRateAbove96000IsNotRefusedBecauseItIsCut) {
    EXPECT_EQ(Decode(BuildASC({.samplingIndex = 15, .explicitRate = 96001})).sampleRate, 1U);
    EXPECT_EQ(Decode(BuildASC({.samplingIndex = 15, .explicitRate = 0xFFFFFF})).sampleRate, 255U);
    EXPECT_EQ(Decode(BuildASC({.samplingIndex = 0})).sampleRate, 96000U);
}

TEST(AACConfig, IndicesWithoutARateReadAsZero) {
    EXPECT_EQ(Decode(BuildASC({.samplingIndex = 13})).sampleRate, 0U);
    EXPECT_EQ(Decode(BuildASC({.samplingIndex = 14})).sampleRate, 0U);
}

TEST(AACConfig, AChannelConfigurationFromEightOnIsRefused) {
    EXPECT_EQ(Decode(BuildASC({.channelConfiguration = 7})).channelConfiguration, 7);
    for (u32 channels = 8; channels < 16; ++channels)
        EXPECT_EQ(DecodeFailure(BuildASC({.channelConfiguration = channels})), "Invalid channel configuration");
}

TEST(AACConfig, AnExtensionTypeIsReplacedByItsCoreType) {
    for (u32 const type : {5U, 29U}) {
        AudioSpecificConfig const config = Decode(BuildASC({.objectType = type, .samplingIndex = 7}));
        EXPECT_EQ(config.audioObjectType, 2);
        EXPECT_EQ(config.sampleRate, 22050U);
    }
}

TEST(AACConfig, TheRateOfAnExtensionIsNotKept) {
    AudioSpecificConfig const config = Decode(
        BuildASC({.objectType = 5, .samplingIndex = 7, .extensionIndex = 15, .extensionRate = 44100, .coreType = 42}));
    EXPECT_EQ(config.audioObjectType, 42);
    EXPECT_EQ(config.sampleRate, 22050U);
    EXPECT_EQ(config.samplingIndex, 7);
}

TEST(AACConfig, AConfigThatEndsTooEarlyIsRefused) {
    EXPECT_EQ(DecodeFailure({}), "Read past the end of data: 5 bits wanted at bit 0, 0 left");
    EXPECT_EQ(DecodeFailure({0x12}), "Read past the end of data: 4 bits wanted at bit 5, 3 left");
    EXPECT_EQ(DecodeFailure({0x17, 0x80}), "Read past the end of data: 24 bits wanted at bit 9, 7 left");
}

TEST(AACConfigLayout, AChannelConfigurationOfZeroInTwoBytesReadsPastTheEnd) {
    EXPECT_EQ(DecodeFailure({0x12, 0x00}), "Read past the end of data: 10 bits wanted at bit 16, 0 left");
}

TEST(AACConfigLayout, AChannelConfigurationOfZeroWithBytesBehindTheFixedPartIsRefused) {
    EXPECT_EQ(DecodeFailure({0x12, 0x00, 0x00}), "Invalid PCE data");
    Bytes data = {0x12, 0x00};
    Bytes const pce = BuildPCE(MakeSurroundPCE());
    data.insert(data.end(), pce.begin(), pce.end());
    EXPECT_EQ(DecodeFailure(data), "Invalid PCE data");
}

// Where the fixed part ends shows only in the size from which on there is data behind it.
void ExpectFixedPart(Bytes data, std::size_t size) {
    data.resize(size);
    EXPECT_EQ(DecodeFailure(data).substr(0, 21), "Skip past the end of ") << size;
    data.push_back(0);
    EXPECT_EQ(DecodeFailure(data), "Invalid PCE data") << size;
}

TEST(AACConfigLayout, AnExtensionBelongsToTheFixedPart) {
    ExpectFixedPart(BuildASC({.objectType = 5, .channelConfiguration = 0}), 3);                         // 22 bits
    ExpectFixedPart(BuildASC({.objectType = 29, .channelConfiguration = 0, .extensionIndex = 15}), 6);  // 46 bits
}

TEST(AACConfigLayout, TheChannelsOfAnErrorResilientExtensionBelongToTheFixedPart) {
    ASCFields const fields = {.objectType = 5, .channelConfiguration = 0, .extensionIndex = 15, .coreType = 22};
    Bytes data = BuildASC(fields);  // 46 bits, and 4 that are dropped
    data.resize(6);
    EXPECT_EQ(DecodeFailure(data), "Read past the end of data: 4 bits wanted at bit 46, 2 left");
    data.resize(7);
    EXPECT_EQ(DecodeFailure(data), "Invalid PCE data");
}

TEST(AACConfigLayout, TheSameTypeWithoutAnExtensionHasNoSuchChannels) {
    EXPECT_EQ(DecodeFailure(BuildASC({.objectType = 22, .channelConfiguration = 0})),
              "Read past the end of data: 10 bits wanted at bit 16, 0 left");
}

TEST(AACConfigLayout, ALosslessTypeIsFollowedByItsIdentifier) {
    BitWriter known;
    WriteASC(known, {.objectType = 36, .channelConfiguration = 0});
    ExpectFixedPart(known.Bits(0, 5).Bits(0x414C53, 24).GetBytes(), 6);  // 48 bits
}

TEST(AACConfigLayout, TheIdentifierFollowsALosslessCoreTypeToo) {
    BitWriter out;
    WriteASC(out, {.objectType = 5, .channelConfiguration = 0, .coreType = 36});
    Bytes data = out.Bits(0, 5).Bits(0x414C53, 24).GetBytes();  // 57 bits
    EXPECT_EQ(data.size(), 8U);
    EXPECT_EQ(DecodeFailure(data), "Invalid PCE data");
    data.pop_back();
    EXPECT_EQ(DecodeFailure(data), "Read past the end of data: 24 bits wanted at bit 33, 23 left");
}

TEST(AACConfigLayout, WithoutItsIdentifierALosslessTypeHasThreeBytesMore) {
    BitWriter out;
    WriteASC(out, {.objectType = 36, .channelConfiguration = 0});
    ExpectFixedPart(out.Bits(0, 5).Bits(0x414C54, 24).GetBytes(), 9);  // 72 bits
}

TEST(AACConfigLayout, OnlyDataThatEndsWithTheFixedPartIsOpened) {
    Bytes const data(4, 0);
    auto const failure = [&](u64 position) {
        return MessageOf<Exception>([&] { ExtractPCEFromASCExtradata(data.data(), data.size(), position); });
    };
    for (u64 const position : {0U, 13U, 28U}) EXPECT_EQ(failure(position), "Invalid PCE data");
    EXPECT_EQ(failure(29), "Read past the end of data: 10 bits wanted at bit 32, 0 left");
    EXPECT_EQ(failure(30), "Skip past the end of data: 3 bits wanted at bit 30, 2 left");
    EXPECT_EQ(failure(33), "Skip past the end of data: 33 bits wanted at bit 0, 32 left");
    EXPECT_EQ(failure(0xFFFFFFFF), "Skip past the end of data: 4294967295 bits wanted at bit 0, 32 left");
    EXPECT_EQ(failure(~u64(0)), "Skip past the end of data: 18446744073709551615 bits wanted at bit 0, 32 left");
}

TEST(AACConfigToData, FieldsAreWrittenInTwoBytes) {
    AudioSpecificConfig config;
    config.audioObjectType = 2;
    config.samplingIndex = 4;
    config.channelConfiguration = 2;
    EXPECT_EQ(GetBytes(AudioSpecificConfigToData(config)), (Bytes{0x12, 0x10}));
    config.audioObjectType = 30;
    config.samplingIndex = 15;
    config.channelConfiguration = 7;
    EXPECT_EQ(GetBytes(AudioSpecificConfigToData(config)), (Bytes{0xF7, 0xB8}));
}

TEST(AACConfigToData, TheElementFollowsWhenItTellsTheLayout) {
    AudioSpecificConfig config;
    config.audioObjectType = 2;
    config.samplingIndex = 3;
    config.pce = MakeBlob({1, 2, 3});
    EXPECT_EQ(GetBytes(AudioSpecificConfigToData(config)), (Bytes{0x11, 0x80, 1, 2, 3}));
    config.channelConfiguration = 1;
    EXPECT_EQ(GetBytes(AudioSpecificConfigToData(config)), (Bytes{0x11, 0x88}));
}

TEST(AACConfigToData, ALayoutWithoutAnElementIsRefused) {
    EXPECT_EQ(MessageOf<Exception>([] { AudioSpecificConfigToData({}); }), "PCE data not found");
}

TEST(AACProgramConfig, TheCommentIsReadUnalignedAndWrittenAligned) {
    PCEFields fields = MakeSurroundPCE();
    fields.comment = {'a', 'b', 0xFF};
    BitWriter packed;
    WritePCE(packed, fields, false);
    EXPECT_EQ(packed.GetBitCount(), 53U + 8 + 24);
    EXPECT_EQ(GetBytes(RepackPCE(packed.GetBytes())), BuildPCE(fields));
    EXPECT_EQ(BuildPCE(fields).size(), 7U + 1 + 3);
}

TEST(AACProgramConfig, ReadingStopsRightBehindTheComment) {
    PCEFields fields = MakeSurroundPCE();
    fields.comment = {1, 2};
    BitWriter out;
    WritePCE(out, fields, false);
    Bytes const data = out.Bits(0xABCD, 16).GetBytes();
    Core::DataBitInput in(Core::DataInputMemory::Create(data.data(), data.size()));
    ReadPCE(in);
    EXPECT_EQ(in.GetBitPosition(), 53U + 8 + 16);
    EXPECT_EQ(in.ReadBits(16), 0xABCDU);
}

TEST(AACProgramConfig, MixdownsAreCopiedWhenTheyAreThere) {
    PCEFields fields = MakeSurroundPCE();
    fields.monoMixdown = 9;
    fields.stereoMixdown = 6;
    fields.matrixMixdown = 5;
    BitWriter out;
    WritePCE(out, fields, false);
    EXPECT_EQ(GetBytes(RepackPCE(out.GetBytes())), BuildPCE(fields));
}

TEST(AACProgramConfig, EmptyAndFullCountsAreCopied) {
    PCEFields fields;
    BitWriter none;
    WritePCE(none, fields, false);
    EXPECT_EQ(GetBytes(RepackPCE(none.GetBytes())), BuildPCE(fields));
    fields.front = fields.side = fields.back = fields.coupling = Bytes(15, 0x15);
    fields.lfe = Bytes(3, 0xA);
    fields.associated = Bytes(7, 0x5);
    fields.comment = Bytes(255, 0xC3);
    BitWriter full;
    WritePCE(full, fields, false);
    EXPECT_EQ(GetBytes(RepackPCE(full.GetBytes())), BuildPCE(fields));
}

TEST(AACProgramConfig, EachCutOffElementIsRefused) {
    PCEFields fields = MakeSurroundPCE();
    fields.comment = {1, 2, 3};
    BitWriter out;
    WritePCE(out, fields, false);
    Bytes const data = out.GetBytes();
    for (std::size_t size = 0; size < data.size(); ++size) {
        Bytes const part(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(MessageOf<Exception>([&] { RepackPCE(part); }).substr(0, 25), "Read past the end of data") << size;
    }
}

}  // namespace
}  // namespace Tarsel::Proc::CodecParsers
