#include "host/graph/SoundForms.h"

#include <gmock/gmock.h>

#include <limits>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/SampleInfoProperty.h"
#include "contracts/Proc/SettingsAudioGenerator.h"
#include "host/graph/GraphErrors.h"
#include "host/graph/GraphReader.h"
#include "host/graph/GraphWriter.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Host {
namespace {

using Tarsel::Test::MakeClip;
using Tarsel::Test::MakeTextFile;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using TestSupport::MessageOf;

std::string Wav(std::string const& codec, std::string const& rate, std::string const& layout) {
    return MakeClip("form-" + codec + "-" + rate + "-" + layout + ".wav",
                    {"-f", "lavfi", "-i", "anullsrc=r=" + rate + ":cl=" + layout + ":d=0.1", "-c:a", codec});
}

/// Pictures, sound twice, lines of text.
std::string Film() {
    std::string const lines = MakeTextFile("form-lines.srt", "1\n00:00:00,100 --> 00:00:00,500\nOne\n");
    return MakeClip("form-film.mkv", {"-f",   "lavfi", "-i",   "testsrc2=s=64x48:r=25:d=1",
                                      "-f",   "lavfi", "-i",   "sine=d=1",
                                      "-i",   lines,   "-map", "0",
                                      "-map", "1",     "-map", "2",
                                      "-map", "1",     "-c:v", "libx264",
                                      "-c:a", "aac",   "-c:s", "srt"});
}

/// One line per node: a source's stream, a filter's class and inputs.
std::vector<std::string> Listing(GraphDocument const& document) {
    std::vector<std::string> lines;
    for (GraphSource const& source : document.sources)
        lines.push_back(std::to_string(source.id) + ": " + std::string(KindName(*source.stream.kind)) + ":" +
                        std::to_string(source.stream.ordinal) + (source.packets ? " packets" : ""));
    for (GraphFilter const& filter : document.filters) {
        std::string line = std::to_string(filter.id) + ": " + filter.classId;
        for (NodeId const input : filter.inputs) line += " <- " + std::to_string(input);
        lines.push_back(line);
    }
    for (GraphOutput::Stream const& stream : document.output.streams)
        lines.push_back("out <- " + std::to_string(stream.input) + (stream.codec.empty() ? "" : " " + stream.codec));
    return lines;
}

/// What the inputs of a mix are brought to.
Conf::SampleInfo CommonOf(std::vector<std::string> const& inputs) {
    GraphDocument const document = MakeMixGraph(inputs, {}, {}).document;
    return Proc::GetSampleInfo(document.filters.at(0).settings, {});
}

TEST(SoundForms, AMixIsAConverterOverEachInputAndAMixer) {
    ShortFormGraph const graph = MakeMixGraph({Film(), Wav("pcm_s16le", "48000", "stereo"), Film()}, {80, 50, -10}, {});
    EXPECT_THAT(Listing(graph.document), ElementsAre("1: audio:0", "2: audio:0", "3: audio:0", "4: FilterResample <- 1",
                                                     "5: FilterResample <- 2", "6: FilterResample <- 3",
                                                     "7: FilterAudioMixer <- 4 <- 5 <- 6", "out <- 7"));
    std::vector<int64> volumes;
    for (Core::Property const& child : graph.document.filters.back().settings.Children())
        volumes.push_back(child["Volume"].GetInt64());
    EXPECT_THAT(volumes, ElementsAre(80, 50, -10));
    EXPECT_THAT(graph.warnings,
                ElementsAre(Film() + ": stream #0 (video, h264) is left out",
                            Film() + ": stream #2 (subtitle, subrip) is left out",
                            Film() + ": stream #3 (audio, aac) is left out: the first audio stream is mixed"));
    EXPECT_EQ(2U, graph.files.size());
    EXPECT_EQ(ParseGraph(WriteGraph(graph.document)), graph.document);
}

TEST(SoundForms, TheCommonFormatIsTheBestOfEachWordAndNeverOf8Bits) {
    std::string const bytes = Wav("pcm_u8", "8000", "mono");
    std::string const words = Wav("pcm_s16le", "44100", "mono");
    std::string const surround = Wav("pcm_s16le", "22050", "5.1");
    std::string const floats = Wav("pcm_f32le", "48000", "stereo");
    std::string const wide = Wav("pcm_s64le", "48000", "stereo");
    using Info = Conf::SampleInfo;
    EXPECT_EQ(CommonOf({bytes, bytes}), (Info{Conf::SAMPLE_FORMAT_S16, 8000, Conf::CHANNEL_LAYOUT_MONO}));
    EXPECT_EQ(CommonOf({bytes, words}), (Info{Conf::SAMPLE_FORMAT_S16, 44100, Conf::CHANNEL_LAYOUT_MONO}));
    EXPECT_EQ(CommonOf({words, surround}).GetChannelCount(), 6);
    EXPECT_EQ(CommonOf({words, surround}).GetSampleRate(), 44100);
    EXPECT_EQ(CommonOf({surround, floats}).GetSampleFormat(), Conf::SAMPLE_FORMAT_FLT);
    EXPECT_EQ(CommonOf({wide, bytes}), (Info{Conf::SAMPLE_FORMAT_DBL, 48000, Conf::CHANNEL_LAYOUT_STEREO}));
    EXPECT_EQ(CommonOf({words, Film()}).GetSampleFormat(), Conf::SAMPLE_FORMAT_FLTP);
}

TEST(SoundForms, AMixRefusesVolumesThatDontGoWithItsInputs) {
    std::string const wav = Wav("pcm_s16le", "48000", "stereo");
    auto const error = [&](std::vector<std::string> const& inputs, std::vector<int> const& volumes) {
        return MessageOf<GraphException>([&] { MakeMixGraph(inputs, volumes, {}); });
    };
    EXPECT_THAT(error({}, {}), HasSubstr("there is nothing to mix"));
    EXPECT_THAT(error({wav, wav}, {100}), HasSubstr("there are 1 volumes for 2 files"));
    EXPECT_THAT(error({wav}, {1000001}), HasSubstr("from -1000000 to 1000000 percent, not 1000001"));
    EXPECT_THROW(MakeMixGraph({"/missing.wav"}, {}, {}), Core::IOException);
}

TEST(SoundForms, AVolumeChangesAllSoundAndTakesTheRestAsPackets) {
    ShortFormOptions options;
    options.output = "out.mkv";
    options.audioCodec = "flac";
    ShortFormGraph const graph = MakeVolumeGraph(Film(), 0.5, options);
    EXPECT_THAT(Listing(graph.document),
                ElementsAre("1: video:0 packets", "2: audio:0", "4: subtitle:0 packets", "5: audio:1",
                            "3: SettingsFilterAudioVolume <- 2", "6: SettingsFilterAudioVolume <- 5", "out <- 1",
                            "out <- 3 flac", "out <- 4", "out <- 6 flac"));
    EXPECT_THAT(graph.warnings, IsEmpty());
    EXPECT_EQ(graph.document.filters[0].settings["Volume"].GetDouble(), 0.5);
    EXPECT_EQ(ParseGraph(WriteGraph(graph.document)), graph.document);
}

TEST(SoundForms, AnAutomaticVolumeStandsBehindAConverterToPlanes) {
    GraphDocument const document = MakeVolumeGraph(Wav("pcm_s16le", "48000", "stereo"), {}, {}).document;
    EXPECT_THAT(Listing(document),
                ElementsAre("1: audio:0", "2: FilterResample <- 1", "3: SettingsFilterAudioVolume <- 2", "out <- 3"));
    EXPECT_EQ(Proc::GetSampleInfo(document.filters[0].settings, {}),
              (Conf::SampleInfo{Conf::SAMPLE_FORMAT_S16P, -1, Conf::CHANNEL_LAYOUT_NONE}));
    EXPECT_TRUE(document.filters[1].settings["AutoLevel"].GetBool());
}

TEST(SoundForms, AVolumeRefusesFactorsThatAreNone) {
    std::string const wav = Wav("pcm_s16le", "48000", "stereo");
    for (double const factor :
         {1000001.0, std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()})
        EXPECT_THAT(MessageOf<GraphException>([&] { MakeVolumeGraph(wav, factor, {}); }),
                    HasSubstr("the factor must be from"));
}

TEST(SoundForms, AToneIsAGeneratorOfBlocksThatLastWholeMicroseconds) {
    for (int const rate : {1, 8000, 11025, 44100, 44101, 48000, 768000}) {
        ToneRequest request;
        request.frequency = rate / 4.0;
        request.duration = SECOND;
        request.rate = rate;
        GraphDocument const document = MakeToneGraph(request, {}).document;
        EXPECT_THAT(Listing(document), ElementsAre("1: SettingsAudioGenerator", "out <- 1"));
        auto const settings = Proc::Property2SettingsAudioGenerator(document.filters[0].settings);
        EXPECT_EQ(settings.GetBlockSamples() * SECOND % rate, 0) << rate;
        EXPECT_GT(settings.GetBlockSamples(), 0) << rate;
        EXPECT_EQ(ParseGraph(WriteGraph(document)), document) << rate;
    }
}

TEST(SoundForms, AToneIsMadeInTheNumbersThatItIsWrittenIn) {
    ToneRequest request;
    request.frequency = 440;
    request.duration = SECOND;
    auto const formatFor = [&](char const* output, char const* codec) {
        ShortFormOptions options;
        options.output = output;
        options.audioCodec = codec;
        GraphDocument const document = MakeToneGraph(request, options).document;
        return Proc::GetSampleInfo(document.filters[0].settings, {}).GetSampleFormat();
    };
    EXPECT_EQ(formatFor("a.wav", ""), Conf::SAMPLE_FORMAT_S16);
    EXPECT_EQ(formatFor("a.mkv", "pcm_s16le"), Conf::SAMPLE_FORMAT_S16);
    EXPECT_EQ(formatFor("a.wav", "pcm_f32le"), Conf::SAMPLE_FORMAT_FLT);
    EXPECT_EQ(formatFor("a.mp4", ""), Conf::SAMPLE_FORMAT_FLT);
}

TEST(SoundForms, AToneRefusesWhatIsOutOfRange) {
    ToneRequest good;
    good.frequency = 440;
    good.duration = SECOND;
    EXPECT_NO_THROW(MakeToneGraph(good, {}));
    auto const error = [&](auto change) {
        ToneRequest request = good;
        change(request);
        return MessageOf<GraphException>([&] { MakeToneGraph(request, {}); });
    };
    EXPECT_THAT(error([](ToneRequest& r) { r.frequency = 0; }), HasSubstr("the frequency must be above 0"));
    EXPECT_THAT(error([](ToneRequest& r) { r.frequency = 24001; }), HasSubstr("the frequency must be from 0 to 24000"));
    EXPECT_THAT(error([](ToneRequest& r) { r.frequency = std::numeric_limits<double>::quiet_NaN(); }),
                HasSubstr("the frequency must be from"));
    EXPECT_THAT(error([](ToneRequest& r) { r.amplitude = 1.5; }), HasSubstr("the amplitude must be from 0 to 1"));
    EXPECT_THAT(error([](ToneRequest& r) { r.rate = 0; }), HasSubstr("the rate must be from 1 to 768000"));
    EXPECT_THAT(error([](ToneRequest& r) { r.channels = 9; }), HasSubstr("the number of channels must be from 1 to 8"));
    EXPECT_THAT(error([](ToneRequest& r) { r.duration = 0; }), HasSubstr("the duration must be from 1 to"));
}

}  // namespace
}  // namespace Tarsel::Host
