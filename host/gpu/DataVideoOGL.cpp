#include "host/gpu/DataVideoOGL.h"

#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataVideoFF.h"
#include "host/effects/PictureParts.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

[[noreturn]] void RefusePlane(unsigned index) {
    TARSEL_THROW(ProcException, "Frame has no plane " + std::to_string(index) +
                                    ", it is in GPU memory: download it to reach its pixels");
}

}  // namespace

DataVideoOGL::DataVideoOGL(GpuTexturePtr texture, Shape const& shape) : texture(std::move(texture)), shape(shape) {}

DataVideoOGL::~DataVideoOGL() = default;

iptr<DataVideoOGL> DataVideoOGL::Create(std::shared_ptr<GpuDevice> const& device, Shape const& shape) {
    GpuTexturePtr texture = device->MakeTexture(GpuFormat::RGBA8, shape.info.width, shape.info.height);
    Shape whole = shape;
    if (whole.crop == Proc::CropInfo()) whole.crop = Proc::CropInfo::WholeOf(shape.info.width, shape.info.height);
    return iptr<DataVideoOGL>(new DataVideoOGL(std::move(texture), whole));
}

iptr<DataVideoOGL> DataVideoOGL::CreateLike(std::shared_ptr<GpuDevice> const& device, IDataVideo const& frame,
                                            Conf::FrameInfo const& info) {
    bool const isAsLarge = frame.GetWidth() == info.width && frame.GetHeight() == info.height;
    iptr<DataVideoOGL> result =
        Create(device, {info, frame.GetInterlace(), isAsLarge ? frame.GetCrop() : Proc::CropInfo()});
    result->SetTime(frame.GetTime());
    result->SetDuration(frame.GetDuration());
    return result;
}

Proc::Details::PlaneTemplate<0> DataVideoOGL::GetPlane(unsigned index) {
    RefusePlane(index);
}

Proc::Details::PlaneTemplate<1> DataVideoOGL::GetPlaneConst(unsigned index) const {
    RefusePlane(index);
}

iptr<IDataVideo> DataVideoOGL::MakeWritable() {
    if (GetRefCountImpl() <= 1 && texture.use_count() <= 1) return iptr<IDataVideo>(this);
    return Clone(true);
}

iptr<DataVideoOGL> DataVideoOGL::CloneOf(GpuTexturePtr picture) const {
    iptr<DataVideoOGL> clone(new DataVideoOGL(std::move(picture), shape));
    clone->window = window;
    return clone;
}

iptr<IDataVideo> DataVideoOGL::Clone(bool copyPayload) const {
    GpuTexturePtr picture = texture;
    if (copyPayload) {
        picture = GetDevice().MakeTexture(GpuFormat::RGBA8, GetWidth(), GetHeight());
        GetDevice().Copy(*texture, *picture);
    }
    return CloneOf(std::move(picture));
}

iptr<IDataVideo> DataVideoOGL::CloneWithAspect(int pixelAspectNum, int pixelAspectDen) const {
    iptr<DataVideoOGL> const clone = CloneOf(texture);
    clone->shape.info.pixelAspectNum = pixelAspectNum;
    clone->shape.info.pixelAspectDen = pixelAspectDen;
    return clone;
}

iptr<IDataVideo> DataVideoOGL::Download() const {
    FramePtr frame(av_frame_alloc());
    if (!frame) TARSEL_THROW(EffectException, "Can't allocate a frame");
    iptr<IDataVideo> const memory = DataVideoFF::Create(PIX_FMT_RGBA, shape.info, nullptr);
    auto const plane = memory->GetPlane(0);
    GetDevice().Download(*texture, plane.GetData(), plane.GetStride());
    // What `Create` doesn't take stands in the codec library's frame.
    if (av_frame_ref(frame.get(), static_cast<DataVideoFF&>(*memory).GetAVFrame()) < 0)
        TARSEL_THROW(EffectException, "Can't reference a frame");
    frame->crop_left = shape.crop.left;
    frame->crop_top = shape.crop.top;
    frame->crop_right = static_cast<std::size_t>(GetWidth()) - shape.crop.right;
    frame->crop_bottom = static_cast<std::size_t>(GetHeight()) - shape.crop.bottom;
    frame->interlaced_frame = shape.interlace;
    return DataVideoFF::Wrap(frame.release(), window.time, window.duration);
}

}  // namespace Tarsel::Host
