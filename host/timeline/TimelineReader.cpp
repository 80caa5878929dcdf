#include "host/timeline/TimelineReader.h"

#include <filesystem>

#include "contracts/Core/Exception.h"
#include "host/graph/GraphErrors.h"
#include "host/timeline/TimelineForms.h"

namespace Tarsel::Host {

namespace {

ReadTimelineResult ReadFormOf(JsonTree const& tree, TimelineForm form, std::string const& folder) {
    return form == TimelineForm::Own ? ReadOwnTimeline(tree, folder) : ReadOtio(tree, folder);
}

}  // namespace

ReadTimelineResult ReadTimelineText(std::string const& text, TimelineForm form, std::string const& folder) {
    return ReadFormOf(JsonTree(text, TIMELINE_LIMITS), form, folder);
}

ReadTimelineResult ReadTimelineFile(std::string const& path) {
    std::string const text = ReadTextUpTo(path, TIMELINE_LIMITS.bytes);
    std::filesystem::path const place(path);
    try {
        JsonTree const tree(text, TIMELINE_LIMITS);
        bool const otio = place.extension() == ".otio" ||
                          (tree[0].kind == JsonNode::Kind::Object && tree.Find(0, "OTIO_SCHEMA") != JsonTree::NONE);
        return ReadFormOf(tree, otio ? TimelineForm::OpenTimelineIO : TimelineForm::Own, place.parent_path());
    } catch (GraphException const& failure) {
        TARSEL_THROW(GraphException, path + ": " + failure.what());
    }
}

}  // namespace Tarsel::Host
