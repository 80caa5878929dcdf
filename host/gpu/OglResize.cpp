#include "host/gpu/OglResize.h"

#include "host/effects/PictureFit.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

GpuArea AreaOf(PictureArea const& area) {
    return {area.x, area.y, area.width, area.height};
}

}  // namespace

OglResize::OglResize() : OglEffect("Tarsel::Host::OglResize::GetStatistic") {}
OglResize::~OglResize() = default;

void OglResize::Check(SettingsResizer const& settings) const {
    Conf::FrameInfo const& info = settings.GetFrameInfo();
    if (settings.GetMode() != SettingsResizer::MODE_KEEP && (info.width < 1 || info.height < 1))
        TARSEL_THROW(EffectException,
                     "Pictures can't be resized to " + std::to_string(info.width) + "x" + std::to_string(info.height));
}

void OglResize::AdaptFormatCodec(iptr<Conf::IFormatCodec>& format) {
    AdaptToGpu(format);
    auto* const video = dynamic_cast<Conf::IFormatCodecVideo*>(format.get());
    if (video && GetOwnSettings().GetMode() != SettingsResizer::MODE_KEEP)
        video->SetFrameInfo(TargetOf(GetOwnSettings()));
}

void OglResize::Process(iptr<IDataVideo>& item) {
    if (!item) return;
    DataVideoOGL const& picture = Require(*item);
    bool const fits = picture.GetFrameInfo() == TargetOf(GetOwnSettings()) &&
                      picture.GetCrop() == CropInfo::WholeOf(picture.GetWidth(), picture.GetHeight());
    if (GetOwnSettings().GetMode() != SettingsResizer::MODE_KEEP && !fits) item = Resize(picture);
    CountItem();
}

iptr<IDataVideo> OglResize::Resize(DataVideoOGL const& picture) {
    std::shared_ptr<GpuDevice> const device = DeviceOf(picture);
    Conf::FrameInfo const target = TargetOf(GetOwnSettings());
    bool const isInterlaced = picture.GetInterlace() != 0;
    PictureFit const fit =
        FitPicture(picture.GetFrameInfo(), picture.GetCrop(), GetOwnSettings(), 1, isInterlaced ? 2 : 1);
    iptr<DataVideoOGL> result = DataVideoOGL::Create(device, {target, picture.GetInterlace(), {}});
    result->SetTime(picture.GetTime());
    result->SetDuration(picture.GetDuration());
    GpuArea const to = AreaOf(fit.to);
    if (to != GpuArea{0, 0, target.width, target.height}) device->Clear(result->GetTexture(), 0, 0, 0, 255);
    scaler.Scale(picture, AreaOf(fit.from), result->GetTexture(), to, GetOwnSettings().GetAlgorithm());
    return result;
}

}  // namespace Tarsel::Host
