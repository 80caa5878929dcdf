#include "host/effects/ImageBlender.h"

#include "contracts/Core/Exception.h"
#include "host/effects/PictureDrawing.h"

namespace Tarsel::Host {

using namespace Proc;

ImageBlender::~ImageBlender() = default;

void ImageBlender::Process(iptr<IDataVideo>& dest, iptr<IDataVideo> const& picture) {
    if (!dest) return;
    RequireProcessorMemory(*dest, SettingsEffectImageBlender::CLASS_ID);
    // Of its own: `picture` may be `dest` itself, which changes.
    iptr<IDataVideo> const held = picture;
    if (held) {
        RequireProcessorMemory(*held, SettingsEffectImageBlender::CLASS_ID);
        if (!CanDraw(dest->GetPixelFormat(), held->GetPixelFormat()))
            TARSEL_THROW(EffectException, "The blender can't draw pixel format " + FormatName(held->GetPixelFormat()) +
                                              " on " + FormatName(dest->GetPixelFormat()));
        if (IsSeen(*dest, *held, GetOwnSettings())) {
            dest = dest->MakeWritable();
            DrawPicture(*dest, *held, GetOwnSettings());
        }
    }
    CountItem();
}

iptr<IDataVideo> ImageBlender::Prepare(IDataVideo const& dest, iptr<IDataVideo> const& picture) {
    RequireProcessorMemory(dest, SettingsEffectImageBlender::CLASS_ID);
    if (picture) RequireProcessorMemory(*picture, SettingsEffectImageBlender::CLASS_ID);
    return DrawablePicture(picture).For(dest);
}

}  // namespace Tarsel::Host
