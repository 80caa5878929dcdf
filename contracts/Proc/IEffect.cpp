#include "contracts/Proc/IEffect.h"

#include <stdexcept>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IResample.h"

namespace Tarsel::Proc {

namespace {

/// The topmost input as an item of the effect's kind; null, which drains the effect, where it is null.
template <class Item, class Effect>
iptr<IData> ProcessTopmost(Effect& effect, std::vector<iptr<IData>> const& inputs) {
    if (inputs.empty()) TARSEL_THROW(std::invalid_argument, "An effect needs at least one input");
    iptr<Item> item(dynamic_cast<Item*>(inputs.back().get()));
    if (inputs.back() && !item) TARSEL_THROW(EffectException, "The effect can't process an item of this kind");
    effect.Process(item);
    return item;
}

}  // namespace

IEffect::~IEffect() = default;
IOneInputEffectVideo::~IOneInputEffectVideo() = default;
IOneInputEffectAudio::~IOneInputEffectAudio() = default;

iptr<IData> IOneInputEffectVideo::ProcessData(std::vector<iptr<IData>> const& inputs) {
    return ProcessTopmost<IDataVideo>(*this, inputs);
}

iptr<IData> IOneInputEffectAudio::ProcessData(std::vector<iptr<IData>> const& inputs) {
    return ProcessTopmost<IDataAudio>(*this, inputs);
}

iptr<IData> IResample::ProcessData(std::vector<iptr<IData>> const& inputs) {
    return ProcessTopmost<IDataAudio>(*this, inputs);
}

}  // namespace Tarsel::Proc
