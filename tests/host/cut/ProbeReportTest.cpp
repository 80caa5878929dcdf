#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "host/cut/Probe.h"

namespace Tarsel::Host {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

ProbeReport::Stream Video() {
    ProbeReport::Stream stream;
    stream.kind = "video";
    stream.codec = "h264";
    stream.packets = 50;
    stream.durationUs = 2 * SECOND;
    stream.cutMode = "recode";
    stream.cutReason = "because";
    return stream;
}

// Steering characters of a terminal, a line that poses as another one, and bytes that are no UTF-8.
constexpr char NASTY[] =
    "a\x1b[2Jb\n#9 video\r\x07\x7f\xc2\x9b"
    "c \xc3\xa9 \\ \xff";

TEST(ProbeReport, TextsOfTheFileStayOnTheirLine) {
    ProbeReport report;
    report.input = NASTY;
    report.container = "mp4";
    report.streams = {Video()};
    report.streams[0].losslessReasons = {NASTY};
    report.chapters = {{0, SECOND, NASTY}};
    report.metadata = {{NASTY, NASTY}};
    std::string const shown =
        "a\\x1b[2Jb\\n#9 video\\x0d\\x07\\x7f\\x9b"
        "c \xc3\xa9 \\ \xff";
    EXPECT_EQ(report.ToText(), shown +
                                   ": mp4, 00:00.000\n"
                                   "#0 video h264: 50 packets from 00:00.000 for 00:02.000\n"
                                   "    cut: recode, because\n"
                                   "    " +
                                   shown + "\nchapter 00:00.000 - 00:01.000 " + shown + "\n" + shown + ": " + shown +
                                   "\n");
}

TEST(ProbeReport, JsonIsValidWhateverTheTextsOfTheFileHold) {
    ProbeReport report;
    report.input = NASTY;
    report.streams = {Video()};
    report.chapters = {{0, SECOND, NASTY}};
    report.metadata = {{NASTY, NASTY}};
    auto const json = nlohmann::json::parse(report.ToJson());
    std::string const read =
        "a\x1b[2Jb\n#9 video\r\x07\x7f\xc2\x9b"
        "c \xc3\xa9 \\ \xef\xbf\xbd";
    EXPECT_EQ(json.at("input"), read);
    EXPECT_EQ(json.at("chapters").at(0).at("title"), read);
    EXPECT_EQ(json.at("metadata").at(read), read);
    EXPECT_TRUE(json.at("streams").at(0).at("mean_group_us").is_null());
}

TEST(ProbeReport, AStreamWithoutPacketsHasNoTimes) {
    ProbeReport report;
    report.streams = {Video()};
    report.streams[0].kind = "attached picture";
    report.streams[0].packets = 0;
    EXPECT_THAT(report.ToText(), HasSubstr("#0 attached picture h264\n    cut: "));
    EXPECT_THAT(report.ToText(), Not(HasSubstr("packets")));
}

}  // namespace
}  // namespace Tarsel::Host
