#include "host/timeline/TimelineForms.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "contracts/Proc/IFilterFactoryRegistrator.h"
#include "contracts/Proc/ImplNames.h"
#include "host/graph/EffectCatalog.h"
#include "host/timeline/MediaPath.h"

namespace Tarsel::Host {

namespace {

/// The entry that the object names; null when what is wrong with it is reported.
EffectEntry const* ReadEffectName(GraphFindings& findings, std::size_t index, TrackKind kind) {
    std::size_t const place = RequireKey(findings, index, "name");
    if (place == JsonTree::NONE) return nullptr;
    auto const name = ReadText(findings, place);
    if (!name) return nullptr;
    EffectEntry const* const entry = FindEffect(*name);
    if (!entry) {
        std::vector<std::string> names;
        for (EffectEntry const& known : GetEffectCatalog()) names.push_back(known.name);
        findings.Report(place, "there is no effect " + Quoted(*name) + Suggest(*name, names));
        return nullptr;
    }
    if (entry->kind == GraphKindOf(kind) && !entry->takesMany) return entry;
    findings.Report(place, "the effect " + Quoted(entry->name) +
                               (entry->takesMany ? " needs several streams: it can't stand on one clip"
                                                 : " can't stand on a track of " + TrackKindName(kind)));
    return nullptr;
}

/// "Implementation", as the catalog of effects has it in a property.
void ReadImplementation(GraphFindings& findings, EffectEntry const& entry, std::size_t index,
                        Core::Property& property) {
    SettingField const& key = GetEffectKeys().front();
    std::size_t const place = findings.GetTree().Find(index, key.key);
    if (place == JsonTree::NONE) return;
    auto const name = ReadText(findings, place);
    if (!name || *name == Proc::ImplNames::DEFAULT) return;
    auto const& known = entry.implementations;
    if (std::find(known.begin(), known.end(), *name) == known.end())
        findings.Report(place, "the effect " + Quoted(entry.name) + " has no implementation " + Quoted(*name));
    else
        property.SetChild(key.GetChildName(), *name);
}

}  // namespace

std::string TrackKindName(TrackKind kind) {
    return kind == TrackKind::Video ? "video" : "audio";
}

GraphKind GraphKindOf(TrackKind kind) {
    return kind == TrackKind::Video ? GraphKind::Video : GraphKind::Audio;
}

int64 SourceDurationOf(TimelineClip const& clip) {
    return static_cast<int64>(
        std::llround(static_cast<long double>(clip.end - clip.begin) * std::abs(static_cast<long double>(clip.speed))));
}

CatalogEntry const& SoundEntry() {
    return *FindInCatalog(Proc::FilterSlots::RESAMPLE.name);
}

void ReadEffectSettings(GraphFindings& findings, std::size_t index, TrackKind kind, std::string const& folder,
                        TimelineEffect& effect) {
    EffectEntry const* const entry = ReadEffectName(findings, index, kind);
    if (!entry) return;
    effect.name = entry->name;
    effect.settings = Core::Property(entry->classId);
    std::size_t const settings = findings.GetTree().Find(index, "settings");
    if (settings != JsonTree::NONE) {
        std::vector<std::string> keys;
        for (SettingField const& field : entry->fields) keys.push_back(field.key);
        if (!ReadKeys(findings, settings, keys)) return;
    }
    ReadFieldValues(findings, entry->fields, settings, index, effect.settings);
    ReadImplementation(findings, *entry, index, effect.settings);
    if (findings.Any()) return;
    for (SettingField const& field : entry->fields)
        if (field.isFile)
            effect.settings.SetChild(field.GetChildName(),
                                     PathIn(folder, effect.settings[field.GetChildName()].GetString()));
    try {
        entry->make(effect.settings);
    } catch (std::exception const& failure) {
        findings.Report(index, failure.what());
    }
}

}  // namespace Tarsel::Host
