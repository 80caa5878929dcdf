#pragma once

#include "contracts/Core/EventPublisher.h"
#include "contracts/Proc/IData.h"

namespace Tarsel::Proc {

/// Takes frames for a preview.
class TARSEL_CONTRACTS_EXPORT IVideoPreviewSubscriber : public virtual IRefCountable {
  public:
    ~IVideoPreviewSubscriber() override;
    /// The frame may be shared: don't change it. A list of subscribers calls this from threads of a pool, with locks
    /// held that a producer waits for: return soon. What it throws is logged.
    virtual void OnVideoFrame(iptr<IDataVideo> const& frame) = 0;
};

/// A list of subscribers that itself is one: what a producer gives it, on any thread, reaches all of them in the order
/// of subscription on the process's thread pool, so that the producer doesn't work for them. Of frames that come faster
/// than the subscribers take them the newest counts, and the older ones are dropped; one frame may be delivered more
/// than once.
///
/// The list is also a `Core::EventPublisher<IVideoPreviewSubscriber>`: cast to it to subscribe and unsubscribe. It
/// keeps the last frame alive until the next one comes; null lets go of it, and isn't delivered.
TARSEL_FILTERS_EXPORT iptr<IVideoPreviewSubscriber> CreateVideoPreviewSubscriberList();

}  // namespace Tarsel::Proc

namespace Tarsel::Core {

// One copy of its type for all libraries, so that the cast works across them.
extern template class EventPublisher<Proc::IVideoPreviewSubscriber>;

}  // namespace Tarsel::Core
