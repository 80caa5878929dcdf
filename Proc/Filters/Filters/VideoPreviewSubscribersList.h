#pragma once

#include <memory>

#include "contracts/Core/EventPublisher.h"
#include "contracts/Core/GiveWay.h"
#include "contracts/Core/ThreadPool.h"
#include "contracts/Proc/IVideoPreviewSubscriber.h"

namespace Tarsel::Proc {

/// Goes in: frames, from any thread. Comes out: the newest of them, on threads of the pool, to each subscriber in the
/// order of subscription. Each frame costs one reference and one task. A task delivers what is newest when it runs, so
/// tasks that wait deliver the same frame, one after the other. What a subscriber throws is logged, and the others get
/// the frame all the same.
///
/// `latestLock` is held while subscribers are called, by design: a producer waits for a delivery only while it puts its
/// frame there. The subscriber's own calls of `OnVideoFrame` take it again. `deliveryLock` keeps deliveries apart ahead
/// of it, so that a producer waits for the one in progress alone, however many tasks there are. Order: locks of the
/// producer, `deliveryLock`, `latestLock`, the locks of the subscribers' list, locks of a subscriber. The pool's lock
/// is taken under none of them, but by a subscriber that publishes.
class VideoPreviewSubscriberList final
    : public IVideoPreviewSubscriber,
      public Core::EventHandlerList<IVideoPreviewSubscriber, Core::SyncExecutePolicy>,
      public RefCounted {
  public:
    /// Tasks that may wait behind a slow subscriber. A frame beyond them posts none: those that wait deliver it.
    static constexpr unsigned MAX_PENDING_TASKS = 256;

    /// Throws `std::invalid_argument` for null.
    explicit VideoPreviewSubscriberList(std::shared_ptr<Core::ThreadPool> threadPool);
    /// Waits while a delivery runs on another thread, until its subscribers have returned, and for no other one.
    void OnVideoFrame(iptr<IDataVideo> const& frame) override;

  private:
    /// Puts the frame in place of the one before it. Whether a task is to be posted for it.
    bool Exchange(iptr<IDataVideo> frame);
    void Deliver();

    Core::Mutex deliveryLock;
    Core::GiveWay producers;
    iptr<IDataVideo> latest TARSEL_GUARDED_BY(latestLock);
    unsigned pendingTasks TARSEL_GUARDED_BY(latestLock) = 0;  // posted, and not yet at the lock
    Core::RecursiveMutex latestLock;
    std::shared_ptr<Core::ThreadPool> const threadPool;
};

}  // namespace Tarsel::Proc
