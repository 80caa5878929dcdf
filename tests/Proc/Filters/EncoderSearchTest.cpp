#include <gtest/gtest.h>

#include "Proc/CodecParsers/H264CodecParser.h"
#include "Proc/Filters/Filters/CompareStreamHeaders.h"
#include "Proc/Filters/Filters/EncoderSettings.h"
#include "Proc/Filters/Filters/FilterCutControllerStreamRawImpl.h"
#include "Proc/Filters/Filters/SearchForStreamSettings.h"
#include "contracts/Conf/CodecIds.h"
#include "contracts/Core/Exception.h"
#include "tests/support/CutSupport.h"
#include "tests/support/H264Builder.h"
#include "tests/support/MpegBuilder.h"

// What an encoder must be like to continue a stream, and how one is found.

namespace Tarsel::CutTest {
namespace {

using namespace TestSupport;
using Creation = EncoderScript::Creation;
using Proc::BuildEncoderSettings;
using Proc::CompareStreamHeaders;

iptr<IFormatCodecVideo> FormatOf(char const* codecId, std::vector<u8> const& header = {}) {
    auto format = IFormatCodecVideo::Create();
    format->SetCodecID(codecId);
    if (!header.empty()) format->SetExtradata(MakeBlob(header));
    return format;
}

std::vector<u8> AvcC(u32 spsId = 0, u32 ppsId = 0) {
    return JoinAvcC({BuildSPS(MakeSPS(spsId))}, {BuildPPS(MakePPS(ppsId, spsId))});
}

// --- Settings --------------------------------------------------------------------------------------------------------

Core::Property SettingsOf(IFormatCodecVideo const& format, u32 spsId, bool hasDelay) {
    Core::Property properties("Encoder");
    BuildEncoderSettings(format, properties, spsId, hasDelay);
    return properties;
}

TEST(EncoderSettings, BudgetIsThreeTimesWithReorderingAndTwiceWithout) {
    auto const raised = [](char const* codec, bool hasDelay, int64 rate) {
        Core::Property properties;
        properties.SetChild(Conf::TAG_BITRATE, rate);
        BuildEncoderSettings(*FormatOf(codec), properties, 0, hasDelay);
        return properties[Conf::TAG_BITRATE].GetInt64();
    };
    EXPECT_EQ(raised("vp8", true, 1000), 3000);
    EXPECT_EQ(raised("vp8", false, 1000), 2000);
    EXPECT_EQ(raised("mpeg1video", false, 1000), 3000);
    EXPECT_EQ(raised("vp8", true, std::numeric_limits<int64>::max() / 2), std::numeric_limits<int64>::max());
    EXPECT_FALSE(SettingsOf(*FormatOf("vp8"), 0, true).ChildExists(Conf::TAG_BITRATE));
}

TEST(EncoderSettings, H264OptionsText) {
    auto const child = SettingsOf(*FormatOf("h264", AvcC()), 1, true)[Conf::TAG_CODEC_OPTIONS_ENCODE];
    EXPECT_EQ(child[Conf::TAG_FF_SPECIAL_OPTS].GetString(),
              "x264opts;sps-id=1:ref=4:qp=23:chroma-qp-offset=1:weightp=2");
    EXPECT_EQ(child[Conf::TAG_PROFILE].GetString(), "high");
    EXPECT_EQ(child[Conf::TAG_H264_ENTROPY_MODE].GetString(), "cabac");
}

TEST(EncoderSettings, H264RefIsAbsentForNoReferenceFramesAndCavlcIsSaid) {
    auto sps = MakeSPS();
    sps.max_num_ref_frames = 0;
    auto pps = MakePPS();
    pps.entropy_coding_mode_flag = 0;
    pps.weighted_pred_flag = 0;
    pps.pic_init_qp_minus26 = 4;
    pps.chroma_qp_index_offset = -3;
    auto const child = SettingsOf(*FormatOf("h264", JoinAnnexB({BuildSPS(sps), BuildPPS(pps)})), 7,
                                  false)[Conf::TAG_CODEC_OPTIONS_ENCODE];
    EXPECT_EQ(child[Conf::TAG_FF_SPECIAL_OPTS].GetString(),
              "x264opts;sps-id=7:qp=30:chroma-qp-offset=0:no-cabac:weightp=0");
    EXPECT_EQ(child[Conf::TAG_H264_ENTROPY_MODE].GetString(), "cavlc");
}

TEST(EncoderSettings, H264ProfileFollowsNumberThenConstraintFlags) {
    auto const profile = [](u8 idc, u8 set0, u8 set1, u8 set2) {
        auto sps = MakeSPS();
        sps.profile_idc = idc;
        sps.constraint_set0_flag = set0;
        sps.constraint_set1_flag = set1;
        sps.constraint_set2_flag = set2;
        return SettingsOf(*FormatOf("h264", JoinAvcC({BuildSPS(sps)}, {BuildPPS(MakePPS())})), 1,
                          false)[Conf::TAG_CODEC_OPTIONS_ENCODE][Conf::TAG_PROFILE]
            .GetString();
    };
    EXPECT_EQ(profile(66, 0, 0, 0), "baseline");
    EXPECT_EQ(profile(77, 1, 0, 0), "main");
    EXPECT_EQ(profile(88, 0, 0, 0), "extended");
    EXPECT_EQ(profile(100, 0, 0, 0), "high");
    EXPECT_EQ(profile(110, 1, 1, 1), "baseline");
    EXPECT_EQ(profile(110, 0, 1, 1), "main");
    EXPECT_EQ(profile(110, 0, 0, 1), "extended");
    EXPECT_EQ(profile(110, 0, 0, 0), "main");
}

TEST(EncoderSettings, MPEG4ProfileAndLevel) {
    char const* const tags[] = {"simple",
                                "simple_scalable",
                                "core",
                                "main",
                                "n_bit",
                                "scalable_texture",
                                "simple_face_animation",
                                "basic_animated_texture",
                                "hybrid",
                                "advanced_real_time",
                                "core_scalable",
                                "advanced_coding",
                                "advanced_core",
                                "advanced_scalable_texture",
                                "simple_studio",
                                "advanced_simple"};
    for (u8 profile = 0; profile < 16; ++profile) {
        auto config = MakeMPEG4Config();
        config.profile = profile;
        config.level = 5;
        auto const child =
            SettingsOf(*FormatOf("mpeg4", BuildMPEG4Config(config, 5)), 0, false)[Conf::TAG_CODEC_OPTIONS_ENCODE];
        EXPECT_EQ(child[Conf::TAG_PROFILE].GetString(), tags[profile]);
        EXPECT_EQ(child[Conf::TAG_PROFILE_LEVEL].GetInt64(), 5);
    }
}

TEST(EncoderSettings, MPEG2ProfileAnd422) {
    auto const settings = [](u8 profile, u8 chroma) {
        Proc::CodecParsers::MPEG2Config config;
        config.horizontal_size = 720;
        config.vertical_size = 576;
        config.frame_rate_code = 3;
        auto header = BuildMPEG2Header(config);
        Proc::CodecParsers::MPEG2SequenceExtension extension;
        extension.profile = profile;
        extension.chroma_format = chroma;
        auto const tail = BuildMPEG2Extension(extension);
        header.insert(header.end(), tail.begin(), tail.end());
        return SettingsOf(*FormatOf("mpeg2video", header), 0, false);
    };
    char const* const tags[] = {"", "high", "ss", "snr_scalable", "main", "simple"};
    for (u8 profile = 1; profile <= 5; ++profile)
        EXPECT_EQ(settings(profile, 1)[Conf::TAG_CODEC_OPTIONS_ENCODE][Conf::TAG_PROFILE].GetString(), tags[profile]);
    EXPECT_EQ(settings(4, 2)[Conf::TAG_CODEC_OPTIONS_ENCODE][Conf::TAG_PROFILE].GetString(), "422");
    EXPECT_FALSE(settings(6, 1).ChildExists(Conf::TAG_CODEC_OPTIONS_ENCODE));
}

TEST(EncoderSettings, WMV2FrameRateComesFromTheHeader) {
    EXPECT_EQ(SettingsOf(*FormatOf("wmv2", {0xC8, 0, 0, 0}), 0, false)[Conf::TAG_FPS].GetRatio(), Ratio(25, 1));
    EXPECT_FALSE(SettingsOf(*FormatOf("wmv2", {0x00, 0, 0, 0}), 0, false).ChildExists(Conf::TAG_FPS));
}

TEST(EncoderSettings, BrokenHeaderIsLoggedAndLeavesTheSettings) {
    LogLines const log(21);
    EXPECT_FALSE(SettingsOf(*FormatOf("h264"), 1, false).ChildExists(Conf::TAG_CODEC_OPTIONS_ENCODE));
    EXPECT_TRUE(log.Has("Cought exception while decoding h264 header: "));
    EXPECT_FALSE(SettingsOf(*FormatOf("mpeg4", {0, 0, 1}), 1, false).ChildExists(Conf::TAG_CODEC_OPTIONS_ENCODE));
    EXPECT_FALSE(SettingsOf(*FormatOf("mpeg2video"), 1, false).ChildExists(Conf::TAG_CODEC_OPTIONS_ENCODE));
    EXPECT_FALSE(SettingsOf(*FormatOf("wmv2"), 1, false).ChildExists(Conf::TAG_FPS));
    EXPECT_EQ(log.Count("Cought exception while decoding MPEG-4 header: "), 3U);
}

// --- Headers ---------------------------------------------------------------------------------------------------------

bool Match(char const* codec, std::vector<u8> const& source, std::vector<u8> const& encoder) {
    return CompareStreamHeaders(*FormatOf(codec, source), *FormatOf(codec, encoder));
}

TEST(CompareStreamHeaders, H264ComparesDecodedSets) {
    EXPECT_TRUE(Match("h264", AvcC(), JoinAnnexB({BuildSPS(MakeSPS()), BuildPPS(MakePPS())})));
    EXPECT_FALSE(Match("h264", AvcC(), AvcC(1, 1)));
    LogLines const log(21);
    EXPECT_FALSE(Match("h264", {1, 2, 3}, AvcC()));
    EXPECT_TRUE(log.Has("Cought exception while decoding input h264 header: "));
    EXPECT_FALSE(Match("h264", AvcC(), {0, 0, 0, 1, 9}));
    EXPECT_TRUE(log.Has("Cought exception while decoding output h264 header: "));
}

TEST(CompareStreamHeaders, MPEG4ComparesWhatDecodingNeeds) {
    auto const base = MakeMPEG4Config();
    auto const header = [](Proc::CodecParsers::MPEG4Config const& config) { return BuildMPEG4Config(config, 5); };
    auto const with = [&](auto change) {
        auto config = base;
        change(config);
        return Match("mpeg4", header(base), header(config));
    };
    EXPECT_TRUE(with([](auto&) {}));
    EXPECT_TRUE(with([](auto& c) { c.profile = 15, c.level = 9; }));
    EXPECT_FALSE(with([](auto& c) { c.vol.video_object_layer_width = 336; }));
    EXPECT_FALSE(with([](auto& c) { c.vol.video_object_layer_height = 16; }));
    EXPECT_FALSE(with([](auto& c) { c.vol.interlaced ^= 1; }));
    EXPECT_FALSE(with([](auto& c) { c.vol.vop_time_increment_resolution = 30; }));
    EXPECT_FALSE(with([](auto& c) { c.vol.data_partitioned = 1; }));
    // 4:2:0 is what a header without control parameters means.
    EXPECT_TRUE(with([](auto& c) { c.vol.vol_control_parameters = 1, c.vol.chroma_format = 1; }));
    EXPECT_FALSE(with([](auto& c) { c.vol.vol_control_parameters = 1, c.vol.chroma_format = 2; }));
    LogLines const log(21);
    EXPECT_FALSE(Match("mpeg4", header(base), {0, 0, 1, 0xB0}));
    EXPECT_TRUE(log.Has("Cought exception while decoding MPEG-4 header: "));
    auto still = base;
    still.visual_object_type = 3;  // its layer isn't read
    EXPECT_FALSE(Match("mpeg4", header(still), header(still)));
}

TEST(CompareStreamHeaders, WMV2LeavesRatesAndTheSecondFlagOut) {
    // 5 bits of rate, 11 of bit rate, six flags, 3 bits of code.
    auto const header = [](u32 fps, u32 rate, u32 flags, u32 code) {
        return BitWriter().Bits(fps, 5).Bits(rate, 11).Bits(flags, 6).Bits(code, 3).GetBytes();
    };
    auto const base = header(25, 100, 0b101010, 3);
    EXPECT_TRUE(Match("wmv2", base, header(30, 7, 0b101010, 3)));
    EXPECT_TRUE(Match("wmv2", base, header(25, 100, 0b111010, 3)));
    for (int flag : {0, 2, 3, 4, 5})
        EXPECT_FALSE(Match("wmv2", base, header(25, 100, 0b101010U ^ (32U >> flag), 3))) << flag;
    EXPECT_FALSE(Match("wmv2", base, header(25, 100, 0b101010, 4)));
    EXPECT_FALSE(Match("wmv2", base, {0x12, 0x34, 0x56}));
    EXPECT_FALSE(Match("wmv2", {0x12}, base));
}

std::vector<u8> TheoraPacket(std::vector<u8> const& body) {
    std::vector<u8> result{u8(body.size() >> 8), u8(body.size())};
    result.insert(result.end(), body.begin(), body.end());
    return result;
}
std::vector<u8> Theora(u32 version, u32 pictureWidth, u8 x, u8 pixelFormat, std::vector<u8> const& setup) {
    BitWriter id;
    id.Bits(128, 8).Bits(0x7468656F7261, 48).Bits(version, 24).Bits(20, 16).Bits(15, 16);
    if (version >= 0x30200) id.Bits(pictureWidth, 24).Bits(240, 24).Bits(x, 8).Bits(0, 8);
    id.Bits(25, 32).Bits(1, 32).Bits(1, 24).Bits(1, 24);
    if (version < 0x30200) id.Bits(0, 5);
    id.Bits(0, 8).Bits(12345, 24).Bits(33, 6);
    if (version >= 0x30200) id.Bits(6, 5).Bits(pixelFormat, 2).Bits(0, 3);
    std::vector<u8> result = TheoraPacket(id.GetBytes());
    auto const comment = TheoraPacket({129, 't', 'h', 'e', 'o', 'r', 'a', 'x'});
    std::vector<u8> body{130, 't', 'h', 'e', 'o', 'r', 'a'};
    body.insert(body.end(), setup.begin(), setup.end());
    auto const tail = TheoraPacket(body);
    result.insert(result.end(), comment.begin(), comment.end());
    result.insert(result.end(), tail.begin(), tail.end());
    return result;
}

TEST(CompareStreamHeaders, TheoraComparesSizeOffsetPixelFormatAndSetup) {
    auto const base = Theora(0x30201, 320, 0, 0, {1, 2, 3});
    EXPECT_TRUE(Match("theora", base, base));
    EXPECT_FALSE(Match("theora", base, Theora(0x30201, 318, 0, 0, {1, 2, 3})));
    EXPECT_FALSE(Match("theora", base, Theora(0x30201, 320, 2, 0, {1, 2, 3})));
    EXPECT_FALSE(Match("theora", base, Theora(0x30201, 320, 0, 2, {1, 2, 3})));
    EXPECT_FALSE(Match("theora", base, Theora(0x30201, 320, 0, 0, {1, 2, 4})));
    // An old stream has no picture region of its own.
    EXPECT_TRUE(Match("theora", base, Theora(0x30100, 0, 0, 0, {1, 2, 3})));
}

TEST(CompareStreamHeaders, HostileTheoraHeadersAreNoMatchAtEveryLength) {
    auto const base = Theora(0x30201, 320, 0, 0, {1, 2, 3});
    for (std::size_t size = 0; size < base.size(); ++size)
        EXPECT_FALSE(Match("theora", base, {base.begin(), base.begin() + static_cast<std::ptrdiff_t>(size)})) << size;
    EXPECT_FALSE(Match("theora", {0xFF, 0xFF, 128}, base));
    EXPECT_FALSE(Match("theora", {0, 3, 130, 1, 2}, base));
    // An empty packet is skipped.
    std::vector<u8> padded{0, 0};
    padded.insert(padded.end(), base.begin(), base.end());
    EXPECT_TRUE(Match("theora", padded, base));
}

TEST(CompareStreamHeaders, MissingHeaderIsNoMatchAndOtherCodecsAlwaysMatch) {
    for (char const* codec : {"h264", "mpeg4", "wmv2", "theora"}) {
        EXPECT_FALSE(Match(codec, {}, {1}));
        EXPECT_FALSE(Match(codec, {1}, {}));
    }
    for (char const* codec : {"h263", "mpeg1video", "mpeg2video", "vp8", "vp9"}) EXPECT_TRUE(Match(codec, {}, {1}));
}

// --- The first packets -----------------------------------------------------------------------------------------------

TEST(SearchForStreamSettings, StudiesThreeKeysAndTakesTheShiftBehindTheFirst) {
    auto packets = MakeGroups({3, 3, 3, 3}, Order::Reordered);
    packets[0]->SetDecodingTime(NO_VALUE);
    auto source = MakeVideoSource(packets, 12 * FRAME);
    auto const found = Proc::SearchForStreamSettings(*source);
    EXPECT_EQ(found.shift, FRAME);
    EXPECT_FALSE(found.openGop);
    EXPECT_FALSE(found.invalidPts);
    EXPECT_EQ(source->reads, 7U);  // the third key is the last packet read
}

TEST(SearchForStreamSettings, FindsOpenGroupsAndMissingTimes) {
    auto open = MakeVideoSource(MakeGroups({4, 4}, Order::Open), 8 * FRAME);
    EXPECT_TRUE(Proc::SearchForStreamSettings(*open).openGop);
    auto packets = MakeGroups({4, 4}, Order::Straight);
    packets[2]->SetTime(NO_VALUE);
    auto invalid = MakeVideoSource(packets, 8 * FRAME);
    EXPECT_TRUE(Proc::SearchForStreamSettings(*invalid).invalidPts);
    EXPECT_EQ(invalid->reads, 3U);
    auto one = MakeVideoSource(MakeGroups({4}, Order::Reordered), 4 * FRAME);
    EXPECT_EQ(Proc::SearchForStreamSettings(*one).shift, 0);
}

// --- The decision ----------------------------------------------------------------------------------------------------

struct Decision {
    iptr<PacketSource> source;
    iptr<FakeFactory> factory = MakeShared<FakeFactory>();
    iptr<Proc::FilterCutController> controller = MakeShared<Proc::FilterCutController>();
    iptr<Proc::FilterCutControllerStreamRawImpl> stream;

    explicit Decision(char const* codecId, Order order = Order::Straight) {
        source = MakeVideoSource(MakeGroups({4, 4, 4, 4}, order), 16 * FRAME, codecId);
    }
    Decision& Encoder(std::string const& name, EncoderScript const& script = {}) {
        factory->encoders.emplace_back(name, script);
        return *this;
    }
    Proc::GopRecoder const& Make() {
        stream = MakeShared<Proc::FilterCutControllerStreamRawImpl>(source, controller, factory);
        return stream->GetRecoder();
    }
};

EncoderScript WithHeader(std::vector<u8> const& header) {
    EncoderScript script;
    script.extradata = MakeBlob(header);
    return script;
}

TEST(RecodeDecision, FFmpegIsTriedFirstWhateverItsPlace) {
    LogLines const log(31);
    Decision decision("vp8");
    decision.Encoder("First").Encoder("Second").Encoder("vp8").Encoder(Proc::ImplNames::FFMPEG);
    EncoderScript broken;
    broken.creation = Creation::Null;
    decision.factory->encoders[3].second = broken;
    decision.factory->encoders[1].second = broken;
    auto const& recoder = decision.Make();
    // The others keep their places, but for the first; the name of the codec itself is no implementation.
    EXPECT_EQ(decision.factory->created, (std::vector<std::string>{"FFmpeg", "Second", "First"}));
    EXPECT_EQ(decision.factory->hadResource, (std::vector<bool>{true, false, false}));
    EXPECT_TRUE(recoder.CanRecode());
    EXPECT_EQ(recoder.GetEncoderName(), "First");
    EXPECT_TRUE(log.Has("Search for GOP recode ability."));
    EXPECT_TRUE(log.Has("Creation of FFmpeg was failed, creation function returned nullptr"));
    EXPECT_TRUE(log.Has("We can recode GOP with First"));
    EXPECT_FALSE(decision.stream->IsGOPCutOnly());
}

TEST(RecodeDecision, FailuresOfAnEncoderLeadToTheNext) {
    LogLines const log(31);
    Decision decision("vp9");
    EncoderScript encoderFailure;
    encoderFailure.creation = Creation::EncoderFailure;
    EncoderScript factoryFailure;
    factoryFailure.creation = Creation::FactoryFailure;
    decision.Encoder("A", encoderFailure).Encoder("B", factoryFailure).Encoder("C");
    EXPECT_EQ(decision.Make().GetEncoderName(), "C");
    EXPECT_TRUE(log.Has("Creation of A was failed: EncoderException:"));
    EXPECT_TRUE(log.Has("Creation of B was failed: CodecFactoryException:"));
}

TEST(RecodeDecision, ShortResourcesLeaveTheConstructorUnchangedAndEndTheSearch) {
    LogLines const log(31);
    Decision decision("vp9");
    EncoderScript busy;
    busy.creation = Creation::NoResource;
    decision.Encoder("A", busy).Encoder("B");
    EXPECT_EQ(MessageOf<Core::NotEnoughResource>([&] { decision.Make(); }), "all busy");
    EXPECT_EQ(decision.factory->created, std::vector<std::string>{"A"});
    EXPECT_TRUE(log.Has("Creation of A was failed: not enough resources, try later"));
    decision.controller->SetCodecFacory(decision.factory);
    iptr<Proc::IStreamRaw> const stream = decision.source;
    EXPECT_EQ(MessageOf<Core::NotEnoughResource>([&] { decision.controller->AddStream(stream); }), "all busy");
    // The host can try again when resources are free.
    decision.factory->encoders[0].second.creation = Creation::Works;
    EXPECT_TRUE(decision.controller->AddStream(stream));
}

TEST(RecodeDecision, NoEncoderMeansCutsOnGroups) {
    LogLines const log(31);
    Decision decision("vp8");
    EXPECT_FALSE(decision.Make().CanRecode());
    EXPECT_EQ(decision.stream->GetRecoder().GetEncoderName(), "Unknown encoder");
    EXPECT_TRUE(decision.stream->IsGOPCutOnly());
    EXPECT_TRUE(log.Has("We can't recode GOP: no suitable codec found!"));
}

TEST(RecodeDecision, OpenGroupsForbidRecodingExceptForMPEG1And2) {
    LogLines const log(31);
    for (char const* codec : {"vp8", "mpeg1video", "mpeg2video"}) {
        Decision decision(codec, Order::Open);
        bool const allowed = std::string(codec) != "vp8";
        EXPECT_EQ(decision.Encoder("FFmpeg").Make().CanRecode(), allowed) << codec;
    }
    EXPECT_EQ(log.Count("We can't recode GOP: stream has open GOPs"), 1U);
}

TEST(RecodeDecision, InvalidTimesForbidRecoding) {
    LogLines const log(31);
    Decision decision("vp8");
    auto packets = MakeGroups({4, 4}, Order::Straight);
    packets[1]->SetTime(NO_VALUE);
    decision.source = MakeVideoSource(packets, 8 * FRAME);
    EXPECT_FALSE(decision.Encoder("FFmpeg").Make().CanRecode());
    EXPECT_TRUE(log.Has("We can't recode GOP: stream has invalid PTSs"));
}

TEST(RecodeDecision, OtherCodecsAndOtherKindsAreNotLookedAtAndSayNothing) {
    LogLines const log(31);
    Decision hevc("hevc");
    EXPECT_FALSE(hevc.Encoder("FFmpeg").Make().CanRecode());
    Decision sound("vp8");
    sound.source->mediaType = MEDIA_TYPE_AUDIO;
    EXPECT_FALSE(sound.Encoder("FFmpeg").Make().CanRecode());
    EXPECT_FALSE(sound.stream->IsGOPCutOnly());
    EXPECT_TRUE(hevc.source->seeks.empty());
    EXPECT_FALSE(log.Has("Search"));
    EXPECT_FALSE(log.Has("We can't"));
}

TEST(RecodeDecision, DecoderThatCantBeHadMeansCutsOnGroups) {
    Decision decision("vp8");
    decision.factory->decoderFails = true;
    EXPECT_FALSE(decision.Encoder("FFmpeg").Make().CanRecode());
}

TEST(RecodeDecision, StreamStartsAtItsBeginningAndGivesItsDelay) {
    Decision decision("vp8", Order::Reordered);
    decision.source->format->SetProperty(Core::Property("Source").SetChild(Conf::TAG_BITRATE, int64{500}));
    EXPECT_EQ(decision.Encoder("FFmpeg").Make().GetStreamDtsShift(), FRAME);
    EXPECT_EQ(decision.source->seeks, std::vector<int64>{0});
    EXPECT_EQ(decision.factory->properties[0][Conf::TAG_BITRATE].GetInt64(), 1500);
    // The budget is raised on the stream's own copy alone.
    EXPECT_EQ(decision.source->format->GetProperty()[Conf::TAG_BITRATE].GetInt64(), 500);
}

TEST(RecodeDecision, H264OfFFmpegIsTakenWithMergedHeaders) {
    Decision decision("h264");
    decision.source->format->SetExtradata(MakeBlob(AvcC()));
    auto const encoderHeader = JoinAnnexB({BuildSPS(MakeSPS(1)), BuildPPS(MakePPS(1, 1))});
    EXPECT_TRUE(decision.Encoder("FFmpeg", WithHeader(encoderHeader)).Make().CanRecode());
    auto const merged = decision.stream->GetFormatCodec()->GetExtradata();
    auto const expected = Proc::CodecParsers::MergeH264Extradata(MakeBlob(AvcC()), MakeBlob(encoderHeader));
    EXPECT_EQ(std::vector<u8>(merged->GetData(), merged->GetData() + merged->GetSize()),
              std::vector<u8>(expected->GetData(), expected->GetData() + expected->GetSize()));
    // The source's own format object stays as it was.
    EXPECT_EQ(decision.source->format->GetExtradata()->GetSize(), AvcC().size());
    EXPECT_NE(
        decision.factory->properties[0][Conf::TAG_CODEC_OPTIONS_ENCODE][Conf::TAG_FF_SPECIAL_OPTS].GetString().find(
            "sps-id=1:"),
        std::string::npos);
}

TEST(RecodeDecision, H264OfOthersMustMatchAndIsNotMerged) {
    Decision decision("h264");
    decision.source->format->SetExtradata(MakeBlob(AvcC()));
    decision.Encoder("Differs", WithHeader(AvcC(1, 1))).Encoder("Same", WithHeader(AvcC()));
    EXPECT_EQ(decision.Make().GetEncoderName(), "Same");
    EXPECT_EQ(decision.stream->GetFormatCodec(), decision.source->format);
}

TEST(RecodeDecision, H264WithMoreSetsTakesAFreeIdAndKeepsAllOfThem) {
    Decision decision("h264");
    auto const source = JoinAvcC({BuildSPS(MakeSPS(0)), BuildSPS(MakeSPS(1))},
                                 {BuildPPS(MakePPS(0, 0)), BuildPPS(MakePPS(1, 1)), BuildPPS(MakePPS(2, 0))});
    decision.source->format->SetExtradata(MakeBlob(source));
    auto const encoderHeader = JoinAnnexB({BuildSPS(MakeSPS(3)), BuildPPS(MakePPS(3, 3))});
    EXPECT_TRUE(decision.Encoder("FFmpeg", WithHeader(encoderHeader)).Make().CanRecode());
    EXPECT_NE(
        decision.factory->properties[0][Conf::TAG_CODEC_OPTIONS_ENCODE][Conf::TAG_FF_SPECIAL_OPTS].GetString().find(
            "sps-id=3:"),
        std::string::npos);
    auto const merged = decision.stream->GetFormatCodec()->GetExtradata();
    Proc::CodecParsers::NaluRangeList units;
    Proc::CodecParsers::FindExtradataNalus(merged->GetData(), merged->GetSize(), units);
    EXPECT_EQ(units.size(), 7U);
}

TEST(RecodeDecision, H264WithoutAFreeIdOrAHeaderIsCutOnGroups) {
    Decision full("h264");
    std::vector<NaluBytes> pps;
    for (u32 id = 0; id < 32; ++id) pps.push_back(BuildPPS(MakePPS(id, 0)));
    full.source->format->SetExtradata(MakeBlob(JoinAvcC({BuildSPS(MakeSPS())}, pps)));
    EXPECT_FALSE(full.Encoder("FFmpeg", WithHeader(AvcC(1, 1))).Make().CanRecode());
    Decision none("h264");
    EXPECT_FALSE(none.Encoder("FFmpeg", WithHeader(AvcC(1, 1))).Make().CanRecode());
    Decision encoderWithout("h264");
    encoderWithout.source->format->SetExtradata(MakeBlob(AvcC()));
    EXPECT_FALSE(encoderWithout.Encoder("FFmpeg").Make().CanRecode());
    Decision garbage("h264");
    garbage.source->format->SetExtradata(MakeBlob({1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_FALSE(garbage.Encoder("FFmpeg", WithHeader(AvcC(1, 1))).Make().CanRecode());
}

}  // namespace
}  // namespace Tarsel::CutTest
