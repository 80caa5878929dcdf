#pragma once

#include <atomic>
#include <utility>

#include "Proc/StreamTemplates/StreamBaseImpl.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/TIFilterRepeat.h"

namespace Tarsel::Proc {

template <class I>
class TFilterRepeat;

/// Hands the first item of its source out a set number of times.
///
/// Goes in: one stream, of which one item is read. Comes out: the very same object each time, its times untouched.
/// Seek: reaches the source alone; the item, and the count, stay as they are. So reading behind a seek goes on where it
/// was, and only `ResetRepeat` makes the filter read again. End: the count; without one there is none.
/// Threads: one consumer; `ResetRepeat` and `SetRepeatCount` between its reads; `GetStatistic` from any thread.
template <class U, class T>
class TFilterRepeat<TIFilterRepeat<U, T>> final : public StreamImpl<T, TIFilterRepeat<U, T>> {
  public:
    using DataType = typename T::DataType;
    using FormatType = typename T::FormatType;
    using Interface = TIFilterRepeat<U, T>;

    /// Throws `std::invalid_argument` for a null source.
    explicit TFilterRepeat(iptr<T> source) : StreamImpl<T, Interface>(std::move(source), false) {}
    ~TFilterRepeat() override { this->StopReaderThread(); }
    /// The factories' way in: without settings, and with them.
    static iptr<Interface> Create(iptr<T> const& source);
    static iptr<U> CreateInitialized(iptr<T> const& source, Settings const& settings);

    void ResetRepeat() override;
    void SetRepeatCount(int64 count) override;
    /// A property named `CLASS_ID` changes nothing; any other throws `FilterException`.
    void Initialize(Core::Property const& property) override;
    /// Settings of `SettingsFilterRepeat` change nothing: whoever builds the filter sets the count.
    void Initialize(Settings const& newSettings) override;
    /// A property named `CLASS_ID` without contents.
    Core::Property GetSettings() override { return Core::Property(Interface::CLASS_ID); }
    Core::Property GetStatistic() override;
    iptr<FormatType const> GetFormatCodec() const override { return this->parentStream->GetFormatCodec(); }

  protected:
    void AcceptInternal(IStreamVisitor& visitor) override;
    iptr<DataType> ReadInternal() override { return (this->*readStep)(); }
    void RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) override;
    void DoSeekInternal() override { this->parentStream->DoSeek(); }

  private:
    iptr<DataType> ReadFirst();
    iptr<DataType> ReadRepeat();
    void CountDown();

    // State of the reader, under the base's `apiLock`.
    iptr<DataType> (TFilterRepeat::*readStep)() = &TFilterRepeat::ReadFirst;
    iptr<DataType> heldData;
    int64 repeatCount = -1;  // items still to hand out; a negative one never reaches 0

    int64 const processingTime = 0;
    std::atomic<unsigned> itemsDelivered{0};
};

using FilterRepeatVideo = TFilterRepeat<TIFilterRepeat<IStreamVideoEx, IStreamVideo>>;
using FilterRepeatAudio = TFilterRepeat<TIFilterRepeat<IStreamAudioEx, IStreamAudio>>;

extern template class TFilterRepeat<TIFilterRepeat<IStreamVideoEx, IStreamVideo>>;
extern template class TFilterRepeat<TIFilterRepeat<IStreamAudioEx, IStreamAudio>>;

}  // namespace Tarsel::Proc
