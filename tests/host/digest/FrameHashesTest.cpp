// Frame hashes against those that the ffmpeg command writes of the same streams.
#include "host/digest/FrameHashes.h"

#include <gmock/gmock.h>

#include <fstream>
#include <sstream>

#include "contracts/Core/Exception.h"
#include "host/digest/FrameHashText.h"
#include "host/digest/RecordJob.h"
#include "host/graph/GraphErrors.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/GraphClips.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Host {
namespace {

using Tarsel::Test::GraphMaker;
using Tarsel::Test::MakeTextFile;
using Tarsel::Test::RunFFmpeg;
using Tarsel::Test::ScratchFolder;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using TestSupport::MessageOf;

using Texts = std::vector<std::string>;

ScratchFolder const& Folder() {
    static ScratchFolder const folder;
    return folder;
}

std::string ReadText(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

/// What ffmpeg writes with these arguments behind the input, but for the line that names it.
std::string Expected(std::string const& input, Texts const& arguments) {
    std::string const path = Folder() / "expected.framemd5";
    Texts all{"-copyts", "-i", input};
    all.insert(all.end(), arguments.begin(), arguments.end());
    all.insert(all.end(), {"-f", "framemd5", path});
    RunFFmpeg(all);
    std::istringstream lines(ReadText(path));
    std::string text;
    for (std::string line; std::getline(lines, line);)
        if (line.rfind("#software", 0) != 0) text += line + "\n";
    return text;
}

Texts const COPY{"-map", "0", "-c", "copy"};

/// The frame hashes of a media file, and of it the packets or what is decoded.
std::string HashesOf(std::string const& path, bool decoded) {
    auto const file = MediaFile::Open(path);
    Texts warnings;
    GraphDocument const document = MakeMediaGraph(file, decoded, warnings);
    std::vector<NodeId> nodes;
    for (GraphSource const& source : document.sources)
        if (source.packets != decoded) nodes.push_back(source.id);
    FrameHashes const hashes(nodes, file);
    RecordOptions options;
    options.building.wrap = hashes.GetWrap();
    return hashes.ToText(RecordGraph(document, options, {}).data);
}

/// A clip of picture and sound with B pictures, in a container of this ending.
std::string Clip(std::string const& ending, Texts const& codecs) {
    std::string const path = Folder() / ("clip" + ending);
    Texts arguments{"-f", "lavfi", "-i", "testsrc=s=160x90:r=25:d=2", "-f", "lavfi", "-i", "sine=440:d=2"};
    arguments.insert(arguments.end(), codecs.begin(), codecs.end());
    arguments.push_back(path);
    RunFFmpeg(arguments);
    return path;
}

Texts const H264{"-c:v", "libx264", "-threads", "1", "-bf", "2", "-c:a", "aac"};

TEST(FrameHashes, OfPicturesTellTheShapeThatTheContainerAloneKnows) {
    std::string const path = Folder() / "wide.mkv";
    RunFFmpeg(
        {"-f", "lavfi", "-i", "testsrc=s=320x240:r=25:d=0.4", "-vf", "scale=160:90,setsar=4/3", "-c:v", "ffv1", path});
    std::string const hashes = HashesOf(path, true);
    EXPECT_THAT(hashes, HasSubstr("#sar 0: 4/3\n"));
    EXPECT_EQ(Expected(path, {"-map", "0:v", "-fps_mode", "passthrough"}), hashes);
}

TEST(FrameHashes, OfPacketsAreFFmpegsToTheByte) {
    struct Case {
        std::string ending;
        Texts codecs;
    };
    for (auto const& [ending, codecs] : std::vector<Case>{
             {".mp4", H264},
             {".mkv", H264},
             {".ts", H264},
             {".mov", {"-c:v", "mpeg4", "-c:a", "pcm_s16le"}},
             {".webm", {"-c:v", "libvpx", "-deadline", "realtime", "-c:a", "libopus"}},
             {".mpg", {"-c:v", "mpeg2video", "-bf", "2", "-c:a", "mp2"}},
             {".mxf", {"-c:v", "mpeg2video", "-c:a", "pcm_s16le", "-ar", "48000"}},
             {".asf", {"-c:v", "wmv2", "-c:a", "wmav2"}},
             {".ogv", {"-c:v", "libtheora", "-c:a", "libvorbis"}},
             {".avi", {"-c:v", "mpeg4", "-c:a", "mp3"}},
             {".wav", {"-map", "1"}},
             {".flac", {"-map", "1"}},
             {".mp3", {"-map", "1"}},
             {".ogg", {"-map", "1", "-c:a", "libvorbis"}},
             {".aac", {"-map", "1"}},
         }) {
        std::string const path = Clip(ending, codecs);
        EXPECT_EQ(Expected(path, COPY), HashesOf(path, false)) << ending;
    }
}

TEST(FrameHashes, OfPacketsAtUnevenRatesAreFFmpegsToTheByte) {
    std::string const path = Folder() / "uneven.mkv";
    RunFFmpeg({"-f", "lavfi", "-i", "testsrc=s=160x90:r=30000/1001:d=2", "-vf", "select='mod(n,5)'", "-fps_mode", "vfr",
               "-c:v", "libx264", "-bf", "2", path});
    EXPECT_EQ(Expected(path, COPY), HashesOf(path, false));
}

TEST(FrameHashes, OfPicturesAreThoseOfRawVideo) {
    for (std::string const ending : {".mp4", ".mkv", ".ts"}) {
        std::string const path = Folder() / ("pictures" + ending);
        RunFFmpeg({"-f", "lavfi", "-i", "testsrc=s=162x90:r=25:d=1", "-c:v", "libx264", "-bf", "2", path});
        EXPECT_EQ(Expected(path, {"-map", "0:v", "-fps_mode", "passthrough"}), HashesOf(path, true)) << ending;
    }
}

TEST(FrameHashes, CoverEveryKindOfPixels) {
    for (std::string const format : {"yuv444p", "yuv422p10le", "gray", "rgb24", "bgra", "gray16le", "yuva420p"}) {
        std::string const path = Folder() / (format + ".nut");
        RunFFmpeg({"-f", "lavfi", "-i", "testsrc=s=37x23:r=25:d=0.2", "-pix_fmt", format, "-c:v", "rawvideo", path});
        EXPECT_EQ(Expected(path, {"-map", "0:v", "-fps_mode", "passthrough"}), HashesOf(path, true)) << format;
    }
}

TEST(FrameHashes, OfSoundAreThoseOfInterleavedSamples) {
    struct Case {
        std::string file;
        Texts encoding;
        std::string pcm;
    };
    for (auto const& [file, encoding, pcm] : std::vector<Case>{{"a.wav", {"-c:a", "pcm_s16le"}, "pcm_s16le"},
                                                               {"b.wav", {"-c:a", "pcm_s24le"}, "pcm_s32le"},
                                                               {"c.flac", {"-sample_fmt", "s16"}, "pcm_s16le"},
                                                               {"d.wav", {"-c:a", "pcm_u8"}, "pcm_u8"}}) {
        std::string const path = Folder() / file;
        Texts arguments{"-f", "lavfi", "-i", "aevalsrc='sin(440*2*PI*t)|0.5*sin(660*2*PI*t)':s=48000:d=1"};
        arguments.insert(arguments.end(), encoding.begin(), encoding.end());
        arguments.push_back(path);
        RunFFmpeg(arguments);
        EXPECT_EQ(Expected(path, {"-map", "0:a", "-c:a", pcm}), HashesOf(path, true)) << file;
    }
}

TEST(FrameHashes, OfPicturesAndPlanarSoundStandTogetherByTime) {
    std::string const path = Clip(".mp4", H264);
    EXPECT_EQ(Expected(path, {"-map", "0", "-fps_mode", "passthrough", "-c:a", "pcm_f32le"}), HashesOf(path, true));
}

TEST(FrameHashes, AreTheDigestsOfTheRecord) {
    std::string const path = Clip(".mp4", H264);
    Texts warnings;
    GraphDocument const document = MakeMediaGraph(path, false, warnings);
    auto const data = RecordGraph(document, {}, {}).data;
    std::string const text = HashesOf(path, false);
    for (auto const& [id, node] : data.GetFilterCRCInfoList())
        for (auto const& item : node.GetPacketCRCInfoList()) ASSERT_THAT(text, HasSubstr(", " + item.GetCRC()));
}

TEST(FrameHashes, OfAGraphCountPicturesAndSamplesFromItsStart) {
    std::string const path = Folder() / "graph.mp4";
    WriteSampleClip(path, Tarsel::Test::SmallClip(2), true);
    GraphMaker graph;
    graph.Source(1, path, StreamKind::Video)
        .Source(2, path, StreamKind::Audio)
        .Filter(3, "SettingsFilterDurationTrimmer", {1}, {{"Duration", "80000"}});
    EXPECT_THAT(FindEnds(graph.document), ElementsAre(2, 3));
    FrameHashes const hashes({3, 3});
    RecordOptions options;
    options.building.wrap = hashes.GetWrap();
    auto const data = RecordGraph(graph.document, options, {}).data;
    auto const& items = data.GetFilterCRCInfoList().at(3).GetPacketCRCInfoList();
    ASSERT_EQ(2U, items.size());
    EXPECT_EQ(
        "#format: frame checksums\n#version: 2\n#hash: MD5\n#tb 0: 1/25\n#media_type 0: video\n"
        "#codec_id 0: rawvideo\n#dimensions 0: 320x180\n#sar 0: 1/1\n"
        "#stream#, dts,        pts, duration,     size, hash\n"
        "0,          0,          0,        1,    86400, " +
            items[0].GetCRC() + "\n" + "0,          1,          1,        1,    86400, " + items[1].GetCRC() + "\n",
        hashes.ToText(data));
}

TEST(FrameHashes, EndsAreTheOutputsStreamsWhereThereIsAnOutput) {
    GraphMaker graph;
    graph.Source(1, "a.mp4", StreamKind::Video).Source(2, "a.mp4", StreamKind::Audio).Into("out.mp4", {2, 1});
    EXPECT_THAT(FindEnds(graph.document), ElementsAre(2, 1));
}

TEST(FrameHashes, DecodedSubtitlesAreLeftOutAndTold) {
    std::string const path = MakeTextFile("hashes.srt", "1\n00:00:00,500 --> 00:00:01,500\nOne\n");
    GraphMaker graph;
    graph.Source(1, path, StreamKind::Subtitle);
    FrameHashes const hashes({1});
    RecordOptions options;
    options.building.wrap = hashes.GetWrap();
    auto const data = RecordGraph(graph.document, options, {}).data;
    EXPECT_THAT(hashes.GetWarnings(),
                ElementsAre("node 1: decoded subtitles have no place among frame hashes: they are left out"));
    EXPECT_EQ("there is no stream that has frame hashes", MessageOf<GraphException>([&] { hashes.ToText(data); }));
}

TEST(FrameHashes, ARecordOfOtherItemsIsRefused) {
    std::string const path = Clip(".wav", {"-map", "1"});
    GraphMaker graph;
    graph.Source(1, path, StreamKind::Audio);
    FrameHashes const hashes({1});
    RecordOptions options;
    options.building.wrap = hashes.GetWrap();
    auto data = RecordGraph(graph.document, options, {}).data;
    std::size_t const count = data.GetFilterCRCInfoList().at(1).GetPacketCRCInfoList().size();
    data.AddPacketCRCInfo(1, 0, "more");
    EXPECT_EQ("node 1: gave " + std::to_string(count) + " items, the record holds " + std::to_string(count + 1),
              MessageOf<GraphException>([&] { hashes.ToText(data); }));
}

FrameHashStream StreamOf(AVRational timeBase, std::vector<int64> const& times) {
    FrameHashStream stream;
    stream.parameters.reset(avcodec_parameters_alloc());
    stream.timeBase = timeBase;
    for (int64 const time : times) stream.lines.push_back({time, time, 1, 2, "h", ""});
    return stream;
}

TEST(FrameHashText, LinesStandByDecodingTimeAndAtOneTimeByStream) {
    std::vector<FrameHashStream> streams;
    streams.push_back(StreamOf({1, 25}, {0, 1}));
    streams.push_back(StreamOf({1, 100}, {-1, 0, 4, 5}));
    streams.push_back(StreamOf({1, 1}, {}));
    std::string const text = WriteFrameHashes(streams);
    std::string order;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        if (line.front() != '#') order += line.front();
    EXPECT_EQ("101011", order);
}

TEST(FrameHashText, NoBytesHaveTheHashOfNothing) {
    EXPECT_EQ("d41d8cd98f00b204e9800998ecf8427e", HashBytes(nullptr, 0));
}

}  // namespace
}  // namespace Tarsel::Host
