#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <charconv>
#include <random>

#include "contracts/Core/Time.h"
#include "contracts/Proc/GraphCRCData.h"
#include "tests/support/Matchers.h"
#include "tests/support/Records.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using boost::property_tree::json_parser_error;
using boost::property_tree::ptree;
using boost::property_tree::ptree_bad_data;
using boost::property_tree::ptree_bad_path;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

// --- Documents -------------------------------------------------------------------------------------------------------

/// The document of a record with its parts as they are given.
struct Document {
    std::string packetCount = R"("3")";
    std::string graph = R"("g")";
    std::string media = R"("m")";
    std::string filterCount = R"("2")";
    std::string first = R"({"GraphNodeId": "-1", "PacketCRCInfoCount": "1",
        "PacketCRC": {"0": {"PTS": "0", "MD5": "a"}}})";
    std::string second = R"({"GraphNodeId": "12", "PacketCRCInfoCount": "2",
        "PacketCRC": {"0": {"PTS": "40", "MD5": "b"}, "1": {"PTS": "80", "MD5": "c"}}})";

    std::string Text() const {
        return R"({"GraphCRCInfo": {"PacketCount": )" + packetCount + R"(, "SourceGraphFileName": )" + graph +
               R"(, "SourceMediaFileName": )" + media + R"(, "FilterCount": )" + filterCount +
               R"(, "Filters": {"0": )" + first + R"(, "1": )" + second + "}}}";
    }
};

GraphCRCData Whole() {
    GraphCRCData data;
    data.SetSourceGraphFileName(ioPath("g"));
    data.SetSourceMediaFileName(ioPath("m"));
    data.AddPacketCRCInfo(-1, 0, "a");
    data.AddPacketCRCInfo(12, 40, "b");
    data.AddPacketCRCInfo(12, 80, "c");
    return data;
}

/// Replaces the one place where `from` stands.
std::string Changed(std::string text, std::string const& from, std::string const& to) {
    std::size_t const at = text.find(from);
    if (at == std::string::npos || text.find(from, at + 1) != std::string::npos)
        TARSEL_THROW(std::logic_error, "not once in the document: " + from);
    return text.replace(at, from.size(), to);
}

/// How far a load came, in a line: count, names, and the nodes with their packets.
std::string StateOf(GraphCRCData const& data) {
    std::string text = std::to_string(data.GetPacketCount()) + " '" + data.GetSourceGraphFileName().utf8string() +
                       "' '" + data.GetSourceMediaFileName().utf8string() + "'";
    for (auto const& [id, filter] : data.GetFilterCRCInfoList()) {
        text += " " + std::to_string(id) + ":";
        for (PacketCRCInfo const& packet : filter.GetPacketCRCInfoList())
            text += " " + std::to_string(packet.GetPacketIndex()) + "/" + std::to_string(packet.GetTimeStamp()) + "/" +
                    packet.GetCRC();
    }
    return text;
}

std::string const WHOLE = "3 'g' 'm' -1: 0/0/a 12: 0/40/b 1/80/c";

/// The name of the class of a failure, without what was joined to it on its way.
std::string ClassOf(std::exception const& failure) {
    if (dynamic_cast<json_parser_error const*>(&failure)) return "json_parser_error";
    if (dynamic_cast<ptree_bad_path const*>(&failure)) return "ptree_bad_path";
    if (dynamic_cast<ptree_bad_data const*>(&failure)) return "ptree_bad_data";
    return typeid(failure).name();
}

class GraphCRCDataLoad : public ::testing::Test {
  protected:
    /// Loads a text into a record that isn't empty. The class of the failure, or an empty text.
    std::string Load(std::string const& text) {
        WriteText(folder / "in.json", text);
        data = GraphCRCData();
        data.AddPacketCRCInfo(99, 99, "old");
        data.SetSourceGraphFileName(ioPath("old"));
        data.SetSourceMediaFileName(ioPath("old"));
        message.clear();
        try {
            data.LoadFromFile(ioPath(folder / "in.json"));
        } catch (std::exception const& failure) {
            message = failure.what();
            return ClassOf(failure);
        }
        return {};
    }
    void ExpectLoads(std::string const& text, std::string const& state) {
        EXPECT_EQ(Load(text), "") << message;
        EXPECT_EQ(StateOf(data), state);
    }
    void ExpectFails(std::string const& text, std::string const& failure, std::string const& what,
                     std::string const& state) {
        EXPECT_EQ(Load(text), failure) << text;
        EXPECT_THAT(message, HasSubstr(what)) << text;
        EXPECT_EQ(StateOf(data), state) << text;
    }

    ScratchFolder const folder;
    GraphCRCData data;
    std::string message;
};

// --- What loads ------------------------------------------------------------------------------------------------------

TEST_F(GraphCRCDataLoad, ReplacesWhatTheRecordHeld) {
    EXPECT_EQ(Load(Document().Text()), "");
    EXPECT_EQ(data, Whole());
}

TEST_F(GraphCRCDataLoad, NumbersMayStandWithoutQuotes) {
    Document document;
    document.packetCount = "3";
    document.filterCount = "2";
    document.first = R"({"GraphNodeId": -1, "PacketCRCInfoCount": 1, "PacketCRC": {"0": {"PTS": 0, "MD5": "a"}}})";
    ExpectLoads(document.Text(), WHOLE);
}

TEST_F(GraphCRCDataLoad, ValuesOfOtherKindsAreTheirTexts) {
    Document document;
    document.graph = "true";
    document.media = "null";
    ExpectLoads(document.Text(), "3 'true' 'null' -1: 0/0/a 12: 0/40/b 1/80/c");
    document.graph = "-1.5e3";
    document.media = "{\"a\": 1}";
    ExpectLoads(document.Text(), "3 '-1.5e3' '' -1: 0/0/a 12: 0/40/b 1/80/c");
}

TEST_F(GraphCRCDataLoad, ExtraKeysAreIgnoredOnEveryLevel) {
    std::string text = Changed(Document().Text(), R"("FilterCount")", R"("Version": [1, {"a": []}], "FilterCount")");
    text = Changed(text, R"("GraphNodeId": "-1")", R"("Name": "x", "GraphNodeId": "-1")");
    text = Changed(text, R"("PTS": "80")", R"("Size": {}, "PTS": "80")");
    text = Changed(text, R"({"GraphCRCInfo")", R"({"Extra": null, "GraphCRCInfo")");
    ExpectLoads(text, WHOLE);
}

TEST_F(GraphCRCDataLoad, TheOrderOfTheKeysMakesNoDifference) {
    ExpectLoads(R"({"GraphCRCInfo": {"Filters": {"1": {"PacketCRC": {"1": {"MD5": "c", "PTS": "80"},
        "0": {"MD5": "b", "PTS": "40"}}, "PacketCRCInfoCount": "2", "GraphNodeId": "12"},
        "0": {"PacketCRC": {"0": {"MD5": "a", "PTS": "0"}}, "GraphNodeId": "-1", "PacketCRCInfoCount": "1"}},
        "FilterCount": "2", "SourceMediaFileName": "m", "SourceGraphFileName": "g", "PacketCount": "3"}})",
                WHOLE);
}

TEST_F(GraphCRCDataLoad, TheFirstOfEqualKeysCounts) {
    std::string text = Changed(Document().Text(), R"("PTS": "80")", R"("PTS": "80", "PTS": "81")");
    text = Changed(text, R"("1": {"PTS")", R"("1": {"PTS": "70", "MD5": "first"}, "1": {"PTS")");
    ExpectLoads(text, "3 'g' 'm' -1: 0/0/a 12: 0/40/b 1/70/first");
}

TEST_F(GraphCRCDataLoad, TheStoredPacketCountIsNotRecomputed) {
    Document document;
    document.packetCount = R"("4294967295")";
    ExpectLoads(document.Text(), "4294967295 'g' 'm' -1: 0/0/a 12: 0/40/b 1/80/c");
    data.SaveToFile(ioPath(folder / "out.json"));
    EXPECT_THAT(TextOf(folder / "out.json"), HasSubstr("\"PacketCount\": \"4294967295\""));
}

TEST_F(GraphCRCDataLoad, ASmallerFilterCountLoadsOnlyThatMany) {
    Document document;
    document.filterCount = R"("1")";
    ExpectLoads(document.Text(), "3 'g' 'm' -1: 0/0/a");
    document.filterCount = R"("0")";
    ExpectLoads(document.Text(), "3 'g' 'm'");
}

TEST_F(GraphCRCDataLoad, ASmallerPacketCountOfANodeLoadsOnlyThatMany) {
    ExpectLoads(Changed(Document().Text(), R"("PacketCRCInfoCount": "2")", R"("PacketCRCInfoCount": "1")"),
                "3 'g' 'm' -1: 0/0/a 12: 0/40/b");
}

TEST_F(GraphCRCDataLoad, AnIdThatStandsTwiceStaysWithItsFirstEntry) {
    ExpectLoads(Changed(Document().Text(), R"("GraphNodeId": "12")", R"("GraphNodeId": "-1")"), "3 'g' 'm' -1: 0/0/a");
}

TEST_F(GraphCRCDataLoad, TheLargestNumbersLoad) {
    std::string text = Changed(Document().Text(), R"("PTS": "40")", R"("PTS": "9223372036854775807")");
    text = Changed(text, R"("PTS": "80")", R"("PTS": "-9223372036854775808")");
    text = Changed(text, R"("GraphNodeId": "12")", R"("GraphNodeId": "-9223372036854775808")");
    ExpectLoads(text, "3 'g' 'm' -9223372036854775808: 0/9223372036854775807/b 1/-9223372036854775808/c -1: 0/0/a");
    EXPECT_FALSE(HasValue(data.GetFilterCRCInfoList().begin()->second.GetPacketCRCInfoList()[1].GetTimeStamp()));
}

TEST_F(GraphCRCDataLoad, AMarkOfUtf8InFrontIsPassedOver) {
    ExpectLoads("\xEF\xBB\xBF" + Document().Text() + " \n", WHOLE);
}

TEST_F(GraphCRCDataLoad, EscapesAreUndone) {
    Document document;
    document.graph = R"("a\/b\\\"\u00e4\ud83c\udfac\n")";
    ExpectLoads(document.Text(), "3 'a/b\\\"\xC3\xA4\xF0\x9F\x8E\xAC\n' 'm' -1: 0/0/a 12: 0/40/b 1/80/c");
}

TEST_F(GraphCRCDataLoad, AGlobalLocaleThatGroupsDigitsChangesNothing) {
    GroupingLocale const locale;
    ExpectLoads(Changed(Document().Text(), R"("PTS": "40")", R"("PTS": "40000")"),
                "3 'g' 'm' -1: 0/0/a 12: 0/40000/b 1/80/c");
    ExpectFails(Changed(Document().Text(), R"("PTS": "40")", R"("PTS": "40,000")"), "ptree_bad_data",
                "conversion of data to type", "3 'g' 'm' -1: 0/0/a");
}

TEST_F(GraphCRCDataLoad, TheRecordsOwnNameCanBeTheFile) {
    WriteText(folder / "in.json", Document().Text());
    data.SetSourceMediaFileName(ioPath(folder / "in.json"));
    data.LoadFromFile(data.GetSourceMediaFileName());
    EXPECT_EQ(data, Whole());
}

// --- What fails, and what is left then -------------------------------------------------------------------------------

std::string const CLEARED = "0 '' ''";

TEST_F(GraphCRCDataLoad, AMissingOrUnreadableFileIsAParserErrorAndLeavesAClearedRecord) {
    for (auto const& [name, what] : std::vector<std::pair<std::string, std::string>>{
             {folder / "none.json", "cannot open file: No such file or directory"},
             {folder.GetPath(), "cannot read file: Is a directory"},
             {"", "cannot open file: No such file or directory"},
             {(folder / "in.json") + std::string(1, '\0'), "cannot open file: No such file or directory"}}) {
        data = Whole();
        std::string const found = MessageOf<json_parser_error>([&, &file = name] { data.LoadFromFile(ioPath(file)); });
        EXPECT_THAT(found, HasSubstr(what));
        EXPECT_EQ(data, GraphCRCData());
    }
    EXPECT_EQ(MessageOf<json_parser_error>([&] { data.LoadFromFile(ioPath("/none")); }),
              "/none: cannot open file: No such file or directory");
}

TEST_F(GraphCRCDataLoad, MalformedJsonIsAParserErrorWithFileAndLineAndLeavesAClearedRecord) {
    std::string const whole = Document().Text();
    for (auto const& [text, what] :
         std::vector<std::pair<std::string, std::string>>{{"", "expected value"},
                                                          {"no json", "expected 'null'"},
                                                          {whole.substr(0, whole.size() - 1), "expected '}' or ','"},
                                                          {whole.substr(0, whole.size() / 2), ""},
                                                          {whole + "x", "garbage after data"},
                                                          {"{\"GraphCRCInfo\": {,}}", "expected key string"},
                                                          {"{\"GraphCRCInfo\" 1}", "expected ':'"},
                                                          {"\"\\x\"", "invalid escape sequence"},
                                                          {"\"\\ud800\"", "stray high surrogate"},
                                                          {"\"\xFF\"", "invalid code sequence"},
                                                          {"\"open", "unterminated string"},
                                                          {"-", "expected digits after -"}})
        ExpectFails(text, "json_parser_error", what, CLEARED);
    ExpectFails("\n\n}", "json_parser_error", folder / "in.json(3): expected value", CLEARED);
}

TEST_F(GraphCRCDataLoad, DeepNestingIsRefusedAheadOfTheStacksEnd) {
    auto const nested = [](std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); };
    Document document;
    // Below the root and the one object around it.
    document.graph = nested(254);
    ExpectLoads(document.Text(), "3 '' 'm' -1: 0/0/a 12: 0/40/b 1/80/c");
    document.graph = nested(255);
    ExpectFails(document.Text(), "json_parser_error", "nested deeper than 256 levels", CLEARED);
    ExpectFails(std::string(3000000, '['), "json_parser_error", "nested deeper than 256 levels", CLEARED);
    std::string objects;
    for (int i = 0; i < 500000; ++i) objects += R"({"a":)";
    ExpectFails(objects, "json_parser_error", "nested deeper than 256 levels", CLEARED);
}

TEST_F(GraphCRCDataLoad, AMissingKeyIsABadPathThatNamesItFromTheRoot) {
    std::string const whole = Document().Text();
    auto const without = [&](std::string const& key) { return Changed(whole, '"' + key + '"', '"' + key + "?\""); };
    std::string const cleared = CLEARED, count = "3 '' ''", graph = "3 'g' ''", media = "3 'g' 'm'";
    std::string const first = "3 'g' 'm' -1: 0/0/a";
    ExpectFails("{}", "ptree_bad_path", "No such node (GraphCRCInfo)", cleared);
    ExpectFails("[]", "ptree_bad_path", "No such node (GraphCRCInfo)", cleared);
    ExpectFails("\"text\"", "ptree_bad_path", "No such node (GraphCRCInfo)", cleared);
    ExpectFails("{\"GraphCRCInfo\": 1}", "ptree_bad_path", "No such node (GraphCRCInfo.PacketCount)", cleared);
    ExpectFails(without("GraphCRCInfo"), "ptree_bad_path", "No such node (GraphCRCInfo)", cleared);
    ExpectFails(without("PacketCount"), "ptree_bad_path", "No such node (GraphCRCInfo.PacketCount)", cleared);
    ExpectFails(without("SourceGraphFileName"), "ptree_bad_path", "No such node (GraphCRCInfo.SourceGraphFileName)",
                count);
    ExpectFails(without("SourceMediaFileName"), "ptree_bad_path", "No such node (GraphCRCInfo.SourceMediaFileName)",
                graph);
    ExpectFails(without("FilterCount"), "ptree_bad_path", "No such node (GraphCRCInfo.FilterCount)", media);
    ExpectFails(without("Filters"), "ptree_bad_path", "No such node (GraphCRCInfo.Filters)", media);
    for (auto const& [from, to, path] : std::vector<std::array<std::string, 3>>{
             {R"("GraphNodeId": "12")", R"("Id": "12")", "GraphNodeId"},
             {R"("PacketCRCInfoCount": "2")", R"("Count": "2")", "PacketCRCInfoCount"},
             {R"("PacketCRC": {"0": {"PTS": "40")", R"("CRC": {"0": {"PTS": "40")", "PacketCRC"},
             {R"("PTS": "80")", R"("pts": "80")", "PacketCRC.1.PTS"},
             {R"("MD5": "c")", R"("md5": "c")", "PacketCRC.1.MD5"},
             {R"("1": {"PTS")", R"("01": {"PTS")", "PacketCRC.1"}})
        ExpectFails(Changed(whole, from, to), "ptree_bad_path", "No such node (GraphCRCInfo.Filters.1." + path + ")",
                    first);
    ExpectFails(Changed(whole, R"("1": {"GraphNodeId")", R"("2": {"GraphNodeId")"), "ptree_bad_path",
                "No such node (GraphCRCInfo.Filters.1)", first);
}

TEST_F(GraphCRCDataLoad, OnlyPlainDecimalKeysAreNumbers) {
    for (char const* const key : {"", "00", "+1", " 1", "1 ", "1.", "18446744073709551617", "-1", "x"})
        ExpectFails(Changed(Document().Text(), R"("1": {"PTS")", '"' + std::string(key) + R"(": {"PTS")"),
                    "ptree_bad_path", "No such node (GraphCRCInfo.Filters.1.PacketCRC.1)", "3 'g' 'm' -1: 0/0/a");
}

TEST_F(GraphCRCDataLoad, AnArrayHasNoNumberedKeys) {
    ExpectFails(Changed(Document().Text(), R"({"0": {"PTS": "0", "MD5": "a"}})", R"([{"PTS": "0", "MD5": "a"}])"),
                "ptree_bad_path", "No such node (GraphCRCInfo.Filters.0.PacketCRC.0)", "3 'g' 'm'");
}

TEST_F(GraphCRCDataLoad, ALargerCountThanThereIsFailsAtTheFirstGapAndAtOnce) {
    Document document;
    for (char const* const count : {R"("3")", R"("4294967295")"}) {
        document.filterCount = count;
        ExpectFails(document.Text(), "ptree_bad_path", "No such node (GraphCRCInfo.Filters.2)", WHOLE);
    }
    for (char const* const count : {R"("3")", R"("4294967295")"})
        ExpectFails(
            Changed(Document().Text(), R"("PacketCRCInfoCount": "2")", "\"PacketCRCInfoCount\": " + std::string(count)),
            "ptree_bad_path", "No such node (GraphCRCInfo.Filters.1.PacketCRC.2)", "3 'g' 'm' -1: 0/0/a");
}

TEST_F(GraphCRCDataLoad, WhatIsNoNumberOfItsTypeIsBadData) {
    std::string const whole = Document().Text();
    std::string const first = "3 'g' 'm' -1: 0/0/a";
    auto const expectBadData = [&](std::string const& text, std::string const& path, std::string const& state) {
        ExpectFails(text, "ptree_bad_data", "\" failed (GraphCRCInfo." + path + ")", state);
        EXPECT_THAT(message, HasSubstr("conversion of data to type \""));
    };
    // Counts have 32 bits and no sign.
    for (char const* const value : {"", "x", "3x", "0x3", "3.0", "1e1", " 3", "3 ", "+3", "-1", "-0", "4294967296",
                                    "99999999999999999999999999", "3,000"}) {
        std::string const text = '"' + std::string(value) + '"';
        Document document;
        document.packetCount = text;
        expectBadData(document.Text(), "PacketCount", CLEARED);
        document = Document();
        document.filterCount = text;
        expectBadData(document.Text(), "FilterCount", "3 'g' 'm'");
        expectBadData(Changed(whole, R"("PacketCRCInfoCount": "2")", "\"PacketCRCInfoCount\": " + text),
                      "Filters.1.PacketCRCInfoCount", first);
    }
    // Ids and times have 64 bits and a sign.
    for (char const* const value : {"", "x", "3x", "3.5", "1e3", " 3", "3 ", "+3", "--3", "9223372036854775808",
                                    "-9223372036854775809", "18446744073709551615", "3,000"}) {
        std::string const text = '"' + std::string(value) + '"';
        expectBadData(Changed(whole, R"("GraphNodeId": "12")", "\"GraphNodeId\": " + text), "Filters.1.GraphNodeId",
                      first);
        expectBadData(Changed(whole, R"("PTS": "80")", "\"PTS\": " + text), "Filters.1.PacketCRC.1.PTS", first);
    }
    Document object;
    object.packetCount = R"({"a": "3"})";
    expectBadData(object.Text(), "PacketCount", CLEARED);
}

TEST_F(GraphCRCDataLoad, BadDataCarriesTheText) {
    Document document;
    document.packetCount = R"("three")";
    WriteText(folder / "in.json", document.Text());
    try {
        data.LoadFromFile(ioPath(folder / "in.json"));
        FAIL();
    } catch (ptree_bad_data const& failure) {
        EXPECT_EQ(failure.data<std::string>(), "three");
    }
}

TEST_F(GraphCRCDataLoad, AFailedLoadCanBeFollowedByAGoodOne) {
    EXPECT_EQ(Load("{"), "json_parser_error");
    ExpectLoads(Document().Text(), WHOLE);
}

// --- Against a tree --------------------------------------------------------------------------------------------------

template <class Number>
struct PlainNumber {
    using internal_type = std::string;
    using external_type = Number;
    boost::optional<Number> get_value(std::string const& text) const {
        Number number = 0;
        auto const result = std::from_chars(text.data(), text.data() + text.size(), number);
        if (result.ec != std::errc() || result.ptr != text.data() + text.size()) return {};
        return number;
    }
};

template <class Number>
Number NumberIn(ptree const& tree, char const* path) {
    return tree.get<Number>(path, PlainNumber<Number>());
}

/// The same steps on the library's own tree. What was read up to a failure, and the failure's class.
std::string LoadedByBoost(std::string const& fileName) {
    std::string head = "0", graph, media;
    std::map<int64, std::string> nodes;
    std::string failure;
    try {
        ptree tree;
        read_json(fileName, tree, std::locale::classic());
        ptree const& info = tree.get_child("GraphCRCInfo");
        head = std::to_string(NumberIn<unsigned>(info, "PacketCount"));
        graph = info.get<std::string>("SourceGraphFileName");
        media = info.get<std::string>("SourceMediaFileName");
        unsigned const count = NumberIn<unsigned>(info, "FilterCount");
        ptree const& filters = info.get_child("Filters");
        for (unsigned i = 0; i < count; ++i) {
            ptree const& filter = filters.get_child(std::to_string(i));
            int64 const id = NumberIn<int64>(filter, "GraphNodeId");
            unsigned const packetCount = NumberIn<unsigned>(filter, "PacketCRCInfoCount");
            ptree const& packets = filter.get_child("PacketCRC");
            std::string text = " " + std::to_string(id) + ":";
            for (unsigned j = 0; j < packetCount; ++j) {
                ptree const& packet = packets.get_child(std::to_string(j));
                text += " " + std::to_string(j) + "/" + std::to_string(NumberIn<int64>(packet, "PTS")) + "/";
                text += packet.get<std::string>("MD5");
            }
            nodes.emplace(id, text);
        }
    } catch (std::exception const& caught) {
        failure = ClassOf(caught);
    }
    std::string state = failure + " " + head + " '" + graph + "' '" + media + "'";
    for (auto const& [id, text] : nodes) state += text;
    return state;
}

/// Changes some bytes, or moves, drops or doubles a piece.
std::string Mutated(std::string text, std::mt19937& random) {
    auto const place = [&] { return random() % (text.size() + 1); };
    for (unsigned i = random() % 3; i < 3; ++i) {
        std::size_t const begin = place();
        std::string const piece = text.substr(begin, random() % 40);
        switch (random() % 4) {
            case 0:
                text.erase(begin, piece.size());
                break;
            case 1:
                text.insert(place(), piece);
                break;
            case 2:
                if (begin < text.size()) text[begin] = R"(0123456789-"{}[],:\truefalsn)"[random() % 28];
                break;
            default: {
                static char const* const KEYS[] = {"\"0\"", "\"1\"", "\"2\"", "\"PTS\"", "\"MD5\"",   "{}",
                                                   "[]",    "\"\"",  "null",  "-1",      "{\"0\": 1}"};
                text.insert(place(), KEYS[random() % 11]);
            }
        }
    }
    return text;
}

TEST_F(GraphCRCDataLoad, AnyFileEndsAsOnATreeOfBoost) {
    std::map<std::string, int> outcomes;
    for (unsigned seed = 0; seed < 1500; ++seed) {
        std::mt19937 random(seed);
        std::string const text = Mutated(Document().Text(), random);
        std::string const failure = Load(text);
        ++outcomes[failure];
        ASSERT_EQ(failure + " " + StateOf(data), LoadedByBoost(folder / "in.json")) << "seed " << seed << ": " << text;
    }
    for (char const* const failure : {"", "json_parser_error", "ptree_bad_path", "ptree_bad_data"})
        EXPECT_GT(outcomes[failure], 10) << failure;
}

}  // namespace
}  // namespace Tarsel::Proc
