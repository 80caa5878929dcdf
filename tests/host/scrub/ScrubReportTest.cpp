#include "host/scrub/ScrubReport.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace Tarsel::Host {
namespace {

constexpr auto SEEK = ScrubOperation::Kind::Seek;
constexpr auto STEP = ScrubOperation::Kind::Step;

ScrubReport Sample() {
    ScrubReport report;
    report.steps = {{{SEEK, 12500000}, {12500000, 12480000}, 1500},
                    {{STEP, -3}, {12360000, 12360000}, 20},
                    {{SEEK, 90000000}, {90000000, NO_VALUE}, 800}};
    report.sourceSeeks = 2;
    report.savedSeeks = 1;
    return report;
}

TEST(ScrubReport, JsonHoldsEachOperationAndTheSums) {
    auto const expected = nlohmann::json::parse(R"({
        "steps": [{"requested_us": 12500000, "real_us": 12480000, "time_us": 1500},
                  {"requested_us": 12360000, "real_us": 12360000, "time_us": 20},
                  {"requested_us": 90000000, "real_us": null, "time_us": 800}],
        "source_seeks": 2, "saved_seeks": 1, "median_us": 800, "worst_us": 1500})");
    EXPECT_EQ(expected, nlohmann::json::parse(Sample().ToJson()));
}

TEST(ScrubReport, TextStandsInColumns) {
    EXPECT_EQ(
        "operation       requested       real  time (us)\n"
        "seek 12.500000  12.500000  12.480000       1500\n"
        "step -3         12.360000  12.360000         20\n"
        "seek 90.000000  90.000000        end        800\n"
        "3 operations, 2 sought the source, 1 seeks saved; median 800 us, worst 1500 us\n",
        Sample().ToText());
}

TEST(ScrubReport, TheMedianOfAnEvenNumberLiesBetweenTheTwoInTheMiddle) {
    ScrubReport report = Sample();
    report.steps.push_back({{STEP, 1}, {0, 0}, 100});
    EXPECT_EQ(450, report.GetMedian());
}

TEST(ScrubReport, OfNothingIsEmpty) {
    ScrubReport const report;
    EXPECT_EQ(0, report.GetMedian());
    EXPECT_EQ(0, report.GetWorst());
    EXPECT_TRUE(nlohmann::json::parse(report.ToJson()).at("steps").empty());
}

}  // namespace
}  // namespace Tarsel::Host
