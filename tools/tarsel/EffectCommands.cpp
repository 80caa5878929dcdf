#include <CLI/CLI.hpp>
#include <algorithm>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "contracts/Proc/ImplNames.h"
#include "host/graph/EffectCatalog.h"
#include "host/graph/EffectForms.h"
#include "host/graph/GraphErrors.h"
#include "host/graph/SettingFields.h"
#include "tools/tarsel/GraphRunning.h"
#include "tools/tarsel/Program.h"
#include "tools/tarsel/Terminal.h"
#include "tools/tarsel/Usage.h"

namespace Tarsel::Tool {

namespace {

using Json = nlohmann::ordered_json;

struct EffectOptions {
    std::string input;
    Host::ShortFormOptions form;
    std::string size;
    std::string mode;
    std::string algorithm;
    std::string method;
    std::string implementation;
    bool smooth = false;
    std::vector<std::string> effects;
    bool list = false;
    bool printGraph = false;
    GraphFlags flags;

    // What the texts say, once they have been checked.
    Host::ResizeRequest resize;
    Proc::SettingsDeinterlace deinterlace;
    std::vector<Core::Property> properties;
};

/// The side of a size, nothing where it is left open.
std::optional<int> ReadSide(std::string const& size, std::string const& text) {
    if (text.empty() || text == "-1") return {};
    int side = 0;
    if (!ReadNumber(text, side) || side < 1 || side > Host::MAX_PICTURE_SIDE)
        RefuseUsage("--size: \"" + size + "\" is not WxH, both from 1 to 16384, one of them -1 or left out");
    return side;
}

/// Reads one of the names of an effect's field; the field's default where none is given.
template <class Value>
Value ReadChoice(char const* option, std::string const& text, char const* effect, char const* key) {
    auto const& fields = Host::FindEffect(effect)->fields;
    auto const field =
        std::find_if(fields.begin(), fields.end(), [&](Host::SettingField const& known) { return known.key == key; });
    for (Host::SettingField::Choice const& choice : field->choices)
        if (text.empty() ? choice.value == field->defaultValue : choice.name == text)
            return static_cast<Value>(std::stoi(choice.value));
    RefuseUsage(std::string(option) + ": \"" + text + "\" is none of " + Host::Fields::FieldBounds(*field));
}

/// The implementation of an effect; "Default" where none is asked for.
std::string ReadImplementation(std::string const& text, char const* effect) {
    if (text.empty() || text == Proc::ImplNames::DEFAULT) return Proc::ImplNames::DEFAULT;
    auto const& known = Host::FindEffect(effect)->implementations;
    if (std::find(known.begin(), known.end(), text) != known.end()) return text;
    std::string names;
    for (std::string const& name : known) names += (names.empty() ? "" : ", ") + name;
    RefuseUsage("--impl: \"" + text + "\" is none of " + names);
}

void CheckResize(EffectOptions& options) {
    std::size_t const cross = options.size.find('x');
    std::string const size = options.size;
    if (cross == std::string::npos) RefuseUsage("--size: \"" + size + "\" is not WxH (1280x720, 1280x, x720)");
    options.resize.width = ReadSide(size, size.substr(0, cross));
    options.resize.height = ReadSide(size, size.substr(cross + 1));
    if (!options.resize.width && !options.resize.height)
        RefuseUsage("--size: \"" + size + "\" tells neither of the two sides");
    options.resize.mode = ReadChoice<Proc::SettingsResizer::CustomModes>("--mode", options.mode, "resize", "mode");
    options.resize.algorithm =
        ReadChoice<Proc::SettingsResizer::Algorithms>("--algorithm", options.algorithm, "resize", "algorithm");
    options.resize.implName = ReadImplementation(options.implementation, "resize");
}

void CheckDeinterlace(EffectOptions& options) {
    options.deinterlace.SetMethod(
        ReadChoice<Proc::SettingsDeinterlace::Methods>("--method", options.method, "deinterlace", "method"));
    options.deinterlace.SetSmoothing(options.smooth);
}

void CheckEffects(EffectOptions& options) {
    if (options.list) return;
    if (options.input.empty()) RefuseUsage("input is required");
    if (options.form.output.empty()) RefuseUsage("--output is required");
    if (options.effects.empty()) RefuseUsage("--effect is required");
    for (std::string const& text : options.effects) {
        try {
            options.properties.push_back(Host::ParseEffect(text));
        } catch (Host::GraphException const& failure) {
            RefuseUsage("--effect: " + std::string(failure.what()));
        }
        Host::EffectEntry const& entry = *Host::FindEffect(options.properties.back().Name());
        if (entry.takesMany)
            RefuseUsage("--effect: the effect \"" + entry.name +
                        "\" needs several streams: it can't stand in the chain of one");
    }
}

// What there is.

std::string WordOf(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), '"'), text.end());
    return text;
}

std::string StandsIn(Host::EffectEntry const& entry) {
    return entry.takesMany ? "several streams" : entry.kind == Host::GraphKind::Video ? "pictures" : "sound";
}

std::string ListAsText() {
    std::string text;
    for (Host::EffectEntry const& entry : Host::GetEffectCatalog()) {
        std::string implementations;
        for (std::string const& name : entry.implementations)
            implementations += (implementations.empty() ? "" : ", ") + name;
        text += entry.name + ": " + entry.description + " (" + StandsIn(entry) + "; " + implementations + ")\n";
        for (Host::SettingField const& field : entry.fields) {
            std::string const defaultText = WordOf(Host::Fields::FieldDefault(field));
            text += "    " + field.key + ": " + WordOf(Host::Fields::FieldBounds(field)) +
                    (field.unit.empty() ? "" : " " + field.unit) +
                    (defaultText.empty() ? ", must be given" : " (" + defaultText + ")") + "; " + field.description +
                    "\n";
        }
    }
    text += "all: impl, the name of an implementation; those that don't change the format also begin and end, times\n";
    return text;
}

Json FieldAsJson(Host::SettingField const& field) {
    Json json{{"key", field.key}, {"values", Host::Fields::FieldBounds(field)}};
    if (field.type == Host::SettingType::Integer) {
        json["minimum"] = field.minimum;
        json["maximum"] = field.maximum;
    }
    if (field.type == Host::SettingType::Number) {
        json["minimum"] = field.lowest;
        json["maximum"] = field.highest;
    }
    for (Host::SettingField::Choice const& choice : field.choices) json["names"].push_back(choice.name);
    if (!field.unit.empty()) json["unit"] = field.unit;
    std::string const defaultText = Host::Fields::FieldDefault(field);
    json["default"] = defaultText.empty() ? Json() : Json::parse(defaultText);
    json["description"] = field.description;
    return json;
}

std::string ListAsJson() {
    Json document;
    document["effects"] = Json::array();
    for (Host::EffectEntry const& entry : Host::GetEffectCatalog()) {
        Json effect{{"name", entry.name},
                    {"class_id", entry.classId},
                    {"kind", Host::KindName(entry.kind)},
                    {"takes_many", entry.takesMany},
                    {"has_interval", !entry.changesFormat},
                    {"implementations", entry.implementations},
                    {"description", entry.description}};
        effect["keys"] = Json::array();
        for (Host::SettingField const& field : entry.fields) effect["keys"].push_back(FieldAsJson(field));
        document["effects"].push_back(std::move(effect));
    }
    return document.dump(2) + "\n";
}

// The commands.

/// A command that is a graph.
struct EffectCommand {
    std::string label;
    std::function<Host::ShortFormGraph(EffectOptions const&)> make;
};

int Run(EffectCommand const& command, EffectOptions const& options) {
    if (options.list) {
        PrintOutput(options.flags.json ? ListAsJson() : ListAsText());
        return EXIT_DONE;
    }
    Host::ShortFormGraph const graph = command.make(options);
    return RunChangedFile(graph, options.printGraph, options.flags, command.label);
}

/// Enters a sub-command with the options that all of them share. With `lists` input and output are checked later.
CLI::App& Add(CLI::App& program, Action& chosen, char const* name, char const* description,
              std::shared_ptr<EffectOptions> const& options, EffectCommand command, void (*check)(EffectOptions&),
              bool lists = false) {
    CLI::App& entry = *program.add_subcommand(name, description);
    entry.add_option("input", options->input, "The media file")->required(!lists);
    AddChangedFileOptions(entry, options->form, options->printGraph, options->flags, !lists);
    entry.final_callback([options, &chosen, command = std::move(command), check] {
        check(*options);
        if (!options->list) CheckEncoding(options->form);
        chosen = [options, command] { return Run(command, *options); };
    });
    return entry;
}

void AddResize(CLI::App& program, Action& chosen) {
    auto const options = std::make_shared<EffectOptions>();
    EffectCommand const command{
        "resizing", [](EffectOptions const& o) { return Host::MakeResizeGraph(o.input, o.resize, o.form); }};
    CLI::App& entry =
        Add(program, chosen, "resize", "Brings the pictures of a media file to a size", options, command, CheckResize);
    auto const add = [&](char const* name, std::string& value, char const* what) {
        return entry.add_option(name, value, what)->check(CLI::Validator(CheckGiven, ""));
    };
    add("--size", options->size, "WxH in pixels; a side that is -1 or left out keeps the shape (1280x, x720)")
        ->required();
    add("--mode", options->mode,
        "What becomes of pictures of another shape: stretch, letterbox (black bars) or crop (stretch)");
    add("--algorithm", options->algorithm, "bilinear, bicubic or lanczos (bicubic)");
    add("--impl", options->implementation, "OGL: on the GPU (the best for the processor)");
    entry.footer(
        "Sound and subtitles are not encoded again where the container takes them.\nExamples:\n"
        "  tarsel resize film.mp4 -o small.mp4 --size 1280x\n"
        "  tarsel resize film.mp4 -o square.mp4 --size 1080x1080 --mode letterbox");
}

void AddDeinterlace(CLI::App& program, Action& chosen) {
    auto const options = std::make_shared<EffectOptions>();
    EffectCommand const command{"deinterlacing", [](EffectOptions const& o) {
                                    return Host::MakeDeinterlaceGraph(o.input, o.deinterlace, o.form);
                                }};
    CLI::App& entry = Add(program, chosen, "deinterlace", "Makes progressive pictures of interlaced ones", options,
                          command, CheckDeinterlace);
    entry
        .add_option("--method", options->method,
                    "spatial: all lines of the second field are made anew; adaptive: those alone where something has "
                    "moved (adaptive)")
        ->check(CLI::Validator(CheckGiven, ""));
    entry.add_flag("--smooth", options->smooth, "Also even out what flickers from line to line");
    entry.footer(
        "A file whose first three pictures are progressive stays as it is, but is encoded again.\nExample:\n"
        "  tarsel deinterlace tape.mpg -o tape.mp4 --method adaptive");
}

void AddEffects(CLI::App& program, Action& chosen) {
    auto const options = std::make_shared<EffectOptions>();
    EffectCommand const command{"running effects", [](EffectOptions const& o) {
                                    return Host::MakeEffectsGraph(o.input, o.properties, o.form);
                                }};
    CLI::App& entry = Add(program, chosen, "effects", "Runs effects over the pictures and the sound of a media file",
                          options, command, CheckEffects, true);
    entry
        .add_option("--effect", options->effects,
                    "NAME:KEY=VALUE,KEY=VALUE...; given once for each effect, in the order in which they act")
        ->check(CLI::Validator(CheckGiven, ""))
        ->allow_extra_args(false);
    entry.add_flag("--list", options->list, "List the effects, their implementations and keys");
    entry.footer(
        "All effects have the keys begin and end (times) and impl. In a value \\ takes the next character as it is,\n"
        "and ' everything up to the next one. Streams that no effect is for are not encoded again.\nExamples:\n"
        "  tarsel effects film.mp4 -o film2.mp4 --effect fade:direction=in,end=2 --effect audio-fade:end=2\n"
        "  tarsel effects film.mp4 -o logo.mp4 --effect \"stamp:file='logo, small.png',x=-20,y=20,end=0:30\"\n"
        "  tarsel effects --list");
}

}  // namespace

void AddEffectCommands(CLI::App& program, Action& chosen) {
    AddResize(program, chosen);
    AddDeinterlace(program, chosen);
    AddEffects(program, chosen);
}

}  // namespace Tarsel::Tool
