#include "Proc/CodecParsers/MPEG4CodecParser.h"

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

MPEG4Config Decode(Bytes const& data) {
    MPEG4Config config;
    config.profile = 9;  // stale contents must go
    config.vol.scalability = 1;
    DecodeMPEG4Config(data.data(), data.size(), config);
    return config;
}

std::string MessageFor(MPEG4Config const& config) {
    return MessageOf<Exception>([&] { Decode(BuildMPEG4Config(config, 6)); });
}

TEST(MPEG4ConfigDecoding, PlainHeaderReadsBack) {
    EXPECT_EQ(Decode(BuildMPEG4Config(MakeMPEG4Config(), 6)), MakeMPEG4Config());
}

TEST(MPEG4ConfigDecoding, AHeaderThatStartsWithTheLayerIsRefusedWithTheValueInDecimal) {
    BitWriter out;
    WriteVOL(out, MakeMPEG4Config().vol, 6);
    EXPECT_EQ(MessageOf<Exception>([&] { Decode(out.GetBytes()); }),
              "MPEG-4 config is not begining with VOS Start Code: 288");
}

TEST(MPEG4ConfigDecoding, UserDataBehindTheSequenceIsNotImplemented) {
    Bytes data = BuildMPEG4Config(MakeMPEG4Config(), 6);
    data[8] = 0xB2;
    EXPECT_EQ(MessageOf<Exception>([&] { Decode(data); }), "MPEG-4 user data not implemented!");
}

TEST(MPEG4ConfigDecoding, AnyOtherStartCodeBehindTheSequenceIsWrong) {
    Bytes data = BuildMPEG4Config(MakeMPEG4Config(), 6);
    data[8] = 0xB6;
    EXPECT_EQ(MessageOf<Exception>([&] { Decode(data); }), "MPEG-4 config has wrong start code: 438");
}

TEST(MPEG4ConfigDecoding, TheRecordKeepsWhatHadBeenRead) {
    MPEG4Config config = MakeMPEG4Config();
    config.profile = 15;
    Bytes data = BuildMPEG4Config(config, 6);
    data[8] = 0xB6;
    MPEG4Config out;
    EXPECT_THROW(DecodeMPEG4Config(data.data(), data.size(), out), Exception);
    EXPECT_EQ(out.profile, 15);
    EXPECT_EQ(out.level, 1);
}

TEST(MPEG4ConfigDecoding, AnObjectWithoutIdentifierHasVersionAndPriorityOne) {
    BitWriter out;
    out.Bits(0x1B0, 32).Bits(0x35, 8).Bits(0x1B5, 32).Flag(false).Bits(1, 4).Flag(false).Align();
    out.Bits(0x100, 32).Bits(0x120, 32).Flag(true).Bits(17, 8).Flag(false).Bits(1, 4).Flag(false).Bits(2, 2);
    out.Flag(true).Bits(25, 16).Flag(true).Flag(false);
    MPEG4Config const config = Decode(out.GetBytes());
    EXPECT_EQ(config.profile, 3);
    EXPECT_EQ(config.level, 5);
    EXPECT_EQ(config.visual_object_verid, 1);
    EXPECT_EQ(config.visual_object_priority, 1);
    EXPECT_EQ(config.vol.video_object_type_indication, 17);
    EXPECT_EQ(config.vol.video_object_layer_verid, 1);
    EXPECT_EQ(config.vol.video_object_layer_priority, 1);
}

TEST(MPEG4ConfigDecoding, ALayerWithoutIdentifierIsVersionOneWhateverTheObjectSays) {
    BitWriter out;
    out.Bits(0x1B0, 32).Bits(0xF5, 8).Bits(0x1B5, 32).Flag(true).Bits(5, 4).Bits(1, 3).Bits(1, 4).Flag(false).Align();
    out.Bits(0x100, 32).Bits(0x120, 32).Flag(true).Bits(17, 8).Flag(false).Bits(1, 4).Flag(false).Bits(2, 2);
    out.Flag(true).Bits(25, 16).Flag(true).Flag(false);
    MPEG4Config const config = Decode(out.GetBytes());
    EXPECT_EQ(config.visual_object_verid, 5);
    EXPECT_EQ(config.vol.video_object_layer_verid, 1);
}

TEST(MPEG4ConfigDecoding, OtherObjectTypesLeaveTheLayerZero) {
    for (u8 const type : {0, 2, 3, 4, 15}) {
        MPEG4Config config = MakeMPEG4Config();
        config.visual_object_type = type;
        MPEG4Config const decoded = Decode(BuildMPEG4Config(config, 6));
        EXPECT_EQ(decoded.visual_object_type, type);
        EXPECT_EQ(decoded.vol, MPEG4VOL());
    }
}

TEST(MPEG4ConfigDecoding, StillTexturesHaveSignalFieldsToo) {
    MPEG4Config config = MakeMPEG4Config();
    config.visual_object_type = 2;
    config.video_signal_type = config.video_range = config.colour_description = 1;
    config.video_format = 5;
    config.colour_primaries = 1;
    config.transfer_characteristics = 2;
    config.matrix_coefficients = 255;
    config.vol = {};
    EXPECT_EQ(Decode(BuildMPEG4Config(config, 6)), config);
    BitWriter out;
    out.Flag(false).Bits(2, 4).Flag(true).Bits(5, 3).Flag(true).Flag(true).Bits(1, 8).Bits(2, 8).Bits(255, 8);
    Bytes const bytes = out.GetBytes();
    Core::DataBitInput in(Core::DataInputMemory::Create(bytes.data(), bytes.size()));
    MPEG4Config object;
    DecodeMPEG4VisualObject(in, object);
    EXPECT_EQ(object.matrix_coefficients, 255);
    EXPECT_EQ(in.GetBitPosition(), 35U);  // 1 + 4 + 1 + 3 + 1 + 1 + 24
}

TEST(MPEG4ConfigDecoding, TheVideoObjectsStartCodeIsNotTested) {
    Bytes data = BuildMPEG4Config(MakeMPEG4Config(), 6);
    data[11] = data[12] = data[13] = data[14] = 0x77;
    EXPECT_EQ(Decode(data), MakeMPEG4Config());
}

TEST(MPEG4Layer, StartCodes120To12FAreLayers) {
    for (u32 code = 0x11E; code <= 0x131; ++code) {
        MPEG4Config const decoded = Decode(BuildMPEG4Config(MakeMPEG4Config(), 6, code));
        bool const isLayer = code >= 0x120 && code <= 0x12F;
        EXPECT_EQ(decoded.vol, isLayer ? MakeMPEG4Config().vol : MPEG4VOL()) << code;
    }
}

TEST(MPEG4Layer, VbvHalvesAreJoined) {
    MPEG4Config config = MakeMPEG4Config();
    config.vol.vol_control_parameters = config.vol.vbv_parameters = config.vol.low_delay = 1;
    config.vol.chroma_format = 1;
    config.vol.bit_rate = 0x3FFFFFFF;
    config.vol.vbv_buffer_size = 0x2AAAD;
    config.vol.vbv_occupancy = 0x3FF8001;
    EXPECT_EQ(Decode(BuildMPEG4Config(config, 6)), config);
}

TEST(MPEG4Layer, PixelAspectIsReadForTheExtendedRatioAlone) {
    MPEG4Config config = MakeMPEG4Config();
    config.vol.aspect_ratio_info = 15;
    config.vol.par_width = 16;
    config.vol.par_height = 11;
    EXPECT_EQ(Decode(BuildMPEG4Config(config, 6)), config);
}

struct IncrementCase {
    u16 resolution;
    unsigned bits;
};

TEST(MPEG4Layer, FixedTimeIncrementTakesOneBitMoreThanTheResolutionNeeds) {
    IncrementCase const cases[] = {{2, 1},      {3, 2},      {4, 3},      {5, 3},     {6, 4},  {9, 4},
                                   {10, 5},     {25, 6},     {30, 6},     {33, 6},    {34, 7}, {50, 7},
                                   {30000, 16}, {32769, 16}, {32770, 17}, {65535, 17}};
    for (IncrementCase const& c : cases) {
        MPEG4Config config = MakeMPEG4Config();
        config.vol.vop_time_increment_resolution = c.resolution;
        config.vol.fixed_vop_rate = 1;
        config.vol.fixed_vop_time_increment = 1;
        EXPECT_EQ(Decode(BuildMPEG4Config(config, c.bits)), config) << c.resolution;
    }
}

TEST(MPEG4Layer, FixedRateWithResolutionTwoReadsOneBit) {
    MPEG4Config config = MakeMPEG4Config();
    config.vol.vop_time_increment_resolution = 2;
    config.vol.fixed_vop_rate = 1;
    config.vol.fixed_vop_time_increment = 1;
    EXPECT_EQ(Decode(BuildMPEG4Config(config, 1)), config);
}

TEST(MPEG4Layer, FixedRateWithResolutionZeroOrOneReadsNoBits) {
    for (u16 const resolution : {0, 1}) {
        MPEG4Config config = MakeMPEG4Config();
        config.vol.vop_time_increment_resolution = resolution;
        config.vol.fixed_vop_rate = 1;
        EXPECT_EQ(Decode(BuildMPEG4Config(config, 0)), config);
    }
}

TEST(MPEG4Layer, BinaryOnlyShapeStopsBehindTheTiming) {
    MPEG4Config config = MakeMPEG4Config();
    config.vol.video_object_layer_shape = 2;
    MPEG4VOL expected = config.vol;
    expected.video_object_layer_width = expected.video_object_layer_height = 0;
    expected.obmc_disable = expected.complexity_estimation_disable = expected.resync_marker_disable = 0;
    EXPECT_EQ(Decode(BuildMPEG4Config(config, 6)).vol, expected);
}

TEST(MPEG4Layer, GrayscaleShapeHasItsExtensionAndFlags) {
    MPEG4Config config = MakeMPEG4Config();
    config.vol.video_object_layer_shape = 3;
    config.vol.video_object_layer_width = config.vol.video_object_layer_height = 0;
    config.vol.no_gray_quant_update = config.vol.composition_method = config.vol.linear_composition = 1;
    EXPECT_EQ(Decode(BuildMPEG4Config(config, 6)), config);
    config.vol.video_object_layer_verid = 2;
    config.vol.video_object_layer_shape_extension = 11;
    config.vol.sadct_disable = 1;
    EXPECT_EQ(Decode(BuildMPEG4Config(config, 6)), config);
}

TEST(MPEG4Layer, SpritesOneAndTwoAreNotImplementedAndThreePasses) {
    char const* const text = "MPEG-4 sprite parameters in Video Object Layer are not implemented!";
    MPEG4Config config = MakeMPEG4Config();
    config.vol.sprite_enable = 1;
    EXPECT_EQ(MessageFor(config), text);
    config.vol.video_object_layer_verid = 2;
    EXPECT_EQ(MessageFor(config), text);
    config.vol.sprite_enable = 2;
    EXPECT_EQ(MessageFor(config), text);
    config.vol.sprite_enable = 3;
    EXPECT_EQ(Decode(BuildMPEG4Config(config, 6)), config);
}

TEST(MPEG4Layer, QuantiserTablesAreNotImplemented) {
    MPEG4Config config = MakeMPEG4Config();
    config.vol.quant_type = 1;
    EXPECT_EQ(MessageFor(config), "MPEG-4 quantization parameters in Video Object Layer are not implemented!");
}

TEST(MPEG4Layer, ComplexityEstimationIsNotImplemented) {
    MPEG4Config config = MakeMPEG4Config();
    config.vol.complexity_estimation_disable = 0;
    EXPECT_EQ(MessageFor(config), "MPEG-4 complexity estimation header in Video Object Layer are not implemented!");
}

MPEG4Config DrawConfig(u32 seed) {
    std::mt19937 random(seed);
    auto const bits = [&](unsigned count) { return static_cast<u32>(random() & ((1U << count) - 1)); };
    MPEG4Config c = MakeMPEG4Config();
    c.profile = bits(4);
    c.level = bits(4);
    c.visual_object_verid = bits(4);
    c.visual_object_priority = bits(3);
    if ((c.video_signal_type = bits(1))) {
        c.video_format = bits(3);
        c.video_range = bits(1);
        if ((c.colour_description = bits(1))) {
            c.colour_primaries = bits(8);
            c.transfer_characteristics = bits(8);
            c.matrix_coefficients = bits(8);
        }
    }
    MPEG4VOL& v = c.vol;
    v.random_accessible_vol = bits(1);
    v.video_object_type_indication = bits(8);
    v.video_object_layer_verid = bits(1) ? 1 : bits(4);
    v.video_object_layer_priority = bits(3);
    if ((v.aspect_ratio_info = bits(1) ? 15 : bits(4)) == 15) {
        v.par_width = bits(8);
        v.par_height = bits(8);
    }
    if ((v.vol_control_parameters = bits(1))) {
        v.chroma_format = bits(2);
        v.low_delay = bits(1);
        if ((v.vbv_parameters = bits(1))) {
            v.bit_rate = bits(30);
            v.vbv_buffer_size = bits(18);
            v.vbv_occupancy = bits(26);
        }
    }
    bool const first = v.video_object_layer_verid == 1;
    v.video_object_layer_shape = bits(1) ? 0 : 1 + 2 * bits(1);
    bool const rectangular = v.video_object_layer_shape == 0;
    if (v.video_object_layer_shape == 3 && !first) v.video_object_layer_shape_extension = bits(4);
    v.vop_time_increment_resolution = 25;
    if ((v.fixed_vop_rate = bits(1))) v.fixed_vop_time_increment = bits(6);
    v.video_object_layer_width = rectangular ? bits(13) : 0;
    v.video_object_layer_height = rectangular ? bits(13) : 0;
    v.interlaced = bits(1);
    v.obmc_disable = bits(1);
    v.sprite_enable = first ? 0 : 3 * bits(1);
    if (!first && !rectangular) v.sadct_disable = bits(1);
    if ((v.not_8_bit = bits(1))) {
        v.quant_precision = bits(4);
        v.bits_per_pixel = bits(4);
    }
    if (v.video_object_layer_shape == 3) {
        v.no_gray_quant_update = bits(1);
        v.composition_method = bits(1);
        v.linear_composition = bits(1);
    }
    v.resync_marker_disable = bits(1);
    if ((v.data_partitioned = bits(1))) v.reversible_vlc = bits(1);
    if (!first) {
        v.quarter_sample = bits(1);
        if ((v.newpred_enable = bits(1))) {
            v.requested_upstream_message_type = bits(2);
            v.newpred_segment_type = bits(1);
        }
        v.reduced_resolution_vop_enable = bits(1);
    }
    v.scalability = bits(1);
    return c;
}

TEST(MPEG4Property, DrawnHeaderReadsBack) {
    for (u32 seed = 1; seed <= 3000; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        MPEG4Config const config = DrawConfig(seed);
        ASSERT_TRUE(Decode(BuildMPEG4Config(config, 6)) == config);
    }
}

TEST(MPEG4Hostile, EveryPrefixParsesOrThrows) {
    for (u32 seed = 1; seed <= 50; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        Bytes const whole = BuildMPEG4Config(DrawConfig(seed), 6);
        std::size_t parsed = 0;
        for (std::size_t size = 0; size <= whole.size(); ++size) {
            Bytes const prefix(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
            try {
                Decode(prefix);
                ++parsed;
            } catch (Exception const&) {
            }
        }
        EXPECT_EQ(parsed, 1U);
    }
}

// --- Headers in front of packets ---

TEST(InsertMPEG4Header, GoesInFrontOfKeyPacketsWithoutOne) {
    Bytes const header = BuildMPEG4Config(MakeMPEG4Config(), 6);
    Bytes const picture = {0, 0, 1, 0xB6, 0x10, 0x60};
    Bytes expected = header;
    expected.insert(expected.end(), picture.begin(), picture.end());
    auto const packet = MakePacket(picture, true, 5, 4, 3);
    auto const result = InsertMPEG4Extradata(packet, MakeBlob(header));
    EXPECT_EQ(GetBytes(result), expected);
    EXPECT_EQ(result->GetTime(), 5);
    EXPECT_EQ(result->GetDecodingTime(), 4);
    EXPECT_EQ(result->GetDuration(), 3);
    EXPECT_TRUE(result->IsKeyFrame());
}

TEST(InsertMPEG4Header, AllElseComesBackUnchanged) {
    auto const header = MakeBlob(BuildMPEG4Config(MakeMPEG4Config(), 6));
    auto const key = MakePacket({0, 0, 1, 0xB6, 0x10}, true);
    EXPECT_EQ(InsertMPEG4Extradata(key, nullptr), key);
    EXPECT_EQ(InsertMPEG4Extradata(key, MakeBlob({})), key);
    EXPECT_EQ(InsertMPEG4Extradata(nullptr, header), nullptr);
    auto const inter = MakePacket({0, 0, 1, 0xB6, 0x50}, false);
    EXPECT_EQ(InsertMPEG4Extradata(inter, header), inter);
    for (u8 const code : {0xB0, 0x20, 0x2F}) {
        auto const withHeader = MakePacket({9, 0, 0, 1, code, 1, 0, 0, 1, 0xB6}, true);
        EXPECT_EQ(InsertMPEG4Extradata(withHeader, header), withHeader) << int(code);
    }
    for (u8 const code : {0x1F, 0x30, 0xB3}) {
        auto const without = MakePacket({0, 0, 1, code}, true);
        EXPECT_NE(InsertMPEG4Extradata(without, header), without) << int(code);
    }
}

}  // namespace
}  // namespace Tarsel::Proc::CodecParsers
