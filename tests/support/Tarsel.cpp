#include "tests/support/Tarsel.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

#include "contracts/Core/Exception.h"

namespace Tarsel::Test {

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

}  // namespace Tarsel::Test
