#pragma once

#include <atomic>

#include "Proc/Filters/Filters/FilterSeekController.h"
#include "Proc/StreamTemplates/SameKindStream.h"

namespace Tarsel::Proc {

/// A stream under a seek controller: reads its source and counts the items.
///
/// Goes in: one stream. Comes out: the same objects. Seek: refused, with `FilterException` "Seek is disabled for this
/// stream. You have to use FilterSeekController."; the item that was read ahead for `GetPosition` is lost by it. End:
/// the source's. Keeps the controller alive, which doesn't own it. Threads: one consumer; the controller's seek must
/// not run beside it.
template <class T>
class SeekControllerStreamImpl final : public IStreamSeekController, public SameKindStream<T> {
  public:
    using typename StreamImpl<T, T>::DataType;
    using FormatType = typename T::FormatType;

    SeekControllerStreamImpl(iptr<T> source, iptr<FilterSeekController> controller);
    ~SeekControllerStreamImpl() override;

    /// Goes to the source.
    void Initialize(Core::Property const& property) override { this->parentStream->Initialize(property); }
    Core::Property GetSettings() override { return {}; }
    Core::Property GetStatistic() override;
    iptr<FormatType const> GetFormatCodec() const override { return this->parentStream->GetFormatCodec(); }

    void ReleaseInternalData() override;

    StreamLock LockStream() override;
    void ResetForSeek() override;
    void ReturnAfterRelease(int64 position) override;

  protected:
    void AcceptInternal(IStreamVisitor& visitor) override;
    iptr<DataType> ReadInternal() override;
    void RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) override;
    [[noreturn]] void DoSeekInternal() override;

  private:
    // Wiring.
    iptr<FilterSeekController> const controller;

    /// False only inside `ResetForSeek`, on its thread, under `apiLock`.
    bool seekDisabled = true;
    // Under `apiLock`.
    bool sourceRead = false;          // since the last seek
    bool releasedBehindRead = false;  // so the source doesn't stand where it was sought to
    int64 returnPosition = NO_VALUE;  // where the next read begins, if it has a value
    Core::Mutex streamMutex;          // taken by `LockStream` alone
    int64 const statTime = 0;
    std::atomic<unsigned> itemsRead{0};
};

extern template class SeekControllerStreamImpl<IStreamVideo>;
extern template class SeekControllerStreamImpl<IStreamAudio>;
extern template class SeekControllerStreamImpl<IStreamRaw>;

}  // namespace Tarsel::Proc
