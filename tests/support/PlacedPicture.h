#pragma once

#include <memory>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/CutWindow.h"
#include "contracts/Proc/IData.h"

namespace Tarsel::Test {

/// How often pictures that come of one another were copied.
struct PictureCounts {
    int clones = 0;
    int copies = 0;
};

/// A picture without contents that lives where the test says. Its clones count together.
class PlacedPicture final : public Proc::IDataVideo, public RefCounted {
  public:
    static iptr<PlacedPicture> Create(int frameAlloc, int64 time, int64 duration = 40, PixFmt format = PIX_FMT_RGBA,
                                      int interlace = 0, Conf::FrameInfo const& info = {16, 16, 1, 1}) {
        iptr<PlacedPicture> picture(new PlacedPicture(frameAlloc, format, interlace, info));
        picture->window.time = time;
        picture->window.duration = duration;
        return picture;
    }
    std::shared_ptr<PictureCounts> const counts = std::make_shared<PictureCounts>();

    int64 GetDuration() const override { return window.duration; }
    void SetDuration(int64 value) override { window.duration = value; }
    int64 GetTime() const override { return window.time; }
    void SetTime(int64 value) override { window.time = value; }
    void CutBegin(int64 duration) override { window.CutBegin(duration); }
    void Cut(int64 begin, int64 end) override { window.Cut(begin, end); }
    void CutEnd(int64 duration) override { window.CutEnd(duration); }
    int GetFrameAlloc() const override { return frameAlloc; }
    Conf::FrameInfo const& GetFrameInfo() const override { return info; }
    int GetWidth() const override { return info.width; }
    int GetHeight() const override { return info.height; }
    PixFmt GetPixelFormat() const override { return format; }
    int GetInterlace() const override { return interlace; }
    Proc::Details::PlaneTemplate<0> GetPlane(unsigned) override { TARSEL_THROW(Proc::ProcException, "no plane"); }
    Proc::Details::PlaneTemplate<1> GetPlaneConst(unsigned) const override {
        TARSEL_THROW(Proc::ProcException, "no plane");
    }
    iptr<Proc::IDataVideo> MakeWritable() override { return Clone(true); }
    iptr<Proc::IDataVideo> Clone(bool copyPayload) const override {
        ++(copyPayload ? counts->copies : counts->clones);
        return iptr<Proc::IDataVideo>(new PlacedPicture(*this));
    }
    Proc::CropInfo GetCrop() const override { return Proc::CropInfo::WholeOf(info.width, info.height); }

  private:
    PlacedPicture(int frameAlloc, PixFmt format, int interlace, Conf::FrameInfo const& info)
        : frameAlloc(frameAlloc), format(format), interlace(interlace), info(info) {}
    PlacedPicture(PlacedPicture const&) = default;

    int const frameAlloc;
    PixFmt const format;
    int const interlace;
    Conf::FrameInfo const info;
    Proc::Details::CutWindow window;
};

}  // namespace Tarsel::Test
