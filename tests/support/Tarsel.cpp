#include "tests/support/Tarsel.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "contracts/Core/Exception.h"

namespace Tarsel::Tests {

namespace fs = std::filesystem;

namespace {

fs::path MakeFolder() {
    static std::atomic<int> count = 0;
    fs::path const folder =
        fs::path(TARSEL_TEST_OUTPUT_DIR) / (std::to_string(getpid()) + "-" + std::to_string(count++));
    fs::remove_all(folder);
    fs::create_directories(folder);
    return folder;
}

}  // namespace

TempFolder::TempFolder() : path(MakeFolder()) {}

TempFolder::~TempFolder() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
}

std::vector<std::string> TempFolder::Entries() const {
    std::vector<std::string> names;
    for (auto const& entry : fs::directory_iterator(path)) names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

std::string TarselPath() {
    return TARSEL_PROGRAM;
}

ProgramResult RunTarsel(std::vector<std::string> const& arguments) {
    std::vector<std::string> command{TarselPath()};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return RunProgram(command);
}

nlohmann::json ParseOutput(ProgramResult const& result) {
    auto json = nlohmann::json::parse(result.output, nullptr, false);
    if (json.is_discarded())
        TARSEL_THROW(std::runtime_error, "exit code " + std::to_string(result.exitCode) + ", no JSON but \"" +
                                             result.output + "\", messages: " + result.errors);
    return json;
}

SourceMedia OpenSource(std::string const& path) {
    auto const probe = ParseOutput(RunTarsel({"probe", path, "--json"}));
    return SourceMedia(path, probe.at("duration_us").get<int64>());
}

std::string ReadWholeFile(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) TARSEL_THROW(std::runtime_error, "can't read " + path);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace Tarsel::Tests
