// The built program, for tests that use it as a person does.
#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/CutOracle.h"
#include "tests/support/RunProgram.h"

namespace Tarsel::Tests {

/// A folder of its own that goes with the object.
class TempFolder {
  public:
    TempFolder();
    ~TempFolder();
    TempFolder(TempFolder const&) = delete;
    TempFolder& operator=(TempFolder const&) = delete;
    /// Path of a file in it.
    std::string operator/(std::string const& name) const { return (path / name).string(); }
    /// Names of what lies in it, sorted.
    std::vector<std::string> Entries() const;
    std::filesystem::path const path;
};

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

}  // namespace Tarsel::Tests
