#include "host/effects/IntervalEffect.h"

#include <utility>

#include "contracts/Proc/TimeToProgress.h"
#include "host/effects/PictureParts.h"

namespace Tarsel::Host {

using namespace Proc;

IntervalEffect::IntervalEffect(iptr<IOneInputEffectVideo> effect) : effect(std::move(effect)) {}
IntervalEffect::~IntervalEffect() = default;

void IntervalEffect::Process(iptr<IDataVideo>& item) {
    TimeToProgress const& map = effect->GetTimeToProgress();
    // What drains the effect, and pictures of no known time, are the effect's.
    bool const within =
        !item || !HasValue(item->GetTime()) || (item->GetTime() >= map.begin && item->GetTime() < map.end);
    if (within) return effect->Process(item);
    auto const described = Conf::IFormatCodecVideo::Create();
    described->SetPixelFormat(item->GetPixelFormat());
    iptr<Conf::IFormatCodec> adapted = described;
    effect->AdaptFormatCodec(adapted);
    PixFmt const wanted = described->GetPixelFormat();
    if (wanted == PIX_FMT_NONE || wanted == item->GetPixelFormat()) return;
    PictureTarget target{.width = item->GetWidth(), .height = item->GetHeight(), .format = AV_PIX_FMT_NONE};
    target.format = static_cast<AVPixelFormat>(static_cast<int>(wanted));
    item = Conformed(item, target);
}

}  // namespace Tarsel::Host
