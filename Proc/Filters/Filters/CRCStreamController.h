#pragma once

#include "contracts/Core/RefCount.h"
#include "contracts/Proc/ICRCStreamController.h"
#include "contracts/Proc/IGraphDataCRCCollector.h"

namespace Tarsel::Proc {

/// Wraps streams so that a digest of every item goes into one record.
///
/// Goes in: streams of all kinds, by `AddStream`; comes out: for each a hash filter, which passes its items unchanged
/// and holds the record together with the controller. The controller keeps nothing of the streams. Threads: any thread
/// may add streams; `GetGraphCRCData` is for when none of them is read any more.
class CRCStreamController final : public ICRCStreamController, public RefCounted {
  public:
    static iptr<ICRCStreamController> Create();
    CRCStreamController();

    /// Throws `FilterException` "Not implemented".
    [[noreturn]] void UpdateSettings(Settings const& settings) override;
    /// Does nothing with a property without a name; throws `FilterException` "Not implemented" for any other.
    void Initialize(Core::Property const& property) override;
    // A null stream throws `std::invalid_argument` "source is NULL".
    iptr<IStreamSubtitle> AddStream(iptr<IStreamSubtitle> const& stream) override;
    iptr<IStreamVideo> AddStream(iptr<IStreamVideo> const& stream) override;
    iptr<IStreamAudio> AddStream(iptr<IStreamAudio> const& stream) override;
    iptr<IStreamRaw> AddStream(iptr<IStreamRaw> const& stream) override;
    GraphCRCData const& GetGraphCRCData() const override { return collector->GetGraphCRCData(); }

  private:
    iptr<IGraphDataCRCCollector> const collector;
};

}  // namespace Tarsel::Proc
