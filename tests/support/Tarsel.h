// The built program, for tests that use it as a person does.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/CutOracle.h"
#include "tests/support/RunProgram.h"

namespace Tarsel::Test {

/// Path of the program.
std::string TarselPath();
/// Runs `tarsel` with these arguments.
ProgramResult RunTarsel(std::vector<std::string> const& arguments);
/// The JSON that the program printed; throws `std::runtime_error` with its messages when it printed none.
nlohmann::json ParseOutput(ProgramResult const& result);
/// A source as the program sees its length.
SourceMedia OpenSource(std::string const& path);
/// Whole content of a file; throws `std::runtime_error` when it can't be read.
std::string ReadWholeFile(std::string const& path);

}  // namespace Tarsel::Test
