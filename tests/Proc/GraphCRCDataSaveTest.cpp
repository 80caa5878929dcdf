#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <csignal>
#include <filesystem>
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
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class GraphCRCDataSave : public ::testing::Test {
  protected:
    std::string Saved(GraphCRCData const& data) {
        data.SaveToFile(ioPath(folder / "record.json"));
        return TextOf(folder / "record.json");
    }

    ScratchFolder const folder;
};

// --- The text --------------------------------------------------------------------------------------------------------

GraphCRCData TwoNodes() {
    GraphCRCData data;
    data.SetSourceGraphFileName(ioPath("graphs/cut.json"));
    data.SetSourceMediaFileName(ioPath("C:\\K\xC3\xA4se \"1\".mkv"));
    data.AddPacketCRCInfo(12, 40000, "900150983cd24fb0d6963f7d28e17f72");
    data.AddPacketCRCInfo(-1, 0, "d41d8cd98f00b204e9800998ecf8427e");
    data.AddPacketCRCInfo(12, 1234567890123, "0cc175b9c0f1b6a831c399e269772661");
    return data;
}

constexpr char TWO_NODES[] = R"({
    "GraphCRCInfo": {
        "PacketCount": "3",
        "SourceGraphFileName": "graphs\/cut.json",
        "SourceMediaFileName": "C:\\Käse \"1\".mkv",
        "FilterCount": "2",
        "Filters": {
            "0": {
                "GraphNodeId": "-1",
                "PacketCRCInfoCount": "1",
                "PacketCRC": {
                    "0": {
                        "PTS": "0",
                        "MD5": "d41d8cd98f00b204e9800998ecf8427e"
                    }
                }
            },
            "1": {
                "GraphNodeId": "12",
                "PacketCRCInfoCount": "2",
                "PacketCRC": {
                    "0": {
                        "PTS": "40000",
                        "MD5": "900150983cd24fb0d6963f7d28e17f72"
                    },
                    "1": {
                        "PTS": "1234567890123",
                        "MD5": "0cc175b9c0f1b6a831c399e269772661"
                    }
                }
            }
        }
    }
}
)";

TEST_F(GraphCRCDataSave, WritesEachValueAsAStringInTheOrderOfTheKeys) {
    EXPECT_EQ(Saved(TwoNodes()), TWO_NODES);
}

TEST_F(GraphCRCDataSave, WritesNumbersWithoutGroupingWhateverTheGlobalLocaleSays) {
    GroupingLocale const locale;
    EXPECT_EQ(Saved(TwoNodes()), TWO_NODES);
    GraphCRCData loaded;
    loaded.LoadFromFile(ioPath(folder / "record.json"));
    EXPECT_EQ(loaded, TwoNodes());
}

TEST_F(GraphCRCDataSave, WritesAnEmptyMapAsAnEmptyText) {
    EXPECT_EQ(Saved(GraphCRCData()), R"({
    "GraphCRCInfo": {
        "PacketCount": "0",
        "SourceGraphFileName": "",
        "SourceMediaFileName": "",
        "FilterCount": "0",
        "Filters": ""
    }
}
)");
    GraphCRCData loaded = TwoNodes();
    loaded.LoadFromFile(ioPath(folder / "record.json"));
    EXPECT_EQ(loaded, GraphCRCData());
}

TEST_F(GraphCRCDataSave, WritesAnEmptyListAsAnEmptyText) {
    // No operation makes a node without packets; a file may have one.
    std::string const text = R"({"GraphCRCInfo": {"PacketCount": "0", "SourceGraphFileName": "",
        "SourceMediaFileName": "", "FilterCount": "1", "Filters":
        {"0": {"GraphNodeId": "3", "PacketCRCInfoCount": "0", "PacketCRC": ""}}}})";
    GraphCRCData data;
    data.LoadFromFile(ioPath(WriteText(folder / "in.json", text)));
    EXPECT_EQ(Saved(data), R"({
    "GraphCRCInfo": {
        "PacketCount": "0",
        "SourceGraphFileName": "",
        "SourceMediaFileName": "",
        "FilterCount": "1",
        "Filters": {
            "0": {
                "GraphNodeId": "3",
                "PacketCRCInfoCount": "0",
                "PacketCRC": ""
            }
        }
    }
}
)");
}

/// The same record as a tree, for the library's own writer.
std::string WrittenByBoost(GraphCRCData const& data) {
    ptree root;
    ptree& info = root.push_back({"GraphCRCInfo", ptree()})->second;
    info.push_back({"PacketCount", ptree(std::to_string(data.GetPacketCount()))});
    info.push_back({"SourceGraphFileName", ptree(data.GetSourceGraphFileName().utf8string())});
    info.push_back({"SourceMediaFileName", ptree(data.GetSourceMediaFileName().utf8string())});
    info.push_back({"FilterCount", ptree(std::to_string(data.GetFilterCount()))});
    ptree& filters = info.push_back({"Filters", ptree()})->second;
    for (auto const& [id, filter] : data.GetFilterCRCInfoList()) {
        ptree& node = filters.push_back({std::to_string(filters.size()), ptree()})->second;
        node.push_back({"GraphNodeId", ptree(std::to_string(id))});
        node.push_back({"PacketCRCInfoCount", ptree(std::to_string(filter.GetPacketCRCInfoList().size()))});
        ptree& packets = node.push_back({"PacketCRC", ptree()})->second;
        for (PacketCRCInfo const& packet : filter.GetPacketCRCInfoList()) {
            ptree& entry = packets.push_back({std::to_string(packets.size()), ptree()})->second;
            entry.push_back({"PTS", ptree(std::to_string(packet.GetTimeStamp()))});
            entry.push_back({"MD5", ptree(packet.GetCRC())});
        }
    }
    std::ostringstream text;
    text.imbue(std::locale::classic());
    write_json(text, root, true);
    return text.str();
}

std::string RandomText(std::mt19937& random) {
    // All of ASCII with its control characters, and UTF-8 of two to four bytes.
    std::string text;
    for (std::size_t length = random() % 12; length > 0; --length) {
        switch (random() % 8) {
            case 0:
                text += std::vector<char const*>{"\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x8E\xAC", "\x7F"}[random() % 4];
                break;
            case 1:
                text += "/\"\\\b\f\n\r\t"[random() % 8];
                break;
            default:
                text += static_cast<char>(random() % 128);
        }
    }
    return text;
}

GraphCRCData RandomRecord(std::mt19937& random) {
    GraphCRCData data;
    data.SetSourceGraphFileName(ioPath(RandomText(random)));
    data.SetSourceMediaFileName(ioPath(RandomText(random)));
    for (std::size_t count = random() % 30; count > 0; --count)
        data.AddPacketCRCInfo(static_cast<int64>(random() % 5) - 2,
                              static_cast<int64>((uint64{random()} << 32 | random()) >> random() % 64),
                              RandomText(random));
    return data;
}

TEST_F(GraphCRCDataSave, WritesByteForByteWhatBoostWritesOfTheSameTree) {
    for (unsigned seed = 0; seed < 300; ++seed) {
        std::mt19937 random(seed);
        GraphCRCData const data = RandomRecord(random);
        ASSERT_EQ(Saved(data), WrittenByBoost(data)) << "seed " << seed;
    }
}

TEST_F(GraphCRCDataSave, WhatWasSavedLoadsAsAnEqualRecord) {
    for (unsigned seed = 1000; seed < 1300; ++seed) {
        std::mt19937 random(seed);
        GraphCRCData const data = RandomRecord(random);
        data.SaveToFile(ioPath(folder / "record.json"));
        GraphCRCData loaded;
        loaded.LoadFromFile(ioPath(folder / "record.json"));
        ASSERT_EQ(loaded, data) << "seed " << seed;
    }
}

TEST_F(GraphCRCDataSave, NegativeNodeIdsComeBackIntact) {
    GraphCRCData data;
    for (int64 const id : {int64{-1}, std::numeric_limits<int64>::min(), std::numeric_limits<int64>::max()})
        data.AddPacketCRCInfo(id, id, "x");
    EXPECT_THAT(Saved(data), HasSubstr("\"GraphNodeId\": \"-1\""));
    GraphCRCData loaded;
    loaded.LoadFromFile(ioPath(folder / "record.json"));
    EXPECT_EQ(loaded, data);
    EXPECT_EQ(loaded.GetFilterCRCInfoList().count(-1), 1U);
}

TEST_F(GraphCRCDataSave, ATimeWithoutAValueIsSavedAsItStandsAndReadBack) {
    GraphCRCData data;
    data.AddPacketCRCInfo(1, NO_VALUE, "x");
    EXPECT_THAT(Saved(data), HasSubstr("\"PTS\": \"-9223372036854775808\""));
    GraphCRCData loaded;
    loaded.LoadFromFile(ioPath(folder / "record.json"));
    EXPECT_EQ(loaded.GetFilterCRCInfoList().at(1).GetPacketCRCInfoList()[0].GetTimeStamp(), NO_VALUE);
}

TEST_F(GraphCRCDataSave, NamesTravelAsUtf8AndSoDoesTheNameOfTheFile) {
    GraphCRCData data;
    data.SetSourceGraphFileName(ioPath("\xD0\xB3\xD1\x80\xD0\xB0\xD1\x84.json"));
    data.SetSourceMediaFileName(ioPath("\xE6\x98\xA0\xE7\x94\xBB \xF0\x9F\x8E\xAC.mkv"));
    ioPath const file(folder / "\xC3\xBC\xE2\x82\xAC.json");
    data.SaveToFile(file);
    EXPECT_THAT(TextOf(file.utf8string()), HasSubstr("\"\xE6\x98\xA0\xE7\x94\xBB \xF0\x9F\x8E\xAC.mkv\""));
    GraphCRCData loaded;
    loaded.LoadFromFile(file);
    EXPECT_EQ(loaded, data);
}

TEST_F(GraphCRCDataSave, ATextThatIsNotUtf8IsSavedAsItStandsAndNotLoaded) {
    GraphCRCData data;
    data.AddPacketCRCInfo(1, 0, "\xFF\xFE");
    EXPECT_THAT(Saved(data), HasSubstr("\"MD5\": \"\xFF\xFE\""));
    EXPECT_THAT(MessageOf<json_parser_error>([&] { data.LoadFromFile(ioPath(folder / "record.json")); }),
                HasSubstr("(14): invalid code sequence"));
}

// --- The file --------------------------------------------------------------------------------------------------------

/// No file grows beyond `size` while it lives; the process isn't ended by the attempt.
class FileSizeLimit {
  public:
    explicit FileSizeLimit(rlim_t size) : handler(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &before);
        rlimit const limit{size, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &before);
        std::signal(SIGXFSZ, handler);
    }
    FileSizeLimit(FileSizeLimit const&) = delete;
    FileSizeLimit& operator=(FileSizeLimit const&) = delete;

  private:
    rlimit before{};
    void (*handler)(int);
};

GraphCRCData Large(int packets) {
    GraphCRCData data;
    for (int i = 0; i < packets; ++i) data.AddPacketCRCInfo(1, i * 40000, "900150983cd24fb0d6963f7d28e17f72");
    return data;
}

std::string FailureOfSave(GraphCRCData const& data, std::string const& file) {
    return MessageOf<json_parser_error>([&] { data.SaveToFile(ioPath(file)); });
}

TEST_F(GraphCRCDataSave, ReplacesAFileAndLeavesNothingBeside) {
    WriteText(folder / "record.json", "old");
    TwoNodes().SaveToFile(ioPath(folder / "record.json"));
    EXPECT_EQ(TextOf(folder / "record.json"), TWO_NODES);
    EXPECT_THAT(folder.List(), ElementsAre("record.json"));
}

TEST_F(GraphCRCDataSave, APartialFileOfTheCallerIsWrittenItself) {
    std::string const partial = folder / ".record.json.x1y2z3.tarsel-part";
    WriteText(partial, "");
    std::filesystem::create_hard_link(partial, folder / "same");
    TwoNodes().SaveToFile(ioPath(partial));
    EXPECT_EQ(TextOf(folder / "same"), TWO_NODES);
    EXPECT_THAT(folder.List(), ElementsAre(".record.json.x1y2z3.tarsel-part", "same"));
}

TEST_F(GraphCRCDataSave, AFailedWriteLeavesNoHalfFile) {
    GraphCRCData const data = Large(5000);
    std::string failure;
    {
        FileSizeLimit const limit(100000);
        failure = FailureOfSave(data, folder / "record.json");
    }
    EXPECT_EQ(failure, (folder / "record.json") + ": write error: File too large");
    EXPECT_THAT(folder.List(), ElementsAre());
}

TEST_F(GraphCRCDataSave, AFailedWriteLeavesTheFileThatStoodThere) {
    WriteText(folder / "record.json", "old");
    {
        FileSizeLimit const limit(100000);
        EXPECT_THROW(Large(5000).SaveToFile(ioPath(folder / "record.json")), json_parser_error);
    }
    EXPECT_EQ(TextOf(folder / "record.json"), "old");
    EXPECT_THAT(folder.List(), ElementsAre("record.json"));
}

TEST_F(GraphCRCDataSave, KeepsTheRightsOfTheFileThatItReplaces) {
    WriteText(folder / "record.json", "old");
    ASSERT_EQ(chmod((folder / "record.json").c_str(), 0640), 0);
    TwoNodes().SaveToFile(ioPath(folder / "record.json"));
    struct stat status {};
    ASSERT_EQ(stat((folder / "record.json").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640U);
}

TEST_F(GraphCRCDataSave, WritesThroughALinkAndKeepsTheLink) {
    WriteText(folder / "real.json", "old");
    std::filesystem::create_symlink("real.json", folder / "link.json");
    std::filesystem::create_symlink("nowhere.json", folder / "dangling.json");
    TwoNodes().SaveToFile(ioPath(folder / "link.json"));
    TwoNodes().SaveToFile(ioPath(folder / "dangling.json"));
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link.json"));
    EXPECT_EQ(TextOf(folder / "real.json"), TWO_NODES);
    EXPECT_EQ(TextOf(folder / "nowhere.json"), TWO_NODES);
    EXPECT_THAT(folder.List(), ElementsAre("dangling.json", "link.json", "nowhere.json", "real.json"));
}

TEST_F(GraphCRCDataSave, WritesDirectlyToWhatIsNoRegularFile) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    TwoNodes().SaveToFile(ioPath("/proc/self/fd/" + std::to_string(ends[1])));
    close(ends[1]);
    std::string text(10000, ' ');
    ssize_t const size = read(ends[0], text.data(), text.size());
    close(ends[0]);
    ASSERT_GT(size, 0);
    text.resize(static_cast<std::size_t>(size));
    EXPECT_EQ(text, TWO_NODES);
    TwoNodes().SaveToFile(ioPath("/dev/null"));
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

TEST_F(GraphCRCDataSave, AFullDeviceIsAWriteError) {
    EXPECT_EQ(FailureOfSave(TwoNodes(), "/dev/full"), "/dev/full: write error: No space left on device");
}

TEST_F(GraphCRCDataSave, AFileThatCanNotBeWrittenIsAParserErrorThatNamesIt) {
    EXPECT_EQ(FailureOfSave(TwoNodes(), folder / "none/record.json"),
              (folder / "none/record.json") + ": cannot open file: No such file or directory");
    EXPECT_EQ(FailureOfSave(TwoNodes(), folder.GetPath()), folder.GetPath() + ": cannot open file: Is a directory");
    EXPECT_EQ(FailureOfSave(TwoNodes(), ""), "<unspecified file>: cannot open file: No such file or directory");
    std::string const cut = (folder / "a") + std::string(1, '\0') + "b";
    EXPECT_THROW(TwoNodes().SaveToFile(ioPath(cut)), json_parser_error);
    EXPECT_THAT(folder.List(), ElementsAre());
}

TEST_F(GraphCRCDataSave, ALongNameIsNoHindrance) {
    std::string name = "x";
    while (name.size() < 253) name += "\xC3\xA4";
    TwoNodes().SaveToFile(ioPath(folder / name));
    EXPECT_THAT(folder.List(), ElementsAre(name));
    EXPECT_EQ(TextOf(folder / name), TWO_NODES);
}

}  // namespace
}  // namespace Tarsel::Proc
