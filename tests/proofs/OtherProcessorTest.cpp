// The records again with other code at work: what an older processor runs of the C library's mathematics, and all that
// this one offers to the libraries of FFmpeg. Each in a process of its own, which is told so when it starts.
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>

#include "tests/support/RunProgram.h"

namespace Tarsel::Test {
namespace {

/// The lines that tell where a test begins and ends would be taken for those of this program.
std::string WithoutMarks(std::string const& output) {
    std::istringstream lines(output);
    std::string kept;
    for (std::string line; std::getline(lines, line);)
        if (!line.starts_with("[")) kept += line + "\n";
    return kept;
}

void ExpectRecordsHold(std::string const& setting) {
    ProgramResult const result =
        RunProgram({"env", "-u", "TARSEL_UPDATE_RECORDS", setting, std::filesystem::read_symlink("/proc/self/exe"),
                    "--gtest_filter=*Records.RunsGiveWhatTheirRecordsSay"});
    EXPECT_EQ(0, result.exitCode) << setting << "\n" << WithoutMarks(result.output) << result.errors;
    EXPECT_NE(std::string::npos, result.output.find("[  PASSED  ] 2 tests")) << WithoutMarks(result.output);
}

TEST(OtherProcessor, MathematicsWithoutFusedInstructionsGiveTheSameRecords) {
    ExpectRecordsHold("GLIBC_TUNABLES=glibc.cpu.hwcaps=-FMA,-FMA4,-AVX2,-AVX,-AVX512F,-ERMS,-FSRM");
}

TEST(OtherProcessor, TheLibrariesFastCodeGivesTheSameRecords) {
    ExpectRecordsHold("TARSEL_PROOFS_ALL_INSTRUCTIONS=1");
}

}  // namespace
}  // namespace Tarsel::Test
