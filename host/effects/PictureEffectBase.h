#pragma once

#include <string>

#include "contracts/Core/Exception.h"
#include "host/effects/EffectBase.h"
#include "host/effects/PictureParts.h"

namespace Tarsel::Host {

/// The base of the effects on pictures in processor memory. `FromProperty` is the conversion of the settings.
template <class Interface, class S, S (*FromProperty)(Core::Property const&)>
class PictureEffectBase : public EffectBase<Interface, S, FromProperty> {
  public:
    int GetProcessingFrameType() override { return Proc::IDataVideo::FRAME_ALLOC_CPU; }
    /// Formats that loops can't work on become the nearest that they can. Size and all else stay.
    void AdaptFormatCodec(iptr<Conf::IFormatCodec>& format) override {
        auto* const video = dynamic_cast<Conf::IFormatCodecVideo*>(format.get());
        if (!video) return;
        PixFmt const wanted = FormatFor(video->GetPixelFormat());
        if (wanted != PIX_FMT_NONE) video->SetPixelFormat(wanted);
    }

  protected:
    using EffectBase<Interface, S, FromProperty>::EffectBase;

    /// The format that pictures in this one are brought to; `PIX_FMT_NONE` where nothing converts them.
    virtual PixFmt FormatFor(PixFmt format) const { return WorkingFormat(format); }

    /// The picture in a format that loops can work on: the same object where its own is one. Throws `EffectException`
    /// for frames in GPU memory and for formats that nothing converts.
    iptr<Proc::IDataVideo> Accepted(iptr<Proc::IDataVideo> const& picture) const {
        RequireProcessorMemory(*picture, S::CLASS_ID);
        PixFmt const wanted = FormatFor(picture->GetPixelFormat());
        if (wanted == PIX_FMT_NONE)
            TARSEL_THROW(Proc::EffectException, std::string(S::CLASS_ID) + " can't process pixel format " +
                                                    FormatName(picture->GetPixelFormat()));
        PictureTarget target{.width = picture->GetWidth(), .height = picture->GetHeight(), .format = AV_PIX_FMT_NONE};
        target.format = static_cast<AVPixelFormat>(static_cast<int>(wanted));
        return Conformed(picture, target);
    }
};

}  // namespace Tarsel::Host
