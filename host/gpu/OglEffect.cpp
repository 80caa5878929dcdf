#include "host/gpu/OglEffect.h"

#include <stdexcept>

namespace Tarsel::Host {

using namespace Proc;

DataVideoOGL& RequireGpuFrame(IDataVideo& frame, std::string const& effect) {
    auto* const own = dynamic_cast<DataVideoOGL*>(&frame);
    if (!own)
        TARSEL_THROW(EffectException,
                     effect + " works in GPU memory, and the frame isn't there: upload it in front of the effect");
    return *own;
}

std::shared_ptr<GpuDevice> DeviceOf(DataVideoOGL const& frame) {
    return frame.GetDevice().shared_from_this();
}

void AdaptToGpu(iptr<Conf::IFormatCodec>& format) {
    if (!format) TARSEL_THROW(std::invalid_argument, "Format codec is NULL");
    if (auto* const video = dynamic_cast<Conf::IFormatCodecVideo*>(format.get())) video->SetPixelFormat(PIX_FMT_RGBA);
}

}  // namespace Tarsel::Host
