// Judges a file that a cut made: by what the source says it must hold, and by decoding it.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "tests/support/CutOracle.h"

namespace Tarsel::Test {

/// What is wrong, one sentence each; empty when all is well.
using Problems = std::vector<std::string>;

/// dB that a picture which was encoded again keeps at least.
inline constexpr double LEAST_PSNR = 38;

/// Checks the file that `tarsel cut` made in its usual mode, and the numbers of its report. `report` is the program's
/// JSON.
Problems CheckCut(SourceMedia const& source, CutRequest const& request, std::string const& output,
                  nlohmann::json const& report);

/// Checks that a file holds the very packets of its source with the same distances of time, as a plain stream copy
/// does.
Problems CheckPlainCopy(SourceMedia const& source, std::string const& output);

/// Runs the ffmpeg command over a file and tells every line that it prints, and a failure. Lines that it prints for the
/// source as well are left out.
Problems CheckByCommand(std::string const& source, std::string const& output);

/// The numbers of a report against the source and the expected cut; `packetsInOutput` by source index, -1 for unknown.
Problems CheckReport(SourceMedia const& source, ExpectedCut const& cut, nlohmann::json const& report,
                     std::vector<int> const& packetsInOutput);

}  // namespace Tarsel::Test
