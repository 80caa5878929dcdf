#include "host/effects/FadeEffect.h"

#include <array>
#include <vector>

#include "host/effects/SampleMixing.h"

namespace Tarsel::Host {

using namespace Proc;

FadeEffect::~FadeEffect() = default;

void FadeEffect::Process(iptr<IDataVideo>& item) {
    if (!item) return;
    item = Accepted(item);
    double const progress = GetProgress(*item);
    bool const isIn = GetOwnSettings().GetDirection() == SettingsEffectFade::DIRECTION_IN;
    u32 const weight = MixWeight(isIn ? progress : 1 - progress);
    if (weight != MIX_WHOLE) {
        item = item->MakeWritable();
        PictureLayout const layout = LayoutOf(item->GetPixelFormat(), item->GetWidth(), item->GetHeight());
        std::array<int, 4> const colour = SamplesOf(GetOwnSettings().GetColor(), layout, ColoursOf(*item));
        for (int i = 0; i < layout.GetColourCount(); ++i) {
            auto const index = static_cast<std::size_t>(i);
            auto const shade = static_cast<u32>(colour[index]);
            SampleLine const line{static_cast<double>(weight) / MIX_WHOLE,
                                  static_cast<double>(shade * (MIX_WHOLE - weight) + MIX_WHOLE / 2) / MIX_WHOLE};
            MapSamples(
                *item, layout.components[index], [&](u32 sample) { return Mixed(shade, sample, weight); }, line);
        }
    }
    CountItem();
}

}  // namespace Tarsel::Host
