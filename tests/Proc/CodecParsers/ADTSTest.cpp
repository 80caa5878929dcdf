#include <gtest/gtest.h>

#include "Proc/CodecParsers/AACCodecParser.h"
#include "Proc/CodecParsers/NaluRange.h"
#include "contracts/Core/Exception.h"
#include "tests/support/AACBuilder.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/Packets.h"

namespace Tarsel::Proc::CodecParsers {
namespace {

using namespace TestSupport;

ADTSHeader Decode(Bytes const& data) {
    return DataToADTSHeader(data.data(), data.size());
}

std::string DecodeFailure(Bytes const& data) {
    return MessageOf<Exception>([&] { Decode(data); });
}

u32 HeaderSize(Bytes const& data) {
    return GetADTSHeaderSize(data.data(), data.size());
}

Bytes Encode(ADTSHeader const& header) {
    return GetBytes(ADTSHeaderToData(header));
}

ADTSHeader MakeStereo() {
    ADTSHeader header;
    header.sampleRate = 44100;
    header.audioObjectType = 2;
    header.samplingIndex = 4;
    header.protectionAbsent = 1;
    header.channelConfiguration = 2;
    return header;
}

ADTSHeader MakeSurround() {
    ADTSHeader header = MakeStereo();
    header.channelConfiguration = 0;
    header.pce = MakeBlob(BuildPCE(MakeSurroundPCE()));
    return header;
}

TEST(ADTSDetection, TwelveSetBitsAreASyncWord) {
    auto const is = [](Bytes const& data) { return IsADTSHeader(data.data(), data.size()); };
    EXPECT_TRUE(is({0xFF, 0xF0}));
    EXPECT_TRUE(is({0xFF, 0xFF, 0}));
    EXPECT_FALSE(is({}));
    EXPECT_FALSE(is({0xFF}));
    EXPECT_FALSE(is({0xFE, 0xF1}));
    EXPECT_FALSE(is({0xFF, 0xE1}));
    EXPECT_FALSE(is({0xFF, 0x71}));
    EXPECT_FALSE(IsADTSHeader(nullptr, 0));
}

TEST(ADTSDetection, AnElementOfIdFiveIsAProgramConfig) {
    for (unsigned byte = 0; byte < 256; ++byte) {
        u8 const data = static_cast<u8>(byte);
        EXPECT_EQ(IsPCE(&data, 1), byte >= 0xA0 && byte <= 0xBF);
    }
    EXPECT_FALSE(IsPCE(nullptr, 0));
}

TEST(ADTSSize, WithoutASyncWordItIsZero) {
    EXPECT_EQ(HeaderSize({}), 0U);
    EXPECT_EQ(HeaderSize({0xFF}), 0U);
    EXPECT_EQ(HeaderSize({0x12, 0x10, 0, 0, 0, 0, 0, 0}), 0U);
}

TEST(ADTSSize, ACRCAddsTwoBytes) {
    EXPECT_EQ(HeaderSize(BuildADTS({}, {0x21, 0})), 7U);
    EXPECT_EQ(HeaderSize(BuildADTS({.protectionAbsent = 0}, {0xAA, 0xAA, 0x21, 0})), 9U);
}

TEST(ADTSSize, ItDoesNotDependOnTheDataBeingThere) {
    EXPECT_EQ(HeaderSize({0xFF, 0xF1}), 7U);
    EXPECT_EQ(HeaderSize({0xFF, 0xF0}), 9U);
    EXPECT_EQ(HeaderSize(BuildADTS({.protectionAbsent = 0})), 9U);
}

TEST(ADTSSize, AProgramConfigCountsInWhateverTheChannelConfigurationSays) {
    PCEFields pce = MakeSurroundPCE();
    pce.comment = {1, 2, 3};
    EXPECT_EQ(HeaderSize(BuildADTSWithPCE({.channelConfiguration = 0}, pce)), 7U + 11);  // 3 + 53 + 8 + 24 bits
    EXPECT_EQ(HeaderSize(BuildADTSWithPCE({.channelConfiguration = 2}, pce)), 7U + 11);
}

TEST(ADTSSize, AProgramConfigIsLookedForBehindTheCRC) {
    BitWriter out;
    WriteADTS(out, {.protectionAbsent = 0, .channelConfiguration = 0});
    out.Bits(0xABCD, 16).Bits(5, 3);
    WritePCE(out, MakeSurroundPCE(), false);
    EXPECT_EQ(HeaderSize(out.Bits(0x1234, 16).GetBytes()), 9U + 8);
}

TEST(ADTSSize, AProgramConfigThatIsCutOffIsRefused) {
    Bytes const data = BuildADTSWithPCE({.channelConfiguration = 0}, MakeSurroundPCE());
    for (std::size_t size = 8; size < data.size(); ++size) {
        Bytes const part(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(MessageOf<Exception>([&] { HeaderSize(part); }).substr(0, 25), "Read past the end of data") << size;
    }
}

TEST(ADTSSize, AWrittenSurroundHeaderIsMeasuredOneByteTooShort) {
    Bytes const data = Encode(MakeSurround());
    EXPECT_EQ(data.size(), 16U);
    EXPECT_EQ(HeaderSize(data), 15U);
}

TEST(ADTSSize, AHeaderWithACRCIsMeasuredAsNineBytesButWrittenAsSeven) {
    ADTSHeader header = MakeStereo();
    header.protectionAbsent = 0;
    EXPECT_EQ(Encode(header).size(), 7U);
    EXPECT_EQ(HeaderSize(Encode(header)), 9U);
}

TEST(ADTSDecode, AllFieldsAreRead) {
    ADTSHeader const header = Decode({0xFF, 0xF1, 0x50, 0x80, 0x2E, 0x7F, 0xFC});
    EXPECT_EQ(header.audioObjectType, 2);
    EXPECT_EQ(header.samplingIndex, 4);
    EXPECT_EQ(header.sampleRate, 44100U);
    EXPECT_EQ(header.protectionAbsent, 1);
    EXPECT_EQ(header.channelConfiguration, 2);
    EXPECT_EQ(header.pce, nullptr);
}

TEST(ADTSDecode, WithoutASyncWordItIsRefused) {
    EXPECT_EQ(DecodeFailure({0xFF, 0xE1, 0x50, 0x80, 0x2E, 0x7F, 0xFC}), "Invalid data - no sync word found");
    EXPECT_EQ(DecodeFailure({0x12, 0x10}), "Invalid data - no sync word found");
}

TEST(ADTSDecode, TheFrequencyIndexFifteenIsRefused) {
    EXPECT_EQ(Decode(BuildADTS({.samplingIndex = 14})).sampleRate, 0U);
    EXPECT_EQ(DecodeFailure(BuildADTS({.samplingIndex = 15})), "Invalid frequency index");
}

TEST(ADTSDecode, AFrameShorterThanItsHeaderIsRefused) {
    for (u32 const length : {0U, 6U})
        EXPECT_EQ(DecodeFailure(BuildADTS({.frameLength = length})), "Frame length is smaller than ADTS header size!");
    EXPECT_EQ(Decode(BuildADTS({.frameLength = 7})).samplingIndex, 4);
}

TEST(ADTSDecode, SeveralBlocksWithACRCAreRefused) {
    for (u32 const count : {1U, 3U})
        EXPECT_EQ(DecodeFailure(BuildADTS({.protectionAbsent = 0, .blockCount = count})),
                  "Multiple RDBs per frame with CRC");
    EXPECT_EQ(Decode(BuildADTS({.protectionAbsent = 0, .blockCount = 0})).protectionAbsent, 0);
    EXPECT_EQ(Decode(BuildADTS({.protectionAbsent = 1, .blockCount = 3})).protectionAbsent, 1);
}

TEST(ADTSDecode, AProgramConfigIsReadForAChannelConfigurationOfZeroOnly) {
    Bytes const data = BuildADTSWithPCE({.channelConfiguration = 0}, MakeSurroundPCE());
    EXPECT_EQ(GetBytes(Decode(data).pce), BuildPCE(MakeSurroundPCE()));
    EXPECT_EQ(Decode(BuildADTSWithPCE({.channelConfiguration = 1}, MakeSurroundPCE())).pce, nullptr);
}

TEST(ADTSDecode, AnotherElementBehindTheHeaderLeavesTheProgramConfigOut) {
    EXPECT_EQ(Decode(BuildADTS({.channelConfiguration = 0}, {0x21})).pce, nullptr);
}

TEST(ADTSDecode, AProgramConfigBehindACRCIsNotFound) {
    BitWriter out;
    WriteADTS(out, {.protectionAbsent = 0, .channelConfiguration = 0});
    out.Bits(0, 16).Bits(5, 3);
    WritePCE(out, MakeSurroundPCE(), false);
    EXPECT_EQ(Decode(out.GetBytes()).pce, nullptr);
}

TEST(ADTSDecode, EachCutOffHeaderIsRefused) {
    Bytes const data = BuildADTSWithPCE({.channelConfiguration = 0}, MakeSurroundPCE());
    for (std::size_t size = 0; size < data.size(); ++size) {
        Bytes const part(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(DecodeFailure(part).substr(0, 25), "Read past the end of data") << size;
    }
}

TEST(ADTSEncode, AHeaderIsWrittenWithoutFrameLength) {
    EXPECT_EQ(Encode(MakeStereo()), (Bytes{0xFF, 0xF1, 0x50, 0x80, 0x00, 0x1F, 0xFC}));
}

TEST(ADTSEncode, TheCRCIsAnnouncedButNeverWritten) {
    ADTSHeader header = MakeStereo();
    header.protectionAbsent = 0;
    EXPECT_EQ(Encode(header), (Bytes{0xFF, 0xF0, 0x50, 0x80, 0x00, 0x1F, 0xFC}));
}

TEST(ADTSEncode, TheProgramConfigFollowsItsIdBitByBit) {
    ADTSHeader header = MakeStereo();
    header.channelConfiguration = 0;
    header.pce = MakeBlob({0xFF, 0x00, 0xFF});
    EXPECT_EQ(Encode(header), (Bytes{0xFF, 0xF1, 0x50, 0x00, 0x00, 0x1F, 0xFC, 0xBF, 0xE0, 0x1F, 0xE0}));
}

TEST(ADTSEncode, AProgramConfigIsNotWrittenNextToAChannelConfiguration) {
    ADTSHeader header = MakeSurround();
    header.channelConfiguration = 6;
    EXPECT_EQ(Encode(header).size(), 7U);
}

TEST(ADTSEncode, ALayoutWithoutAProgramConfigIsRefused) {
    ADTSHeader header = MakeStereo();
    header.channelConfiguration = 0;
    EXPECT_EQ(MessageOf<Exception>([&] { Encode(header); }), "PCE data not found");
}

TEST(ADTSFromASC, FieldsAreCopiedAndThereIsNoCRC) {
    AudioSpecificConfig config;
    config.sampleRate = 48000;
    config.audioObjectType = 3;
    config.samplingIndex = 3;
    config.pce = MakeBlob({1});
    ADTSHeader const header = ASCtoADTS(config);
    EXPECT_EQ(header.sampleRate, 48000U);
    EXPECT_EQ(header.audioObjectType, 3);
    EXPECT_EQ(header.samplingIndex, 3);
    EXPECT_EQ(header.protectionAbsent, 1);
    EXPECT_EQ(header.channelConfiguration, 0);
    EXPECT_EQ(header.pce, config.pce);
}

TEST(ADTSFromASC, ObjectTypesAboveThreeAreRefused) {
    for (u8 const type : {4, 5, 29, 42}) {
        AudioSpecificConfig config;
        config.audioObjectType = type;
        config.channelConfiguration = 2;
        EXPECT_EQ(MessageOf<Exception>([&] { ASCtoADTS(config); }), "Given MPEG-4 AOT is not allowed in ADTS");
    }
}

TEST(ADTSFromASC, AnExplicitRateIsRefused) {
    AudioSpecificConfig config;
    config.audioObjectType = 2;
    config.samplingIndex = 15;
    config.channelConfiguration = 2;
    EXPECT_EQ(MessageOf<Exception>([&] { ASCtoADTS(config); }), "Illegal sample rate index for ADTS");
}

TEST(ADTSFromASC, ALayoutWithoutAProgramConfigIsRefused) {
    AudioSpecificConfig config;
    config.audioObjectType = 2;
    EXPECT_EQ(MessageOf<Exception>([&] { ASCtoADTS(config); }), "PCE data not found");
}

TEST(ADTSToASC, FieldsAreCopied) {
    ADTSHeader const header = MakeSurround();
    AudioSpecificConfig const config = ADTStoASC(header);
    EXPECT_EQ(config.sampleRate, 44100U);
    EXPECT_EQ(config.audioObjectType, 2);
    EXPECT_EQ(config.samplingIndex, 4);
    EXPECT_EQ(config.channelConfiguration, 0);
    EXPECT_EQ(config.pce, header.pce);
}

TEST(ADTSToASC, ALayoutWithoutAProgramConfigIsRefused) {
    ADTSHeader header = MakeStereo();
    header.channelConfiguration = 0;
    EXPECT_EQ(MessageOf<Exception>([&] { ADTStoASC(header); }), "PCE data not found");
}

TEST(ADTSToASC, AnIndexOutsideTheTableIsRefused) {
    ADTSHeader header = MakeStereo();
    header.samplingIndex = 15;
    EXPECT_EQ(ADTStoASC(header).samplingIndex, 15);
    header.samplingIndex = 16;
    EXPECT_EQ(MessageOf<Exception>([&] { ADTStoASC(header); }), "Illegal sample rate index for ASC");
}

TEST(ADTSExtradata, AHeaderBecomesAConfig) {
    auto const asc = ADTSExtradataToASC(MakeBlob({0xFF, 0xF1, 0x50, 0x80, 0x2E, 0x7F, 0xFC}));
    EXPECT_EQ(GetBytes(asc), (Bytes{0x12, 0x10}));
}

TEST(ADTSExtradata, TheProgramConfigOfAHeaderGoesIntoTheConfig) {
    auto const asc = ADTSExtradataToASC(MakeBlob(BuildADTSWithPCE({.channelConfiguration = 0}, MakeSurroundPCE())));
    Bytes expected = {0x12, 0x00};
    Bytes const pce = BuildPCE(MakeSurroundPCE());
    expected.insert(expected.end(), pce.begin(), pce.end());
    EXPECT_EQ(GetBytes(asc), expected);
}

TEST(ADTSExtradata, WhatIsNoHeaderGivesNoConfig) {
    EXPECT_EQ(ADTSExtradataToASC(nullptr), nullptr);
    EXPECT_EQ(ADTSExtradataToASC(MakeBlob({})), nullptr);
    EXPECT_EQ(ADTSExtradataToASC(MakeBlob({0x12, 0x10})), nullptr);
}

TEST(ADTSExtradata, ABrokenHeaderIsRefused) {
    EXPECT_EQ(MessageOf<Exception>([] { ADTSExtradataToASC(MakeBlob(BuildADTS({.frameLength = 0}))); }),
              "Frame length is smaller than ADTS header size!");
    EXPECT_EQ(MessageOf<Exception>([] { ADTSExtradataToASC(MakeBlob(BuildADTS({.channelConfiguration = 0}, {0}))); }),
              "PCE data not found");
}

TEST(ADTSExtradata, AWrittenHeaderIsRefusedUntilItHasAFrameLength) {
    auto const header = ASCExtradataToADTS(MakeBlob({0x12, 0x10}));
    EXPECT_EQ(MessageOf<Exception>([&] { ADTSExtradataToASC(header); }),
              "Frame length is smaller than ADTS header size!");
    EXPECT_EQ(GetBytes(ADTSExtradataToASC(SetADTSFrameLength(header, 7))), (Bytes{0x12, 0x10}));
}

TEST(ADTSExtradata, AConfigBecomesAHeader) {
    EXPECT_EQ(GetBytes(ASCExtradataToADTS(MakeBlob({0x12, 0x10}))), (Bytes{0xFF, 0xF1, 0x50, 0x80, 0x00, 0x1F, 0xFC}));
    // SBR over a low complexity core: the core is what the header tells.
    EXPECT_EQ(GetBytes(ASCExtradataToADTS(MakeBlob(BuildASC({.objectType = 5})))),
              (Bytes{0xFF, 0xF1, 0x50, 0x80, 0x00, 0x1F, 0xFC}));
}

TEST(ADTSExtradata, NoConfigIsRefused) {
    std::string const text = "Read past the end of data: 5 bits wanted at bit 0, 0 left";
    EXPECT_EQ(MessageOf<Exception>([] { ASCExtradataToADTS(nullptr); }), text);
    EXPECT_EQ(MessageOf<Exception>([] { ASCExtradataToADTS(MakeBlob({})); }), text);
}

TEST(ADTSExtradata, ConfigsThatADTSCannotTellAreRefused) {
    auto const failure = [](ASCFields const& fields) {
        return MessageOf<Exception>([&] { ASCExtradataToADTS(MakeBlob(BuildASC(fields))); });
    };
    EXPECT_EQ(failure({.objectType = 42}), "Given MPEG-4 AOT is not allowed in ADTS");
    EXPECT_EQ(failure({.objectType = 5, .coreType = 5}), "Given MPEG-4 AOT is not allowed in ADTS");
    EXPECT_EQ(failure({.samplingIndex = 15}), "Illegal sample rate index for ADTS");
    EXPECT_EQ(failure({.channelConfiguration = 8}), "Invalid channel configuration");
}

TEST(ADTSFrameLength, TheThirteenBitsAreSetAndNoOthers) {
    for (u8 const fill : {0x00, 0xFF}) {
        Bytes header = {0xFF, 0xF1, 0x50, fill, fill, fill, fill, 0xAB};
        auto const origin = MakeBlob(header);
        auto const result = GetBytes(SetADTSFrameLength(origin, 0x1234));
        header[3] = static_cast<u8>((fill & 0xFC) | 0x2);
        header[4] = 0x46;
        header[5] = static_cast<u8>((fill & 0x1F) | 0x80);
        EXPECT_EQ(result, header);
        EXPECT_EQ(GetBytes(origin), (Bytes{0xFF, 0xF1, 0x50, fill, fill, fill, fill, 0xAB}));
    }
}

TEST(ADTSFrameLength, ThirteenBitsAreAccepted) {
    auto const result = SetADTSFrameLength(MakeBlob({0xFF, 0xF1, 0x50, 0x80, 0x00, 0x1F, 0xFC}), 0x1FFF);
    EXPECT_EQ(GetBytes(result), (Bytes{0xFF, 0xF1, 0x50, 0x83, 0xFF, 0xFF, 0xFC}));
}

TEST(ADTSFrameLength, FourteenBitsAreRefused) {
    auto const header = MakeBlob({0xFF, 0xF1, 0x50, 0x80, 0x00, 0x1F, 0xFC});
    for (u16 const length : {0x2000, 0xFFFF})
        EXPECT_EQ(MessageOf<Exception>([&] { SetADTSFrameLength(header, length); }),
                  "Packet data is too large for ADTS format!");
}

TEST(ADTSFrameLength, WhatIsNoWholeHeaderIsRefused) {
    auto const failure = [](iptr<IBlob> const& header) {
        return MessageOf<Exception>([&] { SetADTSFrameLength(header, 0x2000); });
    };
    std::string const text = "Given ADTS header is not valid. Frame length cannot be set.";
    EXPECT_EQ(failure(nullptr), text);
    EXPECT_EQ(failure(MakeBlob({})), text);
    EXPECT_EQ(failure(MakeBlob({0xFF, 0xF1, 0x50, 0x80, 0x00, 0x1F})), text);
    EXPECT_EQ(failure(MakeBlob({0x12, 0x10, 0, 0, 0, 0, 0})), text);
}

}  // namespace
}  // namespace Tarsel::Proc::CodecParsers
