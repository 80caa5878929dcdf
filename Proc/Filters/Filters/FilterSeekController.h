#pragma once

#include <vector>

#include "Proc/Filters/Filters/IStreamSeekController.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Proc/IFilterSeekController.h"

namespace Tarsel::Proc {

/// One seek for parallel streams of equal duration.
///
/// Goes in: streams, by `AddStream`; comes out: for each a wrapper that reads it and refuses to be sought. Subtitles
/// are not taken: their wrapper is null. `Seek` moves all sources together, and does nothing when it is the last one
/// again and a wrapper still stands at its position; a stream that was read and then released comes back there with its
/// next read. A failure leaves the last position as it was; seek again before reading. Threads: any thread may seek,
/// while none of the wrappers is being read. Order of locks: `mutex`, then the streams' locks in their order. Both are
/// held while the sources are sought.
class FilterSeekController final : public IFilterSeekController, public RefCounted {
  public:
    static iptr<IFilterSeekController> Create();

    /// Throws `FilterException` "Not implemented".
    [[noreturn]] void UpdateSettings(Settings const& settings) override;
    /// Does nothing with a property named `CLASS_ID`; another name throws `std::logic_error` "incorrect controller
    /// name".
    void Initialize(Core::Property const& property) override;
    /// Null.
    iptr<IStreamSubtitle> AddStream(iptr<IStreamSubtitle> const& stream) override;
    // A null stream throws `std::invalid_argument` "parentStream is NULL.". A stream that is added twice, or whose
    // duration isn't that of the others, throws `FilterException` with a text that says so.
    iptr<IStreamVideo> AddStream(iptr<IStreamVideo> const& stream) override;
    iptr<IStreamAudio> AddStream(iptr<IStreamAudio> const& stream) override;
    iptr<IStreamRaw> AddStream(iptr<IStreamRaw> const& stream) override;
    void Seek(int64 position) override;

    /// Called by a wrapper's destructor. A stream that isn't a wrapper of this controller changes nothing.
    void RemoveStream(IStream const* wrapper);

  private:
    struct Entry {
        iptr<IStream> source;
        IStreamSeekController* wrapper;  // not owned: it removes itself
        IStream* stream;                 // the same object
    };

    template <class T>
    iptr<T> RegisterStreamTemplate(iptr<T> const& stream);
    bool StandsAt(int64 position) TARSEL_REQUIRES(mutex);

    Core::RecursiveMutex mutex;
    int64 lastSeekPosition TARSEL_GUARDED_BY(mutex) = NO_VALUE;
    std::vector<Entry> entries TARSEL_GUARDED_BY(mutex);
};

}  // namespace Tarsel::Proc
