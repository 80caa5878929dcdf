#include "host/digest/RecordReader.h"

#include <gmock/gmock.h>

#include <fstream>

#include "contracts/Core/Exception.h"
#include "contracts/Core/Time.h"
#include "host/digest/RecordComparison.h"
#include "tests/support/RecordedItems.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Host {
namespace {

using namespace Tarsel::Test;

/// A document of two nodes whose last item is as told; it ought to be number 2 of the second node.
std::string WithLastItem(std::string const& item) {
    return R"({"GraphCRCInfo": {
        "PacketCount": "4", "SourceGraphFileName": "", "SourceMediaFileName": "", "FilterCount": "2", "Filters": {
            "0": {"GraphNodeId": "1", "PacketCRCInfoCount": "1", "PacketCRC": {"0": {"PTS": "0", "MD5": "a"}}},
            "1": {"GraphNodeId": "2", "PacketCRCInfoCount": "3", "PacketCRC": {
                "0": {"PTS": "0", "MD5": "b"}, "1": {"PTS": "0", "MD5": "c"}, )" +
           item + "}}}}}";
}

class RecordReader : public ::testing::Test {
  protected:
    ScratchFolder const folder;
    std::string const path = folder / "run.json";

    /// What is said of a file with this text, behind its name.
    std::string Complaint(std::string const& text) {
        std::ofstream(path, std::ios::binary) << text;
        try {
            LoadRecord(path);
        } catch (Core::IOException const& failure) {
            std::string const what = failure.what();
            EXPECT_EQ(path + ": ", what.substr(0, path.size() + 2));
            return what.substr(path.size() + 2);
        }
        return "it is read";
    }
};

TEST_F(RecordReader, ReadsWhatWasSaved) {
    auto saved = MakeRecord({{-1, Scene("ab")}, {3, {{"c", NO_VALUE}}}});
    saved.SetSourceGraphFileName("Zoë.json");
    saved.SaveToFile(path);
    auto const loaded = LoadRecord(path);
    EXPECT_TRUE(CompareRecords(saved, loaded).IsEqual());
    EXPECT_EQ(3U, loaded.GetPacketCount());
    EXPECT_EQ("Zoë.json", loaded.GetSourceGraphFileName().utf8string());
}

TEST_F(RecordReader, FilesThatCanNotBeReadAreNamedWithTheReason) {
    std::string const nowhere = folder / "nowhere.json";
    for (auto const& [name, reason] :
         std::map<std::string, std::string>{{nowhere, "cannot open file: No such file or directory"},
                                            {folder.GetPath(), "cannot read file: Is a directory"},
                                            {"", "cannot open file: No such file or directory"}}) {
        try {
            LoadRecord(name);
            ADD_FAILURE() << name;
        } catch (Core::IOException const& failure) {
            EXPECT_EQ(name + ": " + reason, failure.what());
        }
    }
}

TEST_F(RecordReader, TextThatIsNoJsonIsToldWithItsLine) {
    EXPECT_EQ("line 1: expected value", Complaint(""));
    EXPECT_EQ("line 1: expected value", Complaint("a record"));
    EXPECT_EQ("line 3: expected '}' or ','", Complaint("{\n\"GraphCRCInfo\": \"a\"\n\"b\": \"c\"}"));
    EXPECT_EQ("line 2: garbage after data", Complaint("{}\n{}"));
    EXPECT_EQ("nested deeper than 256 levels", Complaint(std::string(1000000, '[')));
}

TEST_F(RecordReader, AMissingKeyIsNamed) {
    EXPECT_EQ("no record of a run: the key GraphCRCInfo is missing", Complaint("{}"));
    EXPECT_EQ("no record of a run: the key GraphCRCInfo is missing", Complaint("[1, 2]"));
    EXPECT_EQ("no record of a run: the key GraphCRCInfo.PacketCount is missing", Complaint(R"({"GraphCRCInfo": {}})"));
    EXPECT_EQ("no record of a run: the key GraphCRCInfo.Filters.1.PacketCRC.2.MD5 is missing",
              Complaint(WithLastItem(R"("2": {"PTS": "0"})")));
    EXPECT_EQ("no record of a run: the key GraphCRCInfo.Filters.1.PacketCRC.2 is missing",
              Complaint(WithLastItem(R"("3": {"PTS": "0", "MD5": "d"})")));
}

TEST_F(RecordReader, AValueThatIsNoNumberIsNamedWithItsPlace) {
    EXPECT_EQ("no record of a run: GraphCRCInfo.Filters.1.PacketCRC.2.PTS: \"1.0\" is not a whole number",
              Complaint(WithLastItem(R"("2": {"PTS": "1.0", "MD5": "d"})")));
    EXPECT_EQ("no record of a run: GraphCRCInfo.Filters.1.PacketCRC.2.PTS: \"-9223372036854775809\" is out of range",
              Complaint(WithLastItem(R"("2": {"PTS": "-9223372036854775809", "MD5": "d"})")));
}

TEST_F(RecordReader, AFileNameStaysOnItsLine) {
    try {
        LoadRecord("no\nwhere\x1b.json");
        ADD_FAILURE();
    } catch (Core::IOException const& failure) {
        EXPECT_STREQ("no?where?.json: cannot open file: No such file or directory", failure.what());
    }
}

TEST_F(RecordReader, AValueThatIsNoNumberIsShown) {
    auto const withCount = [](std::string const& value) {
        return R"({"GraphCRCInfo": {"PacketCount": ")" + value + R"(", "SourceGraphFileName": ""}})";
    };
    std::string const place = "no record of a run: GraphCRCInfo.PacketCount: ";
    EXPECT_EQ(place + "\"many\" is not a whole number", Complaint(withCount("many")));
    EXPECT_EQ(place + "\"\" is not a whole number", Complaint(withCount("")));
    EXPECT_EQ(place + "\"-\" is not a whole number", Complaint(withCount("-")));
    EXPECT_EQ(place + "\"4294967296\" is out of range", Complaint(withCount("4294967296")));
    EXPECT_EQ(place + "\"-1\" is out of range", Complaint(withCount("-1")));
    EXPECT_EQ(place + "\"1?2\" is not a whole number", Complaint(withCount("1\\n2")));
    EXPECT_EQ(place + "\"(x)\" is not a whole number", Complaint(withCount("(x)")));
    EXPECT_EQ(place + '"' + std::string(64, 'x') + "...\" is not a whole number",
              Complaint(withCount(std::string(100, 'x'))));
}

TEST_F(RecordReader, ACountOfItemsThatDoesNotFitTheListsIsNoDifference) {
    auto const withCount = [](std::string const& count) {
        return R"({"GraphCRCInfo": {"PacketCount": ")" + count +
               R"(", "SourceGraphFileName": "", "SourceMediaFileName": "", "FilterCount": "1", "Filters": {
            "0": {"GraphNodeId": "1", "PacketCRCInfoCount": "1", "PacketCRC": {"0": {"PTS": "0", "MD5": "a"}}}}}})";
    };
    std::ofstream(path) << withCount("1");
    auto const right = LoadRecord(path);
    std::ofstream(path) << withCount("7");
    auto const wrong = LoadRecord(path);
    EXPECT_EQ(7U, wrong.GetPacketCount());
    EXPECT_TRUE(CompareRecords(right, wrong).IsEqual());
}

}  // namespace
}  // namespace Tarsel::Host
