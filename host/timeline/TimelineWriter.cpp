#include "host/timeline/TimelineWriter.h"

#include <nlohmann/json.hpp>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SampleInfoProperty.h"
#include "host/graph/EffectCatalog.h"
#include "host/graph/FieldForms.h"
#include "host/graph/GraphErrors.h"
#include "host/timeline/TimelineForms.h"

namespace Tarsel::Host {

namespace {

using Json = nlohmann::ordered_json;

/// A graph file doubles the "$" where a variable could begin; timelines have none.
Json WithoutVariables(Json object) {
    for (auto& [key, value] : object.items()) {
        if (!value.is_string()) continue;
        auto text = value.get<std::string>();
        for (std::size_t at = 0; (at = text.find("$${", at)) != std::string::npos; at += 2) text.erase(at, 1);
        value = std::move(text);
    }
    return object;
}

Json SettingsToJson(EffectEntry const& entry, Core::Property const& settings) {
    Core::Property fields(settings.Name());
    for (Core::Property const& child : settings.Children()) {
        if (!child.IsKeyed())
            fields.Add(child);
        else if (child.Name() != GetEffectKeys().front().GetChildName())
            fields.SetChild(child.Name(), child);
    }
    return WithoutVariables(FieldsAsJson(entry.fields, fields));
}

Json SoundToJson(Conf::SampleInfo const& sound) {
    Core::Property property;
    Proc::SetSampleInfo(property, sound);
    Json words = FieldsAsJson(SoundEntry().fields, property);
    Json set = Json::object();
    for (auto const& [key, value] : words.items())
        if (value != ANY_VALUE) set[key] = value;
    return set;
}

Json EffectToJson(TimelineEffect const& effect, TimelineClip const& clip) {
    EffectEntry const* const entry = FindEffect(effect.name);
    if (!entry) TARSEL_THROW(GraphException, "there is no effect " + Quoted(effect.name));
    Json object{{"name", effect.name}};
    if (std::string const name = GetEffectImplementation(effect.settings); name != Proc::ImplNames::DEFAULT)
        object["implementation"] = name;
    if (Json settings = SettingsToJson(*entry, effect.settings); !settings.empty())
        object["settings"] = std::move(settings);
    if (effect.begin != clip.begin) object["begin"] = effect.begin - clip.begin;
    if (effect.end != clip.end) object["end"] = effect.end - clip.begin;
    return object;
}

Json ClipToJson(TimelineClip const& clip, TrackKind kind) {
    Json object{{"type", "clip"}};
    if (!clip.name.empty()) object["name"] = clip.name;
    object["file"] = clip.file;
    if (clip.stream)
        object["stream"] = clip.stream->kind ? Json(SelectorText(*clip.stream)) : Json(clip.stream->ordinal);
    if (clip.sourceBegin != 0) object["in"] = clip.sourceBegin;
    object["duration"] = clip.end - clip.begin;
    if (clip.speed == 0)
        object["freeze"] = true;
    else if (clip.speed != 1)
        object["speed"] = clip.speed;
    if (kind == TrackKind::Video && clip.opacity != 1) object["opacity"] = clip.opacity;
    if (kind == TrackKind::Audio && clip.volume != DEFAULT_MIXER_VOLUME) object["volume"] = clip.volume;
    for (TimelineEffect const& effect : clip.effects) object["effects"].push_back(EffectToJson(effect, clip));
    return object;
}

Json TransitionToJson(TimelineTransition const& transition) {
    Json object{{"type", "transition"}, {"kind", "dissolve"}};
    if (!transition.name.empty()) object["name"] = transition.name;
    object["before"] = transition.before;
    object["after"] = transition.after;
    return object;
}

/// `end`: up to where a gap fills the track.
Json TrackToJson(TimelineTrack const& track, int64 end) {
    Json object{{"kind", TrackKindName(track.kind)}};
    if (!track.name.empty()) object["name"] = track.name;
    Json items = Json::array();
    int64 position = 0;
    auto const fill = [&](int64 to) {
        if (to > position) items.push_back({{"type", "gap"}, {"duration", to - position}});
    };
    auto transition = track.transitions.begin();
    for (std::size_t i = 0; i < track.clips.size(); ++i) {
        fill(track.clips[i].begin);
        items.push_back(ClipToJson(track.clips[i], track.kind));
        position = track.clips[i].end;
        for (; transition != track.transitions.end() && transition->left == i; ++transition)
            items.push_back(TransitionToJson(*transition));
    }
    fill(end);
    object["items"] = std::move(items);
    return object;
}

int64 EndOf(TimelineTrack const& track) {
    return track.clips.empty() ? 0 : track.clips.back().end;
}

}  // namespace

std::string WriteTimeline(Timeline const& timeline) {
    Json document{{"format", TIMELINE_FORMAT}, {"version", TIMELINE_VERSION}};
    if (!timeline.name.empty()) document["name"] = timeline.name;
    if (timeline.frameRate) document["frameRate"] = Core::Property().SetValue(*timeline.frameRate).GetString();
    if (timeline.frame) {
        Conf::FrameInfo const& frame = *timeline.frame;
        document["size"] = {{"width", frame.width}, {"height", frame.height}};
        if (frame.pixelAspectNum != frame.pixelAspectDen)
            document["size"]["pixelAspect"] =
                std::to_string(frame.pixelAspectNum) + "/" + std::to_string(frame.pixelAspectDen);
    }
    if (Json sound = SoundToJson(timeline.sound); !sound.empty()) document["sound"] = std::move(sound);
    bool reached = false;
    for (TimelineTrack const& track : timeline.tracks) reached = reached || EndOf(track) == timeline.duration;
    document["tracks"] = Json::array();
    for (TimelineTrack const& track : timeline.tracks) {
        document["tracks"].push_back(TrackToJson(track, reached ? 0 : timeline.duration));
        reached = true;
    }
    std::string text;
    try {
        text = document.dump(2) + "\n";
    } catch (Json::type_error const&) {
        TARSEL_THROW(GraphException, "a text of the timeline is not UTF-8, which JSON has to be");
    }
    // Whatever the form has no words for is refused by its reader.
    ReadOwnTimeline(JsonTree(text, TIMELINE_LIMITS), {});
    return text;
}

}  // namespace Tarsel::Host
