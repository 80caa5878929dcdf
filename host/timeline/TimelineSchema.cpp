#include <nlohmann/json.hpp>
#include <utility>

#include "contracts/Proc/ImplNames.h"
#include "host/graph/EffectCatalog.h"
#include "host/graph/FieldForms.h"
#include "host/timeline/TimelineForms.h"
#include "host/timeline/TimelineWriter.h"

namespace Tarsel::Host {

namespace {

using Json = nlohmann::ordered_json;

Json Reference(std::string const& name) {
    return {{"$ref", "#/$defs/" + name}};
}

Json Described(Json schema, std::string const& description) {
    schema["description"] = description;
    return schema;
}

Json Text() {
    return {{"type", "string"}};
}

Json IntegerBetween(int64 minimum, int64 maximum) {
    return {{"type", "integer"}, {"minimum", minimum}, {"maximum", maximum}};
}

Json Number(double minimum, double maximum) {
    return {{"type", "number"}, {"minimum", minimum}, {"maximum", maximum}};
}

Json Object(Json properties, Json required) {
    return {{"type", "object"},
            {"properties", std::move(properties)},
            {"required", std::move(required)},
            {"additionalProperties", false}};
}

Json ListOf(Json items) {
    return {{"type", "array"}, {"items", std::move(items)}};
}

Json TimeSchema() {
    constexpr char FORMS[] = "^[0-9]+f$|^[0-9]+(\\.[0-9]+)?(us|ms|s)$|^([0-9]+:)?[0-9]+:[0-9]+(\\.[0-9]+)?$";
    return Described({{"anyOf", {IntegerBetween(0, MAX_DURATION), {{"type", "string"}, {"pattern", FORMS}}}}},
                     "Microseconds, or a text: \"1:10.5\", \"2s\", \"500ms\", \"50f\" (frames of the timeline's rate)");
}

Json RateSchema() {
    return {{"anyOf", {IntegerBetween(1, MAX_FRAME_RATE), {{"type", "string"}, {"pattern", "^[0-9]+(/[0-9]+)?$"}}}}};
}

Json EffectSchema(EffectEntry const& entry) {
    Json settings = SchemaOfFields(entry.fields);
    Json required{"name"};
    if (settings.contains("required")) required.push_back("settings");
    Json implementations = entry.implementations;
    implementations.push_back(Proc::ImplNames::DEFAULT);
    return Described(
        Object({{"name", {{"enum", {entry.name, entry.classId}}}},
                {"implementation", {{"enum", std::move(implementations)}}},
                {"settings", std::move(settings)},
                {"begin", Described(Reference("time"), "From the begin of the clip; its begin where it is missing")},
                {"end", Described(Reference("time"), "From the begin of the clip; its end where it is missing")}},
               std::move(required)),
        entry.description);
}

Json EffectsSchema(TrackKind kind) {
    Json choices = Json::array();
    for (EffectEntry const& entry : GetEffectCatalog())
        if (entry.kind == GraphKindOf(kind) && !entry.takesMany) choices.push_back(EffectSchema(entry));
    return {{"anyOf", std::move(choices)}};
}

Json ClipSchema(TrackKind kind) {
    Json stream{{"anyOf",
                 {{{"type", "integer"}, {"minimum", 0}, {"maximum", 65535}},
                  {{"type", "string"}, {"pattern", "^" + TrackKindName(kind) + "(:[0-9]+)?$|^[0-9]+$"}}}}};
    Json const speed{{"anyOf", {Number(SLOWEST_CLIP, FASTEST_CLIP), Number(-FASTEST_CLIP, -SLOWEST_CLIP)}}};
    Json properties{
        {"type", {{"const", "clip"}}},
        {"name", Text()},
        {"file", {{"type", "string"}, {"minLength", 1}}},
        {"stream", Described(std::move(stream), "Which stream of the file; the first of the track's kind otherwise")},
        {"in", Described(Reference("time"), "In the file: where the range begins that is played")},
        {"out", Described(Reference("time"), "In the file: where the range ends; in place of \"duration\"")},
        {"duration", Described(Reference("time"), "On the timeline")},
        {"speed", Described(speed, "Above 1 faster, below 0 backwards")}};
    if (kind == TrackKind::Video) {
        properties["freeze"] = Described({{"type", "boolean"}}, "Whether the picture at \"in\" stands still");
        properties["opacity"] = Described(Number(0, 1), "How much is seen of the clip");
    } else {
        properties["volume"] = Described(IntegerBetween(-MAX_MIXER_VOLUME, MAX_MIXER_VOLUME), "Percent");
    }
    properties["effects"] = ListOf(Reference(TrackKindName(kind) + "Effect"));
    Json clip = Object(std::move(properties), {"type", "file"});
    clip["anyOf"] = {{{"required", {"out"}}}, {{"required", {"duration"}}}};
    return clip;
}

Json TransitionSchema() {
    return Object({{"type", {{"const", "transition"}}},
                   {"name", Text()},
                   {"kind", {{"const", "dissolve"}}},
                   {"before", Described(Reference("time"), "How long ahead of the cut it begins")},
                   {"after", Described(Reference("time"), "How long behind the cut it ends")}},
                  {"type"});
}

Json TrackSchema(TrackKind kind) {
    std::string const word = TrackKindName(kind);
    Json const item{{"anyOf", {Reference(word + "Clip"), Reference("gap"), Reference("transition")}}};
    return Object({{"kind", {{"const", word}}}, {"name", Text()}, {"items", ListOf(item)}}, {"kind", "items"});
}

Json Definitions() {
    Json const gap = Object({{"type", {{"const", "gap"}}}, {"duration", Reference("time")}}, {"type", "duration"});
    return {{"time", TimeSchema()},
            {"videoTrack", TrackSchema(TrackKind::Video)},
            {"audioTrack", TrackSchema(TrackKind::Audio)},
            {"videoClip", ClipSchema(TrackKind::Video)},
            {"audioClip", ClipSchema(TrackKind::Audio)},
            {"gap", gap},
            {"transition", TransitionSchema()},
            {"videoEffect", EffectsSchema(TrackKind::Video)},
            {"audioEffect", EffectsSchema(TrackKind::Audio)}};
}

}  // namespace

std::string WriteTimelineSchema() {
    Json const size = Object({{"width", IntegerBetween(1, MAX_TIMELINE_SIDE)},
                              {"height", IntegerBetween(1, MAX_TIMELINE_SIDE)},
                              {"pixelAspect", RateSchema()}},
                             {"width", "height"});
    Json tracks = ListOf({{"anyOf", {Reference("videoTrack"), Reference("audioTrack")}}});
    tracks["minItems"] = 1;
    tracks["maxItems"] = MAX_TIMELINE_TRACKS;
    Json schema{{"$schema", "https://json-schema.org/draft/2020-12/schema"}, {"title", "Tarsel timeline"}};
    schema.update(Object(
        {{"$schema", Text()},
         {"format", {{"const", TIMELINE_FORMAT}}},
         {"version", {{"const", TIMELINE_VERSION}}},
         {"name", Text()},
         {"frameRate", Described(RateSchema(), "Frames a second; those of the first clip of pictures otherwise")},
         {"size", Described(size, "Pixels; the size of the first clip of pictures otherwise")},
         {"sound", Described(SchemaOfFields(SoundEntry().fields), "What isn't told is as in the first clip of sound")},
         {"tracks", Described(std::move(tracks), "From below to above")}},
        {"format", "version", "tracks"}));
    schema["$defs"] = Definitions();
    return schema.dump(2) + "\n";
}

}  // namespace Tarsel::Host
