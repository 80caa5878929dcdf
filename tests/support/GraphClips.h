// Graphs in memory, and the clips that they run on.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "host/graph/GraphDocument.h"
#include "host/graph/SettingsCatalog.h"
#include "host/media/SampleClip.h"

namespace Tarsel::Test {

/// The sample clip's options in small: 320x180, 25 pictures a second, their numbers told by blocks.
inline Host::SampleClipOptions SmallClip(int seconds) {
    Host::SampleClipOptions options;
    options.width = 320;
    options.height = 180;
    options.seconds = seconds;
    return options;
}

/// A graph file: the first `${LENGTH}` microseconds of picture and sound of `${IN}`, into `${OUT}`.
inline constexpr char TRIM_GRAPH[] = R"({
  "version": 1,
  "sources": [{"id": 1, "file": "${IN}", "stream": "video"}, {"id": 2, "file": "${IN}", "stream": "audio"}],
  "filters": [
    {"id": 3, "class": "SettingsFilterDurationTrimmer", "inputs": [1], "settings": {"Duration": "${LENGTH}"}},
    {"id": 4, "class": "SettingsFilterDurationTrimmer", "inputs": [2], "settings": {"Duration": "${LENGTH}"}}],
  "output": {"file": "${OUT}", "streams": [{"input": 3}, {"input": 4}]}
})";

/// A document that grows node by node. Pointers are those of the file that would be written for it.
class GraphMaker {
  public:
    Host::GraphDocument document;

    GraphMaker& Source(Host::NodeId id, std::string const& file, std::optional<Host::StreamKind> kind, int ordinal = 0,
                       bool packets = false) {
        std::string const pointer = "/sources/" + std::to_string(document.sources.size());
        document.sources.push_back({id, file, {kind, ordinal}, packets, pointer});
        return *this;
    }
    GraphMaker& Filter(Host::NodeId id, std::string const& classId, std::vector<Host::NodeId> inputs,
                       std::vector<std::pair<std::string, std::string>> const& settings = {}) {
        std::string const pointer = "/filters/" + std::to_string(document.filters.size());
        document.filters.push_back({id, classId, "Default", Settings(classId, settings), std::move(inputs), pointer});
        return *this;
    }
    GraphMaker& Controller(Host::NodeId id, std::string const& classId,
                           std::vector<Host::GraphController::Stream> streams, Core::Property const& settings) {
        std::string const pointer = "/controllers/" + std::to_string(document.controllers.size());
        document.controllers.push_back({id, classId, "Default", settings, std::move(streams), pointer});
        return *this;
    }
    GraphMaker& Into(std::string const& file, std::vector<Host::NodeId> const& inputs) {
        document.output.file = file;
        for (Host::NodeId const input : inputs) {
            Host::GraphOutput::Stream stream;
            stream.input = input;
            document.output.streams.push_back(stream);
        }
        return *this;
    }

    static Core::Property Settings(std::string const& classId,
                                   std::vector<std::pair<std::string, std::string>> const& values) {
        Host::CatalogEntry const* const entry = Host::FindInCatalog(classId);
        Core::Property property = entry ? Host::MakeDefaultProperty(*entry) : Core::Property(classId);
        for (auto const& [key, value] : values) property.SetChild(key, value);
        return property;
    }
};

}  // namespace Tarsel::Test
