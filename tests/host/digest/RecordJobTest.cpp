#include "host/digest/RecordJob.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <sstream>

#include "contracts/Core/Exception.h"
#include "host/digest/FrameHashes.h"
#include "host/graph/GraphErrors.h"
#include "host/graph/GraphJob.h"
#include "host/graph/GraphReader.h"
#include "host/media/ForwardingStream.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/GraphClips.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Host {
namespace {

using Tarsel::Test::GraphMaker;
using Tarsel::Test::MakeClip;
using Tarsel::Test::MakeTextFile;
using Tarsel::Test::RunFFmpeg;
using Tarsel::Test::ScratchFolder;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using TestSupport::MessageOf;

constexpr auto VIDEO = StreamKind::Video;
constexpr auto AUDIO = StreamKind::Audio;
constexpr char TRIMMER[] = "SettingsFilterDurationTrimmer";

using Times = std::map<NodeId, std::vector<int64>>;

/// Notes the times of what comes through, and moves them.
template <class T>
class Tap final : public ForwardingStream<T> {
  public:
    using typename ForwardingStream<T>::DataType;

    Tap(iptr<T> source, std::vector<int64>& times, int64 shift)
        : ForwardingStream<T>(std::move(source)), times(times), shift(shift) {}
    iptr<DataType> Read() override {
        iptr<DataType> item = this->stream->Read();
        if (!item) return item;
        times.push_back(item->GetTime());
        if (shift != 0) item->SetTime(AddTime(item->GetTime(), shift));
        return item;
    }

  private:
    std::vector<int64>& times;
    int64 const shift;
};

/// A stream that has ended from its start on, as long as the one that it stands for.
template <class T>
class Ended final : public ForwardingStream<T> {
  public:
    using typename ForwardingStream<T>::DataType;

    explicit Ended(iptr<T> source) : ForwardingStream<T>(std::move(source)) {}
    int64 GetPosition() override { return NO_VALUE; }
    iptr<DataType> Read() override { return nullptr; }
};

/// Taps behind all nodes. The map outlives the run.
NodeWrap Tapped(Times& times, int64 shift = 0) {
    return [&times, shift](BuiltNode const& node, GraphStream stream) {
        return std::visit(
            [&]<class T>(iptr<T>& typed) -> GraphStream {
                return iptr<T>(MakeShared<Tap<T>>(std::move(typed), times[node.id], shift));
            },
            stream);
    };
}

/// The same, with one node that gives nothing.
NodeWrap TappedWithout(NodeId ended, Times& times) {
    return [ended, tapped = Tapped(times)](BuiltNode const& node, GraphStream stream) {
        if (node.id == ended)
            stream = std::visit(
                []<class T>(iptr<T>& typed) -> GraphStream { return iptr<T>(MakeShared<Ended<T>>(std::move(typed))); },
                stream);
        return tapped(node, std::move(stream));
    };
}

Times TimesOf(Proc::GraphCRCData const& data) {
    Times times;
    for (auto const& [id, node] : data.GetFilterCRCInfoList())
        for (auto const& item : node.GetPacketCRCInfoList()) times[id].push_back(item.GetTimeStamp());
    return times;
}

std::vector<std::string> DigestsOf(Proc::GraphCRCData const& data, NodeId node) {
    std::vector<std::string> digests;
    for (auto const& item : data.GetFilterCRCInfoList().at(node).GetPacketCRCInfoList())
        digests.push_back(item.GetCRC());
    return digests;
}

ScratchFolder const& Folder() {
    static ScratchFolder const folder;
    return folder;
}

std::string const& Clip() {
    static std::string const path = [] {
        WriteSampleClip(Folder() / "clip.mp4", Tarsel::Test::SmallClip(3), true);
        return Folder() / "clip.mp4";
    }();
    return path;
}

/// The clip with titles, the last of them behind its third second.
std::string const& TitledClip() {
    static std::string const path = [] {
        std::string const titles = MakeTextFile("record-titles.srt",
                                                "1\n00:00:00,500 --> 00:00:01,500\nOne\n\n"
                                                "2\n00:00:03,500 --> 00:00:03,900\nTwo\n");
        RunFFmpeg({"-i", Clip(), "-i", titles, "-map", "0", "-map", "1", "-c", "copy", Folder() / "titled.mkv"});
        return Folder() / "titled.mkv";
    }();
    return path;
}

Proc::GraphCRCData Record(GraphDocument const& document, RecordOptions const& options = {}) {
    return RecordGraph(document, options, {}).data;
}

GraphDocument Example(std::string const& name) {
    std::string const path = std::string(TARSEL_EXAMPLES) + "/" + name;
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    GraphVariables variables;
    bool const drawsTitles = name == "subtitle.json";
    auto const offer = [&](std::string const& variable, std::string const& value) {
        if (text.str().find("${" + variable + "}") != std::string::npos) variables[variable] = value;
    };
    offer("IN", TitledClip());
    offer("IN2",
          drawsTitles ? MakeTextFile("record-titles2.srt", "1\n00:00:00,500 --> 00:00:01,500\nOne\n") : TitledClip());
    offer("OUT", Folder() / "unused.mkv");
    return ReadGraph(path, variables);
}

std::vector<std::string> Examples() {
    std::vector<std::string> names;
    for (auto const& entry : std::filesystem::directory_iterator(TARSEL_EXAMPLES))
        if (entry.path().extension() == ".json") names.push_back(entry.path().filename());
    EXPECT_GT(names.size(), 15U);
    return names;
}

/// A graph's run gives below its digests what it gives without them, and that is what its record holds. `tapped` makes
/// the taps of a run.
void ExpectUndisturbed(GraphDocument const& document, std::function<NodeWrap(Times&)> const& tapped,
                       std::vector<int64> const& seeks = {}) {
    Times bare;
    GraphRunOptions running;
    running.dryRun = true;
    running.seeks = seeks;
    running.fromStart = true;
    running.building.wrap = tapped(bare);
    GraphReport const report = RunGraph(document, running, {});
    Times below;
    RecordOptions options;
    options.seeks = seeks;
    options.building.wrap = tapped(below);
    RunRecord const record = RecordGraph(document, options, {});
    EXPECT_EQ(bare, below);
    // Nodes that gave nothing aren't in the record.
    std::erase_if(below, [](auto const& node) { return node.second.empty(); });
    EXPECT_EQ(below, TimesOf(record.data));
    ASSERT_EQ(report.nodes.size(), record.report.nodes.size());
    for (std::size_t i = 0; i < report.nodes.size(); ++i)
        EXPECT_EQ(report.nodes[i].items, record.report.nodes[i].items) << "node " << report.nodes[i].id;
}

NodeWrap AllTapped(Times& times) {
    return Tapped(times);
}

TEST(RecordJob, LeavesEveryExampleGraphsItemsAndTimesAsTheyAre) {
    for (std::string const& name : Examples()) {
        SCOPED_TRACE(name);
        ExpectUndisturbed(Example(name), AllTapped);
    }
}

/// Picture and sound of the clip under one seek controller, each in a join of its own, cut together above them.
GraphDocument LinkedCut(std::string const& interval) {
    return ParseGraph(R"({
      "version": 1,
      "sources": [{"id": 1, "file": "${IN}", "stream": "video"}, {"id": 2, "file": "${IN}", "stream": "audio"}],
      "filters": [{"id": 21, "class": "FilterJoinVideo", "inputs": [31]},
                  {"id": 22, "class": "FilterJoinAudio", "inputs": [32]}],
      "controllers": [
        {"id": 41, "class": "FilterSeekController", "streams": [{"id": 31, "input": 1}, {"id": 32, "input": 2}]},
        {"id": 50, "class": "FilterCutController", "settings": {"Interval": [)" +
                          interval + R"(]},
         "streams": [{"id": 51, "input": 21}, {"id": 52, "input": 22}]}],
      "output": "null"
    })",
                      {{"IN", Clip()}});
}

TEST(RecordJob, LinkedJoinsThatAreSoughtBetweenItemsGiveWhatTheyGiveUnrecorded) {
    for (char const* const interval : {R"({"Start": 0, "End": 1013007})", R"({"Start": 507000, "End": 1213007})", ""}) {
        SCOPED_TRACE(interval);
        GraphDocument const document = LinkedCut(interval);
        ExpectUndisturbed(document, AllTapped);
        ExpectUndisturbed(document, AllTapped, {1510000, 290000});
        Proc::GraphCRCData const whole = Record(document);
        RecordOptions alone;
        alone.nodes = {51};
        EXPECT_TRUE(whole.GetFilterCRCInfoList().at(51) == Record(document, alone).GetFilterCRCInfoList().at(51));
    }
}

TEST(RecordJob, LinkedJoinsOfWhichTheLastIsEmptyGiveWhatTheyGiveUnrecorded) {
    // Nothing of an empty stream stands where the controller was sought: the next join seeks all streams once more.
    GraphDocument const document = LinkedCut("");
    auto const tapped = [](Times& times) { return TappedWithout(2, times); };
    ExpectUndisturbed(document, tapped);
    Times times;
    RecordOptions options;
    options.building.wrap = tapped(times);
    std::vector<int64> const video = TimesOf(Record(document, options)).at(31);
    EXPECT_EQ(75U, video.size());
}

/// Picture and sound of the clip through layers of filters and controllers, drawn by a seed.
class RandomPair {
  public:
    explicit RandomPair(unsigned seed) : random(seed) {
        graph.Source(1, Clip(), VIDEO).Source(2, Clip(), AUDIO);
        // A repeat reads what lies below it without a seek, which not every filter takes.
        if (Draw(0, 4) == 0) Repeat();
        for (int i = 0, count = Draw(1, 4); i < count; ++i) AddLayer();
        graph.Into({}, {video, audio});
        // Not beyond the end: the digests clamp a seek, as most filters do, and a join doesn't.
        for (int i = Draw(0, 3); i > 0 && length > 2 * PICTURE; --i) places.push_back(Draw(0, length - 2 * PICTURE));
    }

    GraphMaker graph;
    std::vector<int64> places;
    /// What it is, for people.
    std::string text;

  private:
    static constexpr int PICTURE = 40000;

    int Draw(int low, int high) { return low + static_cast<int>(random() % static_cast<unsigned>(high - low + 1)); }
    void Control(std::string const& classId, Core::Property const& settings) {
        text += " " + classId;
        graph.Controller(last + 1, classId, {{last + 2, video}, {last + 3, audio}}, settings);
        video = last + 2;
        audio = last += 3;
    }
    void Filter(NodeId& stream, std::string const& classId,
                std::vector<std::pair<std::string, std::string>> const& values = {}) {
        text += " " + classId;
        graph.Filter(++last, classId, {stream}, values);
        stream = last;
    }
    void Repeat() {
        length = 3500000;
        Control("FilterRepeatController",
                GraphMaker::Settings("FilterRepeatController",
                                     {{"RedefineDuration", std::to_string(length)}, {"RepeatMode", "Last"}}));
    }
    void Cut() {
        int const start = Draw(0, 2) == 0 ? 0 : Draw(0, length / 2);
        int const end = start + Draw(1, length / 2);
        length -= end - start;
        Core::Property interval("Interval");
        interval.SetChild("Start", std::to_string(start));
        interval.SetChild("End", std::to_string(end));
        Control("FilterCutController", Core::Property("FilterCutController").Add(interval));
        text += " " + std::to_string(start) + "-" + std::to_string(end);
    }
    void AddLayer() {
        switch (Draw(0, 4)) {
            case 0:
                Control("FilterSeekController", Core::Property("FilterSeekController"));
                Filter(video, "FilterJoinVideo");
                return Filter(audio, "FilterJoinAudio");
            case 1:
                return Filter(video, "SettingsFilterFrameRate");
            case 2:
                length = std::min(length, 2500000);
                Filter(video, TRIMMER, {{"Duration", std::to_string(length)}});
                return Filter(audio, TRIMMER, {{"Duration", std::to_string(length)}});
            default:
                return Cut();
        }
    }

    std::mt19937 random;
    int length = 3000000;
    NodeId last = 10;
    NodeId video = 1;
    NodeId audio = 2;
};

TEST(RecordJob, RandomGraphsGiveWhatTheyGiveUnrecorded) {
    constexpr unsigned GRAPHS = 60;
    for (unsigned seed = 1; seed <= GRAPHS; ++seed) {
        RandomPair const drawn(seed);
        SCOPED_TRACE("seed " + std::to_string(seed) + drawn.text);
        ASSERT_NO_THROW(ExpectUndisturbed(drawn.graph.document, AllTapped, drawn.places));
    }
}

TEST(RecordJob, IsTheSameForAnyNumberOfDecoderThreads) {
    GraphMaker graph;
    graph.Source(1, Clip(), VIDEO).Source(2, Clip(), AUDIO).Filter(3, TRIMMER, {1}, {{"Duration", "2000000"}});
    Proc::GraphCRCData const first = Record(graph.document);
    for (int const threads : {1, 3}) {
        RecordOptions options;
        options.building.decoderThreads = threads;
        EXPECT_TRUE(first == Record(graph.document, options)) << threads;
    }
}

TEST(RecordJob, KnowsEachStreamByItsNode) {
    GraphMaker graph;
    graph.Source(-7, Clip(), VIDEO).Source(40, Clip(), AUDIO).Filter(3, TRIMMER, {-7}, {{"Duration", "1000000"}});
    RecordOptions options;
    options.name = "graphs/one.json";
    Proc::GraphCRCData const data = Record(graph.document, options);
    ASSERT_EQ(3U, data.GetFilterCount());
    EXPECT_EQ(25U, DigestsOf(data, 3).size());
    std::vector<std::string> source = DigestsOf(data, -7);
    ASSERT_GE(source.size(), 25U);
    source.resize(25);
    EXPECT_EQ(source, DigestsOf(data, 3));
    EXPECT_EQ(data.GetPacketCount(),
              DigestsOf(data, -7).size() + DigestsOf(data, 3).size() + DigestsOf(data, 40).size());
    EXPECT_EQ("graphs/one.json", data.GetSourceGraphFileName().utf8string());
    EXPECT_EQ(Clip(), data.GetSourceMediaFileName().utf8string());
}

TEST(RecordJob, StreamsOfControllersAreNodes) {
    Proc::GraphCRCData const data = Record(Example("cut.json"));
    GraphDocument const document = Example("cut.json");
    ASSERT_FALSE(document.controllers.empty());
    for (auto const& stream : document.controllers.front().streams)
        EXPECT_LT(DigestsOf(data, stream.id).size(), DigestsOf(data, stream.input).size());
    EXPECT_EQ(0U, data.GetFilterCRCInfoList().count(document.controllers.front().id));
}

TEST(RecordJob, WatchesTheNodesThatItIsTold) {
    GraphMaker graph;
    graph.Source(1, Clip(), VIDEO).Source(2, Clip(), AUDIO).Filter(3, TRIMMER, {1}, {{"Duration", "1000000"}});
    RecordOptions options;
    options.nodes = {3, 2, 3};
    Proc::GraphCRCData const data = Record(graph.document, options);
    ASSERT_EQ(2U, data.GetFilterCount());
    EXPECT_EQ(25U, DigestsOf(data, 3).size());
    EXPECT_EQ(1U, data.GetFilterCRCInfoList().count(2));
}

TEST(RecordJob, ANodeThatIsNotInTheGraphIsNamed) {
    GraphMaker graph;
    graph.Source(1, Clip(), VIDEO).Controller(9, "FilterSeekController", {{2, 1}}, {});
    RecordOptions options;
    options.nodes = {1, 8};
    EXPECT_EQ("node 8: isn't in the graph",
              MessageOf<GraphException>([&] { RecordGraph(graph.document, options, {}); }));
    options.name = "g.json";
    options.nodes = {9};
    EXPECT_EQ("g.json: node 9: is a controller: ask for the streams that it gives",
              MessageOf<GraphException>([&] { RecordGraph(graph.document, options, {}); }));
}

TEST(RecordJob, ANameThatIsNotUtf8IsRefusedBeforeTheRun) {
    GraphMaker graph;
    graph.Source(1, "caf\xE9.mp4", VIDEO);
    EXPECT_EQ("caf\xE9.mp4: its name isn't UTF-8, and a record can't hold another",
              MessageOf<Core::IOException>([&] { RecordGraph(graph.document, {}, {}); }));
    RecordOptions options;
    options.name = "\xFF.json";
    graph.document.sources.front().file = Clip();
    EXPECT_EQ("\xFF.json: its name isn't UTF-8, and a record can't hold another",
              MessageOf<Core::IOException>([&] { RecordGraph(graph.document, options, {}); }));
}

TEST(RecordJob, TheCallersWrapStandsBelowTheDigest) {
    GraphMaker graph;
    graph.Source(1, Clip(), VIDEO);
    Times below;
    RecordOptions options;
    options.building.wrap = Tapped(below, 1000);
    Times const recorded = TimesOf(Record(graph.document, options));
    ASSERT_EQ(75U, below.at(1).size());
    ASSERT_EQ(75U, recorded.at(1).size());
    for (std::size_t i = 0; i < recorded.at(1).size(); ++i) EXPECT_EQ(below.at(1)[i] + 1000, recorded.at(1)[i]);
}

TEST(RecordJob, ANodeThatGivesNothingIsNotInTheRecord) {
    GraphMaker graph;
    graph.Source(1, TitledClip(), StreamKind::Subtitle).Filter(2, TRIMMER, {1}, {{"Duration", "100000"}});
    RunRecord const record = RecordGraph(graph.document, {}, {});
    EXPECT_EQ(0U, record.data.GetFilterCRCInfoList().count(2));
    EXPECT_EQ(2U, record.report.nodes.size());
}

TEST(RecordJob, BehindSeeksTheWholeRunFollowsAsWithoutThem) {
    // A repeat stays at its end whatever is sought, and what blinks keeps its clock.
    std::set<std::string> const unlike{"picture-in-picture.json", "repeat.json", "repeat-dedicated.json"};
    for (std::string const& name : Examples()) {
        if (unlike.count(name) != 0) continue;
        GraphDocument const document = Example(name);
        Proc::GraphCRCData const straight = Record(document);
        RecordOptions options;
        options.seeks = {1500000, 300000, 1000000};
        RunRecord const sought = RecordGraph(document, options, {});
        EXPECT_EQ(3U, sought.report.seeks.size()) << name;
        EXPECT_GT(sought.data.GetPacketCount(), straight.GetPacketCount()) << name;
        for (auto const& output : sought.report.streams) {
            std::vector<std::string> const whole = DigestsOf(straight, output.input);
            std::vector<std::string> const all = DigestsOf(sought.data, output.input);
            ASSERT_GE(all.size(), whole.size()) << name;
            std::vector<std::string> const last(all.end() - static_cast<std::ptrdiff_t>(whole.size()), all.end());
            EXPECT_EQ(whole, last) << name << " node " << output.input;
        }
    }
}

TEST(RecordJob, PicturesInGpuMemoryHaveTheDigestOfWhatTheyShow) {
    std::string const text = R"({
      "version": 1, "sources": [{"id": 1, "file": "${IN}", "stream": "video"}],
      "filters": [
        {"id": 2, "class": "FilterApplyEffectsVideo", "inputs": [1], "settings": {"Effects": [{"effect": "upload"}]}},
        {"id": 3, "class": "FilterApplyEffectsVideo", "inputs": [2],
         "settings": {"Effects": [{"effect": "fade", "end": 1000000, "implementation": "OGL"}]}},
        {"id": 4, "class": "FilterApplyEffectsVideo", "inputs": [3], "settings": {"Effects": [{"effect": "download"}]}}],
      "output": {"file": "null", "streams": [{"input": 4}]}
    })";
    GraphDocument const document = ParseGraph(text, {{"IN", Clip()}});
    bool onGpu = false;
    RecordOptions options;
    options.building.wrap = [&](BuiltNode const& node, GraphStream stream) {
        auto const& video = std::get<iptr<Proc::IStreamVideo>>(stream);
        if (node.id == 3) {
            video->RequestSeek(0, nullptr);
            video->DoSeek();
            onGpu = Proc::IsOGLFrame(video->Read());
        }
        return stream;
    };
    Proc::GraphCRCData const data = Record(document, options);
    EXPECT_TRUE(onGpu);
    EXPECT_EQ(75U, DigestsOf(data, 3).size());
    EXPECT_EQ(DigestsOf(data, 4), DigestsOf(data, 3));
    FrameHashes const hashes({3});
    options.building.wrap = hashes.GetWrap();
    EXPECT_THAT(hashes.ToText(Record(document, options)), HasSubstr(",   230400, " + DigestsOf(data, 3).front()));
}

TEST(RecordJob, AFailureOfTheGraphPassesWithItsName) {
    GraphMaker graph;
    graph.Source(1, "nowhere.mp4", VIDEO);
    RecordOptions options;
    options.name = "g.json";
    EXPECT_THAT(MessageOf<GraphException>([&] { RecordGraph(graph.document, options, {}); }),
                HasSubstr("g.json: node 1: /sources/0/file: nowhere.mp4: there is no such file"));
}

TEST(MediaGraph, HasPacketsAndFramesOfEachStream) {
    std::vector<std::string> warnings;
    GraphDocument const packets = MakeMediaGraph(TitledClip(), false, warnings);
    ASSERT_EQ(3U, packets.sources.size());
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(static_cast<NodeId>(i), packets.sources[i].id);
        EXPECT_TRUE(packets.sources[i].packets);
    }
    GraphDocument const both = MakeMediaGraph(TitledClip(), true, warnings);
    ASSERT_EQ(6U, both.sources.size());
    EXPECT_EQ(DECODED_NODES + 2, both.sources[5].id);
    EXPECT_FALSE(both.sources[5].packets);
    EXPECT_THAT(warnings, IsEmpty());
    Proc::GraphCRCData const data = Record(both);
    EXPECT_EQ(6U, data.GetFilterCount());
    EXPECT_EQ(75U, DigestsOf(data, 0).size());
    EXPECT_EQ(75U, DigestsOf(data, DECODED_NODES).size());
    EXPECT_EQ("", data.GetSourceGraphFileName().utf8string());
    EXPECT_EQ(TitledClip(), data.GetSourceMediaFileName().utf8string());
}

TEST(MediaGraph, LeavesOutCoversAndAttachments) {
    std::string const cover = Folder() / "cover.png";
    RunFFmpeg({"-f", "lavfi", "-i", "color=red:s=32x32", "-frames:v", "1", cover});
    std::string const path = Folder() / "covered.mp4";
    RunFFmpeg(
        {"-i", Clip(), "-i", cover, "-map", "0", "-map", "1", "-c", "copy", "-disposition:v:1", "attached_pic", path});
    std::vector<std::string> warnings;
    GraphDocument const document = MakeMediaGraph(path, true, warnings);
    std::vector<NodeId> ids;
    for (GraphSource const& source : document.sources) ids.push_back(source.id);
    EXPECT_THAT(ids, ElementsAre(0, 1, DECODED_NODES, DECODED_NODES + 1));
    EXPECT_THAT(warnings, IsEmpty());
}

TEST(MediaGraph, StreamsWithoutPacketsAreLeftOutAndTold) {
    // A track of titles without any title.
    std::string const path = Folder() / "untitled.mp4";
    RunFFmpeg({"-i", TitledClip(), "-t", "0.2", "-map", "0", "-c", "copy", "-c:s", "mov_text", path});
    auto const file = MediaFile::Open(path);
    std::vector<std::string> expected;
    for (StreamInfo const& info : file->GetStreams())
        if (file->GetIndex(info.index).GetCount() == 0)
            expected.push_back(path + ": " + StreamName(info) + " holds no packets: it is left out");
    std::vector<std::string> warnings;
    GraphDocument const document = MakeMediaGraph(path, false, warnings);
    EXPECT_EQ(expected, warnings);
    EXPECT_EQ(file->GetStreams().size(), document.sources.size() + expected.size());
}

TEST(MediaGraph, WhatCannotBeReadIsNamed) {
    std::vector<std::string> warnings;
    EXPECT_EQ("nowhere.mp4: there is no such file",
              MessageOf<Core::IOException>([&] { MakeMediaGraph(std::string("nowhere.mp4"), true, warnings); }));
}

}  // namespace
}  // namespace Tarsel::Host
