#include "contracts/Proc/BlendHelper.h"

#include <stdexcept>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataVideoFF.h"
#include "contracts/Proc/ImplNames.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace Tarsel::Proc {

namespace {

/// The smallest picture that every subsampling divides.
constexpr Conf::FrameInfo SAMPLE_SIZE{16, 16, 1, 1};

}  // namespace

iptr<IEffectImageBlender> MakeBlender(IEffectFactory const& factory, int frameAlloc) {
    if (frameAlloc == IDataVideo::FRAME_ALLOC_GPU)
        return factory.CreateBlender(SettingsEffectImageBlender::CLASS_ID, ImplNames::OGL);
    if (frameAlloc == IDataVideo::FRAME_ALLOC_CPU)
        return factory.CreateBlender(SettingsEffectImageBlender::CLASS_ID, ImplNames::TARSEL);
    TARSEL_THROW(FilterEffectException, "Cannot find effect implementation for frame alloc type");
}

BlendHelper::BlendHelper(iptr<IEffectFactory const> effectFactory) : effectFactory(std::move(effectFactory)) {
    if (!this->effectFactory) TARSEL_THROW(std::invalid_argument, "effectFactory is NULL");
}

iptr<IDataVideo> BlendHelper::Prepare(PixFmt format, iptr<IDataVideo> const& picture) {
    if (!picture) return nullptr;
    return Prepare(*DataVideoFF::Create(format, SAMPLE_SIZE, nullptr), picture);
}

BlendHelper::Target BlendHelper::TargetOf(IDataVideo const& dest) {
    Target target{.frameAlloc = dest.GetFrameAlloc(), .format = dest.GetPixelFormat()};
    if (auto const* const frame = dynamic_cast<DataVideoFF const*>(&dest)) {
        target.matrix = frame->GetAVFrame()->colorspace;
        target.range = frame->GetAVFrame()->color_range;
    }
    return target;
}

iptr<IDataVideo> BlendHelper::Prepare(IDataVideo const& dest, iptr<IDataVideo> const& picture) {
    if (!picture) return nullptr;
    Target const wanted = TargetOf(dest);
    if (converted && source == picture && target == wanted) return converted;
    converted = nullptr;
    if (!blender || target.frameAlloc != wanted.frameAlloc) blender = MakeBlender(*effectFactory, wanted.frameAlloc);
    target = wanted;
    converted = blender->Prepare(dest, picture);
    source = picture;
    return converted;
}

}  // namespace Tarsel::Proc
