#pragma once

#include <memory>

#include "contracts/Proc/CutWindow.h"
#include "contracts/Proc/IData.h"

namespace Tarsel::Proc {

/// A subtitle event over an FFmpeg subtitle.
class TARSEL_CONTRACTS_EXPORT DataSubtitleFF : public IDataSubtitle, public RefCounted {
  public:
    /// Takes over the contents of `subtitle`, which is left empty. Times in microseconds or no value.
    static iptr<IDataSubtitle> Create(AVSubtitle* subtitle, int64 time, int64 duration);

    int64 GetDuration() const override { return window.duration; }
    void SetDuration(int64 value) override { window.duration = value; }
    int64 GetTime() const override { return window.time; }
    void SetTime(int64 value) override { window.time = value; }
    void CutBegin(int64 duration) override { window.CutBegin(duration); }
    void Cut(int64 begin, int64 end) override { window.Cut(begin, end); }
    void CutEnd(int64 duration) override { window.CutEnd(duration); }
    AVSubtitle* GetAVSubtitle() override { return subtitle.get(); }
    /// The event's rectangles are never written to, so clones share them whatever is asked.
    iptr<IDataSubtitle> Clone(bool copyPayload) const override;

  private:
    explicit DataSubtitleFF(std::shared_ptr<AVSubtitle> subtitle);

    std::shared_ptr<AVSubtitle> subtitle;
    Details::CutWindow window;
};

}  // namespace Tarsel::Proc
