#include "host/graph/GraphReader.h"

#include <gtest/gtest.h>

#include <string>

#include "contracts/Proc/SampleInfoProperty.h"
#include "contracts/Proc/SettingsFilterCutController.h"
#include "contracts/Proc/SettingsFilterReverse.h"
#include "contracts/Proc/SettingsStreamMetadataUpdater.h"
#include "host/graph/GraphErrors.h"
#include "host/graph/GraphJson.h"
#include "host/graph/SettingsCatalog.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using TestSupport::MessageOf;

std::string ErrorOf(std::string const& text, GraphVariables const& variables = {}) {
    return MessageOf<GraphException>([&] { ParseGraph(text, variables); });
}

/// A graph of one source and one filter, the filter's own keys given.
std::string WithFilter(std::string const& keys) {
    return R"({"sources": [{"id": 1, "file": "a.mp4", "stream": "video"}],
               "filters": [{"id": 3, "inputs": [1], )" +
           keys + R"(}], "output": "null"})";
}

std::string WithSource(std::string const& keys) {
    return R"({"sources": [{"id": 1, )" + keys + R"(}], "output": "null"})";
}

std::string WithSettings(std::string const& classId, std::string const& settings) {
    return WithFilter(R"("class": ")" + classId + R"(", "settings": )" + settings);
}

std::string WithOutput(std::string const& output) {
    return R"({"sources": [{"id": 1, "file": "a.mp4", "stream": "video"}], "output": )" + output + "}";
}

TEST(GraphReader, ReadsADocumentWithAllThatItMayHold) {
    GraphDocument const document = ParseGraph(R"({
        "version": 1, "description": "all of it",
        "sources": [{"id": 1, "file": "a.mp4", "stream": "video"},
                    {"id": -2, "file": "b.mkv", "stream": "audio:1", "packets": true},
                    {"id": 8, "file": "a.mp4", "stream": 4}],
        "filters": [{"id": 3, "class": "SettingsFilterDurationTrimmer", "implementation": "Tarsel", "inputs": [1],
                     "settings": {"Duration": 5000000, "UseOriginalDuration": true}}],
        "controllers": [{"id": 10, "class": "FilterRepeatController", "settings": {"RedefineDuration": 10000000},
                         "streams": [{"id": 11, "input": 3}]}],
        "output": {"file": "out.mkv", "container": "matroska",
                   "streams": [{"input": 11, "codec": "h264", "quality": 18}, {"input": -2}, {"input": 8}]}})");
    EXPECT_EQ(document.description, "all of it");
    ASSERT_EQ(document.sources.size(), 3U);
    EXPECT_EQ(document.sources[0], (GraphSource{1, "a.mp4", {StreamKind::Video, 0}, false, "/sources/0"}));
    EXPECT_EQ(document.sources[1], (GraphSource{-2, "b.mkv", {StreamKind::Audio, 1}, true, "/sources/1"}));
    EXPECT_EQ(document.sources[2], (GraphSource{8, "a.mp4", {{}, 4}, false, "/sources/2"}));
    Core::Property trimmer("SettingsFilterDurationTrimmer");
    trimmer.SetChild("Duration", 5000000).SetChild("UseOriginalDuration", 1);
    ASSERT_EQ(document.filters.size(), 1U);
    EXPECT_EQ(document.filters[0],
              (GraphFilter{3, "SettingsFilterDurationTrimmer", "Tarsel", trimmer, {1}, "/filters/0"}));
    Core::Property repeat("FilterRepeatController");
    repeat.SetChild("RedefineDuration", 10000000).SetChild("RepeatMode", "Last");
    ASSERT_EQ(document.controllers.size(), 1U);
    EXPECT_EQ(document.controllers[0],
              (GraphController{10, "FilterRepeatController", "Default", repeat, {{11, 3}}, "/controllers/0"}));
    EXPECT_EQ(document.output,
              (GraphOutput{"out.mkv", "matroska", {{11, "h264", 18, 0}, {-2, "", {}, 0}, {8, "", {}, 0}}, "/output"}));
}

TEST(GraphReader, CompletesTheSettingsByTheirDefaults) {
    auto const document = ParseGraph(WithFilter(R"("class": "SettingsFilterReverse")"));
    EXPECT_EQ(document.filters[0].settings, Settings2Property(SettingsFilterReverse()));
    EXPECT_EQ(document.filters[0].implName, "Default");
}

TEST(GraphReader, ADryOutputIsTheWordNullOrAFileOfThatName) {
    EXPECT_EQ(ParseGraph(WithOutput(R"("null")")).output, (GraphOutput{"", "", {}, "/output"}));
    EXPECT_EQ(ParseGraph(WithOutput(R"({"file": "null"})")).output, (GraphOutput{"", "", {}, "/output"}));
    EXPECT_EQ(ParseGraph(WithOutput(R"({"file": "null", "streams": [{"input": 1}]})")).output,
              (GraphOutput{"", "", {{1, "", {}, 0}}, "/output"}));
}

TEST(GraphReader, TakesATextThatParsesAsTheWantedType) {
    auto const document = ParseGraph(
        R"({"version": "1", "sources": [{"id": "1", "file": "a", "stream": "2", "packets": "false"}],
            "filters": [{"id": 3, "class": "SettingsFilterReverse", "inputs": ["1"],
                         "settings": {"Reverse": "false", "MaxBufferSize": "1000"}}], "output": "null"})");
    SettingsFilterReverse settings(false);
    settings.SetMaxBufferSize(1000);
    EXPECT_EQ(document.filters[0].settings, Settings2Property(settings));
    EXPECT_EQ(document.sources[0].stream, (StreamSelector{{}, 2}));
}

TEST(GraphReader, AWholeNumberWithAFractionOfNothingIsAnInteger) {
    auto const document = ParseGraph(WithSettings("SettingsFilterLoop", R"({"Duration": 2e6})"));
    EXPECT_EQ(document.filters[0].settings["Duration"].GetInt64(), 2000000);
}

TEST(GraphReader, ReadsRatesChoicesAndFactors) {
    auto const value = [](std::string const& classId, std::string const& settings, std::string const& key) {
        return ParseGraph(WithSettings(classId, settings)).filters[0].settings[key].GetString();
    };
    EXPECT_EQ(value("SettingsFilterFrameRate", R"({"FrameRate": "50/2"})", "FrameRate"), "25/1");
    EXPECT_EQ(value("SettingsFilterFrameRate", R"({"FrameRate": 24})", "FrameRate"), "24/1");
    EXPECT_EQ(value("SettingsFilterFrameRate", R"({"FrameRate": "0/1"})", "FrameRate"), "0/1");
    EXPECT_EQ(value("SettingsFilterFrameRate", R"({})", "FrameRate"), "0/1");
    EXPECT_EQ(value("SettingsFilterSpeedUp", R"({"SpeedUp": 1.5})", "SpeedUp"), "1.5");
    EXPECT_EQ(value("SettingsFilterSpeedUp", R"({"SpeedUp": "0.01"})", "SpeedUp"), "0.01");
    EXPECT_EQ(value("SettingsFilterSpeedUp", R"({"SpeedUp": 100})", "SpeedUp"), "100");
    auto const framing = [](std::string const& format) {
        return ParseGraph(R"({"sources": [{"id": 1, "file": "a", "stream": "video", "packets": true}],
                              "filters": [{"id": 3, "class": "SettingsFilterBitStream", "inputs": [1],
                                           "settings": {"StreamFormat": )" +
                          format + R"(}}], "output": "null"})")
            .filters[0]
            .settings["StreamFormat"]
            .GetInt64();
    };
    EXPECT_EQ(framing(R"("AnnexB")"), 0);
    EXPECT_EQ(framing(R"("ADTS")"), 3);
    EXPECT_EQ(framing("1"), 1);
    EXPECT_EQ(framing(R"("2")"), 2);
}

TEST(GraphReader, TheFrameRateFiltersOwnPropertyHoldsTheRateItself) {
    auto const document = ParseGraph(WithSettings("FilterFrameRate", R"({"FrameRate": "30000/1001"})"));
    EXPECT_EQ(document.filters[0].settings, Core::Property("FilterFrameRate").SetValue(Ratio(30000, 1001)));
}

TEST(GraphReader, ReadsAListOfRemovedRanges) {
    auto const document = ParseGraph(
        R"({"sources": [{"id": 1, "file": "a", "stream": "video"}],
            "controllers": [{"id": 5, "class": "FilterCutController", "streams": [{"id": 6, "input": 1}],
                             "settings": {"Interval": [{"Start": 1000, "End": 2000}, {"Start": 5000, "End": 6000}]}}],
            "output": "null"})");
    SettingsFilterCutController settings(1000, 2000, NO_VALUE, false);
    settings.AddInterval(5000, 6000, NO_VALUE, false);
    EXPECT_EQ(document.controllers[0].settings, Settings2Property(settings));
    auto const made = MakeSettings("FilterCutController", document.controllers[0].settings);
    EXPECT_EQ(dynamic_cast<SettingsFilterCutController const&>(*made), settings);
}

TEST(GraphReader, ReadsMetadataAsATreeOfItsWritersKeys) {
    auto const document = ParseGraph(WithSettings(
        "SettingsStreamMetadataUpdater", R"({"title": "Über", "n": 3, "x": 0.5, "on": true, "more": {"a/b": "c"}})"));
    Core::Property metadata("Metadata");
    metadata.SetChild("title", "Über").SetChild("n", 3).SetChild("x", 0.5).SetChild("on", "true");
    metadata["more"].SetChild("a/b", "c");
    EXPECT_EQ(document.filters[0].settings, Settings2Property(SettingsStreamMetadataUpdater(metadata)));
}

TEST(GraphReader, FillsVariablesInEveryTextValue) {
    auto const document = ParseGraph(
        R"({"description": "$${IN} is ${IN}, a$b, $${", "sources": [{"id": "${ID}", "file": "${DIR}/${IN}.${EXT_2}", "stream": "video"}],
            "output": "null"})",
        {{"IN", "a\"b"}, {"DIR", "/m"}, {"EXT_2", "mp4"}, {"ID", "17"}});
    EXPECT_EQ(document.description, "${IN} is a\"b, a$b, ${");
    EXPECT_EQ(document.sources[0].id, 17);
    EXPECT_EQ(document.sources[0].file, "/m/a\"b.mp4");
}

TEST(GraphReader, AVariablesValueIsNotFilledAgain) {
    auto const document = ParseGraph(WithSource(R"("file": "${A}", "stream": "video")"), {{"A", "${B}"}});
    EXPECT_EQ(document.sources[0].file, "${B}");
}

TEST(GraphReader, TellsWrongVariables) {
    EXPECT_EQ(ErrorOf(WithSource(R"("file": "${IN}", "stream": "video")")),
              "/sources/0/file: no value is set for ${IN}");
    EXPECT_EQ(ErrorOf(WithSource(R"("file": "x", "stream": "video")"), {{"OUT", "y"}}),
              "the variable \"OUT\" is set and never used");
    EXPECT_EQ(ErrorOf(WithSource(R"("file": "a${IN", "stream": "video")"), {{"IN", "y"}}),
              "/sources/0/file: \"${\" has no \"}\": write \"$${\" for the characters themselves");
    EXPECT_EQ(ErrorOf(WithSource(R"("file": "${}", "stream": "video")")),
              "/sources/0/file: \"\" is no name of a variable: letters, digits and \"_\" are");
    EXPECT_EQ(ErrorOf(WithSource(R"("file": "${2IN}", "stream": "video")")),
              "/sources/0/file: \"2IN\" is no name of a variable: letters, digits and \"_\" are");
    EXPECT_EQ(ErrorOf(WithSource(R"("file": "${IN}${IN}", "stream": "video")"), {{"IN", std::string(9 << 20, 'x')}}),
              "/sources/0/file: the text is longer than 16777216 bytes with the variables in it");
}

TEST(GraphReader, TellsWrongJsonByLineAndColumn) {
    EXPECT_EQ(ErrorOf(""),
              "line 1, column 1: syntax error while parsing value - unexpected end of input; expected "
              "'[', '{', or a literal");
    EXPECT_EQ(ErrorOf("{\n  \"sources\": [1,\n  }"),
              "line 3, column 3: syntax error while parsing value - unexpected '}'; expected '[', '{', or a literal");
    EXPECT_EQ(ErrorOf("{\"a\": nul}"), "line 1, column 10: syntax error while parsing value - invalid literal");
    EXPECT_EQ(ErrorOf("{} x"),
              "line 1, column 4: syntax error while parsing value - invalid literal; expected end of input");
    EXPECT_EQ(ErrorOf(std::string("{}\0x", 4)), "line 1, column 3: a byte 0 stands in the text");
    EXPECT_EQ(ErrorOf("{\"a\": \"\xFF\"}"),
              "line 1, column 8: syntax error while parsing value - invalid string: ill-formed UTF-8 byte");
    EXPECT_EQ(ErrorOf("{\"a\": 1e999}"), "line 1, column 11: number overflow parsing '1e999'");
}

TEST(GraphReader, TellsAKeyThatStandsTwice) {
    EXPECT_EQ(ErrorOf(R"({"sources": [{"id": 1, "id": 2}]})"), "/sources/0: the key \"id\" stands twice");
    EXPECT_EQ(ErrorOf(R"({"output": "null", "output": "null"})"), "the key \"output\" stands twice");
}

TEST(GraphReader, RefusesTextsThatAreTooLargeOrTooDeep) {
    EXPECT_EQ(ErrorOf(std::string(MAX_GRAPH_BYTES + 1, ' ')), "the graph is larger than 8388608 bytes");
    std::string deep = "{\"x\": ";
    std::string pointer = "/x";
    for (std::size_t i = 1; i < MAX_GRAPH_DEPTH; ++i) deep += "[";
    for (std::size_t i = 2; i < MAX_GRAPH_DEPTH; ++i) pointer += "/0";
    EXPECT_EQ(ErrorOf(deep + "["), pointer + ": values stand more than 64 deep in one another");
    EXPECT_EQ(ErrorOf(std::string(4000000, '[')).substr(0, 8), "/0/0/0/0");
    std::string many = "[0";
    for (std::size_t i = 0; i < MAX_GRAPH_VALUES; ++i) many += ",0";
    EXPECT_EQ(ErrorOf(many + "]"), "the graph has more than 1000000 values");
}

TEST(GraphReader, TellsWhatIsNoGraph) {
    EXPECT_EQ(ErrorOf("[]"), "must be an object, not a list");
    EXPECT_EQ(ErrorOf("17"), "must be an object, not 17");
    EXPECT_EQ(ErrorOf("{}"), "the key \"sources\" is missing");
    EXPECT_EQ(ErrorOf(R"({"sources": [{"id": 1, "file": "a", "stream": 0}]})"), "the key \"output\" is missing");
    EXPECT_EQ(ErrorOf(R"({"sources": [], "output": "null"})"), "/sources: a graph needs a source");
    EXPECT_EQ(ErrorOf(R"({"sources": {}, "output": "null"})"), "/sources: must be a list, not an object");
    EXPECT_EQ(ErrorOf(R"({"source": []})"), "/source: there is no key \"source\" here; did you mean \"sources\"?");
    EXPECT_EQ(ErrorOf(R"({"version": 2})"), "/version: must be an integer from 1 to 1, not 2");
    EXPECT_EQ(ErrorOf(R"({"description": null})"), "/description: must be a text, not null");
}

TEST(GraphReader, TellsWrongSources) {
    EXPECT_EQ(ErrorOf(R"({"sources": [3]})"), "/sources/0: must be an object, not 3");
    EXPECT_EQ(ErrorOf(R"({"sources": [{"file": "a", "stream": 0}]})"), "/sources/0: the key \"id\" is missing");
    EXPECT_EQ(ErrorOf(R"({"sources": [{"id": 1.5}]})"),
              "/sources/0/id: must be an integer from -9223372036854775807 to 9223372036854775807, not 1.5");
    EXPECT_EQ(ErrorOf(WithSource(R"("stream": "video")")), "node 1: /sources/0: the key \"file\" is missing");
    EXPECT_EQ(ErrorOf(WithSource(R"("file": "a")")), "node 1: /sources/0: the key \"stream\" is missing");
    EXPECT_EQ(ErrorOf(WithSource(R"("file": "", "stream": 0)")),
              "node 1: /sources/0/file: the name of the file is empty");
    EXPECT_EQ(ErrorOf(WithSource(R"("file": 4, "stream": 0)")), "node 1: /sources/0/file: must be a text, not 4");
    EXPECT_EQ(ErrorOf(WithSource(R"("file": "a", "stream": 0, "packet": true)")),
              "node 1: /sources/0/packet: there is no key \"packet\" here; did you mean \"packets\"?");
    EXPECT_EQ(ErrorOf(WithSource(R"("file": "a", "stream": 0, "packets": 1)")),
              "node 1: /sources/0/packets: must be true or false, not 1");
    for (std::string const stream :
         {"\"vidoe\"", "\"video:\"", "\"video:-1\"", "\"video:1x\"", "-1", "65536", "\"\"", "[]"})
        EXPECT_EQ(ErrorOf(WithSource(R"("file": "a", "stream": )" + stream)).substr(0, 74),
                  "node 1: /sources/0/stream: must be \"video\", \"audio\" or \"subtitle\", each al")
            << stream;
}

TEST(GraphReader, TellsWrongClasses) {
    EXPECT_EQ(ErrorOf(WithFilter(R"("settings": {})")), "node 3: /filters/0: the key \"class\" is missing");
    EXPECT_EQ(
        ErrorOf(WithFilter(R"("class": "SettingsFilterLop")")),
        "node 3: /filters/0/class: there is no filter \"SettingsFilterLop\"; did you mean \"SettingsFilterLoop\"?");
    EXPECT_EQ(ErrorOf(WithFilter(R"("class": "Unheard")")), "node 3: /filters/0/class: there is no filter \"Unheard\"");
    EXPECT_EQ(ErrorOf(WithFilter(R"("class": "FilterCutController")")),
              "node 3: /filters/0/class: FilterCutController is a controller: it belongs into \"controllers\"");
    EXPECT_EQ(ErrorOf(WithFilter(R"("class": "SettingsFilterReverse", "implementation": "FFmpeg")")),
              "node 3: /filters/0/implementation: SettingsFilterReverse has no implementation \"FFmpeg\", it has "
              "\"Tarsel\"");
    EXPECT_EQ(ErrorOf(WithFilter(R"("class": "SettingsFilterFrameRate", "implementation": "Tarsel")")),
              "node 3: /filters/0/implementation: SettingsFilterFrameRate has no implementation \"Tarsel\", it has "
              "\"Default\", \"Adjust\"");
    EXPECT_EQ(ErrorOf(R"({"controllers": [{"id": 4, "class": "FilterCutControler"}]})"),
              "node 4: /controllers/0/class: there is no controller \"FilterCutControler\"; did you mean "
              "\"FilterCutController\"?");
    EXPECT_EQ(ErrorOf(R"({"controllers": [{"id": 4, "class": "FilterJoinVideo"}]})"),
              "node 4: /controllers/0/class: FilterJoinVideo is a filter: it belongs into \"filters\"");
}

TEST(GraphReader, TellsTheWrongNumberOfInputs) {
    auto const with = [](std::string const& classId, std::string const& inputs) {
        return R"({"filters": [{"id": 3, "class": ")" + classId + R"(", "inputs": )" + inputs + "}]}";
    };
    EXPECT_EQ(ErrorOf(with("SettingsFilterReverse", "[]")),
              "node 3: /filters/0/inputs: SettingsFilterReverse takes 1 input, not 0");
    EXPECT_EQ(ErrorOf(with("SettingsFilterReverse", "[1, 2]")),
              "node 3: /filters/0/inputs: SettingsFilterReverse takes 1 input, not 2");
    EXPECT_EQ(ErrorOf(with("FilterJoinVideo", "[]")),
              "node 3: /filters/0/inputs: FilterJoinVideo takes 1 to 100000 inputs, not 0");
    EXPECT_EQ(ErrorOf(with("FilterJoinVideo", "7")), "node 3: /filters/0/inputs: must be a list of ids, not 7");
    EXPECT_EQ(ErrorOf(with("FilterJoinVideo", "[1, \"x\"]")),
              "node 3: /filters/0/inputs/1: must be an integer from -9223372036854775807 to 9223372036854775807, not "
              "\"x\"");
    EXPECT_EQ(ErrorOf(R"({"filters": [{"id": 3, "class": "FilterJoinVideo"}]})"),
              "node 3: /filters/0: the key \"inputs\" is missing");
    EXPECT_EQ(ErrorOf(R"({"controllers": [{"id": 3, "class": "FilterCutController", "streams": []}]})"),
              "node 3: /controllers/0/streams: a controller needs a stream");
    EXPECT_EQ(ErrorOf(R"({"controllers": [{"id": 3, "class": "FilterCutController", "streams": [{"id": 5}]}]})"),
              "node 3: /controllers/0/streams/0: the key \"input\" is missing");
    EXPECT_EQ(ErrorOf(R"({"controllers": [{"id": 3, "class": "FilterCutController", "streams": [{"in": 5}]}]})"),
              "node 3: /controllers/0/streams/0/in: there is no key \"in\" here; did you mean \"id\"?");
}

TEST(GraphReader, TellsValuesOutOfRangeOrOfTheWrongType) {
    auto const trim = [](std::string const& settings) {
        return ErrorOf(WithSettings("SettingsFilterDurationTrimmer", settings));
    };
    EXPECT_EQ(trim(R"({"Duration": 0})"),
              "node 3: /filters/0/settings/Duration: must be an integer from 1 to 2592000000000 (us), not 0");
    EXPECT_EQ(
        trim(R"({"Duration": 2592000000001})"),
        "node 3: /filters/0/settings/Duration: must be an integer from 1 to 2592000000000 (us), not 2592000000001");
    EXPECT_EQ(trim(R"({"Duration": "5s"})"),
              "node 3: /filters/0/settings/Duration: must be an integer from 1 to 2592000000000 (us), not \"5s\"");
    EXPECT_EQ(trim(R"({"Duration": 99999999999999999999})"),
              "node 3: /filters/0/settings/Duration: must be an integer from 1 to 2592000000000 (us), not 1e+20");
    EXPECT_EQ(trim(R"({"Duration": {}})"),
              "node 3: /filters/0/settings/Duration: must be an integer from 1 to 2592000000000 (us), not an object");
    EXPECT_EQ(trim("{}"), "node 3: /filters/0/settings: the setting \"Duration\" is missing");
    EXPECT_EQ(ErrorOf(WithFilter(R"("class": "SettingsFilterDurationTrimmer")")),
              "node 3: /filters/0: the setting \"Duration\" is missing");
    EXPECT_EQ(trim(R"({"duration": 5})"),
              "node 3: /filters/0/settings/duration: there is no key \"duration\" here; did you mean \"Duration\"?");
    EXPECT_EQ(trim(R"({"Duration": 5, "Dur": 5})"), "node 3: /filters/0/settings/Dur: there is no key \"Dur\" here");
    EXPECT_EQ(trim("5"), "node 3: /filters/0/settings: must be an object, not 5");
    EXPECT_EQ(trim(R"({"Duration": 5, "UseOriginalDuration": "yes"})"),
              "node 3: /filters/0/settings/UseOriginalDuration: must be true or false, not \"yes\"");
}

TEST(GraphReader, TellsFactorsThatAreZeroNegativeOrNoNumber) {
    for (std::string const value : {"0", "-1.5", "\"nan\"", "\"inf\"", "0.001", "101", "true", "\"1x\""}) {
        std::string const message = ErrorOf(WithSettings("SettingsFilterSpeedUp", R"({"SpeedUp": )" + value + "}"));
        EXPECT_EQ(message, "node 3: /filters/0/settings/SpeedUp: must be a number from 0.01 to 100, not " + value);
    }
}

TEST(GraphReader, TellsWrongRatesAndChoices) {
    for (std::string const value :
         {"\"0/0\"", "\"0/5x\"", "\"-25/1\"", "\"25/-1\"", "\"100001\"", "\"1/2147483648\"", "-1", "2.5"})
        EXPECT_EQ(ErrorOf(WithSettings("SettingsFilterFrameRate", R"({"FrameRate": )" + value + "}")),
                  "node 3: /filters/0/settings/FrameRate: must be a rate \"N/D\" above 0 and up to 100000 frames/s, or "
                  "\"0/1\" for the source's own, not " +
                      value);
    EXPECT_EQ(ErrorOf(WithSettings("SettingsFilterBitStream", R"({"StreamFormat": "annexb"})")),
              "node 3: /filters/0/settings/StreamFormat: must be one of \"AnnexB\", \"MP4\", \"RawAAC\", \"ADTS\", "
              "\"Any\", not \"annexb\"");
    EXPECT_EQ(
        ErrorOf(R"({"controllers": [{"id": 3, "class": "FilterRepeatController", "streams": [{"id": 5, "input": 1}],
                          "settings": {"RedefineDuration": 5, "RepeatMode": "First"}}]})"),
        "node 3: /controllers/0/settings/RepeatMode: must be \"Last\", not \"First\"");
}

TEST(GraphReader, TellsWrongListsAndTrees) {
    auto const cut = [](std::string const& list) {
        return ErrorOf(R"({"controllers": [{"id": 3, "class": "FilterCutController", "streams": [{"id": 5, "input": 1}],
                           "settings": {"Interval": )" +
                       list + "}}]}");
    };
    EXPECT_EQ(cut("{}"), "node 3: /controllers/0/settings/Interval: must be a list, not an object");
    EXPECT_EQ(cut("[7]"), "node 3: /controllers/0/settings/Interval/0: must be an object, not 7");
    EXPECT_EQ(cut(R"([{"Start": 1}])"), "node 3: /controllers/0/settings/Interval/0: the setting \"End\" is missing");
    EXPECT_EQ(
        cut(R"([{"Start": -1, "End": 4}])"),
        "node 3: /controllers/0/settings/Interval/0/Start: must be an integer from 0 to 2592000000000 (us), not -1");
    std::string many = "[{}";
    for (int i = 0; i < 10000; ++i) many += ",{}";
    EXPECT_EQ(cut(many + "]"), "node 3: /controllers/0/settings/Interval: has more than 10000 entries");
    auto const metadata = [](std::string const& tree) {
        return ErrorOf(WithSettings("SettingsStreamMetadataUpdater", tree));
    };
    EXPECT_EQ(metadata("[]"), "node 3: /filters/0/settings: must be an object, not a list");
    EXPECT_EQ(metadata(R"({"a": {"b~/": null}})"),
              "node 3: /filters/0/settings/a/b~0~1: must be a text, a number, true, false or an object, not null");
    std::string keys = "{";
    for (int i = 0; i < 201; ++i) keys += (i ? ",\"" : "\"") + std::to_string(i) + "\": 0";
    EXPECT_EQ(metadata(keys + "}"), "node 3: /filters/0/settings: has more than 200 keys");
}

TEST(GraphReader, TellsWrongOutputs) {
    EXPECT_EQ(ErrorOf(WithOutput("7")), "/output: must be \"null\" or an object, not 7");
    EXPECT_EQ(ErrorOf(WithOutput(R"("out.mp4")")), "/output: must be \"null\" or an object, not \"out.mp4\"");
    EXPECT_EQ(ErrorOf(WithOutput("{}")), "/output: the key \"file\" is missing");
    EXPECT_EQ(ErrorOf(WithOutput(R"({"file": "x.mp4"})")), "/output: the key \"streams\" is missing");
    EXPECT_EQ(ErrorOf(WithOutput(R"({"file": "x.mp4", "streams": []})")), "/output/streams: an output needs a stream");
    EXPECT_EQ(ErrorOf(WithOutput(R"({"file": "", "streams": [{"input": 1}]})")),
              "/output/file: the name of the file is empty");
    EXPECT_EQ(ErrorOf(WithOutput(R"({"file": "x.mp4", "streams": [{}]})")),
              "/output/streams/0: the key \"input\" is missing");
    EXPECT_EQ(ErrorOf(WithOutput(R"({"file": "x.mp4", "streams": [{"input": 1, "quality": 64}]})")),
              "/output/streams/0/quality: must be an integer from 0 to 63, not 64");
    EXPECT_EQ(ErrorOf(WithOutput(R"({"file": "x.mp4", "streams": [{"input": 1, "bitRate": -1}]})")),
              "/output/streams/0/bitRate: must be an integer from 0 to 1000000000 (bits/s), not -1");
}

TEST(GraphReader, TellsTheFirstFindingInTheOrderOfTheText) {
    EXPECT_EQ(ErrorOf(R"({"output": 7, "sources": 8})"), "/output: must be \"null\" or an object, not 7");
    EXPECT_EQ(ErrorOf(R"({"sources": 8, "output": 7})"), "/sources: must be a list, not 8");
    EXPECT_EQ(ErrorOf(R"({"filters": [{"settings": 1, "class": 2, "id": "x", "inputs": 3}]})"),
              "/filters/0/class: must be a text, not 2");
    EXPECT_EQ(ErrorOf(R"({"filters": [{"settings": 1, "class": "FilterJoinVideo", "id": 4, "inputs": 3}]})"),
              "node 4: /filters/0/settings: must be an object, not 1");
}

TEST(GraphReader, CutsLongTextsInItsMessages) {
    std::string const message = ErrorOf(R"({"sources": [{"id": ")" + std::string(1000000, 'x') + R"("}]})");
    EXPECT_EQ(message, "/sources/0/id: must be an integer from -9223372036854775807 to 9223372036854775807, not \"" +
                           std::string(64, 'x') + "...\"");
    EXPECT_EQ(ErrorOf(R"({")" + std::string(63, 'x') + R"(ü\n": 1})"),
              "/" + std::string(63, 'x') + "...: there is no key \"" + std::string(63, 'x') + "...\" here");
    EXPECT_EQ(ErrorOf("{\"a\\nb\": 1}"), "/a?b: there is no key \"a?b\" here");
}

TEST(GraphReader, PutsTheFilesNameInFrontOfTheMessage) {
    std::string const path = Tarsel::Test::MakeTextFile("wrong-graph.json", R"({"output": 7})");
    EXPECT_EQ(MessageOf<GraphException>([&] { ReadGraph(path); }),
              path + ": /output: must be \"null\" or an object, not 7");
    std::string const good =
        Tarsel::Test::MakeTextFile("good-graph.json", WithSource(R"("file": "${IN}", "stream": 0)"));
    EXPECT_EQ(ReadGraph(good, {{"IN", "film"}}).sources[0].file, "film");
}

TEST(GraphReader, AFileThatCannotBeReadIsAFailureOfItsOwn) {
    Tarsel::Test::ScratchFolder const folder;
    EXPECT_EQ(MessageOf<Core::IOException>([&] { ReadGraph(folder / "none.json"); }),
              folder / "none.json: No such file or directory");
    EXPECT_EQ(MessageOf<Core::IOException>([&] { ReadGraph(folder.GetPath()); }),
              folder.GetPath() + ": Is a directory");
}

TEST(GraphReader, AnEmptyFileIsNoGraph) {
    std::string const path = Tarsel::Test::MakeTextFile("empty-graph.json", "");
    EXPECT_EQ(MessageOf<GraphException>([&] { ReadGraph(path); }),
              path +
                  ": line 1, column 1: syntax error while parsing value - unexpected end of input; expected '[', "
                  "'{', or a literal");
}

/// A graph of two streams of sound and the mixer over them.
std::string WithMixer(std::string const& settings) {
    return R"({"sources": [{"id": 1, "file": "a", "stream": "audio"}, {"id": 2, "file": "a", "stream": "audio"}],
               "filters": [{"id": 3, "class": "FilterAudioMixer", "inputs": [1, 2], "settings": )" +
           settings + R"(}], "output": "null"})";
}

TEST(GraphReader, VolumesOfAMixerBelongToItsInputs) {
    auto const volumes = [](std::string const& list) {
        GraphDocument const document = ParseGraph(WithMixer("{\"Streams\": " + list + "}"));
        std::vector<int64> read;
        for (Core::Property const& child : document.filters.at(0).settings.Children())
            read.push_back(child["Volume"].GetInt64());
        return read;
    };
    EXPECT_EQ(volumes(R"([{"Volume": 80}, {"Volume": -50}])"), (std::vector<int64>{80, -50}));
    EXPECT_EQ(volumes(R"([{}])"), (std::vector<int64>{100}));
    EXPECT_EQ(volumes("[]"), (std::vector<int64>{}));
    EXPECT_EQ(ErrorOf(WithMixer(R"({"Streams": [{}, {}, {}]})")),
              "node 3: /filters/0/settings/Streams/2: the mixer has only 2 inputs");
    EXPECT_EQ(ErrorOf(WithMixer(R"({"Streams": [{"Volume": 1000001}]})")),
              "node 3: /filters/0/settings/Streams/0/Volume: must be an integer from -1000000 to 1000000 (percent), "
              "not 1000001");
}

/// A graph of a stream of sound and the converter over it.
std::string WithResample(std::string const& settings) {
    return R"({"sources": [{"id": 1, "file": "a", "stream": "audio"}],
               "filters": [{"id": 3, "class": "FilterResample", "inputs": [1], "settings": )" +
           settings + R"(}], "output": "null"})";
}

TEST(GraphReader, AnyLeavesAWordOfAFormatUnset) {
    auto const info = [](std::string const& settings) {
        return GetSampleInfo(ParseGraph(WithResample(settings)).filters.at(0).settings, {});
    };
    EXPECT_EQ(info("{}"), Conf::SampleInfo());
    EXPECT_EQ(info(R"({"SampleFormat": "Any", "SampleRate": "Any", "ChannelLayout": "Any"})"), Conf::SampleInfo());
    EXPECT_EQ(info(R"({"SampleFormat": -1, "SampleRate": -1, "ChannelLayout": 0})"), Conf::SampleInfo());
    EXPECT_EQ(info(R"({"SampleFormat": "s16p", "SampleRate": "44100", "ChannelLayout": "5.1"})"),
              (Conf::SampleInfo{Conf::SAMPLE_FORMAT_S16P, 44100, 63}));
    EXPECT_EQ(info(R"({"SampleFormat": 8, "SampleRate": 8000, "ChannelLayout": 3})"),
              (Conf::SampleInfo{Conf::SAMPLE_FORMAT_FLTP, 8000, 3}));
    EXPECT_EQ(ErrorOf(WithResample(R"({"SampleRate": 0})")),
              "node 3: /filters/0/settings/SampleRate: must be an integer from 1 to 768000 (Hz), not 0");
    EXPECT_EQ(ErrorOf(WithResample(R"({"SampleRate": "any"})")),
              "node 3: /filters/0/settings/SampleRate: must be an integer from 1 to 768000 (Hz), not \"any\"");
}

/// A graph of a generator alone, but for more keys of the document.
std::string WithGenerator(std::string const& inputs, std::string const& more = "") {
    return R"({)" + more + R"("filters": [{"id": 3, "class": "SettingsAudioGenerator", "inputs": [)" + inputs +
           R"(]}], "output": "null"})";
}

TEST(GraphReader, AFilterThatReadsNothingIsSourceEnough) {
    EXPECT_EQ(ParseGraph(WithGenerator("")).filters.at(0).inputs, std::vector<NodeId>());
    EXPECT_EQ(ParseGraph(WithGenerator("", R"("sources": [], )")).sources.size(), 0U);
    EXPECT_EQ(ErrorOf(WithGenerator("1", R"("sources": [{"id": 1, "file": "a", "stream": "audio"}], )")),
              "node 3: /filters/0/inputs: SettingsAudioGenerator takes no inputs, not 1");
    EXPECT_EQ(ErrorOf(R"({"sources": [], "output": "null"})"), "/sources: a graph needs a source");
    EXPECT_EQ(ErrorOf(R"({"filters": [], "output": "null"})"), "the key \"sources\" is missing");
}

}  // namespace
}  // namespace Tarsel::Host
