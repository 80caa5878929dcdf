#pragma once

#include <atomic>
#include <deque>
#include <optional>

#include "Proc/Filters/Filters/CutSearchThread.h"
#include "Proc/Filters/Filters/FilterCutController.h"
#include "Proc/Filters/Filters/IStreamCutInterval.h"
#include "Proc/StreamTemplates/StreamBaseImpl.h"

namespace Tarsel::Proc {

/// A decoded stream without the removed ranges, for `T` in `IStreamVideo`, `IStreamAudio`, `IStreamSubtitle`.
///
/// Goes in: one stream in source time. Comes out: what is kept of each item, in the time of the result; sound is cut to
/// the sample. Seek: mapped to source time, after the controller has prepared the cuts. End: of the source, or the last
/// kept item ahead of a removed range that reaches to the end. One reader; the search thread of a jump reads ahead of
/// it.
///
/// Order of locks: the base's `apiLock`, the controller's `streamsLock`, `readLock`, the controller's `settingsLock`.
/// `readLock` is held while the source is read, and given up before a jump.
template <class T>
class FilterCutControllerStreamImpl final : public IStreamCutInterval, public StreamImpl<T, T> {
  public:
    using DataType = typename T::DataType;
    using IStream::Initialize;

    FilterCutControllerStreamImpl(iptr<T> source, iptr<FilterCutController> controller);
    ~FilterCutControllerStreamImpl() override;

    void Initialize(Core::Property const& property) override;
    Core::Property GetSettings() override;
    /// Length of the result.
    int64 GetDuration() const override;
    iptr<typename T::FormatType const> GetFormatCodec() const override { return this->parentStream->GetFormatCodec(); }
    Core::Property GetStatistic() override;
    void ReleaseInternalData() override;

    void Process(int64 start, int64 end) override;
    void StartSearch(int64 start, int64 end) override;
    void JoinSearch() override { searchThread.Join(); }
    bool IsRawStream() const override { return false; }
    bool IsGOPCutOnly() const override { return false; }
    bool BeginJump(int64 end) override;
    void SourceMoved() override;
    void EndJump() override;
    std::optional<GopSpan> FindGop(int64) override { return std::nullopt; }
    Core::LockImpl& GetReadLock() override { return readLock; }

  protected:
    void AcceptInternal(IStreamVisitor& visitor) override;
    iptr<DataType> ReadInternal() override;
    void RequestSeekInternal(int64 position, iptr<IRefCountable> const& seekContext) override;
    void DoSeekInternal() override;

  private:
    enum class Step { Deliver, WaitForJump, Jump };
    /// One item: delivered (null at the end), or removed at `removedAt`.
    Step ReadStep(iptr<DataType>& item, int64& removedAt) TARSEL_REQUIRES(readLock);
    iptr<DataType> ReadSource() TARSEL_REQUIRES(readLock);
    void ForgetPlace() TARSEL_REQUIRES(readLock);

    // Wiring.
    iptr<FilterCutController> const controller;
    CutSearchThread searchThread;

    std::atomic<uint32> itemsRead{0};

    /// Guards the source and the state of reading it.
    Core::LockImpl readLock;
    std::deque<iptr<DataType>> prefetched TARSEL_GUARDED_BY(readLock);  // what the search thread read ahead
    bool pastEnd TARSEL_GUARDED_BY(readLock) = false;  // the next read position lies past the stream's end
    bool jumping TARSEL_GUARDED_BY(readLock) = false;  // the reader waits
    // The last time that the source gave, and how many items had it.
    int64 lastTime TARSEL_GUARDED_BY(readLock) = NO_VALUE;
    uint32 lastTimeCount TARSEL_GUARDED_BY(readLock) = 0;
    // The same at the last jump: items up to there have been read, however early the source's seek lands.
    int64 repeatTime TARSEL_GUARDED_BY(readLock) = NO_VALUE;
    uint32 repeatCount TARSEL_GUARDED_BY(readLock) = 0;
};

extern template class FilterCutControllerStreamImpl<IStreamVideo>;
extern template class FilterCutControllerStreamImpl<IStreamAudio>;
extern template class FilterCutControllerStreamImpl<IStreamSubtitle>;

}  // namespace Tarsel::Proc
