#include "host/text/OverlayStream.h"

#include <limits>
#include <stdexcept>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IStreamVisitor.h"
#include "host/effects/PictureDrawing.h"
#include "host/graph/Factories.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

/// The picture in a format on which others can be drawn: the same object where it has one, and where nothing converts
/// it.
iptr<IDataVideo> OnCanvas(iptr<IDataVideo> const& picture) {
    if (picture->GetFrameAlloc() != IDataVideo::FRAME_ALLOC_CPU) return picture;
    PixFmt const wanted = CanvasFormat(picture->GetPixelFormat());
    if (wanted == PIX_FMT_NONE || wanted == picture->GetPixelFormat()) return picture;
    PictureTarget target{.width = picture->GetWidth(), .height = picture->GetHeight(), .format = AV_PIX_FMT_NONE};
    target.format = static_cast<AVPixelFormat>(static_cast<int>(wanted));
    return Conformed(picture, target);
}

}  // namespace

iptr<IOverlayStream> OverlayStream::Create(iptr<IStreamVideo> const& source) {
    if (!source) TARSEL_THROW(std::invalid_argument, "source is NULL");
    return iptr<IOverlayStream>(new OverlayStream(source));
}

OverlayStream::OverlayStream(iptr<IStreamVideo> const& source)
    : ForwardingStream(source), effects(MakeEffectFactory()), helper(effects) {}

iptr<IDataVideo> OverlayStream::Read() {
    iptr<IDataVideo> picture = stream->Read();
    if (!picture) return nullptr;
    int64 const time = HasValue(picture->GetTime()) ? picture->GetTime() : seekPosition;
    seekPosition = EndOf(*picture, time);
    picture = OnCanvas(picture);
    CropInfo crop;
    iptr<IDataVideo> const overlay =
        provider ? provider->GetOverlay(time, picture->GetFrameInfo(), crop) : iptr<IDataVideo>();
    if (overlay) Draw(picture, overlay, crop);
    ++itemsDelivered;
    return picture;
}

int64 OverlayStream::EndOf(IDataVideo const& picture, int64 time) const {
    if (HasValue(picture.GetDuration())) return AddTime(time, picture.GetDuration());
    auto const format = stream->GetFormatCodec();
    Ratio const rate = format ? format->GetFrameRate() : Ratio(0);
    if (rate <= Ratio(0)) return time;
    return AddTime(time, AvRescale(SECOND, rate.denominator(), rate.numerator()));
}

void OverlayStream::Draw(iptr<IDataVideo>& picture, iptr<IDataVideo> const& overlay, CropInfo const& crop) {
    // Unsigned edges beyond every picture.
    if (crop.left >= static_cast<u32>(picture->GetWidth()) || crop.top >= static_cast<u32>(picture->GetHeight()) ||
        settings.GetAlpha() <= 0)
        return;
    if (!blender || place != picture->GetFrameAlloc()) blender = MakeBlender(*effects, picture->GetFrameAlloc());
    place = picture->GetFrameAlloc();
    auto const drawable = helper.Prepare(*picture, overlay);
    blender->Initialize(SettingsEffectImageBlender(static_cast<int>(crop.left), static_cast<int>(crop.top),
                                                   settings.GetAlpha(), provider->GetAlphaMode()));
    blender->Process(picture, drawable);
    ++itemsDrawn;
}

void OverlayStream::RequestSeek(int64 position, iptr<IRefCountable> seekContext) {
    int64 const duration = stream->GetDuration();
    if (HasValue(position)) seekPosition = HasValue(duration) && position > duration ? duration : position;
    stream->RequestSeek(position, std::move(seekContext));
}

iptr<Conf::IFormatCodecVideo const> OverlayStream::GetFormatCodec() const {
    auto const format = stream->GetFormatCodec();
    if (!format) return format;
    PixFmt const wanted = CanvasFormat(format->GetPixelFormat());
    if (wanted == PIX_FMT_NONE || wanted == format->GetPixelFormat()) return format;
    auto changed = format->Clone();
    changed->SetPixelFormat(wanted);
    return changed;
}

Core::Property OverlayStream::GetStatistic() {
    Core::Property tree = stream->GetStatistic();
    Core::Property own = Core::MakeStatistics("Tarsel::Host::OverlayStream::GetStatistic", 0, itemsDelivered);
    own.SetChild("Drawn", static_cast<int64>(itemsDrawn.load()));
    tree.Add(std::move(own));
    return tree;
}

void OverlayStream::Accept(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, "OverlayStream", Visitors::FRAME_TYPE_FILTER, nullptr);
    stream->Accept(visitor);
}

}  // namespace Tarsel::Host
