#pragma once

#include <atomic>
#include <utility>
#include <vector>

#include "contracts/Core/Lockable.h"
#include "contracts/Proc/IFilterRepeatController.h"

namespace Tarsel::Proc {

/// Keeps streams in step when one of them runs out: each is made to last one duration by repeating an item.
///
/// Goes in: streams by `AddStream`, behind `Initialize`. Comes out: for each a `OneFrameRepeater`. The wrappers keep
/// the controller alive; it doesn't own them, and each leaves its list when it dies. `AddStream` and the wrappers' ends
/// may come from any thread; readers take no lock.
class FilterRepeatController final : public IFilterRepeatController, public RefCounted {
  public:
    /// The factory's way in.
    static iptr<IFilterRepeatController> Create();

    /// There are no settings but the property: throws `FilterException` "Method not implemented".
    [[noreturn]] void UpdateSettings(Settings const& settings) override;
    /// Throws `std::invalid_argument` "incorrect controller name" for a property of another name and "incorrect repeat
    /// mode" for a mode that isn't `REPEAT_MODE_LAST`.
    void Initialize(Core::Property const& property) override;
    /// Throw `FilterException` for a stream that is already held, and before a mode is set.
    iptr<IStreamSubtitle> AddStream(iptr<IStreamSubtitle> const& stream) override;
    iptr<IStreamVideo> AddStream(iptr<IStreamVideo> const& stream) override;
    iptr<IStreamAudio> AddStream(iptr<IStreamAudio> const& stream) override;
    /// Always throws `std::logic_error`: a packet can't be shown longer.
    [[noreturn]] iptr<IStreamRaw> AddStream(iptr<IStreamRaw> const& stream) override;
    int64 GetRedefineDuration() const override { return redefineDuration; }

    /// Called first in a wrapper's destructor.
    void RemoveStream(IStream const* wrapper);

  private:
    using Entry = std::pair<IStream const*, iptr<IStream>>;
    static constexpr int MODE_UNSET = -1;
    static constexpr int MODE_LAST = 0;

    template <class T>
    iptr<T> AddStreamTemplate(iptr<T> const& stream);

    std::atomic<int64> redefineDuration{0};

    /// Guards the list. Nothing foreign is called with it held but the new wrapper's constructor.
    Core::LockImpl streamsLock;
    std::vector<Entry> streams TARSEL_GUARDED_BY(streamsLock);  // wrapper, not owned, and its source
    int repeatMode TARSEL_GUARDED_BY(streamsLock) = MODE_UNSET;
};

}  // namespace Tarsel::Proc
