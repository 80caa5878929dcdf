#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "contracts/Conf/MediaTypes.h"
#include "contracts/Core/Export.h"
#include "contracts/Core/Property.h"
#include "contracts/Core/Types.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Host {

/// What runs from node to node in a graph.
enum class GraphKind { Video, Audio, Subtitle, Packets };

/// "video", "audio", "subtitle", "packets".
TARSEL_HOST_EXPORT std::string_view KindName(GraphKind kind);

/// What a field of settings holds.
enum class SettingType {
    Integer,
    /// A number with a fraction.
    Number,
    Boolean,
    /// "N/D": frames a second, 0/1 where the field says so; or a plain ratio above 0, where the field has no unit.
    Ratio,
    /// One of a list of names.
    Choice,
    /// Any text; an empty one where it may be left out.
    Text,
    /// A list of objects, each with fields of its own.
    List,
    /// A list of effects, each with the fields that the catalog of effects has for it.
    Effects,
};

/// One field of a class's settings.
struct SettingField {
    /// A name that a choice has in a graph file, and what the property holds for it.
    struct Choice {
        std::string name;
        std::string value;
    };

    std::string key;
    /// Name of the child of the property that holds the value; empty: the key.
    std::string child;
    SettingType type = SettingType::Integer;
    /// Bounds of an integer, both allowed.
    int64 minimum = 0;
    int64 maximum = 0;
    /// Bounds of a number, both allowed.
    double lowest = 0;
    double highest = 0;
    /// "us", "bytes", "frames/s", or empty.
    std::string unit;
    /// The value that stands when the graph gives none, as the property holds it. A field without one must be given; a
    /// list without one is empty.
    std::string defaultValue;
    /// What the property holds for "Any" in place of an integer; empty where an integer must be given.
    std::string anyValue;
    /// Whether the property itself holds the value, instead of a child under the key.
    bool isOwnValue = false;
    /// Whether a child without a key holds the value.
    bool isNameless = false;
    /// Whether an integer is a colour, which may also be written as "#RRGGBB" and "0xRRGGBB".
    bool isColor = false;
    /// Whether a text names a file.
    bool isFile = false;
    /// Whether a text may be left out, which is an empty one.
    bool isOptional = false;
    std::vector<Choice> choices;
    /// What each entry of a list holds.
    std::vector<SettingField> fields;
    /// The kind of the effects of a list.
    GraphKind effectKind = GraphKind::Video;
    /// One line.
    std::string description;

    bool IsList() const { return type == SettingType::List || type == SettingType::Effects; }
    bool IsRequired() const { return defaultValue.empty() && !isOptional && !IsList(); }
    std::string const& GetChildName() const { return child.empty() ? key : child; }
};

/// A list in a class's settings that has an entry for each input, or for each behind the first ones.
struct InputList {
    std::string key;
    /// The input that the first entry is for.
    std::size_t firstInput = 0;
    /// Whether each of these inputs must have an entry. Others may have theirs left out at the end.
    bool isComplete = false;
};

/// What is wrong with settings whose fields are right one by one.
struct SettingsFinding {
    /// Where it stands in the settings: "/Overlays/0/Alpha".
    std::string place;
    std::string what;
};

/// A class that a graph may name.
struct CatalogEntry {
    /// As it is registered.
    std::string classId;
    /// Name of its property: the class identifier of the settings object; the class's own where there is none.
    std::string settingsId;
    /// Whether it stands among the controllers of a graph.
    bool isController = false;
    /// Whether it is registered by the filter's name, as one with an interface of its own.
    bool isDedicated = false;
    /// Names of its implementations in the order of their registration. "Default" is understood besides.
    std::vector<std::string> implementations;
    /// What it works on; for a class without inputs what it gives. All inputs of a filter are of one kind, and so is
    /// what comes out, unless `gives` says another one. A controller takes any mixture and gives each stream back as
    /// the kind that it was.
    std::vector<GraphKind> kinds;
    std::optional<GraphKind> gives;
    /// The kind of all inputs behind the first where it is another one than that of the first, which `kinds` tells:
    /// what comes out is then of the first one's kind.
    std::optional<GraphKind> furtherKind;
    /// Inputs of a filter, streams of a controller.
    std::size_t minInputs = 1;
    std::size_t maxInputs = 1;
    std::vector<SettingField> fields;
    std::optional<InputList> inputList;
    /// Whether the settings are a tree of the writer's own keys instead of fields.
    bool isFreeTree = false;
    /// One line.
    std::string description;
    /// Makes the settings object of the property; null for a class that takes the property itself, or nothing.
    std::unique_ptr<Proc::Settings> (*make)(Core::Property const& property) = nullptr;
    /// Finds what the fields together have against each other; null where any values go together.
    std::optional<SettingsFinding> (*check)(Core::Property const& property) = nullptr;

    /// Whether the input of that number may be of the kind.
    TARSEL_HOST_EXPORT bool WorksOn(GraphKind kind, std::size_t input = 0) const;
    bool IsOfFurtherKind(std::size_t input) const { return furtherKind && input > 0; }
};

/// The class of the read-ahead stage, which has a door of its own and no row in the registry.
inline constexpr char FILTER_CACHE_DATA[] = "FilterCacheData";

/// The word for a value that is left as it comes.
inline constexpr char ANY_VALUE[] = "Any";

/// The list of the mixer's settings, one entry for each input.
inline constexpr char MIXER_STREAMS[] = "Streams";
/// In it the volume of an input, in percents, and what stands for one that isn't told.
inline constexpr char MIXER_VOLUME[] = "Volume";
inline constexpr int DEFAULT_MIXER_VOLUME = 100;
inline constexpr int64 MAX_MIXER_VOLUME = 1000000;

/// The list of the video mixer's settings, one entry for each input behind the first. An entry holds the options of
/// `IFilterVideoMixer` and `IBlend` under their own names; a hidden time of 0 is that of being shown.
inline constexpr char MIXER_OVERLAYS[] = "Overlays";
/// No farther off a drawn picture may lie, in pixels.
inline constexpr int64 MAX_OVERLAY_POSITION = 1000000;

/// The list of the effects of a chain.
inline constexpr char EFFECT_CHAIN[] = "Effects";
/// No picture has more pixels in a row or a column.
inline constexpr int64 MAX_PICTURE_SIDE = 16384;

/// The highest rate of sound.
inline constexpr int64 MAX_SAMPLE_RATE = 768000;

/// The most inputs that a node may have.
inline constexpr std::size_t MAX_GRAPH_INPUTS = 100000;

/// The highest frame rate; above it the times of two pictures may fall together.
inline constexpr int64 MAX_FRAME_RATE = 100000;
/// The largest numerator and denominator of a rate, which FFmpeg holds in 32 bits.
inline constexpr int64 MAX_FRAME_RATE_PART = 2147483647;

/// Every class that a graph may name, filters first. One entry is all that a class needs to be read, checked, described
/// by the schema and listed in the documentation.
TARSEL_HOST_EXPORT std::vector<CatalogEntry> const& GetSettingsCatalog();

/// Null when there is no such class.
TARSEL_HOST_EXPORT CatalogEntry const* FindInCatalog(std::string const& classId);

/// Whether graph files have a name for the layout.
TARSEL_HOST_EXPORT bool IsNamedLayout(Conf::ChannelLayout layout);

/// The property of a class whose fields all have their defaults; fields without one are left out.
TARSEL_HOST_EXPORT Core::Property MakeDefaultProperty(CatalogEntry const& entry);

/// The settings object that a class of the catalog is made with. Throws `FilterException` "There is no class CLASS that
/// a graph can name", "CLASS takes no settings object", and whatever the conversion from the property throws.
TARSEL_HOST_EXPORT std::unique_ptr<Proc::Settings> MakeSettings(std::string const& classId,
                                                                Core::Property const& property);

}  // namespace Tarsel::Host
