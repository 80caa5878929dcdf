// Graphs of sound on real media: mixers, generators and detectors, read through and sought.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "host/graph/GraphBuilder.h"
#include "host/graph/GraphDrawing.h"
#include "host/graph/GraphErrors.h"
#include "host/graph/GraphJob.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/GraphClips.h"
#include "tests/support/ScriptedStream.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Host {
namespace {

namespace Support = Tarsel::Test;

using Tarsel::Test::GraphMaker;
using Tarsel::Test::MakeClip;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;
using TestSupport::MessageOf;

constexpr auto AUDIO = StreamKind::Audio;
constexpr char MIXER[] = "FilterAudioMixer";
constexpr char CACHE[] = "FilterCacheController";
constexpr int RATE = 48000;

/// Mono noise of 16 bits, which tells every sample from its neighbours.
std::string Noise(int seed, std::string const& seconds) {
    return MakeClip("graph-noise-" + std::to_string(seed) + ".wav",
                    {"-f", "lavfi", "-i", "anoisesrc=r=48000:a=0.4:seed=" + std::to_string(seed) + ":d=" + seconds,
                     "-c:a", "pcm_s16le"});
}

std::string Long() {
    return Noise(1, "3");
}
std::string Short() {
    return Noise(2, "1.25");
}

using Samples = std::vector<int>;

void Append(Samples& samples, Proc::IData& item) {
    auto& block = dynamic_cast<Proc::IDataAudio&>(item);
    auto const* const values = reinterpret_cast<std::int16_t const*>(block.GetAVFrame()->extended_data[0]);
    samples.insert(samples.end(), values, values + block.GetSampleCount());
}

/// What a stream gives from a place on, up to `limit` samples; `begin` is told where it begins.
Samples ReadFrom(Proc::IStream& stream, int64 position, int64* begin = nullptr, std::size_t limit = SIZE_MAX) {
    Support::Seek(stream, position);
    Samples samples;
    while (samples.size() < limit) {
        iptr<Proc::IData> const item = stream.Read();
        if (!item) break;
        if (begin && samples.empty()) *begin = item->GetTime();
        Append(samples, *item);
    }
    if (samples.size() > limit) samples.resize(limit);
    return samples;
}

Samples Behind(Samples const& samples, int64 microseconds) {
    auto const first = std::min<int64>((microseconds * RATE + SECOND / 2) / SECOND, int64(samples.size()));
    return {samples.begin() + first, samples.end()};
}

/// Both noises under a mixer, whose id is 9.
GraphMaker Mixed() {
    GraphMaker graph;
    graph.Source(1, Long(), AUDIO).Source(2, Short(), AUDIO).Filter(9, MIXER, {1, 2});
    return graph;
}

TEST(GraphSound, AMixIsTheSumOfItsInputs) {
    auto const mixed = BuildGraph(Mixed().document);
    GraphMaker alone;
    alone.Source(1, Long(), AUDIO).Source(2, Short(), AUDIO);
    auto const parts = BuildGraph(alone.document);
    Samples const a = ReadFrom(parts->GetNode(1).GetStream(), 0);
    Samples const b = ReadFrom(parts->GetNode(2).GetStream(), 0);
    ASSERT_THAT(a, SizeIs(3 * RATE));
    ASSERT_THAT(b, SizeIs(60000));
    Samples expected = a;
    for (std::size_t i = 0; i < b.size(); ++i) expected[i] = std::clamp(a[i] + b[i], -32768, 32767);
    EXPECT_EQ(expected, ReadFrom(mixed->GetNode(9).GetStream(), 0));
    EXPECT_EQ(3 * SECOND, mixed->GetNode(9).GetStream().GetDuration());
    EXPECT_EQ(Long(), mixed->GetNode(9).origin.file->GetPath());
    EXPECT_GT(mixed->GetNode(2).record->items, 0U);
}

TEST(GraphSound, VolumesOfTheListGoToTheInputsInTheirOrderAndTheRestIsUnchanged) {
    GraphMaker graph = Mixed();
    graph.document.filters[0].settings.Add(Core::Property("Streams").SetChild("Volume", 0));
    GraphMaker alone;
    alone.Source(2, Short(), AUDIO);
    Samples expected = ReadFrom(BuildGraph(alone.document)->GetNode(2).GetStream(), 0);
    expected.resize(3 * RATE);
    EXPECT_EQ(expected, ReadFrom(BuildGraph(graph.document)->GetNode(9).GetStream(), 0));
}

TEST(GraphSound, SeeksOfAMixGiveWhatReadingThroughGives) {
    auto const graph = BuildGraph(Mixed().document);
    Proc::IStream& mix = graph->GetNode(9).GetStream();
    Samples const straight = ReadFrom(mix, 0);
    // Inside and outside of the shorter input, on blocks and off them, back and forth.
    for (int64 const position :
         {SECOND, int64{1234567}, int64{777777}, int64{1250000}, int64{2999000}, int64{30}, int64{0}}) {
        int64 begin = NO_VALUE;
        Samples const samples = ReadFrom(mix, position, &begin);
        EXPECT_EQ(Behind(straight, begin), samples) << position;
        EXPECT_NEAR(position, begin, 21) << position;
    }
    int64 begin = NO_VALUE;
    EXPECT_THAT(ReadFrom(mix, 5 * SECOND, &begin), SizeIs(0));
}

TEST(GraphSound, AMixOverCachesStaysAligned) {
    // A cache stands at the block that holds a position, each stream at another one.
    GraphMaker graph;
    graph.Source(1, Long(), AUDIO).Source(2, Short(), AUDIO);
    Core::Property const settings = GraphMaker::Settings(CACHE, {});
    graph.Controller(3, CACHE, {{4, 1}}, settings).Controller(5, CACHE, {{6, 2}}, settings);
    // Blocks of another length than the other stream's.
    graph.Filter(7, "FilterAudioFormatter", {6}, {{"PacketDuration", "37000"}}).Filter(9, MIXER, {4, 7});
    auto const built = BuildGraph(graph.document);
    Proc::IStream& mix = built->GetNode(9).GetStream();
    auto const plain = BuildGraph(Mixed().document);
    Samples const straight = ReadFrom(plain->GetNode(9).GetStream(), 0);
    for (int64 const position : {int64{0}, int64{410000}, int64{350000}, int64{1010000}}) {
        int64 begin = NO_VALUE;
        Samples const samples = ReadFrom(mix, position, &begin, 9600);
        Samples expected = Behind(straight, begin);
        expected.resize(9600);
        EXPECT_EQ(expected, samples) << position;
        EXPECT_NEAR(position, begin, 21) << position;
    }
}

TEST(GraphSound, ACacheAboveAMixGivesTheSameSamples) {
    GraphMaker graph = Mixed();
    graph.Controller(3, CACHE, {{4, 9}}, GraphMaker::Settings(CACHE, {}));
    auto const built = BuildGraph(graph.document);
    auto const plain = BuildGraph(Mixed().document);
    Samples const straight = ReadFrom(plain->GetNode(9).GetStream(), 0);
    for (int64 const position : {int64{0}, int64{500000}, int64{400000}, 2 * SECOND, SECOND}) {
        int64 begin = NO_VALUE;
        Samples const samples = ReadFrom(built->GetNode(4).GetStream(), position, &begin, 9600);
        Samples expected = Behind(straight, begin);
        expected.resize(std::min<std::size_t>(9600, expected.size()));
        EXPECT_EQ(expected, samples) << position;
        EXPECT_LE(begin, position) << position;
    }
}

TEST(GraphSound, AMixUnderASeekControllerAndAJoinPlaysBothClips) {
    GraphMaker graph = Mixed();
    graph.Source(10, Short(), AUDIO);
    graph.Controller(20, "FilterSeekController", {{21, 9}}, GraphMaker::Settings("FilterSeekController", {}));
    graph.Filter(30, "FilterJoinAudio", {21, 10});
    auto const built = BuildGraph(graph.document);
    EXPECT_THAT(ReadFrom(built->GetNode(30).GetStream(), 0), SizeIs(3 * RATE + 60000));
    EXPECT_THAT(ReadFrom(built->GetNode(30).GetStream(), 2 * SECOND), SizeIs(RATE + 60000));
}

TEST(GraphSound, TheRunnerSeeksAMix) {
    GraphRunOptions options;
    options.seeks = {SECOND, 1500000, 0};
    auto const report = RunGraph(Mixed().document, options, nullptr);
    std::vector<int64> real;
    for (auto const& seek : report.seeks) real.push_back(seek.realUs.at(0));
    EXPECT_THAT(real, ElementsAre(SECOND, 1500000, 0));
    EXPECT_EQ(3 * SECOND, report.GetEnd());
}

// What reads no file.

GraphMaker Tone() {
    GraphMaker graph;
    graph.Filter(1, "SettingsAudioGenerator", {},
                 {{"SampleFormat", "1"}, {"ChannelLayout", "4"}, {"Duration", "2000000"}, {"Frequency", "500"}});
    return graph;
}

TEST(GraphSound, AGeneratorHasNoFileBehindIt) {
    auto const graph = BuildGraph(Tone().document);
    EXPECT_EQ(nullptr, graph->GetNode(1).origin.file);
    EXPECT_EQ(nullptr, graph->GetNode(1).origin.info);
    EXPECT_THAT(graph->GetOutputs(), ElementsAre(1));
    EXPECT_EQ(0U, graph->GetSources().GetFiles().size());
    EXPECT_THAT(DrawGraph(*graph),
                HasSubstr("1 SettingsAudioGenerator\\naudio: 48000 Hz, 1 channels, s16\\n00:02.000"));
    Samples const samples = ReadFrom(graph->GetNode(1).GetStream(), 0);
    ASSERT_THAT(samples, SizeIs(2 * RATE));
    EXPECT_EQ(32767, *std::max_element(samples.begin(), samples.end()));
}

TEST(GraphSound, AGeneratorGoesThroughFiltersControllersAndSeeks) {
    GraphMaker graph = Tone();
    graph.Filter(2, "SettingsFilterDurationTrimmer", {1}, {{"Duration", "1500000"}});
    graph.Controller(3, "FilterSeekController", {{4, 2}}, GraphMaker::Settings("FilterSeekController", {}));
    GraphRunOptions options;
    options.seeks = {SECOND, 0};
    auto const report = RunGraph(graph.document, options, nullptr);
    EXPECT_THAT(report.seeks.at(0).realUs, ElementsAre(SECOND));
    EXPECT_EQ(1500000, report.GetEnd());
    EXPECT_THAT(report.warnings, SizeIs(0));
}

TEST(GraphSound, AMixOfAFileAndAToneHasTheFilesOrigin) {
    GraphMaker graph = Tone();
    graph.Source(2, Short(), AUDIO).Filter(9, MIXER, {1, 2});
    auto const built = BuildGraph(graph.document);
    EXPECT_EQ(nullptr, built->GetNode(9).origin.file);
    EXPECT_THAT(ReadFrom(built->GetNode(9).GetStream(), 0), SizeIs(2 * RATE));
}

TEST(GraphSound, ASpectrumIsAStreamOfPicturesWithoutAFile) {
    GraphMaker graph;
    graph.Source(1, Short(), AUDIO).Filter(2, "FilterAudioHistogram", {1}, {{"Width", "64"}, {"Height", "48"}});
    auto const built = BuildGraph(graph.document);
    EXPECT_EQ(GraphKind::Video, built->GetNode(2).GetKind());
    EXPECT_EQ(nullptr, built->GetNode(2).origin.info);
    Support::ScratchFolder const folder;
    for (char const* const name : {"out.mp4", "out.mkv", "out.ts", "out.avi"}) {
        GraphMaker written = graph;
        auto const report = RunGraph(written.Into(folder / name, {2}).document, {}, nullptr);
        EXPECT_GT(report.streams.at(0).items, 20) << name;
    }
}

// Levels.

TEST(GraphSound, ADetectorTellsTheLevelInItsStatisticsAndSeeksAsAsked) {
    GraphMaker graph;
    graph.Source(1, Long(), AUDIO).Filter(2, "FilterVolumeDetect", {1});
    GraphRunOptions options;
    options.seeks = {1500000};
    auto const report = RunGraph(graph.document, options, nullptr);
    EXPECT_THAT(report.seeks.at(0).realUs, ElementsAre(1500000));
    Core::Property const own = report.streams.at(0).statistics.Children().back();
    EXPECT_EQ("Tarsel::Host::VolumeDetectStream::GetStatistic", own.Name());
    EXPECT_GT(own["Level"].GetDouble(), 0.3);
    EXPECT_EQ("false", own["Quiet"].GetString());
}

TEST(GraphSound, FailuresNameTheNode) {
    GraphMaker graph = Mixed();
    graph.document.filters[0].settings.Add(Core::Property("Streams").SetChild("Volume", 1));
    graph.document.filters[0].settings.Add(Core::Property("Streams").SetChild("Volume", 1));
    graph.document.filters[0].settings.Add(Core::Property("Streams").SetChild("Volume", 1));
    EXPECT_EQ("node 9: /filters/0/settings/Streams/2: the mixer has only 2 inputs",
              MessageOf<GraphException>([&] { BuildGraph(graph.document); }));
}

}  // namespace
}  // namespace Tarsel::Host
