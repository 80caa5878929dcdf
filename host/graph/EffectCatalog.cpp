#include "host/graph/EffectCatalog.h"

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>

#include "contracts/Core/Time.h"
#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsColorSpaceConverter.h"
#include "contracts/Proc/SettingsEffectAudioCrossFade.h"
#include "contracts/Proc/SettingsEffectAudioFade.h"
#include "contracts/Proc/SettingsEffectAudioMix.h"
#include "contracts/Proc/SettingsEffectColor.h"
#include "contracts/Proc/SettingsEffectComposite.h"
#include "contracts/Proc/SettingsEffectCrop.h"
#include "contracts/Proc/SettingsEffectDeinterlace.h"
#include "contracts/Proc/SettingsEffectDissolve.h"
#include "contracts/Proc/SettingsEffectFade.h"
#include "contracts/Proc/SettingsEffectLineSmoother.h"
#include "contracts/Proc/SettingsEffectStamp.h"
#include "contracts/Proc/SettingsEffectText.h"
#include "contracts/Proc/SettingsFrameDownloader.h"
#include "contracts/Proc/SettingsFrameUploader.h"
#include "contracts/Proc/SettingsResizer.h"
#include "host/graph/Factories.h"
#include "host/graph/GraphErrors.h"
#include "host/graph/GraphJson.h"
#include "host/graph/GraphValues.h"
#include "host/graph/SettingFields.h"

namespace Tarsel::Host {

using namespace Proc;
using namespace Fields;

namespace {

constexpr char EFFECT_KEY[] = "effect";
constexpr char IMPLEMENTATION[] = "Implementation";
constexpr char BEGIN[] = "Begin";
constexpr char END[] = "End";
constexpr int64 FARTHEST = std::numeric_limits<int>::max();

template <class S, S (*Convert)(Core::Property const&)>
EffectEntry Effect(char const* name, GraphKind kind, std::vector<SettingField> fields, char const* description) {
    EffectEntry entry;
    entry.name = name;
    entry.classId = S::CLASS_ID;
    entry.kind = kind;
    entry.fields = std::move(fields);
    entry.description = description;
    entry.make = Make<Convert>;
    return entry;
}

EffectEntry FollowingTime(EffectEntry entry) {
    entry.followsTime = true;
    return entry;
}

EffectEntry ChangingFormat(EffectEntry entry) {
    entry.changesFormat = true;
    return entry;
}

EffectEntry TakingMany(EffectEntry entry) {
    entry.takesMany = true;
    return entry;
}

SettingField Direction() {
    return In("Direction", OneOf("direction", {{"in", "0"}, {"out", "1"}}, "0", "Whether it comes or goes"));
}

SettingField Curve() {
    return In("Curve", OneOf("curve", {{"linear", "0"}, {"equal-power", "1"}}, "1",
                             "How the gain follows the time: sounds that are alike keep their level where they cross "
                             "with the one, sounds that aren't with the other"));
}

SettingField X() {
    return In("X", Integer("x", -FARTHEST, FARTHEST, "pixels", "0",
                           "Where its left edge is; below 0 where its right edge is, from the right, -1 touching it"));
}

SettingField Y() {
    return In("Y", Integer("y", -FARTHEST, FARTHEST, "pixels", "0", "The same from the upper and the lower edge"));
}

SettingField Alpha() {
    return In("Alpha", Integer("alpha", 0, 255, "", "255", "How strongly it is drawn; 0: not at all"));
}

void AddPictureEffects(std::vector<EffectEntry>& catalog) {
    constexpr GraphKind VIDEO = GraphKind::Video;
    catalog.push_back(Effect<SettingsEffectColor, Property2SettingsEffectColor>(
        "color", VIDEO,
        {In("Brightness", Number("brightness", -1, 1, "0", "Added to the luma; 1 is its whole range")),
         In("Contrast", Number("contrast", 0, 4, "1", "Factor of the distance from middle grey")),
         In("Saturation", Number("saturation", 0, 4, "1", "Factor of the colours; 0 leaves greys"))},
        "Changes brightness, contrast and saturation"));
    catalog.push_back(FollowingTime(Effect<SettingsEffectFade, Property2SettingsEffectFade>(
        "fade", VIDEO, {Direction(), In("Color", Color("color", "0", "What the picture comes out of, or goes into"))},
        "Lets the picture come out of a colour, or go into it, from begin to end")));
    SettingField file = In("File", Text("file", "The picture that is drawn"));
    file.isFile = true;
    catalog.push_back(Effect<SettingsEffectStamp, Property2SettingsEffectStamp>(
        "stamp", VIDEO, {file, X(), Y(), Alpha()}, "Draws a picture file on every picture"));
    catalog.push_back(Effect<SettingsEffectText, Property2SettingsEffectText>(
        "text", VIDEO,
        {In("Text", Text("text", "The text that is drawn")), X(), Y(),
         In("Size", Integer("size", 1, 4096, "pixels", "48", "Height of a line")),
         In("Color", Color("color", "16777215", "The text's")), Alpha()},
        "Draws a text on every picture"));
    catalog.push_back(TakingMany(Effect<SettingsEffectComposite, Property2SettingsEffectComposite>(
        "composite", VIDEO, {}, "Draws the pictures of several streams over one another, the last one topmost")));
    catalog.push_back(FollowingTime(TakingMany(Effect<SettingsEffectDissolve, Property2SettingsEffectDissolve>(
        "dissolve", VIDEO, {}, "Goes from the picture of one stream to that of another, from begin to end"))));
}

void AddTechnicalEffects(std::vector<EffectEntry>& catalog) {
    constexpr GraphKind VIDEO = GraphKind::Video;
    auto const edge = [](char const* child, char const* key, char const* what) {
        return In(child, Integer(key, 0, FARTHEST, "pixels", "0", what));
    };
    catalog.push_back(ChangingFormat(Effect<SettingsEffectCrop, Property2SettingsEffectCrop>(
        "crop", VIDEO,
        {edge("Left", "left", "The first column that is kept"),
         edge("Right", "right", "The column behind the last one that is kept; 0: all up to the right edge"),
         edge("Top", "top", "The first row that is kept"),
         edge("Bottom", "bottom", "The row below the last one that is kept; 0: all down to the lower edge")},
        "Keeps a part of the picture")));
    catalog.push_back(ChangingFormat(Effect<SettingsResizer, Property2SettingsResizer>(
        "resize", VIDEO,
        {In("Width", Integer("width", 1, MAX_PICTURE_SIDE, "pixels", "", "Width of the result")),
         In("Height", Integer("height", 1, MAX_PICTURE_SIDE, "pixels", "", "Height of the result")),
         In("Mode", OneOf("mode", {{"letterbox", "1"}, {"stretch", "2"}, {"crop", "3"}}, "2",
                          "What becomes of a picture of another shape: it gets black bars, or another shape, or is cut "
                          "off at its edges")),
         In("Algorithm", OneOf("algorithm", {{"bilinear", "0"}, {"bicubic", "1"}, {"lanczos", "2"}}, "1",
                               "How pixels in between are computed")),
         In("PixelAspect", Aspect("pixelAspect", "Shape of a pixel of the result"))},
        "Brings pictures to a size")));
    SettingField format = Text("format", "Name of the pixel format (\"yuv420p\", \"rgba\")");
    format.isNameless = true;
    catalog.push_back(ChangingFormat(Effect<SettingsColorSpaceConverter, Property2SettingsColorSpaceConverter>(
        "convert", VIDEO, {format}, "Converts pictures to a pixel format")));
    catalog.push_back(Effect<SettingsEffectDeinterlace, Property2SettingsEffectDeinterlace>(
        "deinterlace", VIDEO,
        {In("Method", OneOf("method", {{"spatial", "0"}, {"adaptive", "1"}}, "1",
                            "Whether all lines of the second field are made anew, or those alone where something "
                            "has moved"))},
        "Makes progressive pictures of interlaced ones"));
    catalog.push_back(Effect<SettingsEffectLineSmoother, Property2SettingsEffectLineSmoother>(
        "smooth-lines", VIDEO, {}, "Evens out what flickers from line to line"));
    catalog.push_back(ChangingFormat(Effect<SettingsFrameUploader, Property2SettingsFrameUploader>(
        "upload", VIDEO, {}, "Brings pictures to the memory of the GPU")));
    catalog.push_back(ChangingFormat(Effect<SettingsFrameDownloader, Property2SettingsFrameDownloader>(
        "download", VIDEO, {}, "Brings pictures back from the memory of the GPU")));
}

void AddSoundEffects(std::vector<EffectEntry>& catalog) {
    constexpr GraphKind AUDIO = GraphKind::Audio;
    catalog.push_back(FollowingTime(Effect<SettingsEffectAudioFade, Property2SettingsEffectAudioFade>(
        "audio-fade", AUDIO, {Direction(), Curve()},
        "Lets sound come out of silence, or go into it, from begin to end")));
    catalog.push_back(
        FollowingTime(TakingMany(Effect<SettingsEffectAudioCrossFade, Property2SettingsEffectAudioCrossFade>(
            "audio-cross-fade", AUDIO, {Curve()},
            "Goes from the sound of one stream to that of another, from begin to end"))));
    catalog.push_back(TakingMany(Effect<SettingsEffectAudioMix, Property2SettingsEffectAudioMix>(
        "audio-mix", AUDIO, {}, "Sums the sound of several streams")));
}

void ReadImplementation(GraphFindings& findings, EffectEntry const& entry, std::size_t index,
                        Core::Property& property) {
    std::size_t const place = findings.GetTree().Find(index, GetEffectKeys()[0].key);
    if (place == JsonTree::NONE) return;
    auto const name = ReadText(findings, place);
    if (!name || *name == ImplNames::DEFAULT) return;
    auto const& known = entry.implementations;
    if (std::find(known.begin(), known.end(), *name) != known.end()) {
        property.SetChild(IMPLEMENTATION, *name);
        return;
    }
    std::string list;
    for (std::string const& implementation : known) list += (list.empty() ? "" : ", ") + Quoted(implementation);
    findings.Report(
        place, "the effect " + Quoted(entry.name) + " has no implementation " + Quoted(*name) + ", it has " + list);
}

void ReadInterval(GraphFindings& findings, EffectEntry const& entry, std::size_t index, Core::Property& property) {
    std::optional<int64> given[2];
    for (std::size_t i = 0; i < 2; ++i) {
        SettingField const& key = GetEffectKeys()[i + 1];
        std::size_t const place = findings.GetTree().Find(index, key.key);
        if (place == JsonTree::NONE) continue;
        if (entry.changesFormat)
            return findings.Report(place, "the effect " + Quoted(entry.name) + " acts on the whole stream");
        given[i] = ReadInteger(findings, place, key.minimum, key.maximum, key.unit);
        if (!given[i]) return;
        property.SetChild(key.GetChildName(), *given[i]);
    }
    if (given[1] && *given[1] <= given[0].value_or(0))
        findings.Report(findings.GetTree().Find(index, GetEffectKeys()[2].key),
                        "must be behind \"begin\", " + std::to_string(given[0].value_or(0)));
}

/// The texts as the object of a file.
std::string ToJson(std::string const& name, std::vector<EffectValue> const& values) {
    auto const quoted = [&](std::string const& what, std::string const& text) {
        try {
            return nlohmann::json(text).dump();
        } catch (nlohmann::json::type_error const&) {
            FailAtPlace("", "the effect " + Quoted(name) + ": " + what + " is not UTF-8");
        }
    };
    std::string object = "{" + quoted(EFFECT_KEY, EFFECT_KEY) + ":" + quoted("its name", name);
    std::set<std::string> keys;
    for (EffectValue const& value : values) {
        if (value.key == EFFECT_KEY)
            FailAtPlace("", "the effect " + Quoted(name) + ": there is no key \"effect\" here");
        if (!keys.insert(value.key).second)
            FailAtPlace("", "the effect " + Quoted(name) + ": " + value.key + " is given twice");
        object += "," + quoted("a key", value.key) + ":" + quoted(value.key, value.text);
    }
    return object + "}";
}

}  // namespace

std::vector<SettingField> const& GetEffectKeys() {
    static std::vector<SettingField> const keys = {
        In(IMPLEMENTATION, Text("implementation", "Name of the implementation; left out: the best one")),
        In(BEGIN, Integer("begin", 0, MAX_DURATION, MICROSECOND, "",
                          "Where the interval of the effect begins; left out: with the stream")),
        In(END, Integer("end", 1, MAX_DURATION, MICROSECOND, "", "Where it ends; left out: with the stream"))};
    return keys;
}

std::vector<EffectEntry> const& GetEffectCatalog() {
    static std::vector<EffectEntry> const catalog = [] {
        std::vector<EffectEntry> entries;
        AddPictureEffects(entries);
        AddTechnicalEffects(entries);
        AddSoundEffects(entries);
        auto const factory = MakeEffectFactory();
        for (EffectEntry& entry : entries) entry.implementations = factory->GetImplementations(entry.classId);
        std::erase_if(entries, [](EffectEntry const& entry) { return entry.implementations.empty(); });
        return entries;
    }();
    return catalog;
}

EffectEntry const* FindEffect(std::string_view name) {
    auto const& catalog = GetEffectCatalog();
    auto const found = std::find_if(catalog.begin(), catalog.end(), [&](EffectEntry const& entry) {
        return entry.name == name || entry.classId == name;
    });
    return found == catalog.end() ? nullptr : &*found;
}

Core::Property MakeEffectProperty(std::string const& name, std::vector<EffectValue> const& values) {
    JsonTree const tree(ToJson(name, values));
    GraphFindings findings(tree);
    Core::Property property = ReadEffect(findings, 0, {}, false);
    if (!findings.Any()) return property;
    JsonNode const& place = tree[findings.GetPlace()];
    if (!FindEffect(name)) FailAtPlace("", findings.GetMessage());
    std::string const key = place.key.empty() || findings.GetPlace() == 0 ? "" : place.key + ": ";
    FailAtPlace("", "the effect " + Quoted(name) + ": " + key + findings.GetMessage());
}

EffectEntry const* ReadEffectName(GraphFindings& findings, std::size_t place, std::optional<GraphKind> kind,
                                  bool inChain) {
    auto const name = ReadText(findings, place);
    if (!name) return nullptr;
    EffectEntry const* const entry = FindEffect(*name);
    if (!entry) {
        std::vector<std::string> names;
        for (EffectEntry const& known : GetEffectCatalog()) names.push_back(known.name);
        findings.Report(place, "there is no effect " + Quoted(*name) + Suggest(*name, names));
        return nullptr;
    }
    bool const isVideo = entry->kind == GraphKind::Video;
    if (kind && entry->kind != *kind) {
        findings.Report(place, "the effect " + Quoted(entry->name) + " is one on " + (isVideo ? "pictures" : "sound") +
                                   ", not on " + (isVideo ? "sound" : "pictures"));
        return nullptr;
    }
    if (inChain && entry->takesMany) {
        findings.Report(
            place, "the effect " + Quoted(entry->name) + " needs several streams: it can't stand in the chain of one");
        return nullptr;
    }
    return entry;
}

Core::Property ReadEffectFields(GraphFindings& findings, EffectEntry const& entry, std::size_t index,
                                std::size_t owner) {
    Core::Property property(entry.classId);
    ReadFieldValues(findings, entry.fields, index, owner, property);
    if (index != JsonTree::NONE) ReadImplementation(findings, entry, index, property);
    if (findings.Any()) return property;
    try {
        entry.make(property);
    } catch (std::exception const& failure) {
        findings.Report(index == JsonTree::NONE ? owner : index, failure.what());
    }
    return property;
}

Core::Property ReadEffect(GraphFindings& findings, std::size_t index, std::optional<GraphKind> kind, bool inChain) {
    JsonTree const& tree = findings.GetTree();
    if (tree[index].kind != JsonNode::Kind::Object) {
        findings.Report(index, "must be an object, not " + Shown(tree[index]));
        return {};
    }
    std::size_t const name = RequireKey(findings, index, EFFECT_KEY);
    EffectEntry const* const entry = name == JsonTree::NONE ? nullptr : ReadEffectName(findings, name, kind, inChain);
    if (!entry) return {};
    std::vector<std::string> keys{EFFECT_KEY};
    for (SettingField const& key : GetEffectKeys()) keys.push_back(key.key);
    for (SettingField const& field : entry->fields) keys.push_back(field.key);
    ReadKeys(findings, index, keys);
    Core::Property property = ReadEffectFields(findings, *entry, index, index);
    ReadInterval(findings, *entry, index, property);
    return property;
}

std::string GetEffectImplementation(Core::Property const& property) {
    return property.ChildExists(IMPLEMENTATION) ? property[IMPLEMENTATION].GetString() : ImplNames::DEFAULT;
}

bool HasInterval(Core::Property const& property) {
    return property.ChildExists(BEGIN) || property.ChildExists(END);
}

bool HasEnd(Core::Property const& property) {
    return property.ChildExists(END);
}

Core::Property WithInterval(Core::Property property, int64 end) {
    if (property.ChildExists(END)) {
        if (!property.ChildExists(BEGIN)) property.SetChild(BEGIN, int64{0});
        return property;
    }
    if (!HasValue(end)) return property;
    int64 const begin = property.ChildExists(BEGIN) ? property[BEGIN].GetInt64() : 0;
    // An interval without a length would be taken as over from the start of the stream on.
    return property.SetChild(BEGIN, begin).SetChild(END, end > begin ? end : AddTime(begin, 1));
}

}  // namespace Tarsel::Host
