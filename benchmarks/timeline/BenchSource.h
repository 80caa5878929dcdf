#pragma once

#include <memory>

#include "contracts/Proc/IStream.h"

namespace Tarsel::Bench {

/// The cheapest source that keeps the contract: equal items one behind the other, each a fresh object over shared data.
template <class T>
class BenchSource : public T, public RefCounted {
  public:
    using DataType = typename T::DataType;
    using FormatType = typename T::FormatType;

    BenchSource(iptr<DataType> item, iptr<FormatType> format, int64 count, int64 length)
        : item(std::move(item)), format(std::move(format)), count(count), length(length) {}
    ~BenchSource() override = default;

    void Initialize(Core::Property const&) override {}
    Core::Property GetSettings() override { return {}; }
    int64 GetDuration() const override { return count * length; }
    int64 GetPosition() override { return next < count ? next * length : NO_VALUE; }
    iptr<DataType> Read() override {
        if (ended || next >= count) return nullptr;
        iptr<DataType> fresh = item->Clone(false);
        fresh->SetTime(next * length);
        fresh->SetDuration(length);
        ++next;
        return fresh;
    }
    void RequestSeek(int64 position, iptr<IRefCountable>) override {
        ended = false;
        target = position;
    }
    void DoSeek() override { next = target / length; }
    bool FinishSeek() override { return true; }
    iptr<FormatType const> GetFormatCodec() const override { return format; }
    Core::Property GetStatistic() override { return Core::GetRootItem(); }
    void SetEndOfStream() override { ended = true; }
    bool IsEndOfStream() override { return ended; }
    void ReleaseInternalData() override {}
    void Accept(Proc::IStreamVisitor&) override {}

  private:
    iptr<DataType> const item;
    iptr<FormatType> const format;
    int64 const count;
    int64 const length;
    int64 next = 0;
    int64 target = 0;
    bool ended = false;
};

using VideoSource = iptr<Proc::IStreamVideo>;
using AudioSource = iptr<Proc::IStreamAudio>;

/// `count` pictures of 16x16 at `rate` frames a second.
VideoSource MakePictures(int64 count, Tarsel::Ratio const& rate);
/// `count` blocks of 480 stereo samples of 16 bits at 48 kHz.
AudioSource MakeBlocks(int64 count);

}  // namespace Tarsel::Bench
