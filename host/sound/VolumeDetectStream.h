#pragma once

#include <atomic>

#include "contracts/Core/Export.h"
#include "contracts/Proc/IFilterVolumeDetect.h"
#include "host/media/ForwardingStream.h"

namespace Tarsel::Host {

/// Hands sound through and tells how loud it is. Its first seek reads the stream from its start with the detector, ten
/// minutes at most, and only then goes where it was asked to; a stream that is never sought isn't looked at.
/// Statistics: those of the stream with a child that holds "Level" (1 is full scale) and "Quiet" once they are known.
/// Blocks come out as the same objects. One consumer; `GetStatistic` from any thread, the rest as the stream.
class TARSEL_HOST_EXPORT VolumeDetectStream final : public ForwardingStream<Proc::IStreamAudio> {
  public:
    /// Throws `std::invalid_argument` when one of the two is null.
    static iptr<VolumeDetectStream> Create(iptr<Proc::IStreamAudio> const& source,
                                           iptr<Proc::IFilterVolumeDetect> const& detector);

    void RequestSeek(int64 position, iptr<IRefCountable> seekContext) override;
    void DoSeek() override;
    iptr<Proc::IDataAudio> Read() override;
    Core::Property GetStatistic() override;

  private:
    VolumeDetectStream(iptr<Proc::IStreamAudio> const& source, iptr<Proc::IFilterVolumeDetect> const& detector);

    iptr<Proc::IFilterVolumeDetect> const detector;

    // State of the consumer's thread: the first seek, which waits for the detector.
    bool waits = false;
    int64 target = 0;
    iptr<IRefCountable> context;

    // Read by other threads, `known` first.
    std::atomic<double> level{0};
    std::atomic<bool> quiet{false};
    std::atomic<bool> known{false};
    std::atomic<unsigned> itemsDelivered{0};
};

}  // namespace Tarsel::Host
