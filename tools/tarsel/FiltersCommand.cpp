#include <CLI/CLI.hpp>
#include <memory>
#include <nlohmann/json.hpp>

#include "host/graph/FilterRegistry.h"
#include "tools/tarsel/Program.h"
#include "tools/tarsel/Terminal.h"

namespace Tarsel::Tool {

namespace {

using Json = nlohmann::ordered_json;

std::string ListAsJson(Host::FilterRegistry const& registry) {
    Json document;
    document["filters"] = Json::array();
    for (Host::FilterRegistry::Row const& row : registry.GetRows())
        document["filters"].push_back(
            {{"kind", Host::KindName(row.kind)}, {"class_id", row.classId}, {"implementation", row.implName}});
    return document.dump(2) + "\n";
}

std::string ListAsText(Host::FilterRegistry const& registry) {
    std::string text;
    for (Host::FilterRegistry::Row const& row : registry.GetRows()) {
        std::string kind = Host::KindName(row.kind);
        kind.resize(11, ' ');
        text += kind + row.classId + " (" + row.implName + ")\n";
    }
    return text;
}

}  // namespace

void AddFiltersCommand(CLI::App& program, Action& chosen) {
    auto const json = std::make_shared<bool>(false);
    CLI::App& command = *program.add_subcommand("filters", "Lists the filters that are registered");
    command.add_flag("--json", *json, "Print the list as JSON");
    command.footer("Example:\n  tarsel filters --json");
    command.final_callback([json, &chosen] {
        chosen = [json] {
            auto const registry = Host::MakeFilterRegistry();
            PrintOutput(*json ? ListAsJson(*registry) : ListAsText(*registry));
            return int(EXIT_DONE);
        };
    });
}

}  // namespace Tarsel::Tool
