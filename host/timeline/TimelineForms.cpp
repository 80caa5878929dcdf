#include "host/timeline/TimelineForms.h"

#include <cmath>

#include "contracts/Proc/IFilterFactoryRegistrator.h"

namespace Tarsel::Host {

std::string TrackKindName(TrackKind kind) {
    return kind == TrackKind::Video ? "video" : "audio";
}

int64 SourceDurationOf(TimelineClip const& clip) {
    return static_cast<int64>(
        std::llround(static_cast<long double>(clip.end - clip.begin) * std::abs(static_cast<long double>(clip.speed))));
}

CatalogEntry const& SoundEntry() {
    return *FindInCatalog(Proc::FilterSlots::RESAMPLE.name);
}

Core::Property ReadEffectSettings(GraphFindings& findings, std::size_t name, std::size_t index, TrackKind,
                                  std::string const&) {
    Core::Property settings(findings.GetTree()[name].text);
    if (index == JsonTree::NONE) return settings;
    if (findings.GetTree()[index].kind == JsonNode::Kind::Object)
        ReadTree(findings, index, settings);
    else
        findings.Report(index, "must be an object, not " + Shown(findings.GetTree()[index]));
    return settings;
}

}  // namespace Tarsel::Host
