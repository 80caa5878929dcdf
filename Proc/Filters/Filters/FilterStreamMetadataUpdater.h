#pragma once

#include "Proc/StreamTemplates/StreamBaseImpl.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/SettingsStreamMetadataUpdater.h"

namespace Tarsel::Proc {

namespace Details {

/// The interface that adds settings to the stream interface `T`.
template <class T>
struct ExInterface;
template <>
struct ExInterface<IStreamAudio> {
    using Type = IStreamAudioEx;
};
template <>
struct ExInterface<IStreamVideo> {
    using Type = IStreamVideoEx;
};

}  // namespace Details

/// The smallest filter: passes its source's items unchanged and changes only what the stream says about itself.
///
/// Goes in: one stream. Comes out: the same objects, as many, asked for one by one. Seek and end: the source's.
/// `GetFormatCodec` gives a fresh clone of the source's format with the metadata of the settings; nothing is cached.
/// Threads: one consumer; `Initialize`, `GetFormatCodec` and `GetStatistic` from any thread.
template <class T, class TEx = typename Details::ExInterface<T>::Type>
class FilterStreamMetadataUpdater final : public StreamImpl<T, TEx> {
  public:
    using typename StreamImpl<T, TEx>::DataType;
    using FormatType = typename T::FormatType;

    /// Throws `std::bad_cast` for settings of another class and `std::invalid_argument` for a null source.
    FilterStreamMetadataUpdater(iptr<T> source, Settings const& settings);
    ~FilterStreamMetadataUpdater() override { this->StopReaderThread(); }

    [[noreturn]] void Initialize(Core::Property const& property) override;
    void Initialize(Settings const& newSettings) override;
    /// Always the empty property: the filter has no property form in a graph.
    Core::Property GetSettings() override { return {}; }
    Core::Property GetStatistic() override;
    /// Throws `FilterException` "Source format codec must be present" when the source has none.
    iptr<FormatType const> GetFormatCodec() const override;

  protected:
    void AcceptInternal(IStreamVisitor& visitor) override;
    iptr<DataType> ReadInternal() override;
    void RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) override;
    void DoSeekInternal() override { this->parentStream->DoSeek(); }

  private:
    /// Guards the members below; never held while the source is called.
    mutable Core::Mutex settingsLock;
    SettingsStreamMetadataUpdater settings TARSEL_GUARDED_BY(settingsLock);
    int64 processingTime TARSEL_GUARDED_BY(settingsLock) = 0;
    unsigned itemsRead TARSEL_GUARDED_BY(settingsLock) = 0;
};

extern template class FilterStreamMetadataUpdater<IStreamAudio, IStreamAudioEx>;
extern template class FilterStreamMetadataUpdater<IStreamVideo, IStreamVideoEx>;

}  // namespace Tarsel::Proc
