#pragma once

#include <atomic>

#include "contracts/Core/Export.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Proc/CropInfo.h"
#include "contracts/Proc/ICropDetector.h"
#include "host/media/ForwardingStream.h"

namespace Tarsel::Host {

/// Hands pictures through and tells where the bars around them are. Its first seek reads the stream from its start with
/// the detector until that has its answer, and only then goes where it was asked to; a stream that is never sought
/// isn't looked at. Statistics: those of the stream with a child that holds, once they are known, "Known" and the
/// region as "Left", "Right", "Top", "Bottom". Pictures come out as the same objects. One consumer; `GetStatistic` from
/// any thread, the rest as the stream. One lock, under which nothing is called.
class TARSEL_HOST_EXPORT CropDetectStream final : public ForwardingStream<Proc::IStreamVideo> {
  public:
    /// Throws `std::invalid_argument` when one of the two is null.
    static iptr<CropDetectStream> Create(iptr<Proc::IStreamVideo> const& source,
                                         iptr<Proc::ICropDetector> const& detector);

    void RequestSeek(int64 position, iptr<IRefCountable> seekContext) override;
    void DoSeek() override;
    iptr<Proc::IDataVideo> Read() override;
    Core::Property GetStatistic() override;

  private:
    CropDetectStream(iptr<Proc::IStreamVideo> const& source, iptr<Proc::ICropDetector> const& detector);

    iptr<Proc::ICropDetector> const detector;

    // State of the consumer's thread: the first seek, which waits for the detector.
    bool hasLooked = false;
    bool waits = false;
    int64 target = 0;
    iptr<IRefCountable> context;

    std::atomic<unsigned> itemsDelivered{0};
    mutable Core::Mutex lock;
    bool isAnswered TARSEL_GUARDED_BY(lock) = false;
    Proc::CropInfo region TARSEL_GUARDED_BY(lock);
};

}  // namespace Tarsel::Host
