#include "Proc/CodecParsers/MPEG2CodecParser.h"

#include <gtest/gtest.h>

#include <random>

#include "Proc/CodecParsers/NaluRange.h"
#include "contracts/Core/Exception.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/MpegBuilder.h"
#include "tests/support/Packets.h"

namespace Tarsel::Proc::CodecParsers {
namespace {

using namespace TestSupport;

MPEG2Config Decode(Bytes const& data) {
    MPEG2Config config;
    config.frame_rate_code = 3;  // stale contents must go
    config.sequence_extension.profile = 4;
    DecodeMPEG2Config(data.data(), data.size(), config);
    return config;
}

MPEG2Config MakeConfig() {
    MPEG2Config config;
    config.horizontal_size = 720;
    config.vertical_size = 576;
    config.aspect_ratio_information = 2;
    config.frame_rate_code = 3;
    config.bit_rate_value = 15000;
    config.vbv_buffer_size_value = 112;
    config.sequence_extension.profile = 4;
    config.sequence_extension.level = 8;
    config.sequence_extension.chroma_format = 1;
    return config;
}

Bytes Build(MPEG2Config const& config) {
    Bytes data = BuildMPEG2Header(config);
    Bytes const extension = BuildMPEG2Extension(config.sequence_extension);
    data.insert(data.end(), extension.begin(), extension.end());
    return data;
}

// What the decoder derives.
MPEG2Config Derive(MPEG2Config c, double baseRate) {
    MPEG2SequenceExtension const& e = c.sequence_extension;
    c.width = static_cast<u16>(e.horizontal_size_extension * 4096 + c.horizontal_size);
    c.height = static_cast<u16>(e.vertical_size_extension * 4096 + c.vertical_size);
    c.bit_rate = e.bit_rate_extension * 262144U + c.bit_rate_value;
    c.vbv_buffer_size = e.vbv_buffer_size_extension * 1024U + c.vbv_buffer_size_value;
    c.frame_rate = baseRate * (e.frame_rate_extension_n + 1) + (e.frame_rate_extension_d + 1);
    return c;
}

TEST(MPEG2ConfigDecoding, PlainHeaderReadsBack) {
    EXPECT_EQ(Decode(Build(MakeConfig())), Derive(MakeConfig(), 25));
}

TEST(MPEG2ConfigDecoding, FrameRateOf25ReadsAs26) {
    EXPECT_EQ(Decode(Build(MakeConfig())).frame_rate, 26);
}

TEST(MPEG2ConfigDecoding, LastTermOfTheFrameRateIsAdded) {
    MPEG2Config config = MakeConfig();
    config.sequence_extension.frame_rate_extension_n = 2;
    config.sequence_extension.frame_rate_extension_d = 30;
    EXPECT_EQ(Decode(Build(config)).frame_rate, 25 * 3 + 31);
}

TEST(MPEG2ConfigDecoding, EveryFrameRateCode) {
    double const rates[] = {23.976023976023978, 24, 25, 29.97002997002997, 30, 50, 59.94005994005994, 60};
    for (u8 code = 1; code <= 8; ++code) {
        MPEG2Config config = MakeConfig();
        config.frame_rate_code = code;
        EXPECT_EQ(Decode(Build(config)), Derive(config, rates[code - 1])) << int(code);
    }
}

TEST(MPEG2ConfigDecoding, OtherFrameRateCodesAreWrong) {
    for (u8 const code : {0, 9, 10, 15}) {
        MPEG2Config config = MakeConfig();
        config.frame_rate_code = code;
        EXPECT_EQ(MessageOf<Exception>([&] { Decode(Build(config)); }), "MPEG-2 config has wrong frame rate code");
    }
}

TEST(MPEG2ConfigDecoding, AbsentHeadersEndInTheFrameRateFailure) {
    for (Bytes const& data : {Bytes{}, Bytes{0, 0, 1}, Bytes(100, 0), Bytes{0, 0, 1, 0xB8, 1, 2, 3}})
        EXPECT_EQ(MessageOf<Exception>([&] { Decode(data); }), "MPEG-2 config has wrong frame rate code");
}

TEST(MPEG2ConfigDecoding, ExtensionAloneIsReadAndCodeZeroThrows) {
    MPEG2Config out;
    Bytes const data = BuildMPEG2Extension(MakeConfig().sequence_extension);
    EXPECT_EQ(MessageOf<Exception>([&] { DecodeMPEG2Config(data.data(), data.size(), out); }),
              "MPEG-2 config has wrong frame rate code");
    EXPECT_EQ(out.sequence_extension, MakeConfig().sequence_extension);
}

TEST(MPEG2ConfigDecoding, AHeaderWithoutExtensionIsMPEG1) {
    MPEG2Config config = MakeConfig();
    config.sequence_extension = {};
    EXPECT_EQ(Decode(BuildMPEG2Header(config)), Derive(config, 25));
}

TEST(MPEG2ConfigDecoding, HeadersAreFoundAnywhereAndInAnyOrder) {
    Bytes data = {1, 2, 3, 0, 0, 1, 0xB8, 9};
    for (Bytes const& part : {BuildMPEG2Extension(MakeConfig().sequence_extension), BuildMPEG2Header(MakeConfig())})
        data.insert(data.end(), part.begin(), part.end());
    EXPECT_EQ(Decode(data), Derive(MakeConfig(), 25));
}

TEST(MPEG2ConfigDecoding, AnotherExtensionFirstHasAWrongId) {
    Bytes data = BuildMPEG2Header(MakeConfig());
    for (u8 const byte : {0x00, 0x00, 0x01, 0xB5, 0x23, 0x05}) data.push_back(byte);
    EXPECT_EQ(MessageOf<Exception>([&] { Decode(data); }),
              "MPEG-2 config has wrong start code id in sequence extention");
}

TEST(MPEG2ConfigDecoding, LargestExtensionsFitTheRecord) {
    MPEG2Config config = MakeConfig();
    config.horizontal_size = config.vertical_size = 4095;
    config.bit_rate_value = 0x3FFFF;
    config.vbv_buffer_size_value = 0x3FF;
    config.sequence_extension.horizontal_size_extension = config.sequence_extension.vertical_size_extension = 3;
    config.sequence_extension.bit_rate_extension = 0xFFF;
    config.sequence_extension.vbv_buffer_size_extension = 0xFF;
    MPEG2Config const decoded = Decode(Build(config));
    EXPECT_EQ(decoded.width, 16383);
    EXPECT_EQ(decoded.height, 16383);
    EXPECT_EQ(decoded.bit_rate, 0x3FFFFFFFU);
    EXPECT_EQ(decoded.vbv_buffer_size, 0x3FFFFU);
}

TEST(MPEG2Property, DrawnHeaderReadsBack) {
    for (u32 seed = 1; seed <= 2000; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        std::mt19937 random(seed);
        auto const bits = [&](unsigned count) { return static_cast<u32>(random() & ((1U << count) - 1)); };
        MPEG2Config c;
        // The two size fields stay above what could read as a start code.
        c.horizontal_size = static_cast<u16>(0x800 | bits(11));
        c.vertical_size = static_cast<u16>(0x800 | bits(11));
        c.aspect_ratio_information = static_cast<u8>(1 + bits(3));
        c.frame_rate_code = 5;
        c.bit_rate_value = 0x20000 | bits(17);
        c.vbv_buffer_size_value = static_cast<u16>(bits(10));
        c.constrained_parameters_flag = static_cast<u8>(bits(1));
        if ((c.load_intra_quantiser_matrix = static_cast<u8>(bits(1))))
            for (u8& value : c.intra_quantiser_matrix) value = static_cast<u8>(8 | bits(8));
        if ((c.load_non_intra_quantiser_matrix = static_cast<u8>(bits(1))))
            for (u8& value : c.non_intra_quantiser_matrix) value = static_cast<u8>(8 | bits(8));
        MPEG2SequenceExtension& e = c.sequence_extension;
        e = {static_cast<u8>(bits(1)), static_cast<u8>(bits(3)), static_cast<u8>(bits(4)), static_cast<u8>(bits(1)),
             static_cast<u8>(bits(2)), static_cast<u8>(bits(2)), static_cast<u8>(bits(2)), static_cast<u16>(bits(12)),
             static_cast<u8>(bits(8)), static_cast<u8>(bits(1)), static_cast<u8>(bits(2)), static_cast<u8>(bits(5))};
        ASSERT_TRUE(Decode(Build(c)) == Derive(c, 30));
    }
}

TEST(MPEG2Hostile, EveryPrefixParsesOrThrows) {
    MPEG2Config config = MakeConfig();
    config.load_intra_quantiser_matrix = config.load_non_intra_quantiser_matrix = 1;
    config.intra_quantiser_matrix.fill(16);
    config.non_intra_quantiser_matrix.fill(17);
    Bytes const whole = Build(config);
    std::size_t const headerSize = BuildMPEG2Header(config).size();
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        Bytes const prefix(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        bool parsed = true;
        try {
            Decode(prefix);
        } catch (Exception const&) {
            parsed = false;
        }
        // The header alone is whole; a start code of an extension that is cut off in its body is not.
        EXPECT_EQ(parsed, size == whole.size() || (size >= headerSize && size < headerSize + 4)) << size;
    }
}

TEST(InsertMPEG2Header, GoesInFrontOfKeyPacketsWithoutOne) {
    Bytes const header = Build(MakeConfig());
    Bytes const picture = {0, 0, 1, 0x00, 0x10, 0x60};
    Bytes expected = header;
    expected.insert(expected.end(), picture.begin(), picture.end());
    EXPECT_EQ(GetBytes(InsertMPEG2Extradata(MakePacket(picture, true), MakeBlob(header))), expected);
}

TEST(InsertMPEG2Header, AllElseComesBackUnchanged) {
    auto const header = MakeBlob(Build(MakeConfig()));
    auto const key = MakePacket({0, 0, 1, 0, 0x10}, true);
    EXPECT_EQ(InsertMPEG2Extradata(key, nullptr), key);
    EXPECT_EQ(InsertMPEG2Extradata(key, MakeBlob({})), key);
    EXPECT_EQ(InsertMPEG2Extradata(nullptr, header), nullptr);
    auto const inter = MakePacket({0, 0, 1, 0, 0x50}, false);
    EXPECT_EQ(InsertMPEG2Extradata(inter, header), inter);
    auto const withHeader = MakePacket(Build(MakeConfig()), true);
    EXPECT_EQ(InsertMPEG2Extradata(withHeader, header), withHeader);
}

}  // namespace
}  // namespace Tarsel::Proc::CodecParsers
