#include "host/cut/CutReport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "contracts/Core/Time.h"

namespace Tarsel::Host {
namespace {

using testing::HasSubstr;
using Kind = CutStretch::Kind;

CutReport Example() {
    CutStreamReport video;
    video.kind = "video";
    video.codec = "h264";
    video.mode = CutMode::Recode;
    video.packetsCopied = 150;
    video.packetsRecoded = 25;
    video.packetsDropped = 75;
    video.groupsCopied = 3;
    video.groupsRecoded = 1;
    video.groupsDropped = 1;
    video.stretches = {
        {Kind::Kept, 0, 4 * SECOND}, {Kind::Recoded, 4 * SECOND, 5 * SECOND}, {Kind::Removed, 5 * SECOND, 10 * SECOND}};
    CutReport report;
    report.input = "a <b> & \"c\".mp4";
    report.output = "out.mp4";
    report.durationUs = 10 * SECOND;
    report.removedUs = {{5 * SECOND, 10 * SECOND}};
    report.streams = {video};
    report.warnings = {"one"};
    return report;
}

TEST(CutReport, JsonHasEveryField) {
    auto const document = nlohmann::json::parse(Example().ToJson());
    EXPECT_EQ(document["input"], "a <b> & \"c\".mp4");
    EXPECT_EQ(document["output"], "out.mp4");
    EXPECT_EQ(document["duration_us"], 10000000);
    EXPECT_EQ(document["removed_us"], (nlohmann::json{{5000000, 10000000}}));
    auto const& stream = document["streams"][0];
    EXPECT_EQ(stream["index"], 0);
    EXPECT_EQ(stream["kind"], "video");
    EXPECT_EQ(stream["codec"], "h264");
    EXPECT_EQ(stream["mode"], "recode");
    EXPECT_EQ(stream["reason"], "");
    EXPECT_EQ(stream["packets_copied"], 150);
    EXPECT_EQ(stream["packets_recoded"], 25);
    EXPECT_EQ(stream["packets_dropped"], 75);
    EXPECT_EQ(stream["groups_copied"], 3);
    EXPECT_EQ(stream["groups_recoded"], 1);
    EXPECT_EQ(stream["groups_dropped"], 1);
    EXPECT_EQ(document["warnings"], nlohmann::json{"one"});
    EXPECT_TRUE(document["verified"].is_null());
    EXPECT_TRUE(document["wall_s"].is_number());
}

TEST(CutReport, VerdictIsTrueOrFalseOnceThereIsOne) {
    CutReport report = Example();
    report.verified = true;
    EXPECT_EQ(nlohmann::json::parse(report.ToJson())["verified"], true);
}

TEST(CutReport, NamesInAnyEncodingDoNotBreakTheJson) {
    CutReport report = Example();
    report.input = "caf\xe9.mp4";
    EXPECT_NO_THROW({ EXPECT_TRUE(nlohmann::json::parse(report.ToJson()).contains("input")); });
}

TEST(CutReport, BarsShowTheStretchesToScale) {
    // 40 columns for ten seconds: label "#0 video h264" and brackets take 17.
    EXPECT_THAT(Example().ToText(57), HasSubstr("#0 video h264 [================####....................]\n"));
}

TEST(CutReport, AShortRecodedStretchStaysVisible) {
    CutReport report = Example();
    report.streams[0].stretches = {
        {Kind::Kept, 0, 4999000}, {Kind::Recoded, 4999000, 5 * SECOND}, {Kind::Removed, 5 * SECOND, 10 * SECOND}};
    EXPECT_THAT(report.ToText(57), HasSubstr("[===================#....................]"));
}

TEST(CutReport, SvgEscapesNamesAndDrawsEveryStretch) {
    std::string const svg = Example().ToSvg();
    EXPECT_THAT(svg, HasSubstr("a &lt;b&gt; &amp; &quot;c&quot;.mp4"));
    EXPECT_THAT(svg, HasSubstr("<rect x=\"170.000\" y=\"40\" width=\"324.000\" height=\"26\" fill=\"#3b7a57\">"));
    EXPECT_THAT(svg, HasSubstr("<title>encoded again 00:04.000 - 00:05.000</title>"));
    EXPECT_THAT(svg, HasSubstr("<title>removed 00:05.000 - 00:10.000</title>"));
}

TEST(CutReport, ResultIsWhatTheRemovedRangesLeave) {
    EXPECT_EQ(Example().GetResultDuration(), 5 * SECOND);
}

}  // namespace
}  // namespace Tarsel::Host
