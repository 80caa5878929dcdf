#pragma once

#include "contracts/Proc/IResize.h"
#include "host/gpu/GpuScaler.h"
#include "host/gpu/OglEffect.h"

namespace Tarsel::Host {

/// Brings pictures in GPU memory to a size.
///
/// Goes in: a frame in GPU memory; of one with a crop the part that is to be shown. Comes out: a frame of its own in
/// the size and with the pixel aspect of the settings, its time, duration and interlacing kept. A picture that is as
/// wanted already passes as the same object, and so does every one in the mode that keeps the size. `GpuScaler`
/// says how it is scaled. One thread.
class TARSEL_HOST_EXPORT OglResize final
    : public OglEffect<Proc::IResize, Proc::SettingsResizer, Proc::Property2SettingsResizer> {
  public:
    OglResize();
    ~OglResize() override;

    void AdaptFormatCodec(iptr<Conf::IFormatCodec>& format) override;
    /// Throws `EffectException` for a frame that isn't in GPU memory, and for a size that the GPU doesn't take.
    void Process(iptr<Proc::IDataVideo>& item) override;

  protected:
    /// Throws `EffectException` for a size that no picture can have.
    void Check(Proc::SettingsResizer const& settings) const override;

  private:
    iptr<Proc::IDataVideo> Resize(DataVideoOGL const& picture);

    GpuScaler scaler;
};

}  // namespace Tarsel::Host
