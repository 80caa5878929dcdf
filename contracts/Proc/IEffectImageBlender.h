#pragma once

#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/SettingsEffectImageBlender.h"

namespace Tarsel::Proc {

/// An effect that draws one picture on another. Its settings are a `SettingsEffectImageBlender`.
class TARSEL_CONTRACTS_EXPORT IEffectImageBlender : public virtual IEffect {
  public:
    static constexpr char const* CLASS_ID = SettingsEffectImageBlender::CLASS_ID;

    ~IEffectImageBlender() override;
    /// Draws `picture` on `dest`, which becomes a frame of its own when others hold it. Parts outside of `dest` are not
    /// drawn; the alpha of `dest`, where it has one, becomes that of the two together. Both live where the effect
    /// works; throws `EffectException` otherwise, and for pixel formats that it doesn't take. A null `picture` changes
    /// nothing; a null `dest` stays null.
    virtual void Process(iptr<IDataVideo>& dest, iptr<IDataVideo> const& picture) = 0;
    /// A picture in processor memory in the form in which `Process` draws it on frames like `dest`: its alpha stays,
    /// its colours become theirs. The same object where it has that form; null stays null. Throws `EffectException`
    /// where nothing can be drawn on such frames.
    virtual iptr<IDataVideo> Prepare(IDataVideo const& dest, iptr<IDataVideo> const& picture) = 0;
    /// Draws the last of the inputs on the one in front of it; a lone one passes.
    iptr<IData> ProcessData(std::vector<iptr<IData>> const& inputs) override;
};

}  // namespace Tarsel::Proc
