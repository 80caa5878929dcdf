#include <string>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IEffectImageBlender.h"
#include "contracts/Proc/IFilterApplyEffects.h"
#include "contracts/Proc/IFilterResize.h"
#include "contracts/Proc/IResize.h"
#include "contracts/Proc/ISmartMap.h"
#include "contracts/Proc/RenamedProperty.h"

namespace Tarsel::Proc {

namespace {

void RequireFilterProperty(char const* classId, Core::Property const& property) {
    if (property.Name() != classId)
        TARSEL_THROW(FilterException, "Filter was initialized with incorrect class (" + property.Name() + ")!");
}

Core::Property JoinEffects(char const* classId, std::vector<Core::Property> const& effects) {
    Core::Property property(classId);
    for (Core::Property const& effect : effects) property.Add(effect);
    return property;
}

std::vector<Core::Property> TakeEffects(char const* classId, Core::Property const& property) {
    RequireFilterProperty(classId, property);
    std::vector<Core::Property> effects;
    for (Core::Property const& child : property.Children())
        if (!child.IsKeyed()) effects.push_back(child);
    return effects;
}

}  // namespace

IResize::~IResize() = default;
IEffectImageBlender::~IEffectImageBlender() = default;
IFilterApplyEffectsVideo::~IFilterApplyEffectsVideo() = default;
IFilterApplyEffectsAudio::~IFilterApplyEffectsAudio() = default;
IFilterResize::~IFilterResize() = default;
ITimeMapped::~ITimeMapped() = default;
IMappedStream::~IMappedStream() = default;
IMappedStreamVideo::~IMappedStreamVideo() = default;
IMappedStreamAudio::~IMappedStreamAudio() = default;
IMappedEffect::~IMappedEffect() = default;
ISmartMapVideo::~ISmartMapVideo() = default;
ISmartMapAudio::~ISmartMapAudio() = default;

iptr<IData> IEffectImageBlender::ProcessData(std::vector<iptr<IData>> const& inputs) {
    if (inputs.empty()) TARSEL_THROW(std::invalid_argument, "An effect needs at least one input");
    auto const picture = [](iptr<IData> const& input) {
        iptr<IDataVideo> frame(dynamic_cast<IDataVideo*>(input.get()));
        if (input && !frame) TARSEL_THROW(EffectException, "The effect can't process an item of this kind");
        return frame;
    };
    iptr<IDataVideo> const top = picture(inputs.back());
    if (inputs.size() == 1) return top;
    iptr<IDataVideo> dest = picture(inputs[inputs.size() - 2]);
    Process(dest, top);
    return dest;
}

Core::Property IFilterApplyEffectsVideo::SettingsEffects2FilterSettings(std::vector<Core::Property> const& effects) {
    return JoinEffects(CLASS_ID, effects);
}

std::vector<Core::Property> IFilterApplyEffectsVideo::FilterSettings2SettingsEffects(Core::Property const& property) {
    return TakeEffects(CLASS_ID, property);
}

Core::Property IFilterApplyEffectsAudio::SettingsEffects2FilterSettings(std::vector<Core::Property> const& effects) {
    return JoinEffects(CLASS_ID, effects);
}

std::vector<Core::Property> IFilterApplyEffectsAudio::FilterSettings2SettingsEffects(Core::Property const& property) {
    return TakeEffects(CLASS_ID, property);
}

Core::Property IFilterResize::Settings2Property(SettingsResizer const& settings) {
    return Renamed(Proc::Settings2Property(settings), CLASS_ID);
}

SettingsResizer IFilterResize::Property2Settings(Core::Property const& property) {
    RequireFilterProperty(CLASS_ID, property);
    return Property2SettingsResizer(Renamed(property, SettingsResizer::CLASS_ID));
}

}  // namespace Tarsel::Proc
