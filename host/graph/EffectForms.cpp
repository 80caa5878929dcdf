#include "host/graph/EffectForms.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Proc/IFilterApplyEffects.h"
#include "contracts/Proc/IFilterFactoryRegistrator.h"
#include "contracts/Proc/ImplNames.h"
#include "host/cut/RangeText.h"
#include "host/graph/ChangedFile.h"
#include "host/graph/EffectCatalog.h"
#include "host/graph/GraphErrors.h"
#include "host/graph/GraphJson.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

constexpr char IMPLEMENTATION_WORD[] = "impl";
constexpr char BEGIN_WORD[] = "begin";
constexpr char END_WORD[] = "end";

// Effects as texts.

[[noreturn]] void FailInEffect(std::string const& name, std::string const& what) {
    FailAtPlace("", "the effect " + Quoted(name) + ": " + what);
}

/// Takes the values of an effect apart. Characters that stand as they are lose their marks.
class ValueReader {
  public:
    ValueReader(std::string const& name, std::string const& text) : name(name), text(text) {}

    std::vector<EffectValue> Read() {
        std::vector<EffectValue> values;
        while (at < text.size() || values.empty()) {
            EffectValue value = ReadValue();
            values.push_back(std::move(value));
            if (at == text.size()) break;
            ++at;  // the comma
            if (at == text.size()) FailInEffect(name, "a key is missing behind the last comma");
        }
        return values;
    }

  private:
    EffectValue ReadValue() {
        std::size_t const end = std::min(text.find_first_of("=,", at), text.size());
        std::string const key = text.substr(at, end - at);
        if (end == text.size() || text[end] == ',')
            FailInEffect(name, key.empty() ? "a key is missing" : Quoted(key) + " has no \"=\"");
        if (key.empty()) FailInEffect(name, "a key is missing in front of \"=\"");
        at = end + 1;
        return {key, ReadText(key)};
    }

    std::string ReadText(std::string const& key) {
        std::string value;
        bool quoted = false;
        for (; at < text.size() && (quoted || text[at] != ','); ++at) {
            if (text[at] == '\'') {
                quoted = !quoted;
            } else if (text[at] == '\\' && !quoted) {
                if (++at == text.size()) FailInEffect(name, key + " ends with a \"\\\"");
                value += text[at];
            } else {
                value += text[at];
            }
        }
        if (quoted) FailInEffect(name, key + " has a \"'\" without a second one");
        return value;
    }

    std::string const& name;
    std::string const& text;
    std::size_t at = 0;
};

/// The words of commands as those of files.
EffectValue AsInFiles(std::string const& name, EffectValue value) {
    if (value.key == IMPLEMENTATION_WORD) value.key = GetEffectKeys()[0].key;
    if (value.key != BEGIN_WORD && value.key != END_WORD) return value;
    auto const time = ParseTime(value.text);
    if (!time) FailInEffect(name, value.key + ": " + Quoted(value.text) + " is not a time");
    value.text = std::to_string(*time);
    return value;
}

// Graphs.

/// The side that follows from the other one, whose share of the shape is `over`, to the nearest even number.
int FollowingSide(int told, double across, double over) {
    double const side = std::round(told * across / over / 2) * 2;
    return static_cast<int>(std::clamp(side, 2.0, static_cast<double>(MAX_PICTURE_SIDE)));
}

Conf::FrameInfo TargetOf(MediaFile const& file, StreamInfo const& info, ResizeRequest const& request) {
    Conf::FrameInfo target{request.width.value_or(0), request.height.value_or(0), 1, 1};
    if (request.width && request.height) return target;
    auto const* const format = dynamic_cast<Conf::IFormatCodecVideo const*>(info.format.get());
    Conf::FrameInfo const source = format ? format->GetFrameInfo() : Conf::FrameInfo();
    if (source.width < 1 || source.height < 1)
        FailAtPlace("", file.GetPath() + ": " + StreamName(info) + " has no known shape: both sides are needed");
    double const across = double{1} * source.width * std::max(source.pixelAspectNum, 1);
    double const down = double{1} * source.height * std::max(source.pixelAspectDen, 1);
    if (request.width)
        target.height = FollowingSide(*request.width, down, across);
    else
        target.width = FollowingSide(*request.height, across, down);
    return target;
}

void CheckSize(ResizeRequest const& request) {
    if (!request.width && !request.height) FailAtPlace("", "a width or a height is needed");
    for (auto const& side : {request.width, request.height})
        if (side && (*side < 1 || *side > MAX_PICTURE_SIDE))
            FailAtPlace("", "a side must be from 1 to " + std::to_string(MAX_PICTURE_SIDE) + " pixels, not " +
                                std::to_string(*side));
}

PutFilter ChainOf(char const* classId, std::vector<Core::Property> const& effects) {
    if (effects.empty()) return {};
    Core::Property settings(classId);
    for (Core::Property const& effect : effects) settings.Add(effect);
    return [classId, settings](FormMaker& maker, StreamInfo const&, NodeId source) {
        return maker.AddFilter(classId, ImplNames::TARSEL, settings, {source});
    };
}

}  // namespace

Core::Property ParseEffect(std::string const& text) {
    std::size_t const colon = text.find(':');
    std::string const name = text.substr(0, colon);
    if (name.empty()) FailAtPlace("", "the name of an effect is missing");
    std::vector<EffectValue> values;
    if (colon != std::string::npos && colon + 1 < text.size()) {
        std::string const rest = text.substr(colon + 1);
        for (EffectValue& value : ValueReader(name, rest).Read()) values.push_back(AsInFiles(name, std::move(value)));
    }
    return MakeEffectProperty(name, values);
}

ShortFormGraph MakeResizeGraph(std::string const& input, ResizeRequest const& request,
                               ShortFormOptions const& options) {
    CheckSize(request);
    StreamChanges changes;
    changes.video = [&](FormMaker& maker, StreamInfo const& info, NodeId source) {
        SettingsResizer settings;
        if (!request.implName.empty()) settings.SetImplName(request.implName);
        settings.SetCustomMode(request.mode, TargetOf(*maker.Open(input), info, request));
        settings.SetAlgorithm(request.algorithm);
        return maker.AddFilter(SettingsResizer::CLASS_ID, ImplNames::TARSEL, Settings2Property(settings), {source});
    };
    return MakeChangedGraph(input, changes, options);
}

ShortFormGraph MakeDeinterlaceGraph(std::string const& input, SettingsDeinterlace const& settings,
                                    ShortFormOptions const& options) {
    StreamChanges changes;
    changes.video = [&](FormMaker& maker, StreamInfo const&, NodeId source) {
        return maker.AddFilter(SettingsDeinterlace::CLASS_ID, ImplNames::TARSEL, Settings2Property(settings), {source});
    };
    return MakeChangedGraph(input, changes, options);
}

ShortFormGraph MakeEffectsGraph(std::string const& input, std::vector<Core::Property> const& effects,
                                ShortFormOptions const& options) {
    if (effects.empty()) FailAtPlace("", "there is no effect to run");
    std::vector<Core::Property> ofKind[2];
    for (Core::Property const& effect : effects) {
        EffectEntry const* const entry = FindEffect(effect.Name());
        if (!entry) FailAtPlace("", "there is no effect " + Quoted(effect.Name()));
        if (entry->takesMany) FailInEffect(entry->name, "it needs several streams: it can't stand in the chain of one");
        ofKind[entry->kind == GraphKind::Audio ? 1 : 0].push_back(effect);
    }
    return MakeChangedGraph(input,
                            {ChainOf(IFilterApplyEffectsVideo::CLASS_ID, ofKind[0]),
                             ChainOf(IFilterApplyEffectsAudio::CLASS_ID, ofKind[1])},
                            options);
}

}  // namespace Tarsel::Host
