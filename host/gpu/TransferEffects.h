#pragma once

#include "contracts/Proc/SettingsFrameDownloader.h"
#include "contracts/Proc/SettingsFrameUploader.h"
#include "host/gpu/OglEffect.h"

namespace Tarsel::Host {

/// Brings pictures of processor memory to the GPU. RGBA is taken over bit by bit; other pixel formats are converted in
/// processor memory first, by the matrix and range that the frame names, and the frame forgets these. Frames that are
/// on the GPU pass. The device lives as long as the effect from the first frame on.
class TARSEL_HOST_EXPORT UploadEffect final
    : public OglEffect<Proc::IOneInputEffectVideo, Proc::SettingsFrameUploader, Proc::Property2SettingsFrameUploader> {
  public:
    UploadEffect();
    ~UploadEffect() override;

    int GetProcessingFrameType() override { return Proc::IDataVideo::FRAME_ALLOC_ANY; }
    /// From the first frame on the node's children "Renderer", "Uploads", "Downloads" and "Copies" tell of the device,
    /// which counts for all users together.
    Core::Property GetStatistic() override;
    /// Throws `EffectException` when there is no GPU and when the picture is larger than it takes, and
    /// when it can't be converted.
    void Process(iptr<Proc::IDataVideo>& item) override;

  private:
    iptr<Proc::IDataVideo> Upload(iptr<Proc::IDataVideo> const& picture);

    std::shared_ptr<GpuDevice> device;  // null until the first frame
};

/// Brings pictures of the GPU to processor memory, as RGBA without padding, bit by bit. Frames that are there pass. The
/// GPU's work on the picture is waited for.
class TARSEL_HOST_EXPORT DownloadEffect final
    : public OglEffect<Proc::IOneInputEffectVideo, Proc::SettingsFrameDownloader,
                       Proc::Property2SettingsFrameDownloader> {
  public:
    DownloadEffect();
    ~DownloadEffect() override;

    int GetProcessingFrameType() override { return Proc::IDataVideo::FRAME_ALLOC_ANY; }
    /// Throws `EffectException` for a frame that is on another kind of GPU.
    void Process(iptr<Proc::IDataVideo>& item) override;
};

}  // namespace Tarsel::Host
