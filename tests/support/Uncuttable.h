#pragma once

#include <string>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataVideoFF.h"
#include "tests/support/Builders.h"

namespace Tarsel::Test {

/// A picture whose cuts throw.
class UncuttableVideo final : public Proc::IDataVideo, public RefCounted {
  public:
    explicit UncuttableVideo(iptr<Proc::IDataVideo> frame) : frame(std::move(frame)) {}

    int64 GetDuration() const override { return frame->GetDuration(); }
    void SetDuration(int64 value) override { frame->SetDuration(value); }
    int64 GetTime() const override { return frame->GetTime(); }
    void SetTime(int64 value) override { frame->SetTime(value); }
    void CutBegin(int64) override { Refuse(); }
    void Cut(int64, int64) override { Refuse(); }
    void CutEnd(int64) override { Refuse(); }
    int GetFrameAlloc() const override { return frame->GetFrameAlloc(); }
    Conf::FrameInfo const& GetFrameInfo() const override { return frame->GetFrameInfo(); }
    int GetWidth() const override { return frame->GetWidth(); }
    int GetHeight() const override { return frame->GetHeight(); }
    PixFmt GetPixelFormat() const override { return frame->GetPixelFormat(); }
    int GetInterlace() const override { return frame->GetInterlace(); }
    Proc::Details::PlaneTemplate<0> GetPlane(unsigned index) override { return frame->GetPlane(index); }
    Proc::Details::PlaneTemplate<1> GetPlaneConst(unsigned index) const override { return frame->GetPlaneConst(index); }
    iptr<IDataVideo> MakeWritable() override { return frame->MakeWritable(); }
    iptr<IDataVideo> Clone(bool copy) const override {
        return iptr<IDataVideo>(new UncuttableVideo(frame->Clone(copy)));
    }
    Proc::CropInfo GetCrop() const override { return frame->GetCrop(); }

  private:
    [[noreturn]] static void Refuse() { TARSEL_THROW(Proc::ProcException, "this one stays whole"); }

    iptr<Proc::IDataVideo> const frame;
};

inline iptr<Proc::IDataVideo> MakeUncuttable(int64 time, int64 duration) {
    return iptr<Proc::IDataVideo>(new UncuttableVideo(MakeVideo(time, duration)));
}

/// The shade of a picture that `MakeVideo` made.
inline int ShadeOf(Proc::IDataVideo const& frame) {
    return *frame.GetPlaneConst(0).GetOffsetPtr(0, 0);
}

}  // namespace Tarsel::Test
