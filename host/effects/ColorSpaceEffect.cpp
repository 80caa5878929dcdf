#include "host/effects/ColorSpaceEffect.h"

#include <algorithm>

#include "contracts/Core/Exception.h"

namespace Tarsel::Host {

using namespace Proc;

ColorSpaceEffect::~ColorSpaceEffect() = default;

void ColorSpaceEffect::Check(SettingsColorSpaceConverter const& settings) const {
    if (settings.GetFormats().empty()) return;
    PixFmt const first = settings.GetFormats().front();
    if (!CanScaleTo(static_cast<AVPixelFormat>(static_cast<int>(first))))
        TARSEL_THROW(EffectException, "Pictures can't be converted to pixel format " + FormatName(first));
}

bool ColorSpaceEffect::Accepts(PixFmt format) const {
    auto const& formats = GetOwnSettings().GetFormats();
    if (!formats.empty() && !GetOwnSettings().GetPassAccepted()) return formats.front() == format;
    return formats.empty() || std::find(formats.begin(), formats.end(), format) != formats.end();
}

void ColorSpaceEffect::AdaptFormatCodec(iptr<Conf::IFormatCodec>& format) {
    auto* const video = dynamic_cast<Conf::IFormatCodecVideo*>(format.get());
    if (!video || video->GetPixelFormat() == PIX_FMT_NONE || Accepts(video->GetPixelFormat())) return;
    video->SetPixelFormat(GetOwnSettings().GetFormats().front());
}

void ColorSpaceEffect::Process(iptr<IDataVideo>& item) {
    if (!item) return;
    RequireProcessorMemory(*item, SettingsColorSpaceConverter::CLASS_ID);
    if (!Accepts(item->GetPixelFormat())) {
        PixFmt const first = GetOwnSettings().GetFormats().front();
        item = Conformed(item, {.width = item->GetWidth(),
                                .height = item->GetHeight(),
                                .format = static_cast<AVPixelFormat>(static_cast<int>(first))});
    }
    CountItem();
}

}  // namespace Tarsel::Host
