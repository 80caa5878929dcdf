#pragma once

#include <atomic>

#include "Proc/Filters/Filters/FilterRepeatController.h"
#include "Proc/StreamTemplates/StreamBaseImpl.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

/// Repeats one item until the controller's duration is reached, for `T` in `IStreamVideo`, `IStreamAudio`,
/// `IStreamSubtitle`.
///
/// Goes in: one stream, of which one item is read, ever. Comes out: clones of that item, each timed at the end of the
/// one before; the last one may reach beyond the duration. Seek: the next item begins exactly at the position, whether
/// or not one begins there in reading straight through; only a seek to 0 reaches the source, and the item that is held
/// stays. End: the controller's duration; an item of no duration never gets there.
/// Threads: one consumer; `GetDuration` and `GetStatistic` from any thread.
template <class T>
class OneFrameRepeater final : public StreamImpl<T, T> {
  public:
    using DataType = typename T::DataType;
    using FormatType = typename T::FormatType;

    /// Throws `std::invalid_argument` for a null source.
    OneFrameRepeater(iptr<T> source, iptr<FilterRepeatController> controller);
    ~OneFrameRepeater() override;

    [[noreturn]] void Initialize(Core::Property const& property) override;
    [[noreturn]] Core::Property GetSettings() override;
    /// The controller's, not the source's: seeks up to there are meant.
    int64 GetDuration() const override { return controller->GetRedefineDuration(); }
    Core::Property GetStatistic() override;
    iptr<FormatType const> GetFormatCodec() const override { return this->parentStream->GetFormatCodec(); }

  protected:
    void AcceptInternal(IStreamVisitor& visitor) override;
    iptr<DataType> ReadInternal() override;
    void RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) override;
    void DoSeekInternal() override;

  private:
    // Wiring.
    iptr<FilterRepeatController> const controller;

    // State of the reader.
    iptr<DataType> heldData;         // this object's own
    int64 position = 0;              // time of the next item
    bool seekReachesSource = false;  // the last seek that was requested was handed on

    int64 const processingTime = 0;
    std::atomic<unsigned> readCount{0};
};

extern template class OneFrameRepeater<IStreamVideo>;
extern template class OneFrameRepeater<IStreamAudio>;
extern template class OneFrameRepeater<IStreamSubtitle>;

}  // namespace Tarsel::Proc
