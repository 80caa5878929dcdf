#include "host/gpu/DataVideoOGL.h"

#include <utility>

#include "contracts/Core/Exception.h"

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
    return iptr<DataVideoOGL>(new DataVideoOGL(std::move(texture), shape));
}

iptr<DataVideoOGL> DataVideoOGL::CreateLike(std::shared_ptr<GpuDevice> const& device, IDataVideo const& frame,
                                            Conf::FrameInfo const& info) {
    iptr<DataVideoOGL> result = Create(device, {info, frame.GetInterlace(), frame.GetCrop()});
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

iptr<IDataVideo> DataVideoOGL::Clone(bool copyPayload) const {
    GpuTexturePtr picture = texture;
    if (copyPayload) {
        picture = GetDevice().MakeTexture(GpuFormat::RGBA8, GetWidth(), GetHeight());
        GetDevice().Copy(*texture, *picture);
    }
    iptr<DataVideoOGL> copy(new DataVideoOGL(std::move(picture), shape));
    copy->window = window;
    return copy;
}

}  // namespace Tarsel::Host
