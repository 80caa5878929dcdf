#pragma once

#include <utility>

#include "Proc/StreamTemplates/StreamBaseImpl.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/SettingsFilterLoop.h"

namespace Tarsel::Proc {

/// Repeats its source from the start until a duration is filled.
///
/// Goes in: one stream of any length. Comes out: its items, one pass behind the other, timed without gaps; the last one
/// keeps its contents, and its duration ends with the stream. End: the duration, an empty source, or a whole pass in
/// which no item had a duration.
/// Seek: to the position modulo the source's duration. The item that the source lands on begins exactly at the position
/// asked for, also when its beginning lies ahead of it. So reading behind a seek equals reading straight through where
/// the position is the start of an item and the source's items fill its duration; otherwise it plays shifted.
/// Threads: one consumer; `Initialize`, `GetDuration` and `GetStatistic` from any thread.
template <class T, class TEx>
class FilterLoop final : public StreamImpl<T, TEx> {
  public:
    using typename StreamImpl<T, TEx>::DataType;
    using FormatType = typename T::FormatType;

    /// Throws `std::invalid_argument` for a null source. Without settings the duration is 0.
    explicit FilterLoop(iptr<T> source) : StreamImpl<T, TEx>(std::move(source), false) {}
    ~FilterLoop() override { this->StopReaderThread(); }

    [[noreturn]] void Initialize(Core::Property const& property) override;
    void Initialize(Settings const& newSettings) override;
    [[noreturn]] Core::Property GetSettings() override;
    /// The settings' duration.
    int64 GetDuration() const override;
    Core::Property GetStatistic() override;
    iptr<FormatType const> GetFormatCodec() const override { return this->parentStream->GetFormatCodec(); }

  protected:
    void AcceptInternal(IStreamVisitor& visitor) override;
    iptr<DataType> ReadInternal() override;
    void RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) override;
    void DoSeekInternal() override;

  private:
    void BeginPass(bool whole) TARSEL_REQUIRES(mutex);
    /// The source's next item, from its start again at its end.
    iptr<DataType> ReadRepeated() TARSEL_REQUIRES(mutex);

    /// Held in reading and seeking, so over calls of the source, that new settings take effect between two items.
    /// Behind the base's `apiLock`, ahead of the source's locks; recursive because reading asks for the duration.
    mutable Core::RecursiveMutex mutex;
    SettingsFilterLoop settings TARSEL_GUARDED_BY(mutex);
    int64 position TARSEL_GUARDED_BY(mutex) = 0;               // time of the next item
    int64 sourceDuration TARSEL_GUARDED_BY(mutex) = NO_VALUE;  // until a seek needs it
    bool passIsWhole TARSEL_GUARDED_BY(mutex) = true;          // the source is read from its start
    bool passGaveItems TARSEL_GUARDED_BY(mutex) = false;
    bool passAdvanced TARSEL_GUARDED_BY(mutex) = false;  // an item of this pass moved `position`
    int64 processingTime TARSEL_GUARDED_BY(mutex) = 0;
    unsigned itemsRead TARSEL_GUARDED_BY(mutex) = 0;
};

using FilterLoopVideo = FilterLoop<IStreamVideo, IStreamVideoEx>;
using FilterLoopAudio = FilterLoop<IStreamAudio, IStreamAudioEx>;

extern template class FilterLoop<IStreamVideo, IStreamVideoEx>;
extern template class FilterLoop<IStreamAudio, IStreamAudioEx>;

}  // namespace Tarsel::Proc
