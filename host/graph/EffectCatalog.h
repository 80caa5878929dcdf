#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Core/Property.h"
#include "contracts/Core/Types.h"
#include "contracts/Proc/Settings.h"
#include "host/graph/SettingsCatalog.h"

namespace Tarsel::Host {

class GraphFindings;

/// An effect as people ask for it.
struct EffectEntry {
    /// "fade".
    std::string name;
    /// Of its settings, by which it is made.
    std::string classId;
    /// Video or audio.
    GraphKind kind = GraphKind::Video;
    /// Whether it makes one item out of those of several streams: such an effect stands over the streams of a map, not
    /// in a chain.
    bool takesMany = false;
    /// Whether what it does follows the progress of its interval. One that doesn't acts within the interval alone.
    bool followsTime = false;
    /// Whether it changes the format of the stream, so that it acts on all of it and has no interval.
    bool changesFormat = false;
    std::vector<SettingField> fields;
    /// In the order of their registration. "Default" is understood besides.
    std::vector<std::string> implementations;
    /// One line.
    std::string description;
    /// Makes the settings object of its property.
    std::unique_ptr<Proc::Settings> (*make)(Core::Property const& property) = nullptr;
};

/// The keys that every effect has beside its fields, in files and on the command line: "implementation", "begin" and
/// "end", in microseconds. None of them has to be given.
TARSEL_HOST_EXPORT std::vector<SettingField> const& GetEffectKeys();

/// Every effect that this host has an implementation of and that can be asked for by name.
TARSEL_HOST_EXPORT std::vector<EffectEntry> const& GetEffectCatalog();

/// By the name or by the class identifier. Null when there is no such effect.
TARSEL_HOST_EXPORT EffectEntry const* FindEffect(std::string_view name);

/// A key of an effect and the text that was given for it.
struct EffectValue {
    std::string key;
    std::string text;
};

// The property of an effect is what `IEffect::Initialize` takes: named with the class identifier, with a child for
// every field. Beside them stand "Implementation" where another one than the default is asked for, and "Begin" and
// "End" where they are given.

/// The property that texts stand for; a text that wholly parses as the wanted type is as good as the value. Throws
/// `GraphException` "the effect NAME: KEY: ..." for a key that the effect doesn't have or that is given twice, a value
/// that isn't allowed, a field that is missing; "there is no effect NAME" with the name that may have been meant.
TARSEL_HOST_EXPORT Core::Property MakeEffectProperty(std::string const& name, std::vector<EffectValue> const& values);

/// The same from an object of a JSON file: "effect" is the name, the other keys are those of the effect. What is wrong
/// is reported; the property is of no use then. `kind`: the kind that the effect must be of; `inChain`: whether it must
/// be one for a single stream.
Core::Property ReadEffect(GraphFindings& findings, std::size_t index, std::optional<GraphKind> kind, bool inChain);

/// The parts of it, for files that hold an effect in another form: the entry that the value `place` names, null when
/// that is reported; and the fields and "implementation" from the object `index`, `NONE` for the defaults. What is
/// missing is reported at `owner`.
EffectEntry const* ReadEffectName(GraphFindings& findings, std::size_t place, std::optional<GraphKind> kind,
                                  bool inChain);
Core::Property ReadEffectFields(GraphFindings& findings, EffectEntry const& entry, std::size_t index,
                                std::size_t owner);

/// The implementation that an effect's property asks for.
TARSEL_HOST_EXPORT std::string GetEffectImplementation(Core::Property const& property);
/// Whether a part of its interval, or its end, is told.
TARSEL_HOST_EXPORT bool HasInterval(Core::Property const& property);
TARSEL_HOST_EXPORT bool HasEnd(Core::Property const& property);
/// The property with the interval filled in that isn't given: from 0 to `end`. Without a value there, the interval
/// stays open, and the effect takes it as over.
TARSEL_HOST_EXPORT Core::Property WithInterval(Core::Property property, int64 end);

}  // namespace Tarsel::Host
