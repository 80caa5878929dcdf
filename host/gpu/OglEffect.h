#pragma once

#include <memory>
#include <string>

#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Core/Exception.h"
#include "host/effects/EffectBase.h"
#include "host/gpu/DataVideoOGL.h"

namespace Tarsel::Host {

/// The frame as one of GPU memory. Throws `EffectException`, which names the effect, for a frame that isn't.
TARSEL_HOST_EXPORT DataVideoOGL& RequireGpuFrame(Proc::IDataVideo& frame, std::string const& effect);

/// The device that a frame is on.
TARSEL_HOST_EXPORT std::shared_ptr<GpuDevice> DeviceOf(DataVideoOGL const& frame);

/// Sets the pixel format of frames in GPU memory. Throws `std::invalid_argument` for null; formats that aren't of video
/// stay as they are.
TARSEL_HOST_EXPORT void AdaptToGpu(iptr<Conf::IFormatCodec>& format);

/// What the effects on pictures in GPU memory have in common. They draw what comes out into a frame of its own, so that
/// clones of what came in keep their picture without a copy.
template <class Interface, class S, S (*FromProperty)(Core::Property const&)>
class OglEffect : public EffectBase<Interface, S, FromProperty> {
  public:
    int GetProcessingFrameType() override { return Proc::IDataVideo::FRAME_ALLOC_GPU; }
    void AdaptFormatCodec(iptr<Conf::IFormatCodec>& format) override { AdaptToGpu(format); }

  protected:
    using EffectBase<Interface, S, FromProperty>::EffectBase;

    static DataVideoOGL& Require(Proc::IDataVideo& frame) { return RequireGpuFrame(frame, S::CLASS_ID); }
};

}  // namespace Tarsel::Host
