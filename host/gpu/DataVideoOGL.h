#pragma once

#include "contracts/Proc/CutWindow.h"
#include "contracts/Proc/IData.h"
#include "host/gpu/GpuDevice.h"

namespace Tarsel::Host {

/// A picture in GPU memory: RGBA of 8 bits a channel, in full range, the alpha straight.
///
/// Clones share the texture; whoever draws on a picture makes it writable first, which copies a shared one on the GPU.
/// A frame has no planes: bring it to processor memory to look at its pixels. May be made, used and dropped on any
/// thread, one at a time.
class TARSEL_HOST_EXPORT DataVideoOGL final : public Proc::IDataVideo, public Proc::IDownloadable, public RefCounted {
  public:
    /// What a picture has beside its pixels and times.
    struct Shape {
        Conf::FrameInfo info;
        int interlace = 0;
        Proc::CropInfo crop;  // none: the whole
    };

    /// A frame whose pixels are undefined. Throws `EffectException` for a size that the GPU doesn't take and when there
    /// is no memory.
    static iptr<DataVideoOGL> Create(std::shared_ptr<GpuDevice> const& device, Shape const& shape);
    /// The same with time, duration and shape of another frame, and a size of its own.
    static iptr<DataVideoOGL> CreateLike(std::shared_ptr<GpuDevice> const& device, Proc::IDataVideo const& frame,
                                         Conf::FrameInfo const& info);

    ~DataVideoOGL() override;
    DataVideoOGL(DataVideoOGL const&) = delete;
    DataVideoOGL& operator=(DataVideoOGL const&) = delete;

    int64 GetDuration() const override { return window.duration; }
    void SetDuration(int64 value) override { window.duration = value; }
    int64 GetTime() const override { return window.time; }
    void SetTime(int64 value) override { window.time = value; }
    void CutBegin(int64 duration) override { window.CutBegin(duration); }
    void Cut(int64 begin, int64 end) override { window.Cut(begin, end); }
    void CutEnd(int64 duration) override { window.CutEnd(duration); }
    int GetFrameAlloc() const override { return FRAME_ALLOC_GPU; }
    Conf::FrameInfo const& GetFrameInfo() const override { return shape.info; }
    int GetWidth() const override { return shape.info.width; }
    int GetHeight() const override { return shape.info.height; }
    PixFmt GetPixelFormat() const override { return PIX_FMT_RGBA; }
    int GetInterlace() const override { return shape.interlace; }
    /// Both throw `ProcException`.
    Proc::Details::PlaneTemplate<0> GetPlane(unsigned index) override;
    Proc::Details::PlaneTemplate<1> GetPlaneConst(unsigned index) const override;
    iptr<Proc::IDataVideo> MakeWritable() override;
    iptr<Proc::IDataVideo> Clone(bool copyPayload) const override;
    /// A clone that shares the texture and tells another shape of its pixels.
    iptr<Proc::IDataVideo> CloneWithAspect(int pixelAspectNum, int pixelAspectDen) const;
    Proc::CropInfo GetCrop() const override { return shape.crop; }
    /// RGBA without padding, bit by bit. The GPU's work on the picture is waited for.
    iptr<Proc::IDataVideo> Download() const override;

    GpuTexture const& GetTexture() const { return *texture; }
    GpuDevice& GetDevice() const { return texture->GetDevice(); }

  private:
    DataVideoOGL(GpuTexturePtr texture, Shape const& shape);
    iptr<DataVideoOGL> CloneOf(GpuTexturePtr picture) const;

    GpuTexturePtr texture;  // never null; shared by clones
    Shape shape;
    Proc::Details::CutWindow window;
};

}  // namespace Tarsel::Host
