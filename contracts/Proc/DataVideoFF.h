#pragma once

#include "contracts/Proc/CutWindow.h"
#include "contracts/Proc/IData.h"

struct AVBufferRef;

namespace Tarsel::Proc {

/// A picture in processor memory over an FFmpeg frame.
class TARSEL_CONTRACTS_EXPORT DataVideoFF : public IDataVideo, public RefCounted {
  public:
    /// A frame over `buffer`, whose planes stand back to back without padding; the buffer is taken over. A null buffer
    /// makes a new one. Time and duration have no value. Throws `ProcException` for sizes that are not above 0, a
    /// hardware or unknown format, and a buffer that is too small.
    static iptr<IDataVideo> Create(PixFmt format, Conf::FrameInfo const& info, AVBufferRef* buffer);
    /// Wraps a decoder's frame and takes it over. A pixel aspect with a 0 becomes 1/1.
    static iptr<IDataVideo> Wrap(AVFrame* frame, int64 time, int64 duration);

    ~DataVideoFF() override;
    DataVideoFF(DataVideoFF const&) = delete;
    DataVideoFF& operator=(DataVideoFF const&) = delete;

    int64 GetDuration() const override { return window.duration; }
    void SetDuration(int64 value) override { window.duration = value; }
    int64 GetTime() const override { return window.time; }
    void SetTime(int64 value) override { window.time = value; }
    void CutBegin(int64 duration) override { window.CutBegin(duration); }
    void Cut(int64 begin, int64 end) override { window.Cut(begin, end); }
    void CutEnd(int64 duration) override { window.CutEnd(duration); }
    int GetFrameAlloc() const override { return FRAME_ALLOC_CPU; }
    Conf::FrameInfo const& GetFrameInfo() const override { return info; }
    int GetWidth() const override { return info.width; }
    int GetHeight() const override { return info.height; }
    PixFmt GetPixelFormat() const override;
    int GetInterlace() const override;
    Details::PlaneTemplate<0> GetPlane(unsigned index) override;
    Details::PlaneTemplate<1> GetPlaneConst(unsigned index) const override;
    iptr<IDataVideo> MakeWritable() override;
    iptr<IDataVideo> Clone(bool copyPayload) const override;
    CropInfo GetCrop() const override;

    /// The FFmpeg frame, borrowed. Its own times are not kept up to date.
    AVFrame const* GetAVFrame() const { return frame; }

  private:
    explicit DataVideoFF(AVFrame* frame);

    AVFrame* frame;  // owned, never null
    Conf::FrameInfo info;
    Details::CutWindow window;
};

}  // namespace Tarsel::Proc
