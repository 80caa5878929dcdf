#include "host/effects/TextEffect.h"

#include <string>
#include <utility>

#include "contracts/Core/Exception.h"
#include "host/effects/TextPicture.h"

namespace Tarsel::Host {

using namespace Proc;

TextEffect::~TextEffect() = default;

void TextEffect::Check(SettingsEffectText const& settings) const {
    if (settings.GetSize() < 1 || settings.GetSize() > 4096)
        TARSEL_THROW(EffectException, "Text can't be " + std::to_string(settings.GetSize()) + " pixels high");
}

void TextEffect::Initialize(Settings const& newSettings) {
    auto const& own = dynamic_cast<SettingsEffectText const&>(newSettings);
    Check(own);
    DrawablePicture set(MakeTextPicture(own.GetText(), own.GetSize(), own.GetColor()));
    PictureEffectBase::Initialize(newSettings);
    letters = std::move(set);
}

void TextEffect::Process(iptr<IDataVideo>& item) {
    if (!item) return;
    SettingsEffectText const& settings = GetOwnSettings();
    item = letters.DrawnOn(Accepted(item), settings.GetX(), settings.GetY(), settings.GetAlpha());
    CountItem();
}

}  // namespace Tarsel::Host
